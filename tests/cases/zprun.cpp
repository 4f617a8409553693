// zprun.cpp: what people type behind zprun, and what becomes of it. Its folder of releases
// is named without a blank, as what is quoted is the launcher's and has rows of its own.
#include "cases/families.h"

namespace cases {

namespace {

constexpr const char *front = "zprun";

const std::vector<word> words = {
    {"r", "..\\inc\\zephon1.2.3"},
    {"zephon", "{r}\\ntbin\\win64\\zephon.exe"},
    {"msmpi", "{r}\\netweave\\mpi\\win64\\ms\\bin\\mpiexec.exe"},
    {"from", "below ..\\inc (from ZEPHON_INC)"},
    {"two",
     "{msmpi}   -np 2  -env PATH \"..\\inc\\ntbin\\win64;{r}\\netweave\\mpi_wrapper\\win64\\"
     "msmpi\"  -env ZEPHON_PROD_DIR \"{r}\"  {zephon} x"}};

file wrapper_of(const std::string &mpi) {
  return {"{release}\\netweave\\mpi_wrapper\\win64\\" + mpi + "\\mpi_wrapper.dll"};
}

// A release with three MPIs, and nothing of a start script but the folder of the releases.
launch_case site() {
  return {.variables = {{"ZEPHON_INC", "..\\inc"},
                        {"ZEPHON_PROD", std::nullopt},
                        {"ZEPHON_PROD_DIR", std::nullopt},
                        {"ZEPHON_ARCH", std::nullopt},
                        {"STDOUT_FLUSH", std::nullopt},
                        {"PATH", "{world}\\ccp;{path}"}},
          .files = {wrapper_of("msmpi"), wrapper_of("intel"), wrapper_of("ibmmpi")},
          .tools = {{"{release}\\ntbin\\win64\\zephon.exe"},
                    {"{mpi}\\ms\\bin\\mpiexec.exe"},
                    {"{mpi}\\ibmmpi\\bin\\mpirun.exe"},
                    {"{mpi}\\intel\\bin\\mpiexec.exe -validate", "SUCCESS\n"},
                    {"{mpi}\\intel\\bin\\mpiexec.exe"},
                    {"{mpi}\\intel\\bin\\smpd.exe -status", "smpd running\n"},
                    {"{world}\\ccp\\job.exe"},
                    {"cluscfg.exe listenvs", "CCP_CLUSTER_NAME=head\n"}},
          .program = front};
}

}  // namespace

launch_family zprun_family() {
  return {
      .name = "ZprunLaunch",
      .words = words,
      .given = site(),
      .rows = {
          {.name = "GivesTheSolversStatus",
           .tools = {{"{release}\\ntbin\\win64\\zephon.exe", "done\n", "", 3}},
           .arguments = {"-i", "a b.case", ""},
           .then = {.starts = {"{zephon} -i \"a b.case\" \"\""},
                    .output = "done\n",
                    .errors = "zprun: the run ended with status 3\n",
                    .status = 3}},
          {.name = "MendsWhatIsCertain",
           .arguments = {"-mpi=msmpi", "-np=2", "x"},
           .then = {.starts = {"{two}"}, .errors = "zprun: -np=2 was read as -t2\n"}},
          {.name = "MendsWhatPowerShellSplits",
           .arguments = {"-r1", ".2.3", "-MPI", "ms-mpi", "-t", "2", "x"},
           .then = {.starts = {"{two}"},
                    .errors = "zprun: -r1 .2.3 was read as -r1.2.3\n"
                              "zprun: -MPI ms-mpi was read as -mpi=msmpi\n"
                              "zprun: -t 2 was read as -t2\n"}},
          {.name = "LeavesEverythingBehindTwoDashesToTheSolver",
           .arguments = {"--", "-t4", "-mpi=x"},
           .then = {.starts = {"{zephon} -t4 -mpi=x"}}},
          {.name = "TakesTheNewestRelease",
           .tools = {{"{inc}\\zephon1.10\\ntbin\\win64\\zephon.exe"}},
           .arguments = {"x"},
           .then = {.starts = {"..\\inc\\zephon1.10\\ntbin\\win64\\zephon.exe x"}}},
          {.name = "RefusesWhatIsNotCertain",
           .arguments = {"-mpi", "intell", "-wiat"},
           .then = {.status = 1,
                    .says = {"zprun: -mpi intell: probably -mpi=intel was meant; known are ibmmpi, "
                             "intel,",
                             "zprun: -wiat: probably -wait was meant."}}},
          {.name = "RefusesAReleaseThatIsNotThere",
           .arguments = {"-r1.2.4", "x"},
           .then = {.errors = "zprun: there is no release 1.2.4 {from}: probably -r1.2.3 was "
                              "meant. There is 1.2.3\n",
                    .status = 1}},
          {.name = "RefusesADefaultReleaseThatIsNotThere",
           .variables = {{"ZEPHON_DEFAULT_RELEASE", "7"}},
           .arguments = {"x"},
           .then = {.errors = "zprun: there is no release 7, the default from "
                              "ZEPHON_DEFAULT_RELEASE {from}: There is 1.2.3\n",
                    .status = 1}},
          {.name = "RefusesAFolderWithoutReleases",
           .variables = {{"ZEPHON_INC", "..\\none"}},
           .arguments = {"x"},
           .then = {.errors = "zprun: there is no release below ..\\none (from ZEPHON_INC): mend "
                              "ZEPHON_INC\n",
                    .status = 1}},
          {.name = "RefusesAnMpiThatTheReleaseLacks",
           .arguments = {"-mpi=mpich2", "-t2", "x"},
           .then = {.status = 1,
                    .says = {"zprun: -mpi=mpich2: the release lacks {r}\\netweave\\mpi_wrapper\\"
                             "win64\\mpich2\\mpi_wrapper.dll: take msmpi, intel or ibmmpi, which "
                             "this release has, or install it\n"}}},
          {.name = "RefusesSeveralProcessesWhereTheReleaseHasNoDefaultMpi",
           .arguments = {"-t2", "x"},
           .then = {.errors = "zprun: release 1.2.3 runs one process without an MPI, -t2 asks for "
                              "more: name an MPI with -mpi: msmpi, intel or ibmmpi\n",
                    .status = 1}},
          {.name = "RefusesToOverwriteACaseFile",
           .files = {{"{work}\\plate.case", "points 64\n"}},
           .arguments = {"-o", "plate.case", "x"},
           .then = {.errors = "zprun: plate.case is there and is no timing report: name another "
                              "file\n",
                    .status = 1}},
          {.name = "RefusesAHostFileThatTheMpiMisreads",
           .files = {{"{work}\\h", "localhost\nlocalhost 2\n"}},
           .arguments = {"-mpi=intel", "-t2", "-cnf=h", "x"},
           .then = {.errors = "zprun: h, line 2: the count lacks its colon: write localhost:2\n",
                    .status = 1}},
          {.name = "ExplainsAndStartsNothing",
           .arguments = {"-explain", "-mpi=msmpi", "-t2", "x"},
           .then = {.says = {"Rehearsal: the launch command\n    {two}\n"}}},
          {.name = "ListsWhatIsInstalled",
           .arguments = {"-list"},
           .then = {.output = "Releases {from}:\n"
                              "  1.2.3   the default (the newest)\n"
                              "    msmpi    complete\n    intel    complete\n"
                              "    ibmmpi   complete\n"
                              "    mpich2   lacks {r}\\netweave\\mpi_wrapper\\win64\\mpich2\\"
                              "mpi_wrapper.dll\n"
                              "    mpich    lacks {r}\\netweave\\mpi_wrapper\\win64\\mpich\\"
                              "mpi_wrapper.dll\n"}},
          {.name = "ListsADefaultThatIsNotThere",
           .variables = {{"ZEPHON_DEFAULT_RELEASE", "7"}, {"ZEPHON_INC", "..\\none"}},
           .arguments = {"-list"},
           .then = {.output = "Releases below ..\\none (from ZEPHON_INC):\n  none\n"
                              "The default release 7 (from ZEPHON_DEFAULT_RELEASE) is not "
                              "there.\n"}},
          {.name = "ShowsItsOptions",
           .arguments = {"-help"},
           .then = {.says = {"Usage: zprun [options] [--] [the solver's arguments]\n"}}}}};
}

// A row for each finding that brings it, and sound launches, which have each as "ok".
launch_family zprun_finding_family() {
  launch_case checked = site();
  checked.arguments = {"-check"};
  checked.files.push_back({"{work}\\h", "localhost\n"});
  const texts here = {"-mpi=msmpi", "-t2", "x"};
  const texts on_hosts = {"-mpi=intel", "-t2", "-cnf=h", "x"};
  const texts on_cluster = {"-mpi=msmpi", "-t2", "-ccp", "head", "-cwd", "\\\\server\\run", "x"};
  const auto fault = [](const std::string &name) {
    return outcome{.status = 1, .says = {"\nfault  " + name + " "}};
  };
  const auto note = [](const std::string &name) {
    return outcome{.says = {"\nnote   " + name + " "}};
  };
  return {
      .name = "ZprunFinding",
      .words = words,
      .given = checked,
      .rows = {{.name = "IsNoneHere",
                .arguments = here,
                .then = {.says = {"ok     arguments ", "ok     code-page ", "ok     release ",
                                  "ok     wrapper ", "ok     mpi-program ", "ok     service ",
                                  "ok     password ", "ok     other-mpi ", "ok     folder-names ",
                                  "ok     working-folder ", "ok     command-length ",
                                  "ok     variables ", "ok     processors "},
                         .says_not = {"fault ", "note "}}},
               {.name = "IsNoneForReports",
                .files = {{"{work}\\t", "Start: Wed"}},
                .arguments = {"-o", "t", "x"},
                .then = {.says = {"ok     report-file "}, .says_not = {"fault ", "note "}}},
               {.name = "IsNoneOnHosts",
                .arguments = on_hosts,
                .then = {.asks = {"{r}\\netweave\\mpi\\win64\\intel\\bin\\smpd.exe -status",
                                  "{r}\\netweave\\mpi\\win64\\intel\\bin\\mpiexec.exe -validate",
                                  "{r}\\netweave\\mpi\\win64\\intel\\bin\\smpd.exe -status",
                                  "{r}\\netweave\\mpi\\win64\\intel\\bin\\mpiexec.exe -validate"},
                         .says = {"ok     host-file ", "ok     host-names ", "ok     service ",
                                  "ok     password ", "\nnote   working-folder "},
                         .says_not = {"fault "}}},
               {.name = "IsNoneOnACluster",
                .arguments = on_cluster,
                .then = {.asks = {"cluscfg listenvs /scheduler:head",
                                  "cluscfg listenvs /scheduler:head"},
                         .says = {"ok     scheduler-tool ", "ok     head-node ",
                                  "ok     working-folder "},
                         .says_not = {"fault ", "note "}}},
               {.name = "IsAMendedWord",
                .arguments = {"-np=2", "-mpi=msmpi"},
                .then = note("arguments")},
               {.name = "IsAWordThatCannotBeMended",
                .arguments = {"-mpi=intell"},
                .then = fault("arguments")},
               {.name = "IsAReleaseThatIsNotThere",
                .arguments = {"-r7.0", "x"},
                .then = fault("release")},
               {.name = "IsAReleaseWithoutItsProgram",
                .files = {{"{inc}\\zephon2.0\\read.me"}},
                .arguments = {"x"},
                .then = fault("release")},
               {.name = "IsAFileThatIsNoReport",
                .files = {{"{work}\\c", "x"}},
                .arguments = {"-o", "c", "x"},
                .then = fault("report-file")},
               {.name = "IsAMissingWrapper",
                .arguments = {"-mpi=mpich2", "-t2"},
                .then = fault("wrapper")},
               {.name = "IsAMissingProgramOfTheMpi",
                .variables = {{"MSMPI_HOME", "..\\none"}},
                .arguments = here,
                .then = fault("mpi-program")},
               {.name = "IsAHostFileThatIsMisread",
                .files = {{"{work}\\h", "a,b\n"}},
                .arguments = on_hosts,
                .then = fault("host-file")},
               {.name = "IsAServiceThatDoesNotRun",
                .tools = {{"{mpi}\\intel\\bin\\smpd.exe -status", "no smpd running\n"}},
                .arguments = on_hosts,
                .then = note("service")},
               {.name = "IsAPasswordThatIsMissing",
                .tools = {{"{mpi}\\intel\\bin\\mpiexec.exe -validate", "FAIL\n"}},
                .arguments = on_hosts,
                .then = note("password")},
               {.name = "IsAPasswordOfPlatformMpi",
                .arguments = {"-mpi=ibmmpi", "-cache_password", "-t2", "x"},
                .then = note("password")},
               {.name = "IsAnotherMpiOnThePath",
                .files = {{"{world}\\ccp\\mpiexec.exe"}},
                .arguments = here,
                .then = note("other-mpi")},
               {.name = "IsNotTheLauncherOnThePath",
                .files = {{"{world}\\ccp\\mpirun.exe"}, {"{world}\\ccp\\zprun.exe"}},
                .arguments = here,
                .then = {.says = {"ok     other-mpi "}, .says_not = {"fault ", "note "}}},
               {.name = "IsAMissingToolOfTheScheduler",
                .variables = {{"PATH", "{path}"}},
                .arguments = on_cluster,
                .then = fault("scheduler-tool")},
               {.name = "IsAHeadNodeThatDoesNotAnswer",
                .tools = {{"cluscfg.exe listenvs", "", "", 1}},
                .arguments = on_cluster,
                .then = fault("head-node")},
               {.name = "IsABlankInTheNameOfTheHostFile",
                .files = {{"{work}\\my hosts", "localhost\n"}},
                .arguments = {"-mpi=msmpi", "-t2", "-cnf=my hosts", "x"},
                .then = fault("folder-names")},
               {.name = "IsABlankInTheFolderOfTheMpi",
                .variables = {{"MSMPI_HOME", "..\\my mpi"}},
                .tools = {{"{world}\\my mpi\\bin\\mpiexec.exe"}},
                .arguments = here,
                .then = note("folder-names")},
               {.name = "IsAParenthesisInTheFolderOfTheMpi",
                .variables = {{"MSMPI_HOME", "..\\mpi(1)"}},
                .tools = {{"{world}\\mpi(1)\\bin\\mpiexec.exe"}},
                .arguments = here,
                .then = note("folder-names")},
               {.name = "IsAFolderOfThisComputerOnACluster",
                .arguments = {"-mpi=msmpi", "-t2", "-ccp", "head", "x"},
                .then = fault("working-folder")},
               {.name = "IsACommandThatCannotBeStarted",
                .arguments = {"-mpi=msmpi", "-t2", std::string(32'700, 'x')},
                .then = fault("command-length"),
                .only_scripted = "Windows starts no zprun with a command of this length"},
               {.name = "IsATaskThatOlderSchedulersRefuse",
                .arguments = {"-mpi=msmpi", "-t2", "-ccp", "head", "-cwd", "\\\\server\\run",
                              std::string(600, 'x')},
                .then = note("command-length")},
               {.name = "IsAVariableOfAnEarlierSession",
                .variables = {{"MPICH2_USER_FLAGS", "-l"}},
                .arguments = here,
                .then = note("variables")},
               {.name = "IsOneProcessorForSeveralProcesses",
                .variables = {{"NUMBER_OF_PROCESSORS", "1"}},
                .arguments = here,
                .then = note("processors")},
               {.name = "IsALaunchThatWouldEndBeforeItsStart",
                .variables = {{"TEMP", "..\\none"}},
                .arguments = {"-mpi=ibmmpi", "-t2", "-cnf=h", "x"},
                .then = fault("launch")}}};
}

}  // namespace cases
