#!/usr/bin/env bash
# Line coverage of the component: builds the coverage preset, runs all tests, reports gnr_thumbnailcache/.
#   scripts/coverage.sh [PERCENT]     fails below PERCENT lines (default 95)
# The readable report is build/coverage/report/index.html.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

help_or_fail 1 "$@"
least=${1:-95}
"$root/scripts/install_deps.sh" build test coverage

watched coverage-build build_preset coverage
# Counts of earlier runs would add up, and those of files that are gone would confuse the report.
find "$build_root/coverage" -name '*.gcda' -delete
ctest --test-dir "$build_root/coverage" --parallel "$jobs" --output-on-failure --no-tests=error \
  >"$log_folder/coverage-tests.log" 2>&1 ||
  { tail -n 60 "$log_folder/coverage-tests.log"; echo "coverage.sh: tests failed" >&2; exit 1; }

mkdir -p "$build_root/coverage/report"
cd "$root"
gcovr --root "$root" --filter 'gnr_thumbnailcache/' --object-directory "$build_root/coverage" -j "$jobs" \
  --exclude-throw-branches --html-details "$build_root/coverage/report/index.html" --print-summary \
  --fail-under-line "$least" "$build_root/coverage"
