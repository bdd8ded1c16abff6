// `tovrel demo`: a procedurally drawn test card sent through a showcase of
// the library, one PNG per scene.
#pragma once

#include <cstdio>
#include <string>

#include "formats.h"

namespace tovrel_tool {

constexpr int32_t card_width = 640;
constexpr int32_t card_height = 360;
constexpr int32_t scene_width = 480;
constexpr int32_t scene_height = 270;

// The test card: gradients, a grid, colour bars, a grey ramp, a zone plate
// in a ring, corner discs (red top-left, green top-right, blue bottom-right,
// yellow bottom-left) and patches of one-pixel stripes and checks that
// alias visibly when minified without a filter. RGBQ with Q = 255.
frame make_test_card();

// Writes the scenes into `dir` (created if needed), printing one line per
// scene to `out`. Returns an exit code; a scene the library refuses is
// reported and skipped, and makes the result non-zero.
int run_demo(const std::string &dir, std::FILE *out, std::FILE *err);

} // namespace tovrel_tool
