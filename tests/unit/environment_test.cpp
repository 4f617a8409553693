// Tests of the environment service.
#include "core/environment.h"

#include <gtest/gtest.h>

#include <string>

#include "support/fresh_launch.h"

using namespace stand_in;

namespace {

TEST(EnvText, IsTheValueOfAVariable) {
  given_variable("TEMP", "C:\\temp");
  given_variable("EMPTY", "");
  EXPECT_EQ("C:\\temp", env_text("TEMP"));
  EXPECT_EQ("", env_text("EMPTY"));
  EXPECT_EQ(std::nullopt, env_text("MISSING"));
}

TEST(EnvText, OutlivesAChangeOfTheVariable) {
  given_variable("A", "old");
  const auto value = env_text("A");
  set_environment("A", "new");
  EXPECT_EQ("old", value);
}

TEST(EnvIsSet, HoldsForAnEmptyValueToo) {
  given_variable("EMPTY", "");
  EXPECT_TRUE(env_is_set("EMPTY"));
  EXPECT_FALSE(env_is_set("MISSING"));
}

TEST(EnvNumber, ReadsLeniently) {
  given_variable("A", " 12x");
  given_variable("B", "x");
  EXPECT_EQ(12, env_number("A"));
  EXPECT_EQ(0, env_number("B"));
  EXPECT_EQ(0, env_number("MISSING"));
}

TEST(EnvPool, BeginsWithItsLastZero) {
  EXPECT_EQ(std::string(1, '\0'), state.env_pool);
}

TEST(EnvPool, HoldsEachTextWithItsZeroAndOneMoreAtTheEnd) {
  set_environment_text("A=1");
  set_environment_text("B=2");
  EXPECT_EQ(std::string("A=1\0B=2\0\0", 9), state.env_pool);
  EXPECT_EQ("1", variable("A"));
  EXPECT_EQ("2", variable("B"));
}

TEST(EnvPool, HoldsAVariableTwiceThatWasSetTwice) {
  set_environment("A", "1");
  set_environment("A", "2");
  EXPECT_EQ(std::string("A=1\0A=2\0\0", 9), state.env_pool);
  EXPECT_EQ("2", variable("A"));
}

TEST(EnvPool, GrowsBeyondEightThousandCharacters) {
  const std::string value(30'000, 'x');
  set_environment("PATH", value);
  set_environment("B", "2");
  EXPECT_EQ("PATH=" + value + std::string("\0B=2\0\0", 6), state.env_pool);
  EXPECT_EQ(value, variable("PATH"));
}

TEST(SetEnvironment, OnlyCollectsOnWin32s) {
  state.windows_version_class = 2;
  set_environment("A", "1");
  EXPECT_EQ(std::string("A=1\0\0", 5), state.env_pool);
  EXPECT_EQ(std::nullopt, variable("A"));
}

TEST(SetEnvironment, SetsAndCollectsOnWindows95) {
  state.windows_version_class = 1;
  set_environment("A", "1");
  EXPECT_EQ("1", variable("A"));
}

TEST(SetEnvironment, RemovesAVariableByAnEmptyValue) {
  given_variable("A", "1");
  set_environment("A", "");
  EXPECT_EQ(std::nullopt, variable("A"));
  EXPECT_EQ(std::string("A=\0\0", 4), state.env_pool);
  EXPECT_EQ("", standard_error());
}

TEST(SetEnvironment, KeepsEqualsSignsOfTheValue) {
  set_environment_text("A=b=c");
  EXPECT_EQ("b=c", variable("A"));
}

TEST(SetEnvironment, ReportsWhatWindowsRefuses) {
  set_environment("LONG", std::string(32'767, 'x'));
  EXPECT_EQ(
      "\n Error:  Failed to set environment variable LONG: The filename or extension is too "
      "long.\r\n\n",  // Windows' own text and its line end
      standard_error());
}

}  // namespace
