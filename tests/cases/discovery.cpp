// discovery.cpp: the choice of the MPI, its wrapper library, the PATH of the remote
// processes and the folders of an MPI.
#include "cases/families.h"

namespace cases {

namespace {

// The back-end of each name, shown by the beginning of its command. MPICH shows the
// remote path.
const std::vector<word> words = {{"mpirun", "{world}\\mpich\\bin\\mpirun.exe"},
                                 {"hosts", "{world}\\hosts"},
                                 {"wrapper", "{wrappers}\\mpich"}};

launch_case mpich_given() {
  return {.variables = {{"MPI_HOME", "{world}\\mpich"}, {"ZEPHON_HOSTS_FILE", "{hosts}"}},
          .files = {{"{wrapper}\\mpi_wrapper.dll"}, {"{hosts}", "n1\nn2\n"}},
          .tools = {{"{mpirun}"}, {"{solver}"}},
          .arguments = {"--mpi=mpich"},
          .then = {.starts = {"{mpirun} -machinefile {hosts} -np 1  -env PATH={wrapper} "}}};
}

launch_case remote_path(const std::string &name, const texts &arguments, const std::string &path,
                        const std::vector<variable> &variables = {}) {
  return {.name = name,
          .variables = variables,
          .arguments = arguments,
          .then = {.starts = {"{mpirun} -machinefile {hosts} -np 1  -env PATH=" + path + " "}}};
}

launch_case missing(const std::string &name, const std::string &mpi,
                    const std::vector<file> &files = {}) {
  return {
      .name = name,
      .files = files,
      .arguments = {"--mpi=" + mpi, "{solver}"},
      .then = {.starts = none,
               .errors = "Error: communicator \"" + mpi + "\" is not available on this machine.\n",
               .status = 2}};
}

launch_case without_launch_command(const std::string &name, const std::string &mpi,
                                   const std::string &warning) {
  return {.name = name,
          .variables = {{"RSH_USER", "jdoe"}},
          .files = {{"{wrappers}\\" + mpi + "\\mpi_wrapper.dll"}},
          .arguments = {"--mpi=" + mpi, "{solver}", "a.jou"},
          .then = {.starts = {"{\"solver\"} a.jou"}, .output = warning}};
}

std::string warning(const std::string &mpi) {
  return "\nWarning: MPI \"" + mpi +
         "\" has no launch command, so the program is started without one.\n";
}

launch_case unknown_name(const std::string &name, const std::string &mpi) {
  return without_launch_command(name, mpi, warning(mpi) + "\n");
}

}  // namespace

launch_family mpi_choice_family() {
  auto given = mpich_given();
  given.arguments.clear();
  return {.name = "MpiChoice",
          .words = words,
          .given = given,
          .rows = {
              unknown_name("MindsTheCaseOfMpich", "MPICH"),
              unknown_name("MindsTheCaseOfIntel", "Intel"),
              unknown_name("TakesNoLongerName", "mpich22"),
              unknown_name("TakesNoShorterName", "mpic"),
              {.name = "ShowsAWarningForAnUnknownName",
               .files = {{"{wrappers}\\other\\mpi_wrapper.dll"}},
               .arguments = {"--mpi=other", "{solver}"},
               .then = {.starts = {"{\"solver\"}"},
                        .boxes = {{.text = warning("other"), .caption = "zephon"}}}},
              {.name = "SaysNothingWithoutAName",
               .files = {{"{prod}\\netweave\\mpi_wrapper\\win64\\mpi_wrapper.dll"}},
               .arguments = {"--np=2", "{solver}"},
               .then = {.starts = {"{\"solver\"}"}}},
          }};
}

launch_family discovery_family() {
  return {
      .name = "Discovery",
      .words = words,
      .given = mpich_given(),
      .rows = {
          missing("MissesTheWrapperByTheNameOfItsMpi", "intel"),
          missing("MissesTheWrapperOfAnotherArchitecture", "intel",
                  {{"{prod}\\netweave\\mpi_wrapper\\win32\\intel\\mpi_wrapper.dll"}}),
          missing("MissesAWrapperThatIsAFolder", "intel",
                  {{"{wrappers}\\intel\\mpi_wrapper.dll\\"}}),
          missing("NeverReadsANameAsAFormat", "%s%n%d"),
          {.name = "MissesTheWrapperWithoutAnyRelease",
           .variables = {{"ZEPHON_PROD", std::nullopt},
                         {"ZEPHON_PROD_DIR", std::nullopt},
                         {"ZEPHON_INC", std::nullopt},
                         {"ZEPHON_ARCH", std::nullopt}},
           .then = {.starts = none,
                    .errors = "Error: communicator \"mpich\" is not available on this machine.\n",
                    .status = 2}},
          {.name = "NeedsNoWrapperWithoutAnMpi",
           .arguments = {"--mpi=net", "{solver}"},
           .then = {.starts = {"{\"solver\"}"}}},
          {.name = "FindsTheWrapperWithoutAnArchitecture",
           .variables = {{"ZEPHON_ARCH", std::nullopt}},
           .files = {{"{prod}\\netweave\\mpi_wrapper\\mpich\\mpi_wrapper.dll"}},
           .then = {.starts = {"{mpirun} -machinefile {hosts} -np 1  -env "
                               "PATH={prod}\\netweave\\mpi_wrapper\\\\mpich "}}},
          remote_path("PutsTheWrapperBehindWhatPathnodeNames", {"--pathnode=D:\\bin;E:\\bin"},
                      "D:\\bin;E:\\bin;{wrapper}"),
          remote_path("HoldsTheWrapperOnlyOnce", {"--pathnode={wrapper}"}, "{wrapper}"),
          remote_path("HoldsTheWrapperAgainWhenItStandsAmongOthers",
                      {"--pathnode={wrapper};D:\\bin"}, "{wrapper};D:\\bin;{wrapper}"),
          remote_path("ComparesThePathLetterByLetter", {"--pathnode=D:\\bin;{wrapper}x"},
                      "D:\\bin;{wrapper}x;{wrapper}"),
          remote_path("ComparesCapitalAndSmallLetters",
                      {"--pathnode=..\\PROD\\netweave\\mpi_wrapper\\win64\\mpich"},
                      "..\\PROD\\netweave\\mpi_wrapper\\win64\\mpich;"
                      "..\\prod\\netweave\\mpi_wrapper\\win64\\mpich",
                      {{"ZEPHON_PROD_DIR", "..\\prod"}}),
          remote_path("TakesAnEmptyPathnodeForNone", {"--pathnode=D:\\bin", "--pathnode="},
                      "{wrapper}"),
          remote_path("AddsTheGraphicsFolderForTheAcceleratedProgram", {},
                      "{wrapper};{prod}\\netweave\\gpu_wrapper\\win64\\stub",
                      {{"ZEPHON_PROD", "lumis_acc"}}),
          remote_path("AddsTheGraphicsFolderAlsoToTheWrapperAlone", {"--pathnode={wrapper}"},
                      "{wrapper};{prod}\\netweave\\gpu_wrapper\\win64\\stub",
                      {{"ZEPHON_PROD", "lumis_acc"}}),
          remote_path("AddsNoGraphicsFolderForLumis", {}, "{wrapper}", {{"ZEPHON_PROD", "lumis"}}),
          remote_path("AddsNoGraphicsFolderForTessa", {}, "{wrapper}", {{"ZEPHON_PROD", "tessa"}}),
          remote_path("AddsNoGraphicsFolderForTheOtherAcceleratedProgram", {}, "{wrapper}",
                      {{"ZEPHON_PROD", "tessa_acc"}}),
          remote_path("AddsNoGraphicsFolderForALongerName", {}, "{wrapper}",
                      {{"ZEPHON_PROD", "lumis_acc2"}}),
          remote_path("AddsNoGraphicsFolderForCapitals", {}, "{wrapper}",
                      {{"ZEPHON_PROD", "LUMIS_ACC"}}),
          remote_path("AddsNoGraphicsFolderForAnEmptyName", {}, "{wrapper}", {{"ZEPHON_PROD", ""}}),
          {.name = "AddsNoGraphicsFolderOnOtherArchitectures",
           .variables = {{"ZEPHON_PROD", "lumis_acc"}, {"ZEPHON_ARCH", "win32"}},
           .files = {{"{prod}\\netweave\\mpi_wrapper\\win32\\mpich\\mpi_wrapper.dll"}},
           .then = {.starts = {"{mpirun} -machinefile {hosts} -np 1  -env "
                               "PATH={prod}\\netweave\\mpi_wrapper\\win32\\mpich "}}},
          {.name = "InstallsPlatformMpiForTheValueOneOnly",
           .variables = {{"ZEPHON_INSTALL_IBMMPI", "yes"}}},
          {.name = "InstallsPlatformMpiBeforeItLooksForAWrapper",
           .variables = {{"ZEPHON_INSTALL_IBMMPI", "1"}},
           .files = {{"{wrapper}\\mpi_wrapper.dll", std::nullopt}},
           .arguments = {"--r1.2.3"},
           .then = {.starts = none,
                    .boxes = {{.text = "{mpi}\\ibmmpi\\sbin\\setup.exe: File does not exist!"}}}},
      }};
}

}  // namespace cases
