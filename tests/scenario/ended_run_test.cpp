// ended_run_test.cpp: a run on a cluster that is ended from outside wherever it waits.

#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>
#include <filesystem>

#include "scenario_bench.h"

using namespace scenario;

namespace {

struct waiting_row {
  std::string mpi;
  std::string tool;      // that hangs
  std::string argument;  // in its command
  bool knows_job;        // its number, by then
};

const std::vector<waiting_row> waiting_rows = {
    {"msmpi", "cluscfg.exe", "listenvs", false}, {"msmpi", "job.exe", "cmd.exe /C ver", false},
    {"msmpi", "job.exe", "mpiexec", false},      {"msmpi", "job.exe", "view", true},
    {"ibmmpi", "job.exe", "new", false},         {"ibmmpi", "job.exe", "add", true},
    {"ibmmpi", "job.exe", "/id:", true},         {"ibmmpi", "job.exe", "view", true}};

class EndedRun : public testing::TestWithParam<waiting_row> {};

// The scheduler's answers about a job of this number. An older one runs on.
std::string answers_about(const std::string &job) {
  return "when new\nout Created job, ID: " + job +
         "\\r\\n\n"
         "when submit\nout Job has been submitted. ID: " +
         job +
         ".\\r\\n\n"
         "when view " +
         job +
         "\nout State : Finished\\r\\n\n"
         "when view\nout State : Running\\r\\n\n";
}

void given_cluster_for_front() {
  given_variable("ZEPHON_INC", in_world("inc"));
  for (const char *mpi : {"msmpi", "ibmmpi"}) {
    given_file(std::string("inc\\zephon1.2.3\\netweave\\mpi_wrapper\\win64\\") + mpi +
               "\\mpi_wrapper.dll");
  }
  given_tool("inc\\zephon1.2.3\\ntbin\\win64\\zephon.exe");
  given_tool("inc\\zephon1.2.3\\netweave\\mpi\\win64\\ms\\bin\\mpiexec.exe");
  given_tool("inc\\zephon1.2.3\\netweave\\mpi\\win64\\ibmmpi\\bin\\mpirun.exe");
  given_tool("cluscfg.exe");
  given_tool("job.exe", answers_about("7"));
  std::filesystem::copy_file(built_front(), in_world("zprun.exe"));
}

launch start_front(const std::string &mpi) {
  return start_program("zprun.exe", "zprun.exe -mpi=" + mpi + " -t2 -ccp head -record run.json x");
}

}  // namespace

// Nothing that it started runs on, nothing half-written lies about, and the next run
// there tells of the job.
TEST_P(EndedRun, LeavesNoToolAndItsJobIsNamedByTheNextOne) {
  const waiting_row &row = GetParam();
  given_cluster_for_front();
  given_tool(row.tool, "when " + row.argument + "\nmake_file up\nwait_file never\n" +
                           (row.tool == "job.exe" ? answers_about("7") : ""));
  auto run = start_front(row.mpi);
  wait_for_file(run, "up");
  TerminateProcess(run.process.get(), 9);
  wait_for_everything(run);  // the tool too: it would wait for two minutes
  EXPECT_EQ(9U, run.status);
  EXPECT_EQ(std::nullopt, file_text("work\\run.json"));
  const auto files_in_temp = [] {
    const std::filesystem::directory_iterator temp(in_world("temp"));
    return std::distance(begin(temp), end(temp));
  };
  EXPECT_EQ(1, files_in_temp());  // the note of its job

  given_tool("cluscfg.exe");
  given_tool("job.exe", answers_about("8"));
  auto next = start_front(row.mpi);
  wait_for_everything(next);
  const std::string told = row.knows_job
                               ? "zprun: a run that was ended from outside has left job 7 "
                                 "on head, which is Running: "
                               : "zprun: a run that was ended from outside may have left "
                                 "a job on head: ";
  EXPECT_EQ(0U, next.errors.find(told)) << next.errors;
  EXPECT_EQ(row.knows_job ? 1 : 0, files_in_temp());
}

INSTANTIATE_TEST_SUITE_P(WaitsFor, EndedRun, testing::ValuesIn(waiting_rows), [](const auto &of) {
  std::string name = of.param.mpi + of.param.tool + of.param.argument;
  std::erase_if(name,
                [](char letter) { return !std::isalnum(static_cast<unsigned char>(letter)); });
  return name;
});
