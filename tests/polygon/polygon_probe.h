// Exact area of a polygon inside one destination pixel, the reference for
// anti-aliased coverage.
#pragma once

#include <array>
#include <cmath>
#include <vector>

#include <tovrel.h>

namespace tovrel::test {

// Area of the polygon inside pixel (x, y), in 1/4096 pixel.
inline double exact_cover(const std::vector<map_vertex> &v, int x, int y) {
    // Clip against the pixel's four sides (x >= x, x <= x + 1, y >= y,
    // y <= y + 1), then the shoelace area.
    std::vector<std::array<double, 2>> poly;
    for (const map_vertex &p : v) poly.push_back({p.x, p.y});
    for (int side = 0; side < 4; ++side) {
        const int axis = side / 2;
        const double bound = (axis ? y : x) + side % 2, sign = side % 2 ? -1.0 : 1.0;
        std::vector<std::array<double, 2>> out;
        for (size_t i = 0; i < poly.size(); ++i) {
            const auto &a = poly[i], &b = poly[(i + 1) % poly.size()];
            const double da = sign * (a[axis] - bound), db = sign * (b[axis] - bound);
            if (da >= 0) out.push_back(a);
            if ((da >= 0) != (db >= 0)) {
                const double t = da / (da - db);
                out.push_back({a[0] + t * (b[0] - a[0]), a[1] + t * (b[1] - a[1])});
            }
        }
        poly = out;
    }
    double area = 0.0;
    for (size_t i = 0; i < poly.size(); ++i) {
        const auto &a = poly[i], &b = poly[(i + 1) % poly.size()];
        area += a[0] * b[1] - b[0] * a[1];
    }
    return std::fabs(area) * 0.5 * 4096.0;
}

} // namespace tovrel::test
