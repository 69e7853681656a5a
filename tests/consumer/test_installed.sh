#!/usr/bin/env bash
# Installs a build into a folder of its own, moves it, and uses it as others will: by CMake, by
# pkg-config, header by header, and the tool.
#
# usage: test_installed.sh BUILD_FOLDER COMPILER [FLAG ...]   (as the build was compiled)
set -euo pipefail
build=$1 compiler=$2
flags=("${@:3}")
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d "${TMPDIR:-/tmp}/qmpic-installed.XXXXXX")
trap 'rm -rf "$work"' EXIT

cmake --install "$build" --prefix "$work/first" >/dev/null
mv "$work/first" "$work/moved" # what is installed knows no path of its own
prefix=$work/moved
config=$(find "$prefix" -name qmpic-config.cmake)
libraries=$(dirname "$(dirname "$(dirname "$config")")")

echo "by CMake"
cmake -S "$here" -B "$work/consumer" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" \
    -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_CXX_FLAGS="${flags[*]}" >/dev/null
cmake --build "$work/consumer" >/dev/null
"$work/consumer/consumer"

echo "by pkg-config"
export PKG_CONFIG_PATH=$libraries/pkgconfig
read -ra use < <(pkg-config --cflags --libs qmpic)
"$compiler" "${flags[@]}" -std=c++20 "$here/main.cpp" "${use[@]}" -o "$work/by-pkg-config"
LD_LIBRARY_PATH=$libraries "$work/by-pkg-config"

echo "each header alone"
count=0
while read -r header; do
    echo "#include \"$header\"" |
        "$compiler" "${flags[@]}" -std=c++20 -Wall -Wextra -Wconversion -Werror -fsyntax-only \
            -I"$prefix/include" -x c++ -
    count=$((count + 1))
done < <(cd "$prefix/include" && find qmpic -name '*.h')
[ "$count" -gt 5 ]

# All public calls, checked again through the library that was installed and moved.
if [ -e "$build/tests/qmpic_shipped_tests" ]; then
    echo "the shipped tests"
    export LD_LIBRARY_PATH=$libraries
    [[ $(ldd "$build/tests/qmpic_shipped_tests") == *"=> $libraries/libqmpic"* ]]
    "$build/tests/qmpic_shipped_tests" --gtest_brief=1 | tail -n 2
fi

if [ -e "$prefix/bin/qmpic" ]; then
    echo "the tool"
    "$prefix/bin/qmpic" --version
fi
