// job_grammar.cpp: reads the arguments of job.exe and cluscfg.exe.
#include "head_node/job_grammar.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <optional>
#include <string_view>
#include <system_error>

namespace head_node {

namespace {

// The sub-commands as bits, so that an option can name those it belongs to.
constexpr unsigned on_new = 1;
constexpr unsigned on_add = 2;
constexpr unsigned on_submit = 4;
constexpr unsigned on_view = 8;
constexpr unsigned on_modify = 16;
constexpr unsigned on_cancel = 32;
constexpr unsigned on_finish = 64;
constexpr unsigned on_listenvs = 128;
constexpr unsigned on_all = 255;

// Groups of options; "submit" takes both when it creates its own job and task.
constexpr unsigned on_job = on_new | on_submit | on_modify;
constexpr unsigned on_task = on_add | on_submit;

struct sub_command_rule {
  const char *name;
  unsigned bit;
  tool_generation since;
  const char *usage;
};

constexpr std::array<sub_command_rule, 7> job_sub_commands = {{
    {"new", on_new, tool_generation::ccp, "job new [options]"},
    {"add", on_add, tool_generation::ccp, "job add <jobId> [options] <command> [parameters]"},
    {"submit", on_submit, tool_generation::ccp,
     "job submit {/id:<jobId> | /jobfile:<path> | [options] <command> [parameters]}"},
    {"view", on_view, tool_generation::ccp, "job view <jobId> [/detailed] [/history]"},
    {"modify", on_modify, tool_generation::ccp, "job modify <jobId> [options]"},
    {"cancel", on_cancel, tool_generation::ccp, "job cancel <jobId> [options]"},
    {"finish", on_finish, tool_generation::hpc_2008_r2, "job finish <jobId> [options]"},
}};

constexpr std::array<sub_command_rule, 1> cluscfg_sub_commands = {{
    {"listenvs", on_listenvs, tool_generation::ccp, "cluscfg listenvs [/scheduler:<name>]"},
}};

enum class value_kind { text, boolean, count, identifier, environment, run_time, priority };

struct option_rule {
  const char *name;
  value_kind kind;
  std::size_t limit;  // characters; 0: none
  unsigned belongs_to;
  tool_generation since;
};

constexpr auto ccp = tool_generation::ccp;
constexpr auto v2008 = tool_generation::hpc_2008;
constexpr auto v2008r2 = tool_generation::hpc_2008_r2;
constexpr auto v2012r2 = tool_generation::hpc_2012_r2;

constexpr std::size_t name_limit = 80;
constexpr std::size_t path_limit = 160;
constexpr std::size_t message_limit = 128;
constexpr std::size_t environment_limit = 2048;

constexpr std::array<option_rule, 31> option_rules = {{
    {"scheduler", value_kind::text, 0, on_all, ccp},
    {"jobname", value_kind::text, name_limit, on_job, ccp},
    {"name", value_kind::text, name_limit, on_task, ccp},
    {"exclusive", value_kind::boolean, 0, on_job | on_task, ccp},
    {"numprocessors", value_kind::count, 0, on_job | on_task, ccp},
    {"numcores", value_kind::count, 0, on_job | on_task, v2008},
    {"numnodes", value_kind::count, 0, on_job | on_task, v2008},
    {"numsockets", value_kind::count, 0, on_job | on_task, v2008},
    {"rununtilcanceled", value_kind::boolean, 0, on_job, ccp},
    {"jobtemplate", value_kind::text, name_limit, on_job, v2008},
    {"nodegroup", value_kind::text, 0, on_job, v2008},
    {"askednodes", value_kind::text, 0, on_job, ccp},
    {"requestednodes", value_kind::text, 0, on_job, v2008},
    {"runtime", value_kind::run_time, 0, on_job, ccp},
    {"priority", value_kind::priority, 0, on_job, ccp},
    {"project", value_kind::text, name_limit, on_job, ccp},
    {"workdir", value_kind::text, path_limit, on_task, ccp},
    {"stdin", value_kind::text, path_limit, on_task, ccp},
    {"stdout", value_kind::text, path_limit, on_task, ccp},
    {"stderr", value_kind::text, path_limit, on_task, ccp},
    {"env", value_kind::environment, environment_limit, on_task, ccp},
    {"id", value_kind::identifier, 0, on_submit, ccp},
    {"jobfile", value_kind::text, 0, on_submit, ccp},
    {"user", value_kind::text, 0, on_submit, ccp},
    {"password", value_kind::text, 0, on_submit, ccp},
    {"holduntil", value_kind::text, 0, on_submit, v2008},
    {"detailed", value_kind::boolean, 0, on_view, ccp},
    {"history", value_kind::boolean, 0, on_view, v2008},
    {"force", value_kind::boolean, 0, on_cancel, v2008r2},
    {"graceful", value_kind::boolean, 0, on_cancel | on_finish, v2012r2},
    {"message", value_kind::text, message_limit, on_cancel | on_finish, ccp},
}};

std::string lower_case(std::string_view text) {
  std::string lower(text);
  for (char &letter : lower) {
    if (letter >= 'A' && letter <= 'Z') {
      letter = static_cast<char>(letter - 'A' + 'a');
    }
  }
  return lower;
}

bool is_digit(char letter) {
  return letter >= '0' && letter <= '9';
}

// A word is an option when it begins with / or -; "-1" is a number.
bool is_option(std::string_view word) {
  return word.starts_with('/') || (word.starts_with('-') && word.size() > 1 && !is_digit(word[1]));
}

bool is_help(std::string_view word) {
  const auto name = lower_case(word);
  return name == "/?" || name == "-?" || name == "/help" || name == "-help";
}

// The number that a text is; nothing when it is anything else or too large.
std::optional<int> whole_number(std::string_view text) {
  int number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (text.empty() || !is_digit(text[0]) || error != std::errc() ||
      end != text.data() + text.size()) {
    return std::nullopt;
  }
  return number;
}

std::string quoted_when_needed(const std::string &word) {
  return word.empty() || word.find_first_of(" \t") != std::string::npos ? "\"" + word + "\"" : word;
}

// Everything that is read so far, and the rules it is read by.
struct call_reader {
  const grammar_settings &settings;
  const sub_command_rule *sub_command = nullptr;
  tool_call call;
  std::string count_option;  // which of the num... options was given
  std::size_t environment_size = 0;
};

// Each of these gives back false when it refused the call.
bool refuse(call_reader &reader, const std::string &reason) {
  reader.call.outcome = call_outcome::refused;
  reader.call.reason = reason;
  return false;
}

void set_option(call_reader &reader, const std::string &name, const std::string &value) {
  for (auto &[known_name, known_value] : reader.call.options) {
    if (known_name == name) {
      known_value = value;
      return;
    }
  }
  reader.call.options.emplace_back(name, value);
}

bool has_option(const call_reader &reader, std::string_view name) {
  const auto &options = reader.call.options;
  return std::any_of(options.begin(), options.end(),
                     [&](const auto &option) { return option.first == name; });
}

bool take_identifier(call_reader &reader, std::string_view text) {
  if (text == "!!" && reader.settings.generation >= v2012r2) {
    reader.call.job = text;
    return true;
  }
  const bool negative = text.starts_with('-');
  const auto number = whole_number(negative ? text.substr(1) : text);
  if (!number) {
    return refuse(reader, "\"" + std::string(text) + "\" is not a job identifier.");
  }
  reader.call.job = (negative ? "-" : "") + std::to_string(*number);
  return true;
}

bool take_boolean(call_reader &reader, const option_rule &rule, std::string_view value) {
  const auto word = lower_case(value);
  if (word != "true" && word != "false") {
    return refuse(reader, std::string("The value of /") + rule.name +
                              " must be true or false, not \"" + std::string(value) + "\".");
  }
  set_option(reader, rule.name, word);
  return true;
}

// n, n-m, and for jobs * in the place of either number.
bool take_count(call_reader &reader, const option_rule &rule, const std::string &value) {
  if (!reader.count_option.empty() && reader.count_option != rule.name) {
    return refuse(reader,
                  "Only one of /" + reader.count_option + " and /" + rule.name + " can be given.");
  }
  reader.count_option = rule.name;

  const bool for_task = (reader.sub_command->bit & on_task) != 0;
  const auto is_bound = [&](const std::string &bound) {
    return (bound == "*" && !for_task) || whole_number(bound).value_or(0) > 0;
  };
  const auto dash = value.find('-');
  const std::string minimum = value.substr(0, dash);
  const std::string maximum = dash == std::string::npos ? minimum : value.substr(dash + 1);
  if (!is_bound(minimum) || !is_bound(maximum)) {
    return refuse(reader, std::string("The value of /") + rule.name +
                              " is not a number or a range: \"" + value + "\".");
  }
  if (minimum != "*" && maximum != "*" && *whole_number(minimum) > *whole_number(maximum)) {
    return refuse(reader, std::string("The minimum of /") + rule.name +
                              " is larger than its maximum: \"" + value + "\".");
  }
  const auto as_number = [](const std::string &bound) {
    return bound == "*" ? bound : std::to_string(*whole_number(bound));
  };
  set_option(reader, "unit", std::string(rule.name).substr(3));
  set_option(reader, "minimum", as_number(minimum));
  set_option(reader, "maximum", as_number(maximum));
  return true;
}

// A=1;B=2
bool take_environment(call_reader &reader, const option_rule &rule, const std::string &value) {
  reader.environment_size += value.size();
  if (reader.environment_size > rule.limit) {
    return refuse(reader,
                  "The environment is longer than " + std::to_string(rule.limit) + " characters.");
  }
  std::size_t start = 0;
  while (start <= value.size()) {
    const auto end = std::min(value.find(';', start), value.size());
    const auto setting = value.substr(start, end - start);
    const auto equals = setting.find('=');
    if (!setting.empty()) {
      if (equals == std::string::npos || equals == 0) {
        return refuse(reader, "The value of /env is not NAME=VALUE: \"" + setting + "\".");
      }
      reader.call.environment.push_back(setting);
    }
    start = end + 1;
  }
  return true;
}

// [[days:]hours:]minutes or infinite, kept as seconds.
bool take_run_time(call_reader &reader, const option_rule &rule, const std::string &value) {
  if (lower_case(value) == "infinite") {
    set_option(reader, rule.name, "infinite");
    return true;
  }
  constexpr std::array<std::int64_t, 3> minutes_in = {1, 60, 1440};  // from the right
  constexpr std::int64_t most_minutes = 0x7fffffff / 60;
  std::int64_t minutes = 0;
  std::size_t fields = 0;
  std::size_t end = value.size();
  while (true) {
    const auto colon = end == 0 ? std::string::npos : value.rfind(':', end - 1);
    const auto start = colon == std::string::npos ? 0 : colon + 1;
    const auto number = whole_number(value.substr(start, end - start));
    if (!number || fields == minutes_in.size()) {
      return refuse(reader, "The value of /runtime is not a run time: \"" + value + "\".");
    }
    minutes += *number * minutes_in[fields];
    ++fields;
    if (colon == std::string::npos) {
      break;
    }
    end = colon;
  }
  if (minutes < 1 || minutes > most_minutes) {
    return refuse(reader, "The value of /runtime is out of range: \"" + value + "\".");
  }
  set_option(reader, rule.name, std::to_string(minutes * 60));
  return true;
}

bool take_priority(call_reader &reader, const option_rule &rule, const std::string &value) {
  constexpr std::array<const char *, 5> names = {"lowest", "belownormal", "normal", "abovenormal",
                                                 "highest"};
  constexpr int step = 1000;
  constexpr int highest = 4000;
  const auto known = std::find(names.begin(), names.end(), lower_case(value));
  const auto number = known != names.end()
                          ? std::optional(static_cast<int>(known - names.begin()) * step)
                          : whole_number(value);
  if (!number || *number > highest) {
    return refuse(reader, "The value of /priority is not a priority: \"" + value + "\".");
  }
  set_option(reader, rule.name, std::to_string(*number));
  return true;
}

bool take_text(call_reader &reader, const option_rule &rule, const std::string &value) {
  if (rule.limit != 0 && value.size() > rule.limit) {
    return refuse(reader, std::string("The value of /") + rule.name + " is longer than " +
                              std::to_string(rule.limit) + " characters.");
  }
  if (std::string_view(rule.name) == "scheduler") {
    reader.call.scheduler = value;
  } else {
    const bool nodes = std::string_view(rule.name) == "askednodes";
    set_option(reader, nodes ? "requestednodes" : rule.name, value);
  }
  return true;
}

// One word of the form /name, /name:value or the same with a dash.
bool take_option(call_reader &reader, const std::string &word) {
  const auto colon = word.find(':');
  const auto name = lower_case(word.substr(1, colon == std::string::npos ? colon : colon - 1));
  const auto rule = std::find_if(option_rules.begin(), option_rules.end(),
                                 [&](const auto &known) { return name == known.name; });
  if (rule == option_rules.end() || rule->since > reader.settings.generation) {
    return refuse(reader, "Unknown option: /" + name);
  }
  if ((rule->belongs_to & reader.sub_command->bit) == 0) {
    return refuse(reader, "The option /" + name + " does not belong to \"" +
                              reader.sub_command->name + "\".");
  }
  std::string value = colon == std::string::npos ? "" : word.substr(colon + 1);
  if (rule->kind == value_kind::boolean && colon == std::string::npos) {
    value = "true";
  }
  if (value.empty()) {
    return refuse(reader, "The option /" + name + " needs a value.");
  }
  switch (rule->kind) {
    case value_kind::boolean:
      return take_boolean(reader, *rule, value);
    case value_kind::count:
      return take_count(reader, *rule, value);
    case value_kind::identifier:
      return take_identifier(reader, value);
    case value_kind::environment:
      return take_environment(reader, *rule, value);
    case value_kind::run_time:
      return take_run_time(reader, *rule, value);
    case value_kind::priority:
      return take_priority(reader, *rule, value);
    case value_kind::text:
      break;
  }
  return take_text(reader, *rule, value);
}

// All words from here on are the task's command.
bool take_command(call_reader &reader, const std::vector<std::string> &words, std::size_t first) {
  std::string &command = reader.call.command;
  if (first + 1 == words.size()) {
    command = words[first];
  } else {
    for (std::size_t word = first; word < words.size(); ++word) {
      command += (word == first ? "" : " ") + quoted_when_needed(words[word]);
    }
  }
  if (command.size() > reader.settings.command_limit) {
    return refuse(reader, "The command line has " + std::to_string(command.size()) +
                              " characters; at most " +
                              std::to_string(reader.settings.command_limit) + " are allowed.");
  }
  return true;
}

// The words after the sub-command: options in any order, the identifier among them,
// and for a task the command behind the first word that is neither.
bool take_words(call_reader &reader, const std::vector<std::string> &words) {
  const unsigned sub_command = reader.sub_command->bit;
  const bool wants_id = (sub_command & (on_new | on_submit | on_listenvs)) == 0;
  const bool wants_command = (sub_command & on_task) != 0;
  for (std::size_t word = 1; word < words.size(); ++word) {
    if (is_help(words[word])) {
      reader.call.outcome = call_outcome::usage;
      return true;
    }
    if (is_option(words[word])) {
      if (!take_option(reader, words[word])) {
        return false;
      }
    } else if (wants_id && reader.call.job.empty()) {
      if (!take_identifier(reader, words[word])) {
        return false;
      }
    } else if (wants_command) {
      return take_command(reader, words, word);
    } else {
      return refuse(reader, "\"" + words[word] + "\" is one word too many for \"" +
                                reader.sub_command->name + "\".");
    }
  }
  return true;
}

// "submit" has three forms: a job by its identifier, a job file, or a command.
bool check_submit(call_reader &reader) {
  const int forms = (reader.call.job.empty() ? 0 : 1) + (reader.call.command.empty() ? 0 : 1) +
                    (has_option(reader, "jobfile") ? 1 : 0);
  if (forms == 0) {
    return refuse(reader, "\"submit\" needs /id, /jobfile or a command.");
  }
  if (forms > 1) {
    return refuse(reader, "\"submit\" takes only one of /id, /jobfile and a command.");
  }
  if (reader.call.command.empty()) {
    for (const char *option : {"name", "workdir", "stdin", "stdout", "stderr"}) {
      if (has_option(reader, option)) {
        return refuse(reader, std::string("The option /") + option + " needs a command.");
      }
    }
    if (!reader.call.environment.empty()) {
      return refuse(reader, "The option /env needs a command.");
    }
  }
  return true;
}

bool check_whole(call_reader &reader) {
  const unsigned sub_command = reader.sub_command->bit;
  if (sub_command == on_submit && !check_submit(reader)) {
    return false;
  }
  if ((sub_command & (on_add | on_view | on_modify | on_cancel | on_finish)) != 0 &&
      reader.call.job.empty()) {
    return refuse(reader,
                  std::string("\"") + reader.sub_command->name + "\" needs a job identifier.");
  }
  if (sub_command == on_add && reader.call.command.empty()) {
    return refuse(reader, "\"add\" needs a command.");
  }
  if (reader.call.scheduler.empty()) {
    reader.call.scheduler = reader.settings.default_scheduler;
  }
  if (reader.call.scheduler.empty()) {
    return refuse(reader, "No head node is named: neither /scheduler nor CCP_SCHEDULER is set.");
  }
  return true;
}

bool holds_control_character(const std::string &word) {
  return std::any_of(word.begin(), word.end(),
                     [](char letter) { return static_cast<unsigned char>(letter) < ' '; });
}

template <std::size_t count>
tool_call read_call(const std::string &tool, const std::vector<std::string> &words,
                    const grammar_settings &settings,
                    const std::array<sub_command_rule, count> &sub_commands) {
  call_reader reader = {settings, nullptr, {}, "", 0};
  if (words.empty()) {
    refuse(reader, "\"" + tool + "\" needs a sub-command; /? shows them.");
    return reader.call;
  }
  if (is_help(words[0])) {
    reader.call.outcome = call_outcome::usage;
    return reader.call;
  }
  if (std::any_of(words.begin(), words.end(), holds_control_character)) {
    refuse(reader, "The command line holds a control character.");
    return reader.call;
  }
  const auto known = std::find_if(sub_commands.begin(), sub_commands.end(), [&](const auto &rule) {
    return lower_case(words[0]) == rule.name && rule.since <= settings.generation;
  });
  if (known == sub_commands.end()) {
    refuse(reader, "Unknown sub-command: " + words[0]);
    return reader.call;
  }
  reader.sub_command = &*known;
  reader.call.sub_command = known->name;
  if (take_words(reader, words) && reader.call.outcome != call_outcome::usage) {
    check_whole(reader);
  }
  return reader.call;
}

}  // namespace

tool_generation generation_named(const std::string &name) {
  const auto word = lower_case(name);
  if (word == "ccp") {
    return ccp;
  }
  if (word == "2008") {
    return v2008;
  }
  return word == "2008r2" ? v2008r2 : v2012r2;
}

tool_call read_job_call(const std::vector<std::string> &arguments,
                        const grammar_settings &settings) {
  return read_call("job", arguments, settings, job_sub_commands);
}

tool_call read_cluscfg_call(const std::vector<std::string> &arguments,
                            const grammar_settings &settings) {
  return read_call("cluscfg", arguments, settings, cluscfg_sub_commands);
}

std::string job_usage(tool_generation generation) {
  std::string usage = "Usage:\r\n";
  for (const auto &rule : job_sub_commands) {
    if (rule.since <= generation) {
      usage += std::string("    ") + rule.usage + "\r\n";
    }
  }
  usage += "Options:";
  for (const auto &rule : option_rules) {
    if (rule.since <= generation) {
      usage += std::string(" /") + rule.name;
    }
  }
  return usage + "\r\n";
}

std::string cluscfg_usage() {
  return std::string("Usage:\r\n    ") + cluscfg_sub_commands[0].usage + "\r\n";
}

}  // namespace head_node
