#!/usr/bin/env bash
# Runs the benchmarks of the service and prints one table: what the service takes, what the other side takes (the bare
# libraries, or the service with less in it), the value that the limit is about, the limit, and whether it holds.
#   bench/service.sh [NAME...]
#     NAME   hot, warm, write, bookkeeping, growth, start or syncs; all by default
# Takes about two minutes on a machine that does nothing else; what others do shows first in the rows about threads.
# Databases are on /dev/shm, so that no disk is waited for, but for the rows about writing, whose disk is the one below
# TMPDIR. Exits with 1 when a row falls short.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/../scripts/common.sh"

all=(hot warm write bookkeeping growth start syncs)
names=()
for argument in "$@"; do
  case $argument in
    -h | --help) usage; exit 0 ;;
    *)
      [[ " ${all[*]} " == *" $argument "* ]] || { echo "service.sh: unknown benchmark '$argument'" >&2; exit 2; }
      names+=("$argument")
      ;;
  esac
done
[ ${#names[@]} -gt 0 ] || names=("${all[@]}")

"$root/scripts/install_deps.sh" build test bench >&2
logged bench-build build_preset bench >&2
programs=$build_root/bench/bin

run() {
  case $1 in
    syncs) "$root/bench/count_syncs.sh" | sed -n 's/^| disk \(.*\) | \(.*\) | \(.*\) | \(.*\) |$/| disk \1 | | | \2 | \3 | \4 |/p' ;;
    # In place, as the other side does; what a process that decodes adds stands in the last row.
    warm)
      QV_DECODER=inprocess TMPDIR=/dev/shm "$programs/bench_warm"
      { TMPDIR=/dev/shm "$programs/bench_warm" || true; } |
        sed -n 's/^| warm, row to picture | \(.*\) | at most .*/| warm, row to picture, decoded by a process of its own | \1 | | |/p'
      ;;
    write) TMPDIR=${TMPDIR:-/tmp} "$programs/bench_write" ;;
    *) TMPDIR=/dev/shm "$programs/bench_$1" ;;
  esac
}

echo "| row | ours | other side | measured | limit | |"
echo "|---|---|---|---|---|---|"
status=0
for name in "${names[@]}"; do
  rows=$(run "$name") || status=1
  echo "$rows"
  [[ $rows != *'| short |'* ]] || status=1
done
exit $status
