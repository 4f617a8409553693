// Tests of the search for MPICH2 beside the rows of tests/cases.
#include "backends/mpich2.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/fresh_launch.h"

using namespace stand_in;

namespace {

const std::string installation = R"(C:\inc\zephon1.2.3\netweave\mpi\win64\mpich2)";
const std::string home_shown =
    "\n***\n*** User defined: MPICH2_HOME=C:\\own\n"
    "*** Make sure the same MPICH2 version is installed on all the used machines!\n***\n";

void given_own_home(const std::string &home) {
  state.zephon_inc = "C:\\inc";
  state.release = "1.2.3";
  given_variable("MPICH2_HOME", home);
  given_file(home + "\\bin\\mpiexec.exe");
  given_file(home + "\\bin\\smpd.exe");
}

TEST(Mpich2Home, IsTheReleasesOwnWhenTheUsersIsEmpty) {
  given_own_home("");  // with an mpiexec.exe in \bin
  EXPECT_EQ(installation, find_mpich2_home(root_choice::shared));
}

TEST(Mpich2Home, IsShownBeforeItsVersionAndMayBeGoneLater) {
  given_own_home("C:\\own");
  given_tool("C:\\own\\bin\\smpd.exe -version", prints("1.2.1p1\r\n"));
  EXPECT_EQ("C:\\own", find_mpich2_home(root_choice::shared));
  EXPECT_EQ(home_shown, started_commands().at(0).said_before);
  given_no_file("C:\\own\\bin\\mpiexec.exe");
  EXPECT_EQ(installation, find_mpich2_home(root_choice::shared));
}

TEST(Mpich2Home, IsShownWithAnSmpdThatCannotBeRun) {
  given_own_home("C:\\own");
  given_no_pipes();
  EXPECT_EQ("C:\\own", find_mpich2_home(root_choice::shared));
  EXPECT_EQ(home_shown + "\n", standard_output());
  EXPECT_EQ(
      "\nerror : cmd = C:\\own\\bin\\smpd.exe -version\n"
      "\nError in execute command C:\\own\\bin\\smpd.exe -version\n",
      standard_error());
}

}  // namespace
