// job_creation_test.cpp: the scheduler job that is created at start-up, and the wait
// for its nodes, as the user of a cluster meets them.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "scheduler_bench.h"

using namespace scenario;

namespace {

const std::string new_line =
    R"(job new /scheduler:head /jobname:"ORBEX ZEPHON" /numprocessors:4 /rununtilcanceled:true)";
const std::string submit_line = "job submit /scheduler:head /id:7";
const std::string view_line = "job view 7 /scheduler:head";
const std::string cancel_line = "job cancel 7 /scheduler:head";
const std::string modify_line = "job modify 7 /rununtilcanceled:false /scheduler:head";

const std::string wait_text =
    "\nWaiting for the scheduler on head to allocate nodes for your job 7.\n"
    "If you want to cancel the job, you may press the \"Cancel\" button!\n"
    "If you want to close this message box, you may press the \"OK\" button!\n\n"
    "Otherwise, please wait ...";
const std::string cancel_text =
    "\nDo you want to cancel your submitted job 7 to the scheduler on head?";

const std::string runs = "out State : Running\\r\\n\n";

const std::string new_answer = "out Created job, ID: 7\\r\\n\n";

// Job 7, to which a task is added and which is released.
std::string job_7(const std::string &view_answers, const std::string &new_steps = new_answer) {
  return "when job new\n" + new_steps + answers("add", "Task added.\r\n") + view_answers +
         "when modify\nmake_file released\n";
}

// The job runs from the question on that comes after so many; then it is finished.
std::string queued_for(int questions, const std::string &new_steps = new_answer) {
  return job_7("when view\ntimes " + std::to_string(questions) +
                   "\nout State : Queued\\r\\n\nwhen view\ntimes 1\n" + runs +
                   "when view\nout State : Finished\\r\\n\n",
               new_steps);
}

// A new job for four processes of MS-MPI.
const std::string options = "--mpi=msmpi --np=4 --jobid=-1 case.jou";

// Runs the launcher; its job is queued until the wait box has come, and then runs.
launch run_past_the_wait_box(const std::string &arguments) {
  given_box_left_alone();
  auto run = start_launcher(arguments);
  wait_for_boxes(run, 1);
  given_file("job.script", queued_for(0));
  wait_for_everything(run);
  return run;
}

// The command lines of a tool, the same one in a row only once.
std::vector<std::string> steps_of(const std::string &tool) {
  auto lines = lines_of(tool);
  lines.erase(std::unique(lines.begin(), lines.end()), lines.end());
  return lines;
}

// How often a command line was given to job.
std::size_t times_given(const std::string &line) {
  const auto lines = lines_of("job.exe");
  return static_cast<std::size_t>(std::count(lines.begin(), lines.end(), line));
}

}  // namespace

TEST(JobCreationScenario, CreatesSubmitsWaitsAddsWatchesAndReleases) {
  given_cluster(queued_for(1000));
  const auto run = run_past_the_wait_box(options);
  EXPECT_EQ(0U, run.status);
  const std::string add_line =
      "job add 7 /scheduler:head /name:\"ORBEX ZEPHON\" /exclusive:false /numprocessors:4"
      " /stdout:ZP%CCP_TASKCONTEXT%.jdoe.o /stderr:ZP%CCP_TASKCONTEXT%.jdoe.e "
      "..\\ms\\bin\\mpiexec.exe   -hosts %CCP_NODES% "
      " -env PATH \"..\\inc\\ntbin\\win64;..\\prod\\netweave\\mpi_wrapper\\win64\\msmpi\" "
      " -env CCP_CLUSTER_NAME head  -env ZEPHON_PROD_DIR \"..\\prod\"  case.jou";
  EXPECT_EQ((std::vector<std::string>{new_line, submit_line, view_line, add_line, modify_line,
                                      view_line}),
            steps_of("job.exe"));
  EXPECT_EQ(1U, times_given(modify_line));
  EXPECT_TRUE(run.output.starts_with("Created job, ID: 7\r\n.")) << run.output;
  EXPECT_TRUE(run.output.ends_with(text_mode(". done!\nTask added.\nJob 7 is Finished.\n")))
      << run.output;
  EXPECT_EQ(text_mode("Waiting for CCP scheduler@head to start msmpi nodes ...\n"), run.errors);
}

