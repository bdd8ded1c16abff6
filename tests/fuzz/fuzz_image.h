// What the fuzz targets share: a reader that turns the fuzzer's bytes into
// values (front to back, zeros once the input runs out), images derived
// from those values in guarded buffers, a report sink that checks every
// report line, and the checks made on a destination after a call.
#pragma once

#include <tovrel.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <limits>
#include <vector>

#include "guard_buffer.h"

namespace tovrel_fuzz {

class byte_reader {
public:
    byte_reader(const uint8_t *data, size_t size) : data_(data), size_(size) {}

    uint8_t u8() { return pos_ < size_ ? data_[pos_++] : 0; }
    uint16_t u16() { return static_cast<uint16_t>(u8() | u8() << 8); }
    uint32_t u32() { return static_cast<uint32_t>(u16()) | static_cast<uint32_t>(u16()) << 16; }
    uint64_t u64() { return static_cast<uint64_t>(u32()) | static_cast<uint64_t>(u32()) << 32; }
    int16_t i16() { return static_cast<int16_t>(u16()); }
    int32_t i32() { return static_cast<int32_t>(u32()); }

private:
    const uint8_t *data_;
    size_t size_;
    size_t pos_ = 0;
};

// splitmix64: pixel contents from a 32-bit seed of the input.
struct prng {
    uint64_t state;
    uint64_t next() {
        uint64_t z = (state += 0x9E3779B97F4A7C15ull);
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
        return z ^ (z >> 31);
    }
};

// Coordinates: each value comes in one of four kinds chosen by two bits of
// the input: a coarse in-range value, a fine fractional value, one of a
// table of hard values (non-finite, huge, denormal, fixed-point edges) or
// the raw bit pattern.
inline float float_value(byte_reader &in, unsigned kind, float coarse_scale) {
    static const float hard[] = {
        std::numeric_limits<float>::quiet_NaN(),
        -std::numeric_limits<float>::quiet_NaN(),
        std::numeric_limits<float>::infinity(),
        -std::numeric_limits<float>::infinity(),
        0.0f,
        -0.0f,
        0.5f,
        1e-7f,
        1e-40f,
        std::numeric_limits<float>::max(),
        -std::numeric_limits<float>::max(),
        std::numeric_limits<float>::min(),
        1e30f,
        -1e30f,
        3e9f,
        -3e9f,
        8192.0f,
        8192.5f,
        32768.0f,
        65536.0f,
        524288.0f,
        -524288.0f, // times 4096 leaves int32
        174763.0f,
        -174763.0f, // times 12288 leaves int32
        1048576.0f,
        -1048576.0f, // times 2048 leaves int32
        16777216.0f,
        1.0f,
    };
    switch (kind & 3) {
    case 0:
        return static_cast<float>(in.i16()) / coarse_scale;
    case 1:
        return static_cast<float>(in.i32() % (1 << 25)) / 65536.0f;
    case 2:
        return hard[in.u8() % (sizeof hard / sizeof hard[0])];
    default: {
        const uint32_t bits = in.u32();
        float f;
        std::memcpy(&f, &bits, sizeof f);
        return f;
    }
    }
}

inline double double_value(byte_reader &in, unsigned kind, double coarse_scale) {
    static const double hard[] = {
        std::numeric_limits<double>::quiet_NaN(),
        std::numeric_limits<double>::infinity(),
        -std::numeric_limits<double>::infinity(),
        0.0,
        -0.0,
        0.5,
        1e-320,
        1e-300,
        1e300,
        -1e300,
        3e9,
        -3e9,
        3.5e38,
        -3.5e38, // finite, but infinite as float
        8192.0,
        8192.5,
        65536.0,
        524288.0,
        -524288.0,
        1048576.0,
        2147483648.0,
        -2147483649.0,
        1.0,
    };
    switch (kind & 3) {
    case 0:
        return static_cast<double>(in.i16()) / coarse_scale;
    case 1:
        return static_cast<double>(in.i32() % (1 << 25)) / 65536.0;
    case 2:
        return hard[in.u8() % (sizeof hard / sizeof hard[0])];
    default: {
        const uint64_t bits = in.u64();
        double d;
        std::memcpy(&d, &bits, sizeof d);
        return d;
    }
    }
}

// Bytes per pixel of a layout: RGBQ and yuvq 4, YUY2 and word 2, W210 4
// (two 16-bit words), S16X4A and S16X4 8; codes that name no format get 8.
inline int32_t bytes_per_pixel(uint8_t format) {
    switch (format) {
    case TOVREL_FORMAT_RGBQ:
    case TOVREL_FORMAT_YUVQ:
    case TOVREL_FORMAT_W210:
        return 4;
    case TOVREL_FORMAT_YUY2:
    case TOVREL_FORMAT_WORD:
        return 2;
    default:
        return 8;
    }
}

inline bool is_422(uint8_t format) {
    return format == TOVREL_FORMAT_YUY2 || format == TOVREL_FORMAT_W210;
}

// One plane (colour or alpha) in a guarded buffer. Lines are `row_bytes`
// long; `pitch` may be negative, zero (every line on the same bytes) or
// padded. `line0` is what the descriptor receives.
struct plane {
    guard_buffer buffer;
    uint8_t *line0 = nullptr;
    int32_t pitch = 0;
    int32_t row_bytes = 0;
    int32_t lines = 0;
    std::vector<uint8_t> before;

