#!/usr/bin/env bash
# Builds the fuzz targets with clang and runs each for a time, one on each processor at once. What they learn is kept in
# build/fuzz/corpus/TARGET for the next run; an input that breaks something is left in build/fuzz/findings, and fails
# this script. Once it is mended the input goes into Fuzz/Corpora/TARGET, made small: fuzz_TARGET -minimize_crash=1.
# Usage: scripts/fuzz.sh [SECONDS [TARGET...]]     60 seconds for each target; the targets are in Fuzz/CMakeLists.txt
# KX_FUZZ_SEED=N begins with the same inputs each time, as a check of a change wants; without it each run makes others.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-60}
shift || true
targets=("$@")
[ ${#targets[@]} -gt 0 ] || mapfile -t targets < <(sed -n 's/^ *kx_fuzz(\([a-z]*\) .*/\1/p' Fuzz/CMakeLists.txt)

scripts/setup.sh
mkdir -p build
cmake --preset asan >build/asan.log 2>&1 || { cat build/asan.log >&2; exit 1; }
cmake --build --preset asan --target "${targets[@]/#/fuzz_}"

# Less memory than the sanitizers like, as they fill it again and again. No allocation that hostile counts could explain.
export ASAN_OPTIONS=quarantine_size_mb=16:malloc_context_size=3 UBSAN_OPTIONS=print_stacktrace=1
export QT_QPA_PLATFORM=offscreen LSAN_OPTIONS=suppressions=$PWD/Fuzz/lsan.supp:print_suppressions=0
fuzz() {
    local target=$1 seconds=$2 log=build/fuzz/$1.log
    local seeds=("Fuzz/Corpora/$target")
    [ "$target" != file ] || seeds+=(Tests/AudioFiles/hostile)
    mkdir -p "build/fuzz/corpus/$target" build/fuzz/findings
    if build/asan/bin/fuzz_"$target" -seed="${KX_FUZZ_SEED:-0}" -max_total_time="$seconds" \
        -timeout=20 -rss_limit_mb=2048 -malloc_limit_mb=100 -max_len=8192 -dict=Fuzz/xml.dict -print_final_stats=1 -artifact_prefix="build/fuzz/findings/$target-" \
        "build/fuzz/corpus/$target" "${seeds[@]}" >"$log" 2>&1; then
        echo "fuzz: $target: $(sed -n 's/^stat::number_of_executed_units: *//p' "$log") runs, nothing found"
    else
        tail -60 "$log" >&2
        echo "fuzz: $target: FOUND something, see $log" >&2
        return 1
    fi
}
export -f fuzz
printf '%s\n' "${targets[@]}" | xargs -P "$(nproc)" -I TARGET bash -c 'fuzz TARGET '"$seconds"
