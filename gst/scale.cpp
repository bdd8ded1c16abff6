// tovrelscale: the input scaled to the negotiated output size with exact
// area weights, or into a sub-pixel rectangle of it over a background.
#include <cmath>

#include "filter.h"

#define GST_CAT_DEFAULT gst_tovrel_debug

using namespace tovrel_gst;

struct GstTovrelScale {
    GstTovrelFilter parent;
    gdouble rect[4]; // dst-x, dst-y, dst-width, dst-height; 0 width or height: to the edge
};

struct GstTovrelScaleClass {
    GstTovrelFilterClass parent_class;
};

G_DEFINE_TYPE(GstTovrelScale, gst_tovrel_scale, GST_TYPE_TOVREL_FILTER)

namespace {

enum { prop_0, prop_dst_x, prop_dst_y, prop_dst_width, prop_dst_height };

constexpr int32_t max_width = 32767;
constexpr int32_t max_height = 32767;

GstTovrelScale *as_scale(gpointer p) {
    return reinterpret_cast<GstTovrelScale *>(p);
}

bool plan_scale(GstTovrelFilter *filter, const GstVideoInfo *, const GstVideoInfo *out,
                draw_plan *plan, std::string *) {
    GstTovrelScale *self = as_scale(filter);
    GST_OBJECT_LOCK(self);
    const double x = self->rect[0], y = self->rect[1];
    double w = self->rect[2], h = self->rect[3];
    GST_OBJECT_UNLOCK(self);
    const double out_w = GST_VIDEO_INFO_WIDTH(out), out_h = GST_VIDEO_INFO_HEIGHT(out);
    if (w == 0.0) w = out_w - x;
    if (h == 0.0) h = out_h - y;
    plan->polygon = false;
    plan->rect[0] = float(x);
    plan->rect[1] = float(y);
    plan->rect[2] = float(x + w);
    plan->rect[3] = float(y + h);
    plan->flags = 0;
    plan->fill = !(x == 0.0 && y == 0.0 && w == out_w && h == out_h);
    return true;
}

// Any size on the other side, same format and frame rate; the pixel
// aspect ratio is left open too and fixated to the input's.
GstCaps *scale_transform_caps(GstBaseTransform *trans, GstPadDirection, GstCaps *caps,
                              GstCaps *filter) {
    GstCaps *open = gst_caps_new_empty();
    for (guint i = 0; i < gst_caps_get_size(caps); ++i) {
        GstStructure *s = gst_structure_copy(gst_caps_get_structure(caps, i));
        gst_structure_remove_fields(s, "width", "height", "pixel-aspect-ratio", nullptr);
        gst_caps_append_structure_full(open, s,
                                       gst_caps_features_copy(gst_caps_get_features(caps, i)));
    }
    GstCaps *tmpl = gst_pad_get_pad_template_caps(GST_BASE_TRANSFORM_SRC_PAD(trans));
    GstCaps *result = gst_caps_intersect(open, tmpl);
    gst_caps_unref(open);
    gst_caps_unref(tmpl);
    if (filter) {
        GstCaps *both = gst_caps_intersect_full(filter, result, GST_CAPS_INTERSECT_FIRST);
        gst_caps_unref(result);
        result = both;
    }
    return result;
}

// Sizes the other side does not fix follow the input: both, or the one
// left open keeps the input's shape.
GstCaps *scale_fixate_caps(GstBaseTransform *, GstPadDirection, GstCaps *caps, GstCaps *othercaps) {
    othercaps = gst_caps_make_writable(gst_caps_truncate(othercaps));
    const GstStructure *from = gst_caps_get_structure(caps, 0);
    GstStructure *to = gst_caps_get_structure(othercaps, 0);
    int in_w = 0, in_h = 0, out_w = 0, out_h = 0;
    gst_structure_get_int(from, "width", &in_w);
    gst_structure_get_int(from, "height", &in_h);
    const bool w_fixed = gst_structure_get_int(to, "width", &out_w);
    const bool h_fixed = gst_structure_get_int(to, "height", &out_h);
    if (w_fixed && !h_fixed && in_w > 0)
        gst_structure_fixate_field_nearest_int(to, "height",
                                               int(std::lround(double(out_w) * in_h / in_w)));
    else if (h_fixed && !w_fixed && in_h > 0)
        gst_structure_fixate_field_nearest_int(to, "width",
                                               int(std::lround(double(out_h) * in_w / in_h)));
    gst_structure_fixate_field_nearest_int(to, "width", in_w);
    gst_structure_fixate_field_nearest_int(to, "height", in_h);
    int par_n = 1, par_d = 1;
    gst_structure_get_fraction(from, "pixel-aspect-ratio", &par_n, &par_d);
    if (gst_structure_has_field(to, "pixel-aspect-ratio"))
        gst_structure_fixate_field_nearest_fraction(to, "pixel-aspect-ratio", par_n, par_d);
    else
        gst_structure_set(to, "pixel-aspect-ratio", GST_TYPE_FRACTION, par_n, par_d, nullptr);
    return gst_caps_fixate(othercaps);
}

void scale_set_property(GObject *object, guint id, const GValue *value, GParamSpec *pspec) {
    GstTovrelScale *self = as_scale(object);
    if (id < prop_dst_x || id > prop_dst_height) {
        G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, pspec);
        return;
    }
    GST_OBJECT_LOCK(self);
    self->rect[id - prop_dst_x] = g_value_get_double(value);
    GST_OBJECT_UNLOCK(self);
    // A passed-through copy would ignore the new rectangle.
    gst_base_transform_set_passthrough(GST_BASE_TRANSFORM(self), FALSE);
}

