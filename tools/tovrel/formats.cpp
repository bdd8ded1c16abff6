#include "formats.h"

#include <array>
#include <cstring>

namespace tovrel_tool {
namespace {

constexpr std::array<format_info, 7> formats{{
    {"rgbq", "RGBQ", TOVREL_FORMAT_RGBQ, 4, false},
    {"yuy2", "YUY2", TOVREL_FORMAT_YUY2, 2, true},
    {"word", "word", TOVREL_FORMAT_WORD, 2, false},
    {"yuvq", "yuvq", TOVREL_FORMAT_YUVQ, 4, false},
    {"w210", "W210", TOVREL_FORMAT_W210, 4, true},
    {"s16x4a", "S16X4A", TOVREL_FORMAT_S16X4A, 8, false},
    {"s16x4", "S16X4", TOVREL_FORMAT_S16X4, 8, false},
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
        for (int64_t i = 0; i < bytes; i += 4) std::memcpy(p + i, rgbq_fill, 4);
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
