// The exact-ratio groups and the scalar kernels: one description per ratio
// of its repeating group of source and destination pixels, the area weights
// derived from it at compile time, and the kernel template that is the
// readable statement of their arithmetic (the SIMD forms must give the same
// bytes, and run it on the groups they leave).
//
// Within a group, source pixel i spans [B(i), B(i + 1)) in destination units
// (1/4096 pixel); a destination pixel takes each source pixel it overlaps
// with the overlap as weight (of 4096), and a destination pair takes the
// chroma of each source pair with the pair's overlap (of 8192). Every
// source pixel is at least a destination pixel wide (the ratios are
// enlargements), so a destination pixel meets at most two source pixels and
// a destination pair at most two source pairs.
#pragma once

#include <cstdint>
#include <cstring>
#include <numeric>
#include <utility>

#include "rect/rect_exact_ratio.h"

namespace tovrel::rect {

constexpr int32_t unit = 4096;      // destination pixel
constexpr int32_t pair_unit = 8192; // destination pair

struct ratio_desc {
    exact_ratio_group group;
    // 0: the boundaries are the exact ratio's, rounded to the nearest unit.
    // Otherwise each smallest repeating subgroup places its boundaries at
    // multiples of this step: the tabled 4/3 weights, whose thirds round
    // alternately (1366/2730, then 1364/2732) to 5462 and 10924 instead of
    // the nearest 5461 and 10923.
    int32_t tabled_step;
};

constexpr ratio_desc ratio_descs[exact_ratio_count] = {
    {{7282, 18, 32}, 0},  // 16/9
    {{8192, 2, 4}, 0},    // 2
    {{10923, 6, 16}, 0},  // 8/3
    {{4608, 16, 18}, 0},  // 9/8
    {{6144, 4, 6}, 0},    // 3/2
    {{5462, 6, 8}, 5462}, // 4/3
};

// Start of source pixel i of a group (0 <= i <= src), in destination units.
constexpr int32_t boundary(const ratio_desc &r, int32_t i) {
    const int64_t s = r.group.src, d = r.group.dst;
    if (r.tabled_step == 0) return int32_t((2 * i * unit * d + s) / (2 * s));
    const int64_t g = std::gcd(s, d);
    return int32_t(i / (s / g) * (d / g) * unit + i % (s / g) * r.tabled_step);
}

// Per destination pixel, the first source pixel it meets and that pixel's
// weight (the next source pixel has the rest of 4096); per destination pair
// the same for source pairs, of 8192.
template <int32_t Dst>
struct group_weights {
    int32_t luma_src[Dst];
    int32_t luma_w[Dst];
    int32_t chroma_src[Dst / 2];
    int32_t chroma_w[Dst / 2];
};

// The overlap of [lo, lo + width) with the source span starting at the
// last boundary at or before lo: {index, overlap}.
template <class Bound>
constexpr std::pair<int32_t, int32_t> first_overlap(Bound b, int32_t count, int32_t lo,
                                                    int32_t width) {
    int32_t i = 0;
    while (i + 1 < count && b(i + 1) <= lo) ++i;
    const int32_t end = b(i + 1) < lo + width ? b(i + 1) : lo + width;
    return {i, end - lo};
}

template <exact_ratio R>
constexpr auto derive_weights() {
    constexpr ratio_desc r = ratio_descs[R];
    group_weights<r.group.dst> w{};
    const auto pixel = [&](int32_t i) { return boundary(r, i); };
    const auto pair = [&](int32_t k) { return boundary(r, 2 * k); };
    for (int32_t j = 0; j < r.group.dst; ++j) {
        const auto [i, o] = first_overlap(pixel, r.group.src, j * unit, unit);
        w.luma_src[j] = i, w.luma_w[j] = o;
    }
    for (int32_t m = 0; m < r.group.dst / 2; ++m) {
        const auto [k, o] = first_overlap(pair, r.group.src / 2, m * pair_unit, pair_unit);
        w.chroma_src[m] = k, w.chroma_w[m] = o;
    }
    return w;
}

template <exact_ratio R>
struct ratio_traits {
    static constexpr exact_ratio_group group = ratio_descs[R].group;
    static constexpr auto w = derive_weights<R>();
};

// The 4/3 group keeps its tabled weights, the alternating thirds included.
constexpr bool tabled_thirds() {
    constexpr auto w = ratio_traits<x4_3>::w;
    return w.luma_src[1] == 0 && w.luma_w[1] == 1366 && w.luma_src[2] == 1 && w.luma_w[2] == 2732 &&
           w.luma_src[5] == 3 && w.luma_w[5] == 1366 && w.luma_src[6] == 4 && w.luma_w[6] == 2732 &&
           w.luma_w[0] == unit && w.luma_w[3] == unit && w.luma_w[4] == unit &&
           w.luma_w[7] == unit && w.chroma_src[1] == 0 && w.chroma_w[1] == 2732 &&
           w.chroma_src[2] == 1 && w.chroma_w[2] == 5462 && w.chroma_w[0] == pair_unit &&
           w.chroma_w[3] == pair_unit;
}
static_assert(tabled_thirds(), "the 4/3 group keeps its tabled weights");

// Every source pixel and pair spans at least one destination pixel and pair,
// and each group's step is what map_rectangle's 0.99 rounding gives for it.
constexpr bool groups_consistent() {
    for (const ratio_desc &r : ratio_descs) {
        const exact_ratio_group &g = r.group;
        if (g.src % 2 != 0 || g.dst % 2 != 0 || g.dst <= g.src) return false;
        if ((int64_t{409600} * g.dst + 99 * g.src) / (100 * g.src) != g.x_step) return false;
        for (int32_t i = 0; i < g.src; ++i)
            if (boundary(r, i + 1) - boundary(r, i) < unit) return false;
        if (boundary(r, g.src) != g.dst * unit) return false;
    }
    return true;
}
static_assert(groups_consistent(), "ratio groups are whole pairs of enlargement");

template <class T>
inline uint32_t load(const uint8_t *p, int32_t k) {
    T v;
    std::memcpy(&v, p + k * int32_t(sizeof(T)), sizeof(T));
    return v;
}
template <class T>
inline void store(uint8_t *p, int32_t k, uint32_t v) {
    const T t = T(v);
    std::memcpy(p + k * int32_t(sizeof(T)), &t, sizeof(T));
}

// Area mean of two samples `Next` apart with weights W and Total - W,
// rounded half up; Total (4096 or 8192) is a power of two. Samples are
// below 2^16, so the sum stays below 2^29.
template <uint32_t Total, int32_t At, int32_t Next, uint32_t W>
inline uint32_t area(const uint32_t *in) {
    if constexpr (W == Total)
        return in[At];
    else
        return (in[At] * W + in[At + Next] * (Total - W) + Total / 2) / Total;
}

template <int32_t... J, class F>
inline void unrolled(std::integer_sequence<int32_t, J...>, F &&f) {
    (f(std::integral_constant<int32_t, J>{}), ...);
}

// The whole groups of `width` destination units of a line. T is the sample
// (uint8_t for YUY2, uint16_t for W210); both lay a pair out as Y0 U Y1 V.
// The two-row role first blends every sample of the two lines, (upper *
// first + lower * last + 1024) >> 11 (first + last = 2048), then applies
// the one-row pattern.
template <class T, exact_ratio R, bool TwoRow>
void exact_groups(uint8_t *dst, int32_t width, const uint8_t *src, int32_t src_pitch,
                  int32_t first_row_weight, int32_t last_row_weight) {
    using traits = ratio_traits<R>;
    constexpr int32_t in_samples = 2 * traits::group.src;
    constexpr int32_t group_units = traits::group.dst * unit;
    const uint32_t first = uint32_t(first_row_weight), last = uint32_t(last_row_weight);
    for (int32_t left = width; left >= group_units; left -= group_units) {
        uint32_t in[in_samples];
        for (int32_t k = 0; k < in_samples; ++k) {
            if constexpr (TwoRow)
                in[k] = (load<T>(src, k) * first + load<T>(src + src_pitch, k) * last + 1024) >> 11;
            else
                in[k] = load<T>(src, k);
        }
        unrolled(std::make_integer_sequence<int32_t, traits::group.dst>{}, [&](auto jc) {
            constexpr int32_t j = decltype(jc)::value;
            constexpr auto &w = traits::w;
            store<T>(dst, 2 * j, area<unit, 2 * w.luma_src[j], 2, w.luma_w[j]>(in));
            if constexpr (j % 2 == 1) {
                constexpr int32_t m = j / 2, at = 4 * w.chroma_src[m];
                store<T>(dst, 4 * m + 1, area<pair_unit, at + 1, 4, w.chroma_w[m]>(in));
                store<T>(dst, 4 * m + 3, area<pair_unit, at + 3, 4, w.chroma_w[m]>(in));
            }
        });
        src += in_samples * int32_t(sizeof(T));
        dst += 2 * traits::group.dst * int32_t(sizeof(T));
    }
}

// One destination line.
template <class T, exact_ratio R, bool TwoRow>
void exact_kernel(uint8_t *dst, uint16_t *, int32_t, int32_t, int32_t width, const uint8_t *src,
                  int32_t src_pitch, const uint16_t *, int32_t, int32_t, int32_t, int32_t,
                  int32_t first_row_weight, int32_t, int32_t last_row_weight) {
    exact_groups<T, R, TwoRow>(dst, width, src, src_pitch, first_row_weight, last_row_weight);
}

} // namespace tovrel::rect
