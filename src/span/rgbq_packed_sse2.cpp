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

struct rgbq_sse2_set {
    template <int Slot>
    using members = packed_members<isa_sse2, Slot>;
};
struct rgbq_alpha_sse2_set {
    template <int Slot>
    using members = rgbq_alpha_members<isa_sse2, Slot>;
};

} // namespace tovrel::span

#include "span/simd_member_def.h"

namespace tovrel::span {

template struct simd_member<rgbq_sse2_set, 1>;
template struct simd_member<rgbq_sse2_set, 2>;
template struct simd_member<rgbq_sse2_set, 3>;
template struct simd_member<rgbq_sse2_set, 4>;
template struct simd_member<rgbq_sse2_set, 5>;
template struct simd_member<rgbq_sse2_set, 6>;
template struct simd_member<rgbq_sse2_set, 7>;
template struct simd_member<rgbq_sse2_set, 8>;
template struct simd_member<rgbq_sse2_set, 9>;
template struct simd_member<rgbq_sse2_set, 10>;
template struct simd_member<rgbq_sse2_set, 11>;
template struct simd_member<rgbq_sse2_set, 12>;
template struct simd_member<rgbq_sse2_set, 13>;
template struct simd_member<rgbq_sse2_set, 14>;
template struct simd_member<rgbq_sse2_set, 15>;
template struct simd_member<rgbq_sse2_set, 16>;
template struct simd_member<rgbq_sse2_set, 17>;
template struct simd_member<rgbq_sse2_set, 18>;
template struct simd_member<rgbq_sse2_set, 19>;
template struct simd_member<rgbq_sse2_set, 20>;
template struct simd_member<rgbq_alpha_sse2_set, 1>;
template struct simd_member<rgbq_alpha_sse2_set, 2>;
template struct simd_member<rgbq_alpha_sse2_set, 6>;
template struct simd_member<rgbq_alpha_sse2_set, 11>;

} // namespace tovrel::span
