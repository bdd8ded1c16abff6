#!/usr/bin/env bash
# Builds and tests tovrel on every target of the platform matrix:
#   1. Linux x86-64: build, the whole test suite, the command-line tool
#      python: the shared library and the Python package's pytest suite
#   2. Linux 32-bit x86 (-m32): the whole test suite
#   3. Windows 32-bit (mingw-w64 i686): tovrel.dll and its export table
#   4. Windows 64-bit (mingw-w64 x86_64): the whole test suite under wine
#   5. AddressSanitizer + UndefinedBehaviorSanitizer and ThreadSanitizer runs
#   6. Bounded fuzzing runs of the exported operations
#   7. The GStreamer plugin: its pipelines, gst-inspect-1.0 and the README's
#      gst-launch-1.0 lines (skipped when GStreamer's dev files are absent)
#   8. Install into a temporary prefix; a C host built through pkg-config
#      and through find_package(tovrel)
# Usage: tools/test.sh [step ...]   (default: setup and every step)
set -euo pipefail
cd "$(dirname "$0")/.."
root=$(pwd)
out=${TOVREL_BUILD_ROOT:-$root/build/matrix}
jobs=${TOVREL_JOBS:-$(nproc)}
mkdir -p "$out"

step() { printf '\n==== %s ====\n' "$*"; }

configure() { # dir, extra cmake args...
  local dir=$1; shift
  cmake -S "$root" -B "$dir" -G Ninja -DCMAKE_BUILD_TYPE=Release "$@" >"$dir.configure.log" 2>&1 ||
    { cat "$dir.configure.log"; return 1; }
}

run_native() {
  step "Linux x86-64"
  configure "$out/native" -DTOVREL_BUILD_TOOLS=ON
  cmake --build "$out/native" -j "$jobs"
  ctest --test-dir "$out/native" -j "$jobs" -LE gst --output-on-failure --timeout 600
}

run_gst() {
  step "GStreamer plugin (tovrelscale, tovrelwarp)"
  if ! pkg-config --exists gstreamer-1.0 gstreamer-video-1.0 gstreamer-app-1.0; then
    echo "skipped: GStreamer development files not found (tools/setup.sh installs them)"
    return 0
  fi
  configure "$out/native" -DTOVREL_BUILD_TOOLS=ON
  cmake --build "$out/native" -j "$jobs" --target gsttovrel gst_elements_test
  ctest --test-dir "$out/native" -L gst --output-on-failure --timeout 300
  # Why tests were skipped: the formats the library refuses in this build.
  grep -h -E '^(SKIP |skip: )' "$out/native/Testing/Temporary/LastTest.log" || true
}

# The shared library alone, as it is installed: the python and install
# steps share it.
build_shared_library() {
  configure "$out/shared" -DTOVREL_BUILD_TESTS=OFF -DTOVREL_BUILD_TOOLS=OFF -DTOVREL_BUILD_GST=OFF
  cmake --build "$out/shared" -j "$jobs" --target tovrel
}

run_python() {
  step "Python package (pytest over the shared library)"
  build_shared_library
  TOVREL_LIBRARY="$out/shared/src/libtovrel.so" "${TOVREL_PYTHON:-/usr/bin/python3}" \
    -m pytest -q -p no:cacheprovider "$root/python/tests"
}

run_m32() {
  step "Linux 32-bit x86 (-m32)"
  configure "$out/linux-i686" -DCMAKE_TOOLCHAIN_FILE="$root/cmake/toolchain-linux-i686.cmake" \
    -DTOVREL_BUILD_TOOLS=OFF
  cmake --build "$out/linux-i686" -j "$jobs"
  ctest --test-dir "$out/linux-i686" -j "$jobs" --output-on-failure --timeout 600
}

run_win32() {
  step "Windows 32-bit (mingw-w64 i686): tovrel.dll"
  configure "$out/win32" -DCMAKE_TOOLCHAIN_FILE="$root/cmake/toolchain-mingw-i686.cmake" \
    -DTOVREL_BUILD_TOOLS=OFF -DTOVREL_BUILD_TESTS=OFF
  cmake --build "$out/win32" -j "$jobs" --target tovrel
  "$root/tools/check-exports.sh" "$out/win32/src/tovrel.dll" i686-w64-mingw32-objdump
}

run_win64() {
  step "Windows 64-bit (mingw-w64 x86_64): tests under wine"
  configure "$out/win64" -DCMAKE_TOOLCHAIN_FILE="$root/cmake/toolchain-mingw-x86_64.cmake" \
    -DTOVREL_BUILD_TOOLS=OFF
  cmake --build "$out/win64" -j "$jobs"
  "$root/tools/check-exports.sh" "$out/win64/src/tovrel.dll" x86_64-w64-mingw32-objdump
  export WINEPREFIX="$out/wineprefix" WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml="
  # Under Xvfb the GDI screen sink really draws.
  xvfb-run -a -s "-screen 0 1280x1024x24" bash -c \
    "wineboot -i >/dev/null 2>&1 || true; ctest --test-dir '$out/win64' --output-on-failure --timeout 1200"
}

run_sanitizers() {
  step "AddressSanitizer + UndefinedBehaviorSanitizer"
  configure "$out/asan" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTOVREL_SANITIZE=address,undefined \
    -DTOVREL_BUILD_TOOLS=OFF
  cmake --build "$out/asan" -j "$jobs"
  ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1 \
    ctest --test-dir "$out/asan" -j "$jobs" --output-on-failure --timeout 1200
  if [ -f "$root/tests/threads/CMakeLists.txt" ] || ls "$root"/tests/threads/*.cpp >/dev/null 2>&1; then
    step "ThreadSanitizer (threaded tests)"
    configure "$out/tsan" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTOVREL_SANITIZE=thread \
      -DTOVREL_BUILD_TOOLS=OFF
    cmake --build "$out/tsan" -j "$jobs" --target threads_tests
    TSAN_OPTIONS=halt_on_error=1 ctest --test-dir "$out/tsan" -j "$jobs" -R '[Tt]hread' \
      --output-on-failure --timeout 1200
  fi
}

run_install() {
  step "Install into a temporary prefix: a C host via pkg-config and find_package(tovrel)"
  build_shared_library
  "$root/tests/install/check.sh" "$out/shared" "$out/install-check"
}

run_fuzz() {
  if [ -x "$root/tests/fuzz/run.sh" ]; then
    step "Bounded fuzzing"
    "$root/tests/fuzz/run.sh" "$out/fuzz"
  fi
}

steps=("$@")
if [ ${#steps[@]} -eq 0 ]; then
  "$root/tools/setup.sh"
  steps=(native python m32 win32 win64 sanitizers fuzz gst install)
fi
for s in "${steps[@]}"; do
  case $s in
    setup) "$root/tools/setup.sh" ;;
    native) run_native ;;
    python) run_python ;;
    m32) run_m32 ;;
    win32) run_win32 ;;
    win64) run_win64 ;;
    sanitizers) run_sanitizers ;;
    fuzz) run_fuzz ;;
    gst) run_gst ;;
    install) run_install ;;
    *) echo "tools/test.sh: unknown step '$s'" >&2; exit 2 ;;
  esac
done
step "all steps passed: ${steps[*]}"
