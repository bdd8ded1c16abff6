#include "filter.h"

#include <cstring>

GST_DEBUG_CATEGORY(gst_tovrel_debug);
#define GST_CAT_DEFAULT gst_tovrel_debug

namespace tovrel_gst {
namespace {

thread_local report_capture *t_capture = nullptr;

enum { prop_0, prop_background, prop_threads };

constexpr guint default_background = 0xff000000u;
constexpr guint max_threads = 64;

// One frame in flight, shared by the shares of the crew.
struct frame_job {
    GstTovrelFilter *self;
    const draw_plan *plan;
    GstVideoFrame *in;
    GstVideoFrame *out;
    image_descriptor src, dst;
    fill_pattern fill;
    GMutex reports_lock;
    std::string reports;
};

void keep_reports(frame_job *job, const report_capture &capture) {
    if (capture.text().empty()) return;
    g_mutex_lock(&job->reports_lock);
    job->reports += capture.text();
    g_mutex_unlock(&job->reports_lock);
}

void convert_input(void *context, int phase, int period) {
    auto *job = static_cast<frame_job *>(context);
    for (int32_t y = phase; y < job->self->in_w210.height; y += period)
        to_w210(job->in, y, job->self->in_w210);
}

void draw_lines(const draw_plan &plan, const image_descriptor &dst, const image_descriptor &src,
                int phase, int period) {
    if (!plan.fields) {
        if (plan.polygon)
            map_polygon(&dst, &src, plan.vertices, 4, plan.flags, phase, period);
        else
            map_rectangle(&dst, plan.rect[0], plan.rect[1], plan.rect[2], plan.rect[3], &src, 0.0f,
                          0.0f, float(src.width), float(src.height), plan.flags, phase, period);
        return;
    }
    // Each field from the same field of the input. A polygon's lines are
    // frame lines (2 phase + field, step 2 period); a rectangle's phase
    // counts the lines of its destination field.
    for (int field = 0; field < 2; ++field) {
        if (plan.polygon)
            map_polygon(&dst, &src, plan.vertices, 4,
                        plan.flags | (field ? MAP_FIELD_BOTTOM : MAP_FIELD_TOP), 2 * phase + field,
                        2 * period);
        else
            map_rectangle(&dst, plan.rect[0], plan.rect[1], plan.rect[2], plan.rect[3], &src, 0.0f,
                          0.0f, float(src.width), float(src.height),
                          plan.flags | (field ? RECT_SRC_FIELD_BOTTOM | RECT_DST_FIELD_BOTTOM
                                              : RECT_SRC_FIELD_TOP | RECT_DST_FIELD_TOP),
                          phase, period);
    }
}

// The output lines a share draws: every period-th line, or for fields
// every period-th pair of lines (field line k of each field).
template <typename F>
void for_share_lines(const draw_plan &plan, int32_t height, int phase, int period, F &&line) {
    const int32_t run = plan.fields ? 2 : 1;
    for (int32_t y = run * phase; y < height; y += run * period)
        for (int32_t i = 0; i < run && y + i < height; ++i) line(y + i);
}

void draw_share(void *context, int phase, int period) {
    auto *job = static_cast<frame_job *>(context);
    const image_descriptor &dst = job->dst;
    const draw_plan &plan = *job->plan;
    if (plan.fill) {
        const int32_t bytes = dst.width * job->self->entry->bytes_per_pixel;
        for_share_lines(plan, dst.height, phase, period, [&](int32_t y) {
            fill_line(static_cast<uint8_t *>(dst.pixels) + static_cast<ptrdiff_t>(y) * dst.pitch,
                      bytes, job->fill);
        });
    }
    {
        report_capture capture;
        draw_lines(plan, dst, job->src, phase, period);
        keep_reports(job, capture);
    }
    if (job->self->entry->how != layout::direct)
        for_share_lines(plan, dst.height, phase, period,
                        [&](int32_t y) { from_w210(job->self->out_w210, y, job->out); });
}

// The library's image of a frame: the frame itself, or its W210 copy.
image_descriptor library_image(const format_entry &e, GstVideoFrame *frame, w210_image &copy) {
    if (e.how != layout::direct)
        return describe(e.code, copy.width, copy.height, copy.words, copy.pitch());
    return describe(e.code, GST_VIDEO_FRAME_WIDTH(frame), GST_VIDEO_FRAME_HEIGHT(frame),
                    GST_VIDEO_FRAME_PLANE_DATA(frame, 0), GST_VIDEO_FRAME_PLANE_STRIDE(frame, 0));
}

// Draws the plan once between two small images of the negotiated format
// and returns what the library reports: its refusal, or nothing.
std::string probe(const format_entry &e, const draw_plan &plan) {
    constexpr int32_t side = 4;
    uint8_t src_pixels[side * side * 4] = {}, dst_pixels[side * side * 4] = {};
    const int32_t pitch = side * e.bytes_per_pixel;
    const image_descriptor src = describe(e.code, side, side, src_pixels, pitch);
    const image_descriptor dst = describe(e.code, side, side, dst_pixels, pitch);
    draw_plan small = plan;
    const float corners[4][2] = {{0, 0}, {side, 0}, {side, side}, {0, side}};
    for (int i = 0; i < 4; ++i)
        small.vertices[i] = {corners[i][0], corners[i][1], 1.0f, corners[i][0], corners[i][1]};
    small.rect[0] = small.rect[1] = 0.0f;
    small.rect[2] = small.rect[3] = float(side);
    report_capture capture;
    draw_lines(small, dst, src, 0, 1);
    return capture.text();
}

std::string one_line(std::string text) {
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.pop_back();
    for (char &c : text)
        if (c == '\n') c = ' ';
    return text;
}

} // namespace

report_capture::report_capture() : outer_(t_capture) {
    t_capture = this;
}
report_capture::~report_capture() {
    t_capture = outer_;
}

void TOVREL_CALL report_line(const char *line, void *) {
    if (t_capture)
        t_capture->text_ += line;
    else
        GST_WARNING("tovrel: %s", line);
}

void install_report_sink() {
    static gsize once = 0;
    if (g_once_init_enter(&once)) {
        tovrel_set_report_sink(&report_line, nullptr);
        g_once_init_leave(&once, 1);
    }
}

} // namespace tovrel_gst

