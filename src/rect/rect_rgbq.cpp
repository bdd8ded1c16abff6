// Instantiation of the RGBQ kernels from one walk with policy types.
#include "rect/rect_rgbq.h"

#include "rect/rect_rgbq_simd.h"

namespace tovrel {
namespace {

using rect::dst_alpha_rule;
using rect::rgbq_kernel;
using rect::rgbq_policy;
using rect::rgbq_run_fn;
using rect::src_alpha_rule;
constexpr auto src_none = src_alpha_rule::none;
constexpr auto src_straight = src_alpha_rule::straight;
constexpr auto src_premul = src_alpha_rule::premul;
constexpr auto dst_none = dst_alpha_rule::none;
constexpr auto dst_straight = dst_alpha_rule::straight;
constexpr auto dst_premul = dst_alpha_rule::premul;

// The policy of each kernel; the write rule follows from the source alpha,
// the destination alpha and tiling.
using rect_rgbq_copy = rgbq_policy<src_none, dst_none, false>;
using rect_rgbq_tile = rgbq_policy<src_none, dst_none, true>;
using rect_rgbq_to_alpha_straight = rgbq_policy<src_none, dst_straight, false>;
using rect_rgbq_to_alpha_premul = rgbq_policy<src_none, dst_premul, false>;
using rect_rgbq_to_alpha_straight_tile = rgbq_policy<src_none, dst_straight, true>;
using rect_rgbq_to_alpha_premul_tile = rgbq_policy<src_none, dst_premul, true>;
using rect_rgbqa_over_straight = rgbq_policy<src_straight, dst_none, false>;
using rect_rgbqa_over_premul = rgbq_policy<src_premul, dst_none, false>;
using rect_rgbqa_to_alpha_straight = rgbq_policy<src_straight, dst_straight, false>;
using rect_rgbqa_to_alpha_premul = rgbq_policy<src_premul, dst_premul, false>;
using rect_rgbqa_to_alpha_straight_tile = rgbq_policy<src_straight, dst_straight, true>;
using rect_rgbqa_to_alpha_premul_tile = rgbq_policy<src_premul, dst_premul, true>;

template <rgbq_run_fn Run>
constexpr rgbq_kernel_table make_table() {
    return {
        &rgbq_kernel<rect_rgbq_copy, Run>,
        &rgbq_kernel<rect_rgbq_tile, Run>,
        &rgbq_kernel<rect_rgbq_to_alpha_straight, Run>,
        &rgbq_kernel<rect_rgbq_to_alpha_premul, Run>,
        &rgbq_kernel<rect_rgbq_to_alpha_straight_tile, Run>,
        &rgbq_kernel<rect_rgbq_to_alpha_premul_tile, Run>,
        // Source alpha weights every term: no whole-pixel runs, so these
        // are the same routines in every table.
        &rgbq_kernel<rect_rgbqa_over_straight, rect::rgbq_run_c>,
        &rgbq_kernel<rect_rgbqa_over_premul, rect::rgbq_run_c>,
        &rgbq_kernel<rect_rgbqa_to_alpha_straight, rect::rgbq_run_c>,
        &rgbq_kernel<rect_rgbqa_to_alpha_premul, rect::rgbq_run_c>,
        &rgbq_kernel<rect_rgbqa_to_alpha_straight_tile, rect::rgbq_run_c>,
        &rgbq_kernel<rect_rgbqa_to_alpha_premul_tile, rect::rgbq_run_c>,
    };
}

struct kernel_info {
    bool reads_src_alpha;
    bool writes_dst_alpha;
};

// In the order of rgbq_kernel_index: {reads source alpha, writes destination alpha}.
constexpr std::array<kernel_info, rgbq_kernel_count> kernel_infos = {{
    {false, false},
    {false, false},
    {false, true},
    {false, true},
    {false, true},
    {false, true},
    {true, false},
    {true, false},
    {true, true},
    {true, true},
    {true, true},
    {true, true},
}};

constexpr bool table_complete(const rgbq_kernel_table &t) {
    for (auto k : t)
        if (k == nullptr) return false;
    return true;
}

} // namespace

constexpr rgbq_kernel_table rgbq_kernels_c_init = make_table<rect::rgbq_run_c>();
static_assert(table_complete(rgbq_kernels_c_init), "every RGBQ kernel has a scalar statement");
const rgbq_kernel_table rect_rgbq_kernels_c = rgbq_kernels_c_init;

#if defined(__SSE2__)
constexpr rgbq_kernel_table rgbq_kernels_sse2_init = make_table<rect::rgbq_run_sse2>();
static_assert(table_complete(rgbq_kernels_sse2_init), "every RGBQ kernel has an SSE2 form");
const rgbq_kernel_table rect_rgbq_kernels_sse2 = rgbq_kernels_sse2_init;

constexpr rgbq_kernel_table rgbq_kernels_avx2_init = make_table<rect::rgbq_run_avx2>();
static_assert(table_complete(rgbq_kernels_avx2_init), "every RGBQ kernel has an AVX2 form");
const rgbq_kernel_table rect_rgbq_kernels_avx2 = rgbq_kernels_avx2_init;
#endif

bool rect_rgbq_reads_src_alpha(int32_t index) {
    return index >= 0 && index < rgbq_kernel_count && kernel_infos[index].reads_src_alpha;
}
bool rect_rgbq_writes_dst_alpha(int32_t index) {
    return index >= 0 && index < rgbq_kernel_count && kernel_infos[index].writes_dst_alpha;
}

} // namespace tovrel
