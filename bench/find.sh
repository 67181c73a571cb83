#!/usr/bin/env bash
# Measures finding among 1,000,000 pictures, and prints a table: times from the program's start to its end; of searches
# medians of eleven runs, each writing its answer as names.
#   bench/find.sh [PROGRAM]
#     PROGRAM   qvthumbs; that of the preset bench by default
# Makes a database of 1,000,000 rows with texts, 100,000 of them in the history, and its index below TMPDIR, 3 GB, and
# removes them. Exits with 1 when a row falls short.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/../scripts/common.sh"
source "$root/bench/common.sh"

help_or_fail 1 "$@"
program=${1:-$build_root/bench/bin/qvthumbs}
[ $# -eq 1 ] || { "$root/scripts/install_deps.sh" build test bench >&2; logged bench-build build_preset bench >&2; }
rounds=11

work=$(mktemp -d "${TMPDIR:-/tmp}/qv-find.XXXXXX")
trap 'rm -rf "$work"' EXIT
db=$work/million.db

add_texts() {
  sqlite3 "$db" "PRAGMA synchronous = OFF" "BEGIN" "
    UPDATE metadata SET M_width = 2048, M_height = 2048, M_comp = 1, M_calibration = 0.065 * (1 + rowid % 8),
      M_fileSize = 1000000 + rowid * 37 % 900000000, M_acqTime = 2455000 + rowid / 300.0,
      M_zLoop = CASE WHEN rowid % 10 = 0 THEN rowid / 10 % 60 ELSE 0 END, M_lambdaLoop = rowid % 4,
      M_timeLoop = CASE WHEN rowid % 50 = 0 THEN rowid % 977 ELSE 0 END,
      M_objective = CASE rowid % 4 WHEN 0 THEN 'Plan Apo λ 60x Oil' WHEN 1 THEN 'Plan Apo 20x' WHEN 2 THEN 'S Fluor 40x'
        ELSE 'Plan 10x' END,
      M_description = 'HeLa cells, DAPI and GFP, treated with compound ' || (rowid * 7919 % 5003) || ' at ' ||
        (rowid % 97) || ' nm', M_author = 'Anna Müller', M_sampleID = 'sample ' || (rowid / 96),
      M_info1 = 'DAPI' || char(10) || 'GFP'" "
    INSERT INTO history SELECT filename, CASE rowid % 3 WHEN 0 THEN 'anna' WHEN 1 THEN 'bert' ELSE 'cyril' END, M_acqTime,
      0 FROM metadata WHERE rowid % 10 = 0" "COMMIT" "PRAGMA wal_checkpoint(TRUNCATE)" >/dev/null
}

# Files that were written anew, as the service does it.
change_rows() {
  sqlite3 "$db" "BEGIN IMMEDIATE" "CREATE TEMP TABLE old AS SELECT * FROM metadata WHERE rowid % 997 = $1 LIMIT 1000" "
    DELETE FROM metadata WHERE filename IN (SELECT filename FROM old)" "
    UPDATE old SET lastWritten = lastWritten + 1, M_conclusion = 'looked at again'" "
    INSERT INTO metadata SELECT * FROM old" "COMMIT" "PRAGMA wal_checkpoint(TRUNCATE)" >/dev/null
}

# search NAME LIMIT ARGUMENT...: the number of pictures stands behind the name.
search() {
  local name=$1 limit=$2 count
  shift 2
  count=$("$program" find --db "$db" -0 "$@" | tr -dc '\0' | wc -c)
  row "$name: $count" "$limit" find --db "$db" -0 "$@"
}

"$root/bench/database.sh" "$db" 1000000 1000 "$program"
add_texts
print_head
print_row "first index" "" "$(seconds_of find --db "$db" -0 'no such word')"
row "nothing new, no such word" 0.1 find --db "$db" -0 'no such word'
change_rows 5
print_row "1,000 changed rows" "" "$(seconds_of find --db "$db" -0 'no such word')"
search "one word, a number" 0.1 004711
search "one word, part of another" 0.1 'compound 4711'
search "two words" 0.1 position '004711'
search "three words" 0.1 apo 'compound 12 ' 'position 07'
search "three words, a hundredth of all" 0.1 hela 40x 'position 17'
search "a word and a range" 0.1 'compound 12' --z 40..50
search "a range" 0.1 --t 900.. --z 30..
search "an objective, pixel sizes and a time" 0.1 --objective 60x --pixel-size 0.06..0.1 --since 2010-01-01 --until 2010-02-01
search "a user and a range" 0.1 --user anna --z 59..
search "a folder" 0.1 --under '/data/lab/plate 004711'
search "one word of two letters" 0.1 9q
search "a tenth of all" 0.1 'position 0'
echo
echo "The index takes $(du -h --apparent-size "$db.find" | cut -f1), the database $(du -h --apparent-size "$db" | cut -f1)."
exit $status
