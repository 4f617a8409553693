// platform_stand_in.h: a scripted Windows for unit tests and fuzzers.
//
// It stands behind platform.h in the place of Windows: a world in memory with
// variables, files, tools, message boxes and a clock of its own. A test says
// what the world is like, calls the launcher, and looks at what it did:
//
//   fresh_world();
//   given_variable("TEMP", "C:\\temp");
//   given_file("C:\\hosts.txt", "a\nb\n");
//   given_tool("job view 7 /scheduler:head", prints("State : Queued\r\n"));
//   given_tool("job view 7 /scheduler:head", prints("State : Running\r\n"));
//   given_box_answer(pressed_yes, 2'000);
//   ... call the launcher ...
//   EXPECT_EQ("job view 7 /scheduler:head", started_commands().at(0).command);
//   EXPECT_EQ("\nError in execute command x\n", standard_error());
//
// Time is virtual: it passes only while the launcher waits, and then at once.
// Threads are fibers, of which one runs at a time: a thread runs until it waits in
// a platform call, and the next one whose wait is over goes on. Equal worlds
// give equal runs.
//
// What would hang is a failure with the list of who waits for what; so are a
// handle that is closed twice or used after it was closed, and, in
// check_world(), handles that nobody closed. Failures go to the function given
// to report_failures_to(); until then they end the program.
#pragma once

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/platform.h"

