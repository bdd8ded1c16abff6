#include "span/alpha_renderers.h"

#include "span/rgbq_renderers.h"
#include "span/span_sampling.h"
#include "span/word_renderers.h"

namespace tovrel {
namespace {

using table_source = renderer_table_pair (*)();

// The alpha pass sees a one-plane line and texture: the caller's alpha
// line and alpha plane. Nothing is computed between the passes.
inline span_rows alpha_line(const span_rows *line) {
    return {line->alpha, nullptr};
}
inline texture_ref alpha_plane(const texture_ref *texture) {
    return {texture->alpha, texture->alpha_pitch, nullptr, 0};
}

template <table_source Colour, int Slot>
struct composite {
    static void persp(const span_rows *line, int32_t x0, int32_t x1, const texture_ref *texture,
                      float u_max, float v_max, float u_step, float v_step, float u_base,
                      float v_base, float w_step, float w_base) {
        (*Colour().persp)[Slot](line, x0, x1, texture, u_max, v_max, u_step, v_step, u_base, v_base,
                                w_step, w_base);
        const span_rows a = alpha_line(line);
        const texture_ref t = alpha_plane(texture);
        (*word_span_renderers().persp)[Slot](&a, x0, x1, &t, u_max, v_max, u_step, v_step, u_base,
                                             v_base, w_step, w_base);
    }
    static void affine(const span_rows *line, int32_t x0, int32_t x1, const texture_ref *texture,
                       float u_max, float v_max, float u_step, float v_step, float u_base,
                       float v_base) {
        (*Colour().affine)[Slot](line, x0, x1, texture, u_max, v_max, u_step, v_step, u_base,
                                 v_base);
        const span_rows a = alpha_line(line);
        const texture_ref t = alpha_plane(texture);
        (*word_span_renderers().affine)[Slot](&a, x0, x1, &t, u_max, v_max, u_step, v_step, u_base,
                                              v_base);
    }
};

// The table pair of one colour family with an alpha plane.
template <table_source Colour>
struct composite_pair {
    template <int Slot>
    using member = composite<Colour, Slot>;
    static_assert(span::members_complete<member>());
    static constexpr persp_renderer_table persp = span::make_persp_table<member>();
    static constexpr affine_renderer_table affine = span::make_affine_table<member>();
    static renderer_table_pair tables() { return {&persp, &affine}; }
};

} // namespace

renderer_table_pair rgbq_alpha_span_renderers() {
    return composite_pair<&rgbq_span_renderers>::tables();
}

} // namespace tovrel
