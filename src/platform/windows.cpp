// windows.cpp: the launcher's calls to Windows, each a call, its result, its error.
#include <windows.h>

#include <winnetwk.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cwchar>

#include "platform/platform.h"

#ifdef _MSC_VER
#pragma warning(disable : 4996)  // GetVersion, getenv and _putenv are what we mean
#endif

namespace platform {

namespace {

owned_handle own(HANDLE handle) {
  return owned_handle(handle == INVALID_HANDLE_VALUE ? nullptr : handle);
}

template <typename function_type>
function_type library_function(void *library, const char *name) {
  return reinterpret_cast<function_type>(
      reinterpret_cast<void *>(GetProcAddress(static_cast<HMODULE>(library), name)));
}

// A folder that Windows names in the manner of GetSystemDirectory; empty when it does not.
std::string folder_from(UINT(WINAPI *ask)(char *, UINT)) {
  std::string folder(ask(nullptr, 0), '\0');  // asks for the size
  const UINT length = ask(folder.data(), static_cast<UINT>(folder.size()));
  folder.resize(length < folder.size() ? length : 0);
  return folder;
}

std::string in_system_folder(const char *name) {
  return folder_from(GetSystemDirectoryA) + "\\" + name;
}

// The window library is loaded when a box is shown, not at every start. Nobody can
// plant it: Windows knows its own.
void *window_library() {
  static void *const found = load_system_library("user32.dll");
  static void *const library = found != nullptr ? found : LoadLibraryA("user32.dll");
  return library;
}

}  // namespace

void handle_closer::operator()(void *handle) const {
  (void)CloseHandle(handle);
}

// ---- The program itself -------------------------------------------------------------------

unsigned long windows_version() {
  return GetVersion();
}

unsigned long process_id() {
  return GetCurrentProcessId();
}

std::time_t current_time() {
  return std::time(nullptr);
}

std::int64_t current_microseconds() {
  constexpr std::int64_t from_1601_to_1970 = 11'644'473'600'000'000;
  FILETIME time;
  GetSystemTimeAsFileTime(&time);
  const auto ticks = (static_cast<std::uint64_t>(time.dwHighDateTime) << 32U) | time.dwLowDateTime;
  return static_cast<std::int64_t>(ticks / 10) - from_1601_to_1970;
}

std::uint64_t elapsed_ms() {
  return GetTickCount64();
}

namespace {

std::vector<void (*)()> exit_functions;
std::atomic<DWORD> ending_thread = 0;
std::atomic<int> exit_status = 0;

}  // namespace

void at_exit(void (*function)()) {
  exit_functions.push_back(function);
}

// Not the runtime's exit: Ctrl-C ends the program on a thread of its own, and the
// main thread must not go on with a launch state that is being destroyed.
void exit_program(int status) {
  DWORD ended_by = 0;
  if (!ending_thread.compare_exchange_strong(ended_by, GetCurrentThreadId()) &&
      ended_by != GetCurrentThreadId()) {
    Sleep(INFINITE);  // another thread is ending the program
  }
  exit_status = status;
  while (!exit_functions.empty()) {
    void (*function)() = exit_functions.back();
    exit_functions.pop_back();  // first, as the function may end the program itself
    function();
  }
  end_at_once(status);
}

namespace {

// Held by the thread that starts a program.
SRWLOCK start_lock = SRWLOCK_INIT;
std::atomic<bool> starts_are_over = false;

// A thread that was ended from outside may have left the lock as it was.
constexpr int start_end_attempts = 300;
constexpr DWORD start_end_wait = 10;

}  // namespace

// A program whose start is broken off by the end of this one would stay behind for
// ever: Windows makes it first, and then lets it run.
void end_at_once(int status) {
  starts_are_over = true;  // one thread that starts on and on would hold the lock at every attempt
  for (int attempt = 0; attempt < start_end_attempts && !TryAcquireSRWLockExclusive(&start_lock);
       ++attempt) {
    Sleep(start_end_wait);
  }
  ExitProcess(static_cast<UINT>(status));
}

int status_at_exit() {
  return exit_status;
}

void ignore_ctrl_c() {
  (void)SetConsoleCtrlHandler(nullptr, TRUE);  // a run without a console has none
}

interrupt_handler set_interrupt_handler(interrupt_handler handler) {
  const interrupt_handler previous = std::signal(SIGINT, handler != nullptr ? handler : SIG_DFL);
  return previous == SIG_DFL || previous == SIG_ERR ? nullptr : previous;
}

std::string system_message(unsigned long error) {
  char *text = nullptr;
  const DWORD length = FormatMessageA(
      FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
      nullptr, error, 0, reinterpret_cast<char *>(&text), 0, nullptr);
  std::string message(length > 0 ? text : "");
  (void)LocalFree(text);
  return message;
}

std::string utf8_of(const std::string &text) {
  const int size = static_cast<int>(std::min<std::size_t>(text.size(), 1U << 24U));
  const int wide_size = MultiByteToWideChar(CP_ACP, 0, text.data(), size, nullptr, 0);
  std::wstring wide(static_cast<std::size_t>(wide_size), L'\0');
  (void)MultiByteToWideChar(CP_ACP, 0, text.data(), size, wide.data(), wide_size);
  const int bytes =
      WideCharToMultiByte(CP_UTF8, 0, wide.data(), wide_size, nullptr, 0, nullptr, nullptr);
  std::string result(static_cast<std::size_t>(bytes), '\0');
  (void)WideCharToMultiByte(CP_UTF8, 0, wide.data(), wide_size, result.data(), bytes, nullptr,
                            nullptr);
  return result;
}

bool is_lead_byte(char byte) {
  return IsDBCSLeadByte(static_cast<BYTE>(byte)) != 0;
}

// ---- Environment --------------------------------------------------------------------------

std::optional<std::string> get_variable(const char *name) {
  const char *value = std::getenv(name);
  return value != nullptr ? std::optional<std::string>(value) : std::nullopt;
}

// Set through _putenv: getenv and the programs we start read different copies.
unsigned long put_variable(const std::string &name_and_value) {
  if (name_and_value.size() > longest_variable) {
    return ERROR_FILENAME_EXCED_RANGE;  // some systems cut it instead
  }
  SetLastError(ERROR_SUCCESS);
  if (_putenv(name_and_value.c_str()) == 0) {
    return 0;
  }
  const DWORD error = GetLastError();
  return error != ERROR_SUCCESS ? error : ERROR_INVALID_PARAMETER;
}

// ---- Files and directories ----------------------------------------------------------------

owned_handle open_file(const std::string &path, open_mode mode) {
  DWORD access = GENERIC_READ;
  DWORD creation = OPEN_EXISTING;
  switch (mode) {
    case open_mode::read:
      break;
    case open_mode::write:
      access = GENERIC_WRITE;
      creation = CREATE_ALWAYS;
      break;
    case open_mode::append:
      access = FILE_APPEND_DATA | SYNCHRONIZE;
      creation = OPEN_ALWAYS;
      break;
    case open_mode::create:
      access = GENERIC_WRITE;
      creation = CREATE_NEW;
      break;
  }
  return own(CreateFileA(path.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                         creation, FILE_ATTRIBUTE_NORMAL, nullptr));
}

std::size_t read_some(void *handle, char *buffer, std::size_t size) {
  const DWORD wanted = static_cast<DWORD>(std::min<std::size_t>(size, 1U << 30U));
  DWORD got = 0;
  while (ReadFile(handle, buffer, wanted, &got, nullptr)) {
    // A pipe also hands over an empty write; only a file ends with nothing.
    if (got > 0 || GetFileType(handle) != FILE_TYPE_PIPE) {
      return got;
    }
  }
  return 0;
}

bool write_all(void *handle, const char *text, std::size_t size) {
  while (size > 0) {
    const DWORD piece = static_cast<DWORD>(std::min<std::size_t>(size, 1U << 30U));
    DWORD written = 0;
    if (!WriteFile(handle, text, piece, &written, nullptr) || written == 0) {
      return false;
    }
    text += written;
    size -= written;
  }
  return true;
}

void remove_file(const std::string &path) {
  (void)DeleteFileA(path.c_str());  // what is not there need not be removed
}

bool replace_file(const std::string &path, const std::string &new_path) {
  return MoveFileExA(path.c_str(), new_path.c_str(), MOVEFILE_REPLACE_EXISTING) != 0;
}

std::optional<std::string> current_directory() {
  const DWORD needed = GetCurrentDirectoryA(0, nullptr);
  std::string directory(needed, '\0');
  const DWORD length = GetCurrentDirectoryA(needed, directory.data());
  if (length == 0 || length >= needed) {
    return std::nullopt;
  }
  directory.resize(length);
  return directory;
}

std::string windows_directory() {
  return folder_from(GetSystemWindowsDirectoryA);
}

std::optional<std::vector<std::string>> list_directory(const std::string &pattern) {
  WIN32_FIND_DATAA entry;
  HANDLE search = FindFirstFileA(pattern.c_str(), &entry);
  if (search == INVALID_HANDLE_VALUE) {
    return std::nullopt;
  }
  std::vector<std::string> names;
  do {
    names.emplace_back(entry.cFileName);
  } while (FindNextFileA(search, &entry));
  const bool complete = GetLastError() == ERROR_NO_MORE_FILES;
  (void)FindClose(search);
  return complete ? std::optional(names) : std::nullopt;
}

// ---- Standard output and error ------------------------------------------------------------

void *standard_handle(standard_stream stream) {
  HANDLE handle =
      GetStdHandle(stream == standard_stream::output ? STD_OUTPUT_HANDLE : STD_ERROR_HANDLE);
  return handle == INVALID_HANDLE_VALUE ? nullptr : handle;
}

namespace {

owned_handle open_inheritable(const char *device, DWORD access) {
  SECURITY_ATTRIBUTES inheritable{sizeof inheritable, nullptr, TRUE};
  return own(CreateFileA(device, access, FILE_SHARE_READ | FILE_SHARE_WRITE, &inheritable,
                         OPEN_EXISTING, 0, nullptr));
}

// Not every handle that is there is one: Windows 7 leaves the caller's numbers in a
// program that has no console.
bool is_open(HANDLE handle) {
  SetLastError(ERROR_SUCCESS);
  return handle != nullptr && handle != INVALID_HANDLE_VALUE &&
         (GetFileType(handle) != FILE_TYPE_UNKNOWN || GetLastError() == ERROR_SUCCESS);
}

}  // namespace

owned_handle open_null_input() {
  return open_inheritable("nul", GENERIC_READ);
}

void use_console_of_caller() {
  struct stream {
    DWORD number;
    const char *console;
    HANDLE given;
  };
  stream streams[] = {{STD_INPUT_HANDLE, "CONIN$", nullptr},
                      {STD_OUTPUT_HANDLE, "CONOUT$", nullptr},
                      {STD_ERROR_HANDLE, "CONOUT$", nullptr}};
  for (stream &one : streams) {
    HANDLE handle = GetStdHandle(one.number);
    one.given = is_open(handle) ? handle : nullptr;
  }
  if (streams[1].given != nullptr && streams[2].given != nullptr) {
    return;
  }
  // Some systems attach a program with a window by themselves, but give it no handles.
  const bool attached =
      AttachConsole(ATTACH_PARENT_PROCESS) || GetLastError() == ERROR_ACCESS_DENIED;
  // Attaching may have replaced all three, those that were handed to us as well.
  for (stream &one : streams) {
    if (one.given == nullptr && attached) {
      one.given = open_inheritable(one.console, GENERIC_READ | GENERIC_WRITE).release();
    }
    (void)SetStdHandle(one.number, one.given);
  }
}

// ---- Processes ----------------------------------------------------------------------------

std::optional<pipe_ends> create_pipe() {
  constexpr DWORD buffer_size = 65536;
  HANDLE read_end = nullptr;
  HANDLE write_end = nullptr;
  if (!CreatePipe(&read_end, &write_end, nullptr, buffer_size)) {
    return std::nullopt;
  }
  pipe_ends ends{own(read_end), own(write_end)};
  if (!SetHandleInformation(write_end, HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT)) {
    return std::nullopt;
  }
  return ends;
}

namespace {

// The list of the only handles that a child inherits. It must outlive the start.
class handle_list {
 public:
  explicit handle_list(const STARTUPINFOA &startup) {
    for (HANDLE handle : {startup.hStdInput, startup.hStdOutput, startup.hStdError}) {
      if (handle != nullptr && std::find(handles, handles + count, handle) == handles + count) {
        handles[count++] = handle;
      }
    }
    SIZE_T size = 0;
    (void)InitializeProcThreadAttributeList(nullptr, 1, 0, &size);  // asks for the size
    memory.resize(size);
    list = reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(memory.data());
    if (!InitializeProcThreadAttributeList(list, 1, 0, &size)) {
      list = nullptr;
    } else {
      (void)UpdateProcThreadAttribute(list, 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST, handles,
                                      count * sizeof(HANDLE), nullptr, nullptr);
    }
  }
  handle_list(const handle_list &) = delete;
  handle_list &operator=(const handle_list &) = delete;
  ~handle_list() {
    if (list != nullptr) {
      DeleteProcThreadAttributeList(list);
    }
  }

