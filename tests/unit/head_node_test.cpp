// head_node_test.cpp: what job.exe and cluscfg.exe understand, refuse and print. What
// they make the scheduler do is tried on the cluster itself.
#include <gtest/gtest.h>

#include "head_node/answer_text.h"
#include "head_node/job_grammar.h"
#include "head_node/settings.h"

namespace {

using namespace head_node;
using words = std::vector<std::string>;

grammar_settings with_head_node(tool_generation generation = tool_generation::hpc_2012_r2) {
  return {generation, "HEADNODE", 480};
}

tool_call job(const words &arguments, tool_generation generation = tool_generation::hpc_2012_r2) {
  return read_job_call(arguments, with_head_node(generation));
}

// The reason of a refusal; empty when the call is accepted.
std::string refusal(const words &arguments,
                    tool_generation generation = tool_generation::hpc_2012_r2) {
  const auto call = job(arguments, generation);
  EXPECT_EQ(call.outcome == call_outcome::refused, !call.reason.empty());
  return call.reason;
}

bool is_accepted(const words &arguments,
                 tool_generation generation = tool_generation::hpc_2012_r2) {
  return job(arguments, generation).outcome == call_outcome::accepted;
}

// ---- What is understood -----------------------------------------------------------------

TEST(HeadNodeGrammar, ReadsTheOptionsOfANewJob) {
  const auto call = job({"new", "/scheduler:H", "/jobname:ORBEX ZEPHON", "/numprocessors:4",
                         "/rununtilcanceled:true", "/jobtemplate:T", "/nodegroup:A,B"});
  EXPECT_EQ(call_outcome::accepted, call.outcome);
  EXPECT_EQ("new", call.sub_command);
  EXPECT_EQ("H", call.scheduler);
  EXPECT_EQ(fields({{"jobname", "ORBEX ZEPHON"},
                    {"unit", "processors"},
                    {"minimum", "4"},
                    {"maximum", "4"},
                    {"rununtilcanceled", "true"},
                    {"jobtemplate", "T"},
                    {"nodegroup", "A,B"}}),
            call.options);
}

TEST(HeadNodeGrammar, ReadsTheCommandOfATaskBehindIdentifierAndOptions) {
  const auto call = job({"add", "12", "/name:ORBEX ZEPHON", "/exclusive:false", "/numprocessors:4",
                         "/stdout:ZP%CCP_TASKCONTEXT%.o", "mpiexec.exe", "-hosts", "%CCP_NODES%",
                         "/workdir:x", "-env", "PATH", "a b;c", ""});
  EXPECT_EQ(call_outcome::accepted, call.outcome);
  EXPECT_EQ("12", call.job);
  EXPECT_EQ("mpiexec.exe -hosts %CCP_NODES% /workdir:x -env PATH \"a b;c\" \"\"", call.command);
  EXPECT_EQ("", field(call.options, "workdir"));
}

TEST(HeadNodeGrammar, TakesACommandThatIsOneQuotedArgumentAsItStands) {
  EXPECT_EQ("md a\\b", job({"add", "12", "md a\\b"}).command);
}

TEST(HeadNodeGrammar, TakesTheIdentifierBeforeBetweenAndBehindTheOptions) {
  for (const auto &arguments : {words{"view", "12", "/scheduler:H", "/detailed"},
                                words{"view", "/scheduler:H", "12", "/detailed"},
                                words{"view", "/scheduler:H", "/detailed", "12"}}) {
    const auto call = job(arguments);
    EXPECT_EQ(call_outcome::accepted, call.outcome);
    EXPECT_EQ("12", call.job);
    EXPECT_EQ("H", call.scheduler);
    EXPECT_EQ("true", field(call.options, "detailed"));
  }
}

TEST(HeadNodeGrammar, TakesNamesInAnyCaseAndWithADash) {
  const auto call = job({"SUBMIT", "-ID:7", "/Scheduler:H"});
  EXPECT_EQ(call_outcome::accepted, call.outcome);
  EXPECT_EQ("submit", call.sub_command);
  EXPECT_EQ("7", call.job);
  EXPECT_EQ("H", call.scheduler);
}

TEST(HeadNodeGrammar, TakesBooleansInAnyCaseAndWithoutAValue) {
  EXPECT_EQ("true", field(job({"new", "/exclusive"}).options, "exclusive"));
  EXPECT_EQ("true", field(job({"new", "/exclusive:True"}).options, "exclusive"));
  EXPECT_EQ("false", field(job({"new", "/exclusive:FALSE"}).options, "exclusive"));
}

TEST(HeadNodeGrammar, GathersSeveralEnvironmentOptions) {
  const words expected = {"A=1", "B=2", "C="};
  EXPECT_EQ(expected, job({"add", "12", "/env:A=1;B=2", "/env:C=", "x"}).environment);
}

TEST(HeadNodeGrammar, ReadsCountsAsRanges) {
  const auto bounds = [](const std::string &option) {
    const auto call = job({"new", option});
    return field(call.options, "unit") + " " + field(call.options, "minimum") + " " +
           field(call.options, "maximum");
  };
  EXPECT_EQ("cores 4 4", bounds("/numcores:4"));
  EXPECT_EQ("nodes 2 6", bounds("/numnodes:2-6"));
  EXPECT_EQ("sockets * *", bounds("/numsockets:*"));
  EXPECT_EQ("processors 3 *", bounds("/numprocessors:3-*"));
  EXPECT_EQ("processors * 9", bounds("/numprocessors:*-9"));
}

TEST(HeadNodeGrammar, ReadsRunTimes) {
  const auto seconds = [](const std::string &value) {
    return field(job({"new", "/runtime:" + value}).options, "runtime");
  };
  EXPECT_EQ("300", seconds("5"));
  EXPECT_EQ("7500", seconds("2:5"));
  EXPECT_EQ("93900", seconds("1:2:5"));
  EXPECT_EQ("infinite", seconds("Infinite"));
}

TEST(HeadNodeGrammar, ReadsPrioritiesByNameAndByNumber) {
  EXPECT_EQ("0", field(job({"new", "/priority:Lowest"}).options, "priority"));
  EXPECT_EQ("4000", field(job({"new", "/priority:highest"}).options, "priority"));
  EXPECT_EQ("1234", field(job({"new", "/priority:1234"}).options, "priority"));
}

TEST(HeadNodeGrammar, TakesTheHeadNodeFromTheEnvironmentWhenNoneIsNamed) {
  EXPECT_EQ("HEADNODE", job({"new"}).scheduler);
}

TEST(HeadNodeGrammar, SubmitTakesAnIdentifierAJobFileOrACommand) {
  EXPECT_TRUE(is_accepted({"submit", "/id:12"}));
  EXPECT_TRUE(is_accepted({"submit", "/jobfile:a.xml"}));
  EXPECT_TRUE(is_accepted({"submit", "/jobname:n", "/numprocessors:2", "/workdir:w", "x"}));
  EXPECT_TRUE(is_accepted({"submit", "/id:12", "/jobname:n", "/numcores:2"}));
}

TEST(HeadNodeGrammar, TakesTwoExclamationMarksForTheLastJob) {
  EXPECT_EQ("!!", job({"submit", "/id:!!"}).job);
  EXPECT_EQ("!!", job({"add", "!!", "x"}).job);
}

TEST(HeadNodeGrammar, PassesANegativeIdentifierOn) {
  EXPECT_EQ("-1", job({"add", "-1", "x"}).job);
}

TEST(HeadNodeGrammar, TheLaterOfTwoEqualOptionsCounts) {
  EXPECT_EQ("b", field(job({"new", "/jobname:a", "/jobname:b"}).options, "jobname"));
}

TEST(HeadNodeGrammar, AsksForTheUsageText) {
  for (const auto &arguments : {words{"/?"}, words{"/HELP"}, words{"new", "/?"}}) {
    EXPECT_EQ(call_outcome::usage, job(arguments).outcome);
  }
  EXPECT_EQ(call_outcome::accepted, job({"add", "12", "cmd.exe", "/?"}).outcome);
}

TEST(HeadNodeGrammar, ReadsCluscfgListenvs) {
  const auto call = read_cluscfg_call({"listenvs", "/scheduler:H"}, with_head_node());
  EXPECT_EQ(call_outcome::accepted, call.outcome);
  EXPECT_EQ("H", call.scheduler);
  EXPECT_EQ(call_outcome::refused, read_cluscfg_call({"setenvs"}, with_head_node()).outcome);
  EXPECT_EQ(call_outcome::refused, read_cluscfg_call({"listenvs", "x"}, with_head_node()).outcome);
}

// ---- What is refused ----------------------------------------------------------------------

TEST(HeadNodeRefusal, NamesAnUnknownSubCommand) {
  EXPECT_EQ("Unknown sub-command: run", refusal({"run", "12"}));
  EXPECT_NE("", refusal({}));
}

TEST(HeadNodeRefusal, NamesAnUnknownOption) {
  EXPECT_EQ("Unknown option: /numthreads", refusal({"new", "/numthreads:4"}));
  EXPECT_EQ("Unknown option: /x", refusal({"view", "12", "-x"}));
}

TEST(HeadNodeRefusal, NamesAnOptionOfAnotherSubCommand) {
  EXPECT_EQ("The option /workdir does not belong to \"new\".", refusal({"new", "/workdir:w"}));
  EXPECT_NE("", refusal({"add", "12", "/jobname:n", "x"}));
  EXPECT_NE("", refusal({"add", "12", "/rununtilcanceled:true", "x"}));
  EXPECT_NE("", refusal({"add", "12", "/jobtemplate:t", "x"}));
  EXPECT_NE("", refusal({"view", "12", "/numprocessors:1"}));
  EXPECT_NE("", refusal({"cancel", "12", "/id:12"}));
}

TEST(HeadNodeRefusal, NewTakesNoCommandAndViewNoSecondIdentifier) {
  EXPECT_NE("", refusal({"new", "x"}));
  EXPECT_NE("", refusal({"view", "12", "13"}));
}

TEST(HeadNodeRefusal, NeedsAnIdentifierThatIsANumber) {
  for (const char *sub_command : {"view", "modify", "cancel", "finish"}) {
    EXPECT_NE("", refusal({sub_command})) << sub_command;
    EXPECT_NE("", refusal({sub_command, "abc"})) << sub_command;
    EXPECT_NE("", refusal({sub_command, "12a"})) << sub_command;
  }
  EXPECT_NE("", refusal({"add"}));
  EXPECT_NE("", refusal({"submit", "/id:x"}));
  EXPECT_NE("", refusal({"submit", "/id:"}));
}

TEST(HeadNodeRefusal, AddNeedsACommand) {
  EXPECT_NE("", refusal({"add", "12"}));
  EXPECT_NE("", refusal({"add", "12", "/name:n"}));
}

TEST(HeadNodeRefusal, SubmitNeedsExactlyOneForm) {
  EXPECT_NE("", refusal({"submit"}));
  EXPECT_NE("", refusal({"submit", "/jobname:n"}));
  EXPECT_NE("", refusal({"submit", "/id:12", "x"}));
  EXPECT_NE("", refusal({"submit", "/id:12", "/jobfile:f"}));
  EXPECT_NE("", refusal({"submit", "/id:12", "/workdir:w"}));
  EXPECT_NE("", refusal({"submit", "/id:12", "/env:A=1"}));
}

TEST(HeadNodeRefusal, BooleansAreTrueOrFalse) {
  EXPECT_EQ("The value of /exclusive must be true or false, not \"yes\".",
            refusal({"new", "/exclusive:yes"}));
  EXPECT_NE("", refusal({"new", "/rununtilcanceled:1"}));
}

TEST(HeadNodeRefusal, CountsAreNumbersOrRanges) {
  for (const char *value :
       {"0", "x", "-1", "4-", "-4", "1-2-3", "4.5", "+4", "0-4", "99999999999"}) {
    EXPECT_NE("", refusal({"new", std::string("/numcores:") + value})) << value;
  }
  EXPECT_NE("", refusal({"new", "/numcores:"}));
  EXPECT_NE("", refusal({"new", "/numcores"}));
}

TEST(HeadNodeRefusal, AMinimumIsNotAboveItsMaximum) {
  EXPECT_EQ("The minimum of /numnodes is larger than its maximum: \"4-2\".",
            refusal({"new", "/numnodes:4-2"}));
}

TEST(HeadNodeRefusal, OnlyJobsMayHaveACalculatedCount) {
  EXPECT_NE("", refusal({"add", "12", "/numprocessors:*", "x"}));
  EXPECT_NE("", refusal({"submit", "/numprocessors:1-*", "x"}));
  EXPECT_EQ("", refusal({"modify", "12", "/numprocessors:*"}));
}

TEST(HeadNodeRefusal, OnlyOneCountCanBeGiven) {
  EXPECT_EQ("Only one of /numcores and /numnodes can be given.",
            refusal({"new", "/numcores:4", "/numnodes:2"}));
}

TEST(HeadNodeRefusal, NamesHaveAtMost80Characters) {
  const std::string longest(80, 'n');
  EXPECT_EQ("", refusal({"new", "/jobname:" + longest}));
  EXPECT_EQ("The value of /jobname is longer than 80 characters.",
            refusal({"new", "/jobname:" + longest + "n"}));
  EXPECT_NE("", refusal({"add", "12", "/name:" + longest + "n", "x"}));
  EXPECT_NE("", refusal({"new", "/jobtemplate:" + longest + "n"}));
}

TEST(HeadNodeRefusal, PathsHaveAtMost160Characters) {
  for (const char *option : {"/workdir:", "/stdout:", "/stderr:", "/stdin:"}) {
    EXPECT_EQ("", refusal({"add", "12", option + std::string(160, 'p'), "x"})) << option;
    EXPECT_NE("", refusal({"add", "12", option + std::string(161, 'p'), "x"})) << option;
  }
}

TEST(HeadNodeRefusal, CommandsHaveAtMostAsManyCharactersAsSet) {
  EXPECT_EQ("", refusal({"add", "12", std::string(480, 'c')}));
  EXPECT_EQ("The command line has 481 characters; at most 480 are allowed.",
            refusal({"add", "12", std::string(481, 'c')}));
  EXPECT_NE("", refusal({"submit", "a", std::string(479, 'c')}));
  EXPECT_EQ("", read_job_call({"add", "12", std::string(1024, 'c')},
                              {tool_generation::hpc_2012_r2, "H", 1024})
                    .reason);
}

TEST(HeadNodeRefusal, TheEnvironmentHasAtMost2048Characters) {
  const std::string half = "/env:A=" + std::string(1022, 'v');
  EXPECT_EQ("", refusal({"add", "12", half, half, "x"}));
  EXPECT_NE("", refusal({"add", "12", half, half, "/env:B=1", "x"}));
  EXPECT_NE("", refusal({"add", "12", "/env:novalue", "x"}));
  EXPECT_NE("", refusal({"add", "12", "/env:=1", "x"}));
}

TEST(HeadNodeRefusal, MessagesHaveAtMost128Characters) {
  EXPECT_EQ("", refusal({"cancel", "12", "/message:" + std::string(128, 'm')}));
  EXPECT_NE("", refusal({"cancel", "12", "/message:" + std::string(129, 'm')}));
}

TEST(HeadNodeRefusal, RunTimesAndPrioritiesAreChecked) {
  for (const char *value : {"0", "x", "1:", ":1", "1:2:3:4", "-5", "999999999"}) {
    EXPECT_NE("", refusal({"new", std::string("/runtime:") + value})) << value;
  }
  EXPECT_NE("", refusal({"new", "/priority:4001"}));
  EXPECT_NE("", refusal({"new", "/priority:urgent"}));
}

TEST(HeadNodeRefusal, SomeHeadNodeMustBeNamed) {
  EXPECT_EQ(call_outcome::refused, read_job_call({"new"}, grammar_settings{}).outcome);
  EXPECT_EQ(call_outcome::accepted,
            read_job_call({"new", "/scheduler:H"}, grammar_settings{}).outcome);
}

TEST(HeadNodeRefusal, ControlCharactersAreNotTaken) {
  EXPECT_NE("", refusal({"new", "/jobname:a\nunit=b"}));
  EXPECT_NE("", refusal({"add", "12", "x\r\n"}));
}

TEST(HeadNodeRefusal, OldToolsDoNotKnowLaterOptions) {
  const auto old = tool_generation::ccp;
  EXPECT_NE("", refusal({"finish", "12"}, old));
  EXPECT_NE("", refusal({"finish", "12"}, tool_generation::hpc_2008));
  EXPECT_EQ("", refusal({"finish", "12"}, tool_generation::hpc_2008_r2));
  EXPECT_EQ("Unknown option: /numcores", refusal({"new", "/numcores:4"}, old));
  EXPECT_NE("", refusal({"new", "/jobtemplate:t"}, old));
  EXPECT_NE("", refusal({"cancel", "12", "/force"}, tool_generation::hpc_2008));
  EXPECT_NE("", refusal({"cancel", "12", "/graceful"}, tool_generation::hpc_2008_r2));
  EXPECT_NE("", refusal({"view", "!!"}, tool_generation::hpc_2008_r2));
  EXPECT_EQ("", refusal({"new", "/numprocessors:4", "/askednodes:a", "/exclusive:true"}, old));
}

// ---- Settings and faults --------------------------------------------------------------------

std::string no_variable(const std::string & /*name*/) {
  return "";
}

std::string one_variable(const std::string &name) {
  return name == "HEAD_NODE_GENERATION" ? "2008" : "";
}

TEST(HeadNodeSettings, HaveADefaultEach) {
  const auto known = read_settings("", no_variable);
  EXPECT_EQ(tool_generation::hpc_2012_r2, known.generation);
  EXPECT_EQ("HEADNODE", known.head_node);
  EXPECT_EQ(480U, known.command_limit);
  EXPECT_FALSE(known.capital_keys);
  EXPECT_TRUE(known.delays.empty());
}

TEST(HeadNodeSettings, ComeFromTheFile) {
  const auto known = read_settings(
      "generation=ccp\r\nhead_node=H2\ncommand_limit=1024\ncapital_keys=true\nqueued_seconds=1.5",
      no_variable);
  EXPECT_EQ(tool_generation::ccp, known.generation);
  EXPECT_EQ("H2", known.head_node);
  EXPECT_EQ(1024U, known.command_limit);
  EXPECT_TRUE(known.capital_keys);
  EXPECT_EQ("1.5", field(known.delays, "queued_seconds"));
}

TEST(HeadNodeSettings, TheEnvironmentWinsOverTheFile) {
  EXPECT_EQ(tool_generation::hpc_2008, read_settings("generation=ccp", one_variable).generation);
}

TEST(HeadNodeFaults, HoldForAllOrForOneSubCommand) {
  using values = std::map<std::string, std::string>;
  const char *text = "slow=2;silent@submit fail_once@view\nlines@new=10";
  EXPECT_EQ((values{{"slow", "2"}, {"fail_once", ""}}), faults_for(text, "view"));
  EXPECT_EQ((values{{"slow", "2"}, {"silent", ""}}), faults_for(text, "submit"));
  EXPECT_EQ((values{{"slow", "2"}, {"lines", "10"}}), faults_for(text, "new"));
  EXPECT_TRUE(faults_for("", "view").empty());
}

// ---- What is printed ------------------------------------------------------------------------

tool_answer printed(const words &arguments, const fields &answer, const char *setting = "") {
  const auto known = read_settings(setting, no_variable);
  return answer_text(job(arguments, known.generation), answer, known);
}

TEST(HeadNodeAnswer, NamesTheJobAsTheRealToolsDo) {
  EXPECT_EQ("Created job, ID: 12\r\n", printed({"new"}, {{"job", "12"}}).output);
  EXPECT_EQ("Job queued, ID: 12\r\n", printed({"new"}, {{"job", "12"}}, "generation=ccp").output);
  EXPECT_EQ("Job has been submitted. ID: 12.\r\n",
            printed({"submit", "/id:12"}, {{"job", "12"}}).output);
  EXPECT_EQ("Task 12.1 added.\r\n",
            printed({"add", "12", "x"}, {{"job", "12"}, {"task", "1"}}).output);
  EXPECT_EQ(0, printed({"new"}, {{"job", "12"}}).status);
}

TEST(HeadNodeAnswer, ViewPadsItsKeys) {
  const auto text = printed({"view", "12"}, {{"job", "12"},
                                             {"state", "Running"},
                                             {"nodes", "NODE01 NODE02"},
                                             {"task", "1"},
                                             {"state", "Finished"},
                                             {"task", "2"},
                                             {"state", "Running"}})
                        .output;
  EXPECT_NE(std::string::npos, text.find("\r\nState                            : Running\r\n"));
  EXPECT_NE(std::string::npos, text.find("\r\nProgress                         : 50%\r\n"));
  EXPECT_NE(std::string::npos,
            text.find("\r\nAllocated nodes                  : NODE01 NODE02\r\n"));
  EXPECT_NE(std::string::npos, text.find("\r\nError message                    : \r\n"));
}

TEST(HeadNodeAnswer, OldToolsSayStatusAndCancelledWithTwoL) {
  const auto text =
      printed({"view", "12"}, {{"job", "12"}, {"state", "Canceled"}}, "generation=ccp").output;
  EXPECT_NE(std::string::npos, text.find("\r\nStatus   : Cancelled\r\n"));
  EXPECT_EQ(std::string::npos, text.find("State"));
  EXPECT_NE(std::string::npos, text.find("\r\nAllocatedNodes: "));
}

TEST(HeadNodeAnswer, KeysCanHaveCapitals) {
  const auto text =
      printed({"view", "12"}, {{"job", "12"}, {"state", "Failed"}}, "capital_keys=true").output;
  EXPECT_NE(std::string::npos, text.find("\r\nAllocated Nodes "));
  EXPECT_NE(std::string::npos, text.find("\r\nError Message "));
}

TEST(HeadNodeAnswer, StatesHaveTheNamesOfTheirGeneration) {
  const auto old = tool_generation::ccp;
  EXPECT_EQ("NotSubmitted", state_name("Configuring", old));
  EXPECT_EQ("Queued", state_name("Submitted", old));
  EXPECT_EQ("Queued", state_name("Validating", old));
  EXPECT_EQ("Running", state_name("Finishing", old));
  EXPECT_EQ("Failed", state_name("Failed", old));
  EXPECT_EQ("Canceled", state_name("Canceled", tool_generation::hpc_2008));
}

TEST(HeadNodeAnswer, ARefusalIsOneLineOnStandardErrorAndNotZero) {
  const auto answer = printed({"view", "99"}, {{"error", "unknown_job"}});
  EXPECT_EQ("", answer.output);
  EXPECT_EQ("The job identifier 99 is invalid.\r\n", answer.error);
  EXPECT_NE(0, answer.status);
}

TEST(HeadNodeAnswer, SaysWhyAJobEndedBadly) {
  const auto message = [](const fields &answer) {
    const auto text = printed({"view", "12"}, answer).output;
    const auto start = text.find("Error message");
    const auto value = text.find(": ", start) + 2;
    return text.substr(value, text.find("\r\n", value) - value);
  };
  EXPECT_EQ("Task 12.3 failed.",
            message({{"job", "12"}, {"message", "task_failed"}, {"message_detail", "3"}}));
  EXPECT_EQ(
      "no longer needed",
      message({{"job", "12"}, {"message", "canceled"}, {"message_detail", "no longer needed"}}));
  EXPECT_EQ("Job failed to start on some nodes or some nodes became unreachable.",
            message({{"job", "12"}, {"message", "node_lost"}}));
}

TEST(HeadNodeAnswer, ADetailedViewListsTheTasks) {
  const auto text = printed({"view", "12", "/detailed"}, {{"job", "12"},
                                                          {"state", "Running"},
                                                          {"task", "1"},
                                                          {"state", "Failed"},
                                                          {"unit", "cores"},
                                                          {"minimum", "1"},
                                                          {"maximum", "1"},
                                                          {"exit_code", "3"},
                                                          {"output", "what it said"}})
                        .output;
  EXPECT_NE(std::string::npos, text.find("\r\nTask Id                         : 12.1\r\n"));
  EXPECT_NE(std::string::npos, text.find("\r\nResource Request                : 1-1 cores\r\n"));
  EXPECT_NE(std::string::npos, text.find("\r\nExit Code                       : 3\r\n"));
  EXPECT_TRUE(text.ends_with("\r\nOutput                          : \r\nwhat it said\r\n"));
}

// ---- What a task finds in its environment ---------------------------------------------------

TEST(HeadNodeEnvironment, DescribesTheTaskToMpi) {
  const auto all = task_environment({{"job", "12"},
                                     {"task", "1"},
                                     {"allocated", "2 NODE01 2 NODE02 2"},
                                     {"cores", "4"},
                                     {"head_node", "HEADNODE"}});
  EXPECT_EQ("12", field(all, "CCP_JOBID"));
  EXPECT_EQ("1", field(all, "CCP_TASKID"));
  EXPECT_EQ("0", field(all, "CCP_TASKINSTANCEID"));
  EXPECT_EQ("2 NODE01 2 NODE02 2", field(all, "CCP_NODES"));
  EXPECT_EQ("4", field(all, "CCP_NUMCPUS"));
  EXPECT_EQ("2147483647", field(all, "CCP_RUNTIME"));
}

TEST(HeadNodeEnvironment, NamesTheFirstTaskOfAJobAsTheLauncherExpectsIt) {
  EXPECT_EQ("12.1", field(task_environment({{"job", "12"}, {"task", "1"}}), "CCP_TASKCONTEXT"));
}

TEST(HeadNodeEnvironment, ClusterVariablesAreChangedAndAddedToByAFile) {
  const auto all = cluster_environment(settings{}, "CCP_MPI_NETMASK=10.0.0.0/255.0.0.0\nMINE=1\n");
  EXPECT_EQ("HEADNODE", field(all, "CCP_CLUSTER_NAME"));
  EXPECT_EQ("10.0.0.0/255.0.0.0", field(all, "CCP_MPI_NETMASK"));
  EXPECT_EQ("1", field(all, "MINE"));
}

}  // namespace
