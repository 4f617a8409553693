// Tests of the settings that users make themselves.
#include "core/user_defined.h"

#include <gtest/gtest.h>

#include <string>

#include "support/fresh_launch.h"

using namespace stand_in;

namespace {

struct echoed_note {
  const char *note;
  const char *shown;
};

TEST(EchoUserDefined, ShowsTheVariableAndANoteBetweenStars) {
  const echoed_note notes[] = {
      {"", ""},
      {"Skipping!", "*** Skipping!\n"},
      {"used!\n", "*** used!\n"},      // it has a newline of its own
      {"one\ntwo ", "*** one\ntwo "},  // anywhere
      {"%d", "*** %d\n"},
  };
  echo_user_defined("A", "is not set");
  std::string expected;
  for (const auto &[note, shown] : notes) {
    given_variable("A", "%s%n");
    echo_user_defined("A", note);
    given_variable("A", "");
    echo_user_defined("A", note);
    expected += std::string("\n***\n*** User defined: A=%s%n\n") + shown + "***\n";
    expected += std::string("\n***\n*** User defined: A=\n") + shown + "***\n";
  }
  EXPECT_EQ(expected, standard_output());
}

TEST(UserFlags, AreShownAndAppendedBetweenBlanks) {
  command_line line{"job new", {}};
  append_user_flags(line, "FLAGS");
  EXPECT_EQ("job new", line.text);
  given_variable("FLAGS", "/priority:High");
  append_user_flags(line, "FLAGS");
  EXPECT_EQ("job new /priority:High ", line.text);
  EXPECT_EQ("\n***\n*** User defined: FLAGS=/priority:High\n***\n", standard_output());
}

TEST(UserFlags, ContainAPieceLetterByLetter) {
  EXPECT_FALSE(user_flags_contain("FLAGS", ""));
  given_variable("FLAGS", "-hosts 2 a b");
  EXPECT_TRUE(user_flags_contain("FLAGS", "-hosts "));
  EXPECT_FALSE(user_flags_contain("FLAGS", "-Hosts"));
}

TEST(CredentialChecks, AreOffForTheOneWordInAnyLetters) {
  EXPECT_FALSE(credential_checks_are_off());
  for (const char *value : {"no", "NO", "No", "nO"}) {
    given_variable("ZEPHON_CRED_CHECK", value);
    EXPECT_TRUE(credential_checks_are_off()) << value;
  }
  for (const char *value : {"", "yes", "n", "no ", "none", "0"}) {
    given_variable("ZEPHON_CRED_CHECK", value);
    EXPECT_FALSE(credential_checks_are_off()) << value;
  }
}

}  // namespace
