// Edge anti-aliasing: exact horizontal area coverage of edge pixels, summed
// over three sub-lines per destination line or taken over the whole line in
// one pass.
#pragma once

#include <cstdint>

#include "polygon/span_context.h"

namespace tovrel {

// An edge's crossing of one sub-line (or line) in 1/4096 pixel, a <= b, and
// the pixels it touches: first = a >> 12, last = ((b + 4095) >> 12) - 1 (an
// interval that is one point on a pixel boundary touches none).
struct edge_crossing {
    int64_t a, b;
    int64_t first, last;
    double k; // 4096 / (b - a): share per 1/4096 pixel of offset (0 when a = b)
};

// Crossing between the edge's x at the top and at the bottom of the strip.
edge_crossing crossing_of(double x_top, double x_bottom);

// Coverage 0..4096 of pixel p by the area right of a left edge (the polygon
// side) within the strip: 0 left of the crossing, 4096 right of it.
int32_t left_edge_share(const edge_crossing &e, int64_t p);
// The same for the area left of a right edge.
int32_t right_edge_share(const edge_crossing &e, int64_t p);

// Adds sub-line y of the pair (left, right) to ctx.coverage_line, clearing
// it first after a flush, and widens the line's extremes. phase is the
// sub-line's phase (2, 1, 0 from top to bottom of destination line y / 3).
void accumulate_sub_line(span_context &ctx, const edge_record &left, const edge_record &right,
                         int32_t y, int64_t phase);

// Brings the accumulated line back to the 4096 scale, renders it once across
// its extreme edges at the line centre and merges it into destination line
// ctx.coverage_line_y with the coverage writer. Does nothing when no line is
// pending.
void flush_coverage_line(span_context &ctx);

// Whole-line pass over the pair at sub-line y (the first of destination line
// y / 3), when the line's three sub-lines share one set of edges: the edge
// fringes go through the coverage writer, the pixels between them through
// the span routine.
void single_pass_pair(span_context &ctx, const edge_record &left, const edge_record &right,
                      int32_t y);

} // namespace tovrel
