// Pixel arithmetic of the RGBQ kernels, end to end through map_rectangle.
#include <gtest/gtest.h>

#include "rect_test_util.h"

using rect_test::image;

namespace {

uint8_t mean4(int a, int b, int c, int d) {
    return uint8_t(((a + b + c + d) * (1 << 21) + (1 << 22)) >> 23);
}

TEST(RectRgbq, OneToOneCopyIsExact) {
    std::mt19937 rng(7);
    image src(13, 9), dst(20, 12);
    src.randomize(rng);
    dst.fill(77);
    map_rectangle(&dst.desc, 3, 2, 14, 10, &src.desc, 1, 0, 12, 8, 0, 0, 1);
    for (int y = 0; y < 12; ++y)
        for (int x = 0; x < 20; ++x)
            for (int c = 0; c < 4; ++c) {
                const bool inside = x >= 3 && x < 14 && y >= 2 && y < 10;
                ASSERT_EQ(dst.px(x, y)[c], inside ? src.px(x - 2, y - 2)[c] : 77) << x << "," << y;
            }
    EXPECT_TRUE(dst.guards_intact());
}

TEST(RectRgbq, HalvingIsRoundedBlockMean) {
    std::mt19937 rng(8);
    image src(10, 6), dst(5, 3);
    src.randomize(rng);
    map_rectangle(&dst.desc, 0, 0, 5, 3, &src.desc, 0, 0, 10, 6, 0, 0, 1);
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 5; ++x)
            for (int c = 0; c < 4; ++c)
                ASSERT_EQ(dst.px(x, y)[c],
                          mean4(src.px(2 * x, 2 * y)[c], src.px(2 * x + 1, 2 * y)[c],
                                src.px(2 * x, 2 * y + 1)[c], src.px(2 * x + 1, 2 * y + 1)[c]));
}

TEST(RectRgbq, FractionalEdgeBlendsWithOldContent) {
    image src(2, 1), dst(3, 1);
    src.fill(200);
    dst.fill(40);
    map_rectangle(&dst.desc, 0.25f, 0, 2.25f, 1, &src.desc, 0, 0, 2, 1, 0, 0, 1);
    EXPECT_EQ(dst.px(0, 0)[0], (3 * 200 + 40 + 2) >> 2); // 3/4 new, 1/4 old
    EXPECT_EQ(dst.px(1, 0)[0], 200);
    EXPECT_EQ(dst.px(2, 0)[0], (200 + 3 * 40 + 2) >> 2);
}

TEST(RectRgbq, TilesBuildTheSeamPixelFromBothParts) {
    image src(3, 1), dst(3, 1);
    for (int x = 0; x < 3; ++x) src.px(x, 0)[0] = uint8_t(90 + 50 * x);
    map_rectangle(&dst.desc, 0, 0, 1.25f, 1, &src.desc, 0, 0, 1.25f, 1, RECT_TILE, 0, 1);
    map_rectangle(&dst.desc, 1.25f, 0, 3, 1, &src.desc, 1.25f, 0, 3, 1, RECT_TILE, 0, 1);
    const int s1 = src.px(1, 0)[0];
    EXPECT_EQ(dst.px(0, 0)[0], 90);
    EXPECT_EQ(dst.px(1, 0)[0],
              ((s1 * 1024 * 2048 + (1 << 22)) >> 23) + ((s1 * 3072 * 2048 + (1 << 22)) >> 23));
    EXPECT_EQ(dst.px(2, 0)[0], 190);
}

TEST(RectRgbq, TilingAddsTheFirstColumnAndReplacesTheRest) {
    image src(3, 2), dst(3, 2);
    src.fill(100);
    dst.fill(200);
    map_rectangle(&dst.desc, 0, 0, 3, 2, &src.desc, 0, 0, 3, 2, RECT_TILE, 0, 1);
    for (int y = 0; y < 2; ++y) {
        EXPECT_EQ(dst.px(0, y)[3], uint8_t(300)); // wraps modulo 256
        EXPECT_EQ(dst.px(1, y)[3], 100);
        EXPECT_EQ(dst.px(2, y)[3], 100);
    }
}

