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

TEST(Discovery, AddsTheFolderOfTheWrapperToTheRemotePath) {
  given_installation("intel");
  discover_installation();
  EXPECT_EQ(intel_wrapper, state.node_path);
}

TEST(Discovery, AppendsTheFolderToAPathThatIsGiven) {
  given_installation("intel");
  state.node_path = "C:\\tools";
  discover_installation();
  EXPECT_EQ(std::string("C:\\tools;") + intel_wrapper, state.node_path);
}

TEST(Discovery, LeavesAPathThatIsTheFolder) {
  given_installation("intel");
  state.node_path = intel_wrapper;
  discover_installation();
  EXPECT_EQ(intel_wrapper, state.node_path);
}

TEST(Discovery, AppendsTheFolderToAPathThatOnlyHoldsIt) {
  given_installation("intel");
  state.node_path = std::string(intel_wrapper) + ";C:\\x";
  discover_installation();
  EXPECT_EQ(std::string(intel_wrapper) + ";C:\\x;" + intel_wrapper, state.node_path);
}

TEST(Discovery, ComparesThePathLetterByLetter) {
  given_installation("intel");
  state.node_path = "c:\\zephon\\zephon12.0.16\\netweave\\mpi_wrapper\\win64\\intel";
  discover_installation();
  EXPECT_EQ(std::string("c:\\zephon\\zephon12.0.16\\netweave\\mpi_wrapper\\win64\\intel;") +
                intel_wrapper,
            state.node_path);
}

TEST(Discovery, EndsTheProgramWithoutTheWrapperLibrary) {
  given_installation("mpich2");
  state.mpi_name = "intel";
  EXPECT_EQ(2, status_of_exit(discover_installation));
  EXPECT_EQ("Error: communicator \"intel\" is not available on this machine.\n", standard_error());
  EXPECT_EQ("", state.node_path);
}

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

TEST(Discovery, AddsTheGpuFolderForTheAcceleratedProgramOnly) {
  given_installation("intel");
  for (const char *program : {"zephon", "lumis", "tessa", "lumis_acc2", "LUMIS_ACC", ""}) {
    state.zephon_prod = program;
    state.node_path.clear();
    discover_installation();
    EXPECT_EQ(intel_wrapper, state.node_path) << program;
  }
  state.zephon_prod = "lumis_acc";
  state.node_path.clear();
  discover_installation();
  EXPECT_EQ(
      std::string(intel_wrapper) + ";C:\\zephon\\zephon12.0.16\\netweave\\gpu_wrapper\\win64\\stub",
      state.node_path);
}

TEST(Discovery, AddsTheGpuFolderOfAnUnsetProductFolder) {
  state.mpi_name = "net";
  state.zephon_arch = "win64";
  state.zephon_prod = "lumis_acc";
  discover_installation();
  EXPECT_EQ("\\netweave\\mpi_wrapper\\win64\\stub;\\netweave\\gpu_wrapper\\win64\\stub",
            state.node_path);
}

TEST(Discovery, AddsTheGpuFolderOnWin64Only) {
  given_installation("intel");
  given_file("C:\\zephon\\zephon12.0.16\\netweave\\mpi_wrapper\\ntx86\\intel\\mpi_wrapper.dll");
  state.zephon_prod = "lumis_acc";
  state.zephon_arch = "ntx86";
  discover_installation();
  EXPECT_EQ("C:\\zephon\\zephon12.0.16\\netweave\\mpi_wrapper\\ntx86\\intel", state.node_path);
}

TEST(Discovery, AddsTheGpuFolderAlsoToAPathThatIsTheWrappers) {
  given_installation("intel");
  state.zephon_prod = "lumis_acc";
  state.node_path = intel_wrapper;
  discover_installation();
  EXPECT_EQ(
      std::string(intel_wrapper) + ";C:\\zephon\\zephon12.0.16\\netweave\\gpu_wrapper\\win64\\stub",
      state.node_path);
}

TEST(Discovery, HandsARequestToTheServiceInstallerFirst) {
  state.smpd_request = "C:\\mpich2";
  given_variable("ZEPHON_INSTALL_IBMMPI", "1");
  EXPECT_EQ(1, status_of_exit(install_on_request));
  EXPECT_EQ(1U, times_opened("C:\\mpich2\\bin\\smpd.exe"));
  EXPECT_EQ("", standard_error());
}

TEST(Discovery, HandsARequestToThePlatformMpiInstaller) {
  given_installation("intel");
  given_variable("ZEPHON_INSTALL_IBMMPI", "1");
  EXPECT_EQ(0, status_of_exit(install_on_request));
  ASSERT_EQ(1U, message_boxes().size());
  EXPECT_EQ("", state.node_path);
}

TEST(Discovery, InstallsPlatformMpiForTheValueOneOnly) {
  given_installation("intel");
  given_variable("ZEPHON_INSTALL_IBMMPI", "yes");
  install_on_request();
  discover_installation();
  EXPECT_TRUE(message_boxes().empty());
  EXPECT_EQ(intel_wrapper, state.node_path);
}

}  // namespace
