// mpr_stand_in.cpp: an mpr.dll that knows the mapped drives that a test names.
//
// MAPPED_DRIVES lists them: "X:=\\server\share;Y:=\\other\share". It lies beside
// the launcher; under Wine WINEDLLOVERRIDES=mpr=n,b makes Windows take it. It
// answers as the real library does: a buffer that is too small gets
// ERROR_MORE_DATA and the size that is needed, a path on any other drive
// ERROR_NOT_CONNECTED.

#include <windows.h>
#include <winnetwk.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#ifndef WITHOUT_UNIVERSAL_NAMES

namespace {

// "X:\a\b" with X: mapped to \\server\share -> "\\server\share\a\b"; empty when not mapped.
std::string network_form(std::string_view path) {
  const char *const variable = std::getenv("MAPPED_DRIVES");
  std::string_view drives = variable == nullptr ? "" : variable;
  while (!drives.empty()) {
    const auto end = drives.find(';');
    const auto drive = drives.substr(0, end);
    if (drive.size() > 3 && path.size() >= 2 && drive[2] == '=' &&
        _strnicmp(drive.data(), path.data(), 2) == 0) {
      return std::string(drive.substr(3)).append(path.substr(2));
    }
    drives.remove_prefix(end == std::string_view::npos ? drives.size() : end + 1);
  }
  return "";
}

}  // namespace

extern "C" DWORD WINAPI WNetGetUniversalNameA(LPCSTR path, DWORD level, LPVOID buffer,
                                              LPDWORD size) {
  if (level != UNIVERSAL_NAME_INFO_LEVEL) {
    return ERROR_INVALID_LEVEL;
  }
  const auto name = network_form(path);
  if (name.empty()) {
    return ERROR_NOT_CONNECTED;
  }
  const auto needed = static_cast<DWORD>(sizeof(UNIVERSAL_NAME_INFOA) + name.size() + 1);
  if (*size < needed) {
    *size = needed;
    return ERROR_MORE_DATA;
  }
  auto *const info = static_cast<UNIVERSAL_NAME_INFOA *>(buffer);
  info->lpUniversalName = static_cast<char *>(buffer) + sizeof *info;
  std::memcpy(info->lpUniversalName, name.c_str(), name.size() + 1);
  return NO_ERROR;
}

#else

extern "C" DWORD WINAPI WNetGetLastErrorA(LPDWORD, LPSTR, DWORD, LPSTR, DWORD) {
  return NO_ERROR;
}

#endif
