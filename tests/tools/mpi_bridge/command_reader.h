// command_reader.h: walks through the words of a command line.
#pragma once

#include <cstddef>
#include <initializer_list>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "launch_request.h"

namespace mpi_bridge {

class command_reader {
 public:
  explicit command_reader(text_list words) : words_(std::move(words)) {}

  bool at_end() const { return next_ >= words_.size(); }
  const std::string &peek() const { return words_[next_]; }
  std::string take() { return words_[next_++]; }

  // The next word; nothing at the end of the line.
  std::optional<std::string> take_value();

  // The next word when it is a number of ranks; otherwise it stays.
  std::optional<int> take_count();

  // Passes over the next word when it is made of digits.
  void skip_number();

  // A number of hosts, then as many hosts, each with or without a count of its
  // own. Nothing when the line says otherwise.
  //   2 alpha beta 4  ->  alpha, 1; beta, 4
  std::optional<std::vector<host_slots>> take_hosts();

  // All words that are left.
  text_list take_rest();

 private:
  text_list words_;
  std::size_t next_ = 0;
};

bool is_one_of(const std::string &name, std::initializer_list<const char *> names);

// A text with its letters A to Z in lower case.
std::string lower_case(std::string text);

// What MS-MPI, MPICH2 and Intel MPI read alike. Each refuses the line with this text, on
// standard output, when the switch's value is missing.
constexpr int exit_refused = -1;
void refuse(reading &line, const std::string &text);
void take_process_count(command_reader &words, const std::string &name, reading &line);
void take_host_list(command_reader &words, reading &line);
void take_variable(command_reader &words, const std::string &name, reading &line);

}  // namespace mpi_bridge