namespace stand_in {

using milliseconds = std::uint64_t;
constexpr milliseconds never = ~milliseconds{0};

// ---- The world as a whole -----------------------------------------------------------------

// Throws the old world away, its threads included, and begins a new one: no
// variable, no file but the current directory C:\work, no tool, mpr.dll without
// network drives, Windows 7, process 4711, 13 February 2009 23:31:30 UTC.
void fresh_world();

// Ends what still goes on in the world, so that a launcher can put down what it
// holds there: its threads end, and a program that ended may go on.
void end_world();

// Reports what the launcher must not leave behind: handles and libraries still
// open (unless the program ended, then Windows closes them) and handles that a
// thread owned when it was ended from outside.
void check_world();

// Where failures go. The default prints the failure and aborts.
void report_failures_to(void (*report)(const std::string &failure));

// Thrown by platform::exit_program after the functions of at_exit ran.
struct program_ended {
  int status;
};

// Runs a piece of the launcher. Its exit status when it ended the program (the
// threads end with it), nothing when it came back.
std::optional<int> status_of_exit(const std::function<void()> &program);

// Thrown, after the failure was reported, out of a wait that could never end.
struct stuck : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// Thrown out of the first wait behind the limit of give_up_after.
struct gave_up : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// Fuzzers: ends a run after so many waits, without a failure. Without it
// 150,000 waits are taken for a launcher that waits forever, and are a failure.
void give_up_after(std::size_t waits);

// Handles that are open now, and that were when exit_program was called.
std::size_t open_handles();
std::size_t open_handles_at_exit();

// Calls a function when the time has come, as if from outside.
void after(milliseconds delay, std::function<void()> function);

// The virtual time since the world began. pass_time lets threads and tools run.
milliseconds now();
void pass_time(milliseconds time);

// ---- The program itself -------------------------------------------------------------------

void given_windows_version(unsigned long version);
void given_process_id(unsigned long id);
void given_time(std::time_t time);  // the calendar time of this moment

// Presses Ctrl-C. Ignored when the launcher ignores it; calls the handler, once,
// on a thread of its own; without a handler it ends the program with status
// 0xC000013A, without the functions of at_exit.
void given_ctrl_c_after(milliseconds delay);
bool ctrl_c_is_ignored();
platform::interrupt_handler current_interrupt_handler();

// ---- Environment --------------------------------------------------------------------------

// Sets a variable as whoever starts the launcher does: an empty value is a
// variable with an empty value.
void given_variable(const std::string &name, const std::string &value);
void given_no_variable(const std::string &name);
std::optional<std::string> variable(const std::string &name);

// Refuses to set variables with this error.
void given_refused_variables(unsigned long error);

// ---- Files and directories ----------------------------------------------------------------
//
// Paths are compared as Windows does: capital and small letters are the same,
// "/" is "\", a relative path begins in the current directory. Directories of
// files need not be given. A file can be created anywhere but where a given_...
// function forbids it.

void given_file(const std::string &path, const std::string &content = "");
void given_directory(const std::string &path);
void given_link(const std::string &path, const std::string &target);
void given_no_file(const std::string &path);
void given_unreadable_file(const std::string &path, const std::string &content = "");
void given_unwritable_path(const std::string &path);  // opening for writing is refused
void given_last_opening(const std::string &path, std::size_t openings = 1);  // then it is gone
void given_full_disk_after(std::size_t bytes);  // for all files together

// All files whose names begin with two backslashes are on a share that goes away when so
// many bytes were written there: then nothing on it opens, goes or gets another name.
void given_share_that_vanishes_after(std::size_t bytes);
void given_current_directory(const std::string &path);
void given_no_current_directory();

// What list_directory gives for a folder, in this order. Without it the folder's
// files and folders in alphabetical order behind "." and "..".
void given_listing(const std::string &folder, const std::vector<std::string> &names);
void given_no_listing(const std::string &folder);

// At most so many bytes come with one read of a file or pipe.
void given_short_reads(std::size_t bytes);

std::optional<std::string> file_content(const std::string &path);
bool file_exists(const std::string &path);
std::size_t times_opened(const std::string &path);  // also in vain
std::vector<std::string> written_files();           // paths opened for writing, in order
std::vector<std::string> removed_files();

// ---- Standard output and error ------------------------------------------------------------
//
// What the launcher and the programs that share its output wrote. The texts are
// as a reader in text mode sees them: CR LF is one newline.

std::string standard_output();
std::string standard_error();
std::string both_streams();  // in the order in which it was written
std::string standard_output_bytes();
std::string standard_error_bytes();

void given_no_standard_handles();
void given_broken_standard_output();                             // its reader is gone
void given_standard_output_that_hangs_after(std::size_t bytes);  // its reader stopped reading

// ---- Tools --------------------------------------------------------------------------------

// What a started program does, from its start to its end:
//   prints("one\n").then_prints("two\n", 200).exits_with(1)
//   prints("").lives_on()     closes its output at once and never ends
//   cannot_start(5)           Windows refuses to start it
struct tool_answer {
  struct piece {
    platform::standard_stream stream = platform::standard_stream::output;
    std::string text;
    milliseconds delay = 0;  // after the piece before
  };
  std::vector<piece> pieces;
  unsigned long exit_code = 0;
  unsigned long start_error = 0;
  milliseconds output_stays_open = 0;               // after the last piece
  milliseconds lives_without_output = 0;            // after its output is closed
  std::optional<std::uint64_t> processor_time = 0;  // nothing: Windows does not tell
  std::optional<std::uint64_t> group_time;  // of it and of all that it started; nothing: the same
  std::function<void()> deed;               // done when it is started

