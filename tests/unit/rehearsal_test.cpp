// Tests of the rehearsal: the command of the real run, and nothing done.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "core/launch_state.h"
#include "core/run_record.h"
#include "launch/mpirun.h"
#include "platform/rehearsal.h"
#include "support/fresh_launch.h"

using namespace stand_in;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

namespace {

using texts = std::vector<std::string>;

constexpr const char *job_number = "42";

struct launch {
  const char *name;
  const char *mpi;
  texts arguments;
  std::function<void()> given;  // what its world has besides
  texts asked;                  // tools that a rehearsal asks for real
};

void given_cluster() {
  given_variable("USE_CCP", "head");
  given_tool_with("cluscfg");
  given_tool_with("job modify");
  given_tool_with("job submit");
  given_tool_with("cmd.exe /c job submit");
  given_tool_with("job add", prints("Task submitted\n"));
  given_tool_with("job new", prints(std::string("Created job, ID: ") + job_number + "\n"));
  given_tool("job view 42 /scheduler:head", prints("State : Running\n"));
  given_tool("job view 42 /scheduler:head", prints("State : Finished\n"));
}

void given_hosts() {
  given_file("C:\\hosts.txt", "alpha\nbeta\n");
  given_variable("ZEPHON_HOSTS_FILE", "C:\\hosts.txt");
  given_variable("TEMP", "C:\\temp");
  given_directory("C:\\temp");
}

void given_service(const std::string &status, const std::string &password) {
  given_hosts();
  given_tool_with("smpd.exe -status", prints(status));
  given_tool_with("smpd.exe -d 0");
  given_tool_with("-validate", prints("SUCCESS\n"));
  given_tool("C:\\zephon\\zephon\\netweave\\mpi\\win64\\intel\\bin\\mpiexec.exe -validate",
             prints(password));
  given_tool("C:\\zephon\\zephon\\netweave\\mpi\\win64\\intel\\bin\\mpiexec.exe -validate",
             prints("SUCCESS\n"));
  given_tool_with("-register");
}

const std::vector<launch> launches = {
    {"SerialRun", "net", {"--mpi=net", "C:\\solver.exe", "3d"}, [] {}, {}},
    {"MsMpiHere", "msmpi", {"--mpi=msmpi", "--np=4", "3d"}, [] {}, {}},
    {"MsMpiInAJobOfItsOwn",
     "msmpi",
     {"--mpi=msmpi", "--np=4", "3d"},
     given_cluster,
     {"cluscfg listenvs /scheduler:head"}},
    {"MsMpiInAJobThatWaits",
     "msmpi",
     {"--mpi=msmpi", "--np=4", "--jobid=-1", "3d"},
     given_cluster,
     {"cluscfg listenvs /scheduler:head"}},
    {"MsMpiInsideATask",
     "msmpi",
     {"--mpi=msmpi", "--np=2", "3d"},
     [] {
       given_variable("CCP_CLUSTER_NAME", "head");
       given_variable("CCP_NODES", "2 alpha 4 beta 4");
     },
     {}},
    {"IntelMpiHere", "intel", {"--mpi=intel", "--np=4", "--ic=ib", "3d"}, [] {}, {}},
    {"IntelMpiOnHostsWithAService",
     "intel",
     {"--mpi=intel", "--np=4", "3d"},
     [] { given_service("smpd running on alpha\n", "SUCCESS\n"); },
     {"smpd.exe -status", "mpiexec.exe -validate"}},
    {"IntelMpiOnHostsWithoutAPassword",
     "intel",
     {"--mpi=intel", "--np=4", "3d"},
     [] { given_service("smpd running on alpha\n", "FAIL\n"); },
     {"smpd.exe -status", "mpiexec.exe -validate"}},
    {"IntelMpiOnHostsWithoutAService",
     "intel",
     {"--mpi=intel", "--np=4", "3d"},
     [] { given_service("no smpd running\n", "SUCCESS\n"); },
     {"smpd.exe -status"}},
    {"IntelMpiInAJobThatWaits",
     "intel",
     {"--mpi=intel", "--np=4", "--jobid=-1", "3d"},
     given_cluster,
     {}},
    {"Mpich2Here", "mpich2", {"--mpi=mpich2", "--np=4", "3d"}, [] {}, {}},
    {"Mpich2OnHosts",
     "mpich2",
     {"--mpi=mpich2", "--np=4", "3d"},
     [] { given_service("smpd running on alpha\n", "SUCCESS\n"); },
     {"smpd.exe -status", "mpiexec.exe -validate"}},
    {"PlatformMpiOnHosts",
     "ibmmpi",
     {"--mpi=ibmmpi", "--np=4", "-wait", "3d"},
     [] {
       given_hosts();
       given_tool_with("-pwcheck", prints("Cached password is valid\n"));
     },
     {"mpirun.exe -pwcheck"}},
    {"PlatformMpiInAJobOfItsOwn", "ibmmpi", {"--mpi=ibmmpi", "--np=4", "3d"}, given_cluster, {}},
    {"MpichOnHosts",
     "mpich",
     {"--mpi=mpich", "--np=4", "--o", "C:\\times.txt", "3d"},
     [] {
       given_hosts();
       given_variable("MPI_HOME", "C:\\mpich");
       given_variable("ZEPHON_RUN_DEBUG", "C:\\log.txt");
     },
     {}},
};

class Rehearsal : public testing::TestWithParam<launch> {};

std::optional<int> run(const launch &one, const char *rehearse) {
  fresh_launch();
  given_installation(one.mpi);
  given_variable("ZEPHON_REHEARSAL", rehearse);
  given_variable("ZEPHON_RUN_RECORD", "C:\\record.json");
  given_tool_for([](const std::string &command) { return command.ends_with(" 3d"); });
  one.given();
  return status_of_exit([&] {
    char **vector = given_arguments(one.arguments);
    start_from_window(nullptr, 1, state.arg_count, vector);
  });
}

// What stands in the record behind "command".
std::string recorded_command() {
  const std::string record = file_content("C:\\record.json").value_or("");
  const std::string before = R"("launch": {"command": ")";
  const std::size_t start = record.find(before);
  if (start == std::string::npos) {
    return "no launch";
  }
  std::string command;
  for (std::size_t i = start + before.size(); record[i] != '"'; ++i) {
    i += record[i] == '\\' ? 1U : 0U;
    command += record[i];
  }
  return command;
}

