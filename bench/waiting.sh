#!/usr/bin/env bash
# bench/waiting.sh [COUNT...]: what COUNT launchers (1 10 100) that wait for their nodes ask
# of the head node, and how soon they see them: once as they always ask, and once
# with ZEPHON_JOB_POLL_LIMIT=20.
#
# WINDOW=20 is the number of seconds in which the questions are counted; LIMIT=20 the limit.
#
# Run it on a machine that does nothing else. It prints a row for each count and limit:
# launchers, limit, questions per second of all together, and the seconds between a job's
# nodes and its task, in the middle and at most. A machine that is too slow for the
# launchers shows in the first of them: a launcher without a limit asks twice a second.
set -uo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
# shellcheck source=scripts/machine.sh
. "$root/scripts/machine.sh"
# shellcheck source=scripts/wine.sh
. "$root/scripts/wine.sh"
# shellcheck source=bench/launchers.sh
. "$root/bench/launchers.sh"

window=${WINDOW:-20}
limit=${LIMIT:-20}
place=$root/build/bench/waiting
head_node=$place.head_node

end_of_waiting() {
  [ -z "${HEAD_NODE_PORT:-}" ] || wine_run "$place/bin/job.exe" head_node end >/dev/null 2>&1
  wine_stop
}

questions() {
  wine_run "$place/bin/job.exe" head_node calls | tr -d '\r'
}

# A head node without a cluster behind it: its jobs wait as long as it is told.
#   start_head_node QUEUED RUNNING
start_head_node() {
  rm -rf "$head_node"
  mkdir -p "$head_node"
  printf 'without_slurm=true\nqueued_seconds=%d\nrunning_seconds=%d\n' "$1" "$2" >"$head_node/settings"
  "$root/build/native/head_node" serve "$head_node" || give_up "the head node does not start"
  HEAD_NODE_PORT=$(cat "$head_node/port") && export HEAD_NODE_PORT
}

#   jobs_that_were submitted|begun
jobs_that_were() {
  python3 "$root/bench/waiting.py" "$1" "$head_node/events"
}

# Waits until so many jobs were submitted, or begun; gives up after so many seconds.
#   await_jobs submitted|begun COUNT SECONDS
await_jobs() {
  local deadline=$((SECONDS + $3))
  while [ "$(jobs_that_were "$1")" -lt "$2" ]; do
    [ "$SECONDS" -lt "$deadline" ] || give_up "$(jobs_that_were "$1") of $2 jobs $1 after $3 s"
    sleep 0.5
  done
}

#   measure COUNT [LIMIT]
measure() {
  local count=$1 before after began
  # Each launcher has started, and its pauses have grown, before it is counted. Its job
  # does not end before it is seen.
  local queued=$((2 * limit + window + count / 4))
  rm -f "$place"/outputs/*
  start_head_node "$queued" $((4 * limit + count))
  export ZEPHON_JOB_POLL_LIMIT=${2:-}
  [ -n "${2:-}" ] || unset ZEPHON_JOB_POLL_LIMIT
  began=$SECONDS
  start_launchers "$place" "$count"
  await_jobs submitted "$count" "$queued"
  sleep "$limit"
  before=$(questions)
  sleep "$window"
  after=$(questions)
  [ $((SECONDS - began)) -lt "$queued" ] || give_up "the first nodes came before the questions were counted"
  await_jobs begun "$count" $((2 * queued))
  printf '| %d | %s | %s | %s |\n' "$count" "${2:-none}" \
    "$(awk -v calls=$((after - before - 1)) -v seconds="$window" 'BEGIN { printf "%.1f", calls / seconds }')" \
    "$(python3 "$root/bench/waiting.py" reaction "$head_node/events" "$queued")"
  # What they do behind their nodes is not measured here.
  end_launchers
  wine_run "$place/bin/job.exe" head_node end >/dev/null 2>&1
}

install_packages "${build_packages[@]}" "${wine_packages[@]}" python3
build_preset native head_node || exit 1
if [ -z "${BENCH_BUILD-}" ]; then
  build_preset mingw mpirun_console scripted_tool head_node_job head_node_cluscfg head_node_run_task || exit 1
fi
trap end_of_waiting EXIT
trap 'exit 130' INT TERM HUP
start_machines
lay_out "$place"

[ $# -gt 0 ] || set -- 1 10 100
printf '| %s | %s | %s | %s | %s |\n|---:|---:|---:|---:|---:|\n' "Waiting launchers" "Limit in s" \
  "Questions per second" "Nodes seen after s" "at most"
for count in "$@"; do
  measure "$count"
  measure "$count" "$limit"
done
