#!/usr/bin/env bash
# run.sh: runs the fuzzers.
#
#   tests/fuzz/run.sh short              a fixed number of runs each, as in ./test.sh
#   tests/fuzz/run.sh [SECONDS] [NAME…]  each fuzzer, or the named ones, for so long (600)
#   tests/fuzz/run.sh enough [NAME…]     each until it has had enough: 1,000,000 runs
#                                        (100,000 whole runs) without a new edge
#   tests/fuzz/run.sh more [NAME…]       one more round of each, whether it has had enough or not
#   tests/fuzz/run.sh speed [NAME…]      executions in a second of the processor
#   tests/fuzz/run.sh keep [NAME…]       the fewest inputs that reach what was reached
#                                        become tests/fuzz/corpus/NAME.tar.xz
#   tests/fuzz/run.sh coverage [NAME…]   the lines of src/ that the seeds and the kept inputs
#                                        alone reach, as docs/reliability.md shows them
#   tests/fuzz/run.sh table              what was reached, as docs/reliability.md shows it
#
# What a long run finds interesting is kept in build/fuzz/corpus and found again by the
# next one. `enough` and `more` go in rounds and add each to tests/fuzz/reached.txt: all
# runs of a fuzzer, the edges of the launcher that it reached, how many there are, and the runs
# since the last new one. An input that breaks something is left in build/fuzz/found; run
# the fuzzer with it as its argument to see what happened. The last line says how many
# fuzzers passed.
set -u
root=$(cd "$(dirname "$0")/../.." && pwd)
cd "$root" || exit 1

# Runs of the short round, chosen for a second or two each.
declare -A short_runs=(
  [arguments]=20000 [environment]=1500 [host_file]=20000 [node_list]=15000 [job_output]=5000
  [mpi_tools]=15000 [directory]=40000 [text_reader]=8000 [whole_run]=2500 [run_record]=2500
  [rehearsal]=1500 [typed_words]=15000 [host_file_check]=40000
)
# Those that go through whole runs. Two of them read a run's description as whole_run does.
declare -A seeds_too=([run_record]=tests/fuzz/seeds/whole_run [rehearsal]=tests/fuzz/seeds/whole_run)
whole_runs=' environment whole_run run_record rehearsal '

mapfile -t names < <(find tests/fuzz -name '*_fuzzer.cpp' -printf '%f\n' | sed 's/_fuzzer.cpp$//' | sort)
mode=${1:-600}
if [ $# -gt 1 ]; then
  names=("${@:2}")
fi

# An allocation costs more than what is done with it, unless the sanitizer keeps less
# of it; ask it for more to look at a finding: ASAN_OPTIONS=malloc_context_size=30. In
# the long rounds freed memory may be used again at once, while the processor still has
# it; what they find interesting is run again with more room by `coverage`.
case $mode in
  enough | more | speed) kept_memory=quarantine_size_mb=0:thread_local_quarantine_size_kb=0 ;;
  *) kept_memory=quarantine_size_mb=1 ;;
esac
export ASAN_OPTIONS=${ASAN_OPTIONS:-malloc_context_size=0:max_malloc_fill_size=64:$kept_memory}

reached=tests/fuzz/reached.txt
if [ "$mode" = table ]; then
  awk '{ printf "| `%s` | %s | %s of %s | %s |\n", $1, $2, $3, $4, $5; sum += $2 }
       END { printf "\n%s executions in all\n", sum }' "$reached" |
    sed -E ':more; s/([0-9])([0-9]{3})($|[^0-9])/\1,\2\3/; t more'
  exit
fi
log_folder=build/fuzz/log
mkdir -p "$log_folder" build/fuzz/found
build=build/fuzz
options=()
if [ "$mode" = coverage ]; then
  build=build/fuzz_lines
  options=("-DCMAKE_CXX_FLAGS=-fprofile-instr-generate -fcoverage-mapping")
fi
if ! { cmake --preset fuzz -B "$build" "${options[@]}" && cmake --build "$build" --target fuzzers; } \
  >"$log_folder/build" 2>&1; then
  tail -n 40 "$log_folder/build"
  echo "0 passed, 1 failed"
  exit 1
fi

