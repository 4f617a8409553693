// Tests of the service check and of the password beside the rows of tests/cases: how the tools
// are started, how long they are waited for, and what happens when they cannot be.
#include "install/smpd_service.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/command_runner.h"
#include "support/fresh_launch.h"

using namespace stand_in;

namespace {

const std::string checking = "\nChecking the status of SMPD for INTEL MPI on the local machine ...";
const std::string ask_status = "C:\\mpi\\bin\\smpd.exe -status";
const std::string start_service = "C:\\mpi\\bin\\smpd.exe -d 0";
const std::string validate = "C:\\mpi\\bin\\mpiexec.exe -validate";
const std::string register_password = "C:\\mpi\\bin\\mpiexec.exe -register";

using texts = std::vector<std::string>;

int check_service() {
  return check_intel_smpd("C:\\mpi\\bin");
}

// The service check when `smpd -status` answers so.
int check_service(const tool_answer &answer) {
  given_tool(ask_status, answer);
  given_tool(start_service, prints("").lives_on());
  return check_service();
}

// What the password step gives back; nothing when it ended the program. The answers of
// `mpiexec -validate` come one after another; the last one stays.
std::optional<int> status_of_validation(const std::vector<tool_answer> &answers) {
  for (const tool_answer &answer : answers) {
    given_tool(validate, answer);
  }
  given_tool(register_password, prints("", 60'000));
  return status_of_exit([] { EXPECT_EQ(1, validate_intel_credentials("C:\\mpi\\bin")); });
}

}  // namespace

// ---- The service --------------------------------------------------------------------------

TEST(SmpdCheck, SaysThatItChecksBeforeItDoes) {
  EXPECT_EQ(1, check_service(prints("smpd running on NODE1\r\n")));
  EXPECT_EQ(checking, started_commands().at(0).said_before);
  EXPECT_EQ(-1, close_current_run());  // its run is closed
}

TEST(SmpdCheck, StartsTheServiceApartFromTheLauncher) {
  EXPECT_EQ(2, check_service(prints("no smpd running on NODE1\r\n")));
  const started_command &service = started_commands().at(1);
  EXPECT_EQ(start_way::process, service.way);
  EXPECT_TRUE(service.detached && service.hidden);
  EXPECT_EQ("INTEL MPI SMPD", service.title);
  EXPECT_EQ(platform::inheritance::none, service.handles);
  EXPECT_FALSE(service.gives_standard_handles);
  EXPECT_EQ(std::nullopt, service.environment);
  EXPECT_TRUE(process_runs(service.id));
}

TEST(SmpdCheck, SaysWhenTheServiceCannotBeStarted) {
  given_tool(ask_status, prints("no smpd running on NODE1\r\n"));
  given_tool(start_service, cannot_start(2));
  EXPECT_EQ(2, check_service());
  EXPECT_EQ(checking +
                " no smpd running on NODE1\n"
                "\nFailed to start the SMPD for INTEL MPI [C:\\mpi\\bin\\smpd.exe -d 0]!\n",
            both_streams());
}

TEST(SmpdCheck, NeverQuotesTheServiceThatItStarts) {
  given_tool(R"("C:\my mpi\bin"\smpd.exe -status)", prints("no smpd running\r\n"));
  EXPECT_EQ(2, check_intel_smpd("C:\\my mpi\\bin"));
  EXPECT_EQ(R"(C:\my mpi\bin\smpd.exe -d 0)", commands().at(1));
}

TEST(SmpdCheck, WaitsForALateAnswerButNotForTheEndOfATool) {
  EXPECT_EQ(2, check_service(prints("no smpd running on NODE1\r\n", 90'000).stays()));
  EXPECT_EQ(90'000U, now());
}

TEST(SmpdCheck, IsContentWithAMissingTool) {
  EXPECT_EQ(1, check_service());
  EXPECT_EQ(checking +
                " 'C:\\mpi\\bin\\smpd.exe' is not recognized as an internal or external command,\n",
            standard_output());
}

TEST(SmpdCheck, IsContentWhenNothingCanBeRun) {
  given_no_pipes();
  EXPECT_EQ(1, check_service());
  EXPECT_EQ(checking, standard_output());
  EXPECT_EQ(
      "\nerror : cmd = C:\\mpi\\bin\\smpd.exe -status\n"
      "\nError in execute command C:\\mpi\\bin\\smpd.exe -status\n",
      standard_error());
}

TEST(SmpdCheck, ReadsARunThatIsOpenAlready) {
  given_tool("other", prints("no smpd running\r\n"));
  given_tool(start_service, prints("").lives_on());
  ASSERT_TRUE(open_current_run("other") != nullptr);
  EXPECT_EQ(2, check_service());
  EXPECT_EQ((texts{"other", start_service}), commands());
}

// ---- The password -------------------------------------------------------------------------

TEST(PasswordValidation, RegistersInTheConsole) {
  EXPECT_EQ(std::nullopt,
            status_of_validation({prints("FAIL\r\n", 90'000), prints("SUCCESS\r\n", 90'000)}));
  EXPECT_EQ((texts{validate, register_password, validate}), commands());
  EXPECT_EQ(start_way::process, started_commands().at(0).way);
  EXPECT_EQ(start_way::in_console, started_commands().at(1).way);
}

TEST(PasswordValidation, TakesAClosedBoxForANo) {
  given_box_answer(pressed_cancel);
  EXPECT_EQ(0, status_of_validation({prints("FAIL\r\n")}));
  EXPECT_EQ(0x40004U, message_boxes().at(0).style);
}

TEST(PasswordValidation, TakesNoAnswerWithinAnHourForANo) {
  given_box_without_answer();
  EXPECT_EQ(0, status_of_validation({prints("FAIL\r\n")}));
  EXPECT_EQ(3'600'000U, message_boxes().at(0).ended_at - message_boxes().at(0).shown_at);
  EXPECT_EQ("", both_streams());
}

TEST(PasswordValidation, TakesAnAnswerInTheLastMoment) {
  given_box_answer(pressed_yes, 3'599'900);
  EXPECT_EQ(std::nullopt,
            status_of_validation({prints("FAIL\r\n"), prints("FAIL\r\n"), prints("SUCCESS\r\n")}));
}

TEST(PasswordValidation, AsksWithoutEndWhenTheToolCannotBeRun) {
  given_no_pipes();
  for (int answer = 0; answer < 9; ++answer) {
    given_box_answer(pressed_yes);
  }
  given_box_answer(pressed_no);
  EXPECT_EQ(0, status_of_validation({}));
  EXPECT_EQ(texts(10, register_password), commands());
  EXPECT_EQ("", standard_output());
}

TEST(PasswordValidation, IsNeededAfterAServiceThatDidNotStart) {
  given_tool(ask_status, prints("no smpd running on NODE1\r\n"));
  require_smpd_and_credentials("C:\\mpi\\bin");
  EXPECT_EQ((texts{ask_status, start_service, validate}), commands());
}
