#!/usr/bin/env bash
# Times the platform's own decoders beside the libraries that could stand in for them, on the same files and in one
# run, and prints two tables: every file, and what each decoder gains on each library.
#   bench/decoders.sh [--only TEXT] [--rounds N] [--samples FOLDER]
#     --only     only the rows that contain this text, such as "PNG | 12 MP"
#     --rounds   how often each decoder is timed (9)
#     --samples  a folder with further pictures in jpeg and png, which count from 4 KiB on
# Times are of the processor, so other work on the machine changes little. Files go to /dev/shm, one at a time. Takes
# half an hour.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/../scripts/common.sh"

options=()
while [ $# -gt 0 ]; do
  case $1 in
    --only | --rounds | --samples) options+=("$1" "${2:?$1 wants a value}"); shift 2 ;;
    -h | --help) sed -n '2,9s/^# \{0,1\}//p' "$0"; exit 0 ;;
    *) echo "decoders.sh: unknown argument '$1'" >&2; exit 2 ;;
  esac
done
[ -z "${QV_SAMPLES:-}" ] || options=(--samples "$QV_SAMPLES" ${options[@]+"${options[@]}"})

"$root/scripts/install_deps.sh" build test bench >&2
logged bench-build build_preset bench qvbench-decoders >&2
TMPDIR=/dev/shm exec "$build_root/bench/bin/qvbench-decoders" ${options[@]+"${options[@]}"}
