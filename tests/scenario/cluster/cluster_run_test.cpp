// cluster_run_test.cpp: launches on the cluster, from the start script's command line
// to the end of the job: created, waited for, added to, watched and released.
#include <windows.h>

#include <set>

#include "cluster_bench.h"

using namespace scenario;

namespace {

class LauncherOnCluster : public launcher_test {};

std::string arguments_for(const std::string &mpi, const std::string &more = "--jobid=-1 ") {
  return "--mpi=" + mpi + " --np=4 --ccp " + head_node_name() + " " + more + "solver.exe -i plate";
}

// Whether the output closes with this line; the line itself may have a detail.
bool closes_with(const std::string &output, const std::string &line) {
  const auto start = output.rfind("\n" + line);
  return start != std::string::npos &&
         output.find_first_not_of(" \n", start + 1 + line.size()) == std::string::npos;
}

// The output of a task, as it stands in the user's folder.
std::string output_file(const std::string &id, const std::string &ending) {
  const char *const user = std::getenv("USERNAME");
  return share_on_drive() + "\\ZP" + id + ".1" + (user == nullptr ? "" : std::string(".") + user) +
         ending;
}

// ---- The main way ---------------------------------------------------------------------------

TEST_F(LauncherOnCluster, CreatesAJobRunsItsTaskOnTheNodesAndReleasesThem) {
  given_tool(mpiexec, "out converged\\n\n");
  given_box_left_alone();
  const auto run = run_launcher(arguments_for("msmpi"));

  EXPECT_EQ(0U, run.status);
  const auto output = unix_lines(run.output);
  EXPECT_TRUE(output.starts_with("Created job, ID: 1\n.")) << output;
  EXPECT_TRUE(contains(output, ". done!\nTask 1.1 added.\n")) << output;
  EXPECT_TRUE(closes_with(output, "Job 1 is Finished.")) << output;
  EXPECT_EQ("Waiting for CCP scheduler@" + head_node_name() + " to start msmpi nodes ...\n",
            unix_lines(run.errors));
  EXPECT_EQ("\nWaiting for the scheduler on " + head_node_name() +
                " to allocate nodes for your job 1.\n"
                "If you want to cancel the job, you may press the \"Cancel\" button!\n"
                "If you want to close this message box, you may press the \"OK\" button!\n\n"
                "Otherwise, please wait ...",
            run.boxes.at(0).text);

  const auto nodes = words_of(view_value("1", "Allocated nodes"));
  ASSERT_EQ(2U, nodes.size());
  const auto start = only_start_of(mpiexec);
  EXPECT_TRUE(start.command_line.starts_with("mpiexec.exe -hosts 2 " + nodes[0] + " 2 " + nodes[1] +
                                             " 2 -env PATH "))
      << start.command_line;
  EXPECT_TRUE(start.command_line.ends_with(" solver.exe -i plate")) << start.command_line;
  EXPECT_EQ("1.1", start.variable("CCP_TASKCONTEXT"));
  EXPECT_EQ(share(), start.directory);
  EXPECT_EQ("converged\n", file_text(output_file("1", ".o")));
  EXPECT_EQ("", file_text(output_file("1", ".e")));
  EXPECT_EQ("Finished", job_state("1"));
}

TEST_F(LauncherOnCluster, ShowsTheOutputFilesOfATaskThatFailedErrorsFirst) {
  given_joined_output();
  given_tool(mpiexec, "out some steps\\n\nerr the cause\\n\nexit 5\n");
  given_box_left_alone();
  const auto run = run_launcher(arguments_for("msmpi"));

  EXPECT_EQ(0U, run.status);
  const auto output = unix_lines(run.output);
  EXPECT_TRUE(contains(output, "Job 1 is Failed.  ")) << output;
  EXPECT_TRUE(
      output.ends_with("\n\n---------- stderr ----------\nthe cause\n"
                       "\n\n---------- stdout ----------\nsome steps\n"))
      << output;
  EXPECT_EQ("Failed", job_state("1"));
}

TEST_F(LauncherOnCluster, FollowsAJobFromRunningToItsEnd) {
  given_tool(mpiexec, "wait_file go\n");
  given_box_left_alone();
  auto run = start_launcher(arguments_for("msmpi"));
  wait_for_output(run, "Job 1 is Running.");
  given_file("ms\\go");
  wait_for_everything(run);
  const auto output = unix_lines(run.output);
  EXPECT_LT(output.find("\nJob 1 is Running."), output.find("\nJob 1 is Finished."));
  EXPECT_TRUE(closes_with(output, "Job 1 is Finished.")) << output;
}

TEST_F(LauncherOnCluster, AsksForTheCredentialsByAJobOfTheirOwn) {
  given_no_variable("ZEPHON_CRED_CHECK");
  given_tool(mpiexec);
  given_box_left_alone();
  const auto run = run_launcher(arguments_for("msmpi"));
  EXPECT_TRUE(
      unix_lines(run.output).starts_with("Job has been submitted. ID: 1.\nCreated job, ID: 2\n"))
      << run.output;
  EXPECT_EQ("ORBEX ZEPHON Credential Check", view_value("1", "Job Name"));
  wait_for_state("1", {"Finished"});
  wait_for_state("2", {"Finished"});
}

TEST_F(LauncherOnCluster, RunsWithTheOldestTools) {
  NEEDS_THE_STAND_IN();
  given_setting("generation=ccp");
  given_tool(mpiexec);
  given_box_left_alone();
  const auto run = run_launcher(arguments_for("msmpi"));
  const auto output = unix_lines(run.output);
  EXPECT_TRUE(output.starts_with("Job queued, ID: 1\n")) << output;
  EXPECT_TRUE(closes_with(output, "Job 1 is Finished.")) << output;
  EXPECT_EQ("1", only_start_of(mpiexec).variable("CCP_JOBID"));
}

// ---- Other ways to the nodes ----------------------------------------------------------------

TEST_F(LauncherOnCluster, SubmitsTheCommandWhenNoJobIsAskedFor) {
  given_tool(mpiexec, "out converged\\n\n");
  const auto run = run_launcher(arguments_for("msmpi", ""));
  const auto output = unix_lines(run.output);
  EXPECT_TRUE(output.starts_with("Job has been submitted. ID: 1.\n")) << output;
  EXPECT_TRUE(closes_with(output, "Job 1 is Finished.")) << output;
  EXPECT_EQ("4", only_start_of(mpiexec).variable("CCP_NUMCPUS"));
  EXPECT_EQ("converged\n", file_text(output_file("1", ".o")));
}

TEST_F(LauncherOnCluster, AddsToAJobThatRunsAlreadyAndLeavesItRunning) {
  const auto id = given_running_job();
  given_tool(mpiexec, "out converged\\n\n");
  auto run = start_launcher(arguments_for("msmpi", "--jobid=" + id + " "));
  wait_for_text(output_file(id, ".o"), "converged");
  wait_for_output(run, "Job " + id + " is Running.");
  EXPECT_EQ("Running", job_state(id));
  job("modify " + id + " /rununtilcanceled:false");
  wait_for_everything(run);
  EXPECT_TRUE(contains(run.output, "Task " + id + ".1 added."));
}

TEST_F(LauncherOnCluster, RunsPlatformMpiInTheJob) {
  given_variable("ORBEX_DONT_CACHE_PASSWORD", "1");
  given_variable("IBMMPI_ROOT", in_world("ibm"));
  given_tool("ibm\\bin\\mpirun.exe", "out converged\\n\n");
  given_box_left_alone();
  const auto run = run_launcher(arguments_for("ibmmpi"));

  const auto output = unix_lines(run.output);
  EXPECT_TRUE(contains(output, ". done!\n")) << output;
  EXPECT_TRUE(contains(output, "Task 1.1 added.\n")) << output;
  EXPECT_TRUE(closes_with(output, "Job 1 is Finished.")) << output;
  const auto start = only_start_of("ibm\\bin\\mpirun.exe");
  EXPECT_TRUE(contains(start.command_line, " -ccp -np 4 ")) << start.command_line;
  EXPECT_EQ("1", start.variable("CCP_NUMCPUS"));
  EXPECT_EQ("converged\n", file_text(output_file("1", ".o")));
}

TEST_F(LauncherOnCluster, PlatformMpiMakesAndSubmitsAJobOfItsOwn) {
  given_variable("ORBEX_DONT_CACHE_PASSWORD", "1");
  given_variable("IBMMPI_ROOT", in_world("ibm"));
  given_tool("ibm\\bin\\mpirun.exe", "out converged\\n\n");
  const auto run = run_launcher(arguments_for("ibmmpi", ""));
  const auto output = unix_lines(run.output);
  EXPECT_TRUE(contains(output, "Created job, ID: 1\n")) << output;
  EXPECT_TRUE(contains(output, "Task 1.1 added.\nJob has been submitted. ID: 1.\n")) << output;
  EXPECT_TRUE(closes_with(output, "Job 1 is Finished.")) << output;
  EXPECT_EQ("converged\n", file_text(output_file("1", ".o")));
}

TEST_F(LauncherOnCluster, TakesTheHostsFromTheJobItRunsIn) {
  NEEDS_THE_STAND_IN();
  given_tool(mpiexec, "out converged\\n\n");
  for (const char *name : {"ZEPHON_PROD", "ZEPHON_ARCH"}) {
    given_cluster_variable(name + std::string("=") + (name[7] == 'P' ? "zephon" : "win64"));
  }
  given_cluster_variable("ZEPHON_PROD_DIR=" + in_world("prod"));
  given_cluster_variable("ZEPHON_INC=" + in_world("inc"));
  given_cluster_variable("CCP_HOME=C:\\ccp");
  const auto id = given_running_job("/numprocessors:6");
  job("add " + id + " /numprocessors:6 " + in_quotes(in_world("mpirun.exe")) +
      " --mpi=msmpi --np=2 --ccp -1 solver.exe");
  wait_for_task(id, 1, "Finished");

  const auto nodes = words_of(view_value(id, "Allocated nodes"));
  const auto command = only_start_of(mpiexec).command_line;
  EXPECT_TRUE(contains(command, " -hosts 2 " + nodes[0] + " 1 " + nodes[1] + " 1  ")) << command;
}

TEST_F(LauncherOnCluster, WritesTheMachineFileFromTheAllocatedNodes) {
  given_tool(mpiexec);
  given_variable("PATH", in_world("ms") + ";" + built_tool("head_node") + ";C:\\windows\\system32");
  given_variable("NP_PER_NODE", "2");
  given_variable("ZEPHON_HOSTS_FILE", in_world("machines"));
  given_box_left_alone();
  const auto run = run_launcher(arguments_for("msmpi"));
  const auto nodes = words_of(view_value("1", "Allocated nodes"));
  ASSERT_EQ(2U, nodes.size()) << run.output;
  EXPECT_EQ(nodes[0] + "\n" + nodes[0] + "\n" + nodes[1] + "\n" + nodes[1] + "\n",
            unix_lines(file_text("machines").value_or("")));
  EXPECT_TRUE(contains(only_start_of(mpiexec).command_line, " -job 1.1 -dir "));
}

// ---- Waiting for nodes ----------------------------------------------------------------------

TEST_F(LauncherOnCluster, WaitsForAsLongAsTheNodesAreTaken) {
  const auto all = given_running_job("/numnodes:8");
  given_tool(mpiexec);
  given_box_left_alone();
  auto run = start_launcher(arguments_for("msmpi"));
  wait_for_boxes(run, 1);
  EXPECT_EQ("Queued", wait_for_state("2", {"Queued"}));
  job("cancel " + all);
  wait_for_everything(run);
  EXPECT_EQ("2", only_start_of(mpiexec).variable("CCP_JOBID"));
  EXPECT_EQ("Finished", job_state("2"));
}

// ---- Many launchers -------------------------------------------------------------------------

// Each asks for two of the eight nodes, so half of them have to wait.
TEST_F(LauncherOnCluster, ManyAtOnceEachRunOnceAndHoldNoNodes) {
  constexpr std::size_t count = 8;
  constexpr DWORD longest_run = 600000;
  given_tool(mpiexec, "out converged\\n\n");
  std::vector<launch> runs;
  for (std::size_t run = 0; run < count; ++run) {
    runs.push_back(start_launcher(arguments_for("msmpi")));
  }
  // Their boxes are left alone, so nobody needs to look after them.
  for (auto &run : runs) {
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(run.process.get(), longest_run));
    wait_for_end(run);
    EXPECT_EQ(0U, run.status);
    EXPECT_TRUE(contains(run.output, " is Finished.")) << run.output;
  }
  std::set<std::string> jobs;
  for (const auto &start : starts_of(mpiexec)) {
    jobs.insert(start.variable("CCP_JOBID").value_or(""));
  }
  EXPECT_EQ(count, starts_of(mpiexec).size());
  EXPECT_EQ(count, jobs.size());
  for (const auto &id : jobs) {
    EXPECT_EQ("Finished", job_state(id)) << id;
  }
}

}  // namespace
