# What the scripts share: sourced by each, it moves to the root of the tree.
# shellcheck shell=bash
set -euo pipefail

# shellcheck disable=SC2034 # for the scripts
called_from=$PWD
cd "$(dirname "${BASH_SOURCE[0]}")/.."
# shellcheck disable=SC2034
jobs=$(nproc)

# Installs what is missing (setup.sh), and takes Ninja where it is present; a build folder that exists
# keeps its generator.
setup() {
    scripts/setup.sh "$@"
    if [ -z "${CMAKE_GENERATOR:-}" ] && command -v ninja >/dev/null; then
        export CMAKE_GENERATOR=Ninja
    fi
}

# Runs a command and shows what it printed only if it fails.
quietly() {
    local output
    output=$("$@" 2>&1) || {
        printf '%s\n' "$output" >&2
        return 1
    }
}