std::string replaced(std::string text, const std::string &piece, const std::string &by) {
  for (std::size_t at = 0; (at = text.find(piece, at)) != std::string::npos; at += by.size()) {
    text.replace(at, piece.size(), by);
  }
  return text;
}

// The pieces as the rehearsal tells them, put together.
std::string told_pieces() {
  const std::string said = standard_output();
  std::string command;
  std::size_t at = said.find("and where its pieces come from");
  while ((at = said.find("\n    |", at)) != std::string::npos) {
    at += 6;
    command += said.substr(at, said.find("|  ", at) - at);
  }
  return command;
}

TEST_P(Rehearsal, HasTheCommandOfTheRealRunAndDoesNothing) {
  const launch &one = GetParam();
  const auto status = run(one, "0");
  const std::string command = recorded_command();
  EXPECT_THAT(command, EndsWith(" 3d"));

  EXPECT_EQ(status, run(one, "1"));
  EXPECT_EQ(command, replaced(recorded_command(), "999999", job_number));
  EXPECT_EQ(recorded_command(), told_pieces());
  EXPECT_THAT(standard_output(), Not(HasSubstr("|  \n")));  // each has a reason

  for (const started_command &started : started_commands()) {
    EXPECT_TRUE(std::any_of(one.asked.begin(), one.asked.end(), [&](const std::string &tool) {
      return started.command.find(tool) != std::string::npos;
    })) << started.command;
  }
  EXPECT_EQ(one.asked.size(), started_commands().size());
  EXPECT_EQ((texts{"C:\\record.json.4711.part"}), written_files());
  EXPECT_EQ((texts{"C:\\record.json.4711.part"}), removed_files());
  EXPECT_TRUE(message_boxes().empty());
  EXPECT_EQ(0U, threads_started());
  EXPECT_FALSE(ctrl_c_is_ignored());
}

INSTANTIATE_TEST_SUITE_P(Launches, Rehearsal, testing::ValuesIn(launches),
                         [](const auto &one) { return one.param.name; });

TEST(RehearsalOfLaunches, TellsWhatFollowsFromThem) {
  const std::string unknown_end =
      "Rehearsal: only the real run shows how long the program runs and how it ends\n";
  for (const auto &[named, text, is_told] : std::vector<std::tuple<std::string, std::string, bool>>{
           {"PlatformMpiOnHosts",
            "Rehearsal: not written: write C:\\temp\\zphost-4711.txt\n"
            "    |alpha:2\n"
            "    |beta:2\n"
            "    taken for its outcome: written to its end\n",
            true},
           {"PlatformMpiOnHosts", unknown_end, true},
           {"SerialRun", unknown_end, false},
           {"SerialRun",
            "Rehearsal: not done: C:\\solver.exe 3d\n    taken for its outcome: started\n", true},
           {"IntelMpiOnHostsWithoutAPassword", "User password encrypted into the Registry.", true},
           {"IntelMpiOnHostsWithoutAService", "smpd.exe -d 0\n    taken for its outcome: started\n",
            true},
           {"IntelMpiOnHostsWithAService", "User password encrypted into the Registry.", false},
           {"MpichOnHosts",
            "Rehearsal: not written: write C:\\times.txt\n"
            "    taken for its outcome: start, end and times of the run\n",
            true}}) {
    const std::string name = named;
    const auto one = std::find_if(launches.begin(), launches.end(),
                                  [&](const launch &known) { return known.name == name; });
    (void)run(*one, "1");
    EXPECT_EQ(is_told, standard_output().find(text) != std::string::npos) << name << text;
  }
}

