// job_tool_test.cpp: the scheduler's tools on the cluster: where jobs run, what their
// tasks find and leave behind. What the head node does without Slurm is tried by
// head_node_tests.
#include <windows.h>

#include "cluster_bench.h"

using namespace scenario;

namespace {

class JobTool : public cluster_test {};

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

// ---- Jobs -----------------------------------------------------------------------------------

TEST_F(JobTool, CancelEndsAJobAndEverythingItStarted) {
  const auto id = given_running_job();
  given_tool("task.exe", "start " + in_quotes(in_world("child of task.exe")) + "\npause 600000\n");
  given_tool("child of task.exe", "pause 600000\n");
  job("add " + id + " " + in_quotes(in_world("task.exe")));
  wait_for_program("child of task.exe", true);
  EXPECT_EQ(0U, job("cancel " + id).status);
  wait_for_state(id, {"Canceled"});
  EXPECT_EQ("Canceled", task_value(id, 1, "State"));
  wait_for_program("task.exe", false);
  wait_for_program("child of task.exe", false);
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

// ---- Tasks ----------------------------------------------------------------------------------

TEST_F(JobTool, ATaskFindsItsJobAndTheClustersVariablesInItsEnvironment) {
  const auto id = given_running_job("/numprocessors:4");
  if (head_node_is_stand_in()) {
    given_cluster_variable("MPICH_SOCKET_SBUFFER_SIZE=0");
    given_cluster_variable("PATH=C:\\first;%PATH%");
    EXPECT_TRUE(contains(cluscfg("listenvs").output, "\nMPICH_SOCKET_SBUFFER_SIZE=0\r\n"));
  }
  job("add " + id + " /numprocessors:4 /stdout:" + in_quotes(in_world("set.txt")) +
      " cmd.exe /c set");
  wait_for_task(id, 1, "Finished");
  const auto set = unix_lines(file_text("set.txt").value_or(""));
  const auto nodes = words_of(view_value(id, "Allocated nodes"));
  ASSERT_EQ(2U, nodes.size());
  EXPECT_EQ("2 " + nodes[0] + " 2 " + nodes[1] + " 2", variable_in(set, "CCP_NODES"));
  EXPECT_EQ(id, variable_in(set, "CCP_JOBID"));
  EXPECT_EQ(id + ".1", variable_in(set, "CCP_TASKCONTEXT"));
  EXPECT_EQ(head_node_name(), variable_in(set, "CCP_CLUSTER_NAME"));
  EXPECT_EQ(in_world("set.txt"), variable_in(set, "CCP_STDOUT"));
  EXPECT_FALSE(contains(set, "SLURM"));
  EXPECT_FALSE(contains(set, "PMI"));
  if (head_node_is_stand_in()) {
    EXPECT_EQ("0", variable_in(set, "MPICH_SOCKET_SBUFFER_SIZE"));
    EXPECT_TRUE(variable_in(set, "PATH").starts_with("C:\\first;C:\\"));
  }
}

TEST_F(JobTool, OutputAndErrorsGoToTheirFilesInTheWorkingDirectoryOrToOneFile) {
  const auto id = given_running_job();
  given_tool("task.exe", "out one\\n\nerr two\\n\nout three\\n\n");
  given_folder("files");
  given_file("files\\o.txt", "what an earlier and much longer task has left behind");
  job("add " + id + " /workdir:" + in_quotes(in_world("files")) + " /stdout:o.txt /stderr:e.txt " +
      in_quotes(in_world("task.exe")));
  wait_for_task(id, 1, "Finished");
  EXPECT_EQ("one\nthree\n", file_text("files\\o.txt"));
  EXPECT_EQ("two\n", file_text("files\\e.txt"));
  EXPECT_EQ(in_world("files"), only_start_of("task.exe").directory);
  job("add " + id + " /stdout:" + in_quotes(in_world("both.txt")) +
      " /stderr:" + in_quotes(in_world("both.txt")) + " " + in_quotes(in_world("task.exe")));
  wait_for_task(id, 2, "Finished");
  EXPECT_EQ("one\ntwo\nthree\n", file_text("both.txt"));
}

TEST_F(JobTool, ATaskWithoutFilesRunsInTheUsersHomeAndItsOutputIsKeptUpTo4Kilobytes) {
  NEEDS_THE_STAND_IN();
  const auto id = given_running_job();
  given_tool("task.exe", "repeat 5000 x\nexit 3221225477\n");
  job("add " + id + " " + in_quotes(in_world("task.exe")));
  wait_for_task(id, 1, "Failed");
  EXPECT_EQ("-1073741819", task_value(id, 1, "Exit Code"));
  EXPECT_EQ(std::string(4096, 'x') + "\n", task_output(id, 1));
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

// ---- Calls ----------------------------------------------------------------------------------

TEST_F(JobTool, ARefusalIsOneLineOnStandardErrorAndNotZero) {
  for (const char *call : {"view 77", "new /numthreads:4", "new /scheduler:NOWHERE"}) {
    const auto run = job(call);
    EXPECT_NE(0U, run.status) << call;
    EXPECT_EQ("", run.output) << call;
    EXPECT_EQ(run.errors.size() - 1, run.errors.find('\n')) << call;
  }
  EXPECT_NE(0U, cluscfg("listenvs /scheduler:NOWHERE").status);
}

}  // namespace
