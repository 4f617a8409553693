// launcher_line.h: what the launcher is told of a launch that somebody typed.
#pragma once

#include <string>
#include <vector>

#include "front/typed_launch.h"

// The launcher's own options for a launch: two dashes, each with its value. The
// release is the one that was found for it.
std::vector<std::string> launcher_options(const typed_launch &launch, const std::string &release);

// The program and its arguments as a command line from which Windows' rules give
// back each of them as it was. With `interpreted` the line goes through the
// command interpreter, whose own signs are quoted as well.
std::string solver_line(const std::string &program, const std::vector<std::string> &arguments,
                        bool interpreted);
