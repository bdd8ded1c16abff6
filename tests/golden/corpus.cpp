// Case generation and reduction of the golden corpus. Everything a case
// does follows from its number through one integer generator; floats are
// taken on grids of 1/16 and combined only by +, -, * and /, so a case is
// the same on every target. No libm call, no std:: distribution.
#include "corpus.h"

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <vector>

#include <xmmintrin.h>

#include <tovrel.h>

#include "polygon/dispatch.h"
#include "polygon/polygon_call.h"

namespace golden {
namespace {

// splitmix64: the whole state is the case number.
class rng {
public:
    explicit rng(uint64_t seed) : s_(seed) {}
    uint32_t next() {
        uint64_t z = (s_ += 0x9E3779B97F4A7C15ull);
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
        return static_cast<uint32_t>((z ^ (z >> 31)) >> 32);
    }
    int32_t range(int32_t lo, int32_t hi) {
        return lo + static_cast<int32_t>(next() % static_cast<uint32_t>(hi - lo + 1));
    }
    bool chance(int percent) { return static_cast<int>(next() % 100) < percent; }
    // A value in [lo, hi] on the grid of 1/16.
    float grid(float lo, float hi) {
        return static_cast<float>(
                   range(static_cast<int32_t>(lo * 16), static_cast<int32_t>(hi * 16))) /
               16.0f;
    }
    template <class T, size_t N>
    T pick(const T (&a)[N]) {
        return a[next() % N];
    }
    // 0 and max an eighth of the time each: the ends of every blend.
    uint32_t level(uint32_t max) {
        const uint32_t k = next() % 8;
        return k == 0 ? 0 : k == 1 ? max : next() % (max + 1);
    }

private:
    uint64_t s_;
};

enum class samples : uint8_t { bytes, word12, word10, s16, s16_alpha };

struct format_info {
    uint8_t code;
    const char *name;
    int32_t bytes; // per pixel, for addressing
    samples kind;
};

// The seven formats, then codes that name no format.
constexpr format_info formats[] = {
    {TOVREL_FORMAT_RGBQ, "RGBQ", 4, samples::bytes},
    {TOVREL_FORMAT_YUY2, "YUY2", 2, samples::bytes},
    {TOVREL_FORMAT_WORD, "word", 2, samples::word12},
    {TOVREL_FORMAT_YUVQ, "yuvq", 4, samples::bytes},
    {TOVREL_FORMAT_W210, "W210", 4, samples::word10},
    {TOVREL_FORMAT_S16X4A, "S16X4A", 8, samples::s16_alpha},
    {TOVREL_FORMAT_S16X4, "S16X4", 8, samples::s16},
    {0, "format0", 4, samples::bytes},
    {7, "format7", 4, samples::bytes},
    {12, "format12", 4, samples::bytes},
};
constexpr int32_t named_formats = 7;

const format_info &format_of(uint8_t code) {
    for (const format_info &f : formats)
        if (f.code == code) return f;
    return formats[named_formats];
}

const format_info &any_format(rng &r) {
    return formats[r.chance(96) ? r.range(0, named_formats - 1) : r.range(named_formats, 9)];
}

// Footprint slots whose members are packed (single-precision positions with
// the processor's approximate reciprocal), by texture format; a texture
// with alpha adds the word members that render its alpha plane.
constexpr uint32_t slots(std::initializer_list<int> list) {
    uint32_t m = 0;
    for (int s : list) m |= 1u << s;
    return m;
}
constexpr uint32_t all_slots = (1u << 21) - 1;
constexpr uint32_t word_packed = slots({1, 2, 6, 10, 11, 12, 13, 15, 16, 17, 18, 19, 20});

uint32_t packed_slots(const image_descriptor &src) {
    const bool alpha = src.alpha_kind == TOVREL_ALPHA_W12B;
    const uint32_t alpha_members = alpha ? word_packed : 0;
    switch (src.format) {
    case TOVREL_FORMAT_RGBQ:
        return slots({1, 2, 3, 4, 6, 11}) | alpha_members;
    case TOVREL_FORMAT_YUY2:
        return (all_slots & ~slots({10, 15, 17, 18, 19, 20})) | alpha_members;
    case TOVREL_FORMAT_W210:
        return (all_slots & ~slots({10, 15, 18, 20})) | alpha_members;
    case TOVREL_FORMAT_WORD:
        return word_packed;
    default:
        return 0; // S16X4A / S16X4: double-precision members only
    }
}

void appendf(std::string &s, const char *format, ...) __attribute__((format(printf, 2, 3)));
void appendf(std::string &s, const char *format, ...) {
    char buffer[256];
    va_list args;
    va_start(args, format);
    vsnprintf(buffer, sizeof buffer, format, args);
    va_end(args);
    s += buffer;
}

constexpr int32_t guard_bytes = 32;

// One plane: guard bytes, lines with padding, guard bytes; line 0 is the
// last line in memory when the pitch is negative.
struct plane {
    std::vector<uint8_t> bytes;
    int32_t pitch = 0;
    uint8_t *line0 = nullptr;

