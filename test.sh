#!/bin/bash
# test.sh: everything that can be checked about the launcher on a Debian machine.
#
#   ./test.sh              all steps but tidy
#   ./test.sh STEP ...     only these, in the order in which they stand below
#
# What is missing is installed first. Steps that mostly wait run beside the others.
# Each check counts as one, each test of a test program as one; the last line is
# "N passed, N failed". What a step printed is kept in build/test.
set -uo pipefail

root=$(cd "$(dirname "$0")" && pwd)
# shellcheck source=scripts/machine.sh
. "$root/scripts/machine.sh"
# shellcheck source=scripts/wine.sh
. "$root/scripts/wine.sh"

all_steps=(build scripts format cppcheck program packages clang tidy sanitize wine stress scenarios cluster demos coverage fuzz)
default_steps=(build scripts format cppcheck program packages clang sanitize wine stress scenarios cluster demos coverage fuzz)
logs=$root/build/test
jobs=$(nproc)
passed=0
failed=0
configure_always=yes

# ---- Counting -------------------------------------------------------------------------------

heading() {
  printf '\n== %s\n' "$*"
}

# Adds a result to the counts and says it.
count() {
  local ok=$1 bad=$2 what=$3
  passed=$((passed + ok))
  failed=$((failed + bad))
  printf '   %s: %d passed, %d failed\n' "$what" "$ok" "$bad"
}

# Shows the end of a log, where the fault mostly stands.
show_end() {
  tail -n 40 "$1" | sed 's/^/   | /'
}

# Runs a command as one check; what it prints is shown when it fails.
#   check NAME COMMAND...
check() {
  local name=$1 log=$logs/$1.log began=$SECONDS
  shift
  if "$@" >"$log" 2>&1 </dev/null; then
    count 1 0 "$name ($((SECONDS - began)) s)"
  else
    show_end "$log"
    count 0 1 "$name ($((SECONDS - began)) s, all of it: $log)"
  fi
}

# Runs a test program of GoogleTest; each of its tests counts.
#   run_tests NAME COMMAND...
run_tests() {
  local name=$1 log=$logs/$1.log status=0 began=$SECONDS
  shift
  "$@" >"$log" 2>&1 </dev/null || status=$?
  count_tests "$name" "$log" "$status" $((SECONDS - began))
}

# Counts the tests in the log of a test program. A program that ran no test, did
# not come to its end, or failed for no test's fault counts as one more failure.
count_tests() {
  local name=$1 log=$2 status=$3 seconds=$4 ok bad skipped announced
  tr -d '\r' <"$log" >"$log.text"
  ok=$(grep -c '^\[       OK \] .* ([0-9]* ms)$' "$log.text")
  bad=$(grep -c '^\[  FAILED  \] .* ([0-9]* ms)$' "$log.text")
  skipped=$(grep -c '^\[  SKIPPED \] .* ([0-9]* ms)$' "$log.text")
  announced=$(sed -n 's/^\[==========\] \([0-9]*\) tests\{0,1\} from .* ran\..*/\1/p' "$log.text" | head -n 1)
  show_failed_tests "$log.text"
  if [ $((ok + bad + skipped)) -ne "${announced:-0}" ] || [ $((ok + bad)) -eq 0 ] ||
    { [ "$status" -ne 0 ] && [ "$bad" -eq 0 ]; }; then
    show_end "$log.text"
    printf '   %s did not end as it should: exit code %s\n' "$name" "$status"
    bad=$((bad + 1))
  fi
  [ "$skipped" -eq 0 ] || printf '   %d tests of %s were skipped\n' "$skipped" "$name"
  count "$ok" "$bad" "$name ($seconds s)"
  rm -f "$log.text"
}

# What the tests that failed have printed, the first lines of each.
show_failed_tests() {
  awk '/^\[ RUN      \]/ { text = ""; lines = 0 }
       lines++ < 40 { text = text "   | " $0 "\n" }
       /^\[  FAILED  \] .* \([0-9]* ms\)$/ { printf "%s", text }' "$1"
}

