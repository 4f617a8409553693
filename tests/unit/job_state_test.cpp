// Tests of the question for a job's state.
#include "scheduler/job_state.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/launch_state.h"
#include "support/fresh_launch.h"
#include "support/platform_stand_in.h"

using namespace stand_in;

namespace {

constexpr const char *view_command = "job view 7 /scheduler:head";

// The answer to a question for a state when the tool prints this.
bool is_in_state(const std::string &output, const char *wanted_state) {
  given_tool(view_command, prints(output));
  const bool answer = job_state_is("head", 7, wanted_state, nullptr);
  fresh_world();
  return answer;
}

// The error text behind an answer of the tool, "before" when it left it alone.
std::string error_text_of(const std::string &output) {
  given_tool(view_command, prints(output));
  std::string text = "before";
  (void)job_state_is("head", 7, "Failed", &text);
  fresh_world();
  return text;
}

TEST(JobState, IsAskedWithTheViewCommand) {
  state.ccp_job_command = "\"C:\\HPC Pack\\job.exe\"";
  (void)job_state_is("head.site", 123, "Running", nullptr);
  ASSERT_EQ(1U, started_commands().size());
  EXPECT_EQ("cmd.exe /c \"\"C:\\HPC Pack\\job.exe\" view 123 /scheduler:head.site\"",
            started_commands()[0].command_line);
}

TEST(JobState, IsReadFromTheLinesOfBothGenerations) {
  EXPECT_TRUE(is_in_state("Status   : Running\r\n", "Running"));
  EXPECT_TRUE(is_in_state("State                            : Running\r\n", "Running"));
}

TEST(JobState, IsReadWithoutRegardToTheCaseOfTheKey) {
  EXPECT_TRUE(is_in_state("STATUS: Running\r\n", "Running"));
  EXPECT_TRUE(is_in_state("status: Running\r\n", "Running"));
  EXPECT_TRUE(is_in_state("sTaTe: Running\r\n", "Running"));
}

TEST(JobState, IsReadWithRegardToTheCaseOfTheState) {
  EXPECT_FALSE(is_in_state("State : running\r\n", "Running"));
  EXPECT_FALSE(is_in_state("State : RUNNING\r\n", "Running"));
}

TEST(JobState, IsNoWhenAnotherStateIsNamed) {
  EXPECT_FALSE(is_in_state("State : Queued\r\n", "Running"));
  EXPECT_FALSE(is_in_state("State : Canceled\r\n", "Cancelled"));
  EXPECT_FALSE(is_in_state("State : Cancelled\r\n", "Canceled"));
}

TEST(JobState, MayBePartOfAnotherWord) {
  EXPECT_TRUE(is_in_state("State : NotRunning\r\n", "Running"));
  EXPECT_TRUE(is_in_state("Statement of Running\r\n", "Running"));
}

TEST(JobState, StandsAtTheBeginningOfItsLine) {
  EXPECT_FALSE(is_in_state(" State : Running\r\n", "Running"));
  EXPECT_FALSE(is_in_state("Job State : Running\r\n", "Running"));
  EXPECT_FALSE(is_in_state("Running\r\n", "Running"));
  EXPECT_FALSE(is_in_state("Stat : Running\r\n", "Running"));
}

TEST(JobState, StandsOnOneLineWithItsKey) {
  EXPECT_FALSE(is_in_state("State :\r\nRunning\r\n", "Running"));
}

TEST(JobState, IsFoundAmongOtherLines) {
  EXPECT_TRUE(is_in_state("Job ID : 7\r\nState : Running\r\nProgress : 40%\r\n", "Running"));
  EXPECT_TRUE(is_in_state("State : Queued\r\nState : Running\r\nState : Queued\r\n", "Running"));
}

TEST(JobState, IsReadFromALineWithoutALineEnd) {
  EXPECT_TRUE(is_in_state("Job ID : 7\r\nState : Running", "Running"));
  EXPECT_FALSE(is_in_state("State : Runn", "Running"));
}

TEST(JobState, IsNoWhenTheToolPrintsNothing) {
  EXPECT_FALSE(is_in_state("", "Running"));
}

TEST(JobState, IsNoWhenTheToolIsNotFound) {
  EXPECT_FALSE(job_state_is("head", 7, "Running", nullptr));
  EXPECT_EQ("", both_streams());
}

TEST(JobState, IsNoWhenTheCommandCannotBeStarted) {
  given_no_command_interpreter();
  EXPECT_FALSE(job_state_is("head", 7, "Running", nullptr));
  EXPECT_EQ(
      "\nerror : cmd = job view 7 /scheduler:head\n"
      "\nError in execute command job view 7 /scheduler:head\n",
      standard_error());
}

TEST(JobState, IsNotPrinted) {
  given_tool(view_command, prints("State : Running\r\n").exits_with(9));
  EXPECT_TRUE(job_state_is("head", 7, "Running", nullptr));
  EXPECT_EQ("", both_streams());
}

TEST(JobState, IsTraced) {
  given_variable("ZEPHON_STARTUP_DEBUG", "");
  given_tool(view_command);
  (void)job_state_is("head", 7, "Running", nullptr);
  EXPECT_EQ("\ncmd = job view 7 /scheduler:head (..\\src\\mpirun:4151)", standard_output());
}

TEST(JobState, IsReadToTheEndOfTheOutput) {
  given_tool(view_command, prints("State : Running\r\n").then_prints("more\r\n", 5'000));
  EXPECT_TRUE(job_state_is("head", 7, "Running", nullptr));
  EXPECT_EQ(5'000U, now());
}

TEST(JobState, IsFoundBehindManyLines) {
  std::string lines;
  for (int i = 0; i < 100'000; ++i) {
    lines += "Task " + std::to_string(i) + "\r\n";
  }
  EXPECT_TRUE(is_in_state(lines + "State : Running\r\n", "Running"));
}

TEST(JobState, IsReadInPiecesOf1023Characters) {
  EXPECT_TRUE(is_in_state("State" + std::string(1'011, ' ') + "Running\r\n", "Running"));
  EXPECT_FALSE(is_in_state("State" + std::string(1'012, ' ') + "Running\r\n", "Running"));
  EXPECT_TRUE(is_in_state(std::string(1'023, 'x') + "State : Running\r\n", "Running"));
  EXPECT_FALSE(is_in_state(std::string(1'022, 'x') + "State : Running\r\n", "Running"));
}

TEST(JobState, IsFoundBehindBytesThatAreNotText) {
  using namespace std::string_literals;
  EXPECT_TRUE(is_in_state("\0\xFF\x1A\x80\r\r\n\nState : Running\r\n"s, "Running"));
}

// ---- Error text ---------------------------------------------------------------------------

TEST(JobErrorText, IsEverythingBehindTheFirstColon) {
  EXPECT_EQ(" Node lost\n", error_text_of("Error Message   : Node lost\r\n"));
  EXPECT_EQ(" at 12:30: \"x\"\n", error_text_of("Error message: at 12:30: \"x\"\n"));
  EXPECT_EQ("x", error_text_of("Error message:x"));
}

TEST(JobErrorText, IsIntroducedInAnyCase) {
  EXPECT_EQ(" a\n", error_text_of("ERROR MESSAGE : a\r\n"));
  EXPECT_EQ(" a\n", error_text_of("error message : a\r\n"));
}

TEST(JobErrorText, StandsAtTheBeginningOfItsLine) {
  EXPECT_EQ("before", error_text_of(" Error message : a\r\n"));
  EXPECT_EQ("before", error_text_of("Error messag : a\r\n"));
  EXPECT_EQ("before", error_text_of("Error  message : a\r\n"));
}

TEST(JobErrorText, MayBeEmpty) {
  EXPECT_EQ("\n", error_text_of("Error message:\r\n"));
  EXPECT_EQ("", error_text_of("Error message:"));
}

TEST(JobErrorText, IsLeftAloneWithoutAColon) {
  EXPECT_EQ("before", error_text_of("Error message\r\n"));
}

TEST(JobErrorText, IsLeftAloneWithoutItsLine) {
  EXPECT_EQ("before", error_text_of("State : Failed\r\n"));
  EXPECT_EQ("before", error_text_of(""));
}

TEST(JobErrorText, IsTheLastOne) {
  EXPECT_EQ(" b\n", error_text_of("Error message: a\r\nError message: b\r\n"));
}

TEST(JobErrorText, ComesWithAnyState) {
  given_tool(view_command, prints("Error message: a\r\nState : Queued\r\n"));
  std::string text;
  EXPECT_FALSE(job_state_is("head", 7, "Failed", &text));
  EXPECT_EQ(" a\n", text);
}

TEST(JobErrorText, ComesBeforeOrBehindTheState) {
  given_tool(view_command, prints("State : Failed\r\nError message: a\r\n"));
  std::string text;
  EXPECT_TRUE(job_state_is("head", 7, "Failed", &text));
  EXPECT_EQ(" a\n", text);
}

TEST(JobErrorText, IsNotWantedByEveryone) {
  EXPECT_TRUE(is_in_state("Error message: a\r\nState : Running\r\n", "Running"));
}

// ---- The pauses between two questions -----------------------------------------------------

struct pace_case {
  const char *limit;  // null: not set
  std::vector<unsigned long> pauses;
};

TEST(PollPace, DoublesUpToTheLimit) {
  const std::vector<pace_case> cases = {{nullptr, {500, 500, 500, 500}},
                                        {"4", {500, 1'000, 2'000, 4'000, 4'000}},
                                        {"1.2", {500, 1'000, 1'200}},
                                        {"0.3", {500, 500}},
                                        {"-5", {500, 500}},
                                        {"often", {500, 500}},
                                        {"", {500, 500}},
                                        {"nan", {500, 500}}};
  for (const pace_case &one : cases) {
    fresh_launch();
    if (one.limit != nullptr) {
      given_variable("ZEPHON_JOB_POLL_LIMIT", one.limit);
    }
    poll_pace pace = pace_of_polls(500);
    std::vector<unsigned long> pauses;
    while (pauses.size() < one.pauses.size()) {
      pauses.push_back(next_pause(pace));
    }
    EXPECT_EQ(one.pauses, pauses) << (one.limit == nullptr ? "not set" : one.limit);
  }
}

TEST(PollPace, IsAtMostADay) {
  fresh_launch();
  given_variable("ZEPHON_JOB_POLL_LIMIT", "1e300");
  EXPECT_EQ(86'400'000UL, pace_of_polls(500).longest);
}

}  // namespace
