#!/usr/bin/env bash
# One shard of a long list of images, as a task of a Slurm job array.
#   sbatch --array=1-N slurm_make.sh LIST DB [OPTION...]
#     LIST     a file with the images' names, the same for all tasks
#     DB       the file that the shards will be merged into; each task makes DB's K-of-N beside it
#     OPTION   further options of 'qvthumbs make', such as --quality high
# A task that is requeued goes on where it was; one whose program is killed or nearly out of time requeues itself, five
# times at most, so that the merge that waits for it is not given up. Files that fail are named in the manifest of the
# shard and do not fail the task. QVTHUMBS names the program when it does not lie in the path.
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
status=0
srun "${QVTHUMBS:-qvthumbs}" make --files-from "$list" --db "$database" \
  --shard "$SLURM_ARRAY_TASK_ID/$SLURM_ARRAY_TASK_COUNT" --failures-ok "$@" || status=$?
# A signal ended it. A job that was cancelled or requeued already runs no more. The number of an array's last task is that
# of the whole array.
task=${SLURM_ARRAY_JOB_ID}_$SLURM_ARRAY_TASK_ID
if [ $status -gt 128 ] && [ "${SLURM_RESTART_COUNT:-0}" -lt 5 ] &&
  [ "$(squeue --noheader --job="$task" --format=%T)" = RUNNING ]; then
  echo "ended by a signal ($status): back to the queue" >&2
  scontrol requeue "$task" && sleep 600
fi
exit $status
