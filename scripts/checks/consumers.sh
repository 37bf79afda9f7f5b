#!/usr/bin/env bash
# Builds applications on KXFW in each of the ways that the README shows, and runs them; and the library without what it
# can do without. The installed package is tried by the test package.install. Objects that are the same in all the builds
# come from ccache, where CMAKE_CXX_COMPILER_LAUNCHER names it.   Usage: scripts/checks/consumers.sh [RELEASE BUILD]
set -euo pipefail
root=$(cd "$(dirname "$0")/../.." && pwd)
release=${1:-$root/build/release}
work=$root/build/consumers
rm -rf "$work"
mkdir -p "$work/folder"
export KXFW_AUDIO_BACKEND=virtual QT_QPA_PLATFORM=offscreen

python3 "$root/scripts/make_music.py" "$work/music.wav" 2
ffmpeg -v error -i "$work/music.wav" -c:a aac "$work/music.m4a"

say() { echo "consumers: $* (after $SECONDS s)"; }
quietly() { "$@" >"$work/log" 2>&1 || { cat "$work/log" >&2; exit 1; }; }

# Usage: build FOLDER SOURCE ARGUMENTS...   with the flags of the release build
build() {
    quietly cmake -G Ninja -S "$2" -B "$1" -DCMAKE_BUILD_TYPE=Release -DKXFW_WERROR=ON "${@:3}"
    cp "$work/log" "$1/configure.log"
    quietly cmake --build "$1"
}

try_programs() { # in FOLDER
    quietly "$1/loop" "$work/music.wav"
    quietly "$1/elsewhere" "$work/folder" "$work/music.wav"
    quietly "$1/elsewhere" "$work/folder" "$work/music.m4a"
    [ ! -e "$1/screen" ] || quietly "$1/screen"
}

# Usage: compile_by_pkg_config FOLDER PREFIX [--static]
compile_by_pkg_config() {
    local pc
    pc=$(dirname "$(find "$2" -name KXFW.pc)")
    export PKG_CONFIG_PATH=$pc
    mkdir -p "$1"
    local compiler=(${CMAKE_CXX_COMPILER_LAUNCHER:-} g++ -std=c++20 -fPIC)
    for program in KXFW:elsewhere KXFW:loop KXFWUI:screen; do
        local name=${program#*:} source
        source=$root/Tests/package/$name.cpp
        [ -e "$source" ] || source=$root/Examples/$name.cpp
        read -ra flags <<<"$(pkg-config --cflags "${program%:*}")"
        read -ra libraries <<<"$(pkg-config "${@:3}" --libs "${program%:*}")"
        quietly "${compiler[@]}" "${flags[@]}" -c "$source" -o "$1/$name.o"
        quietly g++ "$1/$name.o" -o "$1/$name" "${libraries[@]}" -Wl,-rpath,"${pc%/pkgconfig}"
    done
}

say "add_subdirectory: static, the library alone"
build "$work/subdirectory" "$root/Tests/package" -DWAY=add_subdirectory
try_programs "$work/subdirectory"
[ -e "$work/subdirectory/kxfw/lib/libKXFW.a" ]
if ninja -C "$work/subdirectory" -t targets all | grep -E '^(kxtool|kxplayer|kxbench|KXFWUI|test_[A-Za-z]*): ' ||
    grep -r 'file(INSTALL' "$work/subdirectory" --include=cmake_install.cmake; then
    echo "consumers: this was not asked for" >&2
    exit 1
fi

say "FetchContent: shared, with the views"
build "$work/fetch" "$root/Tests/package" -DWAY=FetchContent -DBUILD_SHARED_LIBS=ON -DKXFW_BUILD_UI=ON
try_programs "$work/fetch"

say "pkg-config: shared"
quietly cmake --install "$release" --prefix "$work/shared"
compile_by_pkg_config "$work/pkgconfig" "$work/shared"
try_programs "$work/pkgconfig"

say "static libraries: package, pkg-config"
build "$work/static-build" "$root" -DBUILD_SHARED_LIBS=OFF -DKXFW_BUILD_TOOLS=OFF -DKXFW_BUILD_EXAMPLES=OFF \
    -DCMAKE_INSTALL_PREFIX="$work/static"
quietly cmake --install "$work/static-build"
[ -z "$(find "$work/static" -name 'libKXFW*.so*')" ] || { echo "consumers: a shared library among the static" >&2; exit 1; }
build "$work/static-package" "$root/Tests/package" -DCMAKE_PREFIX_PATH="$work/static"
try_programs "$work/static-package"
compile_by_pkg_config "$work/static-pkgconfig" "$work/static" --static
try_programs "$work/static-pkgconfig"

# The packages are hidden as far as that goes; that nothing was read of them shows in what the compiler read.
say "without Qt, PipeWire, PulseAudio, ALSA, FFmpeg, LV2, CLI11"
options=(BUILD_UI WITH_PIPEWIRE WITH_PULSEAUDIO WITH_ALSA WITH_FFMPEG WITH_LV2 WITH_CLI11)
build "$work/least" "$root" $(printf -- "-DKXFW_%s=OFF " "${options[@]}") -DKXFW_UNITY=ON -DCMAKE_CXX_FLAGS_RELEASE=-O0 \
    -DCMAKE_DISABLE_FIND_PACKAGE_Qt6=ON -DCMAKE_DISABLE_FIND_PACKAGE_CLI11=ON
if ninja -C "$work/least" -t deps | grep -E '/include/(.*/)?(pipewire|spa|pulse|alsa|libav[a-z]*|lilv|CLI|qt6)[^/]*/'; then
    echo "consumers: read what the build does without" >&2
    exit 1
fi
for option in "${options[@]}"; do
    grep -q "without .*KXFW_$option is OFF" "$work/least/configure.log"
done
quietly "$work/least/bin/example_loop" "$work/music.wav"
if "$work/least/bin/example_loop" "$work/music.m4a" 2>"$work/log" || ! grep -q 'MPEG-4' "$work/log"; then
    echo "consumers: an MPEG-4 file without the module: $(cat "$work/log")" >&2
    exit 1
fi

say "a package that is missing is named"
if PKG_CONFIG_LIBDIR=$work cmake -S "$root" -B "$work/missing" >"$work/log" 2>&1; then
    echo "consumers: configured without libraries" >&2
    exit 1
fi
grep -q 'libsndfile1-dev' "$work/log" && grep -q 'KXFW_WITH_PULSEAUDIO=OFF' "$work/log"
say "done"
