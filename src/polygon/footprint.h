// Choice of the filter footprint: how strongly the polygon shrinks the
// texture along and across its reference direction, and the slot, sampling
// offsets and limit reductions that go with it.
#pragma once

#include <cstdint>

#include <tovrel.h>

namespace tovrel {

struct footprint_choice {
    int32_t slot;        // 0..20; 1 + 5 * vertical class + horizontal class
    int32_t v_class;     // 0..3: box height 1, 1.5, 2, 4 rows
    int32_t h_class;     // 0..4: box width 1, 2, 3, 4, 8 columns
    double u_offset;     // added to every vertex u: minus half the box width
    double v_offset;     // added to every scaled v (with the field offset)
    int32_t u_reduction; // taken off src_u_limit, 16.16 units: reach + 120
    int32_t v_reduction;
    double rh, rv;   // measured ratios (source texels per destination pixel)
    bool degenerate; // every vertex on the last one: no reference chord
};

// Point sampling: slot 0, no offsets, limits unreduced.
footprint_choice point_footprint();

// Measures Rh and Rv along the chord from the last vertex to the farthest
// vertex (source rotated onto it) and picks the classes. v_scale is 0.5
// when a field is read. Ratios that are not numbers (a source chord of zero
// length) pick the smallest class.
footprint_choice select_footprint(const map_vertex *vertices, int32_t count, double v_scale);

// Lowers each class until the box fits a source of the given width and
// (field) height, so that no read can leave it; a source one texel wide or
// high falls back to point sampling.
footprint_choice fit_footprint(const footprint_choice &choice, int32_t src_width,
                               int32_t src_height);

} // namespace tovrel
