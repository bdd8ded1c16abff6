// SSE2 tables of the 4:2:2 families: the packed slots from
// pair_packed_kernel.h, the scalar slots from the sampling statement.
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

namespace tovrel::span {
namespace {

struct isa_sse2 {
    static constexpr bool avx2 = false;
};

// The position walk first, then the pair kernel that uses it.
#include "span/rgbq_packed_kernel.h"
// (keep after the walk)
#include "span/pair_packed_kernel.h"

// Every slot has a SIMD member of its own kind.
template <int Slot>
struct yuy2_sse2_slot : pair_packed_members<isa_sse2, yuy2_traits, Slot, pair_kinds<true>[Slot]> {};
template <int Slot>
struct w210_sse2_slot
    : pair_packed_members<isa_sse2, w210_traits, Slot, pair_kinds<false>[Slot]> {};

static_assert(members_complete<yuy2_sse2_slot>() && members_complete<w210_sse2_slot>());

} // namespace

struct yuy2_sse2_set {
    template <int Slot>
    using members = yuy2_sse2_slot<Slot>;
};
struct w210_sse2_set {
    template <int Slot>
    using members = w210_sse2_slot<Slot>;
};

} // namespace tovrel::span

#include "span/simd_member_def.h"

namespace tovrel::span {

// The members the AVX2 tables share (pair_pixel_at_a_time).
template struct simd_member<yuy2_sse2_set, 0>;
template struct simd_member<w210_sse2_set, 0>;
template struct simd_member<w210_sse2_set, 10>;
template struct simd_member<w210_sse2_set, 15>;
template struct simd_member<w210_sse2_set, 18>;
template struct simd_member<w210_sse2_set, 20>;

} // namespace tovrel::span

namespace tovrel {

constinit const persp_renderer_table yuy2_persp_span_renderers =
    span::make_persp_table<span::yuy2_sse2_slot>();
constinit const affine_renderer_table yuy2_affine_span_renderers =
    span::make_affine_table<span::yuy2_sse2_slot>();
constinit const persp_renderer_table w210_persp_span_renderers =
    span::make_persp_table<span::w210_sse2_slot>();
constinit const affine_renderer_table w210_affine_span_renderers =
    span::make_affine_table<span::w210_sse2_slot>();

} // namespace tovrel