    // Layout choice from two input bytes; `unit` is the sample alignment.
    void build(int32_t row, int32_t height, uint8_t pitch_kind, uint8_t pad, int32_t unit) {
        row_bytes = row;
        lines = height;
        const int32_t padded = row + unit * pad;
        bool negative = false;
        switch (pitch_kind & 7) {
        case 1:
            pitch = -row;
            negative = true;
            break;
        case 2:
            pitch = padded;
            break;
        case 3:
            pitch = -padded;
            negative = true;
            break;
        case 4:
            pitch = 0;
            break;
        case 5: // far lines: only one line, so only line 0 may be touched
            if (height == 1) {
                pitch = (pad & 1) ? -0x40000000 : 0x40000000;
                negative = pitch < 0;
            } else {
                pitch = row;
            }
            break;
        default:
            pitch = row;
            break;
        }
        const size_t step = static_cast<size_t>(pitch < 0 ? -static_cast<int64_t>(pitch) : pitch);
        const size_t size =
            height == 1 ? static_cast<size_t>(row) : static_cast<size_t>(height - 1) * step + row;
        // Positive pitches run into the end fence, negative ones into the
        // start fence; bit 3 swaps the sides.
        const bool against_end = negative == ((pitch_kind & 8) != 0);
        buffer.reset(size, against_end);
        line0 = negative ? buffer.data() + (height - 1) * step : buffer.data();
    }

    // A plane that must not be touched: null, or a pointer onto a fence.
    void absent(bool null_pointer) {
        buffer.reset(0, true);
        line0 = null_pointer ? nullptr : buffer.data();
        pitch = row_bytes = lines = 0;
    }

    // Pitch padding and slack, poisoned while the library runs.
    void poison_padding(bool on) const {
        buffer.poison_slack(on);
        if (lines <= 1 || pitch == 0) return;
        const size_t step = static_cast<size_t>(pitch < 0 ? -static_cast<int64_t>(pitch) : pitch);
        const size_t row = static_cast<size_t>(row_bytes);
        if (step <= row) return;
        for (size_t start = row; start + (step - row) <= buffer.size(); start += step)
            set_poison(buffer.data() + start, step - row, on);
    }

    // Pitch 0: every line on the same bytes, so the order of drawing shows.
    bool lines_alias() const { return lines > 1 && pitch == 0; }

    void snapshot() { before.assign(buffer.data(), buffer.data() + buffer.size()); }
    void restore() {
        if (!before.empty()) std::memcpy(buffer.data(), before.data(), before.size());
    }
    std::vector<uint8_t> contents() const {
        return std::vector<uint8_t>(buffer.data(), buffer.data() + buffer.size());
    }
    bool unchanged() const {
        return buffer.size() == before.size() &&
               (before.empty() || std::memcmp(buffer.data(), before.data(), before.size()) == 0);
    }

    // Every changed byte lies inside a line (no writes into pitch padding
    // or past the buffer's ends).
    bool writes_confined() const {
        if (!buffer.slack_intact()) return false;
        if (lines <= 1 || pitch == 0 || before.empty()) return true;
        const size_t step = static_cast<size_t>(pitch < 0 ? -static_cast<int64_t>(pitch) : pitch);
        const size_t row = static_cast<size_t>(row_bytes);
        if (step <= row) return true;
        // The padding after every line but the last one in memory.
        for (size_t start = row; start + (step - row) <= before.size(); start += step)
            if (std::memcmp(buffer.data() + start, before.data() + start, step - row) != 0)
                return false;
        return true;
    }
};

// Everything an image is made of, as read from the input.
struct image_spec {
    uint8_t format, size_kind, pitch_kind, pad, alpha_kind_sel, alpha_mode, alpha_pitch_kind,
        alpha_pad, fill;
    uint16_t w_raw, h_raw;
    uint32_t seed;

