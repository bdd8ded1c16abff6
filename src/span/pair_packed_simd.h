// The SSE2 members of the 4:2:2 tables that their AVX2 tables share.
#pragma once

#include "span/pair_traits.h"
#include "span/simd_member.h"

namespace tovrel::span {

// Slots whose members render one pixel at a time through the sampler:
// point sampling, and W210's scalar-kind footprints (exact 64-bit sums).
// Eight pixels a step widens nothing there, and the AVX2 forms measured
// no faster, so the AVX2 tables hold the SSE2 members of these slots
// (explicit instantiations in pair_packed_sse2.cpp).
template <class Traits, int Slot>
inline constexpr bool pair_pixel_at_a_time = Slot == 0 ||
                                             (!Traits::eight_bit &&
                                              pair_kinds<false>[Slot] == member_kind::scalar);

struct yuy2_sse2_set;
struct w210_sse2_set;

} // namespace tovrel::span
