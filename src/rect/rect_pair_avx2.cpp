// AVX2 forms of the 4:2:2 pair-buffer routines: the vertical pre-pass of
// YUY2 and W210 sources without source alpha, the halving writer, and the
// whole pairs of steps 2341..4095 (luma of eight pixels and chroma of four
// pairs a step, three taps each, from windows of the buffer). Each gives the
// bytes of its scalar statement in rect_pair_walk.h (vblend_c, pair_halve_c,
// pair_whole_c). Reached only through rect_isa::avx2, chosen once per call
// on processors that have it.
#if defined(__SSE2__)

#include <immintrin.h>

#include "rect/rect_cursor_avx2.h"
#include "rect/rect_pair_walk.h"

namespace tovrel::rect {
namespace {

template <class T>
TOVREL_AVX2 inline __m256i load256(const T *p) {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i *>(p));
}

// Sixteen bytes as 16-bit lanes.
TOVREL_AVX2 inline __m256i widen16(const uint8_t *p) {
    return _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i *>(p)));
}

// Lanes 0-3 | 8-11 and 4-7 | 12-15 of sixteen sums back in order, stored
// (added to what the buffer holds when Add).
template <bool Add>
TOVREL_AVX2 inline void store16(uint32_t *out, __m256i lo, __m256i hi) {
    __m256i a = _mm256_permute2x128_si256(lo, hi, 0x20);
    __m256i b = _mm256_permute2x128_si256(lo, hi, 0x31);
    __m256i *q = reinterpret_cast<__m256i *>(out);
    if constexpr (Add) {
        a = _mm256_add_epi32(a, _mm256_loadu_si256(q));
        b = _mm256_add_epi32(b, _mm256_loadu_si256(q + 1));
    }
    _mm256_storeu_si256(q, a);
    _mm256_storeu_si256(q + 1, b);
}

// N (1..3) YUY2 rows from r, weights w[0..N-1] (each at most 2048), over
// `lanes` bytes (a multiple of 16): per byte sum of sample * weight, below
// 2^21, by 16-bit multiply-adds of the rows taken in twos.
template <int N, bool Add>
TOVREL_AVX2 void yuy2_pass(uint32_t *buf, const uint8_t *r, ptrdiff_t pitch, int32_t lanes,
                           const int32_t *w) {
    const __m256i w01 =
        _mm256_set1_epi32(int32_t(uint32_t(w[0]) | uint32_t(N >= 2 ? w[1] : 0) << 16));
    const __m256i w2 = _mm256_set1_epi32(N == 3 ? w[2] : 0);
    const uint8_t *r1 = r + (N >= 2 ? pitch : 0), *r2 = r + (N == 3 ? 2 * pitch : 0);
    const __m256i zero = _mm256_setzero_si256();
    for (int32_t i = 0; i < lanes; i += 16) {
        const __m256i a = widen16(r + i), b = N >= 2 ? widen16(r1 + i) : zero;
        __m256i lo = _mm256_madd_epi16(_mm256_unpacklo_epi16(a, b), w01);
        __m256i hi = _mm256_madd_epi16(_mm256_unpackhi_epi16(a, b), w01);
        if constexpr (N == 3) {
            const __m256i c = widen16(r2 + i);
            lo = _mm256_add_epi32(lo, _mm256_madd_epi16(_mm256_unpacklo_epi16(c, zero), w2));
            hi = _mm256_add_epi32(hi, _mm256_madd_epi16(_mm256_unpackhi_epi16(c, zero), w2));
        }
        store16<Add>(buf + i, lo, hi);
    }
}

