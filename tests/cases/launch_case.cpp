// launch_case.cpp: completes rows and holds them against what was seen.
#include "cases/launch_case.h"

#include <algorithm>
#include <regex>
#include <sstream>

namespace cases {

const texts none = {"(none)"};

namespace {

// The folders that every row may name.
std::vector<word> words_of_world(const std::string &world) {
  return {{"world", world},
          {"work", world + "\\work"},
          {"path", "C:\\windows\\system32;C:\\windows;" + world},
          {"launcher", world + "\\mpirun.exe"},
          {"solver", world + "\\solver.exe"},
          {"prod", world + "\\prod"},
          {"inc", world + "\\inc"},
          {"wrappers", world + "\\prod\\netweave\\mpi_wrapper\\win64"},
          {"release", world + "\\inc\\zephon1.2.3"},
          {"mpis", "zephon1.2.3\\netweave\\mpi\\win64"},
          {"mpi", world + "\\inc\\zephon1.2.3\\netweave\\mpi\\win64"},
          {"ntbin", world + "\\inc\\ntbin\\win64"}};
}

// The variables of a start script, over the folders of an installed release.
const std::vector<variable> start_script = {
    {"ZEPHON_PROD", "zephon"}, {"ZEPHON_PROD_DIR", "{prod}"},
    {"ZEPHON_INC", "{inc}"},   {"ZEPHON_ARCH", "win64"},
    {"PATH", "{path}"},        {"STDOUT_FLUSH", "1"}};

// The row's values stand behind those of the family, so that they count.
void put_before(std::vector<variable> &row, const std::vector<variable> &given) {
  row.insert(row.begin(), given.begin(), given.end());
}

template <typename list>
list or_given(const list &row, const list &given) {
  const list &chosen = row.empty() ? given : row;
  return chosen == none ? list{} : chosen;
}

void add_family(launch_case &row, const launch_case &given) {
  put_before(row.variables, given.variables);
  row.files.insert(row.files.begin(), given.files.begin(), given.files.end());
  row.tools.insert(row.tools.end(), given.tools.begin(), given.tools.end());
  row.arguments.insert(row.arguments.begin(), given.arguments.begin(), given.arguments.end());
  row.program = given.program;
  row.then.asks = or_given(row.then.asks, given.then.asks);
  row.then.starts = or_given(row.then.starts, given.then.starts);
}

// A row's file takes the place of the family's.
void keep_last_of_each_path(std::vector<file> &files) {
  std::vector<file> kept;
  for (const file &one : files) {
    std::erase_if(kept, [&](const file &other) { return other.path == one.path; });
    kept.push_back(one);
  }
  files = kept;
}

template <typename change>
void change_texts(launch_case &row, const change &changed) {
  const auto change_all = [&](auto &list, auto first, auto second) {
    for (auto &one : list) {
      changed(one.*first);
      if (one.*second) {
        changed(*(one.*second));
      }
    }
  };
  change_all(row.variables, &variable::name, &variable::value);
  change_all(row.then.variables, &variable::name, &variable::value);
  change_all(row.files, &file::path, &file::text);
  change_all(row.then.files, &file::path, &file::text);
  for (tool &one : row.tools) {
    changed(one.command);
    changed(one.prints);
    changed(one.complains);
  }
  for (texts *list :
       {&row.arguments, &row.then.asks, &row.then.starts, &row.then.says, &row.then.says_not}) {
    std::for_each(list->begin(), list->end(), changed);
  }
  for (box &one : row.then.boxes) {
    changed(one.text);
    changed(one.caption);
  }
  changed(row.then.output);
  changed(row.then.errors);
}

// ---- Differences --------------------------------------------------------------------------

// A text with its line ends and the like to be seen, one line of it a line.
std::string shown(std::string_view text) {
  std::string result = "|";
  for (const char letter : text) {
    if (letter == '\r') {
      result += "\\r";
    } else if (letter == '\0') {
      result += "\\0";
    } else if (letter == '\n') {
      result += "\\n|\n    |";
    } else {
      result += letter;
    }
  }
  return result + "|";
}

std::string in_text_mode(const std::string &text) {
  std::string result;
  for (const char letter : text) {
    result += letter == '\n' ? "\r\n" : std::string(1, letter);
  }
  return result;
}

void compare(std::ostream &faults, const std::string &what, const std::string &wanted,
             const std::string &found) {
  if (wanted != found) {
    faults << what << ":\n  wanted\n    " << shown(wanted) << "\n  seen\n    " << shown(found)
           << "\n";
  }
}

void compare(std::ostream &faults, const std::string &what, const texts &wanted,
             const texts &found) {
  for (std::size_t i = 0; i < std::max(wanted.size(), found.size()); ++i) {
    compare(faults, what + " " + std::to_string(i + 1), i < wanted.size() ? wanted[i] : "(nothing)",
            i < found.size() ? found[i] : "(nothing)");
  }
}

texts boxes_as_texts(const std::vector<box> &boxes) {
  texts result;
  for (const box &one : boxes) {
    result.push_back(one.caption + ": " + one.text);
  }
  return result;
}

std::string small_letters(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), [](char letter) {
    return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
  });
  return text;
}

