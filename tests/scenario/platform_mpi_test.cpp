// platform_mpi_test.cpp: the launch command of Platform MPI, its password, and its
// task of the scheduler.

#include <gtest/gtest.h>
#include <windows.h>

#include <filesystem>

#include "scenario_bench.h"
#include "settings.h"

using namespace scenario;

namespace {

const std::string mpirun = "inc\\zephon1.2.3\\netweave\\mpi\\win64\\ibmmpi\\bin\\mpirun.exe";
const std::string called_mpirun = "..\\" + mpirun;
const std::string checks_password = called_mpirun + " -pwcheck";
const std::string caches_password = called_mpirun + " -cache cmd.exe /c ver";
const std::string question =
    "The password is invalid for Platform MPI to launch jobs.\n"
    "Do you want to input your password now?";

// Platform MPI of release 1.2.3, which holds a valid password.
void given_platform_mpi() {
  given_release_without_blanks("ibmmpi");
  given_tool(mpirun, "when -pwcheck\nout Cached password is valid\\r\\n\n");
}

// ... with a host file, and an interpreter that shows each command as it was written.
void given_hosts() {
  given_platform_mpi();
  given_command_interpreter();
  given_variable("COMSPEC", in_world("cmd.exe"));
  given_variable("ZEPHON_HOSTS_FILE", "..\\hosts");
  given_file("hosts", "alpha:2\nbeta:2\n");
}

launch run_platform_mpi(const std::string &arguments = "--np=4 solver") {
  return run_launcher("--r1.2.3 --mpi=ibmmpi " + arguments);
}

const std::string launch_line =
    R"("..\inc\zephon1.2.3\netweave\mpi\win64\ibmmpi\bin\mpirun.exe" -prot -e MPI_ROOT="..\inc\zephon1.2.3\netweave\mpi\win64\ibmmpi"  -hostfile "..\hosts"  -np 4  -e PATH="..\inc\ntbin\win64;..\prod\netweave\mpi_wrapper\win64\ibmmpi" -e MPI_WORKDIR="..\inc" -e ZEPHON_PROD_DIR="..\prod"  solver)";

// ---- A table of settings ------------------------------------------------------------------

class PlatformMpiSettings : public testing::TestWithParam<setting> {};

const std::vector<setting>
    settings =
        {
            {"Plain",
             {},
             "--np=4 solver",
             R"("..\inc\zephon1.2.3\netweave\mpi\win64\ibmmpi\bin\mpirun.exe" -prot -e MPI_ROOT="..\inc\zephon1.2.3\netweave\mpi\win64\ibmmpi"  -np 4  -e PATH="..\inc\ntbin\win64;..\prod\netweave\mpi_wrapper\win64\ibmmpi" -e MPI_WORKDIR="..\inc" -e ZEPHON_PROD_DIR="..\prod"  solver)"},
            {"Everything",
             {{"ZEPHON_PROD", "lumis_acc"},
              {"ZEPHON_HOSTS_FILE", "..\\hosts"},
              {"ZEPHON_WORK_SIZE", "8"},
              {"ZEPHON_WORK_UNIT", "2"},
              {"QMX_ROOT", "D:\\qmx"},
              {"QMX_ARCH", "win64"},
              {"IBMMPI_USER_FLAGS", "-T -v"}},
             "--np=4 --ic=ib --pathnode=D:\\node solver",
             R"("..\inc\zephon1.2.3\netweave\mpi\win64\ibmmpi\bin\mpirun.exe" -prot -e MPI_ROOT="..\inc\zephon1.2.3\netweave\mpi\win64\ibmmpi" -IBAL  -hostfile "..\hosts"  -np 4  -e ZEPHON_WORK_SIZE=8  -e ZEPHON_WORK_UNIT=2  -e PATH="..\inc\ntbin\win64;D:\node;..\prod\netweave\mpi_wrapper\win64\ibmmpi;..\prod\netweave\gpu_wrapper\win64\stub" -e MPI_WORKDIR="..\inc" -intra=nic -e MPI_TCP_SELECT=1 -e MPI_FLAGS=y0 -e QMX_ROOT="D:\qmx" -e QMX_ARCH="win64" -e ZEPHON_PROD_DIR="..\prod" -T -v   solver)"},
            {"Blanks",
             {{"ZEPHON_INC", "..\\my inc\\..\\inc"},
              {"QMX_ROOT", "D:\\my qmx"},
              {"QMX_ARCH", "win 64"},
              {"ZEPHON_PROD_DIR", "..\\my folder\\..\\prod"}},
             "\"--cnf=..\\my hosts\" --np=4 --ic=myri solver \"a case.jou\"",
             R"("..\my inc\..\inc\zephon1.2.3\netweave\mpi\win64\ibmmpi\bin\mpirun.exe" -prot -e MPI_ROOT="'..\my inc\..\inc\zephon1.2.3\netweave\mpi\win64\ibmmpi'" -MX  -hostfile "..\my hosts"  -np 4  -e PATH="'..\my inc\..\inc\ntbin\win64;..\my folder\..\prod\netweave\mpi_wrapper\win64\ibmmpi'" -e MPI_WORKDIR="'..\my inc\..\inc'" -e QMX_ROOT="'D:\my qmx'" -e QMX_ARCH="win 64" -e ZEPHON_PROD_DIR="'..\my folder\..\prod'"  solver "a case.jou")"},
            {"RemotePathOnShare",
             {},
             "--path=..\\later --np=4 solver",
             R"("..\inc\zephon1.2.3\netweave\mpi\win64\ibmmpi\bin\mpirun.exe" -prot -e MPI_ROOT="..\inc\zephon1.2.3\netweave\mpi\win64\ibmmpi"  -np 4  -e PATH="..\later\ntbin\win64;..\prod\netweave\mpi_wrapper\win64\ibmmpi" -e MPI_WORKDIR="..\inc" -e ZEPHON_PROD_DIR="..\prod"  solver)"},
            {"RemotePathBelowTheInstallation",
             {},
             "--pathnode=..\\inc\\node --np=4 solver",
             R"("..\inc\zephon1.2.3\netweave\mpi\win64\ibmmpi\bin\mpirun.exe" -prot -e MPI_ROOT="..\inc\zephon1.2.3\netweave\mpi\win64\ibmmpi"  -np 4  -e PATH="..\inc\ntbin\win64;.\node;..\prod\netweave\mpi_wrapper\win64\ibmmpi" -e MPI_WORKDIR="..\inc" -e ZEPHON_PROD_DIR="..\prod"  solver)"},
            {"InsideAScheduledJob",
             {{"USE_CCP", "-1"}, {"CCP_JOB_ID", "17"}, {"IBMMPI_ROOT", "..\\own"}},
             "--np=4 solver",
             R"("..\inc\zephon1.2.3\netweave\mpi\win64\ibmmpi\bin\mpirun.exe" -prot -e MPI_ROOT="..\inc\zephon1.2.3\netweave\mpi\win64\ibmmpi"  -ccp  -np 4  -e PATH="..\inc\ntbin\win64;..\prod\netweave\mpi_wrapper\win64\ibmmpi" -e MPI_WORKDIR="..\inc" -e ZEPHON_PROD_DIR="..\prod"  solver)"},
            {"Tessa",
             {{"ZEPHON_PROD", "tessa2"}},
             "--np=4 solver",
             R"("..\inc\zephon1.2.3\netweave\mpi\win64\ibmmpi\bin\mpirun.exe" -prot -e MPI_ROOT="..\inc\zephon1.2.3\netweave\mpi\win64\ibmmpi"  -np 4  -e PATH="..\inc\ntbin\win64;..\prod\netweave\mpi_wrapper\win64\ibmmpi" -e ZEPHON_PROD_DIR="..\prod"  solver)"},
};

}  // namespace

