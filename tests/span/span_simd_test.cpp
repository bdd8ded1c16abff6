// Differential tests: every SIMD member of every family against the
// scalar statement of its arithmetic, on seeded random spans and worst
// cases; the colour-plus-alpha composites (and their one-loop members)
// against the colour and word statements run one after the other, the
// alpha plane with a pitch of its own; S16X4A over on random lines. Lines
// must be identical, guard elements included.
#include <gtest/gtest.h>

#include <limits>
#include <tuple>

#include "differential.h"
#include "span/s16x4_renderers.h"
#include "span_test_support.h"

namespace {

using namespace span_test;

struct simd_case {
    family f;
    int slot;
    bool persp;
};

void PrintTo(const simd_case &c, std::ostream *os) {
    *os << c.f.name << (c.persp ? "_persp_" : "_affine_") << c.slot;
}

// A family's implementations, the scalar statement first.
std::vector<tables> statement_first(const family &f) {
    std::vector<tables> v = f.implementations();
    std::stable_partition(v.begin(), v.end(), [](const tables &i) { return i.name[0] == 'c'; });
    return v;
}

class PackedSimd : public testing::TestWithParam<simd_case> {
protected:
    std::mt19937 line_rng{test_seed()};
    // Only [x0, max(x1, x0 + 1)) may change, identically in the scalar
    // statement and in every SIMD form this processor runs. Families that
    // blend into the line find random pixels there.
    void check(const texture &t, const span_args &a, const char *what) {
        const auto &[f, slot, persp] = GetParam();
        const int32_t end = std::max(a.x1, a.x0 + 1);
        std::vector<uint8_t> under(f.over ? size_t(end - a.x0) * size_t(f.unit) : 0);
        for (auto &b : under) b = uint8_t(line_rng());
        differential::same(
            statement_first(f),
            [&](const tables &impl) {
                guarded_line l = f.line(end + 4);
                std::copy(under.begin(), under.end(), l.store.begin() + (l.guard + a.x0) * f.unit);
                impl.run(slot, persp, l, t, a);
                return std::tuple(l.store, l.alpha_store);
            },
            [&] { return differential::text(what, "pitch", t.pitch, a.describe()); },
            [&](const auto &want) {
                guarded_line l = f.line(end + 4);
                l.store = std::get<0>(want);
                return l.untouched_outside(a.x0, end);
            });
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

TEST_P(PackedSimd, RandomSpans) {
    const uint32_t seed = test_seed() + uint32_t(GetParam().slot * 2 + GetParam().persp);
    SCOPED_TRACE("seed " + std::to_string(seed) + " (TOVREL_TEST_SEED varies it)");
    std::mt19937 rng(seed);
    auto uni = [&](double lo, double hi) {
        return float(std::uniform_real_distribution<double>(lo, hi)(rng));
    };
    for (int tex = 0; tex < 12; ++tex) {
        const int32_t w = 10 + 2 * int32_t(rng() % 20), h = 6 + int32_t(rng() % 20);
        const int32_t unit = GetParam().f.unit, pitch = unit * (w + int32_t(rng() % 4));
        texture t = GetParam().f.texture_with_pitch(w, h, rng() & 1 ? -pitch : pitch);
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

TEST_P(PackedSimd, WorstCases) {
    std::mt19937 rng(test_seed());
    texture t = GetParam().f.texture_with_pitch(24, 12, -24 * GetParam().f.unit);
    // Fractions 0 and 127, the last dropped bit, both sides of one half
    // (and fv = 64, 65 of the exact 1.5-row weights); spans of 1 to 17
    // pixels cover every tail of 4- and 8-pixel groups. Random texels,
    // the largest sums (every byte 255), samples each at an extreme (a
    // byte 0 or 255, a 16-bit word 0, -1, -32768 or 32767), and every
    // 16-bit word at -32768 or 32767 (the largest signed sums).
    const bool words = GetParam().f.sample_bytes == 2;
    static constexpr uint8_t extreme[4][2] = {{0, 0}, {0xFF, 0xFF}, {0, 0x80}, {0xFF, 0x7F}};
    for (int fill = 0; fill < 5; ++fill) {
        t.randomise(rng);
        for (size_t i = 0; fill != 0 && i < t.bytes.size(); ++i) {
            const bool odd = i & 1;
            // A word's extreme is chosen by its high byte, not yet replaced.
            const int pick = words ? t.bytes[i | 1] & 3 : t.bytes[i] & 1;
            t.bytes[i] =
                fill == 2 ? extreme[pick][words && odd] : extreme[fill == 1 ? 1 : fill - 1][odd];
        }
        for (int32_t fu : {0, 511, 512, 32767, 32768, 65535})
            for (int32_t fv : {0, 511, 32767, 32768, 33279, 33791, 65535})
                for (int32_t len : {1, 3, 4, 5, 9, 15, 17}) {
                    const float u0 = float(5 * 65536 + fu), v0 = float(4 * 65536 + fv);
                    check(t, through(t, 7, len, u0, v0, 65536, 0), "fractions");
                    check(t, through(t, 0, len, u0, v0, 0, 65536.0f / 3), "fractions, v steps");
                }
    }
    t.randomise(rng);
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
    // Unit pitches at the int16 limits, a pitch that is not a multiple of
    // the unit.
    const int32_t unit = GetParam().f.unit;
    for (int32_t pitch : {unit * 32767, unit * -32768, unit * 10 + 2}) {
        texture p = GetParam().f.texture_with_pitch(10, 7, pitch);
        p.randomise(rng);
        for (int32_t len = -1; len <= 9; ++len)
            check(p, through(p, 5, len, 85000, 177000, 31000, 9000, 1.1f, 0.001f), "pitch");
    }
}

// The slots where some implementation has a member of its own rather than
// the statement's: packed slots, scalar slots with SIMD forms, and every
// slot of the composites (word members on the alpha plane).
bool has_own_member(const family &f, int slot) {
    const std::vector<tables> impls = statement_first(f);
    return f.alpha || std::any_of(impls.begin(), impls.end(), [&](const tables &i) {
               return (*i.affine)[slot] != (*impls[0].affine)[slot] ||
                      (*i.persp)[slot] != (*impls[0].persp)[slot];
           });
}

// S16X4A over (pair I): the S16X4 layout, blending into the line.
family s16x4a_over() {
    family f = *std::find_if(family_list().begin(), family_list().end(),
                             [](const family &g) { return g.name == std::string("s16x4"); });
    f.name = "s16x4a_over", f.over = true;
    f.implementations = [] {
        using namespace tovrel;
        return std::vector<tables>{
            {"sse2", &s16x4a_over_persp_span_renderers, &s16x4a_over_affine_span_renderers},
            {"c", &s16x4a_over_persp_span_renderers_c, &s16x4a_over_affine_span_renderers_c}};
    };
    return f;
}

std::vector<simd_case> all_cases() {
    std::vector<family> families = family_list();
    families.push_back(s16x4a_over());
    std::vector<simd_case> v;
    for (const family &f : families)
        for (int slot = 0; slot < tovrel::footprint_count; ++slot)
            if (has_own_member(f, slot))
                for (bool persp : {false, true}) v.push_back({f, slot, persp});
    return v;
}
INSTANTIATE_TEST_SUITE_P(Packed, PackedSimd, testing::ValuesIn(all_cases()),
                         param_names::printed{});

} // namespace
