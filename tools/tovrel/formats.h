// Pixel formats as the tool names them on the command line, and the
// in-memory frames it hands to the library.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <tovrel.h>

namespace tovrel_tool {

struct frame;

// One row per name accepted by --format: the library's own formats and the
// raw formats as ffmpeg names them. Every row says which library format its
// frames become in memory; a row whose file layout differs (planar 4:2:2)
// carries the two conversions. The file frame is exactly as many bytes as
// the memory frame for every row.
struct format_info {
    const char *name;  // command-line name, lower case
    const char *label; // the library format, as the library's messages name it
    uint8_t code;      // TOVREL_FORMAT_*
    int32_t bytes_per_pixel;
    bool pairs;             // 4:2:2: pixels come in pairs sharing chroma, width must be even
    bool ffmpeg;            // the name is ffmpeg's (-pix_fmt); listed as a pair in --help
    bool swap_red_blue;     // RGBQ held as B, G, R, A: PNG files swap bytes 0 and 2
    const char *conversion; // --help note; nullptr: the file holds the memory layout
    // File bytes -> f.pixels and back; nullptr: a plain copy.
    void (*from_file)(const uint8_t *file, frame &f);
    void (*to_file)(const frame &f, uint8_t *file);
};

// nullptr for an unknown name.
const format_info *find_format(std::string_view name);
// The library's own row of a format code.
const format_info *find_format(uint8_t code);
// "rgbq, yuy2, ..." for messages.
std::string format_names();
// The --help lines pairing each ffmpeg name with the library format.
std::string format_pairs_text();

// One tightly packed frame (pitch = width * bytes per pixel), optionally
// with a w12b alpha plane (alpha.size() == width * height, 0..4096).
struct frame {
    const format_info *format = nullptr;
    int32_t width = 0;
    int32_t height = 0;
    std::vector<uint8_t> pixels;
    std::vector<uint16_t> alpha;
    uint8_t alpha_mode = TOVREL_ALPHA_STRAIGHT;

    int32_t pitch() const { return width * format->bytes_per_pixel; }
    uint8_t *row(int32_t y) { return pixels.data() + static_cast<size_t>(y) * pitch(); }
    const uint8_t *row(int32_t y) const { return pixels.data() + static_cast<size_t>(y) * pitch(); }
    // The library's view of this frame; valid while the frame lives and
    // is not resized.
    image_descriptor descriptor();
};

// Largest frame side the tool accepts; keeps every byte count of a frame
// (at most 65536 * 65536 * 8 would overflow) below 2^31.
constexpr int32_t max_frame_side = 32768;
constexpr int64_t max_frame_bytes = int64_t(1) << 30;

// Allocates a frame cleared to the format's black (for RGBQ: `rgbq_fill`,
// four bytes R, G, B, A, stored in the row's byte order). Returns an empty
// message on success.
std::string make_frame(frame &f, const format_info *format, int32_t width, int32_t height,
                       const uint8_t rgbq_fill[4] = nullptr);
void add_alpha_plane(frame &f, uint16_t value, uint8_t alpha_mode);
// Moves the fourth byte of an RGBQ frame (a PNG's alpha, 0..255) into a
// straight w12b plane, round(a * 4096 / 255), and makes the byte opaque.
void alpha_from_fourth_byte(frame &f);

// A file frame of f's format into f (sized already), and back.
void frame_from_file(const uint8_t *file, frame &f);
void frame_to_file(const frame &f, uint8_t *file);

} // namespace tovrel_tool
