#!/usr/bin/env bash
# Measures what a user of the program waits for beside the making of thumbnails, and prints a table: times from the
# program's start to its end, medians of eleven runs.
#   bench/host.sh [PROGRAM]
#     PROGRAM   qvthumbs; that of the preset bench by default
# Makes 100,000 names of small files and a database of 1,000,000 rows below TMPDIR, 1.6 GB, which takes a minute. Exits
# with 1 when a row falls short.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/../scripts/common.sh"
source "$root/bench/common.sh"

help_or_fail 1 "$@"
program=${1:-$build_root/bench/bin/qvthumbs}
[ $# -eq 1 ] || { "$root/scripts/install_deps.sh" build test bench >&2; logged bench-build build_preset bench >&2; }
rounds=11

work=$(mktemp -d "${TMPDIR:-/tmp}/qv-host.XXXXXX")
trap 'rm -rf "$work"' EXIT

# A folder of 1,000 small pictures, and 99 others of hard links to them, with rows as if all of them had been made.
make_lab() {
  local number
  mkdir -p "$work/lab/plate 0"
  seq 1000 | sed "s|.*|$work/lab/plate 0/well &.jpg|" |
    xargs -d '\n' sh -c 'tee "$@" <"$0" >/dev/null' "$root/docs/examples/cells.jpg"
  for ((number = 1; number < 100; ++number)); do cp -al "$work/lab/plate 0" "$work/lab/plate $number"; done
  "$program" make --db "$work/lab.db" "$work/lab/plate 0" >/dev/null 2>&1
  sqlite3 "$work/lab.db" "PRAGMA synchronous = OFF" "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n
    WHERE i < 99) INSERT INTO cache (filename, lastWritten, flags, quality, binData)
    SELECT replace(filename, 'plate 0/', 'plate ' || i || '/'), lastWritten, flags, quality, binData FROM n, cache" \
    "PRAGMA wal_checkpoint(TRUNCATE)" >/dev/null
}

make_lab
"$root/bench/database.sh" "$work/million.db" 1000000 1000 "$program"
picture="$work/lab/plate 0/well 1.jpg"
print_head
row "make, one file that is done: the start" "" make --db "$work/lab.db" "$picture"
row "make, 100,000 files that are done" 1 make --recursive --db "$work/lab.db" "$work/lab"
grep -q 'already cached 100,000' "$work/out"
row "show, as JPEG" "" show --db "$work/lab.db" "$picture" -o "$work/shown.jpg"
row "show, as PNG" "" show --db "$work/lab.db" "$picture" -o "$work/shown.png"
row "stats, 1,000,000 rows" 0.1 stats --db "$work/million.db"
row "stats --details, 1,000,000 rows" "" stats --details --db "$work/million.db"
exit $status
