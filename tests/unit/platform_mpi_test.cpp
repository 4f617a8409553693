// Tests of the launch command of Platform MPI, its password and its job.
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
  return state.launch_command;
}

bool has(const std::string &text, const std::string &piece) {
  return text.find(piece) != std::string::npos;
}

// The end of the command that a program gets: its remote path and what follows.
std::string end_of_command_for(const std::optional<std::string> &program) {
  fresh_launch();
  given_release();
  state.zephon_prod = program;
  const std::string whole = command();
  return whole.substr(whole.find(" -e PATH="));
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

int is_cached(const std::string &answer) {
  fresh_launch();
  given_tool(check_password, prints(answer));
  return platform_mpi_password_is_cached("C:\\mpi");
}

std::string relativized(std::string path) {
  relativize_install_path(path);
  return path;
}

}  // namespace

// ---- The command --------------------------------------------------------------------------

TEST(PlatformMpiCommand, RunsWithoutHostFileAndScheduler) {
  given_release();
  EXPECT_EQ(
      R"("C:\inc\zephon1.2.3\netweave\mpi\win64\ibmmpi\bin\mpirun.exe" -prot -e MPI_ROOT="C:\inc\zephon1.2.3\netweave\mpi\win64\ibmmpi"  -np 4  -e PATH="C:\inc\ntbin\win64" -e MPI_WORKDIR="C:\inc")",
      command());
  EXPECT_EQ("", both_streams());
  EXPECT_EQ(texts{}, commands());
}

TEST(PlatformMpiCommand, HasEveryPieceInItsOrder) {
  given_hosts("alpha:2\nbeta:2\n");
  state.zephon_prod = "lumis_acc";
  state.interconnect = "ib";
  state.node_path = "C:\\node";
  given_variable("ZEPHON_WORK_SIZE", "8");
  given_variable("ZEPHON_WORK_UNIT", "2");
  given_variable("QMX_ROOT", "C:\\qmx");
  given_variable("QMX_ARCH", "win64");
  given_variable("ZEPHON_PROD_DIR", "C:\\prod");
  given_variable("IBMMPI_USER_FLAGS", "-T -v");
  EXPECT_EQ(
      R"("C:\inc\zephon1.2.3\netweave\mpi\win64\ibmmpi\bin\mpirun.exe" -prot -e MPI_ROOT="C:\inc\zephon1.2.3\netweave\mpi\win64\ibmmpi" -IBAL  -hostfile "C:\hosts"  -np 4  -e ZEPHON_WORK_SIZE=8  -e ZEPHON_WORK_UNIT=2  -e PATH="C:\inc\ntbin\win64;C:\node" -e MPI_WORKDIR="C:\inc" -intra=nic -e MPI_TCP_SELECT=1 -e MPI_FLAGS=y0 -e QMX_ROOT="C:\qmx" -e QMX_ARCH="win64" -e ZEPHON_PROD_DIR="C:\prod" -T -v )",
      command());
  EXPECT_EQ("\n***\n*** User defined: IBMMPI_USER_FLAGS=-T -v\n***\n", both_streams());
}

TEST(PlatformMpiCommand, QuotesValuesWithABlankTwice) {
  given_hosts("");
  state.zephon_inc = "C:\\my inc";
  given_variable("ZEPHON_INC", "C:\\my inc");
  given_variable("ZEPHON_HOSTS_FILE", "C:\\my hosts");
  given_file("C:\\my hosts", "alpha:4\n");
  given_variable("QMX_ROOT", "C:\\my qmx");
  given_variable("QMX_ARCH", "win 64");
  given_variable("ZEPHON_PROD_DIR", "C:\\my prod");
  EXPECT_EQ(
      R"("C:\my inc\zephon1.2.3\netweave\mpi\win64\ibmmpi\bin\mpirun.exe" -prot -e MPI_ROOT="'C:\my inc\zephon1.2.3\netweave\mpi\win64\ibmmpi'"  -hostfile "C:\my hosts"  -np 4  -e PATH="'C:\my inc\ntbin\win64'" -e MPI_WORKDIR="'C:\my inc'" -e QMX_ROOT="'C:\my qmx'" -e QMX_ARCH="win 64" -e ZEPHON_PROD_DIR="'C:\my prod'")",
      command());
}

