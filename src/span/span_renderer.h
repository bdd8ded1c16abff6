// The span renderer contract shared by every renderer family and by the
// polygon driver that calls them.
#pragma once

#include <array>
#include <cstdint>

namespace tovrel {

// Rows handed to renderers and pixel writers: pixel 0 of a colour line and
// of its alpha line (unsigned 16-bit, 0..4096). A renderer writes element x
// of `pixels` for x0 <= x < x1; the alpha renderers also write `alpha`.
struct span_rows {
    void *pixels;
    uint16_t *alpha;
    // Pixels in the row. A 4:2:2 writer whose range starts on an odd pixel
    // at the row's last pixel must not touch the pair beyond it.
    int32_t width = INT32_MAX;
};

// The texture as the renderers see it, after field selection: texel (0, 0)
// of the colour plane and of the w12b alpha plane, and their signed pitches
// in bytes. Colour renderers read only the first two fields.
struct texture_ref {
    const uint8_t *base;
    int32_t pitch;
    const uint8_t *alpha;
    int32_t alpha_pitch;
};

// Coordinates are texel units times 65536 as 32-bit floats; the per-span
// coefficients are linear in the destination column x measured from x = 0:
//   u_num(x) = u_base + u_step * x, v_num(x) likewise, w(x) = w_base + w_step * x.
// u_max and v_max clamp the position after the divide so that every texel
// of the footprint lies inside the texture.
using persp_span_fn = void(const span_rows *line, int32_t x0, int32_t x1,
                           const texture_ref *texture, float u_max, float v_max, float u_step,
                           float v_step, float u_base, float v_base, float w_step, float w_base);
using affine_span_fn = void(const span_rows *line, int32_t x0, int32_t x1,
                            const texture_ref *texture, float u_max, float v_max, float u_step,
                            float v_step, float u_base, float v_base);
using persp_span_renderer = persp_span_fn *;
using affine_span_renderer = affine_span_fn *;

// Slot 0 is point sampling; slots 1..20 are 1 + 5 * hc + wc with heights
// {1, 1.5, 2, 4} rows and widths {1, 2, 3, 4, 8} columns.
inline constexpr int footprint_count = 21;

using persp_renderer_table = std::array<persp_span_renderer, footprint_count>;
using affine_renderer_table = std::array<affine_span_renderer, footprint_count>;

// One format family's pair of tables, indexed by footprint slot.
struct renderer_table_pair {
    const persp_renderer_table *persp;
    const affine_renderer_table *affine;
};

} // namespace tovrel
