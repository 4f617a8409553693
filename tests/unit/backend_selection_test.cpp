// Tests of the way from the MPI's name to its back-end beside the rows of tests/cases.
#include "launch/backend_selection.h"

#include <gtest/gtest.h>

#include <string_view>

#include "support/fresh_launch.h"

using namespace stand_in;

TEST(BackendSelection, TakesAnExternalCommandBeforeAnyName) {
  given_variable("ZEPHON_HOSTS_FILE", "C:\\hosts");
  state.mpi_name = "intel";
  state.external_mpirun = "start_here";
  EXPECT_EQ(1, select_backend());
  EXPECT_EQ("start_here C:\\hosts ", state.launch_command.text);
  state.external_mpirun = "";  // is one too
  EXPECT_EQ(2, status_of_exit([] { (void)select_backend(); }));
}

TEST(BackendSelection, GivesOneForEveryMpi) {
  given_file("C:\\hosts");
  given_variable("MPI_HOME", "C:\\mpich");
  for (const char *name : {"vmpi", "msmpi", "mpich2", "ibmmpi", "intel", "smpi", "nmpi", "mpich"}) {
    if (std::string_view(name) == "smpi") {
      given_variable("ZEPHON_HOSTS_FILE", "C:\\hosts");  // these need one
    }
    state.mpi_name = name;
    EXPECT_EQ(1, select_backend()) << name;
  }
}

TEST(BackendSelection, SilentlySelectsNothingForAnyOtherName) {
  for (const char *name : {"", "net", "MPICH", "Intel", "pcmpi", "mpich ", "mpich22", "mpic"}) {
    state.mpi_name = name;
    EXPECT_EQ(1, select_backend());
  }
  EXPECT_EQ("", state.launch_command.text + both_streams() + state.message_buffer);
}
