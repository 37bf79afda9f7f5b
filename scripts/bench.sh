#!/usr/bin/env bash
# Builds the benchmarks and runs them. Usage: scripts/bench.sh [BENCHMARK ARGUMENTS...]
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
mkdir -p build
cmake --preset release >build/release.log 2>&1 || { cat build/release.log >&2; exit 1; }
cmake --build --preset release --target kxbench
build/release/bin/kxbench "$@"
