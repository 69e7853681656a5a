#!/usr/bin/env bash
# clang-tidy over the library's sources, or others, with the compile commands of a build folder.
#
# usage: scripts/tidy.sh BUILD_FOLDER [FILE ...]
set -euo pipefail
cd "$(dirname "$0")/.."
build=$1
shift
files=("$@")
[ ${#files[@]} -gt 0 ] || mapfile -t files < <(git ls-files 'src/*.cpp')
printf '%s\n' "${files[@]}" |
    xargs -P "$(nproc)" -n 1 clang-tidy-19 --quiet --warnings-as-errors='*' -p "$build" 2>/dev/null
