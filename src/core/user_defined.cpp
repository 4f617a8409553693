// user_defined.cpp: the block of stars that shows a user's own setting.
#include "core/user_defined.h"

#include "core/environment.h"
#include "core/messages.h"
#include "core/text.h"

void echo_user_defined(const char *name, const std::string &note) {
  const auto value = env_text(name);
  if (!value) {
    return;
  }
  std::string text = "\n***\n";
  append_format(text, "*** User defined: %s=%s\n", name, value->c_str());
  if (!note.empty()) {
    text += "*** " + note;
    if (!contains(note, "\n")) {
      text += "\n";
    }
  }
  text += "***\n";
  print_text(platform::standard_stream::output, text);
}

void append_user_flags(command_line &line, const char *name) {
  if (const auto flags = env_text(name)) {
    echo_user_defined(name);
    append(line, " " + *flags + " ", std::string("the user's own: ") + name);
  }
}

bool user_flags_contain(const char *name, std::string_view piece) {
  const auto flags = env_text(name);
  return flags && contains(*flags, piece);
}

bool credential_checks_are_off() {
  const auto check = env_text("ZEPHON_CRED_CHECK");
  return check && equal_ignoring_case(*check, "no");
}