// The same for W210 words: (sample * weight) >> 2 per row, each product
// of a zero-extended word (words above 1023 included) below 2^27.
template <int N, bool Add>
TOVREL_AVX2 void w210_pass(uint32_t *buf, const uint8_t *r, ptrdiff_t pitch, int32_t lanes,
                           const int32_t *w) {
    __m256i wk[N];
    for (int k = 0; k < N; ++k) wk[k] = _mm256_set1_epi32(w[k]);
    for (int32_t i = 0; i < lanes; i += 16) {
        __m256i lo = _mm256_setzero_si256(), hi = lo;
        for (int k = 0; k < N; ++k) { // unrolled: N is fixed
            const uint16_t *s = reinterpret_cast<const uint16_t *>(r + k * pitch) + i;
            const __m256i a =
                _mm256_cvtepu16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i *>(s)));
            const __m256i b =
                _mm256_cvtepu16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i *>(s + 8)));
            lo = _mm256_add_epi32(lo, _mm256_srli_epi32(_mm256_mullo_epi32(a, wk[k]), 2));
            hi = _mm256_add_epi32(hi, _mm256_srli_epi32(_mm256_mullo_epi32(b, wk[k]), 2));
        }
        __m256i *q = reinterpret_cast<__m256i *>(buf + i);
        if constexpr (Add) {
            lo = _mm256_add_epi32(lo, _mm256_loadu_si256(q));
            hi = _mm256_add_epi32(hi, _mm256_loadu_si256(q + 1));
        }
        _mm256_storeu_si256(q, lo);
        _mm256_storeu_si256(q + 1, hi);
    }
}

template <class K, int N, bool Add>
TOVREL_AVX2 void pass(uint32_t *buf, const uint8_t *r, ptrdiff_t pitch, int32_t lanes,
                      const int32_t *w) {
    if constexpr (K::source == src_kind::yuy2)
        yuy2_pass<N, Add>(buf, r, pitch, lanes, w);
    else
        w210_pass<N, Add>(buf, r, pitch, lanes, w);
}

// Two destination pairs of the halving writer from sixteen lanes (four
// source pairs): luma sums in lanes 0 and 2, chroma sums in lanes 1 and 3 of
// each half. Luma: (2048 * (y0 + y1) + 2^(B-1)) >> B; chroma:
// (4096 * (u0 + u1) + 2^B) >> (B + 1); products modulo 2^32 as uint32, then
// the sample type's truncation (mask).
template <int B>
TOVREL_AVX2 inline __m256i halve2(const uint32_t *s, __m256i mask) {
    const __m256i up = _mm256_setr_epi32(11, 12, 11, 12, 11, 12, 11, 12);
    const __m256i round = _mm256_setr_epi32(1 << (B - 1), 1 << B, 1 << (B - 1), 1 << B,
                                            1 << (B - 1), 1 << B, 1 << (B - 1), 1 << B);
    const __m256i down = _mm256_setr_epi32(B, B + 1, B, B + 1, B, B + 1, B, B + 1);
    const __m256i a = load256(s), b = load256(s + 8);
    const __m256i lo = _mm256_permute2x128_si256(a, b, 0x20);
    const __m256i hi = _mm256_permute2x128_si256(a, b, 0x31);
    const __m256i y =
        _mm256_add_epi32(_mm256_unpacklo_epi64(lo, hi), _mm256_unpackhi_epi64(lo, hi));
    const __m256i t = _mm256_blend_epi32(y, _mm256_add_epi32(lo, hi), 0xAA);
    const __m256i v = _mm256_srlv_epi32(_mm256_add_epi32(_mm256_sllv_epi32(t, up), round), down);
    return _mm256_and_si256(v, mask);
}

template <class D>
TOVREL_AVX2 void halve(typename D::sample *out, const uint32_t *p, int32_t pairs) {
    constexpr int B = D::bits;
    const __m256i mask = _mm256_set1_epi32(int32_t(uint32_t(typename D::sample(~0u))));
    int32_t q = 0;
    for (; q + 4 <= pairs; q += 4) {
        // [dp0 dp2 | dp1 dp3] as 16-bit samples
        const __m256i w =
            _mm256_packus_epi32(halve2<B>(p + 8 * q, mask), halve2<B>(p + 8 * q + 16, mask));
        if constexpr (sizeof(typename D::sample) == 2) {
            _mm256_storeu_si256(reinterpret_cast<__m256i *>(out + 4 * q),
                                _mm256_permute4x64_epi64(w, 0xD8));
        } else {
            const __m256i b = _mm256_permutevar8x32_epi32(
                _mm256_packus_epi16(w, w), _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7));
            _mm_storeu_si128(reinterpret_cast<__m128i *>(out + 4 * q), _mm256_castsi256_si128(b));
        }
    }
    pair_halve_c<D>(out + 4 * q, p + 8 * q, pairs - q);
}

