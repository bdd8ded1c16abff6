// The RGBQ rectangle kernels: plain, tiling, and the alpha combinations.
#pragma once

#include <array>
#include <cstdint>

#include "rect/rect_kernel.h"
#include "rect/rect_rgbq_walk.h"

namespace tovrel {

// Kernel indices, in the order of the kernel tables below.
enum rgbq_kernel_index : int32_t {
    rgbq_copy,                    // rect_rgbq_copy
    rgbq_tile,                    // rect_rgbq_tile
    rgbq_to_alpha_straight,       // rect_rgbq_to_alpha_straight
    rgbq_to_alpha_premul,         // rect_rgbq_to_alpha_premul
    rgbq_to_alpha_straight_tile,  // rect_rgbq_to_alpha_straight_tile
    rgbq_to_alpha_premul_tile,    // rect_rgbq_to_alpha_premul_tile
    rgbqa_over_straight,          // rect_rgbqa_over_straight
    rgbqa_over_premul,            // rect_rgbqa_over_premul
    rgbqa_to_alpha_straight,      // rect_rgbqa_to_alpha_straight
    rgbqa_to_alpha_premul,        // rect_rgbqa_to_alpha_premul
    rgbqa_to_alpha_straight_tile, // rect_rgbqa_to_alpha_straight_tile
    rgbqa_to_alpha_premul_tile,   // rect_rgbqa_to_alpha_premul_tile
    rgbq_kernel_count
};

using rgbq_kernel_table = std::array<rect_kernel, rgbq_kernel_count>;

// Scalar statements: the general walk for every pixel.
extern const rgbq_kernel_table rect_rgbq_kernels_c;
#if defined(__SSE2__)
// The same kernels with SSE2 whole-pixel runs; identical output.
extern const rgbq_kernel_table rect_rgbq_kernels_sse2;
// With AVX2 where it pays; only for processors that have it.
extern const rgbq_kernel_table rect_rgbq_kernels_avx2;
#endif

bool rect_rgbq_reads_src_alpha(int32_t index);
bool rect_rgbq_writes_dst_alpha(int32_t index);

namespace rect {
#if defined(__SSE2__)
// A whole-pixel run in SSE2; the same bytes and cursor as rgbq_run_c.
void rgbq_run_sse2(uint8_t *dst, int32_t count, rect_cursor *cur, const rect_rows &rows,
                   int32_t x_step);
#endif
} // namespace rect

} // namespace tovrel
