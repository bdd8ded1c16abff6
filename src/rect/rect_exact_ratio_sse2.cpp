// SSE2 forms of the exact-ratio kernels. SSE2 has no byte shuffle, so a
// step's source is first split into a luma plane and a chroma plane (U V U
// V ...) of 16-bit lanes. Four outputs of a plane (four luma samples, or
// the U and V of two pairs) need at most four neighbouring lanes for their
// A samples and four for their B samples, so an unaligned load at the
// first of them and one pshuflw with a constant pattern gather each. The
// multiply-adds, rounding and interleaving back to Y U Y V are vector work.
// Weights as in rect_exact_ratio_simd.h (luma doubled to the chroma scale).
#if defined(__SSE2__)

#include <emmintrin.h>

#include <algorithm>
#include <utility>

#include "rect/rect_exact_ratio_simd.h"

namespace tovrel {
namespace {

using namespace rect;

// A step: `groups` groups, whole blocks of eight destination pixels and of
// 16 source samples. Per block of the step, per plane (0 luma, 1 chroma)
// and quad (outputs 0-3, 4-7 of the plane), the lanes A and B start at and
// their pshuflw patterns, and the weights (wA, wB) per output.
template <exact_ratio R>
struct plane_layout {
    static constexpr exact_ratio_group g = ratio_traits<R>::group;
    static constexpr int32_t groups = [] {
        int32_t u = 1;
        while ((u * g.dst) % 8 != 0 || (u * 2 * g.src) % 16 != 0) ++u;
        return u;
    }();
    static constexpr int32_t in = 2 * g.src * groups; // samples read per step
    static constexpr int32_t blocks = g.dst * groups / 8;
    struct quad {
        int32_t a_at, b_at, a_pattern, b_pattern;
        int16_t weight[8];
    };
    struct table {
        quad q[blocks][2][2]; // block, plane, quad
        bool fits;            // every lane within its four and inside the plane
    };
    static constexpr table make() {
        constexpr auto &w = ratio_traits<R>::w;
        table t{};
        t.fits = true;
        for (int32_t b = 0; b < blocks; ++b)
            for (int32_t plane = 0; plane < 2; ++plane)
                for (int32_t h = 0; h < 2; ++h) {
                    int32_t a[4] = {}, wa[4] = {};
                    for (int32_t k = 0; k < 4; ++k) {
                        // Destination pixel (luma) or pair (chroma, U for even k).
                        if (plane == 0) {
                            const int32_t px = 8 * b + 4 * h + k, j = px % g.dst;
                            a[k] = px / g.dst * g.src + w.luma_src[j];
                            wa[k] = 2 * w.luma_w[j];
                        } else {
                            const int32_t pair = 4 * b + 2 * h + k / 2, m = pair % (g.dst / 2);
                            a[k] = 2 * (pair / (g.dst / 2) * (g.src / 2) + w.chroma_src[m]) + k % 2;
                            wa[k] = w.chroma_w[m];
                        }
                    }
                    // B is the next pixel's or pair's lane; with no weight
                    // it is any lane of the window (A's own).
                    const int32_t next = plane == 0 ? 1 : 2;
                    int32_t b_lane[4], a_min = a[0], b_min = 1 << 30;
                    for (int32_t k = 0; k < 4; ++k)
                        if (wa[k] != pair_unit) b_min = std::min(b_min, a[k] + next);
                    if (b_min == 1 << 30) b_min = a_min;
                    quad &q = t.q[b][plane][h];
                    q.a_at = a_min, q.b_at = b_min;
                    for (int32_t k = 0; k < 4; ++k) {
                        b_lane[k] = wa[k] != pair_unit ? a[k] + next : b_min;
                        if (a[k] - a_min > 3 || b_lane[k] - b_min > 3 || a[k] >= in / 2 ||
                            b_lane[k] >= in / 2)
                            t.fits = false;
                        q.a_pattern |= (a[k] - a_min) << (2 * k);
                        q.b_pattern |= (b_lane[k] - b_min) << (2 * k);
                        q.weight[2 * k] = int16_t(wa[k]);
                        q.weight[2 * k + 1] = int16_t(pair_unit - wa[k]);
                    }
                }
        return t;
    }
    static constexpr table t = make();