# ---- The text of the tree -------------------------------------------------------------------

# The C++ files of the tree, one a line.
cpp_files() {
  (cd "$root" && find . -path ./build -prune -o -path ./.git -prune -o \( -name '*.cpp' -o -name '*.h' \) -print)
}

step_scripts() {
  heading "Shell scripts: shellcheck"
  (cd "$root" && find . -path ./build -prune -o -path ./.git -prune -o -name '*.sh' -print) >"$logs/scripts.list"
  # shellcheck disable=SC2046  # no file name has a blank
  check scripts in_root shellcheck -x .ci/run $(cat "$logs/scripts.list")
}

in_root() {
  (cd "$root" && "$@")
}

step_format() {
  heading "Layout of the code: clang-format"
  check format format_is_right
}

format_is_right() {
  cpp_files | (cd "$root" && xargs -P "$jobs" -n 20 clang-format --dry-run --Werror)
}

step_cppcheck() {
  heading "Faults in the code: cppcheck"
  check cppcheck in_root cppcheck -j "$jobs" --std=c++20 --language=c++ --quiet \
    --enable=warning,performance,portability --inline-suppr --error-exitcode=1 \
    --suppress=missingInclude --suppress=passedByValue --library=googletest \
    -I src -I tests/support -I tests/tools src tests demo
}

# ---- Windows programs -----------------------------------------------------------------------

step_build() {
  heading "Windows programs: g++, every warning an error"
  check build build_preset mingw
  is_built=yes
}

# Builds them for a step that was asked for alone.
is_built=
need_build() {
  if [ -z "$is_built" ]; then
    build_preset mingw || give_up "the Windows programs cannot be built"
    is_built=yes
  fi
}

# The launcher may need nothing but Windows itself, and stays small.
step_program() {
  need_build
  heading "The launcher as a file"
  check program-imports imports_are_of_windows
  check program-subsystem subsystem_is_right
  check program-size size_is_small
  check program-symbols symbols_are_apart
}

imports_are_of_windows() {
  local program libraries
  for program in mpirun zprun mpirun_console; do
    libraries=$(x86_64-w64-mingw32-objdump -p "$root/build/mingw/$program.exe" |
      sed -n 's/.*DLL Name: //p' | tr '[:upper:]' '[:lower:]')
    printf '%s:\n%s\n' "$program" "$libraries"
    [ -n "$libraries" ] || return 1
    # The window library costs a third of a bare start, so it is loaded when needed.
    if grep -qvE '^(kernel32|msvcrt|ucrtbase|advapi32|ntdll|api-ms-win-.*)(\.dll)$' <<<"$libraries"; then
      return 1
    fi
  done
}

subsystem_is_right() {
  x86_64-w64-mingw32-objdump -p "$root/build/mingw/mpirun.exe" | grep 'Subsystem.*GUI' &&
    x86_64-w64-mingw32-objdump -p "$root/build/mingw/zprun.exe" | grep 'Subsystem.*CUI' &&
    x86_64-w64-mingw32-objdump -p "$root/build/mingw/mpirun_console.exe" | grep 'Subsystem.*CUI'
}

size_is_small() {
  local size
  size=$(stat -c %s "$root/build/mingw/mpirun.exe")
  echo "$size bytes"
  [ "$size" -le 400000 ]
}

# The program has none, and the file beside it knows where a function stands.
symbols_are_apart() {
  local program=$root/build/mingw/mpirun.exe address
  [ -z "$(x86_64-w64-mingw32-nm "$program" 2>/dev/null)" ] || return 1
  address=$(x86_64-w64-mingw32-nm -C "$program.debug" | sed -n 's/^\([0-9a-f]*\) T build_mpich2_command()$/\1/p')
  x86_64-w64-mingw32-addr2line -e "$program.debug" "$address" | grep '/src/backends/mpich2\.cpp:'
}

