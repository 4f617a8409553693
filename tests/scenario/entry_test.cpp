// entry_test.cpp: what only a real process shows of the entries: the usage, the command line as
// the runtime reads it, and the boxes.

#include <gtest/gtest.h>

#include "scenario_bench.h"

using namespace scenario;

namespace {

const std::string warning =
    "\nWarning: Total solver processes count need to be greater or equal to meshing processes "
    "count, so resetting the count to 8\n";

// A launch in which exactly one message is gathered: the warning above.
std::string given_a_warning() {
  given_installed_release();
  given_variable("MESHING_MODE", "1");
  given_variable("PARA_MESH_NPROCS", "8");
  return "--mpi=net --np=4 " + given_solver();
}

std::string usage(const std::string &program) {
  return text_mode("Usage: " + program +
                   " [version] [options]\n"
                   "options:\n"
                   "\t-help\t\tthis listing\n"
                   "\t-rx\t\tspecify release x\n"
                   "parallel options:\n"
                   "\t-ccp x\t\trun through Microsoft Job Scheduler, and x is the head node name\n"
                   "\t-cnf=x\t\tspecify the host file\n"
                   "\t-host_ip=host:ip\tspecify the ip interface to be used by the host process\n"
                   "\t-mpi=mpi\t\tspecify MPI implementation; mpi={ibmmpi | intel | ...}\n"
                   "\t-mpitest\t\trun the mpitest program instead of ZEPHON to test the network\n"
                   "\t-pic\t\tspecify interconnect; ic={default | myri | ib }\n"
                   "\t-tx\t\tspecify number of processors x\n");
}

}  // namespace

TEST(Entry, ShowsTheUsageWithoutArguments) {
  const auto run = run_launcher("");
  EXPECT_EQ(1U, run.status);
  EXPECT_EQ(usage(in_world("mpirun.exe")), run.output);
  EXPECT_EQ("", run.errors);
}

TEST(Entry, NamesTheProgramInTheUsageAsItWasCalled) {
  auto run = start_program("mpirun.exe", "the_launcher");
  wait_for_everything(run);
  EXPECT_EQ(usage("the_launcher"), run.output);
}

TEST(Entry, ShowsTheUsageOfTheConsoleProgram) {
  const auto run = run_console_launcher("");
  EXPECT_EQ(1U, run.status);
  EXPECT_EQ(usage(in_world("mpirun_console.exe")), run.output);
}

TEST(Entry, NeedsNoStandardHandlesForTheUsage) {
  given_no_standard_handles();
  EXPECT_EQ(1U, run_launcher("").status);
}

TEST(Entry, EndsNormallyWhenNobodyReadsItsOutput) {
  auto run = start_launcher("");
  run.output_end.reset();
  wait_for_everything(run);
  EXPECT_EQ(1U, run.status);
}

struct raw_arguments {
  std::string given;   // in the launcher's command line
  std::string handed;  // in the solver's
};

TEST(Entry, HandsArgumentsOnAsTheRuntimeReadsThem) {
  const raw_arguments lines[] = {
      {"a   -b /c", " a -b /c"},
      {"\"C:\\case.jou\" C:\\dir\\ next", " C:\\case.jou C:\\dir\\ next"},
      {"\"\" a \"\"", "  a "},
      // Only a blank brings quotes back.
      {"say\\\"hi\\\" \"a \\\"b\\\"\"", " say\"hi\" \"a \"b\"\""},
      {"\"C:\\my dir\\\\\" next", " \"C:\\my dir\\\" next"},
  };
  given_installed_release();
  for (const auto &[given, handed] : lines) {
    EXPECT_EQ(0U, run_launcher("--mpi=net " + given_solver() + " " + given).status);
    EXPECT_EQ(in_quotes(in_world("solver.exe")) + handed, lines_of("solver.exe").back());
  }
}

TEST(Entry, ShowsMessagesInABoxWithTheSignOfAnInformation) {
  const auto arguments = given_a_warning();
  given_box_answer(ok_button);
  const auto run = run_launcher(arguments);
  ASSERT_EQ(1U, run.boxes.size());
  EXPECT_EQ(warning, run.boxes[0].text);
  ASSERT_EQ(1U, run.boxes[0].buttons.size());
  EXPECT_EQ(ok_button, run.boxes[0].buttons[0].number);
  EXPECT_TRUE(run.boxes[0].icon);
}

TEST(Entry, ShowsMessagesOnlyWhenTheSolverHasEnded) {
  given_a_warning();
  given_variable("ZEPHON_PROD", "lumis");
  given_box_answer(ok_button);
  auto run = start_launcher("--mpi=net --np=4 " + given_solver("wait_file go\n"));
  wait_for_starts(run, "solver.exe", 1);
  EXPECT_TRUE(run.boxes.empty());
  given_file("go");
  wait_for_everything(run);
  EXPECT_EQ(1U, run.boxes.size());
  EXPECT_TRUE(only_start_of("solver.exe").code);
}

TEST(Entry, RunsTheSamePhasesInTheConsoleProgramWhichExpandsNoFilePatternsEither) {
  given_installed_release();
  given_file("work\\one.jou");
  given_variable("ZEPHON_PROD", "lumis");
  const auto solver = given_solver("out solving\nexit 5\n");
  const auto run = run_console_launcher("--mpi=net " + solver + " *.jou ?ne.jou");
  EXPECT_EQ(0U, run.status);
  EXPECT_EQ("solving", run.output);
  EXPECT_EQ(solver + " *.jou ?ne.jou", only_start_of("solver.exe").command_line);
}

TEST(Entry, ShowsNoMessagesInTheConsoleProgram) {
  const auto run = run_console_launcher(given_a_warning());
  EXPECT_EQ(0U, run.status);
  EXPECT_EQ("", run.output);
}

TEST(Entry, CountsNoAnswerInTimeAsNo) {
  given_installed_release();
  given_box_left_alone();  // goes after 15 seconds
  given_box_left_alone();  // goes after 3 seconds
  const auto run = run_launcher("--mpi=net " + given_solver() + " --ccp");
  EXPECT_EQ(0U, run.status);
  EXPECT_TRUE(starts_of("solver.exe").empty());
  ASSERT_EQ(2U, run.boxes.size());
  EXPECT_EQ(2U, run.boxes[0].buttons.size());
  EXPECT_EQ(1U, run.boxes[1].buttons.size());
}
