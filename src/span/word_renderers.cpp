// The word renderer tables: scalar statements of every slot and the
// choice between instruction sets.
#include "span/word_renderers.h"

#include <type_traits>

#include "span/word_packed_simd.h"
#include "span/word_traits.h"

namespace tovrel {

using span::member_kind;
using span::word_kinds;

namespace {
template <int Slot>
struct sse2_slot : std::conditional_t<span::word_has_sse2(Slot), span::word_sse2_member<Slot>,
                                      span::word_member<Slot>> {};
} // namespace

constinit const persp_renderer_table word_persp_span_renderers_c =
    span::make_persp_table<span::word_member>();
constinit const affine_renderer_table word_affine_span_renderers_c =
    span::make_affine_table<span::word_member>();
constinit const persp_renderer_table word_persp_span_renderers =
    span::make_persp_table<sse2_slot>();
constinit const affine_renderer_table word_affine_span_renderers =
    span::make_affine_table<sse2_slot>();

static_assert(span::members_complete<span::word_member>());
static_assert(span::members_complete<sse2_slot>());

renderer_table_pair word_span_renderers() {
    return {&word_persp_span_renderers, &word_affine_span_renderers};
}

bool word_slot_is_packed(int slot) {
    return slot >= 0 && slot < footprint_count && word_kinds[slot] == member_kind::packed;
}

} // namespace tovrel
