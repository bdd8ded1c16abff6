// RGBQ span renderers: one texel is four 8-bit channels in one 32-bit unit,
// all four filtered alike and written back in memory order.
#pragma once

#include "span/span_renderer.h"

namespace tovrel {

// The tables the polygon driver reads, indexed by footprint slot. Slots 1-4,
// 6 and 11 are the packed members (single-precision positions with the
// approximate reciprocal, 16-bit multiply-adds); the other slots are
// scalar members (double-precision positions, exact integer division).
// Slots 1-20 run as SSE2 code, slot 0 as plain C.
extern const persp_renderer_table rgbq_persp_span_renderers;
extern const affine_renderer_table rgbq_affine_span_renderers;

// The pair to use on this processor (isa_best(): AVX2, SSE2 or the scalar
// statements).
renderer_table_pair rgbq_span_renderers();

// Scalar statements of every slot: the packed slots hold the plain C
// reference of their packed arithmetic (same approximate reciprocal, same
// 16-bit index and saturation rules); the other slots hold the same scalar
// members as the tables above. Every SIMD member must match these bit for
// bit.
extern const persp_renderer_table rgbq_persp_span_renderers_c;
extern const affine_renderer_table rgbq_affine_span_renderers_c;

// AVX2 forms of slots 1-20 (slot 0 as above), and whether this processor
// can run them.
extern const persp_renderer_table rgbq_persp_span_renderers_avx2;
extern const affine_renderer_table rgbq_affine_span_renderers_avx2;
bool rgbq_avx2_supported();

// True for the slots whose members use the packed 16-bit arithmetic.
bool rgbq_slot_is_packed(int slot);

} // namespace tovrel