# Unpacks the kept inputs of a fuzzer; says where all that it begins with is.
inputs_of() {
  local name=$1 packed=tests/fuzz/corpus/$1.tar.xz folder=build/fuzz/kept/$1
  rm -rf "$folder"
  mkdir -p "$folder"
  [ ! -e "$packed" ] || tar -xJf "$packed" -C "$folder"
  echo "$folder" "tests/fuzz/seeds/$name" "${seeds_too[$name]:-}"
}

# Runs one fuzzer in a folder for what it finds; its log ends with its exit status.
#   fuzz NAME CORPUS OPTION...
fuzz() {
  local name=$1 corpus=$2 log=$log_folder/$1
  shift 2
  # shellcheck disable=SC2046  # no folder has a blank
  # Leaks are looked for at the end.
  "$build/fuzzers/${name}_fuzzer" "$@" -timeout=60 -rss_limit_mb=4096 -entropic=0 -reload=0 \
    -detect_leaks=0 -print_final_stats=1 -artifact_prefix="build/fuzz/found/$name-" \
    -dict=tests/fuzz/launcher.dict "$corpus" $(inputs_of "$name") >"$log" 2>&1 </dev/null
  echo "status $?" >>"$log"
}

runs_of() {
  grep -a -o 'number_of_executed_units: .*' "$log_folder/$1" | grep -o '[0-9]*'
}

# The edges of the launcher that were reached, and how many there are.
edges_of() {
  sed -n 's/.* cov: \([0-9]*\) .*/\1/p' "$log_folder/$1" | tail -n 1
}
all_edges_of() {
  sed -n 's/.*(\([0-9]*\) inline 8-bit counters).*/\1/p' "$log_folder/$1" | head -n 1
}

fuzz_short() {
  local corpus
  corpus=$(mktemp -d)
  fuzz "$1" "$corpus" -seed=1 "-runs=${short_runs[$1]}"
  rm -rf "$corpus"
}

# Adds a round to the sums.
add_to_reached() {
  (
    flock 9
    touch "$reached"
    awk -v name="$1" -v runs="$2" -v edges="$3" -v all="$4" '
      $1 != name { print; next }
      { sum = $2; quiet = edges > $3 ? 0 : $5 + runs; edges = edges > $3 ? edges : $3 }
      END { print name, sum + runs, edges, all, quiet + 0 }' "$reached" | sort >"$reached.new"
    mv "$reached.new" "$reached"
  ) 9>build/fuzz/reached.lock
}

has_had_enough() {
  awk -v name="$1" -v most="$2" '$1 == name && $5 >= most { found = 1 } END { exit !found }' "$reached"
}

runs_in_a_round() {
  case $1 in
    directory | host_file_check) echo 2000000 ;;
    environment | whole_run | run_record | rehearsal) echo 20000 ;;
    *) echo 500000 ;;
  esac
}

# One round, unless it has had enough or broke in the last one.
fuzz_a_round() {
  local name=$1 corpus=build/fuzz/corpus/$1
  mkdir -p "$corpus"
  fuzz "$name" "$corpus" -max_len=1500 "-runs=$(runs_in_a_round "$name")"
  if [ "$(tail -n 1 "$log_folder/$name")" = "status 0" ]; then
    add_to_reached "$name" "$(runs_of "$name")" "$(edges_of "$name")" "$(all_edges_of "$name")"
  fi
}

# The fuzzers that have neither had enough nor broken something.
names_to_go_on() {
  local name runs
  for name in "$@"; do
    runs=1000000
    case $whole_runs in *" $name "*) runs=100000 ;; esac
    if [ "$(tail -n 1 "$log_folder/$name")" = "status 0" ] && ! has_had_enough "$name" "$runs"; then
      echo "$name"
    fi
  done
}

# Packed so that the same inputs are the same file.
keep() {
  local name=$1 log=$log_folder/$1 fewest
  fewest=$(mktemp -d)
  mkdir -p tests/fuzz/corpus "build/fuzz/corpus/$name"
  # shellcheck disable=SC2046  # no folder has a blank
  build/fuzz/fuzzers/"${name}_fuzzer" -merge=1 -max_len=2000 -detect_leaks=0 \
    "$fewest" $(inputs_of "$name") "build/fuzz/corpus/$name" >"$log" 2>&1 </dev/null || return
  tar --sort=name --owner=0 --group=0 --numeric-owner --mtime=@0 --mode=u=rwX,go=rX \
    -cJf "tests/fuzz/corpus/$name.tar.xz" -C "$fewest" .
  rm -rf "$fewest"
  measure "$name"
}

