// external.cpp: builds the command line of an external launch command.
#include "backends/external.h"

#include <string>

#include "backends/host_files.h"
#include "core/exit_status.h"
#include "core/launch_state.h"
#include "core/messages.h"
#include "core/user_defined.h"

int external_backend() {
  echo_user_defined("EXT_MPIRUN", "mpich version will be used!\n");
  const std::string hosts_file = require_hosts_file();
  if (state.external_mpirun.value_or("").empty()) {
    fatal(exit_config_fault, "\n Error:  External MPI not defined properly!\n");
  }

  command_line line;
  append(line, *state.external_mpirun + " ", "program: the external launch command");
  if (!state.node_path.empty()) {
    append(line, "-env PATH=" + quote(state.node_path) + " ", "PATH of the remote processes");
  }
  append(line, hosts_file + " ", hosts_reason());

  state.launch_command = line;
  return 1;
}
