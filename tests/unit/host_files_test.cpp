// Tests of the host files that the launcher reads and writes.
#include "backends/host_files.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/fresh_launch.h"

using namespace stand_in;

namespace {

const std::string user_file = "C:\\run\\hosts.txt";
const std::string process_file = "C:\\temp\\zphost-4711.txt";
const std::string scheduler_file = "C:\\temp\\zphosts-4711.txt";

using texts = std::vector<std::string>;

// A run of so many processes on the hosts of a file.
void given_hosts(const std::string &content, int processes = 1) {
  given_variable("TEMP", "C:\\temp");
  given_variable("ZEPHON_HOSTS_FILE", user_file);
  given_file(user_file, content);
  state.num_procs = processes;
}

// What the file of host:count lines holds; "not written" when there is none.
std::string spread(const std::string &content, int processes) {
  given_hosts(content, processes);
  const auto written = write_process_host_file(user_file);
  if (!written) {
    EXPECT_EQ(user_file, variable("ZEPHON_HOSTS_FILE"));
    EXPECT_EQ(texts{}, written_files());
    return "not written";
  }
  EXPECT_EQ(process_file, *written);
  EXPECT_EQ(process_file, variable("ZEPHON_HOSTS_FILE"));
  return file_content(process_file).value_or("no file");
}

std::optional<int> status_of_spreading() {
  return status_of_exit([] { (void)write_process_host_file(user_file); });
}

// What the scheduler-node host file holds after so many slots are taken away.
std::string without_slots(const char *slots, const std::string &content) {
  given_hosts(content);
  given_variable("PARA_MESH_NPROCS", slots);
  EXPECT_EQ(scheduler_file, write_scheduler_host_file(user_file));
  return file_content(scheduler_file).value_or("no file");
}

std::string list_without_slots(const char *slots, const std::string &hosts) {
  given_variable("TEMP", "C:\\temp");
  given_variable("PARA_MESH_NPROCS", slots);
  EXPECT_EQ(scheduler_file, write_scheduler_host_file(hosts));
  return file_content(scheduler_file).value_or("no file");
}

std::optional<std::string> list_of(const std::string &content) {
  given_hosts(content);
  return read_host_list();
}

int is_single(const std::string &content, int processes) {
  given_hosts(content);
  return host_file_is_single_host(user_file, processes);
}

bool is_here(const std::string &content, const std::string &computer = "NODE1") {
  given_hosts(content);
  given_variable("COMPUTERNAME", computer);
  return first_host_is_this_computer(user_file);
}

const std::string end_of_file_messages =
    "\nERROR in get_line: file is null!\n\nERROR in get_line: file is null!\n";

// ---- What other programs leave in a host file ---------------------------------------------

TEST(HostFileWithCtrlZ, EndsThere) {
  given_file("C:\\hosts", "alpha\r\nbeta\r\n\x1Agamma\r\n");
  given_variable("ZEPHON_HOSTS_FILE", "C:\\hosts");
  given_variable("TEMP", "C:\\temp");
  EXPECT_EQ("alpha,beta", read_host_list());
  state.num_procs = 4;
  const auto written = write_process_host_file("C:\\hosts");
  EXPECT_EQ("alpha:2\r\nbeta:2\r\n", file_content(written.value_or("")));
}

TEST(HostFileWithAZeroByte, EndsTheListOfACommandThere) {
  using namespace std::string_literals;
  given_file("C:\\hosts", "alpha\0x\r\nbeta\r\n"s);
  given_variable("ZEPHON_HOSTS_FILE", "C:\\hosts");
  EXPECT_EQ("alpha,beta", read_host_list());
}

}  // namespace

// ---- The host file of the run -------------------------------------------------------------

TEST(RequiredHostsFile, IsTheVariable) {
  given_variable("ZEPHON_HOSTS_FILE", "C:\\a b\\hosts");
  EXPECT_EQ("C:\\a b\\hosts", require_hosts_file());
}

TEST(RequiredHostsFile, MayBeEmptyButNotUnset) {
  given_variable("ZEPHON_HOSTS_FILE", "");
  EXPECT_EQ("", require_hosts_file());
}

TEST(RequiredHostsFile, EndsTheProgramWhenItIsNotSet) {
  EXPECT_EQ(2, status_of_exit([] { (void)require_hosts_file(); }));
  EXPECT_EQ("\n Error:  Hostfile does not exist!\n", standard_error());
  EXPECT_EQ("", standard_output());
}

// ---- The per-process host file ------------------------------------------------------------

TEST(ProcessHostFile, IsNotWrittenWithoutAPath) {
  EXPECT_EQ(std::nullopt, write_process_host_file(std::nullopt));
  EXPECT_EQ(texts{}, written_files());
}

