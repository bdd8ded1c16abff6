// Differential test: the SSE2 S16X4A / S16X4 members against their scalar
// statements, pairs H and I, on seeded random textures, lines and spans and
// on extreme positions. Lines must be identical, guard elements included.
#include <gtest/gtest.h>

#include <limits>

#include "span/s16x4_renderers.h"
#include "span/s16x4_simd.h"
#include "span_test_support.h"

namespace {

using namespace span_test;
using namespace tovrel;

struct simd_case {
    int slot;
    bool over, persp;
};

void PrintTo(const simd_case &c, std::ostream *os) {
    *os << (c.over ? "over_" : "copy_") << (c.persp ? "persp_" : "affine_") << c.slot;
}

class S16x4Simd : public testing::TestWithParam<simd_case> {};

TEST_P(S16x4Simd, MatchesTheScalarStatement) {
    const auto [slot, over, persp] = GetParam();
    const uint32_t seed = test_seed() + uint32_t(slot * 4 + over * 2 + persp);
    SCOPED_TRACE("seed " + std::to_string(seed) + " (TOVREL_TEST_SEED varies it)");
    std::mt19937 rng(seed);
    auto uni = [&](double lo, double hi) {
        return float(std::uniform_real_distribution<double>(lo, hi)(rng));
    };
    const tables simd =
        over ? tables{"", &s16x4a_over_persp_span_renderers, &s16x4a_over_affine_span_renderers}
             : tables{"", &s16x4_persp_span_renderers, &s16x4_affine_span_renderers};
    const tables ref =
        over ? tables{"", &s16x4a_over_persp_span_renderers_c, &s16x4a_over_affine_span_renderers_c}
             : tables{"", &s16x4_persp_span_renderers_c, &s16x4_affine_span_renderers_c};
    const float inf = std::numeric_limits<float>::infinity();
    const float nan = std::numeric_limits<float>::quiet_NaN();
    for (int tex = 0; tex < 8; ++tex) {
        const int32_t w = 10 + int32_t(rng() % 30), h = 6 + int32_t(rng() % 16);
        texture t(w, h, (8 * w + 8 * int32_t(rng() % 3)) * ((rng() & 1) ? -1 : 1), 8);
        t.randomise(rng);
        // Extreme texels: every component -32768 or 32767, all -32768 (the
        // sums of the large footprints wrap), all 32767.
        if (tex < 3)
            for (size_t i = 0; i + 2 <= t.bytes.size(); i += 2) {
                const int16_t v = tex == 1 || (tex == 0 && rng() & 1) ? -32768 : 32767;
                std::memcpy(&t.bytes[i], &v, 2);
            }
        const span_args lim(0, 0, slot_shape(slot), t);
        for (int i = 0; i < 60; ++i) {
            const int32_t x0 = int32_t(rng() % 40), len = int32_t(rng() % 24) - 2;
            const float w0 = persp ? uni(0.6, 1.8) : 1, dw = persp ? uni(-0.004, 0.004) : 0;
            span_args a =
                span_args(x0, x0 + len, slot_shape(slot), t)
                    .steps(uni(-131072, 131072), rng() % 4 ? uni(-131072, 131072) : 0, dw)
                    .bases(uni(-0.3, 1.3) * lim.u_max * w0, uni(-0.3, 1.3) * lim.v_max * w0, w0);
            if (i % 15 == 0) a.bases(std::array{-inf, inf, nan, 3e38f}[i / 15], a.v_base, w0);
            guarded_line want(72, 8), got(72, 8);
            for (int32_t x = 0; x < 72; ++x) // the line under pair I
                for (int j = 0; j < 8; ++j)
                    want.store[size_t((x + want.guard) * 8 + j)] = uint8_t(rng());
            got.store = want.store;
            ref.run(slot, persp, want, t, a);
            simd.run(slot, persp, got, t, a);
            ASSERT_EQ(want.store, got.store) << a.describe() << ", pitch " << t.pitch;
        }
    }
}

std::vector<simd_case> all_cases() {
    std::vector<simd_case> v;
    for (int slot = 0; slot < footprint_count; ++slot)
        for (bool over : {false, true})
            for (bool persp : {false, true})
                if (span::s16x4_has_sse2(slot)) v.push_back({slot, over, persp});
    return v;
}
INSTANTIATE_TEST_SUITE_P(Sse2, S16x4Simd, testing::ValuesIn(all_cases()), param_names::printed{});

} // namespace