TEST_P(PlatformMpiSettings, GiveTheCommandLine) {
  given_platform_mpi();
  given_folder("my inc");
  given_folder("my folder");
  given_file("hosts", "alpha:2\nbeta:2\n");
  given_file("my hosts", "alpha:2\nbeta:2\n");
  given_variable("ORBEX_DONT_CACHE_PASSWORD", "1");
  given_variables(GetParam());
  const auto run = run_platform_mpi(GetParam().arguments);
  EXPECT_EQ(0U, run.status);
  EXPECT_EQ("", run.errors);
  EXPECT_EQ(GetParam().command_line, only_start_of(mpirun).command_line);
}

INSTANTIATE_TEST_SUITE_P(PlatformMpi, PlatformMpiSettings, testing::ValuesIn(settings),
                         [](const auto &row) { return row.param.name; });

TEST(PlatformMpi, TakesTheUsersOwnInstallation) {
  given_platform_mpi();
  given_variable("IBMMPI_ROOT", in_world("Platform MPI"));
  given_tool("Platform MPI\\bin\\mpirun.exe");
  const auto run = run_platform_mpi();
  EXPECT_EQ(
      text_mode("\n***\n*** User defined: IBMMPI_ROOT=" + in_world("Platform MPI") + "\n***\n"),
      run.output);
  EXPECT_EQ(
      in_quotes(in_world("Platform MPI\\bin\\mpirun.exe")) + " -prot -e MPI_ROOT=\"'" +
          in_world("Platform MPI") +
          R"('"  -np 4  -e PATH="..\inc\ntbin\win64;..\prod\netweave\mpi_wrapper\win64\ibmmpi" -e MPI_WORKDIR="..\inc" -e ZEPHON_PROD_DIR="..\prod"  solver)",
      only_start_of("Platform MPI\\bin\\mpirun.exe").command_line);
}

