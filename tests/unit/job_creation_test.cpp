// Tests of the job that the launcher creates at start-up, and of the wait for its nodes.
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

constexpr const char *wait_text =
    "\nWaiting for the scheduler on head to allocate nodes for your job 7.\n"
    "If you want to cancel the job, you may press the \"Cancel\" button!\n"
    "If you want to close this message box, you may press the \"OK\" button!\n\n"
    "Otherwise, please wait ...";
constexpr const char *cancel_text =
    "\nDo you want to cancel your submitted job 7 to the scheduler on head?";

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

// ---- Whether a job is wanted --------------------------------------------------------------

TEST(JobCreation, IsLeftOutWithoutAnMpiRun) {
  given_request();
  state.mpi_selected = false;
  EXPECT_EQ(-1, create_scheduler_job());
  EXPECT_TRUE(commands().empty());
}

TEST(JobCreation, IsLeftOutWithoutAHeadNode) {
  given_request();
  given_no_variable("USE_CCP");
  EXPECT_EQ(-1, create_scheduler_job());
  EXPECT_TRUE(commands().empty());
}

TEST(JobCreation, IsLeftOutWithoutAJobVariable) {
  given_request();
  given_no_variable("CCP_JOB_ID");
  EXPECT_EQ(-1, create_scheduler_job());
  EXPECT_TRUE(commands().empty());
}

TEST(JobCreation, IsLeftOutForAJobThatIsThere) {
  given_request();
  for (const char *id : {"0", "17", "+1", "", "none", "2147483647"}) {
    given_variable("CCP_JOB_ID", id);
    EXPECT_EQ(-1, create_scheduler_job()) << id;
    EXPECT_EQ(id, variable("CCP_JOB_ID"));
  }
  EXPECT_TRUE(commands().empty());
  EXPECT_EQ("", both_streams());
}

TEST(JobCreation, IsAskedForByAnyNegativeNumber) {
  given_request();
  given_scheduler(0);
  for (const char *id : {"-1", "-17", " -1x", "-2147483648"}) {
    given_variable("CCP_JOB_ID", id);
    EXPECT_EQ(7, create_scheduler_job()) << id;
  }
}

// ---- From new to running ------------------------------------------------------------------

TEST(JobCreation, CreatesSubmitsAndAsksUntilTheJobRuns) {
  given_request();
  given_scheduler(2);
  EXPECT_EQ(7, create_scheduler_job());
  EXPECT_EQ((std::vector<std::string>{new_command, submit_command, view_command, view_command,
                                      view_command}),
            commands());
  for (const auto &started : started_commands()) {
    EXPECT_EQ("cmd.exe /c " + started.command, started.command_line);
    EXPECT_EQ(start_way::process, started.way);
  }
}

TEST(JobCreation, LeavesTheJobAndItsReleaseInTheEnvironment) {
  given_request();
  given_scheduler(0);
  (void)create_scheduler_job();
  EXPECT_EQ("7", variable("CCP_JOB_ID"));
  EXPECT_EQ("job modify 7 /rununtilcanceled:false /scheduler:head",
            variable("CANCEL_CCP_JOB_EXIT1"));
  using namespace std::string_literals;
  EXPECT_EQ(
      "CCP_JOB_ID=7\0CANCEL_CCP_JOB_EXIT1=job modify 7 /rununtilcanceled:false /scheduler:head\0\0"s,
      state.env_pool);
}

TEST(JobCreation, ShowsWhatNewPrintedAndThatTheJobRuns) {
  given_request();
  given_scheduler(0);
  (void)create_scheduler_job();
  EXPECT_EQ("Created job, ID: 7\n. done!\n", standard_output());
  EXPECT_EQ("", standard_error());
}

TEST(JobCreation, ChecksTheCredentialsFirst) {
  given_request();
  given_no_variable("ZEPHON_CRED_CHECK");
  given_scheduler(0);
  (void)create_scheduler_job();
  EXPECT_EQ((std::vector<std::string>{"cmd.exe /c job submit /scheduler:head "
                                      "/jobname:\"ORBEX ZEPHON Credential Check\"  cmd.exe /C ver",
                                      new_command, submit_command, view_command}),
            commands());
}

