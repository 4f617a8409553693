// options_test.cpp: each option with its near misses, as the solver and the MPI see them.

#include <gtest/gtest.h>

#include "scenario_bench.h"

using namespace scenario;

namespace {

// Starts a solver without MPI: options before it, solver arguments behind it. Gives
// back how the solver was started.
tool_start solver_started_with(const std::string &options, const std::string &arguments = "") {
  given_installed_release();
  const auto run = run_launcher("--mpi=net " + options + " " + given_solver() + " " + arguments);
  EXPECT_EQ(0U, run.status) << run.errors;
  return only_start_of("solver.exe");
}

// What follows the solver's name in its command line.
std::string solver_line(const std::string &arguments) {
  const auto line = solver_started_with("", arguments).command_line;
  const auto solver = in_quotes(in_world("solver.exe"));
  EXPECT_TRUE(line.starts_with(solver)) << line;
  return line.substr(std::min(line.size(), solver.size()));
}

// How many processes MPICH is told to start.
std::string process_count(const std::string &options) {
  given_installed_release();
  given_mpich();
  const auto run = run_launcher("--mpi=mpich " + options);
  EXPECT_EQ(0U, run.status) << run.errors;
  const auto line = only_start_of("mpich\\bin\\mpirun.exe").command_line;
  const auto begin = line.find(" -np ") + 5;
  return line.substr(begin, line.find(' ', begin) - begin);
}

// What the launcher says of the MPI that it was asked for, when none is installed.
std::string complaint(const std::string &options) {
  given_installed_release();
  const auto run = run_launcher(options);
  EXPECT_EQ(2U, run.status);
  return run.errors;
}

std::string missing(const std::string &mpi) {
  return "Error: communicator \"" + mpi + "\" is not available on this machine.\r\n";
}

// Whether these options ask for a run without MPI, which needs no installed one.
bool runs_without_mpi(const std::string &options) {
  given_installed_release();
  const auto run = run_launcher(options + " " + given_solver());
  return run.status == 0 && starts_of("solver.exe").size() == 1;
}

// Whether the options ask for an MPI run: only otherwise the job-exit command is run.
bool mpi_run_was_asked_for(const std::string &options) {
  given_installed_release();
  given_file("prod\\netweave\\mpi_wrapper\\win64\\mpi_wrapper.dll");
  given_tool("job.exe");
  given_variable("CANCEL_CCP_JOB_EXIT1", in_quotes(in_world("job.exe")) + " modify");
  const auto run = run_launcher(options + " " + given_solver());
  EXPECT_EQ(0U, run.status) << run.errors;
  EXPECT_EQ(1U, starts_of("solver.exe").size());
  return starts_of("job.exe").empty();
}

std::string given_meshing(const std::string &processes) {
  given_variable("MESHING_MODE", "1");
  given_variable("PARA_MESH_NPROCS", processes);
  given_variable("RSH_USER", "someone");
  return "";
}

}  // namespace

// ---- Options that set a variable ----------------------------------------------------------

TEST(Options, DebugmpiTurnsOnTheDebuggingOfTheMpi) {
  EXPECT_EQ("1", solver_started_with("--debugmpi").variable("MPI_DEBUG"));
}

TEST(Options, CnfNamesTheHostFile) {
  EXPECT_EQ("C:\\a b\\hosts",
            solver_started_with("--cnf=\"C:\\a b\\hosts\"").variable("ZEPHON_HOSTS_FILE"));
}

TEST(Options, AnEmptyCnfTakesTheHostFileAway) {
  given_variable("ZEPHON_HOSTS_FILE", "hosts");
  EXPECT_EQ(std::nullopt, solver_started_with("--cnf=").variable("ZEPHON_HOSTS_FILE"));
}

TEST(Options, HostIpNamesTheInterface) {
  EXPECT_EQ("n1:10.0.0.1", solver_started_with("--host_ip=n1:10.0.0.1").variable("ZEPHON_HOST_IP"));
}

TEST(Options, PtraceIsToldToTheSolver) {
  EXPECT_EQ("1", solver_started_with("--ptrace").variable("ZEPHON_PTRACE"));
}

