#!/bin/sh
# Fails and names the files that clang-format would change.
set -eu
cd "$(dirname "$0")/.."
find src tests bench fuzz tools -name '*.h' -o -name '*.cpp' -o -name '*.inl' | sort | xargs clang-format --dry-run -Werror
