#!/usr/bin/env bash
# Checks that every type carries its prefix: C a class, S a plain struct or union, I an interface, E an enumeration.
#   names.sh SOURCE_FOLDER
# Looks at what is defined in namespaces and classes, not at what is local to a function. Prints every breach as
# file:line: message and exits 1 when there is one. GoogleTest's fixtures end in Test instead, because the fixture's name
# is the suite's.
set -uo pipefail
export LC_ALL=C
cd "$1" || exit 2

# Names that others demand, each with who does.
allowed='
  hash        the standard library, of what goes into unordered containers
  formatter   fmt, of what it is to print
  Tm          include/system/qvdatetime.h, which promises it
'
allowed_names=$(awk 'NF { printf "%s ", $1 }' <<<"$allowed")

find include gnr_thumbnailcache platform host python tools tests fuzz bench -type f \
  \( -name '*.h' -o -name '*.cpp' -o -name '*.inc' \) -print0 | sort -z |
  xargs -0 awk -v allowed=" $allowed_names" '
  # A statement is what stands between two of ; { }. Its tokens are collected until one of these ends it.
  function begin_file() {
    depth = 0; hidden = 0; tokens = 0; in_comment = 0; raw_end = ""; in_directive = 0
  }
  FNR == 1 { begin_file() }
  { read_line($0) }
  END {
    if (breaches) print breaches " breaches"
    exit breaches > 0
  }

  function read_line(text,   at, word) {
    if (in_directive || (!in_comment && raw_end == "" && text ~ /^[ \t]*#/)) {
      in_directive = text ~ /\\$/
      return
    }
    while (text != "") {
      if (in_comment) {
        at = index(text, "*/")
        if (!at) return
        in_comment = 0
        text = substr(text, at + 2)
      } else if (raw_end != "") {
        at = index(text, raw_end)
        if (!at) return
        text = substr(text, at + length(raw_end))
        raw_end = ""
      } else if (text ~ /^\/\//) {
        return
      } else if (text ~ /^\/\*/) {
        in_comment = 1
        text = substr(text, 3)
      } else if (match(text, /^(u8|[uUL])?R"[^(]*\(/)) {
        word = substr(text, 1, RLENGTH)
        text = substr(text, RLENGTH + 1)
        sub(/^[^"]*"/, "", word)
        raw_end = ")" substr(word, 1, length(word) - 1) "\""
      } else if (match(text, /^"([^"\\]|\\.)*"/) || match(text, /^\x27([^\x27\\]|\\.)*\x27/) || match(text, /^[0-9][0-9a-zA-Z_.\x27]*/)) {
        add("\"")
        text = substr(text, RLENGTH + 1)
      } else if (match(text, /^[A-Za-z_][A-Za-z_0-9]*/) || match(text, /^::/) || match(text, /^[^ \t]/)) {
        add(substr(text, 1, RLENGTH))
        text = substr(text, RLENGTH + 1)
      } else {
        text = substr(text, 2)
      }
    }
  }

  function add(word) {
    if (word == "{") open_scope()
    else if (word == "}") close_scope()
    else if (word == ";") tokens = 0
    else { token[++tokens] = word; line[tokens] = FNR }
  }

  # Counts in `hidden` the scopes that are neither of a namespace nor of a class.
  function open_scope(   kind) {
    kind = kind_of_statement()
    scope[++depth] = kind
    hidden += kind == "other"
    tokens = 0
  }
  function close_scope() {
    if (depth > 0) hidden -= scope[depth--] == "other"
    tokens = 0
  }

  function kind_of_statement(   i) {
    for (i = 1; i <= tokens; ++i) {
      if (token[i] == "template") i = behind_angles(i + 1)
      if (token[i] == "namespace" || (token[i] == "extern" && i == tokens - 1)) return "named"
      if (token[i] ~ /^(class|struct|union|enum)$/) return kind_of_type(i)
      if (token[i] == "(" || token[i] == "=") return "other"
    }
    return "other"
  }
  function behind_angles(i,   level) {
    for (; i <= tokens; ++i) {
      level += (token[i] == "<") - (token[i] == ">")
      if (level == 0) return i + 1
    }
    return i
  }
  function behind_parentheses(i,   level) {
    for (; i <= tokens; ++i) {
      level += (token[i] == "(") - (token[i] == ")")
      if (level == 0) return i
    }
    return i
  }

  # What follows the key word at `first`: attributes and macros, the name, then perhaps arguments, final and bases.
  function kind_of_type(first,   i, name, where, bases, key) {
    key = token[first]
    for (i = first + 1; i <= tokens; ++i) {
      if (token[i] ~ /^(class|struct)$/ && key == "enum" || token[i] == "final" || token[i] ~ /^[][]$|^::$/) continue
      if (token[i] == "alignas" || token[i] == "__attribute__") i = behind_parentheses(i + 1)
      else if (token[i] == ":") { bases = 1; break }
      else if (token[i] == "<") i = behind_angles(i) - 1
      else if (token[i] ~ /^[A-Za-z_]/) { name = token[i]; where = line[i] }
      else return "other"
    }
    if (hidden == 0 && name != "") check_name(key, name, where, bases)
    return key == "enum" ? "other" : "named"
  }

  function check_name(key, name, where, bases,   prefix) {
    prefix = key == "enum" ? "E" : "[CSI]"
    if (name ~ "^" prefix "[A-Z]" || index(allowed, " " name " ")) return
    if (FILENAME ~ /^tests\// && key == "class" && bases && name ~ /Test$/) return
    printf "%s:%d: %s %s begins with none of %s\n", FILENAME, where, key, name, key == "enum" ? "E" : "C, S, I"
    ++breaches
  }
' || exit 1
echo "Every type carries its prefix."
