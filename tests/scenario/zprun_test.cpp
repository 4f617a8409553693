// zprun_test.cpp: Ctrl-C, Ctrl-Break and the end of the console while zprun runs the
// solver or follows a job. What it starts without these is rows of tests/cases.

#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>
#include <filesystem>

#include "scenario_bench.h"

using namespace scenario;

namespace {

const std::string solver = "inc\\zephon1.2.3\\ntbin\\win64\\zephon.exe";

// Starts zprun in a console; `event` happens there when the file exists.
launch start_front(const std::string &event, const std::string &file,
                   const std::string &arguments) {
  given_variable("ZEPHON_INC", in_world("inc"));
  std::filesystem::copy_file(built_front(), in_world("zprun.exe"));
  std::filesystem::copy_file(built_tool("press_ctrl_c\\press_ctrl_c.exe"),
                             in_world("press_ctrl_c.exe"));
  return start_program("press_ctrl_c.exe",
                       "press_ctrl_c.exe " + event + "..\\" + file + " ..\\zprun.exe " + arguments);
}

// A solver that runs until it is ended.
void given_solver_that_goes_on() {
  given_tool(solver, "ignore_ctrl_c\nmake_file " + in_world("up") + "\nwait_file " +
                         in_world("never") + "\n");
}

// zprun follows a job that runs until it is cancelled.
launch start_on_cluster(const std::string &event) {
  given_tool(solver);
  given_file("inc\\zephon1.2.3\\netweave\\mpi_wrapper\\win64\\msmpi\\mpi_wrapper.dll");
  given_tool("inc\\zephon1.2.3\\netweave\\mpi\\win64\\ms\\bin\\mpiexec.exe");
  given_tool("job.exe",
             "when submit\nout Job has been submitted. ID: 7.\\r\\n\n"
             "when cancel\n"
             "when view\ntimes 2\nmake_file asked\nout State : Running\\r\\n\n"
             "when view\nout State : Canceled\\r\\n\n");
  given_tool("cluscfg.exe");
  given_variable("PATH", in_world("") + ";C:\\windows\\system32;C:\\windows");
  return start_front(event, "asked", "-mpi=msmpi -t2 -ccp head -cred_check=no a.case");
}

std::ptrdiff_t cancellations() {
  const auto lines = lines_of("job.exe");
  return std::count_if(lines.begin(), lines.end(), [](const std::string &line) {
    return line.find("cancel 7") != std::string::npos;
  });
}

bool cannot_be_pressed(launch &run) {
  wait_for_end(run);
  return run.status == 96;
}

class EventScenario : public testing::TestWithParam<const char *> {};

}  // namespace

TEST_P(EventScenario, EndsTheSolverThatDoesNotHeedIt) {
  given_solver_that_goes_on();
  auto run = start_front(GetParam(), "up", "a.case");
  if (cannot_be_pressed(run)) {
    GTEST_SKIP() << "this system presses no Ctrl-Break";
  }
  wait_for_everything(run);
  EXPECT_EQ(130U, run.status);
  EXPECT_NE(std::string::npos, run.errors.find("zprun: stopping the run.")) << run.errors;
}

TEST_P(EventScenario, CancelsTheJobOnce) {
  auto run = start_on_cluster(GetParam());
  if (cannot_be_pressed(run)) {
    GTEST_SKIP() << "this system presses no Ctrl-Break";
  }
  wait_for_everything(run);
  EXPECT_EQ(130U, run.status);
  EXPECT_EQ(1, cancellations()) << run.errors;
}

INSTANTIATE_TEST_SUITE_P(Pressed, EventScenario, testing::Values("", "break "));

TEST(FrontScenario, EndsEverythingAtOnceWhenCtrlCComesAgain) {
  given_solver_that_goes_on();
  auto run = start_front("twice ", "up", "-record run.json a.case");
  wait_for_file(run, "up.pressed");
  given_file("up.again");
  wait_for_everything(run);
  EXPECT_EQ(130U, run.status);
  EXPECT_NE(std::string::npos, file_text("work\\run.json").value_or("").find("\"status\": 130"));
}

TEST(FrontScenario, EndsTheSolverWithItsConsole) {
  given_solver_that_goes_on();
  auto run = start_front("close ", "up", "-record run.json a.case");
  if (cannot_be_pressed(run) || !file_text("up.pressed")) {
    GTEST_SKIP() << "this system does not tell programs that their console is closed";
  }
  wait_for_everything(run);
  EXPECT_NE(std::string::npos, file_text("work\\run.json").value_or("").find("\"status\": 130"));
}

TEST(FrontScenario, CancelsTheJobWithItsConsole) {
  auto run = start_on_cluster("close ");
  if (cannot_be_pressed(run) || !file_text("asked.pressed")) {
    GTEST_SKIP() << "this system does not tell programs that their console is closed";
  }
  wait_for_everything(run);
  EXPECT_EQ(1, cancellations()) << run.errors;
}
