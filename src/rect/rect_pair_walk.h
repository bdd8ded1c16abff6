// The 4:2:2 rectangle kernels (YUY2 and W210 destinations, from YUY2, W210
// and yuvq sources) on the shared area walk. Each kernel first blends the
// line's source rows into a line buffer of 32-bit sums (the vertical
// pre-pass), then walks the buffer horizontally. Luma is one component per
// pixel as in RGBQ; chroma sums run over both pixels of a destination pair
// and are written once per pair, with the old chroma filling the weight the
// pair does not cover. This is the readable statement of the arithmetic.
#pragma once

#include <cstdint>
#include <cstring>

#include "rect/rect_walk.h"

namespace tovrel::rect {

// Destination formats. Weights are on a 2^bits scale for a whole pixel:
// 2^23 for 8-bit samples; 10-bit samples times 2^23 would pass 32 bits, so
// every vertical product is shifted right by 2 and a whole pixel is 2^21.
struct yuy2_format {
    using sample = uint8_t;
    static constexpr int bits = 23;
    static constexpr int shift = 0;
    static constexpr uint32_t max = 255;
    static constexpr int32_t pixel_bytes = 2;
    // A partly covered pixel's luma truncates (its sum starts at 0).
    static constexpr bool partial_luma_rounds = false;
    // Tiling adds as 8-bit values, wrapping like the RGBQ tile.
    static sample add(sample old, uint32_t v) { return sample(old + v); }
};
struct w210_format {
    using sample = uint16_t;
    static constexpr int bits = 21;
    static constexpr int shift = 2;
    static constexpr uint32_t max = 1023;
    static constexpr int32_t pixel_bytes = 4;
    static constexpr bool partial_luma_rounds = true;
    // Tiling adds, held at 1023: a seam of two bright halves stays bright.
    static sample add(sample old, uint32_t v) {
        const uint32_t s = uint32_t{old} + v;
        return sample(s < max ? s : max);
    }
};

enum class src_kind { yuy2, w210, yuvq };

// The line buffer: a little over 64 KiB of uint32 sums in the kernel's
// frame. Without source alpha a pair source keeps its own layout (four sums
// per pair: Y0 U Y1 V); with alpha, and for yuvq, every pixel has four sums
// (Y, U, V and the alpha weight of the pixel).
inline constexpr int32_t line_buffer_lanes = 16384;
inline constexpr int32_t line_buffer_slack = 16;

// One source kind into one destination format with one source alpha rule.
template <src_kind S, class D, src_alpha_rule A>
struct pair_kind {
    using dst = D;
    static constexpr src_kind source = S;
    static constexpr src_alpha_rule alpha = A;
    // Four sums per pixel (else four per source pair).
    static constexpr bool quad = A != src_alpha_rule::none || S == src_kind::yuvq;
    static constexpr int32_t src_pixel_bytes = S == src_kind::yuy2 ? 2 : 4;
    // Source pixels one line may read, pair alignment included.
    static constexpr int32_t capacity = line_buffer_lanes / (quad ? 4 : 2);

