# Read by scripts that work in a real window. Makes a folder with a home of its own and goes there; both it and what was
# started end with the script. $folder is that folder, $window the process of the window, $id its number at the display.
folder=$(mktemp -d "/tmp/kestrin_$(basename "$0" .sh).XXXXXX")
window=
server=
leave() {
  [ -z "$window" ] || kill -9 "$window" 2>/dev/null || true
  [ -z "$server" ] || kill "$server" 2>/dev/null || true
  wait 2>/dev/null || true
  rm -rf "$folder"
}
trap leave EXIT
trap 'exit 1' INT TERM
cd "$folder"
mkdir -m 700 run home
unset XDG_CONFIG_HOME XDG_DATA_HOME XDG_STATE_HOME WAYLAND_DISPLAY KESTRIN_SITE KESTRIN_TRANSIENT
export HOME="$folder/home" XDG_RUNTIME_DIR="$folder/run" QT_QPA_PLATFORM=xcb SDL_AUDIODRIVER=dummy

open_display() {
  Xvfb -displayfd 3 -screen 0 1280x900x24 -nolisten tcp 3>display >/dev/null 2>&1 &
  server=$!
  until [ -s display ]; do sleep 0.1; done
  export DISPLAY=":$(cat display)"
}

# PROGRAM [ARGUMENT...]: its error stream goes to the file `errors`. Fails when it ends before there is a window.
open_window() {
  "$@" >/dev/null 2>errors &
  window=$!
  id=
  until [ -n "$id" ]; do
    kill -0 "$window" 2>/dev/null || return 1
    id=$(xdotool search --onlyvisible --all --pid "$window" --name ' - ' 2>/dev/null | head -n 1) || true
    sleep 0.2
  done
  xdotool windowfocus --sync "$id"
}
