// Tests of the text helpers.
#include "core/text.h"

#include <gtest/gtest.h>

#include <climits>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "support/fresh_launch.h"

namespace {

TEST(Formatting, AppendsBehindWhatIsThere) {
  std::string line = "mpiexec";
  append_format(line, " -np %d -host %s", 4, "alpha");
  EXPECT_EQ("mpiexec -np 4 -host alpha", line);
}

TEST(Formatting, AppendsNothingForAnEmptyPiece) {
  std::string line = "x";
  append_format(line, "%s", "");
  EXPECT_EQ("x", line);
}

TEST(Formatting, GrowsWithTheText) {
  const std::string long_text(40'000, 'x');
  EXPECT_EQ("<" + long_text + ">", format_text("<%s>", long_text.c_str()));
}

TEST(Formatting, TakesAnAbsentTextForNothing) {
  EXPECT_EQ("\\zephon\\netweave", format_text("\\zephon%s\\netweave", chars_of(std::nullopt)));
  EXPECT_STREQ("12", chars_of(std::optional<std::string>("12")));
}

TEST(WithOneLineEnd, LeavesBlanksAlone) {
  EXPECT_EQ(" a \n", with_one_line_end(" a \n\r\n"));
  EXPECT_EQ("\n", with_one_line_end(""));
}

TEST(ContainsBlank, HoldsForTheSpaceCharacterOnly) {
  EXPECT_TRUE(contains_blank("a b"));
  EXPECT_TRUE(contains_blank(" "));
  EXPECT_FALSE(contains_blank(""));
  EXPECT_FALSE(contains_blank("a\tb"));
  EXPECT_FALSE(contains_blank("a\nb"));
}

TEST(Contains, FindsAPieceAnywhere) {
  EXPECT_TRUE(contains("mpiexec -np", "exec"));
  EXPECT_TRUE(contains("abc", ""));
  EXPECT_FALSE(contains("", "a"));
  EXPECT_FALSE(contains("Fail", "fail"));
}

TEST(EqualIgnoringCase, TakesCapitalAndSmallAsciiLettersForTheSame) {
  EXPECT_TRUE(equal_ignoring_case("No", "nO"));
  EXPECT_TRUE(equal_ignoring_case("AZaz09", "azAZ09"));
  EXPECT_TRUE(equal_ignoring_case("", ""));
  EXPECT_FALSE(equal_ignoring_case("no", "not"));
  EXPECT_FALSE(equal_ignoring_case("not", "no"));
  EXPECT_FALSE(equal_ignoring_case("[", "{"));  // beside the letters
  EXPECT_FALSE(equal_ignoring_case("@", "`"));
  EXPECT_FALSE(equal_ignoring_case("\xC4", "\xE4"));  // no ASCII letters
}

TEST(BeginsIgnoringCase, ComparesOnlyTheBeginning) {
  EXPECT_TRUE(begins_ignoring_case("STATUS : Running", "Status"));
  EXPECT_TRUE(begins_ignoring_case("x", ""));
  EXPECT_FALSE(begins_ignoring_case("Stat", "Status"));
  EXPECT_FALSE(begins_ignoring_case(" Status", "Status"));
}

TEST(ScanNumber, GivesBackWhereTheNumberEnds) {
  int number = 0;
  const char *text = "  -12.5";
  EXPECT_EQ(text + 5, scan_number(text, number));
  EXPECT_EQ(-12, number);
}

TEST(ScanNumber, LeavesTheNumberWithoutDigits) {
  int number = 7;
  EXPECT_EQ(nullptr, scan_number("x1", number));
  EXPECT_EQ(nullptr, scan_number("", number));
  EXPECT_EQ(nullptr, scan_number("-", number));
  EXPECT_EQ(7, number);
}

TEST(ToNumber, ReadsBlanksASignAndDigits) {
  EXPECT_EQ(8, to_number("8"));
  EXPECT_EQ(8, to_number(" \t+8x"));
  EXPECT_EQ(-3, to_number("-3"));
  EXPECT_EQ(10, to_number("010"));
}

TEST(ToDecimal, ReadsASignDigitsAPointAndAnExponent) {
  const std::vector<std::pair<std::string, std::optional<double>>> rows = {
      {"2", 2.0},          {" \t-1.5", -1.5},     {"+.5x", 0.5},         {"3.", 3.0},
      {"1e3", 1000.0},     {"1E-1 ", 0.1},        {"2e", 2.0},           {"2e+", 2.0},
      {"0x10", 0.0},       {"1d3", 1.0},          {"", std::nullopt},    {".", std::nullopt},
      {"-", std::nullopt}, {"inf", std::nullopt}, {"nan", std::nullopt}, {"e3", std::nullopt},
  };
  for (const auto &[text, number] : rows) {
    EXPECT_EQ(number, to_decimal(text)) << text;
  }
}

TEST(ToNumber, GivesNothingAsZero) {
  EXPECT_EQ(0, to_number(""));
  EXPECT_EQ(0, to_number("abc"));
  EXPECT_EQ(0, to_number("- 3"));
}

TEST(ToNumber, StopsAtTheLargestAndSmallest) {
  EXPECT_EQ(INT_MAX, to_number("2147483648"));
  EXPECT_EQ(INT_MIN, to_number("-2147483649"));
  EXPECT_EQ(INT_MAX, to_number("999999999999999999999999"));
}

TEST(CalendarText, EndsWithItsNewline) {
  const std::string text = calendar_text(1'234'567'890);
  ASSERT_EQ(25U, text.size());
  EXPECT_EQ(" 2009\n", text.substr(19));
}

TEST(CalendarText, IsOneNewlineForATimeWithoutACalendar) {
  const std::string text = calendar_text(std::numeric_limits<std::time_t>::max());
  EXPECT_EQ("\n", text);
}

TEST(SplitAt, GivesThePiecesBetweenAnyOfTheSeparators) {
  using texts = std::vector<std::string>;
  EXPECT_EQ((texts{"2", "alpha", "4"}), split_at(" 2 alpha  4 ", " "));
  EXPECT_EQ((texts{"alpha", "beta", "c"}), split_at(",alpha;beta:, c", ",;: "));
  EXPECT_EQ((texts{"alpha"}), split_at("alpha", ":"));
  EXPECT_EQ(texts{}, split_at("", " "));
  EXPECT_EQ(texts{}, split_at("::", ":"));
}

TEST(LineEnd, IsTakenOffWithAllItsCharacters) {
  EXPECT_EQ("alpha ", without_line_end("alpha \r\r\n\n"));
  EXPECT_EQ("a\nb", without_line_end("a\nb"));
  EXPECT_EQ("", without_line_end("\n"));
  EXPECT_EQ("", without_line_end(""));
}

TEST(Quote, PutsATextBetweenQuotesWhateverItHolds) {
  EXPECT_EQ("\"C:\\mpi\"", quote("C:\\mpi"));
  EXPECT_EQ("\"C:\\my mpi\"", quote("C:\\my mpi"));
  EXPECT_EQ("\"\"a\"\"", quote("\"a\""));
  EXPECT_EQ("\"\"", quote(""));
}

TEST(QuoteArgument, LeavesAnArgumentWithoutABlank) {
  EXPECT_EQ("3d", quote_argument("3d"));
  EXPECT_EQ("\"my run.jou\"", quote_argument("my run.jou"));
  EXPECT_EQ("\"\"my run.jou\"\"", quote_argument("\"my run.jou\""));
  EXPECT_EQ("", quote_argument(""));
}

TEST(QuotePath, LeavesAPathWithoutABlankOrWithQuotes) {
  EXPECT_EQ("C:\\mpi", quote_path("C:\\mpi"));
  EXPECT_EQ("\"C:\\my mpi\"", quote_path("C:\\my mpi"));
  EXPECT_EQ("\"C:\\my mpi\"", quote_path("\"C:\\my mpi\""));
  EXPECT_EQ("C:\\my \"mpi", quote_path("C:\\my \"mpi"));
  EXPECT_EQ("", quote_path(""));
}

TEST(PathList, GrowsByFoldersThatAreNotEmpty) {
  std::string list = "C:\\a";
  append_to_path_list(list, "C:\\b");
  append_to_path_list(list, "");
  EXPECT_EQ("C:\\a;C:\\b", list);
}

}  // namespace
