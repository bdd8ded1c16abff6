// One map_polygon call: its working storage and the steps before and after
// the choice of renderers, separated so that the scan can be driven with
// other renderers and writers.
#pragma once

#include <cstdint>

#include <tovrel.h>

#include "polygon/edge_table.h"
#include "polygon/footprint.h"
#include "polygon/span_context.h"

namespace tovrel {

// Everything a call works in: one block, on the caller's stack.
struct alignas(64) polygon_work {
    span_context ctx;
    edge_table edges;
    footprint_choice footprint;
    alignas(64) uint8_t line_colour[line_buffer_bytes];
    alignas(64) uint16_t line_alpha[line_buffer_pixels];
};

struct polygon_args {
    const image_descriptor *dst;
    const image_descriptor *src;
    const map_vertex *vertices;
    int32_t vertex_count;
    uint32_t flags;
    int32_t first_line;
    int32_t line_step;
};

enum class prepare_status : uint8_t {
    draw,    // ctx and edges are ready for the dispatch
    nothing, // no vertex, or no edge crosses a line: return 0
    refused, // an argument was refused and reported
};

// Checks the arguments (reporting what it refuses), selects the source
// field, tests for perspective, picks the footprint, scales the lines and
// builds the edge table. On `draw`, work.ctx holds everything except the
// renderers, writers, span routine and destination planes.
prepare_status prepare_polygon(polygon_work &work, const polygon_args &args);

// Sets the destination planes and runs the scan.
void draw_polygon(polygon_work &work, const image_descriptor &dst);

} // namespace tovrel
