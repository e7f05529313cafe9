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
# ninja's dry run takes every change of the globbed folders for one, so what it really does tells whether it builds.
told=
{ ninja -C "build/$preset" $targets 2>&1 || echo FAILED; } | while IFS= read -r line; do
  case "$line" in
    *"Re-checking globbed"*) ;;
    "["*)
      [ -n "$told" ] || echo "Building $preset; the log is $log" >&2
      told=1
      ;;
  esac
  printf '%s\n' "$line"
done >"$log"
if grep -qx FAILED "$log"; then
  grep -v -e '^\[' -e '^FAILED$' "$log" >&2
  exit 1
fi
