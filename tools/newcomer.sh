#!/bin/bash
# newcomer.sh [FOLDER [PROGRAM]]: ten tasks of somebody who has never seen the window, by mouse and by key under Xvfb. Each must
# be done within twenty seconds, which is asked of the program, and leaves a picture of the screen in FOLDER (default
# /tmp/kestrin_newcomer) to look at. Needs tools/install_packages.sh check.
set -eu
cd "$(dirname "$0")/.."
pictures=${1:-/tmp/kestrin_newcomer}
program=$(realpath "${2:-build/release/bin/kestrin}")
mkdir -p "$pictures"
pictures=$(realpath "$pictures")
folder=$(mktemp -d /tmp/kestrin_newcomer.XXXXXX)
window=
server=
leave() {
  [ -z "$window" ] || kill -9 "$window" 2>/dev/null || true
  [ -z "$server" ] || kill "$server" 2>/dev/null || true
  wait 2>/dev/null || true
  rm -rf "$folder"
}
trap leave EXIT
cd "$folder"
mkdir -m 700 run home
unset XDG_CONFIG_HOME XDG_DATA_HOME XDG_STATE_HOME WAYLAND_DISPLAY KESTRIN_SITE
export HOME="$folder/home" XDG_RUNTIME_DIR="$folder/run" QT_QPA_PLATFORM=xcb SDL_AUDIODRIVER=dummy

made() {
  env -u DISPLAY "$program" --new_text_layer=48 --timeline=48 --wa_end=48 "--mask_size=$1" --layer_resize_to_mask "--text=$2" \
    --text_size=100 "--back_color=$3" "--save_mask_as_sequence=$folder/$4.####.tga" --transient --exit=status
}
made 640,360 '{timeline:frame}' 40,60,80 shot
made 200,120 logo 128,30,30 logo

Xvfb -displayfd 3 -screen 0 1280x900x24 -nolisten tcp 3>display >/dev/null 2>&1 &
server=$!
until [ -s display ]; do sleep 0.1; done
export DISPLAY=":$(cat display)"
"$program" >/dev/null 2>errors &
window=$!
id=
until [ -n "$id" ]; do
  id=$(xdotool search --onlyvisible --all --pid "$window" --name ' - ' 2>/dev/null | head -n 1) || true
  sleep 0.2
done
xdotool windowfocus --sync "$id"

at() { xdotool mousemove --window "$id" "$1" "$2"; }
click() { at "$1" "$2"; xdotool click "${3:-1}"; }
key() { xdotool key --clearmodifiers "$@"; }
drag() {  # FROM_X FROM_Y TO_X TO_Y, in eight steps
  local i
  at "$1" "$2"
  xdotool mousedown 1
  for i in 1 2 3 4 5 6 7 8; do
    at $(($1 + ($3 - $1) * i / 8)) $(($2 + ($4 - $2) * i / 8))
    sleep 0.03
  done
  xdotool mouseup 1
}
field() { "$program" --attach_nf "--print_field=$1" 2>&1 | sed 's/^[^=]*=//'; }
# A file manager's side of a drop (XDND 5).
drop() {
  /usr/bin/python3 - "$id" 400 300 "$1" <<'END'
import sys, time
from Xlib import X, display
from Xlib.protocol import event
target, x, y, path = int(sys.argv[1]), int(sys.argv[2]), int(sys.argv[3]), sys.argv[4]
server = display.Display()
atom = server.intern_atom
source = server.screen().root.create_window(0, 0, 1, 1, 0, X.CopyFromParent)
kind, data = atom("text/uri-list"), ("file://" + path + "\r\n").encode()
source.set_selection_owner(atom("XdndSelection"), X.CurrentTime)
window = server.create_resource_object("window", target)
def send(name, words):
    window.send_event(event.ClientMessage(window=target, client_type=atom(name), data=(32, words)))
    server.flush()
def wait(name):
    end = time.time() + 15
    while time.time() < end:
        while server.pending_events():
            got = server.next_event()
            if got.type == X.SelectionRequest:
                got.requestor.change_property(got.property, got.target, 8, data)
                got.requestor.send_event(event.SelectionNotify(time=got.time, requestor=got.requestor, selection=got.selection,
                                                               target=got.target, property=got.property))
                server.flush()
            elif got.type == X.ClientMessage and got.client_type == atom(name):
                return
        time.sleep(0.01)
    sys.exit("the drop is not answered")
send("XdndEnter", [source.id, 5 << 24, kind, 0, 0])
send("XdndPosition", [source.id, 0, x << 16 | y, 0, atom("XdndActionCopy")])
wait("XdndStatus")
send("XdndDrop", [source.id, 0, 0, 0, 0])
wait("XdndFinished")
END
}