    // Sample c (0 Y, 1 U, 2 V) of pixel j of a pair-aligned source row; yuvq
    // reads its own bytes 0..2 (byte 3 never), scaled to 10 bits for W210.
    static uint32_t sample(const uint8_t *row, int32_t j, int c) {
        if constexpr (S == src_kind::yuvq) {
            const uint32_t v = row[4 * j + c];
            return D::shift != 0 ? v << 2 : v;
        } else {
            const int32_t at = c == 0 ? 2 * j : 4 * (j >> 1) + (c == 1 ? 1 : 3);
            if constexpr (S == src_kind::yuy2)
                return row[at];
            else
                return reinterpret_cast<const uint16_t *>(row)[at];
        }
    }
};

// Adds one source row of weight w (at most 2048) to the buffer: `count`
// pixels from pixel `first` of the pair-aligned row (`first` is 0 or 1;
// quad layouts start the buffer at that pixel, pair layouts at the pair).
// Sums per row and lane: 8-bit samples * w below 2^19; 10-bit samples * w
// >> 2 below 2^19; straight alpha: sample * ((w * a) >> (12 + shift)) below
// 2^19 and the weight below 2^12; premultiplied alpha: a * w below 2^24.
template <class K>
inline void vblend_row(uint32_t *buf, const uint8_t *row, const uint16_t *arow, int32_t first,
                       int32_t count, uint32_t w, bool init) {
    constexpr int sh = K::dst::shift;
    if constexpr (!K::quad) {
        const int32_t pairs = (first + count + 1) >> 1;
        for (int32_t p = 0; p < pairs; ++p)
            for (int c = 0; c < 4; ++c) {
                const uint32_t s = K::sample(row, 2 * p + (c >> 1),
                                             c == 0 || c == 2 ? 0
                                             : c == 1         ? 1
                                                              : 2);
                const uint32_t v = (s * w) >> sh;
                buf[4 * p + c] = init ? v : buf[4 * p + c] + v;
            }
    } else {
        for (int32_t i = 0; i < count; ++i) {
            const int32_t j = first + i;
            uint32_t wy = w, aw = 0;
            if constexpr (K::alpha == src_alpha_rule::straight) {
                wy = (w * arow[i]) >> (12 + sh);
                aw = wy;
            } else if constexpr (K::alpha == src_alpha_rule::premul) {
                aw = w * arow[i];
            }
            uint32_t v[4];
            for (int c = 0; c < 3; ++c) {
                const uint32_t s = K::sample(row, j, c);
                v[c] = K::alpha == src_alpha_rule::straight ? s * wy : (s * wy) >> sh;
            }
            v[3] = aw;
            for (int c = 0; c < 4; ++c) buf[4 * i + c] = init ? v[c] : buf[4 * i + c] + v[c];
        }
    }
}

// The four pre-pass routines: one row, two, three, and first + middle_rows
// + last (Rows = 0), each row added by Row (vblend_row or a SIMD statement
// of it).
using vblend_fn = void (*)(uint32_t *buf, const uint8_t *src, const uint16_t *alpha, int32_t first,
                           int32_t count, const rect_rows &rows);
using vblend_row_fn = void (*)(uint32_t *buf, const uint8_t *row, const uint16_t *arow,
                               int32_t first, int32_t count, uint32_t w, bool init);

template <class K, int Rows, vblend_row_fn Row = vblend_row<K>>
void vblend_c(uint32_t *buf, const uint8_t *src, const uint16_t *alpha, int32_t first,
              int32_t count, const rect_rows &rows) {
    Row(buf, src, alpha, first, count, uint32_t(rows.first_weight), true);
    int32_t middle = Rows == 1 ? 0 : Rows == 2 ? 0 : Rows == 3 ? 1 : rows.middle;
    for (int32_t m = 0; m < middle; ++m) {
        src += rows.pitch;
        if constexpr (K::alpha != src_alpha_rule::none)
            alpha = byte_offset(alpha, rows.alpha_pitch);
        Row(buf, src, alpha, first, count, uint32_t(rows.middle_weight), false);
    }
    if (Rows != 1 && rows.last_weight != 0) {
        src += rows.pitch;
        if constexpr (K::alpha != src_alpha_rule::none)
            alpha = byte_offset(alpha, rows.alpha_pitch);
        Row(buf, src, alpha, first, count, uint32_t(rows.last_weight), false);
    }
}

#if defined(__SSE2__)
// YUY2 without source alpha in SSE2 (every shape); the same sums as vblend_c.
void vblend_yuy2_sse2(uint32_t *buf, const uint8_t *src, const uint16_t *alpha, int32_t first,
                      int32_t count, const rect_rows &rows);

// Whole-pixel sums in SSE2 (AVX2 for 2048 <= x_step < 4096 when avx2) for
// x_step >= 256: m destination pixels from
// pixel i of a pair buffer (four sums per source pair) with the current
// column's run (updated); per pixel four lanes Y, U, Y, V, each the sum of
// buffer value * overlap modulo 2^32, as area_gather sums them. Returns the
// source pixels moved.
int32_t pair_whole_sums_sse2(uint32_t *sums, int32_t m, const uint32_t *buf, int32_t i,
                             int32_t *run, int32_t x_step, bool avx2);

// One source row in SSE2, the same sums as vblend_row<K>: for W210 without
// source alpha and for every kind with source alpha (rect_pair_sse2.cpp).
template <class K>
void vblend_row_sse2(uint32_t *buf, const uint8_t *row, const uint16_t *arow, int32_t first,
                     int32_t count, uint32_t w, bool init);
#endif

// A whole destination pair from its pixels' luma sums and its chroma sums
// (modulo 2^32): luma (sum + 2^(bits-1)) >> bits, chroma (sum + 2^bits) >>
// (bits + 1), truncated to the sample type.
template <class D>
inline void put_pair(typename D::sample *pair, uint32_t y0, uint32_t y1, uint32_t u_sum,
                     uint32_t v_sum) {
    using sample = typename D::sample;
    constexpr int B = D::bits;
    pair[0] = sample((y0 + (1u << (B - 1))) >> B);
    pair[2] = sample((y1 + (1u << (B - 1))) >> B);
    pair[1] = sample((u_sum + (1u << B)) >> (B + 1));
    pair[3] = sample((v_sum + (1u << B)) >> (B + 1));
}

// The halving writer: `pairs` destination pairs, each from two whole
// source pairs of the buffer p (Y0 U0 Y1 V0 Y2 U1 Y3 V1), every pixel of
// weight 2048.
template <class D>
inline void pair_halve_c(typename D::sample *out, const uint32_t *p, int32_t pairs) {
    for (int32_t q = 0; q < pairs; ++q, p += 8, out += 4)
        put_pair<D>(out, 2048 * (p[0] + p[2]), 2048 * (p[4] + p[6]), 4096 * (p[1] + p[5]),
                    4096 * (p[3] + p[7]));
}

#if defined(__SSE2__)
// AVX2 forms (rect_pair_avx2.cpp, only for processors that have it): the
// pre-pass of YUY2 and W210 without source alpha for Rows 1, 2, 3 and any
// (0), the same sums as vblend_c; the halving writer, the same samples as
// pair_halve_c.
template <class K, int Rows>
void vblend_pair_avx2(uint32_t *buf, const uint8_t *src, const uint16_t *alpha, int32_t first,
                      int32_t count, const rect_rows &rows);
template <class D>
void pair_halve_avx2(typename D::sample *out, const uint32_t *p, int32_t pairs);

// Whole pairs for pair_down3_min_step <= x_step < 4096, the same samples
// and cursor as pair_whole_c; `limit` is the buffer's size in lanes.
inline constexpr int32_t pair_down3_min_step = 2341; // four pixels read at most 8 columns
template <class K>
void pair_down3_avx2(typename K::dst::sample *out, int32_t pairs, const uint32_t *buf, int32_t *i,
                     int32_t *run, int32_t x_step, int32_t limit);
#endif

#if defined(__SSE2__)
// Whole YUY2 pairs for pair_direct_min_step <= x_step < 4096 read straight
// from the line's `rows` (1..3) source rows of weights w[0..rows-1], pitch
// apart, without the line buffer: the same samples and cursor as vblend_c
// then pair_whole_c over the row's pixels (buffer pixel i is row pixel i).
// Stops before its windows would pass the row's first row_pairs pairs;
// returns the pairs written (a multiple of 4).
inline constexpr int32_t pair_direct_min_step = 2731; // two pairs read at most four source pairs
int32_t pair_direct_avx2(uint8_t *out, int32_t pairs, const uint8_t *row, ptrdiff_t pitch,
                         const int32_t *w, int32_t rows, int32_t row_pairs, int32_t *i,
                         int32_t *run, int32_t x_step);
#endif

struct vblend_set {
    vblend_fn one, two, three, many;
    vblend_fn of(const rect_rows &rows) const {
        return rows.middle == 0   ? (rows.last_weight == 0 ? one : two)
               : rows.middle == 1 ? three
                                  : many;
    }
};

template <class K, vblend_row_fn Row = vblend_row<K>>
inline constexpr vblend_set vblend_set_c{vblend_c<K, 1, Row>, vblend_c<K, 2, Row>,
                                         vblend_c<K, 3, Row>, vblend_c<K, 0, Row>};

// Sums of one destination pixel: luma, the alpha weight (straight: on the
// 2^bits scale; premultiplied: alpha * weight in 64 bits, before the shift).
struct pair_sums {
    uint32_t y = 0, u = 0, v = 0, w = 0;
    uint64_t a = 0;
};

// The current source pixel of the buffer, for area_gather.
template <class K>
struct pair_column {
    const uint32_t *buf;
    int32_t i; // buffer pixel
    int32_t run;
    void add(pair_sums &acc, uint32_t s) {
        if constexpr (K::quad) {
            const uint32_t *b = buf + 4 * i;
            acc.y += s * b[0];
            acc.u += s * b[1];
            acc.v += s * b[2];
            if constexpr (K::alpha == src_alpha_rule::straight) acc.w += s * b[3];
            if constexpr (K::alpha == src_alpha_rule::premul) acc.a += uint64_t{s} * b[3];
        } else {
            const uint32_t *p = buf + 4 * (i >> 1);
            acc.y += s * p[2 * (i & 1)];
            acc.u += s * p[1];
            acc.v += s * p[3];
        }
    }
    void next() { ++i; }
};

// `pairs` whole destination pairs of a whole line from a pair buffer,
// starting at buffer pixel *i with *run units left in it (both updated):
// each pixel's luma and the pair's chroma as the walk gathers them.
template <class K>
inline void pair_whole_c(typename K::dst::sample *out, int32_t pairs, const uint32_t *buf,
                         int32_t *i, int32_t *run, int32_t x_step) {
    pair_column<K> col{buf, *i, *run};
    for (int32_t q = 0; q < pairs; ++q, out += 4) {
        pair_sums a0, a1;
        area_gather(a0, col, pixel_units, x_step);
        area_gather(a1, col, pixel_units, x_step);
        put_pair<typename K::dst>(out, a0.y, a1.y, a0.u + a1.u, a0.v + a1.v);
    }
    *i = col.i;
    *run = col.run;
}

// A line whose buffer is blended in two parts: the first pairs before the
// walk, the rest from pair p on (fill) once its whole pairs are drawn from
// the source rows (pair_direct_avx2).
struct pending_rows {
    uint32_t *buf;
    const uint8_t *row; // pair-aligned first source row
    const uint16_t *alpha;
    rect_rows rows;
    vblend_fn blend;
    int32_t pairs;      // pairs of each row the line reads
    int32_t weights[3]; // row weights, first to last
    int32_t count;      // rows with weight: 1..3
    int32_t pixel_bytes;
    void fill(int32_t p) const {
        blend(buf + 4 * p, row + 2 * p * pixel_bytes, alpha, 0, 2 * (pairs - p), rows);
    }
};

// The line operations of one pair kernel for area_walk (Step: a fixed
// x_step, else 0).
template <class K, class P, int32_t Step = 0, int Simd = 0>
struct pair_line {
    using D = typename K::dst;
    using sample = typename D::sample;
    static constexpr bool whole_runs = P::whole_runs;
    static constexpr bool whole_first = P::whole_first;
    static constexpr int B = D::bits;
    static constexpr int to_alpha = B - 12; // weights to the 4096 alpha scale
    static constexpr uint32_t full = 1u << B, half = 1u << (B - 1);
    static constexpr bool has_dst_alpha = P::dst != dst_alpha_rule::none;
    static constexpr bool straight_dst = P::dst == dst_alpha_rule::straight;
    static constexpr src_alpha_rule SA = P::src;

