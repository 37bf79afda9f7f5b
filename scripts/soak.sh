#!/usr/bin/env bash
# Plays a day of audio, or HOURS of it, as fast as it can be made, with random operations in between; every frame is
# checked, and memory, descriptors and threads stay flat. A seed repeats the operations of another run.
# Usage: scripts/soak.sh [HOURS [SEED]]
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
mkdir -p build
cmake --preset release >build/release.log 2>&1 || { cat build/release.log >&2; exit 1; }
cmake --build --preset release --target kxsoak
exec build/release/bin/kxsoak "${1:-24}" "${@:2}"
