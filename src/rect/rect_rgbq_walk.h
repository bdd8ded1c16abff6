// The RGBQ rectangle kernels on the shared area walk, generated per write
// rule, alpha mode and tiling from policy types. This is the readable
// statement of the arithmetic; the SIMD whole-pixel runs must match it byte
// for byte.
#pragma once

#include <cstddef>
#include <cstdint>

#include "rect/rect_walk.h"

namespace tovrel::rect {

template <src_alpha_rule Src, dst_alpha_rule Dst, bool Tile>
using rgbq_policy = rect_policy<Src, Dst, Tile>;

// Per-pixel sums. Colour terms are component * weight with weight at most
// 2^23 in total, so each sum is at most 255 * 2^23 and fits in uint32.
template <src_alpha_rule Src>
struct rgbq_sums {
    uint32_t c[4] = {0, 0, 0, 0};
    uint32_t weight = 0; // straight source alpha: total alpha-scaled weight, at most 2^23
    uint64_t alpha = 0;  // premultiplied source alpha: sum of alpha * weight, at most 2^35
};

// One term: the source pixel p (alpha word a) with weight w = overlap * row
// weight, at most 2^23.
template <src_alpha_rule Src>
inline void rgbq_add_term(rgbq_sums<Src> &acc, const uint8_t *p, const uint16_t *a, uint32_t w) {
    if constexpr (Src == src_alpha_rule::straight) {
        w = (w >> 12) * a[0]; // at most 2^23 for alpha <= 4096
        acc.weight += w;
    } else if constexpr (Src == src_alpha_rule::premul) {
        acc.alpha += uint64_t{a[0]} * w;
    }
    acc.c[0] += p[0] * w;
    acc.c[1] += p[1] * w;
    acc.c[2] += p[2] * w;
    acc.c[3] += p[3] * w;
}

// A segment of s units of the current source column, in every source line.
template <src_alpha_rule Src>
inline void rgbq_add_segment(rgbq_sums<Src> &acc, const rect_cursor &cur, uint32_t s,
                             const rect_rows &rows) {
    const uint8_t *p = cur.src;
    const uint16_t *a = cur.alpha;
    rgbq_add_term<Src>(acc, p, a, s * uint32_t(rows.first_weight));
    for (int32_t m = 0; m < rows.middle; ++m) {
        p += rows.pitch;
        if constexpr (Src != src_alpha_rule::none) a = byte_offset(a, rows.alpha_pitch);
        rgbq_add_term<Src>(acc, p, a, s * uint32_t(rows.middle_weight));
    }
    if (rows.last_weight != 0) {
        p += rows.pitch;
        if constexpr (Src != src_alpha_rule::none) a = byte_offset(a, rows.alpha_pitch);
        rgbq_add_term<Src>(acc, p, a, s * uint32_t(rows.last_weight));
    }
}

// The current source column of the line's rows, for area_gather.
template <src_alpha_rule Src>
struct rgbq_column {
    rect_cursor &cur;
    const rect_rows &rows;
    int32_t &run;
    void add(rgbq_sums<Src> &acc, uint32_t s) { rgbq_add_segment<Src>(acc, cur, s, rows); }
    void next() {
        cur.src += 4;
        if constexpr (Src != src_alpha_rule::none) ++cur.alpha;
    }
};

// Sums `cover` units (1..4096) of source from the cursor, moving it on.
template <src_alpha_rule Src>
inline rgbq_sums<Src> rgbq_gather(rect_cursor &cur, int32_t cover, int32_t x_step,
                                  const rect_rows &rows) {
    rgbq_sums<Src> acc;
    rgbq_column<Src> col{cur, rows, cur.run};
    area_gather(acc, col, cover, x_step);
    return acc;
}

inline uint8_t clamp_u8(uint64_t v) {
    return uint8_t(v < 255 ? v : 255);
}

// Writes one destination pixel. K = cover * line_weight (at most 2^23) is
// the covered weight. `edge` marks the pixels that the tiling and
// destination-alpha rules treat as partial: the first pixel of every line, a
// fractional last pixel, and every pixel of a line of fractional weight.
template <class P>
inline void rgbq_write(uint8_t *d, uint16_t *da, const rgbq_sums<P::src> &acc, uint32_t K,
                       bool edge) {
    constexpr src_alpha_rule S = P::src;
    constexpr dst_alpha_rule D = P::dst;
    if constexpr (S == src_alpha_rule::none) {
        if (!edge && (P::tile || D != dst_alpha_rule::none)) {
            for (int c = 0; c < 4; ++c) d[c] = uint8_t((acc.c[c] + half_weight) >> 23);
            if constexpr (D != dst_alpha_rule::none) *da = alpha_one;
            return;
        }
        if constexpr (D == dst_alpha_rule::none && !P::tile) {
            // Old content fills the uncovered weight: at most 255 * 2^23 + 2^22.
            for (int c = 0; c < 4; ++c)
                d[c] = uint8_t((acc.c[c] + half_weight + d[c] * (full_weight - K)) >> 23);
        } else if constexpr (D == dst_alpha_rule::none) {
            // Tiling: 8-bit addition, wrapping modulo 256.
            for (int c = 0; c < 4; ++c) d[c] = uint8_t(d[c] + ((acc.c[c] + half_weight) >> 23));
        } else if constexpr (D == dst_alpha_rule::straight) {
            const uint32_t cov = K >> 11; // 0..4096
            // Not tiling: the old alpha shows through the uncovered part.
            // Tiling: contributions add up, the old alpha stays whole.
            const uint32_t rest = P::tile ? uint32_t{*da} : ((alpha_one - cov) * *da) >> 12;
            const uint32_t total = cov + rest;
            if ((P::tile ? total : cov) == 0) return;
            *da = P::tile ? clamp_alpha(total) : uint16_t(total);
            // (sum >> 11) can exceed 255 * cov by up to 254, so tiny
            // coverages over a transparent pixel could pass 255: clamp.
            for (int c = 0; c < 4; ++c)
                d[c] = clamp_u8((uint64_t{d[c]} * rest + (acc.c[c] >> 11)) / total);
        } else if constexpr (!P::tile) { // premultiplied destination
            const uint32_t cov = K >> 11;
            *da = uint16_t((((alpha_one - cov) * *da) >> 12) + cov);
            for (int c = 0; c < 4; ++c) d[c] = uint8_t((d[c] * (full_weight - K) + acc.c[c]) >> 23);
        } else {
            // Premultiplied tiling: colours add as 8-bit values like
            // rect_rgbq_tile; alpha adds, held at 4096.
            *da = clamp_alpha(uint32_t{*da} + (K >> 11));
            for (int c = 0; c < 4; ++c) d[c] = uint8_t(d[c] + ((acc.c[c] + half_weight) >> 23));
        }
    } else if constexpr (D == dst_alpha_rule::none) {
        // Source laid over an opaque destination by its coverage-weighted
        // alpha W (at most 2^23).
        uint32_t W;
        if constexpr (S == src_alpha_rule::straight) {
            W = acc.weight;
            if (W == 0) return;
        } else {
            W = uint32_t(acc.alpha >> 12);
        }
        for (int c = 0; c < 4; ++c) d[c] = uint8_t((d[c] * (full_weight - W) + acc.c[c]) >> 23);
    } else if constexpr (S == src_alpha_rule::straight) {
        // Straight colours into a straight destination; weights on the 2^23
        // scale, rest and total at most 2^23 for alphas up to 4096.
        const uint64_t W = acc.weight;
        const uint64_t rest =
            (P::tile && edge) ? uint64_t{*da} << 11 : ((full_weight - W) * uint64_t{*da}) >> 12;
        const uint64_t total = W + rest;
        if ((P::tile && edge) ? total == 0 : W == 0) return;
        *da = (P::tile && edge) ? clamp_alpha(total >> 11) : uint16_t(total >> 11);
        for (int c = 0; c < 4; ++c) d[c] = clamp_u8((d[c] * rest + acc.c[c]) / total);
    } else {
        // Premultiplied colours into a premultiplied destination. A is the
        // alpha sum on the 4096 * 2^23 scale.
        const uint64_t A = acc.alpha;
        if (P::tile && edge) {
            *da = clamp_alpha(*da + ((A + half_weight) >> 23));
            for (int c = 0; c < 4; ++c) d[c] = uint8_t(d[c] + ((acc.c[c] + half_weight) >> 23));
            return;
        }
        const uint64_t W = A >> 12;
        *da = uint16_t((uint64_t{*da} * (full_weight - W) + A) >> 23);
        for (int c = 0; c < 4; ++c) d[c] = uint8_t((d[c] * (full_weight - W) + acc.c[c]) >> 23);
    }
}

// A run of `count` whole destination pixels on a whole line, written as the
// rounded area mean, moving the cursor on. Only for kernels without source
// alpha.
using rgbq_run_fn = void (*)(uint8_t *dst, int32_t count, rect_cursor *cur, const rect_rows &rows,
                             int32_t x_step);

// The scalar statement of a run.
inline void rgbq_run_c(uint8_t *dst, int32_t count, rect_cursor *cur, const rect_rows &rows,
                       int32_t x_step) {
    for (int32_t i = 0; i < count; ++i, dst += 4) {
        const auto acc = rgbq_gather<src_alpha_rule::none>(*cur, pixel_units, x_step, rows);
        for (int c = 0; c < 4; ++c) dst[c] = uint8_t((acc.c[c] + half_weight) >> 23);
    }
}

// The line operations of the RGBQ kernels for area_walk.
template <class P, rgbq_run_fn Run>
struct rgbq_line {
    static constexpr bool whole_runs = P::whole_runs;
    static constexpr bool whole_first = P::whole_first;
    uint8_t *dst;
    uint16_t *dst_alpha;
    rect_cursor cur;
    const rect_rows &rows;
    int32_t x_step;

