// entry_test.cpp: the usage, the run of the phases, the messages at the end, the exit status.

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

TEST(Entry, StartsTheSolverAsItsOnlyArgument) {
  given_installed_release();
  given_file("prod\\netweave\\mpi_wrapper\\win64\\mpi_wrapper.dll");  // of no MPI by name
  const auto run = run_launcher(given_solver("out solving\n"));
  EXPECT_EQ(0U, run.status);
  EXPECT_EQ("solving", run.output);
  EXPECT_EQ(in_quotes(in_world("solver.exe")), only_start_of("solver.exe").command_line);
}

TEST(Entry, RunsAllPhasesWithNothingButARelease) {
  given_installed_release();
  given_file("prod\\netweave\\mpi_wrapper\\win64\\mpi_wrapper.dll");
  given_variable("RSH_USER", "someone");
  const auto run = run_launcher("--r12.0.0");
  EXPECT_EQ(255U, run.status);  // the last phase finds no program to start
  EXPECT_TRUE(run.output.starts_with("Unable to execute (null) \r\n")) << run.output;
}

TEST(Entry, StopsAtTheMissingWrapperWithNothingButARelease) {
  given_installed_release();
  const auto run = run_launcher("--r12.0.0");
  EXPECT_EQ(2U, run.status);
  EXPECT_EQ("Error: communicator \"\" is not available on this machine.\r\n", run.errors);
}

TEST(Entry, EndsWithZeroWhenTheSolverFails) {
  given_installed_release();
  given_variable("ZEPHON_PROD", "lumis");
  EXPECT_EQ(0U, run_launcher("--mpi=net " + given_solver("exit 3\n")).status);
  EXPECT_EQ(0U, run_launcher("--mpi=net " + given_solver("exit 0xC0000005\n")).status);
}

TEST(Entry, ShowsMessagesInABoxWithTheProgramsName) {
  const auto arguments = given_a_warning();
  given_variable("ZEPHON_PROD", "beamtrace");
  given_box_answer(ok_button);
  const auto run = run_launcher(arguments);
  EXPECT_EQ(0U, run.status);
  EXPECT_EQ("", run.output);
  ASSERT_EQ(1U, run.boxes.size());
  EXPECT_EQ("beamtrace", run.boxes[0].caption);
  EXPECT_EQ(warning, run.boxes[0].text);
  ASSERT_EQ(1U, run.boxes[0].buttons.size());
  EXPECT_EQ(ok_button, run.boxes[0].buttons[0].number);
  EXPECT_TRUE(run.boxes[0].icon);
}

TEST(Entry, AsksForTheInformationIconAndNothingElse) {
  const auto arguments = given_a_warning();
  given_watched_styles();
  given_box_answer(ok_button);
  const auto run = run_launcher(arguments);
  ASSERT_EQ(1U, run.asked_boxes.size());
  EXPECT_EQ(0x40U, run.asked_boxes[0].style);
  EXPECT_EQ("zephon", run.asked_boxes[0].caption);
}

TEST(Entry, NamesTheBoxZephonWithoutAProgramName) {
  const auto arguments = given_a_warning();
  given_no_variable("ZEPHON_PROD");
  given_box_answer(ok_button);
  const auto run = run_launcher(arguments);
  ASSERT_EQ(1U, run.boxes.size());
  EXPECT_EQ("Zephon", run.boxes[0].caption);
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

TEST(Entry, PrintsMessagesInARemoteShell) {
  const auto arguments = given_a_warning();
  given_variable("RSH_USER", "someone");
  EXPECT_EQ(text_mode(warning + "\n"), run_launcher(arguments).output);
}

TEST(Entry, PrintsMessagesOnANode) {
  EXPECT_EQ(text_mode(warning + "\n"), run_launcher("--node " + given_a_warning()).output);
}

TEST(Entry, PrintsMessagesOnAHost) {
  EXPECT_EQ(text_mode(warning + "\n"), run_launcher("--host " + given_a_warning()).output);
}

TEST(Entry, PrintsMessagesForCx) {
  EXPECT_EQ(text_mode(warning + "\n"), run_launcher("--cx case " + given_a_warning()).output);
}

TEST(Entry, ShowsMessagesAlsoWhenAPhaseEndsTheProgram) {
  given_a_warning();
  given_box_answer(ok_button);
  const auto run = run_launcher("--np=4 --mpi=intel");
  EXPECT_EQ(2U, run.status);
  ASSERT_EQ(1U, run.boxes.size());
  EXPECT_EQ(warning, run.boxes[0].text);
}

TEST(Entry, RunsTheSamePhasesInTheConsoleProgram) {
  given_installed_release();
  given_variable("ZEPHON_PROD", "lumis");
  const auto solver = given_solver("out solving\nexit 5\n");
  const auto run = run_console_launcher("--mpi=net " + solver + " a.jou");
  EXPECT_EQ(0U, run.status);
  EXPECT_EQ("solving", run.output);
  EXPECT_EQ(solver + " a.jou", only_start_of("solver.exe").command_line);
}

TEST(Entry, ShowsNoMessagesInTheConsoleProgram) {
  const auto run = run_console_launcher(given_a_warning());
  EXPECT_EQ(0U, run.status);
  EXPECT_EQ("", run.output);
}
