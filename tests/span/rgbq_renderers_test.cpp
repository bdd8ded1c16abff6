// Properties of every RGBQ and word slot in every implementation: footprint
// weights and normalisation on single-texel textures, uniform textures,
// clamping and span bounds; the benchmark entry points.
#include <gtest/gtest.h>
#include <xmmintrin.h>

#include <limits>

#include "diag/span_benchmark.h"
#include "span/rgbq_renderers.h"
#include "span/word_renderers.h"
#include "span_test_support.h"

namespace {

using namespace span_test;
using namespace tovrel;

// One family of renderer tables: texel size, which slots are packed, the
// pre-shift of a packed slot's partial sums, the multiply-high constant
// and the uniform sample values it keeps exactly.
struct family {
    const char *name;
    int32_t unit;
    bool (*packed)(int slot);
    std::vector<tables> (*implementations)();
    int preshift(int slot) const {
        return unit == 2 ? std::array{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 2, 0, 0, 0, 0, 2, 0, 1, 1, 2, 3}
                               [size_t(slot)]
                         : 0;
    }
    // Packed totals T' that are not powers of two: shift to 48 (RGBQ, K
    // 1365) or 6 (word, K 10923), then multiply high.
    int32_t divisor() const { return unit == 2 ? 6 : 48; }
    std::vector<uint32_t> uniform_values(int slot, std::mt19937 &rng) const {
        if (unit == 4) return {0xFFFFFFFFu, 0u, 0x01FE807Fu, uint32_t(rng()), uint32_t(rng())};
        const uint32_t limit = tovrel::word_sample_limit[slot];
        return {0, 1, 4096, limit - 1, uint32_t(rng() % limit)};
    }
};

std::vector<tables> rgbq_implementations() {
    std::vector<tables> v = {{"sse2", &rgbq_persp_span_renderers, &rgbq_affine_span_renderers},
                             {"c", &rgbq_persp_span_renderers_c, &rgbq_affine_span_renderers_c}};
    if (rgbq_avx2_supported())
        v.push_back({"avx2", &rgbq_persp_span_renderers_avx2, &rgbq_affine_span_renderers_avx2});
    return v;
}

std::vector<tables> word_implementations() {
    return {{"word", &word_persp_span_renderers, &word_affine_span_renderers},
            {"word_c", &word_persp_span_renderers_c, &word_affine_span_renderers_c}};
}

const family families[] = {{"rgbq", 4, rgbq_slot_is_packed, rgbq_implementations},
                           {"word", 2, word_slot_is_packed, word_implementations}};

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

struct slot_case {
    const family *f;
    int slot;
};

class SpanSlot : public testing::TestWithParam<slot_case> {};

// Word: a multiple of 8, so that no pre-shift drops a bit of it.
TEST_P(SpanSlot, SingleTexelGivesFootprintWeight) {
    const auto [f, slot] = GetParam();
    const slot_shape s(slot);
    const int cols = slot ? s.cols : 0, rows = slot ? std::array{1, 0, 2, 4}[s.hc] : 0;
    const bool packed = f->packed(slot);
    const int p = packed ? f->preshift(slot) : 0;
    const int64_t total = (128 * s.cols * std::array{128, packed ? 384 : 192, 256, 512}[s.hc]) >> p;
    const uint8_t rgbq_value[4] = {255, 1, 100, 37}, word_value[4] = {0x88, 0x13}; // 5000
    const uint8_t *value = f->unit == 4 ? rgbq_value : word_value;
    int shift = 0; // (R' + T'/2) >> shift leaves the divisor
    while ((total >> shift) > f->divisor()) ++shift;
    texture t(18, 14, 18 * f->unit + 8, f->unit);
    for (const tables &impl : f->implementations())
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
                            std::memcpy(texel, value, size_t(f->unit));
                            guarded_line line(1, f->unit);
                            impl.run(slot, persp, line, t, a);
                            std::memset(texel, 0, size_t(f->unit));
                            const int64_t wt =
                                weight(dc, cols, (iu >> 9) & 127, packed) *
                                weight(dr, rows, rows ? (iv >> 9) & 127 : iv & 65535, packed);
                            uint32_t want = 0;
                            const int32_t k = (65536 + f->divisor() / 2) / f->divisor();
                            for (int c = 0; c < (f->unit == 4 ? 4 : 1); ++c) {
                                int64_t v = value[c];
                                if (f->unit == 2) v = value[0] | value[1] << 8;
                                const int64_t r = (wt * v) >> p;
                                want |= uint32_t(!slot ? (dc == 0 && dr == 0) * v
                                                 : packed && (total & (total - 1))
                                                     ? (((r + total / 2) >> shift) * k) >> 16
                                                     : (r + total / 2) / total)
                                        << (8 * c);
                            }
                            ASSERT_EQ(line.at(0), want)
                                << f->name << " " << impl.name << " persp " << persp << " f " << fu
                                << ", " << fv << " at " << dc << ", " << dr;
                            ASSERT_TRUE(line.untouched_outside(0, 1));
                        }
                }
}