using namespace tovrel_gst;

G_DEFINE_ABSTRACT_TYPE(GstTovrelFilter, gst_tovrel_filter, GST_TYPE_VIDEO_FILTER)

static void gst_tovrel_filter_set_property(GObject *object, guint id, const GValue *value,
                                           GParamSpec *pspec) {
    GstTovrelFilter *self = GST_TOVREL_FILTER(object);
    GST_OBJECT_LOCK(self);
    switch (id) {
    case prop_background:
        self->background = g_value_get_uint(value);
        break;
    case prop_threads:
        self->threads = g_value_get_uint(value);
        break;
    default:
        G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, pspec);
    }
    GST_OBJECT_UNLOCK(self);
}

static void gst_tovrel_filter_get_property(GObject *object, guint id, GValue *value,
                                           GParamSpec *pspec) {
    GstTovrelFilter *self = GST_TOVREL_FILTER(object);
    GST_OBJECT_LOCK(self);
    switch (id) {
    case prop_background:
        g_value_set_uint(value, self->background);
        break;
    case prop_threads:
        g_value_set_uint(value, self->threads);
        break;
    default:
        G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, pspec);
    }
    GST_OBJECT_UNLOCK(self);
}

static void gst_tovrel_filter_finalize(GObject *object) {
    GstTovrelFilter *self = GST_TOVREL_FILTER(object);
    delete self->crew;
    self->in_w210.release();
    self->out_w210.release();
    G_OBJECT_CLASS(gst_tovrel_filter_parent_class)->finalize(object);
}

static gboolean gst_tovrel_filter_set_info(GstVideoFilter *filter, GstCaps *, GstVideoInfo *in,
                                           GstCaps *, GstVideoInfo *out) {
    GstTovrelFilter *self = GST_TOVREL_FILTER(filter);
    const format_entry *e = find_entry(GST_VIDEO_INFO_FORMAT(in));
    if (!e || GST_VIDEO_INFO_FORMAT(in) != GST_VIDEO_INFO_FORMAT(out)) {
        GST_ELEMENT_ERROR(self, CORE, NEGOTIATION,
                          ("%s and %s cannot be drawn one into the other", GST_VIDEO_INFO_NAME(in),
                           GST_VIDEO_INFO_NAME(out)),
                          (nullptr));
        return FALSE;
    }
    draw_plan plan;
    std::string problem;
    if (!GST_TOVREL_FILTER_GET_CLASS(self)->plan(self, in, out, &plan, &problem)) {
        GST_ELEMENT_ERROR(self, LIBRARY, SETTINGS, ("%s", problem.c_str()), (nullptr));
        return FALSE;
    }
    plan.fields = GST_VIDEO_INFO_IS_INTERLACED(in);
    const std::string refusal = probe(*e, plan);
    if (!refusal.empty()) {
        GST_ELEMENT_ERROR(self, CORE, NEGOTIATION,
                          ("tovrel refuses %s %dx%d to %dx%d: %s", GST_VIDEO_INFO_NAME(in),
                           GST_VIDEO_INFO_WIDTH(in), GST_VIDEO_INFO_HEIGHT(in),
                           GST_VIDEO_INFO_WIDTH(out), GST_VIDEO_INFO_HEIGHT(out),
                           one_line(refusal).c_str()),
                          (nullptr));
        return FALSE;
    }
    self->entry = e;
    self->in_w210.release();
    self->out_w210.release();
    if (e->how != layout::direct) {
        self->in_w210.resize(GST_VIDEO_INFO_WIDTH(in), GST_VIDEO_INFO_HEIGHT(in));
        self->out_w210.resize(GST_VIDEO_INFO_WIDTH(out), GST_VIDEO_INFO_HEIGHT(out));
    }
    // A whole-frame rectangle between equal sizes is a copy: let it pass.
    const bool copy = !plan.polygon && !plan.fill &&
                      GST_VIDEO_INFO_WIDTH(in) == GST_VIDEO_INFO_WIDTH(out) &&
                      GST_VIDEO_INFO_HEIGHT(in) == GST_VIDEO_INFO_HEIGHT(out);
    gst_base_transform_set_passthrough(GST_BASE_TRANSFORM(self), copy);
    return TRUE;
}

