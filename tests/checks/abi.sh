#!/usr/bin/env bash
# Compares libraries with what programs were built against: exported functions, records, and the order of operations.
#   abi.sh HEADERS BASELINES LIBRARY...            exits 1 on a difference; additions of functions are none
#   abi.sh --update HEADERS BASELINES LIBRARY...   takes the libraries as they are for the new baselines
# 77, which skips the test, without abigail-tools. docs/packages.md says what to do about a difference.
set -euo pipefail
update=false
if [ "$1" = --update ]; then
  update=true
  shift
fi
headers=$1
baselines=$2
shift 2
command -v abidw >/dev/null || { echo "there is no abidw (scripts/install_deps.sh package)"; exit 77; }

# Leaves out what is not declared in the headers, and what is the standard library's.
describe() {
  abidw --no-show-locs --no-corpus-path --no-comp-dir-path --no-parameter-names --no-elf-needed \
    --drop-undefined-syms --exported-interfaces-only --headers-dir "$headers" --drop-private-types \
    --suppressions "$baselines/suppressions.ini" "$1"
}

baseline_of() {
  local name=${1##*/}
  echo "$baselines/${name%%.so*}.xml"
}

# A type that no baseline knows is one whose changes nobody would see.
check_completeness() {
  local name missing=0
  while read -r name; do
    grep -q " name='$name'" "$baselines"/*.xml && continue
    echo "$name is not used in $baselines/interfaces.cpp"
    missing=1
  done < <(grep -rhoE '^((class|struct) (QV_[A-Z]+_API )?|enum (class )?)[ISE]Qv[A-Za-z]+' "$headers" | sed 's/.* //')
  return $missing
}

if $update; then
  for library in "$@"; do describe "$library" >"$(baseline_of "$library")"; done
  check_completeness
  exit
fi

now=$(mktemp)
trap 'rm -f "$now"' EXIT
status=0
for library in "$@"; do
  describe "$library" >"$now"
  report=$(abidiff --no-added-syms --no-show-locs "$(baseline_of "$library")" "$now") || {
    echo "$library is not what programs were built against:"
    echo "$report"
    status=1
  }
done
check_completeness || status=1
[ $status -ne 0 ] || echo "Interfaces, records and exported functions are what programs were built against."
exit $status
