// platform_mpi.cpp: builds the mpirun command line of Platform MPI.
//
// The line grows from left to right, in the order mpirun reads it. Every piece
// carries its own blanks, so one can come or go without its neighbours.
#include "backends/platform_mpi.h"

#include <optional>

#include "backends/forwarding.h"
#include "backends/host_files.h"
#include "core/command_runner.h"
#include "core/environment.h"
#include "core/exit_status.h"
#include "core/launch_state.h"
#include "core/messages.h"
#include "core/password_rounds.h"
#include "core/text.h"
#include "core/text_file.h"
#include "core/trace.h"
#include "core/unc_path.h"
#include "core/user_defined.h"
#include "install/mpi_directory.h"
#include "platform/platform.h"
#include "scheduler/job_creation.h"
#include "scheduler/scheduler_options.h"

namespace {

constexpr int head_node_trace_line = 2763;
constexpr int command_trace_line = 2928;
constexpr int job_new_trace_line = 2352;

// Inside a scheduled job the user's root is ignored: it may not exist on the node.
std::string find_root(const std::optional<std::string> &head) {
  const auto root = env_text("IBMMPI_ROOT");
  if (!root || head == inside_job) {
    return mpi_installation_directory("ibmmpi", root_choice::shared);
  }
  echo_user_defined("IBMMPI_ROOT");
  return *root;
}

void set_zephon_inc_unc() {
  state.zephon_inc_unc = state.zephon_inc.value_or("");
  convert_to_unc(state.zephon_inc_unc);
}

void append_interconnect(command_line &line) {
  if (interconnect_is_infiniband()) {
    append(line, "-IBAL ", "interconnect: --ic=" + *state.interconnect);
  } else if (state.interconnect == "myri" || state.interconnect == "myrinet") {
    append(line, "-MX ", "interconnect: --ic=" + *state.interconnect);
  }
}

// The job's one-processor task runs mpirun, which starts the ranks itself.
void hand_to_scheduler(command_line &line, const std::string &head) {
  const auto job = given_job();
  state.scheduler_job_id = job ? to_number(*job) : platform_mpi_job_new();
  if (state.scheduler_job_id < 0) {
    platform::exit_program(exit_normal);
  }
  command_line task;
  append_added_task(task, state.scheduler_job_id);
  append(task, " /" + scheduler_unit_option() + ":1-1", "one processor for mpirun itself");
  append_head_node(task, head);
  append(task, " /name:\"ORBEX ZEPHON\"", "name of the task");
  append_output_options(task);
  append_scheduler_options(task, scheduled::task_only);
  prepend(line, task);
  append(line, " -ccp ", "nodes: those of the job");
}

void append_hosts(command_line &line, const std::string &given_hosts_file) {
  auto hosts_file = write_process_host_file(given_hosts_file);
  if (!hosts_file && env_is_set("ZEPHON_AUTO_SPAWN")) {
    hosts_file = write_scheduler_host_file(given_hosts_file);
  }
  append(line, " -hostfile " + quote(hosts_file.value_or(given_hosts_file)) + " ",
         reason_of(hosts_file));
}

void append_placement(command_line &line, const std::optional<std::string> &head) {
  const auto hosts_file = host_file();
  if (head == inside_job) {
    append(line, " -ccp ", "nodes: those of the job");
  } else if (head) {
    hand_to_scheduler(line, *head);
  } else if (hosts_file) {
    append_hosts(line, *hosts_file);
  }
}

void append_remote_path(command_line &line) {
  std::string path = ntbin_directory(env_text("ZEPHON_INC").value_or(""));
  append_to_path_list(path, state.node_path);
  append(line, " -e PATH=" + forwarded_value(path), "PATH of the remote processes");
}

// Whether a program is the listed one; programs of the "tessa" family match a
// listed name of that family, of which there is none below.
bool program_matches(const char *listed) {
  const std::string program = state.zephon_prod.value_or("");
  return program == listed ||
         (std::string_view(listed).starts_with("tessa") && program.starts_with("tessa"));
}

void append_working_directory(command_line &line) {
  const bool has_directory = program_matches("zephon") || program_matches("lumis") ||
                             program_matches("beamtrace") || program_matches("lumis_acc");
  if (has_directory && !user_flags_contain("IBMMPI_USER_FLAGS", "MPI_WORKDIR")) {
    set_zephon_inc_unc();
    append(line, " -e MPI_WORKDIR=" + forwarded_value(state.zephon_inc_unc),
           "working directory: ZEPHON_INC");
  }
}

password_state ask_password_state(const std::string &mpi_root) {
  const bool cached = platform_mpi_password_is_cached(mpi_root) != 0;
  return cached ? password_state::valid : password_state::invalid;
}

// The list goes through std_dir; without a list, what stands there is appended.
void append_asked_nodes(command_line &command) {
  if (!host_file()) {
    return;
  }
  if (const auto hosts = read_host_list()) {
    state.std_dir = " /askednodes:" + *hosts + " ";
  }
  append(command, state.std_dir, hosts_reason());
}

}  // namespace

