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
# Its analyser takes more than five minutes over one file: the nightly script, which names that file
# first, lets it.
slow=src/PicMemAPI/constants.cpp
[ "${files[0]}" = "$slow" ] && slow=
printf '%s\n' "${files[@]}" |
    xargs -P "$(nproc)" -I{} sh -c '
        less=; [ "$1" = "$2" ] && less=,-clang-analyzer-*
        clang-tidy-19 --quiet --warnings-as-errors="*" --checks="$less" -p "$0" "$1" 2>/dev/null
    ' "$build" {} "$slow"
