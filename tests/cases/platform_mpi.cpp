// platform_mpi.cpp: the command lines of Platform MPI, its password, and its task of the
// scheduler.
//
// The folders are named from the current one on, so that none has a blank in it.
#include "cases/families.h"

namespace cases {

namespace {

const std::vector<word> words = {
    {"ibm", "..\\inc\\{mpis}\\ibmmpi"},
    {"mpirun", "{ibm}\\bin\\mpirun.exe"},
    {"check", "{mpirun} -pwcheck"},
    {"cache", "{mpirun} -cache cmd.exe /c ver"},
    {"begin", "\"{mpirun}\" -prot -e MPI_ROOT=\"{ibm}\" "},
    {"path piece",
     " -e PATH=\"..\\inc\\ntbin\\win64;..\\prod\\netweave\\mpi_wrapper\\win64\\ibmmpi\""},
    {"prod piece", " -e ZEPHON_PROD_DIR=\"..\\prod\""},
    {"end", "{path piece} -e MPI_WORKDIR=\"..\\inc\"{prod piece}  solver"},
    {"question",
     "The password is invalid for Platform MPI to launch jobs.\n"
     "Do you want to input your password now?"},
};

launch_case of_release() {
  return {.variables = {{"ZEPHON_INC", "..\\inc"},
                        {"ZEPHON_PROD_DIR", "..\\prod"},
                        {"TEMP", "..\\temp"},
                        {"USERNAME", "jdoe"}},
          .files = {{"{wrappers}\\ibmmpi\\mpi_wrapper.dll"},
                    {"{world}\\temp\\"},
                    {"{world}\\hosts", "alpha:2\nbeta:2\n"},
                    {"{world}\\plain hosts", "alpha\nbeta\n"}},
          .tools = {{"{mpi}\\ibmmpi\\bin\\mpirun.exe -pwcheck", "Cached password is valid\n"},
                    {"{mpi}\\ibmmpi\\bin\\mpirun.exe"}},
          .arguments = {"--r1.2.3", "--mpi=ibmmpi", "--np=4", "solver"},
          .then = {.starts = {"{begin} -np 4 {end}"}}};
}

// A run on this machine; the password is needed on others only.
launch_case interconnect(const std::string &name, const std::string &option,
                         const std::string &piece) {
  return {.name = "Interconnect" + name,
          .arguments = {"--ic=" + option},
          .then = {.starts = {"{begin}" + piece + " -np 4 {end}"}}};
}

launch_case program(const std::string &name, const std::string &product,
                    const std::string &pieces) {
  return {.name = "Program" + name,
          .variables = {{"ZEPHON_PROD", product}},
          .then = {.starts = {"{begin} -np 4 {path piece}" + pieces + "  solver"}}};
}

const std::string with_directory = " -e MPI_WORKDIR=\"..\\inc\"{prod piece}";

}  // namespace

launch_family platform_mpi_family() {
  return {
      .name = "PlatformMpi",
      .words = words,
      .given = of_release(),
      .rows = {
          {.name = "RunsWithoutHostFileAndScheduler",
           .variables = {{"MPI_ROOT", "C:\\other"}, {"ZEPHON_INC_LOCAL_RESERVED", "D:\\local"}},
           .then = {.variables = {{"MPI_ROOT", std::nullopt}}}},
          {.name = "HasEveryPieceInItsOrder",
           .variables = {{"ZEPHON_PROD", "lumis_acc"},
                         {"ZEPHON_HOSTS_FILE", "..\\hosts"},
                         {"ORBEX_DONT_CACHE_PASSWORD", ""},  // set is enough
                         {"ZEPHON_WORK_SIZE", "8"},
                         {"ZEPHON_WORK_UNIT", "2"},
                         {"QMX_ROOT", "D:\\qmx"},
                         {"QMX_ARCH", "win64"},
                         {"IBMMPI_USER_FLAGS", "-T %s%n%d%%"}},
           .arguments = {"--ic=ib", "--pathnode=D:\\node"},
           .then = {.starts =
                        {R"({begin}-IBAL  -hostfile "..\hosts"  -np 4  -e ZEPHON_WORK_SIZE=8  -e )"
                         R"(ZEPHON_WORK_UNIT=2  -e PATH="..\inc\ntbin\win64;D:\node;..\prod\)"
                         R"(netweave\mpi_wrapper\win64\ibmmpi;..\prod\netweave\gpu_wrapper\)"
                         R"(win64\stub" -e MPI_WORKDIR="..\inc" -intra=nic -e )"
                         R"(MPI_TCP_SELECT=1 -e MPI_FLAGS=y0 -e QMX_ROOT="D:\qmx" -e )"
                         R"(QMX_ARCH="win64"{prod piece} -T %s%n%d%%   solver)"},
                    .output = "\n***\n*** User defined: IBMMPI_USER_FLAGS=-T %s%n%d%%\n***\n"}},
          {.name = "QuotesValuesWithABlankTwice",
           .variables = {{"ZEPHON_INC", "..\\my inc\\..\\inc"},
                         {"QMX_ROOT", "D:\\my qmx"},
                         {"QMX_ARCH", "win 64"},
                         {"ZEPHON_PROD_DIR", "..\\my folder\\..\\prod"},
                         {"ORBEX_DONT_CACHE_PASSWORD", "1"}},
           .files = {{"{world}\\my inc\\"},
                     {"{world}\\my folder\\"},
                     {"{world}\\my hosts", "a:4\n"}},
           .arguments = {"--cnf=..\\my hosts", "a case.jou"},
           .then =
               {.starts =
                    {R"("..\my inc\{ibm}\bin\mpirun.exe" -prot -e MPI_ROOT="'..\my inc\{ibm}'"  )"
                     R"(-hostfile "..\my hosts"  -np 4  -e PATH="'..\my inc\..\inc\ntbin\)"
                     R"(win64;..\my folder\..\prod\netweave\mpi_wrapper\win64\ibmmpi'" )"
                     R"(-e MPI_WORKDIR="'..\my inc\..\inc'" -e QMX_ROOT="'D:\my qmx'" -e )"
                     R"(QMX_ARCH="win 64" -e ZEPHON_PROD_DIR="'..\my folder\..\prod'"  )"
                     R"(solver "a case.jou")"}}},
          {.name = "QuotesTheRemotePathTwiceWhenOnlyItsEndHasABlank",
           .arguments = {"--pathnode=D:\\my node"},
           .then = {.starts = {R"({begin} -np 4  -e PATH="'..\inc\ntbin\win64;D:\my node;..\prod\)"
                               R"(netweave\mpi_wrapper\win64\ibmmpi'" -e MPI_WORKDIR="..\inc")"
                               R"({prod piece}  solver)"}}},
          {.name = "BeginsTheRemotePathWithTheVariableOfTheMoment",
           .arguments = {"--path=..\\later"},
           .then =
               {.starts =
                    {R"({begin} -np 4  -e PATH="..\later\ntbin\win64;..\prod\netweave\)"
                     R"(mpi_wrapper\win64\ibmmpi" -e MPI_WORKDIR="..\inc"{prod piece}  solver)"}}},
          {.name = "RelativizesTheRemotePathBelowTheInstallation",
           .arguments = {"--pathnode=..\\inc\\node;..\\inc\\second"},
           .then =
               {.starts = {R"({begin} -np 4  -e PATH="..\inc\ntbin\win64;.\node;..\inc\second;)"
                           R"(..\prod\netweave\mpi_wrapper\win64\ibmmpi" -e MPI_WORKDIR="..\inc")"
                           R"({prod piece}  solver)"}}},
          {.name = "FormatsWhatIsUnknownAsNothing",
           .variables = {{"ZEPHON_INC", std::nullopt}, {"RSH_USER", "jdoe"}, {"ZEPHON_PROD", "x"}},
           .arguments = {"--r"},
           .then = {.starts = none,
                    .output =
                        "Unable to execute (null) "
                        "\"\\zephonlist\\netweave\\mpi\\win64\\ibmmpi\\bin\\mpirun.exe\" -prot "
                        "-e MPI_ROOT=\"\\zephonlist\\netweave\\mpi\\win64\\ibmmpi\"  -np 4  -e "
                        "PATH=\"\\ntbin\\win64;..\\prod\\netweave\\mpi_wrapper\\win64\\ibmmpi\""
                        "{prod piece}  solver\n{error 2}\n\n",
                    .status = 255}},
          {.name = "IsTracedAtItsBeginningAndWhenItIsFinished",
           .variables = {{"ZEPHON_STARTUP_DEBUG", "1"}},
           .then = {.output =
                        "\ngetenv(\"USE_CCP\") = (null) (..\\src\\mpirun:2763)\nsOptions.pre = "
                        "{begin} -np 4 {path piece} -e MPI_WORKDIR=\"..\\inc\"{prod piece} "
                        "(..\\src\\mpirun:2928)"}},
          interconnect("Ib", "ib", "-IBAL "),
          interconnect("Infiniband", "infiniband", "-IBAL "),
          interconnect("Myri", "myri", "-MX "),
          interconnect("Myrinet", "myrinet", "-MX "),
          interconnect("InfinibandInCapitals", "InfiniBand", ""),
          interconnect("IbInCapitals", "IB", ""),
          interconnect("MyriInCapitals", "MYRI", ""),
          interconnect("Ethernet", "ethernet", ""),
          interconnect("Default", "", ""),
          interconnect("LongerThanIb", "ibx", ""),
          program("Lumis", "lumis", with_directory),
          program("Beamtrace", "beamtrace", with_directory),
          program("Tessa", "tessa", "{prod piece}"),
          program("Tessa2", "tessa2", "{prod piece}"),
          program("TessaAcc", "tessa_acc", "{prod piece}"),
          program("InCapitals", "ZEPHON", "{prod piece}"),
          program("Longer", "zephon2", "{prod piece}"),
          program("ShorterThanAcc", "lumis_ac", "{prod piece}"),
          program("LongerThanAcc", "lumis_acc2", "{prod piece}"),
          program("Empty", "", "{prod piece}"),
          {.name = "ProgramUnset",
           .variables = {{"ZEPHON_PROD", std::nullopt}},
           .then = {.starts = {"{begin} -np 4 {path piece}{prod piece}  solver"}}},
          {.name = "LeavesTheWorkingDirectoryToTheUsersFlags",
           .variables = {{"IBMMPI_USER_FLAGS", "-e MPI_WORKDIR=C:\\here"}},
           .then =
               {.starts = {"{begin} -np 4 {path piece}{prod piece} -e MPI_WORKDIR=C:\\here   "
                           "solver"},
                .output =
                    "\n***\n*** User defined: IBMMPI_USER_FLAGS=-e MPI_WORKDIR=C:\\here\n***\n"}},

          // The root.
          {.name = "TakesTheUsersOwnRoot",
           .variables = {{"IBMMPI_ROOT", "..\\%s%n"}},
           .tools = {{"{world}\\%s%n\\bin\\mpirun.exe"}},
           .then =
               {.starts =
                    {"\"..\\%s%n\\bin\\mpirun.exe\" -prot -e MPI_ROOT=\"..\\%s%n\"  -np 4 {end}"},
                .output = "\n***\n*** User defined: IBMMPI_ROOT=..\\%s%n\n***\n"}},
          {.name = "TakesAnOwnRootWithABlank",
           .variables = {{"IBMMPI_ROOT", "..\\Platform MPI"}},
           .tools = {{"{world}\\Platform MPI\\bin\\mpirun.exe"}},
           .then = {.starts =
                        {"\"..\\Platform MPI\\bin\\mpirun.exe\" -prot -e MPI_ROOT=\"'..\\Platform "
                         "MPI'\"  -np 4 {end}"},
                    .output = "\n***\n*** User defined: IBMMPI_ROOT=..\\Platform MPI\n***\n"}},
          {.name = "TakesTheReleasesRootInsideAScheduledJob",
           .variables = {{"USE_CCP", "-1"},
                         {"CCP_JOB_ID", "17"},
                         {"IBMMPI_ROOT", "..\\own"},
                         {"ZEPHON_STARTUP_DEBUG", "1"}},
           .then = {.starts = {"{begin} -ccp  -np 4 {end}"},
                    .output =
                        "\ngetenv(\"USE_CCP\") = -1 (..\\src\\mpirun:2763)\nsOptions.pre = "
                        "{begin} -ccp  -np 4 {path piece} -e MPI_WORKDIR=\"..\\inc\"{prod piece} "
                        "(..\\src\\mpirun:2928)"}},

          // The hosts of a file.
          {.name = "SpreadsTheProcessesOverTheHosts",
           .variables = {{"ORBEX_DONT_CACHE_PASSWORD", "1"}, {"ZEPHON_AUTO_SPAWN", "1"}},
           .arguments = {"--cnf=..\\plain hosts"},
           .then = {.starts = {"{begin} -hostfile \"..\\temp\\zphost-{process}.txt\"  -np 4 {end}"},
                    .files = {{"{world}\\temp\\zphost-{process}.txt", "alpha:2\nbeta:2\n"}}}},
          {.name = "CopiesAHostFileWithCountsForSpawnedProcesses",
           .variables = {{"ORBEX_DONT_CACHE_PASSWORD", "1"},
                         {"ZEPHON_AUTO_SPAWN", "1"},
                         {"PARA_MESH_NPROCS", "1"}},
           .arguments = {"--cnf=..\\hosts"},
           .then =
               {.starts = {"{begin} -hostfile \"..\\temp\\zphosts-{process}.txt\"  -np 4 {end}"},
                .files = {{"{world}\\temp\\zphosts-{process}.txt", "alpha:1\nbeta:2\n\n"}},
                .variables = {{"ZEPHON_HOSTS_FILE", "..\\hosts"}}}},
          {.name = "EndsTheProgramWhenTheHostFileIsMissing",
           .variables = {{"ORBEX_DONT_CACHE_PASSWORD", "1"}},
           .arguments = {"--cnf=..\\%s%n%d%%"},
           .then = {.starts = none,
                    .errors = "\n Error:  Failed to open host file ..\\%s%n%d%%\n",
                    .status = 2}},
          {.name = "LeavesTheHostsToTheSchedulerInsideAScheduledJob",
           .variables = {{"USE_CCP", "-1"},
                         {"CCP_JOB_ID", "17"},
                         {"ORBEX_DONT_CACHE_PASSWORD", "1"}},
           .arguments = {"--cnf=..\\plain hosts"},
           .then = {.starts = {"{begin} -ccp  -np 4 {end}"}}},
      }};
}

