#!/bin/bash
# Fetches what the guests need and the host does not: Debian's cloud kernel, a static busybox, and a
# small Debian system with systemd and what the project's packages depend on. None is installed, so
# that what the host itself boots stays as it is. Quick when all are there.
# Usage: fetch_packages.sh DIRECTORY     (leaves vmlinuz, busybox and system.tar there)
set -euo pipefail

(($# == 1)) || { sed -n '5s/^# //p' "$0" >&2; exit 2; }
mkdir -p "$1"
cd "$1"

# The metapackage names the kernel of the day as its one dependency.
kernel_package() {
  apt-cache depends linux-image-cloud-amd64 2>/dev/null |
    awk '$1 == "Depends:" && !found { print $2; found = 1 }'
}

download() {
  local kernel
  kernel="$(kernel_package)"
  [[ -n "$kernel" ]] || { echo "apt knows no linux-image-cloud-amd64." >&2; return 1; }
  # apt cannot hand files in a private directory to its own user, and says so each time.
  apt-get -o APT::Sandbox::User=root download -q "$kernel" busybox-static >&2
}

update_lists() {
  local as_root=()
  ((EUID == 0)) || as_root=(sudo)
  "${as_root[@]}" apt-get update -q >&2
}

# Writes the one file whose path in the package fits the pattern.
unpack() {
  local package="$1" pattern="$2" file="$3"
  dpkg-deb --fsys-tarfile "$package" | tar -xO --wildcards "$pattern" >"$file.part"
  mv "$file.part" "$file"
}

# The host's own sources, where they are in Debian's usual places.
make_system() {
  local sources=() file
  for file in /etc/apt/sources.list /etc/apt/sources.list.d/debian.sources; do
    [[ ! -s "$file" ]] || sources+=("$file")
  done
  mmdebstrap --quiet --variant=essential \
    --include=systemd,libpci3,pci.ids,libssl3,libexpat1,libpugixml1v5,libcairo2,libstdc++6,passwd \
    --dpkgopt='path-exclude=/usr/share/doc/*' --dpkgopt='path-exclude=/usr/share/man/*' \
    --dpkgopt='path-exclude=/usr/share/locale/*' --dpkgopt='path-exclude=/usr/share/zoneinfo/*' \
    bookworm system.part.tar "${sources[@]}"
  mv system.part.tar system.tar
}

[[ -s system.tar ]] || make_system
[[ ! -s vmlinuz || ! -s busybox ]] || exit 0
rm -f -- *.deb
download || { update_lists && download; }
unpack linux-image-*.deb './boot/vmlinuz-*' vmlinuz
unpack busybox-static_*.deb ./bin/busybox busybox
chmod +x busybox
rm -f -- *.deb
