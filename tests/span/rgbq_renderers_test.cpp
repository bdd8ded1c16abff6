// Properties of every slot of every copying family in every implementation:
// footprint weights
// and normalisation on single-texel textures, uniform textures, clamping
// and span bounds; the benchmark entry points.
#include <gtest/gtest.h>
#include <xmmintrin.h>

#include <limits>

#include "diag/span_benchmark.h"
#include "span/rgbq_renderers.h"
#include "span/s16x4_renderers.h"
#include "span_test_support.h"

namespace {

using namespace span_test;
using namespace tovrel;

std::vector<tables> rgbq_implementations() {
    std::vector<tables> v = {{"sse2", &rgbq_persp_span_renderers, &rgbq_affine_span_renderers},
                             {"c", &rgbq_persp_span_renderers_c, &rgbq_affine_span_renderers_c}};
    if (rgbq_avx2_supported())
        v.push_back({"avx2", &rgbq_persp_span_renderers_avx2, &rgbq_affine_span_renderers_avx2});
    return v;
}

// A copying renderer family as the slot tests see it: four components of
// unit * 2 bits per texel.
struct family {
    const char *name;
    int32_t unit;
    std::vector<tables> (*implementations)();
    bool (*packed)(int slot);
    std::array<int32_t, 4> single; // components of the single-texel test
    // (R + T/2) / T of a weighted sum R that does not wrap.
    int64_t (*normalise)(int slot, bool packed, int64_t r, int64_t total);
    // Texels that every slot reproduces.
    std::vector<uint64_t> (*uniform)(std::mt19937 &rng);
};

const family families[] = {
    {"rgbq",
     4,
     rgbq_implementations,
     rgbq_slot_is_packed,
     {255, 1, 100, 37},
     [](int, bool packed, int64_t r, int64_t total) -> int64_t {
         if (packed && total == 49152) return (((r + 24576) >> 10) * 1365) >> 16; // 65536 / 48
         return (r + total / 2) / total;
     },
     [](std::mt19937 &rng) {
         return std::vector<uint64_t>{0xFFFFFFFFu, 0u, 0x01FE807Fu, rng() + 0ull, rng() + 0ull};
     }},
    // Arithmetic shifts, division toward zero for totals with a factor 3, a
    // logical shift of the 32-bit sum in slots 15 and 20. Uniform texels
    // keep their value where the sum neither wraps nor is negative in those
    // two slots: components in [0, 4095].
    {"s16x4",
     8,
     [] {
         return std::vector<tables>{
             {"sse2", &s16x4_persp_span_renderers, &s16x4_affine_span_renderers},
             {"c", &s16x4_persp_span_renderers_c, &s16x4_affine_span_renderers_c}};
     },
     [](int) { return false; },
     {32767, -32768, -300, 1},
     [](int slot, bool, int64_t r, int64_t total) -> int64_t {
         const int shift = __builtin_ctzll(uint64_t(total));
         if (slot == 15 || slot == 20) return uint32_t(r + total / 2) >> shift;
         if (total % 3) return (r + total / 2) >> shift;
         return (r + total / 2) / total;
     },
     [](std::mt19937 &rng) {
         return std::vector<uint64_t>{0u, 0x0FFF0FFF0FFF0FFFull,
                                      ((uint64_t(rng()) << 32) | rng()) & 0x0FFF0FFF0FFF0FFFull};
     }}};

// Weight of row or column offset d of a box n texels long at fraction f
// (128ths); for 1.5 rows (n = 0) at 16-bit fraction f: the coverage in
// 128ths of a row (scalar members), or the coverage of its two half rows
// in 128ths of a half row (packed members).
int32_t weight(int d, int n, int32_t f, bool packed) {
    if (n) return d == 0 ? 128 - f : (d > 0 && d < n) ? 128 : d == n ? f : 0;
    if (d < 0 || d > 2) return 0;
    const int32_t r = f >> 9, g = (f & 32767) >> 8;
    if (!packed) return std::array{128 - r, std::min(128, r + 64), std::max(0, r - 64)}[d];
    std::array<int32_t, 6> half{};
    half[f >> 15] = 128 - g, half[(f >> 15) + 1] = half[(f >> 15) + 2] = 128,
              half[(f >> 15) + 3] = g;
    return half[2 * d] + half[2 * d + 1];
}

class SpanSlot : public testing::TestWithParam<std::tuple<const family *, int>> {
protected:
    const family &f = *std::get<0>(GetParam());
    const int slot = std::get<1>(GetParam());
    // Four components of unit * 2 bits, as the line element they make.
    uint64_t pack(const std::array<int64_t, 4> &v) const {
        const int bits = f.unit * 2;
        uint64_t out = 0;
        for (int c = 0; c < 4; ++c) out |= (uint64_t(v[c]) & ((1ull << bits) - 1)) << (bits * c);
        return out;
    }
};

TEST_P(SpanSlot, SingleTexelGivesFootprintWeight) {
    const slot_shape s(slot);
    const int cols = slot ? s.cols : 0, rows = slot ? std::array{1, 0, 2, 4}[s.hc] : 0;
    const bool packed = f.packed(slot);
    const int64_t total = 128 * s.cols * std::array{128, packed ? 384 : 192, 256, 512}[s.hc];
    const uint64_t value = pack({f.single[0], f.single[1], f.single[2], f.single[3]});
    texture t(18, 14, 18 * f.unit + 8, f.unit);
    for (const tables &impl : f.implementations())
        for (bool persp : {false, true})
            for (int32_t fu : {0, 511, 9000, 32767, 32768, 65535})
                for (int32_t fv : {0, 511, 9000, 32767, 32768, 33280, 41000, 65535}) {
                    const float w = persp ? 1.25f : 1, q = _mm_cvtss_f32(_mm_rcp_ss(_mm_set_ss(w)));
                    const span_args a =
                        span_args(0, 1, s, t).bases((4 * 65536 + fu) * w, (3 * 65536 + fv) * w, w);
                    // Position restated: approximate reciprocal or double division.
                    auto land = [&](float n) {
                        return !persp   ? int32_t(n)
                               : packed ? int32_t(n * q)
                                        : int32_t(n * (1.0 / w));
                    };
                    const int32_t iu = land(a.u_base), iv = land(a.v_base);
                    for (int dr = -1; dr <= std::max(rows, 2) + 1; ++dr)
                        for (int dc = -1; dc <= cols + 1; ++dc) {
                            uint8_t *texel = t.texel((iu >> 16) + dc, (iv >> 16) + dr);
                            std::memcpy(texel, &value, size_t(f.unit));
                            guarded_line line(1, f.unit);
                            impl.run(slot, persp, line, t, a);
                            std::memset(texel, 0, size_t(f.unit));
                            const int64_t wt =
                                weight(dc, cols, (iu >> 9) & 127, packed) *
                                weight(dr, rows, rows ? (iv >> 9) & 127 : iv & 65535, packed);
                            std::array<int64_t, 4> want;
                            for (int c = 0; c < 4; ++c)
                                want[c] = !slot
                                              ? (dc == 0 && dr == 0) * f.single[c]
                                              : f.normalise(slot, packed, wt * f.single[c], total);
                            ASSERT_EQ(line.at(0), pack(want))
                                << impl.name << " persp " << persp << " f " << fu << ", " << fv
                                << " at " << dc << ", " << dr;
                            ASSERT_TRUE(line.untouched_outside(0, 1));
                        }
                }
}

// Every pixel keeps the value; only [x0, x1) is written, and an empty span
// writes pixel x0 in packed members and nothing in scalar ones.
TEST_P(SpanSlot, UniformTextureAndSpanBounds) {
    std::mt19937 rng(test_seed() + uint32_t(slot));
    texture t(30, 24, -30 * f.unit, f.unit);
    for (uint64_t value : f.uniform(rng)) {
        t.fill(value);
        for (const tables &impl : f.implementations())
            for (bool persp : {false, true}) {
                span_args a = span_args(3, 40, slot_shape(slot), t)
                                  .steps(23456.7f, -5678.9f, persp ? 0.003f : 0)
                                  .bases(-1e5f, 1.2e6f, persp ? 0.9f : 0);
                guarded_line line(48, f.unit), empty(48, f.unit);
                impl.run(slot, persp, line, t, a);
                for (int32_t x = a.x0; x < a.x1; ++x)
                    ASSERT_EQ(line.at(x), value) << impl.name << " seed " << test_seed();
                ASSERT_TRUE(line.untouched_outside(a.x0, a.x1)) << impl.name;
                a.x1 = a.x0 - int32_t(rng() % 2);
                impl.run(slot, persp, empty, t, a);
                EXPECT_TRUE(empty.untouched_outside(3, f.packed(slot) ? 4 : 3));
            }
    }
}

// Below 0 samples as 0, beyond the limit as the limit, NaN as 0 (exact
// positions from the affine member: w = 1 is inexact through the
// approximate reciprocal).
TEST_P(SpanSlot, Clamps) {
    std::mt19937 rng(test_seed());
    texture t(20, 16, 20 * f.unit, f.unit);
    t.randomise(rng);
    const float nan = std::numeric_limits<float>::quiet_NaN();
    for (const tables &impl : f.implementations())
        for (bool persp : {false, true}) {
            const span_args a(5, 6, slot_shape(slot), t);
            auto sample = [&](float u, float v, bool p) {
                guarded_line line(8, f.unit);
                impl.run(slot, p, line, t, span_args(a).bases(u, v, 1));
                return line.at(5);
            };
            const uint64_t origin = sample(0, 0, false);
            EXPECT_EQ(sample(-3e5f, -1e30f, persp), origin) << impl.name << persp;
            EXPECT_EQ(sample(nan, nan, persp), origin) << impl.name << persp;
            EXPECT_EQ(sample(1e12f, 1e12f, persp), sample(a.u_max, a.v_max, false)) << impl.name;
            EXPECT_EQ(sample(-1, a.v_max * 4, persp), sample(0, a.v_max, false)) << impl.name;
        }
}

INSTANTIATE_TEST_SUITE_P(AllSlots, SpanSlot,
                         testing::Combine(testing::ValuesIn([] {
                                              std::vector<const family *> v;
                                              for (const family &f : families) v.push_back(&f);
                                              return v;
                                          }()),
                                          testing::Range(0, footprint_count)),
                         [](const auto &i) {
                             return std::string(std::get<0>(i.param)->name) + "_" +
                                    std::to_string(std::get<1>(i.param));
                         });

// The benchmark entry points print their label and produce what the
// dispatched table's member of their slot produces.
TEST(SpanBenchmark, PrintsLabelAndRunsTheSlotsRenderer) {
    struct entry {
        int slot;
        const char *size;
        persp_span_renderer persp;
        affine_span_renderer affine;
    };
    const entry entries[] = {{1, "10x10", span_benchmark_pers10x10, span_benchmark_proj10x10},
                             {2, "10x20", span_benchmark_pers10x20, span_benchmark_proj10x20},
                             {3, "10x30", span_benchmark_pers10x30, span_benchmark_proj10x30},
                             {4, "10x40", span_benchmark_pers10x40, span_benchmark_proj10x40},
                             {6, "15x10", span_benchmark_pers15x10, span_benchmark_proj15x10},
                             {11, "20x10", span_benchmark_pers20x10, span_benchmark_proj20x10}};
    std::mt19937 rng(test_seed());
    texture t(32, 16, 32 * 4);
    t.randomise(rng);
    const span_args a = span_args(2, 21, slot_shape(14), t)
                            .steps(40000.5f, 12345.25f, 0.002f)
                            .bases(3000, 7000, 1.1f);
    const renderer_table_pair pair = rgbq_span_renderers();
    for (const entry &e : entries)
        for (bool persp : {true, false}) {
            const std::string label = std::string(persp ? " pers" : " proj") + e.size + "_w3ta";
            guarded_line got(24), want(24);
            testing::internal::CaptureStdout();
            run(persp ? e.persp : nullptr, e.affine, got, t, a);
            EXPECT_EQ(testing::internal::GetCapturedStdout(), label);
            tables{"", pair.persp, pair.affine}.run(e.slot, persp, want, t, a);
            EXPECT_EQ(got.store, want.store) << label;
        }
}

} // namespace
