// SSE2 whole-pixel runs of the RGBQ kernels: the same bytes and the same
// final cursor as rgbq_run_c.
//
// Without horizontal scaling on one or two source rows, and for halving on
// column boundaries, the run works on bytes directly. Otherwise the source
// rows are first summed vertically into v (per column and component, sum of
// component * row weight; the weights of a whole line add up to 2048, so
// v <= 255 * 2048 < 2^19), a chunk of columns at a time, and each
// destination pixel is then the overlap-weighted sum of v over its columns:
// sum(v * s) + 2^22 >> 23, the same integer as the walk's sum of component
// * s * row weight.
#if defined(__SSE2__)

#include <emmintrin.h>

#include <algorithm>
#include <cstring>

#include "rect/rect_pair_walk.h"
#include "rect/rect_rgbq.h"
#include "rect/rect_rgbq_simd.h"

namespace tovrel::rect {
namespace {

inline __m128i load4(const uint8_t *p) {
    int32_t v;
    std::memcpy(&v, p, 4);
    return _mm_cvtsi32_si128(v);
}

inline void store4(uint8_t *p, __m128i v) {
    const int32_t x = _mm_cvtsi128_si32(v);
    std::memcpy(p, &x, 4);
}

// Four dwords (each <= 255) to the four bytes of one pixel.
inline void store_pixel(uint8_t *p, __m128i v) {
    v = _mm_packs_epi32(v, v);
    store4(p, _mm_packus_epi16(v, v));
}

// Four pixels of four dwords each (all <= 255) to 16 bytes.
inline void store_pixels4(uint8_t *p, __m128i a, __m128i b, __m128i c, __m128i d) {
    const __m128i ab = _mm_packs_epi32(a, b);
    const __m128i cd = _mm_packs_epi32(c, d);
    _mm_storeu_si128(reinterpret_cast<__m128i *>(p), _mm_packus_epi16(ab, cd));
}

// 16-bit weight pair (lo, hi) in every dword, for pmaddwd.
inline __m128i weight_pair(int32_t lo, int32_t hi) {
    return _mm_set1_epi32(int32_t(uint32_t(lo) | uint32_t(hi) << 16));
}

// ---------------------------------------------------------------------------
// No horizontal scaling, source aligned: (a * wa + b * wb + 1024) >> 11.
void blend_rows(uint8_t *dst, int32_t count, const uint8_t *a, const uint8_t *b, int32_t wa,
                int32_t wb) {
    const __m128i zero = _mm_setzero_si128();
    const __m128i w = weight_pair(wa, wb);
    const __m128i round = _mm_set1_epi32(1024);
    auto mix = [&](__m128i words) { // a0 b0 a1 b1 ... as 16-bit: one pixel
        return _mm_srli_epi32(_mm_add_epi32(_mm_madd_epi16(words, w), round), 11);
    };
    int32_t i = 0;
    for (; i + 4 <= count; i += 4) {
        const __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i *>(a + 4 * i));
        const __m128i y = _mm_loadu_si128(reinterpret_cast<const __m128i *>(b + 4 * i));
        const __m128i lo = _mm_unpacklo_epi8(x, y);
        const __m128i hi = _mm_unpackhi_epi8(x, y);
        store_pixels4(dst + 4 * i, mix(_mm_unpacklo_epi8(lo, zero)),
                      mix(_mm_unpackhi_epi8(lo, zero)), mix(_mm_unpacklo_epi8(hi, zero)),
                      mix(_mm_unpackhi_epi8(hi, zero)));
    }
    for (; i < count; ++i) {
        const __m128i xy = _mm_unpacklo_epi8(load4(a + 4 * i), load4(b + 4 * i));
        store_pixel(dst + 4 * i, mix(_mm_unpacklo_epi8(xy, zero)));
    }
}

// ---------------------------------------------------------------------------
// Halving on column boundaries with up to three rows, from bytes: each
// destination pixel is (sum over rows of (a + b) * w + 2048) >> 12, a and b
// the row's two source pixels (the walk's sum is 2048 times that sum).
// With two rows of 1024 each this is (a + b + c + d + 2) >> 2.

// Horizontal pair sums of one row: 8 source pixels to 4 pixels of 16-bit
// sums (each <= 510), pixels 0, 1 in the first vector and 2, 3 in the second.
inline void pair_sums(const uint8_t *p, __m128i *s01, __m128i *s23) {
    const __m128i zero = _mm_setzero_si128();
    const __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i *>(p));
    const __m128i y = _mm_loadu_si128(reinterpret_cast<const __m128i *>(p + 16));
    const __m128i x0 = _mm_unpacklo_epi8(x, zero), x1 = _mm_unpackhi_epi8(x, zero);
    const __m128i y0 = _mm_unpacklo_epi8(y, zero), y1 = _mm_unpackhi_epi8(y, zero);
    *s01 = _mm_add_epi16(_mm_unpacklo_epi64(x0, x1), _mm_unpackhi_epi64(x0, x1));
    *s23 = _mm_add_epi16(_mm_unpacklo_epi64(y0, y1), _mm_unpackhi_epi64(y0, y1));
}

