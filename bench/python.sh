#!/usr/bin/env bash
# Makes the thumbnails of 1,000 pictures from Python and with the program, in turns, and prints a table: times of whole
# processes, from start to end. Python is handed every picture as an array; the program only stores them.
#   bench/python.sh [ROUNDS [BUILD]]
#     ROUNDS    of both; 15 by default
#     BUILD     the folder of a build; that of the preset bench by default
# Files and databases are on /dev/shm. Exits with 1 when the row falls short.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/../scripts/common.sh"

help_or_fail 2 "$@"
rounds=${1:-15} build=${2:-$build_root/bench}
limit=1.1
[ $# -eq 2 ] || { "$root/scripts/install_deps.sh" build test bench >&2; logged bench-build build_preset bench >&2; }
python=$(sed -n 's/^QV_PYTHON:INTERNAL=//p' "$build/CMakeCache.txt")
export PYTHONPATH=$build/python/package

work=$(mktemp -d /dev/shm/qv-python.XXXXXX)
trap 'rm -rf "$work"' EXIT
mkdir "$work/images"
"$build/bin/qvthumbs-samples" --count 120 "$work/samples" >/dev/null
# The same pictures again and again, each under a name of its own, of formats that are read from one file.
find "$work/samples" -type f \( -name '*.jpg' -o -name '*.png' -o -name '*.tif' \) -size +1k -size -4000k |
  LC_ALL=C sort >"$work/kinds"
mapfile -t kinds <"$work/kinds"
for ((i = 0; i < 1000; ++i)); do
  kind=${kinds[i % ${#kinds[@]}]}
  ln "$kind" "$work/images/$i.${kind##*.}"
done
find "$work/images" -type f >"$work/list"

TIMEFORMAT=%R
# Of a fresh database. Pictures that are damaged on purpose fail on both sides.
seconds_of_program() {
  rm -f "$work"/cache.db*
  { time "$build/bin/qvthumbs" make --failures-ok --files-from "$work/list" --db "$work/cache.db" >"$work/out" 2>&1; } 2>&1
}
cat >"$work/make.py" <<'PYTHON'
import sys
import qvthumbs

with qvthumbs.open(sys.argv[1]) as db:
    for path, picture, error in db.iter_thumbnails(sys.stdin.read().splitlines()):
        assert picture is not None or error is not None
PYTHON
seconds_of_python() {
  rm -f "$work"/cache.db*
  { time "$python" "$work/make.py" "$work/cache.db" <"$work/list" >"$work/out" 2>&1; } 2>&1
}
seconds_of_start() {
  { time "$python" -c 'import qvthumbs' >"$work/out" 2>&1; } 2>&1
}

median() { sort -g | awk '{ values[NR] = $1 } END { print (values[int((NR + 1) / 2)] + values[int(NR / 2) + 1]) / 2 }'; }

seconds_of_program >/dev/null
seconds_of_python >/dev/null
for ((round = 0; round < rounds; ++round)); do
  program=$(seconds_of_program)
  module=$(seconds_of_python)
  echo "$module $program $(bc -l <<<"$module / $program") $(seconds_of_start)"
done >"$work/times"
column_median() { cut -d ' ' -f "$1" "$work/times" | median; }
ratio=$(column_median 3)
verdict=PASS
[ "$(bc -l <<<"$ratio <= $limit")" -eq 1 ] || verdict=short
echo "| row | Python | program | measured | limit | |"
echo "|---|---|---|---|---|---|"
LC_ALL=C printf '| 1,000 files | %.2f s | %.2f s | %.3f | at most %s | %s |\n' "$(column_median 1)" \
  "$(column_median 2)" "$ratio" "$limit" "$verdict"
LC_ALL=C printf '| of that, the start of Python and NumPy | %.2f s | | | | |\n' "$(column_median 4)"
[ "$verdict" = PASS ]
