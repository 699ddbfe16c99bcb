#!/bin/bash
# Runs inside the guest: installs the packages, and says of each thing that must hold whether it
# does, in lines that begin with "ok" or "FAILED".
export PATH=/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C DEBIAN_FRONTEND=noninteractive
units=(pcicim.service pcicim.socket)

expect() {
  local what="$1"
  shift
  if "$@"; then echo "ok: $what"; else echo "FAILED: $what ($*)"; fi
}

# What lasts a moment; however slow the guest is.
expect_soon() {
  local what="$1" i
  shift
  for ((i = 0; i < 100; ++i)); do
    if "$@"; then
      echo "ok: $what"
      return
    fi
    sleep 0.2
  done
  echo "FAILED: $what ($*)"
}

is() {
  local got
  got="$("${@:2}" 2>&1)"
  [[ "$got" == "$1" ]] || { echo "# got: $got" && return 1; }
}
isnt() { ! "$@"; }
differs() { [[ "$("${@:2}")" != "$1" ]]; }

request='<?xml version="1.0"?><CIM CIMVERSION="2.0" DTDVERSION="2.0"><MESSAGE ID="1" PROTOCOLVERSION="1.0"><SIMPLEREQ><IMETHODCALL NAME="EnumerateInstanceNames"><LOCALNAMESPACEPATH><NAMESPACE NAME="root"/><NAMESPACE NAME="cimv2"/></LOCALNAMESPACEPATH><IPARAMVALUE NAME="ClassName"><CLASSNAME NAME="Zelmar_PCIeSwitch"/></IPARAMVALUE></IMETHODCALL></SIMPLEREQ></MESSAGE></CIM>'

# ask [HEADER]: the whole answer to a request for the names of the switches.
ask() {
  exec 3<>/dev/tcp/127.0.0.1/5988 || return
  printf '%s\r\n' 'POST /cimom HTTP/1.1' 'Host: localhost' 'Connection: close' \
    'Content-Type: application/xml; charset="utf-8"' 'CIMOperation: MethodCall' \
    'CIMMethod: EnumerateInstanceNames' 'CIMObject: root%2Fcimv2' \
    "Content-Length: ${#request}" ${1:+"$1"} '' >&3
  printf '%s' "$request" >&3
  cat <&3
  exec 3>&-
} 2>/dev/null

answers() { [[ "$(ask "${@:2}")" == "HTTP/1.1 $1 "* ]]; }
# Without the whole of configuration space, switches are plain bridges.
sees_switches() { (($(ask | grep -o '<INSTANCENAME ' | wc -l) == 2)); }
main_process() { systemctl show -P MainPID pcicim.service; }
status_of() { awk -v name="$2:" '$1 == name { print $2 }' "/proc/$1/status"; }
logged() { journalctl -q -u pcicim.service -p "$1" -o cat | grep -q "$2"; }
# Tries it as the service's user where the service's own mounts are.
can_write() {
  local process="$1" place
  while IFS= read -r place; do
    if nsenter -t "$process" -m -S "$(status_of "$process" Uid)" -- \
      /bin/sh -c "echo x >$place/written-by-the-service" 2>/dev/null; then
      echo "# $place can be written"
      return 0
    fi
  done < <(printf '%s\n' /etc /var/lib /tmp /var/tmp /run/lock /dev/shm /dev/mqueue
    awk '{ print $5 }' "/proc/$process/mountinfo")
  return 1
}

dpkg --install /packages/*.deb >/run/dpkg.log 2>&1
expect "the packages install" is '' dpkg --audit
for unit in "${units[@]}"; do
  expect "$unit is off after installation" is disabled systemctl is-enabled "$unit"
  expect "$unit does not run after installation" is inactive systemctl is-active "$unit"
done
systemctl preset "${units[@]}" 2>/dev/null
expect "presets leave it off" is $'disabled\ndisabled' systemctl is-enabled "${units[@]}"
expect "nothing listens" isnt answers 200

systemctl enable --now pcicim.socket 2>/dev/null
expect "the socket listens" is active systemctl is-active pcicim.socket
expect "the service waits for a client" is inactive systemctl is-active pcicim.service
expect "a client starts it and sees both switches" sees_switches
expect "the service runs" is active systemctl is-active pcicim.service
process="$(main_process)"
expect "mounts of its own are looked at" isnt cmp -s /proc/1/mountinfo "/proc/$process/mountinfo"
expect "it has a user of its own" isnt test "$(status_of "$process" Uid)" -eq 0
expect "its one capability is CAP_SYS_ADMIN" \
  is 0000000000200000 status_of "$process" CapEff
expect "it takes no new privileges" is 1 status_of "$process" NoNewPrivs
expect "it can write nowhere" isnt can_write "$process"

# shellcheck disable=SC2016  # A setting of crypt(3).
perl -e 'print "alice:", crypt("s3cret", "\$2b\$05\$abcdefghijklmnopqrstuu"), "\n"' >/etc/pcicim-users
chgrp pcicim-keys /etc/pcicim-users
chmod 640 /etc/pcicim-users
echo 'password-file = /etc/pcicim-users' >>/etc/pcicim.conf
systemctl reload pcicim.service
expect_soon "after a reload it asks for a password" answers 401
expect "the right one is taken" answers 200 'Authorization: Basic YWxpY2U6czNjcmV0'
expect "the process that systemd knows is the same" is "$process" main_process
expect_soon "the journal tells of it" logged notice 'a fresh server has taken over'

chmod 600 /etc/pcicim-users
systemctl reload pcicim.service
expect_soon "a reload that fails says why, as an error" logged err 'cannot read /etc/pcicim-users'
expect_soon "and that the former server goes on" logged err 'the former one goes on'
expect "the service runs on" is active systemctl is-active pcicim.service
expect "with what it knew" answers 200 'Authorization: Basic YWxpY2U6czNjcmV0'

systemctl stop pcicim.socket pcicim.service 2>/dev/null
expect "it stops" is inactive systemctl is-active pcicim.service
expect "without a failure" is success systemctl show -P Result pcicim.service
expect "and nothing listens" isnt answers 401

sed -i '/^password-file/d' /etc/pcicim.conf
systemctl start pcicim.service
expect "it starts without the socket, too" sees_switches
dpkg --install /packages/pcicim-service_*.deb >>/run/dpkg.log 2>&1
expect "it runs on over an upgrade" sees_switches
expect "as a new process" differs "$process" main_process
systemctl start pcicim.socket
dpkg --remove pcicim-service >>/run/dpkg.log 2>&1
expect "removal stops it" isnt answers 200
expect "and no process is left" isnt grep -qsx pcicim /proc/[0-9]*/comm
expect "the configuration stays" test -s /etc/pcicim.conf
rm /etc/pcicim-users
dpkg --purge pcicim-service >>/run/dpkg.log 2>&1
expect "purging takes the configuration" isnt test -e /etc/pcicim.conf
expect "and the group" isnt getent group pcicim-keys
expect "and what was enabled" is '' find /etc /var/lib /lib/systemd /run/systemd -name '*pcicim*' \
  -not -path '/var/lib/dpkg/info/*'
expect "no package is left half done" is '' dpkg --audit
[[ -z "$(dpkg --audit)" ]] || sed 's/^/# /' /run/dpkg.log
echo "The end."
