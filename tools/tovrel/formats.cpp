#include "formats.h"

#include <array>
#include <bit>
#include <cstring>

namespace tovrel_tool {
namespace {

static_assert(std::endian::native == std::endian::little,
              "raw files hold little-endian 16-bit samples, read as they lie in memory");

// Planar 4:2:2 (a Y plane of width samples per line, then U and V planes of
// width / 2 each) to and from the packed pairs Y0, U, Y1, V of YUY2 (8-bit
// samples) and W210 (16-bit words, 10 significant bits at the bottom).
template <typename Sample>
void planar422_to_packed(const uint8_t *file, frame &f) {
    const size_t w = static_cast<size_t>(f.width), h = static_cast<size_t>(f.height);
    const uint8_t *y_plane = file;
    const uint8_t *u_plane = y_plane + w * h * sizeof(Sample);
    const uint8_t *v_plane = u_plane + w / 2 * h * sizeof(Sample);
    Sample *out = reinterpret_cast<Sample *>(f.pixels.data());
    for (size_t i = 0; i < w * h / 2; ++i) {
        Sample s[4];
        std::memcpy(&s[0], y_plane + 2 * i * sizeof(Sample), 2 * sizeof(Sample));
        s[2] = s[1];
        std::memcpy(&s[1], u_plane + i * sizeof(Sample), sizeof(Sample));
        std::memcpy(&s[3], v_plane + i * sizeof(Sample), sizeof(Sample));
        std::memcpy(out + 4 * i, s, sizeof s);
    }
}

template <typename Sample>
void packed_to_planar422(const frame &f, uint8_t *file) {
    const size_t w = static_cast<size_t>(f.width), h = static_cast<size_t>(f.height);
    uint8_t *y_plane = file;
    uint8_t *u_plane = y_plane + w * h * sizeof(Sample);
    uint8_t *v_plane = u_plane + w / 2 * h * sizeof(Sample);
    const Sample *in = reinterpret_cast<const Sample *>(f.pixels.data());
    for (size_t i = 0; i < w * h / 2; ++i) {
        Sample s[4];
        std::memcpy(s, in + 4 * i, sizeof s);
        std::memcpy(y_plane + 2 * i * sizeof(Sample), &s[0], sizeof(Sample));
        std::memcpy(y_plane + (2 * i + 1) * sizeof(Sample), &s[2], sizeof(Sample));
        std::memcpy(u_plane + i * sizeof(Sample), &s[1], sizeof(Sample));
        std::memcpy(v_plane + i * sizeof(Sample), &s[3], sizeof(Sample));
    }
}

// The library's own formats come first: find_format(code) returns them.
constexpr std::array<format_info, 13> formats{{
    {"rgbq", "RGBQ", TOVREL_FORMAT_RGBQ, 4, false, false, false, nullptr, nullptr, nullptr},
    {"yuy2", "YUY2", TOVREL_FORMAT_YUY2, 2, true, false, false, nullptr, nullptr, nullptr},
    {"word", "word", TOVREL_FORMAT_WORD, 2, false, false, false, nullptr, nullptr, nullptr},
    {"yuvq", "yuvq", TOVREL_FORMAT_YUVQ, 4, false, false, false, nullptr, nullptr, nullptr},
    {"w210", "W210", TOVREL_FORMAT_W210, 4, true, false, false, nullptr, nullptr, nullptr},
    {"s16x4a", "S16X4A", TOVREL_FORMAT_S16X4A, 8, false, false, false, nullptr, nullptr, nullptr},
    {"s16x4", "S16X4", TOVREL_FORMAT_S16X4, 8, false, false, false, nullptr, nullptr, nullptr},
    {"yuyv422", "YUY2", TOVREL_FORMAT_YUY2, 2, true, true, false, nullptr, nullptr, nullptr},
    {"yuv422p", "YUY2", TOVREL_FORMAT_YUY2, 2, true, true, false, "planar Y, U, V converted",
     planar422_to_packed<uint8_t>, packed_to_planar422<uint8_t>},
    {"yuv422p10le", "W210", TOVREL_FORMAT_W210, 4, true, true, false,
     "planar 10-bit Y, U, V converted", planar422_to_packed<uint16_t>,
     packed_to_planar422<uint16_t>},
    {"rgba", "RGBQ", TOVREL_FORMAT_RGBQ, 4, false, true, false, nullptr, nullptr, nullptr},
    {"bgra", "RGBQ", TOVREL_FORMAT_RGBQ, 4, false, true, true, nullptr, nullptr, nullptr},
    {"gray16le", "word", TOVREL_FORMAT_WORD, 2, false, true, false, nullptr, nullptr, nullptr},
}};

} // namespace

const format_info *find_format(std::string_view name) {
    for (const format_info &f : formats)
        if (name == f.name) return &f;
    return nullptr;
}

const format_info *find_format(uint8_t code) {
    for (const format_info &f : formats)
        if (code == f.code) return &f;
    return nullptr;
}

std::string format_names() {
    std::string names;
    for (const format_info &f : formats) {
        if (!names.empty()) names += ", ";
        names += f.name;
    }
    return names;
}

std::string format_pairs_text() {
    std::string text[2];
    for (const format_info &f : formats) {
        std::string line = "                     " + std::string(f.name);
        line.resize(35, ' ');
        line += std::string(f.label) + ", " + (f.conversion ? f.conversion : "as is") + "\n";
        text[f.ffmpeg] += line;
    }
    return text[0] + text[1];
}

void frame_from_file(const uint8_t *file, frame &f) {
    if (f.format->from_file)
        f.format->from_file(file, f);
    else
        std::memcpy(f.pixels.data(), file, f.pixels.size());
}

void frame_to_file(const frame &f, uint8_t *file) {
    if (f.format->to_file)
        f.format->to_file(f, file);
    else
        std::memcpy(file, f.pixels.data(), f.pixels.size());
}

image_descriptor frame::descriptor() {
    image_descriptor d;
    std::memset(&d, 0, sizeof d);
    d.width = width;
    d.height = height;
    d.format = format->code;
    d.alpha_mode = alpha_mode;
    d.pixels = pixels.data();
    d.pitch = pitch();
    if (!alpha.empty()) {
        d.alpha_kind = TOVREL_ALPHA_W12B;
        d.alpha = alpha.data();
        d.alpha_pitch = width * 2;
    }
    return d;
}

std::string make_frame(frame &f, const format_info *format, int32_t width, int32_t height,
                       const uint8_t rgbq_fill[4]) {
    if (width < 1 || height < 1 || width > max_frame_side || height > max_frame_side)
        return "frame size " + std::to_string(width) + "x" + std::to_string(height) +
               " is outside 1x1 .. " + std::to_string(max_frame_side) + "x" +
               std::to_string(max_frame_side);
    const int64_t bytes = int64_t(width) * height * format->bytes_per_pixel;
    if (bytes > max_frame_bytes) return "frame of " + std::to_string(bytes) + " bytes is too large";
    if (format->pairs && (width & 1))
        return std::string(format->label) + " frames need an even width (pixels come in pairs)";
    f.format = format;
    f.width = width;
    f.height = height;
    f.alpha.clear();
    f.pixels.assign(static_cast<size_t>(bytes), 0);
    // Black in each format: chroma sits at its zero (128 for 8-bit, 512 for
    // 10-bit samples), luma at 0.
    uint8_t *p = f.pixels.data();
    if (format->code == TOVREL_FORMAT_RGBQ && rgbq_fill) {
        const uint8_t r = rgbq_fill[format->swap_red_blue ? 2 : 0];
        const uint8_t b = rgbq_fill[format->swap_red_blue ? 0 : 2];
        const uint8_t fill[4] = {r, rgbq_fill[1], b, rgbq_fill[3]};
        for (int64_t i = 0; i < bytes; i += 4) std::memcpy(p + i, fill, 4);
    } else if (format->code == TOVREL_FORMAT_YUY2) {
        for (int64_t i = 1; i < bytes; i += 2) p[i] = 128;
    } else if (format->code == TOVREL_FORMAT_W210) {
        const uint16_t chroma = 512;
        for (int64_t i = 2; i < bytes; i += 4) std::memcpy(p + i, &chroma, 2);
    }
    return {};
}

void add_alpha_plane(frame &f, uint16_t value, uint8_t alpha_mode) {
    f.alpha.assign(static_cast<size_t>(f.width) * f.height, value);
    f.alpha_mode = alpha_mode;
}

void alpha_from_fourth_byte(frame &f) {
    add_alpha_plane(f, 0, TOVREL_ALPHA_STRAIGHT);
    for (size_t i = 0; i < f.alpha.size(); ++i) {
        uint8_t &q = f.pixels[4 * i + 3];
        f.alpha[i] = static_cast<uint16_t>((q * 4096 + 127) / 255);
        q = 255;
    }
}

} // namespace tovrel_tool
