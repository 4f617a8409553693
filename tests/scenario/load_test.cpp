// load_test.cpp: very many launchers at once, with the same host file and the same
// folder for temporary files; and what one of them needs of the machine's memory.

#include <gtest/gtest.h>
#include <windows.h>

#include <psapi.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <functional>

#include "scenario_bench.h"
#include "support/open_things.h"

using namespace scenario;

namespace {

const std::string mpirun = "mpi\\bin\\mpirun.exe";

// A variable of the environment asks for another number.
int number_or(const char *name, int otherwise) {
  const char *const asked = std::getenv(name);
  return asked != nullptr ? std::atoi(asked) : otherwise;
}

// Each has a process count of its own, so that no other's file can pass for its own.
int processes_of(int number) {
  return 1000 + number;
}

// The log of the MPI that this launcher starts: the tool's own for all would be read
// and written by all.
std::string log_of(int number) {
  return "logs\\" + std::to_string(number) + ".exe";
}

std::string host_file_of(const launch &run) {
  return in_world("temp\\zphost-") + std::to_string(GetProcessId(run.process.get())) + ".txt";
}

// So many processes on three hosts; the first ones take what is left over.
std::string hosts_of(int processes) {
  const auto count = [&](int host) {
    return std::to_string(processes / 3 + (host < processes % 3 ? 1 : 0));
  };
  return "alpha:" + count(0) + "\r\nbeta:" + count(1) + "\r\ngamma:" + count(2) + "\r\n";
}

std::string command_line_of(const launch &run, int processes) {
  return R"("..\mpi\bin\mpirun.exe" -prot -e MPI_ROOT="..\mpi"  -hostfile )" +
         in_quotes(host_file_of(run)) + "  -np " + std::to_string(processes) +
         R"(  -e PATH="..\inc\ntbin\win64;..\prod\netweave\mpi_wrapper\win64\ibmmpi" -e MPI_WORKDIR="..\inc" -e ZEPHON_PROD_DIR="..\prod"  solver)";
}

void given_platform_mpi() {
  given_own_platform_mpi();
  given_file("hosts", "alpha\nbeta\ngamma\n");
  given_variable("ZEPHON_HOSTS_FILE", "..\\hosts");
  given_folder("logs");
}

}  // namespace

// LOAD_LAUNCHERS asks for another number than 200.
TEST(Load, LaunchersAtOnceKeepApart) {
  const int launchers = number_or("LOAD_LAUNCHERS", 200);
  given_time_limit(3000000);  // nothing here depends on the machine's speed
  given_platform_mpi();
  std::vector<launch> runs;
  for (int number = 0; number < launchers; ++number) {
    given_variable("SCRIPTED_TOOL_LOG", in_world("logs\\" + std::to_string(number) + ".log"));
    runs.push_back(
        start_launcher("--mpi=ibmmpi --np=" + std::to_string(processes_of(number)) + " solver"));
  }
  for (auto &run : runs) {
    wait_for_end(run);
  }
  wait_for_everything(runs.back());

  // Each launcher's process is held here, so Windows gives no number twice.
  for (int number = 0; number < launchers; ++number) {
    const auto &run = runs[static_cast<std::size_t>(number)];
    EXPECT_EQ(0U, run.status);
    EXPECT_EQ("", run.errors);
    EXPECT_EQ(text_mode("\n***\n*** User defined: IBMMPI_ROOT=..\\mpi\n***\n"), run.output);
    const auto start = only_start_of(log_of(number));
    EXPECT_EQ(command_line_of(run, processes_of(number)), start.command_line);
    EXPECT_EQ(host_file_of(run), start.variable("ZEPHON_HOSTS_FILE"));
    EXPECT_EQ(hosts_of(processes_of(number)), file_text(host_file_of(run)));
  }
  // The host files stay behind, one for each launcher, and nothing else.
  const std::filesystem::directory_iterator temp(in_world("temp"));
  EXPECT_EQ(launchers, std::distance(begin(temp), end(temp)));
  EXPECT_EQ("alpha\nbeta\ngamma\n", file_text("hosts"));
}

// ---- Memory -------------------------------------------------------------------------------

namespace {

constexpr std::size_t most_memory = std::size_t{64} << 20;

// The most that the launcher had of the machine's memory at once until now. Wine does
// not tell it of one that has ended.
std::size_t peak_memory(const launch &run) {
  PROCESS_MEMORY_COUNTERS counters = {};
  EXPECT_TRUE(K32GetProcessMemoryInfo(run.process.get(), &counters, sizeof counters));
  EXPECT_GT(counters.PeakWorkingSetSize, 0U);
  return counters.PeakWorkingSetSize;
}

}  // namespace

