// SIMD forms of the packed RGBQ members (slots 1-4, 6, 11). Each matches
// rgbq_member<Slot> (packed kind) of rgbq_traits.h bit for bit.
#pragma once

#include "span/span_renderer.h"

namespace tovrel::span {

// Defined for the packed slots only (explicit instantiations).
template <int Slot>
struct rgbq_sse2_member {
    static persp_span_fn persp;
    static affine_span_fn affine;
};

template <int Slot>
struct rgbq_avx2_member {
    static persp_span_fn persp;
    static affine_span_fn affine;
};

} // namespace tovrel::span
