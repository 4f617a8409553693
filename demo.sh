#!/bin/bash
# demo.sh: shows the launcher at work: a release as a user has it, what the user
# types, what became of it, and real MPI ranks of a small real solver.
#
#   ./demo.sh [mpich | msmpi | intel | mpich2 | ibmmpi | check]
#   ./demo.sh [ibmmpi-cluster | cluster | cluster-fail | install]
#
# mpich is shown when nothing is named. Needs nothing but a Debian machine: what
# is missing is installed first. Ends with 0 when everything was as it should be.
set -uo pipefail

root=$(cd "$(dirname "$0")" && pwd)
# shellcheck source=scripts/machine.sh
. "$root/scripts/machine.sh"
# shellcheck source=scripts/wine.sh
. "$root/scripts/wine.sh"

demo=$root/build/demo   # everything that this script makes
disk=$demo/disk         # the user's disk D:
case_folder=$disk/work  # the user's own folder D:\work
records=$disk/records   # what each run writes down
release=12.0.16
release_folder=$disk/zephon/zephon$release
release_name='D:\zephon\zephon12.0.16'  # the same, as Windows programs name it
ranks=4
hosts="localhost $(hostname)"  # names that this machine's network knows

# ---- What the demo stands on ----------------------------------------------------------------

# The solver is a program of this machine, as its ranks are: MPICH's own wrapper
# builds it.
build_solver() {
  local source=$root/demo program=$demo/zephon
  if [ -z "$(find "$source" -newer "$program" 2>/dev/null)" ] && [ -x "$program" ]; then
    return 0
  fi
  mkdir -p "$demo"
  mpicxx.mpich -std=c++20 -O2 -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror \
    "$source"/*.cpp -o "$program"
}

# The user's disk serves one demo at a time.
wait_for_other_demo() {
  mkdir -p "$demo"
  take_lock "$demo/lock" || { say "Waiting for another demo to end" && take_lock "$demo/lock" wait; }
}

# Puts a file in its place, its folder too.
put() {
  mkdir -p "$(dirname "$2")"
  cp "$1" "$2"
}

# The release, the MPIs and the user's own files. Each MPI's programs are the
# bridge, which runs MPICH behind them.
lay_out_tree() {
  local build=$root/build/mingw mpi program
  rm -rf "$disk"
  mkdir -p "$records"
  for program in mpich/bin/mpirun ms/bin/mpiexec {intel,mpich2}/bin/{mpiexec,smpd} ibmmpi/bin/mpirun; do
    put "$build/mpi_bridge.exe" "$release_folder/netweave/mpi/win64/$program.exe"
  done
  for mpi in mpich msmpi intel mpich2 ibmmpi; do
    mkdir -p "$release_folder/netweave/mpi_wrapper/win64/$mpi"
    echo "stands for the wrapper library" \
      >"$release_folder/netweave/mpi_wrapper/win64/$mpi/mpi_wrapper.dll"
  done
  put "$build/zprun.exe" "$release_folder/ntbin/win64/zprun.exe"
  put "$demo/zephon" "$release_folder/ntbin/win64/zephon.exe"
  mkdir -p "$disk/zephon/zephon6.3.26/ntbin/win64"
  put "$root/demo/plate.case" "$case_folder/plate.case"
  # shellcheck disable=SC2086  # one host on a line
  printf '%s\r\n' $hosts >"$case_folder/hosts.txt"
}

show_tree() {
  heading "A release, as a user has it (D: is $disk)"
  (cd "$disk" && find zephon work -type f | sort | sed 's,/,\\,g; s,^,  D:\\,')
}

# What a user sets once, unless the installer has written it down.
set_environment() {
  export ZEPHON_INC='D:\zephon'
  export MPI_BRIDGE_LOG='D:\mpi.log'  # what the MPIs were told
  ln -sfn "$disk" "$WINEPREFIX/dosdevices/d:"
}

heading() {
  printf '\n== %s\n' "$*"
}

# ---- Launches -------------------------------------------------------------------------------

# Runs zprun as a user in D:\work who types this.
run_zprun() {
  local words=() word
  for word in "$@"; do
    case $word in
      *' '*) words+=("\"$word\"") ;;
      *) words+=("$word") ;;
    esac
  done
  printf '\nD:\\work> zprun %s\n\n' "${words[*]}"
  (cd "$case_folder" && ZEPHON_RUN_RECORD="D:\\records\\$(find "$records" -type f | wc -l).json" \
    timeout -k 5 100 "${wine_personality[@]}" "$wine_loader" "$release_folder/ntbin/win64/zprun.exe" "$@")
}

# Launches the solver and checks that it was run as asked.
#   launch HOSTS [options]     on that many hosts; with a host file when it is 2
launch() {
  local hosts=$1 output=$demo/output status=0
  shift
  rm -f "$case_folder/timing.txt" "$disk/mpi.log"
  if [ "$hosts" -gt 1 ]; then
    heading "The host file D:\\work\\hosts.txt"
    sed 's/^/  /' "$case_folder/hosts.txt"
    set -- "$@" -cnf=hosts.txt
  fi
  heading "What the user types: $ranks ranks on $hosts host(s)"
  run_zprun "$@" "-t$ranks" -o timing.txt -i 'D:\work\plate.case' -title 'heated plate' >"$output" 2>&1
  status=$?  # a service that was started may keep the output open: no pipe here
  cat "$output"

  heading "What became of it: the MPI was told"
  sed 's/^/  /' "$disk/mpi.log"
  heading "The timing report D:\\work\\timing.txt"
  sed 's/^/  /' "$case_folder/timing.txt"
  check_launch "$hosts" "$status" "$output"
}

# Every rank has to have spoken, on as many hosts as were asked for, and the
# solution has to be right.
check_launch() {
  local hosts=$1 status=$2 output=$3 spoken
  [ "$status" -eq 0 ] || fail "zprun ended with $status"
  spoken=$(grep -c "^rank [0-9]* of $ranks on " "$output")
  [ "$spoken" -eq "$ranks" ] || fail "$spoken ranks of $ranks have spoken"
  grep -q "$ranks ranks on $hosts host" "$output" || fail "the ranks are not on $hosts host(s)"
  grep -q 'solution verified' "$output" || fail "the solver did not verify its solution"
  check_timing_report
}

check_timing_report() {
  local report=$case_folder/timing.txt label
  [ "$(wc -l <"$report")" -eq 4 ] || fail "the timing report has not four lines"
  for label in 'Start: ' 'End:   ' 'Elapsed Time: ' 'CPU Time: '; do
    grep -q "^$label" "$report" || fail "the timing report lacks a line $label"
  done
}

failed=0
fail() {
  printf '\nDEMO FAILED: %s\n' "$*"
  failed=1
}

# Answers the password question that an MPI asks on the console.
with_password() {
  printf 'secret\n' | "$@"
}

# ---- One function for each MPI --------------------------------------------------------------

demo_mpich() {
  export MPI_HOME=$release_name'\netweave\mpi\win64\mpich'
  launch 2 -mpi=mpich
}

demo_msmpi() {
  launch 1 -mpi=msmpi
  launch 2 -mpi=msmpi
}

# The launcher finds the service missing and starts it, finds no password and has
# the MPI ask for it; the second launch on hosts finds both in place.
demo_intel() {
  launch 1 -mpi=intel
  with_password launch 2 -mpi=intel
  launch 2 -mpi=intel
}

demo_mpich2() {
  launch 1 -mpi=mpich2
  with_password launch 2 -mpi=mpich2
  launch 2 -mpi=mpich2
}

demo_ibmmpi() {
  launch 1  # the default is Platform MPI
  with_password launch 2
  launch 2
}

# ---- The cluster ----------------------------------------------------------------------------

# Slurm's controller and nodes on this machine, job.exe and cluscfg.exe in front
# of them, and the user's folder as the nodes see it: on a share.
start_head_node() {
  local tools=$root/build/mingw/tests/tools/head_node program
  # shellcheck source=scripts/cluster.sh
  . "$root/scripts/cluster.sh"
  build_preset mingw head_node_job head_node_cluscfg head_node_run_task || exit 1
  say "Starting the cluster"
  without_locks start_cluster "$demo/cluster" || give_up "the cluster does not start"
  for program in job cluscfg run_task; do
    put "$tools/$program.exe" "$disk/ccp/$program.exe"
  done
  # Their folder is on the machine's path, as their installation leaves it.
  wine_run reg.exe add 'HKCU\Environment' /v PATH /d 'D:\ccp' /f >/dev/null 2>&1
  mkdir -p "$WINEPREFIX/dosdevices/unc/fileserver"
  ln -sfn "$case_folder" "$WINEPREFIX/dosdevices/unc/fileserver/work"
  work='\\fileserver\work'
}

# Has zprun submit a job, wait for its nodes, follow it and show its output.
#   launch_on_cluster STATUS MPI CASE_FILE
launch_on_cluster() {
  local output=$demo/output status
  heading "What the user types: $ranks ranks in a new job of the cluster"
  run_zprun "-mpi=$2" "-t$ranks" -ccp HEADNODE -cwd "$work" \
    -i "$work\\$3" -title 'heated plate' 2>&1 | tee "$output"
  status=${PIPESTATUS[0]}
  [ "$status" -eq "$1" ] || fail "zprun ended with $status"
  job=$(sed -n 's/^zprun: job \([0-9]*\) is .*/\1/p' "$output" | tail -n 1)
  [ -n "$job" ] || fail "no job was made"
  heading "The job afterwards"
  wine_run "$disk/ccp/job.exe" view "$job" /scheduler:HEADNODE /detailed | tr -d '\r' | tee "$demo/job" | sed 's/^/  /'
}

