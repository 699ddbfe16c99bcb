#!/bin/bash
# Boots a guest with a rich PCI topology under software emulation, with the built command and
# libraries in its initial RAM disk, and unpacks what the guest answered.
# Usage: boot_guest.sh BUILD_DIRECTORY     (answers: BUILD_DIRECTORY/vm/answers)
set -euo pipefail

(($# == 1)) || { sed -n '4s/^# //p' "$0" >&2; exit 2; }
here="$(dirname "$(realpath "$0")")"
build="$(realpath "$1")"
# shellcheck source=tests/vm/guest.sh
. "$here/guest.sh"
root="$work/root"

# The dynamic loader and every library that the files are linked with, each once.
closure() {
  ldd "$@" | awk '$2 == "=>" && $3 ~ /^\// { print $3 } $1 ~ /^\/.*[^:]$/ { print $1 }' | sort -u
}

make_root() {
  local libraries lspci
  libraries=("$build"/lib/lib*.so)
  lspci="$(command -v lspci)"
  rm -rf "$root"
  mkdir -p "$root"/{answers,bin,dev,etc,proc,sys,tmp,usr/bin}
  cp "$here/init" "$root/init"
  cp "$work/busybox" "$root/bin/busybox"
  ln -s busybox "$root/bin/sh"
  cp -L "$lspci" "$root/usr/bin/lspci"
  closure "$lspci" "$build/bin/pcicim" "${libraries[@]}" |
    xargs -d '\n' cp -L --parents -t "$root" -- \
      "$build/bin/pcicim" "${libraries[@]}" "$build"/share/pciprovider/mof/* \
      /usr/share/misc/pci.ids
  # The command looks for its libraries and classes beside itself, so the build tree's paths stay.
  ln -s "$build/bin/pcicim" "$root/bin/pcicim"
  # The build tree may lie in a directory that only its owner may enter.
  chmod -R a+rX "$root"
}

rm -rf "$work/answers" "$work/answers.tar"
: >"$work/console.log"
make_root
pack "$root" "$work/initrd"
boot "$work/initrd" "$work/console.log" "$work/answers.tar" 512 ||
  give_up "$work/console.log" "did not end by itself within $time_limit s, or could not start"
mkdir "$work/answers"
tar -xf "$work/answers.tar" -C "$work/answers" ||
  give_up "$work/console.log" "sent no complete answer"
echo "$(find "$work/answers" -type f | wc -l) answers from the guest after $SECONDS s."
