// Differential tests of the SSE2 RGBQ writers against their scalar
// statements, and a sweep of every writer over random full-range input that
// checks it writes only its own pixels. Seeded; the seed is printed and can
// be replayed with TOVREL_TEST_SEED.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "polygon/pixel_writers.h"

using namespace tovrel;

namespace {

uint32_t test_seed() {
    static const uint32_t seed = [] {
        const char *env = std::getenv("TOVREL_TEST_SEED");
        const uint32_t s = env ? uint32_t(std::strtoul(env, nullptr, 0)) : std::random_device{}();
        std::printf("writers: seed %u (TOVREL_TEST_SEED)\n", s);
        return s;
    }();
    return seed;
}

constexpr int width = 61; // not a multiple of 4: every tail length occurs
constexpr int guard = 16; // pixels of guard on both sides
constexpr int total = width + 2 * guard;

// A destination line and a line buffer with guards, bytes_per_pixel wide.
struct buffers {
    int bpp;
    std::vector<uint8_t> dst, src;
    std::vector<uint16_t> dst_a, src_a, cov;

    explicit buffers(int bytes_per_pixel)
        : bpp(bytes_per_pixel), dst(total * bpp), src(total * bpp), dst_a(total), src_a(total),
          cov(total) {}
    span_rows drows() { return {dst.data() + guard * bpp, dst_a.data() + guard}; }
    span_rows srows() { return {src.data() + guard * bpp, src_a.data() + guard}; }
    const uint16_t *coverage() const { return cov.data() + guard; }
};

// Weights: all 0, all 4096, random in range, extremes mixed with random, or
// any 16-bit value (beyond 4096 counts as 4096).
uint16_t weight(std::mt19937 &rng, int mode) {
    switch (mode) {
    case 0:
        return 0;
    case 1:
        return 4096;
    case 2:
        return uint16_t(rng() % 4097);
    case 3: {
        const uint32_t r = rng() % 4;
        return r == 0 ? 0 : r == 1 ? 4096 : r == 2 ? 1 : uint16_t(rng() % 4097);
    }
    default:
        return uint16_t(rng());
    }
}

// Bytes: all 0, all 255, or random.
uint8_t byte(std::mt19937 &rng, int mode) {
    return mode == 0 ? 0 : mode == 1 ? 255 : uint8_t(rng());
}

void fill(buffers &b, std::mt19937 &rng) {
    const int wm[3] = {int(rng() % 5), int(rng() % 5), int(rng() % 5)};
    const int bm[2] = {int(rng() % 3), int(rng() % 3)};
    for (auto &v : b.dst) v = byte(rng, bm[0]);
    for (auto &v : b.src) v = byte(rng, bm[1]);
    for (auto &v : b.cov) v = weight(rng, wm[0]);
    for (auto &v : b.src_a) v = weight(rng, wm[1]);
    for (auto &v : b.dst_a) v = weight(rng, wm[2]);
}

// Index of the first differing element, or -1.
template <class T>
int first_difference(const std::vector<T> &a, const std::vector<T> &b) {
    for (size_t i = 0; i < a.size(); ++i)
        if (a[i] != b[i]) return int(i);
    return -1;
}

// Elements of `after` outside [lo, hi) pixels (of `per` elements) that differ
// from `before`.
template <class T>
int stray_write(const std::vector<T> &before, const std::vector<T> &after, int per, int lo,
                int hi) {
    for (size_t i = 0; i < after.size(); ++i) {
        const int px = int(i) / per - guard;
        if ((px < lo || px >= hi) && before[i] != after[i]) return int(i);
    }
    return -1;
}

struct writer_case {
    const char *name;
    coverage_writer cw; // one of cw and sw is set
    span_writer sw;
    int bpp;
    bool pairs; // an odd range also writes pixel x1

