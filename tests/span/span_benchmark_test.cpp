// The benchmark entry points print their exact label and then produce what
// the dispatched table's member of their slot produces.
#include <gtest/gtest.h>

#include "diag/span_benchmark.h"
#include "span/rgbq_renderers.h"
#include "span_test_support.h"

namespace {

using namespace span_test;
using namespace tovrel;

TEST(SpanBenchmark, PrintsLabelAndRunsTheSlotsRenderer) {
    const int slots[6] = {1, 2, 3, 4, 6, 11};
    const persp_span_renderer persp[6] = {span_benchmark_pers10x10, span_benchmark_pers10x20,
                                          span_benchmark_pers10x30, span_benchmark_pers10x40,
                                          span_benchmark_pers15x10, span_benchmark_pers20x10};
    const affine_span_renderer affine[6] = {span_benchmark_proj10x10, span_benchmark_proj10x20,
                                            span_benchmark_proj10x30, span_benchmark_proj10x40,
                                            span_benchmark_proj15x10, span_benchmark_proj20x10};
    const char *labels[2][6] = {{" pers10x10_w3ta", " pers10x20_w3ta", " pers10x30_w3ta",
                                 " pers10x40_w3ta", " pers15x10_w3ta", " pers20x10_w3ta"},
                                {" proj10x10_w3ta", " proj10x20_w3ta", " proj10x30_w3ta",
                                 " proj10x40_w3ta", " proj15x10_w3ta", " proj20x10_w3ta"}};
    std::mt19937 rng(test_seed());
    texture t(32, 16, 32 * 4);
    t.randomise(rng);
    const span_args a = span_args(2, 21, slot_shape(14), t)
                            .steps(40000.5f, 12345.25f, 0.002f)
                            .bases(3000, 7000, 1.1f);
    const renderer_table_pair pair = rgbq_span_renderers();
    for (int kind = 0; kind < 2; ++kind)
        for (int i = 0; i < 6; ++i) {
            guarded_line got(24), want(24);
            testing::internal::CaptureStdout();
            run(kind ? nullptr : persp[i], affine[i], got, t, a);
            EXPECT_EQ(testing::internal::GetCapturedStdout(), labels[kind][i]);
            tables{"", pair.persp, pair.affine}.run(slots[i], kind == 0, want, t, a);
            EXPECT_EQ(got.store, want.store) << labels[kind][i];
        }
}

} // namespace
