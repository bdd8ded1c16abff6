// Textures, span arguments and guarded destination lines for the span
// renderer tests.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "span/span_renderer.h"

namespace span_test {

using tovrel::affine_span_renderer;
using tovrel::persp_span_renderer;
using tovrel::span_rows;
using tovrel::texture_ref;

// Seed for the random cases: TOVREL_TEST_SEED if set, else a fixed value.
inline uint32_t test_seed() {
    const char *s = std::getenv("TOVREL_TEST_SEED");
    return s ? static_cast<uint32_t>(std::strtoul(s, nullptr, 0)) : 0x5eed1234u;
}

// An RGBQ texture of width x height texels whose rows lie `pitch` bytes
// apart (negative: bottom-up in memory). The storage holds exactly the
// bytes the rows span, so reads outside it are caught by sanitizers.
struct texture {
    int32_t width = 0, height = 0, pitch = 0;
    std::vector<uint8_t> bytes;
    texture_ref ref{};

    texture(int32_t w, int32_t h, int32_t pitch_bytes) : width(w), height(h), pitch(pitch_bytes) {
        const size_t stride = static_cast<size_t>(pitch < 0 ? -static_cast<int64_t>(pitch) : pitch);
        bytes.assign(stride * static_cast<size_t>(h - 1) + static_cast<size_t>(w) * 4, 0);
        ref.base = bytes.data() + (pitch < 0 ? stride * static_cast<size_t>(h - 1) : 0);
        ref.pitch = pitch;
    }
    uint8_t *texel(int32_t col, int32_t row) {
        return const_cast<uint8_t *>(ref.base) + static_cast<ptrdiff_t>(row) * pitch + col * 4;
    }
    void fill(uint32_t value) {
        for (int32_t r = 0; r < height; ++r)
            for (int32_t c = 0; c < width; ++c) std::memcpy(texel(c, r), &value, 4);
    }
    void randomise(std::mt19937 &rng) {
        for (auto &b : bytes) b = static_cast<uint8_t>(rng());
    }
};

// Clamp limits that keep a footprint of W columns and the slot's height
// class inside the texture, with the driver's margin of 120.
inline float u_limit(int32_t width, int cols) {
    return static_cast<float>((width - cols) * 65536 - 120);
}
inline float v_limit(int32_t height, int hc) {
    static const int32_t reach[4] = {120, 32888, 65656, 196728};
    return static_cast<float>((height - 1) * 65536 - reach[hc]);
}

// The ten float arguments of a span and its column range.
struct span_args {
    int32_t x0 = 0, x1 = 1;
    float u_max = 0, v_max = 0, u_step = 0, v_step = 0, u_base = 0, v_base = 0;
    float w_step = 0, w_base = 1;

    std::string describe() const {
        std::ostringstream s;
        s.precision(9);
        s << "x0=" << x0 << " x1=" << x1 << " u_max=" << u_max << " v_max=" << v_max
          << " u_step=" << u_step << " v_step=" << v_step << " u_base=" << u_base
          << " v_base=" << v_base << " w_step=" << w_step << " w_base=" << w_base;
        return s.str();
    }
};

// A destination line of 32-bit elements with guard elements on both sides.
struct guarded_line {
    static constexpr uint32_t sentinel = 0xA5C3E187u;
    static constexpr int guard = 16;
    std::vector<uint32_t> store;
    span_rows rows{};

    explicit guarded_line(int32_t elements)
        : store(static_cast<size_t>(elements) + 2 * guard, sentinel) {
        rows.pixels = store.data() + guard;
    }
    uint32_t at(int32_t x) const { return store[static_cast<size_t>(x + guard)]; }
    // True when nothing outside [first, last) changed.
    bool untouched_outside(int32_t first, int32_t last) const {
        for (size_t i = 0; i < store.size(); ++i) {
            const int64_t x = static_cast<int64_t>(i) - guard;
            if ((x < first || x >= last) && store[i] != sentinel) return false;
        }
        return true;
    }
};

inline void run(persp_span_renderer f, guarded_line &line, const texture &t, const span_args &a) {
    f(&line.rows, a.x0, a.x1, &t.ref, a.u_max, a.v_max, a.u_step, a.v_step, a.u_base, a.v_base,
      a.w_step, a.w_base);
}
inline void run(affine_span_renderer f, guarded_line &line, const texture &t, const span_args &a) {
    f(&line.rows, a.x0, a.x1, &t.ref, a.u_max, a.v_max, a.u_step, a.v_step, a.u_base, a.v_base);
}

} // namespace span_test
