# Sourced by the other scripts: folders, the number of jobs, building a preset. Needs bash only.

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build_root=${QV_BUILD_ROOT:-$root/build}
log_folder=$build_root/logs
jobs=${QV_JOBS:-$(nproc)}

# Tests look at a folder of real images when there is one; without it those tests skip themselves.
if [ -z "${QV_SAMPLES:-}" ] && [ -d "$root/../shared/samples" ]; then
  QV_SAMPLES=$(cd "$root/../shared/samples" && pwd)
  export QV_SAMPLES
fi

# GCC 12's thread sanitizer cannot place its shadow memory under a kernel that randomises addresses widely.
fixed_addresses=()
if setarch -R true 2>/dev/null; then
  fixed_addresses=(setarch -R)
fi

# build_preset PRESET [TARGET...]: configures when needed and builds; output to the caller.
build_preset() {
  local preset=$1
  shift
  local launcher=()
  if command -v ccache >/dev/null; then
    launcher=(-DCMAKE_C_COMPILER_LAUNCHER=ccache -DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
  fi
  (cd "$root" && cmake --preset "$preset" -B "$build_root/$preset" ${launcher[@]+"${launcher[@]}"}) &&
    cmake --build "$build_root/$preset" --parallel "$jobs" ${@:+--target "$@"}
}

# logged NAME COMMAND...: runs with the output in a log file; on failure shows what matters of it.
logged() {
  local log=$log_folder/$1.log
  shift
  mkdir -p "$log_folder"
  if "$@" >"$log" 2>&1; then
    return 0
  fi
  echo "--- the end of $log:"
  # Compilers print the first error long before the end when several jobs run.
  grep -n -m 20 -E '(error|Error|ERROR)[: ]|FAILED:' "$log" | cut -c1-400 || true
  tail -n 40 "$log" | cut -c1-400
  return 1
}

elapsed() { printf '%dm%02ds' $(($1 / 60)) $(($1 % 60)); }