namespace {

launch_case on_hosts() {
  auto given = of_release();
  given.variables.push_back({"ZEPHON_HOSTS_FILE", "..\\hosts"});
  given.then.starts = {"{begin} -hostfile \"..\\hosts\"  -np 4 {end}"};
  return given;
}

// The tool that checks the password answers so in turn, and then that it is valid.
std::vector<tool> answers(const texts &in_turn) {
  std::vector<tool> tools;
  for (const auto &answer : in_turn) {
    tools.push_back(
        {.command = "{mpi}\\ibmmpi\\bin\\mpirun.exe -pwcheck", .prints = answer, .times = 1});
  }
  return tools;
}

launch_case valid(const std::string &name, const std::string &answer) {
  return {.name = "IsValid" + name, .tools = answers({answer}), .then = {.asks = {"{check}"}}};
}

launch_case invalid(const std::string &name, const std::string &answer) {
  return {.name = "IsInvalid" + name,
          .tools = answers({answer}),
          .then = {.asks = {"{check}", "{cache}", "{check}"}}};
}

const tool never_valid = {"{mpi}\\ibmmpi\\bin\\mpirun.exe -pwcheck", "No password\n"};

// The user tries it again twice, and then the launch ends.
outcome given_up(const texts &asks) {
  return {.asks = asks,
          .starts = none,
          .output = "\nUser password has been inputed 3 times, but still wrong!\n\n",
          .boxes = {{"{question}", yes}, {"{question}", yes}},
          .status = 4};
}

}  // namespace