inline __m128i pair_sum1(const uint8_t *p) { // one destination pixel, in the low half
    const __m128i x = _mm_unpacklo_epi8(_mm_loadl_epi64(reinterpret_cast<const __m128i *>(p)),
                                        _mm_setzero_si128());
    return _mm_add_epi16(x, _mm_unpackhi_epi64(x, x));
}

void halve_rows(uint8_t *dst, int32_t count, const uint8_t *src, const rect_rows &rows) {
    const ptrdiff_t p = rows.pitch;
    const int32_t w0 = rows.first_weight;
    const int32_t w1 = rows.middle == 1 ? rows.middle_weight : rows.last_weight;
    const int32_t w2 = rows.middle == 1 ? rows.last_weight : 0;
    const int32_t n = 1 + rows.middle + (rows.last_weight != 0 ? 1 : 0);
    if (n == 2 && w0 == 1024 && w1 == 1024) {
        // (a + b + c + d + 2) >> 2 in bytes: with p = avg(a, b), q = avg(c, d)
        // (pavgb, rounding up) it is avg(p, q) less one exactly when p + q is
        // odd and a + b or c + d was odd (checked for all 2^32 inputs).
        const __m128i one = _mm_set1_epi8(1);
        auto mean4 = [&](__m128i a, __m128i b, __m128i c, __m128i d) {
            const __m128i p = _mm_avg_epu8(a, b), q = _mm_avg_epu8(c, d);
            const __m128i odd = _mm_or_si128(_mm_xor_si128(a, b), _mm_xor_si128(c, d));
            const __m128i t = _mm_and_si128(_mm_and_si128(_mm_xor_si128(p, q), odd), one);
            return _mm_sub_epi8(_mm_avg_epu8(p, q), t);
        };
        auto load = [](const uint8_t *q) {
            return _mm_castsi128_ps(_mm_loadu_si128(reinterpret_cast<const __m128i *>(q)));
        };
        auto even = [](__m128 x, __m128 y) {
            return _mm_castps_si128(_mm_shuffle_ps(x, y, _MM_SHUFFLE(2, 0, 2, 0)));
        };
        auto odd = [](__m128 x, __m128 y) {
            return _mm_castps_si128(_mm_shuffle_ps(x, y, _MM_SHUFFLE(3, 1, 3, 1)));
        };
        int32_t i = 0;
        for (; i + 4 <= count; i += 4) {
            const __m128 x0 = load(src + 8 * i), x1 = load(src + 8 * i + 16);
            const __m128 y0 = load(src + p + 8 * i), y1 = load(src + p + 8 * i + 16);
            _mm_storeu_si128(reinterpret_cast<__m128i *>(dst + 4 * i),
                             mean4(even(x0, x1), odd(x0, x1), even(y0, y1), odd(y0, y1)));
        }
        for (; i < count; ++i) {
            const uint8_t *q = src + 8 * i;
            store4(dst + 4 * i, mean4(load4(q), load4(q + 4), load4(q + p), load4(q + p + 4)));
        }
        return;
    }
    const __m128i w01 = weight_pair(w0, w1);
    const __m128i w2z = weight_pair(w2, 0);
    const __m128i round = _mm_set1_epi32(2048);
    const __m128i zero = _mm_setzero_si128();
    // Row sums interleaved with the next row's, times (w0, w1), plus (w2, 0).
    auto mix = [&](__m128i a, __m128i b, __m128i c) {
        __m128i s = _mm_madd_epi16(_mm_unpacklo_epi16(a, b), w01);
        if (n == 3) s = _mm_add_epi32(s, _mm_madd_epi16(_mm_unpacklo_epi16(c, zero), w2z));
        return _mm_srli_epi32(_mm_add_epi32(s, round), 12);
    };
    auto high = [](__m128i x) { return _mm_unpackhi_epi64(x, x); };
    int32_t i = 0;
    for (; i + 4 <= count; i += 4) {
        __m128i a01, a23, b01 = zero, b23 = zero, c01 = zero, c23 = zero;
        pair_sums(src + 8 * i, &a01, &a23);
        if (n >= 2) pair_sums(src + p + 8 * i, &b01, &b23);
        if (n == 3) pair_sums(src + 2 * p + 8 * i, &c01, &c23);
        store_pixels4(dst + 4 * i, mix(a01, b01, c01), mix(high(a01), high(b01), high(c01)),
                      mix(a23, b23, c23), mix(high(a23), high(b23), high(c23)));
    }
    for (; i < count; ++i) {
        const __m128i a = pair_sum1(src + 8 * i);
        const __m128i b = n >= 2 ? pair_sum1(src + p + 8 * i) : zero;
        const __m128i c = n == 3 ? pair_sum1(src + 2 * p + 8 * i) : zero;
        store_pixel(dst + 4 * i, mix(a, b, c));
    }
}

