// msmpi.cpp: the command lines of MS-MPI: on this machine, on the hosts of a file, inside a
// job and for the scheduler; the machine file of a job, and the check of the cluster's settings.
//
// The folders are named from the current one on, so that none has a blank in it.
#include "cases/families.h"

namespace cases {

namespace {

const std::string warning =
    "\n***\nWarning: \nThe following cluster environment variable setting may cause issues with "
    "running parallel ZEPHON:\nMPICH_SOCKET_SBUFFER_SIZE=0\n***\n";

const std::vector<word> words = {
    {"ms", "..\\ms\\bin\\mpiexec.exe  "},
    {"release ms", "..\\inc\\{mpis}\\ms\\bin\\mpiexec.exe"},
    {"wrapper", "..\\prod\\netweave\\mpi_wrapper\\win64\\msmpi"},
    {"path piece", " -env PATH \"..\\inc\\ntbin\\win64;{wrapper}\" "},
    {"on head", "{path piece} -env CCP_CLUSTER_NAME head "},
    {"inside", "{path piece} -env CCP_CLUSTER_NAME -1 "},
    {"end", " -env ZEPHON_PROD_DIR \"..\\prod\"  solver"},
    {"listenvs", "cluscfg listenvs /scheduler:head"},
    {"submit", "job submit /scheduler:head /jobname:\"ORBEX ZEPHON\" /exclusive:false"},
    {"output files", " /stdout:ZP%CCP_TASKCONTEXT%.jdoe.o /stderr:ZP%CCP_TASKCONTEXT%.jdoe.e "},
};

launch_case on_this_machine() {
  return {.variables = {{"ZEPHON_INC", "..\\inc"},
                        {"ZEPHON_PROD_DIR", "..\\prod"},
                        {"MSMPI_HOME", "..\\ms"},
                        {"USERNAME", "jdoe"},
                        {"ZEPHON_CRED_CHECK", "no"}},
          .files = {{"{wrappers}\\msmpi\\mpi_wrapper.dll"},
                    {"{world}\\hosts", "alpha\nbeta\n"},
                    {"{world}\\my hosts", "alpha\nbeta\n"}},
          .tools = {{"{world}\\ms\\bin\\mpiexec.exe"}, {"cluscfg.exe"}},
          .arguments = {"--mpi=msmpi", "--np=4", "solver"},
          .then = {.starts = {"{ms} -np 4 {path piece}{end}"}}};
}

launch_case of_the_release(const std::string &name, const std::string &home) {
  return {.name = name,
          .variables = {{"MSMPI_HOME", home}},
          .tools = {{"{world}\\inc\\{mpis}\\ms\\bin\\mpiexec.exe"}},
          .arguments = {"--r1.2.3"},
          .then = {.starts = {"{release ms}   -np 4 {path piece}{end}"}}};
}

launch_case of_the_user(const std::string &name, const std::string &home) {
  return {.name = name,
          .variables = {{"MSMPI_HOME", home}},
          .tools = {{"{world}" + home.substr(2) + "\\bin\\mpiexec.exe"}},
          .then = {.starts = {home + "\\bin\\mpiexec.exe   -np 4 {path piece}{end}"}}};
}

// A run inside a job goes through the interpreter.
launch_case inside_a_job(const std::string &name, const std::string &nodes,
                         const std::string &processes, const std::string &hosts) {
  return {.name = name,
          .variables = {{"USE_CCP", "-1"}, {"CCP_NODES", nodes}},
          .arguments = {"--np=" + processes},
          .then = {.asks = {"{ms}" + hosts + "{inside}{end}"}, .starts = none}};
}

}  // namespace

launch_family msmpi_family() {
  return {
      .name = "Msmpi",
      .words = words,
      .given = on_this_machine(),
      .rows = {
          {.name = "StartsSoManyProcessesOnThisMachine",
           .variables = {{"MPICH_NETMASK", "10.0.0.0/8"},   // only on several machines
                         {"CCP_JOBTEMPLATE", "Default"}}},  // needs CCP_HOME beside it
          {.name = "IsAlsoCalledVmpi",
           .files = {{"{wrappers}\\vmpi\\mpi_wrapper.dll"}},
           .arguments = {"--mpi=vmpi"},
           .then = {.starts = {"{ms} -np 4  -env PATH "
                               "\"..\\inc\\ntbin\\win64;..\\prod\\netweave\\mpi_wrapper\\win64\\"
                               "vmpi\" {end}"}}},
          {.name = "HasEveryPieceInItsOrder",
           .variables = {{"ZEPHON_WORK_SIZE", "8"},
                         {"ZEPHON_WORK_UNIT", "2"},
                         {"QMX_ROOT", "D:\\qmx"},
                         {"QMX_ARCH", "win64"},
                         {"MPICH2_USER_FLAGS", "-exitcodes -priority 1 100%d"}},
           .arguments = {"--np=12", "--pathnode=\\\\server\\a b;D:\\node", "a case.jou"},
           .then = {.starts = {R"({ms} -np 12  -env PATH "..\inc\ntbin\win64;\\server\a b;D:\node;)"
                               R"({wrapper}"  -env ZEPHON_WORK_SIZE 8  -env ZEPHON_WORK_UNIT 2 )"
                               R"( -exitcodes -priority 1 100%d  -env QMX_ROOT "D:\qmx")"
                               R"( -env QMX_ARCH "win64"{end} "a case.jou")"},
                    .output = "\n***\n*** User defined: MPICH2_USER_FLAGS=-exitcodes -priority 1 "
                              "100%d\n***\n"}},
          {.name = "PutsSingleQuotesAroundFoldersWithABlank",
           .variables = {{"QMX_ROOT", "D:\\my qmx"},
                         {"QMX_ARCH", "win 64"},
                         {"ZEPHON_PROD_DIR", "..\\my folder\\..\\prod"}},
           .files = {{"{world}\\my folder\\"}},
           .then = {.starts = {R"({ms} -np 4  -env PATH "..\inc\ntbin\win64;..\my folder\..\prod\)"
                               R"(netweave\mpi_wrapper\win64\msmpi"  -env QMX_ROOT "'D:\my qmx'" )"
                               R"(-env QMX_ARCH "win 64" -env ZEPHON_PROD_DIR )"
                               R"("'..\my folder\..\prod'"  solver)"}}},
          {.name = "PutsSingleQuotesAroundAQmxRootAlone",
           .variables = {{"QMX_ROOT", "C:\\Program Files\\x"}},
           .then = {.starts =
                        {R"({ms} -np 4 {path piece} -env QMX_ROOT "'C:\Program Files\x'"{end})"}}},
          {.name = "FormatsAnAbsentRootAsNothing",
           .variables = {{"ZEPHON_INC", std::nullopt}},
           .then = {.starts = {R"({ms} -np 4  -env PATH "\ntbin\win64;{wrapper}" {end})"}}},
          {.name = "IsNotCutForItsLength",
           .arguments = {"--pathnode=" + std::string(20'000, 'p')},
           .then = {.starts = {R"({ms} -np 4  -env PATH "..\inc\ntbin\win64;)" +
                               std::string(20'000, 'p') + ";{wrapper}\" {end}"}}},
          {.name = "IsTraced",
           .variables = {{"ZEPHON_STARTUP_DEBUG", "1"}},
           .then = {.output = "\nsOptions.pre = {ms} -np 4 {path piece} -env ZEPHON_PROD_DIR "
                              "\"..\\prod\" (..\\src\\mpirun:2291)"}},
          of_the_release("IsTheReleasesWithoutOneOfTheUsers", "..\\MPIPro"),
          of_the_release("IsTheReleasesWhenTheUsersIsMpich", "..\\MPICH\\mpd"),
          of_the_release("IsTheReleasesWhenTheUsersIsMpich2", "..\\my mpich2"),
          of_the_release("IsTheReleasesWhenTheUsersHasTheNameInside", "..\\XMPICHX"),
          {.name = "IsTheReleasesWithoutTheVariableAndNotTheLocalRoots",
           .variables = {{"MSMPI_HOME", std::nullopt}, {"ZEPHON_INC_LOCAL_RESERVED", "D:\\local"}},
           .tools = {{"{world}\\inc\\zephon\\netweave\\mpi\\win64\\ms\\bin\\mpiexec.exe"}},
           .then =
               {.starts = {"..\\inc\\zephon\\netweave\\mpi\\win64\\ms\\bin\\mpiexec.exe   -np 4 "
                           "{path piece}{end}"}}},
          of_the_user("IsTheUsersInSmallLetters", "..\\mpipro"),
          of_the_user("IsTheUsersInMixedLetters", "..\\Mpich"),
          of_the_user("IsTheUsersWithAnotherCapital", "..\\mPICH"),
          of_the_user("IsTheUsersWithABlankWithoutQuotes", "..\\MPI Pro"),
          {.name = "IsTheUsersThatIsEmpty",
           .variables = {{"MSMPI_HOME", ""}, {"RSH_USER", "jdoe"}},
           .then = {.starts = none,
                    .output =
                        "Unable to execute (null) \\bin\\mpiexec.exe   -np 4 {path piece}{end}"
                        "\n{error 2}\n\n",
                    .status = 255}},
          {.name = "IsFoundByWindowsOnAMachineWithTheClusterPack",
           .variables = {{"CCP_HOME", ""}, {"ZEPHON_STARTUP_DEBUG", "1"}},
           .tools = {{"mpiexec.exe"}},
           .then = {.starts = {"mpiexec.exe  -np 4 {path piece}{end}"},
                    .output =
                        "\nsOptions.pre =  mpiexec.exe  -np 4 {path piece} -env ZEPHON_PROD_DIR "
                        "\"..\\prod\" (..\\src\\mpirun:2291)"}},
          {.name = "AsksForAffinityInATemplateJobOfTheClusterPack",
           .variables = {{"CCP_HOME", "D:\\hpc"}, {"CCP_JOBTEMPLATE", "Default"}},
           .tools = {{"mpiexec.exe"}},
           .then = {.starts = {"mpiexec.exe  -np 4 {path piece} -env ZEPHON_PROD_DIR \"..\\prod\" "
                               "-affinity   solver"}}},
          {.name = "AsksForNoAffinityThatTheUserForbids",
           .variables = {{"CCP_HOME", "D:\\hpc"},
                         {"CCP_JOBTEMPLATE", "Default"},
                         {"MSMPI_NO_AFFINITY_SET", "0"}},
           .tools = {{"mpiexec.exe"}},
           .then = {.starts = {"mpiexec.exe  -np 4 {path piece}{end}"},
                    .output = "\n***\n*** User defined: MSMPI_NO_AFFINITY_SET=0\n***\n"}},
          {.name = "ShowsTheForbiddenAffinityAlsoWhereItMattersNot",
           .variables = {{"MSMPI_NO_AFFINITY_SET", ""}},
           .then = {.output = "\n***\n*** User defined: MSMPI_NO_AFFINITY_SET=\n***\n"}},

          // The hosts of a file.
          {.name = "StartsOnTheMachinesOfAFile",
           .variables = {{"ZEPHON_HOSTS_FILE", "..\\hosts"},
                         {"MPICH_NETMASK", "10.0.0.0/8 100%s"},
                         {"CCP_JOB_ID", "42"}},  // counts with a head node only
           .then = {.starts = {"{ms} -env MPICH_NETMASK 10.0.0.0/8 100%s  -np 4  -machinefile "
                               "..\\hosts {path piece}{end}"},
                    .output = "\nUsing user defined:  -env MPICH_NETMASK 10.0.0.0/8 100%s \n"}},
          {.name = "DoesNotQuoteAHostFileWithABlank",
           .arguments = {"--cnf=..\\my hosts"},
           .then = {.starts = {"{ms} -np 4  -machinefile ..\\my hosts {path piece}{end}"}}},
          {.name = "LeavesOutAHostFileThatCannotBeRead",
           .variables = {{"ZEPHON_HOSTS_FILE", "..\\none"}, {"MPICH_NETMASK", "m"}},
           .then = {.starts = {"{ms} -env MPICH_NETMASK m  -np 4 {path piece}{end}"},
                    .output = "\nUsing user defined:  -env MPICH_NETMASK m \n"}},

          // Inside a job.
          inside_a_job("TakesTheFirstOfMoreNodesThanProcesses", "3 alpha 8 beta 8 gamma 8", "2",
                       " -hosts 2 alpha 1 beta 1  "),
          inside_a_job("TakesAllOfAsManyNodesAsProcesses", "2 alpha 8 beta 8", "2",
                       " -hosts 2 alpha 1 beta 1  "),
          inside_a_job("TakesFewerNodesThanProcessesAsTheyStand", "2 alpha 8 beta 8", "16",
                       " -hosts 2 alpha 8 beta 8 "),
          inside_a_job("TakesAnEmptyListOfNodes", "", "4", " -hosts  "),
          {.name = "LeavesTheHostsToTheUserInsideAJob",
           .variables = {{"USE_CCP", "-1"},
                         {"CCP_NODES", "2 alpha 8 beta 8"},
                         {"CANCEL_CCP_JOB_EXIT1", "job modify 5"},  // the launcher outside does
                         {"MPICH2_USER_FLAGS", "-hosts 1 beta 2"}},
           .then = {.asks = {"{ms}{inside} -hosts 1 beta 2 {end}"},
                    .starts = none,
                    .output = "\n***\n*** User defined: MPICH2_USER_FLAGS=-hosts 1 beta 2\n***\n",
                    .variables = {{"CANCEL_CCP_JOB_EXIT1", "job modify 5"}}}},
          {.name = "IsTracedInsideAJob",
           .variables = {{"USE_CCP", "-1"},
                         {"CCP_NODES", "1 alpha 8"},
                         {"ZEPHON_STARTUP_DEBUG", "1"}},
           .then = {.asks = {"{ms} -hosts 1 alpha 8 {inside}{end}"},
                    .starts = none,
                    .output = "\nsOptions.pre = {ms} -hosts 1 alpha 8 {inside} -env "
                              "ZEPHON_PROD_DIR \"..\\prod\" (..\\src\\mpirun:2291)"
                              "\nargs = {ms} -hosts 1 alpha 8 {inside}{end} "
                              "(..\\src\\mpirun:3448)"}},
          {.name = "KnowsTheUsersHostsByTheirBlank",
           .variables = {{"USE_CCP", "-1"},
                         {"CCP_NODES", "1 alpha 8"},
                         {"MPICH2_USER_FLAGS", "-hosts"},
                         {"MPICH_NETMASK", "m"}},
           .then = {.asks = {"{ms} -env MPICH_NETMASK m  -hosts 1 alpha 8 {inside} -hosts {end}"},
                    .starts = none,
                    .output = "\nUsing user defined:  -env MPICH_NETMASK m \n"
                              "\n***\n*** User defined: MPICH2_USER_FLAGS=-hosts\n***\n"}},
          {.name = "TakesAHostFileInsideAJobToo",
           .variables = {{"USE_CCP", "-1"},
                         {"CCP_NODES", "1 alpha 8"},
                         {"ZEPHON_HOSTS_FILE", "..\\hosts"},
                         {"CCP_JOB_ID", "42"}},
           .then = {.starts = {"{ms} -hosts 1 alpha 8  -job 42.1 -dir .  -np 4  -machinefile "
                               "..\\hosts {inside}{end}"}}},
      }};
}

namespace {

// A launch whose submission is refused: the tool names no job that could be watched.
launch_case for_the_scheduler() {
  auto given = on_this_machine();
  given.variables.push_back({"USE_CCP", "head"});
  given.tools.push_back({"job.exe", "Cannot connect to head\n"});
  given.then = {
      .asks = {"{listenvs}",
               "{submit} /numprocessors:4{output files}{ms} -hosts %CCP_NODES% {on head}{end}"},
      .starts = none};
  return given;
}

outcome refused(const texts &asks, const std::string &output = "") {
  return {.asks = asks,
          .output = output + "Cannot connect to head\n",
          .errors = "Waiting for CCP scheduler@head to start msmpi nodes ...\n"};
}

launch_case settings(const std::string &name, const std::string &listed,
                     const std::string &output = "") {
  return {
      .name = "Settings" + name, .tools = {{"cluscfg.exe", listed}}, .then = refused({}, output)};
}

}  // namespace

launch_family msmpi_task_family() {
  return {
      .name = "MsmpiTask",
      .words = words,
      .given = for_the_scheduler(),
      .rows = {
          {.name = "IsAJobOfItsOwn", .then = refused({})},
          {.name = "HasEveryPieceInItsOrder",
           .variables = {{"ZP_CCP_JOB_TEMPLATE", "Default"},
                         {"ZP_CCP_NODE_GROUP", "fast"},
                         {"CCP_USER_FLAGS", "/priority:high"},
                         {"NP_PER_NODE", "2"},  // of a job that is made at start-up alone
                         {"NUMBER_OF_PROCESSORS", "8"},
                         {"STD_DIR", "\\\\server\\share\\my case\\"},
                         {"MPICH_NETMASK", "10.0.0.0/8"},
                         {"ZEPHON_WORK_SIZE", "8"},
                         {"QMX_ROOT", "D:\\my qmx"},
                         {"QMX_ARCH", "win 64"},
                         {"MPICH2_USER_FLAGS", "-exitcodes"},
                         {"CCP_HOME", "D:\\hpc"},
                         {"CCP_JOBTEMPLATE", "Default"}},
           .arguments = {"--unit=node"},
           .then = refused(
               {"{listenvs}",
                R"({submit} /numnodes:4 /workdir:"\\server\share\my case\."{output files})"
                R"( /jobtemplate:Default  /nodegroup:fast  /priority:high  mpiexec.exe  -env )"
                R"(MPICH_NETMASK 10.0.0.0/8  -hosts %CCP_NODES% {on head} -env ZEPHON_WORK_SIZE 8 )"
                R"( -exitcodes  -env QMX_ROOT "'D:\my qmx'" -env QMX_ARCH "win 64" -env )"
                R"(ZEPHON_PROD_DIR "..\prod" -affinity   solver)"},
               "\nUsing user defined:  -env MPICH_NETMASK 10.0.0.0/8 \n"
               "\n***\n*** User defined: CCP_USER_FLAGS=/priority:high\n***\n"
               "\n***\n*** User defined: MPICH2_USER_FLAGS=-exitcodes\n***\n")},
          {.name = "HasNoOptionsOfAJobInAnExistingJob",
           .variables = {{"ZP_CCP_JOB_TEMPLATE", "Default"},
                         {"ZP_CCP_NODE_GROUP", "fast"},
                         {"CCP_USER_FLAGS", "/priority:high"},
                         {"ZEPHON_CRED_CHECK", std::nullopt},
                         {"CCP_JOB_ID", "mine"}},
           .then =
               refused({"{listenvs}",
                        R"(job add 0 /scheduler:head /name:"ORBEX ZEPHON" /exclusive:false )"
                        R"(/numprocessors:4{output files} /priority:high {ms} -hosts %CCP_NODES% )"
                        R"({on head}{end})"},
                       "\n***\n*** User defined: CCP_USER_FLAGS=/priority:high\n***\n")},
          {.name = "IsAddedToTheNegativeJobThatCouldNotBeMade",
           .arguments = {"--jobid=-1"},
           .then = refused({"job new /scheduler:head /jobname:\"ORBEX ZEPHON\" /numprocessors:4 "
                            "/rununtilcanceled:true",
                            "{listenvs}",
                            "job add -1 /scheduler:head /name:\"ORBEX ZEPHON\" /exclusive:false "
                            "/numprocessors:4{output files}{ms} -hosts %CCP_NODES% {on head}{end}"},
                           "Cannot connect to head\n")},
          {.name = "LeavesTheHostsToTheUser",
           .variables = {{"MPICH2_USER_FLAGS", "-l -hosts 1 beta 2"}, {"USERNAME", "j doe"}},
           .then = refused(
               {"{listenvs}",
                "{submit} /numprocessors:4 /stdout:ZP%CCP_TASKCONTEXT%.j doe.o "
                "/stderr:ZP%CCP_TASKCONTEXT%.j doe.e {ms}{on head} -l -hosts 1 beta 2 {end}"},
               "\n***\n*** User defined: MPICH2_USER_FLAGS=-l -hosts 1 beta 2\n***\n")},
          {.name = "IsSubmittedForAHostFileThatCannotBeRead",
           .variables = {{"ZEPHON_HOSTS_FILE", "..\\nothing"}, {"USERNAME", std::nullopt}},
           .then = {.asks = {"{listenvs}"},
                    .starts = {"{submit} /numprocessors:4 /stdout:ZP%CCP_TASKCONTEXT%.o "
                               "/stderr:ZP%CCP_TASKCONTEXT%.e {ms} -hosts %CCP_NODES% {on head}"
                               "{end}"},
                    .output = "Cannot connect to head\n"}},
          {.name = "ChecksTheCredentialsBeforeTheSubmission",
           .variables = {{"ZEPHON_CRED_CHECK", std::nullopt}},
           .tools = {{"job.exe Check"}},
           .then = refused(
               {"{listenvs}",
                "cmd.exe /c job submit /scheduler:head /jobname:\"ORBEX ZEPHON "
                "Credential Check\"  cmd.exe /C ver",
                "{submit} /numprocessors:4{output files}{ms} -hosts %CCP_NODES% {on head}{end}"})},
          {.name = "WarnsOfALocalFolderWithPtrace",
           .variables = {{"STD_DIR", "D:\\case"}},
           .arguments = {"--ptrace"},
           .then = {.asks = {"{listenvs}",
                             "{submit} /numprocessors:4{output files}{ms} -hosts "
                             "%CCP_NODES% {on head}{end}"},
                    .output = "Cannot connect to head\n",
                    .errors = "\nWarning: Working directory is not a network mapped: D:\\case\n"
                              "         stdout and stderr will be under your HOME directory on the "
                              "first allocated node!Waiting for CCP scheduler@head to start msmpi "
                              "nodes ...\n"}},
          settings("GiveAWarningForASendBufferOfZero", "A=1\nMPICH_SOCKET_SBUFFER_SIZE=0\nB=2\n",
                   warning),
          settings("GiveAWarningForAnyZero", "MPICH_SOCKET_SBUFFER_SIZE= 00x\n", warning),
          settings("GiveAWarningInALineWithoutAnEnd", "MPICH_SOCKET_SBUFFER_SIZE=0", warning),
          settings("GiveTheWarningOnce",
                   "MPICH_SOCKET_SBUFFER_SIZE=x\nMPICH_SOCKET_SBUFFER_SIZE=0\n"
                   "MPICH_SOCKET_SBUFFER_SIZE=0\n",
                   warning),
          settings("MayBeNone", ""),
          settings("MayBeAnotherSize", "MPICH_SOCKET_SBUFFER_SIZE=65536\n"),
          settings("MayBeANegativeSize", "MPICH_SOCKET_SBUFFER_SIZE=-1\n"),
          settings("MayBeNoSize", "MPICH_SOCKET_SBUFFER_SIZE=\n"),
          settings("MayBeNoNumber", "MPICH_SOCKET_SBUFFER_SIZE=none\n"),
          settings("MayHaveAnotherName", "XMPICH_SOCKET_SBUFFER_SIZE=0\n"),
          settings("MayStandBehindABlank", " MPICH_SOCKET_SBUFFER_SIZE=0\n"),
          settings("MayStandBeforeABlank", "MPICH_SOCKET_SBUFFER_SIZE =0\n"),
          settings("MayBeInSmallLetters", "mpich_socket_sbuffer_size=0\n"),
          settings("AreTakenFromTheFirstLineWithANumber",
                   "MPICH_SOCKET_SBUFFER_SIZE=1\nA\nMPICH_SOCKET_SBUFFER_SIZE=0\n"),
      }};
}

namespace {

const std::string in_job = "{ms} -job 12.1 -dir .  -np 4  -machinefile ..\\machines {on head}{end}";

// The machine file of a job that the scheduler's tool describes so.
launch_case machines(const std::string &name, const std::string &answer, const std::string &file,
                     const std::string &processes = "4", const std::string &per_node = "2") {
  return {.name = name,
          .variables = {{"NP_PER_NODE", per_node}},
          .tools = {{"job.exe view 12 /scheduler:head", answer}},
          .arguments = {"--np=" + processes},
          .then = {.starts = {"{ms} -job 12.1 -dir .  -np " + processes +
                              "  -machinefile ..\\machines {on head}{end}"},
                   .files = {{"{world}\\machines", file}}}};
}

launch_case no_machines(const std::string &name, const std::string &answer) {
  return machines(name, answer, "");
}

}  // namespace

launch_family msmpi_machines_family() {
  auto given = on_this_machine();
  given.variables.insert(given.variables.end(), {{"USE_CCP", "head"},
                                                 {"CCP_JOB_ID", "12"},
                                                 {"NP_PER_NODE", "2"},
                                                 {"ZEPHON_HOSTS_FILE", "..\\machines"}});
  given.files.push_back({"{world}\\machines", "an earlier one\n"});
  given.then = {.asks = {"{listenvs}", "job view 12 /scheduler:head"}, .starts = {in_job}};
  const std::string three = "State : Running\nAllocated nodes : alpha beta gamma\n";
  return {
      .name = "MsmpiMachines",
      .words = words,
      .given = given,
      .rows = {
          machines("AreWrittenSoOftenUntilThereAreEnough", three, "alpha\nalpha\nbeta\nbeta\n"),
          machines("AreWrittenSoOftenAsEachMayHave", three, "alpha\nalpha\nalpha\nbeta\n", "4",
                   "3"),
          machines("MayBeTooFew", three, "alpha\nbeta\ngamma\n", "9", "1"),
          machines("MayBeMoreThanNeeded", three, "alpha\n", "1", "8"),
          machines("AreReadFromTheOtherSpelling", "AllocatedNodes                   : a\n", "a\n",
                   "1"),
          machines("AreReadFromTheFirstLine", "Allocated nodes : a\nAllocated nodes : b\n",
                   "a\na\n"),
          machines("AreSplitAtBlanksAlone", "Allocated nodes :   a,b  c\td   e  \n",
                   "a,b\nc\td\ne\n", "9", "1"),
          machines("BeginBehindTheFirstColon", "Allocated nodes:a:1 b", "a:1\nb\n", "9", "1"),
          machines("BeginBehindTheFirstColonInTheOtherSpelling", "AllocatedNodes:a:1 b", "a:1\nb\n",
                   "9", "1"),
          machines("DropEveryLineEnd", "Allocated nodes : a\r\r\n", "a\n", "1"),
          machines("DropALineFeedAlone", "x\r\nAllocated nodes : a\n", "a\n", "1"),
          machines("AreReadInPiecesOf1023Characters",
                   "Allocated nodes : " + std::string(1'005, 'n') + "more\n",
                   std::string(1'005, 'n') + "\n", "1"),
          no_machines("AreNoneInSmallLetters", "allocated nodes : a\n"),
          no_machines("AreNoneInOtherCapitals", "Allocated Nodes : a\n"),
          no_machines("AreNoneBehindABlank", " Allocated nodes : a\n"),
          no_machines("AreNoneWithAnotherName", "Nodes : a\nAllocatednodes : a\n"),
          no_machines("AreNoneWithoutAnAnswer", ""),
          no_machines("AreNoneWithoutNames", "Allocated nodes :\n"),
          no_machines("AreNoneWithBlanksForNames", "Allocated nodes :   \n"),
          no_machines("AreNoneWithoutAColon", "Allocated nodes\n"),
          machines("AreNoneWithNoProcessOnEach", three, "", "4", "0"),
          machines("AreNoneWithLessThanNoProcessOnEach", three, "", "4", "-2147483648"),
          machines("AreNoneWithoutProcesses", three, "", "0"),
          machines("AreNoneWithLessThanNoProcess", three, "", "-1"),
          {.name = "AreShownWithPtrace",
           .tools = {{"job.exe view", "100%s\nAllocatedNodes: alpha  beta\nmore\n"}},
           .arguments = {"--ptrace"},
           .then = {.output = "100%s\nAllocatedNodes: alpha  beta\n\nmachinefile ..\\machines\n",
                    .files = {{"{world}\\machines", "alpha\nalpha\nbeta\nbeta\n"}}}},
          {.name = "AreNotNamedWithoutTheirLine",
           .tools = {{"job.exe view", "State : Running\n"}},
           .arguments = {"--ptrace"},
           .then = {.output = "State : Running\n", .files = {{"{world}\\machines", ""}}}},
          {.name = "AreNotWrittenWithoutANumberForEach",
           .variables = {{"NP_PER_NODE", std::nullopt}},
           .then = {.asks = {"{listenvs}"}}},
          {.name = "AreNotWrittenWithoutAJob",
           .variables = {{"CCP_JOB_ID", std::nullopt}, {"RSH_USER", "jdoe"}},
           .then = {.asks = {"{listenvs}"},
                    .starts = none,
                    .output = "Unable to execute (null) {submit} /numprocessors:4{ms} -machinefile "
                              "..\\machines {on head}{end}\n{error 2}\n\n",
                    .status = 255}},
          {.name = "AreNotWrittenWithoutAHeadNode",
           .variables = {{"USE_CCP", std::nullopt}},
           .then = {.asks = none,
                    .starts = {"{ms} -np 4  -machinefile ..\\machines {path piece}{end}"}}},
          {.name = "StandBehindTheOptionsOfAJobAndTheUsersFolder",
           .variables = {{"NP_PER_NODE", std::nullopt},
                         {"CCP_JOB_ID", "42x"},
                         {"STD_DIR", "\\\\s\\my run"},
                         {"ZP_CCP_JOB_TEMPLATE", "t"},
                         {"ZP_CCP_NODE_GROUP", "g"},
                         {"ZEPHON_CRED_CHECK", std::nullopt},
                         {"CCP_USER_FLAGS", "/u"},
                         {"RSH_USER", "jdoe"}},
           .then = {.asks = {"{listenvs}"},
                    .starts = none,
                    .output = "\n***\n*** User defined: CCP_USER_FLAGS=/u\n***\n"
                              "Unable to execute (null) /jobtemplate:t  /nodegroup:g  /u {ms} -job "
                              "42x.1 -dir "
                              "\\\\s\\my run -np 4  -machinefile ..\\machines {on head}{end}\n"
                              "{error 2}\n\n",
                    .status = 255}},
      }};
}

}  // namespace cases
