// Tests of the option table, row by row, and of the rules behind it.
#include "launch/options.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "core/launch_state.h"
#include "support/fresh_launch.h"

using namespace stand_in;

namespace {

using texts = std::vector<std::string>;

void parse(const texts &arguments) {
  char **vector = given_arguments(arguments);
  parse_options(state.arg_count, vector);
}

// ---- The table ----------------------------------------------------------------------------

TEST(Options, DebugmpiTurnsOnTheMpisOwnTrace) {
  parse({"--debugmpi"});
  EXPECT_EQ("1", variable("MPI_DEBUG"));
  EXPECT_EQ("", state.solver_args_line);
}

TEST(Options, CnfNamesTheHostFile) {
  parse({"--cnf=C:\\my hosts.txt"});
  EXPECT_EQ("C:\\my hosts.txt", variable("ZEPHON_HOSTS_FILE"));
  EXPECT_TRUE(state.hosts_file_given);
}

TEST(Options, CnfWithoutAValueRemovesTheHostFile) {
  given_variable("ZEPHON_HOSTS_FILE", "C:\\old");
  parse({"--cnf="});
  EXPECT_EQ(std::nullopt, variable("ZEPHON_HOSTS_FILE"));
  EXPECT_TRUE(state.hosts_file_given);
}

TEST(Options, NodeSetsBothNodeFlags) {
  parse({"--node"});
  EXPECT_TRUE(state.node_only);
  EXPECT_TRUE(state.node_mode);
}

TEST(Options, HostIpIsNotTakenForHost) {
  parse({"--host_ip=alpha:10.0.0.1"});
  EXPECT_EQ("alpha:10.0.0.1", variable("ZEPHON_HOST_IP"));
  EXPECT_FALSE(state.node_mode);
  EXPECT_EQ("", state.solver_args_line);
}

TEST(Options, HostSetsTheNodeModeOnly) {
  parse({"--host"});
  EXPECT_TRUE(state.node_mode);
  EXPECT_FALSE(state.node_only);
}

TEST(Options, PtraceTurnsOnTheEchoOfCommands) {
  parse({"--ptrace"});
  EXPECT_EQ("1", variable("ZEPHON_PTRACE"));
  EXPECT_TRUE(state.ptrace_mode);
}

TEST(Options, PathSetsTheInstallationRootInItsNetworkForm) {
  given_variable("ZEPHON_INC", "C:\\old");
  given_network_drive("X:", "\\\\server\\share");
  parse({"--path=X:\\zephon"});
  EXPECT_EQ("\\\\server\\share\\zephon", variable("ZEPHON_INC"));
  EXPECT_EQ("\\\\server\\share\\zephon", variable("ZEPHON_SHARED_DIR"));
}

TEST(Options, PathAsksAgainForTheNetworkFormOfTheSharedDirectory) {
  given_network_drive("X:", "Y:\\inner");  // a drive inside another one
  given_network_drive("Y:", "\\\\server\\share");
  parse({"--path=X:\\zephon"});
  EXPECT_EQ("Y:\\inner\\zephon", variable("ZEPHON_INC"));
  EXPECT_EQ("\\\\server\\share\\inner\\zephon", variable("ZEPHON_SHARED_DIR"));
}

TEST(Options, PathLeavesTheRootOfTheLaunchStateAsItWas) {
  given_variable("ZEPHON_INC", "C:\\old");
  parse({"--path=C:\\new"});
  EXPECT_EQ("C:\\new", variable("ZEPHON_INC"));
  EXPECT_EQ("C:\\new", variable("ZEPHON_SHARED_DIR"));
  EXPECT_EQ("C:\\old", state.zephon_inc);
}

TEST(Options, CxAddsItselfAndTheNextArgumentButNotToTheLine) {
  parse({"--cx", "a b", "c"});
  EXPECT_TRUE(state.node_mode);
  EXPECT_FALSE(state.node_only);
  EXPECT_EQ((texts{"--cx", "a b", "c", ""}), state.solver_args);
  EXPECT_EQ(3, state.solver_argc);
  EXPECT_EQ(" c", state.solver_args_line);
}

TEST(Options, CxTakesAnOptionAsItsNextArgument) {
  parse({"--cx", "--node"});
  EXPECT_EQ((texts{"--cx", "--node", ""}), state.solver_args);
  EXPECT_FALSE(state.node_only);
}

TEST(Options, CxAtTheEndAddsOnlyItself) {
  parse({"--cx"});
  EXPECT_EQ((texts{"--cx", ""}), state.solver_args);
  EXPECT_EQ(1, state.solver_argc);
}

TEST(Options, CapitalRSetsTheReleaseButNotTheDefaultMpi) {
  parse({"--R6.3.0", "--mpi="});
  EXPECT_EQ("6.3.0", state.release);
  EXPECT_EQ("6.3.0", variable("PASS_IN_RELEASE"));
  EXPECT_EQ("ibmmpi", state.mpi_name);
}

TEST(Options, CapitalRWithoutAValueAsksForTheList) {
  parse({"--R"});
  EXPECT_EQ("list", state.release);
  EXPECT_EQ("list", variable("PASS_IN_RELEASE"));
}

TEST(Options, SmallRSetsTheReleaseAndTheDefaultMpi) {
  parse({"--r6.3.0"});
  EXPECT_EQ("6.3.0", state.release);
  EXPECT_EQ("6.3.0", variable("PASS_IN_RELEASE"));
  EXPECT_EQ("mpich2", state.default_mpi);
}

TEST(Options, SmallRWithoutAValueAsksForTheList) {
  parse({"--r"});
  EXPECT_EQ("list", state.release);
  EXPECT_EQ("list", variable("PASS_IN_RELEASE"));
  EXPECT_EQ("ibmmpi", state.default_mpi);
}

TEST(Options, WhatBeginsWithAnRIsARelease) {
  parse({"--restart", "--Register"});
  EXPECT_EQ("egister", state.release);
  EXPECT_EQ("egister", variable("PASS_IN_RELEASE"));
  EXPECT_EQ("", state.solver_args_line);
}

TEST(Options, ProdVerdirIsKept) {
  parse({"--prod_verdir=zephon12.0.16"});
  EXPECT_EQ("zephon12.0.16", state.prod_verdir);
  parse({"--prod_verdir="});
  EXPECT_EQ("", state.prod_verdir);
}

TEST(Options, PathnodeIsTheRemotePathAsItStands) {
  parse({"--pathnode=C:\\a;D:\\%s b"});
  EXPECT_EQ("C:\\a;D:\\%s b", state.node_path);
}

TEST(Options, IcSetsTheInterconnectButSelectsNoMpi) {
  parse({"--ic=myri"});
  EXPECT_EQ("myri", state.interconnect);
  EXPECT_FALSE(state.mpi_selected);
}

TEST(Options, IcWithoutAValueIsEthernet) {
  parse({"--ic="});
  EXPECT_EQ("ethernet", state.interconnect);
  EXPECT_FALSE(state.mpi_selected);
}

TEST(Options, OWaitsAndNamesTheTimingFile) {
  parse({"--o", "C:\\times.txt", "x"});
  EXPECT_TRUE(state.wait_mode);
  EXPECT_EQ("C:\\times.txt", state.timing_file);
  EXPECT_EQ(" x", state.solver_args_line);
}

TEST(Options, OAtTheEndWaitsAndNamesNoFile) {
  parse({"--o"});
  EXPECT_TRUE(state.wait_mode);
  EXPECT_EQ(std::nullopt, state.timing_file);
}

TEST(Options, WaitIsSpeltWithOneDash) {
  parse({"-wait"});
  EXPECT_TRUE(state.wait_mode);
  EXPECT_EQ("", state.solver_args_line);
}

TEST(Options, WaitWithTwoDashesBelongsToTheSolver) {
  parse({"--wait"});
  EXPECT_FALSE(state.wait_mode);
  EXPECT_EQ(" --wait", state.solver_args_line);
}

TEST(Options, NpPerNodeIsNotTakenForNp) {
  parse({"--np_per_node=2"});
  EXPECT_EQ("2", variable("NP_PER_NODE"));
  EXPECT_FALSE(state.mpi_selected);
  EXPECT_EQ(1, state.num_procs);
}

TEST(Options, JobidNamesAJob) {
  parse({"--jobid=-1"});
  EXPECT_EQ("-1", variable("CCP_JOB_ID"));
}

TEST(Options, CredCheckIsPassedOn) {
  parse({"--cred_check=no"});
  EXPECT_EQ("no", variable("ZEPHON_CRED_CHECK"));
}

TEST(Options, CwdTakesTheNextArgument) {
  parse({"--cwd", "C:\\my run", "x"});
  EXPECT_EQ("C:\\my run", variable("CWD"));
  EXPECT_EQ(" x", state.solver_args_line);
}

TEST(Options, CwdAtTheEndSetsNothing) {
  given_variable("CWD", "C:\\old");
  parse({"--cwd"});
  EXPECT_EQ("C:\\old", variable("CWD"));
  EXPECT_EQ(std::string(1, '\0'), state.env_pool);
}

TEST(Options, InstallSmpdTakesTheNextArgument) {
  parse({"--install_smpd", "C:\\mpich2"});
  EXPECT_EQ("C:\\mpich2", state.smpd_request);
  EXPECT_FALSE(state.start_smpd);
}

TEST(Options, InstallSmpdAtTheEndMeansTheReleasesOwn) {
  parse({"--install_smpd"});
  EXPECT_EQ("0", state.smpd_request);
}

TEST(Options, StartSmpdTakesTheNextArgument) {
  parse({"--start_smpd", "C:\\mpich2"});
  EXPECT_EQ("C:\\mpich2", state.smpd_request);
  EXPECT_TRUE(state.start_smpd);
}

TEST(Options, StartSmpdAtTheEndMeansTheReleasesOwn) {
  parse({"--start_smpd"});
  EXPECT_EQ("0", state.smpd_request);
  EXPECT_TRUE(state.start_smpd);
}

TEST(Options, MpiSelectsAnMpiByName) {
  parse({"--mpi=intel"});
  EXPECT_TRUE(state.mpi_selected);
  EXPECT_EQ("intel", state.mpi_name);
  EXPECT_EQ("intel", state.mpi_requested);
}

TEST(Options, MpiTakesTheOldNameOfPlatformMpi) {
  parse({"--mpi=pcmpi"});
  EXPECT_EQ("ibmmpi", state.mpi_name);
  EXPECT_EQ("ibmmpi", state.mpi_requested);
}

TEST(Options, MpiTakesAnyName) {
  parse({"--mpi=MPICH"});
  EXPECT_EQ("MPICH", state.mpi_name);
}

TEST(Options, TheLastMpiCounts) {
  parse({"--mpi=", "--mpi=intel"});
  EXPECT_EQ("intel", state.mpi_name);
  parse({"--mpi=intel", "--mpi="});
  EXPECT_EQ("ibmmpi", state.mpi_name);
}

TEST(Options, NpSetsTheProcessCount) {
  parse({"--np=8"});
  EXPECT_TRUE(state.mpi_selected);
  EXPECT_EQ(8, state.num_procs);
}

TEST(Options, UnitNamesTheAllocationUnit) {
  parse({"--unit=node"});
  EXPECT_EQ("node", variable("ZP_CCP_UNIT"));
}

TEST(Options, UnitWithoutAValueIsTheProcessor) {
  parse({"--unit="});
  EXPECT_EQ("processor", variable("ZP_CCP_UNIT"));
}

TEST(Options, InstallIbmmpiIsPassedToDiscovery) {
  parse({"--install_ibmmpi"});
  EXPECT_EQ("1", variable("ZEPHON_INSTALL_IBMMPI"));
}

TEST(Options, CachePasswordIsPassedToTheBackEnd) {
  parse({"--cache_password"});
  EXPECT_EQ("1", variable("CACHE_PASSWORD"));
}

TEST(Options, ALaterOptionOverridesAnEarlierOne) {
  parse({"--jobid=1", "--jobid=2", "--ic=a", "--ic=b", "--np=2", "--np=3"});
  EXPECT_EQ("2", variable("CCP_JOB_ID"));
  EXPECT_EQ("b", state.interconnect);
  EXPECT_EQ(3, state.num_procs);
  EXPECT_EQ(std::string("CCP_JOB_ID=1\0CCP_JOB_ID=2\0\0", 27), state.env_pool);
}

// ---- What belongs to the solver -----------------------------------------------------------

// Arguments that look like an option and are none.
class NearMiss : public testing::TestWithParam<const char *> {};

TEST_P(NearMiss, BelongsToTheSolver) {
  parse({GetParam()});
  EXPECT_EQ(std::string(" ") + GetParam(), state.solver_args_line);
  EXPECT_EQ((texts{GetParam(), ""}), state.solver_args);
  EXPECT_EQ(std::string(1, '\0'), state.env_pool);
  EXPECT_FALSE(state.mpi_selected);
  EXPECT_FALSE(state.node_mode);
  EXPECT_FALSE(state.wait_mode);
  EXPECT_EQ(std::nullopt, state.release);
}

INSTANTIATE_TEST_SUITE_P(
    Options, NearMiss,
    testing::Values("--debugmpi1", "--DEBUGMPI", "-debugmpi", "--cnf", "-cnf=x", "--node1",
                    "--Node", "-node", "--host_ip", "--hosts", "--host=", "-host", "--ptrace=1",
                    "-ptrace", "--path", "-path=x", "--cx1", "-cx", "-r6.3.0", "-R",
                    "--prod_verdir", "--pathnode", "--ic", "-ic=x", "--o=x", "--O", "-o", "-waits",
                    "-Wait", "--ccp=head", "-ccp", "--np_per_node", "--jobid", "--cred_check",
                    "--cwd=x", "--install_smpd=0", "--start_smpd0", "--mpi", "-mpi=intel", "--np",
                    "-np=4", "--NP=4", "--unit", "--install_ibmmpi=1", "--cache_password=1",
                    "-help", "--help", "-", "--", "--=", "x"));

TEST(SolverArguments, AreJoinedWithABlankBeforeEach) {
  parse({"3d", "-g", "-i", "run.jou"});
  EXPECT_EQ(" 3d -g -i run.jou", state.solver_args_line);
  EXPECT_EQ((texts{"3d", "-g", "-i", "run.jou", ""}), state.solver_args);
  EXPECT_EQ(4, state.solver_argc);
}

TEST(SolverArguments, AreQuotedWhenTheyHoldABlank) {
  parse({"-i", "C:\\my folder\\run.jou", " "});
  EXPECT_EQ(" -i \"C:\\my folder\\run.jou\" \" \"", state.solver_args_line);
  EXPECT_EQ("C:\\my folder\\run.jou", state.solver_args.at(1));
}

TEST(SolverArguments, AreNotQuotedForOtherCharacters) {
  parse({"a\tb", "say\"hi\"", "C:\\dir\\", ""});
  EXPECT_EQ(" a\tb say\"hi\" C:\\dir\\ ", state.solver_args_line);
}

TEST(SolverArguments, KeepBytesAbove127) {
  parse({"\xE4\xF6\xFC", "\xFF \x80"});
  EXPECT_EQ(" \xE4\xF6\xFC \"\xFF \x80\"", state.solver_args_line);
}

TEST(SolverArguments, AreCollectedUpTo63AndAllOfThemJoined) {
  texts arguments;
  std::string line;
  for (int index = 0; index < 70; ++index) {
    arguments.push_back("a" + std::to_string(index));
    line += " " + arguments.back();
  }
  parse(arguments);
  EXPECT_EQ(line, state.solver_args_line);
  ASSERT_EQ(64U, state.solver_args.size());
  EXPECT_EQ("a62", state.solver_args[62]);
  EXPECT_EQ("", state.solver_args[63]);
  EXPECT_EQ(63, state.solver_argc);
}

TEST(SolverArguments, MayBeTenThousand) {
  parse(texts(10'000, "ab"));
  EXPECT_EQ(30'000U, state.solver_args_line.size());
}

TEST(SolverArguments, MayHoldThirtyThousandCharacters) {
  const std::string argument(30'000, 'x');
  parse({argument});
  EXPECT_EQ(" " + argument, state.solver_args_line);
}

TEST(SolverArguments, AreEmptyWithoutAny) {
  parse({});
  EXPECT_EQ("", state.solver_args_line);
  EXPECT_EQ(texts{""}, state.solver_args);
  EXPECT_EQ(0, state.solver_argc);
}

// ---- The start of parsing -----------------------------------------------------------------

TEST(ParseOptions, ReadsTheVariablesOfTheStartScript) {
  given_variable("ZEPHON_INC", "C:\\zephon");
  given_variable("ZEPHON_ARCH", "win64");
  given_variable("ZEPHON_PROD", "lumis");
  given_variable("ZEPHON_PROD_DIR", "C:\\zephon\\lumis");
  given_variable("CX_DEBUG", "1");
  parse({"x"});
  EXPECT_EQ("C:\\zephon", state.zephon_inc);
  EXPECT_EQ("win64", state.zephon_arch);
  EXPECT_EQ("lumis", state.zephon_prod);
  EXPECT_EQ("C:\\zephon\\lumis", state.zephon_prod_dir);
  EXPECT_EQ("1", state.cx_debug);
}

TEST(ParseOptions, LeavesUnsetVariablesAbsent) {
  parse({"x"});
  EXPECT_EQ(std::nullopt, state.zephon_inc);
  EXPECT_EQ(std::nullopt, state.zephon_arch);
  EXPECT_EQ(std::nullopt, state.zephon_prod);
  EXPECT_EQ(std::nullopt, state.zephon_prod_dir);
  EXPECT_EQ(std::nullopt, state.cx_debug);
}

TEST(ParseOptions, ClearsTheOptionRecordOnly) {
  state.num_procs = 9;
  state.mpi_name = "old";
  state.release = "old";
  state.launch_command.text = "old";
  state.scheduler_job_id = 7;
  state.node_path = "kept";
  parse({});
  EXPECT_EQ(1, state.num_procs);
  EXPECT_EQ("", state.mpi_name);
  EXPECT_EQ(std::nullopt, state.mpi_requested);
  EXPECT_EQ(std::nullopt, state.release);
  EXPECT_EQ("", state.launch_command.text);
  EXPECT_EQ(0, state.scheduler_job_id);
  EXPECT_EQ("kept", state.node_path);
}

TEST(ParseOptions, SelectsNoMpiByItself) {
  parse({"x"});
  EXPECT_FALSE(state.mpi_selected);
  EXPECT_EQ("", state.mpi_name);
  EXPECT_EQ(std::nullopt, state.mpi_requested);
}

TEST(ParseOptions, ReadsNothingWithoutAProgramName) {
  parse_options(0, nullptr);
  EXPECT_EQ(texts{""}, state.solver_args);
}

// ---- The head node ------------------------------------------------------------------------

TEST(HeadNode, IsTheNextArgument) {
  given_variable("COMPUTERNAME", "PC7");
  parse({"--ccp", "head1", "x"});
  EXPECT_EQ("head1", variable("USE_CCP"));
  EXPECT_EQ(" x", state.solver_args_line);
  EXPECT_TRUE(message_boxes().empty());
}

TEST(HeadNode, IsThisComputerForZero) {
  given_variable("COMPUTERNAME", "PC7");
  parse({"--ccp", "0"});
  EXPECT_EQ("PC7", variable("USE_CCP"));
}

TEST(HeadNode, StaysZeroWithoutAComputerName) {
  parse({"--ccp", "0"});
  EXPECT_EQ("0", variable("USE_CCP"));
}

TEST(HeadNode, MayBeSpeltLikeAnOption) {
  parse({"--ccp", "--np=4"});
  EXPECT_EQ("--np=4", variable("USE_CCP"));
  EXPECT_EQ(1, state.num_procs);
}

TEST(HeadNode, IsAskedForWhenMissing) {
  given_variable("COMPUTERNAME", "PC7");
  given_box_answer(pressed_yes, 1'000);
  parse({"--np=2", "--ccp"});
  EXPECT_EQ("PC7", variable("USE_CCP"));
  ASSERT_EQ(1U, message_boxes().size());
  EXPECT_EQ("Zephon", message_boxes()[0].caption);
  EXPECT_EQ(
      "The computer cluster head node is not provided.\n"
      "Do you want to use the local host as the head node?",
      message_boxes()[0].text);
  EXPECT_EQ(0x40004U, message_boxes()[0].style);
}

TEST(HeadNode, EndsTheProgramWhenThisComputerIsDeclined) {
  given_box_answer(pressed_no, 1'000);
  given_box_answer(pressed_ok, 500);
  EXPECT_EQ(0, status_of_exit([] { parse({"--ccp"}); }));
  ASSERT_EQ(2U, message_boxes().size());
  EXPECT_EQ("Zephon could not be started.", message_boxes()[1].text);
  EXPECT_EQ(0x40000U, message_boxes()[1].style);
  EXPECT_EQ(std::nullopt, variable("USE_CCP"));
}

TEST(HeadNode, EndsTheProgramWhenNobodyAnswers) {
  EXPECT_EQ(0, status_of_exit([] { parse({"--ccp"}); }));
  ASSERT_EQ(2U, message_boxes().size());
  EXPECT_EQ(15'000U, message_boxes()[0].ended_at - message_boxes()[0].shown_at);
  EXPECT_EQ(3'000U, message_boxes()[1].ended_at - message_boxes()[1].shown_at);
  EXPECT_EQ(box_end::closed, message_boxes()[0].end);
}

TEST(HeadNode, EndsTheProgramWhenTheQuestionCannotBeAsked) {
  given_no_threads();
  EXPECT_EQ(0, status_of_exit([] { parse({"--ccp"}); }));
  EXPECT_TRUE(message_boxes().empty());
}

// ---- The version rule ---------------------------------------------------------------------

struct release_and_default {
  const char *release;
  const char *default_mpi;
};

class VersionRule : public testing::TestWithParam<release_and_default> {};

TEST_P(VersionRule, ChoosesTheDefaultMpi) {
  parse({std::string("--r") + GetParam().release});
  EXPECT_EQ(GetParam().default_mpi, state.default_mpi);
}

INSTANTIATE_TEST_SUITE_P(
    Releases, VersionRule,
    testing::Values(release_and_default{"5.1", "net"}, release_and_default{"0.0.0", "net"},
                    release_and_default{"-1.0", "net"}, release_and_default{"5.99.99", "net"},
                    release_and_default{"6.0", "net"}, release_and_default{"6.2", "net"},
                    release_and_default{"6.2.16", "net"}, release_and_default{"6.3", "mpich2"},
                    release_and_default{"6.3.0", "mpich2"}, release_and_default{"6.30.0", "mpich2"},
                    release_and_default{"6.3b", "mpich2"}, release_and_default{" 6. 3", "mpich2"},
                    release_and_default{"7.0.0", "ibmmpi"}, release_and_default{"12.0.0", "ibmmpi"},
                    release_and_default{"6", "ibmmpi"}, release_and_default{"5", "ibmmpi"},
                    release_and_default{"5.", "ibmmpi"}, release_and_default{"5.x", "ibmmpi"},
                    release_and_default{"5,1", "ibmmpi"}, release_and_default{"5 .1", "ibmmpi"},
                    release_and_default{"list", "ibmmpi"}, release_and_default{"", "ibmmpi"},
                    release_and_default{"v5.1", "ibmmpi"}));

TEST(DefaultMpi, IsPlatformMpi) {
  parse({"--mpi="});
  EXPECT_TRUE(state.mpi_selected);
  EXPECT_EQ("ibmmpi", state.mpi_name);
  EXPECT_EQ("ibmmpi", state.mpi_requested);
}

TEST(DefaultMpi, FollowsTheReleaseWhereverItStands) {
  parse({"--r6.3.0", "--mpi="});
  EXPECT_EQ("mpich2", state.mpi_name);
  fresh_launch();
  parse({"--mpi=", "--r6.3.0"});
  EXPECT_EQ("mpich2", state.mpi_name);
  EXPECT_EQ("mpich2", state.mpi_requested);
  fresh_launch();
  parse({"--r6.2", "--mpi="});
  EXPECT_EQ("net", state.mpi_name);
  fresh_launch();
  parse({"--rlist", "--mpi="});
  EXPECT_EQ("ibmmpi", state.mpi_name);
}

TEST(DefaultMpi, IsNotBroughtBackByALaterRelease) {
  parse({"--r6.3.0", "--r12.0.0", "--mpi="});
  EXPECT_EQ("12.0.0", state.release);
  EXPECT_EQ("mpich2", state.mpi_name);
}

TEST(DefaultMpi, LeavesAnExplicitNameAlone) {
  parse({"--r6.2", "--mpi=intel"});
  EXPECT_EQ("intel", state.mpi_name);
}

// ---- The process count rule ---------------------------------------------------------------

TEST(ProcessCount, IsReadLeniently) {
  parse({"--np=4x"});
  EXPECT_EQ(4, state.num_procs);
  parse({"--np= 7"});
  EXPECT_EQ(7, state.num_procs);
  parse({"--np=-2"});
  EXPECT_EQ(-2, state.num_procs);
  parse({"--np=many"});
  EXPECT_EQ(0, state.num_procs);
}

TEST(ProcessCount, IsOneWithoutAValue) {
  parse({"--np="});
  EXPECT_EQ(1, state.num_procs);
  EXPECT_TRUE(state.mpi_selected);
}

TEST(ProcessCount, IsRaisedToTheMeshingProcesses) {
  given_variable("MESHING_MODE", "1");
  given_variable("PARA_MESH_NPROCS", "8");
  parse({"--np=4"});
  EXPECT_EQ(8, state.num_procs);
  EXPECT_EQ(
      "\nWarning: Total solver processes count need to be greater or equal to meshing processes "
      "count, so resetting the count to 8\n",
      state.message_buffer);
}

TEST(ProcessCount, IsRaisedFromTwoButNotFromOne) {
  given_variable("MESHING_MODE", "");
  given_variable("PARA_MESH_NPROCS", "8");
  parse({"--np=2"});
  EXPECT_EQ(8, state.num_procs);
  state.message_buffer.clear();
  parse({"--np=1"});
  EXPECT_EQ(1, state.num_procs);
  EXPECT_EQ("", state.message_buffer);
}

TEST(ProcessCount, IsKeptWhenItIsEnoughForMeshing) {
  given_variable("MESHING_MODE", "1");
  given_variable("PARA_MESH_NPROCS", "8");
  parse({"--np=8"});
  EXPECT_EQ(8, state.num_procs);
  parse({"--np=16"});
  EXPECT_EQ(16, state.num_procs);
  EXPECT_EQ("", state.message_buffer);
}

TEST(ProcessCount, NeedsBothMeshingVariables) {
  given_variable("PARA_MESH_NPROCS", "8");
  parse({"--np=4"});
  EXPECT_EQ(4, state.num_procs);
  given_no_variable("PARA_MESH_NPROCS");
  given_variable("MESHING_MODE", "1");
  parse({"--np=4"});
  EXPECT_EQ(4, state.num_procs);
}

TEST(ProcessCount, OfZeroIsThatOfTheScheduler) {
  given_variable("CCP_NODES", "2 a 4 b 4");
  given_variable("CCP_NUMCPUS", "8");
  parse({"--np=0"});
  EXPECT_EQ(8, state.num_procs);
  parse({"--np=3"});
  EXPECT_EQ(3, state.num_procs);
}

TEST(ProcessCount, OfZeroNeedsBothSchedulerVariables) {
  given_variable("CCP_NUMCPUS", "8");
  parse({"--np=0"});
  EXPECT_EQ(0, state.num_procs);
  given_no_variable("CCP_NUMCPUS");
  given_variable("CCP_NODES", "1 a 4");
  parse({"--np=0"});
  EXPECT_EQ(0, state.num_procs);
}

// ---- The closing steps --------------------------------------------------------------------

TEST(ClosingSteps, RecogniseAJobThatTheSchedulerStarted) {
  given_variable("CCP_CLUSTER_NAME", "cluster");
  given_variable("CCP_NODES", "1 a 4");
  given_variable("USE_CCP", "head");
  parse({"x"});
  EXPECT_EQ("-1", variable("USE_CCP"));
  EXPECT_TRUE(state.wait_mode);
}

TEST(ClosingSteps, RecogniseNoJobByHalfOfItsVariables) {
  given_variable("CCP_CLUSTER_NAME", "cluster");
  parse({"x"});
  EXPECT_EQ(std::nullopt, variable("USE_CCP"));
  given_no_variable("CCP_CLUSTER_NAME");
  given_variable("CCP_NODES", "1 a 4");
  parse({"x"});
  EXPECT_EQ(std::nullopt, variable("USE_CCP"));
  EXPECT_FALSE(state.wait_mode);
}

TEST(ClosingSteps, ReadTheJobCommandForASchedulerRun) {
  given_variable("ZP_CCP_JOB_COMMAND", "C:\\hpc\\job.exe");
  parse({"--ccp", "head"});
  EXPECT_EQ("C:\\hpc\\job.exe", state.ccp_job_command);
}

TEST(ClosingSteps, ReadNoJobCommandWithoutAScheduler) {
  given_variable("ZP_CCP_JOB_COMMAND", "C:\\hpc\\job.exe");
  parse({"x"});
  EXPECT_EQ("job", state.ccp_job_command);
}

TEST(ClosingSteps, KeepTheDefaultJobCommandWhenNoneIsNamed) {
  parse({"--ccp", "head"});
  EXPECT_EQ("job", state.ccp_job_command);
}

TEST(ClosingSteps, KeepTheFirst512CharactersOfTheJobCommand) {
  given_variable("ZP_CCP_JOB_COMMAND", std::string(511, 'a') + "bc");
  parse({"--ccp", "head"});
  EXPECT_EQ(std::string(511, 'a') + "b", state.ccp_job_command);
}

}  // namespace
