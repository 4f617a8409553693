// Tests of the way from the MPI's name to its back-end.
#include "launch/backend_selection.h"

#include <gtest/gtest.h>

#include <string>

#include "support/fresh_launch.h"

using namespace stand_in;

namespace {

// The command that the back-end of a name builds; each begins in its own way.
std::string command_of(const std::string &mpi_name) {
  state.zephon_inc = "C:\\inc";
  state.release = "1.2.3";
  state.mpi_name = mpi_name;
  state.launch_command = {};
  given_variable("MPI_HOME", "C:\\mpich");
  given_variable("ZEPHON_HOSTS_FILE", "C:\\hosts");
  given_variable("ZEPHON_CRED_CHECK", "no");
  given_variable("ORBEX_DONT_CACHE_PASSWORD", "1");
  given_variable("MSMPI_HOME", "C:\\msmpi");
  given_file("C:\\hosts", "alpha\n");
  EXPECT_EQ(1, select_backend());
  return state.launch_command.text;
}

}  // namespace

TEST(BackendSelection, TakesAnExternalCommandBeforeAnyName) {
  state.external_mpirun = "start_here";
  EXPECT_EQ("start_here C:\\hosts ", command_of("intel"));
}

TEST(BackendSelection, TakesAnExternalCommandThatIsEmptyForOneToo) {
  state.external_mpirun = "";
  EXPECT_EQ(2, status_of_exit([] { (void)command_of("intel"); }));
  EXPECT_EQ("\n Error:  External MPI not defined properly!\n", standard_error());
}

TEST(BackendSelection, SilentlySelectsNothingForAnyOtherName) {
  for (const char *name : {"", "net", "MPICH", "Intel", "pcmpi", "mpich ", "mpich22", "mpic"}) {
    EXPECT_EQ("", command_of(name)) << name;
  }
  EXPECT_EQ("", both_streams());
  EXPECT_EQ("", state.message_buffer);
}
