// Instantiation of the 4:2:2 kernels from one walk with policy and kind types.
#include "rect/rect_pair.h"

#include <array>
#include <tuple>
#include <utility>

#include <tovrel.h>

#include "rect/rect_pair_walk.h"

namespace tovrel {
namespace {

using rect::dst_alpha_rule;
using rect::pair_kind;
using rect::rect_policy;
using rect::src_alpha_rule;
using rect::src_kind;
constexpr auto src_none = src_alpha_rule::none;
constexpr auto src_straight = src_alpha_rule::straight;
constexpr auto src_premul = src_alpha_rule::premul;
constexpr auto dst_none = dst_alpha_rule::none;
constexpr auto dst_straight = dst_alpha_rule::straight;
constexpr auto dst_premul = dst_alpha_rule::premul;

// In the order of pair_kernel_index.
using pair_policies = std::tuple<
    rect_policy<src_none, dst_none, false>, rect_policy<src_none, dst_none, true>,
    rect_policy<src_none, dst_straight, false>, rect_policy<src_none, dst_premul, false>,
    rect_policy<src_none, dst_straight, true>, rect_policy<src_none, dst_premul, true>,
    rect_policy<src_straight, dst_none, false>, rect_policy<src_premul, dst_none, false>,
    rect_policy<src_straight, dst_straight, false>, rect_policy<src_premul, dst_premul, false>,
    rect_policy<src_straight, dst_straight, true>, rect_policy<src_premul, dst_premul, true>>;
static_assert(std::tuple_size_v<pair_policies> == pair_kernel_count, "one policy per kernel");

template <size_t I>
using policy_at = std::tuple_element_t<I, pair_policies>;

template <src_kind S, class D, size_t I>
using kind_at = pair_kind<S, D, policy_at<I>::src>;

// The kernel of one role shape (1, 2, or 0 for any).
template <src_kind S, class D, size_t I, int Shape>
constexpr rect_kernel kernel() {
    using K = kind_at<S, D, I>;
    return &rect::pair_kernel<K, policy_at<I>, Shape, rect::vblend_set_c<K>>;
}

template <src_kind S, class D, size_t I>
rect_kernel_set set_of() {
    using P = policy_at<I>;
    rect_kernel_set set =
        rect_uniform_set(kernel<S, D, I, 0>(), P::src != src_none, P::dst != dst_none);
    if constexpr (I == pair_plain) {
        // rect_*_row1 and rect_*_row2 on whole and partial lines; rect_*_rows
        // for three and more rows.
        for (int32_t base : {int32_t{0}, int32_t{rect_role_count}}) {
            set.slots[size_t(base + rect_role_row1)] = kernel<S, D, I, 1>();
            set.slots[size_t(base + rect_role_row2)] = kernel<S, D, I, 2>();
        }
    }
    set.line_pixels = kind_at<S, D, I>::capacity;
    return set;
}

template <src_kind S, class D, size_t... I>
constexpr std::array<rect_kernel_set (*)(), pair_kernel_count> sets(std::index_sequence<I...>) {
    return {&set_of<S, D, I>...};
}

constexpr auto yuy2_sets =
    sets<src_kind::yuy2, rect::yuy2_format>(std::make_index_sequence<pair_kernel_count>{});
constexpr auto w210_sets =
    sets<src_kind::w210, rect::w210_format>(std::make_index_sequence<pair_kernel_count>{});
constexpr auto yuvq_yuy2_sets =
    sets<src_kind::yuvq, rect::yuy2_format>(std::make_index_sequence<pair_kernel_count>{});
constexpr auto yuvq_w210_sets =
    sets<src_kind::yuvq, rect::w210_format>(std::make_index_sequence<pair_kernel_count>{});

// The 1:1 tiled yuvq kernels (x_step 4096, y_step 2048) for the whole-line
// roles named: two-row into YUY2, one- and two-row into W210.
template <src_kind S, class D, size_t I>
void one_to_one(rect_kernel_set *set, bool row1) {
    if (row1) set->slots[rect_role_row1] = kernel<S, D, I, 1>();
    set->slots[rect_role_row2] = kernel<S, D, I, 2>();
}

} // namespace

bool rect_pair_kernels(uint8_t src_format, uint8_t dst_format, int32_t index, const rect_choice &c,
                       rect_kernel_set *out) {
    if (index < 0 || index >= pair_kernel_count) return false;
    const size_t i = size_t(index);
    switch (src_format) {
    case TOVREL_FORMAT_YUY2:
        *out = yuy2_sets[i]();
        return true;
    case TOVREL_FORMAT_W210:
        *out = w210_sets[i]();
        return true;
    case TOVREL_FORMAT_YUVQ:
        break;
    default:
        return false;
    }
    if (index < paira_to_alpha_straight) return false;
    const bool w210 = dst_format == TOVREL_FORMAT_W210;
    *out = w210 ? yuvq_w210_sets[i]() : yuvq_yuy2_sets[i]();
    if (c.x_step == 4096 && c.y_step == 2048) {
        constexpr auto yq = src_kind::yuvq;
        using Y = rect::yuy2_format;
        using W = rect::w210_format;
        if (index == paira_to_alpha_straight_tile)
            w210 ? one_to_one<yq, W, paira_to_alpha_straight_tile>(out, true)
                 : one_to_one<yq, Y, paira_to_alpha_straight_tile>(out, false);
        if (index == paira_to_alpha_premul_tile)
            w210 ? one_to_one<yq, W, paira_to_alpha_premul_tile>(out, true)
                 : one_to_one<yq, Y, paira_to_alpha_premul_tile>(out, false);
    }
    return true;
}

} // namespace tovrel
