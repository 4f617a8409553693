#!/bin/bash
# cluster.sh: the cluster that tests and demo run on: Slurm's controller and
# eight named nodes on this machine, with a munge key, socket, ports and state of
# their own in one folder. Nothing is used from or left in the system's places.
#
#   scripts/cluster.sh start [FOLDER]    starts it and prints what to export
#   scripts/cluster.sh stop [FOLDER]     ends all of it and removes the folder
#   scripts/cluster.sh status [FOLDER]   0 when it runs, and what each node does
#
# FOLDER is build/cluster/by_hand when it is not named.
#
# A script sources this file, calls start_cluster once, and stop_cluster in its exit
# trap. Without a folder's name it gets a folder below build/cluster that no other
# script uses. start_cluster exports
#   HEAD_NODE_CLUSTER   the folder
#   HEAD_NODE_PROGRAM   the head node's program: each start of it is a head node more
#   HEAD_NODE_DIR       the folder of the one that is started along (jobs, settings, faults)
#   HEAD_NODE_PORT      where it listens; all that job.exe and cluscfg.exe need

cluster_source=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cluster_nodes=8
cluster_cores=${CLUSTER_CORES:-2} # cores a node pretends to have, on one socket
cluster_folder='' # the folder of the cluster that this script has started
cluster_lock=''   # ... and the lock on it

if ! declare -F install_packages >/dev/null; then
  root=$cluster_source
  # shellcheck source=scripts/machine.sh
  . "$root/scripts/machine.sh"
fi

# Installs what is missing. The packages' own services are not started.
require_slurm() {
  if command -v munged >/dev/null && command -v slurmctld >/dev/null &&
    command -v slurmd >/dev/null && command -v srun >/dev/null; then
    return 0
  fi
  (
    policy=/usr/sbin/policy-rc.d
    if [ ! -e "$policy" ]; then
      printf '#!/bin/sh\nexit 101\n' | as_root tee "$policy" >/dev/null
      as_root chmod 755 "$policy"
      trap 'as_root rm -f "$policy"' EXIT
    fi
    install_packages "${cluster_packages[@]}"
  )
}

# Prints the first of ten neighbouring ports that nothing listens on.
cluster_free_ports() {
  local base used port free
  used=$(cat /proc/net/tcp /proc/net/tcp6 2>/dev/null | awk '{ sub(/.*:/, "", $2); print $2 }')
  for _ in $(seq 100); do
    base=$((10000 + (RANDOM * 32768 + RANDOM) % 20000))
    free=yes
    for port in $(seq "$base" $((base + 9))); do
      case $used in *"$(printf %04X "$port")"*) free= ;; esac
    done
    [ -z "$free" ] || { echo "$base" && return 0; }
  done
  echo "cluster: no free ports" >&2
  return 1
}

cluster_write_configuration() { # folder, first port
  local folder=$1 port=$2 node user
  user=$(id -un)
  cat >"$folder/slurm.conf" <<CONF
ClusterName=cluster
SlurmctldHost=localhost
SlurmctldPort=$port
SlurmUser=$user
SlurmdUser=$user
AuthType=auth/munge
AuthInfo=socket=$folder/munge/socket
SlurmctldPidFile=$folder/slurmctld.pid
SlurmdPidFile=$folder/%n.pid
SlurmctldLogFile=$folder/log/slurmctld
SlurmdLogFile=$folder/log/%n
StateSaveLocation=$folder/state
SlurmdSpoolDir=$folder/spool/%n
ProctrackType=proctrack/linuxproc
TaskPlugin=task/none
SwitchType=switch/none
MpiDefault=none
JobAcctGatherType=jobacct_gather/none
AccountingStorageType=accounting_storage/none
JobCompType=jobcomp/none
SelectType=select/cons_tres
SelectTypeParameters=CR_Core
SlurmdParameters=config_overrides
SchedulerType=sched/backfill
SchedulerParameters=batch_sched_delay=0,sched_interval=1,bf_interval=1
PriorityType=priority/basic
EnforcePartLimits=ALL
JobRequeue=0
KillWait=2
MinJobAge=86400
ReturnToService=2
TreeWidth=16
CONF
  for node in $(seq $cluster_nodes); do
    printf 'NodeName=NODE%02d NodeHostname=localhost NodeAddr=127.0.0.1 Port=%d CPUs=%d Sockets=1 CoresPerSocket=%d ThreadsPerCore=1 RealMemory=1000\n' \
      "$node" $((port + node)) "$cluster_cores" "$cluster_cores"
  done >>"$folder/slurm.conf"
  # Nothing is done with control groups, which a container may not have.
  echo "CgroupPlugin=cgroup/v1" >"$folder/cgroup.conf"
  echo "PartitionName=cluster Nodes=ALL Default=YES MaxTime=INFINITE State=UP" >>"$folder/slurm.conf"
}

