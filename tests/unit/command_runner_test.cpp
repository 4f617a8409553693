// Tests of the command runner.
#include "core/command_runner.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/fresh_launch.h"

using namespace stand_in;

namespace {

using texts = std::vector<std::string>;

// All lines of a command's output; its exit code.
std::optional<int> run(const std::string &command, texts &lines) {
  return run_command(command, asks(), [&](const std::string &line) {
    lines.push_back(line);
    return true;
  });
}

struct tool_case {
  tool_answer tool;
  int code;
  texts lines;
};

TEST(RunCommand, HandsOverEachLineAndGivesTheExitCode) {
  for (const auto &[tool, code, expected] :
       std::vector<tool_case>{{prints("one\r\ntwo\r\n").exits_with(3), 3, {"one\n", "two\n"}},
                              {exits_with(1), 1, {}},
                              {prints("out 1\n").then_prints_error("err\n").then_prints("out 2\n"),
                               0,
                               {"out 1\n", "err\n", "out 2\n"}},
                              {prints("a").then_prints("b\nc", 5'000), 0, {"ab\n", "c"}},
                              {prints(std::string(2'000, 'x') + "\n"),
                               0,
                               {std::string(1'023, 'x'), std::string(977, 'x') + "\n"}},
                              {prints("x").lives_on(), 259, {"x"}},
                              {exits_with(0xC0000005UL), static_cast<int>(0xC0000005U), {}}}) {
    fresh_launch();
    given_tool("t", tool);
    texts lines;
    EXPECT_EQ(code, run("t", lines));
    EXPECT_EQ(expected, lines);
  }
}

TEST(RunCommand, StartsTheCommandBehindTheInterpreter) {
  given_tool("job view 7");
  texts lines;
  (void)run("job view 7", lines);
  ASSERT_EQ(1U, started_commands().size());
  const started_command &started = started_commands()[0];
  EXPECT_EQ("cmd.exe /c job view 7", started.command_line);
  EXPECT_TRUE(started.gives_standard_handles);
  EXPECT_EQ(output_place::pipe, started.output);
  EXPECT_EQ(output_place::pipe, started.error_output);
  EXPECT_TRUE(started.hidden);
  EXPECT_FALSE(started.detached);
  EXPECT_EQ(std::nullopt, started.environment);
  EXPECT_EQ(platform::inheritance::listed, started.handles);
}

TEST(RunCommand, ReportsACommandThatIsNotFoundThroughItsOutput) {
  texts lines;
  EXPECT_EQ(1, run("nothing", lines));
  ASSERT_EQ(2U, lines.size());
  EXPECT_EQ("'nothing' is not recognized as an internal or external command,\n", lines[0]);
  EXPECT_EQ("", standard_error());
}

TEST(RunCommand, StopsReadingWhenTheTakerHasEnough) {
  given_tool("t", prints("1\n2\n3\n"));
  texts lines;
  (void)run_command("t", asks(), [&](const std::string &line) {
    lines.push_back(line);
    return lines.size() < 2;
  });
  EXPECT_EQ((texts{"1\n", "2\n"}), lines);
}

TEST(RunCommand, TracesTheCommandBeforeItsOutput) {
  given_variable("ZEPHON_STARTUP_DEBUG", "1");
  given_tool("cluscfg listenvs");
  texts lines;
  (void)run("cluscfg listenvs", lines);
  EXPECT_EQ("\ncmd = cluscfg listenvs (..\\src\\mpirun:4151)", standard_output());
  EXPECT_EQ(standard_output(), started_commands().at(0).said_before);
}

TEST(RunCommand, ReportsAnInterpreterThatCannotBeStartedWithoutReadingAFormat) {
  given_no_command_interpreter();
  texts lines;
  EXPECT_EQ(std::nullopt, run("%s%n", lines));
  EXPECT_EQ("\nerror : cmd = %s%n\n\nError in execute command %s%n\n", standard_error());
}

TEST(RunCommand, ReportsAPipeThatCannotBeMade) {
  given_no_pipes();
  texts lines;
  EXPECT_EQ(std::nullopt, run("t", lines));
  EXPECT_EQ("\nerror : cmd = t\n\nError in execute command t\n", standard_error());
  EXPECT_TRUE(started_commands().empty());
}

TEST(StartRun, GivesARunOfItsOwn) {
  given_tool("one", prints("1"));
  given_tool("two", prints("2").exits_with(2));
  auto one = start_run("one");
  auto two = start_run("two");
  ASSERT_TRUE(one);
  ASSERT_TRUE(two);
  std::string line;
  EXPECT_TRUE(read_line(two->output, line));
  EXPECT_EQ("2", line);
  EXPECT_EQ(2, close_run(std::move(two)));
  EXPECT_TRUE(read_line(one->output, line));
  EXPECT_EQ("1", line);
  EXPECT_EQ(0, close_run(std::move(one)));
}

TEST(CloseRun, GivesMinusOneWithoutARunOrAProcess) {
  stop_current_run();
  EXPECT_EQ(-1, close_current_run());
  EXPECT_EQ(-1, close_run(nullptr));
  EXPECT_EQ(-1, close_run(std::make_unique<run_record>()));
  EXPECT_TRUE(started_commands().empty());
}

TEST(CloseRun, DoesNotWaitForTheCommand) {
  given_tool("t", prints("x", 60'000));
  EXPECT_EQ(259, close_run(start_run("t")));
  EXPECT_EQ(0U, now());
}

TEST(CurrentRun, IsThatOfAnEarlierCommandUntilItIsClosed) {
  given_tool("one", prints("1").exits_with(1));
  given_tool("two", prints("2").exits_with(2));
  text_reader *output = open_current_run("one");
  ASSERT_NE(nullptr, output);
  EXPECT_EQ(output, open_current_run("two"));
  EXPECT_EQ((texts{"one"}), commands());
  std::string line;
  EXPECT_TRUE(read_line(*output, line));
  EXPECT_EQ("1", line);
  EXPECT_FALSE(read_line(*output, line));
  EXPECT_EQ(1, close_current_run());
  EXPECT_NE(nullptr, open_current_run("two"));
  EXPECT_EQ((texts{"one", "two"}), commands());
  (void)close_current_run();
}

TEST(CurrentRun, IsTracedAlsoWhenAnEarlierOneIsOpen) {
  given_variable("ZEPHON_STARTUP_DEBUG", "1");
  given_tool("one");
  (void)open_current_run("one");
  (void)open_current_run("two");
  EXPECT_EQ("\ncmd = one (..\\src\\mpirun:4151)\ncmd = two (..\\src\\mpirun:4151)",
            standard_output());
  (void)close_current_run();
}

TEST(CurrentRun, IsMissingWhenTheCommandCannotBeStarted) {
  given_no_command_interpreter();
  EXPECT_EQ(nullptr, open_current_run("t"));
  EXPECT_EQ(-1, close_current_run());
  EXPECT_EQ("\nerror : cmd = t\n", standard_error());
}

TEST(CurrentRun, IsStoppedWithTheToolBehindTheInterpreter) {
  given_tool("t", prints("x").stays());
  (void)open_current_run("t", stopping::possible);
  EXPECT_TRUE(started_commands().at(0).grouped);
  stop_current_run();
  EXPECT_FALSE(process_runs(started_commands().at(0).id));
  EXPECT_EQ(-1, close_current_run());
}

TEST(CurrentRun, LeavesTheToolWhenItCannotBeStopped) {
  given_tool("t", prints("x").stays());
  (void)open_current_run("t");
  EXPECT_FALSE(started_commands().at(0).grouped);
  stop_current_run();
  EXPECT_EQ(0U, terminated_with(started_commands().at(0).id));
  EXPECT_TRUE(process_runs(started_commands().at(0).id));
}

// ---- The interpreter ----------------------------------------------------------------------

TEST(InterpreterLine, HasAPairOfQuotesAroundACommandThatBeginsWithOne) {
  EXPECT_EQ("cmd.exe /c job view \"7\"", interpreter_line("job view \"7\""));
  EXPECT_EQ("cmd.exe /c \"\"C:\\my mpi\\x.exe\" -a\"",
            interpreter_line("\"C:\\my mpi\\x.exe\" -a"));
}

TEST(Interpreter, GetsNothingToReadForAToolThatIsAsked) {
  given_tool("t");
  texts lines;
  (void)run("t", lines);
  run_without_output("t");
  (void)run_in_console("t");
  EXPECT_TRUE(started_commands().at(0).null_input);
  EXPECT_TRUE(started_commands().at(1).null_input);
  EXPECT_FALSE(started_commands().at(2).null_input);
  for (const started_command &started : started_commands()) {
    EXPECT_TRUE(started.is_interpreter);
    EXPECT_EQ(std::nullopt, started.directory);
  }
}

TEST(Interpreter, StartsInWindowsFolderWhenTheCurrentOneIsOnTheNetwork) {
  given_tool("t");
  given_current_directory("\\\\server\\share\\case");
  texts lines;
  (void)run("t", lines);
  (void)run_in_console("t");
  run_without_output("t");
  for (const started_command &started : started_commands()) {
    EXPECT_EQ("C:\\Windows", started.directory);
  }
}

// ---- The monitor --------------------------------------------------------------------------

std::string heard;

void listen(void *reader) {
  std::string line;
  while (read_line(*static_cast<text_reader *>(reader), line)) {
    heard += line;
  }
  heard += "end";
}

TEST(Monitor, ReadsTheCurrentRunOnItsOwnThread) {
  heard.clear();
  given_tool("t", prints("1\n", 100).then_prints("2\n", 100));
  text_reader *output = open_current_run("t");
  EXPECT_NE(0U, start_monitor(listen, output));
  finish_monitor();
  EXPECT_EQ("1\n2\nend", heard);
  EXPECT_EQ(-1, close_current_run());
  EXPECT_EQ(0U, threads_alive());
}

TEST(Monitor, IsStoppedWithTheToolAndTheRun) {
  heard.clear();
  given_tool("t", prints("1\n").stays());
  given_tool("next", exits_with(5));
  text_reader *output = open_current_run("t", stopping::possible);
  (void)start_monitor(listen, output);
  EXPECT_FALSE(monitor_is_stopping());
  platform::sleep_ms(1'000);
  EXPECT_TRUE(stop_monitor());
  EXPECT_TRUE(monitor_is_stopping());
  EXPECT_EQ("1\nend", heard);
  EXPECT_EQ(0U, threads_terminated());
  EXPECT_EQ(0U, terminated_with(started_commands().at(0).id));
  EXPECT_FALSE(process_runs(started_commands().at(0).id));
  EXPECT_NE(nullptr, open_current_run("next"));
  EXPECT_EQ(2U, started_commands().size());
  (void)close_current_run();
}

TEST(Monitor, IsInterruptedWhenTheToolGoesOnWithItsOutput) {
  heard.clear();
  given_no_groups();
  given_tool("t", prints("1\n").stays());
  text_reader *output = open_current_run("t", stopping::possible);
  (void)start_monitor(listen, output);
  platform::sleep_ms(1'000);
  EXPECT_TRUE(stop_monitor());
  EXPECT_EQ("1\nend", heard);
  EXPECT_EQ(0U, threads_terminated());
  EXPECT_TRUE(process_runs(started_commands().at(0).id));
}

TEST(Monitor, IsStoppedWhileItHangsInAWrite) {
  given_standard_output_that_hangs_after(0);
  given_tool("t", prints("1\n").stays());
  text_reader *output = open_current_run("t");
  (void)start_monitor(
      [](void *reader) {
        std::string line;
        while (read_line(*static_cast<text_reader *>(reader), line)) {
          void *handle = platform::standard_handle(platform::standard_stream::output);
          (void)platform::write_all(handle, line.data(), line.size());
        }
      },
      output);
  platform::sleep_ms(1'000);
  EXPECT_TRUE(stop_monitor());
  EXPECT_EQ(0U, threads_terminated());
  EXPECT_EQ(0U, threads_alive());
}

TEST(Monitor, IsTerminatedWhenItDoesNotEndByItself) {
  given_tool("t", prints("").stays());
  text_reader *output = open_current_run("t");
  (void)start_monitor([](void *) { platform::sleep_ms(platform::wait_forever); }, output);
  EXPECT_TRUE(stop_monitor());
  EXPECT_EQ(1U, threads_terminated());
  EXPECT_EQ(1'025U, now());
  EXPECT_EQ(-1, close_current_run());
}

TEST(Monitor, StopsWithoutACurrentRun) {
  (void)start_monitor([](void *) {}, nullptr);
  EXPECT_TRUE(stop_monitor());
  EXPECT_FALSE(stop_monitor());
}

TEST(Monitor, IsNotStoppedWhenThereIsNone) {
  given_tool("t");
  (void)open_current_run("t");
  EXPECT_FALSE(stop_monitor());
  EXPECT_NE(-1, close_current_run());
}

TEST(Monitor, HasNoIdentifierWhenItCannotBeStarted) {
  given_no_threads();
  EXPECT_EQ(0U, start_monitor(listen, nullptr));
  EXPECT_FALSE(stop_monitor());
}

}  // namespace
