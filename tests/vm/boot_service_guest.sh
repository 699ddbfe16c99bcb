#!/bin/bash
# Boots a small Debian system with systemd under software emulation, installs the packages in it,
# and tests the service there (service_checks.sh).
# Usage: boot_service_guest.sh BUILD_DIRECTORY     (results: BUILD_DIRECTORY/vm/service.txt)
set -euo pipefail

(($# == 1)) || { sed -n '4s/^# //p' "$0" >&2; exit 2; }
here="$(dirname "$(realpath "$0")")"
build="$(realpath "$1")"
# shellcheck source=tests/vm/guest.sh
. "$here/guest.sh"
root="$work/service-root"
console="$work/service-console.log"
results="$work/service.txt"

make_packages() {
  rm -rf "$work/packages"
  cpack -G DEB --config "$build/CPackConfig.cmake" -B "$work/packages" >"$work/packages.log" 2>&1 ||
    { tail -n 30 "$work/packages.log" >&2; exit 1; }
  rm -rf "$work"/packages/{_CPack_Packages,*-dev_*.deb}
}

make_root() {
  rm -rf "$root"
  mkdir -p "$root"/{bin,dev,proc,sys,new,packages}
  cp "$work/busybox" "$root/bin/busybox"
  cp "$here/service_init" "$root/init"
  cp "$here/service_checks.sh" "$work/system.tar" "$root/"
  cp "$work"/packages/*.deb "$root/packages/"
}

make_packages
make_root
pack "$root" "$work/service-initrd"
rm -rf "$root"
rm -f "$results"
boot "$work/service-initrd" "$console" "$results" 1536 ||
  give_up "$console" "did not end by itself within $time_limit s, or could not start"
# A serial line ends its lines as terminals do.
sed -i 's/\r$//' "$results"
cat "$results"
! grep -q '^FAILED' "$results" || give_up "$console" "found something wrong"
grep -qx 'The end.' "$results" || give_up "$console" "did not come to the end"
echo "$(grep -c '^ok' "$results") checks in the guest after $SECONDS s."
