// SSE2 and AVX2 against the scalar statement, by runs and pre-passes (whole
// calls at every instruction set are the golden corpus's).
#include <gtest/gtest.h>

#include <algorithm>

#include "differential.h"
#include "rect/rect_pair.h"
#include "rect/rect_pair_walk.h"
#include "rect/rect_rgbq.h"
#include "rect/rect_rgbq_simd.h"
#include "rect_test_util.h"

#if defined(__SSE2__)

namespace {

using namespace tovrel::rect;
using namespace differential;

bool avx2() {
    return tovrel::rect_isa_supported(tovrel::rect_isa::avx2);
}

std::string rows_text(const rect_rows &r) {
    return text("rows", r.first_weight, "+", r.middle, "x", r.middle_weight, "+", r.last_weight);
}

// The runs on random and extreme bytes (all 255, all 0), the last source
// line in memory ending on an inaccessible page; the final cursor too.
TEST(RectRgbqSimd, RunMatchesScalarStatement) {
    static const int32_t steps[] = {4096, 4096, 2048, 2048, 1024, 8192,
                                    2730, 2731, 4095, 5462, 6144};
    const members<rgbq_run_fn> runs = {
        {"c", rgbq_run_c}, {"sse2", rgbq_run_sse2}, {"avx2", rgbq_run_avx2, avx2()}};
    for_cases(2000, [&](std::mt19937 &rng, int) {
        const uint32_t kind = rng() % 4; // listed, any, tiny, and 1x to 2x reductions
        int32_t x_step = kind == 0   ? steps[rng() % std::size(steps)]
                         : kind == 1 ? 1 + int32_t(rng() % 12000)
                         : kind == 2 ? 1 + int32_t(rng() % 300)
                                     : 2048 + int32_t(rng() % 3000);
        int32_t run = rng() % 3 == 0 ? x_step : 1 + int32_t(rng() % x_step);
        const int32_t y_step =
            rng() % 3 == 0 ? 2048 : 1 + int32_t(rng() % (rng() % 2 ? 2600 : 200));
        rect_rows rows{};
        rows.first_weight = rng() % 4 == 0 ? 2048 : 1 + int32_t(rng() % std::min(2048, y_step));
        rows.middle_weight = y_step;
        int32_t rest = 2048 - rows.first_weight;
        // As the driver: middle rows while the rest exceeds y_step, except
        // that the bottom source line may take a longer rest.
        while (rest > y_step && rng() % 16 != 0) {
            ++rows.middle;
            rest -= y_step;
        }
        rows.last_weight = rest;
        const int64_t budget = (int64_t{1} << 21) / (2 + rows.middle); // bytes of source
        const int64_t max_count = std::max<int64_t>(1, (budget / 4 - 2) * x_step / 4096);
        // Reductions run long enough to cross chunks of summed columns.
        const int32_t count =
            1 + int32_t(rng() % std::min<int64_t>(kind == 3 ? 800 : 300, max_count));
        if (rng() % 8 == 0) { // exact 2x2 halving
            x_step = run = 2048;
            rows = {0, 0, 1024, 0, 1024, 1024};
        }
        const int64_t units = int64_t{count} * 4096;
        const int32_t cols = units > run ? int32_t((units - run + x_step - 1) / x_step) + 1 : 1;
        const int32_t lines = 1 + rows.middle + (rows.last_weight != 0);
        const int32_t stride = cols * 4 + 4 * int32_t(rng() % 3);
        rows.pitch = rng() % 2 ? stride : -stride;
        const size_t size = size_t(lines - 1) * stride + size_t(cols) * 4;
        rect_test::fenced_buffer mem(size);
        const int worst = rng() % 8;
        for (size_t i = 0; i < size; ++i)
            mem.data()[i] = worst == 0 ? 255 : worst == 1 ? 0 : uint8_t(rng());
        const uint8_t *row0 = mem.data() + (rows.pitch > 0 ? 0 : size_t(lines - 1) * stride);
        same(
            runs,
            [&](const auto &m) {
                guarded<uint8_t> out(size_t(count) * 4);
                rect_cursor cur{row0, nullptr, run};
                m.fn(out.at(), count, &cur, rows, x_step);
                return std::tuple(out, cur.src, cur.run);
            },
            text("x_step", x_step, "run", run, "count", count, rows_text(rows)));
    });
}

// The pre-pass routines of a source kind: random and extreme samples and
// alpha words (out of range included), every row shape, both pair phases.
template <class K, bool Avx2 = false>
void check_vblend(const vblend_set &sse2) {
    members<vblend_set> sets = {{"c", vblend_set_c<K>}, {"sse2", sse2}};
    if constexpr (Avx2)
        sets.push_back({"avx2",
                        {vblend_pair_avx2<K, 1>, vblend_pair_avx2<K, 2>, vblend_pair_avx2<K, 3>,
                         vblend_pair_avx2<K, 0>},
                        avx2()});
    constexpr int32_t pb = K::src_pixel_bytes;
    for_cases(400, [&](std::mt19937 &rng, int iter) {
        const int32_t first = K::source == src_kind::yuvq ? 0 : int32_t(rng() % 2);
        const int32_t count = 1 + int32_t(rng() % (iter % 4 == 0 ? 600 : 40));
        const int32_t pixels = (first + count + 1) / 2 * 2;
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
        const uint16_t full = pb == 4 && K::source != src_kind::yuvq ? 1023 : 0xFFFF;
        for (size_t i = 0; worst == 1 && i + 1 < px.size(); i += 2) std::memcpy(&px[i], &full, 2);
        for (auto &a : al)
            a = worst == 0   ? 0xFFFF
                : worst == 1 ? 4096
                             : uint16_t(rng() % (rng() % 4 ? 4097 : 65536));
        const uint8_t *row = px.data() + (rows.pitch > 0 ? 0 : size_t(lines - 1) * stride);
        const uint16_t *arow = rows.alpha_pitch > 0
                                   ? al.data()
                                   : al.data() + al.size() - size_t(-rows.alpha_pitch) / 2;
        same(
            sets,
            [&](const auto &s) {
                guarded<uint32_t> out(size_t(K::quad ? 4 * count : 2 * pixels));
                s.fn.of(rows)(out.at(), row, arow, first, count, rows);
                return std::tuple(out);
            },
            text("first", first, "count", count, rows_text(rows)));
    });
}

template <src_kind S, class D, src_alpha_rule A = src_alpha_rule::none>
using kind = pair_kind<S, D, A>;

// The kinds whose SSE2 pre-pass is the row form.
template <class... K>
void check_row_forms() {
    (check_vblend<K>(vblend_set_c<K, vblend_row_sse2<K>>), ...);
}

TEST(RectPairSimd, PrePassMatchesScalarStatement) {
    constexpr auto yuy2 = src_kind::yuy2, w210 = src_kind::w210, yuvq = src_kind::yuvq;
    constexpr auto straight = src_alpha_rule::straight, premul = src_alpha_rule::premul;
    check_vblend<kind<yuy2, yuy2_format>, true>(
        {vblend_yuy2_sse2, vblend_yuy2_sse2, vblend_yuy2_sse2, vblend_yuy2_sse2});
    check_vblend<kind<w210, w210_format>, true>(
        vblend_set_c<kind<w210, w210_format>, vblend_row_sse2<kind<w210, w210_format>>>);
    check_row_forms<kind<yuy2, yuy2_format, straight>, kind<yuy2, yuy2_format, premul>,
                    kind<w210, w210_format, straight>, kind<w210, w210_format, premul>,
                    kind<yuvq, yuy2_format, straight>, kind<yuvq, yuy2_format, premul>,
                    kind<yuvq, w210_format, straight>, kind<yuvq, w210_format, premul>>();
}

// Sums for the whole-pair writers: every bit set, the largest in range, or
// random (wrapping modulo 2^32).
template <class D>
void fill_sums(std::vector<uint32_t> &sums, std::mt19937 &rng) {
    const int worst = int(rng() % 4);
    for (auto &v : sums)
        v = worst == 0 ? ~0u : worst == 1 ? uint32_t(D::max) * 2048 : uint32_t(rng());
}

// The halving writer, and the three-tap whole pairs against the walk's own
// sums: steps in range (the bounds included), cursor phases and runs.
template <class D>
void check_whole_pairs() {
    using sample = typename D::sample;
    using fn = void (*)(sample *, const uint32_t *, int32_t);
    for_cases(300, [&](std::mt19937 &rng, int iter) {
        const int32_t pairs = 1 + int32_t(rng() % (iter % 4 == 0 ? 300 : 20));
        std::vector<uint32_t> sums(size_t(8 * pairs));
        fill_sums<D>(sums, rng);
        same(
            members<fn>({{"c", pair_halve_c<D>}, {"avx2", pair_halve_avx2<D>}}),
            [&](const auto &m) {
                guarded<sample> out(size_t(4 * pairs));
                m.fn(out.at(), sums.data(), pairs);
                return std::tuple(out);
            },
            text("halving", pairs, "pairs"));
    });
    using K = kind<D::bits == 23 ? src_kind::yuy2 : src_kind::w210, D>;
    using walk =
        void (*)(sample *, int32_t, const uint32_t *, int32_t *, int32_t *, int32_t, int32_t);
    const walk whole = [](sample *out, int32_t pairs, const uint32_t *buf, int32_t *i, int32_t *run,
                          int32_t x_step,
                          int32_t) { pair_whole_c<K>(out, pairs, buf, i, run, x_step); };
    std::vector<uint32_t> buf(size_t(line_buffer_lanes + line_buffer_slack));
    for_cases(300, [&](std::mt19937 &rng, int iter) {
        const int32_t x_step = iter % 8 == 0   ? pair_down3_min_step
                               : iter % 8 == 1 ? 4095
                                               : pair_down3_min_step + int32_t(rng() % 1755);
        const int32_t pairs = 1 + int32_t(rng() % (iter % 4 == 0 ? 900 : 40));
        const int32_t i0 = int32_t(rng() % 4), run0 = 1 + int32_t(rng() % x_step);
        fill_sums<D>(buf, rng);
        same(
            members<walk>({{"c", whole}, {"avx2", pair_down3_avx2<K>}}),
            [&](const auto &m) {
                guarded<sample> out(size_t(4 * pairs));
                int32_t i = i0, run = run0;
                m.fn(out.at(), pairs, buf.data(), &i, &run, x_step, int32_t(buf.size()));
                return std::tuple(out, i, run);
            },
            text("three taps, step", x_step, "pairs", pairs, "from", i0, "run", run0));
    });
}

TEST(RectPairSimd, WholePairsMatchScalarStatement) {
    if (!avx2()) GTEST_SKIP() << "no AVX2";
    check_whole_pairs<yuy2_format>();
    check_whole_pairs<w210_format>();
}

// YUY2 lines of three-tap steps in AVX2 (whole pairs straight from the
// source rows, the buffer blended around them) against the scalar set:
// every kind without source alpha, one to three rows, random and extreme
// samples, the source rows exactly as long as the line reads.
TEST(RectPairKernels, Avx2ThreeTapLinesMatchScalar) {
    using namespace tovrel;
    if (!avx2()) GTEST_SKIP() << "no AVX2";
    const auto isas = members<rect_isa>({{"c", rect_isa::c}, {"avx2", rect_isa::avx2}});
    for_cases(1200, [&](std::mt19937 &rng, int iter) {
        const int32_t index = iter % 6; // pair_plain .. pair_to_alpha_premul_tile
        const int32_t x_step = iter % 5 == 0   ? 2731
                               : iter % 5 == 1 ? 4095
                                               : 2341 + int32_t(rng() % 1755);
        const int32_t run = 1 + int32_t(rng() % x_step), rows = 1 + iter % 3;
        const int32_t first_width = rng() % 2 ? 4096 : 1 + int32_t(rng() % 4096);
        const int32_t width = first_width + 4096 * int32_t(rng() % 300) + int32_t(rng() % 4096);
        const int32_t w0 = rows == 1 ? 2048 : iter % 7 == 0 ? 1 : 1 + int32_t(rng() % 1023);
        const int32_t wm = rows == 3 ? 2048 - w0 - int32_t(rng() % (2048 - w0)) : 0;
        const int32_t last = rows == 1 ? 0 : 2048 - w0 - wm;
        const int32_t dst_odd = int32_t(rng() % 2), src_odd = int32_t(rng() % 2);
        const int32_t pixels = src_odd + 2 + (width - run + x_step - 1) / x_step,
                      pitch = pixels * 2 + 2;
        const bool bright = iter % 4 == 0;
        std::vector<uint8_t> src(size_t(rows * pitch)), dst(size_t(width / 2048 + 80));
        std::vector<uint16_t> dst_alpha(dst.size() / 2);
        for (auto &b : src) b = bright ? 255 : uint8_t(rng());
        for (auto &b : dst) b = uint8_t(rng());
        for (auto &a : dst_alpha) a = uint16_t(rng() % 4097);
        members<rect_kernel> kernels;
        for (const auto &isa : isas) {
            rect_kernel_set set{};
            const rect_choice choice{isa.fn, x_step, 1365, run, first_width, width, 0, 0};
            ASSERT_TRUE(
                rect_pair_kernels(TOVREL_FORMAT_YUY2, TOVREL_FORMAT_YUY2, index, choice, &set));
            kernels.push_back({isa.name, set.slots[size_t(rect_slot(2048, rows == 3, last))]});
        }
        same(
            kernels,
            [&](const auto &k) {
                auto d = dst;
                auto da = dst_alpha;
                k.fn(d.data() + 32 + 2 * dst_odd, da.data() + 8, first_width, 2048, width,
                     src.data() + 2 * src_odd, pitch, nullptr, 0, x_step, wm, run, w0, rows == 3,
                     last);
                return std::tuple(d, da);
            },
            text("index", index, "step", x_step, "rows", rows));
    });
}

// The kernels for a fixed step against the general walk of the same set:
// the aligned 1:1 copy of the YUY2 and W210 one-row kernels (against the
// any-row kernel), and the 1:1 tiled yuvq kernels (against the set chosen
// for another step), on random 1:1 lines in every pair phase.
TEST(RectPairKernels, FixedStepKernelsMatchTheWalk) {
    using namespace tovrel;
    for_cases(3000, [&](std::mt19937 &rng, int iter) {
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
        const auto kernels =
            members<rect_kernel>({{"walk", general.slots[size_t(yuvq ? role : rect_role_rows)]},
                                  {"fixed step", fixed.slots[size_t(role)]}});
        // A line of up to 40 pixels in whole and fractional units.
        const int32_t first_width = rng() % 3 ? 4096 : 1 + int32_t(rng() % 4096);
        const int32_t width = first_width + (rng() % 4 ? 4096 * int32_t(rng() % 40) : 0) +
                              (rng() % 2 ? int32_t(rng() % 4096) : 0);
        const int32_t run = yuvq && rng() % 2 ? 1 + int32_t(rng() % 4096) : 4096;
        const int32_t w0 = role == rect_role_row1 ? 2048 : 1 + int32_t(rng() % 2047);
        const int32_t dst_odd = int32_t(rng() % 2), src_odd = int32_t(rng() % 2);
        const int32_t spb = yuvq || w210 ? 4 : 2, dpb = w210 ? 4 : 2, pixels = 48;
        std::vector<uint8_t> src(size_t(2 * pixels * spb)), dst(size_t(pixels * dpb) + 64);
        std::vector<uint16_t> src_alpha(size_t(2 * pixels)), dst_alpha(size_t(pixels) + 16);
        for (auto &b : src) b = uint8_t(rng());
        for (size_t i = 1; w210 && !yuvq && i < src.size(); i += 2) src[i] &= 3;
        for (auto &b : dst) b = uint8_t(rng());
        for (size_t i = 1; w210 && i < dst.size(); i += 2) dst[i] &= 3;
        for (auto &a : src_alpha) a = uint16_t(rng() % 4097);
        for (auto &a : dst_alpha) a = uint16_t(rng() % 4097);
        same(
            kernels,
            [&](const auto &k) {
                auto d = dst;
                auto da = dst_alpha;
                k.fn(d.data() + 32 + dst_odd * dpb, da.data() + 8, first_width, 2048, width,
                     src.data() + (yuvq ? 0 : src_odd * spb), pixels * spb, src_alpha.data(),
                     pixels * 2, 4096, 2048, run, w0, 0, 2048 - w0);
                return std::tuple(d, da);
            },
            text("kind", kind, "role", role));
    });
}

} // namespace

#endif