# The process identifiers of the daemons of the cluster in a folder. The step
# daemon overwrites its environment and is known by where it stands.
cluster_processes() { # place
  local process real
  real=$(readlink -f "$1")
  for process in $({
    LC_ALL=C grep -slzFx "HEAD_NODE_CLUSTER=$1" /proc/[0-9]*/environ
    find /proc/[0-9]*/cwd -maxdepth 0 -lname "$real/*" 2>/dev/null
  } | cut -d/ -f3 | sort -u); do
    case $(cat "/proc/$process/comm" 2>/dev/null) in
    head_node | munged | slurmctld | slurmscriptd | slurmd | slurmstepd) echo "$process" ;;
    esac
  done
}

# The name under which the cluster knows its folder: the folder's own, or that of
# a link to it. Slurm's configuration takes no blank, a socket's path 107 characters.
cluster_place() { # folder
  case $1 in
  *[!A-Za-z0-9._/-]*) ;;
  *) [ ${#1} -gt 80 ] || { echo "$1" && return; } ;;
  esac
  find /tmp -maxdepth 1 -name 'cluster.*' -lname "$1" | head -n 1
}

# Locks a folder for this script; fails when another one has it.
cluster_claim() { # folder
  local lock
  mkdir -p "$(dirname "$1")" || return 1
  exec {lock}>>"$1.lock" || return 1
  if ! flock -n "$lock"; then
    exec {lock}>&-
    return 1
  fi
  cluster_lock=$lock
  mkdir -p "$1" && cluster_folder=$(cd "$1" && pwd -P)
}

cluster_claim_any() {
  local number
  for number in $(seq 99); do
    if cluster_claim "$cluster_source/build/cluster/$number"; then
      return 0
    fi
  done
  return 1
}

# Starts the daemons. They must not keep open what the script has open.
cluster_start_daemons() ( # place
  for descriptor in /proc/"$BASHPID"/fd/*; do
    descriptor=${descriptor##*/}
    [ "$descriptor" -le 2 ] || eval "exec $descriptor>&-"
  done
  exec >/dev/null 2>&1 </dev/null
  # Forced, since it minds who else may write to the folders above its own.
  munged --force --socket="$1/munge/socket" --key-file="$1/munge/key" \
    --pid-file="$1/munge/pid" --seed-file="$1/munge/seed" --log-file="$1/log/munged"
  slurmctld
  for node in $(seq -f 'NODE%02g' $cluster_nodes); do
    mkdir -p "$1/spool/$node"
    slurmd -N "$node"
  done
)

# Waits until all nodes are idle; fails when they do not get there.
cluster_wait_for_nodes() {
  for _ in $(seq 100); do
    if [ "$(sinfo -h -N -o %T 2>/dev/null | grep -cx idle)" = "$cluster_nodes" ]; then
      return 0
    fi
    sleep 0.1
  done
  return 1
}

