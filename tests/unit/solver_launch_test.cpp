// Tests of the last phase: the command that is started, the wait, the times.
#include "launch/solver_launch.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/launch_state.h"
#include "core/text.h"
#include "scheduler/job_submission.h"
#include "support/fresh_launch.h"

using namespace stand_in;

namespace {

using texts = std::vector<std::string>;

constexpr std::time_t start_time = 1'234'567'890;

// A launch of this command; its arguments begin with a blank of their own.
void given_launch(const std::string &launch_command, const std::string &arguments = " 3d") {
  state.launch_command.text = launch_command;
  state.solver_args_line = arguments;
  state.zephon_prod = "zephon";
}

void launch() {
  command_line command = join_solver_arguments();
  if (!submit_scheduler_job(command)) {
    launch_solver(command);
  }
}

// ---- The command line ---------------------------------------------------------------------

TEST(LaunchSolver, JoinsTheLaunchCommandAndTheArguments) {
  given_launch("mpiexec -np 4 zephon.exe", " 3d -i \"my run.jou\"");
  given_tool("mpiexec -np 4 zephon.exe  3d -i \"my run.jou\"");
  launch();
  EXPECT_EQ((texts{"mpiexec -np 4 zephon.exe  3d -i \"my run.jou\""}), commands());
  EXPECT_EQ("", state.message_buffer);
}

TEST(LaunchSolver, EndsTheCommandWithABlankWithoutArguments) {
  given_launch("mpiexec", "");
  given_tool("mpiexec ");
  launch();
  EXPECT_EQ((texts{"mpiexec "}), commands());
}

TEST(LaunchSolver, LeavesOutBlanksInFrontWhateverTheLength) {
  given_launch("   mpiexec", " 3d");
  given_tool_with("mpiexec");
  launch();
  state.launch_command.text = "  mpiexec " + std::string(2'000, 'x');
  launch();
  EXPECT_EQ((texts{"mpiexec  3d", "mpiexec " + std::string(2'000, 'x') + "  3d"}), commands());
}

TEST(LaunchSolver, StartsTheArgumentsAloneWithoutALaunchCommand) {
  given_launch("", " zephon.exe 3d");
  given_tool("zephon.exe 3d");
  launch();
  EXPECT_EQ((texts{"zephon.exe 3d"}), commands());
  EXPECT_EQ("", state.message_buffer);
}

TEST(LaunchSolver, WarnsWhenTheNamedMpiHasNoLaunchCommand) {
  given_launch("", " zephon.exe");
  given_tool("zephon.exe");
  state.mpi_selected = true;
  state.mpi_name = "MPICH";
  launch();
  EXPECT_EQ(
      "\nWarning: MPI \"MPICH\" has no launch command, so the program is started without one.\n",
      state.message_buffer);
}

TEST(LaunchSolver, WarnsOnlyOfAnMpiThatWasAskedFor) {
  given_launch("", " zephon.exe");
  given_tool("zephon.exe");
  state.mpi_selected = true;
  state.mpi_name = "net";
  launch();
  state.mpi_name = "";
  launch();
  state.mpi_selected = false;
  state.mpi_name = "MPICH";
  launch();
  given_tool("mpiexec  zephon.exe");
  state.mpi_selected = true;
  state.launch_command.text = "mpiexec";
  launch();
  EXPECT_EQ(4U, commands().size());
  EXPECT_EQ("", state.message_buffer);
}

// ---- What the child is given --------------------------------------------------------------

TEST(LaunchSolver, GivesItsOutputWhenStdoutFlushIsOne) {
  given_launch("mpiexec");
  given_variable("STDOUT_FLUSH", "1");
  given_tool("mpiexec  3d", prints("out\n").then_prints_error("err\n"));
  state.wait_mode = true;
  launch();
  const started_command &started = started_commands().at(0);
  EXPECT_TRUE(started.gives_standard_handles);
  EXPECT_EQ(output_place::standard_output, started.output);
  EXPECT_EQ(output_place::standard_error, started.error_output);
  EXPECT_TRUE(started.hidden);
  EXPECT_EQ("out\nerr\n", both_streams());
}

TEST(LaunchSolver, GivesNoOutputForAnyOtherStdoutFlush) {
  given_launch("mpiexec");
  given_tool("mpiexec  3d");
  for (const char *value : {"0", "", "11", "yes"}) {
    given_variable("STDOUT_FLUSH", value);
    launch();
  }
  given_no_variable("STDOUT_FLUSH");
  launch();
  ASSERT_EQ(5U, started_commands().size());
  for (const started_command &started : started_commands()) {
    EXPECT_FALSE(started.gives_standard_handles);
    EXPECT_FALSE(started.hidden);
  }
}

TEST(LaunchSolver, GivesNoOutputThatItDoesNotHave) {
  given_launch("mpiexec");
  given_variable("STDOUT_FLUSH", "1");
  given_no_standard_handles();
  given_tool("mpiexec  3d");
  launch();
  EXPECT_TRUE(started_commands().at(0).gives_standard_handles);
  EXPECT_EQ(output_place::nowhere, started_commands().at(0).output);
}

TEST(LaunchSolver, LetsTheChildInheritEverything) {
  given_launch("mpiexec");
  given_tool("mpiexec  3d");
  launch();
  const started_command &started = started_commands().at(0);
  EXPECT_EQ(platform::inheritance::all, started.handles);
  EXPECT_FALSE(started.detached);
  EXPECT_EQ(std::nullopt, started.title);
  EXPECT_EQ(std::nullopt, started.environment);
}

TEST(LaunchSolver, GivesTheEnvironmentBlockOnWin32sOnly) {
  given_launch("mpiexec");
  given_tool("mpiexec  3d");
  state.windows_version_class = 1;
  launch();
  state.windows_version_class = 2;
  state.env_pool = std::string("A=1\0B=2\0\0", 9);
  launch();
  EXPECT_EQ(std::nullopt, started_commands().at(0).environment);
  EXPECT_EQ(state.env_pool, started_commands().at(1).environment);
}

TEST(LaunchSolver, GivesAnEmptyEnvironmentBlockOnWin32s) {
  given_launch("mpiexec");
  given_tool("mpiexec  3d");
  state.windows_version_class = 2;
  launch();
  EXPECT_EQ(std::string(2, '\0'), started_commands().at(0).environment);
}

// ---- A command that cannot be started -----------------------------------------------------

TEST(LaunchSolver, ReportsACommandThatCannotBeStarted) {
  given_launch("mpiexec");
  given_tool("mpiexec  3d", cannot_start(5));
  EXPECT_EQ(255, status_of_exit(launch));
  EXPECT_EQ("Unable to execute (null) mpiexec  3d\nAccess is denied.\r\n\n", state.message_buffer);
}

TEST(LaunchSolver, ReportsAnEmptyCommand) {
  given_launch("", "");
  EXPECT_EQ(255, status_of_exit(launch));
  EXPECT_EQ("Unable to execute (null) \nThe parameter is incorrect.\r\n\n", state.message_buffer);
}

TEST(LaunchSolver, ReportsAnErrorWithoutAText) {
  given_launch("mpiexec");
  given_tool("mpiexec  3d", cannot_start(99'999));
  EXPECT_EQ(255, status_of_exit(launch));
  EXPECT_EQ("Unable to execute (null) mpiexec  3d\n\n", state.message_buffer);
}

TEST(LaunchSolver, TakesNoCommandForAFormat) {
  given_launch("%s%n");
  EXPECT_EQ(255, status_of_exit(launch));
  EXPECT_EQ("Unable to execute (null) %s%n  3d\nThe system cannot find the file specified.\r\n\n",
            state.message_buffer);
}

// ---- The program that started the launcher ------------------------------------------------

TEST(AnnounceChild, WritesTheProcessIdentifier) {
  given_launch("mpiexec");
  given_tool("mpiexec  3d");
  given_shared_block(132);
  given_variable("ZEPHON_CHILD", "132");
  launch();
  EXPECT_EQ(started_commands().at(0).id, shared_number(132));
}

TEST(AnnounceChild, IgnoresWhatIsNoMapping) {
  given_launch("mpiexec");
  given_tool("mpiexec  3d");
  for (const char *value : {"0", "abc", "", "-1", "99999999999999999999999", "132x"}) {
    given_variable("ZEPHON_CHILD", value);
    launch();
  }
  EXPECT_EQ(6U, started_commands().size());
  EXPECT_EQ("", both_streams());
}

// ---- The wait -----------------------------------------------------------------------------

TEST(WaitRule, LetsTheSolverRunOn) {
  given_launch("mpiexec");
  given_tool("mpiexec  3d", exits_with(0).stays(60'000));
  state.timing_file = "C:\\times.txt";
  launch();
  EXPECT_EQ(0U, now());
  EXPECT_TRUE(process_runs(started_commands().at(0).id));
  EXPECT_FALSE(file_exists("C:\\times.txt"));
  EXPECT_FALSE(ctrl_c_is_ignored());
}

TEST(WaitRule, WaitsForTheSolverInWaitMode) {
  given_launch("mpiexec");
  given_tool("mpiexec  3d", exits_with(0).stays(60'000));
  state.wait_mode = true;
  launch();
  EXPECT_EQ(60'000U, now());
  EXPECT_TRUE(ctrl_c_is_ignored());
  EXPECT_TRUE(state.ctrl_c_ignored);
}

TEST(WaitRule, GoesOnWhenTheUserPressesCtrlCInWaitMode) {
  given_launch("mpiexec");
  given_tool("mpiexec  3d", exits_with(0).stays(60'000));
  given_ctrl_c_after(1'000);
  state.wait_mode = true;
  EXPECT_EQ(std::nullopt, status_of_exit(launch));
  EXPECT_EQ(60'000U, now());
}

class SiblingProgram : public testing::TestWithParam<const char *> {};

TEST_P(SiblingProgram, IsWaitedFor) {
  given_launch("mpiexec");
  state.zephon_prod = GetParam();
  given_tool("mpiexec  3d", exits_with(0).stays(5'000));
  launch();
  EXPECT_EQ(5'000U, now());
  EXPECT_FALSE(ctrl_c_is_ignored());
}

INSTANTIATE_TEST_SUITE_P(WaitRule, SiblingProgram,
                         testing::Values("lumis", "lumis_acc", "beamtrace", "tessa", "tess",
                                         "Zephon", "zephon2", ""));

TEST(WaitRule, WaitsForAnUnnamedProgram) {
  given_launch("mpiexec");
  state.zephon_prod.reset();
  given_tool("mpiexec  3d", exits_with(0).stays(5'000));
  launch();
  EXPECT_EQ(5'000U, now());
}

// ---- The timing report --------------------------------------------------------------------

TEST(TimingReport, HoldsFourLines) {
  given_launch("mpiexec");
  given_tool("mpiexec  3d", exits_with(3).stays(90'400).used_time(123'456'789));
  given_time(start_time);
  state.wait_mode = true;
  state.timing_file = "C:\\times.txt";
  launch();
  EXPECT_EQ("Start: " + calendar_text(start_time).substr(0, 24) +
                "\r\nEnd:   " + calendar_text(start_time + 90).substr(0, 24) +
                "\r\nElapsed Time: 90.00 sec\r\nCPU Time:     12.35 sec\r\n",
            file_content("C:\\times.txt"));
}

TEST(TimingReport, SaysWhenTheProcessorTimeIsUnknown) {
  given_launch("mpiexec");
  given_tool("mpiexec  3d", exits_with(0).used_time(std::nullopt));
  state.zephon_prod = "lumis";
  state.timing_file = "C:\\times.txt";
  launch();
  const std::string report = file_content("C:\\times.txt").value_or("");
  EXPECT_EQ("Elapsed Time: 0.00 sec\r\nCPU Time: (unavailable)\r\n",
            report.substr(report.find("Elapsed")));
}

TEST(TimingReport, ReplacesAnOlderOne) {
  given_file("C:\\times.txt", std::string(1'000, 'x'));
  given_launch("mpiexec");
  given_tool("mpiexec  3d");
  state.wait_mode = true;
  state.timing_file = "C:\\times.txt";
  launch();
  EXPECT_EQ(0U, file_content("C:\\times.txt")->find("Start: "));
  EXPECT_EQ(std::string::npos, file_content("C:\\times.txt")->find('x'));
}

TEST(TimingReport, IsSkippedWithoutAMessageWhenItCannotBeWritten) {
  given_unwritable_path("C:\\times.txt");
  given_launch("mpiexec");
  given_tool("mpiexec  3d");
  state.wait_mode = true;
  state.timing_file = "C:\\times.txt";
  EXPECT_EQ(std::nullopt, status_of_exit(launch));
  EXPECT_EQ("", both_streams());
  EXPECT_EQ("", state.message_buffer);
}

TEST(TimingReport, IsLeftCutShortByAFullDisk) {
  given_full_disk_after(10);
  given_launch("mpiexec");
  given_tool("mpiexec  3d");
  state.wait_mode = true;
  state.timing_file = "C:\\times.txt";
  EXPECT_EQ(std::nullopt, status_of_exit(launch));
  EXPECT_EQ(10U, file_content("C:\\times.txt")->size());
  EXPECT_EQ("", both_streams());
}

// ---- The scheduler ------------------------------------------------------------------------

TEST(LaunchSolver, LeavesTheRunToTheSchedulerThatTakesIt) {
  given_launch("mpiexec zephon.exe");
  given_variable("USE_CCP", "-1");
  given_tool("mpiexec zephon.exe  3d", prints("solved\n"));
  state.mpi_name = "msmpi";
  state.wait_mode = true;
  launch();
  ASSERT_EQ(1U, started_commands().size());
  EXPECT_EQ(start_way::in_console, started_commands()[0].way);
  EXPECT_FALSE(state.ctrl_c_ignored);
}

TEST(LaunchSolver, StartsTheCommandItselfWithAHostFile) {
  given_launch("mpiexec zephon.exe");
  given_variable("USE_CCP", "-1");
  given_variable("ZEPHON_HOSTS_FILE", "C:\\hosts");
  given_tool("mpiexec zephon.exe  3d");
  state.mpi_name = "msmpi";
  launch();
  ASSERT_EQ(1U, started_commands().size());
  EXPECT_EQ(start_way::process, started_commands()[0].way);
}

TEST(LaunchSolver, RunsTheJobExitCommandWhenNoMpiWasAskedFor) {
  given_launch("", " zephon.exe");
  given_variable("CANCEL_CCP_JOB_EXIT1", "job modify 7");
  given_tool("zephon.exe");
  given_tool("job modify 7");
  launch();
  EXPECT_EQ((texts{"zephon.exe", "job modify 7"}), commands());
  EXPECT_EQ(std::nullopt, variable("CANCEL_CCP_JOB_EXIT1"));
}

TEST(LaunchSolver, LeavesTheJobExitCommandWhenAnMpiWasAskedFor) {
  given_launch("mpiexec");
  given_variable("CANCEL_CCP_JOB_EXIT1", "job modify 7");
  given_tool("mpiexec  3d");
  state.mpi_selected = true;
  launch();
  EXPECT_EQ((texts{"mpiexec  3d"}), commands());
  EXPECT_EQ("job modify 7", variable("CANCEL_CCP_JOB_EXIT1"));
}

TEST(LaunchSolver, LogsTheCommandWhenAsked) {
  given_launch("  mpiexec");
  given_variable("ZEPHON_RUN_DEBUG", "C:\\log");
  given_tool("mpiexec  3d");
  launch();
  EXPECT_EQ("\r\nmpiexec  3d\r\n", file_content("C:\\log"));
}

}  // namespace
