// Command-line grammar of the tovrel tool. Parsing is pure: it checks
// every word and either fills a command_line or returns one message.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace tovrel_tool {

enum class command_kind { help, demo, warp, scale };
enum class field_choice { none, top, bottom };

struct command_line {
    command_kind kind = command_kind::help;
    std::string input;
    std::string output;
    std::string demo_dir; // demo only; "tovrel-demo" by default

    // Files: a name ending in .png is one PNG picture; any other name, or
    // "-" for standard input or output, is a stream of raw frames.
    // Raw frames: --format and --size describe the input.
    std::string format; // empty: not given
    int32_t width = 0, height = 0;
    // Output frame size; 0: derived from the input or the rectangle.
    int32_t out_width = 0, out_height = 0;
    bool background_given = false;
    std::array<uint8_t, 4> background{}; // RGBA, the destination's first content
    std::string under;                   // warp: a PNG as every output frame's first content
    int32_t threads = 1;                 // each frame's lines split by phase and period
    // A move: the corners (or rectangle) go from the first value to the
    // `_to` value over frames 0 .. move_frames - 1 and stay there after.
    int32_t move_frames = 0; // 0: no move

    // warp: corners of the source's top-left, top-right, bottom-right and
    // bottom-left in the destination, as x, y pairs.
    std::array<double, 8> quad{};
    std::array<double, 8> quad_to{};
    bool perspective = false;
    bool edge_aa = false;
    bool no_filter = false;
    // The PNG's alpha channel becomes the source's w12b plane (straight
    // colours); the source is composited instead of copied.
    bool alpha_plane = false;
    field_choice field = field_choice::none;

    // scale: x0, y0, x1, y1 rectangles.
    std::array<double, 4> dst_rect{};
    std::array<double, 4> dst_rect_to{};
    std::array<double, 4> src_rect{};
    bool src_rect_given = false;
    bool tile = false;
    field_choice src_field = field_choice::none;
    field_choice dst_field = field_choice::none;
    // Alpha planes of raw frames: w12b words (0..4096, little-endian, lines
    // packed). IN's is required for yuvq; OUT gets one (transparent at
    // first) when IN is yuvq or out_alpha is named, written to out_alpha.
    std::string alpha;      // IN's alpha plane file; empty: none
    std::string out_alpha;  // file for OUT's alpha plane; empty: not written
    std::string out_format; // OUT's format; empty: IN's (yuy2 for a yuvq IN)
};

struct parse_result {
    bool ok = false;
    command_line cmd;
    std::string error; // one line, no trailing newline
};

// args excludes the program name.
parse_result parse_command_line(const std::vector<std::string> &args);

std::string usage_text();

// True when the file name ends in .png (any case): such files are PNG,
// all others raw frames.
bool is_png_name(const std::string &name);

// Single values, exposed for the tests. Each returns false on anything but
// a complete, finite number in range.
bool parse_number(const std::string &text, double &value);
bool parse_count(const std::string &text, int32_t &value,
                 int32_t most = 32768); // 1 .. most (default: the largest frame side)
bool parse_size(const std::string &text, int32_t &width, int32_t &height); // WxH
bool parse_number_list(const std::string &text, double *values, size_t count);
bool parse_colour(const std::string &text, std::array<uint8_t, 4> &rgba);

// Coordinates beyond this magnitude are refused: they are far outside any
// frame and would only lose precision in the library's 32-bit floats.
constexpr double max_coordinate = 1.0e6;
constexpr int32_t max_threads = 64;
constexpr int32_t max_move_frames = 1000000;

} // namespace tovrel_tool
