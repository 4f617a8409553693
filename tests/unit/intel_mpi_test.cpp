// Tests of the back-end of Intel MPI beside the rows of tests/cases.
#include "backends/intel_mpi.h"

#include <gtest/gtest.h>

#include <string>

#include "support/fresh_launch.h"

using namespace stand_in;

namespace {

const std::string installation = R"(C:\inc\zephon1.2.3\netweave\mpi\win64\intel)";

void given_release() {
  state.zephon_inc = "C:\\inc";
  state.release = "1.2.3";
}

// A host file that names this computer alone.
void given_own_host(int processes) {
  given_release();
  given_variable("TEMP", "C:\\temp");
  given_variable("ZEPHON_HOSTS_FILE", "C:\\hosts");
  given_variable("ZEPHON_CRED_CHECK", "no");
  given_variable("COMPUTERNAME", "ALPHA");
  given_file("C:\\hosts", "alpha\n");
  state.num_procs = processes;
}

bool is_local() {
  EXPECT_EQ(1, build_intel_mpi_command());
  return state.launch_command.text.find(" -localroot -localonly ") != std::string::npos;
}

TEST(IntelMpiCommand, SetsItsVariablesInThisOrder) {
  given_release();
  EXPECT_TRUE(is_local());
  std::string expected = "SMPD_OPTION_BINARY=" + installation + "\\bin\\smpd.exe";
  expected += '\0';
  expected += "ZEPHON_AFFINITY=0";
  expected += '\0';
  expected += "PATH=" + installation + R"(\bin;C:\inc\ntbin\win64)";  // there was none before
  expected.append(2, '\0');
  EXPECT_EQ(expected, state.env_pool);
}

TEST(IntelMpiCommand, LooksInTheRootOfTheDriveWithoutAFolderOfReleases) {
  EXPECT_TRUE(is_local());
  EXPECT_EQ(R"(\zephon\netweave\mpi\win64\intel\bin;\ntbin\win64)", variable("PATH"));
}

TEST(IntelMpiCommand, DoesNotKnowItsOwnHostOnceTheProcessesAreSpread) {
  given_own_host(2);
  EXPECT_FALSE(is_local());
  EXPECT_EQ("alpha:2\r\n", file_content("C:\\temp\\zphost-4711.txt"));
}

TEST(IntelMpiCommand, WarnsWhenTheHostFileIsGoneForTheSingleHostTest) {
  given_own_host(1);
  given_last_opening("C:\\hosts");
  EXPECT_FALSE(is_local());
  EXPECT_TRUE(standard_output().ends_with(
      "\nWarning: Unable to open host file C:\\hosts! Use local machine.\n"));
}

}  // namespace
