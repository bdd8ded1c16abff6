#include "span/alpha_renderers.h"

#include "span/rgbq_packed_simd.h"
#include "span/rgbq_renderers.h"
#include "span/span_sampling.h"
#include "span/w210_renderers.h"
#include "span/word_packed_simd.h"
#include "span/word_renderers.h"
#include "span/yuy2_renderers.h"

namespace tovrel {
namespace {

using table_source = renderer_table_pair (*)();

// The scalar statements of each family as a pair.
renderer_table_pair rgbq_statements() {
    return {&rgbq_persp_span_renderers_c, &rgbq_affine_span_renderers_c};
}
renderer_table_pair yuy2_statements() {
    return {&yuy2_persp_span_renderers_c, &yuy2_affine_span_renderers_c};
}
renderer_table_pair w210_statements() {
    return {&w210_persp_span_renderers_c, &w210_affine_span_renderers_c};
}
renderer_table_pair word_statements() {
    return {&word_persp_span_renderers_c, &word_affine_span_renderers_c};
}

// The alpha pass sees a one-plane line and texture: the caller's alpha
// line and alpha plane. Nothing is computed between the passes.
inline span_rows alpha_line(const span_rows *line) {
    return {line->alpha, nullptr};
}
inline texture_ref alpha_plane(const texture_ref *texture) {
    return {texture->alpha, texture->alpha_pitch, nullptr, 0};
}

// The member of table kind Persp of M.
template <bool Persp, class M>
constexpr auto kind_of() {
    if constexpr (Persp)
        return &M::persp;
    else
        return &M::affine;
}

template <bool Persp>
constexpr auto table_of(const renderer_table_pair &p) {
    if constexpr (Persp)
        return p.persp;
    else
        return p.affine;
}

// A member running both passes in one loop, where the tables hold exactly
// the two members it fuses (so that a replaced member is still used), else
// null. No family but RGBQ has one.
struct no_fusion {
    template <int Slot, bool Persp, class Fn>
    static Fn find(Fn, Fn) {
        return nullptr;
    }
};

struct rgbq_fusion {
    template <int Slot, bool Persp, class Fn>
    static Fn find(Fn colour, Fn alpha) {
        using namespace span;
        if constexpr (rgbq_alpha_fused(Slot)) {
            if (alpha != kind_of<Persp, word_sse2_member<Slot>>()) return nullptr;
            if (colour == kind_of<Persp, rgbq_sse2_member<Slot>>())
                return kind_of<Persp, rgbq_alpha_sse2_member<Slot>>();
            if (colour == kind_of<Persp, rgbq_avx2_member<Slot>>())
                return kind_of<Persp, rgbq_alpha_avx2_member<Slot>>();
        }
        return nullptr;
    }
};

// Slot k of the colour table, then slot k of the word table on the alpha
// plane, read from the tables on every call.
template <table_source Colour, table_source Alpha, class Fusion, int Slot>
struct composite {
    template <bool Persp, class... Args>
    static void run(const span_rows *line, int32_t x0, int32_t x1, const texture_ref *texture,
                    Args... args) {
        const renderer_table_pair c = Colour(), w = Alpha();
        const auto colour = (*table_of<Persp>(c))[Slot], alpha = (*table_of<Persp>(w))[Slot];
        if (const auto both = Fusion::template find<Slot, Persp>(colour, alpha))
            return both(line, x0, x1, texture, args...);
        colour(line, x0, x1, texture, args...);
        const span_rows a = alpha_line(line);
        const texture_ref t = alpha_plane(texture);
        alpha(&a, x0, x1, &t, args...);
    }
    static void persp(const span_rows *line, int32_t x0, int32_t x1, const texture_ref *texture,
                      float u_max, float v_max, float u_step, float v_step, float u_base,
                      float v_base, float w_step, float w_base) {
        run<true>(line, x0, x1, texture, u_max, v_max, u_step, v_step, u_base, v_base, w_step,
                  w_base);
    }
    static void affine(const span_rows *line, int32_t x0, int32_t x1, const texture_ref *texture,
                       float u_max, float v_max, float u_step, float v_step, float u_base,
                       float v_base) {
        run<false>(line, x0, x1, texture, u_max, v_max, u_step, v_step, u_base, v_base);
    }
};

// The table pair of one colour family with an alpha plane.
template <table_source Colour, table_source Alpha = &word_span_renderers, class Fusion = no_fusion>
struct composite_pair {
    template <int Slot>
    using member = composite<Colour, Alpha, Fusion, Slot>;
    static_assert(span::members_complete<member>());
    static constexpr persp_renderer_table persp = span::make_persp_table<member>();
    static constexpr affine_renderer_table affine = span::make_affine_table<member>();
    static renderer_table_pair tables() { return {&persp, &affine}; }
};

} // namespace

renderer_table_pair rgbq_alpha_span_renderers() {
    return composite_pair<&rgbq_span_renderers, &word_span_renderers, rgbq_fusion>::tables();
}
renderer_table_pair yuy2_alpha_span_renderers() {
    return composite_pair<&yuy2_span_renderers>::tables();
}
renderer_table_pair w210_alpha_span_renderers() {
    return composite_pair<&w210_span_renderers>::tables();
}

renderer_table_pair rgbq_alpha_span_renderers_c() {
    return composite_pair<&rgbq_statements, &word_statements>::tables();
}
renderer_table_pair yuy2_alpha_span_renderers_c() {
    return composite_pair<&yuy2_statements, &word_statements>::tables();
}
renderer_table_pair w210_alpha_span_renderers_c() {
    return composite_pair<&w210_statements, &word_statements>::tables();
}

} // namespace tovrel
