// tool_starts.cpp: reads from their logs how the scripted tools were started.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <string_view>

#include "scripted_tool/tool_log.h"
#include "world_state.h"

namespace scenario {

namespace {

using scripted_tool::find_field;
using scripted_tool::record;

long long number_of(const record &fields, std::string_view name) {
  return std::strtoll(find_field(fields, name).value_or("0").c_str(), nullptr, 10);
}

unsigned long small_number_of(const record &fields, std::string_view name) {
  return static_cast<unsigned long>(number_of(fields, name));
}

std::string text_of(const record &fields, std::string_view name) {
  return find_field(fields, name).value_or("");
}

std::vector<std::string> texts_of_block(std::string_view block) {
  std::vector<std::string> texts;
  while (!block.empty()) {
    const auto end = block.find('\0');
    texts.emplace_back(block.substr(0, end));
    block.remove_prefix(end == std::string_view::npos ? block.size() : end + 1);
  }
  return texts;
}

void read_repeated_fields(tool_start &start, const record &fields) {
  constexpr std::string_view handle_prefix = "handle_number_";
  for (const auto &[name, bytes] : fields) {
    if (name == "argument") {
      start.arguments.push_back(bytes);
    } else if (name.starts_with(handle_prefix)) {
      start.handles.emplace_back(name.substr(handle_prefix.size()), bytes);
    }
  }
}

tool_start start_of(const std::string &tool, const record &fields) {
  tool_start start;
  start.tool = tool;
  start.command_line = text_of(fields, "command_line");
  start.interpreter_line = text_of(fields, "interpreter_line");
  start.directory = text_of(fields, "directory");
  start.environment = texts_of_block(text_of(fields, "environment"));
  start.input = text_of(fields, "input");
  start.output = text_of(fields, "output");
  start.error = text_of(fields, "error");
  start.handle_count = small_number_of(fields, "handle_count");
  start.startup_flags = small_number_of(fields, "startup_flags");
  start.show_window = small_number_of(fields, "show_window");
  start.title = text_of(fields, "title");
  start.process = small_number_of(fields, "process");
  start.time = number_of(fields, "time");
  read_repeated_fields(start, fields);
  return start;
}

// An end belongs to the last start of the same process.
void note_end(std::vector<tool_start> &starts, const record &fields) {
  const auto process = small_number_of(fields, "process");
  const auto found = std::find_if(starts.rbegin(), starts.rend(), [&](const tool_start &start) {
    return start.process == process;
  });
  if (found != starts.rend()) {
    found->code = small_number_of(fields, "code");
    found->end_time = number_of(fields, "time");
  }
}

}  // namespace

std::optional<std::string> tool_start::variable(const std::string &name) const {
  for (const auto &text : environment) {
    if (text.size() > name.size() && text[name.size()] == '=' &&
        _strnicmp(text.c_str(), name.c_str(), name.size()) == 0) {
      return text.substr(name.size() + 1);
    }
  }
  return std::nullopt;
}

std::string command_of(const tool_start &start) {
  constexpr std::string_view beginning = "cmd.exe /c ";
  const std::string &line = start.interpreter_line;
  if (line.empty()) {
    return start.command_line;
  }
  EXPECT_TRUE(line.starts_with(beginning)) << line;
  const std::string command = line.substr(beginning.size());
  // The pair that makes the interpreter leave the command as it is.
  return command.starts_with('"') ? command.substr(1, command.size() - 2) : command;
}

std::vector<tool_start> starts_of(const std::string &tool) {
  const auto log_path = in_world(tool.substr(0, tool.find_last_of('.')) + ".log");
  const auto log = scripted_tool::read_file(log_path).value_or("");
  std::vector<tool_start> starts;
  for (const auto &fields : scripted_tool::parse_log(log)) {
    if (find_field(fields, "record") == "start") {
      starts.push_back(start_of(tool, fields));
    } else {
      note_end(starts, fields);
    }
  }
  return starts;
}

std::vector<tool_start> all_starts() {
  std::vector<tool_start> starts;
  for (const auto &tool : world().tools) {
    auto more = starts_of(tool);
    std::move(more.begin(), more.end(), std::back_inserter(starts));
  }
  std::stable_sort(
      starts.begin(), starts.end(),
      [](const tool_start &one, const tool_start &other) { return one.time < other.time; });
  return starts;
}

std::vector<std::string> lines_of(const std::string &tool) {
  std::vector<std::string> lines;
  for (const auto &start : starts_of(tool)) {
    lines.push_back(command_of(start));
  }
  return lines;
}

std::vector<std::string> interpreter_lines() {
  std::vector<std::string> lines;
  for (const auto &start : all_starts()) {
    if (!start.interpreter_line.empty()) {
      lines.push_back(start.interpreter_line);
    }
  }
  return lines;
}

tool_start only_start_of(const std::string &tool) {
  const auto starts = starts_of(tool);
  EXPECT_EQ(1U, starts.size()) << "starts of " << tool;
  return starts.empty() ? tool_start{} : starts.front();
}

}  // namespace scenario
