#!/bin/bash
# Builds everything in the debug preset and runs every test; with --vm, instead, the tests that boot
# a virtual machine under software emulation and ask in it, with --browser those that open the pages
# of `pcicim serve` in a browser.
# Usage: ./test.sh [--vm|--browser] [CTEST-OPTION]...     (for example: ./test.sh -R Tree)
set -euo pipefail
cd "$(dirname "$(realpath "$0")")"

groups=(build test)
targets=()
tests=debug
if [[ "${1:-}" == --vm ]]; then
  shift
  groups+=(vm)
  targets=(--target vm_tests)
  tests=vm
elif [[ "${1:-}" == --browser ]]; then
  shift
  groups+=(browser)
  targets=(--target browser_tests)
  tests=browser
fi

scripts/install-packages.sh "${groups[@]}"
cmake --preset debug >/dev/null
cmake --build --preset debug "${targets[@]}"
[[ "$tests" != vm ]] || tests/vm/fetch_packages.sh build/debug/vm
ctest --preset "$tests" -j "$(nproc)" "$@"