TEST(JobCreation, GoesOnWhenTheCredentialsAreRefused) {
  given_request();
  given_no_variable("ZEPHON_CRED_CHECK");
  given_scheduler(0);
  given_tool_with("Credential Check", exits_with(1));
  EXPECT_EQ(7, create_scheduler_job());
}

TEST(JobCreation, AsksWithTheOptionsOfTheUser) {
  given_request();
  given_variable("USE_CCP", "head.site");
  state.ccp_job_command = "\"C:\\HPC Pack\\job.exe\"";
  given_variable("NP_PER_NODE", "2");
  given_variable("NUMBER_OF_PROCESSORS", "8");
  given_variable("ZP_CCP_UNIT", "core");
  given_variable("ZP_CCP_JOB_TEMPLATE", "t");
  given_variable("ZP_CCP_NODE_GROUP", "g");
  given_variable("CCP_USER_FLAGS", "/u");
  given_tool_with(" new ", prints("Created job, ID: 12\r\n"));
  given_tool_with(" view ", prints("State : Running\r\n"));
  EXPECT_EQ(12, create_scheduler_job());
  EXPECT_EQ((std::vector<std::string>{
                "\"C:\\HPC Pack\\job.exe\" new /scheduler:head.site /jobname:\"ORBEX ZEPHON\" "
                "/numcores:16 /rununtilcanceled:true /jobtemplate:t  /nodegroup:g  /u ",
                "\"C:\\HPC Pack\\job.exe\" submit /scheduler:head.site /id:12",
                "\"C:\\HPC Pack\\job.exe\" view 12 /scheduler:head.site"}),
            commands());
  EXPECT_EQ("\"C:\\HPC Pack\\job.exe\" modify 12 /rununtilcanceled:false /scheduler:head.site",
            variable("CANCEL_CCP_JOB_EXIT1"));
  EXPECT_EQ(0U, standard_output().find("\n***\n*** User defined: CCP_USER_FLAGS=/u\n***\n"));
}

TEST(JobCreation, ShowsTheUsersFlagsOnceForEachCommandThatHasThem) {
  given_request();
  given_no_variable("ZEPHON_CRED_CHECK");
  given_variable("CCP_USER_FLAGS", "/u");
  (void)create_scheduler_job();
  const std::string block = "\n***\n*** User defined: CCP_USER_FLAGS=/u\n***\n";
  EXPECT_EQ(block + block, standard_output().substr(0, 2 * block.size()));
  EXPECT_EQ(std::string::npos, standard_output().find("***", 2 * block.size()));
}

TEST(JobCreation, IsTraced) {
  given_request();
  given_variable("ZEPHON_STARTUP_DEBUG", "1");
  given_scheduler(0);
  (void)create_scheduler_job();
  EXPECT_EQ(std::string("\nbuf = ") + new_command + " (..\\src\\mpirun:1706)" +  //
                "\ncmd = " + new_command + " (..\\src\\mpirun:4151)" +           //
                "Created job, ID: 7\n" +                                         //
                "\nbuf = " + submit_command + " (..\\src\\mpirun:1739)" +        //
                "\ncmd = " + submit_command + " (..\\src\\mpirun:4151)" +        //
                "\ncmd = " + view_command + " (..\\src\\mpirun:4151)" +          //
                ". done!\n",
            standard_output());
}

// ---- The identifier -----------------------------------------------------------------------

TEST(NewJob, IsFoundOnASecondLine) {
  given_request();
  given_scheduler(0);
  given_tool_for([](const std::string &command) { return command == new_command; },
                 prints("Connecting to head\r\nJob queued, ID: 7\r\n"));
  EXPECT_EQ(7, create_scheduler_job());
  EXPECT_EQ("Connecting to head\nJob queued, ID: 7\n. done!\n", standard_output());
}

