// tool_log.h: the log in which a scripted tool writes down each of its starts.
//
// A log is a row of records, a record a row of fields, a field a line with its
// name and size and then its bytes, whatever they are, and a line end:
//   command_line 14\n
//   job.exe submit\n
// Each record starts with the field "record" and ends with the field "done".
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace scripted_tool {

struct field {
  std::string name;
  std::string bytes;
};
using record = std::vector<field>;

// The record as it stands in the log.
std::string record_text(const record &fields);

// The records of a log. A last record that is not complete is left out.
std::vector<record> parse_log(std::string_view text);

// The bytes of the first field of that name; nothing when there is none.
std::optional<std::string> find_field(const record &fields, std::string_view name);

// A whole file; nothing when it cannot be opened.
std::optional<std::string> read_file(const std::string &path);

// Replaces a file, or adds to its end. False when that was not possible.
bool write_file(const std::string &path, std::string_view text);
bool append_file(const std::string &path, std::string_view text);

// While it lives no other process has a lock for the same log.
class log_lock {
 public:
  explicit log_lock(const std::string &log_path);
  ~log_lock();
  log_lock(const log_lock &) = delete;
  log_lock &operator=(const log_lock &) = delete;

 private:
  void *mutex_;
};

}  // namespace scripted_tool
