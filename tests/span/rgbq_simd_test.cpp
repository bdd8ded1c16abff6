// Differential tests: every SIMD packed RGBQ member against the scalar
// statement of its arithmetic, on seeded random spans and worst cases.
// Outputs must be identical, guard elements included.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "span/rgbq_renderers.h"
#include "span_test_support.h"

namespace {

using namespace span_test;

enum class variant { sse2, avx2 };

struct simd_case {
    int slot;
    bool persp;
    variant isa;
};

std::string case_name(const testing::TestParamInfo<simd_case> &i) {
    return std::string(i.param.isa == variant::sse2 ? "sse2" : "avx2") +
           (i.param.persp ? "_persp_" : "_affine_") + std::to_string(i.param.slot);
}

std::vector<simd_case> all_cases() {
    std::vector<simd_case> v;
    for (variant isa : {variant::sse2, variant::avx2})
        for (int slot : {1, 2, 3, 4, 6, 11})
            for (bool persp : {false, true}) v.push_back({slot, persp, isa});
    return v;
}

constexpr int widths[5] = {1, 2, 3, 4, 8};

class RgbqSimd : public testing::TestWithParam<simd_case> {
protected:
    void SetUp() override {
        const simd_case c = GetParam();
        if (c.isa == variant::avx2 && !tovrel::rgbq_avx2_supported())
            GTEST_SKIP() << "no AVX2 on this processor";
        cols = widths[(c.slot - 1) % 5];
        hc = (c.slot - 1) / 5;
    }

    // Runs the SIMD member and the scalar statement on the same span and
    // demands identical lines; only [x0, max(x1, x0 + 1)) may change.
    void check(const texture &t, const span_args &a, const std::string &what) {
        const simd_case c = GetParam();
        const int32_t end = std::max(a.x1, a.x0 + 1);
        guarded_line ref(end + 4), got(end + 4);
        if (c.persp) {
            const auto &table = c.isa == variant::sse2 ? tovrel::rgbq_persp_span_renderers
                                                       : tovrel::rgbq_persp_span_renderers_avx2;
            run(tovrel::rgbq_persp_span_renderers_c[c.slot], ref, t, a);
            run(table[c.slot], got, t, a);
        } else {
            const auto &table = c.isa == variant::sse2 ? tovrel::rgbq_affine_span_renderers
                                                       : tovrel::rgbq_affine_span_renderers_avx2;
            run(tovrel::rgbq_affine_span_renderers_c[c.slot], ref, t, a);
            run(table[c.slot], got, t, a);
        }
        ASSERT_TRUE(ref.untouched_outside(a.x0, end)) << what << ": " << a.describe();
        for (size_t i = 0; i < ref.store.size(); ++i) {
            ASSERT_EQ(ref.store[i], got.store[i])
                << what << ": first difference at x=" << static_cast<int64_t>(i) - ref.guard
                << " (pitch " << t.pitch << ") " << a.describe();
        }
    }

    // A span through (u0, v0) at x0 with the given steps.
    span_args through(const texture &t, int32_t x0, int32_t x1, float u0, float v0, float du,
                      float dv, float w0 = 1.0f, float dw = 0.0f) const {
        span_args a;
        a.x0 = x0;
        a.x1 = x1;
        a.u_max = u_limit(t.width, cols);
        a.v_max = v_limit(t.height, hc);
        a.u_step = du;
        a.v_step = dv;
        a.w_step = GetParam().persp ? dw : 0.0f;
        a.w_base = GetParam().persp ? w0 - dw * static_cast<float>(x0) : 0.0f;
        const float w = GetParam().persp ? w0 : 1.0f;
        a.u_base = u0 * w - du * static_cast<float>(x0);
        a.v_base = v0 * w - dv * static_cast<float>(x0);
        return a;
    }

