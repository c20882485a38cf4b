#!/bin/sh
# Fails when a tracked C/C++ file is not formatted as .clang-format says.
cd "$1" || exit 1
files=$(git ls-files '*.cpp' '*.h' '*.c' 2>/dev/null)
[ -n "$files" ] || { echo "no sources found"; exit 1; }
# shellcheck disable=SC2086
clang-format --dry-run -Werror $files
