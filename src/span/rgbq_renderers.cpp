// The RGBQ renderer tables: scalar statements of every slot, their SSE2
// and AVX2 forms, and the choice between instruction sets.
#include "span/rgbq_renderers.h"

#include <type_traits>

#include "diag/isa.h"
#include "span/rgbq_packed_simd.h"
#include "span/rgbq_traits.h"

namespace tovrel {
namespace {

using span::member_kind;
using span::rgbq_kinds;

template <int Slot>
struct sse2_slot : std::conditional_t<span::rgbq_has_simd(Slot), span::rgbq_sse2_member<Slot>,
                                      span::rgbq_member<Slot>> {};

template <int Slot>
struct avx2_slot : std::conditional_t<span::rgbq_has_simd(Slot), span::rgbq_avx2_member<Slot>,
                                      span::rgbq_member<Slot>> {};

} // namespace

constinit const persp_renderer_table rgbq_persp_span_renderers_c =
    span::make_persp_table<span::rgbq_member>();
constinit const affine_renderer_table rgbq_affine_span_renderers_c =
    span::make_affine_table<span::rgbq_member>();
constinit const persp_renderer_table rgbq_persp_span_renderers =
    span::make_persp_table<sse2_slot>();
constinit const affine_renderer_table rgbq_affine_span_renderers =
    span::make_affine_table<sse2_slot>();
constinit const persp_renderer_table rgbq_persp_span_renderers_avx2 =
    span::make_persp_table<avx2_slot>();
constinit const affine_renderer_table rgbq_affine_span_renderers_avx2 =
    span::make_affine_table<avx2_slot>();

static_assert(span::members_complete<span::rgbq_member>());
static_assert(span::members_complete<sse2_slot>());
static_assert(span::members_complete<avx2_slot>());

bool rgbq_avx2_supported() {
#if defined(__x86_64__) || defined(__i386__)
    static const bool supported = [] {
        __builtin_cpu_init();
        return __builtin_cpu_supports("avx2") != 0;
    }();
    return supported;
#else
    return false;
#endif
}

renderer_table_pair rgbq_span_renderers() {
    return for_best_isa<renderer_table_pair>(
        {&rgbq_persp_span_renderers_avx2, &rgbq_affine_span_renderers_avx2},
        {&rgbq_persp_span_renderers, &rgbq_affine_span_renderers},
        {&rgbq_persp_span_renderers_c, &rgbq_affine_span_renderers_c});
}

bool rgbq_slot_is_packed(int slot) {
    return slot >= 0 && slot < footprint_count && rgbq_kinds[slot] == member_kind::packed;
}

} // namespace tovrel
