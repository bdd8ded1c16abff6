// Pixel writers: merge a rendered line-buffer range into the destination.
#pragma once

#include <cstdint>

#include "span/span_renderer.h"

namespace tovrel {

// Coverage writer: dst and src are {colour row, alpha row} pairs for pixel 0;
// coverage is indexed by absolute pixel x, values 0..4096. x0 >= x1 writes
// nothing.
using coverage_writer = void (*)(const span_rows *dst, const span_rows *src,
                                 const uint16_t *coverage, int32_t x0, int32_t x1);

// Span writer: merges (by the source's own alpha) or completes a fully
// covered range.
using span_writer = void (*)(const span_rows *dst, const span_rows *src, int32_t x0, int32_t x1);

} // namespace tovrel