    void run(buffers &b, int32_t x0, int32_t x1) const {
        const span_rows d = b.drows(), s = b.srows();
        if (cw != nullptr)
            cw(&d, &s, b.coverage(), x0, x1);
        else
            sw(&d, &s, x0, x1);
    }
};

writer_case cov(const char *n, coverage_writer w, int bpp, bool pairs = false) {
    return {n, w, nullptr, bpp, pairs};
}
writer_case spn(const char *n, span_writer w, int bpp, bool pairs = false) {
    return {n, nullptr, w, bpp, pairs};
}

std::string describe(const char *what, int i, int a, int b) {
    return std::string(what) + " element " + std::to_string(i) + ": " + std::to_string(a) + " vs " +
           std::to_string(b);
}

#if defined(__SSE2__)
struct simd_case {
    writer_case ref, simd;
};

const simd_case simd_cases[] = {
    {cov("write_rgbq_c", write_rgbq_c, 4), cov("write_rgbq_sse2", write_rgbq_sse2, 4)},
    {cov("add_rgbq_c", add_rgbq_c, 4), cov("add_rgbq_sse2", add_rgbq_sse2, 4)},
    {cov("write_rgbq_over_premul_c", write_rgbq_over_premul_c, 4),
     cov("write_rgbq_over_premul_sse2", write_rgbq_over_premul_sse2, 4)},
    {cov("add_rgbq_over_premul_c", add_rgbq_over_premul_c, 4),
     cov("add_rgbq_over_premul_sse2", add_rgbq_over_premul_sse2, 4)},
    {cov("write_rgbqa_straight_c", write_rgbqa_straight_c, 4),
     cov("write_rgbqa_straight_sse2", write_rgbqa_straight_sse2, 4)},
    {cov("write_rgbqa_premul_c", write_rgbqa_premul_c, 4),
     cov("write_rgbqa_premul_sse2", write_rgbqa_premul_sse2, 4)},
    {cov("write_rgbqa_over_premul_c", write_rgbqa_over_premul_c, 4),
     cov("write_rgbqa_over_premul_sse2", write_rgbqa_over_premul_sse2, 4)},
    {cov("add_rgbqa_over_premul_c", add_rgbqa_over_premul_c, 4),
     cov("add_rgbqa_over_premul_sse2", add_rgbqa_over_premul_sse2, 4)},
    {spn("blend_rgbqa_straight_c", blend_rgbqa_straight_c, 4),
     spn("blend_rgbqa_straight_sse2", blend_rgbqa_straight_sse2, 4)},
    {spn("blend_rgbqa_premul_c", blend_rgbqa_premul_c, 4),
     spn("blend_rgbqa_premul_sse2", blend_rgbqa_premul_sse2, 4)},
    {spn("blend_rgbqa_over_premul_c", blend_rgbqa_over_premul_c, 4),
     spn("blend_rgbqa_over_premul_sse2", blend_rgbqa_over_premul_sse2, 4)},
};

void PrintTo(const simd_case &c, std::ostream *os) {
    *os << c.simd.name;
}

class SimdDifferential : public ::testing::TestWithParam<simd_case> {};

TEST_P(SimdDifferential, MatchesScalarByteForByte) {
    const simd_case &c = GetParam();
    std::mt19937 rng(test_seed());
    SCOPED_TRACE(std::string(c.simd.name) + " seed " + std::to_string(test_seed()));
    buffers a(4), b(4);
    for (int iter = 0; iter < 400; ++iter) {
        fill(a, rng);
        const buffers before = a;
        b = a;
        int32_t x0 = int32_t(rng() % (width + 1)), x1 = int32_t(rng() % (width + 1));
        if (iter % 8 != 0 && x0 > x1) std::swap(x0, x1); // mostly proper ranges
        c.ref.run(a, x0, x1);
        c.simd.run(b, x0, x1);
        SCOPED_TRACE("iteration " + std::to_string(iter) + " x0 " + std::to_string(x0) + " x1 " +
                     std::to_string(x1));
        const int i = first_difference(a.dst, b.dst), j = first_difference(a.dst_a, b.dst_a);
        ASSERT_EQ(i, -1) << describe("colour", i, a.dst[i], b.dst[i]);
        ASSERT_EQ(j, -1) << describe("alpha", j, a.dst_a[j], b.dst_a[j]);
        ASSERT_EQ(stray_write(before.dst, b.dst, 4, x0, x1), -1);
        ASSERT_EQ(stray_write(before.dst_a, b.dst_a, 1, x0, x1), -1);
    }
}

INSTANTIATE_TEST_SUITE_P(Rgbq, SimdDifferential, ::testing::ValuesIn(simd_cases),
                         [](const auto &info) { return std::string(info.param.simd.name); });
#endif

// Every writer of every family on random full-range data (any 16-bit
// coverage and alpha, any sample): no crash, no write outside its pixels.
std::vector<writer_case> all_writers() {
    std::vector<writer_case> v;
    const struct {
        const char *name;
        const family_writers *w;
        int bpp;
        bool pairs;
    } families[] = {{"rgbq", &rgbq_writers, 4, false},
                    {"yuy2", &yuy2_writers, 2, true},
                    {"w210", &w210_writers, 4, true}};
    for (const auto &f : families) {
        for (coverage_writer w : f.w->coverage) v.push_back(cov(f.name, w, f.bpp, f.pairs));
        for (span_writer w : f.w->span) v.push_back(spn(f.name, w, f.bpp, f.pairs));
    }
    for (coverage_writer w : {write_word, add_word_over}) v.push_back(cov("word", w, 2));
    for (coverage_writer w :
         {write_s16x4, write_s16x4_into_alpha, add_s16x4_opaque, add_s16x4, write_s16x4a_over})
        v.push_back(cov("s16x4", w, 8));
    v.push_back(spn("fill_alpha_opaque", fill_alpha_opaque, 4));
    v.push_back(spn("fill_s16x4_alpha_opaque", fill_s16x4_alpha_opaque, 8));
    return v;
}

TEST(WriterSweep, WritesOnlyItsOwnPixels) {
    std::mt19937 rng(test_seed() ^ 0x5eed);
    int index = 0;
    for (const writer_case &c : all_writers()) {
        SCOPED_TRACE(std::string(c.name) + " #" + std::to_string(index++) + " seed " +
                     std::to_string(test_seed()));
        buffers b(c.bpp);
        for (int iter = 0; iter < 60; ++iter) {
            for (auto &v : b.dst) v = uint8_t(rng());
            for (auto &v : b.src) v = uint8_t(rng());
            for (auto *plane : {&b.cov, &b.src_a, &b.dst_a})
                for (auto &v : *plane) v = weight(rng, int(rng() % 5));
            const buffers before = b;
            // x1 < width keeps the extra pixel of an odd pair range inside.
            const int32_t x0 = int32_t(rng() % width), x1 = int32_t(rng() % width);
            c.run(b, x0, x1);
            const int hi = x1 <= x0 ? x0 : c.pairs ? x0 + (x1 - x0 + 1) / 2 * 2 : x1;
            ASSERT_EQ(stray_write(before.dst, b.dst, c.bpp, x0, hi), -1) << x0 << ".." << x1;
            ASSERT_EQ(stray_write(before.dst_a, b.dst_a, 1, x0, hi), -1) << x0 << ".." << x1;
            ASSERT_EQ(first_difference(before.src, b.src), -1);
        }
    }
}

} // namespace
