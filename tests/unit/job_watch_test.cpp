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

// ---- Whether there is a job ---------------------------------------------------------------

TEST(JobWatch, AsksNothingWithoutAHeadNodeOrAJob) {
  for (const int id : {7, 0, -1, -7}) {
    if (id != 7) {
      given_variable("USE_CCP", "head");
    }
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

// The states of a job from a time on, and when the watch is over.
struct watched_job {
  std::vector<std::pair<milliseconds, std::string>> states;
  milliseconds end;
  std::size_t questions = 0;  // 0: not counted
  std::string said = {};
};

TEST(JobWatch, EndsInTime) {
  const std::string runs = "Job 7 is Running.\n";
  const std::string finished = "Job 7 is Finished.\n";
  const std::vector<watched_job> jobs = {
      {{{0, "Failed"}}, 1'000, 5, "Job 7 is Failed.\n"},
      {{{0, "Running"}, {2'500, "Finished"}}, 4'000, 2 + 2 + 2 + 6, runs + finished},
      {{{0, "Queued"}, {1'000'000, "Finished"}}, 1'001'000, 0, finished},
      {{{0, "Running"}}, 300'000, 600, runs},  // 300 rounds
      {{{0, "Queued"}, {299'000, "Running"}}, 300'000, 0, runs},
      {{{0, "Queued"}, {400'000, "Running"}}, 401'000, 0, runs},
      {{{0, "Configuring"}, {400'000, "Running"}}, 401'000, 0, runs},  // queued until then
      {{{0, ""}, {5'000, "Finished"}}, 6'000, 0, finished},
      {{{0, "Running"}, {2'000, "Finishing"}, {5'000, "Finished"}}, 6'000, 0, runs + finished}};
  for (const auto &job : jobs) {
    fresh_launch();
    given_job();
    for (const auto &[time, name] : job.states) {
      given_state_from(time, state_line(name));
    }
    watch_scheduler_job();
    EXPECT_EQ(job.end, now());
    EXPECT_EQ(job.questions == 0 ? commands().size() : job.questions, commands().size());
    EXPECT_EQ(job.said, standard_output());
  }
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

// ---- The error text -----------------------------------------------------------------------

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

TEST(JobWatch, PrintsTheOutputFilesBeforeItSleeps) {
  given_job();
  given_file("C:\\work\\ZP7.1.o", "out\n");
  given_state_from(0, state_line("Failed"));
  std::string early;
  after(1, [&] { early = standard_output(); });
  watch_scheduler_job();
  EXPECT_EQ("Job 7 is Failed.\n\n\n---------- stdout ----------\nout\n", early);
}

TEST(JobWatch, OpensNoOutputFilesOfAFinishedOrRunningJob) {
  given_job();
  given_file("C:\\work\\ZP7.1.o", "o\n");
  given_state_from(0, state_line("Running"));
  given_state_from(2'000, state_line("Finished"));
  watch_scheduler_job();
  EXPECT_EQ(0U, times_opened("C:\\work\\ZP7.1.o"));
}

TEST(JobWatch, PrintsStandardErrorBeforeStandardOutput) {
  given_job();
  given_file("C:\\work\\ZP7.1.e", "e\n");
  given_file("C:\\work\\ZP7.1.o", "o\n");
  given_state_from(0, state_line("Canceled"));
  watch_scheduler_job();
  EXPECT_EQ(
      "Job 7 is Canceled.\n\n\n---------- stderr ----------\ne\n"
      "\n\n---------- stdout ----------\no\n",
      both_streams());
}

struct printed_file {
  int job;
  std::string name;
  std::optional<std::string> text;  // nothing: it cannot be read
  std::string output = {}, errors = {};
};

TEST(JobOutput, IsPrintedAsItStands) {
  using namespace std::string_literals;
  const std::string whole(std::string(10'000, 'x') + std::string(2'000, '\n') + "end");
  const std::string out = "\n\n---------- stdout ----------\n";
  const std::string err = "\n\n---------- stderr ----------\n";
  const std::vector<printed_file> files = {
      {12, "ZP12.1.jdoe.o", "o\n", out + "o\n"},
      {12, "ZP12.1.jdoe.e", "e\n", "", err + "e\n"},
      {12, "ZP12.1.o", "of somebody else\n"},
      {0, "ZP0.1.jdoe.o", "100%% %s %n\n\n\0\x1A\xFF end"s, out + "100%% %s %n\n\n\0\x1A\xFF end"s},
      {7, "ZP7.1.jdoe.o", whole, out + whole},
      {7, "ZP7.1.jdoe.o", ""},
      {7, "ZP7.1.jdoe.e", ""},
      {7, "ZP7.1.jdoe.o", std::nullopt},
      {7, "ZP7.1.jdoe.e", std::nullopt},
      {-1, "ZP-1.1.jdoe.o", "o\n"}};
  for (const auto &file : files) {
    fresh_launch();
    given_variable("USERNAME", "jdoe");
    if (file.text) {
      given_file("C:\\work\\" + file.name, *file.text);
    } else {
      given_unreadable_file("C:\\work\\" + file.name, "o\n");
    }
    print_job_output_files(file.job);
    EXPECT_EQ(file.output, standard_output()) << file.name;
    EXPECT_EQ(file.errors, standard_error()) << file.name;
  }
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
