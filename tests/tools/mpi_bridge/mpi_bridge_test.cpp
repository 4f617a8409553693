// mpi_bridge_test.cpp: the rules by which the bridge plays each MPI.
#include <gtest/gtest.h>

#include <map>

#include "machine_files.h"
#include "mpi_rules.h"
#include "process_manager.h"
#include "unix_launch.h"
#include "unix_text.h"

namespace mpi_bridge {
namespace {

// A machine with a few files and variables.
struct machine {
  std::map<std::string, std::string> files;
  std::map<std::string, std::string> variables;
  std::map<std::string, std::string> answers;  // of commands
  bool service_running = true;
  bool credentials_stored = true;

  surroundings look() const {
    surroundings around;
    around.variable = [this](const std::string &name) { return find(variables, name); };
    around.file_text = [this](const std::string &name) { return find(files, name); };
    around.answer_of = [this](const std::string &command) { return find(answers, command); };
    around.computer = "DESK";
    around.account = "DESK\\jdoe";
    around.service_running = service_running;
    around.credentials_stored = credentials_stored;
    return around;
  }

  static std::optional<std::string> find(const std::map<std::string, std::string> &texts,
                                         const std::string &name) {
    const auto place = texts.find(name);
    return place == texts.end() ? std::nullopt : std::optional(place->second);
  }
};

const std::vector<host_slots> alpha_and_beta = {{"alpha", 2}, {"beta", 2}};

// ---- Host files ---------------------------------------------------------------------------

TEST(MsmpiHosts, HaveTheirCoresBehindABlank) {
  EXPECT_EQ((std::vector<host_slots>{{"alpha", 4}, {"beta", 1}}),
            read_msmpi_hosts("# nodes\r\n\r\nalpha 4\r\nbeta # spare\r\n"));
}

TEST(MsmpiHosts, TakeAColonForAPartOfTheName) {
  EXPECT_EQ((std::vector<host_slots>{{"alpha:4", 1}}), read_msmpi_hosts("alpha:4\n"));
}

TEST(Mpich2Hosts, HaveTheirCountBehindABlankOrAColon) {
  EXPECT_EQ((std::vector<host_slots>{{"a", 1}, {"b", 2}, {"c", 3}}),
            read_mpich2_hosts("a\nb:2\nc 3"));
}

TEST(PlatformMpiHosts, HaveTheirCountBehindAColon) {
  EXPECT_EQ((std::vector<host_slots>{{"a", 1}, {"b", 2}}), read_platform_mpi_hosts("a\nb:2\n"));
}

TEST(PlatformMpiHosts, RefuseACountBehindABlank) {
  EXPECT_FALSE(read_platform_mpi_hosts("a 2\n"));
}

TEST(PlatformMpiHosts, RefuseACountThatIsNoNumber) {
  EXPECT_FALSE(read_platform_mpi_hosts("a:two\n"));
  EXPECT_FALSE(read_platform_mpi_hosts(":2\n"));
}

TEST(SchedulerNodes, ArePairsOfHostAndCores) {
  EXPECT_EQ((std::vector<host_slots>{{"alpha", 2}, {"beta", 4}}),
            read_scheduler_nodes("2 alpha 2 beta 4"));
}

TEST(SchedulerNodes, AreRefusedWhenTheCountIsWrong) {
  EXPECT_FALSE(read_scheduler_nodes("3 alpha 2 beta 4"));
  EXPECT_FALSE(read_scheduler_nodes("Overflow"));
  EXPECT_FALSE(read_scheduler_nodes(""));
}

TEST(AllocatedNodes, AreTheWordsOfTheirLine) {
  EXPECT_EQ((std::vector<host_slots>{{"NODE01", 1}, {"NODE02", 1}}),
            read_allocated_nodes("Job Id : 2\r\nAllocated nodes   : NODE01 NODE02\r\n"));
  EXPECT_TRUE(
      read_allocated_nodes("Allocated nodes : \nError message: none allocated nodes\n").empty());
}

// ---- MS-MPI -------------------------------------------------------------------------------

TEST(Msmpi, ReadsSwitchesInAnyCaseAndWithASlash) {
  const auto line =
      read_msmpi_line({"-NP", "4", "/Env", "A", "b c", "solver", "-n", "2"}, machine().look());
  EXPECT_FALSE(line.exit_code);
  EXPECT_EQ(4, line.request.num_procs);
  EXPECT_EQ((variable_list{{"A", "b c"}}), line.request.variables);
  EXPECT_EQ((text_list{"solver", "-n", "2"}), line.request.program);
}

TEST(Msmpi, RefusesTheSwitchesOfOtherMpis) {
  for (const char *word : {"-localonly", "-localroot", "-channel", "-validate", "-envlist"}) {
    const auto line = read_msmpi_line({word, "-n", "1", "solver"}, machine().look());
    EXPECT_EQ(-1, line.exit_code) << word;
    EXPECT_EQ(std::string("Unknown option: ") + word + "\n", line.output);
    EXPECT_EQ("", line.error);
  }
}

TEST(Msmpi, TakesNameAndValueAsTwoWords) {
  const auto line = read_msmpi_line({"-env", "A=b", "solver"}, machine().look());
  EXPECT_EQ(-1, line.exit_code);  // the program was read as the value
}

TEST(Msmpi, StartsARankOnEachCoreWhenNoCountIsGiven) {
  machine here;
  here.variables["NUMBER_OF_PROCESSORS"] = "6";
  EXPECT_EQ(6, read_msmpi_line({"solver"}, here.look()).request.num_procs);
  EXPECT_EQ(6, read_msmpi_line({"-n", "*", "solver"}, here.look()).request.num_procs);
}

TEST(Msmpi, TakesTheHostsOfTheSchedulerWhenNoneAreGiven) {
  machine here;
  here.variables["CCP_NODES"] = "2 alpha 2 beta 2";
  EXPECT_EQ(alpha_and_beta, read_msmpi_line({"solver"}, here.look()).request.hosts);
}

TEST(Msmpi, ReadsHostsFromTheLine) {
  const auto line =
      read_msmpi_line({"-hosts", "2", "alpha", "2", "beta", "2", "solver"}, machine().look());
  EXPECT_EQ(alpha_and_beta, line.request.hosts);
  EXPECT_EQ((text_list{"solver"}), line.request.program);
}

TEST(Msmpi, AllowsOnlyOneSourceOfHosts) {
  machine here;
  here.files["m"] = "alpha\n";
  const auto line = read_msmpi_line({"-machinefile", "m", "-host", "beta", "solver"}, here.look());
  EXPECT_EQ(-1, line.exit_code);
}

TEST(Msmpi, DoesNotReachAHostThatIsNamedWithAColon) {
  machine here;
  here.files["m"] = "alpha:2\n";
  const auto line = read_msmpi_line({"-n", "2", "-machinefile", "m", "solver"}, here.look());
  EXPECT_EQ(-1, line.exit_code);
  EXPECT_EQ("", line.output);
  EXPECT_EQ(
      "\nAborting: mpiexec on DESK is unable to connect to the smpd service on alpha:2:8677\n",
      line.error);
}

TEST(Msmpi, GivesEachHostAsManyCoresAsTheLineSays) {
  machine here;
  here.files["m"] = "alpha 8\n";
  const auto line = read_msmpi_line({"-cores", "3", "-machinefile", "m", "solver"}, here.look());
  EXPECT_EQ((std::vector<host_slots>{{"alpha", 3}}), line.request.hosts);
}

TEST(Msmpi, RunsInTheSchedulersDirectoryUnlessTheLineNamesOne) {
  machine here;
  here.variables["CCP_MPI_WORKDIR"] = "\\\\srv\\job";
  EXPECT_EQ("\\\\srv\\job", read_msmpi_line({"x"}, here.look()).request.working_directory);
  EXPECT_EQ("C:\\w",
            read_msmpi_line({"-dir", "C:\\w", "x"}, here.look()).request.working_directory);
}

TEST(Msmpi, WantsTheTaskVariablesTogether) {
  machine here;
  here.variables["CCP_TASKCONTEXT"] = "12.1";
  here.variables["CCP_TASKID"] = "1";
  EXPECT_EQ(-1, read_msmpi_line({"-n", "1", "solver"}, here.look()).exit_code);
  here.variables["CCP_TASKINSTANCEID"] = "0";
  EXPECT_FALSE(read_msmpi_line({"-n", "1", "solver"}, here.look()).exit_code);
}

TEST(Msmpi, RefusesACountThatIsNoNumber) {
  EXPECT_EQ(-1, read_msmpi_line({"-n", "x", "solver"}, machine().look()).exit_code);
  EXPECT_EQ(-1, read_msmpi_line({"-n", "40000", "solver"}, machine().look()).exit_code);
}

TEST(Msmpi, RefusesALineWithoutAProgram) {
  EXPECT_EQ(-1, read_msmpi_line({"-n", "4"}, machine().look()).exit_code);
}

// ---- MPICH2 -------------------------------------------------------------------------------

TEST(Mpich2, GoesOnAfterAnUnknownSwitch) {
  const auto line =
      read_mpich2_line({"-cores", "-localonly", "-np", "2", "solver"}, machine().look());
  EXPECT_FALSE(line.exit_code);
  EXPECT_EQ("Unknown option: -cores\n", line.output);
  EXPECT_EQ(2, line.request.num_procs);
}

TEST(Mpich2, TakesTheValueOfAnUnknownSwitchForTheProgram) {
  const auto line =
      read_mpich2_line({"-localonly", "-np", "2", "-cores", "2", "solver"}, machine().look());
  EXPECT_EQ((text_list{"2", "solver"}), line.request.program);
}

TEST(Mpich2, KnowsItsSwitchesInSmallLettersOnly) {
  const auto line = read_mpich2_line({"-localonly", "-NP", "solver"}, machine().look());
  EXPECT_EQ("Unknown option: -NP\n", line.output);
}

TEST(Mpich2, AllowsOneCountOnly) {
  const auto line = read_mpich2_line({"-localonly", "4", "-np", "4", "solver"}, machine().look());
  EXPECT_EQ(-1, line.exit_code);
  EXPECT_EQ("Error: only one option is allowed to determine the number of processes.\n",
            line.output);
}

TEST(Mpich2, TakesLocalOnlyWithoutACountBesideACount) {
  const auto line =
      read_mpich2_line({"-localonly", "-np", "4", "-channel", "shm", "solver"}, machine().look());
  EXPECT_FALSE(line.exit_code);
  EXPECT_EQ(4, line.request.num_procs);
  EXPECT_EQ((variable_list{{"MPICH2_CHANNEL", "shm"}}), line.request.variables);
}

TEST(Mpich2, RunsOnThisMachineWithoutServiceAndPassword) {
  machine here;
  here.service_running = false;
  here.credentials_stored = false;
  EXPECT_FALSE(read_mpich2_line({"-localonly", "-np", "2", "x"}, here.look()).exit_code);
  EXPECT_EQ(-1, read_mpich2_line({"-np", "2", "x"}, here.look()).exit_code);
}

TEST(Mpich2, NeedsItsServiceForHosts) {
  machine here;
  here.files["m"] = "alpha\nbeta\n";
  here.service_running = false;
  const auto line = read_mpich2_line({"-machinefile", "m", "-np", "2", "x"}, here.look());
  EXPECT_EQ(-1, line.exit_code);
  EXPECT_EQ("Aborting: unable to connect to alpha\n", line.output);
}

TEST(Mpich2, NeedsAPasswordForHosts) {
  machine here;
  here.files["m"] = "alpha\n";
  here.credentials_stored = false;
  const auto line = read_mpich2_line({"-machinefile", "m", "-np", "2", "x"}, here.look());
  EXPECT_EQ(-1, line.exit_code);
  EXPECT_EQ(
      "Credentials for DESK\\jdoe rejected connecting to alpha\n"
      "Aborting: Unable to connect to alpha\n",
      line.output);
}

TEST(Mpich2, GoesOnWithoutAMachineFileThatIsMissing) {
  const auto line = read_mpich2_line({"-machinefile", "m", "-np", "2", "x"}, machine().look());
  EXPECT_FALSE(line.exit_code);
  EXPECT_EQ("Error, unable to open machine file 'm'\n", line.output);
  EXPECT_TRUE(line.request.hosts.empty());
}

TEST(Mpich2, CannotConnectTwoHostsThroughSharedMemory) {
  machine here;
  here.files["m"] = "alpha:2\nbeta:2\n";
  const text_list words = {"-machinefile", "m", "-channel", "shm", "-np"};
  auto on_both = words;
  on_both.insert(on_both.end(), {"4", "x"});
  auto on_one = words;
  on_one.insert(on_one.end(), {"2", "x"});
  EXPECT_EQ(-1, read_mpich2_line(on_both, here.look()).exit_code);
  EXPECT_FALSE(read_mpich2_line(on_one, here.look()).exit_code);
}

TEST(Mpich2, RefusesAChannelThatItDoesNotHave) {
  const auto line =
      read_mpich2_line({"-localonly", "-np", "2", "-channel", "tcp", "x"}, machine().look());
  EXPECT_EQ(-1, line.exit_code);
}

// ---- Intel MPI ----------------------------------------------------------------------------

TEST(IntelMpi, TakesACountBesideItsHosts) {
  const auto line =
      read_intel_line({"-hosts", "2", "alpha", "2", "beta", "2", "-n", "4", "x"}, machine().look());
  EXPECT_FALSE(line.exit_code);
  EXPECT_EQ(4, line.request.num_procs);
  EXPECT_EQ(alpha_and_beta, line.request.hosts);
}

TEST(IntelMpi, IsToldItsDeviceThroughAVariable) {
  machine here;
  here.files["m"] = "alpha:2\nbeta:2\n";
  for (const auto &[device, works] :
       std::map<std::string, bool>{{"ssm", true}, {"rdssm", true}, {"shm", false}, {"no", false}}) {
    const auto line = read_intel_line(
        {"-machinefile", "m", "-n", "4", "-genv", "I_MPI_DEVICE", device, "x"}, here.look());
    EXPECT_EQ(works, !line.exit_code) << device;
  }
}

// ---- Platform MPI -------------------------------------------------------------------------

TEST(PlatformMpi, ReadsHostsVariablesAndDirectory) {
  machine here;
  here.files["m"] = "alpha:2\nbeta:2\n";
  const auto line = read_platform_mpi_line(
      {"-prot", "-e", "MPI_WORKDIR='C:\\my work'", "-hostfile", "m", "-np", "4", "x", "-np"},
      here.look());
  EXPECT_FALSE(line.exit_code);
  EXPECT_EQ(alpha_and_beta, line.request.hosts);
  EXPECT_EQ("C:\\my work", line.request.working_directory);
  EXPECT_EQ((text_list{"x", "-np"}), line.request.program);
}

TEST(PlatformMpi, HandsOnAVariableThatIsNamedWithoutAValue) {
  machine here;
  here.variables["A"] = "b";
  const auto line = read_platform_mpi_line({"-e", "A", "-e", "NONE", "x"}, here.look());
  EXPECT_EQ((variable_list{{"A", "b"}}), line.request.variables);
}

TEST(PlatformMpi, RefusesASwitchOfAnotherMpi) {
  const auto line = read_platform_mpi_line({"-machinefile", "m", "x"}, machine().look());
  EXPECT_EQ(1, line.exit_code);
  EXPECT_EQ("mpirun: unknown option -machinefile\n", line.error);
}

TEST(PlatformMpi, WantsAnInterconnectInCapitalsOrNothing) {
  EXPECT_EQ(1, read_platform_mpi_line({"-IBAL", "-np", "2", "x"}, machine().look()).exit_code);
  EXPECT_FALSE(read_platform_mpi_line({"-ibal", "-np", "2", "x"}, machine().look()).exit_code);
}

TEST(PlatformMpi, NeedsACachedPasswordForHosts) {
  machine here;
  here.files["m"] = "alpha\n";
  here.credentials_stored = false;
  EXPECT_EQ(1, read_platform_mpi_line({"-hostfile", "m", "-np", "1", "x"}, here.look()).exit_code);
  EXPECT_FALSE(read_platform_mpi_line({"-np", "1", "x"}, here.look()).exit_code);
}

TEST(PlatformMpi, RefusesToRunUnderTheSchedulerOutsideOfAJob) {
  const auto line = read_platform_mpi_line({"-ccp", "-np", "4", "x"}, machine().look());
  EXPECT_EQ(1, line.exit_code);
  EXPECT_EQ("mpirun: -ccp outside of a scheduler job\n", line.error);
}

TEST(PlatformMpi, PutsTheRanksOnAllNodesOfTheJob) {
  machine here;
  here.variables = {{"CCP_JOBID", "12"}, {"CCP_CLUSTER_NAME", "HEAD"}, {"CCP_NODES", "1 alpha 1"}};
  here.answers["job view 12 /scheduler:HEAD"] =
      "State                            : Running\r\n"
      "Allocated Nodes                  : alpha beta\r\n";
  const auto line = read_platform_mpi_line({"-ccp", "-np", "4", "x"}, here.look());
  EXPECT_FALSE(line.exit_code);
  EXPECT_EQ((std::vector<host_slots>{{"alpha", 1}, {"beta", 1}}), line.request.hosts);
}

TEST(PlatformMpi, EndsWhenTheSchedulerDoesNotAnswer) {
  machine here;
  here.variables = {{"CCP_JOBID", "12"}, {"CCP_CLUSTER_NAME", "HEAD"}};
  EXPECT_EQ(1, read_platform_mpi_line({"-ccp", "-np", "4", "x"}, here.look()).exit_code);
}

TEST(PlatformMpi, RefusesARootWithoutAnInstallation) {
  machine here;
  EXPECT_EQ(1, read_platform_mpi_line({"-e", "MPI_ROOT='C:\\no mpi'", "x"}, here.look()).exit_code);
  here.files["C:\\my mpi\\bin\\mpirun.exe"] = "";
  EXPECT_FALSE(read_platform_mpi_line({"-e", "MPI_ROOT='C:\\my mpi'", "x"}, here.look()).exit_code);
}

// ---- Services and passwords ---------------------------------------------------------------

TEST(Smpd, SaysWhetherItRuns) {
  machine here;
  EXPECT_EQ("smpd running on DESK\n", answer_mpich2_smpd({"-status"}, here.look()).output);
  here.service_running = false;
  EXPECT_EQ("no smpd running on DESK\n", answer_mpich2_smpd({"-status"}, here.look()).output);
}

TEST(Smpd, PrintsNothingButItsVersion) {
  const auto answer = answer_mpich2_smpd({"-version"}, machine().look());
  EXPECT_EQ("1.2.1p1\n", answer.output);
  EXPECT_EQ(0, answer.exit_code);
}

TEST(Smpd, StaysAsTheServiceWhenToldTo) {
  EXPECT_EQ(manager_action::run_service, answer_mpich2_smpd({"-d", "0"}, machine().look()).action);
  EXPECT_EQ(manager_action::run_service, answer_msmpi_smpd({"-d", "0", "-p", "8677"}).action);
}

TEST(Smpd, OfMsmpiHasNoStatus) {
  for (const char *word : {"-status", "-install", "-version"}) {
    EXPECT_EQ(std::string("Unknown option: ") + word + "\n", answer_msmpi_smpd({word}).output);
  }
}

TEST(Validation, FailsUntilThePasswordIsRegistered) {
  machine here;
  here.credentials_stored = false;
  EXPECT_EQ("FAIL: Unable to read the credentials from the registry.\n",
            answer_mpich2_starter({"-validate"}, here.look())->output);
  EXPECT_EQ(manager_action::ask_credentials,
            answer_mpich2_starter({"-register"}, here.look())->action);
  here.credentials_stored = true;
  EXPECT_EQ("SUCCESS\n", answer_mpich2_starter({"-validate"}, here.look())->output);
}

TEST(Validation, FailsWithACodeOnlyWhenTheServiceIsNotReached) {
  machine here;
  here.credentials_stored = false;
  EXPECT_EQ(0, answer_mpich2_starter({"-validate"}, here.look())->exit_code);
  here.credentials_stored = true;
  here.service_running = false;
  EXPECT_EQ(-1, answer_mpich2_starter({"-validate"}, here.look())->exit_code);
}

TEST(Validation, IsAskedForByTheFirstSwitchOnly) {
  EXPECT_FALSE(answer_mpich2_starter({"-n", "1", "-validate"}, machine().look()));
  EXPECT_FALSE(answer_mpich2_starter({}, machine().look()));
}

TEST(PasswordCache, IsCheckedAndFilled) {
  machine here;
  here.credentials_stored = false;
  EXPECT_EQ("No cached password\n", answer_platform_mpi_starter({"-pwcheck"}, here.look())->output);
  const auto answer = answer_platform_mpi_starter({"-cache", "cmd.exe", "/c", "ver"}, here.look());
  EXPECT_EQ(manager_action::run_program, answer->action);
  EXPECT_EQ((text_list{"cmd.exe", "/c", "ver"}), answer->program);
  here.credentials_stored = true;
  EXPECT_EQ("Cached password is valid\n",
            answer_platform_mpi_starter({"-pwcheck"}, here.look())->output);
}

// ---- The step over to Unix ----------------------------------------------------------------

std::string in_slashes(const std::string &path) {
  std::string result = "/disk";
  for (const char letter : path.substr(2)) {
    result += letter == '\\' ? '/' : letter;
  }
  return result;
}

TEST(UnixText, ReplacesPathsWhereverTheyStand) {
  EXPECT_EQ("/disk/cases/a.case", unix_text("D:\\cases\\a.case", in_slashes));
  EXPECT_EQ("/disk/my files", unix_text("'C:\\my files'", in_slashes));
  EXPECT_EQ("/disk/a:/disk/b", unix_text("C:\\a;D:\\b", in_slashes));
  EXPECT_EQ("PATH=/disk/a:/disk/b", unix_text("PATH=C:\\a;D:\\b;", in_slashes));
}

TEST(UnixText, LeavesOtherWordsAlone) {
  for (const char *word : {"-localonly", "4", "a b", "", "a=b", "x:y", "'", "it's", "say \"hi\""}) {
    EXPECT_EQ(word, unix_text(word, in_slashes));
  }
}

TEST(ShellQuoting, HidesEverythingFromTheShell) {
  EXPECT_EQ("'a b'", shell_quoted("a b"));
  EXPECT_EQ("''", shell_quoted(""));
  EXPECT_EQ("'it'\\''s $HOME'", shell_quoted("it's $HOME"));
}

TEST(Starter, GetsTheWordsOfMpichAsTheyAre) {
  EXPECT_EQ((text_list{"-launcher", "fork", "-np", "4", "-localonly", "/disk/zephon"}),
            starter_words(text_list{"-np", "4", "-localonly", "C:\\zephon"}, in_slashes));
}

TEST(Starter, GetsHostsCountAndVariablesOfARequest) {
  launch_request request;
  request.num_procs = 4;
  request.hosts = alpha_and_beta;
  request.variables = {{"A", "'C:\\b c'"}};
  request.program = {"C:\\zephon", "-i", "x y"};
  EXPECT_EQ((text_list{"-launcher", "fork", "-machinefile", "/f/hosts", "-n", "4", "-genv", "A",
                       "/disk/b c", "/bin/sh", "/f/rank.sh", "/disk/zephon", "-i", "x y"}),
            starter_words(request, "/f/rank.sh", "/f/hosts", in_slashes));
  EXPECT_EQ("alpha:2\nbeta:2\n", starter_hosts(request));
}

TEST(FailedRanks, StandInTheOrderInWhichTheyEnded) {
  const auto failed = failed_ranks("2 0\n0 3\n1 4\n");
  ASSERT_EQ(2U, failed.size());
  EXPECT_EQ(0, failed[0].rank);
  EXPECT_EQ(3, failed[0].code);
  EXPECT_EQ(4, failed[1].code);
}

}  // namespace
}  // namespace mpi_bridge
