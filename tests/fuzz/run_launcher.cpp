// run_launcher.cpp: the launcher from its entry to its end. A file of its own: the
// fuzzers that need only a part of the launcher are linked without the rest.
#include "core/launch_state.h"
#include "fuzz_support.h"
#include "launch/mpirun.h"
#include "support/fresh_launch.h"

namespace fuzz {

run_result run_launcher(const std::vector<std::string> &arguments) {
  char **vector = stand_in::given_arguments(arguments);
  const int count = state.arg_count;
  const auto result = run([&] { start_from_window(nullptr, 1, count, vector); });
  require(result.end != run_end::came_back, "the entry ends the program");
  return result;
}

}  // namespace fuzz
