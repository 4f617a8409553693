// windows_front.cpp: the calls to Windows that only zprun makes. They stand in a file
// of their own so that mpirun.exe does not carry them.
#include <winsock2.h>

#include <windows.h>
#include <ws2tcpip.h>

#include <algorithm>
#include <atomic>
#include <string>

#include "platform/platform.h"

namespace platform {

namespace {

std::atomic<control_handler> front_handler = nullptr;

BOOL WINAPI on_control(DWORD type) {
  const control_handler handler = front_handler;
  if (handler == nullptr) {
    return FALSE;
  }
  handler(type == CTRL_C_EVENT || type == CTRL_BREAK_EVENT ? control_event::interrupt
                                                           : control_event::closing);
  return TRUE;
}

// A function of a library of the system's, which is loaded when it is asked for; null if none.
template <typename function_type>
function_type system_function(const char *library, const char *name) {
  HMODULE module = LoadLibraryExA(library, nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32);
  return module == nullptr ? nullptr
                           : reinterpret_cast<function_type>(
                                 reinterpret_cast<void *>(GetProcAddress(module, name)));
}

}  // namespace

void set_control_handler(control_handler handler) {
  front_handler = handler;
  (void)SetConsoleCtrlHandler(on_control, handler != nullptr ? TRUE : FALSE);
}

namespace {

HANDLE own_group = nullptr;  // as long as we live, we hold the only handle

void set_group_limits(DWORD limits) {
  JOBOBJECT_EXTENDED_LIMIT_INFORMATION information{};
  information.BasicLimitInformation.LimitFlags = limits;
  (void)SetInformationJobObject(own_group, JobObjectExtendedLimitInformation, &information,
                                sizeof information);
}

}  // namespace

void take_children_with_us() {
  if (own_group == nullptr) {
    own_group = CreateJobObjectA(nullptr, nullptr);
    (void)AssignProcessToJobObject(own_group, GetCurrentProcess());
  }
  set_group_limits(JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE);
}

void let_children_outlive_us() {
  if (own_group != nullptr) {
    set_group_limits(0);
  }
}

bool stream_is_console(standard_stream stream) {
  DWORD mode = 0;
  return GetConsoleMode(standard_handle(stream), &mode) != 0;
}

std::optional<std::string> machine_setting(const char *name) {
  // Systems that have it in a library which every program has need not load another one.
  auto get_value = system_function<decltype(&RegGetValueA)>("kernel32.dll", "RegGetValueA");
  if (get_value == nullptr) {
    get_value = system_function<decltype(&RegGetValueA)>("advapi32.dll", "RegGetValueA");
  }
  constexpr DWORD longest = 1024;
  char value[longest] = "";
  DWORD size = longest;
  if (get_value == nullptr || get_value(HKEY_LOCAL_MACHINE, "SOFTWARE\\Zephon\\launcher", name,
                                        RRF_RT_REG_SZ, nullptr, value, &size) != ERROR_SUCCESS) {
    return std::nullopt;
  }
  return std::string(value);
}

std::optional<std::string> word_beyond_code_page() {
  const std::wstring line = GetCommandLineW();
  // Both ways at once: a character that comes back as another one was not kept.
  std::string narrow(line.size() * 4 + 1, '\0');
  const int bytes = WideCharToMultiByte(CP_ACP, 0, line.c_str(), -1, narrow.data(),
                                        static_cast<int>(narrow.size()), nullptr, nullptr);
  std::wstring again(line.size() * 4 + 1, L'\0');
  (void)MultiByteToWideChar(CP_ACP, 0, narrow.c_str(), bytes, again.data(),
                            static_cast<int>(again.size()));
  const auto lost = static_cast<std::size_t>(
      std::mismatch(line.begin(), line.end(), again.begin()).first - line.begin());
  if (lost == line.size()) {
    return std::nullopt;
  }
  const std::size_t before = again.find_last_of(L" \t", lost);
  const std::size_t start = before == std::wstring::npos ? 0 : before + 1;
  const std::wstring word = again.substr(start, again.find_first_of(L" \t", lost) - start);
  const int size = WideCharToMultiByte(CP_ACP, 0, word.c_str(), -1, narrow.data(),
                                       static_cast<int>(narrow.size()), nullptr, nullptr);
  return narrow.substr(0, static_cast<std::size_t>(std::max(size, 1)) - 1);
}

bool host_is_known(const std::string &name) {
  const char *sockets = "ws2_32.dll";
  const auto start = system_function<decltype(&WSAStartup)>(sockets, "WSAStartup");
  const auto ask = system_function<decltype(&getaddrinfo)>(sockets, "getaddrinfo");
  const auto release = system_function<decltype(&freeaddrinfo)>(sockets, "freeaddrinfo");
  WSADATA data;
  if (start == nullptr || ask == nullptr || release == nullptr ||
      start(MAKEWORD(2, 2), &data) != 0) {
    return true;  // nobody can say
  }
  addrinfo *found = nullptr;
  if (ask(name.c_str(), nullptr, nullptr, &found) != 0) {
    return false;
  }
  release(found);
  return true;
}

}  // namespace platform
