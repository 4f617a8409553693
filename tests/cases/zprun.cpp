// zprun.cpp: what people type behind zprun, and what becomes of it. Its folder of releases
// is named without a blank, as what is quoted is the launcher's and has rows of its own.
#include "cases/families.h"

namespace cases {

namespace {

const std::string version = LAUNCHER_VERSION;

constexpr const char *front = "zprun";

const std::vector<word> words = {
    {"r", "..\\inc\\zephon1.2.3"},
    {"zephon", "{r}\\ntbin\\win64\\zephon.exe"},
    {"msmpi", "{r}\\netweave\\mpi\\win64\\ms\\bin\\mpiexec.exe"},
    {"from", "below ..\\inc (from ZEPHON_INC)"},
    {"two",
     "{msmpi}   -np 2  -env PATH \"..\\inc\\ntbin\\win64;{r}\\netweave\\mpi_wrapper\\win64\\"
     "msmpi\"  -env ZEPHON_PROD_DIR \"{r}\"  {zephon} x"}};

const std::string usage = R"(Usage: zprun [options] [--] [the solver's arguments]

the run:
  -r12.0.1         release
  -t8              processes
  -mpi=x           MPI: msmpi, intel, ibmmpi, mpich2, mpich; -mpi= is the default
  -cnf=x           on the hosts of the host file x
  -ccp x           through the Microsoft scheduler with the head node x
  -pic=x           interconnect: default, ib or myri
  -host_ip=host:ip network interface of the host process
  -mpitest         the program that tests the network instead of the solver
  -o x             writes the times of the run to the file x
  -record x        writes what happened to the file x
  -nowait          starts the run and leaves it alone
on a cluster:
  -jobid=x         in the job x of the scheduler
  -unit=x          what is counted: processor, core, socket or node
  -np_per_node=x   processes on each node
  -cwd x           folder in which the solver runs
  -cred_check=no   without asking for the password first
  -ptrace          shows the scheduler's commands
services:
  -install_smpd x, -start_smpd x, -install_ibmmpi, -cache_password, -debugmpi
instead of a run:
  -explain         tells what the run would do, and does nothing
  -check           the same, and what stands in its way
  -list            releases and their MPIs
  -version         version of zprun
  -help            this listing

Options are written -name=value or -name value. Behind -- everything is the solver's.
)";

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
           .arguments = {"-r1.2.4", "-mpi=msmpi", "-t2"},
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
           .files = {{"{work}\\plate.case", std::string(250, 'x') + "Start: "}},
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
          {.name = "ShowsItsVersion",
           .arguments = {"-version"},
           .then = {.output = "zprun " + version + "\n"}},
          {.name = "ShowsItsOptions", .arguments = {"-help"}, .then = {.output = usage}}}};
}

namespace {

// A line of the list: the grade, the finding's name, what was found and what to do.
std::string listed(const std::string &grade, const std::string &name, const std::string &text) {
  return "\n" + grade + std::string(7 - grade.size(), ' ') + name +
         std::string(16 - name.size(), ' ') + text +
         (grade == "ok" ? "\n" : "  [findings.md#" + name + "]\n");
}

std::string sound(const std::string &name, const std::string &text) {
  return listed("ok", name, text);
}

outcome fault(const std::string &name, const std::string &text) {
  return {.status = 1, .says = {listed("fault", name, text)}};
}

// A launch that is not gone through.
outcome early_fault(const std::string &name, const std::string &text) {
  outcome then = fault(name, text);
  then.says_not = {"Rehearsal", "wrapper  ", "communicator"};
  return then;
}

outcome note(const std::string &name, const std::string &text) {
  return {.says = {listed("note", name, text)}};
}

launch_case blank_in_host_file(const std::string &name, const std::string &mpi) {
  return {.name = name,
          .files = {{"{work}\\my hosts", "localhost\n"}},
          .arguments = {"-mpi=" + mpi, "-t2", "-cnf=my hosts", "x"},
          .then = fault("folder-names",
                        "my hosts has a blank, and this MPI's command no quotes: put the host "
                        "file where there is none")};
}

launch_case other_on_path(const std::string &name, const std::string &program) {
  return {.name = name,
          .files = {{"{world}\\ccp\\" + program}},
          .arguments = {"-mpi=msmpi", "-t2", "x"},
          .then = note("other-mpi", "{world}\\ccp on PATH has a " + program +
                                        " of another MPI: ranks that come up alone, or wrong "
                                        "libraries, come from there: take it off PATH")};
}

}  // namespace

