// tool_run.h: the part that job.exe and cluscfg.exe have in common: reading the
// settings, asking the head node, printing what comes of it.
#pragma once

#include <string>
#include <vector>

#include "head_node/job_grammar.h"

namespace head_node {

// What a tool adds: how it reads its arguments, and its help.
struct tool {
  tool_call (*read_call)(const std::vector<std::string> &arguments,
                         const grammar_settings &settings);
  std::string (*usage)(tool_generation generation);
};

// Does one call from its arguments to its exit code.
int run_tool(const tool &which, int argument_count, char **arguments);

}  // namespace head_node
