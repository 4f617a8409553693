// Tests of the command that releases the job which the launcher created.
#include "scheduler/job_exit.h"

#include <gtest/gtest.h>

#include <string>

#include "core/launch_state.h"
#include "support/platform_stand_in.h"

using namespace stand_in;

namespace {

constexpr const char *exit_command = "release 100%s";

TEST(JobExit, RunsNothingWithoutItsVariable) {
  state.ptrace_mode = true;
  run_job_exit_command();
  EXPECT_TRUE(commands().empty());
  EXPECT_EQ("", both_streams());
  EXPECT_EQ(std::string(1, '\0'), state.env_pool);
}

TEST(JobExit, RunsItsCommandOnceReadsAllOfItsOutputAndShowsItAfterwards) {
  state.ptrace_mode = true;
  given_variable("CANCEL_CCP_JOB_EXIT1", exit_command);
  std::optional<std::string> meanwhile;
  given_tool(exit_command, prints("done\r\n").then_prints("really\r\n", 3'000).exits_with(1));
  after(2'999, [&] { meanwhile = variable("CANCEL_CCP_JOB_EXIT1"); });
  run_job_exit_command();
  run_job_exit_command();
  ASSERT_EQ(1U, started_commands().size());
  EXPECT_EQ("cmd.exe /c release 100%s", started_commands()[0].command_line);
  EXPECT_EQ("", started_commands()[0].said_before);
  EXPECT_EQ(3'000U, now());
  EXPECT_EQ("\nrelease 100%s\n", standard_output());
  EXPECT_EQ("", standard_error());
  EXPECT_EQ(exit_command, meanwhile);
  EXPECT_EQ(std::nullopt, variable("CANCEL_CCP_JOB_EXIT1"));
  using namespace std::string_literals;
  EXPECT_EQ("CANCEL_CCP_JOB_EXIT1=\0\0"s, state.env_pool);
}

TEST(JobExit, IsTracedAndSilent) {
  given_variable("ZEPHON_STARTUP_DEBUG", "1");
  given_variable("CANCEL_CCP_JOB_EXIT1", exit_command);
  given_tool(exit_command, prints("done\r\n"));
  run_job_exit_command();
  EXPECT_EQ("\ncmd = release 100%s (..\\src\\mpirun:4151)", both_streams());
}

TEST(JobExit, IsOverWhenTheCommandCannotBeStarted) {
  given_variable("CANCEL_CCP_JOB_EXIT1", exit_command);
  given_no_command_interpreter();
  run_job_exit_command();
  EXPECT_EQ("\nerror : cmd = release 100%s\n\nError in execute command release 100%s\n",
            standard_error());
  EXPECT_EQ(std::nullopt, variable("CANCEL_CCP_JOB_EXIT1"));
}

}  // namespace
