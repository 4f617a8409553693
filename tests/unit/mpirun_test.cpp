// Tests of the run sequence beside the rows of tests/cases: the entries, and the order of the
// phases.
#include "launch/mpirun.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "core/launch_state.h"
#include "core/messages.h"
#include "support/fresh_launch.h"

using namespace stand_in;

namespace {

using texts = std::vector<std::string>;

constexpr const char *usage_text =
    "Usage: mpirun.exe [version] [options]\n"
    "options:\n"
    "\t-help\t\tthis listing\n"
    "\t-rx\t\tspecify release x\n"
    "parallel options:\n"
    "\t-ccp x\t\trun through Microsoft Job Scheduler, and x is the head node name\n"
    "\t-cnf=x\t\tspecify the host file\n"
    "\t-host_ip=host:ip\tspecify the ip interface to be used by the host process\n"
    "\t-mpi=mpi\t\tspecify MPI implementation; mpi={ibmmpi | intel | ...}\n"
    "\t-mpitest\t\trun the mpitest program instead of ZEPHON to test the network\n"
    "\t-pic\t\tspecify interconnect; ic={default | myri | ib }\n"
    "\t-tx\t\tspecify number of processors x\n";

std::optional<int> run_from_window(const texts &arguments) {
  return status_of_exit([&] {
    char **vector = given_arguments(arguments);
    start_from_window(nullptr, 1, state.arg_count, vector);
  });
}

std::optional<int> run_from_console(const texts &arguments) {
  return status_of_exit([&] {
    char **vector = given_arguments(arguments);
    EXPECT_EQ(0, start_from_console(state.arg_count, vector));
  });
}

// ---- The window entry ---------------------------------------------------------------------

TEST(WindowEntry, PrintsTheUsageWithoutAnArgument) {
  add_message("of before");
  EXPECT_EQ(1, run_from_window({}));
  EXPECT_EQ(usage_text, standard_output());
  EXPECT_EQ("", standard_error());
  EXPECT_TRUE(message_boxes().empty());
  EXPECT_TRUE(started_commands().empty());
}

TEST(WindowEntry, PrintsTheUsageWithoutAProgramName) {
  EXPECT_EQ(1, status_of_exit([] { start_from_window(nullptr, 1, 0, nullptr); }));
  EXPECT_EQ("Usage:  [version] [options]\n", standard_output().substr(0, 28));
}

TEST(WindowEntry, LeavesNoHandleOpen) {
  given_installation("mpich");
  given_tool("3d");
  EXPECT_EQ(0, run_from_window({"--mpi=net", "-wait", "3d"}));
  EXPECT_EQ(texts{"3d"}, commands());
  EXPECT_EQ(0U, open_handles_at_exit());
}

TEST(WindowEntry, StoresWhatItWasGiven) {
  int instance = 0;
  char **vector = given_arguments({});
  EXPECT_EQ(1, status_of_exit([&] { start_from_window(&instance, 5, 1, vector); }));
  EXPECT_EQ(&instance, state.instance_handle);
  EXPECT_EQ(5, state.show_command);
  EXPECT_EQ(1, state.arg_count);
  EXPECT_EQ(vector, state.arg_vector);
}

struct version_and_class {
  unsigned long version;
  int windows_class;
};

class WindowsVersion : public testing::TestWithParam<version_and_class> {};

TEST_P(WindowsVersion, FallsIntoItsClass) {
  given_windows_version(GetParam().version);
  EXPECT_EQ(1, run_from_window({}));
  EXPECT_EQ(GetParam().windows_class, state.windows_version_class);
}

INSTANTIATE_TEST_SUITE_P(WindowEntry, WindowsVersion,
                         testing::Values(version_and_class{0x1DB10106UL, 0},  // Windows 7
                                         version_and_class{0x00000003UL, 0},
                                         version_and_class{0x7FFFFFFFUL, 0},
                                         version_and_class{0x80000A04UL, 1},  // Windows 98
                                         version_and_class{0xC0000004UL, 1},
                                         version_and_class{0x80000A03UL, 2},  // Win32s
                                         version_and_class{0x80000000UL, 2}));

TEST(WindowEntry, GivesTheCollectedEnvironmentToTheChildOnWin32s) {
  given_windows_version(0x80000A03UL);
  given_tool("3d");
  EXPECT_EQ(0, run_from_window({"--mpi=net", "--debugmpi", "3d"}));
  EXPECT_EQ(std::string("MPI_DEBUG=1\0\0", 13), started_commands().at(0).environment);
  EXPECT_EQ(std::nullopt, variable("MPI_DEBUG"));
}

TEST(WindowEntry, CreatesASchedulerJobBeforeItLooksForTheInstallation) {
  given_variable("USE_CCP", "head");
  given_variable("ZEPHON_CRED_CHECK", "no");
  given_tool_with("job new", prints("Created job, ID: 7\n"));
  given_tool_with("job submit");
  given_tool_with("job view", prints("State : Running\n"));
  EXPECT_EQ(2, run_from_window({"--mpi=intel", "--jobid=-1"}));
  EXPECT_EQ("7", variable("CCP_JOB_ID"));
  EXPECT_EQ("Error: communicator \"intel\" is not available on this machine.\n", standard_error());
}

// ---- The console entry --------------------------------------------------------------------

TEST(ConsoleEntry, PrintsTheUsageAndDoesNotClassifyWindows) {
  given_windows_version(0x80000000UL);
  EXPECT_EQ(1, run_from_console({}));
  EXPECT_EQ(usage_text, standard_output());
  EXPECT_EQ(0, state.windows_version_class);
}

TEST(ConsoleEntry, ComesBackWithZero) {
  given_tool("3d", exits_with(9));
  EXPECT_EQ(std::nullopt, run_from_console({"--mpi=net", "-wait", "3d"}));
  EXPECT_EQ(texts{"3d"}, commands());
}

TEST(ConsoleEntry, ShowsNoMessagesAtTheEnd) {
  EXPECT_EQ(255, run_from_console({"--mpi=net", "3d"}));
  EXPECT_TRUE(message_boxes().empty());
  EXPECT_NE("", state.message_buffer);
}

}  // namespace
