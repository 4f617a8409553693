// scripted_tool.cpp: stands for any program that the launcher starts.
//
// It is copied under the name of the program it plays. Beside job.exe it finds
// its script in job.script, or where SCRIPTED_TOOL_SCRIPT says; it adds a record
// of each start and each end to job.log, or to what SCRIPTED_TOOL_LOG names.
// Without a script it says nothing and ends with 0.
//
// A script is read line by line. Empty lines and lines that begin with # do not
// count. It is a row of answers; only the first one that fits is played:
//
//   when TEXT          begins an answer; it fits when TEXT stands in the command
//                      line ("when" alone: always)
//   and TEXT           ... and this text as well
//   times N            ... and it was played fewer than N times before
//   out TEXT           writes TEXT to standard output; no line end is added
//   err TEXT           writes TEXT to standard error
//   repeat N TEXT      writes TEXT N times to standard output
//   pause N            waits N milliseconds
//   wait_file NAME     waits until a file exists
//   make_file NAME     makes an empty file
//   close              closes standard output and standard error and lives on
//   ignore_ctrl_c      is not ended by Ctrl-C from now on, nor is what it starts
//   outlive_ctrl_c     is not ended by Ctrl-C from now on
//   run COMMAND        starts a program with the same handles and waits for it;
//                      its exit code becomes the tool's
//   start COMMAND      starts a program with the same handles and goes on
//   run_as_window STREAMS COMMAND
//                      runs a program as a console's shell starts one that has a
//                      window: it gets no handles but those of the streams, "none",
//                      "output" or "both", which go to the file streams.txt
//   handle N           writes down, already at the start, whether handle number N
//                      is there and what it is
//   exit N             ends the tool with any 32-bit code (default: see "run", else 0)
//
// In when, and, out, err and repeat \n \r \t \\ and \x00 to \xFF stand for one
// byte. File names without a drive are taken from the tool's own folder.
//
// The tool is for the GUI subsystem: it starts quicker and needs no console. The same
// for a console is scripted_console_tool.

#include <windows.h>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "scripted_tool/script.h"
#include "scripted_tool/tool_log.h"

// The arguments are written down as they came: this keeps mingw's start-up code
// from expanding file patterns in them.
extern "C" {
extern int _CRT_glob;
int _CRT_glob = 0;
}

