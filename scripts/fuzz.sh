#!/bin/bash
# Builds the libFuzzer targets natively with clang (build/fuzz) and runs each
# for SECONDS (default 60), growing a working corpus in build/fuzz/corpus from
# the seeds in tests/fuzz/corpus. A crash leaves its input in build/fuzz.
#   scripts/fuzz.sh [SECONDS]        scripts/fuzz.sh --runs N (fixed inputs, as CI does)
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
build="$root/build/fuzz"
limit=(-max_total_time="${1:-60}")
if [ "${1:-}" = --runs ]; then limit=(-runs="$2"); fi
CC=clang CXX=clang++ cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Debug \
    -DSETUP_FUZZ=ON -DSETUP_BUILD_TESTS=OFF >/dev/null
cmake --build "$build"
for seeds in "$root"/tests/fuzz/corpus/*/; do
    target="$(basename "$seeds")"
    mkdir -p "$build/corpus/$target"
    echo "== fuzz_$target"
    (cd "$build" && "$build/tests/fuzz/fuzz_$target" "${limit[@]}" "$build/corpus/$target" "$seeds" 2>&1 |
        grep -E '^(Done|INFO: seed corpus)|ERROR|SUMMARY' || true; exit "${PIPESTATUS[0]}")
done
