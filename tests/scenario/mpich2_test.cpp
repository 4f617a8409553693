// mpich2_test.cpp: the launch command of MPICH2 and the search for its installation.

#include <gtest/gtest.h>

#include "scenario_bench.h"
#include "settings.h"

using namespace scenario;

namespace {

const std::string mpiexec = "inc\\zephon1.2.3\\netweave\\mpi\\win64\\mpich2\\bin\\mpiexec.exe";
const std::string smpd = "inc\\zephon1.2.3\\netweave\\mpi\\win64\\mpich2\\bin\\smpd.exe";
const std::string valid = "when -validate\nout SUCCESS\\r\\n\n";

// MPICH2 of release 1.2.3.
void given_mpich2() {
  given_release_without_blanks("mpich2");
  given_tool(mpiexec, valid);
  given_tool(smpd, "out smpd running on ALPHA\\r\\n\n");
}

void given_two_hosts() {
  given_mpich2();
  given_command_interpreter();
  given_variable("ZEPHON_HOSTS_FILE", "..\\hosts");
  given_file("hosts", "alpha\nbeta\n");
}

// An installation of the user's own, which tells its version.
void given_own_mpich2(const std::string &version) {
  given_mpich2();
  given_command_interpreter();
  given_variable("MPICH2_HOME", "..\\own");
  given_tool("own\\bin\\mpiexec.exe", valid);
  given_tool("own\\bin\\smpd.exe", version);
}

launch run_mpich2(const std::string &arguments = "--np=4 solver") {
  return run_launcher("--r1.2.3 --mpi=mpich2 " + arguments);
}

const std::string own_shown =
    "\r\n***\r\n*** User defined: MPICH2_HOME=..\\own\r\n"
    "*** Make sure the same MPICH2 version is installed on all the used machines!\r\n***\r\n";

// ---- A table of settings ------------------------------------------------------------------

class Mpich2Settings : public testing::TestWithParam<setting> {};

const std::vector<setting> settings = {
    {"Local",
     {},
     "--np=4 solver",
     R"(..\inc\zephon1.2.3\netweave\mpi\win64\mpich2\bin\mpiexec.exe  -localonly  -np 4  -channel shm  solver)"},
    {"LocalWithEverything",
     {{"ZEPHON_WORK_SIZE", "8"},
      {"ZEPHON_WORK_UNIT", "2.5"},
      {"MPICH2_CHANNEL", "sock"},
      {"MPICH2_USER_FLAGS", "-env A 1"}},
     "--np=4 solver \"a case.jou\"",
     R"(..\inc\zephon1.2.3\netweave\mpi\win64\mpich2\bin\mpiexec.exe  -localonly  -np 4  -env ZEPHON_WORK_SIZE 8  -env ZEPHON_WORK_UNIT 2.5  -channel sock -env A 1   solver "a case.jou")"},
    {"Hosts",
     {{"ZEPHON_HOSTS_FILE", "..\\hosts"}},
     "--np=4 solver",
     R"(..\inc\zephon1.2.3\netweave\mpi\win64\mpich2\bin\mpiexec.exe  -machinefile ..\hosts  -np 4  -channel ssm -env PATH "..\inc\zephon1.2.3\netweave\mpi\win64\mpich2\lib;..\prod\netweave\mpi_wrapper\win64\mpich2;..\inc\ntbin\win64"   solver)"},
    {"HostsWithBlanks",
     {},
     "--cnf=\"..\\my hosts\" \"--pathnode=D:\\my node\" --np=4 solver",
     R"(..\inc\zephon1.2.3\netweave\mpi\win64\mpich2\bin\mpiexec.exe  -machinefile ..\my hosts  -np 4  -channel ssm -env PATH "..\inc\zephon1.2.3\netweave\mpi\win64\mpich2\lib;D:\my node;..\prod\netweave\mpi_wrapper\win64\mpich2;..\inc\ntbin\win64"   solver)"},
    {"OneHost",
     {{"ZEPHON_HOSTS_FILE", "..\\one"}, {"MPICH2_USER_FLAGS", "-l"}},
     "--np=4 solver",
     R"(..\inc\zephon1.2.3\netweave\mpi\win64\mpich2\bin\mpiexec.exe  -machinefile ..\one  -np 4  -channel shm -env PATH "..\inc\zephon1.2.3\netweave\mpi\win64\mpich2\lib;..\prod\netweave\mpi_wrapper\win64\mpich2;..\inc\ntbin\win64"  -l   solver)"},
    {"HostsOnAGivenChannel",
     {{"ZEPHON_HOSTS_FILE", "..\\hosts"}, {"MPICH2_CHANNEL", "ssm"}, {"ZEPHON_WORK_UNIT", "1"}},
     "--np=4 solver",
     R"(..\inc\zephon1.2.3\netweave\mpi\win64\mpich2\bin\mpiexec.exe  -machinefile ..\hosts  -np 4  -env ZEPHON_WORK_UNIT 1  -channel ssm -env PATH "..\inc\zephon1.2.3\netweave\mpi\win64\mpich2\lib;..\prod\netweave\mpi_wrapper\win64\mpich2;..\inc\ntbin\win64"   solver)"},
};

}  // namespace

