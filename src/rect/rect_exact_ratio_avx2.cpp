// AVX2 forms of the exact-ratio kernels, generated from the same group
// weights as the scalar ones. A destination pair (four output samples:
// Y, U, Y, V) reads at most two source pairs, so one 16-byte window of the
// source holds everything it needs; a byte shuffle lays out its four
// (A, B) sample pairs as 16-bit lanes and one multiply-add with the
// weights (wA, 8192 - wA) gives the four sums. Luma weights are doubled to
// the chroma scale ((2s + 4096) >> 13 equals (s + 2048) >> 12), so every
// lane rounds and shifts alike. Two pairs per 256-bit vector (one window
// per lane), four pairs per step.
//
// The shuffles treat W210 words as signed 16-bit lanes: the same bytes as
// the scalar kernels for samples below 2^15 (10-bit samples and far
// beyond). Reached only through rect_isa::avx2, chosen once per call on
// processors that have it.
#if defined(__SSE2__)

#include <immintrin.h>

#include <array>

#include "rect/rect_exact_ratio_walk.h"

namespace tovrel {
namespace {

using namespace rect;

#define TOVREL_AVX2 __attribute__((target("avx2")))

// A step's layout for one ratio, sample size and row role: `groups` groups
// at a time (the fewest whose input fills a window, whose output is whole
// steps of four pairs and, for two rows, whose input is whole blocks of 16
// samples), and per destination pair of those groups the window start (in
// samples) and the shuffle that picks its (A, B) lanes.
template <exact_ratio R, int32_t Bytes, bool TwoRow>
struct step_layout {
    static constexpr exact_ratio_group g = ratio_traits<R>::group;
    static constexpr int32_t window = 16 / Bytes; // samples
    static constexpr int32_t groups = [] {
        int32_t u = 1;
        while ((u * g.dst) % 8 != 0 || u * 2 * g.src < window || (TwoRow && u * g.src % 8 != 0))
            ++u;
        return u;
    }();
    static constexpr int32_t in = 2 * g.src * groups;    // samples read per step
    static constexpr int32_t pairs = g.dst / 2 * groups; // destination pairs written
    struct table {
        int32_t start[pairs];
        alignas(16) uint8_t shuffle[pairs][16];
        alignas(16) int16_t weight[pairs][8];
    };
    static constexpr table make() {
        constexpr auto &w = ratio_traits<R>::w;
        table t{};
        for (int32_t p = 0; p < pairs; ++p) {
            const int32_t group = p / (g.dst / 2), m = p % (g.dst / 2), base = group * 2 * g.src;
            // Output samples Y'(2m), U'(m), Y'(2m + 1), V'(m): input sample A
            // with weight wA (of 8192), B the next pixel's or pair's sample.
            int32_t a[4], b[4], wa[4];
            for (int32_t k = 0; k < 4; ++k) {
                const bool luma = k % 2 == 0;
                const int32_t j = 2 * m + k / 2;
                a[k] = base + (luma ? 2 * w.luma_src[j] : 4 * w.chroma_src[m] + k);
                wa[k] = luma ? 2 * w.luma_w[j] : w.chroma_w[m];
                b[k] = wa[k] == pair_unit ? a[k] : a[k] + (luma ? 2 : 4);
            }
            const int32_t first = base + 4 * w.chroma_src[m];
            t.start[p] = first + window <= in ? first : in - window;
            for (int32_t k = 0; k < 4; ++k) {
                for (int32_t half = 0; half < 2; ++half) {
                    const int32_t at = (half == 0 ? a[k] : b[k]) - t.start[p];
                    for (int32_t byte = 0; byte < 2; ++byte)
                        t.shuffle[p][4 * k + 2 * half + byte] =
                            byte < Bytes ? uint8_t(Bytes * at + byte) : uint8_t{0x80};
                }
                t.weight[p][2 * k] = int16_t(wa[k]);
                t.weight[p][2 * k + 1] = int16_t(pair_unit - wa[k]);
            }
        }
        return t;
    }
    static constexpr table t = make();

