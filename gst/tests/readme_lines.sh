#!/usr/bin/env bash
# Runs every gst-launch-1.0 line of the README's GStreamer section as
# written, with the plugin from PLUGIN_DIR. Exit 77 (skip) when all that
# failed did so because the library refuses a format in this build.
#   readme_lines.sh README PLUGIN_DIR
set -uo pipefail
export GST_PLUGIN_PATH=$2
lines=$(sed -n '/^## GStreamer/,/^## [^G]/p' "$1" | grep '^gst-launch-1.0 ')
[ -n "$lines" ] || { echo "no gst-launch-1.0 lines in the GStreamer section of $1"; exit 1; }
failed=0 skipped=0
while IFS= read -r line; do
  if output=$(eval "$line" 2>&1 </dev/null); then
    echo "ok:   $line"
  elif grep -q "by this build" <<<"$output"; then
    echo "skip: $line"
    grep -m1 "ERROR" <<<"$output"
    skipped=1
  else
    echo "FAIL: $line"
    tail -5 <<<"$output"
    failed=1
  fi
done <<<"$lines"
[ $failed = 1 ] && exit 1
[ $skipped = 1 ] && exit 77
exit 0
