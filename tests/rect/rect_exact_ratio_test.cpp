// The exact-ratio kernels against a plain area computation of their ratio,
// against the general kernels and, in SIMD, against their scalar statement,
// and their selection.
#include <gtest/gtest.h>

#include <tuple>

#include "rect/rect_exact_ratio.h"
#include "rect/rect_pair.h"
#include "rect_test_util.h"

namespace {

using namespace tovrel;

struct ratio_case {
    const char *name;
    exact_ratio index;
    int64_t num, den; // destination pixels per source pixels
    int32_t x_step, group;
    // Most units a general walk's source boundary lies past the groups' one
    // inside the whole-group line nearest 1920 pixels: its rounded step
    // drifts (by a quarter pixel at 4/3).
    int64_t drift_1920;
};
const ratio_case ratios[] = {
    {"x16_9", x16_9, 16, 9, 7282, 32, 240}, {"x2", x2, 2, 1, 8192, 4, 0},
    {"x8_3", x8_3, 8, 3, 10923, 16, 240},   {"x9_8", x9_8, 9, 8, 4608, 18, 0},
    {"x3_2", x3_2, 3, 2, 6144, 6, 0},       {"x4_3", x4_3, 4, 3, 5462, 8, 958},
};

// Where source pixel i starts, in 1/4096 destination pixel: the exact ratio
// rounded to the nearest unit; 4/3 keeps its tabled thirds, every three
// source pixels at 0, 5462 and 10924 (weights 1366/2730 and 2732/1364).
// The general walk places it at i * x_step.
int64_t start(const ratio_case &r, int64_t i, bool general) {
    if (general) return i * r.x_step;
    if (r.index == x4_3) return i / 3 * 16384 + i % 3 * 5462;
    return (2 * i * 4096 * r.num + r.den) / (2 * r.den);
}

// Output sample n (luma over a pixel of 4096, chroma over a pair of 8192)
// from source samples s on a `scale` (the vertical weights they carry), and
// the largest distance between the exact and general source boundaries
// inside its span.
struct area_value {
    uint32_t value;
    int64_t drift;
};
area_value area_rule(const ratio_case &r, const std::vector<uint32_t> &s, int64_t n, bool general,
                     uint64_t scale) {
    const bool luma = n % 2 == 0;
    const int64_t span = luma ? 4096 : 8192, lo = luma ? n / 2 * 4096 : n / 4 * 8192;
    const int64_t stride = luma ? 1 : 2, pixels = int64_t(s.size()) / 2;
    uint64_t sum = 0;
    int64_t drift = 0;
    for (int64_t i = std::max<int64_t>(0, lo / r.x_step - 2) / 2 * 2; i < pixels; i += stride) {
        const int64_t a = std::max(start(r, i, general), lo),
                      b = std::min(start(r, i + stride, general), lo + span);
        if (b > a) sum += (luma ? s[size_t(2 * i)] : s[size_t(2 * i + n % 4)]) * uint64_t(b - a);
        const int64_t e = start(r, i, false), g = start(r, i, true);
        if (std::max(e, g) > lo && std::min(e, g) < lo + span) drift = std::max(drift, g - e);
        if (a >= lo + span) break;
    }
    return {uint32_t((sum + span * scale / 2) / (span * scale)), drift};
}

void PrintTo(const ratio_case &r, std::ostream *os) {
    *os << r.name;
}

class ExactRatio : public ::testing::TestWithParam<std::tuple<ratio_case, uint8_t>> {};

// The exact kernel is the area rule of its ratio, on source rows blended
// and rounded first; the general kernel is the area rule of its rounded
// step on the unrounded blend (W210 products shifted by 2). The two agree
// within one wherever the step's drift moves a sample by less than half a
// unit; past that they part by the drift, stated here per sample. The SIMD
// kernels give the scalar kernels' bytes, also for W210 words up to 2^15 - 1
// (pattern 3, beyond the area checks); widths of 5 and 7 groups leave
// groups short of a SIMD step.
TEST_P(ExactRatio, AreaRuleOfItsRatioAndTheGeneralKernel) {
    const auto &[r, format] = GetParam();
    const bool w210 = format == TOVREL_FORMAT_W210;
    const int32_t bps = w210 ? 2 : 1, max = w210 ? 1023 : 255, sh = w210 ? 2 : 0;
    rect_kernel_set general{};
    rect_choice choice{rect_isa::c, r.x_step, 2048, r.x_step, 4096, 0, 0, 0};
    ASSERT_TRUE(rect_pair_kernels(format, format, pair_plain, choice, &general));
    std::mt19937 rng(uint32_t(r.x_step) + format);
    const int32_t wide = (1920 + r.group / 2) / r.group;
    for (int32_t groups : {1, 2, 3, 5, 7, wide})
        for (int pattern = 0; pattern < (w210 ? 4 : 3); ++pattern)
            for (bool two : {false, true}) {
                // A rest of 3 pixels after the groups stays as it was.
                const int32_t px = groups * r.group, src_n = int32_t(px * r.den / r.num) * 2;
                const int32_t line = src_n * bps;
                rect_test::fenced_buffer mem(size_t(2 * line)); // lower line ends on the fence
                std::vector<uint32_t> exact_in(static_cast<size_t>(src_n)), general_in(exact_in);
                const uint32_t first = two ? 1 + rng() % 2047 : 2048, last = 2048 - first;
                for (int32_t i = 0; i < src_n; ++i) {
                    uint32_t v[2]; // upper and lower line; one row reads the lower
                    for (int h = 0; h < 2; ++h) {
                        v[h] = pattern == 0   ? rng() % (max + 1)
                               : pattern == 1 ? max
                               : pattern == 2 ? (i / 2 + h) % 2 * max
                                              : rng() % 32768;
                        std::memcpy(mem.data() + (i + h * src_n) * bps, &v[h], size_t(bps));
                    }
                    const uint32_t u = v[two ? 0 : 1], l = v[1];
                    exact_in[size_t(i)] = (u * first + l * last + 1024) >> 11;
                    general_in[size_t(i)] = ((u * first) >> sh) + ((l * last) >> sh);
                }
                const uint8_t *upper = mem.data() + (two ? 0 : line);
                const int32_t role = two ? rect_role_row2 : rect_role_row1;
                // Scalar exact, general, then the SIMD exact kernels.
                constexpr rect_isa isas[] = {rect_isa::c, rect_isa::c, rect_isa::sse2,
                                             rect_isa::avx2};
                std::vector<uint8_t> out[4];
                for (int g = 0; g < 4; ++g) {
                    if (!rect_isa_supported(isas[g])) continue;
                    out[g].assign(size_t(2 * (px + 3) * bps + 64), 0xA5);
                    const int32_t width = g == 1 ? px * 4096 : (px + 3) * 4096;
                    const exact_ratio_kernels &e = rect_exact_ratio_table(format, isas[g])[r.index];
                    (g == 1 ? general.slots[size_t(role)]
                     : two  ? e.row2
                            : e.row1)(out[g].data() + 32, nullptr, 4096, 2048, width, upper, line,
                                     nullptr, 0, r.x_step, 2048, r.x_step, int32_t(first), 0,
                                     int32_t(last));
                }
                const auto at = [&](int g, int32_t n) {
                    uint32_t v = 0;
                    std::memcpy(&v, out[g].data() + 32 + n * bps, size_t(bps));
                    return v;
                };
                SCOPED_TRACE(std::to_string(groups) + " groups, pattern " +
                             std::to_string(pattern) + (two ? ", two rows" : ", one row"));
                for (int g = 2; g < 4; ++g)
                    ASSERT_TRUE(out[g].empty() || out[g] == out[0]) << (g == 2 ? "SSE2" : "AVX2");
                if (pattern == 3) continue;
                int64_t drift = 0;
                for (int32_t n = 0; n < 2 * px; ++n) {
                    const auto e = area_rule(r, exact_in, n, false, 1);
                    const auto g = area_rule(r, general_in, n, true, uint64_t(2048 >> sh));
                    ASSERT_EQ(at(0, n), e.value) << "sample " << n;
                    ASSERT_EQ(at(1, n), g.value) << "sample " << n;
                    if (e.drift * max * 2 < (n % 2 == 0 ? 4096 : 8192)) {
                        ASSERT_LE(std::abs(int64_t(at(0, n)) - at(1, n)), 1) << "sample " << n;
                    }
                    drift = std::max(drift, e.drift);
                }
                EXPECT_TRUE(groups != wide || drift == r.drift_1920) << drift;
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
