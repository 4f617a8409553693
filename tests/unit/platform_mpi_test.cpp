// Tests of the back-end of Platform MPI beside the rows of tests/cases.
#include "backends/platform_mpi.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/fresh_launch.h"

using namespace stand_in;

namespace {

using texts = std::vector<std::string>;

const std::string check_password = "C:\\mpi\\bin\\mpirun.exe -pwcheck";
const std::string cache_password = "C:\\mpi\\bin\\mpirun.exe -cache cmd.exe /c ver";
const std::string valid = "Cached password is valid\r\n";
const std::string invalid = "No password\r\n";

void given_release() {
  state.zephon_inc = "C:\\inc";
  state.release = "1.2.3";
  state.zephon_prod = "zephon";
  state.mpi_name = "ibmmpi";
  state.mpi_selected = true;
  state.num_procs = 4;
  given_variable("ZEPHON_INC", "C:\\inc");
  given_variable("TEMP", "C:\\temp");
}

void given_hosts(const std::string &content) {
  given_release();
  given_variable("ZEPHON_HOSTS_FILE", "C:\\hosts");
  given_file("C:\\hosts", content);
  given_variable("ORBEX_DONT_CACHE_PASSWORD", "1");
}

void given_scheduler() {
  given_release();
  given_variable("USE_CCP", "head");
  given_variable("ZEPHON_CRED_CHECK", "no");
}

std::string command() {
  EXPECT_EQ(1, platform_mpi_backend());
  return state.launch_command.text;
}

bool has(const std::string &text, const std::string &piece) {
  return text.find(piece) != std::string::npos;
}

// The job that `job new` gives for a run; its command is looked at in commands().
int new_job(const std::string &answer) {
  given_tool_with(" new ", prints(answer));
  return platform_mpi_job_new();
}

// The password step on C:\mpi, where the checks answer so in turn.
std::optional<int> status_of_password_step(const texts &answers) {
  given_variable("CACHE_PASSWORD", "1");
  given_file("C:\\mpi\\bin\\mpirun.exe");
  for (const std::string &answer : answers) {
    given_tool(check_password, prints(answer));
  }
  given_tool(cache_password);
  return status_of_exit([] { EXPECT_EQ(1, ensure_platform_mpi_password("C:\\mpi", "-cache")); });
}

std::string relativized(std::string path) {
  relativize_install_path(path);
  return path;
}

}  // namespace

// ---- The root -----------------------------------------------------------------------------

TEST(PlatformMpiRoot, IsTheUsersOwnForAnyOtherHeadNode) {
  for (const char *head : {"head", "-10", "-1 ", "-"}) {
    fresh_launch();
    given_scheduler();
    given_variable("USE_CCP", head);
    given_variable("CCP_JOB_ID", "17");
    given_variable("IBMMPI_ROOT", "C:\\pmpi");
    EXPECT_TRUE(has(command(), R"("C:\pmpi\bin\mpirun.exe" -prot)")) << head;
  }
}

// ---- Paths below the installation ---------------------------------------------------------

TEST(InstallPath, BeginsWithADotBelowTheInstallation) {
  given_release();
  EXPECT_EQ(".\\bin;C:\\other", relativized("C:\\inc\\bin;C:\\other"));
  EXPECT_EQ(".", relativized("C:\\inc"));
}

TEST(InstallPath, IsComparedByteForByte) {
  given_release();
  EXPECT_EQ("C:\\INC\\bin", relativized("C:\\INC\\bin"));
  EXPECT_EQ("C:\\in", relativized("C:\\in"));
  EXPECT_EQ("D:\\C:\\inc", relativized("D:\\C:\\inc"));
}

TEST(InstallPath, IsComparedWithTheNetworkFormOfTheInstallation) {
  given_release();
  given_network_drive("C:", "\\\\server\\c");
  EXPECT_EQ(".\\bin", relativized("\\\\server\\c\\inc\\bin"));
  EXPECT_EQ("C:\\inc\\bin", relativized("C:\\inc\\bin"));
  EXPECT_EQ("\\\\server\\c\\inc", state.zephon_inc_unc);
  EXPECT_EQ("C:\\inc", state.zephon_inc);
}

