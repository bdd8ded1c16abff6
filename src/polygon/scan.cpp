#include "polygon/scan.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "polygon/edge_aa.h"

namespace tovrel {

namespace {

constexpr double scaled_bound = 4503599627370496.0; // 2^52, exact in int64

// Rounds to float when the value is within float's range; anything else
// (too large, infinite, not a number) leaves `ok` false and gives 0.
float to_float(double d, bool &ok) {
    if (std::fabs(d) < 3.0e38) return static_cast<float>(d);
    ok = false;
    return 0.0f;
}

// Constant coefficients for a span whose gradients cannot be used: the
// texture point at the span's middle, taken between the two edges (t in
// [0, 1]) so that it is an interpolation, never an extrapolation.
span_coefficients constant_coefficients(const span_context &ctx, const edge_record &l,
                                        const edge_record &r, double yc, double xl, double xr,
                                        int32_t x0, int32_t x1) {
    double t = ((static_cast<double>(x0) + x1) * 0.5 - xl) / (xr - xl);
    if (!(t >= 0.0)) t = 0.0; // also a span of zero width
    if (t > 1.0) t = 1.0;
    const double ul = l.du * yc + l.u_origin, ur = r.du * yc + r.u_origin;
    const double vl = l.dv * yc + l.v_origin, vr = r.dv * yc + r.v_origin;
    double w = 1.0;
    if (ctx.perspective) {
        const double wl = l.dw * yc + l.w_origin, wr = r.dw * yc + r.w_origin;
        w = wl + (wr - wl) * t;
    }
    bool ok = w > 0.0;
    const float u = to_float((ul + (ur - ul) * t) / w, ok);
    const float v = to_float((vl + (vr - vl) * t) / w, ok);
    if (!ok) return {0.0f, 0.0f, 0.0f, 0.0f, 0.0f, 1.0f};
    return {0.0f, 0.0f, u, v, 0.0f, 1.0f};
}

void sort_active(edge_record **active, int32_t count) {
    // Bubble sort by x, ties by dx: stable, and the list is short and
    // nearly sorted from one band to the next.
    for (int32_t i = 1; i < count; ++i) {
        for (int32_t j = count - 1; j >= i; --j) {
            const edge_record *a = active[j - 1];
            const edge_record *b = active[j];
            if (a->x > b->x || (a->x == b->x && a->dx > b->dx)) std::swap(active[j - 1], active[j]);
        }
    }
}

// Edges of a polygon that crosses itself may change places inside a band;
// keep the pairs of the even-odd fill in order. A simple polygon's edges
// never cross, so this only ever sorts at crossings.
void keep_sorted(edge_record **active, int32_t count) {
    for (int32_t i = 1; i < count; ++i) {
        if (active[i - 1]->x > active[i]->x) {
            sort_active(active, count);
            return;
        }
    }
}

int64_t positive_mod(int64_t a, int64_t m) {
    const int64_t r = a % m;
    return r < 0 ? r + m : r;
}

// One destination line without anti-aliasing: even-odd pairs of the active
// edges; a pixel is inside when its centre is at or right of the left edge
// and left of the right edge.
void draw_line(span_context &ctx, edge_record *const *active, int32_t count, int32_t y) {
    const span_rows rows = destination_rows(ctx, y);
    const double yc = static_cast<double>(y) + 0.5;
    for (int32_t i = 0; i + 1 < count; i += 2) {
        const edge_record *l = active[i];
        const edge_record *r = active[i + 1];
        int64_t x0 = first_pixel_at(l->x);
        int64_t x1 = first_pixel_at(r->x);
        if (x0 > x1) std::swap(x0, x1);
        x0 = std::max<int64_t>(x0, 0);
        x1 = std::min<int64_t>(x1, ctx.dst_width);
        if (x0 < x1)
            ctx.span_routine(&ctx, &rows, l, r, yc, l->x, r->x, static_cast<int32_t>(x0),
                             static_cast<int32_t>(x1));
    }
}

void advance(edge_record *const *active, int32_t count) {
    for (int32_t i = 0; i < count; ++i) active[i]->x += active[i]->dx;
}

} // namespace

span_coefficients span_gradients(const span_context &ctx, const edge_record &l,
                                 const edge_record &r, double yc, double xl, double xr, int32_t x0,
                                 int32_t x1) {
    const double d = xr - xl;
    const double from = xl - 0.5; // pixel 0's centre relative to the left edge
    const double dudx = ((r.u_origin - l.u_origin) + (r.du - l.du) * yc) / d;
    const double dvdx = ((r.v_origin - l.v_origin) + (r.dv - l.dv) * yc) / d;
    span_coefficients c;
    bool usable = true;
    c.u_step = to_float(dudx, usable);
    c.v_step = to_float(dvdx, usable);
    c.u_base = to_float((l.du * yc + l.u_origin) - dudx * from, usable);
    c.v_base = to_float((l.dv * yc + l.v_origin) - dvdx * from, usable);
    if (ctx.perspective) {
        const double dwdx = ((r.w_origin - l.w_origin) + (r.dw - l.dw) * yc) / d;
        c.w_step = to_float(dwdx, usable);
        c.w_base = to_float((l.dw * yc + l.w_origin) - dwdx * from, usable);
        // w is linear in x: bounded below at both ends, bounded across.
        const double w_first = static_cast<double>(c.w_base) + static_cast<double>(c.w_step) * x0;
        const double w_last =
            static_cast<double>(c.w_base) + static_cast<double>(c.w_step) * (x1 - 1);
        usable = usable && w_first >= ctx.w_floor && w_last >= ctx.w_floor;
    } else {
        c.w_step = 0.0f;
        c.w_base = 1.0f;
    }
    if (usable) return c;
    return constant_coefficients(ctx, l, r, yc, xl, xr, x0, x1);
}

template <bool ViaLineBuffer, bool Perspective>
void span_render(const span_context *ctx, const span_rows *rows, const edge_record *left,
                 const edge_record *right, double yc, double xl, double xr, int32_t x0,
                 int32_t x1) {
    const span_coefficients c = span_gradients(*ctx, *left, *right, yc, xl, xr, x0, x1);
    const span_rows *target = ViaLineBuffer ? &ctx->line_buffer : rows;
    if constexpr (Perspective)
        (ViaLineBuffer ? ctx->persp_renderer : ctx->direct_persp_renderer)(
            target, x0, x1, &ctx->source, ctx->src_u_limit, ctx->src_v_limit, c.u_step, c.v_step,
            c.u_base, c.v_base, c.w_step, c.w_base);
    else
        (ViaLineBuffer ? ctx->affine_renderer : ctx->direct_affine_renderer)(
            target, x0, x1, &ctx->source, ctx->src_u_limit, ctx->src_v_limit, c.u_step, c.v_step,
            c.u_base, c.v_base);
    if (ViaLineBuffer || ctx->span_writer) ctx->span_writer(rows, &ctx->line_buffer, x0, x1);
}

span_routine select_span_routine(bool via_line_buffer, bool perspective) {
    // [via line buffer][perspective]
    static constexpr std::array<std::array<span_routine, 2>, 2> routines{{
        {{&span_render<false, false>, &span_render<false, true>}},
        {{&span_render<true, false>, &span_render<true, true>}},
    }};
    return routines[via_line_buffer ? 1 : 0][perspective ? 1 : 0];
}

void render_into_line_buffer(const span_context &ctx, const span_coefficients &c, int32_t x0,
                             int32_t x1) {
    if (ctx.perspective)
        ctx.persp_renderer(&ctx.line_buffer, x0, x1, &ctx.source, ctx.src_u_limit, ctx.src_v_limit,
                           c.u_step, c.v_step, c.u_base, c.v_base, c.w_step, c.w_base);
    else
        ctx.affine_renderer(&ctx.line_buffer, x0, x1, &ctx.source, ctx.src_u_limit, ctx.src_v_limit,
                            c.u_step, c.v_step, c.u_base, c.v_base);
}

int64_t first_pixel_at(double x) {
    double scaled = -4096.0 * x;
    if (!(scaled >= -scaled_bound)) scaled = -scaled_bound;
    if (scaled > scaled_bound) scaled = scaled_bound;
    return (2047 - static_cast<int64_t>(scaled)) >> 12;
}

void scan_polygon(span_context &ctx, edge_table &table) {
    edge_record *active[active_edge_slots];
    int32_t count = 0;
    edge_record *next = table.head;
    int32_t y = 0;
    int64_t phase = 0;
    const bool aa = ctx.edge_aa != 0;

    for (;;) {
        if (count == 0) {
            if (next == &table.sentinel) break;
            y = next->first;
            phase = positive_mod(ctx.first_line - y, ctx.line_step);
        }
        if (next->first == y) {
            do {
                active[count++] = next;
                next = next->next;
            } while (next->first == y);
            sort_active(active, count);
        }
        int32_t band_end = next->first;
        for (int32_t i = 0; i < count; ++i) band_end = std::min(band_end, active[i]->last);

        while (y < band_end) {
            if (!aa) {
                if (phase == 0) {
                    keep_sorted(active, count);
                    draw_line(ctx, active, count, y);
                    phase = ctx.line_step;
                }
            } else if (phase < 3) {
                keep_sorted(active, count);
                if (phase == 2 && band_end - y >= 3) {
                    // The line's three sub-lines share these edges: one pass.
                    for (int32_t i = 0; i + 1 < count; i += 2)
                        single_pass_pair(ctx, *active[i], *active[i + 1], y);
                    advance(active, count);
                    advance(active, count);
                    y += 2;
                    phase = ctx.line_step;
                } else {
                    for (int32_t i = 0; i + 1 < count; i += 2)
                        accumulate_sub_line(ctx, *active[i], *active[i + 1], y, phase);
                    if (phase == 0) {
                        flush_coverage_line(ctx);
                        phase = ctx.line_step;
                    }
                }
            }
            advance(active, count);
            --phase;
            ++y;
        }

        int32_t kept = 0;
        for (int32_t i = 0; i < count; ++i)
            if (active[i]->last != y) active[kept++] = active[i];
        count = kept;
        if (next->first == y) continue; // new edges join at this line
        if (count == 0) flush_coverage_line(ctx);
    }
    flush_coverage_line(ctx);
}

} // namespace tovrel
