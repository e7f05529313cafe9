#!/bin/sh
# Checks that every include of our own in src/ goes to a folder that the table in src/CMakeLists.txt allows.
# Prints each arrow that the table does not have and fails if there is one.
set -eu
cd "$(dirname "$0")/.."
awk '
  FILENAME == ARGV[1] {
    if (match($0, /^kestrin_floor\([a-z]+/)) {
      sub(/^kestrin_floor\(/, ""); sub(/ LINKS.*/, ""); gsub(/\)/, "")
      n = split($0, word, " ")
      allowed[word[1]] = " " word[1] " "
      for (i = 3; i <= n; i++) allowed[word[1]] = allowed[word[1]] word[i] " "
      checked_floors++
    }
    next
  }
  match($0, /^#include "[a-z]+\//) {
    target = substr($0, RSTART + 10, RLENGTH - 11)
    room = FILENAME; sub(/^src\//, "", room); sub(/\/.*/, "", room)
    checked_includes++
    if (room in allowed && (target in allowed) && index(allowed[room], " " target " ") == 0) {
      printf "%s:%d: %s/ may not include %s/\n", FILENAME, FNR, room, target
      bad = 1
    }
  }
  END {
    if (checked_floors < 10 || checked_includes < 1) { print "check_floors: found no table or no includes"; bad = 1 }
    exit bad
  }
' src/CMakeLists.txt $(find src -name "*.h" -o -name "*.cpp" -o -name "*.inl" | sort)
