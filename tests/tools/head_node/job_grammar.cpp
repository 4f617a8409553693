// job_grammar.cpp: reads the arguments of job.exe and cluscfg.exe.
#include "head_node/job_grammar.h"

#include <algorithm>
#include <array>
#include <cstdlib>

namespace head_node {

namespace {

// The sub-commands as bits, so that an option can name those it belongs to.
constexpr unsigned on_new = 1;
constexpr unsigned on_add = 2;
constexpr unsigned on_submit = 4;
constexpr unsigned on_view = 8;
constexpr unsigned on_modify = 16;
constexpr unsigned on_cancel = 32;
constexpr unsigned on_listenvs = 64;
constexpr unsigned on_all = 127;

// Groups of options; "submit" takes both when it creates its own job and task.
constexpr unsigned on_job = on_new | on_submit | on_modify;
constexpr unsigned on_task = on_add | on_submit;

struct sub_command {
  const char *tool;
  const char *name;
  unsigned bit;
};

constexpr std::array<sub_command, 7> sub_commands = {{{"job", "new", on_new},
                                                      {"job", "add", on_add},
                                                      {"job", "submit", on_submit},
                                                      {"job", "view", on_view},
                                                      {"job", "modify", on_modify},
                                                      {"job", "cancel", on_cancel},
                                                      {"cluscfg", "listenvs", on_listenvs}}};

enum class value_kind { text, boolean, count, identifier };

struct option_rule {
  const char *name;
  value_kind kind;
  std::size_t limit;  // characters; 0: none
  unsigned belongs_to;
  bool is_old;  // the oldest tools know it
};

constexpr std::size_t name_limit = 80;
constexpr std::size_t path_limit = 160;

constexpr std::array<option_rule, 19> option_rules = {{
    {"scheduler", value_kind::text, 0, on_all, true},
    {"jobname", value_kind::text, name_limit, on_job, true},
    {"name", value_kind::text, name_limit, on_task, true},
    {"exclusive", value_kind::boolean, 0, on_job | on_task, true},
    {"numprocessors", value_kind::count, 0, on_job | on_task, true},
    {"numcores", value_kind::count, 0, on_job | on_task, false},
    {"numnodes", value_kind::count, 0, on_job | on_task, false},
    {"numsockets", value_kind::count, 0, on_job | on_task, false},
    {"rununtilcanceled", value_kind::boolean, 0, on_job, true},
    {"jobtemplate", value_kind::text, name_limit, on_job, false},
    {"nodegroup", value_kind::text, 0, on_job, false},
    {"askednodes", value_kind::text, 0, on_job, true},
    {"requestednodes", value_kind::text, 0, on_job, false},
    {"priority", value_kind::text, 0, on_job, true},
    {"workdir", value_kind::text, path_limit, on_task, true},
    {"stdout", value_kind::text, path_limit, on_task, true},
    {"stderr", value_kind::text, path_limit, on_task, true},
    {"id", value_kind::identifier, 0, on_submit, true},
    {"detailed", value_kind::boolean, 0, on_view, true},
}};

bool is_digit(char letter) {
  return letter >= '0' && letter <= '9';
}

// A word is an option when it begins with / or -; "-1" is a number.
bool is_option(std::string_view word) {
  return word.starts_with('/') || (word.starts_with('-') && word.size() > 1 && !is_digit(word[1]));
}

std::string quoted_when_needed(const std::string &word) {
  return word.empty() || word.find_first_of(" \t") != std::string::npos ? "\"" + word + "\"" : word;
}

// Everything that is read so far, and the rules it is read by.
struct call_reader {
  const fields &settings;
  const sub_command *verb = nullptr;
  fields call;
  std::string count_option;  // which of the num... options was given
};

// Each of these gives back false when it refused the call.
bool refuse(call_reader &reader, const std::string &reason) {
  reader.call["refused"] = reason;
  return false;
}

bool take_identifier(call_reader &reader, const std::string &text) {
  const int number = whole_number(text.starts_with('-') ? text.substr(1) : text);
  if (number < 0) {
    return refuse(reader, "\"" + text + "\" is not a job identifier.");
  }
  reader.call["job"] = (text.starts_with('-') ? "-" : "") + std::to_string(number);
  return true;
}

bool take_boolean(call_reader &reader, const std::string &name, const std::string &text) {
  const auto word = lower_case(text);
  if (word != "true" && word != "false") {
    return refuse(reader,
                  "The value of /" + name + " must be true or false, not \"" + text + "\".");
  }
  reader.call[name] = word;
  return true;
}

// n, n-m, and for jobs * in the place of either number.
bool take_count(call_reader &reader, const std::string &name, const std::string &text) {
  if (!reader.count_option.empty() && reader.count_option != name) {
    return refuse(reader,
                  "Only one of /" + reader.count_option + " and /" + name + " can be given.");
  }
  reader.count_option = name;
  const bool for_task = (reader.verb->bit & on_task) != 0;
  const auto is_bound = [&](const std::string &bound) {
    return (bound == "*" && !for_task) || whole_number(bound) > 0;
  };
  const auto dash = text.find('-');
  const auto minimum = text.substr(0, dash);
  const auto maximum = dash == std::string::npos ? minimum : text.substr(dash + 1);
  if (!is_bound(minimum) || !is_bound(maximum)) {
    return refuse(reader,
                  "The value of /" + name + " is not a number or a range: \"" + text + "\".");
  }
  if (maximum != "*" && whole_number(minimum) > whole_number(maximum)) {
    return refuse(reader,
                  "The minimum of /" + name + " is larger than its maximum: \"" + text + "\".");
  }
  reader.call["unit"] = name.substr(3);
  reader.call["minimum"] = minimum;
  reader.call["maximum"] = maximum;
  return true;
}

bool take_value(call_reader &reader, const option_rule &rule, const std::string &text) {
  switch (rule.kind) {
    case value_kind::boolean:
      return take_boolean(reader, rule.name, text);
    case value_kind::count:
      return take_count(reader, rule.name, text);
    case value_kind::identifier:
      return take_identifier(reader, text);
    case value_kind::text:
      break;
  }
  if (rule.limit != 0 && text.size() > rule.limit) {
    return refuse(reader, std::string("The value of /") + rule.name + " is longer than " +
                              std::to_string(rule.limit) + " characters.");
  }
  const std::string name = rule.name;
  reader.call[name == "askednodes" ? "requestednodes" : name] = text;
  return true;
}

// One word of the form /name, /name:value or the same with a dash.
bool take_option(call_reader &reader, const std::string &word) {
  const auto colon = word.find(':');
  const auto name = lower_case(word.substr(1, colon == std::string::npos ? colon : colon - 1));
  const auto *const rule = std::find_if(option_rules.begin(), option_rules.end(),
                                        [&](const auto &known) { return name == known.name; });
  const bool old_tools = value(reader.settings, "generation") == "ccp";
  if (rule == option_rules.end() || (old_tools && !rule->is_old)) {
    return refuse(reader, "Unknown option: /" + name);
  }
  if ((rule->belongs_to & reader.verb->bit) == 0) {
    return refuse(reader,
                  "The option /" + name + " does not belong to \"" + reader.verb->name + "\".");
  }
  std::string text = colon == std::string::npos ? "" : word.substr(colon + 1);
  if (rule->kind == value_kind::boolean && colon == std::string::npos) {
    text = "true";
  }
  return text.empty() ? refuse(reader, "The option /" + name + " needs a value.")
                      : take_value(reader, *rule, text);
}

// All words from here on are the task's command.
bool take_command(call_reader &reader, const texts &words, std::size_t first) {
  auto &command = reader.call["command"];
  for (auto word = first; word < words.size(); ++word) {
    command += (word == first ? "" : " ") + quoted_when_needed(words[word]);
  }
  if (first + 1 == words.size()) {
    command = words[first];
  }
  const auto size = command.size();
  const int limit = whole_number(value(reader.settings, "command_limit"));
  constexpr int default_limit = 480;
  const auto most = static_cast<std::size_t>(limit < 0 ? default_limit : limit);
  return size <= most ||
         refuse(reader, "The command line has " + std::to_string(size) + " characters; at most " +
                            std::to_string(most) + " are allowed.");
}

// The words after the sub-command: options in any order, the identifier among them,
// and for a task the command behind the first word that is neither.
bool take_words(call_reader &reader, const texts &words) {
  const bool wants_id = (reader.verb->bit & (on_new | on_submit | on_listenvs)) == 0;
  for (std::size_t word = 1; word < words.size(); ++word) {
    if (is_option(words[word])) {
      if (!take_option(reader, words[word])) {
        return false;
      }
    } else if (wants_id && !reader.call.contains("job")) {
      if (!take_identifier(reader, words[word])) {
        return false;
      }
    } else if ((reader.verb->bit & on_task) != 0) {
      return take_command(reader, words, word);
    } else {
      return refuse(reader, "\"" + words[word] + "\" is one word too many for \"" +
                                reader.verb->name + "\".");
    }
  }
  return true;
}

// "submit" has two forms: a job by its identifier, or a command with all options.
bool check_submit(call_reader &reader) {
  if (reader.call.contains("job") == reader.call.contains("command")) {
    return refuse(reader, "\"submit\" needs either /id or a command.");
  }
  for (const char *option : {"name", "workdir", "stdout", "stderr"}) {
    if (reader.call.contains("job") && reader.call.contains(option)) {
      return refuse(reader, std::string("The option /") + option + " needs a command.");
    }
  }
  return true;
}

bool check_whole(call_reader &reader) {
  const unsigned bit = reader.verb->bit;
  if (bit == on_submit && !check_submit(reader)) {
    return false;
  }
  if ((bit & (on_add | on_view | on_modify | on_cancel)) != 0 && !reader.call.contains("job")) {
    return refuse(reader, std::string("\"") + reader.verb->name + "\" needs a job identifier.");
  }
  if (bit == on_add && value(reader.call, "command").empty()) {
    return refuse(reader, "\"add\" needs a command.");
  }
  reader.call.try_emplace("scheduler", value(reader.settings, "CCP_SCHEDULER"));
  return !reader.call["scheduler"].empty() ||
         refuse(reader, "No head node is named: neither /scheduler nor CCP_SCHEDULER is set.");
}

bool holds_control_character(const std::string &word) {
  return std::any_of(word.begin(), word.end(),
                     [](char letter) { return static_cast<unsigned char>(letter) < ' '; });
}

}  // namespace

fields read_call(const std::string &tool, const texts &arguments, const fields &settings) {
  call_reader reader = {settings, nullptr, {}, ""};
  const auto verb = arguments.empty() ? "" : lower_case(arguments[0]);
  const auto *const known =
      std::find_if(sub_commands.begin(), sub_commands.end(),
                   [&](const auto &rule) { return tool == rule.tool && verb == rule.name; });
  if (known == sub_commands.end()) {
    refuse(reader, "Unknown sub-command: " + verb);
  } else if (std::any_of(arguments.begin(), arguments.end(), holds_control_character)) {
    refuse(reader, "The command line holds a control character.");
  } else {
    reader.verb = known;
    reader.call["verb"] = verb;
    if (take_words(reader, arguments)) {
      check_whole(reader);
    }
  }
  return reader.call;
}

std::string lower_case(std::string_view text) {
  std::string lower(text);
  for (char &letter : lower) {
    if (letter >= 'A' && letter <= 'Z') {
      letter = static_cast<char>(letter - 'A' + 'a');
    }
  }
  return lower;
}

int whole_number(const std::string &text) {
  constexpr std::size_t most_digits = 9;
  const bool whole = !text.empty() && text.size() <= most_digits &&
                     std::all_of(text.begin(), text.end(), is_digit);
  return whole ? std::atoi(text.c_str()) : -1;
}

}  // namespace head_node
