// The sampling definition shared by every span renderer family: footprint
// geometry, the position walks of single- and double-precision members, the
// clamp and the box filter with 7-bit weights. Families supply a traits
// type (texel layout, channel count, normalisation, store) and get one
// routine per slot, kind and projection from the templates here.
//
// This is the plain statement of the arithmetic; SIMD members elsewhere
// must reproduce it bit for bit.
#pragma once

#include <emmintrin.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>
#include <utility>

#include "span/span_renderer.h"

namespace tovrel::span {

// How a member computes: `scalar` members divide in double precision per
// pixel and use exact integer weights (1.5-row boxes in 128ths of a row);
// `packed` members step single-precision positions, divide by the
// approximate reciprocal and use doubled half rows for 1.5-row boxes.
enum class member_kind : uint8_t { scalar, packed };
enum class projection : uint8_t { perspective, affine };

// Footprint of a slot: 0 is point sampling, otherwise 1 + 5 * hc + wc.
template <int Slot>
struct footprint {
    static_assert(Slot >= 0 && Slot < footprint_count);
    static constexpr bool point = Slot == 0;
    static constexpr int hc = point ? 0 : (Slot - 1) / 5;
    static constexpr int wc = point ? 0 : (Slot - 1) % 5;
    // Columns W and height in half rows (2, 3, 4, 8 for 1.0, 1.5, 2.0, 4.0).
    static constexpr int width = point ? 0 : std::array{1, 2, 3, 4, 8}[wc];
    static constexpr int half_rows = point ? 0 : std::array{2, 3, 4, 8}[hc];
    static constexpr bool one_and_half = half_rows == 3;
    static constexpr int rows = half_rows / 2; // whole heights only
    // Weight totals: 128 per column and 128 per row (whole heights); 192
    // per 1.5-row box in 128ths, 384 in doubled half rows.
    static constexpr int32_t total_scalar = 128 * width * (one_and_half ? 192 : 128 * rows);
    static constexpr int32_t total_packed = 128 * width * (one_and_half ? 384 : 128 * rows);
    // Ten times height and width, as in the benchmark labels (15x10...).
    static constexpr int height10 = half_rows * 5;
    static constexpr int width10 = width * 10;
};

// Sum of f(i) for i in [First, Last), unrolled at compile time.
template <int First, int Last, class F>
inline auto tap_sum(F f) {
    return [&]<int... I>(std::integer_sequence<int, I...>) {
        return (f(First + I) + ... + decltype(f(First))());
    }
    (std::make_integer_sequence<int, Last - First>{});
}

// One value per channel, with the arithmetic the filter needs. V is the
// sum type: int32_t for 8-bit samples (no sum can overflow), uint32_t where
// sums of 16-bit samples wrap as the 32-bit lanes of pmaddwd / paddd do
// (any order of summation gives the same bits), int64_t for exact sums.
template <int N, class V = int32_t>
struct channels {
    std::array<V, N> c{};
    friend channels operator+(channels a, const channels &b) {
        for (int i = 0; i < N; ++i) a.c[i] += b.c[i];
        return a;
    }
    friend channels operator*(int32_t w, channels a) {
        for (int i = 0; i < N; ++i) a.c[i] *= static_cast<V>(w);
        return a;
    }
};

// Position of one pixel after clamp and truncation: 16.16 texel units.
struct texel_pos {
    int32_t iu;
    int32_t iv;
};

// Single precision: a value that is not a number clamps to 0 (maxss keeps
// its second operand), then truncation toward zero (cvttss2si; values of
// 2^31 and above give INT32_MIN).
inline int32_t clamp_truncate(float u, float u_max) {
    u = u > 0.0f ? u : 0.0f;
    u = u < u_max ? u : u_max;
    return _mm_cvttss_si32(_mm_set_ss(u));
}

// Double precision. A NaN cannot come from a valid span (w stays positive);
// should one arrive it clamps to 0 so that nothing outside the texture is
// read.
inline int32_t clamp_truncate(double u, double u_max) {
    u = u > 0.0 ? u : 0.0;
    u = u < u_max ? u : u_max;
    return _mm_cvttsd_si32(_mm_set_sd(u));
}

// The processor's approximate reciprocal, relative error <= 1.5 * 2^-12,
// deliberately without a refinement step.
inline float approx_reciprocal(float w) {
    return _mm_cvtss_f32(_mm_rcp_ss(_mm_set_ss(w)));
}

// The span coefficients as the renderers receive them.
struct span_coefficients {
    float u_max, v_max, u_step, v_step, u_base, v_base, w_step, w_base;
};

// Scalar members: every pixel's position from its integer x, in double
// precision, with a true division for perspective.
template <projection P>
struct double_walk {
    const span_coefficients &k;
    texel_pos at(int32_t x) const {
        const double xd = x;
        double u = xd * k.u_step + static_cast<double>(k.u_base);
        double v = xd * k.v_step + static_cast<double>(k.v_base);
        if constexpr (P == projection::perspective) {
            const double q = 1.0 / (xd * k.w_step + static_cast<double>(k.w_base));
            u *= q;
            v *= q;
        }
        return {clamp_truncate(u, static_cast<double>(k.u_max)),
                clamp_truncate(v, static_cast<double>(k.v_max))};
    }
};

// Packed members: numerators and w evaluated at x0 in single precision,
// then stepped by one float addition per pixel.
template <projection P>
struct single_walk {
    float u_max, v_max, u_step, v_step, w_step;
    float u, v, w;
    single_walk(const span_coefficients &k, int32_t x0)
        : u_max(k.u_max), v_max(k.v_max), u_step(k.u_step), v_step(k.v_step), w_step(k.w_step) {
        const float xf = static_cast<float>(x0);
        u = xf * k.u_step + k.u_base;
        v = xf * k.v_step + k.v_base;
        w = xf * k.w_step + k.w_base;
    }
    texel_pos current() const {
        float pu = u, pv = v;
        if constexpr (P == projection::perspective) {
            const float q = approx_reciprocal(w);
            pu = u * q;
            pv = v * q;
        }
        return {clamp_truncate(pu, u_max), clamp_truncate(pv, v_max)};
    }
    void step() {
        u += u_step;
        v += v_step;
        if constexpr (P == projection::perspective) w += w_step;
    }
};

// Where the footprint's top-left texel lies and how far apart its rows are.
// Scalar members address base + cv * pitch + cu * unit. Packed members form
// the index cu + cv * (pitch >> shift) in one signed 16 x 16 multiply-add
// (pmaddwd): cu, cv and the unit pitch are taken as int16; the sum is exact
// in int32.
struct texel_origin {
    const uint8_t *p;
    ptrdiff_t row_bytes;
};

template <member_kind Kind, int UnitShift>
inline texel_origin locate(const texture_ref &t, int32_t iu, int32_t iv) {
    if constexpr (Kind == member_kind::packed) {
        const int32_t cu = static_cast<int16_t>(iu >> 16);
        const int32_t cv = static_cast<int16_t>(iv >> 16);
        const int32_t unit_pitch = static_cast<int16_t>(t.pitch >> UnitShift);
        const int32_t index = cu + cv * unit_pitch;
        return {t.base + (static_cast<ptrdiff_t>(index) << UnitShift),
                static_cast<ptrdiff_t>(unit_pitch) << UnitShift};
    } else {
        return {t.base + static_cast<ptrdiff_t>(iv >> 16) * t.pitch +
                    (static_cast<ptrdiff_t>(iu >> 16) << UnitShift),
                t.pitch};
    }
}

// The 7-bit fraction of a position: bits 9..15 (the low 9 bits of the
// 16-bit fraction are dropped). Result in [0, 127].
inline int32_t fraction7(int32_t i) {
    return (i >> 9) & 127;
}

// Staging of the packed members' partial sums (see box_filter): `row` is
// applied to each row's two column sums before the rows are combined,
// `rows` to the combined row sets before they are weighted. Families whose
// sums are exact (8-bit channels in int32) leave both alone; the 16-bit
// word family wraps and pre-shifts them there.
struct exact_sums {
    template <class V>
    static V row(V v) {
        return v;
    }
    template <class V>
    static V rows(V v) {
        return v;
    }
};

// The box filter of one footprint for every channel. tap(col, row) reads
// the texel at column cu + col, row cv + row. Rows and columns are only
// read where their weight can be non-zero for this fraction class, so the
// 1.5-row boxes read a third row only past one half.
//
//   row r:  S_r = (128 - fu) * t(0, r) + 128 * (t(1, r) + .. + t(W-1, r)) + fu * t(W, r)
//   whole H: R = (128 - fv) * S_0 + 128 * (S_1 + .. + S_H-1) + fv * S_H
//   1.5 rows, scalar (weights in 128ths of a row, total 192):
//     fv <= 64: (128 - fv) * S_0 + (64 + fv) * S_1
//     fv >  64: (128 - fv) * S_0 + 128 * S_1 + (fv - 64) * S_2
//   1.5 rows, packed (doubled half rows, total 384), f16 = iv & 65535,
//   g = ((2 * f16) & 65535) >> 9:
//     f16 <  32768: (128 - g) * (2 S_0 + S_1) + g * (S_0 + 2 S_1)
//     f16 >= 32768: (128 - g) * (S_0 + 2 S_1) + g * (2 S_1 + S_2)
//
// Packed members compute the same sum the way their 16-bit lanes do: per
// row the column sums A_r = t(0..W-1, r) and B_r = t(1..W, r), then the
// upper and lower row sets (rows 0..H-1 and 1..H, or the doubled half rows
// above), then four weight products (128 - fv or fv) * (128 - fu or fu)
// <= 16384 applied to the four set sums. `Stage` (exact_sums, or a
// family's wrapping and pre-shifting) acts on the sums between the steps.
//
// For 8-bit channels R <= 255 * T with T <= 524288, so it fits in int32.
template <int Slot, member_kind Kind, class Stage = exact_sums, class Tap>
inline auto box_filter(Tap tap, int32_t iu, int32_t iv) {
    using fp = footprint<Slot>;
    constexpr int W = fp::width;
    const int32_t fu = fraction7(iu);
    if constexpr (Kind == member_kind::packed) {
        auto a = [&](int r) { return Stage::row(tap_sum<0, W>([&](int c) { return tap(c, r); })); };
        auto b = [&](int r) {
            return Stage::row(tap_sum<1, W + 1>([&](int c) { return tap(c, r); }));
        };
        auto weigh = [&](int32_t fv, auto ua, auto ub, auto la, auto lb) {
            return (128 - fv) * (128 - fu) * Stage::rows(ua) + (128 - fv) * fu * Stage::rows(ub) +
                   fv * (128 - fu) * Stage::rows(la) + fv * fu * Stage::rows(lb);
        };
        if constexpr (!fp::one_and_half) {
            constexpr int H = fp::rows;
            const auto ia = tap_sum<1, H>(a), ib = tap_sum<1, H>(b);
            return weigh(fraction7(iv), a(0) + ia, b(0) + ib, ia + a(H), ib + b(H));
        } else {
            const int32_t f16 = iv & 65535;
            const int32_t g = ((2 * f16) & 65535) >> 9;
            const auto a0 = a(0), a1 = a(1), b0 = b(0), b1 = b(1);
            if (f16 < 32768) return weigh(g, 2 * a0 + a1, 2 * b0 + b1, a0 + 2 * a1, b0 + 2 * b1);
            return weigh(g, a0 + 2 * a1, b0 + 2 * b1, 2 * a1 + a(2), 2 * b1 + b(2));
        }
    } else {
        auto S = [&](int r) {
            auto inner = tap_sum<1, W>([&](int c) { return tap(c, r); });
            return (128 - fu) * tap(0, r) + 128 * inner + fu * tap(W, r);
        };
        if constexpr (!fp::one_and_half) {
            constexpr int H = fp::rows;
            const int32_t fv = fraction7(iv);
            return (128 - fv) * S(0) + 128 * tap_sum<1, H>(S) + fv * S(H);
        } else {
            const int32_t fv = fraction7(iv);
            if (fv <= 64) return (128 - fv) * S(0) + (64 + fv) * S(1);
            return (128 - fv) * S(0) + 128 * S(1) + (fv - 64) * S(2);
        }
    }
}

// A family's staging of slot Slot: Traits::partial_stage<Slot> where the
// family declares one, else exact sums.
template <class Traits, int Slot, class = void>
struct partial_stage_of {
    using type = exact_sums;
};
template <class Traits, int Slot>
struct partial_stage_of<Traits, Slot, std::void_t<typename Traits::template partial_stage<Slot>>> {
    using type = typename Traits::template partial_stage<Slot>;
};

// Saturation of the packed stores: packssdw (int32 -> int16), packuswb
// (int16 -> uint8), and the signed multiply-high pmulhw.
inline int32_t saturate_int16(int32_t v) {
    return v < -32768 ? -32768 : v > 32767 ? 32767 : v;
}
inline int32_t saturate_uint8(int32_t v) {
    return v < 0 ? 0 : v > 255 ? 255 : v;
}
inline int32_t multiply_high(int32_t a16, int32_t k16) {
    return (a16 * k16) >> 16;
}

// Normalisation of a packed member: (R + T/2) >> shift, saturated to int16,
// then, where the total is not a power of two, multiplied high by
// K = round(65536 / (T >> shift)).
struct packed_scale {
    int32_t round;
    int shift;
    int32_t k; // 0: none
};

// 4:2:2 families (YUY2, W210): a texel column j is one unit holding its Y
// sample and one chroma sample (U for even j, V for odd j); columns 2k and
// 2k + 1 share the U and V of pair k. Traits give `sample` (the stored
// type), `sum<Kind>` (the filter's sum type), `load(p)`, `store(p, v)` and
// `normalise<Slot, Kind, Chroma>(sum R)`.
template <class Traits>
concept pair_layout = requires {
    requires Traits::pairs;
};

template <class Traits, int Slot, member_kind Kind>
struct pair_sampler {
    static constexpr int sample_bytes = sizeof(typename Traits::sample);
    static constexpr int unit = 2 * sample_bytes; // one column
    using sum = typename Traits::template sum<Kind>;
    using fp = footprint<Slot>;

