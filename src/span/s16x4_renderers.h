// S16X4A / S16X4 span renderers: one texel is four signed 16-bit
// components in 8 bytes, all four filtered alike. Every slot positions its
// pixels in double precision (a span with x0 >= x1 writes nothing) and
// weighs exactly; results are stored as their low 16 bits, unsaturated.
#pragma once

#include "span/span_renderer.h"

namespace tovrel {

// Pair H: the samples replace the line's pixels.
extern const persp_renderer_table s16x4_persp_span_renderers;
extern const affine_renderer_table s16x4_affine_span_renderers;

// Pair I: the samples lie over the line's pixels as premultiplied alpha
// (fourth component, 4096 = opaque, unclamped): D = ((D (4096 - a)) >> 12) + S.
extern const persp_renderer_table s16x4a_over_persp_span_renderers;
extern const affine_renderer_table s16x4a_over_affine_span_renderers;

renderer_table_pair s16x4_span_renderers();
renderer_table_pair s16x4a_over_span_renderers();

// Scalar statements of every slot of both pairs; the SSE2 members of the
// tables above (slots 1, 2, 11, 12) match them bit for bit.
extern const persp_renderer_table s16x4_persp_span_renderers_c;
extern const affine_renderer_table s16x4_affine_span_renderers_c;
extern const persp_renderer_table s16x4a_over_persp_span_renderers_c;
extern const affine_renderer_table s16x4a_over_affine_span_renderers_c;

} // namespace tovrel
