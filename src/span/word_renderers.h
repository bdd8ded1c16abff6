// 16-bit word span renderers: one unsigned 16-bit sample per texel, for
// word planes and for the w12b alpha planes of the colour-plus-alpha
// renderers. The range limits of the packed members are stated in
// tovrel.h beside TOVREL_FORMAT_WORD.
#pragma once

#include "span/span_renderer.h"

namespace tovrel {

// The tables the polygon driver reads, indexed by footprint slot. Packed
// slots (1, 2, 6, 10, 11, 12, 13, 15-20) add samples in 16-bit lanes and
// use the approximate reciprocal; the others are scalar members (double
// precision positions, exact integer normalisation).
extern const persp_renderer_table word_persp_span_renderers;
extern const affine_renderer_table word_affine_span_renderers;

// The pair to use on this processor.
renderer_table_pair word_span_renderers();

// Scalar statements of every slot; every SIMD member matches them bit for
// bit.
extern const persp_renderer_table word_persp_span_renderers_c;
extern const affine_renderer_table word_affine_span_renderers_c;

// True for the slots whose members use the packed 16-bit arithmetic.
bool word_slot_is_packed(int slot);

// Samples of a word texture must lie below this for slot s to filter as
// stated (tovrel.h): 65536 in the scalar slots, 32768 to 5461 in the packed
// ones. Every slot takes a w12b alpha plane (0..4096).
inline constexpr uint32_t word_sample_limit[footprint_count] = {
    65536, 32768, 16384, 65536, 65536, 65536, 5461, 65536, 65536, 65536, 5461,
    16384, 8192,  5461,  65536, 8192,  8192,  8192, 5461,  8192,  8192};

} // namespace tovrel
