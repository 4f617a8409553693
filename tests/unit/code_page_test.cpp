// Names in code pages whose letters have two bytes: 95 5C is one of code page 932, and
// its second byte alone is a backslash.
#include "platform/code_page.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "front/launcher_line.h"
#include "platform/rehearsal.h"
#include "support/fresh_launch.h"

using namespace stand_in;

namespace {

const std::string letter = "\x95\x5C";

TEST(CodePage, SignsAreToldFromHalvesOfLetters) {
  struct row {
    std::string text;
    std::string signs;
  };
  const std::vector<row> rows = {{"", ""},
                                 {"C:\\a.txt", "C:\\a.txt"},
                                 {letter, "xx"},
                                 {"C:\\" + letter + "\\b", "C:\\xx\\b"},
                                 {"\x5C\x95", "\\\x95"},  // no letter without its second byte
                                 {"\x95\x5C\\", "xx\\"},  // a folder's end
                                 {"\x95\x95\\", "xx\\"},  // the second may look like a first one
                                 {"\x81\x7C|", "xx|"},    // a bar
                                 {"\xB1 \xB2", "\xB1 \xB2"}};  // letters of one byte
  for (const row &one : rows) {
    fresh_launch();
    EXPECT_EQ(one.text, without_double_bytes(one.text));
    given_double_byte_code_page();
    EXPECT_EQ(one.signs, without_double_bytes(one.text));
  }
}

TEST(CodePage, ALetterOfTwoBytesDoesNotEndAQuotedArgument) {
  fresh_launch();
  given_double_byte_code_page();
  EXPECT_EQ(" s.exe \"my " + letter + "\"", solver_line("s.exe", {"my " + letter}, false));
  EXPECT_EQ(" s.exe \"my " + letter + "\\\\\"",
            solver_line("s.exe", {"my " + letter + "\\"}, false));
  EXPECT_EQ(" s.exe \"" + letter + "\\\"\"", solver_line("s.exe", {letter + "\""}, false));
  EXPECT_EQ(" s.exe \x81\x7C", solver_line("s.exe", {"\x81\x7C"}, true));
}

TEST(CodePage, AFolderEndsAtASignInARehearsal) {
  fresh_launch();
  given_double_byte_code_page();
  given_directory("C:\\temp");
  EXPECT_TRUE(rehearsal::would_open("C:\\temp\\" + letter + ".txt", platform::open_mode::write));
}

}  // namespace
