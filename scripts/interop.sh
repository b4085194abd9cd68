#!/usr/bin/env bash
# Installs the programs that our files are exchanged with, and runs the tests that use them.
# Arguments go to ctest.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

setup tests interop
cmake --preset dev -DTESSMAKER_INTEROP=ON
cmake --build build/dev -j "$jobs"
ctest --preset dev -L interop "$@"
