// platform_mpi_test.cpp: what only a real process shows of Platform MPI: its paths in
// network form, its password through the interpreters and in a box.

#include <gtest/gtest.h>

#include <filesystem>

#include "scenario_bench.h"

using namespace scenario;

namespace {

const std::string mpirun = "inc\\zephon1.2.3\\netweave\\mpi\\win64\\ibmmpi\\bin\\mpirun.exe";
const std::string called_mpirun = "..\\" + mpirun;
const std::string checks_password = called_mpirun + " -pwcheck";
const std::string caches_password = called_mpirun + " -cache cmd.exe /c ver";
const std::string question =
    "The password is invalid for Platform MPI to launch jobs.\n"
    "Do you want to input your password now?";

// Platform MPI of release 1.2.3, which holds a valid password.
void given_platform_mpi() {
  given_release_without_blanks("ibmmpi");
  given_tool(mpirun, "when -pwcheck\nout Cached password is valid\\r\\n\n");
}

// ... with a host file.
void given_hosts() {
  given_platform_mpi();
  given_variable("ZEPHON_HOSTS_FILE", "..\\hosts");
  given_file("hosts", "alpha:2\nbeta:2\n");
}

launch run_platform_mpi(const std::string &arguments = "--np=4 solver") {
  return run_launcher("--r1.2.3 --mpi=ibmmpi " + arguments);
}

const std::string launch_line =
    R"("..\inc\zephon1.2.3\netweave\mpi\win64\ibmmpi\bin\mpirun.exe" -prot -e MPI_ROOT="..\inc\zephon1.2.3\netweave\mpi\win64\ibmmpi"  -hostfile "..\hosts"  -np 4  -e PATH="..\inc\ntbin\win64;..\prod\netweave\mpi_wrapper\win64\ibmmpi" -e MPI_WORKDIR="..\inc" -e ZEPHON_PROD_DIR="..\prod"  solver)";

}  // namespace

// ---- The password -------------------------------------------------------------------------

TEST(PlatformMpiPassword, IsCachedInTheConsole) {
  given_hosts();
  given_tool(mpirun,
             "when -pwcheck\ntimes 1\nout No password\\r\\n\n"
             "when -pwcheck\nout Cached password is valid\\r\\n\n"
             "when -cache\nout Password: \n");
  const auto run = run_platform_mpi();
  EXPECT_EQ(0U, run.status);
  EXPECT_EQ("Password: ", run.output);
  EXPECT_EQ(
      (std::vector<std::string>{checks_password, caches_password, checks_password, launch_line}),
      lines_of(mpirun));
  const auto caching = starts_of(mpirun).at(1);
  EXPECT_EQ("pipe", caching.output);  // the launcher's own
  EXPECT_EQ("character", caching.input);
}

TEST(PlatformMpiPassword, IsAskedForAgainWhenTheUserSaysYes) {
  given_hosts();
  given_watched_styles();
  given_tool(mpirun,
             "when -pwcheck\ntimes 2\nout No password\\r\\n\n"
             "when -pwcheck\nout Cached password is valid\\r\\n\n");
  given_box_answer(yes_button);
  const auto run = run_platform_mpi();
  EXPECT_EQ(0U, run.status);
  ASSERT_EQ(1U, run.boxes.size());
  EXPECT_EQ("Zephon", run.boxes[0].caption);
  EXPECT_EQ(question, run.boxes[0].text);
  ASSERT_EQ(1U, run.asked_boxes.size());
  EXPECT_EQ(0x40004U, run.asked_boxes[0].style);
  EXPECT_EQ((std::vector<std::string>{checks_password, caches_password, checks_password,
                                      caches_password, checks_password, launch_line}),
            lines_of(mpirun));
}

TEST(PlatformMpiPassword, MayBeCheckedLate) {
  given_hosts();
  given_tool(mpirun,
             "when -pwcheck\nmake_file asked\nwait_file go\nout Cached password is valid\\r\\n\n");
  auto run = start_launcher("--r1.2.3 --mpi=ibmmpi --np=4 solver");
  const std::string folder = "inc\\zephon1.2.3\\netweave\\mpi\\win64\\ibmmpi\\bin\\";
  wait_for_file(run, folder + "asked");
  wait_a_moment(run);
  EXPECT_EQ(1U, starts_of(mpirun).size());
  given_file(folder + "go");
  wait_for_everything(run);
  EXPECT_EQ((std::vector<std::string>{checks_password, launch_line}), lines_of(mpirun));
}