    void read(byte_reader &in) {
        format = in.u8();
        size_kind = in.u8();
        w_raw = in.u16();
        h_raw = in.u16();
        pitch_kind = in.u8();
        pad = in.u8();
        alpha_kind_sel = in.u8();
        alpha_mode = in.u8();
        alpha_pitch_kind = in.u8();
        alpha_pad = in.u8();
        fill = in.u8();
        seed = in.u32();
    }

    // Codes 0..12 mostly; bytes from 0xF0 up stay as they are (far codes).
    uint8_t format_code() const { return format >= 0xF0 ? format : format % 13; }

    void size(int32_t *width, int32_t *height) const {
        const int32_t w = 1 + w_raw % 320, h = 1 + h_raw % 320;
        switch (size_kind % 16) {
        case 11:
            *width = -(w_raw % 5);
            *height = h;
            break; // width 0 or negative
        case 12:
            *width = w;
            *height = -(h_raw % 5);
            break; // height 0 or negative
        case 13:
            *width = 8180 + w_raw % 40;
            *height = 1 + h_raw % 3;
            break; // around 8192
        case 14:
            *width = 1 + w_raw % 3;
            *height = 1 + h_raw % 2000;
            break; // tall
        case 15:
            *width = 32760 + w_raw % 40000;
            *height = 1 + h_raw % 2;
            break; // 16.16 limit
        default:
            *width = w;
            *height = h;
            break;
        }
    }

    uint32_t alpha_kind() const {
        static const uint32_t odd[] = {1, 2, 4, 5, 0x80000003u, 0xFFFFFFFFu, 0x103u, 0xFFu};
        const unsigned k = alpha_kind_sel % 8;
        if (k < 3) return TOVREL_ALPHA_NONE;
        if (k < 6) return TOVREL_ALPHA_W12B;
        return odd[(alpha_kind_sel >> 3) % 8];
    }

    uint8_t mode_byte() const {
        switch (alpha_mode % 4) {
        case 0:
            return TOVREL_ALPHA_STRAIGHT;
        case 1:
            return TOVREL_ALPHA_PREMULTIPLIED;
        default:
            return alpha_mode;
        }
    }
};

// Out-of-contract null pointers, chosen rarely: a mask byte whose high
// nibble is all ones selects the nulls named by its low bits; bit 4 of a
// second byte puts them on the source instead of the destination.
struct null_choice {
    uint8_t mask = 0;
    bool on_source = false;
    null_choice() = default;
    null_choice(uint8_t raw, uint8_t target)
        : mask((raw & 0xF0) == 0xF0 ? (raw & 0x0F) : 0), on_source(target & 0x10) {}
    bool descriptor() const { return mask & 1; }
    bool pixels() const { return mask & 2; }
    bool alpha() const { return mask & 4; }
    bool other() const { return mask & 8; } // the vertex or source array
    null_choice for_source() const { return on_source ? *this : null_choice(); }
    null_choice for_destination() const { return on_source ? null_choice() : *this; }
};

// A described image: the descriptor, its colour plane laid out in
// `layout` (the format whose bytes per pixel the library will use on it)
// and its alpha plane.
struct fuzz_image {
    image_descriptor desc{};
    plane colour;
    plane alpha;
    bool read_only = false;

