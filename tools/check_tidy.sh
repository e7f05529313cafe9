#!/bin/sh
# check_tidy.sh [PRESET [FILE...]]: fails and tells where a file of src/ does not keep the checks of .clang-tidy. Goes by the
# compile commands of the preset, which has been configured; default release, and all files.
set -eu
cd "$(dirname "$0")/.."
preset=${1:-release}
[ $# -eq 0 ] || shift
[ $# -gt 0 ] || set -- $(find src -name '*.cpp' ! -name '*.kernel.cpp' | sort)
printf '%s\n' "$@" | nice -n 19 xargs -P "${JOBS:-2}" -n 4 $(command -v clang-tidy-14 || echo clang-tidy) -p "build/$preset" --quiet 2>/dev/null
