// launch_test.cpp: the start of the solver: its handles, the wait for it, the timing
// file, what is told to others, and what happens when it cannot be started.

#include <gtest/gtest.h>
#include <windows.h>

#include <cstdint>
#include <regex>

#include "scenario_bench.h"

using namespace scenario;

namespace {

launch start_with_held_solver(const std::string &options) {
  auto run = start_launcher("--mpi=net " + given_solver("wait_file go\n") + " " + options);
  wait_for_starts(run, "solver.exe", 1);
  return run;
}

// The solver ends only when it is let: a launcher that waits for it is there as long.
void expect_to_wait(const std::string &options = "") {
  auto run = start_with_held_solver(options);
  wait_a_moment(run);
  EXPECT_TRUE(is_running(run));
  given_file("go");
  wait_for_end(run);
  EXPECT_EQ(0U, run.status);
  EXPECT_TRUE(only_start_of("solver.exe").code);
}

void expect_not_to_wait() {
  auto run = start_with_held_solver("");
  wait_for_end(run);
  EXPECT_EQ(0U, run.status);
  EXPECT_FALSE(only_start_of("solver.exe").code);
  given_file("go");
  wait_for_everything(run);
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

// Windows' words have a line end of their own, which text mode lengthens once more.
std::string unable(const std::string &command, unsigned long error) {
  return "Unable to execute (null) " + command + "\r\n" + text_mode(windows_message(error)) +
         "\r\n\r\n";
}

}  // namespace

// ---- Whether the launcher waits -----------------------------------------------------------

TEST(Waiting, IsNotForTheSolver) {
  given_installed_release();
  expect_not_to_wait();
}

TEST(Waiting, IsForTheSolverInWaitMode) {
  given_installed_release();
  expect_to_wait("-wait");
}

TEST(Waiting, IsForTheSolverWithATimingFile) {
  given_installed_release();
  expect_to_wait("--o times.txt");
}

TEST(Waiting, IsForTheSolverWithAnAbsentTimingFile) {
  given_installed_release();
  expect_to_wait("--o");
}

TEST(Waiting, IsForTheSolverInsideAJob) {
  given_installed_release();
  given_variable("CCP_CLUSTER_NAME", "cluster");
  given_variable("CCP_NODES", "1 a 4");
  given_variable("ZEPHON_HOSTS_FILE", "hosts");
  expect_to_wait();
}

TEST(Waiting, IsForASiblingProgram) {
  given_installed_release();
  given_variable("ZEPHON_PROD", "lumis");
  expect_to_wait();
}

TEST(Waiting, IsForTessaToo) {
  given_installed_release();
  given_variable("ZEPHON_PROD", "tessa");
  expect_to_wait();
}

TEST(Waiting, IsForAProgramWhoseNameOnlyBeginsLikeTheSolvers) {
  given_installed_release();
  given_variable("ZEPHON_PROD", "zephon2");
  expect_to_wait();
}

TEST(Waiting, IsForAProgramWithoutAName) {
  given_installed_release();
  given_no_variable("ZEPHON_PROD");
  expect_to_wait();
}

// ---- What the solver gets -----------------------------------------------------------------

TEST(SolverStart, HandsOnBothStreams) {
  given_installed_release();
  const auto run = run_solver("out residual 1e-3\\n\nerr a warning\\n\n");
  EXPECT_EQ("residual 1e-3\n", run.output);
  EXPECT_EQ("a warning\n", run.errors);
}

TEST(SolverStart, HandsOnABigOutputByteForByte) {
  given_installed_release();
  std::string bytes;
  for (int code = 0; code < 256; ++code) {
    bytes += static_cast<char>(code);
  }
  const auto run = run_solver("repeat 8192 " + escape(bytes) + "\n");
  ASSERT_EQ(8192U * 256U, run.output.size());
  EXPECT_TRUE(run.output.ends_with(bytes + bytes));
}

TEST(SolverStart, GivesOutputAndErrorAndNoInput) {
  given_installed_release();
  run_solver("");
  const auto start = only_start_of("solver.exe");
  EXPECT_EQ("none", start.input);
  EXPECT_EQ("pipe", start.output);
  EXPECT_EQ("pipe", start.error);
}

TEST(SolverStart, HidesTheWindowWhenTheOutputIsHandedOn) {
  given_installed_release();
  run_solver("");
  EXPECT_EQ(0x101U, only_start_of("solver.exe").startup_flags);
  EXPECT_EQ(0U, only_start_of("solver.exe").show_window);
}

TEST(SolverStart, LeavesHandlesAndWindowAloneWithoutStdoutFlush) {
  given_installed_release();
  given_no_variable("STDOUT_FLUSH");
  EXPECT_EQ(0U, run_solver("").status);
  EXPECT_EQ(0U, only_start_of("solver.exe").startup_flags);
}

TEST(SolverStart, TakesOnlyAOneAsStdoutFlush) {
  given_installed_release();
  given_variable("STDOUT_FLUSH", "01");
  run_solver("");
  EXPECT_EQ(0U, only_start_of("solver.exe").startup_flags);
}

TEST(SolverStart, InheritsWhatTheLauncherInherited) {
  given_installed_release();
  std::vector<owned_handle> many;  // so that the number is one a program has not by itself
  for (int count = 0; count < 1000; ++count) {
    many.push_back(inheritable_event());
  }
  given_inherited_handle(many.back().get());
  const auto number = number_of(many.back());
  run_solver("handle " + number + "\n");
  EXPECT_EQ((std::vector<std::pair<std::string, std::string>>{{number, "other"}}),
            only_start_of("solver.exe").handles);
}

TEST(SolverStart, HappensInTheCurrentFolder) {
  given_installed_release();
  given_current_folder("a case");
  run_solver("");
  EXPECT_EQ(in_world("a case"), only_start_of("solver.exe").directory);
}

TEST(SolverStart, HandsOnTheEnvironment) {
  given_installed_release();
  given_variable("SOLVER_LICENSE", "27000@server");
  run_solver("");
  const auto start = only_start_of("solver.exe");
  EXPECT_EQ("27000@server", start.variable("SOLVER_LICENSE"));
  EXPECT_EQ("win64", start.variable("ZEPHON_ARCH"));
}

TEST(SolverStart, NeedsNoStandardHandles) {
  given_installed_release();
  given_no_standard_handles();
  given_variable("ZEPHON_PROD", "lumis");
  EXPECT_EQ(0U, run_solver("out nobody hears this\n").status);
  EXPECT_EQ(0U, only_start_of("solver.exe").code);
}

TEST(SolverStart, HappensHereWithAHeadNodeAndAHostFile) {
  given_installed_release();
  given_variable("USE_CCP", "head");
  given_variable("ZEPHON_HOSTS_FILE", "hosts");
  run_solver("");
  EXPECT_EQ(in_quotes(in_world("solver.exe")), only_start_of("solver.exe").command_line);
}

// ---- The program that started the launcher ------------------------------------------------

TEST(ZephonChild, IsToldTheSolversProcess) {
  given_installed_release();
  const auto block = inheritable_block();
  given_inherited_handle(block.get());
  given_variable("ZEPHON_CHILD", number_of(block));
  EXPECT_EQ(0U, run_solver("").status);
  EXPECT_EQ(only_start_of("solver.exe").process, first_number(block));
}

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

TEST(TimingFile, HoldsFourLinesForASibling) {
  given_installed_release();
  given_variable("ZEPHON_PROD", "lumis");
  EXPECT_EQ(0U, run_solver("", "--o times.txt").status);
  EXPECT_TRUE(is_report(file_text("work\\times.txt"))) << *file_text("work\\times.txt");
}

TEST(TimingFile, IsWrittenForTheSolverToo) {
  given_installed_release();
  run_solver("", "--o \"" + in_world("temp\\my times.txt") + "\"");
  EXPECT_TRUE(is_report(file_text("temp\\my times.txt")));
}

TEST(TimingFile, ReplacesAnEarlierOne) {
  given_installed_release();
  given_file("work\\times.txt", std::string(5000, 'x'));
  run_solver("", "--o times.txt");
  EXPECT_TRUE(is_report(file_text("work\\times.txt")));
}

TEST(TimingFile, IsTheLastOneNamed) {
  given_installed_release();
  run_solver("", "--o one.txt --o two.txt");
  EXPECT_FALSE(file_text("work\\one.txt"));
  EXPECT_TRUE(is_report(file_text("work\\two.txt")));
}

TEST(TimingFile, TakesTheNextArgumentWhateverItIs) {
  given_installed_release();
  run_solver("", "--o --debugmpi");
  EXPECT_TRUE(is_report(file_text("work\\--debugmpi")));
  EXPECT_EQ(std::nullopt, only_start_of("solver.exe").variable("MPI_DEBUG"));
}

TEST(TimingFile, IsLeftOutInAFolderThatIsNotThere) {
  given_installed_release();
  const auto run = run_solver("", "--o no\\such\\folder\\times.txt");
  EXPECT_EQ(0U, run.status);
  EXPECT_EQ("", run.output + run.errors);
}

TEST(TimingFile, IsLeftOutWhenItsNameIsThatOfAFolder) {
  given_installed_release();
  given_folder("work\\times.txt");
  const auto run = run_solver("", "--o times.txt");
  EXPECT_EQ(0U, run.status);
  EXPECT_EQ("", run.output + run.errors);
}

TEST(TimingFile, IsNotWrittenWhenNothingCouldBeStarted) {
  given_installed_release();
  given_variable("RSH_USER", "someone");
  EXPECT_EQ(255U, run_launcher("--mpi=net no_such_program --o times.txt").status);
  EXPECT_FALSE(file_text("work\\times.txt"));
}

// ---- A command that cannot be started -----------------------------------------------------

TEST(FailedStart, EndsWith255AndWindowsOwnWordsInABox) {
  given_installed_release();
  given_box_answer(ok_button);
  const auto run = run_launcher("--mpi=net no_such_program a.jou");
  EXPECT_EQ(255U, run.status);
  EXPECT_EQ("", run.output + run.errors);
  ASSERT_EQ(1U, run.boxes.size());
  EXPECT_EQ("zephon", run.boxes[0].caption);
  EXPECT_EQ("Unable to execute (null) no_such_program a.jou\n" +
                windows_message(ERROR_FILE_NOT_FOUND) + "\n",
            run.boxes[0].text);
}

TEST(FailedStart, IsPrintedInARemoteShell) {
  given_installed_release();
  given_variable("RSH_USER", "someone");
  const auto run = run_launcher("--mpi=net no_such_program a.jou");
  EXPECT_EQ(255U, run.status);
  EXPECT_EQ(unable("no_such_program a.jou", ERROR_FILE_NOT_FOUND), run.output);
}

TEST(FailedStart, NamesWhatIsNoProgram) {
  given_installed_release();
  given_variable("RSH_USER", "someone");
  given_file("solver.exe", "this is no program");
  const auto run = run_launcher("--mpi=net " + in_quotes(in_world("solver.exe")));
  EXPECT_EQ(255U, run.status);
  EXPECT_EQ(unable(in_quotes(in_world("solver.exe")), ERROR_BAD_EXE_FORMAT), run.output);
}

TEST(FailedStart, NeverReadsACommandAsAFormat) {
  given_installed_release();
  given_variable("RSH_USER", "someone");
  const auto run = run_launcher("--mpi=net no_such_program %s%n%d");
  EXPECT_EQ(unable("no_such_program %s%n%d", ERROR_FILE_NOT_FOUND), run.output);
}

TEST(FailedStart, RunsNoJobExitCommand) {
  given_installed_release();
  given_variable("RSH_USER", "someone");
  given_file("prod\\netweave\\mpi_wrapper\\win64\\mpi_wrapper.dll");
  given_tool("job.exe");
  given_variable("CANCEL_CCP_JOB_EXIT1", "job modify");
  EXPECT_EQ(255U, run_launcher("no_such_program").status);
  EXPECT_TRUE(starts_of("job.exe").empty());
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
