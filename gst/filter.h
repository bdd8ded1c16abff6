// What tovrelscale and tovrelwarp share: a GstVideoFilter that negotiates
// the formats of frames.h, refuses at negotiation what the library refuses,
// and draws each frame with one library call per share of lines.
#pragma once

#include <string>

#include <gst/video/gstvideofilter.h>
#include <gst/video/video.h>
#include <tovrel.h>

#include "frames.h"
#include "line_crew.h"

namespace tovrel_gst {

// One frame's drawing, fixed before the first line is drawn.
struct draw_plan {
    bool polygon = false; // map_polygon with `vertices`, else map_rectangle
    float rect[4] = {};   // destination x0, y0, x1, y1; the source is the whole input
    map_vertex vertices[4] = {};
    uint32_t flags = 0;
    bool fill = false;   // clear to the background before drawing
    bool fields = false; // interlaced: each field drawn from the input's same field
};

// Every property of both elements may change while playing.
constexpr GParamFlags property_flags =
    GParamFlags(G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS | GST_PARAM_MUTABLE_PLAYING |
                GST_PARAM_CONTROLLABLE);

// Collects the library's report lines made on this thread while alive.
class report_capture {
public:
    report_capture();
    ~report_capture();
    report_capture(const report_capture &) = delete;
    report_capture &operator=(const report_capture &) = delete;
    const std::string &text() const { return text_; }

private:
    friend void TOVREL_CALL report_line(const char *line, void *user);
    std::string text_;
    report_capture *outer_;
};

// Routes the library's reports to the capturing thread, or to the debug
// log when nothing captures. Idempotent.
void install_report_sink();

} // namespace tovrel_gst

G_BEGIN_DECLS

#define GST_TYPE_TOVREL_FILTER (gst_tovrel_filter_get_type())
#define GST_TOVREL_FILTER(obj)                                                                     \
    (G_TYPE_CHECK_INSTANCE_CAST((obj), GST_TYPE_TOVREL_FILTER, GstTovrelFilter))
#define GST_TOVREL_FILTER_GET_CLASS(obj)                                                           \
    (G_TYPE_INSTANCE_GET_CLASS((obj), GST_TYPE_TOVREL_FILTER, GstTovrelFilterClass))

struct GstTovrelFilter {
    GstVideoFilter parent;
    // Properties, under the object lock.
    guint background; // 0xAARRGGBB
    guint threads;
    // Set at negotiation.
    const tovrel_gst::format_entry *entry;
    tovrel_gst::w210_image in_w210, out_w210; // used by the 10-bit formats
    tovrel_gst::line_crew *crew;
};

struct GstTovrelFilterClass {
    GstVideoFilterClass parent_class;
    // Plans the next frame from the properties and the negotiated sizes;
    // false with a message when the properties cannot be drawn.
    bool (*plan)(GstTovrelFilter *self, const GstVideoInfo *in, const GstVideoInfo *out,
                 tovrel_gst::draw_plan *plan, std::string *problem);
};

GType gst_tovrel_filter_get_type(void);

// The pad templates, for widths up to max_width.
void gst_tovrel_filter_add_pad_templates(GstTovrelFilterClass *klass, int max_width);

GType gst_tovrel_scale_get_type(void);
GType gst_tovrel_warp_get_type(void);

GST_DEBUG_CATEGORY_EXTERN(gst_tovrel_debug);

G_END_DECLS
