// Tests of the back-end of MS-MPI.
#include "backends/msmpi.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <vector>

#include "core/launch_state.h"
#include "support/fresh_launch.h"

using namespace stand_in;

namespace {

using texts = std::vector<std::string>;

std::string built_command() {
  EXPECT_EQ(1, msmpi_backend());
  return state.launch_command;
}

// A launch with 4 processes of an MS-MPI that MSMPI_HOME names.
class MsmpiCommand : public testing::Test {
 protected:
  MsmpiCommand() {
    state.zephon_inc = "C:\\zephon";
    state.mpi_name = "msmpi";
    state.num_procs = 4;
    given_variable("MSMPI_HOME", "C:\\msmpi");
  }

  static void given_head_node(const std::string &head) {
    given_variable("USE_CCP", head);
    given_variable("ZEPHON_CRED_CHECK", "no");
    given_tool("cluscfg listenvs /scheduler:" + head);
  }

  // In a job that the scheduler started.
  static void given_allocation(const std::string &nodes) {
    given_variable("USE_CCP", "-1");
    given_variable("CCP_NODES", nodes);
  }
};

// What every command ends with that has nothing special behind it.
constexpr const char *path_piece = " -env PATH \"C:\\zephon\\ntbin\\win64\" ";

// ---- On this machine ----------------------------------------------------------------------

TEST_F(MsmpiCommand, StartsSoManyProcessesOnThisMachine) {
  EXPECT_EQ("C:\\msmpi\\bin\\mpiexec.exe   -np 4  -env PATH \"C:\\zephon\\ntbin\\win64\" ",
            built_command());
  EXPECT_TRUE(commands().empty());
  EXPECT_EQ("", both_streams());
}

TEST_F(MsmpiCommand, TakesMpiexecFromTheSearchPathOnAMachineWithTheClusterPack) {
  given_variable("CCP_HOME", "");
  EXPECT_EQ(" mpiexec.exe  -np 4  -env PATH \"C:\\zephon\\ntbin\\win64\" ", built_command());
}

TEST_F(MsmpiCommand, TakesTheReleasesMpiWithoutAnMpiOfTheUser) {
  given_no_variable("MSMPI_HOME");
  state.release = "12.0.16";
  EXPECT_EQ(
      "C:\\zephon\\zephon12.0.16\\netweave\\mpi\\win64\\ms\\bin\\mpiexec.exe   -np 4 "
      " -env PATH \"C:\\zephon\\ntbin\\win64\" ",
      built_command());
}

TEST_F(MsmpiCommand, TakesTheReleasesMpiWhenTheUsersIsAnother) {
  for (const char *home : {"C:\\MPIPro", "C:\\MPICH\\mpd", "D:\\mpich2", "D:\\XMPICHX"}) {
    given_variable("MSMPI_HOME", home);
    EXPECT_TRUE(built_command().starts_with(
        "C:\\zephon\\zephon\\netweave\\mpi\\win64\\ms\\bin\\mpiexec.exe   -np 4 "))
        << home;
  }
}

TEST_F(MsmpiCommand, TellsOtherMpisByExactlyTheirNames) {
  for (const char *home : {"C:\\mpipro", "C:\\Mpich", "C:\\mPICH", "C:\\MPI Pro", ""}) {
    given_variable("MSMPI_HOME", home);
    EXPECT_TRUE(built_command().starts_with(std::string(home) + "\\bin\\mpiexec.exe   -np 4 "));
  }
}

TEST_F(MsmpiCommand, LeavesTheReleasesLocalRootAlone) {
  given_no_variable("MSMPI_HOME");
  given_variable("ZEPHON_INC_LOCAL_RESERVED", "D:\\local");
  EXPECT_TRUE(built_command().starts_with("C:\\zephon\\zephon\\netweave\\mpi\\win64\\ms\\bin\\"));
}

TEST_F(MsmpiCommand, DoesNotQuoteAPathWithABlank) {
  given_variable("MSMPI_HOME", "C:\\Program Files\\MS MPI");
  EXPECT_EQ(std::string("C:\\Program Files\\MS MPI\\bin\\mpiexec.exe   -np 4 ") + path_piece,
            built_command());
}

TEST_F(MsmpiCommand, ExtendsTheRemotePath) {
  state.node_path = "\\\\server\\a b;C:\\c";
  EXPECT_EQ(
      "C:\\msmpi\\bin\\mpiexec.exe   -np 4 "
      " -env PATH \"C:\\zephon\\ntbin\\win64;\\\\server\\a b;C:\\c\" ",
      built_command());
}

TEST_F(MsmpiCommand, FormatsAnAbsentRootAsNothing) {
  state.zephon_inc.reset();
  EXPECT_EQ("C:\\msmpi\\bin\\mpiexec.exe   -np 4  -env PATH \"\\ntbin\\win64\" ", built_command());
}

TEST_F(MsmpiCommand, IsStoredForTheLaunch) {
  state.launch_command = "old";
  EXPECT_EQ(1, msmpi_backend());
  EXPECT_EQ(std::string("C:\\msmpi\\bin\\mpiexec.exe   -np 4 ") + path_piece, state.launch_command);
}

TEST_F(MsmpiCommand, IsTraced) {
  given_variable("ZEPHON_STARTUP_DEBUG", "1");
  const std::string command = built_command();
  EXPECT_EQ("\nsOptions.pre = " + command + " (..\\src\\mpirun:2291)", standard_output());
}

// ---- Forwarded variables ------------------------------------------------------------------

TEST_F(MsmpiCommand, ForwardsTheWorkSize) {
  given_variable("ZEPHON_WORK_SIZE", "100");
  given_variable("ZEPHON_WORK_UNIT", "0.5");
  EXPECT_EQ(std::string("C:\\msmpi\\bin\\mpiexec.exe   -np 4 ") + path_piece +
                " -env ZEPHON_WORK_SIZE 100  -env ZEPHON_WORK_UNIT 0.5 ",
            built_command());
}

TEST_F(MsmpiCommand, ForwardsTheSolversVariables) {
  given_variable("QMX_ROOT", "C:\\qmx");
  given_variable("QMX_ARCH", "win64");
  given_variable("ZEPHON_PROD_DIR", "C:\\prod");
  EXPECT_EQ(std::string("C:\\msmpi\\bin\\mpiexec.exe   -np 4 ") + path_piece +
                " -env QMX_ROOT \"C:\\qmx\" -env QMX_ARCH \"win64\""
                " -env ZEPHON_PROD_DIR \"C:\\prod\"",
            built_command());
}

TEST_F(MsmpiCommand, PutsSingleQuotesAroundDirectoriesWithABlank) {
  given_variable("QMX_ROOT", "C:\\Program Files\\x");
  given_variable("QMX_ARCH", "win 64");
  given_variable("ZEPHON_PROD_DIR", "C:\\my prod");
  EXPECT_EQ(std::string("C:\\msmpi\\bin\\mpiexec.exe   -np 4 ") + path_piece +
                " -env QMX_ROOT \"'C:\\Program Files\\x'\" -env QMX_ARCH \"win 64\""
                " -env ZEPHON_PROD_DIR \"'C:\\my prod'\"",
            built_command());
}

TEST_F(MsmpiCommand, AppendsTheUsersFlagsAndShowsThem) {
  given_variable("MPICH2_USER_FLAGS", "-priority 2 100%d");
  EXPECT_EQ(
      std::string("C:\\msmpi\\bin\\mpiexec.exe   -np 4 ") + path_piece + " -priority 2 100%d ",
      built_command());
  EXPECT_EQ("\n***\n*** User defined: MPICH2_USER_FLAGS=-priority 2 100%d\n***\n",
            standard_output());
}

TEST_F(MsmpiCommand, AsksForAffinityInATemplateJobOfTheClusterPack) {
  given_variable("CCP_HOME", "C:\\ccp");
  EXPECT_EQ(std::string::npos, built_command().find("-affinity"));
  given_variable("CCP_JOBTEMPLATE", "Default");
  EXPECT_EQ(std::string(" mpiexec.exe  -np 4 ") + path_piece + " -affinity ", built_command());
  given_no_variable("CCP_HOME");
  EXPECT_EQ(std::string::npos, built_command().find("-affinity"));
}

TEST_F(MsmpiCommand, AsksForNoAffinityThatTheUserForbids) {
  given_variable("CCP_HOME", "C:\\ccp");
  given_variable("CCP_JOBTEMPLATE", "Default");
  given_variable("MSMPI_NO_AFFINITY_SET", "0");
  EXPECT_EQ(std::string(" mpiexec.exe  -np 4 ") + path_piece, built_command());
  EXPECT_EQ("\n***\n*** User defined: MSMPI_NO_AFFINITY_SET=0\n***\n", standard_output());
}

TEST_F(MsmpiCommand, ShowsTheForbiddenAffinityAlsoWhereItMattersNot) {
  given_variable("MSMPI_NO_AFFINITY_SET", "");
  (void)built_command();
  EXPECT_EQ("\n***\n*** User defined: MSMPI_NO_AFFINITY_SET=\n***\n", standard_output());
}

TEST_F(MsmpiCommand, HasItsLastPiecesInOrder) {
  given_variable("CCP_HOME", "C:\\ccp");
  given_variable("CCP_JOBTEMPLATE", "Default");
  given_variable("ZEPHON_WORK_SIZE", "1");
  given_variable("MPICH2_USER_FLAGS", "-u");
  given_variable("QMX_ROOT", "r");
  given_variable("QMX_ARCH", "a");
  given_variable("ZEPHON_PROD_DIR", "d");
  EXPECT_EQ(std::string(" mpiexec.exe  -np 4 ") + path_piece +
                " -env ZEPHON_WORK_SIZE 1  -u  -env QMX_ROOT \"r\" -env QMX_ARCH \"a\""
                " -env ZEPHON_PROD_DIR \"d\" -affinity ",
            built_command());
}

// ---- Net mask -----------------------------------------------------------------------------

TEST_F(MsmpiCommand, ForwardsTheNetMaskToACluster) {
  given_allocation("1 a 4");
  given_variable("MPICH_NETMASK", "10.0.0.0/255.0.0.0");
  EXPECT_EQ(
      "C:\\msmpi\\bin\\mpiexec.exe   -env MPICH_NETMASK 10.0.0.0/255.0.0.0  -hosts 1 a 4 "
      " -env PATH \"C:\\zephon\\ntbin\\win64\"  -env CCP_CLUSTER_NAME -1 ",
      built_command());
  EXPECT_EQ("\nUsing user defined:  -env MPICH_NETMASK 10.0.0.0/255.0.0.0 \n", standard_output());
}

TEST_F(MsmpiCommand, ForwardsTheNetMaskToTheMachinesOfAHostFile) {
  given_variable("ZEPHON_HOSTS_FILE", "C:\\no file");
  given_variable("MPICH_NETMASK", "100%s");
  EXPECT_EQ(
      std::string("C:\\msmpi\\bin\\mpiexec.exe   -env MPICH_NETMASK 100%s  -np 4 ") + path_piece,
      built_command());
  EXPECT_EQ("\nUsing user defined:  -env MPICH_NETMASK 100%s \n", standard_output());
}

TEST_F(MsmpiCommand, NeedsNoNetMaskOnThisMachine) {
  given_variable("MPICH_NETMASK", "10.0.0.0/255.0.0.0");
  EXPECT_EQ(std::string("C:\\msmpi\\bin\\mpiexec.exe   -np 4 ") + path_piece, built_command());
  EXPECT_EQ("", standard_output());
}

// ---- A machine file -----------------------------------------------------------------------

TEST_F(MsmpiCommand, StartsOnTheMachinesOfAFile) {
  given_file("C:\\hosts", "a\nb\n");
  given_variable("ZEPHON_HOSTS_FILE", "C:\\hosts");
  EXPECT_EQ(
      std::string("C:\\msmpi\\bin\\mpiexec.exe   -np 4  -machinefile C:\\hosts ") + path_piece,
      built_command());
}

TEST_F(MsmpiCommand, LeavesOutAFileThatCannotBeRead) {
  given_unreadable_file("C:\\hosts", "a\n");
  given_variable("ZEPHON_HOSTS_FILE", "C:\\hosts");
  EXPECT_EQ(std::string("C:\\msmpi\\bin\\mpiexec.exe   -np 4 ") + path_piece, built_command());
}

TEST_F(MsmpiCommand, NamesNoTaskForAJobWithoutAHeadNode) {
  given_file("C:\\hosts", "a\n");
  given_variable("ZEPHON_HOSTS_FILE", "C:\\hosts");
  given_variable("CCP_JOB_ID", "42");
  EXPECT_EQ(
      std::string("C:\\msmpi\\bin\\mpiexec.exe   -np 4  -machinefile C:\\hosts ") + path_piece,
      built_command());
}

TEST_F(MsmpiCommand, RunsInTheFirstTaskOfAnExistingJob) {
  given_head_node("head");
  given_variable("CCP_JOB_ID", "42");
  given_file("C:\\hosts", "a\n");
  given_variable("ZEPHON_HOSTS_FILE", "C:\\hosts");
  EXPECT_EQ(
      "C:\\msmpi\\bin\\mpiexec.exe   -job 42.1 -dir .  -np 4  -machinefile C:\\hosts "
      " -env PATH \"C:\\zephon\\ntbin\\win64\"  -env CCP_CLUSTER_NAME head ",
      built_command());
  EXPECT_EQ(42, state.scheduler_job_id);
}

TEST_F(MsmpiCommand, RunsInTheUsersDirectory) {
  given_head_node("head");
  given_variable("CCP_JOB_ID", "42x");
  given_variable("STD_DIR", "\\\\s\\my run");
  given_file("C:\\hosts", "a\n");
  given_variable("ZEPHON_HOSTS_FILE", "C:\\hosts");
  EXPECT_EQ(
      "C:\\msmpi\\bin\\mpiexec.exe   -job 42x.1 -dir \\\\s\\my run -np 4  -machinefile C:\\hosts "
      " -env PATH \"C:\\zephon\\ntbin\\win64\"  -env CCP_CLUSTER_NAME head ",
      built_command());
}

TEST_F(MsmpiCommand, PutsTheOptionsOfAJobBeforeMpiexecForAHostFileInAnExistingJob) {
  given_head_node("head");
  given_variable("CCP_JOB_ID", "42");
  given_variable("ZP_CCP_JOB_TEMPLATE", "t");
  given_variable("CCP_USER_FLAGS", "/u");
  given_file("C:\\hosts", "a\n");
  given_variable("ZEPHON_HOSTS_FILE", "C:\\hosts");
  EXPECT_EQ(
      " /jobtemplate:t  /u C:\\msmpi\\bin\\mpiexec.exe   -job 42.1 -dir .  -np 4 "
      " -machinefile C:\\hosts  -env PATH \"C:\\zephon\\ntbin\\win64\"  -env CCP_CLUSTER_NAME "
      "head ",
      built_command());
}

TEST_F(MsmpiCommand, SubmitsARunWithAHostFileWithoutOutputFiles) {
  given_head_node("head");
  given_file("C:\\hosts", "a\n");
  given_variable("ZEPHON_HOSTS_FILE", "C:\\hosts");
  EXPECT_EQ(
      "job submit /scheduler:head /jobname:\"ORBEX ZEPHON\" /exclusive:false /numprocessors:4"
      "C:\\msmpi\\bin\\mpiexec.exe   -machinefile C:\\hosts "
      " -env PATH \"C:\\zephon\\ntbin\\win64\"  -env CCP_CLUSTER_NAME head ",
      built_command());
}

// ---- Inside a job -------------------------------------------------------------------------

TEST_F(MsmpiCommand, StartsOnTheNodesOfItsJob) {
  given_allocation("3 alpha 8 beta 8 gamma 8");
  state.num_procs = 2;
  EXPECT_EQ(
      "C:\\msmpi\\bin\\mpiexec.exe   -hosts 2 alpha 1 beta 1  "
      " -env PATH \"C:\\zephon\\ntbin\\win64\"  -env CCP_CLUSTER_NAME -1 ",
      built_command());
  EXPECT_TRUE(commands().empty());
}

TEST_F(MsmpiCommand, StartsOnAllNodesOfASmallJob) {
  given_allocation("3 alpha 8 beta 8 gamma 8");
  EXPECT_EQ(
      "C:\\msmpi\\bin\\mpiexec.exe   -hosts 3 alpha 8 beta 8 gamma 8 "
      " -env PATH \"C:\\zephon\\ntbin\\win64\"  -env CCP_CLUSTER_NAME -1 ",
      built_command());
}

TEST_F(MsmpiCommand, LeavesTheHostsToTheUserInsideAJob) {
  given_allocation("3 alpha 8 beta 8 gamma 8");
  given_variable("MPICH2_USER_FLAGS", "-hosts 1 alpha");
  EXPECT_EQ(
      "C:\\msmpi\\bin\\mpiexec.exe  "
      " -env PATH \"C:\\zephon\\ntbin\\win64\"  -env CCP_CLUSTER_NAME -1  -hosts 1 alpha ",
      built_command());
}

TEST_F(MsmpiCommand, KnowsTheUsersHostsByTheirBlank) {
  given_allocation("1 alpha 8");
  given_variable("MPICH2_USER_FLAGS", "-hosts");
  EXPECT_EQ(
      "C:\\msmpi\\bin\\mpiexec.exe   -hosts 1 alpha 8 "
      " -env PATH \"C:\\zephon\\ntbin\\win64\"  -env CCP_CLUSTER_NAME -1  -hosts ",
      built_command());
}

TEST_F(MsmpiCommand, TakesAHostFileInsideAJobToo) {
  given_allocation("1 alpha 8");
  given_file("C:\\hosts", "a\n");
  given_variable("ZEPHON_HOSTS_FILE", "C:\\hosts");
  given_variable("CCP_JOB_ID", "42");
  EXPECT_EQ(
      "C:\\msmpi\\bin\\mpiexec.exe   -hosts 1 alpha 8  -job 42.1 -dir .  -np 4 "
      " -machinefile C:\\hosts  -env PATH \"C:\\zephon\\ntbin\\win64\"  -env CCP_CLUSTER_NAME -1 ",
      built_command());
}

TEST_F(MsmpiCommand, AddsNoTaskInsideAJob) {
  given_allocation("1 alpha 8");
  given_variable("CCP_JOB_ID", "42");
  (void)built_command();
  EXPECT_EQ(0, state.scheduler_job_id);
}

TEST_F(MsmpiCommand, IsInsideAJobOnlyWithTheNodesOfOne) {
  given_variable("USE_CCP", "-1");
  given_variable("ZEPHON_CRED_CHECK", "no");
  EXPECT_TRUE(built_command().starts_with("job submit /scheduler:-1 "));
  given_variable("CCP_NODES", "");
  EXPECT_TRUE(built_command().starts_with("C:\\msmpi\\bin\\mpiexec.exe   -hosts   -env PATH "));
}

TEST(InsideScheduledJob, IsMinusOneAndTheNodesOfAJob) {
  EXPECT_FALSE(inside_scheduled_job());
  given_variable("CCP_NODES", "1 a 1");
  EXPECT_FALSE(inside_scheduled_job());
  given_variable("USE_CCP", "head");
  EXPECT_FALSE(inside_scheduled_job());
  given_variable("USE_CCP", "-1 ");
  EXPECT_FALSE(inside_scheduled_job());
  given_variable("USE_CCP", "-1");
  EXPECT_TRUE(inside_scheduled_job());
  given_no_variable("CCP_NODES");
  EXPECT_FALSE(inside_scheduled_job());
}

// ---- Handed to the scheduler --------------------------------------------------------------

TEST_F(MsmpiCommand, SubmitsAJobOfItsOwn) {
  given_head_node("head");
  given_variable("USERNAME", "jdoe");
  EXPECT_EQ(
      "job submit /scheduler:head /jobname:\"ORBEX ZEPHON\" /exclusive:false /numprocessors:4"
      " /stdout:ZP%CCP_TASKCONTEXT%.jdoe.o /stderr:ZP%CCP_TASKCONTEXT%.jdoe.e "
      "C:\\msmpi\\bin\\mpiexec.exe   -hosts %CCP_NODES% "
      " -env PATH \"C:\\zephon\\ntbin\\win64\"  -env CCP_CLUSTER_NAME head ",
      built_command());
  EXPECT_EQ((texts{"cluscfg listenvs /scheduler:head"}), commands());
}

TEST_F(MsmpiCommand, AddsATaskToAnExistingJob) {
  given_head_node("head");
  given_variable("CCP_HOME", "C:\\ccp");
  given_variable("CCP_JOB_ID", "42");
  given_variable("STD_DIR", "\\\\s\\run");
  given_variable("ZP_CCP_UNIT", "core");
  given_variable("CCP_USER_FLAGS", "/u");
  EXPECT_EQ(
      "job add 42 /scheduler:head /name:\"ORBEX ZEPHON\" /exclusive:false /numcores:4"
      " /workdir:\"\\\\s\\run\" /stdout:ZP%CCP_TASKCONTEXT%.o /stderr:ZP%CCP_TASKCONTEXT%.e "
      " /u  mpiexec.exe  -hosts %CCP_NODES% "
      " -env PATH \"C:\\zephon\\ntbin\\win64\"  -env CCP_CLUSTER_NAME head ",
      built_command());
  EXPECT_EQ(42, state.scheduler_job_id);
}

TEST_F(MsmpiCommand, NamesANegativeJobAsItStands) {
  given_head_node("head");
  given_variable("CCP_JOB_ID", "-1");
  EXPECT_TRUE(built_command().starts_with(
      "job add -1 /scheduler:head /name:\"ORBEX ZEPHON\" /exclusive:false /numprocessors:4 "));
  EXPECT_EQ(-1, state.scheduler_job_id);
}

TEST_F(MsmpiCommand, LeavesTheHostsOfATaskToTheUser) {
  given_head_node("head");
  given_variable("CCP_JOB_ID", "42");
  given_variable("MPICH2_USER_FLAGS", "-l -hosts 1 a");
  EXPECT_EQ(
      "job add 42 /scheduler:head /name:\"ORBEX ZEPHON\" /exclusive:false /numprocessors:4"
      " /stdout:ZP%CCP_TASKCONTEXT%.o /stderr:ZP%CCP_TASKCONTEXT%.e "
      "C:\\msmpi\\bin\\mpiexec.exe  "
      " -env PATH \"C:\\zephon\\ntbin\\win64\"  -env CCP_CLUSTER_NAME head  -l -hosts 1 a ",
      built_command());
}

TEST_F(MsmpiCommand, SubmitsWithTheNetMaskBehindMpiexec) {
  given_head_node("head");
  given_variable("MPICH_NETMASK", "m");
  EXPECT_NE(std::string::npos,
            built_command().find("C:\\msmpi\\bin\\mpiexec.exe   -env MPICH_NETMASK m "
                                 " -hosts %CCP_NODES%  -env PATH "));
}

TEST_F(MsmpiCommand, SubmitsForAHostFileThatCannotBeRead) {
  given_head_node("head");
  given_variable("ZEPHON_HOSTS_FILE", "C:\\nothing");
  EXPECT_EQ(
      "job submit /scheduler:head /jobname:\"ORBEX ZEPHON\" /exclusive:false /numprocessors:4"
      " /stdout:ZP%CCP_TASKCONTEXT%.o /stderr:ZP%CCP_TASKCONTEXT%.e "
      "C:\\msmpi\\bin\\mpiexec.exe   -hosts %CCP_NODES% "
      " -env PATH \"C:\\zephon\\ntbin\\win64\"  -env CCP_CLUSTER_NAME head ",
      built_command());
}

TEST_F(MsmpiCommand, ChecksTheCredentialsBeforeASubmission) {
  given_head_node("head");
  given_no_variable("ZEPHON_CRED_CHECK");
  (void)built_command();
  EXPECT_EQ((texts{"cluscfg listenvs /scheduler:head",
                   "cmd.exe /c job submit /scheduler:head "
                   "/jobname:\"ORBEX ZEPHON Credential Check\"  cmd.exe /C ver"}),
            commands());
}

TEST_F(MsmpiCommand, ChecksNoCredentialsForAnExistingJob) {
  given_head_node("head");
  given_no_variable("ZEPHON_CRED_CHECK");
  given_variable("CCP_JOB_ID", "42");
  (void)built_command();
  EXPECT_EQ((texts{"cluscfg listenvs /scheduler:head"}), commands());
}

TEST_F(MsmpiCommand, IsBuiltWithoutAnyTool) {
  given_variable("USE_CCP", "head");
  given_no_command_interpreter();
  EXPECT_TRUE(built_command().starts_with("job submit /scheduler:head "));
  EXPECT_EQ(
      "\nerror : cmd = cluscfg listenvs /scheduler:head\n"
      "\nError in execute command cluscfg listenvs /scheduler:head\n",
      standard_error());
}

TEST_F(MsmpiCommand, IsNotCutForItsLength) {
  state.node_path = std::string(20'000, 'p');
  EXPECT_EQ("C:\\msmpi\\bin\\mpiexec.exe   -np 4  -env PATH \"C:\\zephon\\ntbin\\win64;" +
                state.node_path + "\" ",
            built_command());
}

// ---- The machine file of a job ------------------------------------------------------------

TEST_F(MsmpiCommand, WritesTheMachineFileOfAnExistingJob) {
  given_head_node("head");
  given_variable("CCP_JOB_ID", "42");
  given_variable("NP_PER_NODE", "2");
  given_variable("ZEPHON_HOSTS_FILE", "C:\\hosts");
  given_tool("job view 42 /scheduler:head", prints("Allocated nodes : alpha beta gamma\r\n"));
  EXPECT_EQ(
      "C:\\msmpi\\bin\\mpiexec.exe   -job 42.1 -dir .  -np 4  -machinefile C:\\hosts "
      " -env PATH \"C:\\zephon\\ntbin\\win64\"  -env CCP_CLUSTER_NAME head ",
      built_command());
  EXPECT_EQ("alpha\r\nalpha\r\nbeta\r\nbeta\r\n", file_content("C:\\hosts"));
  EXPECT_EQ((texts{"cluscfg listenvs /scheduler:head", "job view 42 /scheduler:head"}), commands());
}

TEST_F(MsmpiCommand, WritesNoMachineFileWhenAnythingIsMissing) {
  for (const char *missing : {"USE_CCP", "CCP_JOB_ID", "NP_PER_NODE", "ZEPHON_HOSTS_FILE"}) {
    fresh_launch();
    state.num_procs = 4;
    given_head_node("head");
    given_variable("CCP_JOB_ID", "42");
    given_variable("NP_PER_NODE", "2");
    given_variable("ZEPHON_HOSTS_FILE", "C:\\hosts");
    given_no_variable(missing);
    EXPECT_EQ(1, msmpi_backend());
    EXPECT_TRUE(written_files().empty()) << missing;
    for (const std::string &command : commands()) {
      EXPECT_EQ(std::string::npos, command.find(" view ")) << missing;
    }
  }
}

class AllocatedMachineFile : public testing::Test {
 protected:
  static constexpr const char *view_command = "job view 42 /scheduler:head";

  // The file that is written for a job that the tool describes so.
  static std::optional<std::string> file_for(const std::string &output, int processes = 4,
                                             int per_node = 2) {
    given_tool_for([](const std::string &command) { return command == view_command; },
                   prints(output));
    returned = write_allocated_machine_file("head", 42, processes, per_node, "C:\\hosts");
    return file_content("C:\\hosts");
  }

  static inline std::optional<std::string> returned;
};

TEST_F(AllocatedMachineFile, NamesEachNodeSoOftenUntilThereAreEnough) {
  EXPECT_EQ("alpha\r\nalpha\r\nbeta\r\nbeta\r\n",
            file_for("Allocated nodes : alpha beta gamma\r\n"));
  EXPECT_EQ("C:\\hosts", returned);
  EXPECT_EQ("alpha\r\nalpha\r\nalpha\r\nbeta\r\n",
            file_for("Allocated nodes : alpha beta gamma\r\n", 4, 3));
  EXPECT_EQ("alpha\r\nbeta\r\ngamma\r\n", file_for("Allocated nodes : alpha beta gamma\r\n", 9, 1));
  EXPECT_EQ("alpha\r\n", file_for("Allocated nodes : alpha beta gamma\r\n", 1, 8));
}

TEST_F(AllocatedMachineFile, IsAskedForWithTheViewCommand) {
  state.ccp_job_command = "C:\\hpc\\job.exe";
  (void)write_allocated_machine_file("head.site", 7, 1, 1, "C:\\hosts");
  EXPECT_EQ((texts{"C:\\hpc\\job.exe view 7 /scheduler:head.site"}), commands());
}

TEST_F(AllocatedMachineFile, IsReadFromBothSpellings) {
  EXPECT_EQ("a\r\n", file_for("Allocated nodes : a\r\n", 1));
  EXPECT_EQ("a\r\n", file_for("AllocatedNodes                   : a\r\n", 1));
}

TEST_F(AllocatedMachineFile, IsReadOnlyFromLinesThatBeginSo) {
  for (const char *line :
       {"allocated nodes : a\r\n", "Allocated Nodes : a\r\n", " Allocated nodes : a\r\n",
        "Allocatednodes : a\r\n", "allocatedNodes : a\r\n", "Nodes : a\r\n", ""}) {
    EXPECT_EQ("", file_for(line)) << line;
    EXPECT_EQ(std::nullopt, returned) << line;
  }
}

TEST_F(AllocatedMachineFile, TakesTheFirstLineThatNamesNodes) {
  EXPECT_EQ("a\r\na\r\n",
            file_for("State : Running\r\nAllocated nodes : a\r\nAllocated nodes : b\r\n"));
}

TEST_F(AllocatedMachineFile, SplitsAtBlanksAlone) {
  EXPECT_EQ("a,b\r\nc\td\r\ne\r\n", file_for("Allocated nodes :   a,b  c\td   e  \r\n", 9, 1));
}

TEST_F(AllocatedMachineFile, BeginsBehindTheFirstColon) {
  EXPECT_EQ("a:1\r\nb\r\n", file_for("Allocated nodes:a:1 b", 9, 1));
  EXPECT_EQ("a:1\r\nb\r\n", file_for("AllocatedNodes:a:1 b", 9, 1));
}

TEST_F(AllocatedMachineFile, DropsLineEndsAtTheEnd) {
  EXPECT_EQ("a\r\n", file_for("Allocated nodes : a\r\r\n", 1));
  EXPECT_EQ("a\r\n", file_for("Allocated nodes : a\n", 1));
}

TEST_F(AllocatedMachineFile, IsEmptyWithoutNodes) {
  for (const char *line :
       {"Allocated nodes :\r\n", "Allocated nodes :   \r\n", "Allocated nodes\r\n"}) {
    EXPECT_EQ("", file_for(line));
    EXPECT_EQ("C:\\hosts", returned);
  }
}

TEST_F(AllocatedMachineFile, IsEmptyWithoutProcesses) {
  for (const int none : {0, -1, INT_MIN}) {
    EXPECT_EQ("", file_for("Allocated nodes : a b\r\n", 4, none));
    EXPECT_EQ("C:\\hosts", returned);
    EXPECT_EQ("", file_for("Allocated nodes : a b\r\n", none, 2));
    EXPECT_EQ("C:\\hosts", returned);
  }
}

TEST_F(AllocatedMachineFile, IsEmptiedBeforeTheToolRuns) {
  given_file("C:\\hosts", "old\n");
  std::optional<std::string> meanwhile;
  given_tool(view_command, prints("").does([&] { meanwhile = file_content("C:\\hosts"); }));
  EXPECT_EQ(std::nullopt, write_allocated_machine_file("head", 42, 4, 2, "C:\\hosts"));
  EXPECT_EQ("", meanwhile);
  EXPECT_EQ("", file_content("C:\\hosts"));
}

TEST_F(AllocatedMachineFile, IsLeftEmptyWhenTheToolCannotBeStarted) {
  given_file("C:\\hosts", "old\n");
  given_no_command_interpreter();
  EXPECT_EQ(std::nullopt, write_allocated_machine_file("head", 42, 4, 2, "C:\\hosts"));
  EXPECT_EQ("", file_content("C:\\hosts"));
  EXPECT_EQ(
      "\nerror : cmd = job view 42 /scheduler:head\n"
      "\nError in execute command job view 42 /scheduler:head\n",
      standard_error());
}

TEST_F(AllocatedMachineFile, NeedsNoName) {
  given_tool(view_command, prints("Allocated nodes : a\r\n"));
  state.ptrace_mode = true;
  EXPECT_EQ(std::nullopt, write_allocated_machine_file("head", 42, 4, 2, std::nullopt));
  EXPECT_EQ("Allocated nodes : a\n", standard_output());
  EXPECT_TRUE(written_files().empty());
}

TEST_F(AllocatedMachineFile, IsNamedEvenWhenItCannotBeOpened) {
  given_unwritable_path("C:\\hosts");
  EXPECT_EQ(std::nullopt, file_for("Allocated nodes : a\r\n"));
  EXPECT_EQ("C:\\hosts", returned);
}

TEST_F(AllocatedMachineFile, EndsTheProgramWhenItCannotBeWrittenWhole) {
  given_full_disk_after(5);
  EXPECT_EQ(2, status_of_exit([] { (void)file_for("Allocated nodes : alpha beta\r\n"); }));
  EXPECT_EQ("\n Error:  Failed to create host file C:\\hosts\n", standard_error());
}

// Two thousand million lines would follow.
TEST_F(AllocatedMachineFile, IsGivenUpAtTheFirstFailedWrite) {
  constexpr int many = INT_MAX;
  given_full_disk_after(5);
  given_tool(view_command, prints("Allocated nodes : alpha\r\n"));
  EXPECT_EQ(2, status_of_exit([] {
              (void)write_allocated_machine_file("head", 42, many, many, "C:\\hosts");
            }));
  EXPECT_EQ("\n Error:  Failed to create host file C:\\hosts\n", standard_error());
}

TEST_F(AllocatedMachineFile, ShowsTheOutputAndItsNameInPtraceMode) {
  state.ptrace_mode = true;
  (void)file_for("100%s\r\nAllocated nodes : a\r\nmore\r\n");
  EXPECT_EQ("100%s\nAllocated nodes : a\n\nmachinefile C:\\hosts\n", standard_output());
  EXPECT_EQ("", standard_error());
}

TEST_F(AllocatedMachineFile, ShowsNoNameWithoutNodes) {
  state.ptrace_mode = true;
  (void)file_for("State : Queued\r\n");
  EXPECT_EQ("State : Queued\n", standard_output());
}

TEST_F(AllocatedMachineFile, ShowsNothingOtherwise) {
  (void)file_for("Allocated nodes : a\r\n");
  EXPECT_EQ("", both_streams());
}

TEST_F(AllocatedMachineFile, IsReadInPiecesOf1023Characters) {
  const std::string names(1'005, 'n');  // "Allocated nodes : " and the names are 1,023 characters
  EXPECT_EQ(names + "\r\n", file_for("Allocated nodes : " + names + "more\r\n", 1));
}

TEST_F(AllocatedMachineFile, IsTraced) {
  given_variable("ZEPHON_STARTUP_DEBUG", "1");
  (void)file_for("");
  EXPECT_EQ("\ncmd = job view 42 /scheduler:head (..\\src\\mpirun:4151)", standard_output());
}

// ---- Cluster settings ---------------------------------------------------------------------

constexpr const char *settings_command = "cluscfg listenvs /scheduler:head";
constexpr const char *settings_warning =
    "\n***\nWarning: \nThe following cluster environment variable setting may cause issues with "
    "running parallel ZEPHON:\nMPICH_SOCKET_SBUFFER_SIZE=0\n***\n";

std::string warning_for(const std::string &output) {
  fresh_launch();
  given_tool(settings_command, prints(output));
  check_cluster_environment("head");
  EXPECT_EQ("", standard_error());
  return standard_output();
}

TEST(ClusterSettings, AreAskedOfTheHeadNode) {
  given_tool(settings_command);
  check_cluster_environment("head");
  EXPECT_EQ((texts{settings_command}), commands());
}

TEST(ClusterSettings, AreNotAskedWithoutAHeadNodeOrInsideAJob) {
  check_cluster_environment(std::nullopt);
  check_cluster_environment("-1");
  EXPECT_TRUE(commands().empty());
  check_cluster_environment("-1 ");
  EXPECT_EQ(1U, commands().size());
}

TEST(ClusterSettings, GiveAWarningForASendBufferOfZero) {
  EXPECT_EQ(settings_warning, warning_for("MPICH_SOCKET_SBUFFER_SIZE=0\r\n"));
  EXPECT_EQ(settings_warning, warning_for("A=1\r\nMPICH_SOCKET_SBUFFER_SIZE= 00x\r\nB=2\r\n"));
  EXPECT_EQ(settings_warning, warning_for("MPICH_SOCKET_SBUFFER_SIZE=0"));
}

TEST(ClusterSettings, AreFineOtherwise) {
  for (const char *output :
       {"", "MPICH_SOCKET_SBUFFER_SIZE=1\r\n", "MPICH_SOCKET_SBUFFER_SIZE=-1\r\n",
        "MPICH_SOCKET_SBUFFER_SIZE=\r\n", "MPICH_SOCKET_SBUFFER_SIZE=none\r\n",
        "XMPICH_SOCKET_SBUFFER_SIZE=0\r\n", " MPICH_SOCKET_SBUFFER_SIZE=0\r\n",
        "mpich_socket_sbuffer_size=0\r\n", "MPICH_SOCKET_SBUFFER_SIZE =0\r\n"}) {
    EXPECT_EQ("", warning_for(output)) << output;
  }
}

TEST(ClusterSettings, AreTakenFromTheFirstLineWithANumber) {
  EXPECT_EQ("", warning_for("MPICH_SOCKET_SBUFFER_SIZE=1\r\nMPICH_SOCKET_SBUFFER_SIZE=0\r\n"));
  EXPECT_EQ("", warning_for("MPICH_SOCKET_SBUFFER_SIZE=1\r\nA\r\nMPICH_SOCKET_SBUFFER_SIZE=0\r\n"));
  EXPECT_EQ(settings_warning,
            warning_for("MPICH_SOCKET_SBUFFER_SIZE=x\r\nMPICH_SOCKET_SBUFFER_SIZE=0\r\n"
                        "MPICH_SOCKET_SBUFFER_SIZE=0\r\n"));
}

TEST(ClusterSettings, AreReadOneLineBehindTheNumber) {
  given_tool(settings_command, prints("MPICH_SOCKET_SBUFFER_SIZE=1\r\n")
                                   .then_prints("one more\r\n", 1'000)
                                   .then_prints("and more\r\n", 1'000));
  check_cluster_environment("head");
  EXPECT_EQ(1'000U, now());
}

TEST(ClusterSettings, AreTraced) {
  given_variable("ZEPHON_STARTUP_DEBUG", "1");
  given_tool(settings_command);
  check_cluster_environment("head");
  EXPECT_EQ("\ncmd = cluscfg listenvs /scheduler:head (..\\src\\mpirun:4151)", standard_output());
}

TEST(ClusterSettings, MayBeUnknown) {
  given_no_command_interpreter();
  check_cluster_environment("head");
  EXPECT_EQ(
      "\nerror : cmd = cluscfg listenvs /scheduler:head\n"
      "\nError in execute command cluscfg listenvs /scheduler:head\n",
      standard_error());
}

// ---- The node list ------------------------------------------------------------------------

TEST(NodeList, IsCutDownToOneProcessOnEachOfTheFirstNodes) {
  EXPECT_EQ("2 alpha 1 beta 1 ", reduce_node_list("3 alpha 8 beta 8 gamma 8", 2));
  EXPECT_EQ("1 alpha 1 ", reduce_node_list("3 alpha 8 beta 8 gamma 8", 1));
}

TEST(NodeList, IsCutDownAlsoWithAsManyNodesAsProcesses) {
  EXPECT_EQ("3 alpha 1 beta 1 gamma 1 ", reduce_node_list("3 alpha 8 beta 8 gamma 8", 3));
}

TEST(NodeList, IsUnchangedWithFewerNodesThanProcesses) {
  EXPECT_EQ("3 alpha 8 beta 8 gamma 8", reduce_node_list("3 alpha 8 beta 8 gamma 8", 4));
  EXPECT_EQ("1  alpha  4 ", reduce_node_list("1  alpha  4 ", 2));
}

TEST(NodeList, IsUnchangedWithoutACount) {
  EXPECT_EQ("Overflow", reduce_node_list("Overflow", 2));
  EXPECT_EQ("alpha 8 beta 8", reduce_node_list("alpha 8 beta 8", 1));
  EXPECT_EQ("-3 a 1", reduce_node_list("-3 a 1", 1));
}

TEST(NodeList, IsEmptyWhenItIsEmpty) {
  for (const int processes : {4, 1, 0, -1}) {
    EXPECT_EQ("", reduce_node_list("", processes));
  }
}

TEST(NodeList, NamesNoNodeWithoutProcesses) {
  EXPECT_EQ("0 ", reduce_node_list("2 alpha 8 beta 8", 0));
  EXPECT_EQ("-1 ", reduce_node_list("2 alpha 8 beta 8", -1));
}

TEST(NodeList, MayHoldFewerNodesThanItSays) {
  EXPECT_EQ("3 alpha 1 beta 1 ", reduce_node_list("9 alpha 8 beta", 3));
  EXPECT_EQ("3 ", reduce_node_list("9", 3));
}

TEST(NodeList, SkipsBlanksBetweenItsWords) {
  EXPECT_EQ("2 alpha 1 beta 1 ", reduce_node_list("  3   alpha 8  beta  8 gamma 8", 2));
}

TEST(NodeList, HasRoomForManyNodes) {
  std::string nodes = "4096";
  std::string reduced = "4096 ";
  for (int i = 0; i < 4'096; ++i) {
    nodes += " n" + std::to_string(i) + " 9";
    reduced += "n" + std::to_string(i) + " 1 ";
  }
  EXPECT_EQ(reduced, reduce_node_list(nodes, 4'096));
}

}  // namespace
