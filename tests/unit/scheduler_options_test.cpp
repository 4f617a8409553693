// Tests of the pieces that the scheduler's commands share.
#include "scheduler/scheduler_options.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <vector>

#include "core/environment.h"
#include "core/launch_state.h"
#include "support/platform_stand_in.h"

using namespace stand_in;

namespace {

std::string with_scheduler_options(scheduled what) {
  command_line command{"job x", {}};
  append_scheduler_options(command, what);
  return command.text;
}

std::string with_output_options() {
  command_line command{"job x", {}};
  append_output_options(command);
  return command.text;
}

int count_for(const std::string &per_node, const std::string &processors, int processes) {
  given_variable("NP_PER_NODE", per_node);
  given_variable("NUMBER_OF_PROCESSORS", processors);
  state.num_procs = processes;
  return scheduler_processor_count();
}

// ---- Head node ----------------------------------------------------------------------------

TEST(HeadNode, IsTheValueOfItsVariable) {
  given_variable("USE_CCP", "head.site");
  EXPECT_EQ("head.site", head_node());
}

TEST(HeadNode, IsNoneWithoutTheVariable) {
  EXPECT_EQ(std::nullopt, head_node());
}

TEST(HeadNode, IsReadAfreshEachTime) {
  given_variable("USE_CCP", "one");
  EXPECT_EQ("one", head_node());
  given_variable("USE_CCP", "two");
  EXPECT_EQ("two", head_node());
}

// ---- Template, node group, user flags -----------------------------------------------------

TEST(SchedulerOptions, AreNoneWithoutVariables) {
  EXPECT_EQ("job x", with_scheduler_options(scheduled::job));
  EXPECT_EQ("job x", with_scheduler_options(scheduled::task_only));
  EXPECT_EQ("", both_streams());
}

TEST(SchedulerOptions, NameTheJobTemplateBetweenBlanks) {
  given_variable("ZP_CCP_JOB_TEMPLATE", "Big Jobs");
  EXPECT_EQ("job x /jobtemplate:Big Jobs ", with_scheduler_options(scheduled::job));
}

TEST(SchedulerOptions, NameTheNodeGroupBetweenBlanks) {
  given_variable("ZP_CCP_NODE_GROUP", "fast,new");
  EXPECT_EQ("job x /nodegroup:fast,new ", with_scheduler_options(scheduled::job));
}

TEST(SchedulerOptions, EndWithTheUsersFlagsBetweenBlanks) {
  given_variable("CCP_USER_FLAGS", "/priority:high /runtime:1");
  EXPECT_EQ("job x /priority:high /runtime:1 ", with_scheduler_options(scheduled::job));
}

TEST(SchedulerOptions, StandInTheirOrder) {
  given_variable("CCP_USER_FLAGS", "/u");
  given_variable("ZP_CCP_NODE_GROUP", "g");
  given_variable("ZP_CCP_JOB_TEMPLATE", "t");
  EXPECT_EQ("job x /jobtemplate:t  /nodegroup:g  /u ", with_scheduler_options(scheduled::job));
}

TEST(SchedulerOptions, OfATaskAreTheUsersFlagsAlone) {
  given_variable("CCP_USER_FLAGS", "/u");
  given_variable("ZP_CCP_NODE_GROUP", "g");
  given_variable("ZP_CCP_JOB_TEMPLATE", "t");
  EXPECT_EQ("job x /u ", with_scheduler_options(scheduled::task_only));
}

TEST(SchedulerOptions, ShowTheUsersFlags) {
  given_variable("CCP_USER_FLAGS", "/a:%d 100%");
  (void)with_scheduler_options(scheduled::task_only);
  EXPECT_EQ("\n***\n*** User defined: CCP_USER_FLAGS=/a:%d 100%\n***\n", standard_output());
  EXPECT_EQ("", standard_error());
}

TEST(SchedulerOptions, ShowTheUsersFlagsOnceForEachCommand) {
  given_variable("CCP_USER_FLAGS", "/u");
  (void)with_scheduler_options(scheduled::job);
  (void)with_scheduler_options(scheduled::task_only);
  EXPECT_EQ(
      "\n***\n*** User defined: CCP_USER_FLAGS=/u\n***\n"
      "\n***\n*** User defined: CCP_USER_FLAGS=/u\n***\n",
      standard_output());
}

TEST(SchedulerOptions, AreNeitherQuotedNorChecked) {
  given_variable("ZP_CCP_JOB_TEMPLATE", "\"a\" & %b%");
  EXPECT_EQ("job x /jobtemplate:\"a\" & %b% ", with_scheduler_options(scheduled::job));
}

TEST(SchedulerOptions, MayBeEmptyValues) {
  given_variable("ZP_CCP_JOB_TEMPLATE", "");
  given_variable("ZP_CCP_NODE_GROUP", "");
  given_variable("CCP_USER_FLAGS", "");
  EXPECT_EQ("job x /jobtemplate:  /nodegroup:   ", with_scheduler_options(scheduled::job));
  EXPECT_EQ("\n***\n*** User defined: CCP_USER_FLAGS=\n***\n", standard_output());
}

TEST(SchedulerOptions, AreNotCutForTheirLength) {
  const std::string flags(20'000, 'f');
  given_variable("CCP_USER_FLAGS", flags);
  EXPECT_EQ("job x " + flags + " ", with_scheduler_options(scheduled::job));
}

// ---- Unit ---------------------------------------------------------------------------------

TEST(SchedulerUnit, IsProcessorsUnlessTold) {
  EXPECT_EQ("numprocessors", scheduler_unit_option());
}

TEST(SchedulerUnit, IsTheWordOfItsVariable) {
  for (const auto &[word, option] : std::vector<std::pair<std::string, std::string>>{
           {"node", "numnodes"}, {"socket", "numsockets"}, {"core", "numcores"}}) {
    given_variable("ZP_CCP_UNIT", word);
    EXPECT_EQ(option, scheduler_unit_option());
  }
}

TEST(SchedulerUnit, IsNotChecked) {
  given_variable("ZP_CCP_UNIT", "Nodes%s");
  EXPECT_EQ("numNodes%ss", scheduler_unit_option());
  given_variable("ZP_CCP_UNIT", "");
  EXPECT_EQ("nums", scheduler_unit_option());
}

TEST(SchedulerUnit, ForgetsAnEarlierWord) {
  given_variable("ZP_CCP_UNIT", "node");
  (void)scheduler_unit_option();
  given_no_variable("ZP_CCP_UNIT");
  EXPECT_EQ("numprocessors", scheduler_unit_option());
}

// ---- Count --------------------------------------------------------------------------------

TEST(SchedulerCount, IsTheProcessCountWithoutBothVariables) {
  state.num_procs = 4;
  EXPECT_EQ(4, scheduler_processor_count());
  given_variable("NP_PER_NODE", "2");
  EXPECT_EQ(4, scheduler_processor_count());
  given_no_variable("NP_PER_NODE");
  given_variable("NUMBER_OF_PROCESSORS", "8");
  EXPECT_EQ(4, scheduler_processor_count());
}

TEST(SchedulerCount, AsksForWholeMachines) {
  EXPECT_EQ(16, count_for("2", "8", 4));
  EXPECT_EQ(32, count_for("1", "8", 4));
  EXPECT_EQ(4, count_for("8", "8", 4));
}

TEST(SchedulerCount, DropsWhatIsLeftOverInTheDivision) {
  EXPECT_EQ(13, count_for("3", "8", 5));  // 40 / 3
  EXPECT_EQ(9, count_for("8", "15", 5));  // 75 / 8
}

TEST(SchedulerCount, IsAtLeastTheProcessCount) {
  EXPECT_EQ(4, count_for("16", "8", 4));
  EXPECT_EQ(5, count_for("9", "8", 5));
}

TEST(SchedulerCount, IsTheProcessCountWhenANumberIsZeroOrNone) {
  EXPECT_EQ(4, count_for("0", "8", 4));
  EXPECT_EQ(4, count_for("2", "0", 4));
  EXPECT_EQ(4, count_for("two", "8", 4));
  EXPECT_EQ(4, count_for("2", "many", 4));
  EXPECT_EQ(4, count_for("", "8", 4));
}

TEST(SchedulerCount, IsTheProcessCountWhenOneNumberIsNegative) {
  EXPECT_EQ(4, count_for("-2", "8", 4));
  EXPECT_EQ(4, count_for("2", "-8", 4));
}

TEST(SchedulerCount, TakesTwoNegativeNumbersForTwoPositiveOnes) {
  EXPECT_EQ(16, count_for("-2", "-8", 4));
}

TEST(SchedulerCount, ReadsNumbersWithBlanksSignsAndTails) {
  EXPECT_EQ(16, count_for("  2 per node", "+8", 4));
}

TEST(SchedulerCount, MultipliesWithoutOverflow) {
  // 65,536 * 65,536 is 0 in 32 bits.
  EXPECT_EQ(65'536, count_for("65536", "65536", 65'536));
  EXPECT_EQ(1'500'000'000, count_for("4", "4", 1'500'000'000));
  EXPECT_EQ(INT_MAX, count_for("1", "65536", 65'536));
}

TEST(SchedulerCount, SurvivesTheLargestNumbers) {
  EXPECT_EQ(4, count_for("2147483647", "1", 4));
  EXPECT_EQ(INT_MAX, count_for("-1", "-2147483648", 1));
  EXPECT_EQ(INT_MAX, count_for("2147483647", "2147483647", INT_MAX));
}

// ---- Credential check ---------------------------------------------------------------------

constexpr const char *check_command =
    "cmd.exe /c job submit /scheduler:head /jobname:\"ORBEX ZEPHON Credential Check\"  cmd.exe /C "
    "ver";

TEST(CredentialCheck, SubmitsATrivialJobInTheConsole) {
  given_variable("USE_CCP", "head");
  given_tool(check_command, exits_with(3));
  EXPECT_EQ(3, check_scheduler_credentials());
  ASSERT_EQ(1U, started_commands().size());
  EXPECT_EQ("cmd.exe /c " + std::string(check_command), started_commands()[0].command_line);
  EXPECT_EQ(start_way::in_console, started_commands()[0].way);
}

TEST(CredentialCheck, LetsTheToolSpeakToTheUser) {
  given_variable("USE_CCP", "head");
  given_tool(check_command, prints("Enter the password for DOM\\jdoe: ").exits_with(1));
  EXPECT_EQ(1, check_scheduler_credentials());
  EXPECT_EQ("Enter the password for DOM\\jdoe: ", standard_output());
}

TEST(CredentialCheck, WaitsForTheTool) {
  given_variable("USE_CCP", "head");
  given_tool(check_command, prints("", 90'000));
  EXPECT_EQ(0, check_scheduler_credentials());
  EXPECT_EQ(90'000U, now());
}

TEST(CredentialCheck, CarriesTheOptionsOfAJob) {
  state.ccp_job_command = "\"C:\\HPC Pack\\job.exe\"";
  given_variable("USE_CCP", "head");
  given_variable("ZP_CCP_JOB_TEMPLATE", "t");
  given_variable("ZP_CCP_NODE_GROUP", "g");
  given_variable("CCP_USER_FLAGS", "/u");
  (void)check_scheduler_credentials();
  EXPECT_EQ((std::vector<std::string>{
                "cmd.exe /c \"\"C:\\HPC Pack\\job.exe\" submit /scheduler:head "
                "/jobname:\"ORBEX ZEPHON Credential Check\"  /jobtemplate:t  /nodegroup:g  /u  "
                "cmd.exe /C ver\""}),
            commands());
  EXPECT_EQ("\n***\n*** User defined: CCP_USER_FLAGS=/u\n***\n", standard_output());
}

TEST(CredentialCheck, IsTurnedOffByNoInAnyCase) {
  given_variable("USE_CCP", "head");
  given_variable("CCP_USER_FLAGS", "/u");
  for (const char *no : {"no", "No", "nO", "NO"}) {
    given_variable("ZEPHON_CRED_CHECK", no);
    EXPECT_EQ(0, check_scheduler_credentials());
  }
  EXPECT_TRUE(commands().empty());
  EXPECT_EQ("", both_streams());
}

TEST(CredentialCheck, RunsForAnyOtherWord) {
  given_variable("USE_CCP", "head");
  std::size_t runs = 0;
  for (const char *word : {"yes", "", "0", "none", "n", "no ", " no"}) {
    given_variable("ZEPHON_CRED_CHECK", word);
    (void)check_scheduler_credentials();
    EXPECT_EQ(++runs, commands().size()) << word;
  }
}

TEST(CredentialCheck, IsTraced) {
  given_variable("USE_CCP", "head");
  given_variable("ZEPHON_STARTUP_DEBUG", "1");
  given_tool(check_command);
  (void)check_scheduler_credentials();
  EXPECT_EQ(std::string("\nbuf = ") + check_command + " (..\\src\\mpirun:1654)", standard_output());
  EXPECT_EQ(standard_output(), started_commands().at(0).said_before);
}

TEST(CredentialCheck, GivesMinusOneWithoutACommandInterpreter) {
  given_variable("USE_CCP", "head");
  given_no_command_interpreter();
  EXPECT_EQ(-1, check_scheduler_credentials());
}

// ---- Working directory and output files ---------------------------------------------------

TEST(OutputOptions, NameTheNetworkDirectoryAndTheUsersFiles) {
  given_variable("STD_DIR", "\\\\server\\share\\run");
  given_variable("USERNAME", "jdoe");
  EXPECT_EQ(
      "job x /workdir:\"\\\\server\\share\\run\" /stdout:ZP%CCP_TASKCONTEXT%.jdoe.o "
      "/stderr:ZP%CCP_TASKCONTEXT%.jdoe.e ",
      with_output_options());
  EXPECT_EQ("\\\\server\\share\\run", state.std_dir);
  EXPECT_EQ("", both_streams());
}

TEST(OutputOptions, LeaveOutAUserWithoutAName) {
  given_variable("STD_DIR", "\\\\server\\share");
  EXPECT_EQ(
      "job x /workdir:\"\\\\server\\share\" /stdout:ZP%CCP_TASKCONTEXT%.o "
      "/stderr:ZP%CCP_TASKCONTEXT%.e ",
      with_output_options());
}

TEST(OutputOptions, PutAFullStopBehindABackslashAtTheEnd) {
  given_variable("STD_DIR", "\\\\server\\share\\");
  EXPECT_EQ(
      "job x /workdir:\"\\\\server\\share\\.\" /stdout:ZP%CCP_TASKCONTEXT%.o "
      "/stderr:ZP%CCP_TASKCONTEXT%.e ",
      with_output_options());
}

TEST(OutputOptions, PutNoFullStopBehindASlashAtTheEnd) {
  given_variable("STD_DIR", "//server/share/");
  EXPECT_EQ(
      "job x /workdir:\"//server/share/\" /stdout:ZP%CCP_TASKCONTEXT%.o "
      "/stderr:ZP%CCP_TASKCONTEXT%.e ",
      with_output_options());
}

TEST(OutputOptions, KnowANetworkPathByItsFirstTwoCharacters) {
  const std::string files = " /stdout:ZP%CCP_TASKCONTEXT%.o /stderr:ZP%CCP_TASKCONTEXT%.e ";
  for (const char *path : {"C:\\work", "\\work", "/work", "\\/work", "/\\work", "\\", ""}) {
    given_variable("STD_DIR", path);
    EXPECT_EQ("job x" + files, with_output_options()) << path;
  }
  given_variable("STD_DIR", "//");
  EXPECT_EQ("job x /workdir:\"//\"" + files, with_output_options());
}

TEST(OutputOptions, TurnAMappedDriveIntoItsNetworkPath) {
  given_network_drive("X:", "\\\\server\\share");
  given_variable("STD_DIR", "X:\\run");
  EXPECT_EQ(
      "job x /workdir:\"\\\\server\\share\\run\" /stdout:ZP%CCP_TASKCONTEXT%.o "
      "/stderr:ZP%CCP_TASKCONTEXT%.e ",
      with_output_options());
  EXPECT_EQ("\\\\server\\share\\run", state.std_dir);
}

TEST(OutputOptions, TakeTheUsersDirectoryBeforeAllOthers) {
  given_variable("STD_DIR", "\\\\s\\std");
  given_variable("CWD", "\\\\s\\cwd");
  given_current_directory("\\\\s\\current");
  (void)with_output_options();
  EXPECT_EQ("\\\\s\\std", state.std_dir);
}

TEST(OutputOptions, TakeTheScriptsDirectoryNext) {
  given_variable("CWD", "\\\\s\\cwd");
  given_current_directory("\\\\s\\current");
  (void)with_output_options();
  EXPECT_EQ("\\\\s\\cwd", state.std_dir);
}

TEST(OutputOptions, TakeTheCurrentDirectoryLast) {
  given_current_directory("\\\\s\\current");
  EXPECT_EQ(
      "job x /workdir:\"\\\\s\\current\" /stdout:ZP%CCP_TASKCONTEXT%.o "
      "/stderr:ZP%CCP_TASKCONTEXT%.e ",
      with_output_options());
}

TEST(OutputOptions, AreNoneWithoutAnyDirectory) {
  given_no_current_directory();
  given_variable("USERNAME", "jdoe");
  state.std_dir = "as before";
  EXPECT_EQ("job x", with_output_options());
  EXPECT_EQ("as before", state.std_dir);
}

TEST(OutputOptions, KeepTheFirst1024CharactersOfADirectory) {
  const std::string directory = "\\\\s\\" + std::string(1'020, 'd');
  for (const char *name : {"CWD", "STD_DIR"}) {
    given_variable(name, directory + "e");
    EXPECT_EQ("job x /workdir:\"" + directory +
                  "\" /stdout:ZP%CCP_TASKCONTEXT%.o /stderr:ZP%CCP_TASKCONTEXT%.e ",
              with_output_options());
    EXPECT_EQ(1'024U, state.std_dir.size());
    given_no_variable(name);
  }
}

TEST(OutputOptions, KeepALongCurrentDirectoryWhole) {
  given_current_directory("\\\\s\\" + std::string(5'000, 'd'));
  (void)with_output_options();
  EXPECT_EQ(5'004U, state.std_dir.size());
}

TEST(OutputOptions, KeepALongUserNameWhole) {
  const std::string user(600, 'u');
  given_variable("USERNAME", user);
  EXPECT_EQ("job x /stdout:ZP%CCP_TASKCONTEXT%." + user + ".o /stderr:ZP%CCP_TASKCONTEXT%." + user +
                ".e ",
            with_output_options());
}

TEST(OutputOptions, WarnOfALocalDirectoryInPtraceMode) {
  state.ptrace_mode = true;
  given_variable("STD_DIR", "C:\\100%s");
  EXPECT_EQ("job x /stdout:ZP%CCP_TASKCONTEXT%.o /stderr:ZP%CCP_TASKCONTEXT%.e ",
            with_output_options());
  EXPECT_EQ(
      "\nWarning: Working directory is not a network mapped: C:\\100%s\n"
      "         stdout and stderr will be under your HOME directory on the first allocated node!",
      standard_error());
  EXPECT_EQ("", standard_output());
}

TEST(OutputOptions, WarnOnlyInPtraceMode) {
  given_variable("STD_DIR", "C:\\run");
  (void)with_output_options();
  EXPECT_EQ("", both_streams());
}

TEST(OutputOptions, WarnOfNoNetworkDirectory) {
  state.ptrace_mode = true;
  given_variable("STD_DIR", "\\\\s\\run");
  (void)with_output_options();
  EXPECT_EQ("", both_streams());
}

TEST(OutputUserPart, IsTheUserBehindAFullStop) {
  given_variable("USERNAME", "Jane Doe");
  EXPECT_EQ(".Jane Doe", output_user_part());
  given_no_variable("USERNAME");
  EXPECT_EQ("", output_user_part());
}

// ---- The command in front of an mpiexec ---------------------------------------------------

class TaskCommand : public testing::Test {
 protected:
  TaskCommand() {
    given_variable("USE_CCP", "head");
    given_variable("ZEPHON_CRED_CHECK", "no");
    given_variable("STD_DIR", "\\\\s\\run");
    given_variable("USERNAME", "jdoe");
    given_variable("ZP_CCP_JOB_TEMPLATE", "t");
    given_variable("ZP_CCP_NODE_GROUP", "g");
    given_variable("CCP_USER_FLAGS", "/u");
    state.num_procs = 4;
  }

  std::string task_command(bool hosts_file_is_readable) {
    prepare_task();
    return build_task_command("head", hosts_file_is_readable).text;
  }
};

TEST_F(TaskCommand, SubmitsAJobOfItsOwn) {
  EXPECT_EQ(
      "job submit /scheduler:head /jobname:\"ORBEX ZEPHON\" /exclusive:false /numprocessors:4"
      " /workdir:\"\\\\s\\run\" /stdout:ZP%CCP_TASKCONTEXT%.jdoe.o"
      " /stderr:ZP%CCP_TASKCONTEXT%.jdoe.e  /jobtemplate:t  /nodegroup:g  /u ",
      task_command(false));
  EXPECT_EQ(0, state.scheduler_job_id);
}

TEST_F(TaskCommand, AddsATaskToTheJobOfTheVariable) {
  given_variable("CCP_JOB_ID", "17");
  EXPECT_EQ(
      "job add 17 /scheduler:head /name:\"ORBEX ZEPHON\" /exclusive:false /numprocessors:4"
      " /workdir:\"\\\\s\\run\" /stdout:ZP%CCP_TASKCONTEXT%.jdoe.o"
      " /stderr:ZP%CCP_TASKCONTEXT%.jdoe.e  /u ",
      task_command(false));
  EXPECT_EQ(17, state.scheduler_job_id);
}

TEST_F(TaskCommand, AsksForProcessesEvenWithProcessesPerNode) {
  given_variable("NP_PER_NODE", "2");
  given_variable("NUMBER_OF_PROCESSORS", "8");
  given_variable("ZP_CCP_UNIT", "core");
  EXPECT_EQ(0U, task_command(false).find(
                    "job submit /scheduler:head /jobname:\"ORBEX ZEPHON\" /exclusive:false "
                    "/numcores:4 "));
}

TEST_F(TaskCommand, HasOnlyTheOptionsOfAJobForAReadableHostFileInAnExistingJob) {
  given_variable("CCP_JOB_ID", "17");
  EXPECT_EQ(" /jobtemplate:t  /nodegroup:g  /u ", task_command(true));
  EXPECT_EQ(17, state.scheduler_job_id);
}

TEST_F(TaskCommand, NamesNoOutputFilesForAReadableHostFile) {
  EXPECT_EQ(
      "job submit /scheduler:head /jobname:\"ORBEX ZEPHON\" /exclusive:false /numprocessors:4"
      " /jobtemplate:t  /nodegroup:g  /u ",
      task_command(true));
}

TEST_F(TaskCommand, ChecksCredentialsOnlyBeforeASubmission) {
  given_no_variable("ZEPHON_CRED_CHECK");
  task_command(false);
  EXPECT_EQ(1U, commands().size());
  given_variable("CCP_JOB_ID", "17");
  task_command(false);
  task_command(true);
  EXPECT_EQ(1U, commands().size());
}

TEST_F(TaskCommand, AddsToANegativeJobAsItStands) {
  given_variable("CCP_JOB_ID", "-1");
  EXPECT_EQ(0U, task_command(false).find("job add -1 /scheduler:head "));
  EXPECT_EQ(-1, state.scheduler_job_id);
}

TEST_F(TaskCommand, AddsToJobZeroWhenTheVariableIsNoNumber) {
  given_variable("CCP_JOB_ID", "mine");
  EXPECT_EQ(0U, task_command(false).find("job add 0 /scheduler:head "));
}

TEST_F(TaskCommand, RunsTheToolOfTheUser) {
  state.ccp_job_command = "C:\\hpc\\job.exe";
  EXPECT_EQ(0U, task_command(false).find("C:\\hpc\\job.exe submit /scheduler:head "));
  given_variable("CCP_JOB_ID", "17");
  EXPECT_EQ(0U, task_command(false).find("C:\\hpc\\job.exe add 17 "));
}

TEST_F(TaskCommand, ShowsTheUsersFlagsOnce) {
  task_command(false);
  EXPECT_EQ("\n***\n*** User defined: CCP_USER_FLAGS=/u\n***\n", standard_output());
}

}  // namespace