TEST(PlatformMpiCommand, FormatsWhatIsUnknownAsNothing) {
  EXPECT_EQ(
      R"("\zephon\netweave\mpi\win64\ibmmpi\bin\mpirun.exe" -prot -e MPI_ROOT="\zephon\netweave\mpi\win64\ibmmpi"  -np 1  -e PATH="\ntbin\win64")",
      command());
}

TEST(PlatformMpiCommand, ClearsMpiRootFirst) {
  given_release();
  given_variable("MPI_ROOT", "C:\\other");
  (void)command();
  EXPECT_EQ(std::nullopt, variable("MPI_ROOT"));
  EXPECT_EQ("MPI_ROOT=" + std::string(2, '\0'), state.env_pool);
}

TEST(PlatformMpiCommand, IsTracedAtItsBeginningAndWhenItIsFinished) {
  given_release();
  given_variable("ZEPHON_STARTUP_DEBUG", "1");
  const std::string line = command();
  EXPECT_EQ("\ngetenv(\"USE_CCP\") = (null) (..\\src\\mpirun:2763)\nsOptions.pre = " + line +
                " (..\\src\\mpirun:2928)",
            both_streams());
}

TEST(PlatformMpiCommand, TracesTheHeadNode) {
  given_release();
  given_variable("USE_CCP", "-1");
  given_variable("ZEPHON_STARTUP_DEBUG", "1");
  (void)command();
  EXPECT_TRUE(both_streams().starts_with("\ngetenv(\"USE_CCP\") = -1 (..\\src\\mpirun:2763)\n"));
}

TEST(PlatformMpiCommand, HasASwitchForEachFastInterconnect) {
  const std::vector<std::pair<std::string, std::string>> options = {
      {"ib", "-IBAL "},    {"infiniband", "-IBAL "}, {"myri", "-MX "},
      {"myrinet", "-MX "}, {"InfiniBand", ""},       {"IB", ""},
      {"MYRI", ""},        {"ethernet", ""},         {"", ""},
      {"ibx", ""}};
  for (const auto &[interconnect, option] : options) {
    fresh_launch();
    given_release();
    state.interconnect = interconnect;
    EXPECT_TRUE(has(command(), "\\ibmmpi\" " + option + " -np 4 ")) << interconnect;
  }
}

// ---- The root -----------------------------------------------------------------------------

TEST(PlatformMpiRoot, IsTheUsersOwn) {
  given_release();
  given_variable("IBMMPI_ROOT", "C:\\pmpi");
  EXPECT_TRUE(
      command().starts_with(R"("C:\pmpi\bin\mpirun.exe" -prot -e MPI_ROOT="C:\pmpi"  -np 4 )"));
  EXPECT_EQ("\n***\n*** User defined: IBMMPI_ROOT=C:\\pmpi\n***\n", both_streams());
}

TEST(PlatformMpiRoot, MayHoldABlank) {
  given_release();
  given_variable("IBMMPI_ROOT", "C:\\Program Files\\Platform MPI");
  EXPECT_TRUE(command().starts_with(
      R"("C:\Program Files\Platform MPI\bin\mpirun.exe" -prot -e MPI_ROOT="'C:\Program Files\Platform MPI'"  -np 4 )"));
}

