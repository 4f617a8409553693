// solver.cpp: the start of the solver: what it is given, what is said when it cannot be
// started, and what comes after it.
#include "cases/families.h"

namespace cases {

namespace {

// A run that asks for no MPI.
launch_case without_mpi() {
  return {.files = {{"{prod}\\netweave\\mpi_wrapper\\win64\\mpi_wrapper.dll"}},
          .tools = {{"{solver}"}, {"job.exe"}},
          .then = {.starts = {"{\"solver\"}"}}};
}

// A program that Windows does not start, and what is said of it in the output.
launch_case refused(const std::string &name, const texts &arguments,
                    const std::vector<variable> &variables = {{"RSH_USER", "jdoe"}}) {
  launch_case row = {.name = name, .variables = variables, .arguments = {"no_such_program"}};
  row.arguments.insert(row.arguments.end(), arguments.begin(), arguments.end());
  row.then = {.starts = none, .status = 255};
  row.then.output = "Unable to execute (null) no_such_program\n{error 2}\n\n";
  return row;
}

const std::string warning =
    "\nWarning: Total solver processes count need to be greater or equal to meshing processes "
    "count, so resetting the count to 8\n";

const std::string too_long(32'767, 'x');
const std::string long_path = "{path}" + std::string(30'000, ';');

// The command that lets a job go, when the job is not for an MPI.
launch_case job_exit(const std::string &name, const texts &arguments, const texts &asks) {
  return {.name = name,
          .variables = {{"CANCEL_CCP_JOB_EXIT1", "job modify 5"}, {"ZEPHON_PROD", "lumis"}},
          .arguments = arguments,
          .then = {.asks = asks}};
}

// A message that is gathered until the end.
launch_case warned(const std::string &name, const std::optional<std::string> &program,
                   const std::string &caption) {
  return {.name = name,
          .variables = {{"ZEPHON_PROD", program}, {"MESHING_MODE", "1"}, {"PARA_MESH_NPROCS", "8"}},
          .arguments = {"{solver}", "--mpi=net", "--np=4"},
          .then = {.boxes = {{.text = warning, .caption = caption}}}};
}

}  // namespace

launch_family solver_family() {
  return {
      .name = "Solver",
      .given = without_mpi(),
      .rows = {
          {.name = "WritesToTheLaunchersOutput",
           .variables = {{"SOLVER_LICENSE", "27000@server"}},
           .tools = {{"{solver}", "residual 1e-3\n", "a warning\n"}},
           .arguments = {"{solver}"},
           .then = {.output = "residual 1e-3\n",
                    .errors = "a warning\n",
                    .variables = {{"SOLVER_LICENSE", "27000@server"}, {"ZEPHON_ARCH", "win64"}}}},
          {.name = "MayFailWithoutChangingTheStatus",
           .variables = {{"ZEPHON_PROD", "lumis"}},
           .tools = {{.command = "{solver}", .status = 9}},
           .arguments = {"{solver}", "-wait"}},
          {.name = "IsStartedHereForAHostFileWithAHeadNode",
           .variables = {{"USE_CCP", "head"}, {"ZEPHON_HOSTS_FILE", "hosts"}},
           .arguments = {"{solver}"}},
          {.name = "IsLoggedWhenTheUserWantsThat",
           .variables = {{"ZEPHON_RUN_DEBUG", "..\\log"}},
           .files = {{"{world}\\log", "before\r\n"}},
           .arguments = {"{solver}", "3d"},
           .then = {.starts = {"{\"solver\"} 3d"},
                    .files = {{"{world}\\log", "before\n\n{\"solver\"} 3d\n"}}}},
          {.name = "IsNotTimedInAFolder",
           .files = {{"{world}\\folder\\"}},
           .arguments = {"{solver}", "--o", "..\\folder"}},

          {.name = "NeedsNoStartScript",
           .variables = {{"ZEPHON_PROD", std::nullopt},
                         {"ZEPHON_PROD_DIR", std::nullopt},
                         {"ZEPHON_INC", std::nullopt},
                         {"ZEPHON_ARCH", std::nullopt},
                         {"STDOUT_FLUSH", std::nullopt},
                         {"PATH", long_path}},
           .arguments = {"{solver}", "--mpi=net"},
           .then = {.variables = {{"PATH", long_path}}}},
          {.name = "MayStandInAnyFolder",
           .tools = {{"{world}\\K\xF6ln \xDC\\solver.exe", "solving\n"}},
           .arguments = {"{world}\\K\xF6ln \xDC\\solver.exe"},
           .then = {.starts = {"\"{world}\\K\xF6ln \xDC\\solver.exe\""}, .output = "solving\n"}},
          {.name = "IsNotStartedWithoutTheWrapper",
           .files = {{"{prod}\\netweave\\mpi_wrapper\\win64\\mpi_wrapper.dll", std::nullopt}},
           .arguments = {"--r12.0.0"},
           .then = {.starts = none,
                    .errors = "Error: communicator \"\" is not available on this machine.\n",
                    .status = 2}},

          // What is said at the end.
          warned("IsFollowedByABoxWithItsName", "beamtrace", "beamtrace"),
          warned("IsFollowedByABoxWithAnotherNameWithoutOne", std::nullopt, "Zephon"),
          {.name = "ThatIsNotStartedIsFollowedByTheBoxToo",
           .variables = {{"MESHING_MODE", "1"}, {"PARA_MESH_NPROCS", "8"}},
           .arguments = {"--mpi=intel", "--np=4"},
           .then = {.starts = none,
                    .errors = "Error: communicator \"intel\" is not available on this machine.\n",
                    .boxes = {{.text = warning, .caption = "zephon"}},
                    .status = 2}},

          // One that cannot be started.
          {.name = "ThatIsRefusedIsShownInABox",
           .variables = {{"ZEPHON_PROD", "%s%n%d%%"}},
           .arguments = {"no_such_program", "%s%n%d%%", "--o", "..\\times"},
           .then = {.starts = none,
                    .boxes = {{.text = "Unable to execute (null) no_such_program %s%n%d%%\n"
                                       "{error 2}\n",
                               .caption = "%s%n%d%%"}},
                    .status = 255}},
          refused("ThatIsRefusedIsPrintedInARemoteShell", {}),
          refused("ThatIsRefusedIsPrintedForANode", {"--node"}, {}),
          refused("ThatIsRefusedIsPrintedForAHost", {"--host"}, {}),
          refused("ThatIsRefusedIsPrintedForCx", {"--cx"}, {}),
          {.name = "ThatIsRefusedIsNeverReadAsAFormat",
           .variables = {{"RSH_USER", "jdoe"}},
           .arguments = {"no_such_program", "%s%n%d"},
           .then = {.starts = none,
                    .output = "Unable to execute (null) no_such_program %s%n%d\n{error 2}\n\n",
                    .status = 255}},
          {.name = "MayNotBeEmpty",
           .variables = {{"RSH_USER", "jdoe"}},
           .arguments = {"--debugmpi"},
           .then = {.starts = none,
                    .output = "Unable to execute (null) \n{error 87}\n\n",
                    .status = 255},
           .only_scripted = "Wine has another error for it than Windows"},
          {.name = "MayNotHaveALongerCommandThanWindowsTakes",
           .variables = {{"RSH_USER", "jdoe"}},
           .arguments = {"{solver}", too_long},
           .then = {.starts = none,
                    .output =
                        "Unable to execute (null)   {\"solver\"} " + too_long + "\n{error 206}\n\n",
                    .status = 255},
           .only_scripted = "Windows starts no launcher with a command of this length"},
          {.name = "MayNotBeAText",
           .variables = {{"RSH_USER", "jdoe"}},
           .files = {{"{world}\\text.exe", "this is no program"}},
           .arguments = {"..\\text.exe"},
           .then = {.starts = none,
                    .output = "Unable to execute (null) ..\\text.exe\n{error 193}\n\n",
                    .status = 255},
           .only_real = "every file of the scripted door may be a program"},

          // The command that lets the job go.
          job_exit("IsFollowedByTheJobExitCommand", {"{solver}"}, {"job modify 5"}),
          job_exit("IsFollowedByTheJobExitCommandWithAnInterconnect",
                   {"{solver}", "--ic=ib", "--ic="}, {"job modify 5"}),
          {.name = "IsTracedAndLoggedAndNeverReadAsAFormat",
           .variables = {{"ZEPHON_STARTUP_DEBUG", "1"},
                         {"ZEPHON_RUN_DEBUG", "..\\log %s%n"},
                         {"ZEPHON_PROD", "lumis"},
                         {"CANCEL_CCP_JOB_EXIT1", "job %s%n%d%%"}},
           .arguments = {"--ptrace", "{solver}", "%s%n%d%%"},
           .then = {.asks = {"job %s%n%d%%"},
                    .starts = {"{\"solver\"} %s%n%d%%"},
                    .output = "\ncmd = job %s%n%d%% (..\\src\\mpirun:4151)\njob %s%n%d%%\n",
                    .files = {{"{world}\\log %s%n", "\n{\"solver\"} %s%n%d%%\n"}}}},
          job_exit("IsNotFollowedByItForAProcessCount", {"{solver}", "--np=1"}, {}),
          job_exit("IsNotFollowedByItForAnMpi", {"{solver}", "--mpi=net"}, {}),
          {.name = "ThatIsRefusedIsNotFollowedByTheJobExitCommand",
           .variables = {{"CANCEL_CCP_JOB_EXIT1", "job modify 5"}, {"RSH_USER", "jdoe"}},
           .arguments = {"no_such_program"},
           .then = {.starts = none,
                    .output = "Unable to execute (null) no_such_program\n{error 2}\n\n",
                    .status = 255}},
      }};
}

}  // namespace cases
