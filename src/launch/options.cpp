// options.cpp: the option table, in the order of its page.
//
// --R and --r take whatever begins with them, so no other option may begin so.
#include "launch/options.h"

#include <algorithm>
#include <optional>
#include <string_view>

#include "core/environment.h"
#include "core/exit_status.h"
#include "core/launch_state.h"
#include "core/messages.h"
#include "core/text.h"
#include "core/timed_question.h"
#include "core/unc_path.h"

namespace {

constexpr int head_node_question_seconds = 15;
constexpr int not_started_notice_seconds = 3;
constexpr std::size_t solver_args_limit = 63;  // one more entry ends the array
constexpr std::size_t ccp_job_command_limit = 512;

// Walks along the arguments; an option may take the next one as its value.
struct argument_walk {
  char **next;
  char **end;

  std::optional<std::string> take() {
    return next == end ? std::nullopt : std::optional<std::string>(*next++);
  }
};

void add_solver_arg(const std::string &argument) {
  if (state.solver_args.size() < solver_args_limit) {
    state.solver_args.push_back(argument);
    ++state.solver_argc;
  }
}

void add_to_solver_line(const std::string &argument) {
  state.solver_args_line += " " + quote_argument(argument);
}

void set_release(const std::string &value) {
  state.release = value.empty() ? "list" : value;
}

void set_installation_root(std::string path) {
  convert_to_unc(path);
  set_environment("ZEPHON_INC", path);
  convert_to_unc(path);
  set_environment("ZEPHON_SHARED_DIR", path);
}

// A release such as 6.3.0 chooses the default MPI; other texts leave it.
void apply_version_rule(const std::string &release) {
  int major = 0;
  int minor = 0;
  const char *rest = scan_number(release.c_str(), major);
  if (rest == nullptr || *rest != '.' || scan_number(rest + 1, minor) == nullptr) {
    return;  // not at least two numbers
  }
  if (major < 6 || (major == 6 && minor < 3)) {
    state.default_mpi = "net";
  } else if (major == 6) {
    state.default_mpi = "mpich2";
  }
}

// The value of --np=, but no fewer than there are meshing processes unless the run is
// serial. 0 leaves the count to the job.
void apply_process_count(const std::string &value) {
  state.num_procs = value.empty() ? 1 : to_number(value);
  state.num_procs_source = "--np=" + value;

  if (env_is_set("MESHING_MODE") && env_is_set("PARA_MESH_NPROCS")) {
    const int meshing_procs = env_number("PARA_MESH_NPROCS");
    if (state.num_procs >= 2 && state.num_procs < meshing_procs) {  // a serial run stays serial
      add_message(
          "\nWarning: Total solver processes count need to be greater or equal to meshing "
          "processes count, so resetting the count to %d\n",
          meshing_procs);
      state.num_procs = meshing_procs;
      state.num_procs_source = "PARA_MESH_NPROCS, which is more than --np=" + value;
    }
  }
  if (state.num_procs == 0 && env_is_set("CCP_NODES") && env_is_set("CCP_NUMCPUS")) {
    state.num_procs = env_number("CCP_NUMCPUS");
    state.num_procs_source = "CCP_NUMCPUS, for --np=0";
  }
}

void use_head_node(std::optional<std::string> name) {
  if (!name) {
    const int answer = timed_question(
        "The computer cluster head node is not provided.\n"
        "Do you want to use the local host as the head node?",
        head_node_question_seconds, yes_no_buttons);
    if (answer != answer_yes) {
      timed_question("Zephon could not be started.", not_started_notice_seconds, ok_button);
      platform::exit_program(exit_normal);
    }
    name = "0";
  }
  const auto computer = env_text("COMPUTERNAME");
  set_environment("USE_CCP", *name == "0" && computer ? *computer : *name);
}

void select_mpi(const std::string &name) {
  state.mpi_selected = true;
  state.mpi_name = name == "pcmpi" ? "ibmmpi" : name;
  state.mpi_requested = state.mpi_name;
}

void parse_option(const std::string &argument, argument_walk &walk) {
  std::string value;
  const auto is = [&](std::string_view spelling) { return argument == spelling; };
  const auto begins = [&](std::string_view spelling) {
    if (!argument.starts_with(spelling)) {
      return false;
    }
    value = argument.substr(spelling.size());
    return true;
  };

  if (is("--debugmpi")) {
    set_environment("MPI_DEBUG", "1");
  } else if (begins("--cnf=")) {
    set_environment("ZEPHON_HOSTS_FILE", value);
    state.hosts_file_given = true;
  } else if (is("--node")) {
    state.node_only = true;
    state.node_mode = true;
  } else if (begins("--host_ip=")) {
    set_environment("ZEPHON_HOST_IP", value);
  } else if (is("--host")) {
    state.node_mode = true;
  } else if (is("--ptrace")) {
    set_environment("ZEPHON_PTRACE", "1");
    state.ptrace_mode = true;
  } else if (begins("--path=")) {
    set_installation_root(value);
  } else if (is("--cx")) {
    state.node_mode = true;
    add_solver_arg(argument);
    if (const auto next = walk.take()) {
      add_solver_arg(*next);
    }
  } else if (begins("--R")) {
    set_release(value);
    set_environment("PASS_IN_RELEASE", *state.release);
  } else if (begins("--r")) {
    set_release(value);
    apply_version_rule(*state.release);
    set_environment("PASS_IN_RELEASE", *state.release);
  } else if (begins("--prod_verdir=")) {
    state.prod_verdir = value;
  } else if (begins("--pathnode=")) {
    state.node_path = value;
  } else if (begins("--ic=")) {
    state.interconnect = value.empty() ? "ethernet" : value;  // leaves mpi_selected alone
  } else if (is("--o")) {
    state.wait_mode = true;
    state.timing_file = walk.take();
  } else if (is("-wait")) {
    state.wait_mode = true;
  } else if (is("--ccp")) {
    use_head_node(walk.take());
  } else if (begins("--np_per_node=")) {
    set_environment("NP_PER_NODE", value);
  } else if (begins("--jobid=")) {
    set_environment("CCP_JOB_ID", value);
  } else if (begins("--cred_check=")) {
    set_environment("ZEPHON_CRED_CHECK", value);
  } else if (is("--cwd")) {
    if (const auto next = walk.take()) {
      set_environment("CWD", *next);
    }
  } else if (is("--install_smpd")) {
    state.smpd_request = walk.take().value_or("0");
  } else if (is("--start_smpd")) {
    state.start_smpd = true;
    state.smpd_request = walk.take().value_or("0");
  } else if (begins("--mpi=")) {
    select_mpi(value);
  } else if (begins("--np=")) {
    state.mpi_selected = true;
    apply_process_count(value);
  } else if (begins("--unit=")) {
    set_environment("ZP_CCP_UNIT", value.empty() ? "processor" : value);
  } else if (is("--install_ibmmpi")) {
    set_environment("ZEPHON_INSTALL_IBMMPI", "1");
  } else if (is("--cache_password")) {
    set_environment("CACHE_PASSWORD", "1");
  } else {
    add_solver_arg(argument);
    add_to_solver_line(argument);
  }
}

void read_environment() {
  state.zephon_inc = env_text("ZEPHON_INC");
  state.zephon_arch = env_text("ZEPHON_ARCH");
  state.zephon_prod = env_text("ZEPHON_PROD");
  state.zephon_prod_dir = env_text("ZEPHON_PROD_DIR");
  state.cx_debug = env_text("CX_DEBUG");
}

// An empty --mpi= means the default as it stands now: a --r behind it counts too.
void resolve_default_mpi() {
  if (state.mpi_requested && state.mpi_requested->empty()) {
    state.mpi_name = state.default_mpi;
    state.mpi_requested = state.mpi_name;
  }
}

// Inside a job that the scheduler started there is no head node to ask.
void recognise_scheduled_job() {
  if (env_is_set("CCP_CLUSTER_NAME") && env_is_set("CCP_NODES")) {
    set_environment("USE_CCP", inside_job);
    state.wait_mode = true;
  }
}

void read_job_command() {
  const auto command = env_text("ZP_CCP_JOB_COMMAND");
  if (head_node() && command) {
    state.ccp_job_command = command->substr(0, ccp_job_command_limit);
  }
}

}  // namespace

void parse_options(int count, char **arguments) {
  static_cast<option_record &>(state) = option_record{};
  read_environment();

  argument_walk walk{arguments + std::min(count, 1), arguments + count};
  while (const auto argument = walk.take()) {
    parse_option(*argument, walk);
  }

  resolve_default_mpi();
  recognise_scheduled_job();
  read_job_command();
  state.solver_args.emplace_back();
}
