#!/usr/bin/env bash
# Tells kxplayer's whole story in a window of a virtual X server, with a real pointer and keyboard, against a private
# sound server whose output is recorded: an export cancelled, play, select a loop and hear it, undo, export, a broken
# file, a slow one, a signal.
# Usage: real_story.sh KXPLAYER KXTOOL [FOLDER FOR PICTURES [dark]]     dark: on a desktop with dark colours
set -euo pipefail
root=$(cd "$(dirname "$0")/../.." && pwd)
player=$1
tool=$2
pictures=${3:-}
work=$(mktemp -d)
processes=()
trap 'kill "${processes[@]}" 2>/dev/null || true; wait; rm -rf "$work"' EXIT

fail() { import -window root "${pictures:-$work}/failed.png" 2>/dev/null; echo "real_story: $*" >&2; cat "$work/errors" >&2; exit 1; }
# Tries until the command succeeds, for at most 30 seconds.
eventually() {
    for _ in $(seq 600); do
        "$@" >/dev/null 2>&1 && return
        sleep 0.05
    done
    fail "never: $*"
}
picture() { [ -z "$pictures" ] || { sleep 0.5; import -window root "$pictures/$1.png"; }; }

mkdir -m 700 "$work/pulse" "$work/home"
export XDG_RUNTIME_DIR=$work HOME=$work/home PULSE_RUNTIME_PATH=$work/pulse PULSE_SERVER=unix:$work/native
unset DBUS_SESSION_BUS_ADDRESS WAYLAND_DISPLAY
if [ "${4:-}" = dark ]; then
    mkdir "$work/home/.config"
    cp "$root/Tests/kxplayer/dark.kdeglobals" "$work/home/.config/kdeglobals"
    export XDG_CURRENT_DESKTOP=KDE KDE_SESSION_VERSION=5
fi
cat >"$work/start.pa" <<PA
load-module module-native-protocol-unix socket=$work/native auth-anonymous=1
load-module module-null-sink sink_name=kx1 rate=44100 format=s16le channels=2 channel_map=stereo norewinds=1
set-default-sink kx1
PA
pulseaudio -n -F "$work/start.pa" --daemonize=no --exit-idle-time=-1 --use-pid-file=no --realtime=no \
    --high-priority=no --disable-shm=yes --log-target="file:$work/pulse.log" &
processes+=($!)
eventually pactl info

mkfifo "$work/display"
Xvfb -displayfd 3 -screen 0 "${KX_SCREEN:-780x520}x24" -nolisten tcp -noreset 3>"$work/display" 2>"$work/xvfb.log" &
processes+=($!)
read -r -t 30 number <"$work/display" || fail "no X server: $(cat "$work/xvfb.log")"
export DISPLAY=:$number QT_QPA_PLATFORM=xcb KXFW_AUDIO_BACKEND=pulse

python3 "$root/scripts/make_music.py" "$work/music.wav" 20
printf 'no sound' >"$work/broken.mp3"
long_seconds=21600 # of silence, with next to nothing on the disk
python3 - "$work/long.wav" $((long_seconds * 176400)) <<'PY'
import struct, sys
size = int(sys.argv[2])
with open(sys.argv[1], "wb") as file:
    file.write(struct.pack("<4sI8sIHHIIHH4sI", b"RIFF", 36 + size, b"WAVEfmt ", 16, 1, 2, 44100, 176400, 4, 16, b"data", size))
    file.truncate(44 + size)
PY
status=0
timeout 30 "$player" one.wav two.wav 2>"$work/errors" || status=$?
[ "$status" = 2 ] && grep -qx "kxplayer: it opens one file at a time" "$work/errors" || fail "ended with $status"

parec -d kx1.monitor --format=s16le --rate=44100 --channels=2 >"$work/recording.raw" &
processes+=($!)

cp "$work/music.wav" "$work/slow.wav"
cc -shared -fPIC -o "$work/slow_disk.so" "$root/Tests/kxplayer/slow_disk.c" -ldl
KX_HOLD=$work/hold LD_PRELOAD=$work/slow_disk.so "$player" 2>"$work/errors" &
running=$!
processes+=("$running")
titled() { xdotool search --onlyvisible --name "$1" | head -1 | grep .; }
eventually titled '^kxplayer$'
window=$(titled '^kxplayer$')
eventually xdotool windowfocus --sync "$window"
picture empty

# The window that stands over the player's, a panel or an alert.
over() { xdotool search --onlyvisible --pid "$running" 2>/dev/null | grep -vx "$window" | head -1 | grep .; }
alone() { ! over; }
# Without a window manager nobody gives the focus back.
back() {
    eventually alone
    xdotool windowfocus --sync "$window"
}
# Chooses a file by the panel's name field.
choose() {
    xdotool key --clearmodifiers "$1"
    eventually over
    panel=$(over)
    xdotool windowfocus --sync "$panel"
    xdotool type --delay 2 "$2"
    xdotool key Return
}
# The one window over the player's has the key until it has gone.
dismiss() {
    xdotool windowfocus --sync "$(over)" key --window 0 "$1"
    for _ in $(seq 20); do
        alone && return
        sleep 0.05
    done
    false
}
frames() { "$tool" info "$1" | sed -n 's/^frames: //p' | grep .; }

