#!/usr/bin/env bash
# run.sh: runs the fuzzers.
#
#   tests/fuzz/run.sh short              a fixed number of runs each, as in ./test.sh
#   tests/fuzz/run.sh [SECONDS] [NAME…]  each fuzzer, or the named ones, for so long (600)
#
# What a long run finds interesting is kept in build/fuzz/corpus and found again
# by the next one. An input that breaks something is left in build/fuzz/found; run
# the fuzzer with it as its argument to see what happened. The last line says how
# many fuzzers passed.
set -u
root=$(cd "$(dirname "$0")/../.." && pwd)
cd "$root" || exit 1

# Runs of the short round, chosen for a few seconds each.
declare -A short_runs=(
  [arguments]=20000 [environment]=1500 [host_file]=20000 [node_list]=15000 [job_output]=5000
  [mpi_tools]=15000 [directory]=40000 [text_reader]=8000 [whole_run]=2500
)
# An allocation costs more than what is done with it, unless the sanitizer keeps less
# of it; ask it for more to look at a finding: ASAN_OPTIONS=malloc_context_size=30.
export ASAN_OPTIONS=${ASAN_OPTIONS:-malloc_context_size=0:quarantine_size_mb=1:max_malloc_fill_size=64}
# Leaks are looked for at the end of a round.
quick=(-entropic=0 -reload=0 -detect_leaks=0)
mapfile -t names < <(find tests/fuzz -name '*_fuzzer.cpp' -printf '%f\n' | sed 's/_fuzzer.cpp$//' | sort)

mode=${1:-600}
if [ $# -gt 1 ]; then
  names=("${@:2}")
fi

log_folder=build/fuzz/log
mkdir -p "$log_folder" build/fuzz/found
if ! { cmake --preset fuzz && cmake --build build/fuzz --target fuzzers; } >"$log_folder/build" 2>&1; then
  tail -n 40 "$log_folder/build"
  echo "0 passed, 1 failed"
  exit 1
fi

# Runs one fuzzer; its log ends with its exit status.
fuzz() {
  local name=$1 corpus=build/fuzz/corpus/$1 limits
  local log=$log_folder/$name
  if [ "$mode" = short ]; then
    corpus=$(mktemp -d)
    limits=(-seed=1 "-runs=${short_runs[$name]}")
  else
    mkdir -p "$corpus"
    limits=("-max_total_time=$mode")
  fi
  build/fuzz/fuzzers/"${name}_fuzzer" "${limits[@]}" "${quick[@]}" -timeout=60 -rss_limit_mb=4096 \
    -print_final_stats=1 -artifact_prefix="build/fuzz/found/$name-" \
    -dict=tests/fuzz/launcher.dict "$corpus" "tests/fuzz/seeds/$name" >"$log" 2>&1 </dev/null
  echo "status $?" >>"$log"
  if [ "$mode" = short ]; then
    rm -rf "$corpus"
  fi
}

passed=0
failed=0
report() {
  local name=$1 log=$log_folder/$1 runs
  runs=$(grep -a -o 'number_of_executed_units: .*' "$log" | grep -o '[0-9]*')
  if [ "$(tail -n 1 "$log")" = "status 0" ] && [ "${runs:-0}" -gt 0 ]; then
    printf 'fuzz %-12s %9d runs\n' "$name" "$runs"
    passed=$((passed + 1))
  else
    printf 'fuzz %-12s failed (all of it: %s)\n' "$name" "$log"
    grep -a -A 8 -e 'Does not hold' -e '^==.*ERROR' "$log" | cut -c 1-200 | head -n 20
    failed=$((failed + 1))
  fi
}

# Two at a time: most machines have at least two processors.
for name in "${names[@]}"; do
  while [ "$(jobs -r | wc -l)" -ge 2 ]; do
    wait -n
  done
  fuzz "$name" &
done
wait
for name in "${names[@]}"; do
  report "$name"
done
echo "$passed passed, $failed failed"
[ "$failed" -eq 0 ]
