#!/usr/bin/env bash
# Sets up a fresh Debian 12 machine, builds tovrel and its command-line tool,
# and runs the demo: one PNG per scene in ./tovrel-demo.
set -euo pipefail
cd "$(dirname "$0")/.."
tools/setup.sh --minimal
cmake -S . -B build/release -G Ninja -DCMAKE_BUILD_TYPE=Release -DTOVREL_BUILD_TESTS=OFF \
  -DTOVREL_BUILD_TOOLS=ON >/dev/null
cmake --build build/release -j "$(nproc)"
build/release/tools/tovrel demo "${1:-tovrel-demo}"
