// Tests of the options beside the rows of tests/cases: what they note in the launch state.
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

// ---- What is noted ------------------------------------------------------------------------

TEST(Options, NoteTheNodeMode) {
  parse({"--node"});
  EXPECT_TRUE(state.node_only && state.node_mode);
  for (const char *option : {"--host", "--cx"}) {
    parse({option});
    EXPECT_TRUE(state.node_mode && !state.node_only) << option;
  }
  parse({"--host_ip=alpha:10.0.0.1", "--ptrace", "--cnf="});
  EXPECT_FALSE(state.node_mode || state.node_only);
  EXPECT_TRUE(state.ptrace_mode && state.hosts_file_given);
}

TEST(Options, NoteTheWaitAndTheTimingFile) {
  parse({"--o", "C:\\times.txt"});
  EXPECT_TRUE(state.wait_mode);
  EXPECT_EQ("C:\\times.txt", state.timing_file);
  for (const char *option : {"--o", "-wait"}) {
    parse({option});
    EXPECT_TRUE(state.wait_mode);
    EXPECT_EQ(std::nullopt, state.timing_file);
  }
}

TEST(Options, NoteTheInterconnectThatSelectsNoMpi) {
  parse({"--ic=myri", "--np_per_node=2", "--pathnode=C:\\a;D:\\%s b", "--prod_verdir=zephon1"});
  EXPECT_EQ("myri", state.interconnect);
  EXPECT_EQ("C:\\a;D:\\%s b", state.node_path);
  EXPECT_EQ("zephon1", state.prod_verdir);
  parse({"--ic=", "--prod_verdir="});
  EXPECT_EQ("ethernet", state.interconnect);
  EXPECT_EQ("", state.prod_verdir);
  EXPECT_FALSE(state.mpi_selected);
  EXPECT_EQ("", state.mpi_name);
  EXPECT_EQ(std::nullopt, state.mpi_requested);
}

TEST(Options, NoteTheMpi) {
  parse({"--np=1"});
  EXPECT_TRUE(state.mpi_selected);
  parse({"--mpi=pcmpi"});
  EXPECT_TRUE(state.mpi_selected);
  EXPECT_EQ("ibmmpi", state.mpi_requested);
  parse({"--mpi=", "--r6.3.0"});
  EXPECT_EQ("mpich2", state.mpi_requested);
}

TEST(Options, NoteTheRequestOfAService) {
  parse({"--install_smpd", "C:\\mpich2"});
  EXPECT_EQ("C:\\mpich2", state.smpd_request);
  EXPECT_FALSE(state.start_smpd);
  parse({"--install_smpd"});
  EXPECT_EQ("0", state.smpd_request);
  parse({"--start_smpd", "C:\\mpich2"});
  EXPECT_EQ("C:\\mpich2", state.smpd_request);
  EXPECT_TRUE(state.start_smpd);
  parse({"--start_smpd"});
  EXPECT_EQ("0", state.smpd_request);
}

TEST(Options, NoteNothingForWhatOnlyLooksLikeOne) {
  parse({"--debugmpi1", "--Node", "--host=", "--hosts", "--cx1", "-r6.3.0", "--o=x", "--wait",
         "--ptrace=1", "--install_smpd=0", "--start_smpd0", "--mpi", "--np", "--ic"});
  EXPECT_EQ(std::string(1, '\0'), state.env_pool);
  EXPECT_FALSE(state.mpi_selected || state.node_mode || state.wait_mode || state.ptrace_mode ||
               state.start_smpd || state.hosts_file_given);
  EXPECT_EQ(std::nullopt, state.release);
  EXPECT_EQ(std::nullopt, state.smpd_request);
}

TEST(Options, CollectEveryVariableInThePool) {
  parse({"--jobid=1", "--jobid=2"});
  EXPECT_EQ(std::string("CCP_JOB_ID=1\0CCP_JOB_ID=2\0\0", 27), state.env_pool);
}

