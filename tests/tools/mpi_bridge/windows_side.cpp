// windows_side.cpp: the Windows and Wine calls of the bridge.
#include "windows_side.h"

#include <windows.h>

#include <array>
#include <charconv>
#include <fstream>
#include <iterator>
#include <memory>
#include <sstream>

namespace mpi_bridge {

namespace {

constexpr int exit_no_start = 255;
constexpr DWORD poll_milliseconds = 10;

struct handle_closer {
  void operator()(void *handle) const { CloseHandle(handle); }
};
using owned_handle = std::unique_ptr<void, handle_closer>;

owned_handle own(HANDLE handle) {
  return owned_handle(handle == INVALID_HANDLE_VALUE ? nullptr : handle);
}

constexpr DWORD share_all = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

void write_stream(DWORD stream, const std::string &text) {
  DWORD written = 0;
  // A reader that went away is no fault of ours: the run goes on without it.
  (void)WriteFile(GetStdHandle(stream), text.data(), static_cast<DWORD>(text.size()), &written,
                  nullptr);
}

// Passes on what a growing file got since the last time.
class follower {
 public:
  follower(std::string name, DWORD stream) : name_(std::move(name)), stream_(stream) {}

  void pass_on() {
    if (!file_) {
      file_ = own(CreateFileA(name_.c_str(), GENERIC_READ, share_all, nullptr, OPEN_EXISTING,
                              FILE_ATTRIBUTE_NORMAL, nullptr));
    }
    std::array<char, 4096> piece = {};
    DWORD size = 0;
    while (file_ &&
           ReadFile(file_.get(), piece.data(), static_cast<DWORD>(piece.size()), &size, nullptr) !=
               0 &&
           size > 0) {
      write_stream(stream_, std::string(piece.data(), size));
    }
  }

