// launch_checks.cpp: the checks before every run.
#include "front/launch_checks.h"

#include <array>
#include <optional>

#include "core/text.h"
#include "core/text_file.h"
#include "front/host_file_check.h"
#include "front/near_misses.h"
#include "platform/platform.h"

namespace {

// The file's bytes, at most about so many; nothing when it cannot be read.
std::optional<std::string> read_bytes(const std::string &path, std::size_t limit) {
  const platform::owned_handle file = platform::open_file(path, platform::open_mode::read);
  if (!file) {
    return std::nullopt;
  }
  std::string bytes;
  std::array<char, 4096> piece;
  std::size_t size = 0;
  while (bytes.size() < limit &&
         (size = platform::read_some(file.get(), piece.data(), piece.size())) > 0) {
    bytes.append(piece.data(), size);
  }
  return bytes;
}

// A file is ours to overwrite when it is missing, empty or begins with this mark.
void check_report(finding_list &list, const std::optional<std::string> &path,
                  const std::string &mark, const char *what) {
  constexpr std::size_t beginning = 256;
  const auto bytes = path ? read_bytes(*path, beginning) : std::nullopt;
  if (bytes && !bytes->empty() && !contains(bytes->substr(0, beginning), mark)) {
    add_fault(list, "report-file", *path + " is there and is no " + what, "name another file");
  } else if (path) {
    add_ok(list, "report-file", *path + " takes the " + what);
  }
}

}  // namespace

void check_arguments(finding_list &list, const typed_launch &launch) {
  for (const std::string &mended : launch.mended) {
    add_note(list, "arguments", mended, "type it so");
  }
  if (launch.mended.empty()) {
    add_ok(list, "arguments", "read as they were typed");
  }
  if (const auto word = platform::word_beyond_code_page()) {
    add_fault(list, "code-page", *word + " has characters that this computer's code page lacks",
              "use other names for these files");
  } else {
    add_ok(list, "code-page", "every character that was typed is in this computer's code page");
  }
}

std::string check_release(finding_list &list, const installed_site &site,
                          const typed_launch &launch) {
  if (site.root.empty()) {
    add_fault(list, "release", "nobody names the folder of the releases",
              "set ZEPHON_INC, such as D:\\zephon");
    return "";
  }
  const std::string below = " below " + site.root + " (from " + site.root_source + ")";
  if (site.releases.empty()) {
    add_fault(list, "release", "there is no release" + below, "mend ZEPHON_INC");
    return "";
  }
  std::string release = launch.release.value_or(site.default_release.value_or(""));
  if (!has_release(site, release)) {
    const auto near = nearest(release, site.releases);
    const std::string source = launch.release ? "" : ", the default from " + site.default_source;
    add_fault(list, "release", "there is no release " + release + source + below,
              (near ? "probably -r" + *near + " was meant. " : "") + "There is " +
                  alternatives(site.releases));
    return "";
  }
  const std::string program = program_of_release(site.root, release, program_name(launch));
  if (!is_installation(launch) && !file_is_readable(program)) {
    add_fault(list, "release", "release " + release + " has no " + program,
              "install the release again");
    return "";
  }
  add_ok(list, "release", release + below);
  return release;
}

void check_mpi(finding_list &list, const installed_site &site, const std::string &release,
               const std::string &mpi, int processes) {
  const auto complete = complete_mpis(site.root, release);
  if (mpi == "net") {
    if (processes > 1) {  // the default of an old release
      add_fault(list, "arguments",
                format_text("release %s runs one process without an MPI, -t%d asks for more",
                            release.c_str(), processes),
                "name an MPI with -mpi: " + alternatives(complete));
    }
    add_ok(list, "wrapper", "a run without an MPI needs none");
    return;
  }
  const std::string cure = complete.empty() ? "install an MPI for this release"
                                            : "take " + alternatives(complete) +
                                                  ", which this release has, or install it";
  const std::string wrapper = wrapper_of_release(site.root, release, mpi);
  if (file_is_readable(wrapper)) {
    add_ok(list, "wrapper", wrapper);
  } else {
    add_fault(list, "wrapper", "-mpi=" + mpi + ": the release lacks " + wrapper, cure);
  }
  const std::string program = mpi_program(site.root, release, mpi);
  if (file_is_readable(program)) {
    add_ok(list, "mpi-program", program);
  } else {
    add_fault(list, "mpi-program", "-mpi=" + mpi + ": there is no " + program, cure);
  }
}

void check_hosts(finding_list &list, const std::string &path, const std::string &mpi) {
  constexpr std::size_t longest_host_file = 16U << 20U;
  const auto bytes = read_bytes(path, longest_host_file);
  if (!bytes) {
    add_fault(list, "host-file", path + " cannot be read", "name a host file that is there");
    return;
  }
  const host_file_reading reading = check_host_file(*bytes, mpi);
  for (const host_file_fault &fault : reading.faults) {
    const std::string place = fault.line > 0 ? ", line " + std::to_string(fault.line) : "";
    add_fault(list, "host-file", path + place + ": " + fault.what, fault.cure);
  }
  if (reading.faults.empty()) {
    add_ok(list, "host-file", path);
  }
  bool all_known = true;
  for (const named_host &host : reading.hosts) {
    if (!platform::host_is_known(host.name)) {
      all_known = false;
      add_fault(
          list, "host-names",
          path + ", line " + std::to_string(host.line) + ": the network does not know " + host.name,
          "mend the name");
    }
  }
  if (all_known && !reading.hosts.empty()) {
    add_ok(list, "host-names", "the network knows all hosts");
  }
}

void check_reports(finding_list &list, const typed_launch &launch) {
  check_report(list, launch.timing_file, "Start: ", "timing report");
  check_report(list, launch.record_file, "zephon-run-record", "run record");
}

std::string program_name(const typed_launch &launch) {
  return launch.mpitest ? "mpitest" : "zephon";
}
