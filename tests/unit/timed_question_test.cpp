// Tests of the timed questions.
#include "core/timed_question.h"

#include <gtest/gtest.h>

#include "core/run_record.h"
#include "support/fresh_launch.h"

using namespace stand_in;

namespace {

TEST(TimedQuestion, ShowsATopmostBoxOfZephonOnAThreadOfItsOwn) {
  given_box_answer(pressed_yes, 200);
  EXPECT_EQ(answer_yes, timed_question("Really?", 15, yes_no_buttons));
  ASSERT_EQ(1U, message_boxes().size());
  EXPECT_EQ("Zephon", message_boxes()[0].caption);
  EXPECT_EQ("Really?", message_boxes()[0].text);
  EXPECT_EQ(0x40004U, message_boxes()[0].style);
  EXPECT_EQ(1U, threads_started());
  EXPECT_EQ(box_end::answered, message_boxes()[0].end);
}

TEST(TimedQuestion, GivesEveryButton) {
  for (const int button : {pressed_ok, pressed_cancel, pressed_yes, pressed_no}) {
    given_box_answer(button, 350);
    EXPECT_EQ(button, timed_question("?", 15, ok_cancel_buttons));
  }
}

TEST(TimedQuestion, ComesBackAtTheFirstPollBehindTheAnswer) {
  given_box_answer(pressed_yes, 250);
  (void)timed_question("?", 15, yes_no_buttons);
  EXPECT_EQ(300U, now());
}

TEST(TimedQuestion, AnswersOneWhenItsTimeRunsOut) {
  EXPECT_EQ(1, timed_question("?", 15, yes_no_buttons));
  EXPECT_EQ(15'000U, message_boxes().at(0).ended_at);
  EXPECT_EQ(box_end::closed, message_boxes().at(0).end);
  EXPECT_EQ(0U, threads_alive());
}

TEST(TimedQuestion, DoesNotTakeItsOwnClosingForAnAnswer) {
  given_box_closing(pressed_yes, 10);
  EXPECT_EQ(1, timed_question("?", 3, yes_no_buttons));
  EXPECT_EQ(pressed_yes, message_boxes().at(0).button);
}

TEST(TimedQuestion, TakesAnAnswerInTheMomentOfTheLimit) {
  given_box_answer(pressed_yes, 3'000);
  EXPECT_EQ(answer_yes, timed_question("?", 3, yes_no_buttons));
}

TEST(TimedQuestion, TakesAnAnswerInTheMomentOfAPoll) {
  for (const bool main_first : {false, true}) {
    fresh_launch();
    if (main_first) {
      given_main_thread_first();
    }
    given_box_answer(pressed_no, 500);
    EXPECT_EQ(pressed_no, timed_question("?", 3, yes_no_buttons));
  }
}

TEST(TimedQuestion, EndsTheThreadOfABoxThatDoesNotClose) {
  given_box_closing(pressed_yes, never);
  EXPECT_EQ(1, timed_question("?", 3, yes_no_buttons));
  EXPECT_EQ(1U, threads_terminated());
  EXPECT_EQ(box_end::thread_ended, message_boxes().at(0).end);
  EXPECT_EQ(8'000U, now());
}

TEST(TimedQuestion, WaitsForABoxThatClosesLate) {
  given_box_closing(pressed_yes, 200);
  EXPECT_EQ(1, timed_question("?", 3, yes_no_buttons));
  EXPECT_EQ(0U, threads_terminated());
  EXPECT_EQ(3'200U, message_boxes().at(0).ended_at);
}

TEST(TimedQuestion, AnswersOneWhenTheThreadCannotBeStarted) {
  given_no_threads();
  EXPECT_EQ(1, timed_question("?", 15, yes_no_buttons));
  EXPECT_EQ(0U, now());
}

TEST(TimedQuestion, AnswersOneAtOnceWhenTheBoxCannotBeShown) {
  given_box_that_cannot_be_shown();
  EXPECT_EQ(1, timed_question("?", 15, yes_no_buttons));
  EXPECT_EQ(100U, now());
}

TEST(TimedQuestion, IsAnsweredAtOnceWhereNobodySeesABox) {
  given_no_visible_boxes();
  given_box_answer(pressed_yes);
  EXPECT_EQ(answer_ok, timed_question("Start it?\n\n", 15, yes_no_buttons));
  EXPECT_EQ(0U, now());
  EXPECT_EQ("Start it?\n", standard_output());
  EXPECT_TRUE(message_boxes().empty());
  EXPECT_EQ(0U, threads_started());
}

TEST(TimedQuestion, IsOnlySaidToAUserWhoLooksOn) {
  state.attended = true;
  EXPECT_EQ(1, timed_question("?", 3, yes_no_buttons));
  EXPECT_EQ("?\n", standard_error());
  EXPECT_TRUE(message_boxes().empty());
  EXPECT_EQ(0U, now());
}

TEST(TimedQuestion, ForgetsTheAnswerOfTheQuestionBefore) {
  given_box_answer(pressed_yes, 100);
  EXPECT_EQ(answer_yes, timed_question("1?", 3, yes_no_buttons));
  EXPECT_EQ(1, timed_question("2?", 3, yes_no_buttons));
}

TEST(StartQuestion, GivesTheThreadAndDoesNotWait) {
  const unsigned long thread = start_question("wait ...", ok_cancel_buttons, answer_ok);
  EXPECT_EQ(0U, now());
  platform::sleep_ms(100);
  EXPECT_EQ(thread, message_boxes().at(0).thread);
  EXPECT_EQ(0x40001U, message_boxes().at(0).style);
  stop_question();
}

TEST(StartQuestion, AssumesAnAnswerUntilThereIsOne) {
  given_box_answer(pressed_cancel, 500);
  (void)start_question("?", ok_cancel_buttons, 77);
  EXPECT_EQ(77, question_answer());
  platform::sleep_ms(499);
  EXPECT_EQ(77, question_answer());
  platform::sleep_ms(2);
  EXPECT_EQ(answer_cancel, question_answer());
  stop_question();
  EXPECT_EQ(answer_cancel, question_answer());
}

TEST(StartQuestion, GivesZeroWhenTheThreadCannotBeStarted) {
  given_no_threads();
  EXPECT_EQ(0U, start_question("?", ok_cancel_buttons, 5));
  EXPECT_EQ(5, question_answer());
  stop_question();
}

TEST(StartQuestion, HasAnEndInTheRecordAlsoWhenNobodySeesIt) {
  for (const auto given : {given_no_visible_boxes, given_no_threads, +[] {}}) {
    fresh_launch();
    given();
    given_variable("ZEPHON_RUN_RECORD", "C:\\record.json");
    begin_run_record(0, nullptr);
    (void)start_question("?", ok_cancel_buttons, answer_ok);
    stop_question();
    finish_run_record(0);
    const std::string record = file_content("C:\\record.json").value_or("");
    EXPECT_NE(std::string::npos,
              record.find(R"("text": "?", "started": "2009-02-13T23:31:30.000Z",)"
                          R"( "seconds": 0.0, "exit_code": )"));
  }
}

TEST(StartQuestion, TakesTheQuestionBeforeAway) {
  (void)start_question("1?", ok_cancel_buttons, answer_ok);
  platform::sleep_ms(100);
  (void)start_question("2?", ok_cancel_buttons, answer_ok);
  platform::sleep_ms(100);
  ASSERT_EQ(2U, message_boxes().size());
  EXPECT_EQ(box_end::closed, message_boxes()[0].end);
  EXPECT_EQ(box_end::shown, message_boxes()[1].end);
  stop_question();
}

TEST(StopQuestion, TakesTheBoxAway) {
  (void)start_question("?", ok_cancel_buttons, 9);
  platform::sleep_ms(100);
  stop_question();
  EXPECT_EQ(box_end::closed, message_boxes().at(0).end);
  EXPECT_EQ(0U, threads_alive());
  EXPECT_EQ(9, question_answer());
}

TEST(StopQuestion, TakesABoxAwayThatIsNotShownYet) {
  (void)start_question("?", ok_cancel_buttons, 9);
  stop_question();
  EXPECT_EQ(0U, threads_alive());
  EXPECT_EQ(9, question_answer());
}

TEST(StopQuestion, DoesNothingWithoutAQuestion) {
  stop_question();
  EXPECT_EQ(0U, threads_started());
}

TEST(StopQuestion, IsTheLastMomentForAnAnswer) {
  given_box_answer(pressed_cancel, 100);
  (void)start_question("?", ok_cancel_buttons, answer_ok);
  platform::sleep_ms(100);
  stop_question();
  EXPECT_EQ(answer_cancel, question_answer());
}

}  // namespace
