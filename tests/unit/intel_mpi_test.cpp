// Tests of the launch command of Intel MPI.
#include "backends/intel_mpi.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/fresh_launch.h"

using namespace stand_in;

namespace {

using texts = std::vector<std::string>;

const std::string installation = R"(C:\inc\zephon1.2.3\netweave\mpi\win64\intel)";

void given_release(int processes = 4) {
  state.zephon_inc = "C:\\inc";
  state.release = "1.2.3";
  state.zephon_prod = "zephon";
  state.num_procs = processes;
}

// A host file that has counts, so that it is used as it is.
void given_two_hosts() {
  given_release();
  given_variable("TEMP", "C:\\temp");
  given_variable("ZEPHON_HOSTS_FILE", "C:\\hosts");
  given_variable("COMPUTERNAME", "ALPHA");
  given_file("C:\\hosts", "alpha:2\nbeta:2\n");
  given_tool(installation + "\\bin\\smpd.exe -status", prints("smpd running on ALPHA\r\n"));
  given_tool(installation + "\\bin\\mpiexec.exe -validate", prints("SUCCESS\r\n"));
}

// One process on one host; no file needs to be written.
void given_one_host(const std::string &content) {
  given_two_hosts();
  given_file("C:\\hosts", content);
  state.num_procs = 1;
}

void given_scheduler() {
  given_release();
  given_variable("USE_CCP", "head");
  given_tool_with("Credential Check");
}

std::string command() {
  EXPECT_EQ(1, build_intel_mpi_command());
  return state.launch_command;
}

bool is_local(const std::string &command) {
  return command.find(" -localroot -localonly ") != std::string::npos;
}

}  // namespace

// ---- On this machine ----------------------------------------------------------------------

TEST(IntelMpiCommand, RunsLocallyWithoutAHostFile) {
  given_release();
  EXPECT_EQ(
      R"(C:\inc\zephon1.2.3\netweave\mpi\win64\intel\bin\mpiexec.exe  -n 4  -localroot -localonly -genv I_MPI_DEVICE shm -genv I_MPI_PIN enable )",
      command());
  EXPECT_EQ("", both_streams());
  EXPECT_EQ(texts{}, commands());
  EXPECT_EQ(0, state.scheduler_job_id);
}

TEST(IntelMpiCommand, HasEveryPieceInItsOrder) {
  given_release(12);
  state.zephon_prod = "lumis_acc";
  given_variable("QMX_ROOT", "C:\\qmx");
  given_variable("QMX_ARCH", "win64");
  given_variable("ZEPHON_PROD_DIR", "C:\\prod");
  given_variable("INTELMPI_USER_FLAGS", "-genv A 1");
  EXPECT_EQ(
      R"(C:\inc\zephon1.2.3\netweave\mpi\win64\intel\bin\mpiexec.exe  -n 12  -localroot -localonly -genv I_MPI_DEVICE shm -genv QMX_ROOT "C:\qmx" -genv QMX_ARCH "win64" -genv ZEPHON_PROD_DIR "C:\prod" -genv I_MPI_PIN enable  -genv I_MPI_WAIT_MODE enable  -genv A 1 )",
      command());
}

TEST(IntelMpiCommand, QuotesValuesWithABlankTwiceButNotItsOwnPath) {
  given_release();
  state.zephon_inc = "C:\\my inc";
  given_variable("QMX_ROOT", "C:\\my qmx");
  given_variable("QMX_ARCH", "win 64");
  given_variable("ZEPHON_PROD_DIR", "C:\\my prod");
  EXPECT_EQ(
      R"(C:\my inc\zephon1.2.3\netweave\mpi\win64\intel\bin\mpiexec.exe  -n 4  -localroot -localonly -genv I_MPI_DEVICE shm -genv QMX_ROOT "'C:\my qmx'" -genv QMX_ARCH "win 64" -genv ZEPHON_PROD_DIR "'C:\my prod'" -genv I_MPI_PIN enable )",
      command());
}

TEST(IntelMpiCommand, FormatsWhatIsUnknownAsNothing) {
  EXPECT_EQ(
      R"(\zephon\netweave\mpi\win64\intel\bin\mpiexec.exe  -n 1  -localroot -localonly -genv I_MPI_DEVICE shm -genv I_MPI_PIN enable )",
      command());
  EXPECT_EQ(R"(\zephon\netweave\mpi\win64\intel\bin;\ntbin\win64)", variable("PATH"));
}

