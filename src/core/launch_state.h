// launch_state.h: the one record of what the launcher knows about this run.
//
// Phases read it and fill it in their order: options, scheduler job, discovery,
// back-end, launch. Nothing in it is ever reset, but for the option record at
// the start of parsing. An empty optional means that nobody gave the value. What is
// marked as kept was said to the launcher, and nothing in it asks for it.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "core/command_line.h"

// What the options say. The option parser clears it as a whole.
struct option_record {
  std::optional<std::string> release;        // from --r and --R; "list" when given without a value
  std::vector<std::string> solver_args;      // kept: at most 63, then one empty entry
  int solver_argc = 0;                       // kept: arguments in solver_args
  command_line launch_command;               // built by one back-end; empty: none was built
  std::string solver_args_line;              // all solver arguments, each with a blank before it
  std::optional<std::string> timing_file;    // from --o: where the timing report goes
  bool node_mode = false;                    // on behalf of a node or host: no box at exit
  bool node_only = false;                    // kept: --node
  bool mpi_selected = false;                 // an MPI run was asked for
  std::string mpi_name;                      // picks the back-end; empty: none
  std::optional<std::string> mpi_requested;  // the MPI name as the option gave it
  std::optional<std::string> interconnect;   // from --ic=
  int num_procs = 1;                         // solver processes, all hosts together
  std::string num_procs_source = "one, as --np= was not given";
  bool ptrace_mode = false;                 // --ptrace: echo commands
  bool wait_mode = false;                   // ignore Ctrl-C and wait for the child
  bool hosts_file_given = false;            // kept: --cnf=
  std::optional<std::string> smpd_request;  // installation folder, or "0": the release's own
  bool start_smpd = false;                  // start the service instead of installing it
  int scheduler_job_id = 0;                 // the job that is watched; below 1: none
};

struct launch_state : option_record {
  int arg_count = 0;
  char **arg_vector = nullptr;  // the process's own; arg_vector[0] is the program's name

  std::optional<std::string> zephon_inc;       // ZEPHON_INC as it stood at start-up
  std::optional<std::string> zephon_arch;      // architecture folder
  std::optional<std::string> zephon_prod;      // program being launched; caption of the exit box
  std::optional<std::string> zephon_prod_dir;  // product folder
  std::optional<std::string> cx_debug;         // kept: CX_DEBUG
  std::optional<std::string> external_mpirun;  // external launch command; nothing sets it yet
  std::optional<std::string> prod_verdir;      // kept: from --prod_verdir=, made relative

  std::string node_path;                // PATH for the remote processes; empty: none
  std::string zephon_inc_unc;           // zephon_inc in network form, once it was asked for
  std::string default_mpi = "ibmmpi";   // what an empty --mpi= means
  std::string ccp_job_command = "job";  // the scheduler's tool
  std::string std_dir;                  // where a task runs; Platform MPI's /askednodes: too
  int mpich2_home_announced = 0;        // how often MPICH2_HOME was shown with its version
  bool ctrl_c_ignored = false;          // Windows was told to ignore Ctrl-C
  std::string message_buffer;           // what the user is told once, at exit
  std::string env_pool{'\0'};           // our settings as an environment block
  int windows_version_class = 0;        // 0: Windows NT family, 1: 95/98/Me, 2: Win32s
  void *instance_handle = nullptr;      // kept: from the window entry
  int show_command = 1;                 // kept: from the window entry

  // A front attends the run: nothing is shown in a box, Ctrl-C is its business, and it
  // follows a job of the scheduler itself.
  bool attended = false;
  std::optional<int> solver_status;  // exit code of the solver; nothing: nobody saw its end
};

extern launch_state state;
