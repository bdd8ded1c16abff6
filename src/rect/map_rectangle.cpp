// map_rectangle: float rectangles to fixed point, fields, clipping, kernel
// choice and the line loop.
//
// Precision of the set-up arithmetic (the same on every target: SSE scalar
// arithmetic, no contraction):
// - coordinates times 4096 or 2048, the field halving and quarter-line
//   offsets, the field shift offset * (sy1 - sy0) / (dy1 - dy0), and the
//   source start src_x0 * x_step are single-precision products;
// - a step is the single-precision quotient (X1 - X0) / (src_x1 - src_x0),
//   widened to double for the added 0.99, then truncated.
// Fixed-point values are held in int64 and refused from 2^60 on, so no sum
// of three of them overflows; only clipped values reach the kernels.
#include <algorithm>
#include <cmath>
#include <cstdint>

#include "diag/diag.h"
#include "rect/rect_map.h"

namespace tovrel {
namespace {

constexpr int32_t x_unit = 4096;                      // destination pixel
constexpr int32_t y_unit = 2048;                      // destination line
constexpr double fixed_limit = 1152921504606846976.0; // 2^60
// Widest destination whose width in 1/4096 pixel fits the kernels' int32.
constexpr int32_t max_dst_width = INT32_MAX / x_unit;

bool to_fixed(float v, int64_t *out) {
    if (!(std::fabs(v) < fixed_limit)) return false; // also NaN and infinities
    *out = static_cast<int64_t>(v);                  // truncation toward zero
    return true;
}

// Destination units per source unit, rounded up unless within 0.01 of a
// whole unit, at least 1.
bool step_of(int64_t extent, float src_extent, int32_t *step) {
    const float q = static_cast<float>(extent) / src_extent;
    const double r = static_cast<double>(q) + 0.99;
    if (!(r < 2147483648.0)) return false;
    *step = r >= 1.0 ? static_cast<int32_t>(r) : 1;
    return true;
}

bool fits_doubled(int32_t pitch) {
    return pitch <= INT32_MAX / 2 && pitch >= INT32_MIN / 2;
}

template <class T>
T *advance(T *p, int64_t bytes) {
    return reinterpret_cast<T *>(reinterpret_cast<uintptr_t>(p) + static_cast<uintptr_t>(bytes));
}

rect_setup_status refuse(const char *message) {
    diag_report("%s", message);
    return rect_setup_status::refused;
}

} // namespace

rect_setup_status rect_setup(const image_descriptor &dst, const image_descriptor &src,
                             const rect_coords &c, uint32_t flags, rect_geometry *g) {
    if (dst.width <= 0 || dst.height <= 0 || src.width <= 0 || src.height <= 0)
        return refuse("map_rectangle: image width and height must be positive\n");
    if (dst.width > max_dst_width)
        return refuse("map_rectangle: destination wider than 524287 pixels\n");

    float dy0 = c.dst_y0, dy1 = c.dst_y1, sy0 = c.src_y0, sy1 = c.src_y1;

    // Destination field: halve the rectangle, shift the source by a quarter
    // destination line in source units.
    int64_t dst_lines = dst.height;
    g->dst_field = (flags & (RECT_DST_FIELD_TOP | RECT_DST_FIELD_BOTTOM)) != 0;
    g->dst_bottom = g->dst_field && (flags & RECT_DST_FIELD_TOP) == 0;
    if (g->dst_field) {
        if (!fits_doubled(dst.pitch) || !fits_doubled(dst.alpha_pitch))
            return refuse("map_rectangle: destination pitch too large for field access\n");
        dy0 *= 0.5f;
        dy1 *= 0.5f;
        dst_lines = g->dst_bottom ? dst.height >> 1 : (int64_t{dst.height} + 1) / 2;
        const float extent = dy1 - dy0;
        if (extent == 0.0f) return rect_setup_status::empty;
        const float offset = g->dst_bottom ? 0.25f : -0.25f;
        const float shift = offset * (sy1 - sy0) / extent;
        sy0 += shift;
        sy1 += shift;
    }

    // Source field: frame lines to field lines.
    int64_t src_lines = src.height;
    g->src_field = (flags & (RECT_SRC_FIELD_TOP | RECT_SRC_FIELD_BOTTOM)) != 0;
    g->src_bottom = g->src_field && (flags & RECT_SRC_FIELD_TOP) == 0;
    if (g->src_field) {
        if (!fits_doubled(src.pitch) || !fits_doubled(src.alpha_pitch))
            return refuse("map_rectangle: source pitch too large for field access\n");
        const float offset = g->src_bottom ? -0.25f : 0.25f;
        sy0 = sy0 * 0.5f + offset;
        sy1 = sy1 * 0.5f + offset;
        src_lines = src.height / 2;
        if (src_lines < 1) return refuse("map_rectangle: the source field has no lines\n");
    }

    int64_t X0, Y0, X1, Y1;
    if (!to_fixed(c.dst_x0 * 4096.0f, &X0) || !to_fixed(dy0 * 2048.0f, &Y0) ||
        !to_fixed(c.dst_x1 * 4096.0f, &X1) || !to_fixed(dy1 * 2048.0f, &Y1))
        return refuse("map_rectangle: rectangle coordinates out of range\n");

    const float src_w = c.src_x1 - c.src_x0;
    const float src_h = sy1 - sy0;
    if (src_w == 0.0f || src_h == 0.0f)
        return refuse("map_rectangle: the source rectangle has zero width or height\n");
    int32_t x_step, y_step;
    int64_t SX, SY;
    if (!step_of(X1 - X0, src_w, &x_step) || !step_of(Y1 - Y0, src_h, &y_step) ||
        !to_fixed(c.src_x0 * static_cast<float>(x_step), &SX) ||
        !to_fixed(sy0 * static_cast<float>(y_step), &SY))
        return refuse("map_rectangle: rectangle coordinates out of range\n");

    // Horizontal clipping, in this order; E = X1 - X0 + SX is kept.
    const int64_t E = (X1 - X0) + SX;
    if (SX < 0) {
        X0 -= SX; // nothing is drawn left of the source's edge
        SX = 0;
    }
    if (X0 < 0) {
        SX -= X0;
        X0 = 0;
    }
    const int64_t src_end = int64_t{src.width} * x_step;
    if (src_end < E) X1 -= E - src_end;
    X1 = std::min<int64_t>(X1, int64_t{dst.width} * x_unit);
    if (X1 - X0 < 1) return rect_setup_status::empty;

    // Vertical clipping: the destination only. The source is held at its
    // edges: a head start lengthens line 0, the last line takes the rest.
    if (Y0 < 0) {
        SY -= Y0;
        Y0 = 0;
    }
    Y1 = std::min<int64_t>(Y1, dst_lines * y_unit);
    if (Y1 - Y0 < 1) return rect_setup_status::empty;
    int64_t head = 0;
    if (SY < 0) {
        head = -SY;
        SY = 0;
    }

    g->x_step = x_step;
    g->y_step = y_step;
    g->src_last_line = src_lines - 1;
    g->height = Y1 - Y0;
    g->src_line = SY / y_step;
    g->first_line_run = head + y_step - SY % y_step;
    if (SY >= g->src_last_line * y_step) {
        // At (or past) the last line: it takes the whole height.
        g->src_line = std::min(g->src_line, g->src_last_line);
        g->first_line_run = g->height;
    }
    g->src_column = SX / x_step; // SX + (X1 - X0) <= width * x_step: inside the source
    g->first_column_run = static_cast<int32_t>(x_step - SX % x_step);
    g->dst_column = X0 / x_unit;
    g->dst_line = Y0 / y_unit;
    g->width = static_cast<int32_t>(X1 - X0);
    g->first_width = static_cast<int32_t>(std::min<int64_t>(x_unit - X0 % x_unit, X1 - X0));
    g->first_line_weight = static_cast<int32_t>(std::min<int64_t>(y_unit - Y0 % y_unit, Y1 - Y0));
    return rect_setup_status::draw;
}

void rect_draw(const image_descriptor &dst, const image_descriptor &src, const rect_geometry &g,
               const rect_kernel_set &set, int32_t line_phase, int32_t line_period) {
    const int32_t src_bpp = rect_bytes_per_pixel(src.format);
    const int32_t dst_bpp =
        src.format == TOVREL_FORMAT_YUVQ ? rect_bytes_per_pixel(dst.format) : src_bpp;

    int64_t dst_pitch = dst.pitch, dst_alpha_pitch = dst.alpha_pitch;
    uint8_t *d = static_cast<uint8_t *>(dst.pixels);
    uint16_t *da = set.writes_dst_alpha ? static_cast<uint16_t *>(dst.alpha) : nullptr;
    if (g.dst_bottom) {
        d = advance(d, dst_pitch);
        if (da) da = advance(da, dst_alpha_pitch);
    }
    if (g.dst_field) {
        dst_pitch *= 2;
        dst_alpha_pitch *= 2;
    }
    d = advance(d, g.dst_line * dst_pitch + g.dst_column * dst_bpp);
    if (da) da = advance(da, g.dst_line * dst_alpha_pitch + g.dst_column * 2);

    int64_t src_pitch = src.pitch, src_alpha_pitch = src.alpha_pitch;
    const uint8_t *s = static_cast<const uint8_t *>(src.pixels);
    const uint16_t *sa = set.reads_src_alpha ? static_cast<const uint16_t *>(src.alpha) : nullptr;
    if (g.src_bottom) {
        s = advance(s, src_pitch);
        if (sa) sa = advance(sa, src_alpha_pitch);
    }
    if (g.src_field) {
        src_pitch *= 2;
        src_alpha_pitch *= 2;
    }
    s = advance(s, g.src_line * src_pitch + g.src_column * src_bpp);
    if (sa) sa = advance(sa, g.src_line * src_alpha_pitch + g.src_column * 2);

    // Lines congruent to line_phase modulo line_period are drawn.
    int64_t counter = (int64_t{line_phase} - g.dst_line) % line_period;
    if (counter < 0) counter += line_period;

    const int32_t y_step = g.y_step;
    const int64_t last = g.src_last_line;
    int64_t line = g.src_line;
    int64_t run = g.first_line_run; // vertical units left in the current source line
    int64_t remaining = g.height;
    int32_t weight = g.first_line_weight;
    for (;;) {
        if (counter == 0) {
            const int32_t first = static_cast<int32_t>(std::min<int64_t>(weight, run));
            int32_t rest = weight - first;
            int32_t middle = 0;
            // The last source line is never a middle row: it takes the rest.
            for (int64_t probe = line; rest != 0 && probe + 1 < last && rest > y_step; ++probe) {
                ++middle;
                rest -= y_step;
            }
            set.slots[rect_slot(weight, middle, rest)](
                d, da, g.first_width, weight, g.width, s, static_cast<int32_t>(src_pitch), sa,
                static_cast<int32_t>(src_alpha_pitch), g.x_step, y_step, g.first_column_run, first,
                middle, rest);
            counter = line_period;
        }
        --counter;
        remaining -= weight;
        if (remaining <= 0) break;
        run -= weight;
        while (run <= 0 && line < last) {
            ++line;
            s = advance(s, src_pitch);
            if (sa) sa = advance(sa, src_alpha_pitch);
            run += y_step;
        }
        if (line == last) run = remaining;
        d = advance(d, dst_pitch);
        if (da) da = advance(da, dst_alpha_pitch);
        weight = static_cast<int32_t>(std::min<int64_t>(y_unit, remaining));
    }
}

namespace {
bool pairs_aligned(const image_descriptor &d, uint8_t format) {
    const uint32_t pair = format == TOVREL_FORMAT_YUY2 ? 4 : format == TOVREL_FORMAT_W210 ? 8 : 1;
    return reinterpret_cast<uintptr_t>(d.pixels) % pair == 0 &&
           static_cast<uint32_t>(d.pitch) % pair == 0;
}
} // namespace

void rect_map_rectangle(rect_isa isa, const image_descriptor *destination, const rect_coords &c,
                        const image_descriptor *source, uint32_t flags, int32_t line_phase,
                        int32_t line_period) {
    if (destination == nullptr || source == nullptr) {
        diag_report("map_rectangle: null destination or source descriptor\n");
        return;
    }
    if (line_period < 1) {
        diag_report("map_rectangle: line_period must be at least 1, got %d\n", line_period);
        return;
    }
    for (float v :
         {c.dst_x0, c.dst_y0, c.dst_x1, c.dst_y1, c.src_x0, c.src_y0, c.src_x1, c.src_y1}) {
        if (!std::isfinite(v)) {
            diag_report("map_rectangle: rectangle coordinates must be finite\n");
            return;
        }
    }
    flags &= 0xffu;
    rect_geometry g;
    if (rect_setup(*destination, *source, c, flags, &g) != rect_setup_status::draw) return;

    const rect_selection sel = rect_select(*destination, *source, flags);
    if (sel.message != nullptr) {
        diag_report("%s", sel.message);
        return;
    }
    if (sel.op == rect_op::none) return;
    const rect_choice choice{isa,           g.x_step, g.y_step,     g.first_column_run,
                             g.first_width, g.width,  g.src_column, g.dst_column};
    rect_kernel_set set;
    const char *missing = nullptr;
    if (!rect_op_kernels(sel.op, choice, &set, &missing)) {
        if (missing != nullptr) diag_report("%s", missing);
        return;
    }
    if (set.line_pixels != 0) {
        // Source pixels a line reads, with one more for pair alignment.
        const int64_t reads =
            2 +
            (g.width > g.first_column_run ? (g.width - g.first_column_run - 1) / g.x_step + 1 : 0);
        if (reads > set.line_pixels) {
            diag_report("map_rectangle: a line reads %lld source pixels, more than the %d of "
                        "the line buffer\n",
                        static_cast<long long>(reads), set.line_pixels);
            return;
        }
    }
    if (destination->pixels == nullptr || source->pixels == nullptr) {
        diag_report("map_rectangle: null pixel address in %s descriptor\n",
                    destination->pixels == nullptr ? "the destination" : "the source");
        return;
    }
    if (set.writes_dst_alpha && destination->alpha == nullptr) {
        diag_report("map_rectangle: the destination alpha plane is null\n");
        return;
    }
    if (set.reads_src_alpha && source->alpha == nullptr) {
        diag_report("map_rectangle: the source alpha plane is null\n");
        return;
    }
    // 4:2:2 kernels tell the first and second pixel of a pair by the
    // address, so lines must start on whole pairs.
    const uint8_t dst_format =
        source->format == TOVREL_FORMAT_YUVQ ? destination->format : source->format;
    if (!pairs_aligned(*source, source->format) || !pairs_aligned(*destination, dst_format)) {
        diag_report("map_rectangle: YUY2 and W210 pixel addresses and pitches must be multiples "
                    "of a pixel pair (4 and 8 bytes)\n");
        return;
    }
    rect_draw(*destination, *source, g, set, line_phase, line_period);
}

} // namespace tovrel

// The library is built without exceptions; nothing here throws.
extern "C" TOVREL_API void TOVREL_CALL map_rectangle(
    const image_descriptor *destination, float dst_x0, float dst_y0, float dst_x1, float dst_y1,
    const image_descriptor *source, float src_x0, float src_y0, float src_x1, float src_y1,
    uint32_t flags, int32_t line_phase, int32_t line_period) noexcept {
    tovrel::rect_map_rectangle(tovrel::rect_best_isa(), destination,
                               {dst_x0, dst_y0, dst_x1, dst_y1, src_x0, src_y0, src_x1, src_y1},
                               source, flags, line_phase, line_period);
}
