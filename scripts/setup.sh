#!/usr/bin/env bash
# Installs what the project needs to build, run and test on a bare Debian 12 machine.
# Usage: scripts/setup.sh [--run]     --run: only what building and running take, without test media tools.
set -euo pipefail

build_packages=(build-essential cmake ninja-build pkg-config python3
    libsndfile1-dev libogg-dev libvorbis-dev libopus-dev libflac-dev libmpg123-dev libavcodec-dev libavutil-dev liblilv-dev
    libsoxr-dev libsoundtouch-dev libpipewire-0.3-dev libpulse-dev libasound2-dev libpugixml-dev libdw-dev libcli11-dev
    qt6-base-dev qt6-tools-dev libqt6opengl6-dev libqt6svg6 fonts-dejavu-core)
test_packages=(libgtest-dev libgmock-dev libbenchmark-dev clang-format clang-tidy clang libclang-rt-14-dev
    pulseaudio pulseaudio-utils pipewire pipewire-bin pipewire-pulse wireplumber libasound2-plugins ffmpeg lame sox flac vorbis-tools sndfile-programs soundstretch strace
    abigail-tools ccache libmp3lame-dev xvfb xdotool imagemagick dbus-daemon desktop-file-utils appstream)

packages=("${build_packages[@]}")
[ "${1:-}" = "--run" ] || packages+=("${test_packages[@]}")

missing=()
for package in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'install ok installed' || missing+=("$package")
done
[ ${#missing[@]} -eq 0 ] && exit 0

sudo=()
if [ "$(id -u)" -ne 0 ]; then
    command -v sudo >/dev/null || { echo "setup: run as root to install: ${missing[*]}" >&2; exit 1; }
    sudo=(sudo)
fi
echo "setup: installing ${missing[*]}" >&2
export DEBIAN_FRONTEND=noninteractive
"${sudo[@]}" apt-get update -qq >&2
"${sudo[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}" >&2
