#!/usr/bin/env bash
# Makes the pictures of the pages in docs/, from the library's own output: docs/images/.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

setup pictures
quietly cmake --preset release
quietly cmake --build build/release -j "$jobs" --target pictures
mkdir -p docs/images
build/release/docs/pictures >build/release/docs/pictures.txt
# Debian's Python: its packages are not seen by others.
/usr/bin/python3 docs/pictures.py docs/images <build/release/docs/pictures.txt
ls -l docs/images
