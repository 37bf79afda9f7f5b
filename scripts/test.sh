#!/usr/bin/env bash
# Builds everything and runs the tests.
# Usage: scripts/test.sh [CTEST ARGUMENTS...]
#   KX_PRESET: release, debug, asan or tsan (default release)      KX_CMAKE: arguments for cmake
set -euo pipefail
cd "$(dirname "$0")/.."
preset=${KX_PRESET:-release}

scripts/setup.sh
mkdir -p build
cmake --preset "$preset" ${KX_CMAKE:-} >"build/$preset.log" 2>&1 || { cat "build/$preset.log" >&2; exit 1; }
cmake --build --preset "$preset"
# Many tests wait for sound.
ctest --preset "$preset" -j$(($(nproc) * 3 / 2)) --no-tests=error --output-on-failure "$@"
