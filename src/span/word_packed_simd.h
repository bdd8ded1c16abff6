// SIMD forms of the packed word members. Each matches word_member<Slot>
// (packed kind) of word_traits.h bit for bit.
#pragma once

#include "span/span_renderer.h"

namespace tovrel::span {

// Slots with an SSE2 form: every packed one.
inline constexpr bool word_has_sse2(int slot) {
    return slot == 1 || slot == 2 || slot == 6 || slot == 10 || (slot >= 11 && slot <= 13) ||
           slot >= 15;
}

// Defined for those slots only (explicit instantiations).
template <int Slot>
struct word_sse2_member {
    static persp_span_fn persp;
    static affine_span_fn affine;
};

} // namespace tovrel::span
