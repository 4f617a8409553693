// side_by_side_test.cpp: launchers that run at the same time and write files of
// their own or the same one.

#include <gtest/gtest.h>
#include <windows.h>

#include "scenario_bench.h"

using namespace scenario;

namespace {

std::string host_file_of(const launch &run) {
  const auto process = std::to_string(GetProcessId(run.process.get()));
  return file_text("temp\\zphost-" + process + ".txt").value_or("no file");
}

// A text in which every line that ends in a time ends before it.
std::string without_times(std::string text) {
  for (std::size_t at = 0; (at = text.find(" @ ", at)) != std::string::npos; ++at) {
    text.erase(at, text.find('\r', at) - at);
  }
  return text;
}

}  // namespace

TEST(SideBySide, LaunchersDoNotShareTheirHostFiles) {
  const std::string mpirun = "mpi\\bin\\mpirun.exe";
  given_installed_release();
  given_wrapper("ibmmpi");
  given_tool(mpirun, "wait_file go\n");
  given_variable("IBMMPI_ROOT", "..\\mpi");
  given_variable("ORBEX_DONT_CACHE_PASSWORD", "1");
  given_variable("ZEPHON_HOSTS_FILE", "..\\hosts");
  given_file("hosts", "a\nb\n");
  auto one = start_launcher("--mpi=ibmmpi --np=4 solver");
  auto other = start_launcher("--mpi=ibmmpi --np=6 solver");
  wait_for_starts(one, mpirun, 2);
  EXPECT_EQ("a:2\r\nb:2\r\n", host_file_of(one));
  EXPECT_EQ("a:3\r\nb:3\r\n", host_file_of(other));
  given_file("mpi\\bin\\go");
  wait_for_everything(one);
  wait_for_everything(other);
}

TEST(SideBySide, InstallersKeepTheirLinesInOneLog) {
  given_installed_release();
  given_variable("COMPUTERNAME", "HERE");
  given_variable("RSH_USER",
                 "jdoe");  // the messages go to standard output, without a box
  given_tool("first\\bin\\smpd.exe", "wait_file go\nout first failed\\r\\n\n");
  given_tool("second\\bin\\smpd.exe", "out second failed\\r\\n\n");
  auto first = start_launcher("--install_smpd ..\\first");
  wait_for_starts(first, "first\\bin\\smpd.exe", 1);
  auto second = start_launcher("--install_smpd ..\\second");
  wait_for_end(second);
  given_file("first\\bin\\go");
  wait_for_everything(first);
  EXPECT_EQ(1U, first.status);
  EXPECT_EQ(1U, second.status);
  const std::string start = "\n------------- start on HERE\n\n";
  const std::string end = "\n------------- end\n\n";
  const std::string failed = "\nMPICH2 SMPD Installation Failed:\n";
  EXPECT_EQ(
      text_mode(start + start + failed + "..\\second\\bin\\smpd.exe -install\nsecond failed\n" +
                end + failed + "..\\first\\bin\\smpd.exe -install\nfirst failed\n" + end),
      without_times(file_text("work\\install_smpd_log.txt").value_or("(no log)")));
}