// ---------------------------------------------------------------------------
// Vertical sums. One pass over `cols` columns with up to three rows (r0,
// r0 + pitch, r0 + 2 pitch), storing or adding into v.
template <int Rows, bool Add>
void vsum_pass(uint32_t *v, const uint8_t *r0, ptrdiff_t pitch, int32_t cols, int32_t w0,
               int32_t w1, int32_t w2) {
    const __m128i zero = _mm_setzero_si128();
    const __m128i w01 = weight_pair(w0, Rows >= 2 ? w1 : 0);
    const __m128i w2z = weight_pair(w2, 0);
    // Rows not read are not addressed.
    const uint8_t *r1 = Rows >= 2 ? r0 + pitch : r0;
    const uint8_t *r2 = Rows == 3 ? r1 + pitch : r0;
    auto finish = [&](uint32_t *out, __m128i s) {
        __m128i *q = reinterpret_cast<__m128i *>(out);
        if constexpr (Add) s = _mm_add_epi32(s, _mm_load_si128(q));
        _mm_store_si128(q, s);
    };
    int32_t i = 0;
    for (; i + 4 <= cols; i += 4) {
        const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i *>(r0 + 4 * i));
        const __m128i b =
            Rows >= 2 ? _mm_loadu_si128(reinterpret_cast<const __m128i *>(r1 + 4 * i)) : zero;
        const __m128i lo = _mm_unpacklo_epi8(a, b);
        const __m128i hi = _mm_unpackhi_epi8(a, b);
        __m128i s0 = _mm_madd_epi16(_mm_unpacklo_epi8(lo, zero), w01);
        __m128i s1 = _mm_madd_epi16(_mm_unpackhi_epi8(lo, zero), w01);
        __m128i s2 = _mm_madd_epi16(_mm_unpacklo_epi8(hi, zero), w01);
        __m128i s3 = _mm_madd_epi16(_mm_unpackhi_epi8(hi, zero), w01);
        if constexpr (Rows == 3) {
            const __m128i c = _mm_loadu_si128(reinterpret_cast<const __m128i *>(r2 + 4 * i));
            const __m128i clo = _mm_unpacklo_epi8(c, zero);
            const __m128i chi = _mm_unpackhi_epi8(c, zero);
            s0 = _mm_add_epi32(s0, _mm_madd_epi16(_mm_unpacklo_epi8(clo, zero), w2z));
            s1 = _mm_add_epi32(s1, _mm_madd_epi16(_mm_unpackhi_epi8(clo, zero), w2z));
            s2 = _mm_add_epi32(s2, _mm_madd_epi16(_mm_unpacklo_epi8(chi, zero), w2z));
            s3 = _mm_add_epi32(s3, _mm_madd_epi16(_mm_unpackhi_epi8(chi, zero), w2z));
        }
        finish(v + 4 * i, s0);
        finish(v + 4 * i + 4, s1);
        finish(v + 4 * i + 8, s2);
        finish(v + 4 * i + 12, s3);
    }
    for (; i < cols; ++i) {
        const __m128i a = load4(r0 + 4 * i);
        const __m128i b = Rows >= 2 ? load4(r1 + 4 * i) : zero;
        __m128i s = _mm_madd_epi16(_mm_unpacklo_epi8(_mm_unpacklo_epi8(a, b), zero), w01);
        if constexpr (Rows == 3) {
            const __m128i c = _mm_unpacklo_epi8(load4(r2 + 4 * i), zero);
            s = _mm_add_epi32(s, _mm_madd_epi16(_mm_unpacklo_epi8(c, zero), w2z));
        }
        finish(v + 4 * i, s);
    }
}