namespace {

using scripted_tool::script_block;
using scripted_tool::script_step;

constexpr DWORD bad_script = 97;        // the script could not be read
constexpr DWORD nothing_came = 98;      // a file that was waited for never appeared
constexpr DWORD not_started = 99;       // a program of "run" or "start" could not be started
constexpr DWORD longest_wait = 120000;  // for a file, in milliseconds

std::string own_path() {
  std::string path(32768, '\0');
  path.resize(GetModuleFileNameA(nullptr, path.data(), static_cast<DWORD>(path.size())));
  return path;
}

std::string own_folder() {
  const auto path = own_path();
  return path.substr(0, path.find_last_of('\\') + 1);
}

// A file beside the program, with its name and another ending: job.exe -> job.log.
// A variable, when it is set, names the file instead.
std::string file_beside(const char *variable, const char *ending) {
  if (const char *const named = std::getenv(variable)) {
    return named;
  }
  const auto path = own_path();
  return path.substr(0, path.find_last_of('.')) + ending;
}

std::string resolved(const std::string &name) {
  return name.find(':') == std::string::npos ? own_folder() + name : name;
}

std::string current_directory() {
  std::string folder(32768, '\0');
  folder.resize(GetCurrentDirectoryA(static_cast<DWORD>(folder.size()), folder.data()));
  return folder;
}

// The whole environment block: name=value texts, each with its zero byte.
std::string environment_block() {
  char *const block = GetEnvironmentStringsA();
  char *end = block;
  while (*end != '\0') {
    end += std::string_view(end).size() + 1;
  }
  std::string copy(block, end);
  FreeEnvironmentStringsA(block);
  return copy;
}

// What a handle is: "none", "invalid", "file", "character", "pipe" or "other".
std::string handle_kind(HANDLE handle) {
  if (handle == nullptr) {
    return "none";
  }
  DWORD flags = 0;
  if (handle == INVALID_HANDLE_VALUE || !GetHandleInformation(handle, &flags)) {
    return "invalid";
  }
  switch (GetFileType(handle)) {
    case FILE_TYPE_DISK:
      return "file";
    case FILE_TYPE_CHAR:
      return "character";
    case FILE_TYPE_PIPE:
      return "pipe";
    default:
      return "other";
  }
}

// What is known of a process: the one that started it, its program and its command line.
struct ancestor {
  unsigned long parent = 0;
  std::string program;
  std::string command_line;
};

using query_function = LONG(WINAPI *)(HANDLE, int, void *, ULONG, ULONG *);

std::string narrow(const std::wstring &text) {
  std::string bytes(text.size() * 2, '\0');
  bytes.resize(static_cast<std::size_t>(
      WideCharToMultiByte(CP_ACP, 0, text.data(), static_cast<int>(text.size()), bytes.data(),
                          static_cast<int>(bytes.size()), nullptr, nullptr)));
  return bytes;
}

// A piece of another process's memory; zeros when it cannot be read.
template <typename type>
type value_at(HANDLE process, ULONG_PTR address) {
  type value{};
  (void)ReadProcessMemory(process, reinterpret_cast<const void *>(address), &value, sizeof value,
                          nullptr);
  return value;
}

// From the process's own parameters, where every 64-bit Windows keeps it.
std::string command_line_of(HANDLE process, ULONG_PTR process_block) {
  constexpr ULONG_PTR parameters_offset = 0x20;
  constexpr ULONG_PTR command_line_offset = 0x70;
  const auto parameters = value_at<ULONG_PTR>(process, process_block + parameters_offset);
  const auto size = value_at<USHORT>(process, parameters + command_line_offset);
  const auto text = value_at<ULONG_PTR>(process, parameters + command_line_offset + 8);
  std::wstring line(size / sizeof(wchar_t), L'\0');
  (void)ReadProcessMemory(process, reinterpret_cast<const void *>(text), line.data(), size,
                          nullptr);
  return narrow(line);
}

ancestor look_at(unsigned long number) {
  static const auto query = reinterpret_cast<query_function>(reinterpret_cast<void *>(
      GetProcAddress(GetModuleHandleA("ntdll.dll"), "NtQueryInformationProcess")));
  ancestor found;
  const HANDLE process = OpenProcess(PROCESS_QUERY_INFORMATION | PROCESS_VM_READ, FALSE, number);
  ULONG_PTR basic[6] = {};
  if (process == nullptr || query(process, 0, basic, sizeof basic, nullptr) < 0) {
    return found;
  }
  found.parent = static_cast<unsigned long>(basic[5]);
  found.command_line = command_line_of(process, basic[1]);
  std::string path(32768, '\0');
  DWORD size = static_cast<DWORD>(path.size());
  if (QueryFullProcessImageNameA(process, 0, path.data(), &size)) {
    path.resize(size);
    found.program = path.substr(path.find_last_of('\\') + 1);
  }
  CloseHandle(process);
  return found;
}

// The command line of the interpreter behind which we run, as whoever started it wrote
// it; the outermost one when they stand one behind the other. They wait for us, so
// they are there to be asked. Empty when there is none.
std::string interpreter_line() {
  std::string line;
  for (ancestor next = look_at(look_at(GetCurrentProcessId()).parent);
       _stricmp(next.program.c_str(), "cmd.exe") == 0; next = look_at(next.parent)) {
    line = next.command_line;
  }
  return line;
}

std::string number_now() {
  LARGE_INTEGER ticks;
  QueryPerformanceCounter(&ticks);
  return std::to_string(ticks.QuadPart);
}

scripted_tool::record start_record(const std::string &fault, std::size_t block_number,
                                   const script_block &block) {
  STARTUPINFOA startup = {};
  GetStartupInfoA(&startup);
  DWORD handles = 0;
  GetProcessHandleCount(GetCurrentProcess(), &handles);

  scripted_tool::record fields = {
      {"record", "start"},
      {"time", number_now()},
      {"process", std::to_string(GetCurrentProcessId())},
      {"program", own_path()},
      {"command_line", GetCommandLineA()},
      {"interpreter_line", interpreter_line()},
      {"directory", current_directory()},
      {"environment", environment_block()},
      {"input", handle_kind(GetStdHandle(STD_INPUT_HANDLE))},
      {"output", handle_kind(GetStdHandle(STD_OUTPUT_HANDLE))},
      {"error", handle_kind(GetStdHandle(STD_ERROR_HANDLE))},
      {"handle_count", std::to_string(handles)},
      {"startup_flags", std::to_string(startup.dwFlags)},
      {"show_window", std::to_string(startup.wShowWindow)},
      {"title", startup.lpTitle == nullptr ? "" : startup.lpTitle},
      {"block", std::to_string(block_number)},
      {"fault", fault},
  };
  for (int index = 0; index < __argc; ++index) {
    fields.push_back({"argument", __argv[index]});
  }
  for (const auto &step : block.steps) {
    if (step.verb == "handle") {
      const auto number = std::strtoull(step.text.c_str(), nullptr, 0);
      fields.push_back(
          {"handle_number_" + step.text, handle_kind(reinterpret_cast<HANDLE>(number))});
    }
  }
  return fields;
}

// How often each answer was played before, from the tool's own earlier records.
std::vector<unsigned long> played_before(const std::string &log, std::size_t blocks) {
  std::vector<unsigned long> counts(blocks, 0);
  for (const auto &fields : scripted_tool::parse_log(log)) {
    const auto number = scripted_tool::find_field(fields, "block");
    const auto block = number ? std::strtoul(number->c_str(), nullptr, 10) : blocks;
    if (block < blocks) {
      ++counts[block];
    }
  }
  return counts;
}

// Picks the answer and writes the start down, both under the log's lock: of two
// tools that start together one is the first.
script_block begin(const std::string &log_path) {
  const auto text = scripted_tool::read_file(file_beside("SCRIPTED_TOOL_SCRIPT", ".script"));
  const auto script = scripted_tool::parse_script(text.value_or(""));

  const scripted_tool::log_lock lock(log_path);
  const auto earlier = scripted_tool::read_file(log_path).value_or("");
  const auto number = scripted_tool::choose_block(script.blocks, GetCommandLineA(),
                                                  played_before(earlier, script.blocks.size()));
  auto block = number < script.blocks.size() ? script.blocks[number] : script_block{};
  if (!script.fault.empty()) {
    block.steps = {{"exit", std::to_string(bad_script)}};
  }
  scripted_tool::append_file(log_path, record_text(start_record(script.fault, number, block)));
  return block;
}

void write_bytes(DWORD stream, std::string_view bytes) {
  DWORD written = 0;
  while (!bytes.empty() && WriteFile(GetStdHandle(stream), bytes.data(),
                                     static_cast<DWORD>(bytes.size()), &written, nullptr)) {
    bytes.remove_prefix(written);
  }
}

// Writes the text after the number that often, many at a time.
void write_repeated(const std::string &number_and_text) {
  constexpr std::size_t piece_size = 65536;
  const auto blank = number_and_text.find(' ');
  const auto bytes = scripted_tool::unescape(std::string_view(number_and_text).substr(blank + 1));
  auto left = std::strtoul(number_and_text.c_str(), nullptr, 10);
  std::string piece;
  while (left > 0) {
    piece += bytes;
    --left;
    if (left == 0 || piece.size() >= piece_size) {
      write_bytes(STD_OUTPUT_HANDLE, piece);
      piece.clear();
    }
  }
}

void wait_for_file(const std::string &name) {
  const auto path = resolved(name);
  for (DWORD waited = 0; GetFileAttributesA(path.c_str()) == INVALID_FILE_ATTRIBUTES;
       waited += 10) {
    if (waited >= longest_wait) {
      ExitProcess(nothing_came);
    }
    Sleep(10);
  }
}

void close_output() {
  for (const DWORD stream : {STD_OUTPUT_HANDLE, STD_ERROR_HANDLE}) {
    CloseHandle(GetStdHandle(stream));
    SetStdHandle(stream, nullptr);
  }
}

// Starts a program with these handles; gives back its process.
HANDLE start_with(std::string command, HANDLE input, HANDLE output, HANDLE error) {
  STARTUPINFOA startup = {};
  startup.cb = sizeof startup;
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdInput = input;
  startup.hStdOutput = output;
  startup.hStdError = error;
  PROCESS_INFORMATION started = {};
  if (!CreateProcessA(nullptr, command.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr,
                      &startup, &started)) {
    ExitProcess(not_started);
  }
  CloseHandle(started.hThread);
  return started.hProcess;
}

HANDLE start_program(const std::string &command) {
  return start_with(command, GetStdHandle(STD_INPUT_HANDLE), GetStdHandle(STD_OUTPUT_HANDLE),
                    GetStdHandle(STD_ERROR_HANDLE));
}

// The file streams.txt beside the tool, to be handed on.
HANDLE open_streams_file() {
  SECURITY_ATTRIBUTES inheritable = {sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
  return CreateFileA((own_folder() + "streams.txt").c_str(), FILE_APPEND_DATA,
                     FILE_SHARE_READ | FILE_SHARE_WRITE, &inheritable, OPEN_ALWAYS, 0, nullptr);
}

HANDLE start_as_window(const std::string &streams_and_command) {
  const auto blank = streams_and_command.find(' ');
  const auto streams = streams_and_command.substr(0, blank);
  HANDLE const output = streams == "none" ? nullptr : open_streams_file();
  return start_with(streams_and_command.substr(blank + 1), nullptr, output,
                    streams == "both" ? output : nullptr);
}

DWORD wait_for_program(HANDLE process) {
  WaitForSingleObject(process, INFINITE);
  DWORD code = 0;
  GetExitCodeProcess(process, &code);
  CloseHandle(process);
  return code;
}

// Plays one step; the tool's exit code so far goes in and comes out.
DWORD play(const script_step &step, DWORD code) {
  if (step.verb == "out") {
    write_bytes(STD_OUTPUT_HANDLE, scripted_tool::unescape(step.text));
  } else if (step.verb == "err") {
    write_bytes(STD_ERROR_HANDLE, scripted_tool::unescape(step.text));
  } else if (step.verb == "repeat") {
    write_repeated(step.text);
  } else if (step.verb == "pause") {
    Sleep(std::strtoul(step.text.c_str(), nullptr, 10));
  } else if (step.verb == "wait_file") {
    wait_for_file(step.text);
  } else if (step.verb == "make_file") {
    scripted_tool::write_file(resolved(step.text), "");
  } else if (step.verb == "close") {
    close_output();
  } else if (step.verb == "ignore_ctrl_c") {
    (void)SetConsoleCtrlHandler(nullptr, TRUE);
  } else if (step.verb == "outlive_ctrl_c") {
    (void)SetConsoleCtrlHandler([](DWORD) -> BOOL { return TRUE; }, TRUE);
  } else if (step.verb == "run") {
    return wait_for_program(start_program(step.text));
  } else if (step.verb == "run_as_window") {
    return wait_for_program(start_as_window(step.text));
  } else if (step.verb == "start") {
    CloseHandle(start_program(step.text));
  }
  return code;
}

void end(const std::string &log_path, DWORD code) {
  const scripted_tool::log_lock lock(log_path);
  scripted_tool::append_file(
      log_path, scripted_tool::record_text({{"record", "end"},
                                            {"process", std::to_string(GetCurrentProcessId())},
                                            {"time", number_now()},
                                            {"code", std::to_string(code)}}));
}

}  // namespace

int WINAPI WinMain(HINSTANCE, HINSTANCE, LPSTR, int) {
  const auto log_path = file_beside("SCRIPTED_TOOL_LOG", ".log");
  const auto block = begin(log_path);
  DWORD code = 0;
  for (const auto &step : block.steps) {
    if (step.verb == "exit") {
      code = static_cast<DWORD>(std::strtoll(step.text.c_str(), nullptr, 0));
      break;
    }
    code = play(step, code);
  }
  end(log_path, code);
  return static_cast<int>(code);
}
