// Differential tests: every SIMD packed RGBQ and word member against the
// scalar statement of its arithmetic, and the RGBQ + alpha composite
// against the RGBQ and word statements run one after the other, on seeded
// random spans and worst cases. Lines must be identical, guard elements
// included.
#include <gtest/gtest.h>

#include <limits>

#include "span/alpha_renderers.h"
#include "span/rgbq_packed_simd.h"
#include "span/rgbq_renderers.h"
#include "span/word_renderers.h"
#include "span_test_support.h"

namespace {

using namespace span_test;

// rgbq_alpha: pair E as dispatched; rgbq_alpha_fused: its one-loop members
// of each instruction set.
enum class family { rgbq, word, rgbq_alpha, rgbq_alpha_fused };

// The one-loop RGBQ + alpha members of one instruction set in their slots.
template <template <int> class M>
tables fused_tables() {
    static const auto persp = [] {
        tovrel::persp_renderer_table t{};
        t[1] = &M<1>::persp, t[2] = &M<2>::persp, t[6] = &M<6>::persp, t[11] = &M<11>::persp;
        return t;
    }();
    static const auto affine = [] {
        tovrel::affine_renderer_table t{};
        t[1] = &M<1>::affine, t[2] = &M<2>::affine, t[6] = &M<6>::affine, t[11] = &M<11>::affine;
        return t;
    }();
    return {"", &persp, &affine};
}

struct simd_case {
    family f;
    int slot;
    bool persp, avx2;
};

// The alpha plane of a colour texture for the composite: samples 0..4096
// taken from the colour bytes, and a pitch of its own.
texture alpha_of(const texture &t) {
    texture a(t.width, t.height, (t.pitch < 0 ? -1 : 1) * (2 * t.width + 6), 2);
    for (int32_t r = 0; r < t.height; ++r)
        for (int32_t c = 0; c < t.width; ++c) {
            const uint8_t *p = const_cast<texture &>(t).texel(c, r);
            const uint16_t v = uint16_t((p[0] | p[1] << 8) % 4097);
            std::memcpy(a.texel(c, r), &v, 2);
        }
    return a;
}

class SpanSimd : public testing::TestWithParam<simd_case> {
protected:
    void SetUp() override {
        if (GetParam().avx2 && !tovrel::rgbq_avx2_supported()) GTEST_SKIP() << "no AVX2";
    }
    int32_t unit() const { return GetParam().f == family::word ? 2 : 4; }
    // Only [x0, max(x1, x0 + 1)) may change, identically in both.
    void check(const texture &t, const span_args &a, const char *what) {
        const auto [f, slot, persp, avx2] = GetParam();
        using namespace tovrel;
        const tables rgbq_c{"c", &rgbq_persp_span_renderers_c, &rgbq_affine_span_renderers_c};
        const tables word_c{"c", &word_persp_span_renderers_c, &word_affine_span_renderers_c};
        const renderer_table_pair e = rgbq_alpha_span_renderers();
        const tables simd =
            f == family::word ? tables{"", &word_persp_span_renderers, &word_affine_span_renderers}
            : f == family::rgbq_alpha       ? tables{"", e.persp, e.affine}
            : f == family::rgbq_alpha_fused ? (avx2 ? fused_tables<span::rgbq_alpha_avx2_member>()
                                                    : fused_tables<span::rgbq_alpha_sse2_member>())
            : avx2 ? tables{"", &rgbq_persp_span_renderers_avx2, &rgbq_affine_span_renderers_avx2}
                   : tables{"", &rgbq_persp_span_renderers, &rgbq_affine_span_renderers};
        const int32_t end = std::max(a.x1, a.x0 + 1);
        guarded_line want(end + 4, unit()), got(end + 4, unit());
        guarded_line want_alpha(end + 4, 2), got_alpha(end + 4, 2);
        (f == family::word ? word_c : rgbq_c).run(slot, persp, want, t, a);
        if (f == family::rgbq_alpha || f == family::rgbq_alpha_fused) {
            const texture alpha = alpha_of(t);
            word_c.run(slot, persp, want_alpha, alpha, a);
            texture both = t;
            both.ref.alpha = alpha.ref.base, both.ref.alpha_pitch = alpha.pitch;
            got.rows.alpha = static_cast<uint16_t *>(got_alpha.rows.pixels);
            simd.run(slot, persp, got, both, a);
        } else {
            simd.run(slot, persp, got, t, a);
        }
        ASSERT_TRUE(want.untouched_outside(a.x0, end)) << what << ": " << a.describe();
        for (const auto &[w, g] : {std::pair{&want, &got}, std::pair{&want_alpha, &got_alpha}}) {
            const int32_t x = w->first_difference(*g);
            ASSERT_EQ(x, INT32_MIN)
                << what << ": first difference at x=" << x << std::hex << " want " << w->at(x)
                << " got " << g->at(x) << std::dec << ", pitch " << t.pitch << ", " << a.describe();
        }
    }
    // A span through texel position (u0, v0) at x0 with steps du, dv and w(x0) = w0.
    span_args through(const texture &t, int32_t x0, int32_t len, float u0, float v0, float du,
                      float dv, float w0 = 1, float dw = 0) const {
        const float w = GetParam().persp ? w0 : 1, ws = GetParam().persp ? dw : 0;
        return span_args(x0, x0 + len, slot_shape(GetParam().slot), t)
            .steps(du, dv, ws)
            .bases(u0 * w - du * float(x0), v0 * w - dv * float(x0), w - ws * float(x0));
    }
};

TEST_P(SpanSimd, RandomSpans) {
    const uint32_t seed = test_seed() + uint32_t(GetParam().slot * 2 + GetParam().persp);
    SCOPED_TRACE("seed " + std::to_string(seed) + " (TOVREL_TEST_SEED varies it)");
    std::mt19937 rng(seed);
    auto uni = [&](double lo, double hi) {
        return float(std::uniform_real_distribution<double>(lo, hi)(rng));
    };
    for (int tex = 0; tex < 12; ++tex) {
        const int32_t w = 10 + int32_t(rng() % 40), h = 6 + int32_t(rng() % 20);
        texture t(w, h, unit() * (w + int32_t(rng() % 4)) * ((rng() & 1) ? -1 : 1), unit());
        t.randomise(rng);
        const span_args lim(0, 0, slot_shape(GetParam().slot), t);
        for (int i = 0; i < 80; ++i) {
            const int32_t len = rng() % 8 ? 1 + int32_t(rng() % 40) : -int32_t(rng() % 3);
            const float du = rng() % 5 ? uni(-131072, 131072) : 0, dv = uni(-131072, 131072);
            check(t,
                  through(t, int32_t(rng() % 120), len, uni(-0.3 * lim.u_max, 1.3 * lim.u_max),
                          uni(-0.3 * lim.v_max, 1.3 * lim.v_max), du, rng() % 5 ? dv : 0,
                          uni(0.6, 1.8), uni(-0.004, 0.004)),
                  "random");
        }
    }
}

TEST_P(SpanSimd, WorstCases) {
    std::mt19937 rng(test_seed());
    texture t(24, 12, -24 * unit(), unit());
    t.randomise(rng);
    // Fractions 0 and 127, the last dropped bit, both sides of one half;
    // spans of 1 to 9 pixels cover every tail of a 4-pixel group.
    for (int32_t fu : {0, 511, 512, 32767, 32768, 65535})
        for (int32_t fv : {0, 511, 32767, 32768, 33279, 65535})
            for (int32_t len : {1, 3, 4, 5, 9}) {
                const float u0 = float(5 * 65536 + fu), v0 = float(4 * 65536 + fv);
                check(t, through(t, 7, len, u0, v0, 65536, 0), "fractions");
                check(t, through(t, 0, len, u0, v0, 0, 65536.0f / 3), "fractions, v steps");
            }
    // Clamps at both limits, infinities and NaN in bases and steps; w of 0
    // (infinite reciprocal), negative w, w crossing zero.
    const float inf = std::numeric_limits<float>::infinity();
    const float nan = std::numeric_limits<float>::quiet_NaN();
    for (float u : {-1e9f, -0.0f, 3e38f, inf, -inf, nan})
        for (float v : {-1e9f, 1e9f, inf, nan}) {
            span_args a = through(t, 3, 6, 0, 0, 1000, -700);
            check(t, a.bases(u, v, a.w_base), "extreme bases");
            check(t, a.steps(u, v, a.w_step), "extreme steps");
        }
    for (float w0 : {0.0f, -0.0f, -1.0f, 1e-30f})
        for (float dw : {0.0f, 0.25f, -0.25f}) {
            span_args a = through(t, 2, 10, 3 * 65536.0f, 2 * 65536.0f, 900, 300, w0, dw);
            check(t, a, "degenerate w");
            check(t, a.steps(0, 300, a.w_step).bases(0, a.v_base, a.w_base), "zero numerator");
        }
    // Unit pitches at the int16 limits, a pitch that is not a multiple of 4.
    for (int32_t pitch : {unit() * 32767, unit() * -32768, unit() * 9 + 2}) {
        texture p(9, 7, pitch, unit());
        p.randomise(rng);
        for (int32_t len = -1; len <= 9; ++len)
            check(p, through(p, 5, len, 85000, 177000, 31000, 9000, 1.1f, 0.001f), "pitch");
    }
}

std::vector<simd_case> all_cases() {
    std::vector<simd_case> v;
    for (bool avx2 : {false, true})
        for (int slot : {1, 2, 3, 4, 6, 11})
            for (bool persp : {false, true}) v.push_back({family::rgbq, slot, persp, avx2});
    for (int slot = 0; slot < tovrel::footprint_count; ++slot)
        for (bool persp : {false, true}) {
            if (tovrel::word_slot_is_packed(slot)) v.push_back({family::word, slot, persp, false});
            v.push_back({family::rgbq_alpha, slot, persp, false});
            if (tovrel::span::rgbq_alpha_fused(slot))
                for (bool avx2 : {false, true})
                    v.push_back({family::rgbq_alpha_fused, slot, persp, avx2});
        }
    return v;
}
INSTANTIATE_TEST_SUITE_P(Packed, SpanSimd, testing::ValuesIn(all_cases()),
                         [](const testing::TestParamInfo<simd_case> &i) {
                             const auto &p = i.param;
                             return std::string(p.f == family::word         ? "word_"
                                                : p.f == family::rgbq_alpha ? "rgbq_alpha_"
                                                : p.f == family::rgbq_alpha_fused
                                                    ? "rgbq_alpha_fused_"
                                                    : "rgbq_") +
                                    (p.avx2 ? "avx2" : "sse2") +
                                    (p.persp ? "_persp_" : "_affine_") + std::to_string(p.slot);
                         });

} // namespace
