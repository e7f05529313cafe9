#!/bin/sh
# run_tests.sh PRESET [ctest options]: runs the tests of a tree that is built. What fails is run once more, alone:
# windows, sounds and processes go by a clock, and a machine that others share can hold them up. Where the log holds a
# report of a sanitizer or a fuzz target, or a program ended with the status of one that the thread sanitizer found
# something in, the failure stands.
set -eu
cd "$(dirname "$0")/.."
preset=$1
shift
ctest --preset "$preset" -j 2 "$@" && exit
grep -qE 'SUMMARY: |Which is: 66$' "build/$preset/Testing/Temporary/LastTest.log" && exit 1
echo "Failed tests run once more, alone."
ctest --preset "$preset" --rerun-failed