TEST(ProcessHostFile, SpreadsProcessesEvenly) {
  EXPECT_EQ("a:2\r\nb:2\r\nc:2\r\n", spread("a\nb\nc\n", 6));
}

TEST(ProcessHostFile, GivesWhatIsLeftOverToTheFirstHosts) {
  EXPECT_EQ("a:3\r\nb:3\r\nc:2\r\n", spread("a\nb\nc\n", 8));
}

TEST(ProcessHostFile, GivesOneLeftOverToTheFirstHost) {
  EXPECT_EQ("a:3\r\nb:2\r\n", spread("a\nb\n", 5));
}

TEST(ProcessHostFile, GivesTheOnlyHostEverything) {
  EXPECT_EQ("a:7\r\n", spread("a\n", 7));
}

TEST(ProcessHostFile, IsNotWrittenWithAHostForEachProcess) {
  EXPECT_EQ("not written", spread("a\nb\nc\nd\n", 4));
}

TEST(ProcessHostFile, IsNotWrittenWithMoreHostsThanProcesses) {
  EXPECT_EQ("not written", spread("a\nb\nc\nd\n", 3));
}

TEST(ProcessHostFile, IsWrittenWithOneHostTooFew) {
  EXPECT_EQ("a:2\r\nb:1\r\nc:1\r\nd:1\r\n", spread("a\nb\nc\nd\n", 5));
}

TEST(ProcessHostFile, IsNotWrittenForOneProcess) {
  EXPECT_EQ("not written", spread("a\n", 1));
}

TEST(ProcessHostFile, IsNotWrittenWithoutAPositiveNumberOfProcesses) {
  EXPECT_EQ("not written", spread("a\n", 0));
  EXPECT_EQ("not written", spread("a\n", -3));
}

TEST(ProcessHostFile, IsNotWrittenWhenTheHostsHaveCounts) {
  EXPECT_EQ("not written", spread("a:2\nb:2\n", 8));
}

TEST(ProcessHostFile, IsNotWrittenWhenOneHostHasACount) {
  EXPECT_EQ("not written", spread("a\nb\nc:2\n", 8));
}

TEST(ProcessHostFile, IsNotWrittenWhenAColonIsAllThatALineHolds) {
  EXPECT_EQ("not written", spread("a\n:", 8));
}

TEST(ProcessHostFile, IsNotWrittenForAnEmptyFile) {
  EXPECT_EQ("not written", spread("", 4));
}

TEST(ProcessHostFile, IsNotWrittenForAFileOfBlanks) {
  EXPECT_EQ("not written", spread("   ", 4));
}

TEST(ProcessHostFile, CountsAnEmptyLineInTheMiddleAsAHost) {
  EXPECT_EQ("a:2\r\n:2\r\nb:2\r\n", spread("a\n\nb\n", 6));
}

TEST(ProcessHostFile, CountsAnEmptyLineInFrontAsAHost) {
  EXPECT_EQ(":3\r\na:2\r\n", spread("\na\n", 5));
}

TEST(ProcessHostFile, CountsAnEmptyLineAtTheEndAsAHost) {
  EXPECT_EQ("a:3\r\n:2\r\n", spread("a\n\n", 5));
}

TEST(ProcessHostFile, CountsBlanksWithALineEndAsAHost) {
  EXPECT_EQ("a:2\r\n  :2\r\nb:2\r\n", spread("a\n  \nb\n", 6));
}

TEST(ProcessHostFile, PassesOverBlanksWithoutALineEnd) {
  EXPECT_EQ("a:3\r\nb:3\r\n", spread("a\nb\n   ", 6));
}

TEST(ProcessHostFile, LosesAProcessToABlankLineInFront) {
  const std::string blanks(255, ' ');  // as many as one read takes, so no line end comes with them
  EXPECT_EQ("a:3\r\nb:2\r\nc:2\r\n", spread(blanks + "a\nb\nc\n", 8));
}

TEST(ProcessHostFile, LosesNothingToABlankLineBehindTheRemainder) {
  EXPECT_EQ("a:3\r\nb:2\r\n", spread("a\nb\n ", 5));
}

TEST(ProcessHostFile, TakesALastLineWithoutALineEnd) {
  EXPECT_EQ("a:2\r\nb:2\r\n", spread("a\nb", 4));
}

TEST(ProcessHostFile, TakesBothKindsOfLineEnds) {
  EXPECT_EQ("a:2\r\nb:2\r\nc:2\r\n", spread("a\r\nb\nc\r\n", 6));
}

TEST(ProcessHostFile, StripsEveryLineEndCharacter) {
  EXPECT_EQ("a:2\r\nb:2\r\n", spread("a\r\r\r\nb\r", 4));
}

