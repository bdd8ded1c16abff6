// The perspective weights must make the library's screen-linear
// interpolation of (u w, v w, w) reproduce the projective map exactly.
#include <gtest/gtest.h>

#include <cmath>

#include "quad.h"

namespace tovrel_tool {
namespace {

struct quad_case {
    const char *name;
    std::array<double, 8> quad;
};

void PrintTo(const quad_case &c, std::ostream *os) {
    *os << c.name;
}

class PerspectiveQuad : public ::testing::TestWithParam<quad_case> {};

// At screen points inside the triangle of corners 0, 1, 2, interpolate the
// vertices linearly (barycentric, as a scan converter does) and compare
// u'/w', v'/w' with the inverse of the fitted map.
TEST_P(PerspectiveQuad, ScreenLinearWeightsReproduceTheMap) {
    const std::array<double, 8> &q = GetParam().quad;
    std::array<map_vertex, 4> v;
    ASSERT_EQ(make_quad_vertices(200, 100, q, true, v), "");
    square_to_quad m;
    ASSERT_TRUE(fit_square_to_quad(q, m));
    for (int i = 0; i < 4; ++i) {
        double x, y;
        m.map(v[i].u / 200.0, v[i].v / 100.0, x, y);
        EXPECT_NEAR(x, q[2 * i], 1e-9);
        EXPECT_NEAR(y, q[2 * i + 1], 1e-9);
        EXPECT_GT(v[i].w, 0.0f);
        EXPECT_LE(v[i].w, 1.0f);
    }
    for (double a = 0.05; a < 1.0; a += 0.15) {
        for (double b = 0.05; a + b < 1.0; b += 0.15) {
            const double l[3] = {1.0 - a - b, a, b};
            double x = 0, y = 0, uw = 0, vw = 0, w = 0;
            for (int k = 0; k < 3; ++k) {
                x += l[k] * v[k].x;
                y += l[k] * v[k].y;
                uw += l[k] * v[k].u * v[k].w;
                vw += l[k] * v[k].v * v[k].w;
                w += l[k] * v[k].w;
            }
            double s, t;
            ASSERT_TRUE(m.unmap(x, y, s, t));
            // Floats in the vertices: about 1e-7 relative.
            EXPECT_NEAR(uw / w, s * 200.0, 1e-3);
            EXPECT_NEAR(vw / w, t * 100.0, 1e-3);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(
    Quads, PerspectiveQuad,
    ::testing::Values(quad_case{"Receding", {52, 18, 400, 64, 400, 206, 52, 254}},
                      quad_case{"Trapezoid", {100, 0, 200, 0, 300, 100, 0, 100}},
                      quad_case{"Mirrored", {300, 10, 20, 40, 40, 200, 280, 180}},
                      quad_case{"Parallelogram", {10, 10, 110, 30, 130, 90, 30, 70}}),
    [](const ::testing::TestParamInfo<quad_case> &info) { return info.param.name; });

TEST(PerspectiveQuad, AffineQuadsKeepEqualWeights) {
    std::array<map_vertex, 4> v;
    ASSERT_EQ(make_quad_vertices(8, 8, {10, 10, 110, 30, 130, 90, 30, 70}, true, v), "");
    for (const map_vertex &p : v) EXPECT_EQ(p.w, 1.0f);
    // Without --persp any quad, even a bow tie, gets weight 1.
    ASSERT_EQ(make_quad_vertices(8, 8, {0, 0, 10, 10, 10, 0, 0, 10}, false, v), "");
    for (const map_vertex &p : v) EXPECT_EQ(p.w, 1.0f);
}

TEST(PerspectiveQuad, RefusesQuadsWithoutAProjectiveMap) {
    std::array<map_vertex, 4> v;
    const std::array<double, 8> refused[] = {
        {0, 0, 10, 10, 10, 0, 0, 10}, // bow tie
        {0, 0, 10, 0, 3, 3, 0, 10},   // dart: corner 2 inside
        {0, 0, 5, 5, 10, 10, 20, 20}, // all on a line
        {0, 0, 0, 0, 0, 0, 0, 0},
    };
    for (const auto &q : refused) EXPECT_NE(make_quad_vertices(8, 8, q, true, v), "");
}

} // namespace
} // namespace tovrel_tool
