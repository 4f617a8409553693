// Tests of the launch command of MPICH2 and of the search for its installation.
#include "backends/mpich2.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/fresh_launch.h"

using namespace stand_in;

namespace {

using texts = std::vector<std::string>;

const std::string installation = R"(C:\inc\zephon1.2.3\netweave\mpi\win64\mpich2)";
const std::string ask_version = "C:\\own\\bin\\smpd.exe -version";
const std::string home_shown =
    "\n***\n*** User defined: MPICH2_HOME=C:\\own\n"
    "*** Make sure the same MPICH2 version is installed on all the used machines!\n***\n";

void given_release() {
  state.zephon_inc = "C:\\inc";
  state.release = "1.2.3";
  state.num_procs = 4;
  state.mpi_name = "mpich2";
}

void given_hosts(const std::string &content) {
  given_release();
  given_variable("ZEPHON_HOSTS_FILE", "C:\\hosts");
  given_file("C:\\hosts", content);
  given_tool(installation + "\\bin\\smpd.exe -status", prints("smpd running on ALPHA\r\n"));
  given_tool(installation + "\\bin\\mpiexec.exe -validate", prints("SUCCESS\r\n"));
}

void given_own_home(const std::string &home = "C:\\own") {
  given_release();
  given_variable("MPICH2_HOME", home);
  given_file(home + "\\bin\\mpiexec.exe");
}

std::string command() {
  EXPECT_EQ(1, build_mpich2_command());
  return state.launch_command;
}

// What is said when `smpd -version` answers so.
std::string report_of(const std::string &answer) {
  given_own_home();
  given_file("C:\\own\\bin\\smpd.exe");
  given_tool(ask_version, prints(answer));
  EXPECT_EQ("C:\\own", find_mpich2_home(root_choice::shared));
  EXPECT_EQ("", standard_error());
  EXPECT_TRUE(standard_output().starts_with(home_shown));
  return standard_output().substr(home_shown.size());
}

}  // namespace

// ---- The installation ---------------------------------------------------------------------

TEST(Mpich2Home, IsTheReleasesOwnWithoutTheVariable) {
  given_release();
  EXPECT_EQ(installation, find_mpich2_home(root_choice::shared));
  EXPECT_EQ(installation, find_mpich2_home(root_choice::local_allowed));
  EXPECT_EQ("", both_streams());
}

TEST(Mpich2Home, MayBeBelowTheLocalRootWhenItIsAnnounced) {
  given_release();
  given_variable("ZEPHON_INC_LOCAL_RESERVED", "D:\\local");
  EXPECT_EQ(installation, find_mpich2_home(root_choice::shared));
  EXPECT_EQ(R"(D:\local\zephon1.2.3\netweave\mpi\win64\mpich2)",
            find_mpich2_home(root_choice::local_allowed));
}

TEST(Mpich2Home, IsTheUsersOwnWhenItHoldsMpiexec) {
  given_own_home();
  given_variable("ZEPHON_INC_LOCAL_RESERVED", "D:\\local");
  EXPECT_EQ("C:\\own", find_mpich2_home(root_choice::shared));
  EXPECT_EQ("C:\\own", find_mpich2_home(root_choice::local_allowed));
}

TEST(Mpich2Home, IsSilentlyTheReleasesOwnWhenTheUsersHoldsNoMpiexec) {
  given_own_home();
  given_no_file("C:\\own\\bin\\mpiexec.exe");
  EXPECT_EQ(installation, find_mpich2_home(root_choice::shared));
  EXPECT_EQ("", both_streams());
}

TEST(Mpich2Home, IsTheReleasesOwnWhenTheUsersIsOfAnotherMpi) {
  given_own_home("C:\\MPIPro");
  EXPECT_EQ(installation, find_mpich2_home(root_choice::shared));
  EXPECT_EQ("", both_streams());
}

TEST(Mpich2Home, KnowsTheOtherMpiByCapitalAndSmallLetters) {
  given_own_home("C:\\mpipro");
  EXPECT_EQ("C:\\mpipro", find_mpich2_home(root_choice::shared));
}

TEST(Mpich2Home, IsTheReleasesOwnWhenTheUsersIsEmpty) {
  given_own_home("");  // with an mpiexec.exe in \bin
  EXPECT_EQ(installation, find_mpich2_home(root_choice::shared));
}

TEST(Mpich2Home, IsShownWithoutAVersionWhenItHoldsNoSmpd) {
  given_own_home();
  EXPECT_EQ("C:\\own", find_mpich2_home(root_choice::shared));
  EXPECT_EQ(home_shown + "\n", both_streams());
  EXPECT_EQ(texts{}, commands());
}