    sample *pair; // the current destination pair (Y0 U Y1 V)
    uint16_t *da; // the current pixel's alpha word
    int32_t odd;  // the current pixel is the second of its pair
    pair_column<K> col;
    int32_t x_step_arg;
    // Set while the line buffer holds only its first pairs (YUY2 in AVX2:
    // the whole pairs come from the source rows, the buffer's rest is
    // blended after them).
    const pending_rows *pending = nullptr;
    int32_t x_step() const { return Step != 0 ? Step : x_step_arg; }
    // The open pair: chroma sums, covered weight k (2^bits per pixel), the
    // old-chroma weights rest and total of the straight rules, pixels
    // covered, any of them partial.
    uint32_t u = 0, v = 0, k = 0;
    uint64_t rest = 0, total = 0;
    int32_t covered = 0;
    bool edge = false;

    static uint32_t div_clamp(uint64_t n, uint64_t d) {
        const uint64_t q = n / d;
        return uint32_t(q < D::max ? q : D::max);
    }

    // Writes the open pair's chroma, the uncovered pixel's share from the
    // old chroma. Pair sums are at most 2^(bits + 1) times the sample.
    void flush() {
        sample *c = pair + 1;
        const int32_t missing = 2 - covered;
        const bool partial = edge || missing != 0;
        const uint64_t keep = 2 * uint64_t{full} - k; // weight left to the old chroma
        auto mix = [&](uint32_t round) {
            c[0] = sample((c[0] * keep + u + round) >> (B + 1));
            c[2] = sample((c[2] * keep + v + round) >> (B + 1));
        };
        auto add = [&] {
            c[0] = D::add(c[0], (u + full) >> (B + 1));
            c[2] = D::add(c[2], (v + full) >> (B + 1));
        };
        if constexpr (SA == src_alpha_rule::none && !has_dst_alpha && !P::tile) {
            mix(full); // the chroma sums start at half the pair weight
        } else if constexpr (straight_dst) {
            if (SA == src_alpha_rule::none && !partial) {
                c[0] = sample((u + full) >> (B + 1)), c[2] = sample((v + full) >> (B + 1));
                return;
            }
            // An uncovered pixel keeps its old chroma at the weight of an
            // opaque pixel.
            constexpr uint64_t unit = SA == src_alpha_rule::straight ? full : alpha_one;
            constexpr int to = SA == src_alpha_rule::straight ? 0 : to_alpha;
            const uint64_t r = rest + unit * missing, t = total + unit * missing;
            if (t == 0) return;
            c[0] = sample(div_clamp(c[0] * r + (u >> to), t));
            c[2] = sample(div_clamp(c[2] * r + (v >> to), t));
        } else if constexpr (SA == src_alpha_rule::none) {
            if (!partial) {
                c[0] = sample((u + full) >> (B + 1)), c[2] = sample((v + full) >> (B + 1));
            } else if constexpr (P::tile) {
                add();
            } else {
                mix(0); // premultiplied destination
            }
        } else if constexpr (P::tile && has_dst_alpha) { // premultiplied source and destination
            if (partial)
                add();
            else
                mix(0);
        } else {
            if (SA == src_alpha_rule::straight && k == 0) return;
            mix(0);
        }
    }