TEST(RehearsalOfAnInstallation, EndsWithoutALaunch) {
  const launch install{"",
                       "mpich2",
                       {"--install_smpd", "C:\\mpich2"},
                       [] { given_file("C:\\mpich2\\bin\\smpd.exe"); },
                       {}};
  EXPECT_EQ(0, run(install, "1"));
  EXPECT_THAT(standard_output(),
              AllOf(HasSubstr("Rehearsal: not done: C:\\mpich2\\bin\\smpd.exe -install\n"),
                    HasSubstr("Rehearsal: not shown: \n    MPICH2 SMPD Installation Successful:\n"),
                    HasSubstr("Rehearsal: not written: append to install_smpd_log.txt\n"
                              "    taken for its outcome: the log grew by what follows\n")));
  EXPECT_THAT(
      standard_output(),
      EndsWith("\nRehearsal: nothing would be launched; the launcher ends with status 0\n"));
  EXPECT_TRUE(started_commands().empty());
  EXPECT_EQ((texts{"C:\\record.json.4711.part"}), written_files());
}

TEST(RehearsalOfALongCommand, DoesNotGuessWhatTheInterpreterMakesOfIt) {
  for (const std::size_t length : {7'000U, 9'000U}) {
    const texts words = {"--mpi=msmpi", "--np=2", std::string(length, 'x')};
    (void)run({"", "msmpi", words, given_cluster, {}}, "1");
    EXPECT_EQ(
        length > 8'000U,
        standard_output().find("Rehearsal: only the real run shows what the command interpreter "
                               "makes of a command of this length\n") != std::string::npos);
  }
}

TEST(RehearsalOfWhatCannotBeStarted, SaysWhy) {
  for (const auto &[last, why] :
       {std::pair(std::string("4d"), "there is no such program"),
        std::pair(std::string(40'000, 'x') + " 3d", "Windows takes no command of this length")}) {
    EXPECT_EQ(255, run({"", "net", {"--mpi=net", "C:\\solver.exe", last}, [] {}, {}}, "1"));
    EXPECT_THAT(standard_output(),
                HasSubstr("\n    taken for its outcome: not started: " + std::string(why) + "\n"));
  }
}

TEST(RehearsalOfAnAssumedJob, DoesNotGuessItsNodes) {
  const auto given = [] {
    given_cluster();
    given_hosts();
    given_variable("NP_PER_NODE", "1");
  };
  (void)run({"", "msmpi", {"--mpi=msmpi", "--np=2", "--jobid=-1", "3d"}, given, {}}, "1");
  EXPECT_THAT(standard_output(), HasSubstr("Rehearsal: only the real run shows the nodes that the "
                                           "scheduler gives to the job\n"));
}

TEST(RehearsalOfAQuestion, GoesOnWithItsAnswer) {
  const launch asked{"", "msmpi", {"--mpi=msmpi", "--np=2", "3d", "--ccp"}, given_cluster, {}};
  (void)run(asked, "1");
  EXPECT_THAT(standard_output(), HasSubstr("Do you want to use the local host as the head node?\n"
                                           "    taken for its outcome: Yes\n"));
  EXPECT_THAT(recorded_command(), HasSubstr("/scheduler:0 "));
}

TEST(RehearsedFiles, AreReadAgainAndRemoved) {
  fresh_launch();
  rehearsal::begin();
  given_directory("C:\\temp");
  EXPECT_FALSE(rehearsal::would_open("C:\\missing\\a.txt", platform::open_mode::write));
  EXPECT_TRUE(rehearsal::would_open("C:\\temp\\a.txt", platform::open_mode::create));
  given_file("C:\\temp\\old.txt", "old");
  EXPECT_FALSE(rehearsal::would_open("C:\\temp\\old.txt", platform::open_mode::create));
  EXPECT_TRUE(rehearsal::would_open("C:\\temp\\old.txt", platform::open_mode::write));
  rehearsal::remove_file("C:\\temp\\old.txt");
  EXPECT_TRUE(rehearsal::would_open("C:\\temp\\old.txt", platform::open_mode::create));
  given_file("C:\\temp\\fixed.txt");
  given_unwritable_path("C:\\temp\\fixed.txt");
  EXPECT_FALSE(rehearsal::would_open("C:\\temp\\fixed.txt", platform::open_mode::write));

  rehearsal::write_file("a", platform::open_mode::write, "one");
  rehearsal::write_file("a", platform::open_mode::append, " two");
  EXPECT_EQ("one two", rehearsal::written_file("a"));
  rehearsal::write_file("a", platform::open_mode::write, "three");
  EXPECT_EQ("three", rehearsal::written_file("a"));
  rehearsal::remove_file("a");
  EXPECT_EQ(std::nullopt, rehearsal::written_file("a"));
  EXPECT_EQ("old", file_content("C:\\temp\\old.txt"));
}

}  // namespace
