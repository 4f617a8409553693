// press_ctrl_c.cpp: runs a program in a console of its own and presses Ctrl-C there.
//
//   press_ctrl_c [break | twice | close] FILE COMMAND...
//
// starts the command with its own standard handles, waits until the file exists,
// presses Ctrl-C in the console, makes the file FILE.pressed and waits for the
// command, whose exit code becomes its own. Without a key, a console, a command or
// a file in time it ends with 96 to 99.
//
// `break` presses Ctrl-Break instead; `twice` presses once more when the file
// FILE.again exists; `close` closes the console's window instead. FILE.pressed then comes
// only where the programs in the console, this one among them, are told of its end.
//
// It is for the GUI subsystem, so that it does not sit in the console of the test.

#include <windows.h>

#include <string>
#include <string_view>

namespace {

constexpr int not_pressed = 96;
constexpr int no_console = 97;
constexpr int not_started = 98;
constexpr int no_file = 99;
constexpr DWORD longest_wait = 60000;   // for the file, in milliseconds
constexpr DWORD longest_close = 10000;  // until the console's end is told
constexpr DWORD time_to_end = 4000;     // a second less than Windows gives

HANDLE command_process = nullptr;
std::string pressed_file;

// Cuts the first word off, between quotes or up to the next blank.
std::string_view take_word(std::string_view &text) {
  const bool quoted = text.starts_with('"');
  if (quoted) {
    text.remove_prefix(1);
  }
  const auto end = text.find(quoted ? '"' : ' ');
  const auto word = text.substr(0, end);
  text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  const auto next = text.find_first_not_of(' ');
  text.remove_prefix(next == std::string_view::npos ? text.size() : next);
  return word;
}

bool file_comes(const std::string &path, HANDLE process) {
  for (DWORD waited = 0; waited < longest_wait; waited += 10) {
    if (GetFileAttributesA(path.c_str()) != INVALID_FILE_ATTRIBUTES) {
      return true;
    }
    if (WaitForSingleObject(process, 10) == WAIT_OBJECT_0) {
      return false;
    }
  }
  return false;
}

DWORD code_of(HANDLE process) {
  DWORD code = 0;
  GetExitCodeProcess(process, &code);
  return code;
}

void make_pressed_file() {
  CloseHandle(CreateFileA(pressed_file.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                          FILE_ATTRIBUTE_NORMAL, nullptr));
}

// Ctrl-Break does not heed that Ctrl-C is ignored. Behind the end of the console
// Windows ends this program.
BOOL WINAPI go_on(DWORD event) {
  if (event == CTRL_CLOSE_EVENT) {
    make_pressed_file();
    (void)WaitForSingleObject(command_process, time_to_end);
    ExitProcess(code_of(command_process));
  }
  return TRUE;
}

// The standard handles are handed on as they came: a new console would replace them.
HANDLE start(std::string command) {
  STARTUPINFOA startup = {};
  startup.cb = sizeof startup;
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdInput = GetStdHandle(STD_INPUT_HANDLE);
  startup.hStdOutput = GetStdHandle(STD_OUTPUT_HANDLE);
  startup.hStdError = GetStdHandle(STD_ERROR_HANDLE);
  (void)FreeConsole();  // Wine gives one to every program that a console program starts
  if (!AllocConsole()) {
    ExitProcess(no_console);
  }
  (void)SetConsoleCtrlHandler(nullptr, FALSE);  // the command must not inherit that it is ignored
  PROCESS_INFORMATION started = {};
  if (!CreateProcessA(nullptr, command.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr,
                      &startup, &started)) {
    ExitProcess(not_started);
  }
  command_process = started.hProcess;
  (void)SetConsoleCtrlHandler(nullptr, TRUE);
  (void)SetConsoleCtrlHandler(go_on, TRUE);
  CloseHandle(started.hThread);
  return started.hProcess;
}

bool press(const std::string &event) {
  if (event == "close") {
    (void)PostMessageA(GetConsoleWindow(), WM_CLOSE, 0, 0);
    Sleep(longest_close);
    return false;
  }
  return GenerateConsoleCtrlEvent(event == "break" ? CTRL_BREAK_EVENT : CTRL_C_EVENT, 0) != 0;
}

}  // namespace

int WINAPI WinMain(HINSTANCE, HINSTANCE, LPSTR, int) {
  std::string_view line = GetCommandLineA();
  (void)take_word(line);  // its own name
  std::string event = "once";
  std::string file(take_word(line));
  if (file == "break" || file == "twice" || file == "close") {
    event = file;
    file = take_word(line);
  }
  pressed_file = file + ".pressed";
  const HANDLE process = start(std::string(line));
  if (!file_comes(file, process)) {
    TerminateProcess(process, no_file);
    return no_file;
  }
  if (!press(event)) {
    TerminateProcess(process, not_pressed);
    return not_pressed;
  }
  make_pressed_file();
  if (event == "twice" && file_comes(file + ".again", process)) {
    (void)press(event);
  }
  WaitForSingleObject(process, INFINITE);
  return static_cast<int>(code_of(process));
}