  LPPROC_THREAD_ATTRIBUTE_LIST list = nullptr;

 private:
  HANDLE handles[3] = {};
  std::size_t count = 0;
  std::vector<char> memory;
};

// A job object with the process in it. Windows 7 refuses it when the launcher
// itself was started in one.
owned_handle group_of(HANDLE process) {
  owned_handle group = own(CreateJobObjectA(nullptr, nullptr));
  if (group && !AssignProcessToJobObject(group.get(), process)) {
    group.reset();
  }
  return group;
}

// Where Windows looks for a bare name that must not be in the current directory.
std::string folders_of_bare_names() {
  char own[MAX_PATH] = "";
  char *name = own;
  (void)GetModuleFileNameA(nullptr, own, sizeof own);
  (void)GetFullPathNameA(own, sizeof own, own, &name);
  std::string folders(own, name);
  for (const std::string &one :
       {in_system_folder(""), windows_directory(), get_variable("PATH").value_or("")}) {
    folders.append(";").append(one);
  }
  return folders;
}

bool is_program(const std::string &name) {
  const bool is_bare = name.find('\\') == std::string::npos;
  const std::string folders = is_bare ? folders_of_bare_names() : "";
  char found[MAX_PATH];
  return SearchPathA(is_bare ? folders.c_str() : nullptr, name.c_str(), ".exe", sizeof found, found,
                     nullptr) != 0 &&
         open_file(found, open_mode::read);
}

}  // namespace

// As CreateProcess looks for it: without quotes the program's name may end at any blank.
bool program_exists(const std::string &command) {
  const bool quoted = command.starts_with('"');
  const std::size_t start = quoted ? 1 : 0;
  for (std::size_t end = 0; end != std::string::npos && end < command.size();) {
    end = command.find(quoted ? '"' : ' ', end + 1);
    if (is_program(command.substr(start, end - start))) {
      return true;
    }
    end = quoted ? std::string::npos : end;
  }
  return false;
}

namespace {

// While it lives, no other thread starts a program, and none ends this one.
class start_in_turn {
 public:
  start_in_turn() {
    AcquireSRWLockExclusive(&start_lock);
    if (starts_are_over) {
      ReleaseSRWLockExclusive(&start_lock);
      Sleep(INFINITE);  // another thread is ending the program
    }
  }
  start_in_turn(const start_in_turn &) = delete;
  start_in_turn &operator=(const start_in_turn &) = delete;
  ~start_in_turn() { ReleaseSRWLockExclusive(&start_lock); }
};

// While it lives, neither Windows nor the command interpreter that inherits our
// environment looks for a program without a folder in the current directory. Two at
// a time would take each other's setting away.
class path_only_search {
 public:
  path_only_search() {
    was_set = GetEnvironmentVariableA(variable, nullptr, 0) > 0;
    if (!was_set) {
      (void)SetEnvironmentVariableA(variable, "1");
    }
  }
  path_only_search(const path_only_search &) = delete;
  path_only_search &operator=(const path_only_search &) = delete;
  ~path_only_search() {
    if (!was_set) {
      (void)SetEnvironmentVariableA(variable, nullptr);
    }
  }

