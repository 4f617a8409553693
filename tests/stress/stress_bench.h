// stress_bench.h: what the stress tests have in common: counting what is open,
// looking for locks that were left, a folder with the tools.
#pragma once

#include <optional>
#include <string>

#include "platform/platform.h"
#include "support/open_things.h"

namespace stress {

// ---- What is open -------------------------------------------------------------------------

// What is open when there is no more of it than before, or after some seconds:
// Windows lets go of an ended thread a little later.
open_things open_again(const open_things &before);

// Whether a new thread gets through the locks that an ended one could have left:
// those of the heap, of the environment, of loaded libraries and of standard output.
bool locks_are_free();

// How many processes of this program's name run.
unsigned processes_named(const std::string &name);

// Waits until none runs any more; false when one stays.
bool all_have_ended(const std::string &name);

// ---- Tools --------------------------------------------------------------------------------

// What a tool has written to a file of the current folder; nothing when it is not there.
std::optional<std::string> file_text(const std::string &name);

void given_variable(const std::string &name, const std::string &value);

// The current folder, whose name has a blank in it, gets `stress_job.exe` and an interpreter
// that starts quickly.
void given_tools_behind_a_quick_interpreter();

// ... `stress_job.exe` alone: Windows' own interpreter starts it.
void given_tools_behind_windows_interpreter();

// While it lives, the launcher's standard output is another one (null: nowhere), and
// its standard error goes nowhere.
class other_output {
 public:
  explicit other_output(void *output);
  ~other_output();
  other_output(const other_output &) = delete;
  other_output &operator=(const other_output &) = delete;

 private:
  void *output_;
  void *error_;
  platform::owned_handle nowhere_;
};

// ---- For stress_main.cpp ------------------------------------------------------------------

// Ends the program with a message when a test does not end.
void start_watchdog();
void feed_watchdog(const char *test);

void remove_folder();

}  // namespace stress
