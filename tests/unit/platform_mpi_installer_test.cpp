// Tests of the run of the Platform MPI setup program.
#include "install/platform_mpi_installer.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/launch_state.h"
#include "support/fresh_launch.h"

using namespace stand_in;

namespace {

using texts = std::vector<std::string>;

const std::string setup =
    "C:\\zephon\\zephon12.0.16\\netweave\\mpi\\win64\\ibmmpi\\sbin\\setup.exe";
const std::string command = setup + " /verysilent /components=\"plaformmpi\"";
constexpr const char *last_notice = "Check running services to see if Platform MPI is installed?";

void given_release() {
  state.zephon_inc = "C:\\zephon";
  state.release = "12.0.16";
}

texts shown_texts() {
  texts shown;
  for (const message_box &box : message_boxes()) {
    shown.push_back(box.text);
  }
  return shown;
}

TEST(PlatformMpiInstaller, RunsTheSetupAndShowsItsFirstLine) {
  given_release();
  given_file(setup);
  given_tool(command, prints("Setup started.\r\nmore\r\n"));
  EXPECT_EQ(0, status_of_exit(install_platform_mpi));
  EXPECT_EQ((texts{command}), commands());
  EXPECT_EQ((texts{"Setup started.\n", last_notice}), shown_texts());
  EXPECT_EQ(0x40040U, message_boxes()[0].style);
  EXPECT_EQ(10'000U, message_boxes()[0].ended_at - message_boxes()[0].shown_at);
  EXPECT_EQ(10'000U, message_boxes()[1].ended_at - message_boxes()[1].shown_at);
}

TEST(PlatformMpiInstaller, ShowsNoLineOfASilentSetup) {
  given_release();
  given_file(setup);
  given_tool(command, exits_with(1));
  EXPECT_EQ(0, status_of_exit(install_platform_mpi));
  EXPECT_EQ((texts{last_notice}), shown_texts());
}

TEST(PlatformMpiInstaller, ShowsAtMost1023CharactersOfTheLine) {
  given_release();
  given_file(setup);
  given_tool(command, prints(std::string(2'000, 'x')));
  EXPECT_EQ(0, status_of_exit(install_platform_mpi));
  EXPECT_EQ(std::string(1'023, 'x'), shown_texts().at(0));
}

TEST(PlatformMpiInstaller, RunsTheSetupOfTheNewestRelease) {
  state.zephon_inc = "C:\\zephon";
  given_listing("C:\\zephon", {".", "..", "zephon6.3.26", "zephon12.0.16"});
  given_file(setup);
  given_tool(command);
  EXPECT_EQ(0, status_of_exit(install_platform_mpi));
  EXPECT_EQ((texts{command}), commands());
}

TEST(PlatformMpiInstaller, ReportsASetupThatIsMissing) {
  given_release();
  EXPECT_EQ(0, status_of_exit(install_platform_mpi));
  EXPECT_EQ((texts{setup + ": File does not exist!"}), shown_texts());
  EXPECT_EQ(10'000U, message_boxes()[0].ended_at);
  EXPECT_EQ(box_end::closed, message_boxes()[0].end);
  EXPECT_TRUE(started_commands().empty());
}

TEST(PlatformMpiInstaller, GoesOnWhenTheNoticeIsClosed) {
  given_release();
  given_box_answer(pressed_ok, 350);
  EXPECT_EQ(0, status_of_exit(install_platform_mpi));
  EXPECT_EQ(400U, now());
}

TEST(PlatformMpiInstaller, ReportsAMissingSetupWithoutARelease) {
  state.zephon_inc = "C:\\zephon";
  given_directory("C:\\zephon");
  EXPECT_EQ(0, status_of_exit(install_platform_mpi));
  EXPECT_EQ((texts{"C:\\zephon\\zephon\\netweave\\mpi\\win64\\ibmmpi\\sbin\\setup.exe"
                   ": File does not exist!"}),
            shown_texts());
}

TEST(PlatformMpiInstaller, ReportsAMissingSetupWithoutARoot) {
  state.release = "12.0.16";
  EXPECT_EQ(0, status_of_exit(install_platform_mpi));
  EXPECT_EQ((texts{"\\zephon12.0.16\\netweave\\mpi\\win64\\ibmmpi\\sbin\\setup.exe"
                   ": File does not exist!"}),
            shown_texts());
}

TEST(PlatformMpiInstaller, ReportsASetupThatCannotBeRun) {
  given_release();
  given_file(setup);
  given_no_command_interpreter();
  EXPECT_EQ(0, status_of_exit(install_platform_mpi));
  EXPECT_EQ((texts{command + ": Failed to execute!"}), shown_texts());
}

TEST(PlatformMpiInstaller, EndsWith254WhenTheRootCannotBeListed) {
  state.zephon_inc = "C:\\zephon";
  EXPECT_EQ(254, status_of_exit(install_platform_mpi));
  EXPECT_EQ("Cannot read directory:C:\\zephon\n", state.message_buffer);
}

TEST(PlatformMpiInstaller, TracesTheCommand) {
  given_release();
  given_variable("ZEPHON_STARTUP_DEBUG", "1");
  given_file(setup);
  given_tool(command);
  EXPECT_EQ(0, status_of_exit(install_platform_mpi));
  EXPECT_EQ("\ncmd = " + command + " (..\\src\\mpirun:4151)", standard_output());
}

}  // namespace
