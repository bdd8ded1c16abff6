#include "commands.h"

#include <algorithm>
#include <array>
#include <cmath>

#include <tovrel.h>

#include "args.h"
#include "demo.h"
#include "formats.h"
#include "quad.h"
#include "stream.h"

namespace tovrel_tool {
namespace {

uint32_t map_flags(const command_line &c) {
    uint32_t flags = 0;
    if (c.no_filter) flags |= MAP_NO_FILTER;
    if (c.edge_aa) flags |= MAP_EDGE_AA;
    if (c.field == field_choice::top) flags |= MAP_FIELD_TOP;
    if (c.field == field_choice::bottom) flags |= MAP_FIELD_BOTTOM;
    return flags;
}

uint32_t rect_flags(const command_line &c) {
    uint32_t flags = 0;
    if (c.tile) flags |= RECT_TILE;
    if (c.src_field == field_choice::top) flags |= RECT_SRC_FIELD_TOP;
    if (c.src_field == field_choice::bottom) flags |= RECT_SRC_FIELD_BOTTOM;
    if (c.dst_field == field_choice::top) flags |= RECT_DST_FIELD_TOP;
    if (c.dst_field == field_choice::bottom) flags |= RECT_DST_FIELD_BOTTOM;
    return flags;
}

int run_warp(const command_line &c, std::FILE *in, std::FILE *out, std::FILE *err) {
    std::array<map_vertex, 4> vertices;
    stream_job job;
    job.command = "warp";
    job.output_size = [&](int32_t in_width, int32_t in_height, int32_t &width, int32_t &height) {
        width = c.out_width ? c.out_width : in_width;
        height = c.out_height ? c.out_height : in_height;
        return std::string();
    };
    job.prepare = [&](int64_t index, const frame &f, bool &) {
        const std::array<double, 8> quad = along_move(c.quad, c.quad_to, index, c.move_frames);
        return make_quad_vertices(f.width, f.height, quad, c.perspective, vertices);
    };
    const uint32_t flags = map_flags(c);
    job.draw = [&](frame &f, frame &o, int32_t phase, int32_t period) {
        const image_descriptor dst = o.descriptor();
        const image_descriptor src = f.descriptor();
        map_polygon(&dst, &src, vertices.data(), 4, flags, phase, period);
    };
    return run_stream(c, job, in, out, err);
}

int run_scale(const command_line &c, std::FILE *in, std::FILE *out, std::FILE *err) {
    std::array<double, 4> src{}, dst{};
    int32_t out_width = 0, out_height = 0;
    stream_job job;
    job.command = "scale";
    job.output_size = [&](int32_t, int32_t, int32_t &width, int32_t &height) {
        width = out_width = c.out_width;
        height = out_height = c.out_height;
        if (width) return std::string();
        // Just wide and high enough to hold the destination rectangle
        // wherever its move takes it.
        const double right = std::max(c.dst_rect[2], c.move_frames ? c.dst_rect_to[2] : 0.0);
        const double bottom = std::max(c.dst_rect[3], c.move_frames ? c.dst_rect_to[3] : 0.0);
        if (right <= 0.0 || bottom <= 0.0 || right > max_frame_side || bottom > max_frame_side)
            return std::string("the output size cannot be derived from --dst; give --out-size");
        width = out_width = static_cast<int32_t>(std::ceil(right));
        height = out_height = static_cast<int32_t>(std::ceil(bottom));
        return std::string();
    };
    job.prepare = [&](int64_t index, const frame &f, bool &covers_output) {
        src = c.src_rect_given ? c.src_rect
                               : std::array<double, 4>{0.0, 0.0, double(f.width), double(f.height)};
        dst = along_move(c.dst_rect, c.dst_rect_to, index, c.move_frames);
        // A whole-frame rectangle writes each pixel at full coverage, which
        // leaves nothing of the background (tiles add to it, fields skip
        // lines, alpha blends over it).
        covers_output =
            !c.tile && c.dst_field == field_choice::none && c.alpha.empty() &&
            c.out_alpha.empty() &&
            dst == std::array<double, 4>{0.0, 0.0, double(out_width), double(out_height)};
        return std::string();
    };
    const uint32_t flags = rect_flags(c);
    job.draw = [&](frame &f, frame &o, int32_t phase, int32_t period) {
        const image_descriptor d = o.descriptor();
        const image_descriptor s = f.descriptor();
        map_rectangle(&d, float(dst[0]), float(dst[1]), float(dst[2]), float(dst[3]), &s,
                      float(src[0]), float(src[1]), float(src[2]), float(src[3]), flags, phase,
                      period);
    };
    return run_stream(c, job, in, out, err);
}

} // namespace

int run_tool(const std::vector<std::string> &args, std::FILE *in, std::FILE *out, std::FILE *err) {
    const parse_result parsed = parse_command_line(args);
    if (!parsed.ok) {
        std::fprintf(err, "tovrel: %s\nTry 'tovrel --help'.\n", parsed.error.c_str());
        return exit_usage;
    }
    const command_line &c = parsed.cmd;
    switch (c.kind) {
    case command_kind::help:
        std::fputs(usage_text().c_str(), out);
        return exit_ok;
    case command_kind::demo:
        return run_demo(c.demo_dir, out, err);
    case command_kind::warp:
        return run_warp(c, in, out, err);
    case command_kind::scale:
        return run_scale(c, in, out, err);
    }
    return exit_usage;
}

} // namespace tovrel_tool
