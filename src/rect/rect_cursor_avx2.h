// Eight area footprints walked over source columns in AVX2 lanes: each
// footprint's first column and its offset into it, moved on eight pixels a
// step, and the overlaps of the (at most three) columns it covers. Shared by
// the RGBQ and 4:2:2 reduction passes for steps unit / 2 < step < unit.
// Include only from files whose routines are reached through rect_isa::avx2.
#pragma once

#include <immintrin.h>

#include <cstdint>

#include "rect/rect_walk.h"

#define TOVREL_AVX2 __attribute__((target("avx2")))

namespace tovrel::rect {
namespace {

// Eight footprints of `unit` units (4096 for a pixel, 8192 for a pair) over
// columns of `step` (unit / 2 < step < unit): q the first column of each,
// and r the footprint's offset into it.
struct cursor8 {
    __m256i q, r;
};

// Cursor steps of eight footprints of `unit` units over columns of `step`
// units, 32768 units (eight pixels) a step: whole columns and `by` units
// (below step) further; rest = unit - step.
struct cursor_step {
    __m256i by_less_step, step, rest, whole_and_one;
};
TOVREL_AVX2 inline cursor_step cursor_step_of(int32_t step, int32_t unit) {
    constexpr int32_t units = 8 * pixel_units;
    return {_mm256_set1_epi32(units % step - step), _mm256_set1_epi32(step),
            _mm256_set1_epi32(unit - step), _mm256_set1_epi32(units / step + 1)};
}

// Every footprint moved on (q absolute).
TOVREL_AVX2 inline cursor8 next(cursor8 c, const cursor_step &k) {
    const __m256i t = _mm256_add_epi32(c.r, k.by_less_step);
    const __m256i back = _mm256_srai_epi32(t, 31); // -1: one column less
    const __m256i r = _mm256_add_epi32(t, _mm256_and_si256(back, k.step));
    return {_mm256_add_epi32(_mm256_add_epi32(c.q, back), k.whole_and_one), r};
}

// Units of columns q, q + 1 and q + 2 in each footprint (w2 may be 0).
struct taps {
    __m256i w0, w1, w2;
};
TOVREL_AVX2 inline taps taps_of(__m256i r, const cursor_step &k) {
    taps t;
    t.w0 = _mm256_sub_epi32(k.step, r);
    const __m256i rem = _mm256_add_epi32(r, k.rest); // units past column q
    t.w1 = _mm256_min_epi32(rem, k.step);
    t.w2 = _mm256_sub_epi32(rem, t.w1);
    return t;
}

} // namespace
} // namespace tovrel::rect
