// Stress tests of the monitor: threads that watch a run's output and are ended at
// the time limit, whatever they are doing.
#include <gtest/gtest.h>

#include <atomic>
#include <string>

#include "core/command_runner.h"
#include "stress_bench.h"
#include "stress_door.h"

using namespace stress;

namespace {

// What the monitors of these tests hang in.
platform::owned_handle pipe_to_read;
platform::owned_handle pipe_to_write;
std::atomic<bool> monitor_is_up = false;

void given_empty_pipe() {
  auto pipe = platform::create_pipe();
  pipe_to_read = std::move(pipe->read_end);
  pipe_to_write = std::move(pipe->write_end);
}

// Works until it is asked to end, taking and giving back memory as a reader does.
void work(void *) {
  monitor_is_up = true;
  std::string text;
  while (!monitor_is_stopping()) {
    text.assign(1000, 'x');
    text.clear();
    text.shrink_to_fit();
  }
}

void hang_in_a_read(void *) {
  monitor_is_up = true;
  char letter = 0;
  while (platform::read_some(pipe_to_read.get(), &letter, 1) > 0) {
  }
}

void hang_in_a_write(void *) {
  monitor_is_up = true;
  const std::string text(100000, 'x');  // more than the pipe takes
  while (platform::write_all(pipe_to_write.get(), text.data(), text.size())) {
  }
}

void sleep_for_ever(void *) {
  monitor_is_up = true;
  platform::sleep_ms(platform::wait_forever);
}

// Starts a monitor and ends it at once, when it has come up or even before.
void start_and_stop(platform::thread_routine routine, bool wait_until_up) {
  monitor_is_up = false;
  ASSERT_NE(0U, start_monitor(routine, nullptr));
  while (wait_until_up && !monitor_is_up) {
    platform::sleep_ms(0);
  }
  ASSERT_TRUE(stop_monitor());
}

// So many rounds leave no handle, no thread and no lock, and no thread had to be
// ended from outside.
void stop_many_times(platform::thread_routine routine, int rounds, bool wait_until_up) {
  for (int round = 0; round < 3; ++round) {
    ASSERT_NO_FATAL_FAILURE(start_and_stop(routine, wait_until_up));
  }
  const auto before = open_now();
  const unsigned terminated = terminated_threads();
  for (int round = 0; round < rounds; ++round) {
    ASSERT_NO_FATAL_FAILURE(start_and_stop(routine, wait_until_up)) << round;
    ASSERT_TRUE(round % 100 != 0 || locks_are_free()) << round;
  }
  ASSERT_TRUE(locks_are_free());
  const auto after = open_again(before);
  EXPECT_EQ(before.handles, after.handles);
  EXPECT_EQ(before.threads, after.threads);
  EXPECT_EQ(terminated, terminated_threads());
}

}  // namespace

TEST(MonitorStress, EndsAThousandThatWork) {
  stop_many_times(work, 1000, true);
}

TEST(MonitorStress, EndsThousandsThatHaveNotBegun) {
  stop_many_times(work, 2000, false);
}

TEST(MonitorStress, EndsThoseThatHangInARead) {
  given_empty_pipe();
  stop_many_times(hang_in_a_read, 60, true);
}

TEST(MonitorStress, EndsThoseThatHangInAWrite) {
  given_empty_pipe();
  stop_many_times(hang_in_a_write, 60, true);
}

// The monitor waits 25 ms before it breaks a read off; here each round breaks it off
// at once, by the same calls.
TEST(MonitorStress, BreaksAThousandReadsOff) {
  given_empty_pipe();
  const auto play = [] {
    monitor_is_up = false;
    const auto started = platform::start_thread(hang_in_a_read, nullptr);
    ASSERT_TRUE(started.thread);
    bool ended = false;
    for (int attempt = 0; attempt < 10000 && !ended; ++attempt) {
      platform::interrupt_thread(started.thread.get());
      ended = platform::wait_for(started.thread.get(), 1);
    }
    ASSERT_TRUE(ended);
  };
  ASSERT_NO_FATAL_FAILURE(play());
  const auto before = open_now();
  for (int round = 0; round < 1000; ++round) {
    ASSERT_NO_FATAL_FAILURE(play()) << round;
    ASSERT_TRUE(round % 100 != 0 || locks_are_free()) << round;
  }
  const auto after = open_again(before);
  EXPECT_EQ(before.handles, after.handles);
  EXPECT_EQ(before.threads, after.threads);
}

// One that can be ended only from outside costs a second, so these are few.
TEST(MonitorStress, EndsFromOutsideWhatDoesNotEnd) {
  const auto play = [] {
    ASSERT_NO_FATAL_FAILURE(start_and_stop(sleep_for_ever, true));
    ASSERT_TRUE(locks_are_free());
  };
  ASSERT_NO_FATAL_FAILURE(play());
  const auto before = open_now();
  const unsigned terminated = terminated_threads();
  for (int round = 0; round < 2; ++round) {
    ASSERT_NO_FATAL_FAILURE(play());
  }
  const auto after = open_again(before);
  EXPECT_EQ(before.handles, after.handles);
  EXPECT_EQ(before.threads, after.threads);
  EXPECT_EQ(terminated + 2, terminated_threads());
}
