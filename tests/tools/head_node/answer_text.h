// answer_text.h: what the tools print, made from what the head node answered.
#pragma once

#include <string>

#include "head_node/job_grammar.h"
#include "head_node/settings.h"

namespace head_node {

struct tool_answer {
  std::string output;  // for standard output; lines end with a carriage return and a line feed
  std::string error;   // for standard error
  int status = 0;
};

// One line on standard error and a status that is not 0.
tool_answer failure(const std::string &reason);

// The text for a call that the head node has answered. An answer that holds "error"
// is a refusal; what it holds otherwise is explained at the top of head_node.sh.
tool_answer answer_text(const tool_call &call, const fields &answer, const settings &known);

// The name of a state as this generation of the tools spells it.
std::string state_name(const std::string &state, tool_generation generation);

// What the cluster sets for all tasks: its own variables, changed and added to by the
// lines of the file "cluster_environment".
fields cluster_environment(const settings &known, std::string_view file);

// The variables that a task finds besides those of its node and its cluster. The
// facts are those that head_node.sh writes down when the task starts.
fields task_environment(const fields &facts);

}  // namespace head_node