    void build(const image_spec &s, uint8_t layout, null_choice nulls) {
        std::memset(&desc, 0, sizeof desc);
        int32_t width, height;
        s.size(&width, &height);
        desc.width = width;
        desc.height = height;
        desc.format = s.format_code();
        desc.alpha_mode = s.mode_byte();
        desc.reserved0 = 0xDEAD;
        desc.reserved1 = 0xDEADBEEF;
        desc.alpha_kind = s.alpha_kind();
        prng rng{s.seed};
        const bool valid = width > 0 && height > 0;
        const int32_t bpp = bytes_per_pixel(layout);
        const int32_t unit = bpp == 2 || layout == TOVREL_FORMAT_W210 || bpp == 8 ? 2 : 4;
        if (valid && !nulls.pixels()) {
            // 4:2:2 lines hold whole pixel pairs, also for odd widths.
            const int32_t pixels = is_422(layout) ? (width + 1) & ~1 : width;
            colour.build(pixels * bpp, height, s.pitch_kind, s.pad, unit);
            fill_colour(layout, s.fill, rng);
        } else {
            colour.absent(nulls.pixels() || (s.pitch_kind & 0x80));
        }
        desc.pixels = colour.line0;
        // A plane that is not there still gets some pitch.
        desc.pitch =
            colour.line0 && colour.lines > 0 ? colour.pitch : static_cast<int32_t>(s.pad) * 4 - 512;
        if (desc.alpha_kind == TOVREL_ALPHA_W12B && valid && !nulls.alpha()) {
            alpha.build(width * 2, height, s.alpha_pitch_kind, s.alpha_pad, 2);
            fill_alpha(s.fill, rng);
        } else {
            alpha.absent(nulls.alpha() || (s.alpha_pitch_kind & 0x80));
            alpha.pitch = static_cast<int32_t>(s.alpha_pad) * 2 - 256;
        }
        desc.alpha = alpha.line0;
        desc.alpha_pitch = alpha.pitch;
    }

    // A source is only read: any write into it faults.
    void protect() {
        colour.buffer.make_read_only();
        alpha.buffer.make_read_only();
        read_only = true;
    }

    void snapshot() {
        colour.snapshot();
        alpha.snapshot();
    }
    void restore() {
        colour.restore();
        alpha.restore();
    }
    bool unchanged() const { return colour.unchanged() && alpha.unchanged(); }
    void poison_padding(bool on) const {
        colour.poison_padding(on);
        alpha.poison_padding(on);
    }
    bool writes_confined() const { return colour.writes_confined() && alpha.writes_confined(); }

private:
    // Fill kinds: 0 values inside each format's range (10-bit W210, alpha
    // 0..4096, S16X4A colours within their alpha), 1 random bytes, 2 zeros,
    // 3 all ones.
    void fill_colour(uint8_t layout, uint8_t fill, prng &rng) {
        uint8_t *p = colour.buffer.data();
        const size_t n = colour.buffer.size();
        switch (fill % 4) {
        case 2:
            std::memset(p, 0, n);
            return;
        case 3:
            std::memset(p, 0xFF, n);
            return;
        case 1:
            random_bytes(p, n, rng);
            return;
        default:
            break;
        }
        random_bytes(p, n, rng);
        if (layout == TOVREL_FORMAT_W210) {
            for (size_t i = 0; i + 1 < n; i += 2) p[i + 1] &= 0x03;
        } else if (layout == TOVREL_FORMAT_S16X4A) {
            for (int32_t y = 0; y < colour.lines; ++y) {
                uint8_t *row = colour.line0 + static_cast<ptrdiff_t>(y) * colour.pitch;
                for (int32_t x = 0; x + 8 <= colour.row_bytes; x += 8) premultiplied(row + x);
            }
        }
    }

    // Colours within [-alpha, alpha], alpha 0..4096.
    static void premultiplied(uint8_t *pixel) {
        int16_t px[4];
        std::memcpy(px, pixel, sizeof px);
        const int32_t a = static_cast<uint16_t>(px[3]) % 4097;
        for (int c = 0; c < 3; ++c)
            px[c] = static_cast<int16_t>(
                static_cast<int32_t>(static_cast<uint16_t>(px[c]) % (2 * a + 1)) - a);
        px[3] = static_cast<int16_t>(a);
        std::memcpy(pixel, px, sizeof px);
    }

    void fill_alpha(uint8_t fill, prng &rng) {
        uint8_t *p = alpha.buffer.data();
        const size_t n = alpha.buffer.size();
        switch ((fill >> 2) % 4) {
        case 1:
            random_bytes(p, n, rng);
            return;
        case 2:
            std::memset(p, 0, n);
            return;
        case 3:
            for (size_t i = 0; i + 1 < n; i += 2) p[i] = 0x00, p[i + 1] = 0x10; // 4096
            return;
        default:
            for (size_t i = 0; i + 1 < n; i += 2) {
                const uint16_t a = static_cast<uint16_t>(rng.next() % 4097);
                std::memcpy(p + i, &a, 2);
            }
            return;
        }
    }

