// cluster_bench.cpp: calls the scheduler's tools and waits for what jobs do.
#include "cluster_bench.h"

#include <windows.h>

#include <tlhelp32.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <sstream>

#include "../world_state.h"
#include "scripted_tool/tool_log.h"

namespace scenario {

namespace {

using clock = std::chrono::steady_clock;

constexpr auto longest_wait = std::chrono::seconds(120);
constexpr DWORD longest_call = 240000;      // milliseconds
constexpr DWORD pause_between_looks = 100;  // milliseconds

std::string variable_of_ours(const char *name) {
  const char *const value = std::getenv(name);
  return value == nullptr ? "" : value;
}

// The name under which Wine reaches a Unix path.
std::string wine_path(const std::string &unix_path) {
  auto path = "\\\\?\\unix" + unix_path;
  std::replace(path.begin(), path.end(), '/', '\\');
  return path;
}

std::string state_folder() {
  return wine_path(world().variables["HEAD_NODE_DIR"]);
}

void append_line(const std::string &file, const std::string &line) {
  const auto path = state_folder() + "\\" + file;
  const auto text = scripted_tool::read_file(path).value_or("");
  ASSERT_TRUE(scripted_tool::write_file(path, text + line + "\n")) << path;
}

void use_stand_in(const std::string &cluster) {
  static int count = 0;
  do {  // Wine uses the numbers of processes again
    given_variable("HEAD_NODE_DIR", cluster + "/test-" + std::to_string(GetCurrentProcessId()) +
                                        "-" + std::to_string(++count));
  } while (CreateDirectoryA(state_folder().c_str(), nullptr) == 0 &&
           GetLastError() == ERROR_ALREADY_EXISTS);
  CreateDirectoryA((state_folder() + "\\faults").c_str(), nullptr);
  // The worlds of the tests have long names.
  given_setting("command_limit=1024");
  start_head_node();
  const auto path = world().variables["PATH"];
  given_variable("PATH", built_tool("head_node") + ";" + path);
}

// Where a tool is: in this build, or wherever the path leads.
std::string tool_path(const std::string &tool) {
  if (head_node_is_stand_in()) {
    return built_tool("head_node\\" + tool + ".exe");
  }
  std::string path(MAX_PATH, '\0');
  path.resize(SearchPathA(nullptr, tool.c_str(), ".exe", MAX_PATH, path.data(), nullptr));
  return path;
}

// The head node is named behind the sub-command when the arguments name none.
launch call_tool(const std::string &tool, const std::string &arguments) {
  auto command = tool + " " + arguments;
  if (arguments.find("/scheduler:") == std::string::npos && !arguments.starts_with("head_node")) {
    const auto verb_end = std::min(command.find(' ', tool.size() + 1), command.size());
    command.insert(verb_end, " /scheduler:" + head_node_name());
  }
  auto run = start_program(tool_path(tool), command);
  // Its output fits into the pipe, and the boxes that are open are somebody else's.
  EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(run.process.get(), longest_call)) << command;
  wait_for_end(run);
  return run;
}

// The number behind "ID: " or in "Task 12.1".
std::string number_after(const std::string &text, const std::string &mark) {
  const auto start = text.find(mark);
  if (start == std::string::npos) {
    return "";
  }
  const auto first = start + mark.size();
  return text.substr(first, text.find_first_not_of("0123456789", first) - first);
}

void wait_until(const std::function<bool()> &reached, const std::function<std::string()> &what) {
  const auto limit = clock::now() + longest_wait;
  while (!reached()) {
    if (clock::now() >= limit) {
      ADD_FAILURE() << "waited in vain: " << what();
      return;
    }
    Sleep(pause_between_looks);
  }
}

std::string trimmed(const std::string &text) {
  const auto start = text.find_first_not_of(" \r\n");
  return start == std::string::npos
             ? ""
             : text.substr(start, text.find_last_not_of(" \r\n") - start + 1);
}

std::string value_in(const std::string &listing, const std::string &key) {
  std::istringstream lines(listing);
  for (std::string line; std::getline(lines, line);) {
    const auto colon = line.find(':');
    if (colon != std::string::npos &&
        _stricmp(trimmed(line.substr(0, colon)).c_str(), key.c_str()) == 0) {
      return trimmed(line.substr(colon + 1));
    }
  }
  return "";
}

// One task's part of the detailed view.
std::string task_listing(const std::string &id, int task) {
  const auto text = unix_lines(job("view " + id + " /detailed").output);
  const auto mark = ": " + id + "." + std::to_string(task) + "\n";
  const auto start = text.find(mark);
  if (start == std::string::npos) {
    return "";
  }
  const auto end = text.find("\nTask Id ", start);
  return text.substr(start, end == std::string::npos ? end : end - start);
}

// Whether a program of this name runs anywhere.
bool program_runs(const std::string &name) {
  const owned_handle processes(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
  PROCESSENTRY32 process = {};
  process.dwSize = sizeof process;
  for (BOOL more = Process32First(processes.get(), &process); more;
       more = Process32Next(processes.get(), &process)) {
    if (_stricmp(static_cast<const char *>(process.szExeFile), name.c_str()) == 0) {
      return true;
    }
  }
  return false;
}

}  // namespace

void cluster_test::SetUp() {
  given_time_limit(longest_call);  // a job needs several of the machine's other programs
  given_variable("USERNAME", variable_of_ours("USERNAME"));
  if (!head_node_is_stand_in()) {
    given_variable("PATH", variable_of_ours("PATH"));
    return;
  }
  const auto cluster = variable_of_ours("HEAD_NODE_CLUSTER");
  ASSERT_NE("", cluster) << "no cluster: start one with scripts/cluster.sh, or name a real head "
                            "node in CLUSTER_HEAD_NODE";
  use_stand_in(cluster);
}

void cluster_test::TearDown() {
  if (head_node_is_stand_in() && !variable_of_ours("HEAD_NODE_CLUSTER").empty()) {
    append_line("awake", "");
    (void)job("head_node end");  // its jobs end with it
    std::error_code ignored;
    std::filesystem::remove_all(share_on_drive(), ignored);
  }
}

void launcher_test::SetUp() {
  cluster_test::SetUp();
  if (HasFatalFailure()) {
    return;
  }
  given_installed_release();
  given_wrapper("msmpi");
  given_wrapper("ibmmpi");
  given_variable("CCP_HOME", "C:\\ccp");
  given_variable("ZEPHON_CRED_CHECK", "no");
  given_variable("STD_DIR", share());
  given_current_folder(share_on_drive());
  if (head_node_is_stand_in()) {
    given_cluster_variable("PATH=" + in_world("ms") + ";%PATH%");
    given_setting("queued_seconds=1");
  }
}

std::string head_node_name() {
  const auto name = variable_of_ours("CLUSTER_HEAD_NODE");
  return name.empty() ? "HEADNODE" : name;
}

bool head_node_is_stand_in() {
  return variable_of_ours("CLUSTER_HEAD_NODE").empty();
}

void start_head_node() {
  const auto port = state_folder() + "\\port";
  auto command = "\"" + wine_path(variable_of_ours("HEAD_NODE_PROGRAM")) + "\" serve \"" +
                 world().variables["HEAD_NODE_DIR"] + "\"";
  STARTUPINFOA startup = {};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION started = {};
  ASSERT_TRUE(CreateProcessA(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                             &startup, &started))
      << command;
  wait_until([&] { return !scripted_tool::read_file(port).value_or("").empty(); },
             [&] { return command + " listens"; });
  given_variable("HEAD_NODE_PORT", scripted_tool::read_file(port).value_or(""));
  wait_until([] { return job("head_node calls").status == 0; },
             [&] { return command + " answers"; });
}

void given_a_dead_head_node(head_node_memory memory) {
  (void)job("head_node die");
  wait_until([] { return job("head_node calls").status != 0; },
             [] { return std::string("the head node's death"); });
  if (memory == forgets) {
    EXPECT_TRUE(DeleteFileA((state_folder() + "\\events").c_str()));
  }
}

void given_a_hanging_head_node() {
  (void)job("head_node hang");
}

int calls_of_head_node() {
  return std::atoi(job("head_node calls").output.c_str());
}

void given_setting(const std::string &name_and_value) {
  append_line("settings", name_and_value);
}

void given_cluster_variable(const std::string &name_and_value) {
  append_line("cluster_environment", name_and_value);
}

void given_fault(const std::string &name, const std::string &value) {
  ASSERT_TRUE(scripted_tool::write_file(state_folder() + "\\faults\\" + name, value));
}

void given_no_fault(const std::string &name) {
  DeleteFileA((state_folder() + "\\faults\\" + name).c_str());
}

// Wine looks for \\server\share in the folder unc of its drives; a folder that is
// made there is a share.
std::string share_on_drive() {
  if (!head_node_is_stand_in()) {
    return variable_of_ours("CLUSTER_SHARE_ON_DRIVE");
  }
  auto path = "Z:" + variable_of_ours("WINEPREFIX") + "/dosdevices/unc/fileserver/" +
              std::filesystem::path(world().variables["HEAD_NODE_DIR"]).filename().string();
  std::replace(path.begin(), path.end(), '/', '\\');
  std::filesystem::create_directories(path);
  return path;
}

std::string share() {
  if (!head_node_is_stand_in()) {
    return variable_of_ours("CLUSTER_SHARE");
  }
  return "\\\\fileserver\\" + std::filesystem::path(share_on_drive()).filename().string();
}

launch job(const std::string &arguments) {
  return call_tool("job", arguments);
}

launch cluscfg(const std::string &arguments) {
  return call_tool("cluscfg", arguments);
}

std::string job_id(const std::string &arguments) {
  const auto run = job(arguments);
  EXPECT_EQ(0U, run.status) << arguments << "\n" << run.errors;
  EXPECT_EQ("", run.errors) << arguments;
  return number_after(run.output, "ID: ");
}

std::string given_running_job(const std::string &options) {
  const auto id = job_id("new /rununtilcanceled:true " + options);
  job_id("submit /id:" + id);
  wait_for_state(id, {"Running"});
  return id;
}

std::string job_state(const std::string &id) {
  const auto state = view_value(id, "State");
  return state.empty() ? view_value(id, "Status") : state;
}

std::string wait_for_state(const std::string &id, const std::vector<std::string> &states) {
  std::string state;
  wait_until(
      [&] {
        state = job_state(id);
        if (std::find(states.begin(), states.end(), state) != states.end()) {
          return true;
        }
        const bool ended =
            state == "Finished" || state == "Failed" || state == "Canceled" || state == "Cancelled";
        EXPECT_FALSE(ended) << "job " << id << " is " << state << ": "
                            << view_value(id, "Error message");
        return ended;
      },
      [&] { return "job " + id + " is " + state; });
  return state;
}

void wait_for_task(const std::string &id, int task, const std::string &state) {
  wait_until([&] { return task_value(id, task, "State") == state; },
             [&] { return task_listing(id, task); });
}

void wait_for_program(const std::string &name, bool running) {
  wait_until([&] { return program_runs(name) == running; },
             [&] { return name + (running ? " runs" : " has ended"); });
}

void wait_for_text(const std::string &path, const std::string &text) {
  wait_until([&] { return file_text(path).value_or("").find(text) != std::string::npos; },
             [&] { return path + ": " + file_text(path).value_or("(no such file)"); });
}

void wait_for_output(launch &run, const std::string &text) {
  while (is_running(run) && !contains(run.output, text)) {
    wait_a_moment(run);
  }
  EXPECT_TRUE(contains(run.output, text)) << run.output;
}

std::string view_value(const std::string &id, const std::string &key) {
  return value_in(job("view " + id).output, key);
}

std::string task_value(const std::string &id, int task, const std::string &key) {
  return value_in(task_listing(id, task), key);
}

std::string task_output(const std::string &id, int task) {
  const auto listing = task_listing(id, task);
  const auto start = listing.find('\n', listing.find("\nOutput ") + 1);
  return start == std::string::npos ? "" : listing.substr(start + 1);
}

std::vector<std::string> words_of(const std::string &text) {
  std::istringstream stream(text);
  std::vector<std::string> words;
  for (std::string word; stream >> word;) {
    words.push_back(word);
  }
  return words;
}

bool contains(const std::string &text, const std::string &part) {
  return text.find(part) != std::string::npos;
}

std::string unix_lines(std::string text) {
  text.erase(std::remove(text.begin(), text.end(), '\r'), text.end());
  return text;
}

}  // namespace scenario
