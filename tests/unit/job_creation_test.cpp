// Tests of the job that the launcher creates at start-up, and of the wait for its nodes: what
// takes time, the box and its thread, and what Windows refuses. The rest are rows.
#include "scheduler/job_creation.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "core/launch_state.h"
#include "support/fresh_launch.h"

using namespace stand_in;

namespace {

constexpr const char *new_command =
    "job new /scheduler:head /jobname:\"ORBEX ZEPHON\" /numprocessors:4 /rununtilcanceled:true";
constexpr const char *submit_command = "job submit /scheduler:head /id:7";
constexpr const char *view_command = "job view 7 /scheduler:head";
constexpr const char *cancel_command = "job cancel 7 /scheduler:head";

// What the start script says when it wants a new job.
void given_request() {
  state.mpi_selected = true;
  state.num_procs = 4;
  given_variable("USE_CCP", "head");
  given_variable("CCP_JOB_ID", "-1");
  given_variable("ZEPHON_CRED_CHECK", "no");
}

// A scheduler whose job 7 is queued for so many polls before it runs.
void given_scheduler(std::size_t queued_polls) {
  given_tool(new_command, prints("Created job, ID: 7\r\n"));
  given_tool(submit_command, prints("Job has been submitted. ID: 7.\r\n"));
  for (std::size_t poll = 0; poll < queued_polls; ++poll) {
    given_tool(view_command, prints("State : Queued\r\n"));
  }
  given_tool(view_command, prints("State : Running\r\n"));
  given_tool(cancel_command, prints("Job canceled.\r\n"));
}

void given_job_that_never_runs() {
  given_scheduler(0);
  given_tool_with(view_command, prints("State : Queued\r\n"));
}

std::size_t starts_of(const std::string &command) {
  const auto all = commands();
  return static_cast<std::size_t>(std::count(all.begin(), all.end(), command));
}

TEST(NewJob, IsNoneWhenNoneIsWanted) {
  EXPECT_EQ(-1, create_scheduler_job());
}

TEST(NewJob, ThatCannotBeStartedIsReported) {
  given_request();
  given_no_command_interpreter();
  EXPECT_EQ(-1, create_scheduler_job());
  EXPECT_EQ(std::string("\nerror : cmd = ") + new_command + "\n\nError in execute command " +
                new_command + "\n",
            standard_error());
  EXPECT_EQ("-1", variable("CCP_JOB_ID"));
}

TEST(NewJob, HasItsLinesShownAsTheyCome) {
  given_request();
  given_tool(new_command, prints("100%% %s %n\r\n").then_prints("\r\n", 1'000).then_prints("end"));
  std::string early;
  after(500, [&] { early = standard_output(); });
  (void)create_scheduler_job();
  EXPECT_EQ("100%% %s %n\n", early);
  EXPECT_EQ("100%% %s %n\n\nend", standard_output());
}

TEST(NewJobSubmission, ThatCannotBeStartedEndsTheMatter) {
  given_request();
  given_tool(new_command,
             prints("Created job, ID: 7\r\n").does([] { given_no_command_interpreter(); }));
  EXPECT_EQ(7, create_scheduler_job());
  EXPECT_EQ(
      "\nerror : cmd = job submit /scheduler:head /id:7\n"
      "\nError in execute command job submit /scheduler:head /id:7\n",
      standard_error());
  EXPECT_EQ("Created job, ID: 7\n", standard_output());
  EXPECT_EQ("-1", variable("CCP_JOB_ID"));
  EXPECT_EQ(std::nullopt, variable("CANCEL_CCP_JOB_EXIT1"));
  EXPECT_TRUE(message_boxes().empty());
  EXPECT_EQ(0U, now());
}

// ---- The wait -----------------------------------------------------------------------------

TEST(WaitForNodes, ShowsABoxThatLeavesTheWaitAlone) {
  given_request();
  given_scheduler(3);
  (void)create_scheduler_job();
  ASSERT_EQ(1U, message_boxes().size());
  const message_box &box = message_boxes()[0];
  EXPECT_EQ(0x40001U, box.style);
  EXPECT_EQ(0U, box.shown_at);
  EXPECT_EQ(1'500U, box.ended_at);
  EXPECT_EQ(box_end::closed, box.end);
  EXPECT_EQ(1U, threads_started());
  EXPECT_EQ(0U, threads_alive());
}

TEST(WaitForNodes, AsksLessAndLessOftenAndMindsTheBoxAsBefore) {
  given_request();
  given_variable("ZEPHON_JOB_POLL_LIMIT", "8");
  given_scheduler(6);
  given_box_answer(pressed_cancel, 20'000);
  given_box_answer(pressed_no, 0);
  (void)create_scheduler_job();
  // 0.5 + 1 + 2 + 4 + 8 + 8 seconds
  EXPECT_EQ(23'500U, now());
  ASSERT_LE(2U, message_boxes().size());
  EXPECT_GT(21'000U, message_boxes().at(1).shown_at);
}

TEST(WaitForNodes, AsksTwiceASecondAndPrintsADotBeforeEveryTenthQuestion) {
  given_request();
  given_scheduler(21);
  given_tool_for([](const std::string &command) { return command == submit_command; },
                 prints("Created job, ID: 9\r\n").then_prints("late", 2'000));  // read to its end
  (void)create_scheduler_job();
  EXPECT_EQ("Created job, ID: 7\n.... done!\n", standard_output());
  for (std::size_t question = 1; question <= 22; ++question) {
    const auto &asked = started_commands().at(1 + question);
    EXPECT_EQ(2'000 + 500 * (question - 1), asked.at);
    const std::size_t dots = question == 1 ? 0 : (question - 2) / 10 + 1;
    EXPECT_EQ("Created job, ID: 7\n" + std::string(dots, '.'), asked.said_before);
  }
}

TEST(WaitForNodes, HasNoTimeLimit) {
  given_request();
  given_scheduler(0);
  given_tool_for(
      [](const std::string &command) { return command == view_command && now() < 600'000; },
      prints("State : Queued\r\n"));
  EXPECT_EQ(7, create_scheduler_job());
  EXPECT_LE(600'000U, now());
}

TEST(WaitForNodes, GoesOnWhenTheToolHasVanished) {
  given_request();
  given_job_that_never_runs();
  after(600, [] { given_no_command_interpreter(); });
  after(2'100, [] {
    given_no_command_interpreter(0);
    given_tool_with(view_command, prints("State : Running\r\n"));
  });
  EXPECT_EQ(7, create_scheduler_job());
  const std::string message =
      "\nerror : cmd = job view 7 /scheduler:head\n"
      "\nError in execute command job view 7 /scheduler:head\n";
  EXPECT_EQ(message + message + message, standard_error());  // at 1000, 1500 and 2000
  EXPECT_EQ(2'500U, now());
}

TEST(WaitForNodes, HasItsOwnHandlerOfCtrlC) {
  for (const platform::interrupt_handler earlier : {platform::interrupt_handler(), +[](int) {}}) {
    fresh_launch();
    (void)platform::set_interrupt_handler(earlier);
    given_request();
    given_scheduler(0);
    platform::interrupt_handler handler = nullptr;
    given_tool_with(view_command, prints("State : Running\r\n").does([&] {
      handler = current_interrupt_handler();
    }));
    (void)create_scheduler_job();
    EXPECT_EQ(&cancel_scheduler_job, handler);
    EXPECT_EQ(earlier, current_interrupt_handler());
  }
}

TEST(WaitForNodes, NeedsNoBox) {
  given_request();
  given_scheduler(3);
  given_no_threads();
  EXPECT_EQ(7, create_scheduler_job());
  EXPECT_TRUE(message_boxes().empty());
}

TEST(WaitForNodes, TakesABoxThatCannotBeShownForNoAnswer) {
  given_request();
  given_scheduler(3);
  given_box_that_cannot_be_shown();
  EXPECT_EQ(7, create_scheduler_job());
  EXPECT_EQ(1U, message_boxes().size());
}

// ---- OK, Cancel, No, Yes ------------------------------------------------------------------

TEST(WaitBox, IsShownAgainOnCancelAndNo) {
  given_request();
  given_scheduler(6);
  given_box_answer(pressed_cancel, 700);
  given_box_answer(pressed_no, 10'000);
  given_box_without_answer();
  EXPECT_EQ(7, create_scheduler_job());
  ASSERT_EQ(3U, message_boxes().size());
  EXPECT_EQ(1'000U, message_boxes()[1].shown_at);
  EXPECT_EQ(0x40004U, message_boxes()[1].style);
  EXPECT_NE(message_boxes()[0].thread, message_boxes()[1].thread);
  EXPECT_EQ(11'000U, message_boxes()[2].shown_at);
  EXPECT_EQ(0x40001U, message_boxes()[2].style);
  EXPECT_EQ(box_end::closed, message_boxes()[2].end);
  EXPECT_EQ(0U, starts_of(cancel_command));
  EXPECT_EQ(0U, threads_terminated());
}

TEST(WaitBox, IsShownAgainWhenTheQuestionCannotBeAsked) {
  given_request();
  given_scheduler(6);
  given_box_answer(pressed_cancel, 200);
  given_box_that_cannot_be_shown();
  given_box_without_answer();
  EXPECT_EQ(7, create_scheduler_job());
  EXPECT_EQ(3U, message_boxes().size());
  EXPECT_EQ(0U, starts_of(cancel_command));
}

TEST(WaitBox, CountsAtTheMomentOfAPoll) {
  for (const bool main_first : {false, true}) {
    fresh_launch();
    given_request();
    given_job_that_never_runs();
    if (main_first) {
      given_main_thread_first();
    }
    given_box_answer(pressed_cancel, 500);
    given_box_answer(pressed_yes);
    EXPECT_EQ(1, status_of_exit([] { (void)create_scheduler_job(); }));
  }
}

TEST(WaitBox, IsNoAnswerWhenTheLauncherClosesIt) {
  given_request();
  given_scheduler(2);
  given_box_closing(pressed_cancel);
  EXPECT_EQ(7, create_scheduler_job());
  EXPECT_EQ(pressed_cancel, message_boxes().at(0).button);
  EXPECT_EQ(0U, starts_of(cancel_command));
}

// ---- Cancelling ---------------------------------------------------------------------------

TEST(CtrlC, CancelsTheWaitingJob) {
  given_request();
  given_job_that_never_runs();
  given_ctrl_c_after(1'200);
  EXPECT_EQ(1, status_of_exit([] { (void)create_scheduler_job(); }));
  EXPECT_EQ(cancel_command, started_commands().back().command);
  EXPECT_EQ(start_way::output_discarded, started_commands().back().way);
  EXPECT_EQ("Created job, ID: 7\n.\nCancelling job 7 ... ", started_commands().back().said_before);
  EXPECT_EQ(1U, starts_of(cancel_command));
  EXPECT_EQ("Created job, ID: 7\n.\nCancelling job 7 ... done!\nPress Ctrl-C to stop after done!\n",
            standard_output());
}

TEST(CtrlC, EndsTheLauncherBeforeThereIsAJob) {
  given_request();
  given_tool(new_command, prints("Created job, ID: 7\r\n", 1'000));
  given_ctrl_c_after(500);
  EXPECT_EQ(static_cast<int>(0xC000013AU), status_of_exit([] { (void)create_scheduler_job(); }));
  EXPECT_EQ(0U, starts_of(cancel_command));
}

TEST(CancelJob, CancelsJobZeroTooWithTheToolOfTheUser) {
  state.ccp_job_command = "\"C:\\HPC Pack\\job.exe\"";
  given_variable("USE_CCP", "head");
  given_tool_with("cancel", prints(std::string(1'000'000, 'x'), 30'000).exits_with(1));
  for (const char *id : {"0", "none"}) {
    given_variable("CCP_JOB_ID", id);
    EXPECT_EQ(1, status_of_exit([] { cancel_scheduler_job(2); }));
    EXPECT_EQ("\"C:\\HPC Pack\\job.exe\" cancel 0 /scheduler:head", commands().back());
  }
  EXPECT_EQ(60'000U, now());  // it waits for the tool
  const std::string said = "\nCancelling job 0 ... done!\nPress Ctrl-C to stop after done!\n";
  EXPECT_EQ(said + said, standard_output());
}

TEST(CancelJob, EndsWithOneWithoutAJob) {
  given_variable("USE_CCP", "head");
  EXPECT_EQ(1, status_of_exit([] { cancel_scheduler_job(2); }));
  given_variable("CCP_JOB_ID", "-1");
  EXPECT_EQ(1, status_of_exit([] { cancel_scheduler_job(2); }));
  EXPECT_TRUE(commands().empty());
  EXPECT_EQ("", both_streams());
}

TEST(CancelJob, EndsWithOneWhenTheToolCannotBeStarted) {
  given_variable("USE_CCP", "head");
  given_variable("CCP_JOB_ID", "7");
  given_no_command_interpreter();
  EXPECT_EQ(1, status_of_exit([] { cancel_scheduler_job(2); }));
  EXPECT_EQ("\nCancelling job 7 ... done!\nPress Ctrl-C to stop after done!\n", standard_output());
}

}  // namespace
