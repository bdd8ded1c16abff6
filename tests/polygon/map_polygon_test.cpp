// map_polygon end to end with the RGBQ, 4:2:2 and S16X4 renderers and writers:
// footprints, fields, perspective, anti-aliased edges, source and
// destination alpha, tiling and refusals.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "param_names.h"
#include "polygon/polygon_call.h"
#include "polygon_probe.h"
#include "rect/rect_test_util.h"

namespace {

using rect_test::image;
using tovrel::test::exact_cover;
using verts = std::vector<map_vertex>;

constexpr uint32_t texel = 0x80C04020u, background = 0x10305070u;

// RGBQ pixels as one little-endian word.
uint32_t pixel(image &im, int x, int y) {
    uint32_t v;
    std::memcpy(&v, im.px(x, y), 4);
    return v;
}
void put(image &im, int x, int y, uint32_t v) {
    std::memcpy(im.px(x, y), &v, 4);
}
// An RGBQ image of one colour, with an alpha plane of `alpha` unless -1.
image uniform(int w, int h, uint32_t colour, int alpha = -1) {
    image im(w, h, alpha >= 0);
    for (int i = 0; i < w * h; ++i) put(im, i % w, i / w, colour);
    im.fill_alpha(uint16_t(std::max(alpha, 0)));
    return im;
}
image noise(int w, int h, unsigned seed, bool alpha = false) {
    image im(w, h, alpha);
    std::mt19937 rng(seed);
    im.each_sample([&](uint16_t) { return uint16_t(rng() & 0x7F); });
    return im;
}

// The whole destination onto [du, du + su) x [dv, dv + sv) of the source.
verts rect(float w, float h, float su, float sv, float du = 0, float dv = 0) {
    return {{du, dv, 1, 0, 0},
            {su + du, dv, 1, w, 0},
            {su + du, sv + dv, 1, w, h},
            {du, sv + dv, 1, 0, h}};
}

void draw(const image_descriptor &dd, image &src, const verts &v, uint32_t flags = 0) {
    map_polygon(&dd, &src.desc, v.data(), static_cast<int32_t>(v.size()), flags, 0, 1);
}
void draw(image &dst, image &src, const verts &v, uint32_t flags = 0) {
    draw(dst.desc, src, v, flags);
    EXPECT_TRUE(dst.guards_intact());
}

// Slot 1 at texel (cu, cv) with 7-bit fractions.
int bilinear(image &t, int cu, int cv, int fu, int fv, int c) {
    const int r0 = (128 - fu) * t.get(cu, cv, c) + fu * t.get(cu + 1, cv, c);
    const int r1 = (128 - fu) * t.get(cu, cv + 1, c) + fu * t.get(cu + 1, cv + 1, c);
    return ((128 - fv) * r0 + fv * r1 + 8192) >> 14;
}

// Whole-destination rectangles: the identity copies (the 120/65536 margin
// clamps the last column and row to fraction 127), a half-pixel shift gives
// rounded means of neighbours, halving rounded means of 2 x 2 texels.
TEST(MapPolygon, AxisAlignedRectangles) {
    image small = noise(19, 13, 7), src = noise(32, 24, 5);
    image copy(19, 13), shift(15, 8), half(16, 12);
    draw(copy, small, rect(19, 13, 19, 13));
    draw(shift, src, rect(15, 8, 15, 8, 0.5f, 0));
    draw(half, src, rect(16, 12, 32, 24));
    for (int y = 0; y < 13; ++y)
        for (int x = 0; x < 19; ++x)
            for (int c = 0; c < 4; ++c) {
                ASSERT_EQ(copy.get(x, y, c), bilinear(small, std::min(x, 17), std::min(y, 11),
                                                      x == 18 ? 127 : 0, y == 12 ? 127 : 0, c))
                    << x << "," << y;
                if (x < 15 && y < 8) {
                    ASSERT_EQ(shift.get(x, y, c), bilinear(src, x, y, 64, 0, c)) << x << "," << y;
                }
                if (x < 15 && y < 11) {
                    const int sum = src.get(2 * x, 2 * y, c) + src.get(2 * x + 1, 2 * y, c) +
                                    src.get(2 * x, 2 * y + 1, c) + src.get(2 * x + 1, 2 * y + 1, c);
                    ASSERT_EQ(half.get(x, y, c), int(sum + 2) >> 2) << x << "," << y;
                }
            }
}

// RGBQ with a w12b plane (uniform alpha 3000, so every footprint samples
// 3000) over a destination without alpha, over one with alpha, and tiled
// straight into one with alpha, in both alpha modes of the source.
TEST(MapPolygon, SourceAlphaPlaneComposites) {
    const int as = 3000, ad = 1500;
    for (int mode : {0, 1})
        for (int target : {0, 1, 2}) { // no destination alpha, over alpha, tiled over alpha
            image src = uniform(12, 10, texel, as),
                  dst = uniform(20, 14, background, target ? ad : -1);
            src.desc.alpha_mode = uint8_t(mode);
            draw(dst, src, rect(20, 14, 12, 10), target == 2 ? MAP_TILE : 0);
            const int k = 4096 - as, a_over = mode ? as + (k * ad >> 12) : (ad * k >> 12) + as;
            for (int c = 0; c < 4; ++c) {
                const int S = texel >> (8 * c) & 255, D = background >> (8 * c) & 255;
                const int want =
                    target == 2 ? S
                    : target == 1
                        ? (mode ? (S * as + D * (k * ad >> 12)) / a_over : ((D * k) >> 12) + S)
                        : (mode ? (S * as + D * k) >> 12 : ((D * k) >> 12) + S);
                for (int i = 0; i < 20 * 14; ++i)
                    ASSERT_EQ(dst.get(i % 20, i / 20, c), uint32_t(want))
                        << mode << target << " " << i;
            }
            for (int i = 0; target && i < 20 * 14; ++i)
                ASSERT_EQ(dst.a(i % 20, i / 20), target == 2 ? as : a_over);
        }
}

// u = rh x, v = rv y on a chord along x from the last vertex; `turned` maps
// u down the destination instead (a 90-degree rotation).
struct slot_case {
    float rh, rv;
    uint32_t flags;
    int slot;
    bool turned = false;
};
void PrintTo(const slot_case &c, std::ostream *os) {
    *os << c.rh << "x" << c.rv << "_"
        << param_names::flag_names(c.flags, {"no_filter", "aa", "field_top", "field_bottom"})
        << (c.turned ? "turned_" : "") << "slot" << c.slot;
}

class Footprint : public ::testing::TestWithParam<slot_case> {};

TEST_P(Footprint, SlotFollowsTheRatios) {
    const slot_case p = GetParam();
    const verts v =
        p.turned
            ? verts{{100 * p.rh, 0, 1, 0, 100}, {60 * p.rh, 50 * p.rv, 1, 50, 60}, {0, 0, 1, 0, 0}}
            : verts{{100 * p.rh, 0, 1, 100, 0}, {60 * p.rh, 50 * p.rv, 1, 60, 50}, {0, 0, 1, 0, 0}};
    image dst(128, 128);
    image_descriptor dd = dst.desc, sd = dd;
    sd.width = sd.height = 1000;
    auto work = std::make_unique<tovrel::polygon_work>();
    ASSERT_EQ(tovrel::prepare_polygon(*work, {&dd, &sd, v.data(), 3, p.flags, 0, 1}),
              tovrel::prepare_status::draw);
    EXPECT_EQ(work->footprint.slot, p.slot);
}

INSTANTIATE_TEST_SUITE_P(
    Thresholds, Footprint,
    ::testing::Values(slot_case{1, 1, 0, 1}, slot_case{1.34f, 1, 0, 2}, slot_case{1.3399f, 1, 0, 1},
                      slot_case{2.01f, 1, 0, 3}, slot_case{2.68f, 1, 0, 4},
                      slot_case{5.36f, 1, 0, 5}, slot_case{1, 1.005f, 0, 6},
                      slot_case{1, 1.34f, 0, 11}, slot_case{1, 2.68f, 0, 16},
                      slot_case{1, 2.6799f, 0, 11}, slot_case{2, 2, 0, 12},
                      slot_case{9, 9, MAP_NO_FILTER, 0},
                      // A field read halves the vertical ratio.
                      slot_case{1, 2, MAP_FIELD_TOP, 1}, slot_case{1, 2.7f, MAP_FIELD_BOTTOM, 11},
                      // Turned: u at 2:1 along y, v at 1:1 along x (unturned: slot 4).
                      slot_case{2, 1, 0, 11, true}),
    param_names::printed{});

TEST(MapPolygon, FieldReadTakesOnlyItsLines) {
    image src(8, 16), dst(8, 8);
    for (int y = 0; y < 16; ++y)
        for (int x = 0; x < 8; ++x) put(src, x, y, y % 2 ? 0x40404040u : 0xC0C0C0C0u);
    for (uint32_t field : {MAP_FIELD_TOP, MAP_FIELD_BOTTOM, MAP_FIELD_TOP | MAP_FIELD_BOTTOM}) {
        draw(dst, src, rect(8, 8, 8, 16), field);
        for (int i = 0; i < 64; ++i)
            ASSERT_EQ(pixel(dst, i % 8, i / 8),
                      field == MAP_FIELD_BOTTOM ? 0x40404040u : 0xC0C0C0C0u);
    }
}

TEST(MapPolygon, PerspectiveFollowsTheProjectedTexture) {
    // Texel value 4 * column: the output is 4 * (u - 0.5) at each pixel's u,
    // the screen barycentrics weighted by w.
    image src(64, 4), dst(40, 30);
    for (int i = 0; i < 256; ++i) put(src, i % 64, i / 64, static_cast<uint32_t>(4 * (i % 64)));
    const verts v = {{1, 1, 1.0f, 2, 2}, {60, 1, 0.25f, 38, 5}, {30, 2, 0.5f, 9, 28}};
    draw(dst, src, v);
    auto edge = [&](int i, double x, double y) {
        const map_vertex &a = v[(i + 1) % 3], &b = v[(i + 2) % 3];
        return (b.x - a.x) * (y - a.y) - (b.y - a.y) * (x - a.x);
    };
    for (int y = 0; y < 30; ++y)
        for (int x = 0; x < 40; ++x) {
            double l[3], sum = 0, num = 0, den = 0;
            for (int i = 0; i < 3; ++i) sum += l[i] = edge(i, x + 0.5, y + 0.5);
            for (int i = 0; i < 3; ++i) l[i] /= sum;
            if (std::min({l[0], l[1], l[2]}) < 0.02) continue; // outside or on an edge
            for (int i = 0; i < 3; ++i) num += l[i] * v[i].u * v[i].w, den += l[i] * v[i].w;
            ASSERT_NEAR(dst.get(x, y, 0), 4 * (num / den - 0.5), 2.0) << x << "," << y;
        }
}

const verts slanted = {
    {0, 0, 1, 2.3f, 1}, {4, 0, 1, 21.8f, 5}, {4, 4, 1, 15.2f, 18}, {0, 4, 1, 1.6f, 12}};

// Anti-aliased edges through the writer of every role an opaque texture
// reaches: over a background without alpha they blend by the area covered;
// into an alpha plane (transparent) the alpha is the area, straight colour
// stays the texel and premultiplied colour is scaled by it; two tiled
// halves (premultiplied or straight) add up to the same. In 4:2:2 luma
// blends by its own pixel's area, U and V by the mean of the pair's two
// areas, and tiled chroma accumulates around its zero (128, 512).
struct format_case {
    const char *name;
    uint8_t format;
    int scale; // 4 for 10-bit values
    std::array<int, 4> tex, back;
};
void PrintTo(const format_case &c, std::ostream *os) {
    *os << c.name;
}
class Edges : public ::testing::TestWithParam<format_case> {};
const format_case formats[] = {
    {"rgbq", TOVREL_FORMAT_RGBQ, 1, {0x20, 0x40, 0xC0, 0x80}, {0x70, 0x50, 0x30, 0x10}},
    {"yuy2", TOVREL_FORMAT_YUY2, 1, {200, 60, 170}, {30, 150, 90}},
    {"w210", TOVREL_FORMAT_W210, 4, {800, 240, 680}, {120, 600, 360}}};

// A w x h image of the case's format whose every pixel (4:2:2: every pair,
// Y U V) holds `v`.
image filled(const format_case &p, const std::array<int, 4> &v, int w, int h, bool alpha) {
    image im(w, h, alpha, p.format);
    const int n = p.format == TOVREL_FORMAT_RGBQ ? 4 : 3;
    for (int i = 0; i < w * h * n; ++i)
        im.set(i / n % w, i / n / w, i % n, uint32_t(v[size_t(i % n)]));
    return im;
}

TEST_P(Edges, BlendByArea) {
    const format_case &p = GetParam();
    const bool pairs = p.format != TOVREL_FORMAT_RGBQ;
    const int k = p.scale, zero = pairs ? 128 * k : 0, components = pairs ? 3 : 4;
    image src = filled(p, p.tex, 4, 4, false);
    for (int mode : {-1, 1, 0, 2, 3}) { // none, straight, premul, tiled premul, tiled straight
        const bool tiled = mode >= 2;
        image dst =
            filled(p, mode < 0 ? p.back : std::array{0, zero, zero, zero}, 24, 20, mode >= 0);
        dst.desc.alpha_mode =
            mode == 1 || mode == 3 ? TOVREL_ALPHA_STRAIGHT : TOVREL_ALPHA_PREMULTIPLIED;
        const uint32_t flags = MAP_EDGE_AA | (tiled ? MAP_TILE : 0u);
        if (tiled) {
            draw(dst, src, {slanted[0], slanted[1], slanted[2]}, flags);
            draw(dst, src, {slanted[0], slanted[2], slanted[3]}, flags);
        } else {
            draw(dst, src, slanted, flags);
        }
        for (int i = 0; i < 24 * 20; ++i) {
            const int x = i % 24, y = i / 24, x0 = x & ~1;
            const int a = mode >= 0 ? dst.a(x, y) : 0;
            const double area = exact_cover(slanted, x, y) / 4096.0;
            const std::string at =
                std::to_string(x) + "," + std::to_string(y) + " mode " + std::to_string(mode);
            if (mode >= 0) {
                ASSERT_NEAR(a, area * 4096, tiled ? 4 : 3) << at;
            }
            for (int c = 0; c < components; ++c) {
                const bool chroma = pairs && c > 0;
                const double cover =
                    chroma
                        ? (exact_cover(slanted, x0, y) + exact_cover(slanted, x0 + 1, y)) / 8192.0
                        : area;
                const int t = p.tex[size_t(c)], z = chroma ? zero : 0;
                const int a0 = mode < 0 ? 0 : dst.a(x0, y), a1 = mode < 0 ? 0 : dst.a(x0 + 1, y);
                const int sum = chroma ? a0 + a1 : 2 * a;
                const bool covered = chroma ? std::min(a0, a1) > 0 : a > 0;
                const int64_t got = dst.get(x, y, c);
                if (mode < 0) {
                    ASSERT_NEAR(got, t * cover + p.back[size_t(c)] * (1 - cover), 1.5 * k)
                        << at << " c " << c;
                } else if (mode == 2) {
                    ASSERT_NEAR(got, z + (t - z) * cover, 2.0 * k) << at << " c " << c;
                } else if (mode == 0 && covered) {
                    ASSERT_EQ(got, (t * sum) >> 13) << at << " c " << c;
                } else if (covered) {
                    ASSERT_EQ(got, t) << at << " c " << c;
                }
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Formats, Edges, ::testing::ValuesIn(formats), param_names::printed{});

// Pairs F and G through each writer role a source alpha plane reaches:
// an opaque plane (4096) lays the texture's samples over the destination
// exactly (destination alpha becomes 4096), a transparent one (0) leaves
// it as it was (tiling adds and is left out there).
class PairAlpha : public ::testing::TestWithParam<format_case> {};

TEST_P(PairAlpha, OpaqueOrTransparentPlane) {
    const format_case &p = GetParam();
    const int zero = 128 * p.scale;
    for (int as : {0, 4096})
        for (int mode : {0, 1})
            for (int target : {0, 1, 2}) { // no destination alpha, over alpha, tiled over alpha
                if (as == 0 && target == 2) continue;
                image src = filled(p, p.tex, 8, 6, true),
                      dst = filled(p, target == 2 ? std::array{0, zero, zero, 0} : p.back, 8, 6,
                                   target != 0);
                src.fill_alpha(uint16_t(as));
                dst.fill_alpha(1500);
                src.desc.alpha_mode = uint8_t(mode);
                draw(dst, src, rect(8, 6, 8, 6), target == 2 ? MAP_TILE : 0);
                const std::array<int, 4> &want = as ? p.tex : p.back;
                for (int i = 0; i < 8 * 6 * 3; ++i) {
                    const int x = i / 3 % 8, y = i / 24, c = i % 3;
                    ASSERT_EQ(dst.get(x, y, c), uint32_t(want[size_t(c)]))
                        << as << mode << target << " " << i;
                    if (target) ASSERT_EQ(dst.a(x, y), as ? 4096 : 1500);
                }
            }
}

INSTANTIATE_TEST_SUITE_P(Formats, PairAlpha, ::testing::Values(formats[1], formats[2]),
                         param_names::printed{});

// S16X4A / S16X4: the destination format picks the pairs and writers. A
// uniform texture mapped 1:1 (slot 1, exact) over a uniform destination:
// pair I lays it over (k = 4096 - 2048), pair H replaces the pixel, and an
// S16X4 texture into S16X4A gets alpha 4096.
struct s16x4_row {
    const char *name;
    uint8_t src, dst;
    uint32_t flags;
    std::array<int16_t, 4> want;
};

void PrintTo(const s16x4_row &r, std::ostream *os) {
    *os << r.name;
}
class S16x4Dispatch : public ::testing::TestWithParam<s16x4_row> {};

TEST_P(S16x4Dispatch, DestinationFormatDecides) {
    const s16x4_row &p = GetParam();
    constexpr int w = 8, h = 6, stride = (w + 1) * 4; // in int16, one guard pixel per row
    const std::array<int16_t, 4> texel4 = {700, -300, 4095, 2048}, under = {-1000, 1000, 3, 1024};
    std::vector<int16_t> src(size_t(stride * h)), dst(size_t(stride * (h + 2)), -7);
    for (int i = 0; i < w * h; ++i) {
        std::copy(texel4.begin(), texel4.end(), &src[size_t((i / w) * stride + (i % w) * 4)]);
        std::copy(under.begin(), under.end(), &dst[size_t((i / w + 1) * stride + (i % w) * 4)]);
    }
    image_descriptor sd{}, dd{};
    sd.width = dd.width = w, sd.height = dd.height = h, sd.format = p.src, dd.format = p.dst;
    sd.pixels = src.data(), dd.pixels = &dst[stride];
    sd.pitch = dd.pitch = stride * 2;
    const verts v = rect(w, h, w, h);
    map_polygon(&dd, &sd, v.data(), 4, p.flags, 0, 1);
    for (size_t i = 0; i < dst.size(); ++i) {
        const int pixel = int(i % stride) / 4, row = int(i / stride) - 1;
        const bool inside = pixel < w && row >= 0 && row < h;
        ASSERT_EQ(dst[i], inside ? p.want[i % 4] : -7) << pixel << "," << row;
    }
}

constexpr uint8_t s16x4a = TOVREL_FORMAT_S16X4A, s16x4 = TOVREL_FORMAT_S16X4;
INSTANTIATE_TEST_SUITE_P(
    Rows, S16x4Dispatch,
    ::testing::Values(s16x4_row{"a_over_a", s16x4a, s16x4a, 0, {200, 200, 4096, 2560}},
                      s16x4_row{"a_tiled_a", s16x4a, s16x4a, MAP_TILE, {700, -300, 4095, 2048}},
                      s16x4_row{"a_over_plain", s16x4a, s16x4, MAP_TILE, {200, 200, 4096, 2560}},
                      s16x4_row{"plain_into_a", s16x4, s16x4a, 0, {700, -300, 4095, 4096}},
                      s16x4_row{"plain_tiled_a", s16x4, s16x4a, MAP_TILE, {700, -300, 4095, 4096}},
                      s16x4_row{"plain_plain", s16x4, s16x4, 0, {700, -300, 4095, 2048}}),
    [](const auto &i) { return std::string(i.param.name); });

enum class bend {
    none,
    flat,
    too_many,
    nan,
    negative_w,
    one_point,
    empty,
    no_alpha,
    no_src_alpha,
    wide,
    step0,
    odd_source,
    odd_pitch
};

struct refusal {
    const char *name;
    uint8_t src_format, dst_format;
    uint32_t src_alpha, dst_alpha, flags;
    const char *message; // "" when nothing is reported
    bend change = bend::none;
};

void PrintTo(const refusal &r, std::ostream *os) {
    *os << r.name;
}
class Refusal : public ::testing::TestWithParam<refusal> {};

TEST_P(Refusal, ReportsOnceAndLeavesTheDestination) {
    const refusal &p = GetParam();
    image src = noise(8, 8, 3, true), dst = uniform(16, 16, background, 77);
    image_descriptor dd = dst.desc, sd = src.desc;
    dd.format = p.dst_format, dd.alpha_kind = p.dst_alpha;
    sd.format = p.src_format, sd.alpha_kind = p.src_alpha;
    verts v = p.change == bend::flat ? rect(16, 0.2f, 8, 8) : rect(16, 16, 8, 8);
    if (p.change == bend::too_many) v.resize(31, v[0]);
    if (p.change == bend::nan) v[2].u = NAN;
    if (p.change == bend::negative_w) v[1].w = -1;
    if (p.change == bend::one_point)
        for (map_vertex &q : v) q.x = q.y = 3;
    if (p.change == bend::empty) v.clear();
    if (p.change == bend::no_alpha) dd.alpha = nullptr;
    if (p.change == bend::no_src_alpha) sd.alpha = nullptr;
    if (p.change == bend::wide) dd.width = 8193;
    if (p.change == bend::odd_source) sd.width = 7;
    if (p.change == bend::odd_pitch) sd.pitch -= 2;
    rect_test::report_capture reports;
    map_polygon(&dd, &sd, v.data(), static_cast<int32_t>(v.size()), p.flags, 0,
                p.change == bend::step0 ? 0 : 1);
    EXPECT_EQ(reports.all(), p.message);
    EXPECT_TRUE(dst.guards_intact());
    for (int i = 0; i < 256; ++i)
        ASSERT_TRUE(pixel(dst, i % 16, i / 16) == background && dst.a(i % 16, i / 16) == 77);
}

constexpr uint8_t rgbq = 1, yuy2 = 2, word = 3, w210 = 6;
constexpr uint32_t a = TOVREL_ALPHA_W12B, tile = MAP_TILE;
const refusal refusals[] = {
    {"rgbq_tiled", rgbq, rgbq, 0, 0, tile, "RGBQ -> RGBQ with tiling is not supported.\n"},
    {"rgbqa_tiled", rgbq, rgbq, a, 0, tile, "RGBQ + alpha -> RGBQ with tiling is not supported.\n"},
    {"yuy2_tiled", yuy2, yuy2, 0, 0, tile, "YUY2 -> YUY2 with tiling is not supported.\n"},
    {"yuy2a_tiled", yuy2, yuy2, a, 0, tile, "YUY2 + alpha -> YUY2 with tiling is not supported.\n"},
    {"w210_tiled", w210, w210, 0, 0, tile, "W210 -> W210 with tiling is not supported.\n"},
    {"w210a_tiled", w210, w210, a, 0, tile, "W210 + alpha -> W210 with tiling is not supported.\n"},
    {"word_tiled", word, word, 0, 0, tile, "map:tile word to word is not supported\n"},
    {"word_over_alpha", word, word, 0, a, 0, "map:overlay word to word + w12b is not supported\n"},
    {"word_with_alpha", word, word, a, 0, 0,
     "map_polygon: word textures with alpha are not supported\n"},
    {"word_into_rgbq", word, rgbq, 0, 0, 0,
     "map_polygon: a word texture needs a word destination\n"},
    {"no_source_alpha_plane", rgbq, rgbq, a, 0, 0, "map_polygon: the source has no alpha plane\n",
     bend::no_src_alpha},
    {"yuvq", 4, rgbq, 0, 0, 0, "source texture is not supported.\n"},
    {"crosses_no_line", rgbq, rgbq, 0, 0, tile, "", bend::flat},
    {"no_vertices", rgbq, rgbq, 0, 0, tile, "", bend::empty},
    {"w210_odd_width", w210, w210, 0, 0, 0, "map_polygon: a 4:2:2 source needs an even width\n",
     bend::odd_source},
    {"w210_pitch_off_texels", w210, w210, 0, 0, 0,
     "map_polygon: the source pitch must be a multiple of 4 bytes\n", bend::odd_pitch},
    {"into_yuy2", rgbq, yuy2, 0, 0, 0, "map_polygon: an RGBQ texture needs an RGBQ destination\n"},
    {"s16x4a_into_rgbq", 10, rgbq, 0, 0, 0,
     "map_polygon: an S16X4A texture needs an S16X4A or S16X4 destination\n"},
    {"s16x4_into_word", 11, word, 0, 0, tile,
     "map_polygon: an S16X4 texture needs an S16X4A or S16X4 destination\n"},
    {"line_step", rgbq, rgbq, 0, 0, 0, "map_polygon: line_step must be at least 1\n", bend::step0},
    {"too_many", rgbq, rgbq, 0, 0, 0, "map_polygon: at most 30 vertices are supported\n",
     bend::too_many},
    {"nan", rgbq, rgbq, 0, 0, 0, "map_polygon: a vertex value is not finite\n", bend::nan},
    {"negative_w", rgbq, rgbq, 0, 0, 0, "map_polygon: perspective weights must be positive\n",
     bend::negative_w},
    {"one_point", rgbq, rgbq, 0, 0, 0, "map_polygon: all vertices lie on one point\n",
     bend::one_point},
    {"no_alpha_plane", rgbq, rgbq, 0, a, 0, "map_polygon: the destination has no alpha plane\n",
     bend::no_alpha},
    {"wider_than_line_buffer", rgbq, rgbq, 0, 0, MAP_EDGE_AA,
     "map_polygon: the destination is wider than the line buffer (8192 "
     "pixels)\n",
     bend::wide}};
INSTANTIATE_TEST_SUITE_P(Cases, Refusal, ::testing::ValuesIn(refusals),
                         [](const auto &i) { return std::string(i.param.name); });

} // namespace
