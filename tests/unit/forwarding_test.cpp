// Tests of what several back-ends hand on to the remote processes.
#include "backends/forwarding.h"

#include <gtest/gtest.h>

#include "support/fresh_launch.h"

using namespace stand_in;

namespace {

std::string work_size(const std::string &mpi_name, const char *size, const char *unit = "") {
  state.mpi_name = mpi_name;
  given_variable("ZEPHON_WORK_SIZE", size);
  given_variable("ZEPHON_WORK_UNIT", unit);
  command_line line{"x", {}};
  append_work_size(line);
  return line.text;
}

std::string solver_variables(const std::string &option, const std::string &separator) {
  command_line line{"x", {}};
  append_solver_variables(line, option, separator);
  return line.text;
}

}  // namespace

TEST(ForwardedValue, StandsInDoubleQuotes) {
  EXPECT_EQ(R"("C:\mpi")", forwarded_value("C:\\mpi"));
  EXPECT_EQ(R"("")", forwarded_value(""));
  EXPECT_EQ("\"a\tb\"", forwarded_value("a\tb"));
}

TEST(ForwardedValue, StandsInSingleQuotesInsideThemWithABlank) {
  EXPECT_EQ(R"("'C:\my mpi'")", forwarded_value("C:\\my mpi"));
  EXPECT_EQ(R"("' '")", forwarded_value(" "));
}

TEST(WorkSize, IsForwardedInTheFormOfMpiexec) {
  EXPECT_EQ("x -env ZEPHON_WORK_SIZE 4 ", work_size("mpich2", "4"));
  EXPECT_EQ("x -env ZEPHON_WORK_SIZE 4 ", work_size("msmpi", "4"));
  EXPECT_EQ("x -env ZEPHON_WORK_SIZE 4 ", work_size("IBMMPI", "4"));
}

TEST(WorkSize, IsForwardedInTheFormOfPlatformMpi) {
  EXPECT_EQ("x -e ZEPHON_WORK_SIZE=4 ", work_size("ibmmpi", "4"));
}

TEST(WorkSize, GoesBeforeTheUnit) {
  EXPECT_EQ("x -env ZEPHON_WORK_SIZE 4  -env ZEPHON_WORK_UNIT 2.5 ",
            work_size("mpich2", "4", "2.5"));
  EXPECT_EQ("x -e ZEPHON_WORK_SIZE=4  -e ZEPHON_WORK_UNIT=2.5 ", work_size("ibmmpi", "4", "2.5"));
}

TEST(WorkSize, MayBeMissingBesideAUnit) {
  EXPECT_EQ("x -e ZEPHON_WORK_UNIT=2.5 ", work_size("ibmmpi", "", "2.5"));
}

TEST(WorkSize, IsForwardedAsItIsWritten) {
  EXPECT_EQ("x -env ZEPHON_WORK_SIZE 1e3 ", work_size("mpich2", "1e3"));
  EXPECT_EQ("x -env ZEPHON_WORK_SIZE  +04.50 MB ", work_size("mpich2", " +04.50 MB"));
}

TEST(WorkSize, IsLeftOutWhenItIsNotPositive) {
  EXPECT_EQ("x", work_size("mpich2", "0", "0.0"));
  EXPECT_EQ("x", work_size("mpich2", "-1", "-0.5"));
}

TEST(WorkSize, IsLeftOutWhenItIsNoNumber) {
  for (const char *text : {"abc", "nan", "inf", "infinity", "+inf", "0x10", ".", "e5", "-", ""}) {
    EXPECT_EQ("x", work_size("mpich2", text)) << text;
  }
}

TEST(WorkSize, MayBeTheSmallestNumberInSinglePrecision) {
  EXPECT_EQ("x -env ZEPHON_WORK_SIZE 0.5 ", work_size("mpich2", "0.5"));
  EXPECT_EQ("x -env ZEPHON_WORK_SIZE 1e-44 ", work_size("mpich2", "1e-44"));
  EXPECT_EQ("x", work_size("mpich2", "1e-46"));
}

TEST(WorkSize, IsLeftOutWhenItIsNotSet) {
  command_line line{"x", {}};
  append_work_size(line);
  EXPECT_EQ("x", line.text);
}

TEST(SolverVariables, AreForwardedInTheirOrder) {
  given_variable("QMX_ROOT", "C:\\qmx");
  given_variable("QMX_ARCH", "win64");
  given_variable("ZEPHON_PROD_DIR", "C:\\prod");
  EXPECT_EQ(R"(x -e QMX_ROOT="C:\qmx" -e QMX_ARCH="win64" -e ZEPHON_PROD_DIR="C:\prod")",
            solver_variables(" -e ", "="));
}

TEST(SolverVariables, GetSingleQuotesForABlankButForTheArchitecture) {
  given_variable("QMX_ROOT", "C:\\my qmx");
  given_variable("QMX_ARCH", "win 64");
  given_variable("ZEPHON_PROD_DIR", "C:\\my prod");
  EXPECT_EQ(
      R"(x -genv QMX_ROOT "'C:\my qmx'" -genv QMX_ARCH "win 64" -genv ZEPHON_PROD_DIR "'C:\my prod'")",
      solver_variables(" -genv ", " "));
}

TEST(SolverVariables, AreForwardedEvenWhenTheyAreEmpty) {
  given_variable("QMX_ROOT", "");
  given_variable("QMX_ARCH", "");
  given_variable("ZEPHON_PROD_DIR", "");
  EXPECT_EQ(R"(x -e QMX_ROOT="" -e QMX_ARCH="" -e ZEPHON_PROD_DIR="")",
            solver_variables(" -e ", "="));
}

TEST(SolverVariables, AreLeftOutWhenTheyAreNotSet) {
  EXPECT_EQ("x", solver_variables(" -e ", "="));
}
