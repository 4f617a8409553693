// cluster_bench.h: tests on a real cluster. What a test starts here is queued, gets
// its nodes and runs as any job of the cluster does.
//
// The cluster is the one that scripts/cluster.sh has started (HEAD_NODE_CLUSTER), with
// the job.exe and cluscfg.exe of tests/tools/head_node; each test has a head node of
// its own on it, with its own jobs, settings and faults. With CLUSTER_HEAD_NODE set
// the tests run against that head node and the real tools on the path; those that
// need the stand-in's settings or faults are then skipped.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "../scenario_bench.h"

namespace scenario {

// A test on the cluster. Its jobs are canceled when it ends.
class cluster_test : public testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;
};

// ... of a launcher: the user's folder lies on a share, the MPI is on the nodes' path, and
// jobs stay in the queue long enough for the wait box to be seen.
class launcher_test : public cluster_test {
 protected:
  void SetUp() override;
};

// Where the nodes find MS-MPI, from the world's folder on.
constexpr const char *mpiexec = "ms\\mpiexec.exe";

// ---- Given --------------------------------------------------------------------------------

// The name to pass as /scheduler.
std::string head_node_name();

// Skips a test that needs what only the stand-in can do.
#define NEEDS_THE_STAND_IN()                                    \
  if (!scenario::head_node_is_stand_in()) {                     \
    GTEST_SKIP() << "the real tools have no such thing to set"; \
  }
bool head_node_is_stand_in();

// A line of the head node's settings; see tests/tools/head_node/README.md.
void given_setting(const std::string &name_and_value);

// Kills the head node, as a power failure does; what it knew may be lost. Its jobs run on.
enum head_node_memory { remembers, forgets };
void given_a_dead_head_node(head_node_memory memory);

// Starts the test's head node again after that.
void start_head_node();

// The head node takes calls and does not answer, until the test ends.
void given_a_hanging_head_node();

// How many calls of tools it has had since it was started.
int calls_of_head_node();

// Switches a fault on until the test ends or switches it off.
void given_fault(const std::string &name, const std::string &value = "");
void given_no_fault(const std::string &name);

// A variable for all tasks of the cluster.
void given_cluster_variable(const std::string &name_and_value);

// A folder of the test on a network share, and its name on a drive.
std::string share();
std::string share_on_drive();

// ---- When ---------------------------------------------------------------------------------

// Calls job.exe (or cluscfg.exe) with these arguments and /scheduler, to its end.
launch job(const std::string &arguments);
launch cluscfg(const std::string &arguments);

// The same when it has to succeed; gives back the identifier in its answer, if any.
std::string job_id(const std::string &arguments);

// A job of a few processors that keeps its nodes, running.
std::string given_running_job(const std::string &options = "/numprocessors:4");

// Waits until a job is in one of these states, and gives back in which. The test
// fails when it gets to another end or does not get there at all.
std::string wait_for_state(const std::string &id, const std::vector<std::string> &states);

// Waits until a task is in this state.
void wait_for_task(const std::string &id, int task, const std::string &state);

// Waits until a program of this name runs somewhere, or does no more.
void wait_for_program(const std::string &name, bool running);

// Waits until a file exists and holds this text.
void wait_for_text(const std::string &path, const std::string &text);

// Follows the launcher until it has written this.
void wait_for_output(launch &run, const std::string &text);

// ---- Then ---------------------------------------------------------------------------------

// The value of a key in what "job view" prints; nothing after the colon is empty.
std::string view_value(const std::string &id, const std::string &key);
std::string job_state(const std::string &id);

// The listing of one task in "job view /detailed".
std::string task_value(const std::string &id, int task, const std::string &key);
std::string task_output(const std::string &id, int task);

// The words of a text, divided by blanks.
std::vector<std::string> words_of(const std::string &text);

bool contains(const std::string &text, const std::string &part);

// A text without carriage returns.
std::string unix_lines(std::string text);

}  // namespace scenario
