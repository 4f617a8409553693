// job_tool_test.cpp: the scheduler's tools on the cluster: what jobs and tasks do, and
// what the tools refuse once they have asked the head node.
#include <windows.h>

#include <algorithm>

#include "cluster_bench.h"

using namespace scenario;

namespace {

class JobTool : public cluster_test {};

// What a call says when it is refused; it must not succeed, and say nothing else.
std::string refusal_of(const std::string &arguments) {
  const auto run = job(arguments);
  EXPECT_NE(0U, run.status) << arguments;
  EXPECT_EQ("", run.output) << arguments;
  return run.errors;
}

bool contains(const std::string &text, const std::string &part) {
  return text.find(part) != std::string::npos;
}

// The value of NAME in what "cmd /c set" printed.
std::string variable_in(const std::string &text, const std::string &name) {
  const auto mark = "\n" + name + "=";
  const auto start = ("\n" + text).find(mark);
  if (start == std::string::npos) {
    return "";
  }
  const auto value = start + mark.size() - 1;
  return text.substr(value, text.find('\n', value) - value);
}

// A task that runs until somebody ends it, under a name of its own.
std::string given_long_task(const std::string &id, const std::string &program) {
  given_tool(program, "start " + in_quotes(in_world("child of " + program)) + "\npause 600000\n");
  given_tool("child of " + program, "pause 600000\n");
  job("add " + id + " " + in_quotes(in_world(program)));
  wait_for_program("child of " + program, true);
  return program;
}

// ---- A job's way ----------------------------------------------------------------------------

TEST_F(JobTool, RunsAJobFromItsCreationToItsEnd) {
  const auto id = job_id("new /jobname:\"ORBEX ZEPHON\" /numprocessors:4");
  EXPECT_EQ("Configuring", job_state(id));
  EXPECT_EQ("ORBEX ZEPHON", view_value(id, "Job Name"));

  const auto added = job("add " + id + " /numprocessors:4 cmd.exe /c echo done");
  EXPECT_EQ("Task " + id + ".1 added.\r\n", added.output);
  EXPECT_EQ("Job has been submitted. ID: " + id + ".\r\n", job("submit /id:" + id).output);

  wait_for_state(id, {"Finished"});
  EXPECT_EQ("100%", view_value(id, "Progress"));
  EXPECT_EQ("Finished", task_value(id, 1, "State"));
  EXPECT_EQ("0", task_value(id, 1, "Exit Code"));
  EXPECT_EQ("done\n", task_output(id, 1));
}

TEST_F(JobTool, RunsACommandThatIsSubmittedAtOnce) {
  const auto run = job("submit /jobname:\"ORBEX ZEPHON Credential Check\" cmd.exe /C ver");
  EXPECT_TRUE(run.output.starts_with("Job has been submitted. ID: ")) << run.output;
  const auto id = words_of(run.output).back();
  wait_for_state(id.substr(0, id.size() - 1), {"Finished"});
}

TEST_F(JobTool, AJobWithoutTasksFinishesAtOnce) {
  const auto id = job_id("new /numprocessors:1");
  job_id("submit /id:" + id);
  wait_for_state(id, {"Finished"});
}

TEST_F(JobTool, AJobFailsWithOneOfItsTasks) {
  const auto id = job_id("new /numprocessors:2");
  job("add " + id + " cmd.exe /c exit 3");
  job("add " + id + " cmd.exe /c exit 0");
  job_id("submit /id:" + id);
  wait_for_state(id, {"Failed"});
  EXPECT_EQ("Failed", task_value(id, 1, "State"));
  EXPECT_EQ("3", task_value(id, 1, "Exit Code"));
  EXPECT_EQ("Finished", task_value(id, 2, "State"));
  EXPECT_NE("", view_value(id, "Error message"));
}

TEST_F(JobTool, KeepsTheNodesOfAJobThatRunsUntilItIsCanceledUntilItIsModified) {
  const auto id = given_running_job();
  job("add " + id + " cmd.exe /c exit 0");
  wait_for_task(id, 1, "Finished");
  EXPECT_EQ("Running", job_state(id));
  EXPECT_EQ(0U, job("modify " + id + " /rununtilcanceled:false").status);
  wait_for_state(id, {"Finished"});
}

TEST_F(JobTool, AModifiedJobEndsWithTheTaskThatStillRuns) {
  const auto id = given_running_job();
  given_tool("task.exe", "wait_file go\n");
  job("add " + id + " " + in_quotes(in_world("task.exe")));
  job("modify " + id + " /rununtilcanceled:false");
  EXPECT_EQ("Running", job_state(id));
  given_file("go");
  wait_for_state(id, {"Finished"});
  EXPECT_EQ("Finished", task_value(id, 1, "State"));
}

TEST_F(JobTool, CancelEndsAJobAndEverythingItStarted) {
  const auto id = given_running_job();
  const auto task = given_long_task(id, "canceled task.exe");
  EXPECT_EQ(0U, job("cancel " + id + " /message:\"no longer needed\"").status);
  wait_for_state(id, {"Canceled"});
  EXPECT_EQ("no longer needed", view_value(id, "Error message"));
  EXPECT_EQ("Canceled", task_value(id, 1, "State"));
  wait_for_program(task, false);
  wait_for_program("child of " + task, false);
}

TEST_F(JobTool, FinishEndsAJobAndItsTasksAsFinished) {
  const auto id = given_running_job();
  const auto task = given_long_task(id, "finished task.exe");
  EXPECT_EQ(0U, job("finish " + id).status);
  wait_for_state(id, {"Finished"});
  EXPECT_EQ("Canceled", task_value(id, 1, "State"));
  wait_for_program(task, false);
}

TEST_F(JobTool, AJobCanBeCanceledBeforeItIsSubmitted) {
  const auto id = job_id("new");
  EXPECT_EQ(0U, job("cancel " + id).status);
  EXPECT_EQ("Canceled", job_state(id));
}

TEST_F(JobTool, ACanceledJobCanBeSubmittedAgainAndRunsWhatDidNotFinish) {
  const auto id = given_running_job();
  given_tool("task.exe", "times 1\npause 600000\nwhen\nout second time\\n\n");
  job("add " + id + " cmd.exe /c exit 0");
  job("add " + id + " " + in_quotes(in_world("task.exe")));
  wait_for_task(id, 1, "Finished");
  wait_for_task(id, 2, "Running");
  job("cancel " + id);
  wait_for_state(id, {"Canceled"});

  job_id("submit /id:" + id);
  wait_for_task(id, 2, "Finished");
  EXPECT_EQ("second time\n", task_output(id, 2));
  EXPECT_EQ("Running", job_state(id));
}

TEST_F(JobTool, AJobWaitsInTheQueueWhileTheNodesAreTaken) {
  const auto all = given_running_job("/numnodes:8");
  const auto waiting = job_id("new /numprocessors:2 /rununtilcanceled:true");
  job_id("submit /id:" + waiting);
  EXPECT_EQ("Queued", wait_for_state(waiting, {"Queued", "Running"}));
  EXPECT_EQ("", view_value(waiting, "Allocated nodes"));
  job("cancel " + all);
  wait_for_state(waiting, {"Running"});
  EXPECT_NE("", view_value(waiting, "Allocated nodes"));
}

TEST_F(JobTool, ShowsEachStateForAsLongAsItIsTold) {
  NEEDS_THE_STAND_IN();
  given_setting("submitted_seconds=1");
  given_setting("validating_seconds=1");
  given_setting("queued_seconds=1");
  given_setting("dispatching_seconds=1");
  const auto id = job_id("new /numprocessors:1");
  job("add " + id + " cmd.exe /c exit 0");
  job_id("submit /id:" + id);
  for (const char *state : {"Submitted", "Validating", "Queued", "Running"}) {
    wait_for_state(id, {state});
  }
  wait_for_task(id, 1, "Dispatching");
  wait_for_state(id, {"Finished"});
}

// ---- Tasks ----------------------------------------------------------------------------------

TEST_F(JobTool, ATaskFindsItsJobAndItsNodesInItsEnvironment) {
  const auto id = given_running_job("/numprocessors:4");
  const auto nodes = words_of(view_value(id, "Allocated nodes"));
  ASSERT_EQ(2U, nodes.size());
  job("add " + id + " /numprocessors:4 cmd.exe /c set");
  wait_for_task(id, 1, "Finished");
  job("add " + id + " /numprocessors:1 cmd.exe /c set");
  wait_for_task(id, 2, "Finished");

  job("add " + id + " /numprocessors:4 /stdout:" + in_quotes(in_world("set.txt")) +
      " cmd.exe /c set");
  wait_for_task(id, 3, "Finished");
  const auto set = unix_lines(file_text("set.txt").value_or(""));
  EXPECT_EQ("2 " + nodes[0] + " 2 " + nodes[1] + " 2", variable_in(set, "CCP_NODES"));
  EXPECT_EQ(id, variable_in(set, "CCP_JOBID"));
  EXPECT_EQ("3", variable_in(set, "CCP_TASKID"));
  EXPECT_EQ("0", variable_in(set, "CCP_TASKINSTANCEID"));
  EXPECT_EQ(id + ".3", variable_in(set, "CCP_TASKCONTEXT"));
  EXPECT_EQ("4", variable_in(set, "CCP_NUMCPUS"));
  EXPECT_EQ(head_node_name(), variable_in(set, "CCP_CLUSTER_NAME"));
  EXPECT_EQ(in_world("set.txt"), variable_in(set, "CCP_STDOUT"));
  EXPECT_FALSE(contains(set, "SLURM"));
  EXPECT_FALSE(contains(set, "PMI"));
}

TEST_F(JobTool, ATaskOfOneProcessorSeesOneNode) {
  const auto id = given_running_job("/numprocessors:4");
  job("add " + id + " /numprocessors:1-1 cmd.exe /c echo %CCP_NODES%");
  wait_for_task(id, 1, "Finished");
  EXPECT_EQ("1 " + words_of(view_value(id, "Allocated nodes"))[0] + " 1\n", task_output(id, 1));
}

TEST_F(JobTool, TasksThatDoNotFitTogetherRunOneAfterTheOther) {
  const auto id = given_running_job("/numprocessors:4");
  given_tool("first.exe", "wait_file go\n");
  job("add " + id + " /numprocessors:3 " + in_quotes(in_world("first.exe")));
  wait_for_task(id, 1, "Running");
  job("add " + id + " /numprocessors:2 cmd.exe /c exit 0");
  job("add " + id + " /numprocessors:1 cmd.exe /c exit 0");
  wait_for_task(id, 3, "Finished");
  EXPECT_EQ("Queued", task_value(id, 2, "State"));
  given_file("go");
  wait_for_task(id, 2, "Finished");
}

TEST_F(JobTool, VariablesAreExpandedWhenTheTaskStarts) {
  const auto folder = share();
  const auto id = given_running_job();
  job("add " + id + " /env:NAME=value /workdir:" + in_quotes(folder) +
      " /stdout:ZP%CCP_TASKCONTEXT%.jdoe.o cmd.exe /c echo %NAME% %CCP_JOBID% %NOBODY%");
  wait_for_text(share_on_drive() + "\\ZP" + id + ".1.jdoe.o", "value " + id + " %NOBODY%");
}

TEST_F(JobTool, OutputAndErrorsGoToTheirFilesInTheWorkingDirectory) {
  const auto id = given_running_job();
  given_tool("task.exe", "out to output\\n\nerr to errors\\n\n");
  given_folder("files");
  given_file("files\\o.txt", "what an earlier and much longer task has left behind");
  job("add " + id + " /workdir:" + in_quotes(in_world("files")) + " /stdout:o.txt /stderr:e.txt " +
      in_quotes(in_world("task.exe")));
  wait_for_task(id, 1, "Finished");
  EXPECT_EQ("to output\n", file_text("files\\o.txt"));
  EXPECT_EQ("to errors\n", file_text("files\\e.txt"));
  EXPECT_EQ(in_world("files"), only_start_of("task.exe").directory);
}

TEST_F(JobTool, OutputAndErrorsCanShareAFile) {
  const auto id = given_running_job();
  given_tool("task.exe", "out one\\n\nerr two\\n\nout three\\n\n");
  job("add " + id + " /stdout:" + in_quotes(in_world("both.txt")) +
      " /stderr:" + in_quotes(in_world("both.txt")) + " " + in_quotes(in_world("task.exe")));
  wait_for_task(id, 1, "Finished");
  EXPECT_EQ("one\ntwo\nthree\n", file_text("both.txt"));
}

TEST_F(JobTool, ATaskReadsItsInputFromAFile) {
  const auto id = given_running_job();
  given_file("input.txt", "from a file\r\n");
  job("add " + id + " /stdin:" + in_quotes(in_world("input.txt")) + " find \"file\"");
  wait_for_task(id, 1, "Finished");
  EXPECT_EQ("from a file\n", task_output(id, 1));
}

TEST_F(JobTool, ATaskWithoutAWorkingDirectoryRunsInTheUsersHome) {
  NEEDS_THE_STAND_IN();
  const auto id = given_running_job();
  given_tool("task.exe");
  job("add " + id + " " + in_quotes(in_world("task.exe")));
  wait_for_task(id, 1, "Finished");
  const auto start = only_start_of("task.exe");
  EXPECT_TRUE(contains(start.directory, "\\home\\")) << start.directory;
  EXPECT_EQ(start.directory, start.variable("USERPROFILE"));
}

TEST_F(JobTool, ATaskFailsWithoutItsDirectories) {
  const auto id = given_running_job();
  job("add " + id + " /workdir:C:\\missing cmd.exe /c exit 0");
  wait_for_task(id, 1, "Failed");
  EXPECT_TRUE(contains(task_value(id, 1, "Error Message"), "C:\\missing"));
  job("add " + id + " /stdout:missing\\o.txt cmd.exe /c exit 0");
  wait_for_task(id, 2, "Failed");
  EXPECT_TRUE(contains(task_value(id, 2, "Error Message"), "missing\\o.txt"));
}

TEST_F(JobTool, ACommandThatIsNoProgramGoesToTheInterpreter) {
  const auto id = given_running_job();
  given_folder("files");
  job("add " + id + " /workdir:" + in_quotes(in_world("files")) + " \"md a\\b\"");
  wait_for_task(id, 1, "Finished");
  EXPECT_NE(INVALID_FILE_ATTRIBUTES, GetFileAttributesA(in_world("files\\a\\b").c_str()));
  job("add " + id + " no_such_program.exe");
  wait_for_task(id, 2, "Failed");
}

TEST_F(JobTool, WhatATaskSaysIsKeptUpTo4Kilobytes) {
  const auto id = given_running_job();
  given_tool("task.exe", "repeat 5000 x\n");
  job("add " + id + " " + in_quotes(in_world("task.exe")));
  wait_for_task(id, 1, "Finished");
  EXPECT_EQ(std::string(4096, 'x') + "\n", task_output(id, 1));
}

TEST_F(JobTool, AnExitCodeIsKeptWithAllItsBits) {
  const auto id = given_running_job();
  given_tool("task.exe", "exit 3221225477\n");
  job("add " + id + " " + in_quotes(in_world("task.exe")));
  wait_for_task(id, 1, "Failed");
  EXPECT_EQ("-1073741819", task_value(id, 1, "Exit Code"));
}

TEST_F(JobTool, ClusterVariablesReachTheTasks) {
  NEEDS_THE_STAND_IN();
  given_cluster_variable("MPICH_SOCKET_SBUFFER_SIZE=0");
  given_cluster_variable("PATH=C:\\first;%PATH%");
  const auto run = cluscfg("listenvs");
  EXPECT_TRUE(contains(run.output, "CCP_CLUSTER_NAME=HEADNODE\r\n")) << run.output;
  EXPECT_TRUE(contains(run.output, "\nMPICH_SOCKET_SBUFFER_SIZE=0\r\n")) << run.output;

  const auto id = given_running_job();
  job("add " + id + " cmd.exe /c \"echo %MPICH_SOCKET_SBUFFER_SIZE% %PATH%\"");
  wait_for_task(id, 1, "Finished");
  EXPECT_TRUE(task_output(id, 1).starts_with("0 C:\\first;C:\\")) << task_output(id, 1);
}

// ---- Where jobs run -------------------------------------------------------------------------

TEST_F(JobTool, WholeNodesAreCountedAsNodes) {
  const auto id = given_running_job("/numnodes:3");
  EXPECT_EQ(3U, words_of(view_value(id, "Allocated nodes")).size());
  job("add " + id + " /numnodes:2 cmd.exe /c echo %CCP_NUMCPUS%");
  wait_for_task(id, 1, "Finished");
  EXPECT_EQ("4\n", task_output(id, 1));
}

TEST_F(JobTool, JobsShareANodeUnlessTheyAreExclusive) {
  const auto one = given_running_job("/numprocessors:1 /requestednodes:NODE05");
  const auto other = given_running_job("/numprocessors:1 /requestednodes:NODE05");
  EXPECT_EQ("NODE05", view_value(other, "Allocated nodes"));
  const auto exclusive =
      job_id("new /numprocessors:1 /exclusive:true /requestednodes:NODE05 /rununtilcanceled:true");
  job_id("submit /id:" + exclusive);
  EXPECT_EQ("Queued", wait_for_state(exclusive, {"Queued", "Running"}));
  job("cancel " + one);
  job("cancel " + other);
  wait_for_state(exclusive, {"Running"});
}

TEST_F(JobTool, JobsKeepToTheNodesTheyAskFor) {
  const auto id = given_running_job("/numprocessors:3 /askednodes:NODE03,node06,NODE07");
  for (const auto &node : words_of(view_value(id, "Allocated nodes"))) {
    EXPECT_TRUE(node == "NODE03" || node == "NODE06" || node == "NODE07") << node;
  }
}

TEST_F(JobTool, JobsKeepToTheirNodeGroups) {
  const auto id = given_running_job("/numprocessors:4 /nodegroup:ComputeNodes,RackB");
  for (const auto &node : words_of(view_value(id, "Allocated nodes"))) {
    EXPECT_GE(node, "NODE05");
  }
}

// ---- What the head node refuses -------------------------------------------------------------

TEST_F(JobTool, RefusesAJobThatDoesNotExist) {
  for (const char *call : {"view 77", "add 77 x", "submit /id:77", "modify 77", "cancel 77",
                           "finish 77", "add -1 x"}) {
    EXPECT_TRUE(contains(refusal_of(call), " is invalid.")) << call;
  }
}

TEST_F(JobTool, RefusesAnotherHeadNode) {
  EXPECT_TRUE(contains(refusal_of("new /scheduler:NOWHERE"), "NOWHERE"));
  EXPECT_NE(0U, cluscfg("listenvs /scheduler:NOWHERE").status);
}

TEST_F(JobTool, RefusesToCancelOrChangeWhatHasEnded) {
  const auto id = job_id("submit cmd.exe /c exit 0");
  wait_for_state(id, {"Finished"});
  for (const std::string call : {"cancel ", "finish ", "modify ", "submit /id:"}) {
    EXPECT_NE("", refusal_of(call + id)) << call;
  }
  EXPECT_NE("", refusal_of("add " + id + " x"));
  EXPECT_EQ("Finished", job_state(id));
}

TEST_F(JobTool, RefusesToFinishWhatDoesNotRun) {
  const auto id = job_id("new");
  EXPECT_NE("", refusal_of("finish " + id));
  EXPECT_EQ("Configuring", job_state(id));
}

TEST_F(JobTool, RefusesASubmitThatCannotBeRightAndLeavesTheJobAsItWas) {
  const auto refuses = [](const std::string &job_options, const std::string &task) {
    const auto id = job_id("new " + job_options);
    if (!task.empty()) {
      EXPECT_EQ(0U, job("add " + id + " " + task).status);
    }
    EXPECT_NE("", refusal_of("submit /id:" + id)) << job_options << task;
    EXPECT_EQ("Configuring", job_state(id)) << job_options << task;
  };
  refuses("/exclusive:false /numprocessors:2", "/exclusive:true x");
  refuses("/rununtilcanceled:true", "");
  refuses("/rununtilcanceled:true /numprocessors:2-*", "");
  refuses("/numprocessors:1000", "");
  refuses("/numnodes:9", "");
  refuses("/numprocessors:2", "/numprocessors:3 x");
  refuses("/numprocessors:1 /requestednodes:NODE77", "");
  refuses("/numprocessors:4 /requestednodes:NODE01", "");
  refuses("/numprocessors:1 /nodegroup:Nobody", "");
  refuses("/numprocessors:1 /jobtemplate:Nobody", "");
}

TEST_F(JobTool, ARefusedSubmitOfACommandLeavesNoJobBehind) {
  NEEDS_THE_STAND_IN();
  EXPECT_NE("", refusal_of("submit /numprocessors:1000 cmd.exe /c exit 0"));
  EXPECT_TRUE(contains(refusal_of("view !!"), " is invalid."));
}

TEST_F(JobTool, RefusesATaskThatARunningJobHasNoRoomFor) {
  const auto id = given_running_job("/numprocessors:2 /exclusive:false");
  EXPECT_NE("", refusal_of("add " + id + " /numprocessors:3 x"));
  EXPECT_NE("", refusal_of("add " + id + " /exclusive:true x"));
  EXPECT_EQ("0", view_value(id, "Task Count"));
}

TEST_F(JobTool, ARunningJobCanOnlyChangeALittle) {
  const auto id = given_running_job();
  EXPECT_TRUE(contains(refusal_of("modify " + id + " /jobname:n"), "/jobname"));
  EXPECT_NE("", refusal_of("modify " + id + " /numprocessors:2"));
  EXPECT_EQ(0U, job("modify " + id + " /project:p /runtime:60").status);
  EXPECT_EQ("Running", job_state(id));
}

TEST_F(JobTool, AQueuedJobCanChangeItsSize) {
  const auto all = given_running_job("/numnodes:8");
  const auto id = job_id("new /numprocessors:2 /rununtilcanceled:true");
  job_id("submit /id:" + id);
  EXPECT_EQ(0U, job("modify " + id + " /numprocessors:6").status);
  EXPECT_EQ("Queued", job_state(id));
  job("cancel " + all);
  wait_for_state(id, {"Running"});
  EXPECT_EQ(3U, words_of(view_value(id, "Allocated nodes")).size());
}

// ---- Generations ----------------------------------------------------------------------------

TEST_F(JobTool, OldToolsSpeakTheirOwnLanguage) {
  NEEDS_THE_STAND_IN();
  given_setting("generation=ccp");
  const auto run = job("new /numprocessors:4 /rununtilcanceled:true");
  EXPECT_EQ("Job queued, ID: 1\r\n", run.output);
  EXPECT_EQ("NotSubmitted", view_value("1", "Status"));
  job_id("submit /id:1");
  wait_for_state("1", {"Running"});
  EXPECT_EQ(2U, words_of(view_value("1", "AllocatedNodes")).size());
  EXPECT_NE("", refusal_of("finish 1"));
  EXPECT_NE("", refusal_of("new /numcores:4"));
  job("cancel 1");
  wait_for_state("1", {"Cancelled"});
}

TEST_F(JobTool, OldToolsGiveTheIdentifierOfAJobThatIsGoneToANewOne) {
  NEEDS_THE_STAND_IN();
  given_setting("generation=ccp");
  EXPECT_EQ("1", job_id("new"));
  EXPECT_EQ("2", job_id("new"));
  given_fault("purge@view");
  EXPECT_TRUE(contains(refusal_of("view 1"), " is invalid."));
  EXPECT_EQ("1", job_id("new"));
}

// ---- Many at once ---------------------------------------------------------------------------

TEST_F(JobTool, CallsAtTheSameMomentGetJobsOfTheirOwn) {
  std::vector<launch> calls;
  for (int call = 0; call < 12; ++call) {
    calls.push_back(start_program(built_tool("head_node\\job.exe"), "job new /scheduler:HEADNODE"));
  }
  std::vector<std::string> answers;
  for (auto &call : calls) {
    wait_for_end(call);
    EXPECT_EQ(0U, call.status);
    answers.push_back(call.output);
  }
  std::sort(answers.begin(), answers.end());
  EXPECT_EQ(answers.end(), std::adjacent_find(answers.begin(), answers.end()));
}

}  // namespace
