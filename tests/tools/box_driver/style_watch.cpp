// style_watch.cpp: a debugger that knows one breakpoint, on MessageBoxA.
#include "box_driver/style_watch.h"

#include <windows.h>

#include <cstdint>
#include <string_view>

namespace box_driver {

namespace {

constexpr unsigned char breakpoint_instruction = 0xCC;
constexpr DWORD single_step_flag = 0x100;  // in the processor's flags

template <typename data>
bool read_memory(HANDLE process, const void *address, data &into) {
  return ReadProcessMemory(process, address, &into, sizeof into, nullptr) != 0;
}

const void *moved(const void *base, std::uint64_t distance) {
  return static_cast<const unsigned char *>(base) + distance;
}

// A text of the program, up to its zero byte.
std::string read_text(HANDLE process, std::uint64_t address) {
  std::string text;
  for (char letter = '\0'; address != 0; ++address) {
    if (!read_memory(process, reinterpret_cast<const void *>(address), letter) || letter == '\0') {
      break;
    }
    text += letter;
  }
  return text;
}

void write_instruction(HANDLE process, void *address, unsigned char byte) {
  WriteProcessMemory(process, address, &byte, 1, nullptr);
  FlushInstructionCache(process, address, 1);
}

// The name a loaded library gives itself in its table of exports.
std::string library_name(HANDLE process, const void *base) {
  IMAGE_DOS_HEADER start;
  IMAGE_NT_HEADERS64 header;
  IMAGE_EXPORT_DIRECTORY exports;
  if (!read_memory(process, base, start) ||
      !read_memory(process, moved(base, static_cast<std::uint64_t>(start.e_lfanew)), header)) {
    return "";
  }
  const auto table = header.OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_EXPORT];
  if (table.Size == 0 || !read_memory(process, moved(base, table.VirtualAddress), exports)) {
    return "";
  }
  return read_text(process, reinterpret_cast<std::uint64_t>(moved(base, exports.Name)));
}

// Every program has the same user32.dll: MessageBoxA stands as far from its
// beginning there as here.
std::uint64_t distance_in_library() {
  const HMODULE library = GetModuleHandleA("user32.dll");
  const FARPROC function = GetProcAddress(library, "MessageBoxA");
  return reinterpret_cast<std::uint64_t>(function) - reinterpret_cast<std::uint64_t>(library);
}

void library_loaded(style_watch &watch, const LOAD_DLL_DEBUG_INFO &library) {
  CloseHandle(library.hFile);
  if (_stricmp(library_name(watch.process, library.lpBaseOfDll).c_str(), "user32.dll") != 0) {
    return;
  }
  watch.breakpoint = static_cast<unsigned char *>(library.lpBaseOfDll) + distance_in_library();
  read_memory(watch.process, watch.breakpoint, watch.covered);
  write_instruction(watch.process, watch.breakpoint, breakpoint_instruction);
}

// At the breakpoint: writes the call down, then lets the covered instruction run
// alone so that the breakpoint can be set again behind it.
void message_box_asked(style_watch &watch, HANDLE thread) {
  CONTEXT registers = {};
  registers.ContextFlags = CONTEXT_FULL;
  GetThreadContext(thread, &registers);
  watch.asked.push_back({read_text(watch.process, registers.R8),
                         read_text(watch.process, registers.Rdx),
                         static_cast<unsigned>(registers.R9)});
  write_instruction(watch.process, watch.breakpoint, watch.covered);
  registers.Rip = reinterpret_cast<DWORD64>(watch.breakpoint);
  registers.EFlags |= single_step_flag;
  SetThreadContext(thread, &registers);
}

// What becomes of an exception: ours are done with, all others are the program's own.
DWORD exception_met(style_watch &watch, const DEBUG_EVENT &event) {
  const auto &exception = event.u.Exception.ExceptionRecord;
  if (exception.ExceptionCode == EXCEPTION_BREAKPOINT) {
    if (watch.breakpoint != nullptr && exception.ExceptionAddress == watch.breakpoint) {
      const HANDLE thread = OpenThread(THREAD_ALL_ACCESS, FALSE, event.dwThreadId);
      message_box_asked(watch, thread);
      CloseHandle(thread);
    }
    return DBG_CONTINUE;  // Windows sets one of its own when the program starts
  }
  if (exception.ExceptionCode == EXCEPTION_SINGLE_STEP) {
    write_instruction(watch.process, watch.breakpoint, breakpoint_instruction);
    return DBG_CONTINUE;
  }
  return DBG_EXCEPTION_NOT_HANDLED;
}

DWORD handle_event(style_watch &watch, const DEBUG_EVENT &event) {
  switch (event.dwDebugEventCode) {
    case CREATE_PROCESS_DEBUG_EVENT:
      CloseHandle(event.u.CreateProcessInfo.hFile);
      watch.process = event.u.CreateProcessInfo.hProcess;
      return DBG_CONTINUE;
    case LOAD_DLL_DEBUG_EVENT:
      library_loaded(watch, event.u.LoadDll);
      return DBG_CONTINUE;
    case EXCEPTION_DEBUG_EVENT:
      return exception_met(watch, event);
    default:
      return DBG_CONTINUE;
  }
}

}  // namespace

void follow(style_watch &watch, unsigned long milliseconds) {
  DEBUG_EVENT event = {};
  while (WaitForDebugEvent(&event, milliseconds)) {
    ContinueDebugEvent(event.dwProcessId, event.dwThreadId, handle_event(watch, event));
  }
}

}  // namespace box_driver
