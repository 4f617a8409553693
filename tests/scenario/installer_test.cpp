// installer_test.cpp: MPI services installed and started on request, from outside.

#include <gtest/gtest.h>

#include "scenario_bench.h"

using namespace scenario;

namespace {

const std::string log_name = "work\\install_smpd_log.txt";
const std::string guidance =
    "\nPlease use one of the following two commands with full UNC path:\n\n"
    "1. To install the Zephon packaged MPICH2 SMPD, which has been tested and validated:\n"
    "..\\inc\\ntbin\\win64\\zephon -install_smpd 0\n\n"
    "2. To install your own version of MPICH2 SMPD on your own responsibility:\n"
    "..\\inc\\ntbin\\win64\\zephon -install_smpd MPICH2_HOME_DIRECTORY\n";

// The root is given without a blank, as the tools' paths stand unquoted in their
// commands. It is seen from the folder in which the launcher runs.
void given_releases() {
  given_installed_release();
  given_variable("ZEPHON_INC", "..\\inc");
  given_variable("COMPUTERNAME", "HERE");
}

std::string tools_of(const std::string &release) {
  return "..\\" + mpi_folder(release, "mpich2") + "\\bin";
}

void given_smpd(const std::string &release, const std::string &script) {
  given_tool(mpi_folder(release, "mpich2") + "\\bin\\smpd.exe", script);
}

// The log without the times in it.
std::string log_without_times() {
  std::string text = file_text(log_name).value_or("(no log)");
  for (std::size_t at = 0; (at = text.find(" @ ", at)) != std::string::npos; ++at) {
    text.erase(at, text.find('\r', at) - at);
  }
  return text;
}

// What the log holds after one run that said the message.
std::string log_of(const std::string &message) {
  return text_mode("\n------------- start on HERE\n\n") + text_mode(message) +
         text_mode("\n------------- end\n\n");
}

void expect_failure(const launch &run, const std::string &message) {
  EXPECT_EQ(1U, run.status);
  ASSERT_EQ(1U, run.boxes.size());
  EXPECT_EQ("zephon", run.boxes[0].caption);
  EXPECT_EQ(message, run.boxes[0].text);
  EXPECT_EQ(log_of(message), log_without_times());
}

void expect_notice(const message_box &box, const std::string &text) {
  EXPECT_EQ("Zephon", box.caption);
  EXPECT_EQ(text, box.text);
  ASSERT_EQ(1U, box.buttons.size());
}

}  // namespace

TEST(SmpdInstallation, SaysWhichReleaseCannotBeFound) {
  given_releases();
  given_box_answer(ok_button);
  expect_failure(run_launcher("--install_smpd 0"), "\nError in find zephon release!\n");
}

TEST(SmpdInstallation, ExplainsWhatToDoWithoutTheProgram) {
  given_releases();
  given_folder(mpi_folder("12.0.16", "mpich2"));
  given_box_answer(ok_button);
  expect_failure(run_launcher("--install_smpd"),
                 "\nFile " + tools_of("12.0.16") + "\\smpd.exe does not exist!\n" + guidance);
}

TEST(SmpdInstallation, InstallsFromTheNewestRelease) {
  given_releases();
  given_smpd("6.3.26", "");
  given_smpd("12.0.1", "");
  given_smpd("12.0.16", "out MPICH2 Process Manager\\r\\nArgonne National Lab installed.\\r\\n\n");
  given_folder("inc\\zephon12.0.17.bak");
  given_box_answer(ok_button);
  const auto run = run_launcher("--install_smpd 0");
  EXPECT_EQ(0U, run.status);
  const std::string text = "\nMPICH2 SMPD Installation Successful:\n" + tools_of("12.0.16") +
                           "\\smpd.exe -install\nArgonne National Lab installed.\n";
  ASSERT_EQ(1U, run.boxes.size());
  expect_notice(run.boxes[0], text);
  EXPECT_EQ(log_of(text), log_without_times());
  EXPECT_EQ(tools_of("12.0.16") + "\\smpd.exe -install",
            only_start_of(mpi_folder("12.0.16", "mpich2") + "\\bin\\smpd.exe").command_line);
}

TEST(SmpdInstallation, TakesTheReleaseThatIsAskedFor) {
  given_releases();
  given_smpd("6.3.26", "out installed\\r\\n\n");
  given_smpd("12.0.16", "");
  given_box_answer(ok_button);
  EXPECT_EQ(0U, run_launcher("--r6.3.26 --install_smpd 0").status);
  EXPECT_EQ(1U, starts_of(mpi_folder("6.3.26", "mpich2") + "\\bin\\smpd.exe").size());
}

