#include "polygon/edge_aa.h"

#include <algorithm>
#include <cmath>

#include "polygon/scan.h"

namespace tovrel {

namespace {

constexpr int32_t full = 4096;                      // coverage of one whole (sub-)line
constexpr int32_t line_total = 3 * full;            // three sub-lines
constexpr double scaled_bound = 4503599627370496.0; // 2^52

int64_t to_grid(double x) {
    double scaled = 4096.0 * x;
    if (!(scaled >= -scaled_bound)) scaled = -scaled_bound;
    if (scaled > scaled_bound) scaled = scaled_bound;
    return static_cast<int64_t>(scaled);
}

int32_t clamp_pixel(int64_t p, int32_t width) {
    return static_cast<int32_t>(std::clamp<int64_t>(p, 0, width));
}

// Triangle at one end of a crossing: (d^2 * 4096 / (b - a)) >> 13 with d in
// (0, 4096], so the product stays below 2^37.
int32_t corner(int64_t d, double k) {
    return static_cast<int32_t>(static_cast<int64_t>(static_cast<double>(d * d) * k) >> 13);
}

// Sum of three sub-lines, saturated at a whole line (pairs of a polygon that
// crosses itself may overlap).
void add_coverage(uint16_t &c, int32_t add) {
    c = static_cast<uint16_t>(std::min(static_cast<int32_t>(c) + add, line_total));
}

// Coverage of pixel p between the two edges: the inside of both, never
// below zero when the crossings overlap.
int32_t pair_share(const edge_crossing &l, const edge_crossing &r, int64_t p) {
    return std::max(left_edge_share(l, p) + right_edge_share(r, p) - full, 0);
}

// The pair ordered left to right at x_left and x_right.
void order_pair(const edge_record *&l, const edge_record *&r, double x_left, double x_right) {
    if (x_left > x_right) std::swap(l, r);
}

} // namespace

edge_crossing crossing_of(double x_top, double x_bottom) {
    int64_t a = to_grid(x_top);
    int64_t b = to_grid(x_bottom);
    if (a > b) std::swap(a, b);
    const double k = b > a ? 4096.0 / static_cast<double>(b - a) : 0.0;
    return {a, b, a >> 12, ((b + 4095) >> 12) - 1, k};
}

int32_t left_edge_share(const edge_crossing &e, int64_t p) {
    if (p < e.first) return 0;
    if (p > e.last) return full;
    if (e.first == e.last) return static_cast<int32_t>((8192 * (p + 1) - e.a - e.b) >> 1);
    const double k = e.k;
    if (p == e.first) return corner(4096 * (p + 1) - e.a, k);
    if (p == e.last) return full - corner(e.b - 4096 * p, k);
    return static_cast<int32_t>(static_cast<double>(4096 * (p + 1) - 2048 - e.a) * k);
}

int32_t right_edge_share(const edge_crossing &e, int64_t p) {
    if (p < e.first) return full;
    if (p > e.last) return 0;
    if (e.first == e.last) return static_cast<int32_t>((e.a + e.b - 8192 * p) >> 1);
    const double k = e.k;
    if (p == e.first) return full - corner(4096 * (p + 1) - e.a, k);
    if (p == e.last) return corner(e.b - 4096 * p, k);
    return static_cast<int32_t>(static_cast<double>(e.b - (4096 * p + 2048)) * k);
}

void accumulate_sub_line(span_context &ctx, const edge_record &left, const edge_record &right,
                         int32_t y, int64_t phase) {
    const int32_t width = ctx.dst_width;
    uint16_t *coverage = ctx.coverage_line;
    if (ctx.coverage_clear) {
        std::fill_n(coverage, width, uint16_t{0});
        ctx.coverage_clear = 0;
        ctx.coverage_line_y = y / 3;
        ctx.aa_left_edge = nullptr;
        ctx.aa_right_edge = nullptr;
        ctx.aa_left_x = HUGE_VAL;
        ctx.aa_right_x = -HUGE_VAL;
        ctx.aa_x_min = 10000;
        ctx.aa_x_max = -10000;
    }
    const edge_record *l = &left, *r = &right;
    order_pair(l, r, l->x, r->x);
    const edge_crossing lc = crossing_of(l->x - l->dx * 0.5, l->x + l->dx * 0.5);
    const edge_crossing rc = crossing_of(r->x - r->dx * 0.5, r->x + r->dx * 0.5);
    const int32_t l0 = clamp_pixel(lc.first, width), l1 = clamp_pixel(lc.last + 1, width);
    const int32_t r0 = clamp_pixel(rc.first, width), r1 = clamp_pixel(rc.last + 1, width);
    int32_t t0, t1;
    if (l1 <= r0) {
        for (int32_t p = l0; p < l1; ++p) add_coverage(coverage[p], left_edge_share(lc, p));
        for (int32_t p = l1; p < r0; ++p) add_coverage(coverage[p], full);
        for (int32_t p = r0; p < r1; ++p) add_coverage(coverage[p], right_edge_share(rc, p));
        t0 = l0;
        t1 = r1;
    } else {
        t0 = std::min(l0, r0);
        t1 = std::max(l1, r1);
        for (int32_t p = t0; p < t1; ++p) add_coverage(coverage[p], pair_share(lc, rc, p));
    }

    // Both edges at the destination line's centre (the middle sub-line).
    const double xl = l->x + l->dx * static_cast<double>(phase - 1);
    const double xr = r->x + r->dx * static_cast<double>(phase - 1);
    if (xl < ctx.aa_left_x) {
        ctx.aa_left_x = xl;
        ctx.aa_left_edge = l;
    }
    if (xr > ctx.aa_right_x) {
        ctx.aa_right_x = xr;
        ctx.aa_right_edge = r;
    }
    if (t0 < t1) {
        ctx.aa_x_min = std::min(ctx.aa_x_min, t0);
        ctx.aa_x_max = std::max(ctx.aa_x_max, t1);
    }
}

void flush_coverage_line(span_context &ctx) {
    if (ctx.coverage_clear) return;
    ctx.coverage_clear = 1;
    // Whole 4:2:2 pairs, within the line.
    const int32_t x0 = std::max(ctx.aa_x_min & ~1, 0);
    const int32_t x1 = std::min((ctx.aa_x_max + 1) & ~1, ctx.dst_width);
    if (x0 >= x1 || !ctx.aa_left_edge || !ctx.aa_right_edge) return;
    uint16_t *coverage = ctx.coverage_line;
    // Three sub-lines of 0..4096 each back to one: (c + 1) / 3, 0..4096.
    for (int32_t p = x0; p < x1; ++p) coverage[p] = static_cast<uint16_t>((coverage[p] + 1) / 3);

    const double yc = (static_cast<double>(ctx.coverage_line_y) + 0.5) * 3.0;
    const span_coefficients c = span_gradients(ctx, *ctx.aa_left_edge, *ctx.aa_right_edge, yc,
                                               ctx.aa_left_x, ctx.aa_right_x, x0, x1);
    render_into_line_buffer(ctx, c, x0, x1);
    const span_rows rows = destination_rows(ctx, ctx.coverage_line_y);
    ctx.coverage_writer(&rows, &ctx.line_buffer, coverage, x0, x1);
}

void single_pass_pair(span_context &ctx, const edge_record &left, const edge_record &right,
                      int32_t y) {
    const edge_record *l = &left, *r = &right;
    // Edges at the line centre, the middle of the three sub-lines.
    order_pair(l, r, l->x + l->dx, r->x + r->dx);
    const double xl = l->x + l->dx;
    const double xr = r->x + r->dx;
    // Crossings over the whole line: top of the first sub-line to the
    // bottom of the third.
    const edge_crossing lc = crossing_of(l->x - l->dx * 0.5, l->x + l->dx * 2.5);
    const edge_crossing rc = crossing_of(r->x - r->dx * 0.5, r->x + r->dx * 2.5);
    // Fringes in whole 4:2:2 pairs: first pixel down, end pixel up to even.
    const int64_t lf0 = lc.first & ~int64_t{1}, lf1 = (lc.last + 2) & ~int64_t{1};
    const int64_t rf0 = rc.first & ~int64_t{1}, rf1 = (rc.last + 2) & ~int64_t{1};

    const int32_t width = ctx.dst_width;
    const int32_t line = y / 3;
    const double yc = static_cast<double>(y) + 1.5;
    const span_rows rows = destination_rows(ctx, line);
    uint16_t *coverage = ctx.coverage_line;

    auto fringe = [&](int64_t from, int64_t to) {
        const int32_t f0 = clamp_pixel(from, width), f1 = clamp_pixel(to, width);
        if (f0 >= f1) return;
        for (int32_t p = f0; p < f1; ++p)
            coverage[p] = static_cast<uint16_t>(pair_share(lc, rc, p));
        const span_coefficients c = span_gradients(ctx, *l, *r, yc, xl, xr, f0, f1);
        render_into_line_buffer(ctx, c, f0, f1);
        ctx.coverage_writer(&rows, &ctx.line_buffer, coverage, f0, f1);
    };

    if (lf1 >= rf0) {
        fringe(lf0, rf1); // the fringes meet: one fringe spans both edges
        return;
    }
    fringe(lf0, lf1);
    const int32_t i0 = clamp_pixel(lf1, width), i1 = clamp_pixel(rf0, width);
    if (i0 < i1) ctx.span_routine(&ctx, &rows, l, r, yc, xl, xr, i0, i1);
    fringe(rf0, rf1);
}

} // namespace tovrel
