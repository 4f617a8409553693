// bench_host_files.cpp: how long the launcher takes for host files of 1,000, 10,000
// and 100,000 hosts, beside plain copy loops over the same file.
//
// Prints a table; each figure is the smallest time of several rounds, in which all
// ways take turns: what else the machine does disturbs it least. The per-process host
// file is read twice, to count the hosts and to write them, so "at most twice the line loop" is
// what it aims at.

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "backends/host_files.h"
#include "core/environment.h"
#include "core/launch_state.h"

namespace {

constexpr int rounds = 25;

using file = std::unique_ptr<std::FILE, int (*)(std::FILE *)>;

file open_file(const std::string &path, const char *mode) {
  file opened(std::fopen(path.c_str(), mode), std::fclose);
  if (!opened) {
    (void)std::fprintf(stderr, "cannot open %s\n", path.c_str());
    std::exit(1);
  }
  return opened;
}

void write_hosts(const std::string &path, int hosts) {
  const file written = open_file(path, "w");
  for (int number = 0; number < hosts; ++number) {
    (void)std::fprintf(written.get(), "node%05d.cluster.example.org\n", number);
  }
}

// The plain loop of a C program: a line in, a line out.
void copy_by_lines(const std::string &from, const std::string &to) {
  const file read = open_file(from, "r");
  const file written = open_file(to, "w");
  std::array<char, 256> line = {};
  while (std::fgets(line.data(), static_cast<int>(line.size()), read.get()) != nullptr) {
    (void)std::fputs(line.data(), written.get());
  }
}

// The quickest loop there is: no look at what is copied.
void copy_by_blocks(const std::string &from, const std::string &to) {
  const file read = open_file(from, "rb");
  const file written = open_file(to, "wb");
  std::vector<char> block(65536);
  while (const std::size_t got = std::fread(block.data(), 1, block.size(), read.get())) {
    (void)std::fwrite(block.data(), 1, got, written.get());
  }
}

double milliseconds_of(const std::function<void()> &work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  const std::chrono::duration<double, std::milli> taken = std::chrono::steady_clock::now() - start;
  return taken.count();
}

void must_be(bool as_expected, const char *what) {
  if (!as_expected) {
    (void)std::fprintf(stderr, "%s did not do its work\n", what);
    std::exit(1);
  }
}

std::vector<std::function<void()>> ways_for(const std::string &hosts_file, int hosts) {
  const std::string copy = hosts_file + ".copy";
  return {[=] {
            state.num_procs = 2 * hosts + 1;
            set_environment("ZEPHON_HOSTS_FILE", hosts_file);
            must_be(write_process_host_file(hosts_file).has_value(), "the per-process host file");
          },
          [=] {
            must_be(write_scheduler_host_file(hosts_file).has_value(), "the scheduler-node file");
          },
          [=] {
            set_environment("ZEPHON_HOSTS_FILE", hosts_file);
            must_be(read_host_list().has_value(), "the host list");
          },
          [=] { copy_by_lines(hosts_file, copy); }, [=] { copy_by_blocks(hosts_file, copy); }};
}

void measure(const std::string &folder, int hosts) {
  const std::string hosts_file = folder + "\\bench_hosts.txt";
  write_hosts(hosts_file, hosts);
  const auto ways = ways_for(hosts_file, hosts);
  std::vector<std::vector<double>> times(ways.size());
  for (int round = 0; round < rounds; ++round) {
    for (std::size_t way = 0; way < ways.size(); ++way) {
      times[way].push_back(milliseconds_of(ways[way]));
    }
  }
  std::vector<double> best;
  best.reserve(times.size());
  for (const auto &of_way : times) {
    best.push_back(*std::min_element(of_way.begin(), of_way.end()));
  }
  std::printf("%8d %12.2f %15.2f %10.2f %10.2f %11.2f %12.2f %15.4f\n", hosts, best[0], best[1],
              best[2], best[3], best[4], best[0] / best[3], best[0] * 1000 / hosts);
  (void)std::remove(hosts_file.c_str());
  (void)std::remove((hosts_file + ".copy").c_str());
}

}  // namespace

int main() {
  const std::string folder = env_text("TEMP").value_or(".");
  std::printf("Host files, the smallest of %d times in milliseconds\n\n", rounds);
  std::printf("%8s %12s %15s %10s %10s %11s %12s %15s\n", "hosts", "per-process", "scheduler-node",
              "host list", "line loop", "block loop", "per-process", "per-process");
  std::printf("%8s %12s %15s %10s %10s %11s %12s %15s\n", "", "", "", "", "", "", "/ line loop",
              "us per host");
  for (const int hosts : {1'000, 10'000, 100'000}) {
    measure(folder, hosts);
  }
  // The files that the last round left behind.
  (void)std::remove(env_text("ZEPHON_HOSTS_FILE").value_or("").c_str());
  return 0;
}
