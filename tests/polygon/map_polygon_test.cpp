// map_polygon end to end with the RGBQ renderers and writers: footprints,
// fields, anti-aliased edges, destination alpha, tiling and refusals.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "polygon/polygon_call.h"
#include "polygon_probe.h"

namespace {

using tovrel::test::exact_cover;

constexpr uint32_t guard = 0xA5C3E1F7u;
constexpr uint32_t texel = 0x80C04020u;
constexpr uint32_t background = 0x10305070u;
constexpr uint16_t alpha_guard = 0xBEEF;

// An RGBQ image inside guard pixels: one guard row above and below, three
// guard columns on the right, on the colour and the alpha plane.
struct image {
    int w, h, stride;
    std::vector<uint32_t> px;
    std::vector<uint16_t> alpha;
    image(int w_, int h_, uint32_t fill, uint16_t a = 0)
        : w(w_), h(h_), stride(w_ + 3), px(static_cast<size_t>(stride * (h_ + 2)), guard),
          alpha(px.size(), alpha_guard) {
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) at(x, y) = fill, alpha_at(x, y) = a;
    }
    size_t index(int x, int y) const { return static_cast<size_t>((y + 1) * stride + x); }
    uint32_t &at(int x, int y) { return px[index(x, y)]; }
    uint16_t &alpha_at(int x, int y) { return alpha[index(x, y)]; }
    int ch(int x, int y, int c) const { return (px[index(x, y)] >> (8 * c)) & 255; }
    image_descriptor desc(uint32_t alpha_kind = TOVREL_ALPHA_NONE, uint8_t mode = 1) {
        image_descriptor d{};
        d.width = w;
        d.height = h;
        d.format = TOVREL_FORMAT_RGBQ;
        d.alpha_mode = mode;
        d.pixels = &px[index(0, 0)];
        d.pitch = stride * 4;
        d.alpha_kind = alpha_kind;
        d.alpha = &alpha[index(0, 0)];
        d.alpha_pitch = stride * 2;
        return d;
    }
    bool guards_intact() const {
        for (int y = -1; y <= h; ++y)
            for (int x = 0; x < stride; ++x) {
                if (y >= 0 && y < h && x < w) continue;
                const size_t i = static_cast<size_t>((y + 1) * stride + x);
                if (px[i] != guard || alpha[i] != alpha_guard) return false;
            }
        return true;
    }
};

image noise(int w, int h, unsigned seed) {
    image img(w, h, 0);
    std::mt19937 rng(seed);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) img.at(x, y) = static_cast<uint32_t>(rng());
    return img;
}

// Axis-aligned mapping of the whole destination onto [0, su) x [0, sv).
std::vector<map_vertex> rect(float w, float h, float su, float sv, float du = 0, float dv = 0) {
    return {{du, dv, 1, 0, 0},
            {su + du, dv, 1, w, 0},
            {su + du, sv + dv, 1, w, h},
            {du, sv + dv, 1, 0, h}};
}

int32_t draw(image &dst, image &src, const std::vector<map_vertex> &v, uint32_t flags = 0,
             image_descriptor dd = {}, image_descriptor sd = {}) {
    if (!dd.width) dd = dst.desc();
    if (!sd.width) sd = src.desc();
    const int32_t r = map_polygon(&dd, &sd, v.data(), static_cast<int32_t>(v.size()), flags, 0, 1);
    EXPECT_TRUE(dst.guards_intact());
    return r;
}

// Slot 1 at texel (cu, cv) with 7-bit fractions, channel c.
int bilinear(const image &t, int cu, int cv, int fu, int fv, int c) {
    const int r0 = (128 - fu) * t.ch(cu, cv, c) + fu * t.ch(cu + 1, cv, c);
    const int r1 = (128 - fu) * t.ch(cu, cv + 1, c) + fu * t.ch(cu + 1, cv + 1, c);
    return ((128 - fv) * r0 + fv * r1 + 8192) >> 14;
}

TEST(MapPolygon, IdentityCopiesAllButTheLastColumnAndRow) {
    image src = noise(19, 13, 7), dst(19, 13, 0);
    EXPECT_EQ(draw(dst, src, rect(19, 13, 19, 13)), 0);
    for (int y = 0; y < 13; ++y)
        for (int x = 0; x < 19; ++x)
            for (int c = 0; c < 4; ++c) {
                // The 120/65536 margin clamps the last column and row to
                // fraction 127 between the last two texels.
                const int want = bilinear(src, std::min(x, 17), std::min(y, 11), x == 18 ? 127 : 0,
                                          y == 12 ? 127 : 0, c);
                ASSERT_EQ(dst.ch(x, y, c), want) << x << "," << y << " channel " << c;
            }
}

