// The per-line kernel contract of map_rectangle.
#pragma once

#include <array>
#include <cstdint>

namespace tovrel {

// Draws one destination line from a weighted run of source lines.
// Horizontal units are 1/4096 pixel, vertical units 1/2048 line, so a fully
// covered destination pixel collects a weight of 2^23.
using rect_kernel = void (*)(uint8_t *dst, uint16_t *dst_alpha, int32_t first_width,
                             int32_t line_weight, int32_t width, const uint8_t *src,
                             int32_t src_pitch, const uint16_t *src_alpha, int32_t src_alpha_pitch,
                             int32_t x_step, int32_t y_step, int32_t first_column_run,
                             int32_t first_row_weight, int32_t middle_rows,
                             int32_t last_row_weight);

// Kernel slots of one call. A line's shape picks the role: one source row;
// two rows (a last row, no middle rows); three rows (one middle row); more.
// Whole lines (weight 2048) and partial lines each have their own four roles.
enum rect_role : int32_t {
    rect_role_row1 = 0,
    rect_role_row2 = 1,
    rect_role_row3 = 2,
    rect_role_rows = 3,
    rect_role_count = 4,
};

inline constexpr int32_t rect_slot_count = 2 * rect_role_count;
inline constexpr int32_t rect_whole_line = 2048;

// Slot index: whole-line roles 0..3, partial-line roles 4..7.
constexpr int32_t rect_slot(int32_t line_weight, int32_t middle_rows, int32_t last_row_weight) {
    const int32_t role = middle_rows == 0 ? (last_row_weight == 0 ? rect_role_row1 : rect_role_row2)
                         : middle_rows == 1 ? rect_role_row3
                                            : rect_role_rows;
    return (line_weight == rect_whole_line ? 0 : rect_role_count) + role;
}

struct rect_kernel_set {
    std::array<rect_kernel, rect_slot_count> slots;
    bool reads_src_alpha;  // src_alpha and src_alpha_pitch are used
    bool writes_dst_alpha; // dst_alpha is read and written
    // Most source pixels one line may read (the kernels' line buffer); 0: any.
    int32_t line_pixels;
};

// The same kernel in every slot.
constexpr rect_kernel_set rect_uniform_set(rect_kernel k, bool reads_src_alpha,
                                           bool writes_dst_alpha) {
    rect_kernel_set set{};
    for (auto &slot : set.slots) slot = k;
    set.reads_src_alpha = reads_src_alpha;
    set.writes_dst_alpha = writes_dst_alpha;
    return set;
}

} // namespace tovrel