TEST(PlatformMpiRoot, IsTheReleasesOwnInsideAScheduledJob) {
  given_release();
  given_variable("IBMMPI_ROOT", "C:\\pmpi");
  given_variable("USE_CCP", "-1");
  EXPECT_TRUE(
      command().starts_with(R"("C:\inc\zephon1.2.3\netweave\mpi\win64\ibmmpi\bin\mpirun.exe" )"));
  EXPECT_EQ("", both_streams());
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

TEST(PlatformMpiRoot, IsNotBelowTheLocalRoot) {
  given_release();
  given_variable("ZEPHON_INC_LOCAL_RESERVED", "D:\\local");
  EXPECT_TRUE(
      command().starts_with(R"("C:\inc\zephon1.2.3\netweave\mpi\win64\ibmmpi\bin\mpirun.exe" )"));
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

TEST(InstallPath, GetsADotWhenThereIsNoInstallation) {
  EXPECT_EQ(".C:\\bin", relativized("C:\\bin"));
}

TEST(PlatformMpiCommand, RelativizesTheProductsFolder) {
  given_release();
  state.prod_verdir = "C:\\inc\\prod";
  (void)command();
  EXPECT_EQ(".\\prod", state.prod_verdir);
}

TEST(PlatformMpiCommand, RelativizesTheRemotePath) {
  given_release();
  state.node_path = "C:\\inc\\node;C:\\inc\\second";
  EXPECT_TRUE(has(command(), R"( -e PATH="C:\inc\ntbin\win64;.\node;C:\inc\second" -e MPI_)"));
  EXPECT_EQ(".\\node;C:\\inc\\second", state.node_path);
}

TEST(PlatformMpiCommand, QuotesTheRemotePathTwiceWhenOnlyItsEndHasABlank) {
  given_release();
  state.node_path = "C:\\my node";
  EXPECT_TRUE(has(command(), R"( -e PATH="'C:\inc\ntbin\win64;C:\my node'" -e MPI_)"));
}

TEST(PlatformMpiCommand, BeginsTheRemotePathWithTheVariableOfTheMoment) {
  given_release();
  given_variable("ZEPHON_INC", "\\\\server\\inc");
  EXPECT_TRUE(has(command(), R"( -e PATH="\\server\inc\ntbin\win64" -e MPI_WORKDIR="C:\inc")"));
}

// ---- Programs -----------------------------------------------------------------------------

TEST(PlatformMpiCommand, GivesFourProgramsAWorkingDirectory) {
  for (const char *program : {"zephon", "lumis", "beamtrace"}) {
    EXPECT_EQ(R"( -e PATH="C:\inc\ntbin\win64" -e MPI_WORKDIR="C:\inc")",
              end_of_command_for(program));
  }
  EXPECT_EQ(
      R"( -e PATH="C:\inc\ntbin\win64" -e MPI_WORKDIR="C:\inc" -intra=nic -e MPI_TCP_SELECT=1 -e MPI_FLAGS=y0)",
      end_of_command_for("lumis_acc"));
}

TEST(PlatformMpiCommand, GivesOtherProgramsNone) {
  for (const char *program :
       {"tessa", "tessa2", "tessa_acc", "ZEPHON", "zephon2", "lumis_ac", "lumis_acc2", ""}) {
    EXPECT_EQ(R"( -e PATH="C:\inc\ntbin\win64")", end_of_command_for(program));
  }
  EXPECT_EQ(R"( -e PATH="C:\inc\ntbin\win64")", end_of_command_for(std::nullopt));
}

TEST(PlatformMpiCommand, GivesTheWorkingDirectoryInItsNetworkForm) {
  given_release();
  given_network_drive("C:", "\\\\server\\c");
  EXPECT_TRUE(command().ends_with(R"( -e MPI_WORKDIR="\\server\c\inc")"));
}

TEST(PlatformMpiCommand, LeavesTheWorkingDirectoryToTheUsersFlags) {
  given_release();
  given_variable("IBMMPI_USER_FLAGS", "-e MPI_WORKDIR=C:\\here");
  EXPECT_TRUE(command().ends_with(R"( -e PATH="C:\inc\ntbin\win64" -e MPI_WORKDIR=C:\here )"));
}

// ---- Placement ----------------------------------------------------------------------------

TEST(PlatformMpiPlacement, SpreadsTheProcessesOverTheHosts) {
  given_hosts("alpha\nbeta\n");
  EXPECT_TRUE(has(command(), R"( -hostfile "C:\temp\zphost-4711.txt"  -np 4 )"));
  EXPECT_EQ("alpha:2\r\nbeta:2\r\n", file_content("C:\\temp\\zphost-4711.txt"));
}

TEST(PlatformMpiPlacement, UsesAHostFileWithCountsAsItIs) {
  given_hosts("alpha:2\nbeta:2\n");
  EXPECT_TRUE(has(command(), R"(\ibmmpi"  -hostfile "C:\hosts"  -np 4 )"));
  EXPECT_EQ(texts{}, written_files());
}

TEST(PlatformMpiPlacement, CopiesAHostFileWithCountsForSpawnedProcesses) {
  given_hosts("alpha:2\nbeta:2\n");
  given_variable("ZEPHON_AUTO_SPAWN", "1");
  given_variable("PARA_MESH_NPROCS", "1");
  EXPECT_TRUE(has(command(), R"( -hostfile "C:\temp\zphosts-4711.txt"  -np 4 )"));
  EXPECT_EQ("alpha:1\r\nbeta:2\r\n\r\n", file_content("C:\\temp\\zphosts-4711.txt"));
  EXPECT_EQ("C:\\hosts", variable("ZEPHON_HOSTS_FILE"));
}

TEST(PlatformMpiPlacement, DoesNotCopyAHostFileThatItHasSpread) {
  given_hosts("alpha\nbeta\n");
  given_variable("ZEPHON_AUTO_SPAWN", "1");
  EXPECT_TRUE(has(command(), R"( -hostfile "C:\temp\zphost-4711.txt"  -np 4 )"));
  EXPECT_FALSE(file_exists("C:\\temp\\zphosts-4711.txt"));
}

TEST(PlatformMpiPlacement, UsesTheGivenHostFileWhenItCannotBeCopied) {
  given_hosts("alpha:2\nbeta:2\n");
  given_variable("ZEPHON_AUTO_SPAWN", "1");
  given_unwritable_path("C:\\temp\\zphosts-4711.txt");
  EXPECT_TRUE(has(command(), R"( -hostfile "C:\hosts"  -np 4 )"));
  EXPECT_EQ("\nfailed to open temp file for hosts", both_streams());
}

TEST(PlatformMpiPlacement, EndsTheProgramWhenTheHostFileIsMissing) {
  given_hosts("");
  given_no_file("C:\\hosts");
  EXPECT_EQ(2, status_of_exit([] { (void)platform_mpi_backend(); }));
  EXPECT_EQ("\n Error:  Failed to open host file C:\\hosts\n", both_streams());
  EXPECT_EQ("", state.launch_command);
}

TEST(PlatformMpiPlacement, LeavesTheHostsToTheSchedulerInsideAScheduledJob) {
  given_hosts("alpha\nbeta\n");
  given_variable("USE_CCP", "-1");
  given_variable("CCP_JOB_ID", "17");
  EXPECT_EQ(
      R"("C:\inc\zephon1.2.3\netweave\mpi\win64\ibmmpi\bin\mpirun.exe" -prot -e MPI_ROOT="C:\inc\zephon1.2.3\netweave\mpi\win64\ibmmpi"  -ccp  -np 4  -e PATH="C:\inc\ntbin\win64" -e MPI_WORKDIR="C:\inc")",
      command());
  EXPECT_EQ(texts{}, written_files());
  EXPECT_EQ(0, state.scheduler_job_id);
}

TEST(PlatformMpiPlacement, IsATaskOfAnExistingJob) {
  given_scheduler();
  given_variable("CCP_JOB_ID", "17");
  EXPECT_EQ(
      R"(job add 17 /numprocessors:1-1 /scheduler:head /name:"ORBEX ZEPHON" /stdout:ZP%CCP_TASKCONTEXT%.o /stderr:ZP%CCP_TASKCONTEXT%.e "C:\inc\zephon1.2.3\netweave\mpi\win64\ibmmpi\bin\mpirun.exe" -prot -e MPI_ROOT="C:\inc\zephon1.2.3\netweave\mpi\win64\ibmmpi"  -ccp  -np 4  -e PATH="C:\inc\ntbin\win64" -e MPI_WORKDIR="C:\inc")",
      command());
  EXPECT_EQ(17, state.scheduler_job_id);
  EXPECT_EQ(texts{}, commands());
}

TEST(PlatformMpiPlacement, IsATaskWithEverySetting) {
  given_scheduler();
  state.ccp_job_command = "\"C:\\my hpc\\job.exe\"";
  state.interconnect = "myrinet";
  given_variable("CCP_JOB_ID", "17");
  given_variable("ZP_CCP_UNIT", "node");
  given_variable("STD_DIR", "\\\\server\\share\\");
  given_variable("USERNAME", "jdoe");
  given_variable("ZP_CCP_JOB_TEMPLATE", "big");  // belongs to the job
  given_variable("ZP_CCP_NODE_GROUP", "fast");
  given_variable("CCP_USER_FLAGS", "/env:A=1");
  EXPECT_EQ(
      R"("C:\my hpc\job.exe" add 17 /numnodes:1-1 /scheduler:head /name:"ORBEX ZEPHON" /workdir:"\\server\share\." /stdout:ZP%CCP_TASKCONTEXT%.jdoe.o /stderr:ZP%CCP_TASKCONTEXT%.jdoe.e  /env:A=1 "C:\inc\zephon1.2.3\netweave\mpi\win64\ibmmpi\bin\mpirun.exe" -prot -e MPI_ROOT="C:\inc\zephon1.2.3\netweave\mpi\win64\ibmmpi" -MX  -ccp  -np 4  -e PATH="C:\inc\ntbin\win64" -e MPI_WORKDIR="C:\inc")",
      command());
  EXPECT_EQ("\n***\n*** User defined: CCP_USER_FLAGS=/env:A=1\n***\n", both_streams());
}

TEST(PlatformMpiPlacement, DoesNotReadTheHostFileForATask) {
  given_hosts("alpha\nbeta\n");
  given_variable("USE_CCP", "head");
  given_variable("CCP_JOB_ID", "17");
  EXPECT_FALSE(has(command(), "-hostfile"));
  EXPECT_EQ(0U, times_opened("C:\\hosts"));
}

TEST(PlatformMpiPlacement, CreatesAJobForItsTask) {
  given_scheduler();
  given_tool_with("job new ", prints("Created job, ID: 23\r\n"));
  EXPECT_TRUE(command().starts_with("job add 23 /numprocessors:1-1 /scheduler:head /name:"));
  EXPECT_EQ(23, state.scheduler_job_id);
}

TEST(PlatformMpiPlacement, SilentlyEndsTheProgramWithoutAJob) {
  given_scheduler();
  given_tool_with("job new ", prints(""));
  EXPECT_EQ(0, status_of_exit([] { (void)platform_mpi_backend(); }));
  EXPECT_EQ("", both_streams());
  EXPECT_EQ(-1, state.scheduler_job_id);
  EXPECT_EQ("", state.launch_command);
}

TEST(PlatformMpiPlacement, SilentlyEndsTheProgramForANegativeJob) {
  given_scheduler();
  given_variable("CCP_JOB_ID", "-1");
  EXPECT_EQ(0, status_of_exit([] { (void)platform_mpi_backend(); }));
  EXPECT_EQ("", both_streams());
}

TEST(PlatformMpiPlacement, TakesJobZero) {
  given_scheduler();
  given_variable("CCP_JOB_ID", "none");
  EXPECT_TRUE(command().starts_with("job add 0 /numprocessors:1-1 "));
}

// ---- The job ------------------------------------------------------------------------------

TEST(PlatformMpiJob, IsCreatedForTheProcesses) {
  given_scheduler();
  EXPECT_EQ(23, new_job("Created job, ID: 23\r\n"));
  EXPECT_EQ(texts{R"(job new /scheduler:head /jobname:"ORBEX ZEPHON" /numprocessors:4 )"},
            commands());
  EXPECT_EQ("Created job, ID: 23\n", both_streams());
}

TEST(PlatformMpiJob, IsCreatedWithEverySetting) {
  given_scheduler();
  state.ccp_job_command = "\"C:\\my hpc\\job.exe\"";
  given_variable("ZEPHON_HOSTS_FILE", "C:\\hosts");
  given_file("C:\\hosts", "alpha\nbeta\n");
  given_variable("ZP_CCP_UNIT", "socket");
  given_variable("ZP_CCP_JOB_TEMPLATE", "big");
  given_variable("ZP_CCP_NODE_GROUP", "fast");
  given_variable("CCP_USER_FLAGS", "/priority:High");
  EXPECT_EQ(23, new_job("Created job, ID: 23\r\n"));
  EXPECT_EQ(
      texts{
          R"("C:\my hpc\job.exe" new /scheduler:head /jobname:"ORBEX ZEPHON" /numsockets:4  /jobtemplate:big  /nodegroup:fast  /priority:High  /askednodes:alpha,beta )"},
      commands());
}

TEST(PlatformMpiJob, IsCreatedAfterTheCredentialCheck) {
  given_scheduler();
  given_no_variable("ZEPHON_CRED_CHECK");
  given_tool_with("Credential Check", exits_with(1));  // which does not matter
  EXPECT_EQ(23, new_job("Created job, ID: 23\r\n"));
  ASSERT_EQ(2U, commands().size());
  EXPECT_TRUE(has(commands()[0], "ORBEX ZEPHON Credential Check"));
  EXPECT_EQ(start_way::in_console, started_commands()[0].way);
}

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

TEST(PlatformMpiJob, IsKnownByEitherLine) {
  given_scheduler();
  EXPECT_EQ(9, new_job("Job queued, ID: 9\r\n"));
}

TEST(PlatformMpiJob, IsTheFirstOneNamed) {
  given_scheduler();
  EXPECT_EQ(23,
            new_job("Hello\r\nCreated job, ID:\r\nCreated job, ID: 23\r\nJob queued, ID: 9\r\n"));
  EXPECT_EQ("Hello\nCreated job, ID:\nCreated job, ID: 23\nJob queued, ID: 9\n", both_streams());
}

TEST(PlatformMpiJob, MayBeJobZero) {
  given_scheduler();
  EXPECT_EQ(0, new_job("Created job, ID: 0\r\nCreated job, ID: 5\r\n"));
}

TEST(PlatformMpiJob, IsNotNamedByASubmission) {
  given_scheduler();
  EXPECT_EQ(-1, new_job("Job has been submitted. ID: 23\r\n"));
}

TEST(PlatformMpiJob, IsNotNamedInTheMiddleOfALine) {
  given_scheduler();
  EXPECT_EQ(-1, new_job(" Created job, ID: 23\r\n"));
}

TEST(PlatformMpiJob, EchoesTheToolUnchanged) {
  given_scheduler();
  EXPECT_EQ(-1, new_job("100% %s\tlost \xFF\r\nno end"));
  EXPECT_EQ("100% %s\tlost \xFF\nno end", standard_output());
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

TEST(PlatformMpiJob, EchoesItsCommandForPtrace) {
  given_scheduler();
  state.ptrace_mode = true;
  (void)new_job("");
  EXPECT_EQ("\njob new /scheduler:head /jobname:\"ORBEX ZEPHON\" /numprocessors:4 \n",
            standard_error());
  EXPECT_EQ("", standard_output());
}

TEST(PlatformMpiJob, IsTracedTwice) {
  given_scheduler();
  given_variable("ZEPHON_STARTUP_DEBUG", "1");
  (void)new_job("");
  EXPECT_EQ(
      "\nbuf = job new /scheduler:head /jobname:\"ORBEX ZEPHON\" /numprocessors:4  "
      "(..\\src\\mpirun:2352)"
      "\ncmd = job new /scheduler:head /jobname:\"ORBEX ZEPHON\" /numprocessors:4  "
      "(..\\src\\mpirun:4151)",
      both_streams());
}

TEST(PlatformMpiJob, AsksForTheNodesOfAList) {
  given_scheduler();
  given_variable("ZEPHON_HOSTS_FILE", "alpha,beta");
  (void)new_job("");
  EXPECT_EQ(
      texts{
          R"(job new /scheduler:head /jobname:"ORBEX ZEPHON" /numprocessors:4  /askednodes:alpha,beta )"},
      commands());
  EXPECT_EQ(" /askednodes:alpha,beta ", state.std_dir);
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

TEST(PlatformMpiPassword, IsCheckedForTheLocalInstallation) {
  given_hosts("alpha:4\n");
  given_no_variable("ORBEX_DONT_CACHE_PASSWORD");
  given_variable("ZEPHON_INC_LOCAL_RESERVED", "D:\\local");
  const std::string check =
      R"(D:\local\zephon1.2.3\netweave\mpi\win64\ibmmpi\bin\mpirun.exe -pwcheck)";
  given_tool(check, prints(valid));
  (void)command();
  EXPECT_EQ(texts{check}, commands());
}

TEST(PlatformMpiPassword, IsCachedForTheLocalInstallation) {
  given_hosts("alpha:4\n");
  given_no_variable("ORBEX_DONT_CACHE_PASSWORD");
  const std::string program = R"(C:\inc\zephon1.2.3\netweave\mpi\win64\ibmmpi\bin\mpirun.exe)";
  given_file(program);
  given_tool(program + " -pwcheck", prints(invalid));
  given_tool(program + " -pwcheck", prints(valid));
  given_tool(program + " -cache cmd.exe /c ver");
  (void)command();
  EXPECT_EQ(
      (texts{program + " -pwcheck", program + " -cache cmd.exe /c ver", program + " -pwcheck"}),
      commands());
}

TEST(PlatformMpiPassword, IsNotCheckedWhenTheUserDoesNotWantThat) {
  given_hosts("alpha:4\n");
  given_variable("ORBEX_DONT_CACHE_PASSWORD", "");  // set is enough
  (void)command();
  EXPECT_EQ(texts{}, commands());
}

TEST(PlatformMpiPassword, IsNotNeededWithoutAHostFile) {
  EXPECT_EQ(1, ensure_platform_mpi_password("C:\\mpi", "-cache"));
  EXPECT_EQ(texts{}, commands());
}

TEST(PlatformMpiPassword, IsCheckedForAHostFile) {
  given_variable("ZEPHON_HOSTS_FILE", "C:\\hosts");
  given_tool(check_password, prints(valid));
  EXPECT_EQ(1, ensure_platform_mpi_password("C:\\mpi", "-cache"));
  EXPECT_EQ(texts{check_password}, commands());
}

TEST(PlatformMpiPassword, IsCheckedWhenTheUserWantsThat) {
  EXPECT_EQ(std::nullopt, status_of_password_step({valid}));
  EXPECT_EQ(texts{check_password}, commands());
  EXPECT_EQ("", both_streams());
}

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

TEST(PlatformMpiPassword, EndsTheProgramWhenTheUserDeclines) {
  given_box_answer(pressed_no);
  EXPECT_EQ(0, status_of_password_step({invalid}));
  EXPECT_EQ("\nUser chooses to skip password input, so launching stops!\n\n", both_streams());
  EXPECT_EQ((texts{check_password, cache_password, check_password}), commands());
}

TEST(PlatformMpiPassword, TakesNoAnswerWithinAnHourForANo) {
  given_box_without_answer();
  EXPECT_EQ(0, status_of_password_step({invalid}));
  EXPECT_EQ(3'600'000U, message_boxes().at(0).ended_at);
  EXPECT_EQ("\nUser chooses to skip password input, so launching stops!\n\n", both_streams());
}

TEST(PlatformMpiPassword, EndsTheProgramAfterThreeTimes) {
  given_box_answer(pressed_yes);
  given_box_answer(pressed_yes);
  EXPECT_EQ(4, status_of_password_step({invalid}));
  EXPECT_EQ("\nUser password has been inputed 3 times, but still wrong!\n\n", both_streams());
  EXPECT_EQ((texts{check_password, cache_password, check_password, cache_password, check_password,
                   cache_password, check_password}),
            commands());
  EXPECT_EQ(2U, message_boxes().size());
}

TEST(PlatformMpiPassword, IsTakenTheThirdTime) {
  given_box_answer(pressed_yes);
  given_box_answer(pressed_yes);
  EXPECT_EQ(std::nullopt, status_of_password_step({invalid, invalid, invalid, valid}));
}

TEST(PlatformMpiPassword, CannotBeCachedByARootWithABlank) {
  given_variable("CACHE_PASSWORD", "1");
  given_file("C:\\my mpi\\bin\\mpirun.exe");
  const std::string check = R"("C:\my mpi\bin\mpirun.exe" -pwcheck)";
  given_tool(check, prints(invalid));
  given_box_answer(pressed_yes);
  given_box_answer(pressed_yes);
  EXPECT_EQ(4, status_of_exit([] { (void)ensure_platform_mpi_password("C:\\my mpi", "-cache"); }));
  EXPECT_EQ((texts{check, check, check, check}), commands());
}

TEST(PlatformMpiPassword, GoesByATextInTheFirstLine) {
  EXPECT_EQ(1, is_cached("Cached password is valid"));
  EXPECT_EQ(1, is_cached("mpirun: Cached password is valid.\r\n"));
  EXPECT_EQ(0, is_cached("cached password is valid\r\n"));
  EXPECT_EQ(0, is_cached("Cached password is\r\n"));
  EXPECT_EQ(0, is_cached("Hello\r\nCached password is valid\r\n"));
  EXPECT_EQ(1, is_cached("Cached password is valid\r\nreally not\r\n"));
  EXPECT_EQ(0, is_cached(""));
}

TEST(PlatformMpiPassword, LooksAtTheFirst1023CharactersOfALine) {
  EXPECT_EQ(1, is_cached(std::string(999, ' ') + "Cached password is valid\r\n"));
  EXPECT_EQ(0, is_cached(std::string(1000, ' ') + "Cached password is valid\r\n"));
}

TEST(PlatformMpiPassword, IsNotCachedWhenTheToolIsMissing) {
  EXPECT_EQ(0, platform_mpi_password_is_cached("C:\\mpi"));
  EXPECT_EQ("", both_streams());
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

TEST(PlatformMpiPassword, IsTraced) {
  given_variable("ZEPHON_STARTUP_DEBUG", "1");
  EXPECT_EQ(std::nullopt, status_of_password_step({valid}));
  EXPECT_EQ("\ncmd = C:\\mpi\\bin\\mpirun.exe -pwcheck (..\\src\\mpirun:4151)", both_streams());
}

TEST(PlatformMpiPassword, QuotesTheWholeProgramInTheCheck) {
  (void)platform_mpi_password_is_cached("C:\\my mpi");
  EXPECT_EQ(texts{R"("C:\my mpi\bin\mpirun.exe" -pwcheck)"}, commands());
}

TEST(PlatformMpiPassword, LeavesARootWithAQuoteAsItIs) {
  (void)platform_mpi_password_is_cached(R"("C:\my mpi")");
  EXPECT_EQ(texts{R"("C:\my mpi"\bin\mpirun.exe -pwcheck)"}, commands());
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

TEST(PlatformMpiPassword, IsCachedWithoutAnEchoForPtrace) {
  state.ptrace_mode = true;
  EXPECT_EQ(std::nullopt, status_of_password_step({invalid, valid}));
  EXPECT_EQ("", both_streams());
  EXPECT_TRUE(message_boxes().empty());
}
