// map_polygon end to end with the RGBQ, 4:2:2 and S16X4 renderers and writers:
// footprints, fields, perspective, anti-aliased edges, source and
// destination alpha, tiling and refusals.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "param_names.h"
#include "polygon/polygon_call.h"
#include "polygon_probe.h"

namespace {

using tovrel::test::exact_cover;
using verts = std::vector<map_vertex>;

constexpr uint32_t guard = 0xA5C3E1F7u, texel = 0x80C04020u, background = 0x10305070u;
constexpr uint16_t alpha_guard = 0xBEEF;

// An RGBQ image with a colour and an alpha plane, inside guard pixels (a row
// above and below, three columns on the right).
struct image {
    int w, h, stride;
    std::vector<uint32_t> px;
    std::vector<uint16_t> alpha;
    size_t guards;
    image(int w_, int h_, uint32_t fill, uint16_t a = 0)
        : w(w_), h(h_), stride(w_ + 3), px(static_cast<size_t>(stride * (h_ + 2)), guard),
          alpha(px.size(), alpha_guard), guards(px.size() - static_cast<size_t>(w * h)) {
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) at(x, y) = fill, alpha_at(x, y) = a;
    }
    size_t index(int x, int y) const { return static_cast<size_t>((y + 1) * stride + x); }
    uint32_t &at(int x, int y) { return px[index(x, y)]; }
    uint16_t &alpha_at(int x, int y) { return alpha[index(x, y)]; }
    int ch(int x, int y, int c) const { return (px[index(x, y)] >> (8 * c)) & 255; }
    image_descriptor desc(uint32_t alpha_kind = 0, uint8_t mode = 1) {
        image_descriptor d{};
        d.width = w, d.height = h, d.format = TOVREL_FORMAT_RGBQ, d.alpha_mode = mode;
        d.pixels = &px[index(0, 0)], d.pitch = stride * 4, d.alpha_kind = alpha_kind;
        d.alpha = &alpha[index(0, 0)], d.alpha_pitch = stride * 2;
        return d;
    }
    bool guards_intact() const {
        return static_cast<size_t>(std::count(px.begin(), px.end(), guard)) == guards &&
               static_cast<size_t>(std::count(alpha.begin(), alpha.end(), alpha_guard)) == guards;
    }
};

image noise(int w, int h, unsigned seed) {
    image img(w, h, 0);
    std::mt19937 rng(seed);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) img.at(x, y) = static_cast<uint32_t>(rng()) & 0x7F7F7F7Fu;
    return img;
}

// The whole destination onto [du, du + su) x [dv, dv + sv) of the source.
verts rect(float w, float h, float su, float sv, float du = 0, float dv = 0) {
    return {{du, dv, 1, 0, 0},
            {su + du, dv, 1, w, 0},
            {su + du, sv + dv, 1, w, h},
            {du, sv + dv, 1, 0, h}};
}

void draw(image &dst, image &src, const verts &v, uint32_t flags = 0, image_descriptor dd = {}) {
    if (!dd.width) dd = dst.desc();
    const image_descriptor sd = src.desc();
    map_polygon(&dd, &sd, v.data(), static_cast<int32_t>(v.size()), flags, 0, 1);
    EXPECT_TRUE(dst.guards_intact());
}

// Slot 1 at texel (cu, cv) with 7-bit fractions.
int bilinear(const image &t, int cu, int cv, int fu, int fv, int c) {
    const int r0 = (128 - fu) * t.ch(cu, cv, c) + fu * t.ch(cu + 1, cv, c);
    const int r1 = (128 - fu) * t.ch(cu, cv + 1, c) + fu * t.ch(cu + 1, cv + 1, c);
    return ((128 - fv) * r0 + fv * r1 + 8192) >> 14;
}

