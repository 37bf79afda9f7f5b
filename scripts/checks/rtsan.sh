#!/usr/bin/env bash
# Runs the tests of the units under the real-time sanitizer, which ends a program whose render thread
# allocates or waits. Skipped where its compiler (clang-22, libclang-rt-22-dev) is not installed.
set -euo pipefail
cd "$(dirname "$0")/../.."

if ! command -v clang++-22 >/dev/null || ! compgen -G "/usr/lib/llvm-22/lib/clang/*/lib/*/libclang_rt.rtsan*" >/dev/null; then
    echo "rtsan: skipped, no clang-22 with libclang-rt-22-dev"
    exit 0
fi
mkdir -p build
cmake --preset rtsan >build/rtsan.log 2>&1 || { cat build/rtsan.log >&2; exit 1; }
cmake --build --preset rtsan --target test_AudioUnits
ctest --preset rtsan --no-tests=error --output-on-failure -R "^AudioUnits\." "$@"