# The job has to have ended in this state, and no node may still be held.
check_job() {
  grep -m 1 '^State ' "$demo/job" | grep -qi ": $1$" || fail "the job is not $1"
  cluster_wait_for_nodes || fail "nodes are still held"
}

# On all nodes of the job, and there have to be several.
check_solution_of_job() {
  local output nodes
  nodes=$(sed -n 's/^Allocated nodes *: *//Ip' "$demo/job" | head -n 1 | wc -w)
  [ "$nodes" -gt 1 ] || fail "the job has no two nodes"
  output=$demo/output
  grep -q "$ranks ranks on $nodes hosts" "$output" || fail "the ranks are not on the job's nodes"
  grep -q 'solution verified' "$output" || fail "the solver did not verify its solution"
  check_job Finished
}

demo_cluster() {
  start_head_node
  launch_on_cluster 0 msmpi plate.case
  check_solution_of_job
}

demo_ibmmpi_cluster() {
  start_head_node
  launch_on_cluster 0 ibmmpi plate.case
  check_solution_of_job
}

# The case file is missing: what the engineer sees are the task's output files.
demo_cluster_fail() {
  start_head_node
  launch_on_cluster 1 msmpi missing.case
  grep -q 'zephon: cannot read the case file' "$demo/output" || fail "the cause is not shown"
  check_job Failed
}

