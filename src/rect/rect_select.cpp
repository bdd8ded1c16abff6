// The selection table of map_rectangle and the kernel sets of each operation.
#include "rect/rect_select.h"

#include <array>

#include "diag/isa.h"
#include "rect/rect_exact_ratio.h"
#include "rect/rect_pair.h"
#include "rect/rect_rgbq.h"

namespace tovrel {
namespace {

enum class alpha_match : uint8_t { none, w12b, other, not_none, any };
enum class format_match : uint8_t { any, yuy2, w210, other };
enum class tile_match : uint8_t { off, on, any };
enum class mode_from : uint8_t { none, src, dst }; // whose alpha_mode == 1 decides

struct rect_rule {
    uint8_t src_format; // TOVREL_FORMAT_*; 0 matches any format not named above it
    alpha_match src_alpha;
    format_match dst_format; // read for yuvq sources only
    alpha_match dst_alpha;
    tile_match tile;
    mode_from mode;
    rect_op when_mode1;
    rect_op otherwise;
    const char *message; // refusal; no operation and no message: silent return
};

constexpr uint8_t RGBQ = TOVREL_FORMAT_RGBQ;
constexpr uint8_t YUY2 = TOVREL_FORMAT_YUY2;
constexpr uint8_t W210 = TOVREL_FORMAT_W210;
constexpr uint8_t YUVQ = TOVREL_FORMAT_YUVQ;
constexpr uint8_t ANY_FORMAT = 0;

using A = alpha_match;
using F = format_match;
using T = tile_match;
using M = mode_from;
using O = rect_op;

constexpr rect_rule refuse(uint8_t fmt, A sa, F df, A da, T t, const char *msg) {
    return {fmt, sa, df, da, t, M::none, O::none, O::none, msg};
}
constexpr rect_rule pick(uint8_t fmt, A sa, F df, A da, T t, M m, O mode1, O other) {
    return {fmt, sa, df, da, t, m, mode1, other, nullptr};
}
constexpr rect_rule one(uint8_t fmt, A sa, F df, A da, T t, O op) {
    return {fmt, sa, df, da, t, M::none, op, op, nullptr};
}

// First matching row wins; columns are checked left to right.
constexpr rect_rule rules[] = {
    one(RGBQ, A::none, F::any, A::none, T::off, O::rgbq_copy),
    one(RGBQ, A::none, F::any, A::none, T::on, O::rgbq_tile),
    pick(RGBQ, A::none, F::any, A::w12b, T::off, M::dst, O::rgbq_to_alpha_straight,
         O::rgbq_to_alpha_premul),
    pick(RGBQ, A::none, F::any, A::w12b, T::on, M::dst, O::rgbq_to_alpha_straight_tile,
         O::rgbq_to_alpha_premul_tile),
    refuse(RGBQ, A::none, F::any, A::other, T::any,
           "rect:rgbq to rgbq+alpha operation not supported\n"),
    pick(RGBQ, A::w12b, F::any, A::none, T::off, M::src, O::rgbqa_over_straight,
         O::rgbqa_over_premul),
    refuse(RGBQ, A::w12b, F::any, A::none, T::on,
           "rect:rgbq+alpha to rgbq with tiling operation not supported\n"),
    pick(RGBQ, A::w12b, F::any, A::w12b, T::off, M::dst, O::rgbqa_to_alpha_straight,
         O::rgbqa_to_alpha_premul),
    pick(RGBQ, A::w12b, F::any, A::w12b, T::on, M::dst, O::rgbqa_to_alpha_straight_tile,
         O::rgbqa_to_alpha_premul_tile),
    refuse(RGBQ, A::w12b, F::any, A::other, T::any,
           "rect:rgbq+alpha to rgbq+alpha operation not supported\n"),
    refuse(RGBQ, A::other, F::any, A::any, T::any,
           "rect:rgbq with alpha operation not supported\n"),

    one(YUY2, A::none, F::any, A::none, T::off, O::yuy2),
    one(YUY2, A::none, F::any, A::none, T::on, O::yuy2_tile),
    pick(YUY2, A::none, F::any, A::w12b, T::off, M::dst, O::yuy2_to_alpha_straight,
         O::yuy2_to_alpha_premul),
    pick(YUY2, A::none, F::any, A::w12b, T::on, M::dst, O::yuy2_to_alpha_straight_tile,
         O::yuy2_to_alpha_premul_tile),
    refuse(YUY2, A::none, F::any, A::other, T::any,
           "rect:yuy2 to yuy2+unknown alpha operation not supported\n"),
    pick(YUY2, A::w12b, F::any, A::none, T::off, M::src, O::yuy2a_over_straight,
         O::yuy2a_over_premul),
    refuse(YUY2, A::w12b, F::any, A::none, T::on,
           "this is meaningless operation texture+alpha->texture with tiling\n"),
    pick(YUY2, A::w12b, F::any, A::w12b, T::off, M::src, O::yuy2a_to_alpha_straight,
         O::yuy2a_to_alpha_premul),
    pick(YUY2, A::w12b, F::any, A::w12b, T::on, M::src, O::yuy2a_to_alpha_straight_tile,
         O::yuy2a_to_alpha_premul_tile),
    refuse(YUY2, A::w12b, F::any, A::other, T::any,
           "rect:yuy2+alpha to yuy2+alpha operation not supported\n"),
    refuse(YUY2, A::other, F::any, A::any, T::any,
           "rect:yuy2 with unknown alpha operation not supported\n"),

    one(W210, A::none, F::any, A::none, T::off, O::w210),
    one(W210, A::none, F::any, A::none, T::on, O::w210_tile),
    pick(W210, A::none, F::any, A::w12b, T::off, M::dst, O::w210_to_alpha_straight,
         O::w210_to_alpha_premul),
    pick(W210, A::none, F::any, A::w12b, T::on, M::dst, O::w210_to_alpha_straight_tile,
         O::w210_to_alpha_premul_tile),
    refuse(W210, A::none, F::any, A::other, T::any,
           "rect:w210 to w210+unknown alpha operation not supported\n"),
    pick(W210, A::w12b, F::any, A::none, T::off, M::src, O::w210a_over_straight,
         O::w210a_over_premul),
    refuse(W210, A::w12b, F::any, A::none, T::on,
           "this is meaningless operation texture+alpha->texture with tiling(W210)\n"),
    pick(W210, A::w12b, F::any, A::w12b, T::off, M::src, O::w210a_to_alpha_straight,
         O::w210a_to_alpha_premul),
    pick(W210, A::w12b, F::any, A::w12b, T::on, M::src, O::w210a_to_alpha_straight_tile,
         O::w210a_to_alpha_premul_tile),
    refuse(W210, A::w12b, F::any, A::other, T::any,
           "rect:w210+alpha to w210+alpha operation not supported\n"),
    refuse(W210, A::other, F::any, A::any, T::any,
           "rect:w210 with unknown alpha operation not supported\n"),

    refuse(YUVQ, A::none, F::any, A::any, T::any,
           "rect:yuvq with no alpha operation is not supported\n"),
    refuse(YUVQ, A::w12b, F::yuy2, A::none, T::any,
           "rect:yuvq+alpha to yuy2 operation is not supported\n"),
    pick(YUVQ, A::w12b, F::yuy2, A::not_none, T::off, M::src, O::yuvqa_to_yuy2_straight,
         O::yuvqa_to_yuy2_premul),
    pick(YUVQ, A::w12b, F::yuy2, A::not_none, T::on, M::src, O::yuvqa_to_yuy2_straight_tile,
         O::yuvqa_to_yuy2_premul_tile),
    refuse(YUVQ, A::w12b, F::w210, A::none, T::any,
           "rect:yuvq+alpha to w210 operation is not supported\n"),
    pick(YUVQ, A::w12b, F::w210, A::not_none, T::off, M::src, O::yuvqa_to_w210_straight,
         O::yuvqa_to_w210_premul),
    pick(YUVQ, A::w12b, F::w210, A::not_none, T::on, M::src, O::yuvqa_to_w210_straight_tile,
         O::yuvqa_to_w210_premul_tile),
    refuse(YUVQ, A::w12b, F::other, A::any, T::any,
           "rect:yuvq to NOT yuy2 operation is not supported\n"),
    {YUVQ, A::other, F::any, A::any, T::any, M::none, O::none, O::none, nullptr}, // silent

    refuse(ANY_FORMAT, A::any, F::any, A::any, T::any, "rect:unknown not supported\n"),
};

constexpr bool alpha_matches(A m, uint32_t kind) {
    switch (m) {
    case A::none:
        return kind == TOVREL_ALPHA_NONE;
    case A::w12b:
        return kind == TOVREL_ALPHA_W12B;
    case A::other:
        return kind != TOVREL_ALPHA_NONE && kind != TOVREL_ALPHA_W12B;
    case A::not_none:
        return kind != TOVREL_ALPHA_NONE;
    case A::any:
        return true;
    }
    return false;
}

constexpr bool format_matches(F m, uint8_t format) {
    switch (m) {
    case F::any:
        return true;
    case F::yuy2:
        return format == YUY2;
    case F::w210:
        return format == W210;
    case F::other:
        return format != YUY2 && format != W210;
    }
    return false;
}

constexpr bool tile_matches(T m, bool tile) {
    return m == T::any || (m == T::on) == tile;
}

constexpr bool row_matches(const rect_rule &r, uint8_t sf, uint32_t sa, uint8_t df, uint32_t da,
                           bool tile) {
    return (r.src_format == ANY_FORMAT || r.src_format == sf) && alpha_matches(r.src_alpha, sa) &&
           format_matches(r.dst_format, df) && alpha_matches(r.dst_alpha, da) &&
           tile_matches(r.tile, tile);
}

constexpr const rect_rule *find_rule(uint8_t sf, uint32_t sa, uint8_t df, uint32_t da, bool tile) {
    for (const auto &r : rules)
        if (row_matches(r, sf, sa, df, da, tile)) return &r;
    return nullptr;
}

// Every combination meets a row, so no call falls through the table.
constexpr bool table_total() {
    constexpr uint8_t formats[] = {0, 1, 2, 3, 4, 5, 6, 7, 10, 11, 12, 255};
    constexpr uint32_t kinds[] = {0, 1, 3, 4};
    for (uint8_t sf : formats)
        for (uint32_t sa : kinds)
            for (uint8_t df : formats)
                for (uint32_t da : kinds)
                    for (bool tile : {false, true})
                        if (find_rule(sf, sa, df, da, tile) == nullptr) return false;
    return true;
}
static_assert(table_total(), "the selection table covers every combination");

// ---------------------------------------------------------------------------
// Kernel sets per operation.

struct op_entry {
    rect_op op;
    const char *name;
    // Fills the set for the choice; nullptr: the kernels are not in this build.
    void (*choose)(const rect_choice &, rect_kernel_set *);
    const char *missing; // message when choose is nullptr
};

template <int32_t Index>
void choose_rgbq(const rect_choice &c, rect_kernel_set *out) {
#if defined(__SSE2__)
    const rgbq_kernel_table &table = c.isa == rect_isa::avx2   ? rect_rgbq_kernels_avx2
                                     : c.isa == rect_isa::sse2 ? rect_rgbq_kernels_sse2
                                                               : rect_rgbq_kernels_c;
#else
    (void)c;
    const rgbq_kernel_table &table = rect_rgbq_kernels_c;
#endif
    *out = rect_uniform_set(table[Index], rect_rgbq_reads_src_alpha(Index),
                            rect_rgbq_writes_dst_alpha(Index));
}

// YUY2 and W210 into their own format with alpha, and yuvq into the
// destination's.
template <uint8_t Src, uint8_t Dst, int32_t Index>
void choose_pair(const rect_choice &c, rect_kernel_set *out) {
    rect_pair_kernels(Src, Dst, Index, c, out);
}

// YUY2 and W210 without any alpha, plain (rect_*_row1/_row2/_rows) and
// tiled (rect_*_tile): the general kernels. The exact-ratio kernels, when
// the choice allows them, replace the whole-line one- and two-row slots
// (rect_role_row1, rect_role_row2) of these two sets only.
template <uint8_t Format, int32_t Index>
void choose_plain(const rect_choice &c, rect_kernel_set *out) {
    static_assert(Index == pair_plain || Index == pair_tile, "without alpha only");
    rect_pair_kernels(Format, Format, Index, c, out);
    rect_exact_ratio_kernels(Format, c, &out->slots[rect_role_row1], &out->slots[rect_role_row2]);
}

constexpr op_entry op_entries[] = {
    {O::none, "none", nullptr, nullptr},
    {O::rgbq_copy, "rect_rgbq_copy", choose_rgbq<rgbq_copy>, nullptr},
    {O::rgbq_tile, "rect_rgbq_tile", choose_rgbq<rgbq_tile>, nullptr},
    {O::rgbq_to_alpha_straight, "rect_rgbq_to_alpha_straight", choose_rgbq<rgbq_to_alpha_straight>,
     nullptr},
    {O::rgbq_to_alpha_premul, "rect_rgbq_to_alpha_premul", choose_rgbq<rgbq_to_alpha_premul>,
     nullptr},
    {O::rgbq_to_alpha_straight_tile, "rect_rgbq_to_alpha_straight_tile",
     choose_rgbq<rgbq_to_alpha_straight_tile>, nullptr},
    {O::rgbq_to_alpha_premul_tile, "rect_rgbq_to_alpha_premul_tile",
     choose_rgbq<rgbq_to_alpha_premul_tile>, nullptr},
    {O::rgbqa_over_straight, "rect_rgbqa_over_straight", choose_rgbq<rgbqa_over_straight>, nullptr},
    {O::rgbqa_over_premul, "rect_rgbqa_over_premul", choose_rgbq<rgbqa_over_premul>, nullptr},
    {O::rgbqa_to_alpha_straight, "rect_rgbqa_to_alpha_straight",
     choose_rgbq<rgbqa_to_alpha_straight>, nullptr},
    {O::rgbqa_to_alpha_premul, "rect_rgbqa_to_alpha_premul", choose_rgbq<rgbqa_to_alpha_premul>,
     nullptr},
    {O::rgbqa_to_alpha_straight_tile, "rect_rgbqa_to_alpha_straight_tile",
     choose_rgbq<rgbqa_to_alpha_straight_tile>, nullptr},
    {O::rgbqa_to_alpha_premul_tile, "rect_rgbqa_to_alpha_premul_tile",
     choose_rgbq<rgbqa_to_alpha_premul_tile>, nullptr},
    {O::yuy2, "rect_yuy2_row1/row2/rows", choose_plain<YUY2, pair_plain>, nullptr},
    {O::yuy2_tile, "rect_yuy2_tile", choose_plain<YUY2, pair_tile>, nullptr},
    {O::yuy2_to_alpha_straight, "rect_yuy2_to_alpha_straight",
     choose_pair<YUY2, YUY2, pair_to_alpha_straight>, nullptr},
    {O::yuy2_to_alpha_premul, "rect_yuy2_to_alpha_premul",
     choose_pair<YUY2, YUY2, pair_to_alpha_premul>, nullptr},
    {O::yuy2_to_alpha_straight_tile, "rect_yuy2_to_alpha_straight_tile",
     choose_pair<YUY2, YUY2, pair_to_alpha_straight_tile>, nullptr},
    {O::yuy2_to_alpha_premul_tile, "rect_yuy2_to_alpha_premul_tile",
     choose_pair<YUY2, YUY2, pair_to_alpha_premul_tile>, nullptr},
    {O::yuy2a_over_straight, "rect_yuy2a_over_straight",
     choose_pair<YUY2, YUY2, paira_over_straight>, nullptr},
    {O::yuy2a_over_premul, "rect_yuy2a_over_premul", choose_pair<YUY2, YUY2, paira_over_premul>,
     nullptr},
    {O::yuy2a_to_alpha_straight, "rect_yuy2a_to_alpha_straight",
     choose_pair<YUY2, YUY2, paira_to_alpha_straight>, nullptr},
    {O::yuy2a_to_alpha_premul, "rect_yuy2a_to_alpha_premul",
     choose_pair<YUY2, YUY2, paira_to_alpha_premul>, nullptr},
    {O::yuy2a_to_alpha_straight_tile, "rect_yuy2a_to_alpha_straight_tile",
     choose_pair<YUY2, YUY2, paira_to_alpha_straight_tile>, nullptr},
    {O::yuy2a_to_alpha_premul_tile, "rect_yuy2a_to_alpha_premul_tile",
     choose_pair<YUY2, YUY2, paira_to_alpha_premul_tile>, nullptr},
    {O::w210, "rect_w210_row1/row2/rows", choose_plain<W210, pair_plain>, nullptr},
    {O::w210_tile, "rect_w210_tile", choose_plain<W210, pair_tile>, nullptr},
    {O::w210_to_alpha_straight, "rect_w210_to_alpha_straight",
     choose_pair<W210, W210, pair_to_alpha_straight>, nullptr},
    {O::w210_to_alpha_premul, "rect_w210_to_alpha_premul",
     choose_pair<W210, W210, pair_to_alpha_premul>, nullptr},
    {O::w210_to_alpha_straight_tile, "rect_w210_to_alpha_straight_tile",
     choose_pair<W210, W210, pair_to_alpha_straight_tile>, nullptr},
    {O::w210_to_alpha_premul_tile, "rect_w210_to_alpha_premul_tile",
     choose_pair<W210, W210, pair_to_alpha_premul_tile>, nullptr},
    {O::w210a_over_straight, "rect_w210a_over_straight",
     choose_pair<W210, W210, paira_over_straight>, nullptr},
    {O::w210a_over_premul, "rect_w210a_over_premul", choose_pair<W210, W210, paira_over_premul>,
     nullptr},
    {O::w210a_to_alpha_straight, "rect_w210a_to_alpha_straight",
     choose_pair<W210, W210, paira_to_alpha_straight>, nullptr},
    {O::w210a_to_alpha_premul, "rect_w210a_to_alpha_premul",
     choose_pair<W210, W210, paira_to_alpha_premul>, nullptr},
    {O::w210a_to_alpha_straight_tile, "rect_w210a_to_alpha_straight_tile",
     choose_pair<W210, W210, paira_to_alpha_straight_tile>, nullptr},
    {O::w210a_to_alpha_premul_tile, "rect_w210a_to_alpha_premul_tile",
     choose_pair<W210, W210, paira_to_alpha_premul_tile>, nullptr},
    {O::yuvqa_to_yuy2_straight, "rect_yuvqa_to_yuy2_straight",
     choose_pair<YUVQ, YUY2, paira_to_alpha_straight>, nullptr},
    {O::yuvqa_to_yuy2_premul, "rect_yuvqa_to_yuy2_premul",
     choose_pair<YUVQ, YUY2, paira_to_alpha_premul>, nullptr},
    {O::yuvqa_to_yuy2_straight_tile, "rect_yuvqa_to_yuy2_straight_tile",
     choose_pair<YUVQ, YUY2, paira_to_alpha_straight_tile>, nullptr},
    {O::yuvqa_to_yuy2_premul_tile, "rect_yuvqa_to_yuy2_premul_tile",
     choose_pair<YUVQ, YUY2, paira_to_alpha_premul_tile>, nullptr},
    {O::yuvqa_to_w210_straight, "rect_yuvqa_to_w210_straight",
     choose_pair<YUVQ, W210, paira_to_alpha_straight>, nullptr},
    {O::yuvqa_to_w210_premul, "rect_yuvqa_to_w210_premul",
     choose_pair<YUVQ, W210, paira_to_alpha_premul>, nullptr},
    {O::yuvqa_to_w210_straight_tile, "rect_yuvqa_to_w210_straight_tile",
     choose_pair<YUVQ, W210, paira_to_alpha_straight_tile>, nullptr},
    {O::yuvqa_to_w210_premul_tile, "rect_yuvqa_to_w210_premul_tile",
     choose_pair<YUVQ, W210, paira_to_alpha_premul_tile>, nullptr},
};

// (Whether an entry has kernels is not checked here: routine addresses are
// not constants to every build, e.g. with sanitizers.)
constexpr bool entries_complete() {
    if (std::size(op_entries) != size_t(rect_op::count)) return false;
    for (size_t i = 0; i < std::size(op_entries); ++i)
        if (size_t(op_entries[i].op) != i || op_entries[i].name == nullptr) return false;
    return true;
}
static_assert(entries_complete(), "one entry per operation, in order");

} // namespace

rect_selection rect_select(const image_descriptor &dst, const image_descriptor &src,
                           uint32_t flags) {
    const rect_rule *r =
        find_rule(src.format, src.alpha_kind, dst.format, dst.alpha_kind, (flags & RECT_TILE) != 0);
    if (r->message != nullptr) return {rect_op::none, r->message};
    bool mode1 = false;
    if (r->mode == M::src) mode1 = src.alpha_mode == TOVREL_ALPHA_STRAIGHT;
    if (r->mode == M::dst) mode1 = dst.alpha_mode == TOVREL_ALPHA_STRAIGHT;
    return {mode1 ? r->when_mode1 : r->otherwise, nullptr};
}

bool rect_isa_supported(rect_isa isa) {
    switch (isa) {
    case rect_isa::c:
        return true;
#if defined(__SSE2__)
    case rect_isa::sse2:
        return true;
    case rect_isa::avx2:
        __builtin_cpu_init();
        return __builtin_cpu_supports("avx2");
#else
    default:
        return false;
#endif
    }
    return false;
}

rect_isa rect_best_isa() {
    return for_best_isa(rect_isa::avx2, rect_isa::sse2, rect_isa::c);
}

const char *rect_op_name(rect_op op) {
    return size_t(op) < std::size(op_entries) ? op_entries[size_t(op)].name : "";
}

bool rect_op_kernels(rect_op op, const rect_choice &choice, rect_kernel_set *out,
                     const char **message) {
    *message = nullptr;
    if (op == rect_op::none || size_t(op) >= std::size(op_entries)) return false;
    const op_entry &e = op_entries[size_t(op)];
    if (e.choose == nullptr) {
        *message =
            e.missing != nullptr ? e.missing : "map_rectangle: operation not in this build\n";
        return false;
    }
    e.choose(choice, out);
    return true;
}

int32_t rect_bytes_per_pixel(uint8_t format) {
    switch (format) {
    case TOVREL_FORMAT_RGBQ:
        return 4;
    case TOVREL_FORMAT_YUY2:
        return 2;
    case TOVREL_FORMAT_W210:
        return 4;
    case TOVREL_FORMAT_YUVQ:
        return 4;
    default:
        return 0;
    }
}

} // namespace tovrel
