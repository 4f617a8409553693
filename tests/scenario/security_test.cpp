// security_test.cpp: what others could do to a user through the launcher: handles
// that get about, planted files and planted libraries.

#include <gtest/gtest.h>
#include <windows.h>

#include <functional>

#include "faulty_files.h"
#include "scenario_bench.h"

using namespace scenario;

namespace {

void given_release(const std::string &mpi) {
  given_release_without_blanks(mpi);
  given_variable("USERNAME", "jdoe");
  given_variable("COMPUTERNAME", "ALPHA");
}

// ---- Handles ------------------------------------------------------------------------------

using handle_kinds = std::vector<std::pair<std::string, std::string>>;

// An event, a file and a pipe that can be inherited, with numbers that no program
// has by itself.
class open_handles {
 public:
  open_handles() {
    for (int count = 0; count < 1000; ++count) {
      handles_.emplace_back(CreateEventA(&inheritable_, TRUE, FALSE, nullptr));
    }
    handles_.emplace_back(CreateFileA(in_world("secret").c_str(), GENERIC_READ | GENERIC_WRITE, 0,
                                      &inheritable_, CREATE_ALWAYS, 0, nullptr));
    HANDLE read_end = nullptr;
    HANDLE write_end = nullptr;
    CreatePipe(&read_end, &write_end, &inheritable_, 0);
    handles_.emplace_back(read_end);
    handles_.emplace_back(write_end);
    for (std::size_t index = 999; index < handles_.size(); ++index) {
      given_inherited_handle(handles_[index].get());
      numbers_.push_back(
          std::to_string(reinterpret_cast<unsigned long long>(handles_[index].get())));
    }
  }

  // Script lines with which a tool writes down what it got of them.
  std::string script() const {
    std::string text;
    for (const auto &number : numbers_) {
      text += "handle " + number + "\n";
    }
    return text;
  }

  handle_kinds none() const { return kinds({"invalid", "invalid", "invalid", "invalid"}); }
  handle_kinds all() const { return kinds({"other", "file", "pipe", "pipe"}); }

 private:
  handle_kinds kinds(const std::vector<std::string> &names) const {
    handle_kinds expected;
    for (std::size_t index = 0; index < numbers_.size(); ++index) {
      expected.emplace_back(numbers_[index], names[index]);
    }
    return expected;
  }

