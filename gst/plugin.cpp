// The tovrel plugin: tovrelscale and tovrelwarp.
#include <gst/gst.h>

#include "filter.h"

#define PACKAGE "tovrel"

static gboolean plugin_init(GstPlugin *plugin) {
    GST_DEBUG_CATEGORY_INIT(gst_tovrel_debug, "tovrel", 0, "tovrel scale and warp elements");
    return gst_element_register(plugin, "tovrelscale", GST_RANK_NONE,
                                gst_tovrel_scale_get_type()) &&
           gst_element_register(plugin, "tovrelwarp", GST_RANK_NONE, gst_tovrel_warp_get_type());
}

GST_PLUGIN_DEFINE(GST_VERSION_MAJOR, GST_VERSION_MINOR, tovrel,
                  "Exact area-weighted scaling and quadrilateral warps of video", plugin_init,
                  TOVREL_VERSION, "Proprietary", "tovrel", "tovrel")
