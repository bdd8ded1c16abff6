// SSE2 packed RGBQ members: the baseline on 32- and 64-bit x86.
// All intrinsics are declared; only SSE2 ones are instantiated here.
#include <immintrin.h>

#include <cstddef>
#include <cstdint>

#include "span/rgbq_packed_simd.h"
#include "span/rgbq_traits.h"
#include "span/word_traits.h"

namespace tovrel::span {
namespace {

struct isa_sse2 {
    static constexpr bool avx2 = false;
};

#include "span/rgbq_packed_kernel.h"
#include "span/word_packed_kernel.h"

} // namespace

template <int Slot>
void rgbq_sse2_member<Slot>::persp(const span_rows *line, int32_t x0, int32_t x1,
                                   const texture_ref *texture, float u_max, float v_max,
                                   float u_step, float v_step, float u_base, float v_base,
                                   float w_step, float w_base) {
    packed_members<isa_sse2, Slot>::persp(line, x0, x1, texture, u_max, v_max, u_step, v_step,
                                          u_base, v_base, w_step, w_base);
}

template <int Slot>
void rgbq_sse2_member<Slot>::affine(const span_rows *line, int32_t x0, int32_t x1,
                                    const texture_ref *texture, float u_max, float v_max,
                                    float u_step, float v_step, float u_base, float v_base) {
    packed_members<isa_sse2, Slot>::affine(line, x0, x1, texture, u_max, v_max, u_step, v_step,
                                           u_base, v_base);
}

template struct rgbq_sse2_member<1>;
template struct rgbq_sse2_member<2>;
template struct rgbq_sse2_member<3>;
template struct rgbq_sse2_member<4>;
template struct rgbq_sse2_member<6>;
template struct rgbq_sse2_member<11>;

template <int Slot>
void rgbq_alpha_sse2_member<Slot>::persp(const span_rows *line, int32_t x0, int32_t x1,
                                         const texture_ref *texture, float u_max, float v_max,
                                         float u_step, float v_step, float u_base, float v_base,
                                         float w_step, float w_base) {
    rgbq_alpha_members<isa_sse2, Slot>::persp(line, x0, x1, texture, u_max, v_max, u_step, v_step,
                                              u_base, v_base, w_step, w_base);
}

template <int Slot>
void rgbq_alpha_sse2_member<Slot>::affine(const span_rows *line, int32_t x0, int32_t x1,
                                          const texture_ref *texture, float u_max, float v_max,
                                          float u_step, float v_step, float u_base, float v_base) {
    rgbq_alpha_members<isa_sse2, Slot>::affine(line, x0, x1, texture, u_max, v_max, u_step, v_step,
                                               u_base, v_base);
}

template struct rgbq_alpha_sse2_member<1>;
template struct rgbq_alpha_sse2_member<2>;
template struct rgbq_alpha_sse2_member<6>;
template struct rgbq_alpha_sse2_member<11>;

} // namespace tovrel::span
