// multisrc_map_rectangle: pieces of a common source plane meet exactly.
#include <gtest/gtest.h>

#include <tuple>

#include "rect_test_util.h"

namespace {

using rect_test::image;

struct plane {
    image left, right, whole;
    const image_descriptor *sources[2] = {&left.desc, &right.desc};
    explicit plane(uint8_t format = TOVREL_FORMAT_RGBQ)
        : left(360, 3, false, format), right(360, 3, false, format), whole(720, 3, false, format) {
        std::mt19937 rng(11);
        whole.randomize(rng);
        for (int y = 0; y < 3; ++y) {
            std::memcpy(left.px(0, y), whole.px(0, y), left.used());
            std::memcpy(right.px(0, y), whole.px(360, y), right.used());
        }
        right.desc.origin_x = 360;
    }
};

// The seam at source x 360 falls at destination x 12.5: the two calls meet
// there, so tiling builds pixel 12 (and in 4:2:2 the chroma of its pair)
// from both halves (within the rounding of each) and every other pixel
// equals the single-image result. A destination starting left of 0 loses
// that part before the sources are intersected.
struct window {
    float x0, x1, sx0, sx1;
};
class Multisrc : public ::testing::TestWithParam<std::tuple<window, uint8_t>> {};

TEST_P(Multisrc, SourcesSideBySideMatchOneImage) {
    const window k = std::get<0>(GetParam());
    const uint8_t format = std::get<1>(GetParam());
    plane p(format);
    image one(30, 3, false, format), two(30, 3, false, format);
    map_rectangle(&one.desc, k.x0, 0, k.x1, 3, &p.whole.desc, k.sx0, 0, k.sx1, 3, RECT_TILE, 0, 1);
    multisrc_map_rectangle(&two.desc, k.x0, 0, k.x1, 3, p.sources, 2, k.sx0, 0, k.sx1, 3, RECT_TILE,
                           0, 1);
    const int components = format == TOVREL_FORMAT_RGBQ ? 4 : 3;
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 30; ++x)
            for (int c = 0; c < components; ++c) {
                const bool seam = x == 12 || (c != 0 && components == 3 && x == 13);
                EXPECT_NEAR(two.get(x, y, c), one.get(x, y, c), seam ? 1 : 0)
                    << x << "," << y << " c " << c;
            }
    EXPECT_TRUE(two.guards_intact());
}

INSTANTIATE_TEST_SUITE_P(
    Windows, Multisrc,
    ::testing::Combine(::testing::Values(window{0, 25, 350, 370}, window{-7.5f, 32.5f, 340, 380}),
                       ::testing::Values(TOVREL_FORMAT_RGBQ, TOVREL_FORMAT_YUY2,
                                         TOVREL_FORMAT_W210)),
    [](const auto &info) {
        return std::to_string(info.index / 3) + "_" +
               rect_test::format_name(std::get<1>(info.param));
    });

TEST(MultisrcSkip, WhatItCannotDraw) {
    plane p;
    image dst(25, 3);
    rect_test::report_capture cap;
    // Only the left image meets the rectangle; the right one is not called.
    image_descriptor broken = p.right.desc;
    broken.format = 0;
    const image_descriptor *sources[3] = {&p.left.desc, &broken, nullptr};
    multisrc_map_rectangle(&dst.desc, 0, 0, 20, 3, sources, 3, 100, 0, 120, 3, 0, 0, 1);
    EXPECT_EQ(cap.all(), "multisrc_map_rectangle: source 2 is null, skipped\n");
    EXPECT_EQ(dst.px(19, 2)[0], p.whole.px(119, 2)[0]);
    dst.fill(0);
    multisrc_map_rectangle(&dst.desc, 0, 0, 20, 3, sources, 0, 100, 0, 120, 3, 0, 0, 1);
    EXPECT_EQ(dst.px(0, 0)[0], 0);
}

} // namespace