    void make(rng &r, int32_t row_bytes, int32_t lines) {
        const int32_t stride = row_bytes + (r.chance(50) ? 0 : 4 * r.range(1, 8));
        bytes.resize(static_cast<size_t>(stride) * lines + 2 * guard_bytes);
        for (size_t i = 0; i < bytes.size(); i += 4) {
            const uint32_t v = r.next();
            std::memcpy(&bytes[i], &v, std::min<size_t>(4, bytes.size() - i));
        }
        const bool upward = r.chance(25);
        pitch = upward ? -stride : stride;
        line0 =
            bytes.data() + guard_bytes + (upward ? static_cast<size_t>(stride) * (lines - 1) : 0);
    }
    uint8_t *line(int32_t y) { return line0 + static_cast<ptrdiff_t>(pitch) * y; }
};

void put16(uint8_t *p, uint32_t v) {
    const uint16_t w = static_cast<uint16_t>(v);
    std::memcpy(p, &w, 2);
}

void fill(rng &r, plane &p, int32_t width, int32_t lines, samples kind) {
    for (int32_t y = 0; y < lines; ++y) {
        uint8_t *row = p.line(y);
        switch (kind) {
        case samples::bytes:
            for (int32_t i = 0; i < width; ++i) row[i] = static_cast<uint8_t>(r.level(255));
            break;
        case samples::word12:
        case samples::word10:
            for (int32_t i = 0; i < width; i += 2)
                put16(row + i, r.level(kind == samples::word12 ? 4096 : 1023));
            break;
        case samples::s16:
        case samples::s16_alpha:
            for (int32_t i = 0; i < width; i += 8) {
                const uint32_t alpha = r.level(4096);
                for (int c = 0; c < 4; ++c)
                    put16(row + i + 2 * c, c == 3 && kind == samples::s16_alpha
                                               ? alpha
                                               : static_cast<uint32_t>(r.range(-4608, 4608)));
            }
            break;
        }
    }
}

struct image {
    image_descriptor desc{};
    plane colour, alpha;
};

// An image of format f: alpha plane (w12b, none, or an unknown kind with a
// plane anyway), straight or premultiplied, fields the operations do not
// read filled with noise.
void make_image(rng &r, image &im, const format_info &f, int32_t w, int32_t h, std::string &s) {
    constexpr uint32_t kinds[] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 3, 3, 3, 3, 3, 3, 3, 3, 3, 1};
    constexpr uint8_t modes[] = {0, 0, 1, 1, 2};
    image_descriptor &d = im.desc;
    d.origin_x = static_cast<int32_t>(r.next());
    d.origin_y = static_cast<int32_t>(r.next());
    d.width = w;
    d.height = h;
    d.format = f.code;
    d.alpha_mode = r.pick(modes);
    d.reserved0 = static_cast<uint16_t>(r.next());
    d.reserved1 = r.next();
    d.alpha_kind = r.pick(kinds);
    im.colour.make(r, w * f.bytes, h);
    fill(r, im.colour, w * f.bytes, h, f.kind);
    d.pixels = im.colour.line0;
    d.pitch = im.colour.pitch;
    if (d.alpha_kind != TOVREL_ALPHA_NONE) {
        im.alpha.make(r, w * 2, h);
        fill(r, im.alpha, w * 2, h, samples::word12);
        d.alpha = im.alpha.line0;
        d.alpha_pitch = im.alpha.pitch;
    }
    appendf(s, "%s %dx%d p%d a%u m%u", f.name, w, h, d.pitch, d.alpha_kind, d.alpha_mode);
    if (d.alpha_kind != TOVREL_ALPHA_NONE) appendf(s, " ap%d", d.alpha_pitch);
}

int32_t size(rng &r) {
    constexpr int32_t small[] = {1, 2, 3, 4, 5, 6, 7, 8};
    const int32_t k = r.range(0, 9);
    return k < 2 ? r.pick(small) : k < 5 ? r.range(4, 12) : r.range(8, 40);
}

// Widths of 4:2:2 images are mostly even: odd ones are refused by polygons.
int32_t width_for(rng &r, const format_info &f) {
    const int32_t w = size(r);
    const bool pairs = f.code == TOVREL_FORMAT_YUY2 || f.code == TOVREL_FORMAT_W210;
    return pairs && (w & 1) && r.chance(85) ? w + 1 : w;
}

uint32_t flag_bits(rng &r, std::initializer_list<std::pair<uint32_t, int>> bits) {
    uint32_t flags = 0;
    for (auto [bit, percent] : bits)
        if (r.chance(percent)) flags |= bit;
    return flags;
}

void report_sink(const char *line, void *user) {
    *static_cast<std::string *>(user) += line;
}
void discard_sink(const char *, void *) {}

// ---------------------------------------------------------------------------

struct polygon_case {
    image dst, src;
    std::vector<map_vertex> vertices;
    int32_t count = 0;
    uint32_t flags = 0;
    int32_t first_line = 0, line_step = 1;
};

void make_polygon(rng &r, polygon_case &c, std::string &s) {
    const format_info &sf = any_format(r);
    const bool s16 = sf.code == TOVREL_FORMAT_S16X4A || sf.code == TOVREL_FORMAT_S16X4;
    const format_info &df = !r.chance(85) ? any_format(r)
                            : s16         ? format_of(r.chance(50) ? 10 : 11)
                                          : sf;
    const int32_t dw = width_for(r, df), dh = size(r);
    // Source texels per destination pixel, per axis: magnification up to
    // every footprint class.
    constexpr float ratios[] = {0.5f, 1.0f, 1.0f, 1.25f, 1.5f, 2.0f, 2.5f, 3.0f, 4.5f, 6.0f, 9.0f};
    const float bw = r.grid(0.25f, 1.25f * dw), bh = r.grid(0.25f, 1.25f * dh);
    const float rx = r.pick(ratios), ry = r.pick(ratios);
    const int32_t sw = std::min(160, static_cast<int32_t>(bw * rx) + r.range(1, 4));
    const int32_t sh = std::min(160, static_cast<int32_t>(bh * ry) + r.range(1, 4));
    s += "polygon ";
    make_image(r, c.src, sf, sw, sh, s);
    s += " -> ";
    make_image(r, c.dst, df, dw, dh, s);

    const int shape = r.range(0, 99);
    std::vector<map_vertex> &v = c.vertices;
    if (shape < 65) { // a texture rectangle onto a jittered, turned or mirrored box
        const float x0 = r.grid(-0.3f * dw, 0.7f * dw), y0 = r.grid(-0.3f * dh, 0.7f * dh);
        const float u0 = r.grid(-0.5f, 1.0f), v0 = r.grid(-0.5f, 1.0f);
        const float jitter = r.chance(40) ? 0.0f : 0.25f * (bw < bh ? bw : bh);
        const float corner[4][2] = {{0, 0}, {1, 0}, {1, 1}, {0, 1}};
        const int turn = r.range(0, 3), mirror = r.chance(30) ? 3 : 1;
        for (int i = 0; i < 4; ++i) {
            const float *t = corner[(turn + mirror * i) & 3];
            v.push_back({u0 + t[0] * bw * rx, v0 + t[1] * bh * ry, 1.0f,
                         x0 + corner[i][0] * bw + r.grid(-jitter, jitter),
                         y0 + corner[i][1] * bh + r.grid(-jitter, jitter)});
        }
    } else if (shape < 95) { // any polygon, maybe concave or crossing itself
        constexpr int32_t counts[] = {1, 2, 3, 3, 3, 4, 5, 6, 8, 12};
        const int32_t n = r.pick(counts);
        for (int32_t i = 0; i < n; ++i)
            v.push_back({r.grid(-1.0f, sw + 1.0f), r.grid(-1.0f, sh + 1.0f), 1.0f,
                         r.grid(-0.3f * dw, 1.3f * dw), r.grid(-0.3f * dh, 1.3f * dh)});
    } else { // degenerate: one point, one line, traced back, or too many
        const int kind = r.range(0, 3);
        const int32_t n = kind == 3 ? 31 : 4;
        const float y = r.grid(0, dh);
        for (int32_t i = 0; i < n; ++i)
            v.push_back({r.grid(0, sw), r.grid(0, sh), 1.0f, kind == 0 ? 1.5f : r.grid(0, dw),
                         kind == 0   ? 1.5f
                         : kind == 1 ? y
                                     : r.grid(0, dh)});
        if (kind == 2) v[2] = v[0], v[3] = v[1];
    }
    c.count = static_cast<int32_t>(v.size());
    if (r.chance(2)) c.count = r.range(-1, 0);

    // Affine: one w for all; perspective: w per vertex, rarely not positive.
    constexpr float affine_w[] = {1.0f, 1.0f, 0.5f, 2.5f};
    const bool perspective = r.chance(40);
    const float w = r.pick(affine_w);
    for (map_vertex &m : v) {
        m.w = perspective ? r.grid(0.25f, 3.0f) : w;
    }
    if (perspective && r.chance(3)) v[0].w = r.grid(-1.0f, 0.0f);

    c.flags = flag_bits(r, {{MAP_NO_FILTER, 20},
                            {MAP_EDGE_AA, 40},
                            {MAP_FIELD_TOP, 15},
                            {MAP_FIELD_BOTTOM, 15},
                            {MAP_TILE, 30},
                            {0xE0u << (r.range(0, 1) * 8), 5}});
    constexpr int32_t steps[] = {1, 1, 1, 1, 1, 2, 2, 3, 4};
    c.first_line = r.range(-3, 3);
    c.line_step = r.chance(1) ? 0 : r.pick(steps);
    appendf(s, " vertices %d%s flags 0x%x lines %d/%d", c.count, perspective ? " persp" : "",
            c.flags, c.first_line, c.line_step);
}

// A perspective polygon that the build draws with packed members.
bool polygon_uses_rcp(const polygon_case &c) {
    tovrel::polygon_work work;
    const tovrel::polygon_args args{&c.dst.desc, &c.src.desc,  c.vertices.data(), c.count,
                                    c.flags,     c.first_line, c.line_step};
    if (tovrel::prepare_polygon(work, args) != tovrel::prepare_status::draw) return false;
    if (!work.ctx.perspective) return false;
    const int32_t slot = work.footprint.slot;
    if (tovrel::choose_renderers(c.dst.desc, c.src.desc, c.flags & 0xff, slot).refusal)
        return false;
    return (packed_slots(c.src.desc) >> slot) & 1;
}

// ---------------------------------------------------------------------------

struct rect_case {
    image dst;
    std::vector<image> sources;
    double dst_rect[4] = {}, src_rect[4] = {};
    uint32_t flags = 0;
    int32_t line_phase = 0, line_period = 1;
};

// The destination of a rectangle is taken to have the source's format (its
// format byte is read only for yuvq sources), so only yuvq meets others.
const format_info &rect_destination(rng &r, const format_info &sf) {
    if (sf.code == TOVREL_FORMAT_YUVQ)
        return format_of(r.pick({TOVREL_FORMAT_YUY2, TOVREL_FORMAT_W210, TOVREL_FORMAT_YUY2,
                                 TOVREL_FORMAT_W210, TOVREL_FORMAT_RGBQ}));
    return sf;
}

// Rectangles draw RGBQ, YUY2, W210 and yuvq; the other formats are refused.
const format_info &rect_format(rng &r) {
    constexpr uint8_t drawn[] = {TOVREL_FORMAT_RGBQ, TOVREL_FORMAT_YUY2, TOVREL_FORMAT_W210,
                                 TOVREL_FORMAT_YUVQ};
    return r.chance(85) ? format_of(r.pick(drawn)) : any_format(r);
}

// Extents [0] to [3] (x0, y0, x1, y1) of a rectangle in an image w x h.
void extents(rng &r, double *e, int32_t w, int32_t h, bool horizontal) {
    for (int axis = horizontal ? 0 : 1; axis < 2; ++axis) {
        const float size = static_cast<float>(axis == 0 ? w : h);
        e[axis] = r.grid(-0.3f * size, 0.8f * size);
        e[axis + 2] = e[axis] + r.grid(0.125f, 1.2f * size);
    }
}

void make_rect(rng &r, rect_case &c, bool multisrc, std::string &s) {
    const format_info &sf = rect_format(r);
    const format_info &df = rect_destination(r, sf);
    const int32_t count = !multisrc ? 1 : r.chance(3) ? 0 : r.range(1, 4);
    int32_t dw = width_for(r, df), dh = size(r), exact_width = 0;
    // One single rectangle in four takes 1:1 or one of the enlargements with
    // kernels of their own (x2, 16/9, 8/3, 9/8, 3/2, 4/3), on pixel pairs,
    // in images wide enough to hold it.
    struct ratio {
        int32_t num, den, dst_multiple;
    };
    constexpr ratio exact[] = {{1, 1, 2},  {2, 1, 4}, {16, 9, 32}, {8, 3, 16},
                               {9, 8, 18}, {3, 2, 6}, {4, 3, 8}};
    double *src = c.src_rect, *dst = c.dst_rect;
    if (!multisrc && r.chance(25)) {
        const ratio q = r.pick(exact);
        const int32_t dst_w = q.dst_multiple * r.range(1, std::max(1, 64 / q.dst_multiple));
        src[0] = 2 * r.range(0, 4);
        src[2] = src[0] + dst_w * q.den / q.num;
        dst[0] = 2 * r.range(0, 2);
        dst[2] = dst[0] + dst_w;
        dw = static_cast<int32_t>(dst[2]) + 2 * r.range(0, 2);
        exact_width = static_cast<int32_t>(src[2]) + 2 * r.range(0, 2);
    }
    s += multisrc ? "multisrc " : "rectangle ";
    make_image(r, c.dst, df, dw, dh, s);
    s += " <-";
    // Sources side by side in one row, or in two, with small gaps or overlaps.
    const int32_t n = std::max(count, 1);
    c.sources.resize(static_cast<size_t>(n));
    const bool two_rows = n > 2 && r.chance(40);
    int32_t x = 0, top = 0, bottom = 0, plane_w = 0;
    for (int32_t i = 0; i < n; ++i) {
        const int32_t w = exact_width ? exact_width : width_for(r, sf), h = size(r);
        s += " ";
        make_image(r, c.sources[i], sf, w, h, s);
        if (two_rows && i == n / 2) x = 0, top = bottom;
        if (multisrc) {
            c.sources[i].desc.origin_x = x + (r.chance(30) ? r.range(-2, 2) : 0);
            c.sources[i].desc.origin_y = top;
            appendf(s, " at %d,%d", c.sources[i].desc.origin_x, top);
        }
        x += w;
        plane_w = std::max(plane_w, x);
        bottom = std::max(bottom, top + h);
    }
    extents(r, src, plane_w, bottom, exact_width == 0);
    extents(r, dst, dw, dh, exact_width == 0);
    if (r.chance(30)) dst[3] = dst[1] + (src[3] - src[1]);
    c.flags = flag_bits(r, {{RECT_SRC_FIELD_TOP, 15},
                            {RECT_SRC_FIELD_BOTTOM, 15},
                            {RECT_TILE, 30},
                            {RECT_DST_FIELD_TOP, 15},
                            {RECT_DST_FIELD_BOTTOM, 15},
                            {1u << r.range(0, 5), 8}});
    constexpr int32_t periods[] = {1, 1, 1, 1, 2, 3};
    c.line_phase = r.range(-2, 3);
    c.line_period = r.chance(1) ? 0 : r.pick(periods);
    c.sources.resize(static_cast<size_t>(count));
    appendf(s, " [%g %g %g %g] <- [%g %g %g %g] flags 0x%x lines %d/%d", dst[0], dst[1], dst[2],
            dst[3], src[0], src[1], src[2], src[3], c.flags, c.line_phase, c.line_period);
}

uint32_t crc_image(uint32_t crc, const image &im) {
    crc = crc32(crc, im.colour.bytes.data(), im.colour.bytes.size());
    return crc32(crc, im.alpha.bytes.data(), im.alpha.bytes.size());
}

} // namespace

