// Stress tests of timed questions: boxes that are ended at their time limit, and
// answers that come in the same moment.
//
// Limits are whole seconds, counted in looks of a tenth of a second. Here the sleeps
// between the looks are shorter and the looks as many as ever. Windows' own boxes are
// slow, so they are some hundreds; the thousands are quick ones (stress_door.h).
#include <gtest/gtest.h>
#include <windows.h>

#include <array>
#include <atomic>
#include <string>

#include "box_driver/box_driver.h"
#include "core/timed_question.h"
#include "stress_bench.h"
#include "stress_door.h"

using namespace stress;

namespace {

constexpr int answer_no = 7;
constexpr unsigned looks_of_a_second = 10;

void expect_nothing_more_open(const open_things &before) {
  const auto after = open_again(before);
  EXPECT_EQ(before.handles, after.handles);
  EXPECT_EQ(before.threads, after.threads);
}

// ---- Quick boxes --------------------------------------------------------------------------

void wait_for_the_box(unsigned) {
  ASSERT_TRUE(wait_for_quick_box());
}

class QuickBoxes : public testing::Test {
 protected:
  QuickBoxes() {
    given_shorter_sleeps(1000);
    given_each_sleep(wait_for_the_box);
  }
  ~QuickBoxes() override {
    given_each_sleep(nullptr);
    given_shorter_sleeps(1);
    given_windows_boxes();
  }
};

void run_into_the_limit() {
  given_quick_box();
  ASSERT_EQ(answer_ok, timed_question("Nobody answers.", 1, yes_no_buttons));
}

TEST_F(QuickBoxes, EndThousandsOfTimesAtTheirLimit) {
  run_into_the_limit();
  const auto before = open_now();
  const unsigned terminated = terminated_threads();
  for (int round = 0; round < 2000; ++round) {
    ASSERT_NO_FATAL_FAILURE(run_into_the_limit()) << round;
    ASSERT_TRUE(round % 100 != 0 || locks_are_free()) << round;
  }
  expect_nothing_more_open(before);
  EXPECT_EQ(terminated, terminated_threads());
}

// A box that comes up behind its limit closes at the next request, 25 ms later.
TEST_F(QuickBoxes, EndAlsoWhenTheyComeUpBehindTheirLimit) {
  const auto before = open_now();
  const unsigned terminated = terminated_threads();
  for (int round = 0; round < 60; ++round) {
    given_quick_box();
    ASSERT_EQ(answer_ok, timed_question("No time.", 0, yes_no_buttons)) << round;
  }
  ASSERT_TRUE(locks_are_free());
  expect_nothing_more_open(before);
  EXPECT_EQ(terminated, terminated_threads());
}

// One that does not close costs five seconds, so these are few.
TEST_F(QuickBoxes, EndFromOutsideWhenTheyDoNotClose) {
  const auto before = open_now();
  const unsigned terminated = terminated_threads();
  for (int round = 0; round < 2; ++round) {
    given_quick_box(true);
    ASSERT_EQ(answer_ok, timed_question("Stubborn.", 1, yes_no_buttons)) << round;
    ASSERT_TRUE(locks_are_free());
  }
  expect_nothing_more_open(before);
  EXPECT_EQ(terminated + 2, terminated_threads());
}

// ---- Answers in the moment of the limit ---------------------------------------------------

std::atomic<unsigned> press_at_sleep = 0;

void press_and_wait_for_the_thread(unsigned number) {
  ASSERT_TRUE(wait_for_quick_box());
  if (number != press_at_sleep) {
    return;
  }
  const platform::owned_handle thread(OpenThread(SYNCHRONIZE, FALSE, quick_box_thread()));
  ASSERT_TRUE(thread);
  ASSERT_TRUE(press_quick_box(answer_no));
  ASSERT_TRUE(platform::wait_for(thread.get(), 60000));
}

// The answer is there when the launcher looks: at its first look, or at the last, with
// which the time is over.
TEST_F(QuickBoxes, CountAnAnswerThatIsThereAtTheLimit) {
  for (int round = 0; round < 1000; ++round) {
    press_at_sleep = 1 + static_cast<unsigned>(round) % looks_of_a_second;
    given_each_sleep(press_and_wait_for_the_thread);
    given_quick_box();
    ASSERT_EQ(answer_no, timed_question("Answered.", 1, yes_no_buttons)) << round;
    ASSERT_EQ(answer_no, question_answer());
    ASSERT_EQ(0U, close_requests());
  }
}

// Another thread presses somewhere around the limit.
struct presser {
  unsigned delay = 0;               // in turns of a loop
  std::atomic<bool> first = false;  // before the launcher asked the box to close
};

void press_after_a_while(void *argument) {
  auto &who = *static_cast<presser *>(argument);
  (void)wait_for_quick_box();
  for (std::atomic<unsigned> turn = 0; turn < who.delay; ++turn) {
  }
  who.first = press_quick_box(answer_no);
}

TEST_F(QuickBoxes, AgreeWithTheirAnswerInTheMomentOfTheLimit) {
  constexpr int rounds = 1500;
  int counted = 0;
  for (int round = 0; round < rounds; ++round) {
    given_each_sleep(wait_for_the_box);
    given_shorter_sleeps(round % 50 == 0 ? 50 : 1000);  // some limits are long enough for all
    given_quick_box();
    presser user;
    user.delay = static_cast<unsigned>(round) * 7919U % 40000U;
    const auto started = platform::start_thread(press_after_a_while, &user);
    ASSERT_TRUE(started.thread);
    const int answer = timed_question("Now or never.", 1, yes_no_buttons);
    const bool asked_to_close = close_requests() > 0;
    ASSERT_TRUE(platform::wait_for(started.thread.get(), 60000));

    ASSERT_TRUE(answer == answer_no || answer == answer_ok) << answer;
    ASSERT_EQ(answer, question_answer());
    if (!user.first) {
      ASSERT_EQ(answer_ok, answer) << "an answer that nobody gave, round " << round;
    }
    if (!asked_to_close) {
      ASSERT_TRUE(user.first);
      ASSERT_EQ(answer_no, answer) << "a lost answer, round " << round;
    }
    counted += answer == answer_no ? 1 : 0;
  }
  // Some came in time and some too late, or the moment was never met.
  EXPECT_LT(0, counted);
  EXPECT_GT(rounds, counted);
}

// ---- Windows' own boxes -------------------------------------------------------------------

class WindowsBoxes : public testing::Test {
 protected:
  ~WindowsBoxes() override { given_shorter_sleeps(1); }
};

// Limits from none to longer than a box takes to come up.
void ask_in_vain(int round) {
  constexpr std::array<unsigned long, 5> factors = {100, 50, 20, 10, 5};
  given_shorter_sleeps(factors[static_cast<std::size_t>(round) % factors.size()]);
  ASSERT_EQ(answer_ok, timed_question("Nobody answers.", round % 6 == 0 ? 0 : 1, yes_no_buttons));
}

TEST_F(WindowsBoxes, EndAtTheirLimit) {
  for (int round = 0; round < 10; ++round) {  // Windows opens a display, fonts and more
    ASSERT_NO_FATAL_FAILURE(ask_in_vain(round));
  }
  const auto before = open_now();
  const unsigned terminated = terminated_threads();
  for (int round = 0; round < 100; ++round) {
    ASSERT_NO_FATAL_FAILURE(ask_in_vain(round)) << round;
    ASSERT_TRUE(round % 10 != 0 || locks_are_free()) << round;
  }
  expect_nothing_more_open(before);
  EXPECT_EQ(terminated, terminated_threads());
  EXPECT_TRUE(box_driver::find_boxes({GetCurrentProcessId()}).empty());
}

struct window_presser {
  std::atomic<bool> pressed = false;
  std::atomic<bool> is_late = false;  // the question is over
};

// Presses No in the first box that appears.
void press_in_the_window(void *argument) {
  auto &who = *static_cast<window_presser *>(argument);
  while (!who.pressed && !who.is_late) {
    for (const auto &box : box_driver::find_boxes({GetCurrentProcessId()})) {
      who.pressed = who.pressed || box_driver::press(box, answer_no);
    }
    Sleep(1);
  }
}

TEST_F(WindowsBoxes, AgreeWithTheirAnswerInTheMomentOfTheLimit) {
  constexpr std::array<unsigned long, 7> factors = {100, 50, 33, 25, 20, 5, 1};
  int counted = 0;
  for (int round = 0; round < 60; ++round) {
    given_shorter_sleeps(factors[static_cast<std::size_t>(round) % factors.size()]);
    window_presser user;
    const auto started = platform::start_thread(press_in_the_window, &user);
    ASSERT_TRUE(started.thread);
    const int answer = timed_question("Now or never.", 1, yes_no_buttons);
    user.is_late = true;
    ASSERT_TRUE(platform::wait_for(started.thread.get(), 60000));
    // Its first button, Yes, is what the launcher presses to close a box.
    ASSERT_TRUE(answer == answer_ok || answer == answer_no) << answer;
    ASSERT_TRUE(answer == answer_ok || user.pressed) << "an answer that nobody gave";
    ASSERT_EQ(answer, question_answer());
    counted += answer == answer_no ? 1 : 0;
  }
  EXPECT_LT(0, counted);
}

}  // namespace