int platform_mpi_job_new() {
  const auto head = head_node();
  if (!state.mpi_selected || !head) {
    return -1;
  }
  check_scheduler_credentials();
  command_line command;
  append(command,
         format_text("%s new /scheduler:%s /jobname:\"ORBEX ZEPHON\" /%s:%d ",
                     state.ccp_job_command.c_str(), head->c_str(), scheduler_unit_option().c_str(),
                     state.num_procs),
         "a job of this run's own");
  append_scheduler_options(command, scheduled::job);
  append_asked_nodes(command);
  if (state.ptrace_mode) {
    print_error("\n%s\n", command.text.c_str());
  }
  trace("buf", command.text, job_new_trace_line);

  return run_job_new(command.text);
}

int ensure_platform_mpi_password(const std::string &mpi_root, const std::string &cache_switch) {
  if (!env_is_set("CACHE_PASSWORD") && !host_file()) {
    return 1;
  }
  require_password({.ask = [&] { return ask_password_state(mpi_root); },
                    .enter = [&] { platform_mpi_cache_password(mpi_root, cache_switch); },
                    .question = "The password is invalid for Platform MPI to launch jobs.\n"
                                "Do you want to input your password now?",
                    .declined = "\nUser chooses to skip password input, so launching stops!\n\n"});
  return 1;
}

int platform_mpi_password_is_cached(const std::string &mpi_root) {
  bool cached = false;
  run_command(quote_path(mpi_root + "\\bin\\mpirun.exe") + " -pwcheck", asks(),
              [&](const std::string &line) {
                cached = contains(line, "Cached password is valid");
                return false;
              });
  return cached ? 1 : 0;
}

int platform_mpi_cache_password(const std::string &mpi_root, const std::string &cache_switch) {
  // Other than in the check the quotes close behind the root, and a path with
  // quotes in it names no file: a root with a blank cannot cache a password.
  const std::string program = quote_path(mpi_root) + "\\bin\\mpirun.exe";
  if (!file_is_readable(program)) {
    return 0;
  }
  // A harmless command behind the switch proves the password.
  run_in_console(program + " " + cache_switch + " cmd.exe /c ver");
  return 1;
}

void relativize_install_path(std::string &path) {
  if (path.empty()) {
    return;
  }
  set_zephon_inc_unc();
  if (!state.zephon_inc_unc.empty() && path.starts_with(state.zephon_inc_unc)) {
    path.replace(0, state.zephon_inc_unc.size(), ".");
  }
}

int platform_mpi_backend() {
  const auto head = head_node();
  set_environment("MPI_ROOT", "");
  const std::string root = find_root(head);
  if (state.prod_verdir) {
    relativize_install_path(*state.prod_verdir);
  }

  command_line line;
  append(line, quote(root + "\\bin\\mpirun.exe"),
         env_text("IBMMPI_ROOT") == root ? "program: Platform MPI of IBMMPI_ROOT"
                                         : "program: Platform MPI of the release");
  append(line, " -prot", "the MPI shows which interconnects it uses");
  append(line, " -e MPI_ROOT=" + forwarded_value(root) + " ", "the MPI's own folder");
  trace("getenv(\"USE_CCP\")", head, head_node_trace_line);
  if (!env_is_set("ORBEX_DONT_CACHE_PASSWORD")) {
    ensure_platform_mpi_password(mpi_installation_directory("ibmmpi", root_choice::local_allowed),
                                 "-cache");
  }
  append_interconnect(line);
  append_placement(line, head);
  append_processes(line, " -np ");
  append_work_size(line);
  relativize_install_path(state.node_path);
  append_remote_path(line);
  append_working_directory(line);
  if (program_matches("lumis_acc")) {
    append(line, " -intra=nic -e MPI_TCP_SELECT=1 -e MPI_FLAGS=y0",
           "program: ZEPHON_PROD=lumis_acc");
  }
  append_solver_variables(line, " -e ", "=");
  append_user_flags(line, "IBMMPI_USER_FLAGS");

  state.launch_command = line;
  trace("sOptions.pre", line.text, command_trace_line);
  return 1;
}
