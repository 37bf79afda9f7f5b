#!/usr/bin/env bash
# Does what KXFW is for. With a display it builds kxplayer and opens the file in it. In a terminal it builds kxtool and
# opens the file, plays a range of it in a loop, plays it to the end where it is short, and exports the range. Without
# FILE it makes a short piece of music first.
# Usage: scripts/run.sh [FILE]
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=$root/build/run
tool=$build/bin/kxtool

heading() { printf '\n== %s\n' "$*"; }

value_of() { sed -n "s/^$1: //p" <<<"$info"; }

heading "Building in $build"
"$root/scripts/setup.sh" --run
mkdir -p "$root/build"
(cd "$root" && cmake --preset run >"$build.log" 2>&1 || { cat "$build.log" >&2; exit 1; })
program=kxtool
[ -z "${DISPLAY:-}${WAYLAND_DISPLAY:-}" ] || program=kxplayer
cmake --build "$build" --target "$program"

if [ $# -gt 0 ]; then
    file=$1
else
    file=$build/music.wav
    heading "Making a piece of music: $file"
    python3 "$root/scripts/make_music.py" "$file"
fi

if [ "$program" = kxplayer ]; then
    heading "Opening $file in kxplayer"
    exec "$build/bin/kxplayer" "$file"
fi

heading "The file"
info=$("$tool" info -- "$file")
printf '%s\n' "$info"
frames=$(value_of frames)
[ "$frames" -ge 4 ] || { echo "run: the file is too short to loop over a part of it" >&2; exit 1; }

# A range of at most 1.5 seconds, so that 4 seconds of playing wrap at least once.
start=$((frames / 4))
length=$((frames / 4 < 66150 ? frames / 4 : 66150))
end=$((start + length))

heading "The devices"
"$tool" devices

heading "Playing frames $start to $end in a loop, for 4 seconds"
"$tool" play --loop --start "$start" --end "$end" --seconds 4 -- "$file"

if [ "$frames" -le $((20 * 44100)) ]; then
    heading "Playing it once, to the end"
    "$tool" play -- "$file"
fi

heading "Exporting frames $start to $end to $build/range.aiff"
"$tool" export --start "$start" --end "$end" -- "$file" "$build/range.aiff"
"$tool" info -- "$build/range.aiff"
