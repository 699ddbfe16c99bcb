# shellcheck shell=bash
# The virtual machine of the guests; for scripts that set $build, and source it.
# shellcheck disable=SC2154  # Set by who sources this.
work="$build/vm"
time_limit=600

for command in qemu-system-x86_64 lspci mmdebstrap; do
  command -v "$command" >/dev/null ||
    { echo "$command is missing: ./test.sh --vm installs it." >&2; exit 1; }
done
for file in vmlinuz busybox system.tar; do
  [[ -s "$work/$file" ]] || { echo "$work/$file is missing: ./test.sh --vm fetches it." >&2; exit 1; }
done

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
# boot INITRD CONSOLE_FILE SECOND_PORT_FILE MEGABYTES
boot() {
  timeout --kill-after=5 "$time_limit" qemu-system-x86_64 \
    -M q35 -accel tcg,thread=single -icount shift=1,sleep=off -smp 1 -m "$4" \
    -nodefaults -display none -no-reboot \
    -kernel "$work/vmlinuz" -initrd "$1" \
    -append "console=ttyS0 panic=-1 loglevel=5 no_timer_check" \
    -serial "file:$2" -serial "file:$3" \
    "${machine[@]}" </dev/null
}

# pack ROOT INITRD
pack() {
  (cd "$1" && find . | "$work/busybox" cpio -o -H newc -R 0:0 2>/dev/null) >"$2"
}

# give_up CONSOLE_FILE REASON
give_up() {
  echo "The guest $2. The end of its console, $1:" >&2
  tail -n 30 "$1" >&2
  exit 1
}
