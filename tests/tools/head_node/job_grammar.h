// job_grammar.h: what the command lines of job.exe and cluscfg.exe mean, and what is
// refused before the head node is asked. Knows neither Windows nor the scheduler.
#pragma once

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace head_node {

// The tools changed over the years: what they know, and how they name things.
enum class tool_generation { ccp, hpc_2008, hpc_2008_r2, hpc_2012_r2 };

// ccp, 2008, 2008r2 or 2012r2; anything else is 2012r2.
tool_generation generation_named(const std::string &name);

struct grammar_settings {
  tool_generation generation = tool_generation::hpc_2012_r2;
  std::string default_scheduler;    // CCP_SCHEDULER; empty: not set
  std::size_t command_limit = 480;  // characters of a task's command
};

enum class call_outcome { accepted, usage, refused };

// One call of a tool. The options stand under their names without the slash, with
// values that need no further check, each at most once:
//   boolean options    true or false
//   num...             unit (processors, cores, nodes, sockets), minimum, maximum (number or *)
//   askednodes         requestednodes
//   runtime            seconds or infinite
//   priority           0 to 4000
struct tool_call {
  call_outcome outcome = call_outcome::accepted;
  std::string reason;       // refused: one line that names the cause
  std::string sub_command;  // in lower case
  std::string scheduler;    // the head node it is meant for
  std::string job;          // the identifier, or !! for the last one; empty: none
  std::string command;      // the task's command line; empty: none
  std::vector<std::pair<std::string, std::string>> options;
  std::vector<std::string> environment;  // NAME=VALUE texts of all /env options
};

// What a tool was told in its arguments, its own name left out.
tool_call read_job_call(const std::vector<std::string> &arguments,
                        const grammar_settings &settings);
tool_call read_cluscfg_call(const std::vector<std::string> &arguments,
                            const grammar_settings &settings);

// The text of /? and /help.
std::string job_usage(tool_generation generation);
std::string cluscfg_usage();

}  // namespace head_node
