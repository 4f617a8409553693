// Tests of the service check and of the password that multi-host runs need.
#include "install/smpd_service.h"

#include <gtest/gtest.h>

#include <algorithm>
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

// The service check when `smpd -status` says this.
int check_service_that_says(const std::string &answer) {
  given_tool(ask_status, prints(answer));
  given_tool(start_service, prints("").lives_on());
  return check_service();
}

// What the password step gives back; nothing when it ended the program.
std::optional<int> status_of_validation() {
  return status_of_exit([] { EXPECT_EQ(1, validate_intel_credentials("C:\\mpi\\bin")); });
}

// The answers of `mpiexec -validate`, one after another; the last one stays.
void given_validations(const texts &answers) {
  for (const std::string &answer : answers) {
    given_tool(validate, prints(answer));
  }
  given_tool(register_password);
}

bool is_valid(const std::string &answer) {
  fresh_launch();
  given_validations({answer, "SUCCESS\r\n"});
  EXPECT_EQ(std::nullopt, status_of_validation());
  return commands() == texts{validate};
}

}  // namespace

// ---- The service check --------------------------------------------------------------------

TEST(SmpdCheck, IsContentWithAServiceThatRuns) {
  EXPECT_EQ(1, check_service_that_says("smpd running on NODE1\r\n"));
  EXPECT_EQ(checking + " smpd running on NODE1\n", standard_output());
  EXPECT_EQ("", standard_error());
  EXPECT_EQ(texts{ask_status}, commands());
}

TEST(SmpdCheck, SaysThatItChecksBeforeItDoes) {
  (void)check_service_that_says("smpd running on NODE1\r\n");
  EXPECT_EQ(checking, started_commands().at(0).said_before);
}

TEST(SmpdCheck, StartsAServiceThatDoesNotRun) {
  EXPECT_EQ(2, check_service_that_says("no smpd running on NODE1\r\n"));
  EXPECT_EQ(checking +
                " no smpd running on NODE1\n"
                "\nSuccessfully started the SMPD for INTEL MPI!\n",
            standard_output());
  EXPECT_EQ((texts{ask_status, start_service}), commands());
  EXPECT_TRUE(message_boxes().empty());
}

TEST(SmpdCheck, StartsTheServiceApartFromTheLauncher) {
  (void)check_service_that_says("no smpd running on NODE1\r\n");
  const started_command &service = started_commands().at(1);
  EXPECT_EQ(start_way::process, service.way);
  EXPECT_EQ("C:\\mpi\\bin\\smpd.exe -d 0", service.command_line);  // without an interpreter
  EXPECT_TRUE(service.detached);
  EXPECT_TRUE(service.hidden);
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
            standard_output());
  EXPECT_EQ("", standard_error());
}

TEST(SmpdCheck, GoesByTheBeginningOfTheLine) {
  EXPECT_EQ(1, check_service_that_says("there is no smpd\r\n"));
}

TEST(SmpdCheck, GoesBySevenCharacters) {
  EXPECT_EQ(2, check_service_that_says("no smpd"));
}

TEST(SmpdCheck, NeedsAllSevenCharacters) {
  EXPECT_EQ(1, check_service_that_says("no smp\r\n"));
}

TEST(SmpdCheck, TellsCapitalFromSmallLetters) {
  EXPECT_EQ(1, check_service_that_says("No smpd running\r\n"));
}

TEST(SmpdCheck, ReadsTheFirstLineOnly) {
  EXPECT_EQ(1, check_service_that_says("one\r\nno smpd running\r\n"));
  EXPECT_EQ(checking + " one\n", standard_output());
}

TEST(SmpdCheck, IsContentWithASilentTool) {
  EXPECT_EQ(1, check_service_that_says(""));
  EXPECT_EQ(checking, both_streams());
}

TEST(SmpdCheck, EchoesTheFirst1023CharactersOfALongLine) {
  EXPECT_EQ(1, check_service_that_says(std::string(3000, 'x') + "\r\n"));
  EXPECT_EQ(checking + " " + std::string(1023, 'x'), standard_output());
}

TEST(SmpdCheck, EchoesEveryByteAsItIs) {
  EXPECT_EQ(1, check_service_that_says("100% %s \xFF\r\n"));
  EXPECT_EQ(checking + " 100% %s \xFF\n", standard_output());
}

