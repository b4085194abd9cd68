#!/usr/bin/env bash
# Runs clang-tidy on all sources, or on those whose path matches: scripts/tidy.sh [REGEX]. Installs
# what benches and interoperability tests include.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

setup tests tidy interop bench
# Never built: only its list of compile commands is used, which clang-tidy can follow where they are
# clang's and without precompiled headers.
quietly cmake -S . -B build/tidy -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_CXX_COMPILER_LAUNCHER= \
    -DCMAKE_DISABLE_PRECOMPILE_HEADERS=ON -DTESSMAKER_FUZZ=ON -DTESSMAKER_BENCH=ON \
    -DTESSMAKER_INTEROP=ON

check() { quietly clang-tidy --quiet -p build/tidy "$1"; }
export -f check quietly
# shellcheck disable=SC2016
sed -n 's/^ *"file": "\(.*\)",\{0,1\}$/\1/p' build/tidy/compile_commands.json |
    grep -v "^$PWD/build/" | grep -E -- "${1:-.}" |
    xargs -r -P "$jobs" -I{} bash -euo pipefail -c 'check "$1"' _ {}
