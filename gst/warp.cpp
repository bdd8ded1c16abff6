// tovrelwarp: the input drawn into a quadrilateral of an output frame of
// the same size, as `tovrel warp` draws it, over a background.
#include <array>

#include "filter.h"
#include "quad.h"

#define GST_CAT_DEFAULT gst_tovrel_debug

using namespace tovrel_gst;

struct GstTovrelWarp {
    GstTovrelFilter parent;
    gdouble quad[8]; // x0, y0 .. x3, y3: top-left, top-right, bottom-right, bottom-left
    gboolean perspective;
    gboolean edge_aa;
    gboolean no_filter;
};

struct GstTovrelWarpClass {
    GstTovrelFilterClass parent_class;
};

G_DEFINE_TYPE(GstTovrelWarp, gst_tovrel_warp, GST_TYPE_TOVREL_FILTER)

namespace {

enum { prop_0, prop_x0, prop_y3 = prop_x0 + 7, prop_perspective, prop_edge_aa, prop_no_filter };

// The polygon paths buffer one destination line of at most 8192 pixels.
constexpr int32_t max_width = 8192;
constexpr double max_coordinate = 1.0e6;

GstTovrelWarp *as_warp(gpointer p) {
    return reinterpret_cast<GstTovrelWarp *>(p);
}

bool plan_warp(GstTovrelFilter *filter, const GstVideoInfo *in, const GstVideoInfo *out,
               draw_plan *plan, std::string *problem) {
    GstTovrelWarp *self = as_warp(filter);
    std::array<double, 8> quad;
    GST_OBJECT_LOCK(self);
    std::copy(self->quad, self->quad + 8, quad.begin());
    const bool perspective = self->perspective;
    plan->flags = (self->no_filter ? MAP_NO_FILTER : 0u) | (self->edge_aa ? MAP_EDGE_AA : 0u);
    GST_OBJECT_UNLOCK(self);
    // All corners at 0 (their defaults): the whole frame.
    if (quad == std::array<double, 8>{}) {
        const double w = GST_VIDEO_INFO_WIDTH(out), h = GST_VIDEO_INFO_HEIGHT(out);
        quad = {0.0, 0.0, w, 0.0, w, h, 0.0, h};
    }
    std::array<map_vertex, 4> vertices;
    *problem = tovrel_tool::make_quad_vertices(GST_VIDEO_INFO_WIDTH(in), GST_VIDEO_INFO_HEIGHT(in),
                                               quad, perspective, vertices);
    if (!problem->empty()) {
        *problem = "tovrelwarp: " + *problem;
        return false;
    }
    plan->polygon = true;
    std::copy(vertices.begin(), vertices.end(), plan->vertices);
    plan->fill = true;
    return true;
}

void warp_set_property(GObject *object, guint id, const GValue *value, GParamSpec *pspec) {
    GstTovrelWarp *self = as_warp(object);
    GST_OBJECT_LOCK(self);
    if (id >= prop_x0 && id <= prop_y3)
        self->quad[id - prop_x0] = g_value_get_double(value);
    else if (id == prop_perspective)
        self->perspective = g_value_get_boolean(value);
    else if (id == prop_edge_aa)
        self->edge_aa = g_value_get_boolean(value);
    else if (id == prop_no_filter)
        self->no_filter = g_value_get_boolean(value);
    else
        G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, pspec);
    GST_OBJECT_UNLOCK(self);
}

void warp_get_property(GObject *object, guint id, GValue *value, GParamSpec *pspec) {
    GstTovrelWarp *self = as_warp(object);
    GST_OBJECT_LOCK(self);
    if (id >= prop_x0 && id <= prop_y3)
        g_value_set_double(value, self->quad[id - prop_x0]);
    else if (id == prop_perspective)
        g_value_set_boolean(value, self->perspective);
    else if (id == prop_edge_aa)
        g_value_set_boolean(value, self->edge_aa);
    else if (id == prop_no_filter)
        g_value_set_boolean(value, self->no_filter);
    else
        G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, pspec);
    GST_OBJECT_UNLOCK(self);
}

} // namespace

static void gst_tovrel_warp_class_init(GstTovrelWarpClass *klass) {
    GObjectClass *object_class = G_OBJECT_CLASS(klass);
    object_class->set_property = warp_set_property;
    object_class->get_property = warp_get_property;
    static const char *const corner_names[4] = {"top-left", "top-right", "bottom-right",
                                                "bottom-left"};
    for (int i = 0; i < 8; ++i) {
        gchar *name = g_strdup_printf("%c%d", i % 2 ? 'y' : 'x', i / 2);
        gchar *blurb = g_strdup_printf("%s of the output position of the input's %s corner "
                                       "(all eight 0: the whole frame)",
                                       i % 2 ? "Line" : "Column", corner_names[i / 2]);
        // Names and blurbs stay with the class for the life of the process.
        g_object_class_install_property(object_class, prop_x0 + i,
                                        g_param_spec_double(g_intern_string(name),
                                                            g_intern_string(name),
                                                            g_intern_string(blurb), -max_coordinate,
                                                            max_coordinate, 0.0, property_flags));
        g_free(name);
        g_free(blurb);
    }
    g_object_class_install_property(
        object_class, prop_perspective,
        g_param_spec_boolean("perspective", "Perspective",
                             "Project the input onto the quadrilateral (needs a convex one); "
                             "off: interpolate linearly across it",
                             FALSE, property_flags));
    g_object_class_install_property(
        object_class, prop_edge_aa,
        g_param_spec_boolean("edge-aa", "Edge anti-aliasing",
                             "Blend the quadrilateral's edge pixels by their exact coverage", FALSE,
                             property_flags));
    g_object_class_install_property(
        object_class, prop_no_filter,
        g_param_spec_boolean("no-filter", "No filter",
                             "Point sampling, no area filter when the picture shrinks", FALSE,
                             property_flags));
    gst_element_class_set_static_metadata(
        GST_ELEMENT_CLASS(klass), "tovrel warp", "Filter/Effect/Video",
        "Draws video into a quadrilateral of the frame, affine or in perspective",
        "tovrel developers");
    GstTovrelFilterClass *filter_class = reinterpret_cast<GstTovrelFilterClass *>(klass);
    gst_tovrel_filter_add_pad_templates(filter_class, max_width);
    filter_class->plan = plan_warp;
}

static void gst_tovrel_warp_init(GstTovrelWarp *) {}