launch_family platform_mpi_password_family() {
  return {
      .name = "PlatformMpiPassword",
      .words = words,
      .given = on_hosts(),
      .rows = {
          {.name = "IsCheckedBeforeTheLaunch", .then = {.asks = {"{check}"}}},
          {.name = "IsNotNeededWithoutAHostFile",
           .variables = {{"ZEPHON_HOSTS_FILE", std::nullopt}},
           .then = {.starts = {"{begin} -np 4 {end}"}}},
          {.name = "IsCheckedWhenTheUserWantsThat",
           .variables = {{"ZEPHON_HOSTS_FILE", std::nullopt}},
           .arguments = {"--cache_password"},
           .then = {.asks = {"{check}"}, .starts = {"{begin} -np 4 {end}"}}},
          {.name = "IsNotCheckedWhenTheUserDoesNotWantThat",
           .variables = {{"ORBEX_DONT_CACHE_PASSWORD", "1"}}},
          {.name = "IsCheckedForTheLocalInstallation",
           .variables = {{"ZEPHON_INC_LOCAL_RESERVED", "..\\local"}},
           .tools = {{"{world}\\local\\{mpis}\\ibmmpi\\bin\\mpirun.exe -pwcheck",
                      "Cached password is valid\n"}},
           .then = {.asks = {"..\\local\\{mpis}\\ibmmpi\\bin\\mpirun.exe -pwcheck"}}},
          {.name = "IsAskedForInTheConsoleWithoutAQuestion",
           .tools = {{.command = "{mpi}\\ibmmpi\\bin\\mpirun.exe -pwcheck",
                      .prints = "No password\n",
                      .times = 1},
                     {"{mpi}\\ibmmpi\\bin\\mpirun.exe -cache", "Password: "}},
           .arguments = {"--ptrace"},  // which shows none of the commands
           .then = {.asks = {"{check}", "{cache}", "{check}"}, .output = "Password: "}},
          {.name = "IsAskedForAgainWhenTheUserAgrees",
           .tools = answers({"No password\n", "No password\n"}),
           .then = {.asks = {"{check}", "{cache}", "{check}", "{cache}", "{check}"},
                    .boxes = {{"{question}", yes}}}},
          {.name = "IsTakenTheThirdTime",
           .tools = answers({"No password\n", "No password\n", "No password\n"}),
           .then = {.asks = {"{check}", "{cache}", "{check}", "{cache}", "{check}", "{cache}",
                             "{check}"},
                    .boxes = {{"{question}", yes}, {"{question}", yes}}}},
          {.name = "EndsTheLaunchWhenTheUserSaysNo",
           .tools = {never_valid},
           .then = {.asks = {"{check}", "{cache}", "{check}"},
                    .starts = none,
                    .output = "\nUser chooses to skip password input, so launching stops!\n\n",
                    .boxes = {{"{question}", no}}}},
          {.name = "EndsTheLaunchAfterThreeTimes",
           .tools = {{.command = "{mpi}\\ibmmpi\\bin\\mpirun.exe -pwcheck", .status = 9}},
           .then = given_up(
               {"{check}", "{cache}", "{check}", "{cache}", "{check}", "{cache}", "{check}"})},
          {.name = "CannotBeCachedInAFolderWithABlank",
           .variables = {{"ZEPHON_INC", "..\\my inc"}},
           .tools = {{"{world}\\my inc\\{mpis}\\ibmmpi\\bin\\mpirun.exe", "No password\n"}},
           .then = given_up(texts(4, "\"..\\my inc\\{mpis}\\ibmmpi\\bin\\mpirun.exe\" -pwcheck"))},
          {.name = "LeavesARootWithAQuoteAsItIs",
           .variables = {{"ZEPHON_INC", "\"..\\my inc\""}},
           .tools = {{"{world}\\my inc\\{mpis}\\ibmmpi\\bin\\mpirun.exe", "No password\n"}},
           .then = given_up(texts(4, "\"..\\my inc\"\\{mpis}\\ibmmpi\\bin\\mpirun.exe -pwcheck"))},
          {.name = "CannotBeCachedWhenTheToolIsMissing",
           .variables = {{"ZEPHON_INC_LOCAL_RESERVED", "D:\\local"}},
           .then = given_up(texts(4, "D:\\local\\{mpis}\\ibmmpi\\bin\\mpirun.exe -pwcheck"))},
          valid("WithoutALineEnd", "Cached password is valid"),
          valid("InTheMiddleOfALine", "mpirun: Cached password is valid.\n"),
          valid("WhateverTheNextLineSays", "Cached password is valid\nreally not\n"),
          valid("AtTheEndOf1023Characters", std::string(999, ' ') + "Cached password is valid\n"),
          invalid("InSmallLetters", "cached password is valid\n"),
          invalid("WhenTheTextIsCut", "Cached password is\n"),
          invalid("InTheSecondLine", "Hello\nCached password is valid\n"),
          invalid("WithoutALine", ""),
          invalid("Behind1023Characters", std::string(1000, ' ') + "Cached password is valid\n"),
          {.name = "IsTraced",
           .variables = {{"ZEPHON_STARTUP_DEBUG", "1"}},
           .then = {.asks = {"{check}"},
                    .output =
                        "\ngetenv(\"USE_CCP\") = (null) (..\\src\\mpirun:2763)"
                        "\ncmd = {check} (..\\src\\mpirun:4151)\nsOptions.pre = {begin} "
                        "-hostfile \"..\\hosts\"  -np 4 {path piece} -e MPI_WORKDIR=\"..\\inc\""
                        "{prod piece} (..\\src\\mpirun:2928)"}},
      }};
}

