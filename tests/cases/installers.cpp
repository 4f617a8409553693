// installers.cpp: the services of MPICH2 and of Platform MPI, installed and started on request.
//
// The folders are named from the current one on, so that none has a blank in it.
#include "cases/families.h"

namespace cases {

namespace {

const std::vector<word> words = {
    {"log", "{work}\\install_smpd_log.txt"},
    {"begin", "\n------------- start on HERE @ {time}\n\n"},
    {"end", "\n------------- end @ {time}\n\n"},
    {"install", "..\\own\\bin\\smpd.exe -install"},
    {"status", "..\\own\\bin\\smpd.exe -status"},
    {"checking", "\nChecking the status of SMPD for INTEL MPI on the local machine ..."},
    {"newest", "..\\inc\\zephon12.0.16\\netweave\\mpi\\win64"},
    {"setup", "{newest}\\ibmmpi\\sbin\\setup.exe"},
    {"check services", "Check running services to see if Platform MPI is installed?"},
};

const std::string own = "{world}\\own\\bin\\smpd.exe";

launch_case on_request() {
  return {.variables = {{"ZEPHON_INC", "..\\inc"}, {"COMPUTERNAME", "HERE"}},
          .files = {{"{inc}\\"}, {"{world}\\own\\"}},
          .then = {.starts = none}};
}

std::vector<file> logged(const std::string &text) {
  return {{"{log}", "{begin}" + text + "{end}"}};
}

// The service of a folder is installed by a program that answers so and ends with this line.
launch_case installed(const std::string &name, const std::string &answer, const std::string &line,
                      unsigned long status = 0) {
  const std::string text = "\nMPICH2 SMPD Installation Successful:\n{install}\n" + line;
  return {.name = "Smpd" + name,
          .tools = {{.command = own + " -install", .prints = answer, .status = status}},
          .arguments = {"--install_smpd", "..\\own"},
          .then = {.asks = {"{install}"}, .boxes = {{text}}, .files = logged(text)}};
}

// It is not, for this text.
launch_case not_installed(const std::string &name, const texts &arguments, const std::string &text,
                          unsigned long status = 1) {
  return {
      .name = "Smpd" + name,
      .arguments = arguments,
      .then = {
          .boxes = {{.text = text, .caption = "zephon"}}, .files = logged(text), .status = status}};
}

launch_case failed(const std::string &name, const std::string &line) {
  auto row = not_installed("Fails" + name, {"--install_smpd", "..\\own"},
                           "\nMPICH2 SMPD Installation Failed:\n{install}\n" + line + "\n");
  row.tools = {{own + " -install", "working\n" + line + "\nmore\n"}};
  row.then.asks = {"{install}"};
  return row;
}

launch_case missing(const std::string &name, const texts &arguments, const std::string &program) {
  return not_installed(
      name, arguments,
      "\nFile " + program +
          "\\smpd.exe does not exist!\n\n"
          "Please use one of the following two commands with full UNC path:\n\n"
          "1. To install the Zephon packaged MPICH2 SMPD, which has been tested and validated:\n"
          "..\\inc\\ntbin\\win64\\zephon -install_smpd 0\n\n"
          "2. To install your own version of MPICH2 SMPD on your own responsibility:\n"
          "..\\inc\\ntbin\\win64\\zephon -install_smpd MPICH2_HOME_DIRECTORY\n");
}

// The service of a release is installed.
launch_case of_release(const std::string &name, const texts &arguments,
                       const std::string &release) {
  const std::string program =
      "\\zephon" + release + "\\netweave\\mpi\\win64\\mpich2\\bin\\smpd.exe";
  const std::string text =
      "\nMPICH2 SMPD Installation Successful:\n..\\inc" + program + " -install\n";
  return {
      .name = "SmpdIsThatOf" + name,
      .files = {{"{inc}\\zephon6.3.26\\"},
                {"{inc}\\zephon12.0.1\\"},
                {"{inc}\\zephon12.0.16\\"},
                {"{inc}\\zephon12.0.17.bak\\"}},
      .tools = {{"{inc}" + program}},
      .arguments = arguments,
      .then = {
          .asks = {"..\\inc" + program + " -install"}, .boxes = {{text}}, .files = logged(text)}};
}

// The service of a folder answers so when it shall be started.
launch_case started(const std::string &name, const std::string &answer, const texts &starts,
                    const std::string &output, const std::string &text) {
  return {.name = "SmpdOnStart" + name,
          .tools = {{own + " -status", answer}, {.command = own, .status = 5}},
          .arguments = {"--start_smpd", "..\\own"},
          .then = {.asks = {"{status}"},
                   .starts = starts,
                   .output = "{checking}" + output,
                   .boxes = {{text}},
                   .files = logged(text)}};
}

// The setup program of Platform MPI answers so.
launch_case set_up(const std::string &name, const std::string &answer,
                   const std::vector<box> &boxes) {
  return {.name = "PlatformMpi" + name,
          .tools = {{.command = "{inc}\\zephon12.0.16\\netweave\\mpi\\win64\\ibmmpi\\sbin\\"
                                "setup.exe",
                     .prints = answer,
                     .status = 1}},
          .arguments = {"--install_ibmmpi"},
          .then = {.asks = {"{setup} /verysilent /components=\"plaformmpi\""}, .boxes = boxes}};
}

launch_case without_setup(const std::string &name, const texts &arguments,
                          const std::string &folder) {
  return {.name = "PlatformMpi" + name,
          .arguments = arguments,
          .then = {.boxes = {{folder + "\\netweave\\mpi\\win64\\ibmmpi\\sbin\\setup.exe"
                                       ": File does not exist!"}}}};
}

launch_case with(launch_case row, const std::vector<variable> &variables,
                 const std::vector<file> &files = {}) {
  row.variables.insert(row.variables.end(), variables.begin(), variables.end());
  row.files.insert(row.files.end(), files.begin(), files.end());
  return row;
}

launch_case traced(launch_case row, const std::string &output) {
  row.variables.push_back({"ZEPHON_STARTUP_DEBUG", "1"});
  row.then.output = output;
  return row;
}

launch_case closed_by_itself(launch_case row) {
  row.then.boxes[0].answer = left_alone;
  return row;
}

}  // namespace

launch_family installer_family() {
  const std::string name_too_long =
      "\n Error:  Release name is too long: zephon12.0.16.1234567890\n";
  const std::string long_folder = "D:\\" + std::string(1'021, 'x');
  return {
      .name = "Installer",
      .words = words,
      .given = on_request(),
      .rows = {
          installed("IsInstalledFromAFolder", "working\nMPICH2 installed.\n",
                    "MPICH2 installed.\n"),
          installed("MayBeSilentAndEndWithAnything", "", "", 3),
          installed("IsInstalledWhenItsLastLineHasNoEnd", "done", "done"),
          installed("FailsInSmallLettersOnly", "Failed with ERROR\n", "Failed with ERROR\n"),
          closed_by_itself(installed("ShowsItsNoticeForAWhile", "installed\n", "installed\n")),
          traced(installed("IsTraced", "", ""), "\ncmd = {install} (..\\src\\mpirun:4151)"),
          failed("AtTheWordFail", "fail"),
          failed("AtTheWordInAnother", "it failed."),
          failed("AtTheWordError", "error 5"),
          failed("AtTheWordErrorInAnother", "no terrorerror"),
          failed("WithoutReadingAFormat", "%d error %s%n"),
          of_release("TheNewestRelease", {"--install_smpd", "0"}, "12.0.16"),
          of_release("TheNewestReleaseForAnythingShort", {"--install_smpd", "x"}, "12.0.16"),
          of_release("TheNewestReleaseForNothing", {"--install_smpd", ""}, "12.0.16"),
          of_release("TheNewestReleaseAtTheEnd", {"--install_smpd"}, "12.0.16"),
          of_release("TheReleaseThatIsAskedFor", {"--r6.3.26", "--install_smpd"}, "6.3.26"),
          missing("MayBeMissing", {"--r12.0.16", "--install_smpd"}, "{newest}\\mpich2\\bin"),
          missing("MayBeMissingInAShortFolder", {"--install_smpd", "D:"}, "D:\\bin"),
          missing("IsLookedForInTheFirst1024Characters", {"--install_smpd", long_folder + "yz"},
                  long_folder + "\\bin"),
          not_installed("NeedsARelease", {"--install_smpd"}, "\nError in find zephon release!\n"),
          with(not_installed("NeedsAListOfReleases", {"--install_smpd"},
                             "Cannot read directory:..\\nowhere\n", 254),
               {{"ZEPHON_INC", "..\\nowhere"}}),
          {.name = "SmpdNeedsReleasesWithAShortName",
           .files = {{"{inc}\\zephon12.0.16.1234567890\\"}},
           .arguments = {"--install_smpd"},
           .then = {.errors = name_too_long, .files = logged(name_too_long), .status = 254}},
          {.name = "SmpdAddsToItsLog",
           .variables = {{"COMPUTERNAME", std::nullopt}, {"RSH_USER", "jdoe"}},
           .files = {{"{log}", "before\r\n"}},
           .arguments = {"--install_smpd"},
           .then = {.output = "\nError in find zephon release!\n\n",
                    .files = {{"{log}",
                               "before\n\n------------- start @ {time}\n\n"
                               "\nError in find zephon release!\n{end}"}},
                    .status = 1}},
          {.name = "SmpdNeedsNoLog",
           .variables = {{"RSH_USER", "jdoe"}},
           .files = {{"{log}\\"}},
           .arguments = {"--install_smpd"},
           .then = {.output = "\nError in find zephon release!\n\n", .status = 1}},

          started("MayRunAlready", "smpd running on HERE\n", none, " smpd running on HERE\n",
                  "MPICH2 SMPD has already been running!"),
          started("IsStarted", "no smpd running on HERE\n", {"..\\own\\bin\\smpd.exe -d 0"},
                  " no smpd running on HERE\n"
                  "\nSuccessfully started the SMPD for INTEL MPI!\n",
                  "MPICH2 SMPD started from ..\\own\\bin!"),

          set_up("ShowsTheFirstLineOfItsSetup", "Setup has begun\nand goes on\n",
                 {{"Setup has begun\n"}, {"{check services}"}}),
          set_up("ShowsAtMost1023CharactersOfIt", std::string(2'000, 'x'),
                 {{std::string(1'023, 'x')}, {"{check services}"}}),
          set_up("ShowsNoLineOfASilentSetup", "", {{"{check services}"}}),
          traced(set_up("IsTraced", "", {{"{check services}"}}),
                 "\ncmd = {setup} /verysilent /components=\"plaformmpi\" (..\\src\\mpirun:4151)"),
          without_setup("NeedsASetup", {"--r6.3.26", "--install_ibmmpi"}, "..\\inc\\zephon6.3.26"),
          without_setup("NeedsARelease", {"--install_ibmmpi"}, "..\\inc\\zephon"),
          with(without_setup("NeedsARoot", {"--r6.3.26", "--install_ibmmpi"}, "\\zephon6.3.26"),
               {{"ZEPHON_INC", std::nullopt}}),
          {.name = "PlatformMpiNeedsAListOfReleases",
           .variables = {{"ZEPHON_INC", "..\\nowhere"}},
           .arguments = {"--install_ibmmpi"},
           .then = {.boxes = {{.text = "Cannot read directory:..\\nowhere\n", .caption = "zephon"}},
                    .status = 254}},
      }};
}

}  // namespace cases
