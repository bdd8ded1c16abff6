// Table members whose code is compiled in one instruction set's own file
// (with that file's target options). `Set` is a type of that file naming
// the members: Set::members<Slot> has static persp and affine of the
// table signatures. The tables, built elsewhere, need only this
// declaration; simd_member_def.h holds the definitions.
#pragma once

#include "span/span_renderer.h"

namespace tovrel::span {

template <class Set, int Slot>
struct simd_member {
    static persp_span_fn persp;
    static affine_span_fn affine;
};

} // namespace tovrel::span
