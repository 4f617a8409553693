// bare_hosts.cpp: reads a host file, writes it with counts and starts a program:
//   bare_hosts HOSTS COUNT WRITTEN COMMAND
#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "bare_start.h"

namespace {

bool write_counts(const char *hosts, const char *count, const char *written) {
  std::FILE *const in = std::fopen(hosts, "r");
  std::FILE *const out = std::fopen(written, "w");
  if (in == nullptr || out == nullptr) {
    return false;
  }
  char line[256];
  while (std::fgets(line, sizeof line, in) != nullptr) {
    line[std::strcspn(line, "\r\n")] = '\0';
    std::fprintf(out, "%s:%s\n", line, count);
  }
  (void)std::fclose(in);
  return std::fclose(out) == 0;
}

}  // namespace

int WINAPI WinMain(HINSTANCE, HINSTANCE, LPSTR, int) {
  if (__argc != 5 || !write_counts(__argv[1], __argv[2], __argv[3])) {
    return 254;
  }
  return start_and_wait(__argv[4]);
}
