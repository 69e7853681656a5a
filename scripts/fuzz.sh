#!/usr/bin/env bash
# Blocks of any bytes for all that read stored forms, from the preset fuzz. What breaks something is
# kept in build/fuzz/found.
#
# usage: scripts/fuzz.sh [OPTION ...]     of libFuzzer: -runs=200000 -seed=1, -max_total_time=1800
set -euo pipefail
cd "$(dirname "$0")/.."
corpus=$(mktemp -d)
trap 'rm -rf "$corpus"' EXIT
mkdir -p build/fuzz/found
# Remembering thirty callers of each allocation would take longer than the allocations.
export ASAN_OPTIONS=malloc_context_size=2:quarantine_size_mb=16
build/fuzz/tests/fuzz/stored_form_fuzz -max_len=4096 -timeout=20 -reload=0 -verbosity=0 \
    -print_final_stats=1 -dict=tests/fuzz/stored_form.dict -artifact_prefix=build/fuzz/found/ "$@" \
    "$corpus" tests/data/stored