start_cluster() { # [folder]
  local folder place port try
  require_slurm || return 1
  if [ -n "${1:-}" ]; then cluster_claim "$1"; else cluster_claim_any; fi || {
    echo "cluster: ${1:-every folder} is in use" >&2
    return 1
  }
  folder=$cluster_folder
  place=$(cluster_place "$folder")
  if [ -n "$place" ] && [ -n "$(cluster_processes "$place")" ]; then
    if [ -e "$folder/by_hand" ]; then
      echo "cluster: the cluster in $folder runs already" >&2
      return 1
    fi
    cluster_end_processes "$place" # a script that was killed has left it behind
  fi
  if [ -z "$place" ]; then
    place=$(mktemp -u -d /tmp/cluster.XXXXXX)
    ln -s "$folder" "$place" || return 1
  fi
  export HEAD_NODE_CLUSTER=$place HEAD_NODE_DIR=$place/head_node SLURM_CONF=$place/slurm.conf
  export HEAD_NODE_PROGRAM=$cluster_source/build/native/head_node
  build_preset native head_node || return 1

  for try in 1 2 3; do
    find "$folder" -mindepth 1 -delete
    mkdir -p "$folder"/{log,spool,state,munge}
    chmod 711 "$folder/munge"
    port=$(cluster_free_ports) || return 1
    cluster_write_configuration "$place" "$port"
    (umask 077 && head -c 1024 /dev/urandom >"$folder/munge/key")
    cluster_start_daemons "$place"
    if cluster_wait_for_nodes && "$HEAD_NODE_PROGRAM" serve "$HEAD_NODE_DIR"; then
      HEAD_NODE_PORT=$(cat "$HEAD_NODE_DIR/port") && export HEAD_NODE_PORT
      return 0
    fi
    echo "cluster: try $try did not start" >&2
    cluster_end_processes "$place"
  done
  tail -n 5 "$folder"/log/* >&2
  stop_cluster
  return 1
}

cluster_end_processes() { # place
  local -a left
  mapfile -t left < <(cluster_processes "$1")
  [ ${#left[@]} -eq 0 ] || kill "${left[@]}" 2>/dev/null
  for _ in $(seq 30); do
    mapfile -t left < <(cluster_processes "$1")
    [ ${#left[@]} -gt 0 ] || return 0
    sleep 0.1
  done
  kill -9 "${left[@]}" 2>/dev/null
}

# Ends the cluster that this script has started, or the one in a folder. May be
# called more than once.
stop_cluster() { # [folder]
  local folder=${1:-$cluster_folder} place
  [ -n "$folder" ] && [ -d "$folder" ] || return 0
  folder=$(cd "$folder" && pwd -P)
  place=$(cluster_place "$folder")
  if [ -n "$place" ] && [ -n "$(cluster_processes "$place")" ]; then
    # A controller that is gone must not keep us waiting.
    export SLURM_CONF=$place/slurm.conf
    timeout 5 scancel -u "$(id -un)" >/dev/null 2>&1
    for _ in $(seq 50); do
      [ -n "$(timeout 5 squeue -h 2>/dev/null)" ] || break
      sleep 0.1
    done
    cluster_end_processes "$place"
  fi
  if [ -n "$place" ]; then
    [ "$place" = "$folder" ] || rm -f "$place"
  fi
  rm -rf "$folder" "$folder.lock"
  if [ "$folder" = "$cluster_folder" ]; then
    [ -z "$cluster_lock" ] || exec {cluster_lock}>&-
    cluster_folder='' cluster_lock=''
  fi
  unset HEAD_NODE_CLUSTER HEAD_NODE_DIR HEAD_NODE_PORT HEAD_NODE_PROGRAM SLURM_CONF
}

cluster_status() { # folder
  local place=''
  [ ! -d "$1" ] || place=$(cluster_place "$(cd "$1" && pwd -P)")
  if [ -n "$place" ] && [ -n "$(cluster_processes "$place")" ]; then
    SLURM_CONF=$place/slurm.conf sinfo -N -o '%N %T'
  else
    echo "cluster: not running"
    return 1
  fi
}

if [ "${BASH_SOURCE[0]}" = "$0" ]; then
  by_hand=${2:-$cluster_source/build/cluster/by_hand}
  case ${1:-} in
  start)
    start_cluster "$by_hand" || exit 1
    : >"$HEAD_NODE_CLUSTER/by_hand"
    for name in "${!HEAD_NODE_@}"; do
      echo "export $name='${!name}'"
    done
    ;;
  stop) stop_cluster "$by_hand" ;;
  status) cluster_status "$by_hand" ;;
  *)
    sed -n '2,/^$/{s/^# \{0,1\}//p}' "$0" >&2
    exit 2
    ;;
  esac
fi
