// SSE2 forms of the S16X4A / S16X4 footprints whose weights total a power
// of two (every whole-height slot but 3, 13 and 18), pair H (Over false)
// and pair I (Over true). Each matches the scalar member of s16x4_traits.h
// bit for bit.
#pragma once

#include "span/span_renderer.h"

namespace tovrel::span {

// Defined for those slots only (explicit instantiations).
template <int Slot, bool Over>
struct s16x4_sse2_member {
    static persp_span_fn persp;
    static affine_span_fn affine;
};

inline constexpr bool s16x4_has_sse2(int slot) {
    return slot > 0 && slot != 3 && slot != 13 && slot != 18 && (slot - 1) / 5 != 1;
}

} // namespace tovrel::span
