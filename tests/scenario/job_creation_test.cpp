// job_creation_test.cpp: the scheduler job that is created at start-up, and the wait
// for its nodes, as the user of a cluster meets them.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "scheduler_bench.h"

using namespace scenario;

namespace {

const std::string cancel_line = "job cancel 7 /scheduler:head";

const std::string wait_text =
    "\nWaiting for the scheduler on head to allocate nodes for your job 7.\n"
    "If you want to cancel the job, you may press the \"Cancel\" button!\n"
    "If you want to close this message box, you may press the \"OK\" button!\n\n"
    "Otherwise, please wait ...";
const std::string cancel_text =
    "\nDo you want to cancel your submitted job 7 to the scheduler on head?";

const std::string runs = "when view\nout State : Running\\r\\n\n";
const std::string queued = "when view\nout State : Queued\\r\\n\n";

void given_job_7(const std::string &more_answers) {
  given_cluster("when job new\nout Created job, ID: 7\\r\\n\n" + more_answers);
}

std::string arguments() {
  return "--mpi=net --np=4 --jobid=-1 " + given_solver();
}

// How often a command line was given to job.
std::size_t times_given(const std::string &line) {
  const auto lines = lines_of("job.exe");
  return static_cast<std::size_t>(std::count(lines.begin(), lines.end(), line));
}

}  // namespace

TEST(JobCreationScenario, GoesOnWaitingWhenTheToolVanishesBetweenTwoQuestions) {
  given_job_7("when view\nmake_file asked\nout State : Queued\\r\\n\n");
  given_box_left_alone();
  auto run = start_launcher(arguments());
  wait_for_file(run, "asked");
  wait_for_boxes(run, 1);
  std::filesystem::rename(in_world("job.exe"), in_world("gone.exe"));
  wait_a_while(run);  // it asks every half second
  EXPECT_TRUE(is_running(run));
  given_file("job.script", runs);
  std::filesystem::rename(in_world("gone.exe"), in_world("job.exe"));
  wait_for_everything(run);
  EXPECT_EQ(0U, run.status);
  EXPECT_TRUE(run.output.ends_with(". done!\r\n")) << run.output;
  EXPECT_EQ(1U, starts_of("solver.exe").size());
}

// ---- The wait box -------------------------------------------------------------------------

TEST(WaitBoxScenario, IsClosedByOkWhileTheWaitGoesOn) {
  given_job_7(queued);
  given_box_answer(ok_button);
  auto run = start_launcher(arguments());
  wait_for_boxes(run, 1);
  wait_for_starts(run, "job.exe", starts_of("job.exe").size() + 2);
  EXPECT_TRUE(is_running(run));
  given_file("job.script", runs);
  wait_for_everything(run);
  EXPECT_EQ(0U, run.status);
  EXPECT_EQ(1U, run.boxes.size());
  EXPECT_EQ(0U, times_given(cancel_line));
  EXPECT_EQ(1U, starts_of("solver.exe").size());
}

TEST(WaitBoxScenario, ComesBackAfterCancelAndNo) {
  given_job_7(queued);
  given_box_answer(cancel_button);
  given_box_answer(no_button);
  given_box_left_alone();
  auto run = start_launcher(arguments());
  wait_for_boxes(run, 3);
  EXPECT_TRUE(is_running(run));
  given_file("job.script", runs);
  wait_for_everything(run);
  EXPECT_EQ(0U, run.status);
  ASSERT_EQ(3U, run.boxes.size());
  EXPECT_EQ("Zephon", run.boxes[0].caption);
  EXPECT_EQ(wait_text, run.boxes[0].text);
  ASSERT_EQ(2U, run.boxes[0].buttons.size());
  EXPECT_EQ(ok_button, run.boxes[0].buttons[0].number);
  EXPECT_EQ(cancel_button, run.boxes[0].buttons[1].number);
  EXPECT_EQ("Zephon", run.boxes[1].caption);
  EXPECT_EQ(cancel_text, run.boxes[1].text);
  ASSERT_EQ(2U, run.boxes[1].buttons.size());
  EXPECT_EQ(yes_button, run.boxes[1].buttons[0].number);
  EXPECT_EQ(no_button, run.boxes[1].buttons[1].number);
  EXPECT_EQ(wait_text, run.boxes[2].text);
  EXPECT_EQ(0U, times_given(cancel_line));
  EXPECT_EQ(1U, starts_of("solver.exe").size());
}

// ---- Ctrl-C -------------------------------------------------------------------------------

namespace {

// Starts the console launcher and presses Ctrl-C in its console when the file exists.
launch start_with_ctrl_c(const std::string &file, const std::string &arguments) {
  std::filesystem::copy_file(built_console_launcher(), in_world("mpirun_console.exe"));
  std::filesystem::copy_file(built_tool("press_ctrl_c\\press_ctrl_c.exe"),
                             in_world("press_ctrl_c.exe"));
  return start_program("press_ctrl_c.exe",
                       "press_ctrl_c.exe ..\\" + file + " ..\\mpirun_console.exe " + arguments);
}

// Up some time after its start, when the launcher has done what it does behind that.
const std::string solver_that_goes_on =
    "ignore_ctrl_c\npause 300\nmake_file up\nwait_file go\nout solved\\n\n";

}  // namespace

TEST(CtrlCScenario, CancelsTheWaitingJobAndEnds) {
  given_job_7("when view\nmake_file asked\nout State : Queued\\r\\n\nwhen cancel\npause 300\n");
  given_box_left_alone();
  auto run = start_with_ctrl_c("asked", arguments());
  wait_for_everything(run);
  EXPECT_EQ(1U, run.status);
  EXPECT_EQ(1U, times_given(cancel_line));
  EXPECT_NE(std::string::npos, run.output.find(text_mode("\nCancelling job 7 ... "))) << run.output;
  EXPECT_TRUE(run.output.ends_with(text_mode("done!\nPress Ctrl-C to stop after done!\n")))
      << run.output;
  EXPECT_TRUE(starts_of("solver.exe").empty());
}

TEST(CtrlCScenario, LeavesALauncherInWaitModeAlone) {
  given_installed_release();
  const auto solver = given_solver(solver_that_goes_on);
  auto run = start_with_ctrl_c("up", "--mpi=net -wait " + solver);
  wait_for_file(run, "up.pressed");
  wait_a_moment(run);
  EXPECT_TRUE(is_running(run));
  given_file("go");
  wait_for_everything(run);
  EXPECT_EQ(0U, run.status);
  EXPECT_EQ("solved\n", run.output);
}

TEST(CtrlCScenario, EndsALauncherThatWaitsForASibling) {
  given_installed_release();
  given_variable("ZEPHON_PROD", "lumis");
  const auto solver = given_solver(solver_that_goes_on);
  auto run = start_with_ctrl_c("up", "--mpi=net " + solver);
  wait_for_end(run);
  EXPECT_TRUE(file_text("up.pressed"));
  EXPECT_EQ(std::nullopt, only_start_of("solver.exe").code);  // it goes on
  given_file("go");
  wait_for_everything(run);
}