TEST(MapPolygon, HalfPixelShiftGivesRoundedMeans) {
    image src = noise(16, 8, 11), dst(15, 8, 0);
    draw(dst, src, rect(15, 8, 15, 8, 0.5f, 0));
    for (int y = 0; y < 7; ++y)
        for (int x = 0; x < 15; ++x)
            for (int c = 0; c < 4; ++c)
                ASSERT_EQ(dst.ch(x, y, c), (src.ch(x, y, c) + src.ch(x + 1, y, c) + 1) >> 1);
}

TEST(MapPolygon, HalvingAveragesTwoByTwo) {
    image src = noise(32, 24, 5), dst(16, 12, 0);
    draw(dst, src, rect(16, 12, 32, 24));
    for (int y = 0; y < 11; ++y)
        for (int x = 0; x < 15; ++x)
            for (int c = 0; c < 4; ++c) {
                const int sum = src.ch(2 * x, 2 * y, c) + src.ch(2 * x + 1, 2 * y, c) +
                                src.ch(2 * x, 2 * y + 1, c) + src.ch(2 * x + 1, 2 * y + 1, c);
                ASSERT_EQ(dst.ch(x, y, c), (sum + 2) >> 2) << x << "," << y;
            }
}

// Footprint slots: a chord along x from the last vertex, ratios u/x and v/y.
struct slot_case {
    float rh, rv;
    uint32_t flags;
    int slot;
};

class Footprint : public ::testing::TestWithParam<slot_case> {};

TEST_P(Footprint, SlotFollowsTheRatios) {
    const slot_case p = GetParam();
    const std::vector<map_vertex> v = {
        {100 * p.rh, 0, 1, 100, 0}, {60 * p.rh, 50 * p.rv, 1, 60, 50}, {0, 0, 1, 0, 0}};
    image dst(8, 8, 0);
    image_descriptor dd = dst.desc(), sd = dd;
    sd.width = sd.height = 1000;
    auto work = std::make_unique<tovrel::polygon_work>();
    const tovrel::polygon_args args{&dd, &sd, v.data(), 3, p.flags, 0, 1};
    ASSERT_EQ(tovrel::prepare_polygon(*work, args), tovrel::prepare_status::draw);
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
                      // A field read halves the vertical ratio: 2:1 counts as 1:1.
                      slot_case{1, 2, MAP_FIELD_TOP, 1}, slot_case{1, 2.7f, MAP_FIELD_BOTTOM, 11}));

TEST(MapPolygon, RotationMeasuresAlongTheRotatedAxes) {
    // u runs down the destination at 2:1, v across at 1:1: slot 11, where
    // unrotated axes would give slot 4.
    const std::vector<map_vertex> v = {{200, 0, 1, 0, 100}, {120, 50, 1, 50, 60}, {0, 0, 1, 0, 0}};
    image dst(64, 128, 0);
    image_descriptor dd = dst.desc(), sd = dd;
    sd.width = sd.height = 300;
    auto work = std::make_unique<tovrel::polygon_work>();
    ASSERT_EQ(tovrel::prepare_polygon(*work, {&dd, &sd, v.data(), 3, 0, 0, 1}),
              tovrel::prepare_status::draw);
    EXPECT_EQ(work->footprint.slot, 11);
}

TEST(MapPolygon, FieldReadTakesOnlyItsLines) {
    image src(8, 16, 0), dst(8, 8, 0);
    for (int y = 0; y < 16; ++y)
        for (int x = 0; x < 8; ++x) src.at(x, y) = y % 2 ? 0x40404040u : 0xC0C0C0C0u;
    for (uint32_t field : {unsigned{MAP_FIELD_TOP}, unsigned{MAP_FIELD_BOTTOM},
                           unsigned{MAP_FIELD_TOP | MAP_FIELD_BOTTOM}}) {
        draw(dst, src, rect(8, 8, 8, 16), field);
        for (int y = 0; y < 8; ++y)
            for (int x = 0; x < 8; ++x)
                ASSERT_EQ(dst.at(x, y), field == MAP_FIELD_BOTTOM ? 0x40404040u : 0xC0C0C0C0u);
    }
}

