// Tests of the command of an external launch command, which no launch asks for today.
#include "backends/external.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "support/fresh_launch.h"

using namespace stand_in;

namespace {

struct external_launch {
  std::string hosts_file;
  std::string node_path;
  std::string command;
};

TEST(ExternalCommand, EndsInTheHostFile) {
  const external_launch launches[] = {
      {"C:\\hosts", "", "start_here -x C:\\hosts "},
      {"C:\\my hosts", "", "start_here -x C:\\my hosts "},
      {"C:\\hosts", "C:\\my node;C:\\b", R"(start_here -x -env PATH="C:\my node;C:\b" C:\hosts )"},
  };
  state.external_mpirun = "start_here -x";
  for (const auto &[hosts_file, node_path, command] : launches) {
    given_variable("ZEPHON_HOSTS_FILE", hosts_file);
    state.node_path = node_path;
    EXPECT_EQ(1, external_backend());
    EXPECT_EQ(command, state.launch_command.text);
  }
  ASSERT_EQ(3U, state.launch_command.pieces.size());
  EXPECT_EQ("program: the external launch command", state.launch_command.pieces[0].reason);
  EXPECT_EQ("PATH of the remote processes", state.launch_command.pieces[1].reason);
  EXPECT_EQ("", both_streams());
}

TEST(ExternalCommand, ShowsTheUsersOwnBeforeItNeedsAHostFile) {
  state.external_mpirun = "";  // is looked at afterwards
  given_variable("EXT_MPIRUN", "C:\\own\\mpirun.exe");
  EXPECT_EQ(2, status_of_exit([] { (void)external_backend(); }));
  EXPECT_EQ(
      "\n***\n*** User defined: EXT_MPIRUN=C:\\own\\mpirun.exe\n"
      "*** mpich version will be used!\n***\n",
      standard_output());
  EXPECT_EQ("\n Error:  Hostfile does not exist!\n", standard_error());
}

TEST(ExternalCommand, IsNotDefinedWhenItIsEmptyOrNotSet) {
  given_variable("ZEPHON_HOSTS_FILE", "C:\\hosts");
  state.external_mpirun = "";
  EXPECT_EQ(2, status_of_exit([] { (void)external_backend(); }));
  EXPECT_EQ("\n Error:  External MPI not defined properly!\n", both_streams());
  EXPECT_EQ("", state.launch_command.text);
  state.external_mpirun.reset();
  EXPECT_EQ(2, status_of_exit([] { (void)external_backend(); }));
}

}  // namespace
