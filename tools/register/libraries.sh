#!/bin/sh
# A part of pciprovider-register: the libraries, where the manager finds them.
# shellcheck disable=SC2154 # The script that reads it has the other variables.

# The libraries that the loader does not find for the one at this path, on one line.
missing_for() {
  has ldd || return 0
  (
    # An object manager is not started with this shell's own search path.
    unset LD_LIBRARY_PATH
    ldd "$1" 2>&1
  ) | sed -n 's/^[[:space:]]*\([^ ]*\) => not found.*/\1/p' | sort -u | tr '\n' ' '
}

# check_loads LIBRARY ADVICE
check_loads() {
  missing=$(missing_for "$1")
  [ -z "$missing" ] || fail "$1 cannot be loaded, since ${missing}cannot be found from there; $2"
}

check_libraries() {
  for set in $(sets); do
    need_file "$provider_dir/$(library_of "$set")"
    check_loads "$provider_dir/$(library_of "$set")" "install the platform libraries as well"
  done
}

# --- Directories that a manager searches

# One in a line; nothing where they cannot be known.
search_directories() {
  "search_directories_of_$manager" 2>/dev/null | sed '/^$/d'
}

# A searched directory that holds the library, or will when it is linked.
directory_with() {
  search_directories | while IFS= read -r directory; do
    case $directory in
      /*) ;;
      # Relative to a place that only the manager knows.
      *) continue ;;
    esac
    if [ -e "$directory/$1" ] || is_link_directory "$directory"; then
      printf '%s\n' "$directory"
      break
    fi
  done
}

check_search_path() {
  wanted=${link_directory:-$provider_dir}
  for set in $(sets); do
    library=$(library_of "$set")
    holder=$(directory_with "$library")
    if [ -z "$holder" ]; then
      tell_search_path "$library"
    elif ! is_link_directory "$holder"; then
      check_loads "$holder/$library" "use --link-into $holder"
    fi
  done
}

tell_search_path() {
  directories=$(search_directories)
  if [ -z "$directories" ] || printf '%s\n' "$directories" | grep -q '^[^/]'; then
    note "$manager: cannot tell where it looks for $1; make sure that it looks into $wanted, or \
use --link-into"
  else
    fail "$manager does not find $1: it looks into $(printf '%s' "$directories" | tr '\n' ' '); \
add $wanted to its configuration, or use --link-into"
  fi
}

# --- Links

is_same_file() { [ "$(readlink -f "$1")" = "$(readlink -f "$2")" ]; }
is_link_directory() { [ -n "$link_directory" ] && is_same_file "$1" "$link_directory"; }

provider_libraries() {
  for set in $(sets); do
    printf '%s\n' "$provider_dir/$(library_of "$set")"
  done
}
# A provider that was opened through a link looks beside the link for the platform libraries. Where
# they are not in their place the loader knows them by itself: check_libraries has seen that.
platform_libraries() {
  for library in libzelcppc.so.1 libqarctl.so.1; do
    [ ! -e "$platform_dir/$library" ] || printf '%s\n' "$platform_dir/$library"
  done
}

# for_links LIST COMMAND: the command with each library of the list and the link to it.
for_links() {
  [ -n "$link_directory" ] || return 0
  "$1" | while IFS= read -r target; do
    is_same_file "$(dirname "$target")" "$link_directory" ||
      "$2" "$target" "$link_directory/$(basename "$target")"
  done || exit 1
}

check_link() {
  if ! is_same_file "$2" "$1" && { [ -e "$2" ] || [ -L "$2" ]; }; then
    fail "$2 is there already and is not a link to $1"
  fi
}
check_links() {
  [ -z "$link_directory" ] || [ -d "$link_directory" ] || fail "$link_directory is no directory"
  for_links provider_libraries check_link
  for_links platform_libraries check_link
}

make_link() { is_same_file "$2" "$1" || run ln -s "$1" "$2"; }
check_linked() {
  [ "$dry_run" = no ] || return 0
  missing=$(missing_for "$2")
  [ -z "$missing" ] || {
    unlink_libraries
    fail "$2 could not be loaded, since ${missing}cannot be found from there; add $provider_dir \
to the configuration of the manager instead"
  }
}
link_libraries() {
  for_links platform_libraries make_link
  for_links provider_libraries make_link
  for_links provider_libraries check_linked
}

remove_link() {
  if [ -L "$2" ] && is_same_file "$2" "$1"; then
    run rm "$2"
  fi
}
unlink_libraries() {
  for_links provider_libraries remove_link
  # The companion stays, with what it needs, until it is named.
  if [ "$host_system" = yes ] || ! is_same_file "$link_directory/libhostsystemprovider.so" \
    "$provider_dir/libhostsystemprovider.so"; then
    for_links platform_libraries remove_link
  fi
}