TEST(SmpdInstallation, InstallsFromAFolderOfTheUsersOwn) {
  given_releases();
  given_tool("own\\bin\\smpd.exe", "out installed\\r\\n\n");
  given_box_left_alone();  // the notice goes away by itself
  const auto run = run_launcher("--install_smpd ..\\own");
  EXPECT_EQ(0U, run.status);
  ASSERT_EQ(1U, run.boxes.size());
  expect_notice(
      run.boxes[0],
      "\nMPICH2 SMPD Installation Successful:\n..\\own\\bin\\smpd.exe -install\ninstalled\n");
  EXPECT_EQ("..\\own\\bin\\smpd.exe -install", only_start_of("own\\bin\\smpd.exe").command_line);
}

TEST(SmpdInstallation, FailsAtTheFirstLineThatSaysSo) {
  given_releases();
  given_tool("own\\bin\\smpd.exe",
             "out removing\\r\\ninstalled, but failed to start:\\r\\nnever seen\\r\\n\n");
  given_box_answer(ok_button);
  expect_failure(run_launcher("--install_smpd ..\\own"),
                 "\nMPICH2 SMPD Installation Failed:\n..\\own\\bin\\smpd.exe -install\n"
                 "installed, but failed to start:\n");
}

TEST(SmpdInstallation, TakesASilentProgramForASuccess) {
  given_releases();
  given_tool("own\\bin\\smpd.exe", "exit 3\n");
  given_box_answer(ok_button);
  const auto run = run_launcher("--install_smpd ..\\own");
  EXPECT_EQ(0U, run.status);
  ASSERT_EQ(1U, run.boxes.size());
  expect_notice(run.boxes[0],
                "\nMPICH2 SMPD Installation Successful:\n..\\own\\bin\\smpd.exe -install\n");
}

TEST(SmpdInstallation, EndsWhenTheReleasesCannotBeListed) {
  given_releases();
  given_variable("ZEPHON_INC", "..\\nowhere");
  given_box_answer(ok_button);
  const auto run = run_launcher("--install_smpd 0");
  EXPECT_EQ(254U, run.status);
  ASSERT_EQ(1U, run.boxes.size());
  EXPECT_EQ("Cannot read directory:..\\nowhere\n", run.boxes[0].text);
  EXPECT_EQ(log_of(run.boxes[0].text), log_without_times());
}

TEST(SmpdInstallation, EndsAtAReleaseNameThatIsTooLong) {
  given_releases();
  given_folder("inc\\zephon12.0.16.1234567890");
  const auto run = run_launcher("--install_smpd 0");
  EXPECT_EQ(254U, run.status);
  const std::string message = "\n Error:  Release name is too long: zephon12.0.16.1234567890\n";
  EXPECT_EQ(text_mode(message), run.errors);
  EXPECT_EQ(log_of(message), log_without_times());
}

TEST(SmpdInstallation, GoesOnWithoutALog) {
  given_releases();
  given_folder(log_name);  // a folder of that name cannot be opened
  given_tool("own\\bin\\smpd.exe", "out installed\\r\\n\n");
  given_box_answer(ok_button);
  EXPECT_EQ(0U, run_launcher("--install_smpd ..\\own").status);
  EXPECT_EQ(1U, starts_of("own\\bin\\smpd.exe").size());
}

TEST(SmpdInstallation, KeepsTheLinesOfTwoInstallersAtOnce) {
  given_releases();
  given_variable("RSH_USER", "jdoe");  // the messages go to standard output, without a box
  given_tool("first\\bin\\smpd.exe", "wait_file go\nout first failed\\r\\n\n");
  given_tool("second\\bin\\smpd.exe", "out second failed\\r\\n\n");
  auto first = start_launcher("--install_smpd ..\\first");
  wait_for_starts(first, "first\\bin\\smpd.exe", 1);
  auto second = start_launcher("--install_smpd ..\\second");
  wait_for_end(second);
  given_file("first\\bin\\go");
  wait_for_everything(first);
  EXPECT_EQ(1U, first.status);
  EXPECT_EQ(1U, second.status);

  const std::string start = text_mode("\n------------- start on HERE\n\n");
  const std::string end = text_mode("\n------------- end\n\n");
  const std::string failure = "\nMPICH2 SMPD Installation Failed:\n";
  EXPECT_EQ(start + start +
                text_mode(failure + "..\\second\\bin\\smpd.exe -install\nsecond failed\n") + end +
                text_mode(failure + "..\\first\\bin\\smpd.exe -install\nfirst failed\n") + end,
            log_without_times());
}

