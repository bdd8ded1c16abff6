// map_rectangle's driver: steps, fields, the kernel contract and the
// refusals (the selection table's among them).
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>

#include "rect/rect_map.h"
#include "rect_test_util.h"

namespace {

using rect_test::image;
using namespace tovrel;

rect_geometry setup(int32_t dw, int32_t dh, int32_t sw, int32_t sh, rect_coords c) {
    image_descriptor dst{}, src{};
    dst.width = dw, dst.height = dh, src.width = sw, src.height = sh;
    rect_geometry g{};
    EXPECT_EQ(rect_setup(dst, src, c, 0, &g), rect_setup_status::draw);
    return g;
}

TEST(RectSetup, StepsRoundUpUnlessWithinAHundredth) {
    EXPECT_EQ(setup(9999, 9, 9999, 9, {0, 0, 16, 1, 0, 0, 9, 1}).x_step, 7282); // 7281.78
    const rect_geometry hd = setup(2000, 720, 2000, 1080, {0, 0, 1280, 720, 0, 0, 1920, 1080});
    EXPECT_EQ(hd.x_step, 2731);
    EXPECT_EQ(hd.y_step, 1366);
    EXPECT_EQ(setup(99, 99, 99, 99, {0, 0, 3, 3, 0, 0, 3, 3}).y_step, 2048);
    EXPECT_EQ(setup(99, 99, 99, 99, {0, 0, 3, 1, 0, 0, 2.99998f, 1}).x_step, 4097);  // 4096.027
    EXPECT_EQ(setup(99, 99, 99, 99, {0, 0, 3, 1, 0, 0, 2.999996f, 1}).x_step, 4096); // 4096.005
    EXPECT_EQ(setup(9, 9, 99999, 9, {0, 0, 1, 1, 0, 0, 90000, 1}).x_step, 1);        // floor of 1
}

// Every kernel call of random (also absurd) rectangles stays inside both
// images, and its row weights add up to the line weight.
image_descriptor dst, src; // the images of the current call
void record(uint8_t *dst_at, uint16_t *, int32_t first_width, int32_t line_weight, int32_t width,
            const uint8_t *src_at, int32_t pitch, const uint16_t *, int32_t, int32_t x_step,
            int32_t y_step, int32_t run, int32_t first, int32_t middle, int32_t last) {
    ASSERT_EQ(first + middle * y_step + last, line_weight);
    const uintptr_t d = uintptr_t(dst_at) - 0x10000000, s = uintptr_t(src_at) - 0x20000000;
    const int64_t dst_line = d / dst.pitch, dst_col = d % dst.pitch / 4;
    ASSERT_GE(dst_line, 0);
    ASSERT_LT(dst_line, dst.height);
    ASSERT_LE(dst_col + (width - first_width + 4095) / 4096, dst.width - 1);
    const int64_t rows = 1 + middle + (last != 0);
    const int64_t src_line = s / src.pitch, src_col = s % src.pitch / 4;
    ASSERT_LE(src_line + (rows - 1) * (pitch / src.pitch), src.height - 1);
    const int64_t more = width > run ? (width - run + x_step - 1) / x_step : 0;
    ASSERT_LE(src_col + more, src.width - 1);
}

TEST(RectDraw, KernelCallsStayInsideTheImages) {
    const uint32_t seed = rect_test::test_seed();
    std::printf("RectDraw.KernelCallsStayInsideTheImages seed %u\n", seed);
    SCOPED_TRACE(seed);
    std::mt19937 rng(seed);
    const rect_kernel_set set = rect_uniform_set(record, false, false);
    auto coord = [&](int32_t size) {
        switch (rng() % 8) {
        case 0:
            return float(int32_t(rng() % 2000001) - 1000000) * 37.0f;
        case 1:
            return float(int32_t(rng() % uint32_t(3 * size + 1)) - size) / 7.0f;
        default:
            return float(int32_t(rng() % uint32_t(2 * size + 3)) - 2) + float(rng() % 8) / 8.0f;
        }
    };
    for (int iter = 0; iter < 3000; ++iter) {
        dst = {}, src = {};
        dst.width = 1 + rng() % 50, dst.height = 1 + rng() % 50, dst.format = 1;
        src.width = 1 + rng() % 50, src.height = 1 + rng() % 50, src.format = 1;
        dst.pitch = dst.width * 4 + 4, src.pitch = src.width * 4;
        dst.pixels = reinterpret_cast<void *>(uintptr_t{0x10000000});
        src.pixels = reinterpret_cast<void *>(uintptr_t{0x20000000});
        const uint32_t flags = rng() & (4 | 8 | 64 | 128);
        const rect_coords c{coord(dst.width),  coord(dst.height), coord(dst.width),
                            coord(dst.height), coord(src.width),  coord(src.height),
                            coord(src.width),  coord(src.height)};
        rect_geometry g;
        rect_test::report_capture quiet;
        if (rect_setup(dst, src, c, flags, &g) != rect_setup_status::draw) continue;
        const int32_t period = 1 + rng() % 3;
        rect_draw(dst, src, g, set, int32_t(rng() % 5), period);
        ASSERT_FALSE(HasFailure()) << "iteration " << iter;
    }
}

struct field_case {
    uint32_t flags;
    int line;     // destination frame line checked
    int a, b, wa; // expected (src line a * wa + line b * (2048 - wa) + 1024) >> 11
};
void PrintTo(const field_case &c, std::ostream *os) {
    *os << param_names::flag_names(
               c.flags, {"", "", "src_top", "src_bottom", "", "", "dst_top", "dst_bottom"})
        << "line" << c.line;
}
class RectFields : public ::testing::TestWithParam<field_case> {};

TEST_P(RectFields, LinesAndWeights) {
    const field_case &k = GetParam();
    const bool src_field = (k.flags & 12) != 0;
    image src(1, 8), dst(1, 8);
    for (int y = 0; y < 8; ++y) src.px(0, y)[0] = uint8_t(20 * y + 7);
    dst.fill(1);
    const float dst_y1 = src_field ? 4 : 8; // a field addresses 4 of the 8 lines
    map_rectangle(&dst.desc, 0, 0, 1, dst_y1, &src.desc, 0, 0, 1, 12 - dst_y1, k.flags, 0, 1);
    const int s_a = src.px(0, k.a)[0], s_b = src.px(0, k.b)[0];
    EXPECT_EQ(dst.px(0, k.line)[0], (s_a * k.wa + s_b * (2048 - k.wa) + 1024) >> 11);
    if (!src_field) { // the other field is untouched
        const int other = (k.flags & RECT_DST_FIELD_TOP) ? 1 : 0;
        for (int y = other; y < 8; y += 2) EXPECT_EQ(dst.px(0, y)[0], 1);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Flags, RectFields,
    ::testing::Values(field_case{RECT_DST_FIELD_TOP, 0, 0, 0, 2048},
                      field_case{RECT_DST_FIELD_TOP, 2, 0, 1, 512},
                      field_case{RECT_DST_FIELD_TOP | RECT_DST_FIELD_BOTTOM, 2, 0, 1, 512},
                      field_case{RECT_DST_FIELD_BOTTOM, 1, 0, 1, 1536},
                      field_case{RECT_SRC_FIELD_TOP, 0, 0, 2, 1536},
                      field_case{RECT_SRC_FIELD_TOP | RECT_SRC_FIELD_BOTTOM, 0, 0, 2, 1536},
                      field_case{RECT_SRC_FIELD_BOTTOM, 0, 1, 1, 2048}),
    param_names::printed{});

// The selection table's refusals (which kernel a combination takes, and
// whose alpha_mode decides, are pinned by the golden corpus). Columns:
// source format, alpha kind and mode; destination format, alpha kind and
// mode; flags; the message ("none": silent).
struct select_case {
    uint32_t sf, sa, sm, df, da, dm, flags;
    const char *result;
};
const select_case select_cases[] = {
    {1, 0, 1, 1, 2, 1, 0, "rect:rgbq to rgbq+alpha operation not supported\n"},
    {1, 3, 1, 1, 0, 1, RECT_TILE, "rect:rgbq+alpha to rgbq with tiling operation not supported\n"},
    {1, 3, 1, 1, 7, 1, 0, "rect:rgbq+alpha to rgbq+alpha operation not supported\n"},
    {1, 1, 1, 1, 0, 1, 0, "rect:rgbq with alpha operation not supported\n"},
    {2, 0, 1, 2, 1, 1, 0, "rect:yuy2 to yuy2+unknown alpha operation not supported\n"},
    {2, 3, 1, 2, 0, 1, RECT_TILE,
     "this is meaningless operation texture+alpha->texture with tiling\n"},
    {2, 3, 1, 2, 4, 1, 0, "rect:yuy2+alpha to yuy2+alpha operation not supported\n"},
    {2, 4, 1, 2, 3, 1, 0, "rect:yuy2 with unknown alpha operation not supported\n"},
    {6, 0, 1, 6, 5, 1, 0, "rect:w210 to w210+unknown alpha operation not supported\n"},
    {6, 3, 1, 6, 0, 1, RECT_TILE,
     "this is meaningless operation texture+alpha->texture with tiling(W210)\n"},
    {6, 3, 1, 6, 9, 1, 0, "rect:w210+alpha to w210+alpha operation not supported\n"},
    {6, 1, 1, 6, 0, 1, 0, "rect:w210 with unknown alpha operation not supported\n"},
    {4, 0, 1, 9, 3, 1, 0, "rect:yuvq with no alpha operation is not supported\n"},
    {4, 3, 1, 2, 0, 1, RECT_TILE, "rect:yuvq+alpha to yuy2 operation is not supported\n"},
    {4, 3, 1, 6, 0, 1, 0, "rect:yuvq+alpha to w210 operation is not supported\n"},
    {4, 3, 1, 1, 0, 1, 0, "rect:yuvq to NOT yuy2 operation is not supported\n"},
    {4, 5, 1, 2, 3, 1, 0, "none"},
    {3, 0, 1, 3, 0, 1, 0, "rect:unknown not supported\n"},
};

TEST(RectSelect, Rows) {
    for (const select_case &k : select_cases) {
        image_descriptor src{}, dst{};
        src.format = uint8_t(k.sf), src.alpha_kind = k.sa, src.alpha_mode = uint8_t(k.sm);
        dst.format = uint8_t(k.df), dst.alpha_kind = k.da, dst.alpha_mode = uint8_t(k.dm);
        const rect_selection sel = rect_select(dst, src, k.flags);
        EXPECT_STREQ(sel.message ? sel.message : rect_op_name(sel.op), k.result);
    }
}

// Refusals: one line each, nothing drawn.
struct refusal {
    const char *expected;
    float dst_y1, src_x1;
    int32_t line_period, src_height;
    uint32_t src_alpha_kind;
    bool null_source, null_source_alpha;
};
const refusal refusals[] = {
    {"map_rectangle: null destination or source descriptor\n", 4, 4, 1, 4, 3, true, false},
    {"map_rectangle: line_period must be at least 1, got 0\n", 4, 4, 0, 4, 3, false, false},
    {"map_rectangle: rectangle coordinates must be finite\n", NAN, 4, 1, 4, 3, false, false},
    {"map_rectangle: rectangle coordinates out of range\n", 4, 1e-30f, 1, 4, 3, false, false},
    {"map_rectangle: the source rectangle has zero width or height\n", 4, 0, 1, 4, 3, false, false},
    {"map_rectangle: the source alpha plane is null\n", 4, 4, 1, 4, 3, false, true},
    {"map_rectangle: image width and height must be positive\n", 4, 4, 1, 0, 3, false, false},
    {"rect:rgbq with alpha operation not supported\n", 4, 4, 1, 4, 2, false, false},
};

TEST(MapRectangle, RefusalsReportOnceAndDrawNothing) {
    image src(4, 4, true), dst(4, 4, true);
    src.fill(9);
    for (const refusal &r : refusals) {
        image_descriptor s = src.desc;
        s.height = r.src_height, s.alpha_kind = r.src_alpha_kind;
        if (r.null_source_alpha) s.alpha = nullptr;
        rect_test::report_capture cap;
        map_rectangle(&dst.desc, 0, 0, 4, r.dst_y1, r.null_source ? nullptr : &s, 0, 0, r.src_x1, 4,
                      0, 0, r.line_period);
        EXPECT_EQ(cap.all(), r.expected);
        EXPECT_EQ(dst.px(0, 0)[0], 0);
    }
    rect_test::report_capture cap; // an empty rectangle returns silently
    map_rectangle(&dst.desc, 2, 0, 2, 4, &src.desc, 0, 0, 4, 4, 0, 0, 1);
    EXPECT_TRUE(cap.lines.empty());
}

} // namespace
