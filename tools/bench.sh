#!/usr/bin/env bash
# Builds and runs the benchmarks beside their peers (OpenCV, pixman, libyuv,
# libswscale, memcpy), prints the ratio table and writes it to docs/benchmarks.md with
# the machine it ran on.
#
# Usage: tools/bench.sh [--quick] [--no-doc] [benchmark arguments...]
#   --quick   2 repetitions of 0.05 s each, table only (a smoke run)
#   --no-doc  print the table only, leave docs/benchmarks.md alone
#   e.g. tools/bench.sh --benchmark_filter=w1_
# Environment:
#   TOVREL_BENCH_BUILD        build directory (default /tmp/build-bench)
#   TOVREL_BENCH_REPETITIONS  repetitions per benchmark (default 20)
#   TOVREL_BENCH_MIN_TIME     seconds per repetition (default 0.05)
#   TOVREL_BENCH_SKIP_BUILD   1: run the binaries already in the build directory
set -euo pipefail
cd "$(dirname "$0")/.."
root=$(pwd)
build=$(realpath -m "${TOVREL_BENCH_BUILD:-/tmp/build-bench}")
reps=${TOVREL_BENCH_REPETITIONS:-20}
min_time=${TOVREL_BENCH_MIN_TIME:-0.05}
write_doc=1
extra=()
for a in "$@"; do
  case "$a" in
    --quick) reps=2; min_time=0.05; write_doc=0 ;;
    --no-doc) write_doc=0 ;;
    *) extra+=("$a") ;;
  esac
done
benches=(bench_warp bench_rect bench_exact_ratio)

if [ "${TOVREL_BENCH_SKIP_BUILD:-0}" != 1 ]; then
  cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release \
    -DTOVREL_BUILD_BENCH=ON -DTOVREL_BUILD_TESTS=OFF -DTOVREL_BUILD_TOOLS=OFF >"$build.configure.log" 2>&1 ||
    { cat "$build.configure.log"; exit 1; }
  cmake --build "$build" -j 2 --target "${benches[@]}"
fi

out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT
cd "$out"
load_before=$(cut -d' ' -f1-3 /proc/loadavg)
for b in "${benches[@]}"; do
  echo "tools/bench.sh: running $b ($reps repetitions of ${min_time} s, interleaved)" >&2
  "$build/bench/$b" --benchmark_format=json --benchmark_repetitions="$reps" \
    --benchmark_min_time="$min_time" --benchmark_enable_random_interleaving=true \
    "${extra[@]}" >"$b.json"
done
load_after=$(cut -d' ' -f1-3 /proc/loadavg)

table=$(python3 "$root/bench/ratios.py" "${benches[@]/%/.json}")
echo
echo "$table"

[ "$write_doc" = 1 ] || exit 0

cpu=$(grep -m1 '^model name' /proc/cpuinfo | cut -d: -f2- | sed 's/^ *//')
logical=$(grep -c '^processor' /proc/cpuinfo)
sockets_cores=$(grep -E '^(physical id|core id)' /proc/cpuinfo | paste - - | sort -u | wc -l)
flags=$(grep -m1 '^flags' /proc/cpuinfo | tr ' ' '\n' | grep -xE 'sse2|ssse3|sse4_1|avx2|avx512f' | tr '\n' ' ')
l3=$(grep -m1 '^cache size' /proc/cpuinfo | cut -d: -f2- | sed 's/^ *//')
cxx=$(sed -n 's/^CMAKE_CXX_COMPILER:[A-Z]*=//p' "$build/CMakeCache.txt")
cxx_version=$("${cxx:-c++}" --version | head -1)
peer_versions=$(dpkg-query -W -f='${Package} ${Version}\n' libopencv-dev libpixman-1-dev libyuv-dev libswscale-dev libbenchmark-dev 2>/dev/null | paste -sd ';' | sed 's/;/; /g')
commit=$(git -C "$root" rev-parse --short HEAD 2>/dev/null || echo unknown)
busy=""
if awk -v l="${load_after%% *}" -v n="$logical" 'BEGIN { exit !(l >= n / 2) }'; then
  busy="