// Whole-destination rectangles: the identity copies (the 120/65536 margin
// clamps the last column and row to fraction 127), a half-pixel shift gives
// rounded means of neighbours, halving rounded means of 2 x 2 texels.
TEST(MapPolygon, AxisAlignedRectangles) {
    image small = noise(19, 13, 7), src = noise(32, 24, 5);
    image copy(19, 13, 0), shift(15, 8, 0), half(16, 12, 0);
    draw(copy, small, rect(19, 13, 19, 13));
    draw(shift, src, rect(15, 8, 15, 8, 0.5f, 0));
    draw(half, src, rect(16, 12, 32, 24));
    for (int y = 0; y < 13; ++y)
        for (int x = 0; x < 19; ++x)
            for (int c = 0; c < 4; ++c) {
                ASSERT_EQ(copy.ch(x, y, c), bilinear(small, std::min(x, 17), std::min(y, 11),
                                                     x == 18 ? 127 : 0, y == 12 ? 127 : 0, c))
                    << x << "," << y;
                if (x < 15 && y < 8) {
                    ASSERT_EQ(shift.ch(x, y, c), bilinear(src, x, y, 64, 0, c)) << x << "," << y;
                }
                if (x < 15 && y < 11) {
                    const int sum = src.ch(2 * x, 2 * y, c) + src.ch(2 * x + 1, 2 * y, c) +
                                    src.ch(2 * x, 2 * y + 1, c) + src.ch(2 * x + 1, 2 * y + 1, c);
                    ASSERT_EQ(half.ch(x, y, c), (sum + 2) >> 2) << x << "," << y;
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
            image src(12, 10, texel, uint16_t(as)), dst(20, 14, background, uint16_t(ad));
            const image_descriptor sd = src.desc(TOVREL_ALPHA_W12B, uint8_t(mode));
            const image_descriptor dd = dst.desc(target ? TOVREL_ALPHA_W12B : 0);
            const verts v = rect(20, 14, 12, 10);
            map_polygon(&dd, &sd, v.data(), 4, target == 2 ? MAP_TILE : 0, 0, 1);
            EXPECT_TRUE(dst.guards_intact());
            const int k = 4096 - as, a_over = mode ? as + (k * ad >> 12) : (ad * k >> 12) + as;
            for (int c = 0; c < 4; ++c) {
                const int S = texel >> (8 * c) & 255, D = background >> (8 * c) & 255;
                const int want =
                    target == 2 ? S
                    : target == 1
                        ? (mode ? (S * as + D * (k * ad >> 12)) / a_over : ((D * k) >> 12) + S)
                        : (mode ? (S * as + D * k) >> 12 : ((D * k) >> 12) + S);
                for (int i = 0; i < 20 * 14; ++i)
                    ASSERT_EQ(dst.ch(i % 20, i / 20, c), want) << mode << target << " " << i;
            }
            for (int i = 0; i < 20 * 14; ++i)
                ASSERT_EQ(dst.alpha_at(i % 20, i / 20), target == 2 ? as : target ? a_over : ad);
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
    image dst(128, 128, 0);
    image_descriptor dd = dst.desc(), sd = dd;
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
    image src(8, 16, 0), dst(8, 8, 0);
    for (int y = 0; y < 16; ++y)
        for (int x = 0; x < 8; ++x) src.at(x, y) = y % 2 ? 0x40404040u : 0xC0C0C0C0u;
    for (uint32_t field : {MAP_FIELD_TOP, MAP_FIELD_BOTTOM, MAP_FIELD_TOP | MAP_FIELD_BOTTOM}) {
        draw(dst, src, rect(8, 8, 8, 16), field);
        for (int i = 0; i < 64; ++i)
            ASSERT_EQ(dst.at(i % 8, i / 8), field == MAP_FIELD_BOTTOM ? 0x40404040u : 0xC0C0C0C0u);
    }
}

TEST(MapPolygon, PerspectiveFollowsTheProjectedTexture) {
    // Texel value 4 * column: the output is 4 * (u - 0.5) at each pixel's u,
    // the screen barycentrics weighted by w.
    image src(64, 4, 0), dst(40, 30, 0);
    for (int i = 0; i < 256; ++i) src.at(i % 64, i / 64) = static_cast<uint32_t>(4 * (i % 64));
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
            ASSERT_NEAR(dst.ch(x, y, 0), 4 * (num / den - 0.5), 2.0) << x << "," << y;
        }
}

const verts slanted = {
    {0, 0, 1, 2.3f, 1}, {4, 0, 1, 21.8f, 5}, {4, 4, 1, 15.2f, 18}, {0, 4, 1, 1.6f, 12}};

// Anti-aliased edges over a background without alpha blend by the area
// covered; into an alpha plane (transparent) the alpha is the area, the
// straight colour stays the texel and premultiplied colour is scaled by it.
// Two tiled halves (mode 2, premultiplied) add up to the same.
TEST(MapPolygon, EdgeAntiAliasingBlendsByArea) {
    image src(4, 4, texel);
    for (int mode : {-1, 1, 0, 2}) { // no destination alpha, straight, premultiplied, tiled
        image dst(24, 20, mode < 0 ? background : 0, 0);
        const image_descriptor dd =
            mode < 0 ? dst.desc() : dst.desc(TOVREL_ALPHA_W12B, uint8_t(mode & 1));
        if (mode == 2) {
            draw(dst, src, {slanted[0], slanted[1], slanted[2]}, MAP_EDGE_AA | MAP_TILE, dd);
            draw(dst, src, {slanted[0], slanted[2], slanted[3]}, MAP_EDGE_AA | MAP_TILE, dd);
        } else {
            draw(dst, src, slanted, MAP_EDGE_AA, dd);
        }
        for (int i = 0; i < 24 * 20; ++i) {
            const int x = i % 24, y = i / 24, a = dst.alpha_at(x, y);
            const double area = exact_cover(slanted, x, y) / 4096.0;
            if (mode >= 0) {
                ASSERT_NEAR(a, area * 4096, mode == 2 ? 4 : 3) << x << "," << y;
            }
            for (int c = 0; c < 4; ++c) {
                const int t = src.ch(0, 0, c), want = mode == 1 ? t : (t * a) >> 12;
                const int under = mode < 0 ? int(background >> (8 * c) & 255) : 0;
                if (mode < 0 || mode == 2) {
                    ASSERT_NEAR(dst.ch(x, y, c), t * area + under * (1 - area), mode < 0 ? 1.5 : 2)
                        << x << "," << y;
                } else if (a > 0) {
                    ASSERT_EQ(dst.ch(x, y, c), want) << x << "," << y;
                }
            }
        }
    }
}

// A 4:2:2 frame (YUY2 bytes or W210 words, pairs Y0 U Y1 V) and its alpha
// plane, inside guard samples (a row above and below, a pair on the right).
struct frame_422 {
    int w, h, sb, stride; // stride in samples
    std::vector<uint8_t> px;
    std::vector<uint16_t> alpha;
    size_t guards;
    frame_422(int w_, int h_, int sb_, std::array<int, 3> yuv, uint16_t a = 0)
        : w(w_), h(h_), sb(sb_), stride(2 * w_ + 4),
          px(size_t(stride * (h_ + 2) * sb_), uint8_t(0xA7)),
          alpha(size_t((w_ + 2) * (h_ + 2)), alpha_guard),
          guards(px.size() - size_t(w * h * 2 * sb)) {
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) {
                set(x, y, 0, yuv[0]), set(x, y, 1, yuv[1 + (x & 1)]);
                alpha[size_t((y + 1) * (w + 2) + x)] = a;
            }
    }
    // Sample k of pixel x: 0 its Y, 1 its chroma (U at even x, V at odd x).
    size_t at(int x, int y, int k) const { return size_t(((y + 1) * stride + 2 * x + k) * sb); }
    int get(int x, int y, int k) const {
        return sb == 1 ? px[at(x, y, k)] : px[at(x, y, k)] | px[at(x, y, k) + 1] << 8;
    }
    void set(int x, int y, int k, int v) {
        px[at(x, y, k)] = uint8_t(v);
        if (sb == 2) px[at(x, y, k) + 1] = uint8_t(v >> 8);
    }
    int alpha_at(int x, int y) const { return alpha[size_t((y + 1) * (w + 2) + x)]; }
    image_descriptor desc(uint8_t format, uint32_t alpha_kind = 0, uint8_t mode = 1) {
        image_descriptor d{};
        d.width = w, d.height = h, d.format = format, d.alpha_mode = mode;
        d.pixels = &px[at(0, 0, 0)], d.pitch = stride * sb, d.alpha_kind = alpha_kind;
        d.alpha = &alpha[size_t(w + 2)], d.alpha_pitch = (w + 2) * 2;
        return d;
    }
    bool guards_intact() const {
        return size_t(std::count(px.begin(), px.end(), uint8_t(0xA7))) >= guards &&
               size_t(std::count(alpha.begin(), alpha.end(), alpha_guard)) ==
                   alpha.size() - size_t(w * h);
    }
};

