// SIMD forms of the packed word members. Each matches word_member<Slot>
// (packed kind) of word_traits.h bit for bit.
#pragma once

#include "span/simd_member.h"

namespace tovrel::span {

// Slots with an SSE2 form: every packed one.
inline constexpr bool word_has_sse2(int slot) {
    return slot == 1 || slot == 2 || slot == 6 || slot == 10 || (slot >= 11 && slot <= 13) ||
           slot >= 15;
}

// Defined for those slots only (explicit instantiations in
// word_packed_sse2.cpp).
struct word_sse2_set;
template <int Slot>
using word_sse2_member = simd_member<word_sse2_set, Slot>;

} // namespace tovrel::span
