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

TEST(JobState, IsAskedWithTheViewCommand) {
  state.ccp_job_command = "\"C:\\HPC Pack\\job.exe\"";
  (void)job_state_is("head.site", 123, "Running", nullptr);
  ASSERT_EQ(1U, started_commands().size());
  EXPECT_EQ("cmd.exe /c \"\"C:\\HPC Pack\\job.exe\" view 123 /scheduler:head.site\"",
            started_commands()[0].command_line);
}

struct answer_case {
  std::string printed;
  bool is_running;
};

TEST(JobState, IsReadFromTheLineOfItsKey) {
  using namespace std::string_literals;
  std::string lines;
  for (int i = 0; i < 100'000; ++i) {
    lines += "Task " + std::to_string(i) + "\r\n";
  }
  const std::string running = "State : Running\r\n";
  for (const auto &[printed, is_running] :
       std::vector<answer_case>{// Both generations, in any letters; the state in its own.
                                {"Status   : Running\r\n", true},
                                {"State                            : Running\r\n", true},
                                {"STATUS: Running\r\n", true},
                                {"status: Running\r\n", true},
                                {"sTaTe: Running\r\n", true},
                                {"State : running\r\n", false},
                                {"State : RUNNING\r\n", false},
                                {"State : Queued\r\n", false},
                                // As a piece of a line that begins with the key.
                                {"State : NotRunning\r\n", true},
                                {"Statement of Running\r\n", true},
                                {" State : Running\r\n", false},
                                {"Job State : Running\r\n", false},
                                {"Running\r\n", false},
                                {"Stat : Running\r\n", false},
                                {"State :\r\nRunning\r\n", false},
                                // Among others, and at the end.
                                {"Job ID : 7\r\nState : Running\r\nProgress : 40%\r\n", true},
                                {"State : Queued\r\nState : Running\r\nState : Queued\r\n", true},
                                {"Job ID : 7\r\nState : Running", true},
                                {"State : Runn", false},
                                {"", false},
                                {"Error message: a\r\nState : Running\r\n", true},
                                {lines + running, true},
                                {"\0\xFF\x1A\x80\r\r\n\n"s + running, true},
                                // In pieces of 1,023 characters.
                                {"State" + std::string(1'011, ' ') + "Running\r\n", true},
                                {"State" + std::string(1'012, ' ') + "Running\r\n", false},
                                {std::string(1'023, 'x') + running, true},
                                {std::string(1'022, 'x') + running, false}}) {
    fresh_world();
    given_tool(view_command, prints(printed).exits_with(9));
    EXPECT_EQ(is_running, job_state_is("head", 7, "Running", nullptr)) << printed.substr(0, 80);
    EXPECT_EQ("", both_streams());
  }
}

TEST(JobState, IsOneOfTwoSpellings) {
  given_tool(view_command, prints("State : Canceled\r\n"));
  EXPECT_FALSE(job_state_is("head", 7, "Cancelled", nullptr));
  fresh_world();
  given_tool(view_command, prints("State : Cancelled\r\n"));
  EXPECT_FALSE(job_state_is("head", 7, "Canceled", nullptr));
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

TEST(JobState, IsReadToTheEndOfTheOutput) {
  given_tool(view_command, prints("State : Running\r\n").then_prints("more\r\n", 5'000));
  EXPECT_TRUE(job_state_is("head", 7, "Running", nullptr));
  EXPECT_EQ(5'000U, now());
}

TEST(JobErrorText, IsEverythingBehindTheFirstColonOfItsLastLine) {
  for (const auto &[printed, text] : std::vector<std::pair<std::string, std::string>>{
           {"Error Message   : Node lost\r\n", " Node lost\n"},
           {"Error message: at 12:30: \"x\"\n", " at 12:30: \"x\"\n"},
           {"Error message:x", "x"},
           {"ERROR MESSAGE : a\r\n", " a\n"},
           {"error message : a\r\n", " a\n"},
           {"Error message:\r\n", "\n"},
           {"Error message:", ""},
           {"Error message: a\r\nError message: b\r\n", " b\n"},
           {"Error message: a\r\nState : Queued\r\n", " a\n"},
           {"State : Failed\r\nError message: a\r\n", " a\n"},
           // None at all.
           {" Error message : a\r\n", "before"},
           {"Error messag : a\r\n", "before"},
           {"Error  message : a\r\n", "before"},
           {"Error message\r\n", "before"},
           {"State : Failed\r\n", "before"},
           {"", "before"}}) {
    fresh_world();
    given_tool(view_command, prints(printed));
    std::string found = "before";
    EXPECT_EQ(printed.find("Failed") != std::string::npos,
              job_state_is("head", 7, "Failed", &found));
    EXPECT_EQ(text, found) << printed;
  }
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
