#!/usr/bin/env bash
# Makes a large thumbnail database without any pictures: rows of `cache` and `metadata` with random bytes in place of
# JPEG streams, 100 files a folder, and the tables of the bookkeeping.
#   bench/database.sh FILE [ROWS [BYTES [PROGRAM]]]
#     FILE      the database, which must not exist
#     ROWS      1,000,000 by default
#     BYTES     of a picture; 1,000 by default. A real one has about 10,000, and a million of those take 12 GB
#     PROGRAM   qvthumbs, which makes the tables; that of the preset bench by default
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/../scripts/common.sh"

help_or_fail 4 "$@"
file=${1:?which file} rows=${2:-1000000} bytes=${3:-1000} program=${4:-$build_root/bench/bin/qvthumbs}
[ ! -e "$file" ] || { echo "database.sh: $file exists" >&2; exit 2; }

empty=$(mktemp)
trap 'rm -f "$empty"' EXIT
"$program" make --files-from "$empty" --db "$file" >/dev/null 2>&1
sqlite3 "$file" "PRAGMA synchronous = OFF" "BEGIN" "
  WITH RECURSIVE n(i) AS (SELECT 0 UNION ALL SELECT i + 1 FROM n WHERE i < $rows - 1)
  INSERT INTO cache (filename, lastWritten, flags, quality, binData)
  SELECT printf('/data/lab/plate %06d/position %02d.tif', i / 100, i % 100), 2460000.5, 0, 0, randomblob($bytes) FROM n;
  INSERT INTO metadata (filename, lastWritten, M_fileSize) SELECT filename, 1.0, 1000 FROM cache" "COMMIT" \
  "PRAGMA wal_checkpoint(TRUNCATE)" >/dev/null