 private:
  std::string name_;
  DWORD stream_;
  owned_handle file_;
};

// The streams that a started program gets.
struct streams {
  HANDLE input = nullptr;
  HANDLE output = nullptr;
  HANDLE error = nullptr;
};

streams own_streams() {
  return {GetStdHandle(STD_INPUT_HANDLE), GetStdHandle(STD_OUTPUT_HANDLE),
          GetStdHandle(STD_ERROR_HANDLE)};
}

// Starts a command without waiting for it.
owned_handle start(const std::string &command, const streams &given, bool detached) {
  std::string line = command;
  STARTUPINFOA startup = {};
  startup.cb = sizeof(startup);
  // Always named, be it as none: Wine would hand the own ones on to a service,
  // and none to a program that wants a console.
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdInput = given.input;
  startup.hStdOutput = given.output;
  startup.hStdError = given.error;
  PROCESS_INFORMATION child = {};
  if (CreateProcessA(nullptr, line.data(), nullptr, nullptr, detached ? FALSE : TRUE,
                     detached ? DETACHED_PROCESS : 0, nullptr, nullptr, &startup, &child) == 0) {
    return nullptr;
  }
  CloseHandle(child.hThread);
  return own(child.hProcess);
}

int wait_for(const owned_handle &process) {
  DWORD code = exit_no_start;
  if (process) {
    WaitForSingleObject(process.get(), INFINITE);
    GetExitCodeProcess(process.get(), &code);
  }
  return static_cast<int>(code);
}

std::wstring wide(const std::string &text) {
  const int size = static_cast<int>(text.size());
  std::wstring result(
      static_cast<std::size_t>(MultiByteToWideChar(CP_ACP, 0, text.data(), size, nullptr, 0)),
      L'\0');
  MultiByteToWideChar(CP_ACP, 0, text.data(), size, result.data(), static_cast<int>(result.size()));
  return result;
}

// Wine's own answer; empty for a path whose folder does not exist.
std::string existing_unix_name(const std::string &path) {
  using unix_name_function = char *(*)(const wchar_t *);
  const auto function = reinterpret_cast<unix_name_function>(reinterpret_cast<void *>(
      GetProcAddress(GetModuleHandleA("kernel32.dll"), "wine_get_unix_file_name")));
  char *name = function == nullptr ? nullptr : function(wide(path).c_str());
  if (name == nullptr) {
    return "";
  }
  std::string result = name;
  HeapFree(GetProcessHeap(), 0, name);
  return result;
}

// The code that the script left; a text that is none is a fault of the bridge.
int read_exit_code(const std::string &text) {
  int code = exit_no_start;
  (void)std::from_chars(text.data(), text.data() + text.size(), code);
  return code;
}

std::string mutex_name(const std::string &service) {
  return "mpi_bridge_" + service;
}

}  // namespace

std::string own_file_name() {
  std::array<char, 4096> name = {};
  return std::string(name.data(), GetModuleFileNameA(nullptr, name.data(), name.size()));
}

std::string own_command_line() {
  return GetCommandLineA();
}

std::optional<std::string> environment_variable(const std::string &name) {
  std::string value(32768, '\0');
  SetLastError(ERROR_SUCCESS);
  value.resize(
      GetEnvironmentVariableA(name.c_str(), value.data(), static_cast<DWORD>(value.size())));
  if (value.empty() && GetLastError() == ERROR_ENVVAR_NOT_FOUND) {
    return std::nullopt;
  }
  return value;
}

std::string computer_name() {
  return environment_variable("COMPUTERNAME").value_or("localhost");
}

std::string current_directory() {
  std::array<char, 4096> name = {};
  return std::string(name.data(), GetCurrentDirectoryA(name.size(), name.data()));
}

std::string unix_name(const std::string &path) {
  const std::string known = existing_unix_name(path);
  const auto separator = path.find_last_of("\\/");
  if (!known.empty() || separator == std::string::npos || separator < 2) {
    return known.empty() ? path : known;
  }
  return unix_name(path.substr(0, separator)) + "/" + path.substr(separator + 1);
}

std::optional<std::string> read_file(const std::string &name) {
  const std::ifstream file(name, std::ios::binary);
  std::ostringstream text;
  if (!file || !(text << file.rdbuf())) {
    return std::nullopt;
  }
  return text.str();
}

bool write_file(const std::string &name, const std::string &text) {
  std::ofstream file(name, std::ios::binary);
  file << text;
  file.close();
  return !file.fail();
}

void append_to_file(const std::string &name, const std::string &text) {
  std::ofstream(name, std::ios::binary | std::ios::app) << text;
}

void write_output(const std::string &text) {
  write_stream(STD_OUTPUT_HANDLE, text);
}
void write_error(const std::string &text) {
  write_stream(STD_ERROR_HANDLE, text);
}

std::optional<std::string> read_input_line() {
  std::string line;
  char letter = '\0';
  DWORD size = 0;
  while (ReadFile(GetStdHandle(STD_INPUT_HANDLE), &letter, 1, &size, nullptr) != 0 && size == 1) {
    if (letter == '\n') {
      return line;
    }
    if (letter != '\r') {
      line += letter;
    }
  }
  if (line.empty()) {
    return std::nullopt;
  }
  return line;
}

bool service_runs(const std::string &name) {
  return own(OpenMutexA(SYNCHRONIZE, FALSE, mutex_name(name).c_str())) != nullptr;
}

bool service_comes_up(const std::string &name) {
  constexpr int tries = 100;
  for (int i = 0; i < tries && !service_runs(name); ++i) {
    Sleep(poll_milliseconds);
  }
  return service_runs(name);
}

void run_service(const std::string &name) {
  const auto running = own(CreateMutexA(nullptr, FALSE, mutex_name(name).c_str()));
  while (true) {
    Sleep(INFINITE);
  }
}

bool start_service(const std::string &name, const std::string &command) {
  constexpr int tries = 5;  // of a second each
  const auto process = start(command, {}, true);
  for (int i = 0; process && i < tries && !service_comes_up(name); ++i) {
  }
  return service_runs(name);
}

int run_command(const std::string &command) {
  return wait_for(start(command, own_streams(), false));
}

std::optional<std::string> answer_of_command(const std::string &command) {
  const std::string folder = make_run_folder();
  const std::string name = folder + "\\out";
  SECURITY_ATTRIBUTES inheritable = {sizeof(inheritable), nullptr, TRUE};
  auto file = own(CreateFileA(name.c_str(), GENERIC_WRITE, share_all, &inheritable, CREATE_ALWAYS,
                              FILE_ATTRIBUTE_NORMAL, nullptr));
  const int code = wait_for(start(command, {nullptr, file.get(), file.get()}, false));
  file.reset();
  const auto answer = read_file(name);
  remove_run_folder(folder);
  return code == 0 ? answer : std::nullopt;
}

std::string make_run_folder() {
  std::array<char, MAX_PATH> temporary = {};
  GetTempPathA(temporary.size(), temporary.data());
  const std::string folder = std::string(temporary.data()) + "mpi_bridge-" +
                             std::to_string(GetCurrentProcessId()) + "-" +
                             std::to_string(GetTickCount64());
  return CreateDirectoryA(folder.c_str(), nullptr) != 0 ? folder : "";
}

void remove_run_folder(const std::string &folder) {
  for (const char *name : {"run.sh", "rank.sh", "hosts", "out", "err", "ranks", "status"}) {
    (void)DeleteFileA((folder + "\\" + name).c_str());
  }
  (void)RemoveDirectoryA(folder.c_str());
}

int run_unix_script(const std::string &folder) {
  // Removed by the Wine server, whatever way this program ends.
  const auto alive =
      own(CreateFileA((folder + "\\alive").c_str(), GENERIC_WRITE | DELETE, share_all, nullptr,
                      CREATE_ALWAYS, FILE_FLAG_DELETE_ON_CLOSE, nullptr));
  // A Unix program gives no handle to wait for and takes no pipe of ours: files
  // carry its output, and a file tells that it has ended.
  std::string command = "Z:\\bin\\sh " + unix_name(folder + "\\run.sh");
  STARTUPINFOA startup = {};
  startup.cb = sizeof(startup);
  PROCESS_INFORMATION child = {};
  if (!alive || CreateProcessA("Z:\\bin\\sh", command.data(), nullptr, nullptr, FALSE, 0, nullptr,
                               nullptr, &startup, &child) == 0) {
    write_error("mpi_bridge: cannot start a Unix program; it needs Wine\n");
    return exit_no_start;
  }
  follower output(folder + "\\out", STD_OUTPUT_HANDLE);
  follower error(folder + "\\err", STD_ERROR_HANDLE);
  std::optional<std::string> status;
  while (!status) {
    Sleep(poll_milliseconds);
    status = read_file(folder + "\\status");
    output.pass_on();
    error.pass_on();
  }
  return read_exit_code(*status);
}

}  // namespace mpi_bridge
