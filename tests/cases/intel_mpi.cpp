// intel_mpi.cpp: the command lines of Intel MPI, its service, its password, and its task of
// the scheduler.
//
// The folders are named from the current one on, so that none has a blank in it.
#include "cases/families.h"

namespace cases {

namespace {

const std::vector<word> words = {
    {"intel", "..\\inc\\{mpis}\\intel"},
    {"mpiexec", "{intel}\\bin\\mpiexec.exe "},
    {"local", " -localroot -localonly -genv I_MPI_DEVICE shm"},
    {"prod piece", " -genv ZEPHON_PROD_DIR \"..\\prod\""},
    {"end", "{prod piece} -genv I_MPI_PIN enable   solver"},
    {"folders", "{intel}\\bin;..\\prod\\netweave\\mpi_wrapper\\win64\\intel;..\\inc\\ntbin\\win64"},
    {"status", "{intel}\\bin\\smpd.exe -status"},
    {"validate", "{intel}\\bin\\mpiexec.exe -validate"},
    {"register", "{intel}\\bin\\mpiexec.exe -register"},
    {"asks", "\nChecking the status of SMPD for INTEL MPI on the local machine ..."},
    {"runs", "{asks} smpd running on ALPHA\n"},
    {"unchecked",
     "\n***\n*** User defined: ZEPHON_CRED_CHECK=no\n"
     "*** Skipping credential validation!\n***\n"},
    {"question",
     "The password is invalid for INTEL MPI to launch jobs.\n"
     "Do you want to input your password now?"},
};

launch_case of_release() {
  return {.variables = {{"ZEPHON_INC", "..\\inc"},
                        {"ZEPHON_PROD_DIR", "..\\prod"},
                        {"COMPUTERNAME", "ALPHA"},
                        {"TEMP", "..\\temp"}},
          .files = {{"{wrappers}\\intel\\mpi_wrapper.dll"},
                    {"{world}\\temp\\"},
                    {"{world}\\hosts", "alpha:2\nbeta:2\n"}},
          .tools = {{"{mpi}\\intel\\bin\\mpiexec.exe -validate", "SUCCESS\n"},
                    {"{mpi}\\intel\\bin\\mpiexec.exe"},
                    {"{mpi}\\intel\\bin\\smpd.exe -status", "smpd running on ALPHA\n"},
                    {"{mpi}\\intel\\bin\\smpd.exe"}},
          .arguments = {"--r1.2.3", "--mpi=intel", "--np=4", "solver"},
          .then = {.starts = {"{mpiexec} -n 4 {local}{end}"}}};
}

launch_case affinity(const std::string &name, const std::string &setting) {
  return {.name = "LeavesPinningToIntelMpiFor" + name,
          .variables = {{"ZEPHON_AFFINITY", setting}},
          .then = {.variables = {{"ZEPHON_AFFINITY", "0"}}}};
}

launch_case without_wait_mode(const std::string &name, const std::string &program) {
  return {.name = "WaitsActivelyAs" + name, .variables = {{"ZEPHON_PROD", program}}};
}

// Hosts of a file, whose service and password are not asked for.
launch_case on_hosts(const std::string &name, const texts &arguments, const std::string &pieces) {
  return {.name = name,
          .variables = {{"ZEPHON_HOSTS_FILE", "..\\hosts"}, {"ZEPHON_CRED_CHECK", "no"}},
          .arguments = arguments,
          .then = {.starts = {"{mpiexec}" + pieces}, .output = "{unchecked}"}};
}

launch_case device(const std::string &name, const std::string &interconnect,
                   const std::string &device) {
  return on_hosts("UsesItsDeviceFor" + name, {"--ic=" + interconnect},
                  " -machinefile \"..\\hosts\"  -n 4  -genv I_MPI_DEVICE " + device + "{end}");
}

// A host file of this content for three processes: whether the run is a local one.
launch_case hosts(const std::string &name, const std::string &content, bool local) {
  auto row = on_hosts(
      name, {"--cnf=..\\these", "--np=3"},
      std::string(" -machinefile \"..\\these\"  -n 3 ") + (local ? "{local}" : "") + "{end}");
  row.files = {{"{world}\\these", content}};
  return row;
}

}  // namespace

launch_family intel_mpi_family() {
  return {
      .name = "IntelMpi",
      .words = words,
      .given = of_release(),
      .rows = {
          {.name = "RunsLocallyWithoutAHostFile",
           .variables = {{"ZEPHON_STARTUP_DEBUG", "1"}},
           .then = {.output = "\nbuf = {mpiexec} -n 4 {local}{prod piece} -genv I_MPI_PIN enable  "
                              "(..\\src\\mpirun:3167)",
                    .variables = {{"SMPD_OPTION_BINARY", "{intel}\\bin\\smpd.exe"},
                                  {"ZEPHON_AFFINITY", "0"},
                                  {"PATH", "{folders}{path};"}}}},
          {.name = "HasEveryPieceInItsOrder",
           .variables = {{"ZEPHON_PROD", "lumis_acc"},
                         {"QMX_ROOT", "D:\\qmx"},
                         {"QMX_ARCH", "win64"},
                         {"ZEPHON_AFFINITY", "1"},
                         {"INTELMPI_USER_FLAGS", "-genv A 1  -l"}},
           .arguments = {"--np=12", "--ic=ib"},
           .then = {.starts = {R"({mpiexec} -n 12 {local} -genv QMX_ROOT "D:\qmx" -genv QMX_ARCH )"
                               R"("win64"{prod piece} -genv I_MPI_PIN disable  -genv )"
                               R"(I_MPI_WAIT_MODE enable  -genv A 1  -l   solver)"},
                    .output = "\n***\n*** User defined: INTELMPI_USER_FLAGS=-genv A 1  -l\n***\n",
                    .variables = {{"ZEPHON_AFFINITY", "1"}}}},
          {.name = "QuotesValuesWithABlankTwiceButNotItsOwnPath",
           .variables = {{"ZEPHON_INC", "..\\my inc"},
                         {"QMX_ROOT", "D:\\my qmx"},
                         {"QMX_ARCH", "win 64"},
                         {"ZEPHON_PROD_DIR", "..\\my folder\\..\\prod"}},
           .files = {{"{world}\\my folder\\"}},
           .tools = {{"{world}\\my inc\\{mpis}\\intel\\bin\\mpiexec.exe"}},
           .arguments = {"a case.jou"},
           .then =
               {.starts = {R"(..\my inc\{mpis}\intel\bin\mpiexec.exe  -n 4 )"
                           R"({local} -genv QMX_ROOT "'D:\my qmx'" -genv QMX_ARCH "win 64" -genv )"
                           R"(ZEPHON_PROD_DIR "'..\my folder\..\prod'" -genv I_MPI_PIN enable   )"
                           R"(solver "a case.jou")"}}},
          {.name = "FormatsWhatIsUnknownAsNothing",
           .variables = {{"ZEPHON_INC", std::nullopt},
                         {"ZEPHON_PROD", std::nullopt},
                         {"RSH_USER", "jdoe"}},
           .then = {.starts = none,
                    .output = "Unable to execute (null) \\{mpis}\\intel\\bin\\mpiexec.exe  -n 4 "
                              "{local}{end}\n{error 2}\n\n",
                    .status = 255}},
          {.name = "TakesOnlyTheServiceFromTheLocalRoot",
           .variables = {{"ZEPHON_INC_LOCAL_RESERVED", "D:\\local"}},
           .then = {.variables = {{"SMPD_OPTION_BINARY", "D:\\local\\{mpis}\\intel\\bin\\smpd.exe"},
                                  {"PATH", "{folders}{path};"}}}},
          {.name = "PutsTheRemotePathIntoThePath",
           .arguments = {"--pathnode=C:\\node;D:\\node", "--path=C:\\later"},
           .then = {.variables = {{"PATH",
                                   "{intel}\\bin;C:\\node;D:\\node;..\\prod\\netweave\\"
                                   "mpi_wrapper\\win64\\intel;..\\inc\\ntbin\\win64{path};"}}}},
          affinity("Zero", "0"),
          affinity("Two", "2"),
          affinity("Nothing", ""),
          affinity("Eleven", "11"),
          affinity("ABlankBeforeIt", " 1"),
          affinity("AWord", "yes"),
          without_wait_mode("Lumis", "lumis"),
          without_wait_mode("Tessa", "tessa"),
          without_wait_mode("TessaAcc", "tessa_acc"),
          without_wait_mode("LumisAccInCapitals", "LUMIS_ACC"),
          without_wait_mode("ALongerName", "lumis_acc2"),

          // The hosts of a file.
          on_hosts("RunsOnTheHostsOfAFile", {}, " -machinefile \"..\\hosts\"  -n 4 {end}"),
          {.name = "QuotesTheHostFile",
           .files = {{"{world}\\my hosts", "alpha:2\nbeta:2\n"}},
           .arguments = {"--cred_check=NO", "--cnf=..\\my hosts"},
           .then = {.starts = {"{mpiexec} -machinefile \"..\\my hosts\"  -n 4 {end}"},
                    .output = "\n***\n*** User defined: ZEPHON_CRED_CHECK=NO\n"
                              "*** Skipping credential validation!\n***\n"}},
          {.name = "SpreadsTheProcessesOverTheHosts",
           .variables = {{"ZEPHON_CRED_CHECK", "no"}},
           .files = {{"{world}\\hosts", "alpha\nbeta\n"}},
           .arguments = {"--cnf=..\\hosts"},
           .then =
               {.starts = {"{mpiexec} -machinefile \"..\\temp\\zphost-{process}.txt\"  -n 4 {end}"},
                .output = "{unchecked}",
                .files = {{"{world}\\temp\\zphost-{process}.txt", "alpha:2\nbeta:2\n"}}}},
          {.name = "SpreadsTheProcessesBeforeItAsksForAPassword",
           .arguments = {"--cnf=..\\none"},
           .then = {.starts = none,
                    .errors = "\n Error:  Failed to open host file ..\\none\n",
                    .status = 2}},
          device("Ib", "ib", "rdssm"),
          device("Infiniband", "infiniband", "rdssm"),
          device("IbInCapitals", "IB", "ssm"),
          device("InfinibandWithACapital", "Infiniband", "ssm"),
          device("IbAndABlank", "ib ", "ssm"),
          device("Myri", "myri", "ssm"),
          device("TheDefault", "", "ssm"),
          hosts("RunsLocallyWithALineForEachProcess", "alpha\nALPHA\nalpha\n", true),
          hosts("DoesNotRunLocallyWhenAnotherHostFollows", "alpha\nbeta\nalpha\n", false),
      }};
}

namespace {

launch_case with_service() {
  auto given = of_release();
  given.variables.push_back({"ZEPHON_HOSTS_FILE", "..\\hosts"});
  given.then = {.asks = {"{status}", "{validate}"},
                .starts = {"{mpiexec} -machinefile \"..\\hosts\"  -n 4 {end}"}};
  return given;
}

// The service answers so.
launch_case runs(const std::string &name, const std::string &answer, const std::string &said) {
  return {.name = "Runs" + name,
          .tools = {{"{mpi}\\intel\\bin\\smpd.exe -status", answer}},
          .then = {.output = "{asks}" + said}};
}

launch_case is_missing(const std::string &name, const std::string &answer) {
  auto row = runs("", answer, " " + answer + "\nSuccessfully started the SMPD for INTEL MPI!\n");
  row.name = "IsStarted" + name;
  row.then.starts = {"{intel}\\bin\\smpd.exe -d 0",
                     "{mpiexec} -machinefile \"..\\hosts\"  -n 4 {end}"};
  return row;
}

// The tool that checks the password answers so.
launch_case valid(const std::string &name, const std::string &answer) {
  return {.name = "TakesForValid" + name,
          .tools = {{"{mpi}\\intel\\bin\\mpiexec.exe -validate", answer}},
          .then = {.output = "{runs}"}};
}

launch_case invalid(const std::string &name, const std::string &answer) {
  return {.name = "TakesForInvalid" + name,
          .tools = {{.command = "{mpi}\\intel\\bin\\mpiexec.exe -validate",
                     .prints = answer,
                     .times = 1}},
          .then = {.asks = {"{status}", "{validate}", "{register}", "{validate}"},
                   .output = "{runs}\nUser password encrypted into the Registry.\n"}};
}

launch_case checked(const std::string &name, const std::string &setting) {
  return {.name = "IsAskedFor" + name,
          .variables = {{"ZEPHON_CRED_CHECK", setting}},
          .then = {.output = "{runs}"}};
}

}  // namespace

launch_family intel_mpi_service_family() {
  return {
      .name = "IntelMpiService",
      .words = words,
      .given = with_service(),
      .rows = {
          {.name = "IsAskedAndThenThePassword",
           .variables = {{"ZEPHON_INC_LOCAL_RESERVED", "D:\\my local"}},  // has a blank: not taken
           .then = {.output = "{runs}", .variables = {{"SMPD_OPTION_BINARY", std::nullopt}}}},
          {.name = "IsThatOfTheLocalRoot",
           .variables = {{"ZEPHON_INC_LOCAL_RESERVED", "..\\local"}},
           .tools = {{"{world}\\local\\{mpis}\\intel\\bin\\smpd.exe", "smpd running on ALPHA\n"},
                     {"{world}\\local\\{mpis}\\intel\\bin\\mpiexec.exe", "SUCCESS\n"}},
           .then = {.asks = {"..\\local\\{mpis}\\intel\\bin\\smpd.exe -status",
                             "..\\local\\{mpis}\\intel\\bin\\mpiexec.exe -validate"},
                    .output = "{runs}"}},
          {.name = "MayBeSilentOrFail",
           .tools = {{.command = "{mpi}\\intel\\bin\\smpd.exe", .status = 3},
                     {.command = "{mpi}\\intel\\bin\\mpiexec.exe -validate", .status = 4}},
           .then = {.output = "{asks}"}},
          is_missing("WhenItIsMissing", "no smpd running on ALPHA\n"),
          is_missing("ForSevenCharacters", "no smpd"),
          runs("WithoutTheSeventhCharacter", "no smp\n", " no smp\n"),
          runs("ForThemInTheMiddle", "there is no smpd\n", " there is no smpd\n"),
          runs("ForCapitals", "No smpd running\n", " No smpd running\n"),
          runs("ForThemInTheSecondLine", "one\nno smpd running\n", " one\n"),
          runs("AndShowsAtMost1023Characters", std::string(3'000, 'x') + "\n",
               " " + std::string(1'023, 'x')),
          runs("AndShowsEveryByteAsItIs", "100% %s \xFF\n", " 100% %s \xFF\n"),
          {.name = "IsTraced",
           .variables = {{"ZEPHON_STARTUP_DEBUG", "1"}},
           .tools = invalid("", "FAIL\n").tools,
           .then = {.asks = {"{status}", "{validate}", "{register}", "{validate}"},
                    .output = "{asks}\ncmd = {status} (..\\src\\mpirun:4151) smpd running on "
                              "ALPHA\n\ncmd = {validate} (..\\src\\mpirun:4151)"
                              "\ncmd = {validate} (..\\src\\mpirun:4151)"
                              "\nUser password encrypted into the Registry.\n"
                              "\nbuf = {mpiexec} -machinefile \"..\\hosts\"  -n 4 {prod piece} "
                              "-genv I_MPI_PIN enable  (..\\src\\mpirun:3167)"}},
          checked("AnEmptySetting", ""),
          checked("AShorterSetting", "n"),
          checked("ALongerSetting", "no "),
          {.name = "IsQuotedBeforeTheProgramInAFolderWithABlank",
           .variables = {{"ZEPHON_INC", "..\\my inc"}},
           .tools = {{"{world}\\my inc\\{mpis}\\intel\\bin\\smpd.exe -status",
                      "smpd running on ALPHA\n"},
                     {"{world}\\my inc\\{mpis}\\intel\\bin\\mpiexec.exe"}},
           .then = {.asks = {"\"..\\my inc\\{mpis}\\intel\\bin\"\\smpd.exe -status",
                             "\"..\\my inc\\{mpis}\\intel\\bin\"\\mpiexec.exe -validate"},
                    .starts = {"..\\my inc\\{mpis}\\intel\\bin\\mpiexec.exe  -machinefile "
                               "\"..\\hosts\"  -n 4 {end}"},
                    .output = "{runs}"}},
          {.name = "AsksForThePasswordInTheConsole",
           .tools = {{.command = "{mpi}\\intel\\bin\\mpiexec.exe -validate",
                      .prints = "FAIL\n",
                      .times = 1},
                     {.command = "{mpi}\\intel\\bin\\mpiexec.exe -register",
                      .prints = "password: ",
                      .status = 1}},
           .then = {.asks = {"{status}", "{validate}", "{register}", "{validate}"},
                    .output = "{runs}password: \nUser password encrypted into the Registry.\n"}},
          {.name = "AsksForThePasswordAgain",
           .tools = {{.command = "{mpi}\\intel\\bin\\mpiexec.exe -validate",
                      .prints = "Unable to read\n",
                      .times = 2}},
           .then = {.asks = {"{status}", "{validate}", "{register}", "{validate}", "{register}",
                             "{validate}"},
                    .output = "{runs}\nUser password encrypted into the Registry.\n",
                    .boxes = {{"{question}", yes}}}},
          valid("Silence", ""),
          valid("LessThanFail", "FAI\n"),
          valid("FailInTheMiddle", "It did FAIL\n"),
          valid("LessThanUnable", "unabl\n"),
          valid("UnableInTheMiddle", "was Unable\n"),
          valid("FailureWithACapital", "logon Failure\n"),
          valid("WhateverStandsInTheSecondLine", "\nFAIL\n"),
          invalid("FailInTheFirstLine", "FAIL\nSUCCESS\n"),
          invalid("FailInSmallLetters", "fail: no credentials\n"),
          invalid("UnableInCapitals", "UNABLE"),
          invalid("FailureInTheMiddle", "logon failure: unknown user\n"),
          {.name = "TakesTheThirdPassword",
           .tools = {{.command = "{mpi}\\intel\\bin\\mpiexec.exe -validate",
                      .prints = "FAIL\n",
                      .times = 3}},
           .then = {.asks = {"{status}", "{validate}", "{register}", "{validate}", "{register}",
                             "{validate}", "{register}", "{validate}"},
                    .output = "{runs}\nUser password encrypted into the Registry.\n",
                    .boxes = {{"{question}", yes}, {"{question}", yes}}}},
          {.name = "EndsTheLaunchWhenTheUserSaysNo",
           .tools = {{"{mpi}\\intel\\bin\\mpiexec.exe -validate", "logon failure\n"}},
           .then = {.asks = {"{status}", "{validate}", "{register}", "{validate}"},
                    .starts = none,
                    .output = "{runs}",
                    .boxes = {{"{question}", no}}}},
          {.name = "EndsTheLaunchAfterThreeTimes",
           .tools = {{"{mpi}\\intel\\bin\\mpiexec.exe -validate", "FAIL\n"}},
           .then = {.asks = {"{status}", "{validate}", "{register}", "{validate}", "{register}",
                             "{validate}", "{register}", "{validate}"},
                    .starts = none,
                    .output =
                        "{runs}\nUser password has been inputed 3 times, but still wrong!\n\n",
                    .boxes = {{"{question}", yes}, {"{question}", yes}},
                    .status = 4}},
      }};
}

namespace {

// A job that is finished when it is looked at.
launch_case for_the_scheduler() {
  auto given = of_release();
  given.variables.insert(given.variables.end(),
                         {{"USE_CCP", "head"}, {"USERNAME", "jdoe"}, {"ZEPHON_CRED_CHECK", "no"}});
  given.tools.insert(given.tools.end(), {{"job.exe view", "State : Finished\n"}, {"job.exe"}});
  return given;
}

// The task is added to job 17, which is watched.
launch_case in_job_17(const std::string &name, const std::string &head, const std::string &unit,
                      const std::vector<variable> &variables = {}) {
  launch_case row = {.name = name, .variables = {{"CCP_JOB_ID", "17"}, {"USE_CCP", head}}};
  row.variables.insert(row.variables.end(), variables.begin(), variables.end());
  row.then = {
      .asks = texts(6, "job view 17 /scheduler:" + head),
      .starts = {"job add 17 /scheduler:" + head + " /name:\"ORBEX ZEPHON\" /exclusive:false /" +
                 unit + ":4{output files}{mpiexec}{hosts of job}{end}"},
      .output = "Job 17 is Finished.\n"};
  return row;
}

}  // namespace

launch_family intel_mpi_task_family() {
  auto all_words = words;
  all_words.insert(
      all_words.end(),
      {{"submit", R"(job submit /scheduler:head /jobname:"ORBEX ZEPHON" /exclusive:false)"},
       {"output files", " /stdout:ZP%CCP_TASKCONTEXT%.jdoe.o /stderr:ZP%CCP_TASKCONTEXT%.jdoe.e "},
       {"hosts of job", " -hosts %CCP_NODES%  -n 4 "}});
  return {
      .name = "IntelMpiTask",
      .words = all_words,
      .given = for_the_scheduler(),
      .rows = {
          {.name = "IsAJobOfItsOwn",
           .then =
               {.starts = {"{submit} /numprocessors:4{output files}{mpiexec}{hosts of job}{end}"}}},
          {.name = "HasEveryPieceInItsOrder",
           .variables = {{"ZEPHON_CRED_CHECK", std::nullopt},
                         {"ZP_CCP_UNIT", "node"},
                         {"STD_DIR", "\\\\server\\share"},
                         {"ZP_CCP_JOB_TEMPLATE", "big"},
                         {"ZP_CCP_NODE_GROUP", "fast"},
                         {"CCP_USER_FLAGS", "/priority:High"}},
           .tools = {{"cmd.exe /c job submit"}},
           .arguments = {"--ic=infiniband"},
           .then = {.asks = {R"(cmd.exe /c job submit /scheduler:head /jobname:"ORBEX ZEPHON )"
                             R"(Credential Check"  /jobtemplate:big  /nodegroup:fast  )"
                             R"(/priority:High  cmd.exe /C ver)"},
                    .starts = {R"({submit} /numnodes:4 /workdir:"\\server\share"{output files} )"
                               R"(/jobtemplate:big  /nodegroup:fast  /priority:High {mpiexec})"
                               R"({hosts of job} -genv I_MPI_DEVICE rdssm{end})"},
                    .output = "\n***\n*** User defined: CCP_USER_FLAGS=/priority:High\n***\n"
                              "\n***\n*** User defined: CCP_USER_FLAGS=/priority:High\n***\n"}},
          in_job_17("IsAddedToAnExistingJobWithoutItsOptions", "head", "numcores",
                    {{"ZP_CCP_UNIT", "core"},
                     {"ZP_CCP_JOB_TEMPLATE", "big"},
                     {"ZP_CCP_NODE_GROUP", "fast"}}),
          in_job_17("IsAddedToItsJobInsideAJob", "-1", "numprocessors"),
          {.name = "TakesAJobThatIsNoNumberForJobZero",
           .variables = {{"CCP_JOB_ID", "seventeen"}},
           .then = {.starts = {R"(job add 0 /scheduler:head /name:"ORBEX ZEPHON" /exclusive:false )"
                               R"(/numprocessors:4{output files}{mpiexec}{hosts of job}{end})"}}},
          {.name = "TakesAHostFileThatDoesNotOpenForNone",
           .arguments = {"--cnf=..\\none"},
           .then =
               {.starts = {"{submit} /numprocessors:4{output files}{mpiexec}{hosts of job}{end}"}}},
          {.name = "StandsRightBehindTheCountWithAHostFile",
           .arguments = {"--cnf=..\\hosts"},
           .then = {.starts = {"{submit} /numprocessors:4{mpiexec} -n 4 {end}"}}},
          {.name = "StandsAloneInAnExistingJobWithAHostFile",
           .variables = {{"CCP_JOB_ID", "17"}},
           .arguments = {"--cnf=..\\hosts"},
           .then = {.starts = {"{mpiexec} -n 4 {end}"}}},
          {.name = "StandsBehindTheOptionsOfAJobInAnExistingJobWithAHostFile",
           .variables = {{"CCP_JOB_ID", "17"},
                         {"ZP_CCP_JOB_TEMPLATE", "big"},
                         {"RSH_USER", "jdoe"}},
           .arguments = {"--cnf=..\\hosts"},
           .then = {.starts = none,
                    .output = "Unable to execute (null) /jobtemplate:big {mpiexec} -n 4 {end}\n"
                              "{error 2}\n\n",
                    .status = 255}},
      }};
}

}  // namespace cases
