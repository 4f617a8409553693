// planted_library.cpp: stands, under the name of a library of Windows, where the
// launcher must not load one from. Loaded, it makes a file: mpr.dll.loaded beside
// mpr.dll.

#include <windows.h>

#include <string>

BOOL WINAPI DllMain(HINSTANCE library, DWORD reason, LPVOID) {
  if (reason == DLL_PROCESS_ATTACH) {
    std::string path(32768, '\0');
    path.resize(GetModuleFileNameA(library, path.data(), static_cast<DWORD>(path.size())));
    HANDLE mark = CreateFileA((path + ".loaded").c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                              FILE_ATTRIBUTE_NORMAL, nullptr);
    if (mark != INVALID_HANDLE_VALUE) {
      CloseHandle(mark);
    }
  }
  return TRUE;
}
