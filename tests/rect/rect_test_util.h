// Rectangle test helpers: guarded images, a page-fenced buffer, report capture.
#pragma once

#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include <tovrel.h>

#include "fuzz/scene.h"
#include "param_names.h"

namespace rect_test {

constexpr uint8_t guard_byte = 0xA5;
constexpr int32_t guard_bytes = 64;

// An image (RGBQ, YUY2, W210 or yuvq) with an optional w12b plane; guard
// bytes after each line and around the whole. Lines of the 4:2:2 formats
// start on whole pairs.
struct image {
    int32_t w, h, bpp, pitch, alpha_pitch;
    std::vector<uint8_t> bytes;
    std::vector<uint16_t> alpha;
    image_descriptor desc{};

    image(int32_t width, int32_t height, bool with_alpha = false,
          uint8_t format = TOVREL_FORMAT_RGBQ)
        : w(width), h(height), bpp(tovrel_fuzz::bytes_per_pixel(format)),
          pitch(format == TOVREL_FORMAT_RGBQ ? width * 4 + 12 : (width * bpp + 15) / 8 * 8 + 8),
          alpha_pitch(width * 2 + 6), bytes(size_t(pitch) * height + 2 * guard_bytes, guard_byte),
          alpha(with_alpha ? size_t(alpha_pitch / 2) * height + guard_bytes : 0, 0xA5A5) {
        desc.width = width, desc.height = height, desc.format = format;
        desc.alpha_mode = TOVREL_ALPHA_STRAIGHT, desc.pixels = bytes.data() + guard_bytes;
        desc.pitch = pitch;
        if (with_alpha)
            desc.alpha_kind = TOVREL_ALPHA_W12B, desc.alpha = alpha.data() + guard_bytes / 2,
            desc.alpha_pitch = alpha_pitch;
        fill(0);
        fill_alpha(0);
    }
    // A copy draws into its own bytes.
    image(const image &o)
        : w(o.w), h(o.h), bpp(o.bpp), pitch(o.pitch), alpha_pitch(o.alpha_pitch), bytes(o.bytes),
          alpha(o.alpha), desc(o.desc) {
        desc.pixels = bytes.data() + guard_bytes;
        if (!alpha.empty()) desc.alpha = alpha.data() + guard_bytes / 2;
    }
    image &operator=(const image &) = delete;
    bool operator==(const image &o) const { return bytes == o.bytes && alpha == o.alpha; }
    uint8_t *px(int32_t x, int32_t y) { return bytes.data() + guard_bytes + y * pitch + bpp * x; }
    uint16_t &a(int32_t x, int32_t y) { return alpha[guard_bytes / 2 + y * (alpha_pitch / 2) + x]; }
    // Component c of pixel (x, y): RGBQ and yuvq bytes; for YUY2 and W210
    // 0 is Y, 1 and 2 the U and V of the pixel's pair.
    uint32_t get(int32_t x, int32_t y, int c) {
        if (desc.format == TOVREL_FORMAT_RGBQ || desc.format == TOVREL_FORMAT_YUVQ)
            return px(x, y)[c];
        const int32_t at = c == 0 ? 2 * x : 4 * (x / 2) + (c == 1 ? 1 : 3);
        uint8_t *line = px(0, y);
        if (desc.format == TOVREL_FORMAT_YUY2) return line[at];
        uint16_t v;
        std::memcpy(&v, line + 2 * at, 2);
        return v;
    }
    // Bytes of a line's pixels (4:2:2 lines in whole pairs).
    size_t used() const {
        return desc.format == TOVREL_FORMAT_RGBQ || desc.format == TOVREL_FORMAT_YUVQ
                   ? size_t(w) * 4
                   : size_t((w + 1) / 2) * 2 * bpp;
    }
    // Every sample of every line through f(): bytes, or W210 words.
    template <class F>
    void each_sample(F f) {
        const bool words = desc.format == TOVREL_FORMAT_W210;
        for (int32_t y = 0; y < h; ++y)
            for (size_t i = 0; i < used(); i += words ? 2 : 1) {
                uint8_t *p = px(0, y) + i;
                uint16_t v = words ? uint16_t(p[0] | p[1] << 8) : p[0];
                v = f(v);
                p[0] = uint8_t(v);
                if (words) p[1] = uint8_t(v >> 8);
            }
    }
    void fill(uint32_t v) {
        each_sample([v](uint16_t) { return uint16_t(v); });
    }
    void fill_alpha(uint16_t v) {
        for (int32_t i = 0; !alpha.empty() && i < w * h; ++i) a(i % w, i / w) = v;
    }
    void randomize(std::mt19937 &rng, uint16_t max_alpha = 4096) {
        const uint32_t top = desc.format == TOVREL_FORMAT_W210 ? 1024 : 256;
        each_sample([&](uint16_t) { return uint16_t(rng() % top); });
        for (int32_t i = 0; !alpha.empty() && i < w * h; ++i)
            a(i % w, i / w) = uint16_t(rng() % (max_alpha + 1u));
    }
    // Every byte and alpha word outside the pixels still holds its guard.
    bool guards_intact() const {
        auto clean = [](const auto &buf, size_t front, size_t line, size_t used, size_t lines,
                        auto guard) {
            for (size_t i = 0; i < buf.size(); ++i) {
                const size_t o = i - front; // wraps for the leading guard
                if ((o >= line * lines || o % line >= used) && buf[i] != guard) return false;
            }
            return true;
        };
        return clean(bytes, guard_bytes, pitch, used(), h, guard_byte) &&
               clean(alpha, guard_bytes / 2, alpha_pitch / 2, w, h, uint16_t{0xA5A5});
    }
};

// `size` bytes followed by an inaccessible page: any read past them faults.
using fenced_buffer = tovrel_fuzz::guard_buffer;

// Collects report lines while alive.
struct report_capture {
    std::vector<std::string> lines;
    report_capture() { tovrel_set_report_sink(&sink, this); }
    ~report_capture() { tovrel_set_report_sink(nullptr, nullptr); }
    static void TOVREL_CALL sink(const char *line, void *user) {
        static_cast<report_capture *>(user)->lines.emplace_back(line);
    }
    std::string all() const {
        std::string s;
        for (const auto &l : lines) s += l;
        return s;
    }
};

using param_names::format_name;

inline uint32_t test_seed() {
    return std::random_device{}();
}

} // namespace rect_test
