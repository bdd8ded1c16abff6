#include "diag/span_benchmark.h"

#include <cstdio>

#include "span/rgbq_renderers.h"
#include "span/span_sampling.h"

namespace tovrel {
namespace {

template <int Slot>
void print_label(const char *table) {
    using fp = span::footprint<Slot>;
    std::printf(" %s%dx%d_w3ta", table, fp::height10, fp::width10);
}

} // namespace

template <int Slot>
void span_benchmark<Slot>::persp(const span_rows *line, int32_t x0, int32_t x1,
                                 const texture_ref *texture, float u_max, float v_max, float u_step,
                                 float v_step, float u_base, float v_base, float w_step,
                                 float w_base) {
    print_label<Slot>("pers");
    (*rgbq_span_renderers().persp)[Slot](line, x0, x1, texture, u_max, v_max, u_step, v_step,
                                         u_base, v_base, w_step, w_base);
}

template <int Slot>
void span_benchmark<Slot>::affine(const span_rows *line, int32_t x0, int32_t x1,
                                  const texture_ref *texture, float u_max, float v_max,
                                  float u_step, float v_step, float u_base, float v_base) {
    print_label<Slot>("proj");
    (*rgbq_span_renderers().affine)[Slot](line, x0, x1, texture, u_max, v_max, u_step, v_step,
                                          u_base, v_base);
}

template struct span_benchmark<1>;
template struct span_benchmark<2>;
template struct span_benchmark<3>;
template struct span_benchmark<4>;
template struct span_benchmark<6>;
template struct span_benchmark<11>;

} // namespace tovrel
