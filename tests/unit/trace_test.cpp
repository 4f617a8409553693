// Tests of the start-up trace.
#include "core/trace.h"

#include <gtest/gtest.h>

#include "support/fresh_launch.h"

using namespace stand_in;

namespace {

TEST(Trace, PrintsLabelValueSourceAndLine) {
  given_variable("ZEPHON_STARTUP_DEBUG", "1");
  trace("cmd", "cluscfg listenvs", 4151);
  EXPECT_EQ("\ncmd = cluscfg listenvs (..\\src\\mpirun:4151)", standard_output());
}

TEST(Trace, PrintsAnAbsentValueAsNull) {
  given_variable("ZEPHON_STARTUP_DEBUG", "");
  trace("buf", std::nullopt, 7);
  EXPECT_EQ("\nbuf = (null) (..\\src\\mpirun:7)", standard_output());
}

TEST(Trace, TakesNoValueForAFormat) {
  given_variable("ZEPHON_STARTUP_DEBUG", "1");
  trace("cmd", "%s%n", 1);
  EXPECT_EQ("\ncmd = %s%n (..\\src\\mpirun:1)", standard_output());
}

TEST(Trace, SaysNothingUnlessTurnedOn) {
  trace("cmd", "x", 1);
  EXPECT_EQ("", both_streams());
}

}  // namespace
