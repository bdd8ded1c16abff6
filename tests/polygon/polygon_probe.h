// Drives map_polygon's scan with recording doubles in place of renderers and
// writers: every pixel gets the coverage it was drawn with (4096 for a span
// pixel, the coverage writer's value for an anti-aliased one).
#pragma once

#include <cstdint>
#include <vector>

#include <tovrel.h>

#include "polygon/polygon_call.h"

namespace tovrel::test {

struct probe_result {
    int width = 0, height = 0;
    std::vector<int32_t> cover; // summed coverage per pixel
    int spans = 0;
    int32_t at(int x, int y) const { return cover[static_cast<size_t>(y * width + x)]; }
};

// Runs the polygon over a width x height destination; the flags go to
// map_polygon unchanged.
probe_result probe_polygon(const std::vector<map_vertex> &v, int width, int height,
                           uint32_t flags = 0, int32_t first_line = 0, int32_t line_step = 1);

// Adds b's coverage to a.
void add_into(probe_result &a, const probe_result &b);

// Exact area (in 1/4096 pixel) of the polygon inside pixel (x, y).
double exact_cover(const std::vector<map_vertex> &v, int x, int y);

} // namespace tovrel::test
