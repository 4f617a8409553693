#!/bin/bash
# head_node.sh: the head node behind job.exe and cluscfg.exe. It keeps what the
# scheduler, Slurm, has no place for (jobs that are not submitted yet, options, task
# lists) in HEAD_NODE_DIR and leaves everything else to Slurm.
#
#   head_node.sh answer REQUEST        answers one call of a tool. REQUEST and
#                                      REQUEST.answer are files of NAME=VALUE lines
#   head_node.sh hold JOB              runs in the job's allocation, on its first node,
#                                      as Slurm's batch script: starts the tasks
#   head_node.sh run_task TASK         one step of the allocation: a task
#   head_node.sh end_leftovers ID|all  ends the Unix programs that a job left behind
#
# A job is a folder HEAD_NODE_DIR/jobs/ID:
#   options     what "new", "modify" and "submit" said
#   allocation  Slurm's number of the job, once it is submitted
#   shown_from  when a poller may see it validating, queued and running (microseconds)
#   nodes       the allocation as CCP_NODES has it, without the count
#   canceled    the message of "cancel"        finish   somebody asked for "finish"
#   closing     no task is taken any more      ended_as its last state
#   message     why it failed: a word that answer_text.cpp knows, and a detail
#   lost_node   the node that a fault has taken away
#   bell        a pipe that wakes the job up when something has changed
#   tasks/N/    options, state, exit_code, message, output, facts
# Whoever changes a job holds its lock.
# shellcheck disable=SC2034  # arrays are read and filled by their names
set -u

cluster=${HEAD_NODE_CLUSTER:?}
export SLURM_CONF=$cluster/slurm.conf PATH=${PATH:-/usr/local/bin:/usr/bin:/bin}:/usr/sbin:/sbin
store=${HEAD_NODE_DIR:-$cluster/head_node}

# ---- Small helpers --------------------------------------------------------------------------

read_fields() { # file, name of an associative array
  local -n into=$2
  local line
  while IFS= read -r line; do
    into[${line%%=*}]=${line#*=}
  done <"$1"
}

write_fields() { # file, name of an associative array; the file is never seen half written
  local -n from=$2
  local name
  for name in "${!from[@]}"; do
    printf '%s=%s\n' "$name" "${from[$name]}"
  done >"$1.new"
  mv "$1.new" "$1"
}

print_field() { # name, value
  printf '%s=%s\n' "$1" "$2"
}

refuse() { # kind, detail
  print_field error "$1"
  print_field detail "${2:-}"
  print_field job "${id:-}"
  exit 0
}

first_line() { # file; nothing when there is none
  local line=
  [ ! -e "$1" ] || IFS= read -r line <"$1"
  printf '%s' "$line"
}

microseconds() { # seconds with a fraction
  local whole=${1%.*} fraction=
  case $1 in *.*) fraction=${1#*.} ;; esac
  fraction=${fraction}000000
  echo $((10#0$whole * 1000000 + 10#${fraction:0:6}))
}

now() {
  microseconds "$EPOCHREALTIME"
}

clock_time() {
  printf '%(%m/%d/%Y %I:%M:%S %p)T' -1
}

lock_job() { # job folder; held until the process ends or unlocks
  exec {job_lock}>"$1/lock"
  flock "$job_lock"
}

unlock_job() {
  exec {job_lock}>&-
}

ring() { # job folder
  printf '\n' 1<>"$1/bell"
}

# ---- The cluster ----------------------------------------------------------------------------

# Sets node_cores and socket_cores. Fails when Slurm does not answer.
read_cluster_size() {
  read -r node_cores socket_cores < <(sinfo -h -o '%c %Y' 2>/dev/null)
}

cores_of() { # unit, number
  case $1 in
  nodes) echo $(($2 * node_cores)) ;;
  sockets) echo $(($2 * socket_cores)) ;;
  *) echo "$2" ;;
  esac
}

