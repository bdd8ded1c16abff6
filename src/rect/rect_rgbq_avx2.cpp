// AVX2 parts of the RGBQ whole-pixel runs: for 1x to 2x reductions (2048 <=
// x_step < 4096) the vertical sums, eight columns per step, and the
// three-tap horizontal pass, two destination pixels per vector with 32-bit
// multiplies (vpmulld) instead of SSE2's pairs of pmuludq; and the exact 2x2
// halving, eight pixels per step. The same bytes as rgbq_run_c; reached only
// through rect_isa::avx2, which is chosen once per call on processors that
// have it.
#if defined(__SSE2__)

#include <immintrin.h>

#include "rect/rect_cursor_avx2.h"
#include "rect/rect_rgbq.h"
#include "rect/rect_rgbq_simd.h"

namespace tovrel::rect {
namespace {

// The column at byte offset a of v for the low half, b for the high half.
TOVREL_AVX2 inline __m256i column_pair(const uint8_t *v, uint32_t a, uint32_t b) {
    const __m128i lo = _mm_load_si128(reinterpret_cast<const __m128i *>(v + a));
    const __m128i hi = _mm_load_si128(reinterpret_cast<const __m128i *>(v + b));
    return _mm256_inserti128_si256(_mm256_castsi128_si256(lo), hi, 1);
}

// Pixel pair K (pixels 2K, 2K + 1) of eight, whose taps are kept with the
// even pixels in the low lane and the odd ones in the high lane (pixel 2K in
// element K of each lane order: 0 2 4 6 | 1 3 5 7), so that an in-lane
// broadcast picks a pair's weights. Adjacent: the high lane's taps are the
// three columns after the low lane's first (see adjacent_min_step), so each
// tap is one unaligned load; otherwise every pixel's columns are its own.
// The three-tap sum v0 w0 + v1 w1 + v2 w2 is taken modulo 2^32 (for RGBQ,
// v below 2^19 and weights adding up to 4096, it is below 2^31). Returns the
// sums (Raw), or (sum + 2^22) >> 23.
template <int K, bool Raw, bool Adjacent>
TOVREL_AVX2 inline __m256i pixel_pair(const uint8_t *v, const uint32_t *offsets, __m256i w0,
                                      __m256i w1, __m256i w2) {
    constexpr int pick = K * 0x55; // element K of each lane, everywhere in it
    const uint32_t a = offsets[K], b = offsets[4 + K];
    __m256i v0, v1, v2;
    if constexpr (Adjacent) {
        v0 = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(v + a));
        v1 = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(v + a + 16));
        v2 = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(v + a + 32));
    } else {
        v0 = column_pair(v, a, b);
        v1 = column_pair(v, a + 16, b + 16);
        v2 = column_pair(v, a + 32, b + 32);
    }
    __m256i s = _mm256_mullo_epi32(v0, _mm256_shuffle_epi32(w0, pick));
    s = _mm256_add_epi32(s, _mm256_mullo_epi32(v1, _mm256_shuffle_epi32(w1, pick)));
    s = _mm256_add_epi32(s, _mm256_mullo_epi32(v2, _mm256_shuffle_epi32(w2, pick)));
    if constexpr (Raw) return s;
    return _mm256_srli_epi32(_mm256_add_epi32(s, _mm256_set1_epi32(1 << 22)), 23);
}

// From this step on, an odd pixel fits the columns c + 1 .. c + 3 after its
// even neighbour's first column c. A pixel with run r moves on two columns
// when 4096 - r >= x_step, leaving the next pixel a run of
// 2 x_step - 4096 + r > 2 x_step - 4096; that pixel has a third tap only
// when its run is below 4096 - x_step, impossible once 3 x_step >= 8192.
// So the odd pixel starts at c + 1 (three taps at most), or at c + 2 with
// two taps.
inline constexpr int32_t adjacent_min_step = 2731;
static_assert(3 * adjacent_min_step >= 8192 && 3 * (adjacent_min_step - 1) < 8192);

