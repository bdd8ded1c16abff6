// The definitions of simd_member, included by each instruction set's file
// after it has defined its member sets, followed by the explicit
// instantiations of its slots.
#pragma once

#include "span/simd_member.h"

namespace tovrel::span {

template <class Set, int Slot>
void simd_member<Set, Slot>::persp(const span_rows *line, int32_t x0, int32_t x1,
                                   const texture_ref *texture, float u_max, float v_max,
                                   float u_step, float v_step, float u_base, float v_base,
                                   float w_step, float w_base) {
    Set::template members<Slot>::persp(line, x0, x1, texture, u_max, v_max, u_step, v_step, u_base,
                                       v_base, w_step, w_base);
}

template <class Set, int Slot>
void simd_member<Set, Slot>::affine(const span_rows *line, int32_t x0, int32_t x1,
                                    const texture_ref *texture, float u_max, float v_max,
                                    float u_step, float v_step, float u_base, float v_base) {
    Set::template members<Slot>::affine(line, x0, x1, texture, u_max, v_max, u_step, v_step, u_base,
                                        v_base);
}

} // namespace tovrel::span
