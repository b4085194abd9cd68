#!/usr/bin/env bash
# Installs the Debian packages that are missing: scripts/setup.sh [GROUP...]. Without a group these
# are what building and testing need, small packages only. With groups they are what building needs
# and each group adds: `tests`, those of one more script, `locale` what a few tests are skipped
# without. Where nothing is missing it does nothing, and needs neither root nor network.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

# "package=tool" and "package=name.pc" let a tool or library count that came by another way.
declare -A packages=(
    [build]="g++ cmake ninja-build=ninja pkg-config zlib1g-dev=zlib.pc"
    [tests]="libgtest-dev=gtest.pc liblapack-dev=lapack.pc liblapacke-dev=lapacke.pc libmpfr-dev=mpfr.pc"
    [format]="clang-format"
    [tidy]="clang=clang++ clang-tidy"
    [fuzz]="clang=clang++ libclang-rt-14-dev"
    [coverage]="gcovr"
    [valgrind]="valgrind"
    [docs]="doxygen"
    [locale]="locales=locale-gen"
    [mutate]="python3"
    [pictures]="python3-matplotlib"
    [interop]="python3 gmsh admesh openscad libmetis-dev python3-vtk9 python3-meshio assimp-utils=assimp"
    [bench]="python3 libbenchmark-dev liblapack-dev=lapack.pc liblapacke-dev=lapacke.pc libnanoflann-dev libcgal-dev libmetis-dev libvtk9-dev libgmsh-dev libtinyobjloader-dev libopenmesh-dev"
)

present() {
    local package=${1%%=*} evidence=${1#*=}
    case $evidence in
    *.pc) pkg-config --exists "${evidence%.pc}" 2>/dev/null && return ;;
    *) command -v "$evidence" >/dev/null && return ;;
    esac
    [ "$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null)" = installed ]
}

groups=(build "$@")
[ $# -gt 0 ] || groups+=(tests)
missing=()
for group in "${groups[@]}"; do
    if [ -z "${packages[$group]:-}" ]; then
        echo "usage: scripts/setup.sh [build] [tests] [format] [tidy] [fuzz] [coverage] [valgrind] [docs] [locale] [mutate] [pictures] [interop] [bench]" >&2
        exit 2
    fi
    for entry in ${packages[$group]}; do
        present "$entry" || missing+=("${entry%%=*}")
    done
done
[ ${#missing[@]} -gt 0 ] || exit 0

as_root=(env DEBIAN_FRONTEND=noninteractive)
if ! command -v apt-get >/dev/null; then
    echo "Please install what is missing here: ${missing[*]}" >&2
    exit 1
elif [ "$(id -u)" -ne 0 ]; then
    if ! command -v sudo >/dev/null; then
        echo "Please install as root: apt-get install ${missing[*]}" >&2
        exit 1
    fi
    as_root=(sudo "${as_root[@]}")
fi
echo "Installing with apt-get: ${missing[*]}"
"${as_root[@]}" apt-get -qq update
"${as_root[@]}" apt-get -qq install -y --no-install-recommends "${missing[@]}" >/dev/null
