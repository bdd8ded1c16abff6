// Choice of the kernel set of a map_rectangle call: a table of rows
// {source format, source alpha kind, destination format, destination alpha
// kind, tiling, deciding alpha_mode -> operation or message}.
#pragma once

#include <cstdint>

#include <tovrel.h>

#include "rect/rect_kernel.h"

namespace tovrel {

// Operations a call resolves to.
enum class rect_op : uint8_t {
    none, // refused or silent: nothing is drawn
    rgbq_copy,
    rgbq_tile,
    rgbq_to_alpha_straight,
    rgbq_to_alpha_premul,
    rgbq_to_alpha_straight_tile,
    rgbq_to_alpha_premul_tile,
    rgbqa_over_straight,
    rgbqa_over_premul,
    rgbqa_to_alpha_straight,
    rgbqa_to_alpha_premul,
    rgbqa_to_alpha_straight_tile,
    rgbqa_to_alpha_premul_tile,
    yuy2, // rect_yuy2_row1 / _row2 / _rows by role
    yuy2_tile,
    yuy2_to_alpha_straight,
    yuy2_to_alpha_premul,
    yuy2_to_alpha_straight_tile,
    yuy2_to_alpha_premul_tile,
    yuy2a_over_straight,
    yuy2a_over_premul,
    yuy2a_to_alpha_straight,
    yuy2a_to_alpha_premul,
    yuy2a_to_alpha_straight_tile,
    yuy2a_to_alpha_premul_tile,
    w210, // rect_w210_row1 / _row2 / _rows by role
    w210_tile,
    w210_to_alpha_straight,
    w210_to_alpha_premul,
    w210_to_alpha_straight_tile,
    w210_to_alpha_premul_tile,
    w210a_over_straight,
    w210a_over_premul,
    w210a_to_alpha_straight,
    w210a_to_alpha_premul,
    w210a_to_alpha_straight_tile,
    w210a_to_alpha_premul_tile,
    yuvqa_to_yuy2_straight,
    yuvqa_to_yuy2_premul,
    yuvqa_to_yuy2_straight_tile,
    yuvqa_to_yuy2_premul_tile,
    yuvqa_to_w210_straight,
    yuvqa_to_w210_premul,
    yuvqa_to_w210_straight_tile,
    yuvqa_to_w210_premul_tile,
    count
};

// Outcome of the table: an operation, or a refusal message, or neither
// (return silently).
struct rect_selection {
    rect_op op;
    const char *message;
};

rect_selection rect_select(const image_descriptor &dst, const image_descriptor &src,
                           uint32_t flags);

// Instruction sets the kernels come in; chosen once per call.
enum class rect_isa : uint8_t { c, sse2, avx2 };
rect_isa rect_best_isa();
bool rect_isa_supported(rect_isa isa);

// What the kernel choice may depend on beyond the operation: the exact-ratio
// and 1:1 kernels replace roles only for aligned rectangles of given steps.
struct rect_choice {
    rect_isa isa;
    int32_t x_step;
    int32_t y_step;
    int32_t first_column_run;
    int32_t first_width;
    int32_t width;
    int64_t src_column;
    int64_t dst_column;
};

// The kernel set of an operation, or nullptr with *message set when the
// operation's kernels are not part of this build.
const char *rect_op_name(rect_op op);
bool rect_op_kernels(rect_op op, const rect_choice &choice, rect_kernel_set *out,
                     const char **message);

// Bytes per pixel used for addressing, by source format (0: unknown).
int32_t rect_bytes_per_pixel(uint8_t format);

} // namespace tovrel
