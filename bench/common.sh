# Sourced by benchmarks of the program: rows of a table with times of its runs. The caller sets `program`, `work` (a
# folder) and `rounds`.

TIMEFORMAT=%R
# seconds_of ARGUMENT...: of one run of the program.
seconds_of() { { time "$program" "$@" >"$work/out" 2>&1; } 2>&1; }

# median_of ARGUMENT...: after a run that does not count.
median_of() {
  local round first
  first=$(seconds_of "$@")
  for ((round = 0; round < rounds; ++round)); do seconds_of "$@"; done | sort -g | sed -n "$((rounds / 2 + 1))p"
}

status=0
print_head() { printf '| row | time | limit | |\n|---|---|---|---|\n'; }
# print_row NAME LIMIT SECONDS: no limit when LIMIT is empty; `status` is 1 when a row falls short.
print_row() {
  local name=$1 limit=$2 seconds=$3 verdict=
  if [ -n "$limit" ]; then
    verdict=PASS
    [ "$(bc <<<"$seconds <= $limit")" -eq 1 ] || { verdict=short; status=1; }
    limit="at most $limit s"
  fi
  echo "| $name | $seconds s | $limit | $verdict |"
}
# row NAME LIMIT ARGUMENT...: the median of runs.
row() {
  local name=$1 limit=$2
  shift 2
  print_row "$name" "$limit" "$(median_of "$@")"
}
