// mpich.cpp: builds the mpirun command line of MPICH.
#include "backends/mpich.h"

#include <string>

#include "backends/forwarding.h"
#include "backends/host_files.h"
#include "core/environment.h"
#include "core/exit_status.h"
#include "core/launch_state.h"
#include "core/messages.h"

namespace {

constexpr std::size_t mpi_home_setting_limit = 255;  // characters of "MPI_HOME=..."

// MPI_HOME must be set; MPICH_HOME wins over it, but does not stand in for it.
std::string require_mpi_home() {
  if (!env_is_set("MPI_HOME")) {
    fatal(exit_config_fault,
          "\n Error: environment variable MPI_HOME does not exist!\n"
          " Please verify that MPICH has been installed on all computers in the specified cluster "
          "in the cnf file\n");
  }
  if (const auto mpich_home = env_text("MPICH_HOME")) {
    set_environment_text(("MPI_HOME=" + *mpich_home).substr(0, mpi_home_setting_limit));
  }
  return env_text("MPI_HOME").value_or("");
}

}  // namespace

int mpich_backend() {
  const std::string hosts_file = require_hosts_file();
  command_line line;
  append(line, require_mpi_home() + "\\bin\\mpirun.exe",
         env_is_set("MPICH_HOME") ? "program: MPICH of MPICH_HOME" : "program: MPICH of MPI_HOME");
  append(line, " -machinefile " + hosts_file, hosts_reason());
  append_processes(line, " -np ");
  if (!state.node_path.empty()) {
    append(line, " -env PATH=" + state.node_path, "PATH of the remote processes");
  }

  state.launch_command = line;
  return 1;
}
