// Tests of the layout of an installed release.
#include "install/mpi_directory.h"

#include <gtest/gtest.h>

#include "core/launch_state.h"
#include "support/fresh_launch.h"

using namespace stand_in;

namespace {

TEST(MpiDirectory, StandsBelowTheRootAndTheRelease) {
  state.zephon_inc = "C:\\zephon";
  state.release = "12.0.16";
  EXPECT_EQ("C:\\zephon\\zephon12.0.16\\netweave\\mpi\\win64\\ibmmpi",
            mpi_installation_directory("ibmmpi", root_choice::shared));
}

TEST(MpiDirectory, TakesAnUnsetReleaseForNothing) {
  state.zephon_inc = "C:\\zephon";
  EXPECT_EQ("C:\\zephon\\zephon\\netweave\\mpi\\win64\\intel",
            mpi_installation_directory("intel", root_choice::shared));
}

TEST(MpiDirectory, TakesAnUnsetRootForNothing) {
  state.release = "12.0.16";
  EXPECT_EQ("\\zephon12.0.16\\netweave\\mpi\\win64\\intel",
            mpi_installation_directory("intel", root_choice::local_allowed));
}

TEST(MpiDirectory, StandsBelowTheLocalRootWhenAllowed) {
  state.zephon_inc = "\\\\server\\zephon";
  state.release = "12.0.16";
  given_variable("ZEPHON_INC_LOCAL_RESERVED", "D:\\local");
  EXPECT_EQ("D:\\local\\zephon12.0.16\\netweave\\mpi\\win64\\intel",
            mpi_installation_directory("intel", root_choice::local_allowed));
  EXPECT_EQ("\\\\server\\zephon\\zephon12.0.16\\netweave\\mpi\\win64\\intel",
            mpi_installation_directory("intel", root_choice::shared));
}

TEST(MpiDirectory, IgnoresALocalRootWithABlank) {
  state.zephon_inc = "C:\\zephon";
  state.release = "12.0.16";
  given_variable("ZEPHON_INC_LOCAL_RESERVED", "D:\\my local");
  EXPECT_EQ("C:\\zephon\\zephon12.0.16\\netweave\\mpi\\win64\\intel",
            mpi_installation_directory("intel", root_choice::local_allowed));
}

TEST(MpiDirectory, TakesAnEmptyLocalRoot) {
  state.zephon_inc = "C:\\zephon";
  state.release = "12.0.16";
  given_variable("ZEPHON_INC_LOCAL_RESERVED", "");
  EXPECT_EQ("\\zephon12.0.16\\netweave\\mpi\\win64\\intel",
            mpi_installation_directory("intel", root_choice::local_allowed));
}

TEST(MpiDirectory, OfARootAndARelease) {
  EXPECT_EQ("C:\\z\\zephon6.3.26\\netweave\\mpi\\win64\\mpich2",
            mpi_directory_of_release("C:\\z", "6.3.26", "mpich2"));
}

TEST(NtbinDirectory, StandsBelowTheRoot) {
  EXPECT_EQ("C:\\zephon\\ntbin\\win64", ntbin_directory("C:\\zephon"));
}

}  // namespace