// A written text with "{time}" for each time in it, where the row has that word.
std::string with_times_as_words(const std::string &text, const std::string &wanted) {
  static const std::regex time(R"([A-Z][a-z]{2} [A-Z][a-z]{2} [ 0-9]\d \d\d:\d\d:\d\d \d{4})");
  return wanted.find("{time}") == std::string::npos ? text
                                                    : std::regex_replace(text, time, "{time}");
}

void compare_files(std::ostream &faults, const std::vector<file> &wanted, const seen &what) {
  std::map<std::string, std::string> expected;
  std::map<std::string, std::string> found;
  for (const file &one : wanted) {
    expected[small_letters(one.path)] = one.text ? in_text_mode(*one.text) : "(removed)";
  }
  for (const auto &[path, text] : what.files) {
    found[small_letters(path)] = text.value_or("(removed)");
  }
  for (const auto &[path, text] : expected) {
    compare(faults, "file " + path, text,
            found.count(path) == 0 ? "(not written)" : with_times_as_words(found.at(path), text));
  }
  for (const auto &[path, text] : found) {
    if (expected.count(path) == 0) {
      compare(faults, "file " + path, "(not written)", text);
    }
  }
}

void compare_variables(std::ostream &faults, const std::vector<variable> &wanted,
                       const std::vector<variable> &found) {
  for (std::size_t i = 0; i < wanted.size(); ++i) {
    compare(faults, "variable " + wanted[i].name, wanted[i].value.value_or("(not set)"),
            found[i].value.value_or("(not set)"));
  }
}

void compare_parts(std::ostream &faults, const outcome &wanted, const seen &what) {
  const std::string said = what.output + what.errors;
  for (const std::string &text : wanted.says) {
    if (said.find(in_text_mode(text)) == std::string::npos) {
      compare(faults, "said", text, said);
    }
  }
  for (const std::string &text : wanted.says_not) {
    if (said.find(in_text_mode(text)) != std::string::npos) {
      compare(faults, "said, without " + text, "", said);
    }
  }
}

std::size_t end_of_program(const std::string &command) {
  const auto ending = command.find(".exe");
  return ending == std::string::npos ? command.size() : ending + 4;
}

// Whether a command, whatever its quotes, starts this program, which is named by the end
// of its path: "C:\my mpi"\mpiexec.exe -np 4 starts \my mpi\mpiexec.exe. One without a folder
// may be named without its ending too: job view starts job.exe.
bool starts_program(std::string_view command, std::string program) {
  std::string plain(command);
  plain.erase(std::remove(plain.begin(), plain.end(), '"'), plain.end());
  const bool in_a_folder = program.find('\\') != std::string::npos;
  if (!in_a_folder && !plain.starts_with(program)) {
    program.resize(std::min(program.find(".exe"), program.size()));
  }
  const auto at = plain.find(program);
  const auto end = at + program.size();
  // Not one that the command only names behind its options.
  return at <= (in_a_folder ? plain.find('/') : 0) && at != std::string::npos &&
         (end == plain.size() || plain[end] == ' ');
}

}  // namespace

std::string replaced(std::string text, const std::string &piece, const std::string &by) {
  for (std::size_t at = 0; (at = text.find(piece, at)) != std::string::npos; at += by.size()) {
    text.replace(at, piece.size(), by);
  }
  return text;
}

