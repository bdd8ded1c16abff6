// Pixel writer results at the extremes of each rule, per family.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "polygon/pixel_writers.h"

using namespace tovrel;

namespace {

// One destination line and one line buffer of n pixels, spp samples each.
template <class T>
struct line {
    int spp;
    std::vector<T> dst, src;
    std::vector<uint16_t> dst_a, src_a, cov;
    line(int n, int samples_per_pixel)
        : spp(samples_per_pixel), dst(n * spp), src(n * spp), dst_a(n), src_a(n), cov(n) {}
    span_rows d() { return {dst.data(), dst_a.data()}; }
    span_rows s() { return {src.data(), src_a.data()}; }
    void write(coverage_writer w, int32_t x0, int32_t x1) {
        const span_rows dr = d(), sr = s();
        w(&dr, &sr, cov.data(), x0, x1);
    }
    void blend(span_writer w, int32_t x0, int32_t x1) {
        const span_rows dr = d(), sr = s();
        w(&dr, &sr, x0, x1);
    }
};

template <class Sample, int Spp, int Zero, int Max, const family_writers &W>
struct family {
    using T = Sample;
    static constexpr int spp = Spp, zero = Zero, max = Max;
    static constexpr bool pairs = Spp == 2;
    static const family_writers &writers() { return W; }
};
using rgbq_family = family<uint8_t, 4, 0, 255, rgbq_writers>;
using yuy2_family = family<uint8_t, 2, 128, 255, yuy2_writers>;
using w210_family = family<uint16_t, 2, 512, 1023, w210_writers>;

template <class F>
class FamilyTest : public ::testing::Test {};
using all_families = ::testing::Types<rgbq_family, yuy2_family, w210_family>;
TYPED_TEST_SUITE(FamilyTest, all_families);
template <class F>
class PairTest : public ::testing::Test {};
using pair_families = ::testing::Types<yuy2_family, w210_family>;
TYPED_TEST_SUITE(PairTest, pair_families);

template <class F>
line<typename F::T> random_line(int n, std::mt19937 &rng) {
    line<typename F::T> l(n, F::spp);
    for (auto &v : l.dst) v = typename F::T(rng() % (F::max + 1));
    for (auto &v : l.src) v = typename F::T(rng() % (F::max + 1));
    for (auto &v : l.src_a) v = uint16_t(rng() % 4097);
    for (auto &v : l.dst_a) v = uint16_t(1 + rng() % 65535);
    return l;
}

// Zero weights (coverage 0; span writers: source alpha 0) leave colour and
// alpha unchanged. Full weights (coverage, source and destination alpha all
// 4096) copy, sum or average as tabled by coverage role; span roles copy.
enum class full { none, copy, sum, mean };
struct full_case {
    full colour;
    uint16_t alpha; // destination alpha after; 4096 where untouched
};
constexpr full_case coverage_full[] = {{full::copy, 4096}, {full::sum, 4096},  {full::copy, 4096},
                                       {full::copy, 4096}, {full::mean, 8192}, {full::sum, 8192},
                                       {full::copy, 4096}, {full::copy, 4096}, {full::copy, 4096},
                                       {full::copy, 4096}, {full::mean, 8192}, {full::sum, 8192}};

TYPED_TEST(FamilyTest, ZeroAndFullWeights) {
    using T = typename TypeParam::T;
    std::mt19937 rng(11);
    const family_writers &w = TypeParam::writers();
    const size_t nc = w.coverage.size();
    for (size_t r = 0; r < nc + w.span.size(); ++r)
        for (uint16_t weight : {0, 4096}) {
            auto l = random_line<TypeParam>(8, rng); // coverage 0
            for (auto *p : {&l.cov, &l.src_a, &l.dst_a})
                if (weight || (p == &l.src_a && r >= nc)) std::fill(p->begin(), p->end(), weight);
            const auto before = l;
            const full_case fc = !weight  ? full_case{full::none, 0}
                                 : r < nc ? coverage_full[r]
                                          : full_case{full::copy, 4096};
            if (r < nc)
                l.write(w.coverage[r], 0, 8);
            else
                l.blend(w.span[r - nc], 0, 8);
            for (size_t i = 0; i < l.dst.size(); ++i) {
                const int s = before.src[i], d = before.dst[i];
                const bool chroma = TypeParam::pairs && i % 2 == 1;
                const int expected = fc.colour == full::none   ? d
                                     : fc.colour == full::copy ? s
                                     : fc.colour == full::mean
                                         ? (s + d) / 2
                                         : d + s - (chroma ? TypeParam::zero : 0);
                ASSERT_EQ(l.dst[i], T(expected))
                    << "role " << r << " weight " << weight << " sample " << i;
            }
            EXPECT_EQ(l.dst_a, weight ? std::vector<uint16_t>(8, fc.alpha) : before.dst_a)
                << "role " << r << " weight " << weight;
        }
}

// Over a transparent destination (alpha 0), with c = 1000 and a_s = 2000
// (e = (2000 * 1000) >> 12 = 488), S = 200, D = 100.
struct transparent_case {
    const char *name;
    coverage_writer cw;
    span_writer sw;
    int colour;
    uint16_t alpha;
};
const transparent_case transparent_cases[] = {
    {"write_over_straight", write_rgbq_over_straight, nullptr, 200, 1000},
    {"write_over_premul", write_rgbq_over_premul, nullptr, (200 * 1000) >> 12, 1000},
    {"add_over_straight", add_rgbq_over_straight, nullptr, 200, 1000},
    {"add_over_premul", add_rgbq_over_premul, nullptr, 100 + ((200 * 1000) >> 12), 1000},
    {"write_a_over_straight", write_rgbqa_over_straight, nullptr, 200, 488},
    {"write_a_over_premul", write_rgbqa_over_premul, nullptr,
     (200 * 1000 + 100 * (4096 - 488)) >> 12, 488},
    {"add_a_over_straight", add_rgbqa_over_straight, nullptr, 200, 488},
    {"add_a_over_premul", add_rgbqa_over_premul, nullptr, 100 + ((200 * 1000) >> 12), 488},
    {"blend_a_over_straight", nullptr, blend_rgbqa_over_straight, 200, 2000},
    {"blend_a_over_premul", nullptr, blend_rgbqa_over_premul, ((100 * 2096) >> 12) + 200, 2000},
};

TEST(RgbqWriters, TransparentDestination) {
    for (const transparent_case &t : transparent_cases) {
        line<uint8_t> l(1, 4);
        l.src = {200, 200, 200, 200};
        l.dst = {100, 100, 100, 100};
        l.cov = {1000};
        l.src_a = {2000};
        if (t.cw)
            l.write(t.cw, 0, 1);
        else
            l.blend(t.sw, 0, 1);
        for (uint8_t v : l.dst) ASSERT_EQ(v, t.colour) << t.name;
        for (uint16_t a : l.dst_a) ASSERT_EQ(a, t.alpha) << t.name;
    }
}

// Pairs: coverages 4096 and 0 give Y0 = S, Y1 unchanged, chroma the mean;
// an odd x0 pairs pixels 1 and 2 (chroma V of pair 0 and U of pair 1), and
// an odd-length range also writes pixel x1. Source alpha of a pair: luma by
// its own pixel, chroma by the summed alpha.
TYPED_TEST(PairTest, PairRules) {
    using T = typename TypeParam::T;
    line<T> l(6, 2);
    std::fill(l.src.begin(), l.src.end(), T(200));
    std::fill(l.dst.begin(), l.dst.end(), T(101));
    auto ll = l, la = l;
    l.cov = {4096, 0, 0, 4096, 4096, 4096};
    l.write(TypeParam::writers()[coverage_role::write], 0, 2);
    EXPECT_EQ(l.dst, (std::vector<T>{200, 150, 101, 150, 101, 101, 101, 101, 101, 101, 101, 101}));
    ll.cov = {0, 4096, 0, 4096, 4096, 0};
    ll.write(TypeParam::writers()[coverage_role::write], 1, 4);
    EXPECT_EQ(ll.dst, (std::vector<T>{101, 101, 200, 150, 101, 150, 200, 200, 200, 200, 101, 101}));
    la.src_a = {4096, 0};
    la.blend(TypeParam::writers()[span_role::blend_a_straight], 0, 2);
    EXPECT_EQ(la.dst, (std::vector<T>{200, 150, 101, 150, 101, 101, 101, 101, 101, 101, 101, 101}));
}

// Two tiles of coverage 2048 add up to the source, chroma around its zero;
// alpha accumulates to 4096.
TYPED_TEST(PairTest, AdditiveHalvesMakeWhole) {
    using T = typename TypeParam::T;
    const family_writers &w = TypeParam::writers();
    for (coverage_role r :
         {coverage_role::add, coverage_role::add_over_premul, coverage_role::add_a_over_premul}) {
        line<T> l(2, 2);
        l.dst = {0, T(TypeParam::zero), 0, T(TypeParam::zero)};
        l.src = {200, 10, 64, 250}; // even samples halve exactly
        l.cov = {2048, 2048};
        l.src_a = {4096, 4096};
        l.write(w[r], 0, 2);
        l.write(w[r], 0, 2);
        EXPECT_EQ(l.dst, l.src) << int(r);
        const uint16_t a = r == coverage_role::add ? 0 : 4096; // add has no alpha
        EXPECT_EQ(l.dst_a, (std::vector<uint16_t>{a, a})) << int(r);
    }
}

} // namespace
