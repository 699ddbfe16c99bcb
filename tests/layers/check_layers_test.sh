#!/bin/bash
# Runs the check of layers over small trees: one that keeps the rules, and ones that break one each.
# Usage: tests/layers/check_layers_test.sh
set -euo pipefail

check="$(dirname "$(realpath "$0")")/../../scripts/check-layers.sh"
tree="$(mktemp -d)"
trap 'rm -rf "$tree"' EXIT
failures=0

fail() {
  echo "FAILED: $1" >&2
  failures=$((failures + 1))
}

file() {
  mkdir -p "$tree/$(dirname "$1")"
  printf '%s\n' "${@:2}" >"$tree/$1"
}

# A command on three rooms, of which the upper two do not know each other.
good_tree() {
  rm -rf "${tree:?}"/*
  file docs/engineering.md '## Layers' '' '| directory | built as | knows | never knows |' '|---|---|---|---|' \
    "| \`tools/ask/\` | \`ask\` | the manager: \`manager/left/\`, \`manager/base/\` | providers |" \
    "| \`manager/left/\` | library | \`manager/base/\` | \`<fstream>\`, \`<pci/>\` |" \
    "| \`manager/right/\` | library | \`manager/base/\` | files |" \
    "| \`manager/base/\` | library | values | requests |" '' '## Elsewhere' \
    "| \`tests/\` | programs | everything | nothing |"
  file tools/ask/src/ask.cpp '#include <left/left.h>' '#include <base/base.h>' '#include "help.h"'
  file tools/ask/src/help.h '#include <string>'
  file manager/left/include/left/left.h '#include <base/base.h>' '#include <filesystem>'
  file manager/left/src/left.cpp '#include <left/left.h>' '#include "detail.h"'
  file manager/left/src/detail.h '#include <vector>'
  file manager/right/include/right/right.h '#include <base/base.h>'
  file manager/right/src/detail.h '#include <right/right.h>'
  file manager/base/include/base/base.h '#include <string>'
  mkdir -p "$tree/providers" "$tree/platform"
}

expect_kept() {
  local said
  said="$("$check" "$tree" 2>&1)" || fail "$1 is refused: $said"
}

# expect_broken WHAT SAID: the check must fail and say so.
expect_broken() {
  local said
  if said="$("$check" "$tree" 2>&1)"; then
    fail "$1 is let pass"
  elif [[ "$said" != *"$2"* ]]; then
    fail "$1 is refused for another reason: $said"
  fi
}

good_tree
expect_kept "a tree that keeps the rules"

good_tree
file manager/base/src/base.cpp '// upward' '#include <left/left.h>'
expect_broken "an include upward" \
  "manager/base/src/base.cpp:2: manager/base/ does not know manager/left/, but includes left/left.h"

good_tree
file manager/left/src/left.cpp '  #  include "right/right.h"'
expect_broken "an include sideways" "manager/left/src/left.cpp:1: manager/left/ does not know manager/right/"

good_tree
file manager/left/src/left.cpp '#include "../../right/src/detail.h"'
expect_broken "an include by a path" "manager/left/ does not know manager/right/"

good_tree
file manager/base/src/secret.h ''
file manager/left/src/left.cpp '#include "secret.h"'
expect_broken "a private header of a known layer" "secret.h is private to manager/base/"

good_tree
file manager/left/src/left.cpp '#include <fstream>'
expect_broken "a header that is never known" "manager/left/ never knows <fstream>"

good_tree
file manager/left/src/left.cpp '#include <pci/pci.h>'
expect_broken "a header below one that is never known" "manager/left/ never knows <pci/>"

good_tree
file manager/left/src/left.cpp '#include <right/../../src/detail.h>'
expect_broken "an include by a path from an include directory" \
  "manager/left/src/left.cpp:1: right/../../src/detail.h is no header of the project by that path"

good_tree
file manager/left/src/left.cpp "#include \"$tree/manager/right/src/detail.h\""
expect_broken "an include by a whole path" "is no header of the project by that path"

good_tree
file manager/left/src/left.cpp '#include "right/right.tab"'
expect_broken "a header of the project by another ending" "right/right.tab is no header"

good_tree
file manager/left/src/left.cpp '#define HEADER <right/right.h>' '#include HEADER'
expect_broken "an include of a macro" "left.cpp:2: an include without a name that can be checked"

good_tree
file manager/left/src/left.cpp "#include \\" '<right/right.h>'
expect_broken "an include over two lines" "left.cpp:1: an include without a name that can be checked"

for way in '#include_next <right/right.h>' '#import <right/right.h>' '/* so */ #include <right/right.h>' \
  '# /* so */ include /* or so */ <right/right.h>' '%:include <right/right.h>' '#include<right/right.h>'; do
  good_tree
  file manager/left/src/left.cpp "$way"
  expect_broken "'$way'" "left.cpp:1: manager/left/ does not know manager/right/, but includes right/right.h"
done

for ending in hpp hh c cc inl; do
  good_tree
  file "manager/left/src/other.$ending" '#include <right/right.h>'
  expect_broken "an include in a .$ending file" "other.$ending:1: manager/left/ does not know manager/right/"
done

good_tree
file manager/left/src/left.cpp '// #include <right/right.h>' '#if __has_include(<string>)' '#endif' \
  '/* #include <right/right.h> */' '#included'
expect_kept "what is no include"

good_tree
file manager/new/src/new.cpp ''
expect_broken "a directory without a row" "manager/new/src/new.cpp: no row"

good_tree
rm -r "$tree/manager/right"
expect_broken "a row without a directory" "manager/right/ holds no source file"

good_tree
sed -i "s,| values |,| \`manager/gone/\` |," "$tree/docs/engineering.md"
expect_broken "a known layer without a row" "manager/gone/, which has no row"

good_tree
sed -i 's/^## Layers/## Levels/' "$tree/docs/engineering.md"
expect_broken "a document without the table" "holds no table of layers"

((failures == 0)) || exit 1
