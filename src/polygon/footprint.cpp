#include "polygon/footprint.h"

#include <array>
#include <cmath>

namespace tovrel {

namespace {

struct footprint_class {
    double threshold;  // ratio at or above which the class applies
    int32_t reduction; // whole texels of reach * 65536 + 120
    double offset;     // minus half the box
};

// Vertical classes, smallest first: box heights 1, 1.5, 2, 4 rows.
constexpr std::array<footprint_class, 4> v_classes{{
    {0.0, 120, -0.5},
    {1.005, 32888, -0.75},
    {1.34, 65656, -1.0},
    {2.68, 196728, -2.0},
}};

// Horizontal classes, smallest first: box widths 1, 2, 3, 4, 8 columns.
constexpr std::array<footprint_class, 5> h_classes{{
    {0.0, 120, -0.5},
    {1.34, 65656, -1.0},
    {2.01, 131192, -1.5},
    {2.68, 196728, -2.0},
    {5.36, 458872, -4.0},
}};

// Highest class whose threshold the ratio reaches; a ratio that is not a
// number reaches none above the first.
template <size_t N>
int32_t class_of(const std::array<footprint_class, N> &classes, double ratio) {
    int32_t c = 0;
    for (size_t i = 1; i < N; ++i)
        if (ratio >= classes[i].threshold) c = static_cast<int32_t>(i);
    return c;
}

// A class fits when its reduced limit stays at or above 0: then the box
// starting at the clamped position ends on the last texel.
template <size_t N>
int32_t fitting_class(const std::array<footprint_class, N> &classes, int32_t c, int32_t size) {
    const int64_t limit = (static_cast<int64_t>(size) - 1) * 65536;
    while (c >= 0 && limit < classes[static_cast<size_t>(c)].reduction) --c;
    return c;
}

footprint_choice from_classes(int32_t vc, int32_t hc, double rh, double rv, bool degenerate) {
    const footprint_class &v = v_classes[static_cast<size_t>(vc)];
    const footprint_class &h = h_classes[static_cast<size_t>(hc)];
    return {1 + 5 * vc + hc, vc,          hc, h.offset, v.offset,
            h.reduction,     v.reduction, rh, rv,       degenerate};
}

} // namespace

footprint_choice point_footprint() {
    return {0, 0, 0, 0.0, 0.0, 0, 0, 0.0, 0.0, false};
}

footprint_choice select_footprint(const map_vertex *vertices, int32_t count, double v_scale) {
    const map_vertex &last = vertices[count - 1];
    double best = 0.0;
    double dx = 0.0, dy = 0.0, du = 0.0, dv = 0.0;
    for (int32_t i = 0; i < count; ++i) {
        const double ex = static_cast<double>(vertices[i].x) - last.x;
        const double ey = static_cast<double>(vertices[i].y) - last.y;
        const double length2 = ex * ex + ey * ey;
        if (length2 > best) {
            best = length2;
            dx = ex;
            dy = ey;
            du = static_cast<double>(vertices[i].u) - last.u;
            dv = static_cast<double>(vertices[i].v) - last.v;
        }
    }
    if (best == 0.0) {
        footprint_choice choice = from_classes(0, 0, 0.0, 0.0, true);
        return choice;
    }

    // Rotation taking the source direction of the chord onto its destination
    // direction: c and s are its cosine and sine.
    const double dl = std::sqrt(dx * dx + dy * dy);
    const double sl = std::sqrt(du * du + dv * dv);
    const double cx = dx / dl, cy = dy / dl;
    const double su = du / sl, sv = dv / sl;
    const double c = su * cx + sv * cy;
    const double s = cy * su - cx * sv;

    const map_vertex &v0 = vertices[0];
    double ru_min = v0.u * c - v0.v * s, ru_max = ru_min;
    double rv_min = v0.u * s + v0.v * c, rv_max = rv_min;
    double x_min = v0.x, x_max = x_min, y_min = v0.y, y_max = y_min;
    for (int32_t i = 1; i < count; ++i) {
        const map_vertex &v = vertices[i];
        const double ru = v.u * c - v.v * s;
        const double rv = v.u * s + v.v * c;
        ru_min = std::fmin(ru_min, ru);
        ru_max = std::fmax(ru_max, ru);
        rv_min = std::fmin(rv_min, rv);
        rv_max = std::fmax(rv_max, rv);
        x_min = std::fmin(x_min, static_cast<double>(v.x));
        x_max = std::fmax(x_max, static_cast<double>(v.x));
        y_min = std::fmin(y_min, static_cast<double>(v.y));
        y_max = std::fmax(y_max, static_cast<double>(v.y));
    }
    const double rh = (ru_max - ru_min) / (x_max - x_min);
    const double rv = (rv_max - rv_min) / (y_max - y_min) * v_scale;
    return from_classes(class_of(v_classes, rv), class_of(h_classes, rh), rh, rv, false);
}

footprint_choice fit_footprint(const footprint_choice &choice, int32_t src_width,
                               int32_t src_height) {
    if (choice.slot == 0) return choice;
    const int32_t vc = fitting_class(v_classes, choice.v_class, src_height);
    const int32_t hc = fitting_class(h_classes, choice.h_class, src_width);
    if (vc < 0 || hc < 0) {
        footprint_choice point = point_footprint();
        point.rh = choice.rh;
        point.rv = choice.rv;
        return point;
    }
    return from_classes(vc, hc, choice.rh, choice.rv, choice.degenerate);
}

} // namespace tovrel
