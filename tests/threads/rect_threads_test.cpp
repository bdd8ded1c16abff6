// One rectangle shared by several threads, each drawing the destination
// lines of one phase (line_phase k, line_period n), must give the bytes of
// a single call; likewise for a multi-source rectangle.
#include <tovrel.h>

#include <gtest/gtest.h>

#include "thread_support.h"

namespace {

using tovrel_threads::owned_image;
using tovrel_threads::run_together;

struct rect_case {
    const char *name;
    uint32_t flags;
    bool src_alpha, dst_alpha;
    uint8_t alpha_mode;
    float dst[4], src[4];
    int threads;
};

class ThreadedRectangle : public ::testing::TestWithParam<rect_case> {};

TEST_P(ThreadedRectangle, LineSharesMatchOneCall) {
    const rect_case &c = GetParam();
    owned_image src(TOVREL_FORMAT_RGBQ, 53, 41, 4, c.src_alpha, 21);
    owned_image initial(TOVREL_FORMAT_RGBQ, 131, 97, 4, c.dst_alpha, 22);
    src.desc.alpha_mode = initial.desc.alpha_mode = c.alpha_mode;

    auto draw = [&](owned_image &dst, int32_t phase, int32_t period) {
        map_rectangle(&dst.desc, c.dst[0], c.dst[1], c.dst[2], c.dst[3], &src.desc, c.src[0],
                      c.src[1], c.src[2], c.src[3], c.flags, phase, period);
    };
    owned_image whole(initial);
    draw(whole, 0, 1);
    ASSERT_FALSE(whole == initial) << "the single call drew nothing";

    owned_image shared(initial);
    run_together(c.threads, [&](int k) { draw(shared, k, c.threads); });
    EXPECT_TRUE(shared.pixels == whole.pixels);
    EXPECT_TRUE(shared.alpha == whole.alpha);
}

constexpr uint8_t straight = TOVREL_ALPHA_STRAIGHT, premul = TOVREL_ALPHA_PREMULTIPLIED;

INSTANTIATE_TEST_SUITE_P(Cases, ThreadedRectangle,
                         ::testing::Values(rect_case{"enlarge",
                                                     0,
                                                     false,
                                                     false,
                                                     straight,
                                                     {3.25f, 1.5f, 120.75f, 90.25f},
                                                     {0.5f, 0.25f, 50.0f, 40.0f},
                                                     3},
                                           rect_case{"reduce",
                                                     0,
                                                     false,
                                                     false,
                                                     straight,
                                                     {10.0f, 7.5f, 40.5f, 29.0f},
                                                     {0.0f, 0.0f, 53.0f, 41.0f},
                                                     4},
                                           rect_case{"tile",
                                                     RECT_TILE,
                                                     false,
                                                     false,
                                                     straight,
                                                     {0.25f, 0.75f, 77.5f, 96.5f},
                                                     {2.0f, 1.0f, 51.0f, 40.0f},
                                                     2},
                                           rect_case{"into_alpha",
                                                     0,
                                                     false,
                                                     true,
                                                     straight,
                                                     {5.5f, 2.25f, 101.0f, 80.5f},
                                                     {0.0f, 0.0f, 53.0f, 41.0f},
                                                     3},
                                           rect_case{"alpha_over",
                                                     0,
                                                     true,
                                                     false,
                                                     premul,
                                                     {-6.0f, -3.5f, 125.0f, 99.0f},
                                                     {0.0f, 0.0f, 53.0f, 41.0f},
                                                     5},
                                           rect_case{"alpha_into_alpha_tile",
                                                     RECT_TILE,
                                                     true,
                                                     true,
                                                     straight,
                                                     {4.5f, 4.5f, 64.5f, 44.5f},
                                                     {1.5f, 1.5f, 31.5f, 21.5f},
                                                     3},
                                           rect_case{"destination_field",
                                                     RECT_DST_FIELD_BOTTOM,
                                                     false,
                                                     false,
                                                     straight,
                                                     {0.0f, 1.0f, 131.0f, 95.0f},
                                                     {0.0f, 0.0f, 53.0f, 41.0f},
                                                     2},
                                           rect_case{"source_field",
                                                     RECT_SRC_FIELD_TOP,
                                                     false,
                                                     false,
                                                     straight,
                                                     {1.0f, 0.5f, 130.0f, 96.5f},
                                                     {0.0f, 0.0f, 53.0f, 41.0f},
                                                     4}),
                         [](const ::testing::TestParamInfo<rect_case> &info) {
                             return info.param.name;
                         });

TEST(ThreadedMultisource, LineSharesMatchOneCall) {
    owned_image left(TOVREL_FORMAT_RGBQ, 36, 30, 4, false, 31);
    owned_image right(TOVREL_FORMAT_RGBQ, 36, 30, 4, false, 32);
    right.desc.origin_x = 36;
    const image_descriptor *sources[2] = {&left.desc, &right.desc};
    const owned_image initial(TOVREL_FORMAT_RGBQ, 120, 90, 4, false, 33);

    auto draw = [&](owned_image &dst, int32_t phase, int32_t period) {
        multisrc_map_rectangle(&dst.desc, 4.5, 2.0, 110.25, 80.0, sources, 2, 20.0, 3.0, 60.0, 27.0,
                               RECT_TILE, phase, period);
    };
    owned_image whole(initial);
    draw(whole, 0, 1);
    ASSERT_FALSE(whole == initial) << "the single call drew nothing";

    owned_image shared(initial);
    run_together(3, [&](int k) { draw(shared, k, 3); });
    EXPECT_TRUE(shared.pixels == whole.pixels);
}

} // namespace
