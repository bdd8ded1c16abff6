// S16X4A / S16X4 texel layout and normalisation for the sampling templates
// of span_sampling.h: four signed 16-bit components per 8-byte texel, every
// member scalar (double-precision positions, exact integer weights).
#pragma once

#include <cstring>

#include "span/span_sampling.h"

namespace tovrel::span {

// Four channel sums modulo 2^32. The weighted sums of the large footprints
// overflow 32 bits with large components (|t| <= 32768, T up to 2^19); the
// sum is defined as that value modulo 2^32 read as signed, so the lanes are
// unsigned and the order of accumulation does not matter.
struct wrapping4 {
    std::array<uint32_t, 4> c{};
    friend wrapping4 operator+(wrapping4 a, const wrapping4 &b) {
        for (int i = 0; i < 4; ++i) a.c[i] += b.c[i];
        return a;
    }
    friend wrapping4 operator*(int32_t w, wrapping4 a) {
        for (int i = 0; i < 4; ++i) a.c[i] *= static_cast<uint32_t>(w);
        return a;
    }
};

// (R + T/2) / T of one slot on the signed reading of the wrapped sum R:
// an arithmetic shift where T is a power of two, a signed division
// truncating toward zero where T holds a factor 3 (slots 3, 6-10, 13, 18),
// and for slots 15 and 20 (width 8, height 2 or 4) a logical shift of the
// unsigned sum, kept as it is: a negative sum there gives a large positive
// result (an all -1 texture stores 16383 in slot 15, 8191 in slot 20).
// Every result lies in [-32768, 32767]:
// |R| < 2^31 and T >= 16384, and a sum that does not wrap is a weighted
// mean of 16-bit values.
template <int Slot>
inline int32_t s16x4_normalise(uint32_t r) {
    constexpr uint32_t t = static_cast<uint32_t>(footprint<Slot>::total_scalar);
    constexpr int shift = __builtin_ctz(t);
    const uint32_t sum = r + t / 2;
    if constexpr (Slot == 15 || Slot == 20)
        return static_cast<int32_t>(sum >> shift);
    else if constexpr ((t & (t - 1)) == 0)
        return static_cast<int32_t>(sum) >> shift;
    else
        return static_cast<int32_t>(sum) / static_cast<int32_t>(t);
}

// Over: the result lies over the line pixel as premultiplied alpha on the
// 4096 scale, D = ((D * (4096 - a)) >> 12) + S for all four components (the
// fourth's S is a itself). a is not clamped: k = 4096 - a lies in
// [-28671, 36864], |D * k| < 1.21e9, and the sum is stored as its low 16
// bits like the copy.
template <bool Over>
struct s16x4_traits {
    static constexpr int unit_shift = 3;
    using value = wrapping4;

    static value read(const uint8_t *p) {
        int16_t t[4];
        std::memcpy(t, p, 8);
        value v;
        for (int i = 0; i < 4; ++i) v.c[i] = static_cast<uint32_t>(int32_t{t[i]});
        return v;
    }
    // Low 16 bits of each result (normalised results, or texels from copy).
    static void write(uint8_t *dst, const value &v) {
        int16_t out[4];
        if constexpr (Over) {
            std::memcpy(out, dst, 8);
            const int32_t k = 4096 - int32_t{static_cast<int16_t>(v.c[3])};
            for (int i = 0; i < 4; ++i)
                out[i] = static_cast<int16_t>(((out[i] * k) >> 12) +
                                              int32_t{static_cast<int16_t>(v.c[i])});
        } else {
            for (int i = 0; i < 4; ++i) out[i] = static_cast<int16_t>(v.c[i]);
        }
        std::memcpy(dst, out, 8);
    }
    static void copy(uint8_t *dst, const uint8_t *p) {
        if constexpr (Over)
            write(dst, read(p));
        else
            std::memcpy(dst, p, 8);
    }

    template <int Slot, member_kind Kind>
    static value normalise(value r) {
        static_assert(Kind == member_kind::scalar);
        for (int i = 0; i < 4; ++i) r.c[i] = static_cast<uint32_t>(s16x4_normalise<Slot>(r.c[i]));
        return r;
    }
};

} // namespace tovrel::span
