// Every pixel writer on random full-range input (any 16-bit coverage and
// alpha, any sample, lines of 0 or 255): it writes only its own pixels and
// not its line buffer, and the SSE2 RGBQ writers give the bytes of their
// scalar statements, guards included.
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

// Whether pixels outside [lo, hi) (`per` elements each) are the same.
template <class T>
bool same_outside(const std::vector<T> &a, const std::vector<T> &b, int per, int lo, int hi) {
    for (size_t i = 0; i < a.size(); ++i) {
        const int px = int(i) / per - guard;
        if ((px < lo || px >= hi) && a[i] != b[i]) return false;
    }
    return true;
}

// A coverage or a span writer (one of cw and sw is set).
struct writer {
    const char *name;
    coverage_writer cw;
    span_writer sw = nullptr;
    void run(buffers &b, int32_t x0, int32_t x1) const {
        const span_rows d = b.drows(), s = b.srows();
        if (cw != nullptr)
            cw(&d, &s, b.coverage(), x0, x1);
        else
            sw(&d, &s, x0, x1);
    }
};

// A row: the writer's scalar statement and its SIMD members, the pixel
// size, and 4:2:2 pairs (an odd range also writes pixel x1).
struct writer_case {
    std::string name;
    std::vector<writer> members;
    int bpp = 4;
    bool pairs = false;
};

void PrintTo(const writer_case &c, std::ostream *os) {
    *os << c.name;
}

// The SSE2 members beside their scalar statements, then every writer of
// every family (the RGBQ ones as dispatched) on its own.
std::vector<writer_case> all_writers() {
    std::vector<writer_case> v;
#if defined(__SSE2__)
    auto cov = [&](const char *name, coverage_writer c, coverage_writer sse2) {
        v.push_back({name, {{"c", c}, {"sse2", sse2}}});
    };
    auto spn = [&](const char *name, span_writer c, span_writer sse2) {
        v.push_back({name, {{"c", nullptr, c}, {"sse2", nullptr, sse2}}});
    };
    cov("write_rgbq", write_rgbq_c, write_rgbq_sse2);
    cov("add_rgbq", add_rgbq_c, add_rgbq_sse2);
    cov("write_rgbq_over_premul", write_rgbq_over_premul_c, write_rgbq_over_premul_sse2);
    cov("add_rgbq_over_premul", add_rgbq_over_premul_c, add_rgbq_over_premul_sse2);
    cov("write_rgbqa_straight", write_rgbqa_straight_c, write_rgbqa_straight_sse2);
    cov("write_rgbqa_premul", write_rgbqa_premul_c, write_rgbqa_premul_sse2);
    cov("write_rgbqa_over_premul", write_rgbqa_over_premul_c, write_rgbqa_over_premul_sse2);
    cov("add_rgbqa_over_premul", add_rgbqa_over_premul_c, add_rgbqa_over_premul_sse2);
    spn("blend_rgbqa_straight", blend_rgbqa_straight_c, blend_rgbqa_straight_sse2);
    spn("blend_rgbqa_premul", blend_rgbqa_premul_c, blend_rgbqa_premul_sse2);
    spn("blend_rgbqa_over_premul", blend_rgbqa_over_premul_c, blend_rgbqa_over_premul_sse2);
#endif
    auto add = [&](const char *family, writer w, int bpp, bool pairs = false) {
        v.push_back({std::string(family) + "_" + std::to_string(v.size()), {w}, bpp, pairs});
    };
    const std::tuple<const char *, const family_writers *, int, bool> families[] = {
        {"rgbq", &rgbq_writers, 4, false},
        {"yuy2", &yuy2_writers, 2, true},
        {"w210", &w210_writers, 4, true}};
    for (const auto &[name, f, bpp, pairs] : families) {
        for (coverage_writer w : f->coverage) add(name, {name, w}, bpp, pairs);
        for (span_writer w : f->span) add(name, {name, nullptr, w}, bpp, pairs);
    }
    for (coverage_writer w : {write_word, add_word_over}) add("word", {"word", w}, 2);
    for (coverage_writer w :
         {write_s16x4, write_s16x4_into_alpha, add_s16x4_opaque, add_s16x4, write_s16x4a_over})
        add("s16x4", {"s16x4", w}, 8);
    add("fill_alpha_opaque", {"fill", nullptr, fill_alpha_opaque}, 4);
    add("fill_s16x4_alpha_opaque", {"fill", nullptr, fill_s16x4_alpha_opaque}, 8);
    return v;
}

class Writers : public testing::TestWithParam<writer_case> {};

// Ranges mostly proper, sometimes reversed (nothing written); pair ranges
// end before the last pixel, whose pair partner the extra pixel is.
TEST_P(Writers, WriteOnlyTheirPixelsAsTheStatementDoes) {
    const writer_case &c = GetParam();
    differential::for_cases(300, [&](std::mt19937 &rng, int iter) {
        buffers before(c.bpp);
        fill(before, rng);
        const uint32_t ends = c.pairs ? width : width + 1;
        int32_t x0 = int32_t(rng() % ends), x1 = int32_t(rng() % ends);
        if (iter % 8 != 0 && x0 > x1) std::swap(x0, x1);
        const int hi = x1 <= x0 ? x0 : c.pairs ? x0 + (x1 - x0 + 1) / 2 * 2 : x1;
        differential::same(
            c.members,
            [&](const writer &w) {
                buffers b = before;
                w.run(b, x0, x1);
                return std::tuple(b.dst, b.dst_a, b.src);
            },
            differential::text("x0", x0, "x1", x1),
            [&](const auto &want) {
                return same_outside(before.dst, std::get<0>(want), c.bpp, x0, hi) &&
                       same_outside(before.dst_a, std::get<1>(want), 1, x0, hi) &&
                       std::get<2>(want) == before.src;
            });
    });
}

INSTANTIATE_TEST_SUITE_P(All, Writers, testing::ValuesIn(all_writers()), param_names::printed{});

} // namespace
