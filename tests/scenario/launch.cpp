// launch.cpp: starts the launcher in the world of a test and follows it: reads
// what it writes, answers its message boxes and keeps to the time limit.

#include <gtest/gtest.h>
#include <windows.h>

#include <array>
#include <chrono>
#include <functional>

#include "scripted_tool/tool_log.h"
#include "world_state.h"

namespace scenario {

namespace {

using clock = std::chrono::steady_clock;

constexpr DWORD pipe_size = 65536;
constexpr DWORD pause_between_looks = 5;  // in milliseconds
constexpr auto time_between_box_searches = std::chrono::milliseconds(25);

struct pipe_ends {
  owned_handle read_end;
  owned_handle write_end;
};

pipe_ends new_pipe() {
  HANDLE read_end = nullptr;
  HANDLE write_end = nullptr;
  EXPECT_TRUE(CreatePipe(&read_end, &write_end, nullptr, pipe_size));
  SetHandleInformation(write_end, HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT);
  return {owned_handle(read_end), owned_handle(write_end)};
}

owned_handle inheritable_file(const std::string &path, DWORD access) {
  SECURITY_ATTRIBUTES inheritable = {sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
  owned_handle file(CreateFileA(path.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                &inheritable, OPEN_EXISTING, 0, nullptr));
  EXPECT_NE(INVALID_HANDLE_VALUE, file.get()) << path;
  return file;
}

std::string environment_block() {
  std::string block;
  for (const auto &[name, value] : world().variables) {
    block.append(name).append("=").append(value).push_back('\0');
  }
  block.push_back('\0');
  return block;
}

// What the started program gets of our handles: these and no others.
class handle_list {
 public:
  explicit handle_list(std::vector<HANDLE> handles) : handles_(std::move(handles)) {
    SIZE_T size = 0;
    InitializeProcThreadAttributeList(nullptr, 1, 0, &size);
    memory_.resize(size);
    InitializeProcThreadAttributeList(get(), 1, 0, &size);
    UpdateProcThreadAttribute(get(), 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST, handles_.data(),
                              handles_.size() * sizeof(HANDLE), nullptr, nullptr);
  }
  ~handle_list() { DeleteProcThreadAttributeList(get()); }
  handle_list(const handle_list &) = delete;
  handle_list &operator=(const handle_list &) = delete;

  LPPROC_THREAD_ATTRIBUTE_LIST get() {
    return reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(memory_.data());
  }

 private:
  std::vector<HANDLE> handles_;  // Windows keeps a pointer to them
  std::vector<unsigned char> memory_;
};

// Creates the process, puts it into the test's job, and only then lets it run.
owned_handle create_process(const std::string &path, std::string command_line,
                            const std::array<HANDLE, 3> &standard, bool in_console = false) {
  auto inherited = world().inherited_handles;
  for (const HANDLE handle : standard) {
    if (handle != nullptr) {
      inherited.push_back(handle);
    }
  }
  handle_list list(inherited);
  STARTUPINFOEXA startup = {};
  startup.StartupInfo.cb = sizeof startup;
  startup.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
  startup.StartupInfo.hStdInput = standard[0];
  startup.StartupInfo.hStdOutput = standard[1];
  startup.StartupInfo.hStdError = standard[2];
  startup.lpAttributeList = inherited.empty() ? nullptr : list.get();

  startup.StartupInfo.lpDesktop = world().desktop.empty() ? nullptr : world().desktop.data();

  DWORD flags = CREATE_SUSPENDED | (inherited.empty() ? 0 : EXTENDED_STARTUPINFO_PRESENT);
  if (in_console) {
    startup.StartupInfo.dwFlags = STARTF_USESHOWWINDOW;  // a new console's handles are its own
    startup.StartupInfo.wShowWindow = SW_HIDE;
    flags |= CREATE_NEW_CONSOLE;
  }
  auto environment = environment_block();
  PROCESS_INFORMATION started = {};
  if (!CreateProcessA(in_world(path).c_str(), command_line.data(), nullptr, nullptr,
                      !inherited.empty(), flags, environment.data(), world().current_folder.c_str(),
                      &startup.StartupInfo, &started)) {
    ADD_FAILURE() << path << " could not be started: error " << GetLastError();
    return nullptr;
  }
  EXPECT_TRUE(AssignProcessToJobObject(world().job.get(), started.hProcess));
  if (world().prepare_start) {
    world().prepare_start(started.dwProcessId);
  }
  ResumeThread(started.hThread);
  CloseHandle(started.hThread);
  return owned_handle(started.hProcess);
}

// Reads what is in the pipe now, without waiting for more. True when there was something.
bool read_what_is_there(const owned_handle &pipe, std::string &text) {
  DWORD size = 0;
  if (!pipe || !PeekNamedPipe(pipe.get(), nullptr, 0, nullptr, &size, nullptr) || size == 0) {
    return false;
  }
  std::string piece(size, '\0');
  if (!ReadFile(pipe.get(), piece.data(), size, &size, nullptr)) {
    return false;
  }
  text.append(piece, 0, size);
  return true;
}

bool read_output(launch &run) {
  const bool output = read_what_is_there(run.output_end, run.output);
  const bool errors = read_what_is_there(run.errors_end, run.errors);
  return output || errors;
}

// The processes of the test's job that run now.
std::vector<unsigned long> processes_of_world() {
  constexpr DWORD most = 512;
  std::vector<ULONG_PTR> memory(2 + most);
  auto *const list = reinterpret_cast<JOBOBJECT_BASIC_PROCESS_ID_LIST *>(memory.data());
  QueryInformationJobObject(world().job.get(), JobObjectBasicProcessIdList, list,
                            static_cast<DWORD>(memory.size() * sizeof(ULONG_PTR)), nullptr);
  std::vector<unsigned long> processes;
  for (DWORD index = 0; index < list->NumberOfProcessIdsInList; ++index) {
    processes.push_back(static_cast<unsigned long>(list->ProcessIdList[index]));
  }
  return processes;
}

// Their files, a line each, for a test that must be ended.
std::string names_of(const std::vector<unsigned long> &processes) {
  std::string names;
  for (const auto number : processes) {
    const owned_handle process(
        OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, static_cast<DWORD>(number)));
    std::string path(MAX_PATH, '\0');
    auto size = static_cast<DWORD>(path.size());
    path.resize(process && QueryFullProcessImageNameA(process.get(), 0, path.data(), &size) ? size
                                                                                            : 0);
    names += path + " (" + std::to_string(number) + ")\n";
  }
  return names;
}

void meet_box(launch &run, const message_box &box) {
  run.boxes.push_back(box);
  const auto number = world().boxes_met++;
  if (number >= world().answers.size()) {
    ADD_FAILURE() << "a message box that the test does not answer: " << box.caption << ": "
                  << box.text;
    if (!box.buttons.empty()) {
      box_driver::press(box, box.buttons.back().number);
    }
  } else if (const auto button = world().answers[number]) {
    EXPECT_TRUE(box_driver::press(box, *button)) << "no button " << *button << " in: " << box.text;
  }
}

void answer_boxes(launch &run) {
  for (const auto &box : box_driver::find_boxes(processes_of_world())) {
    const bool known = std::any_of(run.boxes.begin(), run.boxes.end(),
                                   [&](const auto &met) { return met.window == box.window; });
    if (!known) {
      meet_box(run, box);
    }
  }
}

// Looks after the launcher until the condition holds. At the time limit the test
// fails and everything it started is ended.
void follow_until(launch &run, const std::function<bool()> &reached) {
  const auto limit = clock::now() + std::chrono::milliseconds(world().time_limit);
  auto next_search = clock::now();
  while (run.process && !reached()) {
    if (clock::now() >= next_search) {
      answer_boxes(run);
      next_search = clock::now() + time_between_box_searches;
    }
    if (!read_output(run)) {
      const bool running = is_running(run);
      (void)WaitForSingleObject(run.process.get(), running ? pause_between_looks : 0);
      Sleep(running ? 0 : pause_between_looks);
    }
    if (clock::now() >= limit) {
      ADD_FAILURE() << "time limit reached; output so far:\n"
                    << run.output << run.errors << "\nstill running:\n"
                    << names_of(processes_of_world());
      TerminateJobObject(world().job.get(), 1);
      return;
    }
  }
}

void read_the_rest(launch &run) {
  while (read_output(run)) {
  }
  DWORD status = 0;
  GetExitCodeProcess(run.process.get(), &status);
  run.status = status;
}

launch run_program(const std::string &path, const std::string &command_line) {
  auto run = start_program(path, command_line);
  wait_for_everything(run);
  return run;
}

std::string command_line_of(const std::string &path, const std::string &arguments) {
  return "\"" + in_world(path) + "\"" + (arguments.empty() ? "" : " " + arguments);
}

}  // namespace

void handle_closer::operator()(void *handle) const {
  if (handle != INVALID_HANDLE_VALUE) {
    CloseHandle(handle);
  }
}

launch start_program(const std::string &path, const std::string &command_line) {
  launch run;
  if (world().no_standard_handles) {
    run.process = create_process(path, command_line, {nullptr, nullptr, nullptr});
    return run;
  }
  const auto input = inheritable_file("NUL", GENERIC_READ);
  if (!world().output_file.empty()) {
    const auto output = inheritable_file(world().output_file, GENERIC_WRITE);
    const auto errors = inheritable_file(world().output_file, GENERIC_WRITE);
    run.process = create_process(path, command_line, {input.get(), output.get(), errors.get()});
    return run;
  }
  auto output = new_pipe();
  auto errors = world().joined_output ? pipe_ends{} : new_pipe();
  const HANDLE errors_write =
      world().joined_output ? output.write_end.get() : errors.write_end.get();
  run.process =
      create_process(path, command_line, {input.get(), output.write_end.get(), errors_write});
  run.output_end = std::move(output.read_end);
  run.errors_end = std::move(errors.read_end);
  return run;
}

launch start_in_console(const std::string &path, const std::string &command_line) {
  launch run;
  run.process = create_process(path, command_line, {nullptr, nullptr, nullptr}, true);
  return run;
}

namespace {

launch run_console_reader(const std::string &what, const launch &run) {
  const auto path = built_tool("console_reader\\console_reader.exe");
  auto reader = start_program(
      path, "console_reader.exe " + what + " " + std::to_string(GetProcessId(run.process.get())));
  wait_for_end(reader);
  EXPECT_EQ(0U, reader.status) << "no console to " << what;
  return reader;
}

}  // namespace

std::string console_text(const launch &run) {
  return run_console_reader("read", run).output;
}

void press_ctrl_c(const launch &run) {
  (void)run_console_reader("press", run);
}

launch start_launcher(const std::string &arguments) {
  return start_program("mpirun.exe", command_line_of("mpirun.exe", arguments));
}

bool is_running(const launch &run) {
  return run.process && WaitForSingleObject(run.process.get(), 0) == WAIT_TIMEOUT;
}

void wait_for_end(launch &run) {
  follow_until(run, [&] { return !is_running(run); });
  read_the_rest(run);
}

void wait_for_everything(launch &run) {
  wait_for_end(run);
  const auto status = run.status;
  follow_until(run, [] { return processes_of_world().empty(); });
  read_the_rest(run);
  run.status = status;
}

void wait_for_file(launch &run, const std::string &path) {
  follow_until(
      run, [&] { return GetFileAttributesA(in_world(path).c_str()) != INVALID_FILE_ATTRIBUTES; });
}

void wait_for_boxes(launch &run, std::size_t count) {
  follow_until(run, [&] { return run.boxes.size() >= count; });
}

void wait_for_starts(launch &run, const std::string &tool, std::size_t count) {
  follow_until(run, [&] { return starts_of(tool).size() >= count; });
}

void wait_a_moment(launch &run) {
  const auto end = clock::now() + std::chrono::milliseconds(100);
  follow_until(run, [&] { return clock::now() >= end; });
}

void wait_a_while(launch &run) {
  const auto end = clock::now() + std::chrono::seconds(2);
  follow_until(run, [&] { return clock::now() >= end; });
}

namespace {

launch run_copy_of(const std::string &program, const std::string &name,
                   const std::string &arguments) {
  if (!CopyFileA(program.c_str(), in_world(name).c_str(), FALSE)) {
    ADD_FAILURE() << "no " << program;
  }
  return run_program(name, command_line_of(name, arguments));
}

}  // namespace

launch run_launcher(const std::string &arguments) {
  return run_program("mpirun.exe", command_line_of("mpirun.exe", arguments));
}

launch run_console_launcher(const std::string &arguments) {
  return run_copy_of(built_console_launcher(), "mpirun_console.exe", arguments);
}

launch run_front(const std::string &arguments) {
  return run_copy_of(built_front(), "zprun.exe", arguments);
}

}  // namespace scenario