    void step() {
        ++covered;
        if constexpr (has_dst_alpha) ++da;
        if (odd) {
            flush();
            pair += 4;
            u = v = k = 0;
            rest = total = 0;
            covered = 0;
            edge = false;
        }
        odd ^= 1;
    }

    // Luma and alpha of the current pixel; its chroma and weights join the
    // pair. K is on the 2^23 scale.
    void pixel(int32_t cover, uint32_t K23, bool pixel_edge) {
        pair_sums acc;
        area_gather(acc, col, cover, x_step());
        u += acc.u;
        v += acc.v;
        edge = edge || pixel_edge;
        sample &y = pair[2 * odd];
        const uint32_t Kp = K23 >> (23 - B);
        if constexpr (SA == src_alpha_rule::none) {
            k += Kp;
            if (!pixel_edge && (P::tile || has_dst_alpha)) {
                y = sample((acc.y + half) >> B);
                if constexpr (has_dst_alpha) *da = alpha_one;
                total += alpha_one;
            } else if constexpr (!has_dst_alpha && !P::tile) {
                const uint32_t round = (Kp == full || D::partial_luma_rounds) ? half : 0;
                y = sample((acc.y + round + y * (full - Kp)) >> B);
            } else if constexpr (!has_dst_alpha) {
                y = D::add(y, (acc.y + half) >> B);
            } else if constexpr (straight_dst) {
                const uint32_t cov = Kp >> to_alpha; // 0..4096
                const uint32_t r = P::tile ? uint32_t{*da} : ((alpha_one - cov) * *da) >> 12;
                const uint32_t t = cov + r;
                rest += r;
                total += t;
                if ((P::tile ? t : cov) == 0) return step();
                *da = P::tile ? clamp_alpha(t) : uint16_t(t);
                y = sample(div_clamp(uint64_t{y} * r + (acc.y >> to_alpha), t));
            } else if constexpr (!P::tile) {
                const uint32_t cov = Kp >> to_alpha;
                *da = uint16_t((((alpha_one - cov) * *da) >> 12) + cov);
                y = sample((uint64_t{y} * (full - Kp) + acc.y) >> B);
            } else {
                *da = clamp_alpha(uint32_t{*da} + (Kp >> to_alpha));
                y = D::add(y, (acc.y + half) >> B);
            }
        } else {
            uint32_t W;
            uint64_t A = 0; // alpha sum on the 4096 * 2^bits scale
            if constexpr (SA == src_alpha_rule::straight) {
                W = acc.w;
            } else {
                A = acc.a >> D::shift;
                W = uint32_t(A >> 12);
            }
            k += W;
            if constexpr (!has_dst_alpha) {
                if (SA == src_alpha_rule::straight && W == 0) return step();
                y = sample((uint64_t{y} * (full - W) + acc.y) >> B);
            } else if constexpr (SA == src_alpha_rule::straight) {
                const bool acc_edge = P::tile && pixel_edge;
                const uint64_t r =
                    acc_edge ? uint64_t{*da} << to_alpha : (uint64_t{full - W} * *da) >> 12;
                const uint64_t t = W + r;
                rest += r;
                total += t;
                if (acc_edge ? t == 0 : W == 0) return step();
                *da = acc_edge ? clamp_alpha(t >> to_alpha) : uint16_t(t >> to_alpha);
                y = sample(div_clamp(uint64_t{y} * r + acc.y, t));
            } else {
                if (P::tile && pixel_edge) {
                    *da = clamp_alpha(*da + ((A + half) >> B));
                    y = D::add(y, (acc.y + half) >> B);
                } else {
                    *da = uint16_t((uint64_t{*da} * (full - W) + A) >> B);
                    y = sample((uint64_t{y} * (full - W) + acc.y) >> B);
                }
            }
        }
        step();
    }

