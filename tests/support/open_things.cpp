// open_things.cpp: counts what this process has open.
#include "support/open_things.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <psapi.h>
#include <tlhelp32.h>

#include <cstdint>

namespace {

// The lowest 2,000 numbers that a handle can have are tried: Wine does not count them.
unsigned long count_handles() {
  constexpr std::uintptr_t end = 8000;
  unsigned long count = 0;
  for (std::uintptr_t number = 4; number < end; number += 4) {
    DWORD flags = 0;
    HANDLE handle = reinterpret_cast<HANDLE>(number);  // NOLINT(performance-no-int-to-ptr)
    count += GetHandleInformation(handle, &flags) ? 1U : 0U;
  }
  return count;
}

unsigned long count_threads() {
  HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
  THREADENTRY32 entry{};
  entry.dwSize = sizeof entry;
  unsigned long count = 0;
  for (BOOL more = Thread32First(snapshot, &entry); more; more = Thread32Next(snapshot, &entry)) {
    count += entry.th32OwnerProcessID == GetCurrentProcessId() ? 1U : 0U;
  }
  CloseHandle(snapshot);
  return count;
}

}  // namespace

open_things open_now() {
  // GoogleTest keeps a thread and a handle from the first time that it notes something.
  const testing::ScopedTrace note(__FILE__, __LINE__, "");
  PROCESS_MEMORY_COUNTERS memory{};
  (void)K32GetProcessMemoryInfo(GetCurrentProcess(), &memory, sizeof memory);
  return {count_handles(), count_threads(), memory.PagefileUsage};
}
