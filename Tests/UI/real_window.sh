#!/usr/bin/env bash
# Uses the transport bar's example in a window of a virtual X server, with a real pointer and keyboard, and checks what
# its delegate hears.   Usage: real_window.sh EXAMPLE [PICTURE.png]
set -euo pipefail
example=$1
picture=${2:-}
work=$(mktemp -d)
server='' program=''
trap 'kill $program $server 2>/dev/null || true; wait; rm -rf "$work"' EXIT

fail() { echo "real_window: $*" >&2; cat "$work/heard" >&2; exit 1; }

mkfifo "$work/display"
Xvfb -displayfd 3 -screen 0 640x200x24 -nolisten tcp -noreset 3>"$work/display" 2>"$work/xvfb.log" &
server=$!
read -r -t 30 number <"$work/display" || fail "no X server: $(cat "$work/xvfb.log")"
export DISPLAY=:$number QT_QPA_PLATFORM=xcb XDG_RUNTIME_DIR=$work

"$example" >"$work/heard" 2>"$work/errors" &
program=$!
window=$(timeout 30 xdotool search --sync --onlyvisible --name 'Transport bar' | head -1)
[ -n "$window" ] || fail "no window: $(cat "$work/errors")"
xdotool windowmove --sync "$window" 37 21 2>/dev/null || true # the window's place must not matter
xdotool windowfocus --sync "$window"

# Waits until the example has printed COUNT lines.
lines() {
    for _ in $(seq 300); do
        [ "$(wc -l <"$work/heard")" -ge "$1" ] && return
        sleep 0.05
    done
    fail "line $1 never came"
}
line() { lines "$1"; sed -n "$1p" "$work/heard"; }
at() { xdotool mousemove --window "$window" "$@"; }

# Three clicks on the range, 100 pixels apart: the frames are apart by the same steps.
for x in 100 200 300; do at $x 40 click 1; done
lines 3
read -r _ a <<<"$(line 1)"; read -r _ b <<<"$(line 2)"; read -r _ c <<<"$(line 3)"
step=$((b - a))
[ $step -gt 90000 ] && [ $step -lt 130000 ] && [ $(((c - b) - step)) -ge -2 ] && [ $(((c - b) - step)) -le 2 ] ||
    fail "clicks 100 pixels apart are at $a, $b, $c"

# A drag that leaves the window on the left ends at frame 0, released outside.
at 200 40 mousedown 1
lines 4
xdotool mousemove 2 190
lines 5
xdotool mouseup 1
[ "$(line 5)" = "play 0" ] || fail "left of the bar: $(line 5)"

# The keyboard: the play line has the focus first, then the knobs.
xdotool key Right
[ "$(line 6)" = "play 4410" ] || fail "Right: $(line 6)"
xdotool key Tab Prior
[ "$(line 7)" = "start 220500" ] || fail "Page Up on the start knob: $(line 7)"
xdotool key Tab Home
[ "$(line 8)" = "end 264600" ] || fail "Home on the end knob: $(line 8)"

[ -z "$picture" ] || import -window "$window" "$picture"
kill -0 $program || fail "the example has ended: $(cat "$work/errors")"
[ ! -s "$work/errors" ] || fail "$(cat "$work/errors")"
