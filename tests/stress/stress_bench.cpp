// stress_bench.cpp: counting, locks, tools and the watchdog of the stress tests.
#include "stress_bench.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <tlhelp32.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string_view>

namespace stress {

namespace {

constexpr ULONGLONG longest_test = 300000;  // in milliseconds, on a busy machine too
constexpr DWORD patience = 10000;           // for Windows to let go of something
constexpr DWORD pause_between_looks = 10;

platform::owned_handle snapshot_of_processes() {
  HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
  return platform::owned_handle(snapshot == INVALID_HANDLE_VALUE ? nullptr : snapshot);
}

void take_locks(void *) {
  void *const library = platform::load_system_library("version.dll");
  platform::free_library(library);
  const std::string memory(100000, 'x');
  (void)platform::put_variable("STRESS_LOCK=x");
  (void)platform::get_variable("STRESS_LOCK");
  (void)std::fputs("", stdout);
  (void)std::fflush(nullptr);
}

std::filesystem::path folder() {
  static const std::filesystem::path path =
      std::filesystem::temp_directory_path() /
      ("stress tests " + std::to_string(GetCurrentProcessId()));
  return path;
}

std::string in_folder(const std::string &path) {
  return (folder() / path).string();
}

std::string built_tool() {
  std::string path(MAX_PATH, '\0');
  path.resize(GetModuleFileNameA(nullptr, path.data(), MAX_PATH));
  return path.substr(0, path.find_last_of('\\')) + "\\tests\\stress\\stress_tool.exe";
}

void given_copy_of_the_tool(const std::string &path) {
  std::filesystem::create_directories(std::filesystem::path(in_folder(path)).parent_path());
  ASSERT_TRUE(CopyFileA(built_tool().c_str(), in_folder(path).c_str(), FALSE)) << built_tool();
}

}  // namespace

// ---- What is open -------------------------------------------------------------------------

open_things open_again(const open_things &before) {
  open_things now = open_now();
  for (DWORD waited = 0;
       waited < patience && (now.handles > before.handles || now.threads > before.threads);
       waited += 10 * pause_between_looks) {
    Sleep(10 * pause_between_looks);
    now = open_now();
  }
  return now;
}

bool locks_are_free() {
  const auto started = platform::start_thread(take_locks, nullptr);
  return started.thread && platform::wait_for(started.thread.get(), patience);
}

unsigned processes_named(const std::string &name) {
  const auto snapshot = snapshot_of_processes();
  PROCESSENTRY32 entry{};
  entry.dwSize = sizeof entry;
  unsigned count = 0;
  for (BOOL more = Process32First(snapshot.get(), &entry); more;
       more = Process32Next(snapshot.get(), &entry)) {
    count += name == entry.szExeFile ? 1U : 0U;
  }
  return count;
}

bool all_have_ended(const std::string &name) {
  for (DWORD waited = 0; waited < patience; waited += pause_between_looks) {
    if (processes_named(name) == 0) {
      return true;
    }
    Sleep(pause_between_looks);
  }
  return false;
}

// ---- Tools --------------------------------------------------------------------------------

std::optional<std::string> file_text(const std::string &name) {
  std::ifstream file(name, std::ios::binary);
  if (!file) {
    return std::nullopt;
  }
  return std::string(std::istreambuf_iterator<char>(file), {});
}

void given_variable(const std::string &name, const std::string &value) {
  EXPECT_EQ(0U, platform::put_variable(name + "=" + value));
}

void given_tools_behind_a_quick_interpreter() {
  given_copy_of_the_tool("quick\\stress_job.exe");
  given_copy_of_the_tool("quick\\cmd.exe");
  given_variable("COMSPEC", in_folder("quick\\cmd.exe"));
  ASSERT_TRUE(SetCurrentDirectoryA(in_folder("quick").c_str()));
}

void given_tools_behind_windows_interpreter() {
  given_copy_of_the_tool("windows\\stress_job.exe");
  given_variable("COMSPEC", platform::get_variable("SystemRoot").value_or("C:\\windows") +
                                "\\system32\\cmd.exe");
  ASSERT_TRUE(SetCurrentDirectoryA(in_folder("windows").c_str()));
}

other_output::other_output(void *output)
    : output_(GetStdHandle(STD_OUTPUT_HANDLE)),
      error_(GetStdHandle(STD_ERROR_HANDLE)),
      nowhere_(platform::open_file("NUL", platform::open_mode::write)) {
  SetStdHandle(STD_OUTPUT_HANDLE, output != nullptr ? output : nowhere_.get());
  SetStdHandle(STD_ERROR_HANDLE, nowhere_.get());
}

other_output::~other_output() {
  SetStdHandle(STD_OUTPUT_HANDLE, output_);
  SetStdHandle(STD_ERROR_HANDLE, error_);
}

// ---- The watchdog -------------------------------------------------------------------------

namespace {

std::atomic<ULONGLONG> fed_at = 0;
std::atomic<const char *> running_test = "";
HANDLE error_at_start = nullptr;

// Takes no lock and no memory: what it looks for is a lock that somebody left.
void watch(void *) {
  while (GetTickCount64() - fed_at < longest_test) {
    Sleep(1000);
  }
  const auto say = [](std::string_view text) {
    DWORD written = 0;
    (void)WriteFile(error_at_start, text.data(), static_cast<DWORD>(text.size()), &written,
                    nullptr);
  };
  say("\nThis test hangs: ");
  say(running_test.load());
  say("\n");
  TerminateProcess(GetCurrentProcess(), 3);
}

}  // namespace

void start_watchdog() {
  feed_watchdog("");
  error_at_start = GetStdHandle(STD_ERROR_HANDLE);
  (void)platform::start_thread(watch, nullptr);
}

void feed_watchdog(const char *test) {
  running_test = test;
  fed_at = GetTickCount64();
}

void remove_folder() {
  (void)SetCurrentDirectoryA("C:\\");
  std::error_code ignored;
  std::filesystem::remove_all(folder(), ignored);
}

}  // namespace stress
