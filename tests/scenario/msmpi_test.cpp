// msmpi_test.cpp: the launch command of MS-MPI on this machine, in a job and for the
// scheduler; the machine file of a job, and the check of the cluster's settings.

#include <gtest/gtest.h>

#include <algorithm>

#include "scheduler_bench.h"
#include "settings.h"

using namespace scenario;

namespace {

// A job tool that answers a submission at once and names no job.
const std::string refuses = "out Cannot connect to head\\r\\n\n";

void given_msmpi() {
  given_cluster(refuses);
  given_no_variable("USE_CCP");
  given_tool("ms\\bin\\mpiexec.exe");
  given_folder("my folder");
  given_file("hosts", "alpha\nbeta\n");
  given_file("my hosts", "alpha\nbeta\n");
}

// ---- On this machine, on the hosts of a file, inside a job ----------------------------------

class MsmpiSettings : public testing::TestWithParam<setting> {};

const std::vector<setting> settings = {
    {"Plain",
     {{"MPICH_NETMASK", "10.0.0.0/8"}},  // only on several machines
     "--np=4 solver",
     R"(..\ms\bin\mpiexec.exe   -np 4  -env PATH "..\inc\ntbin\win64;..\prod\netweave\mpi_wrapper\win64\msmpi"  -env ZEPHON_PROD_DIR "..\prod"  solver)"},
    {"Everything",
     {{"ZEPHON_WORK_SIZE", "8"},
      {"ZEPHON_WORK_UNIT", "2"},
      {"QMX_ROOT", "D:\\qmx"},
      {"QMX_ARCH", "win64"},
      {"MPICH2_USER_FLAGS", "-exitcodes -priority 1"}},
     "--np=12 --pathnode=D:\\node solver",
     R"(..\ms\bin\mpiexec.exe   -np 12  -env PATH "..\inc\ntbin\win64;D:\node;..\prod\netweave\mpi_wrapper\win64\msmpi"  -env ZEPHON_WORK_SIZE 8  -env ZEPHON_WORK_UNIT 2  -exitcodes -priority 1  -env QMX_ROOT "D:\qmx" -env QMX_ARCH "win64" -env ZEPHON_PROD_DIR "..\prod"  solver)"},
    {"Blanks",
     {{"QMX_ROOT", "D:\\my qmx"},
      {"QMX_ARCH", "win 64"},
      {"ZEPHON_PROD_DIR", "..\\my folder\\..\\prod"}},
     "--np=4 solver \"a case.jou\"",
     R"(..\ms\bin\mpiexec.exe   -np 4  -env PATH "..\inc\ntbin\win64;..\my folder\..\prod\netweave\mpi_wrapper\win64\msmpi"  -env QMX_ROOT "'D:\my qmx'" -env QMX_ARCH "win 64" -env ZEPHON_PROD_DIR "'..\my folder\..\prod'"  solver "a case.jou")"},
    {"BlankInTheQmxRootAlone",
     {{"QMX_ROOT", "C:\\Program Files\\x"}},
     "--np=4 solver",
     R"(..\ms\bin\mpiexec.exe   -np 4  -env PATH "..\inc\ntbin\win64;..\prod\netweave\mpi_wrapper\win64\msmpi"  -env QMX_ROOT "'C:\Program Files\x'" -env ZEPHON_PROD_DIR "..\prod"  solver)"},
    {"Hosts",
     {{"ZEPHON_HOSTS_FILE", "..\\hosts"}, {"MPICH_NETMASK", "10.0.0.0/8"}},
     "--np=4 solver",
     R"(..\ms\bin\mpiexec.exe   -env MPICH_NETMASK 10.0.0.0/8  -np 4  -machinefile ..\hosts  -env PATH "..\inc\ntbin\win64;..\prod\netweave\mpi_wrapper\win64\msmpi"  -env ZEPHON_PROD_DIR "..\prod"  solver)"},
    {"HostsWithABlank",
     {},
     "\"--cnf=..\\my hosts\" --np=4 solver",
     R"(..\ms\bin\mpiexec.exe   -np 4  -machinefile ..\my hosts  -env PATH "..\inc\ntbin\win64;..\prod\netweave\mpi_wrapper\win64\msmpi"  -env ZEPHON_PROD_DIR "..\prod"  solver)"},
    {"HostsThatCannotBeRead",
     {{"ZEPHON_HOSTS_FILE", "..\\none"}},
     "--np=4 solver",
     R"(..\ms\bin\mpiexec.exe   -np 4  -env PATH "..\inc\ntbin\win64;..\prod\netweave\mpi_wrapper\win64\msmpi"  -env ZEPHON_PROD_DIR "..\prod"  solver)"},
    {"HostsOfAJob",
     {{"ZEPHON_HOSTS_FILE", "..\\hosts"}, {"USE_CCP", "head"}, {"STD_DIR", "D:\\case"}},
     "--jobid=12 --np=4 solver",
     R"(..\ms\bin\mpiexec.exe   -job 12.1 -dir D:\case -np 4  -machinefile ..\hosts  -env PATH "..\inc\ntbin\win64;..\prod\netweave\mpi_wrapper\win64\msmpi"  -env CCP_CLUSTER_NAME head  -env ZEPHON_PROD_DIR "..\prod"  solver)"},
    {"AffinityNeedsBothVariables",
     {{"CCP_JOBTEMPLATE", "Default"}},
     "--np=4 solver",
     R"(..\ms\bin\mpiexec.exe   -np 4  -env PATH "..\inc\ntbin\win64;..\prod\netweave\mpi_wrapper\win64\msmpi"  -env ZEPHON_PROD_DIR "..\prod"  solver)"},
    {"InsideAJobWithMoreNodesThanProcesses",
     {{"USE_CCP", "-1"}, {"CCP_NODES", "3 alpha 8 beta 8 gamma 8"}},
     "--np=2 solver",
     R"(..\ms\bin\mpiexec.exe   -hosts 2 alpha 1 beta 1   -env PATH "..\inc\ntbin\win64;..\prod\netweave\mpi_wrapper\win64\msmpi"  -env CCP_CLUSTER_NAME -1  -env ZEPHON_PROD_DIR "..\prod"  solver)"},
    {"InsideAJobWithAsManyNodesAsProcesses",
     {{"USE_CCP", "-1"}, {"CCP_NODES", "2 alpha 8 beta 8"}},
     "--np=2 solver",
     R"(..\ms\bin\mpiexec.exe   -hosts 2 alpha 1 beta 1   -env PATH "..\inc\ntbin\win64;..\prod\netweave\mpi_wrapper\win64\msmpi"  -env CCP_CLUSTER_NAME -1  -env ZEPHON_PROD_DIR "..\prod"  solver)"},
    {"InsideAJobWithFewerNodesThanProcesses",
     {{"USE_CCP", "-1"}, {"CCP_NODES", "2 alpha 8 beta 8"}},
     "--np=16 solver",
     R"(..\ms\bin\mpiexec.exe   -hosts 2 alpha 8 beta 8  -env PATH "..\inc\ntbin\win64;..\prod\netweave\mpi_wrapper\win64\msmpi"  -env CCP_CLUSTER_NAME -1  -env ZEPHON_PROD_DIR "..\prod"  solver)"},
    {"InsideAJobWithTheUsersHosts",
     {{"USE_CCP", "-1"},
      {"CCP_NODES", "2 alpha 8 beta 8"},
      {"MPICH2_USER_FLAGS", "-hosts 1 beta 2"}},
     "--np=2 solver",
     R"(..\ms\bin\mpiexec.exe   -env PATH "..\inc\ntbin\win64;..\prod\netweave\mpi_wrapper\win64\msmpi"  -env CCP_CLUSTER_NAME -1  -hosts 1 beta 2  -env ZEPHON_PROD_DIR "..\prod"  solver)"},
};

TEST_P(MsmpiSettings, GiveTheCommandLine) {
  given_msmpi();
  given_variables(GetParam());
  const auto run = run_launcher("--mpi=msmpi " + GetParam().arguments);
  EXPECT_EQ(0U, run.status);
  EXPECT_EQ("", run.errors);
  EXPECT_EQ(GetParam().command_line, only_start_of("ms\\bin\\mpiexec.exe").command_line);
  EXPECT_TRUE(starts_of("job.exe").empty());
}

INSTANTIATE_TEST_SUITE_P(Msmpi, MsmpiSettings, testing::ValuesIn(settings),
                         [](const auto &row) { return row.param.name; });

// ---- For the scheduler ----------------------------------------------------------------------

class MsmpiTaskSettings : public testing::TestWithParam<setting> {};

const std::vector<setting> task_settings = {
    {"JobOfItsOwn",
     {},
     "--np=4 solver",
     R"(job submit /scheduler:head /jobname:"ORBEX ZEPHON" /exclusive:false /numprocessors:4 /stdout:ZP%CCP_TASKCONTEXT%.jdoe.o /stderr:ZP%CCP_TASKCONTEXT%.jdoe.e ..\ms\bin\mpiexec.exe   -hosts %CCP_NODES%  -env PATH "..\inc\ntbin\win64;..\prod\netweave\mpi_wrapper\win64\msmpi"  -env CCP_CLUSTER_NAME head  -env ZEPHON_PROD_DIR "..\prod"  solver)"},
    {"Everything",
     {{"ZP_CCP_JOB_TEMPLATE", "Default"},
      {"ZP_CCP_NODE_GROUP", "fast"},
      {"CCP_USER_FLAGS", "/priority:high"},
      {"STD_DIR", "\\\\server\\share\\my case\\"},
      {"MPICH_NETMASK", "10.0.0.0/8"},
      {"ZEPHON_WORK_SIZE", "8"},
      {"QMX_ROOT", "D:\\my qmx"},
      {"QMX_ARCH", "win 64"},
      {"MPICH2_USER_FLAGS", "-exitcodes"},
      {"CCP_HOME", "D:\\hpc"},
      {"CCP_JOBTEMPLATE", "Default"}},
     "--np=4 --unit=node solver",
     R"(job submit /scheduler:head /jobname:"ORBEX ZEPHON" /exclusive:false /numnodes:4 /workdir:"\\server\share\my case\." /stdout:ZP%CCP_TASKCONTEXT%.jdoe.o /stderr:ZP%CCP_TASKCONTEXT%.jdoe.e  /jobtemplate:Default  /nodegroup:fast  /priority:high  mpiexec.exe  -env MPICH_NETMASK 10.0.0.0/8  -hosts %CCP_NODES%  -env PATH "..\inc\ntbin\win64;..\prod\netweave\mpi_wrapper\win64\msmpi"  -env CCP_CLUSTER_NAME head  -env ZEPHON_WORK_SIZE 8  -exitcodes  -env QMX_ROOT "'D:\my qmx'" -env QMX_ARCH "win 64" -env ZEPHON_PROD_DIR "..\prod" -affinity   solver)"},
    {"TaskHasNoOptionsOfAJob",
     {{"ZP_CCP_JOB_TEMPLATE", "Default"},
      {"ZP_CCP_NODE_GROUP", "fast"},
      {"CCP_USER_FLAGS", "/priority:high"},
      {"CCP_JOB_ID", "0"}},
     "--np=4 solver",
     R"(job add 0 /scheduler:head /name:"ORBEX ZEPHON" /exclusive:false /numprocessors:4 /stdout:ZP%CCP_TASKCONTEXT%.jdoe.o /stderr:ZP%CCP_TASKCONTEXT%.jdoe.e  /priority:high ..\ms\bin\mpiexec.exe   -hosts %CCP_NODES%  -env PATH "..\inc\ntbin\win64;..\prod\netweave\mpi_wrapper\win64\msmpi"  -env CCP_CLUSTER_NAME head  -env ZEPHON_PROD_DIR "..\prod"  solver)"},
    {"UsersHosts",
     {{"MPICH2_USER_FLAGS", "-hosts 1 beta 2"}, {"USERNAME", "j doe"}},
     "--np=4 solver",
     R"(job submit /scheduler:head /jobname:"ORBEX ZEPHON" /exclusive:false /numprocessors:4 /stdout:ZP%CCP_TASKCONTEXT%.j doe.o /stderr:ZP%CCP_TASKCONTEXT%.j doe.e ..\ms\bin\mpiexec.exe   -env PATH "..\inc\ntbin\win64;..\prod\netweave\mpi_wrapper\win64\msmpi"  -env CCP_CLUSTER_NAME head  -hosts 1 beta 2  -env ZEPHON_PROD_DIR "..\prod"  solver)"},
    {"AffinityThatTheUserForbids",
     {{"CCP_HOME", "D:\\hpc"}, {"CCP_JOBTEMPLATE", "Default"}, {"MSMPI_NO_AFFINITY_SET", "0"}},
     "--np=4 solver",
     R"(job submit /scheduler:head /jobname:"ORBEX ZEPHON" /exclusive:false /numprocessors:4 /stdout:ZP%CCP_TASKCONTEXT%.jdoe.o /stderr:ZP%CCP_TASKCONTEXT%.jdoe.e  mpiexec.exe  -hosts %CCP_NODES%  -env PATH "..\inc\ntbin\win64;..\prod\netweave\mpi_wrapper\win64\msmpi"  -env CCP_CLUSTER_NAME head  -env ZEPHON_PROD_DIR "..\prod"  solver)"},
};

TEST_P(MsmpiTaskSettings, GiveTheCommandLine) {
  given_msmpi();
  given_variable("USE_CCP", "head");
  given_variables(GetParam());
  const auto run = run_launcher("--mpi=msmpi " + GetParam().arguments);
  EXPECT_EQ(0U, run.status);
  EXPECT_EQ(GetParam().command_line, only_start_of("job.exe").command_line);
}

INSTANTIATE_TEST_SUITE_P(Msmpi, MsmpiTaskSettings, testing::ValuesIn(task_settings),
                         [](const auto &row) { return row.param.name; });

// No job could be made: the task is added to job -1, and the tool says what it thinks.
TEST(MsmpiTask, IsAddedToTheNegativeJobThatWasAskedFor) {
  given_msmpi();
  given_variable("USE_CCP", "head");
  const auto run = run_launcher("--mpi=msmpi --np=4 --jobid=-1 solver");
  const auto lines = lines_of("job.exe");
  ASSERT_EQ(2U, lines.size());
  EXPECT_TRUE(lines[0].starts_with("job new /scheduler:head ")) << lines[0];
  EXPECT_TRUE(lines[1].starts_with("job add -1 /scheduler:head ")) << lines[1];
  EXPECT_EQ("Cannot connect to head\r\nCannot connect to head\r\n", run.output);
}

TEST(MsmpiTask, ChecksTheCredentialsBeforeTheSubmission) {
  given_msmpi();
  given_variable("USE_CCP", "head");
  given_no_variable("ZEPHON_CRED_CHECK");
  (void)run_launcher("--mpi=msmpi --np=4 solver");
  const auto lines = lines_of("job.exe");
  ASSERT_EQ(2U, lines.size());
  EXPECT_EQ("job submit /scheduler:head /jobname:\"ORBEX ZEPHON Credential Check\"  cmd.exe /C ver",
            lines[0]);
  EXPECT_TRUE(lines[1].starts_with("job submit /scheduler:head /jobname:\"ORBEX ZEPHON\" "));
}

TEST(MsmpiTask, WarnsOfALocalFolderWithPtrace) {
  given_msmpi();
  given_variable("USE_CCP", "head");
  given_variable("STD_DIR", "D:\\case");
  const auto run = run_launcher("--ptrace --mpi=msmpi --np=4 solver");
  EXPECT_EQ(text_mode("\nWarning: Working directory is not a network mapped: D:\\case\n"
                      "         stdout and stderr will be under your HOME directory on the first "
                      "allocated node!Waiting for CCP scheduler@head to start msmpi nodes ...\n"),
            run.errors);
}

TEST(Msmpi, ShowsWhatTheUserDefined) {
  given_msmpi();
  given_variable("ZEPHON_HOSTS_FILE", "..\\hosts");
  given_variable("MPICH_NETMASK", "10.0.0.0/8");
  given_variable("MPICH2_USER_FLAGS", "-exitcodes");
  given_variable("MSMPI_NO_AFFINITY_SET", "0");
  const auto run = run_launcher("--mpi=msmpi --np=4 solver");
  EXPECT_EQ(text_mode("\nUsing user defined:  -env MPICH_NETMASK 10.0.0.0/8 \n"
                      "\n***\n*** User defined: MPICH2_USER_FLAGS=-exitcodes\n***\n"
                      "\n***\n*** User defined: MSMPI_NO_AFFINITY_SET=0\n***\n"),
            run.output);
}

TEST(Msmpi, IsTheReleasesWhenTheUsersIsAnother) {
  for (const std::string other : {"..\\MPICH2", "..\\my mpich", "..\\MPIPro"}) {
    given_msmpi();
    given_variable("MSMPI_HOME", other);
    const auto release = mpi_folder("1.2.3", "ms") + "\\bin\\mpiexec.exe";
    given_tool(release);
    const auto before = starts_of(release).size();
    (void)run_launcher("--r1.2.3 --mpi=msmpi --np=4 solver");
    const auto starts = starts_of(release);
    ASSERT_EQ(before + 1, starts.size()) << other;
    EXPECT_TRUE(starts.back().command_line.starts_with("..\\" + release + "   -np 4 "));
  }
}

TEST(Msmpi, IsFoundByWindowsOnAMachineWithTheClusterPack) {
  given_msmpi();
  given_variable("CCP_HOME", "D:\\hpc");
  given_variable("CCP_JOBTEMPLATE", "Default");
  given_tool("mpiexec.exe");
  (void)run_launcher("--mpi=msmpi --np=4 solver");
  const auto line = only_start_of("mpiexec.exe").command_line;
  EXPECT_TRUE(
      line.ends_with("  -np 4  -env PATH \"..\\inc\\ntbin\\win64;"
                     "..\\prod\\netweave\\mpi_wrapper\\win64\\msmpi\"  -env "
                     "ZEPHON_PROD_DIR \"..\\prod\" -affinity   solver"))
      << line;
}

TEST(Msmpi, IsTracedWithItsFinishedCommand) {
  given_msmpi();
  given_variable("ZEPHON_STARTUP_DEBUG", "1");
  const auto run = run_launcher("--mpi=msmpi --np=4 solver");
  EXPECT_NE(std::string::npos,
            run.output.find(text_mode(
                "\nsOptions.pre = ..\\ms\\bin\\mpiexec.exe   -np 4  -env PATH "
                "\"..\\inc\\ntbin\\win64;..\\prod\\netweave\\mpi_wrapper\\win64\\msmpi\"  -env "
                "ZEPHON_PROD_DIR \"..\\prod\" (..\\src\\mpirun:2291)")))
      << run.output;
}

// ---- The machine file of a job ----------------------------------------------------------------

// An existing job with this answer to the question for its nodes.
void given_allocation(const std::string &answer, const std::string &per_node) {
  given_msmpi();
  given_variable("USE_CCP", "head");
  given_tool("job.exe", answers("view", answer));
  given_variable("CCP_JOB_ID", "12");
  given_variable("NP_PER_NODE", per_node);
  given_variable("ZEPHON_HOSTS_FILE", "..\\machines");
  given_file("machines", "an earlier one\n");
}

launch run_on_the_allocation(const std::string &options = "") {
  return run_launcher(options + "--mpi=msmpi --np=4 solver");
}

TEST(AllocatedMachines, AreWrittenSoOftenUntilThereAreEnough) {
  given_allocation("Status : Running\r\nAllocated nodes : alpha beta gamma\r\n", "2");
  const auto run = run_on_the_allocation();
  EXPECT_EQ("", run.output + run.errors);
  EXPECT_EQ("alpha\r\nalpha\r\nbeta\r\nbeta\r\n", file_text("machines"));
  EXPECT_EQ("job view 12 /scheduler:head", only_start_of("job.exe").command_line);
  EXPECT_NE(std::string::npos,
            only_start_of("ms\\bin\\mpiexec.exe").command_line.find(" -machinefile ..\\machines "));
}

TEST(AllocatedMachines, AreShownWithPtrace) {
  given_allocation("AllocatedNodes: alpha  beta\r\nmore\r\n", "3");
  const auto run = run_on_the_allocation("--ptrace ");
  EXPECT_EQ("alpha\r\nalpha\r\nalpha\r\nbeta\r\n", file_text("machines"));
  EXPECT_EQ(text_mode("AllocatedNodes: alpha  beta\n\nmachinefile ..\\machines\n"), run.output);
}

TEST(AllocatedMachines, AreNoneWithoutTheirLine) {
  given_allocation("Status : Running\r\n", "2");
  const auto run = run_on_the_allocation("--ptrace ");
  EXPECT_EQ("", file_text("machines"));
  EXPECT_EQ("Status : Running\r\n", run.output);
}

TEST(AllocatedMachines, AreNoneWithNoProcessesOnEach) {
  given_allocation("AllocatedNodes: alpha beta\r\n", "0");
  const auto run = run_on_the_allocation("--ptrace ");
  EXPECT_EQ("", file_text("machines"));
  EXPECT_TRUE(run.output.ends_with("\r\nmachinefile ..\\machines\r\n")) << run.output;
}

// ---- The settings of the cluster --------------------------------------------------------------

const std::string warning =
    "\n***\nWarning: \nThe following cluster environment variable setting may cause issues with "
    "running parallel ZEPHON:\nMPICH_SOCKET_SBUFFER_SIZE=0\n***\n";

// What the launcher says of these settings, its submission being refused.
std::string said_of_settings(const std::string &listed) {
  given_msmpi();
  given_variable("USE_CCP", "head");
  given_tool("cluscfg.exe", "out " + escape(listed) + "\n");
  const auto output = run_launcher("--mpi=msmpi --np=4 solver").output;
  EXPECT_EQ("cluscfg listenvs /scheduler:head", starts_of("cluscfg.exe").back().command_line);
  const std::string refused = "Cannot connect to head\r\n";
  EXPECT_TRUE(output.ends_with(refused)) << output;
  return output.substr(0, output.size() - std::min(output.size(), refused.size()));
}

TEST(ClusterSettings, GiveAWarningForASendBufferOfZero) {
  EXPECT_EQ(text_mode(warning), said_of_settings("A=1\r\nMPICH_SOCKET_SBUFFER_SIZE=0\r\nB=2\r\n"));
}

TEST(ClusterSettings, AreFineOtherwise) {
  for (const std::string listed :
       {"", "MPICH_SOCKET_SBUFFER_SIZE=65536\r\n", "MPICH_SOCKET_SBUFFER_SIZE=\r\n",
        " MPICH_SOCKET_SBUFFER_SIZE=0\r\n", "XMPICH_SOCKET_SBUFFER_SIZE=0\r\n",
        "MPICH_SOCKET_SBUFFER_SIZE=1\r\nMPICH_SOCKET_SBUFFER_SIZE=0\r\n"}) {
    EXPECT_EQ("", said_of_settings(listed)) << listed;
  }
}

TEST(ClusterSettings, AreNotAskedForInsideAJob) {
  given_msmpi();
  given_variable("USE_CCP", "-1");
  given_variable("CCP_NODES", "1 alpha 8");
  (void)run_launcher("--mpi=msmpi --np=1 solver");
  EXPECT_TRUE(starts_of("cluscfg.exe").empty());
}

}  // namespace
