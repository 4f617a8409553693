// Tests of the run record: when it is written, and what stands in it.
#include "core/run_record.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "core/messages.h"
#include "launch/mpirun.h"
#include "support/fresh_launch.h"

using namespace stand_in;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

using texts = std::vector<std::string>;

constexpr const char *record_file = "C:\\record.json";
constexpr const char *command =
    "C:\\\\mpich\\\\bin\\\\mpirun.exe -machinefile C:\\\\hosts.txt -np 2  -env "
    "PATH=C:\\\\zephon\\\\zephon12.0.16\\\\netweave\\\\mpi_wrapper\\\\win64\\\\mpich  3d";

std::optional<int> run(const texts &arguments) {
  return status_of_exit([&] {
    char **vector = given_arguments(arguments);
    start_from_window(nullptr, 1, state.arg_count, vector);
  });
}

void given_recorded_run() {
  fresh_launch();
  given_installation("mpich");
  given_variable("MPI_HOME", "C:\\mpich");
  given_variable("COMPUTERNAME", "PC17");
  given_file("C:\\hosts.txt", "alpha\nbeta\n");
  given_variable("ZEPHON_RUN_RECORD", record_file);
}

const texts whole_run = {"--mpi=mpich", "--np=2", "--cnf=C:\\hosts.txt", "-wait", "3d"};

std::string record() {
  return file_content(record_file).value_or("no record");
}

std::size_t count_of(const std::string &piece, const std::string &text) {
  std::size_t count = 0;
  for (std::size_t at = 0; (at = text.find(piece, at)) != std::string::npos; ++at) {
    ++count;
  }
  return count;
}

// ---- What stands in it --------------------------------------------------------------------

TEST(RunRecord, TellsTheRunFromItsArgumentsToItsStatus) {
  given_recorded_run();
  given_tool_with("mpirun.exe",
                  prints("solving\n", 8'480).exits_with(3).used_time(100'000, 312'000'000));
  EXPECT_EQ(0, run(whole_run));
  const std::string text = record();
  EXPECT_THAT(text, StartsWith("{\n \"format\": \"zephon-run-record\", \n \"version\": 1, \n "));
  EXPECT_THAT(text, EndsWith("\n \"messages\": []}\n"));
  for (const std::string part : {
           R"("rehearsal": false)",
           R"("status": 0)",
           R"("arguments": ["--mpi=mpich", "--np=2", "--cnf=C:\\hosts.txt", "-wait", "3d"])",
           R"("working_directory": "C:\\work")",
           R"("computer": "PC17")",
           R"("variables": {"read": {)",
           R"("ZEPHON_INC": "C:\\zephon")",
           R"("ZEPHON_PROD_DIR": "C:\\zephon\\zephon12.0.16")",
           R"("USE_CCP": null)",
           R"("set": {"ZEPHON_HOSTS_FILE": "C:\\hosts.txt"})",
           R"({"kind": "file", "text": "look for C:\\zephon\\zephon12.0.16\\netweave\\mpi_wrapper)"
           R"(\\win64\\mpich\\mpi_wrapper.dll", "started": "2009-02-13T23:31:30.000Z", )"
           R"("seconds": 0.0, "exit_code": 0, "lines": null, "assumed": null})",
           R"({"text": "C:\\mpich\\bin\\mpirun.exe", "reason": "program: MPICH of MPI_HOME"})",
           R"("process": )",
           R"("started": "2009-02-13T23:31:30.000Z", "ended": "2009-02-13T23:31:38.480Z", )"
           R"("seconds": 8.48, "cpu_seconds": 0.01, "cpu_seconds_all": 31.2, "exit_code": 3})",
           R"("job": null)",
       }) {
    EXPECT_THAT(text, HasSubstr(part));
  }
  EXPECT_THAT(text, HasSubstr(std::string(R"("launch": {"command": ")") + command + "\""));
  EXPECT_EQ(1U, count_of(R"("USE_CCP": )", text));  // however often it was read
}

