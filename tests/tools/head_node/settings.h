// settings.h: how this head node behaves: what its folder's file "settings" and the
// environment say, and which faults are switched on.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "head_node/job_grammar.h"

namespace head_node {

// Names with values, in the order in which they were written: a request to the head
// node, its answer, a task's facts.
using fields = std::vector<std::pair<std::string, std::string>>;

// Reads lines of the form name=value; a line without "=" is a name without a value.
fields read_fields(std::string_view text);

// The first value of a name; empty when there is none.
std::string field(const fields &all, std::string_view name);

// Every setting has a name, a value that holds when nobody says otherwise, and an
// environment variable HEAD_NODE_<NAME> that wins over the file.
struct settings {
  tool_generation generation = tool_generation::hpc_2012_r2;
  std::string head_node = "HEADNODE";  // the name by which the tools know it
  std::string templates;               // further job templates, divided by commas
  std::size_t command_limit = 480;     // characters of a task's command
  bool capital_keys = false;           // "Allocated Nodes" and "Error Message" in view
  fields delays;                       // see delay_names; seconds, with a fraction
};

// connect: until an unreachable head node is given up. submitted, validating, queued:
// how long a job is at least in each state. dispatching: the same for a task.
constexpr const char *delay_names[] = {"connect_seconds", "submitted_seconds", "validating_seconds",
                                       "queued_seconds", "dispatching_seconds"};

// Puts the settings together. A variable's value is asked of `variable`, which gives
// an empty text for one that is not set.
settings read_settings(std::string_view file, std::string (*variable)(const std::string &name));

// The faults that hold for a sub-command, from texts of the form
//   NAME, NAME=VALUE, NAME@SUBCOMMAND, NAME@SUBCOMMAND=VALUE
// divided by blanks, semicolons or line ends.
std::map<std::string, std::string> faults_for(std::string_view text,
                                              const std::string &sub_command);

}  // namespace head_node
