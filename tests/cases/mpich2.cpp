// mpich2.cpp: the command lines of MPICH2, the search for its installation, and the
// questions to its service.
//
// The folders are named from the current one on, so that none has a blank in it.
#include "cases/families.h"

namespace cases {

namespace {

const std::string own_shown =
    "\n***\n*** User defined: MPICH2_HOME=..\\own\n"
    "*** Make sure the same MPICH2 version is installed on all the used machines!\n***\n";

const std::string checking =
    "\nChecking the status of SMPD for INTEL MPI on the local machine ... smpd running on ALPHA\n";

const std::vector<word> words = {
    {"mpich2", "..\\inc\\{mpis}\\mpich2"},
    {"mpiexec", "{mpich2}\\bin\\mpiexec.exe "},
    {"behind lib", ";..\\prod\\netweave\\mpi_wrapper\\win64\\mpich2;..\\inc\\ntbin\\win64"},
    {"remote path", " -env PATH \"{mpich2}\\lib{behind lib}\" "},
    {"question",
     "The password is invalid for INTEL MPI to launch jobs.\n"
     "Do you want to input your password now?"},
};

launch_case of_release() {
  return {.variables = {{"ZEPHON_INC", "..\\inc"}, {"ZEPHON_PROD_DIR", "..\\prod"}},
          .files = {{"{wrappers}\\mpich2\\mpi_wrapper.dll"},
                    {"{world}\\hosts", "alpha\nbeta\n"},
                    {"{world}\\my hosts", "alpha\nbeta\n"},
                    {"{world}\\one", "alpha\nalpha\n"}},
          .tools = {{"{mpi}\\mpich2\\bin\\mpiexec.exe -validate", "SUCCESS\n"},
                    {"{mpi}\\mpich2\\bin\\mpiexec.exe"},
                    {"{mpi}\\mpich2\\bin\\smpd.exe -status", "smpd running on ALPHA\n"}},
          .arguments = {"--r1.2.3", "--mpi=mpich2", "--np=4", "solver"},
          .then = {.starts = {"{mpiexec} -localonly  -np 4  -channel shm  solver"}}};
}

}  // namespace

launch_family mpich2_family() {
  return {
      .name = "Mpich2",
      .words = words,
      .given = of_release(),
      .rows = {
          {.name = "RunsLocallyWithoutAHostFile",
           .variables = {{"ZEPHON_STARTUP_DEBUG", "1"},  // nothing is traced
                         {"ZEPHON_INC_LOCAL_RESERVED", "D:\\local"}},
           .then = {.variables = {{"PATH", "{path};{mpich2}\\lib{behind lib}"}}}},
          {.name = "HasEveryPieceInItsOrder",
           .variables = {{"ZEPHON_WORK_SIZE", "8"},
                         {"ZEPHON_WORK_UNIT", "2.5"},
                         {"MPICH2_CHANNEL", "sock"},
                         {"MPICH2_USER_FLAGS", "-env A 1"}},
           .arguments = {"a case.jou"},
           .then =
               {.starts = {"{mpiexec} -localonly  -np 4  -env ZEPHON_WORK_SIZE 8  -env "
                           "ZEPHON_WORK_UNIT 2.5  -channel sock -env A 1   solver \"a case.jou\""},
                .output = "\n***\n*** User defined: MPICH2_CHANNEL=sock\n***\n"
                          "\n***\n*** User defined: MPICH2_USER_FLAGS=-env A 1\n***\n"}},
          {.name = "TakesAnEmptyChannelAtItsWord",
           .variables = {{"MPICH2_CHANNEL", ""}},
           .then = {.starts = {"{mpiexec} -localonly  -np 4  -channel   solver"},
                    .output = "\n***\n*** User defined: MPICH2_CHANNEL=\n***\n"}},
          {.name = "PutsTheRemotePathIntoThePath",
           .arguments = {"--pathnode=C:\\node;D:\\node"},
           .then = {.variables = {{"PATH", "{path};{mpich2}\\lib;C:\\node;D:\\node{behind lib}"}}}},
          {.name = "TakesTheFoldersFromTheStateOfTheStart",
           .arguments = {"--path=C:\\later"},
           .then = {.variables = {{"PATH", "{path};{mpich2}\\lib{behind lib}"}}}},
          {.name = "FormatsWhatIsUnknownAsNothing",
           .variables = {{"ZEPHON_INC", std::nullopt}, {"RSH_USER", "jdoe"}},
           .then = {.starts = none,
                    .output =
                        "Unable to execute (null) \\{mpis}\\mpich2\\"
                        "bin\\mpiexec.exe  -localonly  -np 4  -channel shm  solver\n{error 2}\n\n",
                    .status = 255}},

          // The hosts of a file.
          {.name = "RunsOnTheHostsOfAFile",
           .variables = {{"ZEPHON_HOSTS_FILE", "..\\hosts"}},
           .then = {.asks = {"{mpich2}\\bin\\smpd.exe -status",
                             "{mpich2}\\bin\\mpiexec.exe -validate"},
                    .starts = {"{mpiexec} -machinefile ..\\hosts  -np 4  -channel ssm{remote path}"
                               "  solver"},
                    .output = checking,
                    .variables = {{"PATH", "{path}"}, {"ZEPHON_HOSTS_FILE", "..\\hosts"}}}},
          {.name = "QuotesNothingButTheRemotePath",
           .variables = {{"ZEPHON_CRED_CHECK", "No"}},
           .arguments = {"--cnf=..\\my hosts", "--pathnode=D:\\my node"},
           .then = {.starts = {"{mpiexec} -machinefile ..\\my hosts  -np 4  -channel ssm -env PATH "
                               "\"{mpich2}\\lib;D:\\my node{behind lib}\"   solver"},
                    .output = "\n***\n*** User defined: ZEPHON_CRED_CHECK=No\n"
                              "*** Skipping credential validation!\n***\n"}},
          {.name = "SharesMemoryOnASingleHost",
           .variables = {{"MPICH2_USER_FLAGS", "-l"}},
           .arguments = {"--cnf=..\\one"},
           .then =
               {.asks = {"{mpich2}\\bin\\smpd.exe -status", "{mpich2}\\bin\\mpiexec.exe -validate"},
                .starts = {"{mpiexec} -machinefile ..\\one  -np 4  -channel shm{remote path} -l   "
                           "solver"},
                .output = checking + "\n***\n*** User defined: MPICH2_USER_FLAGS=-l\n***\n"}},
          {.name = "LooksAtAsManyEntriesAsThereAreProcesses",
           .variables = {{"ZEPHON_CRED_CHECK", "no"}},
           .files = {{"{world}\\late", "alpha\nalpha\nbeta\n"}},
           .arguments = {"--cnf=..\\late", "--np=2"},
           .then = {.starts = {"{mpiexec} -machinefile ..\\late  -np 2  -channel shm{remote path}  "
                               "solver"},
                    .output = "\n***\n*** User defined: ZEPHON_CRED_CHECK=no\n"
                              "*** Skipping credential validation!\n***\n"}},
          {.name = "LooksAtEveryEntryForAsManyProcesses",
           .variables = {{"ZEPHON_CRED_CHECK", "no"}},
           .files = {{"{world}\\late", "alpha\nalpha\nbeta\n"}},
           .arguments = {"--cnf=..\\late", "--np=3"},
           .then = {.starts = {"{mpiexec} -machinefile ..\\late  -np 3  -channel ssm{remote path}  "
                               "solver"},
                    .output = "\n***\n*** User defined: ZEPHON_CRED_CHECK=no\n"
                              "*** Skipping credential validation!\n***\n"}},
          {.name = "TakesAHostFileThatDoesNotOpenForASingleHost",
           .variables = {{"ZEPHON_CRED_CHECK", "no"}},
           .arguments = {"--cnf=..\\%s%n%d%%"},
           .then =
               {.starts = {"{mpiexec} -machinefile ..\\%s%n%d%%  -np 4  -channel shm{remote path}  "
                           "solver"},
                .output =
                    "\n***\n*** User defined: ZEPHON_CRED_CHECK=no\n"
                    "*** Skipping credential validation!\n***\n"
                    "\nWarning: Unable to open host file ..\\%s%n%d%%! Use local machine.\n"}},
          {.name = "DoesNotReadTheHostFileWhenTheChannelIsGiven",
           .variables = {{"ZEPHON_CRED_CHECK", "no"},
                         {"MPICH2_CHANNEL", "ssm"},
                         {"ZEPHON_WORK_UNIT", "1"}},
           .arguments = {"--cnf=..\\none"},
           .then = {.starts = {"{mpiexec} -machinefile ..\\none  -np 4  -env ZEPHON_WORK_UNIT 1  "
                               "-channel ssm{remote path}  solver"},
                    .output = "\n***\n*** User defined: ZEPHON_CRED_CHECK=no\n"
                              "*** Skipping credential validation!\n***\n"
                              "\n***\n*** User defined: MPICH2_CHANNEL=ssm\n***\n"}},
          {.name = "AsksTheServiceOfTheLocalRoot",
           .variables = {{"ZEPHON_HOSTS_FILE", "..\\hosts"},
                         {"ZEPHON_INC_LOCAL_RESERVED", "..\\local"}},
           .tools = {{"{world}\\local\\{mpis}\\mpich2\\bin\\smpd.exe", "smpd running on ALPHA\n"},
                     {"{world}\\local\\{mpis}\\mpich2\\bin\\mpiexec.exe", "SUCCESS\n"}},
           .then = {.asks = {"..\\local\\{mpis}\\mpich2\\bin\\smpd.exe -status",
                             "..\\local\\{mpis}\\mpich2\\bin\\mpiexec.exe -validate"},
                    .starts = {"{mpiexec} -machinefile ..\\hosts  -np 4  -channel ssm{remote path}"
                               "  solver"},
                    .output = checking}},
          {.name = "AsksForAPasswordThreeTimes",
           .variables = {{"ZEPHON_HOSTS_FILE", "..\\hosts"}},
           .tools = {{"{mpi}\\mpich2\\bin\\mpiexec.exe -validate", "FAIL\n"}},
           .then = {.asks = {"{mpich2}\\bin\\smpd.exe -status",
                             "{mpich2}\\bin\\mpiexec.exe -validate",
                             "{mpich2}\\bin\\mpiexec.exe -register",
                             "{mpich2}\\bin\\mpiexec.exe -validate",
                             "{mpich2}\\bin\\mpiexec.exe -register",
                             "{mpich2}\\bin\\mpiexec.exe -validate",
                             "{mpich2}\\bin\\mpiexec.exe -register",
                             "{mpich2}\\bin\\mpiexec.exe -validate"},
                    .starts = none,
                    .output =
                        checking + "\nUser password has been inputed 3 times, but still wrong!\n\n",
                    .boxes = {{"{question}", yes}, {"{question}", yes}},
                    .status = 4}},
          {.name = "EndsWhenTheUserGivesNoPassword",
           .variables = {{"ZEPHON_HOSTS_FILE", "..\\hosts"}},
           .tools = {{"{mpi}\\mpich2\\bin\\mpiexec.exe -validate", "FAIL\n"}},
           .then = {.asks = {"{mpich2}\\bin\\smpd.exe -status",
                             "{mpich2}\\bin\\mpiexec.exe -validate",
                             "{mpich2}\\bin\\mpiexec.exe -register",
                             "{mpich2}\\bin\\mpiexec.exe -validate"},
                    .starts = none,
                    .output = checking,
                    .boxes = {{"{question}", no}}}},
      }};
}

namespace {

const std::string own_start = "..\\own\\bin\\mpiexec.exe  -localonly  -np 4  -channel shm  solver";

// What is said of an installation of the user's own whose smpd answers so.
launch_case shown(const std::string &name, const std::string &answer, const std::string &said) {
  return {.name = name,
          .tools = {{"{world}\\own\\bin\\smpd.exe -version", answer}},
          .then = {.asks = {"..\\own\\bin\\smpd.exe -version"}, .output = own_shown + said}};
}

launch_case passed_over(const std::string &name, const std::string &home,
                        const std::vector<tool> &tools) {
  return {.name = name,
          .variables = {{"MPICH2_HOME", home}},
          .tools = tools,
          .then = {.starts = {"{mpiexec} -localonly  -np 4  -channel shm  solver"}}};
}

}  // namespace

launch_family mpich2_home_family() {
  auto given = of_release();
  given.variables.push_back({"MPICH2_HOME", "..\\own"});
  given.tools.push_back({"{world}\\own\\bin\\mpiexec.exe -validate", "SUCCESS\n"});
  given.tools.push_back({"{world}\\own\\bin\\mpiexec.exe"});
  given.then.starts = {own_start};
  return {
      .name = "Mpich2Home",
      .words = words,
      .given = given,
      .rows = {
          {.name = "MayHoldNoService",
           .then = {.output = own_shown + "\n",
                    .variables = {{"PATH", "{path};..\\own\\lib{behind lib}"}}}},
          {.name = "MayHoldABlankWithoutQuotes",
           .variables = {{"MPICH2_HOME", "..\\my own"}, {"ZEPHON_INC_LOCAL_RESERVED", "D:\\local"}},
           .tools = {{"{world}\\my own\\bin\\mpiexec.exe"},
                     {"{world}\\my own\\bin\\smpd.exe -version", "1.2.1p1\n"}},
           .then =
               {.asks = {"..\\my own\\bin\\smpd.exe -version"},
                .starts = {"..\\my own\\bin\\mpiexec.exe  -localonly  -np 4  -channel shm  solver"},
                .output =
                    "\n***\n*** User defined: MPICH2_HOME=..\\my own\n*** Make sure the same "
                    "MPICH2 version is installed on all the used machines!\n***\n1.2.1p1\n\n"},
           .only_scripted = "the interpreter ends the tool's name at the blank"},
          {.name = "IsShownOnceWithItsVersion",
           .variables = {{"ZEPHON_HOSTS_FILE", "..\\hosts"}},
           .tools = {{"{world}\\own\\bin\\smpd.exe -version", "1.2.1p1\n"},
                     {"{world}\\own\\bin\\smpd.exe -status", "smpd running on ALPHA\n"}},
           .then =
               {.asks = {"..\\own\\bin\\smpd.exe -version", "..\\own\\bin\\smpd.exe -status",
                         "..\\own\\bin\\mpiexec.exe -validate"},
                .starts = {"..\\own\\bin\\mpiexec.exe  -machinefile ..\\hosts  -np 4  -channel ssm "
                           "-env PATH \"..\\own\\lib{behind lib}\"   solver"},
                .output = own_shown + "1.2.1p1\n\n" + checking}},
          shown("IsShownWithEveryLine", "one\ntwo\nthree", "one\ntwo\nthree\n"),
          shown("IsKnownAsOldByItsListOfOptions", "Usage:\nsmpd options\n-more\n-more\n",
                "Usage:\n1.0.2 or older\n\n"),
          shown("IsKnownAsOldAtTheEndOfALine", "these are the smpd options\n-help\n",
                "1.0.2 or older\n\n"),
          shown("IsShownWithTwoPercentSignsAsOne", "100%% %%%%\n", "100% %%\n\n"),
          shown("IsShownWithAnyOtherPercentSign", "%d %s %n 5% %5 %\r\n%", "%d %s %n 5% %5 %\n%\n"),
          shown("IsShownWithAnOddNumberOfPercentSigns", "%%%d\n", "%%d\n\n"),
          shown("IsShownWithASilentService", "", "\n"),
          shown("IsShownWithALongLine", std::string(3000, 'x') + "\n",
                std::string(3000, 'x') + "\n\n"),
          {.name = "IsTraced",
           .variables = {{"ZEPHON_STARTUP_DEBUG", "1"}},
           .tools = {{"{world}\\own\\bin\\smpd.exe -version", "1.2.1p1\n"}},
           .then = {.asks = {"..\\own\\bin\\smpd.exe -version"},
                    .output = own_shown + "\ncmd = ..\\own\\bin\\smpd.exe -version "
                                          "(..\\src\\mpirun:4151)1.2.1p1\n\n"}},
          passed_over("IsPassedOverWithoutMpiexec", "..\\other", {}),
          passed_over("IsPassedOverWhenItIsOfAnotherMpi", "..\\MPIPro",
                      {{"{world}\\MPIPro\\bin\\mpiexec.exe"}}),
          passed_over("IsPassedOverWhenItIsEmpty", "", {}),
          {.name = "MayHaveTheOtherMpisNameInSmallLetters",
           .variables = {{"MPICH2_HOME", "..\\mpipro"}},
           .tools = {{"{world}\\mpipro\\bin\\mpiexec.exe"}},
           .then =
               {.starts = {"..\\mpipro\\bin\\mpiexec.exe  -localonly  -np 4  -channel shm  solver"},
                .output = "\n***\n*** User defined: MPICH2_HOME=..\\mpipro\n*** Make sure the same "
                          "MPICH2 version is installed on all the used machines!\n***\n\n"}},
      }};
}

}  // namespace cases
