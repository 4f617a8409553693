// host_file_check_fuzzer.cpp: what zprun finds in a host file. The first line names
// the MPI, the rest is the file.
#include <algorithm>
#include <set>

#include "front/host_file_check.h"
#include "fuzz_support.h"

namespace {

bool stands_in_file(int line, const std::string &bytes, int first) {
  return line >= first && line <= 1 + std::count(bytes.begin(), bytes.end(), '\n');
}

void check_reading(const host_file_reading &reading, const std::string &bytes) {
  fuzz::require(!reading.hosts.empty() || !reading.faults.empty(),
                "without a host something is wrong");
  std::set<std::string> names;
  for (const named_host &host : reading.hosts) {
    fuzz::require(!host.name.empty() && names.insert(host.name).second, "each host comes once");
    fuzz::require(stands_in_file(host.line, bytes, 1), "a host stands in a line of the file");
  }
  for (const host_file_fault &fault : reading.faults) {
    fuzz::require(!fault.what.empty() && !fault.cure.empty(), "a fault has its cure");
    fuzz::require(stands_in_file(fault.line, bytes, 0), "a fault stands in a line of the file");
  }
}

// One bare name a line is right for every MPI.
void check_cured(const host_file_reading &reading, const std::string &mpi) {
  std::string cured = "alpha\n";
  for (const named_host &host : reading.hosts) {
    cured += host.name + "\n";
  }
  const auto again = check_host_file(cured, mpi);
  fuzz::require(again.faults.empty(), "the hosts that were found are right by themselves");
  const bool has_alpha = std::any_of(reading.hosts.begin(), reading.hosts.end(),
                                     [](const named_host &host) { return host.name == "alpha"; });
  fuzz::require(again.hosts.size() == reading.hosts.size() + (has_alpha ? 0 : 1),
                "the hosts that were found are found again");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  auto text = fuzz::text_of(data, size);
  const std::string mpi = fuzz::take_line(text);
  const std::string bytes(text);
  const auto reading = check_host_file(bytes, mpi);
  check_reading(reading, bytes);
  check_cured(reading, mpi);
  return 0;
}
