// run_files.h: the record of a run, read back from the world in which it was written.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace fuzz {

constexpr const char *record_path = "C:\\record.json";

// The texts are UTF-8, as in the file.
struct read_step {
  std::string kind;
  std::string text;
  bool is_assumed = false;
};

struct read_record {
  int status = 0;
  std::vector<std::string> arguments;
  std::vector<read_step> steps;
  std::optional<std::string> command;  // nothing: no launch
  std::vector<std::string> pieces;     // of the command
  std::vector<std::string> messages;
};

// Reads the record; fails when it is no JSON or lacks a member. Nothing without a file.
std::optional<read_record> read_run_record();

}  // namespace fuzz
