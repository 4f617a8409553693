// whole_run_fuzzer.cpp: a run from the entry to the end, with arguments, variables,
// files, tools and mishaps of the fuzzer's choice; run_description.h explains the
// input.
#include <algorithm>

#include "core/launch_state.h"
#include "expected_arguments.h"
#include "fuzz_support.h"
#include "run_description.h"
#include "support/fresh_launch.h"

namespace {

// The one program that is started to be the solver, if it came to that.
const stand_in::started_command *solver_start() {
  const auto &started = stand_in::started_commands();
  if (started.empty() || started.back().way != stand_in::start_way::process ||
      started.back().handles != platform::inheritance::all) {
    return nullptr;
  }
  return &started.back();
}

// Options end a run only when the last argument is read, so the line is whole.
void check_solver_line(const std::vector<std::string> &arguments) {
  const std::string expected = fuzz::expected_solver_line(arguments);
  fuzz::require(state.solver_args_line == expected,
                "each solver argument stands once and in order in the solver line");
  if (const auto *start = solver_start()) {
    const std::size_t first = std::min(expected.find_first_not_of(' '), expected.size());
    fuzz::require(start->command_line.ends_with(expected.substr(first)),
                  "the program is started with the solver's arguments");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  const auto text = fuzz::text_of(data, size);
  const auto described = fuzz::read_description(text);
  fuzz::begin_run(described.may_hang);
  fuzz::build_world(text);

  const auto result = fuzz::run_launcher(described.arguments);
  check_solver_line(described.arguments);
  fuzz::check_run(result, described.has_ctrl_c);
  return 0;
}