TEST(Mpich2Home, IsShownWithItsVersion) {
  EXPECT_EQ("1.2.1p1\n\n", report_of("1.2.1p1\r\n"));
  EXPECT_EQ(texts{ask_version}, commands());
  EXPECT_EQ(home_shown, started_commands().at(0).said_before);
}

TEST(Mpich2Home, IsShownOnceInARun) {
  (void)report_of("1.2.1p1\r\n");
  EXPECT_EQ("C:\\own", find_mpich2_home(root_choice::local_allowed));
  EXPECT_EQ("C:\\own", find_mpich2_home(root_choice::shared));
  EXPECT_EQ(texts{ask_version}, commands());
  EXPECT_EQ(home_shown + "1.2.1p1\n\n", standard_output());
  EXPECT_EQ(1, state.mpich2_home_announced);
}

TEST(Mpich2Home, MayFindItsMpiexecGoneLater) {
  (void)report_of("1.2.1p1\r\n");
  given_no_file("C:\\own\\bin\\mpiexec.exe");
  EXPECT_EQ(installation, find_mpich2_home(root_choice::shared));
}

TEST(Mpich2Home, ShowsEveryLineOfTheVersion) {
  EXPECT_EQ("one\ntwo\nthree\n", report_of("one\r\ntwo\r\nthree"));
}

TEST(Mpich2Home, ShowsAnOldVersionByItsListOfOptions) {
  EXPECT_EQ("usage\n1.0.2 or older\n\n",
            report_of("usage\r\nthe smpd options are\r\n-help\r\n-install\r\n"));
}

TEST(Mpich2Home, KnowsAnOldVersionAtTheEndOfALine) {
  EXPECT_EQ("1.0.2 or older\n\n", report_of("these are the smpd options\r\n-help\r\n"));
}

TEST(Mpich2Home, ShowsTwoPercentSignsAsOne) {
  EXPECT_EQ("100% %%\n\n", report_of("100%% %%%%\r\n"));
}

TEST(Mpich2Home, ShowsAnyOtherPercentSignAsItStands) {
  EXPECT_EQ("%d %s %n 5% %5 %\n%\n", report_of("%d %s %n 5% %5 %\r\n%"));
}

TEST(Mpich2Home, ShowsAnOddNumberOfPercentSigns) {
  EXPECT_EQ("%%d\n\n", report_of("%%%d\r\n"));
}

TEST(Mpich2Home, IsShownWithASilentSmpd) {
  EXPECT_EQ("\n", report_of(""));
}

TEST(Mpich2Home, IsShownWithAnSmpdThatCannotBeRun) {
  given_own_home();
  given_file("C:\\own\\bin\\smpd.exe");
  given_no_pipes();
  EXPECT_EQ("C:\\own", find_mpich2_home(root_choice::shared));
  EXPECT_EQ(home_shown + "\n", standard_output());
  EXPECT_EQ(
      "\nerror : cmd = C:\\own\\bin\\smpd.exe -version\n"
      "\nError in execute command C:\\own\\bin\\smpd.exe -version\n",
      standard_error());
}

TEST(Mpich2Home, ShowsALongLineInPieces) {
  EXPECT_EQ(std::string(3000, 'x') + "\n\n", report_of(std::string(3000, 'x') + "\r\n"));
}

TEST(Mpich2Home, IsTraced) {
  given_variable("ZEPHON_STARTUP_DEBUG", "1");
  EXPECT_EQ("\ncmd = C:\\own\\bin\\smpd.exe -version (..\\src\\mpirun:4151)1.2.1p1\n\n",
            report_of("1.2.1p1\r\n"));
}

TEST(Mpich2Home, QuotesNoFolderWithABlank) {
  given_own_home("C:\\my own");
  given_file("C:\\my own\\bin\\smpd.exe");
  given_tool("C:\\my own\\bin\\smpd.exe -version", prints("1.2.1p1\r\n"));
  EXPECT_EQ("C:\\my own", find_mpich2_home(root_choice::shared));
  EXPECT_TRUE(standard_output().ends_with("***\n1.2.1p1\n\n"));
}

// ---- On this machine ----------------------------------------------------------------------

TEST(Mpich2Command, RunsLocallyWithoutAHostFile) {
  given_release();
  EXPECT_EQ(
      R"(C:\inc\zephon1.2.3\netweave\mpi\win64\mpich2\bin\mpiexec.exe  -localonly  -np 4  -channel shm)",
      command());
  EXPECT_EQ("", both_streams());
  EXPECT_EQ(texts{}, commands());
}

