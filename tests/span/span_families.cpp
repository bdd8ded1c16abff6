// The renderer families the span tests run over.
#include "span/alpha_renderers.h"
#include "span/rgbq_packed_simd.h"
#include "span/rgbq_renderers.h"
#include "span/s16x4_renderers.h"
#include "span/w210_renderers.h"
#include "span/word_renderers.h"
#include "span/yuy2_renderers.h"
#include "span_test_support.h"

namespace span_test {

using namespace tovrel;

namespace {

// Pairs Y0 U Y1 V with Y0 = Y1: full scale, zero and two random ones.
template <int Bits>
std::vector<uint64_t> pair_uniform(int, std::mt19937 &rng) {
    const uint32_t m = (1u << Bits) - 1;
    const int b = Bits > 8 ? 16 : 8;
    auto pair = [&](uint64_t y, uint64_t u, uint64_t v) {
        return y | u << b | y << 2 * b | v << 3 * b;
    };
    auto any = [&] { return rng() & m; };
    return {pair(m, m, m), 0, pair(any(), any(), any()), pair(any(), any(), any())};
}

tables pair_tables(const char *name, renderer_table_pair p) {
    return {name, p.persp, p.affine};
}

// The one-loop RGBQ + alpha members of one instruction set in their slots,
// the composed statements in the others.
template <template <int> class M>
tables fused_tables(const char *name) {
    auto fill = [](auto t, auto member) {
        for (auto [slot, fn] : {std::pair{1, member(M<1>{})},
                                {2, member(M<2>{})},
                                {6, member(M<6>{})},
                                {11, member(M<11>{})}})
            t[size_t(slot)] = fn;
        return t;
    };
    static const persp_renderer_table persp =
        fill(*rgbq_alpha_span_renderers_c().persp, [](auto m) { return &decltype(m)::persp; });
    static const affine_renderer_table affine =
        fill(*rgbq_alpha_span_renderers_c().affine, [](auto m) { return &decltype(m)::affine; });
    return {name, &persp, &affine};
}

// A colour family with a w12b alpha plane: the colour line as the colour
// family's, the alpha line as the word family's on the plane.
family with_alpha(family f, const char *name, std::vector<tables> (*implementations)()) {
    f.name = name, f.implementations = implementations, f.alpha = true;
    return f;
}

// The dispatched (SSE2) tables and the scalar statements of a family.
template <const persp_renderer_table &P, const affine_renderer_table &A,
          const persp_renderer_table &PC, const affine_renderer_table &AC>
std::vector<tables> sse2_and_c() {
    return {{"sse2", &P, &A}, {"c", &PC, &AC}};
}

// The same, with the AVX2 tables where the processor runs them.
template <const persp_renderer_table &P, const affine_renderer_table &A,
          const persp_renderer_table &PC, const affine_renderer_table &AC,
          const persp_renderer_table &PX, const affine_renderer_table &AX>
std::vector<tables> sse2_avx2_and_c() {
    std::vector<tables> v = sse2_and_c<P, A, PC, AC>();
    if (rgbq_avx2_supported()) v.push_back({"avx2", &PX, &AX});
    return v;
}

std::vector<uint64_t> rgbq_uniform(int, std::mt19937 &rng) {
    return {0xFFFFFFFFu, 0u, 0x01FE807Fu, rng() + 0ull, rng() + 0ull};
}

// Uniform S16X4 texels keep their value where the sum neither wraps nor is
// negative in slots 15 and 20 (a logical shift): components in [0, 4095].
std::vector<uint64_t> s16x4_uniform(int, std::mt19937 &rng) {
    return {0u, 0x0FFF0FFF0FFF0FFFull, ((uint64_t(rng()) << 32) | rng()) & 0x0FFF0FFF0FFF0FFFull};
}

// Uniform words: every value below the slot's stated limit, and 4096 (an
// opaque alpha plane) in every slot, pre-shifted or not.
std::vector<uint64_t> word_uniform(int slot, std::mt19937 &rng) {
    const uint32_t limit = word_sample_limit[slot];
    return {0, 1, 4096, limit - 1, rng() % limit};
}

} // namespace

const std::vector<family> &family_list() {
    static const std::vector<family> list = [] {
        // Columns: name, bytes per texel, 4:2:2 pairs, bytes per sample, the
        // implementations, the packed slots, the single texel's first
        // sample, the uniform texels.
        // clang-format off
        std::vector<family> list = {
            {"rgbq", 4, false, 1, sse2_avx2_and_c<rgbq_persp_span_renderers, rgbq_affine_span_renderers,
             rgbq_persp_span_renderers_c, rgbq_affine_span_renderers_c,
             rgbq_persp_span_renderers_avx2, rgbq_affine_span_renderers_avx2>, rgbq_slot_is_packed,
             255, rgbq_uniform},
            {"yuy2", 2, true, 1, sse2_avx2_and_c<yuy2_persp_span_renderers, yuy2_affine_span_renderers,
             yuy2_persp_span_renderers_c, yuy2_affine_span_renderers_c,
             yuy2_persp_span_renderers_avx2, yuy2_affine_span_renderers_avx2>, yuy2_slot_is_packed,
             255, pair_uniform<8>},
            {"w210", 4, true, 2, sse2_avx2_and_c<w210_persp_span_renderers, w210_affine_span_renderers,
             w210_persp_span_renderers_c, w210_affine_span_renderers_c,
             w210_persp_span_renderers_avx2, w210_affine_span_renderers_avx2>, w210_slot_is_packed,
             1023, pair_uniform<10>},
            {"s16x4", 8, false, 2, sse2_and_c<s16x4_persp_span_renderers,
             s16x4_affine_span_renderers, s16x4_persp_span_renderers_c,
             s16x4_affine_span_renderers_c>, [](int) { return false; }, 32767,
             s16x4_uniform},
            {"word", 2, false, 2, sse2_and_c<word_persp_span_renderers, word_affine_span_renderers,
             word_persp_span_renderers_c, word_affine_span_renderers_c>, word_slot_is_packed,
             5000, word_uniform},
        };
        // clang-format on
        list.push_back(with_alpha(list[0], "rgbq_alpha", [] {
            std::vector<tables> v = {pair_tables("e", rgbq_alpha_span_renderers()),
                                     pair_tables("c", rgbq_alpha_span_renderers_c()),
                                     fused_tables<span::rgbq_alpha_sse2_member>("fused_sse2")};
            if (rgbq_avx2_supported())
                v.push_back(fused_tables<span::rgbq_alpha_avx2_member>("fused_avx2"));
            return v;
        }));
        list.push_back(with_alpha(list[1], "yuy2_alpha", [] {
            return std::vector<tables>{pair_tables("f", yuy2_alpha_span_renderers()),
                                       pair_tables("c", yuy2_alpha_span_renderers_c())};
        }));
        list.push_back(with_alpha(list[2], "w210_alpha", [] {
            return std::vector<tables>{pair_tables("g", w210_alpha_span_renderers()),
                                       pair_tables("c", w210_alpha_span_renderers_c())};
        }));
        return list;
    }();
    return list;
}

} // namespace span_test
