// The per-line kernel contract of map_rectangle.
#pragma once

#include <cstdint>

namespace tovrel {

// Draws one destination line from a weighted run of source lines.
// Horizontal units are 1/4096 pixel, vertical units 1/2048 line, so a fully
// covered destination pixel collects a weight of 2^23.
using rect_kernel = void (*)(uint8_t *dst, uint16_t *dst_alpha, int32_t first_width,
                             int32_t line_weight, int32_t width, const uint8_t *src,
                             int32_t src_pitch, const uint16_t *src_alpha,
                             int32_t src_alpha_pitch, int32_t x_step, int32_t y_step,
                             int32_t first_column_run, int32_t first_row_weight,
                             int32_t middle_rows, int32_t last_row_weight);

} // namespace tovrel
