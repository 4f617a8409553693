// fault_files_test.cpp: each file that the launcher reads or writes with each fault,
// for docs/fault-matrix.md.
//
// The rules: what the run cannot do without ends it with a message and status 2;
// what only helps the user is left out without one.

#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>
#include <ostream>

#include "fault_calls.h"
#include "fault_page.h"
#include "faulty_files.h"

using namespace scenario;

namespace {

enum class file_fault {
  missing,
  no_folder,  // the folder in which it is to be written is not there
  unreadable,
  unwritable,
  locked,
  folder,  // there is a folder of its name
  full,
  vanishes,
  closed  // a pipe whose reader is gone
};

// In the order of the faults.
const fault_words &words_of(file_fault one) {
  static const fault_words words[] = {
      {"is missing", "IsMissing"},
      {"its folder is missing", "ItsFolderIsMissing"},
      {"may not be read", "MayNotBeRead"},
      {"may not be written", "MayNotBeWritten"},
      {"is locked", "IsLocked"},
      {"is a folder", "IsAFolder"},
      {"disk is full", "DiskIsFull"},
      {"vanishes between two reads", "VanishesBetweenTwoReads"},
      {"its reader is gone", "ItsReaderIsGone"},
  };
  return words[static_cast<int>(one)];
}

// Keeps a fault alive as long as the test runs.
struct made_fault {
  std::unique_ptr<unreadable_file> unreadable;
  std::unique_ptr<vanishing_file> vanishing;
  owned_handle lock;
};

// Gives a file of the world one of the faults of reading.
made_fault given_faulty(const std::string &path, file_fault one) {
  made_fault made;
  DeleteFileA(in_world(path).c_str());
  if (one == file_fault::unreadable) {
    made.unreadable = std::make_unique<unreadable_file>(path);
  } else if (one == file_fault::locked) {
    made.lock = locked_file(path, "alpha:2\nbeta:2\n");
  } else if (one == file_fault::folder) {
    given_folder(path);
  }
  return made;
}

// A name under which a file can be written only with one of the faults of writing;
// nothing when the machine has no such place.
std::string name_with_fault(file_fault one, made_fault &made) {
  switch (one) {
    case file_fault::no_folder:
      return "..\\no folder\\file";
    case file_fault::unwritable:
      return unwritable_file();
    case file_fault::locked:
      made.lock = locked_file("file", "old\n");
      return "..\\file";
    case file_fault::folder:
      given_folder("file");
      return "..\\file";
    case file_fault::full:
      return full_file();
    default:
      return "";
  }
}

// A folder for temporary files with one of the faults; empty: there is none. The
// file itself is named after the process, so what stands there is made late.
std::string temp_with_fault(file_fault one, const std::string &prefix, made_fault &made) {
  const auto name = [prefix](unsigned long process) {
    return "temp\\" + prefix + "-" + std::to_string(process) + ".txt";
  };
  switch (one) {
    case file_fault::no_folder:
      return "..\\no folder";
    case file_fault::unwritable:
      return unwritable_folder();
    case file_fault::locked:
      given_prepared_start([name, &made](unsigned long process) {
        if (!made.lock) {
          made.lock = locked_file(name(process), "planted\n");
        }
      });
      return in_world("temp");
    case file_fault::folder:
      given_prepared_start([name](unsigned long process) { given_folder(name(process)); });
      return in_world("temp");
    case file_fault::full:
      return full_disk();
    default:
      return "";
  }
}

// ---- Worlds -------------------------------------------------------------------------------

void given_release(const std::string &mpi) {
  given_release_without_blanks(mpi);
  given_variable("USERNAME", "jdoe");
  given_variable("COMPUTERNAME", "ALPHA");
  given_variable("ZEPHON_CRED_CHECK", "no");
}

const std::string skipped =
    "\n***\n*** User defined: ZEPHON_CRED_CHECK=no\n*** Skipping credential validation!\n***\n";
const std::string own_root = "\n***\n*** User defined: IBMMPI_ROOT=..\\mpi\n***\n";
const std::string launcher = "mpi\\bin\\mpirun.exe";

void given_platform_mpi(const std::string &hosts) {
  given_release("ibmmpi");
  given_variable("IBMMPI_ROOT", "..\\mpi");
  given_variable("ORBEX_DONT_CACHE_PASSWORD", "1");
  given_tool(launcher);
  given_file("hosts", hosts);
  given_variable("ZEPHON_HOSTS_FILE", "..\\hosts");
}

// MS-MPI on a cluster; `job` answers as the script says.
void given_msmpi_on_cluster(const std::string &script) {
  given_release("msmpi");
  given_variable("MSMPI_HOME", "..\\ms");
  given_tool("ms\\bin\\mpiexec.exe");
  given_tool("job.exe", script);
  given_tool("cluscfg.exe", script);
  given_variable("USE_CCP", "head");
}

bool holds(const std::string &text, const std::string &piece) {
  return text.find(piece) != std::string::npos;
}

// The launcher's words on both streams, exactly; the page's cells of it.
page_cells outcome(const launch &run, const std::string &before, const std::string &output,
                   const std::string &errors, unsigned long status, const std::string &then) {
  EXPECT_EQ(text_mode(before + output), run.output);
  EXPECT_EQ(text_mode(errors), run.errors);
  EXPECT_EQ(status, run.status);
  const auto words = quoted_lines(output + errors);
  return {words.empty() ? "nothing" : words, then, std::to_string(status)};
}

// ---- Files that are read ------------------------------------------------------------------

const std::vector<file_fault> reading = {file_fault::missing, file_fault::unreadable,
                                         file_fault::locked, file_fault::folder};

page_cells mpi_wrapper(file_fault one) {
  given_release("msmpi");
  const auto made = given_faulty("prod\\netweave\\mpi_wrapper\\win64\\msmpi\\mpi_wrapper.dll", one);
  const auto run = run_launcher("--mpi=msmpi --np=4 solver");
  EXPECT_TRUE(all_starts().empty());
  return outcome(run, "", "", "Error: communicator \"msmpi\" is not available on this machine.\n",
                 2, "nothing");
}

page_cells hosts_to_be_spread(file_fault one) {
  given_platform_mpi("alpha\nbeta\n");
  made_fault made;
  if (one == file_fault::vanishes) {
    made.vanishing = std::make_unique<vanishing_file>("alpha\nbeta\n");
    given_variable("ZEPHON_HOSTS_FILE", made.vanishing->name());
  } else {
    made = given_faulty("hosts", one);
  }
  const auto run = run_launcher("--mpi=ibmmpi --np=4 solver");
  if (one == file_fault::vanishes) {
    EXPECT_EQ("", file_text(only_start_of(launcher).variable("ZEPHON_HOSTS_FILE").value_or("")));
    return outcome(run, own_root, "", "", 0, "the launch with an empty host file");
  }
  EXPECT_TRUE(all_starts().empty());
  return outcome(run, own_root, "", "\n Error:  Failed to open host file ..\\hosts\n", 2,
                 "nothing");
}

// First for its counts, then for its hosts, then for the first host.
page_cells hosts_of_intel_mpi(file_fault) {
  const auto mpiexec = mpi_folder("1.2.3", "intel") + "\\bin\\mpiexec.exe";
  given_release("intel");
  given_tool(mpiexec);
  const vanishing_file hosts("alpha:4\n");
  given_variable("ZEPHON_HOSTS_FILE", hosts.name());
  const auto run = run_launcher("--r1.2.3 --mpi=intel --np=1 solver");
  EXPECT_FALSE(holds(only_start_of(mpiexec).command_line, "-localonly"));
  auto cells =
      outcome(run, skipped,
              "\nWarning: Unable to open host file " + hosts.name() + "! Use local machine.\n", "",
              0, "the launch with the name of the file");
  cells[0] =
      "`Warning: Unable to open host file <file>! Use local machine.`";  // a name of this run
  return cells;
}

page_cells hosts_of_mpich2(file_fault one) {
  given_release("mpich2");
  given_variable("MPICH2_HOME", "..\\mpich2");
  given_tool("mpich2\\bin\\mpiexec.exe");
  given_variable("ZEPHON_HOSTS_FILE", "..\\hosts");
  const auto made = given_faulty("hosts", one);
  const auto run = run_launcher("--mpi=mpich2 --np=4 solver");
  const auto line = only_start_of("mpich2\\bin\\mpiexec.exe").command_line;
  EXPECT_TRUE(holds(line, " -machinefile ..\\hosts ") && holds(line, " -channel shm")) << line;
  return outcome(run,
                 "\n***\n*** User defined: MPICH2_HOME=..\\mpich2\n*** Make sure the same MPICH2 "
                 "version is installed on all the used machines!\n***\n\n" +
                     skipped,
                 "\nWarning: Unable to open host file ..\\hosts! Use local machine.\n", "", 0,
                 "the launch with the name of the file, as for one host");
}

page_cells hosts_of_msmpi(file_fault one) {
  given_release("msmpi");
  given_variable("MSMPI_HOME", "..\\ms");
  given_tool("ms\\bin\\mpiexec.exe");
  given_variable("ZEPHON_HOSTS_FILE", "..\\hosts");
  const auto made = given_faulty("hosts", one);
  const auto run = run_launcher("--mpi=msmpi --np=4 solver");
  const auto line = only_start_of("ms\\bin\\mpiexec.exe").command_line;
  EXPECT_TRUE(holds(line, " -np 4 ") && !holds(line, "machinefile")) << line;
  return outcome(run, "", "", "", 0, "the launch without a host file");
}

// The host file is read for its counts, and then once more without the slots of the
// meshing processes.
page_cells hosts_without_slots(file_fault) {
  given_platform_mpi("");
  given_variable("ZEPHON_AUTO_SPAWN", "1");
  const vanishing_file hosts("alpha:2\nbeta:2\n");
  given_variable("ZEPHON_HOSTS_FILE", hosts.name());
  const auto run = run_launcher("--mpi=ibmmpi --np=4 solver");
  const auto written =
      in_world("temp\\zphosts-") + std::to_string(GetProcessId(run.process.get())) + ".txt";
  EXPECT_EQ(hosts.name() + "\r\n", file_text(written));
  EXPECT_TRUE(holds(only_start_of(launcher).command_line, "-hostfile " + in_quotes(written)));
  return outcome(run, own_root, "", "", 0, "the launch on hosts of the file's name, as of a list");
}

page_cells asked_nodes(file_fault one) {
  given_platform_mpi("alpha\n");
  given_variable("USE_CCP", "head");
  given_tool("job.exe", "when job new\nout Created job, ID: 0\\r\\n\n");
  const auto made = given_faulty("hosts", one);
  const auto run = run_launcher("--mpi=ibmmpi --np=4 solver");
  EXPECT_EQ(2U, starts_of("job.exe").size());
  EXPECT_TRUE(holds(lines_of("job.exe").at(0), " /askednodes:..\\hosts "));
  return outcome(run, own_root + "Created job, ID: 0\n", "", "", 0,
                 "`job new` with the file's name as the list of nodes, the launch");
}

page_cells releases(file_fault) {
  given_release("stub");
  given_variable("ZEPHON_INC", "..\\gone");
  given_box_answer(ok_button);
  const auto run = run_launcher("--install_smpd 0");
  EXPECT_EQ(1U, run.boxes.size());
  for (const auto &box : run.boxes) {
    EXPECT_EQ("Cannot read directory:..\\gone\n", box.text);
  }
  auto cells = outcome(run, "", "", "", 254, "nothing");
  cells[0] = "a box: " + quoted_lines("Cannot read directory:..\\gone");
  return cells;
}

// A failed job's files of standard error and output.
page_cells job_output(file_fault one, const std::string &faulty, const std::string &other) {
  given_msmpi_on_cluster(
      "when job submit\nout Job has been submitted. ID: 7.\\r\\n\nwhen job view\nout State : "
      "Failed\\r\\n\n");
  given_file("work\\ZP7.1.jdoe" + other, "words of the job\n");
  const auto made = given_faulty("work\\ZP7.1.jdoe" + faulty, one);
  const auto run = run_launcher("--mpi=msmpi --np=4 solver");
  const std::string awaited = "Waiting for CCP scheduler@head to start msmpi nodes ...\n";
  const std::string state = "Job has been submitted. ID: 7.\nJob 7 is Failed.\n";
  const std::string words = other == ".o" ? "\n\n---------- stdout ----------\nwords of the job\n"
                                          : "\n\n---------- stderr ----------\nwords of the job\n";
  EXPECT_EQ(text_mode(state + (other == ".o" ? words : "")), run.output);
  EXPECT_EQ(text_mode(awaited + (other == ".e" ? words : "")), run.errors);
  EXPECT_EQ(0U, run.status);
  return {"the other file alone", "nothing", "0"};
}

page_cells job_errors_file(file_fault one) {
  return job_output(one, ".e", ".o");
}

page_cells job_output_file(file_fault one) {
  return job_output(one, ".o", ".e");
}

page_cells own_mpich2(file_fault one) {
  const auto mpiexec = mpi_folder("1.2.3", "mpich2") + "\\bin\\mpiexec.exe";
  given_release("mpich2");
  given_variable("MPICH2_HOME", "..\\mpich2");
  given_tool(mpiexec);
  given_folder("mpich2\\bin");
  const auto made = given_faulty("mpich2\\bin\\mpiexec.exe", one);
  const auto run = run_launcher("--r1.2.3 --mpi=mpich2 --np=4 solver");
  EXPECT_EQ(1U, starts_of(mpiexec).size());
  return outcome(run, "", "", "", 0, "the launch with the release's own MPICH2");
}

// ---- Files that are written ---------------------------------------------------------------

const std::vector<file_fault> writing = {file_fault::no_folder, file_fault::unwritable,
                                         file_fault::locked, file_fault::folder, file_fault::full};

// What is left of the files that a launch would have written there.
std::size_t files_left(const std::string &folder, const std::string &pattern) {
  WIN32_FIND_DATAA entry;
  HANDLE search = FindFirstFileA((folder + "\\" + pattern).c_str(), &entry);
  std::size_t count = 0;
  for (BOOL more = search != INVALID_HANDLE_VALUE; more != 0;
       more = FindNextFileA(search, &entry)) {
    ++count;
  }
  if (search != INVALID_HANDLE_VALUE) {
    FindClose(search);
  }
  return count;
}

page_cells spread_hosts(file_fault one) {
  given_platform_mpi("alpha\nbeta\n");
  made_fault made;
  const auto temp = temp_with_fault(one, "zphost", made);
  if (temp.empty()) {
    return {};
  }
  given_variable("TEMP", temp);
  const auto run = run_launcher("--mpi=ibmmpi --np=4 solver");
  const auto number = std::to_string(GetProcessId(run.process.get()));
  EXPECT_TRUE(all_starts().empty());
  EXPECT_EQ(one == file_fault::locked || one == file_fault::folder ? 1U : 0U,
            files_left(temp, "zphost-" + number + ".txt"));
  return outcome(run, own_root, "", "\n Error:  Failed to create host file ..\\hosts\n", 2,
                 "nothing");
}

page_cells hosts_for_solver(file_fault one) {
  given_platform_mpi("alpha:2\nbeta:2\n");
  given_variable("ZEPHON_AUTO_SPAWN", "1");
  made_fault made;
  const auto temp = temp_with_fault(one, "zphosts", made);
  if (temp.empty()) {
    return {};
  }
  given_variable("TEMP", temp);
  const auto run = run_launcher("--mpi=ibmmpi --np=4 solver");
  const auto number = std::to_string(GetProcessId(run.process.get()));
  EXPECT_TRUE(holds(only_start_of(launcher).command_line, " -hostfile \"..\\hosts\" "));
  EXPECT_EQ(one == file_fault::locked || one == file_fault::folder ? 1U : 0U,
            files_left(temp, "zphosts-" + number + ".txt"));
  return outcome(run, own_root, "\nfailed to open temp file for hosts", "", 0,
                 "the launch with the host file as it was");
}

// It is opened before the nodes are known, and counts when it can be read afterwards.
page_cells machine_file(file_fault one) {
  const std::string script = "when job view\nout AllocatedNodes : alpha beta\\r\\n\n";
  given_msmpi_on_cluster(script);
  given_variable("CCP_JOB_ID", "5");
  given_variable("NP_PER_NODE", "2");
  made_fault made;
  // What cannot be written whole is removed, which a disk lets it be and a device does not.
  const bool on_full_disk = one == file_fault::full && !full_disk().empty();
  const auto name = one != file_fault::full ? name_with_fault(one, made)
                    : on_full_disk          ? full_disk() + "\\machines"
                                            : "";
  if (name.empty()) {
    return {};
  }
  given_variable("ZEPHON_HOSTS_FILE", name);
  const auto run = run_launcher("--mpi=msmpi --np=4 solver");
  const auto launched = starts_of("ms\\bin\\mpiexec.exe");
  const auto asked = starts_of("job.exe");
  if (one == file_fault::unwritable) {
    EXPECT_EQ(1U, launched.size());
    EXPECT_EQ(1U, asked.size());
    return outcome(run, "", "", "", 0, "`job view`, the launch with the file as it was");
  }
  EXPECT_TRUE(launched.empty());
  EXPECT_EQ(2U, asked.size());
  return outcome(run, "", "", "", 0, "`job view`, `job add` without a host file");
}

page_cells timing_file(file_fault one) {
  given_release("stub");
  given_tool("solver.exe");
  made_fault made;
  const auto name = name_with_fault(one, made);
  if (name.empty()) {
    return {};
  }
  const auto run = run_launcher("--mpi=net --o " + in_quotes(name) + " ..\\solver.exe");
  EXPECT_EQ(1U, starts_of("solver.exe").size());
  return outcome(run, "", "", "", 0, "nothing");
}

// It is written beside its place first, so a folder decides.
page_cells run_record(file_fault one) {
  given_release("stub");
  given_tool("solver.exe");
  made_fault made;
  const auto name =
      one == file_fault::full ? full_disk() + "\\run.json" : name_with_fault(one, made);
  if (name == "\\run.json") {
    return {};
  }
  given_variable("ZEPHON_RUN_RECORD", name);
  const auto run = run_launcher("--mpi=net ..\\solver.exe");
  EXPECT_EQ(1U, starts_of("solver.exe").size());
  EXPECT_EQ(text_mode("\nWarning: Failed to write run record " + name + "\n"), run.errors);
  EXPECT_EQ("", run.output);
  EXPECT_EQ(0U, run.status);
  EXPECT_FALSE(file_text(name).value_or("").starts_with("{"));  // no half of one
  return {"`Warning: Failed to write run record <file>`", "the launch", "0"};
}

page_cells run_log(file_fault one) {
  given_release("stub");
  given_tool("solver.exe");
  made_fault made;
  const auto name = name_with_fault(one, made);
  if (name.empty()) {
    return {};
  }
  given_variable("ZEPHON_RUN_DEBUG", name);
  const auto run = run_launcher("--mpi=net ..\\solver.exe");
  EXPECT_EQ(1U, starts_of("solver.exe").size());
  return outcome(run, "", "", "", 0, "the launch");
}

// The same folder by a name without a blank, which the interpreter needs; empty where
// Windows keeps none.
std::string without_blank(const std::string &folder) {
  std::string name(MAX_PATH, '\0');
  name.resize(GetShortPathNameA(folder.c_str(), name.data(), MAX_PATH));
  return name.find(' ') == std::string::npos ? name : "";
}

page_cells install_log(file_fault one) {
  given_release("stub");
  given_tool("own\\bin\\smpd.exe", "when -install\nout installed\\r\\n\n");
  made_fault made;
  std::string folder = in_world("work");
  if (one == file_fault::unwritable) {
    folder = unwritable_folder();
  } else if (one == file_fault::full) {
    folder = full_disk();
  } else if (one == file_fault::locked) {
    made.lock = locked_file("work\\install_smpd_log.txt", "old\n");
  } else {
    given_folder("work\\install_smpd_log.txt");
  }
  const auto own = without_blank(in_world("own"));
  if (folder.empty() || own.empty()) {
    return {};
  }
  given_current_folder(folder);
  given_box_answer(ok_button);
  const auto run = run_launcher("--install_smpd " + own);
  EXPECT_EQ(1U, starts_of("own\\bin\\smpd.exe").size());
  if (run.boxes.size() != 1) {
    ADD_FAILURE() << run.boxes.size() << " boxes";
    return {};
  }
  EXPECT_EQ(
      "\nMPICH2 SMPD Installation Successful:\n" + own + "\\bin\\smpd.exe -install\ninstalled\n",
      run.boxes[0].text);
  if (one == file_fault::full) {
    DeleteFileA((folder + "\\install_smpd_log.txt").c_str());
  }
  return outcome(run, "", "", "", 0, "`smpd -install`, and the box that tells of it");
}

page_cells own_output(file_fault one) {
  given_release("intel");
  given_no_variable("ZEPHON_CRED_CHECK");
  const auto mpiexec = mpi_folder("1.2.3", "intel") + "\\bin\\mpiexec.exe";
  given_tool(mpiexec, "out residual 1e-3\\n\n");
  given_file("hosts", "alpha:2\nbeta:2\n");
  given_variable("ZEPHON_HOSTS_FILE", "..\\hosts");
  const auto folder = mpi_folder("1.2.3", "intel") + "\\bin\\";
  given_tool(folder + "smpd.exe",
             "when -status\nmake_file asked\nwait_file go\nout smpd runs\\r\\n\n");
  if (one == file_fault::full) {
    const auto file = full_file();
    if (file.empty()) {
      return {};
    }
    given_output_file(file);
  }
  auto run = start_launcher("--r1.2.3 --mpi=intel --np=4 solver");
  wait_for_file(run, folder + "asked");
  run.output_end.reset();
  run.errors_end.reset();
  given_file(folder + "go");
  wait_for_everything(run);
  EXPECT_EQ(0U, run.status);
  EXPECT_EQ(1U, starts_of(folder + "smpd.exe").size());
  EXPECT_EQ(2U, starts_of(mpiexec).size());
  return {"nothing", "all that it would do", "0"};
}

// ---- The page -----------------------------------------------------------------------------

// A file of the page; its function plays one fault, and gives back no cells when
// this machine cannot make it.
struct file_case {
  std::string name, heading, about;
  std::vector<file_fault> faults;
  page_cells (*play)(file_fault);
};

const std::vector<file_case> &file_cases() {
  static const std::vector<file_case> cases = {
      {"MpiWrapper", "The MPI wrapper", "`mpi_wrapper.dll`: only looked for.", reading,
       mpi_wrapper},
      {"HostFile",
       "The host file of Intel MPI and Platform MPI",
       "Read for its counts, and once more when the processes are spread over its hosts.",
       {file_fault::missing, file_fault::unreadable, file_fault::locked, file_fault::folder,
        file_fault::vanishes},
       hosts_to_be_spread},
      {"HostFileReadAgain",
       "The host file of Intel MPI, asked whether it is one host",
       "After its counts were read.",
       {file_fault::vanishes},
       hosts_of_intel_mpi},
      {"HostFileWithoutSlots",
       "The host file of Platform MPI with `ZEPHON_AUTO_SPAWN`",
       "After its counts were read.",
       {file_fault::vanishes},
       hosts_without_slots},
      {"HostFileOfMpich2", "The host file of MPICH2", "Read for the choice of the channel.",
       reading, hosts_of_mpich2},
      {"HostFileOfMsmpi", "The host file of MS-MPI", "Only looked for.", reading, hosts_of_msmpi},
      {"AskedNodes", "The host file of Platform MPI on a cluster",
       "Read for the nodes that the job asks for.", reading, asked_nodes},
      {"OwnMpich2", "`mpiexec.exe` in `MPICH2_HOME`", "Only looked for.", reading, own_mpich2},
      {"Releases",
       "The folder of the releases",
       "`ZEPHON_INC`: searched for the newest release by the installers.",
       {file_fault::missing},
       releases},
      {"JobErrors", "The standard error file of a failed job", "Shown when it is there.", reading,
       job_errors_file},
      {"JobOutput", "The standard output file of a failed job", "Shown when it is there.", reading,
       job_output_file},
      {"SpreadHosts", "The host file that the launcher writes",
       "`zphost-<process>.txt` in `TEMP`, for Intel MPI and Platform MPI. No half-written file "
       "stays behind.",
       writing, spread_hosts},
      {"HostsForSolver", "The host file without the meshing slots",
       "`zphosts-<process>.txt` in `TEMP`, for Platform MPI. No half-written file stays behind.",
       writing, hosts_for_solver},
      {"MachineFile", "The machine file of MS-MPI",
       "Written to `ZEPHON_HOSTS_FILE` from the nodes of the job, and used when it can be read "
       "afterwards.",
       writing, machine_file},
      {"TimingFile", "The timing file", "Named by `--o`.", writing, timing_file},
      {"RunRecord", "The run record", "Named by `ZEPHON_RUN_RECORD`; the same behind `-record`.",
       writing, run_record},
      {"RunLog", "The log of commands", "Named by `ZEPHON_RUN_DEBUG`.", writing, run_log},
      {"InstallLog",
       "The log of installations",
       "`install_smpd_log.txt` in the current folder.",
       {file_fault::unwritable, file_fault::locked, file_fault::folder, file_fault::full},
       install_log},
      {"OwnOutput",
       "The launcher's own standard output and error",
       "A pipe.",
       {file_fault::closed, file_fault::full},
       own_output},
  };
  return cases;
}

struct file_cell {
  const file_case *file;
  file_fault with;
};

void PrintTo(const file_cell &cell, std::ostream *stream) {
  *stream << cell.file->heading << ", " << words_of(cell.with).page;
}

std::vector<file_cell> all_file_cells() {
  std::vector<file_cell> cells;
  for (const auto &one : file_cases()) {
    for (const auto with : one.faults) {
      cells.push_back({&one, with});
    }
  }
  return cells;
}

class FileFault : public testing::TestWithParam<file_cell> {};

TEST_P(FileFault, HasItsOutcome) {
  const auto &[file, with] = GetParam();
  const auto cells = file->play(with);
  if (cells.empty() && !HasFailure()) {
    GTEST_SKIP() << "no full disk here: SCENARIO_FULL_DISK names the folder of one";
  }
  if (!HasFailure()) {
    compare_with_page(file->heading, words_of(with).page, cells);
  }
}

INSTANTIATE_TEST_SUITE_P(Faults, FileFault, testing::ValuesIn(all_file_cells()),
                         [](const auto &row) {
                           return row.param.file->name + words_of(row.param.with).test;
                         });

}  // namespace

namespace scenario {

std::vector<page_section> file_sections() {
  std::vector<page_section> sections;
  for (const auto &one : file_cases()) {
    page_section section = {one.heading, one.about, {"Says", "Then", "Status"}, {}};
    for (const auto with : one.faults) {
      section.faults.push_back(words_of(with).page);
    }
    sections.push_back(section);
  }
  return sections;
}

}  // namespace scenario