// The edge test on 4:2:2 frames, through the writer of every role an
// opaque texture reaches: no destination alpha, straight, premultiplied,
// and two tiled halves of each kind. Luma blends by its own pixel's area,
// U and V by the mean of the pair's two areas; tiled chroma accumulates
// around its zero (128, 512).
struct pair_case {
    const char *name;
    uint8_t format;
    int sb, scale; // sample bytes; 4 for 10-bit values
};
void PrintTo(const pair_case &c, std::ostream *os) {
    *os << c.name;
}
class PairEdges : public ::testing::TestWithParam<pair_case> {};

TEST_P(PairEdges, BlendByArea) {
    const pair_case p = GetParam();
    const int k = p.scale, zero = 128 * k;
    const std::array<int, 3> tex{200 * k, 60 * k, 170 * k}, back{30 * k, 150 * k, 90 * k};
    frame_422 src(4, 4, p.sb, tex);
    for (int mode : {-1, 1, 0, 2, 3}) { // none, straight, premul, tiled premul, tiled straight
        const bool tiled = mode >= 2;
        frame_422 dst(24, 20, p.sb, mode < 0 ? back : std::array{0, zero, zero}, 0);
        const image_descriptor sd = src.desc(p.format),
                               dd = mode < 0 ? dst.desc(p.format)
                                             : dst.desc(p.format, TOVREL_ALPHA_W12B,
                                                        uint8_t(mode == 1 || mode == 3));
        auto call = [&](const verts &v) {
            map_polygon(&dd, &sd, v.data(), int32_t(v.size()),
                        MAP_EDGE_AA | (tiled ? MAP_TILE : 0u), 0, 1);
        };
        if (tiled) {
            call({slanted[0], slanted[1], slanted[2]});
            call({slanted[0], slanted[2], slanted[3]});
        } else {
            call(slanted);
        }
        ASSERT_TRUE(dst.guards_intact());
        const double tol = (tiled ? 2.0 : 1.5) * k;
        for (int i = 0; i < 24 * 20; ++i) {
            const int x = i % 24, y = i / 24, x0 = x & ~1, a = dst.alpha_at(x, y);
            const double area = exact_cover(slanted, x, y) / 4096.0;
            const double pair_area =
                (exact_cover(slanted, x0, y) + exact_cover(slanted, x0 + 1, y)) / 8192.0;
            const int ty = tex[0], tc = tex[1 + (x & 1)];
            const int both = std::min(dst.alpha_at(x0, y), dst.alpha_at(x0 + 1, y));
            const std::string at = std::to_string(x) + "," + std::to_string(y);
            if (mode >= 0) {
                ASSERT_NEAR(a, area * 4096, tiled ? 4 : 3) << at;
            }
            if (mode < 0) {
                const int by = back[0], bc = back[1 + (x & 1)];
                ASSERT_NEAR(dst.get(x, y, 0), ty * area + by * (1 - area), tol) << at;
                ASSERT_NEAR(dst.get(x, y, 1), tc * pair_area + bc * (1 - pair_area), tol) << at;
            } else if (mode == 2) {
                ASSERT_NEAR(dst.get(x, y, 0), ty * area, tol) << at;
                ASSERT_NEAR(dst.get(x, y, 1), zero + (tc - zero) * pair_area, tol) << at;
            } else if (mode == 0) {
                if (a > 0) {
                    ASSERT_EQ(dst.get(x, y, 0), (ty * a) >> 12) << at;
                }
                if (both > 0) {
                    const int sum = dst.alpha_at(x0, y) + dst.alpha_at(x0 + 1, y);
                    ASSERT_EQ(dst.get(x, y, 1), (tc * sum) >> 13) << at;
                }
            } else {
                if (a > 0) {
                    ASSERT_EQ(dst.get(x, y, 0), ty) << at;
                }
                if (both > 0) {
                    ASSERT_EQ(dst.get(x, y, 1), tc) << at;
                }
            }
        }
    }
}

