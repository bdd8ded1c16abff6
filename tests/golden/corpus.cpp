// The golden corpus's scenes: every committed fuzz input (seeds and
// regressions, one scene each, embedded as scenes.inc) and numbered cases
// whose inputs follow from the number through one generator, all decoded
// by the fuzz targets' scene decoder (fuzz/scene.h) and drawn once.
// Numbered inputs hold only coarse values (positions on grids of 1/16,
// weights in 256ths), so a case is the same on every target.
#include "corpus.h"

#include <algorithm>
#include <array>
#include <string>
#include <vector>

#include <xmmintrin.h>

#include "fuzz/scene.h"
#include "polygon/dispatch.h"
#include "polygon/polygon_call.h"
#include "span/rgbq_renderers.h"
#include "span/w210_renderers.h"
#include "span/word_renderers.h"
#include "span/yuy2_renderers.h"

namespace golden {
namespace {

using namespace tovrel_fuzz;

enum class operation { polygon, rectangle, multisrc };

struct stored_scene {
    const char *target, *name;
    std::vector<uint8_t> input;
};
const stored_scene stored_scenes[] = {
#include "scenes.inc"
};
constexpr uint32_t stored_count = std::size(stored_scenes);

// The choices of a numbered case: splitmix64 seeded with the number.
struct rng : prng {
    uint32_t next32() { return static_cast<uint32_t>(next() >> 32); }
    int32_t range(int32_t lo, int32_t hi) {
        return lo + static_cast<int32_t>(next32() % static_cast<uint32_t>(hi - lo + 1));
    }
    bool chance(int percent) { return static_cast<int>(next32() % 100) < percent; }
    // A value in [lo, hi] on the grid of 1/16.
    float grid(float lo, float hi) {
        return static_cast<float>(
                   range(static_cast<int32_t>(lo * 16), static_cast<int32_t>(hi * 16))) /
               16.0f;
    }
    template <class T, size_t N>
    T pick(const T (&a)[N]) {
        return a[next32() % N];
    }
};

// An input for the decoders, written in the order they read it.
struct input {
    std::vector<uint8_t> bytes;
    input &u8(uint32_t v) { return bytes.push_back(static_cast<uint8_t>(v)), *this; }
    input &u16(uint32_t v) { return u8(v).u8(v >> 8); }
    input &u32(uint32_t v) { return u16(v).u16(v >> 16); }
    // A coordinate of kind 0: an int16 over `scale` (exact on the grid).
    input &coarse(float v, float scale) { return u16(static_cast<uint32_t>(int32_t(v * scale))); }

