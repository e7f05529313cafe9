#!/bin/sh
# make_pictures.sh KESTRIN: makes the pictures of the window in docs/ again, without a window or a display.
set -eu
program=$(realpath "$1")
project=$(realpath "$(dirname "$0")/..")
settings=$(mktemp -d)
trap 'rm -rf "$settings"' EXIT
export XDG_CONFIG_HOME="$settings/config" XDG_DATA_HOME="$settings/data"
cd "$settings"
# The example saves its picture and ends; here it only fills the window.
cp -r "$project/examples/." .
grep -v -e '^--exit' -e '^--save_mask' -e '^--print' first_look.ksncmd >window.ksncmd
"$program" window.ksncmd --window_size=1280,800 --zoom=200 --pan=0,0 \
    --save_window_as="$project/docs/window.png" --transient --exit=status
