// faulty_files.cpp: makes files that cannot be used as they should be.
#include "faulty_files.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <aclapi.h>

#include <algorithm>
#include <cstdlib>

namespace scenario {

namespace {

// The machine's own name of a file of the world.
std::string unix_name(const std::string &path) {
  using get_name = char *(CDECL *)(LPCWSTR);
  const auto function = reinterpret_cast<get_name>(reinterpret_cast<void *>(
      GetProcAddress(GetModuleHandleA("kernel32.dll"), "wine_get_unix_file_name")));
  if (function == nullptr) {
    return "";
  }
  const std::wstring wide(path.begin(), path.end());  // worlds have plain names
  char *const name = function(wide.c_str());
  const std::string text = name == nullptr ? "" : name;
  HeapFree(GetProcessHeap(), 0, name);
  return text;
}

bool is_there(const std::string &path) {
  return GetFileAttributesA(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

// Runs a command of the machine's shell and waits for its end, of which a file tells:
// the process itself is hidden from Windows programs.
void run_in_shell(const std::string &command) {
  const auto done = in_world("shell_done");
  DeleteFileA(done.c_str());
  std::string line =
      "Z:\\bin\\sh -c \"" + command + "; : >'" + unix_name(in_world("")) + "/shell_done'\"";
  STARTUPINFOA startup = {};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION started = {};
  ASSERT_TRUE(CreateProcessA(nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                             &startup, &started))
      << line;
  CloseHandle(started.hThread);
  CloseHandle(started.hProcess);
  constexpr int tries = 3000;
  for (int count = 0; count < tries && !is_there(done); ++count) {
    Sleep(10);
  }
  ASSERT_TRUE(is_there(done)) << line;
}

// Takes everybody's rights to a file, or gives them back.
void set_rights(const std::string &path, bool nobody) {
  ACL nobody_at_all = {};
  InitializeAcl(&nobody_at_all, sizeof nobody_at_all, ACL_REVISION);
  std::string writable = path;
  SetNamedSecurityInfoA(writable.data(), SE_FILE_OBJECT,
                        DACL_SECURITY_INFORMATION | PROTECTED_DACL_SECURITY_INFORMATION, nullptr,
                        nullptr, nobody ? &nobody_at_all : nullptr, nullptr);
}

bool opens(const std::string &path) {
  const owned_handle file(
      CreateFileA(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr));
  return file.get() != INVALID_HANDLE_VALUE;
}

std::string new_pipe_name() {
  static int number = 0;
  return "\\\\.\\pipe\\hosts_of_" + std::to_string(GetCurrentProcessId()) + "_" +
         std::to_string(++number);
}

owned_handle pipe_instance(const std::string &name) {
  return owned_handle(CreateNamedPipeA(name.c_str(), PIPE_ACCESS_OUTBOUND, PIPE_TYPE_BYTE, 2, 65536,
                                       65536, 0, nullptr));
}

// Writes the content to whoever opens the file. Each time the next instance stands
// ready before this one goes; after the last there is none.
void serve(const std::string &name, const std::string &content, owned_handle pipe, int times) {
  for (int count = 1; count <= times; ++count) {
    if (!ConnectNamedPipe(pipe.get(), nullptr) && GetLastError() != ERROR_PIPE_CONNECTED) {
      return;
    }
    owned_handle next = count < times ? pipe_instance(name) : nullptr;
    DWORD written = 0;
    WriteFile(pipe.get(), content.data(), static_cast<DWORD>(content.size()), &written, nullptr);
    FlushFileBuffers(pipe.get());  // until it is read
    pipe = std::move(next);
  }
}

}  // namespace

bool runs_under_wine() {
  return GetProcAddress(GetModuleHandleA("ntdll.dll"), "wine_get_version") != nullptr;
}

unreadable_file::unreadable_file(const std::string &path) : path_(in_world(path)) {
  given_file(path);
  if (runs_under_wine()) {
    run_in_shell("ln -sf /proc/sys/vm/drop_caches '" + unix_name(path_) + "'");
  } else {
    set_rights(path_, true);
  }
  EXPECT_FALSE(opens(path_)) << path_;
}

unreadable_file::~unreadable_file() {
  if (runs_under_wine()) {
    run_in_shell("rm -f '" + unix_name(path_) + "'");
  } else {
    set_rights(path_, false);
  }
}

bool made_symbolic_link(const std::string &path, const std::string &target) {
  if (runs_under_wine()) {
    // A name of a file that is not there is not turned into the machine's own.
    const auto folder = unix_name(in_world("")) + "/";
    auto name = path;
    std::replace(name.begin(), name.end(), '\\', '/');
    run_in_shell("ln -s '" + folder + target + "' '" + folder + name + "'");
    return true;
  }
  return CreateSymbolicLinkA(in_world(path).c_str(), in_world(target).c_str(), 0) != 0;
}

owned_handle locked_file(const std::string &path, const std::string &content) {
  given_file(path, content);
  owned_handle lock(CreateFileA(in_world(path).c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                OPEN_EXISTING, 0, nullptr));
  EXPECT_NE(INVALID_HANDLE_VALUE, lock.get());
  return lock;
}

vanishing_file::vanishing_file(const std::string &content, int times) : name_(new_pipe_name()) {
  auto first = pipe_instance(name_);
  EXPECT_NE(INVALID_HANDLE_VALUE, first.get());
  server_ = std::thread(serve, name_, content, std::move(first), times);
}

vanishing_file::~vanishing_file() {
  // Reads what nobody has read, so that the server comes to its end.
  for (bool served = true; served;) {
    served = scenario::file_text(name_).has_value();
  }
  server_.join();
}

std::string unwritable_file() {
  if (runs_under_wine()) {
    return "Z:\\proc\\sys\\kernel\\ostype";
  }
  given_file("read only", "Linux\n");
  SetFileAttributesA(in_world("read only").c_str(), FILE_ATTRIBUTE_READONLY);
  return in_world("read only");
}

std::string unwritable_folder() {
  if (runs_under_wine()) {
    return "Z:\\proc\\sys\\kernel";
  }
  given_folder("closed");
  set_rights(in_world("closed"), true);
  return in_world("closed");
}

std::string full_file() {
  return runs_under_wine() ? "Z:\\dev\\full" : "";
}

std::string full_disk() {
  const char *const folder = std::getenv("SCENARIO_FULL_DISK");
  std::string path = folder == nullptr ? "" : folder;
  if (path.starts_with('/')) {
    std::replace(path.begin(), path.end(), '/', '\\');
    path = "Z:" + path;
  }
  return path;
}

}  // namespace scenario
