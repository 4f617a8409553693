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

struct found_program {
  const char *mpi, *variable, *without, *with;  // what is said of its program
};

TEST(BackendSelection, GivesOneForEveryMpiAndSaysWhoseItIs) {
  const char *const msmpi = "program: MS-MPI of the release";
  const char *const own_msmpi = "program: MS-MPI of MSMPI_HOME";
  const char *const mpich = "program: MPICH of MPI_HOME";
  const char *const own_mpich = "program: MPICH of MPICH_HOME";
  const char *const intel = "program: Intel MPI of the release";
  for (const auto &[mpi, variable, without, with] :
       {found_program{"vmpi", "MSMPI_HOME", msmpi, own_msmpi},
        {"msmpi", "MSMPI_HOME", msmpi, own_msmpi},
        {"mpich2", "MPICH2_HOME", "program: MPICH2 of the release",
         "program: MPICH2 of MPICH2_HOME"},
        {"ibmmpi", "IBMMPI_ROOT", "program: Platform MPI of the release",
         "program: Platform MPI of IBMMPI_ROOT"},
        {"intel", "INTEL_ROOT", intel, intel},
        {"smpi", "MPICH_HOME", mpich, own_mpich},
        {"nmpi", "MPICH_HOME", mpich, own_mpich},
        {"mpich", "MPICH_HOME", mpich, own_mpich}}) {
    for (const char *reason : {without, with}) {
      fresh_launch();
      given_file("C:\\hosts");
      given_file("C:\\own\\bin\\mpiexec.exe");
      if (std::string_view(variable) == "MPICH_HOME") {
        given_variable("ZEPHON_HOSTS_FILE", "C:\\hosts");
        given_variable("MPI_HOME", "C:\\mpich");
      }
      if (reason == with) {
        given_variable(variable, "C:\\own");
      }
      state.mpi_name = mpi;
      EXPECT_EQ(1, select_backend()) << mpi;
      EXPECT_EQ(reason, state.launch_command.pieces.at(0).reason);
    }
  }
}

TEST(BackendSelection, SilentlySelectsNothingForAnyOtherName) {
  for (const char *name : {"", "net", "MPICH", "Intel", "pcmpi", "mpich ", "mpich22", "mpic"}) {
    state.mpi_name = name;
    EXPECT_EQ(1, select_backend());
  }
  EXPECT_EQ("", state.launch_command.text + both_streams() + state.message_buffer);
}
