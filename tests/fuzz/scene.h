// Scenes from bytes: a reader that turns an input into values (front to
// back, zeros once it runs out), images derived from those values in
// page-fenced buffers, and the three operations' scenes decoded from it.
// The fuzz targets decode the fuzzer's inputs with it, the golden corpus
// its seeds and numbered cases: one way to build a scene. The seeds under
// corpus/ are valid scenes of every family, alpha combination, field,
// tiling and line selection, and a few refusals; a new one is an input of
// the golden generator's writer (tests/golden/corpus.cpp) or of a fuzz run.
#pragma once

#include <tovrel.h>

#if defined(_WIN32)
#ifndef NOMINMAX
#define NOMINMAX
#endif
#define WIN32_LEAN_AND_MEAN
#include <windows.h>
#else
#include <sys/mman.h>
#include <unistd.h>
#endif

#include <algorithm>
#include <bit>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <iterator>
#include <limits>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#if __has_include(<sanitizer/asan_interface.h>)
#include <sanitizer/asan_interface.h>
#endif
#ifndef ASAN_POISON_MEMORY_REGION
#define ASAN_POISON_MEMORY_REGION(addr, size) ((void)(addr), (void)(size))
#define ASAN_UNPOISON_MEMORY_REGION(addr, size) ((void)(addr), (void)(size))
#endif

