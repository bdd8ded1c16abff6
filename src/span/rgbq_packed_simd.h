// SIMD forms of the packed RGBQ members (slots 1-4, 6, 11). Each matches
// rgbq_member<Slot> (packed kind) of rgbq_traits.h bit for bit.
#pragma once

#include "span/span_renderer.h"

namespace tovrel::span {

// Defined for the packed slots only (explicit instantiations).
template <int Slot>
struct rgbq_sse2_member {
    static void persp(const span_rows *line, int32_t x0, int32_t x1, const texture_ref *texture,
                      float u_max, float v_max, float u_step, float v_step, float u_base,
                      float v_base, float w_step, float w_base);
    static void affine(const span_rows *line, int32_t x0, int32_t x1, const texture_ref *texture,
                       float u_max, float v_max, float u_step, float v_step, float u_base,
                       float v_base);
};

template <int Slot>
struct rgbq_avx2_member {
    static void persp(const span_rows *line, int32_t x0, int32_t x1, const texture_ref *texture,
                      float u_max, float v_max, float u_step, float v_step, float u_base,
                      float v_base, float w_step, float w_base);
    static void affine(const span_rows *line, int32_t x0, int32_t x1, const texture_ref *texture,
                       float u_max, float v_max, float u_step, float v_step, float u_base,
                       float v_base);
};

} // namespace tovrel::span
