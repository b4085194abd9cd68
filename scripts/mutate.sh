#!/usr/bin/env bash
# Changes the library in small ways, one at a time, and counts how many of the changes the tests
# notice: scripts/mutate.sh [COUNT] [--again] [--report]; 200 changes unless told. Works on a copy
# of the tree in build/mutation. What was tried stays in results.jsonl there, so that a run which was
# stopped goes on where it stopped; --again tries once more what no test has noticed.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

setup tests mutate
exec nice -n 19 /usr/bin/python3 scripts/mutate.py "$@"