TEST(Options, PathMovesTheInstallationAndTheSharedFolder) {
  const auto start = solver_started_with("--path=\"D:\\the release\"");
  EXPECT_EQ("D:\\the release", start.variable("ZEPHON_INC"));
  EXPECT_EQ("D:\\the release", start.variable("ZEPHON_SHARED_DIR"));
}

TEST(Options, PathLeavesTheRootOfTheMpiWhereItWas) {
  given_installed_release();
  given_wrapper("msmpi");
  const auto mpiexec = mpi_folder("6.3.0", "ms") + "\\bin\\mpiexec.exe";
  given_tool(mpiexec);
  const auto run = run_launcher("--mpi=msmpi --r6.3.0 --path=D:\\elsewhere case");
  EXPECT_EQ(0U, run.status) << run.errors;
  EXPECT_EQ("D:\\elsewhere", only_start_of(mpiexec).variable("ZEPHON_INC"));
}

TEST(Options, ReleaseIsPassedOn) {
  EXPECT_EQ("12.0.0", solver_started_with("--r12.0.0").variable("PASS_IN_RELEASE"));
}

TEST(Options, CapitalReleaseIsPassedOn) {
  EXPECT_EQ("6.2", solver_started_with("--R6.2").variable("PASS_IN_RELEASE"));
}

TEST(Options, AnEmptyReleaseAsksForTheList) {
  EXPECT_EQ("list", solver_started_with("--r").variable("PASS_IN_RELEASE"));
}

TEST(Options, AnEmptyCapitalReleaseAsksForTheList) {
  EXPECT_EQ("list", solver_started_with("--R").variable("PASS_IN_RELEASE"));
}

TEST(Options, WhateverBeginsWithRIsARelease) {
  const auto start = solver_started_with("--restart");
  EXPECT_EQ("estart", start.variable("PASS_IN_RELEASE"));
  EXPECT_EQ(in_quotes(in_world("solver.exe")), start.command_line);
}

TEST(Options, WhateverBeginsWithCapitalRIsARelease) {
  const auto start = solver_started_with("--Run");
  EXPECT_EQ("un", start.variable("PASS_IN_RELEASE"));
  EXPECT_EQ(in_quotes(in_world("solver.exe")), start.command_line);
}

TEST(Options, JobidNamesAnExistingJob) {
  EXPECT_EQ("17", solver_started_with("--jobid=17").variable("CCP_JOB_ID"));
}

TEST(Options, CredCheckIsKept) {
  EXPECT_EQ("no", solver_started_with("--cred_check=no").variable("ZEPHON_CRED_CHECK"));
}

TEST(Options, CwdTakesTheNextArgument) {
  EXPECT_EQ("D:\\my work", solver_started_with("--cwd \"D:\\my work\"").variable("CWD"));
}

TEST(Options, CwdAtTheEndSetsNothing) {
  given_variable("CWD", "before");
  EXPECT_EQ("before", solver_started_with("", "--cwd").variable("CWD"));
}

TEST(Options, UnitIsKept) {
  EXPECT_EQ("node", solver_started_with("--unit=node").variable("ZP_CCP_UNIT"));
}

TEST(Options, AnEmptyUnitIsAProcessor) {
  EXPECT_EQ("processor", solver_started_with("--unit=").variable("ZP_CCP_UNIT"));
}

TEST(Options, CachePasswordIsKept) {
  EXPECT_EQ("1", solver_started_with("--cache_password").variable("CACHE_PASSWORD"));
}

TEST(Options, NpPerNodeIsNotTheProcessCount) {
  EXPECT_EQ("1", process_count("--np_per_node=4"));
  EXPECT_EQ("4", only_start_of("mpich\\bin\\mpirun.exe").variable("NP_PER_NODE"));
}

TEST(Options, CcpTakesTheHeadNodesName) {
  given_variable("ZEPHON_HOSTS_FILE", "hosts");  // so that the scheduler stays out of it
  given_variable("COMPUTERNAME", "HERE");
  EXPECT_EQ("head", solver_started_with("--ccp head").variable("USE_CCP"));
}

