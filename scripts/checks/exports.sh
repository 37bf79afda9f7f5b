#!/usr/bin/env bash
# Shows that the libraries export marked names only, and that libKXFW depends on no toolkit and on none of the
# libraries that it loads when they are wanted.   Usage: scripts/checks/exports.sh [FOLDER OF THE LIBRARIES]
set -euo pipefail
root=$(cd "$(dirname "$0")/../.." && pwd)
folder=${1:-$root/build/release/lib}

fail() { echo "exports: $*" >&2; exit 1; }

for library in "$folder/libKXFW.so" "$folder/libKXFWUI.so"; do
    [ -e "$library" ] || fail "$library does not exist; build it first"
    nm -DC --defined-only "$library" | python3 "$root/scripts/checks/exports.py" "$root"
    readelf -d "$library" | grep -q 'SONAME.*libKXFW\(UI\)\?\.so\.[0-9]' || fail "$library has no versioned soname"
done

library=$folder/libKXFW.so
needed=$(readelf -d "$library" | grep -F '(NEEDED)' || true)
if grep -Ei 'lib(pipewire|pulse|asound|dw|av(format|codec|util|filter)|swresample|swscale|Qt)' <<<"$needed"; then
    fail "$library must not depend on these"
fi
if nm -DC "$library" | grep -E ' (Q[A-Z][A-Za-z]*::|q[A-Z][A-Za-z]*\()'; then
    fail "$library must not use the toolkit"
fi
