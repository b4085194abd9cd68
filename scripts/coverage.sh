#!/usr/bin/env bash
# Runs all tests on a build that counts, and prints which lines and branches of the library they
# reach: scripts/coverage.sh
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

setup tests coverage
cmake --preset coverage
cmake --build build/coverage -j "$jobs"
find build/coverage -name '*.gcda' -delete
ctest --preset coverage -j "$jobs"
# Branches of what is thrown are left out: the compiler adds them to every call.
gcovr --root . --filter '(core|indices|geometry|search|repair|connectivity|metrics|quality|formats|include)/' \
    --exclude-throw-branches --sort-percentage --print-summary build/coverage
