// SSE2 members of the S16X4A / S16X4 tables for the whole-height
// footprints whose total is a power of two (s16x4_has_sse2). Each
// matches the scalar member of s16x4_traits.h bit for bit:
// the same double-precision position per pixel, and the weighted sum
// formed as the sum over texels of (column weight * row weight) * texel,
// which is R modulo 2^32 in any order. Every such product weight is at
// most 128 * 128 = 16384, so two texels' products go through one pmaddwd
// (|sum| <= 2^30, no lane overflows) and the lanes add with wrapping.
#include <emmintrin.h>

#include "span/s16x4_simd.h"
#include "span/s16x4_traits.h"

namespace tovrel::span {
namespace {

// Columns c and c + 1 (or c alone, paired with weight 0, for the last odd
// column: the texel beyond may lie outside the texture) of one texel row,
// weighted by wa and wb, as four int32 lanes.
inline __m128i weigh_pair(const uint8_t *p, int32_t wa, int32_t wb, bool single) {
    const __m128i t = single ? _mm_loadl_epi64(reinterpret_cast<const __m128i *>(p))
                             : _mm_loadu_si128(reinterpret_cast<const __m128i *>(p));
    // [a0 b0 a1 b1 a2 b2 a3 b3]
    const __m128i ab = _mm_unpacklo_epi16(t, _mm_srli_si128(t, 8));
    const __m128i w = _mm_set1_epi32(static_cast<int32_t>(static_cast<uint32_t>(wa & 0xffff) |
                                                          (static_cast<uint32_t>(wb) << 16)));
    return _mm_madd_epi16(ab, w);
}

// The line pixel under the result r (four int32 lanes in [-32768, 32767]):
// ((D * k) >> 12) + r with k = 4096 - r3, stored as the low 16 bits. k
// lies in [-28671, 36864]; it is split into k1 + k2, both within int16, so
// that one pmaddwd of (D, D) by (k1, k2) gives D * k exactly.
inline __m128i lay_over(const uint8_t *dst, __m128i r) {
    const int32_t a = static_cast<int16_t>(_mm_cvtsi128_si32(_mm_srli_si128(r, 12)));
    const int32_t k = 4096 - a, k1 = k >> 1, k2 = k - k1;
    const __m128i d = _mm_loadl_epi64(reinterpret_cast<const __m128i *>(dst));
    const __m128i dd = _mm_unpacklo_epi16(d, d);
    const __m128i kk = _mm_set1_epi32(static_cast<int32_t>(static_cast<uint32_t>(k1 & 0xffff) |
                                                           (static_cast<uint32_t>(k2) << 16)));
    const __m128i sum = _mm_add_epi32(_mm_srai_epi32(_mm_madd_epi16(dd, kk), 12), r);
    // Low 16 bits, sign-extended, so that the saturating pack keeps them.
    return _mm_srai_epi32(_mm_slli_epi32(sum, 16), 16);
}

template <int Slot, bool Over, projection P>
void render(const span_rows *line, int32_t x0, int32_t x1, const texture_ref *texture,
            const span_coefficients &k) {
    using fp = footprint<Slot>;
    constexpr int W = fp::width, H = fp::rows;
    constexpr int32_t total = fp::total_scalar;
    static_assert(!fp::point && !fp::one_and_half && (total & (total - 1)) == 0);
    constexpr int shift = __builtin_ctz(total);
    uint8_t *out = static_cast<uint8_t *>(line->pixels);
    const texture_ref &t = *texture;
    const double_walk<P> walk{k};
    for (int32_t x = x0; x < x1; ++x) {
        const texel_pos pos = walk.at(x);
        const texel_origin o = locate<member_kind::scalar, 3>(t, pos.iu, pos.iv);
        const int32_t fu = fraction7(pos.iu), fv = fraction7(pos.iv);
        auto col = [&](int c) { return c == 0 ? 128 - fu : c == W ? fu : 128; };
        auto row = [&](int r) { return r == 0 ? 128 - fv : r == H ? fv : 128; };
        __m128i r = _mm_setzero_si128();
        for (int y = 0; y <= H; ++y) { // unrolled: H and W are constants
            const uint8_t *p = o.p + y * o.row_bytes;
            const int32_t wr = row(y);
            for (int c = 0; c <= W; c += 2) {
                const bool single = c == W;
                r = _mm_add_epi32(
                    r, weigh_pair(p + 8 * c, col(c) * wr, single ? 0 : col(c + 1) * wr, single));
            }
        }
        // s16x4_normalise: a logical shift for slots 15 and 20, else an
        // arithmetic one. Either result fits int16: totals up to 2^15 never
        // wrap (a weighted mean), larger ones shift by 16 or more.
        r = _mm_add_epi32(r, _mm_set1_epi32(total / 2));
        r = Slot == 15 || Slot == 20 ? _mm_srli_epi32(r, shift) : _mm_srai_epi32(r, shift);
        uint8_t *dst = out + static_cast<ptrdiff_t>(x) * 8;
        if constexpr (Over) r = lay_over(dst, r);
        _mm_storel_epi64(reinterpret_cast<__m128i *>(dst), _mm_packs_epi32(r, r));
    }
}

} // namespace

template <int Slot, bool Over>
void s16x4_sse2_member<Slot, Over>::persp(const span_rows *line, int32_t x0, int32_t x1,
                                          const texture_ref *texture, float u_max, float v_max,
                                          float u_step, float v_step, float u_base, float v_base,
                                          float w_step, float w_base) {
    const span_coefficients k{u_max, v_max, u_step, v_step, u_base, v_base, w_step, w_base};
    render<Slot, Over, projection::perspective>(line, x0, x1, texture, k);
}

template <int Slot, bool Over>
void s16x4_sse2_member<Slot, Over>::affine(const span_rows *line, int32_t x0, int32_t x1,
                                           const texture_ref *texture, float u_max, float v_max,
                                           float u_step, float v_step, float u_base, float v_base) {
    const span_coefficients k{u_max, v_max, u_step, v_step, u_base, v_base, 0.0f, 0.0f};
    render<Slot, Over, projection::affine>(line, x0, x1, texture, k);
}

#define TOVREL_S16X4_SLOT(s)                                                                       \
    template struct s16x4_sse2_member<s, false>;                                                   \
    template struct s16x4_sse2_member<s, true>;
TOVREL_S16X4_SLOT(1)
TOVREL_S16X4_SLOT(2)
TOVREL_S16X4_SLOT(4)
TOVREL_S16X4_SLOT(5)
TOVREL_S16X4_SLOT(11)
TOVREL_S16X4_SLOT(12)
TOVREL_S16X4_SLOT(14)
TOVREL_S16X4_SLOT(15)
TOVREL_S16X4_SLOT(16)
TOVREL_S16X4_SLOT(17)
TOVREL_S16X4_SLOT(19)
TOVREL_S16X4_SLOT(20)
#undef TOVREL_S16X4_SLOT

} // namespace tovrel::span