# A long export: meanwhile the window takes no keys, and Cancel leaves a valid shorter file.
choose ctrl+o "$work/long.wav"
eventually titled 'long.wav - kxplayer'
back
choose ctrl+e "$work/long.aiff"
sheet() { over | grep -vx "$panel"; }
eventually sheet
picture exporting
xdotool windowfocus --sync "$window" key space key ctrl+q key ctrl+e
eventually dismiss space
back
eventually frames "$work/long.aiff"
[ "$(frames "$work/long.aiff")" -lt $((long_seconds * 44100)) ] || fail "the export was not cancelled"
kill -0 "$running" || fail "the player has ended"

choose ctrl+o "$work/music.wav"
eventually titled 'music.wav - kxplayer'
back

# Play: the recording gets sound, and the sink has the player's stream.
heard() { [ "$(tr -d '\000' <"$work/recording.raw" | wc -c)" -gt 10000 ]; }
xdotool key space
eventually heard
picture playing

# A click in the waveform to the right of its middle puts the line there, also while it plays.
eval "$(xdotool getwindowgeometry --shell "$window" | sed 's/^/GEOMETRY_/')"
wave=$((GEOMETRY_HEIGHT - 220))
point() { xdotool mousemove --window "$window" "$1" "$wave"; }
point 500
xdotool click 1 key o space
eventually titled 'music.wav - kxplayer'

# Export what lies before it; the file's length is where the line was put.
choose ctrl+e "$work/range.aiff"
eventually frames "$work/range.aiff"
length=$(frames "$work/range.aiff")
[ "$length" -gt 441000 ] && [ "$length" -lt 882000 ] || fail "exported $length frames"
back

# A phrase is zoomed to and selected; its loop is heard, bit for bit what an export of the range holds.
point 300
xdotool click 4 click 4 click 4 click 4 click 4 click 4
xdotool mousedown 1
point 350
point 400
xdotool mouseup 1
picture selected
exports() { choose ctrl+e "$1"; eventually frames "$1"; back; }
exports "$work/loop.aiff"
length=$(frames "$work/loop.aiff")
[ "$length" -gt 22050 ] && [ "$length" -lt 132300 ] || fail "selected $length frames"
"$tool" decode "$work/loop.aiff" "$work/loop.raw"
passes() { # an export ends with a whole slice of 512
    python3 - "$work/recording.raw" "$work/loop.raw" <<'PY'
import sys
from array import array
loop = array("h", open(sys.argv[2], "rb").read())
loop.byteswap()
loop = loop.tobytes()
heard = open(sys.argv[1], "rb").read()
begin = loop[:-4 * 512]
first = heard.find(begin)
length = heard.find(begin, first + 4) - first
sys.exit(first < 0 or not len(begin) < length <= len(loop) or heard[first:first + length] != loop[:length])
PY
}
xdotool key space
eventually passes
picture looping
xdotool key space
# Zoomed in until there are single samples, undone, and back to the whole file.
xdotool $(printf 'click 4 %.0s' $(seq 40))
picture samples
xdotool key ctrl+z key 0
exports "$work/undone.aiff"
[ "$(frames "$work/undone.aiff")" = "$(frames "$work/range.aiff")" ] || fail "the selection was not undone"

# A broken file brings the alert; what was open stays.
choose ctrl+o "$work/broken.mp3"
alert() { over | grep -vx "$panel"; }
eventually alert
picture error
kill -0 "$running" || fail "the player has ended"
eventually dismiss Return
back
titled 'music.wav - kxplayer' || fail "the broken file is open"

# While a file is being opened from a disk that does not answer, the old one plays on, Escape leaves it, and the window
# answers; once the disk does, the file is there.
plays() { LC_ALL=C pactl list sink-inputs | grep -q 'Corked: no'; }
rests() { ! plays; }
touch "$work/hold"
choose ctrl+o "$work/slow.wav"
back
xdotool key Home key space
eventually plays
picture opening
xdotool key Escape
picture left
xdotool key space
eventually rests
choose ctrl+o "$work/slow.wav"
back
rm "$work/hold"
eventually titled 'slow.wav - kxplayer'

xdotool key ctrl+q
ended() { ! kill -0 "$running" 2>/dev/null; }
eventually ended

# A file of the command line whose name is no text in this locale; a signal ends the player as the menu does.
cp "$work/music.wav" "$work/"$'caf\xe9.wav'
"$player" "$work/"$'caf\xe9.wav' 2>>"$work/errors" &
running=$!
processes+=("$running")
eventually titled '^caf.*wav - kxplayer'
kill "$running"
wait "$running" || fail "the signal ended it with $?"
grep -q 'caf%E9.wav' "$work/home/.config/kxplayer/kxplayer.conf" || fail "the file is not remembered"