TEST(InstallPath, IsLeftAloneWhenItIsEmpty) {
  EXPECT_EQ("", relativized(""));
}

TEST(InstallPath, IsLeftAloneWithoutARoot) {
  EXPECT_EQ("C:\\inc\\bin", relativized("C:\\inc\\bin"));
}

TEST(PlatformMpiCommand, RelativizesTheProductsFolder) {
  given_release();
  state.prod_verdir = "C:\\inc\\prod";
  (void)command();
  EXPECT_EQ(".\\prod", state.prod_verdir);
}

// ---- Programs -----------------------------------------------------------------------------

TEST(PlatformMpiCommand, GivesTheWorkingDirectoryInItsNetworkForm) {
  given_release();
  given_network_drive("C:", "\\\\server\\c");
  EXPECT_TRUE(command().ends_with(R"( -e MPI_WORKDIR="\\server\c\inc")"));
}

// ---- Placement ----------------------------------------------------------------------------

TEST(PlatformMpiPlacement, UsesTheGivenHostFileWhenItCannotBeCopied) {
  given_hosts("alpha:2\nbeta:2\n");
  given_variable("ZEPHON_AUTO_SPAWN", "1");
  given_unwritable_path("C:\\temp\\zphosts-4711.txt");
  EXPECT_TRUE(has(command(), R"( -hostfile "C:\hosts"  -np 4 )"));
  EXPECT_EQ("\nfailed to open temp file for hosts", both_streams());
}

TEST(PlatformMpiPlacement, DoesNotReadTheHostFileForATask) {
  given_hosts("alpha\nbeta\n");
  given_variable("USE_CCP", "head");
  given_variable("CCP_JOB_ID", "17");
  EXPECT_FALSE(has(command(), "-hostfile"));
  EXPECT_EQ(0U, times_opened("C:\\hosts"));
}

// ---- The job ------------------------------------------------------------------------------

TEST(PlatformMpiJob, IsNotCreatedWithoutAnMpiRun) {
  given_scheduler();
  given_no_variable("ZEPHON_CRED_CHECK");
  state.mpi_selected = false;
  EXPECT_EQ(-1, new_job("Created job, ID: 23\r\n"));
  EXPECT_EQ(texts{}, commands());
}

TEST(PlatformMpiJob, IsNotCreatedWithoutAScheduler) {
  given_scheduler();
  given_no_variable("USE_CCP");
  EXPECT_EQ(-1, new_job("Created job, ID: 23\r\n"));
  EXPECT_EQ(texts{}, commands());
}

TEST(PlatformMpiJob, DoesNotGoByTheExitCode) {
  given_scheduler();
  given_tool_with(" new ", prints("Created job, ID: 23\r\n").exits_with(3));
  EXPECT_EQ(23, platform_mpi_job_new());
}

TEST(PlatformMpiJob, IsNoneWhenTheToolCannotBeRun) {
  given_scheduler();
  given_no_pipes();
  EXPECT_EQ(-1, platform_mpi_job_new());
  EXPECT_EQ(
      "\nerror : cmd = job new /scheduler:head /jobname:\"ORBEX ZEPHON\" /numprocessors:4 \n"
      "\nError in execute command job new /scheduler:head /jobname:\"ORBEX ZEPHON\" "
      "/numprocessors:4 \n",
      both_streams());
}

TEST(PlatformMpiJob, GetsWhatStoodInTheSharedTextWhenThereAreNoHosts) {
  given_scheduler();
  given_variable("ZEPHON_HOSTS_FILE", "C:\\hosts");
  given_file("C:\\hosts", "\nalpha\n");
  state.std_dir = "C:\\left over";
  (void)new_job("");
  EXPECT_EQ(
      texts{R"(job new /scheduler:head /jobname:"ORBEX ZEPHON" /numprocessors:4 C:\left over)"},
      commands());
}

