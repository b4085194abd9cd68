#!/usr/bin/env bash
# Takes a mesh all the way: scripts/demo.sh [FILE]. FILE is a mesh of any format that is read;
# without one it takes the sample in examples/data/. Results go to build/release/demo/, with
# pictures where Debian's VTK for Python is installed.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

expected=()
case $# in
0)
    input=examples/data/two_boxes.stl
    # Two closed boxes, 2 + 2, that share the 81 nodes and 144 edges of a grid but no facet.
    expected=($((2 + 2 - (81 - 144))))
    ;;
1) input=$(cd "$called_from" && realpath -ms -- "$1") ;;
*)
    echo "usage: scripts/demo.sh [FILE]" >&2
    exit 2
    ;;
esac

setup build
quietly cmake --preset release
quietly cmake --build build/release -j "$jobs" --target mesh_tour

name=$(basename -- "$input")
prefix=build/release/demo/${name%.*}_toured
mkdir -p build/release/demo
build/release/examples/mesh_tour "$input" "$prefix" "${expected[@]}"
scripts/render.sh "$prefix"
