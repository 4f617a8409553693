// user_defined.h: settings of the user's own that change a command: shown, and
// passed on as they stand.
#pragma once

#include <string>

// Shows a variable that the user set, with a note behind it unless the note is
// empty. Prints nothing when the variable is not set.
void echo_user_defined(const char *name, const std::string &note = "");

// When the variable is set: shows it and appends a blank, its value and a blank.
void append_user_flags(std::string &line, const char *name);
