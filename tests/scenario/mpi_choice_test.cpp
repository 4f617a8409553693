// mpich_test.cpp: the choice of the MPI, and the work size.

#include <gtest/gtest.h>

#include "scenario_bench.h"

using namespace scenario;

namespace {

const std::string tool = "mpich\\bin\\mpirun.exe";

std::string warning(const std::string &mpi) {
  return "\nWarning: MPI \"" + mpi +
         "\" has no launch command, so the program is started without one.\n";
}

}  // namespace

TEST(MpiChoice, MindsTheCaseOfTheName) {
  given_installed_release();
  given_mpich();
  given_wrapper("MPICH");
  given_variable("RSH_USER", "someone");
  const auto run = run_launcher("--mpi=MPICH " + given_solver());
  EXPECT_EQ(0U, run.status);
  EXPECT_EQ(text_mode(warning("MPICH") + "\n"), run.output);
  EXPECT_TRUE(starts_of(tool).empty());
  EXPECT_EQ(in_quotes(in_world("solver.exe")), only_start_of("solver.exe").command_line);
}

TEST(MpiChoice, StartsTheSolverAloneUnderAnUnknownName) {
  given_installed_release();
  given_wrapper("other");
  given_box_answer(ok_button);
  const auto run = run_launcher("--mpi=other " + given_solver() + " a.jou");
  EXPECT_EQ(0U, run.status);
  ASSERT_EQ(1U, run.boxes.size());
  EXPECT_EQ(warning("other"), run.boxes[0].text);
  EXPECT_EQ(in_quotes(in_world("solver.exe")) + " a.jou", only_start_of("solver.exe").command_line);
}

TEST(MpiChoice, SaysNothingWithoutAName) {
  given_installed_release();
  given_file("prod\\netweave\\mpi_wrapper\\win64\\mpi_wrapper.dll");
  const auto run = run_launcher("--np=2 " + given_solver());
  EXPECT_EQ(0U, run.status);
  EXPECT_EQ("", run.output + run.errors);
  EXPECT_EQ(1U, starts_of("solver.exe").size());
}

TEST(WorkSize, IsForwardedAsItStandsWhenItIsPositive) {
  given_installed_release();
  given_wrapper("msmpi");
  given_variable("MSMPI_HOME", in_world("ms"));
  given_tool("ms\\bin\\mpiexec.exe");
  given_variable("ZEPHON_WORK_SIZE", "1e3");
  given_variable("ZEPHON_WORK_UNIT", "2.5mb");
  (void)run_launcher("--mpi=msmpi");
  const auto line = only_start_of("ms\\bin\\mpiexec.exe").command_line;
  EXPECT_NE(std::string::npos,
            line.find("  -env ZEPHON_WORK_SIZE 1e3  -env ZEPHON_WORK_UNIT 2.5mb "))
      << line;
}

TEST(WorkSize, IsNotForwardedOtherwise) {
  given_installed_release();
  given_wrapper("msmpi");
  given_variable("MSMPI_HOME", in_world("ms"));
  given_tool("ms\\bin\\mpiexec.exe");
  for (const auto *const value : {"0", "abc", "-4", "0.0"}) {
    given_variable("ZEPHON_WORK_SIZE", value);
    (void)run_launcher("--mpi=msmpi");
  }
  const auto starts = starts_of("ms\\bin\\mpiexec.exe");
  EXPECT_EQ(4U, starts.size());
  for (const auto &start : starts) {
    EXPECT_EQ(std::string::npos, start.command_line.find("ZEPHON_WORK")) << start.command_line;
  }
}
