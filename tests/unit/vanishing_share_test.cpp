// Files on a share that goes away while they are written: the run goes on, or ends, as on a
// full disk, and uses no half of a file, wherever the share goes away.
#include <gtest/gtest.h>

#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "core/run_record.h"
#include "launch/mpirun.h"
#include "support/fresh_launch.h"

using namespace stand_in;

namespace {

using texts = std::vector<std::string>;

struct share_row {
  std::string name;
  std::string mpi;
  texts arguments;
  void (*given)();
  std::string file;    // on the share
  std::string says;    // to the user, on both streams
  std::string starts;  // a piece of the last command; empty: nothing is started
  texts boxes = {};
  std::optional<int> status = 0;
  std::optional<std::string> kept = {};  // what stands in the file afterwards, if that matters
};

void given_hosts(const std::string &hosts) {
  given_file("C:\\hosts", hosts);
  given_variable("ZEPHON_HOSTS_FILE", "C:\\hosts");
  given_variable("ORBEX_DONT_CACHE_PASSWORD", "1");
  given_variable("TEMP", "\\\\server\\temp");
}

void given_nodes_of_a_job() {
  given_variable("USE_CCP", "head");
  given_variable("CCP_JOB_ID", "5");
  given_variable("NP_PER_NODE", "2");
  given_variable("ZEPHON_CRED_CHECK", "no");
  given_variable("ZEPHON_HOSTS_FILE", "\\\\server\\machines");
  given_file("\\\\server\\machines", "old\n");
  given_tool_with("cluscfg");
  given_tool_with("job add", prints("submitted\n"));
  given_tool("job view 5 /scheduler:head", prints("Allocated nodes : alpha beta\n"));
  given_tool("job view 5 /scheduler:head", prints("State : Finished\n"));
}

void given_installer() {
  given_current_directory("\\\\server\\case");
  given_file("C:\\mpich2\\bin\\smpd.exe");
  given_tool_with("smpd.exe -install", prints("installed\n"));
}

const std::vector<share_row> rows = {
    {.name = "SpreadHosts",
     .mpi = "ibmmpi",
     .arguments = {"--np=4", "3d"},
     .given = [] { given_hosts("alpha\nbeta\n"); },
     .file = "\\\\server\\temp\\zphost-4711.txt",
     .says = "\n Error:  Failed to create host file C:\\hosts\n",
     .starts = "",
     .status = 2},
    {.name = "HostsForSolver",
     .mpi = "ibmmpi",
     .arguments = {"--np=4", "3d"},
     .given =
         [] {
           given_hosts("alpha:2\nbeta:2\n");
           given_variable("ZEPHON_AUTO_SPAWN", "1");
         },
     .file = "\\\\server\\temp\\zphosts-4711.txt",
     .says = "\nfailed to open temp file for hosts",
     .starts = " -hostfile \"C:\\hosts\" "},
    {.name = "MachineFile",
     .mpi = "msmpi",
     .arguments = {"--np=4", "3d"},
     .given = given_nodes_of_a_job,
     .file = "\\\\server\\machines",
     .says = "",
     .starts = "job add 5 "},
    {.name = "TimingFile",
     .mpi = "net",
     .arguments = {"--o", "\\\\server\\times.txt", "C:\\solver.exe 3d"},
     .given = [] {},
     .file = "\\\\server\\times.txt",
     .says = "",
     .starts = "solver.exe"},
    {.name = "RunRecord",
     .mpi = "net",
     .arguments = {"C:\\solver.exe 3d"},
     .given =
         [] {
           given_variable("ZEPHON_RUN_RECORD", "\\\\server\\run.json");
           given_file("\\\\server\\run.json", "old");
         },
     .file = "\\\\server\\run.json",
     .says = "\nWarning: Failed to write run record \\\\server\\run.json\n",
     .starts = "solver.exe",
     .kept = "old"},
    {.name = "RunLog",
     .mpi = "net",
     .arguments = {"C:\\solver.exe 3d"},
     .given = [] { given_variable("ZEPHON_RUN_DEBUG", "\\\\server\\log.txt"); },
     .file = "\\\\server\\log.txt",
     .says = "",
     .starts = "solver.exe"},
    {.name = "InstallLog",
     .mpi = "mpich2",
     .arguments = {"--install_smpd", "C:\\mpich2"},
     .given = given_installer,
     .file = "\\\\server\\case\\install_smpd_log.txt",
     .says = "",
     .starts = "smpd.exe -install",
     .boxes = {"\nMPICH2 SMPD Installation Successful:\nC:\\mpich2\\bin\\smpd.exe "
               "-install\ninstalled\n"}},
};

std::optional<int> run(const share_row &row, std::optional<std::size_t> bytes) {
  fresh_launch();
  given_installation(row.mpi);
  given_tool_for([](const std::string &command) { return command.ends_with(" 3d"); });
  given_tool_with("3d\"");
  row.given();
  if (bytes) {
    given_share_that_vanishes_after(*bytes);
  }
  auto arguments = row.arguments;
  arguments.insert(arguments.begin(), "--mpi=" + row.mpi);
  return status_of_exit([&] {
    char **vector = given_arguments(arguments);
    start_from_window(nullptr, 1, state.arg_count, vector);
  });
}

void PrintTo(const share_row &row, std::ostream *stream) {
  *stream << row.name;
}

class VanishingShare : public testing::TestWithParam<share_row> {};

TEST_P(VanishingShare, HasNoHalfOfAFileUsed) {
  const share_row &row = GetParam();
  (void)run(row, {});
  const std::size_t whole = file_content(row.file).value_or("").size();
  ASSERT_LT(0U, whole) << testing::PrintToString(written_files()) << both_streams();
  for (std::size_t bytes = 0; bytes < whole; ++bytes) {
    EXPECT_EQ(row.status, run(row, bytes)) << bytes;
    EXPECT_EQ(row.says, both_streams()) << bytes;
    texts boxes;
    for (const message_box &box : message_boxes()) {
      boxes.push_back(box.text);
    }
    EXPECT_EQ(row.boxes, boxes) << bytes;
    const std::string last = commands().empty() ? "" : commands().back();
    EXPECT_EQ(row.starts.empty(), last.empty()) << last;
    EXPECT_NE(std::string::npos, last.find(row.starts)) << last;
    for (const std::string &command : commands()) {
      EXPECT_EQ(std::string::npos, command.find("\\\\server")) << command;
    }
    if (row.kept) {
      EXPECT_EQ(row.kept, file_content(row.file)) << bytes;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Files, VanishingShare, testing::ValuesIn(rows),
                         [](const auto &row) { return row.param.name; });

}  // namespace