TEST(PlatformMpi, ClearsMpiRootForTheProcesses) {
  given_platform_mpi();
  given_variable("MPI_ROOT", "C:\\other");
  (void)run_platform_mpi();
  EXPECT_EQ(std::nullopt, only_start_of(mpirun).variable("MPI_ROOT"));
}

TEST(PlatformMpi, NamesPathsOnAMappedDriveByTheirNetworkForm) {
  given_platform_mpi();
  given_mapped_drive("Z:", "\\\\server\\share");
  given_variable("ZEPHON_INC", "Z:\\inc");
  given_variable("IBMMPI_ROOT", "..\\own");
  given_tool("own\\bin\\mpirun.exe");
  (void)run_platform_mpi("--pathnode=\\\\server\\share\\inc\\node --np=4 solver");
  EXPECT_EQ(
      R"("..\own\bin\mpirun.exe" -prot -e MPI_ROOT="..\own"  -np 4  -e PATH="Z:\inc\ntbin\win64;.\node;..\prod\netweave\mpi_wrapper\win64\ibmmpi" -e MPI_WORKDIR="\\server\share\inc" -e ZEPHON_PROD_DIR="..\prod"  solver)",
      only_start_of("own\\bin\\mpirun.exe").command_line);
}

TEST(PlatformMpi, CopiesTheHostsForSpawnedProcesses) {
  given_hosts();
  given_variable("ZEPHON_AUTO_SPAWN", "1");
  given_variable("PARA_MESH_NPROCS", "1");
  given_variable("TEMP", "..\\temp");
  const auto run = run_platform_mpi();
  const auto name = "..\\temp\\zphosts-" + std::to_string(GetProcessId(run.process.get())) + ".txt";
  EXPECT_NE(std::string::npos,
            lines_of(mpirun).back().find("  -hostfile " + in_quotes(name) + "  -np 4 "));
  EXPECT_EQ("alpha:1\r\nbeta:2\r\n\r\n", file_text("work\\" + name));
}

// ---- The password -------------------------------------------------------------------------

