#include "quad.h"

#include <cmath>

namespace tovrel_tool {

void square_to_quad::map(double s, double t, double &x, double &y) const {
    const double q = denominator(s, t);
    x = (a * s + b * t + c) / q;
    y = (d * s + e * t + f) / q;
}

bool square_to_quad::unmap(double x, double y, double &s, double &t) const {
    // x (g s + h t + 1) = a s + b t + c, and the same for y: linear in s, t.
    const double m00 = a - g * x, m01 = b - h * x, r0 = x - c;
    const double m10 = d - g * y, m11 = e - h * y, r1 = y - f;
    const double det = m00 * m11 - m01 * m10;
    if (det == 0.0 || !std::isfinite(det)) return false;
    s = (r0 * m11 - m01 * r1) / det;
    t = (m00 * r1 - r0 * m10) / det;
    return true;
}

bool fit_square_to_quad(const std::array<double, 8> &q, square_to_quad &m) {
    const double x0 = q[0], y0 = q[1], x1 = q[2], y1 = q[3];
    const double x2 = q[4], y2 = q[5], x3 = q[6], y3 = q[7];
    const double sx = x0 - x1 + x2 - x3;
    const double sy = y0 - y1 + y2 - y3;
    if (sx == 0.0 && sy == 0.0) {
        // A parallelogram: the map is affine.
        m.g = m.h = 0.0;
    } else {
        const double dx1 = x1 - x2, dx2 = x3 - x2, dy1 = y1 - y2, dy2 = y3 - y2;
        const double den = dx1 * dy2 - dx2 * dy1;
        if (den == 0.0) return false;
        m.g = (sx * dy2 - dx2 * sy) / den;
        m.h = (dx1 * sy - sx * dy1) / den;
    }
    m.a = x1 - x0 + m.g * x1;
    m.b = x3 - x0 + m.h * x3;
    m.c = x0;
    m.d = y1 - y0 + m.g * y1;
    m.e = y3 - y0 + m.h * y3;
    m.f = y0;
    // Singular when the quad collapses onto a line.
    return (m.a * m.e - m.b * m.d) != 0.0;
}

std::string make_quad_vertices(int32_t src_width, int32_t src_height,
                               const std::array<double, 8> &quad, bool perspective,
                               std::array<map_vertex, 4> &out) {
    static constexpr double corner_s[4] = {0.0, 1.0, 1.0, 0.0};
    static constexpr double corner_t[4] = {0.0, 0.0, 1.0, 1.0};
    double weight[4] = {1.0, 1.0, 1.0, 1.0};
    if (perspective) {
        square_to_quad m;
        if (!fit_square_to_quad(quad, m))
            return "the quad is degenerate (its corners lie on a line)";
        double largest = 0.0;
        for (int i = 0; i < 4; ++i) {
            const double q = m.denominator(corner_s[i], corner_t[i]);
            // All denominators share the sign of corner 0's (1.0) exactly
            // when the quad is convex and its corners run in order.
            if (!(q > 1e-9))
                return "--persp needs a convex quad with its corners in order around it";
            weight[i] = 1.0 / q;
            largest = std::fmax(largest, weight[i]);
        }
        for (double &w : weight) w /= largest;
    }
    for (int i = 0; i < 4; ++i) {
        out[i].u = static_cast<float>(corner_s[i] * src_width);
        out[i].v = static_cast<float>(corner_t[i] * src_height);
        out[i].w = static_cast<float>(weight[i]);
        out[i].x = static_cast<float>(quad[2 * i]);
        out[i].y = static_cast<float>(quad[2 * i + 1]);
    }
    return {};
}

} // namespace tovrel_tool
