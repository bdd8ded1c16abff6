// Colour-plus-alpha span renderers: slot k renders the colour span with
// slot k of the colour family's table, then the alpha span (span_rows::
// alpha, texture_ref::alpha and alpha_pitch) with slot k of the word table
// of the same kind. Both are called through their tables at run time, so a
// member replaced there is used here too; where the tables hold the two
// members that a one-loop member fuses (RGBQ slots 1, 2, 6 and 11, see
// rgbq_packed_simd.h), that member runs both passes with the same bytes.
#pragma once

#include "span/span_renderer.h"

namespace tovrel {

// Pairs E, F and G: RGBQ, YUY2 and W210 with a w12b alpha plane.
renderer_table_pair rgbq_alpha_span_renderers();
renderer_table_pair yuy2_alpha_span_renderers();
renderer_table_pair w210_alpha_span_renderers();

// The same composites over the scalar statements of both families.
renderer_table_pair rgbq_alpha_span_renderers_c();
renderer_table_pair yuy2_alpha_span_renderers_c();
renderer_table_pair w210_alpha_span_renderers_c();

} // namespace tovrel