TEST(IntelMpiCommand, NamesNoOtherDeviceOnThisMachine) {
  given_release();
  state.interconnect = "ib";
  EXPECT_NE(std::string::npos, command().find(" -genv I_MPI_DEVICE shm -genv I_MPI_PIN"));
}

TEST(IntelMpiCommand, NamesTheServiceForThisMachine) {
  given_release();
  (void)command();
  EXPECT_EQ(installation + "\\bin\\smpd.exe", variable("SMPD_OPTION_BINARY"));
}

TEST(IntelMpiCommand, TakesOnlyTheServiceFromTheLocalRoot) {
  given_release();
  given_variable("ZEPHON_INC_LOCAL_RESERVED", "D:\\local");
  EXPECT_TRUE(command().starts_with(installation + "\\bin\\mpiexec.exe "));
  EXPECT_EQ(R"(D:\local\zephon1.2.3\netweave\mpi\win64\intel\bin\smpd.exe)",
            variable("SMPD_OPTION_BINARY"));
  EXPECT_EQ(installation + R"(\bin;C:\inc\ntbin\win64)", variable("PATH"));
}

TEST(IntelMpiCommand, LeavesPinningToIntelMpi) {
  for (const char *setting : {"0", "2", "", "11", " 1", "yes"}) {
    fresh_launch();
    given_release();
    given_variable("ZEPHON_AFFINITY", setting);
    EXPECT_TRUE(command().ends_with(" shm -genv I_MPI_PIN enable ")) << setting;
    EXPECT_EQ("0", variable("ZEPHON_AFFINITY")) << setting;
  }
}

TEST(IntelMpiCommand, LeavesPinningToTheSolverWhenTheUserWantsThat) {
  given_release();
  given_variable("ZEPHON_AFFINITY", "1");
  EXPECT_TRUE(command().ends_with(" shm -genv I_MPI_PIN disable "));
  EXPECT_EQ("1", variable("ZEPHON_AFFINITY"));
  EXPECT_EQ(std::string::npos, state.env_pool.find("ZEPHON_AFFINITY"));
}

TEST(IntelMpiCommand, TurnsWaitModeOnForOneProgramOnly) {
  for (const char *program : {"zephon", "lumis", "tessa", "tessa_acc", "LUMIS_ACC", "lumis_acc2"}) {
    fresh_launch();
    given_release();
    state.zephon_prod = program;
    EXPECT_EQ(std::string::npos, command().find("I_MPI_WAIT_MODE")) << program;
  }
}

TEST(IntelMpiCommand, NeedsNoProgramsName) {
  given_release();
  state.zephon_prod.reset();
  EXPECT_TRUE(command().ends_with(" shm -genv I_MPI_PIN enable "));
}

TEST(IntelMpiCommand, ShowsTheUsersFlags) {
  given_release();
  given_variable("INTELMPI_USER_FLAGS", "-l  -v");
  EXPECT_TRUE(command().ends_with(" -genv I_MPI_PIN enable  -l  -v "));
  EXPECT_EQ("\n***\n*** User defined: INTELMPI_USER_FLAGS=-l  -v\n***\n", both_streams());
}

TEST(IntelMpiCommand, SetsThePathWithoutASeparatorBeforeTheOldOne) {
  given_release();
  given_variable("PATH", "C:\\windows;C:\\bin");
  (void)command();
  EXPECT_EQ(installation + R"(\bin;C:\inc\ntbin\win64C:\windows;C:\bin;)", variable("PATH"));
}

TEST(IntelMpiCommand, PutsTheRemotePathIntoThePath) {
  given_release();
  state.node_path = "C:\\node;D:\\node";
  given_variable("PATH", "C:\\windows");
  (void)command();
  EXPECT_EQ(installation + R"(\bin;C:\node;D:\node;C:\inc\ntbin\win64C:\windows;)",
            variable("PATH"));
}

