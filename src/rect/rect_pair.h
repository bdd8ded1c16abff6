// The 4:2:2 rectangle kernels: YUY2 and W210 sources into their own format,
// and yuvq sources with alpha into YUY2 or W210 with alpha.
#pragma once

#include <cstdint>

#include "rect/rect_kernel.h"
#include "rect/rect_select.h"

namespace tovrel {

// Kernel kinds of a 4:2:2 family, in the order of the RGBQ kernels
// (rgbq_kernel_index): plain and tile, then the alpha combinations. For the
// plain kind the roles have their own kernels (row1, row2, rows).
enum pair_kernel_index : int32_t {
    pair_plain,
    pair_tile,
    pair_to_alpha_straight,
    pair_to_alpha_premul,
    pair_to_alpha_straight_tile,
    pair_to_alpha_premul_tile,
    paira_over_straight,
    paira_over_premul,
    paira_to_alpha_straight,
    paira_to_alpha_premul,
    paira_to_alpha_straight_tile,
    paira_to_alpha_premul_tile,
    pair_kernel_count
};

// The kernel set of `index` for a source format (YUY2, W210 or yuvq) into a
// destination format (YUY2 or W210; the source's for YUY2 and W210). yuvq
// has only the paira_to_alpha kinds; false for anything else.
bool rect_pair_kernels(uint8_t src_format, uint8_t dst_format, int32_t index,
                       const rect_choice &choice, rect_kernel_set *out);

} // namespace tovrel
