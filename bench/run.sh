#!/bin/bash
# Measures what the provider and the command cost, and prints each figure beside what it is to be.
# docs/benchmarks.md says how.
# Usage: bench/run.sh [--small | --check | --record]
#   --small    the machine of 86 functions alone, in instructions
#   --check    the same, and fails when a ratio grew by a tenth over bench/recorded.txt
#   --record   the same, and writes its ratios to bench/recorded.txt
set -euo pipefail
here="$(dirname "$(realpath "$0")")"
cd "$here/.."

mode="${1:---all}"
if (($# > 1)) || [[ ! "$mode" =~ ^--(all|small|check|record)$ ]]; then
  sed -n '2,8s/^# //p' "$0" >&2
  exit 2
fi

scripts/install-packages.sh build bench
work=build/bench/measured
bin=build/bench/bin
mkdir -p "$work"
targets=(all)
[[ "$mode" == --all ]] || targets=(provider_bench make_machine hostsystemprovider pcicim)
if ! { cmake --preset bench && cmake --build --preset bench --target "${targets[@]}"; } >"$work/build.log" 2>&1; then
  tail -n 40 "$work/build.log" >&2
  echo "The build failed." >&2
  exit 1
fi
export QARCTL_HOST_NAME=HostA01
unset QARCTL_PCI_DUMP QARCTL_SYSFS_ROOT

heading() { printf '\n%s\n' "$1"; }

# A made-up machine's file. Names: a number of functions, and -switches for one with many.
machine() {
  local file="$work/$1.txt"
  local words=("${1%-switches}")
  [[ "$1" != *-switches ]] || words+=(256)
  [[ -s "$file" ]] || "$bin/make_machine" "${words[@]}" >"$file"
  echo "$file"
}

# What each request to the provider gives, and what it costs and its floors in instructions, as
# tables.awk reads it: MACHINE [BEGINNING-OF-REQUESTS].
count_provider() {
  local parts="$work/parts-$1" measured="$work/provider-$1.txt"
  rm -rf "$parts"
  mkdir "$parts"
  export QARCTL_PCI_DUMP
  QARCTL_PCI_DUMP="$(machine "$1")"
  if ! { "$bin/provider_bench" --verify >"$measured" && valgrind --tool=callgrind \
    --collect-atstart=no --callgrind-out-file="$parts/part" --log-file="$parts/log" \
    "$bin/provider_bench" --instructions "${2:-}"; } 2>"$parts/errors"; then
    cat "$parts/errors" >&2
    return 1
  fi
  unset QARCTL_PCI_DUMP
  awk '
    sub(/^desc: Trigger: Client Request: /, "") { name = $0 }
    /^summary: / { print "cost|" name "|" $2; nextfile }' "$parts"/part.* >>"$measured"
  rm -rf "$parts"
}

# CPU time of the same, in nanoseconds. A filter chooses among the requests.
time_provider() {
  QARCTL_PCI_DUMP="$(machine "$1")" "$bin/provider_bench" --benchmark_format=csv \
    --benchmark_min_time=0.02 --benchmark_filter="$2" 2>"$work/errors" |
    awk -F, '/^"/ { gsub(/"/, "", $1); print "cost|" $1 "|" $4
                    if ($1 ~ /provider$/) { sub(/\|(malloc|arena)\|provider$/, "", $1); print "answers|" $1 "|" $NF } }' \
      >"$work/times-$1.txt" || { cat "$work/errors" >&2; return 1; }
}

print_provider() { awk -v functions="${2%-switches}" -v unit="$3" -f "$here/tables.awk" "$work/$1-$2.txt"; }

# Instructions of a whole program.
instructions() {
  valgrind --tool=callgrind --callgrind-out-file=/dev/null --log-file="$work/log" "$@" \
    >"$work/output" 2>&1 || { cat "$work/output" "$work/log" >&2; return 1; }
  awk '/Collected *:/ { print $NF }' "$work/log"
}

# CPU seconds of a whole program, and its largest size in KiB.
seconds() { "$bin/measure_command" "$@"; }

# The command beside lspci on one file: MEASURE MACHINE UNIT TARGETS, the targets being those of
# count, tree and enum. Memory has one too where the machine is large.
compare_commands() {
  local measure="$1" unit="$3" file row ours theirs targets
  local words=(count tree "enum Zelmar_PCIDevice") lspci=("" -tv -vv)
  file="$(machine "$2")"
  read -r -a targets <<<"$4"
  local memory_targets=(- - -)
  [[ "$2" != 64000* ]] || memory_targets=(- "$((150 * 1024))" "$((150 * 1024))")
  printf '%-30s %14s %10s %10s %14s %10s %8s %8s\n' "in $unit" pcicim peak_KiB target "lspci -F" \
    peak_KiB ratio target
  for row in 0 1 2; do
    # shellcheck disable=SC2086
    ours="$("$measure" "$bin/pcicim" --inventory "$file" ${words[row]})"
    # shellcheck disable=SC2086
    theirs="$("$measure" lspci -F "$file" ${lspci[row]})"
    awk -v row="${words[row]}, -F ${lspci[row]}" -v ours="$ours" -v theirs="$theirs" \
      -v target="${targets[row]}" -v memory="${memory_targets[row]}" 'BEGIN {
        split(ours, o, " "); split(theirs, t, " ")
        printf "%-30s %14s %10s %10s %14s %10s %8.3f %8s\n", row, o[1], o[2] ? o[2] : "-", memory,
               t[1], t[2] ? t[2] : "-", o[1] / t[1], target
      }'
  done | tee "$work/commands-$2-$measure.txt"
}

