# Sourced by the other scripts: folders, the number of jobs, help, building a preset. Needs bash only.

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build_root=${QV_BUILD_ROOT:-$root/build}
log_folder=$build_root/logs
jobs=${QV_JOBS:-$(nproc)}

# Tests look at a folder of real images when there is one; without it those tests skip themselves.
if [ -z "${QV_SAMPLES:-}" ] && [ -d "$root/../shared/samples" ]; then
  QV_SAMPLES=$(cd "$root/../shared/samples" && pwd)
  export QV_SAMPLES
fi

# Clang 14's thread sanitizer cannot place its shadow memory under a kernel that randomises addresses widely.
fixed_addresses=()
if setarch -R true 2>/dev/null; then
  fixed_addresses=(setarch -R)
fi

# The comment at the top of the script.
usage() { sed -n '2,/^[^#]/{/^#/s/^# \{0,1\}//p}' "$0"; }

# help_or_fail COUNT ARGUMENT...: shows the help when that is asked for, and refuses more than COUNT arguments.
help_or_fail() {
  local count=$1 argument
  shift
  for argument in "$@"; do
    case $argument in -h | --help) usage; exit 0 ;; esac
  done
  [ $# -le "$count" ] || { usage >&2; exit 2; }
}

# build_preset PRESET [TARGET...]: configures when needed and builds; output to the caller.
build_preset() {
  local preset=$1
  shift
  local launcher=()
  if command -v ccache >/dev/null; then
    launcher=(-DCMAKE_C_COMPILER_LAUNCHER=ccache -DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
  fi
  # When a preset names another compiler, an old cache would lose everything else that the preset says.
  local fresh=()
  if [ "$root/CMakePresets.json" -nt "$build_root/$preset/CMakeCache.txt" ]; then
    fresh=(--fresh)
  fi
  (cd "$root" && cmake --preset "$preset" -B "$build_root/$preset" ${fresh[@]+"${fresh[@]}"} \
    ${launcher[@]+"${launcher[@]}"}) &&
    cmake --build "$build_root/$preset" --parallel "$jobs" ${@:+--target "$@"}
}

# Shows what matters of the log of a step that failed.
show_failure() {
  echo "--- the end of $1:"
  # Compilers print the first error long before the end when several jobs run.
  grep -n -m 20 -E '(error|Error|ERROR)[: ]|FAILED:' "$1" | cut -c1-400 || true
  tail -n 40 "$1" | cut -c1-400
}

# logged NAME COMMAND...: runs with the output in a log file; on failure shows what matters of it.
logged() {
  local log=$log_folder/$1.log
  shift
  mkdir -p "$log_folder"
  "$@" >"$log" 2>&1 || { show_failure "$log"; return 1; }
}

# Reads a build's output and shows how far it is: on a terminal one line that changes, else a line twice a minute.
show_progress() {
  local line shown=$SECONDS
  while IFS= read -r line; do
    [[ $line =~ ^\[[0-9]+/[0-9]+\] ]] || continue
    if [ -t 1 ]; then
      printf '\r   %s' "${BASH_REMATCH[0]}"
    elif [ $((SECONDS - shown)) -ge 30 ]; then
      shown=$SECONDS
      echo "   ${BASH_REMATCH[0]}"
    fi
  done
  [ ! -t 1 ] || printf '\r\033[K'
}

# watched NAME COMMAND...: like logged, and shows the progress of the build that the command is.
watched() {
  local log=$log_folder/$1.log
  shift
  mkdir -p "$log_folder"
  "$@" 2>&1 | tee "$log" | show_progress
  [ "${PIPESTATUS[0]}" -eq 0 ] || { show_failure "$log"; return 1; }
}

elapsed() { printf '%dm%02ds' $(($1 / 60)) $(($1 % 60)); }
