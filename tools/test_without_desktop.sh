#!/bin/sh
# test_without_desktop.sh: builds the release tree as on a machine without Qt and the display libraries, and runs the
# tests that the missing module could change. What does not depend on the module is not compiled again.
set -eu
cd "$(dirname "$0")/.."
tree=build/release
restore() { tools/build.sh release -DKESTRIN_TESTS=ON -DKESTRIN_DESKTOP=ON; }
trap restore EXIT
tools/build.sh release -DKESTRIN_TESTS=ON -DKESTRIN_DESKTOP=OFF
rm -f "$tree/bin/kestrin_desktop.so"

# Nothing that is built then may include what would be missing.
needs=$(ninja -C "$tree" -t targets all | sed -n 's/^\(.*\.o\): .*/\1/p' | xargs ninja -C "$tree" -t deps |
  grep -E '/(xcb|SDL2|qt6|Qt[A-Z][A-Za-z]*)/' | sort -u | head -5) || true
[ -z "$needs" ] || { echo "Built without the desktop, yet these are included:" "$needs" >&2; exit 1; }

tools/run_tests.sh release -R '^(app|platform|ui)$'
