#!/usr/bin/env bash
# Builds the libFuzzer targets with AddressSanitizer and UndefinedBehavior-
# Sanitizer (clang), replays every committed regression input, then fuzzes
# each target for a bounded time on a copy of its seed corpus (the
# committed corpus is never modified). Fails if anything crashed.
#
# Usage: tests/fuzz/run.sh BUILD_DIR
#   TOVREL_FUZZ_SECONDS  time per target (default 60)
#   TOVREL_JOBS          build jobs (default 2)
set -euo pipefail
build=${1:?usage: tests/fuzz/run.sh BUILD_DIR}
here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/../.." && pwd)
seconds=${TOVREL_FUZZ_SECONDS:-60}
jobs=${TOVREL_JOBS:-2}
targets=(fuzz_map_polygon fuzz_map_rectangle fuzz_multisrc_map_rectangle)

mkdir -p "$build"
build=$(cd "$build" && pwd)
CC=clang CXX=clang++ cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DTOVREL_BUILD_FUZZ=ON -DTOVREL_SANITIZE=address,undefined \
  -DTOVREL_BUILD_TESTS=OFF -DTOVREL_BUILD_TOOLS=OFF >"$build/fuzz-configure.log" 2>&1 ||
  { cat "$build/fuzz-configure.log"; exit 1; }
cmake --build "$build" -j "$jobs" --target "${targets[@]}"

export ASAN_OPTIONS=${ASAN_OPTIONS:-abort_on_error=1:detect_leaks=1}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}
failed=()

# Prints the sanitizer's or the target's verdict from a log.
verdict() {
  grep -m 12 -E 'ERROR: |runtime error|fuzz property violated|SUMMARY|^    #[0-9] ' "$1" || tail -n 20 "$1"
}

for t in "${targets[@]}"; do
  exe="$build/tests/fuzz/$t"
  work="$build/fuzz-work/$t"
  rm -rf "$work"
  mkdir -p "$work/regressions"

  if [ -d "$here/regressions/$t" ]; then
    for input in "$here/regressions/$t"/*; do
      [ -f "$input" ] || continue
      case $input in *.md | *.txt) continue ;; esac
      log="$work/regressions/$(basename "$input").log"
      if ! "$exe" "$input" >"$log" 2>&1; then
        echo "FAIL $t regression $(basename "$input")"
        verdict "$log"
        failed+=("$t:regressions/$(basename "$input")")
      fi
    done
  fi

  echo "== $t: fuzzing ${seconds}s"
  cp -r "$here/corpus/$t" "$work/corpus"
  if ! "$exe" -max_total_time="$seconds" -timeout=30 -rss_limit_mb=2048 -print_final_stats=1 \
    -artifact_prefix="$work/" "$work/corpus" >"$work/fuzz.log" 2>&1; then
    echo "FAIL $t: crash found; input in $work/"
    ls "$work" | grep -E '^(crash|leak|timeout|oom|slow-unit)-' || true
    verdict "$work/fuzz.log"
    failed+=("$t:fuzzing")
  fi
  grep -E '^stat::number_of_executed_units|^#[0-9]+.*DONE' "$work/fuzz.log" || true
done

if [ ${#failed[@]} -ne 0 ]; then
  echo "fuzzing failed: ${failed[*]}"
  exit 1
fi
echo "fuzzing passed: ${targets[*]}"
