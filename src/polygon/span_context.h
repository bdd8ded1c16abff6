// The per-call working record of map_polygon: the renderers and writers
// chosen for the call, the texture and destination planes, the line buffer
// and the coverage line of edge anti-aliasing, and the polygon's edges.
#pragma once

#include <cstdint>

#include "polygon/pixel_writer.h"
#include "span/span_renderer.h"

namespace tovrel {

// Capacities of the working storage.
inline constexpr int32_t max_polygon_vertices = 30; // one edge per vertex
inline constexpr int32_t active_edge_slots = 32;
inline constexpr int32_t line_buffer_pixels = 8192;       // buffered and anti-aliased paths
inline constexpr int32_t line_buffer_bytes = 32768;       // 8192 RGBQ pixels
inline constexpr int32_t sentinel_first_line = 100000000; // above every line number

// One polygon edge crossing lines [first, last). Y is the line coordinate
// (destination lines, or sub-lines under MAP_EDGE_AA); x is the edge's x at
// the centre of the current line. The texture functions are linear in Y:
// u(Y) = u_origin + du * Y in 16.16 units (times w under perspective).
struct edge_record {
    edge_record *next;
    int32_t first;
    int32_t last;
    int32_t top_vertex;
    int32_t bottom_vertex;
    double dx;
    double x;
    double du, u_origin;
    double dv, v_origin;
    double dw, w_origin; // 0 and 1 for an affine mapping
};

struct span_context;

// Draws pixels [x0, x1) of one line between the edges `left` and `right`,
// whose x at the line centre `yc` are xl and xr. rows are the destination's
// colour and alpha rows of that line.
using span_routine = void (*)(const span_context *ctx, const span_rows *rows,
                              const edge_record *left, const edge_record *right, double yc,
                              double xl, double xr, int32_t x0, int32_t x1);

struct span_context {
    int32_t perspective; // 0 affine, 1 perspective

    // Renderers used into the line buffer and straight into the destination.
    persp_span_renderer persp_renderer;
    affine_span_renderer affine_renderer;
    persp_span_renderer direct_persp_renderer;
    affine_span_renderer direct_affine_renderer;
    tovrel::coverage_writer coverage_writer; // merges anti-aliased fringes
    tovrel::span_writer span_writer;         // may be null on the direct path
    tovrel::span_routine span_routine;

    // Source planes after field selection, as the renderers read them.
    texture_ref source;
    float src_u_limit; // largest u in 16.16 units, footprint reach removed
    float src_v_limit;
    // Smallest w a span may reach under perspective (half the smallest
    // vertex w); spans that would go below it are drawn with constant
    // texture coordinates.
    double w_floor;

    int32_t dst_width;
    int32_t dst_lines; // destination height, times 3 under MAP_EDGE_AA
    uint8_t *dst_pixels;
    int32_t dst_pitch;
    uint8_t *dst_alpha;
    int32_t dst_alpha_pitch;

    // Line selection, in line units of the scan (sub-lines under
    // MAP_EDGE_AA): line Y is drawn when (first_line - Y) mod line_step == 0.
    int64_t first_line;
    int64_t line_step;
    int32_t edge_aa;

    span_rows line_buffer; // colour line of line_buffer_bytes, alpha line of 8192

    // Edge anti-aliasing state of the destination line being accumulated.
    int32_t coverage_clear;  // 1: clear coverage_line before the next sub-line
    int32_t coverage_line_y; // destination line that coverage_line belongs to
    const edge_record *aa_left_edge;
    double aa_left_x;
    const edge_record *aa_right_edge;
    double aa_right_x;
    int32_t aa_x_min; // touched pixels [aa_x_min, aa_x_max)
    int32_t aa_x_max;
    // Per pixel: sum of the sub-lines' coverages, 0..3 * 4096, then the
    // line's coverage 0..4096.
    alignas(64) uint16_t coverage_line[line_buffer_pixels];
};

// The colour and alpha rows of destination line y (0 <= y < height).
inline span_rows destination_rows(const span_context &ctx, int32_t y) {
    return span_rows{ctx.dst_pixels + static_cast<intptr_t>(y) * ctx.dst_pitch,
                     reinterpret_cast<uint16_t *>(ctx.dst_alpha
                                                      ? ctx.dst_alpha + static_cast<intptr_t>(y) *
                                                                            ctx.dst_alpha_pitch
                                                      : nullptr),
                     ctx.dst_width};
}

} // namespace tovrel
