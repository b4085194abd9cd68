#!/usr/bin/env bash
# Builds everything in build/dev and runs all tests. Arguments go to ctest: scripts/test.sh -R merge
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

setup tests
cmake --preset dev -DTESSMAKER_INTEROP=OFF -DTESSMAKER_LARGE=OFF
cmake --build build/dev -j "$jobs"
ctest --preset dev -j "$jobs" "$@"
