// run_task.cpp: the node manager: starts one task's command line on the node as the
// scheduler's own service would, waits for it and writes down how it ended.
//
//   run_task.exe FOLDER    the task's folder, as a Unix path; server.cpp lists its files
//
// When it is ended itself, Windows ends the task and everything that the task has started.
#include <windows.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>

#include "head_node/wire.h"

namespace {

using head_node::texts;
using owned_handle = std::unique_ptr<void, decltype(&CloseHandle)>;

owned_handle own(HANDLE handle) {
  return {handle == INVALID_HANDLE_VALUE ? nullptr : handle, CloseHandle};
}

struct task_record {
  std::string folder;  // as Wine names a Unix path
  std::string command;
  std::string working_directory;
  std::string output_path;  // empty: kept in the folder
  std::string error_path;
  texts variables;  // NAME=VALUE; the value is expanded
};

void write_file(const task_record &task, const char *name, const std::string &text) {
  const auto file =
      own(CreateFileA((task.folder + "\\" + name).c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                      CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
  DWORD written = 0;
  WriteFile(file.get(), text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
}

int fail(const task_record &task, const std::string &message) {
  write_file(task, "message", message + "\n");
  return 1;
}

// Replaces %NAME% for the variables that are set; others stay as they are.
std::string expanded(const std::string &text) {
  const DWORD size = ExpandEnvironmentStringsA(text.c_str(), nullptr, 0);
  std::string result(size, '\0');
  ExpandEnvironmentStringsA(text.c_str(), result.data(), size);
  result.resize(result.find('\0'));
  return result;
}

void set_variable(const std::string &name, const std::string &text) {
  SetEnvironmentVariableA(name.c_str(), text.empty() ? nullptr : text.c_str());
}

// A file of the task, taken from the working directory.
std::string task_file(const task_record &task, const std::string &option) {
  const auto path = expanded(option);
  const bool absolute =
      path.starts_with('\\') || path.starts_with('/') || (path.size() > 1 && path[1] == ':');
  return path.empty() || absolute ? path : task.working_directory + "\\" + path;
}

bool read_task(const std::string &unix_folder, task_record &task) {
  task.folder = "\\\\?\\unix" + unix_folder;
  std::replace(task.folder.begin(), task.folder.end(), '/', '\\');
  const auto file = own(CreateFileA((task.folder + "\\start").c_str(), GENERIC_READ,
                                    FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr));
  std::string bytes;
  std::array<char, 16384> part{};
  for (DWORD size = 0;
       ReadFile(file.get(), part.data(), static_cast<DWORD>(part.size()), &size, nullptr) != 0 &&
       size > 0;) {
    bytes.append(part.data(), size);
  }
  texts start;
  if (head_node::take_message(bytes, start) != head_node::reading::complete || start.size() < 4) {
    return false;
  }
  task.command = start[0];
  task.working_directory = start[1];
  task.output_path = start[2];
  task.error_path = start[3];
  task.variables.assign(start.begin() + 4, start.end());
  return true;
}

void set_environment(task_record &task) {
  for (const auto &variable : task.variables) {
    const auto equals = variable.find('=');
    set_variable(variable.substr(0, equals), expanded(variable.substr(equals + 1)));
  }
  if (task.working_directory.empty()) {
    task.working_directory = "%USERPROFILE%";
  }
  task.working_directory = expanded(task.working_directory);
  task.output_path = task_file(task, task.output_path);
  task.error_path = task_file(task, task.error_path);
  set_variable("CCP_WORKDIR", task.working_directory);
  set_variable("CCP_MPI_WORKDIR", task.working_directory);
  set_variable("CCP_STDOUT", task.output_path);
  set_variable("CCP_STDERR", task.error_path);
}

HANDLE open_inheritable(const std::string &path, DWORD access, DWORD disposition) {
  SECURITY_ATTRIBUTES inheritable = {sizeof inheritable, nullptr, TRUE};
  return CreateFileA(path.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                     &inheritable, disposition, FILE_ATTRIBUTE_NORMAL, nullptr);
}

// Redirections are work for the command interpreter.
bool needs_interpreter(const std::string &command) {
  bool quoted = false;
  return std::any_of(command.begin(), command.end(), [&](char letter) {
    quoted = quoted != (letter == '"');
    return !quoted && (letter == '<' || letter == '>' || letter == '|');
  });
}

// Starts a command; nothing when Windows cannot, GetLastError says why.
owned_handle start(std::string command, STARTUPINFOA &startup) {
  PROCESS_INFORMATION process = {};
  if (CreateProcessA(nullptr, command.data(), nullptr, nullptr, TRUE,
                     CREATE_SUSPENDED | CREATE_NO_WINDOW, nullptr, nullptr, &startup,
                     &process) == 0) {
    return own(nullptr);
  }
  // The task ends with us, whatever ends us.
  const HANDLE job = CreateJobObjectA(nullptr, nullptr);
  JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits = {};
  limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
  SetInformationJobObject(job, JobObjectExtendedLimitInformation, &limits, sizeof limits);
  AssignProcessToJobObject(job, process.hProcess);
  ResumeThread(process.hThread);
  CloseHandle(process.hThread);
  return own(process.hProcess);
}

int run(task_record &task) {
  set_environment(task);
  // We go there ourselves and the task inherits it: Wine starts no program in a
  // network folder otherwise.
  if (SetCurrentDirectoryA(task.working_directory.c_str()) == 0) {
    return fail(task, "The working directory does not exist: " + task.working_directory);
  }
  const auto kept = task.folder + "\\output";
  const auto &output_path = task.output_path.empty() ? kept : task.output_path;
  const auto &error_path = task.error_path.empty() ? kept : task.error_path;
  const auto input = own(open_inheritable("NUL", GENERIC_READ, OPEN_EXISTING));
  const auto output = own(open_inheritable(output_path, GENERIC_WRITE, CREATE_ALWAYS));
  // One file for both is opened once, so that neither writes over the other.
  const bool shared = error_path == output_path;
  const auto error =
      own(shared ? nullptr : open_inheritable(error_path, GENERIC_WRITE, CREATE_ALWAYS));
  if (!output || (!shared && !error)) {
    return fail(task, "The file cannot be opened: " + (output ? error_path : output_path));
  }
  STARTUPINFOA startup = {};
  startup.cb = sizeof startup;
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdInput = input.get();
  startup.hStdOutput = output.get();
  startup.hStdError = shared ? output.get() : error.get();

  auto command = expanded(task.command);
  command.erase(0, command.find_first_not_of(' '));
  auto process = needs_interpreter(command) ? own(nullptr) : start(command, startup);
  if (!process) {
    process = start("cmd.exe /c " + command, startup);
  }
  if (!process) {
    return fail(task, "The command cannot be started (error " + std::to_string(GetLastError()) +
                          "): " + command);
  }
  WaitForSingleObject(process.get(), INFINITE);
  DWORD code = 0;
  GetExitCodeProcess(process.get(), &code);
  write_file(task, "exit_code", std::to_string(static_cast<int>(code)) + "\n");
  return 0;
}

}  // namespace

int main(int argument_count, char **arguments) {
  task_record task;
  return argument_count == 2 && read_task(arguments[1], task) ? run(task) : 2;
}
