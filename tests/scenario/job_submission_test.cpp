// job_submission_test.cpp: how the finished command gets to the scheduler, what is
// said of the job from then on, and what happens when no answer comes.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <ostream>

#include "scheduler_bench.h"

using namespace scenario;

namespace {

using texts = std::vector<std::string>;

const std::string mpiexec_part =
    "..\\ms\\bin\\mpiexec.exe   -hosts %CCP_NODES%  -env PATH "
    "\"..\\inc\\ntbin\\win64;..\\prod\\netweave\\mpi_wrapper\\win64\\msmpi\"  -env "
    "CCP_CLUSTER_NAME head  -env ZEPHON_PROD_DIR \"..\\prod\"  case.jou";
const std::string output_part =
    " /stdout:ZP%CCP_TASKCONTEXT%.jdoe.o /stderr:ZP%CCP_TASKCONTEXT%.jdoe.e ";
const std::string submit_line =
    "job submit /scheduler:head /jobname:\"ORBEX ZEPHON\" /exclusive:false /numprocessors:4" +
    output_part + mpiexec_part;
const std::string add_line =
    "job add 12 /scheduler:head /name:\"ORBEX ZEPHON\" /exclusive:false /numprocessors:4" +
    output_part + mpiexec_part;
const std::string in_the_console = " -ccp_job %CCP_TASKCONTEXT%@%CCP_CLUSTER_NAME% ";
const std::string view_line = "job view 12 /scheduler:head";
const std::string release_line = "job modify 12 /rununtilcanceled:false /scheduler:head";
const std::string waiting = text_mode("Waiting for CCP scheduler@head to start msmpi nodes ...\n");

const std::string submitted = answers("submit", "Job has been submitted. ID: 12.\r\n");
const std::string finished = answers("view", "State : Finished\r\n");

launch submit(const std::string &arguments = "") {
  return run_launcher("--mpi=msmpi --np=4 " + arguments + "case.jou");
}

texts repeated(std::size_t times, const std::string &line) {
  return texts(times, line);
}

texts operator+(texts one, const texts &other) {
  one.insert(one.end(), other.begin(), other.end());
  return one;
}

std::size_t times_given(const std::string &line) {
  const auto lines = lines_of("job.exe");
  return static_cast<std::size_t>(std::count(lines.begin(), lines.end(), line));
}

}  // namespace

// ---- MS-MPI outside a job -----------------------------------------------------------------

TEST(MsmpiSubmission, SubmitsInOneStepAndWatches) {
  given_cluster(submitted + finished);
  const auto run = submit();
  EXPECT_EQ(0U, run.status);
  EXPECT_EQ(texts{submit_line} + repeated(6, view_line), lines_of("job.exe"));
  EXPECT_EQ((texts{"cmd.exe /c cluscfg listenvs /scheduler:head", "cmd.exe /c " + submit_line}) +
                repeated(6, "cmd.exe /c " + view_line),
            interpreter_lines());
  EXPECT_EQ(text_mode("Job has been submitted. ID: 12.\nJob 12 is Finished.\n"), run.output);
  EXPECT_EQ(waiting, run.errors);
  EXPECT_TRUE(starts_of("ms\\bin\\mpiexec.exe").empty());
}

TEST(MsmpiSubmission, AddsToAnExistingJobAndReleasesItOnce) {
  given_cluster(answers("add", "Task 1 submitted.\r\n") + answers("modify", "Modified.\r\n") +
                finished);
  given_variable("CANCEL_CCP_JOB_EXIT1", release_line);
  const auto run = submit("--jobid=12 ");
  EXPECT_EQ(0U, run.status);
  EXPECT_EQ((texts{add_line, release_line}) + repeated(6, view_line), lines_of("job.exe"));
  EXPECT_EQ(text_mode("Task 1 submitted.\nJob 12 is Finished.\n"), run.output);
  EXPECT_EQ(waiting, run.errors);
  EXPECT_EQ(release_line, starts_of("job.exe").at(0).variable("CANCEL_CCP_JOB_EXIT1"));
  EXPECT_EQ(std::nullopt, starts_of("job.exe").back().variable("CANCEL_CCP_JOB_EXIT1"));
}