  tool_answer then_prints(const std::string &text, milliseconds delay = 0) const;
  tool_answer then_prints_error(const std::string &text, milliseconds delay = 0) const;
  tool_answer exits_with(unsigned long code) const;
  tool_answer stays(milliseconds time = never) const;     // its output stays open
  tool_answer lives_on(milliseconds time = never) const;  // its output is closed
  tool_answer used_time(std::optional<std::uint64_t> hundred_ns,
                        std::optional<std::uint64_t> with_all_it_started = {}) const;
  tool_answer does(std::function<void()> something) const;
};

tool_answer prints(const std::string &text, milliseconds delay = 0);
tool_answer exits_with(unsigned long code);
tool_answer cannot_start(unsigned long error);

// The answer to a command. The text is compared with the command line, without
// "cmd.exe /c " before it. Given again for the same command, the answers come in
// turn and the last one stays. The rule given last is asked first. A command
// that no rule knows is not found: the command interpreter says so and gives 1,
// a direct start fails with error 2.
void given_tool(const std::string &command, const tool_answer &answer = {});
void given_tool_with(const std::string &piece_of_command, const tool_answer &answer = {});
void given_tool_for(const std::function<bool(const std::string &command)> &matches,
                    const tool_answer &answer = {});

// cmd.exe itself cannot be started.
void given_no_command_interpreter(unsigned long error = 2);
void given_no_pipes();
void given_no_groups();  // Windows puts no process into a group

enum class start_way { process, in_console, output_discarded };
enum class output_place { nowhere, standard_output, standard_error, pipe, file };

// A start as the launcher asked for it, also one that failed.
struct started_command {
  std::string command;       // as the interpreter runs it, without "cmd.exe /c " before it
  std::string command_line;  // as it stood
  start_way way = start_way::process;
  milliseconds at = 0;
  unsigned long id = 0;     // process identifier; 0: it did not start
  unsigned long error = 0;  // 0: it started
  std::string said_before;  // both_streams() at that moment
  bool gives_standard_handles = false;
  output_place output = output_place::nowhere;
  output_place error_output = output_place::nowhere;
  bool hidden = false;
  bool detached = false;
  std::optional<std::string> title;
  std::optional<std::string> environment;  // the block with its two zeros
  platform::inheritance handles = platform::inheritance::all;
  bool grouped = false;
  bool is_interpreter = false;
  bool null_input = false;               // it reads the null device
  std::optional<std::string> directory;  // not the launcher's own
};

const std::vector<started_command> &started_commands();
std::vector<std::string> commands();  // their command texts
bool process_runs(unsigned long id);  // it, or the tool that the interpreter started
std::optional<unsigned long> terminated_with(unsigned long id);  // by terminate_process

// ---- Shared memory ------------------------------------------------------------------------

void given_shared_block(std::uint64_t mapping_handle);
std::optional<std::uint32_t> shared_number(std::uint64_t mapping_handle);  // once written

// ---- Threads and events -------------------------------------------------------------------

void given_no_threads();                    // starting one fails
void given_no_events(unsigned long error);  // creating one fails
void given_main_thread_first();  // when waits end in the same moment, the main thread goes first
void given_threads_that_run_at_once();  // before start_thread comes back, not at the next wait

std::size_t threads_started();
std::size_t threads_alive();
std::size_t threads_terminated();
std::vector<std::string> events_created();
void set_events_named(const std::string &name);  // as another program does that knows the name

// ---- Message boxes ------------------------------------------------------------------------

constexpr int pressed_ok = 1;
constexpr int pressed_cancel = 2;
constexpr int pressed_yes = 6;
constexpr int pressed_no = 7;

// Answers to the next boxes, in this order. A box without an answer is closed
// with OK at once on the main thread, and never answered on another.
void given_box_answer(int button, milliseconds delay = 0);
void given_box_without_answer();
void given_box_that_cannot_be_shown();
void given_no_visible_boxes();  // a window station that nobody looks at

// What close_message_boxes does: the box closes after the delay with that
// button. The default is the box's first button at once; `never` leaves it open.
void given_box_closing(int button, milliseconds delay = 0);

enum class box_end { shown, answered, closed, thread_ended, not_shown };

struct message_box {
  std::string caption;
  std::string text;
  unsigned style = 0;
  unsigned long thread = 0;
  milliseconds shown_at = 0;
  milliseconds ended_at = 0;
  box_end end = box_end::shown;
  int button = 0;
};
const std::vector<message_box> &message_boxes();

// ---- What the front asks ------------------------------------------------------------------

void given_console();  // standard output and error are shown on one
void given_machine_setting(const std::string &name, const std::string &value);
void given_word_beyond_code_page(const std::string &word);
void given_double_byte_code_page();                // 932 of Windows; else each byte is a letter
void given_unknown_host(const std::string &name);  // all others are known

// Calls the front's handler, on a thread of its own.
void given_control_event_after(milliseconds delay, platform::control_event event);

// ---- Network paths ------------------------------------------------------------------------

void given_no_library(const std::string &name);
void given_network_drive(const std::string &drive, const std::string &share);  // "X:", "\\\\s\\d"
std::size_t times_loaded(const std::string &library);

}  // namespace stand_in
