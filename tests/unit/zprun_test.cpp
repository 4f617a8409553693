// Whole runs of zprun in the scripted world: what it starts, says and ends with, and
// what brings each of its findings.
#include "front/zprun.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "core/run_record.h"
#include "platform/rehearsal.h"
#include "support/fresh_launch.h"
#include "support/platform_stand_in.h"

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
const std::string msmpi_command =
    msmpi + "   -np 2  -env PATH \"C:\\zephon\\ntbin\\win64;" + release +
    "\\netweave\\mpi_wrapper\\win64\\msmpi\"  -env ZEPHON_PROD_DIR \"" + release + "\"  " + solver;

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
    testing::Values(
        zprun_row{"StartsASerialRunAndGivesItsStatus",
                  {"-i", "a b.case"},
                  [] { given_tool(solver + " -i \"a b.case\"", prints("done\n").exits_with(3)); },
                  {solver + " -i \"a b.case\""},
                  "done",
                  "zprun: the run ended with status 3\n",
                  3},
        zprun_row{"StartsAnMpi",
                  {"-mpi=msmpi", "-np=2", "x"},
                  [] { given_tool(msmpi_command + " x"); },
                  {msmpi_command + " x"},
                  "",
                  "zprun: -np=2 was read as -t2\n"},
        zprun_row{"LeavesARunAlone",
                  {"-nowait", "x"},
                  [] { given_tool(solver + " x", prints("").stays(60'000)); },
                  {solver + " x"}},
        zprun_row{"TakesTheReleaseOfTheInstaller",
                  {"x"},
                  [] {
                    given_no_variable("ZEPHON_INC");
                    given_machine_setting("ZEPHON_INC", "C:\\zephon");
                    given_machine_setting("DefaultRelease", "6.3.26");
                    given_file("C:\\zephon\\zephon6.3.26\\ntbin\\win64\\zephon.exe");
                    given_tool("C:\\zephon\\zephon6.3.26\\ntbin\\win64\\zephon.exe x");
                  },
                  {"C:\\zephon\\zephon6.3.26\\ntbin\\win64\\zephon.exe x"}},
        zprun_row{"RefusesAReleaseThatIsNotThere",
                  {"-r12.0.61", "x"},
                  {},
                  {},
                  "",
                  "zprun: there is no release 12.0.61 below C:\\zephon (from ZEPHON_INC): probably "
                  "-r12.0.16 was meant. There is 12.0.16\n",
                  1},
        zprun_row{"RefusesAnMpiThatTheReleaseLacks",
                  {"-mpi=mpich2", "-t2", "x"},
                  {},
                  {},
                  "",
                  "lacks " + release +
                      "\\netweave\\mpi_wrapper\\win64\\mpich2\\mpi_wrapper.dll: "
                      "take msmpi, intel or ibmmpi, which this release has",
                  1},
        zprun_row{"RefusesToOverwriteACaseFile",
                  {"-o", "plate.case", "x"},
                  [] { given_file("C:\\work\\plate.case", "points 64\n"); },
                  {},
                  "",
                  "zprun: plate.case is there and is no timing report: name another file\n",
                  1},
        zprun_row{"OverwritesATimingReport",
                  {"-o", "t.txt", "x"},
                  [] {
                    given_file("C:\\work\\t.txt", "Start: Wed");
                    given_tool(solver + " x");
                  },
                  {solver + " x"}},
        zprun_row{"RefusesAHostFileThatTheMpiMisreads",
                  {"-mpi=intel", "-t2", "-cnf=h", "x"},
                  [] { given_file("C:\\work\\h", "alpha\nbeta 2\n"); },
                  {},
                  "",
                  "zprun: h, line 2: the count lacks its colon: write beta:2\n",
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
        zprun_row{"RefusesAWordBeyondTheCodePage",
                  {"x"},
                  [] { given_word_beyond_code_page("?.case"); },
                  {},
                  "",
                  "zprun: ?.case has",
                  1},
        zprun_row{"RefusesWithoutReleases",
                  {"x"},
                  [] { given_no_variable("ZEPHON_INC"); },
                  {},
                  "",
                  "zprun: nobody names the folder of the releases: set ZEPHON_INC",
                  1},
        zprun_row{"TellsWhatCannotBeStarted",
                  {"x"},
                  [] { given_tool(solver + " x", cannot_start(5)); },
                  {solver + " x"},
                  "",
                  "Unable to execute (null)",
                  255},
        zprun_row{"ExplainsAndStartsNothing",
                  {"-explain", "-mpi=msmpi", "-t2", "x"},
                  {},
                  {},
                  "Rehearsal: the launch command\n    " + msmpi_command + " x\n",
                  ""},
        zprun_row{"ListsWhatIsInstalled",
                  {"-list"},
                  {},
                  {},
                  "  12.0.16   the default (the newest)\n    msmpi    complete\n",
                  ""},
        zprun_row{"ShowsItsOptions", {"-help"}, {}, {}, "Usage: zprun", ""}),
    [](const auto &row) { return row.param.name; });

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
    after(1'500, [] { given_file("C:\\work\\ZP7.1.jdoe.o", "iteration 1\n"); });

    EXPECT_EQ(0, run_zprun({mpi, "-t2", "-ccp", "head", "x"})) << mpi;

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

TEST(ZprunOnACluster, RenewsOneLineOnAConsole) {
  given_scheduler();
  given_console();
  given_states({"Queued", "Queued", "Finished"});
  EXPECT_EQ(0, run_zprun({"-mpi=msmpi", "-t2", "-ccp", "head", "x"}));
  EXPECT_THAT(standard_error_bytes(), HasSubstr("\rzprun: job 7 is Queued, since 1 s"));
}

TEST(ZprunOnACluster, CancelsItsJobAtCtrlC) {
  given_scheduler();
  given_states({"Running", "Running", "Running", "Canceled"});
  given_tool("job cancel 7 /scheduler:head");
  given_control_event_after(2'500, platform::control_event::interrupt);
  EXPECT_EQ(130, run_zprun({"-mpi=msmpi", "-t2", "-ccp", "head", "x"}));
  EXPECT_THAT(commands(), testing::Contains("job cancel 7 /scheduler:head").Times(1));
}

TEST(ZprunOnACluster, EndsAtOnceWhenInterruptedTwice) {
  given_scheduler();
  given_states({"Running"});
  given_tool("job cancel 7 /scheduler:head", prints("").stays(60'000));
  given_control_event_after(2'500, platform::control_event::interrupt);
  given_control_event_after(9'000, platform::control_event::interrupt);
  EXPECT_EQ(130, run_zprun({"-mpi=msmpi", "-t2", "-ccp", "head", "x"}));
  EXPECT_LT(now(), 20'000U);
}

TEST(ZprunOnACluster, StartsTheCancellingWhenTheConsoleCloses) {
  given_scheduler();
  given_states({"Running", "Running", "Running", "Canceled"});
  given_tool("job cancel 7 /scheduler:head");
  given_control_event_after(2'500, platform::control_event::closing);
  (void)run_zprun({"-mpi=msmpi", "-t2", "-ccp", "head", "x"});
  EXPECT_THAT(commands(), testing::Contains("job cancel 7 /scheduler:head").Times(1));
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

// ---- Findings -----------------------------------------------------------------------------

namespace {

struct finding_row {
  std::string finding;  // its grade and name
  texts typed;
  std::function<void()> world;
};

const texts sound_launch = {"-check", "-mpi=msmpi", "-t2", "plate.case"};
const texts on_hosts = {"-check", "-mpi=intel", "-t2", "-cnf=h", "plate.case"};
const texts on_cluster = {"-check", "-mpi=msmpi", "-t2", "-ccp", "head", "plate.case"};

void given_hosts() {
  given_file("C:\\work\\h", "alpha\nbeta\n");
  given_tool(intel + "smpd.exe -status", prints("smpd running on alpha\n"));
  given_tool(intel + "mpiexec.exe -validate", prints("SUCCESS\n"));
}

void given_share() {
  given_network_drive("C:", "\\\\server\\c");
  given_variable("PATH", "C:\\ccp");
  given_file("C:\\ccp\\job.exe");
  given_tool("cluscfg listenvs /scheduler:head", prints("CCP_CLUSTER_NAME=head\n"));
}

// The grades and names of the findings that are not ok.
texts findings_of(const texts &typed) {
  const int status = run_zprun(typed);
  texts found;
  const std::string output = standard_output();
  bool fault = false;
  for (std::size_t start = 0; start < output.size();) {
    const std::size_t end = std::min(output.find('\n', start), output.size());
    const std::string line = output.substr(start, end - start);
    if (line.starts_with("note ") || line.starts_with("fault ")) {
      EXPECT_THAT(line, HasSubstr("[findings.md#"));
      const std::size_t name = line.find_first_not_of(' ', 5);
      found.push_back(line.substr(0, line.find(' ')) + " " +
                      line.substr(name, line.find(' ', name) - name));
      fault = fault || line.starts_with("fault");
    }
    start = end + 1;
  }
  EXPECT_EQ(fault ? 1 : 0, status);
  EXPECT_THAT(written_files(), IsEmpty());
  return found;
}

class Findings : public testing::TestWithParam<finding_row> {};

}  // namespace

TEST_P(Findings, AreFound) {
  const finding_row &row = GetParam();
  given_release();
  given_share();
  given_hosts();
  if (row.world) {
    row.world();
  }
  EXPECT_THAT(findings_of(row.typed), testing::Contains(row.finding)) << standard_output();
}

INSTANTIATE_TEST_SUITE_P(
    Checked, Findings,
    testing::Values(
        finding_row{"note arguments", {"-check", "-np=2", "-mpi=msmpi"}, {}},
        finding_row{"fault arguments", {"-check", "-mpi=intell"}, {}},
        finding_row{"fault code-page", sound_launch, [] { given_word_beyond_code_page("?"); }},
        finding_row{"fault release", {"-check", "-r7.0", "x"}, {}},
        finding_row{"fault report-file",
                    {"-check", "-o", "c", "x"},
                    [] { given_file("C:\\work\\c", "x"); }},
        finding_row{"fault wrapper", {"-check", "-mpi=mpich2", "-t2"}, {}},
        finding_row{"fault mpi-program", sound_launch, [] { given_no_file(msmpi); }},
        finding_row{"fault host-file", on_hosts, [] { given_file("C:\\work\\h", "a,b\n"); }},
        finding_row{"fault host-names", on_hosts, [] { given_unknown_host("beta"); }},
        finding_row{"note service", on_hosts,
                    [] { given_tool_with("smpd.exe -status", prints("no smpd running\n")); }},
        finding_row{"note password", on_hosts,
                    [] { given_tool_with("mpiexec.exe -validate", prints("FAIL\n")); }},
        finding_row{"note other-mpi", sound_launch, [] { given_file("C:\\ccp\\mpiexec.exe"); }},
        finding_row{"fault scheduler-tool", on_cluster, [] { given_no_file("C:\\ccp\\job.exe"); }},
        finding_row{"fault head-node", on_cluster,
                    [] { given_tool_with("cluscfg listenvs", exits_with(1)); }},
        finding_row{"fault folder-names",
                    {"-check", "-mpi=msmpi", "-t2", "-cnf=my hosts", "x"},
                    [] { given_file("C:\\work\\my hosts", "alpha\n"); }},
        finding_row{"note folder-names", sound_launch,
                    [] {
                      given_variable("MSMPI_HOME", "C:\\Program Files\\MPI");
                      given_file("C:\\Program Files\\MPI\\bin\\mpiexec.exe");
                    }},
        finding_row{"fault working-folder", on_cluster,
                    [] { given_current_directory("E:\\work"); }},
        finding_row{
            "fault command-length", {"-check", "-mpi=msmpi", "-t2", std::string(33'000, 'x')}, {}},
        finding_row{"note command-length",
                    {"-check", "-mpi=msmpi", "-t2", "-ccp", "head", std::string(600, 'x')},
                    {}},
        finding_row{"note variables", sound_launch,
                    [] { given_variable("MPICH2_USER_FLAGS", "-l"); }},
        finding_row{"note processors", {"-check", "-mpi=msmpi", "-t9"}, [] {
                      given_variable("NUMBER_OF_PROCESSORS", "4");
                    }}));

TEST(SoundLaunches, HaveNoFindings) {
  for (const texts &typed : {sound_launch, on_hosts, on_cluster}) {
    fresh_launch();
    given_release();
    given_share();
    given_hosts();
    EXPECT_THAT(findings_of(typed), IsEmpty()) << standard_output();
  }
}
