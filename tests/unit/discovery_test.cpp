// Tests of the discovery of the installed release.
#include "launch/discovery.h"

#include <gtest/gtest.h>

#include <string>

#include "core/launch_state.h"
#include "support/fresh_launch.h"

using namespace stand_in;

namespace {

constexpr const char *intel_wrapper =
    "C:\\zephon\\zephon12.0.16\\netweave\\mpi_wrapper\\win64\\intel";

TEST(Discovery, EndsTheProgramWhenTheWrapperCannotBeRead) {
  given_installation("intel");
  given_unreadable_file(std::string(intel_wrapper) + "\\mpi_wrapper.dll");
  EXPECT_EQ(2, status_of_exit(discover_installation));
}

TEST(Discovery, EndsTheProgramWithoutAnMpiName) {
  given_installation("intel");
  state.mpi_name = "";
  EXPECT_EQ(2, status_of_exit(discover_installation));
  EXPECT_EQ("Error: communicator \"\" is not available on this machine.\n", standard_error());
}

TEST(Discovery, TakesUnsetFoldersForNothing) {
  state.mpi_name = "intel";
  EXPECT_EQ(2, status_of_exit(discover_installation));
  EXPECT_EQ(1U, times_opened("\\netweave\\mpi_wrapper\\\\intel\\mpi_wrapper.dll"));
}

TEST(Discovery, OpensTheWrapperOnce) {
  given_installation("intel");
  discover_installation();
  EXPECT_EQ(1U, times_opened(std::string(intel_wrapper) + "\\mpi_wrapper.dll"));
}

TEST(Discovery, UsesTheStubForNetWithoutLookingForALibrary) {
  given_installation("intel");
  state.mpi_name = "net";
  discover_installation();
  EXPECT_EQ("C:\\zephon\\zephon12.0.16\\netweave\\mpi_wrapper\\win64\\stub", state.node_path);
  EXPECT_EQ(0U,
            times_opened(
                "C:\\zephon\\zephon12.0.16\\netweave\\mpi_wrapper\\win64\\net\\mpi_wrapper.dll"));
}

TEST(Discovery, AddsTheGpuFolderOfAnUnsetProductFolder) {
  state.mpi_name = "net";
  state.zephon_arch = "win64";
  state.zephon_prod = "lumis_acc";
  discover_installation();
  EXPECT_EQ("\\netweave\\mpi_wrapper\\win64\\stub;\\netweave\\gpu_wrapper\\win64\\stub",
            state.node_path);
}

TEST(Discovery, HandsARequestToTheServiceInstallerFirst) {
  state.smpd_request = "C:\\mpich2";
  given_variable("ZEPHON_INSTALL_IBMMPI", "1");
  EXPECT_EQ(1, status_of_exit(install_on_request));
  EXPECT_EQ(1U, times_opened("C:\\mpich2\\bin\\smpd.exe"));
  EXPECT_EQ("", standard_error());
}

}  // namespace