TEST(PlatformMpiPassword, IsCheckedBeforeTheLaunch) {
  given_hosts();
  const auto run = run_platform_mpi();
  EXPECT_EQ(0U, run.status);
  EXPECT_EQ("", run.output + run.errors);
  EXPECT_EQ((std::vector<std::string>{"cmd.exe /c " + checks_password}), lines_of("cmd.exe"));
  EXPECT_EQ((std::vector<std::string>{checks_password, launch_line}), lines_of(mpirun));
}

TEST(PlatformMpiPassword, IsCheckedThroughWindowsOwnInterpreterToo) {
  given_hosts();
  std::filesystem::remove(in_world("cmd.exe"));
  (void)run_platform_mpi();
  EXPECT_EQ((std::vector<std::string>{checks_password, launch_line}), lines_of(mpirun));
}

TEST(PlatformMpiPassword, IsNotCheckedWithoutAHostFile) {
  given_hosts();
  given_no_variable("ZEPHON_HOSTS_FILE");
  (void)run_platform_mpi();
  EXPECT_EQ(1U, starts_of(mpirun).size());
}

TEST(PlatformMpiPassword, IsCheckedWhenTheUserWantsThat) {
  given_hosts();
  given_no_variable("ZEPHON_HOSTS_FILE");
  (void)run_platform_mpi("--cache_password --np=4 solver");
  EXPECT_EQ(checks_password, lines_of(mpirun).at(0));
}

TEST(PlatformMpiPassword, IsNotCheckedWhenTheUserDoesNotWantThat) {
  given_hosts();
  given_variable("ORBEX_DONT_CACHE_PASSWORD", "1");
  (void)run_platform_mpi();
  EXPECT_EQ((std::vector<std::string>{launch_line}), lines_of(mpirun));
}

TEST(PlatformMpiPassword, IsCachedInTheConsole) {
  given_hosts();
  given_tool(mpirun,
             "when -pwcheck\ntimes 1\nout No password\\r\\n\n"
             "when -pwcheck\nout Cached password is valid\\r\\n\n"
             "when -cache\nout Password: \n");
  const auto run = run_platform_mpi();
  EXPECT_EQ(0U, run.status);
  EXPECT_EQ("Password: ", run.output);
  EXPECT_EQ(
      (std::vector<std::string>{checks_password, caches_password, checks_password, launch_line}),
      lines_of(mpirun));
  const auto caching = starts_of(mpirun).at(1);
  EXPECT_EQ("pipe", caching.output);  // the launcher's own
  EXPECT_EQ("character", caching.input);
}

TEST(PlatformMpiPassword, IsCachedThroughWindowsOwnInterpreterToo) {
  given_hosts();
  given_variable("COMSPEC", "C:\\windows\\system32\\cmd.exe");
  std::filesystem::remove(in_world("cmd.exe"));
  given_tool(mpirun,
             "when -pwcheck\ntimes 1\nout No password\\r\\n\n"
             "when -pwcheck\nout Cached password is valid\\r\\n\n");
  (void)run_platform_mpi();
  EXPECT_EQ(caches_password, lines_of(mpirun).at(1));
}

TEST(PlatformMpiPassword, IsAskedForAgainWhenTheUserSaysYes) {
  given_hosts();
  given_watched_styles();
  given_tool(mpirun,
             "when -pwcheck\ntimes 2\nout No password\\r\\n\n"
             "when -pwcheck\nout Cached password is valid\\r\\n\n");
  given_box_answer(yes_button);
  const auto run = run_platform_mpi();
  EXPECT_EQ(0U, run.status);
  ASSERT_EQ(1U, run.boxes.size());
  EXPECT_EQ("Zephon", run.boxes[0].caption);
  EXPECT_EQ(question, run.boxes[0].text);
  ASSERT_EQ(1U, run.asked_boxes.size());
  EXPECT_EQ(0x40004U, run.asked_boxes[0].style);
  EXPECT_EQ((std::vector<std::string>{checks_password, caches_password, checks_password,
                                      caches_password, checks_password, launch_line}),
            lines_of(mpirun));
}

