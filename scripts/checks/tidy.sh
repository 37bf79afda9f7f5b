#!/usr/bin/env bash
# Runs clang-tidy over the compile database, on the framework, the applications and the examples: all of them a folder
# at a time (tidy_folders.py), or single sources each by itself.
# Usage: scripts/checks/tidy.sh [--changed [COMMIT] | FILE...]
#   --changed: only the sources that differ from COMMIT (default: main's last but one commit), and those that include
#   a header that differs.   KX_BUILD: the build folder with compile_commands.json (default build/release)
set -euo pipefail
cd "$(dirname "$0")/../.."
build=${KX_BUILD:-build/release}
[ -e "$build/compile_commands.json" ] || { echo "tidy: configure $build first" >&2; exit 1; }

all_sources() { git ls-files -- 'kx/*.cpp' 'KXFW/*.cpp' 'Apps/*.cpp' 'Examples/*.cpp'; }

changed_sources() {
    local header changed
    changed=$(git diff --name-only --diff-filter=d "$1" -- '*.cpp' '*.h')
    {
        grep -E '^(kx|KXFW|Apps|Examples)/.*\.cpp$' <<<"$changed" || true
        for header in $(grep -E '\.h$' <<<"$changed" || true); do
            all_sources | xargs -r grep -lF "#include \"$header\"" || true
        done
    } | sort -u
}

case "${1:-}" in
--changed) files=$(changed_sources "${2:-HEAD~1}") ;;
"") exec scripts/checks/tidy_folders.py "$build" $(all_sources) ;;
*) files=$(printf '%s\n' "$@") ;;
esac
[ -n "$files" ] || exit 0
# The database is g++'s; what clang does not know of it is no fault of the code.
xargs -d '\n' -r -n 1 -P "$(nproc)" clang-tidy -p "$build" --quiet \
    --extra-arg=-Wno-unknown-warning-option <<<"$files" 2> >(grep -v 'warnings generated' >&2)
