// trace.h: the start-up trace that ZEPHON_STARTUP_DEBUG turns on.
#pragma once

#include <optional>
#include <string>

// Prints a label, a value and the number that identifies the place, such as
//   cmd = job view 12 /scheduler:head (..\src\mpirun:4151)
// An absent value prints as (null). The line begins with its newline.
void trace(const char *label, const std::optional<std::string> &value, int line);
