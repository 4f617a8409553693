// scheduler_options.cpp: composes what the scheduler's commands have in common.
#include "scheduler/scheduler_options.h"

#include <algorithm>
#include <cstdint>

#include "core/command_runner.h"
#include "core/environment.h"
#include "core/launch_state.h"
#include "core/messages.h"
#include "core/text.h"
#include "core/trace.h"
#include "core/unc_path.h"
#include "core/user_defined.h"
#include "platform/platform.h"

namespace {

constexpr std::size_t std_dir_limit = 1024;
constexpr int credential_trace_line = 1654;

void append_option(std::string &command, const char *option, const char *variable) {
  if (const auto value = env_text(variable)) {
    command += std::string(" ") + option + *value + " ";
  }
}

// STD_DIR, else CWD, else the current directory.
std::optional<std::string> task_directory() {
  for (const char *name : {"STD_DIR", "CWD"}) {
    if (const auto value = env_text(name)) {
      return value->substr(0, std_dir_limit);
    }
  }
  return platform::current_directory();
}

// A directory as one argument. Behind a backslash the quote would count as text.
//   \\server\run  ->  "\\server\run"       \\server\  ->  "\\server\."
std::string quote_directory(const std::string &directory) {
  return quote(directory + (directory.ends_with('\\') ? "." : ""));
}

bool is_network_path(const std::string &path) {
  return path.starts_with("\\\\") || path.starts_with("//");
}

}  // namespace

void append_scheduler_options(std::string &command, scheduled what) {
  if (what == scheduled::job) {
    append_option(command, "/jobtemplate:", "ZP_CCP_JOB_TEMPLATE");
    append_option(command, "/nodegroup:", "ZP_CCP_NODE_GROUP");
  }
  append_user_flags(command, "CCP_USER_FLAGS");
}

std::string scheduler_unit_option() {
  return "num" + env_text("ZP_CCP_UNIT").value_or("processor") + "s";
}

int scheduler_processor_count() {
  if (!env_is_set("NP_PER_NODE") || !env_is_set("NUMBER_OF_PROCESSORS")) {
    return state.num_procs;
  }
  // Calculated wide, so that odd numbers cannot overflow; Windows counts in 32 bits.
  const std::int64_t per_node = env_number("NP_PER_NODE");
  const std::int64_t processors = env_number("NUMBER_OF_PROCESSORS");
  if (per_node * processors < 1) {
    return state.num_procs;
  }
  const auto whole_machines = static_cast<std::int32_t>(processors * state.num_procs);
  return std::max(static_cast<std::int32_t>(whole_machines / per_node), state.num_procs);
}

int check_scheduler_credentials() {
  if (credential_checks_are_off()) {
    return 0;
  }
  std::string command =
      format_text("cmd.exe /c %s submit /scheduler:%s /jobname:\"ORBEX ZEPHON Credential Check\" ",
                  state.ccp_job_command.c_str(), chars_of(head_node()));
  append_scheduler_options(command, scheduled::job);
  command += " cmd.exe /C ver";
  trace("buf", command, credential_trace_line);
  return run_in_console(command);
}

void append_output_options(std::string &command) {
  const auto directory = task_directory();
  if (!directory) {
    return;
  }
  state.std_dir = *directory;
  convert_to_unc(state.std_dir);

  if (is_network_path(state.std_dir)) {
    command += " /workdir:" + quote_directory(state.std_dir);
  } else if (state.ptrace_mode) {
    print_error(
        "\nWarning: Working directory is not a network mapped: %s\n"
        "         stdout and stderr will be under your HOME directory on the first allocated node!",
        state.std_dir.c_str());
  }
  // The scheduler expands the task context when the task starts.
  const std::string base_name = "ZP%CCP_TASKCONTEXT%" + output_user_part();
  command += " /stdout:" + base_name + ".o /stderr:" + base_name + ".e ";
}

std::string output_user_part() {
  const auto user = env_text("USERNAME");
  return user ? "." + *user : "";
}

void prepare_task() {
  if (const auto job = given_job()) {
    state.scheduler_job_id = to_number(*job);
  } else {
    check_scheduler_credentials();
  }
}

std::string build_task_command(const std::string &head, bool hosts_file_is_readable) {
  const auto job = given_job();
  std::string command;
  auto what = scheduled::job;
  if (!job) {
    append_format(command,
                  "%s submit /scheduler:%s /jobname:\"ORBEX ZEPHON\" /exclusive:false /%s:%d",
                  state.ccp_job_command.c_str(), head.c_str(), scheduler_unit_option().c_str(),
                  state.num_procs);
  } else if (!hosts_file_is_readable) {
    append_format(command, "%s add %d /scheduler:%s /name:\"ORBEX ZEPHON\" /exclusive:false /%s:%d",
                  state.ccp_job_command.c_str(), to_number(*job), head.c_str(),
                  scheduler_unit_option().c_str(), state.num_procs);
    what = scheduled::task_only;
  }
  if (!hosts_file_is_readable) {
    append_output_options(command);
  }
  append_scheduler_options(command, what);
  return command;
}

void append_hosts_of_job(std::string &line) {
  line += " -hosts %CCP_NODES% ";  // the scheduler expands it when the task starts
}
