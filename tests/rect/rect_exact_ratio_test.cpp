// The exact-ratio kernels against a plain area computation of their ratio,
// and their selection.
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

// Where source pixel i starts, in 1/4096 destination pixel: the exact ratio
// rounded to the nearest unit; 4/3 keeps its tabled thirds, every three
// source pixels at 0, 5462 and 10924 (weights 1366/2730 and 2732/1364).
int64_t start(const ratio_case &r, int64_t i) {
    if (r.index == x4_3) return i / 3 * 16384 + i % 3 * 5462;
    return (2 * i * 4096 * r.num + r.den) / (2 * r.den);
}

// Output sample n of a line of `px` destination pixels from blended source
// samples s: luma over pixels (of 4096), chroma over pairs (of 8192).
uint32_t area_rule(const ratio_case &r, const std::vector<uint32_t> &s, int64_t n) {
    const bool luma = n % 2 == 0;
    const int64_t span = luma ? 4096 : 8192, lo = luma ? n / 2 * 4096 : n / 4 * 8192;
    uint64_t sum = 0;
    for (int64_t i = 0; i < int64_t(s.size()) / 2; i += luma ? 1 : 2) {
        const int64_t a = std::max(start(r, i), lo),
                      b = std::min(start(r, i + (luma ? 1 : 2)), lo + span);
        if (b > a) sum += (luma ? s[2 * i] : s[2 * i + n % 4]) * uint64_t(b - a);
    }
    return uint32_t((sum + span / 2) / span);
}

class ExactRatio : public ::testing::TestWithParam<std::tuple<ratio_case, uint8_t>> {};

TEST_P(ExactRatio, EqualsAreaRuleOfItsRatio) {
    const auto &[r, format] = GetParam();
    const bool w210 = format == TOVREL_FORMAT_W210;
    const int32_t bps = w210 ? 2 : 1, max = w210 ? 1023 : 255;
    const exact_ratio_kernels k = (w210 ? rect_exact_ratio_w210 : rect_exact_ratio_yuy2)[r.index];
    std::mt19937 rng(uint32_t(r.x_step) + format);
    for (int groups = 1; groups <= 3; ++groups)
        for (int pattern = 0; pattern < 3; ++pattern)
            for (bool two : {false, true}) {
                // A rest of 3 pixels after the groups stays as it was.
                const int32_t px = groups * r.group, src_n = int32_t(px * r.den / r.num) * 2;
                const int32_t line = src_n * bps;
                rect_test::fenced_buffer mem(size_t(2 * line)); // lower line ends on the fence
                std::vector<uint32_t> blended(static_cast<size_t>(src_n));
                const uint32_t first = two ? 1 + rng() % 2047 : 2048, last = 2048 - first;
                for (int32_t i = 0; i < 2 * src_n; ++i) {
                    const uint32_t v = pattern == 0   ? rng() % (max + 1)
                                       : pattern == 1 ? max
                                                      : (i / 2 + i / src_n) % 2 * max;
                    std::memcpy(mem.data() + i * bps, &v, size_t(bps)); // little endian
                }
                const uint8_t *upper = mem.data() + (two ? 0 : line);
                for (int32_t i = 0; i < src_n; ++i) {
                    uint32_t u = 0, l = 0;
                    std::memcpy(&u, upper + i * bps, size_t(bps));
                    if (two) std::memcpy(&l, upper + line + i * bps, size_t(bps));
                    blended[size_t(i)] = two ? (u * first + l * last + 1024) >> 11 : u;
                }
                std::vector<uint8_t> out(size_t(2 * (px + 3) * bps + 64), 0xA5);
                (two ? k.row2 : k.row1)(out.data() + 32, nullptr, 4096, 2048, (px + 3) * 4096,
                                        upper, line, nullptr, 0, r.x_step, 2048, r.x_step,
                                        int32_t(first), 0, int32_t(last));
                for (int32_t n = 0; n < 2 * px; ++n) {
                    uint32_t got = 0;
                    std::memcpy(&got, out.data() + 32 + n * bps, size_t(bps));
                    ASSERT_EQ(got, area_rule(r, blended, n))
                        << groups << " groups, pattern " << pattern << ", two rows " << two
                        << ", sample " << n;
                }
                for (size_t b = 0; b < out.size(); ++b) {
                    const bool outside = b < 32 || b >= size_t(32 + 2 * px * bps);
                    ASSERT_TRUE(!outside || out[b] == 0xA5) << "byte " << b;
                }
            }
}

