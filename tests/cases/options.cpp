// options.cpp: what each option changes for the solver and for the MPI, and what is left to
// the solver.
#include "cases/families.h"

namespace cases {

namespace {

// An MPI is not needed unless a row asks for MPICH, and the host file keeps the scheduler out.
launch_case of_a_solver() {
  return {.variables = {{"MPI_HOME", "{world}\\mpich"},
                        {"ZEPHON_HOSTS_FILE", "{hosts}"},
                        {"COMPUTERNAME", "HERE"},
                        {"RSH_USER", "jdoe"}},  // messages are printed
          .files = {{"{wrapper}\\mpi_wrapper.dll"}, {"{hosts}", "n1\nn2\n"}},
          .tools = {{"{mpirun}"}, {"{solver}"}},
          .arguments = {"--mpi=net", "{solver}"},
          .then = {.starts = {"{\"solver\"}"}}};
}

launch_case sets(const std::string &name, const texts &arguments, const std::vector<variable> &set,
                 const std::vector<variable> &before = {}) {
  return {.name = name, .variables = before, .arguments = arguments, .then = {.variables = set}};
}

// The solver's own arguments, as they stand behind its name.
launch_case line(const std::string &name, const texts &arguments, const std::string &line,
                 const std::vector<variable> &set = {}) {
  return {.name = "Solver" + name,
          .arguments = arguments,
          .then = {.starts = {"{\"solver\"}" + line}, .variables = set}};
}

// The MPI that is asked for; none but MPICH is installed.
launch_case chooses(const std::string &name, const texts &arguments, const std::string &mpi) {
  if (mpi == "net") {
    return {.name = name, .arguments = arguments};
  }
  return {
      .name = name,
      .arguments = arguments,
      .then = {.starts = none,
               .errors = "Error: communicator \"" + mpi + "\" is not available on this machine.\n",
               .status = 2}};
}

launch_case release(const std::string &name, const std::string &release, const std::string &mpi) {
  return chooses("TheDefaultMpiFollows" + name, {"--r" + release, "--mpi="}, mpi);
}

// How many processes MPICH is told to start.
launch_case counts(const std::string &name, const texts &arguments, const std::string &processes,
                   const std::vector<variable> &before = {}, const std::string &output = "") {
  launch_case row = {.name = "Processes" + name, .variables = before, .arguments = arguments};
  row.arguments.insert(row.arguments.begin(), "--mpi=mpich");
  row.then = {.starts = {"{mpirun} -machinefile {hosts} -np " + processes +
                         "  -env PATH={wrapper}  {\"solver\"}"},
              .output = output};
  return row;
}

const std::vector<variable> meshing = {{"MESHING_MODE", "1"}, {"PARA_MESH_NPROCS", "8"}};
const std::vector<variable> job = {{"CCP_NODES", "2 a 4 b 4"}, {"CCP_NUMCPUS", "8"}};

const std::string raised =
    "\nWarning: Total solver processes count need to be greater or equal to meshing processes "
    "count, so resetting the count to 8\n\n";

const texts near_misses = {"-help",
                           "--help",
                           "--HOST",
                           "-r",
                           "-R",
                           "-r6.3.0",
                           "-debugmpi",
                           "--debugmpi1",
                           "--DEBUGMPI",
                           "--cnf",
                           "-cnf=x",
                           "--node1",
                           "--Node",
                           "-node",
                           "--host1",
                           "--hosts",
                           "--host=",
                           "-host",
                           "--host_ip",
                           "--ptrace=1",
                           "-ptrace",
                           "--path",
                           "-path=x",
                           "--cx1",
                           "-cx",
                           "--prod_verdir",
                           "--pathnode",
                           "--ic",
                           "-ic=x",
                           "--o=x",
                           "--O",
                           "-o",
                           "-wait1",
                           "--wait",
                           "-Wait",
                           "--ccp=head",
                           "-ccp",
                           "--np_per_node",
                           "--jobid",
                           "--cred_check",
                           "--cwd=x",
                           "--install_smpd=0",
                           "--start_smpd0",
                           "--mpi",
                           "-mpi=intel",
                           "--MPI=intel",
                           "--np",
                           "-np=4",
                           "--NP=4",
                           "--unit",
                           "--install_ibmmpi=1",
                           "--cache_password=1",
                           "-",
                           "--",
                           "--=",
                           "x"};

std::string joined(const texts &arguments) {
  std::string result;
  for (const auto &argument : arguments) {
    result += " " + argument;
  }
  return result;
}

texts repeated(const std::string &argument, std::size_t times, const std::string &last) {
  texts result(times, argument);
  result.push_back(last);
  return result;
}

std::string bytes_above_127() {
  std::string bytes;
  for (int code = 128; code < 256; ++code) {
    bytes += static_cast<char>(code);
  }
  return bytes;
}

const std::string head_node_question =
    "The computer cluster head node is not provided.\n"
    "Do you want to use the local host as the head node?";

}  // namespace

launch_family option_family() {
  return {
      .name = "Option",
      .words = {{"mpirun", "{world}\\mpich\\bin\\mpirun.exe"},
                {"hosts", "{world}\\hosts"},
                {"wrapper", "{wrappers}\\mpich"},
                {"question", head_node_question}},
      .given = of_a_solver(),
      .rows = {
          // Options that set a variable.
          sets("DebugmpiTurnsOnTheMpisOwnTrace", {"--debugmpi"}, {{"MPI_DEBUG", "1"}}),
          sets("CnfNamesTheHostFile", {"--cnf=C:\\a b\\hosts"},
               {{"ZEPHON_HOSTS_FILE", "C:\\a b\\hosts"}}),
          sets("CnfTakesTheHostFileAwayWhenItIsEmpty", {"--cnf="},
               {{"ZEPHON_HOSTS_FILE", std::nullopt}}),
          sets("CnfTakesThirtyThousandCharacters", {"--cnf=" + std::string(30'000, 'h')},
               {{"ZEPHON_HOSTS_FILE", std::string(30'000, 'h')}}),
          sets("CnfTakesEveryByteAbove127", {"--cnf=" + bytes_above_127()},
               {{"ZEPHON_HOSTS_FILE", bytes_above_127()}}),
          sets("HostIpNamesTheInterface", {"--host_ip=n1:10.0.0.1"},
               {{"ZEPHON_HOST_IP", "n1:10.0.0.1"}}),
          sets("PtraceIsToldToTheSolver", {"--ptrace"}, {{"ZEPHON_PTRACE", "1"}}),
          sets("PathMovesTheInstallationAndTheSharedFolder", {"--path=D:\\the release"},
               {{"ZEPHON_INC", "D:\\the release"}, {"ZEPHON_SHARED_DIR", "D:\\the release"}}),
          sets("ReleaseIsPassedOn", {"--r12.0.0"}, {{"PASS_IN_RELEASE", "12.0.0"}}),
          sets("ReleaseInCapitalsIsPassedOn", {"--R6.2"}, {{"PASS_IN_RELEASE", "6.2"}}),
          sets("ReleaseAsksForTheListWhenItIsEmpty", {"--r"}, {{"PASS_IN_RELEASE", "list"}}),
          sets("ReleaseInCapitalsAsksForTheListToo", {"--R"}, {{"PASS_IN_RELEASE", "list"}}),
          sets("ReleaseIsWhateverBeginsSo", {"--restart"}, {{"PASS_IN_RELEASE", "estart"}}),
          sets("ReleaseInCapitalsIsWhateverBeginsSo", {"--Run"}, {{"PASS_IN_RELEASE", "un"}}),
          sets("NpPerNodeIsKept", {"--np_per_node=4"}, {{"NP_PER_NODE", "4"}}),
          sets("JobidNamesAJob", {"--jobid=17"}, {{"CCP_JOB_ID", "17"}}),
          sets("JobidReplacesThousandsOfEarlierOnes", repeated("--jobid=1", 2'500, "--jobid=2"),
               {{"CCP_JOB_ID", "2"}}),
          sets("CredCheckIsKept", {"--cred_check=no"}, {{"ZEPHON_CRED_CHECK", "no"}}),
          sets("CwdTakesTheNextArgument", {"--cwd", "D:\\my work"}, {{"CWD", "D:\\my work"}}),
          sets("CwdSetsNothingAtTheEnd", {"--cwd"}, {{"CWD", "before"}}, {{"CWD", "before"}}),
          sets("UnitIsKept", {"--unit=node"}, {{"ZP_CCP_UNIT", "node"}}),
          sets("UnitIsAProcessorWhenItIsEmpty", {"--unit="}, {{"ZP_CCP_UNIT", "processor"}}),
          sets("CachePasswordIsKept", {"--cache_password"}, {{"CACHE_PASSWORD", "1"}}),

          // The head node.
          sets("CcpNamesTheHeadNode", {"--ccp", "head"}, {{"USE_CCP", "head"}}),
          sets("CcpMeansThisComputerByZero", {"--ccp", "0"}, {{"USE_CCP", "HERE"}}),
          sets("CcpStaysZeroWithoutAComputersName", {"--ccp", "0"}, {{"USE_CCP", "0"}},
               {{"COMPUTERNAME", std::nullopt}}),
          sets("CcpTakesAnOptionForAName", {"--ccp", "--debugmpi"},
               {{"USE_CCP", "--debugmpi"}, {"MPI_DEBUG", std::nullopt}}),
          {.name = "CcpAsksForThisComputerAtTheEnd",
           .arguments = {"--ccp"},
           .then = {.boxes = {{"{question}", yes}}, .variables = {{"USE_CCP", "HERE"}}}},
          {.name = "CcpEndsTheLaunchWhenThisComputerIsDeclined",
           .arguments = {"--ccp"},
           .then = {.starts = none,
                    .boxes = {{"{question}", no}, {"Zephon could not be started."}}}},
          sets("CcpIsMinusOneInsideAJob", {"--ccp", "head"}, {{"USE_CCP", "-1"}},
               {{"CCP_CLUSTER_NAME", "cluster"}, {"CCP_NODES", "1 a 4"}}),
          sets("NoJobIsKnownByItsNodesAlone", {}, {{"USE_CCP", std::nullopt}},
               {{"CCP_NODES", "1 a 4"}}),
          sets("NoJobIsKnownByItsClusterAlone", {}, {{"USE_CCP", std::nullopt}},
               {{"CCP_CLUSTER_NAME", "cluster"}}),

          // What belongs to the solver.
          line("GetsItsArgumentsInTheirOrder", {"3d", "-g", "/c"}, " 3d -g /c"),
          line("GetsArgumentsWithABlankInQuotes", {"-i", "C:\\my folder\\run 1.jou", " "},
               " -i \"C:\\my folder\\run 1.jou\" \" \""),
          line("GetsNoQuotesForOtherCharacters", {"a\tb", "say\"hi\"", "C:\\dir\\", "", "c"},
               " a\tb say\"hi\" C:\\dir\\  c"),
          line("GetsBytesAbove127", {bytes_above_127(), "\xFF \x80"},
               " " + bytes_above_127() + " \"\xFF \x80\""),
          line("GetsEverySign", {"%s%n%d", "%PATH%", "{}", "^&|<>", "\x01\x02\x1F\x7F"},
               " %s%n%d %PATH% {} ^&|<> \x01\x02\x1F\x7F"),
          line("GetsFilePatternsAsTheyStand", {"*.jou", "?ne.jou"}, " *.jou ?ne.jou"),
          line("GetsThirtyThousandCharacters", {std::string(30'000, 'x')},
               " " + std::string(30'000, 'x')),
          line("GetsThirtyThousandCharactersWithBlanks", {std::string(30'000, ' ')},
               " \"" + std::string(30'000, ' ') + "\""),
          line("GetsTenThousandArguments", texts(10'000, "a"), joined(texts(10'000, "a"))),
          line("GetsWhatOnlyLooksLikeAnOption", near_misses, joined(near_misses)),
          line("GetsNoOptionsAmongItsArguments",
               {"a", "--debugmpi", "b", "-wait", "--prod_verdir=v", "--node", "--host"}, " a b"),
          line("GetsNeitherCxNorWhatFollows", {"a", "--cx", "case", "b"}, " a b"),
          line("GetsNoCxAtTheEnd", {"a", "--cx"}, " a"),
          line("GetsNoOptionThatCxTook", {"--cx", "--debugmpi", "a"}, " a",
               {{"MPI_DEBUG", std::nullopt}}),

          // The MPI.
          chooses("MpiIsUsedAsGiven", {"--mpi=Intel"}, "Intel"),
          chooses("MpiHasAnOldNameForPlatformMpi", {"--mpi=pcmpi"}, "ibmmpi"),
          chooses("MpiReplacesAnEarlierOne", {"--mpi=", "--mpi=msmpi"}, "msmpi"),
          chooses("MpiIsNotTouchedByTheRelease", {"--mpi=intel", "--r6.2"}, "intel"),
          chooses("MpiMayHaveThirtyThousandCharacters", {"--mpi=" + std::string(30'000, 'm')},
                  std::string(30'000, 'm')),
          chooses("TheDefaultMpiIsPlatformMpi", {"--mpi=intel", "--mpi="}, "ibmmpi"),
          chooses("TheDefaultMpiIsNotChangedByACapitalRelease", {"--R6.3.0", "--mpi="}, "ibmmpi"),
          chooses("TheDefaultMpiCountsAsItStandsAtTheEnd", {"--mpi=", "--r6.3.0"}, "mpich2"),
          chooses("TheDefaultMpiIsNotBroughtBack", {"--r6.3.0", "--r12.0.0", "--mpi="}, "mpich2"),
          release("ReleaseFive", "5.99.99", "net"),
          release("ReleaseZero", "0.0.0", "net"),
          release("ANegativeRelease", "-1.0", "net"),
          release("Release62", "6.2.16", "net"),
          release("Release63", "6.3", "mpich2"),
          release("Release610", "6.10.26", "mpich2"),
          release("Release63AndALetter", "6.3b", "mpich2"),
          release("Release63WithBlanks", " 6. 3", "mpich2"),
          release("Release7", "7.0.0", "ibmmpi"),
          release("ReleaseTwelve", "12.0.0", "ibmmpi"),
          release("ANumberAlone", "6", "ibmmpi"),
          release("ANumberAndADot", "5.", "ibmmpi"),
          release("ANumberAndALetter", "5.x", "ibmmpi"),
          release("AComma", "5,1", "ibmmpi"),
          release("ABlankBeforeTheDot", "5 .1", "ibmmpi"),
          release("AWord", "list", "ibmmpi"),
          release("AnEmptyRelease", "", "ibmmpi"),
          release("ALetterBeforeTheNumber", "v5.1", "ibmmpi"),

          // The number of processes.
          counts("AreOne", {"--np_per_node=4"}, "1"),
          counts("AreWhatNpSaysLast", {"--np=2", "--np=16"}, "16"),
          counts("AreOneForAnEmptyNp", {"--np=4", "--np="}, "1"),
          counts("AreReadFromTheBeginning", {"--np= 4x8"}, "4"),
          counts("MayBeLessThanNone", {"--np=-2"}, "-2"),
          counts("AreTheMostThereCanBe", {"--np=99999999999999999999"}, "2147483647"),
          counts("AreNoneWithoutDigits", {"--np=many"}, "0"),
          counts("AreThoseOfTheJobForNone", {"--np=0"}, "8", job),
          counts("AreNotThoseOfTheJobOtherwise", {"--np=3"}, "3", job),
          counts("AreNoneWithoutTheNodesOfTheJob", {"--np=0"}, "0", {{"CCP_NUMCPUS", "8"}}),
          counts("AreNoneWithoutTheNumberOfTheJob", {"--np=0"}, "0", {{"CCP_NODES", "1 a 4"}}),
          counts("AreRaisedToThoseOfTheMeshing", {"--np=2"}, "8", meshing, raised),
          counts("AreNotRaisedForASerialRun", {"--np=1"}, "1", meshing),
          counts("AreNotRaisedWhenThereAreAsMany", {"--np=8"}, "8", meshing),
          counts("AreNotLoweredToThoseOfTheMeshing", {"--np=16"}, "16", meshing),
          counts("AreNotRaisedWithoutMeshing", {"--np=4"}, "4", {{"PARA_MESH_NPROCS", "8"}}),
          counts("AreNotRaisedWithoutANumberForTheMeshing", {"--np=4"}, "4",
                 {{"MESHING_MODE", "1"}}),
          counts("AreRaisedAlsoByAnEmptyMeshingMode", {"--np=4"}, "8",
                 {{"MESHING_MODE", ""}, {"PARA_MESH_NPROCS", "8"}}, raised),
      }};
}

}  // namespace cases
