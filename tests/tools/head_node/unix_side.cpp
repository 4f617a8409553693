// unix_side.cpp: files and programs of the Unix below Wine.
#include "head_node/unix_side.h"

#include <windows.h>

#include <algorithm>
#include <array>

namespace head_node {

namespace {

// A handle that closes itself; Windows' invalid handle is its empty state.
struct open_handle {
  explicit open_handle(HANDLE opened) : handle(opened) {}
  ~open_handle() {
    if (handle != INVALID_HANDLE_VALUE) {
      CloseHandle(handle);
    }
  }
  open_handle(const open_handle &) = delete;
  open_handle &operator=(const open_handle &) = delete;

  HANDLE handle;
};

HANDLE open_file(const std::string &path, DWORD access, DWORD disposition) {
  return CreateFileA(path.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                     nullptr, disposition, FILE_ATTRIBUTE_NORMAL, nullptr);
}

std::string with_backslashes(std::string path) {
  std::replace(path.begin(), path.end(), '/', '\\');
  return path;
}

}  // namespace

std::string wine_path(const std::string &unix_path) {
  return "\\\\?\\unix" + with_backslashes(unix_path);
}

std::string drive_path(const std::string &unix_path) {
  return "Z:" + with_backslashes(unix_path);
}

std::string variable(const std::string &name) {
  const DWORD size = GetEnvironmentVariableA(name.c_str(), nullptr, 0);
  std::string value(size, '\0');
  value.resize(size == 0 ? 0 : GetEnvironmentVariableA(name.c_str(), value.data(), size));
  return value;
}

std::optional<std::string> read_file(const std::string &path) {
  const open_handle file(open_file(path, GENERIC_READ, OPEN_EXISTING));
  if (file.handle == INVALID_HANDLE_VALUE) {
    return std::nullopt;
  }
  std::string text;
  std::array<char, 16384> part{};
  DWORD size = 0;
  while (ReadFile(file.handle, part.data(), static_cast<DWORD>(part.size()), &size, nullptr) != 0 &&
         size > 0) {
    text.append(part.data(), size);
  }
  return text;
}

bool write_file(const std::string &path, const std::string &text) {
  const open_handle file(open_file(path, GENERIC_WRITE, CREATE_ALWAYS));
  DWORD written = 0;
  return file.handle != INVALID_HANDLE_VALUE &&
         WriteFile(file.handle, text.data(), static_cast<DWORD>(text.size()), &written, nullptr) !=
             0 &&
         written == text.size();
}

bool run_until_file(const std::string &command, const std::string &file,
                    unsigned long milliseconds) {
  std::string writable = command;
  STARTUPINFOA startup = {};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION process = {};
  if (CreateProcessA(nullptr, writable.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                     &startup, &process) == 0) {
    return false;
  }
  // Wine gives no handle of a Unix program that could be waited for.
  constexpr DWORD pause = 2;
  const ULONGLONG end = GetTickCount64() + milliseconds;
  while (GetFileAttributesA(file.c_str()) == INVALID_FILE_ATTRIBUTES) {
    if (GetTickCount64() >= end) {
      return false;
    }
    Sleep(pause);
  }
  return true;
}

}  // namespace head_node
