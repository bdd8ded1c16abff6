// map_polygon end to end: copies and halvings, footprint thresholds, field
// reads and refusals.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "param_names.h"
#include "polygon/polygon_call.h"
#include "rect/rect_test_util.h"

namespace {

using rect_test::image;
using verts = std::vector<map_vertex>;

constexpr uint32_t background = 0x10305070u;

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

// The whole w x h destination onto [0, su) x [0, sv) of the source.
verts rect(float w, float h, float su, float sv) {
    return {{0, 0, 1, 0, 0}, {su, 0, 1, w, 0}, {su, sv, 1, w, h}, {0, sv, 1, 0, h}};
}

void draw(image &dst, image &src, const verts &v, uint32_t flags = 0) {
    map_polygon(&dst.desc, &src.desc, v.data(), static_cast<int32_t>(v.size()), flags, 0, 1);
    EXPECT_TRUE(dst.guards_intact());
}

// The identity copies each texel (the last column and row clamp to
// fraction 127: not checked); halving gives rounded means of 2 x 2 texels.
TEST(MapPolygon, CopyAndHalving) {
    image src = noise(32, 24, 5), copy(32, 24), half(16, 12);
    draw(copy, src, rect(32, 24, 32, 24));
    draw(half, src, rect(16, 12, 32, 24));
    for (int i = 0; i < 31 * 23 * 4; ++i) {
        const int x = i / 4 % 31, y = i / 4 / 31, c = i % 4;
        ASSERT_EQ(copy.get(x, y, c), src.get(x, y, c)) << x << "," << y;
        if (x < 15 && y < 11) {
            const int sum = src.get(2 * x, 2 * y, c) + src.get(2 * x + 1, 2 * y, c) +
                            src.get(2 * x, 2 * y + 1, c) + src.get(2 * x + 1, 2 * y + 1, c);
            ASSERT_EQ(half.get(x, y, c), int(sum + 2) >> 2) << x << "," << y;
        }
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

// The call a refusal row makes, before its change.
struct call {
    image_descriptor dd, sd;
    verts v;
    int32_t step = 1;
};

struct refusal {
    const char *name;
    uint8_t src_format, dst_format;
    uint32_t src_alpha, dst_alpha, flags;
    const char *message; // "" when nothing is reported
    void (*change)(call &) = [](call &) {};
};

void PrintTo(const refusal &r, std::ostream *os) {
    *os << r.name;
}
class Refusal : public ::testing::TestWithParam<refusal> {};

TEST_P(Refusal, ReportsOnceAndLeavesTheDestination) {
    const refusal &p = GetParam();
    image src = noise(8, 8, 3, true), dst = uniform(16, 16, background, 77);
    call c{dst.desc, src.desc, rect(16, 16, 8, 8)};
    c.dd.format = p.dst_format, c.dd.alpha_kind = p.dst_alpha;
    c.sd.format = p.src_format, c.sd.alpha_kind = p.src_alpha;
    p.change(c);
    rect_test::report_capture reports;
    map_polygon(&c.dd, &c.sd, c.v.data(), static_cast<int32_t>(c.v.size()), p.flags, 0, c.step);
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
     [](call &c) { c.sd.alpha = nullptr; }},
    {"yuvq", 4, rgbq, 0, 0, 0, "source texture is not supported.\n"},
    {"crosses_no_line", rgbq, rgbq, 0, 0, tile, "", [](call &c) { c.v = rect(16, 0.2f, 8, 8); }},
    {"no_vertices", rgbq, rgbq, 0, 0, tile, "", [](call &c) { c.v.clear(); }},
    {"w210_odd_width", w210, w210, 0, 0, 0, "map_polygon: a 4:2:2 source needs an even width\n",
     [](call &c) { c.sd.width = 7; }},
    {"w210_pitch_off_texels", w210, w210, 0, 0, 0,
     "map_polygon: the source pitch must be a multiple of 4 bytes\n",
     [](call &c) { c.sd.pitch -= 2; }},
    {"pitch_past_int16_texels", rgbq, rgbq, 0, 0, 0,
     "map_polygon: the source pitch is more than 32767 texels\n",
     [](call &c) { c.sd.pitch = 4 * 32768; }},
    {"field_alpha_pitch_past_int16", rgbq, rgbq, a, 0, MAP_FIELD_TOP,
     "map_polygon: the source alpha pitch is more than 32767 samples\n",
     [](call &c) { c.sd.alpha_pitch = 2 * 16384; }},
    {"into_yuy2", rgbq, yuy2, 0, 0, 0, "map_polygon: an RGBQ texture needs an RGBQ destination\n"},
    {"s16x4a_into_rgbq", 10, rgbq, 0, 0, 0,
     "map_polygon: an S16X4A texture needs an S16X4A or S16X4 destination\n"},
    {"s16x4_into_word", 11, word, 0, 0, tile,
     "map_polygon: an S16X4 texture needs an S16X4A or S16X4 destination\n"},
    {"line_step", rgbq, rgbq, 0, 0, 0, "map_polygon: line_step must be at least 1\n",
     [](call &c) { c.step = 0; }},
    {"too_many", rgbq, rgbq, 0, 0, 0, "map_polygon: at most 30 vertices are supported\n",
     [](call &c) { c.v.resize(31, c.v[0]); }},
    {"nan", rgbq, rgbq, 0, 0, 0, "map_polygon: a vertex value is not finite\n",
     [](call &c) { c.v[2].u = NAN; }},
    {"negative_w", rgbq, rgbq, 0, 0, 0, "map_polygon: perspective weights must be positive\n",
     [](call &c) { c.v[1].w = -1; }},
    {"one_point", rgbq, rgbq, 0, 0, 0, "map_polygon: all vertices lie on one point\n",
     [](call &c) {
         c.v.assign(4, map_vertex{0, 0, 1, 3, 3});
     }},
    {"no_alpha_plane", rgbq, rgbq, 0, a, 0, "map_polygon: the destination has no alpha plane\n",
     [](call &c) { c.dd.alpha = nullptr; }},
    {"wider_than_line_buffer", rgbq, rgbq, 0, 0, MAP_EDGE_AA,
     "map_polygon: the destination is wider than the line buffer (8192 "
     "pixels)\n",
     [](call &c) { c.dd.width = 8193; }}};
INSTANTIATE_TEST_SUITE_P(Cases, Refusal, ::testing::ValuesIn(refusals),
                         [](const auto &i) { return std::string(i.param.name); });

} // namespace