// Where the pass puts a group of eight pixels: RGBQ bytes, or (pair
// kernels) their sums, four per pixel.
struct rgbq_group {
    uint8_t *dst;
    static constexpr bool raw = false;
    TOVREL_AVX2 void operator()(int32_t j, __m256i p01, __m256i p23, __m256i p45,
                                __m256i p67) const {
        // In-lane packing leaves pixels in the order 0 2 4 6 1 3 5 7.
        const __m256i bytes =
            _mm256_packus_epi16(_mm256_packs_epi32(p01, p23), _mm256_packs_epi32(p45, p67));
        _mm256_storeu_si256(
            reinterpret_cast<__m256i *>(dst + 4 * j),
            _mm256_permutevar8x32_epi32(bytes, _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7)));
    }
    int32_t tail(int32_t j, int32_t m, const uint32_t *v, int32_t *run, int32_t x_step) const {
        return rgbq_hpass_down3_sse2(dst + 4 * j, m - j, v, run, x_step);
    }
};
struct sums_group {
    uint32_t *sums;
    static constexpr bool raw = true;
    TOVREL_AVX2 void operator()(int32_t j, __m256i p01, __m256i p23, __m256i p45,
                                __m256i p67) const {
        __m256i *q = reinterpret_cast<__m256i *>(sums + 4 * j);
        _mm256_storeu_si256(q, p01), _mm256_storeu_si256(q + 1, p23);
        _mm256_storeu_si256(q + 2, p45), _mm256_storeu_si256(q + 3, p67);
    }
    int32_t tail(int32_t j, int32_t m, const uint32_t *v, int32_t *run, int32_t x_step) const {
        return pair_hpass_down3_sse2(sums + 4 * j, m - j, v, run, x_step);
    }
};

template <class Out, bool Adjacent>
TOVREL_AVX2 int32_t hpass_down3_avx2(Out out, int32_t m, const uint32_t *v, int32_t *run_io,
                                     int32_t x_step) {
    alignas(32) uint32_t offsets[8]; // byte offsets of the pixels' first columns in v
    const uint8_t *bytes = reinterpret_cast<const uint8_t *>(v);
    // Left edge of pixel j in units from the start of column 0: e0 + 4096 j,
    // as a column q and an offset r in it (0 <= r < x_step). The eight
    // pixels of a group are held with the even ones in the low lane and the
    // odd ones in the high lane (pixel 7 last); from group to group each
    // edge moves on 32768 units (cursor8's next).
    const int32_t e0 = x_step - *run_io;
    alignas(32) int32_t q0[8], r0[8];
    for (int lane = 0; lane < 8; ++lane) {
        const int32_t pixel = lane < 4 ? 2 * lane : 2 * (lane - 4) + 1;
        q0[lane] = (e0 + pixel * pixel_units) / x_step;
        r0[lane] = (e0 + pixel * pixel_units) % x_step;
    }
    cursor8 c{_mm256_loadu_si256(reinterpret_cast<const __m256i *>(q0)),
              _mm256_loadu_si256(reinterpret_cast<const __m256i *>(r0))};
    const cursor_step k = cursor_step_of(x_step, pixel_units);
    int32_t j = 0;
    for (; j + 8 <= m; j += 8) {
        // Taps as in the SSE2 pass: the rest of column q (run), then either
        // the remainder in column q + 1, or all of q + 1 and the remainder in
        // q + 2 when the remainder reaches x_step.
        const taps t = taps_of(c.r, k);
        const __m256i W0 = t.w0, W1 = t.w1, W2 = t.w2;
        _mm256_storeu_si256(reinterpret_cast<__m256i *>(offsets), _mm256_slli_epi32(c.q, 4));
        __m256i A0 = W0, A1 = W1, A2 = W2;
        if constexpr (Adjacent) {
            // An odd pixel two columns after its even neighbour (whose
            // second tap is a whole column) has no third tap: its weights
            // move up one column, (0, W0, W1).
            const __m256i two = _mm256_cmpeq_epi32(W1, k.step);
            const __m256i late = _mm256_and_si256(_mm256_permute2x128_si256(two, two, 0x00),
                                                  _mm256_setr_epi32(0, 0, 0, 0, -1, -1, -1, -1));
            A0 = _mm256_andnot_si256(late, W0);
            A1 = _mm256_blendv_epi8(W1, W0, late);
            A2 = _mm256_blendv_epi8(W2, W1, late);
        }
        out(j, pixel_pair<0, Out::raw, Adjacent>(bytes, offsets, A0, A1, A2),
            pixel_pair<1, Out::raw, Adjacent>(bytes, offsets, A0, A1, A2),
            pixel_pair<2, Out::raw, Adjacent>(bytes, offsets, A0, A1, A2),
            pixel_pair<3, Out::raw, Adjacent>(bytes, offsets, A0, A1, A2));
        c = next(c, k); // the next group
    }
    // The next pixel's left edge: its column and the run left in it.
    const int32_t edge = e0 + j * pixel_units;
    int32_t col = edge / x_step;
    *run_io = x_step - edge % x_step;
    if (j < m) col += out.tail(j, m, v + 4 * col, run_io, x_step);
    return col;
}

TOVREL_AVX2 int32_t rgbq_hpass_down3_avx2(uint8_t *dst, int32_t m, const uint32_t *v,
                                          int32_t *run_io, int32_t x_step) {
    return x_step >= adjacent_min_step
               ? hpass_down3_avx2<rgbq_group, true>(rgbq_group{dst}, m, v, run_io, x_step)
               : hpass_down3_avx2<rgbq_group, false>(rgbq_group{dst}, m, v, run_io, x_step);
}

