// multisrc_map_rectangle: what it skips. Pieces meeting at the sources'
// seams are pinned by the golden corpus (sources side by side, tiled).
#include <gtest/gtest.h>

#include "rect_test_util.h"

namespace {

using rect_test::image;

TEST(MultisrcSkip, WhatItCannotDraw) {
    image left(360, 3), right(360, 3), dst(25, 3);
    std::mt19937 rng(11);
    left.randomize(rng);
    right.desc.origin_x = 360;
    rect_test::report_capture cap;
    // Only the left image meets the rectangle; the right one is not called.
    image_descriptor broken = right.desc;
    broken.format = 0;
    const image_descriptor *sources[3] = {&left.desc, &broken, nullptr};
    multisrc_map_rectangle(&dst.desc, 0, 0, 20, 3, sources, 3, 100, 0, 120, 3, 0, 0, 1);
    EXPECT_EQ(cap.all(), "multisrc_map_rectangle: source 2 is null, skipped\n");
    EXPECT_EQ(dst.px(19, 2)[0], left.px(119, 2)[0]);
    dst.fill(0);
    multisrc_map_rectangle(&dst.desc, 0, 0, 20, 3, sources, 0, 100, 0, 120, 3, 0, 0, 1);
    EXPECT_EQ(dst.px(0, 0)[0], 0);
}

} // namespace