 private:
  static constexpr char variable[] = "NoDefaultCurrentDirectoryInExePath";
  bool was_set = false;
};

// The launcher's environment as a block for a child.
std::wstring own_environment() {
  wchar_t *const block = GetEnvironmentStringsW();
  const wchar_t *end = block;
  while (*end != L'\0') {
    end += std::wcslen(end) + 1;
  }
  std::wstring copy(block, static_cast<std::size_t>(end - block));
  (void)FreeEnvironmentStringsW(block);
  copy.push_back(L'\0');  // an empty block has two zeros as well
  return copy;
}

STARTUPINFOA startup_of(const start_settings &settings) {
  STARTUPINFOA startup{};
  startup.cb = sizeof startup;
  startup.lpTitle = const_cast<char *>(settings.title);
  if (settings.give_standard_handles || settings.handles == inheritance::none) {
    startup.dwFlags |= STARTF_USESTDHANDLES;
    startup.hStdInput = settings.input;
    startup.hStdOutput = settings.output;
    startup.hStdError = settings.error;
  }
  if (settings.hidden) {
    startup.dwFlags |= STARTF_USESHOWWINDOW;
    startup.wShowWindow = SW_HIDE;
  }
  return startup;
}

// Puts a process that was started suspended into its group and lets it run. One that
// Windows does not let run is ended. Gives back 0 or the error code.
DWORD resume_in_group(const PROCESS_INFORMATION &child, owned_handle &group) {
  group = group_of(child.hProcess);
  if (ResumeThread(child.hThread) != static_cast<DWORD>(-1)) {
    return 0;
  }
  const DWORD error = GetLastError();
  (void)TerminateProcess(child.hProcess, 1);
  return error;
}

}  // namespace

started_process start_process(const std::string &command, const start_settings &settings) {
  started_process started;
  if (command.size() > longest_command_line) {
    started.error = ERROR_FILENAME_EXCED_RANGE;  // some systems cut it instead
    return started;
  }
  STARTUPINFOEXA startup{};
  startup.StartupInfo = startup_of(settings);
  DWORD flags = settings.detached ? DETACHED_PROCESS : 0;

  // An empty list would hand on everything.
  const bool has_heirloom =
      settings.input != nullptr || settings.output != nullptr || settings.error != nullptr;
  std::optional<handle_list> listed;
  if (settings.handles == inheritance::listed && has_heirloom) {
    listed.emplace(startup.StartupInfo);
    startup.lpAttributeList = listed->list;
    startup.StartupInfo.cb = sizeof startup;
    flags |= EXTENDED_STARTUPINFO_PRESENT;
  }
  if (settings.grouped) {
    flags |= CREATE_SUSPENDED;  // it must start nothing before it is in its group
  }

  const start_in_turn turn;

  // The interpreter keeps the setting of the search for its tools; other programs get
  // the environment without it.
  std::wstring own_block;
  void *environment = const_cast<char *>(settings.environment);
  if (environment == nullptr && !settings.is_interpreter) {
    own_block = own_environment();
    environment = own_block.data();
    flags |= CREATE_UNICODE_ENVIRONMENT;
  }
  const std::string interpreter = settings.is_interpreter ? in_system_folder("cmd.exe") : "";
  std::string writable_command = command;  // CreateProcess may write into it
  PROCESS_INFORMATION child{};
  {
    const path_only_search search;
    if (!CreateProcessA(settings.is_interpreter ? interpreter.c_str() : nullptr,
                        writable_command.data(), nullptr, nullptr,
                        settings.handles == inheritance::all || listed ? TRUE : FALSE, flags,
                        environment, settings.directory, &startup.StartupInfo, &child)) {
      started.error = GetLastError();
      return started;
    }
  }
  started.process = own(child.hProcess);
  started.id = child.dwProcessId;
  if (settings.grouped) {
    started.error = resume_in_group(child, started.group);
  }
  (void)CloseHandle(child.hThread);
  if (started.error != 0) {
    started.process.reset();
    started.group.reset();
  }
  return started;
}

unsigned long exit_code(void *process) {
  DWORD code = 0;
  (void)GetExitCodeProcess(process, &code);
  return code;
}

void terminate_process(void *process, unsigned long code) {
  (void)TerminateProcess(process, code);  // it may have ended by itself
}

void terminate_group(void *group, unsigned long code) {
  (void)TerminateJobObject(group, code);  // they may have ended by themselves
}

std::optional<std::uint64_t> processor_time(void *process) {
  FILETIME creation;
  FILETIME end;
  FILETIME kernel;
  FILETIME user;
  if (!GetProcessTimes(process, &creation, &end, &kernel, &user)) {
    return std::nullopt;
  }
  const auto ticks = [](const FILETIME &time) {
    return (static_cast<std::uint64_t>(time.dwHighDateTime) << 32U) | time.dwLowDateTime;
  };
  return ticks(kernel) + ticks(user);
}

std::optional<std::uint64_t> group_processor_time(void *group) {
  JOBOBJECT_BASIC_ACCOUNTING_INFORMATION spent{};
  if (!QueryInformationJobObject(group, JobObjectBasicAccountingInformation, &spent, sizeof spent,
                                 nullptr)) {
    return std::nullopt;
  }
  return static_cast<std::uint64_t>(spent.TotalKernelTime.QuadPart) +
         static_cast<std::uint64_t>(spent.TotalUserTime.QuadPart);
}

void write_shared_number(std::uint64_t mapping_handle, std::uint32_t number) {
  // The caller hands its handle on as a number.
  const auto value = static_cast<std::uintptr_t>(mapping_handle);
  HANDLE mapping = reinterpret_cast<HANDLE>(value);  // NOLINT(performance-no-int-to-ptr)
  void *view = MapViewOfFile(mapping, FILE_MAP_ALL_ACCESS, 0, 0, 0);
  if (view != nullptr) {
    *static_cast<std::uint32_t *>(view) = number;
    (void)UnmapViewOfFile(view);
  }
}

// ---- Threads, events and waiting ----------------------------------------------------------

namespace {

struct thread_start {
  thread_routine routine;
  void *argument;
};

DWORD WINAPI run_thread(void *start) {
  const thread_start what = *static_cast<thread_start *>(start);
  delete static_cast<thread_start *>(start);
  what.routine(what.argument);
  return 0;
}

}  // namespace

started_thread start_thread(thread_routine routine, void *argument) {
  auto start = std::make_unique<thread_start>(thread_start{routine, argument});
  DWORD id = 0;
  owned_handle thread = own(CreateThread(nullptr, 0, run_thread, start.get(), 0, &id));
  if (thread) {
    (void)start.release();  // the thread's now
  }
  return {std::move(thread), id};
}

void interrupt_thread(void *thread) {
  (void)CancelSynchronousIo(thread);  // fails when the thread hangs in nothing
}

// Windows ends it a little later, and until then it uses what belongs to the caller.
void terminate_thread(void *thread) {
  constexpr DWORD longest_end = 5'000;  // milliseconds
#ifdef _MSC_VER
#pragma warning(suppress : 6258)
#endif
  (void)TerminateThread(thread, 0);
  (void)WaitForSingleObject(thread, longest_end);
}

bool wait_for(void *handle, unsigned long milliseconds) {
  return WaitForSingleObject(handle, milliseconds) == WAIT_OBJECT_0;
}

void sleep_ms(unsigned long milliseconds) {
  Sleep(milliseconds);
}

created_event create_event(const char *name) {
  created_event created;
  created.event = own(CreateEventA(nullptr, FALSE, FALSE, name));
  created.error = created.event ? 0 : GetLastError();
  return created;
}

void set_event(void *event) {
  (void)SetEvent(event);
}

// ---- Message boxes ------------------------------------------------------------------------

// A service, a task without a session and a task on a node have a window station
// that nobody looks at. A box would come up there, and wait for ever.
bool boxes_are_visible() {
  const auto own_station = library_function<decltype(&GetProcessWindowStation)>(
      window_library(), "GetProcessWindowStation");
  const auto ask = library_function<decltype(&GetUserObjectInformationA)>(
      window_library(), "GetUserObjectInformationA");
  USEROBJECTFLAGS flags{};
  if (own_station == nullptr || ask == nullptr ||
      !ask(own_station(), UOI_FLAGS, &flags, sizeof flags, nullptr)) {
    return true;  // Windows does not tell: the box says by itself when it cannot be shown
  }
  return (flags.dwFlags & WSF_VISIBLE) != 0;
}

int show_message_box(const std::string &caption, const std::string &text, unsigned style) {
  const auto message_box =
      library_function<decltype(&MessageBoxA)>(window_library(), "MessageBoxA");
  return message_box != nullptr ? message_box(nullptr, text.c_str(), caption.c_str(), style) : 0;
}

namespace {

// Presses a box's first button: not every box closes when its window is asked to.
BOOL CALLBACK press_first_button(HWND window, LPARAM) {
  void *library = window_library();
  const auto class_name = library_function<decltype(&GetClassNameA)>(library, "GetClassNameA");
  const auto find_child = library_function<decltype(&FindWindowExA)>(library, "FindWindowExA");
  const auto control_id = library_function<decltype(&GetDlgCtrlID)>(library, "GetDlgCtrlID");
  const auto post = library_function<decltype(&PostMessageA)>(library, "PostMessageA");
  char name[16] = "";
  if (class_name == nullptr || find_child == nullptr || control_id == nullptr || post == nullptr ||
      class_name(window, name, sizeof name) == 0 || std::string(name) != "#32770") {
    return TRUE;
  }
  HWND button = find_child(window, nullptr, "Button", nullptr);
  if (button != nullptr) {
    (void)post(window, WM_COMMAND, static_cast<WPARAM>(control_id(button)),
               reinterpret_cast<LPARAM>(button));
  }
  return TRUE;
}

}  // namespace

void close_message_boxes(unsigned long thread_id) {
  const auto enumerate =
      library_function<decltype(&EnumThreadWindows)>(window_library(), "EnumThreadWindows");
  if (enumerate != nullptr) {
    (void)enumerate(thread_id, press_first_button, 0);
  }
}

// ---- Network paths ------------------------------------------------------------------------

// With its whole path, and its own libraries from that folder: the flag that names
// the system's folder to Windows is not known to every Windows 7.
void *load_system_library(const char *name) {
  return LoadLibraryExA(in_system_folder(name).c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
}

void free_library(void *library) {
  (void)FreeLibrary(static_cast<HMODULE>(library));
}

std::optional<std::string> universal_name(void *mpr_library, const std::string &path) {
  const auto get_name =
      library_function<decltype(&WNetGetUniversalNameA)>(mpr_library, "WNetGetUniversalNameA");
  if (get_name == nullptr) {
    return std::nullopt;
  }
  std::vector<char> buffer(1024);
  DWORD size = static_cast<DWORD>(buffer.size());
  DWORD error = get_name(path.c_str(), UNIVERSAL_NAME_INFO_LEVEL, buffer.data(), &size);
  if (error == ERROR_MORE_DATA) {
    buffer.resize(size);
    error = get_name(path.c_str(), UNIVERSAL_NAME_INFO_LEVEL, buffer.data(), &size);
  }
  if (error != NO_ERROR) {
    return std::nullopt;
  }
  return std::string(reinterpret_cast<UNIVERSAL_NAME_INFOA *>(buffer.data())->lpUniversalName);
}

}  // namespace platform
