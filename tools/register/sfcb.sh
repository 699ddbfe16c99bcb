#!/bin/sh
# A part of pciprovider-register: sfcb.
# shellcheck disable=SC2154 # The script that reads it has the other variables.

check_sfcb() {
  need sfcbrepos sfcbunstage
  [ "$action" = remove ] || need sfcbstage
  [ -z "$sfcb_config" ] || need_file "$sfcb_config"
  config=${sfcb_config:-$(usual_sfcb_config)}
  staging=$(find_staging)
  staged_classes=$staging/mofs/root/cimv2
  registration=$(find_registration)
  [ "$action" = remove ] || check_standard_schema
}

# --- Where things are

# The prefix of its installation.
sfcb_prefix() {
  # Without sfcb the help still has to name something.
  dirname "$(dirname "$(readlink -f "$(command -v sfcbrepos || echo /usr/bin/sfcbrepos)")")"
}
usual_sfcb_config() {
  if [ -e "$(sfcb_prefix)/etc/sfcb/sfcb.cfg" ]; then
    echo "$(sfcb_prefix)/etc/sfcb/sfcb.cfg"
  else
    echo /etc/sfcb/sfcb.cfg
  fi
}

# setting NAME: its value in the configuration.
setting() {
  [ ! -r "$config" ] || sed -n "s/^[[:space:]]*$1:[[:space:]]*//p" "$config"
}
search_directories_of_sfcb() { setting providerDirs | tr -s '[:blank:]' '[\n*]'; }

