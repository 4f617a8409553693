// scenario_bench.h: the launcher from outside. Given these variables, files and
// tools; when started with these arguments; then exactly this command line, these
// lines, this box, this status.
//
// Each test finds a fresh world: a folder with a blank in its name, with the
// launcher in it, and an environment that holds nothing but what Windows needs.
// Paths without a drive are taken from the world's folder. Whatever a test
// started is ended with it, and the folder is removed. README.md shows how
// a test is written.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "box_driver/box_driver.h"
#include "scripted_tool/script.h"

namespace scenario {

using box_driver::message_box;
using scripted_tool::escape;

// The buttons of message boxes, by Windows' numbers.
constexpr int ok_button = 1;
constexpr int cancel_button = 2;
constexpr int yes_button = 6;
constexpr int no_button = 7;

// ---- Given --------------------------------------------------------------------------------

// The full path of something in the world's folder.
std::string in_world(const std::string &path);

// "a b": a text between double quotes.
std::string in_quotes(const std::string &text);

void given_variable(const std::string &name, const std::string &value);
void given_no_variable(const std::string &name);

// Files and folders; folders on the way are made as well.
void given_file(const std::string &path, const std::string &content = "");
void given_folder(const std::string &path);

// A program that plays any external tool; its script is explained at the top of
// tests/tools/scripted_tool/scripted_tool.cpp. A tool that stands already gets
// the new script. The world's folder is on PATH.
void given_tool(const std::string &path, const std::string &script = "");

// The same tool for the console.
void given_console_tool(const std::string &path, const std::string &script = "");

// Gives every tool that is there this script.
void given_script_of_all_tools(const std::string &script);

// The variables that a start script sets, over empty release folders: ZEPHON_PROD
// zephon, ZEPHON_PROD_DIR <world>\prod, ZEPHON_INC <world>\inc, ZEPHON_ARCH win64,
// STDOUT_FLUSH 1.
void given_installed_release();

// The MPI wrapper library below the product folder.
void given_wrapper(const std::string &mpi, const std::string &arch = "win64");

// Both, with the two roots named from the current folder on: no blank of the world's
// folder gets into a command.
void given_release_without_blanks(const std::string &mpi);

// A tool at the solver's place, <world>\solver.exe. Gives back the argument that names it.
std::string given_solver(const std::string &script = "");

// What MPICH needs: its wrapper, MPI_HOME with a tool at mpirun's place, a host file.
void given_mpich(const std::string &script = "");

// What Platform MPI needs: its wrapper, the release named without blanks, and a tool in
// IBMMPI_ROOT, <world>\mpi, whose password is not asked for.
void given_own_platform_mpi(const std::string &script = "");

// The folder of an installed MPI, from the world's folder on:
// inc\zephon<release>\netweave\mpi\win64\<mpi>
std::string mpi_folder(const std::string &release, const std::string &mpi);

// How the boxes are answered, in the order in which they appear. A box for which
// there is no answer fails the test, and so does an answer without a box.
void given_box_answer(int button);
void given_box_left_alone();

void given_joined_output();                       // standard error goes where standard output goes
void given_output_file(const std::string &path);  // both go to a file that is there
void given_no_standard_handles();                 // the launcher has no input, output and error
void given_current_folder(const std::string &path);
void given_hidden_window_station();         // the launcher runs where nobody sees a window
void given_inherited_handle(void *handle);  // the launcher gets this handle of ours too

// Called with the process number of each program that the test starts, before it runs.
void given_prepared_start(const std::function<void(unsigned long process)> &prepare);

void given_time_limit(unsigned long milliseconds);  // for a whole launch; 60 s by default

// ---- When ---------------------------------------------------------------------------------

struct handle_closer {
  void operator()(void *handle) const;
};
using owned_handle = std::unique_ptr<void, handle_closer>;

// A started launcher, and what was seen of it so far.
struct launch {
  unsigned long status = 0;  // its exit code, when it has ended
  std::string output;        // what came through its standard output, byte for byte
  std::string errors;        // ... and through its standard error
  std::vector<message_box> boxes;