TEST(RunRecord, TellsAToolsAnswerAndTheJob) {
  given_recorded_run();
  given_variable("USE_CCP", "head");
  given_variable("CCP_JOB_ID", "-1");
  given_variable("ZEPHON_RUN_DEBUG", "C:\\log.txt");
  given_installation("msmpi");
  given_tool_with("job new", prints("Created job, ID: 12\n"));
  given_tool_with("job submit");
  given_tool("job view 12 /scheduler:head", prints("State : Running\n", 12));
  given_tool("job view 12 /scheduler:head", prints("State : Finished\n"));
  given_tool_with("job add 12", prints("Task submitted\n"));
  given_tool_with("cluscfg");
  given_tool_with("job modify 12");
  EXPECT_EQ(0, run({"--mpi=msmpi", "--np=2", "3d"}));
  const std::string text = record();
  EXPECT_THAT(text, HasSubstr(R"({"kind": "query", "text": "cluscfg listenvs /scheduler:head")"));
  EXPECT_THAT(text, HasSubstr(R"("exit_code": 0, "lines": 1, "assumed": null})"));
  EXPECT_THAT(text, HasSubstr(R"({"kind": "file", "text": "append to C:\\log.txt")"));
  EXPECT_THAT(text, HasSubstr(R"("exit_code": 0, "lines": 2, "assumed": null})"));
  // Of the six questions of one watch the first and the last.
  EXPECT_EQ(3U, count_of(R"({"kind": "query", "text": "job view 12)", text));
  EXPECT_THAT(text, HasSubstr(R"({"kind": "action", "text": "job modify 12)"));
  EXPECT_THAT(text, HasSubstr(R"({"kind": "question", "text": "\nWaiting for the scheduler)"));
  EXPECT_THAT(text, HasSubstr(R"("launch": {"command": "job add 12 /scheduler:head )"));
  EXPECT_THAT(text, HasSubstr(R"("process": null, "started": null)"));
  EXPECT_THAT(
      text,
      HasSubstr(
          R"("job": {"head_node": "head", "id": 12, "state": "Finished", "released": true})"));
}

TEST(RunRecord, KnowsNoTimeOfAllThatIsLessThanThatOfOne) {
  given_recorded_run();
  given_tool_with("mpirun.exe", exits_with(0).used_time(200'000, 100'000));
  EXPECT_EQ(0, run(whole_run));
  EXPECT_THAT(record(), HasSubstr(R"("cpu_seconds": 0.02, "cpu_seconds_all": null)"));
}

TEST(RunRecord, HoldsTheMessagesOfARunThatFails) {
  given_recorded_run();
  given_variable("ZEPHON_RUN_DEBUG", "C:\\log.txt");
  given_unwritable_path("C:\\log.txt");
  EXPECT_EQ(255, run(whole_run));  // there is no mpirun.exe
  EXPECT_THAT(
      record(),
      HasSubstr(
          R"("append to C:\\log.txt", "started": "2009-02-13T23:31:30.000Z", "seconds": 0.0, )"
          R"("exit_code": 1, "lines": null)"));
  EXPECT_THAT(record(), HasSubstr(R"("status": 255)"));
  EXPECT_THAT(record(), HasSubstr(R"("messages": ["Unable to execute (null) )"));
  EXPECT_THAT(record(), HasSubstr(R"({"kind": "message", "text": "Unable to execute)"));
  EXPECT_THAT(record(), HasSubstr(R"("process": null, "started": null, "ended": null)"));

  given_recorded_run();
  EXPECT_EQ(2, run({"--mpi=intel"}));
  EXPECT_THAT(record(), HasSubstr(R"("status": 2)"));
  EXPECT_THAT(record(), HasSubstr("\"launch\": null, \n"));
  EXPECT_THAT(record(), HasSubstr("communicator \\\"intel\\\" is not available"));

  given_recorded_run();
  EXPECT_EQ(1, run({}));
  EXPECT_THAT(record(), HasSubstr(R"("arguments": [])"));
}

TEST(RunRecord, HoldsARunThatCtrlCEnds) {
  given_recorded_run();
  given_variable("ZEPHON_PROD", "lumis");  // is waited for and leaves Ctrl-C alone
  given_tool_with("mpirun.exe", prints("").stays());
  given_ctrl_c_after(1'500);
  EXPECT_EQ(-1073741510, run({"--mpi=mpich", "--np=2", "--cnf=C:\\hosts.txt", "3d"}));
  EXPECT_THAT(record(), HasSubstr(R"("status": -1073741510)"));
  EXPECT_THAT(record(), HasSubstr(R"("ended": null, "seconds": null)"));
  EXPECT_TRUE(message_boxes().empty());
}

TEST(RunRecord, IsUtf8WhateverComesIn) {
  given_recorded_run();
  EXPECT_EQ(255, run({"--mpi=mpich", "--cnf=C:\\hosts.txt", "M\xFCller\x80\xFF"}));
  EXPECT_THAT(record(), HasSubstr("\"M\xC3\xBCller\xC2\x80\xC3\xBF\""));
}

// ---- How it is written --------------------------------------------------------------------

TEST(RunRecord, ReplacesTheOldOneAsAWhole) {
  given_recorded_run();
  given_file(record_file, "an old record");
  EXPECT_EQ(255, run(whole_run));
  EXPECT_THAT(record(), StartsWith("{"));
  EXPECT_FALSE(file_exists("C:\\record.json.4711.part"));
}

TEST(RunRecord, LeavesTheOldOneWhenItCannotBeWritten) {
  given_recorded_run();
  given_file(record_file, "an old record");
  given_full_disk_after(100);
  EXPECT_EQ(255, run(whole_run));
  EXPECT_EQ("an old record", record());
  EXPECT_FALSE(file_exists("C:\\record.json.4711.part"));
  EXPECT_THAT(standard_error(),
              EndsWith("\nWarning: Failed to write run record C:\\record.json\n"));

  given_recorded_run();
  given_unwritable_path("C:\\record.json.4711.part");
  EXPECT_EQ(255, run(whole_run));
  EXPECT_EQ("no record", record());
  EXPECT_THAT(standard_error(),
              EndsWith("\nWarning: Failed to write run record C:\\record.json\n"));

  given_recorded_run();
  given_file(record_file, "an old record");
  given_unwritable_path(record_file);
  EXPECT_EQ(255, run(whole_run));
  EXPECT_EQ("an old record", record());
  EXPECT_FALSE(file_exists("C:\\record.json.4711.part"));
}

TEST(RunRecord, IsWrittenByTheConsoleEntryToo) {
  given_recorded_run();
  given_tool_with("mpirun.exe");
  char **vector = given_arguments(whole_run);
  EXPECT_EQ(0, start_from_console(state.arg_count, vector));
  EXPECT_THAT(record(), HasSubstr(R"("status": 0)"));
}

TEST(RunRecord, IsNotKeptWhenNobodyAsksForIt) {
  given_recorded_run();
  given_no_variable("ZEPHON_RUN_RECORD");
  given_tool_with("mpirun.exe");
  EXPECT_EQ(0, run(whole_run));
  EXPECT_EQ((texts{}), written_files());
  EXPECT_FALSE(started_commands().at(0).grouped);
  EXPECT_FALSE(run_is_recorded());
  EXPECT_EQ(nullptr, current_interrupt_handler());
  EXPECT_THAT(standard_output(), Not(HasSubstr("Rehearsal")));
}

// ---- The solver's status ------------------------------------------------------------------

TEST(SolverStatus, IsTheLaunchersWhenItIsWanted) {
  given_recorded_run();
  given_variable("ZEPHON_EXIT_STATUS", "solver");
  given_tool_with("mpirun.exe", exits_with(42));
  EXPECT_EQ(42, run(whole_run));

  given_recorded_run();
  given_variable("ZEPHON_EXIT_STATUS", "solver");
  given_tool_with("mpirun.exe", exits_with(42));
  EXPECT_EQ(0, run({"--mpi=mpich", "--np=2", "--cnf=C:\\hosts.txt", "3d"}));  // nobody waits

  given_recorded_run();
  given_variable("ZEPHON_EXIT_STATUS", "launcher");
  given_tool_with("mpirun.exe", exits_with(42));
  EXPECT_EQ(0, run(whole_run));
}

TEST(SolverStatus, IsOneForAJobThatFailed) {
  for (const auto &[job_state, status] :
       {std::pair("Failed", 1), std::pair("Canceled", 1), std::pair("Finished", 0)}) {
    given_recorded_run();
    given_installation("msmpi");
    given_variable("ZEPHON_EXIT_STATUS", "solver");
    given_variable("USE_CCP", "head");
    given_variable("CCP_JOB_ID", "12");
    given_tool_with("cluscfg");
    given_tool_with("job add 12", prints("Task submitted\n"));
    given_tool_with("job view 12", prints(std::string("State : ") + job_state + "\n"));
    EXPECT_EQ(status, run({"--mpi=msmpi", "--np=2", "3d"})) << job_state;
    EXPECT_EQ(status, count_of(R"({"kind": "file", "text": "read ZP12.1.o")", record()));
  }
}

TEST(SolverStatus, IsThatOfACommandInsideAJob) {
  given_recorded_run();
  given_installation("msmpi");
  given_variable("ZEPHON_EXIT_STATUS", "solver");
  given_variable("CCP_CLUSTER_NAME", "head");
  given_variable("CCP_NODES", "1 alpha 2");
  given_tool_with("mpiexec.exe", exits_with(7));
  EXPECT_EQ(7, run({"--mpi=msmpi", "--np=2", "3d"}));
  EXPECT_THAT(record(), HasSubstr(R"("exit_code": 7})"));
}

}  // namespace
