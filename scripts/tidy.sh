#!/usr/bin/env bash
# clang-tidy over the library's sources, or others, with the compile commands of a build folder.
#
# usage: scripts/tidy.sh [--quick] BUILD_FOLDER [FILE ...]
#   --quick   without the analyser, which takes three quarters of the time
set -euo pipefail
cd "$(dirname "$0")/.."
less=
if [ "$1" = --quick ]; then
    less='-clang-analyzer-*'
    shift
fi
build=$1
shift
files=("$@")
[ ${#files[@]} -gt 0 ] || mapfile -t files < <(git ls-files 'src/*.cpp')
printf '%s\n' "${files[@]}" |
    xargs -P "$(nproc)" -I{} sh -c \
        'clang-tidy-19 --quiet --warnings-as-errors="*" --checks="$1" -p "$0" "$2" 2>/dev/null' \
        "$build" "$less" {}
