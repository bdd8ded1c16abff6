// The YUY2 renderer tables.
#include "span/yuy2_renderers.h"

#include "diag/isa.h"
#include "span/pair_traits.h"

namespace tovrel {

constinit const persp_renderer_table yuy2_persp_span_renderers_c =
    span::make_persp_table<span::yuy2_member>();
constinit const affine_renderer_table yuy2_affine_span_renderers_c =
    span::make_affine_table<span::yuy2_member>();

static_assert(span::members_complete<span::yuy2_member>());

renderer_table_pair yuy2_span_renderers() {
    return for_best_isa<renderer_table_pair>(
        {&yuy2_persp_span_renderers_avx2, &yuy2_affine_span_renderers_avx2},
        {&yuy2_persp_span_renderers, &yuy2_affine_span_renderers},
        {&yuy2_persp_span_renderers_c, &yuy2_affine_span_renderers_c});
}

bool yuy2_slot_is_packed(int slot) {
    return slot >= 0 && slot < footprint_count &&
           span::pair_kinds<true>[slot] == span::member_kind::packed;
}

} // namespace tovrel
