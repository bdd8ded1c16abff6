// Pieces of the SIMD whole-pixel runs shared between instruction sets.
#pragma once

#include <cstdint>

#include "rect/rect_rgbq_walk.h"

namespace tovrel::rect {

// Source columns summed vertically at a time (16 bytes each).
inline constexpr int32_t rgbq_chunk_columns = 512;

// A horizontal pass over column sums v (per column four uint32 below 2^19,
// then two zeroed columns): writes m pixels, returns the number of columns
// the cursor moved and leaves the current column's run in *run.
using rgbq_hpass_fn = int32_t (*)(uint8_t *dst, int32_t m, const uint32_t *v, int32_t *run,
                                  int32_t x_step);

// Vertical sums of `cols` columns from src into v (per column four uint32,
// each the sum of component * row weight over the line's rows, below 2^19).
using rgbq_vsum_fn = void (*)(uint32_t *v, const uint8_t *src, int32_t cols, const rect_rows &rows);

// A run through column sums, a chunk of columns at a time, with the given
// vertical and horizontal passes.
void rgbq_run_columns(uint8_t *dst, int32_t count, rect_cursor *cur, const rect_rows &rows,
                      int32_t x_step, rgbq_vsum_fn vsum, rgbq_hpass_fn hpass);

// The SSE2 vertical sums.
void rgbq_vsum_sse2(uint32_t *v, const uint8_t *src, int32_t cols, const rect_rows &rows);

// The SSE2 pass for 2048 <= x_step < 4096.
int32_t rgbq_hpass_down3_sse2(uint8_t *dst, int32_t m, const uint32_t *v, int32_t *run,
                              int32_t x_step);

// The three-tap pass of 2048 <= x_step < 4096 writing each pixel's four
// sums (modulo 2^32, unrounded) for the 4:2:2 kernels; AVX2 only where the
// processor has it.
int32_t pair_hpass_down3_sse2(uint32_t *sums, int32_t m, const uint32_t *v, int32_t *run,
                              int32_t x_step);
int32_t pair_hpass_down3_avx2(uint32_t *sums, int32_t m, const uint32_t *v, int32_t *run,
                              int32_t x_step);

// Whole-pixel runs with AVX2 where it pays, SSE2 elsewhere; only where the
// processor has AVX2.
void rgbq_run_avx2(uint8_t *dst, int32_t count, rect_cursor *cur, const rect_rows &rows,
                   int32_t x_step);

} // namespace tovrel::rect
