// Tests of the search for MPICH2 beside the rows of tests/cases.
#include "backends/mpich2.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/fresh_launch.h"

using namespace stand_in;

namespace {

using texts = std::vector<std::string>;

const std::string installation = R"(C:\inc\zephon1.2.3\netweave\mpi\win64\mpich2)";
const std::string ask_version = "C:\\own\\bin\\smpd.exe -version";
const std::string home_shown =
    "\n***\n*** User defined: MPICH2_HOME=C:\\own\n"
    "*** Make sure the same MPICH2 version is installed on all the used machines!\n***\n";

void given_release() {
  state.zephon_inc = "C:\\inc";
  state.release = "1.2.3";
  state.num_procs = 4;
  state.mpi_name = "mpich2";
}

void given_own_home(const std::string &home = "C:\\own") {
  given_release();
  given_variable("MPICH2_HOME", home);
  given_file(home + "\\bin\\mpiexec.exe");
}

// What is said when `smpd -version` answers so.
std::string report_of(const std::string &answer) {
  given_own_home();
  given_file("C:\\own\\bin\\smpd.exe");
  given_tool(ask_version, prints(answer));
  EXPECT_EQ("C:\\own", find_mpich2_home(root_choice::shared));
  EXPECT_EQ("", standard_error());
  EXPECT_TRUE(standard_output().starts_with(home_shown));
  return standard_output().substr(home_shown.size());
}

}  // namespace

// ---- The installation ---------------------------------------------------------------------

TEST(Mpich2Home, IsTheReleasesOwnWhenTheUsersIsEmpty) {
  given_own_home("");  // with an mpiexec.exe in \bin
  EXPECT_EQ(installation, find_mpich2_home(root_choice::shared));
}

TEST(Mpich2Home, IsShownWithItsVersion) {
  EXPECT_EQ("1.2.1p1\n\n", report_of("1.2.1p1\r\n"));
  EXPECT_EQ(texts{ask_version}, commands());
  EXPECT_EQ(home_shown, started_commands().at(0).said_before);
}

TEST(Mpich2Home, MayFindItsMpiexecGoneLater) {
  (void)report_of("1.2.1p1\r\n");
  given_no_file("C:\\own\\bin\\mpiexec.exe");
  EXPECT_EQ(installation, find_mpich2_home(root_choice::shared));
}

TEST(Mpich2Home, IsShownWithAnSmpdThatCannotBeRun) {
  given_own_home();
  given_file("C:\\own\\bin\\smpd.exe");
  given_no_pipes();
  EXPECT_EQ("C:\\own", find_mpich2_home(root_choice::shared));
  EXPECT_EQ(home_shown + "\n", standard_output());
  EXPECT_EQ(
      "\nerror : cmd = C:\\own\\bin\\smpd.exe -version\n"
      "\nError in execute command C:\\own\\bin\\smpd.exe -version\n",
      standard_error());
}
