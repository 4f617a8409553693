// platform.h: the one door to Windows. Every call to the system that the
// launcher makes is one of these plain functions; no Windows type gets past it.
//
// windows.cpp stands behind the door in the real program, a scripted stand-in
// in the unit tests and fuzzers. A function here makes a call and gives back
// its result or its error; what that means is decided by the caller.
//
// Texts are in the ANSI code page. Error codes are Windows' own, 0 is success.
#pragma once

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace platform {

// A Windows handle with its owner: it is closed when the owner goes away. Both
// of Windows' failure values (null and the invalid handle) are the empty owner.
struct handle_closer {
  void operator()(void *handle) const;
};
using owned_handle = std::unique_ptr<void, handle_closer>;

constexpr unsigned long wait_forever = 0xFFFFFFFFUL;   // a wait without a time limit
constexpr unsigned long process_still_active = 259UL;  // exit code of a process that runs

// ---- The program itself -------------------------------------------------------------------

unsigned long windows_version();  // the number that GetVersion gives
unsigned long process_id();
std::time_t current_time();
std::int64_t current_microseconds();  // since the first moment of 1970, UTC
std::uint64_t elapsed_ms();           // milliseconds of a clock that nobody sets

// Has the function called on every normal end of the program.
void at_exit(void (*function)());

// Ends the program normally: functions registered with at_exit run first.
// One of them may end it again: the others still run, the last status counts.
[[noreturn]] void exit_program(int status);

// Ends the program where it stands: no function of at_exit runs. A program that another
// thread is starting meanwhile is started, and none after it.
[[noreturn]] void end_at_once(int status);

// Makes the program ignore Ctrl-C from now on.
void ignore_ctrl_c();

// Has Ctrl-C call the handler, on a thread of the system's choice; null restores
// the system's own handling. Gives back the handler that was in force.
using interrupt_handler = void (*)(int signal_number);
interrupt_handler set_interrupt_handler(interrupt_handler handler);

// Windows' own text for an error code, its line end included; empty if it has none.
std::string system_message(unsigned long error);

// A text of the ANSI code page in UTF-8. What is no text there becomes U+FFFD or
// the code page's own default character: the result is valid UTF-8 whatever comes in.
std::string utf8_of(const std::string &text);

// Whether a byte begins a letter of two bytes in the ANSI code page.
bool is_lead_byte(char byte);

// ---- Environment --------------------------------------------------------------------------

// The variable's value; nothing when it is not set.
std::optional<std::string> get_variable(const char *name);

// Sets a variable from a text of the form name=value; an empty value removes it.
// Gives back 0 or the error code.
unsigned long put_variable(const std::string &name_and_value);

// ---- Files and directories ----------------------------------------------------------------

enum class open_mode {
  read,    // an existing file
  write,   // a new file, or an existing one emptied
  append,  // a new file, or the end of an existing one: each write goes to the end
  create   // a new file only: an existing one, or a link of that name, is refused
};

// Opens a file (not a directory). Empty when Windows refuses.
owned_handle open_file(const std::string &path, open_mode mode);

// Reads what is there, at most `size` bytes. Waits until there is something to
// read. 0 at the end of the file or pipe and when reading fails.
std::size_t read_some(void *handle, char *buffer, std::size_t size);

// Writes all of the text; false when not all of it could be written.
bool write_all(void *handle, const char *text, std::size_t size);

// Removes a file or the link of that name, not what a link points to.
void remove_file(const std::string &path);

// Gives a file another name in the same folder, in one move, whether or not there
// is a file of that name; false when Windows refuses.
bool replace_file(const std::string &path, const std::string &new_path);

// The current directory; nothing when Windows does not tell.
std::optional<std::string> current_directory();

// Windows' own folder, such as C:\Windows; empty when Windows does not tell.
std::string windows_directory();

// The names that match a pattern such as C:\releases\*.*, in Windows' own order,
// "." and ".." among them. Nothing when the search cannot start or breaks off.
std::optional<std::vector<std::string>> list_directory(const std::string &pattern);

// ---- Standard output and error ------------------------------------------------------------

enum class standard_stream { output, error };

// The launcher's own handle; null when it has none. Not owned by the caller.
void *standard_handle(standard_stream stream);

// The null device for reading. Can be handed on to a child. Empty when Windows refuses.
owned_handle open_null_input();

// Attaches to the console of the program that started the launcher, when the
// launcher has no output or no error output of its own and there is such a
// console. Handles that were handed to it stay; the others become the console's.
// To be called before anything is opened or written.
void use_console_of_caller();

// ---- Processes ----------------------------------------------------------------------------

// An anonymous pipe. Only the write end can be handed on to a child.
struct pipe_ends {
  owned_handle read_end;
  owned_handle write_end;
};
std::optional<pipe_ends> create_pipe();

// What a child gets of the launcher's inheritable handles.
enum class inheritance {
  all,     // all of them, as the launcher's caller meant it for the solver
  listed,  // its own standard output and error only
  none     // none: it cannot keep the launcher's output open
};

struct start_settings {
  bool give_standard_handles = false;  // hand on the three below instead of the launcher's own
  void *input = nullptr;               // borrowed; null: none
  void *output = nullptr;              // borrowed; null: none
  void *error = nullptr;               // borrowed; null: none
  bool hidden = false;                 // its first window is not shown
  bool detached = false;               // without the launcher's console
  const char *title = nullptr;         // title of its console; null: none
  const char *environment = nullptr;   // an environment block; null: the launcher's own
  inheritance handles = inheritance::all;
  bool grouped = false;  // it and all that it starts can be ended together

  // It is the system's own command interpreter, whatever the command line calls
  // it. Programs without a folder are looked for by it along PATH only.
  bool is_interpreter = false;
  const char *directory = nullptr;  // its current directory; null: the launcher's own
};

// The longest command line, and the longest name=value of a variable, in characters.
constexpr std::size_t longest_command_line = 32'766;
constexpr std::size_t longest_interpreted = 8'191;  // by the command interpreter
constexpr std::size_t longest_variable = 32'767;

struct started_process {
  owned_handle process;     // empty when it could not be started
  unsigned long id = 0;     // its process identifier
  unsigned long error = 0;  // Windows' error code when it could not be started
  owned_handle group;       // empty unless asked for, or when Windows refuses to make one
};

// Starts a program from a command line. A bare name is not looked for in the
// current directory, which may be anybody's.
started_process start_process(const std::string &command, const start_settings &settings);

// Whether there is a program that start_process would find for this command line.
bool program_exists(const std::string &command);

// The exit code of a process: process_still_active while it runs.
unsigned long exit_code(void *process);
void terminate_process(void *process, unsigned long code);

// Ends a process and all that it started, as far as they still run.
void terminate_group(void *group, unsigned long code);

// Kernel and user time of a process in units of 100 ns; nothing when Windows does not tell.
std::optional<std::uint64_t> processor_time(void *process);

// The same of all processes of a group, those that have ended included.
std::optional<std::uint64_t> group_processor_time(void *group);

// Writes a number into the first 4 bytes of a shared memory block, given as the
// number of an inherited file-mapping handle. A block that cannot be mapped is
// left alone.
void write_shared_number(std::uint64_t mapping_handle, std::uint32_t number);

// ---- Threads, events and waiting ----------------------------------------------------------

using thread_routine = void (*)(void *argument);

struct started_thread {
  owned_handle thread;   // empty when it could not be started
  unsigned long id = 0;  // its thread identifier
};
started_thread start_thread(thread_routine routine, void *argument);

// Breaks off a read or write in which a thread hangs, so that it can end by itself.
void interrupt_thread(void *thread);

// Ends a thread where it stands, and waits until it has. For a thread that did not
// end when it was asked to.
void terminate_thread(void *thread);

// Waits until a process or thread has ended or an event is set; true when it
// is, false when the time ran out.
bool wait_for(void *handle, unsigned long milliseconds);

void sleep_ms(unsigned long milliseconds);

// An event that resets itself when a wait sees it. Empty with the error code on failure.
struct created_event {
  owned_handle event;
  unsigned long error = 0;
};
created_event create_event(const char *name);
void set_event(void *event);

// ---- Message boxes ------------------------------------------------------------------------

// Whether somebody can see what the launcher shows: not in a service, a scheduled
// task without a session, or a task on a node of the cluster.
bool boxes_are_visible();

// Shows a message box without an owner window and waits for its button. Gives
// back Windows' number of the button, 0 when the box could not be shown.
int show_message_box(const std::string &caption, const std::string &text, unsigned style);

// Asks the message boxes of a thread to close.
void close_message_boxes(unsigned long thread_id);

// ---- Network paths ------------------------------------------------------------------------

// Loads a library from the system's folder; null when there is none. Released with
// free_library.
void *load_system_library(const char *name);
void free_library(void *library);

// The universal (network) form of a path, asked of a loaded mpr.dll; nothing
// when Windows knows none.
std::optional<std::string> universal_name(void *mpr_library, const std::string &path);

// ---- The front's: what zprun asks besides ------------------------------------------------

enum class control_event {
  interrupt,  // Ctrl-C or Ctrl-Break
  closing     // the console's window, the session or the computer: seconds are left
};

// Has the function called at each such event, on a thread of the system's; the
// program goes on afterwards, but for `closing`. Null: the system's own handling.
using control_handler = void (*)(control_event event);
void set_control_handler(control_handler handler);

// The status that exit_program was called with; for functions of at_exit.
int status_at_exit();

// Whether the stream is shown on a console.
bool stream_is_console(standard_stream stream);

// A text that the installer wrote for all users of the machine; nothing when there is none.
std::optional<std::string> machine_setting(const char *name);

// A word of the command line with characters that the code page lacks (they are
// others by now); nothing when there is none.
std::optional<std::string> word_beyond_code_page();

// From now on Windows ends with us, however we end, whatever we have started or start;
// or no longer. Windows that refuses leaves all as it was.
void take_children_with_us();
void let_children_outlive_us();

// Whether the network knows a host of that name. May take seconds when it does not.
bool host_is_known(const std::string &name);

}  // namespace platform
