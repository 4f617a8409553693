// machine_files.cpp: reads host files, each MPI in its own way.
#include "machine_files.h"

#include <algorithm>
#include <sstream>

#include "command_reader.h"

namespace mpi_bridge {

namespace {

// The words of each line that has any, comments left out.
std::vector<text_list> words_of_lines(const std::string &text) {
  std::vector<text_list> result;
  std::istringstream lines(text);
  std::string line;
  while (std::getline(lines, line)) {
    std::istringstream rest(line.substr(0, line.find('#')));
    text_list words;
    std::string word;
    while (rest >> word) {
      words.push_back(word);
    }
    if (!words.empty()) {
      result.push_back(words);
    }
  }
  return result;
}

// Splits host:count. The count is nothing when there is no colon or no number.
std::pair<std::string, std::optional<int>> split_at_colon(const std::string &word) {
  const auto colon = word.find(':');
  if (colon == std::string::npos) {
    return {word, std::nullopt};
  }
  return {word.substr(0, colon), read_count(word.substr(colon + 1))};
}

}  // namespace

bool operator==(const host_slots &one, const host_slots &other) {
  return one.name == other.name && one.slots == other.slots;
}

std::optional<int> read_count(const std::string &text) {
  const bool is_number = !text.empty() && text.size() <= 5 &&
                         std::all_of(text.begin(), text.end(),
                                     [](char letter) { return letter >= '0' && letter <= '9'; });
  const int number = is_number ? std::stoi(text) : 0;
  if (number < 1 || number > most_ranks) {
    return std::nullopt;
  }
  return number;
}

std::vector<host_slots> read_msmpi_hosts(const std::string &text) {
  std::vector<host_slots> hosts;
  for (const text_list &words : words_of_lines(text)) {
    const auto cores = words.size() > 1 ? read_count(words[1]) : std::nullopt;
    hosts.push_back({words[0], cores.value_or(1)});
  }
  return hosts;
}

std::vector<host_slots> read_mpich2_hosts(const std::string &text) {
  std::vector<host_slots> hosts;
  for (const text_list &words : words_of_lines(text)) {
    const auto [name, count] = split_at_colon(words[0]);
    const auto second = words.size() > 1 ? read_count(words[1]) : std::nullopt;
    hosts.push_back({name, count.value_or(second.value_or(1))});
  }
  return hosts;
}

std::optional<std::vector<host_slots>> read_platform_mpi_hosts(const std::string &text) {
  std::vector<host_slots> hosts;
  for (const text_list &words : words_of_lines(text)) {
    const auto [name, count] = split_at_colon(words[0]);
    const bool has_colon = name != words[0];
    if (words.size() > 1 || name.empty() || (has_colon && !count)) {
      return std::nullopt;
    }
    hosts.push_back({name, count.value_or(1)});
  }
  return hosts;
}

std::optional<std::vector<host_slots>> read_scheduler_nodes(const std::string &text) {
  std::istringstream words(text);
  std::string word;
  words >> word;
  const auto announced = read_count(word);
  std::vector<host_slots> hosts;
  std::string cores;
  while (words >> word >> cores) {
    const auto count = read_count(cores);
    if (!count) {
      return std::nullopt;
    }
    hosts.push_back({word, *count});
  }
  if (!announced || hosts.size() != static_cast<std::size_t>(*announced)) {
    return std::nullopt;
  }
  return hosts;
}

std::vector<host_slots> read_allocated_nodes(const std::string &text) {
  std::vector<host_slots> hosts;
  std::istringstream lines(text);
  std::string line;
  while (std::getline(lines, line)) {
    const auto colon = line.find(':');
    if (colon == std::string::npos || lower_case(line).find("allocated nodes") != 0) {
      continue;
    }
    std::istringstream names(line.substr(colon + 1));
    std::string name;
    while (names >> name) {
      hosts.push_back({name, 1});
    }
  }
  return hosts;
}

}  // namespace mpi_bridge
