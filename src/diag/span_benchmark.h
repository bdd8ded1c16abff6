// Timing entry points for the packed RGBQ span renderers, one footprint
// each: they print a fixed label to standard output (no newline) and then
// run the renderer that the dispatched RGBQ table holds for that slot,
// with the caller's arguments unchanged. Nothing in the library calls them.
#pragma once

#include "span/span_renderer.h"

namespace tovrel {

// Labels " pers<H>x<W>_w3ta" (perspective) and " proj<H>x<W>_w3ta"
// (affine), H and W ten times the footprint's height and width. Defined
// for slots 1, 2, 3, 4, 6 and 11.
template <int Slot>
struct span_benchmark {
    static persp_span_fn persp;
    static affine_span_fn affine;
};

inline constexpr persp_span_renderer span_benchmark_pers10x10 = &span_benchmark<1>::persp;
inline constexpr persp_span_renderer span_benchmark_pers10x20 = &span_benchmark<2>::persp;
inline constexpr persp_span_renderer span_benchmark_pers10x30 = &span_benchmark<3>::persp;
inline constexpr persp_span_renderer span_benchmark_pers10x40 = &span_benchmark<4>::persp;
inline constexpr persp_span_renderer span_benchmark_pers15x10 = &span_benchmark<6>::persp;
inline constexpr persp_span_renderer span_benchmark_pers20x10 = &span_benchmark<11>::persp;
inline constexpr affine_span_renderer span_benchmark_proj10x10 = &span_benchmark<1>::affine;
inline constexpr affine_span_renderer span_benchmark_proj10x20 = &span_benchmark<2>::affine;
inline constexpr affine_span_renderer span_benchmark_proj10x30 = &span_benchmark<3>::affine;
inline constexpr affine_span_renderer span_benchmark_proj10x40 = &span_benchmark<4>::affine;
inline constexpr affine_span_renderer span_benchmark_proj15x10 = &span_benchmark<6>::affine;
inline constexpr affine_span_renderer span_benchmark_proj20x10 = &span_benchmark<11>::affine;

} // namespace tovrel