// Pairs F and G through each writer role a source alpha plane reaches:
// an opaque plane (4096) lays the texture's samples over the destination
// exactly (destination alpha becomes 4096), a transparent one (0) leaves
// it as it was (tiling adds and is left out there).
TEST_P(PairEdges, SourceAlphaPlane) {
    const pair_case p = GetParam();
    const int k = p.scale, zero = 128 * k;
    const std::array<int, 3> tex{200 * k, 60 * k, 170 * k}, back{30 * k, 150 * k, 90 * k};
    for (int as : {0, 4096})
        for (int mode : {0, 1})
            for (int target : {0, 1, 2}) { // no destination alpha, over alpha, tiled over alpha
                if (as == 0 && target == 2) continue;
                frame_422 src(8, 6, p.sb, tex, uint16_t(as));
                frame_422 dst(8, 6, p.sb, target == 2 ? std::array{0, zero, zero} : back,
                              target == 1 ? 1500 : 0);
                const image_descriptor sd = src.desc(p.format, TOVREL_ALPHA_W12B, uint8_t(mode)),
                                       dd = dst.desc(p.format, target ? TOVREL_ALPHA_W12B : 0);
                const verts v = rect(8, 6, 8, 6);
                map_polygon(&dd, &sd, v.data(), 4, target == 2 ? MAP_TILE : 0, 0, 1);
                ASSERT_TRUE(dst.guards_intact());
                const std::array<int, 3> &want = as ? tex : back;
                for (int i = 0; i < 8 * 6; ++i) {
                    const int x = i % 8, y = i / 8;
                    ASSERT_EQ(dst.get(x, y, 0), want[0]) << as << mode << target << " " << i;
                    ASSERT_EQ(dst.get(x, y, 1), want[1 + (x & 1)]) << as << mode << target;
                    if (target) ASSERT_EQ(dst.alpha_at(x, y), as ? 4096 : 1500);
                }
            }
}