// Eight luma sums of a pair buffer from pixel k on (lanes 2k, 2k + 2, ...).
TOVREL_AVX2 inline __m256i luma8(const uint32_t *buf, int32_t k) {
    const __m256 a = _mm256_castsi256_ps(load256(buf + 2 * k));
    const __m256 b = _mm256_castsi256_ps(load256(buf + 2 * k + 8));
    const __m256 even = _mm256_shuffle_ps(a, b, _MM_SHUFFLE(2, 0, 2, 0));
    return _mm256_permute4x64_epi64(_mm256_castps_si256(even), 0xD8);
}

// The U (*u) and V (*v) sums of eight source pairs from pair p on.
TOVREL_AVX2 inline void chroma8(const uint32_t *buf, int32_t p, __m256i *u, __m256i *v) {
    const float *f = reinterpret_cast<const float *>(buf + 4 * p);
    // [U0 V0 U2 V2 | U1 V1 U3 V3] and the same for pairs 4..7
    const __m256 s0 =
        _mm256_shuffle_ps(_mm256_loadu_ps(f), _mm256_loadu_ps(f + 8), _MM_SHUFFLE(3, 1, 3, 1));
    const __m256 s1 = _mm256_shuffle_ps(_mm256_loadu_ps(f + 16), _mm256_loadu_ps(f + 24),
                                        _MM_SHUFFLE(3, 1, 3, 1));
    const __m256i order = _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7);
    *u = _mm256_permutevar8x32_epi32(
        _mm256_castps_si256(_mm256_shuffle_ps(s0, s1, _MM_SHUFFLE(2, 0, 2, 0))), order);
    *v = _mm256_permutevar8x32_epi32(
        _mm256_castps_si256(_mm256_shuffle_ps(s0, s1, _MM_SHUFFLE(3, 1, 3, 1))), order);
}

// The footprints starting at edge + lane offsets (below 2^15) from the
// start of column `base`.
TOVREL_AVX2 inline cursor8 cursor_at(int32_t base, int32_t edge, __m256i offsets, int32_t step) {
    const __m256i xs = _mm256_set1_epi32(step);
    const __m256i u = _mm256_add_epi32(_mm256_set1_epi32(edge), offsets);
    // u / step as a float product is within 2^-22 of the quotient (below
    // 16); its truncation is one low at most, at exact multiples.
    const __m256i q = _mm256_cvttps_epi32(
        _mm256_mul_ps(_mm256_cvtepi32_ps(u), _mm256_set1_ps(1.0f / float(step))));
    const __m256i r = _mm256_sub_epi32(u, _mm256_mullo_epi32(q, xs));
    const __m256i over = _mm256_cmpgt_epi32(r, _mm256_set1_epi32(step - 1));
    return {_mm256_add_epi32(_mm256_sub_epi32(q, over), _mm256_set1_epi32(base)),
            _mm256_sub_epi32(r, _mm256_and_si256(over, xs))};
}