TEST(MapPolygon, PerspectiveFollowsTheProjectedTexture) {
    // Texel value 4 * column: the output is 4 * (u - 0.5) at each pixel's
    // perspective-correct u (screen barycentrics weighted by w).
    image src(64, 4, 0), dst(40, 30, 0);
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 64; ++x) src.at(x, y) = static_cast<uint32_t>(4 * x);
    const std::vector<map_vertex> v = {
        {1, 1, 1.0f, 2, 2}, {60, 1, 0.25f, 38, 5}, {30, 2, 0.5f, 9, 28}};
    draw(dst, src, v);
    for (int y = 0; y < 30; ++y)
        for (int x = 0; x < 40; ++x) {
            const double px = x + 0.5, py = y + 0.5;
            const double d =
                (v[1].y - v[2].y) * (v[0].x - v[2].x) + (v[2].x - v[1].x) * (v[0].y - v[2].y);
            const double l0 =
                ((v[1].y - v[2].y) * (px - v[2].x) + (v[2].x - v[1].x) * (py - v[2].y)) / d;
            const double l1 =
                ((v[2].y - v[0].y) * (px - v[2].x) + (v[0].x - v[2].x) * (py - v[2].y)) / d;
            const double l2 = 1 - l0 - l1;
            if (std::min({l0, l1, l2}) < 0.02) continue; // edge pixels
            const double u = (l0 * v[0].u * v[0].w + l1 * v[1].u * v[1].w + l2 * v[2].u * v[2].w) /
                             (l0 * v[0].w + l1 * v[1].w + l2 * v[2].w);
            ASSERT_NEAR(dst.ch(x, y, 0), 4 * (u - 0.5), 2.0) << x << "," << y;
        }
}

// Random polygons far beyond both images, small textures, every flag: no
// write leaves the destination (guards) and no read leaves the exactly
// sized texture (checked by the sanitizer builds).
TEST(MapPolygon, StaysInsideBothImages) {
    const unsigned seed = 20240611u;
    std::printf("seed %u\n", seed);
    std::mt19937 rng(seed);
    auto real = [&](double lo, double hi) {
        return static_cast<float>(lo + (hi - lo) * (rng() / 4294967296.0));
    };
    for (int round = 0; round < 300; ++round) {
        const int sw = 1 + static_cast<int>(rng() % 9), sh = 2 + static_cast<int>(rng() % 9);
        std::vector<uint32_t> texels(static_cast<size_t>(sw * sh), 0x11223344u);
        std::vector<uint16_t> texel_alpha(texels.size(), 4096);
        image dst(1 + static_cast<int>(rng() % 40), 1 + static_cast<int>(rng() % 30), background);
        image_descriptor sd{};
        sd.width = sw;
        sd.height = sh;
        sd.format = TOVREL_FORMAT_RGBQ;
        sd.pixels = texels.data();
        sd.pitch = sw * 4;
        sd.alpha = texel_alpha.data();
        sd.alpha_pitch = sw * 2;
        std::vector<map_vertex> v(3 + rng() % 6);
        const bool persp = rng() % 2;
        for (map_vertex &p : v)
            p = {real(-40, 60), real(-40, 60), persp ? real(0.05, 4) : 1.0f, real(-60, 100),
                 real(-60, 100)};
        const uint32_t flags = rng() % 32;
        image_descriptor dd = dst.desc(rng() % 2 ? TOVREL_ALPHA_W12B : 0, rng() % 2);
        map_polygon(&dd, &sd, v.data(), static_cast<int32_t>(v.size()), flags,
                    static_cast<int32_t>(rng() % 7) - 3, 1 + static_cast<int32_t>(rng() % 3));
        ASSERT_TRUE(dst.guards_intact()) << "round " << round;
    }
}

int channel(uint32_t p, int c) {
    return (p >> (8 * c)) & 255;
}

TEST(MapPolygon, EdgeAntiAliasingBlendsByArea) {
    image src(4, 4, texel), dst(24, 20, background);
    const std::vector<map_vertex> v = {
        {0, 0, 1, 2.3f, 1}, {4, 0, 1, 21.8f, 5}, {4, 4, 1, 15.2f, 18}, {0, 4, 1, 1.6f, 12}};
    draw(dst, src, v, MAP_EDGE_AA);
    for (int y = 0; y < 20; ++y)
        for (int x = 0; x < 24; ++x)
            for (int c = 0; c < 4; ++c) {
                const double a = exact_cover(v, x, y) / 4096.0;
                ASSERT_NEAR(dst.ch(x, y, c),
                            channel(texel, c) * a + channel(background, c) * (1 - a), 1.5)
                    << x << "," << y;
            }
}

