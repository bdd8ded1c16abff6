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

template <int Slot>
struct word_render {
    template <projection P>
    static void run(const span_rows *line, int32_t x0, int32_t x1, const texture_ref *texture,
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
};

} // namespace

struct word_sse2_set {
    template <int Slot>
    using members = contract_members<word_render<Slot>>;
};

} // namespace tovrel::span

#include "span/simd_member_def.h"

namespace tovrel::span {

template struct simd_member<word_sse2_set, 1>;
template struct simd_member<word_sse2_set, 2>;
template struct simd_member<word_sse2_set, 6>;
template struct simd_member<word_sse2_set, 10>;
template struct simd_member<word_sse2_set, 11>;
template struct simd_member<word_sse2_set, 12>;
template struct simd_member<word_sse2_set, 13>;
template struct simd_member<word_sse2_set, 15>;
template struct simd_member<word_sse2_set, 16>;
template struct simd_member<word_sse2_set, 17>;
template struct simd_member<word_sse2_set, 18>;
template struct simd_member<word_sse2_set, 19>;
template struct simd_member<word_sse2_set, 20>;

} // namespace tovrel::span
