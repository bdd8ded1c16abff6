// S16X4A / S16X4 cases of their own: signed components, wrapping sums, the
// logical shift of slots 15 and 20, division toward zero, and pair I's
// source-over on the line it is given.
#include <gtest/gtest.h>

#include "span/s16x4_renderers.h"
#include "span_test_support.h"

namespace {

using namespace span_test;
using namespace tovrel;
using px = std::array<int16_t, 4>;

// One pixel sampled at (1 + fu / 65536, 1 + fv / 65536) of a 12 x 10
// texture of `fill` with texel (1, 1) = at11 and (2, 1) = at21 (cases of
// every slot keep the texture uniform), over a line pixel `under`, through
// pair H or pair I (`over`), perspective and affine.
struct s16x4_case {
    const char *name;
    bool over;
    std::vector<int> slots; // empty: every slot
    px fill, at11, at21;
    int32_t fu, fv;
    px under, want;
};

// Columns: name, pair I, slots, fill, texel (1, 1), texel (2, 1), fu, fv,
// the line pixel under, the stored pixel.
// clang-format off
const s16x4_case cases[] = {
    // ((64 * a + 64 * b) * 128 + 8192) >> 14 = (a + b + 1) >> 1, arithmetic.
    {"extremes_blend", false, {1}, {-1, -1, -1, -1}, {-32768, 32767, -1, -2},
     {32767, -32768, -2, -1}, 32768, 0, {}, {0, 0, -1, -1}},
    // R = -T: (R + T/2) as unsigned 32 bits >> 18 or 19, or >> 17 signed.
    {"logical_shift", false, {15}, {-1, -1, -1, -1}, {-1, -1, -1, -1}, {-1, -1, -1, -1}, 0, 0, {},
     {16383, 16383, 16383, 16383}},
    {"logical_shift", false, {20}, {-1, -1, -1, -1}, {-1, -1, -1, -1}, {-1, -1, -1, -1}, 0, 0, {},
     {8191, 8191, 8191, 8191}},
    {"arithmetic_shift", false, {14}, {-1, -1, -1, -1}, {-1, -1, -1, -1}, {-1, -1, -1, -1}, 0, 0,
     {}, {-1, -1, -1, -1}},
    // R = 16384 t(1, 1); (R + 24576) / 49152 toward zero: -2 and -4 give 0
    // (R + 24576 = -8192, -40960; floor: -1), -5 gives -1, -32768 -10922.
    {"toward_zero", false, {3}, {}, {-2, -4, -5, -32768}, {}, 0, 0, {}, {0, 0, -1, -10922}},
    // Pair I on uniform textures (components in [0, 4096]: no sum wraps).
    {"over_opaque", true, {}, {700, 300, 4095, 4096}, {}, {}, 0, 0, {123, -4567, 0, 4096},
     {700, 300, 4095, 4096}},
    {"over_clear", true, {}, {}, {}, {}, 0, 0, {-3, 32767, -32768, 77}, {-3, 32767, -32768, 77}},
    // (-3 * 2048) >> 12 = -2.
    {"over_half", true, {}, {10, 20, 0, 2048}, {}, {}, 0, 0, {-3, -3, 32767, 4096},
     {8, 18, 16383, 4096}},
    // Alpha 6144 is used as it stands: k = -2048 negates half the line.
    {"over_unclamped", true, {1}, {0, 0, 0, 6144}, {0, 0, 0, 6144}, {0, 0, 0, 6144}, 0, 0,
     {1000, -1000, 2, 0}, {-500, 500, -1, 6144}},
    // The 16-bit store wraps: 32767 + 1 = -32768.
    {"over_wraps", true, {1}, {1, 0, 0, 0}, {1, 0, 0, 0}, {1, 0, 0, 0}, 0, 0, {32767, 0, 0, 0},
     {-32768, 0, 0, 0}},
};
// clang-format on

void PrintTo(const s16x4_case &c, std::ostream *os) {
    *os << c.name;
}

class S16x4Case : public testing::TestWithParam<s16x4_case> {};

TEST_P(S16x4Case, StoresTheDesignedValue) {
    const s16x4_case &p = GetParam();
    std::vector<int> slots = p.slots;
    for (int s = 0; slots.empty() && s < footprint_count; ++s) slots.push_back(s);
    texture t(12, 10, 12 * 8 + 8, 8);
    uint64_t fill;
    std::memcpy(&fill, p.fill.data(), 8);
    t.fill(fill);
    if (!p.slots.empty()) {
        std::memcpy(t.texel(1, 1), p.at11.data(), 8);
        std::memcpy(t.texel(2, 1), p.at21.data(), 8);
    }
    const renderer_table_pair pair = p.over ? s16x4a_over_span_renderers() : s16x4_span_renderers();
    const tables impl{"", pair.persp, pair.affine};
    for (int slot : slots)
        for (bool persp : {false, true}) {
            const float w = persp ? 0.5f : 1;
            const span_args a = span_args(2, 3, slot_shape(slot), t)
                                    .bases((65536 + p.fu) * w, (65536 + p.fv) * w, w);
            guarded_line line(6, 8);
            std::memcpy(&line.store[size_t(line.guard + 2) * 8], p.under.data(), 8);
            impl.run(slot, persp, line, t, a);
            px got;
            const uint64_t v = line.at(2);
            std::memcpy(got.data(), &v, 8);
            EXPECT_EQ(got, p.want) << "slot " << slot << " persp " << persp;
            EXPECT_TRUE(line.untouched_outside(2, 3));
            // x0 >= x1 touches nothing.
            guarded_line empty(6, 8);
            span_args none = a;
            none.x1 = none.x0;
            impl.run(slot, persp, empty, t, none);
            none.x1 = none.x0 - 1;
            impl.run(slot, persp, empty, t, none);
            EXPECT_TRUE(empty.untouched_outside(0, 0));
        }
}

std::string case_name(const testing::TestParamInfo<s16x4_case> &i) {
    std::string name = i.param.name;
    name += '_';
    name += i.param.slots.empty() ? "all" : std::to_string(i.param.slots[0]);
    return name;
}
INSTANTIATE_TEST_SUITE_P(Designed, S16x4Case, testing::ValuesIn(cases), case_name);

} // namespace
