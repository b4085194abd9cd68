#!/usr/bin/env bash
# Runs every fuzz target for so many seconds, 60 unless told: scripts/fuzz.sh [SECONDS [SEED]]. Each
# starts from fuzz/corpus/<name>; what it finds goes to build/fuzz/finds/<name>. Without a seed each
# run takes other ways.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

seconds=${1:-60}
seed=${2:-0}
setup fuzz
cmake --preset fuzz
cmake --build build/fuzz -j "$jobs"

# A size that a file claims may fail to be allocated.
export ASAN_OPTIONS=allocator_may_return_null=1:detect_stack_use_after_return=1
export UBSAN_OPTIONS=print_stacktrace=1

run_target() {
    local name=${1##*/fuzz_}
    local finds=build/fuzz/finds/$name corpus=fuzz/corpus/$name folders
    mkdir -p "$finds/corpus" "$finds/crashes"
    folders=("$finds/corpus")
    if [ -d "$corpus" ]; then folders+=("$corpus"); fi
    "$1" -seed="$seed" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=4096 \
        -print_final_stats=1 -artifact_prefix="$finds/crashes/" "${folders[@]}" >"$finds/log" 2>&1 || {
        tail -n 60 "$finds/log" >&2
        echo "fuzz_$name failed; its input is in $finds/crashes" >&2
        return 1
    }
    printf '%-28s %10s runs\n' "$name" \
        "$(sed -n 's/^stat::number_of_executed_units: *//p' "$finds/log")"
}
export -f run_target
export seconds seed
# shellcheck disable=SC2016
find build/fuzz/fuzz -maxdepth 1 -name 'fuzz_*' -type f -executable | sort |
    xargs -r -P "$jobs" -I{} bash -euo pipefail -c 'run_target "$1"' _ {}
