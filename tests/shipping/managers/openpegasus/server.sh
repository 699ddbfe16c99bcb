#!/bin/sh
# A part of the stand-ins for the commands of OpenPegasus: what its server keeps. A namespace is a
# directory with a file for each class, a provider module a file with its status, its library and
# its providers.
# A test says whether the server runs ($FAKE_STOPPED set: it does not) and is asked over HTTP
# ($FAKE_NO_HTTP set: it is not), which status a module gets ($FAKE_MODULE_STATUS), where the server
# looks for libraries ($FAKE_PROVIDER_DIRS), and which program opens them as it does ($FAKE_LOADER).
# shellcheck disable=SC2034 # Variables are for the commands that read it.
server=$FAKE_STATE/openpegasus
modules=$server/modules
mkdir -p "$modules"

classes_of() { printf '%s' "$server/namespaces/$1/classes"; }

needs_server() {
  if [ -n "${FAKE_STOPPED-}" ]; then
    echo "$1: cannot connect to the server" >&2
    exit 1
  fi
}

# enumerate_names CLASS: as the class' provider returns them once its library is loaded. A class
# without provider has no instances.
enumerate_names() {
  module=$(grep -lx "provider $1" "$modules"/* 2>/dev/null) || return 0
  library=$(sed -n 's/^location \(.*\)/lib\1.so/p' "$module")
  for directory in $(echo "${FAKE_PROVIDER_DIRS-}" | tr ':' ' '); do
    case $directory in
      /*) ;;
      *) directory=$server/home/$directory ;;
    esac
    if [ -e "$directory/$library" ]; then
      "$FAKE_LOADER" "$directory/$library" && printf "localhost/root/cimv2:$1.DeviceID=%s\n" 1 2
      return
    fi
  done
  echo "cannot find $library" >&2
  return 1
}
