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

// The versions found in a folder with these names behind ".".
texts found_among(const texts &names) {
  texts listing = {"."};
  listing.insert(listing.end(), names.begin(), names.end());
  given_listing("C:\\zephon", listing);
  texts releases;
  const bool found = find_releases("C:\\zephon", "zephon", releases);
  EXPECT_EQ(!releases.empty(), found);
  return releases;
}

// ---- find_releases ------------------------------------------------------------------------

TEST(FindReleases, GivesTheVersionsInTheOrderOfTheFolder) {
  EXPECT_EQ((texts{"6.3.26", "12.0.16", "12.0.1"}),
            found_among({"..", "zephon6.3.26", "zephon12.0.16", "zephon12.0.1"}));
}

// The root of a drive has no "." at its beginning.
TEST(FindReleases, TakesTheFirstNameWhenItIsARelease) {
  given_listing("C:\\zephon", {"zephon1.0", "zephon2.0"});
  texts releases;
  EXPECT_TRUE(find_releases("C:\\zephon", "zephon", releases));
  EXPECT_EQ((texts{"1.0", "2.0"}), releases);
}

TEST(FindReleases, SkipsTheParentFolderWhereverItStands) {
  EXPECT_EQ((texts{"1.0", "2.0"}), found_among({"zephon1.0", "..", "..", "zephon2.0", ".."}));
}

TEST(FindReleases, SkipsOtherNames) {
  EXPECT_EQ((texts{"1.0"}), found_among({"lumis1.0", "Zephon2.0", "ZEPHON3.0", "zepho",
                                         "my zephon4.0", "zephon1.0"}));
}

TEST(FindReleases, SkipsNamesWithSomethingElseBehindTheirLastDot) {
  EXPECT_EQ(texts{}, found_among({"zephon6.3.26.bak", "zephon6.", "zephon6.3. 1", "zephon.x"}));
}

TEST(FindReleases, LooksAtTheLastDotOnly) {
  EXPECT_EQ((texts{"6.3", "6.3"}), found_among({"zephon6.x.3", "zephon..6.3"}));
}

TEST(FindReleases, TakesAnExtractionOfDigitsAndDots) {
  EXPECT_EQ((texts{"63.26", "12", "120.1", ""}),
            found_among({"zephon-v6b3.26", "zephon12", "zephon12beta0.1", "zephon"}));
}

TEST(FindReleases, BeginsAVersionWithItsFirstDigit) {
  EXPECT_EQ((texts{"5", "5.6"}), found_among({"zephon .5", "zephon .5.6"}));
}

TEST(FindReleases, TakesFilesForFolders) {
  given_file("C:\\zephon\\zephon1.2", "a file");
  texts releases;
  EXPECT_TRUE(find_releases("C:\\zephon", "zephon", releases));
  EXPECT_EQ((texts{"1.2"}), releases);
}

TEST(FindReleases, TakesAnyPrefix) {
  given_listing("C:\\zephon", {".", "..", "lumis1.0", "zephon2.0"});
  texts releases;
  EXPECT_TRUE(find_releases("C:\\zephon", "lumis", releases));
  EXPECT_EQ((texts{"1.0"}), releases);
}

TEST(FindReleases, FindsNothingInAnEmptyFolder) {
  EXPECT_EQ(texts{}, found_among({".."}));
  given_listing("C:\\zephon", {"."});
  texts releases;
  EXPECT_FALSE(find_releases("C:\\zephon", "zephon", releases));
}

TEST(FindReleases, TakesAVersionOfFifteenCharacters) {
  EXPECT_EQ((texts{"123456789012345"}), found_among({"..", "zephon123456789012345"}));
}

TEST(FindReleases, EndsTheProgramForAVersionOfSixteenCharacters) {
  EXPECT_EQ(254, status_of_exit([] { (void)found_among({"..", "zephon1234567890123456"}); }));
  EXPECT_EQ("\n Error:  Release name is too long: zephon1234567890123456\n", standard_error());
}

