// Tests of the stand-in for Windows: what the other unit tests rely on.
#include "support/platform_stand_in.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/platform.h"
#include "support/fresh_launch.h"

using namespace stand_in;

namespace {

// Failures of the stand-in go here in tests that provoke them.
std::vector<std::string> reported;

void take_report(const std::string &failure) {
  reported.push_back(failure);
}

void fail_the_test(const std::string &failure) {
  ADD_FAILURE() << failure;
}

struct provoked_failures {
  provoked_failures() {
    reported.clear();
    report_failures_to(take_report);
  }
  ~provoked_failures() {
    fresh_world();
    report_failures_to(fail_the_test);
  }
};

std::string read_all(void *handle, std::size_t size = 100) {
  std::string text;
  std::string piece(size, '\0');
  while (const std::size_t got = platform::read_some(handle, piece.data(), size)) {
    text.append(piece, 0, got);
  }
  return text;
}

// A tool with its output in a pipe, as the launcher runs its tools.
struct piped_run {
  platform::owned_handle output;
  platform::started_process started;
};

piped_run run_piped(const std::string &command) {
  auto pipe = platform::create_pipe();
  platform::start_settings settings;
  settings.give_standard_handles = true;
  settings.output = pipe->write_end.get();
  settings.error = pipe->write_end.get();
  settings.handles = platform::inheritance::listed;
  piped_run run;
  run.started = platform::start_process(command, settings);
  run.output = std::move(pipe->read_end);
  return run;
}

void write_text_file(const std::string &path, platform::open_mode mode, const std::string &text) {
  const auto file = platform::open_file(path, mode);
  ASSERT_TRUE(file);
  EXPECT_TRUE(platform::write_all(file.get(), text.data(), text.size()));
}

// ---- Environment --------------------------------------------------------------------------

TEST(StandInVariables, TakeCapitalAndSmallLettersForTheSame) {
  given_variable("Temp", "C:\\temp");
  EXPECT_EQ("C:\\temp", platform::get_variable("TEMP"));
}

TEST(StandInVariables, AreRemovedByAnEmptyValue) {
  given_variable("A", "1");
  EXPECT_EQ(0U, platform::put_variable("a="));
  EXPECT_EQ(std::nullopt, platform::get_variable("A"));
}

TEST(StandInVariables, CanHaveAnEmptyValueFromOutside) {
  given_variable("A", "");
  EXPECT_EQ("", platform::get_variable("A"));
}

TEST(StandInVariables, AreReplacedWhenSetAgain) {
  EXPECT_EQ(0U, platform::put_variable("A=1"));
  EXPECT_EQ(0U, platform::put_variable("A=x=y"));
  EXPECT_EQ("x=y", variable("A"));
}

TEST(StandInVariables, RefuseAValueThatIsTooLong) {
  EXPECT_EQ(0U, platform::put_variable("A=" + std::string(32'766, 'x')));
  EXPECT_EQ(206U, platform::put_variable("A=" + std::string(32'767, 'x')));
}

TEST(StandInVariables, RefuseATextWithoutAName) {
  EXPECT_EQ(87U, platform::put_variable("A"));
  EXPECT_EQ(87U, platform::put_variable("=1"));
}

TEST(StandInVariables, CanBeRefusedWithAnyError) {
  given_refused_variables(1450);
  EXPECT_EQ(1450U, platform::put_variable("A=1"));
  EXPECT_EQ(std::nullopt, variable("A"));
}

// ---- Files --------------------------------------------------------------------------------

TEST(StandInFiles, AreReadInPieces) {
  given_file("C:\\a\\b.txt", "hello");
  const auto file = platform::open_file("c:/A/B.TXT", platform::open_mode::read);
  ASSERT_TRUE(file);
  EXPECT_EQ("hello", read_all(file.get(), 2));
}

TEST(StandInFiles, AreFoundRelativeToTheCurrentDirectory) {
  given_current_directory("D:\\run");
  given_file("D:\\run\\sub\\x", "1");
  EXPECT_TRUE(platform::open_file("sub\\.\\x", platform::open_mode::read));
  EXPECT_TRUE(platform::open_file("\\run\\sub\\x", platform::open_mode::read));
  EXPECT_TRUE(platform::open_file("..\\run\\\\sub\\x", platform::open_mode::read));
  EXPECT_FALSE(platform::open_file("x", platform::open_mode::read));
}

TEST(StandInFiles, AreFoundOnAShare) {
  given_file("\\\\server\\share\\x", "1");
  EXPECT_TRUE(platform::open_file("//SERVER/share/x", platform::open_mode::read));
  EXPECT_FALSE(platform::open_file("\\server\\share\\x", platform::open_mode::read));
}

TEST(StandInFiles, CanBeMissingUnreadableOrDirectories) {
  given_unreadable_file("C:\\locked");
  given_directory("C:\\folder");
  EXPECT_FALSE(platform::open_file("C:\\missing", platform::open_mode::read));
  EXPECT_FALSE(platform::open_file("C:\\locked", platform::open_mode::read));
  EXPECT_FALSE(platform::open_file("C:\\folder", platform::open_mode::read));
  EXPECT_FALSE(platform::open_file("C:\\folder", platform::open_mode::write));
  EXPECT_FALSE(platform::open_file("", platform::open_mode::read));
  EXPECT_FALSE(platform::open_file("C:\\\"a\"", platform::open_mode::write));
}

TEST(StandInFiles, KeepWhatWasWritten) {
  write_text_file("C:\\x", platform::open_mode::write, "one");
  write_text_file("C:\\x", platform::open_mode::append, "two");
  EXPECT_EQ("onetwo", file_content("c:\\X"));
  write_text_file("C:\\x", platform::open_mode::write, "3");
  EXPECT_EQ("3", file_content("C:\\x"));
  EXPECT_EQ((std::vector<std::string>{"C:\\x", "C:\\x", "C:\\x"}), written_files());
}

TEST(StandInFiles, AppendEachWriteAtTheEnd) {
  const auto one = platform::open_file("C:\\log", platform::open_mode::append);
  const auto other = platform::open_file("C:\\log", platform::open_mode::append);
  EXPECT_TRUE(platform::write_all(one.get(), "a", 1));
  EXPECT_TRUE(platform::write_all(other.get(), "b", 1));
  EXPECT_TRUE(platform::write_all(one.get(), "c", 1));
  EXPECT_EQ("abc", file_content("C:\\log"));
}

TEST(StandInFiles, AreCreatedOnlyWhereThereIsNone) {
  EXPECT_TRUE(platform::open_file("C:\\new", platform::open_mode::create));
  EXPECT_FALSE(platform::open_file("C:\\NEW", platform::open_mode::create));
}

TEST(StandInFiles, AreReachedThroughLinksButNotCreatedThere) {
  given_file("C:\\secret", "old");
  given_link("C:\\temp\\x", "C:\\secret");
  EXPECT_FALSE(platform::open_file("C:\\temp\\x", platform::open_mode::create));
  write_text_file("C:\\temp\\x", platform::open_mode::write, "new");
  EXPECT_EQ("new", file_content("C:\\secret"));
  platform::remove_file("C:\\temp\\x");
  EXPECT_TRUE(file_exists("C:\\secret"));
  EXPECT_TRUE(platform::open_file("C:\\temp\\x", platform::open_mode::create));
}

TEST(StandInFiles, AreNotReachedThroughLinksInACircle) {
  given_link("C:\\a", "C:\\b");
  given_link("C:\\b", "C:\\a");
  EXPECT_FALSE(platform::open_file("C:\\a", platform::open_mode::read));
}

TEST(StandInFiles, AreNotWrittenWhenTheDiskIsFull) {
  given_full_disk_after(4);
  const auto file = platform::open_file("C:\\x", platform::open_mode::write);
  EXPECT_TRUE(platform::write_all(file.get(), "abc", 3));
  EXPECT_FALSE(platform::write_all(file.get(), "def", 3));
  EXPECT_EQ("abcd", file_content("C:\\x"));
}

TEST(StandInFiles, CanRefuseToBeWritten) {
  given_unwritable_path("C:\\x");
  EXPECT_FALSE(platform::open_file("C:\\x", platform::open_mode::write));
  EXPECT_FALSE(platform::open_file("C:\\x", platform::open_mode::create));
}

TEST(StandInFiles, CanVanishBetweenTwoReads) {
  given_file("C:\\x", "1");
  given_last_opening("C:\\x", 2);
  EXPECT_TRUE(platform::open_file("C:\\x", platform::open_mode::read));
  EXPECT_TRUE(platform::open_file("C:\\x", platform::open_mode::read));
  EXPECT_FALSE(platform::open_file("C:\\x", platform::open_mode::read));
  EXPECT_EQ(3U, times_opened("C:\\X"));
}

TEST(StandInFiles, ComeInShortReadsWhenAsked) {
  given_file("C:\\x", "abc");
  given_short_reads(1);
  const auto file = platform::open_file("C:\\x", platform::open_mode::read);
  char buffer[8];
  EXPECT_EQ(1U, platform::read_some(file.get(), buffer, sizeof buffer));
}

TEST(StandInDirectories, ListTheirFilesBehindTheDots) {
  given_file("C:\\r\\zephon2\\x");
  given_file("C:\\r\\Zephon1\\x");
  given_directory("C:\\r\\empty");
  EXPECT_EQ((std::vector<std::string>{".", "..", "empty", "Zephon1", "zephon2"}),
            platform::list_directory("C:\\R\\*.*"));
}

TEST(StandInDirectories, ListWhatThePatternMatches) {
  given_file("C:\\r\\zephon2\\x");
  given_file("C:\\r\\other");
  EXPECT_EQ((std::vector<std::string>{"zephon2"}), platform::list_directory("C:\\r\\ze*n?"));
  EXPECT_EQ(std::nullopt, platform::list_directory("C:\\r\\nothing*"));
}

TEST(StandInDirectories, ListInTheOrderThatTheTestSays) {
  given_listing("C:\\r", {".", "zephon2", "..", "zephon1"});
  EXPECT_EQ((std::vector<std::string>{".", "zephon2", "..", "zephon1"}),
            platform::list_directory("C:\\r\\*.*"));
}

TEST(StandInDirectories, CannotBeListedWhenMissingOrForbidden) {
  given_directory("C:\\r");
  EXPECT_TRUE(platform::list_directory("C:\\r\\*.*"));
  given_no_listing("C:\\r");
  EXPECT_EQ(std::nullopt, platform::list_directory("C:\\r\\*.*"));
  EXPECT_EQ(std::nullopt, platform::list_directory("C:\\missing\\*.*"));
}

// ---- Standard output and error ------------------------------------------------------------

TEST(StandInOutput, IsKeptByStreamAndInOneOrder) {
  void *output = platform::standard_handle(platform::standard_stream::output);
  void *error = platform::standard_handle(platform::standard_stream::error);
  EXPECT_TRUE(platform::write_all(output, "a\r\n", 3));
  EXPECT_TRUE(platform::write_all(error, "b\r\n", 3));
  EXPECT_TRUE(platform::write_all(output, "c", 1));
  EXPECT_EQ("a\nc", standard_output());
  EXPECT_EQ("b\n", standard_error());
  EXPECT_EQ("a\nb\nc", both_streams());
  EXPECT_EQ("a\r\nc", standard_output_bytes());
  EXPECT_EQ("b\r\n", standard_error_bytes());
}

TEST(StandInOutput, CanBeAbsentOrBroken) {
  given_broken_standard_output();
  EXPECT_FALSE(
      platform::write_all(platform::standard_handle(platform::standard_stream::output), "a", 1));
  given_no_standard_handles();
  EXPECT_EQ(nullptr, platform::standard_handle(platform::standard_stream::error));
}

TEST(StandInOutput, HangsUntilTheThreadIsInterrupted) {
  given_standard_output_that_hangs_after(2);
  const auto started = platform::start_thread(
      [](void *) {
        void *output = platform::standard_handle(platform::standard_stream::output);
        EXPECT_FALSE(platform::write_all(output, "abc", 3));
      },
      nullptr);
  EXPECT_FALSE(platform::wait_for(started.thread.get(), 1000));
  platform::interrupt_thread(started.thread.get());
  EXPECT_TRUE(platform::wait_for(started.thread.get(), 1000));
  EXPECT_EQ("ab", standard_output());
}

// ---- Tools --------------------------------------------------------------------------------

TEST(StandInTools, PrintIntoThePipeAndEnd) {
  given_tool("job view 7", prints("one\n").then_prints_error("two\n", 200).exits_with(3));
  const piped_run run = run_piped("cmd.exe /c job view 7");
  EXPECT_EQ("one\ntwo\n", read_all(run.output.get()));
  EXPECT_EQ(3U, platform::exit_code(run.started.process.get()));
  EXPECT_EQ(200U, now());
  EXPECT_EQ("job view 7", started_commands().at(0).command);
  EXPECT_EQ("cmd.exe /c job view 7", started_commands().at(0).command_line);
  EXPECT_EQ(output_place::pipe, started_commands().at(0).output);
}

TEST(StandInTools, AnswerInTurnAndThenAlwaysTheSame) {
  given_tool("t", prints("1"));
  given_tool("t", prints("2"));
  EXPECT_EQ("1", read_all(run_piped("t").output.get()));
  EXPECT_EQ("2", read_all(run_piped("t").output.get()));
  EXPECT_EQ("2", read_all(run_piped("t").output.get()));
}

TEST(StandInTools, FollowTheRuleThatWasGivenLast) {
  given_tool_with("job", prints("any"));
  given_tool("job new", prints("new"));
  given_tool_for([](const std::string &command) { return command.size() == 5; }, prints("five"));
  EXPECT_EQ("any", read_all(run_piped("job add").output.get()));
  EXPECT_EQ("new", read_all(run_piped("job new").output.get()));
  EXPECT_EQ("five", read_all(run_piped("job x").output.get()));
}

TEST(StandInTools, AreNotFoundByTheInterpreterWhenUnknown) {
  const piped_run run = run_piped("cmd.exe /c nothing here");
  EXPECT_EQ(
      "'nothing' is not recognized as an internal or external command,\r\n"
      "operable program or batch file.\r\n",
      read_all(run.output.get()));
  EXPECT_EQ(1U, platform::exit_code(run.started.process.get()));
}

TEST(StandInTools, CannotBeStartedDirectlyWhenUnknown) {
  const auto started = platform::start_process("nothing here", {});
  EXPECT_FALSE(started.process);
  EXPECT_EQ(2U, started.error);
  EXPECT_EQ(2U, started_commands().at(0).error);
}

TEST(StandInTools, AreRefusedAsWindowsRefusesThem) {
  given_tool_with("", prints(""));
  given_tool("denied", cannot_start(5));
  EXPECT_EQ(87U, platform::start_process("", {}).error);
  EXPECT_EQ(2U, platform::start_process(" x", {}).error);
  EXPECT_EQ(5U, platform::start_process("denied", {}).error);
  EXPECT_EQ(0U, platform::start_process(std::string(32'766, 'x'), {}).error);
  EXPECT_EQ(206U, platform::start_process(std::string(32'767, 'x'), {}).error);
  const std::string too_long = "cmd.exe /c " + std::string(8'181, 'x');
  EXPECT_EQ("The command line is too long.\r\n", read_all(run_piped(too_long).output.get()));
}

TEST(StandInTools, StillRunAfterTheirOutputIsClosed) {
  given_tool("t", prints("x").lives_on());
  const piped_run run = run_piped("t");
  EXPECT_EQ("x", read_all(run.output.get()));
  EXPECT_EQ(platform::process_still_active, platform::exit_code(run.started.process.get()));
  EXPECT_TRUE(process_runs(run.started.id));
  platform::terminate_process(run.started.process.get(), 9);
  EXPECT_EQ(9U, platform::exit_code(run.started.process.get()));
  EXPECT_EQ(9U, terminated_with(run.started.id));
}

TEST(StandInTools, GoOnWithoutTheInterpreterThatStartedThem) {
  given_tool("t", prints("1").then_prints("2", 100));
  const piped_run run = run_piped("cmd.exe /c t");
  platform::terminate_process(run.started.process.get(), 9);
  EXPECT_EQ(9U, platform::exit_code(run.started.process.get()));
  EXPECT_TRUE(process_runs(run.started.id));
  EXPECT_EQ("12", read_all(run.output.get()));
  EXPECT_FALSE(process_runs(run.started.id));
  EXPECT_EQ(9U, platform::exit_code(run.started.process.get()));
}

TEST(StandInTools, EndWithTheirGroup) {
  given_tool("t", prints("1").stays());
  platform::start_settings settings;
  settings.grouped = true;
  const auto started = platform::start_process("cmd.exe /c t", settings);
  platform::terminate_group(started.group.get(), 9);
  EXPECT_EQ(9U, platform::exit_code(started.process.get()));
  EXPECT_FALSE(process_runs(started.id));
  EXPECT_TRUE(started_commands().at(0).grouped);
  given_no_groups();
  EXPECT_FALSE(platform::start_process("cmd.exe /c t", settings).group);
}

TEST(StandInTools, EndWhenTheirTimeHasCome) {
  given_tool("t", prints("x").stays(500).lives_on(250).exits_with(4));
  const piped_run run = run_piped("t");
  EXPECT_EQ("x", read_all(run.output.get()));
  EXPECT_EQ(500U, now());
  EXPECT_FALSE(platform::wait_for(run.started.process.get(), 249));
  EXPECT_TRUE(platform::wait_for(run.started.process.get(), 1));
  EXPECT_EQ(4U, platform::exit_code(run.started.process.get()));
}

TEST(StandInTools, WaitWhenThePipeIsFull) {
  given_tool("t", prints(std::string(100'000, 'x')));
  const piped_run run = run_piped("t");
  EXPECT_FALSE(platform::wait_for(run.started.process.get(), 1'000'000));
  EXPECT_EQ(100'000U, read_all(run.output.get(), 1000).size());
  EXPECT_TRUE(platform::wait_for(run.started.process.get(), platform::wait_forever));
}

TEST(StandInTools, EndWhenNobodyReadsTheirPipe) {
  given_tool("t", prints(std::string(100'000, 'x')));
  piped_run run = run_piped("t");
  platform::sleep_ms(1);
  run.output.reset();
  EXPECT_TRUE(platform::wait_for(run.started.process.get(), 1));
}

TEST(StandInTools, PrintOnTheLaunchersOwnOutput) {
  given_tool("solver", prints("out\n").then_prints_error("err\n"));
  platform::start_settings settings;
  settings.give_standard_handles = true;
  settings.output = platform::standard_handle(platform::standard_stream::output);
  settings.error = platform::standard_handle(platform::standard_stream::error);
  const auto started = platform::start_process("solver", settings);
  EXPECT_TRUE(platform::wait_for(started.process.get(), platform::wait_forever));
  EXPECT_EQ("out\nerr\n", both_streams());
  EXPECT_EQ(output_place::standard_error, started_commands().at(0).error_output);
}

TEST(StandInTools, PrintIntoAFile) {
  given_tool("solver", prints("out"));
  const auto file = platform::open_file("C:\\out", platform::open_mode::write);
  platform::start_settings settings;
  settings.give_standard_handles = true;
  settings.output = file.get();
  const auto started = platform::start_process("solver", settings);
  EXPECT_TRUE(platform::wait_for(started.process.get(), platform::wait_forever));
  EXPECT_EQ("out", file_content("C:\\out"));
}

TEST(StandInTools, AreRecordedAsTheyWereAskedFor) {
  given_tool("t", exits_with(0).used_time(70));
  void *output = platform::standard_handle(platform::standard_stream::output);
  EXPECT_TRUE(platform::write_all(output, "before", 6));
  platform::sleep_ms(30);
  platform::start_settings settings;
  settings.hidden = true;
  settings.detached = true;
  settings.title = "Job";
  settings.environment = "A=1\0B=2\0";
  settings.handles = platform::inheritance::none;
  const auto started = platform::start_process("t", settings);
  const started_command &record = started_commands().at(0);
  EXPECT_EQ(30U, record.at);
  EXPECT_EQ("before", record.said_before);
  EXPECT_EQ(started.id, record.id);
  EXPECT_TRUE(record.hidden);
  EXPECT_TRUE(record.detached);
  EXPECT_EQ("Job", record.title);
  EXPECT_EQ(std::string("A=1\0B=2\0\0", 9), record.environment);
  EXPECT_FALSE(record.gives_standard_handles);
  EXPECT_EQ(platform::inheritance::none, record.handles);
  EXPECT_EQ(70U, platform::processor_time(started.process.get()));
}

TEST(StandInTools, RecordAnEmptyEnvironmentBlock) {
  given_tool("t");
  platform::start_settings settings;
  settings.environment = "\0";
  EXPECT_TRUE(platform::start_process("t", settings).process);
  EXPECT_EQ(std::string(2, '\0'), started_commands().at(0).environment);
}

TEST(StandInTools, RunInTheConsoleToTheirEnd) {
  given_tool("ver", prints("Windows\r\n", 100).exits_with(7));
  EXPECT_EQ(7, platform::run_in_console("ver"));
  EXPECT_EQ("Windows\n", standard_output());
  EXPECT_EQ(100U, now());
  EXPECT_EQ(start_way::in_console, started_commands().at(0).way);
  given_no_command_interpreter();
  EXPECT_EQ(-1, platform::run_in_console("ver"));
}

TEST(StandInTools, RunWithTheirOutputDropped) {
  given_tool("ver", prints("Windows\r\n").then_prints_error("oops"));
  platform::run_and_discard_output("ver");
  EXPECT_EQ("", standard_output());
  EXPECT_EQ("oops", standard_error());
  EXPECT_EQ(start_way::output_discarded, started_commands().at(0).way);
}

TEST(StandInTools, DoTheirDeedWhenTheyStart) {
  given_tool("t", prints("").does([] { given_file("C:\\made", "1"); }));
  EXPECT_EQ(0, platform::run_in_console("t"));
  EXPECT_TRUE(file_exists("C:\\made"));
  EXPECT_EQ((std::vector<std::string>{"t"}), commands());
}

TEST(StandInTools, WriteSharedNumbersOnlyIntoBlocks) {
  given_shared_block(64);
  platform::write_shared_number(64, 4711);
  platform::write_shared_number(65, 4711);
  EXPECT_EQ(4711U, shared_number(64));
  EXPECT_EQ(std::nullopt, shared_number(65));
}

// ---- Threads and waiting ------------------------------------------------------------------

int steps = 0;

TEST(StandInThreads, RunWhenTheMainThreadWaits) {
  steps = 0;
  const auto started =
      platform::start_thread([](void *argument) { *static_cast<int *>(argument) = 5; }, &steps);
  EXPECT_EQ(0, steps);
  EXPECT_TRUE(platform::wait_for(started.thread.get(), platform::wait_forever));
  EXPECT_EQ(5, steps);
  EXPECT_EQ(1U, threads_started());
  EXPECT_EQ(0U, threads_alive());
}

TEST(StandInThreads, CanRunBeforeStartThreadComesBack) {
  given_threads_that_run_at_once();
  steps = 0;
  const auto started = platform::start_thread([](void *) { steps = 1; }, nullptr);
  EXPECT_EQ(1, steps);
}

TEST(StandInThreads, TakeTurnsInVirtualTime) {
  static std::string order;
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
  static std::string order;
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

  order.clear();
  given_main_thread_first();
  const auto other = platform::start_thread(routine, nullptr);
  platform::sleep_ms(100);
  order += 'm';
  platform::sleep_ms(1);
  EXPECT_EQ("mt", order);
}

TEST(StandInThreads, CanBeEndedWhereTheyWait) {
  const auto started =
      platform::start_thread([](void *) { platform::sleep_ms(platform::wait_forever); }, nullptr);
  platform::sleep_ms(10);
  EXPECT_EQ(1U, threads_alive());
  platform::terminate_thread(started.thread.get());
  EXPECT_EQ(0U, threads_alive());
  EXPECT_EQ(1U, threads_terminated());
  EXPECT_TRUE(platform::wait_for(started.thread.get(), 0));
}

TEST(StandInThreads, CanBeEndedBeforeTheyBegin) {
  steps = 0;
  const auto started = platform::start_thread([](void *) { steps = 1; }, nullptr);
  platform::terminate_thread(started.thread.get());
  platform::sleep_ms(10);
  EXPECT_EQ(0, steps);
}

TEST(StandInThreads, AreInterruptedOnlyInAReadOrWrite) {
  given_tool("t", prints("x", 500).stays());
  static void *output;
  const piped_run run = run_piped("t");
  output = run.output.get();
  steps = 0;
  const auto started = platform::start_thread(
      [](void *) {
        char letter;
        platform::sleep_ms(100);
        steps = 1;
        steps += static_cast<int>(platform::read_some(output, &letter, 1));
        steps += 10;
      },
      nullptr);
  platform::sleep_ms(50);
  platform::interrupt_thread(started.thread.get());
  platform::sleep_ms(1);
  EXPECT_EQ(0, steps);
  platform::sleep_ms(100);
  EXPECT_EQ(1, steps);
  platform::interrupt_thread(started.thread.get());
  EXPECT_TRUE(platform::wait_for(started.thread.get(), 1));
  EXPECT_EQ(11, steps);
}

TEST(StandInThreads, CanFailToStart) {
  given_no_threads();
  const auto started = platform::start_thread([](void *) {}, nullptr);
  EXPECT_FALSE(started.thread);
  EXPECT_EQ(0U, started.id);
}

TEST(StandInEvents, ResetThemselvesWhenAWaitSeesThem) {
  const auto created = platform::create_event("for_print_thread");
  EXPECT_FALSE(platform::wait_for(created.event.get(), 100));
  EXPECT_EQ(100U, now());
  platform::set_event(created.event.get());
  EXPECT_TRUE(platform::wait_for(created.event.get(), 100));
  EXPECT_FALSE(platform::wait_for(created.event.get(), 0));
  EXPECT_EQ((std::vector<std::string>{"for_print_thread"}), events_created());
}

TEST(StandInEvents, AreSetByOtherThreads) {
  static void *event;
  const auto created = platform::create_event("e");
  event = created.event.get();
  const auto started = platform::start_thread(
      [](void *) {
        platform::sleep_ms(70);
        platform::set_event(event);
      },
      nullptr);
  EXPECT_TRUE(platform::wait_for(created.event.get(), platform::wait_forever));
  EXPECT_EQ(70U, now());
}

TEST(StandInEvents, AreSetByOtherProgramsThatKnowTheName) {
  const auto created = platform::create_event("for_print_thread");
  after(70, [] { set_events_named("other"); });
  after(90, [] { set_events_named("for_print_thread"); });
  EXPECT_TRUE(platform::wait_for(created.event.get(), 1'000));
  EXPECT_EQ(90U, now());
}

TEST(StandInEvents, CanFailToBeCreated) {
  given_no_events(6);
  const auto created = platform::create_event("e");
  EXPECT_FALSE(created.event);
  EXPECT_EQ(6U, created.error);
}

TEST(StandInTime, PassesOnlyInWaits) {
  given_time(1'000'000);
  EXPECT_EQ(1'000'000, platform::current_time());
  platform::sleep_ms(1'999);
  EXPECT_EQ(1'000'001, platform::current_time());
}

TEST(StandInTime, BringsWhatWasPutOff) {
  after(100, [] { given_file("C:\\late"); });
  platform::sleep_ms(99);
  EXPECT_FALSE(file_exists("C:\\late"));
  platform::sleep_ms(1);
  EXPECT_TRUE(file_exists("C:\\late"));
}

// ---- Message boxes ------------------------------------------------------------------------

TEST(StandInBoxes, AreAnsweredAsTheTestSays) {
  given_box_answer(pressed_yes, 200);
  given_answer_to("second", pressed_no, 300);
  EXPECT_EQ(pressed_yes, platform::show_message_box("Zephon", "first?", 4));
  EXPECT_EQ(200U, now());
  EXPECT_EQ(pressed_no, platform::show_message_box("Zephon", "second?", 4));
  EXPECT_EQ(500U, now());
  ASSERT_EQ(2U, message_boxes().size());
  EXPECT_EQ("Zephon", message_boxes()[0].caption);
  EXPECT_EQ("first?", message_boxes()[0].text);
  EXPECT_EQ(4U, message_boxes()[0].style);
  EXPECT_EQ(box_end::answered, message_boxes()[1].end);
}

TEST(StandInBoxes, AreClosedWithOkOnTheMainThread) {
  EXPECT_EQ(pressed_ok, platform::show_message_box("", "notice", 64));
}

TEST(StandInBoxes, CanFailToBeShown) {
  given_box_that_cannot_be_shown();
  EXPECT_EQ(0, platform::show_message_box("", "notice", 64));
  EXPECT_EQ(box_end::not_shown, message_boxes()[0].end);
}

void ask_and_keep(void *) {
  steps = platform::show_message_box("Zephon", "?", 4);
}

TEST(StandInBoxes, StayOnOtherThreadsUntilTheyAreAskedToClose) {
  steps = -1;
  const auto started = platform::start_thread(ask_and_keep, nullptr);
  EXPECT_FALSE(platform::wait_for(started.thread.get(), 1'000'000));
  platform::close_message_boxes(started.id + 1);
  EXPECT_FALSE(platform::wait_for(started.thread.get(), 10));
  platform::close_message_boxes(started.id);
  EXPECT_TRUE(platform::wait_for(started.thread.get(), 10));
  EXPECT_EQ(pressed_yes, steps);
  EXPECT_EQ(box_end::closed, message_boxes()[0].end);
  EXPECT_EQ(1'000'010U, message_boxes()[0].ended_at);
}

TEST(StandInBoxes, CanRefuseToClose) {
  given_box_closing(pressed_cancel, never);
  const auto started = platform::start_thread(ask_and_keep, nullptr);
  platform::sleep_ms(100);
  platform::close_message_boxes(started.id);
  EXPECT_FALSE(platform::wait_for(started.thread.get(), 1'000'000));
  platform::terminate_thread(started.thread.get());
  EXPECT_EQ(box_end::thread_ended, message_boxes()[0].end);
}

// ---- The end of the program ---------------------------------------------------------------

std::string ending;

TEST(StandInProgram, GivesItsExitStatusAfterTheFunctionsAtExit) {
  ending.clear();
  platform::at_exit([] { ending += "first registered"; });
  platform::at_exit([] { ending += "last registered, "; });
  EXPECT_EQ(255, status_of_exit([] { platform::exit_program(255); }));
  EXPECT_EQ("last registered, first registered", ending);
}

TEST(StandInProgram, ComesBackWithoutAStatus) {
  EXPECT_EQ(std::nullopt, status_of_exit([] {}));
}

TEST(StandInProgram, TakesItsThreadsWithIt) {
  steps = -1;
  EXPECT_EQ(3, status_of_exit([] {
              const auto started = platform::start_thread(ask_and_keep, nullptr);
              platform::sleep_ms(10);
              platform::exit_program(3);
            }));
  EXPECT_EQ(0U, threads_alive());
  EXPECT_EQ(-1, steps);
  EXPECT_EQ(1U, open_handles_at_exit());
}

TEST(StandInProgram, CanEndOnAnotherThread) {
  EXPECT_EQ(9, status_of_exit([] {
              const auto started =
                  platform::start_thread([](void *) { platform::exit_program(9); }, nullptr);
              platform::sleep_ms(platform::wait_forever);
            }));
}

TEST(StandInProgram, CallsTheHandlerOfCtrlCOnce) {
  steps = 0;
  EXPECT_EQ(nullptr, platform::set_interrupt_handler([](int signal) { steps = signal; }));
  given_ctrl_c_after(100);
  platform::sleep_ms(99);
  EXPECT_EQ(0, steps);
  platform::sleep_ms(2);
  EXPECT_EQ(2, steps);
  EXPECT_EQ(nullptr, current_interrupt_handler());
}

TEST(StandInProgram, EndsWithTheExitOfItsHandlerOfCtrlC) {
  EXPECT_EQ(1, status_of_exit([] {
              (void)platform::set_interrupt_handler([](int) {
                platform::sleep_ms(1000);
                platform::exit_program(1);
              });
              given_ctrl_c_after(100);
              platform::sleep_ms(platform::wait_forever);
            }));
  EXPECT_EQ(1100U, now());
}

TEST(StandInProgram, EndsAtCtrlCWithoutAHandler) {
  ending.clear();
  platform::at_exit([] { ending = "at exit"; });
  EXPECT_EQ(static_cast<int>(0xC000013AU), status_of_exit([] {
              given_ctrl_c_after(100);
              platform::sleep_ms(platform::wait_forever);
            }));
  EXPECT_EQ("", ending);
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
  given_system_message(5, "denied\r\n");
  EXPECT_EQ(0x80000004UL, platform::windows_version());
  EXPECT_EQ(12U, platform::process_id());
  EXPECT_EQ("denied\r\n", platform::system_message(5));
  EXPECT_EQ("The system cannot find the file specified.\r\n", platform::system_message(2));
  EXPECT_EQ("", platform::system_message(99'999));
}

// ---- Network paths ------------------------------------------------------------------------

TEST(StandInNetwork, KnowsTheUniversalNamesOfItsDrives) {
  given_network_drive("X:", "\\\\server\\share");
  void *library = platform::load_library("MPR.dll");
  ASSERT_NE(nullptr, library);
  EXPECT_EQ("\\\\server\\share\\a", platform::universal_name(library, "x:\\a"));
  EXPECT_EQ(std::nullopt, platform::universal_name(library, "C:\\a"));
  platform::free_library(library);
  EXPECT_EQ(1U, times_loaded("mpr.dll"));
}

TEST(StandInNetwork, CanBeWithoutTheLibrary) {
  given_no_library("mpr.dll");
  EXPECT_EQ(nullptr, platform::load_library("mpr.dll"));
}

// ---- What the stand-in finds wrong --------------------------------------------------------

TEST(StandInFailures, AreHandlesThatNobodyClosed) {
  const provoked_failures provoked;
  given_file("C:\\x");
  void *file = platform::open_file("C:\\x", platform::open_mode::read).release();
  check_world();
  ASSERT_EQ(1U, reported.size());
  EXPECT_EQ("1 handle(s) were not closed", reported[0]);
  platform::owned_handle(file).reset();
  check_world();
  EXPECT_EQ(1U, reported.size());
}

TEST(StandInFailures, AreNotHandlesOpenAtTheEndOfTheProgram) {
  const provoked_failures provoked;
  given_file("C:\\x");
  EXPECT_EQ(0, status_of_exit([] {
              (void)platform::open_file("C:\\x", platform::open_mode::read).release();
              platform::exit_program(0);
            }));
  check_world();
  EXPECT_TRUE(reported.empty());
}

TEST(StandInFailures, AreHandlesClosedTwice) {
  const provoked_failures provoked;
  given_file("C:\\x");
  auto file = platform::open_file("C:\\x", platform::open_mode::read);
  void *handle = file.get();
  file.reset();
  platform::owned_handle(handle).reset();
  ASSERT_EQ(1U, reported.size());
  EXPECT_EQ("a handle was closed that is not open", reported[0]);
}

TEST(StandInFailures, AreHandlesUsedAfterTheyWereClosed) {
  const provoked_failures provoked;
  auto created = platform::create_event("e");
  void *handle = created.event.get();
  created.event.reset();
  platform::set_event(handle);
  ASSERT_EQ(1U, reported.size());
  EXPECT_EQ("set_event of a handle that is not open", reported[0]);
}

TEST(StandInFailures, AreNotHandlesOfAnOldWorld) {
  const provoked_failures provoked;
  given_file("C:\\x");
  auto file = platform::open_file("C:\\x", platform::open_mode::read);
  fresh_world();
  file.reset();
  EXPECT_TRUE(reported.empty());
}

TEST(StandInFailures, AreReadsThatTheLauncherItselfKeepsWaiting) {
  const provoked_failures provoked;
  given_tool("t", prints("x"));
  auto pipe = platform::create_pipe();
  platform::start_settings settings;
  settings.give_standard_handles = true;
  settings.output = pipe->write_end.get();
  settings.handles = platform::inheritance::listed;
  const auto started = platform::start_process("t", settings);
  EXPECT_THROW((void)read_all(pipe->read_end.get()), stuck);
  ASSERT_EQ(1U, reported.size());
  EXPECT_EQ(
      "nothing can end these waits:\n  the main thread reads from a pipe whose write end the "
      "launcher itself holds open",
      reported[0]);
}

TEST(StandInFailures, AreReadsThatAnHeirOfTheWriteEndKeepsWaiting) {
  const provoked_failures provoked;
  given_tool("service", prints("").stays());
  auto pipe = platform::create_pipe();
  const auto started = platform::start_process("service", {});  // inherits everything
  pipe->write_end.reset();
  EXPECT_THROW((void)read_all(pipe->read_end.get()), stuck);
}

TEST(StandInFailures, AreWaitsWithoutAnEnd) {
  const provoked_failures provoked;
  const auto started = platform::start_thread(ask_and_keep, nullptr);
  EXPECT_THROW((void)platform::wait_for(started.thread.get(), platform::wait_forever), stuck);
  ASSERT_EQ(1U, reported.size());
  EXPECT_NE(std::string::npos, reported[0].find("the main thread waits for the end of thread"));
  EXPECT_NE(std::string::npos, reported[0].find("shows the message box \"?\""));
}

TEST(StandInFailures, AreMoreWaitsThanALauncherNeeds) {
  const provoked_failures provoked;
  EXPECT_THROW(
      {
        for (;;) {
          platform::sleep_ms(1);
        }
      },
      gave_up);
  EXPECT_EQ(1U, reported.size());
}

TEST(StandInFailures, AreNotTheWaitsThatAFuzzerAllows) {
  const provoked_failures provoked;
  give_up_after(3);
  platform::sleep_ms(1);
  platform::sleep_ms(1);
  platform::sleep_ms(1);
  EXPECT_THROW(platform::sleep_ms(1), gave_up);
  EXPECT_TRUE(reported.empty());
}

TEST(StandInFailures, AreHandlesOfAThreadThatWasEnded) {
  const provoked_failures provoked;
  given_file("C:\\x");
  const auto started = platform::start_thread(
      [](void *) {
        const auto file = platform::open_file("C:\\x", platform::open_mode::read);
        platform::sleep_ms(platform::wait_forever);
      },
      nullptr);
  platform::sleep_ms(1);
  platform::terminate_thread(started.thread.get());
  check_world();
  ASSERT_LE(1U, reported.size());
  EXPECT_EQ("a thread that was ended from outside owned 1 handle(s): they are lost", reported[0]);
}

TEST(StandInFailures, AreLibrariesThatStayLoaded) {
  const provoked_failures provoked;
  void *library = platform::load_library("mpr.dll");
  check_world();
  ASSERT_EQ(1U, reported.size());
  EXPECT_EQ("1 library(s) were not released", reported[0]);
  platform::free_library(library);
  platform::free_library(library);
  EXPECT_EQ(2U, reported.size());
}

TEST(StandInFailures, AreStandardHandlesForAProgramThatInheritsNothing) {
  const provoked_failures provoked;
  given_tool("t");
  platform::start_settings settings;
  settings.give_standard_handles = true;
  settings.handles = platform::inheritance::none;
  EXPECT_TRUE(platform::start_process("t", settings).process);
  EXPECT_EQ(1U, reported.size());
}

TEST(StandInLaunch, BeginsWithAFreshState) {
  state.num_procs = 8;
  given_variable("A", "1");
  fresh_launch();
  EXPECT_EQ(1, state.num_procs);
  EXPECT_EQ(std::nullopt, variable("A"));
}

TEST(StandInLaunch, GivesArgumentsBehindTheProgramName) {
  char **arguments = given_arguments({"--np=4", "a b"});
  EXPECT_EQ(3, state.arg_count);
  EXPECT_STREQ("mpirun.exe", arguments[0]);
  EXPECT_STREQ("a b", arguments[2]);
  EXPECT_EQ(nullptr, arguments[3]);
}

}  // namespace