uint32_t crc32(uint32_t crc, const void *data, size_t size) {
    static const std::array<uint32_t, 256> table = [] {
        std::array<uint32_t, 256> t{};
        for (uint32_t i = 0; i < 256; ++i) {
            uint32_t c = i;
            for (int k = 0; k < 8; ++k) c = (c & 1) ? 0xEDB88320u ^ (c >> 1) : c >> 1;
            t[i] = c;
        }
        return t;
    }();
    const uint8_t *p = static_cast<const uint8_t *>(data);
    crc = ~crc;
    for (size_t i = 0; i < size; ++i) crc = table[(crc ^ p[i]) & 0xff] ^ (crc >> 8);
    return ~crc;
}

uint32_t rcp_kind() {
    const float inputs[] = {1.0f, 1.5f, 3.0f, 0.7f, 0.999f, 123.456f, 65535.0f, 1e-3f};
    uint32_t crc = 0;
    for (float x : inputs) {
        const float q = _mm_cvtss_f32(_mm_rcp_ss(_mm_set_ss(x)));
        crc = crc32(crc, &q, sizeof q);
    }
    return crc;
}

case_result run_case(uint32_t number) {
    rng r(number);
    case_result result{0, false, {}};
    std::string reports;
    const int kind = r.range(0, 99);
    if (kind < 55) {
        polygon_case c;
        make_polygon(r, c, result.summary);
        tovrel_set_report_sink(report_sink, &reports);
        map_polygon(&c.dst.desc, &c.src.desc, c.vertices.data(), c.count, c.flags, c.first_line,
                    c.line_step);
        tovrel_set_report_sink(discard_sink, nullptr);
        result.rcp_dependent = polygon_uses_rcp(c);
        result.crc = crc_image(crc_image(0, c.dst), c.src);
    } else {
        const bool multisrc = kind >= 85;
        rect_case c;
        make_rect(r, c, multisrc, result.summary);
        const double *d = c.dst_rect, *s = c.src_rect;
        tovrel_set_report_sink(report_sink, &reports);
        if (multisrc) {
            std::vector<const image_descriptor *> list;
            for (const image &im : c.sources) list.push_back(&im.desc);
            multisrc_map_rectangle(&c.dst.desc, d[0], d[1], d[2], d[3], list.data(),
                                   static_cast<int32_t>(list.size()), s[0], s[1], s[2], s[3],
                                   c.flags, c.line_phase, c.line_period);
        } else {
            const auto f = [](double v) { return static_cast<float>(v); };
            map_rectangle(&c.dst.desc, f(d[0]), f(d[1]), f(d[2]), f(d[3]), &c.sources[0].desc,
                          f(s[0]), f(s[1]), f(s[2]), f(s[3]), c.flags, c.line_phase, c.line_period);
        }
        tovrel_set_report_sink(nullptr, nullptr);
        result.crc = crc_image(0, c.dst);
        for (const image &im : c.sources) result.crc = crc_image(result.crc, im);
    }
    tovrel_set_report_sink(nullptr, nullptr);
    result.crc = crc32(result.crc, reports.data(), reports.size());
    if (!reports.empty()) {
        std::string shown = reports;
        for (char &ch : shown)
            if (ch == '\n') ch = '|';
        result.summary += " reports \"" + shown + "\"";
    }
    return result;
}

} // namespace golden
