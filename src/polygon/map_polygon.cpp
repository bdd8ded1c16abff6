// map_polygon: argument checks, field selection, perspective test, footprint,
// line scale, edge table, dispatch and scan.
#include <tovrel.h>

#include <algorithm>
#include <cmath>
#include <cstring>

#include "diag/diag.h"
#include "polygon/dispatch.h"
#include "polygon/polygon_call.h"
#include "polygon/scan.h"

namespace tovrel {

namespace {

// Texture coordinates are 16.16 in 32-bit integers: (size - 1) * 65536 must
// fit, and the renderers' packed index wants rows and columns below 32768.
constexpr int32_t max_source_size = 32767;
// Line numbers, three sub-lines each, stay far below the sentinel line.
constexpr int32_t max_destination_size = 1 << 24;

bool finite_vertex(const map_vertex &v) {
    return std::isfinite(v.u) && std::isfinite(v.v) && std::isfinite(v.w) && std::isfinite(v.x) &&
           std::isfinite(v.y);
}

const uint8_t *offset_address(const void *p, int64_t bytes) {
    if (!p) return nullptr;
    return reinterpret_cast<const uint8_t *>(reinterpret_cast<uintptr_t>(p) +
                                             static_cast<uintptr_t>(bytes));
}

bool fits_int32(int64_t v) {
    return v >= INT32_MIN && v <= INT32_MAX;
}

// Refusals of arguments outside the contract, before anything is drawn.
const char *argument_problem(const polygon_args &a) {
    if (!a.dst || !a.src) return "map_polygon: null image descriptor\n";
    if (!a.vertices) return "map_polygon: null vertex array\n";
    if (a.vertex_count > max_polygon_vertices)
        return "map_polygon: at most 30 vertices are supported\n";
    if (a.line_step < 1) return "map_polygon: line_step must be at least 1\n";
    const image_descriptor &dst = *a.dst, &src = *a.src;
    if (dst.width < 1 || dst.height < 1 || src.width < 1 || src.height < 1)
        return "map_polygon: image sizes must be positive\n";
    if (src.width > max_source_size || src.height > max_source_size)
        return "map_polygon: the source is too large (at most 32767 pixels each way)\n";
    if (dst.width > max_destination_size || dst.height > max_destination_size)
        return "map_polygon: the destination is too large\n";
    for (int32_t i = 0; i < a.vertex_count; ++i)
        if (!finite_vertex(a.vertices[i])) return "map_polygon: a vertex value is not finite\n";
    return nullptr;
}

// Planes and widths the chosen path uses, checked before any pixel is
// written. `texture` holds the pitches the renderers step by (doubled for
// a field).
const char *plane_problem(const image_descriptor &dst, const image_descriptor &src,
                          const texture_ref &texture, const dispatch_choice &choice, bool edge_aa,
                          int32_t &limit) {
    if (!dst.pixels) return "map_polygon: the destination has no pixels\n";
    if (choice.uses_dst_alpha && !dst.alpha)
        return "map_polygon: the destination has no alpha plane\n";
    if (!src.pixels) return "map_polygon: the source has no pixels\n";
    if (choice.reads_src_alpha && !src.alpha) return "map_polygon: the source has no alpha plane\n";
    // The packed members index texels as cu + cv * (pitch >> k): rows must
    // start on whole texel units, or a row's address drifts off the plane.
    // The 8-byte S16X4 texels are addressed by the whole pitch.
    if (choice.pixel_bytes <= 4 && src.pitch % choice.pixel_bytes != 0) {
        limit = choice.pixel_bytes;
        return "map_polygon: the source pitch must be a multiple of %d bytes\n";
    }
    if (choice.reads_src_alpha && src.alpha_pitch % 2 != 0) {
        limit = 2;
        return "map_polygon: the source alpha pitch must be a multiple of %d bytes\n";
    }
    // That pitch in texel units (words for an alpha plane) is one signed
    // 16-bit operand of the index: past it, rows would be read far off the
    // plane.
    const auto units_fit = [](int32_t pitch, int32_t unit) {
        return pitch / unit >= INT16_MIN && pitch / unit <= INT16_MAX;
    };
    if (choice.pixel_bytes <= 4 && !units_fit(texture.pitch, choice.pixel_bytes)) {
        limit = INT16_MAX;
        return "map_polygon: the source pitch is more than %d texels\n";
    }
    if (choice.reads_src_alpha && !units_fit(texture.alpha_pitch, 2)) {
        limit = INT16_MAX;
        return "map_polygon: the source alpha pitch is more than %d samples\n";
    }
    if (choice.via_line_buffer || edge_aa) {
        limit = std::min(line_buffer_pixels, line_buffer_bytes / choice.pixel_bytes);
        if (dst.width > limit)
            return "map_polygon: the destination is wider than the line buffer (%d pixels)\n";
    }
    if (choice.pair_format && (dst.width & 1))
        return "map_polygon: a 4:2:2 destination needs an even width\n";
    // The last column of an odd-width 4:2:2 texture has no V of its own.
    if (choice.pair_format && (src.width & 1))
        return "map_polygon: a 4:2:2 source needs an even width\n";
    return nullptr;
}

} // namespace

prepare_status prepare_polygon(polygon_work &work, const polygon_args &a) {
    if (a.vertex_count < 1) return prepare_status::nothing;
    if (const char *problem = argument_problem(a)) {
        diag_report("%s", problem);
        return prepare_status::refused;
    }
    const image_descriptor &dst = *a.dst, &src = *a.src;
    const map_vertex *vertices = a.vertices;
    const int32_t count = a.vertex_count;
    const uint32_t flags = a.flags & 0xff;

    // Source field: a field of the frame is every other line; frame line v
    // becomes field line v * 0.5 + 0.25 (top) or v * 0.5 - 0.25 (bottom).
    double field_offset = 0.0;
    double v_scale = 1.0;
    int32_t field_height = src.height;
    const uint8_t *pixels = static_cast<const uint8_t *>(src.pixels);
    const uint8_t *alpha = static_cast<const uint8_t *>(src.alpha);
    int64_t pitch = src.pitch;
    int64_t alpha_pitch = src.alpha_pitch;
    if (flags & (MAP_FIELD_TOP | MAP_FIELD_BOTTOM)) {
        if (src.height < 2) {
            diag_report("map_polygon: a one-line source has no field to read\n");
            return prepare_status::refused;
        }
        if (flags & MAP_FIELD_TOP) {
            field_offset = 0.25;
        } else {
            field_offset = -0.25;
            pixels = offset_address(pixels, pitch);
            alpha = offset_address(alpha, alpha_pitch);
        }
        pitch *= 2;
        alpha_pitch *= 2;
        if (!fits_int32(pitch) ||
            (src.alpha_kind == TOVREL_ALPHA_W12B && !fits_int32(alpha_pitch))) {
            diag_report("map_polygon: the source pitch is too large to read a field\n");
            return prepare_status::refused;
        }
        v_scale = 0.5;
        field_height = src.height / 2;
    }
    // Largest texel coordinates in 16.16, as 32-bit integers: below 2^31.
    const int32_t u_limit = (src.width - 1) * 65536;
    const int32_t v_limit = (field_height - 1) * 65536;

    // Perspective when any w differs from vertex 0's.
    bool perspective = false;
    double w_min = vertices[0].w;
    for (int32_t i = 1; i < count; ++i) {
        if (!(vertices[i].w == vertices[0].w)) perspective = true;
        w_min = std::min(w_min, static_cast<double>(vertices[i].w));
    }
    if (perspective && !(w_min > 0.0)) {
        diag_report("map_polygon: perspective weights must be positive\n");
        return prepare_status::refused;
    }

    footprint_choice footprint = point_footprint();
    if (!(flags & MAP_NO_FILTER)) {
        footprint = select_footprint(vertices, count, v_scale);
        if (footprint.degenerate) {
            diag_report("map_polygon: all vertices lie on one point\n");
            return prepare_status::refused;
        }
        footprint = fit_footprint(footprint, src.width, field_height);
    }

    // Lines, or three sub-lines per line under edge anti-aliasing.
    const bool edge_aa = (flags & MAP_EDGE_AA) != 0;
    const int32_t factor = edge_aa ? 3 : 1;
    const edge_setup setup{edge_aa ? 12288.0 : 4096.0,
                           edge_aa,
                           perspective,
                           dst.height * factor,
                           footprint.u_offset,
                           v_scale,
                           field_offset + footprint.v_offset};
    if (!build_edge_table(work.edges, setup, vertices, count)) return prepare_status::nothing;

    span_context &ctx = work.ctx;
    ctx.perspective = perspective ? 1 : 0;
    ctx.persp_renderer = nullptr;
    ctx.affine_renderer = nullptr;
    ctx.direct_persp_renderer = nullptr;
    ctx.direct_affine_renderer = nullptr;
    ctx.coverage_writer = nullptr;
    ctx.span_writer = nullptr;
    ctx.span_routine = nullptr;
    ctx.source =
        texture_ref{pixels, static_cast<int32_t>(pitch), alpha, static_cast<int32_t>(alpha_pitch)};
    ctx.src_u_limit = static_cast<float>(u_limit) - static_cast<float>(footprint.u_reduction);
    ctx.src_v_limit = static_cast<float>(v_limit) - static_cast<float>(footprint.v_reduction);
    ctx.w_floor = perspective ? 0.5 * w_min : 0.0;
    ctx.dst_width = dst.width;
    ctx.dst_lines = dst.height * factor;
    ctx.dst_pixels = nullptr;
    ctx.dst_pitch = 0;
    ctx.dst_alpha = nullptr;
    ctx.dst_alpha_pitch = 0;
    // The last of a line's three sub-lines carries phase 0.
    ctx.first_line = static_cast<int64_t>(a.first_line) * factor + (edge_aa ? 2 : 0);
    ctx.line_step = static_cast<int64_t>(a.line_step) * factor;
    ctx.edge_aa = edge_aa ? 1 : 0;
    ctx.line_buffer = span_rows{work.line_colour, work.line_alpha};
    ctx.coverage_clear = 1;
    ctx.coverage_line_y = 0;
    ctx.aa_left_edge = nullptr;
    ctx.aa_right_edge = nullptr;
    work.footprint = footprint;
    return prepare_status::draw;
}

void draw_polygon(polygon_work &work, const image_descriptor &dst) {
    span_context &ctx = work.ctx;
    ctx.dst_pixels = static_cast<uint8_t *>(dst.pixels);
    ctx.dst_pitch = dst.pitch;
    ctx.dst_alpha =
        dst.alpha_kind == TOVREL_ALPHA_W12B ? static_cast<uint8_t *>(dst.alpha) : nullptr;
    ctx.dst_alpha_pitch = dst.alpha_pitch;
    ctx.coverage_clear = 1;
    scan_polygon(ctx, work.edges);
}

} // namespace tovrel

