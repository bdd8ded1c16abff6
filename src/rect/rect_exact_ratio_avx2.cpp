// AVX2 forms of the exact-ratio kernels (step layout in
// rect_exact_ratio_simd.h). A destination pair reads at most two source
// pairs, so one 16-byte window of the source holds everything it needs; a
// byte shuffle lays out its four (A, B) sample pairs as 16-bit lanes. Two
// pairs per 256-bit vector (one window per lane), four pairs per store.
// Reached only through rect_isa::avx2, chosen once per call on processors
// that have it.
#if defined(__SSE2__)

#include <immintrin.h>

#include <array>

#include "rect/rect_exact_ratio_simd.h"

namespace tovrel {
namespace {

using namespace rect;

#define TOVREL_AVX2 __attribute__((target("avx2")))

template <class T>
TOVREL_AVX2 inline __m256i windows(const T *in, int32_t lo, int32_t hi) {
    return _mm256_inserti128_si256(
        _mm256_castsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i *>(in + lo))),
        _mm_loadu_si128(reinterpret_cast<const __m128i *>(in + hi)), 1);
}

// Destination pairs p (low lane) and q (high lane): eight 32-bit lanes of
// (A * wA + B * wB + 4096) >> 13 with wA + wB = 8192. Words go into the
// signed multiply-adds less 2^15 (their top bit flipped), and the sum
// gets back 2^15 * 8192: exact for every 16-bit word.
template <class L, class T>
TOVREL_AVX2 inline __m256i pair_sums(const T *in, int32_t p, int32_t q) {
    __m256i ab = _mm256_shuffle_epi8(
        windows(in, L::t.start[p], L::t.start[q]),
        _mm256_inserti128_si256(_mm256_castsi128_si256(_mm_load_si128(
                                    reinterpret_cast<const __m128i *>(L::t.shuffle[p]))),
                                _mm_load_si128(reinterpret_cast<const __m128i *>(L::t.shuffle[q])),
                                1));
    int32_t round = 4096;
    if constexpr (sizeof(T) == 2) {
        ab = _mm256_xor_si256(ab, _mm256_set1_epi16(int16_t(0x8000)));
        round += int32_t{1} << 28;
    }
    const __m256i w = _mm256_inserti128_si256(
        _mm256_castsi128_si256(_mm_load_si128(reinterpret_cast<const __m128i *>(L::t.weight[p]))),
        _mm_load_si128(reinterpret_cast<const __m128i *>(L::t.weight[q])), 1);
    return _mm256_srli_epi32(_mm256_add_epi32(_mm256_madd_epi16(ab, w), _mm256_set1_epi32(round)),
                             13);
}

// Sixteen samples of two rows, blended as (upper * first + lower * last +
// 1024) >> 11 in 16-bit lanes, in order. Words as in pair_sums: less 2^15,
// given back by `round` (1024 + 2^15 * (first + last)).
template <class T>
TOVREL_AVX2 inline __m256i blend16(const T *upper, const T *lower, __m256i weights, __m256i round) {
    __m256i u, l;
    if constexpr (sizeof(T) == 1) {
        u = _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i *>(upper)));
        l = _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i *>(lower)));
    } else {
        const __m256i top = _mm256_set1_epi16(int16_t(0x8000));
        u = _mm256_xor_si256(_mm256_loadu_si256(reinterpret_cast<const __m256i *>(upper)), top);
        l = _mm256_xor_si256(_mm256_loadu_si256(reinterpret_cast<const __m256i *>(lower)), top);
    }
    const __m256i lo = _mm256_srli_epi32(
        _mm256_add_epi32(_mm256_madd_epi16(_mm256_unpacklo_epi16(u, l), weights), round), 11);
    const __m256i hi = _mm256_srli_epi32(
        _mm256_add_epi32(_mm256_madd_epi16(_mm256_unpackhi_epi16(u, l), weights), round), 11);
    return _mm256_packus_epi32(lo, hi);
}

// Sixteen 16-bit lanes in order stored as samples.
template <class T>
TOVREL_AVX2 inline void store16(T *out, __m256i v) {
    if constexpr (sizeof(T) == 1) {
        const __m256i b = _mm256_permute4x64_epi64(_mm256_packus_epi16(v, v), 0x08);
        _mm_storeu_si128(reinterpret_cast<__m128i *>(out), _mm256_castsi256_si128(b));
    } else {
        _mm256_storeu_si256(reinterpret_cast<__m256i *>(out), v);
    }
}

template <class T, exact_ratio R, bool TwoRow>
TOVREL_AVX2 void exact_kernel_avx2(uint8_t *dst, uint16_t *, int32_t, int32_t, int32_t width,
                                   const uint8_t *src, int32_t src_pitch, const uint16_t *, int32_t,
                                   int32_t, int32_t, int32_t, int32_t first_row_weight, int32_t,
                                   int32_t last_row_weight) {
    using L = step_layout<R, int32_t(sizeof(T)), TwoRow>;
    constexpr int32_t step_units = L::g.dst * L::groups * unit;
    // The blended rows of a step.
    alignas(16) T blended[L::in];
    const __m256i row_weights =
        _mm256_set1_epi32(int32_t(uint32_t(first_row_weight) | uint32_t(last_row_weight) << 16));
    const __m256i blend_round = _mm256_set1_epi32(
        1024 + (sizeof(T) == 2 ? 32768 * (first_row_weight + last_row_weight) : 0));
    int32_t left = width;
    for (; left >= step_units; left -= step_units) {
        const T *in = reinterpret_cast<const T *>(src);
        if constexpr (TwoRow) {
            const T *lower = reinterpret_cast<const T *>(src + src_pitch);
            for (int32_t k = 0; k < L::in; k += 16)
                store16(blended + k, blend16(in + k, lower + k, row_weights, blend_round));
            in = blended;
        }
        T *out = reinterpret_cast<T *>(dst);
        for (int32_t p = 0; p < L::pairs; p += 4)
            store16(out + 4 * p, _mm256_packus_epi32(pair_sums<L>(in, p, p + 2),
                                                     pair_sums<L>(in, p + 1, p + 3)));
        src += L::in * int32_t(sizeof(T));
        dst += 4 * L::pairs * int32_t(sizeof(T));
    }
    // Groups short of a step: the scalar statement.
    exact_groups<T, R, TwoRow>(dst, left, src, src_pitch, first_row_weight, last_row_weight);
}

// The YUY2 x2 one-row kernel is a plain replication of bytes, which the
// compiler vectorises in the scalar template faster than the shuffles run
// it; it stays scalar.
template <class T>
struct pick_avx2 {
    template <exact_ratio R, bool TwoRow>
    static constexpr rect_kernel kernel() {
        if constexpr (sizeof(T) == 1 && R == x2 && !TwoRow) return &exact_kernel<T, R, TwoRow>;
        return &exact_kernel_avx2<T, R, TwoRow>;
    }
};

} // namespace

const exact_ratio_table rect_exact_ratio_yuy2_avx2 = ratio_table<pick_avx2<uint8_t>>();
const exact_ratio_table rect_exact_ratio_w210_avx2 = ratio_table<pick_avx2<uint16_t>>();

} // namespace tovrel

#endif
