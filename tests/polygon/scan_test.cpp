// Scan conversion through its seams: shared and traced-back edges, and the
// coverage of edge anti-aliasing. Which pixels a polygon fills, and on
// which lines, is pinned by the golden corpus.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <vector>

#include "polygon/polygon_call.h"
#include "polygon/scan.h"

namespace tovrel::test {
namespace {

using verts = std::vector<map_vertex>;

// Area of the polygon inside pixel (x, y), in 1/4096 pixel: the reference
// for anti-aliased coverage.
double exact_cover(const verts &v, int x, int y) {
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

// Anti-aliased pieces of a quadrilateral around an inner point add up, in
// each pixel, to the quadrilateral's area in it (vertices on thirds of
// lines are not moved by the snapping to sub-lines).
TEST(EdgeAntiAliasing, AbuttingPolygonsSumToTheArea) {
    const map_vertex a = at(1.7f, 1.f), b = at(21.3f, 2.f), c = at(22.6f, 17.f), d = at(4.2f, 16.f),
                     m = at(13.9f, 28.f / 3);
    probe_result sum = probe_polygon({a, b, m}, 24, 18, MAP_EDGE_AA);
    for (const verts &part : {verts{b, c, m}, verts{c, d, m}, verts{d, a, m}})
        add_into(sum, probe_polygon(part, 24, 18, MAP_EDGE_AA));
    for (int i = 0; i < 24 * 18; ++i)
        ASSERT_NEAR(sum.cover[size_t(i)], exact_cover({a, b, c, d}, i % 24, i / 24), 4)
            << i % 24 << "," << i / 24;
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
