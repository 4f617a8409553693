// runner_test.cpp: tools that are run behind the command interpreter, seen through two
// of the launcher's commands: the job-exit command, whose output is read and dropped,
// and the question for a job's nodes, whose output --ptrace shows.

#include <gtest/gtest.h>
#include <windows.h>

#include "scenario_bench.h"
#include "scheduler_bench.h"

using namespace scenario;

namespace {

// A launch that ends with a command which is run and whose output is dropped.
launch run_with_exit_command(const std::string &command) {
  given_installed_release();
  given_file("prod\\netweave\\mpi_wrapper\\win64\\mpi_wrapper.dll");
  given_variable("ZEPHON_PROD", "lumis");
  given_variable("CANCEL_CCP_JOB_EXIT1", command);
  return run_launcher(given_solver());
}

// The line in front of all output of a traced command.
std::string trace_of(const std::string &command) {
  return "\r\ncmd = " + command + " (..\\src\\mpirun:4151)";
}

// A launch that asks the job tool for the nodes of job 5 and shows its answer.
// Gives back what the launcher said of it.
std::string answer_shown(const std::string &script) {
  given_installed_release();
  given_wrapper("msmpi");
  given_tool("hpc\\job.exe", script);
  given_variable("ZP_CCP_JOB_COMMAND", in_quotes(in_world("hpc\\job.exe")));
  given_variable("USE_CCP", "head");
  given_variable("CCP_JOB_ID", "5");
  given_variable("NP_PER_NODE", "1");
  given_variable("ZEPHON_HOSTS_FILE", in_world("hosts"));
  given_variable("MSMPI_HOME", in_world("ms"));
  given_variable("ZEPHON_CRED_CHECK", "no");
  given_tool("ms\\bin\\mpiexec.exe");
  const auto run = run_launcher("--ptrace --mpi=msmpi");
  EXPECT_EQ(0U, run.status) << run.errors;
  EXPECT_EQ("", run.errors);
  return run.output;
}

}  // namespace

TEST(CommandRunner, StartsTheInterpreterWithTheCommandAsItStands) {
  given_tool("tool.exe");
  run_with_exit_command("tool  with 'odd'  \"quoting\" & echo more");
  EXPECT_EQ("cmd.exe /c tool  with 'odd'  \"quoting\" & echo more",
            only_start_of("tool.exe").interpreter_line);
}

// Each of these breaks a command behind an interpreter that cuts its first quote off.
TEST(CommandRunner, MakesTheInterpreterLeaveQuotesAsTheyAre) {
  for (const std::string folder : {"my tools", "tools (x86)", "a & b", "a ^ b", "100%"}) {
    given_tool(folder + "\\job.exe");
    const auto command =
        in_quotes(in_world(folder + "\\job.exe")) + " submit /jobname:\"A  B\" /x:\"\"";
    run_with_exit_command(command);
    EXPECT_EQ("cmd.exe /c \"" + command + "\"",
              only_start_of(folder + "\\job.exe").interpreter_line);
    EXPECT_EQ(command, only_start_of(folder + "\\job.exe").command_line);
  }
}

class AwkwardFolder : public testing::TestWithParam<std::string> {};

TEST_P(AwkwardFolder, HasItsToolsOfAnMpiAsked) {
  given_installed_release();
  given_variable("ZEPHON_INC", in_world(GetParam()));
  given_file("hosts", "alpha:2\nbeta:2\n");
  given_variable("ZEPHON_HOSTS_FILE", "..\\hosts");
  const std::string mpis = GetParam() + "\\zephon1.2.3\\netweave\\mpi\\win64\\";
  given_tool(mpis + "intel\\bin\\smpd.exe", "out smpd up\\r\\n\n");
  given_tool(mpis + "intel\\bin\\mpiexec.exe", "out SUCCESS\\r\\n\n");
  given_tool(mpis + "ibmmpi\\bin\\mpirun.exe", "out Cached password is valid\\r\\n\n");
  for (const std::string mpi : {"intel", "ibmmpi"}) {
    given_wrapper(mpi);
    EXPECT_EQ(0U, run_launcher("--r1.2.3 --np=4 --mpi=" + mpi + " solver").status);
  }
  EXPECT_EQ(1U, starts_of(mpis + "intel\\bin\\smpd.exe").size());
  EXPECT_EQ(2U, starts_of(mpis + "intel\\bin\\mpiexec.exe").size());  // asked and launched
  EXPECT_EQ(2U, starts_of(mpis + "ibmmpi\\bin\\mpirun.exe").size());
}

TEST_P(AwkwardFolder, HasTheSchedulersToolAsked) {
  // The check is read by two interpreters, and the quotes protect from one.
  const bool checked = GetParam().find_first_of("&^") == std::string::npos;
  const std::string job = GetParam() + "\\job.exe";
  given_cluster("");
  given_tool(job, "out submitted\\r\\n\n");
  given_variable("ZP_CCP_JOB_COMMAND", in_quotes(in_world(job)));
  given_variable("ZEPHON_CRED_CHECK", checked ? "yes" : "no");
  given_variable("CCP_USER_FLAGS", "/env:\"A=b c\"");
  EXPECT_EQ(0U, run_launcher("--mpi=msmpi --np=4 solver").status);
  const auto starts = starts_of(job);
  ASSERT_EQ(checked ? 2U : 1U, starts.size());
  const std::string submits =
      in_quotes(in_world(job)) + " submit /scheduler:head /jobname:\"ORBEX ZEPHON";
  EXPECT_TRUE(starts.back().command_line.starts_with(submits + "\" "))
      << starts.back().command_line;
  EXPECT_EQ("cmd.exe /c \"" + command_of(starts.back()) + "\"", starts.back().interpreter_line);
  if (checked) {
    EXPECT_EQ(submits + " Credential Check\"  /env:\"A=b c\"  cmd.exe /C ver",
              starts[0].command_line);
    EXPECT_EQ("cmd.exe /c cmd.exe /c \"" + starts[0].command_line + "\"",
              starts[0].interpreter_line);
  }
}

INSTANTIATE_TEST_SUITE_P(Runner, AwkwardFolder,
                         testing::Values("my tools", "tools (x86)", "a & b", "a ^ b"));

TEST(ToolOutput, ShowsWhatWasWrittenToStandardErrorInItsPlace) {
  EXPECT_EQ("one\r\ntwo\r\nthree\r\n", answer_shown(R"(
when view
out one\n
err two\n
out three\n
)"));
}

TEST(ToolOutput, StandsBehindWhatTheLauncherSaidBefore) {
  given_joined_output();
  given_variable("ZEPHON_STARTUP_DEBUG", "1");
  const auto shown = answer_shown("when view\nout nodes\\n\n");
  const auto listenvs = trace_of("cluscfg listenvs /scheduler:head");
  const auto view =
      trace_of(in_quotes(in_world("hpc\\job.exe")) + " view 5 /scheduler:head") + "nodes\r\n";
  EXPECT_TRUE(shown.starts_with(listenvs + view)) << shown;
}
