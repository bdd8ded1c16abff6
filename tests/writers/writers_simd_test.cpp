// Differential tests of the SSE2 RGBQ writers against their scalar
// statements, and a sweep of every writer over random full-range input that
// checks it writes only its own pixels.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "differential.h"
#include "param_names.h"
#include "polygon/pixel_writers.h"

using namespace tovrel;

namespace {

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

// Weights by mode: all 0, all 4096, in range, extremes mixed with in-range
// values, or any 16-bit value (beyond 4096 counts as 4096).
uint16_t weight(std::mt19937 &rng, int mode) {
    const uint16_t r = uint16_t(rng() % 4097), mixed[4] = {0, 4096, 1, r};
    const uint16_t picks[5] = {0, 4096, r, mixed[rng() % 4], uint16_t(rng())};
    return picks[mode];
}

void fill(buffers &b, std::mt19937 &rng) {
    for (auto *plane : {&b.dst, &b.src}) { // all 0, all 255 or random
        const uint32_t mode = rng() % 3;
        for (auto &v : *plane) v = mode == 0 ? 0 : mode == 1 ? 255 : uint8_t(rng());
    }
    for (auto *plane : {&b.cov, &b.src_a, &b.dst_a}) {
        const int mode = int(rng() % 5);
        for (auto &v : *plane) v = weight(rng, mode);
    }
}

// First element of pixels outside [lo, hi) (`per` elements each) that
// differs between the two, or -1; lo = hi compares everything.
template <class T>
int changed_outside(const std::vector<T> &a, const std::vector<T> &b, int per, int lo, int hi) {
    for (size_t i = 0; i < a.size(); ++i) {
        const int px = int(i) / per - guard;
        if ((px < lo || px >= hi) && a[i] != b[i]) return int(i);
    }
    return -1;
}

struct writer_case {
    const char *name;
    coverage_writer cw; // one of cw and sw is set
    span_writer sw;
    int bpp;
    bool pairs = false; // an odd range also writes pixel x1

