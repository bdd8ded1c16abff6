// Pixel writers: merge a rendered line-buffer range [x0, x1) into the
// destination, weighted by a per-pixel coverage (coverage writers) or by the
// source's own alpha (span writers).
//
// Fixed point: coverage c and alpha are 4.12 (4096 = 1.0). Coverage and
// line-buffer alpha above 4096 count as 4096; destination alpha is used as
// stored (tiling may have accumulated it past 4096, wrapping in 16 bits).
// Results are stored as the low bits of the sample (8 or 16), unsaturated.
//
// Pair formats (YUY2, W210) step two pixels at a time from x0 while x < x1,
// so an odd-length range also writes pixel x1. Lumas take their own pixel's
// weights; the two chroma samples at 2x + 1 and 2x + 3 take the sum of the
// pair's two weight sets on an 8192 scale (>> 13). With an odd x0 those two
// chroma samples belong to adjacent 4:2:2 pairs.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "polygon/pixel_writer.h"

namespace tovrel {

// ---------------------------------------------------------------------------
// Declared through the routine types of pixel_writer.h:
//   coverage: (dst, line buffer, coverage by absolute x, x0, x1)
//   span:     (dst, line buffer, x0, x1)

using coverage_writer_fn = void(const span_rows *dst, const span_rows *src,
                                const uint16_t *coverage, int32_t x0, int32_t x1);
using span_writer_fn = void(const span_rows *dst, const span_rows *src, int32_t x0, int32_t x1);
static_assert(std::is_same_v<coverage_writer_fn *, coverage_writer> &&
              std::is_same_v<span_writer_fn *, span_writer>);

// RGBQ: four bytes per pixel, all four blended alike. The other eleven
// RGBQ names are chosen below from a scalar and an SSE2 version.
coverage_writer_fn write_rgbq_over_straight, add_rgbq_over_straight, write_rgbqa_over_straight,
    add_rgbqa_over_straight;
span_writer_fn blend_rgbqa_over_straight;

// YUY2 (bytes Y0 U Y1 V, additive chroma around 128) and W210 (16-bit
// words Y0 U Y1 V, 10 bits used, additive chroma around 512): one writer
// per role, the same code for both formats.
enum class pair_format : uint8_t { yuy2, w210 };
template <pair_format F>
struct pair_writers {
    static coverage_writer_fn write, add, write_over_straight, write_over_premul, add_over_straight,
        add_over_premul, write_a_straight, write_a_premul, write_a_over_straight,
        write_a_over_premul, add_a_over_straight, add_a_over_premul;
    static span_writer_fn blend_a_straight, blend_a_premul, blend_a_over_straight,
        blend_a_over_premul;
};

// word: one unsigned 16-bit sample per pixel.
coverage_writer_fn write_word, add_word_over;

// S16X4A / S16X4: four signed 16-bit components, component 3 is alpha in
// S16X4A. Signed products, arithmetic shifts, low 16 bits stored.
coverage_writer_fn write_s16x4, write_s16x4_into_alpha, add_s16x4_opaque, add_s16x4,
    write_s16x4a_over;

// Fills for an opaque source rendered straight into the destination:
// w12b alpha = 4096, and S16X4A component 3 = 4096, over [x0, x1).
span_writer_fn fill_alpha_opaque, fill_s16x4_alpha_opaque;

// Scalar statements (_c) and SSE2 versions (defined where SSE2 is
// available) of the RGBQ writers that have both.
coverage_writer_fn write_rgbq_c, add_rgbq_c, write_rgbq_over_premul_c, add_rgbq_over_premul_c,
    write_rgbqa_straight_c, write_rgbqa_premul_c, write_rgbqa_over_premul_c,
    add_rgbqa_over_premul_c;
span_writer_fn blend_rgbqa_straight_c, blend_rgbqa_premul_c, blend_rgbqa_over_premul_c;
coverage_writer_fn write_rgbq_sse2, add_rgbq_sse2, write_rgbq_over_premul_sse2,
    add_rgbq_over_premul_sse2, write_rgbqa_straight_sse2, write_rgbqa_premul_sse2,
    write_rgbqa_over_premul_sse2, add_rgbqa_over_premul_sse2;
span_writer_fn blend_rgbqa_straight_sse2, blend_rgbqa_premul_sse2, blend_rgbqa_over_premul_sse2;

// The unsuffixed names are the best version for the build: SSE2, the
// baseline of every x86 build, else the scalar statement.
template <class Fn>
constexpr Fn *best_writer([[maybe_unused]] Fn *c, [[maybe_unused]] Fn *sse2) {
#if defined(__SSE2__)
    return sse2;
#else
    return c;
#endif
}
inline constexpr coverage_writer
    write_rgbq = best_writer(write_rgbq_c, write_rgbq_sse2),
    add_rgbq = best_writer(add_rgbq_c, add_rgbq_sse2),
    write_rgbq_over_premul = best_writer(write_rgbq_over_premul_c, write_rgbq_over_premul_sse2),
    add_rgbq_over_premul = best_writer(add_rgbq_over_premul_c, add_rgbq_over_premul_sse2),
    write_rgbqa_straight = best_writer(write_rgbqa_straight_c, write_rgbqa_straight_sse2),
    write_rgbqa_premul = best_writer(write_rgbqa_premul_c, write_rgbqa_premul_sse2),
    write_rgbqa_over_premul = best_writer(write_rgbqa_over_premul_c, write_rgbqa_over_premul_sse2),
    add_rgbqa_over_premul = best_writer(add_rgbqa_over_premul_c, add_rgbqa_over_premul_sse2);
inline constexpr span_writer blend_rgbqa_straight =
                                 best_writer(blend_rgbqa_straight_c, blend_rgbqa_straight_sse2),
                             blend_rgbqa_premul =
                                 best_writer(blend_rgbqa_premul_c, blend_rgbqa_premul_sse2),
                             blend_rgbqa_over_premul = best_writer(blend_rgbqa_over_premul_c,
                                                                   blend_rgbqa_over_premul_sse2);

// The scalar statement of a writer chosen above; every other writer (and
// null) is its own statement.
coverage_writer scalar_statement(coverage_writer w);
span_writer scalar_statement(span_writer w);

// ---------------------------------------------------------------------------
// The sixteen roles of the RGBQ, YUY2 and W210 families as tables.

enum class coverage_role : uint8_t {
    write,                 // no alpha anywhere
    add,                   // tiling, no alpha
    write_over_straight,   // destination alpha, straight
    write_over_premul,     // destination alpha, premultiplied
    add_over_straight,     // destination alpha, straight, tiling
    add_over_premul,       // destination alpha, premultiplied, tiling
    write_a_straight,      // source alpha, straight
    write_a_premul,        // source alpha, premultiplied
    write_a_over_straight, // source and destination alpha, straight
    write_a_over_premul,   // source and destination alpha, premultiplied
    add_a_over_straight,   // source and destination alpha, straight, tiling
    add_a_over_premul,     // source and destination alpha, premultiplied, tiling
    count
};

enum class span_role : uint8_t {
    blend_a_straight,
    blend_a_premul,
    blend_a_over_straight,
    blend_a_over_premul,
    count
};

struct family_writers {
    std::array<coverage_writer, static_cast<size_t>(coverage_role::count)> coverage;
    std::array<span_writer, static_cast<size_t>(span_role::count)> span;

