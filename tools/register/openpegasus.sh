#!/bin/sh
# A part of pciprovider-register: OpenPegasus.
# shellcheck disable=SC2154 # The script that reads it has the other variables.

check_openpegasus() {
  need cimprovider
  # Without the server every question below would look answered with no.
  cimprovider -l >/dev/null || fail "openpegasus: cimprovider cannot list the providers; is \
cimserver running?"
  [ "$action" = register ] || return 0
  need cimmof
  check_interop_namespace
  ! has cimcli || check_superclasses root/cimv2 has_class root/cimv2
}

# The compiler creates a namespace that it does not find.
check_interop_namespace() {
  if has cimcli; then
    has_class "$interop_namespace" PG_ProviderModule || fail "openpegasus: $interop_namespace is \
not the namespace of its registrations, since it has no class PG_ProviderModule; give the right \
one with --interop-namespace (root/PG_InterOp or root/interop); nothing was changed"
  elif [ "$interop_namespace" != root/PG_InterOp ]; then
    fail "openpegasus: without its command cimcli it cannot be told whether $interop_namespace is \
the namespace of its registrations; nothing was changed"
  fi
}

search_directories_of_openpegasus() {
  has cimconfig || return 0
  { cimconfig -g providerDir -c || cimconfig -g providerDir -p; } | sed 's/^[^:]*: *//' |
    tr ':' '\n'
}

# --- What is registered

is_registered() { cimprovider -l 2>/dev/null | grep -q "^$(module_of "$1")[[:space:]]*\$"; }
status_of_module() { cimprovider -l -s 2>/dev/null | sed -n "s/^$1[[:space:]]\{1,\}//p"; }
class_text() { cimcli gc -n "$1" "$2" 2>/dev/null; }
# has_class NAMESPACE CLASS
has_class() { class_text "$1" "$2" | grep -Eq "class $2([^A-Za-z_0-9]|\$)"; }

# --- To register

# compile FILE OPTION...: one file in a call, since the status is that of the last one.
compile() {
  mof=$1
  shift
  print_command cimmof "$@" "$mof"
  [ "$dry_run" = no ] || return 0
  status=0
  messages=$(cimmof "$@" "$mof" 2>&1) || status=$?
  [ -z "$messages" ] || printf '%s\n' "$messages" >&2
  [ "$status" -eq 0 ] || fail "cimmof failed on $mof; what was done before it stays, and $mended_by"
  # What it leaves out is a warning to it, and no failure.
  case $messages in
    *'already exist'* | *'not added'* | *'not updated'* | *'not allowed'*)
      fail "cimmof left out something of $mof, see its warning; what was done before it stays, \
and $mended_by"
      ;;
  esac
}

# Replaced whatever the version is that is there.
compile_classes() {
  for file in "$@"; do
    compile "$file" -uc -aV -n root/cimv2
  done
}

deregister_openpegasus() {
  if is_registered "$1"; then
    run cimprovider -r -m "$(module_of "$1")"
  fi
}

register_openpegasus() {
  for set in $(sets); do
    with_mof_files "$set" compile_classes
    # An older registration would stay as it is otherwise.
    deregister_openpegasus "$set"
    compile "$data_dir/registration/$set.mof" -n "$interop_namespace"
  done
  [ "$dry_run" = no ] || return 0
  for set in $(sets); do
    verify_openpegasus "$set"
  done
}

# --- What came of it

verify_openpegasus() {
  module=$(module_of "$1")
  state=$(status_of_module "$module")
  case " $state " in
    *' OK '*) ;;
    *) fail "openpegasus: the module $module is ${state:-not listed} after its registration" ;;
  esac
  providers=$(cimprovider -l -m "$module")
  for class in $(classes_of "$1"); do
    printf '%s\n' "$providers" | grep -q "^${class}[[:space:]]*\$" ||
      fail "openpegasus: the module $module lacks the provider $class after its registration"
    ! has cimcli || verify_class "$1" "$class"
  done
  has cimcli || note "openpegasus: without its command cimcli the classes are not read back"
  note "openpegasus: the module $module is registered and OK, with each of its classes"
  first_request "$(first_class_of "$1")"
}

# The declaration of the class among MOF texts, qualifiers and all.
declaration_of() {
  # shellcheck disable=SC2016 # awk's own variables
  with_mof_files "$1" awk -v name="$2" '
    /^\[/ { text = "" }
    { text = text $0 "\n" }
    /^class / { found = $2 == name }
    /^};/ && found { printf "%s", text; exit }'
}
properties_in() {
  sed -n '/^  [A-Za-z]/ { s/^ *[A-Za-z_0-9]* //; s/^REF //; s/[^A-Za-z_0-9].*//p; }'
}
# However the declaration is laid out.
version_in() { tr -d '[:space:]' | sed -n 's/.*[[,]Version("\([^"]*\)").*/\1/p'; }

# verify_class SET CLASS: the repository has the class as the MOF file declares it.
verify_class() {
  ours=$(declaration_of "$1" "$2")
  theirs=$(class_text root/cimv2 "$2") || fail "openpegasus: root/cimv2 has no class $2 after \
its compilation"
  version=$(printf '%s\n' "$theirs" | version_in)
  [ -z "$version" ] || [ "$version" = "$(printf '%s\n' "$ours" | version_in)" ] ||
    fail "openpegasus: root/cimv2 still has $2 of version $version"
  words=" $(printf '%s\n' "$theirs" | tr -cs 'A-Za-z0-9_' ' ') "
  for property in $(printf '%s\n' "$ours" | properties_in); do
    case $words in
      *" $property "*) ;;
      *) fail "openpegasus: root/cimv2 still has another $2, without $property" ;;
    esac
  done
}

# The first request loads the library.
first_request() {
  if has cimcli; then
    answer=$(cimcli ni -n root/cimv2 "$1" 2>&1) || refused_request "$1"
  elif has wbemcli; then
    answer=$(wbemcli ein "http://localhost:5988/root/cimv2:$1" 2>&1) || unanswered_request "$1"
  else
    note "openpegasus: neither cimcli nor wbemcli is there for a first request"
    return 0
  fi
  note "openpegasus: $1 has $(printf '%s\n' "$answer" | grep -c "$1\\.") instances"
}
refused_request() {
  printf '%s\n' "$answer" >&2
  fail "openpegasus: the first request, for $1, failed; its log and that of the provider say why"
}
# wbemcli may be refused, or find no HTTP server, however well the provider is.
unanswered_request() {
  case $answer in
    *CIM_ERR_*) refused_request "$1" ;;
  esac
  printf '%s\n' "$answer" >&2
  note "openpegasus: wbemcli got no answer for a first request"
}

# --- The way back

remove_openpegasus() {
  has cimcli || note "openpegasus: without its command cimcli the classes stay in root/cimv2"
  for set in $(sets); do
    deregister_openpegasus "$set"
    ! has cimcli || remove_classes "$set"
  done
  [ "$dry_run" = no ] || return 0
  for set in $(sets); do
    verify_removed "$set"
  done
}

remove_classes() {
  for class in $(classes_of "$1"); do
    if has_class root/cimv2 "$class"; then
      run cimcli dc -n root/cimv2 "$class"
    fi
  done
}

verify_removed() {
  ! is_registered "$1" || fail "openpegasus: the module $(module_of "$1") is still there"
  for class in $(classes_of "$1"); do
    ! has_class root/cimv2 "$class" || fail "openpegasus: root/cimv2 still has the class $class"
  done
}
