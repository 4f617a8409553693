// bad_input_test.cpp: very many and very long arguments, odd bytes and quotes, missing
// variables: each is passed on as it is, or gets a clear answer.

#include <gtest/gtest.h>

#include "scenario_bench.h"

using namespace scenario;

namespace {

// What arrives at the solver behind its own name.
std::vector<std::string> arrived(const std::string &arguments) {
  given_installed_release();
  const auto run = run_launcher("--mpi=net " + given_solver() + " " + arguments);
  EXPECT_EQ(0U, run.status) << run.output;
  auto seen = only_start_of("solver.exe").arguments;
  if (!seen.empty()) {
    seen.erase(seen.begin());
  }
  return seen;
}

std::string bytes_above_127() {
  std::string bytes;
  for (int code = 128; code < 256; ++code) {
    bytes += static_cast<char>(code);
  }
  return bytes;
}

}  // namespace

TEST(BadInput, TenThousandArgumentsArrive) {
  given_installed_release();
  std::string arguments;
  for (int count = 0; count < 10000; ++count) {
    arguments += " " + std::to_string(count % 10);
  }
  EXPECT_EQ(0U, run_launcher("--mpi=net " + given_solver() + arguments).status);
  EXPECT_TRUE(in_quotes(in_world("solver.exe")) + arguments ==
              only_start_of("solver.exe").command_line);
}

TEST(BadInput, TenThousandOptionsAreRead) {
  given_installed_release();
  std::string options;
  for (int count = 0; count < 2500; ++count) {
    options += "--jobid=" + std::to_string(count) + " ";
  }
  EXPECT_EQ(0U, run_launcher("--mpi=net " + options + given_solver()).status);
  EXPECT_EQ("2499", only_start_of("solver.exe").variable("CCP_JOB_ID"));
}

TEST(BadInput, AnArgumentOf30000CharactersArrives) {
  const std::string argument(30000, 'a');
  EXPECT_TRUE(std::vector<std::string>{argument} == arrived(argument));
}

TEST(BadInput, AnArgumentOf30000CharactersWithBlanksArrives) {
  std::string argument;
  while (argument.size() < 30000) {
    argument += "a b ";
  }
  EXPECT_TRUE(std::vector<std::string>{argument} == arrived(in_quotes(argument)));
}

TEST(BadInput, AnOptionValueOf30000CharactersIsSet) {
  given_installed_release();
  const std::string value(30000, 'h');
  EXPECT_EQ(0U, run_launcher("--mpi=net --cnf=" + value + " " + given_solver()).status);
  EXPECT_TRUE(value == only_start_of("solver.exe").variable("ZEPHON_HOSTS_FILE"));
}

TEST(BadInput, AnMpiNameOf30000CharactersIsMissed) {
  given_installed_release();
  const std::string name(30000, 'm');
  const auto run = run_launcher("--mpi=" + name);
  EXPECT_EQ(2U, run.status);
  EXPECT_TRUE("Error: communicator \"" + name + "\" is not available on this machine.\r\n" ==
              run.errors);
}

TEST(BadInput, AProgramNameOf30000CharactersIsReported) {
  given_installed_release();
  given_variable("RSH_USER", "someone");
  const std::string name(30000, 'p');
  const auto run = run_launcher("--mpi=net " + name);
  EXPECT_EQ(255U, run.status);
  EXPECT_TRUE(run.output.starts_with("Unable to execute (null) ")) << run.output.substr(0, 100);
  EXPECT_NE(std::string::npos, run.output.find(name));
}

TEST(BadInput, ALongMessageIsShownWhole) {
  given_installed_release();
  given_box_answer(ok_button);
  const std::string name(20000, 'p');
  const auto run = run_launcher("--mpi=net no_such_program " + name);
  EXPECT_EQ(255U, run.status);
  ASSERT_EQ(1U, run.boxes.size());
  EXPECT_NE(std::string::npos, run.boxes[0].text.find(name));
}

TEST(BadInput, APathOf30000CharactersIsPassedOn) {
  given_installed_release();
  std::string path = "C:\\windows\\system32";
  while (path.size() < 30000) {
    path += ";D:\\tools\\bin";
  }
  given_variable("PATH", path);
  EXPECT_EQ(0U, run_launcher("--mpi=net " + given_solver()).status);
  EXPECT_TRUE(path == only_start_of("solver.exe").variable("PATH"));
}