TEST(MapPolygon, DestinationAlphaStraightAndPremultiplied) {
    image src(4, 4, texel);
    const std::vector<map_vertex> v = {
        {0, 0, 1, 2.3f, 1}, {4, 0, 1, 21.8f, 5}, {0, 4, 1, 1.6f, 12}};
    for (uint8_t mode : {uint8_t{1}, uint8_t{0}}) {
        image dst(24, 14, 0, 0);
        draw(dst, src, v, MAP_EDGE_AA, dst.desc(TOVREL_ALPHA_W12B, mode));
        for (int y = 0; y < 14; ++y)
            for (int x = 0; x < 24; ++x) {
                const int a = dst.alpha_at(x, y);
                ASSERT_NEAR(a, exact_cover(v, x, y), 3) << x << "," << y;
                // Over a transparent destination: straight keeps the colour,
                // premultiplied scales it by the coverage.
                for (int c = 0; c < 4 && a > 0; ++c)
                    ASSERT_EQ(dst.ch(x, y, c),
                              mode == 1 ? channel(texel, c) : (channel(texel, c) * a) >> 12);
            }
    }
}

TEST(MapPolygon, TiledHalvesSumToWholeCoverage) {
    image src(4, 4, texel), dst(24, 20, 0, 0);
    const map_vertex a{0, 0, 1, 2.3f, 1}, b{4, 0, 1, 21.8f, 3}, c{4, 4, 1, 20.2f, 18},
        d{0, 4, 1, 1.6f, 16};
    const image_descriptor dd = dst.desc(TOVREL_ALPHA_W12B, 0);
    draw(dst, src, {a, b, c}, MAP_EDGE_AA | MAP_TILE, dd);
    draw(dst, src, {a, c, d}, MAP_EDGE_AA | MAP_TILE, dd);
    for (int y = 0; y < 20; ++y)
        for (int x = 0; x < 24; ++x) {
            const double want = exact_cover({a, b, c, d}, x, y);
            ASSERT_NEAR(dst.alpha_at(x, y), want, 4) << x << "," << y;
            for (int ch = 0; ch < 4; ++ch)
                ASSERT_NEAR(dst.ch(x, y, ch), channel(texel, ch) * want / 4096, 2.0);
        }
}

std::string reports;
void TOVREL_CALL capture(const char *line, void *) {
    reports += line;
}

struct refusal {
    const char *name;
    std::function<void(image_descriptor &, image_descriptor &, std::vector<map_vertex> &,
                       uint32_t &, int32_t &)>
        change;
    const char *message; // "" when nothing is reported
};

class Refusal : public ::testing::TestWithParam<refusal> {};

TEST_P(Refusal, ReportsOnceAndLeavesTheDestination) {
    image src = noise(8, 8, 3), dst(16, 16, background, 77);
    image_descriptor dd = dst.desc(), sd = src.desc();
    std::vector<map_vertex> v = rect(16, 16, 8, 8);
    uint32_t flags = 0;
    int32_t step = 1;
    GetParam().change(dd, sd, v, flags, step);
    reports.clear();
    tovrel_set_report_sink(capture, nullptr);
    map_polygon(&dd, &sd, v.data(), static_cast<int32_t>(v.size()), flags, 0, step);
    tovrel_set_report_sink(nullptr, nullptr);
    EXPECT_EQ(reports, GetParam().message);
    EXPECT_TRUE(dst.guards_intact());
    for (int y = 0; y < 16; ++y)
        for (int x = 0; x < 16; ++x)
            ASSERT_TRUE(dst.at(x, y) == background && dst.alpha_at(x, y) == 77);
}

