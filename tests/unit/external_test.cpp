// Tests of the command of an external launch command.
#include "backends/external.h"

#include <gtest/gtest.h>

#include <string>

#include "support/fresh_launch.h"

using namespace stand_in;

namespace {

void given_external(const std::string &command) {
  given_variable("ZEPHON_HOSTS_FILE", "C:\\hosts");
  state.external_mpirun = command;
  state.num_procs = 4;
}

std::optional<int> status_of_external() {
  return status_of_exit([] { (void)external_backend(); });
}

}  // namespace

TEST(ExternalCommand, EndsInTheHostFile) {
  given_external("start_here -x");
  EXPECT_EQ(1, external_backend());
  EXPECT_EQ("start_here -x C:\\hosts ", state.launch_command.text);
  EXPECT_EQ("", both_streams());
}

TEST(ExternalCommand, HandsTheRemotePathOnInQuotes) {
  given_external("start_here");
  state.node_path = "C:\\my node;C:\\b";
  EXPECT_EQ(1, external_backend());
  EXPECT_EQ(R"(start_here -env PATH="C:\my node;C:\b" C:\hosts )", state.launch_command.text);
}

TEST(ExternalCommand, QuotesNoHostFile) {
  given_external("start_here");
  given_variable("ZEPHON_HOSTS_FILE", "C:\\my hosts");
  EXPECT_EQ(1, external_backend());
  EXPECT_EQ("start_here C:\\my hosts ", state.launch_command.text);
}

TEST(ExternalCommand, ShowsTheUsersOwnWithoutUsingIt) {
  given_external("start_here");
  given_variable("EXT_MPIRUN", "C:\\own\\mpirun.exe");
  EXPECT_EQ(1, external_backend());
  EXPECT_EQ("start_here C:\\hosts ", state.launch_command.text);
  EXPECT_EQ(
      "\n***\n*** User defined: EXT_MPIRUN=C:\\own\\mpirun.exe\n"
      "*** mpich version will be used!\n***\n",
      standard_output());
  EXPECT_EQ("", standard_error());
}

TEST(ExternalCommand, NeedsAHostFile) {
  given_external("");  // is looked at afterwards
  given_no_variable("ZEPHON_HOSTS_FILE");
  given_variable("EXT_MPIRUN", "x");  // is shown before
  EXPECT_EQ(2, status_of_external());
  EXPECT_EQ("\n Error:  Hostfile does not exist!\n", standard_error());
  EXPECT_EQ("\n***\n*** User defined: EXT_MPIRUN=x\n*** mpich version will be used!\n***\n",
            standard_output());
  EXPECT_EQ("", state.launch_command.text);
}

TEST(ExternalCommand, IsNotDefinedWhenItIsEmpty) {
  given_external("");
  EXPECT_EQ(2, status_of_external());
  EXPECT_EQ("\n Error:  External MPI not defined properly!\n", both_streams());
  EXPECT_EQ("", state.launch_command.text);
}

TEST(ExternalCommand, IsNotDefinedWhenNobodySetIt) {
  given_external("");
  state.external_mpirun.reset();
  EXPECT_EQ(2, status_of_external());
  EXPECT_EQ("\n Error:  External MPI not defined properly!\n", both_streams());
}