TEST(PlatformMpiPassword, EndsTheLaunchWhenTheUserSaysNo) {
  given_hosts();
  given_tool(mpirun, "");  // silent: no password is valid
  given_box_answer(no_button);
  const auto run = run_platform_mpi();
  EXPECT_EQ(0U, run.status);
  EXPECT_EQ("\r\nUser chooses to skip password input, so launching stops!\r\n\r\n", run.output);
  EXPECT_EQ("", run.errors);
  EXPECT_EQ((std::vector<std::string>{checks_password, caches_password, checks_password}),
            lines_of(mpirun));
}

TEST(PlatformMpiPassword, EndsTheLaunchAfterThreeTimes) {
  given_hosts();
  given_tool(mpirun, "when -pwcheck\nexit 9\n");
  given_box_answer(yes_button);
  given_box_answer(yes_button);
  const auto run = run_platform_mpi();
  EXPECT_EQ(4U, run.status);
  EXPECT_EQ("\r\nUser password has been inputed 3 times, but still wrong!\r\n\r\n", run.output);
  EXPECT_EQ(7U, starts_of(mpirun).size());
}

TEST(PlatformMpiPassword, CannotBeCachedWhenTheToolIsMissing) {
  given_hosts();
  std::filesystem::remove(in_world(mpirun));
  given_box_answer(yes_button);
  given_box_answer(yes_button);
  const auto run = run_platform_mpi();
  EXPECT_EQ(4U, run.status);
  EXPECT_EQ((std::vector<std::string>(4, "cmd.exe /c " + checks_password)), lines_of("cmd.exe"));
}

TEST(PlatformMpiPassword, CannotBeCachedInAFolderWithABlank) {
  given_hosts();
  given_variable("ZEPHON_INC", in_world("inc"));  // below the world's folder, which has a blank
  given_command_interpreter("");
  given_box_answer(yes_button);
  given_box_answer(yes_button);
  const auto run = run_platform_mpi();
  EXPECT_EQ(4U, run.status);
  EXPECT_EQ(
      (std::vector<std::string>(4, "cmd.exe /c " + in_quotes(in_world(mpirun)) + " -pwcheck")),
      lines_of("cmd.exe"));
  EXPECT_TRUE(starts_of(mpirun).empty());
}

TEST(PlatformMpiPassword, MayBeCheckedLate) {
  given_hosts();
  given_tool(mpirun,
             "when -pwcheck\nmake_file asked\nwait_file go\nout Cached password is valid\\r\\n\n");
  auto run = start_launcher("--r1.2.3 --mpi=ibmmpi --np=4 solver");
  const std::string folder = "inc\\zephon1.2.3\\netweave\\mpi\\win64\\ibmmpi\\bin\\";
  wait_for_file(run, folder + "asked");
  wait_a_moment(run);
  EXPECT_EQ(1U, starts_of(mpirun).size());
  given_file(folder + "go");
  wait_for_everything(run);
  EXPECT_EQ((std::vector<std::string>{checks_password, launch_line}), lines_of(mpirun));
}

// ---- Through the scheduler ----------------------------------------------------------------

TEST(PlatformMpiTask, IsAddedToTheJobWithTheWholeCommand) {
  given_platform_mpi();
  given_command_interpreter();
  given_tool("hpc\\job.exe", "when view\nout State : Finished\\r\\n\n");
  given_variable("ZP_CCP_JOB_COMMAND", "..\\hpc\\job.exe");
  given_variable("USE_CCP", "head");
  given_variable("CCP_JOB_ID", "17");
  given_variable("USERNAME", "jdoe");
  EXPECT_EQ(0U, run_platform_mpi("--np=4 --ic=ib solver \"a case.jou\"").status);
  EXPECT_EQ(
      R"(..\hpc\job.exe add 17 /numprocessors:1-1 /scheduler:head /name:"ORBEX ZEPHON" /stdout:ZP%CCP_TASKCONTEXT%.jdoe.o /stderr:ZP%CCP_TASKCONTEXT%.jdoe.e "..\inc\zephon1.2.3\netweave\mpi\win64\ibmmpi\bin\mpirun.exe" -prot -e MPI_ROOT="..\inc\zephon1.2.3\netweave\mpi\win64\ibmmpi" -IBAL  -ccp  -np 4  -e PATH="..\inc\ntbin\win64;..\prod\netweave\mpi_wrapper\win64\ibmmpi" -e MPI_WORKDIR="..\inc" -e ZEPHON_PROD_DIR="..\prod"  solver "a case.jou")",
      lines_of("hpc\\job.exe").at(0));
}

