#include "polygon_probe.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>

#include "polygon/scan.h"

namespace tovrel::test {

namespace {

constexpr int32_t probe_pitch = 64; // bytes per destination row; rows are never written
probe_result *current = nullptr;
uint8_t row_base[probe_pitch * 4096];

int row_of(const void *pixels) {
    return static_cast<int>((static_cast<const uint8_t *>(pixels) - row_base) / probe_pitch);
}

void mark(int y, int32_t x0, int32_t x1, const uint16_t *coverage) {
    probe_result &r = *current;
    ASSERT_TRUE(y >= 0 && y < r.height && x0 >= 0 && x0 < x1 && x1 <= r.width)
        << "y " << y << " x0 " << x0 << " x1 " << x1;
    for (int32_t x = x0; x < x1; ++x)
        r.cover[static_cast<size_t>(y * r.width + x)] += coverage ? coverage[x] : 4096;
}

void direct_affine(const span_rows *line, int32_t x0, int32_t x1, const texture_ref *, float, float,
                   float, float, float, float) {
    ++current->spans;
    mark(row_of(line->pixels), x0, x1, nullptr);
}

void direct_persp(const span_rows *line, int32_t x0, int32_t x1, const texture_ref *t, float um,
                  float vm, float us, float vs, float ub, float vb, float, float) {
    direct_affine(line, x0, x1, t, um, vm, us, vs, ub, vb);
}

void buffer_affine(const span_rows *, int32_t x0, int32_t x1, const texture_ref *, float, float,
                   float, float, float, float) {
    EXPECT_TRUE(x0 >= 0 && x0 < x1 && x1 <= line_buffer_pixels);
}

void buffer_persp(const span_rows *l, int32_t x0, int32_t x1, const texture_ref *t, float um,
                  float vm, float us, float vs, float ub, float vb, float, float) {
    buffer_affine(l, x0, x1, t, um, vm, us, vs, ub, vb);
}

void coverage_record(const span_rows *dst, const span_rows *, const uint16_t *coverage, int32_t x0,
                     int32_t x1) {
    mark(row_of(dst->pixels), x0, x1, coverage);
}

} // namespace

probe_result probe_polygon(const std::vector<map_vertex> &v, int width, int height, uint32_t flags,
                           int32_t first_line, int32_t line_step) {
    probe_result result;
    result.width = width;
    result.height = height;
    result.cover.assign(static_cast<size_t>(width * height), 0);
    static uint32_t texels[64 * 64];
    image_descriptor dst{};
    dst.width = width;
    dst.height = height;
    dst.format = TOVREL_FORMAT_RGBQ;
    dst.pixels = row_base;
    dst.pitch = probe_pitch;
    image_descriptor src = dst;
    src.width = src.height = 64;
    src.pixels = texels;
    src.pitch = 256;

    auto work = std::make_unique<polygon_work>();
    const polygon_args args{&dst,  &src,       v.data(), static_cast<int32_t>(v.size()),
                            flags, first_line, line_step};
    if (prepare_polygon(*work, args) != prepare_status::draw) return result;
    span_context &ctx = work->ctx;
    ctx.direct_affine_renderer = direct_affine;
    ctx.direct_persp_renderer = direct_persp;
    ctx.affine_renderer = buffer_affine;
    ctx.persp_renderer = buffer_persp;
    ctx.coverage_writer = coverage_record;
    ctx.span_routine = select_span_routine(false, ctx.perspective != 0);
    current = &result;
    draw_polygon(*work, dst);
    current = nullptr;
    return result;
}

void add_into(probe_result &a, const probe_result &b) {
    for (size_t i = 0; i < a.cover.size(); ++i) a.cover[i] += b.cover[i];
}

double exact_cover(const std::vector<map_vertex> &v, int x, int y) {
    // Clip against the pixel's four sides, then the shoelace area.
    std::vector<std::pair<double, double>> poly;
    for (const map_vertex &p : v) poly.emplace_back(p.x, p.y);
    const double bounds[4] = {static_cast<double>(x), static_cast<double>(x + 1),
                              static_cast<double>(y), static_cast<double>(y + 1)};
    for (int side = 0; side < 4; ++side) {
        const bool vertical = side < 2, keep_above = side % 2 == 0;
        auto inside = [&](const std::pair<double, double> &p) {
            const double c = vertical ? p.first : p.second;
            return keep_above ? c >= bounds[side] : c <= bounds[side];
        };
        std::vector<std::pair<double, double>> out;
        for (size_t i = 0; i < poly.size(); ++i) {
            const auto &a = poly[i], &b = poly[(i + 1) % poly.size()];
            if (inside(a)) out.push_back(a);
            if (inside(a) != inside(b)) {
                const double ca = vertical ? a.first : a.second;
                const double cb = vertical ? b.first : b.second;
                const double t = (bounds[side] - ca) / (cb - ca);
                out.emplace_back(a.first + t * (b.first - a.first),
                                 a.second + t * (b.second - a.second));
            }
        }
        poly = out;
    }
    double area = 0.0;
    for (size_t i = 0; i < poly.size(); ++i) {
        const auto &a = poly[i], &b = poly[(i + 1) % poly.size()];
        area += a.first * b.second - b.first * a.second;
    }
    return std::fabs(area) * 0.5 * 4096.0;
}

} // namespace tovrel::test
