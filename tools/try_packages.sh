#!/bin/sh
# try_packages.sh [PRESET]: makes the Debian packages of a build (default release) and tries them on a bare Debian 12: the
# first alone runs a farm job and brings neither Qt nor SDL nor FFmpeg, all three open a window. Needs root and debootstrap;
# $CLEAN_ROOT is the root that tools/clean_root.sh keeps, default /var/tmp/kestrin-clean-root. With MADE=1 the packages that
# are there are tried.
set -eu
cd "$(dirname "$0")/.."
build=build/${1:-release}
base=${CLEAN_ROOT:-/var/tmp/kestrin-clean-root}
root=$(mktemp -d /var/tmp/kestrin_packages.XXXXXX)
leave() {
  for place in proc dev/shm dev/pts dev; do
    umount "$root/$place" 2>/dev/null || umount -l "$root/$place" 2>/dev/null || true
  done
  rm -rf --one-file-system "$root"
}
trap leave EXIT
trap 'exit 1' INT TERM
fail() {
  echo "try_packages.sh: $*" >&2
  exit 1
}

# --- the packages ---
if [ -z "${MADE:-}" ]; then
  ninja -C "$build" >/dev/null
  rm -f "$build"/kestrin*.deb
  (cd "$build" && cpack -G DEB >cpack.log) || { cat "$build/cpack.log" >&2; exit 1; }
fi
ls "$build"/kestrin*.deb | sed 's|.*/|made |'
lintian --fail-on error "$build"/kestrin*.deb >"$build/lintian.log" 2>&1 || {
  cat "$build/lintian.log" >&2
  fail "lintian has errors"
}
desktop-file-validate packaging/kestrin.desktop || fail "the menu entry"
appstreamcli validate --no-net packaging/kestrin.metainfo.xml >/dev/null || fail "the AppStream data"
echo "lintian: no errors; desktop-file-validate and appstreamcli are quiet"

# --- a bare root ---
if [ ! -f "$base.tar" ]; then
  debootstrap --variant=minbase --include=git,ca-certificates bookworm "$base" http://deb.debian.org/debian >/dev/null
  cp -r /etc/apt/sources.list.d "$base/etc/apt/"
  for file in /etc/apt/apt.conf.d/*; do
    case "$file" in */docker-*) ;; *) cp "$file" "$base/etc/apt/apt.conf.d/" ;; esac
  done
  tar -C "$base" -cf "$base.tar" .
  rm -rf "$base"
fi
tar -C "$root" -xf "$base.tar"
cp /etc/resolv.conf "$root/etc/resolv.conf"
mount --bind /dev "$root/dev"
mkdir -p "$root/dev/shm" "$root/dev/pts"
mount --bind /dev/pts "$root/dev/pts"
mount -t tmpfs tmpfs "$root/dev/shm"
mount -t proc proc "$root/proc"
mkdir "$root/packages"
cp "$build"/kestrin*.deb "$root/packages/"
inside() {
  chroot "$root" /usr/bin/env -i HOME=/root PATH=/usr/sbin:/usr/bin:/sbin:/bin LANG=C.UTF-8 DEBIAN_FRONTEND=noninteractive sh -c "$1"
}
log="$build/try_packages.log"
inside "apt-get update" >"$log" 2>&1 || { tail "$log" >&2; fail "apt-get update"; }

# --- a node: the first package alone ---
inside "apt-get install -y --no-install-recommends /packages/kestrin_*.deb" >>"$log" 2>&1 || { tail "$log" >&2; fail "kestrin"; }
found=$(inside "dpkg-query -W -f '\${Package}\n'" | grep -E '^(libqt|qt6|libsdl|libav|libsw|libx11|libxcb)' || true)
[ -z "$found" ] || fail "the node has $found"
inside "cd /tmp && kestrin /usr/share/kestrin/examples/first_look/lantern.##.tga --new_text_layer=8 '--text={timeline:frame}' \
  --mask_size=320,180 --chunk=2/2 --save_mask_as_sequence=c.####.exr --exit=status && ls c.*.exr" | tr '\n' ' '
echo "<- a farm job on a node of $(inside "dpkg-query -W -f 'x\n'" | wc -l) packages, none of Qt, SDL, FFmpeg, X11"
inside "printf x >/tmp/a.mov; kestrin /tmp/a.mov --exit=status" 2>&1 | sed 's/^/a movie there: /'
inside "kestrin --new_text_layer" 2>&1 | sed 's/^/a window there: /'

# --- a workstation: all three ---
inside "apt-get install -y --no-install-recommends /packages/kestrin*.deb xvfb xauth" >>"$log" 2>&1 || { tail "$log" >&2; fail "all three"; }
inside "cd /tmp && mkdir -m 700 -p run && export XDG_RUNTIME_DIR=/tmp/run SDL_AUDIODRIVER=dummy && \
  kestrin /usr/share/kestrin/examples/first_look/lantern.##.tga --save_layer_as=lantern.mov --exit=status && \
  xvfb-run -a -s '-screen 0 1024x860x24 -fbdir /tmp' sh -c 'kestrin lantern.mov 2>errors & window=\$!; n=0; \
    until timeout 5 kestrin --attach_nf --print_field=1:length && sleep 1; do n=\$((n+1)); [ \$n -lt 50 ] || exit 1; sleep 0.2; done; \
    cp Xvfb_screen0 screen.xwd; kestrin --attach_nf --exit; wait \$window'" || fail "no window"
[ ! -s "$root/tmp/errors" ] || { cat "$root/tmp/errors" >&2; fail "the window told of errors"; }
convert "xwd:$root/tmp/screen.xwd" "$build/window_of_packages.png"
echo "all three: a movie was made and shown in a window; the screen is $build/window_of_packages.png"
