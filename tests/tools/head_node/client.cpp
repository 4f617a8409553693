// client.cpp: job.exe and cluscfg.exe, which play the scheduler's tools of these names:
// they pass on what they were told, and print what the head node says.
//
//   HEAD_NODE_PORT         where the head node listens on this machine
//   HEAD_NODE_PATIENCE     seconds after which it is given up (60)
//
// They are for the GUI subsystem: they start quicker and need no console.
#include <winsock2.h>

#include <windows.h>

#include <algorithm>
#include <array>
#include <cstdlib>

#include "head_node/unknown_facts.h"
#include "head_node/wire.h"

// The arguments are taken as they came: this keeps mingw's start-up code from
// expanding file patterns in them.
extern "C" {
extern int _CRT_glob;
int _CRT_glob = 0;
}

namespace {

std::string variable(const char *name) {
  const char *const text = std::getenv(name);
  return text == nullptr ? "" : text;
}

std::string own_folder() {
  std::string path(MAX_PATH, '\0');
  path.resize(GetModuleFileNameA(nullptr, path.data(), MAX_PATH));
  return path.substr(0, path.find_last_of('\\'));
}

void print(DWORD stream, const std::string &text) {
  DWORD written = 0;
  for (std::size_t done = 0;
       done < text.size() &&
       WriteFile(GetStdHandle(stream), text.data() + done, static_cast<DWORD>(text.size() - done),
                 &written, nullptr);) {
    done += written;
  }
}

// Asks the head node; false when it cannot be reached or does not answer.
bool ask(const std::string &question, head_node::texts &answer) {
  WSADATA version = {};
  const auto port = std::atoi(variable("HEAD_NODE_PORT").c_str());
  if (port == 0 || WSAStartup(MAKEWORD(2, 2), &version) != 0) {
    return false;
  }
  const auto patience = std::atof(variable("HEAD_NODE_PATIENCE").c_str());
  const DWORD limit = static_cast<DWORD>((patience > 0 ? patience : 60) * 1000);
  const SOCKET head_node = socket(AF_INET, SOCK_STREAM, 0);
  setsockopt(head_node, SOL_SOCKET, SO_RCVTIMEO, reinterpret_cast<const char *>(&limit),
             sizeof limit);
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<u_short>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (connect(head_node, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0 ||
      send(head_node, question.data(), static_cast<int>(question.size()), 0) !=
          static_cast<int>(question.size())) {
    return false;
  }
  std::array<char, 32768> part{};
  std::string bytes;
  for (int size; (size = recv(head_node, part.data(), static_cast<int>(part.size()), 0)) > 0;) {
    bytes.append(part.data(), static_cast<std::size_t>(size));
  }
  return head_node::take_message(bytes, answer) == head_node::reading::complete &&
         answer.size() == 3;
}

// The head node as the arguments name it.
std::string named_head_node(const head_node::texts &arguments) {
  const std::string option = "/scheduler:";
  for (const auto &word : arguments) {
    if (_strnicmp(word.c_str(), option.c_str(), option.size()) == 0) {
      return word.substr(option.size());
    }
  }
  return variable("CCP_SCHEDULER");
}

}  // namespace

int main(int argument_count, char **arguments) {
  const head_node::texts words(arguments + std::min(argument_count, 1), arguments + argument_count);
  head_node::texts question = {TOOL_NAME, own_folder(), variable("USERNAME"),
                               variable("CCP_SCHEDULER")};
  question.insert(question.end(), words.begin(), words.end());
  head_node::texts answer;
  if (!ask(head_node::encode(question), answer)) {
    print(STD_ERROR_HANDLE,
          head_node::unknown_facts::cannot_connect(named_head_node(words)) + "\r\n");
    return head_node::unknown_facts::failure_status;
  }
  print(STD_OUTPUT_HANDLE, answer[0]);
  print(STD_ERROR_HANDLE, answer[1]);
  return std::atoi(answer[2].c_str());
}