  SECURITY_ATTRIBUTES inheritable_ = {sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
  std::vector<owned_handle> handles_;
  std::vector<std::string> numbers_;
};

// ---- Host files ---------------------------------------------------------------------------

const std::string mpirun = "mpi\\bin\\mpirun.exe";

// A launcher that writes this kind of host file for the MPI.
void given_written_host_file(const std::string &prefix) {
  given_own_platform_mpi();
  given_variable("ZEPHON_HOSTS_FILE", "..\\hosts");
  if (prefix == "zphosts") {
    given_variable("ZEPHON_AUTO_SPAWN", "1");
    given_file("hosts", "alpha:2\n");
  } else {
    given_file("hosts", "alpha\n");
  }
}

std::string content_of(const std::string &prefix) {
  return prefix == "zphosts" ? "alpha:2\r\n\r\n" : "alpha:2\r\n";
}

std::string planted_name(const std::string &prefix, unsigned long process) {
  return "temp\\" + prefix + "-" + std::to_string(process) + ".txt";
}

// What the MPI gets must be the launcher's own file, and the victim untouched.
void expect_own_file(const launch &run, const std::string &prefix) {
  const auto name = planted_name(prefix, GetProcessId(run.process.get()));
  EXPECT_EQ(0U, run.status);
  EXPECT_EQ("", run.errors);
  EXPECT_EQ(content_of(prefix), file_text(name));
  EXPECT_EQ(0U, GetFileAttributesA(in_world(name).c_str()) & FILE_ATTRIBUTE_REPARSE_POINT);
  EXPECT_NE(std::string::npos,
            only_start_of(mpirun).command_line.find("-hostfile " + in_quotes(in_world(name))));
}

// Whether removing a symbolic link leaves alone what it points to. Under Wine it does not.
bool links_can_be_removed() {
  given_file("target");
  const bool made = made_symbolic_link("link", "target");
  DeleteFileA(in_world("link").c_str());
  return made && file_text("target").has_value();
}

class WrittenHostFile : public testing::TestWithParam<std::string> {};

// ---- Libraries ----------------------------------------------------------------------------

void plant_library(const std::string &path) {
  ASSERT_TRUE(CopyFileA(built_tool("planted_library\\planted_library.dll").c_str(),
                        in_world(path).c_str(), FALSE))
      << path;
}

bool was_loaded(const std::string &path) {
  return file_text(path + ".loaded").has_value();
}

// Libraries of Windows that programs load, also without asking for them.
const std::vector<std::string> libraries = {
    "user32.dll",   "version.dll", "winmm.dll",   "cryptbase.dll", "uxtheme.dll", "dwmapi.dll",
    "netapi32.dll", "profapi.dll", "propsys.dll", "advapi32.dll",  "mpr.dll"};

// Under Wine, for the launcher only: a file of that name would go before Wine's own.
class preferred_libraries {
 public:
  explicit preferred_libraries(std::vector<std::string> names) : names_(std::move(names)) {
    const std::string own_first = "native,builtin";
    for (const auto &name : names_) {
      RegSetKeyValueA(HKEY_CURRENT_USER, key, value_of(name).c_str(), REG_SZ, own_first.c_str(),
                      static_cast<DWORD>(own_first.size() + 1));
    }
  }
  ~preferred_libraries() {
    for (const auto &name : names_) {
      RegDeleteKeyValueA(HKEY_CURRENT_USER, key, value_of(name).c_str());
    }
  }
  preferred_libraries(const preferred_libraries &) = delete;
  preferred_libraries &operator=(const preferred_libraries &) = delete;