TEST(NewJob, IsTheFirstThatIsNamed) {
  given_request();
  given_scheduler(0);
  given_tool_for([](const std::string &command) { return command == new_command; },
                 prints("Created job, ID:\r\nCreated job, ID: 7\r\nCreated job, ID: 8\r\n"
                        "Job queued, ID: 9\r\n"));
  EXPECT_EQ(7, create_scheduler_job());
  EXPECT_EQ("7", variable("CCP_JOB_ID"));
}

TEST(NewJob, IsNotNamedByASubmission) {
  given_request();
  given_tool(new_command, prints("Job has been submitted. ID: 7.\r\n"));
  EXPECT_EQ(-1, create_scheduler_job());
  EXPECT_EQ((std::vector<std::string>{new_command}), commands());
}

TEST(NewJob, MayHaveNumberZero) {
  given_request();
  given_tool(new_command, prints("Created job, ID: 0\r\n"));
  given_tool("job submit /scheduler:head /id:0");
  given_tool("job view 0 /scheduler:head", prints("State : Running\r\n"));
  EXPECT_EQ(0, create_scheduler_job());
  EXPECT_EQ("0", variable("CCP_JOB_ID"));
}

TEST(NewJob, WithoutAnIdentifierIsNoJob) {
  for (const char *output : {"", "Error: access denied\r\n", "Created job, ID:\r\n"}) {
    fresh_launch();
    given_request();
    given_tool(new_command, prints(output).exits_with(1));
    EXPECT_EQ(-1, create_scheduler_job());
    EXPECT_EQ((std::vector<std::string>{new_command}), commands());
    EXPECT_EQ("-1", variable("CCP_JOB_ID"));
    EXPECT_EQ(std::nullopt, variable("CANCEL_CCP_JOB_EXIT1"));
    EXPECT_TRUE(message_boxes().empty());
    EXPECT_EQ("", standard_error());
  }
}

TEST(NewJob, WithANegativeIdentifierIsNoJob) {
  given_request();
  given_tool(new_command, prints("Created job, ID: -7\r\n"));
  EXPECT_GT(0, create_scheduler_job());
  EXPECT_EQ((std::vector<std::string>{new_command}), commands());
}