    // The call's values (call_input): flags, each bit with its chance in
    // percent (bits 24..31 only with bit 31), no nulls, and the line
    // selection, mostly every line from 0: phases -3..3, steps 2..4 or 0
    // (mode 1: phase, step 1..8; mode 3: step 0).
    input &call(rng &r, std::initializer_list<std::pair<uint32_t, int>> bits) {
        uint32_t flags = 0;
        for (auto [bit, percent] : bits)
            if (r.chance(percent)) flags |= bit;
        constexpr int32_t steps[] = {1, 1, 1, 1, 1, 2, 2, 3, 4};
        const int32_t phase = r.range(-3, 3), step = r.chance(1) ? 0 : r.pick(steps);
        u8(flags).u8(flags >> 24).u8(0).u8(step == 0 ? 3 : 1);
        return u32(static_cast<uint32_t>(phase)).u32(static_cast<uint32_t>(step - 1));
    }
    // An image plan of format f, w x h, with its layout, alpha and fill.
    input &image(rng &r, uint8_t f, int32_t w, int32_t h) {
        // Pitch kinds: packed, bottom-up, padded (by 1..8 units), both, 0.
        constexpr uint8_t pitches[] = {0, 0, 0, 0, 0, 1, 1, 2, 2, 2, 2, 3, 3, 0, 2, 3, 1, 0, 2, 4};
        // Alpha: none, w12b, kind 1 (no plane); mode straight, premultiplied, 2.
        constexpr uint8_t alpha[] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 3, 3, 3, 3, 3, 3, 3, 3, 3, 6};
        constexpr uint8_t modes[] = {0, 0, 1, 1, 2};
        // Fill: samples in range (W210 10-bit, alpha 0..4096), zeros or all
        // ones; W210 takes random words in place of zeros, so that words
        // past 10 bits meet every kernel too. Alpha in range, zeros or 4096.
        constexpr uint8_t fills[] = {0, 0, 0, 0, 0, 0, 0, 2, 3, 8, 12};
        const uint8_t fill = r.pick(fills);
        u8(f).u8(0).u16(static_cast<uint32_t>(w - 1)).u16(static_cast<uint32_t>(h - 1));
        u8(r.pick(pitches)).u8(pad(r)).u8(r.pick(alpha)).u8(r.pick(modes));
        return u8(r.pick(pitches))
            .u8(pad(r))
            .u8(f == TOVREL_FORMAT_W210 && fill == 2 ? 1 : fill)
            .u32(r.next32());
    }
    // Padding units: mostly keeping lines on whole 4:2:2 pairs.
    static uint32_t pad(rng &r) {
        return static_cast<uint32_t>(r.chance(70) ? 4 * r.range(1, 2) : r.range(1, 8));
    }
};

// One of the seven formats, or rarely a code that names no format.
uint8_t any_format(rng &r) {
    constexpr uint8_t unnamed[] = {0, 7, 12};
    return r.chance(96) ? r.pick(formats).code : r.pick(unnamed);
}

int32_t size(rng &r) {
    constexpr int32_t small[] = {1, 2, 3, 4, 5, 6, 7, 8};
    const int32_t k = r.range(0, 9);
    return k < 2 ? r.pick(small) : k < 5 ? r.range(4, 12) : r.range(8, 40);
}

// Widths of 4:2:2 images are mostly even: odd ones are refused by polygons.
int32_t width_for(rng &r, uint8_t f) {
    const int32_t w = size(r);
    return format_of(f).pairs && (w & 1) && r.chance(85) ? w + 1 : w;
}

input polygon_input(rng &r) {
    const uint8_t sf = any_format(r);
    const bool s16 = format_of(sf).s16;
    const uint8_t df = !r.chance(85) ? any_format(r)
                       : s16         ? (r.chance(50) ? TOVREL_FORMAT_S16X4A : TOVREL_FORMAT_S16X4)
                                     : sf;
    const int32_t dw = width_for(r, df), dh = size(r);
    // Source texels per destination pixel, per axis: magnification up to
    // every footprint class.
    constexpr float ratios[] = {0.5f, 1.0f, 1.0f, 1.25f, 1.5f, 2.0f, 2.5f, 3.0f, 4.5f, 6.0f, 9.0f};
    const float bw = r.grid(0.25f, 1.25f * dw), bh = r.grid(0.25f, 1.25f * dh);
    const float rx = r.pick(ratios), ry = r.pick(ratios);
    const int32_t sw = std::min(160, static_cast<int32_t>(bw * rx) + r.range(1, 4));
    const int32_t sh = std::min(160, static_cast<int32_t>(bh * ry) + r.range(1, 4));

    std::vector<map_vertex> v;
    const int shape = r.range(0, 99);
    if (shape < 65) { // a texture rectangle onto a jittered, turned or mirrored box
        const float x0 = r.grid(-0.3f * dw, 0.7f * dw), y0 = r.grid(-0.3f * dh, 0.7f * dh);
        const float u0 = r.grid(-0.5f, 1.0f), v0 = r.grid(-0.5f, 1.0f);
        const float jitter = r.chance(40) ? 0.0f : 0.25f * std::min(bw, bh);
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
        const float y = r.grid(0, dh);
        for (int32_t i = 0; i < (kind == 3 ? 31 : 4); ++i)
            v.push_back({r.grid(0, sw), r.grid(0, sh), 1.0f, kind == 0 ? 1.5f : r.grid(0, dw),
                         kind == 0   ? 1.5f
                         : kind == 1 ? y
                                     : r.grid(0, dh)});
        if (kind == 2) v[2] = v[0], v[3] = v[1];
    }
    // Affine: one w for all; perspective: w per vertex, rarely negative.
    constexpr float affine_w[] = {1.0f, 1.0f, 0.5f, 2.5f};
    const bool perspective = r.chance(40);
    const float w = r.pick(affine_w);
    for (map_vertex &m : v) m.w = perspective ? r.grid(0.25f, 3.0f) : w;
    if (perspective && r.chance(3)) v[0].w = r.grid(-1.0f, -0.0625f);

    input in;
    in.call(r, {{MAP_NO_FILTER, 20},
                {MAP_EDGE_AA, 40},
                {MAP_FIELD_TOP, 15},
                {MAP_FIELD_BOTTOM, 15},
                {MAP_TILE, 30},
                {r.chance(50) ? 0xE0u : 0xE0000000u, 5}});
    const int32_t count = r.chance(2) ? r.range(-1, 0) : static_cast<int32_t>(v.size());
    in.u8(static_cast<uint32_t>(count + 3));
    in.image(r, df, dw, dh).image(r, sf, sw, sh);
    for (int32_t i = 0; i < count; ++i) {
        const map_vertex &m = v[static_cast<size_t>(i)];
        // w: 1 (kind 0), k / 256 (kind 1), or a negative one's bits (kind 3).
        const uint32_t w_kind = m.w == 1.0f ? 0 : m.w > 0 ? 1 : 3;
        in.u16(w_kind << 4).coarse(m.u, 64).coarse(m.v, 64);
        if (w_kind == 1) in.u32(static_cast<uint32_t>(m.w * 256) - 1);
        if (w_kind == 3) in.u32(std::bit_cast<uint32_t>(m.w));
        in.coarse(m.x, 64).coarse(m.y, 64);
    }
    return in;
}

// Extents [0] to [3] (x0, y0, x1, y1) of a rectangle in an image w x h.
void extents(rng &r, float *e, int32_t w, int32_t h, bool horizontal) {
    for (int axis = horizontal ? 0 : 1; axis < 2; ++axis) {
        const float size = static_cast<float>(axis == 0 ? w : h);
        e[axis] = r.grid(-0.3f * size, 0.8f * size);
        e[axis + 2] = e[axis] + r.grid(0.125f, 1.2f * size);
    }
}

input rect_input(rng &r, bool multisrc) {
    // Rectangles draw RGBQ, YUY2, W210 and yuvq; the other formats are
    // refused. The destination's format byte is read for yuvq sources only.
    constexpr uint8_t drawn[] = {TOVREL_FORMAT_RGBQ, TOVREL_FORMAT_YUY2, TOVREL_FORMAT_W210,
                                 TOVREL_FORMAT_YUVQ};
    constexpr uint8_t yuvq_targets[] = {TOVREL_FORMAT_YUY2, TOVREL_FORMAT_W210, TOVREL_FORMAT_YUY2,
                                        TOVREL_FORMAT_W210, TOVREL_FORMAT_RGBQ};
    const uint8_t sf = r.chance(85) ? r.pick(drawn) : any_format(r);
    const uint8_t df = sf == TOVREL_FORMAT_YUVQ ? r.pick(yuvq_targets) : sf;
    const int32_t count = !multisrc ? 1 : r.chance(3) ? 0 : r.range(1, 4);
    int32_t dw = width_for(r, df), dh = size(r), exact_width = 0;
    float dst[4] = {}, src[4] = {};
    // One single rectangle in four takes 1:1 or one of the enlargements with
    // kernels of their own (x2, 16/9, 8/3, 9/8, 3/2, 4/3), on pixel pairs,
    // in images wide enough to hold it.
    struct ratio {
        int32_t num, den, dst_multiple;
    };
    constexpr ratio exact[] = {{1, 1, 2},  {2, 1, 4}, {16, 9, 32}, {8, 3, 16},
                               {9, 8, 18}, {3, 2, 6}, {4, 3, 8}};
    if (!multisrc && r.chance(25)) {
        const ratio q = r.pick(exact);
        const int32_t dst_w = q.dst_multiple * r.range(1, std::max(1, 64 / q.dst_multiple));
        src[0] = static_cast<float>(2 * r.range(0, 4));
        src[2] = src[0] + static_cast<float>(dst_w * q.den / q.num);
        dst[0] = static_cast<float>(2 * r.range(0, 2));
        dst[2] = dst[0] + static_cast<float>(dst_w);
        dw = static_cast<int32_t>(dst[2]) + 2 * r.range(0, 2);
        exact_width = static_cast<int32_t>(src[2]) + 2 * r.range(0, 2);
    }
    // Sources side by side in one row, or in two, with small gaps or overlaps.
    input sources;
    const int32_t n = std::max(count, 1);
    const bool two_rows = n > 2 && r.chance(40);
    int32_t x = 0, top = 0, bottom = 0, plane_w = 0;
    for (int32_t i = 0; i < n; ++i) {
        const int32_t w = exact_width ? exact_width : width_for(r, sf), h = size(r);
        if (two_rows && i == n / 2) x = 0, top = bottom;
        if (multisrc)
            sources.u8(0)
                .u32(static_cast<uint32_t>(x + (r.chance(30) ? r.range(-2, 2) : 0)))
                .u32(static_cast<uint32_t>(top));
        sources.image(r, sf, w, h);
        x += w;
        plane_w = std::max(plane_w, x);
        bottom = std::max(bottom, top + h);
    }
    extents(r, src, plane_w, bottom, exact_width == 0);
    extents(r, dst, dw, dh, exact_width == 0);
    if (r.chance(30)) dst[3] = dst[1] + (src[3] - src[1]);
    input in;
    in.call(r, {{RECT_SRC_FIELD_TOP, 15},
                {RECT_SRC_FIELD_BOTTOM, 15},
                {RECT_TILE, 30},
                {RECT_DST_FIELD_TOP, 15},
                {RECT_DST_FIELD_BOTTOM, 15},
                {1u << r.range(0, 5), 8}});
    if (multisrc) in.u8(static_cast<uint32_t>(count + 2));
    in.image(r, df, dw, dh);
    // A single source's plan comes before the coordinates, multisrc's
    // sources after them.
    if (!multisrc) in.bytes.insert(in.bytes.end(), sources.bytes.begin(), sources.bytes.end());
    in.u16(0);
    for (float c : dst) in.coarse(c, 32);
    for (float c : src) in.coarse(c, 32);
    if (multisrc) in.bytes.insert(in.bytes.end(), sources.bytes.begin(), sources.bytes.end());
    return in;
}

// Whether the texture's family (and, with a w12b plane, the word family
// that renders the plane) draws the slot with a packed member: its
// positions then come through the processor's approximate reciprocal.
bool packed_member(const image_descriptor &src, int32_t slot) {
    // By format code; S16X4A / S16X4 have double-precision members only.
    bool (*const packed[])(int32_t) = {nullptr,
                                       tovrel::rgbq_slot_is_packed,
                                       tovrel::yuy2_slot_is_packed,
                                       tovrel::word_slot_is_packed,
                                       nullptr,
                                       nullptr,
                                       tovrel::w210_slot_is_packed};
    if (src.format >= std::size(packed) || !packed[src.format]) return false;
    const bool plane = src.alpha_kind == TOVREL_ALPHA_W12B && tovrel::word_slot_is_packed(slot);
    return plane || packed[src.format](slot);
}

void discard_sink(const char *, void *) {}

bool polygon_uses_rcp(const polygon_scene &s) {
    if (s.c.nulls.mask != 0) return false;
    tovrel::polygon_work work;
    const tovrel::polygon_args args{&s.dst.desc, &s.src.desc, s.vertices(), s.vertex_count,
                                    s.c.flags,   s.c.phase,   s.c.step};
    tovrel_set_report_sink(discard_sink, nullptr); // the call reported already
    const tovrel::prepare_status status = tovrel::prepare_polygon(work, args);
    tovrel_set_report_sink(nullptr, nullptr);
    if (status != tovrel::prepare_status::draw) return false;
    if (!work.ctx.perspective) return false;
    const int32_t slot = work.footprint.slot;
    if (tovrel::choose_renderers(s.dst.desc, s.src.desc, s.c.flags & 0xff, slot).refusal)
        return false;
    return packed_member(s.src.desc, slot);
}

void report_sink(const char *line, void *user) {
    *static_cast<std::string *>(user) += line;
}

// Decodes the input as `op` reads it, draws it once as it says and reduces
// the destination (lines, padding and alpha plane) and the reports.
void run(operation op, const std::vector<uint8_t> &bytes, case_result &result) {
    byte_reader in{bytes.data(), bytes.size()};
    std::string reports;
    const auto drawn = [&](const auto &s) {
        tovrel_set_report_sink(report_sink, &reports);
        s.draw(s.c.flags, s.c.phase, s.c.step);
        tovrel_set_report_sink(nullptr, nullptr);
        for (const plane *p : {&s.dst.colour, &s.dst.alpha})
            result.crc = crc32(result.crc, p->buffer.data(), p->buffer.size());
        result.summary += describe(s);
    };
    if (op == operation::polygon) {
        const polygon_scene s(in);
        drawn(s);
        result.rcp_dependent = polygon_uses_rcp(s);
    } else if (op == operation::rectangle) {
        drawn(rect_scene(in));
    } else {
        drawn(multisrc_scene(in));
    }
    result.crc = crc32(result.crc, reports.data(), reports.size());
    if (!reports.empty()) {
        std::replace(reports.begin(), reports.end(), '\n', '|');
        result.summary += " reports \"" + reports + "\"";
    }
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
    case_result result{0, false, {}};
    if (number < stored_count) {
        const stored_scene &s = stored_scenes[number];
        const std::string target = s.target;
        result.summary = target.substr(5) + "/" + s.name;
        run(target == "fuzz_map_polygon"     ? operation::polygon
            : target == "fuzz_map_rectangle" ? operation::rectangle
                                             : operation::multisrc,
            s.input, result);
        return result;
    }
    rng r{number};
    const int kind = r.range(0, 99);
    const operation op = kind < 55   ? operation::polygon
                         : kind < 85 ? operation::rectangle
                                     : operation::multisrc;
    result.summary = op == operation::polygon     ? "polygon"
                     : op == operation::rectangle ? "rectangle"
                                                  : "multisrc";
    run(op,
        op == operation::polygon ? polygon_input(r).bytes
                                 : rect_input(r, op == operation::multisrc).bytes,
        result);
    return result;
}

} // namespace golden
