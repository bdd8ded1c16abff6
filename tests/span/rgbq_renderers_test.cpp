// Properties of every RGBQ slot in both tables: footprint weights and
// normalisation on single-texel textures, uniform textures, texel
// reproduction, clamping and span bounds.
#include <gtest/gtest.h>

#include <xmmintrin.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "span/rgbq_renderers.h"
#include "span_test_support.h"

namespace {

using namespace span_test;

// One implementation of a table pair: the dispatched tables, the scalar
// statements, or the AVX2 forms.
struct tables {
    const char *name;
    const tovrel::persp_renderer_table *persp;
    const tovrel::affine_renderer_table *affine;
};

std::vector<tables> implementations() {
    std::vector<tables> v = {
        {"sse2", &tovrel::rgbq_persp_span_renderers, &tovrel::rgbq_affine_span_renderers},
        {"c", &tovrel::rgbq_persp_span_renderers_c, &tovrel::rgbq_affine_span_renderers_c}};
    if (tovrel::rgbq_avx2_supported())
        v.push_back({"avx2", &tovrel::rgbq_persp_span_renderers_avx2,
                     &tovrel::rgbq_affine_span_renderers_avx2});
    return v;
}

constexpr int widths[5] = {1, 2, 3, 4, 8};
constexpr int kind_count = 2; // 0 affine, 1 perspective

void render(const tables &impl, int slot, int persp, guarded_line &line, const texture &t,
            const span_args &a) {
    if (persp)
        run((*impl.persp)[slot], line, t, a);
    else
        run((*impl.affine)[slot], line, t, a);
}

// Position a one-pixel span lands on, restated from the position rules:
// packed members multiply by the approximate reciprocal, scalar members
// divide in double precision.
int32_t landed(float num, float w, bool packed, int persp) {
    if (!persp) return static_cast<int32_t>(num);
    if (packed) return static_cast<int32_t>(num * _mm_cvtss_f32(_mm_rcp_ss(_mm_set_ss(w))));
    return static_cast<int32_t>(static_cast<double>(num) * (1.0 / static_cast<double>(w)));
}

// Weight of column (or row) offset d in a box of n whole texels starting
// at fraction f in 128ths: (128 - f), 128 .. 128, f.
int32_t box_weight(int d, int n, int32_t f) {
    if (d == 0) return 128 - f;
    if (d > 0 && d < n) return 128;
    if (d == n) return f;
    return 0;
}

// Row weight of a 1.5-row box at 16-bit fraction f16. Scalar members: the
// exact coverage in 128ths of a row. Packed members: coverage of half rows
// summed per row (twice the coverage, in 128ths).
int32_t row_weight_15(int d, int32_t f16, bool packed) {
    if (d < 0 || d > 2) return 0;
    if (!packed) {
        const int32_t f = f16 >> 9;
        const int32_t w[3] = {128 - f, std::min(128, f + 64), std::max(0, f - 64)};
        return w[d];
    }
    const int32_t first = f16 >> 15, g = (f16 & 32767) >> 8;
    int32_t half[6] = {};
    half[first] = 128 - g;
    half[first + 1] = half[first + 2] = 128;
    half[first + 3] = g;
    return half[2 * d] + half[2 * d + 1];
}

// R / T rounded as each slot's member normalises it.
int32_t normalise(int slot, bool packed, int64_t r) {
    const int hc = (slot - 1) / 5, w = widths[(slot - 1) % 5];
    const int64_t height_weight[4] = {128, packed ? 384 : 192, 256, 512};
    const int64_t t = 128 * w * height_weight[hc];
    if (!packed) return static_cast<int32_t>((r + t / 2) / t);
    if (t == 49152) return static_cast<int32_t>((((r + 24576) >> 10) * 1365) >> 16);
    return static_cast<int32_t>((r + t / 2) / t);
}

class RgbqSlot : public testing::TestWithParam<int> {};

TEST_P(RgbqSlot, SingleTexelGivesFootprintWeight) {
    // Slot 0 copies the one texel at offset (0, 0).
    const int slot = GetParam(), cols = slot ? widths[(slot - 1) % 5] : 0;
    const int hc = slot ? (slot - 1) / 5 : 0, rows = slot ? std::array{1, 2, 2, 4}[hc] : 0;
    const bool packed = tovrel::rgbq_slot_is_packed(slot);
    const uint8_t value[4] = {255, 1, 100, 37};
    texture t(18, 14, 18 * 4 + 8);
    const int32_t fractions[] = {0, 511, 9000, 32767, 32768, 33280, 41000, 65535};
    for (const tables &impl : implementations())
        for (int persp = 0; persp < kind_count; ++persp)
            for (int32_t fu16 : fractions)
                for (int32_t fv16 : fractions) {
                    span_args a;
                    a.u_max = u_limit(t.width, std::max(cols, 1));
                    a.v_max = v_limit(t.height, hc);
                    a.w_base = persp ? 1.25f : 0.0f;
                    const float w = persp ? 1.25f : 1.0f;
                    a.u_base = static_cast<float>(4 * 65536 + fu16) * w;
                    a.v_base = static_cast<float>(3 * 65536 + fv16) * w;
                    const int32_t iu = landed(a.u_base, a.w_base, packed, persp);
                    const int32_t iv = landed(a.v_base, a.w_base, packed, persp);
                    for (int dr = -1; dr <= rows + 1; ++dr)
                        for (int dc = -1; dc <= cols + 1; ++dc) {
                            uint8_t *texel = t.texel((iu >> 16) + dc, (iv >> 16) + dr);
                            std::memcpy(texel, value, 4);
                            guarded_line line(4);
                            render(impl, slot, persp, line, t, a);
                            std::memset(texel, 0, 4);
                            ASSERT_TRUE(line.untouched_outside(0, 1));
                            if (slot == 0) {
                                uint32_t v;
                                std::memcpy(&v, value, 4);
                                ASSERT_EQ(line.at(0), dc == 0 && dr == 0 ? v : 0u) << impl.name;
                                continue;
                            }
                            const int32_t wr = hc == 1 ? row_weight_15(dr, iv & 65535, packed)
                                                       : box_weight(dr, rows, (iv >> 9) & 127);
                            const int64_t weight =
                                int64_t{box_weight(dc, cols, (iu >> 9) & 127)} * wr;
                            uint32_t expected = 0;
                            for (int c = 0; c < 4; ++c)
                                expected |= static_cast<uint32_t>(
                                                normalise(slot, packed, weight * value[c]))
                                            << (8 * c);
                            ASSERT_EQ(line.at(0), expected)
                                << impl.name << (persp ? " persp" : " affine") << " fu16=" << fu16
                                << " fv16=" << fv16 << " texel at (" << dc << ", " << dr << ")";
                        }
                }
}

TEST_P(RgbqSlot, UniformTextureKeepsItsValue) {
    const int slot = GetParam();
    std::mt19937 rng(test_seed() + static_cast<uint32_t>(slot));
    SCOPED_TRACE("seed " + std::to_string(test_seed()));
    texture t(30, 24, -30 * 4);
    for (uint32_t value :
         {0xFFFFFFFFu, 0x00000000u, 0x01FE807Fu, 0xFF00FF00u, uint32_t(rng()), uint32_t(rng())}) {
        t.fill(value);
        for (const tables &impl : implementations())
            for (int persp = 0; persp < kind_count; ++persp) {
                span_args a;
                a.x0 = 3;
                a.x1 = 40;
                a.u_max = u_limit(t.width, slot == 0 ? 1 : widths[(slot - 1) % 5]);
                a.v_max = v_limit(t.height, slot == 0 ? 0 : (slot - 1) / 5);
                a.u_step = 23456.7f;
                a.v_step = -5678.9f;
                a.u_base = -100000.0f;
                a.v_base = 1.2e6f;
                a.w_step = persp ? 0.003f : 0.0f;
                a.w_base = persp ? 0.9f : 0.0f;
                guarded_line line(48);
                render(impl, slot, persp, line, t, a);
                for (int32_t x = a.x0; x < a.x1; ++x)
                    ASSERT_EQ(line.at(x), value) << impl.name << " persp=" << persp << " x=" << x;
                ASSERT_TRUE(line.untouched_outside(a.x0, a.x1)) << impl.name;
            }
    }
}

// Clamping: below 0 samples as 0, beyond the limit as the limit; NaN
// clamps to 0. One-pixel spans write one element; an empty span writes
// pixel x0 in packed members and nothing in scalar ones.
TEST_P(RgbqSlot, ClampsAndSpanBounds) {
    const int slot = GetParam();
    const bool packed = tovrel::rgbq_slot_is_packed(slot);
    std::mt19937 rng(test_seed());
    texture t(20, 16, 20 * 4);
    t.randomise(rng);
    const float nan = std::numeric_limits<float>::quiet_NaN();
    for (const tables &impl : implementations())
        for (int persp = 0; persp < kind_count; ++persp) {
            span_args a;
            a.x0 = 5;
            a.x1 = 6;
            a.u_max = u_limit(t.width, slot == 0 ? 1 : widths[(slot - 1) % 5]);
            a.v_max = v_limit(t.height, slot == 0 ? 0 : (slot - 1) / 5);
            a.w_base = persp ? 1.0f : 0.0f;
            // Exact positions come from the affine member (w = 1 is not exact
            // through the approximate reciprocal).
            auto sample = [&](float u, float v, int kind) {
                span_args b = a;
                b.u_base = u;
                b.v_base = v;
                guarded_line line(8);
                render(impl, slot, kind, line, t, b);
                EXPECT_TRUE(line.untouched_outside(5, 6)) << impl.name;
                return line.at(5);
            };
            const uint32_t origin = sample(0.0f, 0.0f, 0), corner = sample(a.u_max, a.v_max, 0);
            const char *what = persp ? " persp" : " affine";
            EXPECT_EQ(sample(-3e5f, -1e30f, persp), origin) << impl.name << what;
            EXPECT_EQ(sample(nan, nan, persp), origin) << impl.name << what;
            EXPECT_EQ(sample(1e12f, 1e12f, persp), corner) << impl.name << what;
            EXPECT_EQ(sample(-1.0f, a.v_max * 4, persp), sample(0.0f, a.v_max, 0))
                << impl.name << what;

            for (int32_t x1 : {4, 5}) {
                span_args b = a;
                b.x1 = x1;
                guarded_line line(8);
                render(impl, slot, persp, line, t, b);
                EXPECT_TRUE(line.untouched_outside(5, packed ? 6 : 5)) << impl.name << what;
            }
        }
}

INSTANTIATE_TEST_SUITE_P(AllSlots, RgbqSlot, testing::Range(0, tovrel::footprint_count),
                         [](const testing::TestParamInfo<int> &i) {
                             return "slot" + std::to_string(i.param);
                         });

// Slot 1 at integral positions copies texels; at fu = 64 it gives the
// mean of two neighbours rounded half up.
TEST(RgbqSlot1, ReproducesTexelsAndRoundsHalfUp) {
    std::mt19937 rng(test_seed());
    SCOPED_TRACE("seed " + std::to_string(test_seed()));
    texture t(40, 8, 40 * 4);
    t.randomise(rng);
    for (const tables &impl : implementations()) {
        span_args a;
        a.x0 = 0;
        a.x1 = 30;
        a.u_max = u_limit(t.width, 1);
        a.v_max = v_limit(t.height, 0);
        a.u_step = 65536.0f;
        a.v_base = 3 * 65536.0f;
        for (float half : {0.0f, 32768.0f}) {
            a.u_base = 2 * 65536.0f + half;
            guarded_line line(32);
            run((*impl.affine)[1], line, t, a);
            for (int32_t x = 0; x < a.x1; ++x) {
                const uint8_t *t0 = t.texel(2 + x, 3), *t1 = t.texel(3 + x, 3);
                for (int c = 0; c < 4; ++c) {
                    const uint32_t expected = half == 0.0f ? t0[c] : (t0[c] + t1[c] + 1) >> 1;
                    ASSERT_EQ((line.at(x) >> (8 * c)) & 255, expected)
                        << impl.name << " x=" << x << " channel " << c << " half=" << half;
                }
            }
        }
    }
}

} // namespace
