#!/usr/bin/env bash
# Frame rate of a gst-launch-1.0 pipeline of 300 frames 1920x1080 scaled to
# 1280x720, one thread each: tovrelscale against videoscale method=bilinear
# and, where present, videoconvertscale method=bilinear, by the least CPU
# time of a few runs. The net figure takes off the same pipeline without a
# scaler (source and sink alone).
#
# Writes the figures into docs/benchmarks.md (section "In a GStreamer
# pipeline") unless --no-doc.
#
# Usage: bench/gst_scale.sh [--no-doc] [PLUGIN_DIR]   (default build/gst)
# Environment: FORMAT (default YUY2), FRAMES (300), RUNS (best of, 3)
set -euo pipefail
cd "$(dirname "$0")/.."
root=$(pwd)
write_doc=1
if [ "${1:-}" = --no-doc ]; then
  write_doc=0
  shift
fi
GST_PLUGIN_PATH=$(realpath "${1:-build/gst}")
export GST_PLUGIN_PATH
format=${FORMAT:-YUY2}
frames=${FRAMES:-300}
runs=${RUNS:-3}
source="videotestsrc num-buffers=$frames ! video/x-raw,format=$format,width=1920,height=1080"
sink="video/x-raw,width=1280,height=720 ! fakesink"

gst-inspect-1.0 tovrelscale >/dev/null 2>&1 ||
  { echo "tovrelscale not found in $GST_PLUGIN_PATH (build the gsttovrel target)" >&2; exit 1; }

calc() { awk "BEGIN { print $* }"; }

# Least CPU time (user + system of gst-launch-1.0 and its threads) of the
# runs: on a shared machine the wall time also counts the waits for a core.
best_seconds() { # pipeline description
  local best="" t err
  err=$(mktemp)
  for _ in $(seq "$runs"); do
    # shellcheck disable=SC2086
    t=$( { TIMEFORMAT='%3U %3S'; time gst-launch-1.0 -q $1 >/dev/null 2>"$err"; } 2>&1) ||
      { cat "$err" >&2; echo "failed: gst-launch-1.0 $1" >&2; exit 1; }
    t=$(calc "${t% *} + ${t#* }")
    if [ -z "$best" ] || [ "$(calc "($t < $best)")" = 1 ]; then best=$t; fi
  done
  rm -f "$err"
  echo "$best"
}

load_before=$(cut -d' ' -f1-3 /proc/loadavg)
base=$(best_seconds "$source ! fakesink")
printf '%d frames 1920x1080 %s -> 1280x720, best of %d runs; source and sink alone: %.2f s\n' \
  "$frames" "$format" "$runs" "$base"
printf '%-40s %8s %10s %14s\n' "scaler" "fps" "net fps" "net ms/frame"
declare -A net_fps
rows=""
measure() { # label, element
  local t net
  t=$(best_seconds "$source ! $2 ! $sink")
  net=$(calc "$t - $base")
  net_fps[$1]=$(calc "$frames / $net")
  printf '%-40s %8.1f %10.1f %14.2f\n' "$1" "$(calc "$frames / $t")" "${net_fps[$1]}" \
    "$(calc "1000 * $net / $frames")"
  # shellcheck disable=SC2016 # the backquotes are Markdown
  rows+=$(printf '| `%s` | %.1f | %.1f | %.2f |' "$2" "$(calc "$frames / $t")" "${net_fps[$1]}" \
    "$(calc "1000 * $net / $frames")")$'\n'
}
measure "tovrelscale threads=1" "tovrelscale threads=1"
measure "videoscale method=bilinear n-threads=1" "videoscale method=bilinear n-threads=1"
if gst-inspect-1.0 videoconvertscale >/dev/null 2>&1; then
  measure "videoconvertscale method=bilinear" "videoconvertscale method=bilinear n-threads=1"
fi
ratio=$(printf '%.2f' \
  "$(calc "${net_fps[tovrelscale threads=1]} / ${net_fps[videoscale method=bilinear n-threads=1]}")")
echo "tovrelscale / videoscale (net): ${ratio}x"
load_after=$(cut -d' ' -f1-3 /proc/loadavg)
[ "$write_doc" = 1 ] || exit 0

section="<!-- written by bench/gst_scale.sh -->
## In a GStreamer pipeline: \`tovrelscale\` against \`videoscale\`

\`gst-launch-1.0 $source ! SCALER ! $sink\`,
$frames frames $format 1920x1080 -> 1280x720, one thread each. Frames per second from
the least CPU time (user + system) of $runs runs; the net figures take off the same pipeline
without a scaler ($(printf '%.2f' "$base") s for the source and sink alone). tovrelscale
net frames per second / videoscale's: ${ratio}.
Measured $(date -u '+%Y-%m-%d %H:%M UTC'), tovrel commit $(git -C "$root" rev-parse --short HEAD),
$(gst-launch-1.0 --version | sed -n 2p), load average before $load_before, after $load_after.

| scaler | frames/s | net frames/s | net ms/frame |
|---|---|---|---|
${rows%$'\n'}"
# shellcheck source=bench/doc_section.sh
. "$root/bench/doc_section.sh"
write_doc_section "$root/docs/benchmarks.md" "<!-- written by bench/gst_scale.sh -->" "$section"
echo "bench/gst_scale.sh: wrote docs/benchmarks.md" >&2