    // The Y of the column under `pos`, filtered over Y samples.
    static void luma(uint8_t *dst, const texture_ref &t, texel_pos pos) {
        const texel_origin o = locate<Kind, Traits::unit_shift>(t, pos.iu, pos.iv);
        if constexpr (fp::point) {
            std::memcpy(dst, o.p, sample_bytes);
        } else {
            auto tap = [&](int c, int r) {
                return channels<1, sum>{
                    {static_cast<sum>(Traits::load(o.p + r * o.row_bytes + c * unit))}};
            };
            const auto r = box_filter<Slot, Kind>(tap, pos.iu, pos.iv);
            Traits::store(dst, Traits::template normalise<Slot, Kind, false>(r.c[0]));
        }
    }

    // U and V at `pos`, filtered over the chroma plane that repeats pair k's
    // U (or V) in columns 2k and 2k + 1: column cu + c reads pair
    // ((cu & 1) + c) >> 1 counted from the pair of cu. The column parity is
    // bit 1 (YUY2) or bit 2 (W210) of the texel's address in a frame whose
    // rows start at a pair; taking it from cu keeps every read inside an
    // even-width texture whatever its pitch.
    static void chroma(uint8_t *u_dst, uint8_t *v_dst, const texture_ref &t, texel_pos pos) {
        const texel_origin o = locate<Kind, Traits::unit_shift>(t, pos.iu, pos.iv);
        const int parity = (pos.iu >> 16) & 1;
        const uint8_t *pair = o.p - parity * unit;
        if constexpr (fp::point) {
            std::memcpy(u_dst, pair + sample_bytes, sample_bytes);
            std::memcpy(v_dst, pair + 3 * sample_bytes, sample_bytes);
        } else {
            auto tap = [&](int c, int r) {
                const uint8_t *q = pair + r * o.row_bytes + ((parity + c) >> 1) * 2 * unit;
                return channels<2, sum>{{static_cast<sum>(Traits::load(q + sample_bytes)),
                                         static_cast<sum>(Traits::load(q + 3 * sample_bytes))}};
            };
            const auto r = box_filter<Slot, Kind>(tap, pos.iu, pos.iv);
            Traits::store(u_dst, Traits::template normalise<Slot, Kind, true>(r.c[0]));
            Traits::store(v_dst, Traits::template normalise<Slot, Kind, true>(r.c[1]));
        }
    }

