#!/usr/bin/env bash
# Runs the tests of arrays beyond 2^32 elements, one at a time; they take up to 17 GiB of memory.
# Arguments go to ctest.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

setup tests
cmake --preset dev -DTESSMAKER_LARGE=ON
cmake --build build/dev -j "$jobs" --target test_large
ctest --preset dev -L large "$@"