TEST(MsmpiSubmission, ListensNoLongerThanToTheAnswer) {
  given_cluster("when submit\nout Cannot connect to head\\r\\n\nwait_file go\nout too late\n");
  auto run = start_launcher("--mpi=msmpi --np=4 case.jou");
  wait_for_end(run);
  EXPECT_EQ("Cannot connect to head\r\n", run.output);
  EXPECT_EQ(waiting, run.errors);
  given_file("go");
  wait_for_everything(run);
  EXPECT_EQ(1U, starts_of("job.exe").size());
}

TEST(MsmpiSubmission, TakesTheEndOfTheOutputForAnAnswer) {
  given_cluster(answers("submit", "100% %s%n of\xFF nothing"));
  const auto run = submit();
  EXPECT_EQ("100% %s%n of\xFF nothing", run.output);
  EXPECT_EQ(waiting, run.errors);
  EXPECT_EQ(texts{submit_line}, lines_of("job.exe"));
}

TEST(MsmpiSubmission, ShowsEverythingBeforeTheAnswer) {
  given_cluster(
      "when submit\nrepeat 2000 a line\\r\\n\nrepeat 1000000 x\nout \\r\\n\n"
      "out submitted\\r\\n\n");
  const auto run = submit();
  std::string expected;
  for (int line = 0; line < 2000; ++line) {
    expected += "a line\r\n";
  }
  expected += std::string(1000000, 'x') + "\r\nsubmitted\r\n";
  EXPECT_TRUE(expected == run.output) << run.output.size() << " bytes";
}

TEST(MsmpiSubmission, TakesAToolThatIsNotThereForAnAnswer) {
  given_cluster("");
  std::filesystem::remove(in_world("job.exe"));
  given_variable("CANCEL_CCP_JOB_EXIT1", release_line);
  const auto run = submit();
  EXPECT_EQ(0U, run.status);
  // In the interpreter's own words.
  EXPECT_NE(std::string::npos, run.output.find("job")) << run.output;
  EXPECT_EQ(waiting, run.errors);
}

TEST(MsmpiSubmission, IsTraced) {
  given_cluster(answers("submit", "submitted\r\n"));
  given_variable("ZEPHON_STARTUP_DEBUG", "1");
  const auto run = submit();
  const auto traced = text_mode("\ncmd = " + submit_line + " (..\\src\\mpirun:4151)");
  EXPECT_TRUE(run.output.ends_with(traced + "submitted\r\n")) << run.output;
}

// ---- No answer in time --------------------------------------------------------------------

TEST(LateSubmission, RunsInTheConsoleAndGoesOn) {
  given_cluster(
      "when -ccp_job\nout Task 1 submitted.\\r\\n\n"
      "when job add\nout Enter the password: \nwait_file never\n"
      "when modify\nmake_file released\n" +
      finished);
  given_variable("CANCEL_CCP_JOB_EXIT1", release_line);
  given_variable("CCP_JOB_SUBMIT_WAIT_TIME", "0.5");
  const auto run = submit("--jobid=12 ");
  EXPECT_EQ(0U, run.status);
  EXPECT_EQ((texts{add_line, add_line + in_the_console, release_line}) + repeated(6, view_line),
            lines_of("job.exe"));
  EXPECT_EQ(text_mode("\nCCP_JOB_SUBMIT_WAIT_TIME = 0.5\nEnter the password: "
                      "Task 1 submitted.\nJob 12 is Finished.\n"),
            run.output);
  EXPECT_EQ(waiting, run.errors);
  EXPECT_TRUE(file_text("released"));
  const auto starts = starts_of("job.exe");
  EXPECT_EQ(std::nullopt, starts.at(0).code);  // it was ended, or there would be two tasks
  EXPECT_EQ("pipe", starts.at(0).output);
  EXPECT_EQ("character", starts.at(0).input);  // the null device
}

TEST(LateSubmission, IsEndedWithItsTool) {
  given_cluster("when -ccp_job\nout submitted\\r\\n\nwhen submit\nwait_file never\n");
  given_variable("CCP_JOB_SUBMIT_WAIT_TIME", "0.5");
  const auto run = submit();
  EXPECT_EQ(0U, run.status);
  EXPECT_EQ(text_mode("\nCCP_JOB_SUBMIT_WAIT_TIME = 0.5\nsubmitted\n"), run.output);
  const auto starts = starts_of("job.exe");
  ASSERT_EQ(2U, starts.size());
  EXPECT_EQ(std::nullopt, starts[0].code);
  EXPECT_EQ(0U, starts[1].code);
}

