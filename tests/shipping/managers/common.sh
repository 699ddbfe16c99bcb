#!/bin/sh
# A part of the stand-ins for the commands of object managers. A test says where they keep their
# state ($FAKE_STATE) and which command fails ($FAKE_FAILURE; $FAKE_STATUS is its status where a
# failure of the real one may go unnoticed).
# shellcheck disable=SC2034 # Variables are for the commands that read it.
command=$(basename "$0")

# note_call WORD...: notes what a manager is asked to change. Commands that only read are not noted.
note_call() {
  {
    printf '%s' "$command"
    printf ' %s' "$@"
    echo
  } >>"$FAKE_STATE/calls"
  echo "this is $command"
}
# What a command says that it has done, and has not: $FAKE_STUBBORN is class, module or removal.
is_stubborn() { [ "${FAKE_STUBBORN-}" = "$1" ]; }
is_to_fail() { [ "${FAKE_FAILURE-}" = "$command" ]; }

# A line of each class in the MOF files: its name and its superclass.
classes_in() {
  cat "$@" | sed -n 's/^class \([A-Za-z_0-9]*\) : \([A-Za-z_0-9]*\).*/\1 \2/p; t
    s/^class \([A-Za-z_0-9]*\).*/\1/p'
}