TEST(PlatformMpiJob, GathersTheMessagesOfTheHostList) {
  given_scheduler();
  given_variable("ZEPHON_HOSTS_FILE", "C:\\hosts");
  given_file("C:\\hosts", "alpha\nbeta");
  (void)new_job("");
  EXPECT_EQ("\nERROR in get_line: file is null!\n\nERROR in get_line: file is null!\n",
            state.message_buffer);
}

// ---- The password -------------------------------------------------------------------------

TEST(PlatformMpiPassword, IsAskedForInTheConsoleWithoutAQuestion) {
  EXPECT_EQ(std::nullopt, status_of_password_step({invalid, valid}));
  EXPECT_EQ((texts{check_password, cache_password, check_password}), commands());
  EXPECT_EQ(start_way::process, started_commands()[0].way);
  EXPECT_EQ(start_way::in_console, started_commands()[1].way);
  EXPECT_EQ("C:\\mpi\\bin\\mpirun.exe -cache cmd.exe /c ver", started_commands()[1].command_line);
  EXPECT_TRUE(message_boxes().empty());
  EXPECT_EQ("", both_streams());
}

TEST(PlatformMpiPassword, IsAskedForAgainWhenTheUserAgrees) {
  given_box_answer(pressed_yes);
  EXPECT_EQ(std::nullopt, status_of_password_step({invalid, invalid, valid}));
  EXPECT_EQ((texts{check_password, cache_password, check_password, cache_password, check_password}),
            commands());
  ASSERT_EQ(1U, message_boxes().size());
  EXPECT_EQ("Zephon", message_boxes()[0].caption);
  EXPECT_EQ(
      "The password is invalid for Platform MPI to launch jobs.\n"
      "Do you want to input your password now?",
      message_boxes()[0].text);
  EXPECT_EQ(0x40004U, message_boxes()[0].style);
  EXPECT_EQ("", both_streams());
}

TEST(PlatformMpiPassword, TakesNoAnswerWithinAnHourForANo) {
  given_box_without_answer();
  EXPECT_EQ(0, status_of_password_step({invalid}));
  EXPECT_EQ(3'600'000U, message_boxes().at(0).ended_at);
  EXPECT_EQ("\nUser chooses to skip password input, so launching stops!\n\n", both_streams());
}

TEST(PlatformMpiPassword, IsNotCachedWhenTheToolCannotBeRun) {
  given_no_pipes();
  EXPECT_EQ(0, platform_mpi_password_is_cached("C:\\mpi"));
  EXPECT_EQ(
      "\nerror : cmd = C:\\mpi\\bin\\mpirun.exe -pwcheck\n"
      "\nError in execute command C:\\mpi\\bin\\mpirun.exe -pwcheck\n",
      both_streams());
}

TEST(PlatformMpiPassword, WaitsForALateAnswer) {
  given_tool(check_password, prints(valid, 90'000));
  EXPECT_EQ(1, platform_mpi_password_is_cached("C:\\mpi"));
}

TEST(PlatformMpiPassword, IsCachedWithTheGivenSwitch) {
  given_file("C:\\mpi\\bin\\mpirun.exe");
  EXPECT_EQ(1, platform_mpi_cache_password("C:\\mpi", "-other"));
  EXPECT_EQ(texts{"C:\\mpi\\bin\\mpirun.exe -other cmd.exe /c ver"}, commands());
}

TEST(PlatformMpiPassword, IsNotCachedWithoutTheProgram) {
  EXPECT_EQ(0, platform_mpi_cache_password("C:\\mpi", "-cache"));
  EXPECT_EQ(texts{}, commands());
}

TEST(PlatformMpiPassword, LooksForARootWithABlankInQuotes) {
  given_file("C:\\my mpi\\bin\\mpirun.exe");
  EXPECT_EQ(0, platform_mpi_cache_password("C:\\my mpi", "-cache"));
  EXPECT_EQ(texts{}, commands());
  EXPECT_EQ(0U, times_opened("C:\\my mpi\\bin\\mpirun.exe"));
}
