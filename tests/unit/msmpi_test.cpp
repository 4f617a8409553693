// Tests of the back-end of MS-MPI beside the rows of tests/cases.
#include "backends/msmpi.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <vector>

#include "core/launch_state.h"
#include "support/fresh_launch.h"

using namespace stand_in;

namespace {

std::string built_command() {
  EXPECT_EQ(1, msmpi_backend());
  return state.launch_command.text;
}

// A launch with 4 processes of an MS-MPI that MSMPI_HOME names.
class MsmpiCommand : public testing::Test {
 protected:
  MsmpiCommand() {
    state.zephon_inc = "C:\\zephon";
    state.mpi_name = "msmpi";
    state.num_procs = 4;
    given_variable("MSMPI_HOME", "C:\\msmpi");
  }
};

// ---- Inside a job -------------------------------------------------------------------------

TEST_F(MsmpiCommand, IsInsideAJobOnlyWithTheNodesOfOne) {
  given_variable("USE_CCP", "-1");
  given_variable("ZEPHON_CRED_CHECK", "no");
  EXPECT_TRUE(built_command().starts_with("job submit /scheduler:-1 "));
  given_variable("CCP_NODES", "");
  EXPECT_TRUE(built_command().starts_with("C:\\msmpi\\bin\\mpiexec.exe   -hosts   -env PATH "));
}

TEST(InsideScheduledJob, IsMinusOneAndTheNodesOfAJob) {
  EXPECT_FALSE(inside_scheduled_job());
  given_variable("CCP_NODES", "1 a 1");
  EXPECT_FALSE(inside_scheduled_job());
  given_variable("USE_CCP", "head");
  EXPECT_FALSE(inside_scheduled_job());
  given_variable("USE_CCP", "-1 ");
  EXPECT_FALSE(inside_scheduled_job());
  given_variable("USE_CCP", "-1");
  EXPECT_TRUE(inside_scheduled_job());
  given_no_variable("CCP_NODES");
  EXPECT_FALSE(inside_scheduled_job());
}

// ---- Handed to the scheduler --------------------------------------------------------------

TEST_F(MsmpiCommand, IsBuiltWithoutAnyTool) {
  given_variable("USE_CCP", "head");
  given_no_command_interpreter();
  EXPECT_TRUE(built_command().starts_with("job submit /scheduler:head "));
  EXPECT_EQ(
      "\nerror : cmd = cluscfg listenvs /scheduler:head\n"
      "\nError in execute command cluscfg listenvs /scheduler:head\n",
      standard_error());
}

// ---- The machine file of a job ------------------------------------------------------------

class AllocatedMachineFile : public testing::Test {
 protected:
  static constexpr const char *view_command = "job view 42 /scheduler:head";

  // The file that is written for a job that the tool describes so.
  static std::optional<std::string> file_for(const std::string &output, int processes = 4,
                                             int per_node = 2) {
    given_tool_for([](const std::string &command) { return command == view_command; },
                   prints(output));
    returned = write_allocated_machine_file("head", 42, processes, per_node, "C:\\hosts");
    return file_content("C:\\hosts");
  }

