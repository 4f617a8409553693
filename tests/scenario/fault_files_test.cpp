// fault_files_test.cpp: each file that the launcher reads or writes with each fault,
// for docs/fault-matrix.md.
//
// The rules: what the run cannot do without ends it with a message and status 2;
// what only helps the user is left out without one.

#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>
#include <filesystem>

#include "cases/launch_case.h"
#include "fault_page.h"
#include "faulty_files.h"

using namespace scenario;

namespace {

// ---- The faults ---------------------------------------------------------------------------

// Keeps a fault alive as long as the test runs.
struct made_fault {
  std::unique_ptr<unreadable_file> unreadable;
  std::unique_ptr<vanishing_file> vanishing;
  owned_handle lock;
};

// Gives a file of the world one of the faults of reading.
made_fault given_faulty(const std::string &path, fault one) {
  made_fault made;
  DeleteFileA(in_world(path).c_str());
  if (one == fault::unreadable) {
    made.unreadable = std::make_unique<unreadable_file>(path);
  } else if (one == fault::locked) {
    made.lock = locked_file(path, "alpha:2\nbeta:2\n");
  } else if (one == fault::folder) {
    given_folder(path);
  }
  return made;
}

// A name under which a file can be written only with one of the faults of writing;
// nothing when the machine has no such place. What cannot be written whole is removed,
// which a disk lets it be and a device does not.
std::string name_with_fault(fault one, bool on_disk, made_fault &made) {
  switch (one) {
    case fault::no_folder:
      return "..\\no folder\\file";
    case fault::unwritable:
      return unwritable_file();
    case fault::locked:
      made.lock = locked_file("file", "old\n");
      return "..\\file";
    case fault::folder:
      given_folder("file");
      return "..\\file";
    case fault::full:
      return !on_disk ? full_file() : full_disk().empty() ? "" : full_disk() + "\\file";
    default:
      return "";
  }
}

// A folder for temporary files with one of the faults; empty: there is none. The
// file itself is named after the process, so what stands there is made late.
std::string temp_with_fault(fault one, const std::string &prefix, made_fault &made) {
  const auto name = [prefix](unsigned long process) {
    return "temp\\" + prefix + "-" + std::to_string(process) + ".txt";
  };
  switch (one) {
    case fault::no_folder:
      return "..\\no folder";
    case fault::unwritable:
      return unwritable_folder();
    case fault::locked:
      given_prepared_start([name, &made](unsigned long process) {
        if (!made.lock) {
          made.lock = locked_file(name(process), "planted\n");
        }
      });
      return in_world("temp");
    case fault::folder:
      given_prepared_start([name](unsigned long process) { given_folder(name(process)); });
      return in_world("temp");
    case fault::full:
      return full_disk();
    default:
      return "";
  }
}

// The same folder by a name without a blank, which the interpreter needs; empty where
// Windows keeps none.
std::string without_blank(const std::string &folder) {
  std::string name(MAX_PATH, '\0');
  name.resize(GetShortPathNameA(folder.c_str(), name.data(), MAX_PATH));
  return name.find(' ') == std::string::npos ? name : "";
}

const std::string log_name = "install_smpd_log.txt";

// The current folder of an installation, where its log is written.
std::string folder_with_fault(fault one, made_fault &made) {
  std::string folder = in_world("work");
  if (one == fault::unwritable) {
    folder = unwritable_folder();
  } else if (one == fault::full) {
    folder = full_disk();
  } else if (one == fault::locked) {
    made.lock = locked_file("work\\" + log_name, "old\n");
  } else {
    given_folder("work\\" + log_name);
  }
  if (!folder.empty()) {
    given_current_folder(folder);
  }
  return without_blank(in_world("own")).empty() ? "" : folder;
}

// ---- Worlds -------------------------------------------------------------------------------

void given_release(const std::string &mpi) {
  given_release_without_blanks(mpi);
  given_variable("USERNAME", "jdoe");
  given_variable("COMPUTERNAME", "ALPHA");
  given_variable("ZEPHON_CRED_CHECK", "no");
}

void given_hosts(const std::string &hosts) {
  given_file("hosts", hosts);
  given_variable("ZEPHON_HOSTS_FILE", "..\\hosts");
}

void given_serial_run() {
  given_release("stub");
  given_tool("solver.exe");
}

void given_platform_mpi() {
  given_release("ibmmpi");
  given_own_platform_mpi();
  given_hosts("alpha\nbeta\n");
}

void given_spawned_processes() {
  given_platform_mpi();
  given_hosts("alpha:2\nbeta:2\n");
  given_variable("ZEPHON_AUTO_SPAWN", "1");
}

void given_platform_mpi_on_cluster() {
  given_platform_mpi();
  given_variable("USE_CCP", "head");
  given_tool("job.exe", "when job new\nout Created job, ID: 0\\r\\n\n");
}

void given_mpich2() {
  given_release("mpich2");
  given_variable("MPICH2_HOME", "..\\mpich2");
  given_tool("mpich2\\bin\\mpiexec.exe");
  given_hosts("");
}

// The release has one as well.
void given_mpich2_without_a_program() {
  given_release("mpich2");
  given_variable("MPICH2_HOME", "..\\mpich2");
  given_tool(mpi_folder("1.2.3", "mpich2") + "\\bin\\mpiexec.exe");
  given_folder("mpich2\\bin");
}

const std::string intel_bin = mpi_folder("1.2.3", "intel") + "\\bin\\";

void given_intel() {
  given_release("intel");
  given_tool(intel_bin + "mpiexec.exe");
}

void given_intel_that_is_asked() {
  given_intel();
  given_no_variable("ZEPHON_CRED_CHECK");
  given_tool(intel_bin + "mpiexec.exe", "out residual 1e-3\\n\n");
  given_tool(intel_bin + "smpd.exe",
             "when -status\nmake_file asked\nwait_file go\nout smpd runs\\r\\n\n");
  given_hosts("alpha:2\nbeta:2\n");
}

const std::string mpiexec = "ms\\bin\\mpiexec.exe";

void given_msmpi() {
  given_release("msmpi");
  given_variable("MSMPI_HOME", "..\\ms");
  given_tool(mpiexec);
  given_hosts("");
}

void given_msmpi_on_cluster(const std::string &script) {
  given_msmpi();
  given_no_variable("ZEPHON_HOSTS_FILE");
  given_tool("job.exe", script);
  given_tool("cluscfg.exe", script);
  given_variable("USE_CCP", "head");
}

void given_nodes_of_job_5() {
  given_msmpi_on_cluster("when job view\nout AllocatedNodes : alpha beta\\r\\n\n");
  given_variable("CCP_JOB_ID", "5");
  given_variable("NP_PER_NODE", "2");
}

void given_failed_job() {
  given_msmpi_on_cluster(
      "when job submit\nout Job has been submitted. ID: 7.\\r\\n\nwhen job view\nout State : "
      "Failed\\r\\n\n");
  given_file("work\\ZP7.1.jdoe.o", "words of the job\n");
  given_file("work\\ZP7.1.jdoe.e", "words of the job\n");
}

void given_no_releases() {
  given_release("stub");
  given_variable("ZEPHON_INC", "..\\gone");
}

void given_smpd_to_be_installed() {
  given_release("stub");
  given_tool("own\\bin\\smpd.exe", "when -install\nout installed\\r\\n\n");
}

// ---- The table ----------------------------------------------------------------------------

// What the launcher does with some of the faults. Its texts are in text mode; {file} is the
// file's name, {process} the launcher's number, {own} the folder of the user's own MPICH2.
struct file_rule {
  std::vector<fault> when;
  std::string then = "nothing";  // on the page
  std::string output = "";
  std::string errors = "";
  std::vector<std::string> boxes = {};
  std::string says = "";  // on the page, where that is not all of it
  unsigned long status = 0;
  std::vector<std::pair<std::string, std::size_t>> starts = {};  // so often of these tools
  std::string line = "";                   // stands in the first command line of the first of them,
  std::string not_in_line = "";            // and this does not
  std::string written = "", content = "";  // a file of the launcher's
};

// Which file it is, and so how it gets a fault.
enum class which_file {
  in_world,  // `file`; what vanishes is named by ZEPHON_HOSTS_FILE, and holds `content`
  named,     // by `variable` or an argument, to be written
  in_temp,   // `file` and the process number, to be written
  install_log,
  output  // the launcher's own
};

struct file_case {
  std::string name, heading, about;
  call_world of;
  which_file which = which_file::in_world;
  std::string file = "", content = "alpha\nbeta\n", variable = "";
  bool on_disk = false;     // no device can stand for it
  std::string before = "";  // what the launcher says in any case
  std::vector<file_rule> rules;
};

using file_cell = matrix_cell<file_case>;
using faults = std::vector<fault>;

const faults reading = {fault::missing, fault::unreadable, fault::locked, fault::folder};
const faults writing = {fault::no_folder, fault::unwritable, fault::locked, fault::folder,
                        fault::full};

const std::string skipped =
    "\n***\n*** User defined: ZEPHON_CRED_CHECK=no\n*** Skipping credential validation!\n***\n";
const std::string own_root = "\n***\n*** User defined: IBMMPI_ROOT=..\\mpi\n***\n";
const std::string own_mpich2 =
    "\n***\n*** User defined: MPICH2_HOME=..\\mpich2\n*** Make sure the same MPICH2 version is "
    "installed on all the used machines!\n***\n\n";
const std::string launcher = "mpi\\bin\\mpirun.exe";
const call_world msmpi = {given_msmpi, "--mpi=msmpi --np=4 solver"};
const call_world failed_job = {given_failed_job, msmpi.arguments};
const call_world platform_mpi = {given_platform_mpi, "--mpi=ibmmpi --np=4 solver"};
const call_world spawned_processes = {given_spawned_processes, platform_mpi.arguments};
const call_world serial_run = {given_serial_run, "--mpi=net ..\\solver.exe"};
const std::string awaited = "Waiting for CCP scheduler@head to start msmpi nodes ...\n";
const std::string failed = "Job has been submitted. ID: 7.\nJob 7 is Failed.\n";

const std::vector<file_case> &file_cases() {
  static const std::vector<file_case> cases = {
      {.name = "MpiWrapper",
       .heading = "The MPI wrapper",
       .about = "`mpi_wrapper.dll`: only looked for.",
       .of = msmpi,
       .file = "prod\\netweave\\mpi_wrapper\\win64\\msmpi\\mpi_wrapper.dll",
       .rules = {{.when = reading,
                  .errors = "Error: communicator \"msmpi\" is not available on this machine.\n",
                  .status = 2,
                  .starts = {{mpiexec, 0}}}}},
      {.name = "HostFile",
       .heading = "The host file of Intel MPI and Platform MPI",
       .about = "Read for its counts, and once more when the processes are spread over its hosts.",
       .of = platform_mpi,
       .file = "hosts",
       .before = own_root,
       .rules = {{.when = reading,
                  .errors = "\n Error:  Failed to open host file ..\\hosts\n",
                  .status = 2,
                  .starts = {{launcher, 0}}},
                 {.when = {fault::vanishes},
                  .then = "the launch with an empty host file",
                  .starts = {{launcher, 1}},
                  .line = "zphost-{process}.txt",
                  .written = "temp\\zphost-{process}.txt"}}},
      // First for its counts, then for its hosts, then for the first host.
      {.name = "HostFileReadAgain",
       .heading = "The host file of Intel MPI, asked whether it is one host",
       .about = "After its counts were read.",
       .of = {given_intel, "--r1.2.3 --mpi=intel --np=1 solver"},
       .content = "alpha:4\n",
       .before = skipped,
       .rules = {{.when = {fault::vanishes},
                  .then = "the launch with the name of the file",
                  .output = "\nWarning: Unable to open host file {file}! Use local machine.\n",
                  .starts = {{intel_bin + "mpiexec.exe", 1}},
                  .not_in_line = "-localonly"}}},
      // Read for its counts, and then without the slots of the meshing processes.
      {.name = "HostFileWithoutSlots",
       .heading = "The host file of Platform MPI with `ZEPHON_AUTO_SPAWN`",
       .about = "After its counts were read.",
       .of = spawned_processes,
       .content = "alpha:2\nbeta:2\n",
       .before = own_root,
       .rules = {{.when = {fault::vanishes},
                  .then = "the launch on hosts of the file's name, as of a list",
                  .starts = {{launcher, 1}},
                  .line = "zphosts-{process}.txt",
                  .written = "temp\\zphosts-{process}.txt",
                  .content = "{file}\n"}}},
      {.name = "HostFileOfMpich2",
       .heading = "The host file of MPICH2",
       .about = "Read for the choice of the channel.",
       .of = {given_mpich2, "--mpi=mpich2 --np=4 solver"},
       .file = "hosts",
       .before = own_mpich2 + skipped,
       .rules = {{.when = reading,
                  .then = "the launch with the name of the file, as for one host",
                  .output = "\nWarning: Unable to open host file ..\\hosts! Use local machine.\n",
                  .starts = {{"mpich2\\bin\\mpiexec.exe", 1}},
                  .line = " -machinefile ..\\hosts  -np 4  -channel shm"}}},
      {.name = "HostFileOfMsmpi",
       .heading = "The host file of MS-MPI",
       .about = "Only looked for.",
       .of = msmpi,
       .file = "hosts",
       .rules = {{.when = reading,
                  .then = "the launch without a host file",
                  .starts = {{mpiexec, 1}},
                  .line = " -np 4 ",
                  .not_in_line = "machinefile"}}},
      {.name = "AskedNodes",
       .heading = "The host file of Platform MPI on a cluster",
       .about = "Read for the nodes that the job asks for.",
       .of = {given_platform_mpi_on_cluster, platform_mpi.arguments},
       .file = "hosts",
       .before = own_root + "Created job, ID: 0\n",
       .rules = {{.when = reading,
                  .then = "`job new` with the file's name as the list of nodes, the launch",
                  .starts = {{"job.exe", 2}},
                  .line = " /askednodes:..\\hosts "}}},
      {.name = "OwnMpich2",
       .heading = "`mpiexec.exe` in `MPICH2_HOME`",
       .about = "Only looked for.",
       .of = {given_mpich2_without_a_program, "--r1.2.3 --mpi=mpich2 --np=4 solver"},
       .file = "mpich2\\bin\\mpiexec.exe",
       .rules = {{.when = reading,
                  .then = "the launch with the release's own MPICH2",
                  .starts = {{mpi_folder("1.2.3", "mpich2") + "\\bin\\mpiexec.exe", 1}}}}},
      {.name = "Releases",
       .heading = "The folder of the releases",
       .about = "`ZEPHON_INC`: searched for the newest release by the installers.",
       .of = {given_no_releases, "--install_smpd 0"},
       .file = "gone",
       .rules = {{.when = {fault::missing},
                  .boxes = {"Cannot read directory:..\\gone\n"},
                  .status = 254}}},
      {.name = "JobErrors",
       .heading = "The standard error file of a failed job",
       .about = "Shown when it is there.",
       .of = failed_job,
       .file = "work\\ZP7.1.jdoe.e",
       .rules = {{.when = reading,
                  .output = failed + "\n\n---------- stdout ----------\nwords of the job\n",
                  .errors = awaited,
                  .says = "the other file alone"}}},
      {.name = "JobOutput",
       .heading = "The standard output file of a failed job",
       .about = "Shown when it is there.",
       .of = failed_job,
       .file = "work\\ZP7.1.jdoe.o",
       .rules = {{.when = reading,
                  .output = failed,
                  .errors = awaited + "\n\n---------- stderr ----------\nwords of the job\n",
                  .says = "the other file alone"}}},
      {.name = "SpreadHosts",
       .heading = "The host file that the launcher writes",
       .about = "`zphost-<process>.txt` in `TEMP`, for Intel MPI and Platform MPI. No "
                "half-written file stays behind.",
       .of = platform_mpi,
       .which = which_file::in_temp,
       .file = "zphost",
       .before = own_root,
       .rules = {{.when = writing,
                  .errors = "\n Error:  Failed to create host file ..\\hosts\n",
                  .status = 2,
                  .starts = {{launcher, 0}}}}},
      {.name = "HostsForSolver",
       .heading = "The host file without the meshing slots",
       .about = "`zphosts-<process>.txt` in `TEMP`, for Platform MPI. No half-written file stays "
                "behind.",
       .of = spawned_processes,
       .which = which_file::in_temp,
       .file = "zphosts",
       .before = own_root,
       .rules = {{.when = writing,
                  .then = "the launch with the host file as it was",
                  .output = "\nfailed to open temp file for hosts",
                  .starts = {{launcher, 1}},
                  .line = " -hostfile \"..\\hosts\" "}}},
      // It is opened before the nodes are known, and counts when it can be read afterwards.
      {.name = "MachineFile",
       .heading = "The machine file of MS-MPI",
       .about = "Written to `ZEPHON_HOSTS_FILE` from the nodes of the job, and used when it can "
                "be read afterwards.",
       .of = {given_nodes_of_job_5, msmpi.arguments},
       .which = which_file::named,
       .variable = "ZEPHON_HOSTS_FILE",
       .on_disk = true,
       .rules = {{.when = {fault::no_folder, fault::locked, fault::folder, fault::full},
                  .then = "`job view`, `job add` without a host file",
                  .starts = {{mpiexec, 0}, {"job.exe", 2}}},
                 {.when = {fault::unwritable},
                  .then = "`job view`, the launch with the file as it was",
                  .starts = {{mpiexec, 1}, {"job.exe", 1}}}}},
      {.name = "TimingFile",
       .heading = "The timing file",
       .about = "Named by `--o`.",
       .of = {given_serial_run, "--mpi=net --o \"{file}\" ..\\solver.exe"},
       .which = which_file::named,
       .rules = {{.when = writing, .starts = {{"solver.exe", 1}}}}},
      // It is written beside its place first, so a folder decides.
      {.name = "RunRecord",
       .heading = "The run record",
       .about = "Named by `ZEPHON_RUN_RECORD`; the same behind `-record`.",
       .of = serial_run,
       .which = which_file::named,
       .variable = "ZEPHON_RUN_RECORD",
       .on_disk = true,
       .rules = {{.when = writing,
                  .then = "the launch",
                  .errors = "\nWarning: Failed to write run record {file}\n",
                  .starts = {{"solver.exe", 1}}}}},
      {.name = "RunLog",
       .heading = "The log of commands",
       .about = "Named by `ZEPHON_RUN_DEBUG`.",
       .of = serial_run,
       .which = which_file::named,
       .variable = "ZEPHON_RUN_DEBUG",
       .rules = {{.when = writing, .then = "the launch", .starts = {{"solver.exe", 1}}}}},
      {.name = "InstallLog",
       .heading = "The log of installations",
       .about = "`install_smpd_log.txt` in the current folder.",
       .of = {given_smpd_to_be_installed, "--install_smpd {own}"},
       .which = which_file::install_log,
       .rules = {{.when = {fault::unwritable, fault::locked, fault::folder, fault::full},
                  .then = "`smpd -install`, and the box that tells of it",
                  .boxes = {"\nMPICH2 SMPD Installation Successful:\n{own}\\bin\\smpd.exe "
                            "-install\ninstalled\n"},
                  .says = "nothing",
                  .starts = {{"own\\bin\\smpd.exe", 1}}}}},
      {.name = "OwnOutput",
       .heading = "The launcher's own standard output and error",
       .about = "A pipe.",
       .of = {given_intel_that_is_asked, "--r1.2.3 --mpi=intel --np=4 solver"},
       .which = which_file::output,
       .rules = {{.when = {fault::no_reader, fault::full},
                  .then = "all that it would do",
                  .says = "nothing",
                  .starts = {{intel_bin + "mpiexec.exe", 2}, {intel_bin + "smpd.exe", 1}}}}},
  };
  return cases;
}

// ---- The launch ---------------------------------------------------------------------------

// Gives the file its fault, and back by which name the launcher knows it (or its folder);
// nothing when this machine cannot make the fault.
std::string given_fault(const file_cell &cell, made_fault &made) {
  const auto &[one, with] = cell;
  std::string name = "..\\" + one->file;
  switch (one->which) {
    case which_file::in_world:
      if (with == fault::vanishes) {
        made.vanishing = std::make_unique<vanishing_file>(one->content);
        name = made.vanishing->name();
        given_variable("ZEPHON_HOSTS_FILE", name);
      } else {
        made = given_faulty(one->file, with);
      }
      break;
    case which_file::named:
      name = name_with_fault(with, one->on_disk, made);
      if (!one->variable.empty()) {
        given_variable(one->variable, name);
      }
      break;
    case which_file::in_temp:
      name = temp_with_fault(with, one->file, made);
      given_variable("TEMP", name);
      break;
    case which_file::install_log:
      name = folder_with_fault(with, made);
      break;
    case which_file::output:
      name = with == fault::full ? full_file() : "output";
      if (with == fault::full && !name.empty()) {
        given_output_file(name);
      }
      break;
  }
  return name;
}

// Nobody reads what the launcher says from the moment on at which its tool is asked.
launch run_unheard(const std::string &arguments) {
  auto run = start_launcher(arguments);
  wait_for_file(run, intel_bin + "asked");
  run.output_end.reset();
  run.errors_end.reset();
  given_file(intel_bin + "go");
  wait_for_everything(run);
  return run;
}

// A rule's text for this launch, without blanks in the name of the user's own folder.
std::string text_for(std::string text, const launch &run, const std::string &name) {
  text = cases::replaced(text, "{file}", name);
  text = cases::replaced(text, "{process}", std::to_string(GetProcessId(run.process.get())));
  return cases::replaced(text, "{own}", without_blank(in_world("own")));
}

void expect_outcome(const file_case &one, const file_rule &rule, const launch &run,
                    const std::string &name) {
  const auto text = [&](const std::string &of_rule) { return text_for(of_rule, run, name); };
  if (one.which != which_file::output) {
    EXPECT_EQ(text_mode(one.before + text(rule.output)), run.output);
    EXPECT_EQ(text_mode(text(rule.errors)), run.errors);
  }
  EXPECT_EQ(rule.status, run.status);
  ASSERT_EQ(rule.boxes.size(), run.boxes.size());
  for (std::size_t index = 0; index < rule.boxes.size(); ++index) {
    EXPECT_EQ(text(rule.boxes[index]), run.boxes[index].text);
  }
  for (const auto &[tool, times] : rule.starts) {
    EXPECT_EQ(times, starts_of(tool).size()) << tool;
  }
  if (!rule.line.empty() || !rule.not_in_line.empty()) {
    const auto line = lines_of(rule.starts.front().first).at(0);
    EXPECT_NE(std::string::npos, line.find(text(rule.line))) << line;
    EXPECT_TRUE(rule.not_in_line.empty() || line.find(rule.not_in_line) == std::string::npos)
        << line;
  }
  if (!rule.written.empty()) {
    EXPECT_EQ(text_mode(text(rule.content)), file_text(text(rule.written)));
  }
}

// No half of a file stays where it is used; what the fault is made of does.
void expect_nothing_half_written(const file_cell &cell, const launch &run,
                                 const std::string &name) {
  if (cell.of->which == which_file::in_temp) {
    const bool stays = cell.with == fault::locked || cell.with == fault::folder;
    const auto file = text_for(name + "\\" + cell.of->file + "-{process}.txt", run, name);
    EXPECT_EQ(stays, GetFileAttributesA(file.c_str()) != INVALID_FILE_ATTRIBUTES) << file;
  } else if (cell.of->variable == "ZEPHON_RUN_RECORD") {
    EXPECT_FALSE(file_text(name).value_or("").starts_with("{"));
  } else if (cell.of->which == which_file::install_log && cell.with == fault::full) {
    DeleteFileA((name + "\\" + log_name).c_str());  // the disk is there for others too
  }
}

page_cells cells_for(const file_rule &rule) {
  auto says = quoted_lines(cases::replaced(rule.output + rule.errors, "{file}", "<file>"));
  for (const auto &box : rule.boxes) {
    says = "a box: " + quoted_lines(box);
  }
  says = rule.says.empty() ? says : rule.says;
  return {says.empty() ? "nothing" : says, rule.then, std::to_string(rule.status)};
}

class FileFault : public testing::TestWithParam<file_cell> {};

TEST_P(FileFault, HasItsOutcome) {
  const auto &cell = GetParam();
  const auto &rule = *rule_for(*cell.of, cell.with);
  made_fault made;
  cell.of->of.given();
  const auto name = given_fault(cell, made);
  if (name.empty()) {
    GTEST_SKIP() << "no full disk here: SCENARIO_FULL_DISK names the folder of one";
  }
  for (std::size_t box = 0; box < rule.boxes.size(); ++box) {
    given_box_answer(ok_button);
  }
  const auto arguments = text_for(cell.of->of.arguments, {}, name);
  const auto run =
      cell.of->which == which_file::output ? run_unheard(arguments) : run_launcher(arguments);
  expect_outcome(*cell.of, rule, run, name);
  expect_nothing_half_written(cell, run, name);
  if (!HasFailure()) {
    compare_with_page(cell.of->heading, words_of(cell.with).page, cells_for(rule));
  }
}

INSTANTIATE_TEST_SUITE_P(Faults, FileFault, testing::ValuesIn(cells_of(file_cases())),
                         [](const auto &row) { return test_name(row.param); });

}  // namespace

namespace scenario {

std::vector<page_section> file_sections() {
  return sections_of(file_cases(), {"Says", "Then", "Status"});
}

}  // namespace scenario
