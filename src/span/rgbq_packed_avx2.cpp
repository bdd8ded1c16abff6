// AVX2 packed RGBQ members, chosen at run time when the processor has
// AVX2. Everything from the target options on is compiled for AVX2 and
// private to this file; the shared templates above them stay baseline
// code, so no AVX2 instruction can leak into a baseline routine.
#include <immintrin.h>

#include <cstddef>
#include <cstdint>

#include "span/rgbq_packed_simd.h"
#include "span/rgbq_traits.h"
#include "span/word_traits.h"

#if defined(__clang__)
#pragma clang attribute push(__attribute__((target("avx2"))), apply_to = function)
#else
#pragma GCC push_options
#pragma GCC target("avx2")
#endif

namespace tovrel::span {
namespace {

struct isa_avx2 {
    static constexpr bool avx2 = true;
};

#include "span/rgbq_packed_kernel.h"
#include "span/word_packed_kernel.h"

} // namespace

template <int Slot>
void rgbq_avx2_member<Slot>::persp(const span_rows *line, int32_t x0, int32_t x1,
                                   const texture_ref *texture, float u_max, float v_max,
                                   float u_step, float v_step, float u_base, float v_base,
                                   float w_step, float w_base) {
    packed_members<isa_avx2, Slot>::persp(line, x0, x1, texture, u_max, v_max, u_step, v_step,
                                          u_base, v_base, w_step, w_base);
}

template <int Slot>
void rgbq_avx2_member<Slot>::affine(const span_rows *line, int32_t x0, int32_t x1,
                                    const texture_ref *texture, float u_max, float v_max,
                                    float u_step, float v_step, float u_base, float v_base) {
    packed_members<isa_avx2, Slot>::affine(line, x0, x1, texture, u_max, v_max, u_step, v_step,
                                           u_base, v_base);
}

template struct rgbq_avx2_member<1>;
template struct rgbq_avx2_member<2>;
template struct rgbq_avx2_member<3>;
template struct rgbq_avx2_member<4>;
template struct rgbq_avx2_member<6>;
template struct rgbq_avx2_member<11>;

template <int Slot>
void rgbq_alpha_avx2_member<Slot>::persp(const span_rows *line, int32_t x0, int32_t x1,
                                         const texture_ref *texture, float u_max, float v_max,
                                         float u_step, float v_step, float u_base, float v_base,
                                         float w_step, float w_base) {
    rgbq_alpha_members<isa_avx2, Slot>::persp(line, x0, x1, texture, u_max, v_max, u_step, v_step,
                                              u_base, v_base, w_step, w_base);
}

template <int Slot>
void rgbq_alpha_avx2_member<Slot>::affine(const span_rows *line, int32_t x0, int32_t x1,
                                          const texture_ref *texture, float u_max, float v_max,
                                          float u_step, float v_step, float u_base, float v_base) {
    rgbq_alpha_members<isa_avx2, Slot>::affine(line, x0, x1, texture, u_max, v_max, u_step, v_step,
                                               u_base, v_base);
}

template struct rgbq_alpha_avx2_member<1>;
template struct rgbq_alpha_avx2_member<2>;
template struct rgbq_alpha_avx2_member<6>;
template struct rgbq_alpha_avx2_member<11>;

} // namespace tovrel::span

#if defined(__clang__)
#pragma clang attribute pop
#else
#pragma GCC pop_options
#endif