# ---- What a job is at the moment ------------------------------------------------------------

end_job_as() { # state, word for the message, detail
  [ -e "$job/message" ] || [ -z "${2:-}" ] || printf '%s\n%s\n' "$2" "${3:-}" >"$job/message"
  [ -e "$job/ended" ] || clock_time >"$job/ended"
  printf '%s\n' "$1" >"$job/ended_as.new.$BASHPID"
  mv "$job/ended_as.new.$BASHPID" "$job/ended_as"
  state=$1
}

# Sets state from the job's folder and from what Slurm says. The folder is in $job.
read_job_state() {
  local allocation slurm_state
  state=$(first_line "$job/ended_as")
  [ -z "$state" ] || return 0
  allocation=$(first_line "$job/allocation")
  if [ -z "$allocation" ]; then
    state=Configuring
    return 0
  fi
  slurm_state=$(squeue -h -t all -j "$allocation" -o %T 2>/dev/null) || refuse unreachable
  case $slurm_state in
  RUNNING)
    # Until its nodes are written down a job has none that anybody could use.
    if [ -e "$job/closing" ]; then
      state=Finishing
    elif [ -e "$job/nodes" ]; then
      state=Running
    else
      state=Queued
    fi
    ;;
  COMPLETING) if [ -e "$job/canceled" ]; then state=Canceling; else state=Finishing; fi ;;
  COMPLETED) end_job_as Finished ;;
  CANCELLED)
    if [ -e "$job/canceled" ]; then
      end_job_as Canceled canceled "$(first_line "$job/canceled")"
    else
      end_job_as Canceled canceled_outside
    fi
    ;;
  TIMEOUT) end_job_as Canceled run_time ;;
  NODE_FAIL)
    end_job_as Failed node_lost
    return_lost_node
    ;;
  FAILED | BOOT_FAIL | OUT_OF_MEMORY | DEADLINE | PREEMPTED) end_job_as Failed system_error ;;
  *) state=Queued ;;
  esac
  if [ "$state" = Queued ] || [ "$state" = Running ]; then
    hide_early_state
  fi
}

# A node that was lost on purpose serves again once the loss has been seen.
return_lost_node() {
  [ ! -e "$job/lost_node" ] ||
    scontrol update NodeName="$(first_line "$job/lost_node")" State=RESUME 2>/dev/null
  rm -f "$job/lost_node"
}

# A job goes through its first states no faster than the settings say.
hide_early_state() {
  local validating=0 queued=0 running=0 time
  [ ! -e "$job/shown_from" ] || read -r validating queued running <"$job/shown_from"
  time=$(now)
  if [ "$time" -lt "${validating:-0}" ]; then
    state=Submitted
  elif [ "$time" -lt "${queued:-0}" ]; then
    state=Validating
  elif [ "$time" -lt "${running:-0}" ]; then
    state=Queued
  fi
}

# Finds the job that a request names. Sets id and job.
find_job() {
  id=${asked[job]}
  [ "$id" != '!!' ] || id=$(first_line "$store/last_id")
  job=$store/jobs/$id
  case $id in
  '' | *[!0-9]*) refuse unknown_job ;;
  esac
  [ -z "${asked[fault_purge]+set}" ] || rm -rf "$job"
  [ -d "$job" ] || refuse unknown_job
}

refuse_unless_in() { # states that are right
  local right
  for right in "$@"; do
    [ "$state" != "$right" ] || return 0
  done
  refuse wrong_state "$state"
}

# ---- Jobs and tasks -------------------------------------------------------------------------

job_option_names='jobname exclusive unit minimum maximum rununtilcanceled jobtemplate nodegroup
  requestednodes runtime priority project holduntil'
task_option_names='name exclusive unit minimum maximum workdir stdin stdout stderr command agent'

# Takes what a request says about a job into the array "options".
take_job_options() {
  local name
  for name in $job_option_names; do
    [ -z "${asked[$name]+set}" ] || options[$name]=${asked[$name]}
  done
}

