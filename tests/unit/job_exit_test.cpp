// Tests of the command that releases the job which the launcher created.
#include "scheduler/job_exit.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/launch_state.h"
#include "support/platform_stand_in.h"

using namespace stand_in;

namespace {

constexpr const char *exit_command = "job modify 7 /rununtilcanceled:false /scheduler:head";

TEST(JobExit, RunsTheCommandOfItsVariable) {
  given_variable("CANCEL_CCP_JOB_EXIT1", exit_command);
  given_tool(exit_command);
  run_job_exit_command();
  ASSERT_EQ(1U, started_commands().size());
  EXPECT_EQ("cmd.exe /c job modify 7 /rununtilcanceled:false /scheduler:head",
            started_commands()[0].command_line);
  EXPECT_EQ("", both_streams());
}

TEST(JobExit, RunsNothingWithoutTheVariable) {
  state.ptrace_mode = true;
  run_job_exit_command();
  EXPECT_TRUE(commands().empty());
  EXPECT_EQ("", both_streams());
  EXPECT_EQ(std::string(1, '\0'), state.env_pool);
}

TEST(JobExit, RunsItsCommandOnce) {
  given_variable("CANCEL_CCP_JOB_EXIT1", exit_command);
  given_tool(exit_command);
  run_job_exit_command();
  run_job_exit_command();
  EXPECT_EQ((std::vector<std::string>{exit_command}), commands());
}

TEST(JobExit, RemovesTheVariable) {
  given_variable("CANCEL_CCP_JOB_EXIT1", exit_command);
  given_tool(exit_command);
  run_job_exit_command();
  EXPECT_EQ(std::nullopt, variable("CANCEL_CCP_JOB_EXIT1"));
  using namespace std::string_literals;
  EXPECT_EQ("CANCEL_CCP_JOB_EXIT1=\0\0"s, state.env_pool);
}

TEST(JobExit, KeepsTheVariableUntilTheCommandHasEnded) {
  given_variable("CANCEL_CCP_JOB_EXIT1", exit_command);
  std::optional<std::string> meanwhile;
  given_tool(exit_command, prints("", 1'000));
  after(999, [&] { meanwhile = variable("CANCEL_CCP_JOB_EXIT1"); });
  run_job_exit_command();
  EXPECT_EQ(exit_command, meanwhile);
}

TEST(JobExit, ReadsTheOutputToItsEndAndDropsIt) {
  given_variable("CANCEL_CCP_JOB_EXIT1", exit_command);
  given_tool(exit_command, prints("done\r\n").then_prints("really\r\n", 3'000).exits_with(1));
  run_job_exit_command();
  EXPECT_EQ(3'000U, now());
  EXPECT_EQ("", both_streams());
}

TEST(JobExit, ShowsTheCommandInPtraceMode) {
  state.ptrace_mode = true;
  given_variable("CANCEL_CCP_JOB_EXIT1", "release 100%s");
  given_tool("release 100%s");
  run_job_exit_command();
  EXPECT_EQ("\nrelease 100%s\n", standard_output());
  EXPECT_EQ("", standard_error());
}

TEST(JobExit, ShowsTheCommandAfterItHasRun) {
  state.ptrace_mode = true;
  given_variable("CANCEL_CCP_JOB_EXIT1", exit_command);
  given_tool(exit_command);
  run_job_exit_command();
  EXPECT_EQ("", started_commands().at(0).said_before);
}

TEST(JobExit, IsTraced) {
  given_variable("ZEPHON_STARTUP_DEBUG", "1");
  given_variable("CANCEL_CCP_JOB_EXIT1", exit_command);
  given_tool(exit_command);
  run_job_exit_command();
  EXPECT_EQ("\ncmd = job modify 7 /rununtilcanceled:false /scheduler:head (..\\src\\mpirun:4151)",
            standard_output());
}

TEST(JobExit, IsOverWhenTheCommandCannotBeStarted) {
  given_variable("CANCEL_CCP_JOB_EXIT1", exit_command);
  given_no_command_interpreter();
  run_job_exit_command();
  EXPECT_EQ(
      "\nerror : cmd = job modify 7 /rununtilcanceled:false /scheduler:head\n"
      "\nError in execute command job modify 7 /rununtilcanceled:false /scheduler:head\n",
      standard_error());
  EXPECT_EQ(std::nullopt, variable("CANCEL_CCP_JOB_EXIT1"));
}

}  // namespace