  owned_handle process;
  owned_handle output_end;  // the ends from which its output is read
  owned_handle errors_end;
};

// Starts mpirun.exe with these arguments, given as they stand in the command line.
launch start_launcher(const std::string &arguments);

// Starts a program of the world with a whole command line. Null when Windows refuses.
launch start_program(const std::string &path, const std::string &command_line);

// Starts a program of the world in a new console, whose handles it gets.
launch start_in_console(const std::string &path, const std::string &command_line);

// What stands in the console of a process; presses Ctrl-C there.
std::string console_text(const launch &run);
void press_ctrl_c(const launch &run);

// Follows the launcher to its end. What it started may still run, and later
// output of that is not read.
void wait_for_end(launch &run);

// Follows the launcher and everything that it started to the end.
void wait_for_everything(launch &run);

// Follows the launcher until a file exists, so many boxes have been met, or a tool
// has been started so often.
void wait_for_file(launch &run, const std::string &path);
void wait_for_boxes(launch &run, std::size_t count);
void wait_for_starts(launch &run, const std::string &tool, std::size_t count);

// Follows the launcher for a tenth of a second, or for two seconds. For steps that only may happen;
// what must happen is waited for with one of the above.
void wait_a_moment(launch &run);
void wait_a_while(launch &run);

// Whether the launcher still runs, now.
bool is_running(const launch &run);

// Starts the launcher and follows it and everything that it started to the end.
launch run_launcher(const std::string &arguments);
launch run_console_launcher(const std::string &arguments);
launch run_front(const std::string &arguments);  // zprun.exe

// ---- Then ---------------------------------------------------------------------------------

// One start of a scripted tool, as the tool saw it.
struct tool_start {
  std::string tool;                    // its path from the world's folder on
  std::string command_line;            // byte for byte
  std::string interpreter_line;        // of the cmd.exe behind which it runs; empty: none
  std::vector<std::string> arguments;  // as the C runtime reads them, the name first
  std::string directory;
  std::vector<std::string> environment;  // name=value texts in their order
  std::string input, output, error;      // "none", "invalid", "file", "character", "pipe", "other"
  unsigned long handle_count = 0;
  unsigned long startup_flags = 0;
  unsigned long show_window = 0;
  std::string title;
  unsigned long process = 0;
  long long time = 0;                 // ticks, the same clock for all tools
  std::optional<unsigned long> code;  // its exit code; nothing when it did not end by itself
  std::optional<long long> end_time;
  std::vector<std::pair<std::string, std::string>>
      handles;  // number and kind, for script lines "handle"

  // The value of a variable in its environment; nothing when it was not set there.
  std::optional<std::string> variable(const std::string &name) const;
};

// Every start of a tool, or of all tools, in the order in which they happened.
std::vector<tool_start> starts_of(const std::string &tool);
std::vector<tool_start> all_starts();

// The command as the launcher wrote it: the tool's own line, or what the launcher gave
// the command interpreter behind which it runs.
std::string command_of(const tool_start &start);

// The whole lines of the interpreters behind which tools ran, byte for byte.
std::vector<std::string> interpreter_lines();

// The commands alone of a tool's starts.
std::vector<std::string> lines_of(const std::string &tool);

// The one start of a tool. The test fails when there was none or more than one.
tool_start only_start_of(const std::string &tool);

// A file's bytes; nothing when there is no such file.
std::optional<std::string> file_text(const std::string &path);

// Where the programs of this build are.
std::string built_launcher();
std::string built_console_launcher();
std::string built_front();
std::string built_tool(const std::string &path);  // from tests\tools\ of the build on

// A text as it reads in an output or file that was written in text mode: \n is \r\n.
std::string text_mode(const std::string &text);

// Windows' own message for an error, its line end (\r\n) included.
std::string windows_message(unsigned long error);

// ---- For scenario_main.cpp ----------------------------------------------------------------

void make_world();
void end_world();

}  // namespace scenario