# Sets id and job to those of a new job.
make_job() {
  local -A options=([rununtilcanceled]=false)
  options[exclusive]=${asked[default_exclusive]}
  take_job_options
  exec {store_lock}>"$store/lock"
  flock "$store_lock"
  mkdir -p "$store/jobs"
  id=$(($(first_line "$store/last_id") + 1))
  # The oldest tools give the identifiers of jobs that are gone to new jobs.
  if [ -n "${asked[reuse_ids]+set}" ]; then
    id=1
    while [ -d "$store/jobs/$id" ]; do
      id=$((id + 1))
    done
  fi
  job=$store/jobs/$id
  mkdir "$job" "$job/tasks"
  mkfifo "$job/bell"
  clock_time >"$job/created"
  write_fields "$job/options" options
  printf '%s\n' "$id" >"$store/last_id"
  exec {store_lock}>&-
}

# Sets task to the number of a new task of $job.
make_task() {
  local -A options=([exclusive]=false [unit]=cores [minimum]=1 [maximum]=1)
  local name setting folder
  for name in $task_option_names; do
    [ -z "${asked[$name]+set}" ] || options[$name]=${asked[$name]}
  done
  task=1
  while [ -d "$job/tasks/$task" ]; do
    task=$((task + 1))
  done
  # The task appears under its number when it is complete.
  folder=$(mktemp -d "$job/new_task.XXXXXX")
  write_fields "$folder/options" options
  for setting in ${environment[@]+"${environment[@]}"}; do
    printf '%s\n' "$setting"
  done >"$folder/environment"
  clock_time >"$folder/submitted"
  mv "$folder" "$job/tasks/$task"
}

# Prints the numbers of the tasks in order.
task_numbers() { # job folder
  local number=1
  while [ -d "$1/tasks/$number" ]; do
    echo $number
    number=$((number + 1))
  done
}

# Refuses a task that its job cannot run. The job's options are in "options".
check_task() { # task number
  local -A task_options=()
  read_fields "$job/tasks/$1/options" task_options
  if [ "${task_options[exclusive]}" = true ] && [ "${options[exclusive]}" != true ]; then
    refuse exclusive_task "$1"
  fi
  if [ "${options[maximum]:-*}" != '*' ] &&
    [ "$(cores_of "${task_options[unit]}" "${task_options[minimum]}")" -gt \
      "$(cores_of "${options[unit]}" "${options[maximum]}")" ]; then
    refuse task_too_large "$1"
  fi
}

# The cores that a job needs at least when that is left to its tasks.
largest_task() {
  local number cores largest=1
  for number in $(task_numbers "$job"); do
    local -A task_options=()
    read_fields "$job/tasks/$number/options" task_options
    cores=$(cores_of "${task_options[unit]}" "${task_options[minimum]}")
    [ "$cores" -le "$largest" ] || largest=$cores
  done
  echo "$largest"
}

# The nodes that a job must not use: all but those it asked for.
other_nodes() {
  local asked_nodes=,${options[requestednodes]}, node known=,
  for node in $(sinfo -h -N -o %N | sort -u); do
    known+=$node,
    case ${asked_nodes^^} in *,"${node^^}",*) ;; *) printf '%s,' "$node" ;; esac
  done
  for node in ${options[requestednodes]//,/ }; do
    case ${known^^} in *,"${node^^}",*) ;; *) return 1 ;; esac
  done
}

