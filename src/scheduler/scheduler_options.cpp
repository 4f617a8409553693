// scheduler_options.cpp: composes what the scheduler's commands have in common.
#include "scheduler/scheduler_options.h"

#include <algorithm>
#include <cstdint>
#include <limits>

#include "core/command_runner.h"
#include "core/environment.h"
#include "core/launch_state.h"
#include "core/messages.h"
#include "core/text.h"
#include "core/trace.h"
#include "core/unc_path.h"
#include "core/user_defined.h"
#include "platform/platform.h"
#include "platform/rehearsal.h"
#include "scheduler/job_identifier.h"

namespace {

constexpr std::size_t std_dir_limit = 1024;
constexpr int credential_trace_line = 1654;

void append_option(command_line &command, const char *option, const char *variable) {
  if (const auto value = env_text(variable)) {
    append(command, std::string(" ") + option + *value + " ",
           std::string("the scheduler's: ") + variable);
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

// What a task asks for.
void append_allocation(command_line &command) {
  append(command, " /exclusive:false", "its nodes may run other jobs as well");
  append(command, " /" + scheduler_unit_option() + ":" + std::to_string(state.num_procs),
         "processes: " + state.num_procs_source);
}

}  // namespace

void append_scheduler_options(command_line &command, scheduled what) {
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
  // Calculated wide, so that odd numbers cannot overflow.
  const std::int64_t per_node = env_number("NP_PER_NODE");
  const std::int64_t processors = env_number("NUMBER_OF_PROCESSORS");
  if (per_node * processors < 1) {
    return state.num_procs;
  }
  const std::int64_t whole_machines = processors * state.num_procs / per_node;
  return static_cast<int>(
      std::clamp<std::int64_t>(whole_machines, state.num_procs, std::numeric_limits<int>::max()));
}

int check_scheduler_credentials() {
  if (credential_checks_are_off()) {
    return 0;
  }
  // Behind two interpreters: each takes a pair of quotes off.
  const std::string pair = interpreter_pair(state.ccp_job_command);
  command_line command;
  command.text = format_text(
      "cmd.exe /c %s%s submit /scheduler:%s /jobname:\"ORBEX ZEPHON Credential Check\" ",
      pair.c_str(), state.ccp_job_command.c_str(), chars_of(head_node()));
  append_scheduler_options(command, scheduled::job);
  command.text += " cmd.exe /C ver" + pair;
  trace("buf", command.text, credential_trace_line);
  return run_in_console(command.text);
}

void append_output_options(command_line &command) {
  const auto directory = task_directory();
  if (!directory) {
    return;
  }
  state.std_dir = *directory;
  convert_to_unc(state.std_dir);

  if (is_network_path(state.std_dir)) {
    append(command, " /workdir:" + quote_directory(state.std_dir),
           "working directory: STD_DIR, --cwd or the current folder");
  } else if (state.ptrace_mode) {
    print_error(
        "\nWarning: Working directory is not a network mapped: %s\n"
        "         stdout and stderr will be under your HOME directory on the first allocated node!",
        state.std_dir.c_str());
  }
  // The scheduler expands the task context when the task starts.
  const std::string base_name = "ZP%CCP_TASKCONTEXT%" + output_user_part();
  append(command, " /stdout:" + base_name + ".o /stderr:" + base_name + ".e ",
         "output files of the task, named with USERNAME");
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

void append_added_task(command_line &command, int job_id) {
  append(command, format_text("%s add %d", state.ccp_job_command.c_str(), job_id),
         rehearsal::is_on() && job_id == assumed_job_id
             ? "a task of the job, whose number is assumed"
             : "a task of the job that is this run's: CCP_JOB_ID");
}

void append_head_node(command_line &command, const std::string &head) {
  append(command, " /scheduler:" + head, "head node: USE_CCP");
}

command_line build_task_command(const std::string &head, bool hosts_file_is_readable) {
  const auto job = given_job();
  command_line command;
  auto what = scheduled::job;
  if (!job) {
    append(command, state.ccp_job_command + " submit", "a job of its own: no CCP_JOB_ID");
    append_head_node(command, head);
    append(command, " /jobname:\"ORBEX ZEPHON\"", "name of the job");
    append_allocation(command);
  } else if (!hosts_file_is_readable) {
    append_added_task(command, to_number(*job));
    append_head_node(command, head);
    append(command, " /name:\"ORBEX ZEPHON\"", "name of the task");
    append_allocation(command);
    what = scheduled::task_only;
  }
  if (!hosts_file_is_readable) {
    append_output_options(command);
  }
  append_scheduler_options(command, what);
  return command;
}

void append_hosts_of_job(command_line &line) {
  // The scheduler expands it when the task starts.
  append(line, " -hosts %CCP_NODES% ", "nodes: those of the job");
}
