#!/usr/bin/env bash
# Merges the shards of a job array, and publishes the result, as one Slurm job that waits for the array.
#   sbatch --dependency=afterok:ARRAY_JOB slurm_merge.sh DB N [CATALOG]
#     DB        the file that was given to slurm_make.sh
#     N         how many shards there are
#     CATALOG   a new name to publish it under, for all to read
# QVTHUMBS names the program when it does not lie in the path.
#SBATCH --job-name=thumbnails-merge
#SBATCH --cpus-per-task=1
#SBATCH --mem=1G
set -euo pipefail

case ${1:-} in -h | --help) sed -n '2,/^[^#]/{/^#/s/^# \{0,1\}//p}' "$0"; exit 0 ;; esac
[ $# -ge 2 ] || { echo "usage: sbatch --dependency=afterok:JOB slurm_merge.sh DB N [CATALOG]" >&2; exit 2; }
database=$1 count=$2 catalog=${3:-}
name=$(basename "$database")
extension=
[[ ${name#?} != *.* ]] || extension=.${name##*.}
shards=()
for ((number = 1; number <= count; ++number)); do
  shards+=("${database%"$extension"}.$(printf "%0${#count}d" "$number")-of-$count$extension")
done
"${QVTHUMBS:-qvthumbs}" merge "$database" "${shards[@]}"
[ -z "$catalog" ] || "${QVTHUMBS:-qvthumbs}" merge --publish "$catalog" "$database"