# A tenth of a round, with the same random numbers each time.
measure_speed() {
  local name=$1 corpus runs seconds TIMEFORMAT='%U'
  runs=$(($(runs_in_a_round "$name") / 10))
  corpus=$(mktemp -d)
  seconds=$({ time fuzz "$name" "$corpus" -max_len=1500 -seed=1 "-runs=$runs" 2>/dev/null; } 2>&1)
  rm -rf "$corpus"
  awk -v name="$name" -v runs="$runs" -v seconds="$seconds" \
    'BEGIN { printf "| `%s` | %d |\n", name, runs / seconds }'
}

# The kept inputs and the seeds alone.
measure() {
  local nothing_new
  nothing_new=$(mktemp -d)
  fuzz "$1" "$nothing_new" -runs=0
  rm -rf "$nothing_new"
}

# The lines that these fuzzers have run, of those of src/ that are linked with them.
#   lines_of NAME...
lines_of() {
  local name counts=$build/counts programs=() profiles=()
  for name in "$@"; do
    profiles+=("$build/$name.profraw")
    programs+=(-object "$build/fuzzers/${name}_fuzzer")
  done
  llvm-profdata merge "${profiles[@]}" -o "$counts" &&
    llvm-cov report -instr-profile="$counts" -ignore-filename-regex='/(tests|usr)/' "${programs[@]}" |
    awk '$1 == "TOTAL" { printf "%d of %d", $8 - $9, $8 }'
}

# The rows of the table.
print_coverage() {
  local name
  for name in "${names[@]}"; do
    echo "| \`$name\` | $(find "build/fuzz/kept/$name" -type f | wc -l) | $(lines_of "$name") |"
  done
  echo "| together | | $(lines_of "${names[@]}") |"
}

run_fuzzer() {
  local name=$1
  case $mode in
    short) fuzz_short "$name" ;;
    enough | more) fuzz_a_round "$name" ;;
    speed) measure_speed "$name" ;;
    keep) keep "$name" ;;
    coverage) LLVM_PROFILE_FILE=$build/$name.profraw measure "$name" ;;
    *)
      mkdir -p "build/fuzz/corpus/$name"
      fuzz "$name" "build/fuzz/corpus/$name" "-max_total_time=$mode"
      ;;
  esac
}

passed=0
failed=0
report() {
  local name=$1 log=$log_folder/$1 runs edges
  runs=$(runs_of "$name")
  edges=$(edges_of "$name")
  if [ "$(tail -n 1 "$log")" = "status 0" ] && [ "${runs:-0}" -gt 0 ]; then
    printf 'fuzz %-15s %9d runs, %5d of %5d edges\n' "$name" "$runs" "${edges:-0}" "$(all_edges_of "$name")"
    passed=$((passed + 1))
  else
    printf 'fuzz %-15s failed (all of it: %s)\n' "$name" "$log"
    grep -a -A 8 -e 'Does not hold' -e '^==.*ERROR' "$log" | cut -c 1-200 | head -n 20
    failed=$((failed + 1))
  fi
}

# Two at a time: most machines have at least two processors.
run_fuzzers() {
  local name
  for name in "$@"; do
    while [ "$(jobs -r | wc -l)" -ge 2 ]; do
      wait -n
    done
    run_fuzzer "$name" &
  done
  wait
}

run_fuzzers "${names[@]}"
if [ "$mode" = enough ]; then
  mapfile -t going_on < <(names_to_go_on "${names[@]}")
  while [ "${#going_on[@]}" -gt 0 ]; do
    run_fuzzers "${going_on[@]}"
    mapfile -t going_on < <(names_to_go_on "${going_on[@]}")
  done
fi
for name in "${names[@]}"; do
  report "$name"
done
if [ "$mode" = coverage ]; then
  print_coverage
fi
echo "$passed passed, $failed failed"
[ "$failed" -eq 0 ]
