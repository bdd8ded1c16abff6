// Unrolled kernels for the common video enlargements of YUY2 and W210
// (16/9, 2, 8/3, 9/8, 3/2, 4/3), replacing the whole-line one-row and
// two-row roles of aligned rectangles.
#pragma once

#include <array>
#include <cstdint>

#include "rect/rect_kernel.h"
#include "rect/rect_select.h"

namespace tovrel {

// The enlargements, in the order of the kernel tables.
enum exact_ratio : int32_t { x16_9, x2, x8_3, x9_8, x3_2, x4_3, exact_ratio_count };

// One ratio's repeating group: `src` source pixels give `dst` destination
// pixels (both even, so a group is whole 4:2:2 pairs on both sides), with
// `x_step` the step the 0.99 rounding of map_rectangle produces for it.
struct exact_ratio_group {
    int32_t x_step;
    int32_t src;
    int32_t dst;
};
extern const std::array<exact_ratio_group, exact_ratio_count> rect_exact_ratio_groups;

struct exact_ratio_kernels {
    rect_kernel row1; // one source line: first_row_weight 2048
    rect_kernel row2; // two source lines: first_row_weight + last_row_weight = 2048
};
using exact_ratio_table = std::array<exact_ratio_kernels, exact_ratio_count>;

// rect_x16_9_row1 ... rect_x4_3_row2 for YUY2 and for W210. Each runs whole
// groups only, while at least `dst` destination pixels of the line remain;
// a rest narrower than a group is left as it was (the selection admits
// only widths that are whole groups). Only for whole lines, first_width
// 4096, first_column_run == x_step and pair-aligned src and dst.
extern const exact_ratio_table rect_exact_ratio_yuy2;
extern const exact_ratio_table rect_exact_ratio_w210;
#if defined(__SSE2__)
// The same kernels with SSE2, and with AVX2 for processors that have it.
extern const exact_ratio_table rect_exact_ratio_yuy2_sse2;
extern const exact_ratio_table rect_exact_ratio_w210_sse2;
extern const exact_ratio_table rect_exact_ratio_yuy2_avx2;
extern const exact_ratio_table rect_exact_ratio_w210_avx2;
#endif

// The kernels of a format (YUY2 or W210) and instruction set.
const exact_ratio_table &rect_exact_ratio_table(uint8_t format, rect_isa isa);

// True, with the one-row and two-row kernels of the choice's instruction
// set, when the choice is an aligned YUY2 or W210 rectangle at one of the
// six steps whose width is a whole number of groups.
bool rect_exact_ratio_kernels(uint8_t format, const rect_choice &c, rect_kernel *row1,
                              rect_kernel *row2);

} // namespace tovrel
