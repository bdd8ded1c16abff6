// Scan conversion through its seams: which pixels each polygon reaches, and
// with what coverage under edge anti-aliasing.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>
#include <vector>

#include "param_names.h"
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
probe_result probe_polygon(const verts &v, int width, int height, uint32_t flags,
                           int32_t first_line = 0, int32_t line_step = 1) {
    probe_result result{width, height, 0,
                        std::vector<int32_t>(static_cast<size_t>(width * height))};
    static uint32_t texels[64 * 64];
    const image_descriptor dst{
        0, 0, width, height, TOVREL_FORMAT_RGBQ, 0, 0, row_base, probe_pitch, 0, 0, nullptr, 0};
    const image_descriptor src{0, 0, 64,      64, TOVREL_FORMAT_RGBQ, 0, 0, texels, 256,
                               0, 0, nullptr, 0};
    auto work = std::make_unique<polygon_work>();
    if (prepare_polygon(*work, {&dst, &src, v.data(), static_cast<int32_t>(v.size()), flags,
                                first_line, line_step}) != prepare_status::draw)
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

// Even-odd test at each pixel centre: 4096 inside, 0 outside, -1 for
// centres within 1e-3 of an edge (decided on the scan's 1/4096 grid).
std::vector<int> reference_fill(const verts &v, int w, int h) {
    std::vector<int> inside;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const double cx = x + 0.5, cy = y + 0.5;
            int crossings = 0;
            bool near = false;
            for (size_t i = 0; i < v.size(); ++i) {
                const map_vertex &a = v[i], &b = v[(i + 1) % v.size()];
                if ((a.y <= cy) == (b.y <= cy)) continue;
                const double ex = a.x + (cy - a.y) * (b.x - a.x) / (b.y - a.y);
                crossings += ex <= cx;
                near |= std::fabs(ex - cx) < 1e-3;
            }
            inside.push_back(near ? -1 : (crossings & 1) * 4096);
        }
    return inside;
}

struct shape {
    const char *name;
    verts v;
};
void PrintTo(const shape &s, std::ostream *os) {
    *os << s.name;
}

class Fill : public ::testing::TestWithParam<shape> {};

TEST_P(Fill, MatchesEvenOddAtPixelCentres) {
    const probe_result r = probe_polygon(GetParam().v, 24, 20, MAP_NO_FILTER);
    const std::vector<int> ref = reference_fill(GetParam().v, 24, 20);
    for (size_t i = 0; i < ref.size(); ++i)
        if (ref[i] >= 0) {
            ASSERT_EQ(r.cover[i], ref[i]) << "pixel " << i % 24 << "," << i / 24;
        }
}

// Edges through pixel centres ("centres"): left edge drawn, right edge not.
const shape shapes[] = {
    {"centres", {at(2.5f, 1.5f), at(5.5f, 1.5f), at(5.5f, 4.5f), at(2.5f, 4.5f)}},
    {"triangle", {at(3.2f, 1.1f), at(20.7f, 6.3f), at(7.9f, 17.6f)}},
    {"concave",
     {at(1.3f, 1.2f), at(22.1f, 2.7f), at(12.2f, 8.4f), at(21.6f, 18.3f), at(2.2f, 16.9f)}},
    {"pentagram",
     {at(12.1f, 0.7f), at(18.9f, 18.8f), at(1.3f, 7.4f), at(22.8f, 7.2f), at(5.2f, 19.1f)}},
    {"bowtie", {at(2.3f, 2.2f), at(21.4f, 17.6f), at(21.1f, 1.9f), at(2.6f, 18.1f)}},
    {"clipped", {at(-5.3f, -7.1f), at(30.2f, -2.9f), at(26.4f, 27.3f), at(-3.7f, 23.2f)}},
    {"off_left", {at(-9.f, 2.f), at(-1.f, 3.f), at(-4.f, 9.f)}},
    {"off_bottom", {at(3.f, 21.f), at(9.f, 29.f), at(1.f, 26.f)}},
    {"within_a_line", {at(1.f, 3.2f), at(9.f, 3.4f), at(5.f, 3.3f)}}};
INSTANTIATE_TEST_SUITE_P(Shapes, Fill, ::testing::ValuesIn(shapes),
                         [](const auto &i) { return std::string(i.param.name); });

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

struct phase_case {
    int32_t first_line, line_step, expected_first, stride;
};
void PrintTo(const phase_case &c, std::ostream *os) {
    *os << "first" << c.first_line << "_step" << c.line_step;
}

class LinePhase : public ::testing::TestWithParam<phase_case> {};

TEST_P(LinePhase, DrawsOnlySelectedLines) {
    const phase_case p = GetParam();
    const verts v = {at(1.2f, 2.2f), at(10.9f, 1.4f), at(9.3f, 13.8f)};
    for (uint32_t aa : {0, MAP_EDGE_AA}) {
        const probe_result all = probe_polygon(v, 12, 15, MAP_NO_FILTER | aa);
        const probe_result some =
            probe_polygon(v, 12, 15, MAP_NO_FILTER | aa, p.first_line, p.line_step);
        for (int i = 0; i < 12 * 15; ++i) {
            const int y = i / 12;
            const bool drawn = y >= p.expected_first && (y - p.expected_first) % p.stride == 0;
            ASSERT_EQ(some.cover[i], drawn ? all.cover[i] : 0) << "line " << y << " aa " << aa;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Cases, LinePhase,
                         ::testing::Values(phase_case{1, 2, 1, 2}, phase_case{-1, 2, 1, 2},
                                           phase_case{0, 2, 0, 2}, phase_case{-7, 3, 2, 3},
                                           phase_case{5, 1, 0, 1}),
                         param_names::printed{});

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
