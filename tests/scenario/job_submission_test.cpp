// job_submission_test.cpp: what only real processes show of a run that is handed to the
// scheduler: tools that go on, tools that are ended, and tools that vanish.

#include <gtest/gtest.h>

#include <filesystem>

#include "scheduler_bench.h"

using namespace scenario;

namespace {

const std::string finished = answers("view", "State : Finished\r\n");

}  // namespace

TEST(MsmpiSubmission, ListensNoLongerThanToTheAnswer) {
  given_cluster("when submit\nout Cannot connect to head\\r\\n\nwait_file go\nout too late\n");
  auto run = start_launcher("--mpi=msmpi --np=4 case.jou");
  wait_for_end(run);
  EXPECT_EQ("Cannot connect to head\r\n", run.output);
  EXPECT_EQ(text_mode("Waiting for CCP scheduler@head to start msmpi nodes ...\n"), run.errors);
  given_file("go");
  wait_for_everything(run);
  EXPECT_EQ(1U, starts_of("job.exe").size());
}

TEST(MsmpiSubmission, IsEndedWithItsToolWhenItIsLateAndGoesOn) {
  given_cluster(
      "when -ccp_job\nout Task 1 submitted.\\r\\n\nwhen job add\nout Enter the password: "
      "\nwait_file never\nwhen modify\nmake_file released\n" +
      finished);
  given_variable("CANCEL_CCP_JOB_EXIT1", "job modify 12");
  given_variable("CCP_JOB_SUBMIT_WAIT_TIME", "0.5");
  const auto run = run_launcher("--mpi=msmpi --np=4 --jobid=12 case.jou");
  EXPECT_EQ(0U, run.status);
  EXPECT_EQ(text_mode("\nCCP_JOB_SUBMIT_WAIT_TIME = 0.5\nEnter the password: "
                      "Task 1 submitted.\nJob 12 is Finished.\n"),
            run.output);
  EXPECT_TRUE(file_text("released"));
  const auto starts = starts_of("job.exe");
  ASSERT_EQ(2U + 1U + 6U, starts.size());
  EXPECT_EQ(std::nullopt, starts[0].code);  // it was ended, or there would be two tasks
  EXPECT_EQ("pipe", starts[0].output);
  EXPECT_EQ("character", starts[0].input);  // the null device
  EXPECT_EQ(0U, starts[1].code);
  EXPECT_EQ(command_of(starts[0]) + " -ccp_job %CCP_TASKCONTEXT%@%CCP_CLUSTER_NAME% ",
            command_of(starts[1]));
  EXPECT_EQ("job modify 12", command_of(starts[2]));
}

TEST(MsmpiInsideAJob, IsFollowedToItsEnd) {
  given_cluster("");
  given_tool("ms\\bin\\mpiexec.exe", "wait_file go\nout solved\\n\nerr warned\\n\n");
  given_variable("USE_CCP", "-1");
  given_variable("CCP_NODES", "1 alpha 8");
  auto run = start_launcher("--mpi=msmpi --np=2 case.jou");
  wait_for_starts(run, "ms\\bin\\mpiexec.exe", 1);
  wait_a_moment(run);
  EXPECT_TRUE(is_running(run));
  given_file("ms\\bin\\go");
  wait_for_everything(run);
  EXPECT_EQ("solved\n", run.output);
  EXPECT_EQ("warned\n", run.errors);
  EXPECT_EQ("character", only_start_of("ms\\bin\\mpiexec.exe").input);
}

// The job of CCP_JOB_ID is watched first, then the command is started here.
TEST(OtherSubmission, ComesAfterTheWatchForIntelMpi) {
  given_cluster(finished);
  given_wrapper("intel");
  EXPECT_EQ(0U, run_launcher("--r1.2.3 --mpi=intel --np=4 --jobid=12 case.jou").status);
  const auto lines = lines_of("job.exe");
  ASSERT_EQ(7U, lines.size());
  EXPECT_EQ("job view 12 /scheduler:head", lines[5]);
  EXPECT_TRUE(lines[6].starts_with("job add 12 /scheduler:head ")) << lines[6];
}

TEST(JobWatchScenario, GoesOnWhenTheToolVanishesBetweenTwoQuestions) {
  given_cluster(answers("submit", "Job has been submitted. ID: 12.\r\n") +
                "when view\nmake_file asked\nout State : Queued\\r\\n\n");
  auto run = start_launcher("--mpi=msmpi --np=4 case.jou");
  wait_for_file(run, "asked");
  std::filesystem::rename(in_world("job.exe"), in_world("gone.exe"));
  wait_a_while(run);  // more than a round without an answer
  EXPECT_TRUE(is_running(run));
  given_file("job.script", finished);
  std::filesystem::rename(in_world("gone.exe"), in_world("job.exe"));
  wait_for_everything(run);
  EXPECT_EQ(0U, run.status);
  EXPECT_EQ(text_mode("Job has been submitted. ID: 12.\nJob 12 is Finished.\n"), run.output);
}
