// The exact-ratio YUY2/W210 kernels beside the general kernels on the same
// rectangle, and whole YUY2 frames enlarged 4/3 and 2 beside libswscale
// (yuyv422 to yuyv422, SWS_BILINEAR and SWS_AREA), in one run, one thread.
//
// Names are "<workload>/<implementation>". Kernel workloads (exact: the
// kernels map_rectangle takes on this processor; exact_c, exact_sse2: the
// scalar and SSE2 ones;
// general: the general kernel of the role, at its best) call one
// routine per destination line of a 1920-pixel-wide (whole groups)
// rectangle of 270 lines: the one-row role on one source line, the
// two-row role on two lines weighted 1536/512.
#include "bench_common.h"

#include <benchmark/benchmark.h>

#include <utility>
#include <vector>

#include "rect/rect_exact_ratio.h"
#include "rect/rect_map.h"
#include "rect/rect_pair.h"
#include "rect/rect_select.h"

#if defined(TOVREL_BENCH_HAVE_SWSCALE)
extern "C" {
#include <libavutil/pixfmt.h>
#include <libswscale/swscale.h>
}
#endif

namespace {

using namespace tovrel;

// A 4:2:2 frame (YUY2 bytes or W210 words) with a 64-byte aligned pitch,
// filled with a gradient and fine noise in every sample.
struct frame {
    int32_t width, height, pitch;
    std::vector<uint8_t> bytes;
    frame(int32_t w, int32_t h, int32_t bytes_per_pixel)
        : width(w), height(h), pitch((w * bytes_per_pixel + 63) & ~63),
          bytes(size_t(pitch) * size_t(h) + 64) {
        uint32_t s = 0x5ca1u;
        const bool words = bytes_per_pixel == 4;
        for (int32_t y = 0; y < h; ++y)
            for (int32_t i = 0; i < 2 * w; ++i) {
                s ^= s << 13, s ^= s >> 17, s ^= s << 5;
                const uint32_t v = uint32_t(i * 96 / (2 * w) + y * 96 / h) + (s & 63);
                uint8_t *p = row(y) + (words ? 2 * i : i);
                if (words)
                    p[0] = uint8_t(v << 2), p[1] = uint8_t(v >> 6);
                else
                    p[0] = uint8_t(v);
            }
    }
    uint8_t *row(int32_t y) { return data() + size_t(pitch) * size_t(y); }
    uint8_t *data() { // 64-byte aligned
        return bytes.data() + ((64 - reinterpret_cast<uintptr_t>(bytes.data()) % 64) % 64);
    }
    image_descriptor descriptor(uint8_t format) {
        image_descriptor d{};
        d.width = width, d.height = height, d.format = format;
        d.pixels = data(), d.pitch = pitch;
        return d;
    }
};

constexpr const char *ratio_names[exact_ratio_count] = {"x16_9", "x2",   "x8_3",
                                                        "x9_8",  "x3_2", "x4_3"};

// The exact kernels of `isa`, or (general) the general kernel of the role.
void bm_kernel(benchmark::State &state, exact_ratio r, uint8_t format, bool two, bool general,
               rect_isa isa) {
    const exact_ratio_group &g = rect_exact_ratio_groups[size_t(r)];
    const int32_t groups = (1920 + g.dst / 2) / g.dst, lines = 270;
    const int32_t bpp = format == TOVREL_FORMAT_W210 ? 4 : 2;
    frame src(groups * g.src, lines + 1, bpp), dst(groups * g.dst, lines, bpp);
    const rect_choice choice{isa, g.x_step, 2048, g.x_step, 4096, groups * g.dst * 4096, 0, 0};
    rect_kernel_set set{};
    rect_pair_kernels(format, format, pair_plain, choice, &set);
    const size_t role = two ? rect_role_row2 : rect_role_row1;
    rect_kernel k = set.slots[role];
    if (!general) {
        rect_kernel ks[2];
        if (!rect_exact_ratio_kernels(format, choice, &ks[0], &ks[1])) {
            state.SkipWithError("no exact-ratio kernels for this rectangle");
            return;
        }
        k = ks[two ? 1 : 0];
    }
    const int32_t first = two ? 1536 : 2048, last = two ? 512 : 0;
    for (auto _ : state) {
        for (int32_t y = 0; y < lines; ++y)
            k(dst.row(y), nullptr, 4096, 2048, choice.width, src.row(y), src.pitch, nullptr, 0,
              g.x_step, 2048, g.x_step, first, 0, last);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(int64_t(state.iterations()) * lines * groups * g.dst);
}

struct frame_case {
    const char *name;
    int32_t sw, sh, dw, dh;
};

// map_rectangle with the kernels of `isa` (the exported call takes the best).
void bm_tovrel(benchmark::State &state, const frame_case &c, rect_isa isa) {
    frame src(c.sw, c.sh, 2), dst(c.dw, c.dh, 2);
    image_descriptor sd = src.descriptor(TOVREL_FORMAT_YUY2),
                     dd = dst.descriptor(TOVREL_FORMAT_YUY2);
    for (auto _ : state) {
        rect_map_rectangle(
            isa, &dd, {0.0f, 0.0f, float(c.dw), float(c.dh), 0.0f, 0.0f, float(c.sw), float(c.sh)},
            &sd, 0, 0, 1);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(int64_t(state.iterations()) * c.dw * c.dh);
}

#if defined(TOVREL_BENCH_HAVE_SWSCALE)
void bm_swscale(benchmark::State &state, const frame_case &c, int flags) {
    frame src(c.sw, c.sh, 2), dst(c.dw, c.dh, 2);
    SwsContext *ctx = sws_getContext(c.sw, c.sh, AV_PIX_FMT_YUYV422, c.dw, c.dh, AV_PIX_FMT_YUYV422,
                                     flags, nullptr, nullptr, nullptr);
    if (ctx == nullptr) {
        state.SkipWithError("sws_getContext failed");
        return;
    }
    const uint8_t *in[4] = {src.data()};
    uint8_t *out[4] = {dst.data()};
    const int in_pitch[4] = {src.pitch}, out_pitch[4] = {dst.pitch};
    for (auto _ : state) {
        sws_scale(ctx, in, in_pitch, 0, c.sh, out, out_pitch);
        benchmark::ClobberMemory();
    }
    sws_freeContext(ctx);
    state.SetItemsProcessed(int64_t(state.iterations()) * c.dw * c.dh);
}
#endif

template <class F>
void add(const std::string &name, F f) {
    benchmark::RegisterBenchmark(name.c_str(), f)->Unit(benchmark::kMicrosecond)->UseRealTime();
}

void register_all() {
    for (int32_t r = 0; r < exact_ratio_count; ++r)
        for (uint8_t format : {uint8_t{TOVREL_FORMAT_YUY2}, uint8_t{TOVREL_FORMAT_W210}})
            for (bool two : {false, true}) {
                const std::string name = std::string("kernel_") + ratio_names[r] +
                                         (format == TOVREL_FORMAT_W210 ? "_w210" : "_yuy2") +
                                         (two ? "_row2" : "_row1");
                const auto exact = [=](rect_isa isa) {
                    return [=](benchmark::State &s) {
                        bm_kernel(s, exact_ratio(r), format, two, false, isa);
                    };
                };
                add(name + "/exact", exact(rect_best_isa()));
                if (rect_best_isa() != rect_isa::c) add(name + "/exact_c", exact(rect_isa::c));
                if (rect_best_isa() == rect_isa::avx2)
                    add(name + "/exact_sse2", exact(rect_isa::sse2));
                add(name + "/general", [=](benchmark::State &s) {
                    bm_kernel(s, exact_ratio(r), format, two, true, rect_best_isa());
                });
            }
    for (const frame_case &c : {frame_case{"yuy2_1440x1080_to_1080p", 1440, 1080, 1920, 1080},
                                frame_case{"yuy2_960x540_to_1080p", 960, 540, 1920, 1080}}) {
        const std::string name = c.name;
        add(name + "/tovrel", [c](benchmark::State &s) { bm_tovrel(s, c, rect_best_isa()); });
        // What a processor without AVX2 runs.
        if (rect_best_isa() == rect_isa::avx2)
            add(name + "/tovrel_sse2",
                [c](benchmark::State &s) { bm_tovrel(s, c, rect_isa::sse2); });
#if defined(TOVREL_BENCH_HAVE_SWSCALE)
        add(name + "/sws_bilinear", [c](benchmark::State &s) { bm_swscale(s, c, SWS_BILINEAR); });
        add(name + "/sws_area", [c](benchmark::State &s) { bm_swscale(s, c, SWS_AREA); });
#endif
    }
}

} // namespace

int main(int argc, char **argv) {
    bench::report_counter::install();
    register_all();
    return bench::run_benchmarks(argc, argv);
}
