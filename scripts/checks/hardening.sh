#!/usr/bin/env bash
# Shows that what is built is hardened: position independent, no writable relocations, no lazy binding, no executable
# stack, with landing pads for indirect calls, and with checked calls and stacks.
# Usage: scripts/checks/hardening.sh [BUILD FOLDER]
set -euo pipefail
build=${1:-$(cd "$(dirname "$0")/../.." && pwd)/build/release}

faults=0
fault() { echo "hardening: $*" >&2; faults=1; }
has() { grep -q -e "$1" <<<"$report" || fault "$file: no $2"; }
found() { [ -e "$1" ] || fault "$1 does not exist; build it first"; [ -e "$1" ]; }

for file in "$build"/lib/libKXFW.so "$build"/lib/libKXFWUI.so "$build"/lib/kxfw-mpeg4.so "$build"/bin/{kxtool,kxplayer}; do
    found "$file" || continue
    report=$(readelf -hldW "$file" 2>/dev/null)
    has 'Type: *DYN' 'position-independent code'
    has 'GNU_RELRO' 'read-only relocations'
    has 'BIND_NOW\|Flags:.* NOW' 'immediate binding'
    grep -q 'GNU_STACK.* RWE ' <<<"$report" && fault "$file: the stack is executable"
    # The mark itself is lost where the system's start-up code has none; each function's landing pad is there.
    if [ "$(uname -m)" = x86_64 ] && [ "$(objdump -d --no-show-raw-insn "$file" | grep -c endbr64)" -lt 30 ]; then
        fault "$file: no control-flow protection"
    fi
    report=$(nm -Du "$file")
    has '__stack_chk_fail' 'stack protector'
done
# Not every file has a call that is worth a check.
for file in "$build"/lib/libKXFW.so; do
    found "$file" || continue
    report=$(nm -Du "$file")
    has '__[a-z]*_chk@' 'fortified call'
done
exit $faults
