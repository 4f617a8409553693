// windows_faults_test.cpp: what the door does when Windows fails in the middle of a step,
// and what it asks Windows for where nobody could see it. A test puts a function of its own at the
// place of one that this program imports.

#include <gtest/gtest.h>
#include <windows.h>

#include <cstring>
#include <string>

#include "door/door.h"
#include "platform/platform.h"

namespace {

// Where this program keeps the address of a function of Windows.
void **import_of(const char *function) {
  auto *const base = reinterpret_cast<unsigned char *>(GetModuleHandleA(nullptr));
  const auto &headers = *reinterpret_cast<const IMAGE_NT_HEADERS *>(
      base + reinterpret_cast<const IMAGE_DOS_HEADER *>(base)->e_lfanew);
  const auto table =
      headers.OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress;
  for (auto *library = reinterpret_cast<const IMAGE_IMPORT_DESCRIPTOR *>(base + table);
       library->Name != 0; ++library) {
    auto *name = reinterpret_cast<const ULONG_PTR *>(base + library->OriginalFirstThunk);
    auto *address = reinterpret_cast<void **>(base + library->FirstThunk);
    for (; *name != 0; ++name, ++address) {
      const bool by_number = (*name & IMAGE_ORDINAL_FLAG64) != 0;
      if (!by_number && std::strcmp(reinterpret_cast<const char *>(base + *name) + 2,
                                    function) == 0) {  // two bytes are a hint
        return address;
      }
    }
  }
  return nullptr;
}

// While it lives, this program calls another function instead of Windows' own.
class instead_of {
 public:
  template <typename function>
  instead_of(const char *name, function *with) : place_(import_of(name)) {
    if (place_ == nullptr) {
      ADD_FAILURE() << name << " is not imported";
      return;
    }
    own_ = *place_;
    put(reinterpret_cast<void *>(with));
  }
  instead_of(const instead_of &) = delete;
  instead_of &operator=(const instead_of &) = delete;
  ~instead_of() {
    if (place_ != nullptr) {
      put(own_);
    }
  }

 private:
  void put(void *function) {
    DWORD protection = 0;
    (void)VirtualProtect(place_, sizeof *place_, PAGE_READWRITE, &protection);
    *place_ = function;
    (void)VirtualProtect(place_, sizeof *place_, protection, &protection);
  }

