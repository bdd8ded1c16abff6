// The GStreamer formats the elements accept, how each one is handed to the
// library, and the per-line work around the library calls: the 10-bit
// conversions to and from W210 and the background fill.
#pragma once

#include <cstdint>

#include <gst/video/video.h>
#include <tovrel.h>

namespace tovrel_gst {

// How a negotiated format reaches the library.
enum class layout : uint8_t {
    direct,  // the frame's own plane is the library's image
    i422_10, // planar 10-bit 4:2:2, interleaved into a W210 copy
    y210,    // packed, MSB-aligned 10-bit 4:2:2, shifted into a W210 copy
};

struct format_entry {
    GstVideoFormat gst;
    uint8_t code; // TOVREL_FORMAT_* the library sees
    layout how;
    int32_t bytes_per_pixel; // of the library's image
};

// Null for a format the elements do not accept.
const format_entry *find_entry(GstVideoFormat format);

// The caps of both pads, widths up to max_width (polygon destinations stop
// at 8192 pixels, the library's line buffer).
GstCaps *element_caps(int32_t max_width);

// One W210 image kept beside the frames of a converted format.
struct w210_image {
    uint16_t *words = nullptr;
    int32_t width = 0, height = 0;

    void resize(int32_t w, int32_t h);
    void release();
    int32_t pitch() const { return width * 4; }
    uint16_t *line(int32_t y) const { return words + static_cast<size_t>(y) * width * 2; }
};

// Converts line y between a 10-bit frame and its W210 copy.
void to_w210(const GstVideoFrame *frame, int32_t y, const w210_image &image);
void from_w210(const w210_image &image, int32_t y, GstVideoFrame *frame);

// The background of one format as a repeating byte pattern: one pixel, or
// one pixel pair for the 4:2:2 formats.
struct fill_pattern {
    uint8_t bytes[8];
    int32_t size;
};

// `argb` is 0xAARRGGBB. YUV formats use the caps' matrix and range (BT.601
// when the caps leave them open); GRAY16_LE takes the full-range luma.
fill_pattern make_fill(const GstVideoInfo *info, uint32_t argb);
// Fills `bytes` bytes from `line` with the pattern.
void fill_line(uint8_t *line, int32_t bytes, const fill_pattern &pattern);

// The library's view of a plane: plain data, no alpha plane.
image_descriptor describe(uint8_t format, int32_t width, int32_t height, void *pixels,
                          int32_t pitch);

} // namespace tovrel_gst