    static_assert(t.fits, "each quad gathers from four lanes of its plane");
};

template <int Pattern>
inline __m128i pick(const int16_t *plane, int32_t at) {
    return _mm_shufflelo_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i *>(plane + at)),
                               Pattern);
}

// Outputs of one quad: four 32-bit lanes of (A * wA + B * wB + 4096) >> 13,
// less the planes' offset (`round` is 4096 less 8192 times the plane
// offset, plus 2^28 for W210: see exact_kernel_sse2).
template <class L, int32_t B, int32_t P, int32_t H>
inline __m128i quad_sums(const int16_t *plane, __m128i round) {
    constexpr auto q = L::t.q[B][P][H];
    const __m128i ab =
        _mm_unpacklo_epi16(pick<q.a_pattern>(plane, q.a_at), pick<q.b_pattern>(plane, q.b_at));
    const __m128i w = _mm_loadu_si128(reinterpret_cast<const __m128i *>(L::t.q[B][P][H].weight));
    return _mm_srai_epi32(_mm_add_epi32(_mm_madd_epi16(ab, w), round), 13);
}

// Eight destination pixels (block B) from the planes, in the sample type;
// W210 outputs come less 2^15 and get their top bit back.
template <class L, class T, int32_t B>
inline void block(T *out, const int16_t *luma, const int16_t *chroma, __m128i round) {
    const __m128i y =
        _mm_packs_epi32(quad_sums<L, B, 0, 0>(luma, round), quad_sums<L, B, 0, 1>(luma, round));
    const __m128i c =
        _mm_packs_epi32(quad_sums<L, B, 1, 0>(chroma, round), quad_sums<L, B, 1, 1>(chroma, round));
    const __m128i lo = _mm_unpacklo_epi16(y, c), hi = _mm_unpackhi_epi16(y, c);
    if constexpr (sizeof(T) == 1) {
        _mm_storeu_si128(reinterpret_cast<__m128i *>(out + 16 * B), _mm_packus_epi16(lo, hi));
    } else {
        const __m128i top = _mm_set1_epi16(int16_t(0x8000));
        _mm_storeu_si128(reinterpret_cast<__m128i *>(out + 16 * B), _mm_xor_si128(lo, top));
        _mm_storeu_si128(reinterpret_cast<__m128i *>(out + 16 * B + 8), _mm_xor_si128(hi, top));
    }
}

template <class L, class T, int32_t... B>
inline void blocks(T *out, const int16_t *luma, const int16_t *chroma, __m128i round,
                   std::integer_sequence<int32_t, B...>) {
    (block<L, T, B>(out, luma, chroma, round), ...);
}

// Eight samples of a row, or of two rows blended as (upper * first + lower
// * last + 1024) >> 11, in 16-bit lanes. W210 words come less 2^15 (their
// top bit flipped), so that the signed lanes hold every word; blended,
// less 16 * (first + last), which the arithmetic shift keeps exact.
template <class T, bool TwoRow>
inline __m128i samples8(const T *upper, const T *lower, __m128i weights) {
    const auto load = [](const T *p) {
        if constexpr (sizeof(T) == 1)
            return _mm_unpacklo_epi8(_mm_loadl_epi64(reinterpret_cast<const __m128i *>(p)),
                                     _mm_setzero_si128());
        else
            return _mm_xor_si128(_mm_loadu_si128(reinterpret_cast<const __m128i *>(p)),
                                 _mm_set1_epi16(int16_t(0x8000)));
    };
    const __m128i u = load(upper);
    if constexpr (!TwoRow) {
        return u;
    } else {
        const __m128i l = load(lower), round = _mm_set1_epi32(1024);
        const __m128i lo = _mm_srai_epi32(
            _mm_add_epi32(_mm_madd_epi16(_mm_unpacklo_epi16(u, l), weights), round), 11);
        const __m128i hi = _mm_srai_epi32(
            _mm_add_epi32(_mm_madd_epi16(_mm_unpackhi_epi16(u, l), weights), round), 11);
        return _mm_packs_epi32(lo, hi);
    }
}

