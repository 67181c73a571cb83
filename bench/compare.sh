#!/usr/bin/env bash
# Compares the making of thumbnails with other programs and prints a table.
#   bench/compare.sh [--quick] [--class NAME] [--rounds N] [--alone]
#     --quick   one class, three rounds, no peer but vipsthumbnail
#     --class   this class of files only; their names are the table's first column
#     --rounds  how often each program runs (7)
#     --alone   no peer but vipsthumbnail
# Installs the peers, builds, and makes a corpus of about 1.3 GB in build/corpus. Takes some minutes. Databases and
# thumbnails go to /dev/shm, so that no disk is waited for, but for one column, whose databases go below TMPDIR.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/../scripts/common.sh"

quick=false
class=
options=()
while [ $# -gt 0 ]; do
  case $1 in
    --quick) quick=true; shift ;;
    --class) class=${2:?--class wants a name}; shift 2 ;;
    --rounds) options+=(--rounds "${2:?--rounds wants a number}"); shift 2 ;;
    --alone) options+=(--alone); shift ;;
    -h | --help) usage; exit 0 ;;
    *) echo "compare.sh: unknown argument '$1'" >&2; exit 2 ;;
  esac
done
if $quick; then
  class=${class:-jpeg-baseline}
  options=(--rounds 3 --alone)
fi
[ -z "$class" ] || options+=(--class "$class")

"$root/scripts/install_deps.sh" build test peers >&2
logged bench-build build_preset bench qvthumbs gnr_thumbnailcache gnr_imageformats qvbench-corpus qvbench-cold-compare >&2
programs=$build_root/bench/bin
corpus=$("$programs/qvbench-corpus" "$build_root/corpus" ${class:+--class "$class"})
exec "$programs/qvbench-cold-compare" ${options[@]+"${options[@]}"} "$corpus" "$programs/qvthumbs"
