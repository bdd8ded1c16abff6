// The polygon's edge table: one record per edge that crosses a line,
// listed by first line, ending at a sentinel.
#pragma once

#include <cstdint>

#include <tovrel.h>

#include "polygon/span_context.h"

namespace tovrel {

struct edge_table {
    edge_record pool[max_polygon_vertices];
    edge_record sentinel; // first = sentinel_first_line
    edge_record *head;    // sorted by first, stable; ends at &sentinel
    int32_t used;         // pool records handed out
};

// How vertices become edges.
struct edge_setup {
    double y_scale;     // 4096 per line, 12288 under MAP_EDGE_AA (three sub-lines)
    bool snap_to_lines; // MAP_EDGE_AA: vertex y becomes its integer sub-line number
    bool perspective;   // texture values are multiplied by w
    int32_t dst_lines;  // lines of the scan, [0, dst_lines)
    double u_offset;    // added to every u (footprint centring)
    double v_scale;     // 0.5 when a field of the source is read, else 1
    double v_offset;    // field offset plus footprint centring
};

// Line of a destination y: the first line whose centre is not above it.
// y * y_scale is truncated toward zero, then (t + 2047) >> 12. Computed in
// 64 bits so that coordinates far off the image neither overflow nor wrap.
int64_t line_of(float y, double y_scale);

// Builds the list from vertices[0..count). Edges within one line, wholly
// above line 0 or at or below dst_lines are dropped; two edges with the same
// two end points cancel each other. Returns true when the list is not empty.
bool build_edge_table(edge_table &table, const edge_setup &setup, const map_vertex *vertices,
                      int32_t count);

} // namespace tovrel
