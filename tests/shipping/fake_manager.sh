#!/bin/sh
# Stands in for a command of OpenPegasus or sfcb, the one whose name it is called by: notes what it
# is asked to change in $FAKE_STATE/calls, and keeps what a manager would keep below $FAKE_STATE.
set -eu
command=$(basename "$0")
state=$FAKE_STATE
mkdir -p "$state/modules" "$state/classes" "$state/stage/regs" "$state/stage/mofs" "$state/repository"

names_in() { sed -n "s/$1/\\1/p" "$2"; }

compile() {
  for file in "$@"; do
    for class in $(names_in '^class \([A-Za-z_]*\).*' "$file"); do
      : >"$state/classes/$class"
    done
    for module in $(names_in '^  Name = "\([A-Za-z]*Module\)";' "$file"); do
      [ ! -e "$state/modules/$module" ] || { echo "$module exists" >&2 && exit 1; }
      : >"$state/modules/$module"
    done
  done
}

unstage() {
  for file in "$@"; do
    rm "$stage/mofs/$(basename "$file")"
  done
}

case "$command $1" in
  'cimprovider -l' | 'cimcli gc') [ -z "${FAKE_STOPPED-}" ] || { echo 'no connection' >&2 && exit 1; } ;;
esac
case "$command $1" in
  'cimprovider -l') ls "$state/modules" && exit ;;
  'cimconfig -g') echo "Current value: ${FAKE_PROVIDER_DIRS-}" && exit ;;
  'cimcli gc') [ -e "$state/classes/$4" ] && exit ;;
esac

{
  printf '%s' "$command"
  printf ' %s' "$@"
  echo
} >>"$state/calls"
echo "this is $command"
[ "${FAKE_FAILURE-}" != "$command" ] || exit 3

case $command in
  cimprovider) rm "$state/modules/$3" ;;
  cimcli) rm "$state/classes/$4" ;;
  cimmof)
    [ "$1" != -uc ] || shift
    shift 2
    compile "$@"
    ;;
  sfcbrepos) rm -rf "$state/repository" && cp -r "$state/stage" "$state/repository" ;;
  sfcbstage | sfcbunstage)
    stage=$2
    registration=$6
    shift 6
    if [ "$command" = sfcbstage ]; then
      cp "$registration" "$stage/regs/"
      cp "$@" "$stage/mofs/"
    else
      rm "$stage/regs/$(basename "$registration")"
      unstage "$@"
    fi
    ;;
esac
