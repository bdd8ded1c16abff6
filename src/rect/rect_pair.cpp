// Instantiation of the 4:2:2 kernels from one walk with policy and kind types.
#include "rect/rect_pair.h"

#include <array>
#include <tuple>
#include <type_traits>
#include <utility>

#include <tovrel.h>

#include "rect/rect_pair_walk.h"
#include "rect/rect_rgbq.h"
#include "rect/rect_rgbq_simd.h"

namespace tovrel {
namespace {

using rect::dst_alpha_rule;
using rect::pair_kind;
using rect::src_alpha_rule;
using rect::src_kind;

// In the order of pair_kernel_index.
using pair_policies = rect::rect_policies;
static_assert(std::tuple_size_v<pair_policies> == pair_kernel_count, "one policy per kernel");

template <size_t I>
using policy_at = std::tuple_element_t<I, pair_policies>;

template <src_kind S, class D, size_t I>
using kind_at = pair_kind<S, D, policy_at<I>::src>;

#if defined(__SSE2__)
// A YUY2 pair holds four bytes like an RGBQ pixel, and its pre-pass sums
// (sample * row weight, unshifted) are the RGBQ column sums.
constexpr rect::vblend_set vblend_yuy2_sse2{rect::vblend_yuy2_sse2, rect::vblend_yuy2_sse2,
                                            rect::vblend_yuy2_sse2, rect::vblend_yuy2_sse2};

template <class K>
constexpr rect::vblend_set vblend_pair_avx2{
    rect::vblend_pair_avx2<K, 1>, rect::vblend_pair_avx2<K, 2>, rect::vblend_pair_avx2<K, 3>,
    rect::vblend_pair_avx2<K, 0>};
#endif

// The pre-pass routines of a kind, scalar or in SIMD (1 SSE2, 2 AVX2): YUY2
// and W210 pairs in AVX2 by their own forms; in SSE2 YUY2 pairs on the RGBQ
// column sums, W210 pairs and every kind with source alpha by rows.
template <class K, int Simd>
constexpr const rect::vblend_set &vblend_of() {
#if defined(__SSE2__)
    if constexpr (Simd == 2 && !K::quad)
        return vblend_pair_avx2<K>;
    else if constexpr (Simd && K::source == src_kind::yuy2 && !K::quad)
        return vblend_yuy2_sse2;
    else if constexpr (Simd && (!K::quad || K::alpha != src_alpha_rule::none))
        return rect::vblend_set_c<K, rect::vblend_row_sse2<K>>;
#endif
    return rect::vblend_set_c<K>;
}

// The kernel of one role shape (1, 2, or 0 for any) in scalar (Simd 0),
// SSE2 (1) or with AVX2 (2); Step not 0: for that x_step only.
template <src_kind S, class D, size_t I, int Shape, int Simd, int32_t Step = 0>
constexpr rect_kernel kernel() {
    using K = kind_at<S, D, I>;
    using P = policy_at<I>;
    // AVX2 serves pair buffers (the pre-pass, whole pairs); elsewhere it is
    // SSE2.
    constexpr int isa = Simd == 2 && K::quad ? 1 : Simd;
    return &rect::pair_kernel<K, P, Shape, vblend_of<K, isa>(), Step, isa>;
}

template <src_kind S, class D, size_t I, int Simd>
rect_kernel_set set_of() {
    using P = policy_at<I>;
    rect_kernel_set set = rect_uniform_set(
        kernel<S, D, I, 0, Simd>(), P::src != src_alpha_rule::none, P::dst != dst_alpha_rule::none);
    if constexpr (I == pair_plain) {
        // rect_*_row1 and rect_*_row2 on whole and partial lines; rect_*_rows
        // for three and more rows.
        for (int32_t base : {int32_t{0}, int32_t{rect_role_count}}) {
            set.slots[size_t(base + rect_role_row1)] = kernel<S, D, I, 1, Simd>();
            set.slots[size_t(base + rect_role_row2)] = kernel<S, D, I, 2, Simd>();
        }
    }
    set.line_pixels = kind_at<S, D, I>::capacity;
    return set;
}

// The kernel sets of one source kind into one destination format, by
// rect_isa and pair_kernel_index.
template <src_kind S, class D, size_t... I>
constexpr std::array<std::array<rect_kernel_set (*)(), pair_kernel_count>, 3>
sets(std::index_sequence<I...>) {
    return {{{&set_of<S, D, I, 0>...}, {&set_of<S, D, I, 1>...}, {&set_of<S, D, I, 2>...}}};
}

constexpr auto indices = std::make_index_sequence<pair_kernel_count>{};
constexpr auto yuy2_sets = sets<src_kind::yuy2, rect::yuy2_format>(indices);
constexpr auto w210_sets = sets<src_kind::w210, rect::w210_format>(indices);
constexpr auto yuvq_yuy2_sets = sets<src_kind::yuvq, rect::yuy2_format>(indices);
constexpr auto yuvq_w210_sets = sets<src_kind::yuvq, rect::w210_format>(indices);

// The 1:1 tiled yuvq kernels (x_step 4096, y_step 2048) in the whole-line
// roles they take: two-row into YUY2 (rect_yuvqa_to_yuy2_*_tile_1to1), one-
// and two-row into W210.
template <class D, size_t I, int Simd>
void one_to_one(rect_kernel_set *set) {
    constexpr auto yq = src_kind::yuvq;
    if constexpr (std::is_same_v<D, rect::w210_format>)
        set->slots[rect_role_row1] = kernel<yq, D, I, 1, Simd, rect::pixel_units>();
    set->slots[rect_role_row2] = kernel<yq, D, I, 2, Simd, rect::pixel_units>();
}

template <class D, int Simd>
void one_to_one(int32_t index, rect_kernel_set *set) {
    if (index == paira_to_alpha_straight_tile)
        one_to_one<D, paira_to_alpha_straight_tile, Simd>(set);
    if (index == paira_to_alpha_premul_tile) one_to_one<D, paira_to_alpha_premul_tile, Simd>(set);
}

} // namespace

bool rect_pair_kernels(uint8_t src_format, uint8_t dst_format, int32_t index, const rect_choice &c,
                       rect_kernel_set *out) {
    if (index < 0 || index >= pair_kernel_count) return false;
    const size_t i = size_t(index);
    const size_t isa = size_t(c.isa), simd = isa != 0 ? 1 : 0;
    switch (src_format) {
    case TOVREL_FORMAT_YUY2:
        *out = yuy2_sets[isa][i]();
        return true;
    case TOVREL_FORMAT_W210:
        *out = w210_sets[isa][i]();
        return true;
    case TOVREL_FORMAT_YUVQ:
        break;
    default:
        return false;
    }
    if (index < paira_to_alpha_straight) return false;
    const bool w210 = dst_format == TOVREL_FORMAT_W210;
    *out = w210 ? yuvq_w210_sets[simd][i]() : yuvq_yuy2_sets[simd][i]();
    if (c.x_step == rect::pixel_units && c.y_step == rect_whole_line) {
        using Y = rect::yuy2_format;
        using W = rect::w210_format;
        simd ? (w210 ? one_to_one<W, 1>(index, out) : one_to_one<Y, 1>(index, out))
             : (w210 ? one_to_one<W, 0>(index, out) : one_to_one<Y, 0>(index, out));
    }
    return true;
}

} // namespace tovrel