// Sum of the three taps: lanes 0-3 pick from window lo, lanes 4-7 from hi,
// at column idx, idx + 1, idx + 2 (a tap of weight 0 may pick anything).
TOVREL_AVX2 inline __m256i tap3(__m256i lo, __m256i hi, __m256i idx, const taps &t) {
    const __m256i one = _mm256_set1_epi32(1);
    auto pick = [ lo, hi ](__m256i k) __attribute__((target("avx2"))) {
        return _mm256_blend_epi32(_mm256_permutevar8x32_epi32(lo, k),
                                  _mm256_permutevar8x32_epi32(hi, k), 0xF0);
    };
    const __m256i i1 = _mm256_add_epi32(idx, one), i2 = _mm256_add_epi32(i1, one);
    __m256i s = _mm256_mullo_epi32(pick(idx), t.w0);
    s = _mm256_add_epi32(s, _mm256_mullo_epi32(pick(i1), t.w1));
    return _mm256_add_epi32(s, _mm256_mullo_epi32(pick(i2), t.w2));
}

template <class K>
TOVREL_AVX2 void down3(typename K::dst::sample *out, int32_t pairs, const uint32_t *buf,
                       int32_t *i_io, int32_t *run_io, int32_t x_step, int32_t limit) {
    using D = typename K::dst;
    constexpr int B = D::bits;
    const int32_t x2 = 2 * x_step;
    // Luma: the next pixel starts `edge` units into buffer pixel col; chroma:
    // `cedge` units into source pair ccol (its columns as if both whole).
    int32_t col = *i_io, edge = x_step - *run_io;
    int32_t ccol = col >> 1, cedge = x2 - *run_io - ((col & 1) != 0 ? 0 : x_step);
    const __m256i pixel_offsets =
        _mm256_setr_epi32(0, 4096, 8192, 12288, 16384, 20480, 24576, 28672);
    const __m256i pair_offsets = _mm256_setr_epi32(0, 8192, 16384, 24576, 0, 8192, 16384, 24576);
    const __m256i high = _mm256_setr_epi32(0, 0, 0, 0, -1, -1, -1, -1);
    const __m256i mask = _mm256_set1_epi32(int32_t(uint32_t(typename D::sample(~0u))));
    // Eight pixels on are 32768 units: k8 steps and r8 units (luma), ck8
    // and cr8 (chroma); the scalar cursors keep off the vectors' latency.
    const int32_t k8 = 8 * pixel_units / x_step, r8 = 8 * pixel_units % x_step;
    const int32_t k4 = 4 * pixel_units / x_step, r4 = 4 * pixel_units % x_step;
    const int32_t ck8 = 8 * pixel_units / x2, cr8 = 8 * pixel_units % x2;
    const cursor_step yk = cursor_step_of(x_step, pixel_units);
    const cursor_step ck = cursor_step_of(x2, 2 * pixel_units);
    // Eight pixels (luma), and four pairs twice (U lanes 0-3, V lanes 4-7);
    // tap3 takes their columns from the windows' first.
    cursor8 y = cursor_at(col, edge, pixel_offsets, x_step),
            c = cursor_at(ccol, cedge, pair_offsets, x2);
    int32_t q = 0;
    // Four pairs a step while every window (luma to 2 col + 29, chroma to
    // 2 col + 33) stays inside the buffer.
    for (; q + 4 <= pairs && 2 * col + 40 <= limit; q += 4) {
        const int32_t q4 = k4 + (edge + r4 >= x_step ? 1 : 0); // pixel 4's column, as y.q
        const __m256i idx =
            _mm256_sub_epi32(y.q, _mm256_add_epi32(_mm256_set1_epi32(col),
                                                   _mm256_and_si256(_mm256_set1_epi32(q4), high)));
        const __m256i ysum = tap3(luma8(buf, col), luma8(buf, col + q4), idx, taps_of(y.r, yk));
        __m256i u, v;
        chroma8(buf, ccol, &u, &v);
        const __m256i csum =
            tap3(u, v, _mm256_sub_epi32(c.q, _mm256_set1_epi32(ccol)), taps_of(c.r, ck));
        col += k8, edge += r8;
        if (edge >= x_step) edge -= x_step, ++col;
        ccol += ck8, cedge += cr8;
        if (cedge >= x2) cedge -= x2, ++ccol;
        y = next(y, yk);
        c = next(c, ck);

        const __m256i ys = _mm256_and_si256(
            _mm256_srli_epi32(_mm256_add_epi32(ysum, _mm256_set1_epi32(1 << (B - 1))), B), mask);
        const __m256i cs = _mm256_and_si256(
            _mm256_srli_epi32(_mm256_add_epi32(csum, _mm256_set1_epi32(1 << B)), B + 1), mask);
        // Per pixel its luma and the chroma it carries: U0 V0 U1 V1 ...
        const __m256i w = _mm256_or_si256(
            ys,
            _mm256_slli_epi32(
                _mm256_permutevar8x32_epi32(cs, _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7)), 16));
        if constexpr (sizeof(typename D::sample) == 2) {
            _mm256_storeu_si256(reinterpret_cast<__m256i *>(out + 4 * q), w);
        } else {
            const __m256i b = _mm256_permute4x64_epi64(_mm256_packus_epi16(w, w), 0x08);
            _mm_storeu_si128(reinterpret_cast<__m128i *>(out + 4 * q), _mm256_castsi256_si128(b));
        }
    }
    *i_io = col;
    *run_io = x_step - edge;
    pair_whole_c<K>(out + 4 * q, pairs - q, buf, i_io, run_io, x_step);
}

