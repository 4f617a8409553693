// Tests of the real door to Windows: each function is tried for real. Children
// are this program again, started with --as-child and the part it plays.
#include <windows.h>

#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <string>
#include <vector>

#include "platform/platform.h"

namespace {

using platform::owned_handle;
using texts = std::vector<std::string>;

// ---- The children -------------------------------------------------------------------------

void say(const std::string &text) {
  (void)platform::write_all(platform::standard_handle(platform::standard_stream::output),
                            text.data(), text.size());
}

HANDLE handle_of(const std::string &number) {
  return reinterpret_cast<HANDLE>(static_cast<std::uintptr_t>(std::stoull(number)));
}

std::string number_of(HANDLE handle) {
  return std::to_string(reinterpret_cast<std::uintptr_t>(handle));
}

int say_start_up() {
  STARTUPINFOA startup{};
  GetStartupInfoA(&startup);
  say("title=" + std::string(startup.lpTitle != nullptr ? startup.lpTitle : "") + "\n");
  const bool is_hidden =
      (startup.dwFlags & STARTF_USESHOWWINDOW) != 0 && startup.wShowWindow == SW_HIDE;
  say(is_hidden ? "hidden\n" : "shown\n");
  say((startup.dwFlags & STARTF_USESTDHANDLES) != 0 ? "handles given\n" : "no handles given\n");
  char letter = 0;
  say(platform::read_some(GetStdHandle(STD_INPUT_HANDLE), &letter, 1) == 0 ? "no input\n"
                                                                           : "input\n");
  return 0;
}

int use_processor() {
  constexpr std::uint64_t fifty_milliseconds = 500'000;
  while (platform::processor_time(GetCurrentProcess()).value_or(fifty_milliseconds) <
         fifty_milliseconds) {
  }
  return 0;
}

int play_part(const texts &words) {
  const std::string &part = words.at(0);
  if (part == "say") {
    say(words.at(1));
  } else if (part == "say-both") {
    say("out\n");
    (void)platform::write_all(platform::standard_handle(platform::standard_stream::error), "err\n",
                              4);
  } else if (part == "exit") {
    return static_cast<int>(std::stoul(words.at(1)));
  } else if (part == "sleep") {
    Sleep(std::stoul(words.at(1)));
  } else if (part == "variable") {
    say(platform::get_variable(words.at(1).c_str()).value_or("(not set)"));
  } else if (part == "set-event") {
    return SetEvent(handle_of(words.at(1))) ? 0 : 1;
  } else if (part == "start-up") {
    return say_start_up();
  } else if (part == "length") {
    say(std::to_string(std::strlen(GetCommandLineA())));
  } else if (part == "directory") {
    say(platform::current_directory().value_or("(none)"));
  } else if (part == "use-processor") {
    return use_processor();
  } else if (part == "many") {
    const std::string line(1'000, 'x');
    for (int turn = 0; turn < 2'000; ++turn) {
      say(line);
    }
  } else if (part == "start-sleeper") {
    // Hands its output on to a grandchild that outlives it.
    platform::start_settings settings;
    settings.give_standard_handles = true;
    settings.output = platform::standard_handle(platform::standard_stream::output);
    const std::string command = words.at(1) + " --as-child sleep 600000";
    return platform::start_process(command, settings).process ? 0 : 1;
  } else if (part == "end") {
    platform::at_exit([] { say("first registered\n"); });
    platform::at_exit([] { say("last registered\n"); });
    platform::exit_program(static_cast<int>(std::stoul(words.at(1))));
  } else if (part == "end-on-thread") {
    const auto thread = platform::start_thread([](void *) { platform::exit_program(9); }, nullptr);
    platform::sleep_ms(platform::wait_forever);
  } else if (part == "end-twice") {
    platform::at_exit([] {
      say("once\n");
      platform::sleep_ms(200);
    });
    const auto thread = platform::start_thread([](void *) { platform::exit_program(9); }, nullptr);
    platform::sleep_ms(100);
    platform::exit_program(8);
  } else if (part == "signal") {
    platform::ignore_ctrl_c();
    (void)platform::set_interrupt_handler([](int signal) { say(std::to_string(signal)); });
    (void)std::raise(SIGINT);
  } else {
    return 99;
  }
  return 0;
}

// ---- The parent ---------------------------------------------------------------------------

std::string own_path() {
  std::string path(MAX_PATH, '\0');
  path.resize(GetModuleFileNameA(nullptr, path.data(), MAX_PATH));
  return path;
}

std::string child(const std::string &words) {
  return own_path() + " --as-child " + words;
}

std::string read_to_end(void *handle) {
  std::string text;
  char buffer[4096];
  while (const std::size_t got = platform::read_some(handle, buffer, sizeof buffer)) {
    text.append(buffer, got);
  }
  return text;
}

struct child_result {
  std::string output;
  unsigned long code = 0;
  unsigned long error = 0;
};

// Runs a command to its end with its output in a pipe.
child_result run(const std::string &command, platform::start_settings settings = {}) {
  auto pipe = platform::create_pipe();
  settings.give_standard_handles = true;
  settings.output = pipe->write_end.get();
  settings.error = pipe->write_end.get();
  const auto started = platform::start_process(command, settings);
  pipe->write_end.reset();
  child_result result;
  result.error = started.error;
  if (started.process) {
    result.output = read_to_end(pipe->read_end.get());
    EXPECT_TRUE(platform::wait_for(started.process.get(), 60'000));
    result.code = platform::exit_code(started.process.get());
  }
  return result;
}

platform::start_settings listed() {
  platform::start_settings settings;
  settings.handles = platform::inheritance::listed;
  return settings;
}

// An empty directory of the test's own, removed with it.
class PlatformFiles : public testing::Test {
 protected:
  PlatformFiles()
      : folder((std::filesystem::temp_directory_path() /
                ("platform_tests " + std::to_string(GetCurrentProcessId())))
                   .string()) {
    std::filesystem::remove_all(folder);
    std::filesystem::create_directory(folder);
  }
  ~PlatformFiles() override {
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
  }

  std::string in_folder(const std::string &name) const { return folder + "\\" + name; }

  static void write(const std::string &path, platform::open_mode mode, const std::string &text) {
    const owned_handle file = platform::open_file(path, mode);
    ASSERT_TRUE(file);
    EXPECT_TRUE(platform::write_all(file.get(), text.data(), text.size()));
  }

  static std::string content(const std::string &path) {
    const owned_handle file = platform::open_file(path, platform::open_mode::read);
    return file ? read_to_end(file.get()) : "(cannot be opened)";
  }

  std::string folder;
};

// ---- The program itself -------------------------------------------------------------------

TEST(PlatformProgram, KnowsTheVersionOfWindows) {
  EXPECT_EQ(0U, platform::windows_version() & 0x80000000UL);
  EXPECT_LE(6U, platform::windows_version() & 0xFFUL);
}

TEST(PlatformProgram, KnowsItsProcessIdentifier) {
  EXPECT_EQ(GetCurrentProcessId(), platform::process_id());
}

TEST(PlatformProgram, KnowsTheTime) {
  const std::time_t before = std::time(nullptr);
  const std::time_t given = platform::current_time();
  EXPECT_LE(before, given);
  EXPECT_LE(given, std::time(nullptr));
}

TEST(PlatformProgram, EndsWithItsStatusAfterTheFunctionsAtExit) {
  const child_result result = run(child("end 255"));
  EXPECT_EQ("last registered\nfirst registered\n", result.output);
  EXPECT_EQ(255U, result.code);
}

TEST(PlatformProgram, EndsOnAnyThread) {
  EXPECT_EQ(9U, run(child("end-on-thread")).code);
}

TEST(PlatformProgram, EndsOnceWhenTwoThreadsEndIt) {
  const child_result result = run(child("end-twice"));
  EXPECT_EQ("once\n", result.output);
  EXPECT_TRUE(result.code == 8 || result.code == 9) << result.code;  // whichever came first
}

TEST(PlatformProgram, CallsItsHandlerOfCtrlC) {
  EXPECT_EQ(std::to_string(SIGINT), run(child("signal")).output);
}

TEST(PlatformProgram, GivesBackTheHandlerThatWasInForce) {
  const platform::interrupt_handler handler = [](int) {};
  EXPECT_EQ(nullptr, platform::set_interrupt_handler(handler));
  EXPECT_EQ(handler, platform::set_interrupt_handler(nullptr));
  EXPECT_EQ(nullptr, platform::set_interrupt_handler(nullptr));
}

TEST(PlatformMessages, AreWindowsOwnWithTheirLineEnd) {
  const std::string text = platform::system_message(ERROR_FILE_NOT_FOUND);
  ASSERT_LT(2U, text.size());
  EXPECT_EQ("\r\n", text.substr(text.size() - 2));
}

TEST(PlatformMessages, KeepTheirInserts) {
  bool found = false;
  for (unsigned long error = 1; error < 2'000 && !found; ++error) {
    found = platform::system_message(error).find("%1") != std::string::npos;
  }
  EXPECT_TRUE(found);
}

TEST(PlatformMessages, AreEmptyForAnUnknownError) {
  EXPECT_EQ("", platform::system_message(0x2FFFFFFFUL));
}

// ---- Environment --------------------------------------------------------------------------

TEST(PlatformVariables, AreSeenByTheLauncherAndItsChildren) {
  EXPECT_EQ(0U, platform::put_variable("PLATFORM_TEST=a=b c"));
  EXPECT_EQ("a=b c", platform::get_variable("PLATFORM_TEST"));
  EXPECT_EQ("a=b c", platform::get_variable("platform_test"));
  EXPECT_EQ("a=b c", run(child("variable PLATFORM_TEST")).output);
}

TEST(PlatformVariables, AreRemovedByAnEmptyValue) {
  EXPECT_EQ(0U, platform::put_variable("PLATFORM_TEST=x"));
  EXPECT_EQ(0U, platform::put_variable("PLATFORM_TEST="));
  EXPECT_EQ(std::nullopt, platform::get_variable("PLATFORM_TEST"));
  EXPECT_EQ("(not set)", run(child("variable PLATFORM_TEST")).output);
}

TEST(PlatformVariables, MayBeLong) {
  const std::string value(32'000, 'x');
  EXPECT_EQ(0U, platform::put_variable("PLATFORM_TEST=" + value));
  EXPECT_EQ(value, platform::get_variable("PLATFORM_TEST"));
  EXPECT_EQ(value, run(child("variable PLATFORM_TEST")).output);
  EXPECT_EQ(0U, platform::put_variable("PLATFORM_TEST="));
}

TEST(PlatformVariables, RefuseATextWithoutAName) {
  EXPECT_NE(0U, platform::put_variable("=x"));
  EXPECT_NE(0U, platform::put_variable("PLATFORM_TEST"));
}

TEST(PlatformVariables, KeepBytesAbove127) {
  EXPECT_EQ(0U, platform::put_variable("PLATFORM_TEST=\xE4\xF6\xFC"));
  EXPECT_EQ("\xE4\xF6\xFC", platform::get_variable("PLATFORM_TEST"));
  EXPECT_EQ(0U, platform::put_variable("PLATFORM_TEST="));
}

// ---- Files and directories ----------------------------------------------------------------

TEST_F(PlatformFiles, AreWrittenReadAndAppendedTo) {
  const std::string path = in_folder("a file.txt");
  write(path, platform::open_mode::write, std::string("one\r\n\0\x1A\xFF", 8));
  write(path, platform::open_mode::append, "two");
  EXPECT_EQ(std::string("one\r\n\0\x1A\xFFtwo", 11), content(path));
  write(path, platform::open_mode::write, "3");
  EXPECT_EQ("3", content(path));
}

TEST_F(PlatformFiles, ArriveWholeHoweverLarge) {
  const std::string path = in_folder("large");
  std::string text;
  for (int line = 0; line < 200'000; ++line) {
    text += "line " + std::to_string(line) + "\n";
  }
  write(path, platform::open_mode::create, text);
  EXPECT_TRUE(content(path) == text);
}

TEST_F(PlatformFiles, AppendEachWriteAtTheEnd) {
  const std::string path = in_folder("log");
  const owned_handle one = platform::open_file(path, platform::open_mode::append);
  const owned_handle other = platform::open_file(path, platform::open_mode::append);
  ASSERT_TRUE(one && other);
  EXPECT_TRUE(platform::write_all(one.get(), "aa", 2));
  EXPECT_TRUE(platform::write_all(other.get(), "bb", 2));
  EXPECT_TRUE(platform::write_all(one.get(), "cc", 2));
  EXPECT_EQ("aabbcc", content(path));
}

TEST_F(PlatformFiles, AreCreatedOnlyWhereThereIsNone) {
  const std::string path = in_folder("new");
  write(path, platform::open_mode::create, "mine");
  EXPECT_FALSE(platform::open_file(path, platform::open_mode::create));
  EXPECT_EQ("mine", content(path));
}

TEST_F(PlatformFiles, AreRefusedWhenMissingOrDirectories) {
  for (const auto mode :
       {platform::open_mode::read, platform::open_mode::write, platform::open_mode::append}) {
    EXPECT_FALSE(platform::open_file(folder, mode));
    EXPECT_FALSE(platform::open_file(in_folder("missing\\x"), mode));
    EXPECT_FALSE(platform::open_file("", mode));
  }
  EXPECT_FALSE(platform::open_file(in_folder("missing"), platform::open_mode::read));
}

TEST_F(PlatformFiles, AreRefusedWhenAnotherProgramLocksThem) {
  const std::string path = in_folder("locked");
  write(path, platform::open_mode::write, "x");
  const owned_handle lock(
      CreateFileA(path.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr));
  ASSERT_TRUE(lock);
  EXPECT_FALSE(platform::open_file(path, platform::open_mode::read));
  EXPECT_FALSE(platform::open_file(path, platform::open_mode::append));
}

TEST_F(PlatformFiles, AreNotWrittenWhenOpenForReading) {
  const std::string path = in_folder("x");
  write(path, platform::open_mode::write, "x");
  const owned_handle file = platform::open_file(path, platform::open_mode::read);
  EXPECT_FALSE(platform::write_all(file.get(), "y", 1));
  EXPECT_EQ("x", content(path));
}

TEST_F(PlatformFiles, AreNotReadWhenOpenForWriting) {
  const owned_handle file = platform::open_file(in_folder("x"), platform::open_mode::write);
  char letter = 0;
  EXPECT_EQ(0U, platform::read_some(file.get(), &letter, 1));
}

TEST_F(PlatformFiles, AreNotInheritedByChildren) {
  const owned_handle file = platform::open_file(in_folder("x"), platform::open_mode::write);
  DWORD flags = HANDLE_FLAG_INHERIT;
  ASSERT_TRUE(GetHandleInformation(file.get(), &flags));
  EXPECT_EQ(0U, flags & HANDLE_FLAG_INHERIT);
}

TEST_F(PlatformFiles, AreRemoved) {
  const std::string path = in_folder("x");
  write(path, platform::open_mode::write, "x");
  platform::remove_file(path);
  EXPECT_FALSE(std::filesystem::exists(path));
  platform::remove_file(path);  // what is not there need not be removed
}

TEST_F(PlatformFiles, AreListedWithTheDots) {
  write(in_folder("zephon1.0"), platform::open_mode::write, "");
  std::filesystem::create_directory(in_folder("zephon 2"));
  auto names = platform::list_directory(folder + "\\*.*");
  ASSERT_TRUE(names);
  std::sort(names->begin(), names->end());
  EXPECT_EQ((texts{".", "..", "zephon 2", "zephon1.0"}), *names);
}

TEST_F(PlatformFiles, AreNotListedInAMissingFolder) {
  EXPECT_EQ(std::nullopt, platform::list_directory(in_folder("missing") + "\\*.*"));
}

TEST_F(PlatformFiles, ThousandsAreListed) {
  for (int file = 0; file < 1'000; ++file) {
    std::ofstream(in_folder("file" + std::to_string(file)));
  }
  EXPECT_EQ(1'002U, platform::list_directory(folder + "\\*.*")->size());
}

TEST_F(PlatformFiles, AreFoundInTheCurrentDirectory) {
  const std::filesystem::path before = std::filesystem::current_path();
  write(in_folder("x"), platform::open_mode::write, "here");
  std::filesystem::current_path(folder);
  EXPECT_EQ(folder, platform::current_directory());
  EXPECT_EQ("here", content("x"));
  EXPECT_EQ(folder, run(child("directory")).output);
  std::filesystem::current_path(before);
}

// ---- Pipes --------------------------------------------------------------------------------

TEST(PlatformPipes, EndWhenTheWriteEndIsClosed) {
  auto pipe = platform::create_pipe();
  ASSERT_TRUE(pipe);
  EXPECT_TRUE(platform::write_all(pipe->write_end.get(), "abc", 3));
  pipe->write_end.reset();
  EXPECT_EQ("abc", read_to_end(pipe->read_end.get()));
}

TEST(PlatformPipes, GiveWhatIsThere) {
  auto pipe = platform::create_pipe();
  char buffer[100];
  EXPECT_TRUE(platform::write_all(pipe->write_end.get(), "abc", 3));
  EXPECT_EQ(3U, platform::read_some(pipe->read_end.get(), buffer, sizeof buffer));
}

TEST(PlatformPipes, DoNotEndWithAnEmptyWrite) {
  auto pipe = platform::create_pipe();
  DWORD written = 0;
  (void)WriteFile(pipe->write_end.get(), "", 0, &written, nullptr);
  EXPECT_TRUE(platform::write_all(pipe->write_end.get(), "abc", 3));
  pipe->write_end.reset();
  EXPECT_EQ("abc", read_to_end(pipe->read_end.get()));
}

TEST(PlatformPipes, RefuseAWriteWhenNobodyReads) {
  auto pipe = platform::create_pipe();
  pipe->read_end.reset();
  EXPECT_FALSE(platform::write_all(pipe->write_end.get(), "abc", 3));
}

TEST(PlatformPipes, HandOnOnlyTheWriteEnd) {
  const auto pipe = platform::create_pipe();
  DWORD flags = 0;
  ASSERT_TRUE(GetHandleInformation(pipe->read_end.get(), &flags));
  EXPECT_EQ(0U, flags & HANDLE_FLAG_INHERIT);
  ASSERT_TRUE(GetHandleInformation(pipe->write_end.get(), &flags));
  EXPECT_NE(0U, flags & HANDLE_FLAG_INHERIT);
}

// ---- Processes ----------------------------------------------------------------------------

TEST(PlatformProcesses, PrintIntoAPipeAndEndWithTheirCode) {
  const child_result result = run(child("say-both"));
  EXPECT_EQ("out\nerr\n", result.output);
  EXPECT_EQ(0U, result.code);
  EXPECT_EQ(0xC0000005UL, run(child("exit 3221225477")).code);
}

TEST(PlatformProcesses, ArriveWithMegabytesOfOutput) {
  EXPECT_EQ(2'000'000U, run(child("many")).output.size());
}

TEST(PlatformProcesses, ReportWhyTheyCannotBeStarted) {
  EXPECT_EQ(static_cast<unsigned long>(ERROR_FILE_NOT_FOUND),
            platform::start_process("no_such_program_anywhere.exe", {}).error);
  EXPECT_NE(0U, platform::start_process("", {}).error);
  EXPECT_NE(0U, platform::start_process(" " + child("exit 0"), {}).error);
  EXPECT_FALSE(platform::start_process("no_such_program_anywhere.exe", {}).process);
}

TEST(PlatformProcesses, TakeALongCommandLineAndRefuseATooLongOne) {
  std::string command = child("length ");
  command.append(32'000 - command.size(), 'x');
  EXPECT_EQ("32000", run(command).output);
  command.append(1'000, 'x');
  EXPECT_NE(0U, run(command).error);
}

TEST(PlatformProcesses, AreActiveUntilTheyEnd) {
  const auto started = platform::start_process(child("sleep 600000"), {});
  ASSERT_TRUE(started.process);
  EXPECT_NE(0U, started.id);
  EXPECT_FALSE(platform::wait_for(started.process.get(), 0));
  EXPECT_EQ(platform::process_still_active, platform::exit_code(started.process.get()));
  platform::terminate_process(started.process.get(), 7);
  EXPECT_TRUE(platform::wait_for(started.process.get(), 60'000));
  EXPECT_EQ(7U, platform::exit_code(started.process.get()));
}

TEST(PlatformProcesses, EndWithAllThatTheyStartedAsAGroup) {
  auto pipe = platform::create_pipe();
  platform::start_settings settings;
  settings.give_standard_handles = true;
  settings.output = pipe->write_end.get();
  settings.grouped = true;
  const auto started = platform::start_process(child("start-sleeper " + own_path()), settings);
  ASSERT_TRUE(started.process);
  pipe->write_end.reset();
  EXPECT_TRUE(platform::wait_for(started.process.get(), 60'000));
  EXPECT_EQ(0U, platform::exit_code(started.process.get()));
  ASSERT_TRUE(started.group);
  platform::terminate_group(started.group.get(), 0);
  EXPECT_EQ("", read_to_end(pipe->read_end.get()));  // ends only when the sleeper has
}

TEST(PlatformProcesses, HaveAGroupOnlyWhenAsked) {
  const auto started = platform::start_process(child("exit 0"), {});
  EXPECT_FALSE(started.group);
  EXPECT_TRUE(platform::wait_for(started.process.get(), 60'000));
}

TEST(PlatformProcesses, UseProcessorTime) {
  const auto started = platform::start_process(child("use-processor"), {});
  ASSERT_TRUE(platform::wait_for(started.process.get(), 60'000));
  const auto used = platform::processor_time(started.process.get());
  ASSERT_TRUE(used);
  EXPECT_LE(500'000U, *used);
}

TEST(PlatformProcesses, HaveNoProcessorTimeWithoutAProcess) {
  const auto event = platform::create_event(nullptr);
  EXPECT_EQ(std::nullopt, platform::processor_time(event.event.get()));
}

TEST(PlatformProcesses, AreStartedAsTheSettingsSay) {
  platform::start_settings settings;
  settings.hidden = true;
  settings.title = "A title";
  EXPECT_EQ("title=A title\nhidden\nhandles given\nno input\n",
            run(child("start-up"), settings).output);
}

TEST(PlatformProcesses, AreShownUnlessTheSettingsSayOtherwise) {
  EXPECT_NE(std::string::npos, run(child("start-up")).output.find("\nshown\n"));
}

TEST(PlatformProcesses, TakeAnEnvironmentBlock) {
  EXPECT_EQ(0U, platform::put_variable("PLATFORM_TEST=parent"));
  // A program without SystemRoot may not start at all.
  std::string block = "PLATFORM_TEST=block";
  block.append(1, '\0');
  block.append("SystemRoot=" + platform::get_variable("SystemRoot").value_or("C:\\windows"));
  block.append(2, '\0');
  platform::start_settings settings;
  settings.environment = block.c_str();
  EXPECT_EQ("block", run(child("variable PLATFORM_TEST"), settings).output);
  EXPECT_EQ("parent", run(child("variable PLATFORM_TEST")).output);
  EXPECT_EQ(0U, platform::put_variable("PLATFORM_TEST="));
}

TEST(PlatformProcesses, RunDetached) {
  platform::start_settings settings = listed();
  settings.detached = true;
  EXPECT_EQ("x", run(child("say x"), settings).output);
}

// Whether a child reaches an inheritable event of ours.
bool child_reaches_event(platform::start_settings settings) {
  SECURITY_ATTRIBUTES inheritable{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
  const owned_handle event(CreateEventA(&inheritable, FALSE, FALSE, nullptr));
  const auto started =
      platform::start_process(child("set-event " + number_of(event.get())), settings);
  EXPECT_TRUE(started.process);
  EXPECT_TRUE(platform::wait_for(started.process.get(), 60'000));
  return platform::wait_for(event.get(), 0);
}

TEST(PlatformInheritance, OfAllHandsOnWhatIsInheritable) {
  EXPECT_TRUE(child_reaches_event({}));
}

TEST(PlatformInheritance, OfNoneHandsOnNothing) {
  platform::start_settings settings;
  settings.handles = platform::inheritance::none;
  EXPECT_FALSE(child_reaches_event(settings));
}

TEST(PlatformInheritance, OfListedHandlesHandsOnNoOthers) {
  const auto pipe = platform::create_pipe();
  platform::start_settings settings = listed();
  settings.give_standard_handles = true;
  settings.output = pipe->write_end.get();
  settings.error = pipe->write_end.get();
  EXPECT_FALSE(child_reaches_event(settings));
}

TEST(PlatformInheritance, OfAnEmptyListHandsOnNothing) {
  EXPECT_FALSE(child_reaches_event(listed()));
}

TEST(PlatformInheritance, OfListedHandlesHandsOnTheOutput) {
  EXPECT_EQ("x", run(child("say x"), listed()).output);
}

TEST(PlatformInheritance, OfListedHandlesTakesTheSameHandleTwiceAndNone) {
  auto pipe = platform::create_pipe();
  platform::start_settings settings = listed();
  settings.give_standard_handles = true;
  settings.output = pipe->write_end.get();
  auto started = platform::start_process(child("say x"), settings);
  EXPECT_TRUE(started.process);
  settings.output = nullptr;
  EXPECT_TRUE(platform::start_process(child("exit 0"), settings).process);
  pipe->write_end.reset();
  EXPECT_EQ("x", read_to_end(pipe->read_end.get()));
}

TEST(PlatformInheritance, OfNoneDoesNotKeepOurPipesOpen) {
  auto pipe = platform::create_pipe();
  platform::start_settings settings;
  settings.handles = platform::inheritance::none;
  const auto started = platform::start_process(child("sleep 600000"), settings);
  ASSERT_TRUE(started.process);
  pipe->write_end.reset();
  EXPECT_EQ("", read_to_end(pipe->read_end.get()));  // would wait for the sleeper
  platform::terminate_process(started.process.get(), 0);
}

// Runs with our own standard output and error in pipes.
std::string own_output_of(const std::function<void()> &doing) {
  auto pipe = platform::create_pipe();
  HANDLE output = GetStdHandle(STD_OUTPUT_HANDLE);
  (void)SetStdHandle(STD_OUTPUT_HANDLE, pipe->write_end.get());
  doing();
  (void)SetStdHandle(STD_OUTPUT_HANDLE, output);
  pipe->write_end.reset();
  return read_to_end(pipe->read_end.get());
}

TEST(PlatformOutput, GoesToTheStandardHandle) {
  EXPECT_EQ("x", own_output_of([] { say("x"); }));
}

TEST(PlatformOutput, IsNothingWithoutAHandle) {
  HANDLE output = GetStdHandle(STD_OUTPUT_HANDLE);
  (void)SetStdHandle(STD_OUTPUT_HANDLE, nullptr);
  EXPECT_EQ(nullptr, platform::standard_handle(platform::standard_stream::output));
  (void)SetStdHandle(STD_OUTPUT_HANDLE, INVALID_HANDLE_VALUE);
  EXPECT_EQ(nullptr, platform::standard_handle(platform::standard_stream::output));
  (void)SetStdHandle(STD_OUTPUT_HANDLE, output);
}

TEST(PlatformConsole, RunsACommandAndGivesItsStatus) {
  EXPECT_EQ(7, platform::run_in_console(child("exit 7")));
}

TEST(PlatformConsole, GivesMinusOneWithoutAnInterpreter) {
  const auto interpreter = platform::get_variable("COMSPEC");
  ASSERT_TRUE(interpreter);
  EXPECT_EQ(0U, platform::put_variable("COMSPEC=C:\\no\\such\\interpreter.exe"));
  const auto path = platform::get_variable("PATH").value_or("");
  EXPECT_EQ(0U, platform::put_variable("PATH=C:\\no\\such\\folder"));
  const int status = platform::run_in_console(child("exit 7"));
  EXPECT_EQ(0U, platform::put_variable("PATH=" + path));
  EXPECT_EQ(0U, platform::put_variable("COMSPEC=" + *interpreter));
  EXPECT_TRUE(status == -1 || status == 7) << status;  // the runtime may fall back to cmd.exe
}

TEST(PlatformConsole, DropsTheOutputOfACommandAndWaitsForIt) {
  EXPECT_EQ("", own_output_of([] { platform::run_and_discard_output(child("many")); }));
}

// ---- Shared memory ------------------------------------------------------------------------

TEST(PlatformSharedMemory, TakesANumber) {
  const owned_handle mapping(
      CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 8, nullptr));
  ASSERT_TRUE(mapping);
  const auto *view =
      static_cast<const std::uint32_t *>(MapViewOfFile(mapping.get(), FILE_MAP_READ, 0, 0, 0));
  ASSERT_NE(nullptr, view);
  platform::write_shared_number(reinterpret_cast<std::uintptr_t>(mapping.get()), 4711);
  EXPECT_EQ(4711U, view[0]);
  EXPECT_EQ(0U, view[1]);
  (void)UnmapViewOfFile(view);
}

TEST(PlatformSharedMemory, IgnoresWhatIsNoMapping) {
  const auto event = platform::create_event(nullptr);
  platform::write_shared_number(0, 1);
  platform::write_shared_number(reinterpret_cast<std::uintptr_t>(event.event.get()), 1);
  platform::write_shared_number(~std::uint64_t{0}, 1);
  EXPECT_TRUE(event.event);
}

// ---- Threads, events and waiting ----------------------------------------------------------

TEST(PlatformThreads, RunTheirRoutineWithItsArgument) {
  std::atomic<int> number = 0;
  const auto started = platform::start_thread(
      [](void *argument) { *static_cast<std::atomic<int> *>(argument) = 5; }, &number);
  ASSERT_TRUE(started.thread);
  EXPECT_NE(0U, started.id);
  EXPECT_TRUE(platform::wait_for(started.thread.get(), platform::wait_forever));
  EXPECT_EQ(5, number);
}

struct hanging_read {
  owned_handle read_end;
  std::atomic<int> done = 0;
};

TEST(PlatformThreads, AreInterruptedInARead) {
  auto pipe = platform::create_pipe();
  hanging_read hanging;
  hanging.read_end = std::move(pipe->read_end);
  const auto started = platform::start_thread(
      [](void *argument) {
        auto &read = *static_cast<hanging_read *>(argument);
        char letter = 0;
        read.done = platform::read_some(read.read_end.get(), &letter, 1) == 0 ? 1 : 2;
      },
      &hanging);
  bool ended = false;
  for (int attempt = 0; attempt < 400 && !ended; ++attempt) {
    platform::interrupt_thread(started.thread.get());
    ended = platform::wait_for(started.thread.get(), 25);
  }
  EXPECT_TRUE(ended);
  EXPECT_EQ(1, hanging.done);
}

TEST(PlatformThreads, AreTerminatedWhereTheyStand) {
  const auto started =
      platform::start_thread([](void *) { platform::sleep_ms(platform::wait_forever); }, nullptr);
  EXPECT_FALSE(platform::wait_for(started.thread.get(), 50));
  platform::terminate_thread(started.thread.get());
  EXPECT_TRUE(platform::wait_for(started.thread.get(), 60'000));
}

TEST(PlatformEvents, ResetThemselvesWhenAWaitSeesThem) {
  const auto created = platform::create_event(nullptr);
  ASSERT_TRUE(created.event);
  EXPECT_EQ(0U, created.error);
  EXPECT_FALSE(platform::wait_for(created.event.get(), 0));
  platform::set_event(created.event.get());
  EXPECT_TRUE(platform::wait_for(created.event.get(), 0));
  EXPECT_FALSE(platform::wait_for(created.event.get(), 10));
}

TEST(PlatformEvents, AreSetByAnotherThread) {
  const auto created = platform::create_event(nullptr);
  const auto started =
      platform::start_thread([](void *event) { platform::set_event(event); }, created.event.get());
  EXPECT_TRUE(platform::wait_for(created.event.get(), 60'000));
  EXPECT_TRUE(platform::wait_for(started.thread.get(), 60'000));
}

TEST(PlatformEvents, ReportWhyTheyCannotBeCreated) {
  const std::string name = "platform_tests_" + std::to_string(GetCurrentProcessId());
  const owned_handle mutex(CreateMutexA(nullptr, FALSE, name.c_str()));
  const auto created = platform::create_event(name.c_str());  // the name is a mutex
  EXPECT_FALSE(created.event);
  EXPECT_EQ(static_cast<unsigned long>(ERROR_INVALID_HANDLE), created.error);
}

TEST(PlatformWaiting, OfNothingComesBackAtOnce) {
  EXPECT_FALSE(platform::wait_for(nullptr, 0));
}

// ---- Message boxes ------------------------------------------------------------------------

struct shown_box {
  unsigned style = 0;
  std::atomic<int> button = -1;
};

void show(void *argument) {
  auto &box = *static_cast<shown_box *>(argument);
  box.button = platform::show_message_box("Platform tests", "A box", box.style);
}

// The button that a box gives when it is asked to close; nothing without a desktop.
std::optional<int> button_of_closed_box(unsigned style) {
  shown_box box;
  box.style = style;
  const auto started = platform::start_thread(show, &box);
  bool ended = false;
  for (int attempt = 0; attempt < 400 && !ended; ++attempt) {
    ended = platform::wait_for(started.thread.get(), 25);
    if (!ended) {
      platform::close_message_boxes(started.id);
    }
  }
  if (!ended) {
    ADD_FAILURE() << "the box did not close";
    platform::terminate_thread(started.thread.get());
    return std::nullopt;
  }
  return box.button == 0 ? std::nullopt : std::optional<int>(box.button);
}

TEST(PlatformBoxes, CloseWithAButtonWhenAsked) {
  if (!button_of_closed_box(MB_OK)) {
    GTEST_SKIP() << "no desktop to show a message box on";
  }
  EXPECT_TRUE(button_of_closed_box(MB_OKCANCEL | MB_ICONINFORMATION));
  EXPECT_TRUE(button_of_closed_box(MB_YESNO | MB_TOPMOST));  // has no close box
}

TEST(PlatformBoxes, CloseOnlyOnTheirOwnThread) {
  shown_box box;
  const auto started = platform::start_thread(show, &box);
  if (platform::wait_for(started.thread.get(), 500)) {
    GTEST_SKIP() << "no desktop to show a message box on";
  }
  platform::close_message_boxes(GetCurrentThreadId());
  EXPECT_FALSE(platform::wait_for(started.thread.get(), 200));
  bool ended = false;
  for (int attempt = 0; attempt < 400 && !ended; ++attempt) {
    platform::close_message_boxes(started.id);
    ended = platform::wait_for(started.thread.get(), 25);
  }
  EXPECT_TRUE(ended);
}

// ---- Network paths ------------------------------------------------------------------------

TEST(PlatformLibraries, AreLoadedByName) {
  void *library = platform::load_library("mpr.dll");
  EXPECT_NE(nullptr, library);
  platform::free_library(library);
  EXPECT_EQ(nullptr, platform::load_library("no_such_library_anywhere.dll"));
}

TEST(PlatformLibraries, KnowNoUniversalNameOfALocalPath) {
  void *library = platform::load_library("mpr.dll");
  ASSERT_NE(nullptr, library);
  EXPECT_EQ(std::nullopt, platform::universal_name(library, "C:\\windows"));
  platform::free_library(library);
}

TEST(PlatformLibraries, WithoutTheFunctionKnowNoUniversalName) {
  void *library = platform::load_library("kernel32.dll");
  ASSERT_NE(nullptr, library);
  EXPECT_EQ(std::nullopt, platform::universal_name(library, "X:\\a"));
  platform::free_library(library);
}

}  // namespace

int main(int argc, char **argv) {
  if (argc > 2 && std::string(argv[1]) == "--as-child") {
    return play_part(texts(argv + 2, argv + argc));
  }
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
