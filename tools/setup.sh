#!/usr/bin/env bash
# Installs what tovrel needs to build, test and benchmark on Debian 12:
# the native toolchain, -m32 multilib, mingw-w64 for both Windows targets,
# wine and Xvfb for the Windows tests, GoogleTest and Google Benchmark,
# libpng for the tool, ffmpeg for its pipeline tests and the demo's video,
# clang for the fuzzers, the benchmark peers, Debian's Python with numpy,
# pytest and OpenCV for the Python package, and GStreamer with its base
# plugins for the plugin, its tests and bench.
#   tools/setup.sh            everything
#   tools/setup.sh --minimal  only what the native build and the demo need
set -euo pipefail

SUDO=""
if [ "$(id -u)" -ne 0 ]; then
  if command -v sudo >/dev/null 2>&1; then SUDO="sudo"; else
    echo "tools/setup.sh: run as root or install sudo" >&2; exit 1
  fi
fi

minimal=(build-essential cmake ninja-build pkg-config libpng-dev googletest libgtest-dev ffmpeg)
full=(g++-multilib
      g++-mingw-w64-i686 g++-mingw-w64-x86-64 binutils-mingw-w64-i686 binutils-mingw-w64-x86-64
      wine wine64 xvfb xauth
      clang libclang-rt-14-dev
      libbenchmark-dev libopencv-dev libpixman-1-dev libyuv-dev libswscale-dev
      python3 python3-numpy python3-pytest python3-opencv
      libgstreamer1.0-dev libgstreamer-plugins-base1.0-dev gstreamer1.0-tools
      gstreamer1.0-plugins-base)

packages=("${minimal[@]}")
[ "${1:-}" = "--minimal" ] || packages+=("${full[@]}")

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -eq 0 ]; then
  echo "tools/setup.sh: all packages present"
  exit 0
fi

export DEBIAN_FRONTEND=noninteractive
# An index that fails to download for an architecture the project does not
# use must not stop the install: update's exit status is not fatal.
$SUDO apt-get update -q || echo "tools/setup.sh: apt-get update reported errors; going on" >&2
$SUDO apt-get install -y -q --no-install-recommends "${missing[@]}"