// The straight rule truncates; the whole pixels after the first round.
TEST(RectRgbq, StraightFirstColumnTruncatesWholePixelsRound) {
    image src(4, 1), dst(2, 1, true);
    for (int x = 0; x < 4; ++x) src.px(x, 0)[0] = uint8_t(181 + (x & 1));
    map_rectangle(&dst.desc, 0, 0, 2, 1, &src.desc, 0, 0, 4, 1, 0, 0, 1);
    EXPECT_EQ(dst.px(0, 0)[0], 181);
    EXPECT_EQ(dst.px(1, 0)[0], 182);
    EXPECT_EQ(dst.a(0, 0), 4096);
    EXPECT_EQ(dst.a(1, 0), 4096);
}

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

class RectAlpha : public ::testing::TestWithParam<alpha_case> {};

TEST_P(RectAlpha, OnePixel) {
    const alpha_case &k = GetParam();
    image src(1, 1, k.src_alpha_kind == 3), dst(1, 1, k.dst_alpha_kind == 3);
    src.fill(k.src_colour);
    src.fill_alpha(k.src_alpha);
    dst.fill(k.old_colour);
    dst.fill_alpha(k.old_alpha);
    src.desc.alpha_mode = dst.desc.alpha_mode = k.mode;
    map_rectangle(&dst.desc, 0, 0, k.dst_x1, 1, &src.desc, 0, 0, k.dst_x1, 1, k.flags, 0, 1);
    EXPECT_EQ(dst.px(0, 0)[1], k.expected_colour);
    if (k.expected_alpha >= 0) {
        EXPECT_EQ(dst.a(0, 0), k.expected_alpha);
    }
}

constexpr uint8_t S = TOVREL_ALPHA_STRAIGHT, P = TOVREL_ALPHA_PREMULTIPLIED;
const alpha_case alpha_cases[] = {
    // Division by the new alpha undoes the coverage over a transparent pixel.
    {"to_alpha_straight_half", 0, 3, S, 0, 0.5f, 0, 0, 180, 9, 180, 2048},
    {"to_alpha_straight_half_over_opaque", 0, 3, S, 0, 0.5f, 0, 4096, 180, 20, 100, 4096},
    {"to_alpha_premul_half", 0, 3, P, 0, 0.5f, 0, 0, 180, 20, (20 * 4194304 + 180 * 4194304) >> 23,
     2048},
    {"over_straight_opaque", 3, 0, S, 0, 1, 4096, 0, 180, 20, 180, -1},
    {"over_straight_transparent", 3, 0, S, 0, 1, 0, 0, 180, 20, 20, -1},
    {"over_straight_half", 3, 0, S, 0, 1, 2048, 0, 180, 20, 100, -1},
    {"over_premul_half", 3, 0, P, 0, 1, 2048, 0, 90, 20, 100, -1},
    {"a_to_alpha_straight_into_clear", 3, 3, S, 0, 1, 2048, 0, 180, 20, 180, 2048},
    {"a_to_alpha_straight_into_opaque", 3, 3, S, 0, 1, 2048, 4096, 180, 20, 100, 4096},
    {"a_to_alpha_premul_into_clear", 3, 3, P, 0, 1, 2048, 0, 90, 20, 100, 2048},
    {"to_alpha_straight_tile_half", 0, 3, S, RECT_TILE, 0.5f, 0, 2048, 180, 20, 100, 4096},
    {"to_alpha_premul_tile_half", 0, 3, P, RECT_TILE, 0.5f, 0, 2048, 180, 20, 20 + 90, 4096},
    {"a_to_alpha_straight_tile_half", 3, 3, S, RECT_TILE, 0.5f, 4096, 2048, 180, 20, 100, 4096},
    {"a_to_alpha_premul_tile_half", 3, 3, P, RECT_TILE, 0.5f, 4096, 2048, 180, 20, 20 + 90, 4096},
};

INSTANTIATE_TEST_SUITE_P(Rules, RectAlpha, ::testing::ValuesIn(alpha_cases),
                         [](const auto &info) { return std::string(info.param.name); });

} // namespace