TEST(LateSubmission, IsNotLateWhenTheWaitTimeIsNoNumber) {
  given_cluster("when submit\npause 300\nout submitted\\r\\n\n");
  given_variable("CCP_JOB_SUBMIT_WAIT_TIME", "soon");
  const auto run = submit();
  EXPECT_EQ(text_mode("\nCCP_JOB_SUBMIT_WAIT_TIME = soon\nsubmitted\n"), run.output);
  EXPECT_EQ(texts{submit_line}, lines_of("job.exe"));
}

// ---- MS-MPI inside a job ------------------------------------------------------------------

TEST(MsmpiInsideAJob, RunsInTheConsoleWithoutTheScheduler) {
  given_cluster("");
  given_tool("ms\\bin\\mpiexec.exe", "out solved\\n\nerr warned\\n\n");
  given_variable("CCP_CLUSTER_NAME", "head");
  given_variable("CCP_NODES", "3 alpha 8 beta 8 gamma 8");
  given_variable("CANCEL_CCP_JOB_EXIT1", release_line);
  const auto run = run_launcher("--mpi=msmpi --np=2 case.jou");
  EXPECT_EQ(0U, run.status);
  EXPECT_EQ("solved\n", run.output);
  EXPECT_EQ("warned\n", run.errors);
  const auto start = only_start_of("ms\\bin\\mpiexec.exe");
  EXPECT_EQ(
      "..\\ms\\bin\\mpiexec.exe   -hosts 2 alpha 1 beta 1   -env PATH "
      "\"..\\inc\\ntbin\\win64;..\\prod\\netweave\\mpi_wrapper\\win64\\msmpi\"  -env "
      "CCP_CLUSTER_NAME -1  -env ZEPHON_PROD_DIR \"..\\prod\"  case.jou",
      start.command_line);
  EXPECT_EQ("character", start.input);
  EXPECT_TRUE(starts_of("job.exe").empty());
  EXPECT_TRUE(starts_of("cluscfg.exe").empty());
}

TEST(MsmpiInsideAJob, IsFollowedToItsEnd) {
  given_cluster("");
  given_tool("ms\\bin\\mpiexec.exe", "wait_file go\nout solved\\n\n");
  given_variable("USE_CCP", "-1");
  given_variable("CCP_NODES", "1 alpha 8");
  auto run = start_launcher("--mpi=msmpi --np=2 case.jou");
  wait_for_starts(run, "ms\\bin\\mpiexec.exe", 1);
  wait_a_moment(run);
  EXPECT_TRUE(is_running(run));
  given_file("ms\\bin\\go");
  wait_for_everything(run);
  EXPECT_EQ("solved\n", run.output);
}

// ---- Platform MPI -------------------------------------------------------------------------

namespace {

const std::string platform_mpirun =
    R"("..\inc\zephon1.2.3\netweave\mpi\win64\ibmmpi\bin\mpirun.exe" -prot -e MPI_ROOT="..\inc\zephon1.2.3\netweave\mpi\win64\ibmmpi"  -ccp  -np 4  -e PATH="..\inc\ntbin\win64;..\prod\netweave\mpi_wrapper\win64\ibmmpi" -e MPI_WORKDIR="..\inc" -e ZEPHON_PROD_DIR="..\prod"  case.jou)";

std::string platform_add_line(const std::string &job) {
  return "job add " + job + R"( /numprocessors:1-1 /scheduler:head /name:"ORBEX ZEPHON")" +
         output_part + platform_mpirun;
}

launch submit_platform_mpi(const std::string &arguments = "") {
  given_wrapper("ibmmpi");
  given_tool("inc\\zephon1.2.3\\netweave\\mpi\\win64\\ibmmpi\\bin\\mpirun.exe");
  return run_launcher("--r1.2.3 --mpi=ibmmpi --np=4 " + arguments + "case.jou");
}

}  // namespace