TEST(IntelMpiCommand, EndsThePathWithTheReleaseWhenThereWasNone) {
  given_release();
  (void)command();
  EXPECT_EQ(installation + R"(\bin;C:\inc\ntbin\win64)", variable("PATH"));
}

TEST(IntelMpiCommand, TakesTheReleasesFoldersFromTheStateOfTheStart) {
  given_release();
  given_variable("ZEPHON_INC", "C:\\later");
  (void)command();
  EXPECT_EQ(installation + R"(\bin;C:\inc\ntbin\win64)", variable("PATH"));
}

TEST(IntelMpiCommand, SetsItsVariablesInThisOrder) {
  given_release();
  (void)command();
  std::string expected = "SMPD_OPTION_BINARY=" + installation + "\\bin\\smpd.exe";
  expected += '\0';
  expected += "ZEPHON_AFFINITY=0";
  expected += '\0';
  expected += "PATH=" + installation + R"(\bin;C:\inc\ntbin\win64)";
  expected.append(2, '\0');
  EXPECT_EQ(expected, state.env_pool);
}

TEST(IntelMpiCommand, IsTracedWhenItIsFinished) {
  given_release();
  given_variable("ZEPHON_STARTUP_DEBUG", "1");
  const std::string line = command();
  EXPECT_EQ("\nbuf = " + line + " (..\\src\\mpirun:3167)", both_streams());
}

// ---- On the hosts of a host file ----------------------------------------------------------

TEST(IntelMpiCommand, RunsOnTheHostsOfAFile) {
  given_two_hosts();
  EXPECT_EQ(
      R"(C:\inc\zephon1.2.3\netweave\mpi\win64\intel\bin\mpiexec.exe  -machinefile "C:\hosts"  -n 4  -genv I_MPI_PIN enable )",
      command());
  EXPECT_EQ(std::nullopt, variable("SMPD_OPTION_BINARY"));
}

TEST(IntelMpiCommand, ChecksServiceAndPasswordForAHostFile) {
  given_two_hosts();
  (void)command();
  EXPECT_EQ((texts{installation + "\\bin\\smpd.exe -status",
                   installation + "\\bin\\mpiexec.exe -validate"}),
            commands());
}

TEST(IntelMpiCommand, ChecksTheServiceOfTheLocalRoot) {
  given_two_hosts();
  given_variable("ZEPHON_INC_LOCAL_RESERVED", "D:\\local");
  EXPECT_TRUE(command().starts_with(installation + "\\bin\\mpiexec.exe "));
  EXPECT_EQ((texts{R"(D:\local\zephon1.2.3\netweave\mpi\win64\intel\bin\smpd.exe -status)",
                   R"(D:\local\zephon1.2.3\netweave\mpi\win64\intel\bin\mpiexec.exe -validate)"}),
            commands());
}

TEST(IntelMpiCommand, IgnoresALocalRootWithABlank) {
  given_two_hosts();
  given_variable("ZEPHON_INC_LOCAL_RESERVED", "D:\\my local");
  (void)command();
  EXPECT_EQ(installation + "\\bin\\smpd.exe -status", commands().at(0));
}

TEST(IntelMpiCommand, SkipsTheChecksWhenTheUserSwitchedThemOff) {
  given_two_hosts();
  given_variable("ZEPHON_CRED_CHECK", "NO");
  EXPECT_EQ(
      R"(C:\inc\zephon1.2.3\netweave\mpi\win64\intel\bin\mpiexec.exe  -machinefile "C:\hosts"  -n 4  -genv I_MPI_PIN enable )",
      command());
  EXPECT_EQ(texts{}, commands());
  EXPECT_EQ(
      "\n***\n*** User defined: ZEPHON_CRED_CHECK=NO\n*** Skipping credential validation!\n***\n",
      both_streams());
}

TEST(IntelMpiCommand, SpreadsTheProcessesOverTheHosts) {
  given_two_hosts();
  given_file("C:\\hosts", "alpha\nbeta\n");
  EXPECT_EQ(
      R"(C:\inc\zephon1.2.3\netweave\mpi\win64\intel\bin\mpiexec.exe  -machinefile "C:\temp\zphost-4711.txt"  -n 4  -genv I_MPI_PIN enable )",
      command());
  EXPECT_EQ("alpha:2\r\nbeta:2\r\n", file_content("C:\\temp\\zphost-4711.txt"));
  EXPECT_EQ("C:\\temp\\zphost-4711.txt", variable("ZEPHON_HOSTS_FILE"));
}

