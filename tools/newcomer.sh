#!/bin/bash
# newcomer.sh [FOLDER [PROGRAM]]: ten tasks of somebody who has never seen the window, each by mouse and again by key, under Xvfb.
# Each must be done within twenty seconds, which is asked of the program, and leaves a picture of the screen in FOLDER (default
# /tmp/kestrin_newcomer) to look at. Pixels are read by mouse alone. Needs tools/install_packages.sh check.
set -eu
cd "$(dirname "$0")/.."
pictures=${1:-/tmp/kestrin_newcomer}
program=$(realpath "${2:-build/release/bin/kestrin}")
mkdir -p "$pictures"
pictures=$(realpath "$pictures")
. tools/own_window.sh

made() {
  env -u DISPLAY "$program" --new_text_layer=48 --timeline=48 --wa_end=48 "--mask_size=$1" --layer_resize_to_mask "--text=$2" \
    --text_size=100 "--back_color=$3" "--save_mask_as_sequence=$folder/$4.####.tga" --transient --exit=status
}
made 640,360 '{timeline:frame}' 40,60,80 shot
made 200,120 logo 128,30,30 logo

open_display
open_window "$program"

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
way=
wrong() { echo "  $way: $*"; failed=1; }
# Until two values are the same, for a moment at most: the window needs a tick.
expect() {
  local tries=20 found
  until found=$(field "$1"); [ "$found" = "$2" ]; do
    tries=$((tries - 1))
    [ $tries -gt 0 ] || { wrong "$1 is $found, not $2"; return; }
    sleep 0.1
  done
}
shoot() { import -window root "$pictures/$(printf %02d $number)_$1.png"; }
# task WORDS FUNCTION...: one function for each way; its name ends with the way.
task() {
  local words=$1 began took
  shift
  number=$((number + 1))
  for function in "$@"; do
    way=${function##*_}
    failed=
    began=$(date +%s%N)
    "$function"
    sleep 0.4
    shoot "$way"
    took=$((($(date +%s%N) - began) / 1000000))
    [ $took -lt 20000 ] || failed=1
    echo "$number. $words, by $way: $took ms${failed:+, FAILED}"
    [ -z "$failed" ] || failures=$((failures + 1))
  done
}
# The entry of a menu at so many pixels below the top of the window.
choose() {
  local -A left=([File]=20 [Edit]=55 [View]=92 [Play]=125 [Layer]=160)
  click "${left[$1]}" 9
  sleep 0.5
  click $((${left[$1]} + 60)) "$2"
  sleep 0.3
}
# The list of keys finds what was typed there, and Enter runs it.
find_and_run() {
  key question
  sleep 0.4
  xdotool type --delay 10 "$1"
  sleep 0.2
  key Return
  sleep 0.3
}
frame_at() { echo $((45 + $1 * 177 / 10)); }  # on the ruler
saved_movie() {  # NAME FRAMES
  sleep 1.5
  xdotool type --delay 10 "$folder/$1"
  key Return
  local tries=80
  until [ -s "$1" ] || [ $tries = 0 ]; do sleep 0.1; tries=$((tries - 1)); done
  local frames=$(ffprobe -v error -count_frames -select_streams v -show_entries stream=nb_read_frames -of csv=p=0 "$1")
  [ "$frames" = "$2" ] || wrong "the movie has $frames frames"
}
opened_by_name() {
  key ctrl+shift+o
  sleep 1.5
  xdotool type --delay 10 "$1"
  key Return
}

open_key() {
  opened_by_name "$folder/shot.0000.tga"
  expect 1:length 48
}
open_mouse() {
  key ctrl+n
  sleep 0.5
  drop "$folder/shot.0000.tga"
  expect 1:length 48
}
play_mouse() {
  click 471 741  # the button with the triangle
  expect playing 1
  click 551 741  # what happens at the end
  expect repeat none
  click 471 741
  expect playing 0
  click 400 765  # the ruler
  expect time 20
}
play_key() {
  key ctrl+l
  expect repeat ping_pong
  key space
  expect playing 1
  key space
  expect playing 0
  key Home
  expect time 0
}
step_mouse() {
  click 400 765
  for x in 498 498 498 416; do click $x 741; done  # three frames on, one back
  expect time 22
  drag 400 300 480 300
  expect time 32
}
step_key() {
  key End
  expect time 47
  key Left Left Left Right
  expect time 45
  key --repeat 12 Left
  expect time 33
}
range_mouse() {
  drag 43 766 $(($(frame_at 10) - 2)) 766
  drag 896 766 $(($(frame_at 30) + 2)) 766
  expect wa_begin 10
  expect wa_end 30
  choose File 349  # Save Composite As Sequence...
  saved_movie mouse.mov 20
}
range_key() {
  key Home Right Right i
  expect wa_begin 12
  key End Left o
  expect wa_end 28
  key ctrl+shift+e
  saved_movie key.mov 16
}
zoom_mouse() {
  choose View 256  # Fit Layers
  local fitted=$(field zoom)
  [ "$fitted" != 100 ] || wrong "the zoom is still 100"
  choose View 278  # Actual Size, Centred
  expect zoom 100
  click 470 350 4  # the wheel
  expect zoom 200
  choose View 256
  expect zoom "$fitted"
}
zoom_key() {
  key 1
  expect zoom 100
  key equal
  expect zoom 200
  key f
  sleep 0.3
  [ "$(field zoom)" != 200 ] || wrong "the zoom is still 200"
}
values_mouse() {
  at 300 180
  sleep 1
  shoot pixel
  xdotool keydown ctrl keydown alt
  at 280 240
  xdotool mousedown 1
  at 360 300
  at 460 440
  sleep 0.5
  shoot area
  xdotool mouseup 1 keyup alt keyup ctrl
}
second_mouse() {
  drop "$folder/logo.0000.tga"
  expect 1:name "logo.####.tga"
  xdotool keydown shift
  drag 470 340 600 240
  xdotool keyup shift
  [ "$(field 1:position)" != 0,0 ] || wrong "it did not move"
  at 300 771  # its row
  xdotool click --repeat 2 --delay 80 1
  sleep 0.4
  click 785 647  # the third dot is the tab Blending
  sleep 0.3
  click 800 532  # opacity
  sleep 0.3
  xdotool type 50
  key Return
  expect 1:opacity 50
  shoot half
  choose Edit 29  # Undo
  expect 1:opacity 100
  key Tab
}
second_key() {
  key Delete
  expect 1:name "shot.####.tga"
  opened_by_name "$folder/logo.0000.tga"
  expect 1:name "logo.####.tga"
  key --repeat 9 ctrl+Right
  expect 1:position 9,0
  find_and_run opacity=50
  expect 1:opacity 50
  key ctrl+z
  expect 1:opacity 100
}
exposure_mouse() {
  for _ in 1 2 3 4; do choose View 664; done  # Exposure Down
  expect global:exposure -1
  shoot dark
  choose View 730  # Neutral View
  expect global:exposure 0
}
exposure_key() {
  key shift+e shift+e shift+e shift+e
  expect global:exposure -1
  key n
  expect global:exposure 0
}
burn_in_mouse() {
  choose Edit 486  # New Text Layer
  at 300 751
  xdotool click --repeat 2 --delay 80 1
  sleep 0.4
  click 805 628  # the tab Text
  sleep 0.3
  at 850 375  # tells what is filled in
  sleep 1
  shoot tip
  click 850 375
  sleep 0.3
  xdotool type --delay 10 '{2:name} {timeline:frame}'
  key Return
  expect 1:text '{2:name} {timeline:frame}'
  key Tab
  # It is to be seen where the newcomer stands.
  [ "$(field 1:length)" -gt 1 ] || wrong "the text lasts one frame"
}
burn_in_key() {
  key Delete
  find_and_run 'new text layer'
  find_and_run 'edit text on'
  xdotool type --delay 10 '{2:name} {timeline:frame}'
  key Return
  expect 1:text '{2:name} {timeline:frame}'
}
forgotten_key() {
  key question
  sleep 0.5
  xdotool type --delay 15 darker  # what the key does, in one's own word
  sleep 0.3
  shoot found
  key Return  # it runs it too
  expect global:exposure -0.25
  key n
}
forgotten_mouse() {
  choose View 618  # Keys
  sleep 0.3
  xdotool type --delay 15 darker
  sleep 0.3
  shoot found
  click 560 174  # the first row
  expect global:exposure -0.25
  key n
}
task "open a shot" open_key open_mouse
task "play, loop, stop on a frame" play_mouse play_key
task "step and scrub" step_mouse step_key
task "in and out, that range as a movie" range_mouse range_key
task "zoom to fit, to 1 : 1, back" zoom_mouse zoom_key
task "read a pixel and an area" values_mouse
task "a second shot over the first: move, opacity, undo" second_mouse second_key
task "expose the view and back" exposure_mouse exposure_key
task "burn in frame and name" burn_in_mouse burn_in_key
task "find a key" forgotten_mouse forgotten_key
[ ! -s errors ] || { cat errors; failures=$((failures + 1)); }
echo "$number tasks, $failures failures, pictures in $pictures"
[ $failures = 0 ]
