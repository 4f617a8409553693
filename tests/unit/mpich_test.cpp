// Tests of the launch command of MPICH.
#include "backends/mpich.h"

#include <gtest/gtest.h>

#include <string>

#include "support/fresh_launch.h"

using namespace stand_in;

namespace {

void given_mpich() {
  given_variable("ZEPHON_HOSTS_FILE", "C:\\hosts");
  given_variable("MPI_HOME", "C:\\a");
  state.num_procs = 4;
}

std::optional<int> status_of_mpich() {
  return status_of_exit([] { (void)mpich_backend(); });
}

}  // namespace

TEST(MpichCommand, EndsInTheProcessCountAndABlankWithoutARemotePath) {
  given_mpich();
  EXPECT_EQ(1, mpich_backend());
  EXPECT_EQ(R"(C:\a\bin\mpirun.exe -machinefile C:\hosts -np 4 )", state.launch_command);
  EXPECT_EQ("", both_streams());
}

TEST(MpichCommand, HandsTheRemotePathOnWithoutQuotes) {
  given_mpich();
  state.node_path = "C:\\my node;C:\\b";
  EXPECT_EQ(1, mpich_backend());
  EXPECT_EQ(R"(C:\a\bin\mpirun.exe -machinefile C:\hosts -np 4  -env PATH=C:\my node;C:\b)",
            state.launch_command);
}

TEST(MpichCommand, QuotesNothing) {
  given_mpich();
  given_variable("ZEPHON_HOSTS_FILE", "C:\\my hosts");
  given_variable("MPI_HOME", "C:\\my mpi");
  EXPECT_EQ(1, mpich_backend());
  EXPECT_EQ(R"(C:\my mpi\bin\mpirun.exe -machinefile C:\my hosts -np 4 )", state.launch_command);
}

TEST(MpichCommand, TakesMpichHomeBeforeMpiHome) {
  given_mpich();
  given_variable("MPICH_HOME", "C:\\b");
  EXPECT_EQ(1, mpich_backend());
  EXPECT_EQ(R"(C:\b\bin\mpirun.exe -machinefile C:\hosts -np 4 )", state.launch_command);
}

TEST(MpichCommand, ReplacesMpiHomeForTheProgramsThatItStarts) {
  given_mpich();
  given_variable("MPICH_HOME", "C:\\b");
  EXPECT_EQ(1, mpich_backend());
  EXPECT_EQ("C:\\b", variable("MPI_HOME"));
  EXPECT_EQ("MPI_HOME=C:\\b" + std::string(2, '\0'), state.env_pool);
}

TEST(MpichCommand, SetsNothingWithoutMpichHome) {
  given_mpich();
  EXPECT_EQ(1, mpich_backend());
  EXPECT_EQ(std::string(1, '\0'), state.env_pool);
}

TEST(MpichCommand, TakesAMpichHomeOf246CharactersWhole) {
  given_mpich();
  const std::string home = "C:\\" + std::string(243, 'h');  // MPI_HOME=... has 255 then
  given_variable("MPICH_HOME", home);
  EXPECT_EQ(1, mpich_backend());
  EXPECT_EQ(home, variable("MPI_HOME"));
}

TEST(MpichCommand, CutsALongerMpichHome) {
  given_mpich();
  const std::string home = "C:\\" + std::string(243, 'h');
  given_variable("MPICH_HOME", home + "x");
  EXPECT_EQ(1, mpich_backend());
  EXPECT_EQ(home, variable("MPI_HOME"));
  EXPECT_EQ(home + "\\bin\\mpirun.exe -machinefile C:\\hosts -np 4 ", state.launch_command);
}

TEST(MpichCommand, NeedsNoFileBehindTheHostFilesName) {
  given_mpich();
  EXPECT_EQ(1, mpich_backend());
  EXPECT_EQ(0U, times_opened("C:\\hosts"));
}

TEST(MpichCommand, NeedsAHostFile) {
  given_mpich();
  given_no_variable("ZEPHON_HOSTS_FILE");
  given_no_variable("MPI_HOME");  // is asked for afterwards
  EXPECT_EQ(2, status_of_mpich());
  EXPECT_EQ("\n Error:  Hostfile does not exist!\n", standard_error());
  EXPECT_EQ("", standard_output());
  EXPECT_EQ("", state.launch_command);
}

TEST(MpichCommand, NeedsMpiHomeEvenWithMpichHome) {
  given_mpich();
  given_no_variable("MPI_HOME");
  given_variable("MPICH_HOME", "C:\\b");
  EXPECT_EQ(2, status_of_mpich());
  EXPECT_EQ(
      "\n Error: environment variable MPI_HOME does not exist!\n"
      " Please verify that MPICH has been installed on all computers in the specified cluster in "
      "the cnf file\n",
      standard_error());
  EXPECT_EQ("", standard_output());
  EXPECT_EQ("", state.launch_command);
  EXPECT_EQ(std::nullopt, variable("MPI_HOME"));
}

TEST(MpichCommand, TakesAnEmptyMpichHomeAtItsWord) {
  given_mpich();
  given_variable("MPICH_HOME", "");
  EXPECT_EQ(1, mpich_backend());
  EXPECT_EQ(R"(\bin\mpirun.exe -machinefile C:\hosts -np 4 )", state.launch_command);
}