TEST(PlatformMpiTask, GetsAJobOfItsOwn) {
  given_platform_mpi();
  given_command_interpreter();
  given_tool("hpc\\job.exe",
             "when  new \nout Created job, ID: 23\\r\\n\n"
             "when view\nout State : Finished\\r\\n\n");
  given_variable("ZP_CCP_JOB_COMMAND", "..\\hpc\\job.exe");
  given_variable("USE_CCP", "head");
  given_variable("ZEPHON_CRED_CHECK", "no");
  given_variable("ORBEX_DONT_CACHE_PASSWORD", "1");
  given_variable("ZP_CCP_NODE_GROUP", "fast");
  const auto run = run_platform_mpi();
  EXPECT_EQ(0U, run.status);
  EXPECT_TRUE(run.output.starts_with("Created job, ID: 23\r\n")) << run.output;
  const auto lines = lines_of("hpc\\job.exe");
  EXPECT_EQ(
      R"(..\hpc\job.exe new /scheduler:head /jobname:"ORBEX ZEPHON" /numprocessors:4  /nodegroup:fast )",
      lines.at(0));
  EXPECT_TRUE(lines.at(1).starts_with(
      R"(..\hpc\job.exe add 23 /numprocessors:1-1 /scheduler:head /name:"ORBEX ZEPHON" )"));
}

TEST(PlatformMpiTask, AsksForTheNodesOfAHostFile) {
  given_platform_mpi();
  given_command_interpreter();
  given_tool("hpc\\job.exe", "when  new \nout Created job, ID: 23\\r\\n\n");
  given_variable("ZP_CCP_JOB_COMMAND", "..\\hpc\\job.exe");
  given_variable("USE_CCP", "head");
  given_variable("ZEPHON_CRED_CHECK", "no");
  given_variable("ORBEX_DONT_CACHE_PASSWORD", "1");
  given_variable("RSH_USER", "someone");  // the messages go to standard output
  given_variable("ZEPHON_HOSTS_FILE", "..\\hosts");
  given_file("hosts", "alpha\r\nalpha\r\nbeta");
  const auto run = run_platform_mpi();
  EXPECT_EQ(
      R"(..\hpc\job.exe new /scheduler:head /jobname:"ORBEX ZEPHON" /numprocessors:4  /askednodes:alpha,beta )",
      lines_of("hpc\\job.exe").at(0));
  EXPECT_TRUE(run.output.ends_with(
      text_mode("\nERROR in get_line: file is null!\n\nERROR in get_line: file is null!\n\n")))
      << run.output;
}

TEST(PlatformMpiTask, SilentlyEndsTheLaunchWithoutAJob) {
  given_platform_mpi();
  given_command_interpreter();
  given_tool("hpc\\job.exe");
  given_variable("ZP_CCP_JOB_COMMAND", "..\\hpc\\job.exe");
  given_variable("USE_CCP", "head");
  given_variable("ZEPHON_CRED_CHECK", "no");
  const auto run = run_platform_mpi();
  EXPECT_EQ(0U, run.status);
  EXPECT_EQ("", run.output + run.errors);
  EXPECT_EQ(1U, starts_of("hpc\\job.exe").size());
  EXPECT_TRUE(starts_of(mpirun).empty());
}
