#!/usr/bin/env bash
# Shows that libKXFW exports marked names only, and depends on no toolkit and on none of the MPEG-4 libraries.
# Usage: scripts/checks/exports.sh [LIBRARY]
set -euo pipefail
root=$(cd "$(dirname "$0")/../.." && pwd)
library=${1:-$root/build/release/lib/libKXFW.so}

fail() { echo "exports: $*" >&2; exit 1; }

[ -e "$library" ] || fail "$library does not exist; build it first"
nm -DC --defined-only "$library" | python3 "$root/scripts/checks/exports.py" "$root"
needed=$(readelf -d "$library" | grep -F '(NEEDED)' || true)
if grep -Ei 'lib(av(format|codec|util|filter)|swresample|swscale|Qt)' <<<"$needed"; then
    fail "$library must not depend on these"
fi
if nm -DC "$library" | grep -E ' (Q[A-Z][A-Za-z]*::|q[A-Z][A-Za-z]*\()'; then
    fail "$library must not use the toolkit"
fi
readelf -d "$library" | grep -q 'SONAME.*libKXFW\.so\.[0-9]' || fail "$library has no versioned soname"