    int cols = 1, hc = 0;
};

TEST_P(RgbqSimd, RandomSpansMatchScalarStatement) {
    const uint32_t seed =
        test_seed() ^ static_cast<uint32_t>(GetParam().slot * 7919 + GetParam().persp);
    SCOPED_TRACE("seed " + std::to_string(seed) + " (set TOVREL_TEST_SEED to vary)");
    std::mt19937 rng(seed);
    auto uniform = [&](double lo, double hi) {
        return static_cast<float>(std::uniform_real_distribution<double>(lo, hi)(rng));
    };
    for (int tex = 0; tex < 12; ++tex) {
        const int32_t w = 10 + static_cast<int32_t>(rng() % 40),
                      h = 6 + static_cast<int32_t>(rng() % 20);
        const int32_t slack = 4 * static_cast<int32_t>(rng() % 4);
        texture t(w, h, (rng() & 1) ? -(4 * w + slack) : 4 * w + slack);
        t.randomise(rng);
        for (int i = 0; i < 60; ++i) {
            const int32_t x0 = static_cast<int32_t>(rng() % 120);
            const int32_t len = (rng() % 8 == 0) ? -static_cast<int32_t>(rng() % 3)
                                                 : 1 + static_cast<int32_t>(rng() % 40);
            const float umax = u_limit(w, cols), vmax = v_limit(h, hc);
            const float u0 = uniform(-0.3 * umax, 1.3 * umax),
                        v0 = uniform(-0.3 * vmax, 1.3 * vmax);
            const float du = (rng() % 5 == 0) ? 0.0f : uniform(-131072, 131072);
            const float dv = (rng() % 5 == 0) ? 0.0f : uniform(-131072, 131072);
            const span_args a =
                through(t, x0, x0 + len, u0, v0, du, dv, uniform(0.6, 1.8), uniform(-0.004, 0.004));
            check(t, a, "random case " + std::to_string(tex) + "/" + std::to_string(i));
        }
    }
}

TEST_P(RgbqSimd, FractionExtremesAndHalfRows) {
    texture t(24, 12, 24 * 4);
    std::mt19937 rng(test_seed());
    t.randomise(rng);
    // Fractions 0 and 127, the last dropped bit, and both sides of one half.
    const int32_t fractions[] = {0, 511, 512, 32767, 32768, 33279, 65024, 65535};
    for (int32_t fu : fractions)
        for (int32_t fv : fractions)
            for (int32_t len : {1, 3, 4, 5, 9}) {
                const float u0 = static_cast<float>(5 * 65536 + fu);
                const float v0 = static_cast<float>(4 * 65536 + fv);
                check(t, through(t, 7, 7 + len, u0, v0, 65536.0f, 0.0f), "fractions");
                check(t, through(t, 0, len, u0, v0, 0.0f, 65536.0f / 3.0f), "fractions, v steps");
            }
}

TEST_P(RgbqSimd, ClampsNanAndDegenerateW) {
    texture t(16, 10, -16 * 4);
    std::mt19937 rng(test_seed());
    t.randomise(rng);
    const float inf = std::numeric_limits<float>::infinity();
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float extremes[] = {-1e9f, -0.0f, 1e9f, 3e38f, inf, -inf, nan};
    for (float u : extremes)
        for (float v : extremes) {
            span_args a = through(t, 3, 9, 0, 0, 1000.0f, -700.0f);
            a.u_base = u;
            a.v_base = v;
            check(t, a, "extreme bases");
            a.u_step = u;
            a.v_step = v;
            check(t, a, "extreme steps");
        }
    if (GetParam().persp) {
        // w = 0 (reciprocal infinite), negative w, w crossing zero.
        for (float w0 : {0.0f, -0.0f, -1.0f, 1e-30f})
            for (float dw : {0.0f, 0.25f, -0.25f}) {
                span_args a = through(t, 2, 12, 3 * 65536.0f, 2 * 65536.0f, 900.0f, 300.0f);
                a.w_base = w0 - dw * 2;
                a.w_step = dw;
                check(t, a, "degenerate w");
                a.u_base = 0.0f;
                a.u_step = 0.0f;
                check(t, a, "degenerate w, zero numerator");
            }
    }
}

TEST_P(RgbqSimd, ExtremePitchesAndLengths) {
    std::mt19937 rng(test_seed());
    // Unit pitches at the int16 limits, a pitch that is not a multiple of 4.
    for (int32_t pitch : {131068, -131072, 4 * 9 + 2, -4 * 9}) {
        texture t(9, 7, pitch);
        t.randomise(rng);
        for (int32_t len = -1; len <= 13; ++len)
            check(t,
                  through(t, 5, 5 + len, 65536.0f * 1.3f, 65536.0f * 2.7f, 31000.0f, 9000.0f, 1.1f,
                          0.001f),
                  "pitch " + std::to_string(pitch));
    }
}

INSTANTIATE_TEST_SUITE_P(Packed, RgbqSimd, testing::ValuesIn(all_cases()), case_name);

} // namespace
