# wine.sh: Windows programs on this machine, with a Wine prefix and a display of
# the script's own.
#
# Sourced, not run, after machine.sh. wine_start claims a prefix that no other
# script uses; wine_stop ends everything that was started for it. A script sets
# `trap wine_stop EXIT` before it starts the first one.
# shellcheck shell=bash
# shellcheck disable=SC2154  # root: set by the script that sources this file

wine_prefixes=()  # the prefixes that we started
wine_helpers=()   # process identifiers of their servers and displays

# The loader itself, as the package's `wine` is a script that prints hints.
wine_loader=$(dpkg -L wine64 2>/dev/null | grep -m 1 '/wine64$' || true)
wine_server=${wine_loader%/*}/wineserver64

# Address randomisation makes a few process starts in ten thousand fail; some
# containers do not let it be switched off.
wine_personality=()
if setarch -R true 2>/dev/null; then
  wine_personality=(setarch -R)
fi

# Starts a Wine prefix and a display, and exports what a Windows program needs.
# Called again, it starts another prefix beside the first (for parallel workers).
wine_start() {
  wine_loader=$(dpkg -L wine64 | grep -m 1 '/wine64$')
  wine_server=${wine_loader%/*}/wineserver64
  export WINEDEBUG=-all
  export WINEDLLOVERRIDES='mscoree=;mshtml='
  export WINESERVER=$wine_server
  export LC_ALL=C.UTF-8  # under plain C no file's name may have a letter beyond ASCII
  unset WINEARCH WINELOADER XAUTHORITY WAYLAND_DISPLAY
  claim_prefix
  start_display
  if [ ! -e "$WINEPREFIX/ready" ]; then
    make_prefix
  fi
  start_server
}

# Takes the first prefix that no other run of the same script by the same user has.
claim_prefix() {
  local number name
  name=$(id -un)-$(basename "$0" .sh)
  mkdir -p "$root/build/wine"
  for ((number = 1; number < 100; ++number)); do
    export WINEPREFIX=$root/build/wine/$name-$number
    if take_lock "$WINEPREFIX.lock"; then
      wine_prefixes+=("$WINEPREFIX")
      return
    fi
  done
  give_up "all Wine prefixes under $root/build/wine are in use"
}

# Runs a command in the background that ends when the script does, even when the
# script is killed. It holds none of the script's locks and streams.
start_helper() {
  without_locks exec_helper "$@" >/dev/null 2>&1 </dev/null &
  wine_helpers+=("$!")
}

exec_helper() {
  exec setpriv --pdeathsig TERM "$@"
}

# A display of our own with a number that is free.
start_display() {
  local answer=$WINEPREFIX.display
  rm -f "$answer"
  mkfifo "$answer"
  # shellcheck disable=SC2016  # expanded by the inner shell
  start_helper sh -c 'exec Xvfb -displayfd 3 -screen 0 1024x768x24 -maxclients 2048 -nolisten tcp -noreset 3>"$0"' "$answer"
  DISPLAY=
  read -r -t 30 DISPLAY <"$answer" || true
  rm -f "$answer"
  [ -n "$DISPLAY" ] || give_up "no display could be started"
  export DISPLAY=:$DISPLAY
}

make_prefix() {
  rm -rf "$WINEPREFIX"
  mkdir -p "$WINEPREFIX"
  "${wine_personality[@]}" "$wine_loader" wineboot -i >"$WINEPREFIX.log" 2>&1 </dev/null ||
    give_up "Wine cannot make a prefix (see $WINEPREFIX.log)"
  "$wine_server" -w
  touch "$WINEPREFIX/ready"
}

# The server is started before any program whose output we read: started by such
# a program, it would keep that output open.
start_server() {
  "$wine_server" -k >/dev/null 2>&1 || true  # one that a killed script left behind
  "$wine_server" -w
  start_helper "${wine_personality[@]}" "$wine_server" -f -p
  local tries
  for ((tries = 0; tries < 100; ++tries)); do
    if "$wine_server" -k0 >/dev/null 2>&1; then
      return
    fi
    sleep 0.05
  done
  give_up "the Wine server does not start"
}

# Ends everything that wine_start started. May be called more than once.
wine_stop() {
  local prefix helper
  for prefix in "${wine_prefixes[@]}"; do
    WINEPREFIX=$prefix "$wine_server" -k >/dev/null 2>&1 || true
    WINEPREFIX=$prefix timeout 20 "$wine_server" -w >/dev/null 2>&1 || true
  done
  for helper in "${wine_helpers[@]}"; do
    kill "$helper" 2>/dev/null || true
    wait "$helper" 2>/dev/null || true
  done
  wine_prefixes=()
  wine_helpers=()
}

# Runs a Windows program; its name is a Unix path.
#   wine_run build/mingw/mpirun.exe --np=4
wine_run() {
  "${wine_personality[@]}" "$wine_loader" "$@"
}