// Sixteen bytes at a and sixteen at b as the two lanes of a vector.
TOVREL_AVX2 inline __m256i load2x128(const uint8_t *a, const uint8_t *b) {
    return _mm256_inserti128_si256(
        _mm256_castsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i *>(a))),
        _mm_loadu_si128(reinterpret_cast<const __m128i *>(b)), 1);
}

// Whole YUY2 pairs from N source rows without the line buffer: per row the
// three taps of each pixel's luma and each pair's chroma are overlap-weighted
// sums of the row's bytes (below 2^21, by multiply-adds), then times the row
// weight, added over the rows. The same sums modulo 2^32 as the walk's
// column sums times overlaps, in the other order. Per group of four
// destination pairs, lane 0 (pixels 0-3, pairs 0-1) and lane 1 (pixels 4-7,
// pairs 2-3) each read the 16 bytes from the source pair that holds their
// first column: x_step >= 2731 keeps every tap of weight above 0 inside
// them (a tap of weight 0 may pick any byte).
//
// The two footprint cursors share one vector of 16-bit lanes laid out as the
// sums come out of the multiply-adds: [luma of pixels 0-3, chroma U0 V0 U1
// V1 | luma of pixels 4-7, chroma U2 V2 U3 V3]. Steps are below 2^13 and
// offsets below the step; columns are kept modulo 2^16, which is enough for
// their differences (a tap's byte in its window, 0..15).
template <int N>
TOVREL_AVX2 int32_t direct(uint8_t *out, int32_t pairs, const uint8_t *row, ptrdiff_t pitch,
                           const int32_t *wr, int32_t row_pairs, int32_t *i_io, int32_t *run_io,
                           int32_t x_step) {
    constexpr int B = yuy2_format::bits;
    constexpr int32_t units = 8 * pixel_units; // eight pixels a step
    const int32_t x2 = 2 * x_step;
    const int32_t col = *i_io, edge = x_step - *run_io;
    const int32_t cedge = x2 - *run_io - ((col & 1) != 0 ? 0 : x_step);
    const cursor8 y = cursor_at(col, edge,
                                _mm256_setr_epi32(0, 4096, 8192, 12288, 16384, 20480, 24576, 28672),
                                x_step),
                  c = cursor_at(col >> 1, cedge,
                                _mm256_setr_epi32(0, 0, 8192, 8192, 16384, 16384, 24576, 24576),
                                x2);
    const __m256i low16 = _mm256_set1_epi32(0xFFFF);
    __m256i q = _mm256_packus_epi32(_mm256_and_si256(y.q, low16), _mm256_and_si256(c.q, low16));
    __m256i r = _mm256_packus_epi32(y.r, c.r);
    // Per lane: luma words 0-3, chroma words 4-7 of each half.
    auto lanes = [](int32_t luma, int32_t chroma) __attribute__((target("avx2"))) {
        const auto l = int16_t(luma), h = int16_t(chroma);
        return _mm256_setr_epi16(l, l, l, l, h, h, h, h, l, l, l, l, h, h, h, h);
    };
    const __m256i step = lanes(x_step, x2),
                  rest = lanes(pixel_units - x_step, 2 * pixel_units - x2);
    const __m256i by_less_step = lanes(units % x_step - x_step, units % x2 - x2);
    const __m256i whole_and_one = lanes(units / x_step + 1, units / x2 + 1);
    // Tap 0's byte in the window: 2 per column from the window's first pair
    // for luma, 4 per pair (+1 U, +3 V) for chroma; taps 1 and 2 are one and
    // two columns on. 0x8000 zeroes the high byte of each word picked.
    const __m256i per_column = lanes(2, 4);
    const __m256i first_pair = _mm256_setr_epi8(8, 9, 8, 9, 8, 9, 8, 9, 8, 9, 8, 9, 8, 9, 8, 9, 8,
                                                9, 8, 9, 8, 9, 8, 9, 8, 9, 8, 9, 8, 9, 8, 9);
    const __m256i uv = _mm256_setr_epi16(0, 0, 0, 0, 1, 3, 1, 3, 0, 0, 0, 0, 1, 3, 1, 3);
    const __m256i tap0 = _mm256_add_epi16(uv, _mm256_set1_epi16(int16_t(0x8000)));
    const __m256i tap1 = _mm256_add_epi16(tap0, per_column);
    const __m256i tap2 = _mm256_add_epi16(tap1, per_column);
    // Tap 2 of luma pixel j and of chroma sum j side by side in word pair j.
    const __m256i side_by_side =
        _mm256_setr_epi8(0, 1, 8, 9, 2, 3, 10, 11, 4, 5, 12, 13, 6, 7, 14, 15, 0, 1, 8, 9, 2, 3, 10,
                         11, 4, 5, 12, 13, 6, 7, 14, 15);
    const __m256i zero = _mm256_setzero_si256();
    __m256i rw[N];
    for (int k = 0; k < N; ++k) rw[k] = _mm256_set1_epi32(wr[k]);
    // The windows' first pairs (chroma lanes 0 and 4) as scalar cursors,
    // off the vectors' latency.
    const int32_t ck8 = units / x2, cr8 = units % x2;
    int32_t p0 = _mm256_cvtsi256_si32(c.q), e0 = _mm256_cvtsi256_si32(c.r);
    int32_t p4 = _mm_cvtsi128_si32(_mm256_extracti128_si256(c.q, 1));
    int32_t e4 = _mm_cvtsi128_si32(_mm256_extracti128_si256(c.r, 1));
    int32_t g = 0;
    for (; 4 * g + 4 <= pairs && 4 * p4 + 16 <= 4 * row_pairs; ++g) {
        const __m256i t =
            _mm256_sub_epi16(_mm256_mullo_epi16(q, per_column),
                             _mm256_slli_epi16(_mm256_shuffle_epi8(q, first_pair), 2));
        const __m256i a = _mm256_add_epi16(t, tap0), b = _mm256_add_epi16(t, tap1);
        const __m256i y01 = _mm256_unpacklo_epi16(a, b), c01 = _mm256_unpackhi_epi16(a, b);
        const __m256i t2 = _mm256_shuffle_epi8(_mm256_add_epi16(t, tap2), side_by_side);
        const __m256i w0 = _mm256_sub_epi16(step, r);
        const __m256i past = _mm256_add_epi16(r, rest); // units past the first column
        const __m256i w1 = _mm256_min_epi16(past, step), w2 = _mm256_sub_epi16(past, w1);
        const __m256i yw01 = _mm256_unpacklo_epi16(w0, w1), cw01 = _mm256_unpackhi_epi16(w0, w1);
        const __m256i yw2 = _mm256_unpacklo_epi16(w2, zero), cw2 = _mm256_unpackhi_epi16(zero, w2);
        __m256i ysum = _mm256_set1_epi32(1 << (B - 1)), csum = _mm256_set1_epi32(1 << B);
        for (int k = 0; k < N; ++k) { // unrolled: N is fixed
            const uint8_t *s = row + k * pitch;
            const __m256i win = load2x128(s + 4 * p0, s + 4 * p4);
            const __m256i last = _mm256_shuffle_epi8(win, t2);
            const __m256i ys =
                _mm256_add_epi32(_mm256_madd_epi16(_mm256_shuffle_epi8(win, y01), yw01),
                                 _mm256_madd_epi16(last, yw2));
            const __m256i cs =
                _mm256_add_epi32(_mm256_madd_epi16(_mm256_shuffle_epi8(win, c01), cw01),
                                 _mm256_madd_epi16(last, cw2));
            ysum = _mm256_add_epi32(ysum, _mm256_mullo_epi32(ys, rw[k]));
            csum = _mm256_add_epi32(csum, _mm256_mullo_epi32(cs, rw[k]));
        }
        // Every footprint eight pixels on.
        const __m256i moved = _mm256_add_epi16(r, by_less_step);
        const __m256i back = _mm256_srai_epi16(moved, 15); // -1: one column less
        r = _mm256_add_epi16(moved, _mm256_and_si256(back, step));
        q = _mm256_add_epi16(_mm256_add_epi16(q, whole_and_one), back);
        p0 += ck8, e0 += cr8;
        if (e0 >= x2) e0 -= x2, ++p0;
        p4 += ck8, e4 += cr8;
        if (e4 >= x2) e4 -= x2, ++p4;

        // Luma (below 2^9) and chroma (below 2^8) as words, then the low
        // bytes in pixel order Y0 U0 Y1 V0 ... (the samples, truncated).
        const __m256i w =
            _mm256_packus_epi32(_mm256_srli_epi32(ysum, B), _mm256_srli_epi32(csum, B + 1));
        const __m256i order =
            _mm256_setr_epi8(0, 8, 2, 10, 4, 12, 6, 14, -1, -1, -1, -1, -1, -1, -1, -1, 0, 8, 2, 10,
                             4, 12, 6, 14, -1, -1, -1, -1, -1, -1, -1, -1);
        const __m256i bytes = _mm256_permute4x64_epi64(_mm256_shuffle_epi8(w, order), 0x08);
        _mm_storeu_si128(reinterpret_cast<__m128i *>(out + 16 * g), _mm256_castsi256_si128(bytes));
    }
    const int32_t moved = edge + units * g;
    *i_io = col + moved / x_step;
    *run_io = x_step - moved % x_step;
    return 4 * g;
}

} // namespace