TEST(Mpich2Command, HasEveryPieceInItsOrder) {
  given_release();
  given_variable("ZEPHON_WORK_SIZE", "8");
  given_variable("ZEPHON_WORK_UNIT", "2");
  given_variable("MPICH2_CHANNEL", "sock");
  given_variable("MPICH2_USER_FLAGS", "-env A 1");
  EXPECT_EQ(
      R"(C:\inc\zephon1.2.3\netweave\mpi\win64\mpich2\bin\mpiexec.exe  -localonly  -np 4  -env ZEPHON_WORK_SIZE 8  -env ZEPHON_WORK_UNIT 2  -channel sock -env A 1 )",
      command());
  EXPECT_EQ(
      "\n***\n*** User defined: MPICH2_CHANNEL=sock\n***\n"
      "\n***\n*** User defined: MPICH2_USER_FLAGS=-env A 1\n***\n",
      both_streams());
}

TEST(Mpich2Command, UsesTheUsersOwnInstallation) {
  given_own_home("C:\\my own");
  EXPECT_EQ(R"(C:\my own\bin\mpiexec.exe  -localonly  -np 4  -channel shm)", command());
  EXPECT_EQ(R"(C:\my own\lib;C:\inc\ntbin\win64)", variable("PATH"));
}

TEST(Mpich2Command, DoesNotUseTheLocalRoot) {
  given_release();
  given_variable("ZEPHON_INC_LOCAL_RESERVED", "D:\\local");
  EXPECT_TRUE(command().starts_with(installation + "\\bin\\mpiexec.exe "));
  EXPECT_EQ(installation + R"(\lib;C:\inc\ntbin\win64)", variable("PATH"));
}

TEST(Mpich2Command, FormatsWhatIsUnknownAsNothing) {
  EXPECT_EQ(R"(\zephon\netweave\mpi\win64\mpich2\bin\mpiexec.exe  -localonly  -np 1  -channel shm)",
            command());
  EXPECT_EQ(R"(\zephon\netweave\mpi\win64\mpich2\lib;\ntbin\win64)", variable("PATH"));
}

TEST(Mpich2Command, PutsItsFoldersBehindTheOldPath) {
  given_release();
  given_variable("PATH", "C:\\windows;C:\\bin");
  (void)command();
  EXPECT_EQ(R"(C:\windows;C:\bin;)" + installation + R"(\lib;C:\inc\ntbin\win64)",
            variable("PATH"));
  EXPECT_EQ("PATH=C:\\windows;C:\\bin;" + installation + R"(\lib;C:\inc\ntbin\win64)" +
                std::string(2, '\0'),
            state.env_pool);
}

TEST(Mpich2Command, PutsTheRemotePathIntoThePath) {
  given_release();
  state.node_path = "C:\\node;D:\\node";
  (void)command();
  EXPECT_EQ(installation + R"(\lib;C:\node;D:\node;C:\inc\ntbin\win64)", variable("PATH"));
}

TEST(Mpich2Command, TakesTheReleasesFoldersFromTheStateOfTheStart) {
  given_release();
  given_variable("ZEPHON_INC", "C:\\later");
  (void)command();
  EXPECT_EQ(installation + R"(\lib;C:\inc\ntbin\win64)", variable("PATH"));
}

TEST(Mpich2Command, IsNotTraced) {
  given_release();
  given_variable("ZEPHON_STARTUP_DEBUG", "1");
  (void)command();
  EXPECT_EQ("", both_streams());
}

TEST(Mpich2Command, TakesAnEmptyChannelAtItsWord) {
  given_release();
  given_variable("MPICH2_CHANNEL", "");
  EXPECT_TRUE(command().ends_with(" -np 4  -channel "));
}

// ---- On the hosts of a host file ----------------------------------------------------------

TEST(Mpich2Command, RunsOnTheHostsOfAFile) {
  given_hosts("alpha\nbeta\n");
  given_variable("PATH", "C:\\windows");
  EXPECT_EQ(
      R"(C:\inc\zephon1.2.3\netweave\mpi\win64\mpich2\bin\mpiexec.exe  -machinefile C:\hosts  -np 4  -channel ssm -env PATH "C:\inc\zephon1.2.3\netweave\mpi\win64\mpich2\lib;C:\inc\ntbin\win64" )",
      command());
  EXPECT_EQ("C:\\windows", variable("PATH"));
  EXPECT_EQ(std::string(1, '\0'), state.env_pool);
}

TEST(Mpich2Command, QuotesNothingButTheRemotePath) {
  given_hosts("");
  given_variable("ZEPHON_HOSTS_FILE", "C:\\my hosts");
  given_file("C:\\my hosts", "alpha\nbeta\n");
  state.node_path = "C:\\my node";
  EXPECT_EQ(
      R"(C:\inc\zephon1.2.3\netweave\mpi\win64\mpich2\bin\mpiexec.exe  -machinefile C:\my hosts  -np 4  -channel ssm -env PATH "C:\inc\zephon1.2.3\netweave\mpi\win64\mpich2\lib;C:\my node;C:\inc\ntbin\win64" )",
      command());
}

