#!/bin/bash
# Boots a guest with a rich PCI topology under software emulation, with the built command and
# libraries in its initial RAM disk, and unpacks what the guest answered.
# Usage: boot_guest.sh BUILD_DIRECTORY     (answers: BUILD_DIRECTORY/vm/answers)
set -euo pipefail

(($# == 1)) || { sed -n '4s/^# //p' "$0" >&2; exit 2; }
here="$(dirname "$(realpath "$0")")"
build="$(realpath "$1")"
work="$build/vm"
root="$work/root"
time_limit=600

for command in qemu-system-x86_64 lspci; do
  command -v "$command" >/dev/null ||
    { echo "$command is missing: ./test.sh --vm installs it." >&2; exit 1; }
done
for tool in "$work/vmlinuz" "$work/busybox"; do
  [[ -s "$tool" ]] || { echo "$tool is missing: ./test.sh --vm fetches it." >&2; exit 1; }
done

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

pack_root() {
  (cd "$root" && find . | "$work/busybox" cpio -o -H newc -R 0:0 2>/dev/null) >"$work/initrd"
}

# What live_guest_test.cpp expects to find: two switches, the lower behind a port of the upper;
# conventional PCI, bridge behind bridge; a second root bus; four ports with nothing behind them.
# shellcheck disable=SC2054  # The commas are part of the options.
machine=(
  -device pcie-root-port,id=to_switch,bus=pcie.0,addr=2,chassis=1,slot=1
  -device x3130-upstream,id=upper,bus=to_switch
  -device xio3130-downstream,id=upper_0,bus=upper,addr=0,chassis=2,slot=11
  -device xio3130-downstream,id=upper_1,bus=upper,addr=1,chassis=3,slot=12
  -device xio3130-downstream,id=upper_2,bus=upper,addr=2,chassis=4,slot=13
  -device xio3130-downstream,id=upper_3,bus=upper,addr=3,chassis=5,slot=14
  -device e1000e,bus=upper_0,romfile=
  -device nvme-subsys,id=subsystem
  -device nvme,bus=upper_1,subsys=subsystem,serial=1,max_ioqpairs=6,msix_qsize=7,sriov_max_vfs=2,sriov_vq_flexible=4,sriov_vi_flexible=4
  -device x3130-upstream,id=lower,bus=upper_2
  -device xio3130-downstream,id=lower_0,bus=lower,addr=0,chassis=6,slot=15
  -device xio3130-downstream,id=lower_1,bus=lower,addr=1,chassis=7,slot=16
  -device qemu-xhci,bus=lower_0

  -device pcie-root-port,id=to_pci,bus=pcie.0,addr=3.0,multifunction=on,chassis=8,slot=2
  -device pcie-root-port,id=empty,bus=pcie.0,addr=3.1,chassis=9,slot=3
  -device pcie-pci-bridge,id=pci,bus=to_pci
  -device e1000,bus=pci,addr=1,romfile=
  -device pci-bridge,id=inner,bus=pci,addr=2,chassis_nr=10
  -device virtio-rng-pci,bus=inner,addr=3

  -device pxb-pcie,id=second,bus=pcie.0,addr=4,bus_nr=128
  -device pcie-root-port,id=second_0,bus=second,addr=0,chassis=11,slot=21
  -device pcie-root-port,id=second_1,bus=second,addr=1,chassis=12,slot=22
  -device virtio-rng-pci,bus=second_0,addr=0.0,multifunction=on
  -device virtio-rng-pci,bus=second_0,addr=0.1

  -device virtio-rng-pci,bus=pcie.0,addr=5
)

# The guest's clock counts instructions: however busy the host is, the kernel finds its timers as
# it expects them. Against the host's clock it gives up, or waits for ever, where cores are short.
boot() {
  timeout --kill-after=5 "$time_limit" qemu-system-x86_64 \
    -M q35 -accel tcg,thread=single -icount shift=1,sleep=off -smp 1 -m 512 \
    -nodefaults -display none -no-reboot \
    -kernel "$work/vmlinuz" -initrd "$work/initrd" \
    -append "console=ttyS0 panic=-1 loglevel=5 no_timer_check" \
    -serial "file:$work/console.log" -serial "file:$work/answers.tar" \
    "${machine[@]}" </dev/null
}

give_up() {
  echo "The guest $1. The end of its console, $work/console.log:" >&2
  tail -n 30 "$work/console.log" >&2
  exit 1
}

rm -rf "$work/answers" "$work/answers.tar"
: >"$work/console.log"
make_root
pack_root
boot || give_up "did not end by itself within $time_limit s, or could not start"
mkdir "$work/answers"
tar -xf "$work/answers.tar" -C "$work/answers" || give_up "sent no complete answer"
echo "$(find "$work/answers" -type f | wc -l) answers from the guest after $SECONDS s."
