// run_record.h: what happens in this run, for the record that ZEPHON_RUN_RECORD
// asks for, and for a rehearsal (ZEPHON_REHEARSAL=1), which tells it at once.
//
// Without these two variables every function here comes back at once: a run that
// nobody asked about is not watched. With one of them, whoever does something
// says so:
//
//   if (rehearsal::is_on()) {
//     tell_step(step_kind::action, command, "it ended with 0");   // and do not do it
//   } else {
//     const std::size_t step = begin_step(step_kind::action, command);
//     ...
//     end_step(step, {.exit_code = 0});
//   }
//
// Tools, files and questions do this in command_runner, text_file and
// timed_question already; their callers need not. docs/run-record.md describes
// the file that is written at the end, docs/run-record.schema.json its form.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "core/command_line.h"

enum class step_kind {
  query,     // a tool that only tells something
  action,    // a tool or program that changes something
  file,      // a file that is looked for, read, written or removed
  question,  // a box with a choice
  message    // a box without one, or what takes its place
};

// First of all in a run: reads the two variables and has the record written when
// the program ends, also when Ctrl-C ends it. `arguments` are the process's own.
void begin_run_record(int count, char **arguments);

// Whether somebody asked for what is said here.
bool run_is_recorded();

// A step begins; gives back its number. One that never ends keeps its beginning.
std::size_t begin_step(step_kind kind, const std::string &text);

// What became of a step. In `exit_code` the tool's, 0 or 1 for a file that could be
// opened or not, or the button of a box.
struct step_end {
  std::optional<int> exit_code;
  std::optional<int> lines;  // that were read or written
};
void end_step(std::size_t step, const step_end &end);

// A step that a rehearsal leaves out: says so on standard output, with what is
// taken for its outcome. `content`: what would stand in the file, line by line.
void tell_step(step_kind kind, const std::string &text, std::string_view assumed,
               std::string_view content = "");

// In a rehearsal, says what only the real run would show; else nothing.
void tell_unknown(std::string_view what);

// A variable that was read, absent or not, or set.
void record_variable_read(const char *name, const std::optional<std::string> &value);
void record_variable_set(const std::string &name_and_value);

// A message to the user.
void record_message(const std::string &text);

// The launch: its command as it is given to Windows or to the scheduler's tool;
// that it was started, without a process identifier when the interpreter runs it;
// and its end, of a process with its times, and of a command with its status.
void record_launch(const command_line &command);
void record_launch_started(std::optional<unsigned long> process_id);
void record_launch_ended(void *process, void *group);
void record_launch_status(int status);

// The scheduler's job: the last state that was seen, and that it was let go.
void record_job_state(const std::string &job_state);
void record_job_released();

// Writes the record, and ends a rehearsal with its launch command. Once only;
// the functions of at_exit have it called.
void finish_run_record(int status);

// Forgets everything, for tests that make one run after another.
void forget_run_record();
