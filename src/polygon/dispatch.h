// Choice of renderers, span routine and pixel writers for one map_polygon
// call, from the source format, the source and destination alpha, the
// destination format and the tiling flag.
#pragma once

#include <cstdint>

#include <tovrel.h>

#include "polygon/pixel_writer.h"
#include "span/span_renderer.h"

namespace tovrel {

struct dispatch_choice {
    const char *refusal;                // message to report instead of drawing, or null
    persp_span_renderer persp_renderer; // into the line buffer
    affine_span_renderer affine_renderer;
    persp_span_renderer direct_persp_renderer; // into the destination
    affine_span_renderer direct_affine_renderer;
    bool via_line_buffer; // span_render renders into the line buffer
    tovrel::span_writer span_writer;
    tovrel::coverage_writer coverage_writer;
    bool reads_src_alpha; // the source's w12b plane
    bool uses_dst_alpha;  // the destination's w12b plane
    int32_t pixel_bytes;  // bytes per pixel of a line-buffer line
    bool pair_format;     // 4:2:2 pairs: writers touch whole pairs
};

// Looks the combination up and picks the renderers of footprint slot `slot`.
// flags is map_polygon's flags byte (only MAP_TILE is read here).
dispatch_choice choose_renderers(const image_descriptor &dst, const image_descriptor &src,
                                 uint32_t flags, int32_t slot);

} // namespace tovrel
