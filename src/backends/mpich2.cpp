// mpich2.cpp: builds the mpiexec command line of MPICH2.
//
// The line grows from left to right, in the order mpiexec reads it. Every piece
// carries its own blanks, so one can come or go without its neighbours.
#include "backends/mpich2.h"

#include "backends/forwarding.h"
#include "backends/host_files.h"
#include "core/command_runner.h"
#include "core/environment.h"
#include "core/launch_state.h"
#include "core/messages.h"
#include "core/text.h"
#include "core/text_file.h"
#include "core/user_defined.h"
#include "install/smpd_service.h"

namespace {

// A line is shown as a format without values: %% is one percent sign.
std::string as_format(const std::string &line) {
  std::string shown;
  for (std::size_t i = 0; i < line.size(); ++i) {
    shown += line[i];
    if (line.compare(i, 2, "%%") == 0) {
      ++i;
    }
  }
  return shown;
}

void report_version(const std::string &smpd) {
  if (!file_is_readable(smpd)) {
    return;
  }
  run_command(smpd + " -version", asks(), [](const std::string &line) {
    if (contains(line, "smpd options")) {  // it does not know the question
      print("1.0.2 or older\n");
      return false;
    }
    print_text(platform::standard_stream::output, as_format(line));
    return true;
  });
}

void append_channel(command_line &line) {
  if (const auto channel = env_text("MPICH2_CHANNEL")) {
    echo_user_defined("MPICH2_CHANNEL");
    append(line, " -channel " + *channel, "channel: MPICH2_CHANNEL");
  } else {
    const bool single_host = host_file_is_single_host(host_file(), state.num_procs) != 0;
    append(line, single_host ? " -channel shm" : " -channel ssm",
           std::string("channel: no MPICH2_CHANNEL, and ") +
               (single_host ? "one host" : "several hosts"));
  }
}

std::string library_list() {
  std::string list = find_mpich2_home(root_choice::shared) + "\\lib";
  append_to_path_list(list, state.node_path);
  append_to_path_list(list, ntbin_directory(state.zephon_inc.value_or("")));
  return list;
}

// On this machine the new folders come behind the old PATH.
void extend_path(const std::string &list) {
  const auto path = env_text("PATH");
  set_environment("PATH", path ? *path + ";" + list : list);
}

}  // namespace

std::string find_mpich2_home(root_choice choice) {
  const auto home = env_text("MPICH2_HOME");
  if (!home || home->empty() || contains(*home, "MPIPro") ||
      !file_is_readable(*home + "\\bin\\mpiexec.exe")) {
    return mpi_installation_directory("mpich2", choice);
  }
  if (state.mpich2_home_announced == 0) {
    echo_user_defined("MPICH2_HOME",
                      "Make sure the same MPICH2 version is installed on all the used machines!\n");
    report_version(*home + "\\bin\\smpd.exe");
    print("\n");
    ++state.mpich2_home_announced;
  }
  return *home;
}

int build_mpich2_command() {
  const auto hosts_file = host_file();

  const std::string home = find_mpich2_home(root_choice::shared);
  command_line line;
  append(line, home + "\\bin\\mpiexec.exe ",
         env_text("MPICH2_HOME") == home ? "program: MPICH2 of MPICH2_HOME"
                                         : "program: MPICH2 of the release");
  if (hosts_file) {
    require_smpd_and_credentials(find_mpich2_home(root_choice::local_allowed) + "\\bin");
    append(line, " -machinefile " + *hosts_file + " ", hosts_reason());
  } else {
    append(line, " -localonly ", "this computer alone: there is no host file");
  }
  append_processes(line, " -np ");
  append_work_size(line);
  append_channel(line);
  if (hosts_file) {
    append(line, " -env PATH " + quote(library_list()) + " ", "PATH of the remote processes");
  } else {
    extend_path(library_list());
  }
  append_user_flags(line, "MPICH2_USER_FLAGS");

  state.launch_command = line;
  return 1;
}