namespace tovrel_fuzz {

// Marks bytes that the library has no business touching for Address-
// Sanitizer (while a call runs), so that a read of them is reported too.
// Granules that are only partly inside keep their other bytes usable.
inline void set_poison(const uint8_t *p, size_t n, bool on) {
    if (n != 0 && on) ASAN_POISON_MEMORY_REGION(p, n);
    if (n != 0 && !on) ASAN_UNPOISON_MEMORY_REGION(p, n);
}

[[noreturn]] inline void fail(const char *what) {
    std::fflush(stdout);
    std::fprintf(stderr, "fuzz property violated: %s\n", what);
    std::fflush(stderr);
    __builtin_trap();
}

// Pages of the guarded buffers, the same calls on both platforms.
#if defined(_WIN32)
inline size_t page_size() {
    SYSTEM_INFO info;
    GetSystemInfo(&info);
    return static_cast<size_t>(info.dwPageSize);
}
inline uint8_t *map_fenced(size_t n) {
    return static_cast<uint8_t *>(
        VirtualAlloc(nullptr, n, MEM_RESERVE | MEM_COMMIT, PAGE_NOACCESS));
}
inline bool protect_pages(uint8_t *p, size_t n, bool writable) {
    DWORD old;
    return VirtualProtect(p, n, writable ? PAGE_READWRITE : PAGE_READONLY, &old);
}
inline void unmap_pages(uint8_t *p, size_t) {
    VirtualFree(p, 0, MEM_RELEASE);
}
#else
inline size_t page_size() {
    return static_cast<size_t>(sysconf(_SC_PAGESIZE));
}
inline uint8_t *map_fenced(size_t n) {
    void *m = mmap(nullptr, n, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    return m == MAP_FAILED ? nullptr : static_cast<uint8_t *>(m);
}
inline bool protect_pages(uint8_t *p, size_t n, bool writable) {
    return mprotect(p, n, writable ? PROT_READ | PROT_WRITE : PROT_READ) == 0;
}
inline void unmap_pages(uint8_t *p, size_t n) {
    munmap(p, n);
}
#endif

// A byte buffer fenced by inaccessible pages: one stray read or write just
// before or just after it faults at once, and so does one up to a MiB off
// (a stray row of a large pitch), whatever else the process has mapped.
// The buffer sits against one of its fences; the slack between it and the
// other fence (less than a page) is filled with a pattern so that stray
// writes there are seen as well.
class guard_buffer {
public:
    // `against_end`: the last byte touches the end fence; otherwise the
    // first byte touches the start fence. A size of 0 gives a pointer on a
    // fence: any access through it faults.
    explicit guard_buffer(size_t size = 0, bool against_end = true) { reset(size, against_end); }
    ~guard_buffer() { release(); }
    guard_buffer(const guard_buffer &) = delete;
    guard_buffer &operator=(const guard_buffer &) = delete;

    void reset(size_t size, bool against_end) {
        release();
        const size_t page = page_size();
        inner_size_ = (size + page - 1) / page * page;
        uint8_t *m = map_fenced(inner_size_ + 2 * fence());
        if (m == nullptr) fail("mapping of a guarded buffer");
        inner_ = m + fence();
        protect(true);
        size_ = size;
        data_ = against_end ? inner_ + inner_size_ - size : inner_;
        std::memset(inner_, slack_byte, inner_size_);
    }

    // A read-only copy of `n` bytes against the end fence (vertex and
    // source lists).
    void hold(const void *p, size_t n) {
        reset(n, true);
        if (n != 0) std::memcpy(data_, p, n);
        make_read_only();
    }

    uint8_t *data() const { return data_; }
    size_t size() const { return size_; }

    // Makes the whole buffer read-only (sources: a write faults).
    void make_read_only() { protect(false); }

    // True when the bytes between the buffer and the far fence still hold
    // the fill pattern.
    bool slack_intact() const {
        const auto slack = [](uint8_t b) { return b == slack_byte; };
        return std::all_of(inner_, data_, slack) &&
               std::all_of(data_ + size_, inner_ + inner_size_, slack);
    }

    // The slack between the buffer and the far fence.
    void poison_slack(bool on) const {
        set_poison(inner_, static_cast<size_t>(data_ - inner_), on);
        set_poison(data_ + size_, static_cast<size_t>(inner_ + inner_size_ - (data_ + size_)), on);
    }

    static constexpr uint8_t slack_byte = 0xA5;

private:
    void protect(bool writable) {
        if (inner_size_ != 0 && !protect_pages(inner_, inner_size_, writable))
            fail("protection of a guarded buffer");
    }
    void release() {
        if (inner_) unmap_pages(inner_ - fence(), inner_size_ + 2 * fence());
        inner_ = data_ = nullptr;
        inner_size_ = size_ = 0;
    }

    // Bytes of each fence: 1 MiB of whole pages.
    static size_t fence() {
        return ((size_t{1} << 20) + page_size() - 1) / page_size() * page_size();
    }

    uint8_t *inner_ = nullptr, *data_ = nullptr; // mapping: one fence before inner_
    size_t inner_size_ = 0, size_ = 0;
};

struct byte_reader {
    const uint8_t *data;
    size_t size, pos = 0;

    uint8_t u8() { return pos < size ? data[pos++] : 0; }
    uint16_t u16() { return static_cast<uint16_t>(u8() | u8() << 8); }
    uint32_t u32() { return static_cast<uint32_t>(u16()) | static_cast<uint32_t>(u16()) << 16; }
    uint64_t u64() { return static_cast<uint64_t>(u32()) | static_cast<uint64_t>(u32()) << 32; }
    int16_t i16() { return static_cast<int16_t>(u16()); }
    int32_t i32() { return static_cast<int32_t>(u32()); }
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

// Hard coordinates: non-finite, huge, denormal, fixed-point edges.
// +-524288 times 4096, +-174763 times 12288 and +-1048576 times 2048 leave
// int32; +-3.5e38 is finite as a double but infinite as a float.
constexpr float nan_f = std::numeric_limits<float>::quiet_NaN(),
                inf_f = std::numeric_limits<float>::infinity(),
                max_f = std::numeric_limits<float>::max(),
                min_f = std::numeric_limits<float>::min();
inline constexpr float hard_floats[] = {
    nan_f,      -nan_f,    inf_f,      -inf_f,     0.0f,        -0.0f,       0.5f,
    1e-7f,      1e-40f,    max_f,      -max_f,     min_f,       1e30f,       -1e30f,
    3e9f,       -3e9f,     8192.0f,    8192.5f,    32768.0f,    65536.0f,    524288.0f,
    -524288.0f, 174763.0f, -174763.0f, 1048576.0f, -1048576.0f, 16777216.0f, 1.0f};
inline constexpr double hard_doubles[] = {
    nan_f,   inf_f,    -inf_f,    0.0,       -0.0,         0.5,           1e-320, 1e-300,
    1e300,   -1e300,   3e9,       -3e9,      3.5e38,       -3.5e38,       8192.0, 8192.5,
    65536.0, 524288.0, -524288.0, 1048576.0, 2147483648.0, -2147483649.0, 1.0};

// A coordinate (float or double) of one of four kinds chosen by two bits of
// the input: a coarse in-range value, a fine fractional value, a hard value
// or the raw bit pattern.
template <typename T>
T coordinate(byte_reader &in, unsigned kind, T coarse_scale) {
    if ((kind & 3) == 0) return static_cast<T>(in.i16()) / coarse_scale;
    if ((kind & 3) == 1) return static_cast<T>(in.i32() % (1 << 25)) / static_cast<T>(65536);
    if ((kind & 3) == 2) {
        const uint8_t i = in.u8();
        if constexpr (sizeof(T) == 4)
            return hard_floats[i % std::size(hard_floats)];
        else
            return hard_doubles[i % std::size(hard_doubles)];
    }
    using bits = std::conditional_t<sizeof(T) == 4, uint32_t, uint64_t>;
    return std::bit_cast<T>(static_cast<bits>(sizeof(T) == 4 ? in.u32() : in.u64()));
}

// The formats by code: name, bytes per pixel, the unit pitch padding comes
// in, whether lines hold whole 4:2:2 pixel pairs, and the signed 16-bit
// four-component family. Codes that name no format take 8 bytes, unit 2.
struct format_info {
    uint8_t code;
    const char *name;
    int32_t bytes, unit;
    bool pairs, s16;
};
inline constexpr format_info formats[] = {{TOVREL_FORMAT_RGBQ, "RGBQ", 4, 4, false, false},
                                          {TOVREL_FORMAT_YUY2, "YUY2", 2, 2, true, false},
                                          {TOVREL_FORMAT_WORD, "word", 2, 2, false, false},
                                          {TOVREL_FORMAT_YUVQ, "yuvq", 4, 4, false, false},
                                          {TOVREL_FORMAT_W210, "W210", 4, 2, true, false},
                                          {TOVREL_FORMAT_S16X4A, "S16X4A", 8, 2, false, true},
                                          {TOVREL_FORMAT_S16X4, "S16X4", 8, 2, false, true}};
inline format_info format_of(uint8_t code) {
    for (const format_info &f : formats)
        if (f.code == code) return f;
    return {code, nullptr, 8, 2, false, false};
}
inline int32_t bytes_per_pixel(uint8_t f) {
    return format_of(f).bytes;
}

// Appends printf-style to a one-line description.
inline void appendf(std::string &s, const char *format, ...) __attribute__((format(printf, 2, 3)));
inline void appendf(std::string &s, const char *format, ...) {
    char buffer[256];
    va_list args;
    va_start(args, format);
    std::vsnprintf(buffer, sizeof buffer, format, args);
    va_end(args);
    s += buffer;
}

// One plane (colour or alpha) in a guarded buffer. Lines are `row_bytes`
// long; `pitch` may be negative, zero (every line on the same bytes) or
// padded. `line0` is what the descriptor receives.
struct plane {
    guard_buffer buffer;
    uint8_t *line0 = nullptr;
    int32_t pitch = 0, row_bytes = 0, lines = 0;
    std::vector<uint8_t> before;

    size_t step() const { return static_cast<size_t>(pitch < 0 ? -int64_t{pitch} : pitch); }

    // Layout from two input bytes; `unit` is the sample alignment. Pitch
    // kinds: 1 negative, 2 padded by `pad` units, 3 both, 4 zero, 5 far
    // (+-2^30, one line only, so only line 0 may be touched), else packed.
    // A plane that is not `present` must not be touched: it is null (when
    // `null` or bit 7 of the kind is set) or a pointer onto a fence, with
    // `absent_pitch` as its pitch.
    void build(bool present, bool null, int32_t row, int32_t height, uint8_t pitch_kind,
               uint8_t pad, int32_t unit, int32_t absent_pitch) {
        row_bytes = present ? row : 0;
        lines = present ? height : 0;
        if (!present) {
            buffer.reset(0, true);
            line0 = null || (pitch_kind & 0x80) ? nullptr : buffer.data();
            pitch = absent_pitch;
            return;
        }
        const int32_t padded = row + unit * pad, k = pitch_kind & 7;
        if (k == 5 && height == 1)
            pitch = (pad & 1) ? -0x40000000 : 0x40000000;
        else
            pitch = k == 1 ? -row : k == 2 ? padded : k == 3 ? -padded : k == 4 ? 0 : row;
        const bool negative = pitch < 0;
        // Positive pitches run into the end fence, negative ones into the
        // start fence; bit 3 swaps the sides.
        buffer.reset(static_cast<size_t>(height - 1) * step() + row,
                     negative == ((pitch_kind & 8) != 0));
        line0 = negative ? buffer.data() + (height - 1) * step() : buffer.data();
    }

    // `f(offset, length)` for the pitch padding after every line but the
    // last one in memory.
    template <typename F>
    void each_padding(F f) const {
        const size_t row = static_cast<size_t>(row_bytes), gap = step() - row;
        if (lines <= 1 || pitch == 0 || step() <= row) return;
        for (size_t at = row; at + gap <= buffer.size(); at += step()) f(at, gap);
    }

    // Pitch padding and slack, poisoned while the library runs.
    void poison_padding(bool on) const {
        buffer.poison_slack(on);
        each_padding([&](size_t at, size_t n) { set_poison(buffer.data() + at, n, on); });
    }

    // Pitch 0: every line on the same bytes, so the order of drawing shows.
    bool lines_alias() const { return lines > 1 && pitch == 0; }

    void snapshot() { before = contents(); }
    void restore() { std::copy(before.begin(), before.end(), buffer.data()); }
    std::vector<uint8_t> contents() const {
        return std::vector<uint8_t>(buffer.data(), buffer.data() + buffer.size());
    }
    bool unchanged() const { return contents() == before; }

    // Every changed byte lies inside a line (no writes into pitch padding
    // or past the buffer's ends).
    bool writes_confined() const {
        bool ok = buffer.slack_intact();
        if (!before.empty())
            each_padding([&](size_t at, size_t n) {
                ok = ok && std::memcmp(buffer.data() + at, before.data() + at, n) == 0;
            });
        return ok;
    }
};

// Everything an image is made of, in the order read from the input.
struct image_plan {
    uint8_t format, size_kind;
    uint16_t w_raw, h_raw;
    uint8_t pitch_kind, pad, alpha_kind_sel, alpha_mode, alpha_pitch_kind, alpha_pad, fill;
    uint32_t seed;

    // A braced list is evaluated left to right: the fields in input order.
    static image_plan read(byte_reader &in) {
        return {in.u8(), in.u8(), in.u16(), in.u16(), in.u8(), in.u8(),
                in.u8(), in.u8(), in.u8(),  in.u8(),  in.u8(), in.u32()};
    }

    // Codes 0..12 mostly; bytes from 0xF0 up stay as they are (far codes).
    uint8_t format_code() const { return format >= 0xF0 ? format : format % 13; }

    // Size kinds 11..15: width 0 or negative, height 0 or negative, around
    // 8192 wide, tall, past the 16.16 limit; below 11: 1..320 each way.
    void size(int32_t *width, int32_t *height) const {
        const int k = size_kind % 16 < 11 ? 0 : size_kind % 16 - 10;
        const int32_t widths[] = {1 + w_raw % 320,   -(w_raw % 5),  1 + w_raw % 320,
                                  8180 + w_raw % 40, 1 + w_raw % 3, 32760 + w_raw % 40000};
        const int32_t heights[] = {1 + h_raw % 320, 1 + h_raw % 320,  -(h_raw % 5),
                                   1 + h_raw % 3,   1 + h_raw % 2000, 1 + h_raw % 2};
        *width = widths[k];
        *height = heights[k];
    }

    uint32_t alpha_kind() const {
        static const uint32_t odd[] = {1, 2, 4, 5, 0x80000003u, 0xFFFFFFFFu, 0x103u, 0xFFu};
        const unsigned k = alpha_kind_sel % 8;
        return k < 3   ? TOVREL_ALPHA_NONE
               : k < 6 ? TOVREL_ALPHA_W12B
                       : odd[(alpha_kind_sel >> 3) % 8];
    }

    uint8_t mode_byte() const {
        const uint8_t known[] = {TOVREL_ALPHA_STRAIGHT, TOVREL_ALPHA_PREMULTIPLIED};
        return alpha_mode % 4 < 2 ? known[alpha_mode % 4] : alpha_mode;
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
    plane colour, alpha;
    null_choice nulls;

    // any_alpha_kind: the call reads an alpha plane for every alpha kind
    // but none (the destination of a yuvq rectangle), not only for w12b.
    void build(const image_plan &s, uint8_t layout, null_choice n, bool any_alpha_kind = false) {
        nulls = n;
        int32_t width, height;
        s.size(&width, &height);
        desc = image_descriptor{};
        desc.width = width, desc.height = height, desc.format = s.format_code();
        desc.alpha_mode = s.mode_byte(), desc.alpha_kind = s.alpha_kind();
        desc.reserved0 = 0xDEAD, desc.reserved1 = 0xDEADBEEF;
        prng rng{s.seed};
        const bool valid = width > 0 && height > 0;
        const format_info f = format_of(layout);
        // 4:2:2 lines hold whole pixel pairs, also for odd widths. A plane
        // that is not there still gets some pitch.
        colour.build(valid && !n.pixels(), n.pixels(),
                     (f.pairs ? (width + 1) & ~1 : width) * f.bytes, height, s.pitch_kind, s.pad,
                     f.unit, s.pad * 4 - 512);
        if (colour.lines > 0) fill_colour(layout, s.fill, rng);
        const bool plane = desc.alpha_kind == TOVREL_ALPHA_W12B ||
                           (any_alpha_kind && desc.alpha_kind != TOVREL_ALPHA_NONE);
        alpha.build(plane && valid && !n.alpha(), n.alpha(), width * 2, height, s.alpha_pitch_kind,
                    s.alpha_pad, 2, s.alpha_pad * 2 - 256);
        if (alpha.lines > 0) fill_alpha(s.fill, rng);
        desc.pixels = colour.line0, desc.pitch = colour.pitch;
        desc.alpha = alpha.line0, desc.alpha_pitch = alpha.pitch;
    }

    // What the call receives: the descriptor, or null when chosen so.
    const image_descriptor *arg() const { return nulls.descriptor() ? nullptr : &desc; }
    // A null the call cannot do without: it must draw nothing. A w12b
    // plane is one unless the call never reads it (alpha_read false).
    bool vital_null(bool alpha_read = true) const {
        return nulls.descriptor() || nulls.pixels() ||
               (alpha_read && nulls.alpha() && desc.alpha_kind == TOVREL_ALPHA_W12B);
    }

    // A source is only read: any write into it faults.
    void protect() { colour.buffer.make_read_only(), alpha.buffer.make_read_only(); }
    void snapshot() { colour.snapshot(), alpha.snapshot(); }
    void restore() { colour.restore(), alpha.restore(); }
    bool unchanged() const { return colour.unchanged() && alpha.unchanged(); }
    void poison_padding(bool on) const { colour.poison_padding(on), alpha.poison_padding(on); }
    bool writes_confined() const { return colour.writes_confined() && alpha.writes_confined(); }

    // " <name> <format> WxH p<pitch> a<alpha kind> m<mode>", the alpha
    // pitch, origin and nulls where they matter.
    void describe(std::string &s, const char *name) const {
        const image_descriptor &d = desc;
        if (const char *format = format_of(d.format).name)
            appendf(s, " %s %s", name, format);
        else
            appendf(s, " %s format%u", name, d.format);
        appendf(s, " %dx%d p%d a%u m%u", d.width, d.height, d.pitch, d.alpha_kind, d.alpha_mode);
        if (d.alpha_kind != TOVREL_ALPHA_NONE) appendf(s, " ap%d", d.alpha_pitch);
        if (d.origin_x != 0 || d.origin_y != 0) appendf(s, " at %d,%d", d.origin_x, d.origin_y);
        if (nulls.descriptor() || !d.pixels || (!d.alpha && d.alpha_kind != TOVREL_ALPHA_NONE))
            appendf(s, " null%s%s%s", nulls.descriptor() ? " descriptor" : "",
                    d.pixels ? "" : " pixels", d.alpha ? "" : " alpha");
    }

private:
    // Fill kinds: 0 values inside each format's range (10-bit W210, alpha
    // 0..4096, S16X4A colours within their alpha), 1 random bytes, 2 zeros,
    // 3 all ones.
    void fill_colour(uint8_t layout, uint8_t fill, prng &rng) {
        uint8_t *p = colour.buffer.data();
        const size_t n = colour.buffer.size();
        if (fill % 4 >= 2) return (void)std::memset(p, fill % 4 == 2 ? 0 : 0xFF, n);
        random_bytes(p, n, rng);
        if (fill % 4 == 1) return;
        if (layout == TOVREL_FORMAT_W210)
            for (size_t i = 0; i + 1 < n; i += 2) p[i + 1] &= 0x03;
        if (layout != TOVREL_FORMAT_S16X4A) return;
        for (int32_t y = 0; y < colour.lines; ++y) {
            uint8_t *row = colour.line0 + static_cast<ptrdiff_t>(y) * colour.pitch;
            for (int32_t x = 0; x + 8 <= colour.row_bytes; x += 8) premultiplied(row + x);
        }
    }

    // Colours within [-alpha, alpha], alpha 0..4096.
    static void premultiplied(uint8_t *pixel) {
        uint16_t px[4];
        std::memcpy(px, pixel, sizeof px);
        const int32_t a = px[3] % 4097;
        for (int c = 0; c < 3; ++c) px[c] = static_cast<uint16_t>(px[c] % (2 * a + 1) - a);
        px[3] = static_cast<uint16_t>(a);
        std::memcpy(pixel, px, sizeof px);
    }

    // Alpha fill kinds: 0 random within 0..4096, 1 random bytes, 2 zeros,
    // 3 all 4096.
    void fill_alpha(uint8_t fill, prng &rng) {
        uint8_t *p = alpha.buffer.data();
        const size_t n = alpha.buffer.size();
        const int kind = (fill >> 2) % 4;
        if (kind == 1) return random_bytes(p, n, rng);
        if (kind == 2) return (void)std::memset(p, 0, n);
        for (size_t i = 0; i + 1 < n; i += 2) {
            const uint16_t a = static_cast<uint16_t>(kind == 3 ? 4096 : rng.next() % 4097);
            std::memcpy(p + i, &a, 2);
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

// The destination is laid out in the format the call writes: the source's
// for RGBQ, YUY2, W210 (and word, for polygons) sources, its own otherwise
// (S16X4A/S16X4 polygon sources, yuvq rectangle sources).
inline uint8_t destination_layout(uint8_t src, uint8_t dst, bool polygon) {
    const bool source_layout = src == TOVREL_FORMAT_RGBQ || src == TOVREL_FORMAT_YUY2 ||
                               src == TOVREL_FORMAT_W210 || (polygon && src == TOVREL_FORMAT_WORD);
    return source_layout ? src : dst;
}

// Reads the destination's plan, then the source's, and builds both: the
// source read-only in its own layout.
inline void build_pair(byte_reader &in, fuzz_image &dst, fuzz_image &src, null_choice nulls,
                       bool polygon) {
    const image_plan d = image_plan::read(in), s = image_plan::read(in);
    src.build(s, s.format_code(), nulls.for_source());
    src.protect();
    dst.build(d, destination_layout(s.format_code(), d.format_code(), polygon),
              nulls.for_destination(), !polygon && s.format_code() == TOVREL_FORMAT_YUVQ);
}

// The values every call reads first: flags (the low byte; a second byte
// with its top bit set gives bits 24..31), the null choice, and the line
// selection (first line or phase, step or period), in and out of the
// contract: zero, negative and extreme values that overflow when scaled.
// Mode 7 asks for a split: the operation is also drawn as `split` calls,
// one per phase, and must give the bytes of the single call (0, 1).
struct call_input {
    uint32_t flags;
    null_choice nulls;
    int32_t phase, step, split;

    explicit call_input(byte_reader &in) {
        flags = in.u8();
        const uint8_t high = in.u8();
        if (high & 0x80) flags |= static_cast<uint32_t>(high) << 24;
        nulls = null_choice(in.u8(), high);
        const int mode = in.u8() % 8;
        const int32_t a = in.i32(), b = in.i32(), small = 1 + (b & 7);
        static const int32_t far_steps[] = {INT32_MAX, INT32_MIN, 0x30000000, -0x30000000,
                                            715827883 /* 3x leaves int32 */};
        const int32_t edge = (a & 4) ? INT32_MAX - (a & 3) : INT32_MIN + (a & 3);
        // Modes: 0 plain, 1..3 step small, -small, 0, 4 raw, 5 phase at the
        // int32 ends, 6 far step, 7 split.
        const int32_t phases[8] = {0, a % 16, a % 16, a % 16, a, edge, a % 16, 0};
        const int32_t steps[8] = {1, small, -small, 0, b, small, far_steps[uint32_t(b) % 5], 1};
        phase = phases[mode];
        step = steps[mode];
        split = mode == 7 ? 2 + (b & 3) : 0;
    }

    void describe(std::string &s) const {
        appendf(s, " flags 0x%x lines %d/%d", flags, phase, step);
        if (split != 0) appendf(s, " split %d", split);
        if (nulls.mask != 0) appendf(s, " nulls 0x%x%s", nulls.mask, nulls.on_source ? " src" : "");
    }
};

// The two rectangles (destination x0 y0 x1 y1, source x0 y0 x1 y1) as
// floats or doubles. Input: a u16 of value kinds (2 bits per coordinate)
// and the eight values.
template <typename T>
struct rectangles {
    T x[8];
    void read(byte_reader &in) {
        const uint16_t kinds = in.u16();
        for (int i = 0; i < 8; ++i) x[i] = coordinate(in, kinds >> (2 * i), T{32});
    }
    void describe(std::string &s) const {
        for (int i = 0; i < 8; ++i)
            appendf(s, "%s%.*g%s",
                    i % 4 ? " "
                    : i   ? " <- ["
                          : " [",
                    sizeof(T) == 4 ? 9 : 17, static_cast<double>(x[i]), i % 4 == 3 ? "]" : "");
    }
};

// map_polygon's scene. Input: the call's values (call_input), vertex count
// (u8), destination and source image plans, then per vertex a u16 of value
// kinds (2 bits per field u, v, w, x, y) and the values.
struct polygon_scene {
    call_input c;
    int32_t vertex_count;
    fuzz_image dst, src;
    guard_buffer vertex_memory;

    explicit polygon_scene(byte_reader &in) : c(in) {
        static_assert(sizeof(map_vertex) == 5 * sizeof(float));
        const uint8_t count_raw = in.u8();
        vertex_count = count_raw == 0xFF ? INT32_MIN : count_raw % 44 - 3; // -3..40
        build_pair(in, dst, src, c.nulls, true);
        std::vector<map_vertex> v(stored());
        for (map_vertex &m : v) {
            const uint16_t k = in.u16();
            float f[5]; // u, v, w, x, y
            for (int j = 0; j < 5; ++j) {
                const unsigned kind = (k >> (2 * j)) & 3;
                f[j] = j == 2 && kind == 0   ? 1.0f
                       : j == 2 && kind == 1 ? static_cast<float>(1 + in.u32() % 4096) / 256.0f
                                             : coordinate(in, kind, 64.0f);
            }
            std::memcpy(&m, f, sizeof f);
        }
        vertex_memory.hold(v.data(), v.size() * sizeof(map_vertex));
    }
    size_t stored() const { return vertex_count > 0 ? static_cast<size_t>(vertex_count) : 0; }
    map_vertex *vertices() const { return reinterpret_cast<map_vertex *>(vertex_memory.data()); }
    // One call, with the padding and slack of every buffer poisoned.
    int32_t draw(uint32_t flags, int32_t first, int32_t step) const {
        poison(true);
        const int32_t result =
            map_polygon(dst.arg(), src.arg(), c.nulls.other() ? nullptr : vertices(), vertex_count,
                        flags, first, step);
        poison(false);
        return result;
    }
    void poison(bool on) const {
        dst.poison_padding(on), src.poison_padding(on), vertex_memory.poison_slack(on);
    }
    void describe_sources(std::string &s) const {
        src.describe(s, "<- src");
        appendf(s, " vertices %d", vertex_count);
        for (size_t i = 0; i < stored(); ++i) {
            const map_vertex &v = vertices()[i];
            appendf(s, " [%.9g %.9g %.9g %.9g %.9g]", v.u, v.v, v.w, v.x, v.y);
        }
    }
};

// map_rectangle's scene. Input: the call's values, destination and source
// image plans and the rectangles.
struct rect_scene {
    call_input c;
    fuzz_image dst, src;
    rectangles<float> r;

    explicit rect_scene(byte_reader &in) : c(in) {
        build_pair(in, dst, src, c.nulls, false);
        r.read(in);
    }
    void draw(uint32_t flags, int32_t phase, int32_t period) const {
        poison(true);
        const float *x = r.x;
        map_rectangle(dst.arg(), x[0], x[1], x[2], x[3], src.arg(), x[4], x[5], x[6], x[7], flags,
                      phase, period);
        poison(false);
    }
    void poison(bool on) const { dst.poison_padding(on), src.poison_padding(on); }
    void describe_sources(std::string &s) const {
        src.describe(s, "<- src");
        r.describe(s);
    }
};

// multisrc_map_rectangle's scene: up to six sources of one format at
// origins from the input (null entries included). Input: the call's values
// (nulls only on the destination and the list), source count (u8), the
// destination image plan, the rectangles, then per source an entry kind
// (u8), origin x and y (i32 each) and its image plan (its format byte is
// replaced by the first source's).
struct multisrc_scene {
    static constexpr int max_sources = 6;
    call_input c;
    int32_t source_count;
    fuzz_image dst, sources[max_sources];
    const image_descriptor *list[max_sources] = {};
    guard_buffer list_memory;
    rectangles<double> r;

    explicit multisrc_scene(byte_reader &in) : c(in) {
        c.nulls.on_source = false;
        const uint8_t count_raw = in.u8();
        source_count = count_raw == 0xFF ? INT32_MIN : count_raw % 9 - 2; // -2..6
        const image_plan dst_plan = image_plan::read(in);
        r.read(in);
        for (int i = 0; i < stored(); ++i) {
            const uint8_t kind = in.u8();
            const int32_t ox = in.i32(), oy = in.i32();
            image_plan plan = image_plan::read(in);
            if (i > 0) plan.format = sources[0].desc.format;
            // Kind 15: a null entry; from 16 on, origins far from the
            // plane's middle; below, origins within +-512.
            sources[i].build(plan, plan.format_code(), null_choice());
            sources[i].desc.origin_x = kind >= 16 ? ox : ox % 512;
            sources[i].desc.origin_y = kind >= 16 ? oy : oy % 512;
            sources[i].protect();
            list[i] = kind % 16 == 15 ? nullptr : &sources[i].desc;
        }
        list_memory.hold(list, static_cast<size_t>(stored()) * sizeof list[0]);
        const uint8_t first = stored() > 0 ? sources[0].desc.format : 0;
        dst.build(dst_plan, destination_layout(first, dst_plan.format_code(), false), c.nulls,
                  first == TOVREL_FORMAT_YUVQ);
    }
    int stored() const { return source_count > 0 ? source_count : 0; }
    void draw(uint32_t flags, int32_t phase, int32_t period) const {
        poison(true);
        const auto *const *list_arg =
            c.nulls.other() ? nullptr
                            : reinterpret_cast<const image_descriptor *const *>(list_memory.data());
        const double *x = r.x;
        multisrc_map_rectangle(dst.arg(), x[0], x[1], x[2], x[3], list_arg, source_count, x[4],
                               x[5], x[6], x[7], flags, phase, period);
        poison(false);
    }
    void poison(bool on) const {
        dst.poison_padding(on), list_memory.poison_slack(on);
        for (const fuzz_image &s : sources) s.poison_padding(on);
    }
    void describe_sources(std::string &s) const {
        appendf(s, " <- %d sources", source_count);
        for (int i = 0; i < stored(); ++i) sources[i].describe(s, list[i] ? "src" : "null-entry");
        r.describe(s);
    }
};

// One line: the call's values, the destination, then what it draws from.
template <typename Scene>
std::string describe(const Scene &scene) {
    std::string s;
    scene.c.describe(s);
    scene.dst.describe(s, "dst");
    scene.describe_sources(s);
    return s;
}

} // namespace tovrel_fuzz