    void run(int32_t n) {
        Run(dst, n, &cur, rows, x_step);
        dst += 4 * n;
        if constexpr (P::dst != dst_alpha_rule::none) {
            for (int32_t i = 0; i < n; ++i) dst_alpha[i] = alpha_one;
            dst_alpha += n;
        }
    }
    void pixel(int32_t cover, uint32_t K, bool edge) {
        const auto acc = rgbq_gather<P::src>(cur, cover, x_step, rows);
        rgbq_write<P>(dst, dst_alpha, acc, K, edge);
        dst += 4;
        if constexpr (P::dst != dst_alpha_rule::none) ++dst_alpha;
    }
    void finish() {}
};

// One destination line (the rect_kernel contract).
template <class P, rgbq_run_fn Run>
void rgbq_kernel(uint8_t *dst, uint16_t *dst_alpha, int32_t first_width, int32_t line_weight,
                 int32_t width, const uint8_t *src, int32_t src_pitch, const uint16_t *src_alpha,
                 int32_t src_alpha_pitch, int32_t x_step, int32_t y_step, int32_t first_column_run,
                 int32_t first_row_weight, int32_t middle_rows, int32_t last_row_weight) {
    const rect_rows rows{src_pitch,   src_alpha_pitch, first_row_weight,
                         middle_rows, y_step,          last_row_weight};
    rgbq_line<P, Run> ops{dst, dst_alpha, {src, src_alpha, first_column_run}, rows, x_step};
    area_walk(ops, first_width, line_weight, width);
}

} // namespace tovrel::rect
