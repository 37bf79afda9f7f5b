#!/usr/bin/env bash
# Builds the benchmarks and runs them, without a display on a virtual one: windows are real ones.
# Without arguments the table of docs/performance.md follows, beside other programs; with --table it comes alone.
# Usage: scripts/bench.sh [--table | BENCHMARK ARGUMENTS...]
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
mkdir -p build
cmake --preset release >build/release.log 2>&1 || { cat build/release.log >&2; exit 1; }
cmake --build --preset release --target kxbench kxtool
if [ "${1:-}" = --table ]; then
    exec scripts/bench_table.py build/release
fi
if [ -z "${DISPLAY:-}${WAYLAND_DISPLAY:-}" ]; then
    coproc XVFB { exec Xvfb -displayfd 1 -screen 0 1280x800x24 -nolisten tcp -noreset 2>/dev/null; }
    trap 'kill "$XVFB_PID"' EXIT
    read -r -t 30 number <&"${XVFB[0]}"
    export DISPLAY=:$number QT_QPA_PLATFORM=xcb
fi
build/release/bin/kxbench "$@"
[ $# -gt 0 ] || scripts/bench_table.py build/release
