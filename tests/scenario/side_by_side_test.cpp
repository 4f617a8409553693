// side_by_side_test.cpp: launchers that run at the same time and write the same file.
// Those with files of their own are in load_test.cpp.

#include <gtest/gtest.h>

#include "scenario_bench.h"

using namespace scenario;

namespace {

// A text in which every line that ends in a time ends before it.
std::string without_times(std::string text) {
  for (std::size_t at = 0; (at = text.find(" @ ", at)) != std::string::npos; ++at) {
    text.erase(at, text.find('\r', at) - at);
  }
  return text;
}

}  // namespace

TEST(SideBySide, InstallersKeepTheirLinesInOneLog) {
  given_installed_release();
  given_variable("COMPUTERNAME", "HERE");
  given_variable("RSH_USER", "jdoe");  // the messages go to standard output, without a box
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
