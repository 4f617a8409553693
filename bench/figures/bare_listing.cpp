// bare_listing.cpp: lists a folder, and ends with 0 when it holds something.
//   bare_listing PATTERN
#include <windows.h>

#include <cstdlib>
#include <string>
#include <vector>

int WINAPI WinMain(HINSTANCE, HINSTANCE, LPSTR, int) {
  WIN32_FIND_DATAA entry;
  HANDLE search = __argc == 2 ? FindFirstFileA(__argv[1], &entry) : INVALID_HANDLE_VALUE;
  if (search == INVALID_HANDLE_VALUE) {
    return 254;
  }
  std::vector<std::string> names;
  do {
    names.emplace_back(entry.cFileName);
  } while (FindNextFileA(search, &entry));
  FindClose(search);
  return names.empty() ? 1 : 0;
}