void vsum(uint32_t *v, const uint8_t *src, int32_t cols, const rect_rows &rows) {
    const int32_t n = 1 + rows.middle + (rows.last_weight != 0 ? 1 : 0);
    const ptrdiff_t p = rows.pitch;
    const int32_t mw = rows.middle_weight;
    auto weight = [&](int32_t k) {
        return k == 0 ? rows.first_weight : k <= rows.middle ? mw : rows.last_weight;
    };
    switch (n) {
    case 1:
        vsum_pass<1, false>(v, src, p, cols, rows.first_weight, 0, 0);
        return;
    case 2:
        vsum_pass<2, false>(v, src, p, cols, rows.first_weight, weight(1), 0);
        return;
    case 3:
        vsum_pass<3, false>(v, src, p, cols, rows.first_weight, weight(1), weight(2));
        return;
    default:
        break;
    }
    vsum_pass<3, false>(v, src, p, cols, rows.first_weight, weight(1), weight(2));
    int32_t k = 3;
    for (; k + 3 <= n; k += 3)
        vsum_pass<3, true>(v, src + k * p, p, cols, weight(k), weight(k + 1), weight(k + 2));
    if (n - k == 2) vsum_pass<2, true>(v, src + k * p, p, cols, weight(k), weight(k + 1), 0);
    if (n - k == 1) vsum_pass<1, true>(v, src + k * p, p, cols, weight(k), 0, 0);
}

// ---------------------------------------------------------------------------
// Horizontal passes over v. Each writes m pixels, returns the number of
// columns the cursor moved and leaves the run of the current column in *run.

inline const __m128i *column(const uint32_t *v, int32_t col) {
    return reinterpret_cast<const __m128i *>(v + 4 * col);
}

// v * s for v < 2^19 and s <= 4096: products below 2^31. pmuludq works on
// lanes 0 and 2, so even and odd components are multiplied apart and
// rejoined once per pixel.
struct wide_sum {
    __m128i even = _mm_setzero_si128();
    __m128i odd = _mm_setzero_si128();
    void add(__m128i v, int32_t s) {
        const __m128i m = _mm_set1_epi32(s);
        even = _mm_add_epi64(even, _mm_mul_epu32(v, m));
        odd = _mm_add_epi64(odd, _mm_mul_epu32(_mm_srli_epi64(v, 32), m));
    }
    // The four sums modulo 2^32 (for RGBQ each is below 2^31).
    __m128i sums() const { return _mm_or_si128(even, _mm_slli_epi64(odd, 32)); }
};

