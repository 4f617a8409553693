// settings.cpp: reads the settings and faults of the head node.
#include "head_node/settings.h"

#include <algorithm>
#include <charconv>

namespace head_node {

namespace {

std::string upper_case(std::string_view text) {
  std::string upper(text);
  for (char &letter : upper) {
    if (letter >= 'a' && letter <= 'z') {
      letter = static_cast<char>(letter - 'a' + 'A');
    }
  }
  return upper;
}

std::pair<std::string, std::string> name_and_value(std::string_view line) {
  const auto equals = line.find('=');
  if (equals == std::string_view::npos) {
    return {std::string(line), ""};
  }
  return {std::string(line.substr(0, equals)), std::string(line.substr(equals + 1))};
}

}  // namespace

fields read_fields(std::string_view text) {
  fields all;
  while (!text.empty()) {
    const auto end = std::min(text.find('\n'), text.size());
    auto line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    if (line.ends_with('\r')) {
      line.remove_suffix(1);
    }
    if (!line.empty()) {
      all.push_back(name_and_value(line));
    }
  }
  return all;
}

std::string field(const fields &all, std::string_view name) {
  const auto found =
      std::find_if(all.begin(), all.end(), [&](const auto &known) { return known.first == name; });
  return found == all.end() ? "" : found->second;
}

settings read_settings(std::string_view file, std::string (*variable)(const std::string &name)) {
  const auto written = read_fields(file);
  const auto value = [&](const std::string &name) {
    const auto set = variable("HEAD_NODE_" + upper_case(name));
    return set.empty() ? field(written, name) : set;
  };

  settings read;
  read.generation = generation_named(value("generation"));
  if (const auto name = value("head_node"); !name.empty()) {
    read.head_node = name;
  }
  read.templates = value("templates");
  const auto limit = value("command_limit");
  std::from_chars(limit.data(), limit.data() + limit.size(), read.command_limit);
  read.capital_keys = value("capital_keys") == "true";
  for (const char *name : delay_names) {
    if (const auto delay = value(name); !delay.empty()) {
      read.delays.emplace_back(name, delay);
    }
  }
  return read;
}

std::map<std::string, std::string> faults_for(std::string_view text,
                                              const std::string &sub_command) {
  std::map<std::string, std::string> faults;
  constexpr std::string_view dividers = " ;\r\n";
  while (true) {
    const auto start = text.find_first_not_of(dividers);
    if (start == std::string_view::npos) {
      return faults;
    }
    text.remove_prefix(start);
    const auto end = std::min(text.find_first_of(dividers), text.size());
    auto [name, value] = name_and_value(text.substr(0, end));
    text.remove_prefix(end);
    const auto at = name.find('@');
    if (at == std::string::npos || name.substr(at + 1) == sub_command) {
      faults[name.substr(0, at)] = value;
    }
  }
}

}  // namespace head_node
