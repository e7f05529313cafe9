#!/bin/sh
# check_builds.sh [PART...]: builds the program without parts of it, each in a folder below build/, and tries what is left.
# Parts: desktop (no Qt and SDL), media (no FFmpeg), raw (no LibRaw), clang (all of it, by clang); default all four. And
# twice: built in two folders, which must give the same bytes; the second without the compiler cache.
set -eu
cd "$(dirname "$0")/.."
folder=$(mktemp -d /tmp/kestrin_builds.XXXXXX)
trap 'rm -rf "$folder"' EXIT
mkdir "$folder/home"
kestrin() {
  env -u DISPLAY -u WAYLAND_DISPLAY -u XDG_CONFIG_HOME -u XDG_DATA_HOME -u XDG_STATE_HOME HOME="$folder/home" "$bin/kestrin" "$@"
}
build_twice() {
  for n in 1 2; do
    cmake -S . -B "build/twice_$n" -G Ninja -DCMAKE_BUILD_TYPE=Release -DKESTRIN_TESTS=OFF >"$folder/log"
    [ $n = 1 ] || export CCACHE_DISABLE=1
    ninja -C "build/twice_$n" kestrin >"$folder/log" || { cat "$folder/log" >&2; exit 1; }
  done
  unset CCACHE_DISABLE
  for file in build/twice_1/bin/kestrin build/twice_1/bin/*.so; do
    cmp "$file" "build/twice_2/bin/${file##*/}" || exit 1
  done
  echo "twice: $(ls build/twice_1/bin/kestrin build/twice_1/bin/*.so | wc -l) files are the same"
}
[ $# -gt 0 ] || set -- desktop media raw clang
for part in "$@"; do
  [ "$part" != twice ] || { build_twice; continue; }
  options=
  case "$part" in
    desktop | media | raw) options="-DKESTRIN_$(printf %s "$part" | tr a-z A-Z)=OFF" ;;
    clang) options="-DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++" ;;
    *) echo "check_builds.sh: unknown part $part" >&2; exit 2 ;;
  esac
  cmake -S . -B "build/without_$part" -G Ninja -DCMAKE_BUILD_TYPE=Release -DKESTRIN_TESTS=OFF $options >"$folder/log"
  ninja -C "build/without_$part" kestrin >"$folder/log" || { cat "$folder/log" >&2; exit 1; }
  bin="$PWD/build/without_$part/bin"
  [ "$part" = clang ] || [ ! -e "$bin/kestrin_$part.so" ] || { echo "$part: the module is there" >&2; exit 1; }
  kestrin examples/first_look/lantern.##.tga --mask_size=layer "--save_mask_as_sequence=$folder/$part.####.png" --exit=status
  [ "$(ls "$folder/$part".*.png | wc -l)" = "$(ls examples/first_look/lantern.*.tga | wc -l)" ]
  # What is left out is one line when it is asked for, and the process lives.
  printf x >"$folder/a.dng"
  cp "$folder/a.dng" "$folder/a.mov"
  said=
  case "$part" in
    desktop) said=$(kestrin --new_text_layer 2>&1) && exit 1 ;;
    media) said=$(kestrin "$folder/a.mov" --exit=status 2>&1) && exit 1 ;;
    raw) said=$(kestrin "$folder/a.dng" --save_frame_as="$folder/x.png" --exit=status 2>&1) && exit 1 ;;
    clang) said="$(ls "$bin"/*.so | wc -l) modules" ;;
  esac
  echo "$part: $said" | sed "s|$folder/||g"
done
