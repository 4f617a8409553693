// tool_run.cpp: one call of job.exe or cluscfg.exe: reads it, lets the head node
// do it, prints what comes of it, and plays the faults that are switched on.
#include "head_node/tool_run.h"

#include <windows.h>

#include <algorithm>
#include <cstdlib>
#include <map>

#include "head_node/answer_text.h"
#include "head_node/settings.h"
#include "head_node/unix_side.h"
#include "head_node/unknown_facts.h"

namespace head_node {

namespace {

using fault_values = std::map<std::string, std::string>;

// These are not played here: the head node gets them with the request.
constexpr const char *head_node_faults[] = {"stuck", "invalid", "fail", "cancel", "lose", "purge"};

constexpr DWORD answer_limit = 120000;  // milliseconds

void print(DWORD stream, const std::string &text) {
  const HANDLE handle = GetStdHandle(stream);
  std::size_t done = 0;
  DWORD written = 0;
  while (done < text.size() &&
         WriteFile(handle, text.data() + done, static_cast<DWORD>(text.size() - done), &written,
                   nullptr) != 0) {
    done += written;
  }
}

void wait_seconds(const std::string &seconds) {
  Sleep(static_cast<DWORD>(std::atof(seconds.c_str()) * 1000));
}

// A file in the head node's folder.
std::string state_file(const std::string &name) {
  return wine_path(variable("HEAD_NODE_DIR") + "/" + name);
}

// The faults of the environment, and those that are files in the folder "faults":
// a file's name and its content are a fault's name and its value.
std::string switched_on_faults() {
  std::string faults = variable("HEAD_NODE_FAULTS");
  const std::string folder = state_file("faults/");
  WIN32_FIND_DATAA found = {};
  const HANDLE search = FindFirstFileA((folder + "*").c_str(), &found);
  if (search == INVALID_HANDLE_VALUE) {
    return faults;
  }
  do {
    const std::string name = static_cast<const char *>(found.cFileName);
    if ((found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
      const auto value = read_file(folder + name).value_or("");
      faults += ";" + name + (value.empty() ? "" : "=" + value.substr(0, value.find('\n')));
    }
  } while (FindNextFileA(search, &found) != 0);
  FindClose(search);
  return faults;
}

// Switches a fault off that is a file. False when it was off already.
bool take_fault_file(const std::string &name, const std::string &sub_command) {
  const std::string folder = state_file("faults/");
  return DeleteFileA((folder + name + "@" + sub_command).c_str()) != 0 ||
         DeleteFileA((folder + name).c_str()) != 0;
}

// The folder that this program is in; run_task.exe lies beside it.
std::string program_folder() {
  std::string path(MAX_PATH, '\0');
  path.resize(GetModuleFileNameA(nullptr, path.data(), MAX_PATH));
  return path.substr(0, path.find_last_of('\\'));
}

std::string request_text(const tool_call &call, const settings &known, const fault_values &faults) {
  fields request = {{"verb", call.sub_command},
                    {"job", call.job},
                    {"head_node", known.head_node},
                    {"templates", known.templates}};
  const bool old = known.generation == tool_generation::ccp;
  request.emplace_back("default_exclusive", old ? "true" : "false");
  if (old) {
    request.emplace_back("reuse_ids", "");
  }
  request.insert(request.end(), call.options.begin(), call.options.end());
  if (!call.command.empty()) {
    request.emplace_back("command", call.command);
    request.emplace_back("agent", program_folder() + "\\run_task.exe");
  }
  for (const auto &setting : call.environment) {
    request.emplace_back("env", setting);
  }
  request.insert(request.end(), known.delays.begin(), known.delays.end());
  for (const char *name : head_node_faults) {
    if (const auto fault = faults.find(name); fault != faults.end()) {
      request.emplace_back(std::string("fault_") + name, fault->second);
    }
  }
  std::string text;
  for (const auto &[name, value] : request) {
    text += name + "=" + value + "\n";
  }
  return text;
}

fields ask_head_node(const std::string &request) {
  const fields unreachable = {{"error", "unreachable"}};
  const std::string folder = variable("HEAD_NODE_DIR");
  const std::string cluster = variable("HEAD_NODE_CLUSTER");
  if (folder.empty() || cluster.empty()) {
    return unreachable;
  }
  CreateDirectoryA(wine_path(folder).c_str(), nullptr);
  CreateDirectoryA(wine_path(folder + "/requests").c_str(), nullptr);
  const std::string file = folder + "/requests/" + std::to_string(GetCurrentProcessId()) + "-" +
                           std::to_string(GetTickCount64());
  const std::string answer_file = wine_path(file + ".answer");
  if (!write_file(wine_path(file), request) ||
      !run_until_file("\"" + wine_path("/bin/bash") + "\" \"" + cluster +
                          "/head_node.sh\" answer \"" + file + "\"",
                      answer_file, answer_limit)) {
    return unreachable;
  }
  const auto text = read_file(answer_file);
  DeleteFileA(answer_file.c_str());
  DeleteFileA(wine_path(file).c_str());
  return text ? read_fields(*text) : unreachable;
}

// The captured output of each task, as far as it is kept.
void add_task_output(fields &answer) {
  constexpr std::size_t kept = 4096;
  for (auto &[name, value] : answer) {
    if (name == "output_file") {
      name = "output";
      value = read_file(wine_path(value)).value_or("").substr(0, kept);
    }
  }
}

tool_answer do_call(const tool_call &call, const settings &known, const fault_values &faults) {
  auto answer = ask_head_node(request_text(call, known, faults));
  if (call.sub_command == "listenvs" && answer.empty()) {
    answer = cluster_environment(known, read_file(state_file("cluster_environment")).value_or(""));
  }
  add_task_output(answer);
  return answer_text(call, answer, known);
}

// ---- Faults ---------------------------------------------------------------------------------

// Asks for the password as the real tool does, and waits for it without an end. False
// when there is nobody to ask. The credentials are then known to the head node.
bool ask_for_password(const tool_call &call) {
  print(STD_OUTPUT_HANDLE, unknown_facts::password_prompt + variable("USERNAME") + ": ");
  const HANDLE input = GetStdHandle(STD_INPUT_HANDLE);
  if (input == nullptr || input == INVALID_HANDLE_VALUE) {
    Sleep(INFINITE);
  }
  char letter = 0;
  DWORD size = 0;
  do {
    if (ReadFile(input, &letter, 1, &size, nullptr) == 0 || size == 0) {
      return false;
    }
  } while (letter != '\n');
  take_fault_file("prompt", call.sub_command);
  return true;
}

// The faults that come before the head node does anything. Sets the answer when the
// call ends here.
bool fails_before(const tool_call &call, const settings &known, const fault_values &faults,
                  tool_answer &answer) {
  const auto value = [&](const char *name) {
    const auto fault = faults.find(name);
    return fault == faults.end() ? "" : fault->second;
  };
  if (faults.contains("no_answer")) {
    Sleep(INFINITE);
  }
  if (faults.contains("unreachable")) {
    wait_seconds(value("unreachable"));
    answer = failure(unknown_facts::cannot_connect(known.head_node));
    return true;
  }
  wait_seconds(value("slow"));
  if (faults.contains("fail_once") && take_fault_file("fail_once", call.sub_command)) {
    answer = failure(unknown_facts::cannot_connect(known.head_node));
    return true;
  }
  if (faults.contains("garbage")) {
    answer.output = "\x01\xff\xfe%s%n\r\x80:\x1b[2J\t: \xc3\n%d: \x7f\n";
    answer.output += std::string("\0ID:\0\n", 6);
    return true;
  }
  if (call.sub_command != "submit") {
    return false;
  }
  const bool nobody = faults.contains("prompt") && field(call.options, "password").empty() &&
                      !ask_for_password(call);
  if (nobody || faults.contains("refused")) {
    answer = failure(unknown_facts::wrong_credentials);
    return true;
  }
  return false;
}

// The faults that change what is printed.
void spoil_output(const fault_values &faults, std::string &output) {
  const auto number = [&](const char *name) {
    return std::strtoul(faults.at(name).c_str(), nullptr, 10);
  };
  std::string before;
  if (faults.contains("lines")) {
    const auto count = number("lines");
    for (unsigned long line = 1; line <= count; ++line) {
      before += "Line " + std::to_string(line) + " before the answer.\r\n";
    }
  }
  if (faults.contains("long_line")) {
    before += std::string(number("long_line"), 'x') + "\r\n";
  }
  if (faults.contains("silent")) {
    output.clear();
  }
  if (faults.contains("cut")) {
    const auto last_line = output.rfind('\n', output.empty() ? 0 : output.size() - 2);
    const auto start = last_line == std::string::npos ? 0 : last_line + 1;
    output.resize(start + (output.size() - start) / 2);
  }
  output.insert(0, before);
}

bool is_head_node(const std::string &name, const settings &known) {
  return lstrcmpiA(name.c_str(), known.head_node.c_str()) == 0;
}

}  // namespace

int run_tool(const tool &which, int argument_count, char **arguments) {
  const auto known = read_settings(read_file(state_file("settings")).value_or(""), variable);
  const auto call =
      which.read_call({arguments + std::min(argument_count, 1), arguments + argument_count},
                      {known.generation, variable("CCP_SCHEDULER"), known.command_limit});
  tool_answer answer;
  if (call.outcome == call_outcome::usage) {
    answer.output = which.usage(known.generation);
  } else if (call.outcome == call_outcome::refused) {
    answer = failure(call.reason);
  } else if (!is_head_node(call.scheduler, known)) {
    wait_seconds(field(known.delays, "connect_seconds"));
    answer = failure(unknown_facts::cannot_connect(call.scheduler));
  } else {
    const auto faults = faults_for(switched_on_faults(), call.sub_command);
    if (!fails_before(call, known, faults, answer)) {
      answer = do_call(call, known, faults);
      spoil_output(faults, answer.output);
    }
  }
  print(STD_OUTPUT_HANDLE, answer.output);
  print(STD_ERROR_HANDLE, answer.error);
  return answer.status;
}

}  // namespace head_node
