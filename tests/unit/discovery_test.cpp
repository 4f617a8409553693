// Tests of the discovery of the installed release beside the rows of tests/cases.
#include "launch/discovery.h"

#include <gtest/gtest.h>

#include <string>

#include "core/launch_state.h"
#include "support/fresh_launch.h"

using namespace stand_in;

namespace {

TEST(Discovery, OpensTheWrapperOnceAndNeedsItReadable) {
  const std::string library =
      "C:\\zephon\\zephon12.0.16\\netweave\\mpi_wrapper\\win64\\intel\\mpi_wrapper.dll";
  given_installation("intel");
  discover_installation();
  EXPECT_EQ(1U, times_opened(library));
  given_unreadable_file(library);
  EXPECT_EQ(2, status_of_exit(discover_installation));
}

TEST(Discovery, EndsTheProgramWithoutAnMpiName) {
  given_installation("");
  given_no_file("C:\\zephon\\zephon12.0.16\\netweave\\mpi_wrapper\\win64\\mpi_wrapper.dll");
  EXPECT_EQ(2, status_of_exit(discover_installation));
  EXPECT_EQ("Error: communicator \"\" is not available on this machine.\n", standard_error());
}

TEST(Discovery, UsesTheStubForNetWithoutLookingForALibrary) {
  state.mpi_name = "net";
  state.zephon_arch = "win64";
  state.zephon_prod = "lumis_acc";
  discover_installation();  // unset folders are nothing
  EXPECT_EQ("\\netweave\\mpi_wrapper\\win64\\stub;\\netweave\\gpu_wrapper\\win64\\stub",
            state.node_path);
  EXPECT_EQ(0U, times_opened("\\netweave\\mpi_wrapper\\win64\\net\\mpi_wrapper.dll"));
}

TEST(Discovery, HandsARequestToTheServiceInstallerFirst) {
  state.smpd_request = "C:\\mpich2";
  given_variable("ZEPHON_INSTALL_IBMMPI", "1");
  EXPECT_EQ(1, status_of_exit(install_on_request));
  EXPECT_EQ(1U, times_opened("C:\\mpich2\\bin\\smpd.exe"));
}

}  // namespace