TEST(NewJob, ThatIsNoToolAtAllIsNoJob) {
  given_request();
  EXPECT_EQ(-1, create_scheduler_job());
  EXPECT_EQ(
      "'job' is not recognized as an internal or external command,\n"
      "operable program or batch file.\n",
      standard_output());
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

TEST(NewJob, HasBytesShownThatAreNotText) {
  using namespace std::string_literals;
  given_request();
  given_scheduler(0);
  given_tool_for([](const std::string &command) { return command == new_command; },
                 prints("\0\x01\x1A\x80\xFF%\0\nCreated job, ID: 7"s));
  EXPECT_EQ(7, create_scheduler_job());
  EXPECT_EQ("\0\x01\x1A\x80\xFF%\0\r\nCreated job, ID: 7. done!\r\n"s, standard_output_bytes());
}

TEST(NewJob, IsFoundBehindManyLines) {
  std::string lines;
  for (int i = 0; i < 100'000; ++i) {
    lines += "line " + std::to_string(i) + "\n";
  }
  given_request();
  given_scheduler(0);
  given_tool_for([](const std::string &command) { return command == new_command; },
                 prints(lines + "Created job, ID: 7\n"));
  EXPECT_EQ(7, create_scheduler_job());
  EXPECT_EQ(lines + "Created job, ID: 7\n. done!\n", standard_output());
}

TEST(NewJob, IsFoundBehindAVeryLongLine) {
  const std::string line(1'000'000, 'x');
  given_request();
  given_scheduler(0);
  given_tool_for([](const std::string &command) { return command == new_command; },
                 prints(line + "\nCreated job, ID: 7\n"));
  EXPECT_EQ(7, create_scheduler_job());
  EXPECT_EQ(line + "\nCreated job, ID: 7\n. done!\n", standard_output());
}

TEST(NewJob, IsFoundAtTheBeginningOfAPieceOf1023Characters) {
  given_request();
  given_scheduler(0);
  given_tool_for([](const std::string &command) { return command == new_command; },
                 prints(std::string(1'023, 'x') + "Created job, ID: 7\n"));
  EXPECT_EQ(7, create_scheduler_job());
}

// ---- The submission -----------------------------------------------------------------------

TEST(NewJobSubmission, HasItsOutputDropped) {
  given_request();
  given_scheduler(0);
  given_tool_for([](const std::string &command) { return command == submit_command; },
                 prints("Created job, ID: 9\r\n").then_prints("late", 2'000).exits_with(1));
  EXPECT_EQ(7, create_scheduler_job());
  EXPECT_EQ("Created job, ID: 7\n. done!\n", standard_output());
  EXPECT_EQ(2'000U, started_commands().at(2).at);  // the first question, behind all output
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
  EXPECT_EQ("Zephon", box.caption);
  EXPECT_EQ(wait_text, box.text);
  EXPECT_EQ(0x40001U, box.style);
  EXPECT_EQ(0U, box.shown_at);
  EXPECT_EQ(1'500U, box.ended_at);
  EXPECT_EQ(box_end::closed, box.end);
  EXPECT_EQ(1U, threads_started());
  EXPECT_EQ(0U, threads_alive());
}

TEST(WaitForNodes, AsksTwiceASecond) {
  given_request();
  given_scheduler(3);
  (void)create_scheduler_job();
  std::vector<milliseconds> times;
  for (const auto &started : started_commands()) {
    if (started.command == view_command) {
      times.push_back(started.at);
    }
  }
  EXPECT_EQ((std::vector<milliseconds>{0, 500, 1'000, 1'500}), times);
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

TEST(WaitForNodes, PrintsADotWithEveryTenthQuestion) {
  given_request();
  given_scheduler(21);
  (void)create_scheduler_job();
  EXPECT_EQ("Created job, ID: 7\n.... done!\n", standard_output());
  // The dot stands before the question: said_before of the questions 2, 11, 12 and 22.
  const auto dots_before = [](std::size_t question) {
    return started_commands().at(1 + question).said_before.substr(19);
  };
  EXPECT_EQ("", dots_before(1));
  EXPECT_EQ(".", dots_before(2));
  EXPECT_EQ(".", dots_before(11));
  EXPECT_EQ("..", dots_before(12));
  EXPECT_EQ("..", dots_before(21));
  EXPECT_EQ("...", dots_before(22));
}

TEST(WaitForNodes, PrintsNoDotForAJobThatRunsAlready) {
  given_request();
  given_scheduler(0);
  (void)create_scheduler_job();
  EXPECT_EQ("Created job, ID: 7\n. done!\n", standard_output());
  EXPECT_EQ(0U, started_commands().back().at);
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

TEST(WaitForNodes, UnderstandsBothGenerations) {
  for (const char *answer :
       {"Status   : Running\r\n", "State    : Running\r\n", "STATE: NotRunning"}) {
    fresh_launch();
    given_request();
    given_scheduler(0);
    given_tool_with(view_command, prints(answer));
    EXPECT_EQ(7, create_scheduler_job());
    EXPECT_EQ(1U, starts_of(view_command)) << answer;
  }
}

TEST(WaitForNodes, GoesOnInEveryOtherState) {
  given_request();
  given_tool(new_command, prints("Created job, ID: 7\r\n"));
  const std::vector<std::string> others = {"",       "Configuring", "Submitted", "Validating",
                                           "Queued", "running",     "failed",    "Ended"};
  for (const std::string &other : others) {
    given_tool(view_command, prints("State : " + other + "\r\n"));
  }
  given_tool(view_command, prints("State : Running\r\n"));
  EXPECT_EQ(7, create_scheduler_job());
  EXPECT_EQ(others.size() + 1, starts_of(view_command));
}

TEST(WaitForNodes, EndsWhenTheJobWillNeverRun) {
  for (const std::string last : {"Finished", "Failed", "Cancelled", "Canceled"}) {
    fresh_launch();
    given_request();
    given_tool(new_command, prints("Created job, ID: 7\r\n"));
    given_tool(view_command, prints("State : Queued\r\n"));
    given_tool(view_command, prints("Name : Running\r\nState : " + last + "\r\n"));
    EXPECT_EQ(2, status_of_exit([] { (void)create_scheduler_job(); }));
    EXPECT_EQ("\n Error:  Job 7 is " + last + " and will not run!\n", standard_error());
    EXPECT_EQ(2U, starts_of(view_command));
  }
}

TEST(WaitForNodes, TakesALineThatAlsoSaysRunningForRunning) {
  given_request();
  given_tool(new_command, prints("Created job, ID: 7\r\n"));
  given_tool(view_command,
             prints("Status of requeued : Failed\r\nState : Failed, now Running\r\n"));
  EXPECT_EQ(7, create_scheduler_job());
  EXPECT_EQ("", standard_error());
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

TEST(WaitForNodes, GoesOnWhenTheToolIsNotFound) {
  given_request();
  given_tool(new_command, prints("Created job, ID: 7\r\n"));
  after(1'900, [] { given_tool(view_command, prints("State : Running\r\n")); });
  EXPECT_EQ(7, create_scheduler_job());
  EXPECT_EQ(2'000U, now());
  EXPECT_EQ("", standard_error());
}

TEST(WaitForNodes, WaitsForSlowAnswers) {
  given_request();
  given_scheduler(0);
  given_tool_for([](const std::string &command) { return command == view_command && now() == 0; },
                 prints("State : Queued\r\n", 60'000));
  EXPECT_EQ(7, create_scheduler_job());
  EXPECT_EQ(60'500U, now());
}

TEST(WaitForNodes, KnowsTheJobInTheEnvironmentAndTheHandlerOfCtrlC) {
  given_request();
  given_scheduler(0);
  std::optional<std::string> job_id;
  platform::interrupt_handler handler = nullptr;
  given_tool_with(view_command, prints("State : Running\r\n").does([&] {
    job_id = variable("CCP_JOB_ID");
    handler = current_interrupt_handler();
  }));
  (void)create_scheduler_job();
  EXPECT_EQ("7", job_id);
  EXPECT_EQ(&cancel_scheduler_job, handler);
}

TEST(WaitForNodes, RestoresTheHandlerOfCtrlC) {
  given_request();
  given_scheduler(1);
  (void)create_scheduler_job();
  EXPECT_EQ(nullptr, current_interrupt_handler());

  const platform::interrupt_handler earlier = [](int) {};
  (void)platform::set_interrupt_handler(earlier);
  given_variable("CCP_JOB_ID", "-1");
  (void)create_scheduler_job();
  EXPECT_EQ(earlier, current_interrupt_handler());
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

TEST(WaitBox, IsClosedByOkAndTheWaitGoesOn) {
  given_request();
  given_scheduler(5);
  given_box_answer(pressed_ok, 700);
  EXPECT_EQ(7, create_scheduler_job());
  ASSERT_EQ(1U, message_boxes().size());
  EXPECT_EQ(box_end::answered, message_boxes()[0].end);
  EXPECT_EQ(2'500U, now());
  EXPECT_EQ(0U, starts_of(cancel_command));
}

TEST(WaitBox, IsShownAgainOnCancelAndNo) {
  given_request();
  given_scheduler(6);
  given_box_answer(pressed_cancel, 700);
  given_box_answer(pressed_no, 10'000);
  given_box_without_answer();
  EXPECT_EQ(7, create_scheduler_job());
  ASSERT_EQ(3U, message_boxes().size());
  EXPECT_EQ(1'000U, message_boxes()[1].shown_at);
  EXPECT_EQ("Zephon", message_boxes()[1].caption);
  EXPECT_EQ(cancel_text, message_boxes()[1].text);
  EXPECT_EQ(0x40004U, message_boxes()[1].style);
  EXPECT_NE(message_boxes()[0].thread, message_boxes()[1].thread);
  EXPECT_EQ(11'000U, message_boxes()[2].shown_at);
  EXPECT_EQ(wait_text, message_boxes()[2].text);
  EXPECT_EQ(0x40001U, message_boxes()[2].style);
  EXPECT_EQ(box_end::closed, message_boxes()[2].end);
  EXPECT_EQ(0U, starts_of(cancel_command));
  EXPECT_EQ(0U, threads_terminated());
}

TEST(WaitBox, CancelsTheJobOnCancelAndYes) {
  given_request();
  given_job_that_never_runs();
  given_box_answer(pressed_cancel, 700);
  given_box_answer(pressed_yes, 100);
  EXPECT_EQ(1, status_of_exit([] { (void)create_scheduler_job(); }));
  ASSERT_EQ(cancel_command, started_commands().back().command);
  EXPECT_EQ(start_way::output_discarded, started_commands().back().way);
  EXPECT_EQ("Created job, ID: 7\n.\nCancelling job 7 ... ", started_commands().back().said_before);
  EXPECT_EQ("Created job, ID: 7\n.\nCancelling job 7 ... done!\nPress Ctrl-C to stop after done!\n",
            standard_output());
  EXPECT_EQ("", standard_error());
  EXPECT_EQ(std::nullopt, variable("CANCEL_CCP_JOB_EXIT1"));
}

TEST(WaitBox, CanBeCancelledTheSecondTime) {
  given_request();
  given_job_that_never_runs();
  given_box_answer(pressed_cancel, 200);
  given_box_answer(pressed_no, 200);
  given_box_answer(pressed_cancel, 200);
  given_box_answer(pressed_yes, 200);
  EXPECT_EQ(1, status_of_exit([] { (void)create_scheduler_job(); }));
  EXPECT_EQ(4U, message_boxes().size());
  EXPECT_EQ(1U, starts_of(cancel_command));
}

TEST(WaitBox, IsForgottenAfterCancelAndNo) {
  given_request();
  given_scheduler(6);
  given_box_answer(pressed_cancel, 200);
  given_box_answer(pressed_no, 200);
  given_box_answer(pressed_ok, 200);
  EXPECT_EQ(7, create_scheduler_job());
  EXPECT_EQ(3U, message_boxes().size());  // the first Cancel counts once
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

TEST(CancelJob, DropsTheOutputOfTheTool) {
  given_variable("USE_CCP", "head");
  given_variable("CCP_JOB_ID", "7");
  given_tool(cancel_command, prints(std::string(1'000'000, 'x')).exits_with(1));
  EXPECT_EQ(1, status_of_exit([] { cancel_scheduler_job(2); }));
  EXPECT_EQ("\nCancelling job 7 ... done!\nPress Ctrl-C to stop after done!\n", standard_output());
}

TEST(CancelJob, WaitsForTheTool) {
  given_variable("USE_CCP", "head");
  given_variable("CCP_JOB_ID", "7");
  given_tool(cancel_command, prints("", 30'000));
  EXPECT_EQ(1, status_of_exit([] { cancel_scheduler_job(2); }));
  EXPECT_EQ(30'000U, now());
}

TEST(CancelJob, CancelsJobZeroToo) {
  given_variable("USE_CCP", "head");
  for (const char *id : {"0", "none"}) {
    given_variable("CCP_JOB_ID", id);
    EXPECT_EQ(1, status_of_exit([] { cancel_scheduler_job(2); }));
    EXPECT_EQ("job cancel 0 /scheduler:head", commands().back());
  }
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

TEST(CancelJob, RunsTheToolOfTheUser) {
  state.ccp_job_command = "\"C:\\HPC Pack\\job.exe\"";
  given_variable("USE_CCP", "head");
  given_variable("CCP_JOB_ID", "7");
  EXPECT_EQ(1, status_of_exit([] { cancel_scheduler_job(2); }));
  EXPECT_EQ("\"C:\\HPC Pack\\job.exe\" cancel 7 /scheduler:head", commands().back());
}

}  // namespace
