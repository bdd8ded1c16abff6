#include "commands.h"

#include <array>
#include <cmath>

#include <tovrel.h>

#include "args.h"
#include "demo.h"
#include "formats.h"
#include "image_io.h"
#include "quad.h"
#include "session.h"

namespace tovrel_tool {
namespace {

std::string load_input(const command_line &c, frame &f) {
    if (is_png_name(c.input)) return read_png(c.input, f);
    return read_raw(c.input, find_format(c.format), c.width, c.height, f);
}

std::string save_output(const command_line &c, const frame &f) {
    if (is_png_name(c.output)) return write_png(c.output, f);
    return write_raw(c.output, f);
}

std::string make_output(const command_line &c, const frame &in, int32_t width, int32_t height,
                        frame &f) {
    if (!c.under.empty()) return read_png(c.under, f);
    const format_info *format = in.format;
    if (!c.out_format.empty())
        format = find_format(c.out_format);
    else if (in.format->code == TOVREL_FORMAT_YUVQ)
        format = find_format(TOVREL_FORMAT_YUY2);
    const std::string problem = make_frame(f, format, width, height, c.background.data());
    if (problem.empty() && (in.format->code == TOVREL_FORMAT_YUVQ || !c.out_alpha.empty()))
        add_alpha_plane(f, 0, TOVREL_ALPHA_STRAIGHT);
    return problem;
}

// IN's alpha plane from --alpha: width * height little-endian words.
std::string load_alpha(const command_line &c, frame &f) {
    if (c.alpha.empty()) return {};
    frame words;
    const std::string problem =
        read_raw(c.alpha, find_format(TOVREL_FORMAT_WORD), f.width, f.height, words);
    if (!problem.empty()) return problem;
    add_alpha_plane(f, 0, TOVREL_ALPHA_STRAIGHT);
    for (size_t i = 0; i < f.alpha.size(); ++i)
        f.alpha[i] = uint16_t(words.pixels[2 * i] | words.pixels[2 * i + 1] << 8);
    return {};
}

std::string save_alpha(const command_line &c, const frame &f) {
    if (c.out_alpha.empty()) return {};
    frame words;
    std::string problem = make_frame(words, find_format(TOVREL_FORMAT_WORD), f.width, f.height);
    if (!problem.empty()) return problem;
    for (size_t i = 0; i < f.alpha.size(); ++i) {
        words.pixels[2 * i] = uint8_t(f.alpha[i]);
        words.pixels[2 * i + 1] = uint8_t(f.alpha[i] >> 8);
    }
    return write_raw(c.out_alpha, words);
}

int report_failure(std::FILE *err, const char *cmd, const std::string &message) {
    std::fprintf(err, "tovrel: %s: %s\n", cmd, message.c_str());
    return exit_failure;
}

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

int run_warp(const command_line &c, std::FILE *err) {
    frame in;
    std::string problem = load_input(c, in);
    if (!problem.empty()) return report_failure(err, "warp", problem);
    if (c.alpha_plane) alpha_from_fourth_byte(in);
    std::array<map_vertex, 4> vertices;
    problem = make_quad_vertices(in.width, in.height, c.quad, c.perspective, vertices);
    if (!problem.empty()) return report_failure(err, "warp", problem);
    frame out;
    problem = make_output(c, in, c.out_width ? c.out_width : in.width,
                          c.out_height ? c.out_height : in.height, out);
    if (!problem.empty()) return report_failure(err, "warp", problem);

    int reports = 0;
    {
        report_scope scope(err);
        const image_descriptor dst = out.descriptor();
        const image_descriptor src = in.descriptor();
        map_polygon(&dst, &src, vertices.data(), 4, map_flags(c), 0, 1);
        reports = scope.count();
    }
    if (reports)
        return report_failure(err, "warp", "the library refused; " + c.output + " not written");
    problem = save_output(c, out);
    if (!problem.empty()) return report_failure(err, "warp", problem);
    return exit_ok;
}

int run_scale(const command_line &c, std::FILE *err) {
    frame in;
    std::string problem = load_input(c, in);
    if (problem.empty()) problem = load_alpha(c, in);
    if (!problem.empty()) return report_failure(err, "scale", problem);
    const std::array<double, 4> src =
        c.src_rect_given ? c.src_rect
                         : std::array<double, 4>{0.0, 0.0, double(in.width), double(in.height)};
    const std::array<double, 4> &dst = c.dst_rect;
    int32_t width = c.out_width, height = c.out_height;
    if (!width) {
        // Just wide and high enough to hold the destination rectangle.
        if (dst[2] <= 0.0 || dst[3] <= 0.0 || dst[2] > max_frame_side || dst[3] > max_frame_side)
            return report_failure(err, "scale",
                                  "the output size cannot be derived from --dst; give --out-size");
        width = static_cast<int32_t>(std::ceil(dst[2]));
        height = static_cast<int32_t>(std::ceil(dst[3]));
    }
    frame out;
    problem = make_output(c, in, width, height, out);
    if (!problem.empty()) return report_failure(err, "scale", problem);

    int reports = 0;
    {
        report_scope scope(err);
        const image_descriptor d = out.descriptor();
        const image_descriptor s = in.descriptor();
        map_rectangle(&d, float(dst[0]), float(dst[1]), float(dst[2]), float(dst[3]), &s,
                      float(src[0]), float(src[1]), float(src[2]), float(src[3]), rect_flags(c), 0,
                      1);
        reports = scope.count();
    }
    if (reports)
        return report_failure(err, "scale", "the library refused; " + c.output + " not written");
    problem = save_output(c, out);
    if (problem.empty()) problem = save_alpha(c, out);
    if (!problem.empty()) return report_failure(err, "scale", problem);
    return exit_ok;
}

} // namespace

int run_tool(const std::vector<std::string> &args, std::FILE *out, std::FILE *err) {
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
        return run_warp(c, err);
    case command_kind::scale:
        return run_scale(c, err);
    }
    return exit_usage;
}

} // namespace tovrel_tool