TEST(IntelMpiCommand, SpreadsTheProcessesBeforeItAsksForAPassword) {
  given_two_hosts();
  given_no_file("C:\\hosts");
  EXPECT_EQ(2, status_of_exit([] { (void)build_intel_mpi_command(); }));
  EXPECT_EQ("\n Error:  Failed to open host file C:\\hosts\n", both_streams());
  EXPECT_EQ(texts{}, commands());
  EXPECT_EQ("", state.launch_command);
}

TEST(IntelMpiCommand, QuotesTheHostFile) {
  given_two_hosts();
  given_variable("ZEPHON_HOSTS_FILE", "C:\\my hosts");
  given_file("C:\\my hosts", "alpha:2\nbeta:2\n");
  EXPECT_EQ(
      R"(C:\inc\zephon1.2.3\netweave\mpi\win64\intel\bin\mpiexec.exe  -machinefile "C:\my hosts"  -n 4  -genv I_MPI_PIN enable )",
      command());
}

TEST(IntelMpiCommand, NamesTheDeviceForTheInterconnect) {
  const std::vector<std::pair<std::string, std::string>> devices = {
      {"ib", "rdssm"}, {"infiniband", "rdssm"}, {"IB", "ssm"},   {"Infiniband", "ssm"},
      {"ib ", "ssm"},  {"ethernet", "ssm"},     {"myri", "ssm"}, {"", "ssm"}};
  for (const auto &[interconnect, device] : devices) {
    fresh_launch();
    given_two_hosts();
    state.interconnect = interconnect;
    EXPECT_EQ(
        R"(C:\inc\zephon1.2.3\netweave\mpi\win64\intel\bin\mpiexec.exe  -machinefile "C:\hosts"  -n 4  -genv I_MPI_DEVICE )" +
            device + " -genv I_MPI_PIN enable ",
        command());
  }
}

TEST(IntelMpiCommand, EndsTheProgramWhenTheUserGivesNoPassword) {
  given_two_hosts();
  given_tool_with("-validate", prints("FAIL\r\n"));
  given_box_answer(pressed_no);
  EXPECT_EQ(0, status_of_exit([] { (void)build_intel_mpi_command(); }));
  EXPECT_EQ("", state.launch_command);
}

// ---- On this machine by its name ----------------------------------------------------------

TEST(IntelMpiCommand, RunsLocallyOnItsOwnHost) {
  given_one_host("alpha.example.org\n");
  EXPECT_EQ(
      R"(C:\inc\zephon1.2.3\netweave\mpi\win64\intel\bin\mpiexec.exe  -machinefile "C:\hosts"  -n 1  -localroot -localonly -genv I_MPI_DEVICE shm -genv I_MPI_PIN enable )",
      command());
  EXPECT_EQ(installation + "\\bin\\smpd.exe", variable("SMPD_OPTION_BINARY"));
}

TEST(IntelMpiCommand, DoesNotRunLocallyOnAnotherHost) {
  given_one_host("beta\n");
  EXPECT_FALSE(is_local(command()));
}

TEST(IntelMpiCommand, DoesNotKnowItsOwnHostWithACountBehindABlank) {
  given_one_host("alpha 1\n");
  EXPECT_FALSE(is_local(command()));
}

TEST(IntelMpiCommand, DoesNotKnowItsOwnHostOnceTheProcessesAreSpread) {
  given_one_host("alpha\n");
  state.num_procs = 2;
  EXPECT_FALSE(is_local(command()));
  EXPECT_EQ("alpha:2\r\n", file_content("C:\\temp\\zphost-4711.txt"));
}

TEST(IntelMpiCommand, RunsLocallyWithALineForEachProcess) {
  given_one_host("alpha\nALPHA\nalpha\n");
  state.num_procs = 3;
  EXPECT_TRUE(is_local(command()));
}

TEST(IntelMpiCommand, DoesNotRunLocallyWhenAnotherHostFollows) {
  given_one_host("alpha\nbeta\n");
  state.num_procs = 2;
  EXPECT_FALSE(is_local(command()));
}