INSTANTIATE_TEST_SUITE_P(Formats, PairEdges,
                         ::testing::Values(pair_case{"yuy2", TOVREL_FORMAT_YUY2, 1, 1},
                                           pair_case{"w210", TOVREL_FORMAT_W210, 2, 4}),
                         [](const auto &i) { return std::string(i.param.name); });

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

std::string reports;
void TOVREL_CALL capture(const char *line, void *) {
    reports += line;
}

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
    image src = noise(8, 8, 3), dst(16, 16, background, 77);
    image_descriptor dd = dst.desc(p.dst_alpha), sd = src.desc(p.src_alpha);
    dd.format = p.dst_format;
    sd.format = p.src_format;
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
    reports.clear();
    tovrel_set_report_sink(capture, nullptr);
    map_polygon(&dd, &sd, v.data(), static_cast<int32_t>(v.size()), p.flags, 0,
                p.change == bend::step0 ? 0 : 1);
    tovrel_set_report_sink(nullptr, nullptr);
    EXPECT_EQ(reports, p.message);
    EXPECT_TRUE(dst.guards_intact());
    for (int i = 0; i < 256; ++i)
        ASSERT_TRUE(dst.at(i % 16, i / 16) == background && dst.alpha_at(i % 16, i / 16) == 77);
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
