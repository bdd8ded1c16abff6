// SSE2 forms of the small S16X4A / S16X4 footprints (slots 1, 2, 11, 12),
// pair H (Over false) and pair I (Over true). Each matches the scalar member
// of s16x4_traits.h bit for bit.
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
    return slot == 1 || slot == 2 || slot == 11 || slot == 12;
}

} // namespace tovrel::span
