#!/bin/sh
# clean_root.sh [command]: proves that the two commands of the README work on a bare Debian 12 with nothing but git.
# Makes (once) a root under $CLEAN_ROOT, default /var/tmp/kestrin-clean-root, by debootstrap, clones HEAD into a fresh
# copy of it and runs the command there, default "./run --version && ./test". Needs root and debootstrap.
set -eu
source=$(cd "$(dirname "$0")/.." && pwd)
base=${CLEAN_ROOT:-/var/tmp/kestrin-clean-root}
command=${1:-"./run --version && ./test"}

if [ ! -f "$base.tar" ]; then
  debootstrap --variant=minbase --include=git,ca-certificates bookworm "$base" http://deb.debian.org/debian
  cp -r /etc/apt/sources.list.d "$base/etc/apt/"
  for file in /etc/apt/apt.conf.d/*; do
    case "$file" in */docker-*) ;; *) cp "$file" "$base/etc/apt/apt.conf.d/" ;; esac
  done
  tar -C "$base" -cf "$base.tar" .
fi
leave() {
  umount "$base/proc" "$base/dev/shm" "$base/dev/pts" "$base/dev" 2>/dev/null || true
}
trap leave EXIT
leave
rm -rf "$base"
mkdir -p "$base"
tar -C "$base" -xf "$base.tar"
cp /etc/resolv.conf "$base/etc/resolv.conf"
mount --bind /dev "$base/dev"
mkdir -p "$base/dev/shm" "$base/dev/pts"
mount --bind /dev/pts "$base/dev/pts"
mount -t tmpfs tmpfs "$base/dev/shm"
mount -t proc proc "$base/proc"
git clone -q "$source" "$base/root/kestrin"
chroot "$base" /usr/bin/env -i HOME=/root PATH=/usr/sbin:/usr/bin:/sbin:/bin LANG=C.UTF-8 \
  sh -c "cd /root/kestrin && $command"
