// SSE2 versions of the RGBQ writers without a division: four pixels per
// step, the rules of pixel_writers.h evaluated on int32 lanes (one lane per
// pixel), the last x1 - x < 4 pixels by the scalar statement.
#include "polygon/pixel_writers.h"

#if defined(__SSE2__)
#include <emmintrin.h>

namespace tovrel {
namespace {

using namespace writer_rules;

// Four int32 lanes with the operations the rules use.
struct v4i {
    __m128i v;
    v4i(__m128i x) : v(x) {}
    v4i(int32_t k) : v(_mm_set1_epi32(k)) {}
};

inline v4i operator+(v4i a, v4i b) {
    return _mm_add_epi32(a.v, b.v);
}
inline v4i operator-(v4i a, v4i b) {
    return _mm_sub_epi32(a.v, b.v);
}
// Low 32 bits of each lane's product (the rules' products stay below 2^31).
inline v4i operator*(v4i a, v4i b) {
    const __m128i even = _mm_mul_epu32(a.v, b.v);
    const __m128i odd = _mm_mul_epu32(_mm_srli_epi64(a.v, 32), _mm_srli_epi64(b.v, 32));
    return _mm_unpacklo_epi32(_mm_shuffle_epi32(even, _MM_SHUFFLE(0, 0, 2, 0)),
                              _mm_shuffle_epi32(odd, _MM_SHUFFLE(0, 0, 2, 0)));
}
inline v4i operator>>(v4i a, int n) {
    return _mm_sra_epi32(a.v, _mm_cvtsi32_si128(n));
}

// Per lane: where == 0 ? b : a.
inline __m128i select_zero(__m128i where, __m128i a, __m128i b) {
    const __m128i zero = _mm_cmpeq_epi32(where, _mm_setzero_si128());
    return _mm_or_si128(_mm_and_si128(zero, b), _mm_andnot_si128(zero, a));
}
inline v4i select_nonzero(v4i m, v4i a, v4i b) {
    return select_zero(m.v, a.v, b.v);
}

// Four uint16 at p widened to int32 lanes.
inline v4i load_u16x4(const uint16_t *p) {
    const __m128i v = _mm_loadl_epi64(reinterpret_cast<const __m128i *>(p));
    return _mm_unpacklo_epi16(v, _mm_setzero_si128());
}

// The same limited to 4096: v - max(v - 4096, 0) with unsigned saturation.
inline v4i load_unit_x4(const uint16_t *p) {
    __m128i v = _mm_loadl_epi64(reinterpret_cast<const __m128i *>(p));
    v = _mm_sub_epi16(v, _mm_subs_epu16(v, _mm_set1_epi16(4096)));
    return _mm_unpacklo_epi16(v, _mm_setzero_si128());
}

// Stores the low 16 bits of four lanes (sign-extended first so that the
// saturating pack keeps them unchanged).
inline void store_u16x4(uint16_t *p, __m128i v) {
    v = _mm_srai_epi32(_mm_slli_epi32(v, 16), 16);
    _mm_storel_epi64(reinterpret_cast<__m128i *>(p), _mm_packs_epi32(v, v));
}

// Four RGBQ pixels, every byte (S ws + D wd) >> 12 with its pixel's ws, wd in
// [0, 4096]: madd of (S, D) word pairs with (ws, wd); sums below 2^21,
// results in [0, 510], stored as their low 8 bits.
inline __m128i mix_rgbq_x4(__m128i s, __m128i d, __m128i ws, __m128i wd) {
    const __m128i zero = _mm_setzero_si128();
    const __m128i w = _mm_or_si128(ws, _mm_slli_epi32(wd, 16));
    const __m128i s_lo = _mm_unpacklo_epi8(s, zero);
    const __m128i s_hi = _mm_unpackhi_epi8(s, zero);
    const __m128i d_lo = _mm_unpacklo_epi8(d, zero);
    const __m128i d_hi = _mm_unpackhi_epi8(d, zero);
    const __m128i p0 = _mm_madd_epi16(_mm_unpacklo_epi16(s_lo, d_lo), _mm_shuffle_epi32(w, 0x00));
    const __m128i p1 = _mm_madd_epi16(_mm_unpackhi_epi16(s_lo, d_lo), _mm_shuffle_epi32(w, 0x55));
    const __m128i p2 = _mm_madd_epi16(_mm_unpacklo_epi16(s_hi, d_hi), _mm_shuffle_epi32(w, 0xAA));
    const __m128i p3 = _mm_madd_epi16(_mm_unpackhi_epi16(s_hi, d_hi), _mm_shuffle_epi32(w, 0xFF));
    const __m128i low_byte = _mm_set1_epi16(0xFF);
    const __m128i lo =
        _mm_and_si128(_mm_packs_epi32(_mm_srai_epi32(p0, 12), _mm_srai_epi32(p1, 12)), low_byte);
    const __m128i hi =
        _mm_and_si128(_mm_packs_epi32(_mm_srai_epi32(p2, 12), _mm_srai_epi32(p3, 12)), low_byte);
    return _mm_packus_epi16(lo, hi);
}

// Runs whole groups of four pixels from x0 and returns where it stopped.
// Add rules give wd = 4096, which makes them mixes:
// D + ((S ws) >> 12) = (S ws + D 4096) >> 12.
template <class R>
int32_t rgbq_body_sse2(const span_rows *dst, const span_rows *src, const uint16_t *coverage,
                       int32_t x0, int32_t x1) {
    static_assert(R::op != colour_op::divide, "no vector division");
    uint8_t *d = static_cast<uint8_t *>(dst->pixels);
    const uint8_t *s = static_cast<const uint8_t *>(src->pixels);
    int32_t x = x0;
    for (; int64_t(x1) - x >= 4; x += 4) {
        v4i c(4096), as(0), ad(0);
        if constexpr (R::uses_coverage) c = load_unit_x4(coverage + x);
        if constexpr (R::uses_src_alpha) as = load_unit_x4(src->alpha + x);
        if constexpr (R::uses_dst_alpha) ad = load_u16x4(dst->alpha + x);
        const weights<v4i> t = R::template terms<v4i>(c, as, ad);
        __m128i *dp = reinterpret_cast<__m128i *>(d + ptrdiff_t(x) * 4);
        const __m128i *sp = reinterpret_cast<const __m128i *>(s + ptrdiff_t(x) * 4);
        const __m128i old = _mm_loadu_si128(dp);
        const __m128i mixed = mix_rgbq_x4(_mm_loadu_si128(sp), old, t.ws.v, t.wd.v);
        _mm_storeu_si128(dp, select_zero(t.live.v, mixed, old));
        if constexpr (R::uses_dst_alpha) {
            const v4i a = R::template alpha<v4i>(c, as, ad);
            store_u16x4(dst->alpha + x, select_zero(t.live.v, a.v, ad.v));
        }
    }
    return x;
}

using coverage_ptr = const uint16_t *;

} // namespace

void write_rgbq_sse2(const span_rows *d, const span_rows *s, coverage_ptr c, int32_t x0,
                     int32_t x1) {
    write_rgbq_c(d, s, c, rgbq_body_sse2<rule_write>(d, s, c, x0, x1), x1);
}
void add_rgbq_sse2(const span_rows *d, const span_rows *s, coverage_ptr c, int32_t x0, int32_t x1) {
    add_rgbq_c(d, s, c, rgbq_body_sse2<rule_add>(d, s, c, x0, x1), x1);
}
void write_rgbq_over_premul_sse2(const span_rows *d, const span_rows *s, coverage_ptr c, int32_t x0,
                                 int32_t x1) {
    write_rgbq_over_premul_c(d, s, c, rgbq_body_sse2<rule_write_over_premul>(d, s, c, x0, x1), x1);
}
void add_rgbq_over_premul_sse2(const span_rows *d, const span_rows *s, coverage_ptr c, int32_t x0,
                               int32_t x1) {
    add_rgbq_over_premul_c(d, s, c, rgbq_body_sse2<rule_add_over_premul>(d, s, c, x0, x1), x1);
}
void write_rgbqa_straight_sse2(const span_rows *d, const span_rows *s, coverage_ptr c, int32_t x0,
                               int32_t x1) {
    write_rgbqa_straight_c(d, s, c, rgbq_body_sse2<rule_write_a_straight>(d, s, c, x0, x1), x1);
}
void write_rgbqa_premul_sse2(const span_rows *d, const span_rows *s, coverage_ptr c, int32_t x0,
                             int32_t x1) {
    write_rgbqa_premul_c(d, s, c, rgbq_body_sse2<rule_write_a_premul>(d, s, c, x0, x1), x1);
}
void write_rgbqa_over_premul_sse2(const span_rows *d, const span_rows *s, coverage_ptr c,
                                  int32_t x0, int32_t x1) {
    write_rgbqa_over_premul_c(d, s, c, rgbq_body_sse2<rule_write_a_over_premul>(d, s, c, x0, x1),
                              x1);
}
void add_rgbqa_over_premul_sse2(const span_rows *d, const span_rows *s, coverage_ptr c, int32_t x0,
                                int32_t x1) {
    add_rgbqa_over_premul_c(d, s, c, rgbq_body_sse2<rule_add_a_over_premul>(d, s, c, x0, x1), x1);
}
void blend_rgbqa_straight_sse2(const span_rows *d, const span_rows *s, int32_t x0, int32_t x1) {
    blend_rgbqa_straight_c(d, s, rgbq_body_sse2<rule_blend_a_straight>(d, s, nullptr, x0, x1), x1);
}
void blend_rgbqa_premul_sse2(const span_rows *d, const span_rows *s, int32_t x0, int32_t x1) {
    blend_rgbqa_premul_c(d, s, rgbq_body_sse2<rule_blend_a_premul>(d, s, nullptr, x0, x1), x1);
}
void blend_rgbqa_over_premul_sse2(const span_rows *d, const span_rows *s, int32_t x0, int32_t x1) {
    blend_rgbqa_over_premul_c(d, s, rgbq_body_sse2<rule_blend_a_over_premul>(d, s, nullptr, x0, x1),
                              x1);
}

} // namespace tovrel

#endif // __SSE2__
