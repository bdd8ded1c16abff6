// Scan conversion through its seams: which pixels each polygon reaches, and
// with what coverage under edge anti-aliasing.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <vector>

#include "polygon/scan.h"
#include "polygon_probe.h"

namespace tovrel::test {
namespace {

map_vertex at(float x, float y) {
    return {x, y, 1.0f, x, y};
}

// Even-odd inside test at every pixel centre, skipping centres within 1e-3
// of an edge (the scan decides those on its 1/4096 grid). -1 = undecided.
std::vector<int> reference_fill(const std::vector<map_vertex> &v, int w, int h) {
    std::vector<int> inside(static_cast<size_t>(w * h), 0);
    for (int y = 0; y < h; ++y) {
        const double cy = y + 0.5;
        std::vector<double> xs;
        for (size_t i = 0; i < v.size(); ++i) {
            const map_vertex &a = v[i], &b = v[(i + 1) % v.size()];
            if ((a.y <= cy) == (b.y <= cy)) continue;
            xs.push_back(a.x + (cy - a.y) * (b.x - a.x) / (b.y - a.y));
        }
        for (int x = 0; x < w; ++x) {
            int crossings = 0;
            bool near = false;
            for (double cx : xs) {
                crossings += cx <= x + 0.5;
                near |= std::fabs(cx - (x + 0.5)) < 1e-3;
            }
            inside[static_cast<size_t>(y * w + x)] = near ? -1 : crossings & 1;
        }
    }
    return inside;
}

void expect_fill(const std::vector<map_vertex> &v, int w, int h) {
    const probe_result r = probe_polygon(v, w, h, MAP_NO_FILTER);
    const std::vector<int> ref = reference_fill(v, w, h);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            if (ref[static_cast<size_t>(y * w + x)] >= 0) {
                ASSERT_EQ(r.at(x, y), ref[static_cast<size_t>(y * w + x)] * 4096)
                    << "pixel " << x << "," << y;
            }
}

TEST(Scan, LeftEdgeThroughCentreIsDrawnRightIsNot) {
    const probe_result r = probe_polygon(
        {at(2.5f, 1.5f), at(5.5f, 1.5f), at(5.5f, 4.5f), at(2.5f, 4.5f)}, 8, 6, MAP_NO_FILTER);
    for (int y = 0; y < 6; ++y)
        for (int x = 0; x < 8; ++x)
            EXPECT_EQ(r.at(x, y), (x >= 2 && x < 5 && y >= 1 && y < 4) ? 4096 : 0) << x << "," << y;
}

struct shape {
    const char *name;
    std::vector<map_vertex> v;
};

class Fill : public ::testing::TestWithParam<shape> {};

TEST_P(Fill, MatchesEvenOddAtPixelCentres) {
    expect_fill(GetParam().v, 24, 20);
}

INSTANTIATE_TEST_SUITE_P(
    Shapes, Fill,
    ::testing::Values(
        shape{"triangle", {at(3.2f, 1.1f), at(20.7f, 6.3f), at(7.9f, 17.6f)}},
        shape{
            "concave",
            {at(1.3f, 1.2f), at(22.1f, 2.7f), at(12.2f, 8.4f), at(21.6f, 18.3f), at(2.2f, 16.9f)}},
        shape{
            "pentagram",
            {at(12.1f, 0.7f), at(18.9f, 18.8f), at(1.3f, 7.4f), at(22.8f, 7.2f), at(5.2f, 19.1f)}},
        shape{"bowtie", {at(2.3f, 2.2f), at(21.4f, 17.6f), at(21.1f, 1.9f), at(2.6f, 18.1f)}},
        shape{"clipped", {at(-5.3f, -7.1f), at(30.2f, -2.9f), at(26.4f, 27.3f), at(-3.7f, 23.2f)}},
        shape{"off_left", {at(-9.f, 2.f), at(-1.f, 3.f), at(-4.f, 9.f)}},
        shape{"off_bottom", {at(3.f, 21.f), at(9.f, 29.f), at(1.f, 26.f)}}),
    [](const ::testing::TestParamInfo<shape> &i) { return std::string(i.param.name); });

TEST(Scan, SharedEdgeCoversEachPixelOnce) {
    const map_vertex a = at(1.3f, 1.1f), b = at(13.7f, 2.2f), c = at(14.9f, 12.4f),
                     d = at(6.1f, 11.9f);
    probe_result halves = probe_polygon({a, b, d}, 16, 14, MAP_NO_FILTER);
    add_into(halves, probe_polygon({b, c, d}, 16, 14, MAP_NO_FILTER));
    const probe_result whole = probe_polygon({a, b, c, d}, 16, 14, MAP_NO_FILTER);
    EXPECT_EQ(halves.cover, whole.cover);
}

TEST(Scan, TracedBackEdgesCancel) {
    const map_vertex a = at(2.2f, 1.3f), b = at(11.6f, 3.1f), c = at(5.4f, 9.7f),
                     d = at(13.3f, 11.2f);
    EXPECT_EQ(probe_polygon({a, b, c, b}, 16, 14, MAP_NO_FILTER).spans, 0);
    // A spike traced out and back along one edge leaves the triangle alone.
    EXPECT_EQ(probe_polygon({a, b, c, d, c}, 16, 14, MAP_NO_FILTER).cover,
              probe_polygon({a, b, c}, 16, 14, MAP_NO_FILTER).cover);
}

TEST(Scan, DegenerateAndEmptyPolygonsDrawNothing) {
    EXPECT_EQ(probe_polygon({at(1.f, 3.2f), at(9.f, 3.4f), at(5.f, 3.3f)}, 12, 8, 0).spans, 0);
    EXPECT_EQ(probe_polygon({at(4.f, 4.f)}, 12, 8, MAP_NO_FILTER).spans, 0);
}

struct phase_case {
    int32_t first_line, line_step;
    int expected_first, stride;
};

class LinePhase : public ::testing::TestWithParam<phase_case> {};

TEST_P(LinePhase, DrawsOnlySelectedLines) {
    const phase_case p = GetParam();
    const std::vector<map_vertex> v = {at(1.2f, 2.2f), at(10.9f, 1.4f), at(9.3f, 13.8f)};
    for (uint32_t aa : {0u, unsigned{MAP_EDGE_AA}}) {
        const probe_result all = probe_polygon(v, 12, 15, MAP_NO_FILTER | aa);
        const probe_result some =
            probe_polygon(v, 12, 15, MAP_NO_FILTER | aa, p.first_line, p.line_step);
        for (int y = 0; y < 15; ++y) {
            const bool drawn = y >= p.expected_first && (y - p.expected_first) % p.stride == 0;
            for (int x = 0; x < 12; ++x)
                ASSERT_EQ(some.at(x, y), drawn ? all.at(x, y) : 0) << x << "," << y << " aa " << aa;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Cases, LinePhase,
                         ::testing::Values(phase_case{1, 2, 1, 2}, phase_case{-1, 2, 1, 2},
                                           phase_case{0, 2, 0, 2}, phase_case{-7, 3, 2, 3},
                                           phase_case{5, 1, 0, 1}));

// Under anti-aliasing each pixel's coverage is the polygon's area in it:
// vertices on whole lines or thirds of lines are not moved by the snapping
// to sub-lines. Vertices inside a line make it accumulate sub-line by
// sub-line; the others take the single pass.
// Whole pixels of one polygon are exact; abutting polygons' shares sum
// within their rounding.
void expect_areas(const probe_result &r, const std::vector<map_vertex> &v, int tolerance,
                  bool whole_exact = true) {
    double worst = 0.0;
    for (int y = 0; y < r.height; ++y)
        for (int x = 0; x < r.width; ++x) {
            const double exact = exact_cover(v, x, y);
            if (whole_exact && exact > 4096.0 - 1e-6) {
                ASSERT_EQ(r.at(x, y), 4096) << x << "," << y;
            }
            ASSERT_NEAR(r.at(x, y), exact, tolerance) << x << "," << y;
            worst = std::max(worst, std::fabs(r.at(x, y) - exact));
        }
    std::printf("largest difference from the exact area: %.2f / 4096\n", worst);
}

TEST(EdgeAntiAliasing, CoverageIsTheAreaInEachPixel) {
    const std::vector<std::vector<map_vertex>> shapes = {
        {at(3.3f, 1.f), at(28.6f, 4.f), at(17.4f, 18.f), at(1.9f, 13.f)},
        {at(15.1f, 0.f), at(30.5f, 19.f), at(0.2f, 19.f)},
        {at(2.f, 2.f), at(29.7f, 3.f), at(29.2f, 4.f), at(2.6f, 7.f)}, // long shallow edges
        {at(3.3f, 4.f / 3), at(28.6f, 14.f / 3), at(17.4f, 52.f / 3), at(1.9f, 38.f / 3)},
        {at(9.6f, 2.f / 3), at(10.2f, 11.f / 3), at(20.1f, 16.f / 3)}, // a thin sliver
    };
    for (const auto &v : shapes) expect_areas(probe_polygon(v, 32, 20, MAP_EDGE_AA), v, 3);
}

TEST(EdgeAntiAliasing, AbuttingPolygonsSumToWholePixels) {
    const map_vertex a = at(1.7f, 1.f), b = at(21.3f, 2.f), c = at(22.6f, 17.f), d = at(4.2f, 16.f),
                     m = at(13.9f, 28.f / 3);
    probe_result sum = probe_polygon({a, b, m}, 24, 18, MAP_EDGE_AA);
    for (const auto &part : {std::vector<map_vertex>{b, c, m}, {c, d, m}, {d, a, m}})
        add_into(sum, probe_polygon(part, 24, 18, MAP_EDGE_AA));
    expect_areas(sum, {a, b, c, d}, 4, false);
}

TEST(SpanGradients, SliversAndFlatPerspectiveStayFinite) {
    span_context ctx{};
    ctx.perspective = 1;
    ctx.w_floor = 0.5;
    edge_record l{}, r{};
    l.x = 10.0;
    r.x = 10.0 + 1e-300; // narrower than any grid
    l.du = 3.0e9;
    r.u_origin = 1.0e12;
    l.w_origin = 1.0;
    r.w_origin = 1.0;
    r.dw = -1.0; // w falls to 0 inside the span
    const span_coefficients c = span_gradients(ctx, l, r, 1.5, l.x, r.x, 9, 11);
    for (float f : {c.u_step, c.v_step, c.u_base, c.v_base, c.w_step, c.w_base})
        EXPECT_TRUE(std::isfinite(f));
    EXPECT_GT(c.w_base, 0.0f);
    EXPECT_EQ(c.w_step, 0.0f);
}

} // namespace
} // namespace tovrel::test
