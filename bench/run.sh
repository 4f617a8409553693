#!/usr/bin/env bash
# bench/run.sh: times the launcher under Wine, each figure beside a bare program
# that does the same work, and prints one table.
#
#   bench/run.sh              all figures
#   bench/run.sh NAME...      only these: start-up, relay, hosts, arguments, releases,
#                             at-once, in-process
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
  build_preset mingw || exit 1
fi

figures=$root/build/bench/figures.csv
mkdir -p "$root/build/bench"
trap wine_stop EXIT
trap 'exit 130' INT TERM HUP
wine_start
wanted=("$@")
[ ${#wanted[@]} -gt 0 ] || wanted=(start-up relay hosts arguments releases at-once in-process)
# The times of two programs that are run in turn can only be compared when both stay
# on one processor: a start that crosses over to another takes up to twice as long.
one_processor=(taskset -c 0)
for name in "${wanted[@]}"; do
  say "Measuring: $name"
  case $name in
    in-process) wine_run "$build/bench/figures/in_process.exe" ;;
    relay | at-once) wine_run "$build/bench/figures/figures.exe" "$name" ;;
    *) "${one_processor[@]}" "${wine_personality[@]}" "$wine_loader" "$build/bench/figures/figures.exe" "$name" ;;
  esac </dev/null || give_up "no figures for $name"
done | tr -d '\r' >"$figures"
python3 "$root/bench/report.py" "$figures" "$build/mpirun.exe" "${report_options[@]}"
