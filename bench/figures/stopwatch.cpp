// stopwatch.cpp: starts programs and takes the time until they have ended.
#include "stopwatch.h"

#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace bench {

namespace {

double now() {
  static const double ticks_per_millisecond = [] {
    LARGE_INTEGER frequency;
    QueryPerformanceFrequency(&frequency);
    return static_cast<double>(frequency.QuadPart) / 1000.0;
  }();
  LARGE_INTEGER ticks;
  QueryPerformanceCounter(&ticks);
  return static_cast<double>(ticks.QuadPart) / ticks_per_millisecond;
}

std::string block_of(const variables &environment) {
  std::string block;
  for (const auto &[name, value] : environment) {
    block.append(name).append("=").append(value).push_back('\0');
  }
  block.push_back('\0');
  return block;
}

HANDLE start(const command &one, HANDLE output) {
  std::string line = one.line;
  std::string environment = block_of(one.environment);
  STARTUPINFOA startup = {};
  startup.cb = sizeof startup;
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdOutput = output;
  startup.hStdError = output;
  PROCESS_INFORMATION child = {};
  if (!CreateProcessA(nullptr, line.data(), nullptr, nullptr, TRUE,
                      one.without_console ? DETACHED_PROCESS : 0, environment.data(), nullptr,
                      &startup, &child)) {
    give_up("cannot start (" + std::to_string(GetLastError()) + "): " + one.line.substr(0, 300));
  }
  CloseHandle(child.hThread);
  return child.hProcess;
}

unsigned long status_of(HANDLE process, const command &one) {
  DWORD status = 0;
  GetExitCodeProcess(process, &status);
  CloseHandle(process);
  if (status != one.expected_status) {
    give_up("status " + std::to_string(status) + " instead of " +
            std::to_string(one.expected_status) + ": " + one.line.substr(0, 300));
  }
  return status;
}

std::size_t drain(HANDLE pipe) {
  constexpr DWORD piece_size = 1U << 20U;
  static std::vector<char> buffer(piece_size);
  std::size_t bytes = 0;
  DWORD got = 0;
  while (ReadFile(pipe, buffer.data(), piece_size, &got, nullptr)) {
    bytes += got;
  }
  return bytes;
}

}  // namespace

started run(const command &one) {
  constexpr DWORD pipe_size = 1U << 20U;
  HANDLE read_end = nullptr;
  HANDLE write_end = nullptr;
  if (!CreatePipe(&read_end, &write_end, nullptr, pipe_size)) {
    give_up("no pipe");
  }
  SetHandleInformation(write_end, HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT);
  started result;
  const double begin = now();
  const HANDLE process = start(one, write_end);
  CloseHandle(write_end);
  result.output_bytes = drain(read_end);
  WaitForSingleObject(process, INFINITE);
  result.milliseconds = now() - begin;
  CloseHandle(read_end);
  result.status = status_of(process, one);
  return result;
}

double run_at_once(const command &one, std::size_t count) {
  std::vector<HANDLE> processes;
  const double begin = now();
  for (std::size_t i = 0; i < count; ++i) {
    processes.push_back(start(one, nullptr));
  }
  for (const HANDLE process : processes) {
    WaitForSingleObject(process, INFINITE);
  }
  const double time = now() - begin;
  for (const HANDLE process : processes) {
    (void)status_of(process, one);
  }
  return time;
}

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  const std::size_t middle = values.size() / 2;
  return values.size() % 2 == 1 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

double smallest(const std::vector<double> &values) {
  return *std::min_element(values.begin(), values.end());
}

void give_up(const std::string &reason) {
  std::fprintf(stderr, "figures: %s\n", reason.c_str());
  std::exit(1);
}

}  // namespace bench
