// bare_relay.cpp: starts a command behind the command interpreter and writes each
// line that it prints to its own output at once. The bare loop that the launcher's
// echo of a tool is measured against.
#include <windows.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

constexpr DWORD buffer_size = 65536;

HANDLE start_with_pipe(std::string command) {
  SECURITY_ATTRIBUTES inheritable = {sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
  HANDLE read_end = nullptr;
  HANDLE write_end = nullptr;
  if (!CreatePipe(&read_end, &write_end, &inheritable, buffer_size)) {
    return nullptr;
  }
  SetHandleInformation(read_end, HANDLE_FLAG_INHERIT, 0);
  STARTUPINFOA startup = {};
  startup.cb = sizeof startup;
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdOutput = write_end;
  startup.hStdError = write_end;
  PROCESS_INFORMATION child = {};
  if (!CreateProcessA(nullptr, command.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr,
                      &startup, &child)) {
    return nullptr;
  }
  CloseHandle(child.hThread);
  CloseHandle(child.hProcess);
  CloseHandle(write_end);
  return read_end;
}

void relay_lines(HANDLE from, HANDLE to) {
  std::vector<char> buffer(buffer_size);
  std::size_t filled = 0;
  DWORD got = 0;
  DWORD written = 0;
  while (
      ReadFile(from, &buffer[filled], static_cast<DWORD>(buffer.size() - filled), &got, nullptr) &&
      got > 0) {
    filled += got;
    const char *line = buffer.data();
    const char *const end = line + filled;
    while (const void *newline = std::memchr(line, '\n', static_cast<std::size_t>(end - line))) {
      const char *const next = static_cast<const char *>(newline) + 1;
      WriteFile(to, line, static_cast<DWORD>(next - line), &written, nullptr);
      line = next;
    }
    filled = static_cast<std::size_t>(end - line);
    std::memmove(buffer.data(), line, filled);
  }
  WriteFile(to, buffer.data(), static_cast<DWORD>(filled), &written, nullptr);
}

}  // namespace

int WINAPI WinMain(HINSTANCE, HINSTANCE, LPSTR line, int) {
  const HANDLE from = start_with_pipe(std::string("cmd.exe /c ") + line);
  if (from == nullptr) {
    return 255;
  }
  relay_lines(from, GetStdHandle(STD_OUTPUT_HANDLE));
  return 0;
}
