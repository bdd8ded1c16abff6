// One polygon shared by several threads, each drawing every n-th line
// (first_line k, line_step n), must give the bytes of a single call.
#include <tovrel.h>

#include <gtest/gtest.h>

#include "thread_support.h"

namespace {

using tovrel_threads::owned_image;
using tovrel_threads::run_together;

struct polygon_case {
    const char *name;
    uint32_t flags;
    bool perspective;
    bool dst_alpha;
    int threads;
};

// A five-sided polygon reaching past the left and bottom edges, reducing
// the texture a little (so a filter footprint above 1 x 1 is used).
std::vector<map_vertex> pentagon(bool perspective) {
    const float w1 = perspective ? 0.6f : 1.0f;
    return {{0.0f, 0.0f, 1.0f, -9.5f, 4.25f},
            {96.0f, 3.0f, w1, 120.75f, 1.5f},
            {101.0f, 70.0f, 1.0f, 149.0f, 60.0f},
            {50.0f, 77.0f, w1, 70.5f, 111.0f},
            {-2.0f, 40.0f, 1.0f, 3.25f, 62.5f}};
}

class ThreadedPolygon : public ::testing::TestWithParam<polygon_case> {};

TEST_P(ThreadedPolygon, LineSharesMatchOneCall) {
    const polygon_case &c = GetParam();
    const owned_image src(TOVREL_FORMAT_RGBQ, 101, 77, 4, false, 11);
    const owned_image initial(TOVREL_FORMAT_RGBQ, 157, 103, 4, c.dst_alpha, 12);
    const std::vector<map_vertex> vertices = pentagon(c.perspective);
    const int32_t count = static_cast<int32_t>(vertices.size());

    owned_image whole(initial);
    map_polygon(&whole.desc, &src.desc, vertices.data(), count, c.flags, 0, 1);
    ASSERT_FALSE(whole == initial) << "the single call drew nothing";

    owned_image shared(initial);
    const int n = c.threads;
    run_together(n, [&](int k) {
        // Odd threads name their phase one period below zero: the same lines.
        const int32_t first_line = (k % 2) ? k - n : k;
        map_polygon(&shared.desc, &src.desc, vertices.data(), count, c.flags, first_line, n);
    });
    EXPECT_TRUE(shared.pixels == whole.pixels);
    EXPECT_TRUE(shared.alpha == whole.alpha);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, ThreadedPolygon,
    ::testing::Values(
        polygon_case{"affine", 0, false, false, 3}, polygon_case{"perspective", 0, true, false, 4},
        polygon_case{"edge_aa", MAP_EDGE_AA, false, false, 2},
        polygon_case{"edge_aa_perspective", MAP_EDGE_AA, true, false, 5},
        polygon_case{"edge_aa_over_alpha", MAP_EDGE_AA, false, true, 3},
        polygon_case{"edge_aa_tiles_over_alpha", MAP_EDGE_AA | MAP_TILE, true, true, 4},
        polygon_case{"field_no_filter", MAP_FIELD_BOTTOM | MAP_NO_FILTER, false, false, 3}),
    [](const ::testing::TestParamInfo<polygon_case> &info) { return info.param.name; });

} // namespace
