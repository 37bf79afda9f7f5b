#!/usr/bin/env bash
# Compiles every public header alone, under each compiler, as strict C++20.
# Usage: scripts/checks/headers.sh [COMPILER...]     default: g++ clang++
set -euo pipefail
root=$(cd "$(dirname "$0")/../.." && pwd)
compilers=("$@")
[ $# -gt 0 ] || compilers=(g++ clang++)

cd "$root"
# The toolkit's own headers are the system's: not checked.
read -ra toolkit <<<"$(pkg-config --cflags Qt6Widgets | sed 's/-I/-isystem /g')"
for compiler in "${compilers[@]}"; do
    python3 scripts/checks/public_headers.py "$root" | tr '\n' '\0' |
        xargs -0 -r -P "$(nproc)" -I{} "$compiler" -x c++ -std=c++20 -fsyntax-only -Wall -Wextra -pedantic -Wshadow \
            -Wconversion -Werror -fPIC "${toolkit[@]}" -I "$root" -include {} /dev/null
done