  void **place_;
  void *own_ = nullptr;
};

// A function of Windows by its name, whatever stands at its place.
template <typename function>
function own_function(const char *name) {
  return reinterpret_cast<function>(
      reinterpret_cast<void *>(GetProcAddress(GetModuleHandleA("kernel32.dll"), name)));
}

int calls = 0;

// ---- Starts -------------------------------------------------------------------------------

DWORD start_size = 0;
DWORD start_flags = 0;
DWORD started_process_id = 0;

BOOL WINAPI refuse_to_start(LPCSTR, LPSTR, LPSECURITY_ATTRIBUTES, LPSECURITY_ATTRIBUTES, BOOL,
                            DWORD flags, LPVOID, LPCSTR, LPSTARTUPINFOA startup,
                            LPPROCESS_INFORMATION) {
  start_size = startup->cb;
  start_flags = flags;
  SetLastError(ERROR_ACCESS_DENIED);
  return FALSE;
}

BOOL WINAPI start_and_note(LPCSTR program, LPSTR line, LPSECURITY_ATTRIBUTES process,
                           LPSECURITY_ATTRIBUTES thread, BOOL inherit, DWORD flags,
                           LPVOID environment, LPCSTR folder, LPSTARTUPINFOA startup,
                           LPPROCESS_INFORMATION started) {
  const BOOL done = own_function<decltype(&CreateProcessA)>("CreateProcessA")(
      program, line, process, thread, inherit, flags, environment, folder, startup, started);
  started_process_id = started->dwProcessId;
  return done;
}

DWORD WINAPI refuse_to_resume(HANDLE) {
  SetLastError(ERROR_NOT_ENOUGH_QUOTA);
  return static_cast<DWORD>(-1);
}

TEST(WindowsFault, RecordOfAStartHasTheSizeOfItsForm) {
  const instead_of start("CreateProcessA", refuse_to_start);
  const auto output = platform::open_null_input();
  platform::start_settings settings;
  EXPECT_EQ(static_cast<unsigned long>(ERROR_ACCESS_DENIED),
            platform::start_process("x", settings).error);
  EXPECT_EQ(sizeof(STARTUPINFOA), start_size);
  EXPECT_EQ(0U, start_flags & EXTENDED_STARTUPINFO_PRESENT);
  settings.give_standard_handles = true;
  settings.output = output.get();
  settings.handles = platform::inheritance::listed;
  (void)platform::start_process("x", settings);
  EXPECT_EQ(sizeof(STARTUPINFOEXA), start_size);
  EXPECT_NE(0U, start_flags & EXTENDED_STARTUPINFO_PRESENT);
}

TEST(WindowsFault, ProcessThatCannotBeResumedIsNotLeftBehind) {
  const instead_of start("CreateProcessA", start_and_note);
  const instead_of resume("ResumeThread", refuse_to_resume);
  platform::start_settings settings;
  settings.grouped = true;
  const auto started = platform::start_process(door::command_of({.stays = 60'000}), settings);
  EXPECT_EQ(static_cast<unsigned long>(ERROR_NOT_ENOUGH_QUOTA), started.error);
  EXPECT_FALSE(started.process);
  EXPECT_FALSE(started.group);
  const HANDLE left = OpenProcess(SYNCHRONIZE, FALSE, started_process_id);
  EXPECT_TRUE(left == nullptr || platform::wait_for(left, 30'000));
  CloseHandle(left);
}

// ---- Listings -----------------------------------------------------------------------------

BOOL WINAPI break_off(HANDLE search, LPWIN32_FIND_DATAA entry) {
  if (++calls < 2) {
    return own_function<decltype(&FindNextFileA)>("FindNextFileA")(search, entry);
  }
  SetLastError(ERROR_NETNAME_DELETED);
  return FALSE;
}

TEST(WindowsFault, ListingThatBreaksOffIsNoShortList) {
  const std::string pattern = platform::windows_directory() + "\\*.*";
  EXPECT_TRUE(platform::list_directory(pattern));
  calls = 0;
  const instead_of next("FindNextFileA", break_off);
  EXPECT_FALSE(platform::list_directory(pattern));
}

// ---- Writes -------------------------------------------------------------------------------

DWORD write_error = 0;

BOOL WINAPI write_three_bytes(HANDLE file, LPCVOID bytes, DWORD, LPDWORD written,
                              LPOVERLAPPED overlapped) {
  if (++calls == 1) {
    return own_function<decltype(&WriteFile)>("WriteFile")(file, bytes, 3, written, overlapped);
  }
  *written = 0;
  SetLastError(write_error);
  return FALSE;
}

TEST(WindowsFault, WriteThatBreaksOffIsNoWholeOne) {
  const std::string folder = door::make_folder();
  for (const auto error : {ERROR_NETNAME_DELETED, ERROR_UNEXP_NET_ERR, ERROR_DISK_FULL}) {
    const auto file = platform::open_file(folder + "\\x", platform::open_mode::write);
    ASSERT_TRUE(file);
    calls = 0;
    write_error = static_cast<DWORD>(error);
    const instead_of write("WriteFile", write_three_bytes);
    EXPECT_FALSE(platform::write_all(file.get(), "abcdef", 6)) << error;
    EXPECT_EQ(2, calls);
  }
  door::remove_folder(folder);
}

// ---- Threads ------------------------------------------------------------------------------

HANDLE awaited = nullptr;

DWORD WINAPI note_wait(HANDLE handle, DWORD milliseconds) {
  awaited = handle;
  return own_function<decltype(&WaitForSingleObject)>("WaitForSingleObject")(handle, milliseconds);
}

TEST(WindowsFault, ThreadThatIsEndedIsAwaited) {
  const auto sleeper = platform::start_thread([](void *) { Sleep(INFINITE); }, nullptr);
  const instead_of wait("WaitForSingleObject", note_wait);
  platform::terminate_thread(sleeper.thread.get());
  EXPECT_EQ(sleeper.thread.get(), awaited);
  EXPECT_TRUE(platform::wait_for(sleeper.thread.get(), 0));
}

// ---- Boxes --------------------------------------------------------------------------------

const auto own_search = GetProcAddress;
UINT asked_style = 0;

int WINAPI note_style(HWND, LPCSTR, LPCSTR, UINT style) {
  asked_style = style;
  return IDYES;
}

FARPROC WINAPI find_noting_box(HMODULE library, LPCSTR name) {
  return std::strcmp(name, "MessageBoxA") == 0
             ? reinterpret_cast<FARPROC>(reinterpret_cast<void *>(note_style))
             : own_search(library, name);
}

// Wine shows a box in front of others like any other.
TEST(WindowsDoor, ShowsABoxInTheStyleThatItIsGiven) {
  const instead_of search("GetProcAddress", find_noting_box);
  for (const unsigned style : {0U, 0x40U, 0x40000U, 0x40001U, 0x40004U, 0x40040U}) {
    EXPECT_EQ(IDYES, platform::show_message_box("Door tests", "A box", style));
    EXPECT_EQ(style, asked_style);
  }
}

HMODULE WINAPI refuse_to_load(LPCSTR, HANDLE, DWORD) {
  ++calls;
  SetLastError(ERROR_INVALID_PARAMETER);
  return nullptr;
}

// It is loaded once in a process, so this needs one of its own.
TEST(BoxLibrary, DISABLED_IsRefusedFromTheSystemsFolder) {
  calls = 0;
  const bool with_it = [] {
    const instead_of load("LoadLibraryExA", refuse_to_load);
    return platform::boxes_are_visible();
  }();
  EXPECT_EQ(1, calls);
  EXPECT_NE(nullptr, GetModuleHandleA("user32.dll"));
  EXPECT_EQ(with_it, platform::boxes_are_visible());
}

TEST(WindowsFault, BoxLibraryIsLoadedAsWindowsFindsItElsewhere) {
  std::string program(MAX_PATH, '\0');
  program.resize(GetModuleFileNameA(nullptr, program.data(), MAX_PATH));
  const auto ended =
      door::run("\"" + program + "\" --gtest_filter=BoxLibrary.* --gtest_also_run_disabled_tests");
  EXPECT_EQ(0U, ended.status) << ended.output;
  EXPECT_NE(std::string::npos, ended.output.find("[  PASSED  ] 1 test")) << ended.output;
}

}  // namespace
