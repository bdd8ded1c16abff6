// Several threads at once: one operation shared by n threads, thread k
// drawing the destination lines of phase k of period n, gives the bytes of
// a single call; refusals reported from several threads reach the host's
// sink as whole lines.
#include <tovrel.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <map>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "rect/rect_test_util.h"

namespace {

using rect_test::image;

// An image of seeded random contents (alpha within 0..4096).
image random_image(uint8_t format, int32_t width, int32_t height, bool alpha, uint32_t seed) {
    image im(width, height, alpha, format);
    std::mt19937 rng(seed);
    im.randomize(rng);
    return im;
}

// Runs body(k) for k = 0..n-1 on n threads released together, so that the
// calls overlap as much as the machine allows.
template <typename Body>
void run_together(int n, Body body) {
    std::atomic<int> waiting{n};
    std::vector<std::thread> threads;
    threads.reserve(static_cast<size_t>(n));
    for (int k = 0; k < n; ++k) {
        threads.emplace_back([&waiting, &body, k] {
            waiting.fetch_sub(1);
            while (waiting.load() > 0) std::this_thread::yield();
            body(k);
        });
    }
    for (auto &t : threads) t.join();
}

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
    image src = random_image(TOVREL_FORMAT_RGBQ, s[0], s[1], c.opts & src_alpha, seed);
    image right = random_image(TOVREL_FORMAT_RGBQ, s[0], s[1], false, seed + 2);
    image initial = random_image(TOVREL_FORMAT_RGBQ, s[2], s[3], c.opts & dst_alpha, seed + 1);
    src.desc.alpha_mode = initial.desc.alpha_mode =
        c.opts & premul ? TOVREL_ALPHA_PREMULTIPLIED : TOVREL_ALPHA_STRAIGHT;
    right.desc.origin_x = s[0];
    const image_descriptor *sources[2] = {&src.desc, &right.desc};
    const std::vector<map_vertex> v = pentagon(c.opts & persp);
    auto draw = [&](image &dst, int32_t phase, int32_t period) {
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
    image whole(initial);
    draw(whole, 0, 1);
    ASSERT_FALSE(whole == initial) << "the single call drew nothing";

    image shared(initial);
    const int n = c.threads;
    // Odd polygon threads name their phase one period below zero: the same lines.
    run_together(n, [&](int k) { draw(shared, c.kind == polygon && k % 2 ? k - n : k, n); });
    EXPECT_TRUE(shared == whole);
    EXPECT_TRUE(shared.guards_intact());
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

struct line_log {
    std::mutex lock;
    std::vector<std::string> lines;
};

void TOVREL_CALL record_line(const char *line, void *user) {
    auto *log = static_cast<line_log *>(user);
    std::lock_guard<std::mutex> guard(log->lock);
    log->lines.emplace_back(line);
}

TEST(ThreadedReports, ConcurrentRefusalsArriveWhole) {
    line_log log;
    tovrel_set_report_sink(record_line, &log);
    constexpr int threads = 6, calls = 42; // a third of the calls per message

    // Format code 5 names no format; RGBQ into RGBQ without alpha cannot
    // be tiled. Both polygons cross destination lines and the rectangle is
    // not empty, so every call reaches its format check.
    image odd_src = random_image(5, 16, 16, false, 1);
    const image rgbq_src = random_image(TOVREL_FORMAT_RGBQ, 16, 16, false, 2);
    const image initial = random_image(TOVREL_FORMAT_RGBQ, 40, 30, false, 3);
    std::vector<image> dst(threads, initial);
    const map_vertex quad[4] = {
        {0, 0, 1, 2, 2}, {16, 0, 1, 30, 2}, {16, 16, 1, 30, 25}, {0, 16, 1, 2, 25}};

    run_together(threads, [&](int k) {
        for (int i = 0; i < calls; ++i) {
            switch ((k + i) % 3) {
            case 0:
                map_polygon(&dst[k].desc, &odd_src.desc, quad, 4, 0, 0, 1);
                break;
            case 1:
                map_polygon(&dst[k].desc, &rgbq_src.desc, quad, 4, MAP_TILE, 0, 1);
                break;
            default:
                map_rectangle(&dst[k].desc, 1, 1, 20, 20, &odd_src.desc, 0, 0, 16, 16, 0, 0, 1);
                break;
            }
        }
    });
    tovrel_set_report_sink(nullptr, nullptr);

    std::map<std::string, int> seen;
    for (const std::string &line : log.lines) ++seen[line];
    EXPECT_EQ(log.lines.size(), static_cast<size_t>(threads * calls));
    for (const char *m :
         {"source texture is not supported.\n", "RGBQ -> RGBQ with tiling is not supported.\n",
          "rect:unknown not supported\n"})
        EXPECT_EQ(seen[m], threads * calls / 3) << m;
    EXPECT_EQ(seen.size(), 3u) << "a line that is not one whole message arrived";
    for (int k = 0; k < threads; ++k) EXPECT_TRUE(dst[k] == initial) << "thread " << k;
}

} // namespace
