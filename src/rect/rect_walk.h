// The horizontal area walk shared by every rectangle kernel family: the
// destination pixels of one line, each gathering the source columns its
// footprint overlaps. A family supplies the line operations (what a column
// brings, how a pixel is written); the walk decides coverage, edges and the
// whole-pixel runs once for all of them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <tuple>

#include "rect/rect_kernel.h"

namespace tovrel::rect {

inline constexpr int32_t pixel_units = 4096;      // horizontal units of one destination pixel
inline constexpr uint32_t full_weight = 1u << 23; // whole pixel on a whole line: 4096 * 2048
inline constexpr uint32_t half_weight = 1u << 22; // rounding term of a >> 23
inline constexpr uint32_t alpha_one = 4096;

// The source lines of one destination line: the first, `middle` lines of
// weight `middle_weight` (y_step), then a last one when last_weight is not 0.
// Every weight is at most 2048.
struct rect_rows {
    ptrdiff_t pitch;
    ptrdiff_t alpha_pitch;
    int32_t first_weight;
    int32_t middle;
    int32_t middle_weight;
    int32_t last_weight;
};

// Current source column (pixel and alpha word) and the destination units it
// still covers, in [1, x_step].
struct rect_cursor {
    const uint8_t *src;
    const uint16_t *alpha;
    int32_t run;
};

template <class T>
inline T *byte_offset(T *p, ptrdiff_t bytes) {
    return reinterpret_cast<T *>(reinterpret_cast<uintptr_t>(p) + static_cast<uintptr_t>(bytes));
}

enum class src_alpha_rule { none, straight, premul };
enum class dst_alpha_rule { none, straight, premul };

// The write rule of a kernel: source alpha, destination alpha, tiling.
template <src_alpha_rule Src, dst_alpha_rule Dst, bool Tile>
struct rect_policy {
    static constexpr src_alpha_rule src = Src;
    static constexpr dst_alpha_rule dst = Dst;
    static constexpr bool tile = Tile;
    // Without source alpha, the whole pixels after the first on a whole line
    // are the rounded area mean (with alpha 4096), for every write rule.
    static constexpr bool whole_runs = Src == src_alpha_rule::none;
    // The plain copy writes a whole first pixel by the same rounded mean
    // ((sum + 2^22 + old * 0) >> 23), so it joins the run: an aligned 1:1
    // line is then one straight copy.
    static constexpr bool whole_first = whole_runs && Dst == dst_alpha_rule::none && !Tile;
};

// The write rules of every kernel family, in the order of its kernel index
// (rgbq_kernel_index, pair_kernel_index): plain and tiled; into destination
// alpha, straight and premultiplied, untiled and tiled; source alpha over,
// straight and premultiplied; source into destination alpha, straight and
// premultiplied, untiled and tiled.
namespace policies {
constexpr auto sn = src_alpha_rule::none, ss = src_alpha_rule::straight,
               sp = src_alpha_rule::premul;
constexpr auto dn = dst_alpha_rule::none, ds = dst_alpha_rule::straight,
               dp = dst_alpha_rule::premul;
using all =
    std::tuple<rect_policy<sn, dn, false>, rect_policy<sn, dn, true>, rect_policy<sn, ds, false>,
               rect_policy<sn, dp, false>, rect_policy<sn, ds, true>, rect_policy<sn, dp, true>,
               rect_policy<ss, dn, false>, rect_policy<sp, dn, false>, rect_policy<ss, ds, false>,
               rect_policy<sp, dp, false>, rect_policy<ss, ds, true>, rect_policy<sp, dp, true>>;
} // namespace policies
using rect_policies = policies::all;

inline uint16_t clamp_alpha(uint64_t v) {
    return uint16_t(v < alpha_one ? v : alpha_one);
}

// Sums `cover` units (1..4096) of source into acc, a segment at a time:
// col.add(acc, s) adds s units of the current column, col.next() moves to
// the next column. col.run is the current column's run, reset to x_step.
template <class Acc, class Col>
inline void area_gather(Acc &acc, Col &col, int32_t cover, int32_t x_step) {
    while (cover > 0) {
        const int32_t seg = cover < col.run ? cover : col.run;
        col.add(acc, uint32_t(seg));
        cover -= seg;
        col.run -= seg;
        if (col.run == 0) {
            col.next();
            col.run = x_step;
        }
    }
}

// One destination line. ops.pixel(cover, K, edge) draws the next pixel of
// coverage `cover` (K = cover * line_weight, at most 2^23); `edge` marks the
// pixels that the tiling and destination-alpha rules treat as partial: the
// first pixel of every line, a fractional last pixel, and every pixel of a
// line of fractional weight. With Ops::whole_runs, ops.run(n) draws n whole
// pixels of a whole line at once. ops.finish() ends the line.
template <class Ops>
inline void area_walk(Ops &ops, int32_t first_width, int32_t line_weight, int32_t width) {
    const bool whole_line = line_weight == rect_whole_line;
    int32_t remaining = width;
    int32_t cover = first_width;
    bool first = true;
    if constexpr (Ops::whole_first) first = !(whole_line && first_width == pixel_units);
    while (remaining > 0) {
        if (!first) {
            if constexpr (Ops::whole_runs) {
                if (whole_line && remaining >= pixel_units) {
                    const int32_t n = remaining / pixel_units;
                    ops.run(n);
                    remaining -= n * pixel_units;
                    if (remaining == 0) break;
                }
            }
            cover = remaining < pixel_units ? remaining : pixel_units;
        }
        const bool edge = first || cover < pixel_units || !whole_line;
        ops.pixel(cover, uint32_t(cover) * uint32_t(line_weight), edge);
        remaining -= cover;
        first = false;
    }
    ops.finish();
}

} // namespace tovrel::rect
