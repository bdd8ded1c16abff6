// AVX2 tables of the 4:2:2 families, chosen at run time when the
// processor has AVX2: the same slots and kinds as the SSE2 tables, from
// the same kernel, with the SSE2 members of the slots that render one
// pixel at a time (pair_pixel_at_a_time). Everything between avx2_begin.h
// and avx2_end.h is compiled for AVX2 and private to this file; the shared
// templates included above it (the table wrappers among them) stay
// baseline code.
#include <immintrin.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <type_traits>

#include "span/pair_packed_simd.h"
#include "span/pair_traits.h"
#include "span/rgbq_traits.h"
#include "span/w210_renderers.h"
#include "span/yuy2_renderers.h"

#include "span/avx2_begin.h"

namespace tovrel::span {
namespace {

struct isa_avx2 {
    static constexpr bool avx2 = true;
};

// The position walk first, then the pair kernel that uses it.
#include "span/rgbq_packed_kernel.h"
// (keep after the walk)
#include "span/pair_packed_kernel.h"

// Eight pixels a step where the member renders groups of pixels; the SSE2
// member where it renders one pixel at a time.
template <class Traits, class Sse2, int Slot>
using avx2_member = std::conditional_t<
    pair_pixel_at_a_time<Traits, Slot>, simd_member<Sse2, Slot>,
    pair_packed_members<isa_avx2, Traits, Slot, pair_kinds<Traits::eight_bit>[Slot]>>;
template <class Traits, int Slot>
constexpr bool groups_match() {
    using member_span =
        pair_packed_span<isa_avx2, Traits, Slot, pair_kinds<Traits::eight_bit>[Slot]>;
    return pair_pixel_at_a_time<Traits, Slot> ==
           !(member_span::whole_pairs || member_span::wide_pairs);
}

template <int Slot>
struct yuy2_avx2_slot : avx2_member<yuy2_traits, yuy2_sse2_set, Slot> {
    static_assert(groups_match<yuy2_traits, Slot>());
};
template <int Slot>
struct w210_avx2_slot : avx2_member<w210_traits, w210_sse2_set, Slot> {
    static_assert(groups_match<w210_traits, Slot>());
};

static_assert(members_complete<yuy2_avx2_slot>() && members_complete<w210_avx2_slot>());

} // namespace
} // namespace tovrel::span

#include "span/avx2_end.h"

namespace tovrel {

constinit const persp_renderer_table yuy2_persp_span_renderers_avx2 =
    span::make_persp_table<span::yuy2_avx2_slot>();
constinit const affine_renderer_table yuy2_affine_span_renderers_avx2 =
    span::make_affine_table<span::yuy2_avx2_slot>();
constinit const persp_renderer_table w210_persp_span_renderers_avx2 =
    span::make_persp_table<span::w210_avx2_slot>();
constinit const affine_renderer_table w210_affine_span_renderers_avx2 =
    span::make_affine_table<span::w210_avx2_slot>();

} // namespace tovrel
