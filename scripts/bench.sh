#!/usr/bin/env bash
# Builds the benchmarks and runs them, without a display on a virtual one: windows are real ones.
# Usage: scripts/bench.sh [BENCHMARK ARGUMENTS...]
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
mkdir -p build
cmake --preset release >build/release.log 2>&1 || { cat build/release.log >&2; exit 1; }
cmake --build --preset release --target kxbench
if [ -z "${DISPLAY:-}${WAYLAND_DISPLAY:-}" ]; then
    coproc XVFB { exec Xvfb -displayfd 1 -screen 0 1280x800x24 -nolisten tcp -noreset 2>/dev/null; }
    trap 'kill "$XVFB_PID"' EXIT
    read -r -t 30 number <&"${XVFB[0]}"
    export DISPLAY=:$number QT_QPA_PLATFORM=xcb
fi
build/release/bin/kxbench "$@"
