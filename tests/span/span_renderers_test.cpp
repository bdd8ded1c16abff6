// Properties of every slot of every renderer family in every
// implementation: single-texel footprints, uniform textures and span
// bounds; the benchmark entry points.
#include <gtest/gtest.h>

#include <tuple>

#include "diag/span_benchmark.h"
#include "span/rgbq_renderers.h"
#include "span_test_support.h"

namespace {

using namespace span_test;
using namespace tovrel;

class Slot : public testing::TestWithParam<std::tuple<family, int>> {
protected:
    const family &f() const { return std::get<0>(GetParam()); }
    int slot() const { return std::get<1>(GetParam()); }
};

// One texel set among zeros, at each offset around the sampled position:
// the pixel's first sample (RGBQ's first channel, 4:2:2 Y) takes a share of
// it only inside the slot's footprint (columns 0..cols, rows 0..1, 0..2 or
// 0..4 by height class; one texel in slot 0), and the shares add up to the
// texel within one unit per texel of the footprint. The weight and
// normalisation of each share are pinned by the golden corpus in every
// slot of every family, the SIMD members' by the differential tests.
// Fractions stay clear of texel edges, where the approximate reciprocal of
// the perspective members could land on the neighbour.
TEST_P(Slot, SingleTexelStaysInTheFootprint) {
    const int slot = Slot::slot();
    const family &f = Slot::f();
    const slot_shape s(slot);
    const int cols = slot ? s.cols : 0, rows = slot ? std::array{1, 2, 2, 4}[s.hc] : 0;
    texture t = f.make_texture(18, 14, 8);
    for (const tables &impl : f.implementations())
        for (bool persp : {false, true})
            for (int32_t fu : {200, 9000, 65300})
                for (int32_t fv : {200, 9000, 33280, 41000, 65300}) {
                    const float w = persp ? 1.25f : 1;
                    const span_args a =
                        span_args(0, 1, s, t)
                            .bases(float(4 * 65536 + fu) * w, float(3 * 65536 + fv) * w, w);
                    const auto where = [&] {
                        return std::string(impl.name) + " persp " + std::to_string(persp) + " f " +
                               std::to_string(fu) + ", " + std::to_string(fv);
                    };
                    int64_t sum = 0;
                    for (int dr = -1; dr <= rows + 1; ++dr)
                        for (int dc = -2; dc <= cols + 2; ++dc) {
                            uint8_t *texel = t.texel(4 + dc, 3 + dr);
                            std::memcpy(texel, &f.single, size_t(f.sample_bytes));
                            guarded_line line = f.line(2);
                            impl.run(slot, persp, line, t, a);
                            std::memset(texel, 0, size_t(f.unit));
                            ASSERT_TRUE(line.untouched_outside(0, 1)) << where();
                            uint16_t got = 0;
                            std::memcpy(&got, &line.store[size_t(line.guard * f.unit)],
                                        size_t(f.sample_bytes));
                            const bool inside = dr >= 0 && dr <= rows && dc >= 0 && dc <= cols;
                            ASSERT_TRUE(inside || got == 0)
                                << where() << " at " << dc << ", " << dr;
                            sum += got;
                        }
                    EXPECT_LE(std::abs(sum - f.single), (cols + 1) * (rows + 1)) << where();
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
