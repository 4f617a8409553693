// Tests of the installer of the MPICH2 service.
#include "install/smpd_installer.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "core/launch_state.h"
#include "core/messages.h"
#include "core/text.h"
#include "support/fresh_launch.h"

using namespace stand_in;

namespace {

using texts = std::vector<std::string>;

constexpr const char *log_path = "C:\\work\\install_smpd_log.txt";
constexpr const char *install_command = "C:\\mpich2\\bin\\smpd.exe -install";
constexpr std::time_t start_time = 1'234'567'890;

std::optional<int> status_of_install(const std::optional<std::string> &request) {
  return status_of_exit([&] { install_mpich2_smpd(request); });
}

// What stands in the log between its marks.
std::string logged() {
  const std::string log = file_content(log_path).value_or("");
  const std::size_t begin = log.find("\r\n\r\n");
  const std::size_t end = log.rfind("\r\n------------- end @ ");
  return begin == std::string::npos || end == std::string::npos
             ? "no log"
             : log.substr(begin + 4, end - begin - 4);
}

// The same with each line end as one newline.
std::string logged_text() {
  std::string text = logged();
  std::erase(text, '\r');
  return text;
}

TEST(SmpdInstaller, DoesNothingWithoutARequest) {
  EXPECT_EQ(std::nullopt, status_of_install(std::nullopt));
  EXPECT_FALSE(file_exists(log_path));
  EXPECT_TRUE(started_commands().empty());
}

TEST(SmpdInstaller, InstallsTheServiceOfAFolder) {
  given_file("C:\\mpich2\\bin\\smpd.exe");
  given_tool(install_command, prints("working\r\nMPICH2 installed.\r\n"));
  EXPECT_EQ(0, status_of_install("C:\\mpich2"));
  EXPECT_EQ((texts{install_command}), commands());
  ASSERT_EQ(1U, message_boxes().size());
  EXPECT_EQ(
      "\nMPICH2 SMPD Installation Successful:\nC:\\mpich2\\bin\\smpd.exe -install\n"
      "MPICH2 installed.\n",
      message_boxes()[0].text);
  EXPECT_EQ("Zephon", message_boxes()[0].caption);
  EXPECT_EQ(0x40040U, message_boxes()[0].style);
  EXPECT_EQ("", state.message_buffer);
}

TEST(SmpdInstaller, LooksForTheReleasesOwnServiceWithoutARoot) {
  state.release = "12.0.16";
  given_file("\\zephon12.0.16\\netweave\\mpi\\win64\\mpich2\\bin\\smpd.exe");
  EXPECT_EQ(0, status_of_install("0"));
  EXPECT_EQ((texts{"\\zephon12.0.16\\netweave\\mpi\\win64\\mpich2\\bin\\smpd.exe -install"}),
            commands());
}

TEST(SmpdInstaller, ShowsItsSuccessForFiveSeconds) {
  given_file("C:\\mpich2\\bin\\smpd.exe");
  given_tool(install_command);
  EXPECT_EQ(0, status_of_install("C:\\mpich2"));
  EXPECT_EQ(5'000U, message_boxes().at(0).ended_at - message_boxes().at(0).shown_at);
}

TEST(SmpdInstaller, LogsItsSuccess) {
  given_file("C:\\mpich2\\bin\\smpd.exe");
  given_variable("COMPUTERNAME", "PC7");
  given_time(start_time);
  given_tool(install_command, prints("done"));
  EXPECT_EQ(0, status_of_install("C:\\mpich2"));
  EXPECT_EQ(
      "\r\nMPICH2 SMPD Installation Successful:\r\nC:\\mpich2\\bin\\smpd.exe -install\r\ndone",
      logged());
  EXPECT_EQ(0U, file_content(log_path)->find("\r\n------------- start on PC7 @ " +
                                             calendar_text(start_time).substr(0, 24)));
}

TEST(SmpdInstaller, EndsItsLogWhenTheNoticeOfItsSuccessIsGone) {
  given_file("C:\\mpich2\\bin\\smpd.exe");
  given_time(start_time);
  given_tool(install_command);
  EXPECT_EQ(0, status_of_install("C:\\mpich2"));
  EXPECT_NE(std::string::npos,
            file_content(log_path)->find("------------- end @ " +
                                         calendar_text(start_time + 5).substr(0, 24)));
}

TEST(SmpdInstaller, InstallsTheServiceOfTheRequestedRelease) {
  state.zephon_inc = "C:\\zephon";
  state.release = "6.3.26";
  const std::string program =
      "C:\\zephon\\zephon6.3.26\\netweave\\mpi\\win64\\mpich2\\bin\\smpd.exe";
  given_file(program);
  given_tool(program + " -install");
  EXPECT_EQ(0, status_of_install("0"));
  EXPECT_EQ((texts{program + " -install"}), commands());
}

TEST(SmpdInstaller, InstallsTheServiceOfTheNewestRelease) {
  state.zephon_inc = "C:\\zephon";
  given_listing("C:\\zephon", {".", "..", "zephon6.3.26", "zephon12.0.16", "zephon12.0.1"});
  const std::string program =
      "C:\\zephon\\zephon12.0.16\\netweave\\mpi\\win64\\mpich2\\bin\\smpd.exe";
  given_file(program);
  given_tool(program + " -install");
  EXPECT_EQ(0, status_of_install("0"));
  EXPECT_EQ((texts{program + " -install"}), commands());
}

TEST(SmpdInstaller, TakesARequestOfOneCharacterForTheReleasesOwn) {
  state.zephon_inc = "C:\\zephon";
  state.release = "12.0.16";
  const std::string program =
      "C:\\zephon\\zephon12.0.16\\netweave\\mpi\\win64\\mpich2\\bin\\smpd.exe";
  EXPECT_EQ(1, status_of_install("x"));
  EXPECT_EQ(1U, times_opened(program));
  fresh_launch();
  state.zephon_inc = "C:\\zephon";
  state.release = "12.0.16";
  EXPECT_EQ(1, status_of_install(""));
  EXPECT_EQ(1U, times_opened(program));
}

TEST(SmpdInstaller, TakesARequestOfTwoCharactersForAFolder) {
  EXPECT_EQ(1, status_of_install("D:"));
  EXPECT_EQ(1U, times_opened("D:\\bin\\smpd.exe"));
}

TEST(SmpdInstaller, TakesTheFirst1024CharactersOfARequest) {
  const std::string folder = "C:\\" + std::string(1'021, 'x');
  EXPECT_EQ(1, status_of_install(folder + "yz"));
  EXPECT_EQ(1U, times_opened(folder + "\\bin\\smpd.exe"));
}

TEST(SmpdInstaller, ReportsThatThereIsNoRelease) {
  state.zephon_inc = "C:\\zephon";
  given_directory("C:\\zephon");
  EXPECT_EQ(1, status_of_install("0"));
  EXPECT_EQ("\nError in find zephon release!\n", state.message_buffer);
  EXPECT_EQ("\r\nError in find zephon release!\r\n", logged());
  EXPECT_TRUE(message_boxes().empty());
}

TEST(SmpdInstaller, EndsItsLogWhenTheRootCannotBeListed) {
  state.zephon_inc = "C:\\zephon";
  EXPECT_EQ(254, status_of_install("0"));
  EXPECT_EQ("Cannot read directory:C:\\zephon\n", state.message_buffer);
  EXPECT_EQ("Cannot read directory:C:\\zephon\r\n", logged());
}

TEST(SmpdInstaller, LogsAReleaseWhoseNameIsTooLong) {
  state.zephon_inc = "C:\\zephon";
  given_listing("C:\\zephon", {".", "..", "zephon1234567890123456"});
  EXPECT_EQ(254, status_of_install("0"));
  EXPECT_EQ("\r\n Error:  Release name is too long: zephon1234567890123456\r\n", logged());
}

TEST(SmpdInstaller, GuidesTheUserWhenTheProgramIsMissing) {
  state.zephon_inc = "C:\\zephon";
  EXPECT_EQ(1, status_of_install("C:\\mpich2"));
  const std::string guidance =
      "\nFile C:\\mpich2\\bin\\smpd.exe does not exist!\n\n"
      "Please use one of the following two commands with full UNC path:\n\n"
      "1. To install the Zephon packaged MPICH2 SMPD, which has been tested and validated:\n"
      "C:\\zephon\\ntbin\\win64\\zephon -install_smpd 0\n\n"
      "2. To install your own version of MPICH2 SMPD on your own responsibility:\n"
      "C:\\zephon\\ntbin\\win64\\zephon -install_smpd MPICH2_HOME_DIRECTORY\n";
  EXPECT_EQ(guidance, state.message_buffer);
  EXPECT_EQ(guidance, logged_text());
  EXPECT_TRUE(started_commands().empty());
}

class FailingLine : public testing::TestWithParam<const char *> {};

TEST_P(FailingLine, FailsTheInstallation) {
  given_file("C:\\mpich2\\bin\\smpd.exe");
  given_tool(install_command,
             prints("working\n").then_prints(std::string(GetParam()) + "\n").then_prints("more\n"));
  EXPECT_EQ(1, status_of_install("C:\\mpich2"));
  EXPECT_EQ("\nMPICH2 SMPD Installation Failed:\nC:\\mpich2\\bin\\smpd.exe -install\n" +
                std::string(GetParam()) + "\n",
            state.message_buffer);
  EXPECT_EQ(state.message_buffer, logged_text());
  EXPECT_TRUE(message_boxes().empty());
}

INSTANTIATE_TEST_SUITE_P(SmpdInstaller, FailingLine,
                         testing::Values("fail", "it failed.", "error 5", "no terrorerror"));

TEST(SmpdInstaller, ComparesFailuresInSmallLetters) {
  given_file("C:\\mpich2\\bin\\smpd.exe");
  given_tool(install_command, prints("Failed with ERROR\n").exits_with(1));
  EXPECT_EQ(0, status_of_install("C:\\mpich2"));
}

TEST(SmpdInstaller, FailsWhenTheToolCannotBeRun) {
  given_file("C:\\mpich2\\bin\\smpd.exe");
  given_no_command_interpreter();
  EXPECT_EQ(1, status_of_install("C:\\mpich2"));
  EXPECT_EQ("\nMPICH2 SMPD Installation Failed:\nC:\\mpich2\\bin\\smpd.exe -install\n",
            state.message_buffer);
}

TEST(SmpdInstaller, TracesTheCommand) {
  given_variable("ZEPHON_STARTUP_DEBUG", "1");
  given_file("C:\\mpich2\\bin\\smpd.exe");
  given_tool(install_command);
  EXPECT_EQ(0, status_of_install("C:\\mpich2"));
  EXPECT_EQ("\ncmd = C:\\mpich2\\bin\\smpd.exe -install (..\\src\\mpirun:4151)", standard_output());
}

TEST(SmpdInstaller, WorksWithoutALog) {
  given_unwritable_path(log_path);
  given_file("C:\\mpich2\\bin\\smpd.exe");
  given_tool(install_command);
  EXPECT_EQ(0, status_of_install("C:\\mpich2"));
  EXPECT_FALSE(file_exists(log_path));
}

TEST(SmpdInstaller, TakesNoTextForAFormat) {
  given_file("C:\\%s%n\\bin\\smpd.exe");
  given_tool_with("%s%n", prints("%d error\n"));
  EXPECT_EQ(1, status_of_install("C:\\%s%n"));
  EXPECT_EQ("\nMPICH2 SMPD Installation Failed:\nC:\\%s%n\\bin\\smpd.exe -install\n%d error\n",
            state.message_buffer);
}

// ---- Start mode ---------------------------------------------------------------------------

TEST(SmpdStart, ReportsAServiceThatRuns) {
  state.start_smpd = true;
  given_tool("C:\\mpich2\\bin\\smpd.exe -status", prints("smpd running on PC7\n"));
  EXPECT_EQ(0, status_of_install("C:\\mpich2"));
  ASSERT_EQ(1U, message_boxes().size());
  EXPECT_EQ("MPICH2 SMPD has already been running!", message_boxes()[0].text);
  EXPECT_EQ(0x40040U, message_boxes()[0].style);
  EXPECT_EQ(10'000U, message_boxes()[0].ended_at - message_boxes()[0].shown_at);
  EXPECT_EQ("MPICH2 SMPD has already been running!", logged());
}

TEST(SmpdStart, ReportsAServiceThatItStarted) {
  state.start_smpd = true;
  given_tool("C:\\mpich2\\bin\\smpd.exe -status", prints("no smpd running on PC7\n"));
  given_tool("C:\\mpich2\\bin\\smpd.exe -d 0", exits_with(0).stays());
  EXPECT_EQ(0, status_of_install("C:\\mpich2"));
  EXPECT_EQ("MPICH2 SMPD started from C:\\mpich2\\bin!", message_boxes().at(0).text);
}

TEST(SmpdStart, ReportsAServiceThatDidNotStartAsStarted) {
  state.start_smpd = true;
  given_tool("C:\\mpich2\\bin\\smpd.exe -status", prints("no smpd running on PC7\n"));
  EXPECT_EQ(0, status_of_install("C:\\mpich2"));
  EXPECT_EQ("MPICH2 SMPD started from C:\\mpich2\\bin!", message_boxes().at(0).text);
}

TEST(SmpdStart, DoesNotLookForTheProgram) {
  state.start_smpd = true;
  EXPECT_EQ(0, status_of_install("C:\\mpich2"));
  EXPECT_EQ(0U, times_opened("C:\\mpich2\\bin\\smpd.exe"));
}

TEST(SmpdStart, EndsItsLogBeforeItShowsTheNotice) {
  state.start_smpd = true;
  given_time(start_time);
  EXPECT_EQ(0, status_of_install("C:\\mpich2"));
  EXPECT_NE(std::string::npos,
            file_content(log_path)->find("------------- end @ " +
                                         calendar_text(start_time).substr(0, 24)));
}

}  // namespace
