// YUY2 and W210 texel layouts, member kinds and normalisation for the
// 4:2:2 pair walk of span_sampling.h. Both families share one statement;
// they differ in the sample type (8-bit bytes or signed 16-bit words), the
// sums, the store and a few normalisation constants.
#pragma once

#include <algorithm>
#include <cstring>
#include <type_traits>

#include "span/span_sampling.h"

namespace tovrel::span {

// Point sampling and the small and middle footprints are packed; YUY2
// computes 1.5 x 8, 2.0 x 8 and every 4-row box wider than one column in
// scalar code, W210 keeps 4.0 x 2 and 4.0 x 4 packed as well.
template <bool EightBit>
inline constexpr std::array<member_kind, footprint_count> pair_kinds = [] {
    std::array<member_kind, footprint_count> k{};
    k.fill(member_kind::packed);
    for (int s : {10, 15, 18, 20}) k[s] = member_kind::scalar;
    if (EightBit)
        for (int s : {17, 19}) k[s] = member_kind::scalar;
    return k;
}();

// Packed normalisation: (R + T/2) >> log2(T) where T is a power of two;
// otherwise (R + T/2) >> s, then a multiply-high by K = round(65536 /
// (T >> s)). The 16-bit family shifts T = 49152 and slot 13's 98304 one
// bit further (K 2730 instead of 1365) so that the shifted sum of 16-bit
// samples stays in the signed 16-bit lane of pmulhw; YUY2 does the same
// for the chroma of slot 6 only.
template <int Slot, bool EightBit, bool Chroma>
constexpr packed_scale pair_packed_scale() {
    constexpr int32_t t = footprint<Slot>::total_packed;
    if constexpr ((t & (t - 1)) == 0) {
        return {t / 2, __builtin_ctz(t), 0};
    } else if constexpr (t == 49152) {
        return EightBit && !(Slot == 6 && Chroma) ? packed_scale{t / 2, 10, 1365}
                                                  : packed_scale{t / 2, 11, 2730};
    } else if constexpr (t == 98304) {
        return EightBit && Slot == 13 ? packed_scale{t / 2, 11, 1365}
                                      : packed_scale{t / 2, 12, 2730};
    } else if constexpr (t == 147456) {
        return {t / 2, 13, 3641};
    } else {
        static_assert(t == 196608, "no other packed totals");
        return {t / 2, 13, 2730};
    }
}

// Sample is uint8_t (YUY2) or int16_t (W210, every word read as signed).
template <class Sample>
struct pair_traits {
    static constexpr bool pairs = true;
    static constexpr bool eight_bit = sizeof(Sample) == 1;
    static constexpr int unit_shift = eight_bit ? 1 : 2; // one column: Y and a chroma sample
    using sample = Sample;

    // Sums: 8-bit samples stay below 2^28. 16-bit samples: the packed
    // members sum in 32-bit lanes that wrap (pmaddwd / paddd), the scalar
    // members exactly.
    template <member_kind Kind>
    using sum =
        std::conditional_t<eight_bit, int32_t,
                           std::conditional_t<Kind == member_kind::packed, uint32_t, int64_t>>;

    static int32_t load(const uint8_t *p) {
        Sample v;
        std::memcpy(&v, p, sizeof v);
        return v;
    }
    static void store(uint8_t *p, int32_t v) {
        const Sample s = static_cast<Sample>(v);
        std::memcpy(p, &s, sizeof s);
    }

    // Scalar: (R + T/2) / T exactly, truncated (R >= 0 for valid samples).
    // Packed: the wrapping 32-bit add and arithmetic shift, packssdw,
    // optional pmulhw; YUY2 then packuswb. Results fit the sample type.
    template <int Slot, member_kind Kind, bool Chroma>
    static int32_t normalise(sum<Kind> r) {
        if constexpr (Kind == member_kind::scalar) {
            constexpr int64_t t = footprint<Slot>::total_scalar;
            const int64_t q = (static_cast<int64_t>(r) + t / 2) / t;
            return static_cast<int32_t>(std::clamp<int64_t>(q, -32768, 32767));
        } else {
            constexpr packed_scale s = pair_packed_scale<Slot, eight_bit, Chroma>();
            const int32_t biased =
                static_cast<int32_t>(static_cast<uint32_t>(r) + static_cast<uint32_t>(s.round));
            int32_t v = saturate_int16(biased >> s.shift);
            if constexpr (s.k != 0) v = multiply_high(v, s.k);
            return eight_bit ? saturate_uint8(v) : v;
        }
    }
};

using yuy2_traits = pair_traits<uint8_t>;
using w210_traits = pair_traits<int16_t>;

template <int Slot>
using yuy2_member = members<yuy2_traits, Slot, pair_kinds<true>[Slot]>;
template <int Slot>
using w210_member = members<w210_traits, Slot, pair_kinds<false>[Slot]>;

} // namespace tovrel::span
