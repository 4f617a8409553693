// world_state.h: what the parts of the scenario bench know of the test that runs.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "scenario_bench.h"

namespace scenario {

// Names of variables without regard to case, in the order that Windows wants for
// an environment block.
struct variable_order {
  bool operator()(const std::string &one, const std::string &other) const;
};

struct world_state {
  std::string folder;
  std::map<std::string, std::string, variable_order> variables;
  std::vector<std::string> tools;           // every scripted tool, from the world's folder on
  std::vector<std::optional<int>> answers;  // to boxes; nothing: left alone
  std::size_t boxes_met = 0;
  bool joined_output = false;
  std::string output_file;  // empty: pipes
  bool no_standard_handles = false;
  std::vector<void *> inherited_handles;
  std::string current_folder;
  std::string desktop;  // "station\\desktop"; empty: the test's own
  std::function<void(unsigned long process)> prepare_start;
  unsigned long time_limit = 60000;
  owned_handle job;  // everything that the test starts is in it
};

// The world of the running test, on the thread that runs it.
world_state &world();

// The folder from which this build's programs are found, without a backslash at its end.
std::string build_folder();

}  // namespace scenario
