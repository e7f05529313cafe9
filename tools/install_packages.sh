#!/bin/sh
# install_packages.sh GROUP... installs the Debian packages of the groups that are missing: build, test, bench,
# and check for the scripts of tools/ that ./test does not run.
# Does nothing, and needs no rights, when all are there.
set -eu
clang=14
! grep -qs '^VERSION_CODENAME=trixie' /etc/os-release || clang=19
build="g++ cmake ninja-build pkg-config zlib1g-dev libpng-dev libjpeg-dev libtiff-dev libraw-dev libopenexr-dev libimath-dev \
libdeflate-dev libavformat-dev libavcodec-dev libswscale-dev libswresample-dev libavdevice-dev \
qt6-base-dev qt6-wayland libsdl2-dev libxcb1-dev libpango1.0-dev libfontconfig-dev libcurl4-openssl-dev libtinyxml2-dev fonts-liberation \
fonts-dejavu-core fonts-dejavu-extra"
test="ffmpeg duktape xvfb xdotool x11-xserver-utils libgl1-mesa-dri libgtest-dev parallel clang llvm libclang-rt-$clang-dev clang-format"
check="clang-tidy-$clang dpkg-dev file slurm-wlm munge inotify-tools parallel xvfb xdotool imagemagick lintian appstream desktop-file-utils python3-xlib"
bench="libbenchmark-dev libpixman-1-dev libspng-dev ffmpeg imagemagick openimageio-tools libtiff-tools"

missing=
for group in "$@"; do
  case "$group" in
    build) wanted=$build ;;
    test) wanted=$test ;;
    bench) wanted=$bench ;;
    check) wanted=$check ;;
    *) echo "install_packages.sh: unknown group $group" >&2; exit 2 ;;
  esac
  for package in $wanted; do
    dpkg-query -W -f '${Status}\n' "$package" 2>/dev/null | grep -q '^install ok installed' || missing="$missing $package"
  done
done
[ -n "$missing" ] || exit 0

as_root=
if [ "$(id -u)" -ne 0 ]; then
  if command -v sudo >/dev/null; then
    as_root=sudo
  else
    echo "Kestrin needs these Debian packages; install them as root and try again:$missing" >&2
    exit 1
  fi
fi
echo "Installing$missing" >&2
{
  $as_root apt-get update
  DEBIAN_FRONTEND=noninteractive $as_root apt-get install -y --no-install-recommends $missing
} >&2
