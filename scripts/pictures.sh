#!/bin/bash
# pictures.sh: makes the pictures of the documents anew, from real runs: docs/pictures.
#
#   scripts/pictures.sh
#
# console.svg is what ./demo.sh msmpi prints; wait_box.png and end_box.png are the
# launcher's boxes on the screen of the tests, with a stand-in for the scheduler's job.exe.
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
# shellcheck source=scripts/machine.sh
. "$root/scripts/machine.sh"
# shellcheck source=scripts/wine.sh
. "$root/scripts/wine.sh"

pictures=$root/docs/pictures
world=$root/build/pictures

desktop=520x240  # of Wine's own, which draws the frames of windows

# Waits until the desktop shows a box, and keeps it.
#   keep_box NAME
keep_box() {
  local tries colours
  for ((tries = 0; tries < 100; ++tries)); do
    colours=$(import -window root -crop "$desktop+0+0" png:- | convert - -unique-colors -format %w info:)
    if [ "$colours" -gt 5 ]; then
      sleep 1  # until its text is drawn
      import -window root -crop "$desktop+0+0" +repage -strip "$pictures/$1.png"
      return
    fi
    sleep 0.5
  done
  give_up "no box came: $1"
}

# The launcher in the background, with its box left alone.
#   show_box NAME ARGUMENTS...
show_box() {
  (cd "$world" && exec "${wine_personality[@]}" "$wine_loader" explorer "/desktop=$1,$desktop" \
    mpirun.exe "${@:2}") >/dev/null 2>&1 </dev/null &
  local launcher=$!
  keep_box "$1"
  "$wine_server" -k
  wait "$launcher" || true
}

make_boxes() {
  cp "$root/build/mingw/mpirun.exe" "$world/mpirun.exe"
  cp "$root/build/mingw/tests/tools/scripted_tool/scripted_tool.exe" "$world/job.exe"
  printf 'when new\nout Created job, ID: 12\\r\\n\nwhen view\nout State : Queued\\r\\n\n' >"$world/job.script"
  export ZP_CCP_JOB_COMMAND='.\job.exe' ZEPHON_CRED_CHECK=no
  wine_start
  show_box end_box --mpi=net --np=1 missing.exe
  show_box wait_box --mpi=msmpi --np=8 --ccp head01 --jobid=-1 'D:\zephon\zephon.exe'
}

main() {
  install_packages "${build_packages[@]}" "${wine_packages[@]}" imagemagick python3
  build_preset mingw mpirun scripted_tool
  mkdir -p "$pictures" "$world"
  "$root/demo.sh" msmpi | python3 "$root/scripts/console_picture.py" >"$pictures/console.svg"
  trap wine_stop EXIT
  make_boxes
}

main "$@"
