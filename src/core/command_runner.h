// command_runner.h: runs external tools, and reads what they print.
//
// A tool that is asked runs behind the command interpreter, hidden, with its
// standard output and standard error joined in one pipe and nothing to read: a
// question would never be seen. One that talks to the user runs in the console. One
// run at a time is the current run; most callers only need run_command:
//
//   run_command("job view 12 /scheduler:head", asks(),
//               [](const std::string &line) { ...; return true; });
//
// Its callers say whether the tool only tells something or changes something. A
// rehearsal runs the first kind alone, and goes on with the answer that the
// caller says the second kind would give.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "core/text_file.h"
#include "platform/platform.h"

// The line with which the command interpreter runs a command as it stands. Behind a
// quote at its beginning the interpreter would cut off this quote and the last one.
//   mpiexec -validate                ->  cmd.exe /c mpiexec -validate
//   "C:\my mpi\mpiexec" -env A "b"   ->  cmd.exe /c ""C:\my mpi\mpiexec" -env A "b""
std::string interpreter_line(const std::string &command);

// The quote on either side of a command behind "cmd.exe /c ": one when it begins with
// a quote, else none.
std::string interpreter_pair(const std::string &command);

struct run_record {
  text_reader output;              // what the tool prints
  platform::owned_handle process;  // the command interpreter
  platform::owned_handle group;    // the interpreter and the tool; empty: not kept together
};

// Whether a run may have to be stopped. It is then kept together with all that it
// starts.
enum class stopping { never, possible };

// Starts a command. Null when it cannot be started, which is reported on standard
// error. The launcher itself works with the current run, below.
[[nodiscard]] std::unique_ptr<run_record> start_run(const std::string &command,
                                                    stopping stop = stopping::never);

// What a tool is run for.
struct tool_use {
  bool changes_something = false;
  std::optional<std::string> assumed_output;  // in a rehearsal; nothing: it is run there too
};

// It only tells something.
tool_use asks();

// It changes something. In a rehearsal it succeeds with this output.
tool_use acts(const std::string &assumed_output = "");

// It tells something about what a rehearsal did not do, and so cannot be asked there.
tool_use asks_about_the_assumed(const std::string &assumed_output);

// Ends a run without waiting for the command. Gives back the command's exit
// code, 259 when it still runs, -1 when there is no run or no process.
int close_run(std::unique_ptr<run_record> run);

// Traces the command and makes it the current run. Gives back the output of the
// current run, which is that of an earlier command when that was not closed;
// null when the command cannot be started. The reader lives until the run is closed.
[[nodiscard]] text_reader *open_current_run(const std::string &command,
                                            stopping stop = stopping::never);

// Ends the current run; gives back what close_run does.
int close_current_run();

// Ends the current run and its processes: the interpreter, and the tool as well
// when the run can be stopped.
void stop_current_run();

// Takes one piece of a tool's output; false ends the reading.
using line_taker = std::function<bool(const std::string &line)>;

// Runs a command as the current run, hands each line of its output to the taker
// (lines longer than 1,023 characters in pieces) and closes the run. Gives back
// the exit code; nothing when the command cannot be started, which is reported
// on standard error.
std::optional<int> run_command(const std::string &command, const tool_use &use,
                               const line_taker &take_line);

// Where a command in the console writes: to the console, or to the launcher's own
// output when somebody gave it one; then it has nothing to read.
enum class console_output { console, own_when_given };

// Runs a command that changes something in the launcher's own console, where it can ask
// the user, and waits for it. Its status, -1 when the interpreter could not be started,
// 0 in a rehearsal.
int run_in_console(const std::string &command, console_output output = console_output::console);

// The same, hidden and with its output dropped.
void run_without_output(const std::string &command);

// Starts a program that lives on by itself; false when it cannot be started.
bool start_and_leave(const std::string &command, const platform::start_settings &settings);

// Starts the monitor, which reads the current run's output on a thread of its own.
// Gives back the thread's identifier, 0 when it could not be started.
[[nodiscard]] unsigned long start_monitor(platform::thread_routine routine, void *argument);

// Ends the current run with its processes, and the monitor with it. Gives back
// true when there was a monitor; without one nothing is ended.
bool stop_monitor();

// Whether the monitor is being ended: its read may then have been broken off.
bool monitor_is_stopping();

// Waits for a monitor that is about to end by itself, then ends the current run.
void finish_monitor();
