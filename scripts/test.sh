#!/usr/bin/env bash
# Builds and tests, from a bare Debian machine on.
#   scripts/test.sh              the stages format and debug: all tests, in one build
#   scripts/test.sh all          every stage
#   scripts/test.sh STAGE...     these stages
# Stages, in this order:
#   format   every source file is as clang-format leaves it
#   debug    GCC, warnings as errors; all tests, among them the checks of arrows, names, wording and exported symbols
#   asan     Clang, its warnings and thread-safety analysis as errors; the same tests under AddressSanitizer and
#            UndefinedBehaviorSanitizer
#   tsan     the same with ThreadSanitizer
#   clang    Clang's warnings and analysis of what the other stages do not build, benchmarks and fuzzers, and of what
#            they call; makes no code
# Ends with a line "N passed, N failed" over all stages and exits 0 only when nothing failed. Build folders are
# build/<preset>, logs build/logs/. Environment: QV_SAMPLES (a folder of real images, optional), QV_JOBS, QV_BUILD_ROOT.
set -uo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

all_stages=(format debug asan tsan clang)

stages=()
for argument in "$@"; do
  case $argument in
    format | debug | asan | tsan | clang) stages+=("$argument") ;;
    all) stages=("${all_stages[@]}") ;;
    -h | --help) usage; exit 0 ;;
    *) echo "test.sh: unknown stage '$argument'" >&2; usage >&2; exit 2 ;;
  esac
done
[ ${#stages[@]} -gt 0 ] || stages=(format debug)

passed=0
failed=0
skipped=0

# Adds up one CTest run from its JUnit report: GoogleTest cases one by one, any other test program as one. A program that
# failed without naming a failed case (a crash, a time-out, a sanitizer's report at exit) counts as one failure.
count_results() {
  awk '
    /^\t<testcase / { good = bad = skip = 0; status = $0; sub(/.* status="/, "", status); sub(/".*/, "", status) }
    /\[       OK \] .*\([0-9]+ ms\)/ { good++ }
    /\[  FAILED  \] .*\([0-9]+ ms\)/ { bad++ }
    /\[  SKIPPED \] .*\([0-9]+ ms\)/ { skip++ }
    /<skipped message="SKIP_/ { status = "skip" }
    /^\t<\/testcase>/ {
      if (status == "skip") skip++
      else if (status != "run" && bad == 0) bad = 1
      else if (status == "run" && good + bad + skip == 0) good = 1
      all_good += good; all_bad += bad; all_skip += skip }
    END { printf "%d %d %d\n", all_good, all_bad, all_skip }' "$1"
}

# run_tests PRESET [WRAPPER...]
run_tests() {
  local preset=$1
  shift
  local folder=$build_root/$preset
  local report=$log_folder/$preset-tests.xml
  rm -f "$report"
  local status=0
  "$@" ctest --test-dir "$folder" --parallel "$jobs" --output-on-failure --no-tests=error \
    --output-junit "$report" --test-output-size-passed 100000000 --test-output-size-failed 100000000 \
    >"$log_folder/$preset-tests.log" 2>&1 || status=1
  local good=0 bad=0 skip=0
  if [ -f "$report" ]; then
    read -r good bad skip < <(count_results "$report")
  fi
  if [ "$status" -ne 0 ]; then
    [ "$bad" -gt 0 ] || bad=1
    grep -v -E '^ +Start +[0-9]+:|\[ +(OK|RUN) +\]|\[-+\]' "$log_folder/$preset-tests.log" | tail -n 200 | cut -c1-400
  fi
  passed=$((passed + good))
  failed=$((failed + bad))
  skipped=$((skipped + skip))
  echo "   $preset: $good passed, $bad failed, $skip skipped"
  return "$status"
}

build_and_test() {
  local preset=$1
  shift
  local start=$SECONDS
  if ! watched "$preset-build" build_preset "$preset"; then
    failed=$((failed + 1))
    return 1
  fi
  echo "   built in $(elapsed $((SECONDS - start)))"
  run_tests "$preset" "$@"
}

stage_debug() { build_and_test tests; }

stage_asan() {
  local -x ASAN_OPTIONS=${ASAN_OPTIONS:-strict_string_checks=1:detect_stack_use_after_return=1:check_initialization_order=1}
  local -x UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1}
  build_and_test asan-ubsan
}

stage_tsan() {
  local -x TSAN_OPTIONS=${TSAN_OPTIONS:-halt_on_error=1:second_deadlock_stack=1}
  build_and_test tsan ${fixed_addresses[@]+"${fixed_addresses[@]}"}
}

# A step that is no test run counts as one result.
count_step() {
  if "$@"; then
    passed=$((passed + 1))
  else
    failed=$((failed + 1))
    return 1
  fi
}

stage_clang() { count_step watched clang-tsa-build build_preset clang-tsa; }

check_format() {
  local files=()
  mapfile -t files < <(find "$root"/{include,gnr_thumbnailcache,platform,host,python,tools,tests,fuzz,bench,docs} \
    \( -name '*.h' -o -name '*.cpp' \) -type f | LC_ALL=C sort)
  local report
  report=$(printf '%s\0' "${files[@]}" | xargs -0 clang-format --dry-run -Werror 2>&1) && return 0
  echo "   these files are not formatted:"
  sed -n "s|^$root/\(.*\):[0-9]*:[0-9]*: error:.*|     clang-format -i \1|p" <<<"$report" | sort -u
  return 1
}
stage_format() { count_step check_format; }

# Processor time of everything run so far, in seconds: on a busy machine it says more than the clock.
processor_seconds() {
  times >"$log_folder/times"
  awk 'NR == 2 { gsub(/[ms]/, " "); print int($1 * 60 + $2 + $3 * 60 + $4) }' "$log_folder/times"
}

mkdir -p "$log_folder"
begin=$SECONDS
packages=(build test)
case " ${stages[*]} " in *" format "*) packages+=(format) ;; esac
case " ${stages[*]} " in *" clang "*) packages+=(clang) ;; esac
case " ${stages[*]} " in *" asan "* | *" tsan "*) packages+=(sanitizers) ;; esac
if ! "$root/scripts/install_deps.sh" "${packages[@]}"; then
  echo "0 passed, 1 failed"
  exit 1
fi
echo "== packages: $(elapsed $((SECONDS - begin)))"

[ -n "${QV_SAMPLES:-}" ] && echo "== real images from $QV_SAMPLES" || echo "== no folder of real images: their tests are skipped"

all_good=true
for stage in "${stages[@]}"; do
  echo "== $stage"
  start=$SECONDS
  processor_seconds >"$log_folder/before"
  verdict=good
  "stage_$stage" || verdict=FAILED
  [ $verdict = good ] || all_good=false
  processor_seconds >"$log_folder/after"
  spent=$(($(<"$log_folder/after") - $(<"$log_folder/before")))
  echo "== $stage: $verdict, $(elapsed $((SECONDS - start))), $(elapsed $spent) of processor time"
done

echo "== all stages: $(elapsed $((SECONDS - begin))), $skipped tests skipped"
echo "$passed passed, $failed failed"
$all_good && [ "$failed" -eq 0 ]