TEST(SmpdStart, SaysThatTheServiceRunsAlready) {
  given_releases();
  given_tool("own\\bin\\smpd.exe", "when -status\nout smpd running on HERE\\r\\n\n");
  given_box_answer(ok_button);
  const auto run = run_launcher("--start_smpd ..\\own");
  EXPECT_EQ(0U, run.status);
  ASSERT_EQ(1U, run.boxes.size());
  expect_notice(run.boxes[0], "MPICH2 SMPD has already been running!");
  EXPECT_EQ(log_of("MPICH2 SMPD has already been running!"), log_without_times());
}

TEST(SmpdStart, StartsAServiceThatDoesNotRun) {
  given_releases();
  given_tool("own\\bin\\smpd.exe",
             "when -status\nout no smpd running on HERE\\r\\n\nwhen -d\nexit 0\n");
  given_box_answer(ok_button);
  const auto run = run_launcher("--start_smpd ..\\own");
  EXPECT_EQ(0U, run.status);
  ASSERT_EQ(1U, run.boxes.size());
  expect_notice(run.boxes[0], "MPICH2 SMPD started from ..\\own\\bin!");
  ASSERT_EQ(2U, starts_of("own\\bin\\smpd.exe").size());
  EXPECT_EQ("..\\own\\bin\\smpd.exe -d 0", starts_of("own\\bin\\smpd.exe")[1].command_line);
}

// Whatever came of the start, it is reported as done.
TEST(SmpdStart, ReportsAStartThatFailedAsDone) {
  given_releases();
  given_tool("own\\bin\\smpd.exe",
             "when -status\nout no smpd running on HERE\\r\\n\nwhen -d\nexit 5\n");
  given_box_answer(ok_button);
  const auto run = run_launcher("--start_smpd ..\\own");
  EXPECT_EQ(0U, run.status);
  ASSERT_EQ(1U, run.boxes.size());
  expect_notice(run.boxes[0], "MPICH2 SMPD started from ..\\own\\bin!");
}

TEST(PlatformMpiInstallation, SaysThatTheSetUpProgramIsMissing) {
  given_releases();
  given_folder(mpi_folder("12.0.16", "ibmmpi"));
  given_box_answer(ok_button);
  const auto run = run_launcher("--install_ibmmpi");
  EXPECT_EQ(0U, run.status);
  ASSERT_EQ(1U, run.boxes.size());
  expect_notice(run.boxes[0], "..\\" + mpi_folder("12.0.16", "ibmmpi") +
                                  "\\sbin\\setup.exe: File does not exist!");
}

TEST(PlatformMpiInstallation, SaysSoWithoutAnyRelease) {
  given_releases();
  given_box_answer(ok_button);
  const auto run = run_launcher("--install_ibmmpi");
  EXPECT_EQ(0U, run.status);
  ASSERT_EQ(1U, run.boxes.size());
  expect_notice(run.boxes[0],
                "..\\" + mpi_folder("", "ibmmpi") + "\\sbin\\setup.exe: File does not exist!");
}

TEST(PlatformMpiInstallation, ShowsTheFirstLineAndAsksToCheckTheServices) {
  given_releases();
  const std::string setup = mpi_folder("12.0.16", "ibmmpi") + "\\sbin\\setup.exe";
  given_tool(setup, "out Setup has begun\\r\\nand goes on\\r\\n\nexit 1\n");
  given_box_answer(ok_button);
  given_box_answer(ok_button);
  const auto run = run_launcher("--install_ibmmpi");
  EXPECT_EQ(0U, run.status);
  ASSERT_EQ(2U, run.boxes.size());
  expect_notice(run.boxes[0], "Setup has begun\n");
  expect_notice(run.boxes[1], "Check running services to see if Platform MPI is installed?");
  EXPECT_EQ("..\\" + setup + " /verysilent /components=\"plaformmpi\"",
            only_start_of(setup).command_line);
}

TEST(PlatformMpiInstallation, ShowsOnlyTheCheckAfterASilentSetUp) {
  given_releases();
  given_tool(mpi_folder("12.0.16", "ibmmpi") + "\\sbin\\setup.exe", "pause 300\n");
  given_box_answer(ok_button);
  const auto run = run_launcher("--install_ibmmpi");
  EXPECT_EQ(0U, run.status);
  ASSERT_EQ(1U, run.boxes.size());
  expect_notice(run.boxes[0], "Check running services to see if Platform MPI is installed?");
}