TEST(PlatformMpiSubmission, AddsTheTaskAndSubmitsItsJob) {
  given_cluster(answers("new", "Created job, ID: 12\r\n") +
                answers("add", "Task added: 100%s\r\n") +
                answers("submit /scheduler:head /id:12 ", "Job 12 submitted\r\n") + finished);
  given_variable("CANCEL_CCP_JOB_EXIT1", release_line);
  const auto run = submit_platform_mpi();
  EXPECT_EQ(0U, run.status);
  EXPECT_EQ((texts{"job new /scheduler:head /jobname:\"ORBEX ZEPHON\" /numprocessors:4 ",
                   platform_add_line("12"), "job submit /scheduler:head /id:12 ", release_line}) +
                repeated(6, view_line),
            lines_of("job.exe"));
  EXPECT_EQ(text_mode("Created job, ID: 12\nTask added: 100%s\nJob 12 submitted\n"
                      "Job 12 is Finished.\n"),
            run.output);
  EXPECT_EQ("", run.errors);
}

TEST(PlatformMpiSubmission, OnlyAddsTheTaskToAnExistingJob) {
  given_cluster(answers("add", "Task added\r\n") + finished);
  const auto run = submit_platform_mpi("--jobid=12 ");
  EXPECT_EQ(texts{platform_add_line("12")} + repeated(6, view_line), lines_of("job.exe"));
  EXPECT_EQ(text_mode("Task added\nJob 12 is Finished.\n"), run.output);
}

// ---- Everything else ----------------------------------------------------------------------

TEST(OtherSubmission, IsLeftToTheLauncherWithoutAJob) {
  given_cluster("");
  const auto run = run_launcher("--mpi=net --np=4 " + given_solver("out solved\\n\n"));
  EXPECT_EQ(0U, run.status);
  EXPECT_EQ("solved\n", run.output);
  EXPECT_EQ(1U, starts_of("solver.exe").size());
  EXPECT_TRUE(starts_of("job.exe").empty());
}

// The job of CCP_JOB_ID is watched first, then the command is started here.
TEST(OtherSubmission, ComesAfterTheWatchForIntelMpi) {
  given_cluster(finished);
  given_wrapper("intel");
  const auto run = run_launcher("--r1.2.3 --mpi=intel --np=4 --jobid=12 case.jou");
  EXPECT_EQ(0U, run.status);
  const auto lines = lines_of("job.exe");
  ASSERT_EQ(7U, lines.size());
  EXPECT_EQ(repeated(6, view_line), texts(lines.begin(), lines.begin() + 6));
  EXPECT_EQ("job add 12 /scheduler:head /name:\"ORBEX ZEPHON\" /exclusive:false /numprocessors:4" +
                output_part +
                "..\\inc\\zephon1.2.3\\netweave\\mpi\\win64\\intel\\bin\\mpiexec.exe  -hosts "
                "%CCP_NODES%  -n 4  -genv ZEPHON_PROD_DIR \"..\\prod\" -genv I_MPI_PIN enable   "
                "case.jou",
            lines[6]);
  EXPECT_EQ("Job 12 is Finished.\r\n", run.output);
}

TEST(OtherSubmission, IsAnyRunWithAHostFile) {
  given_cluster("");
  given_tool("ms\\bin\\mpiexec.exe");
  given_file("hosts", "alpha\n");
  given_variable("ZEPHON_HOSTS_FILE", "..\\hosts");
  const auto run = submit("--jobid=12 ");
  EXPECT_EQ(0U, run.status);
  EXPECT_EQ(
      "..\\ms\\bin\\mpiexec.exe   -job 12.1 -dir .  -np 4  -machinefile ..\\hosts  -env PATH "
      "\"..\\inc\\ntbin\\win64;..\\prod\\netweave\\mpi_wrapper\\win64\\msmpi\"  -env "
      "CCP_CLUSTER_NAME head  -env ZEPHON_PROD_DIR \"..\\prod\"  case.jou",
      only_start_of("ms\\bin\\mpiexec.exe").command_line);
  EXPECT_TRUE(starts_of("job.exe").empty());
}

// ---- The run-debug log --------------------------------------------------------------------

TEST(RunDebugLog, HoldsTheCommandOfEveryRun) {
  given_cluster(answers("submit", "submitted\r\n"));
  given_variable("ZEPHON_RUN_DEBUG", "..\\run.log");
  (void)submit();
  const auto solver = given_solver();
  (void)run_launcher("--mpi=net " + solver + " \"a b\"");
  EXPECT_EQ(text_mode("\n" + submit_line + "\n\n" + solver + " \"a b\"\n"), file_text("run.log"));
}

