# launchers.sh: many launchers at once against a head node, for cluster_load.sh and
# waiting.sh. Sourced behind machine.sh and wine.sh.
#
# The launchers have a console each, as one has that is started from a prompt: without
# it Wine starts a console host for each of their commands. They come from as many
# machines as this one has processors: Wine prefixes, each bound to one of them.
# shellcheck shell=bash
# shellcheck disable=SC2154  # what the sourcing script and the others set

build=${BENCH_BUILD:-$root/build/mingw}

machine_prefix=()
machine_display=()

# Wine's processes talk to their server all the time: on one processor that costs half.
start_machines() {
  local number started
  for ((number = 0; number < $(nproc); ++number)); do
    started=${#wine_helpers[@]}
    wine_start
    for helper in "${wine_helpers[@]:started}"; do
      taskset -cp "$number" "$helper" >/dev/null
    done
    machine_prefix+=("$WINEPREFIX")
    machine_display+=("$DISPLAY")
  done
}

# A release with an MPI that says one line, and the share that the jobs work on.
#   lay_out PLACE
lay_out() {
  local place=$1 prefix
  rm -rf "$place"
  mkdir -p "$place"/{bin,ms,release/netweave/mpi_wrapper/win64/msmpi,outputs,share}
  cp "$build/mpirun_console.exe" "$build"/tests/tools/head_node/{job,cluscfg,run_task}.exe "$place/bin"
  cp "$build/tests/tools/scripted_tool/scripted_tool.exe" "$place/ms/mpiexec.exe"
  printf 'out converged\\n\n' >"$place/ms/mpiexec.script"
  : >"$place/release/netweave/mpi_wrapper/win64/msmpi/mpi_wrapper.dll"
  for prefix in "${machine_prefix[@]}"; do
    ln -sfn "$place" "$prefix/dosdevices/l:"
    mkdir -p "$prefix/dosdevices/unc/fileserver"
    ln -sfn "$place/share" "$prefix/dosdevices/unc/fileserver/load"
  done
  export ZEPHON_INC='L:\inc' ZEPHON_PROD_DIR='L:\release' ZEPHON_ARCH=win64 ZEPHON_PROD=zephon
  export STDOUT_FLUSH=1 RSH_USER=load CCP_HOME='L:\ccp' ZEPHON_CRED_CHECK=no
  export STD_DIR='\\fileserver\load' WINEPATH='L:\bin'
}

seconds_since() {
  awk -v from="$1" -v to="$EPOCHREALTIME" 'BEGIN { printf "%.1f", to - from }'
}

# Starts so many launchers, each for a job of its own that waits for its nodes. What they
# say is in PLACE/outputs; their processes are in `launchers`.
#   start_launchers PLACE COUNT
start_launchers() {
  local place=$1 count=$2 number machine
  launchers=()
  for ((number = 1; number <= count; ++number)); do
    machine=$((number % ${#machine_prefix[@]}))
    (
      export WINEPREFIX=${machine_prefix[machine]} DISPLAY=${machine_display[machine]}
      cd "$place/share" && taskset -c "$machine" "${wine_personality[@]}" "$wine_loader" \
        "$place/bin/mpirun_console.exe" --mpi=msmpi --np=4 --ccp HEADNODE --jobid=-1 solver.exe \
        </dev/null >"$place/outputs/$number" 2>&1
      echo $? >"$place/outputs/$number.status"
    ) &
    launchers+=("$!")
  done
}

# Ends those that still run.
end_launchers() {
  local machine
  for ((machine = 0; machine < ${#machine_prefix[@]}; ++machine)); do
    WINEPREFIX=${machine_prefix[machine]} DISPLAY=${machine_display[machine]} \
      "${wine_personality[@]}" "$wine_loader" taskkill /f /im mpirun_console.exe >/dev/null 2>&1
  done
  wait "${launchers[@]}"
}
