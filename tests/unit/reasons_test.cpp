// What a rehearsal says of its own, over all rows of tests/cases: how each piece of a launch
// command begins and where it comes from, and what only the real run shows.
#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>

#include "cases/rehearsal.h"
#include "support/platform_stand_in.h"
#include "unit/case_player.h"

namespace {

using lines = std::set<std::string>;

// How a piece begins: its option, if it has one.
//   " -channel ssm" -> "-channel"      "C:\mpi\bin\mpiexec.exe " -> ""
std::string option_of(const std::string &piece) {
  const auto first = std::min(piece.find_first_not_of(' '), piece.size());
  const auto end = piece.find_first_of(" :=", first);
  return piece[first] == '-' || piece[first] == '/' ? piece.substr(first, end - first) : "";
}

// A reason without the number that the user gave: "processes: --np=4" -> "processes: --np="
std::string without_number(const std::string &reason) {
  const std::string given = "processes: --np=";
  return reason.starts_with(given) ? given : reason;
}

void collect_reasons(const std::string &output, lines &found) {
  const std::string before = "\r\n    |";
  const std::string between = "|  ";
  auto at = std::min(output.find("and where its pieces come from"), output.size());
  while ((at = output.find(before, at)) != std::string::npos) {
    at += before.size();
    const auto middle = output.find(between, at);
    const auto reason = middle + between.size();
    found.insert(option_of(output.substr(at, middle - at)) + "  " +
                 without_number(output.substr(reason, output.find("\r\n", reason) - reason)));
  }
}

void collect_unknown(const std::string &output, lines &found) {
  const std::string before = "Rehearsal: only the real run shows ";
  for (std::size_t at = 0; (at = output.find(before, at)) != std::string::npos;) {
    at += before.size();
    found.insert(output.substr(at, output.find("\r\n", at) - at));
  }
}

void expect_same(const lines &expected, const lines &found) {
  for (const auto &line : found) {
    EXPECT_TRUE(expected.contains(line)) << line;
  }
  for (const auto &line : expected) {
    EXPECT_TRUE(found.contains(line)) << line;
  }
}

TEST(Reasons, AreThese) {
  lines found, unknown;
  for (const auto &family : cases::all_families()) {
    for (const auto &row : family.rows) {
      if (row.only_real.empty()) {
        const auto complete =
            cases::complete_row(family, row, "C:\\world", platform::system_message);
        const auto output = cases::play_scripted(cases::as_rehearsal(complete)).output;
        collect_reasons(output, found);
        collect_unknown(output, unknown);
      }
    }
  }
  const lines expected = {
      "  a job of its own: no CCP_JOB_ID",
      "  a task of the job that is this run's: CCP_JOB_ID",
      "  a task of the job, whose number is assumed",
      "  between the launch command and the solver's arguments",
      "  program: Intel MPI of the release",
      "  program: MPICH of MPICH_HOME",
      "  program: MPICH of MPI_HOME",
      "  program: MPICH2 of MPICH2_HOME",
      "  program: MPICH2 of the release",
      "  program: MS-MPI of MSMPI_HOME",
      "  program: MS-MPI of the cluster, as CCP_HOME is set",
      "  program: MS-MPI of the release",
      "  program: Platform MPI of IBMMPI_ROOT",
      "  program: Platform MPI of the release",
      "  the solver's arguments",
      "-IBAL  interconnect: --ic=ib",
      "-IBAL  interconnect: --ic=infiniband",
      "-MX  interconnect: --ic=myri",
      "-MX  interconnect: --ic=myrinet",
      "-T  the user's own: IBMMPI_USER_FLAGS",
      "-affinity  ranks stay on their processors: CCP_HOME and CCP_JOBTEMPLATE are set",
      "-ccp  nodes: those of the job",
      "-channel  channel: MPICH2_CHANNEL",
      "-channel  channel: no MPICH2_CHANNEL, and one host",
      "-channel  channel: no MPICH2_CHANNEL, and several hosts",
      "-dir  working directory: STD_DIR",
      "-e  PATH of the remote processes",
      "-e  for the solver: QMX_ARCH",
      "-e  for the solver: QMX_ROOT",
      "-e  for the solver: ZEPHON_PROD_DIR",
      "-e  the MPI's own folder",
      "-e  the user's own: IBMMPI_USER_FLAGS",
      "-e  work size: ZEPHON_WORK_SIZE",
      "-e  work size: ZEPHON_WORK_UNIT",
      "-e  working directory: ZEPHON_INC",
      "-env  PATH of the processes",
      "-env  PATH of the remote processes",
      "-env  for the solver: QMX_ARCH",
      "-env  for the solver: QMX_ROOT",
      "-env  for the solver: ZEPHON_PROD_DIR",
      "-env  head node: USE_CCP",
      "-env  network mask: MPICH_NETMASK",
      "-env  the user's own: MPICH2_USER_FLAGS",
      "-env  work size: ZEPHON_WORK_SIZE",
      "-env  work size: ZEPHON_WORK_UNIT",
      "-exitcodes  the user's own: MPICH2_USER_FLAGS",
      "-genv  for the solver: QMX_ARCH",
      "-genv  for the solver: QMX_ROOT",
      "-genv  for the solver: ZEPHON_PROD_DIR",
      "-genv  interconnect: --ic=IB, which is not InfiniBand",
      "-genv  interconnect: --ic=Infiniband, which is not InfiniBand",
      "-genv  interconnect: --ic=ethernet, which is not InfiniBand",
      "-genv  interconnect: --ic=ib",
      "-genv  interconnect: --ic=ib , which is not InfiniBand",
      "-genv  interconnect: --ic=infiniband",
      "-genv  interconnect: --ic=myri, which is not InfiniBand",
      "-genv  program: ZEPHON_PROD=lumis_acc",
      "-genv  the MPI pins the processes: ZEPHON_AFFINITY is not 1",
      "-genv  the solver pins its processes: ZEPHON_AFFINITY=1",
      "-genv  the user's own: INTELMPI_USER_FLAGS",
      "-hostfile  host file: --cnf=",
      "-hostfile  host file: --cnf=, rewritten for the MPI",
      "-hostfile  host file: ZEPHON_HOSTS_FILE",
      "-hosts  nodes: CCP_NODES, no more than there are processes",
      "-hosts  nodes: those of the job",
      "-hosts  the user's own: MPICH2_USER_FLAGS",
      "-intra  program: ZEPHON_PROD=lumis_acc",
      "-job  job: CCP_JOB_ID",
      "-l  the user's own: MPICH2_USER_FLAGS",
      "-localonly  this computer alone: there is no host file",
      "-localroot  this computer alone: there is no host file, or it names no other",
      "-machinefile  host file: --cnf=",
      "-machinefile  host file: --cnf=, rewritten for the MPI",
      "-machinefile  host file: ZEPHON_HOSTS_FILE",
      "-n  processes: --np=",
      "-np  processes: --np=",
      "-np  processes: CCP_NUMCPUS, for --np=0",
      "-np  processes: PARA_MESH_NPROCS, which is more than --np=2",
      "-np  processes: PARA_MESH_NPROCS, which is more than --np=4",
      "-np  processes: one, as --np= was not given",
      "-prot  the MPI shows which interconnects it uses",
      "/env  the user's own: CCP_USER_FLAGS",
      "/exclusive  its nodes may run other jobs as well",
      "/jobname  name of the job",
      "/jobtemplate  the scheduler's: ZP_CCP_JOB_TEMPLATE",
      "/name  name of the task",
      "/nodegroup  the scheduler's: ZP_CCP_NODE_GROUP",
      "/numcores  processes: --np=",
      "/numnodes  one processor for mpirun itself",
      "/numnodes  processes: --np=",
      "/numprocessors  one processor for mpirun itself",
      "/numprocessors  processes: --np=",
      "/numsockets  one processor for mpirun itself",
      "/priority  the user's own: CCP_USER_FLAGS",
      "/scheduler  head node: USE_CCP",
      "/stdout  output files of the task, named with USERNAME",
      "/u  the user's own: CCP_USER_FLAGS",
      "/workdir  working directory: STD_DIR, --cwd or the current folder",
  };
  expect_same(expected, found);
  expect_same({"how long the job waits and runs, and how it ends",
               "how long the program runs and how it ends",
               "whether the MPI takes the user's password, since the service does not run",
               "whether the password that the user enters is the right one"},
              unknown);
}

}  // namespace
