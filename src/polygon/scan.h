// Scan conversion of the edge table into spans, and the span routines that
// hand each span with its texture gradients to a renderer and a writer.
#pragma once

#include <cstdint>

#include "polygon/edge_table.h"
#include "polygon/span_context.h"

namespace tovrel {

// Texture coefficients of one span, linear in the destination column x from
// x = 0, as the renderers take them.
struct span_coefficients {
    float u_step, v_step, u_base, v_base;
    float w_step, w_base; // 0 and 1 for an affine mapping
};

// Gradients across the span between `left` and `right` at line centre yc,
// in double precision, rounded once to float. A span whose coefficients are
// not finite, or whose w would fall below ctx.w_floor at x0 or x1 - 1 (slivers
// narrower than the 1/4096 pixel grid, fringes reaching past a steep
// perspective), gets constant coefficients taken inside the span instead.
span_coefficients span_gradients(const span_context &ctx, const edge_record &left,
                                 const edge_record &right, double yc, double xl, double xr,
                                 int32_t x0, int32_t x1);

// Renders straight into the destination rows and completes the span with
// ctx.span_writer when one is set, or (ViaLineBuffer) renders into the
// line buffer and merges it with ctx.span_writer.
template <bool ViaLineBuffer, bool Perspective>
void span_render(const span_context *ctx, const span_rows *rows, const edge_record *left,
                 const edge_record *right, double yc, double xl, double xr, int32_t x0, int32_t x1);

// The span routine for a path, chosen once per call.
span_routine select_span_routine(bool via_line_buffer, bool perspective);

// Renders [x0, x1) into the line buffer with the line-buffer renderer.
void render_into_line_buffer(const span_context &ctx, const span_coefficients &c, int32_t x0,
                             int32_t x1);

// First pixel whose centre is at or right of x, on the 1/4096 pixel grid:
// (2047 - trunc(-4096 x)) >> 12. Inputs far off the image saturate.
int64_t first_pixel_at(double x);

// Runs the scan over every listed edge until the sentinel, drawing the
// lines selected by ctx.first_line and ctx.line_step through
// ctx.span_routine (and, under ctx.edge_aa, the coverage writer).
void scan_polygon(span_context &ctx, edge_table &table);

} // namespace tovrel
