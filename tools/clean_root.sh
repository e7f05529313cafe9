#!/bin/sh
# clean_root.sh [command]: proves that the two commands of the README work on a bare Debian 12 with nothing but git, or
# with SUITE=trixie on 13. Makes (once) a root under $CLEAN_ROOT, default /var/tmp/kestrin-clean-root, by debootstrap,
# clones HEAD into a fresh copy of it and runs the command there, default "./run --version && ./test". Needs root and
# debootstrap. With CCACHE set to a folder, such as ~/.cache/ccache, its compilers use that cache, which proves the same
# and takes less time.
set -eu
source=$(cd "$(dirname "$0")/.." && pwd)
suite=${SUITE:-bookworm}
base=${CLEAN_ROOT:-/var/tmp/kestrin-clean-root}
[ "$suite" = bookworm ] || base=$base-$suite
command=${1:-"./run --version && ./test"}

if [ ! -f "$base.tar" ]; then
  debootstrap --variant=minbase --include=git,ca-certificates "$suite" "$base" http://deb.debian.org/debian
  ! grep -q "VERSION_CODENAME=$suite" /etc/os-release || cp -r /etc/apt/sources.list.d "$base/etc/apt/"
  for file in /etc/apt/apt.conf.d/*; do
    case "$file" in */docker-*) ;; *) cp "$file" "$base/etc/apt/apt.conf.d/" ;; esac
  done
  tar -C "$base" -cf "$base.tar" .
fi
leave() {
  for place in root/.cache/ccache proc dev/shm dev/pts dev; do
    ! mountpoint -q "$base/$place" || umount "$base/$place" || umount -l "$base/$place"
  done
}
trap leave EXIT
leave
rm -rf --one-file-system "$base"
mkdir -p "$base"
tar -C "$base" -xf "$base.tar"
cp /etc/resolv.conf "$base/etc/resolv.conf"
mount --bind /dev "$base/dev"
mkdir -p "$base/dev/shm" "$base/dev/pts"
mount --bind /dev/pts "$base/dev/pts"
mount -t tmpfs tmpfs "$base/dev/shm"
mount -t proc proc "$base/proc"
git clone -q "$source" "$base/root/kestrin"
if [ -n "${CCACHE:-}" ]; then
  mkdir -p "$base/root/.cache/ccache" "$base/root/.config/ccache"
  mount --bind "$CCACHE" "$base/root/.cache/ccache"
  printf 'max_size = 0\nbase_dir = /root\nhash_dir = false\nsloppiness = include_file_ctime,include_file_mtime,pch_defines,time_macros\n' \
    >"$base/root/.config/ccache/ccache.conf"
  chroot "$base" sh -c "apt-get update && apt-get install -y --no-install-recommends ccache" >/dev/null 2>&1
fi
chroot "$base" /usr/bin/env -i HOME=/root PATH=/usr/sbin:/usr/bin:/sbin:/bin LANG=C.UTF-8 \
  sh -c "cd /root/kestrin && $command"