# The start by itself: the library loaded, the host read, one class's names given.
print_cold_start() {
  local ours theirs
  ours="$(awk -F'|' '$2 == "cold start" { print $3 }' "$work/provider-$1.txt")"
  theirs="$(instructions lspci -F "$(machine "$1")")"
  awk -v n="$1" -v ours="$ours" -v theirs="$theirs" 'BEGIN {
    printf "%s functions: %d instructions from loading the library to the first answer, %.3f of lspci -F\n",
           n, ours, ours / theirs }'
}

# The most of the heap that the command holds at any moment.
heap_peak() {
  HEAP_METER_FILE="$work/heap" LD_PRELOAD="$PWD/build/bench/lib/libheap_meter.so" \
    "$bin/pcicim" "$@" >/dev/null 2>&1
  cut -d' ' -f1 "$work/heap"
}

print_memory() {
  local file one all instances
  file="$(machine "$1")"
  instances="$("$bin/pcicim" --inventory "$file" count 2>/dev/null | awk '/PCIDevice$/ { print $1 }')"
  one="$(heap_peak --inventory "$file" enum Zelmar_PCIeSwitch --names)"
  all="$(heap_peak --inventory "$file" enum Zelmar_PCIDevice)"
  awk -v n="${1%-switches}" -v one="$one" -v all="$all" -v instances="$instances" 'BEGIN {
    printf "%-60s %8.0f\n", n " functions: peak of the heap a function, names of a small class", one / n
    printf "%-60s %8.0f\n", n " functions: peak of the heap a function, all devices", all / n
    printf "%-60s %8.0f   target 1536\n", n " functions: bytes an instance in flight", (all - one) / instances }'
  # Host control and both libraries by themselves.
  [[ ! -x "$bin/memory_bench" ]] || "$bin/memory_bench" "${1%-switches}"
}

print_serve() {
  "$bin/serve_bench" "$(machine "$1")" Zelmar_PCIDevice | awk -v n="$1" '
    { value[$1] = $2 }
    END { printf "%s functions: %s us of CPU, %s bytes sent, %s bytes of memory for each of %s instances\n",
                 n, value["cpu_us"], value["sent_bytes"], value["grown_bytes"], value["instances"] }'
}

# What is recorded and checked: the ratios of the small machine, all of them in instructions.
small_ratios() {
  awk -v ratios=1 -f "$here/tables.awk" "$work/provider-86.txt"
  awk '{ print $(NF - 1), "pcicim " $1 }' "$work/commands-86-instructions.txt"
}

measure_small() {
  count_provider 86
  heading "Requests to the provider, 86 functions, in instructions"
  print_provider provider 86 instructions
  heading "Start"
  print_cold_start 86
  heading "The command and lspci on the same file, 86 functions"
  compare_commands instructions 86 instructions "0.7 0.7 0.7"
  small_ratios >"$work/ratios.txt"
}

check_small() {
  awk -v limit=1.1 '
    FNR == NR { recorded[substr($0, index($0, " ") + 1)] = $1; next }
    { name = substr($0, index($0, " ") + 1); seen[name] = 1 }
    !(name in recorded) { print "not recorded: " name; failed = 1; next }
    $1 > recorded[name] * limit { print name ": " $1 ", recorded " recorded[name]; failed = 1 }
    END {
      for (name in recorded) if (!(name in seen)) { print "not measured: " name; failed = 1 }
      exit failed
    }' "$here/recorded.txt" "$work/ratios.txt" || {
    echo "Ratios grew by more than a tenth, or requests came or went." >&2
    echo "Where that is meant, bench/run.sh --record writes bench/recorded.txt anew." >&2
    return 1
  }
  echo "No ratio grew by a tenth over bench/recorded.txt."
}

measure_large() {
  local name
  for name in 86 4096 64000 64000-switches; do
    heading "The command and lspci on the same file, $name functions, in seconds of CPU time"
    compare_commands seconds "$name" seconds "- 1 1.5"
  done
  heading "Memory, in bytes"
  print_memory 4096
  print_memory 64000
  heading "Served over HTTP"
  print_serve 4096
  print_serve 64000
  time_provider 4096 .
  heading "Requests to the provider, 4096 functions, in nanoseconds of CPU time"
  print_provider times 4096 nanoseconds
  for name in 8000 64000 8000-switches 64000-switches; do time_provider "$name" arena; done
  for name in 64000 64000-switches; do
    heading "Requests to the provider, $name functions, in nanoseconds of CPU time"
    print_provider times "$name" nanoseconds
    heading "Growth of time from ${name/64000/8000} to $name functions: 8 is linear"
    awk -v growth=1 -f "$here/tables.awk" "$work/times-${name/64000/8000}.txt" "$work/times-$name.txt"
  done
  count_provider 4096
  heading "Requests to the provider, 4096 functions, in instructions"
  print_provider provider 4096 instructions
  print_cold_start 4096
  # Of the machine with many switches, what switches have a part in.
  count_provider 4096-switches PCIeSwitch
  heading "Requests for switches to the provider, 4096-switches functions, in instructions"
  print_provider provider 4096-switches instructions
}

measure_small
case "$mode" in
  --all) measure_large ;;
  --check) check_small ;;
  --record) cp "$work/ratios.txt" "$here/recorded.txt" ;;
esac
