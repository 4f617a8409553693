// discovery_test.cpp: the wrapper library, the PATH of the remote processes, the
// folders of an MPI and the network form of paths.

#include <gtest/gtest.h>

#include <filesystem>

#include "scenario_bench.h"

using namespace scenario;

namespace {

std::string missing(const std::string &mpi) {
  return "Error: communicator \"" + mpi + "\" is not available on this machine.\r\n";
}

// The PATH that MPICH is told to give its remote processes.
std::string remote_path(const std::string &options = "") {
  const auto run = run_launcher("--mpi=mpich " + options);
  EXPECT_EQ(0U, run.status) << run.errors;
  const auto line = only_start_of("mpich\\bin\\mpirun.exe").command_line;
  const std::string option = " -env PATH=";
  const auto at = line.find(option);
  if (at == std::string::npos) {
    return "(none)";
  }
  auto path = line.substr(at + option.size());
  EXPECT_TRUE(path.ends_with(" ")) << line;  // the blank before the solver's arguments
  path.pop_back();
  return path;
}

std::string wrapper_folder(const std::string &mpi, const std::string &arch = "win64") {
  return in_world("prod\\netweave\\mpi_wrapper\\" + arch + "\\" + mpi);
}

// The value of a variable after --path= with this path.
std::string path_after_conversion(const std::string &path) {
  given_installed_release();
  const auto run = run_launcher("--mpi=net --path=" + in_quotes(path) + " " + given_solver());
  EXPECT_EQ(0U, run.status) << run.errors;
  const auto start = only_start_of("solver.exe");
  EXPECT_EQ(start.variable("ZEPHON_INC"), start.variable("ZEPHON_SHARED_DIR"));
  return start.variable("ZEPHON_INC").value_or("(none)");
}

// The first command with which Intel MPI's tools are asked.
std::string first_command_of_intel_mpi() {
  given_installed_release();
  given_wrapper("intel");
  given_command_interpreter("");
  given_file("hosts", "n1\nn2\n");
  given_variable("ZEPHON_HOSTS_FILE", in_world("hosts"));
  given_variable("RSH_USER", "someone");
  (void)run_launcher("--mpi=intel --r6.3.0 --np=2 solver");
  const auto starts = starts_of("cmd.exe");
  return starts.empty() ? "(none)" : starts[0].command_line;
}

}  // namespace

TEST(Wrapper, IsMissedByTheNameOfItsMpi) {
  given_installed_release();
  const auto run = run_launcher("--mpi=intel " + given_solver());
  EXPECT_EQ(2U, run.status);
  EXPECT_EQ(missing("intel"), run.errors);
  EXPECT_EQ("", run.output);
  EXPECT_TRUE(starts_of("solver.exe").empty());
}

TEST(Wrapper, IsMissedWithoutAnyRelease) {
  const auto run = run_launcher("--mpi=intel solver");
  EXPECT_EQ(2U, run.status);
  EXPECT_EQ(missing("intel"), run.errors);
}

TEST(Wrapper, IsMissedWhenOnlyAnotherArchitectureHasIt) {
  given_installed_release();
  given_wrapper("intel", "win32");
  EXPECT_EQ(missing("intel"), run_launcher("--mpi=intel solver").errors);
}

TEST(Wrapper, IsMissedWhenOnlyAFolderHasItsName) {
  given_installed_release();
  given_folder("prod\\netweave\\mpi_wrapper\\win64\\intel\\mpi_wrapper.dll");
  EXPECT_EQ(missing("intel"), run_launcher("--mpi=intel solver").errors);
}

TEST(Wrapper, IsNeverReadAsAFormat) {
  given_installed_release();
  EXPECT_EQ(missing("%s%n%d"), run_launcher("--mpi=%s%n%d solver").errors);
}

TEST(Wrapper, IsNotNeededWithoutAnMpi) {
  given_installed_release();
  EXPECT_EQ(0U, run_launcher("--mpi=net " + given_solver()).status);
  EXPECT_EQ(1U, starts_of("solver.exe").size());
}

TEST(Wrapper, IsTakenFromTheReleaseWithoutAnArchitecture) {
  given_installed_release();
  given_no_variable("ZEPHON_ARCH");
  given_mpich();
  given_file("prod\\netweave\\mpi_wrapper\\mpich\\mpi_wrapper.dll");
  EXPECT_EQ(in_world("prod\\netweave\\mpi_wrapper\\\\mpich"), remote_path());
}

TEST(RemotePath, IsTheWrappersFolder) {
  given_installed_release();
  given_mpich();
  EXPECT_EQ(wrapper_folder("mpich"), remote_path());
}

TEST(RemotePath, FollowsWhatPathnodeNames) {
  given_installed_release();
  given_mpich();
  EXPECT_EQ("D:\\bin;E:\\bin;" + wrapper_folder("mpich"),
            remote_path("--pathnode=D:\\bin;E:\\bin"));
}

TEST(RemotePath, HoldsTheWrappersFolderOnlyOnce) {
  given_installed_release();
  given_mpich();
  EXPECT_EQ(wrapper_folder("mpich"),
            remote_path("--pathnode=" + in_quotes(wrapper_folder("mpich"))));
}