TEST(SmpdCheck, WaitsForALateAnswer) {
  given_tool(ask_status, prints("no smpd running on NODE1\r\n", 90'000));
  given_tool(start_service, prints("").lives_on());
  EXPECT_EQ(2, check_service());
}

TEST(SmpdCheck, DoesNotWaitForTheEndOfATool) {
  given_tool(ask_status, prints("smpd running on NODE1\r\n").stays());
  EXPECT_EQ(1, check_service());
  EXPECT_EQ(0U, now());
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

TEST(SmpdCheck, ClosesItsRun) {
  (void)check_service_that_says("smpd running on NODE1\r\n");
  EXPECT_EQ(-1, close_current_run());
}

TEST(SmpdCheck, IsTraced) {
  given_variable("ZEPHON_STARTUP_DEBUG", "1");
  (void)check_service_that_says("smpd running on NODE1\r\n");
  EXPECT_EQ(checking +
                "\ncmd = C:\\mpi\\bin\\smpd.exe -status (..\\src\\mpirun:4151)"
                " smpd running on NODE1\n",
            standard_output());
}

TEST(SmpdCheck, QuotesAFolderWithABlank) {
  given_tool(R"("C:\my mpi\bin"\smpd.exe -status)", prints("smpd running\r\n"));
  EXPECT_EQ(1, check_intel_smpd("C:\\my mpi\\bin"));
  EXPECT_EQ(texts{R"("C:\my mpi\bin"\smpd.exe -status)"}, commands());
}

TEST(SmpdCheck, LeavesAFolderWithAQuoteAsItIs) {
  (void)check_intel_smpd(R"("C:\my mpi"\bin)");
  EXPECT_EQ(texts{R"("C:\my mpi"\bin\smpd.exe -status)"}, commands());
}

TEST(SmpdCheck, NeverQuotesTheServiceThatItStarts) {
  given_tool(R"("C:\my mpi\bin"\smpd.exe -status)", prints("no smpd running\r\n"));
  EXPECT_EQ(2, check_intel_smpd("C:\\my mpi\\bin"));
  EXPECT_EQ(R"(C:\my mpi\bin\smpd.exe -d 0)", commands().at(1));
}

// ---- The password -------------------------------------------------------------------------

TEST(PasswordValidation, IsContentWithAValidPassword) {
  given_validations({"SUCCESS\r\n"});
  EXPECT_EQ(std::nullopt, status_of_validation());
  EXPECT_EQ(texts{validate}, commands());
  EXPECT_EQ("", both_streams());
}

TEST(PasswordValidation, IsContentWithASilentTool) {
  EXPECT_TRUE(is_valid(""));
  EXPECT_EQ("", both_streams());
}

TEST(PasswordValidation, IsContentWithAMissingTool) {
  EXPECT_EQ(std::nullopt, status_of_validation());
  EXPECT_EQ(texts{validate}, commands());
}

TEST(PasswordValidation, DoesNotGoByTheExitCode) {
  given_tool(validate, prints("SUCCESS\r\n").exits_with(7));
  EXPECT_EQ(std::nullopt, status_of_validation());
  EXPECT_EQ(texts{validate}, commands());
}

TEST(PasswordValidation, KnowsAnInvalidPasswordByItsFirstLine) {
  EXPECT_FALSE(is_valid("FAIL\r\n"));
  EXPECT_FALSE(is_valid("fail: no credentials\r\n"));
  EXPECT_FALSE(is_valid("Unable to connect\r\n"));
  EXPECT_FALSE(is_valid("UNABLE"));
  EXPECT_FALSE(is_valid("logon failure: unknown user\r\n"));
  EXPECT_FALSE(is_valid("failure"));
}

TEST(PasswordValidation, TakesAnyOtherFirstLineForAValidPassword) {
  EXPECT_TRUE(is_valid("FAI\r\n"));
  EXPECT_TRUE(is_valid("It did FAIL\r\n"));
  EXPECT_TRUE(is_valid("unabl\r\n"));
  EXPECT_TRUE(is_valid("was Unable\r\n"));
  EXPECT_TRUE(is_valid("logon Failure\r\n"));
  EXPECT_TRUE(is_valid("SUCCESS\r\nFAIL\r\n"));
  EXPECT_TRUE(is_valid("\r\nFAIL\r\n"));
}

TEST(PasswordValidation, ReadsTheFirstLineOnlyWhenItSaysInvalid) {
  EXPECT_FALSE(is_valid("FAIL\r\nSUCCESS\r\n"));
}

TEST(PasswordValidation, AsksForThePasswordInTheConsoleWithoutAQuestion) {
  given_validations({"FAIL\r\n", "SUCCESS\r\n"});
  EXPECT_EQ(std::nullopt, status_of_validation());
  EXPECT_EQ((texts{validate, register_password, validate}), commands());
  EXPECT_EQ(start_way::process, started_commands().at(0).way);
  EXPECT_EQ(start_way::in_console, started_commands().at(1).way);
  EXPECT_EQ("C:\\mpi\\bin\\mpiexec.exe -register", started_commands().at(1).command_line);
  EXPECT_EQ("\nUser password encrypted into the Registry.\n", both_streams());
  EXPECT_TRUE(message_boxes().empty());
}

TEST(PasswordValidation, AsksTheUserBeforeTheSecondTime) {
  given_validations({"FAIL\r\n", "FAIL\r\n", "SUCCESS\r\n"});
  given_box_answer(pressed_yes, 5'000);
  EXPECT_EQ(std::nullopt, status_of_validation());
  EXPECT_EQ((texts{validate, register_password, validate, register_password, validate}),
            commands());
  EXPECT_EQ("\nUser password encrypted into the Registry.\n", both_streams());
  ASSERT_EQ(1U, message_boxes().size());
  EXPECT_EQ("Zephon", message_boxes()[0].caption);
  EXPECT_EQ(
      "The password is invalid for INTEL MPI to launch jobs.\n"
      "Do you want to input your password now?",
      message_boxes()[0].text);
  EXPECT_EQ(0x40004U, message_boxes()[0].style);
}

TEST(PasswordValidation, EndsTheProgramSilentlyWhenTheUserDeclines) {
  given_validations({"FAIL\r\n"});
  given_box_answer(pressed_no);
  EXPECT_EQ(0, status_of_validation());
  EXPECT_EQ((texts{validate, register_password, validate}), commands());
  EXPECT_EQ("", both_streams());
}

TEST(PasswordValidation, TakesAClosedBoxForANo) {
  given_validations({"FAIL\r\n"});
  given_box_answer(pressed_cancel);
  EXPECT_EQ(0, status_of_validation());
}

TEST(PasswordValidation, TakesNoAnswerWithinAnHourForANo) {
  given_validations({"FAIL\r\n"});
  given_box_without_answer();
  EXPECT_EQ(0, status_of_validation());
  EXPECT_EQ(3'600'000U, message_boxes().at(0).ended_at);
  EXPECT_EQ("", both_streams());
}

TEST(PasswordValidation, TakesAnAnswerInTheLastMoment) {
  given_validations({"FAIL\r\n", "FAIL\r\n", "SUCCESS\r\n"});
  given_box_answer(pressed_yes, 3'599'900);
  EXPECT_EQ(std::nullopt, status_of_validation());
}

TEST(PasswordValidation, EndsTheProgramAfterThreePasswords) {
  given_validations({"FAIL\r\n"});
  given_box_answer(pressed_yes);
  given_box_answer(pressed_yes);
  EXPECT_EQ(4, status_of_validation());
  EXPECT_EQ("\nUser password has been inputed 3 times, but still wrong!\n\n", both_streams());
  EXPECT_EQ((texts{validate, register_password, validate, register_password, validate,
                   register_password, validate}),
            commands());
  EXPECT_EQ(2U, message_boxes().size());
}

TEST(PasswordValidation, TakesTheThirdPassword) {
  given_validations({"FAIL\r\n", "FAIL\r\n", "FAIL\r\n", "SUCCESS\r\n"});
  given_box_answer(pressed_yes);
  given_box_answer(pressed_yes);
  EXPECT_EQ(std::nullopt, status_of_validation());
  EXPECT_EQ("\nUser password encrypted into the Registry.\n", both_streams());
}

TEST(PasswordValidation, DoesNotGoByTheStatusOfTheRegistration) {
  given_tool(validate, prints("FAIL\r\n"));
  given_tool(validate, prints("SUCCESS\r\n"));
  given_tool(register_password, exits_with(1));
  EXPECT_EQ(std::nullopt, status_of_validation());
}

TEST(PasswordValidation, AsksWithoutEndWhenTheToolCannotBeRun) {
  given_no_pipes();
  given_tool(register_password);
  for (int answer = 0; answer < 9; ++answer) {
    given_box_answer(pressed_yes);
  }
  given_box_answer(pressed_no);
  EXPECT_EQ(0, status_of_validation());
  EXPECT_EQ(texts(10, register_password), commands());
  EXPECT_EQ("", standard_output());
}

TEST(PasswordValidation, WaitsForALateAnswer) {
  given_tool(validate, prints("FAIL\r\n", 90'000));
  given_tool(validate, prints("SUCCESS\r\n", 90'000));
  given_tool(register_password, prints("password: ", 60'000));
  EXPECT_EQ(std::nullopt, status_of_validation());
  EXPECT_EQ(3U, commands().size());
}

TEST(PasswordValidation, QuotesAFolderWithABlankInBothCommands) {
  const std::string asks = R"("C:\my mpi\bin"\mpiexec.exe -validate)";
  given_tool(asks, prints("FAIL\r\n"));
  given_tool(asks, prints("SUCCESS\r\n"));
  EXPECT_EQ(1, validate_intel_credentials("C:\\my mpi\\bin"));
  EXPECT_EQ((texts{asks, R"("C:\my mpi\bin"\mpiexec.exe -register)", asks}), commands());
}

TEST(PasswordValidation, LeavesAFolderWithAQuoteAsItIs) {
  EXPECT_EQ(1, validate_intel_credentials(R"("C:\my mpi"\bin)"));
  EXPECT_EQ(texts{R"("C:\my mpi"\bin\mpiexec.exe -validate)"}, commands());
}

TEST(PasswordValidation, IsTracedButNotItsRegistration) {
  given_variable("ZEPHON_STARTUP_DEBUG", "1");
  given_validations({"FAIL\r\n", "SUCCESS\r\n"});
  EXPECT_EQ(std::nullopt, status_of_validation());
  EXPECT_EQ(
      "\ncmd = C:\\mpi\\bin\\mpiexec.exe -validate (..\\src\\mpirun:4151)"
      "\ncmd = C:\\mpi\\bin\\mpiexec.exe -validate (..\\src\\mpirun:4151)"
      "\nUser password encrypted into the Registry.\n",
      standard_output());
}

// ---- Both ---------------------------------------------------------------------------------

TEST(SmpdAndCredentials, AreCheckedInThisOrder) {
  given_tool(ask_status, prints("smpd running on NODE1\r\n"));
  given_validations({"SUCCESS\r\n"});
  require_smpd_and_credentials("C:\\mpi\\bin");
  EXPECT_EQ((texts{ask_status, validate}), commands());
}

TEST(SmpdAndCredentials, AreCheckedAfterAServiceThatDidNotStart) {
  given_tool(ask_status, prints("no smpd running on NODE1\r\n"));
  given_validations({"SUCCESS\r\n"});
  require_smpd_and_credentials("C:\\mpi\\bin");
  EXPECT_EQ((texts{ask_status, start_service, validate}), commands());
}

TEST(SmpdAndCredentials, AreNotCheckedWhenTheUserSwitchedThatOff) {
  for (const char *no : {"no", "NO", "No", "nO"}) {
    fresh_launch();
    given_variable("ZEPHON_CRED_CHECK", no);
    require_smpd_and_credentials("C:\\mpi\\bin");
    EXPECT_EQ(texts{}, commands());
    EXPECT_EQ("\n***\n*** User defined: ZEPHON_CRED_CHECK=" + std::string(no) +
                  "\n*** Skipping credential validation!\n***\n",
              both_streams());
  }
}

TEST(SmpdAndCredentials, AreCheckedForAnyOtherSetting) {
  for (const char *other : {"", "yes", "n", "nope", "no "}) {
    fresh_launch();
    given_variable("ZEPHON_CRED_CHECK", other);
    require_smpd_and_credentials("C:\\mpi\\bin");
    EXPECT_EQ((texts{ask_status, validate}), commands()) << other;
  }
}
