// SIMD forms of the RGBQ members of slots 1-20, of either kind. Each
// matches rgbq_member<Slot> of rgbq_traits.h bit for bit.
#pragma once

#include "span/simd_member.h"

namespace tovrel::span {

// Defined for slots 1-20 (explicit instantiations in rgbq_packed_sse2.cpp
// and rgbq_packed_avx2.cpp); slot 0, a plain copy, has none.
inline constexpr bool rgbq_has_simd(int slot) {
    return slot > 0;
}
struct rgbq_sse2_set;
struct rgbq_avx2_set;
template <int Slot>
using rgbq_sse2_member = simd_member<rgbq_sse2_set, Slot>;
template <int Slot>
using rgbq_avx2_member = simd_member<rgbq_avx2_set, Slot>;

// RGBQ + alpha (pair E) in one loop for the slots packed in both families
// (1, 2, 6, 11): bit for bit the RGBQ member of the same instruction set,
// then word_sse2_member<Slot> on the alpha plane (texture_ref::alpha into
// span_rows::alpha).
inline constexpr bool rgbq_alpha_fused(int slot) {
    return slot == 1 || slot == 2 || slot == 6 || slot == 11;
}

struct rgbq_alpha_sse2_set;
struct rgbq_alpha_avx2_set;
template <int Slot>
using rgbq_alpha_sse2_member = simd_member<rgbq_alpha_sse2_set, Slot>;
template <int Slot>
using rgbq_alpha_avx2_member = simd_member<rgbq_alpha_avx2_set, Slot>;

} // namespace tovrel::span
