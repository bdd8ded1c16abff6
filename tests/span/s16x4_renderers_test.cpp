// Pair I (an S16X4A texture laid over the line it is given) in every slot:
// opaque, clear, half and unclamped alpha, and the 16-bit store wrapping.
#include <gtest/gtest.h>

#include "span/s16x4_renderers.h"
#include "span_test_support.h"

namespace {

using namespace span_test;
using namespace tovrel;
using px = std::array<int16_t, 4>;

// A uniform 12 x 10 texture of `fill` sampled at texel (1, 1) over a line
// pixel `under`, perspective and affine.
struct over_case {
    const char *name;
    std::vector<int> slots; // empty: every slot
    px fill, under, want;
};

// clang-format off
const over_case cases[] = {
    // Components in [0, 4096]: no sum wraps.
    {"opaque", {}, {700, 300, 4095, 4096}, {123, -4567, 0, 4096}, {700, 300, 4095, 4096}},
    {"clear", {}, {}, {-3, 32767, -32768, 77}, {-3, 32767, -32768, 77}},
    // (-3 * 2048) >> 12 = -2.
    {"half", {}, {10, 20, 0, 2048}, {-3, -3, 32767, 4096}, {8, 18, 16383, 4096}},
    // Alpha 6144 is used as it stands: k = -2048 negates half the line.
    {"unclamped", {1}, {0, 0, 0, 6144}, {1000, -1000, 2, 0}, {-500, 500, -1, 6144}},
    // The 16-bit store wraps: 32767 + 1 = -32768.
    {"wraps", {1}, {1, 0, 0, 0}, {32767, 0, 0, 0}, {-32768, 0, 0, 0}},
};
// clang-format on

void PrintTo(const over_case &c, std::ostream *os) {
    *os << c.name;
}

class S16x4Over : public testing::TestWithParam<over_case> {};

TEST_P(S16x4Over, StoresTheDesignedValue) {
    const over_case &p = GetParam();
    std::vector<int> slots = p.slots;
    for (int s = 0; slots.empty() && s < footprint_count; ++s) slots.push_back(s);
    texture t(12, 10, 12 * 8 + 8, 8);
    uint64_t fill;
    std::memcpy(&fill, p.fill.data(), 8);
    t.fill(fill);
    const renderer_table_pair pair = s16x4a_over_span_renderers();
    const tables impl{"", pair.persp, pair.affine};
    for (int slot : slots)
        for (bool persp : {false, true}) {
            const float w = persp ? 0.5f : 1;
            const span_args a = span_args(2, 3, slot_shape(slot), t).bases(65536 * w, 65536 * w, w);
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

INSTANTIATE_TEST_SUITE_P(Designed, S16x4Over, testing::ValuesIn(cases), param_names::printed{});

} // namespace