TEST(JobCreationScenario, GivesEachCommandToTheInterpreterAsItStands) {
  given_cluster(queued_for(1000));
  (void)run_past_the_wait_box(options);
  auto steps = interpreter_lines();
  steps.erase(std::unique(steps.begin(), steps.end()), steps.end());
  ASSERT_LE(4U, steps.size());
  EXPECT_EQ("cmd.exe /c " + new_line, steps[0]);
  EXPECT_EQ("cmd.exe /c " + submit_line, steps[1]);
  EXPECT_EQ("cmd.exe /c " + view_line, steps[2]);
  EXPECT_EQ("cmd.exe /c cluscfg listenvs /scheduler:head", steps[3]);
}

TEST(JobCreationScenario, TellsTheToolsOfTheJob) {
  given_cluster(queued_for(1000));
  (void)run_past_the_wait_box(options);
  for (const auto &start : starts_of("job.exe")) {
    const bool later = command_of(start) != new_line && command_of(start) != submit_line;
    EXPECT_EQ(later ? "7" : "-1", start.variable("CCP_JOB_ID")) << start.command_line;
  }
}

TEST(JobCreationScenario, LeavesTheJobAndItsReleaseInTheEnvironment) {
  given_cluster(queued_for(1000));
  (void)run_past_the_wait_box("--mpi=net --np=4 --jobid=-1 " + given_solver());
  const auto start = only_start_of("solver.exe");
  EXPECT_EQ("7", start.variable("CCP_JOB_ID"));
  EXPECT_EQ(modify_line, start.variable("CANCEL_CCP_JOB_EXIT1"));
  EXPECT_EQ(0U, times_given(modify_line));
}

TEST(JobCreationScenario, PrintsNoDotForAJobThatRunsAtTheFirstQuestion) {
  given_cluster(job_7("when view\nwait_file go\n" + runs));
  given_box_left_alone();
  auto run = start_launcher("--mpi=net --np=4 --jobid=-1 " + given_solver());
  wait_for_boxes(run, 1);
  given_file("go");
  wait_for_everything(run);
  EXPECT_EQ(text_mode("Created job, ID: 7\n. done!\n"), run.output);
}

TEST(JobCreationScenario, TakesTheFirstIdentifierOnWhicheverLine) {
  given_cluster(queued_for(1000,
                           "out Connecting to head\\r\\nJob queued, ID: 7\\r\\n\n"
                           "out Created job, ID: 8\\r\\n\n"));
  const auto run = run_past_the_wait_box("--mpi=net --np=4 --jobid=-1 " + given_solver());
  EXPECT_TRUE(
      run.output.starts_with("Connecting to head\r\nJob queued, ID: 7\r\nCreated job, "
                             "ID: 8\r\n."))
      << run.output;
  EXPECT_EQ("7", only_start_of("solver.exe").variable("CCP_JOB_ID"));
}

TEST(JobCreationScenario, IsLeftOutForAJobThatIsThere) {
  given_cluster("");
  for (const std::string job : {"0", "17"}) {
    (void)run_launcher("--mpi=net --np=4 --jobid=" + job + " " + given_solver());
  }
  EXPECT_EQ(2U, starts_of("solver.exe").size());
  EXPECT_TRUE(starts_of("job.exe").empty());
}

TEST(JobCreationScenario, GoesOnWithoutAJobThatWasNotCreated) {
  given_cluster(answers("new", "Error: no such head node\r\n"));
  const auto run = run_launcher("--mpi=net --np=4 --jobid=-1 " + given_solver("out solved\\n\n"));
  EXPECT_EQ(0U, run.status);
  EXPECT_EQ("Error: no such head node\r\nsolved\n", run.output);
  EXPECT_EQ(std::vector<std::string>{new_line}, lines_of("job.exe"));
  EXPECT_EQ("-1", only_start_of("solver.exe").variable("CCP_JOB_ID"));
}

TEST(JobCreationScenario, GoesOnBehindALineThatDoesNotEnd) {
  given_cluster("when job new\nout Job queued, ID:\nrepeat 1000000 x\n");
  const auto run = run_launcher("--mpi=net --np=4 --jobid=-1 " + given_solver("out solved\\n\n"));
  EXPECT_EQ(0U, run.status);
  EXPECT_TRUE(run.output == "Job queued, ID:" + std::string(1000000, 'x') + "solved\n")
      << run.output.size() << " bytes";
  EXPECT_EQ(std::vector<std::string>{new_line}, lines_of("job.exe"));
  EXPECT_EQ("-1", only_start_of("solver.exe").variable("CCP_JOB_ID"));
}

