// The exact-ratio kernels: SIMD against the scalar statement, and their
// selection.
#include <gtest/gtest.h>

#include <tuple>

#include "rect/rect_exact_ratio.h"
#include "rect_test_util.h"

namespace {

using namespace tovrel;

struct ratio_case {
    const char *name;
    exact_ratio index;
    int64_t num, den; // destination pixels per source pixels
    int32_t x_step, group;
};
const ratio_case ratios[] = {
    {"x16_9", x16_9, 16, 9, 7282, 32}, {"x2", x2, 2, 1, 8192, 4},
    {"x8_3", x8_3, 8, 3, 10923, 16},   {"x9_8", x9_8, 9, 8, 4608, 18},
    {"x3_2", x3_2, 3, 2, 6144, 6},     {"x4_3", x4_3, 4, 3, 5462, 8},
};

void PrintTo(const ratio_case &r, std::ostream *os) {
    *os << r.name;
}

class ExactRatio : public ::testing::TestWithParam<std::tuple<ratio_case, uint8_t>> {};

// The SIMD kernels give the scalar kernel's bytes on random samples, full
// scale, alternating pairs and (W210) any 16-bit words, with one row
// and two, for widths of 5 and 7 groups that leave groups short of a SIMD
// step; 3 pixels after the groups and the guard bytes stay as they were.
// Their area values are pinned by the golden corpus.
TEST_P(ExactRatio, SimdGivesTheScalarBytes) {
    const auto &[r, format] = GetParam();
    const bool w210 = format == TOVREL_FORMAT_W210;
    const int32_t bps = w210 ? 2 : 1, max = w210 ? 1023 : 255;
    std::mt19937 rng(uint32_t(r.x_step) + format);
    const int32_t wide = (1920 + r.group / 2) / r.group;
    for (int32_t groups : {1, 2, 3, 5, 7, wide})
        for (int pattern = 0; pattern < (w210 ? 5 : 3); ++pattern)
            for (bool two : {false, true}) {
                const int32_t px = groups * r.group, src_n = int32_t(px * r.den / r.num) * 2;
                const int32_t line = src_n * bps;
                rect_test::fenced_buffer mem(size_t(2 * line)); // lower line ends on the fence
                for (int32_t i = 0; i < 2 * src_n; ++i) {
                    const uint32_t v = pattern == 0   ? rng() % (max + 1)
                                       : pattern == 1 ? max
                                       : pattern == 2 ? (i % src_n / 2 + i / src_n) % 2 * max
                                       : pattern == 3 ? rng() % 65536
                                                      : 65535;
                    std::memcpy(mem.data() + i * bps, &v, size_t(bps));
                }
                const uint32_t first = two ? 1 + rng() % 2047 : 2048, last = 2048 - first;
                const uint8_t *upper = mem.data() + (two ? 0 : line);
                constexpr rect_isa isas[] = {rect_isa::c, rect_isa::sse2, rect_isa::avx2};
                std::vector<uint8_t> out[3];
                for (int g = 0; g < 3; ++g) {
                    if (!rect_isa_supported(isas[g])) continue;
                    out[g].assign(size_t(2 * (px + 3) * bps + 64), 0xA5);
                    const exact_ratio_kernels &e = rect_exact_ratio_table(format, isas[g])[r.index];
                    (two ? e.row2 : e.row1)(out[g].data() + 32, nullptr, 4096, 2048,
                                            (px + 3) * 4096, upper, line, nullptr, 0, r.x_step,
                                            2048, r.x_step, int32_t(first), 0, int32_t(last));
                }
                SCOPED_TRACE(std::to_string(groups) + " groups, pattern " +
                             std::to_string(pattern) + (two ? ", two rows" : ", one row"));
                for (int g = 1; g < 3; ++g)
                    ASSERT_TRUE(out[g].empty() || out[g] == out[0]) << (g == 1 ? "SSE2" : "AVX2");
                for (size_t b = 0; b < out[0].size(); ++b)
                    ASSERT_TRUE((b >= 32 && b < size_t(32 + 2 * px * bps)) || out[0][b] == 0xA5);
            }
}

INSTANTIATE_TEST_SUITE_P(Ratios, ExactRatio,
                         ::testing::Combine(::testing::ValuesIn(ratios),
                                            ::testing::Values(uint8_t{TOVREL_FORMAT_YUY2},
                                                              uint8_t{TOVREL_FORMAT_W210})),
                         param_names::printed{});

// Every condition of the selection, one at a time; the 4/3 row also at the
// widest line whose groups stay within the columns the general walk reads.
TEST(ExactRatio, SelectionNeedsEveryCondition) {
    const auto aligned = [](int32_t step, int32_t px) {
        return rect_choice{rect_isa::c, step, 2048, step, 4096, px * 4096, 2, 4};
    };
    // The one-row kernel taken (its two-row partner comes with it), or null.
    const auto taken = [](uint8_t format, const rect_choice &c) {
        rect_kernel k[2] = {};
        rect_exact_ratio_kernels(format, c, &k[0], &k[1]);
        return k[0];
    };
    const auto &yuy2 = rect_exact_ratio_yuy2;
    const rect_kernel none = nullptr;
    for (const ratio_case &r : ratios) {
        EXPECT_EQ(taken(TOVREL_FORMAT_YUY2, aligned(r.x_step, 2 * r.group)), yuy2[r.index].row1);
        EXPECT_EQ(taken(TOVREL_FORMAT_W210, aligned(r.x_step, r.group)),
                  rect_exact_ratio_w210[r.index].row1);
        EXPECT_EQ(taken(TOVREL_FORMAT_YUY2, aligned(r.x_step, 2 * r.group - 2)), none) << r.name;
    }
    const rect_choice c = aligned(7282, 64);
    const auto with = [&](auto change) {
        rect_choice d = c;
        change(d);
        return taken(TOVREL_FORMAT_YUY2, d);
    };
    EXPECT_EQ(taken(TOVREL_FORMAT_RGBQ, c), none);
    EXPECT_EQ(with([](rect_choice &d) { d.x_step = d.first_column_run = 7281; }), none);
    EXPECT_EQ(with([](rect_choice &d) { d.first_column_run = 7000; }), none);
    EXPECT_EQ(with([](rect_choice &d) { d.first_width = 2048; }), none);
    EXPECT_EQ(with([](rect_choice &d) { d.src_column = 3; }), none);
    EXPECT_EQ(with([](rect_choice &d) { d.dst_column = 1; }), none);
    EXPECT_EQ(taken(TOVREL_FORMAT_YUY2, aligned(5462, 10920)), yuy2[x4_3].row1);
    EXPECT_EQ(taken(TOVREL_FORMAT_YUY2, aligned(5462, 10928)), none);
}

} // namespace
