// The layout shared by the SIMD forms of the exact-ratio kernels. A step
// covers a few whole groups; each destination pair of it (four output
// samples Y, U, Y, V) is four multiply-adds of two source samples A and B
// with weights wA and 8192 - wA in 16-bit lanes. Luma weights are doubled
// to the chroma scale ((2s + 4096) >> 13 equals (s + 2048) >> 12), so every
// lane rounds and shifts alike.
//
// The multiply-adds are signed: W210 words enter them less 2^15 and the
// sums get the difference back, so every 16-bit word gives the scalar
// kernels' bytes.
#pragma once

#include <cstdint>
#include <utility>

#include "rect/rect_exact_ratio_walk.h"

namespace tovrel::rect {

// A step's layout for one ratio, sample size and row role: `groups` groups
// at a time (the fewest whose input fills a window, whose output is whole
// steps of four pairs and, for two rows, whose input is whole blocks of 16
// samples), and per destination pair of those groups the window start (in
// samples) and the shuffle that picks its (A, B) lanes.
template <exact_ratio R, int32_t Bytes, bool TwoRow>
struct step_layout {
    static constexpr exact_ratio_group g = ratio_traits<R>::group;
    static constexpr int32_t window = 16 / Bytes; // samples
    static constexpr int32_t groups = [] {
        int32_t u = 1;
        while ((u * g.dst) % 8 != 0 || u * 2 * g.src < window || (TwoRow && u * g.src % 8 != 0))
            ++u;
        return u;
    }();
    static constexpr int32_t in = 2 * g.src * groups;    // samples read per step
    static constexpr int32_t pairs = g.dst / 2 * groups; // destination pairs written
    struct table {
        int32_t start[pairs];
        alignas(16) uint8_t shuffle[pairs][16];
        alignas(16) int16_t weight[pairs][8];
    };
    static constexpr table make() {
        constexpr auto &w = ratio_traits<R>::w;
        table t{};
        for (int32_t p = 0; p < pairs; ++p) {
            const int32_t group = p / (g.dst / 2), m = p % (g.dst / 2), base = group * 2 * g.src;
            // Output samples Y'(2m), U'(m), Y'(2m + 1), V'(m): input sample A
            // with weight wA (of 8192), B the next pixel's or pair's sample.
            int32_t a[4], b[4], wa[4];
            for (int32_t k = 0; k < 4; ++k) {
                const bool luma = k % 2 == 0;
                const int32_t j = 2 * m + k / 2;
                a[k] = base + (luma ? 2 * w.luma_src[j] : 4 * w.chroma_src[m] + k);
                wa[k] = luma ? 2 * w.luma_w[j] : w.chroma_w[m];
                b[k] = wa[k] == pair_unit ? a[k] : a[k] + (luma ? 2 : 4);
            }
            const int32_t first = base + 4 * w.chroma_src[m];
            t.start[p] = first + window <= in ? first : in - window;
            for (int32_t k = 0; k < 4; ++k) {
                for (int32_t half = 0; half < 2; ++half) {
                    const int32_t at = (half == 0 ? a[k] : b[k]) - t.start[p];
                    for (int32_t byte = 0; byte < 2; ++byte)
                        t.shuffle[p][4 * k + 2 * half + byte] =
                            byte < Bytes ? uint8_t(Bytes * at + byte) : uint8_t{0x80};
                }
                t.weight[p][2 * k] = int16_t(wa[k]);
                t.weight[p][2 * k + 1] = int16_t(pair_unit - wa[k]);
            }
        }
        return t;
    }
    static constexpr table t = make();

    // Every lane inside its window.
    static constexpr bool windows_hold() {
        for (int32_t p = 0; p < pairs; ++p) {
            if (t.start[p] < 0 || t.start[p] + window > in) return false;
            for (int32_t i = 0; i < 16; ++i)
                if (t.shuffle[p][i] != 0x80 && t.shuffle[p][i] >= 16) return false;
        }
        return true;
    }
    static_assert(windows_hold(), "a destination pair's samples lie in one window");
    static_assert(pairs % 4 == 0, "steps of four destination pairs");
    static_assert(!TwoRow || in % 16 == 0, "two rows blend in blocks of 16 samples");
};

// A kernel table of every ratio and row role from Pick::kernel<R, TwoRow>().
template <class Pick, size_t... I>
constexpr exact_ratio_table ratio_table(std::index_sequence<I...>) {
    return {{exact_ratio_kernels{Pick::template kernel<exact_ratio(I), false>(),
                                 Pick::template kernel<exact_ratio(I), true>()}...}};
}
template <class Pick>
constexpr exact_ratio_table ratio_table() {
    return ratio_table<Pick>(std::make_index_sequence<exact_ratio_count>{});
}

} // namespace tovrel::rect
