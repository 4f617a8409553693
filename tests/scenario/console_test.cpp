// console_test.cpp: where each byte goes when the launcher, a program with a window, is
// started from a console, with streams of its own, with none, and where nobody sees it.
//
// Started by a shell in a console such a program gets no handles but those that were
// redirected; a scripted tool plays that shell here.

#include <gtest/gtest.h>
#include <windows.h>

#include "scenario_bench.h"

using namespace scenario;

namespace {

const std::string tools = mpi_folder("1.2.3", "intel") + "\\bin\\";

// Intel MPI that asks for a password in the console, and a solver that is waited for.
void given_intel_in_console() {
  given_release_without_blanks("intel");
  given_variable("ZEPHON_PROD", "lumis");
  given_no_variable("STDOUT_FLUSH");
  given_file("hosts", "alpha:2\nbeta:2\n");
  given_variable("ZEPHON_HOSTS_FILE", "..\\hosts");
  given_console_tool(tools + "smpd.exe", "out smpd up\\r\\n\n");
  given_console_tool(tools + "mpiexec.exe",
                     "when -validate\ntimes 1\nout FAIL\\r\\n\n"
                     "when -validate\nout SUCCESS\\r\\n\n"
                     "when -register\nout password:\\r\\n\nerr and again:\\r\\n\n"
                     "when\nout converged\\r\\n\nerr a warning\\r\\n\n");
}

const std::string intel_arguments = "--r1.2.3 --mpi=intel --np=4 solver";
const std::string launcher_and_tools =
    "\nChecking the status of SMPD for INTEL MPI on the local machine ... smpd up\n";
const std::string question = "password:\nand again:\n";
const std::string registered = "\nUser password encrypted into the Registry.\n";
const std::string solver = "converged\na warning\n";

struct seen {
  std::string console;  // without the line of the cursor
  std::string file;     // the redirected streams
};

// Starts the launcher as a shell does, with some of its streams in a file.
seen run_from_console(const std::string &streams, const std::string &arguments) {
  given_console_tool("shell.exe", "run_as_window " + streams + " \"" + in_world("mpirun.exe") +
                                      "\" " + arguments + "\nmake_file ended\nwait_file read\n");
  auto shell = start_in_console("shell.exe", "shell.exe");
  wait_for_file(shell, "ended");
  seen all;
  all.console = console_text(shell);
  all.console.resize(all.console.size() - 1);
  given_file("read");
  wait_for_everything(shell);
  auto text = file_text("streams.txt").value_or("");
  for (std::size_t at; (at = text.find('\r')) != std::string::npos;) {
    text.erase(at, 1);
  }
  all.file = text;
  return all;
}

}  // namespace

TEST(Console, ShowsAllThatIsNotRedirected) {
  given_intel_in_console();
  const auto all = run_from_console("none", intel_arguments);
  EXPECT_EQ(launcher_and_tools + question + registered + solver, all.console);
  EXPECT_EQ("", all.file);
}

TEST(Console, ShowsTheOtherStreamWhenOneIsRedirected) {
  given_intel_in_console();
  const auto all = run_from_console("output", intel_arguments);
  EXPECT_EQ("and again:\na warning\n", all.console);
  EXPECT_EQ(launcher_and_tools + "password:\n" + registered + "converged\n", all.file);
}

TEST(Console, GetsNothingWhenBothStreamsAreRedirected) {
  given_intel_in_console();
  const auto all = run_from_console("both", intel_arguments);
  EXPECT_EQ("", all.console);
  EXPECT_EQ(launcher_and_tools + question + registered + solver, all.file);
}

TEST(Console, LetsCtrlCEndTheSolverAndTheReportBeWritten) {
  given_installed_release();
  given_no_variable("STDOUT_FLUSH");
  given_console_tool("solver.exe", "make_file started\nwait_file never\n");
  given_console_tool("shell.exe", "outlive_ctrl_c\nrun_as_window none \"" + in_world("mpirun.exe") +
                                      "\" --mpi=net -wait --o times.txt ..\\solver.exe\n");
  auto shell = start_in_console("shell.exe", "shell.exe");
  wait_for_file(shell, "started");
  wait_a_moment(shell);
  press_ctrl_c(shell);
  wait_for_everything(shell);
  EXPECT_EQ(std::nullopt, only_start_of("solver.exe").code);  // it did not come to its end
  EXPECT_TRUE(file_text("work\\times.txt").value_or("").starts_with("Start: "));
  EXPECT_EQ(0U, shell.status);
}

TEST(HiddenWindowStation, HasItsMessagesOnStandardOutput) {
  given_installed_release();
  given_hidden_window_station();
  const auto run = run_launcher("--mpi=net no_such_program");
  EXPECT_EQ(255U, run.status);
  EXPECT_TRUE(run.boxes.empty());
  EXPECT_EQ(text_mode("Unable to execute (null) no_such_program\n") +
                windows_message(ERROR_FILE_NOT_FOUND),
            run.output);
}

TEST(HiddenWindowStation, AnswersAQuestionAtOnce) {
  given_installed_release();
  given_hidden_window_station();
  const auto run = run_launcher("--mpi=net " + given_solver() + " --ccp");
  EXPECT_EQ(0U, run.status);
  EXPECT_EQ(text_mode("The computer cluster head node is not provided.\n"
                      "Do you want to use the local host as the head node?\n"
                      "Zephon could not be started.\n"),
            run.output);
  EXPECT_TRUE(starts_of("solver.exe").empty());
}
