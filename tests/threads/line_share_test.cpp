// One operation shared by n threads, thread k drawing the destination
// lines of phase k of period n, must give the bytes of a single call.
#include <tovrel.h>

#include <gtest/gtest.h>

#include "thread_support.h"

namespace {

using tovrel_threads::owned_image;
using tovrel_threads::run_together;

enum op { polygon, rectangle, multisource };
constexpr uint32_t src_alpha = 1, dst_alpha = 2, persp = 4, premul = 8; // options

struct share_case {
    const char *name;
    op kind;
    uint32_t flags, opts;
    int threads;
    float dst[4]{}, src[4]{}; // rectangles only
};

// Test listings show the case name, not the record's bytes.
void PrintTo(const share_case &c, std::ostream *os) {
    *os << c.name;
}

// A five-sided polygon reaching past the left edge, reducing the texture a
// little (so a filter footprint above 1 x 1 is used).
std::vector<map_vertex> pentagon(bool perspective) {
    const float w1 = perspective ? 0.6f : 1.0f;
    return {{0.0f, 0.0f, 1.0f, -9.5f, 4.25f},
            {96.0f, 3.0f, w1, 120.75f, 1.5f},
            {101.0f, 70.0f, 1.0f, 149.0f, 60.0f},
            {50.0f, 77.0f, w1, 70.5f, 111.0f},
            {-2.0f, 40.0f, 1.0f, 3.25f, 62.5f}};
}

class ThreadedLineShares : public ::testing::TestWithParam<share_case> {};

TEST_P(ThreadedLineShares, MatchOneCall) {
    const share_case &c = GetParam();
    // Source and destination sizes per operation.
    const int32_t size[3][4] = {{101, 77, 157, 103}, {53, 41, 131, 97}, {36, 30, 120, 90}};
    const int32_t *s = size[c.kind];
    const uint32_t seed = 11 + 10 * uint32_t(c.kind);
    owned_image src(TOVREL_FORMAT_RGBQ, s[0], s[1], 4, c.opts & src_alpha, seed);
    owned_image right(TOVREL_FORMAT_RGBQ, s[0], s[1], 4, false, seed + 2);
    owned_image initial(TOVREL_FORMAT_RGBQ, s[2], s[3], 4, c.opts & dst_alpha, seed + 1);
    src.desc.alpha_mode = initial.desc.alpha_mode =
        c.opts & premul ? TOVREL_ALPHA_PREMULTIPLIED : TOVREL_ALPHA_STRAIGHT;
    right.desc.origin_x = s[0];
    const image_descriptor *sources[2] = {&src.desc, &right.desc};
    const std::vector<map_vertex> v = pentagon(c.opts & persp);
    auto draw = [&](owned_image &dst, int32_t phase, int32_t period) {
        const float *d = c.dst, *r = c.src;
        if (c.kind == polygon)
            map_polygon(&dst.desc, &src.desc, v.data(), 5, c.flags, phase, period);
        else if (c.kind == rectangle)
            map_rectangle(&dst.desc, d[0], d[1], d[2], d[3], &src.desc, r[0], r[1], r[2], r[3],
                          c.flags, phase, period);
        else
            multisrc_map_rectangle(&dst.desc, d[0], d[1], d[2], d[3], sources, 2, r[0], r[1], r[2],
                                   r[3], c.flags, phase, period);
    };
    owned_image whole(initial);
    draw(whole, 0, 1);
    ASSERT_FALSE(whole == initial) << "the single call drew nothing";

    owned_image shared(initial);
    const int n = c.threads;
    // Odd polygon threads name their phase one period below zero: the same lines.
    run_together(n, [&](int k) { draw(shared, c.kind == polygon && k % 2 ? k - n : k, n); });
    EXPECT_TRUE(shared.pixels == whole.pixels);
    EXPECT_TRUE(shared.alpha == whole.alpha);
}

// clang-format off
constexpr uint32_t aa = MAP_EDGE_AA;
INSTANTIATE_TEST_SUITE_P(Cases, ThreadedLineShares, ::testing::Values(
    share_case{"polygon_edge_aa_perspective", polygon, aa, persp, 5},
    share_case{"polygon_edge_aa_tiles_over_alpha", polygon, aa | MAP_TILE, persp | dst_alpha, 4},
    share_case{"polygon_field_no_filter", polygon, MAP_FIELD_BOTTOM | MAP_NO_FILTER, 0, 3},
    share_case{"enlarge", rectangle, 0, 0, 3, {3.25f, 1.5f, 120.75f, 90.25f},
               {0.5f, 0.25f, 50, 40}},
    share_case{"alpha_over", rectangle, 0, src_alpha | premul, 5, {-6, -3.5f, 125, 99},
               {0, 0, 53, 41}},
    share_case{"alpha_into_alpha_tile", rectangle, RECT_TILE, src_alpha | dst_alpha, 3,
               {4.5f, 4.5f, 64.5f, 44.5f}, {1.5f, 1.5f, 31.5f, 21.5f}},
    share_case{"destination_field", rectangle, RECT_DST_FIELD_BOTTOM, 0, 2, {0, 1, 131, 95},
               {0, 0, 53, 41}},
    share_case{"source_field", rectangle, RECT_SRC_FIELD_TOP, 0, 4, {1, 0.5f, 130, 96.5f},
               {0, 0, 53, 41}},
    share_case{"multisource_tile", multisource, RECT_TILE, 0, 3, {4.5f, 2, 110.25f, 80},
               {20, 3, 60, 27}}),
    [](const ::testing::TestParamInfo<share_case> &info) { return info.param.name; });
// clang-format on

} // namespace
