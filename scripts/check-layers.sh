#!/bin/bash
# Checks that each source file includes only from the layers that its own one knows. The rules are
# the table under "Layers" in docs/engineering.md: a file may include headers of its own layer, the
# public headers (below include/) of the layers that its row names under "knows", and none of the
# headers that its row lists as `<header>` under "never knows". An include that the check cannot
# follow fails it too: a macro, a line that goes on in the next, a header in quotes that is no file
# of the project.
# Usage: scripts/check-layers.sh [TREE]     (TREE: the project's directory; this one by default)
set -euo pipefail

tree="${1:-$(dirname "$(realpath "$0")")/..}"
cd "$tree"
rules=docs/engineering.md
[[ -r "$rules" ]] || {
  echo "$rules cannot be read" >&2
  exit 2
}

# Rows of the table as DIRECTORY<TAB>KNOWN...<TAB>FORBIDDEN..., lists separated by blanks.
layers() {
  awk -F'|' '
    function quoted(text, pattern,   list) {
      while (match(text, /`[^`]*`/)) {
        word = substr(text, RSTART + 1, RLENGTH - 2)
        if (word ~ pattern) list = list " " word
        text = substr(text, RSTART + RLENGTH)
      }
      return list
    }
    /^## / { inside = ($0 == "## Layers") }
    inside && /^\| `/ {
      printf "%s\t%s\t%s\n", quoted($2, "/$"), quoted($4, "/$"), quoted($5, "^<.*>$")
    }' "$rules"
}

sources() {
  find tools manager providers platform -regextype posix-extended -type f \
    -regex '.*[.](h|hh|hpp|hxx|c|cc|cpp|cxx|inc|inl|ipp|tcc|def)' | sort
}

check() {
  awk -F'\t' '
    function trouble(text) { print text; failed = 1 }
    function known(layer, other) { return index(" " knows[layer] " ", " " other " ") > 0 }
    # The layer with the longest directory that holds the file; empty where none does.
    function layerOf(file,   best, name) {
      best = ""
      for (name in knows) {
        if (index(file, name) == 1 && length(name) > length(best)) best = name
      }
      return best
    }
    function normalised(path) {
      while (sub(/[^\/]+\/\.\.\//, "", path)) {}
      return path
    }
    # The file that an include means; empty for one from outside the project.
    function target(file, layer, name,   beside) {
      beside = file
      sub(/[^\/]*$/, "", beside)
      beside = normalised(beside name)
      if (beside in isFile) return beside
      if ((layer, name) in own) return own[layer, name]
      if (name in public) return public[name]
      return name in private ? private[name] : ""
    }
    function checkInclude(file, line, layer, name, quoted,   meant, other, count, words, i) {
      # A way up from anywhere but the file itself depends on the directories that are searched.
      meant = name ~ /^\/|[^.\/]\/\.\.\// || (!quoted && name ~ /\.\.\//) ? "" : target(file, layer, name)
      if (meant == "") {
        if (quoted || name ~ /^\/|\.\.\//) {
          trouble(file ":" line ": " name " is no header of the project by that path")
        }
        count = split(forbidden[layer], words, " ")
        for (i = 1; i <= count; ++i) {
          if (index("<" name ">", substr(words[i], 1, length(words[i]) - 1)) == 1) {
            trouble(file ":" line ": " layer " never knows " words[i] ", but includes " name)
          }
        }
        return
      }
      other = layerOf(meant)
      if (other == layer) return
      if (!known(layer, other)) {
        trouble(file ":" line ": " layer " does not know " other ", but includes " name)
      } else if (meant !~ /\/include\//) {
        trouble(file ":" line ": " name " is private to " other)
      }
    }
    function checkFile(file, layer,   text, line, status, quoted) {
      line = 0
      while ((status = (getline text < file)) > 0) {
        ++line
        gsub(/\/\*([^*]|\*+[^*\/])*\*+\//, " ", text)
        if (text !~ /^[ \t]*(#|%:)[ \t]*(include|include_next|import)([^a-zA-Z0-9_]|$)/) continue
        if (text !~ /(include|include_next|import)[ \t]*[<"]/) {
          trouble(file ":" line ": an include without a name that can be checked")
          continue
        }
        quoted = text ~ /(include|include_next|import)[ \t]*"/
        sub(/^[^<"]*[<"]/, "", text)
        sub(/[>"].*/, "", text)
        checkInclude(file, line, layer, text, quoted)
      }
      if (status < 0) trouble(file " cannot be read")
      close(file)
    }
    NR == FNR {
      sub(/^ /, "", $1)
      knows[$1] = $2
      forbidden[$1] = $3
      next
    }
    {
      files[++total] = $1
      isFile[$1] = 1
      layer = layerOf($1)
      if (layer == "") next
      name = $1
      if (name ~ /\/include\//) {
        sub(/.*\/include\//, "", name)
        public[name] = $1
      } else {
        name = substr(name, length(layer) + 1)
        sub(/^src\//, "", name)
        private[name] = $1
      }
      own[layer, name] = $1
      holds[layer] = 1
    }
    END {
      for (layer in knows) {
        if (!(layer in holds)) trouble("'"$rules"': " layer " holds no source file")
        count = split(knows[layer], words, " ")
        for (i = 1; i <= count; ++i) {
          if (!(words[i] in knows)) {
            trouble("'"$rules"': " layer " knows " words[i] ", which has no row of its own")
          }
        }
      }
      for (i = 1; i <= total; ++i) {
        layer = layerOf(files[i])
        if (layer == "") {
          trouble(files[i] ": no row of '"$rules"' names its directory")
        } else {
          checkFile(files[i], layer)
        }
      }
      exit failed
    }' <(layers) <(sources)
}

[[ -n "$(layers)" ]] || {
  echo "$rules holds no table of layers" >&2
  exit 2
}
check >&2
