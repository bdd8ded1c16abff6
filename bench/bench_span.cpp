// Throughput of the span renderers of the RGBQ, YUY2 and W210 tables, in
// destination pixels per second.
//
//   <family>/<affine|persp>/slot<N>/<impl>/<texture>
//
// The 4:2:2 families read the same texture bytes (a YUY2 texture has two
// columns per 32-bit texel, so its scenes use the left half).
//
// impl: "table" (the dispatched tables, every slot), and for the slots
// with SIMD members "c" (scalar statement), "sse2" and "avx2". texture: "cached"
// (64 x 64 texels, resident in L1, magnified over 1920-pixel spans) or
// "frame" (a 1920 x 1080 texture rotated by 10 degrees into a 1920 x 1080
// destination, streaming through memory).
#include <benchmark/benchmark.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

#include "bench_common.h"
#include "span/rgbq_renderers.h"
#include "span/w210_renderers.h"
#include "span/yuy2_renderers.h"

namespace {

using tovrel::affine_renderer_table;
using tovrel::persp_renderer_table;

struct texture_image {
    int32_t width, height;
    std::vector<uint32_t> texels;
    texture_image(int32_t w, int32_t h) : width(w), height(h), texels(size_t(w) * size_t(h)) {
        std::mt19937 rng(1);
        for (auto &t : texels) t = rng();
    }
};

// One line's span coefficients; x runs over [0, width).
struct line_span {
    float u_step, v_step, u_base, v_base, w_step, w_base;
};

struct scene {
    const texture_image *texture;
    int32_t dst_width, dst_height;
    std::vector<line_span> lines;
};

const texture_image &cached_texture() {
    static const texture_image t(64, 64);
    return t;
}
const texture_image &frame_texture() {
    static const texture_image t(1920, 1080);
    return t;
}

// Rotation by `degrees` about the centre with scale `scale` (texels per
// destination pixel); perspective adds a slight depth ramp along x.
scene make_scene(const texture_image &t, int32_t dst_w, int32_t dst_h, double degrees, double scale,
                 bool persp) {
    scene s{&t, dst_w, dst_h, {}};
    const double c = std::cos(degrees * M_PI / 180) * scale,
                 sn = std::sin(degrees * M_PI / 180) * scale;
    const double cx = dst_w / 2.0, cy = dst_h / 2.0, tx = t.width / 2.0, ty = t.height / 2.0;
    const double dw = persp ? 0.2 / dst_w : 0.0;
    for (int32_t y = 0; y < dst_h; ++y) {
        // u(x) = tx + c (x - cx) - sn (y - cy), v(x) = ty + sn (x - cx) + c (y - cy)
        const double u0 = tx - c * cx - sn * (y - cy), v0 = ty - sn * cx + c * (y - cy);
        // Numerators of a projective map with w(x) = 1 + dw x (u0 at w = 1).
        s.lines.push_back({float(c * 65536), float(sn * 65536), float(u0 * 65536),
                           float(v0 * 65536), float(dw), 1.0f});
    }
    return s;
}

template <class Renderer>
void run_scene(benchmark::State &state, const scene &s, Renderer renderer, int slot,
               int32_t columns_per_texel) {
    const int hc = slot == 0 ? 0 : (slot - 1) / 5;
    const int cols = slot == 0 ? 1 : std::array{1, 2, 3, 4, 8}[(slot - 1) % 5];
    const int32_t reach[4] = {120, 32888, 65656, 196728};
    const float u_max = float((s.texture->width * columns_per_texel - cols) * 65536 - 120);
    const float v_max = float((s.texture->height - 1) * 65536 - reach[hc]);
    const tovrel::texture_ref tex{reinterpret_cast<const uint8_t *>(s.texture->texels.data()),
                                  s.texture->width * 4, nullptr, 0};
    std::vector<uint32_t> dst(size_t(s.dst_width) * size_t(s.dst_height));
    for (auto _ : state) {
        for (int32_t y = 0; y < s.dst_height; ++y) {
            const tovrel::span_rows rows{dst.data() + size_t(y) * size_t(s.dst_width), nullptr};
            const line_span &l = s.lines[size_t(y)];
            if constexpr (std::is_same_v<Renderer, tovrel::persp_span_renderer>)
                renderer(&rows, 0, s.dst_width, &tex, u_max, v_max, l.u_step, l.v_step, l.u_base,
                         l.v_base, l.w_step, l.w_base);
            else
                renderer(&rows, 0, s.dst_width, &tex, u_max, v_max, l.u_step, l.v_step, l.u_base,
                         l.v_base);
        }
        benchmark::DoNotOptimize(dst.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(int64_t(state.iterations()) * s.dst_width * s.dst_height);
}

void register_all() {
    static const scene scenes[2][2] = {
        {make_scene(cached_texture(), 1920, 64, 0.0, 64.0 / 1920, false),
         make_scene(cached_texture(), 1920, 64, 0.0, 64.0 / 1920, true)},
        {make_scene(frame_texture(), 1920, 1080, 10.0, 1.0, false),
         make_scene(frame_texture(), 1920, 1080, 10.0, 1.0, true)}};
    const char *texture_names[2] = {"cached", "frame"};

    struct impl {
        const char *name;
        const persp_renderer_table *persp;
        const affine_renderer_table *affine;
        bool packed_only;
    };
    struct family {
        const char *name;
        int32_t columns_per_texel;
        std::vector<impl> impls;
    };
    const tovrel::renderer_table_pair rgbq = tovrel::rgbq_span_renderers(),
                                      yuy2 = tovrel::yuy2_span_renderers(),
                                      w210 = tovrel::w210_span_renderers();
    std::vector<family> families = {
        {"rgbq",
         1,
         {{"table", rgbq.persp, rgbq.affine, false},
          {"c", &tovrel::rgbq_persp_span_renderers_c, &tovrel::rgbq_affine_span_renderers_c, true},
          {"sse2", &tovrel::rgbq_persp_span_renderers, &tovrel::rgbq_affine_span_renderers, true}}},
        {"yuy2",
         2,
         {{"table", yuy2.persp, yuy2.affine, false},
          {"c", &tovrel::yuy2_persp_span_renderers_c, &tovrel::yuy2_affine_span_renderers_c, true},
          {"sse2", &tovrel::yuy2_persp_span_renderers, &tovrel::yuy2_affine_span_renderers, true}}},
        {"w210",
         1,
         {{"table", w210.persp, w210.affine, false},
          {"c", &tovrel::w210_persp_span_renderers_c, &tovrel::w210_affine_span_renderers_c, true},
          {"sse2", &tovrel::w210_persp_span_renderers, &tovrel::w210_affine_span_renderers,
           true}}}};
    if (tovrel::rgbq_avx2_supported())
        families[0].impls.push_back({"avx2", &tovrel::rgbq_persp_span_renderers_avx2,
                                     &tovrel::rgbq_affine_span_renderers_avx2, true});

    for (const family &fam : families)
        for (int persp = 0; persp < 2; ++persp)
            for (int slot = 0; slot < tovrel::footprint_count; ++slot)
                for (const impl &im : fam.impls) {
                    // c / sse2 / avx2 side by side where the slot has a
                    // SIMD member (every packed slot, some scalar ones).
                    if (im.packed_only &&
                        (*fam.impls[1].affine)[slot] == (*fam.impls[2].affine)[slot])
                        continue;
                    for (int tx = 0; tx < 2; ++tx) {
                        const std::string name =
                            std::string(fam.name) + "/" + (persp ? "persp" : "affine") + "/slot" +
                            std::to_string(slot) + "/" + im.name + "/" + texture_names[tx];
                        const scene *s = &scenes[tx][persp];
                        const int32_t cpt = fam.columns_per_texel;
                        auto add = [&](auto f) {
                            benchmark::RegisterBenchmark(name.c_str(), [s, f, slot,
                                                                        cpt](benchmark::State &st) {
                                run_scene(st, *s, f, slot, cpt);
                            })->Unit(benchmark::kMillisecond);
                        };
                        if (persp)
                            add((*im.persp)[slot]);
                        else
                            add((*im.affine)[slot]);
                    }
                }
}

} // namespace

int main(int argc, char **argv) {
    register_all();
    return bench::run_benchmarks(argc, argv);
}
