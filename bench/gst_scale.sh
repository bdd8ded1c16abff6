#!/usr/bin/env bash
# Frame rate of a gst-launch-1.0 pipeline of 300 frames 1920x1080 scaled to
# 1280x720, one thread each: tovrelscale against videoscale method=bilinear
# and, where present, videoconvertscale method=bilinear. The net figure
# takes off the same pipeline without a scaler (source and sink alone).
#
# Usage: bench/gst_scale.sh [PLUGIN_DIR]   (default build/gst)
# Environment: FORMAT (default YUY2), FRAMES (300), RUNS (best of, 3)
set -euo pipefail
cd "$(dirname "$0")/.."
export GST_PLUGIN_PATH=$(realpath "${1:-build/gst}")
format=${FORMAT:-YUY2}
frames=${FRAMES:-300}
runs=${RUNS:-3}
source="videotestsrc num-buffers=$frames ! video/x-raw,format=$format,width=1920,height=1080"
sink="video/x-raw,width=1280,height=720 ! fakesink"

gst-inspect-1.0 tovrelscale >/dev/null 2>&1 ||
  { echo "tovrelscale not found in $GST_PLUGIN_PATH (build the gsttovrel target)" >&2; exit 1; }

calc() { awk "BEGIN { print $* }"; }

best_seconds() { # pipeline description
  local best="" start end t
  for _ in $(seq "$runs"); do
    start=$(date +%s.%N)
    # shellcheck disable=SC2086
    gst-launch-1.0 -q $1 >/dev/null || { echo "failed: gst-launch-1.0 $1" >&2; exit 1; }
    end=$(date +%s.%N)
    t=$(calc "$end - $start")
    if [ -z "$best" ] || [ "$(calc "($t < $best)")" = 1 ]; then best=$t; fi
  done
  echo "$best"
}

base=$(best_seconds "$source ! fakesink")
printf '%d frames 1920x1080 %s -> 1280x720, best of %d runs; source and sink alone: %.2f s\n' \
  "$frames" "$format" "$runs" "$base"
printf '%-40s %8s %10s %14s\n' "scaler" "fps" "net fps" "net ms/frame"
declare -A net_fps
measure() { # label, element
  local t net
  t=$(best_seconds "$source ! $2 ! $sink")
  net=$(calc "$t - $base")
  net_fps[$1]=$(calc "$frames / $net")
  printf '%-40s %8.1f %10.1f %14.2f\n' "$1" "$(calc "$frames / $t")" "${net_fps[$1]}" \
    "$(calc "1000 * $net / $frames")"
}
measure "tovrelscale threads=1" "tovrelscale threads=1"
measure "videoscale method=bilinear n-threads=1" "videoscale method=bilinear n-threads=1"
if gst-inspect-1.0 videoconvertscale >/dev/null 2>&1; then
  measure "videoconvertscale method=bilinear" "videoconvertscale method=bilinear n-threads=1"
fi
printf 'tovrelscale / videoscale (net): %.2fx\n' \
  "$(calc "${net_fps[tovrelscale threads=1]} / ${net_fps[videoscale method=bilinear n-threads=1]}")"
