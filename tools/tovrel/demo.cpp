#include "demo.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <filesystem>

#include <tovrel.h>

#include "commands.h"
#include "image_io.h"
#include "quad.h"
#include "session.h"

namespace tovrel_tool {
namespace {

constexpr double pi = 3.14159265358979323846;

uint8_t to_byte(double v) {
    return static_cast<uint8_t>(std::lround(std::clamp(v, 0.0, 255.0)));
}

const format_info *rgbq() {
    return find_format(uint8_t{TOVREL_FORMAT_RGBQ});
}

// Share of a pixel at distance d from a centre that lies inside radius r,
// with a one-pixel transition.
double inside(double d, double r) {
    return std::clamp(r - d + 0.5, 0.0, 1.0);
}

struct colour {
    double r, g, b;
    void mix(const colour &c, double a) {
        r += (c.r - r) * a;
        g += (c.g - g) * a;
        b += (c.b - b) * a;
    }
};

void put(frame &f, int32_t x, int32_t y, const colour &c) {
    uint8_t *p = f.row(y) + 4 * x;
    p[0] = to_byte(c.r);
    p[1] = to_byte(c.g);
    p[2] = to_byte(c.b);
    p[3] = 255;
}

colour card_pixel(int32_t x, int32_t y) {
    constexpr int32_t w = card_width, h = card_height;
    const double px = x + 0.5, py = y + 0.5;
    colour c{30.0 + 170.0 * px / w, 40.0 + 140.0 * py / h, 200.0 - 120.0 * px / w};
    // Two-pixel grid lines every 40 pixels.
    if (x % 40 == 0 || x % 40 == 39 || y % 40 == 0 || y % 40 == 39)
        c.mix({235.0, 235.0, 235.0}, 0.65);
    // Patches of one-pixel detail, the part that aliases when minified.
    auto in_box = [&](int32_t x0, int32_t y0, int32_t x1, int32_t y1) {
        return x >= x0 && x < x1 && y >= y0 && y < y1;
    };
    auto grey = [](bool on) { return on ? colour{255.0, 255.0, 255.0} : colour{0.0, 0.0, 0.0}; };
    if (in_box(40, 40, 160, 120)) c = grey(x & 1);
    if (in_box(40, 140, 160, 220)) c = grey(y & 1);
    if (in_box(480, 40, 600, 120)) c = grey((x + y) % 4 < 2);
    if (in_box(480, 140, 600, 220)) c = grey((x ^ y) & 1);
    // Zone plate: cos(0.4 pi d^2 / 100) rises to 0.4 cycles per pixel at
    // its rim, inside a white ring with a dark outline.
    const double d = std::hypot(px - 320.0, py - 140.0);
    if (d < 100.0) {
        const double z = 0.5 + 0.5 * std::cos(0.4 * pi * d * d / 100.0);
        c = {255.0 * z, 255.0 * z, 255.0 * z};
    }
    c.mix({20.0, 20.0, 30.0}, inside(d, 108.0) - inside(d, 106.0));
    c.mix({255.0, 255.0, 255.0}, inside(d, 106.0) - (d < 100.0 ? 1.0 : 0.0));
    // Colour bars and a grey ramp.
    static constexpr colour bars[8] = {{255, 255, 255}, {255, 255, 0}, {0, 255, 255}, {0, 255, 0},
                                       {255, 0, 255},   {255, 0, 0},   {0, 0, 255},   {0, 0, 0}};
    if (in_box(40, 258, 600, 298)) c = bars[(x - 40) / 70];
    if (in_box(40, 306, 600, 326)) {
        const double v = 255.0 * (px - 40.0) / 560.0;
        c = {v, v, v};
    }
    // Frame: white outside, red inside.
    const int32_t edge = std::min(std::min(x, w - 1 - x), std::min(y, h - 1 - y));
    if (edge < 4)
        c = {255.0, 255.0, 255.0};
    else if (edge < 8)
        c = {200.0, 30.0, 30.0};
    // Corner discs telling the orientation.
    static constexpr colour corner_colours[4] = {
        {230, 40, 40}, {40, 200, 60}, {40, 80, 230}, {240, 220, 40}};
    const double cx[4] = {28.0, w - 28.0, w - 28.0, 28.0};
    const double cy[4] = {28.0, 28.0, h - 28.0, h - 28.0};
    for (int i = 0; i < 4; ++i) {
        const double dc = std::hypot(px - cx[i], py - cy[i]);
        c.mix({0.0, 0.0, 0.0}, inside(dc, 13.5));
        c.mix(corner_colours[i], inside(dc, 12.0));
    }
    return c;
}

// Corners TL, TR, BR, BL of a w x h rectangle centred on (cx, cy), turned
// by `degrees` (clockwise on screen).
std::array<double, 8> turned_box(double cx, double cy, double w, double h, double degrees) {
    const double a = degrees * pi / 180.0, c = std::cos(a), s = std::sin(a);
    const double dx[4] = {-w / 2, w / 2, w / 2, -w / 2};
    const double dy[4] = {-h / 2, -h / 2, h / 2, h / 2};
    std::array<double, 8> q;
    for (int i = 0; i < 4; ++i) {
        q[2 * i] = cx + dx[i] * c - dy[i] * s;
        q[2 * i + 1] = cy + dx[i] * s + dy[i] * c;
    }
    return q;
}

struct scene_context {
    frame &card;
    stopwatch &clock;
};

void draw_quad(scene_context &ctx, frame &dst, frame &src, const std::array<double, 8> &quad,
               bool perspective, uint32_t flags) {
    std::array<map_vertex, 4> v;
    make_quad_vertices(src.width, src.height, quad, perspective, v);
    const image_descriptor d = dst.descriptor();
    const image_descriptor s = src.descriptor();
    ctx.clock.time([&] { map_polygon(&d, &s, v.data(), 4, flags, 0, 1); });
}

void draw_rect(scene_context &ctx, frame &dst, const std::array<double, 4> &to, frame &src,
               const std::array<double, 4> &from, uint32_t flags) {
    const image_descriptor d = dst.descriptor();
    const image_descriptor s = src.descriptor();
    ctx.clock.time([&] {
        map_rectangle(&d, float(to[0]), float(to[1]), float(to[2]), float(to[3]), &s,
                      float(from[0]), float(from[1]), float(from[2]), float(from[3]), flags, 0, 1);
    });
}

frame blank_scene() {
    frame f;
    make_frame(f, rgbq(), scene_width, scene_height);
    return f;
}

frame scene_testcard(scene_context &ctx) {
    frame out = blank_scene();
    draw_rect(ctx, out, {0.0, 0.0, scene_width, scene_height}, ctx.card,
              {0.0, 0.0, card_width, card_height}, 0);
    return out;
}

frame scene_perspective(scene_context &ctx) {
    frame out = blank_scene();
    constexpr int32_t horizon = 150;
    for (int32_t y = 0; y < out.height; ++y) {
        for (int32_t x = 0; x < out.width; ++x) {
            colour c;
            if (y < horizon) {
                const double t = (y + 0.5) / horizon;
                c = {60.0 + 140.0 * t, 100.0 + 115.0 * t, 170.0 + 60.0 * t};
            } else {
                const double t = (y - horizon + 0.5) / (out.height - horizon);
                c = {120.0 - 60.0 * t, 110.0 - 50.0 * t, 90.0 - 40.0 * t};
            }
            put(out, x, y, c);
        }
    }
    draw_quad(ctx, out, ctx.card, {52.0, 18.0, 400.0, 64.0, 400.0, 206.0, 52.0, 254.0}, true,
              MAP_EDGE_AA);
    return out;
}

frame scene_minify(scene_context &ctx) {
    frame out = blank_scene();
    for (int32_t y = 0; y < out.height; ++y)
        for (int32_t x = 0; x < out.width; ++x) put(out, x, y, {128.0, 128.0, 128.0});
    constexpr double w = card_width / 3.0, h = card_height / 3.0;
    draw_quad(ctx, out, ctx.card, turned_box(122.0, 135.0, w, h, 10.0), false, MAP_EDGE_AA);
    draw_quad(ctx, out, ctx.card, turned_box(358.0, 135.0, w, h, 10.0), false,
              MAP_EDGE_AA | MAP_NO_FILTER);
    return out;
}

frame scene_layers(scene_context &ctx) {
    // The layer: straight colours with a w12b alpha plane, fully
    // transparent at first.
    frame layer = blank_scene();
    add_alpha_plane(layer, 0, TOVREL_ALPHA_STRAIGHT);
    draw_quad(ctx, layer, ctx.card, turned_box(180.0, 122.0, 300.0, 168.75, -9.0), false,
              MAP_EDGE_AA);
    draw_quad(ctx, layer, ctx.card, {296.0, 112.0, 452.0, 138.0, 444.0, 252.0, 286.0, 238.0}, true,
              MAP_EDGE_AA);
    // A glow with its own alpha: straight orange, alpha falling off as
    // (1 - (r/32)^2)^2.
    frame glow;
    make_frame(glow, rgbq(), 64, 64);
    add_alpha_plane(glow, 0, TOVREL_ALPHA_STRAIGHT);
    for (int32_t y = 0; y < 64; ++y) {
        for (int32_t x = 0; x < 64; ++x) {
            put(glow, x, y, {255.0, 190.0, 60.0});
            const double r = std::hypot(x + 0.5 - 32.0, y + 0.5 - 32.0) / 32.0;
            const double a = r < 1.0 ? (1.0 - r * r) * (1.0 - r * r) : 0.0;
            glow.alpha[static_cast<size_t>(y) * 64 + x] =
                static_cast<uint16_t>(std::lround(4096.0 * a));
        }
    }
    draw_rect(ctx, layer, {262.5, 2.25, 412.5, 152.25}, glow, {0.0, 0.0, 64.0, 64.0}, 0);
    // Flatten over a checkerboard: out = (D a + C (4096 - a) + 2048) >> 12.
    frame out = blank_scene();
    for (int32_t y = 0; y < out.height; ++y) {
        for (int32_t x = 0; x < out.width; ++x) {
            const uint32_t a = std::min<uint32_t>(layer.alpha[size_t(y) * out.width + x], 4096);
            const uint32_t check = ((x / 12) ^ (y / 12)) & 1 ? 204 : 153;
            const uint8_t *s = layer.row(y) + 4 * x;
            uint8_t *d = out.row(y) + 4 * x;
            for (int i = 0; i < 3; ++i)
                d[i] = uint8_t((s[i] * a + check * (4096 - a) + 2048) >> 12);
            d[3] = 255;
        }
    }
    return out;
}

// A 192 x 112 logo with straight colours and a soft w12b alpha plane: a
// rounded badge (gradient orange to magenta) whose edge fades out over 5
// pixels, a half-transparent ring and a clear hole.
frame make_logo() {
    constexpr int32_t w = 192, h = 112;
    frame logo;
    make_frame(logo, rgbq(), w, h);
    add_alpha_plane(logo, 0, TOVREL_ALPHA_STRAIGHT);
    for (int32_t y = 0; y < h; ++y) {
        for (int32_t x = 0; x < w; ++x) {
            const double px = x + 0.5, py = y + 0.5, t = px / w;
            put(logo, x, y, {250.0 - 30.0 * t, 150.0 - 110.0 * t, 40.0 + 170.0 * t});
            // Distance inside a rounded rectangle inset by 6, corner radius 30.
            const double qx = std::max(std::abs(px - w / 2.0) - (w / 2.0 - 36.0), 0.0);
            const double qy = std::max(std::abs(py - h / 2.0) - (h / 2.0 - 36.0), 0.0);
            const double depth = 30.0 - std::hypot(qx, qy);
            double a = std::clamp(depth / 5.0, 0.0, 1.0);
            const double d = std::hypot(px - w / 2.0, py - h / 2.0);
            if (d < 34.0) a *= d < 22.0 ? 0.0 : 0.45;
            logo.alpha[static_cast<size_t>(y) * w + x] =
                static_cast<uint16_t>(std::lround(4096.0 * a));
        }
    }
    return logo;
}

frame scene_overlay(scene_context &ctx) {
    frame out = scene_testcard(ctx);
    frame logo = make_logo();
    draw_quad(ctx, out, logo, {250.0, 150.0, 452.0, 128.0, 440.0, 236.0, 262.0, 258.0}, true,
              MAP_EDGE_AA);
    return out;
}

frame scene_tiles(scene_context &ctx) {
    // The card cut into 3 x 3 source rectangles, each scaled by 0.36 to a
    // fractional place; left with RECT_TILE, right without.
    frame layer = blank_scene();
    // Tiling adds each rectangle's rounded share of a seam pixel, wrapping
    // modulo 256: up to four shares meet at a crossing, each rounded up by at
    // most half a unit, so components are kept at or below 253.
    constexpr uint8_t top_value = 253;
    frame card = ctx.card;
    for (uint8_t &b : card.pixels) b = std::min(b, top_value);
    static constexpr double xs[4] = {0.0, 183.0, 427.0, card_width};
    static constexpr double ys[4] = {0.0, 130.0, 250.0, card_height};
    constexpr double scale = 0.36, top = 10.7;
    const double left[2] = {6.62, 243.61};
    const uint32_t flags[2] = {RECT_TILE, 0};
    for (int k = 0; k < 2; ++k)
        for (int j = 0; j < 3; ++j)
            for (int i = 0; i < 3; ++i)
                draw_rect(ctx, layer,
                          {left[k] + xs[i] * scale, top + ys[j] * scale,
                           left[k] + xs[i + 1] * scale, top + ys[j + 1] * scale},
                          card, {xs[i], ys[j], xs[i + 1], ys[j + 1]}, flags[k]);
    // The cleared destination's fourth byte collected the coverage (the
    // card's Q is 253 everywhere): colours are premultiplied by it. Lay it
    // over a white page so that missing coverage along seams shows.
    frame out = blank_scene();
    for (int32_t y = 0; y < out.height; ++y) {
        for (int32_t x = 0; x < out.width; ++x) {
            const uint8_t *s = layer.row(y) + 4 * x;
            uint8_t *d = out.row(y) + 4 * x;
            const int32_t missing = top_value - std::min(s[3], top_value);
            for (int i = 0; i < 3; ++i) d[i] = to_byte(s[i] + 255.0 * missing / top_value);
            d[3] = 255;
        }
    }
    // Below each card, its first seam crossing enlarged 8x.
    frame page = out;
    for (int k = 0; k < 2; ++k) {
        const double cx = left[k] + xs[1] * scale, cy = top + ys[1] * scale;
        const std::array<double, 4> inset = {8.0 + 240.0 * k, 148.0, 232.0 + 240.0 * k, 264.0};
        for (int32_t y = int32_t(inset[1]) - 1; y <= int32_t(inset[3]); ++y)
            for (int32_t x = int32_t(inset[0]) - 1; x <= int32_t(inset[2]); ++x)
                put(out, x, y, {40.0, 40.0, 40.0});
        draw_rect(ctx, out, inset, page, {cx - 14.0, cy - 7.25, cx + 14.0, cy + 7.25}, 0);
    }
    return out;
}

// RGBQ <-> YUY2 with BT.601 weights, full range: U and V of a pair from
// the mean of its two pixels' colours, chroma zero at 128.
frame to_yuy2(const frame &rgb) {
    frame f;
    make_frame(f, find_format(uint8_t{TOVREL_FORMAT_YUY2}), rgb.width, rgb.height);
    for (int32_t y = 0; y < rgb.height; ++y)
        for (int32_t x = 0; x < rgb.width; x += 2) {
            const uint8_t *p = rgb.row(y) + 4 * x;
            double luma[2], u = 0.0, v = 0.0;
            for (int i = 0; i < 2; ++i) {
                const double r = p[4 * i], g = p[4 * i + 1], b = p[4 * i + 2];
                luma[i] = 0.299 * r + 0.587 * g + 0.114 * b;
                u += 0.5 * (0.564 * (b - luma[i]) + 128.0);
                v += 0.5 * (0.713 * (r - luma[i]) + 128.0);
            }
            uint8_t *q = f.row(y) + 2 * x;
            q[0] = to_byte(luma[0]), q[1] = to_byte(u), q[2] = to_byte(luma[1]), q[3] = to_byte(v);
        }
    return f;
}

colour from_yuy2(const frame &f, int32_t x, int32_t y) {
    const uint8_t *q = f.row(y) + 2 * (x & ~1);
    const double luma = q[2 * (x & 1)], u = q[1] - 128.0, v = q[3] - 128.0;
    return {luma + 1.403 * v, luma - 0.344 * u - 0.714 * v, luma + 1.773 * u};
}

// The card turned 12 degrees with anti-aliased edges, drawn in YUY2 over a
// dark blue frame; the inset enlarges a stretch of the slanted top edge 6x:
// luma follows each pixel's coverage, while U and V change only per pair of
// pixels, blended by the pair's mean coverage, so colour fringes step in
// twos along the edge.
frame scene_yuy2(scene_context &ctx) {
    frame background = blank_scene();
    for (int32_t y = 0; y < background.height; ++y)
        for (int32_t x = 0; x < background.width; ++x) put(background, x, y, {20.0, 30.0, 90.0});
    frame yuy2 = to_yuy2(background), card = to_yuy2(ctx.card);
    draw_quad(ctx, yuy2, card, turned_box(170.0, 135.0, 280.0, 157.5, 12.0), false, MAP_EDGE_AA);
    frame out = blank_scene();
    for (int32_t y = 0; y < out.height; ++y)
        for (int32_t x = 0; x < out.width; ++x) put(out, x, y, from_yuy2(yuy2, x, y));
    constexpr int32_t zoom = 6, left = 332, top = 24, from_x = 196, from_y = 48;
    for (int32_t y = 0; y < 222; ++y)
        for (int32_t x = 0; x < 138; ++x)
            put(out, left + x, top + y,
                x < 2 || y < 2 || x >= 136 || y >= 220
                    ? colour{235.0, 235.0, 235.0}
                    : from_yuy2(yuy2, from_x + (x - 2) / zoom, from_y + (y - 2) / zoom));
    return out;
}

frame scene_zoom(scene_context &ctx) {
    frame out = blank_scene();
    draw_rect(ctx, out, {0.0, 0.0, scene_width, scene_height}, ctx.card, {2.25, 7.25, 66.25, 43.25},
              0);
    return out;
}

struct scene {
    const char *file;
    const char *shows;
    frame (*render)(scene_context &);
};

constexpr std::array<scene, 8> scenes{{
    {"testcard.png", "the built-in 640x360 test card, scaled to 480x270 by map_rectangle",
     scene_testcard},
    {"perspective.png",
     "the card on a perspective quad (per-vertex weights from the homography), "
     "anti-aliased edges (MAP_EDGE_AA) over a sky and ground",
     scene_perspective},
    {"minify.png",
     "the card turned 10 degrees and minified 3:1: area filter on the left, "
     "MAP_NO_FILTER on the right (stripes and zone plate alias)",
     scene_minify},
    {"layers.png",
     "a layer with a w12b alpha plane built from two anti-aliased quads and a soft glow "
     "with its own alpha, flattened over a checkerboard",
     scene_layers},
    {"overlay.png",
     "a logo with a soft w12b alpha plane laid in perspective over the test card, "
     "anti-aliased edges and alpha together",
     scene_overlay},
    {"tiles.png",
     "the card cut into 3x3 rectangles scaled by 0.36 to fractional places: RECT_TILE on "
     "the left (seamless), plain blending on the right (seams show); below, a seam crossing "
     "of each enlarged 8x",
     scene_tiles},
    {"zoom.png",
     "the card's top-left 64x36 pixels from a sub-pixel offset, enlarged 7.5x: area-weighted pixel "
     "edges",
     scene_zoom},
    {"yuy2.png",
     "the card in YUY2, turned with anti-aliased edges; inset 6x: luma per pixel, chroma "
     "per pair of pixels along the slanted edge",
     scene_yuy2},
}};

#ifdef _WIN32
#define popen _popen
#define pclose _pclose
constexpr const char *read_mode = "rb", *write_mode = "wb", *no_output = " >NUL 2>&1";
std::string quoted(const std::string &path) {
    return "\"" + path + "\"";
}
#else
constexpr const char *read_mode = "r", *write_mode = "w", *no_output = " >/dev/null 2>&1";
std::string quoted(const std::string &path) {
    std::string q = "'";
    for (char ch : path) q += ch == '\'' ? std::string("'\\''") : std::string(1, ch);
    return q + "'";
}
#endif

// The move of `tovrel warp --quad-to`, as a video: ffmpeg's testsrc2 flies
// from the whole frame into a picture-in-picture over the test card in 2 s,
// stays there 2 s more. The frames go ffmpeg -> the tool's own warp stream
// -> ffmpeg, which lays them over testcard.png and encodes move.mp4.
// Returns 0, or 1 when the pipeline failed; without ffmpeg on the PATH it
// says so and returns 0.
int render_move(const std::filesystem::path &root, std::FILE *out, std::FILE *err) {
    if (std::system((std::string("ffmpeg -version") + no_output).c_str()) != 0) {
        std::fprintf(out, "  %-16s skipped: no ffmpeg on the PATH\n", "move.mp4");
        return 0;
    }
    const std::string size = std::to_string(scene_width) + "x" + std::to_string(scene_height);
    const std::string source = "ffmpeg -v error -nostdin -f lavfi -i testsrc2=size=" + size +
                               ":rate=25 -frames:v 100 -f rawvideo -pix_fmt rgba -";
    // The warped frames carry premultiplied coverage in A over a transparent
    // background.
    const std::string encoder =
        "ffmpeg -v error -y -f rawvideo -pix_fmt rgba -s " + size + " -r 25 -i - -loop 1 -i " +
        quoted((root / "testcard.png").string()) +
        " -filter_complex [1][0]overlay=shortest=1:alpha=premultiplied -pix_fmt yuv420p " +
        quoted((root / "move.mp4").string()) + no_output;
    std::FILE *in = popen(source.c_str(), read_mode);
    std::FILE *to = in ? popen(encoder.c_str(), write_mode) : nullptr;
    int code = 1;
    if (to) {
        const auto start = std::chrono::steady_clock::now();
        code = run_tool({"warp", "-", "-", "--format", "rgba", "--size", size, "--persp", "--aa",
                         "--quad", "0,0,480,0,480,270,0,270", "--quad-to",
                         "292,150,462,168,462,252,292,262", "--move-frames", "50"},
                        in, to, err);
        if (pclose(to) != 0) code = 1;
        const double ms =
            std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
                .count();
        if (code == 0)
            std::fprintf(out,
                         "  %-16s %8.0f ms  4 s of testsrc2 flying into a picture-in-picture "
                         "(warp --quad-to --move-frames 50), encoded by ffmpeg\n",
                         "move.mp4", ms);
    }
    if (in) pclose(in);
    if (code != 0) std::fprintf(err, "tovrel: demo: move.mp4: the ffmpeg pipeline failed\n");
    return code == 0 ? 0 : 1;
}

} // namespace

frame make_test_card() {
    frame f;
    make_frame(f, rgbq(), card_width, card_height);
    for (int32_t y = 0; y < card_height; ++y)
        for (int32_t x = 0; x < card_width; ++x) put(f, x, y, card_pixel(x, y));
    return f;
}

int run_demo(const std::string &dir, std::FILE *out, std::FILE *err) {
    std::error_code ec;
    const std::filesystem::path root(dir);
    std::filesystem::create_directories(root, ec);
    if (ec || !std::filesystem::is_directory(root)) {
        std::fprintf(err, "tovrel: demo: cannot create directory %s: %s\n", dir.c_str(),
                     ec ? ec.message().c_str() : "not a directory");
        return 1;
    }
    frame card = make_test_card();
    std::fprintf(out, "tovrel demo: %zu scenes into %s\n", scenes.size(), dir.c_str());
    int failed = 0;
    for (const scene &s : scenes) {
        stopwatch clock;
        scene_context ctx{card, clock};
        int reports = 0;
        frame picture;
        {
            report_scope scope(err);
            picture = s.render(ctx);
            reports = scope.count();
        }
        if (reports) {
            std::fprintf(err, "tovrel: demo: %s not written: the library refused a call\n", s.file);
            ++failed;
            continue;
        }
        const std::string path = (root / s.file).string();
        const std::string problem = write_png(path, picture, false);
        if (!problem.empty()) {
            std::fprintf(err, "tovrel: demo: %s\n", problem.c_str());
            ++failed;
            continue;
        }
        std::fprintf(out, "  %-16s %8.2f ms  %s\n", s.file, clock.milliseconds(), s.shows);
    }
    if (!failed) failed = render_move(root, out, err);
    std::fflush(out);
    return failed ? 1 : 0;
}

} // namespace tovrel_tool
