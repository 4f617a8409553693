// Tests of the settings that users make themselves.
#include "core/user_defined.h"

#include <gtest/gtest.h>

#include <string>

#include "support/fresh_launch.h"

using namespace stand_in;

namespace {

TEST(EchoUserDefined, ShowsTheVariableBetweenStars) {
  given_variable("ZEPHON_CRED_CHECK", "no");
  echo_user_defined("ZEPHON_CRED_CHECK");
  EXPECT_EQ("\n***\n*** User defined: ZEPHON_CRED_CHECK=no\n***\n", standard_output());
}

TEST(EchoUserDefined, ShowsANoteBehindIt) {
  given_variable("A", "1");
  echo_user_defined("A", "Skipping!");
  EXPECT_EQ("\n***\n*** User defined: A=1\n*** Skipping!\n***\n", standard_output());
}

TEST(EchoUserDefined, AddsNoNewlineToANoteThatHasOne) {
  given_variable("A", "1");
  echo_user_defined("A", "used!\n");
  EXPECT_EQ("\n***\n*** User defined: A=1\n*** used!\n***\n", standard_output());
}

TEST(EchoUserDefined, TakesANewlineAnywhereInTheNoteForItsEnd) {
  given_variable("A", "1");
  echo_user_defined("A", "one\ntwo ");
  EXPECT_EQ("\n***\n*** User defined: A=1\n*** one\ntwo ***\n", standard_output());
}

TEST(EchoUserDefined, ShowsAnEmptyValue) {
  given_variable("A", "");
  echo_user_defined("A");
  EXPECT_EQ("\n***\n*** User defined: A=\n***\n", standard_output());
}

TEST(EchoUserDefined, TakesNoValueForAFormat) {
  given_variable("A", "%s%n");
  echo_user_defined("A", "%d");
  EXPECT_EQ("\n***\n*** User defined: A=%s%n\n*** %d\n***\n", standard_output());
}

TEST(EchoUserDefined, SaysNothingWhenTheVariableIsNotSet) {
  echo_user_defined("A", "note");
  EXPECT_EQ("", both_streams());
}

TEST(UserFlags, AreShownAndAppendedBetweenBlanks) {
  given_variable("CCP_USER_FLAGS", "/priority:High");
  command_line line{"job new", {}};
  append_user_flags(line, "CCP_USER_FLAGS");
  EXPECT_EQ("job new /priority:High ", line.text);
  EXPECT_EQ("\n***\n*** User defined: CCP_USER_FLAGS=/priority:High\n***\n", standard_output());
}

TEST(UserFlags, AppendNothingWhenNotSet) {
  command_line line{"job new", {}};
  append_user_flags(line, "CCP_USER_FLAGS");
  EXPECT_EQ("job new", line.text);
  EXPECT_EQ("", both_streams());
}

TEST(UserFlags, ContainNothingWhenNotSet) {
  EXPECT_FALSE(user_flags_contain("FLAGS", ""));
  given_variable("FLAGS", "-hosts 2 a b");
  EXPECT_TRUE(user_flags_contain("FLAGS", "-hosts "));
  EXPECT_FALSE(user_flags_contain("FLAGS", "-Hosts"));
}

TEST(CredentialChecks, AreOffForTheOneWordInAnyLetters) {
  EXPECT_FALSE(credential_checks_are_off());
  for (const char *value : {"no", "NO", "No"}) {
    given_variable("ZEPHON_CRED_CHECK", value);
    EXPECT_TRUE(credential_checks_are_off()) << value;
  }
  for (const char *value : {"", "yes", "n", "no ", "none", "0"}) {
    given_variable("ZEPHON_CRED_CHECK", value);
    EXPECT_FALSE(credential_checks_are_off()) << value;
  }
}

}  // namespace