// Eight columns of a row with the even ones in the low lane, so that
// in-lane unpacking gives the columns in order, two per vector.
TOVREL_AVX2 inline __m256i columns(const uint8_t *p) {
    return _mm256_permutevar8x32_epi32(_mm256_loadu_si256(reinterpret_cast<const __m256i *>(p)),
                                       _mm256_setr_epi32(0, 2, 4, 6, 1, 3, 5, 7));
}

// Vertical sums of eight columns per step, as the SSE2 vsum: per column and
// component the sum of component * row weight (below 2^19), from up to three
// rows, stored into or added to v. Returns the columns done (a multiple of 8).
template <int Rows, bool Add>
TOVREL_AVX2 int32_t vsum_pass_avx2(uint32_t *v, const uint8_t *r0, ptrdiff_t pitch, int32_t cols,
                                   int32_t w0, int32_t w1, int32_t w2) {
    const __m256i zero = _mm256_setzero_si256();
    const __m256i w01 =
        _mm256_set1_epi32(int32_t(uint32_t(w0) | uint32_t(Rows >= 2 ? w1 : 0) << 16));
    const __m256i w2z = _mm256_set1_epi32(w2);
    const uint8_t *r1 = Rows >= 2 ? r0 + pitch : r0;
    const uint8_t *r2 = Rows == 3 ? r1 + pitch : r0;
    // The next line reads one or two rows after these: each 64 bytes of
    // both is asked for once, at alternate steps. Past the image's last row
    // these addresses lie outside it: formed in integers, and prefetches do
    // not fault.
    const uint8_t *ahead = byte_offset(r0, Rows * pitch);
    int32_t i = 0;
    for (; i + 8 <= cols; i += 8) {
        _mm_prefetch(
            reinterpret_cast<const char *>(byte_offset(ahead, (i & 8 ? pitch : 0) + 4 * i)),
            _MM_HINT_T0);
        const __m256i a = columns(r0 + 4 * i);
        const __m256i b = Rows >= 2 ? columns(r1 + 4 * i) : zero;
        // In-lane unpacking: s0 holds columns 0 | 1, s1 2 | 3, s2 4 | 5, s3 6 | 7.
        const __m256i lo = _mm256_unpacklo_epi8(a, b);
        const __m256i hi = _mm256_unpackhi_epi8(a, b);
        __m256i s0 = _mm256_madd_epi16(_mm256_unpacklo_epi8(lo, zero), w01);
        __m256i s1 = _mm256_madd_epi16(_mm256_unpackhi_epi8(lo, zero), w01);
        __m256i s2 = _mm256_madd_epi16(_mm256_unpacklo_epi8(hi, zero), w01);
        __m256i s3 = _mm256_madd_epi16(_mm256_unpackhi_epi8(hi, zero), w01);
        if constexpr (Rows == 3) {
            const __m256i c = columns(r2 + 4 * i);
            const __m256i clo = _mm256_unpacklo_epi8(c, zero);
            const __m256i chi = _mm256_unpackhi_epi8(c, zero);
            s0 = _mm256_add_epi32(s0, _mm256_madd_epi16(_mm256_unpacklo_epi16(clo, zero), w2z));
            s1 = _mm256_add_epi32(s1, _mm256_madd_epi16(_mm256_unpackhi_epi16(clo, zero), w2z));
            s2 = _mm256_add_epi32(s2, _mm256_madd_epi16(_mm256_unpacklo_epi16(chi, zero), w2z));
            s3 = _mm256_add_epi32(s3, _mm256_madd_epi16(_mm256_unpackhi_epi16(chi, zero), w2z));
        }
        __m256i o[4] = {s0, s1, s2, s3};
        __m256i *q = reinterpret_cast<__m256i *>(v + 4 * i);
        for (int k = 0; k < 4; ++k) {
            if constexpr (Add) o[k] = _mm256_add_epi32(o[k], _mm256_load_si256(q + k));
            _mm256_store_si256(q + k, o[k]);
        }
    }
    return i;
}

// All rows of a line, three at a time; the last columns (below 8) in SSE2.
TOVREL_AVX2 void vsum_avx2(uint32_t *v, const uint8_t *src, int32_t cols, const rect_rows &rows) {
    const int32_t n = 1 + rows.middle + (rows.last_weight != 0 ? 1 : 0);
    const ptrdiff_t p = rows.pitch;
    auto weight = [&](int32_t k) {
        return k == 0             ? rows.first_weight
               : k <= rows.middle ? rows.middle_weight
                                  : rows.last_weight;
    };
    int32_t done = 0;
    if (n == 1) {
        done = vsum_pass_avx2<1, false>(v, src, p, cols, rows.first_weight, 0, 0);
    } else if (n == 2) {
        done = vsum_pass_avx2<2, false>(v, src, p, cols, rows.first_weight, weight(1), 0);
    } else {
        done = vsum_pass_avx2<3, false>(v, src, p, cols, rows.first_weight, weight(1), weight(2));
        int32_t k = 3;
        for (; k + 3 <= n; k += 3)
            vsum_pass_avx2<3, true>(v, src + k * p, p, cols, weight(k), weight(k + 1),
                                    weight(k + 2));
        if (n - k == 2)
            vsum_pass_avx2<2, true>(v, src + k * p, p, cols, weight(k), weight(k + 1), 0);
        if (n - k == 1) vsum_pass_avx2<1, true>(v, src + k * p, p, cols, weight(k), 0, 0);
    }
    if (done < cols) rgbq_vsum_sse2(v + 4 * done, src + 4 * done, cols - done, rows);
}

