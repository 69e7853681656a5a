#!/usr/bin/env bash
# Installs what is missing, builds and passes all tests: at every level of this processor, with the
# sanitizers of two compilers, and against what is installed. About an hour on two processors.
#
# usage: ./test.sh [STEP ...]     without steps: all of them, in this order
#   install   Debian packages (needs root or sudo)
#   style     clang-format, clang-tidy without its analyser
#   release   GCC: all tests, at the processor's level and lowered; the shipped library; the tool
#   asan      GCC: address, undefined behaviour, float casts
#   tsan      clang: threads
#   fuzz      clang: 200,000 blocks of any bytes are refused or read, and nothing breaks
set -euo pipefail
cd "$(dirname "$0")"
export OMP_WAIT_POLICY=passive
launcher=()
command -v ccache >/dev/null && launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)

configure() { # PRESET [option ...]
    cmake --preset "$1" -G Ninja "${launcher[@]}" "${@:2}" >/dev/null
}
build() { # PRESET [option ...]
    configure "$@"
    cmake --build --preset "$1"
}

step_install() { scripts/install-packages.sh ci; }

step_style() {
    git ls-files '*.h' '*.cpp' | xargs clang-format --dry-run --Werror
    configure clang  # with flags that clang knows
    scripts/tidy.sh --quick build/clang
}

step_release() {
    build release
    ctest --preset release
}

step_asan() {
    build asan -DQMPIC_BENCH=OFF
    ctest --preset asan
}

step_tsan() {
    build tsan -DQMPIC_BENCH=OFF -DQMPIC_TOOL=OFF
    ctest --preset tsan
}

step_fuzz() {
    build fuzz
    scripts/fuzz.sh -runs=100000 -seed=1 &
    local other=$!
    scripts/fuzz.sh -runs=100000 -seed=2
    wait "$other"
}

steps=("$@")
[ $# -gt 0 ] || steps=(install style release asan tsan fuzz)
began=$SECONDS
for name in "${steps[@]}"; do
    start=$SECONDS
    printf '\n=== %s\n' "$name"
    "step_$name"
    printf '=== %s: %d s\n' "$name" $((SECONDS - start))
done
printf '\nall of %s passed in %d s\n' "${steps[*]}" $((SECONDS - began))
