#!/usr/bin/env bash
# Renders PREFIX.vtk, as mesh_tour writes it, to pictures: scripts/render.sh PREFIX. Says why not
# where something that this takes is not installed; that is no failure.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

if [ $# -ne 1 ]; then
    echo "usage: scripts/render.sh PREFIX" >&2
    exit 2
fi
# Debian's Python: its packages are not seen by others.
if ! /usr/bin/python3 -c 'import vtk' 2>/dev/null; then
    echo "no pictures: python3-vtk9 is not installed"
    exit 0
fi
# VTK draws on an X display; where there is none, on one in memory.
display=()
if [ -z "${DISPLAY:-}" ]; then
    # Debian's xvfb-run doesn't come with the xauth that it calls.
    if ! command -v xvfb-run >/dev/null || ! command -v xauth >/dev/null; then
        echo "no pictures: there is no display, and xvfb or xauth is not installed"
        exit 0
    fi
    display=(xvfb-run --auto-servernum)
fi
"${display[@]}" /usr/bin/python3 scripts/render.py "$1"
