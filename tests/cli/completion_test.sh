#!/bin/bash
# Drives the completions of pcicim as the shells do.
# Usage: completion_test.sh PCICIM DIRECTORY     (DIRECTORY: where the completions are)
set -euo pipefail

pcicim="$1"
directory="$2"
failures=0

in_bash() {
  bash -c 'source "$0/pcicim.bash"; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _pcicim
    printf "%s\n" "${COMPREPLY[@]}"' "$directory" "$pcicim" "$@" | tr '\n' ' '
}

in_zsh() {
  zsh -fc 'directory=$1; shift; words=("$@"); CURRENT=$#; PREFIX=${words[-1]}
    compadd() { shift; for choice in "$@"; do [[ $choice == $PREFIX* ]] && print -r -- $choice; done; return 0; }
    _files() { print -r -- files; }
    function _pcicim { builtin source $directory/_pcicim }
    _pcicim' zsh "$directory" "$pcicim" "$@" | sort -u | tr '\n' ' '
}

# expect SHELL "EXPECTED" WORD...
expect() {
  local shell="$1" expected="$2" found
  shift 2
  found="$("in_$shell" "$@")"
  if [[ "$found" != "$expected" ]]; then
    echo "$shell: $*: expected \"$expected\", found \"$found\"" >&2
    failures=$((failures + 1))
  fi
}

zsh -n "$directory/_pcicim"
bash -n "$directory/pcicim.bash"
for shell in bash zsh; do
  expect "$shell" "tree " tr
  expect "$shell" "associators " help associators
  expect "$shell" "Zelmar_PCIPort Zelmar_PCIPortGroup " enum Zelmar_PCIPo
  expect "$shell" "Zelmar_PCIPort Zelmar_PCIPortGroup " --inventory x associators x --result-class Zelmar_PCIPo
  expect "$shell" "--inventory " --inv
  expect "$shell" "--format " tree --for
  expect "$shell" "json jsonl text " count --format ""
  expect "$shell" "json jsonl mof text " enum X --format ""
  expect "$shell" "always auto never " --color ""
done
((failures == 0))