template <class K, int Rows>
void vblend_pair_avx2(uint32_t *buf, const uint8_t *src, const uint16_t *alpha, int32_t first,
                      int32_t count, const rect_rows &rows) {
    static_assert(!K::quad, "pair layouts only");
    const int32_t lanes = 4 * ((first + count + 1) >> 1);
    const int32_t bulk = lanes & ~15;
    const ptrdiff_t p = rows.pitch;
    if (bulk > 0) {
        const int32_t last = rows.last_weight;
        if constexpr (Rows != 0) {
            // One, two or three rows: first, the middle row of a three-row
            // line, and the last when it has weight.
            const int32_t w[3] = {rows.first_weight, Rows == 3 ? rows.middle_weight : last, last};
            if constexpr (Rows == 1)
                pass<K, 1, false>(buf, src, p, bulk, w);
            else if (last != 0)
                pass<K, Rows, false>(buf, src, p, bulk, w);
            else
                pass<K, Rows - 1, false>(buf, src, p, bulk, w);
        } else {
            // First + middle rows + last, three rows a pass.
            const int32_t n = 1 + rows.middle + (last != 0 ? 1 : 0);
            auto weight = [&](int32_t k) {
                return k == 0 ? rows.first_weight : k <= rows.middle ? rows.middle_weight : last;
            };
            int32_t w[3] = {weight(0), weight(1), weight(2)};
            if (n == 1) pass<K, 1, false>(buf, src, p, bulk, w);
            if (n == 2) pass<K, 2, false>(buf, src, p, bulk, w);
            if (n >= 3) pass<K, 3, false>(buf, src, p, bulk, w);
            int32_t k = 3;
            for (; k + 3 <= n; k += 3) {
                w[0] = weight(k), w[1] = weight(k + 1), w[2] = weight(k + 2);
                pass<K, 3, true>(buf, src + k * p, p, bulk, w);
            }
            w[0] = weight(k), w[1] = weight(k + 1);
            if (n > 3 && n - k == 2) pass<K, 2, true>(buf, src + k * p, p, bulk, w);
            if (n > 3 && n - k == 1) pass<K, 1, true>(buf, src + k * p, p, bulk, w);
        }
    }
    // The last pairs (fewer than 16 lanes) by the scalar statement.
    if (bulk < lanes)
        vblend_c<K, Rows>(buf + bulk, src + bulk * int32_t(sizeof(typename K::dst::sample)), alpha,
                          0, (lanes - bulk) / 2, rows);
}

