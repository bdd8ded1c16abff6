// map_polygon beside cv::warpAffine / cv::warpPerspective and pixman, on the
// same textures in one run. Every benchmark writes a whole 8-bit
// four-component destination frame; all run on one thread except the
// explicit two-thread line split.
//
// Names are "<workload>/<implementation>"; tools/bench.sh pairs them into
// the ratio table. Each tovrel benchmark also reports, measured once
// outside the timed loop: the filter slot its quad selects, the share of
// destination pixels left undrawn, and the mean absolute difference per
// component from OpenCV's bilinear result (a check that both did the
// same job, not a quality score: the footprints differ).
#include "bench_common.h"

#include <benchmark/benchmark.h>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <pixman.h>

#include <map>
#include <memory>
#include <utility>
#include <vector>

namespace {

using bench::image;
using bench::projective;

enum class peer_filter { bilinear, box };

struct warp_case {
    std::string name;
    int32_t dw, dh; // destination
    int32_t sw, sh; // texture
    projective map; // destination -> texture
    bool perspective;
    std::vector<map_vertex> quad; // destination polygon with texture points
    // The rectangle the peers draw (x, y, width, height): the whole frame,
    // or for a quad inside the frame its bounding box, the least that a
    // rectangle-drawing peer can be asked to fill.
    int32_t box[4] = {0, 0, 0, 0};
    bool boxed() const { return box[2] != dw || box[3] != dh; }
};

void box_whole_frame(warp_case &c) {
    c.box[0] = c.box[1] = 0;
    c.box[2] = c.dw;
    c.box[3] = c.dh;
}

// The quad's bounding box in whole pixels, inside the frame.
void box_quad(warp_case &c) {
    double x0 = c.dw, y0 = c.dh, x1 = 0, y1 = 0;
    for (const map_vertex &v : c.quad) {
        x0 = std::min(x0, double(v.x)), y0 = std::min(y0, double(v.y));
        x1 = std::max(x1, double(v.x)), y1 = std::max(y1, double(v.y));
    }
    c.box[0] = std::max(0, int32_t(std::floor(x0)));
    c.box[1] = std::max(0, int32_t(std::floor(y0)));
    c.box[2] = std::min(c.dw, int32_t(std::ceil(x1))) - c.box[0];
    c.box[3] = std::min(c.dh, int32_t(std::ceil(y1))) - c.box[1];
}

// Texture just large enough to hold the preimage of the whole destination
// (plus a margin of 2 pixels): no workload measures border clamping.
warp_case rotated_case(std::string name, int32_t dw, int32_t dh, double degrees, double scale) {
    double a = degrees * 3.14159265358979323846 / 180.0;
    double bw = (dw * std::fabs(std::cos(a)) + dh * std::fabs(std::sin(a))) / scale;
    double bh = (dw * std::fabs(std::sin(a)) + dh * std::fabs(std::cos(a))) / scale;
    warp_case c;
    c.name = std::move(name);
    c.dw = dw;
    c.dh = dh;
    c.sw = int32_t(std::ceil(bw)) + 4;
    c.sh = int32_t(std::ceil(bh)) + 4;
    c.map = bench::rotation(degrees, scale, dw, dh, c.sw, c.sh);
    c.perspective = false;
    c.quad.resize(4);
    bench::frame_quad(c.map, dw, dh, c.quad.data());
    box_whole_frame(c);
    return c;
}

// The whole destination shows a trapezoid of the texture (a floor seen in
// perspective): the top of the frame is enlarged about 1.5 times, the
// bottom about 1.1 times. Every texture point used lies inside the texture.
warp_case trapezoid_case(std::string name, int32_t dw, int32_t dh) {
    warp_case c;
    c.name = std::move(name);
    c.dw = dw;
    c.dh = dh;
    c.sw = dw;
    c.sh = dh;
    const double d[4][2] = {{0, 0}, {double(dw), 0}, {double(dw), double(dh)}, {0, double(dh)}};
    // Texture trapezoid: top edge 3/4 of the bottom edge, both inside the
    // texture; shrunk by 0.9 about the centre so the footprint stays slot 1.
    const double top = 0.75, f = 0.9, cx = c.sw / 2.0, cy = c.sh / 2.0;
    const double t[4][2] = {
        {cx - top * cx, 0}, {cx + top * cx, 0}, {double(c.sw), double(c.sh)}, {0, double(c.sh)}};
    double s[4][2];
    for (int i = 0; i < 4; ++i) {
        s[i][0] = cx + (t[i][0] - cx) * f;
        s[i][1] = cy + (t[i][1] - cy) * f;
    }
    c.map = bench::homography(d, s);
    c.perspective = true;
    c.quad.resize(4);
    bench::frame_quad(c.map, dw, dh, c.quad.data());
    box_whole_frame(c);
    return c;
}

// A 1920x1080 texture drawn rotated and shrunk inside the frame: the
// polygon's edges cross the lines at a slant, where edge anti-aliasing has
// work to do.
warp_case inset_case(std::string name, int32_t dw, int32_t dh, double degrees, double scale) {
    warp_case c;
    c.name = std::move(name);
    c.dw = dw;
    c.dh = dh;
    c.sw = 1920;
    c.sh = 1080;
    c.map = bench::rotation(degrees, scale, dw, dh, c.sw, c.sh);
    c.perspective = false;
    double a = degrees * 3.14159265358979323846 / 180.0, co = std::cos(a), si = std::sin(a);
    const double corners[4][2] = {
        {0, 0}, {double(c.sw), 0}, {double(c.sw), double(c.sh)}, {0, double(c.sh)}};
    for (const auto &p : corners) {
        double u = p[0] - c.sw / 2.0, v = p[1] - c.sh / 2.0;
        double x = dw / 2.0 + scale * (co * u - si * v), y = dh / 2.0 + scale * (si * u + co * v);
        c.quad.push_back(map_vertex{float(p[0]), float(p[1]), 1.0f, float(x), float(y)});
    }
    box_whole_frame(c);
    return c;
}

// Textures shared by every implementation of a workload (same bytes), in
// RGBQ or, for the signed and word workloads, S16X4A and word.
const image &texture(int32_t w, int32_t h, uint8_t format = TOVREL_FORMAT_RGBQ) {
    if (format == TOVREL_FORMAT_S16X4A) return bench::cached_s16x4a_texture(w, h, 0x7e57u);
    if (format == TOVREL_FORMAT_WORD) return bench::cached_word_texture(w, h, 0x7e57u);
    return bench::cached_texture(w, h, 0x7e57u);
}

cv::Mat as_mat(const image &img) {
    const int type = img.format == TOVREL_FORMAT_RGBQ   ? CV_8UC4
                     : img.format == TOVREL_FORMAT_WORD ? CV_16UC1
                                                        : CV_16SC4;
    return cv::Mat(img.height, img.width, type, img.pixels, size_t(img.pitch));
}

void run_opencv(const warp_case &c, const image &src, image &dst) {
    double m[9];
    bench::to_opencv(c.map, m);
    // The box's own pixel (0, 0) is frame pixel (box[0], box[1]).
    m[2] += m[0] * c.box[0] + m[1] * c.box[1];
    m[5] += m[3] * c.box[0] + m[4] * c.box[1];
    cv::Mat s = as_mat(src), d = as_mat(dst)(cv::Rect(c.box[0], c.box[1], c.box[2], c.box[3]));
    if (c.perspective) {
        cv::Mat h(3, 3, CV_64F, m);
        cv::warpPerspective(s, d, h, d.size(), cv::INTER_LINEAR | cv::WARP_INVERSE_MAP,
                            cv::BORDER_REPLICATE);
    } else {
        cv::Mat h(2, 3, CV_64F, m);
        cv::warpAffine(s, d, h, d.size(), cv::INTER_LINEAR | cv::WARP_INVERSE_MAP,
                       cv::BORDER_REPLICATE);
    }
}

// OpenCV's result for a workload, kept as the reference of the checks.
const image &opencv_reference(const warp_case &c) {
    static std::map<std::string, std::unique_ptr<image>> cache;
    auto &slot = cache[c.name];
    if (!slot) {
        slot = std::make_unique<image>(c.dw, c.dh);
        run_opencv(c, texture(c.sw, c.sh), *slot);
    }
    return *slot;
}

void report_check(benchmark::State &state, const warp_case &c, const image &dst) {
    bench::compare_result r = bench::compare(dst, opencv_reference(c), 0xA5);
    state.counters["mad_vs_cv"] = r.mean_abs_diff;
    state.counters["undrawn"] = r.untouched;
}

struct polygon_call {
    const warp_case *c;
    image_descriptor dd, sd;
    uint32_t flags;
    int32_t operator()(int32_t first_line, int32_t line_step) const {
        return map_polygon(&dd, &sd, c->quad.data(), int32_t(c->quad.size()), flags, first_line,
                           line_step);
    }
};

// Runs the call once on a sentinel-filled destination; false (and the
// benchmark marked as failed) when the library reported anything.
bool first_run_checked(benchmark::State &state, const warp_case &c, image &dst,
                       const std::function<void()> &call, bool against_cv = true) {
    bench::fill_bytes(dst, 0xA5);
    int before = bench::report_counter::count().load();
    call();
    if (bench::report_counter::count().load() != before) {
        state.SkipWithError(("tovrel reported: " + bench::report_counter::last()).c_str());
        return false;
    }
    if (against_cv && dst.format == TOVREL_FORMAT_RGBQ && !c.boxed()) report_check(state, c, dst);
    state.counters["slot"] = bench::expected_slot(c.quad.data(), int(c.quad.size()));
    return true;
}

void set_pixels(benchmark::State &state, const warp_case &c) {
    state.SetItemsProcessed(int64_t(state.iterations()) * c.dw * c.dh);
}

void bm_tovrel(benchmark::State &state, const warp_case &c, uint32_t flags,
               uint8_t format = TOVREL_FORMAT_RGBQ) {
    const image &src = texture(c.sw, c.sh, format);
    image dst(c.dw, c.dh, format);
    polygon_call call{&c, dst.descriptor(), src.descriptor(), flags};
    if (!first_run_checked(state, c, dst, [&] { call(0, 1); })) return;
    for (auto _ : state) benchmark::DoNotOptimize(call(0, 1));
    set_pixels(state, c);
}

// A texture with a w12b alpha plane over an opaque RGBQ frame (pair E, the
// blend_rgbqa span writers): premultiplied colours or straight ones.
void bm_tovrel_over(benchmark::State &state, const warp_case &c, uint8_t alpha_mode) {
    const image &src = alpha_mode == TOVREL_ALPHA_STRAIGHT
                           ? texture(c.sw, c.sh)
                           : bench::cached_premultiplied_texture(c.sw, c.sh, 0x7e57u);
    const image &alpha = bench::cached_alpha_plane(c.sw, c.sh, 0x7e57u);
    image dst(c.dw, c.dh);
    polygon_call call{&c, dst.descriptor(), src.descriptor(), 0};
    call.sd.alpha_mode = alpha_mode;
    call.sd.alpha_kind = TOVREL_ALPHA_W12B;
    call.sd.alpha = reinterpret_cast<uint16_t *>(alpha.pixels);
    call.sd.alpha_pitch = alpha.pitch;
    if (!first_run_checked(
            state, c, dst, [&] { call(0, 1); }, false))
        return;
    for (auto _ : state) benchmark::DoNotOptimize(call(0, 1));
    set_pixels(state, c);
}

// The same call split by line phase over the caller and one helper thread.
void bm_tovrel_two_threads(benchmark::State &state, const warp_case &c) {
    const image &src = texture(c.sw, c.sh);
    image dst(c.dw, c.dh);
    polygon_call call{&c, dst.descriptor(), src.descriptor(), 0};
    bench::worker helper;
    std::function<void()> even = [&] { call(0, 2); }, odd = [&] { call(1, 2); };
    if (!first_run_checked(state, c, dst, [&] { helper.run(even, odd); })) return;
    for (auto _ : state) helper.run(even, odd);
    set_pixels(state, c);
}

void bm_opencv(benchmark::State &state, const warp_case &c, uint8_t format = TOVREL_FORMAT_RGBQ) {
    const image &src = texture(c.sw, c.sh, format);
    image dst(c.dw, c.dh, format);
    run_opencv(c, src, dst);
    for (auto _ : state) {
        run_opencv(c, src, dst);
        benchmark::ClobberMemory();
    }
    set_pixels(state, c);
}

pixman_fixed_t to_fixed(double v) {
    return pixman_fixed_t(std::lround(v * 65536.0));
}

// SRC of the texture, or OVER of its premultiplied form.
void bm_pixman(benchmark::State &state, const warp_case &c, peer_filter filter,
               pixman_op_t op = PIXMAN_OP_SRC) {
    const image &src = op == PIXMAN_OP_OVER
                           ? bench::cached_premultiplied_texture(c.sw, c.sh, 0x7e57u)
                           : texture(c.sw, c.sh);
    image dst(c.dw, c.dh);
    pixman_image_t *ps =
        pixman_image_create_bits(PIXMAN_a8r8g8b8, src.width, src.height,
                                 reinterpret_cast<uint32_t *>(src.pixels), src.pitch);
    pixman_image_t *pd =
        pixman_image_create_bits(PIXMAN_a8r8g8b8, dst.width, dst.height,
                                 reinterpret_cast<uint32_t *>(dst.pixels), dst.pitch);
    // A projective matrix may be scaled freely: its largest entry at 2^12
    // keeps the small perspective terms precise in 16.16 without overflowing
    // pixman's intermediates (measured: closest to OpenCV's result).
    double big = 0;
    for (double v : c.map.m) big = std::max(big, std::fabs(v));
    double k = c.perspective ? 4096.0 / big : 1.0;
    pixman_transform_t t;
    for (int r = 0; r < 3; ++r)
        for (int col = 0; col < 3; ++col) t.matrix[r][col] = to_fixed(c.map.m[3 * r + col] * k);
    pixman_image_set_transform(ps, &t);
    pixman_image_set_repeat(ps, PIXMAN_REPEAT_PAD);
    if (filter == peer_filter::box) {
        // Footprint of the box: source pixels per destination pixel.
        double sx = std::hypot(c.map.m[0], c.map.m[3]), sy = std::hypot(c.map.m[1], c.map.m[4]);
        int n = 0;
        pixman_fixed_t *params = pixman_filter_create_separable_convolution(
            &n, to_fixed(sx), to_fixed(sy), PIXMAN_KERNEL_BOX, PIXMAN_KERNEL_BOX, PIXMAN_KERNEL_BOX,
            PIXMAN_KERNEL_BOX, 4, 4);
        pixman_image_set_filter(ps, PIXMAN_FILTER_SEPARABLE_CONVOLUTION, params, n);
        free(params);
    } else {
        pixman_image_set_filter(ps, PIXMAN_FILTER_BILINEAR, nullptr, 0);
    }
    auto run = [&] {
        pixman_image_composite32(op, ps, nullptr, pd, c.box[0], c.box[1], 0, 0, c.box[0], c.box[1],
                                 c.box[2], c.box[3]);
    };
    bench::fill_bytes(dst, 0xA5);
    run();
    if (op == PIXMAN_OP_SRC && !c.boxed()) report_check(state, c, dst);
    for (auto _ : state) {
        run();
        benchmark::ClobberMemory();
    }
    set_pixels(state, c);
    pixman_image_unref(ps);
    pixman_image_unref(pd);
}

// 4:2:2 frames on the same geometry: YUY2 (2 bytes per pixel, warped by
// OpenCV as CV_8UC2) and W210 (two 10-bit words per pixel, CV_16UC2). A
// frame of w pixels is held in an RGBQ image of w * bytes / 4 pixels.
struct frame_422 {
    uint8_t format;
    int32_t bytes; // per pixel
    int cv_type;
};
constexpr frame_422 yuy2_frame{TOVREL_FORMAT_YUY2, 2, CV_8UC2};
constexpr frame_422 w210_frame{TOVREL_FORMAT_W210, 4, CV_16UC2};

// The texture bytes of workload c as a frame: YUY2 takes them as they are,
// W210 keeps the low 10 bits of every word.
const image &texture_422(const warp_case &c, const frame_422 &f) {
    static std::map<std::pair<int32_t, uint8_t>, std::unique_ptr<image>> cache;
    auto &slot = cache[{c.sw, f.format}];
    if (!slot) {
        const image &rgbq = texture(c.sw * f.bytes / 4, c.sh);
        slot = std::make_unique<image>(rgbq.width, rgbq.height);
        std::memcpy(slot->pixels, rgbq.pixels, rgbq.bytes());
        if (f.format == TOVREL_FORMAT_W210)
            for (size_t i = 1; i < slot->bytes(); i += 2) slot->pixels[i] &= 3;
    }
    return *slot;
}

image_descriptor descriptor_422(const image &img, const frame_422 &f) {
    image_descriptor d = img.descriptor();
    d.format = f.format;
    d.width = img.width * 4 / f.bytes;
    return d;
}

void bm_tovrel_422(benchmark::State &state, const warp_case &c, const frame_422 &f) {
    const image &src = texture_422(c, f);
    image dst(c.dw * f.bytes / 4, c.dh);
    const image_descriptor dd = descriptor_422(dst, f), sd = descriptor_422(src, f);
    auto call = [&] {
        return map_polygon(&dd, &sd, c.quad.data(), int32_t(c.quad.size()), 0, 0, 1);
    };
    const int before = bench::report_counter::count().load();
    call();
    if (bench::report_counter::count().load() != before) {
        state.SkipWithError(("tovrel reported: " + bench::report_counter::last()).c_str());
        return;
    }
    state.counters["slot"] = bench::expected_slot(c.quad.data(), int(c.quad.size()));
    for (auto _ : state) benchmark::DoNotOptimize(call());
    set_pixels(state, c);
}

void bm_opencv_422(benchmark::State &state, const warp_case &c, const frame_422 &f) {
    const image &src = texture_422(c, f);
    image dst(c.dw * f.bytes / 4, c.dh);
    double m[9];
    bench::to_opencv(c.map, m);
    // The box's own pixel (0, 0) is frame pixel (box[0], box[1]).
    m[2] += m[0] * c.box[0] + m[1] * c.box[1];
    m[5] += m[3] * c.box[0] + m[4] * c.box[1];
    const cv::Mat s(c.sh, c.sw, f.cv_type, src.pixels, size_t(src.pitch));
    cv::Mat d = cv::Mat(c.dh, c.dw, f.cv_type, dst.pixels,
                        size_t(dst.pitch))(cv::Rect(c.box[0], c.box[1], c.box[2], c.box[3]));
    const cv::Mat h(2, 3, CV_64F, m);
    auto run = [&] {
        cv::warpAffine(s, d, h, d.size(), cv::INTER_LINEAR | cv::WARP_INVERSE_MAP,
                       cv::BORDER_REPLICATE);
    };
    run();
    for (auto _ : state) {
        run();
        benchmark::ClobberMemory();
    }
    set_pixels(state, c);
}

template <class F>
void add(const warp_case &c, const char *impl, F f) {
    std::string name = c.name + "/" + impl;
    auto shared = std::make_shared<warp_case>(c);
    benchmark::RegisterBenchmark(name.c_str(), [shared, f](benchmark::State &s) { f(s, *shared); })
        ->Unit(benchmark::kMillisecond)
        ->UseRealTime();
}

void register_all() {
    auto plain = [](benchmark::State &s, const warp_case &c) { bm_tovrel(s, c, 0); };
    auto aa = [](benchmark::State &s, const warp_case &c) { bm_tovrel(s, c, MAP_EDGE_AA); };
    auto cv = [](benchmark::State &s, const warp_case &c) { bm_opencv(s, c); };
    auto px_bilinear = [](benchmark::State &s, const warp_case &c) {
        bm_pixman(s, c, peer_filter::bilinear);
    };
    auto px_box = [](benchmark::State &s, const warp_case &c) {
        bm_pixman(s, c, peer_filter::box);
    };

    // 1: affine, 10 degrees, enlarged 1.05 (slot 1).
    warp_case w1 = rotated_case("w1_affine_1080p", 1920, 1080, 10.0, 1.05);
    add(w1, "tovrel", plain);
    add(w1, "cv_warpAffine", cv);
    add(w1, "pixman_bilinear", px_bilinear);

    // 1 on 4:2:2 frames: YUY2 and W210.
    for (auto [f, label] : {std::pair{&yuy2_frame, "w1_yuy2_affine_1080p"},
                            std::pair{&w210_frame, "w1_w210_affine_1080p"}}) {
        warp_case w = w1;
        w.name = label;
        w.sw += w.sw & 1; // whole pixel pairs
        add(w, "tovrel", [f](benchmark::State &s, const warp_case &c) { bm_tovrel_422(s, c, *f); });
        add(w, "cv_warpAffine",
            [f](benchmark::State &s, const warp_case &c) { bm_opencv_422(s, c, *f); });
    }

    // A workload on another texture format, into the same format, beside
    // OpenCV on the matching type.
    auto add_format = [](const warp_case &base, const char *name, uint8_t format) {
        warp_case w = base;
        w.name = name;
        add(w, "tovrel",
            [format](benchmark::State &s, const warp_case &c) { bm_tovrel(s, c, 0, format); });
        add(w, "cv_warpAffine",
            [format](benchmark::State &s, const warp_case &c) { bm_opencv(s, c, format); });
    };

    // 1, signed: S16X4A into S16X4A (the texture laid over the frame,
    // pair I) beside OpenCV on CV_16SC4.
    add_format(w1, "w1_s16x4a_affine_1080p", TOVREL_FORMAT_S16X4A);

    // 1, word: word into word beside OpenCV on CV_16UC1.
    add_format(w1, "w1_word_affine_1080p", TOVREL_FORMAT_WORD);

    // 1, overlay: RGBQ + alpha over an RGBQ frame beside pixman OVER of the
    // premultiplied texture; the straight form has no peer.
    warp_case w1a = w1;
    w1a.name = "w1_rgbqa_affine_1080p";
    add(w1a, "tovrel_premul", [](benchmark::State &s, const warp_case &c) {
        bm_tovrel_over(s, c, TOVREL_ALPHA_PREMULTIPLIED);
    });
    add(w1a, "tovrel_straight", [](benchmark::State &s, const warp_case &c) {
        bm_tovrel_over(s, c, TOVREL_ALPHA_STRAIGHT);
    });
    add(w1a, "pixman_over", [](benchmark::State &s, const warp_case &c) {
        bm_pixman(s, c, peer_filter::bilinear, PIXMAN_OP_OVER);
    });

    // 2: perspective trapezoid (slot 1).
    warp_case w2 = trapezoid_case("w2_perspective_1080p", 1920, 1080);
    add(w2, "tovrel", plain);
    add(w2, "cv_warpPerspective", cv);
    add(w2, "pixman_projective", px_bilinear);

    // 3: minified, 10 degrees at 0.95 (slot 6) and 0.5 (slot 12).
    for (auto [scale, label] :
         {std::pair{0.95, "w3_affine_s095_1080p"}, std::pair{0.5, "w3_affine_s050_1080p"}}) {
        warp_case w3 = rotated_case(label, 1920, 1080, 10.0, scale);
        add(w3, "tovrel", plain);
        add(w3, "cv_warpAffine", cv);
        add(w3, "pixman_box", px_box);
    }

    // 4: edge anti-aliasing on workload 1's quad (edges on the frame
    // border) and on a slanted quad inside the frame.
    warp_case w4 = w1;
    w4.name = "w4_edge_aa_frame_1080p";
    add(w4, "tovrel", plain);
    add(w4, "tovrel_edge_aa", aa);
    warp_case w4i = inset_case("w4_edge_aa_inset_1080p", 1920, 1080, 10.0, 0.75);
    add(w4i, "tovrel", plain);
    add(w4i, "tovrel_edge_aa", aa);

    // 9: picture in picture: the 1920x1080 texture into a 480x270 quad
    // turned 5 degrees (minified 4 times both ways); the peers fill the
    // quad's bounding box.
    warp_case w9 = inset_case("w9_pip_1080p", 1920, 1080, 5.0, 0.25);
    box_quad(w9);
    add(w9, "tovrel", plain);
    add(w9, "cv_warpAffine", cv);
    add(w9, "pixman_box", px_box);

    // 9 on YUY2 frames (4.0 x 4, slot 19).
    warp_case w9y = w9;
    w9y.name = "w9_pip_yuy2_1080p";
    add(w9y, "tovrel",
        [](benchmark::State &s, const warp_case &c) { bm_tovrel_422(s, c, yuy2_frame); });
    add(w9y, "cv_warpAffine",
        [](benchmark::State &s, const warp_case &c) { bm_opencv_422(s, c, yuy2_frame); });

    // 9 on S16X4A (4.0 x 4, slot 19) beside OpenCV on CV_16SC4.
    add_format(w9, "w9_pip_s16x4a_1080p", TOVREL_FORMAT_S16X4A);

    // 7: workload 1 at 3840x2160.
    add(rotated_case("w7_affine_2160p", 3840, 2160, 10.0, 1.05), "tovrel", plain);

    // 8: workload 1 split over two threads by line phase.
    warp_case w8 = w1;
    w8.name = "w8_threads_1080p";
    add(w8, "tovrel_1thread", plain);
    add(w8, "tovrel_2threads",
        [](benchmark::State &s, const warp_case &c) { bm_tovrel_two_threads(s, c); });
}

} // namespace

int main(int argc, char **argv) {
    cv::setNumThreads(1);
    bench::report_counter::install();
    register_all();
    return bench::run_benchmarks(argc, argv);
}
