// run_description.cpp: from a description to the world of a run.
#include "run_description.h"

#include <algorithm>
#include <set>

#include "core/text.h"
#include "fuzz_support.h"
#include "scripted_tool/script.h"
#include "support/fresh_launch.h"

namespace fuzz {

namespace {

constexpr std::size_t most_characters_one_by_one = 200;

struct description_line {
  std::string verb;
  std::string text;
};

description_line split_line(const std::string &line) {
  const std::size_t blank = line.find(' ');
  return {line.substr(0, blank), blank == std::string::npos ? "" : line.substr(blank + 1)};
}

// What the launcher is given from outside as C texts holds no zero byte.
std::string without_zeros(std::string text) {
  std::erase(text, '\0');
  return text;
}

std::string text_of_line(const std::string &text) {
  return without_zeros(scripted_tool::unescape(text));
}

std::vector<std::string> split_at_bars(const std::string &text) {
  std::vector<std::string> parts(1);
  for (const char letter : text) {
    if (letter == '|') {
      parts.emplace_back();
    } else {
      parts.back() += letter;
    }
  }
  return parts;
}

std::pair<std::string, std::string> split_once(const std::string &text, char separator) {
  const std::size_t at = text.find(separator);
  return {text.substr(0, at), at == std::string::npos ? "" : text.substr(at + 1)};
}

unsigned long number_after(const std::string &flags, char letter) {
  const std::size_t at = flags.find(letter);
  return at == std::string::npos ? 0 : static_cast<unsigned long>(to_number(flags.substr(at + 1)));
}

stand_in::tool_answer answer_of(const std::string &flags, const std::string &output) {
  const auto has = [&](char flag) { return flags.find(flag) != std::string::npos; };
  if (has('e')) {
    return stand_in::cannot_start(std::max(1UL, number_after(flags, 'e')));
  }
  stand_in::tool_answer answer;
  const auto delay = static_cast<stand_in::milliseconds>(number_after(flags, 'd') % 100'000);
  if (has('c') && output.size() <= most_characters_one_by_one) {
    for (const char letter : output) {
      answer = answer.then_prints(std::string(1, letter), delay % 10);
    }
  } else {
    answer = answer.then_prints(output, delay);
  }
  answer = answer.exits_with(number_after(flags, 'x'));
  if (has('s')) {
    answer = answer.stays();
  }
  return has('l') ? answer.lives_on() : answer;
}

// One answer; the last one of a tool stays.
void build_tool(const std::string &text, bool is_last) {
  const auto [piece, rest] = split_once(text, '|');
  const auto [flags, output] = split_once(rest, '|');
  stand_in::given_tool_for(
      [part = piece, is_last, left = 1](const std::string &asked) mutable {
        return contains(asked, part) && (is_last || left-- > 0);
      },
      answer_of(flags, scripted_tool::unescape(output)));
}

// The rule given last is asked first: so the tools are taken from the last line
// to the first.
void build_tools(std::vector<std::string> lines) {
  std::reverse(lines.begin(), lines.end());
  std::set<std::string> known;
  for (const std::string &line : lines) {
    const description_line one = split_line(line);
    if (one.verb == "tool") {
      const bool is_last = known.insert(split_once(one.text, '|').first).second;
      build_tool(one.text, is_last);
    }
  }
}

void take_away(const std::string &what) {
  if (what == "threads") {
    stand_in::given_no_threads();
  } else if (what == "events") {
    stand_in::given_no_events(5);
  } else if (what == "pipes") {
    stand_in::given_no_pipes();
  } else if (what == "interpreter") {
    stand_in::given_no_command_interpreter();
  } else if (what == "directory") {
    stand_in::given_no_current_directory();
  } else if (what == "streams") {
    stand_in::given_no_standard_handles();
  } else if (what == "mpr") {
    stand_in::given_no_library("mpr.dll");
  } else if (what == "variables") {
    stand_in::given_refused_variables(8);
  } else if (what == "reader") {
    stand_in::given_broken_standard_output();
  }
}

void build_file(const std::string &verb, const std::string &text) {
  const auto [path, content] = split_once(text, '|');
  if (verb == "file") {
    stand_in::given_file(path, scripted_tool::unescape(content));
  } else if (verb == "dir") {
    stand_in::given_directory(path);
  } else if (verb == "nofile") {
    stand_in::given_no_file(path);
  } else if (verb == "unreadable") {
    stand_in::given_unreadable_file(path);
  } else if (verb == "unwritable") {
    stand_in::given_unwritable_path(path);
  } else if (verb == "once") {
    stand_in::given_last_opening(path, 1);
  } else if (verb == "list") {
    auto names = split_at_bars(text);
    const std::string folder = names.front();
    names.erase(names.begin());
    stand_in::given_listing(folder, names);
  }
}

void build_mishap(const std::string &verb, const std::string &text) {
  const auto number = static_cast<unsigned long>(std::max(0, to_number(text)));
  if (verb == "box") {
    const auto [button, delay] = split_once(text, ' ');
    stand_in::given_box_answer(to_number(button),
                               static_cast<unsigned>(to_number(delay)) % 100'000);
  } else if (verb == "nobox") {
    stand_in::given_box_without_answer();
  } else if (verb == "lostbox") {
    stand_in::given_box_that_cannot_be_shown();
  } else if (verb == "drive") {
    const auto [drive, share] = split_once(text, '|');
    stand_in::given_network_drive(drive, share);
  } else if (verb == "disk") {
    stand_in::given_full_disk_after(number);
  } else if (verb == "reads") {
    stand_in::given_short_reads(std::max(1UL, number));
  } else if (verb == "windows") {
    stand_in::given_windows_version(
        static_cast<unsigned long>(static_cast<unsigned>(to_number(text))));
  } else if (verb == "ctrlc") {
    stand_in::given_ctrl_c_after(number % 100'000);
  } else if (verb == "block") {
    stand_in::given_shared_block(number);
  } else if (verb == "first") {
    stand_in::given_main_thread_first();
  } else if (verb == "without") {
    take_away(text);
  }
}

void give_installation() {
  for (const char *name : {"mpich", "mpich2", "intel", "msmpi", "stub"}) {
    stand_in::given_installation(name);
  }
  stand_in::given_installation("ibmmpi");
  stand_in::given_variable("TEMP", "C:\\temp");
  stand_in::given_directory("C:\\temp");
  stand_in::given_variable("COMPUTERNAME", "desk");
  stand_in::given_variable("USERNAME", "me");
  stand_in::given_variable("PATH", "C:\\windows");
}

void build_variable(const std::string &verb, const std::string &text) {
  const auto [name, value] = split_once(text, '=');
  if (verb == "set" && !name.empty()) {
    stand_in::given_variable(name, text_of_line(value));
  } else if (verb == "unset") {
    stand_in::given_no_variable(name);
  }
}

}  // namespace

described_run read_description(std::string_view text) {
  described_run run;
  for (const std::string &line : lines_of(text)) {
    const description_line one = split_line(line);
    if (one.verb == "arg") {
      run.arguments.push_back(text_of_line(one.text));
    } else if (one.verb == "tool") {
      const std::string flags = split_once(split_once(one.text, '|').second, '|').first;
      run.may_hang |= flags.find_first_of("sl") != std::string::npos;
    } else if (one.verb == "ctrlc") {
      run.has_ctrl_c = true;
    } else if (one.verb == "disk" || one.verb == "once" || one.verb == "unwritable" ||
               one.verb == "unreadable" || one.verb == "dir") {
      run.spares_files = false;
    } else if (one.verb == "without") {
      run.without_streams |= one.text == "streams" || one.text == "reader";
      run.refuses_variables |= one.text == "variables";
    }
  }
  return run;
}

void build_world(std::string_view text) {
  give_installation();
  const auto lines = lines_of(text);
  for (const std::string &line : lines) {
    const description_line one = split_line(line);
    build_variable(one.verb, one.text);
    build_file(one.verb, one.text);
    build_mishap(one.verb, one.text);
  }
  build_tools(lines);
}

}  // namespace fuzz