# What a site gets can be built again: a copy of the sources elsewhere gives the same bytes.
step_packages() {
  need_build
  heading "The packages, built once more elsewhere"
  check packages-again packages_are_the_same
}

packages_are_the_same() {
  local again=$root/build/again
  rm -rf "$again"
  mkdir -p "$again/sources"
  (cd "$root" && tar c --exclude=./build --exclude=./.git .) | tar x -C "$again/sources" &&
    env -u CMAKE_CXX_COMPILER_LAUNCHER cmake -S "$again/sources" -B "$again/build" -G Ninja \
      -DCMAKE_BUILD_TYPE=Release -DCMAKE_TOOLCHAIN_FILE="$again/sources/cmake/mingw.cmake" -DBUILD_TESTING=OFF &&
    cmake --build "$again/build" --target packages &&
    diff "$again/build/packaging/packages/SHA256SUMS" "$root/build/mingw/packaging/packages/SHA256SUMS"
}

step_clang() {
  need_build
  heading "The same code: clang, every warning an error, and clang-tidy for the launcher's own"
  check clang-windows clang_accepts_windows_programs
  check clang-tidy tidy_launcher
}

# Not among the default steps: it takes longer than the building of it all.
step_tidy() {
  need_build
  heading "Faults in all of the code: clang-tidy"
  check tidy-windows tidy_windows_files src tests bench packaging
  check tidy-linux tidy_linux_files
}

# The compiler that the commands are written for knows where its library is; clang
# is told. Headers that it has read beforehand are nothing for clang.
write_clang_commands() {
  local include commands=$root/build/clang
  include=$(x86_64-w64-mingw32-g++-posix -print-file-name=include)
  include=${include%/include}/include/c++
  mkdir -p "$commands"
  sed "s#\"command\": \"[^ ]*g++-posix #\"command\": \"clang++ --target=x86_64-w64-windows-gnu -nostdinc++ \
-isystem $include -isystem $include/x86_64-w64-mingw32 -isystem /usr/x86_64-w64-mingw32/include \
-Wno-unknown-warning-option #; s# -Winvalid-pch -include [^ ]*##" "$root/build/mingw/compile_commands.json" >"$commands/compile_commands.json"
}

# The C++ files of the named folders that a build compiles.
#   compiled_files BUILD FOLDER...
compiled_files() {
  local build=$1 folders
  shift
  folders=$(IFS='|' && echo "$*")
  sed -n 's/^ *"file": "\(.*\)".*/\1/p' "$build/compile_commands.json" |
    grep -E "^$root/($folders)/.*\.cpp$" | sort -u
}

# What clang does not read anyway: clang-tidy reads the launcher's own files for
# Windows, and the sanitizers' build reads the unit tests.
clang_accepts_windows_programs() {
  local folder=$root/build/clang header=$root/build/clang/headers.h
  write_clang_commands
  clang_commands | grep -E " $root/(tests/(scenario|stress|tools)/|tests/door/windows|bench/|packaging/)" \
    >"$folder/commands"
  grep -E " $root/tests/scenario/" "$folder/commands" | head -n 1 |
    sed "s# -fsyntax-only .*# -x c++-header $header -o $header.pch#" >"$folder/header_command"
  # What most of them include is read once, and again by those that do not need it.
  printf '#include <%s>\n' winsock2.h windows.h gtest/gtest.h algorithm filesystem functional map thread >"$header"
  (cd "$folder" && sed -i 's/ -O[0-3s]//g' header_command commands && sh header_command &&
    sed "s# -fsyntax-only # -include-pch $header.pch&#" commands |
    xargs -d '\n' -P "$jobs" -n 1 sh -c)
}

# The commands that only read a file, one a line. No path of a command has a blank, so
# each is words without quotes but for the texts that are defined, whose quotes the
# shell takes off.
clang_commands() {
  sed -n 's/^ *"command": "\(.*\)",$/\1/p' "$root/build/clang/compile_commands.json" |
    sed 's/\\\(.\)/\1/g; s/ -o [^ ]* -c / -fsyntax-only /; s/ -MD -MT [^ ]* -MF [^ ]*//' | grep '^clang'
}

