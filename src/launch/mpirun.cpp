// mpirun.cpp: the run from top to bottom, the usage text, the messages at exit.
#include "launch/mpirun.h"

#include <string>

#include "core/exit_status.h"
#include "core/launch_state.h"
#include "core/messages.h"
#include "core/run_record.h"
#include "launch/backend_selection.h"
#include "launch/discovery.h"
#include "launch/options.h"
#include "launch/solver_launch.h"
#include "platform/platform.h"
#include "scheduler/job_creation.h"
#include "scheduler/job_submission.h"

namespace {

// The usage speaks the start script's single-dash names; it hands them on with two.
[[noreturn]] void show_usage() {
  print("Usage: %s [version] [options]\n", state.arg_count > 0 ? state.arg_vector[0] : "");
  print("options:\n");
  print("\t-help\t\tthis listing\n");
  print("\t-rx\t\tspecify release x\n");
  print("parallel options:\n");
  print("\t-ccp x\t\trun through Microsoft Job Scheduler, and x is the head node name\n");
  print("\t-cnf=x\t\tspecify the host file\n");
  print("\t-host_ip=host:ip\tspecify the ip interface to be used by the host process\n");
  print("\t-mpi=mpi\t\tspecify MPI implementation; mpi={ibmmpi | intel | ...}\n");
  print("\t-mpitest\t\trun the mpitest program instead of ZEPHON to test the network\n");
  print("\t-pic\t\tspecify interconnect; ic={default | myri | ib }\n");
  print("\t-tx\t\tspecify number of processors x\n");
  platform::exit_program(exit_usage);
}

int classify_windows(unsigned long version) {
  if ((version & 0x80000000UL) == 0) {
    return 0;
  }
  return (version & 0xFFUL) < 4 ? 2 : 1;
}

// The chapters of a run. Each leaves what it learned in the launch state and the
// environment, and may end the program.
void run_phases(int count, char **arguments) {
  state.arg_count = count;
  state.arg_vector = arguments;
  if (count < 2) {
    show_usage();
  }
  parse_options(count, arguments);
  create_scheduler_job();
  install_on_request();
  discover_installation();
  select_backend();
  command_line command = join_solver_arguments();
  if (!submit_scheduler_job(command)) {
    launch_solver(command);
  }
}

}  // namespace

void start_from_window(void *instance, int show_command, int count, char **arguments) {
  begin_run_record(count, arguments);
  state.windows_version_class = classify_windows(platform::windows_version());
  state.instance_handle = instance;
  state.show_command = show_command;
  state.message_buffer.clear();
  platform::at_exit(flush_messages);
  run_phases(count, arguments);
  platform::exit_program(status_at_the_end());
}

int start_from_console(int count, char **arguments) {
  begin_run_record(count, arguments);
  run_phases(count, arguments);
  const int status = status_at_the_end();
  finish_run_record(status);
  return status;
}