TEST(BadInput, ARemotePathOf20000CharactersIsPassedOn) {
  given_installed_release();
  given_mpich();
  const std::string path(20000, 'd');
  EXPECT_EQ(0U, run_launcher("--mpi=mpich --pathnode=" + path).status);
  const auto line = only_start_of("mpich\\bin\\mpirun.exe").command_line;
  EXPECT_NE(std::string::npos, line.find(" -env PATH=" + path + ";"));
}

TEST(BadInput, ACommandThatIsTooLongForWindowsIsReported) {
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

TEST(BadInput, ATrailingBackslashArrives) {
  EXPECT_EQ((std::vector<std::string>{"C:\\dir\\", "next"}), arrived("C:\\dir\\ next"));
}

TEST(BadInput, QuotesAreLeftToTheSolversOwnReading) {
  given_installed_release();
  EXPECT_EQ(0U,
            run_launcher("--mpi=net " + given_solver() + " say\\\"hi\\\" \"a \\\"b\\\"\"").status);
  // Arguments go on as they were read: only a blank brings quotes back.
  EXPECT_EQ(in_quotes(in_world("solver.exe")) + " say\"hi\" \"a \"b\"\"",
            only_start_of("solver.exe").command_line);
}

TEST(BadInput, ATrailingBackslashAndABlankStandBetweenQuotesAsTheyAre) {
  given_installed_release();
  EXPECT_EQ(0U, run_launcher("--mpi=net " + given_solver() + " \"C:\\my dir\\\\\" next").status);
  EXPECT_EQ(in_quotes(in_world("solver.exe")) + " \"C:\\my dir\\\" next",
            only_start_of("solver.exe").command_line);
}

TEST(BadInput, EmptyArgumentsAreSkippedWithoutHarm) {
  EXPECT_EQ((std::vector<std::string>{"a", "b"}), arrived("\"\" a \"\" \"\" b \"\""));
}

TEST(BadInput, PercentSignsAndBracesArrive) {
  EXPECT_EQ((std::vector<std::string>{"%s%n%d", "%PATH%", "{}", "^&|<>"}),
            arrived("%s%n%d %PATH% {} ^&|<>"));
}

TEST(BadInput, BytesAbove127Arrive) {
  EXPECT_EQ(std::vector<std::string>{bytes_above_127()}, arrived(bytes_above_127()));
}

TEST(BadInput, BytesAbove127InOptionsAreSet) {
  given_installed_release();
  EXPECT_EQ(0U,
            run_launcher("--mpi=net --cnf=C:\\K\xF6ln\\" + bytes_above_127() + " " + given_solver())
                .status);
  EXPECT_EQ("C:\\K\xF6ln\\" + bytes_above_127(),
            only_start_of("solver.exe").variable("ZEPHON_HOSTS_FILE"));
}

TEST(BadInput, BytesAbove127StandInFolderNames) {
  given_installed_release();
  given_tool("K\xF6ln \xDC\\solver.exe", "out solving\n");
  const auto run = run_launcher("--mpi=net " + in_quotes(in_world("K\xF6ln \xDC\\solver.exe")));
  EXPECT_EQ("solving", run.output);
  EXPECT_EQ(in_world("K\xF6ln \xDC\\solver.exe"),
            only_start_of("K\xF6ln \xDC\\solver.exe").arguments.at(0));
}

TEST(BadInput, ControlCharactersArrive) {
  EXPECT_EQ((std::vector<std::string>{"a\x01\x02\x1F\x7F"
                                      "b"}),
            arrived("a\x01\x02\x1F\x7F"
                    "b"));
}

TEST(BadInput, NeedsNoStartScriptVariables) {
  const auto run = run_launcher("--mpi=net " + given_solver());
  EXPECT_EQ(0U, run.status);
  EXPECT_EQ(0U, only_start_of("solver.exe").code);  // without ZEPHON_PROD it is waited for
  EXPECT_EQ(0U, only_start_of("solver.exe").startup_flags);
}

TEST(BadInput, HugeNumbersDoNotDisturb) {
  given_installed_release();
  given_mpich();
  EXPECT_EQ(0U, run_launcher("--mpi=mpich --np=99999999999999999999").status);
  EXPECT_EQ(1U, starts_of("mpich\\bin\\mpirun.exe").size());
}