# Checks a job and gives it to Slurm. The job is locked, its options are in "options".
submit_job() {
  local number others minutes minimum=${options[minimum]:-*} unit=${options[unit]:-cores} allocation template name
  local -a kept=() request=(--parsable --output=/dev/null --chdir=/ --job-name="job $id" --export=ALL)
  read_cluster_size || refuse unreachable
  for number in $(task_numbers "$job"); do
    check_task "$number"
  done
  if [ "${options[rununtilcanceled]}" = true ] &&
    { [ "$minimum" = '*' ] || [ "${options[maximum]:-*}" = '*' ]; }; then
    refuse range_needed
  fi
  template=${options[jobtemplate]:-default}
  case ",default,${asked[templates],,}," in
  *,"${template,,}",*) ;;
  *) refuse unknown_template "$template" ;;
  esac

  if [ "$minimum" = '*' ]; then
    minimum=$(largest_task)
    unit=cores
  fi
  if [ "$unit" = nodes ]; then
    request+=(--nodes="$minimum${options[maximum]:+-${options[maximum]#'*'}}" --exclusive)
  else
    request+=(--ntasks="$(cores_of "$unit" "$minimum")")
    [ "${options[exclusive]}" != true ] || request+=(--exclusive)
  fi
  if [ -n "${options[requestednodes]:-}" ]; then
    others=$(other_nodes) || refuse unknown_nodes "${options[requestednodes]}"
    [ -z "$others" ] || request+=(--exclude="${others%,}")
  fi
  [ -z "${options[nodegroup]:-}" ] || request+=(--constraint="${options[nodegroup]//,/&}")
  if [ "${options[runtime]:-infinite}" != infinite ]; then
    minutes=$((options[runtime] / 60))
    request+=(--time="$minutes")
  fi
  # A larger number here is a lower place in Slurm's queue.
  [ -z "${options[priority]:-}" ] || request+=(--nice=$((4000 - options[priority])))
  [ -z "${options[holduntil]:-}" ] || request+=(--begin="${options[holduntil]}")
  [ -z "${asked[fault_stuck]+set}" ] || request+=(--hold)

  for name in fail cancel lose; do
    unset "options[$name]"
    [ -z "${asked[fault_$name]+set}" ] || options[$name]=${asked[fault_$name]:-1}
  done
  options[dispatching_seconds]=${asked[dispatching_seconds]:-0}
  options[head_node]=${asked[head_node]}

  # Only what a task may see goes along; Slurm would pass on everything. The job
  # waits for our lock before it looks at its folder.
  if [ -z "${asked[fault_invalid]+set}" ]; then
    for name in PATH HOME LANG LC_ALL DISPLAY WINEPREFIX WINELOADER WINESERVER WINEDEBUG \
      WINEDLLOVERRIDES; do
      [ -z "${!name:-}" ] || kept+=("$name=${!name}")
    done
    allocation=$(
      env -i "${kept[@]}" USER="$(id -un)" SLURM_CONF="$SLURM_CONF" \
        HEAD_NODE_CLUSTER="$cluster" HEAD_NODE_DIR="$store" \
        sbatch "${request[@]}" --wrap \
        "exec bash $(printf %q "$cluster/head_node.sh") hold $(printf %q "$job")" 2>&1
    ) || refuse_for_slurm "$allocation"
  fi
  rm -f "$job"/{allocation,canceled,finish,closing,ended_as,ended,message,nodes,started}
  write_fields "$job/options" options
  clock_time >"$job/submitted"
  write_shown_from
  if [ -n "${asked[fault_invalid]+set}" ]; then
    end_job_as Failed system_error
  else
    printf '%s\n' "${allocation%%;*}" >"$job/allocation"
  fi
}

write_shown_from() {
  local validating queued
  validating=$(($(now) + $(microseconds "${asked[submitted_seconds]:-0}")))
  queued=$((validating + $(microseconds "${asked[validating_seconds]:-0}")))
  echo $validating $queued $((queued + $(microseconds "${asked[queued_seconds]:-0}"))) \
    >"$job/shown_from"
}

refuse_for_slurm() { # what sbatch said
  case $1 in
  *'Unable to contact'* | *'timed out'*) refuse unreachable ;;
  *'nvalid feature'*) refuse unknown_group "${options[nodegroup]}" ;;
  *'more nodes'* | *'More processors'* | *'Node count'* | *'not available'* | *'can not be satisfied'*)
    refuse too_large
    ;;
  *) refuse scheduler "${1//$'\n'/ }" ;;
  esac
}