template <class D>
void pair_halve_avx2(typename D::sample *out, const uint32_t *p, int32_t pairs) {
    halve<D>(out, p, pairs);
}

template <class K>
void pair_down3_avx2(typename K::dst::sample *out, int32_t pairs, const uint32_t *buf, int32_t *i,
                     int32_t *run, int32_t x_step, int32_t limit) {
    down3<K>(out, pairs, buf, i, run, x_step, limit);
}

int32_t pair_direct_avx2(uint8_t *out, int32_t pairs, const uint8_t *row, ptrdiff_t pitch,
                         const int32_t *w, int32_t rows, int32_t row_pairs, int32_t *i,
                         int32_t *run, int32_t x_step) {
    if (rows == 1) return direct<1>(out, pairs, row, pitch, w, row_pairs, i, run, x_step);
    if (rows == 2) return direct<2>(out, pairs, row, pitch, w, row_pairs, i, run, x_step);
    return direct<3>(out, pairs, row, pitch, w, row_pairs, i, run, x_step);
}

#define TOVREL_PAIR_AVX2(S, D)                                                                     \
    template void vblend_pair_avx2<pair_kind<src_kind::S, D, src_alpha_rule::none>, 0>(            \
        uint32_t *, const uint8_t *, const uint16_t *, int32_t, int32_t, const rect_rows &);       \
    template void vblend_pair_avx2<pair_kind<src_kind::S, D, src_alpha_rule::none>, 1>(            \
        uint32_t *, const uint8_t *, const uint16_t *, int32_t, int32_t, const rect_rows &);       \
    template void vblend_pair_avx2<pair_kind<src_kind::S, D, src_alpha_rule::none>, 2>(            \
        uint32_t *, const uint8_t *, const uint16_t *, int32_t, int32_t, const rect_rows &);       \
    template void vblend_pair_avx2<pair_kind<src_kind::S, D, src_alpha_rule::none>, 3>(            \
        uint32_t *, const uint8_t *, const uint16_t *, int32_t, int32_t, const rect_rows &);       \
    template void pair_halve_avx2<D>(D::sample *, const uint32_t *, int32_t);                      \
    template void pair_down3_avx2<pair_kind<src_kind::S, D, src_alpha_rule::none>>(                \
        D::sample *, int32_t, const uint32_t *, int32_t *, int32_t *, int32_t, int32_t);
TOVREL_PAIR_AVX2(yuy2, yuy2_format)
TOVREL_PAIR_AVX2(w210, w210_format)
#undef TOVREL_PAIR_AVX2

} // namespace tovrel::rect

#endif
