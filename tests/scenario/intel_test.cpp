// intel_test.cpp: what only a real process shows of Intel MPI's service: hidden, living on,
// and gone when it is to be started.

#include <gtest/gtest.h>
#include <windows.h>

#include "scenario_bench.h"

using namespace scenario;

namespace {

const std::string tools = mpi_folder("1.2.3", "intel") + "\\bin\\";

// The tools are named from the current folder on, so that no blank of the world's folder
// is in their paths.
const std::string called_smpd = "..\\" + tools + "smpd.exe";

const std::string arguments = "--r1.2.3 --mpi=intel --np=4 solver";

void given_intel(const std::string &script_of_smpd) {
  given_release_without_blanks("intel");
  given_variable("COMPUTERNAME", "ALPHA");
  given_tool(tools + "mpiexec.exe", "when -validate\nout SUCCESS\\r\\n\n");
  given_tool(tools + "smpd.exe", script_of_smpd);
  given_variable("ZEPHON_HOSTS_FILE", "..\\hosts");
  given_file("hosts", "alpha:2\nbeta:2\n");
}

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

TEST(IntelService, IsHiddenWithATitleAndDoesNotKeepTheLaunchersOutputOpen) {
  given_intel(
      "when -status\nout no smpd running on ALPHA\\r\\n\n"
      "when -d 0\nmake_file up\nwait_file go\n");
  given_variable("ZEPHON_PROD", "lumis");  // is waited for
  auto run = start_launcher(arguments);
  wait_for_file(run, tools + "up");
  wait_for_end(run);
  EXPECT_EQ(0U, run.status);
  EXPECT_TRUE(output_is_at_its_end(run));
  const auto service = starts_of(tools + "smpd.exe").at(1);
  EXPECT_FALSE(service.code);  // it lives on
  EXPECT_EQ("INTEL MPI SMPD", service.title);
  EXPECT_TRUE((service.startup_flags & STARTF_USESHOWWINDOW) != 0);
  EXPECT_EQ(static_cast<unsigned long>(SW_HIDE), service.show_window);
  given_file(tools + "go");
  wait_for_everything(run);
  EXPECT_EQ(0U, starts_of(tools + "smpd.exe").at(1).code);
}

TEST(IntelService, IsReportedWhenItCannotBeStarted) {
  // Its file has another name when the service is to be started.
  given_intel("run cmd.exe /c move /y " + called_smpd + " ..\\gone.exe >nul\n" +
              "out no smpd running on ALPHA\\r\\n\n");
  const auto run = run_launcher(arguments);
  EXPECT_EQ(0U, run.status);
  EXPECT_EQ(text_mode("\nChecking the status of SMPD for INTEL MPI on the local machine ..."
                      " no smpd running on ALPHA\n"
                      "\nFailed to start the SMPD for INTEL MPI [" +
                      called_smpd + " -d 0]!\n"),
            run.output);
  EXPECT_EQ("..\\" + tools +
                R"(mpiexec.exe  -machinefile "..\hosts"  -n 4  -genv ZEPHON_PROD_DIR )" +
                R"("..\prod" -genv I_MPI_PIN enable   solver)",
            lines_of(tools + "mpiexec.exe").back());
}
