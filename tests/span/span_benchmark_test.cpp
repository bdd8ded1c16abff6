// The benchmark entry points print their exact label and then produce what
// the dispatched table's member of their slot produces.
#include <gtest/gtest.h>

#include "diag/span_benchmark.h"
#include "span/rgbq_renderers.h"
#include "span_test_support.h"

namespace {

using namespace span_test;

struct entry {
    const char *label;
    int slot;
    tovrel::persp_span_renderer persp;
    tovrel::affine_span_renderer affine;
};

const entry entries[] = {
    {" pers10x10_w3ta", 1, tovrel::span_benchmark_pers10x10, nullptr},
    {" pers10x20_w3ta", 2, tovrel::span_benchmark_pers10x20, nullptr},
    {" pers10x30_w3ta", 3, tovrel::span_benchmark_pers10x30, nullptr},
    {" pers10x40_w3ta", 4, tovrel::span_benchmark_pers10x40, nullptr},
    {" pers15x10_w3ta", 6, tovrel::span_benchmark_pers15x10, nullptr},
    {" pers20x10_w3ta", 11, tovrel::span_benchmark_pers20x10, nullptr},
    {" proj10x10_w3ta", 1, nullptr, tovrel::span_benchmark_proj10x10},
    {" proj10x20_w3ta", 2, nullptr, tovrel::span_benchmark_proj10x20},
    {" proj10x30_w3ta", 3, nullptr, tovrel::span_benchmark_proj10x30},
    {" proj10x40_w3ta", 4, nullptr, tovrel::span_benchmark_proj10x40},
    {" proj15x10_w3ta", 6, nullptr, tovrel::span_benchmark_proj15x10},
    {" proj20x10_w3ta", 11, nullptr, tovrel::span_benchmark_proj20x10},
};

TEST(SpanBenchmark, PrintsLabelAndRunsTheSlotsRenderer) {
    std::mt19937 rng(test_seed());
    texture t(32, 16, 32 * 4);
    t.randomise(rng);
    span_args a;
    a.x0 = 2;
    a.x1 = 21;
    a.u_max = u_limit(t.width, 4);
    a.v_max = v_limit(t.height, 2);
    a.u_step = 40000.5f;
    a.v_step = 12345.25f;
    a.u_base = 3000.0f;
    a.v_base = 7000.0f;
    a.w_step = 0.002f;
    a.w_base = 1.1f;
    const tovrel::renderer_table_pair tables = tovrel::rgbq_span_renderers();
    for (const entry &e : entries) {
        guarded_line got(24), want(24);
        testing::internal::CaptureStdout();
        if (e.persp) {
            run(e.persp, got, t, a);
        } else {
            run(e.affine, got, t, a);
        }
        EXPECT_EQ(testing::internal::GetCapturedStdout(), e.label);
        if (e.persp)
            run((*tables.persp)[e.slot], want, t, a);
        else
            run((*tables.affine)[e.slot], want, t, a);
        EXPECT_EQ(got.store, want.store) << e.label;
    }
}

} // namespace