TEST_P(Mpich2Settings, GiveTheCommandLine) {
  given_mpich2();
  given_file("hosts", "alpha\nbeta\n");
  given_file("my hosts", "alpha\nbeta\n");
  given_file("one", "alpha\nalpha\n");
  given_variable("ZEPHON_CRED_CHECK", "no");
  given_variables(GetParam());
  const auto run = run_mpich2(GetParam().arguments);
  EXPECT_EQ(0U, run.status);
  EXPECT_EQ("", run.errors);
  EXPECT_EQ(GetParam().command_line, only_start_of(mpiexec).command_line);
}

INSTANTIATE_TEST_SUITE_P(Mpich2, Mpich2Settings, testing::ValuesIn(settings),
                         [](const auto &row) { return row.param.name; });

TEST(Mpich2, PutsItsFoldersBehindTheOldPath) {
  given_mpich2();
  given_variable("PATH", "C:\\windows\\system32;C:\\windows");
  (void)run_mpich2();
  EXPECT_EQ(R"(C:\windows\system32;C:\windows;..\inc\zephon1.2.3\netweave\mpi\win64\mpich2\lib)"
            R"(;..\prod\netweave\mpi_wrapper\win64\mpich2;..\inc\ntbin\win64)",
            only_start_of(mpiexec).variable("PATH"));
}

TEST(Mpich2, LeavesThePathOfThisMachineAloneWithAHostFile) {
  given_two_hosts();
  given_variable("ZEPHON_CRED_CHECK", "no");
  given_variable("PATH", "C:\\windows\\system32;C:\\windows");
  (void)run_mpich2();
  EXPECT_EQ("C:\\windows\\system32;C:\\windows", only_start_of(mpiexec).variable("PATH"));
}

TEST(Mpich2, HandsTheHostFileOnAsItIs) {
  given_two_hosts();
  (void)run_mpich2();
  EXPECT_EQ("..\\hosts", starts_of(mpiexec).back().variable("ZEPHON_HOSTS_FILE"));
}

// ---- Service and password -----------------------------------------------------------------

TEST(Mpich2, AsksItsOwnServiceAndPassword) {
  given_two_hosts();
  const auto run = run_mpich2();
  EXPECT_EQ(
      "\r\nChecking the status of SMPD for INTEL MPI on the local machine ... smpd running on "
      "ALPHA\r\n",
      run.output);
  EXPECT_EQ("..\\" + smpd + " -status", only_start_of(smpd).command_line);
  const auto starts = starts_of(mpiexec);
  ASSERT_EQ(2U, starts.size());
  EXPECT_EQ("..\\" + mpiexec + " -validate", starts[0].command_line);
}

