// Tests of the last phase beside the rows of tests/cases: what the program is given, the wait,
// the times.
#include "launch/solver_launch.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/launch_state.h"
#include "core/text.h"
#include "support/fresh_launch.h"

using namespace stand_in;

namespace {

constexpr std::time_t start_time = 1'234'567'890;

// A launch of "mpiexec  3d", which answers so.
void launch(const tool_answer &answer = exits_with(0)) {
  given_tool("mpiexec  3d", answer);
  state.launch_command.text = "mpiexec";
  state.solver_args_line = " 3d";
  launch_solver(join_solver_arguments());
}

// ---- What the program is given ------------------------------------------------------------

TEST(LaunchSolver, GivesItsOutputWhenStdoutFlushIsOne) {
  given_variable("STDOUT_FLUSH", "1");
  launch();
  const started_command &started = started_commands().at(0);
  EXPECT_TRUE(started.gives_standard_handles && started.hidden);
  EXPECT_EQ(output_place::standard_output, started.output);
  EXPECT_EQ(output_place::standard_error, started.error_output);
}

TEST(LaunchSolver, GivesNoOutputForAnyOtherStdoutFlush) {
  for (const char *value : {"0", "", "11", "01", "yes"}) {
    given_variable("STDOUT_FLUSH", value);
    launch();
  }
  given_no_variable("STDOUT_FLUSH");
  launch();
  ASSERT_EQ(6U, started_commands().size());
  for (const started_command &started : started_commands()) {
    EXPECT_FALSE(started.gives_standard_handles || started.hidden);
  }
}

TEST(LaunchSolver, GivesNoOutputThatItDoesNotHave) {
  given_variable("STDOUT_FLUSH", "1");
  given_no_standard_handles();
  launch();
  EXPECT_TRUE(started_commands().at(0).gives_standard_handles);
  EXPECT_EQ(output_place::nowhere, started_commands().at(0).output);
}

TEST(LaunchSolver, LetsTheProgramInheritEverything) {
  launch();
  const started_command &started = started_commands().at(0);
  EXPECT_EQ(platform::inheritance::all, started.handles);
  EXPECT_FALSE(started.detached);
  EXPECT_EQ(std::nullopt, started.title);
}

TEST(LaunchSolver, GivesTheEnvironmentBlockOnWin32sOnly) {
  for (int windows = 0; windows < 3; ++windows) {
    state.windows_version_class = windows;
    launch();
  }
  state.env_pool = std::string("A=1\0B=2\0\0", 9);
  launch();
  EXPECT_EQ(std::nullopt, started_commands().at(0).environment);
  EXPECT_EQ(std::nullopt, started_commands().at(1).environment);
  EXPECT_EQ(std::string(2, '\0'), started_commands().at(2).environment);
  EXPECT_EQ(state.env_pool, started_commands().at(3).environment);
}

TEST(LaunchSolver, ReportsAnErrorWithoutAText) {
  EXPECT_EQ(255, status_of_exit([] { launch(cannot_start(99'999)); }));
  EXPECT_EQ("Unable to execute (null) mpiexec  3d\n\n", state.message_buffer);
}

TEST(AnnounceChild, WritesTheProcessIdentifierIntoAMapping) {
  given_shared_block(132);
  for (const char *value : {"0", "abc", "", "-1", "99999999999999999999999", "132"}) {
    given_variable("ZEPHON_CHILD", value);
    launch();
  }
  EXPECT_EQ(started_commands().at(5).id, shared_number(132));
  EXPECT_EQ("", both_streams());
}

// ---- The wait -----------------------------------------------------------------------------

TEST(WaitRule, LetsTheSolverRunOn) {
  state.zephon_prod = "zephon";
  state.timing_file = "C:\\times.txt";
  launch(exits_with(0).stays(60'000));
  EXPECT_EQ(0U, now());
  EXPECT_TRUE(process_runs(started_commands().at(0).id));
  EXPECT_FALSE(file_exists("C:\\times.txt") || ctrl_c_is_ignored());
}

TEST(WaitRule, WaitsForTheSolverInWaitModeWhateverTheUserPresses) {
  given_ctrl_c_after(1'000);
  state.zephon_prod = "zephon";
  state.wait_mode = true;
  EXPECT_EQ(std::nullopt, status_of_exit([] { launch(exits_with(0).stays(60'000)); }));
  EXPECT_EQ(60'000U, now());
  EXPECT_TRUE(ctrl_c_is_ignored() && state.ctrl_c_ignored);
}

TEST(WaitRule, WaitsForEveryOtherProgram) {
  state.zephon_prod.reset();
  launch(exits_with(0).stays(1'000));
  EXPECT_EQ(1'000U, now());
  for (const char *program :
       {"lumis", "lumis_acc", "beamtrace", "tessa", "tess", "Zephon", "zephon2", ""}) {
    const auto before = now();
    state.zephon_prod = program;
    launch(exits_with(0).stays(1'000));
    EXPECT_EQ(1'000U, now() - before) << program;
  }
  EXPECT_FALSE(ctrl_c_is_ignored());
}

// ---- The timing report --------------------------------------------------------------------

TEST(TimingReport, HoldsFourLines) {
  given_time(start_time);
  state.timing_file = "C:\\times.txt";
  launch(exits_with(3).stays(90'400).used_time(1'000'000'060'000));
  const std::string report = "Start: " + calendar_text(start_time).substr(0, 24) +
                             "\r\nEnd:   " + calendar_text(start_time + 90).substr(0, 24) +
                             "\r\nElapsed Time: 90.00 sec\r\nCPU Time:     100000.01 sec\r\n";
  EXPECT_EQ(report, file_content("C:\\times.txt"));
}

TEST(TimingReport, SaysWhenTheProcessorTimeIsUnknown) {
  given_file("C:\\times.txt", std::string(1'000, 'x'));
  state.timing_file = "C:\\times.txt";
  launch(exits_with(0).used_time(std::nullopt));
  const std::string report = file_content("C:\\times.txt").value_or("");
  EXPECT_TRUE(report.ends_with("\r\nElapsed Time: 0.00 sec\r\nCPU Time: (unavailable)\r\n"));
}

TEST(TimingReport, IsLeftOutOrCutShortWithoutAMessage) {
  state.timing_file = "C:\\times.txt";
  given_full_disk_after(10);
  launch();
  EXPECT_EQ(10U, file_content("C:\\times.txt")->size());
  given_unwritable_path("C:\\times.txt");
  launch();
  EXPECT_EQ("", both_streams() + state.message_buffer);
}

}  // namespace