extern "C" TOVREL_API int32_t TOVREL_CALL
map_polygon(const image_descriptor *dst, const image_descriptor *src, const map_vertex *vertices,
            int32_t vertex_count, uint32_t flags, int32_t first_line, int32_t line_step) noexcept {
    using namespace tovrel;
    polygon_work work;
    const polygon_args args{dst, src, vertices, vertex_count, flags, first_line, line_step};
    switch (prepare_polygon(work, args)) {
    case prepare_status::nothing:
        return 0;
    case prepare_status::refused:
        return 1;
    case prepare_status::draw:
        break;
    }

    const dispatch_choice choice = choose_renderers(*dst, *src, flags & 0xff, work.footprint.slot);
    if (choice.refusal) return diag_report("%s", choice.refusal);
    int32_t limit = 0;
    if (const char *problem =
            plane_problem(*dst, *src, work.ctx.source, choice, work.ctx.edge_aa != 0, limit))
        return diag_report(problem, limit); // messages with or without the limit

    // The 4:2:2 writers step by pairs and read pixel x1 of an odd range from
    // the line buffer, which no renderer wrote: start from a cleared buffer so
    // that what they read is the same on every run.
    if (choice.pair_format && choice.via_line_buffer) {
        const int32_t pixels = std::min(dst->width + 1, limit);
        std::memset(work.line_colour, 0, static_cast<size_t>(pixels) * choice.pixel_bytes);
        std::memset(work.line_alpha, 0, static_cast<size_t>(pixels) * sizeof work.line_alpha[0]);
    }

    span_context &ctx = work.ctx;
    ctx.persp_renderer = choice.persp_renderer;
    ctx.affine_renderer = choice.affine_renderer;
    ctx.direct_persp_renderer = choice.direct_persp_renderer;
    ctx.direct_affine_renderer = choice.direct_affine_renderer;
    ctx.span_writer = choice.span_writer;
    ctx.coverage_writer = choice.coverage_writer;
    ctx.span_routine = select_span_routine(choice.via_line_buffer, ctx.perspective != 0);
    draw_polygon(work, *dst);
    return 0;
}
