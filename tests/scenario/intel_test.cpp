// intel_test.cpp: what only a real process shows of Intel MPI's service: late, hidden, living
// on, and gone when it is to be started.

#include <gtest/gtest.h>
#include <windows.h>

#include "scenario_bench.h"

using namespace scenario;

namespace {

const std::string mpiexec = "inc\\zephon1.2.3\\netweave\\mpi\\win64\\intel\\bin\\mpiexec.exe";
const std::string smpd = "inc\\zephon1.2.3\\netweave\\mpi\\win64\\intel\\bin\\smpd.exe";

// The two tools as the launcher calls them: named from the current folder on, so
// that no blank of the world's folder is in their paths.
const std::string called_mpiexec = "..\\" + mpiexec;
const std::string called_smpd = "..\\" + smpd;

// Intel MPI of release 1.2.3, the password of whose user is valid.
void given_intel_mpi() {
  given_release_without_blanks("intel");
  given_variable("COMPUTERNAME", "ALPHA");
  given_tool(mpiexec, "when -validate\nout SUCCESS\\r\\n\n");
  given_tool(smpd, "out smpd running on ALPHA\\r\\n\n");
}

// ... with two hosts.
void given_two_hosts() {
  given_intel_mpi();
  given_variable("ZEPHON_HOSTS_FILE", "..\\hosts");
  given_file("hosts", "alpha:2\nbeta:2\n");
}

launch run_intel() {
  return run_launcher("--r1.2.3 --mpi=intel --np=4 solver");
}

const std::string launch_line =
    called_mpiexec + R"(  -machinefile "..\hosts"  -n 4  -genv ZEPHON_PROD_DIR "..\prod")" +
    " -genv I_MPI_PIN enable   solver";

// Whether every program that could write to the launcher's output has closed it.
bool output_is_at_its_end(const launch &run) {
  constexpr int tries = 500;
  DWORD there = 0;
  for (int count = 0; count < tries; ++count) {
    if (!PeekNamedPipe(run.output_end.get(), nullptr, 0, nullptr, &there, nullptr)) {
      return GetLastError() == ERROR_BROKEN_PIPE;
    }
    Sleep(10);
  }
  return false;
}

}  // namespace

// ---- The service --------------------------------------------------------------------------

TEST(IntelService, MayAnswerLate) {
  given_two_hosts();
  given_tool(smpd, "make_file asked\nwait_file go\nout no smpd running\\r\\n\n");
  auto run = start_launcher("--r1.2.3 --mpi=intel --np=4 solver");
  wait_for_file(run, "inc\\zephon1.2.3\\netweave\\mpi\\win64\\intel\\bin\\asked");
  wait_a_moment(run);
  EXPECT_EQ(text_mode("\nChecking the status of SMPD for INTEL MPI on the local machine ..."),
            run.output);
  EXPECT_TRUE(starts_of(mpiexec).empty());
  given_tool(smpd, "when -d\n");
  given_file("inc\\zephon1.2.3\\netweave\\mpi\\win64\\intel\\bin\\go");
  wait_for_everything(run);
  EXPECT_EQ(launch_line, lines_of(mpiexec).back());
}

TEST(IntelService, IsStartedDetachedAndHiddenWithATitle) {
  given_two_hosts();
  given_tool(smpd, "when -status\nout no smpd running on ALPHA\\r\\n\nwhen -d 0\n");
  const auto run = run_intel();
  EXPECT_EQ(text_mode("\nChecking the status of SMPD for INTEL MPI on the local machine ..."
                      " no smpd running on ALPHA\n"
                      "\nSuccessfully started the SMPD for INTEL MPI!\n"),
            run.output);
  const auto starts = starts_of(smpd);
  ASSERT_EQ(2U, starts.size());
  EXPECT_EQ(called_smpd + " -d 0", starts[1].command_line);
  EXPECT_EQ("INTEL MPI SMPD", starts[1].title);
  EXPECT_TRUE((starts[1].startup_flags & STARTF_USESHOWWINDOW) != 0);
  EXPECT_EQ(static_cast<unsigned long>(SW_HIDE), starts[1].show_window);
  EXPECT_EQ("none", starts[1].output);
  EXPECT_EQ("none", starts[1].error);
}

TEST(IntelService, DoesNotKeepTheLaunchersOutputOpen) {
  given_two_hosts();
  given_variable("ZEPHON_PROD", "lumis");  // is waited for
  given_tool(smpd,
             "when -status\nout no smpd running on ALPHA\\r\\n\n"
             "when -d 0\nmake_file up\nwait_file go\n");
  auto run = start_launcher("--r1.2.3 --mpi=intel --np=4 solver");
  wait_for_file(run, "inc\\zephon1.2.3\\netweave\\mpi\\win64\\intel\\bin\\up");
  wait_for_end(run);
  EXPECT_EQ(0U, run.status);
  EXPECT_TRUE(output_is_at_its_end(run));
  const auto service = starts_of(smpd).at(1);
  EXPECT_FALSE(service.code);  // it lives on
  given_file("inc\\zephon1.2.3\\netweave\\mpi\\win64\\intel\\bin\\go");
  wait_for_everything(run);
  EXPECT_EQ(0U, starts_of(smpd).at(1).code);
}

TEST(IntelService, IsReportedWhenItCannotBeStarted) {
  given_intel_mpi();
  // Its file has another name when the service is to be started.
  given_tool(smpd, "run cmd.exe /c move /y " + called_smpd + " ..\\gone.exe >nul\n" +
                       "out no smpd running on ALPHA\\r\\n\n");
  given_variable("ZEPHON_HOSTS_FILE", "..\\hosts");
  given_file("hosts", "alpha:2\nbeta:2\n");
  const auto run = run_intel();
  EXPECT_EQ(0U, run.status);
  EXPECT_EQ(text_mode("\nChecking the status of SMPD for INTEL MPI on the local machine ..."
                      " no smpd running on ALPHA\n"
                      "\nFailed to start the SMPD for INTEL MPI [" +
                      called_smpd + " -d 0]!\n"),
            run.output);
  EXPECT_EQ(launch_line, lines_of(mpiexec).back());
}
