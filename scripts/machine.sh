# machine.sh: what demo.sh and test.sh share: messages, and the packages they need.
#
# Sourced, not run. Expects `root` to be the tree's own folder.
# shellcheck shell=bash
# shellcheck disable=SC2154,SC2034  # root comes from the script that sources this, which uses the lists

# Says what happens now, on standard error, so that a program's own output stays clean.
say() {
  printf '%s\n' "$*" >&2
}

# Says why it cannot go on, and ends the script.
give_up() {
  say "$(basename "$0"): $*"
  exit 1
}

held_locks=()  # file descriptors

# Takes the lock of a file, and holds it until the script ends, however it ends.
# Fails at once when another script has it; with "wait" it waits.
#   take_lock build/demo/lock wait
take_lock() {
  local lock options=(-n)
  [ "${2:-}" != wait ] || options=()
  exec {lock}>>"$1" || give_up "cannot write to $1"
  if ! flock "${options[@]}" "$lock"; then
    exec {lock}>&-
    return 1
  fi
  held_locks+=("$lock")
}

# Runs a command that may outlive the script, so it must not hold its locks.
without_locks() {
  local lock closed=
  for lock in "${held_locks[@]}"; do
    closed+=" $lock>&-"
  done
  eval '"$@"' "$closed"
}

# Runs a command with the rights to install packages; fails when they cannot be had.
as_root() {
  if [ "$(id -u)" -eq 0 ]; then
    "$@"
  elif command -v sudo >/dev/null; then
    sudo "$@"
  else
    return 1
  fi
}

# Installs those of the named Debian packages that are missing, and does nothing
# at all when none is.
#   install_packages cmake ninja-build
install_packages() {
  local package missing=()
  for package in "$@"; do
    if [ "$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null)" != installed ]; then
      missing+=("$package")
    fi
  done
  if [ ${#missing[@]} -eq 0 ]; then
    return
  fi
  say "Installing Debian packages: ${missing[*]}"
  command -v apt-get >/dev/null || give_up "these packages have to be installed by hand: ${missing[*]}"
  if ! as_root true; then
    give_up "run as root, or install by hand: ${missing[*]}"
  fi
  mkdir -p "$root/build"
  local log=$root/build/install.log
  # Another installation on the machine may be under way: wait for it.
  if ! { as_root env DEBIAN_FRONTEND=noninteractive apt-get -o DPkg::Lock::Timeout=600 update &&
    as_root env DEBIAN_FRONTEND=noninteractive apt-get -o DPkg::Lock::Timeout=600 \
      install -y --no-install-recommends "${missing[@]}"; } >"$log" 2>&1 </dev/null; then
    tail -n 20 "$log" >&2
    give_up "the packages could not be installed (all of it: $log)"
  fi
}

# What the Windows programs are built with, and what runs them.
build_packages=(cmake ninja-build g++ g++-mingw-w64-x86-64-posix mingw-w64-x86-64-dev googletest)
wine_packages=(wine64 xvfb util-linux)
mpi_packages=(mpich libmpich-dev)
cluster_packages=(slurm-wlm munge)
check_packages=(clang clang-format clang-tidy cppcheck shellcheck libclang-rt-14-dev llvm nlohmann-json3-dev
  python3-jsonschema locales)
package_packages=(wixl msitools faketime cmark-gfm python3)

# Configures a preset when that was not yet done, or always when asked to: a tool
# that was installed since is only found then.
configure_always=
configure_preset() {
  (cd "$root" && { { [ -z "$configure_always" ] && [ -e "build/$1/build.ninja" ]; } || cmake --preset "$1"; })
}

# Configures a preset, then builds the named targets, or all of them. Quiet unless
# it fails.
#   build_preset mingw mpirun mpi_bridge
build_preset() {
  local preset=$1
  shift
  local log=$root/build/$preset.log
  mkdir -p "$root/build"
  # One build at a time: another script may want the same folder.
  if ! (
    flock 9
    exec >"$log" 2>&1
    configure_preset "$preset" && cmake --build "$root/build/$preset" ${1+--target "$@"}
  ) 9>"$root/build/$preset.lock"; then
    tail -n 40 "$log" >&2
    say "Building the preset $preset failed (all of it: $log)"
    return 1
  fi
}
