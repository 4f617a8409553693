// A test of the launch command of MPICH beside the rows of tests/cases.
#include "backends/mpich.h"

#include <gtest/gtest.h>

#include "support/fresh_launch.h"

using namespace stand_in;

// In a launch the remote path is never empty.
TEST(MpichCommand, EndsInTheProcessCountAndABlankWithoutARemotePath) {
  given_variable("ZEPHON_HOSTS_FILE", "C:\\hosts");
  given_variable("MPI_HOME", "C:\\a");
  EXPECT_EQ(1, mpich_backend());
  EXPECT_EQ(R"(C:\a\bin\mpirun.exe -machinefile C:\hosts -np 1 )", state.launch_command.text);
}
