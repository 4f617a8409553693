// code_page_test.cpp: names whose letters have two bytes, under code page 932: there
// 95 5C is one letter, and its second byte alone is a backslash.
//
// Wine has that page with LC_ALL=ja_JP.UTF-8, Windows where it is Japanese.

#include <gtest/gtest.h>
#include <windows.h>

#include "scenario_bench.h"
#include "scripted_tool/tool_log.h"

using namespace scenario;

namespace {

const std::string letter = "\x95\x5C";

class DoubleByteName : public testing::Test {
 protected:
  void SetUp() override {
    if (GetACP() != 932) {
      GTEST_SKIP() << "the code page is " << GetACP();
    }
    // The language's own library does not know this page.
    ASSERT_TRUE(CreateDirectoryA(in_world(letter).c_str(), nullptr));
  }
};

}  // namespace

TEST_F(DoubleByteName, IsThatOfAHostFileAndOfTheFolderForTheOneThatIsWritten) {
  given_own_platform_mpi();
  ASSERT_TRUE(scripted_tool::write_file(in_world(letter + "\\" + letter), "alpha\nbeta\n"));
  given_variable("TEMP", in_world(letter));
  const auto run = run_launcher("--mpi=ibmmpi --np=3 --cnf=..\\" + letter + "\\" + letter +
                                " solver " + letter + " a\\" + letter);
  EXPECT_EQ(0U, run.status) << run.output << run.errors;
  const auto start = only_start_of("mpi\\bin\\mpirun.exe");
  const std::string written = start.variable("ZEPHON_HOSTS_FILE").value_or("none");
  EXPECT_TRUE(written.starts_with(in_world(letter) + "\\zphost-")) << written;
  EXPECT_EQ("alpha:2\r\nbeta:1\r\n", file_text(written));
  EXPECT_TRUE(start.command_line.ends_with(" solver " + letter + " a\\" + letter))
      << start.command_line;
}

TEST_F(DoubleByteName, ReachesTheSolverBehindZprunAsItWasTyped) {
  const std::string solver = "inc\\zephon1.2.3\\ntbin\\win64\\zephon.exe";
  given_tool(solver);
  given_variable("ZEPHON_INC", in_world("inc"));
  const auto run =
      run_front("\"my " + letter + "\" " + letter + " \"" + letter + "\\\\\" -- -o=" + letter);
  EXPECT_EQ(0U, run.status) << run.errors;
  auto arguments = only_start_of(solver).arguments;
  arguments.erase(arguments.begin());
  const std::vector<std::string> expected = {"my " + letter, letter, letter + "\\", "-o=" + letter};
  EXPECT_EQ(expected, arguments);
}