TEST(JobCreationScenario, AsksForWholeMachinesAndAtLeastForEachProcess) {
  struct row {
    const char *per_node;
    const char *asked;
  };
  for (const auto &[per_node, asked] : {row{"2", "16"}, row{"0", "4"}, row{"16", "4"}}) {
    given_cluster("");
    given_variable("NUMBER_OF_PROCESSORS", "8");
    given_variable("ZP_CCP_UNIT", "core");
    const std::string option = std::string("--np_per_node=") + per_node;
    (void)run_launcher("--mpi=net --np=4 --jobid=-1 " + option + " " + given_solver());
    EXPECT_EQ(std::string("job new /scheduler:head /jobname:\"ORBEX ZEPHON\" /numcores:") + asked +
                  " /rununtilcanceled:true",
              lines_of("job.exe").back());
  }
}

TEST(JobCreationScenario, ChecksTheCredentialsUnlessTheUserSaysNo) {
  for (const std::string word : {"NO", "No", "not", "yes"}) {
    given_cluster("");
    const auto before = starts_of("job.exe").size();
    (void)run_launcher("--mpi=net --np=4 --jobid=-1 --cred_check=" + word + " " + given_solver());
    const bool checked = word == "not" || word == "yes";
    EXPECT_EQ(before + (checked ? 2U : 1U), starts_of("job.exe").size()) << word;
  }
}

TEST(JobCreationScenario, ShowsEverythingThatTheToolPrints) {
  given_time_limit(300000);  // each line is one write, also on a busy machine
  given_cluster(queued_for(1000,
                           "repeat 100000 a line\\r\\n\nrepeat 1000000 x\nout \\r\\n\n"
                           "out \\x00\\x1A\\xFF 100%s%n\\r\\n\nout Created job, ID: 7\n"));
  const auto run =
      run_past_the_wait_box("--mpi=net --np=4 --jobid=-1 " + given_solver("out solved\\n\n"));
  std::string expected;
  for (int i = 0; i < 100000; ++i) {
    expected += "a line\r\n";
  }
  using namespace std::string_literals;
  expected += std::string(1000000, 'x') + "\r\n\0\x1A\xFF 100%s%n\r\nCreated job, ID: 7."s;
  EXPECT_TRUE(run.output.starts_with(expected)) << run.output.size() << " bytes";
  EXPECT_TRUE(run.output.ends_with(". done!\r\nsolved\n")) << run.output.size() << " bytes";
  EXPECT_EQ("7", only_start_of("solver.exe").variable("CCP_JOB_ID"));
}

TEST(JobCreationScenario, ChecksTheCredentialsInTheConsoleFirst) {
  given_cluster(queued_for(1000) + "when Credential\nout Enter the password for 'jdoe': \n");
  given_no_variable("ZEPHON_CRED_CHECK");
  given_variable("CCP_USER_FLAGS", "/priority:high");
  const auto run = run_past_the_wait_box("--mpi=net --np=4 --jobid=-1 " + given_solver());
  const auto lines = lines_of("job.exe");
  EXPECT_EQ(
      "cmd.exe /c job submit /scheduler:head /jobname:\"ORBEX ZEPHON Credential Check\"  "
      "/priority:high  cmd.exe /C ver",
      lines.at(0));
  EXPECT_EQ(new_line + " /priority:high ", lines.at(1));
  const std::string flags = "\n***\n*** User defined: CCP_USER_FLAGS=/priority:high\n***\n";
  EXPECT_TRUE(run.output.starts_with(text_mode(flags) + "Enter the password for 'jdoe': " +
                                     text_mode(flags + "Created job, ID: 7\n")))
      << run.output;
}

TEST(JobCreationScenario, GoesOnWaitingWhenTheToolVanishesBetweenTwoQuestions) {
  given_cluster(job_7("when view\nmake_file asked\nout State : Queued\\r\\n\n"));
  given_box_left_alone();
  auto run = start_launcher("--mpi=net --np=4 --jobid=-1 " + given_solver());
  wait_for_file(run, "asked");
  wait_for_boxes(run, 1);
  std::filesystem::rename(in_world("job.exe"), in_world("gone.exe"));
  wait_a_while(run);  // it asks every half second
  EXPECT_TRUE(is_running(run));
  given_file("job.script", "when view\n" + runs);
  std::filesystem::rename(in_world("gone.exe"), in_world("job.exe"));
  wait_for_everything(run);
  EXPECT_EQ(0U, run.status);
  EXPECT_TRUE(run.output.ends_with(". done!\r\n")) << run.output;
  EXPECT_EQ(1U, starts_of("solver.exe").size());
}