TEST(Mpich2Command, HasTheUsersFlagsLast) {
  given_hosts("alpha\nbeta\n");
  given_variable("MPICH2_USER_FLAGS", "-l");
  EXPECT_TRUE(command().ends_with("\\win64\"  -l "));
}

TEST(Mpich2Command, ChecksServiceAndPasswordForAHostFile) {
  given_hosts("alpha\nbeta\n");
  (void)command();
  EXPECT_EQ((texts{installation + "\\bin\\smpd.exe -status",
                   installation + "\\bin\\mpiexec.exe -validate"}),
            commands());
}

TEST(Mpich2Command, ChecksTheServiceOfTheLocalRoot) {
  given_hosts("alpha\nbeta\n");
  given_variable("ZEPHON_INC_LOCAL_RESERVED", "D:\\local");
  EXPECT_TRUE(command().starts_with(installation + "\\bin\\mpiexec.exe "));
  EXPECT_EQ((texts{R"(D:\local\zephon1.2.3\netweave\mpi\win64\mpich2\bin\smpd.exe -status)",
                   R"(D:\local\zephon1.2.3\netweave\mpi\win64\mpich2\bin\mpiexec.exe -validate)"}),
            commands());
}

TEST(Mpich2Command, ShowsTheUsersOwnInstallationBeforeItChecks) {
  given_hosts("alpha\nbeta\n");
  given_own_home();
  (void)command();
  EXPECT_EQ((texts{"C:\\own\\bin\\smpd.exe -status", "C:\\own\\bin\\mpiexec.exe -validate"}),
            commands());
  EXPECT_TRUE(standard_output().starts_with(home_shown + "\n\nChecking the status of SMPD"));
}

TEST(Mpich2Command, SkipsTheChecksWhenTheUserSwitchedThemOff) {
  given_hosts("alpha\nbeta\n");
  given_variable("ZEPHON_CRED_CHECK", "No");
  (void)command();
  EXPECT_EQ(texts{}, commands());
  EXPECT_EQ(
      "\n***\n*** User defined: ZEPHON_CRED_CHECK=No\n*** Skipping credential validation!\n***\n",
      both_streams());
}

TEST(Mpich2Command, HandsTheHostFileOnAsItIs) {
  given_hosts("alpha\nbeta\n");
  (void)command();
  EXPECT_EQ(texts{}, written_files());
  EXPECT_EQ("C:\\hosts", variable("ZEPHON_HOSTS_FILE"));
}

TEST(Mpich2Command, SharesMemoryOnASingleHost) {
  given_hosts("alpha\nalpha\n");
  EXPECT_EQ(
      R"(C:\inc\zephon1.2.3\netweave\mpi\win64\mpich2\bin\mpiexec.exe  -machinefile C:\hosts  -np 4  -channel shm -env PATH "C:\inc\zephon1.2.3\netweave\mpi\win64\mpich2\lib;C:\inc\ntbin\win64" )",
      command());
}

TEST(Mpich2Command, LooksAtAsManyEntriesAsThereAreProcesses) {
  given_hosts("alpha\nalpha\nbeta\n");
  state.num_procs = 2;
  EXPECT_NE(std::string::npos, command().find(" -channel shm "));
  state.num_procs = 3;
  EXPECT_NE(std::string::npos, command().find(" -channel ssm "));
}

TEST(Mpich2Command, TakesAHostFileThatDoesNotOpenForASingleHost) {
  given_hosts("");
  given_no_file("C:\\hosts");
  EXPECT_NE(std::string::npos, command().find(" -machinefile C:\\hosts  -np 4  -channel shm "));
  EXPECT_TRUE(standard_output().ends_with(
      "\nWarning: Unable to open host file C:\\hosts! Use local machine.\n"));
}

TEST(Mpich2Command, DoesNotReadTheHostFileWhenTheChannelIsGiven) {
  given_hosts("alpha\nbeta\n");
  given_variable("MPICH2_CHANNEL", "sock");
  EXPECT_NE(std::string::npos, command().find(" -np 4  -channel sock -env PATH \""));
  EXPECT_EQ(0U, times_opened("C:\\hosts"));
}

TEST(Mpich2Command, EndsTheProgramWhenTheUserGivesNoPassword) {
  given_hosts("alpha\nbeta\n");
  given_tool_with("-validate", prints("FAIL\r\n"));
  given_box_answer(pressed_no);
  EXPECT_EQ(0, status_of_exit([] { (void)build_mpich2_command(); }));
  EXPECT_EQ("", state.launch_command);
}