 private:
  static constexpr const char *key = "Software\\Wine\\AppDefaults\\mpirun.exe\\DllOverrides";
  static std::string value_of(const std::string &name) { return name.substr(0, name.find('.')); }
  std::vector<std::string> names_;
};

// A launch that shows a box at its end.
void run_with_a_box(const std::string &options = "") {
  given_release("stub");
  given_box_answer(ok_button);
  const auto run = run_launcher("--mpi=net " + options + " no_such_program");
  EXPECT_EQ(255U, run.status);
  EXPECT_EQ(1U, run.boxes.size());
}

}  // namespace

// ---- Handles ------------------------------------------------------------------------------

TEST(InheritedHandles, ReachNoToolThatIsAsked) {
  const open_handles handles;
  given_release("intel");
  const auto tools = mpi_folder("1.2.3", "intel") + "\\bin\\";
  given_tool(tools + "mpiexec.exe", handles.script());
  given_tool(tools + "smpd.exe", handles.script());
  given_file("hosts", "alpha:2\n");
  given_variable("ZEPHON_HOSTS_FILE", "..\\hosts");
  (void)run_launcher("--r1.2.3 --mpi=intel --np=2");
  for (const auto &start :
       {starts_of(tools + "smpd.exe").at(0), starts_of(tools + "mpiexec.exe").at(0)}) {
    EXPECT_EQ(handles.none(), start.handles) << start.command_line;
    EXPECT_EQ("character pipe pipe", start.input + " " + start.output + " " + start.error);
  }
}

TEST(InheritedHandles, ReachNoService) {
  const open_handles handles;
  given_release("intel");
  const auto tools = mpi_folder("1.2.3", "intel") + "\\bin\\";
  given_tool(tools + "mpiexec.exe");
  given_tool(tools + "smpd.exe", "when -status\nout no smpd\\r\\n\nwhen -d 0\n" + handles.script());
  given_file("hosts", "alpha:2\n");
  given_variable("ZEPHON_HOSTS_FILE", "..\\hosts");
  (void)run_launcher("--r1.2.3 --mpi=intel --np=2");
  const auto start = starts_of(tools + "smpd.exe").at(1);
  EXPECT_EQ(handles.none(), start.handles);
  EXPECT_EQ("none none none", start.input + " " + start.output + " " + start.error);
}

// What the launcher's caller hands on is meant for the solver.
TEST(InheritedHandles, ReachTheSolver) {
  const open_handles handles;
  given_release("stub");
  given_tool("solver.exe", handles.script());
  (void)run_launcher("--mpi=net ..\\solver.exe");
  EXPECT_EQ(handles.all(), only_start_of("solver.exe").handles);
}

// ... and for what is run in the console, as by any program that is run there.
TEST(InheritedHandles, ReachAToolInTheConsole) {
  const open_handles handles;
  given_release("msmpi");
  given_variable("MSMPI_HOME", "..\\ms");
  given_variable("CCP_CLUSTER_NAME", "head");
  given_variable("CCP_NODES", "1 alpha 4");
  given_tool("ms\\bin\\mpiexec.exe", handles.script());
  (void)run_launcher("--mpi=msmpi --np=2 solver");
  EXPECT_EQ(handles.all(), only_start_of("ms\\bin\\mpiexec.exe").handles);
}

// Pipes, files and processes that it had open in between stay its own.
TEST(InheritedHandles, AreNeverTheLaunchersOwn) {
  given_release("intel");
  const auto mpiexec = mpi_folder("1.2.3", "intel") + "\\bin\\mpiexec.exe";
  given_tool(mpiexec);
  (void)run_launcher("--r1.2.3 --mpi=intel --np=2");
  const auto plain = only_start_of(mpiexec).handle_count;

  given_file("hosts", "alpha\n");
  given_tool(mpi_folder("1.2.3", "intel") + "\\bin\\smpd.exe", "out smpd runs\\r\\n\n");
  given_variable("ZEPHON_HOSTS_FILE", "..\\hosts");
  given_variable("ZEPHON_RUN_DEBUG", "..\\log");
  (void)run_launcher("--r1.2.3 --mpi=intel --np=2 --o times.txt");
  ASSERT_EQ(3U, starts_of(mpiexec).size());
  EXPECT_EQ(plain, starts_of(mpiexec)[2].handle_count);
}

// ---- Planted host files -------------------------------------------------------------------

TEST_P(WrittenHostFile, ReplacesAFileOfItsName) {
  given_written_host_file(GetParam());
  given_prepared_start([](unsigned long process) {
    given_file(planted_name(GetParam(), process), "evil:100000\r\nand much more of it\r\n");
  });
  expect_own_file(run_launcher("--mpi=ibmmpi --np=2 solver"), GetParam());
}

TEST_P(WrittenHostFile, IsNotWrittenThroughAHardLink) {
  given_written_host_file(GetParam());
  given_file("victim", "precious\r\n");
  given_prepared_start([](unsigned long process) {
    EXPECT_TRUE(CreateHardLinkA(in_world(planted_name(GetParam(), process)).c_str(),
                                in_world("victim").c_str(), nullptr));
  });
  expect_own_file(run_launcher("--mpi=ibmmpi --np=2 solver"), GetParam());
  EXPECT_EQ("precious\r\n", file_text("victim"));
}

TEST_P(WrittenHostFile, IsNotWrittenThroughASymbolicLink) {
  given_written_host_file(GetParam());
  given_file("victim", "precious\r\n");
  if (!links_can_be_removed()) {
    GTEST_SKIP() << "this Windows makes no links, or removes what they point to";
  }
  given_prepared_start([](unsigned long process) {
    EXPECT_TRUE(made_symbolic_link(planted_name(GetParam(), process), "victim"));
  });
  expect_own_file(run_launcher("--mpi=ibmmpi --np=2 solver"), GetParam());
  EXPECT_EQ("precious\r\n", file_text("victim"));
}

// Where the link cannot be removed the launch ends, or does without the file.
TEST_P(WrittenHostFile, IsNotMadeThroughASymbolicLinkToNothing) {
  given_written_host_file(GetParam());
  bool made = true;
  given_prepared_start([&made](unsigned long process) {
    made = made_symbolic_link(planted_name(GetParam(), process), "victim");
  });
  const auto run = run_launcher("--mpi=ibmmpi --np=2 solver");
  if (!made) {
    GTEST_SKIP() << "this user may not make symbolic links";
  }
  EXPECT_EQ(std::nullopt, file_text("victim"));
  EXPECT_EQ(GetParam() == "zphosts" || run.errors.empty() ? 0U : 2U, run.status);
}

// A file that cannot be removed is not used either.
TEST_P(WrittenHostFile, IsNotAReadOnlyFileOfItsName) {
  given_written_host_file(GetParam());
  std::string planted;
  given_prepared_start([&planted](unsigned long process) {
    planted = planted_name(GetParam(), process);
    given_file(planted, "evil:100000\r\n");
    SetFileAttributesA(in_world(planted).c_str(), FILE_ATTRIBUTE_READONLY);
  });
  const auto run = run_launcher("--mpi=ibmmpi --np=2 solver");
  EXPECT_EQ("evil:100000\r\n", file_text(planted));
  for (const auto &start : starts_of(mpirun)) {
    EXPECT_EQ(std::string::npos, start.command_line.find("zphost")) << start.command_line;
  }
  EXPECT_EQ(GetParam() == "zphosts" ? 0U : 2U, run.status);
  SetFileAttributesA(in_world(planted).c_str(), FILE_ATTRIBUTE_NORMAL);
}

INSTANTIATE_TEST_SUITE_P(Planted, WrittenHostFile, testing::Values("zphost", "zphosts"),
                         [](const auto &row) { return row.param; });

// ---- Planted libraries --------------------------------------------------------------------

namespace {

// Plants the libraries in a folder, and launches; what is loaded from there is a failure.
void expect_not_loaded(const std::string &folder, const std::vector<std::string> &names,
                       const std::function<void()> &launch_something) {
  const preferred_libraries preferred(names);
  for (const auto &name : names) {
    plant_library(folder + name);
  }
  launch_something();
  for (const auto &name : names) {
    EXPECT_FALSE(was_loaded(folder + name)) << name;
  }
}

}  // namespace

TEST(PlantedLibraries, AreNotLoadedByAPlainLaunch) {
  given_release("stub");
  given_tool("solver.exe");
  expect_not_loaded("", libraries, [] {
    EXPECT_EQ(0U, run_launcher("--mpi=net --o times.txt ..\\solver.exe").status);
    EXPECT_EQ(1U, starts_of("solver.exe").size());
  });
}

TEST(PlantedLibraries, AreNotLoadedFromTheCurrentFolder) {
  expect_not_loaded("work\\", libraries, [] { run_with_a_box("--path=..\\inc"); });
}

TEST(PlantedLibraries, OfTheWindowsAndTheNetworkAreNotTakenFromTheLaunchersFolder) {
  expect_not_loaded("", {"user32.dll"}, [] { run_with_a_box(); });
  expect_not_loaded("", {"mpr.dll"}, [] { run_with_a_box("--path=..\\inc"); });
  plant_library("another.dll");
  const HMODULE planted = LoadLibraryA(in_world("another.dll").c_str());
  EXPECT_TRUE(was_loaded("another.dll"));  // who loads it is noticed
  FreeLibrary(planted);
}

// ---- Planted programs ---------------------------------------------------------------------

// Whether this interpreter leaves the current folder out when it is told to, as
// Windows' own does and some stand-ins of it do not.
bool interpreter_searches_path_only() {
  given_tool("work\\planted_probe.exe");
  given_variable("NoDefaultCurrentDirectoryInExePath", "1");
  auto run = start_program(std::string(std::getenv("SystemRoot")) + "\\system32\\cmd.exe",
                           "cmd.exe /c planted_probe");
  wait_for_everything(run);
  given_no_variable("NoDefaultCurrentDirectoryInExePath");
  return starts_of("work\\planted_probe.exe").empty();
}

TEST(PlantedPrograms, InTheCurrentFolderAreNotTheInterpreter) {
  given_release("intel");
  const auto tools = mpi_folder("1.2.3", "intel") + "\\bin\\";
  given_tool("work\\cmd.exe");
  given_tool("cmd.exe");  // beside the launcher
  given_variable("COMSPEC", in_world("cmd.exe"));
  given_variable("PATH", in_world("work"));
  given_tool(tools + "mpiexec.exe",
             "when -validate\ntimes 1\nout FAIL\\r\\n\nwhen -validate\nout ok\\r\\n\n");
  given_tool(tools + "smpd.exe");
  given_file("hosts", "alpha:2\n");
  given_variable("ZEPHON_HOSTS_FILE", "..\\hosts");
  EXPECT_EQ(0U, run_launcher("--r1.2.3 --mpi=intel --np=2 solver").status);
  EXPECT_EQ(4U, starts_of(tools + "mpiexec.exe").size());  // asked, in the console, asked, launched
  EXPECT_TRUE(starts_of("cmd.exe").empty());
  EXPECT_TRUE(starts_of("work\\cmd.exe").empty());
}

TEST(PlantedPrograms, InTheCurrentFolderAreNotTheSchedulersTools) {
  given_release("msmpi");
  given_variable("MSMPI_HOME", "..\\ms");
  given_variable("USE_CCP", "head");
  given_variable("CCP_JOB_SUBMIT_WAIT_TIME", "0.2");
  given_no_variable("ZEPHON_CRED_CHECK");
  for (const std::string name : {"job.exe", "cluscfg.exe"}) {
    given_tool(name, "when -ccp_job\nwhen job submit\nwait_file never\n");
    given_tool("work\\" + name);
  }
  const bool is_kept = interpreter_searches_path_only();
  (void)run_launcher("--mpi=msmpi --np=4 solver");
  for (const auto &start : all_starts()) {
    if (!start.interpreter_line.empty() && start.tool != "work\\planted_probe.exe") {
      EXPECT_EQ("1", start.variable("NoDefaultCurrentDirectoryInExePath")) << start.command_line;
    }
  }
  if (!is_kept) {
    GTEST_SKIP() << "this interpreter looks into the current folder first, whatever it is told";
  }
  EXPECT_TRUE(starts_of("work\\job.exe").empty());
  EXPECT_TRUE(starts_of("work\\cluscfg.exe").empty());
  EXPECT_EQ(3U, starts_of("job.exe").size());  // the check, the submission, the one in the console
}

// A cluster's MPI is named without a folder; the solver's own search stays its own.
TEST(PlantedPrograms, InTheCurrentFolderAreNotTheLaunchCommand) {
  given_release("msmpi");
  given_variable("CCP_HOME", "C:\\hpc");
  given_variable("PATH", in_world("on path") + ";" + std::getenv("SystemRoot"));
  given_tool("on path\\mpiexec.exe");
  given_tool("work\\mpiexec.exe");
  given_tool("work\\smpd.exe");
  EXPECT_EQ(0U, run_launcher("--mpi=msmpi --np=2 solver").status);
  EXPECT_TRUE(starts_of("work\\mpiexec.exe").empty());
  EXPECT_EQ(std::nullopt,
            only_start_of("on path\\mpiexec.exe").variable("NoDefaultCurrentDirectoryInExePath"));
  given_variable("NoDefaultCurrentDirectoryInExePath", "mine");
  (void)run_launcher("--mpi=msmpi --np=2 solver");
  EXPECT_EQ("mine",
            starts_of("on path\\mpiexec.exe").at(1).variable("NoDefaultCurrentDirectoryInExePath"));
}
