#!/usr/bin/env bash
# bench/run.sh: times the launcher under Wine, each figure beside a bare program
# that does the same work, and prints one table.
#
#   bench/run.sh              all figures
#   bench/run.sh NAME...      only these: start-up, rehearsal, zprun, relay, hosts,
#                             arguments, releases, at-once, in-process
#   bench/run.sh --save       all figures, and puts them into docs/performance.md
#
# Run it on a machine that does nothing else. It ends with 1 when a target is missed.
set -uo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
# shellcheck source=scripts/machine.sh
. "$root/scripts/machine.sh"
# shellcheck source=scripts/wine.sh
. "$root/scripts/wine.sh"

report_options=()
if [ "${1-}" = --save ]; then
  report_options=(--save)
  shift
fi

install_packages "${build_packages[@]}" "${wine_packages[@]}" python3
build=${BENCH_BUILD:-$root/build/mingw}
if [ -z "${BENCH_BUILD-}" ]; then
  build_preset mingw bench || exit 1
fi

wanted=("$@")
[ ${#wanted[@]} -gt 0 ] || wanted=(start-up rehearsal zprun hosts arguments releases in-process relay at-once)
figures=$root/build/bench/figures.csv
mkdir -p "$root/build/bench"

is_wanted() {
  local name
  for name in "${wanted[@]}"; do
    [ "$name" != "$1" ] || return 0
  done
  return 1
}

# Measures those of the named figures that are wanted, on the processors PROCESSORS,
# under a Wine server of its own.
#   measure_on PROCESSORS NAME...
measure_on() {
  local name program
  taskset -pc "$1" "$BASHPID" >/dev/null || exit 1
  shift
  trap wine_stop EXIT
  trap 'exit 130' INT TERM HUP
  wine_start
  for name in "$@"; do
    is_wanted "$name" || continue
    say "Measuring: $name"
    program=figures.exe
    [ "$name" != in-process ] || program=in_process.exe
    wine_run "$build/bench/figures/$program" "$name" </dev/null || give_up "no figures for $name"
  done
}

# Two programs that are run in turn stay on one processor: a start that crosses over
# to another takes up to twice as long, and chance would decide. What runs side by
# side gets all processors.
{
  (measure_on 0 start-up rehearsal zprun hosts arguments releases in-process) &&
    (measure_on "0-$(($(nproc) - 1))" relay at-once)
} | tr -d '\r' >"$figures" || exit 1
python3 "$root/bench/report.py" "$figures" "$build/mpirun.exe" "${report_options[@]}"
