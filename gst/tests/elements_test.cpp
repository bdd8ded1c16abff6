// The plugin's elements in real pipelines: videotestsrc frames through
// tovrelscale and tovrelwarp, each output compared byte for byte with the
// library called directly on the same input frame.
//   elements_test PLUGIN CASE    exit 0 pass, 77 skip (the library refuses
//                                the format in this build), 1 fail
#include <array>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include <gst/app/gstappsink.h>
#include <gst/gst.h>
#include <gst/video/video.h>
#include <tovrel.h>

#include "quad.h"

namespace {

constexpr int exit_skip = 77;

struct test_case {
    const char *name;
    const char *element; // "tovrelscale" or "tovrelwarp"
    const char *format;
    int in_w, in_h, out_w, out_h;
    std::array<double, 8> geometry; // scale: x0, y0, x1, y1; warp: the quad
    const char *properties;         // besides the geometry
    int frames;
};

constexpr const char *rgb_background = "background=0xff102030";

// clang-format off
const test_case cases[] = {
    {"scale_bgra_subpixel", "tovrelscale", "BGRA", 320, 240, 200, 150,
     {10.25, 5.5, 180.75, 135.75}, "threads=3", 4},
    {"scale_rgbx_enlarge", "tovrelscale", "RGBx", 176, 144, 352, 288, {0, 0, 352, 288}, "", 3},
    {"scale_yuy2_subpixel", "tovrelscale", "YUY2", 320, 240, 200, 150,
     {6.5, 3.25, 190, 144}, "threads=2", 4},
    {"scale_yuy2_1080_720", "tovrelscale", "YUY2", 1920, 1080, 1280, 720,
     {0, 0, 1280, 720}, "threads=2", 2},
    {"scale_i422_10", "tovrelscale", "I422_10LE", 320, 240, 240, 180,
     {2.5, 2.5, 230, 170}, "threads=2", 3},
    {"scale_y210", "tovrelscale", "Y210", 320, 240, 480, 360, {0, 0, 480, 360}, "", 3},
    {"scale_bgra_interlaced", "tovrelscale", "BGRA,interlace-mode=interleaved", 320, 240, 200, 150,
     {4.5, 3.25, 190, 144.5}, "threads=3", 3},
    {"warp_rgba_perspective_aa", "tovrelwarp", "RGBA", 320, 240, 320, 240,
     {20, 10, 300, 30, 310, 230, 5, 200}, "perspective=true edge-aa=true threads=3", 4},
    {"warp_rgbx_interlaced", "tovrelwarp", "RGBx,interlace-mode=interleaved", 320, 240, 320, 240,
     {20, 10, 300, 30, 310, 230, 5, 200}, "perspective=true edge-aa=true threads=2", 3},
    {"warp_bgrx_no_filter", "tovrelwarp", "BGRx", 320, 240, 320, 240,
     {40.5, 20, 200, 40, 180, 150, 30, 130}, "no-filter=true", 3},
    {"warp_yuy2_pip", "tovrelwarp", "YUY2", 320, 240, 320, 240,
     {200, 20, 300, 20, 300, 95, 200, 95}, "edge-aa=true threads=2", 3},
    {"warp_i422_10", "tovrelwarp", "I422_10LE", 320, 240, 320, 240,
     {20, 10, 300, 30, 310, 230, 5, 200}, "perspective=true threads=2", 3},
    {"warp_y210", "tovrelwarp", "Y210", 320, 240, 320, 240,
     {10, 10, 300, 10, 300, 230, 10, 230}, "edge-aa=true", 3},
    {"warp_gray16", "tovrelwarp", "GRAY16_LE", 320, 240, 320, 240,
     {20, 10, 300, 30, 310, 230, 5, 200}, "threads=2", 3},
};
// clang-format on

bool is_rgb(const char *format) {
    return format[0] == 'B' || format[0] == 'R';
}

// The frame as the library sees it: tightly packed lines, the 10-bit
// formats as W210 (Y0 U Y1 V words, samples in the low 10 bits).
struct image {
    uint8_t code = 0;
    int w = 0, h = 0, bpp = 0;
    std::vector<uint8_t> bytes;

