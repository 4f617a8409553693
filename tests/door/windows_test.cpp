// What only Windows itself can show of the door.
#include <windows.h>

#include <gtest/gtest.h>

#include <ctime>
#include <string>

#include "door/door.h"
#include "platform/platform.h"

namespace {

bool is_inheritable(HANDLE handle) {
  DWORD flags = 0;
  EXPECT_TRUE(GetHandleInformation(handle, &flags));
  return (flags & HANDLE_FLAG_INHERIT) != 0;
}

TEST(WindowsDoor, KnowsItselfAsWindowsDoes) {
  EXPECT_EQ(GetCurrentProcessId(), platform::process_id());
  const std::time_t before = std::time(nullptr);
  const std::time_t given = platform::current_time();
  EXPECT_LE(before, given);
  EXPECT_LE(given, std::time(nullptr));
}

TEST(WindowsDoor, GivesMessagesWithTheirInserts) {
  bool found = false;
  for (unsigned long error = 1; error < 2'000 && !found; ++error) {
    found = platform::system_message(error).find("%1") != std::string::npos;
  }
  EXPECT_TRUE(found);
}

TEST(WindowsDoor, HandsVariablesAndTheDirectoryOnToChildren) {
  EXPECT_EQ(0U, platform::put_variable("DOOR_TEST=parent"));
  const std::string seen = door::seen_by_child({});
  EXPECT_TRUE(seen.ends_with("\nparent\n")) << seen;
  EXPECT_EQ(0U, platform::put_variable("DOOR_TEST="));
  const std::string folder = door::make_folder();
  door::change_directory(folder);
  EXPECT_EQ(folder + "\r\n", door::run("cmd.exe /c cd").output);
  door::remove_folder(folder);
}

TEST(WindowsDoor, HandsOnOfPipesAndFilesOnlyTheWriteEnd) {
  const auto pipe = platform::create_pipe();
  EXPECT_FALSE(is_inheritable(pipe->read_end.get()));
  EXPECT_TRUE(is_inheritable(pipe->write_end.get()));
  const std::string folder = door::make_folder();
  {
    const auto file = platform::open_file(folder + "\\x", platform::open_mode::write);
    EXPECT_FALSE(is_inheritable(file.get()));
  }
  door::remove_folder(folder);
}

TEST(WindowsDoor, ReadsOnBehindAnEmptyWriteToAPipe) {
  auto pipe = platform::create_pipe();
  DWORD written = 0;
  (void)WriteFile(pipe->write_end.get(), "", 0, &written, nullptr);
  EXPECT_TRUE(platform::write_all(pipe->write_end.get(), "abc", 3));
  pipe->write_end.reset();
  EXPECT_EQ("abc", door::read_to_end(pipe->read_end.get()));
}

TEST(WindowsDoor, CountsProcessorTime) {
  constexpr std::uint64_t fifty_milliseconds = 500'000;
  const std::uint64_t before = platform::processor_time(GetCurrentProcess()).value();
  const ULONGLONG deadline = GetTickCount64() + 60'000;
  std::uint64_t used = 0;
  while (used < fifty_milliseconds && GetTickCount64() < deadline) {
    used = platform::processor_time(GetCurrentProcess()).value() - before;
  }
  EXPECT_LE(fifty_milliseconds, used);
}

TEST(WindowsDoor, GivesMinusOneWithoutACommandInterpreter) {
  const std::string command = door::command_of({.status = 7});
  const auto interpreter = platform::get_variable("COMSPEC");
  const auto path = platform::get_variable("PATH");
  ASSERT_TRUE(interpreter && path);
  EXPECT_EQ(0U, platform::put_variable("COMSPEC=C:\\no\\such\\interpreter.exe"));
  EXPECT_EQ(0U, platform::put_variable("PATH=C:\\no\\such\\folder"));
  const int status = platform::run_in_console(command);
  EXPECT_EQ(0U, platform::put_variable("PATH=" + *path));
  EXPECT_EQ(0U, platform::put_variable("COMSPEC=" + *interpreter));
  EXPECT_TRUE(status == -1 || status == 7) << status;  // the runtime may fall back to cmd.exe
}

TEST(WindowsDoor, KnowsNoUniversalNameWhereTheFunctionIsMissing) {
  void *library = platform::load_library("kernel32.dll");
  ASSERT_NE(nullptr, library);
  EXPECT_EQ(std::nullopt, platform::universal_name(library, "X:\\a"));
  platform::free_library(library);
}

}  // namespace
