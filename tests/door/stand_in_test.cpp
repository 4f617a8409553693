// What the tests that rest on the scripted Windows would not notice: that it passes over
// nothing, keeps its own order, and says what it finds wrong. What it shares with Windows is
// tested beside this, and what it does when a test tells it to in the tests that tell it.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/command_runner.h"
#include "door/door.h"
#include "platform/platform.h"
#include "support/fresh_launch.h"

using namespace stand_in;

namespace {

using platform::open_mode;
using texts = std::vector<std::string>;

// A tool with its output in a pipe, as the launcher runs its tools.
struct piped_run {
  platform::owned_handle output;
  platform::started_process started;
};

piped_run run_piped(const std::string &command, platform::start_settings settings = {}) {
  auto pipe = platform::create_pipe();
  settings.give_standard_handles = true;
  settings.output = pipe->write_end.get();
  settings.error = pipe->write_end.get();
  settings.handles = platform::inheritance::listed;
  piped_run run;
  run.started = platform::start_process(command, settings);
  run.output = std::move(pipe->read_end);
  return run;
}

piped_run run_interpreted(const std::string &command) {
  platform::start_settings settings;
  settings.is_interpreter = true;
  return run_piped("cmd.exe /c " + command, settings);
}

bool opens(const std::string &path, open_mode mode = open_mode::read) {
  return platform::open_file(path, mode) != nullptr;
}

void write_file(const std::string &path, open_mode mode, const std::string &text) {
  const auto file = platform::open_file(path, mode);
  ASSERT_TRUE(file);
  EXPECT_TRUE(platform::write_all(file.get(), text.data(), text.size()));
}

TEST(StandInFiles, AreReachedThroughLinksButNotCreatedThere) {
  given_file("C:\\secret", "old");
  given_link("C:\\temp\\x", "C:\\secret");
  EXPECT_FALSE(opens("C:\\temp\\x", open_mode::create));
  write_file("C:\\temp\\x", open_mode::write, "new");
  EXPECT_EQ("new", file_content("C:\\secret"));
  platform::remove_file("C:\\temp\\x");
  EXPECT_TRUE(file_exists("C:\\secret"));
  EXPECT_TRUE(opens("C:\\temp\\x", open_mode::create));
  given_link("C:\\a", "C:\\b");
  given_link("C:\\b", "C:\\a");
  EXPECT_FALSE(opens("C:\\a"));
}

// ---- Tools --------------------------------------------------------------------------------

TEST(StandInTools, AreRefusedAsWindowsRefusesThem) {
  given_tool_with("", prints(""));
  given_tool("denied", cannot_start(5));
  EXPECT_EQ(87U, platform::start_process("", {}).error);
  EXPECT_EQ(5U, platform::start_process("denied", {}).error);
  EXPECT_EQ(0U, platform::start_process(std::string(32'766, 'x'), {}).error);
  EXPECT_EQ(206U, platform::start_process(std::string(32'767, 'x'), {}).error);
  EXPECT_EQ("The command line is too long.\r\n",
            door::read_to_end(run_interpreted(std::string(8'181, 'x')).output.get()));
  given_no_command_interpreter();
  EXPECT_EQ(-1, run_in_console("ver"));
}

TEST(StandInTools, LoseTheOuterQuotesInTheInterpreter) {
  given_tool_with("", prints(""));
  (void)run_interpreted("\"C:\\my tools\\x.exe\"");
  (void)run_interpreted("\"C:\\tools\\x.exe\" a \"b c\"");
  (void)run_interpreted("\"\"C:\\my (x86)\\x.exe\" a\"");
  EXPECT_EQ(
      (texts{"\"C:\\my tools\\x.exe\"", "C:\\tools\\x.exe\" a \"b c", "\"C:\\my (x86)\\x.exe\" a"}),
      commands());
}

TEST(StandInTools, StillRunAfterTheirOutputIsClosedUntilTheirTimeHasCome) {
  given_tool("t", prints("x").stays(500).lives_on(250).exits_with(4));
  const piped_run run = run_piped("t");
  EXPECT_EQ("x", door::read_to_end(run.output.get()));
  EXPECT_EQ(500U, now());
  EXPECT_FALSE(platform::wait_for(run.started.process.get(), 249));
  EXPECT_TRUE(process_runs(run.started.id));
  EXPECT_TRUE(platform::wait_for(run.started.process.get(), 1));
  EXPECT_EQ(4U, platform::exit_code(run.started.process.get()));
  const piped_run other = run_piped("t");
  platform::terminate_process(other.started.process.get(), 9);
  EXPECT_EQ(9U, terminated_with(other.started.id));
}

TEST(StandInTools, WaitWhenThePipeIsFullAndEndWhenNobodyReadsIt) {
  given_tool("t", prints(std::string(100'000, 'x')));
  piped_run run = run_piped("t");
  EXPECT_FALSE(platform::wait_for(run.started.process.get(), 1'000'000));
  run.output.reset();
  EXPECT_TRUE(platform::wait_for(run.started.process.get(), 1));
}

// ---- Threads and time ---------------------------------------------------------------------

int steps = 0;
std::string order;

TEST(StandInThreads, TakeTurnsInVirtualTime) {
  order.clear();
  const auto one = platform::start_thread(
      [](void *) {
        for (int turn = 0; turn < 3; ++turn) {
          platform::sleep_ms(100);
          order += 'a';
        }
      },
      nullptr);
  const auto other = platform::start_thread(
      [](void *) {
        platform::sleep_ms(150);
        order += 'b';
      },
      nullptr);
  platform::sleep_ms(250);
  order += 'm';
  EXPECT_EQ("abam", order);
  EXPECT_TRUE(platform::wait_for(one.thread.get(), platform::wait_forever));
  EXPECT_EQ("abama", order);
  EXPECT_EQ(300U, now());
}

TEST(StandInThreads, GoOnInTheOrderOfTheirWaits) {
  const auto routine = [](void *) {
    platform::sleep_ms(100);
    order += 't';
  };
  order.clear();
  const auto one = platform::start_thread(routine, nullptr);
  platform::sleep_ms(0);
  platform::sleep_ms(100);
  order += 'm';
  EXPECT_EQ("tm", order);
  given_main_thread_first();
  const auto other = platform::start_thread(routine, nullptr);
  platform::sleep_ms(100);
  order += 'm';
  platform::sleep_ms(1);
  EXPECT_EQ("tmmt", order);
}

TEST(StandInThreads, CanBeEndedBeforeTheyBegin) {
  steps = 0;
  const auto started = platform::start_thread([](void *) { steps = 1; }, nullptr);
  platform::terminate_thread(started.thread.get());
  platform::sleep_ms(10);
  EXPECT_EQ(0, steps);
  EXPECT_EQ(1U, threads_terminated());
}

void ask_and_keep(void *) {
  steps = platform::show_message_box("Zephon", "?", 4);
}

// ---- What the stand-in finds wrong --------------------------------------------------------

texts reported;

// Failures of the stand-in go into `reported` while a test provokes them.
class StandInFailures : public testing::Test {
 protected:
  StandInFailures() {
    reported.clear();
    report_failures_to([](const std::string &failure) { reported.push_back(failure); });
    given_file("C:\\x");
  }
  ~StandInFailures() override {
    fresh_world();
    report_failures_to([](const std::string &failure) { ADD_FAILURE() << failure; });
  }
};

TEST_F(StandInFailures, AreHandlesThatNobodyClosedUnlessTheProgramEnded) {
  EXPECT_EQ(0, status_of_exit([] {
              (void)platform::open_file("C:\\x", open_mode::read).release();
              platform::exit_program(0);
            }));
  check_world();
  EXPECT_EQ((texts{}), reported);
  fresh_world();
  void *event = platform::create_event("e").event.release();
  check_world();
  EXPECT_EQ((texts{"1 handle(s) were not closed"}), reported);
  platform::owned_handle(event).reset();
}

TEST_F(StandInFailures, AreHandlesClosedTwiceOrUsedAfterwards) {
  auto file = platform::open_file("C:\\x", open_mode::read);
  void *handle = file.get();
  file.reset();
  platform::owned_handle(handle).reset();
  platform::set_event(handle);
  EXPECT_EQ(
      (texts{"a handle was closed that is not open", "set_event of a handle that is not open"}),
      reported);
}

TEST_F(StandInFailures, AreNotHandlesOfAnOldWorld) {
  auto file = platform::open_file("C:\\x", open_mode::read);
  fresh_world();
  file.reset();
  EXPECT_EQ((texts{}), reported);
}

TEST_F(StandInFailures, AreReadsThatAnOpenWriteEndKeepsWaiting) {
  given_tool("t", prints("").stays());
  auto pipe = platform::create_pipe();
  const auto heir = platform::start_process("t", {});  // inherits everything
  EXPECT_THROW((void)door::read_to_end(pipe->read_end.get()), stuck);
  EXPECT_EQ((texts{"nothing can end these waits:\n  the main thread reads from a pipe whose write "
                   "end the launcher itself holds open"}),
            reported);
  pipe->write_end.reset();
  fresh_launch();
}

TEST_F(StandInFailures, AreReadsThatAnHeirOfTheWriteEndKeepsWaiting) {
  given_tool("service", prints("").stays());
  auto pipe = platform::create_pipe();
  const auto started = platform::start_process("service", {});  // inherits everything
  pipe->write_end.reset();
  EXPECT_THROW((void)door::read_to_end(pipe->read_end.get()), stuck);
}

TEST_F(StandInFailures, AreWaitsWithoutAnEnd) {
  const auto started = platform::start_thread(ask_and_keep, nullptr);
  EXPECT_THROW((void)platform::wait_for(started.thread.get(), platform::wait_forever), stuck);
  ASSERT_EQ(1U, reported.size());
  EXPECT_NE(std::string::npos, reported[0].find("the main thread waits for the end of thread"));
  EXPECT_NE(std::string::npos, reported[0].find("shows the message box \"?\""));
}

void wait_without_end() {
  for (;;) {
    platform::sleep_ms(1);
  }
}

TEST_F(StandInFailures, AreMoreWaitsThanALauncherNeedsButNotThanAFuzzerAllows) {
  EXPECT_THROW(wait_without_end(), gave_up);
  EXPECT_EQ(1U, reported.size());
  fresh_world();
  give_up_after(3);
  EXPECT_THROW(wait_without_end(), gave_up);
  EXPECT_EQ(3U, now());
  EXPECT_EQ(1U, reported.size());
}

TEST_F(StandInFailures, AreHandlesOfAThreadThatWasEnded) {
  const auto started = platform::start_thread(
      [](void *) {
        const auto file = platform::open_file("C:\\x", open_mode::read);
        platform::sleep_ms(platform::wait_forever);
      },
      nullptr);
  platform::sleep_ms(1);
  platform::terminate_thread(started.thread.get());
  check_world();
  ASSERT_LE(1U, reported.size());
  EXPECT_EQ("a thread that was ended from outside owned 1 handle(s): they are lost", reported[0]);
}

TEST_F(StandInFailures, AreLibrariesThatStayLoadedOrAreReleasedTwice) {
  void *library = platform::load_system_library("mpr.dll");
  check_world();
  platform::free_library(library);
  platform::free_library(library);
  EXPECT_EQ((texts{"1 library(s) were not released", "a library was released that is not loaded"}),
            reported);
}

TEST_F(StandInFailures, AreStandardHandlesForAProgramThatInheritsNothing) {
  given_tool("t");
  platform::start_settings settings;
  settings.give_standard_handles = true;
  settings.handles = platform::inheritance::none;
  EXPECT_TRUE(platform::start_process("t", settings).process);
  EXPECT_EQ(1U, reported.size());
}

}  // namespace
