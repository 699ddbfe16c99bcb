#!/bin/bash
# Installs the Debian packages that a job needs and that are missing.
# Usage: scripts/install-packages.sh GROUP...     (groups: build, test, browser, bench, vm, package, lint)
set -euo pipefail

declare -A groups=(
  [build]="cmake ninja-build g++ pkgconf libpci-dev pci.ids libcli11-dev nlohmann-json3-dev libpugixml-dev libboost-dev libexpat1-dev libssl-dev libcrypt-dev libcairo2-dev"
  [test]="libgtest-dev libgmock-dev libbenchmark-dev pciutils dpkg-dev file sblim-wbemcli openssl poppler-utils systemd zsh"
  [vm]="qemu-system-x86 mmdebstrap dpkg-dev file"
  [browser]="chromium chromium-driver fonts-dejavu-core"
  [bench]="libbenchmark-dev pciutils valgrind"
  [package]="dpkg-dev file lintian"
  [lint]="clang clang-format clang-tidy libclang-rt-14-dev shellcheck"
)

usage() {
  echo "usage: $0 GROUP...    (groups: ${!groups[*]})" >&2
  exit 2
}

# True when the package is installed as it should be, not merely known or half removed.
is_installed() {
  [[ "$(dpkg-query -W -f='${db:Status-Status}' "$1" 2>/dev/null)" == installed ]]
}

(($# > 0)) || usage
missing=()
for group in "$@"; do
  [[ -n "${groups[$group]:-}" ]] || usage
  for package in ${groups[$group]}; do
    is_installed "$package" || missing+=("$package")
  done
done
((${#missing[@]} > 0)) || exit 0

as_root=()
if ((EUID != 0)); then
  if ! command -v sudo >/dev/null; then
    echo "These packages are missing, and sudo, to install them, is too. As root:" >&2
    echo "  apt-get update && apt-get install --no-install-recommends ${missing[*]}" >&2
    exit 1
  fi
  as_root=(sudo)
  echo "Installing with sudo: ${missing[*]}" >&2
else
  echo "Installing: ${missing[*]}" >&2
fi

# What the package manager says is for who has to find out why it failed.
log="$(mktemp)"
trap 'rm -f -- "$log"' EXIT

install_missing() {
  # sudo drops the environment, so the variable is set behind it.
  "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
    apt-get install -y -q --no-install-recommends "${missing[@]}"
}

if ! { "${as_root[@]}" apt-get update -q && install_missing; } >"$log" 2>&1; then
  cat "$log" >&2
  echo "Could not install ${missing[*]} (for: $*); see what apt-get said above." >&2
  exit 1
fi
