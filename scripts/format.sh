#!/usr/bin/env bash
# Formats all sources; with --check only tells, by its exit status, whether that would change any.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

case ${1:-} in
"") mode=(-i) ;;
--check) mode=(--dry-run --Werror) ;;
*)
    echo "usage: scripts/format.sh [--check]" >&2
    exit 2
    ;;
esac

setup format
find . -path ./build -prune -o -path ./.git -prune -o \
    \( -name '*.cpp' -o -name '*.h' \) -print0 | xargs -0 clang-format --style=file "${mode[@]}"
