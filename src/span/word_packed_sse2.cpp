// SSE2 forms of every packed word member (slots 1, 2, 6, 10, 11, 12, 13
// and 15 to 20), from word_packed_kernel.h.
#include <immintrin.h>

#include <cstddef>
#include <cstdint>

#include "span/rgbq_traits.h"
#include "span/word_packed_simd.h"
#include "span/word_traits.h"

namespace tovrel::span {
namespace {

struct isa_sse2 {
    static constexpr bool avx2 = false;
};

// The position walk and lane operations shared with the RGBQ members.
#include "span/rgbq_packed_kernel.h"
#include "span/word_packed_kernel.h"

template <int Slot, projection P>
void render_word(const span_rows *line, int32_t x0, int32_t x1, const texture_ref *texture,
                 const span_coefficients &k) {
    const word_plane plane(*texture);
    walk<P> w(k, x0);
    uint8_t *dst = static_cast<uint8_t *>(line->pixels) + static_cast<ptrdiff_t>(x0) * 2;
    // Pixel x0 is written even when x1 <= x0.
    int64_t n = static_cast<int64_t>(x1) - x0;
    if (n < 1) n = 1;
    for (; n > 0; n -= 4, dst += 8) {
        __m128i iu, iv;
        w.template next<lanes4>(iu, iv);
        word_group<Slot>(iu, iv, plane, dst, n);
    }
}

} // namespace

template <int Slot>
void word_sse2_member<Slot>::persp(const span_rows *line, int32_t x0, int32_t x1,
                                   const texture_ref *texture, float u_max, float v_max,
                                   float u_step, float v_step, float u_base, float v_base,
                                   float w_step, float w_base) {
    const span_coefficients k{u_max, v_max, u_step, v_step, u_base, v_base, w_step, w_base};
    render_word<Slot, projection::perspective>(line, x0, x1, texture, k);
}

template <int Slot>
void word_sse2_member<Slot>::affine(const span_rows *line, int32_t x0, int32_t x1,
                                    const texture_ref *texture, float u_max, float v_max,
                                    float u_step, float v_step, float u_base, float v_base) {
    const span_coefficients k{u_max, v_max, u_step, v_step, u_base, v_base, 0.0f, 0.0f};
    render_word<Slot, projection::affine>(line, x0, x1, texture, k);
}

template struct word_sse2_member<1>;
template struct word_sse2_member<2>;
template struct word_sse2_member<6>;
template struct word_sse2_member<10>;
template struct word_sse2_member<11>;
template struct word_sse2_member<12>;
template struct word_sse2_member<13>;
template struct word_sse2_member<15>;
template struct word_sse2_member<16>;
template struct word_sse2_member<17>;
template struct word_sse2_member<18>;
template struct word_sse2_member<19>;
template struct word_sse2_member<20>;

} // namespace tovrel::span