TEST(Options, CcpZeroIsThisComputer) {
  given_variable("ZEPHON_HOSTS_FILE", "hosts");
  given_variable("COMPUTERNAME", "HERE");
  EXPECT_EQ("HERE", solver_started_with("--ccp 0").variable("USE_CCP"));
}

TEST(Options, CcpZeroStaysWithoutAComputerName) {
  given_variable("ZEPHON_HOSTS_FILE", "hosts");
  EXPECT_EQ("0", solver_started_with("--ccp 0").variable("USE_CCP"));
}

TEST(Options, CcpTakesAnOptionAsAName) {
  given_variable("ZEPHON_HOSTS_FILE", "hosts");
  const auto start = solver_started_with("--ccp --debugmpi");
  EXPECT_EQ("--debugmpi", start.variable("USE_CCP"));
  EXPECT_EQ(std::nullopt, start.variable("MPI_DEBUG"));
}

TEST(Options, ALaterOptionReplacesAnEarlierOne) {
  EXPECT_EQ("2", solver_started_with("--jobid=1 --jobid=2").variable("CCP_JOB_ID"));
}

TEST(Options, InstallIbmmpiRunsTheSetupOfTheRelease) {
  given_installed_release();
  given_box_answer(ok_button);
  const auto run = run_launcher("--r6.3.0 --install_ibmmpi --mpi=net " + given_solver());
  EXPECT_EQ(0U, run.status);
  EXPECT_EQ(in_world(mpi_folder("6.3.0", "ibmmpi")) + "\\sbin\\setup.exe: File does not exist!",
            run.boxes.at(0).text);
  EXPECT_TRUE(starts_of("solver.exe").empty());
}

TEST(Options, InstallSmpdTakesTheNextArgument) {
  given_installed_release();
  given_variable("RSH_USER", "someone");
  const auto run = run_launcher("--install_smpd D:\\mpich2 --mpi=net");
  EXPECT_EQ(1U, run.status);
  EXPECT_TRUE(run.output.starts_with("\r\nFile D:\\mpich2\\bin\\smpd.exe does not exist!\r\n"))
      << run.output;
}

TEST(Options, InstallSmpdAtTheEndTakesTheReleasesOwn) {
  given_installed_release();
  given_variable("RSH_USER", "someone");
  const auto run = run_launcher("--mpi=net --install_smpd");
  EXPECT_EQ(1U, run.status);
  EXPECT_EQ("\r\nError in find zephon release!\r\n\r\n", run.output);
}

TEST(Options, StartSmpdTakesTheNextArgument) {
  given_installed_release();
  given_tool("own\\bin\\smpd.exe");
  given_box_answer(ok_button);
  EXPECT_EQ(0U, run_launcher("--mpi=net --start_smpd ..\\own " + given_solver()).status);
  EXPECT_EQ((std::vector<std::string>{"cmd.exe /c ..\\own\\bin\\smpd.exe -status"}),
            interpreter_lines());
  EXPECT_TRUE(starts_of("solver.exe").empty());
}

// ---- Arguments that go to the solver ------------------------------------------------------

TEST(SolverArguments, StandBehindOneBlankEach) {
  EXPECT_EQ(" a -b /c", solver_line("a   -b /c"));
}

TEST(SolverArguments, AreQuotedWhenTheyHoldABlank) {
  EXPECT_EQ(" -j \"C:\\my case\\run 1.jou\" end", solver_line("-j \"C:\\my case\\run 1.jou\" end"));
}

TEST(SolverArguments, AreNotQuotedForATab) {
  EXPECT_EQ(" a\tb", solver_line("\"a\tb\""));
}

TEST(SolverArguments, LoseTheQuotesTheyDoNotNeed) {
  EXPECT_EQ(" C:\\case.jou", solver_line("\"C:\\case.jou\""));
}

TEST(SolverArguments, LeaveOnlyABlankWhenTheyAreEmpty) {
  EXPECT_EQ(" a  b", solver_line("a \"\" b"));
}

