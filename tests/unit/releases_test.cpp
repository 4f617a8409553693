// Tests of the search for installed releases.
#include "install/releases.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/launch_state.h"
#include "support/fresh_launch.h"

using namespace stand_in;

namespace {

using texts = std::vector<std::string>;

// The versions found in a folder with these names.
texts found_among(const texts &names) {
  given_listing("C:\\zephon", names);
  texts releases;
  const bool found = find_releases("C:\\zephon", "zephon", releases);
  EXPECT_EQ(found, !releases.empty());
  return releases;
}

struct folder_and_versions {
  texts names;
  texts versions;
};

TEST(FindReleases, GivesTheVersionsInTheOrderOfTheFolder) {
  const std::vector<folder_and_versions> folders = {
      {{".", "..", "zephon6.3.26", "zephon12.0.16", "zephon12.0.1"},
       {"6.3.26", "12.0.16", "12.0.1"}},
      {{"zephon1.0", "zephon2.0"}, {"1.0", "2.0"}},  // the root of a drive has no "."
      {{".", "zephon1.0", "..", "..", "zephon2.0", ".."}, {"1.0", "2.0"}},
      {{".", "..", "lumis1.0", "Zephon2.0", "ZEPHON3.0", "zepho", "my zephon4.0"}, {}},
      {{"zephon6.3.26.bak", "zephon6.", "zephon6.3. 1", "zephon.x"}, {}},
      {{"zephon6.x.3", "zephon..6.3"}, {"6.3", "6.3"}},
      {{"zephon-v6b3.26", "zephon12", "zephon12beta0.1", "zephon"}, {"63.26", "12", "120.1", ""}},
      {{"zephon .5", "zephon .5.6"}, {"5", "5.6"}},
      {{".", ".."}, {}},
      {{"."}, {}},
      {{"zephon123456789012345"}, {"123456789012345"}},
  };
  for (const auto &[names, versions] : folders) {
    EXPECT_EQ(versions, found_among(names)) << names.back();
  }
}

TEST(FindReleases, TakesFilesForFoldersAndAnyPrefix) {
  given_file("C:\\zephon\\lumis1.2", "a file");
  texts releases;
  EXPECT_TRUE(find_releases("C:\\zephon", "lumis", releases));
  EXPECT_EQ(texts{"1.2"}, releases);
}

TEST(FindReleases, EndsTheProgramForAVersionOfSixteenCharacters) {
  EXPECT_EQ(254, status_of_exit([] { (void)found_among({"zephon1234567890123456"}); }));
  EXPECT_EQ("\n Error:  Release name is too long: zephon1234567890123456\n", standard_error());
}

TEST(FindReleases, ReadsThousandsOfNames) {
  texts names;
  for (int index = 0; index < 5'000; ++index) {
    names.push_back("zephon" + std::to_string(index) + ".0");
  }
  EXPECT_EQ(5'000U, found_among(names).size());
}

TEST(LatestRelease, ComparesNumberByNumber) {
  const std::string many = "1.1.1.1.1.1.1.1.1.1.1.1.1.1.1.1";  // sixteen count
  const std::vector<std::pair<texts, std::optional<std::string>>> lists = {
      {{"6.3.26", "12.0.1", "12.0.16"}, "12.0.16"},
      {{"12.0.16", "12.0.9", "6.3.26"}, "12.0.16"},
      {{"9.9.9", "10"}, "10"},
      {{"1.02", "1.2", "01.2"}, "1.02"},  // the earlier of equal ones
      {{"1.2.0", "1.2"}, "1.2.0"},
      {{"1.2", "1.2.0"}, "1.2"},
      {{"1.2", "1.2.1"}, "1.2.1"},
      {{"1.9.9", "2", "2.0.1"}, "2.0.1"},
      {{"0.0", "0", ""}, "0.0"},
      {{""}, ""},
      {{}, std::nullopt},
      {{many + ".1", many + ".2"}, many + ".1"},
      {{many, "1.1.1.1.1.1.1.1.1.1.1.1.1.1.1.2"}, "1.1.1.1.1.1.1.1.1.1.1.1.1.1.1.2"},
      {{"2147483646", "999999999999", "1"}, "999999999999"},
  };
  for (const auto &[releases, latest] : lists) {
    EXPECT_EQ(latest, latest_release(releases));
  }
}

TEST(RequestedRelease, IsTakenWithoutASearch) {
  state.release = "6.3.26";
  EXPECT_EQ("6.3.26", requested_or_latest_release());
  EXPECT_EQ("", state.message_buffer);
}

TEST(RequestedRelease, IsSearchedInTheRootOfTheDriveWithoutZephonInc) {
  given_no_listing("C:");
  EXPECT_EQ(254, status_of_exit([] { (void)requested_or_latest_release(); }));
  EXPECT_EQ("Cannot read directory:\n", state.message_buffer);
}

}  // namespace