// Where the horizontal passes put pixel j: its four sums, or a whole
// column x (sums x * 4096).
struct rgbq_out {
    uint8_t *dst;
    // (sum + 2^22) >> 23.
    void operator()(int32_t j, __m128i s) const {
        store_pixel(dst + 4 * j, _mm_srli_epi32(_mm_add_epi32(s, _mm_set1_epi32(1 << 22)), 23));
    }
    // (x * 4096 + 2^22) >> 23 = (x + 1024) >> 11.
    void whole(int32_t j, __m128i x) const {
        store_pixel(dst + 4 * j, _mm_srli_epi32(_mm_add_epi32(x, _mm_set1_epi32(1024)), 11));
    }
};
struct sums_out {
    uint32_t *sums;
    void operator()(int32_t j, __m128i s) const {
        _mm_storeu_si128(reinterpret_cast<__m128i *>(sums + 4 * j), s);
    }
    void whole(int32_t j, __m128i x) const { (*this)(j, _mm_slli_epi32(x, 12)); }
};

// x_step < 4096: every pixel takes the rest of the current column, whole
// columns of x_step, and a head of the next column.
template <class Out>
int32_t hpass_down(Out out, int32_t m, const uint32_t *v, int32_t *run_io, int32_t x_step) {
    int32_t col = 0, run = *run_io;
    for (int32_t j = 0; j < m; ++j) {
        wide_sum acc;
        int32_t left = pixel_units;
        // run <= x_step < 4096: the current column ends inside the pixel.
        acc.add(_mm_load_si128(column(v, col)), run);
        left -= run;
        ++col;
        if (left >= x_step) {
            // Whole columns share the weight x_step: x_step * sum(v) is at
            // most the pixel's total, below 2^31.
            __m128i whole = _mm_load_si128(column(v, col));
            ++col;
            left -= x_step;
            while (left >= x_step) {
                whole = _mm_add_epi32(whole, _mm_load_si128(column(v, col)));
                ++col;
                left -= x_step;
            }
            acc.add(whole, x_step);
        }
        if (left > 0) {
            acc.add(_mm_load_si128(column(v, col)), left);
            run = x_step - left;
        } else {
            run = x_step;
        }
        out(j, acc.sums());
    }
    *run_io = run;
    return col;
}

// 2048 <= x_step < 4096: every pixel takes the rest of the current column
// and at most two more; a third tap of weight 0 reads the zeroed column
// past the chunk's last.
template <class Out>
int32_t hpass_down3(Out out, int32_t m, const uint32_t *v, int32_t *run_io, int32_t x_step) {
    int32_t col = 0, run = *run_io;
    for (int32_t j = 0; j < m; ++j) {
        const int32_t rem = pixel_units - run; // 1..4095, below 2 x_step
        const bool two = rem >= x_step;        // column col + 1 ends inside the pixel
        const int32_t s1 = two ? x_step : rem;
        wide_sum acc;
        acc.add(_mm_load_si128(column(v, col)), run);
        acc.add(_mm_load_si128(column(v, col + 1)), s1);
        acc.add(_mm_load_si128(column(v, col + 2)), rem - s1);
        out(j, acc.sums());
        col += two ? 2 : 1;
        run = (two ? 2 * x_step : x_step) - rem;
    }
    *run_io = run;
    return col;
}

// x_step >= 4096: one column ((v * 4096 + 2^22) >> 23 = (v + 1024) >> 11),
// or the rest of one and the head of the next.
template <class Out>
int32_t hpass_up(Out out, int32_t m, const uint32_t *v, int32_t *run_io, int32_t x_step) {
    int32_t col = 0, run = *run_io;
    for (int32_t j = 0; j < m; ++j) {
        if (run >= pixel_units) {
            out.whole(j, _mm_load_si128(column(v, col)));
            run -= pixel_units;
            if (run == 0) {
                ++col;
                run = x_step;
            }
            continue;
        }
        wide_sum acc;
        acc.add(_mm_load_si128(column(v, col)), run);
        acc.add(_mm_load_si128(column(v, col + 1)), pixel_units - run);
        out(j, acc.sums());
        ++col;
        run = x_step - (pixel_units - run);
    }
    *run_io = run;
    return col;
}

