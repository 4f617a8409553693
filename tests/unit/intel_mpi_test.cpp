// Tests of the back-end of Intel MPI beside the rows of tests/cases.
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
  return state.launch_command.text;
}

bool is_local(const std::string &command) {
  return command.find(" -localroot -localonly ") != std::string::npos;
}

}  // namespace

// ---- On this machine ----------------------------------------------------------------------

TEST(IntelMpiCommand, LeavesPinningToTheSolverWhenTheUserWantsThat) {
  given_release();
  given_variable("ZEPHON_AFFINITY", "1");
  EXPECT_TRUE(command().ends_with(" shm -genv I_MPI_PIN disable "));
  EXPECT_EQ("1", variable("ZEPHON_AFFINITY"));
  EXPECT_EQ(std::string::npos, state.env_pool.find("ZEPHON_AFFINITY"));
}

TEST(IntelMpiCommand, EndsThePathWithTheReleaseWhenThereWasNone) {
  given_release();
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

// ---- On the hosts of a host file ----------------------------------------------------------

TEST(IntelMpiCommand, SpreadsTheProcessesOverTheHosts) {
  given_two_hosts();
  given_file("C:\\hosts", "alpha\nbeta\n");
  EXPECT_EQ(
      R"(C:\inc\zephon1.2.3\netweave\mpi\win64\intel\bin\mpiexec.exe  -machinefile "C:\temp\zphost-4711.txt"  -n 4  -genv I_MPI_PIN enable )",
      command());
  EXPECT_EQ("alpha:2\r\nbeta:2\r\n", file_content("C:\\temp\\zphost-4711.txt"));
  EXPECT_EQ("C:\\temp\\zphost-4711.txt", variable("ZEPHON_HOSTS_FILE"));
}

// ---- On this machine by its name ----------------------------------------------------------

TEST(IntelMpiCommand, DoesNotKnowItsOwnHostOnceTheProcessesAreSpread) {
  given_one_host("alpha\n");
  state.num_procs = 2;
  EXPECT_FALSE(is_local(command()));
  EXPECT_EQ("alpha:2\r\n", file_content("C:\\temp\\zphost-4711.txt"));
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