// ---- The wait box -------------------------------------------------------------------------

TEST(WaitBoxScenario, HasOkAndCancelInFrontOfOtherWindows) {
  given_cluster(queued_for(1000));
  given_watched_styles();
  const auto run = run_past_the_wait_box("--mpi=net --np=4 --jobid=-1 " + given_solver());
  ASSERT_EQ(1U, run.boxes.size());
  EXPECT_EQ("Zephon", run.boxes[0].caption);
  EXPECT_EQ(wait_text, run.boxes[0].text);
  ASSERT_EQ(2U, run.boxes[0].buttons.size());
  EXPECT_EQ(ok_button, run.boxes[0].buttons[0].number);
  EXPECT_EQ(cancel_button, run.boxes[0].buttons[1].number);
  ASSERT_EQ(1U, run.asked_boxes.size());
  EXPECT_EQ(0x40001U, run.asked_boxes[0].style);
}

TEST(WaitBoxScenario, IsClosedByOkWhileTheWaitGoesOn) {
  given_cluster(job_7("when view\nout State : Queued\\r\\n\n"));
  given_box_answer(ok_button);
  auto run = start_launcher("--mpi=net --np=4 --jobid=-1 " + given_solver());
  wait_for_boxes(run, 1);
  wait_for_starts(run, "job.exe", starts_of("job.exe").size() + 2);
  EXPECT_TRUE(is_running(run));
  given_file("job.script", "when view\n" + runs);
  wait_for_everything(run);
  EXPECT_EQ(0U, run.status);
  EXPECT_EQ(1U, run.boxes.size());
  EXPECT_EQ(0U, times_given(cancel_line));
  EXPECT_EQ(1U, starts_of("solver.exe").size());
}

TEST(WaitBoxScenario, ComesBackAfterCancelAndNo) {
  given_cluster(job_7("when view\nout State : Queued\\r\\n\n"));
  given_watched_styles();
  given_box_answer(cancel_button);
  given_box_answer(no_button);
  given_box_left_alone();
  auto run = start_launcher("--mpi=net --np=4 --jobid=-1 " + given_solver());
  wait_for_boxes(run, 3);
  EXPECT_TRUE(is_running(run));
  given_file("job.script", "when view\n" + runs);
  wait_for_everything(run);
  EXPECT_EQ(0U, run.status);
  ASSERT_EQ(3U, run.boxes.size());
  EXPECT_EQ("Zephon", run.boxes[1].caption);
  EXPECT_EQ(cancel_text, run.boxes[1].text);
  ASSERT_EQ(2U, run.boxes[1].buttons.size());
  EXPECT_EQ(yes_button, run.boxes[1].buttons[0].number);
  EXPECT_EQ(no_button, run.boxes[1].buttons[1].number);
  EXPECT_EQ(wait_text, run.boxes[2].text);
  ASSERT_EQ(3U, run.asked_boxes.size());
  EXPECT_EQ(0x40004U, run.asked_boxes[1].style);
  EXPECT_EQ(0x40001U, run.asked_boxes[2].style);
  EXPECT_EQ(0U, times_given(cancel_line));
  EXPECT_EQ(1U, starts_of("solver.exe").size());
}

TEST(WaitBoxScenario, CancelsTheJobAndEndsOnCancelAndYes) {
  given_cluster(
      job_7("when view\nout State : Queued\\r\\n\n"
            "when cancel\nrepeat 1000000 x\nexit 1\n"));
  given_box_answer(cancel_button);
  given_box_answer(yes_button);
  const auto run = run_launcher("--mpi=net --np=4 --jobid=-1 " + given_solver());
  EXPECT_EQ(1U, run.status);
  EXPECT_EQ(1U, times_given(cancel_line));
  EXPECT_EQ(cancel_line, lines_of("job.exe").back());
  EXPECT_TRUE(run.output.ends_with(
      text_mode(".\nCancelling job 7 ... done!\nPress Ctrl-C to stop after done!\n")))
      << run.output;
  EXPECT_EQ("", run.errors);
  EXPECT_TRUE(starts_of("solver.exe").empty());
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
  given_cluster(
      job_7("when view\nmake_file asked\nout State : Queued\\r\\n\n"
            "when cancel\npause 300\n"));
  given_box_left_alone();
  auto run = start_with_ctrl_c("asked", "--mpi=net --np=4 --jobid=-1 " + given_solver());
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