namespace {

const std::string job_new = R"(job new /scheduler:head /jobname:"ORBEX ZEPHON" /numprocessors:4 )";
const std::string task_settings =
    R"( /scheduler:head /name:"ORBEX ZEPHON"{output files}{begin} -ccp  -np 4 {end})";

launch_case for_the_scheduler() {
  auto given = of_release();
  given.variables.insert(given.variables.end(), {{"USE_CCP", "head"}, {"ZEPHON_CRED_CHECK", "no"}});
  given.tools.push_back({"job.exe view", "State : Finished\n"});
  given.tools.push_back({"job.exe new", "Created job, ID: 23\n"});
  given.tools.push_back({"job.exe add", "added\n"});
  given.tools.push_back({"job.exe submit", "submitted\n"});
  given.then = {.starts = none};
  return given;
}

// A finished job is watched, each of its states asked for; job 0 is not.
texts watched(texts asks, const std::string &id) {
  asks.insert(asks.end(), id == "0" ? 0 : 6, "job view " + id + " /scheduler:head");
  return asks;
}

texts asks_of_job(const std::string &id) {
  return watched({job_new, "job add " + id + " /numprocessors:1-1" + task_settings,
                  "job submit /scheduler:head /id:" + id + " "},
                 id);
}

// A job that the scheduler's tool names so.
launch_case named(const std::string &name, const std::string &answer, const std::string &id) {
  return {.name = "IsNamed" + name,
          .tools = {{"job.exe new", answer}},
          .then = {.asks = asks_of_job(id),
                   .output = answer + "added\nsubmitted\n" +
                             (id == "0" ? "" : "Job " + id + " is Finished.\n")}};
}

// A job that was not made: the launch ends.
launch_case not_named(const std::string &name, const std::string &answer) {
  return {.name = "IsNotNamed" + name,
          .tools = {{"job.exe new", answer}},
          .then = {.asks = {job_new}, .output = answer}};
}

}  // namespace

