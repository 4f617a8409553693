// arguments_fuzzer.cpp: the argument vector, an argument a line.
#include <algorithm>

#include "core/launch_state.h"
#include "expected_arguments.h"
#include "fuzz_support.h"
#include "launch/options.h"
#include "support/fresh_launch.h"

namespace {

std::vector<std::string> arguments_of(std::string_view text) {
  auto arguments = fuzz::lines_of(text);
  for (std::string &argument : arguments) {
    std::erase(argument, '\0');  // it would end there
  }
  return arguments;
}

// The array holds the first arguments that were added to it, and then its end.
void check_solver_array() {
  constexpr std::size_t most = 63;
  const auto &array = state.solver_args;
  fuzz::require(!array.empty() && array.back().empty(), "the array of arguments has an end");
  fuzz::require(array.size() <= most + 1, "the array of arguments keeps to its limit");
  fuzz::require(array.size() == static_cast<std::size_t>(state.solver_argc) + 1,
                "the array of arguments holds as many as it says");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  const auto arguments = arguments_of(fuzz::text_of(data, size));
  fuzz::begin_run();
  stand_in::given_variable("COMPUTERNAME", "desk");
  stand_in::given_network_drive("Z:", "\\\\server\\share");

  char **vector = stand_in::given_arguments(arguments);
  const auto result = fuzz::run([&] { parse_options(state.arg_count, vector); });
  fuzz::require(state.solver_args_line == fuzz::expected_solver_line(arguments),
                "each solver argument stands once and in order in the solver line");
  if (result.end == fuzz::run_end::came_back) {
    check_solver_array();
  } else {
    fuzz::require(result.end == fuzz::run_end::ended && result.status == 0,
                  "only the question for the head node ends the options");
  }
  fuzz::check_run(result);
  return 0;
}