TEST(Options, MoveTheRootInItsNetworkFormButNotThatOfTheLaunchState) {
  given_variable("ZEPHON_INC", "C:\\old");
  given_network_drive("X:", "Y:\\inner");  // a drive inside another one
  given_network_drive("Y:", "\\\\server\\share");
  parse({"--path=X:\\zephon"});
  EXPECT_EQ("Y:\\inner\\zephon", variable("ZEPHON_INC"));
  EXPECT_EQ("\\\\server\\share\\inner\\zephon", variable("ZEPHON_SHARED_DIR"));
  EXPECT_EQ("C:\\old", state.zephon_inc);
}

// ---- The solver's arguments ---------------------------------------------------------------

TEST(SolverArguments, AreCollectedWithCxAndWhatFollowsIt) {
  parse({"--cx", "--node", "a b"});
  EXPECT_EQ((texts{"--cx", "--node", "a b", ""}), state.solver_args);
  EXPECT_EQ(3, state.solver_argc);
  EXPECT_FALSE(state.node_only);
  parse({"--cx"});
  EXPECT_EQ((texts{"--cx", ""}), state.solver_args);
}

TEST(SolverArguments, AreCollectedUpTo63AndAllOfThemJoined) {
  texts arguments(62, "a");
  arguments.insert(arguments.end(), {"b", "c"});
  parse(arguments);
  EXPECT_EQ(2U * 64U, state.solver_args_line.size());
  ASSERT_EQ(64U, state.solver_args.size());
  EXPECT_EQ("b", state.solver_args[62]);
  EXPECT_EQ("", state.solver_args[63]);
  EXPECT_EQ(63, state.solver_argc);
}

// ---- The start of parsing -----------------------------------------------------------------

TEST(ParseOptions, ReadsTheVariablesOfTheStartScript) {
  parse({"x"});
  EXPECT_EQ(std::nullopt, state.cx_debug);
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
  EXPECT_EQ(std::nullopt, state.release);
  EXPECT_EQ("", state.launch_command.text);
  EXPECT_EQ(0, state.scheduler_job_id);
  EXPECT_EQ("kept", state.node_path);
}

TEST(ParseOptions, ReadsNothingWithoutAProgramName) {
  parse_options(0, nullptr);
  EXPECT_EQ(texts{""}, state.solver_args);
  EXPECT_EQ("", state.solver_args_line);
  EXPECT_EQ(0, state.solver_argc);
}

// ---- The scheduler ------------------------------------------------------------------------

TEST(HeadNode, EndsTheProgramWhenNobodyAnswers) {
  EXPECT_EQ(0, status_of_exit([] { parse({"--ccp"}); }));
  ASSERT_EQ(2U, message_boxes().size());
  EXPECT_EQ(0x40004U, message_boxes()[0].style);
  EXPECT_EQ(15'000U, message_boxes()[0].ended_at - message_boxes()[0].shown_at);
  EXPECT_EQ(box_end::closed, message_boxes()[0].end);
  EXPECT_EQ(0x40000U, message_boxes()[1].style);
  EXPECT_EQ(3'000U, message_boxes()[1].ended_at - message_boxes()[1].shown_at);
}

TEST(HeadNode, EndsTheProgramWhenTheQuestionCannotBeAsked) {
  given_no_threads();
  EXPECT_EQ(0, status_of_exit([] { parse({"--ccp"}); }));
  EXPECT_TRUE(message_boxes().empty());
}

TEST(ClosingSteps, WaitInsideAJobThatTheSchedulerStarted) {
  given_variable("CCP_CLUSTER_NAME", "cluster");
  parse({"x"});
  EXPECT_FALSE(state.wait_mode);
  given_variable("CCP_NODES", "1 a 4");
  parse({"x"});
  EXPECT_TRUE(state.wait_mode);
}

TEST(ClosingSteps, ReadTheFirst512CharactersOfTheJobCommandForASchedulerRun) {
  parse({"--ccp", "head"});
  EXPECT_EQ("job", state.ccp_job_command);
  given_variable("ZP_CCP_JOB_COMMAND", std::string(511, 'a') + "bc");
  given_no_variable("USE_CCP");
  parse({"x"});
  EXPECT_EQ("job", state.ccp_job_command);
  parse({"--ccp", "head"});
  EXPECT_EQ(std::string(511, 'a') + "b", state.ccp_job_command);
}

}  // namespace