TEST(SolverArguments, KeepHelpAndWhatElseLooksLikeAnOption) {
  const std::string near_misses =
      " -help --help --HOST -r -debugmpi --debugmpi1 --cnf --node1 --host1 --ptrace1 --path --cx1"
      " --prod_verdir --pathnode --ic --o1 -wait1 --wait --ccp1 --np_per_node --jobid --cred_check"
      " --cwd1 --install_smpd1 --start_smpd1 --mpi --np --unit --install_ibmmpi1 --cache_password1"
      " --MPI=intel -np=4 --debugMPI";
  EXPECT_EQ(near_misses, solver_line(near_misses.substr(1)));
}

TEST(SolverArguments, DoNotHoldCxAndWhatFollowsIt) {
  EXPECT_EQ(" a b", solver_line("a --cx case b"));
}

TEST(SolverArguments, DoNotHoldACxAtTheEnd) {
  EXPECT_EQ(" a", solver_line("a --cx"));
}

TEST(SolverArguments, DoNotHoldAnOptionThatCxTook) {
  EXPECT_EQ(" a", solver_line("--cx --debugmpi a"));
  EXPECT_EQ(std::nullopt, only_start_of("solver.exe").variable("MPI_DEBUG"));
}

TEST(SolverArguments, DoNotHoldOptionsAmongThem) {
  EXPECT_EQ(" a b", solver_line("a --debugmpi b -wait --prod_verdir=v"));
}

TEST(SolverArguments, KeepFilePatterns) {
  given_file("work\\one.jou");
  given_file("work\\two.jou");
  EXPECT_EQ(" *.jou ?ne.jou", solver_line("*.jou ?ne.jou"));
}

// ---- Which MPI ----------------------------------------------------------------------------

TEST(MpiOption, IsUsedAsGiven) {
  EXPECT_EQ(missing("intel"), complaint("--mpi=intel"));
}

TEST(MpiOption, MeansIbmmpiWhenItIsEmpty) {
  EXPECT_EQ(missing("ibmmpi"), complaint("--mpi="));
}

TEST(MpiOption, TurnsPcmpiIntoIbmmpi) {
  EXPECT_EQ(missing("ibmmpi"), complaint("--mpi=pcmpi"));
}

TEST(MpiOption, ReplacesAnEarlierOne) {
  EXPECT_EQ(missing("msmpi"), complaint("--mpi=intel --mpi=msmpi"));
}

TEST(MpiOption, IsNotTouchedByTheRelease) {
  EXPECT_EQ(missing("intel"), complaint("--mpi=intel --r6.2"));
}

TEST(DefaultMpi, IsMpich2FromRelease63On) {
  EXPECT_EQ(missing("mpich2"), complaint("--r6.3.0 --mpi="));
  EXPECT_EQ(missing("mpich2"), complaint("--r6.3 --mpi="));
  EXPECT_EQ(missing("mpich2"), complaint("--r6.10.26 --mpi="));
}

TEST(DefaultMpi, IsNoneBeforeRelease63) {
  EXPECT_TRUE(runs_without_mpi("--r6.2 --mpi="));
}

TEST(DefaultMpi, IsNoneBeforeRelease6) {
  EXPECT_TRUE(runs_without_mpi("--r5.1 --mpi="));
}

TEST(DefaultMpi, IsIbmmpiAboveRelease6) {
  EXPECT_EQ(missing("ibmmpi"), complaint("--r12.0.0 --mpi="));
  EXPECT_EQ(missing("ibmmpi"), complaint("--r7.0 --mpi="));
}

TEST(DefaultMpi, IsIbmmpiForWhatIsNoVersion) {
  EXPECT_EQ(missing("ibmmpi"), complaint("--r --mpi="));
  EXPECT_EQ(missing("ibmmpi"), complaint("--rlist --mpi="));
  EXPECT_EQ(missing("ibmmpi"), complaint("--r6 --mpi="));
  EXPECT_EQ(missing("ibmmpi"), complaint("--r6. --mpi="));
  EXPECT_EQ(missing("ibmmpi"), complaint("--rx6.3.0 --mpi="));
}

TEST(DefaultMpi, IsNotChangedByTheCapitalRelease) {
  EXPECT_EQ(missing("ibmmpi"), complaint("--R6.3.0 --mpi="));
}

