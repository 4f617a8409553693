// Tests of the installer of the MPICH2 service beside the rows of tests/cases: its notices in
// time, and what Windows refuses.
#include "install/smpd_installer.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "core/launch_state.h"
#include "core/text.h"
#include "support/fresh_launch.h"

using namespace stand_in;

namespace {

constexpr const char *log_path = "C:\\work\\install_smpd_log.txt";
constexpr std::time_t start_time = 1'234'567'890;

std::optional<int> status_of_install(const std::string &request = "C:\\mpich2") {
  return status_of_exit([&] { install_mpich2_smpd(request); });
}

void given_program() {
  given_file("C:\\mpich2\\bin\\smpd.exe");
  given_time(start_time);
}

bool log_ends_at(std::time_t time) {
  const std::string end = "------------- end @ " + calendar_text(time).substr(0, 24);
  return file_content(log_path).value_or("").find(end) != std::string::npos;
}

// What was shown: for so long, with the sign of an information.
void expect_notice(const std::string &text, milliseconds time) {
  ASSERT_EQ(1U, message_boxes().size());
  EXPECT_EQ(text, message_boxes()[0].text);
  EXPECT_EQ(0x40040U, message_boxes()[0].style);
  EXPECT_EQ(time, message_boxes()[0].ended_at - message_boxes()[0].shown_at);
}

TEST(SmpdInstaller, DoesNothingWithoutARequest) {
  EXPECT_EQ(std::nullopt, status_of_exit([] { install_mpich2_smpd(std::nullopt); }));
  EXPECT_FALSE(file_exists(log_path));
  EXPECT_TRUE(started_commands().empty());
}

TEST(SmpdInstaller, EndsItsLogWhenTheNoticeOfItsSuccessIsGone) {
  given_program();
  given_tool("C:\\mpich2\\bin\\smpd.exe -install");
  EXPECT_EQ(0, status_of_install());
  expect_notice("\nMPICH2 SMPD Installation Successful:\nC:\\mpich2\\bin\\smpd.exe -install\n",
                5'000);
  EXPECT_TRUE(log_ends_at(start_time + 5));
}

TEST(SmpdInstaller, LooksForTheReleasesOwnServiceWithoutARoot) {
  state.release = "12.0.16";
  given_file("\\zephon12.0.16\\netweave\\mpi\\win64\\mpich2\\bin\\smpd.exe");
  EXPECT_EQ(0, status_of_install("0"));
}

TEST(SmpdInstaller, FailsWhenTheToolCannotBeRun) {
  given_program();
  given_no_command_interpreter();
  EXPECT_EQ(1, status_of_install());
  EXPECT_EQ("\nMPICH2 SMPD Installation Failed:\nC:\\mpich2\\bin\\smpd.exe -install\n",
            state.message_buffer);
}

TEST(SmpdStart, EndsItsLogBeforeItShowsTheNotice) {
  given_program();
  state.start_smpd = true;
  EXPECT_EQ(0, status_of_install());
  expect_notice("MPICH2 SMPD has already been running!", 10'000);
  EXPECT_TRUE(log_ends_at(start_time));
  EXPECT_EQ(0U, times_opened("C:\\mpich2\\bin\\smpd.exe"));
}

TEST(SmpdStart, ReportsAServiceThatDidNotStartAsStarted) {
  state.start_smpd = true;
  given_tool("C:\\mpich2\\bin\\smpd.exe -status", prints("no smpd running on PC7\n"));
  EXPECT_EQ(0, status_of_install());
  expect_notice("MPICH2 SMPD started from C:\\mpich2\\bin!", 10'000);
}

}  // namespace
