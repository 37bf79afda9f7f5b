#!/usr/bin/env bash
# Compiles the public headers as strict C++20: each alone under one compiler, which shows what it does not include; all
# together under another, which warns of other things.
# Usage: scripts/checks/headers.sh [COMPILER [OTHER]]     default: clang++ g++
set -euo pipefail
root=$(cd "$(dirname "$0")/../.." && pwd)

cd "$root"
# The toolkit's own headers are the system's: not checked.
read -ra toolkit <<<"$(pkg-config --cflags Qt6Widgets | sed 's/-I/-isystem /g')"
flags=(-x c++ -std=c++20 -fsyntax-only -Wall -Wextra -pedantic -Wshadow -Wconversion -Werror -fPIC "${toolkit[@]}" -I "$root")
mapfile -t headers < <(python3 scripts/checks/public_headers.py "$root")
printf '%s\0' "${headers[@]}" | xargs -0 -P "$(nproc)" -I{} "${1:-clang++}" "${flags[@]}" -include {} /dev/null
printf '#include "%s"\n' "${headers[@]}" | "${2:-g++}" "${flags[@]}" -