// x_step 2048 on column boundaries: (v0 + v1) * 2048 + 2^22 >> 23 is
// (v0 + v1 + 2048) >> 12.
int32_t hpass_half(uint8_t *dst, int32_t m, const uint32_t *v, int32_t *run_io, int32_t) {
    const __m128i round = _mm_set1_epi32(2048);
    auto px = [&](int32_t j) {
        const __m128i s =
            _mm_add_epi32(_mm_load_si128(column(v, 2 * j)), _mm_load_si128(column(v, 2 * j + 1)));
        return _mm_srli_epi32(_mm_add_epi32(s, round), 12);
    };
    int32_t j = 0;
    for (; j + 4 <= m; j += 4) store_pixels4(dst + 4 * j, px(j), px(j + 1), px(j + 2), px(j + 3));
    for (; j < m; ++j) store_pixel(dst + 4 * j, px(j));
    *run_io = 2048;
    return 2 * m;
}

// An RGBQ pass (rgbq_hpass_fn) of a pass templated on its output.
template <int32_t (*Pass)(rgbq_out, int32_t, const uint32_t *, int32_t *, int32_t)>
int32_t rgbq_hpass(uint8_t *dst, int32_t m, const uint32_t *v, int32_t *run, int32_t x_step) {
    return Pass(rgbq_out{dst}, m, v, run, x_step);
}

} // namespace

int32_t pair_hpass_down3_sse2(uint32_t *sums, int32_t m, const uint32_t *v, int32_t *run,
                              int32_t x_step) {
    return hpass_down3(sums_out{sums}, m, v, run, x_step);
}

int32_t pair_whole_sums_sse2(uint32_t *sums, int32_t m, const uint32_t *buf, int32_t i,
                             int32_t *run, int32_t x_step, bool avx2) {
    // Each source pixel becomes a column Y U Y V (its pair's chroma), a
    // chunk at a time, and the RGBQ passes sum the columns; lanes 0 and 2
    // both give the pixel's luma.
    constexpr int32_t chunk = rgbq_chunk_columns;
    alignas(16) uint32_t v[(chunk + 2) * 4];
    int32_t moved = 0;
    while (m > 0) {
        const int64_t reach = int64_t{*run} + int64_t{chunk - 1} * x_step;
        const int32_t n = int32_t(std::min<int64_t>(m, reach / pixel_units));
        const int64_t units = int64_t{n} * pixel_units;
        const int32_t cols = units > *run ? int32_t((units - *run + x_step - 1) / x_step) + 1 : 1;
        // Pixel k of pair p: Y0 U Y0 V or Y1 U Y1 V.
        auto pair = [&](int32_t k) {
            return _mm_loadu_si128(reinterpret_cast<const __m128i *>(buf + 4 * (k >> 1)));
        };
        auto put = [&](int32_t c, __m128i x) {
            _mm_store_si128(reinterpret_cast<__m128i *>(v + 4 * c), x);
        };
        int32_t k = i + moved, c = 0;
        if (k & 1) put(c++, _mm_shuffle_epi32(pair(k++), _MM_SHUFFLE(3, 2, 1, 2)));
        for (; c + 2 <= cols; c += 2, k += 2) {
            const __m128i p = pair(k);
            put(c, _mm_shuffle_epi32(p, _MM_SHUFFLE(3, 0, 1, 0)));
            put(c + 1, _mm_shuffle_epi32(p, _MM_SHUFFLE(3, 2, 1, 2)));
        }
        if (c < cols) put(c, _mm_shuffle_epi32(pair(k), _MM_SHUFFLE(3, 0, 1, 0)));
        std::memset(v + 4 * cols, 0, 2 * 4 * sizeof(uint32_t));
        const sums_out out{sums};
        moved += x_step >= pixel_units ? hpass_up(out, n, v, run, x_step)
                 : x_step < 2048       ? hpass_down(out, n, v, run, x_step)
                 : avx2                ? pair_hpass_down3_avx2(sums, n, v, run, x_step)
                                       : hpass_down3(out, n, v, run, x_step);
        sums += 4 * n;
        m -= n;
    }
    return moved;
}