TEST(ProcessHostFile, CountsALineOfReturnsAsAHost) {
  EXPECT_EQ("a:2\r\n:2\r\n", spread("a\n\r\r\n", 4));
}

TEST(ProcessHostFile, KeepsBlanksAndTabsAroundAName) {
  EXPECT_EQ(" \t a \t:2\r\n\t:2\r\n", spread(" \t a \t\r\n\t\n", 4));
}

TEST(ProcessHostFile, KeepsBytesAbove127) {
  EXPECT_EQ(
      "n\xF6"
      "de\xFF:4\r\n",
      spread("n\xF6"
             "de\xFF\n",
             4));
}

TEST(ProcessHostFile, TakesANameOf254CharactersAsOneLine) {
  const std::string name(254, 'n');
  EXPECT_EQ(name + ":4\r\n", spread(name + "\n", 4));
}

TEST(ProcessHostFile, ReadsANameOf255CharactersAndItsLineEndAsTwoLines) {
  const std::string name(255, 'n');
  EXPECT_EQ(name + ":2\r\n:2\r\n", spread(name + "\r\n", 4));
}

TEST(ProcessHostFile, TakesALastNameOf255CharactersAsOneLine) {
  const std::string name(255, 'n');
  EXPECT_EQ(name + ":4\r\n", spread(name, 4));
}

TEST(ProcessHostFile, ReadsANameOf300CharactersAsTwoLines) {
  EXPECT_EQ(std::string(255, 'n') + ":2\r\n" + std::string(45, 'n') + ":2\r\n",
            spread(std::string(300, 'n') + "\n", 4));
}

