#!/bin/bash
# Installs the packages into a copy-on-write image of the running Debian system with its own dpkg,
# uses what they install, and removes them again. The system itself stays as it is.
# Usage: installed_system_test.sh PACKAGE_DIRECTORY SAMPLE HIDDEN_DIRECTORY...
# Exit code 77: cannot be done here (no root, no overlay file system, or not wanted).
set -euo pipefail

skip() {
  echo "SKIPPED: $1"
  exit 77
}
[[ -z "${PCIPROVIDER_NO_SYSTEM_TESTS:-}" ]] || skip "PCIPROVIDER_NO_SYSTEM_TESTS is set"
((EUID == 0)) || skip "needs root"

# Mounts made here are visible to this process alone, and go with it.
if [[ "${1:-}" != --unshared ]]; then
  unshare --mount true 2>/dev/null || skip "no mount namespace of one's own here"
  exec unshare --mount "$0" --unshared "$@"
fi
shift
packages="$1"
sample="$2"
shift 2

fail() {
  echo "FAILED: $1"
  exit 1
}
expect() {
  local what="$1"
  shift
  "$@" || fail "$what"
  echo "ok: $what"
}

layers="$(mktemp -d)"
trap 'umount -R "$layers/root" 2>/dev/null; umount "$layers"; rmdir "$layers"' EXIT
mount -t tmpfs tmpfs "$layers"
mkdir "$layers"/{upper,work,root}
mount -t overlay overlay \
  -o "lowerdir=/,upperdir=$layers/upper,workdir=$layers/work" "$layers/root" 2>/dev/null ||
  skip "no overlay file system here"
root="$layers/root"
mount -t proc proc "$root/proc"
mount --rbind /sys "$root/sys"
cp "$packages"/*.deb "$root/tmp/"
cp "$sample" "$root/tmp/sample.txt"
# What is installed must do without the trees that it was built from.
for directory in "$@"; do
  [[ ! -d "$root$directory" ]] || mount -t tmpfs tmpfs "$root$directory"
done

inside() { chroot "$root" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin "$@"; }
names=(pciprovider libzelcppc1 libqarctl1 pciprovider-tools pcicim-service pciprovider-dev)
files_of() { inside dpkg -L "${names[@]}" | sort -u; }

inside dpkg --purge "${names[@]}" >/dev/null 2>&1 || true
inside bash -c 'dpkg --install /tmp/*.deb' >"$layers/log" 2>&1 ||
  { cat "$layers/log" && fail "dpkg --install"; }
echo "ok: dpkg --install"
expect "no package is left half done" test -z "$(inside dpkg --audit)"
expect "the loader's cache was renewed" grep -q libqarctl.so.1 <(inside ldconfig -p)
for library in libpciprovider.so libhostsystemprovider.so; do
  inside ldd "/usr/lib64/cim/$library" >"$layers/log"
  expect "$library finds all that it needs" test -z "$(grep 'not found' "$layers/log")"
done

inside pcicim --inventory /tmp/sample.txt count >"$layers/log" 2>"$layers/errors" ||
  { cat "$layers/errors" && fail "pcicim count"; }
expect "pcicim counts the ports of a saved machine" grep -q '^ *33  Zelmar_PCIPort$' "$layers/log"
inside pcicim --inventory /tmp/sample.txt tree >"$layers/log" 2>"$layers/errors" ||
  { cat "$layers/errors" && fail "pcicim tree"; }
expect "pcicim draws its tree" grep -q '0000:01:00.0  \[switch, 4 ports\]' "$layers/log"
expect "pcicim reads the live host" grep -q Zelmar_PCIDevice <(inside pcicim count 2>/dev/null)
expect "pciprovider-register finds its files" grep -q 'no object manager found' \
  <(inside env PATH=/usr/bin:/bin /usr/sbin/pciprovider-register --dry-run 2>&1 || true)

files_of >"$layers/files"
inside dpkg --purge "${names[@]}" >"$layers/log" 2>&1 || { cat "$layers/log" && fail "dpkg --purge"; }
while IFS= read -r file; do
  case "$file" in
    *pciprovider* | *pcicim* | */cim/* | *zelcppc* | *qarctl* | */cmpi.h)
      [[ ! -e "$root$file" && ! -L "$root$file" ]] || fail "$file is still there"
      ;;
  esac
done <"$layers/files"
echo "ok: dpkg --purge leaves nothing behind"
expect "the loader's cache was renewed again" bash -c '! grep -q libqarctl' <(inside ldconfig -p)
