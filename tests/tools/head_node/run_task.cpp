// run_task.cpp: the node manager: starts one task's command line on the node as the
// scheduler's own service would, waits for it and writes down how it ended.
//
//   run_task.exe FOLDER    the task's folder, as a Unix path; see head_node.sh
//
// It writes the files exit_code and message into the folder. When it is ended itself,
// Windows ends the task and everything that the task has started.
#include <windows.h>

#include <array>
#include <memory>
#include <optional>
#include <string>

#include "head_node/answer_text.h"
#include "head_node/settings.h"
#include "head_node/unix_side.h"

namespace {

using head_node::field;
using head_node::fields;

using owned_handle = std::unique_ptr<void, decltype(&CloseHandle)>;

owned_handle own(HANDLE handle) {
  return {handle == INVALID_HANDLE_VALUE ? nullptr : handle, CloseHandle};
}

// Everything about the task, read from its folder.
struct task_record {
  std::string folder;  // Unix path
  fields options;      // what "add" said
  fields facts;        // what it was given
  std::string working_directory;
};

int fail(const task_record &task, const std::string &message) {
  head_node::write_file(head_node::wine_path(task.folder + "/message"), message + "\n");
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

void set_variables(const fields &variables) {
  for (const auto &[name, value] : variables) {
    SetEnvironmentVariableA(name.c_str(), value.empty() ? nullptr : value.c_str());
  }
}

bool is_absolute(const std::string &path) {
  return path.starts_with('\\') || path.starts_with('/') || (path.size() > 1 && path[1] == ':');
}

// A file of the task: its option, expanded and taken from the working directory.
std::string task_file(const task_record &task, const char *option) {
  const auto path = expanded(field(task.options, option));
  return path.empty() || is_absolute(path) ? path : task.working_directory + "\\" + path;
}

// The user's own folder on the nodes; tasks without a /workdir run there.
std::string home_folder() {
  const auto homes = head_node::variable("HEAD_NODE_DIR") + "/home";
  const auto home = homes + "/" + head_node::variable("USERNAME");
  CreateDirectoryA(head_node::wine_path(homes).c_str(), nullptr);
  CreateDirectoryA(head_node::wine_path(home).c_str(), nullptr);
  return head_node::drive_path(home);
}

void set_environment(task_record &task) {
  const auto store = head_node::wine_path(head_node::variable("HEAD_NODE_DIR"));
  const auto home = home_folder();
  head_node::settings known;
  known.head_node = field(task.facts, "head_node");

  SetEnvironmentVariableA("USERPROFILE", home.c_str());
  for (const auto &[name, value] : head_node::cluster_environment(
           known, head_node::read_file(store + "/cluster_environment").value_or(""))) {
    set_variables({{name, expanded(value)}});
  }
  set_variables(head_node::read_fields(
      head_node::read_file(head_node::wine_path(task.folder + "/environment")).value_or("")));
  set_variables(head_node::task_environment(task.facts));

  task.working_directory = expanded(field(task.options, "workdir"));
  if (task.working_directory.empty()) {
    task.working_directory = home;
  }
  set_variables({{"CCP_WORKDIR", task.working_directory},
                 {"CCP_MPI_WORKDIR", task.working_directory},
                 {"CCP_STDOUT", task_file(task, "stdout")},
                 {"CCP_STDERR", task_file(task, "stderr")}});
}

HANDLE open_inheritable(const std::string &path, DWORD access, DWORD disposition) {
  SECURITY_ATTRIBUTES inheritable = {sizeof inheritable, nullptr, TRUE};
  return CreateFileA(path.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                     &inheritable, disposition, FILE_ATTRIBUTE_NORMAL, nullptr);
}

// Redirections are work for the command interpreter.
bool needs_interpreter(const std::string &command) {
  bool quoted = false;
  for (const char letter : command) {
    quoted = quoted != (letter == '"');
    if (!quoted && (letter == '<' || letter == '>' || letter == '|')) {
      return true;
    }
  }
  return false;
}

struct started_task {
  owned_handle process = own(nullptr);
  DWORD error = 0;
};

started_task start(std::string command, STARTUPINFOA &startup) {
  PROCESS_INFORMATION process = {};
  if (CreateProcessA(nullptr, command.data(), nullptr, nullptr, TRUE,
                     CREATE_SUSPENDED | CREATE_NO_WINDOW, nullptr, nullptr, &startup,
                     &process) == 0) {
    return {own(nullptr), GetLastError()};
  }
  // The task ends with us, whatever ends us.
  const HANDLE job = CreateJobObjectA(nullptr, nullptr);
  JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits = {};
  limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
  SetInformationJobObject(job, JobObjectExtendedLimitInformation, &limits, sizeof limits);
  AssignProcessToJobObject(job, process.hProcess);
  ResumeThread(process.hThread);
  CloseHandle(process.hThread);
  return {own(process.hProcess), 0};
}

// The task's standard handles, opened as its options say.
struct standard_files {
  owned_handle input = own(nullptr);
  owned_handle output = own(nullptr);
  owned_handle error = own(nullptr);
};

// Opens them; gives back the path of the one that could not be opened.
std::optional<std::string> open_files(const task_record &task, standard_files &files) {
  const auto captured = head_node::wine_path(task.folder + "/output");
  const auto input_path = task_file(task, "stdin");
  auto output_path = task_file(task, "stdout");
  auto error_path = task_file(task, "stderr");
  output_path = output_path.empty() ? captured : output_path;
  error_path = error_path.empty() ? captured : error_path;

  if (!input_path.empty()) {
    files.input = own(open_inheritable(input_path, GENERIC_READ, OPEN_EXISTING));
    if (!files.input) {
      return input_path;
    }
  } else {
    files.input = own(open_inheritable("NUL", GENERIC_READ, OPEN_EXISTING));
  }
  files.output = own(open_inheritable(output_path, GENERIC_WRITE, CREATE_ALWAYS));
  if (!files.output) {
    return output_path;
  }
  // One file for both is opened once, so that neither writes over the other.
  if (error_path != output_path) {
    files.error = own(open_inheritable(error_path, GENERIC_WRITE, CREATE_ALWAYS));
    if (!files.error) {
      return error_path;
    }
  }
  return std::nullopt;
}

int run(task_record &task) {
  set_environment(task);
  // We go there ourselves and the task inherits it: Wine starts no program in a
  // network folder otherwise.
  if (SetCurrentDirectoryA(task.working_directory.c_str()) == 0) {
    return fail(task, "The working directory does not exist: " + task.working_directory);
  }
  standard_files files;
  if (const auto failed = open_files(task, files)) {
    return fail(task, "The file cannot be opened: " + *failed);
  }
  STARTUPINFOA startup = {};
  startup.cb = sizeof startup;
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdInput = files.input.get();
  startup.hStdOutput = files.output.get();
  startup.hStdError = files.error ? files.error.get() : files.output.get();

  auto command = expanded(field(task.options, "command"));
  command.erase(0, command.find_first_not_of(' '));
  auto started = started_task();
  if (!needs_interpreter(command)) {
    started = start(command, startup);
  }
  if (!started.process) {
    started = start("cmd.exe /c " + command, startup);
  }
  if (!started.process) {
    return fail(task, "The command cannot be started (error " + std::to_string(started.error) +
                          "): " + command);
  }
  WaitForSingleObject(started.process.get(), INFINITE);
  DWORD code = 0;
  GetExitCodeProcess(started.process.get(), &code);
  head_node::write_file(head_node::wine_path(task.folder + "/exit_code"),
                        std::to_string(static_cast<int>(code)) + "\n");
  return 0;
}

fields read_task_file(const std::string &folder, const char *name) {
  return head_node::read_fields(
      head_node::read_file(head_node::wine_path(folder + "/" + name)).value_or(""));
}

}  // namespace

int main(int argument_count, char **arguments) {
  if (argument_count != 2) {
    return 2;
  }
  const std::string folder = arguments[1];
  task_record task = {folder, read_task_file(folder, "options"), read_task_file(folder, "facts"),
                      ""};
  return run(task);
}
