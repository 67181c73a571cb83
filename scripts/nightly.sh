#!/usr/bin/env bash
# What takes too long for every change: about an hour on two idle cores.
#   scripts/nightly.sh                all of it
#   scripts/nightly.sh STEP...        these steps
# Steps, in this order:
#   alone     every source compiles by itself, without precompiled headers
#   faults    every call of the file system and every allocation fails once, and from then on
#   kills     four processes with one file, of which one is killed every 200 ms, 300 times
#   soak      1,000,000 requests with flat memory
#   threads   8 callers with all operations under ThreadSanitizer, Helgrind and DRD; qvthumbs serve under Helgrind
#   cluster   the scripts for clusters with Slurm itself, tasks killed and requeued
#   fuzz      every fuzzer for QV_FUZZ_SECONDS (120), the codec libraries instrumented too
# Ends with a line for each step and exits 0 only when all are good. Logs are in build/logs/, findings of a fuzzer in
# build/fuzz-findings/.
set -uo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

all_steps=(alone faults kills soak threads cluster fuzz)
steps=()
for argument in "$@"; do
  case $argument in
    -h | --help) usage; exit 0 ;;
    *)
      [[ " ${all_steps[*]} " == *" $argument "* ]] || { echo "nightly.sh: unknown step '$argument'" >&2; exit 2; }
      steps+=("$argument")
      ;;
  esac
done
[ ${#steps[@]} -gt 0 ] || steps=("${all_steps[@]}")

# debug_test LOG PROGRAM [WRAPPER...]
debug_test() {
  local log=$1 program=$2
  shift 2
  logged "$program-build" build_preset tests "$program" && logged "$log" "$@" "$build_root/tests/bin/$program"
}

step_alone() { logged nightly-alone build_preset clang-alone; }
step_faults() { QV_FAULTS=all debug_test nightly-faults thumbnailcache_faults_test; }
step_kills() { QV_KILLS=300 debug_test nightly-kills thumbnailcache_processes_test; }
step_soak() { QV_SOAK=1000000 debug_test nightly-soak thumbnailcache_soak_test; }

step_threads() {
  local good=true tool
  local suppressions=$root/tests/thumbnailcache/valgrind.supp
  logged nightly-tsan-build build_preset tsan thumbnailcache_callers_test || return 1
  QV_CALLERS_SECONDS=60 TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1 logged nightly-callers-tsan \
    ${fixed_addresses[@]+"${fixed_addresses[@]}"} "$build_root/tsan/bin/thumbnailcache_callers_test" || good=false
  for tool in helgrind drd; do
    debug_test "nightly-callers-$tool" thumbnailcache_callers_test \
      valgrind --tool=$tool --suppressions="$suppressions" --error-exitcode=1 -q || good=false
  done
  QV_SERVE_UNDER="valgrind --tool=helgrind --suppressions=$suppressions --error-exitcode=9 -q" GTEST_FILTER='ServeTest.*' \
    debug_test nightly-serve-helgrind host_pages_test || good=false
  $good
}

# Skipped where this is not root.
step_cluster() {
  logged nightly-cluster-build build_preset release || return 1
  local status=0
  logged nightly-cluster "$root/scripts/cluster/prove_slurm.sh" "$build_root/release/bin" || status=$?
  [ $status -eq 0 ] || [ "$(id -u)" -ne 0 ]
}

step_fuzz() {
  local libraries fuzzer name good=true
  local findings=$build_root/fuzz-findings corpus=$build_root/fuzz-corpus
  libraries=$("$root/fuzz/instrumented_libraries.sh" 2>"$log_folder/fuzz-libraries.log") ||
    { show_failure "$log_folder/fuzz-libraries.log"; return 1; }
  PKG_CONFIG_PATH=$libraries CMAKE_PREFIX_PATH=${libraries%/lib/pkgconfig} \
    logged fuzz-build build_preset fuzz || return 1
  [ -d "$corpus/samples" ] || logged fuzz-samples "$build_root/fuzz/bin/qvthumbs-samples" --optional "$corpus/samples" || return 1
  mkdir -p "$findings"
  for fuzzer in "$build_root"/fuzz/bin/*_fuzzer; do
    name=$(basename "$fuzzer")
    mkdir -p "$corpus/$name"
    logged "nightly-$name" "$fuzzer" -max_total_time="${QV_FUZZ_SECONDS:-120}" -max_len=200000 -jobs="$jobs" \
      -workers="$jobs" -artifact_prefix="$findings/$name-" "$corpus/$name" "$corpus/samples" || good=false
  done
  $good
}

mkdir -p "$log_folder"
packages=(build test)
case " ${steps[*]} " in *" alone "*) packages+=(clang) ;; esac
case " ${steps[*]} " in *" threads "*) packages+=(sanitizers threads) ;; esac
"$root/scripts/install_deps.sh" "${packages[@]}" || exit 1

all_good=true
for step in "${steps[@]}"; do
  echo "== $step"
  start=$SECONDS
  verdict=good
  "step_$step" || { verdict=FAILED; all_good=false; }
  echo "== $step: $verdict, $(elapsed $((SECONDS - start)))"
done
$all_good
