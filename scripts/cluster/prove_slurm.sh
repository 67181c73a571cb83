#!/usr/bin/env bash
# Proves the cluster scripts with Slurm itself, on this machine: an array of 8 tasks over the sample lab, multiplied;
# tasks are killed and requeued while they run; the merge is a dependent job. The result must hold the same rows, byte for
# byte, as the database that one process makes.
#   scripts/cluster/prove_slurm.sh [PROGRAMS]
#     PROGRAMS   the folder with qvthumbs and qvthumbs-samples; build/release/bin by default
# Installs munge, slurmctld and slurmd when they are missing, and starts them with a configuration of its own; exits
# with 77 when it cannot be root. Everything it makes, and every process, is gone when it ends.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/../common.sh"

copies=${QV_SLURM_COPIES:-8}
tasks=8

help_or_fail 1 "$@"
[ "$(id -u)" -eq 0 ] || { echo "prove_slurm.sh: skipped, only root can start the daemons" >&2; exit 77; }
programs=$(realpath "${1:-$build_root/release/bin}")
export QVTHUMBS=$programs/qvthumbs

"$root/scripts/install_deps.sh" cluster

work=$(mktemp -d /tmp/qv-slurm.XXXXXX)
chmod 755 "$work"
daemons=()
finish() {
  local status=$?
  if [ $status -ne 0 ]; then
    tail -n 20 "$work"/*.log "$work"/*.out 2>/dev/null || true
  fi
  # The workers before the one that would start them again.
  scancel --quiet --user=root 2>/dev/null || true
  for daemon in ${daemons[@]+"${daemons[@]}"}; do kill "$daemon" 2>/dev/null || true; done
  for daemon in ${daemons[@]+"${daemons[@]}"}; do wait "$daemon" 2>/dev/null || true; done
  rm -rf "$work"
}
trap finish EXIT

# start NAME COMMAND...: a daemon in the foreground, of which this script is the parent.
start() {
  local log=$work/$1.log
  shift
  "$@" >"$log" 2>&1 &
  daemons+=($!)
}

# until_true SECONDS COMMAND...
until_true() {
  local end=$((SECONDS + $1))
  shift
  until "$@" >/dev/null 2>&1; do
    [ $SECONDS -lt $end ] || { echo "prove_slurm.sh: gave up waiting for: $*" >&2; return 1; }
    sleep 0.3
  done
}

start_slurm() {
  local ctld_port=$((20000 + RANDOM % 10000)) node
  node=$(hostname -s)
  mkdir -p "$work/munge" "$work/state" "$work/spool"
  dd if=/dev/urandom bs=1 count=1024 status=none >"$work/munge/munge.key"
  chmod 400 "$work/munge/munge.key"
  chmod 755 "$work/munge"
  cat >"$work/slurm.conf" <<CONF
ClusterName=proof
SlurmctldHost=$node
SlurmUser=root
SlurmctldPort=$ctld_port
SlurmdPort=$((ctld_port + 1))
AuthType=auth/munge
AuthInfo=socket=$work/munge/socket
CryptoType=crypto/munge
StateSaveLocation=$work/state
SlurmdSpoolDir=$work/spool
SlurmctldPidFile=$work/slurmctld.pid
SlurmdPidFile=$work/slurmd.pid
ProctrackType=proctrack/linuxproc
TaskPlugin=task/none
JobAcctGatherType=jobacct_gather/none
AccountingStorageType=accounting_storage/none
SelectType=select/cons_tres
SelectTypeParameters=CR_CPU
SlurmdParameters=config_overrides
MpiDefault=none
ReturnToService=2
KillWait=5
MinJobAge=300
MessageTimeout=60
BatchStartTimeout=60
SchedulerParameters=sched_interval=1,requeue_delay=1
NodeName=$node NodeAddr=127.0.0.1 CPUs=16 RealMemory=32000 State=UNKNOWN
PartitionName=all Nodes=$node Default=YES MaxTime=INFINITE State=UP OverSubscribe=FORCE:8
CONF
  export SLURM_CONF=$work/slurm.conf
  start munged munged --foreground --force --key-file="$work/munge/munge.key" --socket="$work/munge/socket" \
    --pid-file="$work/munge/pid" --log-file="$work/munged.log" --seed-file="$work/munge/seed"
  until_true 20 munge --socket="$work/munge/socket" -n
  start slurmctld slurmctld -D -f "$SLURM_CONF"
  until_true 30 scontrol ping
  start slurmd slurmd -D -f "$SLURM_CONF" -N "$node"
  until_true 30 node_is_up
}
node_is_up() { [[ $(sinfo -h -o %T) =~ ^(idle|mixed|allocated)$ ]]; }

make_lab() {
  "$programs/qvthumbs-samples" --count 40 --size 50 "$work/lab/1" >/dev/null
  local copy
  for ((copy = 2; copy <= copies; ++copy)); do cp -r "$work/lab/1" "$work/lab/$copy"; done
  find "$work/lab" -type f \( -iname '*.tif' -o -iname '*.png' -o -iname '*.jpg' \) | sort >"$work/images.txt"
}

# Kills the programs of running tasks, which then requeue themselves, and requeues others, as those of a lost node are,
# while the array is at work.
disturb() {
  local array=$1 done=0 end=$((SECONDS + 60)) task
  while [ $done -lt 6 ] && [ $SECONDS -lt $end ] && [ -n "$(squeue -h -j "$array" 2>/dev/null)" ]; do
    sleep 0.3
    task=$(squeue -h -r -j "$array" -t RUNNING -o %i 2>/dev/null | shuf -n 1)
    [ -n "$task" ] || continue
    if [ $((done % 2)) -eq 0 ]; then
      # A step's program, as a kernel out of memory does; scancel would end the job.
      kill -KILL "$(pgrep -f "^$QVTHUMBS make .*--db $work/lab.db" | shuf -n 1)" 2>/dev/null
    else
      scontrol requeue "$task" 2>/dev/null
    fi && done=$((done + 1))
  done
  echo "killed or requeued: $done times"
  [ $done -gt 0 ]
}

# Everything a merge is about, in an order of its own.
rows_of() {
  sqlite3 -readonly "$1" "SELECT filename, lastWritten, flags, quality, hex(binData) FROM cache ORDER BY 1, 3;" \
    "SELECT * FROM metadata ORDER BY filename;"
}

start_slurm
make_lab
echo "$(wc -l <"$work/images.txt") files, $tasks tasks"
"$QVTHUMBS" make --files-from "$work/images.txt" --db "$work/whole.db" --failures-ok >/dev/null 2>&1

cd "$work"
SBATCH_OPTIONS="--chdir=$work --output=$work/%x-%A-%a.out --open-mode=append" \
  "$root/scripts/cluster/slurm_submit.sh" "$work/images.txt" "$work/lab.db" $tasks "$work/published.db" |
  tee "$work/jobs"
array=$(grep -o 'job [0-9]*' "$work/jobs" | head -1 | cut -d' ' -f2)
merge=$(grep -o 'job [0-9]*' "$work/jobs" | tail -1 | cut -d' ' -f2)
disturb "$array"
merge_has_ended() { [[ $(scontrol show job "$merge") =~ JobState=(COMPLETED|FAILED|CANCELLED|TIMEOUT) ]]; }
until_true 600 merge_has_ended
scontrol show job "$merge" | grep -o 'JobState=[A-Z]*'
echo "killed tasks that requeued themselves: $(grep -h 'back to the queue' thumbnails-*.out | wc -l)"
grep -q 'back to the queue' thumbnails-*.out
for database in lab.db published.db; do
  cmp <(rows_of "$work/whole.db") <(rows_of "$work/$database")
  echo "$database holds what one process makes: $(sqlite3 -readonly "$work/$database" 'SELECT count(*) FROM cache') thumbnails"
done