    // n whole pixels of a whole line (no source alpha): rounded area means,
    // alpha 4096; whole pairs two pixels at a time.
    void run(int32_t n) {
        if (odd && n > 0) pixel(pixel_units, full_weight, false), --n;
#if defined(__SSE2__)
        if constexpr (Simd == 2 && K::source == src_kind::yuy2 && !K::quad) {
            if (pending != nullptr) {
                const pending_rows &p = *pending;
                if (n >= 2) {
                    const int32_t done = pair_direct_avx2(reinterpret_cast<uint8_t *>(pair), n / 2,
                                                          p.row, p.rows.pitch, p.weights, p.count,
                                                          p.pairs, &col.i, &col.run, x_step());
                    n -= whole_pairs_written(2 * done);
                }
                p.fill(col.i >> 1);
                pending = nullptr;
            }
        }
        if constexpr (Simd && !K::quad) {
            if (x_step() == pixel_units / 2 && col.run == pixel_units / 2 && (col.i & 1) == 0) {
                // Halving on pair boundaries: a destination pair is two
                // whole source pairs (Y0 U0 Y1 V0, Y2 U1 Y3 V1), each pixel
                // of weight 2048 (the walk's sums, modulo 2^32).
                const uint32_t *p = col.buf + 4 * (col.i >> 1);
                const int32_t m = n & ~1;
                if constexpr (Simd == 2)
                    pair_halve_avx2<D>(pair, p, m / 2);
                else
                    pair_halve_c<D>(pair, p, m / 2);
                col.i += 2 * m;
                n -= whole_pairs_written(m);
            }
            if constexpr (Simd == 2) {
                if (x_step() >= pair_down3_min_step && x_step() < pixel_units && n >= 2) {
                    const int32_t m = n & ~1;
                    pair_down3_avx2<K>(pair, m / 2, col.buf, &col.i, &col.run, x_step(),
                                       line_buffer_lanes + line_buffer_slack);
                    n -= whole_pairs_written(m);
                }
            }
            constexpr int32_t chunk = 256;
            alignas(16) uint32_t s[4 * chunk];
            while (n >= 2 && x_step() >= 256) {
                const int32_t m = n < chunk ? n & ~1 : chunk;
                col.i += pair_whole_sums_sse2(s, m, col.buf, col.i, &col.run, x_step(), Simd == 2);
                for (const uint32_t *a = s; a < s + 4 * m; a += 8)
                    write_pair(a[0], a[4], a[1] + a[5], a[3] + a[7]);
                n -= m;
            }
        }
#endif
        if (n >= 2) {
            const int32_t m = n & ~1;
            pair_whole_c<K>(pair, m / 2, col.buf, &col.i, &col.run, x_step());
            n -= whole_pairs_written(m);
        }
        if (n > 0) pixel(pixel_units, full_weight, false);
    }

