// Jobs of the scheduler whose run was ended from outside: the note while a run has a
// job, and what the next run on that head node is told.
#include "front/left_jobs.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "front/zprun.h"
#include "support/fresh_launch.h"
#include "support/platform_stand_in.h"

using namespace stand_in;

namespace {

using texts = std::vector<std::string>;

const std::string left_note = "C:\\temp\\zprun-job-99-5.txt";
constexpr const char *all_notes = "C:\\temp\\zprun-job-*.txt";

struct left_row {
  std::string note;    // as the run that was ended left it
  std::string answer;  // of "job view 7"
  texts told;
  bool is_kept = false;  // for the next run
};

const std::vector<left_row> left_rows = {
    {"head\r\n7\r\n",
     "State : Running\r\n",
     {"a run that was ended from outside has left job 7 on head, which is Running: \"job cancel 7 "
      "/scheduler:head\" ends it"},
     true},
    {"HEAD\r\n7\r\n", "State : Canceled\r\n", {}},
    {"head\r\n7\r\n",
     "The job identifier 7 is invalid.\r\n",
     {"a run that was ended from outside has left job 7 on head, of which the scheduler says "
      "nothing: \"job cancel 7 /scheduler:head\" ends it"}},
    {"head\r\n",
     "",
     {"a run that was ended from outside may have left a job on head: \"job list "
      "/scheduler:head\" shows it"}},
    {"head & calc\r\n7\r\n", "State : Running\r\n", {}, true},
    {"", "State : Running\r\n", {}, true},
};

struct noted_row {
  std::string mpi;
  std::string tool;  // that runs when the note is looked at
  std::string note;
};

const std::vector<noted_row> noted_rows = {{"msmpi", "job submit", "head\r\n"},
                                           {"msmpi", "job view", "head\r\n7\r\n"},
                                           {"ibmmpi", "job new", "head\r\n"},
                                           {"ibmmpi", "job add", "head\r\n7\r\n"},
                                           {"ibmmpi", "job submit", "head\r\n7\r\n"}};

int run_on_cluster(const std::string &mpi, const texts &more = {}) {
  const std::string release = "C:\\zephon\\zephon12.0.16\\";
  given_variable("TEMP", "C:\\temp");
  given_variable("ZEPHON_INC", "C:\\zephon");
  given_file(release + "ntbin\\win64\\zephon.exe");
  given_file(release + "netweave\\mpi\\win64\\ms\\bin\\mpiexec.exe");
  given_file(release + "netweave\\mpi\\win64\\ibmmpi\\bin\\mpirun.exe");
  given_file(release + "netweave\\mpi_wrapper\\win64\\" + mpi + "\\mpi_wrapper.dll");
  texts words = {"-mpi=" + mpi, "-t2", "-ccp", "head", "-cwd", "\\\\s\\run", "-cred_check=no"};
  words.insert(words.end(), more.begin(), more.end());
  char **arguments = given_arguments(words);
  const int count = state.arg_count;
  return status_of_exit([&] { start_zprun(count, arguments); }).value_or(-1);
}

// The scheduler's tools; one of them does something.
void given_scheduler(const std::string &tool, const std::function<void()> &deed) {
  for (const auto &[command, output] : std::vector<std::pair<std::string, std::string>>{
           {"cluscfg", ""},
           {"job new", "Created job, ID: 7\r\n"},
           {"job add", ""},
           {"job submit", "Job has been submitted. ID: 7.\r\n"},
           {"job view", "State : Finished\r\n"}}) {
    given_tool_with(command, tool == command ? prints(output).does(deed) : prints(output));
  }
}

}  // namespace

TEST(LeftJobs, AreToldOfUntilTheyHaveEnded) {
  for (const left_row &row : left_rows) {
    fresh_launch();
    given_variable("TEMP", "C:\\temp");
    given_file(left_note, row.note);
    given_tool_with("job view 7 /scheduler:head", prints(row.answer));
    EXPECT_EQ(row.told, find_left_jobs("head")) << row.note;
    EXPECT_EQ(row.is_kept ? std::optional(row.note) : std::nullopt, file_content(left_note));
  }
}

TEST(LeftJobs, AreNotedAsLongAsARunHasOne) {
  for (const noted_row &row : noted_rows) {
    fresh_launch();
    std::string seen = "not called";
    given_scheduler(row.tool, [&seen] {
      const auto names = platform::list_directory(all_notes).value_or(texts());
      seen = names.size() == 1 ? file_content("C:\\temp\\" + names[0]).value_or("") : "no note";
    });
    EXPECT_EQ(0, run_on_cluster(row.mpi)) << row.tool << standard_error();
    EXPECT_EQ(row.note, seen) << row.mpi << " " << row.tool;
    EXPECT_EQ(std::nullopt, platform::list_directory(all_notes));
  }
}

// A job of the user's own stays, and one that nobody waits for.
TEST(LeftJobs, AreNotedOnlyWhenNobodyMeantThem) {
  for (const texts &more : {texts{"-jobid=7"}, texts{"-nowait"}}) {
    fresh_launch();
    const auto is_noted = [] { return platform::list_directory(all_notes).has_value(); };
    bool seen = false;
    given_scheduler("job submit", [&] { seen = is_noted(); });
    EXPECT_EQ(0, run_on_cluster("msmpi", more)) << standard_error();
    EXPECT_EQ(more[0] == "-nowait", seen);
    EXPECT_FALSE(is_noted());
  }
}

TEST(LeftJobs, AreToldOfByTheNextRunThere) {
  fresh_launch();
  given_file(left_note, "head\r\n7\r\n");
  given_scheduler("", {});
  given_tool("job view 7 /scheduler:head", prints("State : Queued\r\n"));
  given_tool("job view 7 /scheduler:head", prints("State : Finished\r\n"));
  EXPECT_EQ(0, run_on_cluster("msmpi"));
  EXPECT_TRUE(standard_error().starts_with(
      "zprun: a run that was ended from outside has left job 7 on head, which is Queued: "))
      << standard_error();
}
