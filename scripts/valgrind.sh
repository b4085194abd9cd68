#!/usr/bin/env bash
# Runs the tests below valgrind, some ten minutes, or those of some subsystems:
# scripts/valgrind.sh [SUBSYSTEM...]
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

setup tests valgrind
cmake --preset dev
cmake --build build/dev -j "$jobs"

# Left out: sizes beyond all memory, which valgrind reports as such, and results compared in
# `long double`, which has 64 bits there.
left_out="*than_memory_can_hold*:*a_size_that_wraps*:rotate.in_space_is_exact_to_rounding*"
suites=("$@")
[ $# -gt 0 ] || suites=(core indices geometry search repair connectivity metrics quality formats threads)
for suite in "${suites[@]}"; do
    # The tests' own `operator new`, which can be made to fail, stays in place.
    valgrind -q --soname-synonyms=somalloc=nouserintercepts --error-exitcode=1 --leak-check=full \
        "build/dev/tests/test_$suite" --gtest_brief=1 --gtest_filter="-$left_out"
done