TEST(DefaultMpi, CountsAsItStandsAtTheEnd) {
  EXPECT_EQ(missing("mpich2"), complaint("--mpi= --r6.3.0"));
}

TEST(DefaultMpi, IsNotBroughtBackByALaterRelease) {
  EXPECT_EQ(missing("mpich2"), complaint("--r6.3.0 --r12.0.0 --mpi="));
}

TEST(MpiRun, IsNotAskedForByTheInterconnect) {
  EXPECT_FALSE(mpi_run_was_asked_for("--ic=ib --ic="));
}

TEST(MpiRun, IsAskedForByAProcessCount) {
  EXPECT_TRUE(mpi_run_was_asked_for("--np=1"));
}

TEST(MpiRun, IsAskedForByAnMpi) {
  EXPECT_TRUE(mpi_run_was_asked_for("--mpi=net"));
}

// ---- How many processes -------------------------------------------------------------------

TEST(ProcessCount, IsOneByItself) {
  EXPECT_EQ("1", process_count(""));
}

TEST(ProcessCount, IsWhatNpSays) {
  EXPECT_EQ("16", process_count("--np=16"));
}

TEST(ProcessCount, IsOneForAnEmptyNp) {
  EXPECT_EQ("1", process_count("--np=4 --np="));
}

TEST(ProcessCount, IsTheLastOneSaid) {
  EXPECT_EQ("3", process_count("--np=2 --np=3"));
}

TEST(ProcessCount, ReadsTheLeadingDigitsOnly) {
  EXPECT_EQ("4", process_count("--np=4x8"));
}

TEST(ProcessCount, IsZeroWithoutDigits) {
  EXPECT_EQ("0", process_count("--np=many"));
}

TEST(ProcessCount, ComesFromTheSchedulerWhenItIsZero) {
  given_variable("CCP_NODES", "2 a 4 b 4");
  given_variable("CCP_NUMCPUS", "8");
  EXPECT_EQ("8", process_count("--np=0"));
}

TEST(ProcessCount, StaysZeroWithoutTheSchedulersNodes) {
  given_variable("CCP_NUMCPUS", "8");
  EXPECT_EQ("0", process_count("--np=0"));
}

TEST(ProcessCount, IsKeptBesideTheSchedulersCount) {
  given_variable("CCP_NODES", "2 a 4 b 4");
  given_variable("CCP_NUMCPUS", "8");
  EXPECT_EQ("3", process_count("--np=3"));
}

TEST(ProcessCount, IsRaisedToThatOfTheMeshing) {
  EXPECT_EQ("8", process_count(given_meshing("8") + "--np=4"));
}

TEST(ProcessCount, IsNotRaisedForASerialRun) {
  EXPECT_EQ("1", process_count(given_meshing("8") + "--np=1"));
}

TEST(ProcessCount, IsNotLoweredToThatOfTheMeshing) {
  EXPECT_EQ("16", process_count(given_meshing("8") + "--np=16"));
}

TEST(ProcessCount, SaysNothingWhenItIsThatOfTheMeshing) {
  given_installed_release();
  const auto run = run_launcher(given_meshing("8") + "--mpi=net --np=8 " + given_solver());
  EXPECT_EQ("", run.output);
}

TEST(ProcessCount, IsNotRaisedWithoutMeshing) {
  given_meshing("8");
  given_no_variable("MESHING_MODE");
  EXPECT_EQ("4", process_count("--np=4"));
}

// ---- Inside a job -------------------------------------------------------------------------

TEST(InsideAJob, TheHeadNodeIsMinusOne) {
  given_variable("CCP_CLUSTER_NAME", "cluster");
  given_variable("CCP_NODES", "1 a 4");
  given_variable("ZEPHON_HOSTS_FILE", "hosts");
  EXPECT_EQ("-1", solver_started_with("--ccp head").variable("USE_CCP"));
}

TEST(InsideAJob, TheNodesAloneChangeNothing) {
  given_variable("CCP_NODES", "1 a 4");
  EXPECT_EQ(std::nullopt, solver_started_with("").variable("USE_CCP"));
}
