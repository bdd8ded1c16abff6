// Textures, span arguments and guarded lines for the span renderer tests.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ostream>
#include <random>
#include <string>
#include <vector>

#include "differential.h"
#include "param_names.h"
#include "span/span_renderer.h"

namespace span_test {

inline constexpr auto test_seed = differential::seed;

// A texture of `unit`-byte texel columns (RGBQ and W210 4, YUY2 2,
// S16X4A / S16X4 8) whose rows lie `pitch` bytes apart (negative:
// bottom-up). The storage holds exactly the bytes the rows span, so that a
// sanitizer catches any read outside them.
struct texture {
    int32_t width, height, pitch, unit;
    std::vector<uint8_t> bytes;
    tovrel::texture_ref ref{};
    texture(int32_t w, int32_t h, int32_t p, int32_t u = 4)
        : width(w), height(h), pitch(p), unit(u),
          bytes(size_t(std::abs(p)) * size_t(h - 1) + size_t(w) * size_t(u)) {
        ref = {bytes.data() + (p < 0 ? bytes.size() - size_t(w) * size_t(u) : 0), p, nullptr, 0};
    }
    uint8_t *texel(int32_t col, int32_t row) {
        return const_cast<uint8_t *>(ref.base) + ptrdiff_t(row) * pitch + ptrdiff_t(col) * unit;
    }
    // Every texel from `pattern`: one texel its low `unit` bytes; 4:2:2 one pair, the
    // low 2 * unit bytes (even column first).
    void fill(uint64_t pattern, bool pairs = false) {
        for (int32_t r = 0; r < height; ++r)
            for (int32_t c = 0; c < width; ++c)
                std::memcpy(texel(c, r),
                            reinterpret_cast<const uint8_t *>(&pattern) +
                                (pairs ? (c & 1) * unit : 0),
                            size_t(unit));
    }
    void randomise(std::mt19937 &rng) {
        std::generate(bytes.begin(), bytes.end(), rng);
        std::generate(alpha_bytes.begin(), alpha_bytes.end(), rng);
    }
    // A w12b plane beside the colour rows, with a pitch of its own (2 bytes
    // a sample, 6 bytes of padding; bottom-up with the colour rows), zero.
    std::vector<uint8_t> alpha_bytes;
    void add_alpha_plane() {
        const int32_t p = (pitch < 0 ? -1 : 1) * (2 * width + 6);
        alpha_bytes.assign(size_t(std::abs(p)) * size_t(height - 1) + size_t(2 * width), 0);
        ref.alpha = alpha_bytes.data() + (p < 0 ? alpha_bytes.size() - size_t(2 * width) : 0);
        ref.alpha_pitch = p;
    }
};

// Footprint columns and height class of a slot (slot 0 reads one texel),
// and the clamp limits that keep it inside a texture (margin 120).
struct slot_shape {
    int cols, hc;
    explicit slot_shape(int slot)
        : cols(slot ? std::array{1, 2, 3, 4, 8}[(slot - 1) % 5] : 1),
          hc(slot ? (slot - 1) / 5 : 0) {}
    float u_limit(int32_t width) const { return float((width - cols) * 65536 - 120); }
    float v_limit(int32_t height) const {
        return float((height - 1) * 65536 - std::array{120, 32888, 65656, 196728}[hc]);
    }
};

// A span over [x0, x1) of a texture, clamped for a slot.
struct span_args {
    int32_t x0 = 0, x1 = 1;
    float u_max = 0, v_max = 0, u_step = 0, v_step = 0, u_base = 0, v_base = 0;
    float w_step = 0, w_base = 1;
    span_args(int32_t first, int32_t end, const slot_shape &s, const texture &t)
        : x0(first), x1(end), u_max(s.u_limit(t.width)), v_max(s.v_limit(t.height)) {}
    span_args &steps(float du, float dv, float dw = 0) {
        u_step = du, v_step = dv, w_step = dw;
        return *this;
    }
    span_args &bases(float u, float v, float w = 1) {
        u_base = u, v_base = v, w_base = w;
        return *this;
    }
    std::string describe() const {
        return differential::text("x", x0, x1, "max", u_max, v_max, "step", u_step, v_step, w_step,
                                  "base", u_base, v_base, w_base);
    }
};

// A line of `unit`-byte pixels with 16 guard pixels on each side. With
// 4:2:2 pairs a span [first, last) writes whole pixels except that an odd
// first pixel writes only its Y, and an even last pixel also writes the
// chroma sample of the pixel after it.
struct guarded_line {
    static constexpr uint8_t sentinel[4] = {0x87, 0xE1, 0xC3, 0xA5};
    static constexpr int guard = 16;
    int unit;
    bool pairs;
    std::vector<uint8_t> store;
    tovrel::span_rows rows{};
    // The alpha line of the colour-plus-alpha families (2 bytes a pixel),
    // empty for the others.
    std::vector<uint8_t> alpha_store;
    explicit guarded_line(int32_t n, int u = 4, bool p = false, bool alpha = false)
        : unit(u), pairs(p), store(size_t(n + 2 * guard) * size_t(u)),
          alpha_store(alpha ? size_t(n + 2 * guard) * 2 : 0) {
        for (size_t i = 0; i < store.size(); ++i) store[i] = sentinel[i & 3];
        for (size_t i = 0; i < alpha_store.size(); ++i) alpha_store[i] = sentinel[i & 3];
        rows.pixels = store.data() + guard * unit;
        if (alpha) rows.alpha = reinterpret_cast<uint16_t *>(alpha_store.data() + guard * 2);
    }
    bool writes(int64_t byte, int32_t first, int32_t last) const {
        const int64_t x = byte / unit - guard, half = (byte % unit) * 2 / unit;
        if (x < first || x >= last)
            return pairs && half == 1 && x == last && (last & 1) && x - 1 >= first;
        return !(pairs && half == 1 && x == first && (first & 1));
    }
    bool untouched_outside(int32_t first, int32_t last) const {
        for (size_t i = 0; i < store.size(); ++i)
            if (!writes(int64_t(i), first, last) && store[i] != sentinel[i & 3]) return false;
        return true;
    }
};

// Runs a perspective renderer (when given) or an affine one on a line.
inline void run(tovrel::persp_span_renderer p, tovrel::affine_span_renderer f, guarded_line &l,
                const texture &t, const span_args &a) {
    if (p)
        return p(&l.rows, a.x0, a.x1, &t.ref, a.u_max, a.v_max, a.u_step, a.v_step, a.u_base,
                 a.v_base, a.w_step, a.w_base);
    f(&l.rows, a.x0, a.x1, &t.ref, a.u_max, a.v_max, a.u_step, a.v_step, a.u_base, a.v_base);
}

// One implementation of a family's table pair.
struct tables {
    const char *name;
    const tovrel::persp_renderer_table *persp;
    const tovrel::affine_renderer_table *affine;
    void run(int slot, bool p, guarded_line &l, const texture &t, const span_args &a) const {
        span_test::run(p ? (*persp)[slot] : nullptr, (*affine)[slot], l, t, a);
    }
};

// A renderer family under test: its layout, its implementations (the
// dispatched tables, the scalar statements, SIMD forms) and its packed
// slots. Rows of family_list() parameterise the span tests.
struct family {
    const char *name;
    int unit;         // bytes per texel column and per destination pixel
    bool pairs;       // 4:2:2: columns share U and V in pairs
    int sample_bytes; // 1 or 2
    std::vector<tables> (*implementations)();
    bool (*packed)(int slot);
    // The texel's first sample (RGBQ's first channel, 4:2:2 Y) in the
    // single-texel test.
    int32_t single;
    // Texels (4:2:2: pairs Y0 U Y1 V with Y0 = Y1) that a slot keeps.
    std::vector<uint64_t> (*uniform)(int slot, std::mt19937 &rng);
    // A colour family with a w12b alpha plane (pairs E, F, G): textures
    // and lines carry an alpha plane and an alpha line.
    bool alpha = false;
    // Blends into the line (S16X4A over): spans start on random pixels.
    bool over = false;
    texture texture_with_pitch(int32_t w, int32_t h, int32_t pitch) const {
        texture t(w, h, pitch, unit);
        if (alpha) t.add_alpha_plane();
        return t;
    }
    texture make_texture(int32_t w, int32_t h, int32_t pitch_pad, bool bottom_up = false) const {
        const int32_t p = w * unit + pitch_pad;
        return texture_with_pitch(w, h, bottom_up ? -p : p);
    }
    guarded_line line(int32_t n) const { return guarded_line(n, unit, pairs, alpha); }
};

inline void PrintTo(const family &f, std::ostream *os) {
    *os << f.name;
}

// Every family.
const std::vector<family> &family_list();

} // namespace span_test
