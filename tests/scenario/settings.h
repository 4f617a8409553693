// settings.h: the rows of a table of settings, each with the command line that the
// launcher has to build for it.
#pragma once

#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "scenario_bench.h"

namespace scenario {

struct setting {
  std::string name;  // of the test
  std::vector<std::pair<std::string, std::string>> variables;
  std::string arguments;  // the launcher's
  std::string command_line;
};

inline void PrintTo(const setting &one, std::ostream *stream) {
  *stream << one.name;
}

inline void given_variables(const setting &one) {
  for (const auto &[name, value] : one.variables) {
    given_variable(name, value);
  }
}

}  // namespace scenario