**This run shared the machine with other work (load average ${load_after%% *} on $logical
logical processors): the ratios below move by tens of percent from run to
run, and workload 8 cannot show its split. Rerun on an idle machine before
reading much into a missed or met target.**
"
fi

# The pipeline section of bench/pipeline.sh closes the page; keep it.
pipeline=$(sed -n '/^<!-- written by bench\/pipeline.sh -->$/,$p' "$root/docs/benchmarks.md" 2>/dev/null || true)

cat >"$root/docs/benchmarks.md" <<EOF
# Benchmarks

tovrel beside OpenCV, pixman, libyuv and memcpy on the same inputs in one
run. Written by \`tools/bench.sh\` (sources in \`bench/\`); run it again to
refresh this page.

## Machine

- CPU: $cpu ($logical logical processors, $sockets_cores cores; last-level cache as reported: $l3; $flags)
- Compiler: $cxx_version, Release (-O3), the project's flags (SSE2 baseline)
- Peers: $peer_versions
- Date: $(date -u '+%Y-%m-%d %H:%M UTC'); tovrel commit $commit
- Load average (1, 5, 15 min) before: $load_before; after: $load_after

## Method

- Google Benchmark, $reps repetitions of at least ${min_time} s each, the
  repetitions of all benchmarks interleaved in random order. **Each time is
  the minimum over the repetitions of the calling thread's CPU time per
  call** (the median and the wall-clock minimum are listed beside it): the
  machine's cores are shared with other work, and the CPU time of the
  least disturbed run is the measure that such work inflates least.
  Workload 8 compares wall-clock times, since the helper thread's work is
  not in the caller's CPU time.
- One thread everywhere (\`cv::setNumThreads(1)\`), except the second entry of
  workload 8. Workload 8 only means something with two otherwise idle
  cores: on a shared machine its ratio understates the split.
- Destination 1920x1080 of 4 bytes per pixel (RGBQ; CV_8UC4,
  PIXMAN_a8r8g8b8, ARGB for the peers), written whole by every
  implementation. Polygon workloads draw a quad covering the destination,
  and every peer uses the same destination-to-texture map (half-pixel
  conventions converted). The texture of a rotated workload is just large
  enough (plus 2 pixels on each side) to contain the preimage of the whole
  frame, so no workload measures border clamping. Workload 2 views a
  trapezoid of a 1920x1080 texture (enlarged about 1.5x at the top, 1.1x at
  the bottom). Rectangle workloads scale a whole 1920x1080 texture.
- Workload 7 also times a memcpy of a 2160p frame against one of a 1080p
  frame: where a 2160p frame no longer fits the caches that hold a 1080p
  one, that ratio is well above 4 and the growth targets measure the
  memory system as much as tovrel.
- Peers: \`cv::warpAffine\` / \`cv::warpPerspective\` INTER_LINEAR with
  WARP_INVERSE_MAP and BORDER_REPLICATE; pixman \`pixman_image_composite32\`
  PIXMAN_OP_SRC with the transform, PIXMAN_REPEAT_PAD, and
  PIXMAN_FILTER_BILINEAR or a separable box convolution
  (\`pixman_filter_create_separable_convolution\`, PIXMAN_KERNEL_BOX for
  reconstruction and sampling, 4 subsample bits); \`cv::resize\` INTER_AREA;
  libyuv \`ARGBScale\` kFilterBox; libswscale \`sws_scale\` SWS_AREA (workload 9:
  yuyv422 to yuyv422, and yuv422p10le planes holding the W210 samples);
  one \`memcpy\` of the whole frame.
- Checks, outside the timed loops: a tovrel call that reports anything is
  an error, not a time; "undrawn" is the share of destination pixels left
  as they were; "mean abs diff vs OpenCV" (per component, 0..255) shows
  that an implementation did the same job as OpenCV's bilinear or
  INTER_AREA result. It is not a quality score: the filters differ by
  design, and the slanted AA quad of workload 4 covers only part of the
  frame.
- Slot: the filter footprint that the workload's quad selects.

## Ratios
$busy
Peer time / tovrel time unless stated (above 1: tovrel is faster).

$table
EOF
[ -z "$pipeline" ] || printf '\n%s\n' "$pipeline" >>"$root/docs/benchmarks.md"
echo "tools/bench.sh: wrote docs/benchmarks.md" >&2
