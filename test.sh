#!/bin/bash
# Builds everything in the debug preset and runs every test.
# Usage: ./test.sh [CTEST-OPTION]...     (for example: ./test.sh -R Tree)
set -euo pipefail
cd "$(dirname "$(realpath "$0")")"

scripts/install-packages.sh build test
cmake --preset debug >/dev/null
cmake --build --preset debug
ctest --preset debug -j "$(nproc)" "$@"