# ---- The sub-commands -----------------------------------------------------------------------

call_new() {
  make_job
  print_field job "$id"
}

call_add() {
  local -A options=()
  local refusal
  find_job
  lock_job "$job"
  read_job_state
  refuse_unless_in Configuring Submitted Validating Queued Running
  read_fields "$job/options" options
  make_task
  # What is checked at "submit" otherwise; the task of a refused call is taken back.
  if [ "$state" != Configuring ]; then
    refusal=$(read_cluster_size && check_task "$task")
    if [ -n "$refusal" ]; then
      rm -rf "$job/tasks/$task"
      printf '%s\n' "$refusal"
      return
    fi
  fi
  ring "$job"
  print_field job "$id"
  print_field task "$task"
}

call_submit() {
  local -A options=()
  local number refusal
  if [ -n "${asked[jobfile]:-}" ]; then
    refuse unsupported "job files"
  fi
  if [ -z "${asked[job]:-}" ]; then
    make_job
    make_task
    lock_job "$job"
    read_fields "$job/options" options
    refusal=$(submit_job)
    if [ -n "$refusal" ]; then
      rm -rf "$job"
      printf '%s\n' "$refusal"
      return
    fi
  else
    find_job
    lock_job "$job"
    read_job_state
    refuse_unless_in Configuring Canceled Failed
    read_fields "$job/options" options
    take_job_options
    if [ "$state" != Configuring ]; then
      options[retries]=$((${options[retries]:-0} + 1))
      for number in $(task_numbers "$job"); do
        [ "$(first_line "$job/tasks/$number/state")" = Finished ] ||
          rm -f "$job/tasks/$number"/{state,exit_code,message,output,started,ended}
      done
    fi
    submit_job
  fi
  print_field job "$id"
}

call_view() {
  local number name
  local -A options=()
  find_job
  read_job_state
  read_fields "$job/options" options
  print_field job "$id"
  print_field state "$state"
  for name in $job_option_names; do
    print_field "$name" "${options[$name]:-}"
  done
  for name in created submitted started ended nodes; do
    print_field "$name" "$(first_line "$job/$name")"
  done
  if [ -e "$job/message" ]; then
    { IFS= read -r name && print_field message "$name" &&
      IFS= read -r name && print_field message_detail "$name"; } <"$job/message"
  fi
  for number in $(task_numbers "$job"); do
    print_task "$number"
  done
}

print_task() { # number
  local folder=$job/tasks/$1 name task_state
  print_field task "$1"
  task_state=$(first_line "$folder/state")
  case $state in
  Configuring) task_state=Configuring ;;
  Finished | Failed | Canceled)
    case $task_state in
    Finished | Failed) ;;
    *) task_state=Canceled ;;
    esac
    ;;
  esac
  print_field state "${task_state:-Queued}"
  if [ "${asked[detailed]:-}" = true ]; then
    local -A task_options=()
    read_fields "$folder/options" task_options
    for name in name unit minimum maximum command; do
      print_field "$name" "${task_options[$name]:-}"
    done
    for name in submitted started ended exit_code message allocated; do
      print_field "$name" "$(first_line "$folder/$name")"
    done
    print_field output_file "$folder/output"
  fi
}

