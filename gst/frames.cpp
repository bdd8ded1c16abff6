#include "frames.h"

#include <array>
#include <cmath>
#include <cstring>

namespace tovrel_gst {
namespace {

constexpr std::array<format_entry, 8> entries{{
    {GST_VIDEO_FORMAT_YUY2, TOVREL_FORMAT_YUY2, layout::direct, 2},
    {GST_VIDEO_FORMAT_BGRA, TOVREL_FORMAT_RGBQ, layout::direct, 4},
    {GST_VIDEO_FORMAT_RGBA, TOVREL_FORMAT_RGBQ, layout::direct, 4},
    {GST_VIDEO_FORMAT_BGRx, TOVREL_FORMAT_RGBQ, layout::direct, 4},
    {GST_VIDEO_FORMAT_RGBx, TOVREL_FORMAT_RGBQ, layout::direct, 4},
    {GST_VIDEO_FORMAT_GRAY16_LE, TOVREL_FORMAT_WORD, layout::direct, 2},
    {GST_VIDEO_FORMAT_I422_10LE, TOVREL_FORMAT_W210, layout::i422_10, 4},
    {GST_VIDEO_FORMAT_Y210, TOVREL_FORMAT_W210, layout::y210, 4},
}};

constexpr int32_t max_height = 32767;

} // namespace

const format_entry *find_entry(GstVideoFormat format) {
    for (const format_entry &e : entries)
        if (e.gst == format) return &e;
    return nullptr;
}

GstCaps *element_caps(int32_t max_width) {
    // The 4:2:2 formats come in pixel pairs: even widths only.
    gchar *text = g_strdup_printf(
        "video/x-raw, format=(string){ BGRA, RGBA, BGRx, RGBx, GRAY16_LE }, "
        "width=(int)[ 1, %d ], height=(int)[ 1, %d ], framerate=(fraction)[ 0/1, MAX ]; "
        "video/x-raw, format=(string){ YUY2, I422_10LE, Y210 }, "
        "width=(int)[ 2, %d, 2 ], height=(int)[ 1, %d ], framerate=(fraction)[ 0/1, MAX ]",
        max_width, max_height, max_width & ~1, max_height);
    GstCaps *caps = gst_caps_from_string(text);
    g_free(text);
    return caps;
}

void w210_image::resize(int32_t w, int32_t h) {
    release();
    width = w;
    height = h;
    words = static_cast<uint16_t *>(g_malloc0(static_cast<size_t>(w) * h * 4));
}

void w210_image::release() {
    g_free(words);
    words = nullptr;
    width = height = 0;
}

// W210 lines are pairs of words Y0 U Y1 V, each sample in the low 10 bits.
void to_w210(const GstVideoFrame *frame, int32_t y, const w210_image &image) {
    uint16_t *out = image.line(y);
    const int32_t pairs = image.width / 2;
    if (GST_VIDEO_FRAME_FORMAT(frame) == GST_VIDEO_FORMAT_Y210) {
        const auto *in = reinterpret_cast<const uint16_t *>(
            static_cast<const uint8_t *>(GST_VIDEO_FRAME_PLANE_DATA(frame, 0)) +
            static_cast<size_t>(y) * GST_VIDEO_FRAME_PLANE_STRIDE(frame, 0));
        for (int32_t i = 0; i < pairs * 4; ++i) out[i] = in[i] >> 6;
        return;
    }
    const uint16_t *plane[3];
    for (int p = 0; p < 3; ++p)
        plane[p] = reinterpret_cast<const uint16_t *>(
            static_cast<const uint8_t *>(GST_VIDEO_FRAME_PLANE_DATA(frame, p)) +
            static_cast<size_t>(y) * GST_VIDEO_FRAME_PLANE_STRIDE(frame, p));
    for (int32_t i = 0; i < pairs; ++i) {
        out[4 * i] = plane[0][2 * i] & 0x3ff;
        out[4 * i + 1] = plane[1][i] & 0x3ff;
        out[4 * i + 2] = plane[0][2 * i + 1] & 0x3ff;
        out[4 * i + 3] = plane[2][i] & 0x3ff;
    }
}

void from_w210(const w210_image &image, int32_t y, GstVideoFrame *frame) {
    const uint16_t *in = image.line(y);
    const int32_t pairs = image.width / 2;
    if (GST_VIDEO_FRAME_FORMAT(frame) == GST_VIDEO_FORMAT_Y210) {
        auto *out = reinterpret_cast<uint16_t *>(
            static_cast<uint8_t *>(GST_VIDEO_FRAME_PLANE_DATA(frame, 0)) +
            static_cast<size_t>(y) * GST_VIDEO_FRAME_PLANE_STRIDE(frame, 0));
        for (int32_t i = 0; i < pairs * 4; ++i) out[i] = static_cast<uint16_t>(in[i] << 6);
        return;
    }
    uint16_t *plane[3];
    for (int p = 0; p < 3; ++p)
        plane[p] = reinterpret_cast<uint16_t *>(
            static_cast<uint8_t *>(GST_VIDEO_FRAME_PLANE_DATA(frame, p)) +
            static_cast<size_t>(y) * GST_VIDEO_FRAME_PLANE_STRIDE(frame, p));
    for (int32_t i = 0; i < pairs; ++i) {
        plane[0][2 * i] = in[4 * i];
        plane[1][i] = in[4 * i + 1];
        plane[0][2 * i + 1] = in[4 * i + 2];
        plane[2][i] = in[4 * i + 3];
    }
}

namespace {

struct yuv {
    uint32_t y, u, v;
};

// Y'CbCr of an 8-bit RGB colour with `bits` bits per sample.
yuv to_yuv(const GstVideoInfo *info, uint32_t argb, int bits) {
    double kr = 0.299, kb = 0.114;
    gst_video_color_matrix_get_Kr_Kb(info->colorimetry.matrix, &kr, &kb);
    const double r = ((argb >> 16) & 0xff) / 255.0;
    const double g = ((argb >> 8) & 0xff) / 255.0;
    const double b = (argb & 0xff) / 255.0;
    const double luma = kr * r + (1.0 - kr - kb) * g + kb * b;
    const double pb = (b - luma) / (2.0 * (1.0 - kb));
    const double pr = (r - luma) / (2.0 * (1.0 - kr));
    const double top = (1 << bits) - 1, mid = 1 << (bits - 1), scale = 1 << (bits - 8);
    const bool full = info->colorimetry.range == GST_VIDEO_COLOR_RANGE_0_255;
    const double ys = full ? top : 219.0 * scale, yo = full ? 0.0 : 16.0 * scale;
    const double cs = full ? top : 224.0 * scale;
    auto sample = [top](double v) {
        return static_cast<uint32_t>(std::lround(std::fmin(std::fmax(v, 0.0), top)));
    };
    return {sample(yo + ys * luma), sample(mid + cs * pb), sample(mid + cs * pr)};
}

} // namespace

fill_pattern make_fill(const GstVideoInfo *info, uint32_t argb) {
    fill_pattern f{};
    const GstVideoFormat format = GST_VIDEO_INFO_FORMAT(info);
    if (format == GST_VIDEO_FORMAT_YUY2) {
        const yuv c = to_yuv(info, argb, 8);
        const uint8_t pair[4] = {uint8_t(c.y), uint8_t(c.u), uint8_t(c.y), uint8_t(c.v)};
        std::memcpy(f.bytes, pair, 4);
        f.size = 4;
    } else if (find_entry(format)->code == TOVREL_FORMAT_W210) {
        const yuv c = to_yuv(info, argb, 10);
        const uint16_t pair[4] = {uint16_t(c.y), uint16_t(c.u), uint16_t(c.y), uint16_t(c.v)};
        std::memcpy(f.bytes, pair, 8);
        f.size = 8;
    } else if (format == GST_VIDEO_FORMAT_GRAY16_LE) {
        // Gray has no matrix in its caps: the BT.601 luma, full range.
        const uint16_t luma = static_cast<uint16_t>(std::lround(
            65535.0 *
            (0.299 * ((argb >> 16) & 0xff) + 0.587 * ((argb >> 8) & 0xff) + 0.114 * (argb & 0xff)) /
            255.0));
        std::memcpy(f.bytes, &luma, 2);
        f.size = 2;
    } else {
        // Packed RGB: the components' byte offsets come from the format; the
        // padding byte of the x formats (the one left over) gets the alpha.
        const GstVideoFormatInfo *fi = info->finfo;
        int sum = 0;
        for (int c = 0; c < 3; ++c) {
            const int offset = GST_VIDEO_FORMAT_INFO_POFFSET(fi, c);
            f.bytes[offset] = static_cast<uint8_t>(argb >> (16 - 8 * c));
            sum += offset;
        }
        f.bytes[6 - sum] = static_cast<uint8_t>(argb >> 24);
        f.size = 4;
    }
    return f;
}

void fill_line(uint8_t *line, int32_t bytes, const fill_pattern &pattern) {
    for (int32_t i = 0; i + pattern.size <= bytes; i += pattern.size)
        std::memcpy(line + i, pattern.bytes, pattern.size);
}

image_descriptor describe(uint8_t format, int32_t width, int32_t height, void *pixels,
                          int32_t pitch) {
    image_descriptor d;
    std::memset(&d, 0, sizeof d);
    d.width = width;
    d.height = height;
    d.format = format;
    d.alpha_mode = TOVREL_ALPHA_STRAIGHT;
    d.pixels = pixels;
    d.pitch = pitch;
    return d;
}

} // namespace tovrel_gst
