// mpich.cpp: the command lines of MPICH.
#include "cases/families.h"

namespace cases {

namespace {

const std::string no_home =
    "\n Error: environment variable MPI_HOME does not exist!\n"
    " Please verify that MPICH has been installed on all computers in the specified cluster in "
    "the cnf file\n";

const std::string long_home = "C:\\" + std::string(243, 'h');  // MPI_HOME=... has 255 characters

}  // namespace

launch_family mpich_family() {
  return {
      .name = "Mpich",
      .words = {{"mpich", "{world}\\mpich"},
                {"mpirun", "{mpich}\\bin\\mpirun.exe"},
                {"hosts", "{world}\\hosts"},
                {"node path", "{wrappers}\\mpich"}},
      .given =
          {.variables = {{"MPI_HOME", "{mpich}"}, {"ZEPHON_HOSTS_FILE", "{hosts}"}},
           .files = {{"{wrappers}\\mpich\\mpi_wrapper.dll"}, {"{hosts}", "n1\nn2\n"}},
           .tools = {{"{mpirun}"}},
           .arguments = {"--mpi=mpich"},
           .then = {.starts = {"{mpirun} -machinefile {hosts} -np 1  -env PATH={node path} "}}},
      .rows = {
          {.name = "GetsHostFileProcessCountPathAndSolver",
           .tools = {{"{mpirun}", "iteration 1\n"}},
           .arguments = {"--np=4", "solver", "-j", "a case.jou"},
           .then = {.starts = {"{mpirun} -machinefile {hosts} -np 4  -env PATH={node path}  "
                               "solver -j \"a case.jou\""},
                    .output = "iteration 1\n"}},
          {.name = "QuotesNothing",
           .variables = {{"MPI_HOME", "..\\my mpich"}, {"ZEPHON_HOSTS_FILE", "..\\my hosts"}},
           .tools = {{"..\\my mpich\\bin\\mpirun.exe"}},
           .arguments = {"--np=4", "--pathnode=D:\\my node"},
           .then = {.starts = {"..\\my mpich\\bin\\mpirun.exe -machinefile ..\\my hosts -np 4  "
                               "-env PATH=D:\\my node;{node path} "}}},
          {.name = "IsAlsoCalledSmpi",
           .files = {{"{wrappers}\\smpi\\mpi_wrapper.dll"}},
           .arguments = {"--mpi=smpi"},
           .then =
               {.starts = {"{mpirun} -machinefile {hosts} -np 1  -env PATH={wrappers}\\smpi "}}},
          {.name = "IsAlsoCalledNmpi",
           .files = {{"{wrappers}\\nmpi\\mpi_wrapper.dll"}},
           .arguments = {"--mpi=nmpi"},
           .then =
               {.starts = {"{mpirun} -machinefile {hosts} -np 1  -env PATH={wrappers}\\nmpi "}}},
          {.name = "TakesTheHostFileOfTheCnfOption",
           .arguments = {"--cnf=D:\\others"},
           .then = {.starts = {"{mpirun} -machinefile D:\\others -np 1  -env PATH={node path} "}}},
          {.name = "DoesNotLookIntoTheHostFile", .files = {{"{hosts}", std::nullopt}}},
          {.name = "NeedsAHostFile",  // the home is asked for afterwards
           .variables = {{"ZEPHON_HOSTS_FILE", std::nullopt}, {"MPI_HOME", std::nullopt}},
           .then = {.starts = none,
                    .errors = "\n Error:  Hostfile does not exist!\n",
                    .status = 2}},
          {.name = "NeedsItsHome",
           .variables = {{"MPI_HOME", std::nullopt}},
           .then = {.starts = none, .errors = no_home, .status = 2}},
          {.name = "NeedsMpiHomeBesideMpichHome",
           .variables = {{"MPI_HOME", std::nullopt}, {"MPICH_HOME", "{mpich}"}},
           .then = {.starts = none, .errors = no_home, .status = 2}},
          {.name = "TakesMpichHomeBeforeMpiHome",
           .variables = {{"MPI_HOME", "C:\\a"}, {"MPICH_HOME", "{mpich}"}},
           .then = {.variables = {{"MPI_HOME", "{mpich}"}}}},
          {.name = "LeavesMpiHomeAsItIs", .then = {.variables = {{"MPI_HOME", "{mpich}"}}}},
          {.name = "TakesAMpichHomeOf246CharactersWhole",
           .variables = {{"MPICH_HOME", long_home}, {"RSH_USER", "jdoe"}},
           .then = {.starts = none,
                    .output = "Unable to execute (null) " + long_home +
                              "\\bin\\mpirun.exe -machinefile {hosts} -np 1  -env PATH={node path} "
                              "\n{error 2}\n\n",
                    .status = 255}},
          {.name = "CutsALongerMpichHome",
           .variables = {{"MPICH_HOME", long_home + "x"}, {"RSH_USER", "jdoe"}},
           .then = {.starts = none,
                    .output = "Unable to execute (null) " + long_home +
                              "\\bin\\mpirun.exe -machinefile {hosts} -np 1  -env PATH={node path} "
                              "\n{error 2}\n\n",
                    .status = 255}},
          {.name = "TakesAnEmptyMpichHomeAtItsWord",
           .variables = {{"MPICH_HOME", ""}, {"RSH_USER", "jdoe"}},
           .then = {.starts = none,
                    .output =
                        "Unable to execute (null) \\bin\\mpirun.exe -machinefile {hosts} -np 1 "
                        " -env PATH={node path} \n{error 2}\n\n",
                    .status = 255}},
          {.name = "GoesByTheNameWhateverExtMpirunSays",
           .variables = {{"EXT_MPIRUN", "other_mpirun"}}},
      }};
}

}  // namespace cases
