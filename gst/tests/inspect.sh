#!/usr/bin/env bash
# gst-inspect-1.0 finds the plugin in PLUGIN_DIR and lists both elements
# with all their properties.
set -euo pipefail
export GST_PLUGIN_PATH=$1
command -v gst-inspect-1.0 >/dev/null || { echo "gst-inspect-1.0 missing (gstreamer1.0-tools)"; exit 1; }
plugin=$(gst-inspect-1.0 tovrel)
for element in tovrelscale tovrelwarp; do
  grep -q "$element" <<<"$plugin" || { echo "plugin tovrel does not list $element"; exit 1; }
done
check() { # element, properties...
  local element=$1 text
  shift
  text=$(gst-inspect-1.0 "$element")
  for p in "$@"; do
    grep -Eq "^  $p +:" <<<"$text" || { echo "$element: no property $p"; exit 1; }
  done
}
check tovrelscale dst-x dst-y dst-width dst-height background threads
check tovrelwarp x0 y0 x1 y1 x2 y2 x3 y3 perspective edge-aa no-filter background threads
echo "both elements and their properties listed"
