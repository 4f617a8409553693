// What only Windows itself can show of the door.
#include <windows.h>

#include <gtest/gtest.h>

#include <cstring>
#include <ctime>
#include <filesystem>
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

// Run under code page 932 too: LC_ALL=ja_JP.UTF-8 of Wine.
TEST(WindowsDoor, TellsTheLeadBytesOfTheCodePage) {
  CPINFO page = {};
  ASSERT_TRUE(GetCPInfo(CP_ACP, &page));
  for (int byte = 0; byte < 256; ++byte) {
    bool leads = false;
    for (std::size_t range = 0; range + 1 < MAX_LEADBYTES; range += 2) {
      leads = leads || (page.LeadByte[range] != 0 && byte >= page.LeadByte[range] &&
                        byte <= page.LeadByte[range + 1]);
    }
    EXPECT_EQ(leads, platform::is_lead_byte(static_cast<char>(byte))) << byte << " " << GetACP();
  }
}

// One that was begun and never let run would stay for ever.
TEST(WindowsDoor, EndsNoStartThatIsUnderWay) {
  for (int round = 0; round < 10; ++round) {
    const door::outcome ended = door::run_program("end_while_starting");
    EXPECT_EQ(3U, ended.status);
    EXPECT_EQ(0U, ended.left);
  }
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
  EXPECT_EQ(folder + "\r\n", door::interpret("cd").output);
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

TEST(WindowsDoor, KeepsTheInterpreterFromProgramsInTheCurrentFolder) {
  const std::string show = "echo %NoDefaultCurrentDirectoryInExePath%";
  EXPECT_EQ("1\r\n", door::interpret(show).output);
  EXPECT_EQ("%NoDefaultCurrentDirectoryInExePath%\r\n", door::run("cmd.exe /c " + show).output);
  EXPECT_EQ(0U, platform::put_variable("NoDefaultCurrentDirectoryInExePath=mine"));
  EXPECT_EQ("mine\r\n", door::interpret(show).output);
  EXPECT_EQ("mine\r\n", door::run("cmd.exe /c " + show).output);
  EXPECT_EQ(0U, platform::put_variable("NoDefaultCurrentDirectoryInExePath="));
}

TEST(WindowsDoor, FindsNoBareProgramInTheCurrentFolder) {
  const std::string folder = door::make_folder();
  std::filesystem::copy_file(platform::windows_directory() + "\\system32\\cmd.exe",
                             folder + "\\planted.exe");
  door::change_directory(folder);
  EXPECT_EQ(2U, door::run("planted.exe /c exit 5").error);
  EXPECT_EQ(2U, door::run("planted /c exit 5").error);
  EXPECT_EQ(5U, door::run(".\\planted.exe /c exit 5").status);
  EXPECT_FALSE(platform::program_exists("planted.exe /c exit 5"));
  EXPECT_FALSE(platform::program_exists("planted"));
  EXPECT_TRUE(platform::program_exists(".\\planted.exe"));
  EXPECT_TRUE(platform::program_exists("cmd /c exit 5"));
  door::remove_folder(folder);
}

TEST(WindowsDoor, StartsAProgramInAnotherFolder) {
  platform::start_settings settings;
  const std::string folder = platform::windows_directory();
  settings.directory = folder.c_str();
  const std::string seen = door::interpret("cd", settings).output;
  EXPECT_EQ(0, _stricmp((folder + "\r\n").c_str(), seen.c_str())) << seen;
}

TEST(WindowsDoor, GivesAProgramNothingToRead) {
  const auto nothing = platform::open_null_input();
  platform::start_settings settings;
  settings.input = nothing.get();
  settings.handles = platform::inheritance::listed;
  EXPECT_NE(std::string::npos,
            door::interpret("set /p x= & echo read", settings).output.find("read"));
}

TEST(WindowsDoor, KnowsNoUniversalNameWhereTheFunctionIsMissing) {
  void *library = platform::load_system_library("kernel32.dll");
  ASSERT_NE(nullptr, library);
  EXPECT_EQ(std::nullopt, platform::universal_name(library, "X:\\a"));
  platform::free_library(library);
}

}  // namespace
