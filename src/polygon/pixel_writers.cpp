// Scalar pixel writers: one loop per layout kind (single pixels, 4:2:2
// pairs, four signed components), instantiated per format and rule.
#include "polygon/pixel_writers.h"

#include <utility>

namespace tovrel {
namespace {

using namespace writer_rules;

// Single-pixel layouts. `wide` holds S * ws + D * wd of a divide rule:
// bytes give at most 255 * (8192 + 131070), 16-bit samples need 64 bits.
struct rgbq_layout {
    using sample = uint8_t;
    using wide = int32_t;
    static constexpr int samples = 4;
};
struct word_layout {
    using sample = uint16_t;
    using wide = int64_t;
    static constexpr int samples = 1;
};

// Pair layouts: Y0 C Y1 C. add_chroma accumulates a chroma sample around
// its zero with the pair's summed weight w in [0, 8192].
struct yuy2_layout {
    using sample = uint8_t;
    using wide = int32_t;
    static int32_t add_chroma(int32_t s, int32_t d, int32_t w) {
        return d + (((s - 128) * w) >> 13); // (s - 128) * w in [-2^20, 2^20]
    }
};
struct w210_layout {
    using sample = uint16_t;
    using wide = int64_t;
    static int32_t add_chroma(int32_t s, int32_t d, int32_t w) {
        // 512 * w / 8192 = w / 16, rounded apart from the first term.
        return d + ((s * w) >> 13) - (w >> 4); // s * w < 2^29
    }
};

// The merge of one sample; Shift is 12 for a pixel's own weights, 13 for a
// pair's summed weights. ad is the destination alpha (summed for a pair).
// With mix and add weights, S * ws + D * wd < 2^30 for 16-bit samples.
template <colour_op Op, int Shift, class Wide>
inline int32_t merge(int32_t s, int32_t d, const weights<int32_t> &t, int32_t ad) {
    if constexpr (Op == colour_op::mix) {
        return (s * t.ws + d * t.wd) >> Shift;
    } else if constexpr (Op == colour_op::add) {
        return d + ((s * t.ws) >> Shift);
    } else {
        if (ad == 0) return s;
        // ad != 0 keeps ws + wd > 0 for every divide rule.
        return static_cast<int32_t>((Wide(s) * t.ws + Wide(d) * t.wd) / (Wide(t.ws) + t.wd));
    }
}

struct pixel_inputs {
    int32_t c;
    int32_t as;
    int32_t ad;
};

// Inputs of pixel x; unread inputs are 4096 (coverage of a span writer) or 0.
template <class R>
inline pixel_inputs load_inputs(const span_rows *dst, const span_rows *src,
                                const uint16_t *coverage, int32_t x) {
    pixel_inputs in{4096, 0, 0};
    if constexpr (R::uses_coverage) in.c = unit_limit(coverage[x]);
    if constexpr (R::uses_src_alpha) in.as = unit_limit(src->alpha[x]);
    if constexpr (R::uses_dst_alpha) in.ad = dst->alpha[x];
    return in;
}

template <class R>
inline void store_alpha(const span_rows *dst, int32_t x, const pixel_inputs &in) {
    if constexpr (R::uses_dst_alpha)
        dst->alpha[x] = static_cast<uint16_t>(R::alpha(in.c, in.as, in.ad)); // wraps in 16 bits
}

// RGBQ and word: every sample of a pixel under the pixel's weights.
template <class L, class R>
void pixel_writer(const span_rows *dst, const span_rows *src, const uint16_t *coverage, int32_t x0,
                  int32_t x1) {
    using T = typename L::sample;
    T *d = static_cast<T *>(dst->pixels);
    const T *s = static_cast<const T *>(src->pixels);
    for (int32_t x = x0; x < x1; ++x) {
        const pixel_inputs in = load_inputs<R>(dst, src, coverage, x);
        const weights<int32_t> t = R::template terms<int32_t>(in.c, in.as, in.ad);
        if (t.live == 0) continue;
        T *dp = d + ptrdiff_t(x) * L::samples;
        const T *sp = s + ptrdiff_t(x) * L::samples;
        for (int i = 0; i < L::samples; ++i)
            dp[i] = static_cast<T>(merge<R::op, 12, typename L::wide>(sp[i], dp[i], t, in.ad));
        store_alpha<R>(dst, x, in);
    }
}

// YUY2 and W210: two pixels per step from x0 while x < x1 (an odd range
// also writes pixel x1). Lumas at 2x and 2x + 2 take their own pixel's
// weights; the chroma samples at 2x + 1 and 2x + 3 take the pair's summed
// weights, destination alpha and live terms on the 8192 scale. Alpha roles
// read this as: chroma weighted by the pair's summed effective weights
// (e0 + e1, k0 + k1, ...), which reduces to c0 + c1 without alpha.
//
// Behind a span (Span true) the line buffer holds only the samples the
// renderer wrote for [x0, x1): whole pairs inside it, a leading odd pixel's
// Y without its pair's V, and nothing of pixel x1. The rest is not read (it
// would carry an earlier span's values, and differ when the lines are split
// among calls): chroma of a pair the span did not render stays, and pixel
// x1 of an odd range counts as uncovered.
template <class L, class R, bool Span = false>
void pair_writer(const span_rows *dst, const span_rows *src, const uint16_t *coverage, int32_t x0,
                 int32_t x1) {
    using T = typename L::sample;
    using W = typename L::wide;
    T *d = static_cast<T *>(dst->pixels);
    const T *s = static_cast<const T *>(src->pixels);
    for (int32_t x = x0; x < x1; x += 2) {
        // From an odd x0 the last step can start on the row's last pixel:
        // its partner lies beyond the row and counts as uncovered, and the
        // chroma byte after it is not touched.
        const bool inside = x + 1 < dst->width;
        const pixel_inputs in0 = load_inputs<R>(dst, src, coverage, x);
        pixel_inputs in1{0, 0, 0};
        if (inside) in1 = load_inputs<R>(dst, src, coverage, x + 1);
        if (Span && x + 1 >= x1) in1.c = in1.as = 0;
        // From an odd x, the chroma samples belong to the pairs before and
        // after: each is read only where the span rendered that pair.
        const bool odd = Span && (x & 1);
        const int first_chroma = odd && x == x0 ? 3 : 1;
        const int end_chroma = !inside || (odd && x + 1 >= x1) ? 2 : 4;
        const weights<int32_t> t0 = R::template terms<int32_t>(in0.c, in0.as, in0.ad);
        const weights<int32_t> t1 = R::template terms<int32_t>(in1.c, in1.as, in1.ad);
        const weights<int32_t> tp = t0 + t1;
        T *dp = d + ptrdiff_t(x) * 2;
        const T *sp = s + ptrdiff_t(x) * 2;
        if (t0.live != 0) dp[0] = static_cast<T>(merge<R::op, 12, W>(sp[0], dp[0], t0, in0.ad));
        if (t1.live != 0) dp[2] = static_cast<T>(merge<R::op, 12, W>(sp[2], dp[2], t1, in1.ad));
        if (tp.live != 0) {
            for (int i = first_chroma; i < end_chroma; i += 2) {
                if constexpr (R::op == colour_op::add)
                    dp[i] = static_cast<T>(L::add_chroma(sp[i], dp[i], tp.ws));
                else
                    dp[i] = static_cast<T>(merge<R::op, 13, W>(sp[i], dp[i], tp, in0.ad + in1.ad));
            }
        }
        if (t0.live != 0) store_alpha<R>(dst, x, in0);
        if (t1.live != 0) store_alpha<R>(dst, x + 1, in1);
    }
}

// S16X4A / S16X4: components 0..2 by the rule; component 3 by `A3`.
enum class comp3 : uint8_t {
    same,   // like the colours
    keep,   // untouched
    opaque, // as if the source component were 4096
};

// Rules read their source alpha from component 3 of the line buffer (signed,
// not limited): with c <= 4096, e = (S3 c) >> 12 lies in [-32768, 32767],
// D * (4096 - e) + S * c stays below 1.35e9 in magnitude.
template <class R, comp3 A3>
void s16x4_writer(const span_rows *dst, const span_rows *src, const uint16_t *coverage, int32_t x0,
                  int32_t x1) {
    static_assert(R::op != colour_op::divide && !R::uses_dst_alpha);
    int16_t *d = static_cast<int16_t *>(dst->pixels);
    const int16_t *s = static_cast<const int16_t *>(src->pixels);
    for (int32_t x = x0; x < x1; ++x) {
        int16_t *dp = d + ptrdiff_t(x) * 4;
        const int16_t *sp = s + ptrdiff_t(x) * 4;
        const int32_t c = unit_limit(coverage[x]);
        const int32_t as = R::uses_src_alpha ? sp[3] : 0;
        const weights<int32_t> t = R::template terms<int32_t>(c, as, 0);
        if (t.live == 0) continue;
        for (int i = 0; i < 3; ++i)
            dp[i] = static_cast<int16_t>(merge<R::op, 12, int32_t>(sp[i], dp[i], t, 0));
        if constexpr (A3 == comp3::same)
            dp[3] = static_cast<int16_t>(merge<R::op, 12, int32_t>(sp[3], dp[3], t, 0));
        else if constexpr (A3 == comp3::opaque)
            dp[3] = static_cast<int16_t>(merge<R::op, 12, int32_t>(4096, dp[3], t, 0));
    }
}

template <class L, class R>
void pixel_span_writer(const span_rows *dst, const span_rows *src, int32_t x0, int32_t x1) {
    static_assert(!R::uses_coverage);
    pixel_writer<L, R>(dst, src, nullptr, x0, x1);
}

template <class L, class R>
void pair_span_writer(const span_rows *dst, const span_rows *src, int32_t x0, int32_t x1) {
    static_assert(!R::uses_coverage);
    pair_writer<L, R, true>(dst, src, nullptr, x0, x1);
}

using coverage_ptr = const uint16_t *;

} // namespace

// ---------------------------------------------------------------------------
// RGBQ. The writers with an SSE2 version are named _c here.

void write_rgbq_c(const span_rows *d, const span_rows *s, coverage_ptr c, int32_t x0, int32_t x1) {
    pixel_writer<rgbq_layout, rule_write>(d, s, c, x0, x1);
}
void add_rgbq_c(const span_rows *d, const span_rows *s, coverage_ptr c, int32_t x0, int32_t x1) {
    pixel_writer<rgbq_layout, rule_add>(d, s, c, x0, x1);
}
void write_rgbq_over_straight(const span_rows *d, const span_rows *s, coverage_ptr c, int32_t x0,
                              int32_t x1) {
    pixel_writer<rgbq_layout, rule_write_over_straight>(d, s, c, x0, x1);
}
void write_rgbq_over_premul_c(const span_rows *d, const span_rows *s, coverage_ptr c, int32_t x0,
                              int32_t x1) {
    pixel_writer<rgbq_layout, rule_write_over_premul>(d, s, c, x0, x1);
}
void add_rgbq_over_straight(const span_rows *d, const span_rows *s, coverage_ptr c, int32_t x0,
                            int32_t x1) {
    pixel_writer<rgbq_layout, rule_add_over_straight>(d, s, c, x0, x1);
}
void add_rgbq_over_premul_c(const span_rows *d, const span_rows *s, coverage_ptr c, int32_t x0,
                            int32_t x1) {
    pixel_writer<rgbq_layout, rule_add_over_premul>(d, s, c, x0, x1);
}
void write_rgbqa_straight_c(const span_rows *d, const span_rows *s, coverage_ptr c, int32_t x0,
                            int32_t x1) {
    pixel_writer<rgbq_layout, rule_write_a_straight>(d, s, c, x0, x1);
}
void write_rgbqa_premul_c(const span_rows *d, const span_rows *s, coverage_ptr c, int32_t x0,
                          int32_t x1) {
    pixel_writer<rgbq_layout, rule_write_a_premul>(d, s, c, x0, x1);
}
void write_rgbqa_over_straight(const span_rows *d, const span_rows *s, coverage_ptr c, int32_t x0,
                               int32_t x1) {
    pixel_writer<rgbq_layout, rule_write_a_over_straight>(d, s, c, x0, x1);
}
void write_rgbqa_over_premul_c(const span_rows *d, const span_rows *s, coverage_ptr c, int32_t x0,
                               int32_t x1) {
    pixel_writer<rgbq_layout, rule_write_a_over_premul>(d, s, c, x0, x1);
}
void add_rgbqa_over_straight(const span_rows *d, const span_rows *s, coverage_ptr c, int32_t x0,
                             int32_t x1) {
    pixel_writer<rgbq_layout, rule_add_a_over_straight>(d, s, c, x0, x1);
}
void add_rgbqa_over_premul_c(const span_rows *d, const span_rows *s, coverage_ptr c, int32_t x0,
                             int32_t x1) {
    pixel_writer<rgbq_layout, rule_add_a_over_premul>(d, s, c, x0, x1);
}
void blend_rgbqa_straight_c(const span_rows *d, const span_rows *s, int32_t x0, int32_t x1) {
    pixel_span_writer<rgbq_layout, rule_blend_a_straight>(d, s, x0, x1);
}
void blend_rgbqa_premul_c(const span_rows *d, const span_rows *s, int32_t x0, int32_t x1) {
    pixel_span_writer<rgbq_layout, rule_blend_a_premul>(d, s, x0, x1);
}
void blend_rgbqa_over_straight(const span_rows *d, const span_rows *s, int32_t x0, int32_t x1) {
    pixel_span_writer<rgbq_layout, rule_blend_a_over_straight>(d, s, x0, x1);
}
void blend_rgbqa_over_premul_c(const span_rows *d, const span_rows *s, int32_t x0, int32_t x1) {
    pixel_span_writer<rgbq_layout, rule_blend_a_over_premul>(d, s, x0, x1);
}

// ---------------------------------------------------------------------------
// YUY2 and W210

namespace {
template <pair_format F>
using pair_layout = std::conditional_t<F == pair_format::yuy2, yuy2_layout, w210_layout>;
} // namespace

template <pair_format F>
void pair_writers<F>::write(const span_rows *d, const span_rows *s, coverage_ptr c, int32_t x0,
                            int32_t x1) {
    pair_writer<pair_layout<F>, rule_write>(d, s, c, x0, x1);
}
template <pair_format F>
void pair_writers<F>::add(const span_rows *d, const span_rows *s, coverage_ptr c, int32_t x0,
                          int32_t x1) {
    pair_writer<pair_layout<F>, rule_add>(d, s, c, x0, x1);
}
template <pair_format F>
void pair_writers<F>::write_over_straight(const span_rows *d, const span_rows *s, coverage_ptr c,
                                          int32_t x0, int32_t x1) {
    pair_writer<pair_layout<F>, rule_write_over_straight>(d, s, c, x0, x1);
}
template <pair_format F>
void pair_writers<F>::write_over_premul(const span_rows *d, const span_rows *s, coverage_ptr c,
                                        int32_t x0, int32_t x1) {
    pair_writer<pair_layout<F>, rule_write_over_premul>(d, s, c, x0, x1);
}
template <pair_format F>
void pair_writers<F>::add_over_straight(const span_rows *d, const span_rows *s, coverage_ptr c,
                                        int32_t x0, int32_t x1) {
    pair_writer<pair_layout<F>, rule_add_over_straight>(d, s, c, x0, x1);
}
template <pair_format F>
void pair_writers<F>::add_over_premul(const span_rows *d, const span_rows *s, coverage_ptr c,
                                      int32_t x0, int32_t x1) {
    pair_writer<pair_layout<F>, rule_add_over_premul>(d, s, c, x0, x1);
}
template <pair_format F>
void pair_writers<F>::write_a_straight(const span_rows *d, const span_rows *s, coverage_ptr c,
                                       int32_t x0, int32_t x1) {
    pair_writer<pair_layout<F>, rule_write_a_straight>(d, s, c, x0, x1);
}
template <pair_format F>
void pair_writers<F>::write_a_premul(const span_rows *d, const span_rows *s, coverage_ptr c,
                                     int32_t x0, int32_t x1) {
    pair_writer<pair_layout<F>, rule_write_a_premul>(d, s, c, x0, x1);
}
template <pair_format F>
void pair_writers<F>::write_a_over_straight(const span_rows *d, const span_rows *s, coverage_ptr c,
                                            int32_t x0, int32_t x1) {
    pair_writer<pair_layout<F>, rule_write_a_over_straight>(d, s, c, x0, x1);
}
template <pair_format F>
void pair_writers<F>::write_a_over_premul(const span_rows *d, const span_rows *s, coverage_ptr c,
                                          int32_t x0, int32_t x1) {
    pair_writer<pair_layout<F>, rule_write_a_over_premul>(d, s, c, x0, x1);
}
template <pair_format F>
void pair_writers<F>::add_a_over_straight(const span_rows *d, const span_rows *s, coverage_ptr c,
                                          int32_t x0, int32_t x1) {
    pair_writer<pair_layout<F>, rule_add_a_over_straight>(d, s, c, x0, x1);
}
template <pair_format F>
void pair_writers<F>::add_a_over_premul(const span_rows *d, const span_rows *s, coverage_ptr c,
                                        int32_t x0, int32_t x1) {
    pair_writer<pair_layout<F>, rule_add_a_over_premul>(d, s, c, x0, x1);
}
template <pair_format F>
void pair_writers<F>::blend_a_straight(const span_rows *d, const span_rows *s, int32_t x0,
                                       int32_t x1) {
    pair_span_writer<pair_layout<F>, rule_blend_a_straight>(d, s, x0, x1);
}
template <pair_format F>
void pair_writers<F>::blend_a_premul(const span_rows *d, const span_rows *s, int32_t x0,
                                     int32_t x1) {
    pair_span_writer<pair_layout<F>, rule_blend_a_premul>(d, s, x0, x1);
}
template <pair_format F>
void pair_writers<F>::blend_a_over_straight(const span_rows *d, const span_rows *s, int32_t x0,
                                            int32_t x1) {
    pair_span_writer<pair_layout<F>, rule_blend_a_over_straight>(d, s, x0, x1);
}
template <pair_format F>
void pair_writers<F>::blend_a_over_premul(const span_rows *d, const span_rows *s, int32_t x0,
                                          int32_t x1) {
    pair_span_writer<pair_layout<F>, rule_blend_a_over_premul>(d, s, x0, x1);
}

template struct pair_writers<pair_format::yuy2>;
template struct pair_writers<pair_format::w210>;

// ---------------------------------------------------------------------------
// word, S16X4A / S16X4 and the fills

// D = ((4096 - c) D + S c) >> 12
void write_word(const span_rows *d, const span_rows *s, coverage_ptr c, int32_t x0, int32_t x1) {
    pixel_writer<word_layout, rule_write>(d, s, c, x0, x1);
}
// a_d += c; D += (S c) >> 12, both wrapping in 16 bits
void add_word_over(const span_rows *d, const span_rows *s, coverage_ptr c, int32_t x0, int32_t x1) {
    pixel_writer<word_layout, rule_add_over_premul>(d, s, c, x0, x1);
}

// Components 0..2 as write_rgbq, component 3 untouched.
void write_s16x4(const span_rows *d, const span_rows *s, coverage_ptr c, int32_t x0, int32_t x1) {
    s16x4_writer<rule_write, comp3::keep>(d, s, c, x0, x1);
}
// Components 0..2 as write_rgbq; D3 = (D3 (4096 - c) + c 4096) >> 12.
void write_s16x4_into_alpha(const span_rows *d, const span_rows *s, coverage_ptr c, int32_t x0,
                            int32_t x1) {
    s16x4_writer<rule_write, comp3::opaque>(d, s, c, x0, x1);
}
// Components 0..2 add (S c) >> 12; component 3 adds c.
void add_s16x4_opaque(const span_rows *d, const span_rows *s, coverage_ptr c, int32_t x0,
                      int32_t x1) {
    s16x4_writer<rule_add, comp3::opaque>(d, s, c, x0, x1);
}
// All four add (S c) >> 12.
void add_s16x4(const span_rows *d, const span_rows *s, coverage_ptr c, int32_t x0, int32_t x1) {
    s16x4_writer<rule_add, comp3::same>(d, s, c, x0, x1);
}
// e = (S3 c) >> 12, k = 4096 - e; all four D = (S c + D k) >> 12. This is the
// premultiplied source-alpha rule with S3 as the alpha (its c = 0 skip
// changes nothing: k = 4096 there).
void write_s16x4a_over(const span_rows *d, const span_rows *s, coverage_ptr c, int32_t x0,
                       int32_t x1) {
    s16x4_writer<rule_write_a_premul, comp3::same>(d, s, c, x0, x1);
}

void fill_alpha_opaque(const span_rows *d, const span_rows *, int32_t x0, int32_t x1) {
    uint16_t *a = d->alpha;
    for (int32_t x = x0; x < x1; ++x) a[x] = 4096;
}

void fill_s16x4_alpha_opaque(const span_rows *d, const span_rows *, int32_t x0, int32_t x1) {
    int16_t *p = static_cast<int16_t *>(d->pixels);
    for (int32_t x = x0; x < x1; ++x) p[ptrdiff_t(x) * 4 + 3] = 4096;
}

namespace {

template <class Writer, size_t N>
Writer statement_of(Writer w, const std::pair<Writer, Writer> (&statements)[N]) {
    for (const auto &[best, statement] : statements)
        if (w == best) return statement;
    return w;
}

} // namespace

coverage_writer scalar_statement(coverage_writer w) {
    const std::pair<coverage_writer, coverage_writer> statements[] = {
        {write_rgbq, write_rgbq_c},
        {add_rgbq, add_rgbq_c},
        {write_rgbq_over_premul, write_rgbq_over_premul_c},
        {add_rgbq_over_premul, add_rgbq_over_premul_c},
        {write_rgbqa_straight, write_rgbqa_straight_c},
        {write_rgbqa_premul, write_rgbqa_premul_c},
        {write_rgbqa_over_premul, write_rgbqa_over_premul_c},
        {add_rgbqa_over_premul, add_rgbqa_over_premul_c}};
    return statement_of(w, statements);
}

span_writer scalar_statement(span_writer w) {
    const std::pair<span_writer, span_writer> statements[] = {
        {blend_rgbqa_straight, blend_rgbqa_straight_c},
        {blend_rgbqa_premul, blend_rgbqa_premul_c},
        {blend_rgbqa_over_premul, blend_rgbqa_over_premul_c}};
    return statement_of(w, statements);
}

} // namespace tovrel
