// Tests of what the launcher says, and where.
#include "core/messages.h"

#include <gtest/gtest.h>

#include <string>

#include "support/fresh_launch.h"

using namespace stand_in;

namespace {

TEST(Print, WritesToStandardOutputAtOnce) {
  print("%s has %d\n", "alpha", 4);
  EXPECT_EQ("alpha has 4\n", standard_output());
  EXPECT_EQ("", standard_error());
}

TEST(Print, WritesNewlinesAsCrLf) {
  print("a\nb");
  EXPECT_EQ("a\r\nb", standard_output_bytes());
}

TEST(PrintError, WritesToStandardErrorAtOnce) {
  print_error("\nError in %s\n", "x");
  EXPECT_EQ("\nError in x\n", standard_error());
  EXPECT_EQ("", standard_output());
}

TEST(PrintText, TakesNoTextForAFormat) {
  (void)print_text(platform::standard_stream::output, "100%s%n%%\n");
  EXPECT_EQ("100%s%n%%\n", standard_output());
}

TEST(PrintText, KeepsZeroBytes) {
  (void)print_text(platform::standard_stream::output, std::string("a\0b", 3));
  EXPECT_EQ(std::string("a\0b", 3), standard_output());
}

TEST(PrintText, SaysNothingWithoutAStandardHandle) {
  given_no_standard_handles();
  print("a\n");
  print_error("b\n");
  EXPECT_EQ("", both_streams());
}

TEST(PrintText, GoesOnWhenNobodyReads) {
  given_broken_standard_output();
  print("a\n");
  print_error("b\n");
  EXPECT_EQ("b\n", both_streams());
}

TEST(AddMessage, GathersWithoutASeparator) {
  add_message("one %d\n", 1);
  add_message("%s", "two\n");
  EXPECT_EQ("one 1\ntwo\n", state.message_buffer);
  EXPECT_EQ("", both_streams());
}

TEST(AddMessage, TakesMoreThanEightThousandCharacters) {
  const std::string text(20'000, 'x');
  add_message("%s", text.c_str());
  add_message("%s", "y");
  EXPECT_EQ(text + "y", state.message_buffer);
}

TEST(Fatal, WritesToStandardErrorAndEndsTheProgram) {
  EXPECT_EQ(2, status_of_exit([] { fatal(2, "\n Error:  %s\n", "no host file"); }));
  EXPECT_EQ("\n Error:  no host file\n", standard_error());
}

TEST(FlushMessages, DoesNothingWithoutAMessage) {
  flush_messages();
  EXPECT_TRUE(message_boxes().empty());
  EXPECT_EQ("", both_streams());
}

TEST(FlushMessages, ShowsABoxWithTheProgramAsItsCaption) {
  state.zephon_prod = "lumis";
  add_message("\nWarning: x\n");
  flush_messages();
  ASSERT_EQ(1U, message_boxes().size());
  EXPECT_EQ("lumis", message_boxes()[0].caption);
  EXPECT_EQ("\nWarning: x\n", message_boxes()[0].text);
  EXPECT_EQ(0x40U, message_boxes()[0].style);
  EXPECT_EQ("", both_streams());
}

TEST(FlushMessages, ShowsABoxOfZephonForAnUnnamedProgram) {
  add_message("x");
  flush_messages();
  ASSERT_EQ(1U, message_boxes().size());
  EXPECT_EQ("Zephon", message_boxes()[0].caption);
}

TEST(FlushMessages, ShowsEachMessageOnce) {
  add_message("x");
  flush_messages();
  flush_messages();
  EXPECT_EQ(1U, message_boxes().size());
  EXPECT_EQ("", state.message_buffer);
}

TEST(FlushMessages, PrintsOnBehalfOfANode) {
  state.node_mode = true;
  add_message("\nx");
  flush_messages();
  EXPECT_TRUE(message_boxes().empty());
  EXPECT_EQ("\nx\n", standard_output());
  EXPECT_EQ("", state.message_buffer);
}

TEST(FlushMessages, PrintsThroughARemoteShell) {
  given_variable("RSH_USER", "jdoe");
  add_message("x\n");
  flush_messages();
  EXPECT_TRUE(message_boxes().empty());
  EXPECT_EQ("x\n\n", standard_output());
}

TEST(FlushMessages, PrintsWhereNobodySeesABox) {
  for (const char *text : {"x", "\nx\n", "x\r\n\n"}) {
    fresh_launch();
    given_no_visible_boxes();
    add_message("%s", text);
    flush_messages();
    EXPECT_TRUE(message_boxes().empty());
    EXPECT_EQ(*text == 'x' ? "x\n" : "\nx\n", standard_output());
  }
}

TEST(FlushMessages, PrintsWhatABoxCannotShow) {
  given_box_that_cannot_be_shown();
  add_message("x\n");
  flush_messages();
  EXPECT_EQ("x\n", standard_output());
}

}  // namespace
