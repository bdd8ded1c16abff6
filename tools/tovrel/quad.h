// The vertices of `tovrel warp`: the source rectangle's four corners
// placed on a destination quadrilateral, either with equal weights (the
// library then interpolates u and v linearly in screen space) or with the
// perspective weights of the projective mapping onto the quad.
#pragma once

#include <array>
#include <cstdint>
#include <string>

#include <tovrel.h>

namespace tovrel_tool {

// A value along a move: `from` at frame 0, `to` from frame `frames` on,
// linear between (frame k at k / frames of the way); `from` throughout
// when frames is 0.
template <size_t N>
std::array<double, N> along_move(const std::array<double, N> &from, const std::array<double, N> &to,
                                 int64_t index, int32_t frames) {
    if (frames <= 0) return from;
    const double t = index >= frames ? 1.0 : double(index) / double(frames);
    std::array<double, N> at;
    for (size_t i = 0; i < N; ++i) at[i] = from[i] + (to[i] - from[i]) * t;
    return at;
}

// Projective map of the unit square onto a quad:
//   x = (a s + b t + c) / (g s + h t + 1), y = (d s + e t + f) / (g s + h t + 1)
// with (0,0), (1,0), (1,1), (0,1) going to corners 0, 1, 2, 3.
struct square_to_quad {
    double a, b, c, d, e, f, g, h;

    double denominator(double s, double t) const { return g * s + h * t + 1.0; }
    void map(double s, double t, double &x, double &y) const;
    // The (s, t) that maps to (x, y); false where the map is singular.
    bool unmap(double x, double y, double &s, double &t) const;
};

// False for a degenerate quad (three corners on a line, no inverse).
bool fit_square_to_quad(const std::array<double, 8> &quad, square_to_quad &out);

// Fills `out` with the corners in order (u, v) = (0, 0), (w, 0), (w, h),
// (0, h). With `perspective`, each corner's weight is the reciprocal of the
// projective denominator at that corner, scaled so the largest is 1: the
// library interpolates u*w, v*w and w linearly across the screen, and
// 1/denominator is exactly the screen-linear quantity of a projective map.
// Returns a message for a quad that cannot carry a projective mapping
// (degenerate, or not convex so a corner lies behind the eye).
std::string make_quad_vertices(int32_t src_width, int32_t src_height,
                               const std::array<double, 8> &quad, bool perspective,
                               std::array<map_vertex, 4> &out);

} // namespace tovrel_tool