# Runs clang-tidy with clang's own warnings on the files that are named on standard
# input, in a build's compile commands. The large files go first, so that no long
# one is left at the end.
tidy() {
  xargs ls -S | xargs -P "$jobs" -n 1 clang-tidy --quiet -p "$1" --checks='clang-diagnostic-*'
}

# The launcher's own files, as the Windows program that they are. In a shell of its own,
# as it waits for all that it has started.
tidy_launcher() (
  local folder=$root/build/clang files file number=0 group groups=6 tidy_options
  write_clang_commands
  # What a file is compiled with, and what is defined for any of them.
  clang_commands | grep " $root/src/" | sed 's/ -fsyntax-only .*//; s/^[^ ]* //' >"$folder/options"
  eval "tidy_options=($(head -n 1 "$folder/options") $(grep -o ' -D[^ ]*' "$folder/options" | sort -u | tr -d '\n'))"
  mapfile -t files < <(compiled_files "$folder" src)
  rm -f "$folder"/group*
  # The programs' entries have nothing that can be shared; six groups of the others keep
  # the back-ends apart, whose functions have the same names.
  for file in "${files[@]}"; do
    case $file in
      *_entry.cpp) echo "$file" >>"$folder/group_$(basename "$file" .cpp)" ;;
      *)
        echo "$file" >>"$folder/group_$((number % groups))"
        number=$((number + 1))
        ;;
    esac
  done
  for group in "$folder"/group_*; do
    [ "$(jobs -r | wc -l)" -lt "$jobs" ] || wait -n
    mapfile -t files <"$group"
    tidy_together "$group" "${files[@]}" || echo "$group" >>"$folder/group_failures" &
  done
  wait
  [ ! -e "$folder/group_failures" ]
)

