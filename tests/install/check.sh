#!/usr/bin/env bash
# Installs a built tovrel into a temporary prefix, then builds and runs the C
# host of host.c against it twice: through pkg-config and through
# find_package(tovrel). Usage: tests/install/check.sh BUILD_DIR WORK_DIR
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
build=$1
work=$2
rm -rf "$work" && mkdir -p "$work"
prefix=$work/prefix
cmake --install "$build" --prefix "$prefix" >"$work/install.log"
pcdir=$(dirname "$(find "$prefix" -name tovrel.pc -print -quit)")
libdir=$(dirname "$pcdir")

echo "-- pkg-config"
flags=$(PKG_CONFIG_PATH=$pcdir pkg-config --cflags --libs tovrel)
echo "   pkg-config --cflags --libs tovrel: $flags"
# shellcheck disable=SC2086
cc -std=c99 -Wall -Wextra -Werror "$here/host.c" -o "$work/host-pkgconfig" $flags
LD_LIBRARY_PATH=$libdir "$work/host-pkgconfig"

echo "-- find_package(tovrel)"
cmake -S "$here" -B "$work/host-cmake" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" \
  >"$work/host-cmake.log" 2>&1 || { cat "$work/host-cmake.log"; exit 1; }
cmake --build "$work/host-cmake" >>"$work/host-cmake.log" 2>&1 || { cat "$work/host-cmake.log"; exit 1; }
"$work/host-cmake/host"
