// stress_tool.cpp: plays the scheduler's tool and a command interpreter, quickly and
// without a log that grows.
//
// As stress_job.exe it does what its command line says; files lie in the current folder:
//
//   ... -ccp_job ...      writes its command line to the file "fallback"
//   ... submit quiet ...  prints a text without a line end and never ends
//   ... submit flood ...  prints lines and never ends
//   ... view N ...        prints a state line with "Round N" and what LAST_STATE holds
//   ... exit N            writes N to the file "released"
//
// As cmd.exe it does the same in its own process, to save time, but for a submission:
// that is started as stress_job.exe and waited for, as an interpreter would.

#include <windows.h>

#include <cstdlib>
#include <string>
#include <string_view>

namespace {

void write_all(HANDLE file, std::string_view text) {
  DWORD written = 0;
  while (!text.empty() &&
         WriteFile(file, text.data(), static_cast<DWORD>(text.size()), &written, nullptr)) {
    text.remove_prefix(written);
  }
}

void write_file(const char *name, std::string_view text) {
  HANDLE file =
      CreateFileA(name, GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
  write_all(file, text);
  CloseHandle(file);
}

bool contains(std::string_view text, std::string_view piece) {
  return text.find(piece) != std::string_view::npos;
}

// The word behind another one; empty when it is not there.
std::string_view word_behind(std::string_view line, std::string_view word) {
  const auto at = line.find(word);
  if (at == std::string_view::npos) {
    return "";
  }
  line.remove_prefix(at + word.size());
  return line.substr(0, line.find(' '));
}

[[noreturn]] void submit(bool flood) {
  HANDLE output = GetStdHandle(STD_OUTPUT_HANDLE);
  const std::string line = "The head node is busy: " + std::string(200, '.') + "\r\n";
  while (flood) {
    write_all(output, line);
  }
  write_all(output, "Enter the password: ");
  Sleep(INFINITE);
  ExitProcess(0);
}

void play(std::string_view line) {
  if (contains(line, " -ccp_job ")) {
    write_file("fallback", line);
  } else if (contains(line, " submit ")) {
    submit(contains(line, " submit flood "));
  } else if (const auto job = word_behind(line, " view "); !job.empty()) {
    const char *const state = std::getenv("LAST_STATE");
    write_all(GetStdHandle(STD_OUTPUT_HANDLE),
              "State : Round " + std::string(job) + " " + (state != nullptr ? state : "") + "\r\n");
  } else if (const auto round = word_behind(line, " exit "); !round.empty()) {
    write_file("released", round);
  }
}

// Starts a program with this one's own handles and waits for it.
int run(std::string command) {
  STARTUPINFOA startup = {};
  startup.cb = sizeof startup;
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdOutput = GetStdHandle(STD_OUTPUT_HANDLE);
  startup.hStdError = GetStdHandle(STD_ERROR_HANDLE);
  PROCESS_INFORMATION started = {};
  if (!CreateProcessA(nullptr, command.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr,
                      &startup, &started)) {
    return 1;
  }
  WaitForSingleObject(started.hProcess, INFINITE);
  return 0;
}

}  // namespace

int WINAPI WinMain(HINSTANCE, HINSTANCE, LPSTR, int) {
  const std::string_view line = GetCommandLineA();
  const auto command = line.find("/c ");
  if (command == std::string_view::npos) {
    play(line);
    return 0;
  }
  const auto passed = line.substr(command + 3);
  if (contains(passed, " submit ") && !contains(passed, " -ccp_job ")) {
    return run(std::string(passed));
  }
  play(passed);
  return 0;
}