# Runs clang-tidy on several files at once, as most of its time goes into the headers
# that they share. When they cannot be read together, as when two have a function of
# the same name, each half of them is tried by itself.
#   tidy_together NAME FILE...
tidy_together() {
  local name=$1 half status=0
  shift
  printf '#include "%s"\n' "$@" >"$name.cpp"
  if [ $# -gt 1 ] && ! clang++ "${tidy_options[@]}" -fsyntax-only "$name.cpp" 2>/dev/null; then
    half=$(($# / 2))
    tidy_together "${name}a" "${@:1:half}" || status=1
    tidy_together "${name}b" "${@:half+1}" || status=1
  elif in_root clang-tidy --quiet --checks='clang-diagnostic-*,-bugprone-suspicious-include' "$name.cpp" -- \
    "${tidy_options[@]}" >"$name.log" 2>&1; then
    printf '%s\n' "$@"
  else
    cat "$name.log"
    status=1
  fi
  return $status
}

tidy_windows_files() {
  write_clang_commands
  compiled_files "$root/build/clang" "$@" | tidy "$root/build/clang"
}

# What is built on Linux only, and the solver of the demo.
tidy_linux_files() {
  local preset status=0
  write_clang_commands
  for preset in sanitize fuzz; do
    configure_preset "$preset" || return 1
    comm -23 <(compiled_files "$root/build/$preset" src tests packaging) \
      <(compiled_files "$root/build/clang" src tests packaging) |
      tidy "$root/build/$preset" || status=1
  done
  in_root clang-tidy --quiet --checks='clang-diagnostic-*' demo/*.cpp -- -std=c++20 -Wall -Wextra \
    -Wpedantic -Wshadow -Wconversion -isystem "$(dirname "$(find /usr/include -path '*mpich/mpi.h')")" || status=1
  return $status
}

# ---- Tests ----------------------------------------------------------------------------------

step_sanitize() {
  heading "Unit tests on Linux: clang, AddressSanitizer and UndefinedBehaviorSanitizer"
  check sanitize-build build_preset sanitize
  run_tests sanitize-unit env "LLVM_PROFILE_FILE=$logs/unit.profraw" "$root/build/sanitize/unit_tests"
  run_tests sanitize-door "$root/build/sanitize/door_tests"
  run_tests sanitize-bridge "$root/build/sanitize/mpi_bridge_tests"
  run_tests sanitize-head-node "$root/build/sanitize/head_node_tests"
  run_tests sanitize-documents "$root/build/sanitize/documents_tests"
}

# A prefix and a display for each worker that runs Windows programs.
worker_prefix=()
worker_display=()
start_workers() {
  local number
  for ((number = ${#worker_prefix[@]}; number < $1; ++number)); do
    wine_start
    worker_prefix+=("$WINEPREFIX")
    worker_display+=("$DISPLAY")
  done
}

# Runs a Windows program as one of the workers, for 10 minutes at most.
as_worker() {
  local number=$1 program=$2
  shift 2
  (cd "$(dirname "$program")" && WINEPREFIX=${worker_prefix[number]} DISPLAY=${worker_display[number]} \
    timeout -k 10 600 "${wine_personality[@]}" "$wine_loader" "$program" "$@")
}

step_wine() {
  need_build
  heading "Unit tests as Windows programs under Wine"
  local program
  start_workers 1
  for program in unit_tests door_tests mpi_bridge_tests; do
    run_tests "wine-$program" as_worker 0 "$root/build/mingw/$program.exe"
  done
  use_code_page_932
}

# A Japanese Windows: names with letters of two bytes, and host files as anywhere else.
use_code_page_932() {
  run_tests code-page-932-door as_japanese_worker "$root/build/mingw/door_tests.exe" '--gtest_filter=*LeadBytes*'
  run_tests code-page-932 as_japanese_worker "$root/build/mingw/tests/scenario/scenario_tests.exe" \
    '--gtest_filter=DoubleByteName.*:HostFileCase.*-*BytesAbove127'
  # Under another page these are skipped.
  [ "$(grep -c 'OK.*DoubleByteName' "$logs/code-page-932.log")" -gt 0 ] || count 0 1 "Wine has no code page 932"
}

# Wine takes the code page from the locale, which a machine seldom has.
as_japanese_worker() {
  (
    export LOCPATH=$logs/locales
    mkdir -p "$LOCPATH"
    [ -e "$LOCPATH/ja_JP.UTF-8" ] || localedef -i ja_JP -f UTF-8 "$LOCPATH/ja_JP.UTF-8"
    export LC_ALL=ja_JP.UTF-8 2>/dev/null  # the shell itself does not find it there
    as_worker 0 "$@"
  )
}

step_stress() {
  need_build
  heading "What is ended at a time limit, thousands of times in one process"
  start_workers 1
  run_tests stress as_worker 0 "$root/build/mingw/stress_tests.exe"
}

# A disk that is full, for those who may mount one; without it a few tests are skipped.
make_full_disk() {
  local folder=$logs/full_disk
  mkdir -p "$folder"
  if mountpoint -q "$folder" || mount -t tmpfs -o size=4k,mode=1777 full_disk "$folder" 2>/dev/null; then
    head -c 8192 /dev/zero >"$folder/filler" 2>/dev/null || true
    export SCENARIO_FULL_DISK=$folder
  fi
}

remove_full_disk() {
  if [ -n "${SCENARIO_FULL_DISK:-}" ]; then
    umount "$SCENARIO_FULL_DISK" || true
    unset SCENARIO_FULL_DISK
  fi
}

step_scenarios() {
  need_build
  make_full_disk
  local workers=$((jobs + 1))  # a scenario waits for a third of its time
  heading "Scenarios: the launcher from outside under Wine, by $workers workers"
  start_workers "$workers"
  local program=$root/build/mingw/tests/scenario/scenario_tests.exe number worker=() began=$SECONDS
  for ((number = 0; number < workers; ++number)); do
    GTEST_TOTAL_SHARDS=$workers GTEST_SHARD_INDEX=$number as_worker "$number" "$program" \
      >"$logs/scenarios-$number.log" 2>&1 </dev/null &
    worker+=("$!")
  done
  for ((number = 0; number < workers; ++number)); do
    local status=0
    wait "${worker[number]}" || status=$?
    count_tests "scenarios-$number" "$logs/scenarios-$number.log" "$status" $((SECONDS - began))
  done
  remove_full_disk
}

# The scheduler's tools and the launcher on a cluster of this machine.
step_cluster() {
  need_build
  heading "The cluster: job.exe over Slurm, and launches through it"
  start_workers 1
  # shellcheck source=scripts/cluster.sh
  . "$root/scripts/cluster.sh"
  local program=$root/build/mingw/tests/scenario/cluster_tests.exe tests
  if without_locks start_cluster; then
    for tests in JobTool LauncherOnCluster FaultyCluster; do
      run_tests "cluster-$tests" as_worker 0 "$program" "--gtest_filter=$tests.*"
    done
    stop_cluster
  else
    count 0 1 "the cluster does not start"
  fi
}

# Each launch of real ranks that the demo shows, and what the runs have written down.
step_demos() {
  heading "Launches of real ranks through each MPI"
  local demo
  for demo in $(sed -n 's/^demo_\([a-z0-9_]*\)() {$/\1/p' "$root/demo.sh" | tr _ -); do
    check "demo-$demo" "$root/demo.sh" "$demo"
    check "records-$demo" "$root/scripts/check_records.py" "$root/docs/run-record.schema.json" \
      "$root"/build/demo/disk/records/*.json
  done
}

step_coverage() {
  heading "Lines and branches of src/ that the unit tests reach"
  check coverage measure_coverage
  grep -E '^(lines|branches):' "$logs/coverage.log" | sed 's/^/   /'
}

# The sanitizers' build counts; what its unit tests have counted in this run is taken.
# Behind the door to Windows there is nothing to measure on Linux.
measure_coverage() {
  local counts=$logs/unit.profdata program=$root/build/sanitize/unit_tests
  local report=(-instr-profile="$counts" -ignore-filename-regex='/(tests|platform)/' "$program")
  if [ ! -e "$logs/unit.profraw" ]; then
    build_preset sanitize unit_tests || return 1
    LLVM_PROFILE_FILE=$logs/unit.profraw "$program" --gtest_brief=1 || return 1
  fi
  llvm-profdata merge "$logs/unit.profraw" -o "$counts" || return 1
  llvm-cov show -format=html -show-branches=count -o "$logs/coverage" "${report[@]}" || return 1
  llvm-cov export -summary-only "${report[@]}" >"$logs/coverage.json" || return 1
  tr '{' '\n' <"$logs/coverage.json" | sed 's/"totals"/&\n/' >"$logs/coverage.totals"
  share_is_at_least lines 97 && share_is_at_least branches 92
}

# The last counts in the file are those of all files together.
share_is_at_least() {
  sed -n "/\"$1\":\$/{n;p;}" "$logs/coverage.totals" | tail -n 1 |
    awk -F '[:,}]' -v what="$1" -v least="$2" '
      { share = 100 * $4 / $2; printf "%s: %.2f %% (%d of %d)\n", what, share, $4, $2 }
      END { exit !($2 > 0 && share >= least) }'
}

# A few seconds of each fuzzer.
step_fuzz() {
  heading "Fuzzers: a short round of each"
  local log=$logs/fuzz.log began=$SECONDS ok=0 bad=1
  "$root/tests/fuzz/run.sh" short >"$log" 2>&1 </dev/null
  if [[ $(tail -n 1 "$log") =~ ^([0-9]+)\ passed,\ ([0-9]+)\ failed$ ]]; then
    ok=${BASH_REMATCH[1]}
    bad=${BASH_REMATCH[2]}
  fi
  if [ $((ok + bad)) -eq 0 ]; then
    bad=1
  fi
  [ "$bad" -eq 0 ] || show_end "$log"
  count "$ok" "$bad" "fuzz ($((SECONDS - began)) s)"
}

# ---- Steps beside the others ----------------------------------------------------------------

# These mostly wait, so they run beside those that keep the processors busy.
waiting_steps=(stress cluster demos)
beside=  # the shell that runs them

# Runs steps in a shell of their own, one after the other. What they print and count
# is kept for join_beside.
run_beside() {
  local step passed_before=$passed failed_before=$failed
  rm -f "$logs/beside.counts"
  (
    trap end_of_test EXIT
    trap 'exit 143' TERM
    for step in "$@"; do
      run_step "$step"
    done
    printf '%d %d\n' $((passed - passed_before)) $((failed - failed_before)) >"$logs/beside.counts"
  ) >"$logs/beside.log" 2>&1 </dev/null &
  beside=$!
}

# Waits for them, and takes over what they have printed and counted.
join_beside() {
  local ok=0 bad=1
  [ -n "$beside" ] || return 0
  wait "$beside"
  beside=
  cat "$logs/beside.log"
  if [ -e "$logs/beside.counts" ]; then
    read -r ok bad <"$logs/beside.counts"
  else
    printf '   %s did not come to their end\n' "${waiting_steps[*]}"
  fi
  passed=$((passed + ok))
  failed=$((failed + bad))
}

# Ends a process and all that it started, from the last one up.
end_tree() {
  local child children
  read -ra children < <(cat "/proc/$1/task/"*/children 2>/dev/null)
  for child in "${children[@]}"; do
    end_tree "$child"
  done
  kill -TERM "$1" 2>/dev/null
}

# ---- The run --------------------------------------------------------------------------------

# A step that has checked nothing has failed.
run_step() {
  local step=$1 before=$((passed + failed)) began=$SECONDS
  "step_$step"
  if [ $((passed + failed)) -eq "$before" ]; then
    count 0 1 "$step has checked nothing"
  fi
  printf '   -- %s took %d s\n' "$step" $((SECONDS - began))
}

end_of_test() {
  if [ -n "$beside" ]; then
    end_tree "$beside"
    wait "$beside"
    beside=
  fi
  if declare -F stop_cluster >/dev/null; then
    stop_cluster
  fi
  wine_stop
  remove_full_disk
}

main() {
  local steps=("$@") step
  [ ${#steps[@]} -gt 0 ] || steps=("${default_steps[@]}")
  for step in "${steps[@]}"; do
    case " ${all_steps[*]} " in
      *" $step "*) ;;
      *) give_up "unknown step: $step (${all_steps[*]})" ;;
    esac
  done
  echo "Checks and tests of the launcher: ${steps[*]}"
  install_packages "${build_packages[@]}" "${wine_packages[@]}" "${mpi_packages[@]}" "${check_packages[@]}" \
    "${package_packages[@]}"
  mkdir -p "$logs"
  rm -f "$logs/unit.profraw"
  trap end_of_test EXIT
  trap 'exit 130' INT TERM HUP
  local in_turn=() waiting=()
  for step in "${all_steps[@]}"; do
    case " ${steps[*]} " in
      *" $step "*) ;;
      *) continue ;;
    esac
    case " ${waiting_steps[*]} " in
      *" $step "*) waiting+=("$step") ;;
      *) in_turn+=("$step") ;;
    esac
  done
  if [ "${in_turn[0]:-}" = build ]; then
    run_step build
    in_turn=("${in_turn[@]:1}")
  fi
  if [ ${#waiting[@]} -gt 0 ]; then
    need_build
    run_beside "${waiting[@]}"
  fi
  for step in "${in_turn[@]}"; do
    run_step "$step"
  done
  join_beside
  end_of_test
  printf '\n%d passed, %d failed\n' "$passed" "$failed"
  [ "$failed" -eq 0 ] && [ "$passed" -gt 0 ]
}

main "$@"
