#!/usr/bin/env bash
# Counts with strace how often the disk is waited for (fsync, fdatasync) to store a thumbnail, and prints a table.
#   bench/count_syncs.sh
# Each count is the difference of two runs of qvthumbs, on one picture and on eleven, so that opening and closing the
# database are taken out. In write-ahead mode it waits with books only. Exits with 1 when a count is above its limit, or
# when not all was written.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/../scripts/common.sh"

case ${1:-} in
  '') ;;
  -h | --help) usage; exit 0 ;;
  *) echo "count_syncs.sh: unknown argument '$1'" >&2; exit 2 ;;
esac

"$root/scripts/install_deps.sh" build test bench >&2
logged bench-build build_preset bench qvthumbs gnr_thumbnailcache gnr_imageformats >&2
qvthumbs=$build_root/bench/bin/qvthumbs
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

few=1
many=11
for count in $few $many; do
  mkdir "$work/$count"
  for ((i = 0; i < count; ++i)); do cp "$root/docs/examples/cells.jpg" "$work/$count/$i.jpg"; done
done

# A fresh database file in the journal mode; a file takes write-ahead mode only with something in it.
make_database() {
  sqlite3 "$1" "PRAGMA journal_mode=$2; CREATE TABLE t(a); DROP TABLE t" >/dev/null
}

# syncs_of DATABASE FOLDER: of one run.
syncs_of() {
  strace -f -qq -e trace=fsync,fdatasync -e signal=none -o "$work/trace" \
    "$qvthumbs" make --sync --db "$1" "$2" >/dev/null 2>"$work/errors" || { cat "$work/errors" >&2; return 1; }
  grep -c -E '(fsync|fdatasync)\(' "$work/trace" || true
}

# counts MODE COUNT: of a run that stores COUNT new thumbnails, and of one that overwrites them since the pictures have
# changed.
counts() {
  local database=$work/$1-$2.db
  make_database "$database" "$1"
  syncs_of "$database" "$work/$2"
  touch "$work/$2"/*.jpg
  syncs_of "$database" "$work/$2"
  [ "$(sqlite3 "$database" "SELECT count(*) FROM cache")" -eq "$2" ] || return 1
}

status=0
# print_row WHAT SYNCS-OF-MANY SYNCS-OF-FEW LIMIT
print_row() {
  local count verdict=PASS
  count=$((($2 - $3 + many - few - 1) / (many - few)))
  if [ "$count" -gt "$4" ]; then
    verdict=short
    status=1
  fi
  echo "| disk syncs of $1 | $count | at most $4 | $verdict |"
}

# print_mode MODE NAME LIMIT-OF-NEW LIMIT-OF-OVERWRITTEN
print_mode() {
  local of_few of_many
  counts "$1" $few >"$work/few" && counts "$1" $many >"$work/many" || { status=1; return; }
  mapfile -t of_few <"$work/few"
  mapfile -t of_many <"$work/many"
  print_row "a new thumbnail, $2" "${of_many[0]}" "${of_few[0]}" "$3"
  print_row "an overwritten one, $2" "${of_many[1]}" "${of_few[1]}" "$4"
}

echo "| | counted | limit | |"
echo "|---|---|---|---|"
print_mode delete "default journal" 8 16
print_mode wal "write-ahead" 0 0
exit $status
