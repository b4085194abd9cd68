#!/usr/bin/env bash
# Makes the API reference from the public headers, in build/reference/html. What is declared without
# a contract is an error.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

setup docs
mkdir -p build/reference
doxygen docs/Doxyfile
echo "written to build/reference/html/index.html"
