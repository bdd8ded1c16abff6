// Scan conversion through its seams: shared and traced-back edges, and the
// coverage of edge anti-aliasing. Which pixels a polygon fills, and on
// which lines, is pinned by the golden corpus.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>
#include <vector>

#include "polygon/polygon_call.h"
#include "polygon/scan.h"
#include "polygon_probe.h"

namespace tovrel::test {
namespace {

using verts = std::vector<map_vertex>;
map_vertex at(float x, float y) {
    return {x, y, 1.0f, x, y};
}

// The scan driven with recording doubles in place of renderers and
// writers: every pixel sums the coverage it was drawn with (4096 for a span
// pixel, the coverage writer's value for an anti-aliased one).
struct probe_result {
    int width = 0, height = 0, spans = 0;
    std::vector<int32_t> cover;
    int32_t at(int x, int y) const { return cover[static_cast<size_t>(y * width + x)]; }
};

constexpr int32_t probe_pitch = 64; // destination rows are never written
probe_result *current = nullptr;
uint8_t row_base[probe_pitch * 64];

void mark(const void *row, int32_t x0, int32_t x1, const uint16_t *coverage) {
    probe_result &r = *current;
    const auto y = static_cast<int>((static_cast<const uint8_t *>(row) - row_base) / probe_pitch);
    ASSERT_TRUE(y >= 0 && y < r.height && x0 >= 0 && x0 < x1 && x1 <= r.width)
        << "y " << y << " x0 " << x0 << " x1 " << x1;
    for (int32_t x = x0; x < x1; ++x)
        r.cover[static_cast<size_t>(y * r.width + x)] += coverage ? coverage[x] : 4096;
}

void direct(const span_rows *line, int32_t x0, int32_t x1, const texture_ref *, float, float, float,
            float, float, float) {
    ++current->spans;
    mark(line->pixels, x0, x1, nullptr);
}

void into_buffer(const span_rows *, int32_t x0, int32_t x1, const texture_ref *, float, float,
                 float, float, float, float) {
    EXPECT_TRUE(x0 >= 0 && x0 < x1 && x1 <= line_buffer_pixels);
}

void merge(const span_rows *dst, const span_rows *, const uint16_t *c, int32_t x0, int32_t x1) {
    mark(dst->pixels, x0, x1, c);
}

// Affine polygons (u = x, v = y) over a width x height destination.
probe_result probe_polygon(const verts &v, int width, int height, uint32_t flags) {
    probe_result result{width, height, 0,
                        std::vector<int32_t>(static_cast<size_t>(width * height))};
    static uint32_t texels[64 * 64];
    const image_descriptor dst{
        0, 0, width, height, TOVREL_FORMAT_RGBQ, 0, 0, row_base, probe_pitch, 0, 0, nullptr, 0};
    const image_descriptor src{0, 0, 64,      64, TOVREL_FORMAT_RGBQ, 0, 0, texels, 256,
                               0, 0, nullptr, 0};
    auto work = std::make_unique<polygon_work>();
    if (prepare_polygon(*work, {&dst, &src, v.data(), static_cast<int32_t>(v.size()), flags, 0,
                                1}) != prepare_status::draw)
        return result;
    work->ctx.direct_affine_renderer = direct;
    work->ctx.affine_renderer = into_buffer;
    work->ctx.coverage_writer = merge;
    work->ctx.span_routine = select_span_routine(false, false);
    current = &result;
    draw_polygon(*work, dst);
    return result;
}

void add_into(probe_result &a, const probe_result &b) {
    for (size_t i = 0; i < a.cover.size(); ++i) a.cover[i] += b.cover[i];
}

TEST(Scan, SharedEdgeCoversEachPixelOnce) {
    const map_vertex a = at(1.3f, 1.1f), b = at(13.7f, 2.2f), c = at(14.9f, 12.4f),
                     d = at(6.1f, 11.9f);
    probe_result halves = probe_polygon({a, b, d}, 16, 14, MAP_NO_FILTER);
    add_into(halves, probe_polygon({b, c, d}, 16, 14, MAP_NO_FILTER));
    EXPECT_EQ(halves.cover, probe_polygon({a, b, c, d}, 16, 14, MAP_NO_FILTER).cover);
}

TEST(Scan, TracedBackEdgesCancel) {
    const map_vertex a = at(2.2f, 1.3f), b = at(11.6f, 3.1f), c = at(5.4f, 9.7f),
                     d = at(13.3f, 11.2f);
    EXPECT_EQ(probe_polygon({a, b, c, b}, 16, 14, MAP_NO_FILTER).spans, 0);
    // A spike out and back along one edge leaves the triangle alone.
    EXPECT_EQ(probe_polygon({a, b, c, d, c}, 16, 14, MAP_NO_FILTER).cover,
              probe_polygon({a, b, c}, 16, 14, MAP_NO_FILTER).cover);
}

// Under anti-aliasing each pixel's coverage is the polygon's area in it.
// Vertices on whole lines or thirds of lines are not moved by the snapping
// to sub-lines; those inside a line make it accumulate sub-line by
// sub-line, the others take the single pass.
void expect_areas(const probe_result &r, const verts &v, int tolerance, bool whole_exact) {
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
    const std::vector<verts> shapes = {
        {at(3.3f, 1.f), at(28.6f, 4.f), at(17.4f, 18.f), at(1.9f, 13.f)},
        {at(15.1f, 0.f), at(30.5f, 19.f), at(0.2f, 19.f)},
        {at(2.f, 2.f), at(29.7f, 3.f), at(29.2f, 4.f), at(2.6f, 7.f)}, // long shallow edges
        {at(3.3f, 4.f / 3), at(28.6f, 14.f / 3), at(17.4f, 52.f / 3), at(1.9f, 38.f / 3)},
        {at(9.6f, 2.f / 3), at(10.2f, 11.f / 3), at(20.1f, 16.f / 3)}, // a thin sliver
    };
    for (const verts &v : shapes) expect_areas(probe_polygon(v, 32, 20, MAP_EDGE_AA), v, 3, true);
}

TEST(EdgeAntiAliasing, AbuttingPolygonsSumToWholePixels) {
    const map_vertex a = at(1.7f, 1.f), b = at(21.3f, 2.f), c = at(22.6f, 17.f), d = at(4.2f, 16.f),
                     m = at(13.9f, 28.f / 3);
    probe_result sum = probe_polygon({a, b, m}, 24, 18, MAP_EDGE_AA);
    for (const verts &part : {verts{b, c, m}, verts{c, d, m}, verts{d, a, m}})
        add_into(sum, probe_polygon(part, 24, 18, MAP_EDGE_AA));
    expect_areas(sum, {a, b, c, d}, 4, false);
}

TEST(SpanGradients, SliversAndFallingPerspectiveStayFinite) {
    span_context ctx{};
    ctx.perspective = 1;
    ctx.w_floor = 0.5;
    edge_record l{}, r{};
    l.x = 10.0;
    r.x = 10.0 + 1e-300; // far narrower than the 1/4096 grid
    l.du = 3.0e9;
    r.u_origin = 1.0e12;
    l.w_origin = r.w_origin = 1.0;
    r.dw = -1.0; // w falls to 0 inside the span
    const span_coefficients c = span_gradients(ctx, l, r, 1.5, l.x, r.x, 9, 11);
    for (float f : {c.u_step, c.v_step, c.u_base, c.v_base, c.w_step, c.w_base})
        EXPECT_TRUE(std::isfinite(f));
    EXPECT_GT(c.w_base, 0.0f);
    EXPECT_EQ(c.w_step, 0.0f);
}

} // namespace
} // namespace tovrel::test
