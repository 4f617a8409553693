// windows_side.h: what the bridge does on the machine: Windows calls, as far as
// Wine has them, and the step over to Unix programs, which only Wine offers.
#pragma once

#include <optional>
#include <string>

namespace mpi_bridge {

// The full name of this program.
std::string own_file_name();

// The command line of this program as it was given.
std::string own_command_line();

std::optional<std::string> environment_variable(const std::string &name);
std::string computer_name();
std::string current_directory();

// The Unix name of a Windows path, for a file that need not exist.
std::string unix_name(const std::string &path);

std::optional<std::string> read_file(const std::string &name);
bool write_file(const std::string &name, const std::string &text);
void append_to_file(const std::string &name, const std::string &text);

void write_output(const std::string &text);
void write_error(const std::string &text);

// The next line of the standard input, without its end; nothing when it is at
// its end or there is none.
std::optional<std::string> read_input_line();

// A service is known by a name: it runs while a program is in run_service with it.
bool service_runs(const std::string &name);
// The same for one that may have been started just now: it gets a second to come up.
bool service_comes_up(const std::string &name);
[[noreturn]] void run_service(const std::string &name);
// Starts a command that becomes the service, holding none of this program's
// streams; false when it did not come up within five seconds.
bool start_service(const std::string &name, const std::string &command);

// Starts a command and waits for it. Its exit code; 255 when it cannot be started.
int run_command(const std::string &command);

// What a command prints on its standard output; nothing when it cannot be started
// or ends with another code than 0.
std::optional<std::string> answer_of_command(const std::string &command);

// A folder of this run alone under the user's temporary folder; removed again
// with its files by the second.
std::string make_run_folder();
void remove_run_folder(const std::string &folder);

// Runs the shell script `folder`\run.sh, passes on what it writes to `folder`\out
// and `folder`\err as it comes, and gives back the code in `folder`\status. Keeps
// the file `folder`\alive as long as this program runs.
int run_unix_script(const std::string &folder);

}  // namespace mpi_bridge
