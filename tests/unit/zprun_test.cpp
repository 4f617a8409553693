// Whole runs of zprun in the scripted world that a row of tests/cases cannot show: what the
// installer and the network say, time that passes, Ctrl-C.
#include "front/zprun.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include "core/run_record.h"
#include "core/text.h"
#include "front/progress.h"
#include "front/surroundings.h"
#include "support/fresh_launch.h"
#include "support/platform_stand_in.h"
#include "support/stand_in_world.h"

using namespace stand_in;  // the world's words read as sentences

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using texts = std::vector<std::string>;

const std::string release = "C:\\zephon\\zephon12.0.16";
const std::string solver = release + "\\ntbin\\win64\\zephon.exe";
const std::string msmpi = release + "\\netweave\\mpi\\win64\\ms\\bin\\mpiexec.exe";
const std::string intel = release + "\\netweave\\mpi\\win64\\intel\\bin\\";

void given_release() {
  given_variable("ZEPHON_INC", "C:\\zephon");
  given_file(solver);
  for (const char *mpi : {"msmpi", "intel", "ibmmpi"}) {
    given_file(release + "\\netweave\\mpi_wrapper\\win64\\" + mpi + "\\mpi_wrapper.dll");
  }
  given_file(msmpi);
  given_file(intel + "mpiexec.exe");
  given_file(intel + "smpd.exe");
  given_file(release + "\\netweave\\mpi\\win64\\ibmmpi\\bin\\mpirun.exe");
  for (const std::string &program : {solver, msmpi, intel + "mpiexec.exe"}) {
    given_tool_for([program](const std::string &command) { return command.starts_with(program); });
  }
}

int run_zprun(const texts &words) {
  char **arguments = given_arguments(words);
  const int count = state.arg_count;
  const auto status = status_of_exit([&] { start_zprun(count, arguments); });
  forget_run_record();
  return status.value_or(-1);
}

struct zprun_row {
  std::string name;
  texts typed;
  std::function<void()> world;
  texts starts;
  std::string output;  // a part of it
  std::string errors;  // a part of it; empty: none at all
  int status = 0;
};

class Zprun : public testing::TestWithParam<zprun_row> {};

}  // namespace