call_modify() {
  local -A options=()
  local name allocation
  find_job
  lock_job "$job"
  read_job_state
  refuse_unless_in Configuring Submitted Validating Queued Running
  read_fields "$job/options" options
  allocation=$(first_line "$job/allocation")
  if [ "$state" = Running ]; then
    for name in $job_option_names; do
      case $name in
      runtime | rununtilcanceled | project) ;;
      *) [ -z "${asked[$name]+set}" ] || refuse running_option "$name" ;;
      esac
    done
    if [ -n "${asked[runtime]+set}" ]; then
      name=${asked[runtime]}
      [ "$name" = infinite ] || name=$((name / 60))
      scontrol update JobId="$allocation" TimeLimit="$name" >/dev/null 2>&1 || refuse unreachable
    fi
    take_job_options
    write_fields "$job/options" options
    ring "$job"
  elif [ "$state" = Configuring ]; then
    take_job_options
    write_fields "$job/options" options
  else
    # In the queue with other wishes: it leaves its place and takes a new one.
    take_job_options
    submit_job
    scancel "$allocation" 2>/dev/null
  fi
  print_field job "$id"
}

call_cancel() {
  local allocation
  find_job
  lock_job "$job"
  read_job_state
  refuse_unless_in Configuring Submitted Validating Queued Running
  printf '%s\n' "${asked[message]:-}" >"$job/canceled"
  if [ "$state" = Configuring ]; then
    end_job_as Canceled canceled "${asked[message]:-}"
  else
    allocation=$(first_line "$job/allocation")
    scancel "$allocation" 2>/dev/null || {
      rm -f "$job/canceled"
      refuse unreachable
    }
  fi
  print_field job "$id"
}

call_finish() {
  find_job
  lock_job "$job"
  read_job_state
  refuse_unless_in Running
  : >"$job/finish"
  ring "$job"
  print_field job "$id"
}

# The variables themselves are cluscfg's; here it is only found out whether the head
# node would answer.
call_listenvs() {
  sinfo -h -o %D >/dev/null 2>&1 || refuse unreachable
}

answer() { # request
  declare -gA asked=()
  declare -ga environment=()
  local line
  while IFS= read -r line; do
    case $line in
    env=*) environment+=("${line#*=}") ;;
    *) asked[${line%%=*}]=${line#*=} ;;
    esac
  done <"$1"
  case ${asked[verb]} in
  new | add | submit | view | modify | cancel | finish | listenvs)
    (id= && "call_${asked[verb]}") >"$1.unfinished" || print_field error internal >"$1.unfinished"
    ;;
  *) return 1 ;;
  esac
  mv "$1.unfinished" "$1.answer"
}

# ---- In the allocation ----------------------------------------------------------------------