TEST(RunDebugLog, IsLeftOutWhenItCannotBeOpened) {
  given_cluster("");
  given_variable("ZEPHON_RUN_DEBUG", "no\\such\\folder\\run.log");
  const auto run = run_launcher("--mpi=net " + given_solver());
  EXPECT_EQ(0U, run.status);
  EXPECT_EQ("", run.output + run.errors);
  EXPECT_EQ(1U, starts_of("solver.exe").size());
}

// ---- The watch ----------------------------------------------------------------------------

TEST(JobWatchScenario, AnnouncesEachChangeOnce) {
  given_cluster(submitted +
                "when view\ntimes 1\nout State : Queued\\r\\n\n"  // asked for first, and met
                "when view\ntimes 2\nout Status : NotRunning\\r\\n\n" +
                finished);
  const auto run = submit();
  EXPECT_EQ(text_mode("Job has been submitted. ID: 12.\nJob 12 is Running.\nJob 12 is Finished.\n"),
            run.output);
  EXPECT_EQ(9U, times_given(view_line));
}

TEST(JobWatchScenario, PollsAnUnknownStateAsAQueuedOne) {
  given_cluster(submitted + "when view\ntimes 6\nout State : Configuring\\r\\n\n" + finished);
  const auto run = submit();
  EXPECT_EQ(text_mode("Job has been submitted. ID: 12.\nJob 12 is Finished.\n"), run.output);
  EXPECT_EQ(12U, times_given(view_line));
}

namespace {

struct final_state {
  std::string name;
  std::string answer;
  std::string said;
  bool output_is_shown;
};

void PrintTo(const final_state &one, std::ostream *stream) {
  *stream << one.name;
}

class JobEnd : public testing::TestWithParam<final_state> {};

const std::vector<final_state> final_states = {
    {"CanceledInTheLaterSpelling", "State : Canceled\r\n", "Job 12 is Canceled.\n", true},
    {"CancelledInTheEarlierSpelling", "Status : Cancelled\r\n", "Job 12 is Cancelled.\n", true},
    {"FailedWithItsReason", "State : Failed\r\nError message : node n1: lost\r\n",
     "Job 12 is Failed.  node n1: lost\n\n", true},
    {"Finished", "Status : Finished\r\n", "Job 12 is Finished.\n", false},
};

}  // namespace

TEST_P(JobEnd, ShowsTheOutputFilesUnlessItFinished) {
  given_cluster(submitted + answers("view", GetParam().answer));
  given_joined_output();
  given_file("work\\ZP12.1.jdoe.o", "iteration 1\r\n100%s");
  given_file("work\\ZP12.1.jdoe.e", "out of memory\r\n");
  const auto run = submit();
  EXPECT_EQ(0U, run.status);
  const std::string files =
      "\n\n---------- stderr ----------\nout of memory\n"
      "\n\n---------- stdout ----------\niteration 1\n100%s";
  EXPECT_EQ(text_mode("Job has been submitted. ID: 12.\n") + waiting +
                text_mode(GetParam().said + (GetParam().output_is_shown ? files : "")),
            run.output);
}

INSTANTIATE_TEST_SUITE_P(JobWatchScenario, JobEnd, testing::ValuesIn(final_states),
                         [](const auto &row) { return row.param.name; });

TEST(JobWatchScenario, ShowsEachFileOnItsOwnStreamAndNoneThatIsMissing) {
  given_cluster(submitted + answers("view", "State : Failed\r\n"));
  given_no_variable("USERNAME");
  given_file("work\\ZP12.1.e", "out of memory\r\n");
  const auto run = submit();
  EXPECT_EQ(text_mode("Job has been submitted. ID: 12.\nJob 12 is Failed.\n"), run.output);
  EXPECT_EQ(waiting + text_mode("\n\n---------- stderr ----------\nout of memory\n"), run.errors);
}

TEST(JobWatchScenario, GoesOnWhenTheToolVanishesBetweenTwoQuestions) {
  given_cluster(submitted + "when view\nmake_file asked\nout State : Queued\\r\\n\n");
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
