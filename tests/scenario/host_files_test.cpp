// host_files_test.cpp: the host files that the launcher writes for the MPI, and what
// it makes of every kind of host file that it is given.

#include <gtest/gtest.h>
#include <windows.h>

#include "scenario_bench.h"

using namespace scenario;

namespace {

const std::string mpirun = "mpi\\bin\\mpirun.exe";

// A run of so many processes under Platform MPI, which spreads them over the hosts.
void given_run_on(const std::string &hosts) {
  given_installed_release();
  given_wrapper("ibmmpi");
  given_tool(mpirun);
  given_variable("IBMMPI_ROOT", "..\\mpi");
  given_variable("ORBEX_DONT_CACHE_PASSWORD", "1");
  given_variable("ZEPHON_HOSTS_FILE", "..\\hosts");
  given_file("hosts", hosts);
}

launch run_on_hosts(int processes) {
  return run_launcher("--mpi=ibmmpi --np=" + std::to_string(processes) + " solver");
}

// The file that a launch writes, named as the launcher names it.
std::string written_file(const launch &run, const std::string &folder = in_world("temp")) {
  return folder + "\\zphost-" + std::to_string(GetProcessId(run.process.get())) + ".txt";
}

// What the file holds that the MPI gets; the whole run must be in order.
std::string hosts_of_mpi(const std::string &hosts, int processes) {
  given_run_on(hosts);
  const auto run = run_on_hosts(processes);
  EXPECT_EQ(0U, run.status);
  EXPECT_EQ("", run.errors);
  const auto start = only_start_of(mpirun);
  const auto name = start.variable("ZEPHON_HOSTS_FILE").value_or("");
  EXPECT_NE(std::string::npos, start.command_line.find("  -hostfile " + in_quotes(name) + "  -np "))
      << start.command_line;
  if (name == "..\\hosts") {
    EXPECT_FALSE(file_text(written_file(run)));
    return "as given";
  }
  EXPECT_EQ(written_file(run), name);
  return file_text(name).value_or("no file");
}

// What a launch says that cannot spread its processes.
std::string errors_of_failed_run(int processes) {
  const auto run = run_on_hosts(processes);
  EXPECT_EQ(2U, run.status);
  EXPECT_TRUE(starts_of(mpirun).empty());
  EXPECT_FALSE(file_text(written_file(run)));
  return run.errors;
}

const std::string cannot_open = "\r\n Error:  Failed to open host file ..\\hosts\r\n";
const std::string cannot_create = "\r\n Error:  Failed to create host file ..\\hosts\r\n";

}  // namespace

TEST(HostFile, GivesEachHostItsShare) {
  EXPECT_EQ("a:3\r\nb:3\r\nc:2\r\n", hosts_of_mpi("a\nb\nc\n", 8));
}

TEST(HostFile, IsUsedAsItIsWithCounts) {
  EXPECT_EQ("as given", hosts_of_mpi("a:4\r\nb:4\r\n", 8));
}

TEST(HostFile, IsUsedAsItIsWithAHostForEachProcess) {
  EXPECT_EQ("as given", hosts_of_mpi("a\nb\n", 2));
}

TEST(HostFile, IsUsedAsItIsWhenItIsEmpty) {
  EXPECT_EQ("as given", hosts_of_mpi("", 4));
}

TEST(HostFile, MayEndWithoutALineEnd) {
  EXPECT_EQ("a:2\r\nb:2\r\n", hosts_of_mpi("a\r\nb", 4));
}

TEST(HostFile, MayHaveEmptyLinesAnywhere) {
  EXPECT_EQ(":2\r\na:2\r\n:2\r\nb:1\r\n:1\r\n", hosts_of_mpi("\r\na\r\n\r\nb\r\n\r\n", 8));
}

TEST(HostFile, KeepsTrailingBlanksTabsAndBytesAbove127) {
  EXPECT_EQ("a \t:2\r\nn\xF6:2\r\n", hosts_of_mpi("a \t\r\nn\xF6\n", 4));
}

TEST(HostFile, HasLongNamesCutInPieces) {
  EXPECT_EQ(std::string(255, 'x') + ":2\r\n" + std::string(45, 'x') + ":2\r\n",
            hosts_of_mpi(std::string(300, 'x') + "\r\n", 4));
}

TEST(HostFile, MayHaveAHundredThousandLines) {
  std::string hosts;
  std::string expected;
  for (int number = 0; number < 100'000; ++number) {
    hosts += "node" + std::to_string(number) + "\r\n";
    expected += "node" + std::to_string(number) + (number == 0 ? ":2\r\n" : ":1\r\n");
  }
  EXPECT_TRUE(expected == hosts_of_mpi(hosts, 100'001));
}

TEST(HostFile, MayBeMissing) {
  given_run_on("");
  DeleteFileA(in_world("hosts").c_str());
  EXPECT_EQ(cannot_open, errors_of_failed_run(4));
}

TEST(HostFile, MayBeAFolder) {
  given_run_on("");
  DeleteFileA(in_world("hosts").c_str());
  given_folder("hosts");
  EXPECT_EQ(cannot_open, errors_of_failed_run(4));
}

TEST(HostFile, MayBeLockedByAnotherProgram) {
  given_run_on("a\nb\n");
  const owned_handle lock(CreateFileA(in_world("hosts").c_str(), GENERIC_READ | GENERIC_WRITE, 0,
                                      nullptr, OPEN_EXISTING, 0, nullptr));
  EXPECT_EQ(cannot_open, errors_of_failed_run(4));
}

TEST(HostFile, NeedsATemporaryFolderThatExists) {
  given_run_on("a\nb\n");
  given_variable("TEMP", in_world("no such folder"));
  EXPECT_EQ(cannot_create, errors_of_failed_run(4));
}

TEST(HostFile, NeedsATemporaryFolderThatIsOne) {
  given_run_on("a\nb\n");
  given_file("a file");
  given_variable("TEMP", in_world("a file"));
  EXPECT_EQ(cannot_create, errors_of_failed_run(4));
}

TEST(HostFile, StandsInTheCurrentFolderWithoutTemp) {
  given_run_on("a\nb\n");
  given_no_variable("TEMP");
  const auto run = run_on_hosts(4);
  EXPECT_EQ(written_file(run, in_world("work")),
            only_start_of(mpirun).variable("ZEPHON_HOSTS_FILE"));
  EXPECT_EQ("a:2\r\nb:2\r\n", file_text(written_file(run, in_world("work"))));
}

TEST(HostFile, StaysBehindWhenTheRunHasEnded) {
  given_run_on("a\nb\n");
  const auto run = run_on_hosts(4);
  EXPECT_TRUE(file_text(written_file(run)));
}

TEST(HostFile, IsNotSharedByLaunchersSideBySide) {
  given_run_on("a\nb\n");
  given_tool(mpirun, "wait_file go\n");
  auto one = start_launcher("--mpi=ibmmpi --np=4 solver");
  auto other = start_launcher("--mpi=ibmmpi --np=6 solver");
  wait_for_starts(one, mpirun, 2);
  EXPECT_EQ("a:2\r\nb:2\r\n", file_text(written_file(one)));
  EXPECT_EQ("a:3\r\nb:3\r\n", file_text(written_file(other)));
  given_file("mpi\\bin\\go");
  wait_for_everything(one);
  wait_for_everything(other);
}
