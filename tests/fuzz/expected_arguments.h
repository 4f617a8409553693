// expected_arguments.h: the solver's part of a command line, found out a second
// time from the list of options, to be compared with what the launcher makes of it.
#pragma once

#include <string>
#include <vector>

namespace fuzz {

// The arguments that are no option and no option's value, in their order.
std::vector<std::string> arguments_for_solver(const std::vector<std::string> &arguments);

// The same as the line that is appended to the launch command.
std::string expected_solver_line(const std::vector<std::string> &arguments);

}  // namespace fuzz
