// typed_option.h: the options of zprun by their names, and a word taken apart.
#pragma once

#include <optional>
#include <string>

#include "front/typed_launch.h"

// An option as it was typed, taken apart: -np=4 is the name t and the value 4.
struct typed_option {
  std::string name;                  // as it is in the tables, when it is known
  std::optional<std::string> value;  // what stands in the same word
  bool known = false;
  bool mended = false;
};
typed_option take_apart(const std::string &word);

// Where an option's value goes, by the option's name; null for another kind of option.
using text_field = std::optional<std::string> typed_launch::*;
using flag_field = bool typed_launch::*;
text_field text_field_of(const std::string &name);
flag_field flag_field_of(const std::string &name);

// What an option asks for instead of a run; nothing for another kind of option.
std::optional<zprun_task> task_of(const std::string &name);

// The option that a word is near to; nothing when it is near to none or to several.
std::optional<std::string> nearest_option(const std::string &word);

// Whether the value stands behind the name without a sign between, as in -t4.
bool has_glued_value(std::string_view name);

// An option as it is best typed: -t4, -mpi=intel.
std::string option_text(const std::string &name, const std::string &value);