INSTANTIATE_TEST_SUITE_P(Ratios, ExactRatio,
                         ::testing::Combine(::testing::ValuesIn(ratios),
                                            ::testing::Values(uint8_t{TOVREL_FORMAT_YUY2},
                                                              uint8_t{TOVREL_FORMAT_W210})),
                         [](const auto &info) {
                             return std::string(std::get<0>(info.param).name) +
                                    (std::get<1>(info.param) == TOVREL_FORMAT_W210 ? "_W210"
                                                                                   : "_YUY2");
                         });

// Every condition of the selection, one at a time; the 4/3 row also at the
// widest line whose groups stay within the columns the general walk reads.
TEST(ExactRatio, SelectionNeedsEveryCondition) {
    struct row {
        const char *what;
        uint8_t format;
        rect_choice c;
        int expected; // ratio index, -1 none
    };
    const auto aligned = [](int32_t step, int32_t px) {
        return rect_choice{rect_isa::c, step, 2048, step, 4096, px * 4096, 2, 4};
    };
    std::vector<row> rows;
    for (const ratio_case &r : ratios) {
        rows.push_back({r.name, TOVREL_FORMAT_YUY2, aligned(r.x_step, 2 * r.group), r.index});
        rows.push_back({r.name, TOVREL_FORMAT_W210, aligned(r.x_step, r.group), r.index});
        rows.push_back(
            {"width short of a group", TOVREL_FORMAT_YUY2, aligned(r.x_step, 2 * r.group - 2), -1});
    }
    rect_choice c = aligned(7282, 64);
    rows.push_back({"RGBQ", TOVREL_FORMAT_RGBQ, c, -1});
    rows.push_back(
        {"step 7281", TOVREL_FORMAT_YUY2, (c.x_step = c.first_column_run = 7281, c), -1});
    rows.push_back({"run short of a column", TOVREL_FORMAT_YUY2,
                    (c = aligned(7282, 64), c.first_column_run = 7000, c), -1});
    rows.push_back({"first pixel partly covered", TOVREL_FORMAT_YUY2,
                    (c = aligned(7282, 64), c.first_width = 2048, c), -1});
    rows.push_back({"odd source column", TOVREL_FORMAT_YUY2,
                    (c = aligned(7282, 64), c.src_column = 3, c), -1});
    rows.push_back({"odd destination column", TOVREL_FORMAT_W210,
                    (c = aligned(7282, 64), c.dst_column = 1, c), -1});
    rows.push_back({"4/3 at 10920 pixels", TOVREL_FORMAT_YUY2, aligned(5462, 10920), x4_3});
    rows.push_back({"4/3 at 10928 pixels", TOVREL_FORMAT_YUY2, aligned(5462, 10928), -1});
    for (const row &w : rows) {
        rect_kernel k1 = nullptr, k2 = nullptr;
        const bool taken = rect_exact_ratio_kernels(w.format, w.c, &k1, &k2);
        ASSERT_EQ(taken, w.expected >= 0) << w.what;
        if (!taken) continue;
        const auto &t =
            w.format == TOVREL_FORMAT_W210 ? rect_exact_ratio_w210 : rect_exact_ratio_yuy2;
        EXPECT_EQ(k1, t[size_t(w.expected)].row1) << w.what;
        EXPECT_EQ(k2, t[size_t(w.expected)].row2) << w.what;
    }
}

} // namespace
