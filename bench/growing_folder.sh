#!/usr/bin/env bash
# Makes the thumbnails of a folder that another program is writing to, 100 new files a second, and of the same folder
# while it is quiet, in turns, and prints a table. The names are in UPPER CASE, so that each is looked for without regard
# to case, for which the folder is listed.
#   bench/growing_folder.sh [FILES [ROUNDS [PROGRAM]]]
#     FILES     in the folder; 20,000 by default
#     ROUNDS    of both; 7 by default
#     PROGRAM   qvthumbs; that of the preset bench by default
# Files and databases are on /dev/shm. Exits with 1 when the row falls short.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/../scripts/common.sh"

help_or_fail 3 "$@"
files=${1:-20000} rounds=${2:-7} program=${3:-$build_root/bench/bin/qvthumbs}
limit=1.3
[ $# -eq 3 ] || { "$root/scripts/install_deps.sh" build test bench >&2; logged bench-build build_preset bench >&2; }

work=$(mktemp -d /dev/shm/qv-growing.XXXXXX)
trap 'rm -rf "$work"' EXIT
folder=$work/CAMERA
mkdir "$folder"
# A PNG of one pixel.
base64 -d >"$folder/IMAGE_0.PNG" <<<'iVBORw0KGgoAAAANSUhEUgAAAAEAAAABCAIAAACQd1PeAAAADElEQVR4nGNgYGAAAAAEAAH2FzhVAAAAAElFTkSuQmCC'
for ((i = 1; i < files; ++i)); do echo "$folder/IMAGE_$i.PNG"; done >"$work/list"
xargs -a "$work/list" -n 1000 sh -c 'tee "$@" <"$0" >/dev/null' "$folder/IMAGE_0.PNG"

# No program is started for a new file, which would take the processor from what is measured.
write_files() {
  local i
  mkfifo "$work/never"
  exec 9<>"$work/never"
  for ((i = 0; ; ++i)); do
    : >"$folder/NEW_$i.PNG"
    read -rt 0.01 <&9 || true
  done
}

TIMEFORMAT=%R
# seconds_of_make: of a fresh database.
seconds_of_make() {
  rm -f "$work"/cache.db*
  { time "$program" make --files-from "$work/list" --db "$work/cache.db" >"$work/out" 2>&1; } 2>&1
}

seconds_of_busy_make() {
  write_files &
  local writer=$!
  seconds_of_make
  kill "$writer"
  wait "$writer" 2>/dev/null || true
  find "$folder" -name 'NEW_*' -delete
  rm "$work/never"
}

median() { sort -g | awk '{ values[NR] = $1 } END { print (values[int((NR + 1) / 2)] + values[int(NR / 2) + 1]) / 2 }'; }

quiet=$(seconds_of_make)
for ((round = 0; round < rounds; ++round)); do
  quiet=$(seconds_of_make)
  busy=$(seconds_of_busy_make)
  echo "$quiet $busy $(bc -l <<<"$busy / $quiet")"
done >"$work/times"
ratio=$(cut -d ' ' -f 3 "$work/times" | median)
verdict=PASS
[ "$(bc -l <<<"$ratio <= $limit")" -eq 1 ] || verdict=short
echo "| row | being written to | quiet | measured | limit | |"
echo "|---|---|---|---|---|---|"
LC_ALL=C printf '| make, %s files | %.2f s | %.2f s | %.2f | at most %s | %s |\n' "$files" \
  "$(cut -d ' ' -f 2 "$work/times" | median)" "$(cut -d ' ' -f 1 "$work/times" | median)" "$ratio" "$limit" "$verdict"
[ "$verdict" = PASS ]
