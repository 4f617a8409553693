// host_files.cpp: what the launcher makes of a host file: Platform MPI gets it spread over its
// hosts or copied, its job a list of them, MPICH2 is told whether it is one host, and Intel MPI
// whether that is this one.
//
// The folders are named from the current one on, so that none has a blank in it.
#include "cases/families.h"

namespace cases {

namespace {

const std::vector<word> words = {
    {"mpis", "..\\inc\\{mpis}"},
    {"wrapper", "..\\prod\\netweave\\mpi_wrapper\\win64"},
    {"platform", R"("{mpis}\ibmmpi\bin\mpirun.exe" -prot -e MPI_ROOT="{mpis}\ibmmpi"  -hostfile)"},
    {"platform end", R"(-e PATH="..\inc\ntbin\win64;{wrapper}\ibmmpi" -e MPI_WORKDIR="..\inc" )"
                     R"(-e ZEPHON_PROD_DIR="..\prod"  solver)"},
    {"mpich2", "{mpis}\\mpich2\\bin\\mpiexec.exe  -machinefile ..\\hosts"},
    {"mpich2 end", R"(-env PATH "{mpis}\mpich2\lib;{wrapper}\mpich2;..\inc\ntbin\win64"   solver)"},
    {"intel", R"({mpis}\intel\bin\mpiexec.exe  -machinefile "..\hosts")"},
    {"intel end", R"( -genv ZEPHON_PROD_DIR "..\prod" -genv I_MPI_PIN enable   solver)"},
    {"job new", R"(job new /scheduler:head /jobname:"ORBEX ZEPHON" /numprocessors:4 )"},
    {"unchecked",
     "\n***\n*** User defined: ZEPHON_CRED_CHECK=no\n"
     "*** Skipping credential validation!\n***\n"},
    {"at end", "\nERROR in get_line: file is null!\n\nERROR in get_line: file is null!\n\n"},
};

launch_case with_every_mpi() {
  return {.variables = {{"ZEPHON_INC", "..\\inc"},
                        {"ZEPHON_PROD_DIR", "..\\prod"},
                        {"TEMP", "{world}\\temp"},
                        {"COMPUTERNAME", "NODE1"},
                        {"RSH_USER", "jdoe"},  // messages are printed
                        {"ORBEX_DONT_CACHE_PASSWORD", "1"},
                        {"ZEPHON_CRED_CHECK", "no"}},
          .files = {{"{wrappers}\\ibmmpi\\mpi_wrapper.dll"},
                    {"{wrappers}\\mpich2\\mpi_wrapper.dll"},
                    {"{wrappers}\\intel\\mpi_wrapper.dll"},
                    {"{world}\\temp\\"}},
          .tools = {{"{mpi}\\ibmmpi\\bin\\mpirun.exe"},
                    {"{mpi}\\mpich2\\bin\\mpiexec.exe"},
                    {"{mpi}\\intel\\bin\\mpiexec.exe"},
                    {"job.exe"}},
          .arguments = {"--cnf=..\\hosts", "--r1.2.3", "solver"}};
}

launch_case on_hosts(const std::string &name, const std::string &mpi, const std::string &content,
                     const std::string &processes) {
  return {.name = name,
          .files = {{"{world}\\hosts", content}},
          .arguments = {"--mpi=" + mpi, "--np=" + processes}};
}

// Platform MPI gets a file of this name.
launch_case given_to_platform(const std::string &name, const std::string &content,
                              const std::string &processes, const std::string &file) {
  auto row = on_hosts(name, "ibmmpi", content, processes);
  row.then.starts = {"{platform} \"" + file + "\"  -np " + processes + "  {platform end}"};
  row.then.variables = {{"ZEPHON_HOSTS_FILE", file}};
  return row;
}

launch_case as_given(const std::string &name, const std::string &content,
                     const std::string &processes) {
  return given_to_platform("IsUsedAsItIs" + name, content, processes, "..\\hosts");
}

// A file with so many processes for each host.
launch_case spread(const std::string &name, const std::string &content,
                   const std::string &processes, const std::string &written,
                   const std::string &file = "{world}\\temp\\zphost-{process}.txt") {
  auto row = given_to_platform(name, content, processes, file);
  row.then.files = {{file, written}};
  return row;
}

// Platform MPI gets no file.
launch_case refused(launch_case row, const std::string &why) {
  row.arguments.insert(row.arguments.end(), {"--mpi=ibmmpi", "--np=4"});
  row.then = {.errors = "\n Error:  Failed to " + why + "\n", .status = 2};
  return row;
}

// A copy without the slots of so many meshing processes.
launch_case copied(const std::string &name, const std::string &content, const std::string &slots,
                   const std::string &written) {
  const std::string file = "{world}\\temp\\zphosts-{process}.txt";
  auto row = given_to_platform("Copied" + name, content, "1", file);
  row.variables = {{"ZEPHON_AUTO_SPAWN", "1"}, {"PARA_MESH_NPROCS", slots}};
  row.then.files = {{file, written}};
  row.then.variables = {{"ZEPHON_HOSTS_FILE", "..\\hosts"}};
  return row;
}

// The hosts for a job of Platform MPI, which is not made.
launch_case listed(const std::string &name, const std::string &content, const std::string &list,
                   const std::string &output = "") {
  auto row = on_hosts("Listed" + name, "ibmmpi", content, "4");
  row.variables = {{"USE_CCP", "head"}};
  row.then = {.asks = {"{job new}" + (list.empty() ? "" : " /askednodes:" + list + " ")},
              .output = output};
  return row;
}

launch_case channel_of(const std::string &name, const std::string &content,
                       const std::string &processes, const std::string &channel) {
  auto row = on_hosts(name, "mpich2", content, processes);
  row.then = {.starts = {"{mpich2}  -np " + processes + "  -channel " + channel + " {mpich2 end}"},
              .output = "{unchecked}"};
  return row;
}

launch_case one_host(const std::string &name, const std::string &content,
                     const std::string &processes) {
  return channel_of("IsOneHost" + name, content, processes, "shm");
}

launch_case more_hosts(const std::string &name, const std::string &content,
                       const std::string &processes) {
  return channel_of("IsMoreThanOneHost" + name, content, processes, "ssm");
}

launch_case of_computer(const std::string &name, const std::string &content,
                        const std::optional<std::string> &computer, const std::string &local) {
  auto row = on_hosts(name, "intel", content, "1");
  row.variables = {{"COMPUTERNAME", computer}};
  row.then = {.starts = {"{intel}  -n 1 " + local + "{intel end}"}, .output = "{unchecked}"};
  return row;
}

launch_case here(const std::string &name, const std::string &content,
                 const std::optional<std::string> &computer = "NODE1") {
  return of_computer("IsThisComputer" + name, content, computer,
                     " -localroot -localonly -genv I_MPI_DEVICE shm");
}

launch_case elsewhere(const std::string &name, const std::string &content,
                      const std::optional<std::string> &computer = "NODE1") {
  return of_computer("IsNotThisComputer" + name, content, computer, "");
}

launch_case without_temp(launch_case row) {
  row.variables.push_back({"TEMP", std::nullopt});
  return row;
}

std::string many_hosts(const std::string &first, const std::string &others) {
  std::string lines = "node" + first;
  for (int number = 1; number < 2'000; ++number) {
    lines += "node" + std::to_string(number) + others;
  }
  return lines;
}

std::string names(std::size_t length) {
  return std::string(length, 'n');
}

}  // namespace

launch_family host_file_family() {
  using namespace std::string_literals;
  return {
      .name = "HostFile",
      .words = words,
      .given = with_every_mpi(),
      .rows = {
          // The processes of each host.
          spread("IsNeverReadAsAFormat", "%s%n%d%%\n", "2", "%s%n%d%%:2\n"),
          spread("GivesEachHostItsShare", "a\nb\nc\n", "6", "a:2\nb:2\nc:2\n"),
          spread("GivesWhatIsLeftOverToTheFirstHosts", "a\nb\nc\n", "8", "a:3\nb:3\nc:2\n"),
          spread("GivesTheOnlyHostEverything", "a\n", "7", "a:7\n"),
          spread("MayHaveOneHostTooFew", "a\nb\nc\nd\n", "5", "a:2\nb:1\nc:1\nd:1\n"),
          spread("MayHaveEmptyLinesAnywhere", "\r\na\r\n\r\nb\r\n\r\n", "8",
                 ":2\na:2\n:2\nb:1\n:1\n"),
          spread("CountsBlanksWithALineEndAsAHost", "a\n  \nb\n", "6", "a:2\n  :2\nb:2\n"),
          spread("CountsALineOfReturnsAsAHost", "a\n\r\r\n", "4", "a:2\n:2\n"),
          spread("PassesOverBlanksWithoutALineEnd", "a\nb\n ", "5", "a:3\nb:2\n"),
          // As many blanks as one read takes, so no line end comes with them.
          spread("LosesAProcessToBlanksInFront", std::string(255, ' ') + "a\nb\nc\n", "8",
                 "a:3\nb:2\nc:2\n"),
          spread("MayEndWithoutALineEnd", "a\r\nb", "4", "a:2\nb:2\n"),
          spread("MayHaveAnyLineEnds", "a\r\r\r\nb\nc\r", "6", "a:2\nb:2\nc:2\n"),
          spread("EndsAtACtrlZ", "alpha\r\nbeta\r\n\x1Agamma\r\n", "4", "alpha:2\nbeta:2\n"),
          spread("KeepsBlanksTabsAndBytesAbove127", " \t a \t\r\n\t\nn\xF6\xFF\n", "6",
                 " \t a \t:2\n\t:2\nn\xF6\xFF:2\n"),
          spread("TakesANameOf254CharactersAsOneLine", names(254) + "\n", "4", names(254) + ":4\n"),
          spread("ReadsANameOf255CharactersAndItsLineEndAsTwo", names(255) + "\r\n", "4",
                 names(255) + ":2\n:2\n"),
          spread("TakesALastNameOf255CharactersAsOneLine", names(255), "4", names(255) + ":4\n"),
          spread("ReadsANameOf300CharactersAsTwo", names(300) + "\n", "4",
                 names(255) + ":2\n" + names(45) + ":2\n"),
          spread("MayHaveTwoThousandLines", many_hosts("\r\n", "\r\n"), "2001",
                 many_hosts(":2\n", ":1\n")),
          as_given("WithAHostForEachProcess", "a\nb\nc\nd\n", "4"),
          as_given("WithMoreHostsThanProcesses", "a\nb\nc\nd\n", "3"),
          as_given("ForOneProcess", "a\n", "1"),
          as_given("ForNoProcess", "a\n", "0"),
          as_given("ForLessThanNoProcess", "a\n", "-3"),
          as_given("WithACount", "a\nb\nc:2\n", "8"),
          as_given("WithAColonAlone", "a\n:", "8"),
          as_given("WhenItIsEmpty", "", "4"),
          as_given("WhenItHoldsBlanks", "   ", "4"),
          without_temp(spread("StandsInTheCurrentFolderWithoutTemp", "a\nb\n", "4", "a:2\nb:2\n",
                              "{work}\\zphost-{process}.txt")),
          refused({.name = "MayBeMissing"}, "open host file ..\\hosts"),
          refused({.name = "MayBeAFolder", .arguments = {"--cnf=..\\temp"}},
                  "open host file ..\\temp"),
          refused({.name = "NeedsAFolderForTheNewOne",
                   .variables = {{"TEMP", "..\\hosts"}},
                   .files = {{"{world}\\hosts", "a\nb\n"}},
                   .only_real = "the scripted door takes a file for a folder too"},
                  "create host file ..\\hosts"),

          // Copied for the processes that are spawned.
          copied("WithAnEmptyLineBehindEach", "alpha\nbeta:4\n", "0", "alpha\n\nbeta:4\n\n"),
          copied("WithALineEndForALastLine", "alpha\nbeta", "-1", "alpha\n\nbeta\n"),
          copied("AsItIsWithoutANumber", "a\n", "many", "a\n\n"),
          copied("WithoutSomeSlotsOfAHost", "alpha:4\nbeta:4\n", "2", "alpha:2\nbeta:4\n\n"),
          copied("WithTheLastSlotOfAHost", "alpha:4\n", "3", "alpha:1\n"),
          copied("WithoutAHostWithAsManySlotsAndMore", "alpha:4\nbeta:6\ngamma:1\n", "4",
                 "beta:2\ngamma:1\n\n"),
          copied("WithoutAHostWithFewerSlots", "alpha:3\n", "4", ""),
          copied("WithOneSlotOnAHostWithoutACount", "alpha\n\ngamma\n", "2", "gamma\n\n"),
          copied("WithoutWhatIsStillToTakeFromTheNext", "alpha\nbeta:4\n", "2", "beta:3\n"),
          copied("WithoutSeveralColons", "::alpha::8:9\n", "2", "alpha:6\n"),
          copied("WithoutALineThatHasAColonButNoCount", "alpha:\n:\n::x\nbeta:5\n", "1",
                 "beta:4\n"),
          copied("WithoutABlankBeforeACount", "alpha: 4\n", "1", "alpha:3\n"),
          copied("WithALongLineAsTwo", names(300) + "\n", "0",
                 names(255) + "\n" + names(45) + "\n\n"),
          copied("WhenItIsEmpty", "", "0", ""),

          // A list for a job.
          listed("WithCommas", "alpha\nbeta\ngamma\n", "alpha,beta,gamma"),
          listed("WithoutALineEnd", "al\nbe", "al,be", "{at end}"),
          listed("ToAnEmptyLine", "alpha\nbeta\n\ngamma", "alpha,beta"),
          listed("ToALineOfBlanks", "alpha\n \t \nbeta\n", "alpha"),
          listed("ToANameOfOneCharacter", "alpha\nb\ngamma\n", "alpha"),
          listed("ToALastNameOfOneCharacter", "alpha\nb", "alpha"),
          listed("ToACtrlZ", "alpha\r\nbeta\r\n\x1Agamma\r\n", "alpha,beta"),
          listed("WithALineToItsZeroByte", "alpha\0x\r\nbeta\r\n"s, "alpha,beta"),
          listed("WithoutNeighboursThatAreTheSame", "alpha\nalpha \nbeta\nbeta\nALPHA\nalpha\n",
                 "alpha,beta,ALPHA,alpha"),
          listed("WithoutWhatStandsBehindAName", "alpha \t\x01\r\nbeta\r\n", "alpha,beta"),
          listed("WithBlanksInFrontOfAName", "  alpha\n beta\n", "  alpha, beta"),
          listed("WithBytesAbove127", "n\xF6\xFF\nn\x80\n", "n\xF6\xFF,n\x80"),
          listed("WithCounts", "alpha:4\nbeta:2\n", "alpha:4,beta:2"),
          listed("AsNothingWhenItIsEmpty", "", ""),
          listed("AsNothingWithAnEmptyFirstLine", "\nalpha\n", ""),
          listed("WithALineOf1022Characters", names(1022) + "\nbe\n", names(1022) + ",be"),
          listed("ToALineOf1023CharactersAsItsEndIsReadAlone", names(1023) + "\nbe\n", names(1023)),

          // One host or more.
          one_host("WhenItIsEmpty", "", "4"),
          one_host("WhenItHoldsBlanks", "    ", "4"),
          one_host("ForOneProcess", "alpha\nbeta\n", "1"),
          one_host("WhenTheFileEndsBeforeTheProcesses", "alpha\nalpha\n", "8"),
          one_host("InCapitalAndSmallLetters", "Alpha\naLPHA\n", "2"),
          one_host("ByItsFirstWord", "  alpha 4\nalpha 2\n", "2"),
          one_host("WithoutNames", "\n  \n\n", "3"),
          one_host("BeforeBlanksWithoutALineEnd", "alpha\n   ", "2"),
          one_host("InALineOf1022Characters", names(1022) + "\n", "2"),
          one_host("BeforeMuchElse", "alpha\nalpha\nbeta\n" + names(300'000), "2"),
          more_hosts("WhenOneBetweenIsAnother", "alpha\nbeta\nalpha\n", "3"),
          more_hosts("WithABlankBehindAName", "alpha\nalpha 2\n", "2"),
          more_hosts("WithALastNameWithoutALineEnd", "alpha\nalpha", "2"),
          more_hosts("WithAnEmptyLine", "alpha\n   \nalpha\n", "2"),
          more_hosts("WithATab", "alpha\t4\nalpha\n", "2"),
          more_hosts("InALineOf1023Characters", names(1023) + "\n", "2"),

          // This computer or another.
          here("ByItsName", "node1\n"),
          here("WithADomain", "Node1.example.org 4\r\n"),
          here("BehindFullStops", "..node1.\n"),
          here("BehindBlanks", "   node1\n"),
          here("WithoutItsLastLetterBeforeABlank", "node1 4\n", "node"),
          here("WithoutItsLastLetterAtTheEnd", "node1", "node"),
          elsewhere("BeforeABlank", "node1 4\n"),
          elsewhere("AtTheEnd", "node1"),
          elsewhere("WithALongerName", "node10\n"),
          elsewhere("WithAShorterName", "node\n"),
          elsewhere("InTheSecondLine", "node2\nnode1\n"),
          elsewhere("WithoutAName", "...\n", ""),
          elsewhere("WhenItIsEmpty", "", ""),
          elsewhere("WhenItHoldsBlanks", "   "),
          elsewhere("WhenThatHasNoName", "node1\n", std::nullopt),
      }};
}

}  // namespace cases
