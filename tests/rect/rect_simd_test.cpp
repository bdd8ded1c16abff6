// SSE2 and AVX2 against the scalar statement, by runs and pre-passes (whole
// calls at every instruction set are the golden corpus's).
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>

#include "rect/rect_pair.h"
#include "rect/rect_pair_walk.h"
#include "rect/rect_rgbq.h"
#include "rect/rect_rgbq_simd.h"
#include "rect_test_util.h"

#if defined(__SSE2__)

namespace {

using namespace tovrel::rect;

struct run_case {
    int32_t x_step, run, count;
    rect_rows rows;
};

run_case random_run(std::mt19937 &rng) {
    static const int32_t steps[] = {4096, 4096, 2048, 2048, 1024, 8192,
                                    2730, 2731, 4095, 5462, 6144};
    run_case k{};
    const uint32_t kind = rng() % 4; // listed, any, tiny, and 1x to 2x reductions
    k.x_step = kind == 0   ? steps[rng() % std::size(steps)]
               : kind == 1 ? 1 + int32_t(rng() % 12000)
               : kind == 2 ? 1 + int32_t(rng() % 300)
                           : 2048 + int32_t(rng() % 3000);
    k.run = rng() % 3 == 0 ? k.x_step : 1 + int32_t(rng() % k.x_step);
    const int32_t y_step = rng() % 3 == 0 ? 2048 : 1 + int32_t(rng() % (rng() % 2 ? 2600 : 200));
    k.rows.first_weight = rng() % 4 == 0 ? 2048 : 1 + int32_t(rng() % std::min(2048, y_step));
    k.rows.middle_weight = y_step;
    int32_t rest = 2048 - k.rows.first_weight;
    // As the driver: middle rows while the rest exceeds y_step, except that
    // the bottom source line may take a longer rest.
    while (rest > y_step && rng() % 16 != 0) {
        ++k.rows.middle;
        rest -= y_step;
    }
    k.rows.last_weight = rest;
    const int64_t budget = (int64_t{1} << 21) / (2 + k.rows.middle); // bytes of source
    const int64_t max_count = std::max<int64_t>(1, (budget / 4 - 2) * k.x_step / 4096);
    // Reductions run long enough to cross chunks of summed columns.
    k.count = 1 + int32_t(rng() % std::min<int64_t>(kind == 3 ? 800 : 300, max_count));
    if (rng() % 8 == 0) { // exact 2x2 halving
        k.x_step = k.run = 2048;
        k.rows = {0, 0, 1024, 0, 1024, 1024};
    }
    return k;
}

std::vector<std::pair<const char *, rgbq_run_fn>> simd_runs() {
    std::vector<std::pair<const char *, rgbq_run_fn>> runs = {{"sse2", rgbq_run_sse2}};
    if (tovrel::rect_isa_supported(tovrel::rect_isa::avx2)) runs.push_back({"avx2", rgbq_run_avx2});
    return runs;
}

TEST(RectRgbqSimd, RunMatchesScalarStatement) {
    const uint32_t seed = rect_test::test_seed();
    std::printf("RectRgbqSimd.RunMatchesScalarStatement seed %u\n", seed);
    SCOPED_TRACE(seed);
    std::mt19937 rng(seed);
    for (int iter = 0; iter < 2000; ++iter) {
        run_case k = random_run(rng);
        const int64_t units = int64_t{k.count} * 4096;
        const int32_t cols =
            units > k.run ? int32_t((units - k.run + k.x_step - 1) / k.x_step) + 1 : 1;
        const int32_t lines = 1 + k.rows.middle + (k.rows.last_weight != 0);
        const int32_t stride = cols * 4 + 4 * int32_t(rng() % 3);
        k.rows.pitch = rng() % 2 ? stride : -stride;
        // The last line in memory ends on an inaccessible page.
        rect_test::fenced_buffer mem(size_t(lines - 1) * stride + size_t(cols) * 4);
        const int worst = rng() % 8; // 0: all 255, 1: all 0
        for (size_t i = 0; i < size_t(lines - 1) * stride + size_t(cols) * 4; ++i)
            mem.data()[i] = worst == 0 ? 255 : worst == 1 ? 0 : uint8_t(rng());
        const uint8_t *row0 =
            k.rows.pitch > 0 ? mem.data() : mem.data() + size_t(lines - 1) * stride;

        std::vector<uint8_t> out_c(size_t(k.count) * 4 + 64, 0xA5);
        rect_cursor cur_c{row0, nullptr, k.run};
        rgbq_run_c(out_c.data() + 32, k.count, &cur_c, k.rows, k.x_step);
        ASSERT_EQ(out_c[31], 0xA5);
        ASSERT_EQ(out_c[out_c.size() - 32], 0xA5);
        for (const auto &[name, run] : simd_runs()) {
            std::vector<uint8_t> out(out_c.size(), 0xA5);
            rect_cursor cur{row0, nullptr, k.run};
            run(out.data() + 32, k.count, &cur, k.rows, k.x_step);
            ASSERT_EQ(out_c, out) << name << " iteration " << iter << " x_step " << k.x_step
                                  << " run " << k.run << " count " << k.count << " rows "
                                  << k.rows.first_weight << "+" << k.rows.middle << "x"
                                  << k.rows.middle_weight << "+" << k.rows.last_weight;
            ASSERT_EQ(cur_c.src, cur.src) << name << " iteration " << iter;
            ASSERT_EQ(cur_c.run, cur.run) << name << " iteration " << iter;
        }
    }
}

// The pre-pass routines of every source kind against their scalar
// statement: random and extreme samples and alpha words (out of range
// included), every row shape, both pair phases, guard lanes around the sums.
template <class K>
void check_vblend(const char *name, const vblend_set &simd, std::mt19937 &rng) {
    const vblend_set &scalar = vblend_set_c<K>;
    constexpr int32_t pb = K::src_pixel_bytes, guard = 8;
    for (int iter = 0; iter < 400; ++iter) {
        const int32_t first = K::source == src_kind::yuvq ? 0 : int32_t(rng() % 2);
        const int32_t count = 1 + int32_t(rng() % (iter % 4 == 0 ? 600 : 40));
        const int32_t pixels = (first + count + 1) / 2 * 2;
        const int32_t lanes = K::quad ? 4 * count : 2 * pixels;
        rect_rows rows{};
        auto weight = [&] { return rng() % 4 == 0 ? 2048 : 1 + int32_t(rng() % 2048); };
        rows.first_weight = weight(), rows.middle_weight = weight(), rows.last_weight = weight();
        const int shape = int(rng() % 4);
        rows.middle = shape < 2 ? 0 : shape == 2 ? 1 : 2 + int32_t(rng() % 5);
        if (shape == 0) rows.last_weight = 0;
        const int32_t lines = 1 + rows.middle + (rows.last_weight != 0);
        const int32_t stride = pixels * pb + 4 * int32_t(rng() % 3);
        rows.pitch = rng() % 2 ? stride : -stride;
        rows.alpha_pitch = (rng() % 2 ? 2 : -2) * (count + int32_t(rng() % 3));
        const int worst = int(rng() % 6); // 0: every bit set, 1: in range, full
        std::vector<uint8_t> px(size_t(lines) * stride);
        std::vector<uint16_t> al(size_t(lines) * size_t(std::abs(rows.alpha_pitch)) / 2);
        for (auto &b : px) b = worst == 0 ? 0xFF : uint8_t(rng());
        if (worst == 1)
            for (size_t i = 0; i + 1 < px.size(); i += 2) {
                const uint16_t v = pb == 4 && K::source != src_kind::yuvq ? 1023 : 0xFFFF;
                std::memcpy(&px[i], &v, 2);
            }
        for (auto &a : al)
            a = worst == 0   ? 0xFFFF
                : worst == 1 ? 4096
                             : uint16_t(rng() % (rng() % 4 ? 4097 : 65536));
        const uint8_t *row = rows.pitch > 0 ? px.data() : px.data() + size_t(lines - 1) * stride;
        const uint16_t *arow = rows.alpha_pitch > 0
                                   ? al.data()
                                   : al.data() + al.size() - size_t(-rows.alpha_pitch) / 2;
        std::vector<uint32_t> out_c(size_t(lanes + 2 * guard), 0xA5A5A5A5u), out = out_c;
        scalar.of(rows)(out_c.data() + guard, row, arow, first, count, rows);
        simd.of(rows)(out.data() + guard, row, arow, first, count, rows);
        ASSERT_EQ(out_c, out) << name << " iteration " << iter << " first " << first << " count "
                              << count << " rows " << rows.first_weight << "+" << rows.middle << "x"
                              << rows.middle_weight << "+" << rows.last_weight;
    }
}

TEST(RectPairSimd, PrePassMatchesScalarStatement) {
    const uint32_t seed = rect_test::test_seed();
    std::printf("RectPairSimd.PrePassMatchesScalarStatement seed %u\n", seed);
    SCOPED_TRACE(seed);
    std::mt19937 rng(seed);
    constexpr auto none = src_alpha_rule::none, straight = src_alpha_rule::straight,
                   premul = src_alpha_rule::premul;
    using yuy2 = pair_kind<src_kind::yuy2, yuy2_format, none>;
    check_vblend<yuy2>(
        "yuy2", vblend_set{vblend_yuy2_sse2, vblend_yuy2_sse2, vblend_yuy2_sse2, vblend_yuy2_sse2},
        rng);
    auto by_rows = [&](auto kind, const char *name) {
        using K = decltype(kind);
        check_vblend<K>(name, vblend_set_c<K, vblend_row_sse2<K>>, rng);
    };
    by_rows(pair_kind<src_kind::w210, w210_format, none>{}, "w210");
    by_rows(pair_kind<src_kind::yuy2, yuy2_format, straight>{}, "yuy2 straight");
    by_rows(pair_kind<src_kind::yuy2, yuy2_format, premul>{}, "yuy2 premul");
    by_rows(pair_kind<src_kind::w210, w210_format, straight>{}, "w210 straight");
    by_rows(pair_kind<src_kind::w210, w210_format, premul>{}, "w210 premul");
    by_rows(pair_kind<src_kind::yuvq, yuy2_format, straight>{}, "yuvq to yuy2 straight");
    by_rows(pair_kind<src_kind::yuvq, yuy2_format, premul>{}, "yuvq to yuy2 premul");
    by_rows(pair_kind<src_kind::yuvq, w210_format, straight>{}, "yuvq to w210 straight");
    by_rows(pair_kind<src_kind::yuvq, w210_format, premul>{}, "yuvq to w210 premul");
    if (tovrel::rect_isa_supported(tovrel::rect_isa::avx2)) {
        auto avx2 = [&](auto kind, const char *name) {
            using K = decltype(kind);
            check_vblend<K>(name,
                            vblend_set{vblend_pair_avx2<K, 1>, vblend_pair_avx2<K, 2>,
                                       vblend_pair_avx2<K, 3>, vblend_pair_avx2<K, 0>},
                            rng);
        };
        avx2(yuy2{}, "yuy2 avx2");
        avx2(pair_kind<src_kind::w210, w210_format, none>{}, "w210 avx2");
    }
}

// The halving writer against its scalar statement: random and extreme sums
// (wrapping modulo 2^32 included), guard samples around the pairs.
template <class D>
void check_halve(const char *name, std::mt19937 &rng) {
    using sample = typename D::sample;
    constexpr int32_t guard = 8;
    for (int iter = 0; iter < 300; ++iter) {
        const int32_t pairs = 1 + int32_t(rng() % (iter % 4 == 0 ? 300 : 20));
        const int worst = int(rng() % 4); // 0: every bit set, 1: in range, full
        std::vector<uint32_t> sums(size_t(8 * pairs));
        for (auto &v : sums)
            v = worst == 0 ? ~0u : worst == 1 ? uint32_t(D::max) * 2048 : uint32_t(rng());
        std::vector<sample> out_c(size_t(4 * pairs + 2 * guard), sample(0xA5A5)), out = out_c;
        pair_halve_c<D>(out_c.data() + guard, sums.data(), pairs);
        pair_halve_avx2<D>(out.data() + guard, sums.data(), pairs);
        ASSERT_EQ(out_c, out) << name << " iteration " << iter << " pairs " << pairs;
    }
}

// The three-tap whole pairs against the walk's own sums: random steps in
// range (the bounds included), cursor phases and runs, random and extreme
// buffers, guard samples around the pairs.
template <class D>
void check_down3(const char *name, std::mt19937 &rng) {
    using sample = typename D::sample;
    using K = pair_kind<D::bits == 23 ? src_kind::yuy2 : src_kind::w210, D, src_alpha_rule::none>;
    constexpr int32_t guard = 8;
    std::vector<uint32_t> buf(size_t(line_buffer_lanes + line_buffer_slack));
    for (int iter = 0; iter < 300; ++iter) {
        const int32_t x_step = iter % 8 == 0   ? pair_down3_min_step
                               : iter % 8 == 1 ? 4095
                                               : pair_down3_min_step + int32_t(rng() % 1755);
        const int32_t pairs = 1 + int32_t(rng() % (iter % 4 == 0 ? 900 : 40));
        const int32_t i0 = int32_t(rng() % 4), run0 = 1 + int32_t(rng() % x_step);
        const int worst = int(rng() % 4);
        for (auto &v : buf)
            v = worst == 0 ? ~0u : worst == 1 ? uint32_t(D::max) * 2048 : uint32_t(rng());
        std::vector<sample> out_c(size_t(4 * pairs + 2 * guard), sample(0xA5A5)), out = out_c;
        int32_t i_c = i0, run_c = run0, i = i0, run = run0;
        pair_whole_c<K>(out_c.data() + guard, pairs, buf.data(), &i_c, &run_c, x_step);
        pair_down3_avx2<K>(out.data() + guard, pairs, buf.data(), &i, &run, x_step,
                           int32_t(buf.size()));
        ASSERT_EQ(out_c, out) << name << " iteration " << iter << " step " << x_step << " pairs "
                              << pairs << " from " << i0 << " run " << run0;
        ASSERT_EQ(i_c, i) << name << " iteration " << iter;
        ASSERT_EQ(run_c, run) << name << " iteration " << iter;
    }
}

TEST(RectPairSimd, WholePairsMatchScalarStatement) {
    if (!tovrel::rect_isa_supported(tovrel::rect_isa::avx2)) GTEST_SKIP() << "no AVX2";
    const uint32_t seed = rect_test::test_seed();
    std::printf("RectPairSimd.WholePairsMatchScalarStatement seed %u\n", seed);
    SCOPED_TRACE(seed);
    std::mt19937 rng(seed);
    check_halve<yuy2_format>("yuy2", rng);
    check_halve<w210_format>("w210", rng);
    check_down3<yuy2_format>("yuy2 three taps", rng);
    check_down3<w210_format>("w210 three taps", rng);
}

// YUY2 lines of three-tap steps in AVX2 (whole pairs straight from the
// source rows, the buffer blended around them) against the scalar set:
// every kind without source alpha, one to three rows, random and extreme
// samples, the source rows exactly as long as the line reads.
TEST(RectPairKernels, Avx2ThreeTapLinesMatchScalar) {
    using namespace tovrel;
    if (!rect_isa_supported(rect_isa::avx2)) GTEST_SKIP() << "no AVX2";
    const uint32_t seed = rect_test::test_seed();
    std::printf("RectPairKernels.Avx2ThreeTapLinesMatchScalar seed %u\n", seed);
    SCOPED_TRACE(seed);
    std::mt19937 rng(seed);
    for (int iter = 0; iter < 1200; ++iter) {
        const int32_t index = iter % 6; // pair_plain .. pair_to_alpha_premul_tile
        const int32_t x_step = iter % 5 == 0   ? 2731
                               : iter % 5 == 1 ? 4095
                                               : 2341 + int32_t(rng() % 1755);
        const int32_t run = 1 + int32_t(rng() % x_step), rows = 1 + iter % 3;
        const int32_t first_width = rng() % 2 ? 4096 : 1 + int32_t(rng() % 4096);
        const int32_t width = first_width + 4096 * int32_t(rng() % 300) + int32_t(rng() % 4096);
        const int32_t w0 = rows == 1 ? 2048 : iter % 7 == 0 ? 1 : 1 + int32_t(rng() % 1023);
        const int32_t wm = rows == 3 ? 2048 - w0 - int32_t(rng() % (2048 - w0)) : 0;
        const int32_t dst_odd = int32_t(rng() % 2), src_odd = int32_t(rng() % 2);
        const int32_t pixels = src_odd + 2 + (width - run + x_step - 1) / x_step,
                      pitch = pixels * 2 + 2;
        const bool bright = iter % 4 == 0;
        std::vector<uint8_t> src(size_t(rows * pitch)), dst_a(size_t(width / 2048 + 80));
        std::vector<uint16_t> da_a(dst_a.size() / 2);
        for (auto &b : src) b = bright ? 255 : uint8_t(rng());
        for (auto &b : dst_a) b = uint8_t(rng());
        for (auto &a : da_a) a = uint16_t(rng() % 4097);
        std::vector<uint8_t> dst_b = dst_a;
        std::vector<uint16_t> da_b = da_a;
        auto call = [&](rect_isa isa, std::vector<uint8_t> &d, std::vector<uint16_t> &da) {
            rect_kernel_set set{};
            const rect_choice choice{isa, x_step, 1365, run, first_width, width, 0, 0};
            ASSERT_TRUE(
                rect_pair_kernels(TOVREL_FORMAT_YUY2, TOVREL_FORMAT_YUY2, index, choice, &set));
            const int32_t last = rows == 1 ? 0 : 2048 - w0 - wm;
            set.slots[size_t(rect_slot(2048, rows - 2 > 0 ? 1 : 0, last))](
                d.data() + 32 + 2 * dst_odd, da.data() + 8, first_width, 2048, width,
                src.data() + 2 * src_odd, pitch, nullptr, 0, x_step, wm, run, w0, rows == 3 ? 1 : 0,
                last);
        };
        call(rect_isa::c, dst_a, da_a);
        call(rect_isa::avx2, dst_b, da_b);
        ASSERT_EQ(dst_a, dst_b) << "iteration " << iter << " step " << x_step << " rows " << rows;
        ASSERT_EQ(da_a, da_b) << "iteration " << iter;
    }
}

// The kernels for a fixed step against the general walk of the same set:
// the aligned 1:1 copy of the YUY2 and W210 one-row kernels (against the
// any-row kernel), and the 1:1 tiled yuvq kernels (against the set chosen
// for another step), on random 1:1 lines in every pair phase.
TEST(RectPairKernels, FixedStepKernelsMatchTheWalk) {
    const uint32_t seed = rect_test::test_seed();
    std::printf("RectPairKernels.FixedStepKernelsMatchTheWalk seed %u\n", seed);
    SCOPED_TRACE(seed);
    std::mt19937 rng(seed);
    using namespace tovrel;
    for (int iter = 0; iter < 3000; ++iter) {
        const int kind = iter % 6; // 0, 1: YUY2, W210; 2..5: yuvq into YUY2, W210, tiled
        const bool yuvq = kind >= 2, w210 = kind == 1 || kind == 3 || kind == 5;
        const uint8_t dst_format = w210 ? TOVREL_FORMAT_W210 : TOVREL_FORMAT_YUY2;
        const int32_t index = !yuvq      ? pair_plain
                              : kind < 4 ? paira_to_alpha_straight_tile
                                         : paira_to_alpha_premul_tile;
        const uint8_t src_format = yuvq ? TOVREL_FORMAT_YUVQ : dst_format;
        rect_choice one{rect_isa::c, 4096, 2048, 4096, 4096, 0, 0, 0}, other = one;
        other.x_step = 4097;
        rect_kernel_set fixed{}, general{};
        ASSERT_TRUE(rect_pair_kernels(src_format, dst_format, index, one, &fixed));
        ASSERT_TRUE(rect_pair_kernels(src_format, dst_format, index, other, &general));
        const int32_t role = yuvq ? int32_t(rng() % 2) : rect_role_row1;
        const rect_kernel k_fixed = fixed.slots[size_t(role)];
        const rect_kernel k_general =
            yuvq ? general.slots[size_t(role)] : general.slots[size_t(rect_role_rows)];
        // A line of up to 40 pixels in whole and fractional units.
        const int32_t first_width = rng() % 3 ? 4096 : 1 + int32_t(rng() % 4096);
        const int32_t width = first_width + (rng() % 4 ? 4096 * int32_t(rng() % 40) : 0) +
                              (rng() % 2 ? int32_t(rng() % 4096) : 0);
        const int32_t run = yuvq && rng() % 2 ? 1 + int32_t(rng() % 4096) : 4096;
        const int32_t w0 = role == rect_role_row1 ? 2048 : 1 + int32_t(rng() % 2047);
        const int32_t dst_odd = int32_t(rng() % 2), src_odd = int32_t(rng() % 2);
        const int32_t spb = yuvq || w210 ? 4 : 2, dpb = w210 ? 4 : 2, pixels = 48;
        std::vector<uint8_t> src(size_t(2 * pixels * spb)), dst_a(size_t(pixels * dpb) + 64);
        std::vector<uint16_t> src_alpha(size_t(2 * pixels)), da_a(size_t(pixels) + 16);
        for (auto &b : src) b = uint8_t(rng());
        if (w210 && !yuvq)
            for (size_t i = 1; i < src.size(); i += 2) src[i] &= 3;
        for (auto &b : dst_a) b = uint8_t(rng());
        if (w210)
            for (size_t i = 1; i < dst_a.size(); i += 2) dst_a[i] &= 3;
        for (auto &a : src_alpha) a = uint16_t(rng() % 4097);
        for (auto &a : da_a) a = uint16_t(rng() % 4097);
        std::vector<uint8_t> dst_b = dst_a;
        std::vector<uint16_t> da_b = da_a;
        auto call = [&](rect_kernel k, std::vector<uint8_t> &d, std::vector<uint16_t> &da) {
            k(d.data() + 32 + dst_odd * dpb, da.data() + 8, first_width, 2048, width,
              src.data() + (yuvq ? 0 : src_odd * spb), pixels * spb, src_alpha.data(), pixels * 2,
              4096, 2048, run, w0, 0, 2048 - w0);
        };
        call(k_fixed, dst_a, da_a);
        call(k_general, dst_b, da_b);
        ASSERT_EQ(dst_a, dst_b) << "iteration " << iter << " kind " << kind << " role " << role;
        ASSERT_EQ(da_a, da_b) << "iteration " << iter << " kind " << kind;
    }
}

} // namespace

#endif