void scale_get_property(GObject *object, guint id, GValue *value, GParamSpec *pspec) {
    GstTovrelScale *self = as_scale(object);
    if (id < prop_dst_x || id > prop_dst_height) {
        G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, pspec);
        return;
    }
    GST_OBJECT_LOCK(self);
    g_value_set_double(value, self->rect[id - prop_dst_x]);
    GST_OBJECT_UNLOCK(self);
}

} // namespace

static void gst_tovrel_scale_class_init(GstTovrelScaleClass *klass) {
    GObjectClass *object_class = G_OBJECT_CLASS(klass);
    object_class->set_property = scale_set_property;
    object_class->get_property = scale_get_property;
    struct {
        const char *name, *nick, *blurb;
    } const rect_props[4] = {
        {"dst-x", "Destination x", "Left edge of the picture in the output, in pixels"},
        {"dst-y", "Destination y", "Top edge of the picture in the output, in lines"},
        {"dst-width", "Destination width",
         "Width of the picture in the output, in pixels (0: to the right edge)"},
        {"dst-height", "Destination height",
         "Height of the picture in the output, in lines (0: to the bottom edge)"},
    };
    for (int i = 0; i < 4; ++i)
        g_object_class_install_property(
            object_class, prop_dst_x + i,
            g_param_spec_double(rect_props[i].name, rect_props[i].nick, rect_props[i].blurb,
                                i < 2 ? -max_width : 0.0, i % 2 ? max_height : max_width, 0.0,
                                property_flags));
    gst_element_class_set_static_metadata(
        GST_ELEMENT_CLASS(klass), "tovrel scale", "Filter/Converter/Video/Scaler",
        "Scales video with exact area weights, optionally into a sub-pixel rectangle",
        "tovrel developers");
    GstTovrelFilterClass *filter_class = reinterpret_cast<GstTovrelFilterClass *>(klass);
    gst_tovrel_filter_add_pad_templates(filter_class, max_width);
    filter_class->plan = plan_scale;
    GstBaseTransformClass *trans_class = GST_BASE_TRANSFORM_CLASS(klass);
    trans_class->transform_caps = scale_transform_caps;
    trans_class->fixate_caps = scale_fixate_caps;
}

static void gst_tovrel_scale_init(GstTovrelScale *) {}