TEST(IntelMpiCommand, DoesNotRunLocallyWithoutTheComputersName) {
  given_one_host("alpha\n");
  given_no_variable("COMPUTERNAME");
  EXPECT_FALSE(is_local(command()));
}

TEST(IntelMpiCommand, WarnsWhenTheHostFileIsGoneForTheSingleHostTest) {
  given_one_host("alpha\n");
  given_last_opening("C:\\hosts");
  EXPECT_FALSE(is_local(command()));
  EXPECT_TRUE(standard_output().ends_with(
      "\nWarning: Unable to open host file C:\\hosts! Use local machine.\n"));
}

// ---- Through the scheduler ----------------------------------------------------------------

TEST(IntelMpiCommand, IsSubmittedAsAJobOfItsOwn) {
  given_scheduler();
  EXPECT_EQ(
      R"(job submit /scheduler:head /jobname:"ORBEX ZEPHON" /exclusive:false /numprocessors:4 /stdout:ZP%CCP_TASKCONTEXT%.o /stderr:ZP%CCP_TASKCONTEXT%.e C:\inc\zephon1.2.3\netweave\mpi\win64\intel\bin\mpiexec.exe  -hosts %CCP_NODES%  -n 4  -genv I_MPI_PIN enable )",
      command());
  EXPECT_EQ(
      texts{
          R"(cmd.exe /c job submit /scheduler:head /jobname:"ORBEX ZEPHON Credential Check"  cmd.exe /C ver)"},
      commands());
  EXPECT_EQ(start_way::in_console, started_commands().at(0).way);
  EXPECT_EQ(0, state.scheduler_job_id);
}

TEST(IntelMpiCommand, IsAddedToAnExistingJob) {
  given_scheduler();
  given_variable("CCP_JOB_ID", "17");
  EXPECT_EQ(
      R"(job add 17 /scheduler:head /name:"ORBEX ZEPHON" /exclusive:false /numprocessors:4 /stdout:ZP%CCP_TASKCONTEXT%.o /stderr:ZP%CCP_TASKCONTEXT%.e C:\inc\zephon1.2.3\netweave\mpi\win64\intel\bin\mpiexec.exe  -hosts %CCP_NODES%  -n 4  -genv I_MPI_PIN enable )",
      command());
  EXPECT_EQ(17, state.scheduler_job_id);
  EXPECT_EQ(texts{}, commands());
}

TEST(IntelMpiCommand, IsSubmittedWithEverySchedulerSetting) {
  given_scheduler();
  state.ccp_job_command = "\"C:\\my hpc\\job.exe\"";
  given_variable("ZEPHON_CRED_CHECK", "no");
  given_variable("ZP_CCP_UNIT", "node");
  given_variable("STD_DIR", "\\\\server\\share");
  given_variable("USERNAME", "jdoe");
  given_variable("ZP_CCP_JOB_TEMPLATE", "big");
  given_variable("ZP_CCP_NODE_GROUP", "fast");
  given_variable("CCP_USER_FLAGS", "/priority:High");
  EXPECT_EQ(
      R"("C:\my hpc\job.exe" submit /scheduler:head /jobname:"ORBEX ZEPHON" /exclusive:false /numnodes:4 /workdir:"\\server\share" /stdout:ZP%CCP_TASKCONTEXT%.jdoe.o /stderr:ZP%CCP_TASKCONTEXT%.jdoe.e  /jobtemplate:big  /nodegroup:fast  /priority:High C:\inc\zephon1.2.3\netweave\mpi\win64\intel\bin\mpiexec.exe  -hosts %CCP_NODES%  -n 4  -genv I_MPI_PIN enable )",
      command());
  EXPECT_EQ("\n***\n*** User defined: CCP_USER_FLAGS=/priority:High\n***\n", both_streams());
  EXPECT_EQ(texts{}, commands());
}

