#!/usr/bin/env bash
# One shard of a long list of images, as a task of a Slurm job array.
#   sbatch --array=1-N slurm_make.sh LIST DB [OPTION...]
#     LIST     a file with the images' names, the same for all tasks
#     DB       the file that the shards will be merged into; each task makes DB's K-of-N beside it
#     OPTION   further options of 'qvthumbs make', such as --quality high
# A task that is requeued goes on where it was. Files that fail are named in the manifest of the shard and do not fail
# the task. QVTHUMBS names the program when it does not lie in the path.
#SBATCH --job-name=thumbnails
#SBATCH --cpus-per-task=2
#SBATCH --mem=2G
#SBATCH --requeue
#SBATCH --signal=TERM@60
set -euo pipefail

case ${1:-} in -h | --help) sed -n '2,/^[^#]/{/^#/s/^# \{0,1\}//p}' "$0"; exit 0 ;; esac
[ $# -ge 2 ] || { echo "usage: sbatch --array=1-N slurm_make.sh LIST DB [OPTION...]" >&2; exit 2; }
list=$1 database=$2
shift 2
exec srun "${QVTHUMBS:-qvthumbs}" make --files-from "$list" --db "$database" \
  --shard "$SLURM_ARRAY_TASK_ID/$SLURM_ARRAY_TASK_COUNT" --failures-ok "$@"