  static inline std::optional<std::string> returned;
};

TEST_F(AllocatedMachineFile, IsEmptiedBeforeTheToolRuns) {
  given_file("C:\\hosts", "old\n");
  std::optional<std::string> meanwhile;
  given_tool(view_command, prints("").does([&] { meanwhile = file_content("C:\\hosts"); }));
  EXPECT_EQ(std::nullopt, write_allocated_machine_file("head", 42, 4, 2, "C:\\hosts"));
  EXPECT_EQ("", meanwhile);
  EXPECT_EQ("", file_content("C:\\hosts"));
}

TEST_F(AllocatedMachineFile, IsLeftEmptyWhenTheToolCannotBeStarted) {
  given_file("C:\\hosts", "old\n");
  given_no_command_interpreter();
  EXPECT_EQ(std::nullopt, write_allocated_machine_file("head", 42, 4, 2, "C:\\hosts"));
  EXPECT_EQ("", file_content("C:\\hosts"));
  EXPECT_EQ(
      "\nerror : cmd = job view 42 /scheduler:head\n"
      "\nError in execute command job view 42 /scheduler:head\n",
      standard_error());
}

TEST_F(AllocatedMachineFile, NeedsNoName) {
  given_tool(view_command, prints("Allocated nodes : a\r\n"));
  state.ptrace_mode = true;
  EXPECT_EQ(std::nullopt, write_allocated_machine_file("head", 42, 4, 2, std::nullopt));
  EXPECT_EQ("Allocated nodes : a\n", standard_output());
  EXPECT_TRUE(written_files().empty());
}

TEST_F(AllocatedMachineFile, IsNamedEvenWhenItCannotBeOpened) {
  given_unwritable_path("C:\\hosts");
  EXPECT_EQ(std::nullopt, file_for("Allocated nodes : a\r\n"));
  EXPECT_EQ("C:\\hosts", returned);
}

// Two thousand million lines would follow.
TEST_F(AllocatedMachineFile, IsRemovedWhenItCannotBeWrittenWhole) {
  constexpr int many = INT_MAX;
  state.ptrace_mode = true;
  given_full_disk_after(5);
  given_tool(view_command, prints("Allocated nodes : alpha\r\n"));
  EXPECT_EQ(std::nullopt, write_allocated_machine_file("head", 42, many, many, "C:\\hosts"));
  EXPECT_FALSE(file_exists("C:\\hosts"));
  EXPECT_EQ("Allocated nodes : alpha\n", standard_output());
  EXPECT_EQ("", standard_error());
}

// ---- Cluster settings ---------------------------------------------------------------------

constexpr const char *settings_command = "cluscfg listenvs /scheduler:head";
TEST(ClusterSettings, AreNotAskedWithoutAHeadNodeOrInsideAJob) {
  check_cluster_environment(std::nullopt);
  check_cluster_environment("-1");
  EXPECT_TRUE(commands().empty());
  check_cluster_environment("-1 ");
  EXPECT_EQ(1U, commands().size());
}

TEST(ClusterSettings, AreReadOneLineBehindTheNumber) {
  given_tool(settings_command, prints("MPICH_SOCKET_SBUFFER_SIZE=1\r\n")
                                   .then_prints("one more\r\n", 1'000)
                                   .then_prints("and more\r\n", 1'000));
  check_cluster_environment("head");
  EXPECT_EQ(1'000U, now());
}

// ---- The node list ------------------------------------------------------------------------

struct node_list {
  const char *nodes;
  int processes;
  const char *reduced;
};

TEST(NodeList, IsCutDownToOneProcessOnEachOfTheFirstNodes) {
  const node_list lists[] = {
      {"3 alpha 8 beta 8 gamma 8", 1, "1 alpha 1 "},
      {"3 alpha 8 beta 8 gamma 8", 2, "2 alpha 1 beta 1 "},
      {"3 alpha 8 beta 8 gamma 8", 3, "3 alpha 1 beta 1 gamma 1 "},
      {"3 alpha 8 beta 8 gamma 8", 4, "3 alpha 8 beta 8 gamma 8"},  // fewer than processes
      {"1  alpha  4 ", 2, "1  alpha  4 "},
      {"Overflow", 2, "Overflow"},
      {"alpha 8 beta 8", 1, "alpha 8 beta 8"},
      {"-3 a 1", 1, "-3 a 1"},
      {"", 4, ""},
      {"", -1, ""},
      {"2 alpha 8 beta 8", 0, "0 "},
      {"2 alpha 8 beta 8", -1, "-1 "},
      {"9 alpha 8 beta", 3, "3 alpha 1 beta 1 "},  // fewer than it says
      {"9", 3, "3 "},
      {"  3   alpha 8  beta  8 gamma 8", 2, "2 alpha 1 beta 1 "},
  };
  for (const auto &[nodes, processes, reduced] : lists) {
    EXPECT_EQ(reduced, reduce_node_list(nodes, processes));
  }
}

TEST(NodeList, HasRoomForManyNodes) {
  std::string nodes = "4096";
  std::string reduced = "4096 ";
  for (int i = 0; i < 4'096; ++i) {
    nodes += " n" + std::to_string(i) + " 9";
    reduced += "n" + std::to_string(i) + " 1 ";
  }
  EXPECT_EQ(reduced, reduce_node_list(nodes, 4'096));
}

}  // namespace
