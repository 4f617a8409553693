// network_path_test.cpp: the network form of paths.

#include <gtest/gtest.h>

#include <filesystem>

#include "scenario_bench.h"

using namespace scenario;

namespace {

// The value of a variable after --path= with this path.
std::string path_after_conversion(const std::string &path) {
  given_installed_release();
  const auto run = run_launcher("--mpi=net --path=" + in_quotes(path) + " " + given_solver());
  EXPECT_EQ(0U, run.status) << run.errors;
  const auto start = only_start_of("solver.exe");
  EXPECT_EQ(start.variable("ZEPHON_INC"), start.variable("ZEPHON_SHARED_DIR"));
  return start.variable("ZEPHON_INC").value_or("(none)");
}

}  // namespace

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