    // The even pixel of a pair: its Y at dst, the pair's U and V after it.
    static void luma_chroma(uint8_t *dst, const texture_ref &t, texel_pos pos) {
        luma(dst, t, pos);
        chroma(dst + sample_bytes, dst + 3 * sample_bytes, t, pos);
    }
};

// The pixel-pair walk of the 4:2:2 families. Pixel x's Y is at unit x,
// its chroma sample (U for even x, V for odd x) right after it.
//  - An odd x0 writes only its Y: its chroma belongs to the pair that
//    starts left of the span.
//  - Pairs (x, x + 1), x even: Y at each pixel's own position, U and V at
//    the even pixel's position only.
//  - A trailing even pixel writes its Y and the pair's U and V at its own
//    position, and leaves the second Y (outside the span) alone.
// `next()` gives the position of the next pixel in increasing x; the
// Sampler (pair_sampler or a SIMD form of it) writes `luma` alone or
// `luma_chroma` for an even pixel.
template <class Sampler, class Next>
inline void walk_pairs(uint8_t *out, int32_t x, int64_t n, const texture_ref &t, Next next) {
    constexpr int sb = Sampler::sample_bytes, unit = 2 * sb;
    uint8_t *dst = out + static_cast<ptrdiff_t>(x) * unit;
    if (x & 1) {
        Sampler::luma(dst, t, next());
        dst += unit;
        --n;
    }
    for (; n >= 2; n -= 2, dst += 2 * unit) {
        const texel_pos even = next(), odd = next();
        Sampler::luma_chroma(dst, t, even);
        Sampler::luma(dst + 2 * sb, t, odd);
    }
    if (n == 1) Sampler::luma_chroma(dst, t, next());
}

// One texel unit per pixel (RGBQ): traits give `unit_shift` (log2 bytes
// per texel unit), `read(p)` -> channels, `write(dst, channels)`,
// `copy(dst, p)` and `normalise<Slot, Kind>(channels R)` -> channels.
template <class Traits, int Slot, member_kind Kind, projection P>
void render_units(const span_rows *line, int32_t x0, int32_t x1, const texture_ref *texture,
                  const span_coefficients &k) {
    using fp = footprint<Slot>;
    uint8_t *out = static_cast<uint8_t *>(line->pixels);
    const texture_ref &t = *texture;
    auto sample = [&](uint8_t *dst, texel_pos pos) {
        const texel_origin o = locate<Kind, Traits::unit_shift>(t, pos.iu, pos.iv);
        if constexpr (fp::point) {
            Traits::copy(dst, o.p);
        } else {
            auto tap = [&](int c, int r) {
                return Traits::read(o.p + r * o.row_bytes + (c << Traits::unit_shift));
            };
            using stage = typename partial_stage_of<Traits, Slot>::type;
            Traits::write(dst, Traits::template normalise<Slot, Kind>(
                                   box_filter<Slot, Kind, stage>(tap, pos.iu, pos.iv)));
        }
    };
    constexpr int unit = 1 << Traits::unit_shift;
    if constexpr (Kind == member_kind::packed) {
        // Pixel x0 is written before the end is tested.
        single_walk<P> walk(k, x0);
        int64_t n = static_cast<int64_t>(x1) - x0;
        uint8_t *dst = out + static_cast<ptrdiff_t>(x0) * unit;
        do {
            sample(dst, walk.current());
            walk.step();
            dst += unit;
        } while (--n > 0);
    } else {
        const double_walk<P> walk{k};
        for (int32_t x = x0; x < x1; ++x)
            sample(out + static_cast<ptrdiff_t>(x) * unit, walk.at(x));
    }
}

// The whole routine of one slot, kind and projection: the 4:2:2 pair walk
// for pair_layout traits, one unit per pixel otherwise.
template <class Traits, int Slot, member_kind Kind, projection P>
void render_span(const span_rows *line, int32_t x0, int32_t x1, const texture_ref *texture,
                 const span_coefficients &k) {
    if constexpr (pair_layout<Traits>) {
        uint8_t *out = static_cast<uint8_t *>(line->pixels);
        if constexpr (Kind == member_kind::packed) {
            // Pixel x0 is written before the end is tested.
            single_walk<P> walk(k, x0);
            const int64_t n = static_cast<int64_t>(x1) - x0;
            walk_pairs<pair_sampler<Traits, Slot, Kind>>(out, x0, n < 1 ? 1 : n, *texture, [&] {
                const texel_pos pos = walk.current();
                walk.step();
                return pos;
            });
        } else if (x0 < x1) {
            const double_walk<P> walk{k};
            int32_t x = x0;
            walk_pairs<pair_sampler<Traits, Slot, Kind>>(out, x0, static_cast<int64_t>(x1) - x0,
                                                         *texture, [&] { return walk.at(x++); });
        }
    } else {
        render_units<Traits, Slot, Kind, P>(line, x0, x1, texture, k);
    }
}

// Table members with the contract's signatures around a span routine
// R::run<P>(line, x0, x1, texture, coefficients).
template <class R>
struct contract_members {
    static void persp(const span_rows *line, int32_t x0, int32_t x1, const texture_ref *texture,
                      float u_max, float v_max, float u_step, float v_step, float u_base,
                      float v_base, float w_step, float w_base) {
        const span_coefficients k{u_max, v_max, u_step, v_step, u_base, v_base, w_step, w_base};
        R::template run<projection::perspective>(line, x0, x1, texture, k);
    }
    static void affine(const span_rows *line, int32_t x0, int32_t x1, const texture_ref *texture,
                       float u_max, float v_max, float u_step, float v_step, float u_base,
                       float v_base) {
        const span_coefficients k{u_max, v_max, u_step, v_step, u_base, v_base, 0.0f, 0.0f};
        R::template run<projection::affine>(line, x0, x1, texture, k);
    }
};

template <class Traits, int Slot, member_kind Kind>
struct sampled_span {
    template <projection P>
    static void run(const span_rows *line, int32_t x0, int32_t x1, const texture_ref *texture,
                    const span_coefficients &k) {
        render_span<Traits, Slot, Kind, P>(line, x0, x1, texture, k);
    }
};

// The members of the sampling statement.
template <class Traits, int Slot, member_kind Kind>
struct members : contract_members<sampled_span<Traits, Slot, Kind>> {};

// Builds a table from Member<Slot>::persp or ::affine for every slot.
template <template <int> class Member>
constexpr persp_renderer_table make_persp_table() {
    return []<int... S>(std::integer_sequence<int, S...>) {
        return persp_renderer_table{&Member<S>::persp...};
    }
    (std::make_integer_sequence<int, footprint_count>{});
}
template <template <int> class Member>
constexpr affine_renderer_table make_affine_table() {
    return []<int... S>(std::integer_sequence<int, S...>) {
        return affine_renderer_table{&Member<S>::affine...};
    }
    (std::make_integer_sequence<int, footprint_count>{});
}

// True when every slot 0..20 of a family has both members with the
// contract's signatures.
template <template <int> class Member>
constexpr bool members_complete() {
    return []<int... S>(std::integer_sequence<int, S...>) {
        return ((std::is_same_v<decltype(&Member<S>::persp), persp_span_renderer> &&
                 std::is_same_v<decltype(&Member<S>::affine), affine_span_renderer>)&&...);
    }
    (std::make_integer_sequence<int, footprint_count>{});
}

} // namespace tovrel::span
