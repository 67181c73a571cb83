#!/usr/bin/env bash
# Makes the thumbnails of a list of images on several machines with GNU parallel, and merges them.
#   parallel_make.sh LIST DB N [OPTION...]
#     LIST     a file with the images' names
#     DB       the file to merge the shards into
#     N        how many shards
#     OPTION   of GNU parallel: --sshlogin node1,node2 --jobs 4 …
# LIST and DB must lie where every machine sees them. Run again it does what is missing.
set -euo pipefail

case ${1:-} in -h | --help) sed -n '2,/^[^#]/{/^#/s/^# \{0,1\}//p}' "$0"; exit 0 ;; esac
[ $# -ge 3 ] || { sed -n '2,/^[^#]/{/^#/s/^# \{0,1\}//p}' "$0" >&2; exit 2; }
list=$(realpath "$1") database=$(realpath -m "$2") count=$3
shift 3
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
seq "$count" | parallel --retries 3 "$@" --quote \
  "${QVTHUMBS:-qvthumbs}" make --files-from "$list" --db "$database" --shard "{}/$count" --failures-ok
exec "$here/slurm_merge.sh" "$database" "$count"
