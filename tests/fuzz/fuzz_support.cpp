// fuzz_support.cpp: runs of the launcher, and what must hold after them.
#include "fuzz_support.h"

#include <cstdio>
#include <cstdlib>

#include "core/exit_status.h"
#include "core/launch_state.h"
#include "core/text.h"
#include "support/fresh_launch.h"
#include "support/stand_in_world.h"

namespace fuzz {

namespace {

constexpr std::size_t most_waits = 300;
constexpr std::size_t shown_characters = 4'000;

bool hanging_is_allowed = false;

// What is open when the program has done its last deed. Files of the step that
// ended it may be: Windows closes them. A tool may not: its run was never closed.
struct open_things {
  std::size_t runs = 0;
  std::size_t threads_and_events = 0;
};
open_things open_at_end;

void note_open_things() {
  open_at_end = {};
  for (const auto &[handle, target] : stand_in::the_world().handles) {
    if (std::holds_alternative<std::shared_ptr<stand_in::task>>(target) ||
        std::holds_alternative<std::shared_ptr<stand_in::event>>(target)) {
      ++open_at_end.threads_and_events;
    } else if (!std::holds_alternative<std::shared_ptr<stand_in::open_file>>(target)) {
      ++open_at_end.runs;
    }
  }
}

void print_world() {
  for (const auto &one : stand_in::started_commands()) {
    std::fprintf(stderr, "started (error %lu): %s\n", one.error,
                 one.command_line.substr(0, shown_characters).c_str());
  }
  std::fprintf(stderr, "output: %s\n",
               stand_in::standard_output().substr(0, shown_characters).c_str());
  std::fprintf(stderr, "errors: %s\n",
               stand_in::standard_error().substr(0, shown_characters).c_str());
}

[[noreturn]] void fail(const std::string &what) {
  std::fprintf(stderr, "\nDoes not hold: %s\n", what.c_str());
  print_world();
  std::abort();
}

void take_failure(const std::string &failure) {
  if (!hanging_is_allowed || !failure.starts_with("nothing can end these waits")) {
    fail(failure);
  }
}

void check_environment_block() {
  const std::string &block = state.env_pool;
  require(block == std::string(1, '\0') || block.ends_with(std::string_view("\0\0", 2)),
          "the environment block ends in two zeros");
}

}  // namespace

std::string_view text_of(const std::uint8_t *data, std::size_t size) {
  return {reinterpret_cast<const char *>(data), size};
}

std::string take_line(std::string_view &text) {
  const std::size_t end = text.find('\n');
  const std::string line(text.substr(0, end));
  text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  return line;
}

std::vector<std::string> lines_of(std::string_view text) {
  std::vector<std::string> lines;
  while (!text.empty()) {
    lines.push_back(take_line(text));
  }
  return lines;
}

std::vector<std::string> sections_of(std::string_view text) {
  constexpr std::string_view separator = "----\n";
  std::vector<std::string> sections;
  std::size_t start = 0;
  for (std::size_t at = 0; (at = text.find(separator, at)) != std::string_view::npos;) {
    if (at != 0 && text[at - 1] != '\n') {
      ++at;
      continue;
    }
    sections.emplace_back(text.substr(start, at - start));
    start = at = at + separator.size();
  }
  sections.emplace_back(text.substr(start));
  return sections;
}

int take_number(std::string_view &line) {
  const std::string text(line);
  int number = 0;
  const char *rest = scan_number(text.c_str(), number);
  line.remove_prefix(rest == nullptr ? line.size() : static_cast<std::size_t>(rest - text.c_str()));
  return number;
}

void require(bool holds, std::string_view property) {
  if (!holds) {
    fail(std::string(property));
  }
}

void begin_run(bool may_hang) {
  // The last world must not be left with threads that wait in it.
  [[maybe_unused]] static const int registered = std::atexit(stand_in::fresh_launch);
  hanging_is_allowed = true;  // what an earlier run left hanging is put down now
  stand_in::report_failures_to(take_failure);
  stand_in::fresh_launch();
  stand_in::give_up_after(most_waits);
  platform::at_exit(note_open_things);  // the first to be registered is the last to be called
  hanging_is_allowed = may_hang;
}

run_result run(const std::function<void()> &piece) {
  run_result result;
  try {
    if (const auto status = stand_in::status_of_exit(piece)) {
      result = {run_end::ended, *status};
    }
  } catch (const stand_in::gave_up &) {
    result.end = run_end::gave_up;
  } catch (const stand_in::stuck &) {
    result.end = run_end::hung;
  }
  return result;
}

void check_run(const run_result &result, bool may_be_interrupted) {
  check_environment_block();
  if (result.end == run_end::came_back) {
    stand_in::check_world();
  } else if (result.end == run_end::ended && !may_be_interrupted) {
    require(open_at_end.runs == 0, "every run of a tool is closed at the end");
    // A user who cancels the job does so in its wait box, whose thread ends with the program.
    require(open_at_end.threads_and_events == 0 || result.status == exit_job_cancelled,
            "no thread or event is left at the end");
  }
}

std::string in_text_mode(std::string_view bytes) {
  std::string text;
  for (const char byte : bytes) {
    if (byte == '\n' && text.ends_with('\r')) {
      text.pop_back();
    }
    text += byte;
  }
  return text;
}

std::string as_echoed(std::string_view output) {
  std::string bytes;
  for (const char byte : output) {
    if (byte == '\n' && !bytes.ends_with('\r')) {
      bytes += '\r';
    }
    bytes += byte;
  }
  return bytes;
}

}  // namespace fuzz
