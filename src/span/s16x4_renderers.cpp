// The S16X4A / S16X4 renderer tables, pairs H and I.
#include "span/s16x4_renderers.h"

#include "span/s16x4_traits.h"

namespace tovrel {

constinit const persp_renderer_table s16x4_persp_span_renderers =
    span::make_persp_table<span::s16x4_member>();
constinit const affine_renderer_table s16x4_affine_span_renderers =
    span::make_affine_table<span::s16x4_member>();
constinit const persp_renderer_table s16x4a_over_persp_span_renderers =
    span::make_persp_table<span::s16x4a_over_member>();
constinit const affine_renderer_table s16x4a_over_affine_span_renderers =
    span::make_affine_table<span::s16x4a_over_member>();

static_assert(span::members_complete<span::s16x4_member>());
static_assert(span::members_complete<span::s16x4a_over_member>());

renderer_table_pair s16x4_span_renderers() {
    return {&s16x4_persp_span_renderers, &s16x4_affine_span_renderers};
}

renderer_table_pair s16x4a_over_span_renderers() {
    return {&s16x4a_over_persp_span_renderers, &s16x4a_over_affine_span_renderers};
}

} // namespace tovrel