    image_descriptor descriptor() {
        image_descriptor d;
        std::memset(&d, 0, sizeof d);
        d.width = w;
        d.height = h;
        d.format = code;
        d.alpha_mode = TOVREL_ALPHA_STRAIGHT;
        d.pixels = bytes.data();
        d.pitch = w * bpp;
        return d;
    }
};

image library_image(const GstVideoFrame *f) {
    const GstVideoFormat format = GST_VIDEO_FRAME_FORMAT(f);
    image im;
    im.w = GST_VIDEO_FRAME_WIDTH(f);
    im.h = GST_VIDEO_FRAME_HEIGHT(f);
    const bool ten = format == GST_VIDEO_FORMAT_I422_10LE || format == GST_VIDEO_FORMAT_Y210;
    im.code = ten                                    ? TOVREL_FORMAT_W210
              : format == GST_VIDEO_FORMAT_YUY2      ? TOVREL_FORMAT_YUY2
              : format == GST_VIDEO_FORMAT_GRAY16_LE ? TOVREL_FORMAT_WORD
                                                     : TOVREL_FORMAT_RGBQ;
    im.bpp = im.code == TOVREL_FORMAT_YUY2 || im.code == TOVREL_FORMAT_WORD ? 2 : 4;
    im.bytes.resize(size_t(im.w) * im.h * im.bpp);
    for (int y = 0; y < im.h; ++y) {
        uint8_t *out = im.bytes.data() + size_t(y) * im.w * im.bpp;
        auto row = [&](int p) {
            return static_cast<const uint8_t *>(GST_VIDEO_FRAME_PLANE_DATA(f, p)) +
                   size_t(y) * GST_VIDEO_FRAME_PLANE_STRIDE(f, p);
        };
        if (!ten) {
            std::memcpy(out, row(0), size_t(im.w) * im.bpp);
            continue;
        }
        auto *words = reinterpret_cast<uint16_t *>(out);
        for (int i = 0; i < im.w * 2; ++i) {
            uint16_t v;
            if (format == GST_VIDEO_FORMAT_Y210) {
                std::memcpy(&v, row(0) + 2 * i, 2);
                v >>= 6;
            } else {
                const int plane = i % 2 == 0 ? 0 : i % 4 == 1 ? 1 : 2;
                const int index = plane == 0 ? i / 2 : i / 4;
                std::memcpy(&v, row(plane) + 2 * index, 2);
            }
            words[i] = v;
        }
    }
    return im;
}

// The element's default background is black: limited-range YUV black for
// the YUV formats, 0 for gray; the RGB cases set 0xff102030.
void fill_background(image &im, const char *format) {
    for (size_t i = 0; i < im.bytes.size(); i += im.bpp) {
        uint8_t *p = im.bytes.data() + i;
        if (im.code == TOVREL_FORMAT_RGBQ) {
            const bool bgr = format[0] == 'B';
            const uint8_t rgba[4] = {bgr ? uint8_t(0x30) : uint8_t(0x10), 0x20,
                                     bgr ? uint8_t(0x10) : uint8_t(0x30), 0xff};
            std::memcpy(p, rgba, 4);
        } else if (im.code == TOVREL_FORMAT_YUY2) {
            p[0] = 16;
            p[1] = 128;
        } else if (im.code == TOVREL_FORMAT_W210) {
            const uint16_t pair[2] = {64, 512};
            std::memcpy(p, pair, 4);
        } else {
            std::memset(p, 0, 2);
        }
    }
}

std::string reference_problem(const test_case &c, GstSample *in, GstSample *out) {
    GstVideoInfo in_info, out_info;
    gst_video_info_from_caps(&in_info, gst_sample_get_caps(in));
    gst_video_info_from_caps(&out_info, gst_sample_get_caps(out));
    GstVideoFrame fin, fout;
    gst_video_frame_map(&fin, &in_info, gst_sample_get_buffer(in), GST_MAP_READ);
    gst_video_frame_map(&fout, &out_info, gst_sample_get_buffer(out), GST_MAP_READ);
    image src = library_image(&fin), got = library_image(&fout);
    gst_video_frame_unmap(&fin);
    gst_video_frame_unmap(&fout);
    image want = got;
    fill_background(want, c.format);
    const image_descriptor s = src.descriptor(), d = want.descriptor();
    const auto &g = c.geometry;
    // Interlaced frames: each field from the same field of the input, as
    // two calls; progressive ones in one call.
    const bool fields = std::strstr(c.format, "interleaved") != nullptr;
    for (int field = 0; field < (fields ? 2 : 1); ++field) {
        if (std::strcmp(c.element, "tovrelscale") == 0) {
            const uint32_t flags = !fields ? 0u
                                   : field ? RECT_SRC_FIELD_BOTTOM | RECT_DST_FIELD_BOTTOM
                                           : RECT_SRC_FIELD_TOP | RECT_DST_FIELD_TOP;
            map_rectangle(&d, float(g[0]), float(g[1]), float(g[2]), float(g[3]), &s, 0, 0,
                          float(src.w), float(src.h), flags, 0, 1);
            continue;
        }
        std::array<map_vertex, 4> v;
        const bool persp = std::strstr(c.properties, "perspective=true") != nullptr;
        tovrel_tool::make_quad_vertices(src.w, src.h, g, persp, v);
        const uint32_t flags = (std::strstr(c.properties, "edge-aa=true") ? MAP_EDGE_AA : 0u) |
                               (std::strstr(c.properties, "no-filter=true") ? MAP_NO_FILTER : 0u) |
                               (!fields ? 0u
                                : field ? MAP_FIELD_BOTTOM
                                        : MAP_FIELD_TOP);
        map_polygon(&d, &s, v.data(), 4, flags, field, fields ? 2 : 1);
    }
    for (size_t i = 0; i < want.bytes.size(); ++i)
        if (want.bytes[i] != got.bytes[i]) {
            const size_t pixel = i / want.bpp;
            return "first difference at x " + std::to_string(pixel % want.w) + ", y " +
                   std::to_string(pixel / want.w) + ": element " + std::to_string(got.bytes[i]) +
                   ", library " + std::to_string(want.bytes[i]);
        }
    return {};
}

std::string geometry_properties(const test_case &c) {
    static const char *const scale_names[4] = {"dst-x", "dst-y", "dst-width", "dst-height"};
    std::string p;
    const bool scale = std::strcmp(c.element, "tovrelscale") == 0;
    for (int i = 0; i < (scale ? 4 : 8); ++i) {
        double v = c.geometry[i];
        if (scale && i >= 2) v -= c.geometry[i - 2]; // width and height
        char name[16];
        std::snprintf(name, sizeof name, "%c%d", i % 2 ? 'y' : 'x', i / 2);
        p += std::string(" ") + (scale ? scale_names[i] : name) + "=" + std::to_string(v);
    }
    return p;
}

// The error on the bus, if any; empty while none.
std::string bus_error(GstElement *pipeline, GstClockTime wait) {
    GstBus *bus = gst_element_get_bus(pipeline);
    GstMessage *m = gst_bus_timed_pop_filtered(bus, wait, GstMessageType(GST_MESSAGE_ERROR));
    gst_object_unref(bus);
    if (!m) return {};
    GError *error = nullptr;
    gst_message_parse_error(m, &error, nullptr);
    std::string text = error ? error->message : "unknown error";
    g_clear_error(&error);
    gst_message_unref(m);
    return text;
}

int finish(GstElement *pipeline, int code) {
    gst_element_set_state(pipeline, GST_STATE_NULL);
    gst_object_unref(pipeline);
    return code;
}

// Skips: a format the library refuses in this build, or an element of
// GStreamer's base plugins (gstreamer1.0-plugins-base) that is missing.
int report_error(const char *name, const std::string &error) {
    if (error.find("by this build") != std::string::npos ||
        error.find("no element") != std::string::npos) {
        std::printf("SKIP %s: %s\n", name, error.c_str());
        return exit_skip;
    }
    std::printf("FAIL %s: %s\n", name, error.c_str());
    return 1;
}

int run_compare(const test_case &c) {
    const std::string caps = std::string("video/x-raw,format=") + c.format;
    char sizes[96];
    std::snprintf(sizes, sizeof sizes, ",width=%d,height=%d", c.in_w, c.in_h);
    std::string line = "videotestsrc num-buffers=" + std::to_string(c.frames) +
                       " pattern=smpte horizontal-speed=7 ! " + caps + sizes +
                       " ! tee name=t ! queue ! appsink name=in sync=false t. ! queue ! " +
                       c.element + geometry_properties(c) + " " + c.properties + " " +
                       (is_rgb(c.format) ? rgb_background : "");
    std::snprintf(sizes, sizeof sizes, ",width=%d,height=%d", c.out_w, c.out_h);
    line += " ! " + caps + sizes + " ! appsink name=out sync=false";
    GError *error = nullptr;
    GstElement *pipeline = gst_parse_launch(line.c_str(), &error);
    if (!pipeline) return report_error(c.name, error ? error->message : line);
    GstAppSink *in = GST_APP_SINK(gst_bin_get_by_name(GST_BIN(pipeline), "in"));
    GstAppSink *out = GST_APP_SINK(gst_bin_get_by_name(GST_BIN(pipeline), "out"));
    gst_object_unref(in);
    gst_object_unref(out);
    gst_element_set_state(pipeline, GST_STATE_PLAYING);
    for (int frame = 0; frame < c.frames; ++frame) {
        GstSample *samples[2] = {};
        for (int tries = 0; tries < 100 && !samples[1]; ++tries) {
            std::string failure = bus_error(pipeline, 0);
            if (!failure.empty()) return finish(pipeline, report_error(c.name, failure));
            GstAppSink *sink = samples[0] ? out : in;
            samples[samples[0] ? 1 : 0] = gst_app_sink_try_pull_sample(sink, 200 * GST_MSECOND);
        }
        if (!samples[1]) {
            if (samples[0]) gst_sample_unref(samples[0]);
            std::printf("FAIL %s: frame %d did not arrive\n", c.name, frame);
            return finish(pipeline, 1);
        }
        const std::string problem = reference_problem(c, samples[0], samples[1]);
        gst_sample_unref(samples[0]);
        gst_sample_unref(samples[1]);
        if (!problem.empty()) {
            std::printf("FAIL %s, frame %d: %s\n", c.name, frame, problem.c_str());
            return finish(pipeline, 1);
        }
    }
    std::printf("PASS %s: %d frames equal to the library's\n", c.name, c.frames);
    return finish(pipeline, 0);
}

// Runs a pipeline to its end: the error it posts, or empty after EOS.
std::string run_to_end(const std::string &line) {
    GError *error = nullptr;
    GstElement *pipeline = gst_parse_launch(line.c_str(), &error);
    if (!pipeline) return error ? error->message : "cannot parse " + line;
    gst_element_set_state(pipeline, GST_STATE_PLAYING);
    GstBus *bus = gst_element_get_bus(pipeline);
    GstMessage *m = gst_bus_timed_pop_filtered(bus, 120 * GST_SECOND,
                                               GstMessageType(GST_MESSAGE_ERROR | GST_MESSAGE_EOS));
    gst_object_unref(bus);
    std::string result = m ? "" : "no end within 120 s";
    if (m && GST_MESSAGE_TYPE(m) == GST_MESSAGE_ERROR) {
        GError *e = nullptr;
        gst_message_parse_error(m, &e, nullptr);
        result = e ? e->message : "unknown error";
        g_clear_error(&e);
    }
    if (m) gst_message_unref(m);
    finish(pipeline, 0);
    return result;
}

// A format the library never scales must stop negotiation with its message.
int run_refusal() {
    const std::string error =
        run_to_end("videotestsrc num-buffers=2 ! video/x-raw,format=GRAY16_LE,width=64,height=48 ! "
                   "tovrelscale ! video/x-raw,width=32,height=24 ! fakesink");
    if (error.find("no element") != std::string::npos) return report_error("refused_caps", error);
    if (error.find("rect:unknown not supported") == std::string::npos) {
        std::printf("FAIL refused_caps: expected the library's refusal, got '%s'\n", error.c_str());
        return 1;
    }
    std::printf("PASS refused_caps: %s\n", error.c_str());
    return 0;
}

// 100 frames through both elements, several threads each (run under the
// address sanitizer in CI).
int run_hundred(const char *name, const char *format) {
    const std::string error = run_to_end(
        std::string("videotestsrc num-buffers=100 pattern=ball ! video/x-raw,format=") + format +
        ",width=160,height=120 ! tovrelscale threads=3 dst-x=3.5 dst-y=2.25 dst-width=150 "
        "dst-height=110.5 ! video/x-raw,width=200,height=150 ! tovrelwarp threads=2 edge-aa=true "
        "perspective=true x0=10 y0=5 x1=190 y1=15 x2=180 y2=140 x3=20 y3=130 ! fakesink");
    if (!error.empty()) return report_error(name, error);
    std::printf("PASS %s: 100 frames\n", name);
    return 0;
}

} // namespace

int main(int argc, char **argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: elements_test PLUGIN CASE\n");
        return 2;
    }
    gst_init(&argc, &argv);
    GError *error = nullptr;
    GstPlugin *plugin = gst_plugin_load_file(argv[1], &error);
    if (!plugin) {
        std::printf("FAIL: cannot load %s: %s\n", argv[1], error ? error->message : "");
        return 1;
    }
    gst_object_unref(plugin);
    const std::string name = argv[2];
    int result = 2;
    if (name == "refused_caps") result = run_refusal();
    if (name == "hundred_frames_bgra") result = run_hundred(argv[2], "BGRA");
    if (name == "hundred_frames_yuy2") result = run_hundred(argv[2], "YUY2");
    if (name == "hundred_frames_i422_10") result = run_hundred(argv[2], "I422_10LE");
    for (const test_case &c : cases)
        if (name == c.name) result = run_compare(c);
    if (result == 2) std::fprintf(stderr, "elements_test: unknown case %s\n", argv[2]);
    gst_deinit();
    return result;
}