static GstFlowReturn gst_tovrel_filter_transform_frame(GstVideoFilter *filter, GstVideoFrame *in,
                                                       GstVideoFrame *out) {
    GstTovrelFilter *self = GST_TOVREL_FILTER(filter);
    draw_plan plan;
    std::string problem;
    if (!GST_TOVREL_FILTER_GET_CLASS(self)->plan(self, &in->info, &out->info, &plan, &problem)) {
        GST_ELEMENT_ERROR(self, LIBRARY, SETTINGS, ("%s", problem.c_str()), (nullptr));
        return GST_FLOW_ERROR;
    }
    plan.fields = GST_VIDEO_FRAME_IS_INTERLACED(in);
    GST_OBJECT_LOCK(self);
    const guint background = self->background;
    const int threads = int(self->threads);
    GST_OBJECT_UNLOCK(self);

    frame_job job{};
    job.self = self;
    job.plan = &plan;
    job.in = in;
    job.out = out;
    job.src = library_image(*self->entry, in, self->in_w210);
    job.dst = library_image(*self->entry, out, self->out_w210);
    job.fill = make_fill(&out->info, background);
    g_mutex_init(&job.reports_lock);
    if (!self->crew) self->crew = new line_crew;
    if (self->entry->how != layout::direct) self->crew->run(threads, &convert_input, &job);
    self->crew->run(threads, &draw_share, &job);
    g_mutex_clear(&job.reports_lock);
    if (!job.reports.empty()) {
        GST_ELEMENT_ERROR(self, LIBRARY, FAILED,
                          ("tovrel refused a frame: %s", one_line(job.reports).c_str()), (nullptr));
        return GST_FLOW_ERROR;
    }
    return GST_FLOW_OK;
}

void gst_tovrel_filter_add_pad_templates(GstTovrelFilterClass *klass, int max_width) {
    GstCaps *caps = element_caps(max_width);
    gst_element_class_add_pad_template(
        GST_ELEMENT_CLASS(klass), gst_pad_template_new("sink", GST_PAD_SINK, GST_PAD_ALWAYS, caps));
    gst_element_class_add_pad_template(
        GST_ELEMENT_CLASS(klass), gst_pad_template_new("src", GST_PAD_SRC, GST_PAD_ALWAYS, caps));
    gst_caps_unref(caps);
}

static void gst_tovrel_filter_class_init(GstTovrelFilterClass *klass) {
    GObjectClass *object_class = G_OBJECT_CLASS(klass);
    object_class->set_property = gst_tovrel_filter_set_property;
    object_class->get_property = gst_tovrel_filter_get_property;
    object_class->finalize = gst_tovrel_filter_finalize;
    g_object_class_install_property(
        object_class, prop_background,
        g_param_spec_uint("background", "Background",
                          "Colour of the output outside the drawn picture, 0xAARRGGBB "
                          "(converted with the caps' colour matrix for YUV)",
                          0, G_MAXUINT32, default_background, property_flags));
    g_object_class_install_property(
        object_class, prop_threads,
        g_param_spec_uint("threads", "Threads",
                          "Threads that share each frame's lines (the streaming thread is one)", 1,
                          max_threads, 1, property_flags));
    GST_VIDEO_FILTER_CLASS(klass)->set_info = gst_tovrel_filter_set_info;
    GST_VIDEO_FILTER_CLASS(klass)->transform_frame = gst_tovrel_filter_transform_frame;
    install_report_sink();
}

static void gst_tovrel_filter_init(GstTovrelFilter *self) {
    self->background = default_background;
    self->threads = 1;
}
