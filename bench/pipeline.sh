#!/usr/bin/env bash
# `tovrel scale` against ffmpeg's own scale filter (flags=area) in the same
# pipeline on the same frames: 1920x1080 -> 1280x720 raw frames read from a
# file and written to /dev/null, one thread each. Prints frames per second
# and writes them into docs/benchmarks.md (section "In a pipeline").
#
# Usage: bench/pipeline.sh [--no-doc]
# Environment:
#   TOVREL_BENCH_BUILD       build directory of the tool (default /tmp/build-pipeline)
#   TOVREL_BENCH_FRAMES      frames per run (default 100; CPU times tick in 10 ms)
#   TOVREL_BENCH_RUNS        runs per program and format; the fastest counts (default 5)
#   TOVREL_BENCH_FORMATS     pixel formats (default "yuyv422 rgba")
set -euo pipefail
cd "$(dirname "$0")/.."
root=$(pwd)
build=$(realpath -m "${TOVREL_BENCH_BUILD:-/tmp/build-pipeline}")
frames=${TOVREL_BENCH_FRAMES:-100}
runs=${TOVREL_BENCH_RUNS:-5}
read -r -a formats <<<"${TOVREL_BENCH_FORMATS:-yuyv422 rgba}"
write_doc=1
[ "${1:-}" = --no-doc ] && write_doc=0

command -v ffmpeg >/dev/null || { echo "bench/pipeline.sh: needs ffmpeg (tools/setup.sh)" >&2; exit 1; }
cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DTOVREL_BUILD_TESTS=OFF \
  -DTOVREL_BUILD_TOOLS=ON >"$build.configure.log" 2>&1 || { cat "$build.configure.log"; exit 1; }
cmake --build "$build" -j 2 --target tovrel_tool >/dev/null
tovrel=$build/tools/tovrel

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
TIMEFORMAT='%R %U %S'

# Runs "$@" with stdin from $work/in.raw, output to /dev/null, $runs times;
# prints the least wall time and the least CPU time (user + system) in seconds.
best_of() {
  local wall=inf cpu=inf r t
  for ((r = 0; r < runs; r++)); do
    t=$({ time "$@" <"$work/in.raw" >/dev/null 2>"$work/err.txt"; } 2>&1) ||
      { cat "$work/err.txt" >&2; return 1; }
    read -r w u s <<<"$t"
    wall=$(awk -v a="$wall" -v b="$w" 'BEGIN { print (a == "inf" || b < a) ? b : a }')
    cpu=$(awk -v a="$cpu" -v b="$(awk -v u="$u" -v s="$s" 'BEGIN { print u + s }')" \
      'BEGIN { print (a == "inf" || b < a) ? b : a }')
  done
  echo "$wall $cpu"
}

fps() { awk -v n="$frames" -v t="$1" 'BEGIN { printf "%.1f", n / t }'; }

rows=""
load_before=$(cut -d' ' -f1-3 /proc/loadavg)
for fmt in "${formats[@]}"; do
  ffmpeg -v error -nostdin -f lavfi -i testsrc2=size=1920x1080:rate=25 -frames:v "$frames" \
    -f rawvideo -pix_fmt "$fmt" -y "$work/in.raw"
  echo "bench/pipeline.sh: $fmt, $frames frames, best of $runs runs" >&2
  if ! ours=$(best_of "$tovrel" scale - - --format "$fmt" --size 1920x1080 --dst 0,0,1280,720); then
    rows+="| $fmt | not drawn by this build of the library | | |"$'\n'
    continue
  fi
  theirs=$(best_of ffmpeg -v error -nostdin -threads 1 -filter_threads 1 -f rawvideo \
    -pix_fmt "$fmt" -s 1920x1080 -i - -vf scale=1280:720:flags=area -f rawvideo \
    -pix_fmt "$fmt" -)
  read -r ow oc <<<"$ours"
  read -r tw tc <<<"$theirs"
  ratio=$(awk -v a="$tc" -v b="$oc" 'BEGIN { printf "%.2f", a / b }')
  rows+="| $fmt | $(fps "$oc") ($(fps "$ow")) | $(fps "$tc") ($(fps "$tw")) | $ratio |"$'\n'
done
load_after=$(cut -d' ' -f1-3 /proc/loadavg)

section="<!-- written by bench/pipeline.sh -->
## In a pipeline: \`tovrel scale\` against ffmpeg's \`scale\`

1920x1080 -> 1280x720 raw frames of ffmpeg's testsrc2, $frames frames read
from a file on standard input and written to /dev/null, one thread each:
\`tovrel scale - - --format F --size 1920x1080 --dst 0,0,1280,720\` against
\`ffmpeg -threads 1 -filter_threads 1 -f rawvideo -pix_fmt F -s 1920x1080 -i -
-vf scale=1280:720:flags=area -f rawvideo -pix_fmt F -\`. Frames per second
from the least CPU time (user + system, all threads of the process) of
$runs runs, the least wall time in brackets; the ratio is of the CPU times
(above 1: tovrel is faster). Both include reading and writing the frames.
Measured $(date -u '+%Y-%m-%d %H:%M UTC'), tovrel commit $(git -C "$root" rev-parse --short HEAD),
$(ffmpeg -version | head -1 | cut -d' ' -f1-3), load average before $load_before, after $load_after.

| format | tovrel frames/s | ffmpeg frames/s | ffmpeg time / tovrel time |
|---|---|---|---|
${rows%$'\n'}"
echo "$section"
[ "$write_doc" = 1 ] || exit 0
# shellcheck source=bench/doc_section.sh
. "$root/bench/doc_section.sh"
write_doc_section "$root/docs/benchmarks.md" "<!-- written by bench/pipeline.sh -->" "$section"
echo "bench/pipeline.sh: wrote docs/benchmarks.md" >&2
