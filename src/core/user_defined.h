// user_defined.h: settings of the user's own: those that change a command are shown,
// and passed on as they stand.
#pragma once

#include <string>
#include <string_view>

#include "core/command_line.h"

// Shows a variable that the user set, with a note behind it unless the note is
// empty. Prints nothing when the variable is not set.
void echo_user_defined(const char *name, const std::string &note = "");

// When the variable is set: shows it and appends a blank, its value and a blank.
void append_user_flags(command_line &line, const char *name);

// Whether the flags of that variable hold a piece of text; no when it is not set.
bool user_flags_contain(const char *name, std::string_view piece);

// Whether ZEPHON_CRED_CHECK=no, in capital or small letters, switched off all checks
// of passwords and credentials.
bool credential_checks_are_off();
