// What the scripted Windows does when a test tells it to, what it remembers of a
// launch, and what it finds wrong. How it resembles Windows is tested beside this.
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

void *own_output() {
  return platform::standard_handle(platform::standard_stream::output);
}

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

std::string output_of(const std::string &command) {
  return door::read_to_end(run_piped(command).output.get());
}

bool opens(const std::string &path, open_mode mode = open_mode::read) {
  return platform::open_file(path, mode) != nullptr;
}

void write_file(const std::string &path, open_mode mode, const std::string &text) {
  const auto file = platform::open_file(path, mode);
  ASSERT_TRUE(file);
  EXPECT_TRUE(platform::write_all(file.get(), text.data(), text.size()));
}

// ---- Variables and files ------------------------------------------------------------------

TEST(StandInVariables, AreAsTheTestSays) {
  given_variable("A", "");
  EXPECT_EQ("", platform::get_variable("a"));
  EXPECT_EQ(0U, platform::put_variable("A=" + std::string(32'765, 'x')));
  EXPECT_EQ(206U, platform::put_variable("A=" + std::string(32'766, 'x')));
  given_no_variable("A");
  given_refused_variables(1450);
  EXPECT_EQ(1450U, platform::put_variable("A=1"));
  EXPECT_EQ(std::nullopt, variable("A"));
}

TEST(StandInFiles, AreFoundOnAShare) {
  given_file("\\\\server\\share\\x", "1");
  EXPECT_TRUE(opens("//SERVER/share/x"));
  EXPECT_FALSE(opens("\\server\\share\\x"));
}

TEST(StandInFiles, AreRemembered) {
  write_file("C:\\x", open_mode::write, "one");
  write_file("C:\\x", open_mode::append, "two");
  EXPECT_EQ("onetwo", file_content("c:\\X"));
  platform::remove_file("C:\\y");
  EXPECT_EQ((texts{"C:\\x", "C:\\x"}), written_files());
  EXPECT_EQ((texts{"C:\\y"}), removed_files());
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

TEST(StandInFiles, AreNotWrittenWhenTheDiskIsFullOrThePathForbidden) {
  given_full_disk_after(4);
  const auto file = platform::open_file("C:\\x", open_mode::write);
  EXPECT_TRUE(platform::write_all(file.get(), "abc", 3));
  EXPECT_FALSE(platform::write_all(file.get(), "def", 3));
  EXPECT_EQ("abcd", file_content("C:\\x"));
  given_unwritable_path("C:\\y");
  EXPECT_FALSE(opens("C:\\y", open_mode::create));
}

TEST(StandInFiles, CanVanishBetweenTwoReadsAndComeInPieces) {
  given_file("C:\\x", "abc");
  given_last_opening("C:\\x", 1);
  given_short_reads(1);
  const auto file = platform::open_file("C:\\x", open_mode::read);
  char buffer[8];
  EXPECT_EQ(1U, platform::read_some(file.get(), buffer, sizeof buffer));
  EXPECT_FALSE(opens("C:\\x"));
  EXPECT_EQ(2U, times_opened("C:\\X"));
}

TEST(StandInDirectories, AreListedAsTheTestSays) {
  given_file("C:\\r\\zephon2\\x");
  EXPECT_EQ((texts{".", "..", "zephon2"}), platform::list_directory("C:\\R\\*.*"));
  given_listing("C:\\r", {".", "zephon2", "..", "zephon1"});
  EXPECT_EQ((texts{".", "zephon2", "..", "zephon1"}), platform::list_directory("C:\\r\\*.*"));
  given_no_listing("C:\\r");
  EXPECT_EQ(std::nullopt, platform::list_directory("C:\\r\\*.*"));
  given_no_current_directory();
  EXPECT_EQ(std::nullopt, platform::current_directory());
}

// ---- Standard output and error ------------------------------------------------------------

TEST(StandInOutput, IsKeptByStreamAndInOneOrder) {
  void *error = platform::standard_handle(platform::standard_stream::error);
  EXPECT_TRUE(platform::write_all(own_output(), "a\r\n", 3));
  EXPECT_TRUE(platform::write_all(error, "b\r\n", 3));
  EXPECT_TRUE(platform::write_all(own_output(), "c", 1));
  EXPECT_EQ("a\nc", standard_output());
  EXPECT_EQ("b\n", standard_error());
  EXPECT_EQ("a\nb\nc", both_streams());
  EXPECT_EQ("a\r\nc", standard_output_bytes());
  EXPECT_EQ("b\r\n", standard_error_bytes());
  given_broken_standard_output();
  EXPECT_FALSE(platform::write_all(own_output(), "a", 1));
}

TEST(StandInOutput, HangsUntilTheThreadIsInterrupted) {
  given_standard_output_that_hangs_after(2);
  const auto started = platform::start_thread(
      [](void *) { EXPECT_FALSE(platform::write_all(own_output(), "abc", 3)); }, nullptr);
  EXPECT_FALSE(platform::wait_for(started.thread.get(), 1000));
  platform::interrupt_thread(started.thread.get());
  EXPECT_TRUE(platform::wait_for(started.thread.get(), 1000));
  EXPECT_EQ("ab", standard_output());
}

// ---- Tools --------------------------------------------------------------------------------

TEST(StandInTools, PrintInTheirTimeAndAreRecorded) {
  given_tool("job view 7",
             prints("one\n").then_prints_error("two\n", 200).exits_with(3).used_time(70));
  EXPECT_TRUE(platform::write_all(own_output(), "before", 6));
  platform::sleep_ms(30);
  const piped_run run = run_interpreted("job view 7");
  EXPECT_EQ("one\ntwo\n", door::read_to_end(run.output.get()));
  EXPECT_EQ(230U, now());
  EXPECT_EQ(3U, platform::exit_code(run.started.process.get()));
  EXPECT_EQ(70U, platform::processor_time(run.started.process.get()));
  const started_command &record = started_commands().at(0);
  EXPECT_EQ("job view 7", record.command);
  EXPECT_EQ("cmd.exe /c job view 7", record.command_line);
  EXPECT_EQ(30U, record.at);
  EXPECT_EQ("before", record.said_before);
  EXPECT_EQ(run.started.id, record.id);
  EXPECT_EQ(output_place::pipe, record.output);
  EXPECT_EQ(platform::inheritance::listed, record.handles);
}

TEST(StandInTools, AreRecordedWithTheirSettings) {
  given_tool("t");
  platform::start_settings settings;
  settings.hidden = true;
  settings.detached = true;
  settings.grouped = true;
  settings.environment = "A=1\0B=2\0";
  EXPECT_TRUE(platform::start_process("t", settings).process);
  const started_command first = started_commands().at(0);
  EXPECT_TRUE(first.hidden && first.detached && first.grouped && !first.gives_standard_handles);
  EXPECT_EQ(std::string("A=1\0B=2\0\0", 9), first.environment);
  settings.environment = "\0";
  EXPECT_TRUE(platform::start_process("t", settings).process);
  EXPECT_EQ(std::string(2, '\0'), started_commands().at(1).environment);
}

TEST(StandInTools, AnswerInTurnAndByTheRuleThatWasGivenLast) {
  given_tool_with("job", prints("any"));
  given_tool("job new", prints("1"));
  given_tool("job new", prints("2"));
  given_tool_for([](const std::string &command) { return command.size() == 5; }, prints("five"));
  EXPECT_EQ("1", output_of("job new"));
  EXPECT_EQ("2", output_of("job new"));
  EXPECT_EQ("2", output_of("job new"));
  EXPECT_EQ("any", output_of("job add"));
  EXPECT_EQ("five", output_of("job x"));
}

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

TEST(StandInTools, GoOnWithoutTheirInterpreterButNotWithoutTheirGroup) {
  given_tool("t", prints("1").stays());
  platform::start_settings settings;
  settings.grouped = true;
  settings.is_interpreter = true;
  const auto started = platform::start_process("cmd.exe /c t", settings);
  platform::terminate_process(started.process.get(), 9);
  EXPECT_TRUE(process_runs(started.id));
  platform::terminate_group(started.group.get(), 9);
  EXPECT_FALSE(process_runs(started.id));
  given_no_groups();
  EXPECT_FALSE(platform::start_process("cmd.exe /c t", settings).group);
}

TEST(StandInTools, WaitWhenThePipeIsFullAndEndWhenNobodyReadsIt) {
  given_tool("t", prints(std::string(100'000, 'x')));
  piped_run run = run_piped("t");
  EXPECT_FALSE(platform::wait_for(run.started.process.get(), 1'000'000));
  run.output.reset();
  EXPECT_TRUE(platform::wait_for(run.started.process.get(), 1));
}

TEST(StandInTools, PrintOnTheLaunchersOwnOutputOrIntoAFile) {
  given_tool("solver", prints("out\n").then_prints_error("err\n"));
  const auto file = platform::open_file("C:\\out", open_mode::write);
  platform::start_settings settings;
  settings.give_standard_handles = true;
  settings.error = platform::standard_handle(platform::standard_stream::error);
  for (void *output : {own_output(), file.get()}) {
    settings.output = output;
    const auto started = platform::start_process("solver", settings);
    EXPECT_TRUE(platform::wait_for(started.process.get(), platform::wait_forever));
  }
  EXPECT_EQ("out\nerr\nerr\n", both_streams());
  EXPECT_EQ("out\n", file_content("C:\\out"));
  EXPECT_EQ(output_place::standard_output, started_commands().at(0).output);
  EXPECT_EQ(output_place::file, started_commands().at(1).output);
  EXPECT_EQ(output_place::standard_error, started_commands().at(1).error_output);
}

TEST(StandInTools, RunInTheConsoleOrWithTheirOutputDropped) {
  given_tool("t", prints("out").does([] { given_file("C:\\made", "1"); }));
  EXPECT_EQ(0, run_in_console("t"));
  run_without_output("t");
  EXPECT_TRUE(file_exists("C:\\made"));
  EXPECT_EQ((texts{"t", "t"}), commands());
  EXPECT_EQ(start_way::in_console, started_commands().at(0).way);
  EXPECT_EQ(start_way::output_discarded, started_commands().at(1).way);
}

// ---- Threads and time ---------------------------------------------------------------------

int steps = 0;
std::string order;

TEST(StandInThreads, RunWhenTheMainThreadWaitsOrAtOnce) {
  steps = 0;
  const auto one = platform::start_thread([](void *) { ++steps; }, nullptr);
  EXPECT_EQ(0, steps);
  EXPECT_TRUE(platform::wait_for(one.thread.get(), platform::wait_forever));
  EXPECT_EQ(1, steps);
  given_threads_that_run_at_once();
  const auto other = platform::start_thread([](void *) { ++steps; }, nullptr);
  EXPECT_EQ(2, steps);
  EXPECT_EQ(2U, threads_started());
  EXPECT_EQ(0U, threads_alive());
  given_no_threads();
  EXPECT_FALSE(platform::start_thread([](void *) {}, nullptr).thread);
}

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

TEST(StandInTime, PassesOnlyInWaitsAndBringsWhatWasPutOff) {
  given_time(1'000'000);
  EXPECT_EQ(1'000'000, platform::current_time());
  after(1'999, [] { given_file("C:\\late"); });
  platform::sleep_ms(1'998);
  EXPECT_FALSE(file_exists("C:\\late"));
  platform::sleep_ms(1);
  EXPECT_TRUE(file_exists("C:\\late"));
  EXPECT_EQ(1'000'001, platform::current_time());
}

TEST(StandInEvents, AreSetByNameInTheirTime) {
  const auto created = platform::create_event("for_print_thread");
  after(70, [] { set_events_named("other"); });
  after(90, [] { set_events_named("for_print_thread"); });
  EXPECT_TRUE(platform::wait_for(created.event.get(), 1'000));
  EXPECT_EQ(90U, now());
  EXPECT_EQ((texts{"for_print_thread"}), events_created());
}

// ---- Message boxes ------------------------------------------------------------------------

TEST(StandInBoxes, AreAnsweredAsTheTestSays) {
  given_box_answer(pressed_yes, 200);
  given_box_answer(pressed_no, 300);
  given_box_that_cannot_be_shown();
  EXPECT_EQ(pressed_yes, platform::show_message_box("Zephon", "first?", 4));
  EXPECT_EQ(200U, now());
  EXPECT_EQ(pressed_no, platform::show_message_box("Zephon", "second?", 4));
  EXPECT_EQ(500U, now());
  EXPECT_EQ(0, platform::show_message_box("", "third", 64));
  EXPECT_EQ(pressed_ok, platform::show_message_box("", "without an answer", 64));
  ASSERT_EQ(4U, message_boxes().size());
  EXPECT_EQ("Zephon", message_boxes()[0].caption);
  EXPECT_EQ("first?", message_boxes()[0].text);
  EXPECT_EQ(4U, message_boxes()[0].style);
  EXPECT_EQ(box_end::answered, message_boxes()[1].end);
  EXPECT_EQ(box_end::not_shown, message_boxes()[2].end);
}

void ask_and_keep(void *) {
  steps = platform::show_message_box("Zephon", "?", 4);
}

TEST(StandInBoxes, StayOnOtherThreadsAndCanRefuseToClose) {
  const auto started = platform::start_thread(ask_and_keep, nullptr);
  EXPECT_FALSE(platform::wait_for(started.thread.get(), 1'000'000));
  platform::close_message_boxes(started.id);
  EXPECT_TRUE(platform::wait_for(started.thread.get(), 10));
  EXPECT_EQ(box_end::closed, message_boxes()[0].end);
  EXPECT_EQ(1'000'000U, message_boxes()[0].ended_at);
  given_box_closing(pressed_cancel, never);
  const auto other = platform::start_thread(ask_and_keep, nullptr);
  platform::sleep_ms(100);
  platform::close_message_boxes(other.id);
  EXPECT_FALSE(platform::wait_for(other.thread.get(), 1'000'000));
  platform::terminate_thread(other.thread.get());
  EXPECT_EQ(box_end::thread_ended, message_boxes()[1].end);
}

// ---- The program --------------------------------------------------------------------------

TEST(StandInProgram, TakesItsThreadsWithItOrComesBack) {
  steps = -1;
  EXPECT_EQ(3, status_of_exit([] {
              const auto started = platform::start_thread(ask_and_keep, nullptr);
              platform::sleep_ms(10);
              platform::exit_program(3);
            }));
  EXPECT_EQ(0U, threads_alive());
  EXPECT_EQ(-1, steps);
  EXPECT_EQ(1U, open_handles_at_exit());
  EXPECT_EQ(std::nullopt, status_of_exit([] {}));
}

TEST(StandInProgram, EndsAtCtrlCWithItsHandlerOrWithoutOne) {
  EXPECT_EQ(1, status_of_exit([] {
              (void)platform::set_interrupt_handler([](int) {
                platform::sleep_ms(1000);
                platform::exit_program(1);
              });
              given_ctrl_c_after(100);
              platform::sleep_ms(platform::wait_forever);
            }));
  EXPECT_EQ(1100U, now());
  steps = 0;
  platform::at_exit([] { steps = 1; });
  EXPECT_EQ(static_cast<int>(0xC000013AU), status_of_exit([] {
              given_ctrl_c_after(100);
              platform::sleep_ms(platform::wait_forever);
            }));
  EXPECT_EQ(0, steps);
}

TEST(StandInProgram, IgnoresCtrlCWhenTold) {
  platform::ignore_ctrl_c();
  given_ctrl_c_after(100);
  platform::sleep_ms(200);
  EXPECT_TRUE(ctrl_c_is_ignored());
}

TEST(StandInProgram, KnowsWhatTheTestSays) {
  given_windows_version(0x80000004UL);
  given_process_id(12);
  EXPECT_EQ(0x80000004UL, platform::windows_version());
  EXPECT_EQ(12U, platform::process_id());
}

TEST(StandInNetwork, KnowsTheUniversalNamesOfItsDrives) {
  given_network_drive("X:", "\\\\server\\share");
  void *library = platform::load_system_library("MPR.dll");
  EXPECT_EQ("\\\\server\\share\\a", platform::universal_name(library, "x:\\a"));
  platform::free_library(library);
  EXPECT_EQ(1U, times_loaded("mpr.dll"));
  given_no_library("mpr.dll");
  EXPECT_EQ(nullptr, platform::load_system_library("mpr.dll"));
}

TEST(StandInLaunch, BeginsWithAFreshStateAndItsArguments) {
  state.num_procs = 8;
  given_variable("A", "1");
  fresh_launch();
  EXPECT_EQ(1, state.num_procs);
  EXPECT_EQ(std::nullopt, variable("A"));
  char **arguments = given_arguments({"--np=4", "a b"});
  EXPECT_EQ(3, state.arg_count);
  EXPECT_STREQ("mpirun.exe", arguments[0]);
  EXPECT_STREQ("a b", arguments[2]);
  EXPECT_EQ(nullptr, arguments[3]);
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
