// Stress tests of the submit command that does not answer in time: its watcher and
// its processes are ended, and the run goes on as if nothing had been.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "core/launch_state.h"
#include "scheduler/job_state.h"
#include "scheduler/job_submission.h"
#include "stress_bench.h"
#include "stress_door.h"

using namespace stress;

namespace {

// A launch whose scheduler does not answer a submission.
void given_silent_scheduler() {
  state = launch_state{};
  state.mpi_name = "msmpi";
  state.ccp_job_command = "stress_job";
  given_variable("USE_CCP", "head");
}

std::string submit_command(const std::string &answer, int round) {
  return "stress_job submit " + answer + " /scheduler:head mpiexec " + std::to_string(round);
}

// One submission that runs into its time limit: the command then runs in the
// console, the job is released, and no process of it is left.
void submit_in_vain(const std::string &answer, int round, const std::string &seconds) {
  given_variable("CCP_JOB_SUBMIT_WAIT_TIME", seconds);
  given_variable("CANCEL_CCP_JOB_EXIT1", "stress_job exit " + std::to_string(round));
  command_line command{submit_command(answer, round), {}};
  ASSERT_TRUE(submit_scheduler_job(command));
  const std::string in_console = file_text("fallback").value_or("");
  ASSERT_TRUE(in_console.starts_with(command.text + " -ccp_job ")) << in_console;
  ASSERT_EQ(std::to_string(round), file_text("released"));
  ASSERT_EQ(std::nullopt, platform::get_variable("CANCEL_CCP_JOB_EXIT1"));
  ASSERT_TRUE(all_have_ended("stress_job.exe"));
}

// A question for the state runs anew: the tool's answer names the round.
void ask_for_the_state(int round) {
  ASSERT_TRUE(job_state_is("head", round, ("Round " + std::to_string(round)).c_str(), nullptr));
}

std::string text_of(void *read_end) {
  std::string text;
  char buffer[4096];
  while (const std::size_t got = platform::read_some(read_end, buffer, sizeof buffer)) {
    text.append(buffer, got);
  }
  return text;
}

void submit_in_vain_and_ask(const std::string &answer, int round, const std::string &seconds) {
  submit_in_vain(answer, round, seconds);
  ask_for_the_state(round);
  ASSERT_TRUE(locks_are_free());
}

struct things {
  open_things open;
  unsigned terminated = 0;
};

things things_now() {
  return {open_now(), terminated_threads()};
}

// No handle and no thread is left, and no thread was ended from outside.
void expect_nothing_left(const things &before) {
  const auto after = open_again(before.open);
  EXPECT_EQ(before.open.handles, after.handles);
  EXPECT_EQ(before.open.threads, after.threads);
  EXPECT_EQ(before.terminated, terminated_threads());
}

// From the start of the tool until long after its first output.
std::string changing_limit(int round) {
  return "0.0" + std::to_string(10 + 7 * (round % 8));
}

}  // namespace

TEST(SubmissionStress, GoesOnEachTimeWithoutAnAnswer) {
  const char *asked = std::getenv("STRESS_ROUNDS");
  const int rounds = asked != nullptr ? std::atoi(asked) : 60;
  ASSERT_LT(0, rounds);
  given_tools_behind_a_quick_interpreter();
  given_silent_scheduler();
  const other_output nowhere(nullptr);
  const auto play = [](int round) {
    submit_in_vain_and_ask(round % 2 == 0 ? "quiet" : "flood", round, changing_limit(round));
  };
  for (int round = 1; round <= 8; ++round) {
    ASSERT_NO_FATAL_FAILURE(play(round));
  }
  const auto before = things_now();
  for (int round = 9; round <= 8 + rounds; ++round) {
    ASSERT_NO_FATAL_FAILURE(play(round)) << round;
  }
  expect_nothing_left(before);
}

TEST(SubmissionStress, GoesOnBehindWindowsOwnInterpreter) {
  given_tools_behind_windows_interpreter();
  given_silent_scheduler();
  const other_output nowhere(nullptr);
  ASSERT_NO_FATAL_FAILURE(submit_in_vain_and_ask("quiet", 1, "0.3"));
  const auto before = things_now();
  for (int round = 2; round <= 6; ++round) {
    ASSERT_NO_FATAL_FAILURE(
        submit_in_vain_and_ask(round % 2 == 0 ? "quiet" : "flood", round, "0.3"));
  }
  expect_nothing_left(before);
}

// Nobody reads the launcher's standard output: the watcher hangs in a write when its
// time is over.
TEST(SubmissionStress, GoesOnWhileTheLaunchersOutputHangs) {
  given_tools_behind_a_quick_interpreter();
  given_silent_scheduler();
  const auto play = [](int round) {
    const auto pipe = platform::create_pipe();
    ASSERT_TRUE(pipe);
    const other_output full(pipe->write_end.get());
    submit_in_vain_and_ask("flood", round, "0.15");
  };
  ASSERT_NO_FATAL_FAILURE(play(1));
  const auto before = things_now();
  for (int round = 2; round <= 13; ++round) {
    ASSERT_NO_FATAL_FAILURE(play(round)) << round;
  }
  expect_nothing_left(before);
}

// The watch looks once a second; here a hundred times as often.
TEST(SubmissionStress, WatchesTheJobAfterEachTimeLimit) {
  given_tools_behind_a_quick_interpreter();
  given_silent_scheduler();
  given_variable("LAST_STATE", "Finished");
  given_shorter_sleeps(100);
  const auto play = [](int round) {
    auto pipe = platform::create_pipe();
    ASSERT_TRUE(pipe);
    {
      const other_output read_by_us(pipe->write_end.get());
      state.scheduler_job_id = round;  // a job that was there before
      submit_in_vain("quiet", round, "0.05");
    }
    pipe->write_end.reset();
    const std::string said = text_of(pipe->read_end.get());
    ASSERT_TRUE(said.ends_with("Job " + std::to_string(round) + " is Finished.\r\n")) << said;
    ASSERT_TRUE(locks_are_free());
  };
  ASSERT_NO_FATAL_FAILURE(play(1));
  const auto before = things_now();
  for (int round = 2; round <= 6; ++round) {
    ASSERT_NO_FATAL_FAILURE(play(round)) << round;
  }
  expect_nothing_left(before);
  given_shorter_sleeps(1);
  given_variable("LAST_STATE", "");
}