std::string with_program_in_quotes(const std::string &line) {
  const auto program = line.substr(0, end_of_program(line));
  const auto blank = program.find(' ');
  const bool path_goes_on = line.substr(0, blank).find('\\') != std::string::npos;
  return line.starts_with('"') || blank == std::string::npos || !path_goes_on
             ? line
             : "\"" + program + "\"" + line.substr(program.size());
}

std::string write_out(const std::vector<word> &words, std::string_view text) {
  std::string result;
  for (auto open = text.find('{'); open != std::string_view::npos; open = text.find('{')) {
    const auto close = text.find('}', open);
    auto name = text.substr(open + 1, close == std::string_view::npos ? close : close - open - 1);
    const bool in_quotes = name.size() > 2 && name.front() == '"' && name.back() == '"';
    if (in_quotes) {
      name = name.substr(1, name.size() - 2);
    }
    const auto found = std::find_if(words.rbegin(), words.rend(),
                                    [&](const word &one) { return one.first == name; });
    if (found == words.rend() || close == std::string_view::npos) {
      result += text.substr(0, open + 1);  // a brace of the text's own
      text.remove_prefix(open + 1);
      continue;
    }
    const bool quoted = in_quotes && found->second.find(' ') != std::string::npos;
    result += text.substr(0, open);
    result += quoted ? "\"" + found->second + "\"" : found->second;
    text.remove_prefix(close + 1);
  }
  return result += text;
}

launch_case complete_row(const launch_family &family, const launch_case &row,
                         const std::string &world, const message_maker &system_message) {
  auto words = words_of_world(world);
  for (const unsigned long error : {2UL, 3UL, 5UL, 87UL, 193UL, 206UL}) {
    words.emplace_back("error " + std::to_string(error), system_message(error));
  }
  for (const auto &[name, meaning] : family.words) {
    words.emplace_back(name, write_out(words, meaning));
  }
  launch_case complete = row;
  complete.world = world;
  add_family(complete, family.given);
  put_before(complete.variables, start_script);
  change_texts(complete, [&](std::string &text) { text = write_out(words, text); });
  keep_last_of_each_path(complete.files);
  return complete;
}

std::string differences(const launch_case &expected, const seen &what) {
  std::ostringstream faults;
  launch_case row = expected;
  change_texts(row, [&](std::string &text) {
    text = write_out({{"process", what.process}}, text);
  });
  const bool is_part = !row.then.says.empty() || !row.then.says_not.empty();
  if (is_part) {
    compare_parts(faults, row.then, what);
  } else {
    compare(faults, "command for the interpreter", row.then.asks, what.asks);
    compare(faults, "standard output", in_text_mode(row.then.output), what.output);
    compare(faults, "standard error", in_text_mode(row.then.errors), what.errors);
  }
  if (what.programs_in_quotes) {
    std::transform(row.then.starts.begin(), row.then.starts.end(), row.then.starts.begin(),
                   with_program_in_quotes);
  }
  compare(faults, "started program", row.then.starts, what.starts);
  compare(faults, "message box", boxes_as_texts(row.then.boxes), boxes_as_texts(what.boxes));
  compare_files(faults, row.then.files, what);
  if (what.variables) {
    compare_variables(faults, row.then.variables, *what.variables);
  }
  compare(faults, "exit status", std::to_string(row.then.status), std::to_string(what.status));
  return faults.str();
}

tool_command split_command(const std::string &command, const std::string &world) {
  const auto end = end_of_program(command);
  const auto behind = command.find_first_not_of(' ', end);
  const auto start = command.starts_with("..\\")  ? 2
                     : command.starts_with(world) ? world.size()
                                                  : 0;
  return {command.substr(start, end - start),
          behind == std::string::npos ? "" : command.substr(behind)};
}

bool calls(const std::string &command, const tool &tool, const std::string &world) {
  constexpr std::string_view interpreter = "cmd.exe /c ";
  return starts_program(
      std::string_view(command).substr(command.starts_with(interpreter) ? interpreter.size() : 0),
      split_command(tool.command, world).program);
}

std::string as_written(const std::string &text) {
  return text.find('\r') == std::string::npos ? in_text_mode(text) : text;
}

}  // namespace cases
