#!/usr/bin/env bash
# Installs the libraries that we measure ourselves against, runs the benchmarks and prints one table
# of ours beside theirs: scripts/bench.sh [REGEX]. The expression selects benchmarks by name.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

if [ $# -gt 1 ]; then
    echo "usage: scripts/bench.sh [REGEX]" >&2
    exit 2
fi

setup bench
cmake --preset release -DTESSMAKER_BENCH=ON
cmake --build build/release -j "$jobs"

results=build/release/bench_results
rm -rf "$results"
mkdir -p "$results"
shopt -s nullglob
for bench in build/release/bench/bench_*; do
    if [ ! -f "$bench" ] || [ ! -x "$bench" ]; then continue; fi
    "$bench" --benchmark_filter="${1:-.}" --benchmark_format=console \
        --benchmark_out_format=json --benchmark_out="$results/$(basename "$bench").json" >&2
done
python3 scripts/bench_table.py "$results"/*.json