# Sets node_names, node_free and all_cores from what Slurm allocated.
read_allocation() {
  local part count times
  mapfile -t node_names < <(scontrol show hostnames "$SLURM_JOB_NODELIST")
  node_free=()
  all_cores=0
  for part in ${SLURM_JOB_CPUS_PER_NODE//,/ }; do # such as 2(x3),1
    IFS='(x)' read -r count _ times <<<"$part"
    for ((times = ${times:-1}; times > 0; --times)); do
      node_free+=("$count")
      all_cores=$((all_cores + count))
    done
  done
}

# Finds room for a task, the first nodes first. Sets taken_nodes, taken_cores and cores,
# and takes them from node_free. Fails when there is not enough room now.
take_cores() { # least, most, multiple
  local node free step=$3 most=$2
  taken_nodes=() taken_cores=() cores=0
  for node in "${!node_names[@]}"; do
    free=$((node_free[node] / step * step))
    [ "$free" -le $((most - cores)) ] || free=$((most - cores))
    if [ "$free" -gt 0 ]; then
      taken_nodes+=("$node")
      taken_cores+=("$free")
      cores=$((cores + free))
    fi
  done
  [ "$cores" -ge "$1" ] || return 1
  for node in "${!taken_nodes[@]}"; do
    node_free[taken_nodes[node]]=$((node_free[taken_nodes[node]] - taken_cores[node]))
  done
}

# Starts a task when there is room for it.
try_task() { # number
  local number=$1 folder=$job/tasks/$1 node allocated least most step=1
  local -A task_options=() facts=()
  read_fields "$folder/options" task_options
  least=$(cores_of "${task_options[unit]}" "${task_options[minimum]}")
  most=$(cores_of "${task_options[unit]}" "${task_options[maximum]}")
  case ${task_options[unit]} in
  nodes) step=$node_cores ;;
  sockets) step=$socket_cores ;;
  esac
  if [ "${task_options[exclusive]}" = true ]; then
    [ ${#running[@]} = 0 ] || return 0
    most=$all_cores
  fi
  take_cores "$least" "$most" "$step" || return 0

  allocated=${#taken_nodes[@]}
  for node in "${!taken_nodes[@]}"; do
    allocated+=" ${node_names[taken_nodes[node]]} ${taken_cores[node]}"
  done
  running[number]="${taken_nodes[*]}:${taken_cores[*]}"
  for node in jobname exclusive jobtemplate runtime head_node; do
    facts[$node]=${options[$node]:-}
  done
  facts[job]=${job##*/} facts[task]=$number facts[retries]=${options[retries]:-0}
  facts[allocated]=$allocated facts[cores]=$cores
  write_fields "$folder/facts" facts
  printf '%s\n' "$allocated" >"$folder/allocated"
  echo Dispatching >"$folder/state"
  run_step "$number" "${node_names[taken_nodes[0]]}" {job_lock}>&- &
}

# One task from its dispatch to its end, beside the job's own loop.
run_step() { # number, node
  local folder=$job/tasks/$1 result
  [ "${options[dispatching_seconds]:-0}" = 0 ] || sleep "${options[dispatching_seconds]}"
  clock_time >"$folder/started"
  echo Running >"$folder/state"
  srun --overlap --nodes=1 --ntasks=1 --nodelist="$2" --output=/dev/null \
    --error="$folder/agent_errors" bash "$cluster/head_node.sh" run_task "$folder" </dev/null
  end_leftovers -x "$(task_mark "$folder")"
  result=$(first_line "$folder/exit_code")
  # Ended with its whole job: that is no failure of the task.
  if [ -z "$result" ] && [ ! -s "$folder/message" ] && job_is_ending; then
    return
  fi
  clock_time >"$folder/ended"
  if [ "$result" = 0 ]; then
    echo Finished >"$folder/state"
  else
    [ -n "$result" ] || [ -s "$folder/message" ] ||
      echo "The node manager ended before the task did." >"$folder/message"
    echo Failed >"$folder/state"
  fi
  ring "$job"
}

job_is_ending() {
  [ -e "$job/finish" ] || [ -e "$job/canceled" ] ||
    [ "$(squeue -h -t all -j "$SLURM_JOB_ID" -o %T)" != RUNNING ]
}

# Gives back the cores of tasks that have ended, and finds out about all tasks. Sets
# unfinished and failed_task.
look_at_tasks() {
  local number state nodes cores index
  unfinished=0 failed_task=
  for number in $(task_numbers "$job"); do
    state=$(first_line "$job/tasks/$number/state")
    case $state in
    Finished | Failed)
      if [ -n "${running[number]+set}" ]; then
        read -ra nodes <<<"${running[number]%:*}"
        read -ra cores <<<"${running[number]#*:}"
        for index in "${!nodes[@]}"; do
          node_free[nodes[index]]=$((node_free[nodes[index]] + cores[index]))
        done
        unset "running[$number]"
      fi
      [ "$state" = Finished ] || failed_task=${failed_task:-$number}
      ;;
    *) unfinished=$((unfinished + 1)) ;;
    esac
  done
}

start_faults() {
  if [ -n "${options[fail]+set}" ]; then
    (sleep "${options[fail]}" && echo system_error >"$job/message" && ring "$job") &
  fi
  if [ -n "${options[cancel]+set}" ]; then
    (sleep "${options[cancel]}" && scancel "$SLURM_JOB_ID") &
  fi
  if [ -n "${options[lose]+set}" ]; then
    (
      sleep "${options[lose]}"
      printf '%s\n' "${node_names[-1]}" >"$job/lost_node"
      scontrol update NodeName="${node_names[-1]}" State=DOWN Reason=lost
    ) &
  fi
}

# The job in its allocation: starts tasks while there are any, and keeps the nodes as
# long as the job wants them. Slurm frees them when this ends.
hold() { # job folder
  local -a node_names node_free running=() taken_nodes taken_cores
  local unfinished failed_task number nodes_text='' wait_for running_from all_cores
  local -A options=()
  job=$1
  lock_job "$job" # the submitter has it until it has noted our number
  [ "$(first_line "$job/allocation")" = "$SLURM_JOB_ID" ] || exit 1
  read_allocation
  read_cluster_size || exit 1
  for number in "${!node_names[@]}"; do
    nodes_text+="${nodes_text:+ }${node_names[number]}"
  done
  printf '%s\n' "$nodes_text" >"$job/nodes"
  clock_time >"$job/started"
  exec 3<>"$job/bell"
  read_fields "$job/options" options
  read -r _ _ running_from <"$job/shown_from"
  unlock_job
  wait_for=$((running_from - $(now)))
  [ "$wait_for" -le 0 ] || sleep "$((wait_for / 1000000)).$(printf %06d $((wait_for % 1000000)))"
  start_faults

  while true; do
    lock_job "$job"
    read_fields "$job/options" options
    look_at_tasks
    [ ! -e "$job/finish" ] || break
    [ ! -e "$job/message" ] || exit 1
    for number in $(task_numbers "$job"); do
      [ -n "$(first_line "$job/tasks/$number/state")" ] || try_task "$number"
    done
    if [ "$unfinished" = 0 ] && [ "${options[rununtilcanceled]}" != true ]; then
      break
    fi
    unlock_job
    read -r -t 30 -u 3 || true
  done
  : >"$job/closing"
  if [ -n "$failed_task" ] && [ ! -e "$job/finish" ]; then
    printf 'task_failed\n%s\n' "$failed_task" >"$job/message"
    exit 1
  fi
  exit 0
}

# How everything that a task starts can be told from everything else: by a variable
# in its environment.
task_mark() { # task folder
  echo "HEAD_NODE_TASK=$cluster:$SLURM_JOB_ID.${1##*/}"
}

wine_loader() {
  local name
  for name in ${WINELOADER:+"$WINELOADER"} wine64 /usr/lib/wine/wine64 wine; do
    if command -v "$name"; then
      return
    fi
  done
}

run_task() { # task folder
  local -A task_options=()
  local variable
  read_fields "$1/options" task_options
  export "$(task_mark "$1")"
  for variable in "${!SLURM@}" "${!PMI@}" "${!SBATCH@}" "${!SRUN@}"; do
    unset "$variable"
  done
  # Without address randomisation, with which now and then a start fails under Wine.
  if setarch -R true 2>/dev/null; then
    exec setarch -R "$(wine_loader)" "${task_options[agent]}" "$1"
  fi
  exec "$(wine_loader)" "${task_options[agent]}" "$1"
}

# Windows programs end with the node manager that started them. Unix programs that
# they started are found by their task's mark. Wine's own stay.
end_leftovers() { # options of grep and what to find
  local process
  LC_ALL=C grep -slzF "$@" /proc/[0-9]*/environ | cut -d/ -f3 | while read -r process; do
    case $(readlink "/proc/$process/exe") in
    *wine*) ;;
    *) kill -9 "$process" 2>/dev/null ;;
    esac
  done
}

case $1 in
answer) answer "$2" ;;
hold) hold "$2" ;;
run_task) run_task "$2" ;;
end_leftovers)
  if [ "$2" = all ]; then
    end_leftovers "HEAD_NODE_TASK=$cluster:"
  else
    end_leftovers "HEAD_NODE_TASK=$cluster:$2."
  fi
  ;;
esac
