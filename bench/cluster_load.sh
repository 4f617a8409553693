#!/usr/bin/env bash
# bench/cluster_load.sh [COUNT]: starts COUNT launchers (64) at once against the
# cluster of eight nodes. Each creates a job of its own for four processors, so that
# four of them run at a time, and follows it to its end.
#
# CLUSTER_CORES=16 makes the nodes larger, for more launchers: then 32 run at a time.
#
# Checks that every job ran exactly once, that none was lost and that none holds
# nodes, and tells how long it took beside the same jobs given to Slurm bare. Ends
# with 0 when all of that holds.
set -uo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
# shellcheck source=scripts/machine.sh
. "$root/scripts/machine.sh"
# shellcheck source=scripts/wine.sh
. "$root/scripts/wine.sh"
# shellcheck source=scripts/cluster.sh
. "$root/scripts/cluster.sh"
# shellcheck source=bench/launchers.sh
. "$root/bench/launchers.sh"

count=${1:-64}
place=$root/build/bench/cluster

end_of_load() {
  stop_cluster
  wine_stop
}

launch_all() {
  start_launchers "$place" "$count"
  wait "${launchers[@]}"
}

# The same jobs without the launcher: an allocation, and one program under Wine in it.
launch_bare() {
  local number started=()
  for ((number = 1; number <= count; ++number)); do
    salloc -Q -n 4 srun --overlap -N1 -n1 "${wine_personality[@]}" "$wine_loader" \
      "$place/ms/mpiexec.exe" </dev/null >/dev/null 2>&1 &
    started+=("$!")
  done
  wait "${started[@]}"
}

faults=0
check() { # what was found, what is right, what it is
  printf '  %-45s %s\n' "$3" "$1"
  [ "$1" = "$2" ] || {
    faults=$((faults + 1))
    printf '  WRONG: it should be %s\n' "$2"
  }
}

check_launches() {
  check "$(cat "$place"/outputs/*.status | grep -cx 0)" "$count" "launchers that ended with 0"
  check "$(cat "$place"/outputs/* | grep -ac '^Created job, ID: ')" "$count" "jobs created"
  check "$(cat "$place"/outputs/* | sed -n 's/^Created job, ID: //p' | sort -u | wc -l)" "$count" \
    "different identifiers"
  check "$(grep -ac '^command_line' "$place/ms/mpiexec.log")" "$count" "runs of the MPI"
  check "$(cat "$place"/outputs/* | grep -ac 'is Finished\.')" "$count" "jobs seen to finish"
  check "$(squeue -h -t all -o %T | sort | uniq -c | awk '{ print $2 " " $1 }')" "COMPLETED $count" \
    "jobs in Slurm"
  cluster_wait_for_nodes
  check "$(sinfo -h -N -o %T | grep -cx idle)" 8 "idle nodes"
}

install_packages "${build_packages[@]}" "${wine_packages[@]}"
if [ -z "${BENCH_BUILD-}" ]; then
  build_preset mingw mpirun_console scripted_tool head_node_job head_node_cluscfg head_node_run_task || exit 1
fi
trap end_of_load EXIT
trap 'exit 130' INT TERM HUP
start_machines
start_cluster || give_up "the cluster does not start"
lay_out "$place"
# shellcheck disable=SC2016  # expanded when a task starts
printf 'PATH=L:\\ms;%%PATH%%\n' >"$HEAD_NODE_DIR/cluster_environment"

echo "$count launchers at once on eight nodes, $((8 * cluster_cores / 4)) jobs at a time"
began=$EPOCHREALTIME
launch_all
launched=$(seconds_since "$began")
check_launches
printf '  %-45s %s\n' "calls of job.exe" "$(wine_run "$place/bin/job.exe" head_node calls | tr -d '\r')"
began=$EPOCHREALTIME
launch_bare
check "$(grep -ac '^command_line' "$place/ms/mpiexec.log")" $((2 * count)) "runs with those given to Slurm bare"
printf '  %-45s %s s\n' "with the launcher" "$launched" "bare salloc and srun" "$(seconds_since "$began")"
[ "$faults" -eq 0 ]
