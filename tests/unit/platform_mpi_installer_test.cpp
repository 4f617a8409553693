// Tests of the run of the Platform MPI setup program beside the rows of tests/cases.
#include "install/platform_mpi_installer.h"

#include <gtest/gtest.h>

#include <string>

#include "core/launch_state.h"
#include "support/fresh_launch.h"

using namespace stand_in;

namespace {

const std::string setup =
    "C:\\zephon\\zephon12.0.16\\netweave\\mpi\\win64\\ibmmpi\\sbin\\setup.exe";
const std::string command = setup + " /verysilent /components=\"plaformmpi\"";

TEST(PlatformMpiInstaller, LetsTheSetupWriteOnWhileItsLineIsShown) {
  state.zephon_inc = "C:\\zephon";
  state.release = "12.0.16";
  given_file(setup);
  given_tool(command, prints("Setup started.\r\n").then_prints(std::string(10'000, 'x'), 5'000));
  bool goes_on = false;
  after(7'000, [&goes_on] { goes_on = process_runs(started_commands().at(0).id); });
  EXPECT_EQ(0, status_of_exit(install_platform_mpi));
  EXPECT_TRUE(goes_on);
}

TEST(PlatformMpiInstaller, ShowsEachNoticeForTenSeconds) {
  state.zephon_inc = "C:\\zephon";
  state.release = "12.0.16";
  given_file(setup);
  given_tool(command, prints("Setup started.\r\n"));
  EXPECT_EQ(0, status_of_exit(install_platform_mpi));
  ASSERT_EQ(2U, message_boxes().size());
  for (const message_box &box : message_boxes()) {
    EXPECT_EQ(0x40040U, box.style);
    EXPECT_EQ(10'000U, box.ended_at - box.shown_at);
    EXPECT_EQ(box_end::closed, box.end);
  }
}

TEST(PlatformMpiInstaller, GoesOnWhenTheNoticeIsClosed) {
  given_box_answer(pressed_ok, 350);
  state.release = "12.0.16";
  EXPECT_EQ(0, status_of_exit(install_platform_mpi));
  EXPECT_EQ(400U, now());
}

TEST(PlatformMpiInstaller, ReportsASetupThatCannotBeRun) {
  state.zephon_inc = "C:\\zephon";
  state.release = "12.0.16";
  given_file(setup);
  given_no_command_interpreter();
  EXPECT_EQ(0, status_of_exit(install_platform_mpi));
  ASSERT_EQ(1U, message_boxes().size());
  EXPECT_EQ(command + ": Failed to execute!", message_boxes()[0].text);
}

}  // namespace
