// launch_test.cpp: what only a real process shows of the start of the solver: its handles,
// the wait for it, the timing file, and what is told to others.

#include <gtest/gtest.h>
#include <windows.h>

#include <cstdint>
#include <regex>

#include "scenario_bench.h"

using namespace scenario;

namespace {

// The solver ends only when it is let: a launcher that waits for it is there as long.
void expect_to_wait(const std::string &options = "") {
  auto run = start_launcher("--mpi=net " + given_solver("wait_file go\n") + " " + options);
  wait_for_starts(run, "solver.exe", 1);
  wait_a_moment(run);
  EXPECT_TRUE(is_running(run));
  given_file("go");
  wait_for_end(run);
  EXPECT_EQ(0U, run.status);
  EXPECT_TRUE(only_start_of("solver.exe").code);
}

launch run_solver(const std::string &script, const std::string &options = "") {
  return run_launcher("--mpi=net " + given_solver(script) + " " + options);
}

owned_handle inheritable_event() {
  SECURITY_ATTRIBUTES inheritable = {sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
  return owned_handle(CreateEventA(&inheritable, TRUE, FALSE, nullptr));
}

owned_handle inheritable_block() {
  SECURITY_ATTRIBUTES inheritable = {sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
  return owned_handle(
      CreateFileMappingA(INVALID_HANDLE_VALUE, &inheritable, PAGE_READWRITE, 0, 8, nullptr));
}

std::string number_of(const owned_handle &handle) {
  return std::to_string(reinterpret_cast<std::uintptr_t>(handle.get()));
}

// The first number in a shared memory block.
std::uint32_t first_number(const owned_handle &block) {
  void *const view = MapViewOfFile(block.get(), FILE_MAP_READ, 0, 0, 0);
  const auto number = *static_cast<std::uint32_t *>(view);
  UnmapViewOfFile(view);
  return number;
}

const std::string date = "[A-Z][a-z]{2} [A-Z][a-z]{2} [ 0-9]\\d \\d\\d:\\d\\d:\\d\\d \\d{4}\r\n";
const std::regex report("Start: " + date + "End:   " + date +
                        "Elapsed Time: \\d+\\.00 sec\r\nCPU Time:     \\d+\\.\\d\\d sec\r\n");

bool is_report(const std::optional<std::string> &text) {
  return text && std::regex_match(*text, report);
}

}  // namespace

// ---- Whether the launcher waits -----------------------------------------------------------
//
// For a sibling program, and not for the solver: fault_calls.cpp.

TEST(Waiting, IsForTheSolverInWaitMode) {
  given_installed_release();
  expect_to_wait("-wait");
}

TEST(Waiting, IsForTheSolverInsideAJob) {
  given_installed_release();
  given_variable("CCP_CLUSTER_NAME", "cluster");
  given_variable("CCP_NODES", "1 a 4");
  given_variable("ZEPHON_HOSTS_FILE", "hosts");
  expect_to_wait();
}

// ---- What the solver gets -----------------------------------------------------------------

TEST(SolverStart, GivesOutputAndErrorAndNoInputAndHidesTheWindow) {
  given_installed_release();
  run_solver("");
  const auto start = only_start_of("solver.exe");
  EXPECT_EQ(0x101U, start.startup_flags);
  EXPECT_EQ(0U, start.show_window);
  EXPECT_EQ("none", start.input);
  EXPECT_EQ("pipe", start.output);
  EXPECT_EQ("pipe", start.error);
}

TEST(SolverStart, LeavesHandlesAndWindowAloneWithoutStdoutFlush) {
  given_installed_release();
  given_no_variable("STDOUT_FLUSH");
  EXPECT_EQ(0U, run_solver("").status);
  EXPECT_EQ(0U, only_start_of("solver.exe").startup_flags);
}

TEST(SolverStart, HappensInTheCurrentFolder) {
  given_installed_release();
  given_current_folder("a case");
  run_solver("");
  EXPECT_EQ(in_world("a case"), only_start_of("solver.exe").directory);
}

TEST(SolverStart, NeedsNoStandardHandles) {
  given_installed_release();
  given_no_standard_handles();
  given_variable("ZEPHON_PROD", "lumis");
  EXPECT_EQ(0U, run_solver("out nobody hears this\n").status);
  EXPECT_EQ(0U, only_start_of("solver.exe").code);
}

// ---- The program that started the launcher ------------------------------------------------

TEST(ZephonChild, IsToldBeforeTheSolverEnds) {
  given_installed_release();
  given_variable("ZEPHON_PROD", "lumis");
  const auto block = inheritable_block();
  given_inherited_handle(block.get());
  given_variable("ZEPHON_CHILD", number_of(block));
  auto run = start_launcher("--mpi=net " + given_solver("wait_file go\n"));
  wait_for_starts(run, "solver.exe", 1);
  for (int tries = 0; first_number(block) == 0 && tries < 100; ++tries) {
    wait_a_moment(run);
  }
  EXPECT_EQ(only_start_of("solver.exe").process, first_number(block));
  given_file("go");
  wait_for_everything(run);
}

TEST(ZephonChild, IsIgnoredWhenItIsNoHandle) {
  given_installed_release();
  for (const auto *const value : {"no number", "0", "-1", "999996", "99999999999999999999999"}) {
    given_variable("ZEPHON_CHILD", value);
    EXPECT_EQ(0U, run_solver("").status) << value;
  }
  EXPECT_EQ(5U, starts_of("solver.exe").size());
}

TEST(ZephonChild, IsIgnoredWhenItIsNoBlock) {
  given_installed_release();
  const auto event = inheritable_event();
  given_inherited_handle(event.get());
  given_variable("ZEPHON_CHILD", number_of(event));
  EXPECT_EQ(0U, run_solver("").status);
  EXPECT_EQ(1U, starts_of("solver.exe").size());
}

// ---- The timing file ----------------------------------------------------------------------

TEST(TimingFile, HoldsFourLinesInThePlaceOfAnEarlierOne) {
  given_installed_release();
  given_file("work\\times.txt", std::string(5000, 'x'));
  run_solver("", "--o times.txt");
  EXPECT_TRUE(is_report(file_text("work\\times.txt")));
}

// ---- The job-exit command -----------------------------------------------------------------

TEST(JobExitCommand, IsRunAfterTheSolverWithoutAnMpiRun) {
  given_installed_release();
  given_variable("ZEPHON_PROD", "lumis");
  given_file("prod\\netweave\\mpi_wrapper\\win64\\mpi_wrapper.dll");
  given_tool("job.exe");
  given_variable("CANCEL_CCP_JOB_EXIT1", "job modify 5");
  EXPECT_EQ(0U, run_launcher(given_solver("pause 30\n")).status);
  EXPECT_EQ("cmd.exe /c job modify 5", only_start_of("job.exe").interpreter_line);
  EXPECT_GE(only_start_of("job.exe").time, only_start_of("solver.exe").end_time);
}

// ---- What Windows is asked too much of ----------------------------------------------------

TEST(TooMuch, ALineThatIsTooLongIsReported) {
  given_installed_release();
  given_mpich();
  given_variable("RSH_USER", "someone");
  given_variable("ZEPHON_HOSTS_FILE", std::string(20000, 'h'));
  const std::string argument(20000, 'a');
  const auto run = run_launcher("--mpi=mpich " + argument);
  EXPECT_EQ(255U, run.status);
  EXPECT_TRUE(run.output.starts_with("Unable to execute (null) ")) << run.output.substr(0, 100);
  EXPECT_NE(std::string::npos, run.output.find(argument));
  EXPECT_TRUE(starts_of("mpich\\bin\\mpirun.exe").empty());
}

TEST(TooMuch, AProgramWithALongNameIsReportedInABox) {
  given_installed_release();
  given_box_answer(ok_button);
  const std::string name(30000, 'p');
  const auto run = run_launcher("--mpi=net " + name);
  EXPECT_EQ(255U, run.status);
  ASSERT_EQ(1U, run.boxes.size());
  EXPECT_NE(std::string::npos, run.boxes[0].text.find(name));
}
