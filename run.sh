#!/bin/bash
# Shows the PCI topology of this host, or of a saved inventory, as libpciprovider.so publishes it.
# Usage: ./run.sh [INVENTORY]     (INVENTORY: what `lspci -D -xxxx` wrote)
set -euo pipefail

if (($# > 1)) || [[ "${1:-}" == -* ]]; then
  sed -n '2,3s/^# //p' "$0" >&2
  exit 2
fi
inventory="${1:-}"
if [[ -n "$inventory" && (! -f "$inventory" || ! -r "$inventory") ]]; then
  echo "$inventory is no file that can be read." >&2
  exit 2
fi
[[ -z "$inventory" ]] || inventory="$(realpath -- "$inventory")"
cd "$(dirname "$(realpath "$0")")"

scripts/install-packages.sh build
build_log="build/release-build.log"
mkdir -p build
echo "Building (log: $build_log) ..." >&2
if ! { cmake --preset release && cmake --build --preset release; } >"$build_log" 2>&1; then
  tail -n 40 "$build_log" >&2
  echo "The build failed." >&2
  exit 1
fi

# Whole paths: what is shown below works in any directory.
pcicim="$PWD/build/release/bin/pcicim"
options=()
if [[ -n "$inventory" ]]; then
  options=(--inventory "$inventory")
elif ! compgen -G "${QARCTL_SYSFS_ROOT:-/sys}/bus/pci/devices/*" >/dev/null &&
  [[ -z "${QARCTL_PCI_DUMP:-}" ]]; then
  options=(--inventory "$PWD/samples/q35-pcie-switches.txt")
  echo "This host has no PCI bus; showing the saved machine ${options[1]} instead." >&2
fi

"$pcicim" "${options[@]}" tree
echo
echo "Instances per class:"
"$pcicim" "${options[@]}" count

shown="$(printf '%q ' "$pcicim" "${options[@]}")"
shown="${shown% }"
cat <<TEXT

Ask more:
  $shown classes
  $shown enum Zelmar_PCIeSwitch
  $shown enum Zelmar_PCIPort --property DeviceID --property PortType --format json
  $shown get 'Zelmar_PCIBridge.DeviceID="ADDRESS"'
  $shown associator-names 'Zelmar_PCIPort.DeviceID="PORT"'
  $shown serve
  $shown --help
TEXT
