#include "polygon/edge_table.h"

#include <algorithm>

namespace tovrel {

namespace {

// Bound for scaled coordinates before the integer conversion: far beyond
// any line (lines are below 2^26) and exactly convertible to int64.
constexpr double scaled_bound = 4503599627370496.0; // 2^52

struct texture_point {
    double u, v, w; // 16.16 units for u and v, times w under perspective
};

texture_point texture_at(const map_vertex &vertex, const edge_setup &setup) {
    const double w = setup.perspective ? static_cast<double>(vertex.w) : 1.0;
    const double u = (static_cast<double>(vertex.u) + setup.u_offset) * w;
    const double v = (static_cast<double>(vertex.v) * setup.v_scale + setup.v_offset) * w;
    return {u, v, w};
}

bool same_point(const map_vertex &a, const map_vertex &b) {
    return a.x == b.x && a.y == b.y;
}

// Inserts after every edge with a smaller or equal first line. An edge with
// the same first line and the same two end points cancels: the existing
// one is unlinked and the new one is dropped.
void insert_edge(edge_table &table, edge_record *edge, const map_vertex *vertices) {
    edge_record **link = &table.head;
    while ((*link)->first < edge->first) link = &(*link)->next;
    while ((*link)->first == edge->first) {
        const edge_record *other = *link;
        if (same_point(vertices[other->top_vertex], vertices[edge->top_vertex]) &&
            same_point(vertices[other->bottom_vertex], vertices[edge->bottom_vertex])) {
            *link = other->next;
            return;
        }
        link = &(*link)->next;
    }
    edge->next = *link;
    *link = edge;
}

} // namespace

int64_t line_of(float y, double y_scale) {
    double scaled = static_cast<double>(y) * y_scale;
    scaled = std::clamp(scaled, -scaled_bound, scaled_bound);
    return (static_cast<int64_t>(scaled) + 2047) >> 12;
}

bool build_edge_table(edge_table &table, const edge_setup &setup, const map_vertex *vertices,
                      int32_t count) {
    table.sentinel.next = nullptr;
    table.sentinel.first = sentinel_first_line;
    table.sentinel.last = sentinel_first_line;
    table.head = &table.sentinel;
    table.used = 0;

    for (int32_t i = 0; i < count; ++i) {
        const int32_t p = i == 0 ? count - 1 : i - 1;
        const int64_t line_i = line_of(vertices[i].y, setup.y_scale);
        const int64_t line_p = line_of(vertices[p].y, setup.y_scale);
        if (line_i == line_p) continue;
        const int32_t top = line_i < line_p ? i : p;
        const int32_t bottom = line_i < line_p ? p : i;
        const int64_t top_line = std::min(line_i, line_p);
        const int64_t bottom_line = std::max(line_i, line_p);
        if (top_line >= setup.dst_lines || bottom_line < 1) continue;

        edge_record &e = table.pool[table.used++];
        e.first = static_cast<int32_t>(std::max<int64_t>(top_line, 0));
        e.last = static_cast<int32_t>(std::min<int64_t>(bottom_line, setup.dst_lines));
        e.top_vertex = top;
        e.bottom_vertex = bottom;

        const map_vertex &vt = vertices[top];
        const map_vertex &vb = vertices[bottom];
        // Under anti-aliasing the ends snap to their sub-line numbers.
        const double y_top =
            setup.snap_to_lines ? static_cast<double>(top_line) : static_cast<double>(vt.y);
        const double y_bottom =
            setup.snap_to_lines ? static_cast<double>(bottom_line) : static_cast<double>(vb.y);
        const double height = y_bottom - y_top; // > 0: the ends lie on different lines
        const double x_top = vt.x;
        e.dx = (static_cast<double>(vb.x) - x_top) / height;
        e.x = e.dx * (static_cast<double>(e.first) + 0.5 - y_top) + x_top;

        const texture_point t = texture_at(vt, setup);
        const texture_point b = texture_at(vb, setup);
        e.du = (b.u - t.u) * 65536.0 / height;
        e.u_origin = t.u * 65536.0 - e.du * y_top;
        e.dv = (b.v - t.v) * 65536.0 / height;
        e.v_origin = t.v * 65536.0 - e.dv * y_top;
        if (setup.perspective) {
            e.dw = (b.w - t.w) / height;
            e.w_origin = t.w - e.dw * y_top;
        } else {
            e.dw = 0.0;
            e.w_origin = 1.0;
        }
        insert_edge(table, &e, vertices);
    }
    return table.head != &table.sentinel;
}

} // namespace tovrel
