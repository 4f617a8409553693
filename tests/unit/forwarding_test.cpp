// Tests of what several back-ends hand on to the remote processes.
#include "backends/forwarding.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "support/fresh_launch.h"

using namespace stand_in;

namespace {

std::string work_size(const std::string &mpi_name) {
  state.mpi_name = mpi_name;
  command_line line{"x", {}};
  append_work_size(line);
  return line.text;
}

std::string solver_variables(const char *value) {
  for (const char *name : {"QMX_ROOT", "QMX_ARCH", "ZEPHON_PROD_DIR"}) {
    given_variable(name, value);
  }
  command_line line{"x", {}};
  append_solver_variables(line, " -e ", "=");
  return line.text;
}

TEST(ForwardedValue, StandsInDoubleQuotesAndInSingleOnesInsideThemWithABlank) {
  EXPECT_EQ(R"("C:\mpi")", forwarded_value("C:\\mpi"));
  EXPECT_EQ(R"("")", forwarded_value(""));
  EXPECT_EQ("\"a\tb\"", forwarded_value("a\tb"));
  EXPECT_EQ(R"("'C:\my mpi'")", forwarded_value("C:\\my mpi"));
  EXPECT_EQ(R"("' '")", forwarded_value(" "));
}

TEST(WorkSize, IsForwardedInTheFormOfTheMpi) {
  EXPECT_EQ("x", work_size("mpich2"));
  given_variable("ZEPHON_WORK_UNIT", "2.5");
  EXPECT_EQ("x -e ZEPHON_WORK_UNIT=2.5 ", work_size("ibmmpi"));
  given_variable("ZEPHON_WORK_SIZE", "4");
  EXPECT_EQ("x -e ZEPHON_WORK_SIZE=4  -e ZEPHON_WORK_UNIT=2.5 ", work_size("ibmmpi"));
  for (const char *name : {"mpich2", "msmpi", "IBMMPI"}) {
    EXPECT_EQ("x -env ZEPHON_WORK_SIZE 4  -env ZEPHON_WORK_UNIT 2.5 ", work_size(name));
  }
}

TEST(WorkSize, IsForwardedAsItIsWrittenWhenItIsAPositiveNumber) {
  for (const char *text : {"0.5", "1e3", "1e-44", " +04.50 MB"}) {
    given_variable("ZEPHON_WORK_SIZE", text);
    EXPECT_EQ(std::string("x -env ZEPHON_WORK_SIZE ") + text + " ", work_size("mpich2"));
  }
  for (const char *text : {"0", "0.0", "-1", "-0.5", "1e-46", "abc", "nan", "inf", "infinity",
                           "+inf", "0x10", ".", "e5", "-", ""}) {
    given_variable("ZEPHON_WORK_SIZE", text);
    EXPECT_EQ("x", work_size("mpich2")) << text;
  }
}

TEST(SolverVariables, AreForwardedInTheirOrderAlsoWhenTheyAreEmpty) {
  command_line line{"x", {}};
  append_solver_variables(line, " -e ", "=");
  EXPECT_EQ("x", line.text);
  EXPECT_EQ(R"(x -e QMX_ROOT="" -e QMX_ARCH="" -e ZEPHON_PROD_DIR="")", solver_variables(""));
  EXPECT_EQ(R"(x -e QMX_ROOT="'a b'" -e QMX_ARCH="a b" -e ZEPHON_PROD_DIR="'a b'")",
            solver_variables("a b"));
}

}  // namespace
