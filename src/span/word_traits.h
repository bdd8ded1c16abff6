// 16-bit word texel layout, member kinds, pre-shifts and normalisation for
// the sampling templates of span_sampling.h. Alpha planes (w12b, 0..4096)
// are sampled by the same members.
#pragma once

#include <cstring>

#include "span/span_sampling.h"

namespace tovrel::span {

// Packed: 1, 2, 6, 10, 11, 12, 13 and 15-20; scalar: point sampling and
// 3, 4, 5, 7, 8, 9, 14.
inline constexpr std::array<member_kind, footprint_count> word_kinds = [] {
    std::array<member_kind, footprint_count> k{};
    for (int s : {1, 2, 6, 10, 11, 12, 13, 15, 16, 17, 18, 19, 20}) k[s] = member_kind::packed;
    return k;
}();

// Right shift of the packed members' 16-bit partial sums before they are
// weighted, and where it is applied: to each row's column sums before the
// rows are combined (slots 10, 15, 19, 20), or to the combined row sets
// (17, 18). Shifting per row keeps every partial sum of a uniform 4096
// (an opaque alpha plane) inside the lanes: in slot 20 a row of eight
// samples sums to 32768 and, shifted by 3, to 4096, four rows to 16384;
// summing the 32 samples first would reach 131072. Slot 20's shift by 1
// and then by 2 is one shift by 3 (both logical).
inline constexpr std::array<int, footprint_count> word_preshift = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 2,
                                                                   0, 0, 0, 0, 2, 0, 1, 1, 2, 3};
inline constexpr std::array<bool, footprint_count> word_preshift_per_row = [] {
    std::array<bool, footprint_count> k{};
    for (int s : {10, 15, 19, 20}) k[s] = true;
    return k;
}();

// The 16-bit lanes of the packed members: sums wrap modulo 65536, the
// pre-shift is logical, and a multiply-add operand is the lane read as
// int16 (a sum of 32768 or more turns negative).
template <int Slot>
struct word_stage {
    static constexpr int row_shift = word_preshift_per_row[Slot] ? word_preshift[Slot] : 0;
    static constexpr int set_shift = word_preshift_per_row[Slot] ? 0 : word_preshift[Slot];
    static int64_t row(int64_t v) { return (v & 0xFFFF) >> row_shift; }
    static int64_t rows(int64_t v) { return static_cast<int16_t>((v & 0xFFFF) >> set_shift); }
};

// Packed normalisation: total T' = T >> pre-shift. Powers of two shift;
// T' = 49152 (slot 6) and 98304 (10, 13, 18) shift down to 6 and multiply
// high by 10923 = round(65536 / 6).
template <int Slot>
constexpr packed_scale word_packed_scale() {
    constexpr int32_t t = footprint<Slot>::total_packed >> word_preshift[Slot];
    if constexpr ((t & (t - 1)) == 0) {
        return {t / 2, __builtin_ctz(t), 0};
    } else {
        static_assert(t == 49152 || t == 98304, "word packed members divide by 6 * 2^s");
        return {t / 2, __builtin_ctz(t) - 1, 10923};
    }
}

struct word_traits {
    static constexpr int unit_shift = 1;
    // Scalar sums reach 65535 * 131072: 64 bits.
    using value = int64_t;
    template <int Slot>
    using partial_stage = word_stage<Slot>;

    static value read(const uint8_t *p) {
        uint16_t w;
        std::memcpy(&w, p, 2);
        return w;
    }
    static void copy(uint8_t *dst, const uint8_t *p) { std::memcpy(dst, p, 2); }
    // The low 16 bits of the normalised sum; no saturation.
    static void write(uint8_t *dst, value v) {
        const uint16_t w = static_cast<uint16_t>(v);
        std::memcpy(dst, &w, 2);
    }

    // Scalar members: (R + T/2) / T exactly for R >= 0, as a shift by the
    // power of two in T and a 32-bit division by its odd part (3 or 9).
    // Packed members: (R' + T'/2) >> s (|R'| < 2^30, the result within
    // int16), then for T' = 6 * 2^s the int16 saturation of packssdw and
    // pmulhw by 10923.
    template <int Slot, member_kind Kind>
    static value normalise(value r) {
        if constexpr (Kind == member_kind::scalar) {
            constexpr uint64_t t = static_cast<uint64_t>(footprint<Slot>::total_scalar);
            constexpr int z = __builtin_ctzll(t);
            return static_cast<uint32_t>((static_cast<uint64_t>(r) + t / 2) >> z) /
                   static_cast<uint32_t>(t >> z);
        } else {
            constexpr packed_scale s = word_packed_scale<Slot>();
            int32_t v = (static_cast<int32_t>(r) + s.round) >> s.shift;
            if constexpr (s.k != 0) v = multiply_high(saturate_int16(v), s.k);
            return v;
        }
    }
};

template <int Slot>
using word_member = members<word_traits, Slot, word_kinds[Slot]>;

} // namespace tovrel::span
