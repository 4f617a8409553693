// Tests of the layout of an installed release.
#include "install/mpi_directory.h"

#include <gtest/gtest.h>

#include "core/launch_state.h"
#include "support/fresh_launch.h"

using namespace stand_in;

namespace {

TEST(MpiDirectory, StandsBelowTheRootAndTheRelease) {
  EXPECT_EQ("\\zephon\\netweave\\mpi\\win64\\intel",
            mpi_installation_directory("intel", root_choice::shared));
  state.zephon_inc = "C:\\zephon";
  state.release = "12.0.16";
  EXPECT_EQ("C:\\zephon\\zephon12.0.16\\netweave\\mpi\\win64\\ibmmpi",
            mpi_installation_directory("ibmmpi", root_choice::local_allowed));
  EXPECT_EQ("C:\\z\\zephon6.3.26\\netweave\\mpi\\win64\\mpich2",
            mpi_directory_of_release("C:\\z", "6.3.26", "mpich2"));
  EXPECT_EQ("C:\\zephon\\ntbin\\win64", ntbin_directory("C:\\zephon"));
}

TEST(MpiDirectory, StandsBelowALocalRootWithoutABlankWhenAllowed) {
  state.zephon_inc = "C:\\zephon";
  for (const char *root : {"D:\\local", ""}) {
    given_variable("ZEPHON_INC_LOCAL_RESERVED", root);
    EXPECT_EQ(std::string(root) + "\\zephon\\netweave\\mpi\\win64\\intel",
              mpi_installation_directory("intel", root_choice::local_allowed));
  }
  given_variable("ZEPHON_INC_LOCAL_RESERVED", "D:\\my local");
  EXPECT_EQ("C:\\zephon\\zephon\\netweave\\mpi\\win64\\intel",
            mpi_installation_directory("intel", root_choice::local_allowed));
}

}  // namespace
