// Pixel rules of the rectangle kernels (RGBQ and 4:2:2), end to end through
// map_rectangle, and the 4:2:2 refusals.
#include <gtest/gtest.h>

#include <tuple>

#include "rect_test_util.h"

using rect_test::image;

namespace {

// 1:1 placed at (4, 2) and 2:1: every pixel is its source block's rounded
// mean ((sum * 2^23 / k^2 + 2^22) >> 23), the rest of the frame untouched.
// In 4:2:2 the chroma of a pair is the mean over the source pixels of both
// its pixels, each bringing the chroma of its own source pair.
class WholeFactors : public ::testing::TestWithParam<uint8_t> {};

TEST_P(WholeFactors, AreExactBlockMeans) {
    const uint8_t format = GetParam();
    const bool pairs = format != TOVREL_FORMAT_RGBQ;
    for (int k : {1, 2}) {
        std::mt19937 rng(7 + k);
        image src(12, 8, false, format), dst(20, 12, false, format);
        src.randomize(rng);
        dst.fill(77);
        const int x0 = k == 1 ? 4 : 0, y0 = k == 1 ? 2 : 0, w = 12 / k, h = 8 / k;
        map_rectangle(&dst.desc, float(x0), float(y0), float(x0 + w), float(y0 + h), &src.desc, 0,
                      0, 12, 8, 0, 0, 1);
        for (int i = 0; i < 20 * 12 * 3; ++i) {
            const int c = i % 3, x = i / 3 % 20, y = i / 60, sy = (y - y0) * k;
            const bool chroma = pairs && c != 0;
            // Source pixels of the pixel (or of its pair), counted per line.
            const int n = chroma ? 2 * k : k, sx = chroma ? (x / 2 * 2 - x0) * k : (x - x0) * k;
            int64_t want = 77;
            if (x >= x0 && x < x0 + w && y >= y0 && y < y0 + h) {
                int64_t sum = 0;
                for (int j = 0; j < n * k; ++j) sum += src.get(sx + j % n, sy + j / n, c);
                want = (sum * (1 << 24) / (n * k) + (1 << 23)) >> 24;
            }
            ASSERT_EQ(dst.get(x, y, c), want) << "k " << k << " c " << c << " at " << x << "," << y;
        }
        EXPECT_TRUE(dst.guards_intact());
    }
}

INSTANTIATE_TEST_SUITE_P(Formats, WholeFactors,
                         ::testing::Values(TOVREL_FORMAT_RGBQ, TOVREL_FORMAT_YUY2,
                                           TOVREL_FORMAT_W210),
                         [](const auto &info) { return rect_test::format_name(info.param); });

// Two-line rectangles over one destination line pattern: partial pixels,
// tiling seams and the first-column rules. Component 0 of every pixel of
// both lines is checked (and the alpha words where listed).
struct line_call {
    float x0, x1, sx0, sx1; // x1 0: no call
    uint32_t flags;
};
struct line_case {
    const char *name;
    int src_w, src[4]; // one line, repeated on both
    uint8_t old;
    int alpha; // -1: no destination alpha, else every alpha word's value
    line_call calls[2];
    int dst_w, expected[3];
};

void PrintTo(const line_case &c, std::ostream *os) {
    *os << c.name;
}
class RectLine : public ::testing::TestWithParam<line_case> {};

TEST_P(RectLine, Values) {
    const line_case &k = GetParam();
    image src(k.src_w, 2), dst(k.dst_w, 2, k.alpha >= 0);
    for (int i = 0; i < 2 * k.src_w; ++i)
        src.px(i % k.src_w, i / k.src_w)[0] = uint8_t(k.src[i % k.src_w]);
    dst.fill(k.old);
    for (const line_call &c : k.calls)
        if (c.x1 != 0)
            map_rectangle(&dst.desc, c.x0, 0, c.x1, 2, &src.desc, c.sx0, 0, c.sx1, 2, c.flags, 0,
                          1);
    for (int i = 0; i < 2 * k.dst_w; ++i) {
        const int x = i % k.dst_w, y = i / k.dst_w;
        EXPECT_EQ(dst.px(x, y)[0], k.expected[x]) << x << "," << y;
        if (k.alpha >= 0) {
            EXPECT_EQ(dst.a(x, y), k.alpha) << x << "," << y;
        }
    }
}

constexpr int seam = 140; // pixel 1 of tile_seam, a quarter and three quarters
constexpr int seam_sum =
    ((seam * 1024 * 2048 + (1 << 22)) >> 23) + ((seam * 3072 * 2048 + (1 << 22)) >> 23);
constexpr uint32_t T = RECT_TILE;
// clang-format off
const line_case line_cases[] = {
    // An edge at x = 0.25: the first pixel is 3/4 new, 1/4 old; the last 1/4.
    {"fractional_edge", 2, {200, 200}, 40, -1, {{0.25f, 2.25f, 0, 2, 0}},
     3, {(3 * 200 + 40 + 2) >> 2, 200, (200 + 3 * 40 + 2) >> 2}},
    // Abutting tiles whose coverages of pixel 1 add up to a whole pixel.
    {"tile_seam", 3, {90, seam, 190}, 0, -1, {{0, 1.25f, 0, 1.25f, T}, {1.25f, 3, 1.25f, 3, T}},
     3, {90, seam_sum, 190}},
    // Tiling adds into the first column (modulo 256), replaces the rest.
    {"tile_first_column", 3, {100, 100, 100}, 200, -1, {{0, 3, 0, 3, T}}, 3, {44, 100, 100}},
    // The straight rule truncates the first pixel; later whole pixels round.
    {"straight_first_truncates", 4, {181, 182, 181, 182}, 0, 4096, {{0, 2, 0, 4, 0}},
     2, {181, 182}},
};
// clang-format on

INSTANTIATE_TEST_SUITE_P(Rules, RectLine, ::testing::ValuesIn(line_cases),
                         [](const auto &info) { return std::string(info.param.name); });

// One destination pixel, half or wholly covered, for each alpha rule.
struct alpha_case {
    const char *name;
    uint32_t src_alpha_kind, dst_alpha_kind; // 0 or 3
    uint8_t mode;                            // alpha_mode of the deciding descriptor
    uint32_t flags;
    float dst_x1; // rectangle [0, dst_x1) x [0, 1) from [0, dst_x1) x [0, 1)
    uint16_t src_alpha, old_alpha;
    uint8_t src_colour, old_colour;
    int expected_colour;
    int expected_alpha; // -1: no alpha plane written
};

// With the pixel layout as a parameter: in YUY2 and W210 the luma of the
// first pixel of a pair (its partner uncovered or covered alike) follows the
// same rules, 10-bit values four times the 8-bit ones.
void PrintTo(const alpha_case &c, std::ostream *os) {
    *os << c.name;
}
class RectAlpha : public ::testing::TestWithParam<std::tuple<alpha_case, uint8_t>> {};

TEST_P(RectAlpha, OnePixel) {
    const alpha_case &k = std::get<0>(GetParam());
    const uint8_t format = std::get<1>(GetParam());
    const int w = format == TOVREL_FORMAT_RGBQ ? 1 : 2, c = w == 1 ? 1 : 0;
    const uint32_t scale = format == TOVREL_FORMAT_W210 ? 4 : 1;
    image src(w, 1, k.src_alpha_kind == 3, format), dst(w, 1, k.dst_alpha_kind == 3, format);
    src.fill(k.src_colour * scale);
    src.fill_alpha(k.src_alpha);
    dst.fill(k.old_colour * scale);
    dst.fill_alpha(k.old_alpha);
    src.desc.alpha_mode = dst.desc.alpha_mode = k.mode;
    map_rectangle(&dst.desc, 0, 0, k.dst_x1, 1, &src.desc, 0, 0, k.dst_x1, 1, k.flags, 0, 1);
    EXPECT_EQ(dst.get(0, 0, c), k.expected_colour * scale);
    if (k.expected_alpha >= 0) {
        EXPECT_EQ(dst.a(0, 0), k.expected_alpha);
    }
}

constexpr uint8_t S = TOVREL_ALPHA_STRAIGHT, P = TOVREL_ALPHA_PREMULTIPLIED;
const alpha_case alpha_cases[] = {
    // Division by the new alpha undoes the coverage over a transparent pixel.
    {"to_alpha_straight_half", 0, 3, S, 0, 0.5f, 0, 0, 180, 9, 180, 2048},
    {"to_alpha_premul_half", 0, 3, P, 0, 0.5f, 0, 0, 180, 20, (20 * 4194304 + 180 * 4194304) >> 23,
     2048},
    {"over_straight_half", 3, 0, S, 0, 1, 2048, 0, 180, 20, 100, -1},
    {"over_premul_half", 3, 0, P, 0, 1, 2048, 0, 90, 20, 100, -1},
    {"a_to_alpha_straight_into_clear", 3, 3, S, 0, 1, 2048, 0, 180, 20, 180, 2048},
    {"to_alpha_premul_tile_half", 0, 3, P, RECT_TILE, 0.5f, 0, 2048, 180, 20, 20 + 90, 4096},
};

INSTANTIATE_TEST_SUITE_P(Rules, RectAlpha,
                         ::testing::Combine(::testing::ValuesIn(alpha_cases),
                                            ::testing::Values(TOVREL_FORMAT_RGBQ,
                                                              TOVREL_FORMAT_YUY2,
                                                              TOVREL_FORMAT_W210)),
                         param_names::printed{});

// 4:2:2 edges: an odd first destination pixel blends the first pair's
// chroma by its covered share; 10-bit full range survives a 1:1 copy.
TEST(RectPair, OddStartAndFullRange) {
    for (uint8_t format : {TOVREL_FORMAT_YUY2, TOVREL_FORMAT_W210}) {
        const uint32_t scale = format == TOVREL_FORMAT_W210 ? 4 : 1;
        image src(4, 1, false, format), dst(4, 1, false, format);
        src.fill(200 * scale);
        dst.fill(40 * scale);
        map_rectangle(&dst.desc, 1, 0, 4, 1, &src.desc, 0, 0, 3, 1, 0, 0, 1);
        // (old * 2^23 + sum + 2^23) >> 24 with sum = 200 * 2^23 (at 2^22 in W210)
        const uint32_t expected[] = {40, 200, 200, 200, 120, 200};
        for (int i = 0; i < 6; ++i)
            EXPECT_EQ(dst.get(i < 4 ? i : 2 * (i - 4), 0, i < 4 ? 0 : 1), expected[i] * scale) << i;
    }
    image src(6, 2, false, TOVREL_FORMAT_W210), dst(6, 2, false, TOVREL_FORMAT_W210);
    src.fill(1023);
    map_rectangle(&dst.desc, 0, 0, 6, 2, &src.desc, 0, 0, 6, 2, 0, 0, 1);
    dst.each_sample([](uint16_t v) {
        EXPECT_EQ(v, 1023);
        return v;
    });
}

// 4:2:2 refusals: a yuvq line wider than the line buffer, a source line
// off whole pairs. The conversions themselves are pinned by the golden
// corpus.
TEST(RectPair, Refusals) {
    image src(4200, 1, true, TOVREL_FORMAT_YUVQ), dst(4200, 1, true, TOVREL_FORMAT_YUY2);
    rect_test::report_capture cap;
    map_rectangle(&dst.desc, 0, 0, 4200, 1, &src.desc, 0, 0, 4200, 1, 0, 0, 1);
    EXPECT_EQ(cap.all(),
              "map_rectangle: a line reads 4201 source pixels, more than the 4096 of the line "
              "buffer\n");
    EXPECT_EQ(dst.a(0, 0), 0);
    image pairs(8, 2, false, TOVREL_FORMAT_W210), out(8, 2, false, TOVREL_FORMAT_W210);
    pairs.desc.pitch -= 4;
    cap.lines.clear();
    map_rectangle(&out.desc, 0, 0, 4, 1, &pairs.desc, 0, 0, 4, 1, 0, 0, 1);
    EXPECT_EQ(cap.all(), "map_rectangle: YUY2 and W210 pixel addresses and pitches must be "
                         "multiples of a pixel pair (4 and 8 bytes)\n");
    EXPECT_EQ(out.get(0, 0, 0), 0u);
    EXPECT_TRUE(out.guards_intact() && dst.guards_intact());
}

} // namespace
