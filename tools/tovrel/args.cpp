#include "args.h"

#include <charconv>
#include <cmath>
#include <functional>
#include <string_view>

#include "formats.h"

namespace tovrel_tool {

bool parse_number(const std::string &text, double &value) {
    const char *first = text.data();
    const char *last = first + text.size();
    if (first != last && *first == '+') ++first;
    double v = 0.0;
    const auto [end, ec] = std::from_chars(first, last, v);
    if (ec != std::errc() || end != last || first == last || !std::isfinite(v)) return false;
    if (std::fabs(v) > max_coordinate) return false;
    value = v;
    return true;
}

bool parse_count(const std::string &text, int32_t &value, int32_t most) {
    int32_t v = 0;
    const char *last = text.data() + text.size();
    const auto [end, ec] = std::from_chars(text.data(), last, v);
    if (ec != std::errc() || end != last || text.empty() || v < 1 || v > most) return false;
    value = v;
    return true;
}

bool parse_size(const std::string &text, int32_t &width, int32_t &height) {
    const size_t x = text.find('x');
    if (x == std::string::npos) return false;
    return parse_count(text.substr(0, x), width) && parse_count(text.substr(x + 1), height);
}

bool parse_number_list(const std::string &text, double *values, size_t count) {
    size_t start = 0;
    for (size_t i = 0; i < count; ++i) {
        const size_t comma = text.find(',', start);
        const bool last = i + 1 == count;
        if (last != (comma == std::string::npos)) return false;
        const size_t end = last ? text.size() : comma;
        if (!parse_number(text.substr(start, end - start), values[i])) return false;
        start = end + 1;
    }
    return true;
}

bool parse_colour(const std::string &text, std::array<uint8_t, 4> &rgba) {
    std::string_view hex = text;
    if (!hex.empty() && hex.front() == '#') hex.remove_prefix(1);
    if (hex.size() != 6 && hex.size() != 8) return false;
    uint32_t v = 0;
    const auto [end, ec] = std::from_chars(hex.data(), hex.data() + hex.size(), v, 16);
    if (ec != std::errc() || end != hex.data() + hex.size()) return false;
    if (hex.size() == 6) v = (v << 8) | 0xFFu;
    for (int i = 0; i < 4; ++i) rgba[i] = static_cast<uint8_t>(v >> (24 - 8 * i));
    return true;
}

namespace {

enum : unsigned { in_warp = 1, in_scale = 2, in_both = 3 };

struct option_def {
    const char *name;
    const char *value_name; // nullptr: a switch without value
    unsigned commands;
    // Stores the value; false when it is malformed (the message is built
    // from `expect`).
    std::function<bool(command_line &, const std::string &)> store;
    const char *expect;
};

bool parse_field(const std::string &text, field_choice &field) {
    if (text == "top")
        field = field_choice::top;
    else if (text == "bottom")
        field = field_choice::bottom;
    else
        return false;
    return true;
}

const std::vector<option_def> &option_table() {
    static const std::vector<option_def> table = {
        {"--format", "NAME", in_both,
         [](command_line &c, const std::string &v) {
             c.format = v;
             return find_format(v) != nullptr;
         },
         nullptr},
        {"--size", "WxH", in_both,
         [](command_line &c, const std::string &v) { return parse_size(v, c.width, c.height); },
         "WIDTHxHEIGHT, each 1..32768"},
        {"--out-size", "WxH", in_both,
         [](command_line &c, const std::string &v) {
             return parse_size(v, c.out_width, c.out_height);
         },
         "WIDTHxHEIGHT, each 1..32768"},
        {"--bg", "COLOUR", in_both,
         [](command_line &c, const std::string &v) {
             c.background_given = true;
             return parse_colour(v, c.background);
         },
         "a colour RRGGBB or RRGGBBAA in hexadecimal"},
        {"--threads", "N", in_both,
         [](command_line &c, const std::string &v) {
             return parse_count(v, c.threads, max_threads);
         },
         "a count of threads, 1..64"},
        {"--move-frames", "N", in_both,
         [](command_line &c, const std::string &v) {
             return parse_count(v, c.move_frames, max_move_frames);
         },
         "a count of frames, 1..1000000"},
        {"--quad", "X0,Y0,...,X3,Y3", in_warp,
         [](command_line &c, const std::string &v) {
             return parse_number_list(v, c.quad.data(), 8);
         },
         "8 numbers separated by commas (x,y of 4 corners), each within +-1e6"},
        {"--quad-to", "X0,Y0,...,X3,Y3", in_warp,
         [](command_line &c, const std::string &v) {
             return parse_number_list(v, c.quad_to.data(), 8);
         },
         "8 numbers separated by commas (x,y of 4 corners), each within +-1e6"},
        {"--persp", nullptr, in_warp,
         [](command_line &c, const std::string &) { return c.perspective = true; }, nullptr},
        {"--aa", nullptr, in_warp,
         [](command_line &c, const std::string &) { return c.edge_aa = true; }, nullptr},
        {"--no-filter", nullptr, in_warp,
         [](command_line &c, const std::string &) { return c.no_filter = true; }, nullptr},
        {"--alpha", nullptr, in_warp,
         [](command_line &c, const std::string &) { return c.alpha_plane = true; }, nullptr},
        {"--under", "IMAGE", in_warp,
         [](command_line &c, const std::string &v) {
             c.under = v;
             return is_png_name(v);
         },
         "a PNG file (named .png)"},
        {"--field", "top|bottom", in_warp,
         [](command_line &c, const std::string &v) { return parse_field(v, c.field); },
         "top or bottom"},
        {"--dst", "X0,Y0,X1,Y1", in_scale,
         [](command_line &c, const std::string &v) {
             return parse_number_list(v, c.dst_rect.data(), 4);
         },
         "4 numbers separated by commas (x0,y0,x1,y1), each within +-1e6"},
        {"--dst-to", "X0,Y0,X1,Y1", in_scale,
         [](command_line &c, const std::string &v) {
             return parse_number_list(v, c.dst_rect_to.data(), 4);
         },
         "4 numbers separated by commas (x0,y0,x1,y1), each within +-1e6"},
        {"--src", "X0,Y0,X1,Y1", in_scale,
         [](command_line &c, const std::string &v) {
             c.src_rect_given = true;
             return parse_number_list(v, c.src_rect.data(), 4);
         },
         "4 numbers separated by commas (x0,y0,x1,y1), each within +-1e6"},
        {"--tile", nullptr, in_scale,
         [](command_line &c, const std::string &) { return c.tile = true; }, nullptr},
        {"--src-field", "top|bottom", in_scale,
         [](command_line &c, const std::string &v) { return parse_field(v, c.src_field); },
         "top or bottom"},
        {"--dst-field", "top|bottom", in_scale,
         [](command_line &c, const std::string &v) { return parse_field(v, c.dst_field); },
         "top or bottom"},
        {"--alpha", "FILE", in_scale,
         [](command_line &c, const std::string &v) { return !(c.alpha = v).empty(); },
         "a file name"},
        {"--out-alpha", "FILE", in_scale,
         [](command_line &c, const std::string &v) { return !(c.out_alpha = v).empty(); },
         "a file name"},
        {"--out-format", "NAME", in_scale,
         [](command_line &c, const std::string &v) {
             c.out_format = v;
             return find_format(v) != nullptr;
         },
         nullptr},
    };
    return table;
}

} // namespace

bool is_png_name(const std::string &name) {
    if (name.size() < 4) return false;
    std::string ext = name.substr(name.size() - 4);
    for (char &ch : ext)
        if (ch >= 'A' && ch <= 'Z') ch = static_cast<char>(ch - 'A' + 'a');
    return ext == ".png";
}

namespace {

parse_result fail(const std::string &message) {
    parse_result r;
    r.error = message;
    return r;
}

// Checks that need the whole command line: required options, file kinds,
// rectangle order.
std::string check_combination(const command_line &c, const std::string &cmd,
                              const std::vector<std::string> &seen) {
    auto given = [&](const char *name) {
        for (const std::string &s : seen)
            if (s == name) return true;
        return false;
    };
    const bool warp = c.kind == command_kind::warp;
    if (warp && !given("--quad")) return cmd + ": --quad is required";
    const char *to = warp ? "--quad-to" : "--dst-to";
    if (given(to) != given("--move-frames"))
        return cmd + (given(to) ? ": " + std::string(to) + " needs --move-frames N"
                                : ": --move-frames needs " + std::string(to));
    if (c.kind == command_kind::scale) {
        if (!given("--dst")) return cmd + ": --dst is required";
        if (!(c.dst_rect[0] < c.dst_rect[2] && c.dst_rect[1] < c.dst_rect[3]))
            return cmd + ": --dst needs x0 < x1 and y0 < y1";
        if (given("--dst-to") &&
            !(c.dst_rect_to[0] < c.dst_rect_to[2] && c.dst_rect_to[1] < c.dst_rect_to[3]))
            return cmd + ": --dst-to needs x0 < x1 and y0 < y1";
        if (c.src_rect_given && !(c.src_rect[0] < c.src_rect[2] && c.src_rect[1] < c.src_rect[3]))
            return cmd + ": --src needs x0 < x1 and y0 < y1";
    }
    const bool png_in = is_png_name(c.input);
    const bool rgbq = c.format.empty() || find_format(c.format)->code == TOVREL_FORMAT_RGBQ;
    if (png_in) {
        if (given("--size"))
            return cmd + ": --size describes a raw input frame; " + c.input +
                   " is read as PNG (its size is in the file)";
        if (!rgbq)
            return cmd + ": a PNG file holds RGBQ pixels; --format " + c.format +
                   " needs raw input and output files";
    } else if (c.format.empty() || !given("--size")) {
        return cmd + ": " + (c.input == "-" ? std::string("standard input") : c.input) +
               " is read as raw frames (not .png): give --format and --size";
    }
    if (is_png_name(c.output) && !rgbq)
        return cmd + ": only RGBQ frames can be written as PNG; name a raw output file for " +
               c.format;
    if (c.background_given && !rgbq) return cmd + ": --bg applies to RGBQ frames only";
    if (c.alpha_plane && !png_in)
        return cmd + ": --alpha takes the alpha channel of a PNG input; " + c.input +
               " is not read as PNG";
    if (!c.under.empty() && (c.background_given || given("--out-size")))
        return cmd + ": --under gives OUT its content and size; drop --bg and --out-size";
    if (!c.under.empty() && !png_in) return cmd + ": --under needs a PNG input (RGBQ)";
    if (c.kind == command_kind::scale && c.format == "yuvq" && c.alpha.empty())
        return cmd + ": a yuvq frame is drawn through its alpha plane: give --alpha FILE";
    if ((!c.alpha.empty() && png_in) ||
        ((!c.out_format.empty() || !c.out_alpha.empty()) && is_png_name(c.output)))
        return cmd + ": --alpha, --out-alpha and --out-format describe raw frames";
    return {};
}

} // namespace

parse_result parse_command_line(const std::vector<std::string> &args) {
    parse_result r;
    command_line &c = r.cmd;
    if (args.empty()) {
        c.kind = command_kind::demo;
        c.demo_dir = "tovrel-demo";
        r.ok = true;
        return r;
    }
    const std::string &cmd = args[0];
    if (cmd == "help" || cmd == "--help" || cmd == "-h") {
        if (args.size() > 1 && cmd != "help") return fail("'" + cmd + "' takes no arguments");
        c.kind = command_kind::help;
        r.ok = true;
        return r;
    }
    if (cmd == "demo") {
        if (args.size() > 2)
            return fail("demo: expected at most one directory, got " +
                        std::to_string(args.size() - 1) + " arguments");
        if (args.size() == 2 && args[1] == "--help") {
            c.kind = command_kind::help;
        } else if (args.size() == 2 && args[1].size() > 1 && args[1][0] == '-') {
            return fail("demo: unknown option '" + args[1] + "'");
        } else {
            c.kind = command_kind::demo;
            c.demo_dir = args.size() == 2 ? args[1] : "tovrel-demo";
        }
        r.ok = true;
        return r;
    }
    unsigned mask = 0;
    if (cmd == "warp") {
        c.kind = command_kind::warp;
        mask = in_warp;
    } else if (cmd == "scale") {
        c.kind = command_kind::scale;
        mask = in_scale;
    } else {
        return fail("unknown command '" + cmd + "' (expected demo, warp, scale or help)");
    }

    std::vector<std::string> files;
    std::vector<std::string> seen;
    bool options_done = false;
    for (size_t i = 1; i < args.size(); ++i) {
        const std::string &word = args[i];
        if (options_done || word.size() < 2 || word[0] != '-') {
            files.push_back(word);
            continue;
        }
        if (word == "--") {
            options_done = true;
            continue;
        }
        if (word == "--help" || word == "-h") {
            c.kind = command_kind::help;
            r.ok = true;
            return r;
        }
        const size_t eq = word.find('=');
        const std::string name = word.substr(0, eq);
        const option_def *def = nullptr;
        // A name may stand for one option of warp and another of scale.
        for (const option_def &o : option_table())
            if (name == o.name && (!def || (o.commands & mask))) def = &o;
        if (!def) return fail(cmd + ": unknown option '" + name + "'");
        if (!(def->commands & mask))
            return fail(cmd + ": option " + name + " belongs to " +
                        (def->commands == in_warp ? "warp" : "scale"));
        for (const std::string &s : seen)
            if (s == name) return fail(cmd + ": option " + name + " given twice");
        seen.push_back(name);
        std::string value;
        if (!def->value_name) {
            if (eq != std::string::npos) return fail(cmd + ": option " + name + " takes no value");
        } else if (eq != std::string::npos) {
            value = word.substr(eq + 1);
        } else if (i + 1 < args.size()) {
            value = args[++i];
        } else {
            return fail(cmd + ": option " + name + " needs a value (" + def->value_name + ")");
        }
        if (!def->store(c, value)) {
            if (name == "--format" || name == "--out-format")
                return fail(cmd + ": unknown format '" + value + "' (known: " + format_names() +
                            ")");
            return fail(cmd + ": " + name + " needs " + def->expect + ", got '" + value + "'");
        }
    }
    if (files.size() != 2)
        return fail(cmd + ": expected an input and an output file, got " +
                    std::to_string(files.size()) +
                    (files.size() == 1 ? " file name" : " file names"));
    c.input = files[0];
    c.output = files[1];
    const std::string problem = check_combination(c, cmd, seen);
    if (!problem.empty()) return fail(problem);
    r.ok = true;
    return r;
}

std::string usage_text() {
    return "usage:\n"
           "  tovrel [demo [DIR]]\n"
           "      Renders a built-in test card through a showcase of the library and writes\n"
           "      one PNG per scene into DIR (default ./tovrel-demo), and with ffmpeg on the\n"
           "      PATH a few seconds of a move into DIR/move.mp4.\n"
           "  tovrel warp IN OUT --quad X0,Y0,X1,Y1,X2,Y2,X3,Y3 [--persp] [--aa]\n"
           "                     [--no-filter] [--field top|bottom] [--alpha]\n"
           "                     [--under IMAGE]\n"
           "      Draws IN into the quadrilateral whose corners receive the source's\n"
           "      top-left, top-right, bottom-right and bottom-left corners.\n"
           "      --persp     projective mapping of the source rectangle onto the quad\n"
           "                  (default: texture coordinates interpolated linearly)\n"
           "      --aa        anti-aliased polygon edges\n"
           "      --no-filter point sampling, no area filter when minifying\n"
           "      --field     read only the top or bottom field of IN\n"
           "      --alpha     IN's alpha channel becomes its alpha plane (straight colours,\n"
           "                  0..4096): IN is laid over OUT's content instead of copied\n"
           "      --under IMAGE  a PNG as OUT's first content and size (instead of --bg)\n"
           "      --quad-to X0,..,Y3 --move-frames N\n"
           "                  move the corners from --quad to --quad-to over the first N\n"
           "                  frames (frame k at k/N of the way) and hold them after\n"
           "  tovrel scale IN OUT --dst X0,Y0,X1,Y1 [--src X0,Y0,X1,Y1] [--tile]\n"
           "                      [--src-field top|bottom] [--dst-field top|bottom]\n"
           "      Scales the source rectangle (default: all of IN) into the destination\n"
           "      rectangle with exact area weighting; fractional edges blend with the\n"
           "      background, or accumulate with --tile.\n"
           "      --dst-to X0,Y0,X1,Y1 --move-frames N\n"
           "                  move the destination rectangle as --quad-to does the quad\n"
           "      --alpha FILE      IN's alpha planes (raw 16-bit words, 0 transparent to\n"
           "                        4096 opaque), one per frame of IN, or one for all of\n"
           "                        them; a yuvq IN needs them\n"
           "      --out-format NAME OUT's format (default IN's; yuy2 for a yuvq IN)\n"
           "      --out-alpha FILE  give OUT's frames an alpha plane, transparent at\n"
           "                        first, and write them to FILE, one per frame (a yuvq\n"
           "                        IN always draws into one)\n"
           "options of warp and scale:\n"
           "  --out-size WxH   size of OUT (default: IN's size for warp, the rectangle's\n"
           "                   extent for scale)\n"
           "  --bg COLOUR      first content of every output frame, RRGGBB or RRGGBBAA\n"
           "                   (default 00000000)\n"
           "  --threads N      split each frame's lines over N threads (same output)\n"
           "  --format NAME --size WxH\n"
           "                   IN and OUT are raw frames (files not named .png, or - for\n"
           "                   standard input and output) of this format and size, lines\n"
           "                   packed without padding, any number of frames back to back.\n"
           "                   Each NAME and the library format its frames become; the\n"
           "                   second group are ffmpeg's (-f rawvideo -pix_fmt NAME):\n" +
           format_pairs_text() +
           "                   PNG files hold one picture, read and written as 8-bit RGBA\n"
           "                   and stored as RGBQ.\n"
           "Progress (frames, frames per second) goes to standard error when it is a\n"
           "terminal.\n"
           "Exit status: 0 on success (also when the reader of OUT closes it early), 1 when\n"
           "an operation fails, the library reports a problem or the input ends in a\n"
           "partial frame (after the whole frames are written), 2 for a malformed command\n"
           "line.\n";
}

} // namespace tovrel_tool
