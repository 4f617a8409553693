// Tests of the ways in which the MPIs get their work to the scheduler.
#include "scheduler/job_submission.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "core/launch_state.h"
#include "support/fresh_launch.h"

using namespace stand_in;

namespace {

using texts = std::vector<std::string>;

constexpr const char *view_command = "job view 42 /scheduler:head";
constexpr const char *exit_command = "job modify 42 /rununtilcanceled:false /scheduler:head";

bool submit(const std::string &text) {
  command_line command{text, {{text, ""}}};
  return submit_scheduler_job(command);
}

std::string rewritten(const std::string &text) {
  command_line command{text, {{text, ""}}};
  (void)submit_scheduler_job(command);
  return command.text;
}

texts first_commands(std::size_t count) {
  texts all = commands();
  all.resize(std::min(count, all.size()));
  return all;
}

// ---- Leading blanks and the log -----------------------------------------------------------

TEST(Submission, RemovesTheBlanksInFrontOfTheCommand) {
  EXPECT_EQ("mpiexec.exe  case ", rewritten("   mpiexec.exe  case "));
  EXPECT_EQ("mpiexec.exe", rewritten("mpiexec.exe"));
  EXPECT_EQ("\tmpiexec.exe", rewritten(" \tmpiexec.exe"));
  EXPECT_EQ("", rewritten("   "));
  EXPECT_EQ("", rewritten(""));
}

TEST(Submission, RemovesBlanksOfACommandOfAtMost1024Characters) {
  const std::string longest = " " + std::string(1'023, 'x');
  EXPECT_EQ(std::string(1'023, 'x'), rewritten(longest));
  EXPECT_EQ(longest + "x", rewritten(longest + "x"));
}

TEST(RunDebugLog, HoldsEachCommand) {
  given_variable("ZEPHON_RUN_DEBUG", "C:\\logs\\run.txt");
  (void)submit("  mpiexec.exe 100%s");
  (void)submit("solver.exe");
  EXPECT_EQ("\r\nmpiexec.exe 100%s\r\n\r\nsolver.exe\r\n", file_content("C:\\logs\\run.txt"));
}

TEST(RunDebugLog, KeepsWhatItHeld) {
  given_file("C:\\run.txt", "before");
  given_variable("ZEPHON_RUN_DEBUG", "C:\\run.txt");
  (void)submit("x");
  EXPECT_EQ("before\r\nx\r\n", file_content("C:\\run.txt"));
}

TEST(RunDebugLog, HoldsTheBlanksOfALongCommand) {
  const std::string command = "  " + std::string(1'023, 'x');
  given_variable("ZEPHON_RUN_DEBUG", "C:\\run.txt");
  (void)submit(command);
  EXPECT_EQ("\r\n" + command + "\r\n", file_content("C:\\run.txt"));
}

TEST(RunDebugLog, IsWrittenBeforeTheCommandRuns) {
  given_variable("ZEPHON_RUN_DEBUG", "C:\\run.txt");
  given_variable("USE_CCP", "-1");
  state.mpi_name = "msmpi";
  std::optional<std::string> logged;
  given_tool("mpiexec x", prints("").does([&] { logged = file_content("C:\\run.txt"); }));
  EXPECT_TRUE(submit("mpiexec x"));
  EXPECT_EQ("\r\nmpiexec x\r\n", logged);
}

TEST(RunDebugLog, IsWrittenForEveryRun) {
  given_variable("ZEPHON_RUN_DEBUG", "C:\\run.txt");
  given_variable("USE_CCP", "head");
  given_variable("ZEPHON_HOSTS_FILE", "hosts");
  (void)submit("1");
  given_no_variable("ZEPHON_HOSTS_FILE");
  (void)submit("2");
  EXPECT_EQ("\r\n1\r\n\r\n2\r\n", file_content("C:\\run.txt"));
}

TEST(RunDebugLog, IsLeftOutWhenItCannotBeOpened) {
  given_variable("ZEPHON_RUN_DEBUG", "C:\\run.txt");
  given_unwritable_path("C:\\run.txt");
  EXPECT_FALSE(submit("x"));
  EXPECT_EQ("", both_streams());
}

TEST(RunDebugLog, MayFindTheDiskFull) {
  given_variable("ZEPHON_RUN_DEBUG", "C:\\run.txt");
  given_full_disk_after(3);
  EXPECT_FALSE(submit("x"));
  EXPECT_EQ("", both_streams());
}

// ---- Runs that the launcher starts itself -------------------------------------------------

TEST(Submission, LeavesARunWithoutASchedulerToTheLauncher) {
  state.scheduler_job_id = 42;
  for (const char *mpi : {"msmpi", "ibmmpi", "intel", ""}) {
    state.mpi_name = mpi;
    EXPECT_FALSE(submit("mpiexec job add x"));
  }
  EXPECT_TRUE(commands().empty());
}

TEST(Submission, LeavesARunWithAHostFileToTheLauncher) {
  given_variable("USE_CCP", "head");
  given_variable("ZEPHON_HOSTS_FILE", "");
  state.scheduler_job_id = 42;
  for (const char *mpi : {"msmpi", "ibmmpi", "intel", ""}) {
    state.mpi_name = mpi;
    EXPECT_FALSE(submit("mpiexec job add x"));
  }
  EXPECT_TRUE(commands().empty());
}

TEST(Submission, LeavesOtherMpisToTheLauncherWithoutAJob) {
  given_variable("USE_CCP", "head");
  given_variable("CANCEL_CCP_JOB_EXIT1", exit_command);
  for (const char *mpi : {"intel", "mpich2", "mpich", "net", "", "MSMPI", "pcmpi"}) {
    state.mpi_name = mpi;
    EXPECT_FALSE(submit("job add 42 mpiexec x")) << mpi;
  }
  EXPECT_TRUE(commands().empty());
  EXPECT_EQ(exit_command, variable("CANCEL_CCP_JOB_EXIT1"));
}

TEST(Submission, WatchesTheJobOfOtherMpisFirst) {
  given_variable("USE_CCP", "head");
  state.scheduler_job_id = 42;
  state.mpi_name = "intel";
  given_tool(view_command, prints("State : Finished\r\n"));
  EXPECT_FALSE(submit("mpiexec x"));
  EXPECT_EQ("Job 42 is Finished.\n", standard_output());
  EXPECT_EQ(texts(6, view_command), commands());
}

TEST(Submission, LeavesMsMpiWithoutMpiexecToTheLauncher) {
  given_variable("USE_CCP", "head");
  state.mpi_name = "msmpi";
  EXPECT_FALSE(submit("mpirun x"));
  EXPECT_TRUE(commands().empty());
}

TEST(Submission, LeavesPlatformMpiWithoutATaskToTheLauncher) {
  given_variable("USE_CCP", "head");
  state.mpi_name = "ibmmpi";
  for (const char *command :
       {"mpirun x", "job submit x", "job  add x", "Job add x", "jobadd", "job ad x"}) {
    EXPECT_FALSE(submit(command)) << command;
  }
  EXPECT_TRUE(commands().empty());
}

// ---- Platform MPI -------------------------------------------------------------------------

class PlatformMpiSubmission : public testing::Test {
 protected:
  PlatformMpiSubmission() {
    given_variable("USE_CCP", "head");
    state.mpi_name = "ibmmpi";
    state.scheduler_job_id = 42;
    given_tool(add, prints("Task added.\r\n"));
    given_tool(submit_job, prints("Job has been submitted. ID: 42.\r\n"));
    given_tool(view_command, prints("State : Finished\r\n"));
    given_tool(exit_command);
  }

  static constexpr const char *add = "job add 42 /scheduler:head mpirun x";
  static constexpr const char *submit_job = "job submit /scheduler:head /id:42 ";
};

TEST_F(PlatformMpiSubmission, AddsTheTaskAndSubmitsTheJob) {
  EXPECT_TRUE(submit(std::string(" ") + add));
  texts expected = {add, submit_job};
  expected.insert(expected.end(), 6, view_command);
  EXPECT_EQ(expected, commands());
  EXPECT_EQ("Task added.\nJob has been submitted. ID: 42.\nJob 42 is Finished.\n",
            standard_output());
  EXPECT_EQ("", standard_error());
}

TEST_F(PlatformMpiSubmission, OnlyAddsTheTaskToAJobThatIsThere) {
  for (const char *name : {"CCP_JOB_ID", "CCP_JOBID"}) {
    given_variable(name, "42");
    const std::size_t before = commands().size();
    EXPECT_TRUE(submit(add));
    EXPECT_EQ(add, commands().at(before));
    EXPECT_EQ(view_command, commands().at(before + 1));
    given_no_variable(name);
  }
}

TEST_F(PlatformMpiSubmission, ReleasesTheJobBeforeItIsWatched) {
  given_variable("CANCEL_CCP_JOB_EXIT1", exit_command);
  EXPECT_TRUE(submit(add));
  EXPECT_EQ((texts{add, submit_job, exit_command, view_command}), first_commands(4));
  EXPECT_EQ(std::nullopt, variable("CANCEL_CCP_JOB_EXIT1"));
}

TEST_F(PlatformMpiSubmission, FindsTheTaskAnywhereInTheCommand) {
  given_tool("start job add 42", prints("found\r\n"));
  EXPECT_TRUE(submit("start job add 42"));
  EXPECT_EQ("start job add 42", commands().front());
}

TEST_F(PlatformMpiSubmission, KnowsTheToolOfTheUser) {
  state.ccp_job_command = "\"C:\\HPC Pack\\job.exe\"";
  state.scheduler_job_id = 0;
  EXPECT_FALSE(submit("C:\\job.exe add 42"));
  EXPECT_TRUE(submit("\"C:\\HPC Pack\\job.exe\" add 42 x"));
  EXPECT_EQ("\"C:\\HPC Pack\\job.exe\" submit /scheduler:head /id:0 ", commands().back());
}

TEST_F(PlatformMpiSubmission, IsTraced) {
  given_variable("ZEPHON_STARTUP_DEBUG", "1");
  state.scheduler_job_id = 0;
  EXPECT_TRUE(submit("job add 0"));
  EXPECT_EQ(
      "\ncmd = job add 0 (..\\src\\mpirun:4151)"
      "'job' is not recognized as an internal or external command,\n"
      "operable program or batch file.\n"
      "\nargs = job submit /scheduler:head /id:0  (..\\src\\mpirun:3432)"
      "\ncmd = job submit /scheduler:head /id:0  (..\\src\\mpirun:4151)"
      "'job' is not recognized as an internal or external command,\n"
      "operable program or batch file.\n",
      standard_output());
}

TEST_F(PlatformMpiSubmission, ShowsEachLineAsItComes) {
  using namespace std::string_literals;
  given_tool("job add 42 y", prints("100%% %s\r\n\0\xFF\r\n"s).then_prints("end", 1'000));
  std::string early;
  after(500, [&] { early = standard_output(); });
  EXPECT_TRUE(submit("job add 42 y"));
  EXPECT_EQ("100%% %s\n\0\xFF\n"s, early);
  EXPECT_TRUE(standard_output().starts_with("100%% %s\n\0\xFF\nendJob has been submitted."s));
}

TEST_F(PlatformMpiSubmission, ShowsLongOutputWhole) {
  std::string lines(1'000'000, 'x');
  for (int i = 0; i < 10'000; ++i) {
    lines += "\nline " + std::to_string(i);
  }
  given_tool("job add 42 y", prints(lines + "\n"));
  EXPECT_TRUE(submit("job add 42 y"));
  EXPECT_TRUE(standard_output().starts_with(lines + "\nJob has been submitted."));
}

TEST_F(PlatformMpiSubmission, GoesOnWhenTheTaskCannotBeAdded) {
  given_no_command_interpreter();
  state.scheduler_job_id = 0;
  given_variable("CANCEL_CCP_JOB_EXIT1", exit_command);
  EXPECT_TRUE(submit(add));
  std::string messages;
  for (const char *command : {add, "job submit /scheduler:head /id:0 ", exit_command}) {
    messages += std::string("\nerror : cmd = ") + command + "\n\nError in execute command " +
                command + "\n";
  }
  EXPECT_EQ(messages, standard_error());
}

// ---- MS-MPI inside a job ------------------------------------------------------------------

class MsmpiInsideAJob : public testing::Test {
 protected:
  MsmpiInsideAJob() {
    given_variable("USE_CCP", "-1");
    state.mpi_name = "msmpi";
  }
};

TEST_F(MsmpiInsideAJob, RunsTheCommandInTheConsole) {
  given_tool("mpiexec -hosts 1 a 1  x", prints("converged\n", 5'000).exits_with(3));
  EXPECT_TRUE(submit("  mpiexec -hosts 1 a 1  x"));
  ASSERT_EQ(1U, started_commands().size());
  EXPECT_EQ("cmd.exe /c mpiexec -hosts 1 a 1  x", started_commands()[0].command_line);
  EXPECT_EQ(start_way::in_console, started_commands()[0].way);
  EXPECT_EQ("converged\n", standard_output());
  EXPECT_EQ(5'000U, now());
}

// The scheduler writes the task's output file from what the launcher's own output gets.
TEST_F(MsmpiInsideAJob, GivesTheCommandTheLaunchersOwnOutput) {
  given_tool("mpiexec x");
  EXPECT_TRUE(submit("mpiexec x"));
  const started_command &started = started_commands().at(0);
  EXPECT_TRUE(started.gives_standard_handles && started.null_input);
  EXPECT_EQ(output_place::standard_output, started.output);
  EXPECT_EQ(output_place::standard_error, started.error_output);
  given_no_standard_handles();
  EXPECT_TRUE(submit("mpiexec x"));
  EXPECT_FALSE(started_commands().at(1).gives_standard_handles);
}

TEST_F(MsmpiInsideAJob, DoesNotReleaseTheJob) {
  given_variable("CANCEL_CCP_JOB_EXIT1", exit_command);
  given_tool("mpiexec x");
  EXPECT_TRUE(submit("mpiexec x"));
  EXPECT_EQ(texts{"mpiexec x"}, commands());
  EXPECT_EQ(exit_command, variable("CANCEL_CCP_JOB_EXIT1"));
}

TEST_F(MsmpiInsideAJob, WatchesAJobAfterTheCommand) {
  state.scheduler_job_id = 42;
  given_tool("mpiexec x");
  given_tool("job view 42 /scheduler:-1", prints("State : Cancelled\r\n"));
  EXPECT_TRUE(submit("mpiexec x"));
  EXPECT_EQ((texts{"mpiexec x", "job view 42 /scheduler:-1", "job view 42 /scheduler:-1",
                   "job view 42 /scheduler:-1"}),
            commands());
}

TEST_F(MsmpiInsideAJob, IsTraced) {
  given_variable("ZEPHON_STARTUP_DEBUG", "1");
  given_tool("mpiexec x");
  EXPECT_TRUE(submit("mpiexec x"));
  EXPECT_EQ("\nargs = mpiexec x (..\\src\\mpirun:3448)", standard_output());
  EXPECT_EQ(standard_output(), started_commands().at(0).said_before);
}

TEST_F(MsmpiInsideAJob, IsMeantByExactlyMinusOne) {
  given_tool("mpiexec x", prints("submitted\n"));
  for (const char *head : {"-1 ", "-01", "1"}) {
    given_variable("USE_CCP", head);
    EXPECT_TRUE(submit("mpiexec x"));
    EXPECT_EQ(start_way::process, started_commands().back().way);
  }
}

// ---- MS-MPI outside a job -----------------------------------------------------------------

constexpr const char *submit_command = "job submit /scheduler:head mpiexec.exe case.jou";
constexpr const char *fallback_command =
    "job submit /scheduler:head mpiexec.exe case.jou -ccp_job "
    "%CCP_TASKCONTEXT%@%CCP_CLUSTER_NAME% ";
constexpr const char *waiting_line = "Waiting for CCP scheduler@head to start msmpi nodes ...\n";

class MsmpiSubmission : public testing::Test {
 protected:
  MsmpiSubmission() {
    given_variable("USE_CCP", "head");
    given_variable("CANCEL_CCP_JOB_EXIT1", exit_command);
    state.mpi_name = "msmpi";
    given_tool(exit_command);
    given_tool(fallback_command, prints("Job has been submitted. ID: 43.\r\n"));
    given_tool(view_command, prints("State : Finished\r\n"));
  }

  // The moment at which the command ran in the console; `never` when it did not.
  static milliseconds fallback_time() {
    for (const auto &started : started_commands()) {
      if (started.command == fallback_command) {
        EXPECT_EQ(start_way::in_console, started.way);
        return started.at;
      }
    }
    return never;
  }
};

TEST_F(MsmpiSubmission, SubmitsReleasesAndWatches) {
  given_tool(submit_command, prints("Job has been submitted. ID: 42.\r\n"));
  EXPECT_TRUE(submit(std::string("  ") + submit_command));
  texts expected = {submit_command, exit_command};
  expected.insert(expected.end(), 6, view_command);
  EXPECT_EQ(expected, commands());
  EXPECT_EQ("cmd.exe /c " + std::string(submit_command), started_commands()[0].command_line);
  EXPECT_EQ(42, state.scheduler_job_id);
  EXPECT_EQ("Job has been submitted. ID: 42.\nJob 42 is Finished.\n", standard_output());
  EXPECT_EQ(waiting_line, standard_error());
  EXPECT_EQ(std::nullopt, variable("CANCEL_CCP_JOB_EXIT1"));
}

TEST_F(MsmpiSubmission, SaysThatItWaitsBeforeItReleasesTheJob) {
  given_tool(submit_command, prints("Job has been submitted. ID: 42.\r\n"));
  (void)submit(submit_command);
  EXPECT_EQ("Job has been submitted. ID: 42.\n" + std::string(waiting_line),
            started_commands().at(1).said_before);
}

TEST_F(MsmpiSubmission, KeepsTheSubmitCommandAndItsToolTogether) {
  given_tool(submit_command, prints("Job has been submitted. ID: 42.\r\n"));
  (void)submit(submit_command);
  for (const auto &started : started_commands()) {
    EXPECT_EQ(started.command == submit_command, started.grouped) << started.command;
  }
}

TEST_F(MsmpiSubmission, IsTracedOnce) {
  given_no_variable("CANCEL_CCP_JOB_EXIT1");
  given_variable("ZEPHON_STARTUP_DEBUG", "1");
  given_tool(submit_command, prints("submitted\r\n"));
  (void)submit(submit_command);
  EXPECT_EQ(std::string("\ncmd = ") + submit_command + " (..\\src\\mpirun:4151)submitted\n",
            standard_output());
}

TEST_F(MsmpiSubmission, ReadsTheIdentifierOfEveryGeneration) {
  for (const char *line :
       {"Job queued, ID: 42", "Created job, ID: 42", "Job has been submitted. ID: 42"}) {
    state.scheduler_job_id = 0;
    given_tool_for([](const std::string &command) { return command == submit_command; },
                   prints(std::string(line) + "\r\n"));
    (void)submit(submit_command);
    EXPECT_EQ(42, state.scheduler_job_id) << line;
  }
}

TEST_F(MsmpiSubmission, TakesTheLastIdentifier) {
  given_tool(submit_command, prints("Created job, ID: 41\r\nJob has been submitted. ID: 42.\r\n"));
  (void)submit(submit_command);
  EXPECT_EQ(42, state.scheduler_job_id);
}

TEST_F(MsmpiSubmission, KeepsTheIdentifierOfAnExistingJob) {
  state.scheduler_job_id = 42;
  given_tool(submit_command, prints("Task 42.1 has been submitted\r\n"));
  (void)submit(submit_command);
  EXPECT_EQ(42, state.scheduler_job_id);
  EXPECT_EQ(view_command, commands().back());
}

TEST_F(MsmpiSubmission, WatchesNothingWithoutAnIdentifier) {
  given_tool(submit_command, prints("Something else was submitted\r\n"));
  EXPECT_TRUE(submit(submit_command));
  EXPECT_EQ((texts{submit_command, exit_command}), commands());
}

TEST_F(MsmpiSubmission, StopsReadingAtTheAnswer) {
  for (const char *answer : {"xx submitted xx", "Cannot connect to head", "Cannot connect"}) {
    fresh_launch();
    given_variable("USE_CCP", "head");
    state.mpi_name = "msmpi";
    given_tool(submit_command, prints("one\r\n")
                                   .then_prints(std::string(answer) + "\r\n", 700)
                                   .then_prints("late\r\n", 100)
                                   .stays());
    EXPECT_TRUE(submit(submit_command));
    EXPECT_EQ("one\n" + std::string(answer) + "\n", standard_output());
    EXPECT_EQ(700U, now());
    EXPECT_EQ(texts{submit_command}, commands());
    EXPECT_TRUE(process_runs(started_commands().at(0).id));
  }
}

TEST_F(MsmpiSubmission, KnowsTheAnswerByItsExactWords) {
  given_variable("CCP_JOB_SUBMIT_WAIT_TIME", "1");
  for (const char *line :
       {"Submitted", "SUBMITTED", "submit ted", "cannot connect", "Cannot  connect"}) {
    given_tool_for([](const std::string &command) { return command == submit_command; },
                   prints(std::string(line) + "\r\n").stays());
    const std::size_t before = commands().size();
    (void)submit(submit_command);
    EXPECT_EQ(fallback_command, commands().at(before + 1)) << line;
  }
}

TEST_F(MsmpiSubmission, TakesTheEndOfTheOutputForAnAnswer) {
  given_tool(submit_command, prints("Error: no licence\r\n", 3'000).exits_with(1));
  EXPECT_TRUE(submit(submit_command));
  EXPECT_EQ((texts{submit_command, exit_command}), commands());
  EXPECT_EQ(3'000U, now());
  EXPECT_EQ("Error: no licence\n", standard_output());
  EXPECT_EQ(waiting_line, standard_error());
}

TEST_F(MsmpiSubmission, TakesNoOutputAtAllForAnAnswer) {
  given_tool(submit_command);
  EXPECT_TRUE(submit(submit_command));
  EXPECT_EQ((texts{submit_command, exit_command}), commands());
  EXPECT_EQ("", standard_output());
}

TEST_F(MsmpiSubmission, ReadsAnAnswerInTheMiddleOfALine) {
  given_tool(submit_command, prints("Job has been submitted. ID: 42"));
  EXPECT_TRUE(submit(submit_command));
  EXPECT_EQ(42, state.scheduler_job_id);
  EXPECT_EQ("Job has been submitted. ID: 42Job 42 is Finished.\n", standard_output());
}

TEST_F(MsmpiSubmission, TakesAJobNumberOfZero) {
  state.scheduler_job_id = 7;
  given_tool(submit_command, prints("Job has been submitted. ID: 0\r\n"));
  EXPECT_TRUE(submit(submit_command));
  EXPECT_EQ(0, state.scheduler_job_id);
}

TEST_F(MsmpiSubmission, ReadsAnAnswerThatComesInPieces) {
  given_short_reads(1);
  given_tool(submit_command, prints("Job has been sub")
                                 .then_prints("mitted. ID: 4", 200)
                                 .then_prints("2\r\n", 200)
                                 .stays());
  EXPECT_TRUE(submit(submit_command));
  EXPECT_EQ(42, state.scheduler_job_id);
}

TEST_F(MsmpiSubmission, ShowsEveryLineAsItStands) {
  using namespace std::string_literals;
  given_tool(submit_command, prints("100%% %s %n\r\n\0\x1A\xFF\r\n\r\nsubmitted %d\r\n"s));
  (void)submit(submit_command);
  EXPECT_EQ("100%% %s %n\r\n\0\x1A\xFF\r\n\r\nsubmitted %d\r\n"s, standard_output_bytes());
}

TEST_F(MsmpiSubmission, ShowsALineWhenItComes) {
  given_tool(submit_command, prints("first\r\n").then_prints("submitted\r\n", 1'000));
  std::string early;
  after(500, [&] { early = standard_output(); });
  (void)submit(submit_command);
  EXPECT_EQ("first\n", early);
}

TEST_F(MsmpiSubmission, FindsTheAnswerBehindManyLines) {
  std::string lines;
  for (int i = 0; i < 20'000; ++i) {
    lines += "line " + std::to_string(i) + "\n";
  }
  given_tool(submit_command, prints(lines + "Job has been submitted. ID: 42.\n"));
  (void)submit(submit_command);
  EXPECT_EQ(42, state.scheduler_job_id);
  EXPECT_EQ(lines + "Job has been submitted. ID: 42.\nJob 42 is Finished.\n", standard_output());
}

TEST_F(MsmpiSubmission, FindsTheAnswerBehindAVeryLongLine) {
  const std::string line(1'000'000, 'x');
  given_tool(submit_command, prints(line + "\nJob has been submitted. ID: 42.\n"));
  (void)submit(submit_command);
  EXPECT_EQ(42, state.scheduler_job_id);
  EXPECT_EQ(line + "\nJob has been submitted. ID: 42.\nJob 42 is Finished.\n", standard_output());
}

// ---- The time limit -----------------------------------------------------------------------

TEST_F(MsmpiSubmission, RunsTheCommandInTheConsoleWhenNoAnswerComes) {
  given_tool(submit_command, prints("Enter the password: ").stays());
  EXPECT_TRUE(submit(submit_command));
  EXPECT_EQ((texts{submit_command, fallback_command, exit_command}), commands());
  EXPECT_EQ(60'000U, fallback_time());
  EXPECT_EQ("Enter the password: Job has been submitted. ID: 43.\n", standard_output());
  EXPECT_EQ(waiting_line, standard_error());
  EXPECT_EQ(0, state.scheduler_job_id);  // what the console shows is not read
  EXPECT_EQ(std::nullopt, variable("CANCEL_CCP_JOB_EXIT1"));
}

TEST_F(MsmpiSubmission, EndsTheSubmitCommandAtTheTimeLimit) {
  given_tool(submit_command, prints("").stays());
  (void)submit(submit_command);
  EXPECT_FALSE(process_runs(started_commands().at(0).id));
  EXPECT_EQ(0U, terminated_with(started_commands().at(0).id));
  EXPECT_EQ(0U, threads_alive());
  EXPECT_EQ(0U, threads_terminated());
  EXPECT_EQ(0U, open_handles());
}

TEST_F(MsmpiSubmission, EndsTheSubmitCommandBeforeItRunsInTheConsole) {
  given_tool(submit_command, prints("").stays());
  bool still_runs = true;
  given_tool_with("-ccp_job",
                  prints("").does([&] { still_runs = process_runs(started_commands().at(0).id); }));
  (void)submit(submit_command);
  EXPECT_FALSE(still_runs);
}

TEST_F(MsmpiSubmission, EndsTheSubmitCommandWithoutAGroup) {
  given_no_groups();
  given_tool(submit_command, prints("").stays());
  (void)submit(submit_command);
  EXPECT_EQ(0U, terminated_with(started_commands().at(0).id));
  EXPECT_EQ((texts{submit_command, fallback_command, exit_command}), commands());
}

TEST_F(MsmpiSubmission, WatchesAnExistingJobAfterTheTimeLimit) {
  state.scheduler_job_id = 42;
  given_tool(submit_command, prints("").stays());
  EXPECT_TRUE(submit(submit_command));
  texts expected = {submit_command, fallback_command, exit_command};
  expected.insert(expected.end(), 6, view_command);
  EXPECT_EQ(expected, commands());
  EXPECT_TRUE(standard_output().ends_with("Job 42 is Finished.\n"));
}

TEST_F(MsmpiSubmission, WatchesAJobThatWasNamedBeforeTheTimeLimit) {
  given_tool(submit_command, prints("Created job, ID: 42\r\n").stays());
  EXPECT_TRUE(submit(submit_command));
  EXPECT_EQ(60'000U, fallback_time());
  EXPECT_EQ(42, state.scheduler_job_id);
  EXPECT_TRUE(standard_output().ends_with("Job 42 is Finished.\n"));
}

TEST_F(MsmpiSubmission, SaysThatItWaitsAfterTheCommandInTheConsole) {
  given_tool(submit_command, prints("").stays());
  (void)submit(submit_command);
  EXPECT_EQ("", started_commands().at(1).said_before);
  EXPECT_EQ("Job has been submitted. ID: 43.\n" + std::string(waiting_line),
            started_commands().at(2).said_before);
}

TEST_F(MsmpiSubmission, KeepsTheTraceOfTheCommandAlone) {
  given_no_variable("CANCEL_CCP_JOB_EXIT1");
  given_variable("ZEPHON_STARTUP_DEBUG", "1");
  given_tool(submit_command, prints("").stays());
  given_tool_with("-ccp_job");
  (void)submit(submit_command);
  EXPECT_EQ(std::string("\ncmd = ") + submit_command + " (..\\src\\mpirun:4151)",
            standard_output());
}

TEST_F(MsmpiSubmission, WaitsAsLongAsItIsTold) {
  struct row {
    const char *text;
    milliseconds wait;
  };
  for (const auto &[text, wait] : std::vector<row>{{"0.5", 500},
                                                   {"2", 2'000},
                                                   {"1.0", 1'000},
                                                   {"+3", 3'000},
                                                   {"  1.5 s", 1'500},
                                                   {"1e1", 10'000},
                                                   {".25", 250},
                                                   {"0.0019", 1},  // the rest is cut off
                                                   {"0.7", 699},   // single precision
                                                   {"0.001", 1},
                                                   {"0", 0},
                                                   {"0.0001", 0},
                                                   {"0x10", 0}}) {
    fresh_launch();
    given_variable("USE_CCP", "head");
    state.mpi_name = "msmpi";
    given_variable("CCP_JOB_SUBMIT_WAIT_TIME", text);
    given_tool(submit_command, prints("").stays());
    given_tool(fallback_command);
    EXPECT_TRUE(submit(submit_command));
    EXPECT_EQ(wait, fallback_time()) << text;
    EXPECT_EQ("\nCCP_JOB_SUBMIT_WAIT_TIME = " + std::string(text) + "\n", standard_output());
  }
}

TEST_F(MsmpiSubmission, WaitsAMinuteWhenTheTimeIsNoNumber) {
  for (const char *text : {"soon", "", " ", "-", ".", "nan", "NaN", "inf", "-inf", "1e99"}) {
    fresh_launch();
    given_variable("USE_CCP", "head");
    state.mpi_name = "msmpi";
    given_variable("CCP_JOB_SUBMIT_WAIT_TIME", text);
    given_tool(submit_command, prints("").stays());
    given_tool(fallback_command);
    EXPECT_TRUE(submit(submit_command));
    EXPECT_EQ(60'000U, fallback_time()) << text;
    EXPECT_EQ("\nCCP_JOB_SUBMIT_WAIT_TIME = " + std::string(text) + "\n", standard_output());
  }
}

TEST_F(MsmpiSubmission, WaitsForAHugeTimeAndWithoutALimit) {
  for (const char *text : {"4294967.2", "1e30", "3e38", "-5", "-1e30"}) {
    fresh_launch();
    given_variable("USE_CCP", "head");
    state.mpi_name = "msmpi";
    given_variable("CCP_JOB_SUBMIT_WAIT_TIME", text);
    given_tool(submit_command, prints("submitted\r\n", 600'000));
    EXPECT_TRUE(submit(submit_command));
    EXPECT_EQ(texts{submit_command}, commands()) << text;
  }
}

TEST_F(MsmpiSubmission, NamesTheWaitTimeBeforeTheToolsOutput) {
  given_variable("CCP_JOB_SUBMIT_WAIT_TIME", "5");
  given_tool(submit_command, prints("submitted\r\n"));
  (void)submit(submit_command);
  EXPECT_EQ("\nCCP_JOB_SUBMIT_WAIT_TIME = 5\nsubmitted\n", standard_output());
}

TEST_F(MsmpiSubmission, TakesAnAnswerShortOfTheTimeLimit) {
  given_variable("CCP_JOB_SUBMIT_WAIT_TIME", "0.55");
  given_tool(submit_command, prints("Job has been submitted. ID: 42.\r\n", 549).stays());
  (void)submit(submit_command);
  EXPECT_EQ(never, fallback_time());
  EXPECT_EQ(42, state.scheduler_job_id);
}

TEST_F(MsmpiSubmission, TakesAnAnswerInTheMomentOfTheTimeLimit) {
  for (const bool main_first : {false, true}) {
    fresh_launch();
    given_variable("USE_CCP", "head");
    state.mpi_name = "msmpi";
    if (main_first) {
      given_main_thread_first();
    }
    given_variable("CCP_JOB_SUBMIT_WAIT_TIME", "0.5");
    given_tool(submit_command, prints("Job has been submitted. ID: 42.\r\n", 500).stays());
    given_tool(view_command, prints("State : Failed\r\n"));
    EXPECT_TRUE(submit(submit_command));
    EXPECT_EQ(never, fallback_time()) << main_first;
    EXPECT_EQ(42, state.scheduler_job_id);
    EXPECT_TRUE(
        standard_output().ends_with("Job has been submitted. ID: 42.\nJob 42 is Failed.\n"));
  }
}

TEST_F(MsmpiSubmission, ShowsEveryLineThatCameInTheMomentOfTheTimeLimit) {
  given_main_thread_first();
  given_variable("CCP_JOB_SUBMIT_WAIT_TIME", "0.5");
  given_tool(submit_command, prints("one\r\ntwo\r\nthree\r\n", 500).stays());
  (void)submit(submit_command);
  EXPECT_EQ(500U, fallback_time());
  EXPECT_TRUE(standard_output().starts_with("\nCCP_JOB_SUBMIT_WAIT_TIME = 0.5\none\ntwo\nthree\n"));
}

TEST_F(MsmpiSubmission, TakesNoAnswerAfterTheTimeLimit) {
  given_variable("CCP_JOB_SUBMIT_WAIT_TIME", "0.5");
  given_tool(submit_command, prints("Job has been submitted. ID: 42.\r\n", 501).stays());
  (void)submit(submit_command);
  EXPECT_EQ(500U, fallback_time());
  EXPECT_EQ(0, state.scheduler_job_id);
}

TEST_F(MsmpiSubmission, KeepsItsTimeLimitWhenOtherLaunchersWakeIt) {
  const auto submit_while_woken = [](milliseconds answer_time) {
    fresh_launch();
    given_variable("USE_CCP", "head");
    state.mpi_name = "msmpi";
    given_variable("CCP_JOB_SUBMIT_WAIT_TIME", "0.5");
    for (milliseconds time = 1; time <= 400; ++time) {
      after(time, [] { set_events_named("for_print_thread"); });
    }
    given_tool(submit_command, prints("submitted\r\n", answer_time).stays());
    (void)submit(submit_command);
    return fallback_time();
  };
  EXPECT_EQ(never, submit_while_woken(499));
  EXPECT_EQ(500U, submit_while_woken(501));
}

TEST_F(MsmpiSubmission, TimesOutWhileItsOwnOutputHangs) {
  given_variable("CCP_JOB_SUBMIT_WAIT_TIME", "5");
  given_standard_output_that_hangs_after(60);
  given_tool(submit_command, prints(std::string(200, 'x') + "\r\n").stays());
  given_tool_with("-ccp_job");
  EXPECT_TRUE(submit(submit_command));
  EXPECT_EQ((texts{submit_command, fallback_command, exit_command}), commands());
  EXPECT_EQ(0U, threads_terminated());
}

TEST_F(MsmpiSubmission, TimesOutWhileItsOwnOutputHangsWithManyLinesToCome) {
  given_variable("CCP_JOB_SUBMIT_WAIT_TIME", "5");
  given_standard_output_that_hangs_after(60);
  std::string lines;
  for (int line = 0; line < 200; ++line) {
    lines += "The head node is busy.\r\n";
  }
  given_tool(submit_command, prints(lines).stays());
  given_tool_with("-ccp_job");
  EXPECT_TRUE(submit(submit_command));
  EXPECT_EQ((texts{submit_command, fallback_command, exit_command}), commands());
  EXPECT_EQ(0U, threads_terminated());
}

TEST_F(MsmpiSubmission, TimesOutManyTimesInARow) {
  given_variable("CCP_JOB_SUBMIT_WAIT_TIME", "0.2");
  given_tool(submit_command, prints("Enter the password: ").stays());
  for (int time = 0; time < 50; ++time) {
    given_variable("CANCEL_CCP_JOB_EXIT1", exit_command);
    state.scheduler_job_id = 0;
    ASSERT_TRUE(submit(submit_command));
    ASSERT_EQ(exit_command, commands().back());
    ASSERT_EQ(0U, open_handles());
    ASSERT_EQ(0U, threads_alive());
  }
  EXPECT_EQ(150U, commands().size());
  EXPECT_EQ(0U, threads_terminated());
}

// ---- What can fail ------------------------------------------------------------------------

TEST_F(MsmpiSubmission, SaysThatTheCommandCannotBeStarted) {
  state.scheduler_job_id = 42;
  given_variable("CCP_JOB_SUBMIT_WAIT_TIME", "5");
  given_tool_for([](const std::string &command) { return command == submit_command; });
  given_no_command_interpreter();
  after(1'000, [] { given_no_command_interpreter(0); });
  EXPECT_TRUE(submit(submit_command));
  const std::string message = "\nerror : cmd = ";
  EXPECT_EQ(0U, standard_error().find(message + submit_command +
                                      "\n\nError in run the job submit command!\n" + message +
                                      exit_command + "\n\nError in execute command " +
                                      exit_command + "\n"));
  EXPECT_TRUE(standard_output().ends_with("Job 42 is Finished.\n"));
  EXPECT_EQ(std::string::npos, standard_output().find("CCP_JOB_SUBMIT_WAIT_TIME"));
  EXPECT_EQ(std::string::npos, standard_error().find("Waiting for CCP scheduler"));
  EXPECT_EQ(std::nullopt, variable("CANCEL_CCP_JOB_EXIT1"));
  EXPECT_TRUE(events_created().empty());
}

TEST_F(MsmpiSubmission, SaysThatThereIsNoEvent) {
  state.scheduler_job_id = 42;
  given_no_events(1450);
  given_tool(submit_command, prints("Job has been submitted. ID: 42.\r\n"));
  EXPECT_TRUE(submit(submit_command));
  EXPECT_EQ("\nError in CreateEvent, error ID = 1450!\n", standard_error());
  texts expected = {submit_command, exit_command};
  expected.insert(expected.end(), 6, view_command);
  EXPECT_EQ(expected, commands());
  EXPECT_EQ(0U, threads_started());
}

// Released before its task is there, the job would end.
TEST_F(MsmpiSubmission, HearsTheToolOutBeforeTheJobIsReleasedWithoutAnEvent) {
  given_no_events(1450);
  given_tool(submit_command, prints("adding\r\n").then_prints("submitted\r\nmore", 5'000));
  EXPECT_TRUE(submit(submit_command));
  EXPECT_EQ("adding\nsubmitted\nmore", standard_output());
  EXPECT_EQ((texts{submit_command, exit_command}), commands());
  EXPECT_EQ(5'000U, started_commands().at(1).at);
}

TEST_F(MsmpiSubmission, MakesAnEventThatOthersKnow) {
  given_tool(submit_command, prints("submitted\r\n"));
  (void)submit(submit_command);
  EXPECT_EQ(texts{"for_print_thread"}, events_created());
  EXPECT_EQ(0U, open_handles());
}

TEST_F(MsmpiSubmission, HearsTheToolOutWithoutAWatcher) {
  given_no_threads();
  given_tool(submit_command,
             prints("Job has been submitted. ID: 42.\r\n").then_prints("more", 90'000));
  EXPECT_TRUE(submit(submit_command));
  EXPECT_EQ((texts{submit_command, exit_command, view_command}), first_commands(3));
  EXPECT_EQ("Job has been submitted. ID: 42.\nmoreJob 42 is Finished.\n", standard_output());
  EXPECT_EQ(90'000U, started_commands().at(1).at);
  EXPECT_EQ(waiting_line, standard_error());
}

TEST_F(MsmpiSubmission, GoesOnWithoutStandardHandles) {
  given_no_standard_handles();
  given_tool(submit_command, prints("Job has been submitted. ID: 42.\r\n"));
  EXPECT_TRUE(submit(submit_command));
  EXPECT_EQ(42, state.scheduler_job_id);
}

TEST_F(MsmpiSubmission, GoesOnWhenNobodyReadsItsOutput) {
  given_broken_standard_output();
  given_tool(submit_command, prints("one\r\nJob has been submitted. ID: 42.\r\n"));
  EXPECT_TRUE(submit(submit_command));
  EXPECT_EQ(42, state.scheduler_job_id);
  EXPECT_EQ(view_command, commands().back());
}

TEST_F(MsmpiSubmission, WorksWithAWatcherThatRunsAtOnce) {
  given_threads_that_run_at_once();
  given_tool(submit_command, prints("Job has been submitted. ID: 42.\r\n"));
  EXPECT_TRUE(submit(submit_command));
  EXPECT_EQ(42, state.scheduler_job_id);
  EXPECT_EQ(never, fallback_time());
}

TEST_F(MsmpiSubmission, ForgetsTheAnswerOfAnEarlierSubmission) {
  given_variable("CCP_JOB_SUBMIT_WAIT_TIME", "1");
  given_tool(submit_command, prints("submitted\r\n"));
  given_tool(submit_command, prints("").stays());
  (void)submit(submit_command);
  EXPECT_EQ(never, fallback_time());
  (void)submit(submit_command);
  EXPECT_NE(never, fallback_time());
}

}  // namespace