TEST(Memory, OfAHundredThousandHostsIsSmall) {
  constexpr int hosts = 100'000;
  given_time_limit(600000);
  given_platform_mpi();
  std::string names;
  for (int host = 0; host < hosts; ++host) {
    names += "node" + std::to_string(host) + "\n";
  }
  given_file("hosts", names);
  given_tool(mpirun, "wait_file go\n");
  auto run = start_launcher("--mpi=ibmmpi --np=" + std::to_string(2 * hosts) + " -wait solver");
  wait_for_starts(run, mpirun, 1);
  EXPECT_LT(peak_memory(run), most_memory);
  given_file("mpi\\bin\\go");
  wait_for_everything(run);
  EXPECT_EQ(0U, run.status);
  const std::string written = file_text(host_file_of(run)).value_or("");
  EXPECT_EQ(hosts, std::count(written.begin(), written.end(), '\n'));
  EXPECT_TRUE(written.ends_with("node99999:2\r\n"));
}

// The tool prints more than may be kept. LOAD_MEGABYTES asks for another amount.
TEST(Memory, OfATalkativeToolIsSmall) {
  const int megabytes = number_or("LOAD_MEGABYTES", 160);
  given_time_limit(600000);
  given_release_without_blanks("net");
  given_tool("own\\bin\\smpd.exe", "when\nrepeat " + std::to_string(megabytes * 1024) + " " +
                                       std::string(1022, 'x') +
                                       "\\r\\n\nout the last line\\r\\n\n");
  given_box_left_alone();  // it goes away by itself
  auto run = start_launcher("--install_smpd ..\\own");
  wait_for_boxes(run, 1);
  EXPECT_LT(peak_memory(run), most_memory);
  wait_for_everything(run);
  EXPECT_EQ(0U, run.status);
  EXPECT_TRUE(run.boxes[0].text.ends_with("\nthe last line\n")) << run.boxes[0].text.size();
}

// ---- One after the other ------------------------------------------------------------------

namespace {

// Launches that leave the solver, wait for it, are refused, follow a job, or only tell.
std::vector<std::function<launch()>> kinds_of_launches() {
  const std::string solver = given_solver("out iteration\\r\\n\nexit 3\n");
  given_tool("job.exe",
             "when submit\nout Job has been submitted. ID: 7.\\r\\n\n"
             "when view\nout State : Finished\\r\\n\n");
  given_tool("cluscfg.exe");
  given_tool("inc\\zephon1.2.3\\ntbin\\win64\\zephon.exe", "out iteration\\r\\n\nexit 3\n");
  given_wrapper("msmpi");
  given_variable("ZEPHON_CRED_CHECK", "no");
  std::vector<std::function<launch()>> kinds;
  for (const std::string &arguments : std::vector<std::string>{
           "--mpi=net " + solver, "--mpi=ibmmpi --np=5 -wait " + solver,
           "--mpi=ibmmpi --np=5 " + solver, "--mpi=ibmmpi --np=5 --cnf=..\\missing " + solver}) {
    kinds.emplace_back([arguments] { return run_launcher(arguments); });
  }
  kinds.emplace_back([solver] {
    given_no_variable("ZEPHON_HOSTS_FILE");  // with one it is no job
    auto run = run_launcher("--mpi=msmpi --np=5 --ccp head " + solver);
    given_variable("ZEPHON_HOSTS_FILE", "..\\hosts");
    return run;
  });
  for (const char *arguments : {"-r1.2.3 x", "-r1.2.3 -nowait x", "-r1.2.3 -check x", "-wiat"}) {
    kinds.emplace_back([arguments] { return run_front(arguments); });
  }
  return kinds;
}

}  // namespace

// The last launch is like the first, and nothing gathers. LOAD_LAUNCHES asks for
// another number of them.
TEST(LongRun, LaunchesInARowAreAllAlikeAndLeaveNothing) {
  constexpr std::size_t memory_of_a_test = std::size_t{4} << 20;
  given_time_limit(600000);
  given_platform_mpi();
  const auto kinds = kinds_of_launches();
  const int number = number_or("LOAD_LAUNCHES", 3 * static_cast<int>(kinds.size()));
  std::vector<launch> first;
  open_things before;
  for (int i = 0; i < number; ++i) {
    const std::size_t kind = static_cast<std::size_t>(i) % kinds.size();
    auto run = kinds[kind]();
    if (first.size() < kinds.size()) {
      first.push_back(std::move(run));
      before = open_now();
      continue;
    }
    ASSERT_EQ(first[kind].status, run.status) << i;
    ASSERT_EQ(first[kind].output, run.output) << i;
    ASSERT_EQ(first[kind].errors, run.errors) << i;
  }
  const open_things after = open_now();
  EXPECT_EQ(before.handles, after.handles);
  EXPECT_EQ(before.threads, after.threads);
  EXPECT_LT(after.memory, before.memory + memory_of_a_test);
  for (const auto &entry : std::filesystem::directory_iterator(in_world("temp"))) {
    EXPECT_TRUE(entry.path().filename().string().starts_with("zphost-")) << entry.path();
  }
}
