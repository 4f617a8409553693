// Tests of the host files beside the rows of tests/cases: what happens when they cannot be
// read or written, and how often they are.
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
const std::string cannot_open = "\n Error:  Failed to open host file C:\\run\\hosts.txt\n";
const std::string cannot_create = "\n Error:  Failed to create host file C:\\run\\hosts.txt\n";

// A run of four processes on the hosts of a file.
void given_hosts(const std::string &content = "a\nb\n") {
  given_variable("TEMP", "C:\\temp");
  given_variable("ZEPHON_HOSTS_FILE", user_file);
  given_file(user_file, content);
  state.num_procs = 4;
}

void expect_no_process_file(const std::string &message) {
  EXPECT_EQ(2, status_of_exit([] { (void)write_process_host_file(user_file); }));
  EXPECT_EQ(message, both_streams());
  EXPECT_FALSE(file_exists(process_file));
  EXPECT_EQ(user_file, variable("ZEPHON_HOSTS_FILE"));
}

void expect_process_file() {
  EXPECT_EQ(process_file, write_process_host_file(user_file));
  EXPECT_EQ("a:2\r\nb:2\r\n", file_content(process_file));
}

std::string copy_of_list(const char *slots, const std::string &hosts) {
  given_variable("TEMP", "C:\\temp");
  given_variable("PARA_MESH_NPROCS", slots);
  EXPECT_EQ(scheduler_file, write_scheduler_host_file(hosts));
  return file_content(scheduler_file).value_or("no file");
}

TEST(RequiredHostsFile, MayBeEmpty) {
  given_variable("ZEPHON_HOSTS_FILE", "");
  EXPECT_EQ("", require_hosts_file());
}

// ---- The file with a count for each host --------------------------------------------------

TEST(ProcessHostFile, IsNotWrittenWithoutAPath) {
  EXPECT_EQ(std::nullopt, write_process_host_file(std::nullopt));
  EXPECT_EQ(std::vector<std::string>{}, written_files());
}

TEST(ProcessHostFile, IsReadInAnyPieces) {
  given_hosts();
  given_short_reads(1);
  expect_process_file();
}

TEST(ProcessHostFile, ReadsTheGivenFileTwiceAndNoMore) {
  given_hosts();
  expect_process_file();
  EXPECT_EQ(2U, times_opened(user_file));
  EXPECT_EQ("ZEPHON_HOSTS_FILE=C:\\temp\\zphost-4711.txt" + std::string(2, '\0'), state.env_pool);
}

TEST(ProcessHostFile, IsNamedAfterAProcessWithABigNumber) {
  given_process_id(4'294'967'292);
  given_hosts();
  EXPECT_EQ("C:\\temp\\zphost-4294967292.txt", write_process_host_file(user_file));
}

TEST(ProcessHostFile, NeedsSomeFolder) {
  given_hosts();
  given_no_variable("TEMP");
  given_no_current_directory();
  expect_no_process_file("Error: getcwd() error\n");
  state.num_procs = 2;  // none is written
  EXPECT_EQ(std::nullopt, write_process_host_file(user_file));
}

TEST(ProcessHostFile, NeedsAFileThatCanBeRead) {
  given_hosts();
  given_unreadable_file(user_file, "a\nb\n");
  expect_no_process_file(cannot_open);
}

TEST(ProcessHostFile, NeedsANameThatCanBeWritten) {
  given_hosts();
  given_unwritable_path(process_file);
  expect_no_process_file(cannot_create);
}

TEST(ProcessHostFile, IsNotUsedHalfWrittenWhenTheDiskIsFull) {
  given_hosts();
  given_full_disk_after(5);
  expect_no_process_file(cannot_create);
}

TEST(ProcessHostFile, IsNotUsedWhenTheDiskWasFullForAWhile) {
  std::string hosts;
  for (int number = 0; number < 20'000; ++number) {
    hosts += "node" + std::to_string(number) + "\n";
  }
  given_hosts(hosts);
  state.num_procs = 40'000;
  given_full_disk_after(70'000);
  expect_no_process_file(cannot_create);
}

TEST(ProcessHostFile, TakesThePlaceOfAnOlderOneAndOfALink) {
  given_hosts();
  given_file(process_file, "left:9\r\nover:9\r\nand more:9\r\n");
  expect_process_file();
  given_file("C:\\private.txt", "private");
  given_link(process_file, "C:\\private.txt");
  expect_process_file();
  EXPECT_EQ("private", file_content("C:\\private.txt"));
}

TEST(ProcessHostFile, IsEmptyWhenTheGivenFileIsGoneInTheMeantime) {
  given_hosts();
  given_last_opening(user_file);
  EXPECT_EQ(process_file, write_process_host_file(user_file));
  EXPECT_EQ("", file_content(process_file));
}

// ---- The copy for a scheduler's nodes -----------------------------------------------------

TEST(SchedulerHostFile, MayBeMadeOfAList) {
  EXPECT_EQ("alpha\r\nbeta\r\ngamma\r\ndelta\r\nepsilon\r\n",
            copy_of_list("-2", " ,alpha,beta;gamma:delta epsilon,; "));
  EXPECT_EQ("gamma\r\n", copy_of_list("2", "alpha,beta,gamma"));
  EXPECT_EQ("", copy_of_list("3", "alpha,beta,gamma"));
  EXPECT_EQ("", copy_of_list("0", ""));
}

TEST(SchedulerHostFile, IsMadeOfAListWhenNoSuchFileOpens) {
  given_unreadable_file("hosts.txt", "alpha\n");
  EXPECT_EQ("hosts.txt\r\n", copy_of_list("0", "hosts.txt"));
  given_directory("C:\\run");
  EXPECT_EQ("C\r\n\\run\r\n", copy_of_list("0", "C:\\run"));
}

TEST(SchedulerHostFile, NeedsSomeFolder) {
  EXPECT_EQ("C:\\work\\zphosts-4711.txt", write_scheduler_host_file("alpha"));
  given_no_current_directory();
  EXPECT_EQ(std::nullopt, write_scheduler_host_file("alpha"));
  EXPECT_EQ("Error: getcwd() error\n", both_streams());
}

TEST(SchedulerHostFile, SaysThatItIsRefused) {
  given_hosts();
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
  EXPECT_EQ("alpha\r\n", copy_of_list("0", "alpha"));
  EXPECT_EQ("private", file_content("C:\\private.txt"));
}

// ---- What is not there --------------------------------------------------------------------

TEST(HostList, IsEmptyWithoutTheVariable) {
  EXPECT_EQ("", read_host_list());
}

TEST(SingleHost, IsAssumedWithoutAPath) {
  EXPECT_EQ(1, host_file_is_single_host(std::nullopt, 4));
  EXPECT_EQ("", both_streams());
}

TEST(LocalHost, IsNotInAFileThatDoesNotOpen) {
  given_variable("COMPUTERNAME", "NODE1");
  EXPECT_FALSE(first_host_is_this_computer("C:\\missing"));
  EXPECT_EQ("", both_streams());
}

TEST(FirstWord, EndsAtABlankAlone) {
  EXPECT_EQ("node1", first_word("   node1 4 5"));
  EXPECT_EQ("\tnode1\n", first_word("\tnode1\n"));
  EXPECT_EQ(std::nullopt, first_word(std::nullopt));
  EXPECT_EQ(std::nullopt, first_word("   "));
}

}  // namespace
