#!/usr/bin/env bash
# Measures merging: shards of 100,000 rows with pictures of 12 kB, one after the other, into one database, and prints for
# each how many rows a second that took, and how many for a second of the processor, so that one sees whether it gets
# slower with the size.
#   bench/merge.sh [ROWS [PROGRAM]]
#     ROWS      of the whole; 1,000,000 by default, which takes 16 GB below TMPDIR
#     PROGRAM   qvthumbs; that of the preset release by default
# Ends with the time that 10,000,000 rows take at the pace of the last shards.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/../scripts/common.sh"

help_or_fail 2 "$@"
rows=${1:-1000000} program=${2:-$build_root/release/bin/qvthumbs}
shard_rows=100000
[ $# -eq 2 ] || { "$root/scripts/install_deps.sh" build bench >&2; logged release-build build_preset release >&2; }

work=$(mktemp -d "${TMPDIR:-/tmp}/qv-merge.XXXXXX")
trap 'rm -rf "$work"' EXIT

# make_shard NUMBER: with folders of 100 files, each of which lies in one shard, as the choice of shards has it.
make_shard() {
  : >"$work/none.txt"
  "$program" make --files-from "$work/none.txt" --shard 1/1 --db "$work/shard.db" >"$work/make.out" 2>&1
  sqlite3 "$work/shard.1-of-1.db" "PRAGMA synchronous = OFF" "WITH RECURSIVE n(i) AS (SELECT 0 UNION ALL SELECT i + 1 FROM n
    WHERE i < $shard_rows - 1), names(name, i) AS (SELECT printf('/data/lab/%08x/position %05d.tif',
    ((i / 100) * 2654435761 + $1 * 40503) % 4294967296, i), i FROM n)
    INSERT INTO cache (filename, lastWritten, flags, quality, binData)
    SELECT name, 2460000.5, 0, 0, randomblob(11000 + i % 2000) FROM names;
    INSERT INTO metadata (filename, lastWritten, M_fileSize) SELECT filename, 1.0, 1000 FROM cache" >/dev/null
}

TIMEFORMAT='%R %U %S'
echo "| rows before | rows a second | for a second of the processor |"
echo "|---|---|---|"
for ((done_rows = 0; done_rows < rows; done_rows += shard_rows)); do
  rm -f "$work"/shard.*
  make_shard $((done_rows / shard_rows))
  read -r wall user system < <({ time "$program" merge "$work/whole.db" "$work/shard.1-of-1.db" &>"$work/merge.out"; } 2>&1)
  pace=$(bc <<<"$shard_rows / $wall")
  echo "| $done_rows | $pace | $(bc <<<"$shard_rows / ($user + $system)") |"
done
[ "$(sqlite3 "$work/whole.db" 'SELECT count(*) FROM cache')" -eq "$rows" ]
echo "10,000,000 rows at this pace: $(bc <<<"10000000 / $pace / 60") minutes"