failures=0
number=0
# Until two values are the same, for a moment at most: the window needs a tick.
expect() {
  local tries=20 found
  until found=$(field "$1"); [ "$found" = "$2" ]; do
    tries=$((tries - 1))
    [ $tries -gt 0 ] || { echo "  $1 is $found, not $2"; failed=1; return; }
    sleep 0.1
  done
}
task() {
  local began=$(date +%s%N) took
  number=$((number + 1))
  failed=
  "$2"
  sleep 0.4
  import -window root "$pictures/$(printf %02d $number).png"
  took=$((($(date +%s%N) - began) / 1000000))
  [ $took -lt 20000 ] || failed=1
  echo "$number. $1: $took ms${failed:+, FAILED}"
  [ -z "$failed" ] || failures=$((failures + 1))
}

open_by_drop() {
  drop "$folder/shot.0000.tga"
  expect 1:length 48
}
play_loop_stop() {
  click 471 741  # the button with the triangle
  sleep 1
  expect playing 1
  click 551 741  # what happens at the end
  expect repeat none
  key space
  expect playing 0
  click 400 765  # the ruler
  expect time 20
}
step_and_scrub() {
  key Right Right Right Left
  expect time 22
  drag 400 300 480 300
  expect time 32
}
range_as_movie() {
  click 222 765
  key i
  click 575 765
  key o
  expect wa_begin 10
  expect wa_end 30
  key ctrl+shift+e
  sleep 1.5
  xdotool type --delay 15 "$folder/range.mov"
  key Return
  local tries=80
  until [ -s range.mov ] || [ $tries = 0 ]; do sleep 0.1; tries=$((tries - 1)); done
  local frames=$(ffprobe -v error -count_frames -select_streams v -show_entries stream=nb_read_frames -of csv=p=0 range.mov)
  [ "$frames" = 20 ] || { echo "  the movie has $frames frames"; failed=1; }
}
zoom_and_back() {
  key f
  sleep 0.3
  local fitted=$(field zoom)
  key 1
  expect zoom 100
  click 470 350 4  # the wheel
  expect zoom 200
  key f
  expect zoom "$fitted"
}
read_values() {
  at 300 180
  sleep 1
  xdotool keydown ctrl keydown alt
  drag 280 240 460 440
  xdotool keyup alt keyup ctrl
}
second_over_first() {
  drop "$folder/logo.0000.tga"
  expect 1:name "logo.####.tga"
  xdotool keydown shift
  drag 470 340 600 240
  xdotool keyup shift
  local moved=$(field 1:position)
  [ "$moved" != 0,0 ] || { echo "  it did not move"; failed=1; }
  key Tab  # the panel
  sleep 0.4
  key ctrl+Tab ctrl+Tab  # its tab Blending
  sleep 0.4
  click 800 549
  sleep 0.3
  xdotool type 50
  key Return
  expect 1:opacity 50
  key ctrl+z
  expect 1:opacity 100
  key Tab
}
expose_and_back() {
  key shift+e shift+e shift+e shift+e
  expect global:exposure -1
  import -window root "$pictures/08_dark.png"
  key n
  expect global:exposure 0
}
burn_in() {
  click 55 9  # Edit
  sleep 0.5
  click 115 486  # New Text Layer
  sleep 0.5
  key Tab
  sleep 0.4
  key ctrl+Tab ctrl+Tab  # its tab Text
  sleep 0.4
  click 850 390
  sleep 0.3
  xdotool type --delay 10 '{2:name} {timeline:frame}'
  key Return
  sleep 0.3
  expect 1:text '{2:name} {timeline:frame}'
  key Tab
  # It is to be seen where the newcomer stands.
  [ "$(field 1:length)" -gt 1 ] || { echo "  the text lasts one frame"; failed=1; }
}
find_a_key() {
  key question
  sleep 0.6
  xdotool type --delay 15 darker  # what the key does, in one's own word
}
task "open a shot by drop" open_by_drop
task "play, loop, stop on a frame" play_loop_stop
task "step and scrub" step_and_scrub
task "in and out, that range as a movie" range_as_movie
task "zoom to fit, to 1 : 1, back" zoom_and_back
task "read a pixel and an area" read_values
task "a second shot over the first: move, opacity, undo" second_over_first
task "expose the view and back" expose_and_back
task "burn in frame and name" burn_in
task "find a key" find_a_key
[ ! -s errors ] || { cat errors; failures=$((failures + 1)); }
echo "$number tasks, $failures failures, pictures in $pictures"
[ $failures = 0 ]
