// figures_test.cpp: the figures of docs/reliability.md that can be counted.
#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "source_tree.h"

namespace {

// 20000 -> "20,000"
std::string with_commas(std::size_t number) {
  std::string text = std::to_string(number);
  for (std::size_t end = text.size(); end > 3; end -= 3) {
    text.insert(end - 3, ",");
  }
  return text;
}

void expect_on_page(const std::string &piece) {
  EXPECT_NE(std::string::npos, document("docs/reliability.md").find(piece)) << piece;
}

TEST(ReliabilityDocument, CountsTheFuzzersRunsAndSeeds) {
  std::size_t all_runs = 0;
  std::size_t all_seeds = 0;
  const std::string script = file_text("tests/fuzz/run.sh");
  const auto rows =
      table_rows(document("docs/reliability.md"),
                 "Fuzzer | Text from outside | Seeds | Executions of the short round |");
  for (const auto &row : rows) {
    const std::string name = in_backticks(row.at(0)).at(0);
    const auto runs = all_matches(script, "\\[" + name + "\\]=(\\d+)");
    ASSERT_EQ(1U, runs.size()) << name;
    const std::size_t seeds = files_in("tests/fuzz/seeds/" + name);
    EXPECT_EQ(std::to_string(seeds), row.at(2)) << name;
    EXPECT_EQ(with_commas(std::stoul(runs[0])), row.at(3)) << name;
    EXPECT_TRUE(exists_in_tree("tests/fuzz/" + name + "_fuzzer.cpp")) << name;
    all_runs += std::stoul(runs[0]);
    all_seeds += seeds;
  }
  EXPECT_EQ(all_matches(script, "(\\[\\w+\\]=\\d)").size(), rows.size());
  expect_on_page(with_commas(all_runs) + " executions in the short round");
  expect_on_page("(" + std::to_string(all_seeds) + " files)");
}

TEST(ReliabilityDocument, ShowsWhatTheFuzzersReached) {
  const auto rows = table_rows(document("docs/reliability.md"),
                               "Fuzzer | Executions | Edges of the launcher reached | Executions "
                               "since the last new one |");
  std::istringstream reached(file_text("tests/fuzz/reached.txt"));
  std::size_t all_runs = 0;
  std::size_t number = 0;
  std::string name;
  std::size_t runs = 0;
  std::size_t edges = 0;
  std::size_t all_edges = 0;
  std::size_t quiet = 0;
  while (reached >> name >> runs >> edges >> all_edges >> quiet) {
    ASSERT_LT(number, rows.size()) << name;
    const std::vector<std::string> expected = {"`" + name + "`", with_commas(runs),
                                               with_commas(edges) + " of " + with_commas(all_edges),
                                               with_commas(quiet)};
    EXPECT_EQ(expected, rows[number++]);
    all_runs += runs;
  }
  EXPECT_EQ(number, rows.size());
  expect_on_page(with_commas(all_runs) + " executions in all");
}

TEST(ReliabilityDocument, NamesTestsOfTheHeadNodeThatExist) {
  const std::string tests = file_text("tests/scenario/cluster/cluster_fault_test.cpp");
  const auto rows = table_rows(document("docs/reliability.md"),
                               "The head node | What the launcher does | Test |");
  EXPECT_FALSE(rows.empty());
  for (const auto &row : rows) {
    const std::string test = in_backticks(row.at(2)).at(0);
    const std::size_t dot = test.find('.');
    const std::string as_written =
        "TEST_F(" + test.substr(0, dot) + ", " + test.substr(dot + 1) + ")";
    EXPECT_NE(std::string::npos, tests.find(as_written)) << test;
  }
}

// Each line of a table on the page of the faults names some, with "; " between them.
std::size_t faults_in(const std::string &part) {
  std::size_t count = 0;
  for (const auto &faults : all_matches(part, "\n\\| ([^|]*) \\|")) {
    count += faults == "Fault" ? 0 : 1 + all_matches(faults, "(; )").size();
  }
  return count;
}

TEST(ReliabilityDocument, CountsTheFaults) {
  const std::string page = document("docs/fault-matrix.md");
  const std::size_t files = page.find("\n## Files\n");
  ASSERT_NE(std::string::npos, files);
  const std::string uses[] = {" calls of other programs", " uses of files"};
  for (const bool of_files : {false, true}) {
    const std::string part = of_files ? page.substr(files) : page.substr(0, files);
    expect_on_page(std::to_string(all_matches(part, "\n(### )").size()) + uses[of_files ? 1 : 0]);
    expect_on_page("(" + std::to_string(faults_in(part)) + " cases:");
  }
}

TEST(ReliabilityDocument, KnowsTheLeastCoverage) {
  const auto least = all_matches(file_text("test.sh"), "share_is_at_least \\w+ (\\d+)");
  ASSERT_EQ(2U, least.size());
  expect_on_page("below " + least[0] + " % of the lines or " + least[1] + " % of the branches");
}

}  // namespace
