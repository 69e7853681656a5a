#!/usr/bin/env bash
# What does not fit into test.sh: more rounds, unoptimised builds, the lower levels of the shipped
# library, other processors, all benchmarks. Some hours.
#
# usage: scripts/nightly.sh [STEP ...]     without steps: all of them, in this order
#   tests         test.sh
#   style         clang-tidy with its analyser, and over the tool
#   compilers     what every kernel writes at -O3 is the same from GCC and clang
#   rounds        fifty times the random rounds, natively; ten times with sanitizers
#   levels        the shipped library at each level below the processor's
#   fuzz          half an hour of blocks of any bytes, others each night
#   debug         without optimisation: what should stay inside is emitted, so that the export check
#                 is at its strictest
#   processors    emulated ones, on which an instruction above their level is illegal
#   valgrind      loads that reach behind a block, by a tool that sees every kind of instruction
#   scipy         what the tool measures, against SciPy
#   reproducible  two builds in two folders are the same, byte by byte
#   figures       all benchmarks, as a table and as JSON, into $RESULTS (build/nightly)
set -euo pipefail
cd "$(dirname "$0")/.."
results=${RESULTS:-build/nightly}
export OMP_WAIT_POLICY=passive

step_tests() { ./test.sh; }

step_style() {
    cmake --preset clang -G Ninja >/dev/null
    git ls-files -z 'src/*.cpp' 'tools/*.cpp' | xargs -0 scripts/tidy.sh build/clang
}

step_compilers() {
    cmake --preset clang -G Ninja >/dev/null
    cmake --build --preset clang --target qmpic_tests
    local preset
    for preset in release clang; do
        "build/$preset/tests/qmpic_tests" --gtest_brief=1 --gtest_filter='*EveryKernel*' \
            --digests="build/$preset/digests.txt"
    done
    cmp build/release/digests.txt build/clang/digests.txt
    echo "$(wc -l <build/clang/digests.txt) kernels write the same from both compilers"
}

step_rounds() {
    build/release/tests/qmpic_tests --gtest_brief=1 --rounds=50
    build/asan/tests/qmpic_tests --gtest_brief=1 --rounds=10
}

step_levels() {
    local lowered
    for lowered in -AVX512BW -AVX512BW,-AVX2; do
        GLIBC_TUNABLES=glibc.cpu.hwcaps=$lowered \
            build/release/tests/qmpic_shipped_tests --gtest_brief=1 --rounds=10
    done
}

step_fuzz() {
    cmake --preset fuzz -G Ninja >/dev/null
    cmake --build --preset fuzz
    scripts/fuzz.sh -max_total_time=1800
}

step_debug() {
    cmake --preset debug -G Ninja >/dev/null
    cmake --build --preset debug
    ctest --preset debug
}

step_processors() {
    local processor
    for processor in Conroe:sse2 Nehalem:sse2 Haswell:avx2; do
        qemu-x86_64 -cpu "${processor%:*}" build/release/tests/qmpic_tests --gtest_brief=1 \
            --gtest_filter='*EveryKernel*' --lowered-to="${processor#*:}" 2>/dev/null
    done
}

step_valgrind() {
    valgrind --quiet --error-exitcode=1 --partial-loads-ok=no \
        build/release/tests/qmpic_tests --gtest_brief=1 --gtest_filter='*EveryKernel*'
}

step_scipy() { scripts/check_against_scipy.py build/release/bin/qmpic; }

step_reproducible() {
    local folder
    rm -rf "$results"/one "$results"/another
    for folder in one another; do
        mkdir -p "$results/$folder"
        git archive HEAD | tar -x -C "$results/$folder"
        cmake -S "$results/$folder" -B "$results/$folder/build" -G Ninja \
            -DCMAKE_BUILD_TYPE=Release -DQMPIC_TESTS=OFF -DQMPIC_BENCH=OFF >/dev/null
        cmake --build "$results/$folder/build"
    done
    cmp "$results"/{one,another}/build/libqmpic.so
}

step_figures() {
    bench/ratios.sh --json "$results/ratios.json" | tee "$results/ratios.txt"
}

mkdir -p "$results"
scripts/install-packages.sh night
steps=("$@")
[ $# -gt 0 ] || steps=(tests style compilers rounds levels fuzz debug processors valgrind scipy reproducible
    figures)
for name in "${steps[@]}"; do
    printf '\n=== %s\n' "$name"
    "step_$name"
done
