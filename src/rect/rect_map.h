// map_rectangle's driver: fixed-point geometry, clipping and fields, and
// the line loop that calls one kernel per destination line.
#pragma once

#include <cstdint>

#include <tovrel.h>

#include "rect/rect_kernel.h"
#include "rect/rect_select.h"

namespace tovrel {

struct rect_coords {
    float dst_x0, dst_y0, dst_x1, dst_y1;
    float src_x0, src_y0, src_x1, src_y1;
};

// One call's geometry after fields and clipping. Horizontal quantities in
// 1/4096 destination pixel, vertical ones in 1/2048 destination line; lines
// are field lines when a field flag is set.
struct rect_geometry {
    int32_t x_step;            // per source pixel, >= 1
    int32_t y_step;            // per source line, >= 1
    int32_t first_width;       // coverage of the first destination column, 1..4096
    int32_t width;             // total, >= 1
    int32_t first_line_weight; // coverage of the first destination line, 1..2048
    int64_t height;            // total, >= 1
    int64_t dst_column;        // first destination column and line
    int64_t dst_line;
    int64_t src_column;       // first source column, in [0, width)
    int64_t src_line;         // first source line, in [0, src_last_line]
    int32_t first_column_run; // in [1, x_step]
    int64_t first_line_run;   // vertical units left in the first source line, >= 1
    int64_t src_last_line;    // source line (or field line) count - 1
    bool dst_field;           // destination lines are every other frame line
    bool dst_bottom;          // ... starting at frame line 1
    bool src_field;
    bool src_bottom;
};

enum class rect_setup_status { draw, empty, refused };

// Steps 1 to 10 of a call: refusals are reported here.
rect_setup_status rect_setup(const image_descriptor &dst, const image_descriptor &src,
                             const rect_coords &c, uint32_t flags, rect_geometry *g);

// Calls the kernels for every drawn line. The descriptors' addresses are
// those the set uses, already checked.
void rect_draw(const image_descriptor &dst, const image_descriptor &src, const rect_geometry &g,
               const rect_kernel_set &set, int32_t line_phase, int32_t line_period);

// map_rectangle with the kernels of a given instruction set.
void rect_map_rectangle(rect_isa isa, const image_descriptor *destination, const rect_coords &c,
                        const image_descriptor *source, uint32_t flags, int32_t line_phase,
                        int32_t line_period);

// multisrc_map_rectangle with the kernels of a given instruction set.
void rect_multisrc(rect_isa isa, const image_descriptor *destination, double dst_x0, double dst_y0,
                   double dst_x1, double dst_y1, const image_descriptor *const *sources,
                   int32_t source_count, double src_x0, double src_y0, double src_x1, double src_y1,
                   uint32_t flags, int32_t line_phase, int32_t line_period);

} // namespace tovrel
