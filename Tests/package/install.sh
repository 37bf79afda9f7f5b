#!/usr/bin/env bash
# Installs a build to a folder of its own, builds the examples against the package, and runs the programs from there.
# Usage: install.sh BUILD
set -euo pipefail
build=$1
root=$(cd "$(dirname "$0")/../.." && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
prefix="$work/a prefix"

cmake --install "$build" --prefix "$prefix" >"$work/install.log"
cmake -G Ninja -S "$root/Tests/package" -B "$work/build" -DCMAKE_PREFIX_PATH="$prefix" >"$work/configure.log" ||
    { cat "$work/configure.log"; exit 1; }
cmake --build "$work/build"

python3 "$root/scripts/make_music.py" "$work/music.wav" 2
export KXFW_AUDIO_BACKEND=virtual
"$work/build/loop" "$work/music.wav" </dev/null
QT_QPA_PLATFORM=offscreen "$work/build/screen"
"$prefix/bin/kxtool" info "$work/music.wav" | grep -x 'frames: 88200'

# The MPEG-4 module is found where it was installed, not in the build folder.
if command -v ffmpeg >/dev/null; then
    ffmpeg -v error -i "$work/music.wav" -c:a aac "$work/music.m4a"
    moved="$work/moved"
    mv "$prefix" "$moved"
    strace -f -e trace=openat -o "$work/trace" "$moved/bin/kxtool" info "$work/music.m4a" | grep -x 'codec: AAC'
    grep -F "$moved/" "$work/trace" | grep -q 'kxfw-mpeg4.*= [0-9]'
    # Nor in a folder that the program goes to, when the library was named from the one that it came from.
    library=$(dirname "$(cd "$moved" && find lib* -name libKXFW.so.1)")
    mkdir -p "$work/planted/$library/kxfw"
    touch "$work/planted/$library/"{libKXFW.so.1,kxfw-mpeg4.so,kxfw/kxfw-mpeg4.so}
    (cd "$moved" && LD_LIBRARY_PATH="$library" "$work/build/elsewhere" "$work/planted" "$work/music.m4a")
fi
readelf -d "$work/build/loop" | grep -q 'NEEDED.*libKXFW\.so\.1\]'
readelf -d "$work/build/bar" | grep -q 'NEEDED.*libKXFWUI\.so\.1\]'