// Every pixel keeps the value; only [x0, x1) is written, and an empty span
// writes pixel x0 in packed members and nothing in scalar ones.
// Word: every value below the slot's stated limit, and 4096 (an opaque
// alpha plane) in every slot, pre-shifted or not.
TEST_P(SpanSlot, UniformTextureAndSpanBounds) {
    const auto [f, slot] = GetParam();
    std::mt19937 rng(test_seed() + uint32_t(slot));
    texture t(30, 24, -30 * f->unit, f->unit);
    for (uint32_t value : f->uniform_values(slot, rng)) {
        t.fill(value);
        for (const tables &impl : f->implementations())
            for (bool persp : {false, true}) {
                span_args a = span_args(3, 40, slot_shape(slot), t)
                                  .steps(23456.7f, -5678.9f, persp ? 0.003f : 0)
                                  .bases(-1e5f, 1.2e6f, persp ? 0.9f : 0);
                guarded_line line(48, f->unit), empty(48, f->unit);
                impl.run(slot, persp, line, t, a);
                for (int32_t x = a.x0; x < a.x1; ++x)
                    ASSERT_EQ(line.at(x), value) << impl.name << " seed " << test_seed();
                ASSERT_TRUE(line.untouched_outside(a.x0, a.x1)) << impl.name;
                a.x1 = a.x0 - int32_t(rng() % 2);
                impl.run(slot, persp, empty, t, a);
                EXPECT_TRUE(empty.untouched_outside(3, f->packed(slot) ? 4 : 3));
            }
    }
}

// Below 0 samples as 0, beyond the limit as the limit, NaN as 0 (exact
// positions from the affine member: w = 1 is inexact through the
// approximate reciprocal).
TEST_P(SpanSlot, Clamps) {
    const auto [f, slot] = GetParam();
    std::mt19937 rng(test_seed());
    texture t(20, 16, 20 * f->unit, f->unit);
    t.randomise(rng);
    const float nan = std::numeric_limits<float>::quiet_NaN();
    for (const tables &impl : f->implementations())
        for (bool persp : {false, true}) {
            const span_args a(5, 6, slot_shape(slot), t);
            auto sample = [&](float u, float v, bool p) {
                guarded_line line(8, f->unit);
                impl.run(slot, p, line, t, span_args(a).bases(u, v, 1));
                return line.at(5);
            };
            const uint32_t origin = sample(0, 0, false);
            EXPECT_EQ(sample(-3e5f, -1e30f, persp), origin) << impl.name << persp;
            EXPECT_EQ(sample(nan, nan, persp), origin) << impl.name << persp;
            EXPECT_EQ(sample(1e12f, 1e12f, persp), sample(a.u_max, a.v_max, false)) << impl.name;
            EXPECT_EQ(sample(-1, a.v_max * 4, persp), sample(0, a.v_max, false)) << impl.name;
        }
}

std::vector<slot_case> all_slots() {
    std::vector<slot_case> v;
    for (const family &f : families)
        for (int slot = 0; slot < footprint_count; ++slot) v.push_back({&f, slot});
    return v;
}
INSTANTIATE_TEST_SUITE_P(AllSlots, SpanSlot, testing::ValuesIn(all_slots()),
                         [](const testing::TestParamInfo<slot_case> &i) {
                             return std::string(i.param.f->name) + "_" +
                                    std::to_string(i.param.slot);
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
