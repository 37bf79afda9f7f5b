#!/usr/bin/env bash
# Shows that every source is formatted as .clang-format says. With --fix it formats them.
set -euo pipefail
cd "$(dirname "$0")/../.."
mode=(--dry-run -Werror)
[ "${1:-}" = "--fix" ] && mode=(-i)
git ls-files -z --cached --others --exclude-standard -- '*.h' '*.cpp' |
    xargs -0 -r -n 16 -P "$(nproc)" clang-format "${mode[@]}"
