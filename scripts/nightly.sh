#!/usr/bin/env bash
# What does not fit into test.sh: more rounds, unoptimised builds, the lower levels of the shipped
# library, all benchmarks. Some hours.
#
# usage: scripts/nightly.sh [FOLDER FOR RESULTS]
set -euo pipefail
cd "$(dirname "$0")/.."
results=${1:-build/nightly}
mkdir -p "$results"
export OMP_WAIT_POLICY=passive

./test.sh
# Fifty times the random rounds, natively and with sanitizers.
build/release/tests/qmpic_tests --gtest_brief=1 --rounds=50
build/asan/tests/qmpic_tests --gtest_brief=1 --rounds=10
# The shipped library at each level below the processor's.
for lowered in -AVX512BW -AVX512BW,-AVX2; do
    GLIBC_TUNABLES=glibc.cpu.hwcaps=$lowered \
        build/release/tests/qmpic_shipped_tests --gtest_brief=1 --rounds=10
done
# Without optimisation everything that should stay inside is emitted: the export check is strictest.
cmake --preset debug -G Ninja >/dev/null
cmake --build --preset debug
ctest --preset debug
# All figures, as a table and as JSON.
bench/ratios.sh --json "$results/ratios.json" | tee "$results/ratios.txt"
