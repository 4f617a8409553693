// case_player.cpp: the row's world in the stand-in, and what the launcher did in it.
#include "unit/case_player.h"

#include <algorithm>
#include <memory>

#include "front/zprun.h"
#include "launch/mpirun.h"
#include "support/fresh_launch.h"
#include "support/stand_in_world.h"

namespace cases {

namespace {

namespace door = stand_in;

constexpr door::milliseconds time_of_a_solver = 1'000;

void given_tools(const std::vector<tool> &tools, const std::string &world) {
  // The door asks the rule first that was given last.
  for (auto one = tools.rbegin(); one != tools.rend(); ++one) {
    const auto wanted = split_command(one->command, world);
    if (wanted.program.starts_with('\\')) {
      door::given_file(world + wanted.program);
    }
    const auto left = std::make_shared<int>(one->times == 0 ? -1 : one->times);
    door::given_tool_for(
        [tool = *one, wanted, world, left](const std::string &command) {
          if (*left == 0 || !calls(command, tool, world) ||
              command.find(wanted.piece) == std::string::npos) {
            return false;
          }
          *left -= *left > 0 ? 1 : 0;
          return true;
        },
        door::prints(as_written(one->prints))
            .then_prints_error(as_written(one->complains))
            .exits_with(one->status)
            .stays(one->stays ? door::never : 0));
  }
}

void given_world(const launch_case &row) {
  door::given_current_directory(row.world + "\\work");
  for (const variable &one : row.variables) {
    if (one.value) {
      door::given_variable(one.name, *one.value);
    } else {
      door::given_no_variable(one.name);
    }
  }
  given_tools(row.tools, row.world);
  for (const file &one : row.files) {
    if (!one.text) {
      door::given_no_file(one.path);
    } else if (one.path.ends_with('\\')) {
      door::given_directory(one.path);
    } else {
      door::given_file(one.path, *one.text);
    }
  }
  for (const box &one : row.then.boxes) {
    if (one.answer == left_alone) {
      door::given_box_without_answer();
    } else {
      door::given_box_answer(one.answer);
    }
  }
}

std::string text_before(const launch_case &row, const std::string &path) {
  for (auto one = row.files.rbegin(); one != row.files.rend(); ++one) {
    if (door::compared_path(one->path) == path) {
      return one->text.value_or("");
    }
  }
  return "(no file)";
}

void collect_files(const launch_case &row, seen &what) {
  for (const std::string &name : door::written_files()) {
    const auto path = door::compared_path(name);
    const auto text = door::file_content(name);
    if (text && *text != text_before(row, path)) {
      what.files[path] = *text;
    }
  }
  for (const std::string &name : door::removed_files()) {
    const auto path = door::compared_path(name);
    if (!door::file_exists(name) && text_before(row, path) != "(no file)") {
      what.files[path] = std::nullopt;
    }
  }
}

void collect_starts(const launch_case &row, seen &what) {
  bool any = false;
  for (const auto &one : door::started_commands()) {
    const bool asked = one.way != door::start_way::process || one.command != one.command_line;
    if (asked || one.error == 0) {
      (asked ? what.asks : what.starts).push_back(one.command);
      any = true;
    }
  }
  if (any) {
    what.variables.emplace();
    for (const variable &one : row.then.variables) {
      what.variables->push_back({one.name, door::variable(one.name)});
    }
  }
}

}  // namespace

seen play_scripted(const launch_case &row) {
  door::fresh_launch();
  given_world(row);

  seen what;
  what.process = std::to_string(platform::process_id());
  const auto status = door::status_of_exit([&] {
    char **vector = door::given_arguments(row.arguments);
    if (row.program == "zprun") {
      start_zprun(state.arg_count, vector);
    }
    start_from_window(nullptr, 1, state.arg_count, vector);
  });
  door::pass_time(time_of_a_solver);  // it may outlive the launcher
  what.status = static_cast<unsigned long>(status.value_or(0));
  what.output = door::standard_output_bytes();
  what.errors = door::standard_error_bytes();
  for (const auto &one : door::message_boxes()) {
    what.boxes.push_back({one.text, one.button, one.caption});
  }
  collect_starts(row, what);
  collect_files(row, what);
  return what;
}

}  // namespace cases
