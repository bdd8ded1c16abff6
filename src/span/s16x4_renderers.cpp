// The S16X4A / S16X4 renderer tables, pairs H and I: SSE2 members for the
// small footprints, the scalar statement everywhere else and in the _c
// tables.
#include "span/s16x4_renderers.h"

#include <type_traits>

#include "span/s16x4_simd.h"
#include "span/s16x4_traits.h"

namespace tovrel {
namespace {

template <bool Over>
struct scalar {
    template <int Slot>
    using member = span::members<span::s16x4_traits<Over>, Slot, span::member_kind::scalar>;
};

template <bool Over>
struct best {
    template <int Slot>
    struct member
        : std::conditional_t<span::s16x4_has_sse2(Slot), span::s16x4_sse2_member<Slot, Over>,
                             typename scalar<Over>::template member<Slot>> {};
};

} // namespace

constinit const persp_renderer_table s16x4_persp_span_renderers =
    span::make_persp_table<best<false>::member>();
constinit const affine_renderer_table s16x4_affine_span_renderers =
    span::make_affine_table<best<false>::member>();
constinit const persp_renderer_table s16x4a_over_persp_span_renderers =
    span::make_persp_table<best<true>::member>();
constinit const affine_renderer_table s16x4a_over_affine_span_renderers =
    span::make_affine_table<best<true>::member>();

constinit const persp_renderer_table s16x4_persp_span_renderers_c =
    span::make_persp_table<scalar<false>::member>();
constinit const affine_renderer_table s16x4_affine_span_renderers_c =
    span::make_affine_table<scalar<false>::member>();
constinit const persp_renderer_table s16x4a_over_persp_span_renderers_c =
    span::make_persp_table<scalar<true>::member>();
constinit const affine_renderer_table s16x4a_over_affine_span_renderers_c =
    span::make_affine_table<scalar<true>::member>();

static_assert(span::members_complete<best<false>::member>());
static_assert(span::members_complete<best<true>::member>());
static_assert(span::members_complete<scalar<false>::member>());
static_assert(span::members_complete<scalar<true>::member>());

renderer_table_pair s16x4_span_renderers() {
    return {&s16x4_persp_span_renderers, &s16x4_affine_span_renderers};
}

renderer_table_pair s16x4a_over_span_renderers() {
    return {&s16x4a_over_persp_span_renderers, &s16x4a_over_affine_span_renderers};
}

} // namespace tovrel