TEST(ProcessHostFile, SpreadsOverAHundredThousandHosts) {
  std::string hosts;
  std::string expected;
  for (int number = 0; number < 100'000; ++number) {
    const std::string name = "node" + std::to_string(number);
    hosts += name + "\r\n";
    expected += name + (number < 70'000 ? ":3\r\n" : ":2\r\n");
  }
  const std::string written = spread(hosts, 270'000);
  EXPECT_TRUE(expected == written) << written.size() << " bytes instead of " << expected.size();
}

TEST(ProcessHostFile, IsReadInAnyPieces) {
  given_short_reads(1);
  EXPECT_EQ("alpha:2\r\nbeta:2\r\n", spread("alpha\r\nbeta\r\n", 4));
}

TEST(ProcessHostFile, ReadsTheGivenFileTwiceAndNoMore) {
  spread("a\nb\n", 4);
  EXPECT_EQ(2U, times_opened(user_file));
}

TEST(ProcessHostFile, IsNamedInTheEnvironmentPoolToo) {
  spread("a\nb\n", 4);
  EXPECT_EQ("ZEPHON_HOSTS_FILE=C:\\temp\\zphost-4711.txt" + std::string(2, '\0'), state.env_pool);
}

TEST(ProcessHostFile, SaysNothing) {
  spread("a\nb\n", 4);
  EXPECT_EQ("", both_streams());
  EXPECT_EQ("", state.message_buffer);
}

TEST(ProcessHostFile, IsNamedAfterTheProcess) {
  given_process_id(4'294'967'292);
  given_hosts("a\n", 2);
  EXPECT_EQ("C:\\temp\\zphost-4294967292.txt", write_process_host_file(user_file));
  EXPECT_EQ("C:\\temp\\zphost-4294967292.txt", variable("ZEPHON_HOSTS_FILE"));
  EXPECT_EQ("a:2\r\n", file_content("C:\\temp\\zphost-4294967292.txt"));
}

TEST(ProcessHostFile, StandsInTheCurrentDirectoryWithoutTemp) {
  given_hosts("a\n", 2);
  given_no_variable("TEMP");
  EXPECT_EQ("C:\\work\\zphost-4711.txt", write_process_host_file(user_file));
  EXPECT_EQ("C:\\work\\zphost-4711.txt", variable("ZEPHON_HOSTS_FILE"));
  EXPECT_EQ("a:2\r\n", file_content("C:\\work\\zphost-4711.txt"));
}

TEST(ProcessHostFile, EndsTheProgramWithoutAnyFolder) {
  given_hosts("a\n", 2);
  given_no_variable("TEMP");
  given_no_current_directory();
  EXPECT_EQ(2, status_of_spreading());
  EXPECT_EQ("Error: getcwd() error\n", both_streams());
  EXPECT_EQ(user_file, variable("ZEPHON_HOSTS_FILE"));
}

TEST(ProcessHostFile, NeedsNoFolderWhenItIsNotWritten) {
  given_hosts("a\n", 1);
  given_no_variable("TEMP");
  given_no_current_directory();
  EXPECT_EQ(std::nullopt, write_process_host_file(user_file));
}

TEST(ProcessHostFile, EndsTheProgramWhenTheGivenFileIsMissing) {
  given_hosts("a\n", 2);
  given_no_file(user_file);
  EXPECT_EQ(2, status_of_spreading());
  EXPECT_EQ("\n Error:  Failed to open host file C:\\run\\hosts.txt\n", standard_error());
  EXPECT_EQ("", standard_output());
  EXPECT_EQ(texts{}, written_files());
}

TEST(ProcessHostFile, EndsTheProgramWhenTheGivenFileIsUnreadable) {
  given_hosts("a\n", 2);
  given_unreadable_file(user_file, "a\n");
  EXPECT_EQ(2, status_of_spreading());
  EXPECT_EQ("\n Error:  Failed to open host file C:\\run\\hosts.txt\n", standard_error());
}

TEST(ProcessHostFile, EndsTheProgramWhenTheGivenFileIsADirectory) {
  given_hosts("a\n", 2);
  given_no_file(user_file);
  given_directory(user_file);
  EXPECT_EQ(2, status_of_spreading());
  EXPECT_EQ("\n Error:  Failed to open host file C:\\run\\hosts.txt\n", standard_error());
}

TEST(ProcessHostFile, NamesTheGivenFileWhenTheNewOneIsRefused) {
  given_hosts("a\n", 2);
  given_unwritable_path(process_file);
  EXPECT_EQ(2, status_of_spreading());
  EXPECT_EQ("\n Error:  Failed to create host file C:\\run\\hosts.txt\n", standard_error());
  EXPECT_EQ("", standard_output());
  EXPECT_EQ(user_file, variable("ZEPHON_HOSTS_FILE"));
}

TEST(ProcessHostFile, IsNotUsedHalfWrittenWhenTheDiskIsFull) {
  given_hosts("a\nb\n", 4);
  given_full_disk_after(5);
  EXPECT_EQ(2, status_of_spreading());
  EXPECT_EQ("\n Error:  Failed to create host file C:\\run\\hosts.txt\n", standard_error());
  EXPECT_FALSE(file_exists(process_file));
  EXPECT_EQ(user_file, variable("ZEPHON_HOSTS_FILE"));
}

TEST(ProcessHostFile, IsNotUsedWhenTheDiskWasFullForAWhile) {
  std::string hosts;
  for (int number = 0; number < 20'000; ++number) {
    hosts += "node" + std::to_string(number) + "\n";
  }
  given_hosts(hosts, 40'000);
  given_full_disk_after(70'000);
  EXPECT_EQ(2, status_of_spreading());
  EXPECT_FALSE(file_exists(process_file));
  EXPECT_EQ(user_file, variable("ZEPHON_HOSTS_FILE"));
}

TEST(ProcessHostFile, TakesThePlaceOfAnOlderOne) {
  given_file(process_file, "left:9\r\nover:9\r\n");
  EXPECT_EQ("a:4\r\n", spread("a\n", 4));
}

TEST(ProcessHostFile, DoesNotWriteThroughALink) {
  given_file("C:\\private.txt", "private");
  given_link(process_file, "C:\\private.txt");
  EXPECT_EQ("a:4\r\n", spread("a\n", 4));
  EXPECT_EQ("private", file_content("C:\\private.txt"));
}

TEST(ProcessHostFile, EndsTheProgramWhenADirectoryHasItsName) {
  given_hosts("a\n", 2);
  given_directory(process_file);
  EXPECT_EQ(2, status_of_spreading());
  EXPECT_EQ("\n Error:  Failed to create host file C:\\run\\hosts.txt\n", standard_error());
}

TEST(ProcessHostFile, IsEmptyWhenTheGivenFileIsGoneInTheMeantime) {
  given_hosts("a\nb\n", 4);
  given_last_opening(user_file);
  EXPECT_EQ(process_file, write_process_host_file(user_file));
  EXPECT_EQ("", file_content(process_file));
  EXPECT_EQ(process_file, variable("ZEPHON_HOSTS_FILE"));
}

// ---- The scheduler-node host file ---------------------------------------------------------

TEST(SchedulerHostFile, CopiesEachLineWithAnEmptyOneBehindIt) {
  given_hosts("alpha\nbeta:4\n");
  EXPECT_EQ(scheduler_file, write_scheduler_host_file(user_file));
  EXPECT_EQ("alpha\r\n\r\nbeta:4\r\n\r\n", file_content(scheduler_file));
}

TEST(SchedulerHostFile, AddsOneLineEndToALastLineWithoutOne) {
  EXPECT_EQ("alpha\r\n\r\nbeta\r\n", without_slots("0", "alpha\nbeta"));
}

TEST(SchedulerHostFile, CopiesEverythingWithoutAPositiveNumberOfSlots) {
  EXPECT_EQ("a\r\n\r\n", without_slots("-1", "a\n"));
  EXPECT_EQ("a\r\n\r\n", without_slots("many", "a\n"));
}

TEST(SchedulerHostFile, TakesSlotsFromAHostWithMore) {
  EXPECT_EQ("alpha:2\r\nbeta:4\r\n\r\n", without_slots("2", "alpha:4\nbeta:4\n"));
}

TEST(SchedulerHostFile, LeavesOneSlotOfOneMore) {
  EXPECT_EQ("alpha:1\r\n", without_slots("3", "alpha:4\n"));
}

TEST(SchedulerHostFile, DropsAHostWithAsManySlotsAndGoesOnTaking) {
  EXPECT_EQ("beta:2\r\ngamma:1\r\n\r\n", without_slots("4", "alpha:4\nbeta:6\ngamma:1\n"));
}

TEST(SchedulerHostFile, DropsAHostWithFewerSlots) {
  EXPECT_EQ("", without_slots("4", "alpha:3\n"));
}

TEST(SchedulerHostFile, TakesAHostWithoutACountForOneSlot) {
  EXPECT_EQ("gamma\r\n\r\n", without_slots("2", "alpha\nbeta\ngamma\n"));
}

TEST(SchedulerHostFile, TakesAnEmptyLineForOneSlot) {
  EXPECT_EQ("gamma\r\n\r\n", without_slots("2", "alpha\n\ngamma\n"));
}

TEST(SchedulerHostFile, TakesWhatIsStillToTakeFromTheNextHost) {
  EXPECT_EQ("beta:3\r\n", without_slots("2", "alpha\nbeta:4\n"));
}

TEST(SchedulerHostFile, PassesOverSeveralColons) {
  EXPECT_EQ("alpha:6\r\n", without_slots("2", "::alpha::8:9\n"));
}

TEST(SchedulerHostFile, DropsALineThatHasAColonButNoCount) {
  EXPECT_EQ("beta:4\r\n", without_slots("1", "alpha:\n:\n::x\nbeta:5\n"));
}

TEST(SchedulerHostFile, TakesACountWithBlanksInFront) {
  EXPECT_EQ("alpha:3\r\n", without_slots("1", "alpha: 4\n"));
}

TEST(SchedulerHostFile, ReadsALongLineAsTwo) {
  const std::string name(300, 'n');
  EXPECT_EQ(name.substr(0, 255) + "\r\n" + name.substr(255) + "\r\n\r\n",
            without_slots("0", name + "\n"));
}

TEST(SchedulerHostFile, IsEmptyForAnEmptyFile) {
  EXPECT_EQ("", without_slots("0", ""));
}

TEST(SchedulerHostFile, CopiesAHundredThousandHosts) {
  std::string hosts;
  std::string expected;
  for (int number = 0; number < 100'000; ++number) {
    const std::string name = "node" + std::to_string(number);
    hosts += name + "\r\n";
    expected += name + "\r\n\r\n";
  }
  const std::string written = without_slots("0", hosts);
  EXPECT_TRUE(expected == written) << written.size() << " bytes instead of " << expected.size();
}

TEST(SchedulerHostFile, TakesAListSeparatedInFourWays) {
  EXPECT_EQ("alpha\r\nbeta\r\ngamma\r\ndelta\r\nepsilon\r\n",
            list_without_slots("0", "alpha,beta;gamma:delta epsilon"));
}

TEST(SchedulerHostFile, PassesOverSeparatorsInARow) {
  EXPECT_EQ("alpha\r\nbeta\r\n", list_without_slots("0", " ,alpha;: ,beta,; "));
}

TEST(SchedulerHostFile, TakesTheFirstHostsOfAListAway) {
  EXPECT_EQ("gamma\r\n", list_without_slots("2", "alpha,beta,gamma"));
}

TEST(SchedulerHostFile, TakesTheWholeListAway) {
  EXPECT_EQ("", list_without_slots("3", "alpha,beta,gamma"));
}

TEST(SchedulerHostFile, TakesNothingFromAListForANegativeNumber) {
  EXPECT_EQ("alpha\r\n", list_without_slots("-2", "alpha"));
}

TEST(SchedulerHostFile, IsEmptyForAnEmptyList) {
  EXPECT_EQ("", list_without_slots("0", ""));
}

TEST(SchedulerHostFile, TakesAnUnreadableFileForAList) {
  given_unreadable_file("hosts.txt", "alpha\n");
  EXPECT_EQ("hosts.txt\r\n", list_without_slots("0", "hosts.txt"));
}

TEST(SchedulerHostFile, TakesADirectoryForAList) {
  given_directory("C:\\run");
  EXPECT_EQ("C\r\n\\run\r\n", list_without_slots("0", "C:\\run"));
}

TEST(SchedulerHostFile, StandsInTheCurrentDirectoryWithoutTemp) {
  EXPECT_EQ("C:\\work\\zphosts-4711.txt", write_scheduler_host_file("alpha"));
  EXPECT_EQ("alpha\r\n", file_content("C:\\work\\zphosts-4711.txt"));
}

TEST(SchedulerHostFile, LeavesTheHostFileOfTheRunAsItIs) {
  EXPECT_EQ("a\r\n\r\n", without_slots("0", "a\n"));
  EXPECT_EQ(user_file, variable("ZEPHON_HOSTS_FILE"));
  EXPECT_EQ("", both_streams());
}

TEST(SchedulerHostFile, CannotBeNamedWithoutAnyFolder) {
  given_no_current_directory();
  EXPECT_EQ(std::nullopt, write_scheduler_host_file("alpha"));
  EXPECT_EQ("Error: getcwd() error\n", standard_error());
  EXPECT_EQ("", standard_output());
}

TEST(SchedulerHostFile, SaysThatItIsRefused) {
  given_variable("TEMP", "C:\\temp");
  given_unwritable_path(scheduler_file);
  EXPECT_EQ(std::nullopt, write_scheduler_host_file("alpha"));
  EXPECT_EQ("\nfailed to open temp file for hosts", standard_output());
  EXPECT_EQ("", standard_error());
}

TEST(SchedulerHostFile, IsNotLeftHalfWrittenWhenTheDiskIsFull) {
  given_hosts("alpha\nbeta\n");
  given_full_disk_after(8);
  EXPECT_EQ(std::nullopt, write_scheduler_host_file(user_file));
  EXPECT_EQ("\nfailed to open temp file for hosts", standard_output());
  EXPECT_FALSE(file_exists(scheduler_file));
}

TEST(SchedulerHostFile, DoesNotWriteThroughALink) {
  given_file("C:\\private.txt", "private");
  given_link(scheduler_file, "C:\\private.txt");
  EXPECT_EQ("alpha\r\n", list_without_slots("0", "alpha"));
  EXPECT_EQ("private", file_content("C:\\private.txt"));
}

// ---- The host list ------------------------------------------------------------------------

TEST(HostList, JoinsTheLinesWithCommas) {
  EXPECT_EQ("alpha,beta,gamma", list_of("alpha\nbeta\ngamma\n"));
  EXPECT_EQ("", state.message_buffer);
}

TEST(HostList, IsOneNameForOneLine) {
  EXPECT_EQ("alpha", list_of("alpha\n"));
}

TEST(HostList, SaysTwiceThatTheFileEndsWithoutALineEnd) {
  EXPECT_EQ("alpha,beta", list_of("alpha\nbeta"));
  EXPECT_EQ(end_of_file_messages, state.message_buffer);
  EXPECT_EQ("", both_streams());
}

TEST(HostList, SaysNothingWhenABlankLineEndsTheHosts) {
  EXPECT_EQ("alpha,beta", list_of("alpha\nbeta\n\ngamma"));
  EXPECT_EQ("", state.message_buffer);
}

TEST(HostList, EndsAtALineOfBlanks) {
  EXPECT_EQ("alpha", list_of("alpha\n \t \nbeta\n"));
}

TEST(HostList, EndsAtANameOfOneCharacter) {
  EXPECT_EQ("alpha", list_of("alpha\nb\ngamma\n"));
}

TEST(HostList, TakesANameOfTwoCharacters) {
  EXPECT_EQ("al,be", list_of("al\nbe\n"));
}

TEST(HostList, EndsAtALastNameOfOneCharacterWithoutALineEnd) {
  EXPECT_EQ("alpha", list_of("alpha\nb"));
  EXPECT_EQ("", state.message_buffer);
}

TEST(HostList, DropsNeighbouringDuplicatesOnly) {
  EXPECT_EQ("alpha,beta,alpha", list_of("alpha\nalpha\nbeta\nbeta\nbeta\nalpha\n"));
}

TEST(HostList, TakesCapitalAndSmallLettersForDifferentNames) {
  EXPECT_EQ("alpha,ALPHA", list_of("alpha\nALPHA\n"));
}

TEST(HostList, StripsWhatStandsBehindAName) {
  EXPECT_EQ("alpha,beta", list_of("alpha \t\x01\r\nbeta\r\n"));
}

TEST(HostList, TakesALineThatDiffersOnlyInItsEndForADuplicate) {
  EXPECT_EQ("alpha", list_of("alpha \nalpha\n"));
}

TEST(HostList, KeepsBlanksInFrontOfAName) {
  EXPECT_EQ("  alpha, beta", list_of("  alpha\n beta\n"));
}

TEST(HostList, KeepsBytesAbove127) {
  EXPECT_EQ("n\xF6\xFF,n\x80", list_of("n\xF6\xFF\nn\x80\n"));
}

TEST(HostList, KeepsCounts) {
  EXPECT_EQ("alpha:4,beta:2", list_of("alpha:4\nbeta:2\n"));
}

TEST(HostList, IsNothingForAnEmptyFile) {
  EXPECT_EQ(std::nullopt, list_of(""));
  EXPECT_EQ("", state.message_buffer);
}

TEST(HostList, IsNothingWhenTheFirstLineIsEmpty) {
  EXPECT_EQ(std::nullopt, list_of("\nalpha\n"));
  EXPECT_EQ("", state.message_buffer);
}

TEST(HostList, ReadsALineOf1022CharactersWithItsLineEnd) {
  const std::string name(1022, 'n');
  EXPECT_EQ(name + ",be", list_of(name + "\nbe\n"));
}

TEST(HostList, EndsBehindALineOf1023CharactersAsItsLineEndIsReadAlone) {
  const std::string name(1023, 'n');
  EXPECT_EQ(name, list_of(name + "\nbe\n"));
}

TEST(HostList, IsTheVariableWhenNoSuchFileOpens) {
  given_variable("ZEPHON_HOSTS_FILE", "alpha,beta");
  EXPECT_EQ("alpha,beta", read_host_list());
}

TEST(HostList, IsTheVariableWhenItNamesADirectory) {
  given_directory("C:\\run");
  given_variable("ZEPHON_HOSTS_FILE", "C:\\run");
  EXPECT_EQ("C:\\run", read_host_list());
}

TEST(HostList, IsEmptyWithoutTheVariable) {
  EXPECT_EQ("", read_host_list());
}

// ---- The single-host test -----------------------------------------------------------------

TEST(SingleHost, IsTrueWithoutAPath) {
  EXPECT_EQ(1, host_file_is_single_host(std::nullopt, 4));
  EXPECT_EQ("", both_streams());
}

TEST(SingleHost, IsTrueWithAWarningWhenTheFileDoesNotOpen) {
  EXPECT_EQ(1, host_file_is_single_host("C:\\missing", 4));
  EXPECT_EQ("\nWarning: Unable to open host file C:\\missing! Use local machine.\n",
            standard_output());
  EXPECT_EQ("", standard_error());
}

TEST(SingleHost, IsTrueForAnEmptyFile) {
  EXPECT_EQ(1, is_single("", 4));
}

TEST(SingleHost, IsTrueForAFileOfBlanks) {
  EXPECT_EQ(1, is_single("    ", 4));
}

TEST(SingleHost, IsTrueForOneProcessOnManyHosts) {
  EXPECT_EQ(1, is_single("alpha\nbeta\n", 1));
  EXPECT_EQ(1, is_single("alpha\nbeta\n", 0));
}

TEST(SingleHost, IsFalseForTwoProcessesOnTwoHosts) {
  EXPECT_EQ(0, is_single("alpha\nbeta\n", 2));
}

TEST(SingleHost, LooksAtAsManyEntriesAsThereAreProcesses) {
  EXPECT_EQ(1, is_single("alpha\nalpha\nbeta\n", 2));
  EXPECT_EQ(0, is_single("alpha\nalpha\nbeta\n", 3));
}

TEST(SingleHost, ComparesWithTheFirstEntry) {
  EXPECT_EQ(0, is_single("alpha\nbeta\nalpha\n", 3));
}

TEST(SingleHost, IsTrueWhenTheFileEndsBeforeTheProcesses) {
  EXPECT_EQ(1, is_single("alpha\nalpha\n", 8));
}

TEST(SingleHost, TakesCapitalAndSmallLettersForTheSame) {
  EXPECT_EQ(1, is_single("Alpha\naLPHA\n", 2));
}

TEST(SingleHost, ComparesFirstWordsOnly) {
  EXPECT_EQ(1, is_single("  alpha 4\nalpha 2\n", 2));
}

TEST(SingleHost, TakesANameWithABlankBehindItForAnother) {
  EXPECT_EQ(0, is_single("alpha\nalpha 2\n", 2));
}

TEST(SingleHost, TakesALastNameWithoutALineEndForAnother) {
  EXPECT_EQ(0, is_single("alpha\nalpha", 2));
}

TEST(SingleHost, TakesAnEmptyLineForAnotherHost) {
  EXPECT_EQ(0, is_single("alpha\n\nalpha\n", 2));
  EXPECT_EQ(0, is_single("alpha\n   \nalpha\n", 2));
}

TEST(SingleHost, TakesEmptyLinesForTheSameHost) {
  EXPECT_EQ(1, is_single("\n  \n\n", 3));
}

TEST(SingleHost, PassesOverALastLineOfBlanksWithoutALineEnd) {
  EXPECT_EQ(1, is_single("alpha\n   ", 2));
}

TEST(SingleHost, KeepsTabsInAName) {
  EXPECT_EQ(0, is_single("alpha\t4\nalpha\n", 2));
}

TEST(SingleHost, ReadsALineOf1022CharactersWithItsLineEnd) {
  EXPECT_EQ(1, is_single(std::string(1022, 'n') + "\n", 2));
}

TEST(SingleHost, ReadsALineOf1023CharactersAndItsLineEndAsTwoEntries) {
  EXPECT_EQ(0, is_single(std::string(1023, 'n') + "\n", 2));
}

TEST(SingleHost, StopsReadingBehindTheEntriesOfItsProcesses) {
  const std::string many = "alpha\nalpha\nbeta\n" + std::string(3'000'000, 'x');
  EXPECT_EQ(1, is_single(many, 2));
}

// ---- The local-host test ------------------------------------------------------------------

TEST(LocalHost, IsTheComputersName) {
  EXPECT_TRUE(is_here("node1\n"));
}

TEST(LocalHost, MayHaveItsDomainBehindIt) {
  EXPECT_TRUE(is_here("Node1.example.org\r\n"));
}

TEST(LocalHost, MayHaveFullStopsInFrontOfIt) {
  EXPECT_TRUE(is_here("..node1.\n"));
}

TEST(LocalHost, MayHaveBlanksInFrontOfIt) {
  EXPECT_TRUE(is_here("   node1\n"));
}

TEST(LocalHost, LosesItsLastLetterWhenABlankFollows) {
  EXPECT_FALSE(is_here("node1 4\n"));
  EXPECT_TRUE(is_here("node1 4\n", "node"));
}

TEST(LocalHost, LosesItsLastLetterWithoutALineEnd) {
  EXPECT_FALSE(is_here("node1"));
  EXPECT_TRUE(is_here("node1", "node"));
}

TEST(LocalHost, LosesALetterOfItsDomainOnly) {
  EXPECT_TRUE(is_here("node1.example.org 4\n"));
}

TEST(LocalHost, IsNotAnotherComputer) {
  EXPECT_FALSE(is_here("node2\n"));
  EXPECT_FALSE(is_here("node10\n"));
  EXPECT_FALSE(is_here("node\n"));
}

TEST(LocalHost, IsLookedForInTheFirstEntryOnly) {
  EXPECT_FALSE(is_here("node2\nnode1\n"));
}

TEST(LocalHost, IsNotAnEntryWithoutAName) {
  EXPECT_FALSE(is_here("\n", ""));
  EXPECT_FALSE(is_here("...\n", ""));
}

TEST(LocalHost, IsNotInAFileWithoutEntries) {
  EXPECT_FALSE(is_here(""));
  EXPECT_FALSE(is_here("   "));
  EXPECT_FALSE(is_here("", ""));
}

TEST(LocalHost, IsNotKnownWithoutTheComputersName) {
  given_hosts("node1\n");
  EXPECT_FALSE(first_host_is_this_computer(user_file));
}

TEST(LocalHost, IsNotInAFileThatDoesNotOpen) {
  given_variable("COMPUTERNAME", "NODE1");
  EXPECT_FALSE(first_host_is_this_computer("C:\\missing"));
  EXPECT_EQ("", both_streams());
}

// ---- The first word -----------------------------------------------------------------------

TEST(FirstWord, IsCutAtTheFirstBlank) {
  EXPECT_EQ("node1", first_word("node1 4"));
  EXPECT_EQ("node1", first_word("node1 "));
}

TEST(FirstWord, LosesTheBlanksInFront) {
  EXPECT_EQ("node1", first_word("   node1 4 5"));
}

TEST(FirstWord, KeepsTabsAndLineEnds) {
  EXPECT_EQ("\tnode1\n", first_word("\tnode1\n"));
  EXPECT_EQ("\n", first_word("  \n"));
}

TEST(FirstWord, IsNothingInAnAbsentOrBlankText) {
  EXPECT_EQ(std::nullopt, first_word(std::nullopt));
  EXPECT_EQ(std::nullopt, first_word(""));
  EXPECT_EQ(std::nullopt, first_word("   "));
}