# default_in COMMAND END: the first absolute path with that end in the text of the command, which is
# a script with its default directories written into it.
default_in() {
  tr '[:blank:]"'\''`=;()[]<>|&' '[\n*]' <"$(command -v "$1")" | sed -n "\\|^/.*$2\$|{p;q;}"
}
# first_there DIRECTORY...: the first that exists; nothing without one.
first_there() {
  for candidate in "$@"; do
    if [ -d "$candidate" ]; then
      printf '%s\n' "$candidate"
      return 0
    fi
  done
}

find_staging() {
  found=${sfcb_staging:-$(default_in sfcbunstage /lib/sfcb/stage)}
  [ -n "$found" ] || found=$(first_there "$(sfcb_prefix)/var/lib/sfcb/stage" /var/lib/sfcb/stage)
  [ -n "$found" ] || fail "sfcb: cannot tell where its staging directory is; --sfcb-staging says it"
  printf '%s\n' "$found"
}
# Holds repository/ and the file providerRegister.
find_registration() {
  found=$(default_in sfcbrepos /lib/sfcb/registration)
  [ -n "$found" ] || found=$(setting registrationDir)
  printf '%s\n' "${found:-$(dirname "$staging")/registration}"
}
find_schema() {
  found=${sfcb_schema:-$(default_in sfcbrepos /sfcb/CIM)}
  [ -n "$found" ] || found=$(first_there "$(sfcb_prefix)/share/sfcb/CIM" /usr/share/sfcb/CIM)
  [ -d "$found" ] || fail "sfcb: the standard schema is not in ${found:-its usual places}; \
--sfcb-schema says where it is"
  printf '%s\n' "$found"
}

# --- The standard schema

# A compilation that fails costs every provider its classes, so it must not be tried in vain.
check_standard_schema() {
  schema=$(find_schema)
  standard_classes=$(classes_below "$schema" "$staged_classes")
  check_superclasses "$schema" is_standard_class
}
classes_below() {
  find -L "$@" -name '*.mof' -exec \
    sed -n 's/^[[:space:]]*[Cc][Ll][Aa][Ss][Ss][[:space:]]\{1,\}\([A-Za-z_0-9]*\).*/\1/p' {} + \
    2>/dev/null || true
}
is_standard_class() { printf '%s\n' "$standard_classes" | grep -qix "$1"; }

# --- Staging

stage() {
  with_mof_files "$1" attempt sfcbstage ${sfcb_staging:+-s "$sfcb_staging"} -n root/cimv2 \
    -r "$data_dir/registration/$1.reg"
}

# sfcbunstage deletes the files that it is given, their names as seen from its staging directory.
unstage() {
  with_mof_files "$1" with_bare_names attempt sfcbunstage \
    ${sfcb_staging:+-s "$sfcb_staging"} -n root/cimv2 -r "$1.reg"
}
# with_bare_names COMMAND...: the command with MOF files among its words without their directories.
with_bare_names() {
  for word in "$@"; do
    case $word in
      *.mof) set -- "$@" "$(basename "$word")" ;;
      *) set -- "$@" "$word" ;;
    esac
    shift
  done
  "$@"
}
unstage_all() {
  for set in $(sets); do
    unstage "$set" || true
  done
}

print_each() { printf '%s\n' "$@"; }
staged_files() {
  for set in $(sets); do
    print_each "$staging/regs/$set.reg"
    with_mof_files "$set" print_each | sed 's|.*/||' | while IFS= read -r name; do
      print_each "$staged_classes/$name"
    done
  done | while IFS= read -r file; do
    [ ! -e "$file" ] || print_each "$file"
  done
}
all_classes() {
  for set in $(sets); do
    classes_of "$set"
  done
}
# Those that the manager has a provider for.
registered_classes() {
  [ -r "$registration/providerRegister" ] || return 0
  for class in $(all_classes); do
    ! grep -q "^\[$class\]" "$registration/providerRegister" || print_each "$class"
  done
}

# --- The repository

# All namespaces are below root.
has_namespaces() { [ -d "$1/root" ]; }
# The inode number: it differs between a directory and another that got its name.
# shellcheck disable=SC2012 # find prints no inode number everywhere
number_of() { ls -di "$1" 2>/dev/null | awk '{ print $1 }'; }

# sfcbrepos moves the repository aside, compiles all of it anew, and leaves no namespace where that
# fails.
rebuild() {
  repository=$registration/repository
  if ! has_namespaces "$repository" && has_namespaces "$repository.previous"; then
    note "sfcb: $repository has no namespaces, as a compilation that fails leaves it; the one \
before it is put back first"
    put_previous_back
  fi
  number=$(number_of "$repository")
  register=$(cat "$registration/providerRegister" 2>/dev/null) || true
  if attempt sfcbrepos -f ${sfcb_staging:+-s "$sfcb_staging"} ${sfcb_schema:+-c "$sfcb_schema"} &&
    { [ "$dry_run" = yes ] || has_namespaces "$repository"; }; then
    return 0
  fi
  undo_rebuild
  return 1
}

put_previous_back() {
  attempt rm -rf "$repository" && attempt mv "$repository.previous" "$repository"
}
undo_rebuild() {
  # An older repository may have that name where sfcbrepos stopped before it moved anything.
  if [ -n "$number" ] && [ "$(number_of "$repository.previous")" = "$number" ] &&
    put_previous_back; then
    note "sfcb: the repository is as it was before"
  elif [ "$(number_of "$repository")" != "$number" ]; then
    note "sfcb: $repository is no longer what it was; run sfcbrepos when its errors are mended"
  fi
  [ -z "$register" ] || printf '%s\n' "$register" >"$registration/providerRegister"
}

# --- To register, and the way back

register_sfcb() {
  for set in $(sets); do
    stage "$set" || give_up "sfcbstage failed"
  done
  rebuild || give_up "sfcbrepos failed"
  [ "$dry_run" = no ] || return 0
  verify_sfcb
  note "sfcb: restart sfcbd for it to take effect"
}
give_up() {
  unstage_all
  fail "$1; what was staged is taken back"
}

verify_sfcb() {
  for set in $(sets); do
    [ -e "$staging/regs/$set.reg" ] || fail "sfcb: sfcbstage put nothing into $staging; \
--sfcb-staging says where"
  done
  registered=" $(registered_classes | tr '\n' ' ')"
  for class in $(all_classes); do
    case $registered in
      *" $class "*) ;;
      *) fail "sfcb: $registration/providerRegister lacks $class after its registration" ;;
    esac
  done
  note "sfcb: each class is registered in $registration/providerRegister"
}

remove_sfcb() {
  if [ -z "$(staged_files)$(registered_classes)" ]; then
    note "sfcb: nothing to remove in $staging and $registration"
    return 0
  fi
  for set in $(sets); do
    unstage "$set" || fail "sfcbunstage failed; $mended_by"
  done
  [ "$dry_run" = yes ] || [ -z "$(staged_files)" ] ||
    fail "sfcb: still staged: $(staged_files | tr '\n' ' ')"
  rebuild || fail "sfcbrepos failed; $mended_by when its errors are mended"
  [ "$dry_run" = no ] || return 0
  [ -z "$(registered_classes)" ] ||
    fail "sfcb: still in $registration/providerRegister: $(registered_classes | tr '\n' ' ')"
  note "sfcb: nothing of the provider is left; restart sfcbd for it to take effect"
}
