# Completion of pcicim for bash. Commands, options and choices come from the program's own help, and
# classes from `pcicim classes`, so that they are those of the program that is installed.

# The words of a help text's first column of options, such as --format.
_pcicim_options() {
  "$@" --help 2>/dev/null | sed -nE 's/^  ((-[a-z],)?--[a-z-]+|-[a-z]).*/\1/p' | tr ',' '\n'
}

_pcicim_commands() {
  "$1" --help 2>/dev/null | sed -nE '/^Subcommands:/,$ s/^  ([a-z][a-z-]*) .*/\1/p'
}

# What may follow an option, from "--format TEXT:{text,json}" of a help text.
_pcicim_choices() {
  local option="$1"
  shift
  "$@" --help 2>/dev/null |
    sed -nE "s/^  (.*,)?${option}(,[^ ]*)? [A-Z]*:\{([^}]*)\}.*/\3/p" | tr ',' '\n'
}

_pcicim_classes() {
  "$1" classes 2>/dev/null | sed -nE 's/^([A-Za-z]+_[A-Za-z]+) : .*/\1/p'
}

_pcicim() {
  local current="${COMP_WORDS[COMP_CWORD]}" before="${COMP_WORDS[COMP_CWORD - 1]}"
  local program="${COMP_WORDS[0]}" command="" word at words
  COMPREPLY=()
  for ((at = 1; at < COMP_CWORD; ++at)); do
    word="${COMP_WORDS[at]}"
    case "$word" in
      --inventory | --host-name | --provider | --schema | --color | --url | --password-file | --ca-file)
        ((++at))
        ;;
      -*) ;;
      *)
        command="$word"
        break
        ;;
    esac
  done
  case "$before" in
    --inventory | --provider | --password-file | --ca-file | --tls-certificate | --tls-key)
      compopt -o filenames 2>/dev/null
      mapfile -t COMPREPLY < <(compgen -f -- "$current")
      return
      ;;
    --schema)
      compopt -o filenames 2>/dev/null
      mapfile -t COMPREPLY < <(compgen -d -- "$current")
      return
      ;;
    --result-class | --assoc-class)
      words="$(_pcicim_classes "$program")"
      ;;
    --format | --color)
      words="$(_pcicim_choices "$before" "$program" ${command:+"$command"})"
      [[ -n "$words" ]] || words="$(_pcicim_choices "$before" "$program")"
      ;;
    *)
      if [[ "$current" == -* ]]; then
        words="$(_pcicim_options "$program" ${command:+"$command"}; _pcicim_options "$program")"
      elif [[ -z "$command" || "$command" == help ]]; then
        words="$(_pcicim_commands "$program")"
      elif [[ "$command" == enum ]]; then
        words="$(_pcicim_classes "$program")"
      elif [[ "$command" == picture || "$command" == diff || "$command" == save ]]; then
        compopt -o filenames 2>/dev/null
        mapfile -t COMPREPLY < <(compgen -f -- "$current")
        return
      fi
      ;;
  esac
  mapfile -t COMPREPLY < <(compgen -W "${words:-}" -- "$current" | sort -u)
}

complete -F _pcicim pcicim
