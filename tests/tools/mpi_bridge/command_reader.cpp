// command_reader.cpp: walks through the words of a command line.
#include "command_reader.h"

#include <algorithm>
#include <cctype>

#include "machine_files.h"

namespace mpi_bridge {

std::optional<std::string> command_reader::take_value() {
  if (at_end()) {
    return std::nullopt;
  }
  return take();
}

std::optional<int> command_reader::take_count() {
  const auto count = at_end() ? std::nullopt : read_count(peek());
  if (count) {
    ++next_;
  }
  return count;
}

void command_reader::skip_number() {
  if (!at_end() && !peek().empty() && peek().find_first_not_of("0123456789") == std::string::npos) {
    ++next_;
  }
}

std::optional<std::vector<host_slots>> command_reader::take_hosts() {
  const auto announced = take_count();
  std::vector<host_slots> hosts;
  while (announced && static_cast<int>(hosts.size()) < *announced && !at_end()) {
    const std::string name = take();
    hosts.push_back({name, take_count().value_or(1)});
  }
  if (!announced || static_cast<int>(hosts.size()) != *announced) {
    return std::nullopt;
  }
  return hosts;
}

text_list command_reader::take_rest() {
  text_list rest(words_.begin() + static_cast<std::ptrdiff_t>(next_), words_.end());
  next_ = words_.size();
  return rest;
}

bool is_one_of(const std::string &name, std::initializer_list<const char *> names) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

std::string lower_case(std::string text) {
  for (char &letter : text) {
    letter = static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
  }
  return text;
}

void refuse(reading &line, const std::string &text) {
  line.output += text + "\n";
  line.exit_code = exit_refused;
}

void take_process_count(command_reader &words, const std::string &name, reading &line) {
  line.request.num_procs = words.take_count();
  if (!line.request.num_procs && !line.exit_code) {
    refuse(line, "Error: expected a number of processes after the " + name + " option.");
  }
}

void take_host_list(command_reader &words, reading &line) {
  const auto hosts = words.take_hosts();
  if (hosts) {
    line.request.hosts = *hosts;
  } else if (!line.exit_code) {
    refuse(line, "Error: expected a number of hosts and as many hosts after the -hosts option.");
  }
}

void take_variable(command_reader &words, const std::string &name, reading &line) {
  const auto variable = words.take_value();
  const auto value = words.take_value();
  if (!variable || !value) {
    refuse(line, "Error: expected a name and a value after the " + name + " option.");
    return;
  }
  line.request.variables.emplace_back(*variable, *value);
}

}  // namespace mpi_bridge
