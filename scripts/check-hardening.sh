#!/bin/bash
# Checks that the programs and libraries of an optimised build are hardened as Debian's are.
# Usage: scripts/check-hardening.sh BUILD_DIRECTORY
set -euo pipefail

(($# == 1)) || { sed -n '3s/^# //p' "$0" >&2; exit 2; }
build="$1"
wrong=0

# require FILE WHAT PATTERN COMMAND...: the command's output about the file has the pattern.
require() {
  local file="$1" what="$2" pattern="$3"
  shift 3
  "$@" "$file" | grep -E -- "$pattern" >/dev/null || { echo "$file: no $what" && wrong=1; }
}

shopt -s nullglob
files=("$build/bin/pcicim" "$build"/lib/lib{pciprovider,hostsystemprovider,qarctl,zelcppc}.so)
for file in "${files[@]}"; do
  [[ -e "$file" ]] || { echo "$file is missing" >&2; exit 1; }
  require "$file" "position-independent code" 'Type: +DYN' readelf -Wh
  require "$file" "relocations that are read-only" GNU_RELRO readelf -Wl
  require "$file" "binding at the start" BIND_NOW readelf -Wd
  require "$file" "stack protector" __stack_chk_fail nm -D
  # Whoever prints into memory or logs does it by fortified functions.
  plain="$(nm -D --undefined-only "$file" | grep -oE ' (v?s?n?printf|v?fprintf|v?syslog)(@|$)' || true)"
  fortified="$(nm -D --undefined-only "$file" | grep -oE '__[a-z]+_chk(@|$)' | grep -v stack || true)"
  [[ -n "$fortified" || -z "$plain" ]] || { echo "$file: no fortified functions" && wrong=1; }
  printf '%s: %s fortified functions\n' "${file##*/}" "$(grep -c . <<<"$fortified" || true)"
done
exit "$wrong"
