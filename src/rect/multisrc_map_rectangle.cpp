// multisrc_map_rectangle: one map_rectangle per source image of a common
// source plane. All arithmetic in double precision; the rectangles passed
// on are rounded to float.
#include <algorithm>
#include <cmath>

#include "diag/diag.h"
#include "rect/rect_map.h"

namespace tovrel {

void rect_multisrc(rect_isa isa, const image_descriptor *destination, double dst_x0, double dst_y0,
                   double dst_x1, double dst_y1, const image_descriptor *const *sources,
                   int32_t source_count, double src_x0, double src_y0, double src_x1, double src_y1,
                   uint32_t flags, int32_t line_phase, int32_t line_period) {
    if (source_count < 1) return;
    if (destination == nullptr || sources == nullptr) {
        diag_report("multisrc_map_rectangle: null destination or source array\n");
        return;
    }
    for (double v : {dst_x0, dst_y0, dst_x1, dst_y1, src_x0, src_y0, src_x1, src_y1}) {
        if (!std::isfinite(v)) {
            diag_report("multisrc_map_rectangle: rectangle coordinates must be finite\n");
            return;
        }
    }
    if (src_x1 == src_x0 || src_y1 == src_y0) {
        diag_report("multisrc_map_rectangle: the source rectangle has zero width or height\n");
        return;
    }
    if (dst_x1 == dst_x0 || dst_y1 == dst_y0) return; // nothing to draw

    // Scales and their inverses, each by its own division.
    const double kx = (dst_x1 - dst_x0) / (src_x1 - src_x0);
    const double ky = (dst_y1 - dst_y0) / (src_y1 - src_y0);
    const double ix = (src_x1 - src_x0) / (dst_x1 - dst_x0);
    const double iy = (src_y1 - src_y0) / (dst_y1 - dst_y0);

    // Clip box in scaled source units, and the offsets to destination pixels.
    double A = src_x0 * kx, B = src_y0 * ky, C = src_x1 * kx, D = src_y1 * ky;
    const double ox = dst_x0 - A, oy = dst_y0 - B;
    if (dst_x0 < 0) A -= dst_x0;
    if (dst_y0 < 0) B -= dst_y0;
    if (destination->width < dst_x1) C -= dst_x1 - destination->width;
    if (destination->height < dst_y1) D -= dst_y1 - destination->height;

    for (int32_t i = 0; i < source_count; ++i) {
        const image_descriptor *s = sources[i];
        if (s == nullptr) {
            diag_report("multisrc_map_rectangle: source %d is null, skipped\n", i);
            continue;
        }
        const double x = s->origin_x, y = s->origin_y;
        const double L = std::max(x * kx, A), T = std::max(y * ky, B);
        const double R = std::min((x + s->width) * kx, C);
        const double Bt = std::min((y + s->height) * ky, D);
        if (!(L < R && T < Bt)) continue;
        const rect_coords c{static_cast<float>(L + ox),     static_cast<float>(T + oy),
                            static_cast<float>(R + ox),     static_cast<float>(Bt + oy),
                            static_cast<float>(L * ix - x), static_cast<float>(T * iy - y),
                            static_cast<float>(R * ix - x), static_cast<float>(Bt * iy - y)};
        rect_map_rectangle(isa, destination, c, s, flags, line_phase, line_period);
    }
}

} // namespace tovrel

// The library is built without exceptions; nothing here throws.
extern "C" TOVREL_API void TOVREL_CALL multisrc_map_rectangle(
    const image_descriptor *destination, double dst_x0, double dst_y0, double dst_x1, double dst_y1,
    const image_descriptor *const *sources, int32_t source_count, double src_x0, double src_y0,
    double src_x1, double src_y1, uint32_t flags, int32_t line_phase,
    int32_t line_period) noexcept {
    tovrel::rect_multisrc(tovrel::rect_best_isa(), destination, dst_x0, dst_y0, dst_x1, dst_y1,
                          sources, source_count, src_x0, src_y0, src_x1, src_y1, flags, line_phase,
                          line_period);
}