using D = image_descriptor;
using V = std::vector<map_vertex>;
INSTANTIATE_TEST_SUITE_P(Cases, Refusal,
                         ::testing::Values(refusal{"tiled_rgbq",
                                                   [](D &, D &, V &, uint32_t &f, int32_t &) {
                                                       f = MAP_TILE;
                                                   },
                                                   "RGBQ -> RGBQ with tiling is not supported.\n"},
                                           refusal{"tiled_rgbq_alpha",
                                                   [](D &, D &s, V &, uint32_t &f, int32_t &) {
                                                       s.alpha_kind = 3, f = MAP_TILE;
                                                   },
                                                   "RGBQ + alpha -> RGBQ with tiling is not "
                                                   "supported.\n"},
                                           refusal{"no_line_crossed",
                                                   [](D &, D &, V &v, uint32_t &f, int32_t &) {
                                                       f = MAP_TILE, v = rect(16, 0.2f, 8, 8);
                                                   },
                                                   ""},
                                           refusal{"yuvq_source",
                                                   [](D &, D &s, V &, uint32_t &, int32_t &) {
                                                       s.format = 4;
                                                   },
                                                   "source texture is not supported.\n"},
                                           refusal{"unknown_source",
                                                   [](D &, D &s, V &, uint32_t &, int32_t &) {
                                                       s.format = 12;
                                                   },
                                                   "source texture is not supported.\n"},
                                           refusal{"tiled_word",
                                                   [](D &d, D &s, V &, uint32_t &f, int32_t &) {
                                                       d.format = s.format = 3, f = MAP_TILE;
                                                   },
                                                   "map:tile word to word is not supported\n"},
                                           refusal{"word_over_alpha",
                                                   [](D &d, D &s, V &, uint32_t &, int32_t &) {
                                                       d.format = s.format = 3, d.alpha_kind = 3;
                                                   },
                                                   "map:overlay word to word + w12b is not "
                                                   "supported\n"},
                                           refusal{"yuy2_source",
                                                   [](D &d, D &s, V &, uint32_t &, int32_t &) {
                                                       d.format = s.format = 2;
                                                   },
                                                   "map_polygon: YUY2 textures are not supported "
                                                   "by this build\n"},
                                           refusal{"rgbq_alpha_source",
                                                   [](D &, D &s, V &, uint32_t &,
                                                      int32_t &) { s.alpha_kind = 3; },
                                                   "map_polygon: RGBQ + alpha textures are not "
                                                   "supported by this build\n"},
                                           refusal{"format_mismatch",
                                                   [](D &d, D &, V &, uint32_t &, int32_t &) {
                                                       d.format = 2;
                                                   },
                                                   "map_polygon: an RGBQ texture needs an RGBQ "
                                                   "destination\n"},
                                           refusal{
                                               "line_step_0",
                                               [](D &, D &, V &, uint32_t &, int32_t &s) { s = 0; },
                                               "map_polygon: line_step must be at least 1\n"},
                                           refusal{"too_many_vertices",
                                                   [](D &, D &, V &v, uint32_t &, int32_t &) {
                                                       v.resize(31, v[0]);
                                                   },
                                                   "map_polygon: at most 30 vertices are "
                                                   "supported\n"},
                                           refusal{"nan_vertex",
                                                   [](D &, D &, V &v, uint32_t &,
                                                      int32_t &) { v[2].u = NAN; },
                                                   "map_polygon: a vertex value is not finite\n"},
                                           refusal{"null_pixels",
                                                   [](D &d, D &, V &, uint32_t &,
                                                      int32_t &) { d.pixels = nullptr; },
                                                   "map_polygon: the destination has no pixels\n"},
                                           refusal{
                                               "null_alpha",
                                               [](D &d, D &, V &, uint32_t &, int32_t &) {
                                                   d.alpha_kind = 3, d.alpha = nullptr;
                                               },
                                               "map_polygon: the destination has no alpha plane\n"},
                                           refusal{"wide_aa",
                                                   [](D &d, D &, V &, uint32_t &f, int32_t &) {
                                                       d.width = 9000, f = MAP_EDGE_AA;
                                                   },
                                                   "map_polygon: the destination is wider than the "
                                                   "line buffer (8192 pixels)\n"},
                                           refusal{"empty_source",
                                                   [](D &, D &s, V &, uint32_t &,
                                                      int32_t &) { s.height = 0; },
                                                   "map_polygon: image sizes must be positive\n"},
                                           refusal{"negative_w",
                                                   [](D &, D &, V &v, uint32_t &, int32_t &) {
                                                       v[1].w = -1;
                                                   },
                                                   "map_polygon: perspective weights must be "
                                                   "positive\n"},
                                           refusal{"one_point",
                                                   [](D &, D &, V &v, uint32_t &, int32_t &) {
                                                       for (auto &p : v) p.x = p.y = 3;
                                                   },
                                                   "map_polygon: all vertices lie on one point\n"},
                                           refusal{"no_vertices",
                                                   [](D &, D &, V &v, uint32_t &, int32_t &) {
                                                       v.clear();
                                                   },
                                                   ""}),
                         [](const ::testing::TestParamInfo<refusal> &i) {
                             return std::string(i.param.name);
                         });

} // namespace
