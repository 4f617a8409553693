// What each MPI would misread in a host file.
#include "front/host_file_check.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

namespace {

using testing::ElementsAre;

struct host_file {
  std::string content;
  // For msmpi, mpich2, mpich, intel, ibmmpi: the line with a fault; 0 the whole file, -1 none.
  std::vector<int> faults;
  std::string cure;  // of the first fault
};

class HostFiles : public testing::TestWithParam<host_file> {};

}  // namespace

TEST_P(HostFiles, AreCheckedForEachMpi) {
  const auto &[content, faults, cure] = GetParam();
  const std::vector<std::string> mpis = {"msmpi", "mpich2", "mpich", "intel", "ibmmpi"};
  std::string first_cure;
  for (std::size_t i = 0; i < mpis.size(); ++i) {
    const host_file_reading reading = check_host_file(content, mpis[i]);
    EXPECT_EQ(faults[i], reading.faults.empty() ? -1 : reading.faults[0].line) << mpis[i];
    if (first_cure.empty() && !reading.faults.empty()) {
      first_cure = reading.faults[0].cure;
    }
  }
  EXPECT_EQ(cure, first_cure);
}

INSTANTIATE_TEST_SUITE_P(
    Contents, HostFiles,
    testing::Values(host_file{"alpha\r\nbeta\r\nalpha", {-1, -1, -1, -1, -1}, ""},
                    host_file{"alpha:2\nbeta:2\n", {1, -1, -1, -1, -1}, "write alpha 2"},
                    host_file{"alpha:1234567890\n", {1, -1, -1, -1, -1}, "write alpha 1234567890"},
                    host_file{"alpha\nbeta 2\n", {-1, -1, 2, 2, 2}, "write beta:2"},
                    host_file{"# mine\nalpha\n", {-1, -1, -1, 1, 1}, "remove the line"},
                    host_file{"#mine\nalpha\n", {-1, -1, -1, 1, 1}, "remove the line"},
                    host_file{"alpha # mine\n", {-1, 1, -1, 1, 1}, "remove the comment"},
                    host_file{"alpha\t# mine\n", {-1, 1, -1, 1, 1}, "remove the comment"},
                    host_file{"alpha\n \t\n\nbeta\n", {-1, 2, -1, 2, 2}, "remove the line"},
                    host_file{" alpha\n", {1, 1, 1, 1, 1}, "remove the blank"},
                    host_file{"alpha \n", {-1, 1, -1, 1, 1}, "remove the blank"},
                    host_file{"alpha\t2\n", {1, 1, 1, 1, 1}, "write blanks instead"},
                    host_file{"alpha\rbeta\r", {1, 1, 1, 1, 1}, "write one host on a line"},
                    host_file{"alpha,beta\n", {1, 1, 1, 1, 1}, "write one host on a line"},
                    host_file{"alpha beta\n", {1, 1, 1, 1, 1}, "write one host on a line"},
                    host_file{"alpha:0\n", {1, 1, 1, 1, 1}, "write one host on a line"},
                    host_file{":4\n", {1, 1, 1, 1, 1}, "write one host on a line"},
                    host_file{"", {0, 0, 0, 0, 0}, "write one host on a line"},
                    host_file{"alpha\n\x1A", {2, 2, 2, 2, 2}, "remove the sign"},
                    host_file{"\xEF\xBB\xBF"
                              "alpha\n",
                              {0, 0, 0, 0, 0},
                              "save it as plain text without a mark (ANSI)"},
                    host_file{std::string("\xFF\xFE"
                                          "a\0",
                                          4),
                              {0, 0, 0, 0, 0},
                              "save it as plain text without a mark (ANSI)"},
                    host_file{std::string("a\0l\0", 4),
                              {0, 0, 0, 0, 0},
                              "save it as plain text without a mark (ANSI)"}));

TEST(HostFile, GivesEachHostOnce) {
  EXPECT_THAT(check_host_file("alpha:2\nbeta\nalpha:1\n", "intel").hosts,
              ElementsAre(testing::Field(&named_host::name, "alpha"),
                          testing::Field(&named_host::name, "beta")));
}

TEST(HostFile, SaysWhatIsWrong) {
  for (const auto &[content, mpi, what] : std::vector<std::array<std::string, 3>>{
           {"\xFF\xFE", "intel", "the file is UTF-16"},
           {"\xFE\xFF", "intel", "the file is UTF-16"},
           {"\xEF\xBB\xBF", "intel", "the file begins with a byte-order mark"},
           {"a:x\n", "intel", "\"x\" is no number of processes"},
           {"a:2\n", "msmpi", "this MPI takes the whole of it for the host's name"},
           {"a 2\n", "intel", "the count lacks its colon"},
           {"\n", "intel", "the line is empty, and would count as a host"},
           {"#\n", "intel", "a comment would count as a host"},
           {"a #\n", "intel", "a comment behind the host"},
           {"a;b\n", "intel", "a list"},
           {"a\tb\n", "intel", "a tab"},
           {"a\rb\n", "intel", "a carriage return inside the line"},
           {" a\n", "intel", "a blank at the line's beginning or end"},
           {":2\n", "intel", "a colon without a host"},
           {"a\n\x1A", "intel", "the file ends here (Ctrl-Z)"},
           {"", "intel", "there is no host in the file"}}) {
    const auto reading = check_host_file(content, mpi);
    ASSERT_FALSE(reading.faults.empty()) << what;
    EXPECT_EQ(what, reading.faults[0].what);
  }
}
