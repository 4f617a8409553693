// windows_scripts_test.cpp: demo.cmd and test.cmd, with stand-ins for what they call:
// Visual Studio, CMake, CTest, the download, and the ranks.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "scenario_bench.h"

using namespace scenario;

namespace {

std::string text_of_tree(const std::string &path) {
  std::ifstream file(SOURCE_FOLDER "/" + path, std::ios::binary);
  EXPECT_TRUE(file) << path;
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

constexpr const char *studio_tools[] = {"vswhere", "cl", "cmake", "ninja"};

// A copy of the scripts in the folder tree, and of every tool they look for a stand-in
// but for the one that is missing. All stand-ins play one script.
void given_tree(const std::string &script, const std::string &missing = "") {
  for (const char *name : {"demo.cmd", "test.cmd", "scripts\\compiler.cmd", "demo\\plate.case"}) {
    std::string path = name;
    std::replace(path.begin(), path.end(), '\\', '/');
    given_file("tree\\" + std::string(name), text_of_tree(path));
  }
  for (const char *tool : studio_tools) {
    if (tool != missing) {
      given_tool("tools\\" + std::string(tool) + ".exe");
    }
  }
  for (const char *tool : {"ctest", "curl", "certutil"}) {
    given_tool("tools\\" + std::string(tool) + ".exe");
  }
  given_file("studio\\VC\\Auxiliary\\Build\\vcvars64.bat", "@set STUDIO_IS_SET=yes\r\n");
  given_file("all.script", "when -latest\nout " + escape(in_world("studio")) + "\\r\\n\n" + script);
  given_variable("SCRIPTED_TOOL_SCRIPT", in_world("all.script"));
  given_variable("PATH", in_world("tools") + ";" + std::getenv("SystemRoot") + "\\system32");
  // Wine's interpreter puts what "for" reads into a file there, and a blank stops it.
  given_variable("TEMP", std::string(std::getenv("SystemRoot")) + "\\temp");
  given_no_variable("TMP");
  given_variable("ProgramFiles(x86)", in_world("no programs"));
}

launch run_script(const std::string &name) {
  auto run = start_program(std::string(std::getenv("SystemRoot")) + "\\system32\\cmd.exe",
                           "cmd.exe /c \"\"" + in_world("tree\\" + name) + "\"\"");
  wait_for_everything(run);
  return run;
}

std::string last_line(const launch &run) {
  const auto end = run.output.find_last_not_of("\r\n") + 1;
  const auto begin = run.output.rfind('\n', end - 1) + 1;
  return run.output.substr(begin, end - begin);
}

bool says(const launch &run, const std::string &text) {
  return run.output.find(text) != std::string::npos;
}

}  // namespace

// ---- test.cmd -----------------------------------------------------------------------------

TEST(TestOnWindows, CountsWhatCTestHasCounted) {
  struct row {
    const char *summary;
    int ctest_status;
    const char *line;
    unsigned long status;
  };
  for (const auto &[summary, ctest_status, line, status] : {
           row{"100% tests passed, 0 tests failed out of 12", 0, "12 passed, 0 failed", 0},
           row{"75% tests passed, 3 tests failed out of 12", 8, "9 passed, 3 failed", 1},
           row{"100% tests passed, 0 tests failed out of 12", 8, "11 passed, 1 failed", 1},
           row{"No tests were found!!!", 0, "0 passed, 1 failed", 1},
       }) {
    given_file("summary",
               std::string("\r\n") + summary + "\r\n\r\nTotal Test time (real) = 1 sec\r\n");
    given_tree(
        "when --output-log\nrun cmd.exe /c copy /y ..\\summary build\\test\\windows.log\nexit " +
        std::to_string(ctest_status) + "\n");
    const auto run = run_script("test.cmd");
    EXPECT_EQ(line, last_line(run)) << run.output << run.errors;
    EXPECT_EQ(status, run.status) << summary;
  }
  const auto builds = starts_of("tools\\cmake.exe");
  ASSERT_EQ(8U, builds.size());
  EXPECT_TRUE(builds[0].command_line.ends_with(" --preset windows")) << builds[0].command_line;
  EXPECT_TRUE(builds[1].command_line.ends_with(" --build --preset windows"));
  EXPECT_EQ("yes", builds[0].variable("STUDIO_IS_SET"));
  EXPECT_EQ("cl", builds[0].variable("CXX"));
}

TEST(TestOnWindows, FailsWhenItCannotBuild) {
  given_tree("when --build\nout error C2065\\r\\n\nexit 1\n");
  const auto run = run_script("test.cmd");
  EXPECT_TRUE(says(run, "error C2065")) << run.output;
  EXPECT_EQ("0 passed, 1 failed", last_line(run));
  EXPECT_EQ(1U, run.status);
  EXPECT_TRUE(starts_of("tools\\ctest.exe").empty());
}

TEST(TestOnWindows, SaysWhatIsMissingAndHowItIsHad) {
  const std::pair<const char *, const char *> rows[] = {
      {"vswhere", "winget install Microsoft.VisualStudio.2022.BuildTools"},
      {"cl", "winget install Microsoft.VisualStudio.2022.BuildTools"},
      {"cmake", "winget install Kitware.CMake"},
      {"ninja", "winget install Ninja-build.Ninja"},
  };
  given_tree("");
  for (const auto &[tool, cure] : rows) {
    const std::filesystem::path program = in_world("tools\\" + std::string(tool) + ".exe");
    std::filesystem::rename(program, in_world("away.exe"));
    const auto run = run_script("test.cmd");
    EXPECT_TRUE(says(run, cure)) << tool << ": " << run.output << run.errors;
    EXPECT_EQ("0 passed, 1 failed", last_line(run));
    std::filesystem::rename(in_world("away.exe"), program);
  }
}

TEST(TestOnWindows, TakesTheOtherCompilerWhenItIsAskedFor) {
  given_tree("when --build\nexit 1\n", "vswhere");
  given_variable("CXX", "g++");
  EXPECT_TRUE(says(run_script("test.cmd"), "MSYS2"));
  given_tool("tools\\g++.exe");
  run_script("test.cmd");
  const auto builds = starts_of("tools\\cmake.exe");
  ASSERT_FALSE(builds.empty());
  EXPECT_EQ("g++", builds[0].variable("CXX"));
}

// ---- demo.cmd -----------------------------------------------------------------------------

namespace {

// Microsoft's MPI, and what the two builds leave.
void given_mpi_and_programs(const std::string &ranks) {
  given_tree("when -mpi=msmpi\nout " + ranks + "\nmake_file " +
             in_world("tree\\build\\demo\\work\\timing.txt") + "\n");
  given_tool("ms mpi\\Bin\\mpiexec.exe");
  given_file("ms mpi\\Include\\mpi.h");
  given_variable("MSMPI_BIN", in_world("ms mpi\\Bin\\"));
  given_variable("MSMPI_INC", in_world("ms mpi\\Include\\"));
  for (const char *program :
       {"windows-demo\\mpirun", "windows-demo\\zprun", "windows-solver\\zephon"}) {
    given_tool("tree\\build\\" + std::string(program) + ".exe");
  }
}

const std::string all_ranks =
    "plate: 64 x 32 points, 4 ranks on 1 host\\r\\nrank 0 of 4 on pc\\r\\nrank 1 of 4 on pc\\r\\n"
    "rank 2 of 4 on pc\\r\\nrank 3 of 4 on pc\\r\\nsolution verified\\r\\n";

}  // namespace

TEST(DemoOnWindows, LaunchesTheSolverOfAReleaseThroughMicrosoftsMpi) {
  given_mpi_and_programs(all_ranks);
  const auto run = run_script("demo.cmd");

  EXPECT_EQ("Demo msmpi: all as it should be.", last_line(run)) << run.output << run.errors;
  EXPECT_EQ(0U, run.status);
  const std::string release = "tree\\build\\demo\\zephon\\zephon12.0.16\\";
  const auto start = only_start_of(release + "bin\\zprun.exe");
  EXPECT_TRUE(start.command_line.find("zprun.exe\" -r12.0.16 -mpi=msmpi -t4 -o timing.txt -i "
                                      "plate.case -title \"heated plate\"") != std::string::npos)
      << start.command_line;
  EXPECT_EQ(in_world("tree\\build\\demo\\zephon"), start.variable("ZEPHON_INC"));
  for (const char *file : {"ntbin\\win64\\zephon.exe", "netweave\\mpi\\win64\\ms\\bin\\mpiexec.exe",
                           "netweave\\mpi_wrapper\\win64\\msmpi\\mpi_wrapper.dll"}) {
    EXPECT_TRUE(std::filesystem::exists(in_world(release + file))) << file;
  }
}

TEST(DemoOnWindows, FailsWhenARankIsSilent) {
  given_mpi_and_programs("4 ranks on 1 host\\r\\nrank 0 of 4 on pc\\r\\nsolution verified\\r\\n");
  const auto run = run_script("demo.cmd");
  EXPECT_EQ("DEMO FAILED: the run did not say: rank 1 of 4 on ", last_line(run)) << run.output;
  EXPECT_EQ(1U, run.status);
}

TEST(DemoOnWindows, InstallsNothingThatIsNotTheRightFile) {
  given_tree("when -hashfile\nout 0123\\r\\n\n");
  const auto run = run_script("demo.cmd");
  EXPECT_EQ("msmpisetup.exe is not the file that it should be", last_line(run)) << run.output;
  EXPECT_EQ(1U, run.status);
  EXPECT_TRUE(only_start_of("tools\\curl.exe")
                  .command_line.ends_with("https://download.microsoft.com/download/7/2/7/"
                                          "72731ebb-b63c-4170-ade7-836966263a8f/msmpisetup.exe\""));
}

TEST(DemoOnWindows, SaysHowTheMpiIsHadWithoutANetwork) {
  given_tree("when --fail\nexit 6\n");
  const auto run = run_script("demo.cmd");
  EXPECT_TRUE(says(run, "By hand: winget install Microsoft.msmpi Microsoft.msmpisdk"))
      << run.output;
  EXPECT_EQ(1U, run.status);
}
