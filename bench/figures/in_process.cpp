// in_process.cpp: what the launcher's own modules take for each item, without the
// start of a process around it: rows "name,size,unit,launcher,baseline".
#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "backends/host_files.h"
#include "bench_world.h"
#include "core/launch_state.h"
#include "install/releases.h"
#include "launch/options.h"
#include "platform/platform.h"

namespace {

using namespace bench;

constexpr double shortest_round = 20.0;  // milliseconds; a clock that ticks slowly counts too
constexpr int rounds = 15;

double now() {
  LARGE_INTEGER ticks;
  LARGE_INTEGER frequency;
  QueryPerformanceCounter(&ticks);
  QueryPerformanceFrequency(&frequency);
  return static_cast<double>(ticks.QuadPart) * 1000.0 / static_cast<double>(frequency.QuadPart);
}

double time_of(const std::function<void()> &piece, int repetitions) {
  const double begin = now();
  for (int i = 0; i < repetitions; ++i) {
    piece();
  }
  return now() - begin;
}

// Nanoseconds that a piece of work takes, from the quickest of some rounds: what
// else the machine does only ever makes it slower.
double nanoseconds_of(const std::function<void()> &piece) {
  int repetitions = 1;
  while (time_of(piece, repetitions) < shortest_round) {
    repetitions *= 2;
  }
  double best = std::numeric_limits<double>::max();
  for (int round = 0; round < rounds; ++round) {
    best = std::min(best, time_of(piece, repetitions) / repetitions);
  }
  return best * 1e6;
}

void print_row(const char *name, std::size_t size, double nanoseconds, double baseline = 0) {
  std::printf("%s,%zu,ns,%.0f,%.0f\n", name, size, nanoseconds, baseline);
  (void)std::fflush(stdout);
}

void time_arguments() {
  for (const std::size_t count : {10U, 100U, 1'000U, 10'000U}) {
    std::vector<std::string> texts = {"mpirun.exe"};
    texts.reserve(count + 1);
    for (std::size_t i = 0; i < count; ++i) {
      texts.push_back(i % 2 == 0 ? "-case" : "some file.cas");
    }
    std::vector<char *> vector;
    vector.reserve(texts.size() + 1);
    for (std::string &text : texts) {
      vector.push_back(text.data());
    }
    const int size = static_cast<int>(vector.size());
    vector.push_back(nullptr);
    print_row("parsing arguments", count,
              nanoseconds_of([&] { parse_options(size, vector.data()); }));
  }
}

void time_hosts() {
  for (const std::size_t count : {1'000U, 10'000U, 100'000U}) {
    std::string content;
    for (std::size_t host = 0; host < count; ++host) {
      content += "node" + std::to_string(100'000 + host) + ".cluster.example\n";
    }
    const std::string file = in_world("many_hosts" + std::to_string(count));
    write_file(file, content);
    state.num_procs = static_cast<int>(2 * count);
    print_row("spreading processes over hosts", count,
              nanoseconds_of([&] { (void)write_process_host_file(file); }));
  }
}

// The launcher's own part: without the listing, which is Windows'.
void time_releases() {
  for (const std::size_t count : {10U, 100U, 1'000U, 10'000U}) {
    const std::string root = in_world("roots" + std::to_string(count));
    for (std::size_t i = 0; i < count; ++i) {
      make_folder(root + "\\zephon" + std::to_string(i / 100) + "." + std::to_string(i % 100));
    }
    const double all = nanoseconds_of([&] {
      std::vector<std::string> releases;
      (void)find_releases(root, "zephon", releases);
      (void)latest_release(releases);
    });
    const double listing = nanoseconds_of([&] { (void)platform::list_directory(root + "\\*.*"); });
    print_row("finding the newest release", count, all, listing);
  }
}

}  // namespace

int main() {
  make_folder(in_world("temp"));
  (void)platform::put_variable("TEMP=" + in_world("temp"));
  time_arguments();
  time_hosts();
  time_releases();
  remove_world();
}
