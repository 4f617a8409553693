// mpich_test.cpp: the choice of the MPI, and the launch command of MPICH.

#include <gtest/gtest.h>

#include "scenario_bench.h"

using namespace scenario;

namespace {

const std::string tool = "mpich\\bin\\mpirun.exe";

// MPICH's command line, up to what follows the PATH of the remote processes. The
// launcher writes the tool's path without quotes; where it holds a blank, Windows
// puts them there when it has found the program.
std::string command(const std::string &mpi, const std::string &processes) {
  return in_quotes(in_world(tool)) + " -machinefile " + in_world("hosts") + " -np " + processes +
         "  -env PATH=" + in_world("prod\\netweave\\mpi_wrapper\\win64\\" + mpi) + " ";
}

std::string warning(const std::string &mpi) {
  return "\nWarning: MPI \"" + mpi +
         "\" has no launch command, so the program is started without one.\n";
}

}  // namespace

TEST(Mpich, GetsHostFileProcessCountPathAndSolver) {
  given_installed_release();
  given_mpich("out iteration 1\\n\n");
  const auto run = run_launcher("--mpi=mpich --np=4 solver -j \"a case.jou\"");
  EXPECT_EQ(0U, run.status);
  EXPECT_EQ("iteration 1\n", run.output);
  EXPECT_EQ("", run.errors);
  EXPECT_EQ(command("mpich", "4") + " solver -j \"a case.jou\"", only_start_of(tool).command_line);
}

TEST(Mpich, StandsInItsCommandLineWithoutQuotes) {
  given_installed_release();
  given_mpich();
  given_variable("MPI_HOME", "..\\mpich");  // has no blank, so Windows changes nothing
  given_variable("ZEPHON_HOSTS_FILE", "..\\hosts");
  EXPECT_EQ(0U, run_launcher("--mpi=mpich --np=4 solver").status);
  EXPECT_EQ("..\\mpich\\bin\\mpirun.exe -machinefile ..\\hosts -np 4  -env PATH=" +
                in_world("prod\\netweave\\mpi_wrapper\\win64\\mpich") + "  solver",
            only_start_of(tool).command_line);
}

TEST(Mpich, IsAlsoCalledSmpi) {
  given_installed_release();
  given_mpich();
  given_wrapper("smpi");
  EXPECT_EQ(0U, run_launcher("--mpi=smpi --np=2").status);
  EXPECT_EQ(command("smpi", "2"), only_start_of(tool).command_line);
}

TEST(Mpich, IsAlsoCalledNmpi) {
  given_installed_release();
  given_mpich();
  given_wrapper("nmpi");
  EXPECT_EQ(0U, run_launcher("--mpi=nmpi").status);
  EXPECT_EQ(command("nmpi", "1"), only_start_of(tool).command_line);
}

TEST(Mpich, TakesTheHostFileOfTheCnfOption) {
  given_installed_release();
  given_mpich();
  EXPECT_EQ(0U, run_launcher("--mpi=mpich --cnf=D:\\others").status);
  const auto line = only_start_of(tool).command_line;
  EXPECT_NE(std::string::npos, line.find(" -machinefile D:\\others -np 1 ")) << line;
}

TEST(Mpich, NeedsAHostFile) {
  given_installed_release();
  given_mpich();
  given_no_variable("ZEPHON_HOSTS_FILE");
  const auto run = run_launcher("--mpi=mpich solver");
  EXPECT_EQ(2U, run.status);
  EXPECT_EQ("\r\n Error:  Hostfile does not exist!\r\n", run.errors);
  EXPECT_TRUE(starts_of(tool).empty());
}

TEST(Mpich, DoesNotLookIntoTheHostFile) {
  given_installed_release();
  given_mpich();
  given_variable("ZEPHON_HOSTS_FILE", "D:\\no such file");
  EXPECT_EQ(0U, run_launcher("--mpi=mpich").status);
  EXPECT_EQ(1U, starts_of(tool).size());
}

TEST(Mpich, NeedsItsHome) {
  given_installed_release();
  given_mpich();
  given_no_variable("MPI_HOME");
  const auto run = run_launcher("--mpi=mpich solver");
  EXPECT_EQ(2U, run.status);
  EXPECT_EQ(
      "\r\n Error: environment variable MPI_HOME does not exist!\r\n Please verify that MPICH has "
      "been installed on all computers in the specified cluster in the cnf file\r\n",
      run.errors);
}

TEST(Mpich, NeedsMpiHomeBesideMpichHome) {
  given_installed_release();
  given_mpich();
  given_no_variable("MPI_HOME");
  given_variable("MPICH_HOME", in_world("mpich"));
  const auto run = run_launcher("--mpi=mpich solver");
  EXPECT_EQ(2U, run.status);
  EXPECT_TRUE(run.errors.starts_with("\r\n Error: environment variable MPI_HOME does not exist!"));
}

TEST(Mpich, TakesMpichHomeBeforeMpiHome) {
  given_installed_release();
  given_mpich();
  given_variable("MPI_HOME", "C:\\a");
  given_variable("MPICH_HOME", in_world("mpich"));
  EXPECT_EQ(0U, run_launcher("--mpi=mpich").status);
  EXPECT_EQ(command("mpich", "1"), only_start_of(tool).command_line);
  EXPECT_EQ(in_world("mpich"), only_start_of(tool).variable("MPI_HOME"));
}

TEST(Mpich, CutsMpichHomeWhereTheTextIsFull) {
  given_installed_release();
  given_mpich();
  given_variable("RSH_USER", "someone");
  given_variable("MPI_HOME", "C:\\a");
  given_variable("MPICH_HOME", "C:\\" + std::string(300, 'm'));
  const auto run = run_launcher("--mpi=mpich");
  EXPECT_EQ(255U, run.status);
  // "MPI_HOME=" and its value have 255 characters together.
  EXPECT_TRUE(run.output.starts_with("Unable to execute (null) C:\\" + std::string(243, 'm') +
                                     "\\bin\\mpirun.exe -machinefile "))
      << run.output;
}

TEST(Mpich, ReportsAToolThatIsNotThere) {
  given_installed_release();
  given_mpich();
  given_variable("RSH_USER", "someone");
  given_variable("MPI_HOME", "C:\\no_mpich");
  const auto run = run_launcher("--mpi=mpich solver");
  EXPECT_EQ(255U, run.status);
  EXPECT_TRUE(run.output.starts_with("Unable to execute (null) C:\\no_mpich\\bin\\mpirun.exe "));
}

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

TEST(MpiChoice, GoesByTheNameWhateverExtMpirunSays) {
  given_installed_release();
  given_mpich();
  given_variable("EXT_MPIRUN", "other_mpirun");
  const auto run = run_launcher("--mpi=mpich");
  EXPECT_EQ(0U, run.status);
  EXPECT_EQ("", run.output + run.errors);
  EXPECT_EQ(command("mpich", "1"), only_start_of(tool).command_line);
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
