// Instantiation of the RGBQ kernels from one walk with policy types.
#include "rect/rect_rgbq.h"

#include <tuple>
#include <type_traits>
#include <utility>

#include "rect/rect_rgbq_simd.h"

namespace tovrel {
namespace {

using rect::rgbq_kernel;
using rect::rgbq_run_fn;
using rect::src_alpha_rule;

// In the order of rgbq_kernel_index.
using rgbq_policies = rect::rect_policies;
static_assert(std::tuple_size_v<rgbq_policies> == rgbq_kernel_count, "one policy per kernel");
static_assert(std::tuple_element_t<rgbq_to_alpha_premul_tile, rgbq_policies>::tile &&
                  std::tuple_element_t<rgbqa_over_straight, rgbq_policies>::src ==
                      src_alpha_rule::straight,
              "policies in index order");
using kernel_indices = std::make_index_sequence<rgbq_kernel_count>;

// Kernels with source alpha have no whole-pixel runs: the same routine in
// every table.
template <class P, rgbq_run_fn Run>
constexpr rect_kernel kernel_of() {
    if constexpr (P::whole_runs)
        return &rgbq_kernel<P, Run>;
    else
        return &rgbq_kernel<P, rect::rgbq_run_c>;
}

// One kernel per policy: a table without an empty slot.
template <rgbq_run_fn Run, size_t... I>
constexpr rgbq_kernel_table make_table(std::index_sequence<I...>) {
    static_assert(sizeof...(I) == std::tuple_size_v<rgbq_kernel_table>, "every slot filled");
    return {kernel_of<std::tuple_element_t<I, rgbq_policies>, Run>()...};
}

template <size_t... I>
constexpr std::array<bool, rgbq_kernel_count> reads_src_alpha(std::index_sequence<I...>) {
    return {(std::tuple_element_t<I, rgbq_policies>::src != src_alpha_rule::none)...};
}
template <size_t... I>
constexpr std::array<bool, rgbq_kernel_count> writes_dst_alpha(std::index_sequence<I...>) {
    return {(std::tuple_element_t<I, rgbq_policies>::dst != rect::dst_alpha_rule::none)...};
}

} // namespace

const rgbq_kernel_table rect_rgbq_kernels_c = make_table<rect::rgbq_run_c>(kernel_indices{});

#if defined(__SSE2__)
const rgbq_kernel_table rect_rgbq_kernels_sse2 = make_table<rect::rgbq_run_sse2>(kernel_indices{});

const rgbq_kernel_table rect_rgbq_kernels_avx2 = make_table<rect::rgbq_run_avx2>(kernel_indices{});
#endif

bool rect_rgbq_reads_src_alpha(int32_t index) {
    constexpr auto flags = reads_src_alpha(kernel_indices{});
    return index >= 0 && index < rgbq_kernel_count && flags[size_t(index)];
}
bool rect_rgbq_writes_dst_alpha(int32_t index) {
    constexpr auto flags = writes_dst_alpha(kernel_indices{});
    return index >= 0 && index < rgbq_kernel_count && flags[size_t(index)];
}

} // namespace tovrel