// In-lane even and odd pixels of 16 (two 32-byte loads): destination pixels
// 0 1 4 5 | 2 3 6 7.
TOVREL_AVX2 inline __m256i even_pixels(const uint8_t *q) {
    const __m256 x = _mm256_castsi256_ps(_mm256_loadu_si256(reinterpret_cast<const __m256i *>(q)));
    const __m256 y =
        _mm256_castsi256_ps(_mm256_loadu_si256(reinterpret_cast<const __m256i *>(q + 32)));
    return _mm256_castps_si256(_mm256_shuffle_ps(x, y, _MM_SHUFFLE(2, 0, 2, 0)));
}
TOVREL_AVX2 inline __m256i odd_pixels(const uint8_t *q) {
    const __m256 x = _mm256_castsi256_ps(_mm256_loadu_si256(reinterpret_cast<const __m256i *>(q)));
    const __m256 y =
        _mm256_castsi256_ps(_mm256_loadu_si256(reinterpret_cast<const __m256i *>(q + 32)));
    return _mm256_castps_si256(_mm256_shuffle_ps(x, y, _MM_SHUFFLE(3, 1, 3, 1)));
}

// Exact 2x2 mean of two rows of weight 1024, eight destination pixels at a
// time: (a + b + c + d + 2) >> 2 per byte, by the pavgb identity of the SSE2
// form (avg(p, q) less one where p + q is odd and a + b or c + d was odd).
// Returns the number of pixels written (a multiple of 8).
TOVREL_AVX2 int32_t halve2_avx2(uint8_t *dst, int32_t count, const uint8_t *src, ptrdiff_t pitch) {
    const __m256i one = _mm256_set1_epi8(1);
    int32_t i = 0;
    for (; i + 8 <= count; i += 8) {
        const uint8_t *q = src + 8 * i;
        const __m256i a = even_pixels(q), b = odd_pixels(q);
        const __m256i c = even_pixels(q + pitch), d = odd_pixels(q + pitch);
        const __m256i p = _mm256_avg_epu8(a, b), r = _mm256_avg_epu8(c, d);
        const __m256i odd_in = _mm256_or_si256(_mm256_xor_si256(a, b), _mm256_xor_si256(c, d));
        const __m256i t = _mm256_and_si256(_mm256_and_si256(_mm256_xor_si256(p, r), odd_in), one);
        const __m256i m = _mm256_sub_epi8(_mm256_avg_epu8(p, r), t);
        _mm256_storeu_si256(reinterpret_cast<__m256i *>(dst + 4 * i),
                            _mm256_permute4x64_epi64(m, _MM_SHUFFLE(3, 1, 2, 0)));
    }
    return i;
}

#undef TOVREL_AVX2

} // namespace

int32_t pair_hpass_down3_avx2(uint32_t *sums, int32_t m, const uint32_t *v, int32_t *run,
                              int32_t x_step) {
    return x_step >= adjacent_min_step
               ? hpass_down3_avx2<sums_group, true>(sums_group{sums}, m, v, run, x_step)
               : hpass_down3_avx2<sums_group, false>(sums_group{sums}, m, v, run, x_step);
}

void rgbq_run_avx2(uint8_t *dst, int32_t count, rect_cursor *cur, const rect_rows &rows,
                   int32_t x_step) {
    const bool halving = x_step == 2048 && cur->run == 2048;
    if (halving && rows.middle == 0 && rows.first_weight == 1024 && rows.last_weight == 1024) {
        const int32_t done = halve2_avx2(dst, count, cur->src, rows.pitch);
        cur->src += ptrdiff_t(done) * 8;
        dst += ptrdiff_t(done) * 4;
        count -= done;
    }
    if (x_step >= 2048 && x_step < pixel_units && !halving && count > 0)
        rgbq_run_columns(dst, count, cur, rows, x_step, vsum_avx2, rgbq_hpass_down3_avx2);
    else
        rgbq_run_sse2(dst, count, cur, rows, x_step);
}

} // namespace tovrel::rect

#endif // __SSE2__
