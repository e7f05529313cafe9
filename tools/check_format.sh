#!/bin/sh
# Fails and names the files that clang-format would change. Its versions differ in details; 14, which Debian 12 has, counts.
set -eu
cd "$(dirname "$0")/.."
clang-format --version | grep -q 'version 14\.' || { echo "check_format.sh: not checked, clang-format is not version 14" >&2; exit 0; }
find src tests bench fuzz tools -name '*.h' -o -name '*.cpp' -o -name '*.inl' | sort | xargs clang-format --dry-run -Werror
