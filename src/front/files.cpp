// files.cpp: reads files that the user named.
#include "front/files.h"

#include <array>
#include <optional>

#include "core/text.h"
#include "front/host_file_check.h"
#include "platform/platform.h"

namespace {

// The file's bytes, at most so many; nothing when it cannot be read.
std::optional<std::string> read_bytes(const std::string &path, std::size_t limit) {
  const platform::owned_handle file = platform::open_file(path, platform::open_mode::read);
  if (!file) {
    return std::nullopt;
  }
  std::string bytes;
  std::array<char, 4096> piece;
  while (bytes.size() < limit) {
    const std::size_t size = platform::read_some(file.get(), piece.data(), piece.size());
    if (size == 0) {
      break;
    }
    bytes.append(piece.data(), size);
  }
  return bytes;
}

}  // namespace

bool may_be_overwritten(const std::string &path, const std::string &mark) {
  constexpr std::size_t beginning = 256;
  const auto bytes = read_bytes(path, beginning);
  return !bytes || bytes->empty() || contains(bytes->substr(0, beginning), mark);
}

std::vector<std::string> faults_of_host_file(const std::string &path, const std::string &mpi) {
  constexpr std::size_t longest_host_file = 16U << 20U;
  const auto bytes = read_bytes(path, longest_host_file);
  if (!bytes) {
    return {path + ": the host file cannot be read"};
  }
  std::vector<std::string> lines;
  const host_file_reading reading = check_host_file(*bytes, mpi);
  for (const host_file_fault &fault : reading.faults) {
    const std::string place = fault.line > 0 ? ", line " + std::to_string(fault.line) : "";
    lines.push_back(path + place + ": " + fault.what + ": " + fault.cure);
  }
  for (const std::string &host : reading.hosts) {
    if (!platform::host_is_known(host)) {
      lines.push_back(path + ": the network does not know the host " + host + ": mend its name");
    }
  }
  return lines;
}