TEST_P(Zprun, Runs) {
  const zprun_row &row = GetParam();
  given_release();
  if (row.world) {
    row.world();
  }
  EXPECT_EQ(row.status, run_zprun(row.typed));
  EXPECT_EQ(row.starts, commands());
  EXPECT_THAT(standard_output(), HasSubstr(row.output));
  if (row.errors.empty()) {
    EXPECT_EQ("", standard_error());
  } else {
    EXPECT_THAT(standard_error(), HasSubstr(row.errors));
  }
  EXPECT_THAT(message_boxes(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    Typed, Zprun,
    testing::Values(zprun_row{"TakesTheReleaseOfTheInstaller",
                              {"x"},
                              [] {
                                given_no_variable("ZEPHON_INC");
                                given_machine_setting("ZEPHON_INC", "C:\\zephon");
                                given_machine_setting("DefaultRelease", "6.3.26");
                                given_file("C:\\zephon\\zephon6.3.26\\ntbin\\win64\\zephon.exe");
                                given_tool("C:\\zephon\\zephon6.3.26\\ntbin\\win64\\zephon.exe x");
                              },
                              {"C:\\zephon\\zephon6.3.26\\ntbin\\win64\\zephon.exe x"}},
                    zprun_row{"OverwritesATimingReport",
                              {"-o", "t.txt", "x"},
                              [] {
                                given_file("C:\\work\\t.txt", std::string(249, 'x') + "Start: ");
                                given_tool(solver + " x");
                              },
                              {solver + " x"}},
                    zprun_row{"OverwritesARunRecord",
                              {"-record", "r.json", "x"},
                              [] {
                                given_file("C:\\work\\r.json",
                                           "{\"format\": \"zephon-run-record\"");
                                given_tool(solver + " x");
                              },
                              {solver + " x"}},
                    zprun_row{"RefusesToOverwriteWhatIsNoRunRecord",
                              {"-record", "r.json", "x"},
                              [] { given_file("C:\\work\\r.json", "{}"); },
                              {},
                              "",
                              "zprun: r.json is there and is no run record: name another file\n",
                              1},
                    zprun_row{"RefusesAHostThatNobodyKnows",
                              {"-mpi=intel", "-t2", "-cnf=h", "x"},
                              [] {
                                given_file("C:\\work\\h", "alpha\nbeta\n");
                                given_unknown_host("beta");
                              },
                              {},
                              "",
                              "zprun: h, line 2: the network does not know beta: mend the name\n",
                              1},
                    zprun_row{"FindsAHostThatNobodyKnows",
                              {"-check", "-mpi=msmpi", "-t2", "-cnf=h", "x"},
                              [] {
                                given_file("C:\\work\\h", "alpha\nbeta\n");
                                given_unknown_host("beta");
                              },
                              {},
                              "\nfault  host-names ",
                              "",
                              1},
                    zprun_row{"RefusesAWordBeyondTheCodePage",
                              {"x"},
                              [] { given_word_beyond_code_page("?.case"); },
                              {},
                              "",
                              "zprun: ?.case has characters that this computer's code page lacks: "
                              "use other names for these files\n",
                              1},
                    zprun_row{"FindsAWordBeyondTheCodePage",
                              {"-check", "x"},
                              [] { given_word_beyond_code_page("?.case"); },
                              {},
                              "\nfault  code-page ",
                              "",
                              1},
                    zprun_row{"FindsWhereOtherComputersSeeTheFolder",
                              {"-check", "-mpi=msmpi", "-t2", "-cnf=h", "x"},
                              [] {
                                given_file("C:\\work\\h", "alpha\n");
                                given_network_drive("C:", "\\\\server\\c");
                              },
                              {},
                              "\nok     working-folder  \\\\server\\c\\work"},
                    zprun_row{"RefusesWithoutReleases",
                              {"x"},
                              [] { given_no_variable("ZEPHON_INC"); },
                              {},
                              "",
                              "zprun: nobody names the folder of the releases: set ZEPHON_INC, "
                              "such as D:\\zephon\n",
                              1},
                    zprun_row{"ListsNothingWithoutReleases",
                              {"-list"},
                              [] { given_no_variable("ZEPHON_INC"); },
                              {},
                              "Nobody names the folder of the releases: set ZEPHON_INC, such as "
                              "D:\\zephon\n"},
                    zprun_row{"TellsWhatCannotBeStarted",
                              {"x"},
                              [] { given_tool(solver + " x", cannot_start(5)); },
                              {solver + " x"},
                              "",
                              "Unable to execute (null)",
                              255}),
    [](const auto &row) { return row.param.name; });

// Every variable that a session may have left behind, in the order in which they are told.
TEST(ZprunVariables, OfAnEarlierSessionAreTold) {
  const std::string all =
      "USE_CCP CCP_JOB_ID CCP_JOBID CCP_USER_FLAGS ZP_CCP_UNIT ZP_CCP_JOB_TEMPLATE "
      "ZP_CCP_NODE_GROUP ZP_CCP_JOB_COMMAND NP_PER_NODE STD_DIR CWD ZEPHON_HOSTS_FILE MSMPI_HOME "
      "MPICH2_HOME MPICH2_CHANNEL MPICH2_USER_FLAGS MPICH_HOME MPICH_NETMASK IBMMPI_ROOT "
      "IBMMPI_USER_FLAGS ZEPHON_AUTO_SPAWN INTELMPI_USER_FLAGS ZEPHON_AFFINITY ZEPHON_CRED_CHECK "
      "CACHE_PASSWORD MESHING_MODE PARA_MESH_NPROCS ZEPHON_WORK_SIZE";
  std::string told = "these take part: ";
  for (const std::string &name : split_at(all, " ")) {
    given_variable(name, "1");
    told += (told.ends_with(": ") ? "" : ", ") + name + "=1";
  }
  finding_list list;
  check_variables(list);
  ASSERT_EQ(1U, list.size());
  EXPECT_EQ(told, list[0].found);
}

TEST(Progress, NamesATime) {
  for (const auto &[seconds, text] :
       std::vector<std::pair<long long, std::string>>{{0, "0 s"},
                                                      {59, "59 s"},
                                                      {60, "1 min 0 s"},
                                                      {3'599, "59 min 59 s"},
                                                      {3'600, "1 h 0 min"},
                                                      {90'061, "25 h 1 min"}}) {
    EXPECT_EQ(text, duration_text(seconds));
  }
}

TEST(Progress, IsOneLineOnAConsoleThatIsCleared) {
  given_console();
  show_progress("abcd", ", since 1 s");
  show_progress("ab", "");
  clear_progress();
  clear_progress();
  show_progress(std::string(100, 'x'), "");
  clear_progress();
  EXPECT_EQ("\rabcd, since 1 s\rab             \r  \r\r" + std::string(79, 'x') + "\r" +
                std::string(79, ' ') + "\r",
            standard_error_bytes());
}

// ---- Clusters -----------------------------------------------------------------------------

namespace {

const std::string view = "job view 7 /scheduler:head";
const std::string job_done = "Job has been submitted. ID: 7.\n";

// A scheduler that takes a job; its states are given by the test.
void given_scheduler() {
  given_release();
  given_tool_with("cmd.exe /C ver");
  given_tool_with("cluscfg listenvs");
  given_tool_with("job submit /scheduler:head /jobname:\"ORBEX ZEPHON\" ", prints(job_done));
}

void given_states(const texts &states) {
  for (const std::string &one : states) {
    given_tool(view, prints("State : " + one + "\r\n"));
  }
}

}  // namespace

TEST(ZprunOnACluster, FollowsTheJobToItsEndAndShowsWhatItWrites) {
  for (const char *mpi : {"-mpi=msmpi", "-mpi=intel"}) {
    fresh_launch();
    given_scheduler();
    given_states({"Queued", "Running", "Running", "Finished"});
    bool tools_end_too = false;
    after(1'500, [&] {
      given_file("C:\\work\\ZP7.1.jdoe.o", "iteration 1\n");
      tools_end_too = the_world().children_end_with_us;
    });

    EXPECT_EQ(0, run_zprun({mpi, "-t2", "-ccp", "head", "x"})) << mpi;

    EXPECT_TRUE(tools_end_too && !the_world().children_end_with_us) << mpi;

    EXPECT_THAT(standard_output(), HasSubstr("iteration 1\n")) << mpi;
    EXPECT_THAT(standard_error(), HasSubstr("zprun: job 7 is Queued\nzprun: job 7 is Running\n"
                                            "zprun: job 7 is Finished\n"))
        << mpi;
    EXPECT_THAT(commands(), Not(testing::Contains(HasSubstr("rununtilcanceled")))) << mpi;
    EXPECT_THAT(commands(), Not(testing::Contains(HasSubstr("cancel")))) << mpi;
  }
}

TEST(ZprunOnACluster, GivesOneForAJobThatFailed) {
  given_scheduler();
  given_tool(view, prints("State : Failed\r\nError message : no licence\r\n"));
  EXPECT_EQ(1, run_zprun({"-mpi=msmpi", "-t2", "-ccp", "head", "x"}));
  EXPECT_THAT(standard_error(), HasSubstr("zprun: job 7 is Failed, no licence\n"));
}

TEST(ZprunOnACluster, TellsWhyAJobWaits) {
  given_scheduler();
  given_tool(view, prints("State : Queued\r\nPending Reason : no node is free\r\n"));
  given_states({"Finished"});
  EXPECT_EQ(0, run_zprun({"-mpi=msmpi", "-t2", "-ccp", "head", "x"}));
  EXPECT_THAT(standard_error(), HasSubstr("zprun: job 7 is Queued, no node is free\n"));
}

TEST(ZprunOnACluster, WaitsFiveMinutesForASchedulerThatSaysNothing) {
  given_scheduler();
  given_console();
  given_states({"Running"});
  given_tool(view, prints("no answer\r\n"));
  given_tool("job cancel 7 /scheduler:head");
  EXPECT_EQ(1, run_zprun({"-mpi=msmpi", "-t2", "-ccp", "head", "x"}));
  EXPECT_GE(now(), 300'000U);
  EXPECT_LT(now(), 303'000U);
  EXPECT_THAT(standard_error_bytes(),
              testing::EndsWith("  \rzprun: the scheduler says no more about job 7\r\n"
                                "zprun: cancelling job 7\r\n"));
}

TEST(ZprunOnACluster, RenewsOneLineOnAConsole) {
  given_scheduler();
  given_console();
  given_states({"Queued", "Queued", "Running", "Finished"});
  after(1'500, [] { given_file("C:\\work\\ZP7.1.jdoe.o", "iteration 1\n"); });
  EXPECT_EQ(0, run_zprun({"-mpi=msmpi", "-t2", "-ccp", "head", "x"}));
  const std::string queued = "\rzprun: job 7 is Queued, since ";
  EXPECT_THAT(standard_error_bytes(),
              testing::EndsWith(queued + "0 s" + queued + "1 s\r" + std::string(33, ' ') +
                                "\r\rzprun: job 7 is Running, since 0 s\r" + std::string(34, ' ') +
                                "\rzprun: job 7 is Finished\r\n"));
}

TEST(ZprunOnACluster, CancelsItsJobAtCtrlC) {
  given_scheduler();
  given_variable("ZEPHON_RUN_RECORD", "C:\\record.json");
  given_states({"Running", "Running", "Running", "Canceled"});
  given_tool("job cancel 7 /scheduler:head");
  given_control_event_after(2'500, platform::control_event::interrupt);
  EXPECT_EQ(130, run_zprun({"-mpi=msmpi", "-t2", "-ccp", "head", "x"}));
  EXPECT_THAT(commands(), testing::Contains("job cancel 7 /scheduler:head").Times(1));
  const auto record = file_content("C:\\record.json").value_or("");
  EXPECT_THAT(record, HasSubstr(R"("arguments": ["-mpi=msmpi", "-t2", "-ccp", "head", "x"])"));
  EXPECT_THAT(record, HasSubstr(R"({"kind": "action", "text": "job cancel 7 /scheduler:head")"));
  EXPECT_THAT(record, HasSubstr(R"("id": 7, "state": "Canceled", "released": true})"));
  EXPECT_THAT(record, HasSubstr(R"("status": 130)"));
}

TEST(ZprunOnACluster, AsksLessOftenWhenItIsTold) {
  given_scheduler();
  given_states({"Running", "Running", "Finished"});
  given_variable("ZEPHON_JOB_POLL_LIMIT", "30");
  after(2'500, [] { given_file("C:\\work\\ZP7.1.jdoe.o", "iteration 1\n"); });
  EXPECT_EQ(0, run_zprun({"-mpi=msmpi", "-t2", "-ccp", "head", "x"}));
  EXPECT_GE(now(), 3'000U);  // one second, then two
  EXPECT_LT(now(), 4'000U);
  EXPECT_THAT(standard_output(), HasSubstr("iteration 1\n"));
}

TEST(ZprunOnACluster, EndsAtOnceWhenInterruptedTwice) {
  given_scheduler();
  given_states({"Running"});
  given_tool("job cancel 7 /scheduler:head", prints("").stays(60'000));
  given_control_event_after(2'500, platform::control_event::interrupt);
  given_control_event_after(9'000, platform::control_event::interrupt);
  given_variable("ZEPHON_RUN_RECORD", "C:\\record.json");
  EXPECT_EQ(130, run_zprun({"-mpi=msmpi", "-t2", "-ccp", "head", "x"}));
  EXPECT_LT(now(), 20'000U);
  EXPECT_THAT(file_content("C:\\record.json").value_or(""), HasSubstr("\"status\": 130"));
}

TEST(ZprunOnACluster, StartsTheCancellingWhenTheConsoleCloses) {
  given_scheduler();
  given_states({"Running", "Running", "Running", "Canceled"});
  bool is_ended_too = true;
  given_tool("job cancel 7 /scheduler:head",
             prints("").does([&] { is_ended_too = the_world().children_end_with_us; }));
  given_control_event_after(2'500, platform::control_event::closing);
  (void)run_zprun({"-mpi=msmpi", "-t2", "-ccp", "head", "x"});
  const auto started = started_commands();
  const auto cancels = [](const auto &one) {
    return one.command == "job cancel 7 /scheduler:head";
  };
  ASSERT_EQ(1, std::count_if(started.begin(), started.end(), cancels));
  const auto cancelling = std::find_if(started.begin(), started.end(), cancels);
  EXPECT_TRUE(cancelling->detached && cancelling->hidden);
  EXPECT_EQ(platform::inheritance::none, cancelling->handles);
  EXPECT_FALSE(is_ended_too);
}

TEST(ZprunOnACluster, LeavesAJobOfTheUsersOwn) {
  given_scheduler();
  given_tool_with("job add 7 ", prints("Task 7.1 submitted\n"));
  given_states({"Running"});
  given_control_event_after(2'500, platform::control_event::interrupt);
  EXPECT_EQ(130, run_zprun({"-mpi=msmpi", "-t2", "-ccp", "head", "-jobid=7", "x"}));
  EXPECT_THAT(commands(), Not(testing::Contains(HasSubstr("cancel"))));
}

TEST(ZprunOnACluster, LeavesAJobAloneThatNobodyWaitsFor) {
  given_scheduler();
  EXPECT_EQ(0, run_zprun({"-mpi=msmpi", "-t2", "-ccp", "head", "-nowait", "x"}));
  EXPECT_THAT(commands(), Not(testing::Contains(view)));
}

TEST(ZprunOnACluster, FailsWhenNoJobWasTaken) {
  given_scheduler();
  given_tool_with("job submit /scheduler:head /jobname:\"ORBEX ZEPHON\" ",
                  prints("Cannot connect\n"));
  EXPECT_EQ(2, run_zprun({"-mpi=msmpi", "-t2", "-ccp", "head", "x"}));
  EXPECT_THAT(standard_error(), HasSubstr("zprun: the scheduler has not taken the job\n"));
}

// ---- Ctrl-C -------------------------------------------------------------------------------

TEST(ZprunInterrupted, GivesTheRunTimeAndThenEndsIt) {
  given_release();
  given_tool(solver + " x", prints("").stays());
  given_control_event_after(1'000, platform::control_event::interrupt);
  EXPECT_EQ(130, run_zprun({"x"}));
  EXPECT_GE(now(), 11'000U);
  EXPECT_THAT(standard_error(), HasSubstr("zprun: stopping the run."));
}

TEST(ZprunInterrupted, TwiceEndsTheRunAtOnce) {
  given_release();
  given_tool(solver + " x", prints("").stays());
  given_control_event_after(1'000, platform::control_event::interrupt);
  given_control_event_after(2'000, platform::control_event::interrupt);
  EXPECT_EQ(130, run_zprun({"x"}));
  EXPECT_LT(now(), 3'000U);
  EXPECT_FALSE(process_runs(started_commands().at(0).id));
}

TEST(ZprunAlone, LeavesARunThatNobodyWaitsFor) {
  given_release();
  given_tool(solver + " x", prints("").stays(60'000));
  EXPECT_EQ(0, run_zprun({"-nowait", "x"}));
  EXPECT_EQ(0U, now());
  EXPECT_EQ(texts{solver + " x"}, commands());
}

TEST(ZprunRecord, IsWrittenWhereItIsAskedFor) {
  given_release();
  given_tool(solver + " x");
  EXPECT_EQ(0, run_zprun({"-record", "r.json", "x"}));
  EXPECT_TRUE(file_exists("C:\\work\\r.json"));
}
