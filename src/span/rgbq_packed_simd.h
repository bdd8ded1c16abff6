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

// RGBQ + alpha (pair E) in one loop for the slots packed in both families
// (1, 2, 6, 11): bit for bit the RGBQ member of the same instruction set,
// then word_sse2_member<Slot> on the alpha plane (texture_ref::alpha into
// span_rows::alpha).
inline constexpr bool rgbq_alpha_fused(int slot) {
    return slot == 1 || slot == 2 || slot == 6 || slot == 11;
}

template <int Slot>
struct rgbq_alpha_sse2_member {
    static persp_span_fn persp;
    static affine_span_fn affine;
};

template <int Slot>
struct rgbq_alpha_avx2_member {
    static persp_span_fn persp;
    static affine_span_fn affine;
};

} // namespace tovrel::span