TEST(FindReleases, EndsTheProgramWhenTheRootCannotBeListed) {
  texts releases;
  EXPECT_EQ(254, status_of_exit([&] { (void)find_releases("C:\\missing", "zephon", releases); }));
  EXPECT_EQ("Cannot read directory:C:\\missing\n", state.message_buffer);
}

TEST(FindReleases, ReadsThousandsOfNames) {
  texts names = {".."};
  for (int index = 0; index < 5'000; ++index) {
    names.push_back("zephon" + std::to_string(index) + ".0");
  }
  EXPECT_EQ(5'000U, found_among(names).size());
}

// ---- latest_release -----------------------------------------------------------------------

TEST(LatestRelease, ComparesNumberByNumber) {
  EXPECT_EQ("12.0.16", latest_release({"6.3.26", "12.0.1", "12.0.16"}));
  EXPECT_EQ("12.0.16", latest_release({"12.0.16", "12.0.9", "6.3.26"}));
  EXPECT_EQ("10", latest_release({"9.9.9", "10"}));
}

TEST(LatestRelease, IsNothingOfNothing) {
  EXPECT_EQ(std::nullopt, latest_release({}));
}

TEST(LatestRelease, KeepsTheEarlierOfEqualOnes) {
  EXPECT_EQ("1.02", latest_release({"1.02", "1.2", "01.2"}));
}

TEST(LatestRelease, KeepsTheEarlierWhenTheLaterIsItsBeginning) {
  EXPECT_EQ("1.2.0", latest_release({"1.2.0", "1.2"}));
  EXPECT_EQ("1.2", latest_release({"1.2", "1.2.0"}));
  EXPECT_EQ("1.2.1", latest_release({"1.2", "1.2.1"}));
}

TEST(LatestRelease, ReplacesAllPartsOfTheBest) {
  EXPECT_EQ("2.0.1", latest_release({"1.9.9", "2", "2.0.1"}));
}

TEST(LatestRelease, IsTheFirstWhenAllAreZero) {
  EXPECT_EQ("0.0", latest_release({"0.0", "0", ""}));
  EXPECT_EQ("", latest_release({""}));
}

TEST(LatestRelease, ComparesSixteenNumbersAtMost) {
  EXPECT_EQ(
      "1.1.1.1.1.1.1.1.1.1.1.1.1.1.1.1.1",
      latest_release({"1.1.1.1.1.1.1.1.1.1.1.1.1.1.1.1.1", "1.1.1.1.1.1.1.1.1.1.1.1.1.1.1.1.2"}));
  EXPECT_EQ("1.1.1.1.1.1.1.1.1.1.1.1.1.1.1.2",
            latest_release({"1.1.1.1.1.1.1.1.1.1.1.1.1.1.1.1", "1.1.1.1.1.1.1.1.1.1.1.1.1.1.1.2"}));
}

TEST(LatestRelease, TakesTheLargestNumberForOneThatIsTooLarge) {
  EXPECT_EQ("999999999999", latest_release({"2147483646", "999999999999", "1"}));
}

// ---- requested_or_latest_release ----------------------------------------------------------

TEST(RequestedRelease, IsTakenWithoutASearch) {
  state.release = "6.3.26";
  EXPECT_EQ("6.3.26", requested_or_latest_release());
  EXPECT_EQ("", state.message_buffer);
}

TEST(RequestedRelease, IsTheNewestOneWhenNoneWasAskedFor) {
  state.zephon_inc = "C:\\zephon";
  given_listing("C:\\zephon", {".", "..", "zephon6.3.26", "zephon12.0.1", "zephon12.0.16"});
  EXPECT_EQ("12.0.16", requested_or_latest_release());
}

TEST(RequestedRelease, IsNothingWhenNoneIsInstalled) {
  state.zephon_inc = "C:\\zephon";
  given_directory("C:\\zephon");
  EXPECT_EQ(std::nullopt, requested_or_latest_release());
}

TEST(RequestedRelease, IsSearchedInTheRootOfTheDriveWithoutZephonInc) {
  given_no_listing("C:");
  EXPECT_EQ(254, status_of_exit([] { (void)requested_or_latest_release(); }));
  EXPECT_EQ("Cannot read directory:\n", state.message_buffer);
}

}  // namespace