launch_family platform_mpi_task_family() {
  std::string many_lines(200'000, 'x');
  for (int line = 0; line < 2'000; ++line) {
    many_lines += "\nline " + std::to_string(line);
  }
  many_lines += "\n";
  auto all_words = words;
  all_words.emplace_back("output files",
                         " /stdout:ZP%CCP_TASKCONTEXT%.jdoe.o /stderr:ZP%CCP_TASKCONTEXT%.jdoe.e ");
  return {
      .name = "PlatformMpiTask",
      .words = all_words,
      .given = for_the_scheduler(),
      .rows = {
          named("ByItsCreation", "Created job, ID: 23\n", "23"),
          named("ByTheQueue", "Job queued, ID: 9\n", "9"),
          named("FirstOfAll", "Hello\nCreated job, ID:\nCreated job, ID: 23\nJob queued, ID: 9\n",
                "23"),
          named("Zero", "Created job, ID: 0\nCreated job, ID: 5\n", "0"),
          not_named("AtAll", ""),
          not_named("ByASubmission", "Job has been submitted. ID: 23\n"),
          not_named("InTheMiddleOfALine", " Created job, ID: 23\n"),
          not_named("ByAnUnknownText", "100% %s\tlost \xFF\nno end"),
          {.name = "IsNotAddedToANegativeJob",
           .variables = {{"CCP_JOB_ID", "-1"}},
           .tools = {{"job.exe new", ""}},
           .then = {.asks = {"job new /scheduler:head /jobname:\"ORBEX ZEPHON\" /numprocessors:4 "
                             "/rununtilcanceled:true"}}},
          {.name = "GetsAJobForItsHosts",
           .variables = {{"ZEPHON_HOSTS_FILE", "alpha,beta"}, {"ORBEX_DONT_CACHE_PASSWORD", "1"}},
           .tools = {{"job.exe new", ""}},
           .then = {.asks = {job_new + " /askednodes:alpha,beta "}}},
          {.name = "GetsAJobForTheHostsOfAFile",
           .variables = {{"ORBEX_DONT_CACHE_PASSWORD", "1"}, {"RSH_USER", "jdoe"}},
           .files = {{"{world}\\hosts", "alpha\r\nalpha\r\nbeta"}},
           .tools = {{"job.exe new", ""}},
           .arguments = {"--cnf=..\\hosts"},
           .then = {.asks = {job_new + " /askednodes:alpha,beta "},
                    .output = "\nERROR in get_line: file is null!\n"
                              "\nERROR in get_line: file is null!\n\n"}},
          {.name = "GetsAJobWithEverySetting",
           .variables = {{"ZP_CCP_UNIT", "socket"},
                         {"ZP_CCP_JOB_TEMPLATE", "big"},
                         {"ZP_CCP_NODE_GROUP", "fast"},
                         {"CCP_USER_FLAGS", "/priority:High"},
                         {"ZEPHON_CRED_CHECK", std::nullopt},
                         {"ZP_CCP_JOB_COMMAND", "\"..\\my hpc\\job.exe\""},
                         {"ORBEX_DONT_CACHE_PASSWORD", "1"}},
           .tools = {{"{world}\\my hpc\\job.exe Check", "", "", 1},  // which does not matter
                     {"{world}\\my hpc\\job.exe new", ""}},
           .arguments = {"--cnf=..\\plain hosts"},
           .then =
               {.asks =
                    {R"(cmd.exe /c ""..\my hpc\job.exe" submit /scheduler:head /jobname:"ORBEX )"
                     R"(ZEPHON Credential Check"  /jobtemplate:big  /nodegroup:fast  )"
                     R"(/priority:High  cmd.exe /C ver")",
                     R"("..\my hpc\job.exe" new /scheduler:head /jobname:"ORBEX ZEPHON" )"
                     R"(/numsockets:4  /jobtemplate:big  /nodegroup:fast  /priority:High  )"
                     R"(/askednodes:alpha,beta )"},
                .output = "\n***\n*** User defined: CCP_USER_FLAGS=/priority:High\n***\n"
                          "\n***\n*** User defined: CCP_USER_FLAGS=/priority:High\n***\n"}},
          {.name = "ShowsItsJobForPtraceAndTraces",
           .variables = {{"ZEPHON_STARTUP_DEBUG", "1"}},
           .tools = {{"job.exe new", ""}},
           .arguments = {"--ptrace"},
           .then = {.asks = {job_new},
                    .output =
                        "\ngetenv(\"USE_CCP\") = head (..\\src\\mpirun:2763)\nbuf = " + job_new +
                        " (..\\src\\mpirun:2352)\ncmd = " + job_new + " (..\\src\\mpirun:4151)",
                    .errors = "\n" + job_new + "\n"}},
          {.name = "IsAddedToAnExistingJobWithEverySetting",
           .variables = {{"CCP_JOB_ID", "17"},
                         {"ZP_CCP_UNIT", "node"},
                         {"STD_DIR", "\\\\server\\share\\"},
                         {"ZP_CCP_JOB_TEMPLATE", "big"},  // belongs to the job
                         {"ZP_CCP_NODE_GROUP", "fast"},
                         {"IBMMPI_ROOT", "..\\own"},
                         {"CCP_USER_FLAGS", "/env:A=1"}},
           .arguments = {"--ic=myrinet", "a case.jou"},
           .then = {.asks = watched(
                        {R"(job add 17 /numnodes:1-1 /scheduler:head /name:"ORBEX ZEPHON" )"
                         R"(/workdir:"\\server\share\."{output files} /env:A=1 )"
                         R"("..\own\bin\mpirun.exe" -prot -e MPI_ROOT="..\own" -MX  -ccp  -np 4 )"
                         R"({end} "a case.jou")"},
                        "17"),
                    .output = "\n***\n*** User defined: IBMMPI_ROOT=..\\own\n***\n"
                              "\n***\n*** User defined: CCP_USER_FLAGS=/env:A=1\n***\nadded\nJob "
                              "17 is Finished.\n"}},
          {.name = "IsOnlyAddedToTheJobOfAnotherVariable",
           .variables = {{"CCP_JOBID", "23"}},
           .then = {.asks =
                        watched({job_new, "job add 23 /numprocessors:1-1" + task_settings}, "23"),
                    .output = "Created job, ID: 23\nadded\nJob 23 is Finished.\n"}},
          {.name = "IsReleasedBeforeItIsWatched",
           .variables = {{"CANCEL_CCP_JOB_EXIT1", "job modify 23"}},
           .tools = {{"job.exe add", many_lines}},
           .then = {.asks = watched({job_new, "job add 23 /numprocessors:1-1" + task_settings,
                                     "job submit /scheduler:head /id:23 ", "job modify 23"},
                                    "23"),
                    .output =
                        "Created job, ID: 23\n" + many_lines + "submitted\nJob 23 is Finished.\n",
                    .variables = {{"CANCEL_CCP_JOB_EXIT1", std::nullopt}}}},
          {.name = "IsTracedToItsEnd",
           .variables = {{"ZEPHON_STARTUP_DEBUG", "1"}},
           .tools = {{"job.exe new", "Created job, ID: 0\n"}},
           .then = {.asks = asks_of_job("0"),
                    .output =
                        "\ngetenv(\"USE_CCP\") = head (..\\src\\mpirun:2763)\nbuf = " + job_new +
                        " (..\\src\\mpirun:2352)\ncmd = " + job_new +
                        " (..\\src\\mpirun:4151)Created job, ID: 0\n\nsOptions.pre = job add 0 "
                        "/numprocessors:1-1 /scheduler:head /name:\"ORBEX ZEPHON\"{output files}"
                        "{begin} -ccp  -np 4 {path piece} -e MPI_WORKDIR=\"..\\inc\"{prod piece} "
                        "(..\\src\\mpirun:2928)\ncmd = job add 0 /numprocessors:1-1" +
                        task_settings +
                        " (..\\src\\mpirun:4151)added\n\nargs = job submit /scheduler:head /id:0  "
                        "(..\\src\\mpirun:3432)\ncmd = job submit /scheduler:head /id:0  "
                        "(..\\src\\mpirun:4151)submitted\n"}},
          {.name = "TakesAJobThatIsNoNumberForJobZero",
           .variables = {{"CCP_JOB_ID", "none"}},
           .then = {.asks = {"job add 0 /numprocessors:1-1" + task_settings}, .output = "added\n"}},
      }};
}

}  // namespace cases