int32_t rgbq_hpass_down3_sse2(uint8_t *dst, int32_t m, const uint32_t *v, int32_t *run,
                              int32_t x_step) {
    return hpass_down3(rgbq_out{dst}, m, v, run, x_step);
}

void rgbq_vsum_sse2(uint32_t *v, const uint8_t *src, int32_t cols, const rect_rows &rows) {
    vsum(v, src, cols, rows);
}

void vblend_yuy2_sse2(uint32_t *buf, const uint8_t *src, const uint16_t *, int32_t first,
                      int32_t count, const rect_rows &rows) {
    vsum(buf, src, (first + count + 1) >> 1, rows);
}

void rgbq_run_columns(uint8_t *dst, int32_t count, rect_cursor *cur, const rect_rows &rows,
                      int32_t x_step, rgbq_vsum_fn vsum_fn, rgbq_hpass_fn hpass) {
    // Two zeroed columns follow the summed ones for taps of weight 0.
    alignas(32) uint32_t v[(rgbq_chunk_columns + 2) * 4];
    while (count > 0) {
        // Pixels whose columns fit in one chunk: m pixels reach
        // ceil((4096 m - run) / x_step) columns past the current one.
        const int64_t reach = int64_t{cur->run} + int64_t{rgbq_chunk_columns - 1} * x_step;
        int32_t m = int32_t(std::min<int64_t>(count, reach / pixel_units));
        // Groups of eight pixels for the vector passes: only the run's last
        // chunk leaves a shorter tail.
        if (m < count && m >= 8) m &= ~7;
        if (m == 0) { // a pixel wider than a chunk of columns
            rgbq_run_c(dst, 1, cur, rows, x_step);
            dst += 4;
            --count;
            continue;
        }
        const int64_t units = int64_t{m} * pixel_units;
        const int32_t cols =
            units > cur->run ? int32_t((units - cur->run + x_step - 1) / x_step) + 1 : 1;
        vsum_fn(v, cur->src, cols, rows);
        std::memset(v + 4 * cols, 0, 2 * 4 * sizeof(uint32_t));
        const int32_t moved = hpass(dst, m, v, &cur->run, x_step);
        cur->src += ptrdiff_t(moved) * 4;
        dst += ptrdiff_t(m) * 4;
        count -= m;
    }
}

void rgbq_run_sse2(uint8_t *dst, int32_t count, rect_cursor *cur, const rect_rows &rows,
                   int32_t x_step) {
    if (count <= 0) return;
    if (x_step == pixel_units && rows.middle == 0 && cur->run == pixel_units) {
        if (rows.last_weight == 0 && rows.first_weight == rect_whole_line) {
            std::memmove(dst, cur->src, size_t(count) * 4);
        } else {
            const uint8_t *lower = rows.last_weight != 0 ? cur->src + rows.pitch : cur->src;
            blend_rows(dst, count, cur->src, lower, rows.first_weight, rows.last_weight);
        }
        cur->src += ptrdiff_t(count) * 4;
        return;
    }
    if (x_step == 2048 && cur->run == 2048 && rows.middle <= 1) {
        halve_rows(dst, count, cur->src, rows);
        cur->src += ptrdiff_t(count) * 8;
        return;
    }
    rgbq_hpass_fn hpass = x_step >= pixel_units ? rgbq_hpass<hpass_up<rgbq_out>>
                          : x_step >= 2048      ? rgbq_hpass<hpass_down3<rgbq_out>>
                                                : rgbq_hpass<hpass_down<rgbq_out>>;
    if (x_step == 2048 && cur->run == 2048) hpass = hpass_half;
    rgbq_run_columns(dst, count, cur, rows, x_step, vsum, hpass);
}

} // namespace tovrel::rect

#endif // __SSE2__