TEST(IntelMpiCommand, IsAddedWithoutWhatBelongsToTheJob) {
  given_scheduler();
  given_variable("CCP_JOB_ID", "17");
  given_variable("ZP_CCP_UNIT", "core");
  given_variable("ZP_CCP_JOB_TEMPLATE", "big");
  given_variable("ZP_CCP_NODE_GROUP", "fast");
  given_variable("CCP_USER_FLAGS", "/env:A=1");
  EXPECT_EQ(
      R"(job add 17 /scheduler:head /name:"ORBEX ZEPHON" /exclusive:false /numcores:4 /stdout:ZP%CCP_TASKCONTEXT%.o /stderr:ZP%CCP_TASKCONTEXT%.e  /env:A=1 C:\inc\zephon1.2.3\netweave\mpi\win64\intel\bin\mpiexec.exe  -hosts %CCP_NODES%  -n 4  -genv I_MPI_PIN enable )",
      command());
}

TEST(IntelMpiCommand, StandsAloneInAnExistingJobWithAReadableHostFile) {
  given_scheduler();
  given_variable("CCP_JOB_ID", "17");
  given_variable("ZEPHON_HOSTS_FILE", "C:\\hosts");
  given_file("C:\\hosts", "alpha\n");
  EXPECT_EQ(
      R"(C:\inc\zephon1.2.3\netweave\mpi\win64\intel\bin\mpiexec.exe  -n 4  -genv I_MPI_PIN enable )",
      command());
  EXPECT_EQ(17, state.scheduler_job_id);
  EXPECT_EQ(texts{}, written_files());
}

TEST(IntelMpiCommand, HasTheJobsOptionsInFrontInAnExistingJobWithAReadableHostFile) {
  given_scheduler();
  given_variable("CCP_JOB_ID", "17");
  given_variable("ZEPHON_HOSTS_FILE", "C:\\hosts");
  given_file("C:\\hosts", "alpha\n");
  given_variable("ZP_CCP_JOB_TEMPLATE", "big");
  EXPECT_EQ(
      R"( /jobtemplate:big C:\inc\zephon1.2.3\netweave\mpi\win64\intel\bin\mpiexec.exe  -n 4  -genv I_MPI_PIN enable )",
      command());
}

TEST(IntelMpiCommand, StandsRightBehindTheCountWithAReadableHostFile) {
  given_scheduler();
  given_variable("ZEPHON_HOSTS_FILE", "C:\\hosts");
  given_file("C:\\hosts", "alpha\n");
  EXPECT_EQ(
      R"(job submit /scheduler:head /jobname:"ORBEX ZEPHON" /exclusive:false /numprocessors:4C:\inc\zephon1.2.3\netweave\mpi\win64\intel\bin\mpiexec.exe  -n 4  -genv I_MPI_PIN enable )",
      command());
}

TEST(IntelMpiCommand, TakesAHostFileThatDoesNotOpenForNone) {
  given_scheduler();
  given_variable("CCP_JOB_ID", "17");
  given_variable("ZEPHON_HOSTS_FILE", "C:\\missing");
  EXPECT_EQ(
      R"(job add 17 /scheduler:head /name:"ORBEX ZEPHON" /exclusive:false /numprocessors:4 /stdout:ZP%CCP_TASKCONTEXT%.o /stderr:ZP%CCP_TASKCONTEXT%.e C:\inc\zephon1.2.3\netweave\mpi\win64\intel\bin\mpiexec.exe  -hosts %CCP_NODES%  -n 4  -genv I_MPI_PIN enable )",
      command());
}

TEST(IntelMpiCommand, NamesTheDeviceForTheInterconnectOfTheCluster) {
  given_scheduler();
  given_variable("CCP_JOB_ID", "17");
  state.interconnect = "infiniband";
  EXPECT_TRUE(command().ends_with(
      " -hosts %CCP_NODES%  -n 4  -genv I_MPI_DEVICE rdssm -genv I_MPI_PIN enable "));
}

TEST(IntelMpiCommand, IsHandedToTheSchedulerInsideAJobToo) {
  given_scheduler();
  given_variable("USE_CCP", "-1");
  given_variable("CCP_JOB_ID", "17");
  EXPECT_TRUE(command().starts_with("job add 17 /scheduler:-1 /name:"));
}

TEST(IntelMpiCommand, TakesAJobThatIsNoNumberForZero) {
  given_scheduler();
  given_variable("CCP_JOB_ID", "seventeen");
  EXPECT_TRUE(command().starts_with("job add 0 /scheduler:head "));
}
