#!/bin/sh
# build.sh PRESET [TARGET...] [-D...]: configures when needed and builds; quiet unless something fails.
set -eu
cd "$(dirname "$0")/.."
preset=$1
shift
options=
targets=
for argument in "$@"; do
  case "$argument" in
    -D*) options="$options $argument" ;;
    *) targets="$targets $argument" ;;
  esac
done
mkdir -p "build/$preset"
log="build/$preset/build.log"
if [ ! -f "build/$preset/build.ninja" ] || [ -n "$options" ]; then
  echo "Configuring $preset" >&2
  cmake --preset "$preset" $options >"$log" 2>&1 || { cat "$log" >&2; exit 1; }
fi
if ! ninja -C "build/$preset" -n $targets | grep -q 'no work to do'; then
  echo "Building $preset; the log is $log" >&2
  ninja -C "build/$preset" $targets >"$log" 2>&1 || { grep -v '^\[' "$log" >&2; exit 1; }
fi
