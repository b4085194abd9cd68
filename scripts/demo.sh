#!/usr/bin/env bash
# Welds a triangle soup: scripts/demo.sh [FILE.stl]. Without an argument it takes the sample in
# examples/data/, and then bounds sizes over it, and stretched metrics in a block of tetrahedra. The
# welded surface goes to build/release/demo/.
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
    echo "usage: scripts/demo.sh [FILE.stl]" >&2
    exit 2
    ;;
esac

setup
quietly cmake --preset release
quietly cmake --build build/release -j "$jobs" --target weld_stl size_field

name=$(basename -- "$input")
mkdir -p build/release/demo
build/release/examples/weld_stl "$input" "build/release/demo/${name%.*}_welded.stl" \
    "${expected[@]}"

if [ $# -eq 0 ]; then
    echo
    build/release/examples/size_field "$input"
    echo
    build/release/examples/size_field --block 20 --source .5,.5,.5 --stretch 1,1,1
fi