    constexpr coverage_writer operator[](coverage_role r) const {
        return coverage[static_cast<size_t>(r)];
    }
    constexpr span_writer operator[](span_role r) const { return span[static_cast<size_t>(r)]; }
};

// std::to_array counts the entries: a table that misses a role does not
// convert to the fixed-size members.
inline constexpr family_writers rgbq_writers = {
    std::to_array<coverage_writer>({write_rgbq, add_rgbq, write_rgbq_over_straight,
                                    write_rgbq_over_premul, add_rgbq_over_straight,
                                    add_rgbq_over_premul, write_rgbqa_straight, write_rgbqa_premul,
                                    write_rgbqa_over_straight, write_rgbqa_over_premul,
                                    add_rgbqa_over_straight, add_rgbqa_over_premul}),
    std::to_array<span_writer>({blend_rgbqa_straight, blend_rgbqa_premul, blend_rgbqa_over_straight,
                                blend_rgbqa_over_premul})};

template <class W>
constexpr family_writers pair_family() {
    return {
        std::to_array<coverage_writer>(
            {W::write, W::add, W::write_over_straight, W::write_over_premul, W::add_over_straight,
             W::add_over_premul, W::write_a_straight, W::write_a_premul, W::write_a_over_straight,
             W::write_a_over_premul, W::add_a_over_straight, W::add_a_over_premul}),
        std::to_array<span_writer>({W::blend_a_straight, W::blend_a_premul,
                                    W::blend_a_over_straight, W::blend_a_over_premul})};
}
inline constexpr family_writers yuy2_writers = pair_family<pair_writers<pair_format::yuy2>>();
inline constexpr family_writers w210_writers = pair_family<pair_writers<pair_format::w210>>();

// The plain and additive members under their family names.
inline constexpr coverage_writer write_yuy2 = pair_writers<pair_format::yuy2>::write;
inline constexpr coverage_writer add_yuy2 = pair_writers<pair_format::yuy2>::add;
inline constexpr coverage_writer write_w210 = pair_writers<pair_format::w210>::write;
inline constexpr coverage_writer add_w210 = pair_writers<pair_format::w210>::add;

// ---------------------------------------------------------------------------
// The rules, written once for every family and for scalar and vector lanes
// (V is int32_t or a vector of int32 lanes). Inputs per pixel, all
// non-negative: c coverage and as line-buffer alpha in [0, 4096] (already
// limited), ad destination alpha in [0, 65535]; e = (as * c) >> 12 in
// [0, 4096].
//
// A rule gives per pixel the weights of the source sample (ws) and of the
// destination sample (wd), a `live` term (0 skips the pixel: colour and
// alpha untouched) and the pixel's new destination alpha. The colour merge
// of a sample is, by the rule's op:
//   mix:    D = (S * ws + D * wd) >> 12
//   add:    D = D + ((S * ws) >> 12)
//   divide: D = S where ad = 0, else (S * ws + D * wd) / (ws + wd), truncated
//           (the rules without an ad = 0 branch have wd = 0 there, and
//           S * ws / ws = S: the copy only saves the division)
// A pair's chroma uses the sums of the two pixels' terms with >> 13 (and the
// format's own additive chroma). Per pixel, ws is in [0, 4096]; wd is in
// [0, 4096] for mix rules and [0, max(ad, 4096)] for divide rules. Add rules
// give wd = 4096, unused by the scalar merge, so that a vector version can
// treat them as the mix (S ws + D 4096) >> 12, which equals the add.
namespace writer_rules {

enum class colour_op : uint8_t { mix, add, divide };

template <class V>
struct weights {
    V ws;
    V wd;
    V live;
};

template <class V>
constexpr weights<V> operator+(const weights<V> &a, const weights<V> &b) {
    return {a.ws + b.ws, a.wd + b.wd, a.live + b.live};
}

// m != 0 ? a : b (a vector overload lives beside the vector type).
constexpr int32_t select_nonzero(int32_t m, int32_t a, int32_t b) {
    return m != 0 ? a : b;
}

// Flags: which inputs a rule reads and whether it writes destination alpha.
struct rule_base {
    static constexpr bool uses_coverage = true;
    static constexpr bool uses_src_alpha = false;
    static constexpr bool uses_dst_alpha = false;
};

// D = (S c + D (4096 - c)) >> 12
struct rule_write : rule_base {
    static constexpr colour_op op = colour_op::mix;
    template <class V>
    static weights<V> terms(V c, V, V) {
        return {c, V(4096) - c, V(1)};
    }
};

// D = D + ((S c) >> 12)
struct rule_add : rule_base {
    static constexpr colour_op op = colour_op::add;
    template <class V>
    static weights<V> terms(V c, V, V) {
        return {c, V(4096), V(1)};
    }
};

// a_d = 0: a_d = c, D = S. Else k = ((4096 - c) a_d) >> 12, a_d = k + c,
// D = (S c + D k) / a_d.
struct rule_write_over_straight : rule_base {
    static constexpr colour_op op = colour_op::divide;
    static constexpr bool uses_dst_alpha = true;
    template <class V>
    static weights<V> terms(V c, V, V ad) {
        return {c, ((V(4096) - c) * ad) >> 12, V(1)};
    }
    template <class V>
    static V alpha(V c, V, V ad) {
        return (((V(4096) - c) * ad) >> 12) + c; // = c when a_d = 0
    }
};

// a_d = 0: a_d = c, D = (S c) >> 12. Else k = 4096 - c,
// a_d = ((k a_d) >> 12) + c, D = (S c + D k) >> 12.
struct rule_write_over_premul : rule_base {
    static constexpr colour_op op = colour_op::mix;
    static constexpr bool uses_dst_alpha = true;
    template <class V>
    static weights<V> terms(V c, V, V ad) {
        return {c, select_nonzero(ad, V(4096) - c, V(0)), V(1)};
    }
    template <class V>
    static V alpha(V c, V, V ad) {
        return (((V(4096) - c) * ad) >> 12) + c;
    }
};

// a_d = 0: a_d = c, D = S. Else D = (S c + D a_d) / (a_d + c), a_d += c.
struct rule_add_over_straight : rule_base {
    static constexpr colour_op op = colour_op::divide;
    static constexpr bool uses_dst_alpha = true;
    template <class V>
    static weights<V> terms(V c, V, V ad) {
        return {c, ad, V(1)};
    }
    template <class V>
    static V alpha(V c, V, V ad) {
        return ad + c;
    }
};

// a_d += c; D = D + ((S c) >> 12)
struct rule_add_over_premul : rule_base {
    static constexpr colour_op op = colour_op::add;
    static constexpr bool uses_dst_alpha = true;
    template <class V>
    static weights<V> terms(V c, V, V) {
        return {c, V(4096), V(1)};
    }
    template <class V>
    static V alpha(V c, V, V ad) {
        return ad + c;
    }
};

// e = (a_s c) >> 12; e != 0: D = (D (4096 - e) + S e) >> 12
struct rule_write_a_straight : rule_base {
    static constexpr colour_op op = colour_op::mix;
    static constexpr bool uses_src_alpha = true;
    template <class V>
    static weights<V> terms(V c, V as, V) {
        const V e = (as * c) >> 12;
        return {e, V(4096) - e, e};
    }
};

// a_s != 0: D = (S a_s + D (4096 - a_s)) >> 12
struct rule_blend_a_straight : rule_base {
    static constexpr colour_op op = colour_op::mix;
    static constexpr bool uses_coverage = false;
    static constexpr bool uses_src_alpha = true;
    template <class V>
    static weights<V> terms(V, V as, V) {
        return {as, V(4096) - as, as};
    }
};

// c != 0: k = 4096 - ((a_s c) >> 12); D = (S c + D k) >> 12
struct rule_write_a_premul : rule_base {
    static constexpr colour_op op = colour_op::mix;
    static constexpr bool uses_src_alpha = true;
    template <class V>
    static weights<V> terms(V c, V as, V) {
        return {c, V(4096) - ((as * c) >> 12), c};
    }
};

// a_s != 0: D = ((D (4096 - a_s)) >> 12) + S, as the mix
// (S 4096 + D (4096 - a_s)) >> 12, which is the same for integer S.
struct rule_blend_a_premul : rule_base {
    static constexpr colour_op op = colour_op::mix;
    static constexpr bool uses_coverage = false;
    static constexpr bool uses_src_alpha = true;
    template <class V>
    static weights<V> terms(V, V as, V) {
        return {V(4096), V(4096) - as, as};
    }
};

// e = (a_s c) >> 12; e != 0: k = ((4096 - e) a_d) >> 12, a_d = e + k,
// D = (S e + D k) / a_d
struct rule_write_a_over_straight : rule_base {
    static constexpr colour_op op = colour_op::divide;
    static constexpr bool uses_src_alpha = true;
    static constexpr bool uses_dst_alpha = true;
    template <class V>
    static weights<V> terms(V c, V as, V ad) {
        const V e = (as * c) >> 12;
        return {e, ((V(4096) - e) * ad) >> 12, e};
    }
    template <class V>
    static V alpha(V c, V as, V ad) {
        const V e = (as * c) >> 12;
        return e + (((V(4096) - e) * ad) >> 12);
    }
};

// The same with e = a_s.
struct rule_blend_a_over_straight : rule_base {
    static constexpr colour_op op = colour_op::divide;
    static constexpr bool uses_coverage = false;
    static constexpr bool uses_src_alpha = true;
    static constexpr bool uses_dst_alpha = true;
    template <class V>
    static weights<V> terms(V, V as, V ad) {
        return {as, ((V(4096) - as) * ad) >> 12, as};
    }
    template <class V>
    static V alpha(V, V as, V ad) {
        return as + (((V(4096) - as) * ad) >> 12);
    }
};

// c != 0: e = (a_s c) >> 12, k = 4096 - e, a_d = ((a_d k) >> 12) + e,
// D = (S c + D k) >> 12
struct rule_write_a_over_premul : rule_base {
    static constexpr colour_op op = colour_op::mix;
    static constexpr bool uses_src_alpha = true;
    static constexpr bool uses_dst_alpha = true;
    template <class V>
    static weights<V> terms(V c, V as, V) {
        return {c, V(4096) - ((as * c) >> 12), c};
    }
    template <class V>
    static V alpha(V c, V as, V ad) {
        const V e = (as * c) >> 12;
        return ((ad * (V(4096) - e)) >> 12) + e;
    }
};

// a_s != 0: k = 4096 - a_s, a_d = ((a_d k) >> 12) + a_s, D = ((D k) >> 12) + S
struct rule_blend_a_over_premul : rule_base {
    static constexpr colour_op op = colour_op::mix;
    static constexpr bool uses_coverage = false;
    static constexpr bool uses_src_alpha = true;
    static constexpr bool uses_dst_alpha = true;
    template <class V>
    static weights<V> terms(V, V as, V) {
        return {V(4096), V(4096) - as, as};
    }
    template <class V>
    static V alpha(V, V as, V ad) {
        return ((ad * (V(4096) - as)) >> 12) + as;
    }
};

// e = (a_s c) >> 12; a_d = 0: a_d = e, D = S. Else
// D = (S e + D a_d) / (a_d + e), a_d += e.
struct rule_add_a_over_straight : rule_base {
    static constexpr colour_op op = colour_op::divide;
    static constexpr bool uses_src_alpha = true;
    static constexpr bool uses_dst_alpha = true;
    template <class V>
    static weights<V> terms(V c, V as, V ad) {
        return {(as * c) >> 12, ad, V(1)};
    }
    template <class V>
    static V alpha(V c, V as, V ad) {
        return ad + ((as * c) >> 12);
    }
};

// a_d += (a_s c) >> 12; D = D + ((S c) >> 12)
struct rule_add_a_over_premul : rule_base {
    static constexpr colour_op op = colour_op::add;
    static constexpr bool uses_src_alpha = true;
    static constexpr bool uses_dst_alpha = true;
    template <class V>
    static weights<V> terms(V c, V, V) {
        return {c, V(4096), V(1)};
    }
    template <class V>
    static V alpha(V c, V as, V ad) {
        return ad + ((as * c) >> 12);
    }
};

// Coverage and line-buffer alpha beyond the 4.12 unit count as 1.0.
constexpr int32_t unit_limit(uint16_t v) {
    return v < 4096 ? v : 4096;
}

} // namespace writer_rules
} // namespace tovrel
