// Tests of the conversion of paths to their network form.
#include "core/unc_path.h"

#include <gtest/gtest.h>

#include <string>

#include "support/fresh_launch.h"

using namespace stand_in;

namespace {

std::string converted(std::string path) {
  convert_to_unc(path);
  return path;
}

TEST(UncPath, NamesTheShareOfAMappedDrive) {
  given_network_drive("X:", "\\\\server\\share");
  EXPECT_EQ("\\\\server\\share\\zephon\\a b", converted("X:\\zephon\\a b"));
  EXPECT_EQ("\\\\server\\share", converted("x:"));
}

TEST(UncPath, LeavesAPathOfALocalDrive) {
  given_network_drive("X:", "\\\\server\\share");
  EXPECT_EQ("C:\\zephon", converted("C:\\zephon"));
  EXPECT_EQ("\\\\other\\share", converted("\\\\other\\share"));
  EXPECT_EQ("", converted(""));
}

TEST(UncPath, LeavesThePathWithoutTheLibrary) {
  given_no_library("mpr.dll");
  given_network_drive("X:", "\\\\server\\share");
  EXPECT_EQ("X:\\zephon", converted("X:\\zephon"));
}

TEST(UncPath, MayBecomeLongerThanAThousandCharacters) {
  const std::string share = "\\\\server\\" + std::string(2'000, 's');
  given_network_drive("X:", share);
  EXPECT_EQ(share + "\\a", converted("X:\\a"));
}

TEST(UncPath, LoadsAndReleasesTheLibraryEachTime) {
  (void)converted("C:\\a");
  (void)converted("C:\\b");
  EXPECT_EQ(2U, times_loaded("mpr.dll"));
}

}  // namespace
