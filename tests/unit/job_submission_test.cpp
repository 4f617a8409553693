// Tests of the ways in which the MPIs get their work to the scheduler.
#include "scheduler/job_submission.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "core/launch_state.h"
#include "support/fresh_launch.h"

using namespace stand_in;

namespace {

using texts = std::vector<std::string>;

constexpr const char *view_command = "job view 42 /scheduler:head";
constexpr const char *exit_command = "job modify 42 /rununtilcanceled:false /scheduler:head";

bool submit(const std::string &text) {
  command_line command{text, {{text, ""}}};
  return submit_scheduler_job(command);
}

std::string rewritten(const std::string &text) {
  command_line command{text, {{text, ""}}};
  (void)submit_scheduler_job(command);
  return command.text;
}

texts first_commands(std::size_t count) {
  texts all = commands();
  all.resize(std::min(count, all.size()));
  return all;
}

// ---- Leading blanks and the log -----------------------------------------------------------

struct rewritten_command {
  std::string given, kept;
};

TEST(Submission, RemovesTheBlanksInFrontOfACommandOfAtMost1024CharactersAndLogsWhatItKeeps) {
  const std::string longest(1'023, 'x');
  given_variable("ZEPHON_RUN_DEBUG", "C:\\run.txt");
  std::string log = "before";
  given_file("C:\\run.txt", log);
  for (const auto &[given, kept] :
       std::vector<rewritten_command>{{"   mpiexec.exe 100%s ", "mpiexec.exe 100%s "},
                                      {"mpiexec.exe", "mpiexec.exe"},
                                      {" \tmpiexec.exe", "\tmpiexec.exe"},
                                      {"   ", ""},
                                      {"", ""},
                                      {" " + longest, longest},
                                      {" " + longest + "x", " " + longest + "x"}}) {
    EXPECT_EQ(kept, rewritten(given));
    log += "\r\n" + kept + "\r\n";
    EXPECT_EQ(log, file_content("C:\\run.txt"));
  }
}

TEST(RunDebugLog, IsLeftOutWhenItCannotBeOpenedOrTheDiskIsFull) {
  given_variable("ZEPHON_RUN_DEBUG", "C:\\run.txt");
  given_full_disk_after(3);
  EXPECT_FALSE(submit("x"));
  given_unwritable_path("C:\\run.txt");
  EXPECT_FALSE(submit("x"));
  EXPECT_EQ("", both_streams());
}

TEST(RunDebugLog, IsWrittenBeforeTheCommandRuns) {
  given_variable("ZEPHON_RUN_DEBUG", "C:\\run.txt");
  given_variable("USE_CCP", "-1");
  state.mpi_name = "msmpi";
  std::optional<std::string> logged;
  given_tool("mpiexec x", prints("").does([&] { logged = file_content("C:\\run.txt"); }));
  EXPECT_TRUE(submit("mpiexec x"));
  EXPECT_EQ("\r\nmpiexec x\r\n", logged);
}

// ---- Runs that the launcher starts itself -------------------------------------------------

struct run_of_the_launcher {
  std::optional<std::string> head, hosts;
  int job;
  texts mpis, commands;
};

TEST(Submission, LeavesToTheLauncherWhatIsNotForTheScheduler) {
  const texts every_mpi = {"msmpi", "ibmmpi", "intel", ""};
  for (const auto &run : std::vector<run_of_the_launcher>{
           {{}, {}, 42, every_mpi, {"mpiexec job add x"}},
           {"head", "", 42, every_mpi, {"mpiexec job add x"}},
           {"head",
            {},
            0,
            {"intel", "mpich2", "mpich", "net", "", "MSMPI", "pcmpi"},
            {"job add 42 mpiexec x"}},
           {"head", {}, 0, {"msmpi"}, {"mpirun x"}},
           {"head",
            {},
            0,
            {"ibmmpi"},
            {"mpirun x", "job submit x", "job  add x", "Job add x", "jobadd", "job ad x"}}}) {
    fresh_launch();
    for (const auto &[name, value] :
         {std::pair("USE_CCP", run.head), std::pair("ZEPHON_HOSTS_FILE", run.hosts)}) {
      if (value) {
        given_variable(name, *value);
      }
    }
    given_variable("CANCEL_CCP_JOB_EXIT1", exit_command);
    state.scheduler_job_id = run.job;
    for (const std::string &mpi : run.mpis) {
      state.mpi_name = mpi;
      for (const std::string &command : run.commands) {
        EXPECT_FALSE(submit(command)) << mpi << ": " << command;
      }
    }
    EXPECT_TRUE(commands().empty());
    EXPECT_EQ(exit_command, variable("CANCEL_CCP_JOB_EXIT1"));
  }
}

// ---- Platform MPI -------------------------------------------------------------------------

class PlatformMpiSubmission : public testing::Test {
 protected:
  PlatformMpiSubmission() {
    given_variable("USE_CCP", "head");
    state.mpi_name = "ibmmpi";
    state.scheduler_job_id = 42;
    given_tool(add, prints("Task added.\r\n"));
    given_tool(submit_job, prints("Job has been submitted. ID: 42.\r\n"));
    given_tool(view_command, prints("State : Finished\r\n"));
    given_tool(exit_command);
  }

  static constexpr const char *add = "job add 42 /scheduler:head mpirun x";
  static constexpr const char *submit_job = "job submit /scheduler:head /id:42 ";
};

TEST_F(PlatformMpiSubmission, FindsTheTaskAnywhereInTheCommand) {
  given_tool("start job add", prints("found\r\n"));
  EXPECT_TRUE(submit("start job add"));
  EXPECT_EQ("start job add", commands().front());
}

TEST_F(PlatformMpiSubmission, KnowsTheToolOfTheUser) {
  state.ccp_job_command = "\"C:\\HPC Pack\\job.exe\"";
  state.scheduler_job_id = 0;
  EXPECT_FALSE(submit("C:\\job.exe add 42"));
  EXPECT_TRUE(submit("start \"C:\\HPC Pack\\job.exe\" add 42 x"));
  EXPECT_EQ((texts{"start \"C:\\HPC Pack\\job.exe\" add 42 x",
                   "\"C:\\HPC Pack\\job.exe\" submit /scheduler:head /id:0 "}),
            commands());
}

TEST_F(PlatformMpiSubmission, ShowsEachLineAsItComes) {
  using namespace std::string_literals;
  given_tool("job add 42 y", prints("100%% %s\r\n\0\xFF\r\n"s).then_prints("end", 1'000));
  std::string early;
  after(500, [&] { early = standard_output(); });
  EXPECT_TRUE(submit("job add 42 y"));
  EXPECT_EQ("100%% %s\n\0\xFF\n"s, early);
  EXPECT_TRUE(standard_output().starts_with("100%% %s\n\0\xFF\nendJob has been submitted."s));
}

TEST_F(PlatformMpiSubmission, GoesOnWhenTheTaskCannotBeAdded) {
  given_no_command_interpreter();
  state.scheduler_job_id = 0;
  given_variable("CANCEL_CCP_JOB_EXIT1", exit_command);
  EXPECT_TRUE(submit(add));
  std::string messages;
  for (const char *command : {add, "job submit /scheduler:head /id:0 ", exit_command}) {
    messages += std::string("\nerror : cmd = ") + command + "\n\nError in execute command " +
                command + "\n";
  }
  EXPECT_EQ(messages, standard_error());
}

// ---- MS-MPI inside a job ------------------------------------------------------------------

class MsmpiInsideAJob : public testing::Test {
 protected:
  MsmpiInsideAJob() {
    given_variable("USE_CCP", "-1");
    state.mpi_name = "msmpi";
  }
};

TEST_F(MsmpiInsideAJob, RunsTheCommandInTheConsole) {
  given_tool("mpiexec -hosts 1 a 1  x", prints("converged\n", 5'000).exits_with(3));
  EXPECT_TRUE(submit("  mpiexec -hosts 1 a 1  x"));
  ASSERT_EQ(1U, started_commands().size());
  EXPECT_EQ("cmd.exe /c mpiexec -hosts 1 a 1  x", started_commands()[0].command_line);
  EXPECT_EQ(start_way::in_console, started_commands()[0].way);
  EXPECT_EQ("converged\n", standard_output());
  EXPECT_EQ(5'000U, now());
}

// The scheduler writes the task's output file from what the launcher's own output gets.
TEST_F(MsmpiInsideAJob, GivesTheCommandTheLaunchersOwnOutput) {
  given_tool("mpiexec x");
  EXPECT_TRUE(submit("mpiexec x"));
  const started_command &started = started_commands().at(0);
  EXPECT_TRUE(started.gives_standard_handles && started.null_input);
  EXPECT_EQ(output_place::standard_output, started.output);
  EXPECT_EQ(output_place::standard_error, started.error_output);
  given_no_standard_handles();
  EXPECT_TRUE(submit("mpiexec x"));
  EXPECT_FALSE(started_commands().at(1).gives_standard_handles);
}

TEST_F(MsmpiInsideAJob, WatchesAJobAfterTheCommand) {
  state.scheduler_job_id = 42;
  given_tool("mpiexec x");
  given_tool("job view 42 /scheduler:-1", prints("State : Cancelled\r\n"));
  EXPECT_TRUE(submit("mpiexec x"));
  EXPECT_EQ((texts{"mpiexec x", "job view 42 /scheduler:-1", "job view 42 /scheduler:-1",
                   "job view 42 /scheduler:-1"}),
            commands());
}

TEST_F(MsmpiInsideAJob, IsMeantByExactlyMinusOne) {
  given_tool("mpiexec x", prints("submitted\n"));
  for (const char *head : {"-1 ", "-01", "1"}) {
    given_variable("USE_CCP", head);
    EXPECT_TRUE(submit("mpiexec x"));
    EXPECT_EQ(start_way::process, started_commands().back().way);
  }
}

// ---- MS-MPI outside a job -----------------------------------------------------------------

constexpr const char *submit_command = "job submit /scheduler:head mpiexec.exe case.jou";
constexpr const char *fallback_command =
    "job submit /scheduler:head mpiexec.exe case.jou -ccp_job "
    "%CCP_TASKCONTEXT%@%CCP_CLUSTER_NAME% ";
constexpr const char *waiting_line = "Waiting for CCP scheduler@head to start msmpi nodes ...\n";

class MsmpiSubmission : public testing::Test {
 protected:
  MsmpiSubmission() {
    given_variable("USE_CCP", "head");
    given_variable("CANCEL_CCP_JOB_EXIT1", exit_command);
    state.mpi_name = "msmpi";
    given_tool(exit_command);
    given_tool(fallback_command, prints("Job has been submitted. ID: 43.\r\n"));
    given_tool(view_command, prints("State : Finished\r\n"));
  }

  // A launch of its own, with no job to be released.
  static void given_launch() {
    fresh_launch();
    given_variable("USE_CCP", "head");
    state.mpi_name = "msmpi";
  }

  // The moment at which the command ran in the console; `never` when it did not.
  static milliseconds fallback_time() {
    for (const auto &started : started_commands()) {
      if (started.command == fallback_command) {
        EXPECT_EQ(start_way::in_console, started.way);
        return started.at;
      }
    }
    return never;
  }
};

TEST_F(MsmpiSubmission, KeepsTheSubmitCommandAndItsToolTogetherAndSaysThatItWaitsBeforeTheRelease) {
  given_tool(submit_command, prints("Job has been submitted. ID: 42.\r\n"));
  EXPECT_TRUE(submit(submit_command));
  EXPECT_EQ(42, state.scheduler_job_id);
  EXPECT_EQ("Job has been submitted. ID: 42.\n" + std::string(waiting_line),
            started_commands().at(1).said_before);
  for (const auto &started : started_commands()) {
    EXPECT_EQ(started.command == submit_command, started.grouped) << started.command;
  }
}

TEST_F(MsmpiSubmission, StopsReadingAtTheAnswer) {
  for (const char *answer : {"xx submitted xx", "Cannot connect to head", "Cannot connect"}) {
    given_launch();
    given_tool(submit_command, prints("one\r\n")
                                   .then_prints(std::string(answer) + "\r\n", 750)
                                   .then_prints("late\r\n", 100)
                                   .stays());
    EXPECT_TRUE(submit(submit_command));
    EXPECT_EQ("one\n" + std::string(answer) + "\n", standard_output());
    EXPECT_EQ(750U, now());  // it is woken, and does not look now and then
    EXPECT_EQ(texts{submit_command}, commands());
    EXPECT_TRUE(process_runs(started_commands().at(0).id));
  }
}

TEST_F(MsmpiSubmission, KnowsTheAnswerByItsExactWords) {
  given_variable("CCP_JOB_SUBMIT_WAIT_TIME", "1");
  for (const char *line :
       {"Submitted", "SUBMITTED", "submit ted", "cannot connect", "Cannot  connect"}) {
    given_tool_for([](const std::string &command) { return command == submit_command; },
                   prints(std::string(line) + "\r\n").stays());
    const std::size_t before = commands().size();
    (void)submit(submit_command);
    EXPECT_EQ(fallback_command, commands().at(before + 1)) << line;
  }
}

TEST_F(MsmpiSubmission, ReadsAnAnswerThatComesInPieces) {
  given_short_reads(1);
  given_tool(submit_command, prints("Job has been sub")
                                 .then_prints("mitted. ID: 4", 200)
                                 .then_prints("2\r\n", 200)
                                 .stays());
  EXPECT_TRUE(submit(submit_command));
  EXPECT_EQ(42, state.scheduler_job_id);
}

TEST_F(MsmpiSubmission, ShowsALineWhenItComes) {
  given_tool(submit_command, prints("first\r\n").then_prints("submitted\r\n", 1'000));
  std::string early;
  after(500, [&] { early = standard_output(); });
  (void)submit(submit_command);
  EXPECT_EQ("first\n", early);
}

// ---- The time limit -----------------------------------------------------------------------

TEST_F(MsmpiSubmission, EndsTheSubmitCommandAtTheTimeLimitBeforeItRunsInTheConsole) {
  given_tool(submit_command, prints("").stays());
  bool still_runs = true;
  given_tool_with("-ccp_job", prints("Job has been submitted. ID: 43.\r\n").does([&] {
    still_runs = process_runs(started_commands().at(0).id);
  }));
  EXPECT_TRUE(submit(submit_command));
  EXPECT_EQ((texts{submit_command, fallback_command, exit_command}), commands());
  EXPECT_FALSE(still_runs);
  EXPECT_EQ(0U, terminated_with(started_commands().at(0).id));
  EXPECT_EQ("", started_commands().at(1).said_before);
  EXPECT_EQ("Job has been submitted. ID: 43.\n" + std::string(waiting_line),
            started_commands().at(2).said_before);
  EXPECT_EQ(0, state.scheduler_job_id);  // what the console shows is not read
  EXPECT_EQ(0U, threads_alive());
  EXPECT_EQ(0U, threads_terminated());
  EXPECT_EQ(0U, open_handles());
}

TEST_F(MsmpiSubmission, EndsTheSubmitCommandWithoutAGroup) {
  given_no_groups();
  given_tool(submit_command, prints("").stays());
  (void)submit(submit_command);
  EXPECT_EQ(0U, terminated_with(started_commands().at(0).id));
  EXPECT_EQ((texts{submit_command, fallback_command, exit_command}), commands());
}

struct told_wait {
  const char *text;
  milliseconds wait;
};

TEST_F(MsmpiSubmission, WaitsAsLongAsItIsTold) {
  constexpr milliseconds a_minute = 60'000;
  for (const auto &[text, wait] :
       std::vector<told_wait>{{"0.5", 500},       {"2", 2'000},       {"1.0", 1'000},
                              {"+3", 3'000},      {"  1.5 s", 1'500}, {"1e1", 10'000},
                              {".25", 250},       {"0.0019", 1},  // the rest is cut off
                              {"0.7", 699},                       // single precision
                              {"0.001", 1},       {"0", 0},           {"0.0001", 0},
                              {"0x10", 0},        {"soon", a_minute}, {"", a_minute},
                              {" ", a_minute},    {"-", a_minute},    {".", a_minute},
                              {"nan", a_minute},  {"NaN", a_minute},  {"inf", a_minute},
                              {"-inf", a_minute}, {"1e99", a_minute}, {"4294967.2", never},
                              {"1e30", never},    {"3e38", never},    {"-5", never},
                              {"-1e30", never}}) {
    given_launch();
    given_variable("CCP_JOB_SUBMIT_WAIT_TIME", text);
    given_tool(submit_command,
               wait == never ? prints("submitted\r\n", 600'000) : prints("").stays());
    given_tool(fallback_command);
    EXPECT_TRUE(submit(submit_command));
    EXPECT_EQ(wait, fallback_time()) << text;
    EXPECT_TRUE(
        standard_output().starts_with("\nCCP_JOB_SUBMIT_WAIT_TIME = " + std::string(text) + "\n"));
  }
}

struct timed_answer {
  milliseconds at;
  bool main_first, counts;
};

TEST_F(MsmpiSubmission, TakesAnAnswerInTheMomentOfTheTimeLimitAndNoneAfterIt) {
  for (const auto &[at, main_first, counts] : {timed_answer{499, false, true},
                                               {500, false, true},
                                               {500, true, true},
                                               {501, false, false}}) {
    given_launch();
    if (main_first) {
      given_main_thread_first();
    }
    given_variable("CCP_JOB_SUBMIT_WAIT_TIME", "0.5");
    given_tool(submit_command, prints("Job has been submitted. ID: 42.\r\n", at).stays());
    given_tool(view_command, prints("State : Failed\r\n"));
    EXPECT_TRUE(submit(submit_command));
    EXPECT_EQ(counts ? never : 500U, fallback_time()) << at;
    EXPECT_EQ(counts ? 42 : 0, state.scheduler_job_id) << at;
    EXPECT_EQ(counts,
              standard_output().ends_with("Job has been submitted. ID: 42.\nJob 42 is Failed.\n"));
  }
}

TEST_F(MsmpiSubmission, ShowsEveryLineThatCameInTheMomentOfTheTimeLimit) {
  given_main_thread_first();
  given_variable("CCP_JOB_SUBMIT_WAIT_TIME", "0.5");
  given_tool(submit_command, prints("one\r\ntwo\r\nthree\r\n", 500).stays());
  (void)submit(submit_command);
  EXPECT_EQ(500U, fallback_time());
  EXPECT_TRUE(standard_output().starts_with("\nCCP_JOB_SUBMIT_WAIT_TIME = 0.5\none\ntwo\nthree\n"));
}

TEST_F(MsmpiSubmission, KeepsItsTimeLimitWhenOtherLaunchersWakeIt) {
  const auto submit_while_woken = [](milliseconds answer_time) {
    given_launch();
    given_variable("CCP_JOB_SUBMIT_WAIT_TIME", "0.5");
    for (milliseconds time = 1; time <= 400; ++time) {
      after(time, [] { set_events_named("for_print_thread"); });
    }
    given_tool(submit_command, prints("submitted\r\n", answer_time).stays());
    (void)submit(submit_command);
    return fallback_time();
  };
  EXPECT_EQ(never, submit_while_woken(499));
  EXPECT_EQ(500U, submit_while_woken(501));
}

TEST_F(MsmpiSubmission, TimesOutWhileItsOwnOutputHangs) {
  std::string lines;
  for (int line = 0; line < 200; ++line) {
    lines += "The head node is busy.\r\n";
  }
  for (const std::string &said : {std::string(200, 'x') + "\r\n", lines}) {
    given_launch();
    given_variable("CCP_JOB_SUBMIT_WAIT_TIME", "5");
    given_standard_output_that_hangs_after(60);
    given_tool(submit_command, prints(said).stays());
    given_tool_with("-ccp_job");
    EXPECT_TRUE(submit(submit_command));
    EXPECT_EQ((texts{submit_command, fallback_command}), commands());
    EXPECT_EQ(0U, threads_terminated());
  }
}

// ---- What can fail ------------------------------------------------------------------------

TEST_F(MsmpiSubmission, SaysThatTheCommandCannotBeStarted) {
  state.scheduler_job_id = 42;
  given_variable("CCP_JOB_SUBMIT_WAIT_TIME", "5");
  given_tool_for([](const std::string &command) { return command == submit_command; });
  given_no_command_interpreter();
  after(1'000, [] { given_no_command_interpreter(0); });
  EXPECT_TRUE(submit(submit_command));
  const std::string message = "\nerror : cmd = ";
  EXPECT_EQ(0U, standard_error().find(message + submit_command +
                                      "\n\nError in run the job submit command!\n" + message +
                                      exit_command + "\n\nError in execute command " +
                                      exit_command + "\n"));
  EXPECT_TRUE(standard_output().ends_with("Job 42 is Finished.\n"));
  EXPECT_EQ(std::string::npos, standard_output().find("CCP_JOB_SUBMIT_WAIT_TIME"));
  EXPECT_EQ(std::string::npos, standard_error().find("Waiting for CCP scheduler"));
  EXPECT_EQ(std::nullopt, variable("CANCEL_CCP_JOB_EXIT1"));
  EXPECT_TRUE(events_created().empty());
}

TEST_F(MsmpiSubmission, SaysThatThereIsNoEvent) {
  state.scheduler_job_id = 42;
  given_no_events(1450);
  given_tool(submit_command, prints("Job has been submitted. ID: 42.\r\n"));
  EXPECT_TRUE(submit(submit_command));
  EXPECT_EQ("\nError in CreateEvent, error ID = 1450!\n", standard_error());
  texts expected = {submit_command, exit_command};
  expected.insert(expected.end(), 6, view_command);
  EXPECT_EQ(expected, commands());
  EXPECT_EQ(0U, threads_started());
}

// Released before its task is there, the job would end.
TEST_F(MsmpiSubmission, HearsTheToolOutBeforeTheJobIsReleasedWithoutAnEvent) {
  given_no_events(1450);
  state.scheduler_job_id = 42;  // which is not the one that is named
  given_tool(submit_command,
             prints("adding\r\n").then_prints("Job has been submitted. ID: 0\r\nmore", 5'000));
  EXPECT_TRUE(submit(submit_command));
  EXPECT_EQ("adding\nJob has been submitted. ID: 0\nmore", standard_output());
  EXPECT_EQ((texts{submit_command, exit_command}), commands());
  EXPECT_EQ(5'000U, started_commands().at(1).at);
}

TEST_F(MsmpiSubmission, MakesAnEventThatOthersKnow) {
  given_tool(submit_command, prints("submitted\r\n"));
  (void)submit(submit_command);
  EXPECT_EQ(texts{"for_print_thread"}, events_created());
  EXPECT_EQ(0U, open_handles());
}

TEST_F(MsmpiSubmission, HearsTheToolOutWithoutAWatcher) {
  given_no_threads();
  given_tool(submit_command,
             prints("Job has been submitted. ID: 42.\r\n").then_prints("more", 90'000));
  EXPECT_TRUE(submit(submit_command));
  EXPECT_EQ((texts{submit_command, exit_command, view_command}), first_commands(3));
  EXPECT_EQ("Job has been submitted. ID: 42.\nmoreJob 42 is Finished.\n", standard_output());
  EXPECT_EQ(90'000U, started_commands().at(1).at);
  EXPECT_EQ(waiting_line, standard_error());
}

TEST_F(MsmpiSubmission, GoesOnWithoutOutputAndWithAWatcherThatRunsAtOnce) {
  using given_world = void (*)();
  for (const given_world given :
       {given_no_standard_handles, given_broken_standard_output, given_threads_that_run_at_once}) {
    given_launch();
    given();
    given_tool(submit_command, prints("one\r\nJob has been submitted. ID: 42.\r\n"));
    given_tool(view_command, prints("State : Finished\r\n"));
    EXPECT_TRUE(submit(submit_command));
    EXPECT_EQ(42, state.scheduler_job_id);
    EXPECT_EQ(view_command, commands().back());
    EXPECT_EQ(never, fallback_time());
  }
}

TEST_F(MsmpiSubmission, ForgetsTheAnswerOfAnEarlierSubmission) {
  given_variable("CCP_JOB_SUBMIT_WAIT_TIME", "1");
  given_tool(submit_command, prints("submitted\r\n"));
  given_tool(submit_command, prints("").stays());
  (void)submit(submit_command);
  EXPECT_EQ(never, fallback_time());
  (void)submit(submit_command);
  EXPECT_NE(never, fallback_time());
}

}  // namespace