TEST(RemotePath, HoldsTheWrappersFolderAgainWhenItStandsAmongOthers) {
  given_installed_release();
  given_mpich();
  const auto both = "D:\\bin;" + wrapper_folder("mpich");
  EXPECT_EQ(both + ";" + wrapper_folder("mpich"), remote_path("--pathnode=" + in_quotes(both)));
}

TEST(RemotePath, IsTheWrappersFolderForAnEmptyPathnode) {
  given_installed_release();
  given_mpich();
  EXPECT_EQ(wrapper_folder("mpich"), remote_path("--pathnode=D:\\bin --pathnode="));
}

TEST(RemotePath, EndsWithTheGraphicsFolderForTheAcceleratedProgram) {
  given_installed_release();
  given_mpich();
  given_variable("ZEPHON_PROD", "lumis_acc");
  EXPECT_EQ(wrapper_folder("mpich") + ";" + in_world("prod\\netweave\\gpu_wrapper\\win64\\stub"),
            remote_path());
}

TEST(RemotePath, HasNoGraphicsFolderForOtherPrograms) {
  given_installed_release();
  given_mpich();
  for (const auto *const program : {"lumis", "tessa", "tessa_acc", "lumis_acc2"}) {
    given_variable("ZEPHON_PROD", program);
    (void)run_launcher("--mpi=mpich");
  }
  const auto starts = starts_of("mpich\\bin\\mpirun.exe");
  EXPECT_EQ(4U, starts.size());
  for (const auto &start : starts) {
    EXPECT_EQ(std::string::npos, start.command_line.find("gpu_wrapper")) << start.command_line;
  }
}

TEST(RemotePath, HasNoGraphicsFolderOnOtherArchitectures) {
  given_installed_release();
  given_mpich();
  given_wrapper("mpich", "win32");
  given_variable("ZEPHON_PROD", "lumis_acc");
  given_variable("ZEPHON_ARCH", "win32");
  EXPECT_EQ(wrapper_folder("mpich", "win32"), remote_path());
}

TEST(MpiFolder, StandsInTheRequestedRelease) {
  given_installed_release();
  given_wrapper("msmpi");
  const auto mpiexec = mpi_folder("6.3.0", "ms") + "\\bin\\mpiexec.exe";
  given_tool(mpiexec);
  EXPECT_EQ(0U, run_launcher("--mpi=msmpi --r6.3.0 case").status);
  EXPECT_TRUE(only_start_of(mpiexec).command_line.starts_with(in_quotes(in_world(mpiexec))));
}

TEST(MpiFolder, HasNoVersionWithoutARelease) {
  given_installed_release();
  given_wrapper("msmpi");
  const auto mpiexec = mpi_folder("", "ms") + "\\bin\\mpiexec.exe";
  given_tool(mpiexec);
  EXPECT_EQ(0U, run_launcher("--mpi=msmpi case").status);
  EXPECT_TRUE(only_start_of(mpiexec).command_line.starts_with(in_quotes(in_world(mpiexec))));
}

TEST(MpiFolder, MovesToTheLocalRoot) {
  given_variable("ZEPHON_INC_LOCAL_RESERVED", "D:\\local");
  const auto command = first_command_of_intel_mpi();
  EXPECT_TRUE(command.starts_with("cmd.exe /c D:\\local\\zephon6.3.0\\netweave\\mpi\\win64\\intel"))
      << command;
}

TEST(MpiFolder, IgnoresALocalRootWithABlank) {
  given_variable("ZEPHON_INC_LOCAL_RESERVED", "D:\\my local");
  const auto command = first_command_of_intel_mpi();
  EXPECT_EQ(std::string::npos, command.find("my local")) << command;
  EXPECT_NE(std::string::npos, command.find(in_world(mpi_folder("6.3.0", "intel")))) << command;
}

TEST(NetworkPath, ReplacesAMappedDrive) {
  given_mapped_drive("X:", "\\\\server\\share");
  EXPECT_EQ("\\\\server\\share\\the release", path_after_conversion("X:\\the release"));
}

TEST(NetworkPath, ReplacesAMappedDriveWithAVeryLongName) {
  const std::string share = "\\\\server\\" + std::string(3000, 's');
  given_mapped_drive("X:", share);
  EXPECT_EQ(share + "\\inc", path_after_conversion("X:\\inc"));
}

TEST(NetworkPath, LeavesAnotherDriveAlone) {
  given_mapped_drive("X:", "\\\\server\\share");
  EXPECT_EQ("D:\\the release", path_after_conversion("D:\\the release"));
}

TEST(NetworkPath, LeavesEveryPathAloneWhenWindowsKnowsNoShare) {
  EXPECT_EQ("C:\\the release", path_after_conversion("C:\\the release"));
}

TEST(NetworkPath, LeavesAPathAloneThatIsOneAlready) {
  given_mapped_drive("X:", "\\\\server\\share");
  EXPECT_EQ("\\\\server\\share\\inc", path_after_conversion("\\\\server\\share\\inc"));
}

TEST(NetworkPath, LeavesAPathAloneWhenTheLibraryHasNoSuchFunction) {
  std::filesystem::copy_file(built_mpr_without_names(), in_world("mpr.dll"));
  EXPECT_EQ("X:\\inc", path_after_conversion("X:\\inc"));
}
