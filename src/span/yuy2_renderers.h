// YUY2 span renderers: 8-bit 4:2:2, bytes Y0 U Y1 V; one texel column is two bytes (its Y and one
// chroma byte). Luma is filtered at each pixel's position, the U and V of a destination pair at its
// even pixel's position.
#pragma once

#include "span/span_renderer.h"

namespace tovrel {

// The SSE2 tables: packed slots in SSE2, scalar slots as below.
extern const persp_renderer_table yuy2_persp_span_renderers;
extern const affine_renderer_table yuy2_affine_span_renderers;

// The scalar statements of every slot (packed slots: the plain C form of
// their packed arithmetic). Every SIMD member matches them bit for bit.
extern const persp_renderer_table yuy2_persp_span_renderers_c;
extern const affine_renderer_table yuy2_affine_span_renderers_c;

// The AVX2 tables, for processors with AVX2: eight pixels a step where
// the members render groups of pixels, the SSE2 members elsewhere.
extern const persp_renderer_table yuy2_persp_span_renderers_avx2;
extern const affine_renderer_table yuy2_affine_span_renderers_avx2;

// The pair to use on this processor (isa_best(): AVX2, SSE2 or the scalar
// statements).
renderer_table_pair yuy2_span_renderers();

// True for the slots whose members use the packed 16-bit arithmetic.
bool yuy2_slot_is_packed(int slot);

} // namespace tovrel