// A row for each finding that brings it, and sound launches, which have each as "ok".
launch_family zprun_finding_family() {
  launch_case checked = site();
  checked.arguments = {"-check"};
  checked.files.push_back({"{work}\\h", "localhost\n"});
  const texts here = {"-mpi=msmpi", "-t2", "x"};
  const texts on_hosts = {"-mpi=intel", "-t2", "-cnf=h", "x"};
  const texts on_cluster = {"-mpi=msmpi", "-t2", "-ccp", "head", "-cwd", "\\\\server\\run", "x"};
  return {
      .name = "ZprunFinding",
      .words = words,
      .given = checked,
      .rows = {
          {.name = "IsNoneHere",
           .arguments = here,
           .then = {.says = {sound("arguments", "read as they were typed"),
                             sound("code-page",
                                   "every character that was typed is in this "
                                   "computer's code page"),
                             sound("release", "1.2.3 {from}"),
                             sound("wrapper",
                                   "{r}\\netweave\\mpi_wrapper\\win64\\msmpi\\"
                                   "mpi_wrapper.dll"),
                             sound("mpi-program", "{msmpi}"),
                             sound("service", "this run needs none"),
                             sound("password", "this run needs none"),
                             sound("other-mpi", "PATH has no program of another MPI"),
                             sound("folder-names", "no folder has signs that something trips over"),
                             sound("working-folder", "{work}"), "\nok     command-length  ",
                             sound("variables", "none of an earlier session takes part"),
                             sound("processors", "2 processes")},
                    .says_not = {"fault ", "note "}}},
          {.name = "IsNoneForAReportOfARunWithoutAnMpi",
           .files = {{"{work}\\t", "Start: Wed"}},
           .arguments = {"-o", "t", "x"},
           .then = {.says = {sound("report-file", "t takes the timing report"),
                             sound("wrapper", "a run without an MPI needs none")},
                    .says_not = {"fault ", "note ", "mpi-program"}}},
          {.name = "IsNoneOnHosts",
           .arguments = on_hosts,
           .then = {.asks = {"{r}\\netweave\\mpi\\win64\\intel\\bin\\smpd.exe -status",
                             "{r}\\netweave\\mpi\\win64\\intel\\bin\\mpiexec.exe -validate",
                             "{r}\\netweave\\mpi\\win64\\intel\\bin\\smpd.exe -status",
                             "{r}\\netweave\\mpi\\win64\\intel\\bin\\mpiexec.exe -validate"},
                    .says = {sound("host-file", "h"),
                             sound("host-names", "the network knows all hosts"),
                             sound("service", "SMPD runs on this computer"),
                             sound("password", "the MPI has it"),
                             listed("note", "working-folder",
                                    "other computers do not see {work}: start in a folder on "
                                    "a network share, or have the folder on each of them")},
                    .says_not = {"fault "}}},
          {.name = "IsNoneOnACluster",
           .arguments = on_cluster,
           .then =
               {.asks = {"cluscfg listenvs /scheduler:head", "cluscfg listenvs /scheduler:head"},
                .says = {sound("scheduler-tool", "job"), sound("head-node", "head"),
                         sound("working-folder", "\\\\server\\run, as the other computers see it")},
                .says_not = {"fault ", "note "}}},
          {.name = "IsAMendedWord",
           .arguments = {"-np=2", "-mpi=msmpi"},
           .then = note("arguments", "-np=2 was read as -t2: type it so")},
          {.name = "IsAWordThatCannotBeMended",
           .arguments = {"-mpi=intell"},
           .then = early_fault("arguments",
                               "-mpi=intell: probably -mpi=intel was meant; known are ibmmpi, "
                               "intel, msmpi, mpich2, mpich or net: type it so")},
          {.name = "IsAFolderWithoutReleases",
           .variables = {{"ZEPHON_INC", "..\\none"}},
           .arguments = here,
           .then = early_fault("release",
                               "there is no release below ..\\none (from ZEPHON_INC): mend "
                               "ZEPHON_INC")},
          {.name = "IsAReleaseThatIsNotThere",
           .arguments = {"-r7.0", "-mpi=msmpi", "-t2"},
           .then = early_fault("release", "there is no release 7.0 {from}: There is 1.2.3")},
          {.name = "IsAReleaseWithoutItsProgram",
           .files = {{"{inc}\\zephon2.0\\read.me"}},
           .arguments = here,
           .then = early_fault("release",
                               "release 2.0 has no ..\\inc\\zephon2.0\\ntbin\\win64\\"
                               "zephon.exe: install the release again")},
          {.name = "IsAFileThatIsNoReport",
           .files = {{"{work}\\c", "x"}},
           .arguments = {"-o", "c", "x"},
           .then = fault("report-file", "c is there and is no timing report: name another file")},
          {.name = "IsAReleaseThatRunsOneProcess",
           .arguments = {"-t2", "x"},
           .then = fault("arguments",
                         "release 1.2.3 runs one process without an MPI, -t2 asks for more: name "
                         "an MPI with -mpi: msmpi, intel or ibmmpi")},
          {.name = "IsAMissingWrapper",
           .arguments = {"-mpi=mpich2", "-t2"},
           .then = fault("wrapper",
                         "-mpi=mpich2: the release lacks {r}\\netweave\\mpi_wrapper\\win64\\"
                         "mpich2\\mpi_wrapper.dll: take msmpi, intel or ibmmpi, which this "
                         "release has, or install it")},
          {.name = "IsAReleaseWithoutAnMpi",
           .files = {{"{inc}\\zephon2.0\\ntbin\\win64\\zephon.exe"}},
           .arguments = here,
           .then = fault("mpi-program",
                         "-mpi=msmpi: there is no ..\\inc\\zephon2.0\\netweave\\mpi\\win64\\ms"
                         "\\bin\\mpiexec.exe: install an MPI for this release")},
          {.name = "IsAMissingProgramOfTheMpi",
           .variables = {{"MSMPI_HOME", "..\\none"}},
           .arguments = here,
           .then = fault("mpi-program",
                         "-mpi=msmpi: there is no ..\\none\\bin\\mpiexec.exe: take intel or "
                         "ibmmpi, which this release has, or install it")},
          {.name = "IsAHostFileThatIsMisread",
           .files = {{"{work}\\h", "a,b\n"}},
           .arguments = on_hosts,
           .then = fault("host-file", "h, line 1: a list: write one host on a line")},
          {.name = "IsAHostFileWithoutAHost",
           .files = {{"{work}\\h"}},
           .arguments = on_hosts,
           .then = fault("host-file", "h: there is no host in the file: write one host on a line")},
          {.name = "IsAHostFileThatIsNotThere",
           .arguments = {"-mpi=intel", "-t2", "-cnf=i", "x"},
           .then = fault("host-file", "i cannot be read: name a host file that is there")},
          {.name = "IsAServiceThatDoesNotRun",
           .tools = {{"{mpi}\\intel\\bin\\smpd.exe -status", "no smpd running\n"}},
           .arguments = on_hosts,
           .then = note("service",
                        "SMPD does not run on this computer: the run starts it; on the other "
                        "hosts, have it installed")},
          {.name = "IsAPasswordThatIsMissing",
           .tools = {{"{mpi}\\intel\\bin\\mpiexec.exe -validate", "FAIL\n"}},
           .arguments = on_hosts,
           .then = note("password",
                        "the MPI has no valid password of yours: the run asks for it in the "
                        "console")},
          {.name = "IsAPasswordOfPlatformMpi",
           .arguments = {"-mpi=ibmmpi", "-cache_password", "-t2", "x"},
           .then = note("password",
                        "the MPI has no valid password of yours: the run asks for it in the "
                        "console")},
          {.name = "IsNoneForAPasswordOfPlatformMpi",
           .tools = {{"{mpi}\\ibmmpi\\bin\\mpirun.exe -pwcheck", "Cached password is valid\n"}},
           .arguments = {"-mpi=ibmmpi", "-cache_password", "-t2", "x"},
           .then = {.says = {sound("password", "the MPI has it")}, .says_not = {"fault "}}},
          other_on_path("IsAnotherMpiOnThePath", "mpiexec.exe"),
          other_on_path("IsAnotherMpirunOnThePath", "mpirun.exe"),
          other_on_path("IsAnotherServiceOnThePath", "smpd.exe"),
          {.name = "IsNotTheLauncherOnThePath",
           .files = {{"{world}\\ccp\\mpirun.exe"}, {"{world}\\ccp\\zprun.exe"}},
           .arguments = here,
           .then = {.says = {"ok     other-mpi "}, .says_not = {"fault ", "note "}}},
          {.name = "IsAMissingToolOfTheScheduler",
           .variables = {{"PATH", "{path}"}},
           .arguments = on_cluster,
           .then = fault("scheduler-tool",
                         "there is no job.exe on PATH: install the client tools of the "
                         "scheduler")},
          {.name = "IsAHeadNodeThatDoesNotAnswer",
           .tools = {{"cluscfg.exe listenvs", "", "", 1}},
           .arguments = on_cluster,
           .then = fault("head-node",
                         "head does not answer: mend its name, its short name where the full "
                         "one fails, or ask its administrator")},
          blank_in_host_file("IsABlankInTheNameOfTheHostFile", "msmpi"),
          blank_in_host_file("IsABlankInTheNameOfTheHostFileOfMpich2", "mpich2"),
          blank_in_host_file("IsABlankInTheNameOfTheHostFileOfMpich", "mpich"),
          {.name = "IsABlankInTheFolderOfPlatformMpi",
           .variables = {{"IBMMPI_ROOT", "..\\my mpi"}},
           .tools = {{"{world}\\my mpi\\bin\\mpirun.exe"}},
           .arguments = {"-mpi=ibmmpi", "-t2", "-cnf=h", "x"},
           .then = fault("folder-names",
                         "..\\my mpi\\bin has a blank: Platform MPI cannot keep the password: "
                         "install it where there is none")},
          {.name = "IsABlankInTheFolderOfTheMpi",
           .variables = {{"MSMPI_HOME", "..\\my mpi"}},
           .tools = {{"{world}\\my mpi\\bin\\mpiexec.exe"}},
           .arguments = here,
           .then = note("folder-names",
                        "..\\my mpi\\bin has a blank, and the command no quotes: see that no "
                        "program has the name in front of the blank")},
          {.name = "IsAParenthesisInTheFolderOfTheMpi",
           .variables = {{"MSMPI_HOME", "..\\mpi(1)"}},
           .tools = {{"{world}\\mpi(1)\\bin\\mpiexec.exe"}},
           .arguments = here,
           .then = note("folder-names",
                        "..\\mpi(1)\\bin has signs that the command interpreter reads: use a "
                        "folder without & % ^ ( )")},
          {.name = "IsAFolderOfThisComputerOnACluster",
           .arguments = {"-mpi=msmpi", "-t2", "-ccp", "head", "x"},
           .then = fault("working-folder",
                         "the nodes do not see {work}: start in a folder on a network share, "
                         "or name one with -cwd")},
          {.name = "IsACommandThatCannotBeStarted",
           .arguments = {"-mpi=msmpi", "-t2", std::string(32'700, 'x')},
           .then = {.status = 1,
                    .says = {"\nfault  command-length  ",
                             " characters, at most 32766 can be started: put arguments of the "
                             "solver into a file of its own  [findings.md#command-length]\n"}},
           .only_scripted = "Windows starts no zprun with a command of this length"},
          {.name = "IsATaskThatOlderSchedulersRefuse",
           .arguments = {"-mpi=msmpi", "-t2", "-ccp", "head", "-cwd", "\\\\server\\run",
                         std::string(600, 'x')},
           .then = {.says = {"\nnote   command-length  ",
                             " characters, and the scheduler takes 480 for a task: newer "
                             "schedulers take more; else put the arguments into a file, or "
                             "shorten folders  [findings.md#command-length]\n"}}},
          {.name = "IsAVariableOfAnEarlierSession",
           .variables = {{"MPICH2_USER_FLAGS", "-l"}, {"ZEPHON_AFFINITY", "1"}},
           .arguments = here,
           .then = note("variables",
                        "these take part: MPICH2_USER_FLAGS=-l, ZEPHON_AFFINITY=1: unset those "
                        "that are not meant")},
          {.name = "IsOneProcessorForSeveralProcesses",
           .variables = {{"NUMBER_OF_PROCESSORS", "1"}},
           .arguments = here,
           .then = note("processors",
                        "2 processes share 1 processors: take fewer, or more hosts with "
                        "-cnf")},
          {.name = "IsALaunchThatWouldEndBeforeItsStart",
           .variables = {{"TEMP", "..\\none"}},
           .arguments = {"-mpi=ibmmpi", "-t2", "-cnf=h", "x"},
           .then =
               fault("launch", "the launcher would end with status 2: mend what it says above")}}};
}

}  // namespace cases
