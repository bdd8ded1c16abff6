// SSE2 rows of the 4:2:2 vertical pre-pass: the same sums as vblend_row.
//
// Every product is an exact unsigned 32-bit one (mullo and mulhi of 16-bit
// lanes), so samples and alpha words outside their ranges give the scalar
// statement's values too. Per pixel the four lanes are Y, U, V and the
// alpha weight: lane 3 multiplies 1 by the straight weight, or the alpha
// word by the row weight (premultiplied; by 4 times the row weight when the
// lanes are shifted right by 2, which gives alpha * w again).
#if defined(__SSE2__)

#include <emmintrin.h>

#include <cstring>

#include "rect/rect_pair_walk.h"

namespace tovrel::rect {
namespace {

inline __m128i load32(const void *p) {
    int32_t v;
    std::memcpy(&v, p, 4);
    return _mm_cvtsi32_si128(v);
}

// Unsigned 16 x 16 -> 32-bit products of the low four lanes (lo) and the
// high four lanes (hi).
inline void mul32(__m128i a, __m128i b, __m128i *lo, __m128i *hi) {
    const __m128i l = _mm_mullo_epi16(a, b), h = _mm_mulhi_epu16(a, b);
    *lo = _mm_unpacklo_epi16(l, h);
    *hi = _mm_unpackhi_epi16(l, h);
}

inline void put(uint32_t *out, __m128i v, bool init) {
    __m128i *q = reinterpret_cast<__m128i *>(out);
    if (!init) v = _mm_add_epi32(v, _mm_loadu_si128(q));
    _mm_storeu_si128(q, v);
}

// Lanes 0 and 1 of v each spread over four lanes.
inline __m128i spread2(__m128i v) {
    const __m128i t = _mm_unpacklo_epi16(v, v);
    return _mm_unpacklo_epi32(t, t);
}

// Samples Y, U, V (lane 3 undefined) of two source pixels starting at p:
// a YUY2 or W210 pair, or two yuvq pixels (scaled to 10 bits for W210).
template <class K>
inline __m128i samples(const uint8_t *p) {
    if constexpr (K::source == src_kind::yuvq) {
        const __m128i s = _mm_unpacklo_epi8(_mm_loadl_epi64(reinterpret_cast<const __m128i *>(p)),
                                            _mm_setzero_si128());
        return K::dst::shift != 0 ? _mm_slli_epi16(s, 2) : s;
    } else {
        const __m128i pair = K::source == src_kind::yuy2
                                 ? _mm_unpacklo_epi8(load32(p), _mm_setzero_si128())
                                 : _mm_loadl_epi64(reinterpret_cast<const __m128i *>(p));
        // Y0 U Y1 V -> Y0 U V . | Y1 U V .
        const __m128i both = _mm_unpacklo_epi64(pair, pair);
        return _mm_shufflehi_epi16(_mm_shufflelo_epi16(both, _MM_SHUFFLE(3, 3, 1, 0)),
                                   _MM_SHUFFLE(3, 3, 1, 2));
    }
}

// Pixels with source alpha, and yuvq: four sums per pixel.
template <class K>
void quad_row(uint32_t *buf, const uint8_t *row, const uint16_t *arow, int32_t first, int32_t count,
              uint32_t w, bool init) {
    constexpr int sh = K::dst::shift;
    constexpr bool straight = K::alpha == src_alpha_rule::straight;
    constexpr int32_t pb = K::src_pixel_bytes;
    if (first == 1 && count > 0) { // the second pixel of the first pair
        vblend_row<K>(buf, row, arow, 1, 1, w, init);
        buf += 4, ++arow, row += 2 * pb, --count;
    }
    const __m128i colour = _mm_set_epi16(0, -1, -1, -1, 0, -1, -1, -1);
    const __m128i w16 = _mm_set1_epi16(int16_t(w));
    // Premultiplied: Y U V times w, shifted by sh; alpha times w << sh.
    const __m128i wp = _mm_set_epi16(int16_t(w << sh), int16_t(w), int16_t(w), int16_t(w),
                                     int16_t(w << sh), int16_t(w), int16_t(w), int16_t(w));
    const __m128i one3 = _mm_set_epi16(1, 0, 0, 0, 1, 0, 0, 0);
    int32_t i = 0;
    for (; i + 2 <= count; i += 2) {
        const __m128i a = load32(arow + i);
        __m128i s = _mm_and_si128(samples<K>(row + i * pb), colour), wv, lo, hi;
        if constexpr (straight) {
            // wy = (w * a) >> (12 + sh), below 2^15, on every lane of its pixel.
            mul32(a, w16, &lo, &hi);
            const __m128i wy = _mm_srli_epi32(lo, 12 + sh);
            wv = spread2(_mm_packs_epi32(wy, wy));
            s = _mm_or_si128(s, one3);
        } else {
            wv = wp;
            s = _mm_or_si128(s, _mm_andnot_si128(colour, spread2(a)));
        }
        mul32(s, wv, &lo, &hi);
        if constexpr (!straight && sh != 0) {
            lo = _mm_srli_epi32(lo, sh);
            hi = _mm_srli_epi32(hi, sh);
        }
        put(buf + 4 * i, lo, init);
        put(buf + 4 * i + 4, hi, init);
    }
    if (i < count) vblend_row<K>(buf + 4 * i, row + i * pb, arow + i, 0, 1, w, init);
}

// W210 pairs without source alpha: (sample * w) >> 2 per word.
template <class K>
void pair_row(uint32_t *buf, const uint8_t *row, const uint16_t *arow, int32_t first, int32_t count,
              uint32_t w, bool init) {
    const int32_t pairs = (first + count + 1) >> 1;
    const __m128i w16 = _mm_set1_epi16(int16_t(w));
    int32_t p = 0;
    for (; p + 2 <= pairs; p += 2) {
        __m128i lo, hi;
        mul32(_mm_loadu_si128(reinterpret_cast<const __m128i *>(row + 8 * p)), w16, &lo, &hi);
        put(buf + 4 * p, _mm_srli_epi32(lo, K::dst::shift), init);
        put(buf + 4 * p + 4, _mm_srli_epi32(hi, K::dst::shift), init);
    }
    if (p < pairs) vblend_row<K>(buf + 4 * p, row + 8 * p, arow, 0, 2, w, init);
}

} // namespace

template <class K>
void vblend_row_sse2(uint32_t *buf, const uint8_t *row, const uint16_t *arow, int32_t first,
                     int32_t count, uint32_t w, bool init) {
    if constexpr (K::quad)
        quad_row<K>(buf, row, arow, first, count, w, init);
    else
        pair_row<K>(buf, row, arow, first, count, w, init);
}

#define TOVREL_PAIR_ROW(S, D, A)                                                                   \
    template void vblend_row_sse2<pair_kind<src_kind::S, D, src_alpha_rule::A>>(                   \
        uint32_t *, const uint8_t *, const uint16_t *, int32_t, int32_t, uint32_t, bool);
TOVREL_PAIR_ROW(w210, w210_format, none)
TOVREL_PAIR_ROW(yuy2, yuy2_format, straight)
TOVREL_PAIR_ROW(yuy2, yuy2_format, premul)
TOVREL_PAIR_ROW(w210, w210_format, straight)
TOVREL_PAIR_ROW(w210, w210_format, premul)
TOVREL_PAIR_ROW(yuvq, yuy2_format, straight)
TOVREL_PAIR_ROW(yuvq, yuy2_format, premul)
TOVREL_PAIR_ROW(yuvq, w210_format, straight)
TOVREL_PAIR_ROW(yuvq, w210_format, premul)
#undef TOVREL_PAIR_ROW

} // namespace tovrel::rect

#endif
