// AVX2 forms of the 4:2:2 pair-buffer routines: the vertical pre-pass of
// YUY2 and W210 sources without source alpha, and the halving writer. Each
// gives the bytes of its scalar statement in rect_pair_walk.h (vblend_c,
// pair_halve_c). Reached only through rect_isa::avx2, chosen once per call
// on processors that have it.
#if defined(__SSE2__)

#include <immintrin.h>

#include "rect/rect_pair_walk.h"

namespace tovrel::rect {
namespace {

#define TOVREL_AVX2 __attribute__((target("avx2")))

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

// The same for W210 words: (sample * weight) >> 2 per row, the products
// exact unsigned 16 x 16 -> 32 bits (words above 1023 included).
template <int N, bool Add>
TOVREL_AVX2 void w210_pass(uint32_t *buf, const uint8_t *r, ptrdiff_t pitch, int32_t lanes,
                           const int32_t *w) {
    for (int32_t i = 0; i < lanes; i += 16) {
        __m256i lo = _mm256_setzero_si256(), hi = lo;
        for (int k = 0; k < N; ++k) { // unrolled: N is fixed
            const __m256i s = load256(reinterpret_cast<const uint16_t *>(r + k * pitch) + i);
            const __m256i wk = _mm256_set1_epi16(int16_t(w[k]));
            const __m256i pl = _mm256_mullo_epi16(s, wk), ph = _mm256_mulhi_epu16(s, wk);
            lo = _mm256_add_epi32(lo, _mm256_srli_epi32(_mm256_unpacklo_epi16(pl, ph), 2));
            hi = _mm256_add_epi32(hi, _mm256_srli_epi32(_mm256_unpackhi_epi16(pl, ph), 2));
        }
        store16<Add>(buf + i, lo, hi);
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

#define TOVREL_PAIR_AVX2(S, D)                                                                     \
    template void vblend_pair_avx2<pair_kind<src_kind::S, D, src_alpha_rule::none>, 0>(            \
        uint32_t *, const uint8_t *, const uint16_t *, int32_t, int32_t, const rect_rows &);       \
    template void vblend_pair_avx2<pair_kind<src_kind::S, D, src_alpha_rule::none>, 1>(            \
        uint32_t *, const uint8_t *, const uint16_t *, int32_t, int32_t, const rect_rows &);       \
    template void vblend_pair_avx2<pair_kind<src_kind::S, D, src_alpha_rule::none>, 2>(            \
        uint32_t *, const uint8_t *, const uint16_t *, int32_t, int32_t, const rect_rows &);       \
    template void vblend_pair_avx2<pair_kind<src_kind::S, D, src_alpha_rule::none>, 3>(            \
        uint32_t *, const uint8_t *, const uint16_t *, int32_t, int32_t, const rect_rows &);       \
    template void pair_halve_avx2<D>(D::sample *, const uint32_t *, int32_t);
TOVREL_PAIR_AVX2(yuy2, yuy2_format)
TOVREL_PAIR_AVX2(w210, w210_format)
#undef TOVREL_PAIR_AVX2

} // namespace tovrel::rect

#endif