    void run(buffers &b, int32_t x0, int32_t x1) const {
        const span_rows d = b.drows(), s = b.srows();
        if (cw != nullptr)
            cw(&d, &s, b.coverage(), x0, x1);
        else
            sw(&d, &s, x0, x1);
    }
};

#if defined(__SSE2__)
// Rows: a writer's scalar statement and its SSE2 member, coverage or span
// writers.
struct simd_case {
    const char *name;
    coverage_writer ref, simd;
    span_writer ref_span = nullptr, simd_span = nullptr;
};

const simd_case simd_cases[] = {
    {"write_rgbq", write_rgbq_c, write_rgbq_sse2},
    {"add_rgbq", add_rgbq_c, add_rgbq_sse2},
    {"write_rgbq_over_premul", write_rgbq_over_premul_c, write_rgbq_over_premul_sse2},
    {"add_rgbq_over_premul", add_rgbq_over_premul_c, add_rgbq_over_premul_sse2},
    {"write_rgbqa_straight", write_rgbqa_straight_c, write_rgbqa_straight_sse2},
    {"write_rgbqa_premul", write_rgbqa_premul_c, write_rgbqa_premul_sse2},
    {"write_rgbqa_over_premul", write_rgbqa_over_premul_c, write_rgbqa_over_premul_sse2},
    {"add_rgbqa_over_premul", add_rgbqa_over_premul_c, add_rgbqa_over_premul_sse2},
    {"blend_rgbqa_straight", nullptr, nullptr, blend_rgbqa_straight_c, blend_rgbqa_straight_sse2},
    {"blend_rgbqa_premul", nullptr, nullptr, blend_rgbqa_premul_c, blend_rgbqa_premul_sse2},
    {"blend_rgbqa_over_premul", nullptr, nullptr, blend_rgbqa_over_premul_c,
     blend_rgbqa_over_premul_sse2},
};

void PrintTo(const simd_case &c, std::ostream *os) {
    *os << c.name;
}

class SimdDifferential : public ::testing::TestWithParam<simd_case> {};

// Whole lines (guards included) identical; the statement changes nothing
// outside [x0, x1). Ranges are mostly proper, sometimes reversed.
TEST_P(SimdDifferential, MatchesScalarByteForByte) {
    const simd_case &c = GetParam();
    const std::vector<writer_case> members = {{"c", c.ref, c.ref_span, 4},
                                              {"sse2", c.simd, c.simd_span, 4}};
    differential::for_cases(400, [&](std::mt19937 &rng, int iter) {
        buffers before(4);
        fill(before, rng);
        int32_t x0 = int32_t(rng() % (width + 1)), x1 = int32_t(rng() % (width + 1));
        if (iter % 8 != 0 && x0 > x1) std::swap(x0, x1);
        differential::same(
            members,
            [&](const writer_case &w) {
                buffers b = before;
                w.run(b, x0, x1);
                return std::tuple(b.dst, b.dst_a);
            },
            differential::text("x0", x0, "x1", x1),
            [&](const auto &want) {
                return changed_outside(before.dst, std::get<0>(want), 4, x0, x1) == -1 &&
                       changed_outside(before.dst_a, std::get<1>(want), 1, x0, x1) == -1;
            });
    });
}

INSTANTIATE_TEST_SUITE_P(Rgbq, SimdDifferential, ::testing::ValuesIn(simd_cases),
                         param_names::printed{});
#endif

// Every writer of every family on random full-range data (any 16-bit
// coverage and alpha, any sample): no crash, no write outside its pixels.
std::vector<writer_case> all_writers() {
    std::vector<writer_case> v;
    const std::tuple<const char *, const family_writers *, int, bool> families[] = {
        {"rgbq", &rgbq_writers, 4, false},
        {"yuy2", &yuy2_writers, 2, true},
        {"w210", &w210_writers, 4, true}};
    for (const auto &[name, f, bpp, pairs] : families) {
        for (coverage_writer w : f->coverage) v.push_back({name, w, nullptr, bpp, pairs});
        for (span_writer w : f->span) v.push_back({name, nullptr, w, bpp, pairs});
    }
    for (coverage_writer w : {write_word, add_word_over}) v.push_back({"word", w, nullptr, 2});
    for (coverage_writer w :
         {write_s16x4, write_s16x4_into_alpha, add_s16x4_opaque, add_s16x4, write_s16x4a_over})
        v.push_back({"s16x4", w, nullptr, 8});
    v.push_back({"fill_alpha_opaque", nullptr, fill_alpha_opaque, 4});
    v.push_back({"fill_s16x4_alpha_opaque", nullptr, fill_s16x4_alpha_opaque, 8});
    return v;
}

TEST(WriterSweep, WritesOnlyItsOwnPixels) {
    std::mt19937 rng(differential::seed() ^ 0x5eed);
    int index = 0;
    for (const writer_case &c : all_writers()) {
        SCOPED_TRACE(differential::text(c.name, index++, "seed", differential::seed()));
        buffers b(c.bpp);
        for (int iter = 0; iter < 60; ++iter) {
            fill(b, rng);
            const buffers before = b;
            // x1 < width keeps the extra pixel of an odd pair range inside.
            const int32_t x0 = int32_t(rng() % width), x1 = int32_t(rng() % width);
            c.run(b, x0, x1);
            const int hi = x1 <= x0 ? x0 : c.pairs ? x0 + (x1 - x0 + 1) / 2 * 2 : x1;
            ASSERT_EQ(changed_outside(before.dst, b.dst, c.bpp, x0, hi), -1) << x0 << ".." << x1;
            ASSERT_EQ(changed_outside(before.dst_a, b.dst_a, 1, x0, hi), -1) << x0 << ".." << x1;
            ASSERT_EQ(changed_outside(before.src, b.src, 1, 0, 0), -1);
        }
    }
}

} // namespace
