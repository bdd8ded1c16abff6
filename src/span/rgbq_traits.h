// RGBQ texel layout, member kinds and normalisation for the sampling
// templates of span_sampling.h.
#pragma once

#include <cstring>

#include "span/span_sampling.h"

namespace tovrel::span {

// Slots 1-4, 6 and 11 are packed; everything else (point sampling and the
// larger footprints) is scalar.
inline constexpr std::array<member_kind, footprint_count> rgbq_kinds = [] {
    std::array<member_kind, footprint_count> k{};
    for (int s : {1, 2, 3, 4, 6, 11}) k[s] = member_kind::packed;
    return k;
}();

// Packed normalisation per slot: T = 16384 * W * H, or 49152 * W for the
// doubled half rows of height 1.5. Powers of two shift; 49152 (slots 3 and
// 6) shifts by 10 and multiplies high by 1365 = round(65536 / 48).
template <int Slot>
constexpr packed_scale rgbq_packed_scale() {
    constexpr int32_t t = footprint<Slot>::total_packed;
    if constexpr ((t & (t - 1)) == 0) {
        return {t / 2, __builtin_ctz(t), 0};
    } else {
        static_assert(t == 49152, "RGBQ packed members use T = 49152 only");
        return {t / 2, 10, 1365};
    }
}

struct rgbq_traits {
    static constexpr int unit_shift = 2;
    using value = channels<4>;

    static value read(const uint8_t *p) { return {{p[0], p[1], p[2], p[3]}}; }
    static void copy(uint8_t *dst, const uint8_t *p) { std::memcpy(dst, p, 4); }
    static void write(uint8_t *dst, const value &v) {
        for (int i = 0; i < 4; ++i) dst[i] = static_cast<uint8_t>(v.c[i]);
    }

    // Scalar members: (R + T/2) / T exactly (R >= 0; a shift where T is a
    // power of two), low 8 bits kept (the quotient is at most 255).
    // Packed members: the shift, int16 saturation, optional multiply-high
    // and uint8 saturation of packssdw / pmulhw / packuswb.
    template <int Slot, member_kind Kind>
    static value normalise(value r) {
        for (int i = 0; i < 4; ++i) {
            if constexpr (Kind == member_kind::scalar) {
                constexpr uint32_t t = static_cast<uint32_t>(footprint<Slot>::total_scalar);
                r.c[i] = static_cast<int32_t>((static_cast<uint32_t>(r.c[i]) + t / 2) / t);
            } else {
                constexpr packed_scale s = rgbq_packed_scale<Slot>();
                int32_t v = saturate_int16((r.c[i] + s.round) >> s.shift);
                if constexpr (s.k != 0) v = multiply_high(v, s.k);
                r.c[i] = saturate_uint8(v);
            }
        }
        return r;
    }
};

template <int Slot>
using rgbq_member = members<rgbq_traits, Slot, rgbq_kinds[Slot]>;

} // namespace tovrel::span