TEST(Mpich2, AsksForAPasswordThreeTimes) {
  given_two_hosts();
  given_tool(mpiexec, "when -validate\nout FAIL\\r\\n\n");
  given_box_answer(yes_button);
  given_box_answer(yes_button);
  const auto run = run_mpich2();
  EXPECT_EQ(4U, run.status);
  EXPECT_TRUE(
      run.output.ends_with("\r\nUser password has been inputed 3 times, but still wrong!\r\n\r\n"));
  const auto starts = starts_of(mpiexec);
  ASSERT_EQ(7U, starts.size());
  EXPECT_EQ("..\\" + mpiexec + " -register", starts[5].command_line);
}

TEST(Mpich2, EndsWhenTheUserGivesNoPassword) {
  given_two_hosts();
  given_tool(mpiexec, "when -validate\nout FAIL\\r\\n\n");
  given_box_answer(no_button);
  EXPECT_EQ(0U, run_mpich2().status);
  EXPECT_EQ(3U, starts_of(mpiexec).size());
}

// ---- The installation ---------------------------------------------------------------------

TEST(Mpich2Home, IsShownOnceWithItsVersion) {
  given_own_mpich2("when -version\nout 1.2.1p1\\r\\n\nwhen -status\nout smpd running\\r\\n\n");
  given_variable("ZEPHON_HOSTS_FILE", "..\\hosts");
  given_file("hosts", "alpha\nbeta\n");
  const auto run = run_mpich2();
  EXPECT_EQ(own_shown +
                "1.2.1p1\r\n\r\n"
                "\r\nChecking the status of SMPD for INTEL MPI on the local machine ... smpd "
                "running\r\n",
            run.output);
  EXPECT_EQ(
      R"(..\own\bin\mpiexec.exe  -machinefile ..\hosts  -np 4  -channel ssm -env PATH "..\own\lib;..\prod\netweave\mpi_wrapper\win64\mpich2;..\inc\ntbin\win64"   solver)",
      starts_of("own\\bin\\mpiexec.exe").back().command_line);
  EXPECT_TRUE(starts_of(mpiexec).empty());
}

TEST(Mpich2Home, IsKnownAsOldByItsListOfOptions) {
  given_own_mpich2("out Usage:\\r\\nsmpd options\\r\\n\nrepeat 1000 -more\\r\\n\n");
  const auto run = run_mpich2();
  EXPECT_EQ(own_shown + "Usage:\r\n1.0.2 or older\r\n\r\n", run.output);
  EXPECT_EQ(0U, run.status);
}

TEST(Mpich2Home, ShowsAVersionWithPercentSigns) {
  given_own_mpich2("out 100%% %s%n %d\\r\\n\n");
  EXPECT_EQ(own_shown + "100% %s%n %d\r\n\r\n", run_mpich2().output);
}

TEST(Mpich2Home, MayHoldNoService) {
  given_own_mpich2("");
  given_variable("MPICH2_HOME", "..\\bare");
  given_tool("bare\\bin\\mpiexec.exe");
  const auto run = run_mpich2();
  EXPECT_TRUE(run.output.ends_with("\r\n***\r\n\r\n")) << run.output;
  EXPECT_TRUE(starts_of("cmd.exe").empty());
  EXPECT_EQ(R"(..\bare\bin\mpiexec.exe  -localonly  -np 4  -channel shm  solver)",
            only_start_of("bare\\bin\\mpiexec.exe").command_line);
}

TEST(Mpich2Home, IsPassedOverWhenItHoldsNoMpiexec) {
  given_mpich2();
  given_variable("MPICH2_HOME", "..\\own");
  EXPECT_EQ("", run_mpich2().output);
  EXPECT_EQ(1U, starts_of(mpiexec).size());
}

TEST(Mpich2Home, IsPassedOverWhenItIsOfAnotherMpi) {
  given_mpich2();
  given_variable("MPICH2_HOME", "..\\MPIPro");
  given_tool("MPIPro\\bin\\mpiexec.exe");
  EXPECT_EQ("", run_mpich2().output);
  EXPECT_EQ(1U, starts_of(mpiexec).size());
}
