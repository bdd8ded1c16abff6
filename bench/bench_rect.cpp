// map_rectangle beside cv::resize INTER_AREA, libyuv ARGBScale kFilterBox,
// libswscale SWS_AREA (YUY2 and 10-bit 4:2:2) and memcpy, on the same
// textures in one run, one thread.
//
// Names are "<workload>/<implementation>"; tools/bench.sh pairs them into
// the ratio table. Each benchmark also reports, measured once outside the
// timed loop, the mean absolute difference per component from OpenCV's
// INTER_AREA result (both are exact area averages, so it stays below one
// unit when both did the same job) and the share of pixels left undrawn.
#include "bench_common.h"

#include <benchmark/benchmark.h>
#include <libyuv/scale_argb.h>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
extern "C" {
#include <libavutil/pixfmt.h>
#include <libswscale/swscale.h>
}

#include <map>
#include <memory>
#include <utility>
#include <vector>

namespace {

using bench::image;

struct rect_case {
    std::string name;
    int32_t sw, sh; // source, scaled whole
    int32_t dw, dh; // destination
};

const image &texture(int32_t w, int32_t h) {
    return bench::cached_texture(w, h, 0x5ca1u);
}

cv::Mat as_mat(const image &img) {
    return cv::Mat(img.height, img.width, CV_8UC4, img.pixels, size_t(img.pitch));
}

void run_opencv(const image &src, image &dst) {
    cv::Mat s = as_mat(src), d = as_mat(dst);
    cv::resize(s, d, d.size(), 0, 0, cv::INTER_AREA);
}

const image &opencv_reference(const rect_case &c) {
    static std::map<std::string, std::unique_ptr<image>> cache;
    auto &slot = cache[c.name];
    if (!slot) {
        slot = std::make_unique<image>(c.dw, c.dh);
        run_opencv(texture(c.sw, c.sh), *slot);
    }
    return *slot;
}

void report_check(benchmark::State &state, const rect_case &c, const image &dst) {
    bench::compare_result r = bench::compare(dst, opencv_reference(c), 0xA5);
    state.counters["mad_vs_cv"] = r.mean_abs_diff;
    state.counters["undrawn"] = r.untouched;
}

void set_bytes(benchmark::State &state, const rect_case &c) {
    state.SetItemsProcessed(int64_t(state.iterations()) * c.dw * c.dh);
    state.SetBytesProcessed(int64_t(state.iterations()) * 4 *
                            (int64_t(c.dw) * c.dh + int64_t(c.sw) * c.sh));
}

// Runs `call` once on a sentinel-filled destination, checks it; false (and
// the benchmark marked failed) when tovrel reported anything.
template <class F>
bool first_run_checked(benchmark::State &state, const rect_case &c, image &dst, F call) {
    bench::fill_bytes(dst, 0xA5);
    int before = bench::report_counter::count().load();
    call();
    if (bench::report_counter::count().load() != before) {
        state.SkipWithError(("tovrel reported: " + bench::report_counter::last()).c_str());
        return false;
    }
    report_check(state, c, dst);
    return true;
}

void bm_tovrel(benchmark::State &state, const rect_case &c) {
    const image &src = texture(c.sw, c.sh);
    image dst(c.dw, c.dh);
    image_descriptor sd = src.descriptor(), dd = dst.descriptor();
    auto call = [&] {
        map_rectangle(&dd, 0.0f, 0.0f, float(c.dw), float(c.dh), &sd, 0.0f, 0.0f, float(c.sw),
                      float(c.sh), 0, 0, 1);
    };
    if (!first_run_checked(state, c, dst, call)) return;
    if (c.sw == c.dw && c.sh == c.dh) {
        // 1:1 must be a copy: count the bytes that differ from the source.
        int64_t differ = 0;
        for (int32_t y = 0; y < c.dh; ++y)
            for (int32_t x = 0; x < 4 * c.dw; ++x) differ += src.row(y)[x] != dst.row(y)[x];
        state.counters["bytes_not_copied"] = double(differ);
    }
    for (auto _ : state) {
        call();
        benchmark::ClobberMemory();
    }
    set_bytes(state, c);
}

void bm_opencv(benchmark::State &state, const rect_case &c) {
    const image &src = texture(c.sw, c.sh);
    image dst(c.dw, c.dh);
    run_opencv(src, dst);
    for (auto _ : state) {
        run_opencv(src, dst);
        benchmark::ClobberMemory();
    }
    set_bytes(state, c);
}

void bm_libyuv(benchmark::State &state, const rect_case &c) {
    const image &src = texture(c.sw, c.sh);
    image dst(c.dw, c.dh);
    auto call = [&] {
        libyuv::ARGBScale(src.pixels, src.pitch, c.sw, c.sh, dst.pixels, dst.pitch, c.dw, c.dh,
                          libyuv::kFilterBox);
    };
    bench::fill_bytes(dst, 0xA5);
    call();
    report_check(state, c, dst);
    for (auto _ : state) {
        call();
        benchmark::ClobberMemory();
    }
    set_bytes(state, c);
}

// The same bytes moved by one memcpy: the floor of a 1:1 rectangle.
void bm_memcpy(benchmark::State &state, const rect_case &c) {
    const image &src = texture(c.sw, c.sh);
    image dst(c.dw, c.dh);
    std::memcpy(dst.pixels, src.pixels, src.bytes());
    for (auto _ : state) {
        std::memcpy(dst.pixels, src.pixels, src.bytes());
        benchmark::ClobberMemory();
    }
    set_bytes(state, c);
}

// ---------------------------------------------------------------------------
// 4:2:2: YUY2 and W210 whole frames, beside libswscale SWS_AREA (yuyv422 to
// yuyv422; for W210 yuv422p10le, the nearest 10-bit 4:2:2 format it scales,
// from planes holding the same samples).

struct yuv_case {
    std::string name;
    uint8_t format; // TOVREL_FORMAT_YUY2 or TOVREL_FORMAT_W210
    int32_t sw, sh, dw, dh;
};

void set_bytes(benchmark::State &state, const yuv_case &c) {
    const int64_t bpp = image::bytes_per_pixel(c.format);
    state.SetItemsProcessed(int64_t(state.iterations()) * c.dw * c.dh);
    state.SetBytesProcessed(int64_t(state.iterations()) * bpp *
                            (int64_t(c.dw) * c.dh + int64_t(c.sw) * c.sh));
}

void bm_tovrel_422(benchmark::State &state, const yuv_case &c) {
    const image &src = bench::cached_422_texture(c.format, c.sw, c.sh, 0x5ca1u);
    image dst(c.dw, c.dh, c.format);
    image_descriptor sd = src.descriptor(), dd = dst.descriptor();
    auto call = [&] {
        map_rectangle(&dd, 0.0f, 0.0f, float(c.dw), float(c.dh), &sd, 0.0f, 0.0f, float(c.sw),
                      float(c.sh), 0, 0, 1);
    };
    const int before = bench::report_counter::count().load();
    bench::fill_bytes(dst, 0xA5);
    call();
    if (bench::report_counter::count().load() != before) {
        state.SkipWithError(("tovrel reported: " + bench::report_counter::last()).c_str());
        return;
    }
    if (c.sw == c.dw && c.sh == c.dh) {
        int64_t differ = 0;
        for (int32_t y = 0; y < c.dh; ++y)
            differ += std::memcmp(src.row(y), dst.row(y), size_t(c.dw) * 2) != 0;
        state.counters["lines_not_copied"] = double(differ);
    }
    for (auto _ : state) {
        call();
        benchmark::ClobberMemory();
    }
    set_bytes(state, c);
}

void bm_swscale(benchmark::State &state, const yuv_case &c) {
    const bool w210 = c.format == TOVREL_FORMAT_W210;
    const AVPixelFormat f = w210 ? AV_PIX_FMT_YUV422P10LE : AV_PIX_FMT_YUYV422;
    SwsContext *ctx =
        sws_getContext(c.sw, c.sh, f, c.dw, c.dh, f, SWS_AREA, nullptr, nullptr, nullptr);
    if (ctx == nullptr) {
        state.SkipWithError("sws_getContext failed");
        return;
    }
    const image &packed = bench::cached_422_texture(c.format, c.sw, c.sh, 0x5ca1u);
    image dst(c.dw, c.dh, c.format);
    // Planes: one packed plane for YUY2; Y, U, V words for 10-bit.
    std::vector<std::vector<uint16_t>> src_planes, dst_planes;
    const uint8_t *src_ptr[4] = {packed.pixels};
    uint8_t *dst_ptr[4] = {dst.pixels};
    int src_stride[4] = {packed.pitch}, dst_stride[4] = {dst.pitch};
    if (w210) {
        for (int p = 0; p < 3; ++p) {
            const int32_t sw = p == 0 ? c.sw : c.sw / 2, dw = p == 0 ? c.dw : c.dw / 2;
            src_planes.emplace_back(size_t(sw) * c.sh);
            dst_planes.emplace_back(size_t(dw) * c.dh);
            src_ptr[p] = reinterpret_cast<const uint8_t *>(src_planes[p].data());
            dst_ptr[p] = reinterpret_cast<uint8_t *>(dst_planes[p].data());
            src_stride[p] = sw * 2, dst_stride[p] = dw * 2;
        }
        for (int32_t y = 0; y < c.sh; ++y) {
            const uint16_t *w = reinterpret_cast<const uint16_t *>(packed.row(y));
            for (int32_t x = 0; x < c.sw / 2; ++x) {
                src_planes[0][size_t(y) * c.sw + 2 * x] = w[4 * x];
                src_planes[1][size_t(y) * (c.sw / 2) + x] = w[4 * x + 1];
                src_planes[0][size_t(y) * c.sw + 2 * x + 1] = w[4 * x + 2];
                src_planes[2][size_t(y) * (c.sw / 2) + x] = w[4 * x + 3];
            }
        }
    }
    auto call = [&] { sws_scale(ctx, src_ptr, src_stride, 0, c.sh, dst_ptr, dst_stride); };
    call();
    for (auto _ : state) {
        call();
        benchmark::ClobberMemory();
    }
    set_bytes(state, c);
    sws_freeContext(ctx);
}

void bm_memcpy_422(benchmark::State &state, const yuv_case &c) {
    const image &src = bench::cached_422_texture(c.format, c.sw, c.sh, 0x5ca1u);
    image dst(c.dw, c.dh, c.format);
    std::memcpy(dst.pixels, src.pixels, src.bytes());
    for (auto _ : state) {
        std::memcpy(dst.pixels, src.pixels, src.bytes());
        benchmark::ClobberMemory();
    }
    set_bytes(state, c);
}

template <class F>
void add(const yuv_case &c, const char *impl, F f) {
    std::string name = c.name + "/" + impl;
    benchmark::RegisterBenchmark(name.c_str(), [c, f](benchmark::State &s) { f(s, c); })
        ->Unit(benchmark::kMillisecond)
        ->UseRealTime();
}

template <class F>
void add(const rect_case &c, const char *impl, F f) {
    std::string name = c.name + "/" + impl;
    benchmark::RegisterBenchmark(name.c_str(), [c, f](benchmark::State &s) { f(s, c); })
        ->Unit(benchmark::kMillisecond)
        ->UseRealTime();
}

void register_all() {
    // 5: 1920x1080 down to 1280x720 and 960x540. libyuv's kFilterBox
    // averages boxes only from half size down: at 1080p to 720p it runs its
    // bilinear filter, and the row says so.
    for (const auto &[c, libyuv_name] :
         {std::pair{rect_case{"w5_rect_1080p_to_720p", 1920, 1080, 1280, 720},
                    "libyuv_box_runs_bilinear"},
          std::pair{rect_case{"w5_rect_1080p_to_540p", 1920, 1080, 960, 540}, "libyuv_box"}}) {
        add(c, "tovrel", bm_tovrel);
        add(c, "cv_resize_area", bm_opencv);
        add(c, libyuv_name, bm_libyuv);
    }
    // 6: 1:1.
    rect_case w6{"w6_rect_1to1_1080p", 1920, 1080, 1920, 1080};
    add(w6, "tovrel", bm_tovrel);
    add(w6, "memcpy", bm_memcpy);
    // 7: workload 5 at twice the size in both axes.
    add(rect_case{"w7_rect_2160p_to_1440p", 3840, 2160, 2560, 1440}, "tovrel", bm_tovrel);
    add(rect_case{"w7_rect_2160p_to_1080p", 3840, 2160, 1920, 1080}, "tovrel", bm_tovrel);
    // 5 and 6 in 4:2:2: YUY2 and W210 frames down to 720p and 540p, and 1:1.
    for (const yuv_case &c :
         {yuv_case{"w5_yuy2_1080p_to_720p", TOVREL_FORMAT_YUY2, 1920, 1080, 1280, 720},
          yuv_case{"w5_yuy2_1080p_to_540p", TOVREL_FORMAT_YUY2, 1920, 1080, 960, 540},
          yuv_case{"w5_w210_1080p_to_720p", TOVREL_FORMAT_W210, 1920, 1080, 1280, 720}}) {
        add(c, "tovrel", bm_tovrel_422);
        add(c, "swscale_area", bm_swscale);
    }
    yuv_case w6_yuy2{"w6_yuy2_1to1_1080p", TOVREL_FORMAT_YUY2, 1920, 1080, 1920, 1080};
    add(w6_yuy2, "tovrel", bm_tovrel_422);
    add(w6_yuy2, "memcpy", bm_memcpy_422);
    // The machine's own growth: a frame copy at both sizes (a 2160p frame
    // may no longer fit the caches that hold a 1080p one).
    add(rect_case{"w7_copy_2160p", 3840, 2160, 3840, 2160}, "memcpy", bm_memcpy);
}

} // namespace

int main(int argc, char **argv) {
    cv::setNumThreads(1);
    bench::report_counter::install();
    register_all();
    return bench::run_benchmarks(argc, argv);
}
