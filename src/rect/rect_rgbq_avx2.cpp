// AVX2 form of the three-tap horizontal pass (2048 <= x_step < 4096), the
// costly part of 1x to 2x reductions: two destination pixels per vector and
// 32-bit multiplies (vpmulld) instead of SSE2's pairs of pmuludq. The same
// bytes as rgbq_run_c; reached only through rect_isa::avx2, which is chosen
// once per call on processors that have it.
#if defined(__SSE2__)

#include <immintrin.h>

#include "rect/rect_rgbq.h"
#include "rect/rect_rgbq_simd.h"

namespace tovrel::rect {
namespace {

#define TOVREL_AVX2 __attribute__((target("avx2")))

// Columns c of destination pixels a (low half) and b (high half).
TOVREL_AVX2 inline __m256i column_pair(const uint32_t *v, int32_t a, int32_t b) {
    const __m128i lo = _mm_load_si128(reinterpret_cast<const __m128i *>(v + 4 * a));
    const __m128i hi = _mm_load_si128(reinterpret_cast<const __m128i *>(v + 4 * b));
    return _mm256_inserti128_si256(_mm256_castsi128_si256(lo), hi, 1);
}

// Pixel pair k (pixels 2k, 2k + 1) of eight: sum over the three taps of
// v * s (each below 2^31, the sum too), plus 2^22, >> 23.
TOVREL_AVX2 inline __m256i pixel_pair(const uint32_t *v, const int32_t *cols, int k, __m256i w0,
                                      __m256i w1, __m256i w2) {
    const __m256i pick =
        _mm256_setr_epi32(2 * k, 2 * k, 2 * k, 2 * k, 2 * k + 1, 2 * k + 1, 2 * k + 1, 2 * k + 1);
    const int32_t a = cols[2 * k], b = cols[2 * k + 1];
    __m256i s = _mm256_set1_epi32(1 << 22);
    s = _mm256_add_epi32(
        s, _mm256_mullo_epi32(column_pair(v, a, b), _mm256_permutevar8x32_epi32(w0, pick)));
    s = _mm256_add_epi32(
        s, _mm256_mullo_epi32(column_pair(v, a + 1, b + 1), _mm256_permutevar8x32_epi32(w1, pick)));
    s = _mm256_add_epi32(
        s, _mm256_mullo_epi32(column_pair(v, a + 2, b + 2), _mm256_permutevar8x32_epi32(w2, pick)));
    return _mm256_srli_epi32(s, 23);
}

TOVREL_AVX2 int32_t hpass_down3_avx2(uint8_t *dst, int32_t m, const uint32_t *v, int32_t *run_io,
                                     int32_t x_step) {
    alignas(32) int32_t cols[8], w0[8], w1[8], w2[8];
    int32_t col = 0, run = *run_io;
    int32_t j = 0;
    for (; j + 8 <= m; j += 8) {
        for (int k = 0; k < 8; ++k) {
            // Taps as in the SSE2 pass, with a mask for "two columns" so
            // that no branch depends on the pattern of the steps.
            const int32_t rem = pixel_units - run;
            const int32_t two = (x_step - 1 - rem) >> 31; // -1 when rem >= x_step, else 0
            const int32_t s1 = rem + ((x_step - rem) & two);
            cols[k] = col;
            w0[k] = run;
            w1[k] = s1;
            w2[k] = rem - s1;
            col += 1 - two;
            run = x_step + (x_step & two) - rem;
        }
        const __m256i W0 = _mm256_load_si256(reinterpret_cast<const __m256i *>(w0));
        const __m256i W1 = _mm256_load_si256(reinterpret_cast<const __m256i *>(w1));
        const __m256i W2 = _mm256_load_si256(reinterpret_cast<const __m256i *>(w2));
        const __m256i p01 = pixel_pair(v, cols, 0, W0, W1, W2);
        const __m256i p23 = pixel_pair(v, cols, 1, W0, W1, W2);
        const __m256i p45 = pixel_pair(v, cols, 2, W0, W1, W2);
        const __m256i p67 = pixel_pair(v, cols, 3, W0, W1, W2);
        // In-lane packing leaves pixels in the order 0 2 4 6 1 3 5 7.
        const __m256i bytes =
            _mm256_packus_epi16(_mm256_packs_epi32(p01, p23), _mm256_packs_epi32(p45, p67));
        _mm256_storeu_si256(
            reinterpret_cast<__m256i *>(dst + 4 * j),
            _mm256_permutevar8x32_epi32(bytes, _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7)));
    }
    *run_io = run;
    if (j < m) col += rgbq_hpass_down3_sse2(dst + 4 * j, m - j, v + 4 * col, run_io, x_step);
    return col;
}

#undef TOVREL_AVX2

} // namespace

void rgbq_run_avx2(uint8_t *dst, int32_t count, rect_cursor *cur, const rect_rows &rows,
                   int32_t x_step) {
    const bool halving = x_step == 2048 && cur->run == 2048;
    if (x_step >= 2048 && x_step < pixel_units && !halving && count > 0)
        rgbq_run_columns(dst, count, cur, rows, x_step, hpass_down3_avx2);
    else
        rgbq_run_sse2(dst, count, cur, rows, x_step);
}

} // namespace tovrel::rect

#endif // __SSE2__