template <class T, exact_ratio R, bool TwoRow>
void exact_kernel_sse2(uint8_t *dst, uint16_t *, int32_t, int32_t, int32_t width,
                       const uint8_t *src, int32_t src_pitch, const uint16_t *, int32_t, int32_t,
                       int32_t, int32_t, int32_t first_row_weight, int32_t,
                       int32_t last_row_weight) {
    using L = plane_layout<R>;
    constexpr int32_t step_units = L::g.dst * L::groups * unit;
    // The planes of a step, with room for the last quad's loads.
    alignas(16) int16_t luma[L::in / 2 + 8] = {}, chroma[L::in / 2 + 8] = {};
    const __m128i row_weights =
        _mm_set1_epi32(int32_t(uint32_t(first_row_weight) | uint32_t(last_row_weight) << 16));
    // The planes' offset: W210 samples are less 2^15 in one row, less
    // 16 * (first + last) blended; outputs then come less 2^15 (block).
    const int32_t offset = sizeof(T) == 1 ? 0
                           : TwoRow       ? 16 * (first_row_weight + last_row_weight)
                                          : 32768;
    const __m128i round = _mm_set1_epi32(4096 + 8192 * (offset - (sizeof(T) == 1 ? 0 : 32768)));
    int32_t left = width;
    for (; left >= step_units; left -= step_units) {
        const T *upper = reinterpret_cast<const T *>(src);
        const T *lower = reinterpret_cast<const T *>(src + src_pitch);
        for (int32_t k = 0; k < L::in; k += 8) {
            // Y U Y V Y U Y V: even lanes luma, odd lanes chroma.
            const __m128i s = samples8<T, TwoRow>(upper + k, lower + k, row_weights);
            const __m128i y = _mm_srai_epi32(_mm_slli_epi32(s, 16), 16);
            const __m128i c = _mm_srai_epi32(s, 16);
            _mm_storel_epi64(reinterpret_cast<__m128i *>(luma + k / 2), _mm_packs_epi32(y, y));
            _mm_storel_epi64(reinterpret_cast<__m128i *>(chroma + k / 2), _mm_packs_epi32(c, c));
        }
        blocks<L>(reinterpret_cast<T *>(dst), luma, chroma, round,
                  std::make_integer_sequence<int32_t, L::blocks>{});
        src += L::in * int32_t(sizeof(T));
        dst += 2 * L::g.dst * L::groups * int32_t(sizeof(T));
    }
    // Groups short of a step: the scalar statement.
    exact_groups<T, R, TwoRow>(dst, left, src, src_pitch, first_row_weight, last_row_weight);
}

// x2 replicates (or blends, then replicates) samples, which the scalar
// template runs faster than the planes; it stays scalar.
template <class T>
struct pick_sse2 {
    template <exact_ratio R, bool TwoRow>
    static constexpr rect_kernel kernel() {
        if constexpr (R == x2) return &exact_kernel<T, R, TwoRow>;
        return &exact_kernel_sse2<T, R, TwoRow>;
    }
};

} // namespace

const exact_ratio_table rect_exact_ratio_yuy2_sse2 = ratio_table<pick_sse2<uint8_t>>();
const exact_ratio_table rect_exact_ratio_w210_sse2 = ratio_table<pick_sse2<uint16_t>>();

} // namespace tovrel

#endif
