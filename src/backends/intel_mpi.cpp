// intel_mpi.cpp: builds the mpiexec command line of Intel MPI.
//
// The line grows from left to right, in the order mpiexec reads it. Every piece
// carries its own blanks, so one can come or go without its neighbours.
#include "backends/intel_mpi.h"

#include <string>

#include "backends/forwarding.h"
#include "backends/host_files.h"
#include "core/environment.h"
#include "core/launch_state.h"
#include "core/text.h"
#include "core/text_file.h"
#include "core/trace.h"
#include "core/user_defined.h"
#include "install/mpi_directory.h"
#include "install/smpd_service.h"
#include "scheduler/scheduler_options.h"

namespace {

constexpr int command_trace_line = 3167;

// Where smpd.exe and the password's mpiexec.exe are; the launch itself uses the
// shared installation.
std::string tools_root() {
  return mpi_installation_directory("intel", root_choice::local_allowed);
}

void hand_to_scheduler(command_line &line, const std::string &head) {
  const auto hosts_file = host_file();
  const bool hosts_file_is_readable = hosts_file && file_is_readable(*hosts_file);
  prepare_task();
  prepend(line, build_task_command(head, hosts_file_is_readable));
  if (!hosts_file_is_readable) {
    append_hosts_of_job(line);
  }
}

// Appends the host file; true when it names this machine alone.
bool append_hosts(command_line &line, const std::string &given_hosts_file) {
  const auto written = write_process_host_file(given_hosts_file);
  const std::string hosts_file = written.value_or(given_hosts_file);
  require_smpd_and_credentials(tools_root() + "\\bin");
  append(line, " -machinefile " + quote(hosts_file) + " ", reason_of(written));
  return host_file_is_single_host(hosts_file, state.num_procs) != 0 &&
         first_host_is_this_computer(hosts_file);
}

void append_device(command_line &line, bool local_only) {
  if (local_only) {
    append(line, " -localroot -localonly -genv I_MPI_DEVICE shm",
           "this computer alone: there is no host file, or it names no other");
    set_environment("SMPD_OPTION_BINARY", tools_root() + "\\bin\\smpd.exe");
  } else if (interconnect_is_infiniband()) {
    append(line, " -genv I_MPI_DEVICE rdssm", "interconnect: --ic=" + *state.interconnect);
  } else if (state.interconnect) {
    append(line, " -genv I_MPI_DEVICE ssm",
           "interconnect: --ic=" + *state.interconnect + ", which is not InfiniBand");
  }
}

// Unless the user wants the solver to pin its processes, Intel MPI does.
void append_pinning(command_line &line) {
  if (env_text("ZEPHON_AFFINITY") == "1") {
    append(line, " -genv I_MPI_PIN disable ", "the solver pins its processes: ZEPHON_AFFINITY=1");
  } else {
    append(line, " -genv I_MPI_PIN enable ",
           "the MPI pins the processes: ZEPHON_AFFINITY is not 1");
    set_environment("ZEPHON_AFFINITY", "0");
  }
}

// The release's folders stand directly before the old PATH, without a separator.
void set_path(const std::string &mpi_directory) {
  std::string list = mpi_directory + "\\bin";
  append_to_path_list(list, state.node_path);
  append_to_path_list(list, ntbin_directory(state.zephon_inc.value_or("")));
  if (const auto path = env_text("PATH")) {
    list += *path + ";";
  }
  set_environment("PATH", list);
}

}  // namespace

int build_intel_mpi_command() {
  const auto head = head_node();
  const auto hosts_file = host_file();
  const std::string mpi_directory = mpi_installation_directory("intel", root_choice::shared);

  command_line line;
  append(line, mpi_directory + "\\bin\\mpiexec.exe ", "program: Intel MPI of the release");
  bool local_only = false;
  if (head) {
    hand_to_scheduler(line, *head);
  } else if (hosts_file) {
    local_only = append_hosts(line, *hosts_file);
  } else {
    local_only = true;
  }
  append_processes(line, " -n ");
  append_device(line, local_only);
  append_solver_variables(line, " -genv ", " ");
  append_pinning(line);
  if (state.zephon_prod == "lumis_acc") {  // not for "tessa", which waits for nothing
    append(line, " -genv I_MPI_WAIT_MODE enable ", "program: ZEPHON_PROD=lumis_acc");
  }
  append_user_flags(line, "INTELMPI_USER_FLAGS");
  set_path(mpi_directory);

  state.launch_command = line;
  trace("buf", line.text, command_trace_line);
  return 1;
}
