// bare_start.h: starts a program and waits for it, as barely as Windows allows.
#pragma once

#include <windows.h>

// Starts a command line; gives back its exit code, or 255 when it cannot be started.
inline int start_and_wait(char *command) {
  STARTUPINFOA startup = {};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION child = {};
  if (!CreateProcessA(nullptr, command, nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup,
                      &child)) {
    return 255;
  }
  CloseHandle(child.hThread);
  WaitForSingleObject(child.hProcess, INFINITE);
  DWORD code = 0;
  GetExitCodeProcess(child.hProcess, &code);
  CloseHandle(child.hProcess);
  return static_cast<int>(code);
}
