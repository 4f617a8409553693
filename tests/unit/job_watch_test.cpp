// Tests of the watch over a job's states, and of the job's output files.
#include "scheduler/job_watch.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "core/launch_state.h"
#include "support/fresh_launch.h"

using namespace stand_in;

namespace {

constexpr const char *view_command = "job view 7 /scheduler:head";

void given_job() {
  given_variable("USE_CCP", "head");
  state.scheduler_job_id = 7;
}

// The job is in this state from a moment on.
void given_state_from(milliseconds time, const std::string &answer) {
  given_tool_for(
      [time](const std::string &command) { return command == view_command && now() >= time; },
      prints(answer));
}

std::string state_line(const std::string &name) {
  return "State : " + name + "\r\n";
}

// What the watch says of a job that is in this state and stays in it.
std::string said_of(const std::string &name) {
  fresh_launch();
  given_job();
  given_state_from(0, state_line(name));
  watch_scheduler_job();
  return standard_output();
}

// ---- Whether there is a job ---------------------------------------------------------------

TEST(JobWatch, AsksNothingWithoutAHeadNode) {
  state.scheduler_job_id = 7;
  watch_scheduler_job();
  EXPECT_TRUE(commands().empty());
  EXPECT_EQ(0U, now());
}

TEST(JobWatch, AsksNothingWithoutAJob) {
  given_variable("USE_CCP", "head");
  for (const int id : {0, -1, -7}) {
    state.scheduler_job_id = id;
    watch_scheduler_job();
  }
  EXPECT_TRUE(commands().empty());
  EXPECT_EQ(0U, now());
}

TEST(JobWatch, AsksForTheJobOfTheLaunchState) {
  given_variable("USE_CCP", "-1");
  state.scheduler_job_id = 1;
  state.ccp_job_command = "\"C:\\HPC Pack\\job.exe\"";
  given_tool_with("view", prints(state_line("Cancelled")));
  watch_scheduler_job();
  EXPECT_EQ(std::vector<std::string>(3, "\"C:\\HPC Pack\\job.exe\" view 1 /scheduler:-1"),
            commands());
}

// ---- States -------------------------------------------------------------------------------

TEST(JobWatch, AsksForEachStateInItsOrderUntilOneHolds) {
  const std::vector<std::string> names = {"Queued",   "Running", "Cancelled",
                                          "Canceled", "Failed",  "Finished"};
  for (std::size_t i = 1; i < names.size(); ++i) {
    fresh_launch();
    given_job();
    given_state_from(0, state_line(names[i]));
    given_state_from(1, state_line("Finished"));
    watch_scheduler_job();
    const auto asked_in_first_round =
        std::count_if(started_commands().begin(), started_commands().end(),
                      [](const started_command &started) { return started.at == 0; });
    EXPECT_EQ(static_cast<std::ptrdiff_t>(i + 1), asked_in_first_round) << names[i];
  }
}

TEST(JobWatch, AsksForEveryStateWhenNoneHolds) {
  given_job();
  given_tool(view_command, prints("nothing\r\n"));
  for (int i = 0; i < 5; ++i) {
    given_tool(view_command, prints("nothing\r\n"));
  }
  given_tool(view_command, prints(state_line("Failed")));
  watch_scheduler_job();
  EXPECT_EQ(6U + 5U, commands().size());
  EXPECT_EQ(1'000U, started_commands().at(6).at);
}

TEST(JobWatch, SaysWhichFinalStateAJobHasReached) {
  EXPECT_EQ("Job 7 is Finished.\n", said_of("Finished"));
  EXPECT_EQ("Job 7 is Failed.\n", said_of("Failed"));
  EXPECT_EQ("Job 7 is Canceled.\n", said_of("Canceled"));
  EXPECT_EQ("Job 7 is Cancelled.\n", said_of("Cancelled"));
}

TEST(JobWatch, EndsASecondAfterAFinalState) {
  for (const char *name : {"Finished", "Failed", "Canceled", "Cancelled"}) {
    (void)said_of(name);
    EXPECT_EQ(1'000U, now()) << name;
  }
}

TEST(JobWatch, AsksOnceASecond) {
  given_job();
  given_state_from(0, state_line("Running"));
  given_state_from(2'500, state_line("Finished"));
  watch_scheduler_job();
  std::vector<milliseconds> times;
  for (const auto &started : started_commands()) {
    if (times.empty() || times.back() != started.at) {
      times.push_back(started.at);
    }
  }
  EXPECT_EQ((std::vector<milliseconds>{0, 1'000, 2'000, 3'000}), times);
  EXPECT_EQ(4'000U, now());
}

TEST(JobWatch, AnnouncesEachChangeOnce) {
  given_job();
  given_state_from(0, state_line("Queued"));
  given_state_from(2'000, state_line("Running"));
  given_state_from(5'000, state_line("Finished"));
  watch_scheduler_job();
  EXPECT_EQ("Job 7 is Running.\nJob 7 is Finished.\n", standard_output());
  EXPECT_EQ("", standard_error());
}

TEST(JobWatch, AnnouncesAChangeWhenItIsSeen) {
  given_job();
  given_state_from(0, state_line("Running"));
  given_state_from(1'500, state_line("Finished"));
  std::string early;
  after(1'400, [&] { early = standard_output(); });
  watch_scheduler_job();
  EXPECT_EQ("Job 7 is Running.\n", early);
}

TEST(JobWatch, DoesNotAnnounceAJobThatIsQueuedFirst) {
  given_job();
  given_state_from(0, state_line("Queued"));
  given_state_from(2'000, state_line("Finished"));
  watch_scheduler_job();
  EXPECT_EQ("Job 7 is Finished.\n", standard_output());
}

TEST(JobWatch, AnnouncesAJobThatIsQueuedAgain) {
  given_job();
  given_state_from(0, state_line("Running"));
  given_state_from(2'000, state_line("Queued"));
  given_state_from(4'000, state_line("Running"));
  given_state_from(6'000, state_line("Finished"));
  watch_scheduler_job();
  EXPECT_EQ("Job 7 is Running.\nJob 7 is Queued.\nJob 7 is Running.\nJob 7 is Finished.\n",
            standard_output());
}

TEST(JobWatch, FollowsAQueuedJobWithoutLimit) {
  given_job();
  given_state_from(0, state_line("Queued"));
  given_state_from(1'000'000, state_line("Finished"));
  watch_scheduler_job();
  EXPECT_EQ(1'001'000U, now());
}

TEST(JobWatch, LeavesARunningJobAfter300Rounds) {
  given_job();
  given_state_from(0, state_line("Running"));
  watch_scheduler_job();
  EXPECT_EQ(300'000U, now());
  EXPECT_EQ(600U, commands().size());  // Queued? Running? in each round
  EXPECT_EQ("Job 7 is Running.\n", standard_output());
}

TEST(JobWatch, CountsTheQueuedRoundsToo) {
  given_job();
  given_state_from(0, state_line("Queued"));
  given_state_from(299'000, state_line("Running"));
  watch_scheduler_job();
  EXPECT_EQ(300'000U, now());

  fresh_launch();
  given_job();
  given_state_from(0, state_line("Queued"));
  given_state_from(400'000, state_line("Running"));
  watch_scheduler_job();
  EXPECT_EQ(401'000U, now());
}

TEST(JobWatch, KeepsTheLastStateWhenNoneIsNamed) {
  given_job();
  given_state_from(0, state_line("Configuring"));
  given_state_from(400'000, state_line("Running"));  // queued until then
  watch_scheduler_job();
  EXPECT_EQ(401'000U, now());
  EXPECT_EQ("Job 7 is Running.\n", standard_output());

  fresh_launch();
  given_job();
  given_state_from(0, state_line("Running"));
  given_state_from(2'000, state_line("Finishing"));
  given_state_from(5'000, state_line("Finished"));
  watch_scheduler_job();
  EXPECT_EQ("Job 7 is Running.\nJob 7 is Finished.\n", standard_output());
}

TEST(JobWatch, TakesNotRunningForRunning) {
  given_job();
  given_state_from(0, state_line("NotRunning"));
  given_state_from(500, state_line("Finished"));
  watch_scheduler_job();
  EXPECT_EQ("Job 7 is Running.\nJob 7 is Finished.\n", standard_output());
}

TEST(JobWatch, GoesOnWhenTheToolHasVanished) {
  given_job();
  given_state_from(0, state_line("Running"));
  after(500, [] { given_no_command_interpreter(); });
  after(1'500, [] {
    given_no_command_interpreter(0);
    given_state_from(0, state_line("Finished"));
  });
  watch_scheduler_job();
  std::string message;
  for (int i = 0; i < 6; ++i) {  // one for each state
    message +=
        "\nerror : cmd = job view 7 /scheduler:head\n"
        "\nError in execute command job view 7 /scheduler:head\n";
  }
  EXPECT_EQ(message, standard_error());
  EXPECT_EQ("Job 7 is Running.\nJob 7 is Finished.\n", standard_output());
}

TEST(JobWatch, GoesOnWhenTheToolAnswersNothing) {
  given_job();
  given_state_from(0, "");
  given_state_from(5'000, state_line("Finished"));
  watch_scheduler_job();
  EXPECT_EQ("Job 7 is Finished.\n", standard_output());
}

TEST(JobWatch, IsTraced) {
  given_job();
  given_variable("ZEPHON_STARTUP_DEBUG", "1");
  given_state_from(0, state_line("Cancelled"));
  watch_scheduler_job();
  const std::string trace = "\ncmd = job view 7 /scheduler:head (..\\src\\mpirun:4151)";
  EXPECT_EQ(trace + trace + trace + "Job 7 is Cancelled.\n", standard_output());
}

// ---- The error text -----------------------------------------------------------------------

TEST(JobWatch, ShowsTheErrorTextBehindTheState) {
  given_job();
  given_state_from(0, "State : Failed\r\nError Message : Node n1 100%s lost\r\n");
  watch_scheduler_job();
  EXPECT_EQ("Job 7 is Failed.  Node n1 100%s lost\n\n", standard_output());
}

TEST(JobWatch, ShowsAnErrorTextWithoutALineEnd) {
  given_job();
  given_state_from(0, "State : Failed\r\nError message:lost");
  watch_scheduler_job();
  EXPECT_EQ("Job 7 is Failed. lost\n", standard_output());
}

TEST(JobWatch, KeepsAnErrorTextForTheWholeWatch) {
  given_job();
  given_state_from(0, "State : Queued\r\nError message: first\r\n");
  given_state_from(1'000, state_line("Running"));
  given_state_from(2'000, "State : Running\r\nError message: second\r\n");
  given_state_from(3'000, state_line("Failed"));
  watch_scheduler_job();
  EXPECT_EQ("Job 7 is Running.  first\n\nJob 7 is Failed.  second\n\n", standard_output());
}

TEST(JobWatch, ForgetsTheErrorTextOfAnEarlierWatch) {
  given_job();
  given_tool(view_command, prints("State : Queued\r\nError message: old\r\nState : Failed\r\n"));
  given_state_from(0, "State : Failed\r\nError message: old\r\n");
  watch_scheduler_job();
  given_state_from(0, state_line("Failed"));
  watch_scheduler_job();
  EXPECT_EQ("Job 7 is Failed.  old\n\nJob 7 is Failed.\n", standard_output());
}

// ---- Output files -------------------------------------------------------------------------

TEST(JobWatch, PrintsTheOutputFilesOfAJobThatDidNotFinish) {
  for (const char *name : {"Failed", "Canceled", "Cancelled"}) {
    fresh_launch();
    given_job();
    given_file("C:\\work\\ZP7.1.e", "what went wrong\n");
    given_file("C:\\work\\ZP7.1.o", "what came out\n");
    given_state_from(0, state_line(name));
    watch_scheduler_job();
    EXPECT_EQ("Job 7 is " + std::string(name) +
                  ".\n\n\n---------- stderr ----------\nwhat went wrong\n"
                  "\n\n---------- stdout ----------\nwhat came out\n",
              both_streams());
    EXPECT_EQ("\n\n---------- stderr ----------\nwhat went wrong\n", standard_error());
  }
}

TEST(JobWatch, PrintsTheOutputFilesBeforeItSleeps) {
  given_job();
  given_file("C:\\work\\ZP7.1.o", "out\n");
  given_state_from(0, state_line("Failed"));
  std::string early;
  after(1, [&] { early = standard_output(); });
  watch_scheduler_job();
  EXPECT_EQ("Job 7 is Failed.\n\n\n---------- stdout ----------\nout\n", early);
}

TEST(JobWatch, PrintsNoOutputFilesOfAFinishedOrRunningJob) {
  given_job();
  given_file("C:\\work\\ZP7.1.e", "e\n");
  given_file("C:\\work\\ZP7.1.o", "o\n");
  given_state_from(0, state_line("Running"));
  given_state_from(2'000, state_line("Finished"));
  watch_scheduler_job();
  EXPECT_EQ("Job 7 is Running.\nJob 7 is Finished.\n", both_streams());
  EXPECT_EQ(0U, times_opened("C:\\work\\ZP7.1.o"));
}

TEST(JobOutput, IsFoundUnderTheNameOfTheUser) {
  given_variable("USERNAME", "jdoe");
  given_file("C:\\work\\ZP12.1.jdoe.e", "e\n");
  given_file("C:\\work\\ZP12.1.jdoe.o", "o\n");
  given_file("C:\\work\\ZP12.1.o", "of somebody else\n");
  print_job_output_files(12);
  EXPECT_EQ(
      "\n\n---------- stderr ----------\ne\n"
      "\n\n---------- stdout ----------\no\n",
      both_streams());
}

TEST(JobOutput, GoesToTheStreamsItCameFrom) {
  given_file("C:\\work\\ZP7.1.e", "e\n");
  given_file("C:\\work\\ZP7.1.o", "o\n");
  print_job_output_files(7);
  EXPECT_EQ("\n\n---------- stderr ----------\ne\n", standard_error());
  EXPECT_EQ("\n\n---------- stdout ----------\no\n", standard_output());
}

TEST(JobOutput, OfOneFileAloneIsPrintedToo) {
  given_file("C:\\work\\ZP7.1.o", "o\n");
  print_job_output_files(7);
  EXPECT_EQ("\n\n---------- stdout ----------\no\n", both_streams());
  given_no_file("C:\\work\\ZP7.1.o");
  given_file("C:\\work\\ZP7.1.e", "e\n");
  print_job_output_files(7);
  EXPECT_EQ("\n\n---------- stderr ----------\ne\n", standard_error());
}

TEST(JobOutput, IsNothingWithoutFiles) {
  print_job_output_files(7);
  EXPECT_EQ("", both_streams());
}

TEST(JobOutput, IsNothingWhenTheFilesAreEmpty) {
  given_file("C:\\work\\ZP7.1.e", "");
  given_file("C:\\work\\ZP7.1.o", "");
  print_job_output_files(7);
  EXPECT_EQ("", both_streams());
}

TEST(JobOutput, IsNothingWhenTheFilesCannotBeRead) {
  given_unreadable_file("C:\\work\\ZP7.1.e", "e\n");
  given_unreadable_file("C:\\work\\ZP7.1.o", "o\n");
  print_job_output_files(7);
  EXPECT_EQ("", both_streams());
}

TEST(JobOutput, IsNothingForANegativeJob) {
  given_file("C:\\work\\ZP-1.1.o", "o\n");
  print_job_output_files(-1);
  EXPECT_EQ("", both_streams());
}

TEST(JobOutput, IsPrintedForJobZero) {
  given_file("C:\\work\\ZP0.1.o", "o\n");
  print_job_output_files(0);
  EXPECT_EQ("\n\n---------- stdout ----------\no\n", both_streams());
}

TEST(JobOutput, IsPrintedAsItStands) {
  using namespace std::string_literals;
  given_file("C:\\work\\ZP7.1.o", "100%% %s %n\r\n\r\n\0\x1A\xFF end"s);
  print_job_output_files(7);
  EXPECT_EQ("\r\n\r\n---------- stdout ----------\r\n100%% %s %n\r\n\r\n\0\x1A\xFF end"s,
            standard_output_bytes());
}

TEST(JobOutput, IsPrintedWhole) {
  const std::string long_line(10'000, 'x');
  std::string lines;
  for (int i = 0; i < 2'000; ++i) {
    lines += "line " + std::to_string(i) + "\n";
  }
  given_file("C:\\work\\ZP7.1.o", lines + long_line + "\n" + long_line);
  print_job_output_files(7);
  EXPECT_EQ("\n\n---------- stdout ----------\n" + lines + long_line + "\n" + long_line,
            standard_output());
}

// ---- Fewer questions ----------------------------------------------------------------------

TEST(WatchSchedulerJob, AsksLessAndLessOftenForFiveMinutes) {
  fresh_launch();
  given_variable("USE_CCP", "head");
  given_variable("ZEPHON_JOB_POLL_LIMIT", "60");
  state.scheduler_job_id = 42;
  given_tool_with("job view 42", prints("State : Running\n"));
  watch_scheduler_job();
  // 1 + 2 + 4 + 8 + 16 + 32 + 60 * 4 seconds, each round with its questions.
  EXPECT_EQ(303'000U, now());
  EXPECT_EQ(10U, std::count_if(started_commands().begin(), started_commands().end(),
                               [last = never](const started_command &one) mutable {
                                 return std::exchange(last, one.at) != one.at;
                               }));
}

TEST(WatchSchedulerJob, DoesNotWaitLongBehindAJobThatHasEnded) {
  fresh_launch();
  given_variable("USE_CCP", "head");
  given_variable("ZEPHON_JOB_POLL_LIMIT", "3600");
  state.scheduler_job_id = 42;
  given_tool_with("job view 42", prints("State : Finished\n"));
  watch_scheduler_job();
  EXPECT_EQ(1'000U, now());
}

}  // namespace
