// multisrc_map_rectangle: pieces of a common source plane meet exactly.
#include <gtest/gtest.h>

#include "rect_test_util.h"

namespace {

using rect_test::image;

struct plane {
    image left{360, 3}, right{360, 3}, whole{720, 3};
    const image_descriptor *sources[2] = {&left.desc, &right.desc};
    plane() {
        std::mt19937 rng(11);
        whole.randomize(rng);
        for (int y = 0; y < 3; ++y) {
            std::memcpy(left.px(0, y), whole.px(0, y), 360 * 4);
            std::memcpy(right.px(0, y), whole.px(360, y), 360 * 4);
        }
        right.desc.origin_x = 360;
    }
};

// The seam at source x 360 falls at destination x 12.5: the two calls meet
// there, so tiling builds pixel 12 from both halves (within the rounding of
// each) and every other pixel equals the single-image result. A destination
// starting left of 0 loses that part before the sources are intersected.
struct window {
    float x0, x1, sx0, sx1;
};
class Multisrc : public ::testing::TestWithParam<window> {};

TEST_P(Multisrc, SourcesSideBySideMatchOneImage) {
    const window k = GetParam();
    plane p;
    image one(30, 3), two(30, 3);
    map_rectangle(&one.desc, k.x0, 0, k.x1, 3, &p.whole.desc, k.sx0, 0, k.sx1, 3, RECT_TILE, 0, 1);
    multisrc_map_rectangle(&two.desc, k.x0, 0, k.x1, 3, p.sources, 2, k.sx0, 0, k.sx1, 3, RECT_TILE,
                           0, 1);
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 30; ++x)
            for (int c = 0; c < 4; ++c)
                EXPECT_NEAR(two.px(x, y)[c], one.px(x, y)[c], x == 12 ? 1 : 0) << x << "," << y;
    EXPECT_TRUE(two.guards_intact());
}

INSTANTIATE_TEST_SUITE_P(Windows, Multisrc,
                         ::testing::Values(window{0, 25, 350, 370},
                                           window{-7.5f, 32.5f, 340, 380}));

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