    // A whole pair from its pixels' luma sums and its chroma sums.
    void write_pair(uint32_t y0, uint32_t y1, uint32_t u_sum, uint32_t v_sum) {
        put_pair<D>(pair, y0, y1, u_sum, v_sum);
        pair += 4;
        if constexpr (has_dst_alpha) da[0] = da[1] = alpha_one, da += 2;
    }

    // After m whole pixels (m even) written at `pair`: their alpha, the
    // pair pointer moved on. Returns m.
    int32_t whole_pairs_written(int32_t m) {
        pair += 2 * m;
        if constexpr (has_dst_alpha)
            for (int32_t k = 0; k < m; ++k) *da++ = alpha_one;
        return m;
    }

    void finish() {
        if (odd) flush();
    }
};

// The general line: pre-pass into the line buffer, then the area walk.
template <class K, class P, int Shape, const vblend_set &V, int32_t Step, int Simd>
void pair_walk_line(uint8_t *dst, uint16_t *dst_alpha, int32_t first_width, int32_t line_weight,
                    int32_t width, const uint8_t *src, const uint16_t *src_alpha, int32_t x_step,
                    int32_t first_column_run, const rect_rows &rows) {
    using D = typename K::dst;
    // Pixels read: the first column, then one per x_step of the rest.
    const int32_t count =
        1 + (width > first_column_run ? (width - first_column_run - 1) / x_step + 1 : 0);
    const int32_t first =
        K::source == src_kind::yuvq
            ? 0
            : int32_t((reinterpret_cast<uintptr_t>(src) / K::src_pixel_bytes) & 1);
    const uint8_t *row = src - first * K::src_pixel_bytes;
    alignas(32) uint32_t buf[line_buffer_lanes + line_buffer_slack];
    const vblend_fn blend = Shape == 1 ? V.one : Shape == 2 ? V.two : V.of(rows);
    const int32_t odd = int32_t((reinterpret_cast<uintptr_t>(dst) / D::pixel_bytes) & 1);
    auto *d = reinterpret_cast<typename D::sample *>(dst) - 2 * odd;
    pair_line<K, P, Step, Simd> ops{
        d, dst_alpha, odd, {buf, K::quad ? 0 : first, first_column_run}, x_step};
#if defined(__SSE2__)
    if constexpr (Simd == 2 && K::source == src_kind::yuy2 && !K::quad) {
        // Long whole lines of at most three rows: the walk's first pixels
        // read at most the first 8 columns, so 8 pairs are blended now and
        // the rest after the whole pairs (run).
        constexpr int32_t head = 8;
        const int32_t pairs = (first + count + 1) >> 1;
        if (line_weight == rect_whole_line && x_step >= pair_direct_min_step &&
            x_step < pixel_units && rows.middle <= 1 && pairs > 4 * head &&
            width >= 2 * head * pixel_units) {
            pending_rows p{buf,
                           row,
                           src_alpha,
                           rows,
                           blend,
                           pairs,
                           {rows.first_weight},
                           1,
                           K::src_pixel_bytes};
            if (rows.middle == 1) p.weights[p.count++] = rows.middle_weight;
            if (rows.last_weight != 0) p.weights[p.count++] = rows.last_weight;
            blend(buf, row, src_alpha, first, 2 * head - first, rows);
            ops.pending = &p;
            area_walk(ops, first_width, line_weight, width);
            return;
        }
    }
#endif
    blend(buf, row, src_alpha, first, count, rows);
    area_walk(ops, first_width, line_weight, width);
}

// One destination line (the rect_kernel contract). Shape 1 and 2 are the
// one- and two-row kernels; 0 serves every role. Step not 0 is a kernel for
// that x_step only (the 1:1 kernels), its walk unrolled for it. Simd 1, 2:
// the whole pairs of a pair buffer summed in SSE2, or with AVX2.
template <class K, class P, int Shape, const vblend_set &V, int32_t Step = 0, int Simd = 0>
void pair_kernel(uint8_t *dst, uint16_t *dst_alpha, int32_t first_width, int32_t line_weight,
                 int32_t width, const uint8_t *src, int32_t src_pitch, const uint16_t *src_alpha,
                 int32_t src_alpha_pitch, int32_t x_step, int32_t y_step, int32_t first_column_run,
                 int32_t first_row_weight, int32_t middle_rows, int32_t last_row_weight) {
    using D = typename K::dst;
    const rect_rows rows{src_pitch,   src_alpha_pitch, first_row_weight,
                         middle_rows, y_step,          last_row_weight};
    auto walk = pair_walk_line<K, P, Shape, V, Step, Simd>;
    if constexpr (Shape == 1 && !K::quad && P::whole_first) {
        // One source row, 1:1 and aligned on whole pixels, the source pixel
        // in the same place of its pair as the destination's: each whole
        // destination pair is its source pair ((s * 2^23 + 2^22) >> 23 = s
        // for luma, (2 * s * 2^23 + 2^23) >> 24 = s for chroma), so whole
        // pairs are copied; the walk draws an odd first pixel and the end.
        constexpr int32_t pb = D::pixel_bytes;
        const bool odd = ((reinterpret_cast<uintptr_t>(dst) / pb) & 1) != 0;
        if (line_weight == rect_whole_line && x_step == pixel_units &&
            first_column_run == pixel_units && first_width == pixel_units &&
            odd == (((reinterpret_cast<uintptr_t>(src) / pb) & 1) != 0)) {
            if (odd) {
                walk(dst, dst_alpha, pixel_units, line_weight, pixel_units, src, src_alpha, x_step,
                     pixel_units, rows);
                dst += pb, src += pb, width -= pixel_units;
            }
            const int32_t pairs = width / (2 * pixel_units);
            std::memcpy(dst, src, size_t(pairs) * 2 * pb);
            dst += pairs * 2 * pb, src += pairs * 2 * pb, width -= pairs * 2 * pixel_units;
            if (width > 0)
                walk(dst, dst_alpha, width < pixel_units ? width : pixel_units, line_weight, width,
                     src, src_alpha, x_step, pixel_units, rows);
            return;
        }
    }
    walk(dst, dst_alpha, first_width, line_weight, width, src, src_alpha, x_step, first_column_run,
         rows);
}

} // namespace tovrel::rect
