#!/usr/bin/env bash
# Compares the libraries with those of the last tag, and fails where programs that were linked with these would break:
# on names that went, and on types of the public headers that changed. What was added is no fault, nor is a change of the
# soname. Passes where there is no tag before this commit, as in a clone without history.   Usage: scripts/checks/abi.sh [TAG]
set -euo pipefail
cd "$(dirname "$0")/../.."
tag=${1:-$(git describe --tags --abbrev=0 2>/dev/null || true)}
if [ -z "$tag" ]; then
    echo "abi: there is no tag to compare with"
    exit 0
fi
work=$PWD/build/abi
rm -rf "$work"
mkdir -p "$work/source"
git archive "$tag" | tar -x -C "$work/source"

# The types are read from debug information. Nothing runs, so nothing is optimised.
install_to() { # PLACE SOURCE
    if ! { cmake -G Ninja -S "$2" -B "$1.build" -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS_DEBUG="-g -O0" -DKXFW_UNITY=ON \
        -DBUILD_SHARED_LIBS=ON -DKXFW_BUILD_TOOLS=OFF -DKXFW_BUILD_TESTS=OFF -DKXFW_BUILD_BENCHMARKS=OFF \
        -DKXFW_BUILD_EXAMPLES=OFF && cmake --build "$1.build" && cmake --install "$1.build" --prefix "$1"; } >"$1.log" 2>&1; then
        tail -50 "$1.log" >&2
        exit 1
    fi
}
install_to "$work/old" "$work/source"
install_to "$work/new" "$PWD"

failed=0
for library in libKXFW libKXFWUI; do
    old=$(find "$work/old" -name "$library.so") new=$(find "$work/new" -name "$library.so")
    soname() { readelf -d "$1" | sed -n 's/.*SONAME.*\[\(.*\)\]/\1/p'; }
    if [ "$(soname "$old")" != "$(soname "$new")" ]; then
        echo "abi: $library is another one since $tag: $(soname "$old"), now $(soname "$new")"
        continue
    fi
    abidiff --no-added-syms --drop-private-types --headers-dir1 "$work/old/include" --headers-dir2 "$work/new/include" \
        "$old" "$new" >"$work/$library.report" && continue
    cat "$work/$library.report"
    echo "abi: programs that were linked with the $library of $tag would break" >&2
    failed=1
done
[ $failed -ne 0 ] || echo "abi: as in $tag, or more"
exit $failed