    // Every lane inside its window.
    static constexpr bool windows_hold() {
        for (int32_t p = 0; p < pairs; ++p) {
            if (t.start[p] < 0 || t.start[p] + window > in) return false;
            for (int32_t i = 0; i < 16; ++i)
                if (t.shuffle[p][i] != 0x80 && t.shuffle[p][i] >= 16) return false;
        }
        return true;
    }
    static_assert(windows_hold(), "a destination pair's samples lie in one window");
    static_assert(pairs % 4 == 0, "steps of four destination pairs");
    static_assert(!TwoRow || in % 16 == 0, "two rows blend in blocks of 16 samples");
};

template <class T>
TOVREL_AVX2 inline __m256i windows(const T *in, int32_t lo, int32_t hi) {
    return _mm256_inserti128_si256(
        _mm256_castsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i *>(in + lo))),
        _mm_loadu_si128(reinterpret_cast<const __m128i *>(in + hi)), 1);
}

// Destination pairs p (low lane) and q (high lane): eight 32-bit lanes of
// (A * wA + B * wB + 4096) >> 13 with wA + wB = 8192, each below 2^15 for
// samples below 2^15.
template <class L, class T>
TOVREL_AVX2 inline __m256i pair_sums(const T *in, int32_t p, int32_t q) {
    const __m256i ab = _mm256_shuffle_epi8(
        windows(in, L::t.start[p], L::t.start[q]),
        _mm256_inserti128_si256(_mm256_castsi128_si256(_mm_load_si128(
                                    reinterpret_cast<const __m128i *>(L::t.shuffle[p]))),
                                _mm_load_si128(reinterpret_cast<const __m128i *>(L::t.shuffle[q])),
                                1));
    const __m256i w = _mm256_inserti128_si256(
        _mm256_castsi128_si256(_mm_load_si128(reinterpret_cast<const __m128i *>(L::t.weight[p]))),
        _mm_load_si128(reinterpret_cast<const __m128i *>(L::t.weight[q])), 1);
    return _mm256_srli_epi32(_mm256_add_epi32(_mm256_madd_epi16(ab, w), _mm256_set1_epi32(4096)),
                             13);
}

// Sixteen samples of two rows, blended as (upper * first + lower * last +
// 1024) >> 11 in 16-bit lanes, in order.
template <class T>
TOVREL_AVX2 inline __m256i blend16(const T *upper, const T *lower, __m256i weights) {
    __m256i u, l;
    if constexpr (sizeof(T) == 1) {
        u = _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i *>(upper)));
        l = _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i *>(lower)));
    } else {
        u = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(upper));
        l = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(lower));
    }
    const __m256i round = _mm256_set1_epi32(1024);
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
TOVREL_AVX2 void
exact_kernel_avx2(uint8_t *dst, uint16_t *dst_alpha, int32_t first_width, int32_t line_weight,
                  int32_t width, const uint8_t *src, int32_t src_pitch, const uint16_t *src_alpha,
                  int32_t src_alpha_pitch, int32_t x_step, int32_t y_step, int32_t first_column_run,
                  int32_t first_row_weight, int32_t middle_rows, int32_t last_row_weight) {
    using L = step_layout<R, int32_t(sizeof(T)), TwoRow>;
    constexpr int32_t step_units = L::g.dst * L::groups * unit;
    // The blended rows of a step.
    alignas(32) T blended[L::in];
    const __m256i row_weights =
        _mm256_set1_epi32(int32_t(uint32_t(first_row_weight) | uint32_t(last_row_weight) << 16));
    int32_t left = width;
    for (; left >= step_units; left -= step_units) {
        const T *in = reinterpret_cast<const T *>(src);
        if constexpr (TwoRow) {
            const T *lower = reinterpret_cast<const T *>(src + src_pitch);
            for (int32_t k = 0; k < L::in; k += 16)
                store16(blended + k, blend16(in + k, lower + k, row_weights));
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
    exact_kernel<T, R, TwoRow>(dst, dst_alpha, first_width, line_weight, left, src, src_pitch,
                               src_alpha, src_alpha_pitch, x_step, y_step, first_column_run,
                               first_row_weight, middle_rows, last_row_weight);
}

template <class T>
struct exact_ratio_set_avx2 {
    template <exact_ratio R>
    static constexpr exact_ratio_kernels pair = {&exact_kernel_avx2<T, R, false>,
                                                 &exact_kernel_avx2<T, R, true>};
    static constexpr exact_ratio_table table = {
        {pair<x16_9>, pair<x2>, pair<x8_3>, pair<x9_8>, pair<x3_2>, pair<x4_3>}};
};

} // namespace

const exact_ratio_table rect_exact_ratio_yuy2_avx2 = exact_ratio_set_avx2<uint8_t>::table;
const exact_ratio_table rect_exact_ratio_w210_avx2 = exact_ratio_set_avx2<uint16_t>::table;

} // namespace tovrel

#endif
