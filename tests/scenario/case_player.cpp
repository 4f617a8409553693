// case_player.cpp: the row's world as files, tools and variables, and what the real
// launcher did in it.
#include "case_player.h"

#include <windows.h>

#include <cstring>

#include <algorithm>
#include <filesystem>
#include <map>

#include "world_state.h"

namespace scenario {

namespace {

namespace files = std::filesystem;

// Where the bench and a tool keep in step; beside tools, whose files are the bench's own.
const std::string box_mark = "job.box";

std::string script_of(const cases::tool &tool) {
  std::string script;
  if (tool.times > 0) {
    script += "times " + std::to_string(tool.times) + "\n";
  }
  if (tool.behind_box) {
    script += "wait_file " + in_world(box_mark) + "\n";
  }
  script += "out " + escape(cases::as_written(tool.prints)) + "\n";
  if (!tool.complains.empty()) {
    script += "err " + escape(cases::as_written(tool.complains)) + "\n";
  }
  script += tool.stays ? "wait_file never\n" : "";
  return script + "exit " + std::to_string(tool.status) + "\n";
}

void given_tools(const std::vector<cases::tool> &tools) {
  std::map<std::string, std::string> answers;
  for (const auto &tool : tools) {
    const auto [program, piece] = cases::split_command(tool.command, world().folder);
    answers[program.starts_with('\\') ? program.substr(1) : program] +=
        "when " + escape(piece) + "\n" + script_of(tool);
  }
  for (const auto &[program, script] : answers) {
    given_tool(program, script);
  }
}

void given_world(const cases::launch_case &row) {
  for (const auto &[name, value] : row.variables) {
    if (value) {
      given_variable(name, *value);
    } else {
      given_no_variable(name);
    }
  }
  given_tools(row.tools);
  for (const auto &[path, text] : row.files) {
    if (!text) {
      files::remove(in_world(path));
    } else if (path.ends_with('\\')) {
      given_folder(path);
    } else {
      given_file(path, *text);
    }
  }
  for (const auto &box : row.then.boxes) {
    if (box.answer == cases::left_alone) {
      given_box_left_alone();
    } else {
      given_box_answer(box.answer);
    }
  }
}

// An argument as the C runtime reads it back.
//   a b -> "a b"     say "hi" -> "say \"hi\""     a b\ -> "a b\\"
std::string as_argument(const std::string &text) {
  if (!text.empty() && text.find_first_of(" \t\"") == std::string::npos) {
    return text;
  }
  std::string quoted = "\"";
  std::size_t backslashes = 0;
  for (const char letter : text) {
    if (letter == '"') {
      quoted.append(backslashes + 1, '\\');
    }
    backslashes = letter == '\\' ? backslashes + 1 : 0;
    quoted += letter;
  }
  return quoted.append(backslashes, '\\') + "\"";
}

std::string command_arguments(const cases::texts &arguments) {
  std::string line;
  for (const auto &argument : arguments) {
    line += (line.empty() ? "" : " ") + as_argument(argument);
  }
  return line;
}

launch run_past_boxes(const cases::launch_case &row, const std::string &arguments) {
  auto run = start_launcher(arguments);
  const bool waits = std::any_of(row.tools.begin(), row.tools.end(),
                                 [](const cases::tool &tool) { return tool.behind_box; });
  if (waits && !row.then.boxes.empty()) {
    wait_for_boxes(run, 1);
    given_file(box_mark);
  }
  wait_for_everything(run);
  return run;
}

void collect_starts(const cases::launch_case &row, cases::seen &what) {
  const auto starts = all_starts();
  for (const auto &start : starts) {
    (start.interpreter_line.empty() ? what.starts : what.asks).push_back(command_of(start));
  }
  if (!starts.empty()) {
    what.variables.emplace();
    for (const auto &one : row.then.variables) {
      what.variables->push_back({one.name, starts.back().variable(one.name)});
    }
  }
}

// What was in a file before the launcher started; nothing when it was not there.
std::optional<std::string> text_before(const cases::launch_case &row, const std::string &path) {
  for (auto one = row.files.rbegin(); one != row.files.rend(); ++one) {
    if (_stricmp(one->path.c_str(), path.c_str()) == 0) {
      return one->text;
    }
  }
  return std::nullopt;
}

bool belongs_to_the_bench(const files::path &path) {
  const auto &tools = world().tools;
  const auto without_ending = [](const std::string &name) {
    return files::path(in_world(name)).replace_extension().string();
  };
  return path == in_world("mpirun.exe") || path == in_world("zprun.exe") ||
         std::any_of(tools.begin(), tools.end(), [&](const std::string &tool) {
           return _stricmp(without_ending(tool).c_str(), without_ending(path.string()).c_str()) ==
                  0;
         });
}

void collect_files(const cases::launch_case &row, cases::seen &what) {
  for (const auto &entry : files::recursive_directory_iterator(world().folder)) {
    const auto path = entry.path().string();
    if (!entry.is_regular_file() || belongs_to_the_bench(entry.path())) {
      continue;
    }
    if (const auto text = file_text(path); text != text_before(row, path)) {
      what.files[path] = text;
    }
  }
  for (const auto &one : row.files) {
    if (one.text && !one.path.ends_with('\\') && !files::exists(one.path)) {
      what.files[one.path] = std::nullopt;
    }
  }
}

}  // namespace

cases::seen play_for_real(const cases::launch_case &row) {
  given_world(row);
  const auto arguments = command_arguments(row.arguments);
  const auto run = row.program.empty() ? run_past_boxes(row, arguments) : run_front(arguments);

  cases::seen what;
  what.process = std::to_string(GetProcessId(run.process.get()));
  what.status = run.status;
  what.output = run.output;
  what.errors = run.errors;
  what.programs_in_quotes = true;
  for (const auto &box : run.boxes) {
    what.boxes.push_back({box.text, 0, box.caption});
  }
  collect_starts(row, what);
  collect_files(row, what);
  return what;
}

}  // namespace scenario
