// Properties of every slot of every renderer family in every
// implementation: footprint weights and normalisation on single-texel
// textures, uniform textures and span bounds; the benchmark entry points.
#include <gtest/gtest.h>
#include <xmmintrin.h>

#include <tuple>

#include "diag/span_benchmark.h"
#include "span/rgbq_renderers.h"
#include "span_test_support.h"

namespace {

using namespace span_test;
using namespace tovrel;

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

class Slot : public testing::TestWithParam<std::tuple<family, int>> {
protected:
    const family &f() const { return std::get<0>(GetParam()); }
    int slot() const { return std::get<1>(GetParam()); }
};

// Sample i of a line or texel unit, and a value as that sample stores it.
int32_t sample(const uint8_t *p, int sample_bytes, int i) {
    uint16_t v = 0;
    std::memcpy(&v, p + i * sample_bytes, size_t(sample_bytes));
    return v;
}
int64_t stored(int64_t v, int sample_bytes) {
    return v & ((int64_t(1) << (8 * sample_bytes)) - 1);
}

// One texel set among zeros: RGBQ's four channels each get the product of
// the column and row weights; 4:2:2 Y likewise, and the texel's chroma
// sample (U at an even column, V at an odd one) the weight of the two
// columns of the chroma plane that repeat it.
TEST_P(Slot, SingleTexelGivesFootprintWeight) {
    const int slot = Slot::slot();
    const family &f = Slot::f();
    const slot_shape s(slot);
    const int cols = slot ? s.cols : 0, rows = slot ? std::array{1, 0, 2, 4}[s.hc] : 0;
    const bool packed = f.packed(slot);
    const int64_t total = 128 * s.cols * std::array{128, packed ? 384 : 192, 256, 512}[s.hc];
    const int sb = f.sample_bytes, n = f.unit / sb;
    const std::array<int32_t, 4> value = f.single;
    uint8_t unit[8] = {};
    for (int c = 0; c < n; ++c) std::memcpy(unit + c * sb, &value[size_t(c)], size_t(sb));
    texture t = f.make_texture(18, 14, 8);
    for (const tables &impl : f.implementations())
        for (bool persp : {false, true})
            for (int32_t col : {4, f.pairs ? 5 : 4})
                for (int32_t fu : {0, 511, 9000, 32767, 32768, 65535})
                    for (int32_t fv : {0, 511, 9000, 32767, 32768, 33280, 41000, 65535}) {
                        const float w = persp ? 1.25f : 1,
                                    q = _mm_cvtss_f32(_mm_rcp_ss(_mm_set_ss(w)));
                        const span_args a =
                            span_args(0, 1, s, t)
                                .bases(float(col * 65536 + fu) * w, (3 * 65536 + fv) * w, w);
                        // Position restated: approximate reciprocal or double division.
                        auto land = [&](float v) {
                            return !persp   ? int32_t(v)
                                   : packed ? int32_t(v * q)
                                            : int32_t(v * (1.0 / w));
                        };
                        const int32_t iu = land(a.u_base), iv = land(a.v_base), cu = iu >> 16;
                        auto wu = [&](int dc) { return weight(dc, cols, (iu >> 9) & 127, packed); };
                        for (int dr = -1; dr <= std::max(rows, 2) + 1; ++dr)
                            for (int dc = -2; dc <= cols + 2; ++dc) {
                                uint8_t *texel = t.texel(cu + dc, (iv >> 16) + dr);
                                std::memcpy(texel, unit, size_t(f.unit));
                                guarded_line line = f.line(2);
                                impl.run(slot, persp, line, t, a);
                                std::memset(texel, 0, size_t(f.unit));
                                const int64_t wv =
                                    weight(dr, rows, rows ? (iv >> 9) & 127 : iv & 65535, packed);
                                auto want = [&](int64_t wt, int32_t v, bool chroma) {
                                    return stored(
                                        slot ? f.normalise(slot, packed, wt * v, total, chroma)
                                             : wt * v,
                                        sb);
                                };
                                // Single-texel weights for slot 0: the texel under
                                // the sample, and for chroma its pair's column.
                                const bool here = dr == 0 && dc == 0;
                                const int32_t pair =
                                    ((cu + dc) & ~1) - cu; // its pair's even column
                                const bool in_pair = dr == 0 && (pair == 0 || pair == -1);
                                const uint8_t *out = line.store.data() + line.guard * f.unit;
                                const int64_t wy = slot ? wu(dc) * wv : here;
                                const auto where = [&] {
                                    return std::string(impl.name) + " persp " +
                                           std::to_string(persp) + " f " + std::to_string(fu) +
                                           ", " + std::to_string(fv) + " at " + std::to_string(dc) +
                                           ", " + std::to_string(dr) + " col " +
                                           std::to_string(col);
                                };
                                ASSERT_EQ(sample(out, sb, 0), want(wy, value[0], false)) << where();
                                if (!f.pairs) {
                                    for (int c = 1; c < n; ++c)
                                        ASSERT_EQ(sample(out, sb, c), want(wy, value[c], false))
                                            << where();
                                    ASSERT_TRUE(line.untouched_outside(0, 1));
                                    continue;
                                }
                                const int64_t wc = slot ? (wu(pair) + wu(pair + 1)) * wv : in_pair;
                                const bool is_u = ((cu + dc) & 1) == 0;
                                const int32_t u = sample(out, sb, 1),
                                              v = sample(out + f.unit, sb, 1);
                                ASSERT_EQ(u, is_u ? want(wc, value[1], true) : 0)
                                    << "U " << where();
                                ASSERT_EQ(v, is_u ? 0 : want(wc, value[1], true))
                                    << "V " << where();
                                ASSERT_TRUE(line.untouched_outside(0, 1));
                            }
                    }
}

// Every pixel keeps the value; only [x0, x1) is written (4:2:2: odd and
// even ends both ways, one pixel at an odd and at an even x), and an empty
// span writes pixel x0 in packed members and nothing in scalar ones.
TEST_P(Slot, UniformTextureAndSpanBounds) {
    const family &f = Slot::f();
    const int slot = Slot::slot();
    std::mt19937 rng(test_seed() + uint32_t(slot));
    texture t = f.make_texture(30, 24, 0, true);
    for (uint64_t value : f.uniform(slot, rng)) {
        t.fill(value, f.pairs);
        for (const tables &impl : f.implementations())
            for (bool persp : {false, true})
                for (auto [x0, x1] : {std::pair{3, 40}, {2, 39}, {5, 6}, {4, 5}}) {
                    span_args a = span_args(x0, x1, slot_shape(slot), t)
                                      .steps(23456.7f, -5678.9f, persp ? 0.003f : 0)
                                      .bases(-1e5f, 1.2e6f, persp ? 0.9f : 0);
                    guarded_line line = f.line(48), empty = f.line(48);
                    impl.run(slot, persp, line, t, a);
                    const uint8_t *v = reinterpret_cast<const uint8_t *>(&value);
                    const size_t period = size_t(f.pairs ? 2 * f.unit : f.unit);
                    for (size_t i = 0; i < line.store.size(); ++i) {
                        if (line.writes(int64_t(i), x0, x1)) {
                            ASSERT_EQ(line.store[i], v[i % period])
                                << impl.name << " byte " << i << " span " << x0 << ", " << x1
                                << " seed " << test_seed();
                        }
                    }
                    ASSERT_TRUE(line.untouched_outside(x0, x1)) << impl.name;
                    a.x1 = a.x0 - int32_t(rng() % 2);
                    impl.run(slot, persp, empty, t, a);
                    EXPECT_TRUE(empty.untouched_outside(x0, f.packed(slot) ? x0 + 1 : x0));
                }
    }
}

INSTANTIATE_TEST_SUITE_P(AllSlots, Slot,
                         testing::Combine(testing::ValuesIn(family_list()),
                                          testing::Range(0, footprint_count)),
                         param_names::printed{});
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
