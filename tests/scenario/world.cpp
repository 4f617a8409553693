// world.cpp: makes the world of a test: its folder, files, tools and variables.

#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <fstream>

#include "scripted_tool/tool_log.h"
#include "world_state.h"

namespace scenario {

namespace {

// The world lives on the heap so that all of its values start anew with each test. Rows of
// tests/cases are played beside each other, each on a thread of its own. (A plain pointer:
// the destructors of a thread's variables are not safe with every Windows compiler.)
thread_local world_state *current_world = nullptr;

std::string own_folder() {
  std::string path(32768, '\0');
  path.resize(GetModuleFileNameA(nullptr, path.data(), static_cast<DWORD>(path.size())));
  return path.substr(0, path.find_last_of('\\'));
}

std::string variable_or(const char *name, const std::string &otherwise) {
  const char *const value = std::getenv(name);
  return value == nullptr ? otherwise : value;
}

// A folder that no other test has, also not one of another process that runs beside.
std::string new_folder() {
  static std::atomic<int> count = 0;
  std::string folder(MAX_PATH + 1, '\0');
  folder.resize(GetTempPathA(static_cast<DWORD>(folder.size()), folder.data()));
  folder += "zephon world " + std::to_string(GetCurrentProcessId()) + "-" + std::to_string(++count);
  std::filesystem::create_directories(folder);
  return folder;
}

// A job that ends everything in it when the test, or this program, ends.
owned_handle new_job() {
  owned_handle job(CreateJobObjectA(nullptr, nullptr));
  JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits = {};
  limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
  SetInformationJobObject(job.get(), JobObjectExtendedLimitInformation, &limits, sizeof limits);
  return job;
}

void give_what_windows_needs() {
  const auto system_root = variable_or("SystemRoot", "C:\\windows");
  given_variable("SystemRoot", system_root);
  given_variable("windir", system_root);
  given_variable("SystemDrive", variable_or("SystemDrive", "C:"));
  given_variable("COMSPEC", system_root + "\\system32\\cmd.exe");
  given_variable("PATH", system_root + "\\system32;" + in_world("") + ";" + system_root);
  given_variable("TEMP", in_world("temp"));
  given_variable("TMP", in_world("temp"));
}

void copy_file(const std::string &from, const std::string &to) {
  std::filesystem::create_directories(std::filesystem::path(to).parent_path());
  ASSERT_TRUE(CopyFileA(from.c_str(), to.c_str(), FALSE)) << from << " -> " << to;
}

std::string without_ending(const std::string &path) {
  return path.substr(0, path.find_last_of('.'));
}

// Ended processes let go of their files a little later than their job ends.
void remove_folder(const std::string &folder) {
  constexpr int attempts = 100;
  std::error_code failure;
  for (int attempt = 0; attempt < attempts; ++attempt) {
    std::filesystem::remove_all(folder, failure);
    if (!failure) {
      return;
    }
    Sleep(20);
  }
}

void report_unmet_answers() {
  if (world().boxes_met < world().answers.size()) {
    ADD_FAILURE() << "only " << world().boxes_met << " of the " << world().answers.size()
                  << " expected message boxes appeared";
  }
}

void report_script_faults() {
  for (const auto &tool : world().tools) {
    const auto log = scripted_tool::read_file(in_world(without_ending(tool) + ".log"));
    for (const auto &fields : scripted_tool::parse_log(log.value_or(""))) {
      const auto fault = scripted_tool::find_field(fields, "fault").value_or("");
      if (!fault.empty()) {
        ADD_FAILURE() << "script of " << tool << ": " << fault;
      }
    }
  }
}

}  // namespace

bool variable_order::operator()(const std::string &one, const std::string &other) const {
  return _stricmp(one.c_str(), other.c_str()) < 0;
}

world_state &world() {
  return *current_world;
}

std::string build_folder() {
  return variable_or("SCENARIO_BUILD", own_folder() + "\\..\\..");
}

std::string built_launcher() {
  return build_folder() + "\\mpirun.exe";
}

std::string built_console_launcher() {
  return build_folder() + "\\mpirun_console.exe";
}

std::string built_front() {
  return build_folder() + "\\zprun.exe";
}

std::string built_tool(const std::string &path) {
  return build_folder() + "\\tests\\tools\\" + path;
}

void make_world() {
  current_world = new world_state;
  world().folder = new_folder();
  world().job = new_job();
  world().current_folder = in_world("work");
  given_folder("work");
  given_folder("temp");
  give_what_windows_needs();
  copy_file(built_launcher(), in_world("mpirun.exe"));
}

void end_world() {
  report_unmet_answers();
  report_script_faults();
  TerminateJobObject(world().job.get(), 1);
  const auto folder = world().folder;
  delete current_world;
  if (std::getenv("SCENARIO_KEEP") == nullptr) {
    remove_folder(folder);
  }
}

std::string in_world(const std::string &path) {
  const bool full = path.find(':') != std::string::npos || path.starts_with("\\\\");
  return full ? path : world().folder + "\\" + path;
}

std::string in_quotes(const std::string &text) {
  return "\"" + text + "\"";
}

void given_variable(const std::string &name, const std::string &value) {
  world().variables[name] = value;
}

void given_no_variable(const std::string &name) {
  world().variables.erase(name);
}

void given_file(const std::string &path, const std::string &content) {
  std::filesystem::create_directories(std::filesystem::path(in_world(path)).parent_path());
  ASSERT_TRUE(scripted_tool::write_file(in_world(path), content)) << path;
}

void given_folder(const std::string &path) {
  std::filesystem::create_directories(in_world(path));
}

namespace {

void give_tool(const std::string &built, const std::string &path, const std::string &script) {
  auto &tools = world().tools;
  if (std::find(tools.begin(), tools.end(), path) == tools.end()) {
    tools.push_back(path);
    copy_file(built_tool("scripted_tool\\" + built), in_world(path));
  }
  given_file(without_ending(path) + ".script", script);
}

}  // namespace

void given_tool(const std::string &path, const std::string &script) {
  give_tool("scripted_tool.exe", path, script);
}

void given_console_tool(const std::string &path, const std::string &script) {
  give_tool("scripted_console_tool.exe", path, script);
}

void given_script_of_all_tools(const std::string &script) {
  for (const auto &tool : world().tools) {
    given_file(without_ending(tool) + ".script", script);
  }
}

void given_installed_release() {
  given_folder("prod");
  given_folder("inc");
  given_variable("ZEPHON_PROD", "zephon");
  given_variable("ZEPHON_PROD_DIR", in_world("prod"));
  given_variable("ZEPHON_INC", in_world("inc"));
  given_variable("ZEPHON_ARCH", "win64");
  given_variable("STDOUT_FLUSH", "1");
}

void given_wrapper(const std::string &mpi, const std::string &arch) {
  given_file("prod\\netweave\\mpi_wrapper\\" + arch + "\\" + mpi + "\\mpi_wrapper.dll");
}

void given_release_without_blanks(const std::string &mpi) {
  given_installed_release();
  given_wrapper(mpi);
  given_variable("ZEPHON_INC", "..\\inc");
  given_variable("ZEPHON_PROD_DIR", "..\\prod");
}

std::string given_solver(const std::string &script) {
  given_tool("solver.exe", script);
  return in_quotes(in_world("solver.exe"));
}

void given_mpich(const std::string &script) {
  given_wrapper("mpich");
  given_tool("mpich\\bin\\mpirun.exe", script);
  given_variable("MPI_HOME", in_world("mpich"));
  given_file("hosts", "n1\nn2\n");
  given_variable("ZEPHON_HOSTS_FILE", in_world("hosts"));
}

void given_own_platform_mpi(const std::string &script) {
  given_release_without_blanks("ibmmpi");
  given_variable("IBMMPI_ROOT", "..\\mpi");
  given_variable("ORBEX_DONT_CACHE_PASSWORD", "1");
  given_tool("mpi\\bin\\mpirun.exe", script);
}

std::string mpi_folder(const std::string &release, const std::string &mpi) {
  return "inc\\zephon" + release + "\\netweave\\mpi\\win64\\" + mpi;
}

void given_box_answer(int button) {
  world().answers.emplace_back(button);
}

void given_box_left_alone() {
  world().answers.emplace_back(std::nullopt);
}

void given_joined_output() {
  world().joined_output = true;
}

void given_output_file(const std::string &path) {
  world().output_file = in_world(path);
}

void given_no_standard_handles() {
  world().no_standard_handles = true;
}

void given_hidden_window_station() {
  // Kept open as long as the tests run.
  static const HWINSTA station = CreateWindowStationA("zephon_tests", 0, GENERIC_ALL, nullptr);
  const HWINSTA own = GetProcessWindowStation();
  ASSERT_TRUE(station != nullptr && SetProcessWindowStation(station));
  static const HDESK desktop = CreateDesktopA("tests", nullptr, nullptr, 0, GENERIC_ALL, nullptr);
  EXPECT_NE(nullptr, desktop);
  SetProcessWindowStation(own);
  world().desktop = "zephon_tests\\tests";
}

void given_current_folder(const std::string &path) {
  given_folder(path);
  world().current_folder = in_world(path);
}

void given_inherited_handle(void *handle) {
  world().inherited_handles.push_back(handle);
}

void given_prepared_start(const std::function<void(unsigned long process)> &prepare) {
  world().prepare_start = prepare;
}

void given_time_limit(unsigned long milliseconds) {
  world().time_limit = milliseconds;
}

std::optional<std::string> file_text(const std::string &path) {
  return scripted_tool::read_file(in_world(path));
}

std::string text_mode(const std::string &text) {
  std::string result;
  result.reserve(text.size());
  std::size_t start = 0;
  for (std::size_t end; (end = text.find('\n', start)) != std::string::npos; start = end + 1) {
    result.append(text, start, end - start).append("\r\n");
  }
  return result.append(text, start);
}

std::string windows_message(unsigned long error) {
  std::string text(4096, '\0');
  text.resize(FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                             error, 0, text.data(), static_cast<DWORD>(text.size()), nullptr));
  return text;
}

}  // namespace scenario
