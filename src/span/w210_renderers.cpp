// The W210 renderer tables.
#include "span/w210_renderers.h"

#include "diag/isa.h"
#include "span/pair_traits.h"

namespace tovrel {

constinit const persp_renderer_table w210_persp_span_renderers_c =
    span::make_persp_table<span::w210_member>();
constinit const affine_renderer_table w210_affine_span_renderers_c =
    span::make_affine_table<span::w210_member>();

static_assert(span::members_complete<span::w210_member>());

renderer_table_pair w210_span_renderers() {
    return for_best_isa<renderer_table_pair>(
        {&w210_persp_span_renderers_avx2, &w210_affine_span_renderers_avx2},
        {&w210_persp_span_renderers, &w210_affine_span_renderers},
        {&w210_persp_span_renderers_c, &w210_affine_span_renderers_c});
}

bool w210_slot_is_packed(int slot) {
    return slot >= 0 && slot < footprint_count &&
           span::pair_kinds<false>[slot] == span::member_kind::packed;
}

} // namespace tovrel
