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

void hand_to_scheduler(std::string &line, const std::string &head) {
  const auto hosts_file = host_file();
  const bool hosts_file_is_readable = hosts_file && file_is_readable(*hosts_file);
  prepare_task();
  line.insert(0, build_task_command(head, hosts_file_is_readable));
  if (!hosts_file_is_readable) {
    append_hosts_of_job(line);
  }
}

// Appends the host file; true when it names this machine alone.
bool append_hosts(std::string &line, const std::string &given_hosts_file) {
  const std::string hosts_file =
      write_process_host_file(given_hosts_file).value_or(given_hosts_file);
  require_smpd_and_credentials(tools_root() + "\\bin");
  line += " -machinefile " + quote(hosts_file) + " ";
  return host_file_is_single_host(hosts_file, state.num_procs) != 0 &&
         first_host_is_this_computer(hosts_file);
}

void append_device(std::string &line, bool local_only) {
  if (local_only) {
    line += " -localroot -localonly -genv I_MPI_DEVICE shm";
    set_environment("SMPD_OPTION_BINARY", tools_root() + "\\bin\\smpd.exe");
  } else if (interconnect_is_infiniband()) {
    line += " -genv I_MPI_DEVICE rdssm";
  } else if (state.interconnect) {
    line += " -genv I_MPI_DEVICE ssm";
  }
}

// Unless the user wants the solver to pin its processes, Intel MPI does.
void append_pinning(std::string &line) {
  if (env_text("ZEPHON_AFFINITY") == "1") {
    line += " -genv I_MPI_PIN disable ";
  } else {
    line += " -genv I_MPI_PIN enable ";
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

  std::string line = mpi_directory + "\\bin\\mpiexec.exe ";
  bool local_only = false;
  if (head) {
    hand_to_scheduler(line, *head);
  } else if (hosts_file) {
    local_only = append_hosts(line, *hosts_file);
  } else {
    local_only = true;
  }
  append_format(line, " -n %d ", state.num_procs);
  append_device(line, local_only);
  append_solver_variables(line, " -genv ", " ");
  append_pinning(line);
  if (state.zephon_prod == "lumis_acc") {  // not for "tessa", which waits for nothing
    line += " -genv I_MPI_WAIT_MODE enable ";
  }
  append_user_flags(line, "INTELMPI_USER_FLAGS");
  set_path(mpi_directory);

  state.launch_command = line;
  trace("buf", line, command_trace_line);
  return 1;
}