# ---- Services -------------------------------------------------------------------------------

# The service of MPICH2, installed from the newest release and then found running.
demo_install() {
  rm -f "$case_folder/install_smpd_log.txt"
  heading "Installing the service of MPICH2 from the newest release"
  run_zprun -install_smpd || fail "the installation ended with $?"
  heading "Starting it again: it runs already"
  run_zprun -start_smpd || fail "the start ended with $?"
  heading "The log D:\\work\\install_smpd_log.txt"
  sed 's/^/  /' "$case_folder/install_smpd_log.txt"
  heading "What the service program was told"
  sed 's/^/  /' "$disk/mpi.log"
  grep -q 'MPICH2 SMPD Installation Successful:' "$case_folder/install_smpd_log.txt" ||
    fail "the log names no successful installation"
  grep -q 'MPICH2 SMPD has already been running!' "$case_folder/install_smpd_log.txt" ||
    fail "the log does not find the service running"
  grep -qF "$release_name"'\netweave\mpi\win64\mpich2\bin\smpd.exe -install' "$disk/mpi.log" ||
    fail "the service does not come from the newest release"
}

# ---- Looking before launching ---------------------------------------------------------------

# A launch with three faults, and what it is when they are mended.
demo_check() {
  local output=$demo/output name
  printf '\377\376l\0o\0c\0a\0l\0h\0o\0s\0t\0\r\0\n\0' >"$case_folder/my_hosts.txt"
  rm -r "$release_folder/netweave/mpi_wrapper/win64/mpich2"
  heading "A launch with three faults"
  run_zprun -check -mpi=mpich2 "-t$ranks" -cnf=my_hosts.txt -o plate.case -i plate.case 2>&1 | tee "$output"
  [ "${PIPESTATUS[0]}" -eq 1 ] || fail "the check did not end with 1"
  for name in wrapper host-file report-file; do
    grep -q "^fault *$name " "$output" || fail "the fault $name is not found"
  done
  [ "$(grep -c '^fault ' "$output")" -eq 3 ] || fail "there are not three faults"

  heading "With the cures"
  rm -f "$disk/mpi.log"
  printf 'localhost\r\n' >"$case_folder/my_hosts.txt"
  run_zprun -check -mpi=msmpi "-t$ranks" -cnf=my_hosts.txt -o timing.txt -i plate.case 2>&1 | tee "$output"
  [ "${PIPESTATUS[0]}" -eq 0 ] || fail "the check did not end with 0"
  [ ! -e "$disk/mpi.log" ] || fail "something was started"
}

# ---- The run --------------------------------------------------------------------------------

# Ends all that was started, however the demo ends.
end_demo() {
  if declare -F stop_cluster >/dev/null; then
    stop_cluster "$demo/cluster"
  fi
  wine_stop
}

main() {
  local what=${1:-mpich}
  if ! declare -F "demo_${what//-/_}" >/dev/null; then
    give_up "unknown: $what (mpich msmpi intel mpich2 ibmmpi check ibmmpi-cluster cluster cluster-fail install)"
  fi
  # shellcheck disable=SC2031  # cluster.sh reads the lists in a subshell of its own
  install_packages "${build_packages[@]}" "${wine_packages[@]}" "${mpi_packages[@]}"
  trap end_demo EXIT
  trap 'exit 130' INT TERM HUP
  wait_for_other_demo
  say "Building what is missing"
  build_preset mingw zprun mpi_bridge || exit 1
  build_solver || give_up "the solver cannot be built"
  wine_start
  # Wine's services, which the first program starts, keep its output open.
  wine_run "$root/build/mingw/zprun.exe" -version >/dev/null 2>&1 </dev/null
  lay_out_tree
  set_environment
  show_tree
  "demo_${what//-/_}"
  if [ "$failed" -ne 0 ]; then
    exit 1
  fi
  printf '\nDemo %s: all as it should be.\n' "$what"
}

main "$@"
