// cluster_fault_test.cpp: launches on a cluster on which something is wrong: the head
// node, its answers, the job, or a node.
#include "cluster_bench.h"

using namespace scenario;

namespace {

class FaultyCluster : public launcher_test {
 protected:
  void SetUp() override {
    NEEDS_THE_STAND_IN();
    launcher_test::SetUp();
  }
};

const char *const with_new_job = "--mpi=msmpi --np=4 --ccp HEADNODE --jobid=-1 solver.exe -i plate";
const char *const without_job = "--mpi=msmpi --np=4 --ccp HEADNODE solver.exe -i plate";

// Follows the launcher until the head node was asked so often since it was started.
void wait_for_calls(launch &run, int count) {
  while (is_running(run) && calls_of_head_node() < count) {
    wait_a_moment(run);
  }
}

// ---- The head node --------------------------------------------------------------------------

TEST_F(FaultyCluster, GoesOnWithoutAJobWhenTheHeadNodeIsDown) {
  given_a_dead_head_node(remembers);
  const std::string line = "Cannot connect to the head node HEADNODE.\n";
  auto run = run_launcher(with_new_job);
  EXPECT_EQ(0U, run.status);
  EXPECT_EQ(line + line, unix_lines(run.output));
  run = run_launcher(without_job);
  EXPECT_EQ(0U, run.status);
  EXPECT_EQ(line, unix_lines(run.output));
}

TEST_F(FaultyCluster, GoesOnWithoutAJobWhenTheHeadNodeIsThereButDoesNotAnswer) {
  given_variable("HEAD_NODE_PATIENCE", "1");
  given_a_hanging_head_node();
  const auto run = run_launcher(with_new_job);
  EXPECT_EQ(0U, run.status);
  const std::string line = "Cannot connect to the head node HEADNODE.\n";
  EXPECT_EQ(line + line, unix_lines(run.output));
}

TEST_F(FaultyCluster, WaitsForNodesWhileTheHeadNodeIsAway) {
  const auto all = given_running_job("/numnodes:8");
  given_tool(mpiexec);
  given_box_left_alone();
  auto run = start_launcher(with_new_job);
  wait_for_boxes(run, 1);
  given_a_dead_head_node(remembers);
  wait_for_output(run, "..");  // it asks and asks
  start_head_node();
  job("cancel " + all);
  wait_for_everything(run);
  EXPECT_TRUE(contains(run.output, "Job 2 is Finished.")) << run.output;
  EXPECT_EQ("2", only_start_of(mpiexec).variable("CCP_JOBID"));
}

TEST_F(FaultyCluster, SeesTheEndOfAJobThatEndedWhileTheHeadNodeWasAway) {
  given_tool(mpiexec, "wait_file go\nout converged\\n\n");
  auto run = start_launcher(without_job);
  wait_for_output(run, "Job 1 is Running.");
  given_a_dead_head_node(remembers);
  given_file("ms\\go");
  wait_for_text(share_on_drive() + "\\ZP1.1." + std::getenv("USERNAME") + ".o", "converged");
  start_head_node();
  wait_for_everything(run);
  EXPECT_EQ(run.output.find("is Running."), run.output.rfind("is Running.")) << run.output;
  EXPECT_TRUE(contains(run.output, "Job 1 is Finished.")) << run.output;
  EXPECT_EQ(1U, starts_of(mpiexec).size());
}

// Nothing ends the watch of a job that nobody knows any more but its limit of polls.
TEST_F(FaultyCluster, KeepsAskingForARunningJobThatTheHeadNodeHasForgotten) {
  given_tool(mpiexec, "pause 600000\n");
  auto run = start_launcher(without_job);
  wait_for_output(run, "Job 1 is Running.");
  given_a_dead_head_node(forgets);
  start_head_node();
  const auto before = run.output;
  wait_for_calls(run, 12);  // six for each look at the job
  EXPECT_TRUE(is_running(run));
  EXPECT_EQ(before, run.output);
  // The job's nodes are free again.
  EXPECT_EQ(8U, words_of(view_value(given_running_job("/numnodes:8"), "Allocated nodes")).size());
}

TEST_F(FaultyCluster, AJobThatWasForgottenInTheQueueCanBeGivenUp) {
  given_running_job("/numnodes:8");
  given_box_left_alone();
  auto run = start_launcher(with_new_job);
  wait_for_boxes(run, 1);
  given_a_dead_head_node(forgets);
  start_head_node();
  wait_for_calls(run, 2);
  EXPECT_TRUE(is_running(run));
  box_driver::press(run.boxes.at(0), cancel_button);
  given_box_answer(yes_button);
  wait_for_everything(run);
  EXPECT_EQ(1U, run.status);
  EXPECT_EQ("", job_state("2"));
}

TEST_F(FaultyCluster, KeepsWaitingWhenAQueryFailsOnce) {
  given_tool(mpiexec);
  given_fault("fail_once@view");
  given_box_left_alone();
  const auto run = run_launcher(with_new_job);
  EXPECT_TRUE(contains(run.output, "Job 1 is Finished.")) << run.output;
}

TEST_F(FaultyCluster, KeepsWaitingWhenTheAnswersAreSlow) {
  given_tool(mpiexec);
  given_fault("slow", "0.5");
  given_box_left_alone();
  const auto run = run_launcher(with_new_job);
  EXPECT_TRUE(contains(run.output, "Job 1 is Finished.")) << run.output;
}

TEST_F(FaultyCluster, ShowsThatTheCredentialsAreRefusedAndWaitsUntilTheUserCancels) {
  given_no_variable("ZEPHON_CRED_CHECK");
  given_fault("refused@submit");
  given_box_answer(cancel_button);
  given_box_answer(yes_button);
  const auto run = run_launcher(with_new_job);
  EXPECT_EQ(1U, run.status);
  EXPECT_EQ("The user name or password is incorrect.\n", unix_lines(run.errors));
  EXPECT_EQ("Canceled", job_state("1"));
}

// ---- The answers ----------------------------------------------------------------------------

TEST_F(FaultyCluster, EchoesAnAnswerThatIsNoTextAndGoesOnWithoutAJob) {
  given_fault("garbage@new");
  const auto run = run_launcher(with_new_job);
  EXPECT_EQ(0U, run.status);
  EXPECT_TRUE(contains(run.output, "\x01\xff\xfe%s%n\r\x80:\x1b[2J\t: \xc3\r\n%d: \x7f\r\n"))
      << run.output;
  EXPECT_FALSE(contains(run.output, "done!"));
}

TEST_F(FaultyCluster, GoesOnWithoutAJobWhenTheAnswerIsEmptyOrCutOff) {
  for (const char *fault : {"silent@new", "cut@new"}) {
    given_fault(fault);
    const auto run = run_launcher(with_new_job);
    EXPECT_EQ(0U, run.status) << fault;
    EXPECT_TRUE(contains(run.output, "The job identifier -1 is invalid.")) << run.output;
    given_no_fault(fault);
  }
}

TEST_F(FaultyCluster, SubmitsOnceAndInTheConsoleWhenTheAnswerTakesTooLong) {
  given_tool(mpiexec, "out converged\\n\n");
  given_variable("CCP_JOB_SUBMIT_WAIT_TIME", "1");
  given_fault("slow@submit", "4");
  const auto run = run_launcher(without_job);
  EXPECT_EQ(0U, run.status);
  const auto output = unix_lines(run.output);
  EXPECT_TRUE(output.starts_with("\nCCP_JOB_SUBMIT_WAIT_TIME = 1\n")) << output;
  EXPECT_TRUE(contains(output, "Job has been submitted. ID: 1.\n")) << output;
  wait_for_state("1", {"Finished"});
  EXPECT_TRUE(only_start_of(mpiexec).command_line.ends_with(" -ccp_job 1.1@HEADNODE"))
      << only_start_of(mpiexec).command_line;
}

// ---- The job and its nodes ------------------------------------------------------------------

TEST_F(FaultyCluster, TellsThatAJobWasCanceledFromOutside) {
  given_tool(mpiexec, "out so far\\n\npause 600000\n");
  given_fault("cancel@submit", "4");
  const auto run = run_launcher(without_job);
  EXPECT_TRUE(contains(run.output, "Job 1 is Canceled.  Canceled by the administrator."))
      << run.output;
  EXPECT_TRUE(contains(unix_lines(run.output), "\n\n---------- stdout ----------\nso far\n"))
      << run.output;
}

TEST_F(FaultyCluster, TellsThatAJobHasLostANode) {
  given_tool(mpiexec, "err so far\\n\npause 600000\n");
  given_fault("lose@submit", "4");
  const auto run = run_launcher(without_job);
  EXPECT_TRUE(contains(run.output,
                       "Job 1 is Failed.  Job failed to start on some nodes or some nodes became "
                       "unreachable."))
      << run.output;
  EXPECT_TRUE(contains(unix_lines(run.errors), "\n\n---------- stderr ----------\nso far\n"))
      << run.errors;
  // The node serves again.
  EXPECT_EQ(8U, words_of(view_value(given_running_job("/numnodes:8"), "Allocated nodes")).size());
}

TEST_F(FaultyCluster, TellsThatTheSystemHasFailedTheJob) {
  given_tool(mpiexec, "pause 600000\n");
  given_fault("fail@submit", "2");
  const auto run = run_launcher(without_job);
  EXPECT_TRUE(contains(run.output, "Job 1 is Failed.")) << run.output;
}

TEST_F(FaultyCluster, TellsThatTheJobDidNotPassValidation) {
  given_fault("invalid@submit");
  const auto run = run_launcher(without_job);
  EXPECT_TRUE(contains(run.output, "Job 1 is Failed.")) << run.output;
}

TEST_F(FaultyCluster, AJobThatNeverLeavesTheQueueCanBeTakenBack) {
  given_fault("stuck@submit");
  given_box_answer(cancel_button);
  given_box_answer(yes_button);
  const auto run = run_launcher(with_new_job);
  EXPECT_EQ(1U, run.status);
  EXPECT_EQ("Canceled", job_state("1"));
}

}  // namespace
