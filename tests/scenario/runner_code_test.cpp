// runner_code_test.cpp: the exit codes that the command runner gives back. No command
// of the launcher shows them, so its runner is called here directly, on real programs.

#include <gtest/gtest.h>
#include <windows.h>

#include "core/command_runner.h"
#include "scenario_bench.h"

using namespace scenario;

namespace {

// Starts a tool with this script, and reads its output to the end.
std::unique_ptr<run_record> finished_output_of(const std::string &script, std::string &output) {
  given_tool("tool.exe", script);
  auto run = start_run(in_quotes(in_world("tool.exe")));
  EXPECT_NE(nullptr, run);
  std::string line;
  while (run && read_line(run->output, line)) {
    output += line;
  }
  return run;
}

void wait_for_end_of(const run_record &run) {
  EXPECT_TRUE(platform::wait_for(run.process.get(), 30000));
}

}  // namespace

TEST(ExitCodeOfARun, IsThatOfTheCommand) {
  std::string output;
  auto run = finished_output_of("out one\\r\\n\nerr two\\n\nexit 7\n", output);
  wait_for_end_of(*run);
  EXPECT_EQ(7, close_run(std::move(run)));
  EXPECT_EQ("one\ntwo\n", output);
}

TEST(ExitCodeOfARun, IsThatOfASilentCommand) {
  std::string output;
  auto run = finished_output_of("", output);
  wait_for_end_of(*run);
  EXPECT_EQ(0, close_run(std::move(run)));
  EXPECT_EQ("", output);
}

TEST(ExitCodeOfARun, CanBeNegative) {
  std::string output;
  auto run = finished_output_of("exit 0xC0000005\n", output);
  wait_for_end_of(*run);
  EXPECT_EQ(-1073741819, close_run(std::move(run)));
}

TEST(ExitCodeOfARun, IsThatOfTheRealInterpreterForAnUnknownCommand) {
  auto run = start_run("no_such_tool");
  ASSERT_NE(nullptr, run);
  std::string line;
  std::string output;
  while (read_line(run->output, line)) {
    output += line;
  }
  wait_for_end_of(*run);
  EXPECT_NE(0, close_run(std::move(run)));
  EXPECT_NE(std::string::npos, output.find("no_such_tool")) << output;
}

TEST(ExitCodeOfARun, IsMinusOneWithoutARun) {
  EXPECT_EQ(-1, close_run(nullptr));
}
