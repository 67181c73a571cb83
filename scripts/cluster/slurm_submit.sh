#!/usr/bin/env bash
# Submits a job array that makes the thumbnails of a list of images, and a job that merges them when all tasks are done.
#   slurm_submit.sh LIST DB N [CATALOG]
#     LIST      a file with the images' names (find /data -name '*.tif' >LIST)
#     DB        the file to merge the shards into
#     N         how many shards
#     CATALOG   a new name to publish the result under, for all to read
# LIST, DB and CATALOG must lie where every node sees them. SBATCH_OPTIONS is given to both jobs (a partition, an account
# …). Prints the numbers of the jobs.
set -euo pipefail

case ${1:-} in -h | --help) sed -n '2,/^[^#]/{/^#/s/^# \{0,1\}//p}' "$0"; exit 0 ;; esac
[ $# -ge 3 ] || { sed -n '2,/^[^#]/{/^#/s/^# \{0,1\}//p}' "$0" >&2; exit 2; }
list=$(realpath "$1") database=$(realpath -m "$2") count=$3
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
read -r -a options <<<"${SBATCH_OPTIONS:-}"
array=$(sbatch --parsable ${options[@]+"${options[@]}"} --array="1-$count" "$here/slurm_make.sh" "$list" "$database")
merge=$(sbatch --parsable ${options[@]+"${options[@]}"} --dependency="afterok:$array" --kill-on-invalid-dep=yes \
  "$here/slurm_merge.sh" "$database" "$count" ${4:+"$(realpath -m "$4")"})
echo "thumbnails: job $array, $count tasks; merge: job $merge"