    static void random_bytes(uint8_t *p, size_t n, prng &rng) {
        size_t i = 0;
        for (; i + 8 <= n; i += 8) {
            const uint64_t r = rng.next();
            std::memcpy(p + i, &r, 8);
        }
        for (; i < n; ++i) p[i] = static_cast<uint8_t>(rng.next());
    }
};

// Line selection (first line or phase, step or period), in and out of the
// contract: zero, negative and extreme values that overflow when scaled.
// Mode 7 asks for a split: the operation is drawn as `*split` calls, one
// per phase, and must give the bytes of the single call (0, 1).
inline void line_selection(byte_reader &in, int32_t *phase, int32_t *step, int32_t *split) {
    const uint8_t mode = in.u8();
    const int32_t a = in.i32(), b = in.i32();
    const int32_t small = 1 + (b & 7);
    *split = 0;
    switch (mode % 8) {
    case 1:
        *phase = a % 16;
        *step = small;
        break;
    case 2:
        *phase = a % 16;
        *step = -small;
        break;
    case 3:
        *phase = a % 16;
        *step = 0;
        break;
    case 4:
        *phase = a;
        *step = b;
        break;
    case 5:
        *phase = (a & 4) ? std::numeric_limits<int32_t>::max() - (a & 3)
                         : std::numeric_limits<int32_t>::min() + (a & 3);
        *step = small;
        break;
    case 6: {
        static const int32_t far_steps[] = {std::numeric_limits<int32_t>::max(),
                                            std::numeric_limits<int32_t>::min(), 0x30000000,
                                            -0x30000000, 715827883 /* 3x leaves int32 */};
        *phase = a % 16;
        *step = far_steps[static_cast<uint32_t>(b) % 5];
        break;
    }
    case 7:
        *phase = 0;
        *step = 1;
        *split = 2 + (b & 3);
        break;
    default:
        *phase = 0;
        *step = 1;
        break;
    }
}

// Draws `call(phase, period)` once per phase 0..split-1 (a phase one period
// below zero on odd phases: the same lines), keeps the result, then
// restores the destination and draws the single call (0, 1): both must
// give the same bytes.
// While alive, the padding and slack of the given images and buffers are
// poisoned for AddressSanitizer: wrap every call of the library in one.
class poisoned {
public:
    poisoned(std::initializer_list<const fuzz_image *> images,
             std::initializer_list<const guard_buffer *> buffers = {})
        : images_(images), buffers_(buffers) {
        set(true);
    }
    ~poisoned() { set(false); }
    poisoned(const poisoned &) = delete;
    poisoned &operator=(const poisoned &) = delete;

private:
    void set(bool on) const {
        for (const fuzz_image *image : images_)
            if (image) image->poison_padding(on);
        for (const guard_buffer *buffer : buffers_) buffer->poison_slack(on);
    }
    std::vector<const fuzz_image *> images_;
    std::vector<const guard_buffer *> buffers_;
};

inline bool verbose() {
    static const bool on = std::getenv("TOVREL_FUZZ_VERBOSE") != nullptr;
    return on;
}

// Where two plane contents first differ, as line and byte in the line.
inline void print_difference(const char *what, const plane &p, const std::vector<uint8_t> &a,
                             const std::vector<uint8_t> &b) {
    size_t count = 0, first = a.size();
    for (size_t i = 0; i < a.size() && i < b.size(); ++i)
        if (a[i] != b[i]) first = count++ ? first : i;
    if (count == 0) return;
    const int64_t step = p.pitch < 0 ? -static_cast<int64_t>(p.pitch) : p.pitch;
    const int64_t from_line0 = static_cast<int64_t>(first) - (p.line0 - p.buffer.data());
    const int64_t line = step ? from_line0 / p.pitch : 0;
    std::printf("%s: %zu bytes differ, first at line %lld byte %lld (%u vs %u)\n", what, count,
                static_cast<long long>(line),
                static_cast<long long>(step ? from_line0 - line * p.pitch : from_line0), a[first],
                b[first]);
}

inline void print_image(const char *name, const fuzz_image &image) {
    const image_descriptor &d = image.desc;
    std::printf("%s: %dx%d format %u mode %u pitch %d alpha_kind %u alpha_pitch %d origin "
                "(%d, %d)%s%s\n",
                name, d.width, d.height, d.format, d.alpha_mode, d.pitch, d.alpha_kind,
                d.alpha_pitch, d.origin_x, d.origin_y, d.pixels ? "" : " null pixels",
                d.alpha ? "" : " null alpha");
}

// Redraws from the destination as it was before the first call with
// `call()`, an input that must act exactly like the first call's (bits that
// are not read, a field flag that loses to the other), and demands the
// same bytes. Leaves the destination as `call()` drew it.
template <typename Call>
void check_equivalent(fuzz_image &dst, const char *what, Call call) {
    const std::vector<uint8_t> colour = dst.colour.contents(), alpha = dst.alpha.contents();
    dst.restore();
    call();
    if (colour == dst.colour.contents() && alpha == dst.alpha.contents()) return;
    if (verbose()) {
        print_difference("colour (first call vs equivalent)", dst.colour, colour,
                         dst.colour.contents());
        print_difference("alpha (first call vs equivalent)", dst.alpha, alpha,
                         dst.alpha.contents());
    }
    fail(what);
}

// The flags map_rectangle reads: bits 4, 8, 16, 64 and 128 of the low
// byte, a top field flag winning over the bottom one.
inline uint32_t rect_flags_read(uint32_t flags) {
    uint32_t f = flags & 0xDCu;
    if (f & RECT_SRC_FIELD_TOP) f &= ~static_cast<uint32_t>(RECT_SRC_FIELD_BOTTOM);
    if (f & RECT_DST_FIELD_TOP) f &= ~static_cast<uint32_t>(RECT_DST_FIELD_BOTTOM);
    return f;
}

// From the destination as it was before the first call: draws
// `call(phase, period)` once per phase 0..split-1 (a phase one period below
// zero on odd phases: the same lines), keeps the result, then restores the
// destination and draws the single call (0, 1): both must give the same
// bytes (unless the destination's lines share their bytes, where the
// order of drawing decides).
template <typename Call>
void check_split(fuzz_image &dst, int32_t split, Call call) {
    if (dst.colour.lines_alias() || dst.alpha.lines_alias()) return; // order decides
    dst.restore();
    for (int32_t k = 0; k < split; ++k) call((k & 1) ? k - split : k, split);
    const std::vector<uint8_t> colour = dst.colour.contents(), alpha = dst.alpha.contents();
    dst.restore();
    call(0, 1);
    if (colour == dst.colour.contents() && alpha == dst.alpha.contents()) return;
    if (verbose()) {
        std::printf("split into %d phases\n", split);
        print_difference("colour (phases vs one call)", dst.colour, colour, dst.colour.contents());
        print_difference("alpha (phases vs one call)", dst.alpha, alpha, dst.alpha.contents());
    }
    fail("drawing by line phases differs from one call");
}

// The report sink: every line must be one whole, non-empty, printable
// message ending in a single "\n".
struct report_log {
    int lines = 0;
    char last[128] = {};
};

inline report_log g_reports;

inline void TOVREL_CALL fuzz_report_sink(const char *line, void *user) {
    auto *log = static_cast<report_log *>(user);
    if (!line) fail("report sink received a null line");
    const size_t n = std::strlen(line);
    if (n < 2 || line[n - 1] != '\n') fail("report line does not end in a newline");
    for (size_t i = 0; i + 1 < n; ++i) {
        const unsigned char c = static_cast<unsigned char>(line[i]);
        if (c == '\n' || c < 0x20 || c > 0x7E) fail("report line holds a control character");
    }
    ++log->lines;
    std::snprintf(log->last, sizeof log->last, "%s", line);
}

inline void install_sink() {
    tovrel_set_report_sink(fuzz_report_sink, &g_reports);
}

// The checks after a call: no write outside the destination's lines; a
// call that reported (where a report means a refusal of the whole call) or
// that must draw nothing left the destination as it was. With
// TOVREL_FUZZ_VERBOSE set, one line per input tells what the call did
// (for judging what a corpus reaches).
inline void check_destination(const fuzz_image &dst, int reports_before, bool must_not_draw,
                              bool report_refuses_all = true) {
    const bool reported = g_reports.lines != reports_before;
    if (verbose())
        std::printf("outcome: %s%s",
                    reported          ? "reported "
                    : dst.unchanged() ? "unchanged\n"
                                      : "drew\n",
                    reported ? g_reports.last : "");
    if (!dst.writes_confined()) fail("write outside the destination's lines");
    if (report_refuses_all && reported && !dst.unchanged())
        fail("destination changed by a call that reported");
    if (must_not_draw && !dst.unchanged()) fail("destination changed by a call that draws nothing");
}

} // namespace tovrel_fuzz
