#!/usr/bin/env bash
# Tells kxplayer's whole story in a window of a virtual X server, with a real pointer and keyboard, against a private
# sound server whose output is recorded: open, play, drag, loop, export, a broken file.
# Usage: real_story.sh KXPLAYER KXTOOL [FOLDER FOR PICTURES]
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
Xvfb -displayfd 3 -screen 0 "${KX_SCREEN:-780x480}x24" -nolisten tcp -noreset 3>"$work/display" 2>"$work/xvfb.log" &
processes+=($!)
read -r -t 30 number <"$work/display" || fail "no X server: $(cat "$work/xvfb.log")"
export DISPLAY=:$number QT_QPA_PLATFORM=xcb KXFW_AUDIO_BACKEND=pulse

python3 "$root/scripts/make_music.py" "$work/music.wav" 20
printf 'no sound' >"$work/broken.mp3"
parec -d kx1.monitor --format=s16le --rate=44100 --channels=2 >"$work/recording.raw" &
processes+=($!)

"$player" 2>"$work/errors" &
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
    xdotool windowfocus --sync "$(over)"
    xdotool type --delay 2 "$2"
    xdotool key Return
}
choose ctrl+o "$work/music.wav"
eventually titled 'music.wav - kxplayer'
back

# Play: the recording gets sound, and the sink has the player's stream.
heard() { [ "$(tr -d '\000' <"$work/recording.raw" | wc -c)" -gt 10000 ]; }
xdotool key space
eventually heard
picture playing

# A drag of the play line to the right of the middle moves the position there.
eval "$(xdotool getwindowgeometry --shell "$window" | sed 's/^/GEOMETRY_/')"
bar=$((GEOMETRY_HEIGHT - 140))
xdotool mousemove --window "$window" 200 "$bar" mousedown 1 mousemove --window "$window" 500 "$bar" mouseup 1
xdotool key o space
eventually titled 'music.wav - kxplayer'

# Export what lies before it; the file's length is where the line was dropped.
choose ctrl+e "$work/range.aiff"
exported() { "$tool" info "$work/range.aiff" | sed -n 's/^frames: //p'; }
plausible() {
    local frames
    frames=$(exported)
    [ "$frames" -gt 441000 ] && [ "$frames" -lt 882000 ]
}
eventually plausible
back

# A broken file brings the alert; the player stays and opens another one.
choose ctrl+o "$work/broken.mp3"
eventually titled '^kxplayer$'
eventually over
picture error
kill -0 "$running" || fail "the player has ended"
xdotool windowfocus --sync "$(over)" key Return
back
choose ctrl+o "$work/music.wav"
eventually titled 'music.wav - kxplayer'
back

xdotool key ctrl+q
ended() { ! kill -0 "$running" 2>/dev/null; }
eventually ended
