// typed_words_fuzzer.cpp: what people type behind zprun, a word a line.
#include <algorithm>

#include "core/launch_state.h"
#include "front/arguments.h"
#include "front/launcher_line.h"
#include "front/near_misses.h"
#include "fuzz_support.h"
#include "launch/options.h"
#include "support/fresh_launch.h"

namespace {

using words = std::vector<std::string>;

constexpr std::size_t most_words = 40;  // each unknown option is compared with all there are

bool stands_in_order(const words &some, const words &all) {
  auto at = all.begin();
  for (const std::string &word : some) {
    at = std::find(at, all.end(), word);
    if (at == all.end()) {
      return false;
    }
    ++at;
  }
  return true;
}

// The words that can be nothing but the solver's: behind "--", and bare ones behind
// one that is no option either.
words certainly_of_solver(const words &typed) {
  words certain;
  const auto dashes = std::find(typed.begin(), typed.end(), "--");
  for (auto word = typed.begin(); word != dashes; ++word) {
    const bool follows_option = word != typed.begin() && std::prev(word)->starts_with('-');
    if (!word->starts_with('-') && *word != "/?" && !follows_option) {
      certain.push_back(*word);
    }
  }
  if (dashes != typed.end()) {
    certain.insert(certain.end(), dashes + 1, typed.end());
  }
  return certain;
}

// Takes a command line apart as Windows does behind the program's name.
words taken_apart(const std::string &line) {
  words arguments;
  for (std::size_t at = 0; (at = line.find_first_not_of(" \t", at)) != std::string::npos;) {
    std::string argument;
    bool is_quoted = false;
    for (; at < line.size() && (is_quoted || (line[at] != ' ' && line[at] != '\t')); ++at) {
      const std::size_t end = std::min(line.find_first_not_of('\\', at), line.size());
      const std::size_t backslashes = end - at;
      if (end < line.size() && line[end] == '"') {
        argument.append(backslashes / 2, '\\');
        at = end;
        if (backslashes % 2 == 1) {
          argument += '"';
        } else {
          is_quoted = !is_quoted;
        }
      } else if (backslashes > 0) {
        argument.append(backslashes, '\\');
        at = end - 1;
      } else {
        argument += line[at];
      }
    }
    arguments.push_back(argument);
  }
  return arguments;
}

void check_solver_line(const words &arguments) {
  for (const bool interpreted : {false, true}) {
    words expected = {"C:\\my solver\\zephon.exe"};
    const std::string line = solver_line(expected.front(), arguments, interpreted);
    expected.insert(expected.end(), arguments.begin(), arguments.end());
    fuzz::require(taken_apart(line) == expected, "the solver gets each argument");
  }
}

// The launcher understands every option that it is given.
void check_options(const typed_launch &launch) {
  words options = launcher_options(launch, "12.0.1");
  fuzz::begin_run();
  char **vector = stand_in::given_arguments(options);
  const auto result = fuzz::run([&] { parse_options(state.arg_count, vector); });
  fuzz::require(result.end == fuzz::run_end::came_back, "the launcher asks for nothing more");
  fuzz::require(state.solver_args_line.empty(),
                "an option became the solver's:" + state.solver_args_line);
  fuzz::check_run(result);
}

constexpr std::size_t longest_compared = 12;  // the time grows with the square

void check_near_misses(const words &typed) {
  for (std::size_t i = 1; i < typed.size(); ++i) {
    const std::string &one = typed[i - 1];
    const std::string &other = typed[i];
    const std::size_t shorter = std::min(one.size(), other.size());
    const std::size_t longer = std::max(one.size(), other.size());
    if (longer > longest_compared) {
      continue;
    }
    const int distance = edit_distance(one, other);
    fuzz::require(distance == edit_distance(other, one), "both ways are equally long");
    fuzz::require(
        distance >= static_cast<int>(longer - shorter) && distance <= static_cast<int>(longer),
        "a distance is as long as the words allow");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  words typed = fuzz::lines_of(fuzz::text_of(data, size));
  typed.resize(std::min(typed.size(), most_words));
  for (std::string &word : typed) {
    std::erase(word, '\0');
  }
  const typed_launch launch = read_arguments(typed);
  fuzz::require(stands_in_order(launch.solver_arguments, typed),
                "the solver's arguments are words as they were typed");
  check_near_misses(typed);
  if (launch.refused.empty()) {  // an option that was refused may have taken what follows it
    fuzz::require(stands_in_order(certainly_of_solver(typed), launch.solver_arguments),
                  "no argument of the solver is lost");
    check_solver_line(launch.solver_arguments);
    check_options(launch);
  }
  return 0;
}
