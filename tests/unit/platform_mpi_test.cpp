// Tests of the back-end of Platform MPI beside the rows of tests/cases: its paths in network
// form, and what its tools do late or not at all.
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
const std::string job_new = R"(job new /scheduler:head /jobname:"ORBEX ZEPHON" /numprocessors:4 )";

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

// The password step on C:\mpi, where the check says that it is invalid.
std::optional<int> status_of_password_step() {
  given_variable("CACHE_PASSWORD", "1");
  given_file("C:\\mpi\\bin\\mpirun.exe");
  given_tool(check_password, prints("No password\r\n"));
  given_tool(cache_password);
  return status_of_exit([] { (void)ensure_platform_mpi_password("C:\\mpi", "-cache"); });
}

std::string relativized(std::string path) {
  relativize_install_path(path);
  return path;
}

}  // namespace

// ---- Paths --------------------------------------------------------------------------------

TEST(InstallPath, BeginsWithADotBelowTheInstallation) {
  EXPECT_EQ("C:\\inc\\bin", relativized("C:\\inc\\bin"));  // there is no root yet
  given_release();
  EXPECT_EQ(".\\bin;C:\\other", relativized("C:\\inc\\bin;C:\\other"));
  EXPECT_EQ(".", relativized("C:\\inc"));
  for (const char *other : {"C:\\INC\\bin", "C:\\in", "D:\\C:\\inc", ""}) {
    EXPECT_EQ(other, relativized(other));
  }
}

TEST(InstallPath, IsComparedWithTheNetworkFormOfTheInstallation) {
  given_release();
  given_network_drive("C:", "\\\\server\\c");
  EXPECT_EQ(".\\bin", relativized("\\\\server\\c\\inc\\bin"));
  EXPECT_EQ("C:\\inc\\bin", relativized("C:\\inc\\bin"));
  EXPECT_EQ("\\\\server\\c\\inc", state.zephon_inc_unc);
  EXPECT_EQ("C:\\inc", state.zephon_inc);
  EXPECT_TRUE(command().ends_with(R"( -e MPI_WORKDIR="\\server\c\inc")"));
}

TEST(PlatformMpiCommand, RelativizesTheProductsFolder) {
  given_release();
  state.prod_verdir = "C:\\inc\\prod";
  (void)command();
  EXPECT_EQ(".\\prod", state.prod_verdir);
}

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

// ---- Placement ----------------------------------------------------------------------------

TEST(PlatformMpiPlacement, DoesNotReadTheHostFileForATask) {
  given_hosts("alpha\nbeta\n");
  given_variable("USE_CCP", "head");
  given_variable("CCP_JOB_ID", "17");
  EXPECT_FALSE(has(command(), "-hostfile"));
  EXPECT_EQ(0U, times_opened("C:\\hosts"));
}

// ---- The job ------------------------------------------------------------------------------

TEST(PlatformMpiJob, IsNotCreatedWithoutAnMpiRunOrAScheduler) {
  given_scheduler();
  state.mpi_selected = false;
  EXPECT_EQ(-1, platform_mpi_job_new());
  state.mpi_selected = true;
  given_no_variable("USE_CCP");
  EXPECT_EQ(-1, platform_mpi_job_new());
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
  EXPECT_EQ("\nerror : cmd = " + job_new + "\n\nError in execute command " + job_new + "\n",
            both_streams());
}

TEST(PlatformMpiJob, GetsWhatStoodInTheSharedTextWhenThereAreNoHosts) {
  given_scheduler();
  given_variable("ZEPHON_HOSTS_FILE", "C:\\hosts");
  given_file("C:\\hosts", "\nalpha\n");
  given_tool_with(" new ");
  state.std_dir = "C:\\left over";
  EXPECT_EQ(-1, platform_mpi_job_new());
  EXPECT_EQ(texts{job_new + "C:\\left over"}, commands());
}

// ---- The password -------------------------------------------------------------------------

TEST(PlatformMpiPassword, IsAskedForInTheConsoleAndNotForLongerThanAnHour) {
  given_box_without_answer();
  EXPECT_EQ(0, status_of_password_step());
  EXPECT_EQ((texts{check_password, cache_password, check_password}), commands());
  EXPECT_EQ(start_way::process, started_commands()[0].way);
  EXPECT_EQ(start_way::in_console, started_commands()[1].way);
  EXPECT_EQ(0x40004U, message_boxes().at(0).style);
  EXPECT_EQ(3'600'000U, message_boxes().at(0).ended_at - message_boxes().at(0).shown_at);
  EXPECT_EQ("\nUser chooses to skip password input, so launching stops!\n\n", both_streams());
}

TEST(PlatformMpiPassword, IsNotCachedWhenTheToolCannotBeRun) {
  given_no_pipes();
  EXPECT_EQ(0, platform_mpi_password_is_cached("C:\\mpi"));
  EXPECT_EQ(
      "\nerror : cmd = " + check_password + "\n\nError in execute command " + check_password + "\n",
      both_streams());
}

TEST(PlatformMpiPassword, IsCachedByAProgramThatIsThere) {
  EXPECT_EQ(0, platform_mpi_cache_password("C:\\mpi", "-other"));
  given_file("C:\\my mpi\\bin\\mpirun.exe");
  EXPECT_EQ(0, platform_mpi_cache_password("C:\\my mpi", "-other"));  // looked for in quotes
  EXPECT_EQ(0U, times_opened("C:\\my mpi\\bin\\mpirun.exe"));
  given_file("C:\\mpi\\bin\\mpirun.exe");
  EXPECT_EQ(1, platform_mpi_cache_password("C:\\mpi", "-other"));
  EXPECT_EQ(texts{"C:\\mpi\\bin\\mpirun.exe -other cmd.exe /c ver"}, commands());
}
